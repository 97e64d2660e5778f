// Damaged hives: never served, never written, and the day's backup puts the
// views back.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "ComTest.h"
#include "HiveIntegrity.h"
#include "KRAdvancedViews/formats/QjvFile.h"
#include "RunProgram.h"
#include "TempHive.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/Backup.h"

namespace {

using zul::com::ComPtr;
using zul::test::runProgram;

class Damage : public zul::test::TempHiveTest {
protected:
    // The user's hive with `n` views, written by the store itself.
    void fillViews(int n) {
        ComPtr<IViewManager2> store;
        ASSERT_EQ(zul::com::createInstance<CViewManager>(
                      nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
                  S_OK);
        for (int i = 1; i <= n; ++i) {
            FullViewInfo info;
            info.pViewVector[0] = float(i);
            ASSERT_EQ(store->CreateViewInfo(("View " + std::to_string(i)).c_str(), info), S_OK);
        }
    }
    // krviews on the hive `hive`, standard error merged into the output.
    static zul::test::ProgramResult krviews(const std::string& hive, const std::string& args) {
        return runProgram("ZUL_USER_HIVE='" + hive +
                          "' KRAV_MODULE='" KRAV_MODULE_PATH "' '" KRVIEWS_PATH "' " + args +
                          " 2>&1");
    }
    static zul::test::ProgramResult zulreg(const std::string& args) {
        return runProgram("'" ZULREG_PATH "' " + args + " 2>&1");
    }
    static size_t lines(const std::string& s) {
        size_t n = 0;
        for (char c : s)
            n += c == '\n';
        return n;
    }
    static void sqlite(const std::string& path, const char* sql) {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        sqlite3_busy_timeout(db, 10000); // the day's backup may be reading the hive
        ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql;
        sqlite3_close(db);
    }
};

int envInt(const char* name, int fallback) {
    const char* v = std::getenv(name);
    return v && std::atoi(v) > 0 ? std::atoi(v) : fallback;
}

} // namespace

// Single bit flips anywhere in a hive of 108 views. Whatever SQLite's full
// check finds damaged must be refused by the first command, and no command
// may change the file; what it finds whole may be served, but only as it
// was: a changed value is found by its checksum and refused.
TEST_F(Damage, NoFlippedHiveIsServedOrWritten) {
    fillViews(108);
    const std::string good = readFile(userHive_);
    ASSERT_GT(good.size(), 64u * 1024);
    const std::string flipped = (dir_ / "flipped.db").string(),
                      oracle = (dir_ / "oracle.db").string();
    auto exportOf = [](const std::string& hive) {
        return runProgram("ZUL_USER_HIVE='" + hive +
                          "' '" ZULREG_PATH "' export 'HKEY_CURRENT_USER\\Software' - 2>&1");
    };
    writeFile(flipped, good);
    const std::string goodExport = exportOf(flipped).out;
    ASSERT_NE(goodExport.find("VIEW_0108"), std::string::npos) << goodExport;
    std::mt19937 rng(unsigned(envInt("KRAV_FLIP_SEED", 20261122)));
    const int flips = envInt("KRAV_FLIPS", 200);
    int whole = 0, refused = 0, refusedWhole = 0, served = 0, late = 0, written = 0,
        changedServed = 0;
    for (int i = 0; i < flips; ++i) {
        std::string bytes = good;
        const size_t at = rng() % bytes.size();
        bytes[at] = char(bytes[at] ^ (1 << (rng() % 8)));
        for (const char* suffix : {"", "-journal", ".backup"})
            std::filesystem::remove(flipped + suffix);
        writeFile(flipped, bytes);
        writeFile(oracle, bytes);
        const bool damaged = zul::test::hiveIntegrity(oracle) != "ok";
        const auto exported = exportOf(flipped);
        if (exported.status == 0 && exported.out != goodExport) {
            ++changedServed;
            ADD_FAILURE() << "byte " << at << ": a changed hive was served as whole";
        }
        for (const char* suffix : {"-journal", ".backup"})
            std::filesystem::remove(flipped + suffix);
        const auto list = krviews(flipped, "list");
        const auto add = krviews(flipped, "add 'Added after the flip'");
        const bool changed = readFile(flipped) != bytes;
        if (list.status != 0) {
            EXPECT_NE(list.out.find("damaged"), std::string::npos) << list.out;
            ++(damaged ? refused : refusedWhole);
            EXPECT_NE(add.status, 0) << "byte " << at << ": refused, then written";
            EXPECT_FALSE(changed) << "byte " << at;
        } else if (damaged) {
            ++served;
            if (add.status != 0) ++late;
            if (changed) ++written;
            ADD_FAILURE() << "byte " << at << ": a damaged hive was served:\n" << list.out;
        } else {
            ++whole;
        }
    }
    std::printf("%d flips: %d damaged and refused, %d whole by SQLite's check but refused "
                "(broken key links, values that fail their checksums), %d whole and served, "
                "%d damaged but served (%d of them refused at the write, %d written), "
                "%d served with changed contents\n",
                flips, refused, refusedWhole, whole, served, late, written, changedServed);
    EXPECT_EQ(served, 0);
    EXPECT_EQ(written, 0);
    EXPECT_EQ(changedServed, 0);
    EXPECT_GT(refused, flips / 5) << "the flips should damage a fair share";
}

// Keys that hang from nothing or from each other pass SQLite's check but
// would send a walk of the tree round for ever: they are damage too.
TEST_F(Damage, BrokenKeyLinksAreRefusedNotWalked) {
    fillViews(3);
    const std::string hive = readFile(userHive_);
    struct Case {
        const char* what;
        const char* sql;
    } cases[] = {
        {"a key its own parent", "UPDATE keys SET parent=id WHERE name='VIEW_0002'"},
        {"the root below a key", "UPDATE keys SET parent=(SELECT max(id) FROM keys) WHERE id=1"},
        {"two keys each other's parent",
         "UPDATE keys SET parent=(SELECT id FROM keys WHERE name='VIEW_0003') WHERE "
         "name='VIEW_0001'; UPDATE keys SET parent=(SELECT id FROM keys WHERE name='VIEW_0001') "
         "WHERE name='VIEW_0003'"},
    };
    for (const Case& c : cases) {
        const std::string path = (dir_ / "loop.db").string();
        writeFile(path, hive);
        sqlite(path, c.sql);
        ASSERT_EQ(zul::test::hiveIntegrity(path), "ok") << c.what;
        const std::string before = readFile(path);
        const auto list = krviews(path, "list");
        EXPECT_NE(list.status, 0) << c.what;
        EXPECT_NE(list.out.find("root"), std::string::npos) << c.what << ": " << list.out;
        const auto exp = runProgram("ZUL_USER_HIVE='" + path +
                                    "' '" ZULREG_PATH "' export HKEY_CURRENT_USER 2>&1");
        EXPECT_EQ(exp.status, 1) << c.what << ": " << exp.out;
        EXPECT_TRUE(sameBytes(readFile(path), before)) << c.what;
        std::filesystem::remove(path);
        std::filesystem::remove(path + ".backup");
    }
}

// Damage found by a statement after the open check (another process broke
// the file meanwhile) stops every later write of the process too.
TEST_F(Damage, DamageFoundLaterStopsWrites) {
    fillViews(60);
    HKEY store = nullptr;
    ASSERT_EQ(
        RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\KRAdvancedViews2", 0, KEY_READ, &store),
        ERROR_SUCCESS);
    // Ruin the middle pages' headers and bump the change counter, as a
    // writer would, so that the connection drops its cache.
    std::string bytes = readFile(userHive_);
    for (size_t page = 3; (page + 1) * 4096 <= bytes.size(); page += 2)
        bytes.replace(page * 4096, 8, std::string(8, '\x07'));
    bytes[27] = char(bytes[27] + 1);
    writeFile(userHive_, bytes);

    LSTATUS st = ERROR_SUCCESS;
    char name[64];
    for (DWORD i = 0; st == ERROR_SUCCESS || st == ERROR_FILE_NOT_FOUND; ++i) {
        DWORD cch = sizeof name;
        st = RegEnumKeyExA(store, i, name, &cch, nullptr, nullptr, nullptr, nullptr);
        if (st != ERROR_SUCCESS) break;
        HKEY view = nullptr;
        st = RegOpenKeyExA(store, name, 0, KEY_READ, &view);
        if (st != ERROR_SUCCESS) break;
        char data[256];
        DWORD size = sizeof data;
        st = RegQueryValueExA(view, "View Name", nullptr, nullptr, reinterpret_cast<BYTE*>(data),
                              &size);
        RegCloseKey(view);
    }
    EXPECT_EQ(st, ERROR_BADDB);
    EXPECT_NE(zul::registry::lastErrorDetail().find("nothing will be written"), std::string::npos)
        << zul::registry::lastErrorDetail();
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\After", 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              ERROR_BADDB);
    RegCloseKey(store);
    EXPECT_TRUE(sameBytes(readFile(userHive_), bytes)) << "never written";
}

// The day's backup: made by the first program that finds the hive whole, not
// again within a day, never from a damaged hive; zulreg restore-backup puts it
// back and keeps the damaged file.
TEST_F(Damage, TheLastGoodCopyComesBack) {
    fillViews(40);
    const std::string backup = zul::registry::hiveBackupPath(userHive_);
    zul::registry::waitForHiveBackups();
    ASSERT_EQ(krviews(userHive_, "list").status, 0);
    struct stat st {};
    ASSERT_EQ(::stat(backup.c_str(), &st), 0) << "a backup after the first whole open";
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(zul::test::hiveIntegrity(backup), "ok");

    // Taken at most once a day.
    ASSERT_EQ(krviews(userHive_, "add 'Only in the hive'").status, 0);
    const std::string first = readFile(backup);
    ASSERT_EQ(krviews(userHive_, "list").status, 0);
    EXPECT_TRUE(sameBytes(readFile(backup), first)) << "a backup of today stays";
    const timespec old[2] = {{std::time(nullptr) - 2 * 86400, 0},
                             {std::time(nullptr) - 2 * 86400, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, backup.c_str(), old, 0), 0);
    ASSERT_EQ(krviews(userHive_, "list").status, 0);
    EXPECT_NE(readFile(backup), first) << "an old backup is renewed";
    ::utimensat(AT_FDCWD, backup.c_str(), old, 0);
    const std::string good = readFile(backup);
    const size_t listed = lines(krviews(userHive_, "list").out);

    // A damaged hive: refused with the way back, and never copied.
    std::string bytes = readFile(userHive_);
    for (size_t page = 2; (page + 1) * 4096 <= bytes.size(); ++page)
        bytes.replace(page * 4096, 8, std::string(8, '\x07'));
    writeFile(userHive_, bytes);
    ASSERT_NE(zul::test::hiveIntegrity(userHive_), "ok");
    const auto refused = krviews(userHive_, "list");
    EXPECT_NE(refused.status, 0);
    EXPECT_NE(refused.out.find("zulreg restore-backup"), std::string::npos) << refused.out;
    EXPECT_NE(refused.out.find(backup), std::string::npos) << refused.out;
    EXPECT_TRUE(sameBytes(readFile(backup), good)) << "a damaged hive never replaces the backup";

    const auto restored = zulreg("restore-backup '" + userHive_ + "'");
    ASSERT_EQ(restored.status, 0) << restored.out;
    const auto list = krviews(userHive_, "list");
    ASSERT_EQ(list.status, 0) << list.out;
    EXPECT_EQ(lines(list.out), listed) << list.out;
    size_t kept = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir_))
        if (e.path().filename().string().rfind("user.db.damaged-", 0) == 0) {
            ++kept;
            EXPECT_EQ(readFile(e.path().string()), bytes) << "the damaged file, kept as it was";
            EXPECT_NE(restored.out.find(e.path().string()), std::string::npos) << restored.out;
        }
    EXPECT_EQ(kept, 1u);
    EXPECT_TRUE(sameBytes(readFile(backup), good)) << "the backup stays";

    // A whole hive is not replaced unless asked; a damaged backup never
    // replaces anything.
    const auto again = zulreg("restore-backup '" + userHive_ + "'");
    EXPECT_EQ(again.status, 1);
    EXPECT_NE(again.out.find("--force"), std::string::npos) << again.out;
    writeFile(backup, bytes);
    const std::string now = readFile(userHive_);
    const auto bad = zulreg("restore-backup --force '" + userHive_ + "'");
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("damaged too"), std::string::npos) << bad.out;
    EXPECT_TRUE(sameBytes(readFile(userHive_), now));
}

