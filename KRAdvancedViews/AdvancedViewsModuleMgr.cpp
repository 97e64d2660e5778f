#include "AdvancedViewsModuleMgr.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "KRAdvancedViews/StoreLayout.h"
#include "Trace.h"
#include "ViewInfo.h"
#include "resources/StringTable.h"
#include "zul/registry/RegHelper.h"

namespace {

constexpr UINT kFullMenu = krav::ids::kMenuFull, kShortMenu = krav::ids::kMenuShort;
constexpr DWORD kModulePickMode = 1; // the host's pick mode for points and parts

krav::StandardViewsDialogFactory s_dialogFactory = nullptr;
krav::NavigatorDialogFactory s_navigatorDialogFactory = nullptr;

// The navigator's site for one viewer: the viewer's application interface,
// the module's message service, and the module as the owner that hears of
// changes of the locked up axis.
class CNavigatorSite final : public IUnknown {
public:
    CNavigatorSite(zul::com::ComPtr<IHostApplication> app, zul::com::ComPtr<IHostUIService> ui,
                   IViewNavigatorOwner* owner)
        : app_(std::move(app)), ui_(std::move(ui)), owner_(owner) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        IUnknown* out = nullptr;
        if (iid == IID_IUnknown)
            out = this;
        else if (iid == zul::com::iidOf<IHostApplication>())
            out = app_.Get();
        else if (iid == IID_IHostUIService)
            out = ui_.Get();
        else if (iid == zul::com::iidOf<IViewNavigatorOwner>())
            out = owner_.Get();
        if (!out) return E_NOINTERFACE;
        out->AddRef();
        *ppv = out;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs_;
        if (left == 0) delete this;
        return left;
    }

private:
    std::atomic<ULONG> refs_{1};
    zul::com::ComPtr<IHostApplication> app_;
    zul::com::ComPtr<IHostUIService> ui_;
    zul::com::ComPtr<IViewNavigatorOwner> owner_;
};

// Copies `text` into a caller's buffer of *pLen bytes with the capacity rules
// of GetViewNamesExt: *pLen always receives the size needed.
HRESULT s_copyOut(const std::string& text, ULONG* pLen, char* buffer) {
    const ULONG capacity = *pLen;
    *pLen = static_cast<ULONG>(text.size() + 1);
    if (capacity < *pLen) return E_OUTOFMEMORY;
    if (!buffer) return E_POINTER;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return S_OK;
}

} // namespace

void krav::SetDialogFactories(StandardViewsDialogFactory standardViews,
                              NavigatorDialogFactory navigator) {
    s_dialogFactory = standardViews;
    s_navigatorDialogFactory = navigator;
}

CAdvancedViewsModuleMgr::CAdvancedViewsModuleMgr() {
    for (UINT id = krav::ids::kAlignMinusX; id <= krav::ids::kAlignPlusZ; ++id)
        m_alignEnabled[id] = 1;
}

CAdvancedViewsModuleMgr::~CAdvancedViewsModuleMgr() = default;

int CAdvancedViewsModuleMgr::alignEnabled(UINT id) const {
    const auto it = m_alignEnabled.find(id);
    return it == m_alignEnabled.end() ? 0 : it->second;
}

zul::com::ComPtr<IViewManager2> CAdvancedViewsModuleMgr::_store2() const {
    zul::com::ComPtr<IViewManager2> s;
    if (m_store) m_store.As(s);
    return s;
}

// ---------------------------------------------------------------------------
// Site, start and stop

HRESULT CAdvancedViewsModuleMgr::SetSite(IUnknown* pUnkSite) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::SetSite");
    m_site.Reset();
    if (pUnkSite)
        return pUnkSite->QueryInterface(zul::com::iidOf<IHostModuleSite>(),
                                        reinterpret_cast<void**>(m_site.GetAddressOf()));
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::GetSite(REFIID riid, void** ppvSite) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::GetSite");
    if (!ppvSite) return E_POINTER;
    *ppvSite = nullptr;
    return m_site ? m_site->QueryInterface(riid, ppvSite) : E_FAIL;
}

