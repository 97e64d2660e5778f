// Fuzzes one view file format unit directly, the input being the whole file;
// the build picks it: KRAV_VIEWFILE_QJV8 (the 8-bit .qjv reader),
// KRAV_VIEWFILE_QJV16 (the UTF-16 reader; the first byte picks the byte
// order) or KRAV_VIEWFILE_REG (the .reg export reader). Besides crashes and
// undefined behaviour it checks that what was read can be written and read
// back to the same text (the writer and the reader agree), that no line
// the reader took was longer than its limit, that every note of what was
// left out points at a line of the file, and that what the writer wrote
// reads back without a single note.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/formats/QjvText.h"
#include "KRAdvancedViews/formats/QjvUnicode.h"
#include "KRAdvancedViews/formats/RegExport.h"

using namespace krav::format;

namespace {

[[maybe_unused]] std::string s_asV2(const std::vector<NamedRecord>& records) {
    std::string text = QjvHeaderLines();
    for (const NamedRecord& r : records)
        text += QjvRecordLines(r.name, r.info);
    return text;
}

// Every note names a line of the file, or the one after its last.
[[maybe_unused]] void s_checkNotes(const ReadNotes& notes, size_t bytes) {
    for (const ReadNote& n : notes.notes)
        if (n.line < 1 || size_t(n.line) > bytes + 1) std::abort();
}

#if defined(KRAV_VIEWFILE_QJV8)
std::vector<NamedRecord> s_read(const std::string& bytes, bool& ok, ReadNotes& notes) {
    std::istringstream in(bytes);
    double version = 0;
    ok = ReadQjvTextHeader(in, version);
    notes.line = 2;
    const LineSource next = [&in, &notes](std::string& line) {
        const bool got = ReadTextLine(in, line, kQjvTextLineLimit);
        if (got && line.size() >= kQjvTextLineLimit) std::abort();
        notes.line += got;
        return got;
    };
    if (!ok || (version != 1.0 && version != 2.0)) return {};
    return version == 1.0 ? ParseQjvVersion1(next, &notes) : ParseQjvVersion2(next, &notes);
}
std::string s_encode(const std::string& text) {
    return text;
}
#elif defined(KRAV_VIEWFILE_QJV16)
bool g_swap = false;
std::vector<NamedRecord> s_read(const std::string& bytes, bool& ok, ReadNotes& notes) {
    std::istringstream in(bytes);
    QjvUnicodeReader reader(in, g_swap);
    double version = 0;
    ok = ReadQjvUnicodeHeader(reader, version);
    if (!ok || (version != 1.0 && version != 2.0)) return {};
    notes.line = 2;
    const LineSource next = [&reader, &notes](std::string& line) {
        const bool got = reader.Next(line);
        if (got && line.size() > 1024) std::abort();
        notes.line += got;
        return got;
    };
    return version == 1.0 ? ParseQjvVersion1(next, &notes) : ParseQjvVersion2(next, &notes);
}
std::string s_encode(const std::string& text) {
    std::string bytes;
    if (!EncodeUtf16(text, bytes)) return {};
    if (g_swap)
        for (size_t i = 0; i + 1 < bytes.size(); i += 2)
            std::swap(bytes[i], bytes[i + 1]);
    return bytes;
}
#endif

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
#if defined(KRAV_VIEWFILE_QJV8) || defined(KRAV_VIEWFILE_QJV16)
#if defined(KRAV_VIEWFILE_QJV16)
    if (size == 0) return 0;
    g_swap = data[0] & 1;
    ++data, --size;
#endif
    bool ok = false;
    ReadNotes notes;
    const auto records = s_read(std::string(reinterpret_cast<const char*>(data), size), ok, notes);
    s_checkNotes(notes, size);
    // Written as version 2 and read back, the records settle after one pass
    // (reading normalises: names are trimmed, an all-zero pair of points
    // drops its flag) and then give the same text again.
    std::string text = s_asV2(records);
    for (int pass = 0; pass < 2; ++pass) {
        const std::string bytes = s_encode(text);
        if (bytes.empty()) return 0; // a name that is not UTF-8 is not written
        bool again = false;
        ReadNotes written;
        const std::string next = s_asV2(s_read(bytes, again, written));
        if (!again || (pass == 1 && next != text)) std::abort();
        if (!written.notes.empty()) std::abort(); // the writer's own file reads clean
        text = next;
    }
#elif defined(KRAV_VIEWFILE_REG)
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    ReadNotes notes;
    const auto sections = ReadRegExport(in, &notes);
    s_checkNotes(notes, size);
    // Views whose names travel in a .reg line (no quote, no backslash, short
    // enough for the reader's line) come back as they were written.
    std::vector<NamedRecord> views;
    for (const MergedSection& s : sections)
        if (s.viewName.find_first_of("\"\\") == std::string::npos && s.viewName.size() < 200)
            views.push_back({s.viewName, s.info});
    const std::string written = WriteRegExport("HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2",
                                               views, &krav::ViewKeyName);
    std::istringstream back(written);
    ReadNotes rereadNotes;
    const auto reread = ReadRegExport(back, &rereadNotes);
    if (reread.size() != views.size() || !rereadNotes.notes.empty()) std::abort();
    std::vector<NamedRecord> again;
    for (const MergedSection& s : reread)
        again.push_back({s.viewName, s.info});
    if (WriteRegExport("HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2", again,
                       &krav::ViewKeyName) != written)
        std::abort();
#else
#error "define the format to fuzz"
#endif
    return 0;
}
