#include "zul/scene/ModelCheck.h"

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

// ---------------------------------------------------------------------------
// PLY

enum class PlyType { None, I8, U8, I16, U16, I32, U32, F32, F64 };

PlyType s_plyType(std::string_view word) {
    struct Name {
        std::string_view a, b;
        PlyType type;
    };
    static constexpr Name names[] = {
        {"char", "int8", PlyType::I8},      {"uchar", "uint8", PlyType::U8},
        {"short", "int16", PlyType::I16},   {"ushort", "uint16", PlyType::U16},
        {"int", "int32", PlyType::I32},     {"uint", "uint32", PlyType::U32},
        {"float", "float32", PlyType::F32}, {"double", "float64", PlyType::F64}};
    for (const Name& n : names)
        if (word == n.a || word == n.b) return n.type;
    return PlyType::None;
}

size_t s_plySize(PlyType t) {
    switch (t) {
    case PlyType::I8:
    case PlyType::U8:
        return 1;
    case PlyType::I16:
    case PlyType::U16:
        return 2;
    case PlyType::I32:
    case PlyType::U32:
    case PlyType::F32:
        return 4;
    case PlyType::F64:
        return 8;
    case PlyType::None:
        break;
    }
    return 0;
}

bool s_plyInteger(PlyType t) {
    return t != PlyType::F32 && t != PlyType::F64 && t != PlyType::None;
}

struct PlyProperty {
    std::string name;
    std::string line; // as the header gives it
    PlyType type = PlyType::None;
    PlyType countType = PlyType::None; // None: not a list
};

struct PlyElement {
    std::string name;
    uint64_t count = 0;
    std::vector<PlyProperty> properties;
};

// A list longer than this is not a face or anything else a reader should
// allocate for.
constexpr uint64_t kMaxListLength = 1u << 16;
// More instances than this of one element is more than any file here can
// hold (each takes at least one byte).
constexpr uint64_t kMaxCount = uint64_t(1) << 40;

std::vector<std::string_view> s_words(std::string_view line) {
    std::vector<std::string_view> words;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r'))
            ++i;
        const size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r')
            ++i;
        if (i > start) words.push_back(line.substr(start, i - start));
    }
    return words;
}

bool s_parseCount(std::string_view word, uint64_t& out) {
    if (word.empty() || word.size() > 19) return false;
    out = 0;
    for (char c : word) {
        if (c < '0' || c > '9') return false;
        out = out * 10 + uint64_t(c - '0');
    }
    return true;
}

// Reads one value of `type` from binary data as a signed 64-bit integer
// (integer types only).
int64_t s_binaryInteger(const unsigned char* p, PlyType type, bool bigEndian) {
    const size_t n = s_plySize(type);
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i)
        v |= uint64_t(p[bigEndian ? n - 1 - i : i]) << (8 * i);
    switch (type) {
    case PlyType::I8:
        return int8_t(v);
    case PlyType::I16:
        return int16_t(v);
    case PlyType::I32:
        return int32_t(v);
    default:
        return int64_t(v);
    }
}

// Checks a PLY file's header against its data. Given a mend, it is lenient
// where a reader can still draw what the file holds: header lines that are
// not PLY (a producer's note written without "comment") are skipped, and a
// body that ends before the header's counts keeps the instances it holds
// whole; the mend then carries the header to read the kept bytes with.
class PlyChecker {
public:
    PlyChecker(const unsigned char* data, size_t size, ModelMend* mend = nullptr)
        : data_(data), size_(size), mend_(mend) {}

    bool check(std::string& why) {
        if (!_header(why)) return false;
        const PlyElement* vertex = _element("vertex");
        vertexCount_ = vertex ? vertex->count : 0;
        bodyBegin_ = pos_;
        if (!(ascii_ ? _asciiData(why) : _binaryData(why))) return false;
        if (!vertex || !_has(*vertex, "x") || !_has(*vertex, "y") || !_has(*vertex, "z")) {
            why = "no vertex element with x, y and z properties";
            return false;
        }
        if (mend_ && (!skipped_.empty() || !declared_.empty())) _writeMend();
        return true;
    }

private:
    bool _line(std::string_view& line) {
        if (pos_ >= size_) return false;
        const auto* end =
            static_cast<const unsigned char*>(std::memchr(data_ + pos_, '\n', size_ - pos_));
        const size_t stop = end ? size_t(end - data_) : size_;
        line = std::string_view(reinterpret_cast<const char*>(data_ + pos_), stop - pos_);
        pos_ = end ? stop + 1 : size_;
        ++line_;
        return true;
    }

