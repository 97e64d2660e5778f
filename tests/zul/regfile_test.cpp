#include "TempHive.h"
#include "zul/registry/RegFile.h"
#include "zul/registry/RegHelper.h"

namespace {
std::string exported(const char* key) {
    std::string text;
    const LSTATUS st = zul::registry::exportKey(key, text);
    return st == ERROR_SUCCESS ? text : "<" + std::to_string(st) + ">";
}

LSTATUS import(const std::string& text, std::string& error, size_t* skipped = nullptr) {
    const auto parsed = zul::registry::parseRegFile(text, "test.reg");
    if (skipped) *skipped = parsed.skipped;
    return zul::registry::applyRegFile(parsed, "test.reg", error);
}
} // namespace

class RegFile : public zul::test::TempHiveTest {};

TEST_F(RegFile, ExportWritesTheEditorsFormat) {
    {
        CRegHelper v("Store\\VIEW_0001", RegPathUserSettings);
        ASSERT_EQ(v.SetString("View Name", "a \"quoted\" C:\\path"), 0);
        ASSERT_EQ(v.SetDWORD("Index", 0xABCDEF01u), 0);
        ASSERT_EQ(v.SetBytes("Raw", "\x01\x02\xff", 3), 0);
        ASSERT_EQ(v.SetString("", "Merged"), 0);
        ASSERT_EQ(v.SetString("Two Lines", "x\ny"), 0);
        CRegHelper child("Store\\VIEW_0001\\Child", RegPathUserSettings);
        ASSERT_EQ(child.SetInt("n", 1), 0);
        CRegHelper second("Store\\A_second", RegPathUserSettings);
        ASSERT_EQ(second.SetInt("n", 2), 0);
    }
    EXPECT_EQ(exported("hkcu\\software\\zul\\store"),
              "REGEDIT4\n\n"
              "[HKEY_CURRENT_USER\\Software\\ZUL\\Store]\n\n"
              "[HKEY_CURRENT_USER\\Software\\ZUL\\Store\\A_second]\n"
              "\"n\"=dword:00000002\n\n"
              "[HKEY_CURRENT_USER\\Software\\ZUL\\Store\\VIEW_0001]\n"
              "\"View Name\"=\"a \\\"quoted\\\" C:\\\\path\"\n"
              "\"Index\"=dword:abcdef01\n"
              "\"Raw\"=hex:01,02,ff\n"
              "@=\"Merged\"\n"
              "\"Two Lines\"=hex(1):78,0a,79,00\n"
              "\n"
              "[HKEY_CURRENT_USER\\Software\\ZUL\\Store\\VIEW_0001\\Child]\n"
              "\"n\"=dword:00000001\n\n");
    EXPECT_EQ(exported("HKEY_CURRENT_USER\\Software\\Missing"), "<2>");
    EXPECT_EQ(exported("HKEY_NOWHERE\\Software"), "<161>");
}

TEST_F(RegFile, ExportThenImportGivesBackTheSameHive) {
    {
        CRegHelper v("Round\\Trip", RegPathUserSettings);
        ASSERT_EQ(v.SetString("s", "text with \\ and \" and é"), 0);
        ASSERT_EQ(v.SetFloat("f", -1.03412e-13f), 0);
        ASSERT_EQ(v.SetDWORD("d", 0xFFFFFFFFu), 0);
        std::string big(300, '\0');
        for (size_t i = 0; i < big.size(); ++i)
            big[i] = static_cast<char>(i);
        ASSERT_EQ(v.SetBytes("long binary", big.data(), static_cast<DWORD>(big.size())), 0);
        ASSERT_EQ(v.SetString("lines", "a\r\nb"), 0);
        HKEY k = nullptr;
        ASSERT_EQ(
            RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\Round\\Trip", 0, KEY_ALL_ACCESS, &k),
            0);
        const uint64_t q = 0x1122334455667788ull;
        ASSERT_EQ(RegSetValueExA(k, "q", 0, REG_QWORD, reinterpret_cast<const BYTE*>(&q), 8), 0);
        ASSERT_EQ(
            RegSetValueExA(k, "m", 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>("a\0b\0"), 5), 0);
        RegCloseKey(k);
    }
    const std::string before = exported("HKEY_CURRENT_USER\\Software\\ZUL");
    ASSERT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\ZUL"), 0);
    std::string error;
    ASSERT_EQ(import(before, error), ERROR_SUCCESS) << error;
    EXPECT_EQ(exported("HKEY_CURRENT_USER\\Software\\ZUL"), before);
    CRegHelper v("Round\\Trip", RegPathUserSettings);
    float f = 0;
    ASSERT_EQ(v.GetFloat("f", f), 0);
    EXPECT_EQ(f, -1.03412e-13f);
}

