// Points the registry at fresh temporary hive files for one test, so no test
// touches the user's registry or sees another test's keys.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

#include "zul/registry/Backup.h"
#include "zul/registry/registry.h"

namespace zul::test {

// Forks once no thread of this process is inside SQLite: a hive backup
// running at the fork (one starts when a tool first opens a hive) would
// leave the child waiting for a lock that no thread of its own holds.
inline pid_t forkAlone() {
    zul::registry::waitForHiveBackups();
    return ::fork();
}

class TempHiveTest : public ::testing::Test {
protected:
    void SetUp() override {
        namespace fs = std::filesystem;
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = fs::temp_directory_path() / ("zul-test-" + std::to_string(::getpid()) + "-" +
                                            info->test_suite_name() + "-" + info->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        userHive_ = (dir_ / "user.db").string();
        machineHive_ = (dir_ / "machine.db").string();
        ::setenv("ZUL_USER_HIVE", userHive_.c_str(), 1);
        ::setenv("ZUL_MACHINE_HIVE", machineHive_.c_str(), 1);
    }
    void TearDown() override {
        RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        std::error_code ec;
        std::filesystem::permissions(dir_, std::filesystem::perms::owner_all, ec);
        std::filesystem::remove_all(dir_, ec);
    }

    static std::string readFile(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    // Compares a file's bytes with what they were. A hive is binary: on a
    // mismatch this names the sizes and the first differing offset instead of
    // letting the framework print a line diff of a binary file.
    static ::testing::AssertionResult sameBytes(const std::string& now, const std::string& was) {
        if (now == was) return ::testing::AssertionSuccess();
        size_t at = 0;
        while (at < now.size() && at < was.size() && now[at] == was[at])
            ++at;
        return ::testing::AssertionFailure() << "the bytes differ: " << now.size() << " now, "
                                             << was.size() << " before, first at offset " << at;
    }
    static pid_t forkAlone() { return zul::test::forkAlone(); }
    static void writeFile(const std::string& path, const std::string& bytes) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << bytes;
    }

    std::filesystem::path dir_;
    std::string userHive_;
    std::string machineHive_;
};

} // namespace zul::test
