// LeakSanitizer suppressions for programs that start OpenCL: PoCL and the
// LLVM inside it keep their compiler state until the process ends and never
// free it, so every AddressSanitizer run that builds a kernel would report
// those blocks as leaks. The suppressions match only frames in those two
// libraries, so our own code stays fully checked.
//
// This file is not part of the platform library: the sanitizer reads the hook
// from the executable only (its own weak default comes before any shared
// library's), so the test programs that start OpenCL compile it in through
// the qffx_opencl_leak_suppressions interface target. Other builds never call it.
extern "C" const char* __lsan_default_suppressions() { return "leak:libpocl.so\nleak:libLLVM\n"; }
