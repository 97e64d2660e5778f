// Finding and making the view module the way every host does at start: the
// classes registered under the host's product in the late-loadable category
// (with a developer's KRAV_MODULE override counting as registered), the
// first of which is the module manager.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/Identifiers.h"
#include "zul/com/ComPtr.h"
#include "zul/runtime/Activation.h"
#include "zul/runtime/Library.h"

namespace zul::runtime {

struct ViewModule {
    zul::com::ComPtr<IUnknown> object;
    CLSID clsid{};
    ZulGetModuleResourceFn resource = nullptr; // the module's resource lookup, or null
};

// Applies KRAV_MODULE when set. False with `error` when it names no usable library.
inline bool applyModuleOverride(Activator& activator, bool& overridden, std::string& error) {
    const char* path = std::getenv("KRAV_MODULE");
    overridden = path && *path;
    if (overridden && !activator.setOverride(path)) {
        error = "cannot use KRAV_MODULE: " + Activator::lastError();
        return false;
    }
    return true;
}

// The classes of `catid`; with an override the module's own class `ours`
// counts as registered. False with `error` when there are none.
inline bool classesOf(Activator& activator, bool overridden, const GUID& catid, const CLSID& ours,
                      std::vector<CLSID>& out, std::string& error) {
    HRESULT hr = activator.classesInCategory(catid, out);
    // A host installed with the platform registers the module installed
    // with it at its first run.
    std::string unregistered;
    if ((FAILED(hr) || out.empty()) && !overridden &&
        registerInstalledModule("KRAdvancedViews.so", unregistered)) {
        out.clear();
        hr = activator.classesInCategory(catid, out);
    }
    if (FAILED(hr) && !overridden) {
        error = Activator::lastError();
        return false;
    }
    if (overridden && std::find(out.begin(), out.end(), ours) == out.end())
        out.insert(out.begin(), ours);
    if (out.empty()) {
        error = "no module is registered for product '" + activator.product() +
                "' (register one with: CURRENT_USER_INSTALL=1 zulreg regsvr KRAdvancedViews.so, or "
                "name one in KRAV_MODULE)";
        if (!unregistered.empty()) error += "; " + unregistered;
        return false;
    }
    return true;
}

// Makes the first late-loadable class that is the view module manager.
// On failure the status of the last attempt, with `error` saying why.
inline HRESULT createViewModule(Activator& activator, bool overridden, ViewModule& out,
                                std::string& error) {
    std::vector<CLSID> modules;
    if (!classesOf(activator, overridden, CATID_ZulLateLoadableSecondaryObject,
                   CLSID_AdvancedViewsModuleMgr, modules, error))
        return REGDB_E_CLASSNOTREG;
    HRESULT hr = REGDB_E_CLASSNOTREG;
    for (const CLSID& clsid : modules) {
        zul::com::ComPtr<IUnknown> candidate;
        zul::com::ComPtr<IAdvancedViewsModuleMgr> probe;
        hr = activator.createInstance(clsid, nullptr, IID_IUnknown,
                                      reinterpret_cast<void**>(candidate.GetAddressOf()));
        if (SUCCEEDED(hr) && SUCCEEDED(candidate.As(probe))) {
            out.object = candidate;
            out.clsid = clsid;
            out.resource = reinterpret_cast<ZulGetModuleResourceFn>(
                activator.serverSymbol(clsid, "ZulGetModuleResource"));
            return S_OK;
        }
    }
    error = "cannot create the module manager: " + describeHresult(hr);
    if (const std::string why = Activator::lastError(); !why.empty()) error += " (" + why + ")";
    return FAILED(hr) ? hr : E_NOINTERFACE;
}

} // namespace zul::runtime
