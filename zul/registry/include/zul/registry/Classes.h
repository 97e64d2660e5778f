// The host's class registration: where a component server's classes,
// programmatic identifiers, component categories and type library live in the
// classes root, how a server writes and removes them, and how a host finds
// them again.
//
// Layout below a classes root (HKEY_CLASSES_ROOT, or a key standing in for it):
//
//   <ProgID>                     default: description; subkey CLSID (default: "{clsid}")
//   <VersionIndependentProgID>   default: description; subkeys CLSID and CurVer (the ProgID)
//   <product>\{clsid}            default: class key text; subkeys (default values):
//       ProgID, VersionIndependentProgID, TypeLib,
//       InprocServer32 (module path, and "ThreadingModel"),
//       Implemented Categories\{catid} (empty keys)
//   Component Categories\{catid} "409": English name
//   TypeLib\{libid}\1.0         default: library name; 0\linux: module path
//
// Class keys live under the product's key rather than under "CLSID", so that
// several products (and developer builds of one) can register the same class
// side by side; the product key itself is never removed.
#pragma once

#include <string>
#include <vector>

#include "zul/registry/registry.h"

namespace zul::registry {

// What one class registers.
struct ClassRegistration {
    CLSID clsid{};
    std::string progId;                   // "KRAdvancedViews.ViewManager.1"
    std::string versionIndependentProgId; // "KRAdvancedViews.ViewManager"
    std::string description;              // default value of the ProgID keys
    std::string classText;                // default value of the class key
    std::string threadingModel = "Apartment";
    const GUID* typeLib = nullptr; // written as the class's TypeLib when set
    std::vector<GUID> categories;  // implemented categories
};

// The product key name for a server or host whose files are in `folder`: the
// first line of `folder`/DLLPROD.TXT, else "ZUL"; then, when
// ZUL_DEVELOPER_ENV is set and not empty, "_" and its value. Characters 1 to
// 31 of the variable, and anything a key name cannot hold ('\' and control
// characters) in either part, become '_'. At most 255 characters.
ZUL_PLATFORM_API std::string productName(const std::string& folder);

// Writes one class below `classesRoot` for the server at `modulePath`,
// replacing what an earlier registration of the class left in its class key.
ZUL_PLATFORM_API LSTATUS registerClass(HKEY classesRoot, const std::string& product,
                                       const ClassRegistration& cls, const std::string& modulePath);

// Removes the class key of `clsid` under the product and the programmatic
// identifiers that name it. ERROR_SUCCESS when nothing of it was registered.
ZUL_PLATFORM_API LSTATUS unregisterClass(HKEY classesRoot, const std::string& product,
                                         REFCLSID clsid);

// Names a component category (locale 409, English).
ZUL_PLATFORM_API LSTATUS registerCategory(HKEY classesRoot, REFGUID catid,
                                          const std::string& englishName);

// Removes a category's name once no class key under any product (or under
// "CLSID") implements it any more; other servers' classes keep it alive.
ZUL_PLATFORM_API LSTATUS unregisterCategoryIfUnused(HKEY classesRoot, REFGUID catid);

// Registers a type library of the server at `modulePath` (version "1.0").
ZUL_PLATFORM_API LSTATUS registerTypeLib(HKEY classesRoot, REFGUID libid, const std::string& name,
                                         const std::string& modulePath);
ZUL_PLATFORM_API LSTATUS unregisterTypeLib(HKEY classesRoot, REFGUID libid);

// The class a programmatic identifier (versioned or not) names, read through
// HKEY_CLASSES_ROOT. ERROR_FILE_NOT_FOUND when it is not registered,
// ERROR_INVALID_DATA when its CLSID is not a class identifier.
ZUL_PLATFORM_API LSTATUS classFromProgId(const std::string& progId, CLSID& clsid);

// Where a host finds a class: the class key under the product, the user's
// registration first, then the machine's.
struct ClassServer {
    std::string modulePath; // InprocServer32
    std::string threadingModel;
    bool perUser = false;
};
ZUL_PLATFORM_API LSTATUS findClassServer(const std::string& product, REFCLSID clsid,
                                         ClassServer& out);

// The classes under the product that implement `catid`, the user's first,
// each once, in key order.
ZUL_PLATFORM_API LSTATUS classesInCategory(const std::string& product, REFGUID catid,
                                           std::vector<CLSID>& out);

} // namespace zul::registry
