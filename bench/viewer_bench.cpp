// zulview's speed with the view module loaded, under an X server
// (xvfb-run -a build/default/bin/viewer_bench):
//   FirstFrame: ms from the process start of zulview to its first frame
//               (zulview --first-frame, run as a child; target <= 1500 ms);
//   ApplyView:  ms per stored view applied through the module, including the
//               redraw of the sample model (target <= 30 ms);
//   LoadModel:  a model read through the guarded reader, as zulview reads it
//               (the 1,000,000-triangle sphere; the largest STEP sample of
//               Debian's occt-misc; a generated 11 MB STEP assembly);
//   Orbit:      frames a second while the 1,000,000-triangle model is dragged
//               round, whole (budget 0) and with the drag budget (target
//               >= 20), and the ms to draw it whole once the drag ends
//               (target <= 500);
//   Transition: frames a second drawn while the camera moves from one
//               align view to another (target >= 30 on the sample), on the
//               sample and on a sphere of 188,000 triangles;
//   Pictures:   ms to draw the pictures of 128 stored views (96 x 72, as
//               the Standard Views dialog shows them) of the sample, none of
//               them cached (target <= 3,000 ms);
//   Peer:       the same files opened and drawn once to a PNG by krviews
//               render and by f3d (Debian's VTK-based viewer), as whole
//               commands, side by side.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QSurfaceFormat>
#include <QTemporaryDir>

#include <vtkGenericOpenGLRenderWindow.h>

#include <vtkCamera.h>
#include <vtkRenderer.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "KRAdvancedViews/ResourceIds.h"
#include "zul/scene/ModelReader.h"
#include "zul/scene/SceneViewer.h"

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "MainWindow.h"

