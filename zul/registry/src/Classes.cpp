#include "zul/registry/Classes.h"

#include "Hive.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>

namespace zul::registry {

namespace {

constexpr const char* kImplemented = "Implemented Categories";
constexpr const char* kCategories = "Component Categories";
constexpr const char* kTypeLibs = "TypeLib";

std::string guidText(const GUID& g) {
    char text[39];
    zul::com::formatGuid(g, text);
    return text;
}

// Closes a key on every exit path.
struct Key {
    HKEY h = nullptr;
    ~Key() {
        if (h) RegCloseKey(h);
    }
    Key() = default;
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
};

LSTATUS setText(HKEY root, const std::string& path, const char* name, const std::string& text) {
    Key k;
    LSTATUS st = RegCreateKeyExA(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                                 nullptr, &k.h, nullptr);
    if (st != ERROR_SUCCESS) return st;
    return RegSetValueExA(k.h, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1));
}

// A string value of `path`; ERROR_FILE_NOT_FOUND when the key or value is missing.
LSTATUS getText(HKEY root, const std::string& path, const char* name, std::string& out) {
    Key k;
    LSTATUS st = RegOpenKeyExA(root, path.c_str(), 0, KEY_QUERY_VALUE, &k.h);
    if (st != ERROR_SUCCESS) return st;
    DWORD type = 0, size = 0;
    st = RegQueryValueExA(k.h, name, nullptr, &type, nullptr, &size);
    if (st != ERROR_SUCCESS) return st;
    if (type != REG_SZ && type != REG_EXPAND_SZ) return ERROR_INVALID_DATA;
    std::string data(size, '\0');
    st = RegQueryValueExA(k.h, name, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size);
    if (st != ERROR_SUCCESS) return st;
    data.resize(std::min<size_t>(size, data.size()));
    while (!data.empty() && data.back() == '\0')
        data.pop_back();
    out = std::move(data);
    return ERROR_SUCCESS;
}

LSTATUS deleteTree(HKEY root, const std::string& path) {
    const LSTATUS st = RegDeleteTreeA(root, path.c_str());
    return st == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : st;
}

// Subkey names of `path`; an absent key has none.
LSTATUS subkeys(HKEY root, const std::string& path, std::vector<std::string>& out) {
    out.clear();
    Key k;
    LSTATUS st =
        RegOpenKeyExA(root, path.empty() ? nullptr : path.c_str(), 0, KEY_ENUMERATE_SUB_KEYS, &k.h);
    if (st == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (st != ERROR_SUCCESS) return st;
    char name[kMaxKeyNameLength * 4 + 1];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof name;
        st = RegEnumKeyExA(k.h, i, name, &cch, nullptr, nullptr, nullptr, nullptr);
        if (st == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
        if (st != ERROR_SUCCESS) return st;
        out.emplace_back(name, cch);
    }
}

bool keyExists(HKEY root, const std::string& path) {
    Key k;
    return RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &k.h) == ERROR_SUCCESS;
}

// Deletes `path` when it has neither subkeys nor values: a shared parent key
// that registration created goes with its last entry.
LSTATUS deleteIfEmpty(HKEY root, const std::string& path) {
    Key k;
    LSTATUS st = RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &k.h);
    if (st == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (st != ERROR_SUCCESS) return st;
    DWORD keys = 0, values = 0;
    st = RegQueryInfoKeyA(k.h, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                          nullptr, nullptr, nullptr);
    if (st != ERROR_SUCCESS) return st;
    if (keys || values) return ERROR_SUCCESS;
    st = RegDeleteKeyA(root, path.c_str());
    return st == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : st;
}

// Key names cannot hold '\' and should not hold control characters.
void sanitize(std::string& s) {
    for (char& c : s)
        if (c == '\\' ||
            (static_cast<unsigned char>(c) >= 1 && static_cast<unsigned char>(c) <= 31))
            c = '_';
}

} // namespace