HRESULT CAdvancedViewsModuleMgr::SetMenuInstallMode(BOOL full) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::SetMenuInstallMode");
    m_menuInstallMode = full ? TRUE : FALSE;
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::_start() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_start");
    if (!m_site) return E_POINTER;
    HRESULT hr = m_site->GetModuleValue(KEY_HostModuleId, &m_moduleId);
    if (SUCCEEDED(hr)) hr = m_site->GetModuleValue(KEY_HostFrameId, &m_frameId);
    if (SUCCEEDED(hr))
        hr = m_site->GetObject(m_frameId, zul::com::iidOf<IHostFrame>(),
                               reinterpret_cast<void**>(m_frame.ReleaseAndGetAddressOf()));
    if (SUCCEEDED(hr)) hr = m_frame.As(m_menuManager);
    if (SUCCEEDED(hr))
        hr = m_menuInstallMode ? m_menuManager->InstallMenuWithHandler(m_moduleId, kFullMenu, this)
                               : m_menuManager->InstallMenu(m_moduleId, &m_menuHandle, kShortMenu);
    if (SUCCEEDED(hr)) hr = m_frame.As(m_ui);
    if (SUCCEEDED(hr)) hr = m_site->RegisterModuleUI(m_menuHandle, m_uiValue1, m_uiValue2);
    return hr;
}

HRESULT CAdvancedViewsModuleMgr::_stop() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_stop");
    HRESULT result = E_FAIL;
    _closeDialogs();
    if (m_menuManager) {
        if (m_menuInstallMode)
            m_menuManager->RemoveMenuWithHandler(m_moduleId, kFullMenu, this);
        else
            m_menuManager->RemoveMenu(m_moduleId, m_menuHandle, kShortMenu);
        result = m_site ? m_site->UnregisterModuleUI(m_menuHandle, m_uiValue1, m_uiValue2) : E_FAIL;
    }
    _destroyObjects();
    m_site.Reset();
    m_frame.Reset();
    m_menuManager.Reset();
    m_ui.Reset();
    m_commandService.Reset();
    m_store.Reset();
    m_navigator.Reset();
    return result;
}

// ---------------------------------------------------------------------------
// Viewers

HRESULT CAdvancedViewsModuleMgr::_bindNavigator(DWORD viewer) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_bindNavigator");
    zul::com::ComPtr<IObjectWithSite> withSite;
    if (!m_navigator || FAILED(m_navigator.As(withSite))) return E_FAIL;
    zul::com::ComPtr<IHostApplication> app;
    const HRESULT hr = m_site->GetObject(viewer, zul::com::iidOf<IHostApplication>(),
                                         reinterpret_cast<void**>(app.GetAddressOf()));
    if (FAILED(hr)) return hr;
    auto* site = new CNavigatorSite(app, m_ui, this);
    withSite->SetSite(site);
    site->Release();
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::AttachViewer(DWORD viewerId) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::AttachViewer");
    if (!m_site) return E_FAIL;
    return zul::com::firewall([&]() -> HRESULT {
        ++m_attachCount;
        const bool changed = viewerId != m_attachedViewer;
        m_attachedViewer = viewerId;
        if (m_store) {
            if (changed) _bindNavigator(viewerId);
            if (auto store2 = _store2()) store2->ApplyDefaultView();
            return S_OK;
        }
        HRESULT hr = m_site->CreateModuleObject(CLSID_ViewManager, &m_storeCookie);
        if (SUCCEEDED(hr))
            hr = m_site->GetObject(m_storeCookie, IID_IViewManager,
                                   reinterpret_cast<void**>(m_store.GetAddressOf()));
        if (SUCCEEDED(hr)) hr = m_site->CreateModuleObject(CLSID_ViewNavigator, &m_navigatorCookie);
        if (SUCCEEDED(hr))
            hr = m_site->GetObject(m_navigatorCookie, IID_IViewNavigator,
                                   reinterpret_cast<void**>(m_navigator.GetAddressOf()));
        if (SUCCEEDED(hr)) hr = _bindNavigator(viewerId);
        auto store2 = _store2();
        if (SUCCEEDED(hr) && !store2) hr = E_NOINTERFACE;
        if (SUCCEEDED(hr)) hr = store2->BindViewNavigator(m_navigator.Get());
        if (FAILED(hr)) {
            --m_attachCount;
            _destroyObjects();
            m_attachedViewer = 0;
            return hr;
        }
        // The store shows its messages through the host's message service.
        zul::com::ComPtr<IObjectWithSite> storeSite;
        if (m_ui && SUCCEEDED(m_store.As(storeSite))) storeSite->SetSite(m_ui.Get());
        store2->ApplyDefaultView();
        // After a first creation: the dialog (only for a host with a window),
        // the store for the navigator's dialog, and the module's listeners.
        _createDialogs();
        zul::com::ComPtr<IViewNavigator2> nav2;
        if (SUCCEEDED(m_navigator.As(nav2))) nav2->DlgSetup(m_store.Get());
        _fillViewMenu();
        store2->RegisterInterest(this);
        m_navigator->RegisterInterest(this);
        _rebuildViewMenu();
        return S_OK;
    });
}

