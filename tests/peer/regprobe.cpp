// Asks a registry how it behaves where this platform's registry must behave
// as Windows' does, one line per question: built against this platform's
// registry and, with mingw-w64, as a Windows program run under Wine, the two
// outputs must agree line for line (tests/peer/CMakeLists.txt compares them).
// Keys live under HKEY_CURRENT_USER\Software\ZulProbe, made afresh.
#ifdef _WIN32
#include <windows.h>
#else
#include "zul/registry/registry.h"
#endif

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

#ifndef _WIN32
constexpr REGSAM MAXIMUM_ALLOWED = 0x02000000;
#endif

const char* kBase = "Software\\ZulProbe";

void say(const char* question, const std::string& answer) {
    std::printf("%s: %s\n", question, answer.c_str());
}
std::string st(LONG s) {
    return std::to_string(s);
}
std::string hex(const BYTE* p, DWORD n) {
    std::string out;
    char b[4];
    for (DWORD i = 0; i < n; ++i) {
        std::snprintf(b, sizeof b, "%02x", p[i]);
        out += b;
    }
    return out;
}
HKEY create(HKEY parent, const char* sub, REGSAM sam = KEY_ALL_ACCESS, LONG* status = nullptr) {
    HKEY k = nullptr;
    const LONG s = RegCreateKeyExA(parent, sub, 0, nullptr, 0, sam, nullptr, &k, nullptr);
    if (status) *status = s;
    return s == ERROR_SUCCESS ? k : nullptr;
}
HKEY open(HKEY parent, const char* sub, REGSAM sam, LONG* status = nullptr) {
    HKEY k = nullptr;
    const LONG s = RegOpenKeyExA(parent, sub, 0, sam, &k);
    if (status) *status = s;
    return s == ERROR_SUCCESS ? k : nullptr;
}
void close(HKEY k) {
    if (k) RegCloseKey(k);
}

// 1. The rights of the parent handle when a call only names a subkey.
void parentRights(HKEY base) {
    for (REGSAM sam : {REGSAM(KEY_READ), REGSAM(KEY_NOTIFY)}) {
        const std::string tag = sam == KEY_READ ? "read" : "notify";
        HKEY parent = open(HKEY_CURRENT_USER, kBase, sam);
        LONG s = 0;
        HKEY child = create(parent, ("made under " + tag).c_str(), KEY_ALL_ACCESS, &s);
        say(("create under a " + tag + " handle").c_str(), st(s));
        close(child);
        HKEY again = open(parent, ("made under " + tag).c_str(), KEY_READ, &s);
        say(("open under a " + tag + " handle").c_str(), st(s));
        close(again);
        const DWORD v = 1;
        say(("set a value through a " + tag + " handle").c_str(),
            st(RegSetValueExA(parent, "v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v),
                              sizeof v)));
        say(("delete a subkey under a " + tag + " handle").c_str(),
            st(RegDeleteKeyA(parent, ("made under " + tag).c_str())));
        close(parent);
    }
}

// 2. String data: what is stored for each count given.
void stringData(HKEY base) {
    struct Case {
        const char* name;
        DWORD type;
        const char* bytes;
        DWORD count;
    } cases[] = {
        {"sz empty", REG_SZ, "", 0},
        {"sz nul only", REG_SZ, "", 1},
        {"sz abc without nul", REG_SZ, "abc", 3},
        {"sz abc with nul", REG_SZ, "abc", 4},
        {"sz nine unterminated", REG_SZ, "123456789X", 9},
        {"sz nine before a nul", REG_SZ, "123456789", 9},
        {"sz two nuls", REG_SZ, "ab\0\0", 4},
        {"expand without nul", REG_EXPAND_SZ, "%PATH%", 6},
        {"multi one nul", REG_MULTI_SZ, "a\0b\0", 4},
        {"multi two nuls", REG_MULTI_SZ, "a\0b\0\0", 5},
        {"multi no nul", REG_MULTI_SZ, "a\0b", 3},
        {"multi no nul unterminated", REG_MULTI_SZ, "a\0bX", 3},
        {"binary", REG_BINARY, "abc", 3},
        {"multi empty", REG_MULTI_SZ, "", 0},
    };
    for (const Case& c : cases) {
        LONG s = RegSetValueExA(base, c.name, 0, c.type, reinterpret_cast<const BYTE*>(c.bytes),
                                c.count);
        DWORD type = 0, size = 0;
        RegQueryValueExA(base, c.name, nullptr, &type, nullptr, &size);
        BYTE data[64] = {};
        DWORD exact = size;
        std::memset(data, 0xEE, sizeof data);
        const LONG q = RegQueryValueExA(base, c.name, nullptr, nullptr, data, &exact);
        say((std::string("string ") + c.name).c_str(),
            "set " + st(s) + " size " + std::to_string(size) + " exact-buffer " + st(q) + " got " +
                std::to_string(exact) + " bytes " + hex(data, exact + 2 <= 64 ? exact + 2 : 64));
    }
}

