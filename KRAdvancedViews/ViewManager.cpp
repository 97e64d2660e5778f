// CViewManager: the store's start, its slot table, the operation scope it
// shares with other stores, and the record and vector operations. The
// registry layout is in ViewRegistry.cpp, view files in ViewFiles.cpp,
// compound edits in ViewStoreEdits.cpp, notifications in
// ViewNotifications.cpp, the default view in ViewDefaultView.cpp.

#include "ViewManager.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "Trace.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

using zul::registry::Transaction;

namespace {
// Write operations of every store of this process: another store here
// changing the views is seen by this count, another process by the hive's
// generation.
std::atomic<uint64_t> s_storeWrites{0};

FullViewInfo s_fromVectors(const float up[3], const float view[3], CameraTypeEnum type, int index) {
    FullViewInfo info;
    std::memcpy(info.pUpVector, up, sizeof info.pUpVector);
    std::memcpy(info.pViewVector, view, sizeof info.pViewVector);
    info.cameraType = type;
    info.iViewIndex = index;
    info.bHasFromAndAt = 0;
    return info;
}

FullViewInfo s_fromArguments(const float up[3], const float view[3], CameraTypeEnum type, int index,
                             const float from[3], const float at[3], float angle, int bits) {
    FullViewInfo info = s_fromVectors(up, view, type, index);
    info.bHasFromAndAt = from && at ? 1 : 0;
    if (from) std::memcpy(info.pFromVector, from, sizeof info.pFromVector);
    if (at) std::memcpy(info.pAtVector, at, sizeof info.pAtVector);
    info.viewAngle = angle;
    info.iChangeBits = bits;
    return info;
}

} // namespace

CViewManager::CViewManager() {
    m_currentPath = CRegHelper(m_currentKey.c_str(), RegPathUserSettings).GetRegPath();
    m_olderPath = CRegHelper(m_olderKey.c_str(), RegPathUserSettings).GetRegPath();
}

CViewManager::~CViewManager() {
    for (IViewManagerSink* sink : m_sinks)
        sink->Release();
}

HRESULT CViewManager::finalConstruct() {
    KRAV_TRACE("CViewManager::finalConstruct");
    // One transaction for the whole start: one lock for its many reads, one
    // commit for its writes, and two hosts starting at once cannot both seed.
    Transaction tx;
    _mergeImportedViews();
    m_startStatus = _loadViewsFromRegistry(m_currentKey, false, m_slots);
    if (m_startStatus == S_FALSE) _ensureStandardViews();
    if (SUCCEEDED(m_startStatus)) {
        _moveOlderViews();
        m_keyMapValid = false; // rebuilt on the first lookup that misses
    }
    zul::registry::hiveGeneration(HKEY_CURRENT_USER, m_generation);
    m_seenWrites = ++s_storeWrites; // a start may write (seeding, moving older views)
    if (tx.commit() != ERROR_SUCCESS && SUCCEEDED(m_startStatus)) m_startStatus = E_FAIL;
    return S_OK;
}

// ---------------------------------------------------------------------------
// Slot table

void CViewManager::_ensureUniqueViewIndex(int& index) {
    KRAV_TRACE("CViewManager::_ensureUniqueViewIndex");
    if (index < 1) index = 1;
    const int count = static_cast<int>(m_slots.size());
    if (index < count && m_slots[index - 1].empty()) return;
    for (int k = 0; k < count; ++k) {
        if (m_slots[k].empty()) {
            index = k + 1;
            return;
        }
    }
    index = count + 1;
    m_slots.emplace_back();
}

void CViewManager::_putInSlot(const std::string& name, int index) {
    KRAV_TRACE("CViewManager::_putInSlot");
    if (index < 1) return;
    if (index > static_cast<int>(m_slots.size())) m_slots.resize(index);
    m_slots[index - 1] = name;
}

int CViewManager::_viewCount() const {
    KRAV_TRACE("CViewManager::_viewCount");
    return static_cast<int>(
        std::count_if(m_slots.begin(), m_slots.end(), [](const auto& s) { return !s.empty(); }));
}

