#include <cstring>
#include <fstream>
#include <sstream>

#include "ComTest.h"
#include "RecordingSink.h"
#include "RecordingUI.h"
#include "TempHive.h"
#include "Utf16.h"
#include "ViewInfo.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/RegFile.h"
#include "zul/registry/RegHelper.h"

using krav::test::CRecordingSink;
using zul::com::ComPtr;
using zul::test::make;

namespace {

using krav::test::CRecordingUI;

ComPtr<IViewManager2> startStore() {
    ComPtr<IViewManager2> s;
    zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                           reinterpret_cast<void**>(s.GetAddressOf()));
    return s;
}

std::vector<std::string> slotsOf(IViewManager2* s) {
    return static_cast<CViewManager*>(s)->slots();
}

using zul::test::utf16le;

const char* kStandardRecords =
    "Name:+X\nUp:0 -1.03412e-13 1\nView:260.315 0 0\nType:0\nNum:1\nFrom:0 0 0\nAt:0 0 "
    "0\nFov:28\nHasAtAndFrom:0\nChange:530\n"
    "Name:+Y\nUp:0 -1.03412e-13 1\nView:0 260.315 0\nType:0\nNum:2\nFrom:0 0 0\nAt:0 0 "
    "0\nFov:28\nHasAtAndFrom:0\nChange:530\n"
    "Name:+Z\nUp:-2.06823e-13 1 -2.06823e-13\nView:0 0 260.315\nType:0\nNum:3\nFrom:0 0 0\nAt:0 0 "
    "0\nFov:28\nHasAtAndFrom:0\nChange:530\n"
    "Name:-X\nUp:0 -1.03412e-13 1\nView:-260.315 0 0\nType:0\nNum:4\nFrom:0 0 0\nAt:0 0 "
    "0\nFov:28\nHasAtAndFrom:0\nChange:530\n"
    "Name:-Y\nUp:-2.06823e-13 1.03412e-13 1\nView:0 -260.315 0\nType:0\nNum:5\nFrom:0 0 0\nAt:0 0 "
    "0\nFov:28\nHasAtAndFrom:0\nChange:530\n"
    "Name:-Z\nUp:0 1 0\nView:0 0 -260.315\nType:0\nNum:6\nFrom:0 0 0\nAt:0 0 "
    "0\nFov:28\nHasAtAndFrom:0\nChange:530\n"
    "Name:+Isometric\nUp:-0.40827 0.40827 0.816474\nView:-150.276 150.301 "
    "-150.301\nType:0\nNum:7\nFrom:0 0 0\nAt:0 0 0\nFov:28\nHasAtAndFrom:0\nChange:530\n"
    "Name:-Isometric\nUp:0.40827 0.40827 -0.816474\nView:-150.276 -150.301 "
    "-150.301\nType:0\nNum:8\nFrom:0 0 0\nAt:0 0 0\nFov:28\nHasAtAndFrom:0\nChange:530\n";

std::string regSection(int index, const char* name, const char* up[3], const char* view[3]) {
    char key[16];
    std::snprintf(key, sizeof key, "VIEW_%04d", index);
    std::string s = std::string("[HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2\\") + key +
                    "]\n@=\"Merged\"\n";
    const char* axes[3] = {"X", "Y", "Z"};
    for (int i = 0; i < 3; ++i)
        s += std::string("\"UpVector ") + axes[i] + "\"=float:" + up[i] + "\n";
    for (int i = 0; i < 3; ++i)
        s += std::string("\"ViewVector ") + axes[i] + "\"=float:" + view[i] + "\n";
    s += "\"Camera Type\"=dword:00000000\n\"Index\"=int:" + std::to_string(index) + "\n";
    for (const char* p :
         {"FromPoint X", "FromPoint Y", "FromPoint Z", "AtPoint X", "AtPoint Y", "AtPoint Z"})
        s += std::string("\"") + p + "\"=float:0\n";
    s += "\"FOV\"=float:28\n\"Change Bits\"=int:530\n\"View Name\"=\"" + std::string(name) +
         "\"\n\n";
    return s;
}

