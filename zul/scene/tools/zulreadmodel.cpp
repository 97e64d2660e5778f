// zulreadmodel MODEL FOLDER: the helper process in which the scene reads a
// model file (see ModelReader.h). Hands the model's parts back as
// ReadParts.h describes and exits 0, or prints one line saying what is wrong
// and exits 1; FOLDER takes its scratch files. A reader that crashes takes
// only this process down.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vtkAlgorithm.h>
#include <vtkAppendPolyData.h>
#include <vtkCallbackCommand.h>
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCommand.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkFloatArray.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkObject.h>
#include <vtkPLYReader.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkPolyDataNormals.h>
#include <vtkSTLReader.h>
#include <vtkSmartPointer.h>
#include <vtkStringArray.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>
#include <vtkXMLPolyDataReader.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "PartChannel.h"
#include "ReadParts.h"
#include "zul/scene/ModelCheck.h"

namespace {
// Where progress lines go: the standard output this process was given.
// Anything a library prints to standard output goes to /dev/null instead,
// so that it can never be taken for a progress line.
FILE* s_progress = nullptr;
} // namespace

namespace zul::scene::helper {

void reportProgress(double fraction, const char* phase) {
    static int last = -1;
    const int permille = std::clamp(int(fraction * 1000), 0, 1000);
    if (permille == last || !s_progress) return;
    last = permille;
    std::fprintf(s_progress, "progress %d %s\n", permille, phase);
    std::fflush(s_progress);
}

vtkSmartPointer<vtkDataArray> sequentialIds(size_t n) {
    if (n < size_t(1) << 31) {
        auto ids = vtkSmartPointer<vtkTypeInt32Array>::New();
        ids->SetNumberOfValues(vtkIdType(n));
        std::iota(ids->GetPointer(0), ids->GetPointer(0) + n, 0);
        return ids;
    }
    auto ids = vtkSmartPointer<vtkTypeInt64Array>::New();
    ids->SetNumberOfValues(vtkIdType(n));
    std::iota(ids->GetPointer(0), ids->GetPointer(0) + n, vtkTypeInt64(0));
    return ids;
}

void reportNote(const std::string& sentence) {
    if (!s_progress) return;
    std::string line = sentence;
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::fprintf(s_progress, "note %s\n", line.c_str());
    std::fflush(s_progress);
}

namespace {

std::string s_lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return s;
}

// The array of `data` that holds colours: the active scalars, else the
// first array named like a colour; 3 or 4 components.
vtkDataArray* s_colourArray(vtkDataSetAttributes* data) {
    auto usable = [](vtkDataArray* a) {
        return a && (a->GetNumberOfComponents() == 3 || a->GetNumberOfComponents() == 4) &&
               a->GetNumberOfTuples() > 0;
    };
    if (vtkDataArray* s = data->GetScalars(); usable(s)) return s;
    for (int i = 0; i < data->GetNumberOfArrays(); ++i) {
        vtkDataArray* a = data->GetArray(i);
        if (!usable(a) || !a->GetName()) continue;
        const std::string name = s_lower(a->GetName());
        if (name.find("rgb") != std::string::npos || name.find("color") != std::string::npos ||
            name.find("colour") != std::string::npos)
            return a;
    }
    return nullptr;
}

// Colours as unsigned-char RGBA: unsigned chars as they are; numbers within
// 0..1 scaled to 0..255; numbers within 0..255 as they are; 16-bit colours
// (up to 65535) scaled down. Null when the numbers are none of these (a
// field such as a temperature stored with three components).
vtkSmartPointer<vtkUnsignedCharArray> s_toRgba(vtkDataArray* a) {
    const int n = a->GetNumberOfComponents();
    double lo = 0, hi = 0;
    for (int c = 0; c < n; ++c) {
        double range[2];
        a->GetRange(range, c);
        if (!std::isfinite(range[0]) || !std::isfinite(range[1])) return nullptr;
        lo = c ? std::min(lo, range[0]) : range[0];
        hi = c ? std::max(hi, range[1]) : range[1];
    }
    if (lo < 0) return nullptr;
    double scale = 1;
    if (a->GetDataType() == VTK_UNSIGNED_CHAR)
        scale = 1;
    else if (hi <= 1.0 && (a->GetDataType() == VTK_FLOAT || a->GetDataType() == VTK_DOUBLE))
        scale = 255;
    else if (hi <= 255)
        scale = 1;
    else if (hi <= 65535)
        scale = 255.0 / 65535.0;
    else
        return nullptr;
    auto out = vtkSmartPointer<vtkUnsignedCharArray>::New();
    out->SetName("zul_colour");
    out->SetNumberOfComponents(4);
    const vtkIdType tuples = a->GetNumberOfTuples();
    out->SetNumberOfTuples(tuples);
    double t[4];
    for (vtkIdType i = 0; i < tuples; ++i) {
        a->GetTuple(i, t);
        unsigned char rgba[4] = {0, 0, 0, 255};
        for (int c = 0; c < n; ++c)
            rgba[c] = (unsigned char)std::clamp(std::lround(t[c] * scale), 0L, 255L);
        out->SetTypedTuple(i, rgba);
    }
    return out;
}

void s_normaliseColours(vtkPolyData* data) {
    for (vtkDataSetAttributes* attributes :
         {static_cast<vtkDataSetAttributes*>(data->GetPointData()),
          static_cast<vtkDataSetAttributes*>(data->GetCellData())}) {
        vtkDataArray* colours = s_colourArray(attributes);
        if (!colours) continue;
        if (auto rgba = s_toRgba(colours)) {
            attributes->AddArray(rgba);
            attributes->SetActiveScalars("zul_colour");
            return; // point colours win over cell colours
        }
    }
}

} // namespace

