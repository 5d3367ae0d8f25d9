// A host program that uses the effect manager and returns from main without
// running the shut-down callbacks while the background compilation is still
// compiling on the real GPU service. It must exit with status 0: the library
// stops its background work from its own exit handler, before the GL driver
// and the task queue are torn down.
//
// Usage: LeaveMainWhileCompiling SHADERS_DIR [DELAY_MS]
// The effects of SHADERS_DIR are copied (several times over, so that the run
// is long) into a temporary directory; main returns DELAY_MS after start-up
// (default 30), with the run under way.
#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/os/OS.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
fs::path g_dir;
// Registered before the library starts, so it runs after the library's own
// exit handler has stopped the background compilation.
void removeDirectory() {
    std::error_code ec;
    fs::remove_all(g_dir, ec);
}
} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s SHADERS_DIR [DELAY_MS]\n", argv[0]);
        return 2;
    }
    const fs::path source = argv[1];
    const int delayMs = argc > 2 ? std::atoi(argv[2]) : 30;
    const fs::path dir = g_dir = fs::temp_directory_path() / ("qffx-leave-main-" + std::to_string(getpid()));
    fs::remove_all(dir);
    std::atexit(removeDirectory);
    fs::create_directories(dir / "templates");
    int copies = 0;
    for (const auto& entry : fs::directory_iterator(source)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("_")) {
            fs::copy_file(entry.path(), dir / name);
        } else if (entry.path().extension() == ".fx") {
            for (int i = 0; i < 4; ++i) fs::copy_file(entry.path(), dir / ("Copy" + std::to_string(i) + name));
            copies += 4;
        }
    }
    if (copies == 0) {
        std::fprintf(stderr, "no effects in %s\n", argv[1]);
        return 2;
    }
    installOS(&LinuxServices::instance());
    setShadersDir(fromUTF8((dir.string() + "/").c_str()));
    setFXTemplatesDir(fromUTF8((dir / "templates").string().c_str()));

    Qf::FxResources::Manager::startup(false);
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
    // An effect asked for meanwhile, as a renderer would.
    const bool found = bool(Qf::FxResources::Manager::instance().findEffect("Copy0cc3", false));
    return found ? 0 : 3;
}
