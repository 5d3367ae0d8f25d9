#include "ToolFiles.h"

#include "FrameFormats.h"
#include "host/base/Strings.h"
#include "host/own/Files.h"
#include "platform/png/PngFile.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// The temporary files in progress, for the signal handler: a fixed table, so
// that the handler touches no allocator.
constexpr int kSlots = 16;
char g_temps[kSlots][PATH_MAX];
std::atomic<bool> g_used[kSlots];

extern "C" void removeTemporaries(int signal) {
    for (int i = 0; i < kSlots; ++i)
        if (g_used[i].load()) ::unlink(g_temps[i]);
    // End as the signal ends a process, so that the caller sees which it was.
    std::signal(signal, SIG_DFL);
    ::raise(signal);
}

void installHandlers() {
    static std::atomic<bool> installed{false};
    if (installed.exchange(true)) return;
    for (const int s : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction old {};
        // A signal the caller ignores (nohup) stays ignored.
        if (sigaction(s, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
        struct sigaction action {};
        action.sa_handler = removeTemporaries;
        sigemptyset(&action.sa_mask);
        sigaction(s, &action, nullptr);
    }
}

int keepForSignals(const std::string& temp) {
    if (temp.size() >= PATH_MAX) return -1;
    for (int i = 0; i < kSlots; ++i) {
        if (g_used[i].load()) continue;
        std::memcpy(g_temps[i], temp.c_str(), temp.size() + 1);
        g_used[i].store(true);
        return i;
    }
    return -1;
}

void releaseSlot(int& slot) {
    if (slot >= 0) g_used[slot].store(false);
    slot = -1;
}

std::string reason(int error) { return std::strerror(error); }

// The file `path` names once its symbolic links are followed (a link to a
// name not yet taken gives that name).
bool followLinks(std::string path, std::string& target, std::string& error) {
    for (int hops = 0; hops < 40; ++hops) {
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
            target = path;
            return true;
        }
        std::vector<char> buffer(size_t(info.st_size > 0 ? info.st_size : PATH_MAX) + 1);
        const ssize_t n = ::readlink(path.c_str(), buffer.data(), buffer.size());
        if (n < 0 || size_t(n) >= buffer.size()) {
            error = "cannot follow the link '" + path + "': " + reason(n < 0 ? errno : ENAMETOOLONG);
            return false;
        }
        std::string next(buffer.data(), size_t(n));
        if (!next.starts_with('/')) {
            const size_t slash = path.rfind('/');
            next = (slash == std::string::npos ? std::string() : path.substr(0, slash + 1)) + next;
        }
        path = next;
    }
    error = "cannot follow the link '" + path + "': " + reason(ELOOP);
    return false;
}

std::string extensionOf(const std::string& path) {
    const size_t slash = path.find_last_of('/'), dot = path.find_last_of('.');
    return dot == std::string::npos || (slash != std::string::npos && dot < slash) ? "" : path.substr(dot + 1);
}

} // namespace

OutputFile::~OutputFile() { discard(); }

void OutputFile::discard() {
    if (m_file && m_file != stdout) std::fclose(m_file);
    m_file = nullptr;
    if (!m_temp.empty()) ::unlink(m_temp.c_str());
    m_temp.clear();
    releaseSlot(m_slot);
}

