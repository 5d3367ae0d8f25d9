\Aqffx run: [^\n]*--frobnicate
