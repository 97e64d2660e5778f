// The structure check of PLY files (ModelCheck.h's checkModelBytes and
// mendModelBytes for PLY): the header's elements and properties against the
// data that follows, in ASCII and both binary byte orders.
#pragma once

#include <cstddef>
#include <string>

#include "zul/scene/ModelCheck.h"

namespace zul::scene {

// Strict without `mend`; with one, lenient where a partial picture beats a
// refusal (see mendModelBytes), filling it in.
bool checkPlyBytes(const unsigned char* data, size_t size, ModelMend* mend, std::string& why);

} // namespace zul::scene
