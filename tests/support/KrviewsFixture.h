// The fixture of the krviews tests: a fresh hive with the module
// registered for the test's user, and krviews run against it.
#pragma once

#include <filesystem>
#include <string>

#include "RunProgram.h"
#include "TempHive.h"

struct KrviewsResult : zul::test::ProgramResult {
    std::string err; // standard error
};

class Krviews : public zul::test::TempHiveTest {
protected:
    // The module is registered for the test's user, as an installer does.
    void SetUp() override {
        TempHiveTest::SetUp();
        const auto reg =
            zul::test::runProgram("CURRENT_USER_INSTALL=1 " + std::string(ZULREG_PATH) +
                                  " regsvr '" + KRAV_MODULE_PATH + "'");
        ASSERT_EQ(reg.status, 0) << reg.out;
    }

    KrviewsResult run(const std::string& args, const std::string& env = "",
                      const std::string& program = KRVIEWS_PATH) {
        const std::string errFile = (dir_ / "stderr.txt").string();
        const std::string cmd =
            env + " '" + program + "' --hive '" + userHive_ + "' " + args + " 2>'" + errFile + "'";
        KrviewsResult r;
        static_cast<zul::test::ProgramResult&>(r) = zul::test::runProgram(cmd);
        r.err = readFile(errFile);
        return r;
    }

    // Renders `model` with `args` at `size` under a virtual display and
    // gives the picture's file (gone when the render failed, which is
    // reported).
    std::string renderPicture(const std::string& model, const std::string& args,
                              const std::string& size) {
        const std::string png = (dir_ / "picture.png").string();
        std::filesystem::remove(png);
        const KrviewsResult drawn =
            run("render '" + model + "' " + args + " --size " + size + " -o '" + png + "'",
                "ASAN_OPTIONS=detect_leaks=0 xvfb-run -a");
        EXPECT_EQ(drawn.status, 0) << drawn.err;
        return png;
    }
};
