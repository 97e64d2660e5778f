// Fault injection: the hive's file writes and syncs fail at the k-th call,
// for every k until the store operation gets through. Each failing attempt
// must return a failure status and leave the registry exactly as it was; the
// next operation, with the fault lifted, must work on the same store.

#include <sqlite3.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "ComTest.h"
#include "RecordingUI.h"
#include "TempHive.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/RegFile.h"

namespace {

// A VFS over the default one whose files fail their `failAt`-th write or
// sync (counted together, from arm()), with an I/O error.
struct FaultVfs {
    static inline sqlite3_vfs* real = nullptr;
    static inline sqlite3_vfs vfs{};
    static inline sqlite3_io_methods methods{};
    static inline int calls = 0, failAt = 0, injected = 0;
    // What a failing write returns: an I/O error, or SQLITE_FULL for a full disk.
    static inline int writeError = SQLITE_IOERR_WRITE;

    struct File {
        sqlite3_file base;
        sqlite3_file* real;
    };

    // Only the operation's own calls count: the day's backup, copied on a
    // thread of its own, writes through the same VFS.
    static inline std::thread::id armedBy;

    static void arm(int k) {
        armedBy = std::this_thread::get_id();
        calls = 0;
        failAt = k;
        injected = 0;
    }
    static void disarm() { failAt = 0; }
    static bool fault() {
        if (failAt == 0 || std::this_thread::get_id() != armedBy || ++calls != failAt) return false;
        ++injected;
        return true;
    }

    static sqlite3_file* inner(sqlite3_file* f) { return reinterpret_cast<File*>(f)->real; }

    static int open(sqlite3_vfs*, const char* name, sqlite3_file* f, int flags, int* outFlags) {
        auto* file = reinterpret_cast<File*>(f);
        file->real = reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(f) + sizeof(File));
        const int rc = real->xOpen(real, name, file->real, flags, outFlags);
        // A failed open leaves no methods: SQLite then does not close the file.
        file->base.pMethods = rc == SQLITE_OK ? &methods : nullptr;
        return rc;
    }

    static void install() {
        if (real) return;
        real = sqlite3_vfs_find(nullptr);
        vfs = *real;
        vfs.zName = "zul-fault";
        vfs.szOsFile = static_cast<int>(sizeof(File)) + real->szOsFile;
        vfs.xOpen = &FaultVfs::open;
        methods.iVersion = 1;
        methods.xClose = [](sqlite3_file* f) { return inner(f)->pMethods->xClose(inner(f)); };
        methods.xRead = [](sqlite3_file* f, void* p, int n, sqlite3_int64 o) {
            return inner(f)->pMethods->xRead(inner(f), p, n, o);
        };
        methods.xWrite = [](sqlite3_file* f, const void* p, int n, sqlite3_int64 o) {
            return fault() ? writeError : inner(f)->pMethods->xWrite(inner(f), p, n, o);
        };
        methods.xTruncate = [](sqlite3_file* f, sqlite3_int64 n) {
            return inner(f)->pMethods->xTruncate(inner(f), n);
        };
        methods.xSync = [](sqlite3_file* f, int flags) {
            return fault() ? SQLITE_IOERR_FSYNC : inner(f)->pMethods->xSync(inner(f), flags);
        };
        methods.xFileSize = [](sqlite3_file* f, sqlite3_int64* n) {
            return inner(f)->pMethods->xFileSize(inner(f), n);
        };
        methods.xLock = [](sqlite3_file* f, int l) {
            return inner(f)->pMethods->xLock(inner(f), l);
        };
        methods.xUnlock = [](sqlite3_file* f, int l) {
            return inner(f)->pMethods->xUnlock(inner(f), l);
        };
        methods.xCheckReservedLock = [](sqlite3_file* f, int* r) {
            return inner(f)->pMethods->xCheckReservedLock(inner(f), r);
        };
        methods.xFileControl = [](sqlite3_file* f, int op, void* a) {
            return inner(f)->pMethods->xFileControl(inner(f), op, a);
        };
        methods.xSectorSize = [](sqlite3_file* f) {
            return inner(f)->pMethods->xSectorSize(inner(f));
        };
        methods.xDeviceCharacteristics = [](sqlite3_file* f) {
            return inner(f)->pMethods->xDeviceCharacteristics(inner(f));
        };
        // The default for every connection opened from now on.
        sqlite3_vfs_register(&vfs, 1);
    }
};

class FaultInjection : public zul::test::TempHiveTest {
protected:
    void SetUp() override {
        TempHiveTest::SetUp();
        FaultVfs::install();
    }
    void TearDown() override {
        FaultVfs::disarm();
        FaultVfs::writeError = SQLITE_IOERR_WRITE;
        TempHiveTest::TearDown();
    }

    static std::string registry() {
        std::string text;
        EXPECT_EQ(zul::registry::exportKey("HKEY_CURRENT_USER\\Software", text), ERROR_SUCCESS);
        return text;
    }

