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
        for (int i = 0; i < 3; ++i)
            v[i] /= len;
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

    if (a.cameraType != b.cameraType && openOr(wa, ViewChangeCameraType) &&
        openOr(wb, ViewChangeCameraType))
        return report("Camera Type mismatch");
    if (!FloatsEqual(a.viewAngle, b.viewAngle) && openOr(wa, ViewChangeViewAngle) &&
        openOr(wb, ViewChangeViewAngle))
        return report("View angle mismatch");

    NormalizeVector(a.pUpVector);
    NormalizeVector(b.pUpVector);
    NormalizeVector(a.pViewVector);
    NormalizeVector(b.pViewVector);
    const bool points = a.bHasFromAndAt && b.bHasFromAndAt;
    for (int i = 0; i < 3; ++i) {
        if (!FloatsEqual(a.pUpVector[i], b.pUpVector[i])) return report("Up Vector MisMatch");
        if (viewCounts && !FloatsEqual(a.pViewVector[i], b.pViewVector[i]))
            return report("View Vector MisMatch");
        if (points) {
            if (fromCounts && !FloatsEqual(a.pFromVector[i], b.pFromVector[i]))
                return report("From Vector MisMatch");
            if (atCounts && !FloatsEqual(a.pAtVector[i], b.pAtVector[i]))
                return report("At Vector MisMatch");
        }
    }
    if (message) message->clear();
    return true;
}

} // namespace krav
