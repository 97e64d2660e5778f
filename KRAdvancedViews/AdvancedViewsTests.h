// CAdvancedViewsTests: the module's self-test, a source in the host's
// unit-test category. It runs a handful of checks of a view store and a
// navigator against a small sample model in the host's 3D view and reports
// each one.
#pragma once

#include "KRAdvancedViews/host/IHostTestSource.h"
#include "zul/com/Object.h"

class CAdvancedViewsTests : public zul::com::ObjectRoot, public IHostTestSource {
public:
    ZUL_BEGIN_INTERFACE_MAP(CAdvancedViewsTests)
    ZUL_INTERFACE_ENTRY(IHostTestSource)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    // The checks run on a store of their own: the user's registry is
    // redirected to a scratch key inside a registry transaction that is
    // rolled back at the end, so the user's views are never touched (not even
    // by a crash part-way). The camera is put back as it was.
    HRESULT STDMETHODCALLTYPE RunTests(IUnknown* host, IHostTestResults* results) override;
};
