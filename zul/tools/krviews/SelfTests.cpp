// krviews selftest: the module's own checks, each printed as it reports.
#include <cstdio>

#include "KRAdvancedViews/host/IHostTestSource.h"
#include "Krviews.h"
#include "zul/com/ComPtr.h"
#include "zul/runtime/Library.h"

namespace krviews {
namespace {

// Prints what each check reports: "passed  <check>" or "FAILED  <check>: <reason>".
class CPrintedResults final : public IHostTestResults {
public:
    int passed = 0, failed = 0;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = iid == IID_IUnknown || iid == zul::com::iidOf<IHostTestResults>() ? this : nullptr;
        return *ppv ? S_OK : E_NOINTERFACE;
    }
    // Lives on the stack of its caller, which outlives every use.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE Report(const char* check, BOOL ok, const char* reason) override {
        ++(ok ? passed : failed);
        if (ok)
            std::printf("passed  %s\n", check ? check : "?");
        else
            std::printf("FAILED  %s: %s\n", check ? check : "?",
                        reason && *reason ? reason : "no reason given");
        std::fflush(stdout);
        return S_OK;
    }
};

} // namespace

int runSelfTests(zul::runtime::Activator& activator, const std::vector<CLSID>& sources) {
    zul::com::ComPtr<zul::runtime::CHeadlessHost> host;
    {
        IHostModuleSite* site = nullptr;
        zul::com::createInstance<zul::runtime::CHeadlessHost>(
            nullptr, zul::com::iidOf<IHostModuleSite>(), reinterpret_cast<void**>(&site));
        host.Attach(static_cast<zul::runtime::CHeadlessHost*>(site));
    }
    if (!host || !host->viewer) return failure("cannot make the host", E_OUTOFMEMORY);
    CPrintedResults results;
    for (const CLSID& clsid : sources) {
        zul::com::ComPtr<IHostTestSource> source;
        HRESULT hr = activator.createInstance(clsid, nullptr, zul::com::iidOf<IHostTestSource>(),
                                              reinterpret_cast<void**>(source.GetAddressOf()));
        char name[39];
        zul::com::formatGuid(clsid, name);
        if (FAILED(hr)) {
            results.Report(name, 0,
                           ("cannot be created: " + zul::runtime::describeHresult(hr)).c_str());
            continue;
        }
        hr = source->RunTests(static_cast<IHostApplication*>(host->viewer.Get()), &results);
        if (FAILED(hr))
            results.Report(name, 0, ("cannot run: " + zul::runtime::describeHresult(hr)).c_str());
    }
    std::printf("%d passed, %d failed\n", results.passed, results.failed);
    return results.failed ? kFailure : kDone;
}

} // namespace krviews
