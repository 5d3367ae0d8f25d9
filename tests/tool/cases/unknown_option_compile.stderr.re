\Aqffx compile: [^\n]*--frobnicate
