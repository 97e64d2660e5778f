// The stored views in list order, for the module's menu and its dialogs.
#pragma once

#include <string>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"

namespace krav {

struct StoredView {
    std::string name;
    FullViewInfo info;
};

// Every view of the user's store whose record `store` can read, ordered by
// view index. Empty when the store key does not exist.
std::vector<StoredView> ListStoredViews(IViewManager2* store);

} // namespace krav
