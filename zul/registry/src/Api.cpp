// The Win32 registry functions over SQLite hives.
//
// A handle binds to one key in one hive; a handle below HKEY_CLASSES_ROOT may
// bind to the same path in the user hive and the machine hive at once. Reads
// take the first binding whose key exists (the user's), enumeration of subkeys
// merges the bindings, and new keys go to the last binding (the machine),
// which is how the classes root behaves on Windows.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <pwd.h>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>

#include "Hive.h"
#include "zul/registry/Text.h"
#include "zul/registry/registry.h"

using zul::registry::foldName;
using zul::registry::Hive;
using zul::registry::kRootKeyId;
using zul::registry::ValueRecord;
using Access = Hive::Access;

namespace {

struct Binding {
    std::shared_ptr<Hive> hive;
    std::vector<std::string> path; // below the hive's root
    int64_t id = 0;                // 0: resolved from `path` at each call
};

} // namespace

// Shared, immutable: a call takes the handle's bindings with one reference
// count instead of copying them.
using Bindings = std::shared_ptr<const std::vector<Binding>>;

struct ZulKey {
    Bindings bindings;
    REGSAM access = 0;
};

namespace {

struct HandleTable {
    std::mutex mu;
    std::unordered_set<ZulKey*> live;
    std::unordered_map<HKEY, Bindings> overrides;
    // The predefined keys' bindings for the hive paths in force when made.
    std::string userPath, machinePath;
    pid_t pid = 0; // a forked child opens its own connections
    Bindings user, machine, classes;
};
HandleTable& handles() {
    static auto* table = new HandleTable; // handles may be closed during static destruction
    return *table;
}

// A predefined key is known by its low 32 bits too, as on Windows, where a
// handle is often passed through a 32-bit integer and zero-extended:
// (HKEY)(ULONG_PTR)(ULONG)HKEY_CURRENT_USER names the same key.
HKEY canonical(HKEY h) {
    const auto bits = reinterpret_cast<uintptr_t>(h);
    if ((bits >> 32) == 0 && bits >= 0x80000000u && bits <= 0x80000002u)
        return reinterpret_cast<HKEY>(static_cast<intptr_t>(static_cast<LONG>(bits)));
    return h;
}

bool isPredefined(HKEY h) {
    h = canonical(h);
    return h == HKEY_CLASSES_ROOT || h == HKEY_CURRENT_USER || h == HKEY_LOCAL_MACHINE;
}

std::vector<std::string> classesPath() {
    return {"Software", "Classes"};
}

// The bindings and rights of a handle, or ERROR_INVALID_HANDLE.
LSTATUS bindingsOf(HKEY h, Bindings& out, REGSAM& access) {
    HandleTable& t = handles();
    h = canonical(h);
    if (isPredefined(h)) {
        access = KEY_ALL_ACCESS;
        // The environment names the hives; it is read at each call so that a
        // process (or a test) can point the registry elsewhere.
        std::string userPath = zul::registry::userHivePath();
        std::string machinePath = zul::registry::machineHivePath();
        std::lock_guard lock(t.mu);
        if (auto it = t.overrides.find(h); it != t.overrides.end()) {
            out = it->second;
            return ERROR_SUCCESS;
        }
        if (!t.user || userPath != t.userPath || machinePath != t.machinePath ||
            t.pid != getpid()) {
            t.pid = getpid();
            auto user = Hive::forPath(userPath), machine = Hive::forPath(machinePath);
            t.user = std::make_shared<const std::vector<Binding>>(
                std::vector<Binding>{Binding{user, {}, kRootKeyId}});
            t.machine = std::make_shared<const std::vector<Binding>>(
                std::vector<Binding>{Binding{machine, {}, kRootKeyId}});
            t.classes = std::make_shared<const std::vector<Binding>>(std::vector<Binding>{
                Binding{user, classesPath(), 0}, Binding{machine, classesPath(), 0}});
            t.userPath = std::move(userPath);
            t.machinePath = std::move(machinePath);
        }
        out = h == HKEY_CURRENT_USER ? t.user : h == HKEY_LOCAL_MACHINE ? t.machine : t.classes;
        return ERROR_SUCCESS;
    }
    std::lock_guard lock(t.mu);
    if (!h || !t.live.count(h)) return ERROR_INVALID_HANDLE;
    out = h->bindings;
    access = h->access;
    return ERROR_SUCCESS;
}

// The bindings of a handle that holds the rights `needed` (0: any), the
// check every call on a handle begins with: ERROR_INVALID_HANDLE for a handle
// that is not open, ERROR_ACCESS_DENIED for one opened without those rights.
LSTATUS keyFor(HKEY h, REGSAM needed, Bindings& out) {
    REGSAM access = 0;
    const LSTATUS st = bindingsOf(h, out, access);
    if (st != ERROR_SUCCESS) return st;
    return (access & needed) == needed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// MAXIMUM_ALLOWED asks for every right the caller may have: all of them
// here, where a hive's file mode is the only limit (and is checked when a
// write reaches it).
constexpr REGSAM kMaximumAllowed = 0x02000000;

HKEY newHandle(std::vector<Binding> bindings, REGSAM access) {
    if (access & kMaximumAllowed) access |= KEY_ALL_ACCESS;
    auto* key =
        new ZulKey{std::make_shared<const std::vector<Binding>>(std::move(bindings)), access};
    HandleTable& t = handles();
    std::lock_guard lock(t.mu);
    t.live.insert(key);
    return key;
}

// Splits a subkey path into names. Trailing backslashes, one or more, are
// taken as Windows takes them; a leading one or an empty name inside the
// path is refused (ERROR_BAD_PATHNAME), as is a name over 255 characters.
LSTATUS splitPath(const char* sub, std::vector<std::string>& out) {
    out.clear();
    if (!sub || !*sub) return ERROR_SUCCESS;
    const std::string text = zul::registry::utf8Text(sub);
    const std::string_view s(text);
    if (s.front() == '\\') {
        zul::registry::setErrorDetail("key path '" + std::string(s) + "' starts with a backslash");
        return ERROR_BAD_PATHNAME;
    }
    const size_t last = s.find_last_not_of('\\');
    size_t start = 0;
    while (start <= last) {
        size_t end = s.find('\\', start);
        if (end == std::string_view::npos) end = s.size();
        if (end == start) {
            zul::registry::setErrorDetail("empty key name in path '" + std::string(s) + "'");
            return ERROR_BAD_PATHNAME;
        }
        const std::string_view part = s.substr(start, end - start);
        if (zul::registry::nameLength(part) > zul::registry::kMaxKeyNameLength) {
            zul::registry::setErrorDetail("key name longer than 255 characters");
            return ERROR_INVALID_PARAMETER;
        }
        out.emplace_back(part);
        start = end + 1;
    }
    return ERROR_SUCCESS;
}

bool validValueName(const char* name) {
    if (name && zul::registry::nameLength(name) > zul::registry::kMaxValueNameLength) {
        zul::registry::setErrorDetail("value name longer than 16383 characters");
        return false;
    }
    return true;
}

// The key of a binding; the caller is inside hive->run().
LSTATUS locate(const Binding& b, int64_t& id) {
    if (b.id != 0) {
        id = b.id;
        return b.hive->keyExists(b.id);
    }
    return b.hive->resolve(kRootKeyId, b.path, id);
}

// Runs `work(binding, keyId)` on the first binding whose key exists.
template <class F>
LSTATUS onFirstExisting(const std::vector<Binding>& bs, Access access, F&& work) {
    LSTATUS last = ERROR_FILE_NOT_FOUND;
    for (const Binding& b : bs) {
        bool found = false;
        const LSTATUS st = b.hive->run(access, [&]() -> LSTATUS {
            if (access == Access::Read && b.id != 0) {
                // A read of an open key asks whether the key still exists only
                // when it found nothing: one statement instead of two.
                found = true;
                const LSTATUS s = work(b, b.id);
                if (s != ERROR_FILE_NOT_FOUND && s != ERROR_NO_MORE_ITEMS) return s;
                const LSTATUS exists = b.hive->keyExists(b.id);
                return exists == ERROR_SUCCESS ? s : exists;
            }
            int64_t id = 0;
            LSTATUS s = locate(b, id);
            if (s == ERROR_FILE_NOT_FOUND && b.id == 0) return s;
            if (s != ERROR_SUCCESS) return s;
            found = true;
            return work(b, id);
        });
        if (found || (st != ERROR_FILE_NOT_FOUND)) return st;
        last = st;
    }
    return last;
}

std::vector<Binding> withPath(const Binding& b, const std::vector<std::string>& parts, int64_t id) {
    std::vector<std::string> path = b.path;
    path.insert(path.end(), parts.begin(), parts.end());
    return {Binding{b.hive, std::move(path), id}};
}

// A merged view (the classes root, and every key opened through it) binds
// by path in each hive, resolved at each call, so that the view stays live:
// a key made in either hive after the handle was opened is seen through it,
// and the handle follows the user's copy once there is one.
bool isMergedView(const std::vector<Binding>& bs) {
    return bs.size() > 1 && bs.front().id == 0;
}

LSTATUS openIn(const std::vector<Binding>& bs, const std::vector<std::string>& parts,
               std::vector<Binding>& found) {
    found.clear();
    if (isMergedView(bs)) {
        bool any = false;
        for (const Binding& b : bs) {
            std::vector<std::string> path = b.path;
            path.insert(path.end(), parts.begin(), parts.end());
            int64_t id = 0;
            const LSTATUS st =
                b.hive->run(Access::Read, [&] { return b.hive->resolve(kRootKeyId, path, id); });
            if (st == ERROR_SUCCESS)
                any = true;
            else if (st != ERROR_FILE_NOT_FOUND)
                return st;
            found.push_back(Binding{b.hive, std::move(path), 0});
        }
        if (!any) found.clear();
        return any ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
    }
    for (const Binding& b : bs) {
        int64_t child = 0;
        const LSTATUS st = b.hive->run(Access::Read, [&]() -> LSTATUS {
            int64_t id = 0;
            LSTATUS s = locate(b, id);
            if (s != ERROR_SUCCESS) return s;
            return b.hive->resolve(id, parts, child);
        });
        if (st == ERROR_SUCCESS) {
            auto one = withPath(b, parts, child);
            found.push_back(std::move(one.front()));
        } else if (st != ERROR_FILE_NOT_FOUND) {
            return st;
        }
    }
    return found.empty() ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
}

// Whether the bindings are those of a key opened below a root (not of a
// predefined key, whose keys may not exist yet): when its key exists in no
// hive any more, it was deleted.
bool openedBelowARoot(const std::vector<Binding>& bs) {
    return !bs.empty() && (bs.front().id != 0 || bs.front().path.size() > classesPath().size());
}

// Sorted, case-insensitively distinct subkey names over all bindings.
LSTATUS mergedChildren(const std::vector<Binding>& bs, std::vector<std::string>& names) {
    std::vector<std::pair<std::string, std::string>> all; // fold, name
    bool any = false;
    for (const Binding& b : bs) {
        std::vector<std::string> some;
        const LSTATUS st = b.hive->run(Access::Read, [&]() -> LSTATUS {
            int64_t id = 0;
            LSTATUS s = locate(b, id);
            if (s != ERROR_SUCCESS) return s;
            return b.hive->childNames(id, some);
        });
        if (st == ERROR_FILE_NOT_FOUND && b.id == 0) continue;
        if (st != ERROR_SUCCESS) return st;
        any = true;
        for (auto& n : some)
            all.emplace_back(foldName(n), std::move(n));
    }
    if (!any && openedBelowARoot(bs)) return ERROR_KEY_DELETED;
    std::stable_sort(all.begin(), all.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    names.clear();
    for (size_t i = 0; i < all.size(); ++i)
        if (i == 0 || all[i].first != all[i - 1].first) names.push_back(std::move(all[i].second));
    return ERROR_SUCCESS;
}

// The values of a merged view: the first binding's (the user's), then the
// others' whose names it lacks, each in its own order.
LSTATUS mergedValues(const std::vector<Binding>& bs, std::vector<ValueRecord>& out) {
    out.clear();
    std::unordered_set<std::string> seen;
    bool any = false;
    for (const Binding& b : bs) {
        std::vector<ValueRecord> some;
        const LSTATUS st = b.hive->run(Access::Read, [&]() -> LSTATUS {
            int64_t id = 0;
            const LSTATUS s = locate(b, id);
            return s != ERROR_SUCCESS ? s : b.hive->values(id, some);
        });
        if (st == ERROR_FILE_NOT_FOUND) continue;
        if (st != ERROR_SUCCESS) return st;
        any = true;
        for (ValueRecord& v : some)
            if (seen.insert(foldName(v.name)).second) out.push_back(std::move(v));
    }
    return !any && openedBelowARoot(bs) ? ERROR_KEY_DELETED : ERROR_SUCCESS;
}

// Runs `work(binding, keyId)` on each binding whose key exists, in order,
// until one gives something other than ERROR_FILE_NOT_FOUND: a value or a
// subkey of a merged view is looked for in every hive.
template <class F> LSTATUS onEachExisting(const std::vector<Binding>& bs, Access access, F&& work) {
    LSTATUS last = ERROR_FILE_NOT_FOUND;
    for (const Binding& b : bs) {
        const LSTATUS st = b.hive->run(access, [&]() -> LSTATUS {
            int64_t id = 0;
            const LSTATUS s = locate(b, id);
            return s != ERROR_SUCCESS ? s : work(b, id);
        });
        if (st != ERROR_FILE_NOT_FOUND) return st;
        last = st;
    }
    return last;
}

// Copies a registry string into a caller's buffer of `*cch` characters.
LSTATUS copyName(const std::string& name, LPSTR buf, LPDWORD cch) {
    if (name.size() + 1 > *cch) return ERROR_MORE_DATA;
    std::memcpy(buf, name.c_str(), name.size() + 1);
    *cch = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}

// A key's class name into a caller's buffer (lpClass may be null: only the
// length is asked); ERROR_MORE_DATA when it does not fit.
LSTATUS copyClass(const std::string& cls, LPSTR buf, LPDWORD cch) {
    if (!cch) return ERROR_SUCCESS;
    if (buf) {
        if (cls.size() + 1 > *cch) {
            *cch = static_cast<DWORD>(cls.size());
            return ERROR_MORE_DATA;
        }
        std::memcpy(buf, cls.c_str(), cls.size() + 1);
    }
    *cch = static_cast<DWORD>(cls.size());
    return ERROR_SUCCESS;
}

FILETIME toFileTime(int64_t t) {
    return FILETIME{static_cast<DWORD>(uint64_t(t) & 0xFFFFFFFFu),
                    static_cast<DWORD>(uint64_t(t) >> 32)};
}

// Hands a value's type and data to a caller: ERROR_MORE_DATA with the size
// needed when the buffer is too small, and nothing written to it then.
LSTATUS deliverValue(const ValueRecord& v, LPDWORD type, LPBYTE data, LPDWORD cbData) {
    if (type) *type = v.type;
    if (!cbData) return ERROR_SUCCESS;
    const auto size = static_cast<DWORD>(v.data.size());
    if (data) {
        if (*cbData < size) {
            *cbData = size;
            return ERROR_MORE_DATA;
        }
        std::memcpy(data, v.data.data(), size);
        // A string stored without its terminator gets one in the buffer
        // when there is room for it, as Windows gives it; the size stays the
        // stored one.
        const bool string = v.type == REG_SZ || v.type == REG_EXPAND_SZ || v.type == REG_MULTI_SZ;
        if (string && *cbData > size && (size == 0 || v.data.back() != '\0')) data[size] = 0;
    }
    *cbData = size;
    return ERROR_SUCCESS;
}

template <class F> LSTATUS guarded(F&& body) noexcept {
    zul::registry::clearErrorDetail();
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    } catch (...) {
        zul::registry::setErrorDetail("unexpected internal failure");
        return ERROR_CANTWRITE;
    }
}

} // namespace

extern "C" {

LSTATUS RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD, REGSAM samDesired, PHKEY phkResult) {
    return guarded([&]() -> LSTATUS {
        if (!phkResult) return ERROR_INVALID_PARAMETER;
        Bindings hold;
        LSTATUS st = keyFor(hKey, 0, hold);
        if (st != ERROR_SUCCESS) return st; // *phkResult untouched, as on Windows
        *phkResult = nullptr;
        // A predefined key opened with no subkey is itself.
        if ((!lpSubKey || !*lpSubKey) && isPredefined(hKey)) {
            *phkResult = canonical(hKey);
            return ERROR_SUCCESS;
        }
        const std::vector<Binding>& bs = *hold;
        // Below the classes root a path may start with backslashes, as on
        // Windows; "\\" alone opens the root itself, as a handle of its own.
        if (canonical(hKey) == HKEY_CLASSES_ROOT && lpSubKey && *lpSubKey == '\\') {
            while (*lpSubKey == '\\')
                ++lpSubKey;
            if (!*lpSubKey) {
                *phkResult = newHandle(std::vector<Binding>(bs), samDesired);
                return ERROR_SUCCESS;
            }
        }
        std::vector<std::string> parts;
        if ((st = splitPath(lpSubKey, parts)) != ERROR_SUCCESS) return st;
        std::vector<Binding> found;
        if ((st = openIn(bs, parts, found)) != ERROR_SUCCESS) return st;
        *phkResult = newHandle(std::move(found), samDesired);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD, LPSTR lpClass, DWORD, REGSAM samDesired,
                        LPSECURITY_ATTRIBUTES, PHKEY phkResult, LPDWORD lpdwDisposition) {
    return guarded([&]() -> LSTATUS {
        if (!phkResult || !lpSubKey) return ERROR_INVALID_PARAMETER;
        Bindings hold;
        LSTATUS st = keyFor(hKey, 0, hold);
        if (st != ERROR_SUCCESS) return st; // *phkResult untouched, as on Windows
        *phkResult = nullptr;
        const std::vector<Binding>& bs = *hold;
        std::vector<std::string> parts;
        if ((st = splitPath(lpSubKey, parts)) != ERROR_SUCCESS) return st;
        std::vector<Binding> found;
        st = openIn(bs, parts, found);
        if (st == ERROR_SUCCESS) {
            if (lpdwDisposition) *lpdwDisposition = REG_OPENED_EXISTING_KEY;
            *phkResult = newHandle(std::move(found), samDesired);
            return ERROR_SUCCESS;
        }
        if (st != ERROR_FILE_NOT_FOUND) return st;
        // The rights asked for the new key are what count, not the parent
        // handle's: Windows checks the key's security, not the handle's
        // access mask, for a call that only names a subkey.
        // New keys go to the last binding (the machine's classes), except
        // below a key of a merged view that the user's hive has: there they
        // go to the user's copy, as Windows stores them.
        const Binding* chosen = &bs.back();
        if (isMergedView(bs) && !isPredefined(hKey)) {
            for (const Binding& b : bs) {
                int64_t id = 0;
                if (b.hive->run(Access::Read, [&] { return locate(b, id); }) == ERROR_SUCCESS) {
                    chosen = &b;
                    break;
                }
            }
        }
        const Binding& target = *chosen;
        const std::string cls = zul::registry::utf8Text(lpClass ? lpClass : "");
        if (target.path.size() + parts.size() > zul::registry::kMaxKeyDepth) {
            zul::registry::setErrorDetail(
                "the key would lie " + std::to_string(target.path.size() + parts.size()) +
                " levels deep; a registry key lies at most " +
                std::to_string(zul::registry::kMaxKeyDepth) + " levels below its root");
            return ERROR_INVALID_PARAMETER;
        }
        int64_t child = 0;
        bool created = false;
        st = target.hive->run(Access::Write, [&]() -> LSTATUS {
            if (target.id != 0) {
                LSTATUS s = target.hive->keyExists(target.id);
                if (s != ERROR_SUCCESS) return s;
                return target.hive->createPath(target.id, parts, child, created, cls);
            }
            std::vector<std::string> full = target.path;
            full.insert(full.end(), parts.begin(), parts.end());
            return target.hive->createPath(kRootKeyId, full, child, created, cls);
        });
        if (st != ERROR_SUCCESS) return st;
        if (lpdwDisposition)
            *lpdwDisposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        if (isMergedView(bs)) {
            // The new key is seen through the merged view like any other.
            std::vector<Binding> merged;
            if ((st = openIn(bs, parts, merged)) != ERROR_SUCCESS) return st;
            *phkResult = newHandle(std::move(merged), samDesired);
        } else {
            *phkResult = newHandle(withPath(target, parts, child), samDesired);
        }
        return ERROR_SUCCESS;
    });
}

LSTATUS RegCloseKey(HKEY hKey) {
    if (isPredefined(hKey)) return ERROR_SUCCESS;
    HandleTable& t = handles();
    {
        std::lock_guard lock(t.mu);
        if (!hKey || !t.live.erase(hKey)) return ERROR_INVALID_HANDLE;
    }
    delete hKey;
    return ERROR_SUCCESS;
}

LSTATUS RegQueryInfoKeyA(HKEY hKey, LPSTR lpClass, LPDWORD lpcchClass, LPDWORD, LPDWORD lpcSubKeys,
                         LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen, LPDWORD lpcValues,
                         LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                         LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime) {
    return guarded([&]() -> LSTATUS {
        if (lpClass && !lpcchClass) return ERROR_INVALID_PARAMETER; // its size is unknown
        Bindings hold;
        LSTATUS st = keyFor(hKey, KEY_QUERY_VALUE, hold);
        if (st != ERROR_SUCCESS) return st;
        const std::vector<Binding>& bs = *hold;
        DWORD subkeys = 0, maxSub = 0, values = 0, maxName = 0, maxValue = 0;
        Hive::KeyMeta meta;
        if (bs.size() == 1 && bs.front().id != 0) {
            const Binding& b = bs.front();
            st = b.hive->run(Access::Read, [&]() -> LSTATUS {
                LSTATUS s = b.hive->keyMeta(b.id, meta);
                if (s != ERROR_SUCCESS) return s;
                return b.hive->keyInfo(b.id, subkeys, maxSub, values, maxName, maxValue);
            });
            if (st != ERROR_SUCCESS) return st;
        } else {
            std::vector<std::string> names;
            if ((st = mergedChildren(bs, names)) != ERROR_SUCCESS) return st;
            subkeys = static_cast<DWORD>(names.size());
            for (const auto& n : names)
                maxSub = std::max<DWORD>(maxSub, static_cast<DWORD>(n.size()));
            // A merged view counts the values of every hive; a single binding
            // its own key's.
            const bool merged = isMergedView(bs);
            DWORD ignoredSub = 0, ignoredMax = 0;
            st = onFirstExisting(bs, Access::Read, [&](const Binding& b, int64_t id) {
                const LSTATUS s = b.hive->keyMeta(id, meta);
                if (s != ERROR_SUCCESS || merged) return s;
                return b.hive->keyInfo(id, ignoredSub, ignoredMax, values, maxName, maxValue);
            });
            if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND) return st;
            if (merged) {
                std::vector<ValueRecord> all;
                if ((st = mergedValues(bs, all)) != ERROR_SUCCESS) return st;
                values = static_cast<DWORD>(all.size());
                maxName = maxValue = 0;
                for (const ValueRecord& v : all) {
                    maxName = std::max<DWORD>(maxName, static_cast<DWORD>(v.name.size()));
                    maxValue =
                        std::max<DWORD>(maxValue, zul::registry::windowsDataSize(v.type, v.data));
                }
            }
        }
        if ((st = copyClass(meta.cls, lpClass, lpcchClass)) != ERROR_SUCCESS) return st;
        if (lpcSubKeys) *lpcSubKeys = subkeys;
        if (lpcbMaxSubKeyLen) *lpcbMaxSubKeyLen = maxSub;
        if (lpcbMaxClassLen) *lpcbMaxClassLen = meta.maxSubkeyClassLen;
        if (lpcValues) *lpcValues = values;
        if (lpcbMaxValueNameLen) *lpcbMaxValueNameLen = maxName;
        if (lpcbMaxValueLen) *lpcbMaxValueLen = maxValue;
        if (lpcbSecurityDescriptor) *lpcbSecurityDescriptor = 0;
        if (lpftLastWriteTime) *lpftLastWriteTime = toFileTime(meta.lastWrite);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName, LPDWORD,
                      LPSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime) {
    return guarded([&]() -> LSTATUS {
        if (!lpName || !lpcchName) return ERROR_INVALID_PARAMETER;
        Bindings hold;
        LSTATUS st = keyFor(hKey, KEY_ENUMERATE_SUB_KEYS, hold);
        if (st != ERROR_SUCCESS) return st;
        const std::vector<Binding>& bs = *hold;
        std::string name;
        if (bs.size() == 1 && bs.front().id != 0) {
            const Binding& b = bs.front();
            st = b.hive->run(Access::Read, [&]() -> LSTATUS {
                LSTATUS s = b.hive->keyExists(b.id);
                if (s != ERROR_SUCCESS) return s;
                return b.hive->childAt(b.id, dwIndex, name);
            });
            if (st != ERROR_SUCCESS) return st;
        } else {
            std::vector<std::string> names;
            if ((st = mergedChildren(bs, names)) != ERROR_SUCCESS) return st;
            if (dwIndex >= names.size()) return ERROR_NO_MORE_ITEMS;
            name = std::move(names[dwIndex]);
        }
        if ((st = copyName(name, lpName, lpcchName)) != ERROR_SUCCESS) return st;
        if (lpcchClass || lpftLastWriteTime) {
            // The child's class and last write, from the first binding that
            // has it.
            Hive::KeyMeta meta;
            std::vector<Binding> child;
            st = openIn(bs, {name}, child);
            if (st == ERROR_SUCCESS) {
                const Binding& c = child.front();
                st = c.hive->run(Access::Read, [&] { return c.hive->keyMeta(c.id, meta); });
            }
            if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND && st != ERROR_KEY_DELETED)
                return st;
            if ((st = copyClass(meta.cls, lpClass, lpcchClass)) != ERROR_SUCCESS) return st;
            if (lpftLastWriteTime) *lpftLastWriteTime = toFileTime(meta.lastWrite);
        }
        return ERROR_SUCCESS;
    });
}

LSTATUS RegEnumValueA(HKEY hKey, DWORD dwIndex, LPSTR lpValueName, LPDWORD lpcchValueName, LPDWORD,
                      LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) {
    return guarded([&]() -> LSTATUS {
        if (!lpValueName || !lpcchValueName || (lpData && !lpcbData))
            return ERROR_INVALID_PARAMETER;
        Bindings hold;
        LSTATUS st = keyFor(hKey, KEY_QUERY_VALUE, hold);
        if (st != ERROR_SUCCESS) return st;
        const std::vector<Binding>& bs = *hold;
        ValueRecord v;
        if (isMergedView(bs)) {
            std::vector<ValueRecord> all;
            if ((st = mergedValues(bs, all)) != ERROR_SUCCESS) return st;
            if (dwIndex >= all.size()) return ERROR_NO_MORE_ITEMS;
            v = std::move(all[dwIndex]);
        } else {
            st = onFirstExisting(bs, Access::Read, [&](const Binding& b, int64_t id) {
                return b.hive->valueAt(id, dwIndex, v);
            });
        }
        if (st == ERROR_FILE_NOT_FOUND && bs.front().id == 0) return ERROR_NO_MORE_ITEMS;
        if (st != ERROR_SUCCESS) return st;
        // As Windows does: whichever buffer is too small, the type and the
        // data size are reported and neither the name nor its length is
        // touched, so a loop that reuses the name length cannot spin.
        const auto size = static_cast<DWORD>(v.data.size());
        const bool nameFits = v.name.size() + 1 <= *lpcchValueName;
        const bool dataFits = !lpData || !lpcbData || *lpcbData >= size;
        if (!nameFits || !dataFits) {
            if (lpType) *lpType = v.type;
            if (lpcbData) *lpcbData = size;
            return ERROR_MORE_DATA;
        }
        copyName(v.name, lpValueName, lpcchValueName);
        return deliverValue(v, lpType, lpData, lpcbData);
    });
}

LSTATUS RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD, LPDWORD lpType, LPBYTE lpData,
                         LPDWORD lpcbData) {
    return guarded([&]() -> LSTATUS {
        if (lpData && !lpcbData) return ERROR_INVALID_PARAMETER;
        Bindings hold;
        LSTATUS st = keyFor(hKey, KEY_QUERY_VALUE, hold);
        if (st != ERROR_SUCCESS) return st;
        const std::vector<Binding>& bs = *hold;
        const std::string fold = foldName(zul::registry::utf8Text(lpValueName ? lpValueName : ""));
        ValueRecord v;
        // A name longer than any a value can have names no value.
        const bool tooLong = !validValueName(lpValueName);
        const auto get = [&](const Binding& b, int64_t id) {
            return b.hive->getValue(id, fold, v);
        };
        st = tooLong            ? ERROR_FILE_NOT_FOUND
             : isMergedView(bs) ? onEachExisting(bs, Access::Read, get)
                                : onFirstExisting(bs, Access::Read, get);
        if (st == ERROR_FILE_NOT_FOUND) {
            // A missing value reports no type, and no size unless a buffer
            // was given (its size is then left as it was), as on Windows.
            if (lpType) *lpType = REG_NONE;
            if (lpcbData && !lpData) *lpcbData = 0;
        }
        if (st != ERROR_SUCCESS) return st;
        return deliverValue(v, lpType, lpData, lpcbData);
    });
}

LSTATUS RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD, DWORD dwType, const BYTE* lpData,
                       DWORD cbData) {
    return guarded([&]() -> LSTATUS {
        if (!lpData && cbData > 0) return ERROR_INVALID_PARAMETER;
        if (!validValueName(lpValueName)) return ERROR_INVALID_PARAMETER;
        Bindings hold;
        LSTATUS st = keyFor(hKey, KEY_SET_VALUE, hold);
        if (st != ERROR_SUCCESS) return st;
        const std::vector<Binding>& bs = *hold;
        std::string data(reinterpret_cast<const char*>(lpData), cbData);
        // String data is stored as given, with one exception Windows makes:
        // a count that leaves out the terminator that follows it in the
        // buffer takes the terminator in. (So the byte after the count is
        // read: a caller passes a string type's buffer with room for it or
        // with its terminator counted.)
        if ((dwType == REG_SZ || dwType == REG_EXPAND_SZ || dwType == REG_MULTI_SZ) && cbData > 0 &&
            lpData[cbData - 1] != 0 && lpData[cbData] == 0)
            data.push_back('\0');
        // Strings are the registry's text (UTF-8; other bytes read as
        // Windows-1252).
        if (dwType == REG_SZ || dwType == REG_EXPAND_SZ || dwType == REG_MULTI_SZ)
            data = zul::registry::utf8Text(data);
        const std::string name = zul::registry::utf8Text(lpValueName ? lpValueName : "");
        st = onFirstExisting(bs, Access::Write, [&](const Binding& b, int64_t id) {
            return b.hive->setValue(id, name, dwType, data);
        });
        if (st == ERROR_FILE_NOT_FOUND && bs.back().id == 0) {
            // A predefined view (the classes root) whose key does not exist yet.
            const Binding& b = bs.back();
            st = b.hive->run(Access::Write, [&]() -> LSTATUS {
                int64_t id = 0;
                bool created = false;
                LSTATUS s = b.hive->createPath(kRootKeyId, b.path, id, created);
                return s != ERROR_SUCCESS ? s : b.hive->setValue(id, name, dwType, data);
            });
        }
        return st;
    });
}

LSTATUS RegDeleteValueA(HKEY hKey, LPCSTR lpValueName) {
    return guarded([&]() -> LSTATUS {
        Bindings hold;
        LSTATUS st = keyFor(hKey, KEY_SET_VALUE, hold);
        if (st != ERROR_SUCCESS) return st;
        const std::vector<Binding>& bs = *hold;
        // A name longer than any a value can have names no value.
        if (!validValueName(lpValueName)) return ERROR_FILE_NOT_FOUND;
        const std::string fold = foldName(zul::registry::utf8Text(lpValueName ? lpValueName : ""));
        const auto del = [&](const Binding& b, int64_t id) {
            return b.hive->deleteValue(id, fold);
        };
        return isMergedView(bs) ? onEachExisting(bs, Access::Write, del)
                                : onFirstExisting(bs, Access::Write, del);
    });
}

namespace {
LSTATUS deleteKeyImpl(HKEY hKey, LPCSTR lpSubKey, bool tree) {
    Bindings hold;
    LSTATUS st = keyFor(hKey, 0, hold);
    if (st != ERROR_SUCCESS) return st;
    const std::vector<Binding>& bs = *hold;
    std::vector<std::string> parts;
    if ((st = splitPath(lpSubKey, parts)) != ERROR_SUCCESS) return st;
    if (!tree && parts.empty() && isPredefined(hKey)) return ERROR_ACCESS_DENIED;
    // With no subkey RegDeleteTree empties the key itself and keeps it.
    const bool includeSelf = !tree || !parts.empty();
    const auto del = [&](const Binding& b, int64_t id) -> LSTATUS {
        int64_t target = 0;
        LSTATUS s = b.hive->resolve(id, parts, target);
        if (s != ERROR_SUCCESS) return s;
        if (target == kRootKeyId && includeSelf) return ERROR_ACCESS_DENIED;
        return tree ? b.hive->deleteTree(target, includeSelf) : b.hive->deleteKey(target);
    };
    // Through a merged view the delete reaches the key it names, in the
    // hive that has it (the user's first).
    return isMergedView(bs) ? onEachExisting(bs, Access::Write, del)
                            : onFirstExisting(bs, Access::Write, del);
}
} // namespace

LSTATUS RegDeleteKeyA(HKEY hKey, LPCSTR lpSubKey) {
    return guarded([&] {
        if (!lpSubKey) return ERROR_INVALID_PARAMETER;
        return deleteKeyImpl(hKey, lpSubKey, false);
    });
}

LSTATUS RegDeleteTreeA(HKEY hKey, LPCSTR lpSubKey) {
    return guarded([&] { return deleteKeyImpl(hKey, lpSubKey, true); });
}

LSTATUS RegOverridePredefKey(HKEY hKey, HKEY hNewHKey) {
    return guarded([&]() -> LSTATUS {
        if (!isPredefined(hKey)) return ERROR_INVALID_HANDLE;
        if (!hNewHKey) {
            HandleTable& t = handles();
            std::lock_guard lock(t.mu);
            t.overrides.erase(hKey);
            return ERROR_SUCCESS;
        }
        Bindings hold;
        const LSTATUS st = keyFor(hNewHKey, 0, hold);
        if (st != ERROR_SUCCESS) return st;
        HandleTable& t = handles();
        std::lock_guard lock(t.mu);
        t.overrides[hKey] = std::move(hold);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegFlushKey(HKEY hKey) {
    // Every commit is already durable (synchronous=FULL): flushing only
    // checks that the key is still there.
    return guarded([&]() -> LSTATUS {
        Bindings hold;
        const LSTATUS st = keyFor(hKey, 0, hold);
        if (st != ERROR_SUCCESS) return st;
        for (const Binding& b : *hold)
            if (b.id != 0)
                return b.hive->run(Access::Read, [&] { return b.hive->keyExists(b.id); });
        return ERROR_SUCCESS;
    });
}

} // extern "C"

namespace zul::registry {

LSTATUS hiveGeneration(HKEY key, uint64_t& generation) {
    return guarded([&]() -> LSTATUS {
        Bindings hold;
        const LSTATUS st = keyFor(key, 0, hold);
        if (st != ERROR_SUCCESS) return st;
        // The first binding: the user's classes for the classes root, the
        // hive itself for the others.
        return hold->front().hive->generation(generation);
    });
}

} // namespace zul::registry
