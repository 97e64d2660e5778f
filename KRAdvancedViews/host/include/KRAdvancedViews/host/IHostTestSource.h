// Self-tests a host runs on request: every class registered in the host's
// unit-test source category answers IHostTestSource.
#pragma once

#include "zul/com/com.h"

// Receives the outcome of each check, in the order they run.
struct IHostTestResults : IUnknown {
    // `check` names the check; `reason` says why it failed ("" when it passed).
    // A failing return asks the source to stop running further checks.
    virtual HRESULT STDMETHODCALLTYPE Report(const char* check, BOOL passed,
                                             const char* reason) = 0;
};

struct IHostTestSource : IUnknown {
    // Runs every check against `host`, reporting each to `results`. `host`
    // answers what a module object's site answers (the 3D view through
    // IHostApplication, messages through IHostUIService). The host's stored
    // data and its camera are as they were afterwards. S_OK when every check
    // passed, S_FALSE when one failed or `results` stopped the run, E_POINTER
    // without host or results.
    virtual HRESULT STDMETHODCALLTYPE RunTests(IUnknown* host, IHostTestResults* results) = 0;
};

ZUL_DECLARE_IID(IHostTestResults, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0331");
ZUL_DECLARE_IID(IHostTestSource, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0332");
