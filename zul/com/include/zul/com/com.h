// The component ABI on systems without the Windows headers: the same names with
// the same binary meaning, so that module code compiles unchanged on both.
#pragma once

#ifdef _WIN32
#include <objbase.h>
#include <unknwn.h>
#include <windows.h>
#define ZUL_EXPORT __declspec(dllexport)
#define ZUL_PLATFORM_API
#else

#include <cstddef>
#include <cstdint>

// HRESULT is 32-bit everywhere; `long` would be 64-bit on Linux.
using HRESULT = int32_t;
using ULONG = uint32_t;
using LONG = int32_t;
using DWORD = uint32_t;
using WORD = uint16_t;
using BYTE = uint8_t;
using BOOL = int32_t;
using UINT = uint32_t;
using UINT_PTR = uintptr_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPVOID = void*;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

#define STDMETHODCALLTYPE
#define ZUL_EXPORT __attribute__((visibility("default")))
// The platform libraries (registry, trace, runtime) are shared libraries, so
// that a host and the modules it loads share one registry state and one logger.
#define ZUL_PLATFORM_API __attribute__((visibility("default")))

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3u);
constexpr HRESULT CO_E_DLLNOTFOUND = static_cast<HRESULT>(0x800401F8u);
constexpr HRESULT CO_E_ERRORINDLL = static_cast<HRESULT>(0x800401F9u);
constexpr HRESULT SELFREG_E_CLASS = static_cast<HRESULT>(0x80040201u);

constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

// A Win32 error code as an HRESULT (FACILITY_WIN32).
constexpr HRESULT HRESULT_FROM_WIN32(LONG err) {
    return err <= 0
               ? static_cast<HRESULT>(err)
               : static_cast<HRESULT>((static_cast<uint32_t>(err) & 0x0000FFFFu) | 0x80070000u);
}

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);

constexpr bool operator==(const GUID& a, const GUID& b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i]) return false;
    return true;
}
constexpr bool IsEqualGUID(const GUID& a, const GUID& b) {
    return a == b;
}

using IID = GUID;
using CLSID = GUID;
using CATID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
#define IsEqualIID IsEqualGUID
#define IsEqualCLSID IsEqualGUID

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};

struct IClassFactory : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid,
                                                     void** ppvObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) = 0;

protected:
    ~IClassFactory() = default;
};

#define STDAPI extern "C" ZUL_EXPORT HRESULT

#endif // _WIN32

namespace zul::com {

namespace detail {
constexpr uint32_t hexDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<uint32_t>(c - 'A' + 10);
    throw "invalid hex digit in GUID"; // only reached at compile time
}
constexpr uint32_t hexField(const char* s, int digits) {
    uint32_t v = 0;
    for (int i = 0; i < digits; ++i)
        v = (v << 4) | hexDigit(s[i]);
    return v;
}
} // namespace detail

// Parses "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" at compile time.
consteval GUID makeGuid(const char (&s)[37]) {
    GUID g{};
    g.Data1 = detail::hexField(s, 8);
    g.Data2 = static_cast<uint16_t>(detail::hexField(s + 9, 4));
    g.Data3 = static_cast<uint16_t>(detail::hexField(s + 14, 4));
    g.Data4[0] = static_cast<uint8_t>(detail::hexField(s + 19, 2));
    g.Data4[1] = static_cast<uint8_t>(detail::hexField(s + 21, 2));
    for (int i = 0; i < 6; ++i)
        g.Data4[2 + i] = static_cast<uint8_t>(detail::hexField(s + 24 + 2 * i, 2));
    return g;
}

// Maps an interface type to its IID; every interface declares one with
// ZUL_DECLARE_IID next to its definition.
template <class T> struct InterfaceTraits;

template <class T> constexpr const IID& iidOf() {
    return InterfaceTraits<T>::iid;
}

// Formats a GUID as the registry writes it: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
inline void formatGuid(const GUID& g, char (&out)[39]) {
    static constexpr char hex[] = "0123456789ABCDEF";
    char* p = out;
    auto put = [&p](uint32_t v, int digits) {
        for (int i = digits - 1; i >= 0; --i)
            *p++ = hex[(v >> (4 * i)) & 0xF];
    };
    *p++ = '{';
    put(g.Data1, 8);
    *p++ = '-';
    put(g.Data2, 4);
    *p++ = '-';
    put(g.Data3, 4);
    *p++ = '-';
    put(g.Data4[0], 2);
    put(g.Data4[1], 2);
    *p++ = '-';
    for (int i = 2; i < 8; ++i)
        put(g.Data4[i], 2);
    *p++ = '}';
    *p = '\0';
}

// Parses a GUID with or without braces; false on anything malformed, `out` untouched then.
inline bool parseGuid(const char* text, GUID& out) {
    if (!text) return false;
    const bool braced = text[0] == '{';
    const char* s = text + (braced ? 1 : 0);
    for (int i = 0; i < 36; ++i) {
        const char c = s[i];
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? c != '-'
                 : !((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')))
            return false;
    }
    if (braced ? (s[36] != '}' || s[37] != '\0') : s[36] != '\0') return false;
    GUID g{};
    g.Data1 = detail::hexField(s, 8);
    g.Data2 = static_cast<uint16_t>(detail::hexField(s + 9, 4));
    g.Data3 = static_cast<uint16_t>(detail::hexField(s + 14, 4));
    g.Data4[0] = static_cast<uint8_t>(detail::hexField(s + 19, 2));
    g.Data4[1] = static_cast<uint8_t>(detail::hexField(s + 21, 2));
    for (int i = 0; i < 6; ++i)
        g.Data4[2 + i] = static_cast<uint8_t>(detail::hexField(s + 24 + 2 * i, 2));
    out = g;
    return true;
}

} // namespace zul::com

#define ZUL_DECLARE_IID(Interface, text)                                                           \
    template <> struct zul::com::InterfaceTraits<Interface> {                                      \
        static constexpr IID iid = zul::com::makeGuid(text);                                       \
    }

#ifndef _WIN32
ZUL_DECLARE_IID(IUnknown, "00000000-0000-0000-C000-000000000046");
ZUL_DECLARE_IID(IClassFactory, "00000001-0000-0000-C000-000000000046");
inline constexpr IID IID_IUnknown = zul::com::iidOf<IUnknown>();
inline constexpr IID IID_IClassFactory = zul::com::iidOf<IClassFactory>();
#endif
