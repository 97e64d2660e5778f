// Crash consistency: a child process runs random store operations on a hive
// and is killed with SIGKILL at a random moment, again and again. After each
// kill the hive must be intact, the store must start, no view may be half
// written, every operation the child reported complete must be there (the
// one in flight may or may not be), a load is wholly there or wholly absent,
// and the store holds at most 128 views with unique indices.
//
// `reliability_test --runs N` (or KRAV_CRASH_RUNS) sets the number of kills
// (default 200).

#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "ChildReport.h"
#include "HiveIntegrity.h"
#include "TempHive.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/RegHelper.h"

namespace {

constexpr int kPool = 20;       // names N0..N19
constexpr int kLoadViews = 128; // L0..L127 in the load file: a store's worth

std::string poolName(int i) {
    return "N" + std::to_string(i);
}

// A create adds its view while the store has room; a full store refuses it.
void createModel(std::set<std::string>& names, const std::string& name) {
    if (names.size() < static_cast<size_t>(kMaxViews)) names.insert(name);
}

// A completed load replaces the views of the file's names and adds the
// others while there is room; the rest are left out.
void loadModel(std::set<std::string>& names) {
    for (int i = 0; i < kLoadViews; ++i) {
        const std::string name = "L" + std::to_string(i);
        if (!names.count(name)) createModel(names, name);
    }
}

zul::com::ComPtr<IViewManager2> startStore() {
    zul::com::ComPtr<IViewManager2> s;
    zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                           reinterpret_cast<void**>(s.GetAddressOf()));
    return s;
}

// The child: random operations forever, reporting each before and after.
[[noreturn]] void runChild(int fd, unsigned seed, const std::string& loadFile) {
    auto report = [fd](const std::string& line) {
        const std::string l = line + "\n";
        if (::write(fd, l.data(), l.size()) < 0) ::_exit(3);
    };
    auto store = startStore();
    std::mt19937 rng(seed);
    std::set<std::string> names;
    for (const auto& n : static_cast<CViewManager*>(store.Get())->slots())
        if (!n.empty()) names.insert(n);
    for (;;) {
        const int op = static_cast<int>(rng() % 6);
        const std::string a = poolName(static_cast<int>(rng() % kPool));
        const std::string b = poolName(static_cast<int>(rng() % kPool));
        std::string any =
            names.empty() ? a : *std::next(names.begin(), static_cast<long>(rng() % names.size()));
        FullViewInfo info;
        info.viewAngle = static_cast<float>(rng() % 90);
        info.bHasFromAndAt = static_cast<BOOL>(rng() % 2);
        std::string line;
        HRESULT hr = E_FAIL;
        switch (op) {
        case 0:
            if (names.count(a)) continue;
            line = "create " + a;
            report("begin " + line);
            hr = store->CreateViewInfo(a.c_str(), info);
            if (hr == E_UNEXPECTED) hr = S_FALSE; // the store is full: refused, nothing written
            if (hr == S_OK) names.insert(a);
            break;
        case 1:
            if (!names.count(any)) continue;
            line = "edit " + any;
            report("begin " + line);
            hr = store->EditViewInfo(any.c_str(), info);
            break;
        case 2:
            if (!names.count(any) || names.count(b)) continue;
            line = "rename " + any + " " + b;
            report("begin " + line);
            hr = store->RenameViewExt(any.c_str(), b.c_str());
            if (hr == S_OK) names.erase(any), names.insert(b);
            break;
        case 3:
            if (!names.count(any)) continue;
            line = "delete " + any;
            report("begin " + line);
            hr = store->DestroyViewExt(any.c_str());
            if (hr == S_OK) names.erase(any);
            break;
        case 4:
            if (!names.count(any)) continue;
            line = "default " + any;
            report("begin " + line);
            hr = store->SetDefaultView(any.c_str());
            break;
        default:
            line = "load";
            report("begin " + line);
            hr = store->LoadViewsExt(loadFile.c_str(), TextFile);
            if (SUCCEEDED(hr)) loadModel(names); // S_FALSE: some were left out, message 139
            break;
        }
        if (FAILED(hr)) ::_exit(4); // an operation that fails without a crash is a fault too
        report("done " + line);
    }
}

// Applies a completed operation to the model of stored names.
void applyOp(std::set<std::string>& names, const std::string& line) {
    std::istringstream in(line);
    std::string op, a, b;
    in >> op >> a >> b;
    if (op == "create")
        createModel(names, a);
    else if (op == "rename")
        names.erase(a), names.insert(b);
    else if (op == "delete")
        names.erase(a);
    else if (op == "load")
        loadModel(names);
}