bool OutputFile::open(const std::string& path, std::string& error) {
    discard();
    m_path = path;
    m_finished = false;
    if (path == "-") {
        m_direct = true;
        m_file = stdout;
        return true;
    }
    struct stat info {};
    const bool exists = ::stat(path.c_str(), &info) == 0;
    if (exists && S_ISDIR(info.st_mode)) return error = "'" + path + "' is a directory", false;
    if (exists && !S_ISREG(info.st_mode)) {
        // A FIFO, a device, a socket: written to as it is, never replaced.
        m_direct = true;
        const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (fd < 0 || !(m_file = ::fdopen(fd, "wb"))) {
            if (fd >= 0) ::close(fd);
            return error = "cannot write '" + path + "': " + reason(errno), false;
        }
        return true;
    }
    m_direct = false;
    // The temporary file goes beside the file itself, not beside a link to it.
    if (!followLinks(path, m_target, error)) return false;
    installHandlers();
    // The mode a new file gets under the umask comes with the creation; a
    // replaced file's mode (and owner, where that is allowed) is kept.
    static std::mt19937 random{std::random_device{}()};
    int fd = -1;
    for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
        static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        m_temp = m_target + ".part";
        for (int i = 0; i < 6; ++i) m_temp += kLetters[random() % (sizeof kLetters - 1)];
        fd = ::open(m_temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) break;
    }
    if (fd < 0) {
        const int why = errno;
        m_temp.clear();
        return error = "cannot write '" + path + "': " + reason(why), false;
    }
    m_slot = keepForSignals(m_temp);
    if (exists) {
        if (::fchown(fd, info.st_uid, info.st_gid) != 0) {
            // Not the owner's to give: the file becomes the caller's, as any new file would.
        }
        ::fchmod(fd, info.st_mode & 07777);
    }
    if (!(m_file = ::fdopen(fd, "wb"))) {
        const int why = errno;
        ::close(fd);
        discard();
        return error = "cannot write '" + path + "': " + reason(why), false;
    }
    return true;
}

bool OutputFile::finish(std::string& error) {
    if (m_finished) return true;
    if (!m_file) return error = "cannot write '" + m_path + "': it is not open", false;
    errno = 0;
    bool ok = std::fflush(m_file) == 0 && !std::ferror(m_file);
    int why = errno;
    if (m_file != stdout) {
        const bool closed = std::fclose(m_file) == 0;
        if (ok && !closed) ok = false, why = errno;
        m_file = nullptr;
    }
    if (!ok) {
        discard();
        return error = "cannot write '" + m_path + "': " + reason(why ? why : EIO), false;
    }
    m_finished = true;
    return true;
}

bool OutputFile::commit(std::string& error) {
    if (!finish(error)) return false;
    if (m_direct || m_temp.empty()) return true;
    if (std::rename(m_temp.c_str(), m_target.c_str()) != 0) {
        const int why = errno;
        discard();
        return error = "cannot replace '" + m_path + "': " + reason(why), false;
    }
    m_temp.clear();
    releaseSlot(m_slot);
    return true;
}

bool writeOutputFile(const std::string& path, const void* data, size_t size, std::string& error) {
    OutputFile out;
    if (!out.open(path, error)) return false;
    if (size && std::fwrite(data, 1, size, out.stream()) != size) {
        const int why = errno;
        error = "cannot write '" + path + "': " + reason(why ? why : EIO);
        return false;
    }
    return out.commit(error);
}

bool writePngOutput(const std::string& path, const HostImage& image, std::string& error) {
    std::vector<uint8_t> bytes;
    return PngFile::encode(image, bytes, error) && writeOutputFile(path, bytes.data(), bytes.size(), error);
}

bool checkOutputName(const std::string& path, std::string_view extension, std::string& error) {
    if (path == "-") return true;
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return error = "'" + path + "' is a directory", false;
    const std::string ext = extensionOf(path);
    if (!ext.empty() && toLower(LightweightString<char>(ext)).str() != std::string(extension))
        return error = "'" + path + "': this command writes ." + std::string(extension) + " files, not ." + ext, false;
    return true;
}

bool readStream(std::FILE* stream, size_t limit, std::string& out, std::string& error) {
    out.clear();
    char chunk[65536];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, stream)) > 0;) {
        if (out.size() + n > limit) return error = "the input is larger than " + std::to_string(limit >> 20) + " MiB", false;
        out.append(chunk, n);
    }
    if (std::ferror(stream)) return error = "cannot read the input: " + reason(errno), false;
    return true;
}

Ptr<HostImage> readPngInput(const std::string& path, std::string& error, int maxSide) {
    if (path != "-") return PngFile::read(fromUTF8(path.c_str()), error, maxSide);
    std::string bytes;
    if (!readPngStream(stdin, Files::kMaxPictureFileBytes, bytes, error)) return error = "standard input: " + error, nullptr;
    return PngFile::decode(bytes.data(), bytes.size(), error, "standard input", maxSide);
}