std::string productName(const std::string& folder) {
    std::string product;
    if (std::ifstream in(folder + "/DLLPROD.TXT"); in && std::getline(in, product)) {
        const auto notSpace = [](unsigned char c) { return !std::isspace(c); };
        product.erase(product.begin(), std::find_if(product.begin(), product.end(), notSpace));
        product.erase(std::find_if(product.rbegin(), product.rend(), notSpace).base(),
                      product.end());
    }
    if (product.empty()) product = "ZUL";
    if (const char* dev = std::getenv("ZUL_DEVELOPER_ENV"); dev && *dev)
        product += std::string("_") + dev;
    sanitize(product);
    // Cut on a character boundary so a UTF-8 name stays valid.
    if (product.size() > kMaxKeyNameLength) {
        size_t cut = kMaxKeyNameLength;
        while (cut > 0 && (static_cast<unsigned char>(product[cut]) & 0xC0) == 0x80)
            --cut;
        product.resize(cut);
    }
    return product;
}

LSTATUS registerClass(HKEY root, const std::string& product, const ClassRegistration& cls,
                      const std::string& modulePath) {
    if (product.empty() || cls.progId.empty() || cls.versionIndependentProgId.empty() ||
        modulePath.empty())
        return ERROR_INVALID_PARAMETER;
    const std::string clsid = guidText(cls.clsid);
    const std::string classKey = product + "\\" + clsid;
    LSTATUS st;
    if ((st = setText(root, cls.progId, "", cls.description)) != ERROR_SUCCESS ||
        (st = setText(root, cls.progId + "\\CLSID", "", clsid)) != ERROR_SUCCESS ||
        (st = setText(root, cls.versionIndependentProgId, "", cls.description)) != ERROR_SUCCESS ||
        (st = setText(root, cls.versionIndependentProgId + "\\CLSID", "", clsid)) !=
            ERROR_SUCCESS ||
        (st = setText(root, cls.versionIndependentProgId + "\\CurVer", "", cls.progId)) !=
            ERROR_SUCCESS)
        return st;
    // The class key is replaced as a whole, so nothing of an older
    // registration (a category the class left, say) survives.
    if ((st = deleteTree(root, classKey)) != ERROR_SUCCESS ||
        (st = setText(root, classKey, "", cls.classText)) != ERROR_SUCCESS ||
        (st = setText(root, classKey + "\\ProgID", "", cls.progId)) != ERROR_SUCCESS ||
        (st = setText(root, classKey + "\\VersionIndependentProgID", "",
                      cls.versionIndependentProgId)) != ERROR_SUCCESS ||
        (st = setText(root, classKey + "\\InprocServer32", "", modulePath)) != ERROR_SUCCESS ||
        (st = setText(root, classKey + "\\InprocServer32", "ThreadingModel", cls.threadingModel)) !=
            ERROR_SUCCESS)
        return st;
    if (cls.typeLib &&
        (st = setText(root, classKey + "\\TypeLib", "", guidText(*cls.typeLib))) != ERROR_SUCCESS)
        return st;
    for (const GUID& cat : cls.categories) {
        Key k;
        const std::string path = classKey + "\\" + kImplemented + "\\" + guidText(cat);
        if ((st = RegCreateKeyExA(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_WRITE, nullptr, &k.h, nullptr)) != ERROR_SUCCESS)
            return st;
    }
    return ERROR_SUCCESS;
}

LSTATUS unregisterClass(HKEY root, const std::string& product, REFCLSID clsid) {
    if (product.empty()) return ERROR_INVALID_PARAMETER;
    const std::string classKey = product + "\\" + guidText(clsid);
    for (const char* which : {"ProgID", "VersionIndependentProgID"}) {
        std::string progId;
        if (getText(root, classKey + "\\" + which, "", progId) != ERROR_SUCCESS || progId.empty())
            continue;
        // A programmatic identifier that another class took over since stays.
        std::string named;
        GUID g{};
        if (getText(root, progId + "\\CLSID", "", named) == ERROR_SUCCESS &&
            zul::com::parseGuid(named.c_str(), g) && g == clsid) {
            if (const LSTATUS st = deleteTree(root, progId); st != ERROR_SUCCESS) return st;
        }
    }
    return deleteTree(root, classKey);
}

LSTATUS registerCategory(HKEY root, REFGUID catid, const std::string& englishName) {
    return setText(root, std::string(kCategories) + "\\" + guidText(catid), "409", englishName);
}

