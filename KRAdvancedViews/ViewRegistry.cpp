// CViewManager: the views in the registry. One subkey per view under the
// per-user key "KRAdvancedViews2" ("VIEW_%04d" by index, the name in "View
// Name"), or under the older key "KRAdvancedViews" (the encoded name as key
// name, floats as raw bytes).

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "Trace.h"
#include "ViewInfo.h"
#include "ViewManager.h"
#include "resources/StringTable.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

namespace {

constexpr const char* kVectorNames[4][3] = {{"UpVector X", "UpVector Y", "UpVector Z"},
                                            {"ViewVector X", "ViewVector Y", "ViewVector Z"},
                                            {"FromPoint X", "FromPoint Y", "FromPoint Z"},
                                            {"AtPoint X", "AtPoint Y", "AtPoint Z"}};

std::string s_join(const std::string& base, const std::string& subkey) {
    return base + "\\" + subkey;
}

// A value that is simply not there keeps the record's default; any other
// failure (a value of the wrong type, a damaged hive) makes the read fail.
bool s_readOk(LONG st) {
    return st == ERROR_SUCCESS || st == ERROR_FILE_NOT_FOUND;
}

struct KeyCloser {
    HKEY h = nullptr;
    ~KeyCloser() {
        if (h) RegCloseKey(h);
    }
};

} // namespace

HRESULT CViewManager::_writeViewToRegistry(const std::string& base, const char* name,
                                           const FullViewInfo& info, bool older,
                                           const std::string* replacing) {
    KRAV_TRACE("CViewManager::_writeViewToRegistry");
    if (!name) return S_FALSE;
    zul::registry::Transaction tx;
    std::string subkey;
    bool inPlace = false; // the key holds this view's own values already
    if (older) {
        krav::s_encode(name, subkey);
    } else {
        // The key name follows the index; a key of that name that holds
        // another view (left by an earlier duplicate index) is never
        // overwritten: the view goes to a free variant of the name instead.
        const std::string wanted = krav::ViewKeyName(info.iViewIndex);
        KeyCloser b;
        subkey = wanted;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, m_currentPath.c_str(), 0, KEY_READ, &b.h) ==
            ERROR_SUCCESS) {
            for (int n = 2;; ++n) {
                KeyCloser probe;
                if (RegOpenKeyExA(b.h, subkey.c_str(), 0, KEY_READ, &probe.h) != ERROR_SUCCESS)
                    break;
                if (replacing && *replacing == subkey) {
                    inPlace = true;
                    break;
                }
                const std::string holder = krav::StoredViewName(b.h, subkey);
                if (holder.empty()) break; // not a view: cleared below
                if (holder == name) {
                    inPlace = true;
                    break;
                }
                subkey = wanted + "_" + std::to_string(n);
            }
        }
        if (replacing && *replacing != subkey) {
            CRegHelper gone(s_join(base, *replacing).c_str(), RegPathUserSettings);
            const LONG st = gone.DeleteKey();
            if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND) return E_FAIL;
            if (st == ERROR_SUCCESS && m_knownKeyCount > 0) --m_knownKeyCount;
        }
    }

    CRegHelper reg(s_join(base, subkey).c_str(), RegPathUserSettings);
    bool created = false;
    if (!inPlace) {
        // Whatever stood under this name goes, so no stale value survives.
        const LONG st = reg.DeleteKey();
        created = st == ERROR_FILE_NOT_FOUND;
        if (st != ERROR_SUCCESS && !created) return E_FAIL;
    }
    LONG st = ERROR_SUCCESS;
    auto vec = [&](int which, const float v[3]) {
        for (int i = 0; i < 3 && st == ERROR_SUCCESS; ++i)
            st = older ? reg.SetBytes(kVectorNames[which][i], &v[i], 4)
                       : reg.SetFloat(kVectorNames[which][i], v[i]);
    };
    vec(0, info.pUpVector);
    vec(1, info.pViewVector);
    if (older) {
        if (st == ERROR_SUCCESS) st = reg.SetDWORD("Index", static_cast<DWORD>(info.iViewIndex));
        if (st == ERROR_SUCCESS)
            st = reg.SetDWORD("Camera Type", static_cast<DWORD>(info.cameraType));
        const float zero[3] = {0, 0, 0};
        vec(2, info.bHasFromAndAt ? info.pFromVector : zero);
        vec(3, info.bHasFromAndAt ? info.pAtVector : zero);
        if (st == ERROR_SUCCESS) st = reg.SetBytes("FOV", &info.viewAngle, 4);
        if (st == ERROR_SUCCESS) st = reg.SetBytes("Change Bits", &info.iChangeBits, 4);
    } else {
        if (st == ERROR_SUCCESS) st = reg.SetInt("Index", info.iViewIndex);
        if (st == ERROR_SUCCESS)
            st = reg.SetDWORD("Camera Type", static_cast<DWORD>(info.cameraType));
        if (st == ERROR_SUCCESS) st = reg.SetBOOL("Has At And From", info.bHasFromAndAt);
        if (info.bHasFromAndAt) {
            vec(2, info.pFromVector);
            vec(3, info.pAtVector);
        } else if (inPlace && st == ERROR_SUCCESS) {
            // A rewritten view without points keeps none of its old ones.
            HKEY k = nullptr;
            if (RegOpenKeyExA(HKEY_CURRENT_USER, (m_currentPath + "\\" + subkey).c_str(), 0,
                              KEY_ALL_ACCESS, &k) != ERROR_SUCCESS)
                return E_FAIL;
            for (int which = 2; which < 4 && st == ERROR_SUCCESS; ++which)
                for (int i = 0; i < 3 && st == ERROR_SUCCESS; ++i) {
                    const LONG del = RegDeleteValueA(k, kVectorNames[which][i]);
                    if (del != ERROR_SUCCESS && del != ERROR_FILE_NOT_FOUND) st = del;
                }
            RegCloseKey(k);
        }
        if (st == ERROR_SUCCESS) st = reg.SetFloat("FOV", info.viewAngle);
        if (st == ERROR_SUCCESS) st = reg.SetInt("Change Bits", info.iChangeBits);
        if (st == ERROR_SUCCESS) st = reg.SetString(krav::kViewNameValue, name);
    }
    if (st != ERROR_SUCCESS || tx.commit() != ERROR_SUCCESS) return E_FAIL;
    if (!older) {
        auto it = m_keyOfName.find(name);
        if (it != m_keyOfName.end() && it->second != subkey &&
            !(replacing && *replacing == it->second))
            m_keyMapValid = false; // two keys for one name
        m_keyOfName[name] = subkey;
        if (created) ++m_knownKeyCount;
    }
    return S_OK;
}

