#include "zul/registry/RegHelper.h"

#include <charconv>
#include <cstring>

CRegHelper::CRegHelper(const char* relativeName, int pathKind) {
    const std::string rel = relativeName ? relativeName : "";
    switch (pathKind) {
    case RegPathCurrentUser:
        root_ = HKEY_CURRENT_USER;
        path_ = rel;
        break;
    case RegPathMachine:
        root_ = HKEY_LOCAL_MACHINE;
        path_ = "Software\\ZUL\\" + rel;
        break;
    case RegPathClassesRoot:
        root_ = HKEY_CLASSES_ROOT;
        path_ = rel;
        break;
    default:
        root_ = HKEY_CURRENT_USER;
        path_ = "Software\\ZUL\\" + rel;
        break;
    }
    while (!path_.empty() && path_.back() == '\\')
        path_.pop_back();
}

CRegHelper::~CRegHelper() {
    closeKey();
}

void CRegHelper::closeKey() {
    if (key_) RegCloseKey(key_);
    key_ = nullptr;
}

LONG CRegHelper::openKey(bool create) {
    if (key_) return ERROR_SUCCESS;
    if (create)
        return RegCreateKeyExA(root_, path_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                               KEY_READ | KEY_WRITE, nullptr, &key_, nullptr);
    return RegOpenKeyExA(root_, path_.c_str(), 0, KEY_READ | KEY_WRITE, &key_);
}

LONG CRegHelper::set(const char* name, DWORD type, const void* data, DWORD size) {
    // A key deleted behind our back (by another helper or process) is created anew once.
    for (int attempt = 0; attempt < 2; ++attempt) {
        LONG st = openKey(true);
        if (st != ERROR_SUCCESS) return st;
        st = RegSetValueExA(key_, name, 0, type, static_cast<const BYTE*>(data), size);
        if (st != ERROR_KEY_DELETED) return st;
        closeKey();
    }
    return ERROR_KEY_DELETED;
}

LONG CRegHelper::get(const char* name, DWORD type, std::string& data) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        LONG st = openKey(false);
        if (st != ERROR_SUCCESS) return st;
        // Most values fit the small buffer: one registry call instead of two.
        BYTE small[256];
        DWORD actual = 0, size = sizeof small;
        st = RegQueryValueExA(key_, name, nullptr, &actual, small, &size);
        if (st == ERROR_KEY_DELETED) {
            closeKey();
            continue;
        }
        if (st != ERROR_SUCCESS && st != ERROR_MORE_DATA) return st;
        if (actual != type && !(type == REG_SZ && actual == REG_EXPAND_SZ))
            return ERROR_UNSUPPORTED_TYPE;
        if (st == ERROR_SUCCESS) {
            data.assign(reinterpret_cast<const char*>(small), size);
            return ERROR_SUCCESS;
        }
        data.resize(size);
        st = RegQueryValueExA(key_, name, nullptr, &actual, reinterpret_cast<BYTE*>(data.data()),
                              &size);
        if (st == ERROR_MORE_DATA || st == ERROR_KEY_DELETED) continue; // changed between the reads
        if (st != ERROR_SUCCESS) return st;
        if (actual != type && !(type == REG_SZ && actual == REG_EXPAND_SZ))
            return ERROR_UNSUPPORTED_TYPE;
        data.resize(size);
        return ERROR_SUCCESS;
    }
    return ERROR_KEY_DELETED;
}

LONG CRegHelper::SetFloat(const char* name, float value) {
    char text[32];
    // Shortest-round-trip formatting would also do, but nine significant
    // digits is the classic "%.9g", locale-independent here.
    const auto r =
        std::to_chars(text, text + sizeof text - 1, value, std::chars_format::general, 9);
    *r.ptr = '\0';
    return set(name, REG_SZ, text, static_cast<DWORD>(r.ptr - text + 1));
}

LONG CRegHelper::GetFloat(const char* name, float& value) {
    std::string data;
    const LONG st = get(name, REG_SZ, data);
    if (st != ERROR_SUCCESS) return st;
    const std::string text(data.c_str()); // up to the terminator
    float v = 0;
    const char* first = text.c_str();
    const char* last = first + text.size();
    if (first != last && *first == '+') ++first;
    const auto r = std::from_chars(first, last, v);
    if (r.ec != std::errc() || r.ptr != last || text.empty()) return ERROR_INVALID_DATA;
    value = v;
    return ERROR_SUCCESS;
}

LONG CRegHelper::SetDWORD(const char* name, DWORD value) {
    return set(name, REG_DWORD, &value, sizeof value);
}

LONG CRegHelper::GetDWORD(const char* name, DWORD& value) {
    std::string data;
    const LONG st = get(name, REG_DWORD, data);
    if (st != ERROR_SUCCESS) return st;
    if (data.size() != sizeof(DWORD)) return ERROR_INVALID_DATA;
    std::memcpy(&value, data.data(), sizeof value);
    return ERROR_SUCCESS;
}

LONG CRegHelper::SetInt(const char* name, int value) {
    return SetDWORD(name, static_cast<DWORD>(value));
}

LONG CRegHelper::GetInt(const char* name, int& value) {
    DWORD v = 0;
    const LONG st = GetDWORD(name, v);
    if (st == ERROR_SUCCESS) value = static_cast<int>(v);
    return st;
}

LONG CRegHelper::SetBOOL(const char* name, BOOL value) {
    return SetDWORD(name, value ? 1u : 0u);
}

LONG CRegHelper::GetBOOL(const char* name, BOOL& value) {
    DWORD v = 0;
    const LONG st = GetDWORD(name, v);
    if (st == ERROR_SUCCESS) value = v != 0 ? TRUE : FALSE;
    return st;
}

LONG CRegHelper::SetString(const char* name, const char* value) {
    if (!value) return ERROR_INVALID_PARAMETER;
    return set(name, REG_SZ, value, static_cast<DWORD>(std::strlen(value) + 1));
}

LONG CRegHelper::GetString(const char* name, std::string& value) {
    std::string data;
    const LONG st = get(name, REG_SZ, data);
    if (st == ERROR_SUCCESS) value = data.c_str();
    return st;
}

LONG CRegHelper::SetBytes(const char* name, const void* data, DWORD count) {
    if (!data && count) return ERROR_INVALID_PARAMETER;
    return set(name, REG_BINARY, data, count);
}

LONG CRegHelper::GetBytes(const char* name, void* data, DWORD count) {
    if (!data && count) return ERROR_INVALID_PARAMETER;
    std::string stored;
    const LONG st = get(name, REG_BINARY, stored);
    if (st != ERROR_SUCCESS) return st;
    if (stored.size() != count) return ERROR_INVALID_DATA;
    std::memcpy(data, stored.data(), count);
    return ERROR_SUCCESS;
}

LONG CRegHelper::DeleteKey() {
    closeKey();
    if (path_.empty()) return ERROR_ACCESS_DENIED; // never a whole root
    return RegDeleteTreeA(root_, path_.c_str());
}
