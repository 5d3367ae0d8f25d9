\Aqffx diagnostics: [^\n]*--frobnicate
