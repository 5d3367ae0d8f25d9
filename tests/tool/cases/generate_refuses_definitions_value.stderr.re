\Aqffx generate: --definitions takes no value
