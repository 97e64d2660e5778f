// The module's string table, looked up by resource id.
#pragma once

#include "resources/ResourceTable.h"

namespace krav {

enum StringId : unsigned {
    IDS_FILE_FROM_WINDOWS = 104,
    IDS_NON_NUMERIC = 105,
    IDS_VIEW_EXISTS = 106,
    IDS_TYPE_VIEW_NAME = 107,
    IDS_ANGLE_RANGE = 108,
    IDS_FILE_NOT_VALID = 109,
    IDS_PICK = 110,
    IDS_STOP_PICK = 111,
    IDS_POINT = 112,
    IDS_PART = 113,
    IDS_FACE = 114,
    IDS_EDGE = 115,
    IDS_VERTEX = 116,
    IDS_APPLY_VIEW = 122,
    IDS_APPLY_SELECTED_VIEW = 123,
    IDS_ZERO_VECTOR = 129,
    IDS_IDENTICAL_POINTS = 130,
    IDS_PARALLEL_VECTORS = 131,
    IDS_POSITIVE_ISOMETRIC = 132,
    IDS_NEGATIVE_ISOMETRIC = 133,
    IDS_MAX_VIEWS_LOADED = 139,
    IDS_LOCKED_UP_VECTOR = 141,
    IDS_VIEW_FILES = 32786,
    IDS_REG_FILES = 32787,
    IDS_CONFIRM_DELETE = 32788,
};

// The text of `id`, or "" for an id the table does not hold. The pointer stays
// valid while the module is loaded. Taken from the resource module when one is
// in use and holds the id, else from the built-in English table.
const char* LoadModuleString(unsigned id);

// Menu resources (the full "&View" menu 205, the context menu 231, the short
// menu 234 and the align drop-down 235) as text, one line per entry:
// "POPUP <id> <text>", "END", "ITEM <id> <text>", "SEPARATOR". "" for another id.
const char* LoadModuleMenu(unsigned id);

// Makes `lookup` (a loaded resource module's ZulGetModuleResource) the first
// source of strings and menus; null returns to the built-in ones.
void SetResourceModule(ResourceLookupFn lookup);

// The module's exported lookup: the resource module's text where it has one,
// else the built-in one (see AnswerResource).
HRESULT GetModuleResource(DWORD type, DWORD id, const void** data, DWORD* size);

} // namespace krav
