// CAdvancedViewsModuleMgr: the view menu. The table of stored views by
// index (slot i is command KRAV_ID_FIRST_VIEW + i), kept in step with the
// store's notifications and the locked up axis, and installed in the host's
// "&Standard Views" popup.
#include <cmath>

#include "AdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "Trace.h"
#include "ViewInfo.h"

namespace {

constexpr UINT kFirstViewCommand = krav::ids::kFirstView; // + view index
constexpr UINT kStandardViewsSubmenu = krav::ids::kStandardViewsPopup;

// True when the view looks exactly along world axis `axis` (1 X, 2 Y, 3 Z),
// either way.
bool s_lookingAlong(const FullViewInfo& info, int axis) {
    if (axis < 1 || axis > 3) return false;
    float v[3] = {info.pViewVector[0], info.pViewVector[1], info.pViewVector[2]};
    krav::NormalizeVector(v);
    for (int i = 0; i < 3; ++i)
        if (!krav::FloatsEqual(std::fabs(v[i]), i == axis - 1 ? 1.0f : 0.0f)) return false;
    return true;
}

} // namespace

void CAdvancedViewsModuleMgr::_putInMenu(const std::string& name, int index) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_putInMenu");
    if (index < 0) return;
    if (index >= static_cast<int>(m_viewMenu.size())) {
        m_viewMenu.resize(index + 1);
        m_viewMenuEnabled.resize(index + 1, 1);
    }
    m_viewMenu[index] = name;
    m_viewMenuEnabled[index] = 1;
}

void CAdvancedViewsModuleMgr::_fillViewMenu() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_fillViewMenu");
    auto store2 = _store2();
    for (const krav::StoredView& view : krav::ListStoredViews(store2.Get())) {
        _putInMenu(view.name, view.info.iViewIndex);
        if (view.info.iChangeBits & ViewChangeDefaultView) m_defaultViewName = view.name;
    }
    UpdateLockedVec(m_lockedUpAxis);
}

void CAdvancedViewsModuleMgr::_rebuildViewMenu() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_rebuildViewMenu");
    if (!m_menuInstallMode || m_suppressMenu || !m_menuManager) return;
    m_menuManager->RemoveMenuItems(m_moduleId, kFirstViewCommand, kFirstViewCommand + 1000);
    for (size_t k = 1; k < m_viewMenu.size(); ++k)
        if (!m_viewMenu[k].empty())
            m_menuManager->AddMenuItem(m_moduleId, kStandardViewsSubmenu,
                                       kFirstViewCommand + static_cast<UINT>(k),
                                       m_viewMenu[k].c_str(), m_viewMenuEnabled[k]);
}

void CAdvancedViewsModuleMgr::_tellDialog(const char* event, const char* name,
                                          const char* newName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_tellDialog");
    if (m_dialog) m_dialog->OnViewEvent(event, name, newName);
}

HRESULT CAdvancedViewsModuleMgr::_getViewName(UINT id, std::string& name) const {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_getViewName");
    const size_t slot = id - kFirstViewCommand;
    if (id < kFirstViewCommand || slot >= m_viewMenu.size()) return E_FAIL;
    name = m_viewMenu[slot];
    return name.empty() ? E_FAIL : S_OK;
}

// The handlers of a view that now stands in the store (created or edited):
// the table takes it at its index and the default name follows its mark.
HRESULT CAdvancedViewsModuleMgr::_noteStoredView(const char* name, const char* event) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_noteStoredView");
    if (!name) return E_POINTER;
    auto store2 = _store2();
    if (!store2) return E_FAIL;
    FullViewInfo info;
    if (store2->GetViewInfo(name, &info) == S_OK) {
        if (info.iViewIndex >= 0) _putInMenu(name, info.iViewIndex);
        if (info.iChangeBits & ViewChangeDefaultView)
            m_defaultViewName = name;
        else if (m_defaultViewName == name)
            m_defaultViewName.clear();
    }
    _rebuildViewMenu();
    _tellDialog(event, name);
    return S_OK;
}

