// Where the registry must behave as Windows' does: each expectation here was
// observed on the peer (a Windows build of tests/peer/regprobe.cpp run under
// Wine, whose advapi32 follows Windows' own conformance tests).
#include <cstdint>
#include <cstring>
#include <string>

#include "TempHive.h"
#include "zul/registry/RegFile.h"
#include "zul/registry/registry.h"

namespace {

struct Key {
    HKEY h = nullptr;
    ~Key() {
        if (h && h != HKEY_CURRENT_USER) RegCloseKey(h);
    }
    HKEY* operator&() { return &h; }
    operator HKEY() const { return h; }
};

class RegistryAsWindows : public zul::test::TempHiveTest {
protected:
    void SetUp() override {
        TempHiveTest::SetUp();
        ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\W", 0, nullptr, 0, KEY_ALL_ACCESS,
                                  nullptr, &base, nullptr),
                  ERROR_SUCCESS);
    }
    // What a string value set with `count` bytes of `buffer` reads back as.
    std::string stored(DWORD type, const char* buffer, DWORD count) {
        if (RegSetValueExA(base, "s", 0, type, reinterpret_cast<const BYTE*>(buffer), count) != 0)
            return "<set failed>";
        DWORD size = 0;
        RegQueryValueExA(base, "s", nullptr, nullptr, nullptr, &size);
        std::string data(size, '\x7f');
        DWORD exact = size; // an exactly sized buffer must do
        if (RegQueryValueExA(base, "s", nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()),
                             &exact) != ERROR_SUCCESS)
            return "<query failed>";
        return data;
    }
    Key base;
};

} // namespace

