// The four entry points of the in-process component server.

#include <cstring>

#include "Module.h"
#include "resources/StringTable.h"
#include "zul/com/Object.h"

STDAPI DllCanUnloadNow() { return krav::CanUnloadNow(); }

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    return zul::com::firewall([&] { return krav::GetClassObject(rclsid, riid, ppv); });
}

STDAPI DllRegisterServer() { return E_NOTIMPL; }

STDAPI DllUnregisterServer() { return E_NOTIMPL; }

// The module's resources by type and id, for a host that builds its menus or
// shows the module's messages. RT_STRING (6): *data is the NUL-terminated
// UTF-8 text, *size its length in bytes. RT_MENU (4): the menu as text (see
// LoadModuleMenu).
STDAPI ZulGetModuleResource(DWORD type, DWORD id, const void** data, DWORD* size) {
    if (!data || !size) return E_POINTER;
    *data = nullptr;
    *size = 0;
    constexpr DWORD kRtMenu = 4, kRtString = 6;
    if (type != kRtString && type != kRtMenu) return E_INVALIDARG;
    const char* text = type == kRtString ? krav::LoadModuleString(id) : krav::LoadModuleMenu(id);
    if (!*text) return HRESULT_FROM_WIN32(1814); // ERROR_RESOURCE_NAME_NOT_FOUND
    *data = text;
    *size = static_cast<DWORD>(std::strlen(text));
    return S_OK;
}
