// CViewManager: announcing changes to the listeners, and the store's own
// listener, through which it keeps its slot table in step with the registry.
#include <algorithm>
#include <vector>

#include "Trace.h"
#include "ViewManager.h"

// ---------------------------------------------------------------------------
// Announcing

void CViewManager::_announce(Event event, const char* name, const char* newName) {
    KRAV_TRACE("CViewManager::_announce");
    // The store hears first, then a copy of the list in registration order,
    // so a listener may unregister while it is being called.
    std::vector<IViewManagerSink*> sinks;
    sinks.reserve(m_sinks.size() + 1);
    sinks.push_back(static_cast<IViewManagerSink*>(this));
    for (IViewManagerSink* s : m_sinks) {
        s->AddRef();
        sinks.push_back(s);
    }
    for (IViewManagerSink* s : sinks) {
        switch (event) {
        case Event::Created:
            s->NotifyViewCreated(name);
            break;
        case Event::PreDestroy:
            s->NotifyViewPreDestroy(name);
            break;
        case Event::Destroyed:
            s->NotifyViewDestroyed(name);
            break;
        case Event::PreEdit:
            s->NotifyViewPreEdit(name);
            break;
        case Event::Edited:
            s->NotifyViewEdited(name);
            break;
        case Event::Renamed:
            s->NotifyViewRenamed(name, newName);
            break;
        case Event::BatchBegin:
            s->NotifyBatchViewEditBegin();
            break;
        case Event::BatchEnd:
            s->NotifyBatchViewEditEnd();
            break;
        }
    }
    for (size_t i = 1; i < sinks.size(); ++i)
        sinks[i]->Release();
}

HRESULT CViewManager::RegisterInterest(IViewManagerSink* pSink) {
    KRAV_TRACE("CViewManager::RegisterInterest");
    if (!pSink) return E_POINTER;
    if (std::find(m_sinks.begin(), m_sinks.end(), pSink) != m_sinks.end()) return S_FALSE;
    return zul::com::firewall([&] {
        m_sinks.push_back(pSink);
        pSink->AddRef();
        return S_OK;
    });
}

HRESULT CViewManager::UnregisterInterest(IViewManagerSink* pSink) {
    KRAV_TRACE("CViewManager::UnregisterInterest");
    if (!pSink) return E_POINTER;
    auto it = std::find(m_sinks.begin(), m_sinks.end(), pSink);
    if (it == m_sinks.end()) return S_FALSE;
    m_sinks.erase(it);
    pSink->Release();
    return S_OK;
}

HRESULT CViewManager::BeginBatchViewEdit() {
    KRAV_TRACE("CViewManager::BeginBatchViewEdit");
    return zul::com::firewall([&] {
        _announce(Event::BatchBegin);
        return S_OK;
    });
}

HRESULT CViewManager::EndBatchViewEdit() {
    KRAV_TRACE("CViewManager::EndBatchViewEdit");
    return zul::com::firewall([&] {
        _announce(Event::BatchEnd);
        return S_OK;
    });
}

// ---------------------------------------------------------------------------
// The store's own listener

HRESULT CViewManager::NotifyViewCreated(const char* pViewName) {
    KRAV_TRACE("CViewManager::NotifyViewCreated");
    if (!pViewName) return E_POINTER;
    int index = -1;
    if (_readIndex(pViewName, index) != S_OK) return E_FAIL;
    _putInSlot(pViewName, index);
    return S_OK;
}

HRESULT CViewManager::NotifyViewEdited(const char* pViewName) {
    KRAV_TRACE("CViewManager::NotifyViewEdited");
    return NotifyViewCreated(pViewName);
}

HRESULT CViewManager::NotifyViewPreDestroy(const char* pViewName) {
    KRAV_TRACE("CViewManager::NotifyViewPreDestroy");
    return NotifyViewPreEdit(pViewName);
}

HRESULT CViewManager::NotifyViewPreEdit(const char* pViewName) {
    KRAV_TRACE("CViewManager::NotifyViewPreEdit");
    if (!pViewName) return E_POINTER;
    int index = -1;
    if (_readIndex(pViewName, index) != S_OK) return S_OK;
    const int slot = index - 1;
    if (slot >= 0 && slot < static_cast<int>(m_slots.size()) && m_slots[slot] == pViewName)
        m_slots[slot].clear();
    return S_OK;
}

HRESULT CViewManager::NotifyViewDestroyed(const char* pViewName) {
    KRAV_TRACE("CViewManager::NotifyViewDestroyed");
    return pViewName ? S_OK : E_POINTER;
}

HRESULT CViewManager::NotifyViewRenamed(const char* pOldViewName, const char* pNewViewName) {
    KRAV_TRACE("CViewManager::NotifyViewRenamed");
    if (!pOldViewName || !pNewViewName) return E_POINTER;
    return NotifyViewCreated(pNewViewName);
}

HRESULT CViewManager::NotifyBatchViewEditBegin() {
    KRAV_TRACE("CViewManager::NotifyBatchViewEditBegin");
    return S_OK;
}

HRESULT CViewManager::NotifyBatchViewEditEnd() {
    KRAV_TRACE("CViewManager::NotifyBatchViewEditEnd");
    return S_OK;
}
