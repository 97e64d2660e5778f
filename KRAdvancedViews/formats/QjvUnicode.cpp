#include "KRAdvancedViews/formats/QjvUnicode.h"

#include <utf8cpp/utf8.h>

#include <iterator>
#include <utility>

namespace krav::format {

bool QjvUnicodeReader::Next(std::string& line, bool keepLineFeed) {
    line.clear();
    stop_ = Stop::End;
    std::u16string units;
    for (;;) {
        if (pos_ + 1 >= fill_) {
            // A dangling odd byte of the last block is the file's end.
            if (!in_.good()) return false;
            in_.read(block_, sizeof block_);
            fill_ = static_cast<size_t>(in_.gcount());
            pos_ = 0;
            if (fill_ < 2) return false;
            if (swap_)
                for (size_t i = 0; i + 1 < fill_; i += 2)
                    std::swap(block_[i], block_[i + 1]);
        }
        const auto lo = static_cast<unsigned char>(block_[pos_]);
        const auto hi = static_cast<unsigned char>(block_[pos_ + 1]);
        pos_ += 2;
        const auto unit = static_cast<char16_t>(lo | (hi << 8));
        if (unit == u'\n') {
            if (keepLineFeed) units += unit;
            break;
        }
        units += unit;
        if (units.size() > 1023) {
            stop_ = Stop::TooLong;
            return false;
        }
    }
    std::string text;
    try {
        utf8::utf16to8(units.begin(), units.end(), std::back_inserter(text));
    } catch (const utf8::exception&) {
        stop_ = Stop::NotUtf16;
        return false;
    }
    if (text.size() > 1024) {
        stop_ = Stop::TooLong;
        return false;
    }
    line = std::move(text);
    stop_ = Stop::None;
    return true;
}

bool ReadQjvUnicodeHeader(QjvUnicodeReader& reader, double& version) {
    std::string line;
    if (!reader.Next(line, true) || line.compare(0, 32, kQjvHeader) != 0) return false;
    version = 2.0;
    if (reader.Next(line, false)) {
        float v = 0;
        if (ScanFloats(line, &v, 1) == 1) version = v;
    }
    return true;
}

bool EncodeUtf16(const std::string& text, std::string& out) {
    std::u16string wide;
    try {
        utf8::utf8to16(text.begin(), text.end(), std::back_inserter(wide));
    } catch (const utf8::exception&) {
        return false;
    }
    out.clear();
    out.reserve(wide.size() * 2);
    for (const char16_t u : wide) {
        out += static_cast<char>(u & 0xFF);
        out += static_cast<char>(u >> 8);
    }
    return true;
}

} // namespace krav::format
