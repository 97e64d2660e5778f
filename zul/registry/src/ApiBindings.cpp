#include "ApiBindings.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <pwd.h>
#include <unistd.h>

#include "zul/registry/Text.h"

namespace zul::registry::api {

HandleTable& handles() {
    static auto* table = new HandleTable; // handles may be closed during static destruction
    return *table;
}

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

LSTATUS keyFor(HKEY h, REGSAM needed, Bindings& out) {
    REGSAM access = 0;
    const LSTATUS st = bindingsOf(h, out, access);
    if (st != ERROR_SUCCESS) return st;
    return (access & needed) == needed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

HKEY newHandle(std::vector<Binding> bindings, REGSAM access) {
    if (access & kMaximumAllowed) access |= KEY_ALL_ACCESS;
    auto* key =
        new ZulKey{std::make_shared<const std::vector<Binding>>(std::move(bindings)), access};
    HandleTable& t = handles();
    std::lock_guard lock(t.mu);
    t.live.insert(key);
    return key;
}

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

LSTATUS locate(const Binding& b, int64_t& id) {
    if (b.id != 0) {
        id = b.id;
        return b.hive->keyExists(b.id);
    }
    return b.hive->resolve(kRootKeyId, b.path, id);
}

std::vector<Binding> withPath(const Binding& b, const std::vector<std::string>& parts, int64_t id) {
    std::vector<std::string> path = b.path;
    path.insert(path.end(), parts.begin(), parts.end());
    return {Binding{b.hive, std::move(path), id}};
}

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

bool openedBelowARoot(const std::vector<Binding>& bs) {
    return !bs.empty() && (bs.front().id != 0 || bs.front().path.size() > classesPath().size());
}

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

LSTATUS copyName(const std::string& name, LPSTR buf, LPDWORD cch) {
    if (name.size() + 1 > *cch) return ERROR_MORE_DATA;
    std::memcpy(buf, name.c_str(), name.size() + 1);
    *cch = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}

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

} // namespace zul::registry::api
