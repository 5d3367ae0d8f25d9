// qffx watch: keeps the effect manager running and recompiles effect files
// as they are saved, added or removed.
#include "Commands.h"
#include "ToolEffects.h"

#include "host/base/Strings.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "manager/Manager.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <poll.h>
#include <set>
#include <string>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

using Qf::FxResources::Manager;

namespace {

// Changes that settle within this time are taken together (an editor's save
// often renames and writes in several steps).
constexpr int kSettleMilliseconds = 150;
// A directory that never settles (an editor's swap file written without end)
// is recompiled at least this often.
constexpr int kMaxSettleMilliseconds = 2000;
// Signals are looked at at least this often, whatever the events do.
constexpr int kSignalMilliseconds = 50;
// The changed names kept between two recompilations: beyond, a change is
// still noticed but its errors are not printed by name.
constexpr size_t kMaxChangedNames = 1024;

bool isEffectFile(const char* name) {
    const std::string n = name;
    return n.size() > 3 && toLower(LightweightString<char>(n.substr(n.size() - 3))) == ".fx";
}

// Reads the pending events, adding the path of each effect file they concern
// (`dirs`: the watched directory of each watch descriptor).
// Reads at most a few buffers, so that a stream of events cannot keep it
// here; returns whether any event came.
bool drainEvents(int fd, const std::map<int, std::string>& dirs, std::set<std::string>& changed) {
    alignas(inotify_event) char buffer[16384];
    bool any = false;
    for (int reads = 0; reads < 16; ++reads) {
        const ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0) return any; // EAGAIN: nothing more for now
        any = true;
        for (ssize_t at = 0; at < n;) {
            const auto* e = reinterpret_cast<const inotify_event*>(buffer + at);
            if (e->len && isEffectFile(e->name))
                if (const auto dir = dirs.find(e->wd); dir != dirs.end() && changed.size() < kMaxChangedNames)
                    changed.insert(dir->second + e->name);
            at += ssize_t(sizeof(inotify_event) + e->len);
        }
    }
    return any;
}

int64_t nowMilliseconds() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

// After the manager's lines: the errors of each changed effect file that
// does not compile, at the file's own lines. Include files ("_" names) are
// not effects, and a removed file has nothing to show.
void printChangedFileErrors(const std::set<std::string>& changed) {
    for (const std::string& path : changed) {
        const std::string name = path.substr(path.rfind('/') + 1);
        struct stat info;
        if (name.starts_with("_") || stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
        printEffectFileErrors(fromUTF8(path.c_str()));
    }
}

} // namespace

int runWatch(const Invocation& call) {
    const Reporter& report = call.report;
    // Before any thread starts (the dispatch starts none), so that every
    // thread inherits the mask and the signals arrive only through the
    // signalfd below.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    const int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    const int watchFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (signalFd < 0 || watchFd < 0) return report.bad("cannot watch for changes: " + std::string(std::strerror(errno)));
    const uint32_t mask = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE;
    std::map<int, std::string> watched;
    for (const LightweightString<wchar_t>& dir : {getShadersDir(), getFXTemplatesDirectory(iSettings::eFactory)}) {
        std::string path = toUTF8(dir).str();
        const int wd = inotify_add_watch(watchFd, path.c_str(), mask);
        if (wd < 0) {
            report.say("not watching " + path + ": " + std::strerror(errno));
            continue;
        }
        if (!path.ends_with('/')) path += '/';
        watched[wd] = path;
    }

    if (!startGPU(report)) return eExitUsage;
    Manager& manager = Manager::instance();
    UIBackgroundTasksQueue::instance().waitUntilIdle();
    printFailedEffects(manager.getEffects());
    report.say("watching " + toUTF8(getShadersDir()).str() + " and " +
               toUTF8(getFXTemplatesDirectory(iSettings::eFactory)).str());

    pollfd fds[2] = {{signalFd, POLLIN, 0}, {watchFd, POLLIN, 0}};
    for (;;) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (fds[0].revents & POLLIN) break;
        if (!(fds[1].revents & POLLIN)) continue;
        std::set<std::string> changed;
        drainEvents(watchFd, watched, changed);
        // Wait until the directory has been quiet for a moment, or for the
        // longest settle; a signal ends the wait at once.
        bool stop = false;
        const int64_t start = nowMilliseconds();
        int64_t lastEvent = start;
        for (;;) {
            const int64_t now = nowMilliseconds();
            if (now - lastEvent >= kSettleMilliseconds || now - start >= kMaxSettleMilliseconds) break;
            fds[0].revents = fds[1].revents = 0;
            if (poll(fds, 2, kSignalMilliseconds) < 0 && errno != EINTR) break;
            if (fds[0].revents & POLLIN) {
                stop = true;
                break;
            }
            if ((fds[1].revents & POLLIN) && drainEvents(watchFd, watched, changed)) lastEvent = nowMilliseconds();
        }
        if (stop) break;
        if (changed.empty()) continue;
        manager.recompileAll();
        printChangedFileErrors(changed);
    }
    close(watchFd);
    close(signalFd);
    report.say("shutting down");
    return eExitSuccess;
}
