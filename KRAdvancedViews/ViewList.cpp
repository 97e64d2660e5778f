#include "ViewList.h"

#include <algorithm>

#include "Trace.h"
#include "zul/registry/RegHelper.h"

namespace krav {

std::vector<StoredView> ListStoredViews(IViewManager2* store) {
    KRAV_TRACE_STATIC("krav::ListStoredViews");
    std::vector<StoredView> views;
    HKEY base = nullptr;
    const std::string path = CRegHelper("KRAdvancedViews2", RegPathUserSettings).GetRegPath();
    if (!store || RegOpenKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &base) != ERROR_SUCCESS) return views;
    // The store's key names are encoded; the record's "View Name" is the name.
    char sub[512];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof sub;
        if (RegEnumKeyExA(base, i, sub, &cch, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        CRegHelper reg((std::string("KRAdvancedViews2\\") + sub).c_str(), RegPathUserSettings);
        StoredView view;
        if (reg.GetString("View Name", view.name) != ERROR_SUCCESS || view.name.empty()) continue;
        if (store->GetViewInfo(view.name.c_str(), &view.info) != S_OK) continue;
        views.push_back(std::move(view));
    }
    RegCloseKey(base);
    std::stable_sort(views.begin(), views.end(),
                     [](const StoredView& a, const StoredView& b) { return a.info.iViewIndex < b.info.iViewIndex; });
    return views;
}

} // namespace krav
