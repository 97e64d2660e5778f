// Checking a hive whole, keeping its last good copy, and restoring it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "Hive.h"
#include "zul/registry/Backup.h"
#include "zul/registry/SafeFile.h"

namespace zul::registry {

namespace {

constexpr auto kBackupInterval = std::chrono::hours(24);
constexpr int kBackupBusyMs = 10000;

std::string s_localTime(time_t t) {
    std::tm tm{};
    localtime_r(&t, &tm);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &tm);
    return text;
}

std::string s_folderOf(const std::string& path) {
    const std::filesystem::path p(path);
    return p.has_parent_path() ? p.parent_path().string() : std::string(".");
}

// Runs a statement whose first column is text, and gives the first row's.
int s_firstText(sqlite3* db, const char* sql, std::string& out) {
    sqlite3_stmt* s = nullptr;
    int rc = sqlite3_prepare_v2(db, sql, -1, &s, nullptr);
    if (rc == SQLITE_OK) {
        rc = sqlite3_step(s);
        if (rc == SQLITE_ROW) {
            const auto* t = reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
            out = t ? t : "";
            rc = SQLITE_OK;
        } else if (rc == SQLITE_DONE) {
            out.clear();
            rc = SQLITE_OK;
        }
    }
    sqlite3_finalize(s);
    return rc;
}

bool s_isDamage(int rc) {
    return (rc & 0xFF) == SQLITE_CORRUPT || (rc & 0xFF) == SQLITE_NOTADB;
}

// The backups this process runs: one thread per hive at a time, joined at
// exit so that a short-lived tool still leaves its day's copy behind.
struct Backups {
    std::mutex mu;
    pid_t owner = getpid();
    std::set<std::string> running;
    std::vector<std::thread> threads;

    void joinAll() {
        std::vector<std::thread> all;
        {
            std::lock_guard lock(mu);
            if (owner != getpid()) return; // a forked child has none of them
            all.swap(threads);
        }
        for (std::thread& t : all)
            t.join();
    }
    ~Backups() {
        if (owner == getpid()) {
            joinAll();
        } else {
            // A forked child's copies of the parent's threads are not
            // threads here: they are neither joined nor destroyed.
            new std::vector<std::thread>(std::move(threads));
        }
    }
};
Backups& backups() {
    static Backups b;
    return b;
}

// Removes the scratch copies of backups of `target` that a killed process
// left behind (".user.db.backup.Ab12Cd", each as large as the hive). A copy
// takes seconds: one an hour old belongs to no live backup.
void s_removeStaleCopies(const std::string& target) {
    namespace fs = std::filesystem;
    const std::string prefix = "." + fs::path(target).filename().string() + ".";
    std::error_code ec;
    const auto now = fs::file_time_type::clock::now();
    for (const fs::directory_entry& e : fs::directory_iterator(s_folderOf(target), ec)) {
        const std::string name = e.path().filename().string();
        if (name.size() != prefix.size() + 6 || name.rfind(prefix, 0) != 0) continue;
        std::error_code statError;
        if (!e.is_regular_file(statError) || e.is_symlink(statError)) continue;
        const auto written = e.last_write_time(statError);
        if (!statError && now - written > std::chrono::hours(1)) fs::remove(e.path(), statError);
    }
}

// Copies `hive` into a new file beside `target`, checks the copy whole and
// renames it to `target`. Any failure leaves the previous backup as it was
// and no scratch file behind.
void s_writeBackup(const std::string& hive, const std::string& target) {
    const std::string dir = s_folderOf(target);
    std::string scratch =
        dir + "/." + std::filesystem::path(target).filename().string() + ".XXXXXX";
    const int fd = ::mkostemp(scratch.data(), O_CLOEXEC);
    if (fd < 0) return;
    ::fchmod(fd, 0600);
    ::close(fd);

    bool ok = false;
    sqlite3* src = nullptr;
    sqlite3* dst = nullptr;
    if (sqlite3_open_v2(hive.c_str(), &src, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) ==
            SQLITE_OK &&
        sqlite3_open_v2(scratch.c_str(), &dst, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                        nullptr) == SQLITE_OK) {
        sqlite3_busy_timeout(src, kBackupBusyMs);
        sqlite3_exec(dst, "PRAGMA journal_mode=OFF", nullptr, nullptr, nullptr);
        if (sqlite3_backup* b = sqlite3_backup_init(dst, "main", src, "main")) {
            const int rc = sqlite3_backup_step(b, -1);
            ok = sqlite3_backup_finish(b) == SQLITE_OK && rc == SQLITE_DONE;
        }
        struct stat st {};
        std::string why;
        ok = ok && ::stat(scratch.c_str(), &st) == 0 &&
             checkHiveWhole(dst, uint64_t(st.st_size), why) == SQLITE_OK;
    }
    sqlite3_close_v2(src);
    sqlite3_close_v2(dst);
    if (ok) {
        const int f = ::open(scratch.c_str(), O_RDONLY | O_CLOEXEC);
        ok = f >= 0 && ::fsync(f) == 0;
        if (f >= 0) ::close(f);
    }
    if (ok && ::rename(scratch.c_str(), target.c_str()) == 0) {
        if (const int d = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); d >= 0) {
            ::fsync(d);
            ::close(d);
        }
        return;
    }
    ::unlink(scratch.c_str());
}

} // namespace

