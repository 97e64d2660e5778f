#include "ViewList.h"

#include <algorithm>

#include "KRAdvancedViews/StoreLayout.h"
#include "Trace.h"

namespace krav {

std::vector<StoredView> ListStoredViews(IViewManager2* store) {
    KRAV_TRACE_STATIC("krav::ListStoredViews");
    std::vector<StoredView> views;
    std::vector<StoredViewKey> keys;
    if (!store || ListStoredViewKeys(keys) != ERROR_SUCCESS) return views;
    for (StoredViewKey& key : keys) {
        StoredView view;
        view.name = std::move(key.name);
        if (store->GetViewInfo(view.name.c_str(), &view.info) == S_OK)
            views.push_back(std::move(view));
    }
    std::stable_sort(views.begin(), views.end(), [](const StoredView& a, const StoredView& b) {
        return a.info.iViewIndex < b.info.iViewIndex;
    });
    return views;
}

} // namespace krav
