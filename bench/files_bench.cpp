// View files with 128 views. Run: build/default/bin/files_bench
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/Transaction.h"

namespace {

std::filesystem::path g_dir;

zul::com::ComPtr<IViewManager2> storeIn(const std::string& hive) {
    ::setenv("ZUL_USER_HIVE", (g_dir / hive).c_str(), 1);
    zul::com::ComPtr<IViewManager2> store;
    zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                           reinterpret_cast<void**>(store.GetAddressOf()));
    return store;
}

// A store of 128 views (the standard 8 and V9..V128) and its files.
void prepare() {
    static bool done = false;
    if (done) return;
    auto store = storeIn("source.db");
    zul::registry::Transaction tx;
    for (int i = 9; i <= 128; ++i) {
        FullViewInfo info;
        info.pFromVector[0] = static_cast<float>(i);
        store->CreateViewInfo(("V" + std::to_string(i)).c_str(), info);
    }
    tx.commit();
    store->SaveViewsExt((g_dir / "views.qjv").c_str(), TextFile);
    store->SaveViewsExt((g_dir / "views.reg").c_str(), RegistryFile);
    std::vector<std::string> names;
    for (const auto& n : static_cast<CViewManager*>(store.Get())->slots())
        names.push_back(n);
    std::ofstream out(g_dir / "views8.qjv", std::ios::binary);
    static_cast<CViewManager*>(store.Get())
        ->_saveToTextFile(&out, static_cast<int>(names.size()), names);
    done = true;
}

void BM_Save(benchmark::State& state, FileTypeEnum type, bool eightBit) {
    prepare();
    auto store = storeIn("source.db");
    auto* impl = static_cast<CViewManager*>(store.Get());
    const auto path = g_dir / "out.file";
    for (auto _ : state) {
        if (eightBit) {
            std::ofstream out(path, std::ios::binary);
            const auto& slots = impl->slots();
            impl->_saveToTextFile(&out, static_cast<int>(slots.size()), slots);
        } else if (store->SaveViewsExt(path.c_str(), type) != S_OK) {
            state.SkipWithError("save failed");
        }
    }
}
BENCHMARK_CAPTURE(BM_Save, qjv_utf16, TextFile, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Save, qjv_8bit, TextFile, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Save, reg, RegistryFile, false)->Unit(benchmark::kMillisecond);

// Loads 128 views into a store that holds only the other file's... nothing:
// each iteration starts from an empty hive (the time to empty it is not counted).
void BM_LoadIntoEmpty(benchmark::State& state, const char* file, FileTypeEnum type) {
    prepare();
    int n = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto store = storeIn("load-" + std::to_string(++n) + ".db");
        for (const char* s : {"+X", "+Y", "+Z", "-X", "-Y", "-Z", "+Isometric", "-Isometric"})
            store->DestroyViewExt(s);
        state.ResumeTiming();
        if (FAILED(store->LoadViewsExt((g_dir / file).c_str(), type)))
            state.SkipWithError("load failed");
        state.PauseTiming();
        store.Reset();
        std::filesystem::remove(g_dir / ("load-" + std::to_string(n) + ".db"));
        state.ResumeTiming();
    }
}
BENCHMARK_CAPTURE(BM_LoadIntoEmpty, qjv_utf16, "views.qjv", TextFile)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_LoadIntoEmpty, qjv_8bit, "views8.qjv", TextFile)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_LoadIntoEmpty, reg, "views.reg", RegistryFile)->Unit(benchmark::kMillisecond);

// 128 views into a store holding 128 views of the same names: each replaces one.
void BM_LoadOverSameNames(benchmark::State& state) {
    prepare();
    auto store = storeIn("source.db");
    for (auto _ : state)
        if (FAILED(store->LoadViewsExt((g_dir / "views.qjv").c_str(), TextFile)))
            state.SkipWithError("load failed");
}
BENCHMARK(BM_LoadOverSameNames)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    g_dir =
        std::filesystem::temp_directory_path() / ("zul-files-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(g_dir);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(g_dir);
    return 0;
}
