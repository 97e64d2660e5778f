// Reorders and multiple deletes under a reader and under kills: a child
// process moves views up and down and deletes several at once (as the
// Standard Views dialog does), re-creating views when few are left, and is
// killed with SIGKILL at a random moment. Meanwhile this process reads the
// list again and again, as a second viewer or `krviews list` would. Every
// list read, and the store after every kill, must be whole: indices 1..n
// without a gap, no view under the placeholder name, each name with its own
// record, at most one default view, and after a kill exactly the views the
// child's finished operations left (the one in flight landed or not).
//
// KRAV_REORDER_RUNS sets the number of kills (default 120).

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "ChildReport.h"
#include "HiveIntegrity.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "TempHive.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/Transaction.h"

namespace {

constexpr int kNames = 12; // V0..V11

// Each view's record says whose it is: its field of view is its number + 1.
float angleOf(int k) {
    return static_cast<float>(k + 1);
}

zul::com::ComPtr<IViewManager2> startStore() {
    zul::com::ComPtr<IViewManager2> s;
    zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                           reinterpret_cast<void**>(s.GetAddressOf()));
    return s;
}

// V0 is the default view, whenever it is stored.
FullViewInfo recordOf(int k) {
    FullViewInfo info;
    info.viewAngle = angleOf(k);
    info.pViewVector[0] = static_cast<float>(k);
    if (k == 0) info.iChangeBits |= ViewChangeDefaultView;
    return info;
}

// What is wrong with the list as read in one transaction; empty when whole.
std::string wholeness(IViewManager2* store, std::set<std::string>* names = nullptr) {
    zul::registry::Transaction tx;
    const auto views = krav::ListStoredViews(store);
    std::set<std::string> seen;
    int defaults = 0;
    std::ostringstream wrong;
    for (size_t i = 0; i < views.size(); ++i) {
        const auto& v = views[i];
        if (v.name == kPlaceholderViewName) wrong << "the placeholder is listed; ";
        if (!seen.insert(v.name).second) wrong << v.name << " twice; ";
        if (v.info.iViewIndex != static_cast<int>(i) + 1)
            wrong << v.name << " at index " << v.info.iViewIndex << ", row " << i + 1 << "; ";
        if (v.name.size() < 2 || v.name[0] != 'V' ||
            v.info.viewAngle != angleOf(std::atoi(v.name.c_str() + 1)))
            wrong << v.name << " holds the record of angle " << v.info.viewAngle << "; ";
        defaults += (v.info.iChangeBits & ViewChangeDefaultView) != 0;
        if (v.name == "V0" && !(v.info.iChangeBits & ViewChangeDefaultView))
            wrong << "V0 lost its default mark; ";
    }
    if (defaults > 1) wrong << defaults << " default views; ";
    if (names) *names = seen;
    return wrong.str();
}

// The child: moves and multiple deletes forever, reporting each operation
// before and after.
[[noreturn]] void runChild(int fd, unsigned seed) {
    auto report = [fd](const std::string& line) {
        const std::string l = line + "\n";
        if (::write(fd, l.data(), l.size()) < 0) ::_exit(3);
    };
    auto store = startStore();
    zul::com::ComPtr<IViewStoreEdits> edits;
    if (FAILED(store.As(edits))) ::_exit(5);
    std::mt19937 rng(seed);
    for (;;) {
        std::vector<std::string> names;
        for (const auto& v : krav::ListStoredViews(store.Get()))
            names.push_back(v.name);
        HRESULT hr = S_OK;
        std::string line;
        if (names.size() < 5) {
            // Few left: one comes back at the end of the list.
            for (int k = 0; k < kNames; ++k) {
                const std::string name = "V" + std::to_string(k);
                if (std::find(names.begin(), names.end(), name) != names.end()) continue;
                line = "create " + name;
                report("begin " + line);
                hr = store->CreateViewInfo(name.c_str(), recordOf(k));
                break;
            }
        } else if (rng() % 4 != 0) {
            const std::string& name = names[rng() % names.size()];
            const int direction = rng() % 2 ? MoveViewUp : MoveViewDown;
            line = "move " + name;
            report("begin " + line);
            hr = edits->MoveView(name.c_str(), direction);
        } else {
            std::vector<const char*> gone;
            line = "delete";
            for (int i = 0; i < 3; ++i) {
                const std::string& name = names[rng() % names.size()];
                if (std::find(gone.begin(), gone.end(), name) != gone.end()) continue;
                gone.push_back(name.c_str());
                line += " " + name;
            }
            report("begin " + line);
            hr = edits->DestroyViews(gone.data(), static_cast<int32_t>(gone.size()));
        }
        if (FAILED(hr)) ::_exit(4); // a failure without a crash is a fault too
        report("done " + line);
        // A person's pace, compressed: the reader gets the hive in between.
        ::usleep(300);
    }
}

