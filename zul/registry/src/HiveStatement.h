// A statement of a hive's connection: prepared once, reset after each use.
#pragma once

#include "Hive.h"

namespace zul::registry {

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
        // An empty view may have no data: it is still text, never NULL.
        sqlite3_bind_text(s_, i, v.data() ? v.data() : "", static_cast<int>(v.size()),
                          SQLITE_STATIC);
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

} // namespace zul::registry