namespace {

// Drops the faces that repeat another face (the same corners, in any order)
// or have fewer than three distinct corners: they add nothing to the
// picture, and the normals filter's walk over the faces around each edge
// grows with the square of the faces that share it (5,000 copies of one
// triangle took minutes). Face data follows the faces kept.
void s_dropRepeatedFaces(vtkPolyData* data) {
    vtkCellArray* polys = data->GetPolys();
    const vtkIdType n = polys->GetNumberOfCells();
    vtkCellData* cells = data->GetCellData();
    const vtkIdType firstPoly = data->GetNumberOfVerts() + data->GetNumberOfLines();
    // Face data is kept in step for a part of polygons alone; a part that
    // mixes cell kinds and carries cell data is left as it is.
    if (n == 0 ||
        ((firstPoly > 0 || data->GetNumberOfStrips() > 0) && cells->GetNumberOfArrays() > 0))
        return;
    struct Key {
        vtkIdType a, b, c;
        bool operator==(const Key& o) const { return a == o.a && b == o.b && c == o.c; }
    };
    struct Hash {
        size_t operator()(const Key& k) const {
            return size_t(k.a) * 0x9E3779B97F4A7C15ull ^ size_t(k.b) * 0xC2B2AE3D27D4EB4Full ^
                   size_t(k.c);
        }
    };
    std::unordered_set<Key, Hash> seen;
    seen.reserve(size_t(n));
    std::vector<vtkIdType> keep;
    keep.reserve(size_t(n));
    bool dropped = false;
    vtkNew<vtkIdList> ids;
    for (vtkIdType i = 0; i < n; ++i) {
        polys->GetCellAtId(i, ids);
        const vtkIdType m = ids->GetNumberOfIds();
        std::vector<vtkIdType> corners(ids->begin(), ids->end());
        std::sort(corners.begin(), corners.end());
        const bool distinct =
            m >= 3 && std::adjacent_find(corners.begin(), corners.end()) == corners.end();
        // Triangles are compared whole; a larger polygon is kept unless
        // degenerate.
        const bool repeated =
            distinct && m == 3 && !seen.insert({corners[0], corners[1], corners[2]}).second;
        if (distinct && !repeated)
            keep.push_back(i);
        else
            dropped = true;
    }
    if (!dropped) return;
    vtkNew<vtkCellArray> kept;
    kept->AllocateEstimate(vtkIdType(keep.size()), 3);
    for (vtkIdType i : keep) {
        polys->GetCellAtId(i, ids);
        kept->InsertNextCell(ids);
    }
    if (cells->GetNumberOfArrays() > 0) {
        vtkNew<vtkCellData> out;
        out->CopyAllocate(cells, vtkIdType(keep.size()));
        for (size_t k = 0; k < keep.size(); ++k)
            out->CopyData(cells, keep[k], vtkIdType(k));
        cells->DeepCopy(out);
    }
    data->SetPolys(kept);
}

} // namespace

