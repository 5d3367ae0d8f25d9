#include "host/base/Time.h"

#include <chrono>

double msecsNow() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}
