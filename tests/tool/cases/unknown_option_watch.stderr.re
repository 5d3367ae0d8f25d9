\Aqffx watch: [^\n]*--frobnicate