// The rights asked for the new key count, not the parent handle's.
TEST_F(RegistryAsWindows, SubkeysCanBeMadeUnderAHandleOpenedToRead) {
    for (REGSAM sam : {REGSAM(KEY_READ), REGSAM(KEY_NOTIFY)}) {
        SCOPED_TRACE(sam);
        Key parent, child;
        ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\W", 0, sam, &parent), ERROR_SUCCESS);
        ASSERT_EQ(RegCreateKeyExA(parent, "child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child,
                                  nullptr),
                  ERROR_SUCCESS);
        const DWORD v = 1;
        EXPECT_EQ(RegSetValueExA(child, "v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4),
                  ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExA(parent, "v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4),
                  ERROR_ACCESS_DENIED)
            << "the handle's own values still need its rights";
        EXPECT_EQ(RegDeleteTreeA(parent, "child"), ERROR_SUCCESS);
    }
}

// Strings are stored as given; a count that leaves out the terminator that
// follows it in the buffer takes it in.
TEST_F(RegistryAsWindows, StringDataIsStoredAsGiven) {
    EXPECT_EQ(stored(REG_SZ, "", 0), "");
    EXPECT_EQ(stored(REG_SZ, "123456789X", 9), "123456789");
    EXPECT_EQ(stored(REG_SZ, "123456789", 9), std::string("123456789\0", 10));
    EXPECT_EQ(stored(REG_SZ, "ab\0\0", 4), std::string("ab\0\0", 4));
    EXPECT_EQ(stored(REG_EXPAND_SZ, "%P%", 3), std::string("%P%\0", 4));
    EXPECT_EQ(stored(REG_MULTI_SZ, "a\0b\0", 4), std::string("a\0b\0", 4));
    EXPECT_EQ(stored(REG_MULTI_SZ, "a\0bX", 3), std::string("a\0b", 3));
    EXPECT_EQ(stored(REG_MULTI_SZ, "", 0), "");
    EXPECT_EQ(stored(REG_BINARY, "abc", 3), "abc") << "other types never grow";
}

// A name buffer too small still reports the type and the data size; a data
// buffer too small leaves the name and its length alone.
TEST_F(RegistryAsWindows, EnumeratingValuesWithShortBuffers) {
    const DWORD v = 7;
    ASSERT_EQ(
        RegSetValueExA(base, "LongValueName", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4),
        ERROR_SUCCESS);
    char name[64] = "unchanged";
    BYTE data[16];
    DWORD cch = 4, type = 99, cb = 0;
    EXPECT_EQ(RegEnumValueA(base, 0, name, &cch, nullptr, &type, data, &cb), ERROR_MORE_DATA);
    EXPECT_EQ(cch, 4u);
    EXPECT_EQ(type, REG_DWORD);
    EXPECT_EQ(cb, 4u);
    EXPECT_STREQ(name, "unchanged");

    cch = sizeof name, type = 99, cb = 2;
    EXPECT_EQ(RegEnumValueA(base, 0, name, &cch, nullptr, &type, data, &cb), ERROR_MORE_DATA);
    EXPECT_EQ(cch, sizeof name) << "a loop reusing the length must not spin";
    EXPECT_EQ(cb, 4u);
    EXPECT_STREQ(name, "unchanged");

    cb = sizeof data;
    EXPECT_EQ(RegEnumValueA(base, 0, name, &cch, nullptr, &type, data, &cb), ERROR_SUCCESS);
    EXPECT_STREQ(name, "LongValueName");
    EXPECT_EQ(cch, 13u);
}

TEST_F(RegistryAsWindows, HandlesAndParameters) {
    // A predefined key by its low 32 bits.
    const auto low = reinterpret_cast<HKEY>(static_cast<uintptr_t>(
        static_cast<uint32_t>(reinterpret_cast<uintptr_t>(HKEY_CURRENT_USER))));
    Key k;
    EXPECT_EQ(RegOpenKeyExA(low, "Software\\W", 0, KEY_READ, &k), ERROR_SUCCESS);

    // MAXIMUM_ALLOWED grants what the caller may have.
    Key most;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\W", 0, 0x02000000, &most), ERROR_SUCCESS);
    const DWORD v = 3;
    EXPECT_EQ(RegSetValueExA(most, "max", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4),
              ERROR_SUCCESS);

    // An invalid handle leaves the result alone; a missing key clears it.
    HKEY result = reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x5A5A));
    EXPECT_EQ(RegOpenKeyExA(reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x1234)), "x", 0,
                            KEY_READ, &result),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(result, reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x5A5A)));
    EXPECT_EQ(RegOpenKeyExA(base, "missing", 0, KEY_READ, &result), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(result, nullptr);

    // A predefined key opened with no subkey is itself.
    for (const char* sub : {static_cast<const char*>(nullptr), ""}) {
        HKEY self = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, sub, 0, KEY_READ, &self), ERROR_SUCCESS);
        EXPECT_EQ(self, HKEY_CURRENT_USER);
    }

    // Trailing backslashes, even doubled, are taken; a leading one is not.
    Key trail, made;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\W\\\\", 0, KEY_READ, &trail),
              ERROR_SUCCESS);
    EXPECT_EQ(
        RegCreateKeyExA(base, "t\\\\", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr),
        ERROR_SUCCESS);
    HKEY lead = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "\\Software", 0, KEY_READ, &lead),
              ERROR_BAD_PATHNAME);

    // A missing value reports no type and no size; type and size may share
    // one variable.
    DWORD type = 100, size = 100;
    EXPECT_EQ(RegQueryValueExA(base, "missing", nullptr, &type, nullptr, &size),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(type, 0u);
    EXPECT_EQ(size, 0u);
    DWORD same = 0;
    EXPECT_EQ(RegQueryValueExA(base, "max", nullptr, &same, nullptr, &same), ERROR_SUCCESS);
    EXPECT_EQ(same, 4u);

    // Flushing a deleted key fails.
    Key doomed;
    ASSERT_EQ(
        RegCreateKeyExA(base, "doomed", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &doomed, nullptr),
        ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(doomed), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteKeyA(base, "doomed"), ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(doomed), ERROR_KEY_DELETED);
}

