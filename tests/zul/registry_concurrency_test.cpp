#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "TempHive.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

class RegistryConcurrency : public zul::test::TempHiveTest {};

// Several processes write one hive at once: read-modify-write increments of a
// shared counter (a lost update shows as a short count) and keys of their own.
TEST_F(RegistryConcurrency, ProcessesWritingOneHiveLoseNothing) {
    constexpr int kProcesses = 4;
    constexpr int kRounds = 100;
    {
        CRegHelper shared("Shared", RegPathUserSettings);
        ASSERT_EQ(shared.SetDWORD("Counter", 0), 0);
    }
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        const pid_t pid = forkAlone();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int failures = 0;
            for (int i = 0; i < kRounds; ++i) {
                {
                    zul::registry::Transaction tx;
                    CRegHelper shared("Shared", RegPathUserSettings);
                    DWORD n = 0;
                    failures += shared.GetDWORD("Counter", n) != 0;
                    failures += shared.SetDWORD("Counter", n + 1) != 0;
                    failures += tx.commit() != 0;
                }
                const std::string own = "P" + std::to_string(p) + "\\Item" + std::to_string(i);
                CRegHelper mine(own.c_str(), RegPathUserSettings);
                failures += mine.SetInt("i", i) != 0;
                if (i % 10 == 9) { // and some deletes racing with the others' enumeration
                    CRegHelper gone(
                        ("P" + std::to_string(p) + "\\Item" + std::to_string(i - 1)).c_str(),
                        RegPathUserSettings);
                    failures += gone.DeleteKey() != 0;
                }
            }
            ::_exit(failures > 250 ? 250 : failures);
        }
        children.push_back(pid);
    }
    for (const pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 0) << "failed registry calls in a writer process";
    }

    CRegHelper shared("Shared", RegPathUserSettings);
    DWORD n = 0;
    ASSERT_EQ(shared.GetDWORD("Counter", n), 0);
    EXPECT_EQ(n, static_cast<DWORD>(kProcesses * kRounds)) << "an increment was lost";
    for (int p = 0; p < kProcesses; ++p) {
        for (int i = 0; i < kRounds; ++i) {
            CRegHelper item(("P" + std::to_string(p) + "\\Item" + std::to_string(i)).c_str(),
                            RegPathUserSettings);
            int v = -1;
            const LONG st = item.GetInt("i", v);
            if (i % 10 == 8) {
                EXPECT_EQ(st, ERROR_FILE_NOT_FOUND) << p << "/" << i;
            } else {
                EXPECT_EQ(st, 0) << p << "/" << i;
                EXPECT_EQ(v, i);
            }
        }
    }

    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open_v2(userHive_.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_stmt* s = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &s, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(s), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(s, 0)), "ok");
    sqlite3_finalize(s);
    sqlite3_close(db);
}

// The hive's generation moves when another process commits, not for this
// process's own writes, and never inside a transaction.
TEST_F(RegistryConcurrency, GenerationSeesOtherProcessesOnly) {
    CRegHelper mine("Mine", RegPathUserSettings);
    ASSERT_EQ(mine.SetInt("v", 1), 0);
    uint64_t before = 0, after = 0;
    ASSERT_EQ(zul::registry::hiveGeneration(HKEY_CURRENT_USER, before), ERROR_SUCCESS);
    ASSERT_EQ(mine.SetInt("v", 2), 0);
    ASSERT_EQ(zul::registry::hiveGeneration(HKEY_CURRENT_USER, after), ERROR_SUCCESS);
    EXPECT_EQ(after, before) << "own writes";
    const pid_t child = forkAlone();
    ASSERT_GE(child, 0);
    if (child == 0) {
        CRegHelper other("Other", RegPathUserSettings);
        ::_exit(other.SetInt("v", 3) == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(WEXITSTATUS(status), 0);
    ASSERT_EQ(zul::registry::hiveGeneration(HKEY_CURRENT_USER, after), ERROR_SUCCESS);
    EXPECT_NE(after, before) << "another process's commit";
    uint64_t none = 1;
    ::setenv("ZUL_USER_HIVE", (dir_ / "absent.db").c_str(), 1);
    EXPECT_EQ(zul::registry::hiveGeneration(HKEY_CURRENT_USER, none), ERROR_SUCCESS);
    EXPECT_EQ(none, 0u);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "absent.db")) << "a read never makes the hive";
}