namespace {

bool s_writeAll(int fd, const void* data, size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = ::write(fd, at, std::min<size_t>(size, size_t(1) << 30));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        at += n;
        size -= size_t(n);
    }
    return true;
}

// `a` as a float array: itself when it is one, else a copy.
vtkSmartPointer<vtkFloatArray> s_floats(vtkDataArray* a) {
    if (auto* f = vtkFloatArray::SafeDownCast(a)) return f;
    auto copy = vtkSmartPointer<vtkFloatArray>::New();
    copy->DeepCopy(a);
    return copy;
}

// The "zul_colour" array of `data`, when it is the RGBA bytes it should be.
vtkUnsignedCharArray* s_rgbaOf(vtkDataSetAttributes* data, vtkIdType tuples) {
    auto* c = vtkUnsignedCharArray::SafeDownCast(data->GetArray("zul_colour"));
    return c && c->GetNumberOfComponents() == 4 && c->GetNumberOfTuples() == tuples ? c : nullptr;
}

} // namespace

// True when the `n` cells of `cells` are triangles, and with `soup` the
// triangles (0, 1, 2), (3, 4, 5), ...; in either storage width.
bool s_triangles(vtkCellArray* cells, uint64_t n, bool soup) {
    auto check = [n, soup](const auto* o, const auto* c) {
        for (uint64_t i = 0; i <= n; ++i)
            if (uint64_t(o[i]) != i * 3) return false;
        for (uint64_t i = 0; i < n * 3 && soup; ++i)
            if (uint64_t(c[i]) != i) return false;
        return true;
    };
    return cells->IsStorage64Bit() ? check(cells->GetOffsetsArray64()->GetPointer(0),
                                           cells->GetConnectivityArray64()->GetPointer(0))
                                   : check(cells->GetOffsetsArray32()->GetPointer(0),
                                           cells->GetConnectivityArray32()->GetPointer(0));
}

// Writes the point indices of `cells` as 32-bit numbers.
bool s_writeIds32(int fd, vtkCellArray* cells) {
    if (!cells->IsStorage64Bit()) {
        vtkTypeInt32Array* ids = cells->GetConnectivityArray32();
        return s_writeAll(fd, ids->GetPointer(0), size_t(ids->GetNumberOfValues()) * 4);
    }
    vtkTypeInt64Array* ids = cells->GetConnectivityArray64();
    const vtkTypeInt64* from = ids->GetPointer(0);
    std::vector<int32_t> chunk;
    for (vtkIdType at = 0, n = ids->GetNumberOfValues(); at < n;) {
        const vtkIdType take = std::min<vtkIdType>(n - at, 1 << 20);
        chunk.assign(from + at, from + at + take);
        if (!s_writeAll(fd, chunk.data(), size_t(take) * 4)) return false;
        at += take;
    }
    return true;
}

