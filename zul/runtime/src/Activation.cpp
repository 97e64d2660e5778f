#include "zul/runtime/Activation.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <mutex>

#include "zul/registry/Classes.h"
#include "zul/registry/registry.h"
#include "zul/runtime/Library.h"

namespace zul::runtime {

namespace {
thread_local std::string t_lastError;

HRESULT failWith(HRESULT hr, std::string why) {
    t_lastError = std::move(why);
    return hr;
}

std::string guidText(const GUID& g) {
    char text[39];
    zul::com::formatGuid(g, text);
    return text;
}

// The same file names one library whatever path reached it.
std::string canonical(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}
} // namespace

struct Activator::State {
    mutable std::mutex mu;
    std::string product;
    // Loaded libraries by canonical path; node-based, so a Library never moves.
    std::map<std::string, Library> libraries;
    std::string overridePath;

    // The library at `path`, loaded on first use. Caller holds mu.
    HRESULT library(const std::string& path, Library*& out) {
        const std::string key = canonical(path);
        if (auto it = libraries.find(key); it != libraries.end()) {
            out = &it->second;
            return S_OK;
        }
        Library lib;
        if (!lib.load(key))
            return failWith(CO_E_DLLNOTFOUND, "cannot load '" + path + "': " + lib.error());
        if (!lib.symbol("DllGetClassObject"))
            return failWith(CO_E_ERRORINDLL, "'" + path + "' has no DllGetClassObject");
        out = &libraries.emplace(key, std::move(lib)).first->second;
        return S_OK;
    }
};

Activator::Activator() : state_(std::make_unique<State>()) {
    state_->product = zul::registry::productName(programFolder());
}

Activator::~Activator() = default;

Activator& Activator::instance() {
    // Never destroyed: objects of the libraries may outlive static destruction.
    static Activator* activator = new Activator;
    return *activator;
}

std::string Activator::product() const {
    std::lock_guard lock(state_->mu);
    return state_->product;
}

void Activator::setProduct(const std::string& product) {
    std::lock_guard lock(state_->mu);
    state_->product = product;
}

bool Activator::setOverride(const std::string& path) {
    std::lock_guard lock(state_->mu);
    Library* lib = nullptr;
    if (FAILED(state_->library(path, lib))) return false;
    state_->overridePath = canonical(path);
    return true;
}

HRESULT Activator::classFromProgId(const std::string& progId, CLSID& clsid) {
    const LSTATUS st = zul::registry::classFromProgId(progId, clsid);
    if (st == ERROR_SUCCESS) return S_OK;
    if (st == ERROR_FILE_NOT_FOUND || st == ERROR_INVALID_PARAMETER || st == ERROR_INVALID_DATA)
        return failWith(CO_E_CLASSSTRING, "'" + progId +
                                              "' is not a registered programmatic identifier" +
                                              (st == ERROR_INVALID_DATA
                                                   ? " (" + zul::registry::lastErrorDetail() + ")"
                                                   : std::string()));
    return failWith(HRESULT_FROM_WIN32(st), "cannot read '" + progId +
                                                "': " + zul::registry::describeStatus(st) + " " +
                                                zul::registry::lastErrorDetail());
}

HRESULT Activator::getClassObject(REFCLSID clsid, REFIID iid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    std::string path;
    if (const HRESULT hr = serverPath(clsid, path); FAILED(hr)) return hr;
    DllGetClassObjectFn get = nullptr;
    {
        std::lock_guard lock(state_->mu);
        Library* lib = nullptr;
        if (const HRESULT hr = state_->library(path, lib); FAILED(hr)) return hr;
        get = lib->function<DllGetClassObjectFn>("DllGetClassObject");
    }
    // Outside the lock: a class object may activate other classes.
    return get(clsid, iid, ppv);
}

HRESULT Activator::createInstance(REFCLSID clsid, IUnknown* outer, REFIID iid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    IClassFactory* factory = nullptr;
    HRESULT hr = getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (FAILED(hr)) return hr;
    hr = factory->CreateInstance(outer, iid, ppv);
    factory->Release();
    return hr;
}

HRESULT Activator::createInstance(const std::string& progId, IUnknown* outer, REFIID iid,
                                  void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    CLSID clsid{};
    const HRESULT hr = classFromProgId(progId, clsid);
    return FAILED(hr) ? hr : createInstance(clsid, outer, iid, ppv);
}

HRESULT Activator::classesInCategory(REFGUID catid, std::vector<CLSID>& out) {
    const LSTATUS st = zul::registry::classesInCategory(product(), catid, out);
    if (st == ERROR_SUCCESS) return S_OK;
    return failWith(HRESULT_FROM_WIN32(st),
                    "cannot read the registered classes: " + zul::registry::describeStatus(st) +
                        " " + zul::registry::lastErrorDetail());
}

void* Activator::serverSymbol(REFCLSID clsid, const char* name) {
    std::string path;
    if (FAILED(serverPath(clsid, path))) return nullptr;
    std::lock_guard lock(state_->mu);
    const auto it = state_->libraries.find(canonical(path));
    return it == state_->libraries.end() ? nullptr : it->second.symbol(name);
}

HRESULT Activator::serverPath(REFCLSID clsid, std::string& path) {
    {
        std::lock_guard lock(state_->mu);
        if (!state_->overridePath.empty()) {
            const auto it = state_->libraries.find(state_->overridePath);
            const auto get = it == state_->libraries.end()
                                 ? nullptr
                                 : it->second.function<DllGetClassObjectFn>("DllGetClassObject");
            IUnknown* probe = nullptr;
            if (get && get(clsid, IID_IClassFactory, reinterpret_cast<void**>(&probe)) == S_OK) {
                probe->Release();
                path = state_->overridePath;
                return S_OK;
            }
        }
    }
    const std::string product = this->product();
    zul::registry::ClassServer server;
    const LSTATUS st = zul::registry::findClassServer(product, clsid, server);
    if (st == ERROR_FILE_NOT_FOUND)
        return failWith(REGDB_E_CLASSNOTREG, "class " + guidText(clsid) +
                                                 " is not registered under product '" + product +
                                                 "'");
    if (st != ERROR_SUCCESS)
        return failWith(HRESULT_FROM_WIN32(st), "cannot read the class key of " + guidText(clsid) +
                                                    ": " + zul::registry::describeStatus(st) + " " +
                                                    zul::registry::lastErrorDetail());
    path = server.modulePath;
    return S_OK;
}

size_t Activator::freeUnusedLibraries() {
    std::lock_guard lock(state_->mu);
    size_t freed = 0;
    for (auto it = state_->libraries.begin(); it != state_->libraries.end();) {
        const auto canUnload = it->second.function<DllCanUnloadNowFn>("DllCanUnloadNow");
        if (canUnload && canUnload() == S_OK && it->first != state_->overridePath) {
            it = state_->libraries.erase(it);
            ++freed;
        } else {
            ++it;
        }
    }
    return freed;
}

size_t Activator::loadedLibraries() const {
    std::lock_guard lock(state_->mu);
    return state_->libraries.size();
}

std::string Activator::lastError() {
    return t_lastError;
}

std::string programFolder() {
    std::error_code ec;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::string(".") : self.parent_path().string();
}

std::string platformFolder() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<const void*>(&platformFolder), &info) || !info.dli_fname)
        return programFolder();
    std::error_code ec;
    const auto self = std::filesystem::canonical(info.dli_fname, ec);
    return ec ? programFolder() : self.parent_path().string();
}

