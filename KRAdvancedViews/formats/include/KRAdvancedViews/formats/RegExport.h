// The ".reg" export of the view store: registry editor text ("REGEDIT4")
// holding the store key's parents, the "Merged Views" count, and one section
// per view tagged @="Merged", with floats as `float:` and integers as `int:`
// lines (words no registry editor knows; this platform's zulreg reads them).
// The writer escapes nothing, as the file has always been written.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "KRAdvancedViews/formats/ViewRecord.h"

namespace krav::format {

// The .reg reader's line buffer: a longer line ends the file.
inline constexpr size_t kRegLineLimit = 256;

// A section tagged "Merged": the key it names and the view in it. `name` is
// the "View Name" value (the older layout names a view by its key instead).
struct MergedSection {
    std::string key;
    int line = 0; // of its @="Merged" line
    std::string viewName;
    FullViewInfo info;
};

// True when the file's first line starts with "REGEDIT".
bool LooksLikeRegExport(std::istream& in);

// Every section tagged @="Merged", in file order: its values up to the next
// line whose part before "=" is empty. bHasFromAndAt is cleared for a view
// whose points are all zero.
// `notes`, when given, receives each value left at its default, a line too
// long for the reader (which ends the file), a section without a view name
// and a section the file ends inside of.
std::vector<MergedSection> ReadRegExport(std::istream& in, ReadNotes* notes = nullptr);

// Whether a view named `name` comes back whole from an export: the writer
// escapes nothing, so a quote, a backslash or a line break breaks its line,
// and the reader takes lines of up to kRegLineLimit - 1 characters. False
// with `why` when not.
bool TravelsInRegExport(const std::string& name, std::string& why);

// The export of `views` under the key `storePath` ("HKEY_CURRENT_USER\...").
// Each view's key is named by `keyName` (the store's layout decides it).
std::string WriteRegExport(const std::string& storePath, const std::vector<NamedRecord>& views,
                           std::string (*keyName)(int index));

} // namespace krav::format
