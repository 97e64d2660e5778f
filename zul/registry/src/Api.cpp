// The Win32 registry functions over SQLite hives.
//
// A handle binds to one key in one hive; a handle below HKEY_CLASSES_ROOT may
// bind to the same path in the user hive and the machine hive at once. Reads
// take the first binding whose key exists (the user's), enumeration of subkeys
// merges the bindings, and new keys go to the last binding (the machine),
// which is how the classes root behaves on Windows. What a handle is and
// where it points: ApiBindings.h.

#include <algorithm>
#include <cstring>
#include <mutex>

#include "ApiBindings.h"
#include "zul/registry/Text.h"

using namespace zul::registry::api;

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