bool PartSink::_send(const OutPart& part, vtkPolyData* data) {
    namespace ch = zul::scene::channel;
    ch::PartRecord record{};
    std::memcpy(record.magic, ch::kMagic, 4);
    record.nameBytes = uint32_t(std::min<size_t>(part.name.size(), 65536));
    if (part.hasColour) {
        record.flags |= ch::kHasColour;
        std::copy(part.rgba, part.rgba + 4, record.rgba);
    }
    const vtkIdType n = data->GetNumberOfPoints();
    record.points = uint64_t(n);
    vtkDataArray* coordinates = data->GetPoints()->GetData();
    vtkSmartPointer<vtkDataArray> points = coordinates;
    if (vtkDoubleArray::SafeDownCast(coordinates))
        record.flags |= ch::kDoublePoints;
    else
        points = s_floats(coordinates);
    vtkSmartPointer<vtkFloatArray> normals;
    if (vtkDataArray* given = data->GetPointData()->GetNormals();
        given && given->GetNumberOfComponents() == 3 && given->GetNumberOfTuples() == n) {
        normals = s_floats(given);
        record.flags |= ch::kNormals;
    }
    vtkUnsignedCharArray* pointColours = s_rgbaOf(data->GetPointData(), n);
    vtkUnsignedCharArray* cellColours =
        pointColours ? nullptr : s_rgbaOf(data->GetCellData(), data->GetNumberOfCells());
    if (pointColours) record.flags |= ch::kPointColours;
    if (cellColours) record.flags |= ch::kCellColours;
    vtkCellArray* kinds[4] = {data->GetVerts(), data->GetLines(), data->GetPolys(),
                              data->GetStrips()};
    for (int k = 0; k < 4; ++k) {
        if (!kinds[k] || kinds[k]->GetNumberOfCells() == 0) continue;
        record.cells[k] = uint64_t(kinds[k]->GetNumberOfCells());
        record.connectivity[k] = uint64_t(kinds[k]->GetNumberOfConnectivityIds());
    }
    // Triangles that each have corners of their own, in order, need no
    // cells on the way: the reader makes them again.
    if (record.cells[2] > 0 && record.cells[2] * 3 == record.connectivity[2]) {
        if (record.connectivity[2] == uint64_t(n) && s_triangles(kinds[2], record.cells[2], true))
            record.flags |= ch::kTriangleSoup;
        else if (uint64_t(n) < (uint64_t(1) << 31) && s_triangles(kinds[2], record.cells[2], false))
            record.flags |= ch::kTriangles32; // half the bytes, and no offsets
    }
    // Other cells travel in 64 bits; a reader's 32-bit ones are widened
    // here, and only when they travel so.
    const uint32_t compact = ch::kTriangleSoup | ch::kTriangles32;
    for (int k = 0; k < 4; ++k)
        if (record.cells[k] && !(k == 2 && (record.flags & compact)))
            kinds[k]->ConvertTo64BitStorage();
    const size_t pointBytes = (record.flags & ch::kDoublePoints) ? 8 : 4;
    bool ok = s_writeAll(fd_, &record, sizeof record) &&
              s_writeAll(fd_, part.name.data(), record.nameBytes) &&
              s_writeAll(fd_, points->GetVoidPointer(0), size_t(n) * 3 * pointBytes);
    if (ok && normals) ok = s_writeAll(fd_, normals->GetPointer(0), size_t(n) * 3 * 4);
    if (ok && pointColours) ok = s_writeAll(fd_, pointColours->GetPointer(0), size_t(n) * 4);
    if (ok && cellColours)
        ok = s_writeAll(fd_, cellColours->GetPointer(0),
                        size_t(cellColours->GetNumberOfTuples()) * 4);
    for (int k = 0; k < 4 && ok; ++k) {
        if (record.cells[k] == 0 || (k == 2 && (record.flags & ch::kTriangleSoup))) continue;
        if (k == 2 && (record.flags & ch::kTriangles32)) {
            ok = s_writeIds32(fd_, kinds[k]);
            continue;
        }
        ok = s_writeAll(fd_, kinds[k]->GetOffsetsArray64()->GetPointer(0),
                        size_t(record.cells[k] + 1) * 8) &&
             s_writeAll(fd_, kinds[k]->GetConnectivityArray64()->GetPointer(0),
                        size_t(record.connectivity[k]) * 8);
    }
    return ok;
}

