// The OpenCL API as the compute service uses it: OpenCL 1.2 through the ICD
// loader (libOpenCL), which finds the installed platforms (PoCL on a machine
// without a GPU, the vendor's platform where there is one). 1.2 is what every
// current platform offers, PoCL's CPU device and the GPU vendors' alike.
// Included only under src/platform/cl/.
#pragma once

#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>

#include <string>

// "CL_BUILD_PROGRAM_FAILURE (-11)"; the number alone for codes it does not know.
std::string clErrorName(cl_int code);
// "WHAT failed: CL_... (-N)".
std::string clFailure(const char* what, cl_int code);
