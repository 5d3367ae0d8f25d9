// ThreadSanitizer suppressions, built in so that every run (ctest included)
// uses them. llvmpipe's fences are mutexes and condition variables that its
// rasterizer threads signal and the driver destroys, ordered by atomics that
// the sanitizer cannot see; both sides of each report lie in swrast_dri.so,
// so our own code stays fully checked. Other builds never read this.
extern "C" const char* __tsan_default_suppressions() { return "race:swrast_dri.so\n"; }