// 3. RegEnumValueA with buffers too small for the name or the data.
void enumShortBuffers(HKEY base) {
    HKEY k = create(base, "enum");
    const DWORD v = 7;
    RegSetValueExA(k, "LongValueName", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
    char name[64];
    std::strcpy(name, "unchanged");
    DWORD cch = 4, type = 99, cb = 0;
    BYTE data[16];
    LONG s = RegEnumValueA(k, 0, name, &cch, nullptr, &type, data, &cb);
    say("enum value short name", st(s) + " cch " + std::to_string(cch) + " type " +
                                     std::to_string(type) + " cb " + std::to_string(cb) + " name " +
                                     name);
    std::strcpy(name, "unchanged");
    cch = sizeof name;
    type = 99;
    cb = 2;
    s = RegEnumValueA(k, 0, name, &cch, nullptr, &type, data, &cb);
    say("enum value short data", st(s) + " cch " + std::to_string(cch) + " type " +
                                     std::to_string(type) + " cb " + std::to_string(cb) + " name " +
                                     name);
    cch = sizeof name;
    type = 99;
    cb = 0;
    s = RegEnumValueA(k, 0, name, &cch, nullptr, &type, nullptr, &cb);
    say("enum value no data buffer", st(s) + " cch " + std::to_string(cch) + " type " +
                                         std::to_string(type) + " cb " + std::to_string(cb));
    close(k);
}

// 5. Handles and parameters.
void handlesAndParameters(HKEY base) {
    LONG s = 0;
    HKEY low = reinterpret_cast<HKEY>(static_cast<uintptr_t>(
        static_cast<uint32_t>(reinterpret_cast<uintptr_t>(HKEY_CURRENT_USER))));
    HKEY k = open(low, kBase, KEY_READ, &s);
    say("predefined key by its low 32 bits", st(s));
    close(k);

    k = open(HKEY_CURRENT_USER, kBase, MAXIMUM_ALLOWED, &s);
    const DWORD v = 3;
    say("maximum allowed", st(s) + " set " +
                               st(RegSetValueExA(k, "max", 0, REG_DWORD,
                                                 reinterpret_cast<const BYTE*>(&v), sizeof v)));
    close(k);

    HKEY untouched = reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x5A5A));
    s = RegOpenKeyExA(reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x1234)), "x", 0, KEY_READ,
                      &untouched);
    say("open on an invalid handle",
        st(s) + " result " + std::to_string(reinterpret_cast<uintptr_t>(untouched)));
    untouched = reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x5A5A));
    s = RegCreateKeyExA(reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x1234)), "x", 0, nullptr, 0,
                        KEY_READ, nullptr, &untouched, nullptr);
    say("create on an invalid handle",
        st(s) + " result " + std::to_string(reinterpret_cast<uintptr_t>(untouched)));
    untouched = reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x5A5A));
    s = RegOpenKeyExA(base, "no such key", 0, KEY_READ, &untouched);
    say("open a missing key",
        st(s) + " result " + std::to_string(reinterpret_cast<uintptr_t>(untouched)));

    // A string value into a buffer one byte short, and its size asked.
    RegSetValueExA(base, "text", 0, REG_SZ, reinterpret_cast<const BYTE*>("hello"), 6);
    BYTE small[5];
    DWORD n = sizeof small;
    s = RegQueryValueExA(base, "text", nullptr, nullptr, small, &n);
    say("query a string into a short buffer", st(s) + " size " + std::to_string(n));
    char key[4];
    DWORD cchKey = sizeof key;
    HKEY named = create(base, "a longer name");
    close(named);
    s = RegEnumKeyExA(base, 0, key, &cchKey, nullptr, nullptr, nullptr, nullptr);
    say("enum key short name", st(s) + " cch " + std::to_string(cchKey));

    for (const char* sub : {static_cast<const char*>(nullptr), ""}) {
        HKEY got = nullptr;
        s = RegOpenKeyExA(HKEY_CURRENT_USER, sub, 0, KEY_READ, &got);
        say(sub ? "open predefined with an empty subkey" : "open predefined with a null subkey",
            st(s) + (got == HKEY_CURRENT_USER ? " the predefined key" : " another handle"));
        if (got != HKEY_CURRENT_USER) close(got);
    }

    const std::string doubled = std::string(kBase) + "\\\\";
    k = open(HKEY_CURRENT_USER, doubled.c_str(), KEY_READ, &s);
    say("open with a doubled trailing backslash", st(s));
    close(k);
    k = create(HKEY_CURRENT_USER, (std::string(kBase) + "\\trail\\\\").c_str(), KEY_ALL_ACCESS, &s);
    say("create with a doubled trailing backslash", st(s));
    close(k);

    DWORD size = 100, type = 100;
    s = RegQueryValueExA(base, "missing", nullptr, &type, nullptr, &size);
    say("query a missing value",
        st(s) + " size " + std::to_string(size) + " type " + std::to_string(type));

    DWORD same = 0;
    RegSetValueExA(base, "dw", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
    s = RegQueryValueExA(base, "dw", nullptr, &same, nullptr, &same);
    say("type and size in one variable", st(s) + " " + std::to_string(same));

    HKEY doomed = create(base, "doomed");
    RegDeleteKeyA(base, "doomed");
    say("flush a deleted key", st(RegFlushKey(doomed)));
    say("query a deleted key",
        st(RegQueryInfoKeyA(doomed, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr, nullptr)));
    close(doomed);
}

