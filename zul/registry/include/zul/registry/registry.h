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
// The Win32 registry's A functions, as Windows answers them (names and
// string data are UTF-8; other bytes are read as Windows-1252, see Text.h).
// Every call on a handle answers ERROR_INVALID_HANDLE for a handle that is
// not open (outputs untouched), ERROR_ACCESS_DENIED for one opened without
// the right the call needs (and for any write to a read-only hive),
// ERROR_KEY_DELETED once the handle's key was deleted, ERROR_BADDB for a
// hive that is damaged or not a hive (never written to; lastErrorDetail()
// names it and its backup), ERROR_CANTOPEN, ERROR_CANTREAD or
// ERROR_CANTWRITE when the hive file cannot be opened, read or written (a
// full disk included), ERROR_BUSY when another process held the hive past
// the wait, and ERROR_OUTOFMEMORY. A call that fails changes nothing stored.

// Opens the key `lpSubKey` below `hKey` (a predefined key alone with no
// subkey; below the classes root a path may start with backslashes) with
// the rights `samDesired` (MAXIMUM_ALLOWED: all), into *phkResult (set to
// null on failure, untouched on an invalid handle). ERROR_FILE_NOT_FOUND:
// no such key; ERROR_BAD_PATHNAME: a path starting with a backslash or with
// an empty name inside; ERROR_INVALID_PARAMETER: no phkResult, a name over
// 255 characters.
LSTATUS RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                      PHKEY phkResult);
// Opens `lpSubKey` below `hKey`, creating it and the keys above it that are
// missing (the last one with class `lpClass`); *lpdwDisposition says
// REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY. Needs no right on `hKey`
// beyond its being open, as on Windows. ERROR_INVALID_PARAMETER: no
// phkResult or lpSubKey, a name over 255 characters, a key deeper than 512
// levels; ERROR_BAD_PATHNAME as RegOpenKeyExA.
LSTATUS RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD Reserved, LPSTR lpClass, DWORD dwOptions,
                        REGSAM samDesired, LPSECURITY_ATTRIBUTES lpSecurityAttributes,
                        PHKEY phkResult, LPDWORD lpdwDisposition);
// Closes a handle (a predefined key: nothing to close). ERROR_INVALID_HANDLE
// for one that is not open.
LSTATUS RegCloseKey(HKEY hKey);
// What a key holds (needs KEY_QUERY_VALUE); each output is optional. Counts
// of subkeys and values; the longest subkey name, subkey class and value
// name in characters; the longest value data in bytes, strings counted in
// UTF-16 as Windows stores them; the key's class (copied with its
// terminator when it fits in *lpcchClass characters, which then gets its
// length; else ERROR_MORE_DATA with the length needed) and last-write time.
// ERROR_INVALID_PARAMETER: a class buffer without its length (untouched).
LSTATUS RegQueryInfoKeyA(HKEY hKey, LPSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
                         LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
                         LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                         LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime);
// The name of subkey `dwIndex` in upper-case order (needs
// KEY_ENUMERATE_SUB_KEYS), with its class and last-write time when asked.
// *lpcchName: the buffer's size in, the name's length out. ERROR_MORE_DATA:
// the name does not fit (nothing written); ERROR_NO_MORE_ITEMS: past the
// last; ERROR_INVALID_PARAMETER: no name buffer or size.
LSTATUS RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved,
                      LPSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime);
// Value `dwIndex`, in the order the values were first set (needs
// KEY_QUERY_VALUE): its name (as RegEnumKeyExA), type and data (as
// RegQueryValueExA). A buffer too small for the data: ERROR_MORE_DATA with
// the type and the size needed, the name left alone.
LSTATUS RegEnumValueA(HKEY hKey, DWORD dwIndex, LPSTR lpValueName, LPDWORD lpcchValueName,
                      LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);
// The type and data of value `lpValueName` (null or "": the default value;
// needs KEY_QUERY_VALUE). *lpcbData: the buffer's size in, the data's size
// out; with no buffer, just the size. A string stored without its
// terminator gets one in the buffer when there is room (the size stays the
// stored one). ERROR_MORE_DATA: the buffer is too small (*lpcbData gets the
// size needed, nothing is written to the buffer); ERROR_FILE_NOT_FOUND: no
// such value (a name over 16,383 characters included): the type becomes
// REG_NONE and, when no buffer was given, the size 0; ERROR_INVALID_PARAMETER:
// a buffer without its size.
LSTATUS RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                         LPBYTE lpData, LPDWORD lpcbData);
// Sets value `lpValueName` to `cbData` bytes of `lpData` of type `dwType`
// (needs KEY_SET_VALUE); an existing value keeps its place and the case of
// its name. String data is stored as given, as the registry's text; a count
// that leaves out the terminator that follows it takes it in.
// ERROR_INVALID_PARAMETER: data missing for a count, a name over 16,383
// characters.
LSTATUS RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD Reserved, DWORD dwType,
                       const BYTE* lpData, DWORD cbData);
// Deletes a value (needs KEY_SET_VALUE). ERROR_FILE_NOT_FOUND: no such
// value.
LSTATUS RegDeleteValueA(HKEY hKey, LPCSTR lpValueName);
// Deletes `lpSubKey` below `hKey` when it has no subkeys of its own.
// ERROR_ACCESS_DENIED: it has subkeys, or it is a predefined key;
// ERROR_FILE_NOT_FOUND: no such key; ERROR_INVALID_PARAMETER: no subkey.
LSTATUS RegDeleteKeyA(HKEY hKey, LPCSTR lpSubKey);
// Deletes `lpSubKey` with everything below it; with no subkey, empties
// `hKey` (its subkeys and values) and keeps it. ERROR_FILE_NOT_FOUND: no
// such key.
LSTATUS RegDeleteTreeA(HKEY hKey, LPCSTR lpSubKey);
// Makes predefined key `hKey` stand for the open key `hNewHKey` in this
// process (null: itself again). ERROR_INVALID_HANDLE: `hKey` is not
// predefined or `hNewHKey` not open.
LSTATUS RegOverridePredefKey(HKEY hKey, HKEY hNewHKey);
// Every change is durable when its call returns: flushing only checks that
// the key is still there (ERROR_KEY_DELETED when it is not).
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
