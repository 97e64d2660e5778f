// Bad input: damaged and hostile view files and extreme names. Each gets a
// clear status, and whatever failed left the hive file byte for byte as it
// was. (Damaged, foreign, newer and read-only hives: registry_test.)

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include "TempHive.h"
#include "Utf16.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"

namespace {

using zul::com::ComPtr;

using zul::test::utf16le;

std::string record(const std::string& name) {
    return "Name:" + name +
           "\nUp:0 0 1\nView:1 0 0\nType:1\nNum:1\nFrom:0 0 0\nAt:0 0 "
           "0\nFov:30\nHasAtAndFrom:0\nChange:530\n";
}

const std::string kHeader = "KRAdvancedViews Persistence File\n2\n";

class BadInput : public zul::test::TempHiveTest {
protected:
    void SetUp() override {
        TempHiveTest::SetUp();
        ASSERT_EQ(zul::com::createInstance<CViewManager>(
                      nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
                  S_OK);
    }
    std::string names() {
        std::string out;
        for (const std::string& n : static_cast<CViewManager*>(store.Get())->slots())
            if (!n.empty()) out += n + ";";
        return out;
    }
    ComPtr<IViewManager2> store;
};

} // namespace

// Files the readers must refuse (E_FAIL: the caller shows message 109), and
// files with damaged records, which load what came before the damage and
// nothing else: a line the reader cannot take whole ends the parse, so no
// view ever appears under a cut-off name.
TEST_F(BadInput, DamagedViewFiles) {
    const std::string longName(4995, 'n');
    struct Case {
        const char* what;
        std::string bytes;
        FileTypeEnum type;
        HRESULT expected;
        const char* added; // the names the load adds
    } cases[] = {
        {"empty file", "", TextFile, E_FAIL, ""},
        {"byte-order mark alone", "\xFF\xFE", TextFile, E_FAIL, ""},
        {"wrong header", utf16le("KRAdvancedViews Persistence FILE\n2\n" + record("W")), TextFile,
         E_FAIL, ""},
        {"version 3", utf16le("KRAdvancedViews Persistence File\n3\n" + record("V3")), TextFile,
         E_FAIL, ""},
        {"8-bit version 3", "KRAdvancedViews Persistence File\n3\n" + record("V3"), TextFile,
         E_FAIL, ""},
        {"empty registry file", "", RegistryFile, E_FAIL, ""},
        {"odd-length UTF-16", utf16le(kHeader + record("Odd")) + "\x41", TextFile, S_OK, "Odd;"},
        {"line of 1023", kHeader + record(std::string(1018, 'a')), TextFile, S_OK, nullptr},
        {"line of 1024", kHeader + record(std::string(1019, 'b')), TextFile, S_OK, ""},
        {"line of 5000", kHeader + record(longName) + record("After"), TextFile, S_OK, ""},
        {"UTF-16 line of 5000", utf16le(kHeader + record(longName) + record("After")), TextFile,
         S_OK, ""},
        // The line is text up to its NUL, as the reader converts it.
        {"NUL in a name", utf16le(kHeader + record(std::string("Nu\0ll", 5))), TextFile, S_OK,
         "Nu;"},
        {"unpaired surrogate",
         utf16le(kHeader + "Name:A") + std::string("\x00\xD8", 2) +
             utf16le("B" + record("").substr(5) + record("After")).substr(2),
         TextFile, S_OK, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string path = (dir_ / "case.qjv").string();
        writeFile(path, c.bytes);
        const std::string hiveBefore = readFile(userHive_), namesBefore = names();
        EXPECT_EQ(store->LoadViewsExt(path.c_str(), c.type), c.expected);
        const std::string added = names().substr(namesBefore.size());
        EXPECT_EQ(added, c.added ? std::string(c.added) : std::string(1018, 'a') + ";");
        if (FAILED(c.expected)) {
            EXPECT_TRUE(sameBytes(readFile(userHive_), hiveBefore));
        }
        for (const char* n : {"After", "Odd", "Nu"})
            store->DestroyViewExt(n);
        if (!c.added) store->DestroyViewExt(std::string(1018, 'a').c_str());
        EXPECT_EQ(names(), namesBefore);
    }
}

// A 100 MB file of one endless line is refused at once by its size, without
// reading it.
TEST_F(BadInput, HundredMegabyteFile) {
    const std::string path = (dir_ / "huge.qjv").string();
    {
        std::ofstream out(path, std::ios::binary);
        out << kHeader << "Name:";
        const std::string block(1 << 20, 'x');
        for (int i = 0; i < 100; ++i)
            out << block;
    }
    const std::string namesBefore = names();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(store->LoadViewsExt(path.c_str(), TextFile), E_FAIL);
    std::printf("100 MB line: %.2f s\n",
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    EXPECT_EQ(names(), namesBefore);
}

// Names are values, not key names: 255, 256 and 10,000 bytes are stored and
// read back whole, renamed and deleted; an empty name is refused.
TEST_F(BadInput, ExtremeNames) {
    for (size_t length : {255u, 256u, 10000u}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'v'), renamed(length, 'w');
        FullViewInfo info;
        info.viewAngle = 12.5f;
        ASSERT_EQ(store->CreateViewInfo(name.c_str(), info), S_OK);
        FullViewInfo back;
        ASSERT_EQ(store->GetViewInfo(name.c_str(), &back), S_OK);
        EXPECT_EQ(back.viewAngle, 12.5f);
        EXPECT_EQ(store->GetViewInfo(name.substr(0, length - 1).c_str(), &back), S_FALSE)
            << "no prefix matches";
        {
            ComPtr<IViewManager2> restarted;
            zul::com::createInstance<CViewManager>(
                nullptr, IID_IViewManager2, reinterpret_cast<void**>(restarted.GetAddressOf()));
            EXPECT_EQ(restarted->GetViewInfo(name.c_str(), &back), S_OK) << "a new start finds it";
        }
        ASSERT_EQ(store->RenameViewExt(name.c_str(), renamed.c_str()), S_OK);
        EXPECT_EQ(store->GetViewInfo(renamed.c_str(), &back), S_OK);
        EXPECT_EQ(store->DestroyViewExt(renamed.c_str()), S_OK);
    }
    const std::string hiveBefore = readFile(userHive_);
    EXPECT_EQ(store->CreateViewInfo("", FullViewInfo{}), E_INVALIDARG);
    EXPECT_TRUE(sameBytes(readFile(userHive_), hiveBefore));
}