TEST_F(RegFile, ImportFollowsTheEditorsRules) {
    {
        CRegHelper old("Gone\\Deep", RegPathUserSettings);
        ASSERT_EQ(old.SetInt("x", 1), 0);
        CRegHelper keep("Keep", RegPathUserSettings);
        ASSERT_EQ(keep.SetInt("drop", 1), 0);
        ASSERT_EQ(keep.SetInt("stay", 2), 0);
    }
    const std::string text = "REGEDIT4\r\n"
                             "\r\n"
                             "; a comment\r\n"
                             "[-HKEY_CURRENT_USER\\Software\\ZUL\\Gone]\r\n"
                             "\r\n"
                             "[HKEY_CURRENT_USER\\Software\\ZUL\\Keep]\r\n"
                             "\"drop\"=-\r\n"
                             "@=\"Merged\"\r\n"
                             "\"Merged Views\"=dword:00000010\r\n"
                             "\"UpVector X\"=float:0\r\n"
                             "\"Index\"=int:7\r\n"
                             "\"bin\"=hex:01,02,\\\r\n"
                             "  03,04\r\n"
                             "\"typed\"=hex(b):01,00,00,00,00,00,00,00\r\n";
    std::string error;
    size_t skipped = 0;
    ASSERT_EQ(import(text, error, &skipped), ERROR_SUCCESS) << error;
    EXPECT_EQ(skipped, 0u) << "float: and int: are this platform's own type words";
    EXPECT_EQ(exported("HKEY_CURRENT_USER\\Software\\ZUL"),
              "REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\ZUL]\n\n"
              "[HKEY_CURRENT_USER\\Software\\ZUL\\Keep]\n"
              "\"stay\"=dword:00000002\n"
              "@=\"Merged\"\n"
              "\"Merged Views\"=dword:00000010\n"
              "\"UpVector X\"=\"0\"\n"
              "\"Index\"=dword:00000007\n"
              "\"bin\"=hex:01,02,03,04\n"
              "\"typed\"=hex(b):01,00,00,00,00,00,00,00\n\n");
}

TEST_F(RegFile, ImportsVersion5Utf16) {
    const std::u16string text = u"Windows Registry Editor Version 5.00\r\n\r\n"
                                u"[HKEY_CURRENT_USER\\Software\\ZUL\\Wide]\r\n"
                                u"\"Name\"=\"Grüße ☃\"\r\n"
                                u"\"Expand\"=hex(2):25,00,41,00,25,00,00,00\r\n";
    std::string bytes = "\xFF\xFE";
    bytes.append(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    std::string error;
    ASSERT_EQ(import(bytes, error), ERROR_SUCCESS) << error;
    CRegHelper w("Wide", RegPathUserSettings);
    std::string s;
    ASSERT_EQ(w.GetString("Name", s), 0);
    EXPECT_EQ(s, "Grüße ☃");
    ASSERT_EQ(w.GetString("Expand", s), 0);
    EXPECT_EQ(s, "%A%");

    std::string odd = bytes + "x";
    EXPECT_NE(import(odd, error), ERROR_SUCCESS);
    std::string lone = "\xFF\xFE";
    const char16_t bad[] = {u'R', 0xD800, u'x'};
    lone.append(reinterpret_cast<const char*>(bad), sizeof bad);
    EXPECT_NE(import(lone, error), ERROR_SUCCESS);
}

TEST_F(RegFile, AnUnparsableLineFailsTheWholeImportAndChangesNothing) {
    {
        CRegHelper keep("Keep", RegPathUserSettings);
        ASSERT_EQ(keep.SetInt("v", 1), 0);
    }
    const std::string before = exported("HKEY_CURRENT_USER");
    const std::string header = "REGEDIT4\n\n[-HKEY_CURRENT_USER\\Software\\ZUL\\Keep]\n"
                               "[HKEY_CURRENT_USER\\Software\\ZUL\\New]\n\"ok\"=dword:1\n";
    const struct {
        std::string line;
        int number;
    } bad[] = {
        {"\"d\"=dword:xyz", 6},      {"\"d\"=dword:123456789", 6},    {"\"s\"=\"unterminated", 6},
        {"\"s\"=\"a\" trailing", 6}, {"\"h\"=hex:1,2,zz", 6},         {"garbage", 6},
        {"[HKEY_NOWHERE\\x]", 6},    {"\"n\" \"missing equals\"", 6},
    };
    for (const auto& b : bad) {
        std::string error;
        EXPECT_NE(import(header + b.line + "\n", error), ERROR_SUCCESS) << b.line;
        EXPECT_NE(error.find("test.reg:" + std::to_string(b.number) + ":"), std::string::npos)
            << error;
        EXPECT_EQ(exported("HKEY_CURRENT_USER"), before) << b.line;
    }
    std::string error;
    EXPECT_NE(import("REGEDIT5\n", error), ERROR_SUCCESS);
    EXPECT_NE(import("", error), ERROR_SUCCESS);
    EXPECT_NE(import("REGEDIT4\n\"orphan\"=\"value before any key\"\n", error), ERROR_SUCCESS);
    EXPECT_EQ(exported("HKEY_CURRENT_USER"), before);
}
