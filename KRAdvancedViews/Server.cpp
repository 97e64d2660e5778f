// The entry points of the in-process component server: class objects,
// registration into the classes root, and the module's start (the resource
// module) and end.

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "KRAdvancedViews/Identifiers.h"
#include "Module.h"
#include "Trace.h"
#include "dialogs/QtDialogs.h"
#include "resources/StringTable.h"
#include "zul/com/Object.h"
#include "zul/registry/Classes.h"
#include "zul/registry/Transaction.h"

namespace {

// Longest resource module path, terminator included.
constexpr size_t kMaxResourcePath = 260;

void* g_resourceModule = nullptr;

// Module start: with ZUL_RESPATH set, the texts come from
// $ZUL_RESPATH + "KRAdvancedViews_res.so" (no separator is added: the variable
// ends with one). A path too long, or a library that does not load or has no
// lookup, leaves the built-in texts in use, silently.
__attribute__((constructor)) void s_startModule() {
    krav::dialogs::UseQtDialogs();
    const char* dir = std::getenv("ZUL_RESPATH");
    if (!dir || !*dir) return;
    const std::string path = std::string(dir) + "KRAdvancedViews" + "_res" + ".so";
    if (path.size() >= kMaxResourcePath) return;
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) return;
    const auto lookup =
        reinterpret_cast<krav::ResourceLookupFn>(dlsym(handle, "ZulGetModuleResource"));
    if (!lookup) {
        dlclose(handle);
        return;
    }
    g_resourceModule = handle;
    krav::SetResourceModule(lookup);
}

__attribute__((destructor)) void s_endModule() {
    krav::dialogs::ReleaseQtDialogs();
    krav::SetResourceModule(nullptr);
    if (g_resourceModule) dlclose(g_resourceModule);
    g_resourceModule = nullptr;
}

// The absolute path of this library.
std::string s_modulePath() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&s_startModule), &info) || !info.dli_fname) return {};
    char resolved[PATH_MAX];
    return realpath(info.dli_fname, resolved) ? std::string(resolved) : std::string(info.dli_fname);
}

std::vector<zul::registry::ClassRegistration> s_classes() {
    auto make = [](const CLSID& clsid, const char* progId, const char* description,
                   const char* classText, bool typeLib, std::vector<GUID> categories) {
        zul::registry::ClassRegistration c;
        c.clsid = clsid;
        c.versionIndependentProgId = progId;
        c.progId = std::string(progId) + ".1";
        c.description = description;
        c.classText = classText;
        c.typeLib = typeLib ? &LIBID_KRADVANCEDVIEWSLib : nullptr;
        c.categories = std::move(categories);
        return c;
    };
    return {
        make(CLSID_AdvancedViewsModuleMgr, kProgIdAdvancedViewsModuleMgr,
             "AdvancedViewsModuleMgr Class", "AdvancedViewsModuleMgr Class", true,
             {CATID_ZulLateLoadableSecondaryObject}),
        make(CLSID_ViewManager, kProgIdViewManager, "ViewManager Class", "ViewManager Class", true,
             {}),
        make(CLSID_ViewNavigator, kProgIdViewNavigator, "ViewNavigator Class",
             "ViewNavigator Class", true, {}),
        make(CLSID_AdvancedViewsTests, kProgIdAdvancedViewsTests, "Testing Class",
             "AdvancedViewsTests Class", false, {CATID_KRUnitTestSources}),
    };
}

// With CURRENT_USER_INSTALL set (any value), the current user's
// "Software\Classes" key stands in for the classes root while the scope
// lives; otherwise the machine's does. Either way every write lands in one
// known hive, whatever the merged classes root would pick.
class ClassesRootScope {
public:
    // `create`: make the key (and its hive) when missing; otherwise a missing
    // key leaves found() false and status() ERROR_SUCCESS.
    explicit ClassesRootScope(bool create) {
        perUser_ = std::getenv("CURRENT_USER_INSTALL") != nullptr;
        const HKEY hive = perUser_ ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
        status_ =
            create ? RegCreateKeyExA(hive, "SOFTWARE\\Classes", 0, nullptr, REG_OPTION_NON_VOLATILE,
                                     KEY_ALL_ACCESS, nullptr, &key_, nullptr)
                   : RegOpenKeyExA(hive, "SOFTWARE\\Classes", 0, KEY_ALL_ACCESS, &key_);
        if (!create && status_ == ERROR_FILE_NOT_FOUND) status_ = ERROR_SUCCESS;
        if (status_ == ERROR_SUCCESS && perUser_) {
            status_ = RegOverridePredefKey(HKEY_CLASSES_ROOT, key_);
            overridden_ = status_ == ERROR_SUCCESS;
        }
    }
    ~ClassesRootScope() {
        if (overridden_) RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        if (key_) RegCloseKey(key_);
    }
    ClassesRootScope(const ClassesRootScope&) = delete;
    ClassesRootScope& operator=(const ClassesRootScope&) = delete;

