#include "Hive.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

#include "zul/registry/Transaction.h"

namespace zul::registry {

namespace {

// "ZULR": marks a database as a registry hive, so a foreign SQLite file is
// refused rather than written into.
constexpr int kApplicationId = 0x5A554C52;
constexpr int kSchemaVersion = 1;
// How long a caller waits for another process's write to finish before the
// call fails. Writers hold the lock for milliseconds, so this is only reached
// when a process hangs inside a transaction.
constexpr int kBusyTimeoutMs = 10000;
constexpr auto kBusyRetryLimit = std::chrono::seconds(30);

thread_local std::string t_errorDetail;

uint32_t decodeUtf8(std::string_view s, size_t& i) {
    const auto c = static_cast<unsigned char>(s[i]);
    auto cont = [&](size_t k) -> int {
        if (i + k >= s.size()) return -1;
        const auto b = static_cast<unsigned char>(s[i + k]);
        return (b & 0xC0) == 0x80 ? (b & 0x3F) : -1;
    };
    if (c < 0x80) {
        ++i;
        return c;
    }
    if ((c & 0xE0) == 0xC0) {
        const int b1 = cont(1);
        if (b1 >= 0) {
            i += 2;
            return ((c & 0x1Fu) << 6) | static_cast<uint32_t>(b1);
        }
    } else if ((c & 0xF0) == 0xE0) {
        const int b1 = cont(1), b2 = b1 >= 0 ? cont(2) : -1;
        if (b2 >= 0) {
            i += 3;
            return ((c & 0x0Fu) << 12) | (static_cast<uint32_t>(b1) << 6) |
                   static_cast<uint32_t>(b2);
        }
    }
    // Four-byte sequences and invalid bytes fold to themselves.
    ++i;
    return 0xFFFFFFFFu;
}

void appendUtf8(std::string& out, uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

uint32_t upper(uint32_t cp) {
    if (cp >= 'a' && cp <= 'z') return cp - 0x20;
    if (cp >= 0xE0 && cp <= 0xFE && cp != 0xF7) return cp - 0x20;
    if (cp == 0xFF) return 0x178;
    if (cp >= 0x100 && cp <= 0x17F) { // Latin Extended-A: pairs, upper case first
        const bool oddUpper = (cp >= 0x139 && cp <= 0x148) || (cp >= 0x179 && cp <= 0x17E);
        if (cp == 0x131 || cp == 0x138 || cp == 0x149 || cp == 0x17F) return cp;
        if (oddUpper) return (cp % 2 == 0) ? cp - 1 : cp;
        return (cp % 2 == 1) ? cp - 1 : cp;
    }
    if (cp >= 0x3B1 && cp <= 0x3C9 && cp != 0x3C2) return cp - 0x20;
    if (cp >= 0x430 && cp <= 0x44F) return cp - 0x20;
    if (cp >= 0x450 && cp <= 0x45F) return cp - 0x50;
    return cp;
}

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

std::string foldName(std::string_view name) {
    std::string out;
    out.reserve(name.size());
    size_t i = 0;
    while (i < name.size()) {
        const size_t start = i;
        const uint32_t cp = decodeUtf8(name, i);
        if (cp == 0xFFFFFFFFu) {
            out.append(name.substr(start, i - start));
        } else if (cp < 0x80) {
            out += static_cast<char>(upper(cp));
        } else {
            appendUtf8(out, upper(cp));
        }
    }
    return out;
}

size_t nameLength(std::string_view name) {
    size_t n = 0;
    for (const char c : name)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
    return n;
}

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
// Statements are prepared once per connection and reset after each use.

class Hive::Stmt {
public:
    Stmt(Hive& hive, const char* sql) : s_(hive.prepare(sql)) {}
    ~Stmt() {
        if (s_) {
            sqlite3_reset(s_);
            sqlite3_clear_bindings(s_);
        }
    }
    explicit operator bool() const { return s_ != nullptr; }
    Stmt& bind(int i, int64_t v) {
        sqlite3_bind_int64(s_, i, v);
        return *this;
    }
    Stmt& bind(int i, std::string_view v) {
        sqlite3_bind_text(s_, i, v.data(), static_cast<int>(v.size()), SQLITE_STATIC);
        return *this;
    }
    Stmt& bindBlob(int i, std::string_view v) {
        sqlite3_bind_blob(s_, i, v.data(), static_cast<int>(v.size()), SQLITE_STATIC);
        return *this;
    }
    // SQLITE_ROW, SQLITE_DONE, or an error code.
    int step() { return sqlite3_step(s_); }
    int64_t int64(int col) const { return sqlite3_column_int64(s_, col); }
    std::string text(int col) const {
        const auto* p = reinterpret_cast<const char*>(sqlite3_column_blob(s_, col));
        return p ? std::string(p, static_cast<size_t>(sqlite3_column_bytes(s_, col)))
                 : std::string();
    }

private:
    sqlite3_stmt* s_;
};

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
struct ThreadTransaction {
    int depth = 0;
    std::vector<std::shared_ptr<Hive>> joined;
};
thread_local ThreadTransaction t_tx;
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
        brokenDetail_ = "registry hive '" + path_ +
                        "' is damaged or is not a registry hive: " + msg +
                        "; the file was left untouched";
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
        fs::create_directories(dir, ec);
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
    int flags = SQLITE_OPEN_NOMUTEX | (writable ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
    if (!exists) flags |= SQLITE_OPEN_CREATE;
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
        // A new or empty file: give it the schema now, while we know it
        // holds nothing that could be lost.
        if (readOnly_) return closeWith(ERROR_SUCCESS); // reads see an empty hive
        const LSTATUS st = initSchema();
        if (st != ERROR_SUCCESS) return closeWith(st);
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
        if (st != ERROR_SUCCESS) return closeWith(st);
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
              " name TEXT NOT NULL, fold TEXT NOT NULL, UNIQUE(parent, fold));"
              "CREATE TABLE vals(key INTEGER NOT NULL, name TEXT NOT NULL, fold TEXT NOT NULL,"
              " type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, fold));"
              "INSERT INTO keys(id, parent, name, fold) VALUES(1, 0, '', '');"
              "PRAGMA application_id=1515539538;"
              "PRAGMA user_version=1;");
    if (st != ERROR_SUCCESS) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        return st;
    }
    return execRetrying("COMMIT");
}
static_assert(kApplicationId == 1515539538);

// ---------------------------------------------------------------------------
// Transactions

LSTATUS Hive::begin(Access access) {
    LSTATUS st = open(access);
    if (st != ERROR_SUCCESS || !db_) return st;
    if (t_tx.depth > 0 && !inTransaction_) {
        st = joinTransaction(access);
        if (st != ERROR_SUCCESS) return st;
    }
    if (inTransaction_) {
        if ((st = checkJoined()) != ERROR_SUCCESS) return st;
        if (access == Access::Write) {
            st = execRetrying("SAVEPOINT call");
            if (st == ERROR_SUCCESS) ++savepointDepth_;
        }
        return st;
    }
    // A read gets a transaction too: one shared lock for all its statements
    // instead of one each.
    return execRetrying(access == Access::Write ? "BEGIN IMMEDIATE" : "BEGIN");
}

LSTATUS Hive::checkJoined() {
    if (!aborted_ && sqlite3_get_autocommit(db_)) aborted_ = true;
    if (!aborted_) return ERROR_SUCCESS;
    setErrorDetail("registry hive '" + path_ +
                   "': a write failed and the transaction was undone; nothing of it " +
                   "was stored");
    return ERROR_CANTWRITE;
}

LSTATUS Hive::finish(Access access, bool ok) {
    if (!db_) return ERROR_SUCCESS;
    if (inTransaction_) {
        if (access == Access::Read || savepointDepth_ == 0) return checkJoined();
        --savepointDepth_;
        if (const LSTATUS st = checkJoined(); st != ERROR_SUCCESS) return st;
        if (!ok) execRetrying("ROLLBACK TO call");
        const LSTATUS st = execRetrying("RELEASE call");
        return st != ERROR_SUCCESS ? st : checkJoined();
    }
    if (!ok || access == Access::Read) {
        // Ending a read transaction either way releases its lock.
        if (!sqlite3_get_autocommit(db_)) execRetrying("ROLLBACK");
        return ERROR_SUCCESS;
    }
    const LSTATUS st = execRetrying("COMMIT");
    if (st != ERROR_SUCCESS && !sqlite3_get_autocommit(db_))
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    return st;
}

LSTATUS Hive::generation(uint64_t& out) {
    return run(Access::Read, [&]() -> LSTATUS {
        out = 0;
        if (!db_) return ERROR_SUCCESS; // no file yet: nothing was ever written
        Stmt q(*this, "PRAGMA data_version");
        if (!q) return broken_ != ERROR_SUCCESS ? broken_ : ERROR_CANTREAD;
        const int rc = q.step();
        if (rc != SQLITE_ROW) return fail(rc, "reading the data version");
        out = static_cast<uint64_t>(q.int64(0));
        return ERROR_SUCCESS;
    });
}

namespace {
std::string savepointName(int level) {
    return "scope" + std::to_string(level);
}

// Statement texts of nested scopes, built once so the statement cache (keyed
// by text address) prepares each only once.
struct ScopeStatements {
    std::vector<std::string> open, keep, undo;
    ScopeStatements() {
        for (int level = 0; level < 64; ++level) {
            open.push_back("SAVEPOINT " + savepointName(level));
            keep.push_back("RELEASE " + savepointName(level));
            undo.push_back("ROLLBACK TO " + savepointName(level));
        }
    }
};
const ScopeStatements& scopeStatements() {
    static const ScopeStatements statements;
    return statements;
}
} // namespace

LSTATUS Hive::joinTransaction(Access access) {
    (void)access;
    // The hive stays locked for this thread until the outermost scope ends.
    mu_.lock();
    LSTATUS st = execRetrying(readOnly_ ? "BEGIN" : "BEGIN IMMEDIATE");
    // Joining inside nested scopes: one savepoint per open inner scope, so
    // each can still be undone on its own.
    for (int level = 2; st == ERROR_SUCCESS && level <= t_tx.depth; ++level) {
        inTransaction_ = true;
        st = scope(level, ScopeStep::Open);
    }
    if (st != ERROR_SUCCESS) {
        if (db_ && !sqlite3_get_autocommit(db_))
            sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        inTransaction_ = false;
        mu_.unlock();
        return st;
    }
    inTransaction_ = true;
    t_tx.joined.push_back(Hive::forPath(path_));
    return ERROR_SUCCESS;
}

LSTATUS Hive::scope(int level, ScopeStep step) {
    if (!db_ || !inTransaction_) return ERROR_SUCCESS;
    if (const LSTATUS st = checkJoined(); st != ERROR_SUCCESS)
        return step == ScopeStep::Undo ? ERROR_SUCCESS : st;
    const ScopeStatements& sql = scopeStatements();
    if (level < 0 || level >= static_cast<int>(sql.open.size())) {
        setErrorDetail("registry transactions nested too deeply");
        return ERROR_CANTWRITE;
    }
    switch (step) {
    case ScopeStep::Open:
        return execRetrying(sql.open[level].c_str());
    case ScopeStep::Keep:
        return execRetrying(sql.keep[level].c_str());
    case ScopeStep::Undo: {
        const LSTATUS st = execRetrying(sql.undo[level].c_str());
        const LSTATUS rel = execRetrying(sql.keep[level].c_str());
        return st != ERROR_SUCCESS ? st : rel;
    }
    }
    return ERROR_SUCCESS;
}

LSTATUS Hive::commitTransaction() {
    LSTATUS st = ERROR_SUCCESS;
    if (db_ && inTransaction_) {
        st = checkJoined();
        if (st == ERROR_SUCCESS) st = execRetrying("COMMIT");
        if (st != ERROR_SUCCESS && !sqlite3_get_autocommit(db_))
            sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    inTransaction_ = false;
    aborted_ = false;
    savepointDepth_ = 0;
    mu_.unlock();
    return st;
}

void Hive::rollbackTransaction() {
    if (db_ && inTransaction_ && !sqlite3_get_autocommit(db_))
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    inTransaction_ = false;
    aborted_ = false;
    savepointDepth_ = 0;
    mu_.unlock();
}

Transaction::Transaction() {
    ++t_tx.depth;
    if (t_tx.depth > 1)
        for (auto& hive : t_tx.joined) {
            std::lock_guard lock(hive->mutex());
            hive->scope(t_tx.depth, Hive::ScopeStep::Open);
        }
}

Transaction::~Transaction() {
    if (!done_) rollback();
}

LSTATUS Transaction::commit() {
    if (done_) return ERROR_SUCCESS;
    done_ = true;
    if (t_tx.depth > 1) {
        // An inner scope keeps its work; the outer scope decides on it.
        LSTATUS st = ERROR_SUCCESS;
        for (auto& hive : t_tx.joined) {
            const LSTATUS one = hive->scope(t_tx.depth, Hive::ScopeStep::Keep);
            if (st == ERROR_SUCCESS) st = one;
        }
        --t_tx.depth;
        return st;
    }
    t_tx.depth = 0;
    auto joined = std::move(t_tx.joined);
    t_tx.joined.clear();
    LSTATUS st = ERROR_SUCCESS;
    for (auto& hive : joined) {
        const LSTATUS one = hive->commitTransaction();
        if (st == ERROR_SUCCESS) st = one;
    }
    return st;
}

void Transaction::rollback() {
    if (done_) return;
    done_ = true;
    if (t_tx.depth > 1) {
        // Undoes this scope's work only.
        for (auto& hive : t_tx.joined)
            hive->scope(t_tx.depth, Hive::ScopeStep::Undo);
        --t_tx.depth;
        return;
    }
    t_tx.depth = 0;
    auto joined = std::move(t_tx.joined);
    t_tx.joined.clear();
    for (auto& hive : joined)
        hive->rollbackTransaction();
}

// ---------------------------------------------------------------------------
// Keys and values. The caller holds the lock through run().

LSTATUS Hive::keyExists(int64_t id) {
    if (!db_) return id == kRootKeyId ? ERROR_SUCCESS : ERROR_KEY_DELETED;
    Stmt q(*this, "SELECT 1 FROM keys WHERE id=?1");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, id).step();
    if (rc == SQLITE_ROW) return ERROR_SUCCESS;
    if (rc == SQLITE_DONE) {
        setErrorDetail("the key was deleted while open");
        return ERROR_KEY_DELETED;
    }
    return fail(rc, "reading a key");
}

LSTATUS Hive::findChild(int64_t parent, std::string_view fold, int64_t& id) {
    if (!db_) return ERROR_FILE_NOT_FOUND;
    Stmt q(*this, "SELECT id FROM keys WHERE parent=?1 AND fold=?2");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, parent).bind(2, fold).step();
    if (rc == SQLITE_ROW) {
        id = q.int64(0);
        return ERROR_SUCCESS;
    }
    return rc == SQLITE_DONE ? ERROR_FILE_NOT_FOUND : fail(rc, "finding a key");
}