HRESULT CViewManager::_checkRecord(const char* name, const FullViewInfo& info) const {
    KRAV_TRACE("CViewManager::_checkRecord");
    if (!name) return E_POINTER;
    if (!*name || info.cameraType < Orthographic || info.cameraType > Perspective)
        return E_INVALIDARG;
    return S_OK;
}

bool CViewManager::_viewExists(const char* name) {
    KRAV_TRACE("CViewManager::_viewExists");
    FullViewInfo info;
    return GetViewInfo(name, &info) == S_OK;
}

// ---------------------------------------------------------------------------
// Stores sharing one registry

CViewManager::OpScope::OpScope(CViewManager& store, bool writes) : store_(store), writes_(writes) {
    if (++store_.m_opDepth == 1) store_._syncWithRegistry();
}

CViewManager::OpScope::~OpScope() {
    if (--store_.m_opDepth > 0 || !store_.m_caughtUp) return;
    // Views another store or process changed cannot be described one by
    // one (a view deleted there is gone): listeners hear of a batch and read
    // the store anew, after this operation's transaction has ended.
    tx_.rollback(); // nothing when the operation committed
    store_.m_caughtUp = false;
    store_._announce(Event::BatchBegin);
    store_._announce(Event::BatchEnd);
}

LSTATUS CViewManager::OpScope::commit() {
    // The hive's generation stays what the start of the operation saw (this
    // process's writes do not move it); other stores of this process learn
    // of the change by the count.
    if (store_.m_opDepth == 1 && writes_) store_.m_seenWrites = ++s_storeWrites;
    return tx_.commit();
}

void CViewManager::_syncWithRegistry() {
    KRAV_TRACE("CViewManager::_syncWithRegistry");
    uint64_t generation = 0;
    const uint64_t writes = s_storeWrites.load();
    if (zul::registry::hiveGeneration(HKEY_CURRENT_USER, generation) != ERROR_SUCCESS ||
        (generation == m_generation && writes == m_seenWrites))
        return;
    std::vector<std::string> slots;
    if (SUCCEEDED(_loadViewsFromRegistry(m_currentKey, false, slots))) m_slots = std::move(slots);
    m_keyOfName.clear();
    m_keyMapValid = false;
    m_defaultName.clear(); // found again by the next GetDefaultView
    m_generation = generation;
    m_seenWrites = writes;
    m_caughtUp = true;
}

// ---------------------------------------------------------------------------
// Record-based operations

HRESULT CViewManager::_createView(const char* name, FullViewInfo& info,
                                  const std::string* replacing) {
    KRAV_TRACE("CViewManager::_createView");
    const HRESULT check = _checkRecord(name, info);
    if (FAILED(check)) return check;
    // Refused here, so that a later start never has to drop a view.
    if (_viewCount() >= kMaxViews) return E_UNEXPECTED;
    _ensureUniqueViewIndex(info.iViewIndex);
    const HRESULT hr = _writeViewToRegistry(m_currentKey, name, info, false, replacing);
    if (hr != S_OK) return FAILED(hr) ? hr : E_FAIL;
    _putInSlot(name, info.iViewIndex);
    return S_OK;
}

HRESULT CViewManager::_destroyView(const char* name, int slot) {
    KRAV_TRACE("CViewManager::_destroyView");
    if (!name) return E_POINTER;
    if (!*name) return E_INVALIDARG;
    return _deleteViewFromRegistry(m_currentKey, name, false, slot);
}

HRESULT CViewManager::CreateViewInfo(const char* pViewName, FullViewInfo viewInfo) {
    KRAV_TRACE("CViewManager::CreateViewInfo");
    std::string text;
    AsStoreText(pViewName, text);
    return zul::com::firewall([&]() -> HRESULT {
        {
            OpScope tx(*this, true);
            if (_viewExists(pViewName)) return S_FALSE;
            const HRESULT hr = _createView(pViewName, viewInfo);
            if (FAILED(hr)) return hr;
            if (tx.commit() != ERROR_SUCCESS) {
                if (viewInfo.iViewIndex >= 1 &&
                    viewInfo.iViewIndex <= static_cast<int>(m_slots.size()))
                    m_slots[viewInfo.iViewIndex - 1].clear();
                m_keyMapValid = false;
                return E_FAIL;
            }
        }
        _announce(Event::Created, pViewName);
        return S_OK;
    });
}

