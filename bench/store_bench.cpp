// The view store at its limit of 128 views. Run: build/default/bin/store_bench
// Each changing operation also reports x_commit: its time over the time of one
// durable registry commit (a one-value transaction) measured alongside it.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

namespace {

using Clock = std::chrono::steady_clock;

std::filesystem::path g_dir;

// Each benchmark starts from an empty hive of its own.
void freshHive(const char* name) {
    ::setenv("ZUL_USER_HIVE", (g_dir / (std::string(name) + ".db")).c_str(), 1);
}

zul::com::ComPtr<IViewManager2> startStore() {
    zul::com::ComPtr<IViewManager2> store;
    zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                           reinterpret_cast<void**>(store.GetAddressOf()));
    return store;
}

// Fills the store to `count` views (8 standard ones and V9, V10, ...).
void fill(IViewManager2* store, int count) {
    zul::registry::Transaction tx;
    for (int i = 9; i <= count; ++i)
        store->CreateViewInfo(("V" + std::to_string(i)).c_str(), FullViewInfo());
    tx.commit();
}

double durableCommitSeconds() {
    CRegHelper reg("Bench\\Commit", RegPathUserSettings);
    static int n = 0;
    const auto start = Clock::now();
    reg.SetInt("n", ++n);
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Runs `op` (timed) and `undo` (untimed) each iteration, with one durable
// commit timed beside it for the ratio.
template <class Op, class Undo>
void changing(benchmark::State& state, const char* hive, int views, Op op, Undo undo) {
    freshHive(hive);
    auto store = startStore();
    fill(store.Get(), views);
    double opTotal = 0, commitTotal = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        const HRESULT hr = op(store.Get());
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (FAILED(hr)) state.SkipWithError("operation failed");
        state.SetIterationTime(seconds);
        opTotal += seconds;
        undo(store.Get());
        commitTotal += durableCommitSeconds();
    }
    state.counters["x_commit"] = commitTotal > 0 ? opTotal / commitTotal : 0;
}

void BM_StartupWith128Views(benchmark::State& state) {
    freshHive("startup");
    fill(startStore().Get(), 128);
    for (auto _ : state) {
        auto store = startStore();
        benchmark::DoNotOptimize(store.Get());
    }
}
BENCHMARK(BM_StartupWith128Views)->Unit(benchmark::kMillisecond);

void BM_DurableCommit(benchmark::State& state) {
    for (auto _ : state) {
        const double s = durableCommitSeconds();
        state.SetIterationTime(s);
    }
}
BENCHMARK(BM_DurableCommit)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_GetViewInfo(benchmark::State& state) {
    freshHive("get");
    auto store = startStore();
    fill(store.Get(), 128);
    FullViewInfo info;
    for (auto _ : state)
        if (store->GetViewInfo("V100", &info) != S_OK) state.SkipWithError("read failed");
}
BENCHMARK(BM_GetViewInfo)->Unit(benchmark::kMicrosecond);

void BM_CreateViewInfo(benchmark::State& state) {
    changing(
        state, "create", 127,
        [](IViewManager2* s) { return s->CreateViewInfo("New", FullViewInfo()); },
        [](IViewManager2* s) { s->DestroyViewExt("New"); });
}
BENCHMARK(BM_CreateViewInfo)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_EditViewInfo(benchmark::State& state) {
    float angle = 10;
    changing(
        state, "edit", 128,
        [&angle](IViewManager2* s) {
            FullViewInfo info;
            info.viewAngle = angle += 1;
            return s->EditViewInfo("V100", info);
        },
        [](IViewManager2*) {});
}
BENCHMARK(BM_EditViewInfo)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_RenameViewExt(benchmark::State& state) {
    bool flip = false;
    changing(
        state, "rename", 128,
        [&flip](IViewManager2* s) {
            flip = !flip;
            return flip ? s->RenameViewExt("V100", "Renamed") : s->RenameViewExt("Renamed", "V100");
        },
        [](IViewManager2*) {});
}
BENCHMARK(BM_RenameViewExt)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_DestroyViewExt(benchmark::State& state) {
    changing(
        state, "destroy", 128, [](IViewManager2* s) { return s->DestroyViewExt("V100"); },
        [](IViewManager2* s) { s->CreateViewInfo("V100", FullViewInfo()); });
}
BENCHMARK(BM_DestroyViewExt)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    g_dir = fs::temp_directory_path() / ("zul-store-bench-" + std::to_string(::getpid()));
    fs::create_directories(g_dir);
    freshHive("commit");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fs::remove_all(g_dir);
    return 0;
}
