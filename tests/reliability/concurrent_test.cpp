// Two hosts, each with its own view store, work on one hive at once, on
// overlapping names. Every operation runs in a registry transaction that also
// draws the next number of a shared counter, so the numbers give the order in
// which the hive took the operations. Afterwards the hive must be intact, no
// operation may have failed (no busy error reaches a user), and replaying the
// two histories in that order on a fresh hive, with one store, must give every
// operation the same result and end in the same registry, byte for byte.
//
// `reliability_test --ops N` (or KRAV_CONCURRENT_OPS) sets the operations per
// host (default 2000).

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "HiveIntegrity.h"
#include "TempHive.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/RegFile.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

namespace {

constexpr int kNames = 12;

struct Op {
    std::string kind, a, b;
    int fov = 0;
};

std::string opText(const Op& op) {
    return op.kind + " " + op.a + " " + op.b + " " + std::to_string(op.fov);
}

Op parseOp(std::istream& in) {
    Op op;
    in >> op.kind >> op.a >> op.b >> op.fov;
    return op;
}

zul::com::ComPtr<IViewManager2> startStore() {
    zul::com::ComPtr<IViewManager2> s;
    zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                           reinterpret_cast<void**>(s.GetAddressOf()));
    return s;
}

HRESULT apply(IViewManager2* store, const Op& op) {
    FullViewInfo info;
    info.viewAngle = static_cast<float>(op.fov);
    if (op.kind == "create") return store->CreateViewInfo(op.a.c_str(), info);
    if (op.kind == "edit") {
        const HRESULT hr = store->GetViewInfo(op.a.c_str(), &info);
        if (hr != S_OK) return hr;
        info.viewAngle = static_cast<float>(op.fov);
        return store->EditViewInfo(op.a.c_str(), info);
    }
    if (op.kind == "rename") {
        // As a host does: a name that is taken is not given twice.
        if (store->GetViewInfo(op.b.c_str(), &info) == S_OK) return S_FALSE;
        return store->RenameViewExt(op.a.c_str(), op.b.c_str());
    }
    if (op.kind == "delete") return store->DestroyViewExt(op.a.c_str());
    if (op.kind == "default") return store->SetDefaultView(op.a.c_str());
    return E_INVALIDARG;
}

// One operation of a host as the hosts run them: in one registry
// transaction with the next number of the shared counter. Returns the
// operation's status; `seq` gets its number, 0 when the counter failed.
HRESULT numbered(IViewManager2* store, const Op& op, DWORD& seq) {
    zul::registry::Transaction tx;
    CRegHelper counter("ConcurrencyTest", RegPathUserSettings);
    seq = 0; // absent before the first operation
    counter.GetDWORD("Seq", seq);
    if (counter.SetDWORD("Seq", ++seq) != 0) seq = 0;
    const HRESULT hr = apply(store, op);
    if (tx.commit() != ERROR_SUCCESS) seq = 0;
    return hr;
}

// The host: random operations, each with its place in the hive's order.
[[noreturn]] void runHost(int host, int ops, const std::string& log) {
    std::ofstream out(log);
    auto store = startStore();
    std::mt19937 rng(static_cast<unsigned>(1234 + host));
    const char* kinds[] = {"create", "create", "edit", "rename", "delete", "default"};
    for (int i = 0; i < ops; ++i) {
        Op op;
        op.kind = kinds[rng() % 6];
        op.a = "V" + std::to_string(rng() % kNames);
        op.b = "V" + std::to_string(rng() % kNames);
        op.fov = static_cast<int>(rng() % 90);
        DWORD seq = 0;
        const HRESULT hr = numbered(store.Get(), op, seq);
        if (seq == 0) ::_exit(7);
        out << seq << " " << host << " " << opText(op) << " " << hr << "\n";
        if (FAILED(hr)) ::_exit(8); // a failure reaching the user
    }
    out.flush();
    ::_exit(out.good() ? 0 : 9);
}

std::string storeExport() {
    std::string text;
    zul::registry::exportKey("HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2", text);
    return text;
}

} // namespace

class ConcurrentHosts : public zul::test::TempHiveTest {};

TEST_F(ConcurrentHosts, TwoStoresOnOneHiveActAsSomeSerialOrder) {
    const char* env = std::getenv("KRAV_CONCURRENT_OPS");
    const int ops = env ? std::atoi(env) : 2000;
    std::vector<pid_t> hosts;
    for (int h = 0; h < 2; ++h) {
        const pid_t pid = forkAlone();
        ASSERT_GE(pid, 0);
        if (pid == 0) runHost(h, ops, (dir_ / ("host" + std::to_string(h) + ".log")).string());
        hosts.push_back(pid);
    }
    for (pid_t pid : hosts) {
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_EQ(WEXITSTATUS(status), 0)
            << "a host failed (6, 7: the counter, 8: a store operation)";
    }

    EXPECT_EQ(zul::test::hiveIntegrity(userHive_), "ok");

    // The two histories in the hive's order.
    struct Entry {
        int host;
        Op op;
        HRESULT hr;
    };
    std::map<int, Entry> history;
    for (int h = 0; h < 2; ++h) {
        std::ifstream in(dir_ / ("host" + std::to_string(h) + ".log"));
        std::string line;
        while (std::getline(in, line)) {
            std::istringstream fields(line);
            int seq = 0, host = -1;
            fields >> seq >> host;
            const Op op = parseOp(fields);
            HRESULT hr = E_FAIL;
            fields >> hr;
            EXPECT_TRUE(history.emplace(seq, Entry{host, op, hr}).second)
                << "order " << seq << " twice";
        }
    }
    ASSERT_EQ(history.size(), static_cast<size_t>(2 * ops));
    EXPECT_EQ(history.begin()->first, 1);
    EXPECT_EQ(history.rbegin()->first, 2 * ops) << "no acknowledged operation was lost";
    const std::string concurrent = storeExport();
    {
        auto check = startStore();
        std::set<std::string> seen;
        for (const std::string& name : static_cast<CViewManager*>(check.Get())->slots())
            if (!name.empty()) {
                EXPECT_TRUE(seen.insert(name).second) << "two views named " << name;
            }
        EXPECT_LE(seen.size(), static_cast<size_t>(kMaxViews));
        EXPECT_EQ(storeExport(), concurrent) << "a fresh start found something to repair";
    }

    // Two stores in one process replay them on a fresh hive, one operation
    // after the other in that order.
    ::setenv("ZUL_USER_HIVE", (dir_ / "replay.db").c_str(), 1);
    zul::com::ComPtr<IViewManager2> stores[2] = {startStore(), startStore()};
    int mismatches = 0;
    for (const auto& [seq, entry] : history) {
        DWORD replaySeq = 0;
        const HRESULT hr = numbered(stores[entry.host].Get(), entry.op, replaySeq);
        EXPECT_EQ(replaySeq, static_cast<DWORD>(seq));
        if (hr != entry.hr && ++mismatches <= 5)
            ADD_FAILURE() << "operation " << seq << " (" << opText(entry.op) << ") gave " << hr
                          << " in the replay, " << entry.hr << " when it ran";
    }
    EXPECT_EQ(storeExport(), concurrent) << "the hive is not the result of the serial order";
    std::printf("concurrent hosts: %d operations each, %d results differed\n", ops, mismatches);
}