HRESULT CViewManager::_readViewFromRegistry(const std::string& base, const std::string& subkey,
                                            FullViewInfo& info, bool older,
                                            std::string* storedName) {
    KRAV_TRACE("CViewManager::_readViewFromRegistry");
    // Callers read inside their own transaction (one lock for all values).
    {
        KeyCloser k;
        const std::string path = (older ? m_olderPath : m_currentPath) + "\\" + subkey;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &k.h) != ERROR_SUCCESS)
            return S_FALSE;
    }
    (void)base;
    CRegHelper reg(s_join(older ? m_olderKey : m_currentKey, subkey).c_str(), RegPathUserSettings);
    FullViewInfo r;
    bool ok = true;
    auto vec = [&](int which, float v[3]) {
        for (int i = 0; i < 3; ++i)
            ok = ok && s_readOk(older ? reg.GetBytes(kVectorNames[which][i], &v[i], 4)
                                      : reg.GetFloat(kVectorNames[which][i], v[i]));
    };
    vec(0, r.pUpVector);
    vec(1, r.pViewVector);
    DWORD type = static_cast<DWORD>(r.cameraType);
    if (older) {
        DWORD index = static_cast<DWORD>(r.iViewIndex);
        ok = ok && s_readOk(reg.GetDWORD("Index", index));
        r.iViewIndex = static_cast<int>(index);
        ok = ok && s_readOk(reg.GetDWORD("Camera Type", type));
        vec(2, r.pFromVector);
        vec(3, r.pAtVector);
        ok = ok && s_readOk(reg.GetBytes("FOV", &r.viewAngle, 4));
        ok = ok && s_readOk(reg.GetBytes("Change Bits", &r.iChangeBits, 4));
        bool anyPoint = false;
        for (int i = 0; i < 3; ++i)
            anyPoint = anyPoint || r.pFromVector[i] != 0 || r.pAtVector[i] != 0;
        r.bHasFromAndAt = anyPoint ? 1 : 0;
        if (storedName) krav::s_decode(subkey, *storedName);
    } else {
        ok = ok && s_readOk(reg.GetInt("Index", r.iViewIndex));
        ok = ok && s_readOk(reg.GetDWORD("Camera Type", type));
        ok = ok && s_readOk(reg.GetBOOL("Has At And From", r.bHasFromAndAt));
        if (r.bHasFromAndAt) {
            vec(2, r.pFromVector);
            vec(3, r.pAtVector);
        }
        ok = ok && s_readOk(reg.GetFloat("FOV", r.viewAngle));
        ok = ok && s_readOk(reg.GetInt("Change Bits", r.iChangeBits));
        if (storedName) {
            storedName->clear();
            ok = ok && s_readOk(reg.GetString(krav::kViewNameValue, *storedName));
        }
    }
    if (!ok || type > 1) return S_FALSE;
    r.cameraType = static_cast<CameraTypeEnum>(type);
    info = r;
    return S_OK;
}

