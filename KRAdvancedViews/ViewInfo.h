// Comparing view records and the small vector helpers the store and the
// navigator share.
#pragma once

#include <string>

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

// The older registry layout's key-name encoding: uuencoding without line
// breaks, with the grave accent for 0 and the vertical bar for 60, so no
// backslash ever appears. Both return the output length, or -1 for input
// s_decode cannot read.
int s_encode(const std::string& in, std::string& out);
int s_decode(const std::string& in, std::string& out);

} // namespace krav
