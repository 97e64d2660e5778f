// The host's registry helper: one key, typed values.
#pragma once

#include <string>

#include "zul/registry/registry.h"

// Where a helper's relative key name is rooted.
enum RegPathKind : int {
    RegPathCurrentUser = 0,  // HKEY_CURRENT_USER\<name>
    RegPathMachine = 1,      // HKEY_LOCAL_MACHINE\Software\ZUL\<name>
    RegPathClassesRoot = 2,  // HKEY_CLASSES_ROOT\<name>
    RegPathUserSettings = 3, // HKEY_CURRENT_USER\Software\ZUL\<name>: the per-user settings
};

// A key named relative to a settings root, with typed values. The key is
// created by the first write and never by a read. Every call returns 0
// (ERROR_SUCCESS) on success and a Win32 error otherwise, and changes nothing
// when it fails. A typed read of a value stored with another type fails with
// ERROR_UNSUPPORTED_TYPE and leaves the output untouched.
//
// Value types: SetFloat writes REG_SZ text ("%.9g", which reads back to the
// same float bit for bit and stays readable in an export), SetInt/SetDWORD/
// SetBOOL write REG_DWORD, SetString REG_SZ, SetBytes REG_BINARY.
class ZUL_PLATFORM_API CRegHelper {
public:
    CRegHelper(const char* relativeName, int pathKind);
    ~CRegHelper();
    CRegHelper(const CRegHelper&) = delete;
    CRegHelper& operator=(const CRegHelper&) = delete;

    // The predefined key the path is under, and the path below it
    // ("Software\ZUL\KRAdvancedViews2"), for the registry functions.
    HKEY GetRootKey() const { return root_; }
    const std::string& GetRegPath() const { return path_; }

    LONG SetFloat(const char* name, float value);
    LONG GetFloat(const char* name, float& value);
    LONG SetInt(const char* name, int value);
    LONG GetInt(const char* name, int& value);
    LONG SetDWORD(const char* name, DWORD value);
    LONG GetDWORD(const char* name, DWORD& value);
    LONG SetBOOL(const char* name, BOOL value);
    LONG GetBOOL(const char* name, BOOL& value);
    LONG SetString(const char* name, const char* value);
    LONG GetString(const char* name, std::string& value);
    // `count` raw bytes; a read fails with ERROR_INVALID_DATA when the stored
    // value has another size.
    LONG SetBytes(const char* name, const void* data, DWORD count);
    LONG GetBytes(const char* name, void* data, DWORD count);

    // Deletes the key with its values and any subkeys; ERROR_FILE_NOT_FOUND
    // when it does not exist.
    LONG DeleteKey();

private:
    LONG set(const char* name, DWORD type, const void* data, DWORD size);
    LONG get(const char* name, DWORD type, std::string& data);
    LONG openKey(bool create);
    void closeKey();

    HKEY root_ = nullptr;
    std::string path_;
    HKEY key_ = nullptr;
};