HRESULT CViewManager::EditViewInfo(const char* pViewName, FullViewInfo viewInfo) {
    KRAV_TRACE("CViewManager::EditViewInfo");
    std::string text;
    AsStoreText(pViewName, text);
    return zul::com::firewall([&]() -> HRESULT {
        const HRESULT check = _checkRecord(pViewName, viewInfo);
        if (FAILED(check)) return check;
        {
            OpScope tx(*this, true);
            _announce(Event::PreEdit, pViewName);
            FullViewInfo present;
            const HRESULT read = GetViewInfo(pViewName, &present);
            const std::string defaultBefore = m_defaultName;
            // The old record goes and the new one comes in one step: a failure
            // leaves the view as it was, in the registry and in the slot table.
            auto restore = [&](HRESULT hr) {
                m_keyMapValid = false;
                m_defaultName = defaultBefore;
                if (read == S_OK) _putInSlot(pViewName, present.iViewIndex);
                return hr;
            };
            // The old key goes as the new record is written: in place when
            // the record keeps its subkey, which is the common case.
            std::string oldKey;
            const bool stored = _findViewKey(m_currentKey, pViewName, oldKey) == S_OK;
            if (stored && m_defaultName == pViewName) m_defaultName.clear();
            if (_viewCount() >= kMaxViews) return restore(E_UNEXPECTED);
            if (viewInfo.iViewIndex < 1 && read == S_OK) viewInfo.iViewIndex = present.iViewIndex;
            _ensureUniqueViewIndex(viewInfo.iViewIndex);
            const HRESULT hr = _writeViewToRegistry(m_currentKey, pViewName, viewInfo, false,
                                                    stored ? &oldKey : nullptr);
            if (hr != S_OK) return restore(E_FAIL);
            if (tx.commit() != ERROR_SUCCESS) return restore(E_FAIL);
        }
        _announce(Event::Edited, pViewName);
        return S_OK;
    });
}

HRESULT CViewManager::GetViewInfo(const char* pViewName, FullViewInfo* pViewInfo) {
    KRAV_TRACE("CViewManager::GetViewInfo");
    if (!pViewName || !pViewInfo) return E_POINTER;
    if (!*pViewName) return E_INVALIDARG;
    std::string text;
    AsStoreText(pViewName, text);
    return zul::com::firewall([&]() -> HRESULT {
        OpScope tx(*this); // one lock for the lookup and every value
        std::string subkey, stored;
        if (_findViewKey(m_currentKey, pViewName, subkey) != S_OK) return S_FALSE;
        FullViewInfo info;
        if (_readViewFromRegistry(m_currentKey, subkey, info, false, &stored) != S_OK)
            return S_FALSE;
        if (!stored.empty() && stored != pViewName) return S_FALSE;
        tx.commit();
        *pViewInfo = info;
        return S_OK;
    });
}

HRESULT CViewManager::DestroyViewExt(const char* pViewName) {
    KRAV_TRACE("CViewManager::DestroyViewExt");
    if (!pViewName) return E_POINTER;
    if (!*pViewName) return E_INVALIDARG;
    std::string text;
    AsStoreText(pViewName, text);
    return zul::com::firewall([&]() -> HRESULT {
        FullViewInfo info;
        bool known = false;
        HRESULT hr;
        {
            OpScope tx(*this, true);
            _announce(Event::PreDestroy, pViewName);
            known = _readIndex(pViewName, info.iViewIndex) == S_OK;
            const int slot = known ? info.iViewIndex - 1 : -1;
            hr = _destroyView(pViewName, slot);
            if (SUCCEEDED(hr) && tx.commit() != ERROR_SUCCESS) hr = E_FAIL;
        }
        if (FAILED(hr)) {
            m_keyMapValid = false;
            if (known) _putInSlot(pViewName, info.iViewIndex); // still stored
            return hr;
        }
        _announce(Event::Destroyed, pViewName);
        return hr;
    });
}