    bool _header(std::string& why) {
        std::string_view line;
        if (!_line(line) || s_words(line) != std::vector<std::string_view>{"ply"}) {
            why = "not a PLY file (it does not start with \"ply\")";
            return false;
        }
        bool format = false;
        for (int number = 2;; ++number) {
            if (!_line(line)) {
                why = "the header has no end_header line";
                return false;
            }
            const auto w = s_words(line);
            const std::string at = " (header line " + std::to_string(number) + ")";
            if (w.empty() || w[0] == "comment" || w[0] == "obj_info") continue;
            if (w[0] == "end_header") break;
            if (w[0] != "format" && w[0] != "element" && w[0] != "property" && mend_) {
                skipped_.push_back(number);
                continue;
            }
            if (w[0] == "format") {
                if (w.size() != 3 || (w[1] != "ascii" && w[1] != "binary_little_endian" &&
                                      w[1] != "binary_big_endian")) {
                    why = "unknown format line" + at;
                    return false;
                }
                formatLine_ = std::string(w[0]) + " " + std::string(w[1]) + " " + std::string(w[2]);
                ascii_ = w[1] == "ascii";
                bigEndian_ = w[1] == "binary_big_endian";
                format = true;
            } else if (w[0] == "element") {
                PlyElement e;
                if (w.size() != 3 || !s_parseCount(w[2], e.count) || e.count > kMaxCount) {
                    why = "an element line without a valid count" + at;
                    return false;
                }
                e.name = std::string(w[1]);
                elements_.push_back(std::move(e));
            } else if (w[0] == "property") {
                if (elements_.empty()) {
                    why = "a property before any element" + at;
                    return false;
                }
                PlyProperty p;
                if (w.size() == 5 && w[1] == "list") {
                    p.countType = s_plyType(w[2]);
                    p.type = s_plyType(w[3]);
                    p.name = std::string(w[4]);
                    if (!s_plyInteger(p.countType)) p.type = PlyType::None;
                } else if (w.size() == 3) {
                    p.type = s_plyType(w[1]);
                    p.name = std::string(w[2]);
                }
                if (p.type == PlyType::None) {
                    why = "a property line the reader does not know" + at;
                    return false;
                }
                p.line = std::string(line);
                while (!p.line.empty() && p.line.back() == '\r')
                    p.line.pop_back();
                elements_.back().properties.push_back(std::move(p));
            } else {
                why = "a header line the reader does not know" + at;
                return false;
            }
        }
        if (!format) {
            why = "the header has no format line";
            return false;
        }
        return true;
    }

    const PlyElement* _element(std::string_view name) const {
        for (const PlyElement& e : elements_)
            if (e.name == name) return &e;
        return nullptr;
    }
    static bool _has(const PlyElement& e, std::string_view name) {
        for (const PlyProperty& p : e.properties)
            if (p.name == name && p.countType == PlyType::None) return true;
        return false;
    }
    // Face lists give indices into the vertices; the reader uses them as they are.
    bool _isIndexList(const PlyElement& e, const PlyProperty& p) const {
        return e.name == "face" && p.countType != PlyType::None &&
               (p.name == "vertex_indices" || p.name == "vertex_index");
    }

    std::string _shortOf(const PlyElement& e, uint64_t instance, const char* what) const {
        return "the header declares " + std::to_string(e.count) + " " + e.name + " element" +
               (e.count == 1 ? "" : "s") + ", but " + what + " after " + std::to_string(instance);
    }

    bool _index(const PlyElement& e, uint64_t instance, double value, std::string& why) const {
        if (value >= 0 && value < double(vertexCount_) && value == double(int64_t(value)))
            return true;
        why = e.name + " " + std::to_string(instance + 1) + " names vertex " +
              std::to_string(int64_t(value)) + ", but there are " + std::to_string(vertexCount_);
        return false;
    }

