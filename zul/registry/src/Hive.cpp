// One hive: opening it (checks, schema, connection cache) and running
// statements on it with busy retries.
#include "Hive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include "HiveStatement.h"
#include "zul/registry/Transaction.h"

namespace zul::registry {

namespace {

// Creates the missing folders of `dir`, each 0700 whatever the umask; the
// folders that exist are left as they are.
void s_createPrivateFolders(const std::filesystem::path& dir, std::error_code& ec) {
    ec.clear();
    std::vector<std::filesystem::path> missing;
    for (std::filesystem::path p = dir; !p.empty() && !std::filesystem::exists(p, ec);
         p = p.parent_path()) {
        missing.push_back(p);
        if (p == p.parent_path()) break;
    }
    ec.clear();
    for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
        if (::mkdir(it->c_str(), 0700) == 0)
            ::chmod(it->c_str(), 0700); // the umask may have taken bits the owner needs
        else if (errno != EEXIST) {
            ec = std::error_code(errno, std::generic_category());
            return;
        }
    }
}

// "ZULR": marks a database as a registry hive, so a foreign SQLite file is
// refused rather than written into.
constexpr int kApplicationId = 0x5A554C52;
// 1: keys and values; 2: keys have a class name and a last-write time.
constexpr int kSchemaVersion = 3;
// How long a caller waits for another process's write to finish before the
// call fails. Writers hold the lock for milliseconds, so this is only reached
// when a process hangs inside a transaction.
constexpr int kBusyTimeoutMs = 10000;
constexpr auto kBusyRetryLimit = std::chrono::seconds(30);

thread_local std::string t_errorDetail;

std::string sqliteMessage(sqlite3* db, int rc) {
    std::string m = sqlite3_errstr(rc);
    if (db) {
        const char* detail = sqlite3_errmsg(db);
        if (detail && m != detail) m += std::string(" (") + detail + ")";
    }
    return m;
}

bool isDamage(int rc) {
    const int primary = rc & 0xFF;
    return primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT;
}

} // namespace

void setErrorDetail(std::string detail) {
    t_errorDetail = std::move(detail);
}
void clearErrorDetail() {
    t_errorDetail.clear();
}
std::string lastErrorDetail() {
    return t_errorDetail;
}

// ---------------------------------------------------------------------------

namespace {
struct HiveCache {
    std::mutex mu;
    pid_t pid = 0;
    std::unordered_map<std::string, std::shared_ptr<Hive>> hives;
};
HiveCache& hiveCache() {
    static auto* cache = new HiveCache; // outlives static destruction of callers
    return *cache;
}

// The Transaction scopes of this thread.
} // namespace

std::shared_ptr<Hive> Hive::forPath(const std::string& path) {
    HiveCache& cache = hiveCache();
    std::lock_guard lock(cache.mu);
    if (cache.pid != getpid()) {
        // A forked child must not use its parent's connections; they are
        // abandoned (not closed, which could disturb the parent's locks).
        for (auto& [p, hive] : cache.hives)
            new std::shared_ptr<Hive>(std::move(hive));
        cache.hives.clear();
        cache.pid = getpid();
    }
    auto& slot = cache.hives[path];
    if (!slot) slot = std::make_shared<Hive>(path);
    return slot;
}

Hive::Hive(std::string path) : path_(std::move(path)) {}

Hive::~Hive() {
    for (auto& [sql, s] : stmts_)
        sqlite3_finalize(s);
    if (db_) sqlite3_close_v2(db_);
}

LSTATUS Hive::fail(int rc, const char* what) {
    const int primary = rc & 0xFF;
    std::string msg = sqliteMessage(db_, rc);
    if (isDamage(rc)) {
        broken_ = ERROR_BADDB;
        brokenDetail_ = damagedHiveMessage(path_, msg);
        setErrorDetail(brokenDetail_);
        return broken_;
    }
    LSTATUS st = ERROR_CANTWRITE;
    switch (primary) {
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        st = ERROR_ACCESS_DENIED;
        break;
    case SQLITE_CANTOPEN:
        st = ERROR_CANTOPEN;
        break;
    case SQLITE_NOMEM:
        st = ERROR_OUTOFMEMORY;
        break;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        st = ERROR_BUSY;
        break;
    case SQLITE_FULL:
    case SQLITE_IOERR:
        st = ERROR_CANTWRITE;
        break;
    default:
        st = ERROR_CANTREAD;
        break;
    }
    lastFailure_ = msg;
    setErrorDetail(std::string("registry hive '") + path_ + "': " + what + ": " + msg);
    return st;
}

sqlite3_stmt* Hive::prepare(const char* sql) {
    auto it = stmts_.find(sql);
    if (it != stmts_.end()) return it->second;
    sqlite3_stmt* s = nullptr;
    const int rc = sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &s, nullptr);
    if (rc != SQLITE_OK) {
        fail(rc, "prepare");
        return nullptr;
    }
    stmts_.emplace(sql, s);
    return s;
}

