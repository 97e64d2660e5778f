// Keys and values. The caller holds the lock through run().
#include <algorithm>
#include <utf8cpp/utf8.h>

#include "Hive.h"

#include "HiveStatement.h"

namespace zul::registry {

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
                         bool& created, std::string_view cls) {
    created = false;
    int64_t cur = from;
    for (size_t i = 0; i < path.size(); ++i) {
        const std::string& part = path[i];
        const std::string fold = foldName(part);
        const int64_t parent = cur;
        LSTATUS st = findChild(cur, fold, cur);
        if (st == ERROR_FILE_NOT_FOUND) {
            int rc = SQLITE_OK;
            if (keyMeta_) {
                Stmt ins(*this, "INSERT INTO keys(parent, name, fold, class, mtime)"
                                " VALUES(?1, ?2, ?3, ?4, ?5)");
                if (!ins) return ERROR_CANTWRITE;
                rc = ins.bind(1, parent)
                         .bind(2, part)
                         .bind(3, fold)
                         .bind(4, i + 1 == path.size() ? cls : std::string_view())
                         .bind(5, fileTimeNow())
                         .step();
            } else {
                Stmt ins(*this, "INSERT INTO keys(parent, name, fold) VALUES(?1, ?2, ?3)");
                if (!ins) return ERROR_CANTWRITE;
                rc = ins.bind(1, parent).bind(2, part).bind(3, fold).step();
            }
            if (rc != SQLITE_DONE) return fail(rc, "creating a key");
            cur = sqlite3_last_insert_rowid(db_);
            // A new subkey is a change of its parent, as on Windows.
            if (!created && (st = touch(parent)) != ERROR_SUCCESS) return st;
            created = true;
        } else if (st != ERROR_SUCCESS) {
            return st;
        }
    }
    id = cur;
    return ERROR_SUCCESS;
}

int64_t fileTimeNow() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return (int64_t(ts.tv_sec) + 11644473600LL) * 10000000LL + ts.tv_nsec / 100;
}

LSTATUS Hive::touch(int64_t id) {
    if (!keyMeta_ || !touched_.insert(id).second) return ERROR_SUCCESS;
    Stmt up(*this, "UPDATE keys SET mtime=?2 WHERE id=?1");
    if (!up) return ERROR_CANTWRITE;
    const int rc = up.bind(1, id).bind(2, fileTimeNow()).step();
    return rc == SQLITE_DONE ? ERROR_SUCCESS : fail(rc, "recording a key's last write");
}

LSTATUS Hive::keyMeta(int64_t id, KeyMeta& out) {
    out = KeyMeta{};
    if (!db_ || !keyMeta_) return ERROR_SUCCESS;
    Stmt q(*this, "SELECT class, mtime, (SELECT coalesce(max(length(CAST(class AS BLOB))), 0)"
                  " FROM keys WHERE parent=?1) FROM keys WHERE id=?1");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, id).step();
    if (rc == SQLITE_DONE) return ERROR_KEY_DELETED;
    if (rc != SQLITE_ROW) return fail(rc, "reading a key's class");
    out.cls = q.text(0);
    out.lastWrite = q.int64(1);
    out.maxSubkeyClassLen = static_cast<DWORD>(q.int64(2));
    return ERROR_SUCCESS;
}

LSTATUS Hive::childAt(int64_t parent, DWORD index, std::string& name) {
    if (!db_) return ERROR_NO_MORE_ITEMS;
    int64_t version = 0;
    {
        Stmt v(*this, "PRAGMA data_version");
        if (!v) return ERROR_CANTREAD;
        const int rc = v.step();
        if (rc != SQLITE_ROW) return fail(rc, "reading the data version");
        version = v.int64(0);
    }
    Enumeration& e = enumeration_;
    if (!e.valid || e.parent != parent || e.dataVersion != version) {
        e.valid = false;
        const LSTATUS st = childNames(parent, e.names);
        if (st != ERROR_SUCCESS) return st;
        e.valid = true;
        e.parent = parent;
        e.dataVersion = version;
    }
    if (index >= e.names.size()) return ERROR_NO_MORE_ITEMS;
    name = e.names[index];
    return ERROR_SUCCESS;
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
                  " coalesce(max(CASE WHEN type IN (1, 2, 7) THEN 0 ELSE length(data) END), 0)"
                  " FROM vals WHERE key=?1");
    if (!v) return ERROR_CANTREAD;
    rc = v.bind(1, id).step();
    if (rc != SQLITE_ROW) return fail(rc, "reading key information");
    values = static_cast<DWORD>(v.int64(0));
    maxValueNameLen = static_cast<DWORD>(v.int64(1));
    maxValueLen = static_cast<DWORD>(v.int64(2));
    // Strings count as Windows stores them, in UTF-16.
    Stmt strings(*this, "SELECT type, data FROM vals WHERE key=?1 AND type IN (1, 2, 7)");
    if (!strings) return ERROR_CANTREAD;
    strings.bind(1, id);
    while ((rc = strings.step()) == SQLITE_ROW)
        maxValueLen =
            std::max(maxValueLen, windowsDataSize(DWORD(strings.int64(0)), strings.text(1)));
    return rc == SQLITE_DONE ? ERROR_SUCCESS : fail(rc, "reading key information");
}