FullViewInfo sample(float seed) {
    FullViewInfo r;
    r.pUpVector[0] = 0;
    r.pUpVector[1] = seed;
    r.pUpVector[2] = 1;
    r.pViewVector[0] = -2.5f * seed;
    r.pViewVector[1] = 100;
    r.pViewVector[2] = 1e-7f;
    r.cameraType = Orthographic;
    r.pFromVector[0] = 1;
    r.pFromVector[1] = 2;
    r.pFromVector[2] = seed;
    r.pAtVector[2] = -4;
    r.viewAngle = 33.5f;
    r.iChangeBits = 0x12226;
    r.bHasFromAndAt = 1;
    return r;
}

} // namespace

class ViewFiles : public zul::test::TempHiveTest {
protected:
    std::string file(const char* name) { return (dir_ / name).string(); }
};

TEST_F(ViewFiles, StandardViewsAreWrittenByteForByte) {
    auto s = startStore();
    const std::string qjv = file("views.qjv"), reg = file("views.reg");
    ASSERT_EQ(s->SaveViewsExt(qjv.c_str(), TextFile), S_OK);
    ASSERT_EQ(s->SaveViewsExt(reg.c_str(), RegistryFile), S_OK);

    EXPECT_EQ(readFile(qjv),
              utf16le(std::string("KRAdvancedViews Persistence File\n2\n") + kStandardRecords));

    const char* tiny[3] = {"0", "-1.03412e-13", "1"};
    const char* tiny2[3] = {"-2.06823e-13", "1", "-2.06823e-13"};
    const char* tinyY[3] = {"-2.06823e-13", "1.03412e-13", "1"};
    const char* upZ[3] = {"0", "1", "0"};
    const char* isoP[3] = {"-0.40827", "0.40827", "0.816474"};
    const char* isoN[3] = {"0.40827", "0.40827", "-0.816474"};
    const char* vX[3] = {"260.315", "0", "0"};
    const char* vY[3] = {"0", "260.315", "0"};
    const char* vZ[3] = {"0", "0", "260.315"};
    const char* vmX[3] = {"-260.315", "0", "0"};
    const char* vmY[3] = {"0", "-260.315", "0"};
    const char* vmZ[3] = {"0", "0", "-260.315"};
    const char* vIp[3] = {"-150.276", "150.301", "-150.301"};
    const char* vIn[3] = {"-150.276", "-150.301", "-150.301"};
    const std::string expected =
        "REGEDIT4\n\n[HKEY_CURRENT_USER\\Software]\n[HKEY_CURRENT_USER\\Software\\ZUL]\n"
        "[HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2]\n\"Merged "
        "Views\"=dword:00000008\n\n" +
        regSection(1, "+X", tiny, vX) + regSection(2, "+Y", tiny, vY) +
        regSection(3, "+Z", tiny2, vZ) + regSection(4, "-X", tiny, vmX) +
        regSection(5, "-Y", tinyY, vmY) + regSection(6, "-Z", upZ, vmZ) +
        regSection(7, "+Isometric", isoP, vIp) + regSection(8, "-Isometric", isoN, vIn);
    EXPECT_EQ(readFile(reg), expected);

    // No views: an empty file is left behind and S_FALSE returned.
    for (const char* n : {"+X", "+Y", "+Z", "-X", "-Y", "-Z", "+Isometric", "-Isometric"})
        s->DestroyViewExt(n);
    const std::string empty = file("empty.qjv");
    EXPECT_EQ(s->SaveViewsExt(empty.c_str(), TextFile), S_FALSE);
    EXPECT_TRUE(std::filesystem::exists(empty));
    EXPECT_EQ(s->SaveViewsExt(empty.c_str(), static_cast<FileTypeEnum>(2)), E_INVALIDARG);
    EXPECT_EQ(s->SaveViewsExt(nullptr, TextFile), E_FAIL);
    EXPECT_EQ(s->SaveViewsExt((dir_ / "missing" / "x.qjv").c_str(), TextFile), E_FAIL);
}

