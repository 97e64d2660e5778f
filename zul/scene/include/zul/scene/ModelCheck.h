// Checks of a model file's structure before a reader is given it. The
// readers we take from VTK trust what a file's header says (a PLY's element
// counts, a binary STL's triangle count) and read past their data or crash
// when it lies; these checks compare the header with the data that follows
// and say, in words a user can act on, what does not fit. They read bytes
// only: no VTK, no allocation in proportion to what a header claims.
#pragma once

#include <cstddef>
#include <string>

#include "zul/com/com.h"

namespace zul::scene {

enum class ModelFormat { Unknown, Stl, Obj, Ply, Vtp };

// The format of a file by its extension (case-insensitive).
ZUL_PLATFORM_API ModelFormat modelFormatOf(const std::string& path);

// True when the bytes of a file of `format` hold together; false with `why`
// ("the header promises 12 triangles, the file holds 7", ...) when not.
// Formats without a check here (OBJ, VTP, ASCII STL) pass; their reader runs
// in a helper process (ModelReader.h).
ZUL_PLATFORM_API bool checkModelBytes(ModelFormat format, const unsigned char* data, size_t size,
                                      std::string& why);

} // namespace zul::scene