    bool _asciiData(std::string& why) {
        for (PlyElement& e : elements_) {
            for (uint64_t k = 0; k < e.count; ++k) {
                std::string_view line;
                const size_t start = pos_;
                if (!_line(line)) {
                    if (_endsAt(e, k, start)) return true;
                    why = _shortOf(e, k, "the data ends");
                    return false;
                }
                const auto w = s_words(line);
                size_t at = 0;
                for (const PlyProperty& p : e.properties) {
                    // The last line, cut short, is an instance the file
                    // does not hold whole.
                    if (at >= w.size() && pos_ >= size_ && _endsAt(e, k, start)) return true;
                    if (at >= w.size()) {
                        why = e.name + " " + std::to_string(k + 1) + " of " +
                              std::to_string(e.count) + " (line " + std::to_string(line_) +
                              ") has no value for " + p.name;
                        return false;
                    }
                    if (p.countType == PlyType::None) {
                        ++at;
                        continue;
                    }
                    uint64_t n = 0;
                    if (!s_parseCount(w[at], n) || n > kMaxListLength) {
                        why = e.name + " " + std::to_string(k + 1) + ": the list " + p.name +
                              " has no valid length";
                        return false;
                    }
                    ++at;
                    if (w.size() - at < n && pos_ >= size_ && _endsAt(e, k, start)) return true;
                    if (w.size() - at < n) {
                        why = e.name + " " + std::to_string(k + 1) + " (line " +
                              std::to_string(line_) + "): the list " + p.name + " promises " +
                              std::to_string(n) + " values, the line holds " +
                              std::to_string(w.size() - at);
                        return false;
                    }
                    if (_isIndexList(e, p))
                        for (uint64_t i = 0; i < n; ++i)
                            if (!_index(e, k, std::strtod(std::string(w[at + i]).c_str(), nullptr),
                                        why))
                                return false;
                    at += n;
                }
            }
        }
        return true;
    }

    bool _binaryData(std::string& why) {
        for (PlyElement& e : elements_) {
            // Fixed-size elements are checked in one step.
            bool fixed = true;
            size_t each = 0;
            for (const PlyProperty& p : e.properties) {
                fixed &= p.countType == PlyType::None;
                each += s_plySize(p.type);
            }
            if (fixed) {
                const uint64_t room = (size_ - pos_) / std::max<size_t>(each, 1);
                if (each > 0 && room < e.count) {
                    if (_endsAt(e, room, pos_ + size_t(room * each))) return true;
                    why = _shortOf(e, room, "the data ends");
                    return false;
                }
                pos_ += size_t(e.count * each);
                continue;
            }
            for (uint64_t k = 0; k < e.count; ++k) {
                const size_t start = pos_;
                for (const PlyProperty& p : e.properties) {
                    const size_t countSize =
                        p.countType == PlyType::None ? 0 : s_plySize(p.countType);
                    if (p.countType == PlyType::None) {
                        if (size_ - pos_ < s_plySize(p.type)) {
                            if (_endsAt(e, k, start)) return true;
                            why = _shortOf(e, k, "the data ends");
                            return false;
                        }
                        pos_ += s_plySize(p.type);
                        continue;
                    }
                    if (size_ - pos_ < countSize) {
                        if (_endsAt(e, k, start)) return true;
                        why = _shortOf(e, k, "the data ends");
                        return false;
                    }
                    const int64_t n = s_binaryInteger(data_ + pos_, p.countType, bigEndian_);
                    pos_ += countSize;
                    if (n < 0 || uint64_t(n) > kMaxListLength) {
                        why = e.name + " " + std::to_string(k + 1) + ": the list " + p.name +
                              " has a length of " + std::to_string(n);
                        return false;
                    }
                    const size_t item = s_plySize(p.type);
                    if ((size_ - pos_) / item < uint64_t(n)) {
                        if (_endsAt(e, k, start)) return true;
                        why = _shortOf(e, k, "the data ends");
                        return false;
                    }
                    if (_isIndexList(e, p)) {
                        for (int64_t i = 0; i < n; ++i) {
                            const unsigned char* v = data_ + pos_ + size_t(i) * item;
                            double value = 0;
                            if (s_plyInteger(p.type)) {
                                value = double(s_binaryInteger(v, p.type, bigEndian_));
                            } else {
                                unsigned char b[8];
                                for (size_t j = 0; j < item; ++j)
                                    b[j] = v[bigEndian_ ? item - 1 - j : j];
                                if (item == 4) {
                                    float f;
                                    std::memcpy(&f, b, 4);
                                    value = f;
                                } else {
                                    std::memcpy(&value, b, 8);
                                }
                            }
                            if (!_index(e, k, value, why)) return false;
                        }
                    }
                    pos_ += size_t(n) * item;
                }
            }
        }
        return true;
    }