TEST_F(ViewFiles, SaveThenLoadGivesBackEveryView) {
    const std::vector<std::string> names = {"Plain", "With blanks inside", "Colon: in name",
                                            "Grüße ☃ 視点"};
    {
        auto s = startStore();
        for (size_t i = 0; i < names.size(); ++i)
            ASSERT_EQ(s->CreateViewInfo(names[i].c_str(), sample(float(i))), S_OK);
        FullViewInfo noPoints = sample(9);
        noPoints.bHasFromAndAt = 0;
        std::memset(noPoints.pFromVector, 0, sizeof noPoints.pFromVector);
        std::memset(noPoints.pAtVector, 0, sizeof noPoints.pAtVector);
        ASSERT_EQ(s->CreateViewInfo("NoPoints", noPoints), S_OK);
        ASSERT_EQ(s->SaveViewsExt(file("all.qjv").c_str(), TextFile), S_OK);
        ASSERT_EQ(s->SaveViewsExt(file("all.reg").c_str(), RegistryFile), S_OK);
    }
    for (const char* f : {"all.qjv", "all.reg"}) {
        SCOPED_TRACE(f);
        const std::string other = (dir_ / (std::string("other-") + f + ".db")).string();
        ::setenv("ZUL_USER_HIVE", other.c_str(), 1);
        auto s = startStore();
        ASSERT_EQ(s->DestroyViewExt("+Y"), S_OK);
        ASSERT_EQ(s->LoadViewsExt(file(f).c_str(),
                                  std::string(f).ends_with(".reg") ? RegistryFile : TextFile),
                  S_OK);
        for (size_t i = 0; i < names.size(); ++i) {
            FullViewInfo r;
            ASSERT_EQ(s->GetViewInfo(names[i].c_str(), &r), S_OK) << names[i];
            FullViewInfo expected = sample(float(i));
            std::string why;
            EXPECT_TRUE(krav::CompareViewInfo(r, expected, &why)) << names[i] << ": " << why;
            EXPECT_EQ(std::memcmp(r.pViewVector, expected.pViewVector, sizeof r.pViewVector), 0);
            EXPECT_EQ(r.viewAngle, expected.viewAngle);
            // Every sample carries the default mark; after a load at most one
            // view does: the first of the file's marked views.
            EXPECT_EQ(r.iChangeBits, i == 0 ? expected.iChangeBits
                                            : expected.iChangeBits & ~ViewChangeDefaultView);
            EXPECT_EQ(r.bHasFromAndAt, 1);
            EXPECT_EQ(r.pFromVector[1], 2.0f);
        }
        FullViewInfo r;
        ASSERT_EQ(s->GetViewInfo("NoPoints", &r), S_OK);
        EXPECT_EQ(r.bHasFromAndAt, 0);
        // Same names replace; indices close up: 13 views, 1..13.
        const auto slots = slotsOf(s.Get());
        EXPECT_EQ(slots.size(), 13u);
        EXPECT_EQ(std::count(slots.begin(), slots.end(), std::string()), 0);
        EXPECT_EQ(std::count(slots.begin(), slots.end(), std::string("+X")), 1);
    }
}