LSTATUS Hive::resolve(int64_t from, const std::vector<std::string>& path, int64_t& id) {
    int64_t cur = from;
    for (const std::string& part : path) {
        const LSTATUS st = findChild(cur, foldName(part), cur);
        if (st != ERROR_SUCCESS) return st;
    }
    id = cur;
    return ERROR_SUCCESS;
}

LSTATUS Hive::createPath(int64_t from, const std::vector<std::string>& path, int64_t& id,
                         bool& created) {
    created = false;
    int64_t cur = from;
    for (const std::string& part : path) {
        const std::string fold = foldName(part);
        LSTATUS st = findChild(cur, fold, cur);
        if (st == ERROR_FILE_NOT_FOUND) {
            Stmt ins(*this, "INSERT INTO keys(parent, name, fold) VALUES(?1, ?2, ?3)");
            if (!ins) return ERROR_CANTWRITE;
            const int rc = ins.bind(1, cur).bind(2, part).bind(3, fold).step();
            if (rc != SQLITE_DONE) return fail(rc, "creating a key");
            cur = sqlite3_last_insert_rowid(db_);
            created = true;
        } else if (st != ERROR_SUCCESS) {
            return st;
        }
    }
    id = cur;
    return ERROR_SUCCESS;
}

LSTATUS Hive::childAt(int64_t parent, DWORD index, std::string& name) {
    if (!db_) return ERROR_NO_MORE_ITEMS;
    Stmt q(*this, "SELECT name FROM keys WHERE parent=?1 ORDER BY fold LIMIT 1 OFFSET ?2");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, parent).bind(2, static_cast<int64_t>(index)).step();
    if (rc == SQLITE_ROW) {
        name = q.text(0);
        return ERROR_SUCCESS;
    }
    return rc == SQLITE_DONE ? ERROR_NO_MORE_ITEMS : fail(rc, "enumerating keys");
}

