\Aqffx text: --size [^\n]*'big'
