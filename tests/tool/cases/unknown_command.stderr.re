\Aqffx: unknown command 'frobnicate'
