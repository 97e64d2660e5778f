#include "zul/scene/ModelCheck.h"

#include "PlyCheck.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <vector>

namespace zul::scene {

const std::vector<ModelFormatInfo>& modelFormats() {
    static const std::vector<ModelFormatInfo> formats = {
        {ModelFormat::Step, "STEP", "step stp"},
        {ModelFormat::Iges, "IGES", "iges igs"},
        {ModelFormat::Stl, "STL", "stl"},
        {ModelFormat::Obj, "OBJ with MTL colours", "obj"},
        {ModelFormat::Ply, "PLY", "ply"},
        {ModelFormat::Gltf, "glTF", "gltf glb"},
        {ModelFormat::ThreeMf, "3MF", "3mf"},
        {ModelFormat::Collada, "COLLADA", "dae"},
        {ModelFormat::Fbx, "FBX", "fbx"},
        {ModelFormat::Off, "OFF", "off"},
        {ModelFormat::ThreeDs, "3DS", "3ds"},
        {ModelFormat::Dxf, "DXF", "dxf"},
        {ModelFormat::Vrml, "VRML 2", "wrl vrml"},
        {ModelFormat::Vtp, "VTK polygonal data", "vtp"},
    };
    return formats;
}

std::string modelFormatList() {
    std::string list;
    for (const ModelFormatInfo& f : modelFormats()) {
        if (!list.empty()) list += ", ";
        list += std::string(f.name) + " (";
        std::string ext = f.extensions;
        for (size_t at = 0; at != std::string::npos;) {
            const size_t space = ext.find(' ', at);
            list +=
                (at ? " ." : ".") + ext.substr(at, space == std::string::npos ? space : space - at);
            at = space == std::string::npos ? space : space + 1;
        }
        list += ")";
    }
    return list;
}

std::string modelFormatPatterns() {
    std::string patterns;
    for (const ModelFormatInfo& f : modelFormats()) {
        std::string ext = f.extensions;
        for (size_t at = 0; at != std::string::npos;) {
            const size_t space = ext.find(' ', at);
            if (!patterns.empty()) patterns += ' ';
            patterns += "*." + ext.substr(at, space == std::string::npos ? space : space - at);
            at = space == std::string::npos ? space : space + 1;
        }
    }
    return patterns;
}

const char* modelFormatName(ModelFormat format) {
    for (const ModelFormatInfo& f : modelFormats())
        if (f.format == format) return f.name;
    return "unknown";
}

std::string modelFileKind(ModelFormat format) {
    std::string name = modelFormatName(format);
    name = name.substr(0, name.find(" with ")); // "OBJ with MTL colours"
    // Said letter by letter, these open with a vowel sound.
    const bool an = format == ModelFormat::Stl || format == ModelFormat::Obj ||
                    format == ModelFormat::Off || format == ModelFormat::Iges ||
                    format == ModelFormat::Fbx;
    return (an ? "an " : "a ") + name + " file";
}

ModelFormat modelFormatOf(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    if (ext.empty()) return ModelFormat::Unknown;
    ext.erase(0, 1);
    for (const ModelFormatInfo& f : modelFormats()) {
        const std::string list = std::string(" ") + f.extensions + " ";
        if (list.find(" " + ext + " ") != std::string::npos) return f.format;
    }
    return ModelFormat::Unknown;
}

ModelFormat modelFormatOfContent(const unsigned char* head, size_t size, const std::string& path) {
    const std::string_view text(reinterpret_cast<const char*>(head), size);
    auto startsWith = [&](std::string_view magic) { return text.substr(0, magic.size()) == magic; };
    // Text formats may open with a byte order mark and blank space.
    std::string_view lead = text;
    if (lead.substr(0, 3) == "\xEF\xBB\xBF") lead.remove_prefix(3);
    while (!lead.empty() && std::isspace(static_cast<unsigned char>(lead.front())))
        lead.remove_prefix(1);
    const ModelFormat byName = modelFormatOf(path);
    if (lead.substr(0, 12) == "ISO-10303-21") return ModelFormat::Step;
    if (startsWith("#VRML ")) return ModelFormat::Vrml;
    if (startsWith("glTF")) return ModelFormat::Gltf; // the binary container
    if (startsWith("Kaydara FBX Binary")) return ModelFormat::Fbx;
    if (startsWith("ply\n") || startsWith("ply\r")) return ModelFormat::Ply;
    if (lead.substr(0, 3) == "OFF" || lead.substr(0, 4) == "COFF" || lead.substr(0, 4) == "NOFF")
        return ModelFormat::Off;
    if (lead.substr(0, 1) == "<") {
        if (text.find("<VTKFile") != std::string_view::npos) return ModelFormat::Vtp;
        if (text.find("<COLLADA") != std::string_view::npos) return ModelFormat::Collada;
    }
    // A 3MF file is a zip archive; so are other things, which the name tells apart.
    if (startsWith("PK\x03\x04") && byName == ModelFormat::ThreeMf) return ModelFormat::ThreeMf;
    // A 3DS file is one main chunk (id 0x4D4D) whose length is the file's.
    if (size >= 6 && head[0] == 0x4D && head[1] == 0x4D && byName == ModelFormat::ThreeDs)
        return ModelFormat::ThreeDs;
    // IGES: fixed 80-column records, the first in the start section ('S'
    // in column 73, its sequence number after it).
    const size_t eol = text.find_first_of("\r\n");
    if (eol != std::string_view::npos && eol >= 80 && text[72] == 'S' &&
        std::isdigit(static_cast<unsigned char>(text[79])))
        return ModelFormat::Iges;
    if (lead.substr(0, 1) == "{" && byName == ModelFormat::Gltf) return ModelFormat::Gltf;
    // A text STL opens with "solid" and has facets.
    if (startsWith("solid") && text.find("facet") != std::string_view::npos)
        return ModelFormat::Stl;
    // Left to the name: STL (its binary form has no signature), OBJ and the
    // containers above whose name disagrees. A file named as one of the
    // signed formats without its signature goes by its name, and its
    // reader says what is wrong.
    return byName;
}

std::string foreignFileKind(const unsigned char* head, size_t size) {
    static const struct {
        std::string_view magic;
        const char* kind;
    } kinds[] = {
        {"\x89PNG\r\n\x1A\n", "a PNG picture"},
        {"\xFF\xD8\xFF", "a JPEG picture"},
        {"GIF87a", "a GIF picture"},
        {"GIF89a", "a GIF picture"},
        {"%PDF-", "a PDF document"},
        {"PK\x03\x04", "a ZIP archive"},
        {"\x7F"
         "ELF",
         "a program"},
        {"\x1F\x8B", "a gzip-compressed file"},
        {"7z\xBC\xAF\x27\x1C", "a 7-Zip archive"},
        {"Rar!\x1A\x07", "a RAR archive"},
        {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", "an Office document"},
    };
    const std::string_view text(reinterpret_cast<const char*>(head), size);
    for (const auto& k : kinds)
        if (text.substr(0, k.magic.size()) == k.magic) return k.kind;
    return {};
}

namespace {

// ---------------------------------------------------------------------------
// STL

} // namespace

bool stlLooksTextual(const unsigned char* data, size_t size) {
    const size_t n = std::min<size_t>(size, 256);
    if (n == 0) return false;
    size_t text = 0;
    for (size_t i = 0; i < n; ++i) {
        const unsigned char c = data[i];
        text += (c >= 0x20 && c <= 0x7F) || c == '\n' || c == '\r' || c == '\t';
    }
    return double(n - text) / double(n) < 0.05;
}

namespace {

bool s_checkStl(const unsigned char* data, size_t size, ModelMend* mend, std::string& why) {
    if (stlLooksTextual(data, size)) return true; // the text parser reads what is there
    if (size < 84) {
        why = "too short for a binary STL file (" + std::to_string(size) +
              " bytes; the header alone takes 84)";
        return false;
    }
    const uint32_t promised = uint32_t(data[80]) | uint32_t(data[81]) << 8 |
                              uint32_t(data[82]) << 16 | uint32_t(data[83]) << 24;
    const uint64_t held = (size - 84) / 50;
    // A count of 0 is a known writer's bug: the reader then takes what is there.
    if (promised != 0 && held < promised && mend && held > 0) {
        // The reader takes the triangles the file holds whole.
        mend->notes.push_back("The file ends before its header says: it holds " +
                              std::to_string(held) + " of " + std::to_string(promised) +
                              " triangles.");
        return true;
    }
    if (promised != 0 && held < promised) {
        why = "damaged binary STL: the header promises " + std::to_string(promised) +
              " triangles, the file holds " + std::to_string(held);
        return false;
    }
    return true;
}

} // namespace

bool checkModelBytes(ModelFormat format, const unsigned char* data, size_t size, std::string& why) {
    switch (format) {
    case ModelFormat::Stl:
        return s_checkStl(data, size, nullptr, why);
    case ModelFormat::Ply:
        return checkPlyBytes(data, size, nullptr, why);
    default:
        return true;
    }
}

bool mendModelBytes(ModelFormat format, const unsigned char* data, size_t size, ModelMend& mend,
                    std::string& why) {
    mend = ModelMend{};
    switch (format) {
    case ModelFormat::Stl:
        return s_checkStl(data, size, &mend, why);
    case ModelFormat::Ply:
        return checkPlyBytes(data, size, &mend, why);
    default:
        return true;
    }
}

std::string fileKindNote(unsigned mode) {
    if (S_ISFIFO(mode)) return " (a named pipe)";
    if (S_ISDIR(mode)) return " (a directory)";
    if (S_ISCHR(mode) || S_ISBLK(mode)) return " (a device)";
    if (S_ISSOCK(mode)) return " (a socket)";
    return {};
}

} // namespace zul::scene
