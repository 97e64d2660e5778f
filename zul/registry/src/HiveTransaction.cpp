// Transactions: a hive joins the calling thread's Transaction scope with its
// first call inside it; scopes nest as savepoints.
#include "Hive.h"

#include <string>

#include "HiveStatement.h"
#include "HiveTransactionState.h"
#include "zul/registry/Transaction.h"

namespace zul::registry {

thread_local ThreadTransaction t_tx;

LSTATUS Hive::begin(Access access) {
    if (!inTransaction_) touched_.clear(); // a transaction of its own begins
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
    setErrorDetail("registry hive '" + path_ + "': a write failed" +
                   (lastFailure_.empty() ? std::string() : " (" + lastFailure_ + ")") +
                   " and the transaction was undone; nothing of it was stored");
    return ERROR_CANTWRITE;
}

LSTATUS Hive::finish(Access access, bool ok) {
    if (!db_) return ERROR_SUCCESS;
    if (inTransaction_) {
        if (access == Access::Read || savepointDepth_ == 0) return checkJoined();
        --savepointDepth_;
        if (const LSTATUS st = checkJoined(); st != ERROR_SUCCESS) return st;
        if (!ok) {
            execRetrying("ROLLBACK TO call");
            touched_.clear();
        }
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
        lastFailure_.clear();
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
    lastFailure_.clear();
    touched_.clear();
    t_tx.joined.push_back(Hive::forPath(path_));
    return ERROR_SUCCESS;
}

LSTATUS Hive::scope(int level, ScopeStep step) {
    enumeration_.valid = false; // an undone scope may have held keys
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
        touched_.clear(); // an undone write may have undone its key's time
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
    enumeration_.valid = false;
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

} // namespace zul::registry
