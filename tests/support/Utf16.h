// Building UTF-16 view files in tests.
#pragma once

#include <string>

namespace zul::test {

// UTF-16LE with a byte-order mark, from ASCII text (each byte widened).
inline std::string utf16le(const std::string& ascii) {
    std::string out = "\xFF\xFE";
    for (const char c : ascii) {
        out += c;
        out += '\0';
    }
    return out;
}

} // namespace zul::test
