\Aqffx generate: unknown target 'fancy'
