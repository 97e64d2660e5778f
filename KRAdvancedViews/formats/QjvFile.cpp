#include "KRAdvancedViews/formats/QjvFile.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace krav::format {

LineSource CountedTextLines(std::istream& in, ReadNotes& notes) {
    notes.line = 2;
    return [&in, &notes](std::string& line) {
        bool tooLong = false;
        if (ReadTextLine(in, line, kQjvTextLineLimit, &tooLong)) {
            ++notes.line;
            return true;
        }
        if (tooLong)
            notes.add(ReadNote::LineTooLong, {}, std::to_string(kQjvTextLineLimit - 1),
                      notes.line + 1);
        return false;
    };
}

LineSource CountedUnicodeLines(QjvUnicodeReader& reader, ReadNotes& notes) {
    notes.line = 2;
    return [&reader, &notes](std::string& line) {
        if (reader.Next(line)) {
            ++notes.line;
            return true;
        }
        if (reader.StopReason() == QjvUnicodeReader::Stop::TooLong)
            notes.add(ReadNote::LineTooLong, {}, std::to_string(kQjvTextLineLimit - 1),
                      notes.line + 1);
        else if (reader.StopReason() == QjvUnicodeReader::Stop::NotUtf16)
            notes.add(ReadNote::NotUtf16, {}, {}, notes.line + 1);
        return false;
    };
}

bool ParseQjvFile(const std::string& bytes, std::vector<NamedRecord>& records, ReadNotes& notes) {
    const unsigned mark =
        bytes.size() >= 2
            ? (static_cast<unsigned char>(bytes[0]) | static_cast<unsigned char>(bytes[1]) << 8)
            : 0;
    double version = 2.0;
    if (mark == 0xFEFF || mark == 0xFFFE) {
        std::istringstream in(bytes.substr(2), std::ios::in | std::ios::binary);
        QjvUnicodeReader reader(in, mark == 0xFFFE);
        if (!ReadQjvUnicodeHeader(reader, version) || (version != 1.0 && version != 2.0))
            return false;
        const LineSource lines = CountedUnicodeLines(reader, notes);
        records =
            version == 1.0 ? ParseQjvVersion1(lines, &notes) : ParseQjvVersion2(lines, &notes);
        return true;
    }
    std::istringstream in(bytes);
    if (!ReadQjvTextHeader(in, version) || (version != 1.0 && version != 2.0)) return false;
    const LineSource lines = CountedTextLines(in, notes);
    records = version == 1.0 ? ParseQjvVersion1(lines, &notes) : ParseQjvVersion2(lines, &notes);
    return true;
}

bool QjvUnicodeFileBytes(const std::vector<NamedRecord>& records, std::string& bytes,
                         std::string& why) {
    std::string out = kUtf16LeMark, encoded;
    if (!EncodeUtf16(QjvHeaderLines(), encoded)) return false;
    out += encoded;
    for (const NamedRecord& r : records) {
        if (!EncodeUtf16(QjvRecordLines(r.name, r.info), encoded)) {
            why = "the view name '" + r.name + "' is not UTF-8 text and cannot be written";
            return false;
        }
        out += encoded;
    }
    bytes = std::move(out);
    return true;
}

// A view file beside a model is small; one larger than this is not read.
constexpr uintmax_t kBesideFileLimit = 16u << 20;

std::vector<NamedRecord> ReadViewsBeside(const std::string& model,
                                         std::vector<std::string>& problems) {
    const std::string path = model + ".qjv";
    std::error_code ec;
    if (model.empty() || !std::filesystem::exists(path, ec)) return {};
    std::string bytes;
    if (std::filesystem::is_regular_file(path, ec) &&
        std::filesystem::file_size(path, ec) <= kBesideFileLimit && !ec)
        if (std::ifstream in(path, std::ios::binary); in)
            bytes.assign(std::istreambuf_iterator<char>(in), {});
    std::vector<NamedRecord> records;
    ReadNotes notes;
    if (bytes.empty() || !ParseQjvFile(bytes, records, notes)) {
        problems.push_back(path +
                           ": not a view file; the views saved with the model were not read");
        return {};
    }
    for (const ReadNote& note : notes.notes)
        problems.push_back(path + ", " + DescribeReadNote(note));
    return records;
}

std::string DescribeReadNote(const ReadNote& n) {
    const std::string at = "line " + std::to_string(n.line) + ": ";
    switch (n.kind) {
    case ReadNote::LineTooLong:
        return at + "the line is longer than " + n.field +
               " characters; it and the rest of the file were not read";
    case ReadNote::NotUtf16:
        return at + "the line is not UTF-16 text; it and the rest of the file were not read";
    case ReadNote::CutOff:
        return at + "the view '" + n.view + "' ends with the file; it was left out";
    case ReadNote::Unreadable:
        return at + "a number of the view '" + n.view + "' does not read; the file ends there";
    case ReadNote::BadVector:
        return at + "the " + n.field + " of the view '" + n.view +
               "' is not three numbers; its default was kept";
    case ReadNote::BadNumber:
        return at + "the " + n.field + " of the view '" + n.view +
               "' is not a number; its default was kept";
    case ReadNote::NoName:
        return at + "a view without a name was left out";
    case ReadNote::FewerViews:
        return "the file announces " + n.field + " views but holds " + n.view;
    }
    return at + "something was left out";
}

bool ModuleFileTypeOf(const std::string& path, const std::string& type, FileTypeEnum& out) {
    std::string t = type.empty() ? std::filesystem::path(path).extension().string() : "." + type;
    for (char& c : t)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (t == ".qjv")
        out = TextFile;
    else if (t == ".reg")
        out = RegistryFile;
    else
        return false;
    return true;
}

} // namespace krav::format
