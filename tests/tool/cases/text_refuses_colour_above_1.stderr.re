\Aqffx text: --colour [^\n]*'2,0,0,1'
