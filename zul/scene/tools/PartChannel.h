// How the helper `zulreadmodel` hands the parts it read to the process that
// started it: one record per part, written in order into a file the two
// share (an anonymous memory file the parent makes and passes as descriptor
// 3), read back into VTK arrays with one copy. Both ends are built from this
// tree and run on one machine: numbers are in its own byte order.
//
// A record is a PartRecord, then, in this order: the name (nameBytes of
// UTF-8); the points (3 x points floats, or doubles with kDoublePoints);
// the point normals (3 x points floats) with kNormals; the point colours
// (4 x points bytes, RGBA) with kPointColours; the cell colours (4 bytes for
// each cell of the four kinds, in VTK's order) with kCellColours; then for
// each cell kind (vertices, lines, polygons, strips) its offsets (cells + 1
// 64-bit integers, the first 0) and its connectivity (connectivity 64-bit
// point indices). A kind without cells has no offsets and no connectivity,
// nor have the polygons with kTriangleSoup; with kTriangles32 the polygons
// have no offsets and 32-bit connectivity.
#pragma once

#include <cstdint>

namespace zul::scene::channel {

inline constexpr char kMagic[4] = {'Z', 'P', 'R', '1'};

enum PartFlags : uint32_t {
    kHasColour = 1u << 0, // rgba is the part's one colour
    kNormals = 1u << 1,
    kPointColours = 1u << 2,
    kCellColours = 1u << 3,
    kDoublePoints = 1u << 4,
    // The polygons are triangles (0, 1, 2), (3, 4, 5), ... over all the
    // points, in order: their offsets and connectivity are not written.
    kTriangleSoup = 1u << 5,
    // The polygons are triangles: their offsets are not written, and their
    // connectivity is 32-bit point indices.
    kTriangles32 = 1u << 6,
};

struct PartRecord {
    char magic[4];
    uint32_t nameBytes;
    uint32_t flags;
    uint32_t reserved;
    double rgba[4];
    uint64_t points;
    uint64_t cells[4];        // vertices, lines, polygons, strips
    uint64_t connectivity[4]; // point indices of each kind
};
static_assert(sizeof(PartRecord) == 4 + 4 + 4 + 4 + 32 + 8 + 32 + 32);

// A camera the file places, a record among the parts: a CameraRecord, then its name
// (nameBytes of UTF-8). The helper writes only cameras that can be a view:
// finite, a unit direction, a unit up at right angles to it.
inline constexpr char kCameraMagic[4] = {'Z', 'C', 'A', '1'};

struct CameraRecord {
    char magic[4];
    uint32_t nameBytes;
    uint32_t orthographic; // 0: perspective
    uint32_t reserved;
    double eye[3];
    double direction[3];
    double up[3];
    double viewAngle;     // degrees, vertical (perspective)
    double parallelScale; // half the height seen, in model units (orthographic)
};
static_assert(sizeof(CameraRecord) == 16 + 9 * 8 + 16);

// The descriptor the parts are written to.
inline constexpr int kPartsDescriptor = 3;

} // namespace zul::scene::channel
