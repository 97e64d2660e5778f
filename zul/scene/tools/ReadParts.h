// What the model readers of the helper process `zulreadmodel` share: how a
// part is handed back and how progress is reported. The helper writes each
// part, in order, as a record of PartChannel.h to descriptor 3 (a memory
// file of the process that started it) or, run by hand, into FOLDER/parts:
// its name, its one colour when the file gives it one, colours per point or
// per cell as RGBA bytes, its points, normals and cells. Progress goes to
// standard output as lines "progress PERMILLE PHASE", and what the picture
// leaves out of the file as lines "note SENTENCE".
#pragma once

#include <vtkDataArray.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>

#include <string>
#include <vector>

struct aiScene;

namespace zul::scene {
enum class ModelFormat; // ModelCheck.h, whose platform header clashes with OpenCASCADE's
} // namespace zul::scene

namespace zul::scene::helper {

struct OutPart {
    std::string name;
    vtkSmartPointer<vtkPolyData> geometry;
    bool hasColour = false;
    double rgba[4] = {0, 0, 0, 1};
    // The triangles come from a CAD tessellation, one set of points per
    // face: normals are smoothed within a face and never across its edges.
    bool facetedByFaces = false;
};

// A camera placed by the model file, in the model's coordinates.
struct OutCamera {
    std::string name;
    double eye[3] = {0, 0, 0};
    double direction[3] = {0, 0, -1};
    double up[3] = {0, 1, 0};
    bool orthographic = false;
    double viewAngle = 30;    // degrees, vertical
    double parallelScale = 1; // half the height seen
};

// Receives the parts as a reader makes them and writes them out.
class PartSink {
public:
    // Writes the parts to descriptor `fd` as PartChannel.h describes.
    explicit PartSink(int fd) : fd_(fd) {}
    // Finishes the part (points without cells become vertices, colours
    // become "zul_colour", normals are computed for a part small
    // enough to shade smoothly) and writes it. False with
    // `why` when it cannot be written.
    bool add(OutPart& part, std::string& why);
    // Writes a camera: its up made square to its direction,
    // both of unit length. A camera that cannot be a view (no direction, up
    // along it, numbers that are not finite) is left out with a note. False
    // with `why` when it cannot be written.
    bool addCamera(OutCamera camera, std::string& why);
    // Writes what was merged beyond kMaxParts.
    bool finish(std::string& why);
    size_t count() const { return count_; }

private:
    bool _write(OutPart& part, std::string& why);
    bool _send(const OutPart& part, vtkPolyData* data);

    int fd_;
    size_t count_ = 0;
    std::vector<vtkSmartPointer<vtkPolyData>> rest_; // the parts beyond the limit
    bool restFaceted_ = false;
};

// Reports how far the reading has come (0..1) and in which phase.
void reportProgress(double fraction, const char* phase);
// 0, 1, 2, ... n - 1, in 32 bits when they fit: the connectivity of
// triangles that each have corners of their own (cells->SetData(3, ids)).
vtkSmartPointer<vtkDataArray> sequentialIds(size_t n);
// Reports, as one sentence for the user, that what is drawn is less or
// other than what the file declares (a line "note SENTENCE").
void reportNote(const std::string& sentence);

// At most this many parts are handed back; a file with more has the rest
// merged into the last one (drawing tens of thousands of separate parts
// would make the viewer unusable anyway).
inline constexpr size_t kMaxParts = 10000;
// Parts of more faces than this are handed back without point normals (see
// PartSink::add).
inline constexpr vtkIdType kSmoothShadingFaces = 250000;

// The versions of the libraries the readers use ("7.6.3"), for an About box.
std::string cadLibraryVersion();  // OpenCASCADE (CadReader.cpp)
std::string meshLibraryVersion(); // Assimp (MeshReader.cpp)

// Readers by library. Each returns false with `why` (one line, for the
// user) when the file cannot be read or holds no geometry.
bool readCadFile(const std::string& path, bool iges, PartSink& sink, std::string& why);
// Through Assimp; `kind` names the format in messages.
bool readMeshFile(const std::string& path, ModelFormat kind, PartSink& sink, std::string& why);
bool readVrmlFile(const std::string& path, PartSink& sink, std::string& why);
// Readers of our own for the plainest large files (PlainReaders.cpp), from
// a mapping of the file. `handled` false: the file is not that plain, and
// the library's reader should take it.
//   a binary STL (false when the file is text), equal corners merged unless
//   the part is too large to shade smoothly;
bool readBinaryStl(const std::string& path, vtkSmartPointer<vtkPolyData>& out);
//   a little-endian binary PLY of float x, y, z vertices (the file's normals
//   kept, no colours) and faces as byte-counted 32-bit index lists;
bool readPlainPly(const std::string& path, PartSink& sink, std::string& why, bool& handled);
//   an OBJ of vertices and faces alone (no groups, materials, lines or
//   vertex colours; every face's vertices present), whose copy of every
//   corner makes Assimp take several times the memory.
bool readPlainObj(const std::string& path, PartSink& sink, std::string& why, bool& handled);
//   a glTF 2 file (.glb, or .gltf with its buffers in files beside it) of
//   float-point triangle meshes, placed by its nodes, coloured by their
//   materials' base colours, with its cameras (GltfReader.cpp).
bool readPlainGltf(const std::string& path, PartSink& sink, std::string& why, bool& handled);
// The cameras of a glTF 2 file, as the format defines them (a camera looks
// down its node's -Z with +Y up; yfov is vertical, in radians): read from
// its JSON alone, whichever reader drew its geometry. An unnamed camera
// takes its node's name, else "Camera N".
bool readGltfCameras(const std::string& path, PartSink& sink, std::string& why);
// The cameras of a COLLADA, FBX or 3DS file Assimp read into `scene`, as
// their formats define them and placed as the geometry is (AssimpCameras.cpp).
bool readAssimpCameras(const aiScene& scene, ModelFormat kind, const std::string& path,
                       PartSink& sink, std::string& why);
// glTF through VTK's reader, for files Assimp's schema check refuses.
bool readGltfWithVtk(const std::string& path, PartSink& sink, std::string& why);

} // namespace zul::scene::helper
