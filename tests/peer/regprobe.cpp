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

// 7. Sizes and buffers at their edges: a missing value asked for with a
// buffer, type and size in one variable with a buffer, strings stored
// without their terminator read into buffers of every size around them.
void sizesAtTheEdges(HKEY base) {
    BYTE buf[16];
    DWORD size = 7, type = 7;
    std::memset(buf, 'x', sizeof buf);
    LONG s = RegQueryValueExA(base, "missing", nullptr, &type, buf, &size);
    say("query a missing value with a buffer",
        st(s) + " size " + std::to_string(size) + " type " + std::to_string(type));

    const DWORD v = 0x11223344;
    RegSetValueExA(base, "dw4", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
    DWORD same = sizeof v;
    s = RegQueryValueExA(base, "dw4", nullptr, &same, buf, &same);
    say("type and size in one variable with a buffer", st(s) + " " + std::to_string(same));

    // "abc" stored with no terminator: the byte after the count is one too.
    const char unterminated[] = {'a', 'b', 'c', 'Z'};
    RegSetValueExA(base, "bare", 0, REG_SZ, reinterpret_cast<const BYTE*>(unterminated), 3);
    for (DWORD room : {DWORD(2), DWORD(3), DWORD(4), DWORD(5)}) {
        std::memset(buf, 'x', sizeof buf);
        size = room;
        s = RegQueryValueExA(base, "bare", nullptr, nullptr, buf, &size);
        say(("query an unterminated string into " + std::to_string(room) + " bytes").c_str(),
            st(s) + " size " + std::to_string(size) + " bytes " + hex(buf, 6));
    }
    for (DWORD room : {DWORD(3), DWORD(4), DWORD(5)}) {
        char name[16];
        DWORD nameLen = sizeof name;
        std::memset(buf, 'x', sizeof buf);
        size = room;
        DWORD index = 0;
        for (;; ++index) {
            nameLen = sizeof name;
            size = room;
            std::memset(buf, 'x', sizeof buf);
            s = RegEnumValueA(base, index, name, &nameLen, nullptr, nullptr, buf, &size);
            if (s == ERROR_NO_MORE_ITEMS || (s != ERROR_MORE_DATA && s != ERROR_SUCCESS) ||
                std::strcmp(name, "bare") == 0)
                break;
        }
        say(("enumerate an unterminated string into " + std::to_string(room) + " bytes").c_str(),
            st(s) + " size " + std::to_string(size) + " bytes " + hex(buf, 6));
    }

    // Longest name and data as the information call counts them.
    HKEY info = create(base, "info");
    RegSetValueExA(info, "n", 0, REG_SZ, reinterpret_cast<const BYTE*>("data"), 5);
    RegSetValueExA(info, "b", 0, REG_BINARY, reinterpret_cast<const BYTE*>("123"), 3);
    DWORD maxName = 0, maxData = 0;
    s = RegQueryInfoKeyA(info, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         &maxName, &maxData, nullptr, nullptr);
    say("longest value name and data",
        st(s) + " " + std::to_string(maxName) + " " + std::to_string(maxData));
    char cls[8] = "xxxxxxx";
    s = RegQueryInfoKeyA(info, cls, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr);
    say("class buffer without its length", st(s) + " " + cls);
    close(info);

    // A value name longer than any a key can hold is just not there.
    const std::string longName(16384, 'n');
    size = sizeof buf;
    say("query a value with a name over the limit",
        st(RegQueryValueExA(base, longName.c_str(), nullptr, nullptr, buf, &size)));
    say("delete a value with a name over the limit", st(RegDeleteValueA(base, longName.c_str())));
}

// 8. Opening the classes root's own path, and predefined keys with bits
// above their low 32.
void rootsAndHandles() {
    HKEY k = nullptr;
    LONG s = RegOpenKeyExA(HKEY_CLASSES_ROOT, "\\", 0, KEY_READ, &k);
    say("open the classes root by a backslash",
        st(s) + (k && k != HKEY_CLASSES_ROOT ? " new" : ""));
    close(k);
    k = nullptr;
    s = RegOpenKeyExA(HKEY_CURRENT_USER, "\\", 0, KEY_READ, &k);
    say("open the user's root by a backslash", st(s));
    close(k);
    k = nullptr;
    close(create(HKEY_CLASSES_ROOT, "ZulProbeClass"));
    s = RegOpenKeyExA(HKEY_CLASSES_ROOT, "\\ZulProbeClass", 0, KEY_READ, &k);
    say("open below the classes root after a backslash", st(s));
    close(k);
    RegDeleteKeyA(HKEY_CLASSES_ROOT, "ZulProbeClass");
    for (uint64_t high : {uint64_t(1) << 32, uint64_t(0xFFFFFFFF00000000ull)}) {
        const HKEY wide =
            reinterpret_cast<HKEY>(reinterpret_cast<uintptr_t>(HKEY_CURRENT_USER) | high);
        k = nullptr;
        s = RegOpenKeyExA(wide, kBase, 0, KEY_READ, &k);
        say(("open below the user's root with high bits " + std::to_string(high >> 32)).c_str(),
            st(s));
        close(k);
    }
}

// 9. The classes root as a merge of the user's and the machine's classes:
// where keys and values made through it go, and a key deleted under a
// handle opened through it.
void classesMerge() {
    const char* machine = "Software\\Classes\\ZulProbeM";
    auto where = [](const char* sub) {
        HKEY u =
            open(HKEY_CURRENT_USER, (std::string("Software\\Classes\\") + sub).c_str(), KEY_READ);
        HKEY m =
            open(HKEY_LOCAL_MACHINE, (std::string("Software\\Classes\\") + sub).c_str(), KEY_READ);
        const std::string answer = std::string(u ? "user" : "") + (m ? " machine" : "");
        close(u);
        close(m);
        return answer.empty() ? std::string("nowhere") : answer;
    };
    close(create(HKEY_LOCAL_MACHINE, machine));
    HKEY cr = open(HKEY_CLASSES_ROOT, "ZulProbeM", KEY_ALL_ACCESS);
    HKEY sub = create(cr, "sub");
    say("a subkey made through the classes root under a machine class", where("ZulProbeM\\sub"));
    LONG s = RegSetValueExA(cr, "v", 0, REG_SZ, reinterpret_cast<const BYTE*>("m"), 2);
    HKEY m = open(HKEY_LOCAL_MACHINE, machine, KEY_READ);
    DWORD size = 0;
    const LONG inMachine = RegQueryValueExA(m, "v", nullptr, nullptr, nullptr, &size);
    size = 0;
    const LONG through = RegQueryValueExA(cr, "v", nullptr, nullptr, nullptr, &size);
    say("a value set through the classes root on a machine class",
        st(s) + " in the machine's " + st(inMachine) + " through the root " + st(through));
    close(m);
    close(sub);
    close(cr);
    HKEY made = create(HKEY_CLASSES_ROOT, "ZulProbeNew");
    say("a class made through the classes root", where("ZulProbeNew"));
    close(made);

    close(create(HKEY_CURRENT_USER, "Software\\Classes\\ZulProbeDel\\child"));
    HKEY del = open(HKEY_CLASSES_ROOT, "ZulProbeDel", KEY_ALL_ACCESS);
    RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\Classes\\ZulProbeDel");
    RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\Classes\\ZulProbeDel");
    char name[64];
    DWORD len = sizeof name;
    s = RegEnumKeyExA(del, 0, name, &len, nullptr, nullptr, nullptr, nullptr);
    len = sizeof name;
    const LONG values = RegEnumValueA(del, 0, name, &len, nullptr, nullptr, nullptr, nullptr);
    say("enumerate a deleted class through the classes root", st(s) + " " + st(values));
    close(del);

    for (const char* k : {"ZulProbeM\\sub", "ZulProbeM", "ZulProbeNew"}) {
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, (std::string("Software\\Classes\\") + k).c_str());
        RegDeleteKeyA(HKEY_CURRENT_USER, (std::string("Software\\Classes\\") + k).c_str());
    }
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
    sizesAtTheEdges(base);
    rootsAndHandles();
    classesMerge();
    close(base);
    RegDeleteTreeA(HKEY_CURRENT_USER, kBase);
    RegDeleteKeyA(HKEY_CURRENT_USER, kBase);
    return 0;
}