    // Runs `op` with a fault at every k in turn until it succeeds. Returns
    // how many faulted attempts there were.
    int faultEveryStep(const char* what, IViewManager2* store, const std::function<HRESULT()>& op) {
        for (int k = 1; k < 1000; ++k) {
            const std::string before = registry();
            FaultVfs::arm(k);
            const HRESULT hr = op();
            FaultVfs::disarm();
            if (FaultVfs::injected == 0) {
                EXPECT_EQ(hr, S_OK) << what << ": without a fault";
                return k - 1;
            }
            EXPECT_TRUE(FAILED(hr)) << what << ": fault at step " << k << " reported as " << hr;
            EXPECT_EQ(registry(), before) << what << ": fault at step " << k << " left a trace";
            // The same store goes on working.
            FullViewInfo probe;
            EXPECT_EQ(store->CreateViewInfo("Probe", probe), S_OK) << what << ", step " << k;
            EXPECT_EQ(store->DestroyViewExt("Probe"), S_OK) << what << ", step " << k;
            if (::testing::Test::HasFailure()) return k;
        }
        ADD_FAILURE() << what << " never completed";
        return 0;
    }
};

} // namespace

TEST_F(FaultInjection, EveryStoreOperationIsAllOrNothing) {
    zul::com::ComPtr<IViewManager2> store;
    ASSERT_EQ(zul::com::createInstance<CViewManager>(
                  nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK);
    FullViewInfo info;
    info.viewAngle = 33;
    const std::string file = (dir_ / "views.qjv").string();
    ASSERT_EQ(store->SaveViewsExt(file.c_str(), TextFile), S_OK);
    int faults = 0;
    faults +=
        faultEveryStep("create", store.Get(), [&] { return store->CreateViewInfo("New", info); });
    info.viewAngle = 44;
    faults += faultEveryStep("edit", store.Get(), [&] { return store->EditViewInfo("+X", info); });
    faults += faultEveryStep("rename", store.Get(),
                             [&] { return store->RenameViewExt("+Y", "Renamed"); });
    faults += faultEveryStep("delete", store.Get(), [&] { return store->DestroyViewExt("+Z"); });
    faults +=
        faultEveryStep("set default", store.Get(), [&] { return store->SetDefaultView("-X"); });
    zul::com::ComPtr<IViewStoreEdits> edits;
    ASSERT_EQ(store.As(edits), S_OK);
    faults +=
        faultEveryStep("move", store.Get(), [&] { return edits->MoveView("-Y", MoveViewUp); });
    const char* several[] = {"+X", "-Z"};
    faults += faultEveryStep("delete several", store.Get(),
                             [&] { return edits->DestroyViews(several, 2); });
    faults += faultEveryStep("load", store.Get(),
                             [&] { return store->LoadViewsExt(file.c_str(), TextFile); });
    EXPECT_GT(faults, 6) << "every operation met at least one fault";
    std::printf("faulted attempts: %d\n", faults);
}

// A disk that fills up at any write of a load: the load stores nothing, and
// the user is told the disk is full, never that the file is not valid.
TEST_F(FaultInjection, AFullDiskIsToldAsAFullDisk) {
    using zul::com::ComPtr;
    ComPtr<IViewManager2> store;
    ASSERT_EQ(zul::com::createInstance<CViewManager>(
                  nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK);
    auto ui = zul::test::make<krav::test::CRecordingUI, IHostUIService>();
    ComPtr<IObjectWithSite> site;
    ASSERT_EQ(store.As(site), S_OK);
    site->SetSite(static_cast<IHostUIService*>(ui.Get()));
    std::string file = "KRAdvancedViews Persistence File\n2\n";
    for (int i = 0; i < 12; ++i)
        file += "Name:Full " + std::to_string(i) +
                "\nUp:0 0 1\nView:1 0 0\nType:0\nNum:1\nFrom:0 0 0\nAt:0 0 0\nFov:28\n"
                "HasAtAndFrom:0\nChange:530\n";
    const std::string path = (dir_ / "full.qjv").string();
    writeFile(path, file);
    FaultVfs::writeError = SQLITE_FULL;
    int faults = 0, fullSaid = 0;
    for (int k = 1; k < 1000; ++k) {
        const std::string before = registry();
        ui->shown.clear();
        FaultVfs::arm(k);
        const HRESULT hr = store->LoadViewsExt(path.c_str(), TextFile);
        FaultVfs::disarm();
        if (FaultVfs::injected == 0) {
            EXPECT_EQ(hr, S_OK);
            break;
        }
        ++faults;
        std::string shown;
        for (const std::string& s : ui->shown)
            shown += s + "\n";
        // SQLite reports a write that fails while it commits as an I/O
        // error; everywhere else the disk is called full.
        const bool full = shown.find("disk is full") != std::string::npos;
        fullSaid += full;
        EXPECT_TRUE(full || shown.find("disk I/O error") != std::string::npos)
            << "step " << k << ": " << shown;
        EXPECT_EQ(shown.find("not a valid"), std::string::npos) << "step " << k;
        EXPECT_TRUE(FAILED(hr)) << "step " << k;
        {
            EXPECT_EQ(registry(), before) << "step " << k;
            ComPtr<IViewFileReport> report;
            ASSERT_EQ(store.As(report), S_OK);
            EXPECT_TRUE(report->ToldUserOfLastFailure()) << "step " << k;
        }
        if (::testing::Test::HasFailure()) break;
    }
    EXPECT_GT(faults, 0);
    EXPECT_GT(fullSaid * 2, faults) << "most steps name the full disk";
    std::printf("%d steps of a load met a full disk; %d were told as a full disk\n", faults,
                fullSaid);
    site->SetSite(nullptr);
}