    LSTATUS status() const { return status_; }
    bool found() const { return key_ != nullptr; }
    // The key registration writes below.
    HKEY root() const { return perUser_ ? HKEY_CLASSES_ROOT : key_; }

private:
    bool perUser_ = false, overridden_ = false;
    HKEY key_ = nullptr;
    LSTATUS status_ = ERROR_SUCCESS;
};

HRESULT s_fromStatus(LSTATUS st) {
    return st == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(st);
}

// Registers or unregisters every class as one registry transaction: a failure
// part-way leaves the classes root as it was.
HRESULT s_updateRegistration(bool add) {
    const std::string modulePath = s_modulePath();
    if (modulePath.empty()) return E_FAIL;
    const size_t slash = modulePath.rfind('/');
    const std::string product =
        zul::registry::productName(modulePath.substr(0, slash == std::string::npos ? 0 : slash));

    zul::registry::Transaction tx;
    ClassesRootScope scope(add);
    if (scope.status() != ERROR_SUCCESS) return s_fromStatus(scope.status());
    if (!scope.found()) return S_OK; // nothing was ever registered there
    const HKEY root = scope.root();
    const auto classes = s_classes();
    const GUID categories[] = {CATID_ZulLateLoadableSecondaryObject, CATID_KRUnitTestSources};
    LSTATUS st = ERROR_SUCCESS;
    if (add) {
        for (const auto& c : classes)
            if ((st = zul::registry::registerClass(root, product, c, modulePath)) != ERROR_SUCCESS)
                return s_fromStatus(st);
        if ((st = zul::registry::registerCategory(root, CATID_ZulLateLoadableSecondaryObject,
                                                  "ZUL Late Loadable Secondary Object")) !=
                ERROR_SUCCESS ||
            (st = zul::registry::registerCategory(root, CATID_KRUnitTestSources,
                                                  "KR Unit Test Sources Category")) !=
                ERROR_SUCCESS ||
            (st = zul::registry::registerTypeLib(root, LIBID_KRADVANCEDVIEWSLib,
                                                 "KRADVANCEDVIEWSLib", modulePath)) !=
                ERROR_SUCCESS)
            return s_fromStatus(st);
    } else {
        for (const auto& c : classes)
            if ((st = zul::registry::unregisterClass(root, product, c.clsid)) != ERROR_SUCCESS)
                return s_fromStatus(st);
        if ((st = zul::registry::unregisterTypeLib(root, LIBID_KRADVANCEDVIEWSLib)) !=
            ERROR_SUCCESS)
            return s_fromStatus(st);
        for (const GUID& cat : categories)
            if ((st = zul::registry::unregisterCategoryIfUnused(root, cat)) != ERROR_SUCCESS)
                return s_fromStatus(st);
    }
    return s_fromStatus(tx.commit());
}

} // namespace

STDAPI DllCanUnloadNow() {
    return krav::CanUnloadNow();
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    return zul::com::firewall([&] { return krav::GetClassObject(rclsid, riid, ppv); });
}

STDAPI DllRegisterServer() {
    KRAV_TRACE_STATIC("DllRegisterServer");
    return zul::com::firewall([] { return s_updateRegistration(true); });
}

STDAPI DllUnregisterServer() {
    KRAV_TRACE_STATIC("DllUnregisterServer");
    return zul::com::firewall([] { return s_updateRegistration(false); });
}

// The module's resources by type and id, for a host that builds its menus or
// shows the module's messages. RT_STRING (6): *data is the NUL-terminated
// UTF-8 text, *size its length in bytes. RT_MENU (4): the menu as text (see
// LoadModuleMenu).
STDAPI ZulGetModuleResource(DWORD type, DWORD id, const void** data, DWORD* size) {
    return krav::GetModuleResource(type, id, data, size);
}
