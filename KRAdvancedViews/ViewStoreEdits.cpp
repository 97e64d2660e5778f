// CViewManager: the compound edits (moving a view, deleting several and
// closing the gap) and catching up with other stores. Each edit runs in one
// operation scope, so all its registry calls are one transaction: the single
// operations it is made of commit into it, and a failure of any of them, or
// of the final commit, undoes all of them.

#include <algorithm>

#include "Trace.h"
#include "ViewManager.h"
#include "zul/registry/registry.h"

namespace {

HRESULT s_failed(HRESULT hr) {
    return FAILED(hr) ? hr : E_FAIL;
}

} // namespace

std::vector<std::string> CViewManager::_listedNames() const {
    KRAV_TRACE("CViewManager::_listedNames");
    std::vector<std::string> names;
    for (const std::string& name : m_slots)
        if (!name.empty()) names.push_back(name);
    return names;
}

// The swap the Standard Views dialog has always made: the names change
// places by three renames through the placeholder (each view's index
// stays), then each name gets its own record back at its new index, so a
// view keeps its record and its default mark.
HRESULT CViewManager::_swapViews(const std::string& a, const std::string& b) {
    KRAV_TRACE("CViewManager::_swapViews");
    FullViewInfo recordA, recordB;
    if (GetViewInfo(a.c_str(), &recordA) != S_OK || GetViewInfo(b.c_str(), &recordB) != S_OK)
        return E_FAIL;
    // A stored view of the reserved name would be overwritten by the first rename.
    if (_viewExists(kPlaceholderViewName)) return E_UNEXPECTED;
    std::swap(recordA.iViewIndex, recordB.iViewIndex);
    HRESULT hr = RenameViewExt(a.c_str(), kPlaceholderViewName);
    if (hr == S_OK) hr = RenameViewExt(b.c_str(), a.c_str());
    if (hr == S_OK) hr = RenameViewExt(kPlaceholderViewName, b.c_str());
    if (hr == S_OK) hr = EditViewInfo(a.c_str(), recordA);
    if (hr == S_OK) hr = EditViewInfo(b.c_str(), recordB);
    return hr == S_OK ? S_OK : s_failed(hr);
}

HRESULT CViewManager::_endCompound(OpScope& tx, HRESULT hr) {
    KRAV_TRACE("CViewManager::_endCompound");
    if (SUCCEEDED(hr) && tx.commit() != ERROR_SUCCESS) hr = E_FAIL;
    if (FAILED(hr)) {
        // Nothing of the edit is stored: the table and the key map follow
        // the registry again, and the batch end sent afterwards makes every
        // listener read the store anew.
        tx.rollback();
        _reloadSlots();
    }
    return hr;
}

HRESULT CViewManager::MoveView(const char* name, int32_t direction) {
    KRAV_TRACE("CViewManager::MoveView");
    if (!name) return E_POINTER;
    if (direction != MoveViewDown && direction != MoveViewUp) return E_INVALIDARG;
    return zul::com::firewall([&]() -> HRESULT {
        HRESULT hr;
        {
            OpScope tx(*this, true);
            const std::vector<std::string> names = _listedNames();
            const auto it = std::find(names.begin(), names.end(), name);
            if (it == names.end()) return S_FALSE;
            const size_t k = static_cast<size_t>(it - names.begin());
            if (direction == MoveViewUp ? k == 0 : k + 1 >= names.size()) return S_FALSE;
            const std::string& neighbour = names[direction == MoveViewUp ? k - 1 : k + 1];
            _announce(Event::BatchBegin);
            hr = _endCompound(tx, _swapViews(name, neighbour));
        }
        _announce(Event::BatchEnd);
        return hr;
    });
}

HRESULT CViewManager::DestroyViews(const char* const* names, int32_t count) {
    KRAV_TRACE("CViewManager::DestroyViews");
    if (count < 0) return E_INVALIDARG;
    if (count > 0 && !names) return E_POINTER;
    for (int32_t i = 0; i < count; ++i)
        if (!names[i]) return E_POINTER;
    return zul::com::firewall([&]() -> HRESULT {
        HRESULT hr = S_OK;
        {
            OpScope tx(*this, true);
            _announce(Event::BatchBegin);
            for (int32_t i = 0; i < count && SUCCEEDED(hr); ++i) {
                const HRESULT one = DestroyViewExt(names[i]);
                if (FAILED(one))
                    hr = one;
                else if (one == S_FALSE)
                    hr = S_FALSE;
            }
            if (SUCCEEDED(hr)) {
                const HRESULT closed = _compressViews();
                if (FAILED(closed)) hr = closed;
            }
            hr = _endCompound(tx, hr);
        }
        _announce(Event::BatchEnd);
        return hr;
    });
}

HRESULT CViewManager::CheckForChanges() {
    KRAV_TRACE("CViewManager::CheckForChanges");
    return zul::com::firewall([&]() -> HRESULT {
        bool changed = false;
        {
            // Opening a scope catches up; its end announces the batch.
            OpScope tx(*this);
            changed = m_caughtUp;
        }
        return changed ? S_OK : S_FALSE;
    });
}

HRESULT CViewManager::ReplaceAllViews(const char* const* names, const FullViewInfo* records,
                                      int32_t count) {
    KRAV_TRACE("CViewManager::ReplaceAllViews");
    if (count < 0) return E_INVALIDARG;
    if (count > 0 && (!names || !records)) return E_POINTER;
    if (count > kMaxViews) return E_UNEXPECTED;
    std::vector<std::string> wanted;
    std::vector<int> indices;
    for (int32_t i = 0; i < count; ++i) {
        if (!names[i]) return E_POINTER;
        std::string text;
        const char* name = names[i];
        AsStoreText(name, text);
        if (!*name || std::find(wanted.begin(), wanted.end(), name) != wanted.end() ||
            std::find(indices.begin(), indices.end(), records[i].iViewIndex) != indices.end())
            return E_INVALIDARG;
        wanted.push_back(name);
        indices.push_back(records[i].iViewIndex);
    }
    return zul::com::firewall([&]() -> HRESULT {
        HRESULT hr = S_OK;
        {
            OpScope tx(*this, true);
            _announce(Event::BatchBegin);
            // A view stays only when it is already as wanted: then no other
            // wanted view can want its index, so every view written anew
            // finds its slot free.
            std::vector<bool> kept(wanted.size(), false);
            for (const std::string& name : _listedNames()) {
                const auto it = std::find(wanted.begin(), wanted.end(), name);
                FullViewInfo stored;
                if (it != wanted.end() && GetViewInfo(name.c_str(), &stored) == S_OK &&
                    krav::SameRecord(stored, records[it - wanted.begin()])) {
                    kept[size_t(it - wanted.begin())] = true;
                    continue;
                }
                if (const HRESULT one = DestroyViewExt(name.c_str()); one != S_OK) {
                    hr = s_failed(one);
                    break;
                }
            }
            for (size_t i = 0; i < wanted.size() && SUCCEEDED(hr); ++i)
                if (!kept[i]) {
                    const HRESULT one = CreateViewInfo(wanted[i].c_str(), records[i]);
                    if (one != S_OK) hr = s_failed(one);
                }
            hr = _endCompound(tx, hr);
        }
        _announce(Event::BatchEnd);
        return hr;
    });
}
