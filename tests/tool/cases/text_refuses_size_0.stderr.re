\Aqffx text: --size [^\n]*'0'
