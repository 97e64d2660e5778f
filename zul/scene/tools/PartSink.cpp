// The helper's part sink: a part as a reader made it is finished (points
// without cells become vertices, colours become RGBA bytes, repeated faces
// of a small part are dropped and its normals computed) and written to the
// parts channel (PartChannel.h).
#include <unistd.h>

#include <vtkAppendPolyData.h>
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkPolyDataNormals.h>
#include <vtkSmartPointer.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>
#include <unordered_set>
#include <vector>

#include "PartChannel.h"
#include "ReadParts.h"

namespace zul::scene::helper {

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

} // namespace

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

namespace {
bool s_cellsInRange(vtkPolyData* data) {
    const vtkIdType points = data->GetNumberOfPoints();
    for (vtkCellArray* cells :
         {data->GetVerts(), data->GetLines(), data->GetPolys(), data->GetStrips()}) {
        if (!cells || cells->GetNumberOfCells() == 0) continue;
        vtkDataArray* ids = cells->GetConnectivityArray();
        const vtkIdType n = ids->GetNumberOfValues();
        bool inRange = true;
        if (auto* narrow = vtkTypeInt32Array::SafeDownCast(ids)) {
            const vtkTypeInt32* v = narrow->GetPointer(0);
            for (vtkIdType i = 0; i < n; ++i)
                inRange &= v[i] >= 0 && v[i] < points;
        } else if (auto* wide = vtkTypeInt64Array::SafeDownCast(ids)) {
            const vtkTypeInt64* v = wide->GetPointer(0);
            for (vtkIdType i = 0; i < n; ++i)
                inRange &= v[i] >= 0 && v[i] < points;
        } else {
            return false;
        }
        if (!inRange) return false;
    }
    return true;
}
} // namespace

bool PartSink::add(OutPart& part, std::string& why) {
    if (!part.geometry || part.geometry->GetNumberOfPoints() == 0) return true;
    // A library reader may hand back faces that name points the file lacks
    // (an index past the end): the file is refused here rather than by the
    // caller's check of the parts.
    if (!s_cellsInRange(part.geometry)) {
        why = "its faces name points it does not have";
        return false;
    }
    if (count_ + 1 < kMaxParts) return _write(part, why);
    // Beyond the limit: kept, and merged into one last part at the end (in
    // one pass: merging them one by one would copy the rest each time).
    if (rest_.empty()) restFaceted_ = part.facetedByFaces;
    rest_.push_back(part.geometry);
    return true;
}

bool PartSink::addCamera(OutCamera camera, std::string& why) {
    auto length = [](const double v[3]) {
        return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    };
    const std::string called = "The camera \"" + camera.name + "\" is left out: ";
    bool finite = std::isfinite(camera.viewAngle) && std::isfinite(camera.parallelScale);
    for (int i = 0; i < 3; ++i)
        finite &= std::isfinite(camera.eye[i]) && std::isfinite(camera.direction[i]) &&
                  std::isfinite(camera.up[i]);
    if (!finite) {
        reportNote(called + "its numbers are not all finite.");
        return true;
    }
    const double along = length(camera.direction);
    if (!(along > 1e-12)) {
        reportNote(called + "it looks in no direction.");
        return true;
    }
    for (double& d : camera.direction)
        d /= along;
    // The up made square to the direction (Gram-Schmidt); nothing left of
    // it means it lies along the direction.
    const double dot = camera.up[0] * camera.direction[0] + camera.up[1] * camera.direction[1] +
                       camera.up[2] * camera.direction[2];
    for (int i = 0; i < 3; ++i)
        camera.up[i] -= dot * camera.direction[i];
    const double upLength = length(camera.up);
    if (!(upLength > 1e-6 * std::max(1.0, std::abs(dot)))) {
        reportNote(called + "its up lies along the direction it looks in.");
        return true;
    }
    for (double& u : camera.up)
        u /= upLength;
    if (camera.orthographic ? !(camera.parallelScale > 0)
                            : !(camera.viewAngle > 0 && camera.viewAngle < 180)) {
        reportNote(called + (camera.orthographic
                                 ? "it shows no height."
                                 : "its field of view is not an angle a view can have."));
        return true;
    }
    channel::CameraRecord record{};
    std::memcpy(record.magic, channel::kCameraMagic, 4);
    record.nameBytes = uint32_t(std::min<size_t>(camera.name.size(), 4096));
    record.orthographic = camera.orthographic ? 1 : 0;
    for (int i = 0; i < 3; ++i) {
        record.eye[i] = camera.eye[i];
        record.direction[i] = camera.direction[i];
        record.up[i] = camera.up[i];
    }
    record.viewAngle = camera.viewAngle;
    record.parallelScale = camera.parallelScale;
    if (!s_writeAll(fd_, &record, sizeof record) ||
        !s_writeAll(fd_, camera.name.data(), record.nameBytes)) {
        why = std::string("cannot hand the cameras back (") + std::strerror(errno) + ")";
        return false;
    }
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
