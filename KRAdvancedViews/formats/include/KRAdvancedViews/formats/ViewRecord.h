// What the view file formats read and write: a view's name and record.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "KRAdvancedViews/ViewTypes.h"

namespace krav::format {

struct NamedRecord {
    std::string name;
    FullViewInfo info;
};

// Something a reader left out of a file, or read as a default, and where:
// what the user is told after a load.
struct ReadNote {
    enum Kind {
        LineTooLong, // `line` and everything after it were not read
        NotUtf16,    // `line` is not UTF-16 text; it and everything after were not read
        CutOff,      // the file ends inside view `view` (starting at `line`): dropped
        Unreadable,  // a number of `view` at `line` does not read; the file ends there
        BadVector,   // `field` of `view` at `line` is not three finite numbers: default kept
        BadNumber,   // `field` of `view` at `line` is not a number: default kept
        NoName,      // the view at `line` has no name: not loaded
        FewerViews,  // the file announces `field` views but holds `view` of them
    };
    Kind kind;
    int line = 0; // counted from the file's first line, 1
    std::string view;
    std::string field;
};

// The notes of one read. `line` is the number of the line read last: the
// line source keeps it (the readers of this unit that read a stream
// themselves count their own lines).
struct ReadNotes {
    int line = 0;
    std::vector<ReadNote> notes;
    void add(ReadNote::Kind kind, std::string view = {}, std::string field = {}, int at = 0) {
        notes.push_back({kind, at > 0 ? at : line, std::move(view), std::move(field)});
    }
};

} // namespace krav::format
