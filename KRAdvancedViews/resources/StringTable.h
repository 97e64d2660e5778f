// The module's string table, looked up by resource id.
#pragma once

#include <initializer_list>
#include <string>

#include "KRAdvancedViews/ResourceIds.h"
#include "resources/ResourceTable.h"

namespace krav {

// The string ids live with the command and menu ids.
using namespace krav::ids;

// The text of `id`, or "" for an id the table does not hold. The pointer stays
// valid while the module is loaded. Taken from the resource module when one is
// in use and holds the id, else from the built-in English table.
const char* LoadModuleString(unsigned id);

// The text of `id` with each "%s" and "%d" in it replaced by the next of
// `args`, in order (a placeholder without an argument is left as it is).
std::string FormatModuleString(unsigned id, std::initializer_list<std::string> args);

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