bool PartSink::add(OutPart& part, std::string& why) {
    if (!part.geometry || part.geometry->GetNumberOfPoints() == 0) return true;
    if (count_ + 1 < kMaxParts) return _write(part, why);
    // Beyond the limit: kept, and merged into one last part at the end (in
    // one pass: merging them one by one would copy the rest each time).
    if (rest_.empty()) restFaceted_ = part.facetedByFaces;
    rest_.push_back(part.geometry);
    return true;
}

bool PartSink::finish(std::string& why) {
    if (rest_.empty()) return true;
    vtkNew<vtkAppendPolyData> append;
    for (const auto& geometry : rest_)
        append->AddInputData(geometry);
    append->Update();
    OutPart merged;
    merged.name = std::to_string(rest_.size()) + " more parts";
    merged.geometry = append->GetOutput();
    merged.facetedByFaces = restFaceted_;
    rest_.clear();
    return _write(merged, why);
}

bool PartSink::_write(OutPart& part, std::string& why) {
    vtkSmartPointer<vtkPolyData> data = part.geometry;
    // Points and nothing else (a scan, a point cloud): each point is drawn.
    if (data->GetNumberOfCells() == 0) {
        vtkNew<vtkCellArray> verts;
        const vtkIdType n = data->GetNumberOfPoints();
        verts->AllocateExact(n, n);
        for (vtkIdType i = 0; i < n; ++i)
            verts->InsertNextCell(1, &i);
        data->SetVerts(verts);
    }
    s_normaliseColours(data);
    // Smooth shading needs point normals, which cost more than the reading
    // of a large mesh; at this many faces the facets are too small to see,
    // and the renderer shades each face by its own plane.
    const bool smooth = data->GetNumberOfPolys() > 0 &&
                        data->GetNumberOfPolys() <= kSmoothShadingFaces &&
                        !data->GetPointData()->GetNormals();
    if (smooth) {
        s_dropRepeatedFaces(data); // they only cost the normals filter
        vtkNew<vtkPolyDataNormals> normals;
        normals->SetInputData(data);
        // A mesh keeps its sharp edges (40 degrees); a CAD tessellation has
        // them already, one set of points per face.
        normals->SetSplitting(!part.facetedByFaces);
        normals->SetFeatureAngle(40);
        normals->ConsistencyOff();
        normals->Update();
        data = normals->GetOutput();
    }
    if (!_send(part, data)) {
        why = std::string("cannot hand the geometry back (") + std::strerror(errno) + ")";
        return false;
    }
    ++count_;
    return true;
}

} // namespace zul::scene::helper

namespace {

std::string s_error; // the VTK reader's first error message

void s_onError(vtkObject*, unsigned long, void*, void* data) {
    if (s_error.empty() && data) s_error = static_cast<const char*>(data);
}

// Ends without running destructors or exit handlers: nothing is left to
// tidy, and a sanitizer's leak report about the libraries' process-wide
// blocks would be taken for a failure.
[[noreturn]] void s_finish(int code, const std::string& message = {}) {
    if (!message.empty()) std::fprintf(stderr, "%s\n", message.c_str());
    if (s_progress) std::fflush(s_progress);
    std::fflush(stderr);
    _exit(code);
}

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

private:
    const char* at_ = nullptr;
    size_t size_ = 0;
};