// The frame's window service, or empty.
zul::com::ComPtr<IHostWindowService> CAdvancedViewsModuleMgr::_windowService() const {
    zul::com::ComPtr<IHostWindowService> windows;
    DWORD frameId = 0;
    if (m_site && SUCCEEDED(m_site->GetModuleValue(KEY_HostFrameId, &frameId)))
        m_site->GetObject(frameId, zul::com::iidOf<IHostWindowService>(),
                          reinterpret_cast<void**>(windows.GetAddressOf()));
    return windows;
}

// The dialogs exist only for a host with a window: the Standard Views dialog
// is created hidden on the first attach and handed to the host's window
// service, the Rotate dialog is handed to the navigator. Both live until Stop.
void CAdvancedViewsModuleMgr::_createDialogs() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_createDialogs");
    UINT_PTR parent = 0;
    if (!m_frame || FAILED(m_frame->GetWindowHandle(&parent)) || !parent) return;
    krav::DialogContext context;
    context.store = m_store.Get();
    context.navigator = m_navigator.Get();
    context.picking = this;
    context.ui = m_ui.Get();
    if (!m_commandService) m_frame.As(m_commandService);
    context.commands = m_commandService.Get();
    context.parent = parent;
    const auto windows = _windowService();
    UINT_PTR handle = 0;
    if (!m_dialog && s_dialogFactory &&
        SUCCEEDED(s_dialogFactory(context, m_dialog.GetAddressOf())) && windows &&
        SUCCEEDED(m_dialog->GetWindowHandle(&handle)))
        windows->AdoptWindow(handle);
    zul::com::ComPtr<IViewNavigatorDialogHolder> holder;
    if (!m_navigatorDialog && s_navigatorDialogFactory && SUCCEEDED(m_navigator.As(holder)) &&
        SUCCEEDED(s_navigatorDialogFactory(context, m_navigatorDialog.GetAddressOf()))) {
        holder->SetDialog(m_navigatorDialog.Get());
        if (windows && SUCCEEDED(m_navigatorDialog->GetWindowHandle(&handle)))
            windows->AdoptWindow(handle);
    }
}

