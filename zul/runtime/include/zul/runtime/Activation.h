// Object creation the way a host does it: a programmatic identifier names a
// class, the class key under the host's product (the user's registration
// first, then the machine's) names the library that serves it, the library
// is loaded once per process and asked for the class object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zul/com/com.h"

namespace zul::runtime {

class ZUL_PLATFORM_API Activator {
public:
    // The process's activator. Libraries it loaded stay loaded until
    // freeUnusedLibraries() finds them unused (or the process ends).
    static Activator& instance();

    // The product key this process reads class keys from: by default the
    // product of the program's folder (see zul::registry::productName).
    std::string product() const;
    void setProduct(const std::string& product);

    // A developer's override: classes the library at `path` serves are made
    // from it without asking the registry. False with lastError() when it
    // does not load or is not a component server.
    bool setOverride(const std::string& path);

    // CO_E_CLASSSTRING when the identifier is not registered.
    HRESULT classFromProgId(const std::string& progId, CLSID& clsid);
    // REGDB_E_CLASSNOTREG when no class key names a library, CO_E_DLLNOTFOUND
    // when the library does not load, CO_E_ERRORINDLL when it has no
    // DllGetClassObject, else what the library answers.
    HRESULT getClassObject(REFCLSID clsid, REFIID iid, void** ppv);
    HRESULT createInstance(REFCLSID clsid, IUnknown* outer, REFIID iid, void** ppv);
    HRESULT createInstance(const std::string& progId, IUnknown* outer, REFIID iid, void** ppv);

    // The classes registered under the product in `catid`, the user's first.
    HRESULT classesInCategory(REFGUID catid, std::vector<CLSID>& out);

    // An exported symbol of the library that serves `clsid` (loaded by an
    // earlier activation of the class), or null.
    void* serverSymbol(REFCLSID clsid, const char* name);

    // Unloads the libraries whose DllCanUnloadNow answers S_OK; how many.
    size_t freeUnusedLibraries();
    // How many libraries are loaded now.
    size_t loadedLibraries() const;

    // What the last failing call of this thread ran into (the library path and
    // what the loader or the registry said), or "".
    static std::string lastError();

    Activator(const Activator&) = delete;
    Activator& operator=(const Activator&) = delete;

private:
    // The library serving `clsid`: the override when it serves the class,
    // else the one its class key names. REGDB_E_CLASSNOTREG when none does.
    HRESULT serverPath(REFCLSID clsid, std::string& path);

    Activator();
    ~Activator();
    struct State;
    std::unique_ptr<State> state_;
};

// The folder of the running program.
ZUL_PLATFORM_API std::string programFolder();

// The folder of the platform's own libraries (where this one lies).
ZUL_PLATFORM_API std::string platformFolder();

// A host installed with the platform finds the view module installed with it
// at its first run: `library` (the module's file name) in the platform's
// private folder, when the program lies where an installation puts it
// beside that folder (bin/ and lib/zul/; a build tree keeps programs and
// libraries in one folder, and a developer registers by hand).
// It is registered for the current user, as `zulreg regsvr` with
// CURRENT_USER_INSTALL does, once per installed path: a user who then
// unregisters it keeps it unregistered. True when it was registered now;
// false with `why` empty when there is nothing to register, else saying why.
ZUL_PLATFORM_API bool registerInstalledModule(const std::string& library, std::string& why);

} // namespace zul::runtime
