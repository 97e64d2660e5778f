// Registry costs that the view store is built on. Run: build/default/bench/registry_bench
// The hive is a temporary file on the same file system as $TMPDIR.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "zul/registry/RegFile.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

namespace {

constexpr const char* kValueNames[20] = {
    "UpVector X",   "UpVector Y",  "UpVector Z",  "ViewVector X",    "ViewVector Y",
    "ViewVector Z", "Index",       "Camera Type", "Has At And From", "FromPoint X",
    "FromPoint Y",  "FromPoint Z", "AtPoint X",   "AtPoint Y",       "AtPoint Z",
    "FOV",          "Change Bits", "View Name",   "Extra A",         "Extra B"};

// µs per CRegHelper value write, each its own durable transaction.
void BM_WriteOwnTransaction(benchmark::State& state) {
    CRegHelper reg("Bench\\Own", RegPathUserSettings);
    float v = 0;
    for (auto _ : state) {
        if (reg.SetFloat("FOV", v += 1) != 0) state.SkipWithError("write failed");
    }
}
BENCHMARK(BM_WriteOwnTransaction)->Unit(benchmark::kMicrosecond);

// µs per value write inside one transaction of 20 writes (the writes only;
// the one commit is measured by the next benchmark).
void BM_WriteInTransactionOf20(benchmark::State& state) {
    CRegHelper reg("Bench\\Batch", RegPathUserSettings);
    float v = 0;
    for (auto _ : state) {
        zul::registry::Transaction tx;
        const auto start = std::chrono::steady_clock::now();
        for (const char* name : kValueNames)
            reg.SetFloat(name, v += 1);
        const auto end = std::chrono::steady_clock::now();
        if (tx.commit() != 0) state.SkipWithError("commit failed");
        state.SetIterationTime(std::chrono::duration<double>(end - start).count() / 20);
    }
}
BENCHMARK(BM_WriteInTransactionOf20)->UseManualTime()->Unit(benchmark::kMicrosecond);

// µs for a whole transaction of 20 writes with its commit.
void BM_TransactionOf20WithCommit(benchmark::State& state) {
    CRegHelper reg("Bench\\Batch", RegPathUserSettings);
    float v = 0;
    for (auto _ : state) {
        zul::registry::Transaction tx;
        for (const char* name : kValueNames)
            reg.SetFloat(name, v += 1);
        if (tx.commit() != 0) state.SkipWithError("commit failed");
    }
}
BENCHMARK(BM_TransactionOf20WithCommit)->Unit(benchmark::kMicrosecond);

// µs per value read.
void BM_Read(benchmark::State& state) {
    CRegHelper reg("Bench\\Read", RegPathUserSettings);
    reg.SetFloat("FOV", 45);
    float v = 0;
    for (auto _ : state) {
        if (reg.GetFloat("FOV", v) != 0) state.SkipWithError("read failed");
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_Read)->Unit(benchmark::kMicrosecond);

// 128 view keys "VIEW_%04d" under `parent` (below the settings root), 20
// values each, in one transaction.
void fillViews(const char* parent) {
    zul::registry::Transaction tx;
    for (int i = 1; i <= 128; ++i) {
        char key[64];
        std::snprintf(key, sizeof key, "%s\\VIEW_%04d", parent, i);
        CRegHelper reg(key, RegPathUserSettings);
        for (const char* name : kValueNames)
            reg.SetFloat(name, static_cast<float>(i));
    }
    tx.commit();
}

void fillStore() {
    static bool done = false;
    if (done) return;
    fillViews("Bench\\Store");
    done = true;
}

void startupPattern(benchmark::State& state) {
    HKEY base = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\Bench\\Store", 0, KEY_READ, &base) != 0) {
        state.SkipWithError("no store");
        return;
    }
    DWORD count = 0, maxLen = 0;
    RegQueryInfoKeyA(base, nullptr, nullptr, nullptr, &count, &maxLen, nullptr, nullptr, nullptr,
                     nullptr, nullptr, nullptr);
    std::string name(maxLen + 1, '\0');
    int reads = 0;
    for (DWORD i = 0; i < count; ++i) {
        DWORD cch = maxLen + 1;
        if (RegEnumKeyExA(base, i, name.data(), &cch, nullptr, nullptr, nullptr, nullptr) != 0)
            break;
        CRegHelper view(("Bench\\Store\\" + std::string(name.data(), cch)).c_str(),
                        RegPathUserSettings);
        float v = 0;
        for (const char* value : kValueNames)
            reads += view.GetFloat(value, v) == 0;
    }
    RegCloseKey(base);
    if (reads != 128 * 20) state.SkipWithError("short read");
}

// ms to enumerate 128 subkeys and read 20 values of each: the store's start-up.
void BM_StartupPattern(benchmark::State& state) {
    fillStore();
    for (auto _ : state)
        startupPattern(state);
}
BENCHMARK(BM_StartupPattern)->Unit(benchmark::kMillisecond);

// The same inside one read transaction (one lock instead of one per call).
void BM_StartupPatternInTransaction(benchmark::State& state) {
    fillStore();
    for (auto _ : state) {
        zul::registry::Transaction tx;
        startupPattern(state);
        tx.commit();
    }
}
BENCHMARK(BM_StartupPatternInTransaction)->Unit(benchmark::kMillisecond);

// `n` subkeys "Key<i>" under `parent`, each with an "Index" value, in one
// transaction.
void fillSubkeys(benchmark::State& state, const std::string& parent, int n) {
    zul::registry::Transaction tx;
    for (int i = 0; i < n; ++i) {
        HKEY k = nullptr;
        RegCreateKeyExA(HKEY_CURRENT_USER, (parent + "\\Key" + std::to_string(i)).c_str(), 0,
                        nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr);
        const DWORD v = DWORD(i);
        RegSetValueExA(k, "Index", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
        RegCloseKey(k);
    }
    if (tx.commit() != 0) state.SkipWithError("filling failed");
}

// ms to list every subkey of a key with N subkeys by index (RegEnumKeyExA,
// as `zulreg list` does); linear in N, as on Windows.
void BM_ListSubkeys(benchmark::State& state) {
    const int n = int(state.range(0));
    const std::string parent = "Software\\ZUL\\BenchList" + std::to_string(n);
    fillSubkeys(state, parent, n);
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, parent.c_str(), 0, KEY_READ, &key) != 0)
        state.SkipWithError("cannot open");
    for (auto _ : state) {
        char name[256];
        int listed = 0;
        for (DWORD i = 0;; ++i) {
            DWORD cch = sizeof name;
            if (RegEnumKeyExA(key, i, name, &cch, nullptr, nullptr, nullptr, nullptr) != 0) break;
            ++listed;
        }
        if (listed != n) state.SkipWithError("not every key listed");
    }
    RegCloseKey(key);
}
BENCHMARK(BM_ListSubkeys)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// ms to export a key with N subkeys of one value each as registry editor
// text (`zulreg export`); linear in N.
void BM_ExportSubkeys(benchmark::State& state) {
    const int n = int(state.range(0));
    const std::string parent = "Software\\ZUL\\BenchExport" + std::to_string(n);
    fillSubkeys(state, parent, n);
    for (auto _ : state) {
        std::string text;
        if (zul::registry::exportKey("HKEY_CURRENT_USER\\" + parent, text) != 0)
            state.SkipWithError("export failed");
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(BM_ExportSubkeys)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The hive check a process pays when it first opens a hive: ms for the first
// call on a copy no connection has opened yet (open, header, check, one key
// lookup), on a store of 128 views and on a 10 MB hive. The counter check_ms
// is SQLite's full check and the key-link check alone, on the same file.
std::string g_dir;
void buildOpenHive(const std::string& path, bool big) {
    setenv("ZUL_USER_HIVE", path.c_str(), 1);
    fillViews("KRAdvancedViews2");
    for (int i = 0; big && std::filesystem::file_size(path) < (10u << 20);) {
        zul::registry::Transaction tx;
        for (int end = i + 1000; i < end; ++i) {
            CRegHelper reg(("Big\\Key" + std::to_string(i)).c_str(), RegPathUserSettings);
            const std::string text = std::string(40, 'x') + std::to_string(i);
            for (int v = 0; v < 5; ++v)
                reg.SetString(("Value " + std::to_string(v)).c_str(), text.c_str());
        }
        tx.commit();
    }
}
double checkMs(const std::string& path) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    const auto start = std::chrono::steady_clock::now();
    for (const char* sql :
         {"PRAGMA integrity_check(5)",
          "WITH RECURSIVE r(id) AS (SELECT 1 UNION SELECT k.id FROM keys k JOIN r ON k.parent ="
          " r.id) SELECT (SELECT count(*) FROM r) = (SELECT count(*) FROM keys)"}) {
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(db, sql, -1, &s, nullptr);
        while (sqlite3_step(s) == SQLITE_ROW) {
        }
        sqlite3_finalize(s);
    }
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    sqlite3_close(db);
    return ms;
}
void BM_FirstOpenWithCheck(benchmark::State& state) {
    const bool big = state.range(0) != 0;
    const std::string saved = std::getenv("ZUL_USER_HIVE");
    const std::string src = g_dir + (big ? "/open-10mb.db" : "/open-128.db");
    if (!std::filesystem::exists(src)) buildOpenHive(src, big);
    static int copies = 0;
    int n = 0;
    double check = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const std::string copy = g_dir + "/open-copy-" + std::to_string(copies++) + ".db";
        ++n;
        std::filesystem::copy_file(src, copy);
        { std::ofstream(copy + ".backup") << "fresh"; } // no backup is due
        setenv("ZUL_USER_HIVE", copy.c_str(), 1);
        state.ResumeTiming();
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL", 0, KEY_READ, &key) != 0)
            state.SkipWithError("cannot open");
        RegCloseKey(key);
        state.PauseTiming();
        check += checkMs(copy);
        for (const char* suffix : {"", ".backup"})
            std::filesystem::remove(copy + suffix);
        state.ResumeTiming();
    }
    state.counters["MB"] = double(std::filesystem::file_size(src)) / (1 << 20);
    state.counters["check_ms"] = n ? check / n : 0;
    setenv("ZUL_USER_HIVE", saved.c_str(), 1);
}
BENCHMARK(BM_FirstOpenWithCheck)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    char tmpl[] = "/tmp/zul-registry-bench-XXXXXX";
    const char* base = std::getenv("TMPDIR");
    std::string dir;
    if (base && *base) {
        std::string t = std::string(base) + "/zul-registry-bench-XXXXXX";
        std::vector<char> buf(t.begin(), t.end());
        buf.push_back('\0');
        if (mkdtemp(buf.data())) dir = buf.data();
    } else if (mkdtemp(tmpl)) {
        dir = tmpl;
    }
    if (dir.empty()) return 1;
    g_dir = dir;
    setenv("ZUL_USER_HIVE", (dir + "/user.db").c_str(), 1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(dir);
    return 0;
}
