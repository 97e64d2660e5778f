#include "ViewInfo.h"

#include <algorithm>
#include <cmath>

#include "Trace.h"

namespace krav {

bool FloatsEqual(float a, float b) {
    return std::fabs(a - b) <= std::max(std::fabs(a), std::fabs(b)) * 1.1920928955078125e-07f;
}

void NormalizeVector(float v[3]) {
    const float len = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    if (len > 0.0f)
        for (int i = 0; i < 3; ++i) v[i] /= len;
}

bool CompareViewInfo(FullViewInfo a, FullViewInfo b, std::string* message) {
    KRAV_TRACE_STATIC("krav::CompareViewInfo");
    auto report = [message](const char* text) {
        if (message) *message = text;
        return false;
    };
    const int wa = a.iChangeBits, wb = b.iChangeBits;
    auto counts = [wa, wb](int bit) {
        if (wa == 0 && wb == 0) return true;
        if (wa != 0 && wb != 0) return (wa & bit) && (wb & bit);
        return ((wa != 0 ? wa : wb) & bit) != 0;
    };
    auto openOr = [](int word, int bit) { return word == 0 || (word & bit); };
    const bool viewCounts = counts(ViewChangeViewVector);
    const bool fromCounts = counts(ViewChangeFromPoint);
    const bool atCounts = counts(ViewChangeAtPoint);

    if (a.cameraType != b.cameraType && openOr(wa, ViewChangeCameraType) && openOr(wb, ViewChangeCameraType))
        return report("Camera Type mismatch");
    if (!FloatsEqual(a.viewAngle, b.viewAngle) && openOr(wa, ViewChangeViewAngle) && openOr(wb, ViewChangeViewAngle))
        return report("View angle mismatch");

    NormalizeVector(a.pUpVector);
    NormalizeVector(b.pUpVector);
    NormalizeVector(a.pViewVector);
    NormalizeVector(b.pViewVector);
    const bool points = a.bHasFromAndAt && b.bHasFromAndAt;
    for (int i = 0; i < 3; ++i) {
        if (!FloatsEqual(a.pUpVector[i], b.pUpVector[i])) return report("Up Vector MisMatch");
        if (viewCounts && !FloatsEqual(a.pViewVector[i], b.pViewVector[i])) return report("View Vector MisMatch");
        if (points) {
            if (fromCounts && !FloatsEqual(a.pFromVector[i], b.pFromVector[i])) return report("From Vector MisMatch");
            if (atCounts && !FloatsEqual(a.pAtVector[i], b.pAtVector[i])) return report("At Vector MisMatch");
        }
    }
    if (message) message->clear();
    return true;
}

namespace {
char encodeSix(unsigned v) {
    v &= 63;
    if (v == 0) return '`';
    if (v == 60) return '|';
    return static_cast<char>(v + 32);
}
int decodeSix(char c) {
    if (c == '`' || c == ' ') return 0;
    if (c == '|') return 60;
    if (c > ' ' && c < '`' && c != '\\') return c - 32;
    return -1;
}
} // namespace

int s_encode(const std::string& in, std::string& out) {
    out.clear();
    const size_t n = in.size();
    out.reserve((n + 44) / 45 + (n + 2) / 3 * 4);
    for (size_t line = 0; line < n; line += 45) {
        const size_t len = std::min<size_t>(45, n - line);
        out += static_cast<char>(len + 32);
        for (size_t g = 0; g < len; g += 3) {
            unsigned char b[3] = {0, 0, 0};
            for (size_t k = 0; k < 3 && g + k < len; ++k) b[k] = static_cast<unsigned char>(in[line + g + k]);
            out += encodeSix(b[0] >> 2);
            out += encodeSix(((b[0] & 3u) << 4) | (b[1] >> 4));
            out += encodeSix(((b[1] & 15u) << 2) | (b[2] >> 6));
            out += encodeSix(b[2] & 63u);
        }
    }
    return static_cast<int>(out.size());
}

int s_decode(const std::string& in, std::string& out) {
    out.clear();
    size_t pos = 0;
    while (pos < in.size()) {
        const int len = decodeSix(in[pos++]);
        if (len <= 0 || len > 45) return -1;
        const size_t groups = (static_cast<size_t>(len) + 2) / 3;
        if (pos + groups * 4 > in.size()) return -1;
        size_t produced = 0;
        for (size_t g = 0; g < groups; ++g) {
            int v[4];
            for (int k = 0; k < 4; ++k)
                if ((v[k] = decodeSix(in[pos++])) < 0) return -1;
            const unsigned char bytes[3] = {
                static_cast<unsigned char>((v[0] << 2) | (v[1] >> 4)),
                static_cast<unsigned char>(((v[1] & 15) << 4) | (v[2] >> 2)),
                static_cast<unsigned char>(((v[2] & 3) << 6) | v[3])};
            for (int k = 0; k < 3 && produced < static_cast<size_t>(len); ++k, ++produced)
                out += static_cast<char>(bytes[k]);
        }
    }
    return static_cast<int>(out.size());
}

} // namespace krav
