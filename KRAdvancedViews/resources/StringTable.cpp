#include "resources/StringTable.h"

#include <atomic>
#include <cstring>

namespace krav {

namespace {
// Kept in id order; every translation holds the same ids.
constexpr ResourceEntry kStrings[] = {
    {IDS_FILE_FROM_WINDOWS, "The file, %s, was created in Windows and cannot be opened in UNIX."},
    {IDS_NON_NUMERIC, "A non-numeric value was entered."},
    {IDS_VIEW_EXISTS, "A view with the name you specified already exists.  Specify a different view name."},
    {IDS_TYPE_VIEW_NAME, "You must type a view name."},
    {IDS_ANGLE_RANGE, "An angle value outside of the valid range was entered.\nPlease enter a numeric value between -360 and 360."},
    {IDS_FILE_NOT_VALID, "The file, %s, is not a valid file."},
    {IDS_PICK, "Pick"},
    {IDS_STOP_PICK, "Stop Pick"},
    {IDS_POINT, "Point"},
    {IDS_PART, "Part"},
    {IDS_FACE, "Face"},
    {IDS_EDGE, "Edge"},
    {IDS_VERTEX, "Vertex"},
    {IDS_APPLY_VIEW, "Apply view"},
    {IDS_APPLY_SELECTED_VIEW, "Apply selected view"},
    {IDS_ZERO_VECTOR, "A zero-length vector was entered."},
    {IDS_IDENTICAL_POINTS, "Two identical points were entered."},
    {IDS_PARALLEL_VECTORS, "Two parallel vectors were entered."},
    {IDS_POSITIVE_ISOMETRIC, "+Isometric"},
    {IDS_NEGATIVE_ISOMETRIC, "-Isometric"},
    {IDS_MAX_VIEWS_LOADED, "The maximum number of views are set.  Some views may not have been loaded."},
    {IDS_LOCKED_UP_VECTOR, "Unable to apply this view based on the currently locked up vector."},
    {IDS_VIEW_FILES, "View Files"},
    {IDS_REG_FILES, "Reg Files"},
    {IDS_CONFIRM_DELETE, "Are you sure you want to delete the view(s)?"},
};
} // namespace

namespace {
#define KRAV_ALIGN_ITEMS                                                                                              \
    "ITEM 7145 +&X\nITEM 7142 -X\nITEM 7146 +&Y\nITEM 7143 -Y\nITEM 7147 +&Z\nITEM 7144 -Z\n"                         \
    "ITEM 7140 +&Isometric\nITEM 7141 -Isometric\n"
#define KRAV_ROTATE_ITEMS                                                                                             \
    "ITEM 7132 Clock&wise\nITEM 7134 &Counterclockwise\nITEM 7138 &Up\nITEM 7135 &Down\nITEM 7136 &Left\n"           \
    "ITEM 7137 &Right\n"
// The view items (17001 + index) are added at the end of the "&Standard Views" submenu (7130).
constexpr ResourceEntry kMenus[] = {
    {205, "POPUP 0 &View\nPOPUP 7130 &Standard Views\n" KRAV_ALIGN_ITEMS "SEPARATOR\nEND\nPOPUP 0 &Rotate\n" KRAV_ROTATE_ITEMS
          "END\nSEPARATOR\nITEM 7133 &Control Dialog ...\nITEM 7139 &Edit ...\nEND\n"},
    {231, "POPUP 7130 &Standard Views\n" KRAV_ALIGN_ITEMS "END\n"},
    {234, "POPUP 0 &View\nITEM 7133 &Control Dialog ...\nITEM 7139 &Edit ...\nEND\n"},
    {235, KRAV_ALIGN_ITEMS},
};

std::atomic<ResourceLookupFn> g_resourceModule{nullptr};

// The resource module's text of `id`, or null.
const char* fromResourceModule(DWORD type, unsigned id) {
    const ResourceLookupFn lookup = g_resourceModule.load(std::memory_order_acquire);
    const void* data = nullptr;
    DWORD size = 0;
    if (!lookup || lookup(type, id, &data, &size) != S_OK || !data) return nullptr;
    return static_cast<const char*>(data);
}
} // namespace

void SetResourceModule(ResourceLookupFn lookup) { g_resourceModule.store(lookup, std::memory_order_release); }

const char* LoadModuleMenu(unsigned id) {
    if (const char* text = fromResourceModule(kRtMenu, id)) return text;
    const char* text = FindResource(kMenus, id);
    return text ? text : "";
}

const char* LoadModuleString(unsigned id) {
    if (const char* text = fromResourceModule(kRtString, id)) return text;
    const char* text = FindResource(kStrings, id);
    return text ? text : "";
}

HRESULT GetModuleResource(DWORD type, DWORD id, const void** data, DWORD* size) {
    if (data && size && (type == kRtString || type == kRtMenu)) {
        if (const char* text = fromResourceModule(type, id)) {
            *data = text;
            *size = static_cast<DWORD>(std::strlen(text));
            return S_OK;
        }
    }
    return AnswerResource(kStrings, kMenus, type, id, data, size);
}

} // namespace krav