void CAdvancedViewsModuleMgr::_closeDialogs() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_closeDialogs");
    if (!m_dialog && !m_navigatorDialog) return;
    const auto windows = _windowService();
    UINT_PTR handle = 0;
    if (m_dialog) {
        if (windows && SUCCEEDED(m_dialog->GetWindowHandle(&handle)))
            windows->ReleaseWindow(handle);
        m_dialog->Close();
        m_dialog.Reset();
    }
    if (m_navigatorDialog) {
        if (windows && SUCCEEDED(m_navigatorDialog->GetWindowHandle(&handle)))
            windows->ReleaseWindow(handle);
        m_navigatorDialog->Setup(nullptr);
        m_navigatorDialog->Close();
        m_navigatorDialog.Reset();
    }
}

void CAdvancedViewsModuleMgr::_destroyObjects() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_destroyObjects");
    // The dialogs hold the store and the navigator, so they go first.
    _closeDialogs();
    if (auto store2 = _store2()) {
        store2->UnregisterInterest(this);
        store2->BindViewNavigator(nullptr);
        zul::com::ComPtr<IObjectWithSite> storeSite;
        if (SUCCEEDED(store2.As(storeSite))) storeSite->SetSite(nullptr);
    }
    if (m_navigator) {
        m_navigator->UnregisterInterest(this);
        zul::com::ComPtr<IViewNavigator2> nav2;
        if (m_closeControlDialog && SUCCEEDED(m_navigator.As(nav2))) nav2->DlgShow(0);
        if (SUCCEEDED(m_navigator.As(nav2))) nav2->DlgSetup(nullptr);
        zul::com::ComPtr<IViewNavigatorDialogHolder> holder;
        if (SUCCEEDED(m_navigator.As(holder))) holder->SetDialog(nullptr);
        zul::com::ComPtr<IObjectWithSite> withSite;
        if (SUCCEEDED(m_navigator.As(withSite))) withSite->SetSite(nullptr);
    }
    m_controlDialogShown = m_closeControlDialog = 0;
    if (m_dialog && m_closeEditDialog) m_dialog->Show(FALSE);
    m_editDialogShown = m_closeEditDialog = 0;
    m_store.Reset();
    m_navigator.Reset();
    if (m_site) {
        for (DWORD* cookie : {&m_storeCookie, &m_navigatorCookie}) {
            if (!*cookie) continue;
            m_site->DeactivateModuleObject(*cookie);
            m_site->DestroyModuleObject(*cookie);
        }
    }
    m_storeCookie = m_navigatorCookie = 0;
    m_viewMenu.assign(1, std::string());
    m_viewMenuEnabled.assign(1, 0);
    m_attachCount = 0;
}

HRESULT CAdvancedViewsModuleMgr::DetachViewer(DWORD viewerId) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::DetachViewer");
    if (m_attachCount <= 0) return S_FALSE;
    if (--m_attachCount == 0) _destroyObjects();
    if (m_attachCount == 0 && m_attachedViewer == viewerId) m_attachedViewer = 0;
    return S_OK;
}

// ---------------------------------------------------------------------------
// IAdvancedViewsModuleMgr

HRESULT CAdvancedViewsModuleMgr::GetCurrentLum3DViewHandle(DWORD* pHandle) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::GetCurrentLum3DViewHandle");
    if (!pHandle) return E_POINTER;
    *pHandle = m_attachedViewer;
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::GetNumberViews(int* nViews) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::GetNumberViews");
    if (!nViews) return E_POINTER;
    *nViews = static_cast<int>(std::count_if(m_viewMenu.begin(), m_viewMenu.end(),
                                             [](const auto& n) { return !n.empty(); }));
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::GetViewNamesExt(ULONG* pLen, char* pNames) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::GetViewNamesExt");
    if (!pLen) return E_POINTER;
    return zul::com::firewall([&] {
        std::string joined;
        for (const auto& n : m_viewMenu) {
            if (n.empty()) continue;
            if (!joined.empty()) joined += ';';
            joined += n;
        }
        return s_copyOut(joined, pLen, pNames);
    });
}

