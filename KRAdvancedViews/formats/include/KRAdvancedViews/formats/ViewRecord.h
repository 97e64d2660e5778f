// What the view file formats read and write: a view's name and record.
#pragma once

#include <string>

#include "KRAdvancedViews/ViewTypes.h"

namespace krav::format {

struct NamedRecord {
    std::string name;
    FullViewInfo info;
};

} // namespace krav::format