// The triangles of a binary STL each with corners of its own: a part this
// large is shaded face by face (no normals), for which shared corners buy
// nothing, and merging them costs more than the rest of the read. A
// triangle with two equal corners has no area and is left out.
vtkSmartPointer<vtkPolyData> s_unmergedStl(const char* bytes, size_t triangles) {
    auto coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(vtkIdType(triangles * 3));
    float* to = coordinates->GetPointer(0);
    size_t kept = 0;
    for (size_t t = 0; t < triangles; ++t) {
        const char* corners = bytes + 84 + t * 50 + 12; // past the facet normal
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
bool s_readBinaryStl(const std::string& path, vtkSmartPointer<vtkPolyData>& out) {
    const MappedFile bytes(path);
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
        out = s_unmergedStl(bytes.data(), triangles);
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

// STL, PLY and VTP through VTK's readers: one part, named by the caller.
bool s_readWithVtk(const std::string& path, zul::scene::ModelFormat format,
                   zul::scene::helper::PartSink& sink, std::string& why) {
    using zul::scene::ModelFormat;
    vtkSmartPointer<vtkAlgorithm> reader;
    if (format == ModelFormat::Stl) {
        zul::scene::helper::reportProgress(0.1, "reading");
        vtkSmartPointer<vtkPolyData> fast;
        if (s_readBinaryStl(path, fast)) {
            if (fast->GetNumberOfPoints() == 0) {
                why = "no geometry in it (no triangles)";
                return false;
            }
            zul::scene::helper::OutPart part;
            part.geometry = fast;
            return sink.add(part, why);
        }
        auto r = vtkSmartPointer<vtkSTLReader>::New();
        r->SetFileName(path.c_str());
        reader = r;
    } else if (format == ModelFormat::Ply) {
        auto r = vtkSmartPointer<vtkPLYReader>::New();
        r->SetFileName(path.c_str());
        reader = r;
    } else {
        auto r = vtkSmartPointer<vtkXMLPolyDataReader>::New();
        r->SetFileName(path.c_str());
        reader = r;
    }
    vtkNew<vtkCallbackCommand> onError;
    onError->SetCallback(&s_onError);
    reader->AddObserver(vtkCommand::ErrorEvent, onError);
    zul::scene::helper::reportProgress(0.1, "reading");
    reader->Update();
    vtkPolyData* data = vtkPolyData::SafeDownCast(reader->GetOutputDataObject(0));
    if (!data || data->GetNumberOfPoints() == 0) {
        why = "no geometry in it";
        if (!s_error.empty()) {
            // VTK's messages open with where in VTK they were raised.
            const size_t at = s_error.find("): ");
            std::string said = at == std::string::npos ? s_error : s_error.substr(at + 3);
            while (!said.empty() && (said.back() == '\n' || said.back() == '\r'))
                said.pop_back();
            why += " (" + said + ")";
        }
        return false;
    }
    zul::scene::helper::OutPart part;
    part.geometry = vtkSmartPointer<vtkPolyData>::New();
    part.geometry->ShallowCopy(data);
    return sink.add(part, why);
}

// The file shrank while it was mapped: said, and the helper ends.
void s_onBus(int) {
    static const char said[] = "the file changed while it was being read (it is shorter now)\n";
    if (::write(2, said, sizeof said - 1) < 0) {
    }
    _exit(1);
}

// Writes the mended file: the mend's header, then the body bytes it keeps.
bool s_writeMended(const std::string& to, const zul::scene::ModelMend& mend,
                   const unsigned char* data, std::string& why) {
    std::ofstream out(to, std::ios::binary | std::ios::trunc);
    out.write(mend.header.data(), std::streamsize(mend.header.size()));
    if (mend.bodyEnd > mend.bodyBegin)
        out.write(reinterpret_cast<const char*>(data + mend.bodyBegin),
                  std::streamsize(mend.bodyEnd - mend.bodyBegin));
    out.close();
    if (!out) {
        why = "cannot write a mended copy of the file in the scratch folder";
        return false;
    }
    return true;
}

// The header's promises against the bytes that follow (ModelCheck), over a
// mapping of the file. Where a partial picture beats a refusal, the file is
// mended instead: its notes are reported, and when the mend needs other
// bytes than the file's, `path` becomes a mended copy in `scratch`.
bool s_checkStructure(int fd, size_t size, zul::scene::ModelFormat format,
                      const std::string& scratch, std::string& path, std::string& why) {
    if (size == 0) {
        why = "no geometry in it (the file is empty)";
        return false;
    }
    void* map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (map == MAP_FAILED) {
        why = std::strerror(errno);
        return false;
    }
    struct sigaction bus {};
    bus.sa_handler = &s_onBus;
    ::sigaction(SIGBUS, &bus, nullptr);
    const auto* data = static_cast<const unsigned char*>(map);
    bool ok = zul::scene::checkModelBytes(format, data, size, why);
    if (!ok) {
        zul::scene::ModelMend mend;
        std::string mendWhy;
        if (zul::scene::mendModelBytes(format, data, size, mend, mendWhy) && !mend.notes.empty()) {
            ok = true;
            if (!mend.header.empty()) {
                path = scratch + "/mended" + std::filesystem::path(path).extension().string();
                ok = s_writeMended(path, mend, data, why);
            }
            if (ok)
                for (const std::string& note : mend.notes)
                    zul::scene::helper::reportNote(note);
        }
    }
    ::munmap(map, size);
    return ok;
}

// VTK's PLY reader casts colours stored as floating-point numbers (0..1)
// to bytes, which draws them black; Assimp's scales them. True when the
// header of the PLY `head` declares such a colour.
bool s_plyHasFloatColours(const unsigned char* head, size_t size) {
    const std::string text(reinterpret_cast<const char*>(head), size);
    const size_t end = text.find("end_header");
    std::istringstream lines(text.substr(0, end));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string keyword, type, name;
        words >> keyword >> type >> name;
        if (keyword != "property") continue;
        const bool floating =
            type == "float" || type == "double" || type == "float32" || type == "float64";
        if (floating && (name == "red" || name == "r" || name == "diffuse_red")) return true;
    }
    return false;
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
    for (uint64_t i = 0; i < vertices; ++i, p += record)
        for (int k = 0; k < 3; ++k) {
            std::memcpy(to + 3 * i + k, p + at[k], 4);
            if (normals) std::memcpy(normals->GetPointer(0) + 3 * i + k, p + normalAt[k], 4);
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

// OBJ files larger than this go to readPlainObj first; smaller ones, whose
// reading takes no time, keep Assimp's reading whatever they hold.
constexpr uintmax_t kPlainObjBytes = 16u << 20;

// Reads `path` with the reader for `format`. A reader library that throws
// (a JSON library inside one does, on a value of the wrong type) has its
// exception turned into a refusal rather than an abort.
bool s_read(const std::string& path, zul::scene::ModelFormat format, const unsigned char* head,
            size_t got, zul::scene::helper::PartSink& sink, std::string& why) {
    using zul::scene::ModelFormat;
    bool ok = false;
    try {
        switch (format) {
        case ModelFormat::Ply: {
            bool handled = false;
            ok = s_readPlainPly(MappedFile(path), sink, why, handled);
            if (handled) break;
            ok = s_plyHasFloatColours(head, got)
                     ? zul::scene::helper::readMeshFile(path, format, sink, why)
                     : s_readWithVtk(path, format, sink, why);
            break;
        }
        case ModelFormat::Stl:
        case ModelFormat::Vtp:
            ok = s_readWithVtk(path, format, sink, why);
            break;
        case ModelFormat::Step:
        case ModelFormat::Iges:
            ok = zul::scene::helper::readCadFile(path, format == ModelFormat::Iges, sink, why);
            break;
        case ModelFormat::Gltf:
            // Assimp's schema check refuses some files that VTK's reader draws
            // (a number written where a string belongs, an unknown extension).
            ok = zul::scene::helper::readMeshFile(path, format, sink, why);
            if (!ok && sink.count() == 0) {
                std::string vtkWhy;
                ok = zul::scene::helper::readGltfWithVtk(path, sink, vtkWhy);
            }
            break;
        case ModelFormat::Vrml:
            ok = zul::scene::helper::readVrmlFile(path, sink, why);
            break;
        case ModelFormat::Obj:
            // A large plain OBJ is read without Assimp (see readPlainObj).
            if (std::error_code ec; std::filesystem::file_size(path, ec) > kPlainObjBytes && !ec) {
                const MappedFile text(path);
                bool handled = false;
                ok = zul::scene::helper::readPlainObj(text.data(), text.size(), sink, why, handled);
                if (handled) break;
            }
            ok = zul::scene::helper::readMeshFile(path, format, sink, why);
            break;
        case ModelFormat::Dxf:
        case ModelFormat::ThreeMf:
        case ModelFormat::Collada:
        case ModelFormat::Fbx:
        case ModelFormat::Off:
        case ModelFormat::ThreeDs:
            ok = zul::scene::helper::readMeshFile(path, format, sink, why);
            break;
        case ModelFormat::Unknown:
            why = "not a model file this viewer reads";
            break;
        }
    } catch (const std::exception&) {
        why = "not " + zul::scene::modelFileKind(format) + " that can be read";
        return false;
    }
    return ok;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) s_finish(2, "usage: zulreadmodel MODEL FOLDER");
    vtkObject::GlobalWarningDisplayOff();
    if (const int out = ::dup(1); out >= 0) {
        s_progress = ::fdopen(out, "w");
        if (const int devNull = ::open("/dev/null", O_WRONLY); devNull >= 0) {
            ::dup2(devNull, 1);
            ::close(devNull);
        }
    }
    std::string path = argv[1];
    unsigned char head[4096];
    size_t got = 0;
    using zul::scene::ModelFormat;
    ModelFormat format = ModelFormat::Unknown;
    {
        // Opened once, without waiting for a writer: a named pipe or a
        // device is refused, never read.
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0) s_finish(1, std::string("cannot open it: ") + std::strerror(errno));
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
            s_finish(1, "not a regular file" + zul::scene::fileKindNote(st.st_mode));
        const ssize_t n = ::pread(fd, head, sizeof head, 0);
        got = n > 0 ? size_t(n) : 0;
        format = zul::scene::modelFormatOfContent(head, got, path);
        // The structure is checked here, in the helper: a file that shrinks
        // under the mapping raises SIGBUS in this process only, which says so.
        std::string why;
        if (!s_checkStructure(fd, size_t(st.st_size), format, argv[2], path, why)) s_finish(1, why);
        ::close(fd);
    }
    // The parts go to the memory file the caller passed, else (the helper
    // run by hand) into the folder.
    int partsFd = zul::scene::channel::kPartsDescriptor;
    struct stat given {};
    const int mode = ::fcntl(partsFd, F_GETFL);
    if (mode < 0 || (mode & O_ACCMODE) == O_RDONLY || ::fstat(partsFd, &given) != 0 ||
        !S_ISREG(given.st_mode)) {
        const std::string file = std::string(argv[2]) + "/parts";
        partsFd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (partsFd < 0) s_finish(1, "cannot write " + file + ": " + std::strerror(errno));
    }
    zul::scene::helper::PartSink sink(partsFd);
    std::string why;
    bool ok = false;
    ok = s_read(path, format, head, got, sink, why);
    if (ok) ok = sink.finish(why);
    if (ok && sink.count() == 0) {
        ok = false;
        why = "no geometry in it";
    }
    if (!ok) s_finish(1, why);
    zul::scene::helper::reportProgress(1, "done");
    s_finish(0);
}
