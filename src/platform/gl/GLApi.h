// The OpenGL 4.5 core API as the GPU service calls it.
//
// The service links libOpenGL (GLVND), which exports every core entry point,
// so the functions are called directly through their prototypes; no loader is
// needed. Only files under src/platform/gl include this header.
#pragma once

#ifndef GL_GLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES 1
#endif
#include <GL/glcorearb.h>