// A hive cut to nothing (or to less than a database header) is damage, not
// a new hive: the tools refuse it and name the backup, nothing seeds it, an
// old backup is never replaced by it, and restore-backup takes it back
// without --force.
TEST_F(Damage, AnEmptyHiveIsDamageNotANewStore) {
    fillViews(12);
    zul::registry::waitForHiveBackups();
    // A backup three days old is taken again by the next tool that opens
    // the sound hive: this one holds all twelve views (the one taken while
    // they were written may hold fewer). Then it is made old again, so that
    // nothing below may open the hive sound without it changing.
    const std::string backup = zul::registry::hiveBackupPath(userHive_);
    const timespec old[2] = {{std::time(nullptr) - 3 * 86400, 0},
                             {std::time(nullptr) - 3 * 86400, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, backup.c_str(), old, 0), 0);
    const auto before = krviews(userHive_, "list");
    ASSERT_EQ(before.status, 0);
    const size_t listed = lines(before.out);
    ASSERT_EQ(::utimensat(AT_FDCWD, backup.c_str(), old, 0), 0);
    const std::string good = readFile(backup);
    for (const std::string& cut : {std::string(), std::string("SQLite format 3")}) {
        writeFile(userHive_, cut);
        for (const char* args : {"list", "add Fresh"}) {
            const auto r = krviews(userHive_, args);
            EXPECT_NE(r.status, 0) << args;
            EXPECT_NE(r.out.find(backup), std::string::npos) << r.out;
        }
        zul::registry::waitForHiveBackups();
        EXPECT_TRUE(sameBytes(readFile(userHive_), cut)) << "nothing seeded";
        EXPECT_TRUE(sameBytes(readFile(backup), good)) << "the old backup stays";
    }
    const auto restored = zulreg("restore-backup '" + userHive_ + "'");
    ASSERT_EQ(restored.status, 0) << restored.out;
    EXPECT_EQ(lines(krviews(userHive_, "list").out), listed);

    // A hive that does not exist is still made, whole, on the first write.
    const std::string fresh = (dir_ / "fresh.db").string();
    const auto made = krviews(fresh, "list");
    ASSERT_EQ(made.status, 0) << made.out;
    EXPECT_EQ(lines(made.out), 8u) << made.out;
    EXPECT_EQ(zul::test::hiveIntegrity(fresh), "ok");
    for (const auto& e : std::filesystem::directory_iterator(dir_))
        EXPECT_EQ(e.path().filename().string().find(".new-"), std::string::npos)
            << "no scratch file left: " << e.path();
}

