// The Win32 registry API subset the module and the tools call. On Windows the
// real functions are used; elsewhere they are served from SQLite hives (see
// Hive.cpp for the storage and README.md for the semantics kept).
#pragma once

#include <string>

#include "zul/com/com.h"

#ifndef _WIN32

struct ZulKey;
using HKEY = ZulKey*;
using PHKEY = HKEY*;
using LSTATUS = LONG;
using REGSAM = DWORD;
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
using PFILETIME = FILETIME*;
using LPSECURITY_ATTRIBUTES = void*;

#define ZUL_PREDEF_KEY(v) reinterpret_cast<HKEY>(static_cast<intptr_t>(static_cast<LONG>(v)))
#define HKEY_CLASSES_ROOT ZUL_PREDEF_KEY(0x80000000u)
#define HKEY_CURRENT_USER ZUL_PREDEF_KEY(0x80000001u)
#define HKEY_LOCAL_MACHINE ZUL_PREDEF_KEY(0x80000002u)

constexpr LSTATUS ERROR_SUCCESS = 0;
constexpr LSTATUS ERROR_FILE_NOT_FOUND = 2;
constexpr LSTATUS ERROR_ACCESS_DENIED = 5;
constexpr LSTATUS ERROR_INVALID_HANDLE = 6;
constexpr LSTATUS ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LSTATUS ERROR_INVALID_DATA = 13;
constexpr LSTATUS ERROR_OUTOFMEMORY = 14;
constexpr LSTATUS ERROR_WRITE_FAULT = 29;
constexpr LSTATUS ERROR_NOT_SUPPORTED = 50;
constexpr LSTATUS ERROR_INVALID_PARAMETER = 87;
constexpr LSTATUS ERROR_BAD_PATHNAME = 161;
constexpr LSTATUS ERROR_MORE_DATA = 234;
constexpr LSTATUS ERROR_NO_MORE_ITEMS = 259;
constexpr LSTATUS ERROR_BADDB = 1009;
constexpr LSTATUS ERROR_BADKEY = 1010;
constexpr LSTATUS ERROR_CANTOPEN = 1011;
constexpr LSTATUS ERROR_CANTREAD = 1012;
constexpr LSTATUS ERROR_CANTWRITE = 1013;
constexpr LSTATUS ERROR_REGISTRY_CORRUPT = 1015;
constexpr LSTATUS ERROR_KEY_DELETED = 1018;
constexpr LSTATUS ERROR_CHILD_MUST_BE_VOLATILE = 1021;
constexpr LSTATUS ERROR_UNSUPPORTED_TYPE = 1630;
constexpr LSTATUS ERROR_BUSY = 170;

constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
constexpr DWORD REG_LINK = 6;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_QWORD = 11;

constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
constexpr REGSAM KEY_NOTIFY = 0x0010;
constexpr REGSAM KEY_CREATE_LINK = 0x0020;
constexpr REGSAM KEY_WOW64_64KEY = 0x0100;
constexpr REGSAM KEY_WOW64_32KEY = 0x0200;
constexpr REGSAM DELETE = 0x00010000;
constexpr REGSAM READ_CONTROL = 0x00020000;
constexpr REGSAM KEY_READ = 0x00020019;
constexpr REGSAM KEY_WRITE = 0x00020006;
constexpr REGSAM KEY_EXECUTE = KEY_READ;
constexpr REGSAM KEY_ALL_ACCESS = 0x000F003F;

constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_OPTION_VOLATILE = 1;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

extern "C" {
#pragma GCC visibility push(default)
LSTATUS RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                      PHKEY phkResult);
LSTATUS RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD Reserved, LPSTR lpClass, DWORD dwOptions,
                        REGSAM samDesired, LPSECURITY_ATTRIBUTES lpSecurityAttributes,
                        PHKEY phkResult, LPDWORD lpdwDisposition);
LSTATUS RegCloseKey(HKEY hKey);
LSTATUS RegQueryInfoKeyA(HKEY hKey, LPSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
                         LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
                         LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                         LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime);
LSTATUS RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved,
                      LPSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime);
LSTATUS RegEnumValueA(HKEY hKey, DWORD dwIndex, LPSTR lpValueName, LPDWORD lpcchValueName,
                      LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);
LSTATUS RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                         LPBYTE lpData, LPDWORD lpcbData);
LSTATUS RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD Reserved, DWORD dwType,
                       const BYTE* lpData, DWORD cbData);
LSTATUS RegDeleteValueA(HKEY hKey, LPCSTR lpValueName);
LSTATUS RegDeleteKeyA(HKEY hKey, LPCSTR lpSubKey);
LSTATUS RegDeleteTreeA(HKEY hKey, LPCSTR lpSubKey);
LSTATUS RegOverridePredefKey(HKEY hKey, HKEY hNewHKey);
LSTATUS RegFlushKey(HKEY hKey);
#pragma GCC visibility pop
}

#endif // !_WIN32

namespace zul::registry {

// Longest key name component and value name, in characters.
constexpr size_t kMaxKeyNameLength = 255;
// The deepest a key may lie below its hive's root, as in the Windows
// registry; creating a key deeper fails with ERROR_INVALID_PARAMETER.
constexpr size_t kMaxKeyDepth = 512;
constexpr size_t kMaxValueNameLength = 16383;

// The detailed reason of the last failing call on this thread (the hive file
// and what SQLite or the file system said), or empty. A status alone cannot
// name the file, and a user needs to know which one is damaged.
ZUL_PLATFORM_API std::string lastErrorDetail();

// "ERROR_FILE_NOT_FOUND: the key or value does not exist" for a status.
ZUL_PLATFORM_API std::string describeStatus(LSTATUS status);

// Splits "HKEY_CURRENT_USER\Software\ZUL" (also "HKCU\...", any case) into a
// predefined key and the rest; false for an unknown root.
ZUL_PLATFORM_API bool splitRootPath(const std::string& path, HKEY& root, std::string& subPath);
// The canonical root name of a predefined key ("HKEY_CURRENT_USER"), or "".
ZUL_PLATFORM_API const char* rootName(HKEY root);

// A number that changes whenever another process commits to the hive holding
// `key` (this process's own writes leave it as it is). A cache of what this
// process read compares it with the number it saw last; inside a Transaction
// it does not change. ERROR_SUCCESS and 0 for a hive file that does not exist
// yet.
ZUL_PLATFORM_API LSTATUS hiveGeneration(HKEY key, uint64_t& generation);

// Hive files in use now (the environment is read at each call, so tests can
// point the registry at temporary files).
ZUL_PLATFORM_API std::string userHivePath();
ZUL_PLATFORM_API std::string machineHivePath();

} // namespace zul::registry
