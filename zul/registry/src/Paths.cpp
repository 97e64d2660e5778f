#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Hive.h"
#include "zul/registry/registry.h"

namespace zul::registry {

namespace {
std::string envOr(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : fallback;
}
std::string homeDir() {
    if (const char* h = std::getenv("HOME"); h && *h) return h;
    if (const passwd* pw = getpwuid(getuid())) return pw->pw_dir;
    return ".";
}
} // namespace

std::string userHivePath() {
    if (const char* v = std::getenv("ZUL_USER_HIVE"); v && *v) return v;
    return envOr("XDG_CONFIG_HOME", homeDir() + "/.config") + "/zul/user-registry.db";
}

std::string machineHivePath() {
    return envOr("ZUL_MACHINE_HIVE", "/var/lib/zul/machine-registry.db");
}

const char* rootName(HKEY root) {
    if (root == HKEY_CURRENT_USER) return "HKEY_CURRENT_USER";
    if (root == HKEY_LOCAL_MACHINE) return "HKEY_LOCAL_MACHINE";
    if (root == HKEY_CLASSES_ROOT) return "HKEY_CLASSES_ROOT";
    return "";
}

bool splitRootPath(const std::string& path, HKEY& root, std::string& subPath) {
    const size_t slash = path.find('\\');
    const std::string head = foldName(path.substr(0, slash));
    if (head == "HKEY_CURRENT_USER" || head == "HKCU")
        root = HKEY_CURRENT_USER;
    else if (head == "HKEY_LOCAL_MACHINE" || head == "HKLM")
        root = HKEY_LOCAL_MACHINE;
    else if (head == "HKEY_CLASSES_ROOT" || head == "HKCR")
        root = HKEY_CLASSES_ROOT;
    else
        return false;
    subPath = slash == std::string::npos ? std::string() : path.substr(slash + 1);
    return true;
}

std::string describeStatus(LSTATUS status) {
    switch (status) {
    case ERROR_SUCCESS:
        return "ERROR_SUCCESS: the operation completed";
    case ERROR_FILE_NOT_FOUND:
        return "ERROR_FILE_NOT_FOUND: the key or value does not exist";
    case ERROR_ACCESS_DENIED:
        return "ERROR_ACCESS_DENIED: access is denied";
    case ERROR_INVALID_HANDLE:
        return "ERROR_INVALID_HANDLE: the key handle is not open";
    case ERROR_OUTOFMEMORY:
    case ERROR_NOT_ENOUGH_MEMORY:
        return "ERROR_OUTOFMEMORY: not enough memory";
    case ERROR_INVALID_DATA:
        return "ERROR_INVALID_DATA: the data is not valid";
    case ERROR_INVALID_PARAMETER:
        return "ERROR_INVALID_PARAMETER: a parameter is not valid";
    case ERROR_BAD_PATHNAME:
        return "ERROR_BAD_PATHNAME: the key path is not valid";
    case ERROR_MORE_DATA:
        return "ERROR_MORE_DATA: the buffer is too small";
    case ERROR_NO_MORE_ITEMS:
        return "ERROR_NO_MORE_ITEMS: no more entries";
    case ERROR_BADDB:
        return "ERROR_BADDB: the registry hive is damaged or not a hive";
    case ERROR_CANTOPEN:
        return "ERROR_CANTOPEN: the registry hive cannot be opened";
    case ERROR_CANTREAD:
        return "ERROR_CANTREAD: the registry hive cannot be read";
    case ERROR_CANTWRITE:
        return "ERROR_CANTWRITE: the registry hive cannot be written";
    case ERROR_KEY_DELETED:
        return "ERROR_KEY_DELETED: the key was deleted";
    case ERROR_UNSUPPORTED_TYPE:
        return "ERROR_UNSUPPORTED_TYPE: the value has another type";
    case ERROR_BUSY:
        return "ERROR_BUSY: the registry hive stayed locked by another process";
    default:
        return "error " + std::to_string(status);
    }
}

} // namespace zul::registry
