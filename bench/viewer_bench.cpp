// zulview's speed with the view module loaded, under an X server
// (xvfb-run -a build/default/bin/viewer_bench):
//   FirstFrame: ms from the process start of zulview to its first frame
//               (zulview --first-frame, run as a child; target <= 1500 ms);
//   ApplyView:  ms per stored view applied through the module, including the
//               redraw of the sample model (target <= 30 ms).
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QSurfaceFormat>
#include <QTemporaryDir>

#include <vtkGenericOpenGLRenderWindow.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

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
