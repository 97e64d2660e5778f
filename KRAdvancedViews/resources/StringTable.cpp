#include "resources/StringTable.h"

#include <atomic>
#include <cstring>

namespace krav {

namespace {
// Kept in id order; every translation holds the same ids.
constexpr ResourceEntry kStrings[] = {
    {IDS_FILE_FROM_WINDOWS, "The file, %s, was created in Windows and cannot be opened in UNIX."},
    {IDS_NON_NUMERIC, "A non-numeric value was entered."},
    {IDS_VIEW_EXISTS,
     "A view with the name you specified already exists.  Specify a different view name."},
    {IDS_TYPE_VIEW_NAME, "You must type a view name."},
    {IDS_ANGLE_RANGE, "An angle value outside of the valid range was entered.\nPlease enter a "
                      "numeric value between -360 and 360."},
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
    {IDS_MAX_VIEWS_LOADED,
     "The maximum number of views are set.  Some views may not have been loaded."},
    {IDS_LOCKED_UP_VECTOR, "Unable to apply this view based on the currently locked up vector."},
    {IDS_LOAD_NOTES, "Not everything in the file, %s, was loaded:"},
    {IDS_LOAD_FAILED, "The file, %s, could not be loaded: %s."},
    {IDS_SAVE_FAILED, "The file, %s, could not be saved: %s."},
    {IDS_STORE_FAILED, "The views of the file, %s, could not be stored: %s."},
    {IDS_MORE_NOTES, "... and %d more."},
    {IDS_NOTE_LINE_TOO_LONG,
     "Line %d is longer than the %d characters a line may hold; it and the rest of the file "
     "were not read."},
    {IDS_NOTE_NOT_UTF16,
     "Line %d is not valid UTF-16 text; it and the rest of the file were not read."},
    {IDS_NOTE_INCOMPLETE, "View \"%s\" (line %d) is incomplete; it was not loaded."},
    {IDS_NOTE_UNREADABLE,
     "View \"%s\", line %d: a number does not read; it and the rest of the file were not read."},
    {IDS_NOTE_BAD_VECTOR,
     "View \"%s\", line %d: %s is not three finite numbers; it keeps its default."},
    {IDS_NOTE_BAD_NUMBER, "View \"%s\", line %d: %s is not a number; it keeps its default."},
    {IDS_NOTE_NO_NAME, "The view at line %d has no name; it was not loaded."},
    {IDS_NOTE_STORE_FULL, "View \"%s\" was not loaded: the store holds at most %d views."},
    {IDS_NOTE_NOT_STORED, "View \"%s\" was not stored: %s."},
    {IDS_NOTE_FEWER_VIEWS, "The file announces %s views but holds %s; it may have been cut short."},
    {IDS_VIEW_FILES, "View Files"},
    {IDS_REG_FILES, "Reg Files"},
    {IDS_CONFIRM_DELETE, "Are you sure you want to delete the view(s)?"},
};
} // namespace

namespace {
// clang-format off
#define KRAV_ALIGN_ITEMS \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_X) " +&X\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_X) " -X\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_Y) " +&Y\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_Y) " -Y\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_Z) " +&Z\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_Z) " -Z\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_ISOMETRIC) " +&Isometric\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_ISOMETRIC) " -Isometric\n"
#define KRAV_ROTATE_ITEMS \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_CLOCKWISE) " Clock&wise\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_COUNTERCLOCKWISE) " &Counterclockwise\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_UP) " &Up\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_DOWN) " &Down\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_LEFT) " &Left\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_RIGHT) " &Right\n"
// The view items (KRAV_ID_FIRST_VIEW + index) are added at the end of the "&Standard Views" popup.
constexpr ResourceEntry kMenus[] = {
    {KRAV_ID_MENU_FULL,
     "POPUP 0 &View\n"
     "POPUP " KRAV_STR(KRAV_ID_STANDARD_VIEWS_POPUP) " &Standard Views\n" KRAV_ALIGN_ITEMS "SEPARATOR\n"
     "END\n"
     "POPUP 0 &Rotate\n" KRAV_ROTATE_ITEMS
     "END\n"
     "SEPARATOR\n"
     "ITEM " KRAV_STR(KRAV_ID_CONTROL_DIALOG) " &Control Dialog ...\n"
     "ITEM " KRAV_STR(KRAV_ID_EDIT_DIALOG) " &Edit ...\n"
     "END\n"},
    {KRAV_ID_MENU_STANDARD_VIEWS,
     "POPUP " KRAV_STR(KRAV_ID_STANDARD_VIEWS_POPUP) " &Standard Views\n" KRAV_ALIGN_ITEMS
     "END\n"},
    {KRAV_ID_MENU_SHORT,
     "POPUP 0 &View\n"
     "ITEM " KRAV_STR(KRAV_ID_CONTROL_DIALOG) " &Control Dialog ...\n"
     "ITEM " KRAV_STR(KRAV_ID_EDIT_DIALOG) " &Edit ...\n"
     "END\n"},
    {KRAV_ID_MENU_ALIGN, KRAV_ALIGN_ITEMS},
};
// clang-format on

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

void SetResourceModule(ResourceLookupFn lookup) {
    g_resourceModule.store(lookup, std::memory_order_release);
}

const char* LoadModuleMenu(unsigned id) {
    if (const char* text = fromResourceModule(kRtMenu, id)) return text;
    const char* text = FindResource(kMenus, id);
    return text ? text : "";
}

std::string FormatModuleString(unsigned id, std::initializer_list<std::string> args) {
    const std::string text = LoadModuleString(id);
    std::string out;
    auto next = args.begin();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 1 < text.size() && (text[i + 1] == 's' || text[i + 1] == 'd') &&
            next != args.end()) {
            out += *next++;
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
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
