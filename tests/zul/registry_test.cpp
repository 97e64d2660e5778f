#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TempHive.h"
#include "zul/registry/RegFile.h"
#include "zul/registry/Transaction.h"
#include "zul/registry/registry.h"

namespace {

using zul::test::TempHiveTest;

struct Key {
    HKEY h = nullptr;
    ~Key() {
        if (h) RegCloseKey(h);
    }
    HKEY* operator&() { return &h; }
    operator HKEY() const { return h; }
};

LSTATUS create(HKEY root, const char* path, Key& key) {
    return RegCreateKeyExA(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
}

LSTATUS setString(HKEY key, const char* name, const std::string& value) {
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>(value.size() + 1));
}

std::string getString(HKEY root, const char* path, const char* name, LSTATUS* status = nullptr) {
    Key k;
    LSTATUS st = RegOpenKeyExA(root, path, 0, KEY_READ, &k);
    char buf[256] = {};
    DWORD size = sizeof buf, type = 0;
    if (st == ERROR_SUCCESS)
        st = RegQueryValueExA(k, name, nullptr, &type, reinterpret_cast<BYTE*>(buf), &size);
    if (status) *status = st;
    return st == ERROR_SUCCESS ? std::string(buf) : std::string("<") + std::to_string(st) + ">";
}

std::vector<std::string> subkeys(HKEY root, const char* path) {
    Key k;
    std::vector<std::string> out;
    if (RegOpenKeyExA(root, path, 0, KEY_READ, &k) != ERROR_SUCCESS) return {"<missing>"};
    char name[300];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof name;
        if (RegEnumKeyExA(k, i, name, &cch, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        out.emplace_back(name, cch);
    }
    return out;
}

std::string dump(const char* path = "HKEY_CURRENT_USER") {
    std::string text;
    const LSTATUS st = zul::registry::exportKey(path, text);
    return st == ERROR_SUCCESS ? text : "<export failed " + std::to_string(st) + ">";
}

} // namespace

class Registry : public TempHiveTest {};

TEST_F(Registry, NamesAreCaseInsensitiveKeepTheirCaseAndEnumerateSorted) {
    Key k;
    DWORD disp = 0;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\MixedCase", 0, nullptr, 0,
                              KEY_ALL_ACCESS, nullptr, &k, &disp),
              ERROR_SUCCESS);
    EXPECT_EQ(disp, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    Key again;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "SOFTWARE\\mixedcase", 0, nullptr, 0,
                              KEY_ALL_ACCESS, nullptr, &again, &disp),
              ERROR_SUCCESS);
    EXPECT_EQ(disp, static_cast<DWORD>(REG_OPENED_EXISTING_KEY));

    for (const char* name : {"b", "A_", "AB", "a", "Ünïcode", "ünïcodf", "Z"}) {
        Key child;
        ASSERT_EQ(create(k, name, child), ERROR_SUCCESS) << name;
    }
    // Upper-case order, as Windows sorts: '_' (0x5F) sorts after letters.
    EXPECT_EQ(subkeys(HKEY_CURRENT_USER, "software\\MIXEDCASE"),
              (std::vector<std::string>{"a", "AB", "A_", "b", "Z", "Ünïcode", "ünïcodf"}));
    Key dup;
    ASSERT_EQ(RegCreateKeyExA(k, "üNÏCODE", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &dup, &disp),
              ERROR_SUCCESS);
    EXPECT_EQ(disp, static_cast<DWORD>(REG_OPENED_EXISTING_KEY)) << "non-ASCII letters fold too";

    ASSERT_EQ(setString(k, "Value Name", "one"), ERROR_SUCCESS);
    ASSERT_EQ(setString(k, "VALUE NAME", "two"), ERROR_SUCCESS);
    EXPECT_EQ(getString(HKEY_CURRENT_USER, "Software\\MixedCase", "value name"), "two");
    char name[64];
    DWORD cch = sizeof name;
    ASSERT_EQ(RegEnumValueA(k, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_STREQ(name, "Value Name") << "a value keeps the case it was created with";
    EXPECT_EQ(cch, 10u);
    EXPECT_EQ(RegEnumValueA(k, 1, name, &cch, nullptr, nullptr, nullptr, nullptr),
              ERROR_NO_MORE_ITEMS);
}

TEST_F(Registry, BadArgumentsGetWin32ErrorsAndChangeNothing) {
    Key k;
    ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\T", k), ERROR_SUCCESS);
    ASSERT_EQ(setString(k, "keep", "me"), ERROR_SUCCESS);
    const std::string before = dump();

    const std::string name255(255, 'n'), name256(256, 'n');
    Key ok;
    EXPECT_EQ(create(k, name255.c_str(), ok), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteKeyA(k, name255.c_str()), ERROR_SUCCESS);
    Key bad;
    EXPECT_EQ(create(k, name256.c_str(), bad), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bad.h, nullptr);
    EXPECT_EQ(create(k, ("x\\" + name256).c_str(), bad), ERROR_INVALID_PARAMETER)
        << "no partial path is made";
    EXPECT_EQ(create(k, "\\lead", bad), ERROR_BAD_PATHNAME);
    EXPECT_EQ(create(k, "a\\\\b", bad), ERROR_BAD_PATHNAME);

    const std::string value16383(16383, 'v'), value16384(16384, 'v');
    EXPECT_EQ(setString(k, value16384.c_str(), "x"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(setString(k, value16383.c_str(), "x"), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteValueA(k, value16383.c_str()), ERROR_SUCCESS);

    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software", 0, KEY_READ, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegCreateKeyExA(k, nullptr, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &bad, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegSetValueExA(k, "v", 0, REG_BINARY, nullptr, 4), ERROR_INVALID_PARAMETER);
    BYTE buf[4];
    EXPECT_EQ(RegQueryValueExA(k, "keep", nullptr, nullptr, buf, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegEnumKeyExA(k, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegDeleteKeyA(k, nullptr), ERROR_INVALID_PARAMETER);

    // A handle that was closed, or never was, is refused.
    HKEY closed = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software", 0, KEY_READ, &closed), ERROR_SUCCESS);
    ASSERT_EQ(RegCloseKey(closed), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(closed), ERROR_INVALID_HANDLE);
    EXPECT_EQ(setString(closed, "x", "y"), ERROR_INVALID_HANDLE);

    // A read-only handle cannot write.
    Key ro;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\T", 0, KEY_READ, &ro), ERROR_SUCCESS);
    EXPECT_EQ(setString(ro, "keep", "changed"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueA(ro, "keep"), ERROR_ACCESS_DENIED);

    EXPECT_EQ(dump(), before);
}

TEST_F(Registry, BufferTooSmallReportsTheSizeNeededAndWritesNothing) {
    Key k;
    ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\T", k), ERROR_SUCCESS);
    ASSERT_EQ(setString(k, "s", "0123456789"), ERROR_SUCCESS);
    char buf[8];
    std::memset(buf, '#', sizeof buf);
    DWORD size = sizeof buf, type = 0;
    EXPECT_EQ(RegQueryValueExA(k, "s", nullptr, &type, reinterpret_cast<BYTE*>(buf), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 11u);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_EQ(buf[0], '#');
    size = 0;
    EXPECT_EQ(RegQueryValueExA(k, "s", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 11u);

    char name[2];
    DWORD cch = sizeof name;
    EXPECT_EQ(RegEnumValueA(k, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    Key child;
    ASSERT_EQ(create(k, "LongName", child), ERROR_SUCCESS);
    cch = sizeof name;
    EXPECT_EQ(RegEnumKeyExA(k, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);

    DWORD subkeys = 0, maxSub = 0, values = 0, maxName = 0, maxData = 0;
    ASSERT_EQ(RegQueryInfoKeyA(k, nullptr, nullptr, nullptr, &subkeys, &maxSub, nullptr, &values,
                               &maxName, &maxData, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(subkeys, 1u);
    EXPECT_EQ(maxSub, 8u);
    EXPECT_EQ(values, 1u);
    EXPECT_EQ(maxName, 1u);
    EXPECT_EQ(maxData, 22u) << "the string's 11 bytes as Windows stores them, in UTF-16";

    // A string stored without its terminator reads back terminated.
    ASSERT_EQ(RegSetValueExA(k, "unterminated", 0, REG_SZ, reinterpret_cast<const BYTE*>("abc"), 3),
              ERROR_SUCCESS);
    EXPECT_EQ(getString(HKEY_CURRENT_USER, "Software\\T", "unterminated"), "abc");
}

TEST_F(Registry, DeletingKeysAndValues) {
    Key k, child, grandchild;
    ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\T", k), ERROR_SUCCESS);
    ASSERT_EQ(create(k, "Child", child), ERROR_SUCCESS);
    ASSERT_EQ(create(child, "Grandchild", grandchild), ERROR_SUCCESS);
    ASSERT_EQ(setString(grandchild, "v", "x"), ERROR_SUCCESS);

    EXPECT_EQ(RegDeleteKeyA(k, "Child"), ERROR_ACCESS_DENIED) << "a key with subkeys stays";
    EXPECT_EQ(getString(grandchild, "", "v"), "x");
    EXPECT_EQ(RegDeleteValueA(grandchild, "missing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyA(k, "Missing"), ERROR_FILE_NOT_FOUND);

    // Deleted underneath an open handle: the handle reports it, nothing is resurrected.
    ASSERT_EQ(RegDeleteTreeA(k, "CHILD"), ERROR_SUCCESS);
    EXPECT_EQ(setString(grandchild, "v", "y"), ERROR_KEY_DELETED);
    EXPECT_EQ(subkeys(HKEY_CURRENT_USER, "Software\\T"), std::vector<std::string>{});

    // RegDeleteTree without a subkey empties the key but keeps it.
    Key a;
    ASSERT_EQ(create(k, "A", a), ERROR_SUCCESS);
    ASSERT_EQ(setString(k, "v", "x"), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteTreeA(k, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(subkeys(HKEY_CURRENT_USER, "Software\\T"), std::vector<std::string>{});
    LSTATUS st = 0;
    getString(HKEY_CURRENT_USER, "Software\\T", "v", &st);
    EXPECT_EQ(st, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\Nope"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, ReadsNeverCreateTheHiveAndAMissingFolderIsMadeOnWrite) {
    const std::string nested = (dir_ / "a" / "b" / "user.db").string();
    ::setenv("ZUL_USER_HIVE", nested.c_str(), 1);
    Key k;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software", 0, KEY_READ, &k), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(subkeys(HKEY_CURRENT_USER, ""), std::vector<std::string>{});
    EXPECT_FALSE(std::filesystem::exists(nested));
    ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\ZUL", k), ERROR_SUCCESS);
    EXPECT_TRUE(std::filesystem::exists(nested));
}

TEST_F(Registry, TransactionsCommitAllOrNothing) {
    {
        zul::registry::Transaction tx;
        Key k;
        ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\Tx", k), ERROR_SUCCESS);
        ASSERT_EQ(setString(k, "a", "1"), ERROR_SUCCESS);
        EXPECT_EQ(getString(HKEY_CURRENT_USER, "Software\\Tx", "a"), "1")
            << "a transaction sees its own writes";
        // destroyed without commit
    }
    EXPECT_EQ(subkeys(HKEY_CURRENT_USER, ""), std::vector<std::string>{});

    {
        zul::registry::Transaction tx;
        Key k;
        ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\Tx", k), ERROR_SUCCESS);
        ASSERT_EQ(setString(k, "a", "1"), ERROR_SUCCESS);
        // A failing call inside the transaction undoes only itself.
        const std::string tooLong(300, 'x');
        Key bad;
        EXPECT_EQ(create(k, ("ok\\" + tooLong).c_str(), bad), ERROR_INVALID_PARAMETER);
        {
            zul::registry::Transaction inner;
            ASSERT_EQ(setString(k, "b", "2"), ERROR_SUCCESS);
            EXPECT_EQ(inner.commit(), ERROR_SUCCESS);
        }
        EXPECT_EQ(tx.commit(), ERROR_SUCCESS);
    }
    EXPECT_EQ(getString(HKEY_CURRENT_USER, "Software\\Tx", "a"), "1");
    EXPECT_EQ(getString(HKEY_CURRENT_USER, "Software\\Tx", "b"), "2");
    EXPECT_EQ(subkeys(HKEY_CURRENT_USER, "Software\\Tx"), std::vector<std::string>{});

    // An inner scope left without commit undoes only its own work; an outer
    // scope left so undoes everything, the inner scope's kept work included.
    {
        zul::registry::Transaction outer;
        Key k;
        ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Tx", 0, KEY_ALL_ACCESS, &k),
                  ERROR_SUCCESS);
        ASSERT_EQ(setString(k, "a", "changed"), ERROR_SUCCESS);
        {
            zul::registry::Transaction inner;
            ASSERT_EQ(setString(k, "c", "3"), ERROR_SUCCESS);
        }
        {
            zul::registry::Transaction inner;
            ASSERT_EQ(setString(k, "d", "4"), ERROR_SUCCESS);
            ASSERT_EQ(inner.commit(), ERROR_SUCCESS);
        }
        EXPECT_EQ(outer.commit(), ERROR_SUCCESS);
    }
    EXPECT_EQ(getString(HKEY_CURRENT_USER, "Software\\Tx", "a"), "changed");
    EXPECT_EQ(getString(HKEY_CURRENT_USER, "Software\\Tx", "d"), "4");
    LSTATUS st = 0;
    getString(HKEY_CURRENT_USER, "Software\\Tx", "c", &st);
    EXPECT_EQ(st, ERROR_FILE_NOT_FOUND);
    {
        zul::registry::Transaction outer;
        Key k;
        ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Tx", 0, KEY_ALL_ACCESS, &k),
                  ERROR_SUCCESS);
        {
            // Joined first inside the inner scope: still undone by the outer.
            zul::registry::Transaction inner;
            ASSERT_EQ(setString(k, "e", "5"), ERROR_SUCCESS);
            ASSERT_EQ(inner.commit(), ERROR_SUCCESS);
        }
    }
    getString(HKEY_CURRENT_USER, "Software\\Tx", "e", &st);
    EXPECT_EQ(st, ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, DamagedOrForeignHiveIsRefusedAndNeverRewritten) {
    struct Case {
        const char* what;
        std::string bytes;
    };
    // A real hive, cut short in the middle of its pages.
    std::string truncated;
    {
        Key k;
        ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\Big", k), ERROR_SUCCESS);
        zul::registry::Transaction tx;
        for (int i = 0; i < 300; ++i) {
            Key c;
            ASSERT_EQ(create(k, ("Key" + std::to_string(i)).c_str(), c), ERROR_SUCCESS);
            ASSERT_EQ(setString(c, "v", std::string(200, 'x')), ERROR_SUCCESS);
        }
        ASSERT_EQ(tx.commit(), ERROR_SUCCESS);
        const std::string full = readFile(userHive_);
        ASSERT_GT(full.size(), 20000u);
        truncated = full.substr(0, full.size() / 2);
        // Scribble over interior pages too, as a disk fault would.
        for (size_t i = 4096; i < truncated.size(); i += 4096)
            truncated.replace(i + 100, 64, 64, '\xAA');
    }
    std::string foreign;
    {
        const std::string path = (dir_ / "foreign.db").string();
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        sqlite3_exec(db, "CREATE TABLE notes(x); INSERT INTO notes VALUES(1);", nullptr, nullptr,
                     nullptr);
        sqlite3_close(db);
        foreign = readFile(path);
    }
    std::string newer;
    {
        const std::string path = (dir_ / "newer.db").string();
        ::setenv("ZUL_USER_HIVE", path.c_str(), 1);
        Key k;
        ASSERT_EQ(create(HKEY_CURRENT_USER, "Software", k), ERROR_SUCCESS);
        // The backup taken when the hive was first opened may still be
        // reading it: the version is written once it is done.
        zul::registry::waitForHiveBackups();
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        sqlite3_busy_timeout(db, 5000);
        ASSERT_EQ(sqlite3_exec(db, "PRAGMA user_version=99", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
        newer = readFile(path);
    }

    const std::vector<Case> cases = {
        {"text file", "this is not a database\n"},
        {"truncated hive", truncated},
        {"foreign database", foreign},
        {"newer format", newer},
    };
    int n = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string path = (dir_ / ("case" + std::to_string(n++) + ".db")).string();
        writeFile(path, c.bytes);
        ::setenv("ZUL_USER_HIVE", path.c_str(), 1);
        Key k;
        LSTATUS open = RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Big\\Key299", 0, KEY_READ, &k);
        LSTATUS write = create(HKEY_CURRENT_USER, "Software\\New", k);
        EXPECT_EQ(write, ERROR_BADDB);
        EXPECT_NE(zul::registry::lastErrorDetail().find(path), std::string::npos)
            << "the message names the file: " << zul::registry::lastErrorDetail();
        if (open == ERROR_SUCCESS) {
            // A truncated file may still serve its intact first pages.
            EXPECT_EQ(std::string(c.what), "truncated hive");
        } else {
            EXPECT_EQ(open, ERROR_BADDB);
        }
        EXPECT_TRUE(sameBytes(readFile(path), c.bytes))
            << "the file is left byte for byte as it was";
        EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
    }
}

TEST_F(Registry, ReadOnlyHiveServesReadsAndRefusesWrites) {
    {
        Key k;
        ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\RO", k), ERROR_SUCCESS);
        ASSERT_EQ(setString(k, "v", "kept"), ERROR_SUCCESS);
    }
    const std::string before = readFile(userHive_);
    ASSERT_EQ(::chmod(userHive_.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(dir_.c_str(), 0555), 0);
    // File modes do not bind root, so the check runs in a child that drops to
    // an unprivileged user when started as root.
    const pid_t child = forkAlone();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(10);
        int failures = 0;
        failures += getString(HKEY_CURRENT_USER, "Software\\RO", "v") != "kept";
        Key k;
        failures += RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\RO", 0, KEY_ALL_ACCESS, &k) !=
                    ERROR_SUCCESS;
        failures += setString(k, "v", "changed") != ERROR_ACCESS_DENIED;
        Key n;
        failures += create(HKEY_CURRENT_USER, "Software\\New", n) != ERROR_ACCESS_DENIED;
        failures += zul::registry::lastErrorDetail().find("read-only") == std::string::npos;
        ::_exit(failures);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ::chmod(dir_.c_str(), 0755);
    ::chmod(userHive_.c_str(), 0644);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "failed checks in the read-only child";
    EXPECT_TRUE(sameBytes(readFile(userHive_), before));
}

TEST_F(Registry, ClassesRootMergesUserOverMachineAndWritesToMachine) {
    {
        Key m, u;
        ASSERT_EQ(create(HKEY_LOCAL_MACHINE, "Software\\Classes\\Shared", m), ERROR_SUCCESS);
        ASSERT_EQ(setString(m, "", "machine"), ERROR_SUCCESS);
        Key mo;
        ASSERT_EQ(create(HKEY_LOCAL_MACHINE, "Software\\Classes\\MachineOnly", mo), ERROR_SUCCESS);
        ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\Classes\\Shared", u), ERROR_SUCCESS);
        ASSERT_EQ(setString(u, "", "user"), ERROR_SUCCESS);
        Key uo;
        ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\Classes\\UserOnly", uo), ERROR_SUCCESS);
    }
    EXPECT_EQ(getString(HKEY_CLASSES_ROOT, "Shared", ""), "user");
    EXPECT_EQ(subkeys(HKEY_CLASSES_ROOT, ""),
              (std::vector<std::string>{"MachineOnly", "Shared", "UserOnly"}));

    Key created;
    ASSERT_EQ(create(HKEY_CLASSES_ROOT, "NewClass", created), ERROR_SUCCESS);
    EXPECT_EQ(subkeys(HKEY_LOCAL_MACHINE, "Software\\Classes"),
              (std::vector<std::string>{"MachineOnly", "NewClass", "Shared"}));
    EXPECT_EQ(subkeys(HKEY_CURRENT_USER, "Software\\Classes"),
              (std::vector<std::string>{"Shared", "UserOnly"}));

    // Redirected to the user's classes, as a per-user registration does.
    Key userClasses;
    ASSERT_EQ(
        RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Classes", 0, KEY_ALL_ACCESS, &userClasses),
        ERROR_SUCCESS);
    ASSERT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, userClasses), ERROR_SUCCESS);
    Key perUser;
    ASSERT_EQ(create(HKEY_CLASSES_ROOT, "PerUser", perUser), ERROR_SUCCESS);
    EXPECT_EQ(subkeys(HKEY_CLASSES_ROOT, ""),
              (std::vector<std::string>{"PerUser", "Shared", "UserOnly"}));
    ASSERT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(subkeys(HKEY_LOCAL_MACHINE, "Software\\Classes"),
              (std::vector<std::string>{"MachineOnly", "NewClass", "Shared"}));
    EXPECT_EQ(RegOverridePredefKey(userClasses, nullptr), ERROR_INVALID_HANDLE);
}

TEST_F(Registry, ValueTypesRoundTripByteForByte) {
    Key k;
    ASSERT_EQ(create(HKEY_CURRENT_USER, "Software\\Types", k), ERROR_SUCCESS);
    const std::string binary("\x00\x01\xFF\x7F", 4);
    const uint64_t q = 0x0123456789ABCDEFull;
    const std::string multi("one\0two\0\0", 9);
    ASSERT_EQ(
        RegSetValueExA(k, "bin", 0, REG_BINARY, reinterpret_cast<const BYTE*>(binary.data()), 4),
        ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExA(k, "q", 0, REG_QWORD, reinterpret_cast<const BYTE*>(&q), 8),
              ERROR_SUCCESS);
    ASSERT_EQ(
        RegSetValueExA(k, "m", 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(multi.data()), 9),
        ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExA(k, "empty", 0, REG_BINARY, nullptr, 0), ERROR_SUCCESS);
    BYTE buf[16];
    DWORD size = sizeof buf, type = 0;
    ASSERT_EQ(RegQueryValueExA(k, "bin", nullptr, &type, buf, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_BINARY);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), size), binary);
    size = sizeof buf;
    ASSERT_EQ(RegQueryValueExA(k, "q", nullptr, &type, buf, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_QWORD);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(std::memcmp(buf, &q, 8), 0);
    size = sizeof buf;
    ASSERT_EQ(RegQueryValueExA(k, "m", nullptr, &type, buf, &size), ERROR_SUCCESS);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), size), multi);
    size = sizeof buf;
    ASSERT_EQ(RegQueryValueExA(k, "empty", nullptr, &type, buf, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 0u);
}
