// The thumbnailer as a file manager runs it: no display, no home, the
// model file alone; a picture of the model at the size asked, nothing for
// a file it cannot read, and no process left behind, even when killed.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPNGReader.h>

#include <chrono>
#include <iterator>
#include <sstream>
#include <thread>

#include "ModelFiles.h"

namespace {

// Runs the thumbnailer in a session of its own, with the environment a
// sandbox gives (a PATH and nothing else); its exit status, or -1 when it
// was killed after `killAfterMs` (0: never). `group` gets its process
// group, whose members are everything it started.
int thumbnail(const std::vector<std::string>& args, pid_t& group, int killAfterMs = 0) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        std::vector<const char*> argv = {THUMBNAILER_PATH};
        for (const std::string& a : args)
            argv.push_back(a.c_str());
        argv.push_back(nullptr);
        const char* env[] = {"PATH=/usr/bin:/bin", nullptr};
        ::execve(THUMBNAILER_PATH, const_cast<char* const*>(argv.data()),
                 const_cast<char* const*>(env));
        _exit(127);
    }
    group = child;
    if (killAfterMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(killAfterMs));
        ::kill(child, SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Whether any process of `group` still runs a second after its leader went
// (one that died but was not yet reaped by init does not count: some
// containers' first process reaps nothing).
bool groupLingers(pid_t group) {
    auto running = [group] {
        for (const auto& e : fs::directory_iterator("/proc")) {
            const std::string name = e.path().filename().string();
            if (name.find_first_not_of("0123456789") != std::string::npos) continue;
            std::ifstream in(e.path() / "stat");
            std::string stat((std::istreambuf_iterator<char>(in)), {});
            const size_t close = stat.rfind(')');
            if (close == std::string::npos) continue;
            std::istringstream fields(stat.substr(close + 2));
            char state = 0;
            long parent = 0, pgrp = 0;
            if (fields >> state >> parent >> pgrp && pgrp == group && state != 'Z') return true;
        }
        return false;
    };
    for (int i = 0; i < 20; ++i) {
        if (!running()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

// The share of pixels that differ from the background at their row (the
// background is a vertical gradient: its first column stands for it).
double modelShare(const std::string& png, int& width, int& height) {
    vtkNew<vtkPNGReader> reader;
    reader->SetFileName(png.c_str());
    reader->Update();
    vtkImageData* image = reader->GetOutput();
    int dims[3];
    image->GetDimensions(dims);
    width = dims[0], height = dims[1];
    int differ = 0;
    for (int y = 0; y < height; ++y)
        for (int x = width / 4; x < width; ++x) { // the axes triad sits at the left
            int d = 0;
            for (int c = 0; c < 3; ++c)
                d += std::abs(int(image->GetScalarComponentAsDouble(x, y, 0, c)) -
                              int(image->GetScalarComponentAsDouble(0, y, 0, c)));
            differ += d > 40;
        }
    return double(differ) / (width * height);
}

} // namespace

TEST_F(ModelFormats, TheThumbnailerDrawsAModelAsAFileManagerRunsIt) {
    const fs::path step = kOcctData / "step/linkrods.step", stl = kOcctData / "stl/propeller.stl";
    if (!fs::exists(step) || !fs::exists(stl)) GTEST_SKIP() << "install occt-misc";
    for (const auto& [model, size] : {std::pair{step, 256}, std::pair{stl, 128}}) {
        const std::string png = (dir_ / "thumb.png").string();
        fs::remove(png);
        pid_t group = 0;
        ASSERT_EQ(thumbnail({model.string(), png, std::to_string(size)}, group), 0) << model;
        EXPECT_FALSE(groupLingers(group)) << "the private X server or the reader outlived it";
        int width = 0, height = 0;
        const double share = modelShare(png, width, height);
        EXPECT_EQ(width, size);
        EXPECT_EQ(height, size);
        EXPECT_GT(share, 0.03) << model << ": the model fills the picture";
    }

    // A file it cannot read: no picture, a failure, no hang.
    const std::string junk = write("junk.stl", "solid x\nfacet normal oops\n");
    const std::string png = (dir_ / "junk.png").string();
    pid_t group = 0;
    EXPECT_EQ(thumbnail({junk, png, "256"}, group), 1);
    EXPECT_FALSE(fs::exists(png));
    EXPECT_EQ(thumbnail({step.string(), png, "9"}, group), 2) << "a size too small for a picture";

    // Killed by its file manager while it works: the X server and the
    // model reader go with it.
    EXPECT_EQ(thumbnail({step.string(), png, "256"}, group, 250), -1);
    EXPECT_FALSE(groupLingers(group));
}