// 6. Class names and last-write times.
void classesAndTimes(HKEY base) {
    HKEY k = nullptr;
    char cls[] = "ProbeClass";
    LONG s = RegCreateKeyExA(base, "classy", 0, cls, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr);
    char got[64] = "unchanged";
    DWORD cch = sizeof got, maxClass = 0;
    FILETIME ft{};
    LONG q = RegQueryInfoKeyA(k, got, &cch, nullptr, nullptr, nullptr, &maxClass, nullptr, nullptr,
                              nullptr, nullptr, &ft);
    say("class of a new key", st(s) + " query " + st(q) + " class " + got + " cch " +
                                  std::to_string(cch) + " write time " +
                                  (ft.dwHighDateTime != 0 ? "set" : "zero"));
    close(k);
    char name[64];
    DWORD nameLen = sizeof name;
    cch = sizeof got;
    std::strcpy(got, "unchanged");
    ft = FILETIME{};
    // Enumerate the base's subkeys to find "classy".
    for (DWORD i = 0;; ++i) {
        nameLen = sizeof name;
        cch = sizeof got;
        q = RegEnumKeyExA(base, i, name, &nameLen, nullptr, got, &cch, &ft);
        if (q != ERROR_SUCCESS || std::strcmp(name, "classy") == 0) break;
    }
    say("class by enumeration", st(q) + " class " + got + " cch " + std::to_string(cch) +
                                    " write time " + (ft.dwHighDateTime != 0 ? "set" : "zero"));
    HKEY parent = open(HKEY_CURRENT_USER, "Software", KEY_READ);
    cch = 0;
    q = RegQueryInfoKeyA(parent, nullptr, nullptr, nullptr, nullptr, nullptr, &maxClass, nullptr,
                         nullptr, nullptr, nullptr, &ft);
    say("max class length of the parent", st(q) + " " + std::to_string(maxClass >= 10));
    close(parent);
}

} // namespace

int main() {
    RegDeleteTreeA(HKEY_CURRENT_USER, kBase);
    RegDeleteKeyA(HKEY_CURRENT_USER, kBase);
    HKEY base = create(HKEY_CURRENT_USER, kBase);
    if (!base) {
        std::printf("cannot create the probe's key\n");
        return 1;
    }
    parentRights(base);
    stringData(base);
    enumShortBuffers(base);
    handlesAndParameters(base);
    classesAndTimes(base);
    close(base);
    RegDeleteTreeA(HKEY_CURRENT_USER, kBase);
    RegDeleteKeyA(HKEY_CURRENT_USER, kBase);
    return 0;
}