TEST_F(ViewFiles, OtherByteOrdersVersionsAndLineEnds) {
    auto s = startStore();
    const std::string v2 =
        "KRAdvancedViews Persistence File\n2\nNAME : Front\nUp:0 0 1\nView:0 -1 0\nType:1\nNum:77\n"
        "From:0 0 0\nAt:0 0 0\nFov:45\nHasAtAndFrom:1\nChange:8192\n";
    // Big-endian UTF-16.
    std::string be = "\xFE\xFF";
    for (const char c : v2) {
        be += '\0';
        be += c;
    }
    writeFile(file("be.qjv"), be);
    ASSERT_EQ(s->LoadViewsExt(file("be.qjv").c_str(), TextFile), S_OK);
    FullViewInfo r;
    ASSERT_EQ(s->GetViewInfo("Front", &r), S_OK);
    EXPECT_EQ(r.iViewIndex, 9) << "numbered after the highest stored index, not by Num";
    EXPECT_EQ(r.viewAngle, 45.0f);
    EXPECT_EQ(r.bHasFromAndAt, 0) << "from and at all zero clear the flag";
    EXPECT_EQ(r.pViewVector[1], -1.0f);

    // 8-bit with CRLF line ends, and a header with something after it (refused by the 8-bit
    // reader).
    std::string crlf;
    for (const char c : std::string(v2)) {
        if (c == '\n') crlf += '\r';
        crlf += c;
    }
    size_t at = crlf.find("Front");
    crlf.replace(at, 5, "Back");
    writeFile(file("crlf.qjv"), crlf);
    ASSERT_EQ(s->LoadViewsExt(file("crlf.qjv").c_str(), TextFile), S_OK);
    ASSERT_EQ(s->GetViewInfo("Back", &r), S_OK);
    EXPECT_EQ(r.iChangeBits, 8192);

    // Version 1 (8-bit).
    writeFile(file("v1.qjv"), "KRAdvancedViews Persistence File\n1\nOld One\n0 0 1\n5 5 "
                              "5\n0\n3\nOld Two\n1 0 0\n0 1 0\n1\n4\n\n");
    ASSERT_EQ(s->LoadViewsExt(file("v1.qjv").c_str(), TextFile), S_OK);
    ASSERT_EQ(s->GetViewInfo("Old One", &r), S_OK);
    EXPECT_EQ(r.cameraType, Orthographic);
    EXPECT_EQ(r.pViewVector[0], 5.0f);
    EXPECT_EQ(r.viewAngle, 28.0f);
    ASSERT_EQ(s->GetViewInfo("Old Two", &r), S_OK);
    EXPECT_EQ(r.cameraType, Perspective);
    EXPECT_EQ(slotsOf(s.Get()).size(), 12u);

    // Version 1 in UTF-16, and a second line that is no number (read as version 2).
    writeFile(file("v1w.qjv"),
              utf16le("KRAdvancedViews Persistence File\n1\nWide Old\n0 1 0\n0 0 -3\n1\n9\n\n"));
    ASSERT_EQ(s->LoadViewsExt(file("v1w.qjv").c_str(), TextFile), S_OK);
    ASSERT_EQ(s->GetViewInfo("Wide Old", &r), S_OK);
    EXPECT_EQ(r.pViewVector[2], -3.0f);
    writeFile(file("nover.qjv"),
              "KRAdvancedViews Persistence File\nabc\nName:No Version\nChange:5\n");
    ASSERT_EQ(s->LoadViewsExt(file("nover.qjv").c_str(), TextFile), S_OK);
    ASSERT_EQ(s->GetViewInfo("No Version", &r), S_OK);
    EXPECT_EQ(r.iChangeBits, 5);

    // A registry export holding a key of the older layout: the name is in the key.
    std::string encoded;
    krav::s_encode("Legacy\\View", encoded);
    writeFile(
        file("old.reg"),
        "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews\\" + encoded +
            "]\r\n@=\"Merged\"\r\n\"UpVector Z\"=float:1\r\n\"Camera Type\"=dword:00000001\r\n"
            "\"FOV\"=float:12.5\r\n\r\n");
    ASSERT_EQ(s->LoadViewsExt(file("old.reg").c_str(), RegistryFile), S_OK);
    ASSERT_EQ(s->GetViewInfo("Legacy\\View", &r), S_OK)
        << ::testing::PrintToString(slotsOf(s.Get()));
    EXPECT_EQ(r.viewAngle, 12.5f);
    EXPECT_EQ(r.cameraType, Perspective);
    EXPECT_EQ(r.bHasFromAndAt, 0);
}

TEST_F(ViewFiles, AFailedLoadChangesNothingAndIsOneBatch) {
    auto s = startStore();
    auto sink = make<CRecordingSink, IViewManagerSink>();
    s->RegisterInterest(sink.Get());
    const std::string before = readFile(userHive_);
    writeFile(file("wrong.qjv"), "Some Other Header\n2\nName:X\nChange:0\n");
    writeFile(file("v3.qjv"), "KRAdvancedViews Persistence File\n3\nName:X\nChange:0\n");
    writeFile(file("bare-utf16.qjv"), utf16le("KRAdvancedViews Persistence File\n2\n").substr(2));
    writeFile(file("notreg.reg"), "Windows Registry Editor Version 5.00\n");
    writeFile(file("bad-utf16.qjv"), std::string("\xFF\xFE", 2) + "K\0R\0\x00\xD8x\0\n\0");
    for (const char* f :
         {"wrong.qjv", "v3.qjv", "bare-utf16.qjv", "notreg.reg", "missing.qjv", "bad-utf16.qjv"}) {
        sink->events.clear();
        const FileTypeEnum type = std::string(f).ends_with(".reg") ? RegistryFile : TextFile;
        EXPECT_EQ(s->LoadViewsExt(file(f).c_str(), type), E_FAIL) << f;
        EXPECT_EQ(sink->events, (std::vector<std::string>{"BatchBegin()", "BatchEnd()"})) << f;
    }
    EXPECT_EQ(s->LoadViewsExt(file("wrong.qjv").c_str(), static_cast<FileTypeEnum>(5)),
              E_INVALIDARG);
    EXPECT_EQ(s->LoadViewsExt(nullptr, TextFile), E_FAIL);
    EXPECT_TRUE(sameBytes(readFile(userHive_), before));
    EXPECT_EQ(slotsOf(s.Get()).size(), 8u);

    // A header with more after it passes the UTF-16 reader's prefix compare.
    writeFile(file("copy.qjv"),
              utf16le("KRAdvancedViews Persistence File (copy)\n2\nName:Copied\nChange:0\n"));
    EXPECT_EQ(s->LoadViewsExt(file("copy.qjv").c_str(), TextFile), S_OK);
    FullViewInfo r;
    EXPECT_EQ(s->GetViewInfo("Copied", &r), S_OK);
    // A last record whose Change line lacks its line feed is lost.
    writeFile(file("cut.qjv"), utf16le("KRAdvancedViews Persistence File\n2\nName:Cut\nChange:0"));
    EXPECT_EQ(s->LoadViewsExt(file("cut.qjv").c_str(), TextFile), S_OK);
    EXPECT_EQ(s->GetViewInfo("Cut", &r), S_FALSE);
    s->UnregisterInterest(sink.Get());
}

