// A whole ".qjv" view file, for hosts that read and write one without the
// store: the views saved beside a model, a chosen few views saved by name.
// The module's Save and Load go through the store and its own readers.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "KRAdvancedViews/formats/QjvUnicode.h"
#include "KRAdvancedViews/formats/ViewRecord.h"

namespace krav::format {

// The lines of a body after its header (line 2), counted in `notes`; a line
// too long for the reader, or not UTF-16, is noted where it stands.
LineSource CountedTextLines(std::istream& in, ReadNotes& notes);
LineSource CountedUnicodeLines(QjvUnicodeReader& reader, ReadNotes& notes);

// The records of a view file's bytes in any of its forms: UTF-16 in either
// byte order (told by its byte-order mark) or 8-bit, version 1 or 2. False
// when the bytes are not a view file; `notes` receive what was left out.
bool ParseQjvFile(const std::string& bytes, std::vector<NamedRecord>& records, ReadNotes& notes);

// The bytes of a UTF-16 view file of `records`, as the module writes one.
// A name that is not UTF-8 cannot be written: false, naming it in `why`.
bool QjvUnicodeFileBytes(const std::vector<NamedRecord>& records, std::string& bytes,
                         std::string& why);

// The views saved beside the model file `model`, in `model` + ".qjv" (none
// when there is no such file). What could not be read of that file goes to
// `problems`, one sentence each naming the file (and the line): "b.step.qjv,
// line 13: the view 'Top' ends with the file; it was left out".
std::vector<NamedRecord> ReadViewsBeside(const std::string& model,
                                         std::vector<std::string>& problems);

// The module's own view file type of `path`: from `type` ("qjv", "reg")
// when given, else from the extension (any case); false when it names
// another kind of file.
bool ModuleFileTypeOf(const std::string& path, const std::string& type, FileTypeEnum& out);

// A note as one English sentence for a host's message: "line 14: the view
// 'Top' ends with the file; it was left out".
std::string DescribeReadNote(const ReadNote& note);

} // namespace krav::format
