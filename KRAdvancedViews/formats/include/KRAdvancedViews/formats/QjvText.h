// The ".qjv" view file's text form: a header line, a version line, then the
// records, in 8-bit text (this unit) or UTF-16 (QjvUnicode.h, which shares
// the record lines). Version 2 (written) has ten "Key:value" lines a record,
// "Name" to "Change"; version 1 (read only) has five lines a record (name,
// up, view, camera type, index) and ends at an empty name line. Numbers are
// read and written independently of the process's locale.
#pragma once

#include <functional>
#include <istream>
#include <string>
#include <vector>

#include "KRAdvancedViews/formats/ViewRecord.h"

namespace krav::format {

inline constexpr const char* kQjvHeader = "KRAdvancedViews Persistence File";
// The 8-bit reader's line buffer, terminator included: a longer line ends
// the file.
inline constexpr size_t kQjvTextLineLimit = 1024;

// Gives the next line (without its line feed); false at the end.
using LineSource = std::function<bool(std::string&)>;

// Reads one 8-bit line into `line` without its line feed (and without one
// carriage return before it). A line that does not fit a buffer of `limit`
// characters sets the stream's fail state, so this and every later read
// yields false, as at end of file; `tooLong`, when given, says so.
bool ReadTextLine(std::istream& in, std::string& line, size_t limit, bool* tooLong = nullptr);

// The 8-bit header: true when the first line is the header exactly; the
// version is the next line's number (2 when missing or unreadable).
bool ReadQjvTextHeader(std::istream& in, double& version);

// The records of a version 1 body, until an empty name line, the end, or a
// number that does not read (which ends the file, as a failed extraction
// did). Indices are as read; the loader numbers them.
// `notes`, when given, receives what was left out (its line is kept by
// `next`), as for version 2.
std::vector<NamedRecord> ParseQjvVersion1(const LineSource& next, ReadNotes* notes = nullptr);

// The records of a version 2 body: each from its "Name" line (lines before
// one are skipped) to its "Change" line, keys case-insensitive, unknown keys
// ignored, a vector or number that does not read wholly leaving the
// record's default. A record
// cut off by the end of the file is dropped; an empty line ends the body.
// bHasFromAndAt is cleared for a record whose points are all zero.
// `notes`, when given, receives each value left at its default and each
// record dropped.
std::vector<NamedRecord> ParseQjvVersion2(const LineSource& next, ReadNotes* notes = nullptr);

// "%g" in the C locale (six significant digits).
std::string FormatNumber(double v);

// The ten lines of a version 2 record, each ending with a line feed.
std::string QjvRecordLines(const std::string& name, const FullViewInfo& info);

// The header and version lines of the version 2 file.
std::string QjvHeaderLines();

// Helpers the other formats share: the leading number of `text` as atof
// and atoi read it (0 when none), and up to `n` blank-separated floats as
// "%f %f %f" reads them (returns how many; the rest of `out` stays). A
// number out of the float range or not finite (nan, inf) is not read.
// ScanVector takes three such numbers or none: false, `out` unchanged,
// when any does not read.
float LeadingFloat(const std::string& text);
int LeadingInt(const std::string& text);
int ScanFloats(const std::string& text, float* out, int n);
bool ScanVector(const std::string& text, float out[3]);
bool ScanInt(const std::string& text, int& out);
std::string Trim(const std::string& s);
void ClearFlagWithoutPoints(FullViewInfo& r);

} // namespace krav::format