// A key keeps the class name it was created with and the time of its last
// change (its values, its subkeys).
TEST_F(RegistryAsWindows, ClassNamesAndLastWriteTimes) {
    auto stamp = [](const FILETIME& ft) {
        return (uint64_t(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    };
    char cls[] = "ProbeClass";
    Key k;
    ASSERT_EQ(RegCreateKeyExA(base, "classy", 0, cls, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr),
              ERROR_SUCCESS);
    char got[64] = {};
    DWORD cch = sizeof got;
    FILETIME created{};
    ASSERT_EQ(RegQueryInfoKeyA(k, got, &cch, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, &created),
              ERROR_SUCCESS);
    EXPECT_STREQ(got, "ProbeClass");
    EXPECT_EQ(cch, 10u);
    // 2020-01-01 in FILETIME units: a real date, not zero.
    EXPECT_GT(stamp(created), 132223104000000000ull);

    char small[4];
    cch = sizeof small;
    EXPECT_EQ(RegQueryInfoKeyA(k, small, &cch, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);

    DWORD maxClass = 0;
    ASSERT_EQ(RegQueryInfoKeyA(base, nullptr, nullptr, nullptr, nullptr, nullptr, &maxClass,
                               nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(maxClass, 10u);

    char name[64];
    DWORD nameLen = sizeof name;
    cch = sizeof got;
    FILETIME listed{};
    ASSERT_EQ(RegEnumKeyExA(base, 0, name, &nameLen, nullptr, got, &cch, &listed), ERROR_SUCCESS);
    EXPECT_STREQ(name, "classy");
    EXPECT_STREQ(got, "ProbeClass");
    EXPECT_EQ(stamp(listed), stamp(created));

    // A value written later moves the time on.
    const DWORD v = 1;
    ASSERT_EQ(RegSetValueExA(k, "v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4),
              ERROR_SUCCESS);
    FILETIME written{};
    ASSERT_EQ(RegQueryInfoKeyA(k, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, &written),
              ERROR_SUCCESS);
    EXPECT_GE(stamp(written), stamp(created));

    // An existing key keeps its class when created again with another.
    char other[] = "Other";
    Key again;
    ASSERT_EQ(
        RegCreateKeyExA(base, "classy", 0, other, 0, KEY_ALL_ACCESS, nullptr, &again, nullptr),
        ERROR_SUCCESS);
    cch = sizeof got;
    ASSERT_EQ(RegQueryInfoKeyA(again, got, &cch, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(got, "ProbeClass");
}

// HKEY_CLASSES_ROOT is a live merge of the user's and the machine's classes.
TEST_F(RegistryAsWindows, TheClassesRootIsALiveMerge) {
    auto set = [](HKEY root, const char* path, const char* name, const char* text) {
        Key k;
        ASSERT_EQ(RegCreateKeyExA(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExA(k, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                                 DWORD(std::strlen(text) + 1)),
                  ERROR_SUCCESS);
    };
    auto get = [](HKEY key, const char* name) {
        char buf[64] = {};
        DWORD size = sizeof buf;
        const LSTATUS st =
            RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buf), &size);
        return st == ERROR_SUCCESS ? std::string(buf) : "<" + std::to_string(st) + ">";
    };
    set(HKEY_LOCAL_MACHINE, "Software\\Classes\\Shared", "both", "machine");
    set(HKEY_LOCAL_MACHINE, "Software\\Classes\\Shared", "m", "machine");
    Key shared;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "Shared", 0, KEY_ALL_ACCESS, &shared),
              ERROR_SUCCESS);
    EXPECT_EQ(get(shared, "both"), "machine");

    // The user's copy, made after the handle was opened, is followed, and
    // the values of both are seen.
    set(HKEY_CURRENT_USER, "Software\\Classes\\Shared", "both", "user");
    set(HKEY_CURRENT_USER, "Software\\Classes\\Shared", "u", "user");
    EXPECT_EQ(get(shared, "both"), "user");
    EXPECT_EQ(get(shared, "m"), "machine");
    DWORD values = 0;
    ASSERT_EQ(RegQueryInfoKeyA(shared, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &values, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(values, 3u);
    std::string names;
    char name[32];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof name;
        if (RegEnumValueA(shared, i, name, &cch, nullptr, nullptr, nullptr, nullptr) != 0) break;
        names += std::string(name) + ";";
    }
    EXPECT_EQ(names, "both;u;m;");

    // A machine subkey made after the handle was opened is seen through it;
    // a delete through the merged view reaches the key it names.
    Key later;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Software\\Classes\\Shared\\Later", 0, nullptr, 0,
                              KEY_ALL_ACCESS, nullptr, &later, nullptr),
              ERROR_SUCCESS);
    char sub[32];
    DWORD cch = sizeof sub;
    ASSERT_EQ(RegEnumKeyExA(shared, 0, sub, &cch, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(sub, "Later");
    EXPECT_EQ(RegDeleteKeyA(shared, "Later"), ERROR_SUCCESS);
    Key gone;
    EXPECT_EQ(
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Classes\\Shared\\Later", 0, KEY_READ, &gone),
        ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteValueA(shared, "m"), ERROR_SUCCESS);
    EXPECT_EQ(get(shared, "m"), "<2>");

    // Below a key the user has, new keys go to the user's copy.
    Key mine;
    ASSERT_EQ(
        RegCreateKeyExA(shared, "Mine", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &mine, nullptr),
        ERROR_SUCCESS);
    Key inUser;
    EXPECT_EQ(
        RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Classes\\Shared\\Mine", 0, KEY_READ, &inUser),
        ERROR_SUCCESS);
}

// REGEDIT4 files are Windows-1252 unless they are UTF-8 throughout; the
// version 5 file is UTF-16LE; a character Windows-1252 lacks is refused by
// name, never written wrong.
// Sizes and buffers at their edges: a missing value leaves a given buffer's
// size alone; one variable may be both type and size; a string stored
// without its terminator gets one in a buffer with room for it, by query
// and by enumeration, its size unchanged; the longest data of a key counts
// strings as Windows stores them (UTF-16); a class buffer without its
// length is refused untouched; a value name over the limit names nothing.
TEST_F(RegistryAsWindows, SizesAndBuffersAtTheirEdges) {
    BYTE buf[8];
    DWORD size = 7, type = 7;
    EXPECT_EQ(RegQueryValueExA(base, "missing", nullptr, &type, buf, &size), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(type, DWORD(REG_NONE));
    const DWORD four = 4;
    ASSERT_EQ(RegSetValueExA(base, "dw", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&four), 4), 0);
    DWORD same = 4;
    EXPECT_EQ(RegQueryValueExA(base, "dw", nullptr, &same, buf, &same), ERROR_SUCCESS);
    EXPECT_EQ(same, 4u);

    const char bare[] = {'a', 'b', 'c', 'Z'};
    ASSERT_EQ(RegSetValueExA(base, "bare", 0, REG_SZ, reinterpret_cast<const BYTE*>(bare), 3), 0);
    for (DWORD room : {DWORD(3), DWORD(4)}) {
        std::memset(buf, 'x', sizeof buf);
        size = room;
        EXPECT_EQ(RegQueryValueExA(base, "bare", nullptr, nullptr, buf, &size), ERROR_SUCCESS);
        EXPECT_EQ(size, 3u);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), 5),
                  room == 3 ? std::string("abcxx") : std::string("abc\0x", 5));
        char name[8];
        DWORD nameLen = sizeof name;
        std::memset(buf, 'x', sizeof buf);
        size = room;
        ASSERT_EQ(RegEnumValueA(base, 1, name, &nameLen, nullptr, nullptr, buf, &size), 0);
        EXPECT_STREQ(name, "bare");
        EXPECT_EQ(buf[3], room == 3 ? 'x' : 0);
    }

    Key info;
    ASSERT_EQ(RegCreateKeyExA(base, "info", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &info, nullptr),
              0);
    ASSERT_EQ(RegSetValueExA(info, "n", 0, REG_SZ, reinterpret_cast<const BYTE*>("d\xc3\xa4ta"), 6),
              0);
    ASSERT_EQ(RegSetValueExA(info, "b", 0, REG_BINARY, reinterpret_cast<const BYTE*>("1234567"), 7),
              0);
    DWORD maxData = 0;
    EXPECT_EQ(RegQueryInfoKeyA(info, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, &maxData, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(maxData, 10u) << "\"d\u00e4ta\" and its terminator: 5 UTF-16 units";
    char cls[4] = "abc";
    EXPECT_EQ(RegQueryInfoKeyA(info, cls, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_STREQ(cls, "abc");

    const std::string tooLong(16384, 'n');
    size = sizeof buf;
    EXPECT_EQ(RegQueryValueExA(base, tooLong.c_str(), nullptr, nullptr, buf, &size),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteValueA(base, tooLong.c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(
        RegSetValueExA(base, tooLong.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(""), 1),
        ERROR_INVALID_PARAMETER);
}

// The classes root takes a path that starts with backslashes ("\\" alone
// is the root, as a handle of its own); the other roots refuse one. A class
// deleted under a handle opened through the root is a deleted key to it.
TEST_F(RegistryAsWindows, TheClassesRootsBackslashesAndDeletedClasses) {
    Key root, other, user;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "\\", 0, KEY_READ, &root), ERROR_SUCCESS);
    EXPECT_NE(HKEY(root), HKEY_CLASSES_ROOT);
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "\\", 0, KEY_READ, &user), ERROR_BAD_PATHNAME);
    Key made;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Classes\\Gone\\child", 0, nullptr, 0,
                              KEY_ALL_ACCESS, nullptr, &made, nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "\\Gone", 0, KEY_READ, &other), ERROR_SUCCESS);
    char name[16];
    DWORD len = sizeof name;
    ASSERT_EQ(RegEnumKeyExA(root, 0, name, &len, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_STREQ(name, "Gone");
    ASSERT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\Classes\\Gone"), ERROR_SUCCESS);
    len = sizeof name;
    EXPECT_EQ(RegEnumKeyExA(other, 0, name, &len, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    len = sizeof name;
    EXPECT_EQ(RegEnumValueA(other, 0, name, &len, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    len = sizeof name;
    EXPECT_EQ(RegEnumKeyExA(root, 0, name, &len, nullptr, nullptr, nullptr, nullptr),
              ERROR_NO_MORE_ITEMS)
        << "the root itself is never deleted";
}

TEST_F(RegistryAsWindows, RegistryEditorFilesAndTheirEncodings) {
    std::string error;
    for (const std::string& text :
         {std::string(
              "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\Software\\W]\r\n\"caf\xe9\"=\"\x80 5\"\r\n"),
          std::string("REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\W]\n\"caf\xc3\xa9\"="
                      "\"\xe2\x82\xac 5\"\n")}) {
        const auto parsed = zul::registry::parseRegFile(text, "enc.reg");
        ASSERT_TRUE(parsed.ok) << parsed.error;
        ASSERT_EQ(zul::registry::applyRegFile(parsed, "enc.reg", error), ERROR_SUCCESS) << error;
        char buf[16] = {};
        DWORD size = sizeof buf;
        ASSERT_EQ(RegQueryValueExA(base, "caf\xc3\xa9", nullptr, nullptr,
                                   reinterpret_cast<BYTE*>(buf), &size),
                  ERROR_SUCCESS);
        EXPECT_STREQ(buf, "\xe2\x82\xac 5") << "the euro sign, in UTF-8 here";
    }
    std::string bytes;
    ASSERT_EQ(zul::registry::exportRegFile("HKEY_CURRENT_USER\\Software\\W",
                                           zul::registry::RegFileForm::Regedit4, bytes),
              ERROR_SUCCESS);
    EXPECT_NE(bytes.find("\"caf\xe9\"=\"\x80 5\"\r\n"), std::string::npos);
    ASSERT_EQ(zul::registry::exportRegFile("HKEY_CURRENT_USER\\Software\\W",
                                           zul::registry::RegFileForm::Version5, bytes),
              ERROR_SUCCESS);
    EXPECT_EQ(bytes.substr(0, 4), std::string("\xFF\xFEW\0", 4));
    EXPECT_NE(bytes.find(std::string("\xAC\x20", 2)), std::string::npos) << "U+20AC in UTF-16LE";

    const char* kanji = "\xe6\x97\xa5";
    ASSERT_EQ(RegSetValueExA(base, "name", 0, REG_SZ, reinterpret_cast<const BYTE*>(kanji), 4),
              ERROR_SUCCESS);
    EXPECT_EQ(zul::registry::exportRegFile("HKEY_CURRENT_USER\\Software\\W",
                                           zul::registry::RegFileForm::Regedit4, bytes),
              ERROR_INVALID_DATA);
    const std::string why = zul::registry::lastErrorDetail();
    EXPECT_NE(why.find("'name'"), std::string::npos) << why;
    EXPECT_NE(why.find("U+65E5"), std::string::npos) << why;
}