std::string hiveBackupPath(const std::string& hive) {
    return hive + ".backup";
}

void registerValueSum(sqlite3* db) {
    // FNV-1a over the key, then each field with its length before it.
    auto sum = [](sqlite3_context* context, int argc, sqlite3_value** argv) {
        uint64_t h = 14695981039346656037ull;
        auto mix = [&h](const void* bytes, size_t n) {
            for (size_t i = 0; i < n; ++i) {
                h ^= static_cast<const unsigned char*>(bytes)[i];
                h *= 1099511628211ull;
            }
        };
        for (int i = 0; i < argc; ++i) {
            if (i == 0 || i == 3) {
                const int64_t v = sqlite3_value_int64(argv[i]);
                mix(&v, sizeof v);
                continue;
            }
            const void* bytes = sqlite3_value_blob(argv[i]);
            const int64_t n = sqlite3_value_bytes(argv[i]);
            mix(&n, sizeof n);
            if (bytes) mix(bytes, size_t(n));
        }
        sqlite3_result_int64(context, static_cast<int64_t>(h));
    };
    sqlite3_create_function_v2(db, "zul_sum", 5, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, sum,
                               nullptr, nullptr, nullptr);
}

int checkHiveWhole(sqlite3* db, uint64_t fileBytes, std::string& why) {
    registerValueSum(db);
    std::string result;
    // One check: its query's first column into `result`; a statement that
    // fails on damage says so in `why`.
    auto ask = [&](const char* sql) {
        const int rc = s_firstText(db, sql, result);
        if (rc != SQLITE_OK && s_isDamage(rc)) why = sqlite3_errstr(rc);
        return rc;
    };
    int rc =
        ask(fileBytes <= kFullCheckBytes ? "PRAGMA integrity_check(5)" : "PRAGMA quick_check(5)");
    if (rc != SQLITE_OK) return rc;
    if (result != "ok") {
        why = "SQLite's check found: " + result;
        return SQLITE_CORRUPT;
    }
    // The tables a hive is made of, with the columns every format has: a
    // database that carries a hive's mark over other tables is not a hive.
    if ((rc = ask("SELECT (SELECT count(*) FROM pragma_table_info('keys') WHERE name IN"
                  " ('id', 'parent', 'name', 'fold')) || ' ' || (SELECT count(*) FROM"
                  " pragma_table_info('vals') WHERE name IN ('key', 'name', 'fold', 'type',"
                  " 'data'))")) != SQLITE_OK)
        return rc;
    if (result != "4 5") {
        why = "its tables are not those of a registry hive";
        return SQLITE_CORRUPT;
    }
    // Every key must be reachable from the root, and the root must be the
    // top: otherwise parent links form a loop (or hang from nothing), and a
    // walk down the tree could go round for ever.
    if ((rc = ask("WITH RECURSIVE r(id) AS (SELECT 1 UNION SELECT k.id FROM keys k"
                  " JOIN r ON k.parent = r.id)"
                  " SELECT (SELECT count(*) FROM r) || ' ' || (SELECT count(*) FROM keys)"
                  " || ' ' || ifnull((SELECT parent FROM keys WHERE id = 1), -1)")) != SQLITE_OK)
        return rc;
    long long reachable = 0, keys = 0, rootParent = 0;
    if (std::sscanf(result.c_str(), "%lld %lld %lld", &reachable, &keys, &rootParent) != 3) {
        why = "its key table cannot be read";
        return SQLITE_CORRUPT;
    }
    if (rootParent != 0) {
        why = rootParent < 0 ? "its root key is missing" : "its root key has a parent";
        return SQLITE_CORRUPT;
    }
    if (reachable != keys) {
        why = std::to_string(keys - reachable) +
              " keys are not below the root (their parent links are broken or form a loop)";
        return SQLITE_CORRUPT;
    }
    // Every value against its checksum, in a hive that has them.
    if ((rc = ask("SELECT (SELECT user_version FROM pragma_user_version) >= 3")) != SQLITE_OK)
        return rc;
    if (result != "1") return SQLITE_OK;
    if ((rc = ask("SELECT ifnull((SELECT name FROM vals WHERE sum IS NOT"
                  " zul_sum(key, name, fold, type, data) LIMIT 1), char(1))")) != SQLITE_OK)
        return rc;
    if (result != "\x01") {
        why = "the value '" + result +
              "' does not match its checksum (it was changed outside the registry)";
        return SQLITE_CORRUPT;
    }
    return SQLITE_OK;
}

