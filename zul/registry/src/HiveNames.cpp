// Key and value names as the registry compares them: case-insensitive by
// Unicode simple upper case, counted in characters.
#include "Hive.h"

namespace zul::registry {

namespace {

uint32_t decodeUtf8(std::string_view s, size_t& i) {
    const auto c = static_cast<unsigned char>(s[i]);
    auto cont = [&](size_t k) -> int {
        if (i + k >= s.size()) return -1;
        const auto b = static_cast<unsigned char>(s[i + k]);
        return (b & 0xC0) == 0x80 ? (b & 0x3F) : -1;
    };
    if (c < 0x80) {
        ++i;
        return c;
    }
    if ((c & 0xE0) == 0xC0) {
        const int b1 = cont(1);
        if (b1 >= 0) {
            i += 2;
            return ((c & 0x1Fu) << 6) | static_cast<uint32_t>(b1);
        }
    } else if ((c & 0xF0) == 0xE0) {
        const int b1 = cont(1), b2 = b1 >= 0 ? cont(2) : -1;
        if (b2 >= 0) {
            i += 3;
            return ((c & 0x0Fu) << 12) | (static_cast<uint32_t>(b1) << 6) |
                   static_cast<uint32_t>(b2);
        }
    }
    // Four-byte sequences and invalid bytes fold to themselves.
    ++i;
    return 0xFFFFFFFFu;
}

void appendUtf8(std::string& out, uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

uint32_t upper(uint32_t cp) {
    if (cp >= 'a' && cp <= 'z') return cp - 0x20;
    if (cp >= 0xE0 && cp <= 0xFE && cp != 0xF7) return cp - 0x20;
    if (cp == 0xFF) return 0x178;
    if (cp >= 0x100 && cp <= 0x17F) { // Latin Extended-A: pairs, upper case first
        const bool oddUpper = (cp >= 0x139 && cp <= 0x148) || (cp >= 0x179 && cp <= 0x17E);
        if (cp == 0x131 || cp == 0x138 || cp == 0x149 || cp == 0x17F) return cp;
        if (oddUpper) return (cp % 2 == 0) ? cp - 1 : cp;
        return (cp % 2 == 1) ? cp - 1 : cp;
    }
    if (cp >= 0x3B1 && cp <= 0x3C9 && cp != 0x3C2) return cp - 0x20;
    if (cp >= 0x430 && cp <= 0x44F) return cp - 0x20;
    if (cp >= 0x450 && cp <= 0x45F) return cp - 0x50;
    return cp;
}

} // namespace

std::string foldName(std::string_view name) {
    std::string out;
    out.reserve(name.size());
    size_t i = 0;
    while (i < name.size()) {
        const size_t start = i;
        const uint32_t cp = decodeUtf8(name, i);
        if (cp == 0xFFFFFFFFu) {
            out.append(name.substr(start, i - start));
        } else if (cp < 0x80) {
            out += static_cast<char>(upper(cp));
        } else {
            appendUtf8(out, upper(cp));
        }
    }
    return out;
}

size_t nameLength(std::string_view name) {
    size_t n = 0;
    for (const char c : name)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
    return n;
}

} // namespace zul::registry
