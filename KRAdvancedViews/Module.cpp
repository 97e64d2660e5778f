#include "Module.h"

#include "AdvancedViewsModuleMgr.h"
#include "AdvancedViewsTests.h"
#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/Identifiers.h"
#include "Trace.h"
#include "ViewManager.h"
#include "ViewNavigator.h"
#include "zul/com/Object.h"

namespace krav {

HRESULT CanUnloadNow() {
    KRAV_TRACE_STATIC("krav::CanUnloadNow");
    return zul::com::moduleLockCount() == 0 ? S_OK : S_FALSE;
}

HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** ppv) {
    KRAV_TRACE_STATIC("krav::GetClassObject");
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (clsid == CLSID_ViewManager)
        return zul::com::createInstance<zul::com::ClassFactory<CViewManager>>(nullptr, iid, ppv);
    if (clsid == CLSID_AdvancedViewsModuleMgr)
        return zul::com::createInstance<zul::com::ClassFactory<CAdvancedViewsModuleMgr>>(nullptr,
                                                                                         iid, ppv);
    if (clsid == CLSID_ViewNavigator)
        return zul::com::createInstance<zul::com::ClassFactory<CViewNavigator>>(nullptr, iid, ppv);
    if (clsid == CLSID_AdvancedViewsTests)
        return zul::com::createInstance<zul::com::ClassFactory<CAdvancedViewsTests>>(nullptr, iid,
                                                                                     ppv);
    return CLASS_E_CLASSNOTAVAILABLE;
}

} // namespace krav
