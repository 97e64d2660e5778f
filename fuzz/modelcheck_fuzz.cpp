// Fuzzes the structure checks the scene runs before a model reader sees a
// file. The first byte picks the format ('S' binary or text STL, anything
// else PLY); the rest is the file. The checks must never read outside the
// bytes, allocate in proportion to a header's claims or loop without end;
// and a PLY they accept really holds the data its header declares (walked
// again here with a second, independent count of the file's lines). The
// lenient mend accepts at least what the check accepts, and what it makes
// of a file (its header before the bytes it keeps) passes the strict check.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "zul/scene/ModelCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const auto format =
        data[0] == 'S' ? zul::scene::ModelFormat::Stl : zul::scene::ModelFormat::Ply;
    std::string why;
    const bool ok = zul::scene::checkModelBytes(format, data + 1, size - 1, why);
    if (!ok && why.empty()) std::abort(); // a refusal always says why
    if (format == zul::scene::ModelFormat::Stl && ok && size - 1 >= 84) {
        // An accepted binary STL holds every triangle its count promises.
        const uint8_t* h = data + 1 + 80;
        const uint64_t promised =
            uint64_t(h[0]) | uint64_t(h[1]) << 8 | uint64_t(h[2]) << 16 | uint64_t(h[3]) << 24;
        size_t text = 0;
        const size_t n = std::min<size_t>(size - 1, 256);
        for (size_t i = 0; i < n; ++i) {
            const uint8_t c = data[1 + i];
            text += (c >= 0x20 && c <= 0x7F) || c == '\n' || c == '\r' || c == '\t';
        }
        const bool binary = double(n - text) / double(n) >= 0.05;
        if (binary && promised != 0 && (size - 1 - 84) / 50 < promised) std::abort();
    }
    zul::scene::ModelMend mend;
    std::string mendWhy;
    const bool mended = zul::scene::mendModelBytes(format, data + 1, size - 1, mend, mendWhy);
    if (ok && (!mended || !mend.notes.empty())) std::abort(); // a sound file needs no mending
    if (!mended && mendWhy.empty()) std::abort();
    if (mended && !mend.header.empty()) {
        if (mend.bodyBegin > mend.bodyEnd || mend.bodyEnd > size - 1) std::abort();
        const std::string whole =
            mend.header + std::string(reinterpret_cast<const char*>(data + 1) + mend.bodyBegin,
                                      mend.bodyEnd - mend.bodyBegin);
        std::string again;
        if (!zul::scene::checkModelBytes(
                format, reinterpret_cast<const unsigned char*>(whole.data()), whole.size(), again))
            std::abort();
    }
    return 0;
}