LSTATUS Hive::exec(const char* sql) {
    char* err = nullptr;
    const int rc = sqlite3_exec(db_, sql, nullptr, nullptr, &err);
    sqlite3_free(err);
    return rc == SQLITE_OK ? ERROR_SUCCESS : fail(rc, sql);
}

// Runs one statement of transaction control from the statement cache.
// BEGIN IMMEDIATE and COMMIT may meet another process's lock even after the
// busy timeout when that process is slow (a large fsync); they are retried so
// a caller never sees a busy error while the other writer makes progress.
LSTATUS Hive::execRetrying(const char* sql) {
    const auto deadline = std::chrono::steady_clock::now() + kBusyRetryLimit;
    for (;;) {
        int rc = SQLITE_OK;
        {
            Stmt s(*this, sql);
            if (!s) return broken_ != ERROR_SUCCESS ? broken_ : ERROR_CANTREAD;
            rc = s.step();
        }
        if (rc == SQLITE_DONE || rc == SQLITE_ROW) return ERROR_SUCCESS;
        if ((rc & 0xFF) != SQLITE_BUSY || std::chrono::steady_clock::now() > deadline)
            return fail(rc, sql);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

LSTATUS Hive::open(Access access) {
    if (broken_ != ERROR_SUCCESS) {
        setErrorDetail(brokenDetail_);
        return broken_;
    }
    if (db_) {
        if (access == Access::Write && readOnly_) {
            setErrorDetail("registry hive '" + path_ + "' is read-only");
            return ERROR_ACCESS_DENIED;
        }
        return ERROR_SUCCESS;
    }
    namespace fs = std::filesystem;
    struct stat st {};
    const bool exists = ::stat(path_.c_str(), &st) == 0;
    if (!exists && errno != ENOENT) {
        setErrorDetail("registry hive '" + path_ + "': " + std::strerror(errno));
        return ERROR_CANTOPEN;
    }
    if (!exists && access == Access::Read) return ERROR_SUCCESS; // reads see an empty hive
    if (exists && !S_ISREG(st.st_mode)) {
        broken_ = ERROR_BADDB;
        brokenDetail_ = "registry hive '" + path_ + "' is not a regular file";
        setErrorDetail(brokenDetail_);
        return broken_;
    }

    const fs::path file(path_);
    const fs::path dir = file.has_parent_path() ? file.parent_path() : fs::path(".");
    if (!exists) {
        std::error_code ec;
        s_createPrivateFolders(dir, ec);
        if (ec) {
            setErrorDetail("registry hive '" + path_ + "': cannot create folder '" + dir.string() +
                           "': " + ec.message());
            return ec == std::errc::permission_denied || ec == std::errc::read_only_file_system
                       ? ERROR_ACCESS_DENIED
                       : ERROR_CANTOPEN;
        }
    }
    // A hive is writable only when both the file and its folder are: the
    // rollback journal lives beside the file.
    const bool writable =
        exists ? (::access(path_.c_str(), W_OK) == 0 && ::access(dir.c_str(), W_OK | X_OK) == 0)
               : ::access(dir.c_str(), W_OK | X_OK) == 0;
    if (!writable && !exists) {
        setErrorDetail("registry hive '" + path_ + "' cannot be created: folder '" + dir.string() +
                       "' is not writable");
        return ERROR_ACCESS_DENIED;
    }
    if (!writable && access == Access::Write) {
        setErrorDetail("registry hive '" + path_ + "' is read-only");
        return ERROR_ACCESS_DENIED;
    }
    const int flags =
        SQLITE_OPEN_NOMUTEX | (writable ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
    if (!exists) {
        // A new hive comes into place whole: made and given its schema under
        // a name of its own, then linked to the hive's name, which fails if
        // another process made it first (theirs stands). So a hive file is
        // never empty in the normal course, and an empty one is damage.
        if (struct stat link{}; ::lstat(path_.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
            // A link to nothing: it is not ours to make what it names.
            setErrorDetail("registry hive '" + path_ + "' is a link to a file that does not exist");
            return ERROR_CANTOPEN;
        }
        const LSTATUS made = createWhole();
        if (made != ERROR_SUCCESS) return made;
        if (::stat(path_.c_str(), &st) != 0) {
            setErrorDetail("registry hive '" + path_ + "': " + std::strerror(errno));
            return ERROR_CANTOPEN;
        }
    }
    sqlite3* db = nullptr;
    int rc = sqlite3_open_v2(path_.c_str(), &db, flags, nullptr);
    if (rc != SQLITE_OK) {
        setErrorDetail("registry hive '" + path_ + "' cannot be opened: " + sqliteMessage(db, rc));
        sqlite3_close_v2(db);
        return ERROR_CANTOPEN;
    }
    db_ = db;
    readOnly_ = !writable;
    sqlite3_busy_timeout(db_, kBusyTimeoutMs);
    sqlite3_extended_result_codes(db_, 1);

    auto closeWith = [this](LSTATUS st) {
        for (auto& [sql, s] : stmts_)
            sqlite3_finalize(s);
        stmts_.clear();
        sqlite3_close_v2(db_);
        db_ = nullptr;
        return st;
    };

    // Reading the header is what detects a file that is not a database.
    int appId = 0, version = 0, tables = 0;
    {
        Stmt q(*this, "SELECT (SELECT application_id FROM pragma_application_id),"
                      " (SELECT user_version FROM pragma_user_version),"
                      " (SELECT count(*) FROM sqlite_schema)");
        if (!q) return closeWith(broken_ != ERROR_SUCCESS ? broken_ : ERROR_CANTOPEN);
        rc = q.step();
        if (rc != SQLITE_ROW) return closeWith(fail(rc, "reading the header"));
        appId = static_cast<int>(q.int64(0));
        version = static_cast<int>(q.int64(1));
        tables = static_cast<int>(q.int64(2));
    }
    if (appId == 0 && tables == 0) {
        // Hives are made whole (createWhole): an empty file where a hive
        // should be was cut short or overwritten, and taking it for a new
        // hive would seed it and, a day later, back that up over the good
        // backup.
        broken_ = ERROR_BADDB;
        brokenDetail_ = damagedHiveMessage(
            path_, "it is empty (" + std::to_string(st.st_size) +
                       " bytes), where a hive holds at least its root key; it was left untouched");
        setErrorDetail(brokenDetail_);
        return closeWith(broken_);
    } else if (appId != kApplicationId) {
        broken_ = ERROR_BADDB;
        brokenDetail_ =
            "'" + path_ + "' is a database but not a registry hive; it was left untouched";
        setErrorDetail(brokenDetail_);
        return closeWith(broken_);
    } else if (version > kSchemaVersion) {
        broken_ = ERROR_BADDB;
        brokenDetail_ = "registry hive '" + path_ + "' has format version " +
                        std::to_string(version) + ", newer than this program reads (" +
                        std::to_string(kSchemaVersion) + "); it was left untouched";
        setErrorDetail(brokenDetail_);
        return closeWith(broken_);
    }
    keyMeta_ = version >= 2;
    sums_ = version >= 3;
    registerValueSum(db_);
    if (tables > 0) {
        // A damaged hive is refused before anything is read from it or
        // written to it; one that checks whole gets its day's backup.
        std::string why;
        rc = checkHiveWhole(db_, uint64_t(st.st_size), why);
        if (rc == SQLITE_CORRUPT || isDamage(rc)) {
            broken_ = ERROR_BADDB;
            brokenDetail_ = damagedHiveMessage(path_, why);
            setErrorDetail(brokenDetail_);
            return closeWith(broken_);
        }
        if (rc != SQLITE_OK) return closeWith(fail(rc, "checking the hive"));
        scheduleHiveBackup(path_);
    }
    if (!readOnly_) {
        // WAL is never used (see design); a hive left in WAL by another tool is
        // switched back. synchronous=FULL makes every commit durable.
        // Savepoints keep their undo records in memory rather than in
        // temporary files.
        LSTATUS st = exec("PRAGMA synchronous=FULL; PRAGMA temp_store=MEMORY");
        std::string mode;
        if (st == ERROR_SUCCESS) {
            Stmt jm(*this, "PRAGMA journal_mode");
            if (jm && jm.step() == SQLITE_ROW) mode = jm.text(0);
        }
        if (mode == "wal") st = exec("PRAGMA journal_mode=DELETE");
        if (st == ERROR_SUCCESS && tables > 0 && version < kSchemaVersion)
            st = upgradeSchema(version);
        if (st != ERROR_SUCCESS) return closeWith(st);
    }
    return ERROR_SUCCESS;
}

LSTATUS Hive::upgradeSchema(int version) {
    LSTATUS st = execRetrying("BEGIN IMMEDIATE");
    if (st != ERROR_SUCCESS) return st;
    {
        // Another program may have brought it forward meanwhile.
        Stmt q(*this, "PRAGMA user_version");
        if (q && q.step() == SQLITE_ROW) version = static_cast<int>(q.int64(0));
    }
    if (version < 2)
        st = exec("ALTER TABLE keys ADD COLUMN class TEXT NOT NULL DEFAULT '';"
                  "ALTER TABLE keys ADD COLUMN mtime INTEGER NOT NULL DEFAULT 0;");
    if (st == ERROR_SUCCESS && version < 3)
        st = exec("ALTER TABLE vals ADD COLUMN sum INTEGER;"
                  "UPDATE vals SET sum = zul_sum(key, name, fold, type, data);");
    if (st == ERROR_SUCCESS) st = exec("PRAGMA user_version=3;");
    if (st != ERROR_SUCCESS) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        return st;
    }
    st = execRetrying("COMMIT");
    if (st == ERROR_SUCCESS) keyMeta_ = sums_ = true;
    return st;
}

LSTATUS Hive::badSum(int64_t key, const std::string& name) {
    std::string path;
    for (int64_t id = key, parent = 0, depth = 0; id > 1 && depth < 512; id = parent, ++depth) {
        Stmt q(*this, "SELECT name, parent FROM keys WHERE id=?1");
        if (!q || q.bind(1, id).step() != SQLITE_ROW) break;
        path = q.text(0) + (path.empty() ? "" : "\\" + path);
        parent = q.int64(1);
    }
    broken_ = ERROR_BADDB;
    brokenDetail_ = damagedHiveMessage(
        path_, "the value '" + name + "' of key '" + path +
                   "' does not match its checksum (it was changed outside the registry)");
    setErrorDetail(brokenDetail_);
    return broken_;
}

LSTATUS Hive::createWhole() {
    // A user's views and settings are the user's: a new hive is readable by
    // its owner only, whatever the umask (SQLite gives its journal the mode
    // of the database file).
    std::string scratch = path_ + ".new-XXXXXX";
    const int fd = ::mkostemp(scratch.data(), O_CLOEXEC);
    if (fd < 0) {
        setErrorDetail("registry hive '" + path_ + "' cannot be created: " + std::strerror(errno));
        return errno == EACCES || errno == EROFS ? ERROR_ACCESS_DENIED : ERROR_CANTOPEN;
    }
    ::fchmod(fd, 0600);
    ::close(fd);
    struct Remove {
        const std::string& path;
        ~Remove() { ::unlink(path.c_str()); }
    } remove{scratch};
    sqlite3* db = nullptr;
    int rc =
        sqlite3_open_v2(scratch.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        setErrorDetail("registry hive '" + path_ + "' cannot be created: " + sqliteMessage(db, rc));
        sqlite3_close_v2(db);
        return ERROR_CANTOPEN;
    }
    db_ = db;
    registerValueSum(db_);
    LSTATUS st = exec("PRAGMA synchronous=FULL");
    if (st == ERROR_SUCCESS) st = initSchema();
    for (auto& [sql, q] : stmts_)
        sqlite3_finalize(q);
    stmts_.clear();
    sqlite3_close_v2(db_);
    db_ = nullptr;
    if (st != ERROR_SUCCESS) return st;
    if (::link(scratch.c_str(), path_.c_str()) != 0 && errno != EEXIST) {
        setErrorDetail("registry hive '" + path_ + "' cannot be created: " + std::strerror(errno));
        return errno == EACCES || errno == EROFS ? ERROR_ACCESS_DENIED : ERROR_CANTOPEN;
    }
    // The new name lasts: the folder's entry is synced too.
    const std::string dir = std::filesystem::path(path_).has_parent_path()
                                ? std::filesystem::path(path_).parent_path().string()
                                : std::string(".");
    if (const int d = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); d >= 0) {
        ::fsync(d);
        ::close(d);
    }
    return ERROR_SUCCESS;
}

LSTATUS Hive::initSchema() {
    LSTATUS st = execRetrying("BEGIN IMMEDIATE");
    if (st != ERROR_SUCCESS) return st;
    // Another process may have initialised the file meanwhile.
    bool initialised = false;
    {
        Stmt q(*this, "SELECT count(*) FROM sqlite_schema WHERE name='keys'");
        initialised = q && q.step() == SQLITE_ROW && q.int64(0) > 0;
    }
    if (initialised) return exec("COMMIT");
    st = exec("CREATE TABLE keys(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL,"
              " name TEXT NOT NULL, fold TEXT NOT NULL, class TEXT NOT NULL DEFAULT '',"
              " mtime INTEGER NOT NULL DEFAULT 0, UNIQUE(parent, fold));"
              "CREATE TABLE vals(key INTEGER NOT NULL, name TEXT NOT NULL, fold TEXT NOT NULL,"
              " type INTEGER NOT NULL, data BLOB NOT NULL, sum INTEGER, UNIQUE(key, fold));"
              "INSERT INTO keys(id, parent, name, fold) VALUES(1, 0, '', '');"
              "PRAGMA application_id=1515539538;"
              "PRAGMA user_version=3;");
    if (st != ERROR_SUCCESS) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        return st;
    }
    return execRetrying("COMMIT");
}
static_assert(kApplicationId == 1515539538);

} // namespace zul::registry