// Text that is not UTF-8 ("Ansicht S\xfcd", Latin-1) comes in through every
// door (zulreg set, krviews add, an 8-bit view file) and is read as
// Windows-1252: stored as UTF-8, found again by the bytes it came in as,
// saved by every writer, and an export imports back byte for byte. A hive
// from before the rule (non-UTF-8 bytes stored) exports the same way.
TEST_F(Damage, TextThatIsNotUtf8IsReadAsWindows1252AndNothingIsLost) {
    const std::string latin1 = "Ansicht S\xfc"
                               "d",
                      utf8 = "Ansicht S\xc3\xbc"
                             "d";
    const std::string key = "'HKEY_CURRENT_USER\\Software\\ZUL\\Names'";
    ASSERT_EQ(zulreg("set " + key + " '" + latin1 + "' REG_SZ 'caf\xe9'").status, 0);
    auto exported = zulreg("export " + key + " -");
    ASSERT_EQ(exported.status, 0) << exported.out;
    EXPECT_NE(exported.out.find("\"" + utf8 + "\"=\"caf\xc3\xa9\""), std::string::npos)
        << exported.out;
    const std::string file = (dir_ / "out.reg").string(), again = (dir_ / "again.reg").string();
    ASSERT_EQ(zulreg("export " + key + " '" + file + "'").status, 0);
    ASSERT_EQ(zulreg("delete " + key).status, 0);
    ASSERT_EQ(zulreg("import '" + file + "'").status, 0);
    ASSERT_EQ(zulreg("export " + key + " '" + again + "'").status, 0);
    EXPECT_EQ(readFile(again), readFile(file)) << "the round trip is byte for byte";
    EXPECT_EQ(zulreg("export --regedit4 " + key + " '" + again + "'").status, 0);

    // The view store: a name typed in Latin-1 and one from an 8-bit file.
    ASSERT_EQ(krviews(userHive_, "add '" + latin1 + "' --view 0,0,1").status, 0);
    EXPECT_EQ(krviews(userHive_, "show '" + utf8 + "'").status, 0);
    EXPECT_EQ(krviews(userHive_, "show '" + latin1 + "'").status, 0);
    const std::string eightBit = (dir_ / "views8.qjv").string();
    {
        std::ofstream out(eightBit, std::ios::binary);
        out << "KRAdvancedViews Persistence File\n2\nName:S\xfc"
               "d\nUp:0 0 1\nView:0 1 0\nType:1\nNum:1\nFrom:0 0 0\nAt:0 0 0\nFov:30\n"
               "HasAtAndFrom:0\nChange:530\n";
    }
    ASSERT_EQ(krviews(userHive_, "load '" + eightBit + "'").status, 0);
    const auto list = krviews(userHive_, "list");
    EXPECT_NE(list.out.find(utf8), std::string::npos) << list.out;
    EXPECT_NE(list.out.find("\tS\xc3\xbc"
                            "d\n"),
              std::string::npos)
        << list.out;
    EXPECT_EQ(list.out.find('\xfc'), std::string::npos) << "no Latin-1 byte is stored";
    const std::string qjv = (dir_ / "all.qjv").string();
    ASSERT_EQ(krviews(userHive_, "save '" + qjv + "'").status, 0);
    std::vector<krav::format::NamedRecord> saved;
    krav::format::ReadNotes notes;
    ASSERT_TRUE(krav::format::ParseQjvFile(readFile(qjv), saved, notes));
    EXPECT_EQ(saved.size(), lines(list.out)) << "every view is saved";

    // A value stored before the rule, in Latin-1 bytes (in a hive of the
    // format of that time).
    sqlite(userHive_, "ALTER TABLE vals DROP COLUMN sum; PRAGMA user_version=2;"
                      "UPDATE vals SET name = CAST(X'4F6C64FC' AS TEXT), fold = "
                      "CAST(X'4F4C44FC' AS TEXT) WHERE key = (SELECT id FROM keys WHERE "
                      "name = 'Names')");
    exported = zulreg("export " + key + " -");
    EXPECT_EQ(exported.status, 0) << exported.out;
    EXPECT_NE(exported.out.find("\"Old\xc3\xbc\"="), std::string::npos) << exported.out;
}

