// The shape of a resource table and the exported lookup over one, shared by
// the module (its built-in English resources) and the resource modules built
// from translations.
#pragma once

#include <cstring>

#include "KRAdvancedViews/ResourceIds.h"
#include "zul/com/com.h"

// A command or menu id (ResourceIds.h) as text, for the menu resources.
#define KRAV_STR2(x) #x
#define KRAV_STR(x) KRAV_STR2(x)

namespace krav {

struct ResourceEntry {
    unsigned id;
    const char* text;
};

constexpr DWORD kRtMenu = krav::ids::kResourceMenu, kRtString = krav::ids::kResourceString;
constexpr HRESULT kResourceNotFound = HRESULT_FROM_WIN32(1814); // ERROR_RESOURCE_NAME_NOT_FOUND

// The text of `id` in `table`, or null.
template <size_t N> const char* FindResource(const ResourceEntry (&table)[N], unsigned id) {
    for (const ResourceEntry& e : table)
        if (e.id == id) return e.text;
    return nullptr;
}

// The contract of the exported ZulGetModuleResource over a string table and a
// menu table: RT_STRING (6) gives the NUL-terminated UTF-8 text of a string,
// RT_MENU (4) a menu as text; *size is the length in bytes. E_POINTER,
// E_INVALIDARG for another type, ERROR_RESOURCE_NAME_NOT_FOUND for an id the
// table lacks.
template <size_t S, size_t M>
HRESULT AnswerResource(const ResourceEntry (&strings)[S], const ResourceEntry (&menus)[M],
                       DWORD type, DWORD id, const void** data, DWORD* size) {
    if (!data || !size) return E_POINTER;
    *data = nullptr;
    *size = 0;
    if (type != kRtString && type != kRtMenu) return E_INVALIDARG;
    const char* text = type == kRtString ? FindResource(strings, id) : FindResource(menus, id);
    if (!text) return kResourceNotFound;
    *data = text;
    *size = static_cast<DWORD>(std::strlen(text));
    return S_OK;
}

// The lookup a resource module exports.
using ResourceLookupFn = HRESULT (*)(DWORD type, DWORD id, const void** data, DWORD* size);

} // namespace krav
