\Aqffx generate: --shaders: '/nonexistent' is not a directory
