\Aqffx luts: [^\n]*--frobnicate