HRESULT CViewManager::_readIndex(const char* name, int& index) {
    KRAV_TRACE("CViewManager::_readIndex");
    if (!name || !*name) return S_FALSE;
    zul::registry::Transaction tx;
    std::string subkey;
    if (_findViewKey(m_currentKey, name, subkey) != S_OK) return S_FALSE;
    CRegHelper reg(s_join(m_currentKey, subkey).c_str(), RegPathUserSettings);
    int value = -1;
    if (reg.GetInt("Index", value) != ERROR_SUCCESS) return S_FALSE;
    tx.commit();
    index = value;
    return S_OK;
}

HRESULT CViewManager::_scanViewKeys(const std::string& base) {
    KRAV_TRACE("CViewManager::_scanViewKeys");
    (void)base;
    m_keyOfName.clear();
    m_knownKeyCount = 0;
    m_keyMapValid = false;
    KeyCloser b;
    LONG st = RegOpenKeyExA(HKEY_CURRENT_USER, m_currentPath.c_str(), 0, KEY_READ, &b.h);
    if (st == ERROR_FILE_NOT_FOUND) {
        m_keyMapValid = true;
        return S_OK;
    }
    if (st != ERROR_SUCCESS) return E_FAIL;
    std::vector<std::string> keys;
    if (krav::SubkeyNames(b.h, keys) != ERROR_SUCCESS) return E_FAIL;
    for (const std::string& key : keys) {
        std::string name = krav::StoredViewName(b.h, key);
        if (name.empty()) name = key;   // a key named after its view
        m_keyOfName.emplace(name, key); // the first match wins
    }
    m_knownKeyCount = static_cast<DWORD>(keys.size());
    m_keyMapValid = true;
    return S_OK;
}

HRESULT CViewManager::_findViewKey(const std::string& base, const std::string& name,
                                   std::string& subkey) {
    KRAV_TRACE("CViewManager::_findViewKey");
    KeyCloser b;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, m_currentPath.c_str(), 0, KEY_READ, &b.h) !=
        ERROR_SUCCESS) {
        subkey = name;
        return S_FALSE;
    }
    for (int pass = 0; pass < 2; ++pass) {
        if (auto it = m_keyOfName.find(name); it != m_keyOfName.end()) {
            const std::string stored = krav::StoredViewName(b.h, it->second);
            KeyCloser probe;
            if (stored == name ||
                (stored.empty() && it->second == name &&
                 RegOpenKeyExA(b.h, it->second.c_str(), 0, KEY_READ, &probe.h) == ERROR_SUCCESS)) {
                subkey = it->second;
                return S_OK;
            }
        } else if (m_keyMapValid) {
            DWORD count = 0;
            if (RegQueryInfoKeyA(b.h, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
                count == m_knownKeyCount) {
                subkey = name;
                return S_FALSE;
            }
        }
        if (pass == 0 && FAILED(_scanViewKeys(base))) break;
    }
    subkey = name;
    return S_FALSE;
}

