\Aqffx scopes: [^\n]*--frobnicate
