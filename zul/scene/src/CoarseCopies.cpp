// The coarse copies drawn while the view is dragged: vertex clustering read
// straight from the part's arrays. It runs on a worker thread while the
// drawing thread draws the same arrays, so it only ever reads them through
// their pointers (no filter pipeline, no cached ranges, no shared VTK
// objects) and the part needs no private copy: a 4 M triangle part would
// otherwise cost another 200 MB while its copy is made.
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "zul/scene/ModelReader.h"

namespace zul::scene {
namespace {

// Open addressing from a 64-bit key to an index, for the few hundred
// thousand cells and triangles a copy keeps (several times faster than a
// node-based map across millions of lookups).
template <typename Key, typename Hash> class Table {
public:
    explicit Table(size_t expected) {
        size_t capacity = 1024;
        while (capacity < expected * 2)
            capacity <<= 1;
        slots_.assign(capacity, Slot{});
    }
    // The index stored for `key`, or `fresh` stored and returned when the
    // key is new.
    int64_t find(const Key& key, int64_t fresh, bool& added) {
        if (2 * (used_ + 1) > slots_.size()) _grow();
        size_t at = Hash{}(key) & (slots_.size() - 1);
        while (slots_[at].value >= 0) {
            if (slots_[at].key == key) {
                added = false;
                return slots_[at].value;
            }
            at = (at + 1) & (slots_.size() - 1);
        }
        slots_[at] = {key, fresh};
        ++used_;
        added = true;
        return fresh;
    }

private:
    struct Slot {
        Key key{};
        int64_t value = -1;
    };
    void _grow() {
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        used_ = 0;
        bool added = false;
        for (const Slot& s : old)
            if (s.value >= 0) find(s.key, s.value, added);
    }
    std::vector<Slot> slots_;
    size_t used_ = 0;
};

struct MixBits {
    size_t operator()(uint64_t v) const {
        v ^= v >> 33;
        v *= 0xff51afd7ed558ccdULL;
        v ^= v >> 33;
        return size_t(v);
    }
};
using Corners = std::array<int64_t, 3>; // the kept points of a triangle, in ascending order
struct MixCorners {
    size_t operator()(const Corners& c) const {
        return MixBits{}(uint64_t(c[0]) * 0x9E3779B97F4A7C15ULL ^ uint64_t(c[1]) * 31 ^
                         uint64_t(c[2]) << 21);
    }
};

// The part's polygons clustered into a grid of `divisions` cells over
// `bounds`: each occupied cell is drawn by the first point that fell into
// it (with that point's data), a triangle is kept when its corners lie in
// three different cells, once per three cells (with the data of the first
// polygon that made it). Polygons of more corners are fanned.
template <typename Coordinate, typename Index>
vtkSmartPointer<vtkPolyData> s_cluster(vtkPolyData* in, const Coordinate* xyz, const Index* offsets,
                                       const Index* ids, vtkIdType polygons, const double bounds[6],
                                       const int divisions[3]) {
    double scale[3];
    for (int k = 0; k < 3; ++k) {
        const double extent = bounds[2 * k + 1] - bounds[2 * k];
        scale[k] = extent > 0 ? divisions[k] / extent : 0;
    }
    auto cellOf = [&](Index point) {
        uint64_t cell = 0;
        for (int k = 2; k >= 0; --k) {
            const double at = (double(xyz[3 * point + k]) - bounds[2 * k]) * scale[k];
            const auto i = uint64_t(std::clamp(int64_t(at), int64_t(0), int64_t(divisions[k] - 1)));
            cell = cell * uint64_t(divisions[k]) + i;
        }
        return cell;
    };
    const size_t expected = size_t(divisions[0]) * divisions[1] +
                            size_t(divisions[1]) * divisions[2] +
                            size_t(divisions[0]) * divisions[2];
    Table<uint64_t, MixBits> kept(expected);
    Table<Corners, MixCorners> made(2 * expected);
    vtkNew<vtkPoints> points;
    points->SetDataType(in->GetPoints()->GetDataType());
    vtkNew<vtkCellArray> triangles;
    auto out = vtkSmartPointer<vtkPolyData>::New();
    vtkPointData* inPoints = in->GetPointData();
    vtkCellData* inCells = in->GetCellData();
    out->GetPointData()->CopyAllocate(inPoints, vtkIdType(expected));
    out->GetCellData()->CopyAllocate(inCells, vtkIdType(2 * expected));
    // Cell data numbers the polygons after the vertices and lines.
    const vtkIdType firstPolygon = in->GetNumberOfVerts() + in->GetNumberOfLines();
    auto keptPoint = [&](Index point) {
        bool added = false;
        const int64_t id = kept.find(cellOf(point), points->GetNumberOfPoints(), added);
        if (added) {
            const double p[3] = {double(xyz[3 * point]), double(xyz[3 * point + 1]),
                                 double(xyz[3 * point + 2])};
            points->InsertNextPoint(p);
            out->GetPointData()->CopyData(inPoints, vtkIdType(point), vtkIdType(id));
        }
        return id;
    };
    for (vtkIdType c = 0; c < polygons; ++c) {
        const Index begin = offsets[c], end = offsets[c + 1];
        if (end - begin < 3) continue;
        const int64_t first = keptPoint(ids[begin]);
        int64_t previous = keptPoint(ids[begin + 1]);
        for (Index k = begin + 2; k < end; ++k) {
            const int64_t next = keptPoint(ids[k]);
            const vtkIdType corners[3] = {vtkIdType(first), vtkIdType(previous), vtkIdType(next)};
            previous = next;
            if (corners[0] == corners[1] || corners[1] == corners[2] || corners[0] == corners[2])
                continue;
            Corners key = {corners[0], corners[1], corners[2]};
            std::sort(key.begin(), key.end());
            bool added = false;
            made.find(key, triangles->GetNumberOfCells(), added);
            if (!added) continue;
            const vtkIdType id = triangles->InsertNextCell(3, corners);
            out->GetCellData()->CopyData(inCells, firstPolygon + c, id);
        }
    }
    out->SetPoints(points);
    out->SetPolys(triangles);
    out->GetPointData()->Squeeze();
    out->GetCellData()->Squeeze();
    return out;
}

// The polygons of `in` clustered into `divisions` cells, or null when its
// arrays are not of the kinds the readers make (float or double points,
// 32- or 64-bit cells).
vtkSmartPointer<vtkPolyData> s_coarse(vtkPolyData* in, const double bounds[6],
                                      const int divisions[3]) {
    vtkCellArray* polys = in->GetPolys();
    if (!in->GetPoints() || !polys) return nullptr;
    const vtkIdType polygons = polys->GetNumberOfCells();
    vtkDataArray* data = in->GetPoints()->GetData();
    auto withIndex = [&](const auto* xyz) -> vtkSmartPointer<vtkPolyData> {
        if (auto* o = vtkTypeInt32Array::SafeDownCast(polys->GetOffsetsArray()))
            if (auto* c = vtkTypeInt32Array::SafeDownCast(polys->GetConnectivityArray()))
                return s_cluster(in, xyz, o->GetPointer(0), c->GetPointer(0), polygons, bounds,
                                 divisions);
        if (auto* o = vtkTypeInt64Array::SafeDownCast(polys->GetOffsetsArray()))
            if (auto* c = vtkTypeInt64Array::SafeDownCast(polys->GetConnectivityArray()))
                return s_cluster(in, xyz, o->GetPointer(0), c->GetPointer(0), polygons, bounds,
                                 divisions);
        return nullptr;
    };
    if (auto* f = vtkFloatArray::SafeDownCast(data)) return withIndex(f->GetPointer(0));
    if (auto* d = vtkDoubleArray::SafeDownCast(data)) return withIndex(d->GetPointer(0));
    return nullptr;
}

// The bounds of the points, read through their pointer (vtkPoints caches
// its bounds in the object, which the drawing thread uses too).
bool s_bounds(vtkPolyData* in, double b[6]) {
    vtkDataArray* data = in->GetPoints() ? in->GetPoints()->GetData() : nullptr;
    const vtkIdType n = data ? data->GetNumberOfTuples() : 0;
    if (n == 0) return false;
    auto scan = [&](const auto* xyz) {
        for (int k = 0; k < 3; ++k)
            b[2 * k] = b[2 * k + 1] = double(xyz[k]);
        for (vtkIdType i = 1; i < n; ++i)
            for (int k = 0; k < 3; ++k) {
                const double v = double(xyz[3 * i + k]);
                b[2 * k] = std::min(b[2 * k], v);
                b[2 * k + 1] = std::max(b[2 * k + 1], v);
            }
    };
    if (auto* f = vtkFloatArray::SafeDownCast(data))
        scan(f->GetPointer(0));
    else if (auto* d = vtkDoubleArray::SafeDownCast(data))
        scan(d->GetPointer(0));
    else
        return false;
    return std::isfinite(b[0] + b[1] + b[2] + b[3] + b[4] + b[5]);
}

} // namespace

void makeCoarseCopies(Model& model, size_t budget) {
    const size_t total = model.triangles();
    if (budget == 0 || total <= budget) return;
    // Each large part gets the same share of its triangles; small parts
    // stay whole and take their part of the budget first.
    size_t small = 0, large = 0;
    for (const ModelPart& p : model.parts)
        (p.triangles < kSmallPartTriangles ? small : large) += p.triangles;
    if (large == 0) return;
    const double ratio =
        std::clamp(double(budget > small ? budget - small : budget / 4) / double(large), 0.01, 1.0);
    for (ModelPart& p : model.parts) {
        if (p.triangles < kSmallPartTriangles || !p.geometry) continue;
        const double want = std::max(1000.0, double(p.triangles) * ratio);
        double b[6];
        if (!s_bounds(p.geometry, b)) continue;
        // A surface's triangles grow with the square of the cells along its
        // longest side, so a correction or two after a first try land close
        // to the count wanted.
        const double extent[3] = {b[1] - b[0], b[3] - b[2], b[5] - b[4]};
        const double longest = std::max({extent[0], extent[1], extent[2], 1e-12});
        double along = std::max(8.0, std::sqrt(want / 2.0)); // cells along the longest side
        vtkSmartPointer<vtkPolyData> coarse;
        for (int attempt = 0; attempt < 4; ++attempt) {
            int divisions[3];
            for (int i = 0; i < 3; ++i)
                divisions[i] = std::clamp(int(std::ceil(along * extent[i] / longest)), 1, 4096);
            coarse = s_coarse(p.geometry, b, divisions);
            if (!coarse) break;
            const double got = double(coarse->GetNumberOfPolys());
            if (got == 0 || (got <= want * 1.15 && got >= want * 0.5)) break;
            along = std::max(4.0, along * std::sqrt(want / got) * 0.97);
        }
        if (coarse && coarse->GetNumberOfPolys() > 0 &&
            size_t(coarse->GetNumberOfPolys()) < p.triangles)
            p.coarse = coarse;
    }
}

} // namespace zul::scene