LSTATUS Hive::getValue(int64_t key, std::string_view fold, ValueRecord& out) {
    if (!db_) return ERROR_FILE_NOT_FOUND;
    // With checksums, a fourth column says whether the value's matches
    // what it holds.
    Stmt q(*this, sums_ ? "SELECT name, type, data, sum IS zul_sum(key, name, fold, type, data)"
                          " FROM vals WHERE key=?1 AND fold=?2"
                        : "SELECT name, type, data, 1 FROM vals WHERE key=?1 AND fold=?2");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, key).bind(2, fold).step();
    if (rc == SQLITE_ROW) {
        out.name = q.text(0);
        if (q.int64(3) == 0) return badSum(key, out.name);
        out.type = static_cast<DWORD>(q.int64(1));
        out.data = q.text(2);
        return ERROR_SUCCESS;
    }
    return rc == SQLITE_DONE ? ERROR_FILE_NOT_FOUND : fail(rc, "reading a value");
}

LSTATUS Hive::valueAt(int64_t key, DWORD index, ValueRecord& out) {
    if (!db_) return ERROR_NO_MORE_ITEMS;
    // Values enumerate in the order they were first set, as on Windows.
    Stmt q(*this, sums_
                      ? "SELECT name, type, data, sum IS zul_sum(key, name, fold, type, data)"
                        " FROM vals WHERE key=?1 ORDER BY rowid LIMIT 1 OFFSET ?2"
                      : "SELECT name, type, data, 1 FROM vals WHERE key=?1 ORDER BY rowid LIMIT 1 "
                        "OFFSET ?2");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, key).bind(2, static_cast<int64_t>(index)).step();
    if (rc == SQLITE_ROW) {
        out.name = q.text(0);
        if (q.int64(3) == 0) return badSum(key, out.name);
        out.type = static_cast<DWORD>(q.int64(1));
        out.data = q.text(2);
        return ERROR_SUCCESS;
    }
    return rc == SQLITE_DONE ? ERROR_NO_MORE_ITEMS : fail(rc, "enumerating values");
}

LSTATUS Hive::values(int64_t key, std::vector<ValueRecord>& out) {
    out.clear();
    if (!db_) return ERROR_SUCCESS;
    Stmt q(*this, sums_ ? "SELECT name, type, data, sum IS zul_sum(key, name, fold, type, data)"
                          " FROM vals WHERE key=?1 ORDER BY rowid"
                        : "SELECT name, type, data, 1 FROM vals WHERE key=?1 ORDER BY rowid");
    if (!q) return ERROR_CANTREAD;
    q.bind(1, key);
    int rc;
    while ((rc = q.step()) == SQLITE_ROW) {
        if (q.int64(3) == 0) return badSum(key, q.text(0));
        out.push_back({q.text(0), static_cast<DWORD>(q.int64(1)), q.text(2)});
    }
    return rc == SQLITE_DONE ? ERROR_SUCCESS : fail(rc, "enumerating values");
}

