// CViewManager: the default view, and applying views through the navigator.
#include <algorithm>
#include <vector>

#include "Trace.h"
#include "ViewManager.h"

// ---------------------------------------------------------------------------
// Default view and applying views

std::vector<std::string> CViewManager::_markedViews() {
    KRAV_TRACE("CViewManager::_markedViews");
    std::vector<std::string> marked;
    for (const std::string& name : m_slots) {
        FullViewInfo info;
        if (!name.empty() && GetViewInfo(name.c_str(), &info) == S_OK &&
            (info.iChangeBits & ViewChangeDefaultView))
            marked.push_back(name);
    }
    return marked;
}

HRESULT CViewManager::GetDefaultView(FullViewInfo* pViewInfo) {
    KRAV_TRACE("CViewManager::GetDefaultView");
    if (!pViewInfo) return E_POINTER;
    return zul::com::firewall([&]() -> HRESULT {
        OpScope tx(*this);
        if (!m_defaultName.empty()) return GetViewInfo(m_defaultName.c_str(), pViewInfo);
        if (m_slots.empty()) return E_FAIL;
        for (const std::string& name : m_slots) {
            if (name.empty()) continue;
            FullViewInfo info;
            if (GetViewInfo(name.c_str(), &info) != S_OK) return E_FAIL;
            if (info.iChangeBits & ViewChangeDefaultView) {
                m_defaultName = name;
                *pViewInfo = info;
                return S_OK;
            }
        }
        return E_FAIL;
    });
}

HRESULT CViewManager::SetDefaultView(const char* pViewName) {
    KRAV_TRACE("CViewManager::SetDefaultView");
    std::string text;
    AsStoreText(pViewName, text);
    return zul::com::firewall([&]() -> HRESULT {
        // Moving the mark is one durable step. Every view found marked loses
        // it (files of older versions could mark several), each by an edit.
        OpScope tx(*this, true);
        FullViewInfo info;
        for (const std::string& marked : _markedViews()) {
            if (GetViewInfo(marked.c_str(), &info) != S_OK) continue;
            info.iChangeBits &= ~ViewChangeDefaultView;
            const HRESULT hr = EditViewInfo(marked.c_str(), info);
            if (FAILED(hr)) return hr;
        }
        m_defaultName.clear();
        if (pViewName && std::find(m_slots.begin(), m_slots.end(), pViewName) != m_slots.end()) {
            HRESULT hr = GetViewInfo(pViewName, &info);
            if (hr != S_OK) return FAILED(hr) ? hr : E_FAIL;
            info.iChangeBits |= ViewChangeDefaultView;
            hr = EditViewInfo(pViewName, info);
            if (FAILED(hr)) return hr;
            m_defaultName = pViewName;
        }
        return tx.commit() == ERROR_SUCCESS ? S_OK : E_FAIL;
    });
}

HRESULT CViewManager::ShowViewExt(const char* pViewName) {
    KRAV_TRACE("CViewManager::ShowViewExt");
    if (!pViewName) return E_POINTER;
    FullViewInfo info;
    const HRESULT hr = GetViewInfo(pViewName, &info);
    if (hr != S_OK) return hr;
    if (!m_navigator) return E_FAIL;
    return m_navigator->SetViewInfo(&info);
}

HRESULT CViewManager::ShowView(const char* pViewName) {
    KRAV_TRACE("CViewManager::ShowView");
    return ShowViewExt(pViewName);
}

HRESULT CViewManager::ApplyDefaultView() {
    KRAV_TRACE("CViewManager::ApplyDefaultView");
    if (!m_navigator) return E_UNEXPECTED;
    FullViewInfo info;
    const HRESULT hr = GetDefaultView(&info);
    if (m_defaultName.empty()) return S_FALSE;
    if (hr != S_OK) return hr;
    return m_navigator->SetViewInfo(&info);
}

HRESULT CViewManager::BindViewNavigator(IViewNavigator* pNavigator) {
    KRAV_TRACE("CViewManager::BindViewNavigator");
    m_navigator = zul::com::ComPtr<IViewNavigator>(pNavigator);
    return S_OK;
}
