// Readers of our own for the plainest large files, straight from a mapping
// of the file: a binary STL, a little-endian binary PLY of float vertices
// and triangle lists, an OBJ of vertices and faces alone. Each is several
// times faster than the library reader it stands in front of, which takes
// whatever they leave.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vtkCellArray.h>
#include <vtkFloatArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "ReadParts.h"
#include "zul/scene/ModelCheck.h"

namespace zul::scene::helper {
namespace {
// A file mapped for reading, not copied; empty when it cannot be. A file
// that shrinks under the mapping raises SIGBUS, which this process answers
// with its message (s_onBus).
class MappedFile {
public:
    explicit MappedFile(const std::string& path) {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat st {};
        if (fd < 0 || ::fstat(fd, &st) != 0 || st.st_size <= 0) {
            if (fd >= 0) ::close(fd);
            return;
        }
        void* map = ::mmap(nullptr, size_t(st.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
        ::close(fd);
        if (map == MAP_FAILED) return;
        ::madvise(map, size_t(st.st_size), MADV_SEQUENTIAL);
        at_ = static_cast<const char*>(map);
        size_ = size_t(st.st_size);
    }
    ~MappedFile() {
        if (at_) ::munmap(const_cast<char*>(at_), size_);
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    const char* data() const { return at_; }
    size_t size() const { return size_; }
    // Gives back the pages before `upTo`, read and done with: a large file
    // read front to back need not stay resident beside what is made of it.
    // Read again, they come back from the file.
    void release(const char* upTo) const {
        const size_t page = size_t(::sysconf(_SC_PAGESIZE));
        const size_t end = size_t(upTo - at_) / page * page;
        if (!at_ || end <= released_ || end > size_) return;
        ::madvise(const_cast<char*>(at_) + released_, end - released_, MADV_DONTNEED);
        released_ = end;
    }

private:
    const char* at_ = nullptr;
    size_t size_ = 0;
    mutable size_t released_ = 0;
};

// How often, in records, the readers give back what they have read.
constexpr size_t kReleaseEvery = 1u << 18;

// The triangles of a binary STL each with corners of its own: a part this
// large is shaded face by face (no normals), for which shared corners buy
// nothing, and merging them costs more than the rest of the read. A
// triangle with two equal corners has no area and is left out.
vtkSmartPointer<vtkPolyData> s_unmergedStl(const MappedFile& file, size_t triangles) {
    const char* const bytes = file.data();
    auto coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(vtkIdType(triangles * 3));
    float* to = coordinates->GetPointer(0);
    size_t kept = 0;
    for (size_t t = 0; t < triangles; ++t) {
        const char* corners = bytes + 84 + t * 50 + 12; // past the facet normal
        if (t % kReleaseEvery == 0) file.release(corners);
        if (std::memcmp(corners, corners + 12, 12) == 0 ||
            std::memcmp(corners + 12, corners + 24, 12) == 0 ||
            std::memcmp(corners, corners + 24, 12) == 0)
            continue;
        std::memcpy(to + kept * 9, corners, 36);
        ++kept;
    }
    coordinates->SetNumberOfTuples(vtkIdType(kept * 3));
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    vtkNew<vtkCellArray> polys;
    polys->SetData(3, zul::scene::helper::sequentialIds(kept * 3));
    auto out = vtkSmartPointer<vtkPolyData>::New();
    out->SetPoints(points);
    out->SetPolys(polys);
    return out;
}

// A binary STL (its size already checked against its count) read straight
// into polygonal data, equal corners merged into one point through a hash
// table: several times faster than VTK's reader, whose point locator takes
// most of a large file's time. False when the file is not binary.
bool s_readBinaryStl(const MappedFile& bytes, vtkSmartPointer<vtkPolyData>& out) {
    if (bytes.size() < 84) return false;
    uint32_t count = 0;
    std::memcpy(&count, bytes.data() + 80, 4);
    // A text STL: the text parser reads it (the same test the structure
    // check makes). A count of 0 is a known writer's mistake: what the file
    // holds is read.
    if (zul::scene::stlLooksTextual(reinterpret_cast<const unsigned char*>(bytes.data()),
                                    bytes.size()))
        return false;
    const size_t held = (bytes.size() - 84) / 50;
    const size_t triangles = count == 0 ? held : std::min<size_t>(count, held);
    if (triangles > size_t(zul::scene::helper::kSmoothShadingFaces)) {
        out = s_unmergedStl(bytes, triangles);
        return true;
    }
    struct Key {
        uint32_t v[3];
        bool operator==(const Key& o) const {
            return v[0] == o.v[0] && v[1] == o.v[1] && v[2] == o.v[2];
        }
    };
    // Open addressing, a power of two at least twice the corners.
    size_t capacity = 1024;
    while (capacity < triangles * 3 * 2)
        capacity <<= 1;
    std::vector<int64_t> slots(capacity, -1);
    std::vector<Key> keys;
    keys.reserve(triangles * 3 / 4 + 16);
    auto connectivity = vtkSmartPointer<vtkTypeInt64Array>::New();
    connectivity->Allocate(vtkIdType(triangles * 3));
    auto offsets = vtkSmartPointer<vtkTypeInt64Array>::New();
    offsets->Allocate(vtkIdType(triangles + 1));
    offsets->InsertNextValue(0);
    for (size_t t = 0; t < triangles; ++t) {
        const char* facet = bytes.data() + 84 + t * 50 + 12; // past the facet normal
        int64_t ids[3];
        for (int c = 0; c < 3; ++c) {
            Key key;
            std::memcpy(key.v, facet + c * 12, 12);
            for (uint32_t& bits : key.v)
                if (bits == 0x80000000u) bits = 0; // -0 is 0
            uint64_t h = (uint64_t(key.v[0]) << 32 | key.v[1]) * 0x9E3779B97F4A7C15ull ^
                         uint64_t(key.v[2]) * 0xC2B2AE3D27D4EB4Full;
            h ^= h >> 32;
            size_t at = size_t(h) & (capacity - 1);
            while (slots[at] >= 0 && !(keys[size_t(slots[at])] == key))
                at = (at + 1) & (capacity - 1);
            if (slots[at] < 0) {
                slots[at] = int64_t(keys.size());
                keys.push_back(key);
            }
            ids[c] = slots[at];
        }
        // A triangle with two corners in one point has no area: left out,
        // as VTK's reader leaves it out.
        if (ids[0] == ids[1] || ids[1] == ids[2] || ids[0] == ids[2]) continue;
        for (int64_t id : ids)
            connectivity->InsertNextValue(id);
        offsets->InsertNextValue(connectivity->GetNumberOfValues());
    }
    auto coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(vtkIdType(keys.size()));
    std::memcpy(coordinates->GetPointer(0), keys.data(), keys.size() * sizeof(Key));
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    vtkNew<vtkCellArray> polys;
    polys->SetData(offsets, connectivity);
    out = vtkSmartPointer<vtkPolyData>::New();
    out->SetPoints(points);
    out->SetPolys(polys);
    return true;
}

// A little-endian binary PLY of float x, y, z vertices (other scalar
// properties skipped, no colours) and faces as a list of byte-counted
// 32-bit indices, and nothing else: read straight from the mapping, about
// five times faster than VTK's reader, which takes it value by value.
// `handled` false: the file is not of that shape, and VTK's reader takes it.
bool s_readPlainPly(const MappedFile& file, zul::scene::helper::PartSink& sink, std::string& why,
                    bool& handled) {
    handled = false;
    if (std::endian::native != std::endian::little || !file.data()) return true;
    const std::string_view all(file.data(), file.size());
    const size_t headerEnd = all.find("end_header\n");
    if (headerEnd == std::string_view::npos || headerEnd > 65536) return true;
    struct Element {
        std::string name;
        uint64_t count = 0;
        std::vector<std::pair<std::string, std::vector<std::string>>> properties;
    };
    std::vector<Element> elements;
    bool binaryLittle = false;
    std::istringstream header(std::string(all.substr(0, headerEnd)));
    for (std::string line; std::getline(header, line);) {
        std::istringstream words(line);
        std::vector<std::string> w;
        for (std::string word; words >> word;)
            w.push_back(word);
        if (w.empty() || w[0] == "ply" || w[0] == "comment" || w[0] == "obj_info") continue;
        if (w[0] == "format") {
            binaryLittle = w.size() >= 2 && w[1] == "binary_little_endian";
        } else if (w[0] == "element" && w.size() == 3) {
            elements.push_back({w[1], std::strtoull(w[2].c_str(), nullptr, 10), {}});
        } else if (w[0] == "property" && w.size() >= 3 && !elements.empty()) {
            elements.back().properties.emplace_back(
                w.back(), std::vector<std::string>(w.begin() + 1, w.end() - 1));
        } else {
            return true;
        }
    }
    if (!binaryLittle || elements.size() != 2 || elements[0].name != "vertex" ||
        elements[1].name != "face" || elements[1].properties.size() != 1)
        return true;
    auto sizeOf = [](const std::string& type) -> size_t {
        if (type == "char" || type == "uchar" || type == "int8" || type == "uint8") return 1;
        if (type == "short" || type == "ushort" || type == "int16" || type == "uint16") return 2;
        if (type == "int" || type == "uint" || type == "int32" || type == "uint32" ||
            type == "float" || type == "float32")
            return 4;
        if (type == "double" || type == "float64") return 8;
        return 0;
    };
    size_t record = 0, at[3] = {SIZE_MAX, SIZE_MAX, SIZE_MAX},
           normalAt[3] = {SIZE_MAX, SIZE_MAX, SIZE_MAX};
    for (const auto& [name, type] : elements[0].properties) {
        if (type.size() != 1 || sizeOf(type[0]) == 0) return true; // a list, or unknown
        if (name == "red" || name == "r" || name == "diffuse_red") return true; // colours
        const bool isFloat = type[0] == "float" || type[0] == "float32";
        for (int k = 0; k < 3; ++k) {
            if (name == std::string(1, char('x' + k))) {
                if (!isFloat) return true;
                at[k] = record;
            }
            if (name == "n" + std::string(1, char('x' + k)) && isFloat) normalAt[k] = record;
        }
        record += sizeOf(type[0]);
    }
    const auto& [listName, list] = elements[1].properties[0];
    if (at[0] == SIZE_MAX || at[1] == SIZE_MAX || at[2] == SIZE_MAX || list.size() != 3 ||
        list[0] != "list" || sizeOf(list[1]) != 1 || sizeOf(list[2]) != 4 ||
        list[2].find("float") != std::string::npos ||
        (listName != "vertex_indices" && listName != "vertex_index"))
        return true;
    const uint64_t vertices = elements[0].count, faces = elements[1].count;
    const char* p = file.data() + headerEnd + 11;
    const char* const end = file.data() + file.size();
    if (vertices == 0 || uint64_t(end - p) / record < vertices) return true;
    auto coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(vtkIdType(vertices));
    float* to = coordinates->GetPointer(0);
    // The file's own normals, when it gives all three, shade it.
    vtkSmartPointer<vtkFloatArray> normals;
    if (normalAt[0] != SIZE_MAX && normalAt[1] != SIZE_MAX && normalAt[2] != SIZE_MAX) {
        normals = vtkSmartPointer<vtkFloatArray>::New();
        normals->SetName("Normals");
        normals->SetNumberOfComponents(3);
        normals->SetNumberOfTuples(vtkIdType(vertices));
    }
    for (uint64_t i = 0; i < vertices; ++i, p += record) {
        if (i % kReleaseEvery == 0) file.release(p);
        for (int k = 0; k < 3; ++k) {
            std::memcpy(to + 3 * i + k, p + at[k], 4);
            if (normals) std::memcpy(normals->GetPointer(0) + 3 * i + k, p + normalAt[k], 4);
        }
    }
    if (uint64_t(end - p) / 13 < faces) return true; // a triangle takes 13 bytes
    auto offsets = vtkSmartPointer<vtkTypeInt64Array>::New();
    auto ids = vtkSmartPointer<vtkTypeInt64Array>::New();
    offsets->SetNumberOfValues(vtkIdType(faces + 1));
    ids->Allocate(vtkIdType(faces * 3));
    vtkTypeInt64* o = offsets->GetPointer(0);
    o[0] = 0;
    const bool isSigned = list[2] == "int" || list[2] == "int32";
    for (uint64_t f = 0; f < faces; ++f) {
        if (f % kReleaseEvery == 0) file.release(p);
        if (p >= end) return true;
        const unsigned n = static_cast<unsigned char>(*p++);
        if (n < 3 || uint64_t(end - p) < uint64_t(n) * 4) return true;
        for (unsigned k = 0; k < n; ++k, p += 4) {
            uint32_t raw;
            std::memcpy(&raw, p, 4);
            const int64_t index = isSigned ? int64_t(int32_t(raw)) : int64_t(raw);
            if (index < 0 || uint64_t(index) >= vertices) return true;
            ids->InsertNextValue(index);
        }
        o[f + 1] = ids->GetNumberOfValues();
    }
    handled = true;
    zul::scene::helper::OutPart part;
    part.geometry = vtkSmartPointer<vtkPolyData>::New();
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    part.geometry->SetPoints(points);
    if (normals) part.geometry->GetPointData()->SetNormals(normals);
    if (faces > 0) {
        vtkNew<vtkCellArray> polys;
        polys->SetData(offsets, ids);
        part.geometry->SetPolys(polys);
    }
    return sink.add(part, why);
}

const char* s_skipBlanks(const char* p, const char* end) {
    while (p < end && (*p == ' ' || *p == '\t' || *p == '\r'))
        ++p;
    return p;
}

// A vertex reference of a face ("7", "7/2", "7//3", "-1/..."): the vertex's
// index from 0, false when it is not one. Negative indices count back from
// the vertices read so far.
bool s_faceCorner(const char*& p, const char* end, int64_t vertices, int64_t& out) {
    int64_t value = 0;
    const auto [next, error] = std::from_chars(p, end, value);
    if (error != std::errc() || value == 0) return false;
    out = value > 0 ? value - 1 : vertices + value;
    p = next;
    while (p < end && *p != ' ' && *p != '\t' && *p != '\r' && *p != '\n')
        ++p; // the texture and normal references
    return true;
}

bool s_readPlainObj(const MappedFile& file, PartSink& sink, std::string& why, bool& handled) {
    const char* const text = file.data();
    const size_t size = file.size();
    handled = false;
    auto coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->Allocate(vtkIdType(size / 16));
    auto offsets = vtkSmartPointer<vtkTypeInt64Array>::New();
    auto ids = vtkSmartPointer<vtkTypeInt64Array>::New();
    offsets->Allocate(vtkIdType(size / 24));
    ids->Allocate(vtkIdType(size / 8));
    offsets->InsertNextValue(0);
    const char* p = text;
    const char* const end = text + size;
    size_t line = 0;
    while (p < end) {
        const char* eol = static_cast<const char*>(std::memchr(p, '\n', size_t(end - p)));
        if (!eol) eol = end;
        if (++line % 262144 == 0) {
            reportProgress(0.8 * double(p - text) / double(size), "reading the file");
            file.release(p);
        }
        const char* at = s_skipBlanks(p, eol);
        const size_t left = size_t(eol - at);
        if (left == 0 || *at == '#') {
        } else if (left > 2 && at[0] == 'v' && (at[1] == ' ' || at[1] == '\t')) {
            float v[3];
            const char* q = at + 2;
            for (float& c : v) {
                q = s_skipBlanks(q, eol);
                const auto [next, error] = std::from_chars(q, eol, c);
                if (error != std::errc()) return true; // not plain: Assimp reads it
                q = next;
            }
            // A fourth number may be a weight; more are colours, which
            // Assimp keeps.
            int more = 0;
            for (q = s_skipBlanks(q, eol); q < eol; q = s_skipBlanks(q, eol), ++more)
                while (q < eol && *q != ' ' && *q != '\t' && *q != '\r')
                    ++q;
            if (more > 1 || !std::isfinite(v[0] + v[1] + v[2])) return true;
            coordinates->InsertNextTypedTuple(v);
        } else if (left > 1 && at[0] == 'f' && (at[1] == ' ' || at[1] == '\t')) {
            const int64_t vertices = coordinates->GetNumberOfTuples();
            const char* q = s_skipBlanks(at + 2, eol);
            int corners = 0;
            while (q < eol) {
                int64_t index = 0;
                if (!s_faceCorner(q, eol, vertices, index)) return true;
                ids->InsertNextValue(index);
                ++corners;
                q = s_skipBlanks(q, eol);
            }
            if (corners < 3) return true;
            offsets->InsertNextValue(ids->GetNumberOfValues());
        } else if ((left > 2 && at[0] == 'v' && (at[1] == 'n' || at[1] == 't') &&
                    (at[2] == ' ' || at[2] == '\t')) ||
                   (left > 1 && at[0] == 's' && (at[1] == ' ' || at[1] == '\t'))) {
            // Normals, texture places and smoothing groups: not drawn here.
        } else {
            return true; // groups, materials, lines...: Assimp reads the file
        }
        p = eol + 1;
    }
    const int64_t vertices = coordinates->GetNumberOfTuples();
    const vtkTypeInt64* c = ids->GetPointer(0);
    for (vtkIdType i = 0; i < ids->GetNumberOfValues(); ++i)
        if (c[i] < 0 || c[i] >= vertices) return true; // Assimp says what is wrong
    if (offsets->GetNumberOfValues() < 2) return true;
    handled = true;
    OutPart part;
    part.geometry = vtkSmartPointer<vtkPolyData>::New();
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    part.geometry->SetPoints(points);
    vtkNew<vtkCellArray> polys;
    polys->SetData(offsets, ids);
    part.geometry->SetPolys(polys);
    return sink.add(part, why);
}

} // namespace

bool readBinaryStl(const std::string& path, vtkSmartPointer<vtkPolyData>& out) {
    return s_readBinaryStl(MappedFile(path), out);
}

bool readPlainPly(const std::string& path, PartSink& sink, std::string& why, bool& handled) {
    return s_readPlainPly(MappedFile(path), sink, why, handled);
}

bool readPlainObj(const std::string& path, PartSink& sink, std::string& why, bool& handled) {
    handled = false;
    const MappedFile text(path);
    return !text.data() || s_readPlainObj(text, sink, why, handled);
}

} // namespace zul::scene::helper
