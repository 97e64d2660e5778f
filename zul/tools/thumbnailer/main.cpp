// zulview-thumbnailer INPUT OUTPUT [SIZE]: a picture of a model for a file
// manager's thumbnails, the model fitted and seen from the isometric
// direction, SIZE pixels square (256 by default), written as PNG.
//
// File managers run thumbnailers in a sandbox: the input file alone (often
// a copy under /tmp), no home, no display, and a kill after a few seconds.
// So this reads nothing but the model (no registry, no view module), starts
// a private X server when no display is there, and leaves no process
// behind: the server and the model reader die with it, however it ends.
//
// Exit status: 0 a picture was written; 1 the model cannot be read or
// drawn (nothing is written); 2 bad usage.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "zul/scene/ModelReader.h"
#include "zul/scene/Scene.h"

namespace {

constexpr int kFailure = 1, kUsage = 2;
constexpr int kServerStartMs = 5000;

// A private X server (Xvfb) for this process alone, stopped when it goes.
class PrivateDisplay {
public:
    ~PrivateDisplay() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }

    // Starts the server and points DISPLAY at it; false with `why`.
    bool start(std::string& why) {
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC) != 0) {
            why = std::strerror(errno);
            return false;
        }
        const std::string fd = std::to_string(pipe[1]);
        const pid_t parent = ::getpid();
        pid_ = ::fork();
        if (pid_ < 0) {
            why = std::strerror(errno);
            return false;
        }
        if (pid_ == 0) {
            // Killed with this process, even by SIGKILL.
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (::getppid() != parent) _exit(127);
            ::fcntl(pipe[1], F_SETFD, 0);
            const int devNull = ::open("/dev/null", O_RDWR);
            for (int std : {0, 1, 2})
                ::dup2(devNull, std);
            const char* argv[] = {"Xvfb",     "-displayfd", fd.c_str(), "-screen", "0",
                                  "64x64x24", "-nolisten",  "tcp",      nullptr};
            ::execvp(argv[0], const_cast<char* const*>(argv));
            _exit(127);
        }
        ::close(pipe[1]);
        // The server writes its display number once it takes connections.
        std::string number;
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(kServerStartMs);
        while (number.empty() || number.back() != '\n') {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd p{pipe[0], POLLIN, 0};
            if (left.count() <= 0 || ::poll(&p, 1, int(left.count())) <= 0) break;
            char c;
            if (::read(pipe[0], &c, 1) != 1) break;
            number += c;
        }
        ::close(pipe[0]);
        if (number.empty() || number.back() != '\n') {
            why = "no display, and a private X server (Xvfb) did not start";
            return false;
        }
        number.pop_back();
        ::setenv("DISPLAY", (":" + number).c_str(), 1);
        return true;
    }

private:
    pid_t pid_ = 0;
};

bool parseSize(std::string_view text, int& size) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    return error == std::errc() && end == text.data() + text.size() && size >= 16 && size <= 4096;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--version") {
        std::printf("zulview-thumbnailer %s\n", ZUL_VERSION);
        return 0;
    }
    int size = 256;
    if (argc < 3 || argc > 4 || (argc == 4 && !parseSize(argv[3], size))) {
        std::fprintf(stderr, "usage: zulview-thumbnailer MODEL OUTPUT.png [SIZE: 16 to 4096]\n");
        return kUsage;
    }
    const std::string input = argv[1], output = argv[2];
    zul::scene::Model model;
    std::string readWhy, displayWhy;
    PrivateDisplay display;
    if (!zul::scene::haveDisplay(displayWhy)) {
        ::unsetenv("DISPLAY");
        if (!display.start(displayWhy)) {
            std::fprintf(stderr, "zulview-thumbnailer: %s\n", displayWhy.c_str());
            return kFailure;
        }
    }
    if (!zul::scene::readModel(input, model, readWhy)) {
        std::fprintf(stderr, "zulview-thumbnailer: %s\n", readWhy.c_str());
        return kFailure;
    }
    zul::scene::Scene scene;
    scene.addModel(std::move(model));
    // The isometric view: from +X, -Y, +Z, with the model's Z up.
    zul::scene::Camera camera{};
    const float eye[3] = {1, -1, 1}, up[3] = {-0.408248f, 0.408248f, 0.816497f};
    for (int i = 0; i < 3; ++i) {
        camera.eye[i] = eye[i];
        camera.target[i] = 0;
        camera.up[i] = up[i];
    }
    camera.perspective = false;
    camera.focal = 1.732f;
    camera.viewHeight = 1;
    zul::scene::fitAll(scene, camera);
    std::string why;
    if (!zul::scene::renderSheet(scene, {{"", camera}}, size, size, false, output, why)) {
        std::fprintf(stderr, "zulview-thumbnailer: %s\n", why.c_str());
        std::remove(output.c_str());
        return kFailure;
    }
    return 0;
}
