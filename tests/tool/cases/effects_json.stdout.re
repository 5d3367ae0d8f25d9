(?s)\A\[
  \{"name": "Blur", "path": "{data}/manager/shaders/Blur\.fx", "category": "Blurs", "subcategory": "Box", "registered": true\},
.*"registered": false\}.*
\]
\Z
