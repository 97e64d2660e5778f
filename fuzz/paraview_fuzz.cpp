// Fuzzes the readers of ParaView's camera files: any bytes are refused with
// a reason or read to cameras whose numbers are finite, and what is read
// writes out and reads back to the same cameras.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "KRAdvancedViews/formats/ParaViewFiles.h"

namespace {

void s_checkFinite(const krav::format::ParaViewCamera& c) {
    for (int i = 0; i < 3; ++i)
        if (!std::isfinite(c.position[i]) || !std::isfinite(c.focalPoint[i]) ||
            !std::isfinite(c.viewUp[i]))
            std::abort();
    if (!std::isfinite(c.viewAngle) || !std::isfinite(c.parallelScale)) std::abort();
}

bool s_same(const krav::format::ParaViewCamera& a, const krav::format::ParaViewCamera& b) {
    for (int i = 0; i < 3; ++i)
        if (a.position[i] != b.position[i] || a.focalPoint[i] != b.focalPoint[i] ||
            a.viewUp[i] != b.viewUp[i])
            return false;
    return a.viewAngle == b.viewAngle && a.parallelScale == b.parallelScale &&
           a.parallelProjection == b.parallelProjection;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::string why;
    krav::format::ParaViewCamera camera;
    if (krav::format::ParsePvcc(bytes, camera, why)) {
        s_checkFinite(camera);
        krav::format::ParaViewCamera again;
        if (!krav::format::ParsePvcc(krav::format::PvccText(camera), again, why) ||
            !s_same(camera, again))
            std::abort();
    } else if (why.empty()) {
        std::abort();
    }
    std::vector<krav::format::NamedCamera> cameras;
    std::vector<std::string> notes;
    if (krav::format::ParsePvcvbc(bytes, cameras, notes, why)) {
        for (const auto& c : cameras)
            s_checkFinite(c.camera);
        std::string text;
        std::vector<krav::format::NamedCamera> again;
        if (krav::format::PvcvbcText(cameras, text, why)) {
            if (!krav::format::ParsePvcvbc(text, again, notes, why) ||
                again.size() != cameras.size())
                std::abort();
            for (size_t i = 0; i < again.size(); ++i)
                if (again[i].name != cameras[i].name || !s_same(again[i].camera, cameras[i].camera))
                    std::abort();
        }
    } else if (why.empty()) {
        std::abort();
    }
    return 0;
}