TEST_F(ViewFiles, LoadingIntoAFullStoreNeverPassesTheLimit) {
    std::string text = "KRAdvancedViews Persistence File\n2\n";
    for (int i = 0; i < 128; ++i)
        text += "Name:F" + std::to_string(i) +
                "\nUp:0 0 1\nView:1 0 0\nType:0\nNum:1\nFrom:0 0 0\nAt:0 0 0\nFov:28\n"
                "HasAtAndFrom:0\nChange:530\n";
    writeFile(file("f.qjv"), utf16le(text));
    auto s = startStore();
    auto ui = make<CRecordingUI, IHostUIService>();
    ComPtr<IObjectWithSite> site;
    ASSERT_EQ(s.As(site), S_OK);
    site->SetSite(ui.Get());
    ASSERT_EQ(s->LoadViewsExt(file("f.qjv").c_str(), TextFile), S_OK);
    EXPECT_EQ(slotsOf(s.Get()).size(), 128u) << "8 standard views and 120 of the file";
    EXPECT_EQ(
        ui->shown,
        std::vector<std::string>{
            "The maximum number of views are set.  Some views may not have been loaded. [!]"});
    // Loading the same names again replaces them and leaves nothing out.
    ui->shown.clear();
    ASSERT_EQ(s->LoadViewsExt(file("f.qjv").c_str(), TextFile), S_OK);
    EXPECT_EQ(slotsOf(s.Get()).size(), 128u);
    EXPECT_EQ(ui->shown.size(), 1u) << "F120..F127 still have no room";
    site->SetSite(nullptr);
}

