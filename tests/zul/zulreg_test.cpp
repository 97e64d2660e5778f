#include <cstdio>
#include <string>

#include "RunProgram.h"
#include "TempHive.h"

namespace {

using Result = zul::test::ProgramResult;

// Runs zulreg with `args` (shell words), capturing standard output and error.
Result zulreg(const std::string& args) {
    return zul::test::runProgram(std::string(ZULREG_PATH) + " " + args + " 2>&1");
}

} // namespace

class Zulreg : public zul::test::TempHiveTest {};

TEST_F(Zulreg, SetListExportImportDelete) {
    const std::string view = "'HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2\\VIEW_0001'";
    EXPECT_EQ(zulreg("set " + view + " 'View Name' REG_SZ '+X'").status, 0);
    Result list = zulreg("list 'hkey_current_user\\software\\zul'");
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.out, "KRAdvancedViews2\n");

    EXPECT_EQ(zulreg("set " + view + " Index REG_DWORD 0x1F").status, 0);
    EXPECT_EQ(zulreg("set " + view + " Big REG_QWORD 18446744073709551615").status, 0);
    EXPECT_EQ(zulreg("set " + view + " Bytes REG_BINARY 01,ff,20").status, 0);
    EXPECT_EQ(zulreg("set " + view + " '' REG_SZ Merged").status, 0);
    Result exp = zulreg("export " + view + " -");
    EXPECT_EQ(exp.status, 0);
    EXPECT_EQ(exp.out,
              "Windows Registry Editor Version 5.00\n\n"
              "[HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2\\VIEW_0001]\n"
              "\"View Name\"=\"+X\"\n\"Index\"=dword:0000001f\n"
              "\"Big\"=hex(b):ff,ff,ff,ff,ff,ff,ff,ff\n\"Bytes\"=hex:01,ff,20\n@=\"Merged\"\n\n");

    // A file is what the registry editor writes: UTF-16LE with a byte-order
    // mark, CRLF.
    const std::string file = (dir_ / "out.reg").string();
    EXPECT_EQ(zulreg("export 'HKCU\\Software\\ZUL' '" + file + "'").status, 0);
    const std::string wide = readFile(file);
    EXPECT_EQ(wide.substr(0, 6), std::string("\xFF\xFEW\0i\0", 6));
    EXPECT_NE(wide.find(std::string("\r\0\n\0", 4)), std::string::npos);
    EXPECT_EQ(zulreg("delete " + view + " Index").status, 0);
    EXPECT_EQ(zulreg("delete 'HKCU\\Software\\ZUL'").status, 0);
    EXPECT_EQ(zulreg("list 'HKCU\\Software'").out, "");
    Result imp = zulreg("import '" + file + "'");
    EXPECT_EQ(imp.status, 0) << imp.out;
    EXPECT_EQ(zulreg("export " + view).out, exp.out);
}

TEST_F(Zulreg, ErrorsHaveMessagesAndExitCodes) {
    for (const char* cmd : {"list", "export", "import", "set", "delete"}) {
        Result help = zulreg(std::string(cmd) + " --help");
        EXPECT_EQ(help.status, 0) << cmd;
        EXPECT_NE(help.out.find(std::string("zulreg ") + cmd), std::string::npos) << help.out;
    }
    EXPECT_EQ(zulreg("").status, 2);
    EXPECT_EQ(zulreg("frobnicate").status, 2);
    EXPECT_EQ(zulreg("set 'HKCU\\Software\\X' v REG_DWORD 12abc").status, 2);
    EXPECT_EQ(zulreg("set 'HKCU\\Software\\X' v REG_DWORD 4294967296").status, 2);
    EXPECT_EQ(zulreg("set 'HKCU\\Software\\X' v REG_FLOAT 1").status, 2);
    EXPECT_EQ(zulreg("set 'HKXX\\Software\\X' v REG_SZ 1").status, 2);

    Result missing = zulreg("list 'HKCU\\Software\\Missing'");
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.out.find("ERROR_FILE_NOT_FOUND"), std::string::npos) << missing.out;

    // A file that is not a hive: named in the message, left as it was.
    writeFile(userHive_, "plain text, not a hive");
    Result damaged = zulreg("set 'HKCU\\Software\\X' v REG_SZ 1");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_NE(damaged.out.find(userHive_), std::string::npos) << damaged.out;
    EXPECT_EQ(readFile(userHive_), "plain text, not a hive");
    std::filesystem::remove(userHive_);

    // An import with an unknown type word warns and goes on (float: is
    // one only with --strict); a broken line fails it whole.
    const std::string good = (dir_ / "good.reg").string();
    writeFile(good,
              "REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\V]\n\"FOV\"=float:45\n\"n\"=dword:2\n");
    Result taken = zulreg("import '" + good + "'");
    EXPECT_EQ(taken.status, 0);
    EXPECT_EQ(taken.out.find("warning"), std::string::npos) << taken.out;
    Result warned = zulreg("import --strict '" + good + "'");
    EXPECT_EQ(warned.status, 0);
    EXPECT_NE(warned.out.find("warning: 1 line"), std::string::npos) << warned.out;
    const std::string bad = (dir_ / "bad.reg").string();
    writeFile(bad, "REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\W]\n\"n\"=dword:nothex\n");
    Result failed = zulreg("import '" + bad + "'");
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.out.find(bad + ":4:"), std::string::npos) << failed.out;
    EXPECT_EQ(zulreg("list 'HKCU\\Software'").out, "V\n");
}
