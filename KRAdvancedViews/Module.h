// State of the module library as a whole.
#pragma once

#include "zul/com/com.h"

namespace krav {

// S_OK when no object of the module and no server lock is alive, else S_FALSE.
HRESULT CanUnloadNow();

// The class object for `clsid`, or CLASS_E_CLASSNOTAVAILABLE.
HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** ppv);

} // namespace krav
