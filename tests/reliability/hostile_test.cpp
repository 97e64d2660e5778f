// Hostile surroundings: other local users, planted links. What is the user's
// stays readable by the user alone, and nothing is followed where it should
// not be.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "ComTest.h"
#include "RecordingSink.h"
#include "RunProgram.h"
#include "TempHive.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/Transaction.h"

namespace {

using zul::com::ComPtr;

class Hostile : public zul::test::TempHiveTest {};

mode_t modeOf(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

LSTATUS setValue(const char* name) {
    HKEY key = nullptr;
    LSTATUS st = RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\Test", 0, nullptr, 0,
                                 KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (st != ERROR_SUCCESS) return st;
    const DWORD v = 7;
    st = RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
    RegCloseKey(key);
    return st;
}

} // namespace

TEST_F(Hostile, AUsersHiveAndItsJournalAreTheUsersAlone) {
    const mode_t old = ::umask(022);
    const std::string folder = (dir_ / "config" / "zul").string(), hive = folder + "/user.db";
    ::setenv("ZUL_USER_HIVE", hive.c_str(), 1);
    {
        zul::registry::Transaction tx;
        ASSERT_EQ(setValue("a"), ERROR_SUCCESS);
        EXPECT_EQ(modeOf(hive + "-journal"), 0600u) << "the journal, while the write is open";
        ASSERT_EQ(tx.commit(), ERROR_SUCCESS);
    }
    EXPECT_EQ(modeOf(hive), 0600u);
    EXPECT_EQ(modeOf(folder), 0700u);
    EXPECT_EQ(modeOf((dir_ / "config").string()), 0700u) << "every folder made for it";

    // A hive that exists keeps the mode its owner gave it.
    ASSERT_EQ(::chmod(hive.c_str(), 0640), 0);
    ASSERT_EQ(setValue("b"), ERROR_SUCCESS);
    EXPECT_EQ(modeOf(hive), 0640u);

    // A link to nothing where the hive should be is not followed.
    const std::string planted = (dir_ / "planted.db").string(),
                      target = (dir_ / "elsewhere.db").string();
    ASSERT_EQ(::symlink(target.c_str(), planted.c_str()), 0);
    ::setenv("ZUL_USER_HIVE", planted.c_str(), 1);
    EXPECT_NE(setValue("c"), ERROR_SUCCESS);
    EXPECT_NE(zul::registry::lastErrorDetail().find("link"), std::string::npos)
        << zul::registry::lastErrorDetail();
    EXPECT_FALSE(std::filesystem::exists(target)) << "nothing created through the link";
    ::umask(old);
}

// A shared folder where another user planted links at the names a save used
// to write through.
TEST_F(Hostile, ASaveFollowsNoPlantedLinkKeepsTheModeAndSparesTheHive) {
    ComPtr<IViewManager2> store;
    ASSERT_EQ(zul::com::createInstance<CViewManager>(
                  nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK);
    const std::string victim = (dir_ / "victim").string(), target = (dir_ / "views.qjv").string();
    writeFile(victim, "another user's file");
    ASSERT_EQ(::chmod(victim.c_str(), 0600), 0);
    for (const char* suffix : {".saving", ".tmp"})
        ASSERT_EQ(::symlink(victim.c_str(), (target + suffix).c_str()), 0);
    writeFile(target, "old");
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    ASSERT_EQ(store->SaveViewsExt(target.c_str(), TextFile), S_OK);
    EXPECT_EQ(readFile(victim), "another user's file");
    EXPECT_EQ(modeOf(target), 0640u) << "the file keeps its mode";
    EXPECT_EQ(readFile(target).substr(0, 2), "\xFF\xFE");
    size_t left = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir_))
        left += entry.path().filename().string().rfind(".views.qjv", 0) == 0;
    EXPECT_EQ(left, 0u) << "no scratch file left behind";

    // The hive itself is never a view file's target.
    const std::string hive = readFile(userHive_);
    EXPECT_EQ(store->SaveViewsExt(userHive_.c_str(), RegistryFile), E_FAIL);
    EXPECT_TRUE(sameBytes(readFile(userHive_), hive));
    const auto r =
        zul::test::runProgram(std::string(ZULREG_PATH) + " export 'HKEY_CURRENT_USER\\Software' '" +
                              userHive_ + "' 2>&1");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("registry hive in use"), std::string::npos) << r.out;
    EXPECT_TRUE(sameBytes(readFile(userHive_), hive));
}

namespace {

std::vector<std::string> markedViews(IViewManager2* store) {
    std::vector<std::string> out;
    for (const std::string& n : static_cast<CViewManager*>(store)->slots()) {
        FullViewInfo info;
        if (!n.empty() && store->GetViewInfo(n.c_str(), &info) == S_OK &&
            (info.iChangeBits & ViewChangeDefaultView))
            out.push_back(n);
    }
    return out;
}

std::string markedRecord(const std::string& name) {
    return "Name:" + name +
           "\nUp:0 0 1\nView:1 0 0\nType:0\nNum:1\nFrom:0 0 0\nAt:0 0 0\nFov:28\nHasAtAndFrom:0\n"
           "Change:" +
           std::to_string(0x212 | ViewChangeDefaultView) + "\n";
}

} // namespace

