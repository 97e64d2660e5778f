// The standard site interface of components: a host gives an object its
// site, and through it the object reaches the host's services.
#pragma once

#include "zul/com/com.h"

// SetSite(null) releases the site; GetSite answers E_FAIL without one.
struct IObjectWithSite : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetSite(IUnknown* pUnkSite) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSite(REFIID riid, void** ppvSite) = 0;
};

ZUL_DECLARE_IID(IObjectWithSite, "FC4801A3-2BA9-11CF-A229-00AA003D7352");
inline constexpr IID IID_IObjectWithSite = zul::com::iidOf<IObjectWithSite>();
