// Comparing view records and the small vector helpers the store and the
// navigator share.
#pragma once

#include <string>

#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/ViewTypes.h"

namespace krav {

// Equal within single-precision epsilon scaled by the larger magnitude, so a
// comparison with 0 is exact.
bool FloatsEqual(float a, float b);

// Scales v to unit length; a zero vector stays zero.
void NormalizeVector(float v[3]);

// Compares two records group by group, as the change bits of both allow.
// True when they are equal; otherwise false with the first difference in
// `message` ("Camera Type mismatch", "View angle mismatch", "Up Vector
// MisMatch", "View Vector MisMatch", "From Vector MisMatch", "At Vector MisMatch").
bool CompareViewInfo(FullViewInfo a, FullViewInfo b, std::string* message);

} // namespace krav