HRESULT CViewManager::RenameViewExt(const char* pOldViewName, const char* pNewViewName) {
    KRAV_TRACE("CViewManager::RenameViewExt");
    if (!pOldViewName || !pNewViewName) return E_POINTER;
    std::string oldText, newText;
    AsStoreText(pOldViewName, oldText);
    AsStoreText(pNewViewName, newText);
    return zul::com::firewall([&]() -> HRESULT {
        {
            OpScope tx(*this, true);
            FullViewInfo info;
            HRESULT hr = GetViewInfo(pOldViewName, &info);
            if (hr != S_OK) return hr;
            const std::string defaultBefore = m_defaultName;
            // The view keeps its key: the new name is written over the old
            // record in place (or the old key goes, should the index move).
            std::string oldKey;
            hr = _findViewKey(m_currentKey, pOldViewName, oldKey) == S_OK ? S_OK : S_FALSE;
            if (hr == S_OK) {
                const int slot = info.iViewIndex - 1;
                if (slot >= 0 && slot < static_cast<int>(m_slots.size())) m_slots[slot].clear();
                if (m_defaultName == pOldViewName) m_defaultName.clear();
                hr = _createView(pNewViewName, info, &oldKey);
            }
            if (SUCCEEDED(hr) && tx.commit() != ERROR_SUCCESS) hr = E_FAIL;
            if (hr != S_OK) {
                // Rolled back: the old name stands where it stood.
                m_keyMapValid = false;
                m_defaultName = defaultBefore;
                for (auto& s : m_slots)
                    if (s == pNewViewName) s.clear();
                _putInSlot(pOldViewName, info.iViewIndex);
                return FAILED(hr) ? hr : E_FAIL;
            }
            m_keyOfName.erase(pOldViewName);
        }
        _announce(Event::Renamed, pOldViewName, pNewViewName);
        return S_OK;
    });
}

HRESULT CViewManager::CreateViewExt(const char* pViewName, float pUpVector[3], float pViewVector[3],
                                    CameraTypeEnum cameraType, int iViewNum, float pFromVector[3],
                                    float pAtVector[3], float viewAngle, int iChangeBits) {
    KRAV_TRACE("CViewManager::CreateViewExt");
    if (!pUpVector || !pViewVector) return E_INVALIDARG;
    return CreateViewInfo(pViewName,
                          s_fromArguments(pUpVector, pViewVector, cameraType, iViewNum, pFromVector,
                                          pAtVector, viewAngle, iChangeBits));
}

HRESULT CViewManager::EditViewExt(const char* pViewName, float pUpVector[3], float pViewVector[3],
                                  CameraTypeEnum cameraType, int iViewNum, float pFromVector[3],
                                  float pAtVector[3], float viewAngle, int iChangeBits) {
    KRAV_TRACE("CViewManager::EditViewExt");
    // Every vector counts: a null look-from or look-at would otherwise
    // overwrite the stored points with the record's defaults.
    if (!pViewName || !pUpVector || !pViewVector || !pFromVector || !pAtVector) return E_INVALIDARG;
    return EditViewInfo(pViewName, s_fromArguments(pUpVector, pViewVector, cameraType, iViewNum,
                                                   pFromVector, pAtVector, viewAngle, iChangeBits));
}

