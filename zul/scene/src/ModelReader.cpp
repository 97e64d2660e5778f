#include "zul/scene/ModelReader.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vtkXMLPolyDataReader.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "zul/scene/ModelCheck.h"

namespace zul::scene {
namespace {

// An address sanitizer reserves terabytes of address space for its shadow
// memory: under one, the helper runs without the address-space limit.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kLimitAddressSpace = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kLimitAddressSpace = false;
#else
constexpr bool kLimitAddressSpace = true;
#endif
#else
constexpr bool kLimitAddressSpace = true;
#endif

// The helper program: $ZUL_MODEL_READER when set (a developer's reader),
// else beside the library that holds this code.
std::string s_helperPath() {
    if (const char* own = std::getenv("ZUL_MODEL_READER"); own && *own) return own;
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&readModelFile), &info) && info.dli_fname)
        return (std::filesystem::path(info.dli_fname).parent_path() / "zulreadmodel").string();
    return "zulreadmodel";
}

// Runs the structure checks over the file's bytes, mapped rather than read
// so that a large model costs no copy.
bool s_checkFile(const std::string& path, ModelFormat format, std::string& why) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        why = std::strerror(errno);
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        why = "not a regular file";
        return false;
    }
    bool ok = true;
    if (st.st_size > 0) {
        void* map = ::mmap(nullptr, size_t(st.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
        if (map == MAP_FAILED) {
            why = std::strerror(errno);
            ok = false;
        } else {
            ok = checkModelBytes(format, static_cast<const unsigned char*>(map), size_t(st.st_size),
                                 why);
            ::munmap(map, size_t(st.st_size));
        }
    } else {
        why = "no geometry in it (the file is empty)";
        ok = false;
    }
    ::close(fd);
    return ok;
}

// What the helper said on standard error: its last line.
std::string s_lastLine(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    const size_t at = text.rfind('\n');
    return at == std::string::npos ? text : text.substr(at + 1);
}

} // namespace

vtkSmartPointer<vtkPolyData> readModelFile(const std::string& path, std::string& why) {
    const std::string name = "cannot read " + path + ": ";
    const ModelFormat format = modelFormatOf(path);
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        why = name + "no such file";
        return nullptr;
    }
    if (format == ModelFormat::Unknown) {
        why = name + "not an STL, OBJ, PLY or VTP file";
        return nullptr;
    }
    if (!s_checkFile(path, format, why)) {
        why = name + why;
        return nullptr;
    }

    const char* tmp = std::getenv("TMPDIR");
    std::string scratchName = std::string(tmp && *tmp ? tmp : "/tmp") + "/zulmodel-XXXXXX";
    char* out = scratchName.data();
    const int outFd = ::mkstemp(out);
    if (outFd < 0) {
        why = name + "cannot make a scratch file: " + std::strerror(errno);
        return nullptr;
    }
    ::close(outFd);
    struct Scratch {
        const char* path;
        ~Scratch() { ::unlink(path); }
    } scratch{out};

    int errPipe[2];
    if (::pipe2(errPipe, O_CLOEXEC) != 0) {
        why = name + "cannot start the reader: " + std::strerror(errno);
        return nullptr;
    }
    const std::string helper = s_helperPath();
    // Everything the child needs is made before fork: between fork and exec
    // it calls only async-signal-safe functions.
    const char* argv[] = {helper.c_str(), path.c_str(), out, nullptr};
    long pages = ::sysconf(_SC_PHYS_PAGES), pageSize = ::sysconf(_SC_PAGESIZE);
    rlim_t memory =
        pages > 0 && pageSize > 0 ? rlim_t(pages) * rlim_t(pageSize) / 2 : rlim_t(8) << 30;
    const pid_t child = ::fork();
    if (child < 0) {
        ::close(errPipe[0]);
        ::close(errPipe[1]);
        why = name + "cannot start the reader: " + std::strerror(errno);
        return nullptr;
    }
    if (child == 0) {
        const int devNull = ::open("/dev/null", O_RDWR);
        if (devNull >= 0) {
            ::dup2(devNull, 0);
            ::dup2(devNull, 1);
        }
        ::dup2(errPipe[1], 2);
        const struct rlimit noCore { 0, 0 }, address{memory, memory};
        ::setrlimit(RLIMIT_CORE, &noCore);
        if (kLimitAddressSpace) ::setrlimit(RLIMIT_AS, &address);
        ::execv(argv[0], const_cast<char* const*>(argv));
        _exit(127);
    }
    ::close(errPipe[1]);
    std::string err;
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(kModelReadSeconds);
    bool timedOut = false;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        pollfd p{errPipe[0], POLLIN, 0};
        const int ready = ::poll(&p, 1, int(std::min<long long>(left.count(), 1000)));
        if (ready < 0 && errno != EINTR) break;
        if (ready <= 0) continue;
        char buf[4096];
        const ssize_t n = ::read(errPipe[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        err.append(buf, size_t(n));
        if (err.size() > 65536) err.erase(0, err.size() - 16384);
    }
    ::close(errPipe[0]);
    if (timedOut) ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (timedOut) {
        why = name + "the reader did not finish within " + std::to_string(kModelReadSeconds) + " s";
        return nullptr;
    }
    if (WIFSIGNALED(status)) {
        why = name + "the reader failed on it (signal " + std::to_string(WTERMSIG(status)) +
              "): the file is damaged, or too large for the memory limit";
        return nullptr;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        const std::string said = s_lastLine(err);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
            why = name + "cannot run the model reader " + helper;
        else
            why = name + (said.empty() ? "the reader failed (exit status " +
                                             std::to_string(WEXITSTATUS(status)) + ")"
                                       : said);
        return nullptr;
    }
    vtkNew<vtkXMLPolyDataReader> reader;
    reader->SetFileName(out);
    reader->Update();
    vtkSmartPointer<vtkPolyData> data = reader->GetOutput();
    if (!data || data->GetNumberOfCells() == 0) {
        why = name + "no geometry in it";
        return nullptr;
    }
    return data;
}

} // namespace zul::scene