HRESULT CAdvancedViewsModuleMgr::GetViewNames(char*) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::GetViewNames");
    // Never writes the caller's buffer: the list goes to a private one.
    std::vector<char> buffer(1028);
    ULONG len = static_cast<ULONG>(buffer.size());
    HRESULT hr = GetViewNamesExt(&len, buffer.data());
    if (hr == E_OUTOFMEMORY) {
        buffer.resize(len);
        hr = GetViewNamesExt(&len, buffer.data());
    }
    return hr;
}

HRESULT CAdvancedViewsModuleMgr::SetAngleOfRotation(float angle) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::SetAngleOfRotation");
    return m_navigator ? m_navigator->SetAngleOfRotation(angle) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::GetAngleOfRotation(float* pAngle) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::GetAngleOfRotation");
    return m_navigator ? m_navigator->GetAngleOfRotation(pAngle) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::AlignToAxis(AxisEnum axis) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::AlignToAxis");
    return m_navigator ? m_navigator->AlignToAxis(axis) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::RotateAroundAxis(AxisEnum axis) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::RotateAroundAxis");
    return m_navigator ? m_navigator->RotateAroundAxis(axis) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::RotateAroundAxisByAngle(AxisEnum axis, float angle) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::RotateAroundAxisByAngle");
    return m_navigator ? m_navigator->RotateAroundAxisByAngle(axis, angle) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::AddView(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::AddView");
    auto store2 = _store2();
    if (!store2 || !m_navigator) return E_POINTER;
    FullViewInfo info;
    const HRESULT hr = m_navigator->GetViewInfo(&info);
    if (FAILED(hr)) return hr;
    return store2->CreateViewInfo(pViewName, info);
}

HRESULT CAdvancedViewsModuleMgr::ReplaceView(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::ReplaceView");
    auto store2 = _store2();
    if (!store2 || !m_navigator) return E_POINTER;
    if (!pViewName ||
        std::find(m_viewMenu.begin(), m_viewMenu.end(), pViewName) == m_viewMenu.end())
        return E_FAIL;
    FullViewInfo stored, live;
    HRESULT hr = store2->GetViewInfo(pViewName, &stored);
    if (FAILED(hr)) return hr;
    if (FAILED(hr = m_navigator->GetViewInfo(&live))) return hr;
    return store2->EditViewInfo(pViewName, live);
}

