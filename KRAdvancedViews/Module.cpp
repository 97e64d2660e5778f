#include "Module.h"

#include "Trace.h"
#include "zul/com/Object.h"

namespace krav {

HRESULT CanUnloadNow() {
    KRAV_TRACE_STATIC("krav::CanUnloadNow");
    return zul::com::moduleLockCount() == 0 ? S_OK : S_FALSE;
}

HRESULT GetClassObject(REFCLSID, REFIID, void** ppv) {
    KRAV_TRACE_STATIC("krav::GetClassObject");
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    // The served classes register themselves here as they are built.
    return CLASS_E_CLASSNOTAVAILABLE;
}

} // namespace krav