// Every view key holds every value of its record.
std::string halfWrittenViews() {
    std::string bad;
    HKEY base = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\KRAdvancedViews2", 0, KEY_READ, &base) !=
        0)
        return bad;
    char sub[256];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof sub;
        if (RegEnumKeyExA(base, i, sub, &cch, nullptr, nullptr, nullptr, nullptr) != 0) break;
        CRegHelper reg((std::string("KRAdvancedViews2\\") + sub).c_str(), RegPathUserSettings);
        std::string name;
        int index = 0, bits = 0;
        DWORD type = 0;
        BOOL has = 0;
        float f = 0;
        bool ok = reg.GetString("View Name", name) == 0 && reg.GetInt("Index", index) == 0 &&
                  reg.GetDWORD("Camera Type", type) == 0 &&
                  reg.GetBOOL("Has At And From", has) == 0 && reg.GetFloat("FOV", f) == 0 &&
                  reg.GetInt("Change Bits", bits) == 0;
        for (const char* v : {"UpVector X", "UpVector Y", "UpVector Z", "ViewVector X",
                              "ViewVector Y", "ViewVector Z"})
            ok = ok && reg.GetFloat(v, f) == 0;
        if (has)
            for (const char* v : {"FromPoint X", "FromPoint Y", "FromPoint Z", "AtPoint X",
                                  "AtPoint Y", "AtPoint Z"})
                ok = ok && reg.GetFloat(v, f) == 0;
        if (!ok) bad += std::string(sub) + " ";
    }
    RegCloseKey(base);
    return bad;
}

// How many view keys the store's key holds.
DWORD storedViewKeys() {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\KRAdvancedViews2", 0, KEY_READ, &key) != 0)
        return 0;
    DWORD count = 0;
    RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                     nullptr, nullptr, nullptr);
    RegCloseKey(key);
    return count;
}

} // namespace

class CrashConsistency : public zul::test::TempHiveTest {};

TEST_F(CrashConsistency, KilledAtRandomTheStoreIsAlwaysWhole) {
    const char* env = std::getenv("KRAV_CRASH_RUNS");
    const int runs = env ? std::atoi(env) : 200;
    const std::string loadFile = (dir_ / "load.qjv").string();
    {
        std::string text = "KRAdvancedViews Persistence File\n2\n";
        for (int i = 0; i < kLoadViews; ++i)
            text += "Name:L" + std::to_string(i) +
                    "\nUp:0 0 1\nView:1 0 0\nType:1\nNum:1\nFrom:0 0 0\nAt:0 0 0\n"
                    "Fov:30\nHasAtAndFrom:0\nChange:530\n";
        writeFile(loadFile, text);
    }
    std::mt19937 rng(20261122);
    std::set<std::string> standard;
    {
        auto store = startStore(); // seeds the standard views
        for (const auto& n : static_cast<CViewManager*>(store.Get())->slots())
            if (!n.empty()) standard.insert(n);
    }
    std::set<std::string> model = standard;
    int completed = 0, inFlightLanded = 0;
    for (int run = 0; run < runs; ++run) {
        const unsigned seed = static_cast<unsigned>(rng());
        int fds[1] = {-1};
        const pid_t child = zul::test::startReportingChild(
            fds[0], [seed, &loadFile](int out) { runChild(out, seed, loadFile); });
        ASSERT_GT(child, 0);
        std::this_thread::sleep_for(std::chrono::microseconds(2000 + rng() % 40000));
        int status = 0;
        ASSERT_TRUE(zul::test::killChild(child, status))
            << "the child stopped by itself: exit " << WEXITSTATUS(status);

        std::string reported;
        zul::test::drainPipe(fds[0], reported);
        const zul::test::ChildReport report = zul::test::parseChildReport(reported);
        for (const std::string& op : report.done)
            applyOp(model, op);
        completed += int(report.done.size());
        const std::string& pending = report.pending;

        SCOPED_TRACE("run " + std::to_string(run) + ", in flight: " + pending);
        ASSERT_EQ(zul::test::hiveIntegrity(userHive_), "ok");
        ASSERT_EQ(halfWrittenViews(), "");
        const bool emptied = storedViewKeys() == 0;
        auto store = startStore();
        auto* impl = static_cast<CViewManager*>(store.Get());
        if (emptied) {
            // Every view was gone: the start seeded the standard views again.
            ASSERT_EQ(impl->startStatus(), S_FALSE);
            std::set<std::string> withPending = model;
            applyOp(withPending, pending);
            ASSERT_TRUE(model.empty() || withPending.empty()) << "the store lost views";
            if (!model.empty()) ++inFlightLanded;
            model = standard;
        } else {
            ASSERT_EQ(impl->startStatus(), S_OK);
        }
        std::set<std::string> stored;
        int defaults = 0;
        for (size_t i = 0; i < impl->slots().size(); ++i) {
            const std::string& s = impl->slots()[i];
            if (s.empty()) continue;
            ASSERT_TRUE(stored.insert(s).second) << "a name twice: " << s;
            FullViewInfo info;
            ASSERT_EQ(store->GetViewInfo(s.c_str(), &info), S_OK) << s;
            EXPECT_EQ(info.iViewIndex, static_cast<int>(i) + 1) << s;
            defaults += (info.iChangeBits & ViewChangeDefaultView) != 0;
        }
        ASSERT_LE(stored.size(), static_cast<size_t>(kMaxViews));
        EXPECT_LE(defaults, 1);
        if (stored != model) {
            // The operation in flight may have landed just before the kill.
            std::set<std::string> withPending = model;
            applyOp(withPending, pending);
            ASSERT_EQ(stored, withPending)
                << "stored state is neither before nor after the operation in flight";
            model = withPending;
            ++inFlightLanded;
        }
        // Loads are whole: the load file's views are all there or none is new.
        store.Reset();
    }
    std::printf("crash consistency: %d kills, %d operations completed, %d in-flight operations had "
                "landed\n",
                runs, completed, inFlightLanded);
}
