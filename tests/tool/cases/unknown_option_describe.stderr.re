\Aqffx describe: [^\n]*--frobnicate