TEST_F(ViewFiles, TheRegistryEditorsRoadThroughMergedKeys) {
    {
        auto s = startStore();
        ASSERT_EQ(s->CreateViewInfo("Imported", sample(3)), S_OK);
        ASSERT_EQ(s->SaveViewsExt(file("x.reg").c_str(), RegistryFile), S_OK);
    }
    ::setenv("ZUL_USER_HIVE", (dir_ / "fresh.db").c_str(), 1);
    {
        auto seeded = startStore(); // a store already in use there
        ASSERT_EQ(seeded->DestroyViewExt("-Z"), S_OK);
    }
    std::string error;
    const std::string text = readFile(file("x.reg"));
    EXPECT_EQ(zul::registry::parseRegFile(text, "x.reg", true).skipped, 9u * 15u)
        << "strictly as the editor: 13 float: and 2 int: lines a view are not its own";
    const auto parsed = zul::registry::parseRegFile(text, "x.reg");
    EXPECT_EQ(parsed.skipped, 0u) << "this platform takes them";
    ASSERT_EQ(zul::registry::applyRegFile(parsed, "x.reg", error), ERROR_SUCCESS) << error;

    auto s = startStore();
    FullViewInfo r;
    ASSERT_EQ(s->GetViewInfo("Imported", &r), S_OK);
    // The view comes back whole.
    const FullViewInfo want = sample(3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(r.pUpVector[i], want.pUpVector[i]);
        EXPECT_EQ(r.pViewVector[i], want.pViewVector[i]);
        EXPECT_EQ(r.pFromVector[i], want.pFromVector[i]);
        EXPECT_EQ(r.pAtVector[i], want.pAtVector[i]);
    }
    EXPECT_EQ(r.cameraType, Orthographic);
    EXPECT_EQ(r.viewAngle, 33.5f);
    ASSERT_EQ(s->GetViewInfo("-Z", &r), S_OK);
    const auto slots = slotsOf(s.Get());
    EXPECT_EQ(std::count(slots.begin(), slots.end(), std::string("Imported")), 1);
    EXPECT_EQ(std::count(slots.begin(), slots.end(), std::string()), 0);
    // Every tag is gone, so a second start merges nothing again.
    HKEY base = nullptr;
    ASSERT_EQ(
        RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\KRAdvancedViews2", 0, KEY_READ, &base), 0);
    char sub[64];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof sub;
        if (RegEnumKeyExA(base, i, sub, &cch, nullptr, nullptr, nullptr, nullptr) != 0) break;
        CRegHelper reg((std::string("KRAdvancedViews2\\") + sub).c_str(), RegPathUserSettings);
        std::string tag;
        reg.GetString("", tag);
        EXPECT_NE(tag, "Merged") << sub;
    }
    RegCloseKey(base);
    auto again = startStore();
    EXPECT_EQ(slotsOf(again.Get()), slots);
}

TEST_F(ViewFiles, EightBitWriterAndReaderAgree) {
    auto s = startStore();
    ASSERT_EQ(s->CreateViewInfo("Eight bit: é", sample(2)), S_OK);
    auto* impl = static_cast<CViewManager*>(s.Get());
    {
        std::ofstream out(file("8bit.qjv"), std::ios::binary);
        ASSERT_EQ(impl->_saveToTextFile(&out, 2, {"+X", "Eight bit: é"}), S_OK);
    }
    EXPECT_EQ(readFile(file("8bit.qjv")), "KRAdvancedViews Persistence File\n2\n"
                                          "Name:+X\nUp:0 -1.03412e-13 1\nView:260.315 0 "
                                          "0\nType:0\nNum:1\nFrom:0 0 0\nAt:0 0 0\nFov:28\n"
                                          "HasAtAndFrom:0\nChange:530\n"
                                          "Name:Eight bit: é\nUp:0 2 1\nView:-5 100 "
                                          "1e-07\nType:0\nNum:9\nFrom:1 2 2\nAt:0 0 -4\nFov:33.5\n"
                                          "HasAtAndFrom:1\nChange:74278\n");
    std::ostringstream none;
    EXPECT_EQ(impl->_saveToTextFile(&none, 0, {}), S_FALSE);
    EXPECT_EQ(none.str(), "KRAdvancedViews Persistence File\n2\n");
    EXPECT_EQ(impl->_saveToTextFile(nullptr, 0, {}), E_POINTER);

    ASSERT_EQ(s->DestroyViewExt("Eight bit: é"), S_OK);
    ASSERT_EQ(s->LoadViewsExt(file("8bit.qjv").c_str(), TextFile), S_OK);
    FullViewInfo r;
    ASSERT_EQ(s->GetViewInfo("Eight bit: é", &r), S_OK);
    std::string why;
    EXPECT_TRUE(krav::CompareViewInfo(r, sample(2), &why)) << why;

    std::istringstream vec("1.5,-2,3e2,rest of line\n42\n");
    float v[3] = {0, 0, 0};
    ASSERT_EQ(_getVecFromLine(v, true, &vec), S_OK);
    EXPECT_EQ(v[0], 1.5f);
    EXPECT_EQ(v[1], -2.0f);
    EXPECT_EQ(v[2], 300.0f);
    ASSERT_EQ(_getVecFromLine(v, false, &vec), S_OK);
    EXPECT_EQ(v[0], 42.0f);
    EXPECT_EQ(_getVecFromLine(v, false, nullptr), E_FAIL);
    std::istringstream longField(std::string(300, '1') + ",2,3\n");
    _getVecFromLine(v, true, &longField);
    EXPECT_TRUE(longField.fail()) << "a field over 255 characters fails the stream";
}
