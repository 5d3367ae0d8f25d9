(?s)"tests": \[
    \{"title": "Testing host to GPU transfer", "messages": \[\{"text": "[0-9.]+fps", "level": 0\}\], "passed": true, "fps": [0-9.]+\},.*"Failed to load shader", "level": 4\}\], "passed": false\}
  \],
  "passed": false
\}
\Z
