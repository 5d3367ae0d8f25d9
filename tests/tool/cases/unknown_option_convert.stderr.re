\Aqffx convert: [^\n]*--frobnicate
