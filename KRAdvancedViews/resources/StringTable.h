// The module's string table, looked up by resource id.
#pragma once

namespace krav {

enum StringId : unsigned {
    IDS_FILE_FROM_WINDOWS = 104,
    IDS_FILE_NOT_VALID = 109,
    IDS_POSITIVE_ISOMETRIC = 132,
    IDS_NEGATIVE_ISOMETRIC = 133,
    IDS_MAX_VIEWS_LOADED = 139,
    IDS_LOCKED_UP_VECTOR = 141,
};

// The text of `id`, or "" for an id the table does not hold. The pointer stays valid.
const char* LoadModuleString(unsigned id);

} // namespace krav
