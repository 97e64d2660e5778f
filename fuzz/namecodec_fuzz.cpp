// Fuzzes the older layout's key-name encoding: any bytes encode to a key name
// without a backslash that decodes back to them, and decoding any text either
// fails cleanly or gives bytes that encode and decode to themselves.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ViewInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string in(reinterpret_cast<const char*>(data), size);
    std::string enc, dec;
    const int len = krav::s_encode(in, enc);
    if (len != static_cast<int>(enc.size()) || enc.find('\\') != std::string::npos) std::abort();
    if (krav::s_decode(enc, dec) != static_cast<int>(in.size()) || dec != in) std::abort();

    if (krav::s_decode(in, dec) >= 0) {
        std::string again, back;
        krav::s_encode(dec, again);
        if (krav::s_decode(again, back) < 0 || back != dec) std::abort();
    }
    return 0;
}