HRESULT CViewManager::_deleteViewFromRegistry(const std::string& base, const char* name, bool older,
                                              int slot) {
    KRAV_TRACE("CViewManager::_deleteViewFromRegistry");
    if (!name) return E_POINTER;
    std::string subkey;
    if (older) {
        krav::s_encode(name, subkey);
    } else if (_findViewKey(base, name, subkey) != S_OK) {
        return S_FALSE;
    }
    CRegHelper reg(s_join(base, subkey).c_str(), RegPathUserSettings);
    const LONG st = reg.DeleteKey();
    if (st == ERROR_FILE_NOT_FOUND) return S_FALSE;
    if (st != ERROR_SUCCESS) return E_FAIL;
    if (!older) {
        m_keyOfName.erase(name);
        if (m_knownKeyCount > 0) --m_knownKeyCount;
    }
    if (slot >= 0 && slot < static_cast<int>(m_slots.size()) && !older) m_slots[slot].clear();
    if (!older && m_defaultName == name) m_defaultName.clear();
    return S_OK;
}

HRESULT CViewManager::_loadViewsFromRegistry(const std::string& base, bool older,
                                             std::vector<std::string>& slots) {
    KRAV_TRACE("CViewManager::_loadViewsFromRegistry");
    const std::string& path = older ? m_olderPath : m_currentPath;
    KeyCloser b;
    const LONG open = RegOpenKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &b.h);
    if (open == ERROR_FILE_NOT_FOUND) return S_FALSE;
    if (open != ERROR_SUCCESS) return E_FAIL;
    std::vector<std::string> keys;
    if (krav::SubkeyNames(b.h, keys) != ERROR_SUCCESS) return E_FAIL;
    if (keys.empty()) return S_FALSE;

    slots.assign(std::min<size_t>(keys.size(), kMaxViews), std::string());
    for (const std::string& key : keys) {
        if (key.empty()) continue;
        std::string name;
        if (older) {
            if (krav::s_decode(key, name) < 0) continue;
        } else {
            name = krav::StoredViewName(b.h, key);
        }
        if (name.empty()) continue;
        CRegHelper reg(s_join(base, key).c_str(), RegPathUserSettings);
        int index = 0;
        if (reg.GetInt("Index", index) != ERROR_SUCCESS) continue; // not a view: left alone
        if (std::find(slots.begin(), slots.end(), name) != slots.end())
            continue; // a second key of one name

        // An index beyond the limit is placed like one below 1, from the
        // first slot up, rather than dropping the view.
        int slot = (index < 1 || index > kMaxViews) ? 0 : index - 1;
        while (slot < static_cast<int>(slots.size()) && !slots[slot].empty())
            ++slot;
        if (slot >= kMaxViews) return E_UNEXPECTED; // views read so far stay loaded
        if (slot >= static_cast<int>(slots.size())) slots.resize(slot + 1);
        if (slot + 1 != index && reg.SetInt("Index", slot + 1) != ERROR_SUCCESS) return E_FAIL;
        slots[slot] = name;
        if (!older) m_keyOfName.emplace(name, key);
    }
    return S_OK;
}

HRESULT CViewManager::_mergeImportedViews() {
    KRAV_TRACE("CViewManager::_mergeImportedViews");
    // Keys imported from a registry export file carry the default value
    // "Merged": each is read like a stored view, written back in the store's
    // own layout, and its tag removed.
    KeyCloser b;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, m_currentPath.c_str(), 0, KEY_READ, &b.h) != ERROR_SUCCESS)
        return S_FALSE;
    std::vector<std::string> keys;
    if (krav::SubkeyNames(b.h, keys) != ERROR_SUCCESS) return E_FAIL;
    HRESULT result = S_FALSE;
    for (const std::string& key : keys) {
        CRegHelper reg(s_join(m_currentKey, key).c_str(), RegPathUserSettings);
        std::string tag;
        if (reg.GetString("", tag) != ERROR_SUCCESS || tag != "Merged") continue;
        FullViewInfo info;
        std::string name;
        if (_readViewFromRegistry(m_currentKey, key, info, false, &name) != S_OK || name.empty())
            continue;
        zul::registry::Transaction tx;
        std::string written;
        if (_writeViewToRegistry(m_currentKey, name.c_str(), info, false, &key) != S_OK) continue;
        written = m_keyOfName[name];
        if (_stripMergeTag(m_currentKey.c_str(), written.c_str(), info.iViewIndex) != S_OK)
            continue;
        if (tx.commit() == ERROR_SUCCESS) result = S_OK;
    }
    return result;
}

