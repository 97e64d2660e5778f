// Registry depth: keys go 512 levels deep and no deeper, and every walk of a
// tree that deep works without the call stack growing with it.
#include <filesystem>
#include <string>

#include "RunProgram.h"
#include "TempHive.h"
#include "zul/registry/registry.h"

namespace {

class Depth : public zul::test::TempHiveTest {
protected:
    static std::string levels(size_t n, const char* name = "k") {
        std::string path = "Software";
        for (size_t i = 1; i < n; ++i)
            path += std::string("\\") + name;
        return path;
    }
    static bool exists(const std::string& sub) {
        HKEY k = nullptr;
        const LSTATUS st = RegOpenKeyExA(HKEY_CURRENT_USER, sub.c_str(), 0, KEY_READ, &k);
        RegCloseKey(k);
        return st == ERROR_SUCCESS;
    }
};

} // namespace

TEST_F(Depth, KeysLieAtMost512LevelsDeep) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, levels(512).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              ERROR_SUCCESS);
    HKEY deeper = nullptr;
    EXPECT_EQ(
        RegCreateKeyExA(key, "one more", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &deeper, nullptr),
        ERROR_INVALID_PARAMETER);
    EXPECT_NE(zul::registry::lastErrorDetail().find("512 levels"), std::string::npos)
        << zul::registry::lastErrorDetail();
    EXPECT_EQ(deeper, nullptr);
    const DWORD v = 1;
    ASSERT_EQ(
        RegSetValueExA(key, "deepest", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v),
        ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, levels(513, "x").c_str(), 0, nullptr, 0,
                              KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(exists("Software\\x")) << "nothing of a refused path is created";

    // The deepest key exports (and imports back) whole.
    const std::string file = (dir_ / "deep.reg").string();
    auto r = zul::test::runProgram(
        "'" ZULREG_PATH "' export --regedit4 'HKEY_CURRENT_USER\\Software' '" + file + "' 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    const std::string text = readFile(file);
    EXPECT_NE(text.find("[HKEY_CURRENT_USER\\" + levels(512) + "]\r\n\"deepest\"=dword:00000001"),
              std::string::npos);
    ASSERT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, "Software"), ERROR_SUCCESS);
    r = zul::test::runProgram("'" ZULREG_PATH "' import '" + file + "' 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(exists(levels(512)));

    // An import that goes deeper is refused whole, saying why.
    const std::string deep = (dir_ / "deeper.reg").string();
    writeFile(deep, "REGEDIT4\n\n[HKEY_CURRENT_USER\\Elsewhere]\n\"a\"=\"b\"\n\n"
                    "[HKEY_CURRENT_USER\\" +
                        levels(50000) + "]\n\"c\"=\"d\"\n");
    const std::string before = readFile(userHive_);
    r = zul::test::runProgram("'" ZULREG_PATH "' import '" + deep + "' 2>&1");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("512 levels"), std::string::npos) << r.out.substr(0, 400);
    EXPECT_FALSE(exists("Elsewhere"));
    EXPECT_TRUE(sameBytes(readFile(userHive_), before));
}
