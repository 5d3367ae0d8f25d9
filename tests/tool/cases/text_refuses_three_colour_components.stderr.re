\Aqffx text: --colour [^\n]*'1,0,0'
