\Aqffx generate: unknown language 'hlsl'
