// Checks of a model file's structure before a reader is given it. The
// readers we take from VTK trust what a file's header says (a PLY's element
// counts, a binary STL's triangle count) and read past their data or crash
// when it lies; these checks compare the header with the data that follows
// and say, in words a user can act on, what does not fit. They read bytes
// only: no VTK, no allocation in proportion to what a header claims.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "zul/com/com.h"

namespace zul::scene {

enum class ModelFormat {
    Unknown,
    Stl,
    Obj,
    Ply,
    Vtp,
    Step,
    Iges,
    Gltf,
    ThreeMf,
    Collada,
    Fbx,
    Off,
    ThreeDs,
    Dxf,
    Vrml
};

// What the viewer reads: the formats a user is offered, in the order they
// are listed (by --help and the Open dialog's filter).
struct ModelFormatInfo {
    ModelFormat format;
    const char* name;       // "STEP"
    const char* extensions; // "step stp", lower case, separated by spaces
};
ZUL_PLATFORM_API const std::vector<ModelFormatInfo>& modelFormats();
// "STEP (.step .stp), IGES (.iges .igs), ..." for help texts.
ZUL_PLATFORM_API std::string modelFormatList();
// "*.step *.stp *.iges ..." for a file dialog's filter.
ZUL_PLATFORM_API std::string modelFormatPatterns();
ZUL_PLATFORM_API const char* modelFormatName(ModelFormat format);
// The format as a user names a file of it, with its article: "an STL
// file", "a STEP file", "an OBJ file".
ZUL_PLATFORM_API std::string modelFileKind(ModelFormat format);

// The format of a file by its extension (case-insensitive).
ZUL_PLATFORM_API ModelFormat modelFormatOf(const std::string& path);
// The format of a file by what its first bytes say, where a format has a
// signature (a STEP header, a glTF or 3MF container, an FBX or 3DS
// magic number, a PLY, OFF, COLLADA or VTK XML opening, an IGES start
// line); otherwise by `path`'s extension. So a STEP file saved as ".txt"
// still opens, and an STL named ".ply" is not given to the PLY reader.
ZUL_PLATFORM_API ModelFormat modelFormatOfContent(const unsigned char* head, size_t size,
                                                  const std::string& path);

// What a file that opens with `head` is, when its first bytes are the
// signature of a kind of file that is no model ("a PNG picture", "a PDF
// document", "a ZIP archive", "a program"); empty otherwise. A 3MF file is
// a ZIP archive: the caller tells that apart.
ZUL_PLATFORM_API std::string foreignFileKind(const unsigned char* head, size_t size);

// The choice between an STL's text and binary forms: text when fewer than
// 5 % of the first 256 bytes are outside printable ASCII and line breaks
// (the rule VTK's reader applies).
ZUL_PLATFORM_API bool stlLooksTextual(const unsigned char* data, size_t size);

// True when the bytes of a file of `format` hold together; false with `why`
// ("the header promises 12 triangles, the file holds 7", ...) when not.
// Formats without a check here (OBJ, VTP, ASCII STL) pass; their reader runs
// in a helper process (ModelReader.h).
ZUL_PLATFORM_API bool checkModelBytes(ModelFormat format, const unsigned char* data, size_t size,
                                      std::string& why);

// What a reader can still draw of a file whose body ends before its header
// says, or whose header holds lines that are not of its format: the header
// to read the kept bytes with (empty: the file is read as it is), the bytes
// of the body kept, and sentences for the user that say what was left out.
struct ModelMend {
    std::string header;
    size_t bodyBegin = 0, bodyEnd = 0;
    std::vector<std::string> notes;
};
// Like checkModelBytes, but lenient where a partial picture beats a
// refusal: PLY header lines that are not PLY are skipped, and a PLY or
// binary STL body cut short keeps the whole instances it holds. True with
// `mend` (no notes: nothing to mend) when the file can be read so; false
// with `why` for damage that leaves nothing to trust (an index past the
// vertices, a list of impossible length, a file that is not of the format).
ZUL_PLATFORM_API bool mendModelBytes(ModelFormat format, const unsigned char* data, size_t size,
                                     ModelMend& mend, std::string& why);

// What a file of mode `mode` (stat's st_mode) is when it is not a regular
// file, for a refusal: " (a named pipe)", " (a directory)", " (a device)",
// " (a socket)"; "" otherwise.
ZUL_PLATFORM_API std::string fileKindNote(unsigned mode);

} // namespace zul::scene