LSTATUS Hive::setValue(int64_t key, std::string_view name, DWORD type, std::string_view data) {
    const std::string fold = foldName(name);
    // An existing value keeps its place in the enumeration order and the case
    // of its name.
    Stmt up(*this, sums_ ? "UPDATE vals SET type=?3, data=?4, sum=zul_sum(key, name, fold, ?3, ?4)"
                           " WHERE key=?1 AND fold=?2"
                         : "UPDATE vals SET type=?3, data=?4 WHERE key=?1 AND fold=?2");
    if (!up) return ERROR_CANTWRITE;
    int rc =
        up.bind(1, key).bind(2, fold).bind(3, static_cast<int64_t>(type)).bindBlob(4, data).step();
    if (rc != SQLITE_DONE) return fail(rc, "writing a value");
    if (sqlite3_changes(db_) > 0) return touch(key);
    Stmt ins(*this,
             sums_ ? "INSERT INTO vals(key, name, fold, type, data, sum)"
                     " VALUES(?1, ?2, ?3, ?4, ?5, zul_sum(?1, ?2, ?3, ?4, ?5))"
                   : "INSERT INTO vals(key, name, fold, type, data) VALUES(?1, ?2, ?3, ?4, ?5)");
    if (!ins) return ERROR_CANTWRITE;
    rc = ins.bind(1, key)
             .bind(2, name)
             .bind(3, fold)
             .bind(4, static_cast<int64_t>(type))
             .bindBlob(5, data)
             .step();
    return rc == SQLITE_DONE ? touch(key) : fail(rc, "writing a value");
}

LSTATUS Hive::deleteValue(int64_t key, std::string_view fold) {
    Stmt del(*this, "DELETE FROM vals WHERE key=?1 AND fold=?2");
    if (!del) return ERROR_CANTWRITE;
    const int rc = del.bind(1, key).bind(2, fold).step();
    if (rc != SQLITE_DONE) return fail(rc, "deleting a value");
    return sqlite3_changes(db_) > 0 ? touch(key) : ERROR_FILE_NOT_FOUND;
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
    int64_t parent = 0;
    if (const LSTATUS st = parentOf(id, parent); st != ERROR_SUCCESS) return st;
    Stmt dv(*this, "DELETE FROM vals WHERE key=?1");
    Stmt dk(*this, "DELETE FROM keys WHERE id=?1");
    if (!dv || !dk) return ERROR_CANTWRITE;
    int rc = dv.bind(1, id).step();
    if (rc == SQLITE_DONE) rc = dk.bind(1, id).step();
    return rc == SQLITE_DONE ? touch(parent) : fail(rc, "deleting a key");
}

LSTATUS Hive::parentOf(int64_t id, int64_t& parent) {
    Stmt q(*this, "SELECT parent FROM keys WHERE id=?1");
    if (!q) return ERROR_CANTREAD;
    const int rc = q.bind(1, id).step();
    if (rc == SQLITE_DONE) return ERROR_KEY_DELETED;
    if (rc != SQLITE_ROW) return fail(rc, "reading a key");
    parent = q.int64(0);
    return ERROR_SUCCESS;
}

LSTATUS Hive::deleteTree(int64_t id, bool includeSelf) {
    Stmt dv(*this, "WITH RECURSIVE sub(id) AS (SELECT ?1 UNION ALL"
                   " SELECT k.id FROM keys k JOIN sub ON k.parent = sub.id)"
                   " DELETE FROM vals WHERE key IN (SELECT id FROM sub)");
    Stmt dk(*this, "WITH RECURSIVE sub(id) AS (SELECT ?1 UNION ALL"
                   " SELECT k.id FROM keys k JOIN sub ON k.parent = sub.id)"
                   " DELETE FROM keys WHERE id IN (SELECT id FROM sub) AND (?2 OR id <> ?1)");
    if (!dv || !dk) return ERROR_CANTWRITE;
    // The key that changes: the parent of a deleted key, or the key emptied.
    int64_t changed = id;
    if (includeSelf && id != kRootKeyId)
        if (const LSTATUS st = parentOf(id, changed); st != ERROR_SUCCESS) return st;
    int rc = dv.bind(1, id).step();
    if (rc == SQLITE_DONE)
        rc = dk.bind(1, id).bind(2, static_cast<int64_t>(includeSelf && id != kRootKeyId)).step();
    return rc == SQLITE_DONE ? touch(changed) : fail(rc, "deleting a key tree");
}

DWORD windowsDataSize(DWORD type, std::string_view data) {
    if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ)
        return static_cast<DWORD>(data.size());
    if (!utf8::is_valid(data.begin(), data.end())) return static_cast<DWORD>(2 * data.size());
    size_t units = 0;
    for (auto it = data.begin(); it != data.end();)
        units += utf8::next(it, data.end()) > 0xFFFF ? 2 : 1;
    return static_cast<DWORD>(2 * units);
}

} // namespace zul::registry
