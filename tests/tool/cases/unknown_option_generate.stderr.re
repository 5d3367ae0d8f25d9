\Aqffx generate: [^\n]*--frobnicate
