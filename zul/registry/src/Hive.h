// One hive: a SQLite database of keys and values, shared by every process that
// names the same file.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "zul/registry/registry.h"

namespace zul::registry {

constexpr int64_t kRootKeyId = 1;

// Registry names compare case-insensitively by their upper-case form, which is
// also the sort order of enumeration (as on Windows: "A_" sorts after "AB").
std::string foldName(std::string_view name);
// Number of characters (UTF-8 code points) in `name`.
size_t nameLength(std::string_view name);

// Now as a FILETIME: 100 ns intervals since 1601-01-01.
int64_t fileTimeNow();

void setErrorDetail(std::string detail);
void clearErrorDetail();

// Checks a hive's file as a whole, on the connection `db`: SQLite's own
// checks (the full integrity check, which also compares every index with its
// table, up to kFullCheckBytes; the quick one, linear in the size, above) and
// that every key hangs from the root with the root at the top, so that no
// walk of the tree can loop. SQLITE_OK; SQLITE_CORRUPT with `why`; or the
// SQLite error that stopped the check.
constexpr uint64_t kFullCheckBytes = uint64_t(64) << 20;
int checkHiveWhole(sqlite3* db, uint64_t fileBytes, std::string& why);
// Makes the SQL function zul_sum(key, name, fold, type, data) known on `db`:
// the checksum each stored value carries (from the third hive format on),
// over its key and everything it holds, so that a value changed outside
// the registry (a flipped bit that SQLite's own checks cannot see, as it
// keeps no checksums) is found when it is read.
void registerValueSum(sqlite3* db);
// The refusal of a damaged hive: what is wrong, that the file was left as it
// was, and where its backup is and how to restore it, when there is one.
std::string damagedHiveMessage(const std::string& hive, const std::string& why);
// Starts the day's backup of a hive that has just checked whole, unless a
// backup less than a day old exists (see zul/registry/Backup.h).
void scheduleHiveBackup(const std::string& hive);

// The size of a value's data as Windows counts it where it reports the
// longest data of a key: strings in UTF-16, everything else as stored.
DWORD windowsDataSize(DWORD type, std::string_view data);

struct ValueRecord {
    std::string name;
    DWORD type = REG_NONE;
    std::string data;
};

class Hive {
public:
    // The hive of `path`, shared by every caller in this process.
    static std::shared_ptr<Hive> forPath(const std::string& path);

    explicit Hive(std::string path);
    ~Hive();
    const std::string& path() const { return path_; }

    // Every operation below is called through run(), which holds the hive's
    // lock, opens the file and wraps the work in a transaction (or a savepoint
    // inside a caller's Transaction), so each is all-or-nothing.
    enum class Access { Read, Write };
    template <class F> LSTATUS run(Access access, F&& work) {
        std::lock_guard lock(mu_);
        if (access == Access::Write) enumeration_.valid = false;
        LSTATUS st = begin(access);
        if (st != ERROR_SUCCESS) return st;
        try {
            st = work();
        } catch (...) {
            finish(access, false);
            throw;
        }
        const LSTATUS end = finish(access, st == ERROR_SUCCESS);
        return st != ERROR_SUCCESS ? st : end;
    }

    // True when the file does not exist yet: reads see an empty root.
    bool absent() const { return db_ == nullptr; }

