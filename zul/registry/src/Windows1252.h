// Windows-1252, the 8-bit text of the registry editor's REGEDIT4 files.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zul::registry {

// `in` (UTF-8) as Windows-1252 bytes; false, with the first character that
// has no byte in `unmapped` (or 0xFFFD when `in` is not UTF-8), otherwise.
bool utf8ToWindows1252(std::string_view in, std::string& out, uint32_t& unmapped);

// Windows-1252 bytes as UTF-8 (the five bytes the code page leaves undefined
// become the C1 controls of the same number, as Windows converts them).
std::string windows1252ToUtf8(std::string_view in);

// True when `in` is valid UTF-8 throughout.
bool isUtf8(std::string_view in);

} // namespace zul::registry
