\AFailed to compile Broken\.fx
(   [^\n]*\n)+QfFxResources::Manager : 4 pixel shaders loaded
({data}/manager/shaders/Broken\.fx:6: [^\n]*\n(  [|] [^\n]*\n)?)+\Z
