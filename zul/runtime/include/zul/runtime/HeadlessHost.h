// A host without windows for the module manager: the module site with its
// frame services (menus and windows accepted and ignored, messages to
// standard error) and one in-memory viewer. Module objects are made by the
// function the host is given (a host makes them from the module's class
// objects).
#pragma once

#include <cstdio>
#include <functional>
#include <map>

#include "KRAdvancedViews/host/IHostModuleSite.h"
#include "zul/com/ComPtr.h"
#include "zul/runtime/CameraModel.h"

namespace zul::runtime {

class CHeadlessHost : public zul::com::ObjectRoot,
                      public IHostModuleSite,
                      public IHostFrame,
                      public IHostMenuManager,
                      public IHostUIService,
                      public IHostWindowService {
public:
    ZUL_BEGIN_INTERFACE_MAP(CHeadlessHost)
    ZUL_INTERFACE_ENTRY(IHostModuleSite)
    ZUL_INTERFACE_ENTRY(IHostFrame)
    ZUL_INTERFACE_ENTRY(IHostMenuManager)
    ZUL_INTERFACE_ENTRY(IHostUIService)
    ZUL_INTERFACE_ENTRY(IHostWindowService)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    static constexpr DWORD kModuleId = 1, kFrameId = 2, kViewerId = 3;

    // Makes an object of the module's class `clsid`.
    std::function<HRESULT(REFCLSID clsid, IUnknown** ppObject)> createObject;
    zul::com::ComPtr<CCameraModel> viewer;

    CHeadlessHost() {
        IHostApplication* app = nullptr;
        zul::com::createInstance<CCameraModel>(nullptr, zul::com::iidOf<IHostApplication>(),
                                               reinterpret_cast<void**>(&app));
        viewer.Attach(static_cast<CCameraModel*>(app));
        if (viewer) viewer->printMessages = true;
    }

    // The module object of `cookie` as interface I, or empty.
    template <class I> zul::com::ComPtr<I> object(DWORD cookie) const {
        zul::com::ComPtr<I> out;
        if (auto it = objects_.find(cookie); it != objects_.end())
            it->second->QueryInterface(zul::com::iidOf<I>(),
                                       reinterpret_cast<void**>(out.GetAddressOf()));
        return out;
    }
    // The first module object that answers I.
    template <class I> zul::com::ComPtr<I> firstObject() const {
        for (const auto& [cookie, obj] : objects_)
            if (auto p = object<I>(cookie)) return p;
        return {};
    }

    // IHostModuleSite
    HRESULT STDMETHODCALLTYPE GetModuleValue(REFGUID key, DWORD* v) override {
        if (!v) return E_POINTER;
        if (key == KEY_HostModuleId)
            *v = kModuleId;
        else if (key == KEY_HostFrameId)
            *v = kFrameId;
        else
            return E_INVALIDARG;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetObject(DWORD id, REFIID riid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        if (id == kFrameId) return QueryInterface(riid, ppv);
        if (id == kViewerId) return viewer ? viewer->QueryInterface(riid, ppv) : E_FAIL;
        const auto it = objects_.find(id);
        return it == objects_.end() ? E_INVALIDARG : it->second->QueryInterface(riid, ppv);
    }
    HRESULT STDMETHODCALLTYPE CreateModuleObject(REFCLSID clsid, DWORD* pCookie) override {
        if (!pCookie) return E_POINTER;
        if (!createObject) return E_FAIL;
        zul::com::ComPtr<IUnknown> obj;
        const HRESULT hr = createObject(clsid, obj.GetAddressOf());
        if (FAILED(hr)) return hr;
        *pCookie = next_++;
        objects_[*pCookie] = obj;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DeactivateModuleObject(DWORD cookie) override {
        return objects_.count(cookie) ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE DestroyModuleObject(DWORD cookie) override {
        return objects_.erase(cookie) ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE RegisterModuleUI(DWORD, DWORD, DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE UnregisterModuleUI(DWORD, DWORD, DWORD) override { return S_OK; }
    // IHostFrame: no window.
    HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* h) override {
        if (!h) return E_POINTER;
        *h = 0;
        return S_OK;
    }
    // IHostMenuManager: there are no menus to show.
    HRESULT STDMETHODCALLTYPE InstallMenuWithHandler(DWORD, UINT, IHostCommandHandler*) override {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RemoveMenuWithHandler(DWORD, UINT, IHostCommandHandler*) override {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE InstallMenu(DWORD, DWORD* handle, UINT) override {
        if (handle) *handle = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RemoveMenu(DWORD, DWORD, UINT) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE RemoveMenuItems(DWORD, UINT, UINT) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE AddMenuItem(DWORD, UINT, UINT, const char*, BOOL) override {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE TrackPopupMenu(DWORD, UINT, const UINT*, UINT,
                                             UINT* chosen) override {
        if (chosen) *chosen = 0;
        return S_OK;
    }
    // IHostUIService: standard error.
    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char*, UINT,
                                          int* result) override {
        ++messagesShown;
        std::fprintf(stderr, "%s\n", text ? text : "");
        if (result) *result = 1;
        return S_OK;
    }
    // IHostWindowService: there are no windows.
    HRESULT STDMETHODCALLTYPE AdoptWindow(UINT_PTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE ReleaseWindow(UINT_PTR) override { return S_OK; }

    // How many messages were shown: a tool tells the user a failure itself
    // only when the module did not.
    unsigned messagesShown = 0;

private:
    std::map<DWORD, zul::com::ComPtr<IUnknown>> objects_;
    DWORD next_ = 100;
};

} // namespace zul::runtime
