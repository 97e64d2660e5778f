// The last good copy of a hive, and putting it back.
//
// Whenever a process opens a hive and finds it whole, and the copy beside it
// is missing or more than a day old, a background thread copies the hive
// (SQLite's online backup, under a read lock), checks the copy the same way
// and only then renames it to `<hive>.backup`. A store operation never waits
// for it and never pays a durable commit for it.
#pragma once

#include <string>

#include "zul/com/com.h"

namespace zul::registry {

// `<hive>.backup`.
ZUL_PLATFORM_API std::string hiveBackupPath(const std::string& hive);

// What restoring did: the name the hive was moved to (empty when there was
// no hive file), and the time the backup was taken ("2026-11-22 18:30").
struct RestoreResult {
    std::string keptAside;
    std::string backupTime;
};

// Puts the backup of `hive` in its place. The backup is checked first and
// refused when it is damaged too. A hive that checks whole is replaced only
// with `force`. The hive file (and a journal beside it) is renamed to
// `<hive>.damaged-YYYYMMDD-HHMMSS`, never deleted; the backup stays where it
// is. False with `why` on failure, with nothing moved.
ZUL_PLATFORM_API bool restoreHiveBackup(const std::string& hive, bool force, RestoreResult& done,
                                        std::string& why);

// Waits for the backups this process started (called at exit; for tests).
ZUL_PLATFORM_API void waitForHiveBackups();

} // namespace zul::registry