HRESULT CViewManager::_moveOlderViews() {
    KRAV_TRACE("CViewManager::_moveOlderViews");
    std::vector<std::string> older;
    if (_loadViewsFromRegistry(m_olderKey, true, older) != S_OK) return S_FALSE;
    HRESULT result = S_OK;
    for (const std::string& name : older) {
        if (name.empty()) continue;
        std::string subkey;
        krav::s_encode(name, subkey);
        FullViewInfo info;
        if (_readViewFromRegistry(m_olderKey, subkey, info, true, nullptr) != S_OK) continue;
        // Moved and deleted in one step: a view is moved exactly once.
        zul::registry::Transaction tx;
        HRESULT hr = _addLoadedView(name.c_str(), info);
        if (SUCCEEDED(hr)) hr = _deleteViewFromRegistry(m_olderKey, name.c_str(), true, -1);
        if (hr == S_OK && tx.commit() == ERROR_SUCCESS) continue;
        result = FAILED(hr) ? hr : E_FAIL;
    }
    const HRESULT compress = _compressViews();
    return FAILED(result) ? result : compress;
}

HRESULT CViewManager::_compressViews() {
    KRAV_TRACE("CViewManager::_compressViews");
    zul::registry::Transaction tx;
    size_t next = 0;
    for (size_t slot = 0; slot < m_slots.size(); ++slot) {
        if (m_slots[slot].empty()) continue;
        if (slot != next) {
            const std::string name = m_slots[slot];
            FullViewInfo info;
            if (GetViewInfo(name.c_str(), &info) != S_OK) return E_FAIL;
            if (_deleteViewFromRegistry(m_currentKey, name.c_str(), false,
                                        static_cast<int>(slot)) != S_OK)
                return E_FAIL;
            info.iViewIndex = static_cast<int>(next) + 1;
            if (_writeViewToRegistry(m_currentKey, name.c_str(), info, false) != S_OK)
                return E_FAIL;
            m_slots[next] = name;
        }
        ++next;
    }
    if (tx.commit() != ERROR_SUCCESS) return E_FAIL;
    m_slots.resize(next);
    return S_OK;
}

HRESULT CViewManager::_ensureStandardViews() {
    KRAV_TRACE("CViewManager::_ensureStandardViews");
    if (!m_slots.empty()) return S_OK;
    // Exact bit patterns: the tiny components and the unequal isometric
    // components are data, not noise.
    auto f = [](uint32_t bits) { return std::bit_cast<float>(bits); };
    const float big = f(0x43822852), tiny = f(0xA9E8DCF6), tinyPos = f(0x29E8DCF6),
                tiny2 = f(0xAA68DCAC);
    const float iso = f(0x3ED108C4), isoZ = f(0x3F510471), a = f(0x431646A8), b = f(0x43164D0E);
    struct Standard {
        const char* name;
        float up[3];
        float view[3];
    };
    const Standard views[8] = {
        {"+X", {0, tiny, 1}, {big, 0, 0}},
        {"+Y", {0, tiny, 1}, {0, big, 0}},
        {"+Z", {tiny2, 1, tiny2}, {0, 0, big}},
        {"-X", {0, tiny, 1}, {-big, 0, 0}},
        {"-Y", {tiny2, tinyPos, 1}, {0, -big, 0}},
        {"-Z", {0, 1, 0}, {0, 0, -big}},
        {krav::LoadModuleString(krav::IDS_POSITIVE_ISOMETRIC), {-iso, iso, isoZ}, {-a, b, -b}},
        {krav::LoadModuleString(krav::IDS_NEGATIVE_ISOMETRIC), {iso, iso, -isoZ}, {-a, -b, -b}},
    };
    zul::registry::Transaction tx;
    for (int i = 0; i < 8; ++i) {
        FullViewInfo info;
        std::memcpy(info.pUpVector, views[i].up, sizeof info.pUpVector);
        std::memcpy(info.pViewVector, views[i].view, sizeof info.pViewVector);
        info.cameraType = Orthographic;
        info.bHasFromAndAt = 0;
        info.iViewIndex = i + 1;
        _createView(views[i].name, info);
    }
    if (tx.commit() != ERROR_SUCCESS) m_slots.clear(); // nothing was stored
    return S_OK;
}
