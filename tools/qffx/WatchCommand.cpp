// qffx watch: keeps the effect manager running and recompiles effect files
// as they are saved, added or removed.
#include "Commands.h"
#include "Options.h"
#include "ToolEffects.h"

#include "host/BackgroundTasks.h"
#include "host/Log.h"
#include "host/Paths.h"
#include "host/Strings.h"
#include "manager/Manager.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

using Qf::FxResources::Manager;

namespace {

const char* const kHelp = "usage: qffx watch [--shaders DIR] [--templates DIR]\n"
                          "\n"
                          "Starts the effect manager, waits for its first compilation of every effect,\n"
                          "then recompiles whenever an .fx file in the shaders or effect-templates\n"
                          "directory is saved, added or removed, printing the library's lines\n"
                          "(\"Recompiled PATH\", \"Failed to recompile PATH\" and its errors) on standard\n"
                          "error. Keep it open beside the editor while writing an effect. Ctrl-C\n"
                          "(SIGINT) or SIGTERM shuts the manager down and ends with exit status 0.\n";

// Changes that settle within this time are taken together (an editor's save
// often renames and writes in several steps).
constexpr int kSettleMilliseconds = 150;

bool isEffectFile(const char* name) {
    const std::string n = name;
    return n.size() > 3 && toLower(LightweightString<char>(n.substr(n.size() - 3))) == ".fx";
}

// Reads the pending events; true when one concerns an effect file.
bool drainEvents(int fd) {
    alignas(inotify_event) char buffer[16384];
    bool relevant = false;
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0) return relevant; // EAGAIN: nothing more for now
        for (ssize_t at = 0; at < n;) {
            const auto* e = reinterpret_cast<const inotify_event*>(buffer + at);
            if (e->len && isEffectFile(e->name)) relevant = true;
            at += ssize_t(sizeof(inotify_event) + e->len);
        }
    }
}

} // namespace

int runWatch(const CommandArgs& args) {
    // Before any thread starts, so that every thread inherits the mask and
    // the signals arrive only through the signalfd below.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    const ParsedArgs parsed = parseArgs(args, {});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("watch", parsed.error);
    if (!parsed.positional.empty()) return usageError("watch", "takes no arguments");

    const int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    const int watchFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (signalFd < 0 || watchFd < 0) return failWith("watch", "cannot watch for changes: " + std::string(std::strerror(errno)));
    const uint32_t mask = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE;
    for (const LightweightString<wchar_t>& dir : {getShadersDir(), getFXTemplatesDirectory(iSettings::eFactory)})
        if (inotify_add_watch(watchFd, toUTF8(dir).c_str(), mask) < 0)
            std::fprintf(stderr, "qffx watch: not watching %s: %s\n", toUTF8(dir).c_str(), std::strerror(errno));

    if (!startGPU("watch")) return 2;
    Manager& manager = Manager::instance();
    UIBackgroundTasksQueue::instance().waitUntilIdle();
    std::fprintf(stderr, "qffx watch: watching %s and %s\n", toUTF8(getShadersDir()).c_str(),
                 toUTF8(getFXTemplatesDirectory(iSettings::eFactory)).c_str());

    pollfd fds[2] = {{signalFd, POLLIN, 0}, {watchFd, POLLIN, 0}};
    for (;;) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (fds[0].revents & POLLIN) break;
        if (!(fds[1].revents & POLLIN)) continue;
        bool changed = drainEvents(watchFd);
        // Wait until the directory has been quiet for a moment.
        while (poll(&fds[1], 1, kSettleMilliseconds) > 0) changed |= drainEvents(watchFd);
        if (changed) manager.recompileAll();
    }
    close(watchFd);
    close(signalFd);
    std::fputs("qffx watch: shutting down\n", stderr);
    return 0;
}
