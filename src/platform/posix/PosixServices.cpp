#include "platform/posix/PosixServices.h"

#include "host/base/Strings.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"

#include <cerrno>
#include <ctime>
#include <limits.h>
#include <unistd.h>

void PosixThreadService::sleep(unsigned milliseconds) {
    timespec left{time_t(milliseconds / 1000), long(milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {}
}

int LogUIService::showMessage(const LightweightString<wchar_t>& caption, const LightweightString<wchar_t>& text, int, int) {
    Log("%s : %s\n", toUTF8(caption).c_str(), toUTF8(text).c_str());
    return 1;
}

LightweightString<wchar_t> PosixEnvironmentService::applicationCaption() { return L"QfFxResources"; }

LightweightString<wchar_t> PosixEnvironmentService::componentDirectory() {
    char path[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (n <= 0) return {};
    path[n] = '\0';
    const LightweightString<wchar_t> exe = fromUTF8(path);
    return withTrailingSeparator(exe.substr(0, exe.size() - stripPath(exe).size()));
}