bool registerInstalledModule(const std::string& library, std::string& why) {
    why.clear();
    namespace fs = std::filesystem;
    std::error_code ec;
    // Installed: the program in bin/, the platform in its private folder.
    const fs::path folder = platformFolder();
    if (!fs::equivalent(folder, fs::path(programFolder()) / ZUL_PRIVATE_FROM_BIN, ec) || ec)
        return false;
    const fs::path module = folder / library;
    if (!fs::is_regular_file(module, ec)) return false;
    // Registered from this path before: the user's registrations stand.
    const char* kMarks = "Software\\ZUL\\Installed";
    HKEY marks = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, kMarks, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &marks,
                        nullptr) != ERROR_SUCCESS) {
        why = "cannot record the module's registration: " + zul::registry::lastErrorDetail();
        return false;
    }
    char done[PATH_MAX] = {};
    DWORD size = sizeof done - 1;
    const bool before = RegQueryValueExA(marks, library.c_str(), nullptr, nullptr,
                                         reinterpret_cast<BYTE*>(done), &size) == ERROR_SUCCESS &&
                        module.string() == done;
    bool registered = false;
    if (!before) {
        Library lib;
        const auto registerServer = lib.load(module.string())
                                        ? lib.function<DllRegisterServerFn>("DllRegisterServer")
                                        : nullptr;
        if (!registerServer) {
            why = "cannot register " + module.string() + ": " +
                  (lib.loaded() ? std::string("it is not a component server") : lib.error());
        } else {
            // Per user, as the registration tool does with CURRENT_USER_INSTALL.
            const char* was = std::getenv("CURRENT_USER_INSTALL");
            const std::string kept = was ? was : "";
            ::setenv("CURRENT_USER_INSTALL", "1", 1);
            const HRESULT hr = registerServer();
            if (was)
                ::setenv("CURRENT_USER_INSTALL", kept.c_str(), 1);
            else
                ::unsetenv("CURRENT_USER_INSTALL");
            registered = SUCCEEDED(hr);
            if (!registered)
                why = "cannot register " + module.string() + ": " + describeHresult(hr);
            else
                RegSetValueExA(marks, library.c_str(), 0, REG_SZ,
                               reinterpret_cast<const BYTE*>(module.c_str()),
                               DWORD(module.string().size() + 1));
        }
    }
    RegCloseKey(marks);
    return registered;
}

} // namespace zul::runtime