HRESULT CViewManager::GetViewExt(const char* pViewName, float pUpVector[3], float pViewVector[3],
                                 CameraTypeEnum* pCameraType, int* pViewNum, float pFromVector[3],
                                 float pAtVector[3], float* pViewAngle, int* pChangeBits) {
    KRAV_TRACE("CViewManager::GetViewExt");
    FullViewInfo info;
    const HRESULT hr = GetViewInfo(pViewName, &info);
    if (hr != S_OK) return hr;
    if (pUpVector) std::memcpy(pUpVector, info.pUpVector, sizeof info.pUpVector);
    if (pViewVector) std::memcpy(pViewVector, info.pViewVector, sizeof info.pViewVector);
    if (pCameraType) *pCameraType = info.cameraType;
    if (pViewNum) *pViewNum = info.iViewIndex;
    if (pFromVector) std::memcpy(pFromVector, info.pFromVector, sizeof info.pFromVector);
    if (pAtVector) std::memcpy(pAtVector, info.pAtVector, sizeof info.pAtVector);
    if (pViewAngle) *pViewAngle = info.viewAngle;
    if (pChangeBits) *pChangeBits = info.iChangeBits;
    return S_OK;
}

// ---------------------------------------------------------------------------
// Vector-based operations: each goes through the record-based interface.

HRESULT CViewManager::CreateView(const char* pViewName, float pUpVector[3], float pViewVector[3],
                                 CameraTypeEnum cameraType, int iViewNum) {
    KRAV_TRACE("CViewManager::CreateView");
    if (!pUpVector || !pViewVector) return E_INVALIDARG;
    return CreateViewInfo(pViewName, s_fromVectors(pUpVector, pViewVector, cameraType, iViewNum));
}

HRESULT CViewManager::EditView(const char* pViewName, float pUpVector[3], float pViewVector[3],
                               CameraTypeEnum cameraType, int iViewNum) {
    KRAV_TRACE("CViewManager::EditView");
    if (!pViewName || !pUpVector || !pViewVector) return E_INVALIDARG;
    return EditViewInfo(pViewName, s_fromVectors(pUpVector, pViewVector, cameraType, iViewNum));
}

HRESULT CViewManager::GetView(const char* pViewName, float pUpVector[3], float pViewVector[3],
                              CameraTypeEnum* pCameraType, int* pViewNum) {
    KRAV_TRACE("CViewManager::GetView");
    if (!pViewName || !pUpVector || !pViewVector || !pCameraType || !pViewNum) return E_POINTER;
    return GetViewExt(pViewName, pUpVector, pViewVector, pCameraType, pViewNum, nullptr, nullptr,
                      nullptr, nullptr);
}

HRESULT CViewManager::DestroyView(const char* pViewName) {
    KRAV_TRACE("CViewManager::DestroyView");
    return DestroyViewExt(pViewName);
}

HRESULT CViewManager::RenameView(const char* pOldViewName, const char* pNewViewName) {
    KRAV_TRACE("CViewManager::RenameView");
    return RenameViewExt(pOldViewName, pNewViewName);
}

HRESULT CViewManager::SaveViews(char* pFileName, FileTypeEnum fileType) {
    KRAV_TRACE("CViewManager::SaveViews");
    return SaveViewsExt(pFileName, fileType);
}

HRESULT CViewManager::LoadViews(char* pFileName, FileTypeEnum fileType) {
    KRAV_TRACE("CViewManager::LoadViews");
    return LoadViewsExt(pFileName, fileType);
}

HRESULT CViewManager::_addLoadedView(const char* name, FullViewInfo info) {
    KRAV_TRACE("CViewManager::_addLoadedView");
    const HRESULT check = _checkRecord(name, info);
    if (FAILED(check)) return check;
    // At most one view is the default after a load: a loaded view keeps the
    // mark only while no other view holds it (the one it replaces aside,
    // so saving and loading back keeps the default where it was; an earlier
    // view of the same load is stored by now and counts as another).
    if (info.iChangeBits & ViewChangeDefaultView)
        for (const std::string& marked : _markedViews())
            if (marked != name) {
                info.iChangeBits &= ~ViewChangeDefaultView;
                break;
            }
    FullViewInfo present;
    const HRESULT read = GetViewInfo(name, &present);
    if (read == S_OK) {
        const HRESULT hr = DestroyView(name);
        if (FAILED(hr)) return hr;
    } else if (read != S_FALSE) {
        return read;
    }
    return CreateViewInfo(name, info);
}
