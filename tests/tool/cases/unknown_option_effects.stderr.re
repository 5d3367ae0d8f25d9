\Aqffx effects: [^\n]*--frobnicate