std::string damagedHiveMessage(const std::string& hive, const std::string& why) {
    std::string m = "registry hive '" + hive + "' is damaged or is not a registry hive: " + why +
                    "; it was left untouched and nothing will be written to it.";
    const std::string backup = hiveBackupPath(hive);
    struct stat st {};
    if (::stat(backup.c_str(), &st) == 0 && S_ISREG(st.st_mode))
        m += " Its last good copy, taken " + s_localTime(st.st_mtime) + ", is '" + backup +
             "': run \"zulreg restore-backup '" + hive +
             "'\" to put it in place (the damaged file is kept beside it).";
    else
        m += " There is no backup of it ('" + backup + "' does not exist).";
    return m;
}

void scheduleHiveBackup(const std::string& hive) {
    const std::string target = hiveBackupPath(hive);
    s_removeStaleCopies(target);
    struct stat st {};
    if (::stat(target.c_str(), &st) == 0) {
        const auto age =
            std::chrono::system_clock::now() - std::chrono::system_clock::from_time_t(st.st_mtime);
        if (age < kBackupInterval && age > -kBackupInterval) return;
    } else if (errno != ENOENT) {
        return;
    }
    if (::access(s_folderOf(target).c_str(), W_OK | X_OK) != 0) return;
    Backups& b = backups();
    std::lock_guard lock(b.mu);
    if (b.owner != getpid() || !b.running.insert(hive).second) return;
    b.threads.emplace_back([hive, target] {
        s_writeBackup(hive, target);
        std::lock_guard l(backups().mu);
        backups().running.erase(hive);
    });
}

void waitForHiveBackups() {
    backups().joinAll();
}

bool restoreHiveBackup(const std::string& hive, bool force, RestoreResult& done, std::string& why) {
    const std::string backup = hiveBackupPath(hive);
    struct stat bst {};
    if (::stat(backup.c_str(), &bst) != 0) {
        why =
            "there is no backup of '" + hive + "' ('" + backup + "': " + std::strerror(errno) + ")";
        return false;
    }
    done.backupTime = s_localTime(bst.st_mtime);

    // The backup must check whole itself, and the hive must not, unless
    // the user asks to go back to the backup anyway.
    auto check = [](const std::string& path, uint64_t bytes, std::string& problem) {
        sqlite3* db = nullptr;
        int rc =
            sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
        if (rc == SQLITE_OK) {
            sqlite3_busy_timeout(db, kBackupBusyMs);
            rc = checkHiveWhole(db, bytes, problem);
            if (rc != SQLITE_OK && problem.empty()) problem = sqlite3_errstr(rc);
        } else {
            problem = sqlite3_errstr(rc);
        }
        sqlite3_close_v2(db);
        return rc == SQLITE_OK;
    };
    std::string problem;
    if (!check(backup, uint64_t(bst.st_size), problem)) {
        why = "the backup '" + backup + "' is damaged too: " + problem;
        return false;
    }
    struct stat hst {};
    const bool hiveExists = ::lstat(hive.c_str(), &hst) == 0;
    if (hiveExists && S_ISREG(hst.st_mode) && !force) {
        std::string hiveProblem;
        if (check(hive, uint64_t(hst.st_size), hiveProblem)) {
            why = "'" + hive +
                  "' checks whole; restoring would undo every change since the backup was "
                  "taken (" +
                  done.backupTime + "); use --force to restore it anyway";
            return false;
        }
    }

    std::string bytes;
    if (!readInputFile(backup, UINT64_MAX, bytes, problem)) {
        why = "cannot read '" + backup + "': " + problem;
        return false;
    }
    if (hiveExists) {
        char stamp[32];
        const time_t now = std::time(nullptr);
        std::tm tm{};
        localtime_r(&now, &tm);
        std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &tm);
        std::string aside = hive + ".damaged-" + stamp;
        for (int n = 2; ::lstat(aside.c_str(), &hst) == 0; ++n)
            aside = hive + ".damaged-" + stamp + "-" + std::to_string(n);
        if (::rename(hive.c_str(), aside.c_str()) != 0) {
            why = "cannot move '" + hive + "' aside: " + std::strerror(errno);
            return false;
        }
        // A journal left beside the damaged file belongs to it: SQLite would
        // play it back into the restored copy.
        const std::string journal = hive + "-journal";
        if (::lstat(journal.c_str(), &hst) == 0)
            ::rename(journal.c_str(), (aside + "-journal").c_str());
        done.keptAside = aside;
    }
    if (!replaceFileContents(hive, bytes, 0600, problem)) {
        why = "cannot write '" + hive + "': " + problem +
              (done.keptAside.empty() ? "" : " (the damaged hive is '" + done.keptAside + "')");
        return false;
    }
    return true;
}

} // namespace zul::registry
