// What a registry handle is and where it points, for the registry's A
// functions (Api.cpp): the handles in use, the predefined keys' bindings, a
// subkey path split and resolved, the merged view of the classes root, and
// values and names handed to a caller's buffers.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Hive.h"
#include "zul/registry/registry.h"

namespace zul::registry::api {

using zul::registry::foldName;
using zul::registry::Hive;
using zul::registry::kRootKeyId;
using zul::registry::ValueRecord;
using Access = Hive::Access;

struct Binding {
    std::shared_ptr<Hive> hive;
    std::vector<std::string> path; // below the hive's root
    int64_t id = 0;                // 0: resolved from `path` at each call
};

// Shared, immutable: a call takes the handle's bindings with one reference
// count instead of copying them.
using Bindings = std::shared_ptr<const std::vector<Binding>>;

} // namespace zul::registry::api

struct ZulKey {
    zul::registry::api::Bindings bindings;
    REGSAM access = 0;
};

namespace zul::registry::api {

struct HandleTable {
    std::mutex mu;
    std::unordered_set<ZulKey*> live;
    std::unordered_map<HKEY, Bindings> overrides;
    // The predefined keys' bindings for the hive paths in force when made.
    std::string userPath, machinePath;
    pid_t pid = 0; // a forked child opens its own connections
    Bindings user, machine, classes;
};

// MAXIMUM_ALLOWED asks for every right the caller may have: all of them
// here, where a hive's file mode is the only limit (and is checked when a
// write reaches it).
constexpr REGSAM kMaximumAllowed = 0x02000000;

HandleTable& handles();

// A predefined key is known by its low 32 bits too, as on Windows, where a
// handle is often passed through a 32-bit integer and zero-extended:
// (HKEY)(ULONG_PTR)(ULONG)HKEY_CURRENT_USER names the same key.
HKEY canonical(HKEY h);

bool isPredefined(HKEY h);

std::vector<std::string> classesPath();

// The bindings and rights of a handle, or ERROR_INVALID_HANDLE.
LSTATUS bindingsOf(HKEY h, Bindings& out, REGSAM& access);

// The bindings of a handle that holds the rights `needed` (0: any), the
// check every call on a handle begins with: ERROR_INVALID_HANDLE for a handle
// that is not open, ERROR_ACCESS_DENIED for one opened without those rights.
LSTATUS keyFor(HKEY h, REGSAM needed, Bindings& out);

HKEY newHandle(std::vector<Binding> bindings, REGSAM access);

// Splits a subkey path into names. Trailing backslashes, one or more, are
// taken as Windows takes them; a leading one or an empty name inside the
// path is refused (ERROR_BAD_PATHNAME), as is a name over 255 characters.
LSTATUS splitPath(const char* sub, std::vector<std::string>& out);

bool validValueName(const char* name);

// The key of a binding; the caller is inside hive->run().
LSTATUS locate(const Binding& b, int64_t& id);

std::vector<Binding> withPath(const Binding& b, const std::vector<std::string>& parts, int64_t id);

// A merged view (the classes root, and every key opened through it) binds
// by path in each hive, resolved at each call, so that the view stays live:
// a key made in either hive after the handle was opened is seen through it,
// and the handle follows the user's copy once there is one.
bool isMergedView(const std::vector<Binding>& bs);

LSTATUS openIn(const std::vector<Binding>& bs, const std::vector<std::string>& parts,
               std::vector<Binding>& found);

// Whether the bindings are those of a key opened below a root (not of a
// predefined key, whose keys may not exist yet): when its key exists in no
// hive any more, it was deleted.
bool openedBelowARoot(const std::vector<Binding>& bs);

// Sorted, case-insensitively distinct subkey names over all bindings.
LSTATUS mergedChildren(const std::vector<Binding>& bs, std::vector<std::string>& names);

// The values of a merged view: the first binding's (the user's), then the
// others' whose names it lacks, each in its own order.
LSTATUS mergedValues(const std::vector<Binding>& bs, std::vector<ValueRecord>& out);

// Copies a registry string into a caller's buffer of `*cch` characters.
LSTATUS copyName(const std::string& name, LPSTR buf, LPDWORD cch);

// A key's class name into a caller's buffer (lpClass may be null: only the
// length is asked); ERROR_MORE_DATA when it does not fit.
LSTATUS copyClass(const std::string& cls, LPSTR buf, LPDWORD cch);

FILETIME toFileTime(int64_t t);

// Hands a value's type and data to a caller: ERROR_MORE_DATA with the size
// needed when the buffer is too small, and nothing written to it then.
LSTATUS deliverValue(const ValueRecord& v, LPDWORD type, LPBYTE data, LPDWORD cbData);

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

} // namespace zul::registry::api
