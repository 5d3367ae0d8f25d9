\Aqffx text: [^\n]*--frobnicate
