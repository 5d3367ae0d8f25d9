#include "host/own/Files.h"

#include "host/base/Strings.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace Files {

namespace {

std::string describe(const std::string& name, const char* what, int error) {
    return name + ": " + what + (error ? std::string(" (") + std::strerror(error) + ")" : std::string());
}

} // namespace

bool readWholeFile(const LightweightString<wchar_t>& path, size_t maxBytes, std::string& out, std::string& error) {
    const std::string name = toUTF8(path).str();
    const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        error = describe(name, "cannot open file", errno);
        return false;
    }
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0;
    if (!ok) {
        error = describe(name, "cannot read file", errno);
    } else if (!S_ISREG(info.st_mode)) {
        error = describe(name, S_ISDIR(info.st_mode) ? "is a directory" : "is not a regular file", 0);
        ok = false;
    } else if (uint64_t(info.st_size) > maxBytes) {
        error = describe(name, ("is larger than " + std::to_string(maxBytes >> 20) + " MiB").c_str(), 0);
        ok = false;
    }
    if (ok) {
        try {
            out.assign(size_t(info.st_size), '\0');
            size_t done = 0;
            // The file may change while it is read: take what is there, up to the size seen.
            while (done < out.size()) {
                const ssize_t n = ::read(fd, out.data() + done, out.size() - done);
                if (n < 0 && errno == EINTR) continue;
                if (n < 0) {
                    error = describe(name, "cannot read file", errno);
                    ok = false;
                    break;
                }
                if (n == 0) break;
                done += size_t(n);
            }
            out.resize(done);
        } catch (const std::bad_alloc&) {
            error = describe(name, "is too large to read into memory", 0);
            ok = false;
        }
    }
    ::close(fd);
    if (!ok) out.clear();
    return ok;
}

bool writeWholeFile(const LightweightString<wchar_t>& path, const void* data, size_t size, std::string& error) {
    const std::string name = toUTF8(path).str();
    // The temporary lies in the target's directory, so that the rename is
    // atomic; mkstemp makes its name unique between processes.
    std::string temporary = name + ".XXXXXX";
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) {
        error = describe(name, "cannot create file", errno);
        return false;
    }
    const auto* bytes = static_cast<const uint8_t*>(data);
    size_t done = 0;
    int failure = 0;
    while (done < size) {
        const ssize_t n = ::write(fd, bytes + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            failure = n < 0 ? errno : EIO;
            break;
        }
        done += size_t(n);
    }
    // mkstemp creates the file readable by its owner only; give it the usual
    // permissions of a new file.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    if (!failure && ::fchmod(fd, 0666 & ~mask) != 0) failure = errno;
    if (::close(fd) != 0 && !failure) failure = errno;
    if (!failure && ::rename(temporary.c_str(), name.c_str()) != 0) failure = errno;
    if (failure) {
        ::unlink(temporary.c_str());
        error = describe(name, "cannot write file", failure);
        return false;
    }
    return true;
}

} // namespace Files