    // The body ends inside instance `k` of `e`, which starts at byte
    // `start`: with a mend, the file is kept up to there and every count
    // from here on lowered to what it holds. False without a mend.
    bool _endsAt(PlyElement& e, uint64_t k, size_t start) {
        if (!mend_) return false;
        // Faces before the cut were checked against vertices the cut
        // removes: nothing of them could be trusted.
        bool before = true, facesBefore = false, verticesCut = false;
        for (const PlyElement& each : elements_) {
            const bool kept = before && (&each == &e ? k > 0 : each.count > 0);
            before &= &each != &e;
            if (kept)
                for (const PlyProperty& p : each.properties)
                    facesBefore |= _isIndexList(each, p);
            verticesCut |= !before && each.name == "vertex";
        }
        if (facesBefore && verticesCut) return false;
        bool from = false;
        for (PlyElement& each : elements_) {
            from |= &each == &e;
            if (!from) continue;
            declared_.emplace_back(each.name, each.count);
            each.count = &each == &e ? k : 0;
        }
        bodyEnd_ = start;
        return true;
    }

    static std::string _plural(const std::string& name) {
        if (name == "vertex") return "vertices";
        if (name == "face") return "faces";
        return name + " elements";
    }

    void _writeMend() {
        ModelMend& m = *mend_;
        m.header = "ply\n" + formatLine_ + "\n";
        for (const PlyElement& e : elements_) {
            m.header += "element " + e.name + " " + std::to_string(e.count) + "\n";
            for (const PlyProperty& p : e.properties)
                m.header += p.line + "\n";
        }
        m.header += "end_header\n";
        m.bodyBegin = bodyBegin_;
        m.bodyEnd = declared_.empty() ? size_ : bodyEnd_;
        if (!skipped_.empty()) {
            std::string lines;
            for (size_t i = 0; i < skipped_.size(); ++i)
                lines += (i ? ", " : "") + std::to_string(skipped_[i]);
            m.notes.push_back(skipped_.size() == 1
                                  ? "Header line " + lines + " is not PLY and was skipped."
                                  : "Header lines " + lines + " are not PLY and were skipped.");
        }
        if (!declared_.empty()) {
            std::string held;
            for (const auto& [name, count] : declared_) {
                if (count == 0) continue;
                const PlyElement* now = _element(name);
                held += (held.empty() ? "" : ", ") + std::to_string(now ? now->count : 0) + " of " +
                        std::to_string(count) + " " + _plural(name);
            }
            m.notes.push_back("The file ends before its header says: it holds " + held + ".");
        }
    }

    const unsigned char* data_;
    size_t size_, pos_ = 0, line_ = 0;
    ModelMend* mend_ = nullptr;
    bool ascii_ = true, bigEndian_ = false;
    std::string formatLine_;
    std::vector<PlyElement> elements_;
    uint64_t vertexCount_ = 0;
    size_t bodyBegin_ = 0, bodyEnd_ = 0;
    std::vector<int> skipped_;                               // header lines left out
    std::vector<std::pair<std::string, uint64_t>> declared_; // counts lowered, as declared
};

} // namespace

bool checkModelBytes(ModelFormat format, const unsigned char* data, size_t size, std::string& why) {
    switch (format) {
    case ModelFormat::Stl:
        return s_checkStl(data, size, nullptr, why);
    case ModelFormat::Ply:
        return PlyChecker(data, size).check(why);
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
        return PlyChecker(data, size, &mend).check(why);
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