// The handlers of a view about to go or change: its slot is emptied (for an
// edit only when the slot still holds this very name).
HRESULT CAdvancedViewsModuleMgr::_noteLeavingView(const char* name, const char* event,
                                                  bool onlyIfSame) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::_noteLeavingView");
    if (!name) return E_POINTER;
    auto store2 = _store2();
    if (!store2) return E_FAIL;
    FullViewInfo info;
    if (store2->GetViewInfo(name, &info) == S_OK && info.iViewIndex >= 0 &&
        info.iViewIndex < static_cast<int>(m_viewMenu.size()) &&
        (!onlyIfSame || m_viewMenu[info.iViewIndex] == name))
        m_viewMenu[info.iViewIndex].clear();
    _tellDialog(event, name);
    return S_OK;
}

// Created is handled like an edit, so the table holds every view at its index
// after a creation too; a batch suppresses menu rebuilds until its end, which
// rebuilds once.
HRESULT CAdvancedViewsModuleMgr::NotifyViewCreated(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewCreated");
    return _noteStoredView(pViewName, "Created");
}

HRESULT CAdvancedViewsModuleMgr::NotifyViewPreDestroy(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewPreDestroy");
    return _noteLeavingView(pViewName, "PreDestroy", false);
}

HRESULT CAdvancedViewsModuleMgr::NotifyViewDestroyed(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewDestroyed");
    if (!pViewName) return E_POINTER;
    if (!m_store) return E_FAIL;
    if (m_defaultViewName == pViewName) m_defaultViewName.clear();
    _rebuildViewMenu();
    _tellDialog("Destroyed", pViewName);
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::NotifyViewPreEdit(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewPreEdit");
    return _noteLeavingView(pViewName, "PreEdit", true);
}

HRESULT CAdvancedViewsModuleMgr::NotifyViewEdited(const char* pViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewEdited");
    return _noteStoredView(pViewName, "Edited");
}

HRESULT CAdvancedViewsModuleMgr::NotifyViewRenamed(const char* pOldViewName,
                                                   const char* pNewViewName) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewRenamed");
    if (!pOldViewName || !pNewViewName) return E_POINTER;
    auto store2 = _store2();
    if (!store2) return E_FAIL;
    FullViewInfo info;
    if (store2->GetViewInfo(pNewViewName, &info) != S_OK || info.iViewIndex < 0) return E_FAIL;
    for (auto& n : m_viewMenu)
        if (n == pOldViewName) n.clear();
    _putInMenu(pNewViewName, info.iViewIndex);
    if (info.iChangeBits & ViewChangeDefaultView) m_defaultViewName = pNewViewName;
    _rebuildViewMenu();
    _tellDialog("Renamed", pOldViewName, pNewViewName);
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::NotifyBatchViewEditBegin() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyBatchViewEditBegin");
    ++m_suppressMenu;
    _tellDialog("BatchBegin", nullptr);
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::NotifyBatchViewEditEnd() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyBatchViewEditEnd");
    if (m_suppressMenu > 0) --m_suppressMenu;
    // Views moved by the load's renumbering announce nothing: read the table anew.
    m_viewMenu.assign(1, std::string());
    m_viewMenuEnabled.assign(1, 0);
    _fillViewMenu();
    _rebuildViewMenu();
    _tellDialog("BatchEnd", nullptr);
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::NotifyViewChanged(FullViewInfo) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewChanged");
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::NotifyViewPreDraw() {
    KRAV_TRACE("CAdvancedViewsModuleMgr::NotifyViewPreDraw");
    return S_OK;
}

HRESULT CAdvancedViewsModuleMgr::UpdateLockedVec(int iLockedVec) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::UpdateLockedVec");
    m_lockedUpAxis = iLockedVec;
    using namespace krav::ids;
    m_alignEnabled[kAlignPlusX] = m_alignEnabled[kAlignMinusX] = iLockedVec != 1;
    m_alignEnabled[kAlignPlusY] = m_alignEnabled[kAlignMinusY] = iLockedVec != 2;
    m_alignEnabled[kAlignPlusZ] = m_alignEnabled[kAlignMinusZ] = iLockedVec != 3;
    auto store2 = _store2();
    for (size_t k = 0; k < m_viewMenu.size(); ++k) {
        if (iLockedVec < 1 || iLockedVec > 3) {
            m_viewMenuEnabled[k] = 1;
            continue;
        }
        FullViewInfo info;
        m_viewMenuEnabled[k] = !m_viewMenu[k].empty() && store2 &&
                               store2->GetViewInfo(m_viewMenu[k].c_str(), &info) == S_OK &&
                               !s_lookingAlong(info, iLockedVec);
    }
    _rebuildViewMenu();
    return S_OK;
}