// A value changed outside the registry (SQLite keeps no checksums of its
// own, so its check passes) is found by the value's checksum: while the
// hive is open, at the read, and at the next program's open, refused as a
// damaged hive is, with nothing written. A hive of the format before
// checksums gets them when it is first opened to write.
TEST_F(Damage, AValueChangedOutsideTheRegistryIsFoundByItsChecksum) {
    fillViews(3);
    sqlite(userHive_, "ALTER TABLE vals DROP COLUMN sum; PRAGMA user_version=2");
    ASSERT_EQ(krviews(userHive_, "list").status, 0)
        << "the older format is read and brought forward";
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\Sums", 0, nullptr, 0,
                              KEY_READ | KEY_WRITE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExA(key, "Kept", 0, REG_SZ, reinterpret_cast<const BYTE*>("Before"), 7),
              ERROR_SUCCESS);
    char text[64] = {};
    DWORD size = sizeof text;
    ASSERT_EQ(RegQueryValueExA(key, "Kept", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size),
              ERROR_SUCCESS);

    sqlite(userHive_, "UPDATE vals SET data = CAST('Bafore' || char(0) AS BLOB) WHERE "
                      "data = CAST('Before' || char(0) AS BLOB)");
    const std::string tampered = readFile(userHive_);
    size = sizeof text;
    EXPECT_EQ(RegQueryValueExA(key, "Kept", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size),
              ERROR_BADDB);
    EXPECT_NE(zul::registry::lastErrorDetail().find(
                  "the value 'Kept' of key 'Software\\ZUL\\Sums' does not match its checksum"),
              std::string::npos)
        << zul::registry::lastErrorDetail();
    EXPECT_EQ(RegSetValueExA(key, "Other", 0, REG_SZ, reinterpret_cast<const BYTE*>("x"), 2),
              ERROR_BADDB);
    RegCloseKey(key);
    auto list = krviews(userHive_, "list");
    EXPECT_NE(list.status, 0);
    EXPECT_NE(list.out.find("the value 'Kept' does not match its checksum"), std::string::npos)
        << list.out;
    EXPECT_TRUE(sameBytes(readFile(userHive_), tampered));

    // A value stored before the hive had checksums got one when it was
    // brought forward.
    sqlite(userHive_, "UPDATE vals SET data = CAST('Before' || char(0) AS BLOB) WHERE "
                      "data = CAST('Bafore' || char(0) AS BLOB);"
                      "UPDATE vals SET data = CAST('View 8' || char(0) AS BLOB) WHERE "
                      "data = CAST('View 2' || char(0) AS BLOB)");
    list = krviews(userHive_, "list");
    EXPECT_NE(list.status, 0);
    EXPECT_NE(list.out.find("the value 'View Name' does not match its checksum"), std::string::npos)
        << list.out;
}