namespace {

QTemporaryDir* s_hives = nullptr;

void BM_FirstFrame(benchmark::State& state) {
    const std::string command = std::string("'") + ZULVIEW_PATH + "' --first-frame 2>/dev/null";
    for (auto _ : state) {
        FILE* child = popen(command.c_str(), "r");
        double ms = -1;
        if (child) {
            std::array<char, 256> line{};
            while (std::fgets(line.data(), int(line.size()), child))
                if (std::sscanf(line.data(), "first frame: %lf ms", &ms) == 1) break;
            while (std::fgets(line.data(), int(line.size()), child)) {
            }
            pclose(child);
        }
        if (ms < 0) {
            state.SkipWithError(
                "zulview printed no first frame (is there a display? run under xvfb-run -a)");
            return;
        }
        state.SetIterationTime(ms / 1000.0);
        state.counters["first_frame_ms"] = ms;
    }
}
BENCHMARK(BM_FirstFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_ApplyView(benchmark::State& state) {
    zul::viewer::MainWindow window;
    QString error;
    if (!window.StartModule(error)) {
        state.SkipWithError(("the module does not start: " + error.toStdString()).c_str());
        return;
    }
    window.ShowSample();
    window.show();
    QApplication::processEvents();
    zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr;
    window.module()->QueryInterface(zul::com::iidOf<IAdvancedViewsModuleMgr>(),
                                    reinterpret_cast<void**>(mgr.GetAddressOf()));
    const char* views[] = {"+X", "+Y", "+Z", "-X", "-Y", "-Z", "+Isometric", "-Isometric"};
    size_t k = 0;
    for (auto _ : state) {
        mgr->ShowView(views[k++ % 8]);
        window.view()->repaint(); // draws now, not at the next turn of the event loop
        window.renderWindow()->WaitForCompletion();
    }
    window.StopModule();
}
BENCHMARK(BM_ApplyView)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();

// A binary STL of a sphere of `rings` x `segments` x 2 triangles (500 x
// 1,000 x 2: the million-triangle model), made once per run.
std::string s_sphere(int rings = 500, int segments = 1000) {
    const std::string path =
        s_hives->filePath(QString("sphere-%1x%2.stl").arg(rings).arg(segments)).toStdString();
    if (std::filesystem::exists(path)) return path;
    std::ofstream out(path, std::ios::binary);
    const std::string header(80, ' ');
    out.write(header.data(), 80);
    const uint32_t count = uint32_t(2 * rings * segments);
    out.write(reinterpret_cast<const char*>(&count), 4);
    auto at = [&](int r, int s, float* v) {
        const double theta = M_PI * r / rings, phi = 2 * M_PI * s / segments;
        v[0] = float(50 * std::sin(theta) * std::cos(phi));
        v[1] = float(50 * std::sin(theta) * std::sin(phi));
        v[2] = float(50 * std::cos(theta));
    };
    for (int r = 0; r < rings; ++r)
        for (int s = 0; s < segments; ++s)
            for (int t = 0; t < 2; ++t) {
                float facet[12] = {};
                // Both triangles of a quad wound the same way round.
                at(r, s, facet + 3);
                if (t == 0)
                    at(r + 1, s, facet + 6), at(r + 1, s + 1, facet + 9);
                else
                    at(r + 1, s + 1, facet + 6), at(r, s + 1, facet + 9);
                out.write(reinterpret_cast<const char*>(facet), 48);
                out.write("\0\0", 2);
            }
    return path;
}

// The generated STEP assembly of 512 plates (about 11 MB), made once.
std::string s_bigStep() {
    const std::string path = s_hives->filePath("plates.step").toStdString();
    if (!std::filesystem::exists(path))
        std::system(("'" + std::string(MAKESTEP_PATH) + "' '" + path + "' --grid 8").c_str());
    return path;
}

const char* const kLinkrods = "/usr/share/opencascade/data/step/linkrods.step";

std::string s_loadPath(int which) {
    return which == 0 ? s_sphere() : which == 1 ? kLinkrods : s_bigStep();
}

void BM_LoadModel(benchmark::State& state) {
    const std::string path = s_loadPath(int(state.range(0)));
    if (!std::filesystem::exists(path)) {
        state.SkipWithError(("no " + path + " (Debian package occt-misc)").c_str());
        return;
    }
    state.SetLabel(std::filesystem::path(path).filename().string());
    zul::scene::Model model;
    for (auto _ : state) {
        std::string why;
        model = {};
        if (!zul::scene::readModel(path, model, why)) {
            state.SkipWithError(why.c_str());
            return;
        }
    }
    state.counters["parts"] = double(model.parts.size());
    state.counters["triangles"] = double(model.triangles());
    state.counters["MB"] = double(std::filesystem::file_size(path)) / 1e6;
}
BENCHMARK(BM_LoadModel)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime();

// Drags the million-triangle model round by 3 degrees a frame, in zulview's
// window at its opening size. Arg: 1 with the drag budget (the coarse
// copies zulview draws while the mouse drags), 0 whole.
void BM_Orbit(benchmark::State& state) {
    const bool budget = state.range(0) != 0;
    zul::viewer::MainWindow window;
    QString error;
    if (!window.OpenModels({QString::fromStdString(s_sphere())}, error)) {
        state.SkipWithError(error.toStdString().c_str());
        return;
    }
    window.show();
    QApplication::processEvents();
    vtkRenderer* renderer = window.scene().renderer();
    window.renderWindow()->Render();
    // The coarse copies are made after the first picture, in the background.
    for (int i = 0; budget && i < 3000; ++i) {
        window.scene().setCoarse(true);
        if (window.scene().drawnTriangleCount() < window.scene().triangleCount()) break;
        QApplication::processEvents(QEventLoop::AllEvents, 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    window.scene().setCoarse(budget);
    window.renderWindow()->Render();
    size_t frames = 0;
    for (auto _ : state) {
        renderer->GetActiveCamera()->Azimuth(3);
        window.renderWindow()->Render();
        window.renderWindow()->WaitForCompletion();
        ++frames;
    }
    state.counters["fps"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
    state.counters["drawn_triangles"] = double(window.scene().drawnTriangleCount());
    // The drag ends: the whole model is drawn again.
    const auto released = std::chrono::steady_clock::now();
    window.scene().setCoarse(false);
    window.renderWindow()->Render();
    window.renderWindow()->WaitForCompletion();
    state.counters["release_ms"] =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - released)
            .count();
}
BENCHMARK(BM_Orbit)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(3.0)->UseRealTime();

// Arg 0: the sample; 1: a sphere of 188,000 triangles. Each iteration is
// one transition of 500 ms between two align views, its frames drawn as
// fast as they come (zulview draws one every 15 ms at most).
void BM_Transition(benchmark::State& state) {
    zul::viewer::MainWindow window;
    QString error;
    if (!window.StartModule(error)) {
        state.SkipWithError(("the module does not start: " + error.toStdString()).c_str());
        return;
    }
    if (state.range(0) == 0) {
        window.ShowSample();
    } else {
        const std::string sphere = s_sphere(235, 400); // 188,000 triangles
        if (!window.OpenModels({QString::fromStdString(sphere)}, error)) {
            state.SkipWithError(error.toStdString().c_str());
            return;
        }
    }
    window.show();
    QApplication::processEvents();
    window.SetTransitionMs(500);
    auto* viewer = window.host()->sceneViewer.Get();
    const UINT ends[2] = {krav::ids::kAlignPlusIsometric, krav::ids::kAlignMinusX};
    size_t frames = 0, k = 0;
    double seconds = 0;
    for (auto _ : state) {
        window.host()->Run(ends[k++ % 2]);
        const auto start = std::chrono::steady_clock::now();
        while (viewer->Frame()) {
            window.renderWindow()->WaitForCompletion();
            ++frames;
        }
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    state.counters["fps"] = double(frames) / seconds;
    state.counters["triangles"] = double(window.scene().triangleCount());
    window.SetTransitionMs(0);
    window.StopModule();
}
BENCHMARK(BM_Transition)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(6)
    ->UseRealTime();

void BM_Pictures(benchmark::State& state) {
    zul::viewer::MainWindow window;
    window.ShowSample();
    window.show();
    QApplication::processEvents();
    std::vector<unsigned char> rgb(96 * 72 * 3);
    int round = 0;
    for (auto _ : state) {
        ++round;
        for (int k = 0; k < 128; ++k) {
            // 128 directions round the model, new ones each round (no cache).
            const double a = 0.049 * k + 0.003 * round, b = 0.3 + 0.01 * k;
            const float direction[3] = {float(std::cos(a) * std::cos(b)),
                                        float(std::sin(a) * std::cos(b)), float(-std::sin(b))};
            const float up[3] = {0, 0, 1};
            if (window.host()->DrawViewPicture(direction, up, TRUE, 28, 96, 72, rgb.data()) !=
                S_OK) {
                state.SkipWithError("no picture drawn (is there a display?)");
                return;
            }
        }
    }
    state.counters["pictures"] = 128;
}
BENCHMARK(BM_Pictures)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// One whole command that opens a file and writes one picture of it.
double s_timeCommand(const std::string& command, bool& ok) {
    const auto start = std::chrono::steady_clock::now();
    ok = std::system((command + " >/dev/null 2>&1").c_str()) == 0;
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

// Arg 0: ours (krviews render), 1: f3d; range(1): the file as in LoadModel.
void BM_Peer(benchmark::State& state) {
    const bool f3d = state.range(0) == 1;
    const std::string path = s_loadPath(int(state.range(1)));
    const std::string png = s_hives->filePath("peer.png").toStdString();
    const std::string command =
        f3d ? "f3d --quiet --resolution 640,480 --output '" + png + "' '" + path + "'"
            : "'" + std::string(KRVIEWS_PATH) + "' render '" + path +
                  "' --view +Isometric --size 640x480 -o '" + png + "'";
    state.SetLabel(std::string(f3d ? "f3d " : "krviews ") +
                   std::filesystem::path(path).filename().string());
    for (auto _ : state) {
        bool ok = false;
        const double ms = s_timeCommand(command, ok);
        if (!ok) {
            state.SkipWithError(f3d ? "f3d cannot open it (Debian's f3d has no reader for it)"
                                    : "krviews render failed");
            return;
        }
        state.SetIterationTime(ms / 1000.0);
    }
}
BENCHMARK(BM_Peer)
    ->ArgsProduct({{0, 1}, {0, 1, 2}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

} // namespace

int main(int argc, char** argv) {
    QTemporaryDir hives;
    s_hives = &hives;
    qputenv("ZUL_USER_HIVE", hives.filePath("user.db").toUtf8());
    qputenv("ZUL_MACHINE_HIVE", hives.filePath("machine.db").toUtf8());
    qputenv("KRAV_MODULE", KRAV_MODULE_PATH);
    zul::viewer::SetUpSurfaceFormat();
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