// A view file that marks several views default cannot make a store with
// several defaults, and SetDefaultView clears every mark it finds.
TEST_F(Hostile, AtMostOneViewIsTheDefault) {
    ComPtr<IViewManager2> store;
    ASSERT_EQ(zul::com::createInstance<CViewManager>(
                  nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK);
    const std::string marked = (dir_ / "marked.qjv").string();
    writeFile(marked, "KRAdvancedViews Persistence File\n2\n" + markedRecord("A") +
                          markedRecord("B") + markedRecord("C"));
    ASSERT_EQ(store->LoadViewsExt(marked.c_str(), TextFile), S_OK);
    EXPECT_EQ(markedViews(store.Get()), std::vector<std::string>{"A"}) << "the first keeps it";
    ASSERT_EQ(store->SetDefaultView(nullptr), S_OK);
    EXPECT_TRUE(markedViews(store.Get()).empty());

    // Another view holds the mark: the loaded ones do not take it.
    ASSERT_EQ(store->SetDefaultView("+X"), S_OK);
    ASSERT_EQ(store->LoadViewsExt(marked.c_str(), TextFile), S_OK);
    EXPECT_EQ(markedViews(store.Get()), std::vector<std::string>{"+X"});
    // Saved and loaded back, the default stays where it was.
    const std::string saved = (dir_ / "saved.qjv").string();
    ASSERT_EQ(store->SaveViewsExt(saved.c_str(), TextFile), S_OK);
    ASSERT_EQ(store->LoadViewsExt(saved.c_str(), TextFile), S_OK);
    EXPECT_EQ(markedViews(store.Get()), std::vector<std::string>{"+X"});

    // A hive an older version left with three marks: SetDefaultView clears
    // each by an edit, announced, and marks the one asked for.
    for (const char* name : {"A", "B", "-Y"}) {
        FullViewInfo info;
        ASSERT_EQ(store->GetViewInfo(name, &info), S_OK);
        info.iChangeBits |= ViewChangeDefaultView;
        ASSERT_EQ(store->EditViewInfo(name, info), S_OK);
    }
    ASSERT_EQ(markedViews(store.Get()).size(), 4u);
    auto sink = zul::test::make<krav::test::CRecordingSink, IViewManagerSink>();
    ASSERT_EQ(store->RegisterInterest(sink.Get()), S_OK);
    ASSERT_EQ(store->SetDefaultView("C"), S_OK);
    EXPECT_EQ(markedViews(store.Get()), std::vector<std::string>{"C"});
    int edits = 0;
    for (const std::string& e : sink->events)
        edits += e.rfind("Edited(", 0) == 0;
    EXPECT_EQ(edits, 5) << "four marks cleared, one set";
    store->UnregisterInterest(sink.Get());
}

// Numbers that are not numbers never reach the store: a vector with any
// component that does not read (not finite, out of the float range, missing)
// keeps its default whole, a scalar likewise.
TEST_F(Hostile, NotANumberLeavesTheDefault) {
    ComPtr<IViewManager2> store;
    ASSERT_EQ(zul::com::createInstance<CViewManager>(
                  nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK);
    const std::string qjv = (dir_ / "numbers.qjv").string(), reg = (dir_ / "numbers.reg").string();
    writeFile(qjv, "KRAdvancedViews Persistence File\n2\nName:N\nUp:nan 0 1\nView:1 inf 0\n"
                   "Type:0\nNum:1\nFrom:1e50 0 0\nAt:4 5\nFov:-inf\nHasAtAndFrom:1\nChange:530\n");
    writeFile(reg, "REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2\\VIEW_0001]\n"
                   "@=\"Merged\"\n\"UpVector X\"=float:0\n\"UpVector Y\"=float:nan\n"
                   "\"UpVector Z\"=float:1\n\"ViewVector X\"=float:7\n\"FOV\"=float:inf\n"
                   "\"View Name\"=\"R\"\n\n");
    ASSERT_EQ(store->LoadViewsExt(qjv.c_str(), TextFile), S_OK);
    ASSERT_EQ(store->LoadViewsExt(reg.c_str(), RegistryFile), S_OK);
    const FullViewInfo defaults;
    FullViewInfo n, r;
    ASSERT_EQ(store->GetViewInfo("N", &n), S_OK);
    ASSERT_EQ(store->GetViewInfo("R", &r), S_OK);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(n.pUpVector[i], defaults.pUpVector[i]);
        EXPECT_EQ(n.pViewVector[i], defaults.pViewVector[i]);
        EXPECT_EQ(n.pFromVector[i], defaults.pFromVector[i]);
        EXPECT_EQ(n.pAtVector[i], defaults.pAtVector[i]) << "two numbers are not a vector";
        EXPECT_EQ(r.pUpVector[i], defaults.pUpVector[i]);
    }
    EXPECT_EQ(n.viewAngle, defaults.viewAngle);
    EXPECT_EQ(r.viewAngle, defaults.viewAngle);
    EXPECT_EQ(r.pViewVector[0], 7.0f) << "a vector that reads is taken";
}

// Inputs that are not regular files are refused at once: a FIFO no one
// writes to would otherwise hold the load, and the hive's lock, forever.
TEST_F(Hostile, AFifoOrAFolderIsRefusedAtOnce) {
    ComPtr<IViewManager2> store;
    ASSERT_EQ(zul::com::createInstance<CViewManager>(
                  nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK);
    const std::string fifo = (dir_ / "views.qjv").string();
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(store->LoadViewsExt(fifo.c_str(), TextFile), E_FAIL);
    EXPECT_EQ(store->LoadViewsExt(fifo.c_str(), RegistryFile), E_FAIL);
    EXPECT_EQ(store->LoadViewsExt(dir_.c_str(), TextFile), E_FAIL);
    for (const std::string& input : {fifo, dir_.string()}) {
        const auto r = zul::test::runProgram("timeout 20 " + std::string(ZULREG_PATH) +
                                             " import '" + input + "' 2>&1");
        EXPECT_EQ(r.status, 1) << r.out;
        EXPECT_NE(r.out.find("nothing was imported"), std::string::npos) << r.out;
    }
}