LSTATUS Hive::childNames(int64_t parent, std::vector<std::string>& names) {
    names.clear();
    if (!db_) return ERROR_SUCCESS;
    Stmt q(*this, "SELECT name FROM keys WHERE parent=?1 ORDER BY fold");
    if (!q) return ERROR_CANTREAD;
    q.bind(1, parent);
    int rc;
    while ((rc = q.step()) == SQLITE_ROW)
        names.push_back(q.text(0));
    return rc == SQLITE_DONE ? ERROR_SUCCESS : fail(rc, "enumerating keys");
}

LSTATUS Hive::keyInfo(int64_t id, DWORD& subkeys, DWORD& maxSubkeyLen, DWORD& values,
                      DWORD& maxValueNameLen, DWORD& maxValueLen) {
    subkeys = maxSubkeyLen = values = maxValueNameLen = maxValueLen = 0;
    if (!db_) return ERROR_SUCCESS;
    Stmt k(*this, "SELECT count(*), coalesce(max(length(CAST(name AS BLOB))), 0)"
                  " FROM keys WHERE parent=?1");
    if (!k) return ERROR_CANTREAD;
    int rc = k.bind(1, id).step();
    if (rc != SQLITE_ROW) return fail(rc, "reading key information");
    subkeys = static_cast<DWORD>(k.int64(0));
    maxSubkeyLen = static_cast<DWORD>(k.int64(1));
    Stmt v(*this, "SELECT count(*), coalesce(max(length(CAST(name AS BLOB))), 0),"
                  " coalesce(max(length(data)), 0) FROM vals WHERE key=?1");
    if (!v) return ERROR_CANTREAD;
    rc = v.bind(1, id).step();
    if (rc != SQLITE_ROW) return fail(rc, "reading key information");
    values = static_cast<DWORD>(v.int64(0));
    maxValueNameLen = static_cast<DWORD>(v.int64(1));
    maxValueLen = static_cast<DWORD>(v.int64(2));
    return ERROR_SUCCESS;
}

