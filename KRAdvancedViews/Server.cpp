// The four entry points of the in-process component server.

#include "Module.h"
#include "zul/com/Object.h"

STDAPI DllCanUnloadNow() { return krav::CanUnloadNow(); }

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    return zul::com::firewall([&] { return krav::GetClassObject(rclsid, riid, ppv); });
}

STDAPI DllRegisterServer() { return E_NOTIMPL; }

STDAPI DllUnregisterServer() { return E_NOTIMPL; }