// The smaller ways to lose or mislead: a load into a read-only hive that
// stores nothing fails; a save never replaces a write-protected file; the
// scratch copies a killed backup left are removed at the next start; a
// database with the hive's mark over other tables is refused as damaged,
// with the backup named.
TEST_F(Damage, ReadOnlyLoadsProtectedFilesStaleCopiesAndForeignTablesAreHandled) {
    ASSERT_EQ(krviews(userHive_, "list").status, 0);
    const std::string views = (dir_ / "views.qjv").string();
    ASSERT_EQ(krviews(userHive_, "add Extra --view 1,0,0").status, 0);
    ASSERT_EQ(krviews(userHive_, "save '" + views + "'").status, 0);
    ASSERT_EQ(krviews(userHive_, "delete Extra").status, 0);

    ASSERT_EQ(::chmod(views.c_str(), 0444), 0);
    const std::string saved = readFile(views);
    ASSERT_EQ(krviews(userHive_, "add Another --view 0,1,0").status, 0);
    auto r = krviews(userHive_, "save '" + views + "'");
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.out.find("write-protected"), std::string::npos) << r.out;
    EXPECT_EQ(readFile(views), saved);
    r = zulreg("export 'HKEY_CURRENT_USER\\Software' '" + views + "'");
    EXPECT_NE(r.status, 0) << r.out;
    EXPECT_EQ(readFile(views), saved);

    // Read-only for the user who runs the load (file modes do not bind root,
    // so it runs as nobody when the test runs as root).
    const std::string before = readFile(userHive_);
    ASSERT_EQ(::chmod(userHive_.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(dir_.c_str(), 0555), 0);
    const std::string asUser =
        ::geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    r = runProgram("ZUL_USER_HIVE='" + userHive_ + "' KRAV_MODULE='" KRAV_MODULE_PATH "' " +
                   asUser + "'" KRVIEWS_PATH "' load '" + views + "' 2>&1");
    ::chmod(dir_.c_str(), 0755);
    ::chmod(userHive_.c_str(), 0644);
    EXPECT_EQ(r.status, 3) << r.out;
    EXPECT_NE(r.out.find("nothing was loaded"), std::string::npos) << r.out;
    EXPECT_TRUE(sameBytes(readFile(userHive_), before));

    // A killed backup's copy an hour old goes; a fresh one (a backup under
    // way in another process) stays.
    const std::string stale = (dir_ / ".user.db.backup.Ab12Cd").string(),
                      fresh = (dir_ / ".user.db.backup.Ef34Gh").string();
    writeFile(stale, std::string(4096, 'x'));
    writeFile(fresh, std::string(4096, 'x'));
    std::filesystem::last_write_time(stale, std::filesystem::file_time_type::clock::now() -
                                                std::chrono::hours(2));
    ASSERT_EQ(krviews(userHive_, "list").status, 0);
    EXPECT_FALSE(std::filesystem::exists(stale));
    EXPECT_TRUE(std::filesystem::exists(fresh));

    const std::string foreign = (dir_ / "foreign.db").string();
    sqlite(foreign, "PRAGMA application_id=1515539538; CREATE TABLE keys(a, b);"
                    "CREATE TABLE other(x)");
    writeFile(foreign + ".backup", readFile(userHive_));
    r = krviews(foreign, "list");
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.out.find("its tables are not those of a registry hive"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("restore-backup"), std::string::npos) << r.out;
}
