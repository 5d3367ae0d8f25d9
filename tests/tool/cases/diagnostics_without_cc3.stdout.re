\AMemory : [^\n]+ / [^\n]+
CPUs   : [0-9]+
Admin  : (Yes|No)

Testing host to GPU transfer
[0-9.]+fps

Testing GPU to host transfer
[0-9.]+fps

Testing shader performance
Failed to load shader

Testing playback performance
Failed to load shader

Testing render performance
Failed to load shader
\Z
