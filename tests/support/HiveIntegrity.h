// SQLite's own check of a hive file.
#pragma once

#include <sqlite3.h>

#include <string>

namespace zul::test {

// "ok" for an intact hive, else what PRAGMA integrity_check found (or
// "cannot open").
inline std::string hiveIntegrity(const std::string& path) {
    sqlite3* db = nullptr;
    std::string result = "cannot open";
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_stmt* s = nullptr;
        if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &s, nullptr) == SQLITE_OK &&
            sqlite3_step(s) == SQLITE_ROW)
            result = reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
        sqlite3_finalize(s);
    }
    sqlite3_close(db);
    return result;
}

} // namespace zul::test