LSTATUS Hive::getValue(int64_t key, std::string_view fold, ValueRecord& out) {
    if (!db_) return ERROR_FILE_NOT_FOUND;
    Stmt q(*this, "SELECT name, type, data FROM vals WHERE key=?1 AND fold=?2");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, key).bind(2, fold).step();
    if (rc == SQLITE_ROW) {
        out.name = q.text(0);
        out.type = static_cast<DWORD>(q.int64(1));
        out.data = q.text(2);
        return ERROR_SUCCESS;
    }
    return rc == SQLITE_DONE ? ERROR_FILE_NOT_FOUND : fail(rc, "reading a value");
}

LSTATUS Hive::valueAt(int64_t key, DWORD index, ValueRecord& out) {
    if (!db_) return ERROR_NO_MORE_ITEMS;
    // Values enumerate in the order they were first set, as on Windows.
    Stmt q(*this,
           "SELECT name, type, data FROM vals WHERE key=?1 ORDER BY rowid LIMIT 1 OFFSET ?2");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, key).bind(2, static_cast<int64_t>(index)).step();
    if (rc == SQLITE_ROW) {
        out.name = q.text(0);
        out.type = static_cast<DWORD>(q.int64(1));
        out.data = q.text(2);
        return ERROR_SUCCESS;
    }
    return rc == SQLITE_DONE ? ERROR_NO_MORE_ITEMS : fail(rc, "enumerating values");
}