LSTATUS unregisterCategoryIfUnused(HKEY root, REFGUID catid) {
    const std::string cat = guidText(catid);
    std::vector<std::string> tops, classes;
    LSTATUS st = subkeys(root, "", tops);
    if (st != ERROR_SUCCESS) return st;
    for (const std::string& top : tops) {
        if ((st = subkeys(root, top, classes)) != ERROR_SUCCESS) return st;
        for (const std::string& c : classes) {
            GUID g{};
            if (zul::com::parseGuid(c.c_str(), g) &&
                keyExists(root, top + "\\" + c + "\\" + kImplemented + "\\" + cat))
                return ERROR_SUCCESS;
        }
    }
    if ((st = deleteTree(root, std::string(kCategories) + "\\" + cat)) != ERROR_SUCCESS) return st;
    return deleteIfEmpty(root, kCategories);
}

LSTATUS registerTypeLib(HKEY root, REFGUID libid, const std::string& name,
                        const std::string& modulePath) {
    const std::string key = std::string(kTypeLibs) + "\\" + guidText(libid) + "\\1.0";
    const size_t slash = modulePath.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : modulePath.substr(0, slash);
    LSTATUS st;
    if ((st = setText(root, key, "", name)) != ERROR_SUCCESS ||
        (st = setText(root, key + "\\FLAGS", "", "0")) != ERROR_SUCCESS ||
        (st = setText(root, key + "\\HELPDIR", "", folder)) != ERROR_SUCCESS)
        return st;
    return setText(root, key + "\\0\\linux", "", modulePath);
}

LSTATUS unregisterTypeLib(HKEY root, REFGUID libid) {
    const LSTATUS st = deleteTree(root, std::string(kTypeLibs) + "\\" + guidText(libid));
    return st != ERROR_SUCCESS ? st : deleteIfEmpty(root, kTypeLibs);
}

LSTATUS classFromProgId(const std::string& progId, CLSID& clsid) {
    if (progId.empty() || progId.find('\\') != std::string::npos) return ERROR_INVALID_PARAMETER;
    std::string text;
    const LSTATUS st = getText(HKEY_CLASSES_ROOT, progId + "\\CLSID", "", text);
    if (st != ERROR_SUCCESS) return st;
    if (!zul::com::parseGuid(text.c_str(), clsid)) {
        setErrorDetail("'" + progId + "\\CLSID' holds '" + text + "', not a class identifier");
        return ERROR_INVALID_DATA;
    }
    return ERROR_SUCCESS;
}

namespace {
const std::string kUserClasses = "Software\\Classes\\";
} // namespace

LSTATUS findClassServer(const std::string& product, REFCLSID clsid, ClassServer& out) {
    const std::string key = kUserClasses + product + "\\" + guidText(clsid) + "\\InprocServer32";
    for (HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        std::string path;
        const LSTATUS st = getText(hive, key, "", path);
        if (st == ERROR_FILE_NOT_FOUND) continue;
        if (st != ERROR_SUCCESS) return st;
        out.modulePath = path;
        out.perUser = hive == HKEY_CURRENT_USER;
        out.threadingModel.clear();
        getText(hive, key, "ThreadingModel", out.threadingModel);
        return ERROR_SUCCESS;
    }
    return ERROR_FILE_NOT_FOUND;
}

LSTATUS classesInCategory(const std::string& product, REFGUID catid, std::vector<CLSID>& out) {
    out.clear();
    const std::string cat = guidText(catid);
    std::vector<std::string> names;
    for (HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        const std::string productKey = kUserClasses + product;
        if (const LSTATUS st = subkeys(hive, productKey, names); st != ERROR_SUCCESS) return st;
        for (const std::string& name : names) {
            GUID g{};
            if (!zul::com::parseGuid(name.c_str(), g) ||
                std::find(out.begin(), out.end(), g) != out.end())
                continue;
            if (keyExists(hive, productKey + "\\" + name + "\\" + kImplemented + "\\" + cat))
                out.push_back(g);
        }
    }
    return ERROR_SUCCESS;
}

} // namespace zul::registry
