// The registry's text: UTF-8, the "ANSI" code page of its A functions. Bytes
// that are not UTF-8 are read as Windows-1252, the code page those functions
// mean on a western Windows, wherever they come in: a name or string given
// to a Reg*A function, an 8-bit file, a command line. So every name and
// string stored is UTF-8, and exports carry it byte for byte.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zul/registry/registry.h"

namespace zul::registry {

// `in` (UTF-8) as Windows-1252 bytes; false, with the first character that
// has no byte in `unmapped` (or 0xFFFD when `in` is not UTF-8), otherwise.
ZUL_PLATFORM_API bool utf8ToWindows1252(std::string_view in, std::string& out, uint32_t& unmapped);

// Windows-1252 bytes as UTF-8 (the five bytes the code page leaves undefined
// become the C1 controls of the same number, as Windows converts them).
ZUL_PLATFORM_API std::string windows1252ToUtf8(std::string_view in);

// True when `in` is valid UTF-8 throughout.
ZUL_PLATFORM_API bool isUtf8(std::string_view in);

// `in` as the registry's text: itself when it is UTF-8, else read as
// Windows-1252, each NUL-ended string of it on its own.
ZUL_PLATFORM_API std::string utf8Text(std::string_view in);

} // namespace zul::registry
