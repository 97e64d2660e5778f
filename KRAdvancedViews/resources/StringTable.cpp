#include "resources/StringTable.h"

namespace krav {

namespace {
struct Entry {
    unsigned id;
    const char* text;
};
// Kept in id order.
constexpr Entry kStrings[] = {
    {IDS_POSITIVE_ISOMETRIC, "+Isometric"},
    {IDS_NEGATIVE_ISOMETRIC, "-Isometric"},
    {IDS_MAX_VIEWS_LOADED, "The maximum number of views are set.  Some views may not have been loaded."},
};
} // namespace

const char* LoadModuleString(unsigned id) {
    for (const Entry& e : kStrings)
        if (e.id == id) return e.text;
    return "";
}

} // namespace krav
