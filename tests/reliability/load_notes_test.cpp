// A load says what it did not do: what a file's reader left out or read as a
// default (with the line and the view), what the store refused, and why a
// load or a save failed, in true words. The statuses stay what they were.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "ComTest.h"
#include "RecordingUI.h"
#include "TempHive.h"
#include "Utf16.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"

namespace {

using krav::test::CRecordingUI;
using zul::com::ComPtr;

std::string record(const std::string& name, const std::string& view = "1 0 0",
                   const std::string& fov = "28") {
    return "Name:" + name + "\nUp:0 0 1\nView:" + view +
           "\nType:0\nNum:1\nFrom:0 0 0\nAt:0 0 0\nFov:" + fov + "\nHasAtAndFrom:0\nChange:530\n";
}
const std::string kHeader = "KRAdvancedViews Persistence File\n2\n";

class LoadNotes : public zul::test::TempHiveTest {
protected:
    void SetUp() override {
        TempHiveTest::SetUp();
        ASSERT_EQ(zul::com::createInstance<CViewManager>(
                      nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
                  S_OK);
        ui = zul::test::make<CRecordingUI, IHostUIService>();
        ComPtr<IObjectWithSite> site;
        ASSERT_EQ(store.As(site), S_OK);
        site->SetSite(static_cast<IHostUIService*>(ui.Get()));
    }
    // Loads `bytes` as `file`, and gives what was shown (one text).
    std::string load(const std::string& file, const std::string& bytes, FileTypeEnum type,
                     HRESULT expected = S_OK) {
        const std::string path = (dir_ / file).string();
        writeFile(path, bytes);
        ui->shown.clear();
        EXPECT_EQ(store->LoadViewsExt(path.c_str(), type), expected) << file;
        std::string all;
        for (const std::string& s : ui->shown)
            all += s + "\n";
        return all;
    }
    bool told() {
        ComPtr<IViewFileReport> report;
        return SUCCEEDED(store.As(report)) && report->ToldUserOfLastFailure();
    }
    bool has(const char* name) {
        FullViewInfo info;
        return store->GetViewInfo(name, &info) == S_OK;
    }
    ComPtr<IViewManager2> store;
    ComPtr<CRecordingUI> ui;
};

} // namespace

TEST_F(LoadNotes, WhatAReaderLeftOutIsToldByLineAndView) {
    // A clean file: nothing to say.
    EXPECT_EQ(load("clean.qjv", kHeader + record("Clean"), TextFile), "");

    std::string m = load("numbers.qjv",
                         kHeader + record("N1", "nan 0 1", "abc") + record("N2", "1e50 0 0") +
                             "Name:Cut\nUp:0 0 1\n",
                         TextFile);
    EXPECT_NE(m.find("numbers.qjv, was loaded:"), std::string::npos) << m;
    EXPECT_NE(m.find("View \"N1\", line 5: View is not three finite numbers"), std::string::npos)
        << m;
    EXPECT_NE(m.find("View \"N1\", line 10: Fov is not a number"), std::string::npos) << m;
    EXPECT_NE(m.find("View \"N2\", line 15: View is not"), std::string::npos) << m;
    EXPECT_NE(m.find("View \"Cut\" (line 23) is incomplete; it was not loaded"), std::string::npos)
        << m;
    EXPECT_TRUE(has("N1") && has("N2"));
    EXPECT_FALSE(has("Cut"));

    // A name of a megabyte: the line is longer than the reader takes.
    m = load("long.qjv", kHeader + record("Before") + record(std::string(1 << 20, 'n')), TextFile);
    EXPECT_NE(m.find("Line 13 is longer than the 1023 characters"), std::string::npos) << m;
    EXPECT_TRUE(has("Before"));

    // A lone surrogate in a UTF-16 file.
    std::string wide = zul::test::utf16le(kHeader + record("Fine") + record("Odd"));
    const size_t at = wide.find(zul::test::utf16le("Odd").substr(2));
    wide.replace(at, 2, std::string("\x00\xD8", 2));
    m = load("surrogate.qjv", wide, TextFile);
    EXPECT_NE(m.find("Line 13 is not valid UTF-16 text"), std::string::npos) << m;
    EXPECT_TRUE(has("Fine"));
}

TEST_F(LoadNotes, RegExportsCutShortOrWithLongLinesAreTold) {
    for (const char* name : {"First", "Second", "Third"}) {
        FullViewInfo info;
        ASSERT_EQ(store->CreateViewInfo(name, info), S_OK);
    }
    const std::string saved = (dir_ / "saved.reg").string();
    FullViewInfo info;
    const std::string longName(250, 'L');
    ASSERT_EQ(store->CreateViewInfo(longName.c_str(), info), S_OK);
    ASSERT_EQ(store->SaveViewsExt(saved.c_str(), RegistryFile), S_OK);
    const std::string text = readFile(saved);
    for (const std::string& name : {std::string("First"), longName})
        ASSERT_EQ(store->DestroyViewExt(name.c_str()), S_OK);

    std::string m = load("long.reg", text, RegistryFile);
    EXPECT_NE(m.find("is longer than the 255 characters"), std::string::npos) << m;
    EXPECT_NE(m.find("is incomplete; it was not loaded"), std::string::npos) << m;
    EXPECT_TRUE(has("First")) << "the views before the long line";

    // Cut after its third section: the count at its top says so.
    size_t cut = 0;
    for (int i = 0; i < 3; ++i)
        cut = text.find("@=\"Merged\"", cut + 1);
    m = load("cut.reg", text.substr(0, cut - 40), RegistryFile);
    EXPECT_NE(m.find("The file announces 12 views but holds "), std::string::npos) << m;
}

TEST_F(LoadNotes, ViewsTheStoreRefusesAreNamed) {
    // An 8-bit file over the store's limit: each view left out is named (the
    // first dozen notes, then a count).
    std::string file = kHeader;
    for (int i = 0; i < 140; ++i)
        file += record("Many " + std::to_string(i));
    const std::string m = load("many.qjv", file, TextFile);
    EXPECT_NE(m.find("was not loaded: the store holds at most 128 views"), std::string::npos) << m;
    EXPECT_NE(m.find("... and "), std::string::npos) << m;
    EXPECT_EQ(static_cast<CViewManager*>(store.Get())->slots().size(), 128u);

    // An empty name and a camera type the store does not know.
    const std::string odd = kHeader + record("") +
                            "Name:Typed\nUp:0 0 1\nView:1 0 0\nType:7\nNum:1\nFrom:0 0 0\nAt:0 "
                            "0 0\nFov:28\nHasAtAndFrom:0\nChange:530\n";
    ASSERT_EQ(store->DestroyViewExt("Many 0"), S_OK);
    const std::string n = load("odd.qjv", odd, TextFile);
    EXPECT_NE(n.find("View \"\" was not stored: it has no name"), std::string::npos) << n;
    EXPECT_NE(n.find("View \"Typed\" was not stored: its camera type"), std::string::npos) << n;
}

TEST_F(LoadNotes, FailuresSayWhyAndOnlyTheStoreSaysIt) {
    // Not a regular file: refused at once, in so many words.
    const std::string fifo = (dir_ / "fifo.qjv").string();
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    ui->shown.clear();
    EXPECT_EQ(store->LoadViewsExt(fifo.c_str(), TextFile), E_FAIL);
    ASSERT_EQ(ui->shown.size(), 1u);
    EXPECT_NE(ui->shown[0].find("could not be loaded: not a regular file"), std::string::npos);
    EXPECT_TRUE(told()) << "the dialog then shows nothing of its own";

    // Not a view file: the store has nothing to add to the dialog's message.
    EXPECT_EQ(load("hello.qjv", "hello\n", TextFile, E_FAIL), "");
    EXPECT_FALSE(told());

    // A save into a folder that does not exist says so.
    ui->shown.clear();
    const std::string nowhere = (dir_ / "missing" / "views.qjv").string();
    EXPECT_EQ(store->SaveViewsExt(nowhere.c_str(), TextFile), E_FAIL);
    ASSERT_EQ(ui->shown.size(), 1u);
    EXPECT_NE(ui->shown[0].find("could not be saved: No such file or directory"), std::string::npos)
        << ui->shown[0];
    EXPECT_TRUE(told());
}

// A hive the user may read but not write: the load stores nothing and says
// why, view by view. Run as another user when the tests run as root.
TEST_F(LoadNotes, AReadOnlyHiveIsTold) {
    FullViewInfo info;
    ASSERT_EQ(store->CreateViewInfo("Existing", info), S_OK);
    const std::string file = (dir_ / "ro.qjv").string();
    writeFile(file, kHeader + record("New"));
    ::chmod(dir_.c_str(), 0755);
    ::chmod(userHive_.c_str(), 0444);
    ::chmod(file.c_str(), 0444);
    const pid_t child = forkAlone();
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(10);
        ComPtr<IViewManager2> other;
        zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                               reinterpret_cast<void**>(other.GetAddressOf()));
        auto seen = zul::test::make<CRecordingUI, IHostUIService>();
        ComPtr<IObjectWithSite> site;
        if (!other || FAILED(other.As(site))) ::_exit(11);
        site->SetSite(static_cast<IHostUIService*>(seen.Get()));
        other->LoadViewsExt(file.c_str(), TextFile);
        const bool said = seen->shown.size() == 1 &&
                          seen->shown[0].find("View \"New\" was not stored") != std::string::npos &&
                          seen->shown[0].find("read-only") != std::string::npos;
        site->SetSite(nullptr);
        ::_exit(said ? 0 : 12);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "10: cannot drop root; 11: no store; 12: not told";
    ::chmod(userHive_.c_str(), 0600);
}
