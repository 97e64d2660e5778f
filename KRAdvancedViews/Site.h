// The site a module object is given (IObjectWithSite), through which it
// reaches the host's services.
#pragma once

#include "zul/com/ObjectWithSite.h"

#include "KRAdvancedViews/host/IHostUIService.h"
#include "resources/StringTable.h"
#include "zul/com/ComPtr.h"

namespace krav {

class CSite {
public:
    void set(IUnknown* site) { site_ = zul::com::ComPtr<IUnknown>(site); }
    HRESULT get(REFIID riid, void** ppv) const {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        return site_ ? site_->QueryInterface(riid, ppv) : E_FAIL;
    }
    // The site's interface I, or an empty pointer.
    template <class I> zul::com::ComPtr<I> query() const {
        zul::com::ComPtr<I> out;
        if (site_)
            site_->QueryInterface(zul::com::iidOf<I>(),
                                  reinterpret_cast<void**>(out.GetAddressOf()));
        return out;
    }
    // Shows string `id` through the host's IHostUIService; nothing without one.
    void showMessage(unsigned id, UINT type) const {
        if (auto ui = query<IHostUIService>())
            ui->ShowMessage(LoadModuleString(id), "Standard Views", type, nullptr);
    }

    // Shows `text` the same way; false without a UI service.
    bool showText(const std::string& text, UINT type) const {
        auto ui = query<IHostUIService>();
        if (ui) ui->ShowMessage(text.c_str(), "Standard Views", type, nullptr);
        return bool(ui);
    }

private:
    zul::com::ComPtr<IUnknown> site_;
};

} // namespace krav