    LSTATUS keyExists(int64_t id);
    LSTATUS findChild(int64_t parent, std::string_view fold, int64_t& id);
    LSTATUS resolve(int64_t from, const std::vector<std::string>& path, int64_t& id);
    // Creates the missing keys of `path` below `from`; the last one, when
    // created, gets the class name `cls`.
    LSTATUS createPath(int64_t from, const std::vector<std::string>& path, int64_t& id,
                       bool& created, std::string_view cls = {});
    LSTATUS childAt(int64_t parent, DWORD index, std::string& name);
    LSTATUS childNames(int64_t parent, std::vector<std::string>& names);
    LSTATUS keyInfo(int64_t id, DWORD& subkeys, DWORD& maxSubkeyLen, DWORD& values,
                    DWORD& maxValueNameLen, DWORD& maxValueLen);
    // A key's class name, its last write (FILETIME units: 100 ns since
    // 1601), and the longest class name of its subkeys. A hive of the first
    // format opened read-only has none: "", 0, 0.
    struct KeyMeta {
        std::string cls;
        int64_t lastWrite = 0;
        DWORD maxSubkeyClassLen = 0;
    };
    LSTATUS keyMeta(int64_t id, KeyMeta& out);
    LSTATUS getValue(int64_t key, std::string_view fold, ValueRecord& out);
    LSTATUS valueAt(int64_t key, DWORD index, ValueRecord& out);
    // Every value of `key`, in enumeration order, in one query.
    LSTATUS values(int64_t key, std::vector<ValueRecord>& out);
    LSTATUS setValue(int64_t key, std::string_view name, DWORD type, std::string_view data);
    LSTATUS deleteValue(int64_t key, std::string_view fold);
    LSTATUS deleteKey(int64_t id); // fails on a key with subkeys
    LSTATUS deleteTree(int64_t id, bool includeSelf);

    // See zul::registry::hiveGeneration.
    LSTATUS generation(uint64_t& out);

    // Transaction support: called by the thread's Transaction.
    LSTATUS joinTransaction(Access access);
    LSTATUS commitTransaction();
    // Savepoints of nested scopes (level 2 and deeper) in a joined hive.
    enum class ScopeStep { Open, Keep, Undo };
    LSTATUS scope(int level, ScopeStep step);
    void rollbackTransaction();
    std::recursive_mutex& mutex() { return mu_; }

private:
    class Stmt;
    LSTATUS begin(Access access);
    LSTATUS finish(Access access, bool ok);
    // ERROR_CANTWRITE once the joined transaction is gone (see aborted_).
    LSTATUS checkJoined();
    LSTATUS open(Access access);
    // Makes the hive file whole under a scratch name and links it into place.
    LSTATUS createWhole();
    LSTATUS initSchema();
    LSTATUS upgradeSchema(int version); // brings an older-format hive to this one
    // Marks `id` written now (its last-write time).
    LSTATUS touch(int64_t id);
    LSTATUS parentOf(int64_t id, int64_t& parent);
    LSTATUS exec(const char* sql);
    LSTATUS execRetrying(const char* sql);
    sqlite3_stmt* prepare(const char* sql);
    LSTATUS fail(int rc, const char* what);

    std::string path_;
    std::recursive_mutex mu_;
    sqlite3* db_ = nullptr;
    bool readOnly_ = false;
    bool keyMeta_ = false; // the keys table has class and mtime columns
    bool sums_ = false;    // the values carry checksums (zul_sum)
    // A value read whose checksum does not match: the hive is damaged, and
    // refused from then on, as a hive that fails its check at open is.
    LSTATUS badSum(int64_t key, const std::string& name);
    // Keys whose last write this transaction has recorded already: one
    // UPDATE a key per transaction, whose writes all land at its commit.
    std::unordered_set<int64_t> touched_;
    LSTATUS broken_ = ERROR_SUCCESS; // a damaged file stays refused, never rewritten
    std::string brokenDetail_;
    // What the last failing statement said: the cause a later "transaction
    // undone" names.
    std::string lastFailure_;
    bool inTransaction_ = false; // joined by the thread's Transaction
    // SQLite undid the joined transaction on its own (it does after some I/O
    // errors): every further call of the scope fails, and so does its commit,
    // so that the calls after the failure cannot land outside the transaction.
    bool aborted_ = false;
    int savepointDepth_ = 0;
    std::unordered_map<const char*, sqlite3_stmt*> stmts_;
    // The subkeys of the key enumerated last, so that enumerating by index
    // costs one query for the whole walk rather than one per index. Valid
    // while no write of this connection (nor an undo of one) and no commit
    // of another connection (SQLite's data version) came between.
    struct Enumeration {
        bool valid = false;
        int64_t parent = 0;
        int64_t dataVersion = 0;
        std::vector<std::string> names;
    } enumeration_;
};

} // namespace zul::registry
