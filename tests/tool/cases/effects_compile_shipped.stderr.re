QfFxResources::Manager : [0-9]+ pixel shaders loaded
