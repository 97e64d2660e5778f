// The ".qjv" view file in UTF-16 (as written: little-endian with a
// byte-order mark; read in either byte order). Its lines are the text form's
// (QjvText.h) converted UTF-8 <-> UTF-16 directly, surrogate pairs included.
#pragma once

#include <istream>
#include <string>

#include "KRAdvancedViews/formats/QjvText.h"

namespace krav::format {

// Reads UTF-16 lines from a stream positioned after the byte-order mark,
// 2048 bytes at a time; the read-ahead belongs to the reader, so a reader
// lives for one file.
class QjvUnicodeReader {
public:
    QjvUnicodeReader(std::istream& in, bool swapBytes) : in_(in), swap_(swapBytes) {}

    // One line (at most 1023 code units before its line feed) as UTF-8 (at
    // most 1024 bytes), with its line feed when `keepLineFeed`. False, with
    // `line` empty, at the end (a last line without a line feed is not
    // returned), for a longer line, and when the conversion fails (an
    // unpaired surrogate).
    bool Next(std::string& line, bool keepLineFeed = false);
    // Why the last Next returned false.
    enum class Stop { None, End, TooLong, NotUtf16 };
    Stop StopReason() const { return stop_; }
    // As a LineSource, without line feeds.
    LineSource Lines() {
        return [this](std::string& line) { return Next(line, false); };
    }

private:
    std::istream& in_;
    bool swap_;
    char block_[2048];
    size_t fill_ = 0, pos_ = 0;
    Stop stop_ = Stop::None;
};

// The header line (compared on its first 32 characters) and the version
// (2 when the line is missing or unreadable). False when it is not a view
// file.
bool ReadQjvUnicodeHeader(QjvUnicodeReader& reader, double& version);

// `text` (UTF-8) as UTF-16LE bytes; false, with `out` unchanged, when the
// text is not valid UTF-8.
bool EncodeUtf16(const std::string& text, std::string& out);

// The byte-order mark of the written file.
inline constexpr const char* kUtf16LeMark = "\xFF\xFE";

} // namespace krav::format
