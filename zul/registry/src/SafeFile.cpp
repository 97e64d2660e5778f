#include "zul/registry/SafeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "zul/registry/registry.h"

namespace zul::registry {

namespace {

bool s_sameFile(const struct stat& a, const std::string& other) {
    struct stat b {};
    return !other.empty() && ::stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

} // namespace

bool writeFileReplacing(const std::string& path, std::string_view bytes, std::string& why) {
    struct stat target {};
    const bool exists = ::stat(path.c_str(), &target) == 0;
    if (exists && (s_sameFile(target, userHivePath()) || s_sameFile(target, machineHivePath()))) {
        why = "it is the registry hive in use";
        return false;
    }
    if (exists && S_ISDIR(target.st_mode)) {
        why = std::strerror(EISDIR);
        return false;
    }
    // Renaming over a file needs only its folder to be writable: a file its
    // owner protected from writing (no write bit at all, which binds root
    // too) or that this user may not write is refused, as writing it in
    // place would be.
    if (exists && ((target.st_mode & 0222) == 0 || ::access(path.c_str(), W_OK) != 0)) {
        why = "the file is write-protected";
        return false;
    }
    mode_t mode = 0;
    if (exists) {
        mode = target.st_mode & 07777;
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    return replaceFileContents(path, bytes, mode, why);
}

bool replaceFileContents(const std::string& path, std::string_view bytes, unsigned mode,
                         std::string& why) {
    namespace fs = std::filesystem;
    const fs::path file(path);
    const fs::path dir = file.has_parent_path() ? file.parent_path() : fs::path(".");
    std::string scratch = (dir / ("." + file.filename().string() + ".XXXXXX")).string();
    const int fd = ::mkostemp(scratch.data(), O_CLOEXEC);
    if (fd < 0) {
        why = std::strerror(errno);
        return false;
    }
    bool ok = ::fchmod(fd, mode_t(mode)) == 0;
    for (size_t done = 0; ok && done < bytes.size();) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        ok = n > 0;
        if (ok) done += size_t(n);
    }
    ok = ok && ::fsync(fd) == 0;
    const int savedErrno = errno;
    ok = (::close(fd) == 0) && ok;
    if (ok && ::rename(scratch.c_str(), path.c_str()) == 0) return true;
    why = std::strerror(ok ? errno : savedErrno);
    ::unlink(scratch.c_str());
    return false;
}

bool readInputFile(const std::string& path, uint64_t limit, std::string& bytes, std::string& why) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        why = std::strerror(errno);
        return false;
    }
    struct stat st {};
    bool ok = ::fstat(fd, &st) == 0;
    if (!ok) {
        why = std::strerror(errno);
    } else if (!S_ISREG(st.st_mode)) {
        why = S_ISDIR(st.st_mode) ? "it is a folder, not a file" : "not a regular file";
        ok = false;
    } else if (uint64_t(st.st_size) > limit) {
        why = "larger than the " + std::to_string(limit >> 20) + " MiB such a file may be";
        ok = false;
    }
    bytes.clear();
    if (ok) {
        bytes.resize(size_t(st.st_size));
        size_t done = 0;
        while (ok && done < bytes.size()) {
            const ssize_t n = ::read(fd, bytes.data() + done, bytes.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) {
                why = std::strerror(errno);
                ok = false;
            } else if (n == 0) {
                bytes.resize(done); // it shrank while read
                break;
            } else {
                done += size_t(n);
            }
        }
    }
    ::close(fd);
    if (!ok) bytes.clear();
    return ok;
}

} // namespace zul::registry
