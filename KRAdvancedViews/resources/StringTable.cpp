#include "resources/StringTable.h"

namespace krav {

namespace {
struct Entry {
    unsigned id;
    const char* text;
};
// Kept in id order.
constexpr Entry kStrings[] = {
    {IDS_FILE_FROM_WINDOWS, "The file, %s, was created in Windows and cannot be opened in UNIX."},
    {IDS_FILE_NOT_VALID, "The file, %s, is not a valid file."},
    {IDS_POSITIVE_ISOMETRIC, "+Isometric"},
    {IDS_NEGATIVE_ISOMETRIC, "-Isometric"},
    {IDS_MAX_VIEWS_LOADED, "The maximum number of views are set.  Some views may not have been loaded."},
    {IDS_LOCKED_UP_VECTOR, "Unable to apply this view based on the currently locked up vector."},
};
} // namespace

const char* LoadModuleString(unsigned id) {
    for (const Entry& e : kStrings)
        if (e.id == id) return e.text;
    return "";
}

} // namespace krav