LSTATUS Hive::setValue(int64_t key, std::string_view name, DWORD type, std::string_view data) {
    const std::string fold = foldName(name);
    // An existing value keeps its place in the enumeration order and the case
    // of its name.
    Stmt up(*this, "UPDATE vals SET type=?3, data=?4 WHERE key=?1 AND fold=?2");
    if (!up) return ERROR_CANTWRITE;
    int rc =
        up.bind(1, key).bind(2, fold).bind(3, static_cast<int64_t>(type)).bindBlob(4, data).step();
    if (rc != SQLITE_DONE) return fail(rc, "writing a value");
    if (sqlite3_changes(db_) > 0) return ERROR_SUCCESS;
    Stmt ins(*this, "INSERT INTO vals(key, name, fold, type, data) VALUES(?1, ?2, ?3, ?4, ?5)");
    if (!ins) return ERROR_CANTWRITE;
    rc = ins.bind(1, key)
             .bind(2, name)
             .bind(3, fold)
             .bind(4, static_cast<int64_t>(type))
             .bindBlob(5, data)
             .step();
    return rc == SQLITE_DONE ? ERROR_SUCCESS : fail(rc, "writing a value");
}

LSTATUS Hive::deleteValue(int64_t key, std::string_view fold) {
    Stmt del(*this, "DELETE FROM vals WHERE key=?1 AND fold=?2");
    if (!del) return ERROR_CANTWRITE;
    const int rc = del.bind(1, key).bind(2, fold).step();
    if (rc != SQLITE_DONE) return fail(rc, "deleting a value");
    return sqlite3_changes(db_) > 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

LSTATUS Hive::deleteKey(int64_t id) {
    if (id == kRootKeyId) return ERROR_ACCESS_DENIED;
    {
        Stmt q(*this, "SELECT 1 FROM keys WHERE parent=?1 LIMIT 1");
        if (!q) return ERROR_CANTREAD;
        const int rc = q.bind(1, id).step();
        if (rc == SQLITE_ROW) {
            setErrorDetail("the key has subkeys; delete them first or delete the tree");
            return ERROR_ACCESS_DENIED;
        }
        if (rc != SQLITE_DONE) return fail(rc, "deleting a key");
    }
    Stmt dv(*this, "DELETE FROM vals WHERE key=?1");
    Stmt dk(*this, "DELETE FROM keys WHERE id=?1");
    if (!dv || !dk) return ERROR_CANTWRITE;
    int rc = dv.bind(1, id).step();
    if (rc == SQLITE_DONE) rc = dk.bind(1, id).step();
    return rc == SQLITE_DONE ? ERROR_SUCCESS : fail(rc, "deleting a key");
}

LSTATUS Hive::deleteTree(int64_t id, bool includeSelf) {
    Stmt dv(*this, "WITH RECURSIVE sub(id) AS (SELECT ?1 UNION ALL"
                   " SELECT k.id FROM keys k JOIN sub ON k.parent = sub.id)"
                   " DELETE FROM vals WHERE key IN (SELECT id FROM sub)");
    Stmt dk(*this, "WITH RECURSIVE sub(id) AS (SELECT ?1 UNION ALL"
                   " SELECT k.id FROM keys k JOIN sub ON k.parent = sub.id)"
                   " DELETE FROM keys WHERE id IN (SELECT id FROM sub) AND (?2 OR id <> ?1)");
    if (!dv || !dk) return ERROR_CANTWRITE;
    int rc = dv.bind(1, id).step();
    if (rc == SQLITE_DONE)
        rc = dk.bind(1, id).bind(2, static_cast<int64_t>(includeSelf && id != kRootKeyId)).step();
    return rc == SQLITE_DONE ? ERROR_SUCCESS : fail(rc, "deleting a key tree");
}

} // namespace zul::registry
