// Reading model files so that no file can take the program down. Neither
// VTK's readers nor OpenCASCADE's nor Assimp's are hardened against damaged
// files (a PLY whose header does not match its data crashes one; a binary
// STL with a false count makes one allocate gigabytes), and their code is
// not ours to fix. So every file goes through two guards:
//   1. checkModelBytes (ModelCheck.h), run in the helper below, compares
//      what the header promises with the bytes that follow (PLY elements
//      and lists, face indices; binary STL triangle counts) and names what
//      does not fit, or mends what a partial picture can be drawn from;
//   2. the reader itself runs in a helper process, `zulreadmodel`, beside
//      this library ($ZUL_MODEL_READER names another), with a memory limit
//      (half the machine's memory) and a time limit; it hands back the
//      parts as raw arrays in a memory file (checked here before VTK sees
//      them) and reports its progress and notes. A crash, a hang or an
//      exhausted memory limit there becomes a message here.
// Reading runs on any thread; nothing here touches a render window.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include <vtkPolyData.h>
#include <vtkSmartPointer.h>

#include "zul/com/com.h"

namespace zul::scene {

// One part of a model as read: its geometry (with point normals when it has
// at most 250,000 faces: a larger part is shaded face by face), and colours per
// point or per cell as the unsigned-char RGBA scalars "zul_colour" when the
// file has them.
struct ModelPart {
    std::string name;
    vtkSmartPointer<vtkPolyData> geometry;
    // A decimated copy drawn while the view is dragged; null for a part
    // small enough to draw whole, and until makeCoarseCopies made it.
    vtkSmartPointer<vtkPolyData> coarse;
    bool hasColour = false; // the file gives the whole part one colour:
    double rgba[4] = {0, 0, 0, 1};
    size_t triangles = 0; // polygons, counted as the triangles they are
    size_t points = 0;    // points drawn as points (a point cloud)
};

// A camera the model file places (a glTF camera node, say), in the model's
// coordinates: an eye, a unit direction and a unit up at right angles to it.
struct ModelCamera {
    std::string name; // the file's, else "Camera N"
    double eye[3] = {0, 0, 0};
    double direction[3] = {0, 0, -1};
    double up[3] = {0, 1, 0};
    bool orthographic = false;
    double viewAngle = 30;    // degrees, vertical (perspective)
    double parallelScale = 1; // half the height seen (orthographic)
};

struct ZUL_PLATFORM_API Model {
    std::vector<ModelPart> parts;
    // The file's own cameras, in the file's order.
    std::vector<ModelCamera> cameras;
    // Sentences saying what of the file is not drawn (a body shorter than
    // its header declares, header lines skipped); empty when all of it is.
    std::vector<std::string> notes;
    size_t triangles() const;
    size_t points() const;
};

// How far a read has come (0..1) and what it is doing ("triangulating").
// Called on the reading thread.
using ReadProgress = std::function<void(double fraction, const std::string& phase)>;

// The parts of the model file `path` in any format modelFormats() lists.
// False with `why` (naming the file and what is wrong) when it cannot be
// read or holds no geometry; `model` is untouched then. Setting `*stop`
// (from any thread) ends the read within a tenth of a second: false, with
// kReadStopped in `why`.
ZUL_PLATFORM_API bool readModel(const std::string& path, Model& model, std::string& why,
                                const ReadProgress& progress = {},
                                const std::atomic<bool>* stop = nullptr);
inline constexpr const char* kReadStopped = "the reading was stopped";

// While the view is dragged, a model of more triangles than this is drawn
// from decimated copies of its large parts, sized so that the whole stays
// within it; the full model is drawn when the drag ends. Chosen so that a
// drag stays above 30 frames a second on a software renderer with two
// cores (bench/viewer_bench measures it).
inline constexpr size_t kDragTriangleBudget = 75000;
// Parts of fewer triangles than this are never decimated.
inline constexpr size_t kSmallPartTriangles = 5000;
// Gives the large parts of `model` their coarse copies when the model has
// more than `budget` triangles (0: none are made).
ZUL_PLATFORM_API void makeCoarseCopies(Model& model, size_t budget = kDragTriangleBudget);

// Makes every buffer of a megabyte or more a mapping of its own, given back
// to the system when freed: the C library otherwise raises that threshold
// after the first large buffer is freed and keeps later ones in its heap,
// so the arrays of a closed model and the copies made for the driver stay
// counted against the process. It costs time: each such buffer's pages are
// new (0.1 s on a 4 M triangle model). zulview, which keeps models open
// and replaces them, calls it first thing; krviews, which draws one model
// and exits, does not.
ZUL_PLATFORM_API void giveFreedModelMemoryBack();

// The helper program that reads model files (`zulreadmodel`): beside this
// library, or $ZUL_MODEL_READER.
ZUL_PLATFORM_API std::string modelReaderPath();

// How long the helper may take for one file, in seconds.
inline constexpr int kModelReadSeconds = 300;

} // namespace zul::scene