HRESULT CAdvancedViewsModuleMgr::RenameView(const char* pOldName, const char* pNewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::RenameView");
    return m_store ? m_store->RenameView(pOldName, pNewName) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::DeleteView(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::DeleteView");
    auto store2 = _store2();
    if (!store2 || !pViewName) return E_POINTER;
    const auto it = std::find(m_viewMenu.begin() + 1, m_viewMenu.end(), pViewName);
    if (it == m_viewMenu.end()) return E_POINTER;
    const size_t slot = static_cast<size_t>(it - m_viewMenu.begin());
    HRESULT hr = store2->DestroyView(pViewName);
    if (FAILED(hr)) return hr;
    // Every later view is written back (its index may move into the gap).
    const std::vector<std::string> later(m_viewMenu.begin() + static_cast<long>(slot) + 1,
                                         m_viewMenu.end());
    for (const std::string& name : later) {
        if (name.empty()) continue;
        FullViewInfo info;
        if (store2->GetViewInfo(name.c_str(), &info) == S_OK)
            store2->EditViewInfo(name.c_str(), info);
    }
    return hr;
}

HRESULT CAdvancedViewsModuleMgr::ShowView(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::ShowView");
    return m_store ? m_store->ShowView(pViewName) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::SaveViews(char* pFilePath, FileTypeEnum fileType) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::SaveViews");
    return m_store ? m_store->SaveViews(pFilePath, fileType) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::LoadViews(char* pFilePath, FileTypeEnum fileType) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::LoadViews");
    return m_store ? m_store->LoadViews(pFilePath, fileType) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::SetDefaultView(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::SetDefaultView");
    auto store2 = _store2();
    return store2 ? store2->SetDefaultView(pViewName) : E_POINTER;
}

HRESULT CAdvancedViewsModuleMgr::GetDefaultView(ULONG* pLen, char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::GetDefaultView");
    auto store2 = _store2();
    if (!pLen || !store2) return E_POINTER;
    return zul::com::firewall([&]() -> HRESULT {
        // The store answers with the record; the name is the view in the
        // table that carries the mark.
        FullViewInfo info;
        const HRESULT hr = store2->GetDefaultView(&info);
        if (hr != S_OK) return hr;
        for (const auto& n : m_viewMenu) {
            FullViewInfo r;
            if (!n.empty() && store2->GetViewInfo(n.c_str(), &r) == S_OK &&
                (r.iChangeBits & ViewChangeDefaultView))
                return s_copyOut(n, pLen, pViewName);
        }
        return E_FAIL;
    });
}

HRESULT CAdvancedViewsModuleMgr::ApplyDefaultView() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::ApplyDefaultView");
    auto store2 = _store2();
    return store2 ? store2->ApplyDefaultView() : E_UNEXPECTED;
}

// ---------------------------------------------------------------------------
// Picking

HRESULT CAdvancedViewsModuleMgr::HandlePickForDialog(int bStart) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::HandlePickForDialog");
    if (!m_site) return E_FAIL;
    zul::com::ComPtr<IHostSceneGraph> scene;
    zul::com::ComPtr<IHostPickService> pick;
    HRESULT hr = m_site->GetObject(m_attachedViewer, zul::com::iidOf<IHostSceneGraph>(),
                                   reinterpret_cast<void**>(scene.GetAddressOf()));
    if (SUCCEEDED(hr)) hr = scene.As(pick);
    if (FAILED(hr)) return hr;
    if (bStart) {
        if (FAILED(hr = pick->BeginPick())) return hr;
        m_pickModeSaved = SUCCEEDED(pick->GetPickMode(&m_savedPickMode));
        return pick->SetPickMode(kModulePickMode);
    }
    hr = pick->EndPick();
    if (m_pickModeSaved) pick->SetPickMode(m_savedPickMode);
    m_pickModeSaved = false;
    return hr;
}

HRESULT CAdvancedViewsModuleMgr::_getPartCenter(DWORD partId, float center[3]) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_getPartCenter");
    if (!center) return E_POINTER;
    if (!m_site) return E_FAIL;
    zul::com::ComPtr<IHostSceneGraph> scene;
    HRESULT hr = m_site->GetObject(m_attachedViewer, zul::com::iidOf<IHostSceneGraph>(),
                                   reinterpret_cast<void**>(scene.GetAddressOf()));
    if (FAILED(hr)) return hr;
    float lo[3], hi[3];
    if (FAILED(hr = scene->GetPartBoundingBox(partId, lo, hi))) return hr;
    for (int i = 0; i < 3; ++i)
        center[i] = (lo[i] + hi[i]) * 0.5f;
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::NotifyPicked() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyPicked");
    if (!m_dialog) return E_UNEXPECTED;
    if (!m_site) return E_FAIL;
    BOOL point = TRUE;
    m_dialog->IsPointPick(&point);
    zul::com::ComPtr<IHostPickService> pick;
    HRESULT hr = m_site->GetObject(m_attachedViewer, zul::com::iidOf<IHostPickService>(),
                                   reinterpret_cast<void**>(pick.GetAddressOf()));
    if (FAILED(hr)) return hr;
    float v[3] = {0, 0, 0};
    if (point) {
        hr = pick->GetPickedPoint(v);
    } else {
        DWORD part = 0;
        hr = pick->GetPickedPart(&part);
        if (SUCCEEDED(hr)) hr = _getPartCenter(part, v);
    }
    return FAILED(hr) ? hr : m_dialog->SetPickedVector(v);
}
