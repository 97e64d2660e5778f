#include "zul/registry/Text.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <iterator>

namespace zul::registry {

namespace {

// The code points of bytes 0x80 to 0x9F; the rest map to themselves.
constexpr char16_t kHigh[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

uint32_t s_codePoint(unsigned char b) {
    return b >= 0x80 && b < 0xA0 ? kHigh[b - 0x80] : b;
}

} // namespace

bool isUtf8(std::string_view in) {
    return utf8::is_valid(in.begin(), in.end());
}

bool utf8ToWindows1252(std::string_view in, std::string& out, uint32_t& unmapped) {
    out.clear();
    if (!isUtf8(in)) {
        unmapped = 0xFFFD;
        return false;
    }
    for (auto it = in.begin(); it != in.end();) {
        const uint32_t cp = utf8::next(it, in.end());
        int byte = -1;
        if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) {
            byte = int(cp);
        } else {
            for (int i = 0; i < 32; ++i)
                if (kHigh[i] == cp) byte = 0x80 + i;
        }
        if (byte < 0) {
            unmapped = cp;
            return false;
        }
        out += char(byte);
    }
    return true;
}

std::string windows1252ToUtf8(std::string_view in) {
    std::string out;
    out.reserve(in.size());
    for (const char c : in)
        utf8::append(s_codePoint(static_cast<unsigned char>(c)), std::back_inserter(out));
    return out;
}

std::string utf8Text(std::string_view in) {
    if (isUtf8(in)) return std::string(in);
    // Each string of a list (strings ended by NULs) on its own: one that is
    // UTF-8 stays as it is.
    std::string out;
    for (size_t at = 0; at <= in.size();) {
        const size_t end = std::min(in.find('\0', at), in.size());
        const std::string_view part = in.substr(at, end - at);
        out += isUtf8(part) ? std::string(part) : windows1252ToUtf8(part);
        if (end < in.size()) out += '\0';
        at = end + 1;
    }
    return out;
}

} // namespace zul::registry
