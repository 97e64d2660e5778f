// A host UI service that records the messages shown through it.
#pragma once

#include <string>
#include <vector>

#include "KRAdvancedViews/host/IHostUIService.h"
#include "zul/com/Object.h"

namespace krav::test {

class CRecordingUI : public zul::com::ObjectRoot, public IHostUIService {
public:
    ZUL_BEGIN_INTERFACE_MAP(CRecordingUI)
    ZUL_INTERFACE_ENTRY(IHostUIService)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN
    // Each text, with " [!]" when shown as a warning.
    std::vector<std::string> shown;
    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char*, UINT type, int*) override {
        shown.push_back(std::string(text) + (type == MB_ICONEXCLAMATION ? " [!]" : ""));
        return S_OK;
    }
};

} // namespace krav::test