void applyOp(std::set<std::string>& names, const std::string& line) {
    std::istringstream in(line);
    std::string op, name;
    in >> op;
    while (in >> name) {
        if (op == "create") names.insert(name);
        if (op == "delete") names.erase(name);
    }
}

} // namespace

class Reorder : public zul::test::TempHiveTest {};

TEST_F(Reorder, ReadersAndKillsAlwaysFindTheListWhole) {
    const char* env = std::getenv("KRAV_REORDER_RUNS");
    const int runs = env ? std::atoi(env) : 120;
    std::set<std::string> model;
    {
        auto store = startStore();
        for (const auto& v : krav::ListStoredViews(store.Get()))
            ASSERT_EQ(store->DestroyViewExt(v.name.c_str()), S_OK);
        for (int k = 0; k < kNames; ++k) {
            const std::string name = "V" + std::to_string(k);
            ASSERT_EQ(store->CreateViewInfo(name.c_str(), recordOf(k)), S_OK);
            model.insert(name);
        }
        ASSERT_EQ(wholeness(store.Get()), "");
    }
    std::mt19937 rng(20261123);
    auto reader = startStore();
    int reads = 0, completed = 0, moves = 0, deletes = 0;
    for (int run = 0; run < runs; ++run) {
        const unsigned seed = static_cast<unsigned>(rng());
        int fds[1] = {-1};
        const pid_t child =
            zul::test::startReportingChild(fds[0], [seed](int out) { runChild(out, seed); });
        ASSERT_GT(child, 0);
        ::fcntl(fds[0], F_SETFL, O_NONBLOCK);
        // Read while the child works, until it has finished a few operations
        // (whatever the machine's speed) and a moment more.
        const int finishedBeforeKill = 1 + int(rng() % 6);
        const auto extra = std::chrono::microseconds(rng() % 3000);
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::string reported;
        std::optional<std::chrono::steady_clock::time_point> until;
        // A read is one transaction, which takes the hive's write lock as
        // every scope does; the pause lets the writer have it in between.
        do {
            const std::string wrong = wholeness(reader.Get());
            ASSERT_EQ(wrong, "") << "a read during run " << run;
            ++reads;
            std::this_thread::sleep_for(std::chrono::microseconds(500));
            char buf[4096];
            for (ssize_t n; (n = ::read(fds[0], buf, sizeof buf)) > 0;)
                reported.append(buf, size_t(n));
            size_t done = 0;
            for (size_t at = reported.find("done "); at != std::string::npos;
                 at = reported.find("done ", at + 1))
                ++done;
            if (!until && done >= size_t(finishedBeforeKill))
                until = std::chrono::steady_clock::now() + extra;
            ASSERT_LT(std::chrono::steady_clock::now(), giveUp) << "the child makes no progress";
        } while (!until || std::chrono::steady_clock::now() < *until);
        int status = 0;
        ASSERT_TRUE(zul::test::killChild(child, status))
            << "the child stopped by itself: exit " << WEXITSTATUS(status);

        ::fcntl(fds[0], F_SETFL, 0);
        zul::test::drainPipe(fds[0], reported);
        const zul::test::ChildReport report = zul::test::parseChildReport(reported);
        for (const std::string& op : report.done) {
            applyOp(model, op);
            moves += op.rfind("move", 0) == 0;
            deletes += op.rfind("delete", 0) == 0;
        }
        completed += int(report.done.size());
        const std::string& pending = report.pending;

        SCOPED_TRACE("run " + std::to_string(run) + ", in flight: " + pending);
        ASSERT_EQ(zul::test::hiveIntegrity(userHive_), "ok");
        auto store = startStore();
        std::set<std::string> stored;
        ASSERT_EQ(wholeness(store.Get(), &stored), "");
        if (stored != model) {
            std::set<std::string> withPending = model;
            applyOp(withPending, pending);
            ASSERT_EQ(stored, withPending)
                << "the views are neither those before nor those after the operation in flight";
            model = withPending;
        }
    }
    EXPECT_GT(moves, runs / 2) << "the kills met moves";
    EXPECT_GT(deletes, 0);
    std::printf("reorders under kills: %d kills, %d operations completed (%d moves, %d multiple "
                "deletes), %d whole reads beside them\n",
                runs, completed, moves, deletes, reads);
}
