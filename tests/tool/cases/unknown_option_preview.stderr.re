\Aqffx preview: [^\n]*--frobnicate
