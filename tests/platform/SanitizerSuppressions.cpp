// Suppressions for reports that lie wholly inside the Mesa driver, built
// into platform_tests so that every run (ctest included) uses them without
// environment settings. Only builds with that sanitizer read them.
//
// ThreadSanitizer: llvmpipe's fences are pthread mutexes and condition
// variables that the driver's rasterizer threads signal and the driver then
// destroys, ordered by the driver's own uninstrumented atomics, which
// ThreadSanitizer cannot see. Both sides of each report are frames of
// swrast_dri.so; our own code stays fully checked.
//
// AddressSanitizer and LeakSanitizer need none.
extern "C" const char* __tsan_default_suppressions() {
    return "race:swrast_dri.so\n";
}
