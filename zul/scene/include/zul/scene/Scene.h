// The 3D scene every ZUL host shows: parts read from model files or the
// built-in sample assembly, drawn by VTK with the host camera model of
// host/IHostView.h (see zul::runtime::CCameraModel).
#pragma once

#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <vtkRenderer.h>
#include <vtkSmartPointer.h>

#include "KRAdvancedViews/ViewTypes.h"
#include "zul/runtime/CameraModel.h"
#include "zul/scene/ModelReader.h"

class vtkActor;
class vtkMapper;
class vtkRenderWindow;

namespace zul::scene {

// The sphere around a bounding box: its centre and radius.
inline double sphereOf(const double b[6], double centre[3]) {
    for (int i = 0; i < 3; ++i)
        centre[i] = (b[2 * i] + b[2 * i + 1]) / 2;
    return 0.5 * std::sqrt((b[1] - b[0]) * (b[1] - b[0]) + (b[3] - b[2]) * (b[3] - b[2]) +
                           (b[5] - b[4]) * (b[5] - b[4]));
}

class ZUL_PLATFORM_API Scene {
public:
    Scene();
    ~Scene();

    // The sample: a small mechanical assembly (base plate, upright bracket,
    // boss, shaft with a knob, arrow cone), asymmetric about every axis so
    // that each standard view looks different. +X carries the cone.
    void addSampleModel();
    // Reads a model file (any format of modelFormats()) and adds its parts
    // (guarded: see ModelReader.h). False with `error` set when the file
    // cannot be read or holds no geometry; the scene is unchanged then.
    // What of the file is not drawn is added to `notes` (see Model::notes).
    static double automaticPointSize(size_t points);
    bool addFile(const std::string& path, std::string& error,
                 std::vector<std::string>* notes = nullptr);
    // Adds the parts of a model read by readModel (on any thread); this
    // part runs on the thread that draws. `model` is left empty.
    void addModel(Model&& model);
    void clear();
    // Replaces this scene's parts by `other`'s, which is left empty.
    void takePartsOf(Scene& other);

    // Part ids start at 1 (0 is "no part").
    size_t partCount() const { return parts_.size(); }
    // Triangles of the polygonal parts, and points of the point clouds.
    size_t triangleCount() const;
    size_t pointCount() const;
    // The triangles drawn now: fewer than triangleCount() while coarse.
    size_t drawnTriangleCount() const;

    // While true, parts with a coarse copy draw it (the view is being
    // dragged); false draws every part whole. Returns whether anything
    // changed.
    bool setCoarse(bool coarse);
    bool coarse() const { return coarse_; }
    // The size in pixels of the points of point clouds (1 to 50). Until it
    // is set, the size follows the number of points drawn: a sparse cloud's
    // points are large enough to see, a dense one's small enough to show
    // its shape (automaticPointSize).
    void setPointSize(double pixels);
    double pointSize() const { return pointSize_; }
    const std::string& partName(unsigned id) const;
    bool partBounds(unsigned id, double bounds[6]) const;
    // The box around every part; false for an empty scene.
    bool bounds(double bounds[6]) const;

    // The renderer holding the parts (and a second one, on top, holding the
    // axes triad in the lower left corner).
    vtkRenderer* renderer() const { return renderer_; }
    // Puts both renderers into `window`.
    void attach(vtkRenderWindow* window);
    vtkRenderer* axesRenderer() const { return axesRenderer_; }

    // The part and the world point under the display pixel (x, y from the
    // bottom left); false when nothing is there.
    bool pick(int x, int y, double point[3], unsigned& part) const;

    // Changes whenever the parts do (a model opened, the sample shown).
    unsigned generation() const { return generation_; }

    // Coarse copies are made after the first picture, off the drawing
    // thread: this gives a model, one part per part of the scene, whose
    // large parts hold their own data sets over the arrays being drawn
    // (makeCoarseCopies only reads those), for makeCoarseCopies on any thread; no
    // parts when the scene is within the drag budget or has its copies.
    Model geometryForCoarseCopies() const;
    // Takes the coarse copies made on that model into the scene of
    // `generation`; false (nothing changed) when the parts changed since.
    bool setCoarseCopies(unsigned generation, const Model& made);

    // A small picture of the whole scene, fitted, seen along `direction`
    // with `up` (perspective with `viewAngle` degrees, or orthographic):
    // `width` x `height` RGB pixels, rows top to bottom. Drawn offscreen in
    // a window of its own, with copies of the parts' actors (coarse ones
    // where a part has them), made once per generation. False with
    // `error` when there is no display or nothing to draw.
    bool drawPicture(const double direction[3], const double up[3], bool perspective,
                     double viewAngle, int width, int height, std::vector<unsigned char>& rgb,
                     std::string& error);

private:
    struct Part {
        std::string name;
        vtkSmartPointer<vtkActor> actor;
        vtkSmartPointer<vtkMapper> full, coarse; // coarse: null when drawn whole
        size_t triangles = 0, points = 0;
    };
    void _add(Part part);
    bool coarse_ = false;
    double pointSize_ = 3;
    bool pointSizeChosen_ = false;
    unsigned generation_ = 0;
    struct PictureWindow;
    std::unique_ptr<PictureWindow> pictures_;
    vtkSmartPointer<vtkRenderer> renderer_, axesRenderer_;
    std::vector<Part> parts_;
};

// The host camera model's state, as a value.
struct Camera {
    float eye[3], target[3], up[3];
    bool perspective;
    float focal, viewHeight;
};
ZUL_PLATFORM_API Camera cameraOf(const runtime::CCameraModel& model);
ZUL_PLATFORM_API void setCamera(runtime::CCameraModel& model, const Camera& camera);

// The camera as VTK can take it: finite numbers, a unit direction (eye
// towards target; -Z when eye and target coincide), a unit up square to it
// (`upReplaced` when the given up was along the direction, zero or not
// finite, and a world axis stands in), positive view height and focal
// distance.
struct CameraFrame {
    double eye[3], target[3], direction[3], up[3];
    double distance; // from eye to target
    double viewHeight, focal;
    bool perspective, upReplaced;
};
ZUL_PLATFORM_API CameraFrame frameOf(const Camera& camera);
// True when `up` and `view` both have a length and lie along one line.
ZUL_PLATFORM_API bool upParallelToView(const float up[3], const float view[3]);

// The host camera model onto a VTK renderer's camera: eye, target, up,
// projection, view height (parallel scale or view angle at the focal
// distance). Nothing of the scene in the view volume is clipped: a parallel
// camera's VTK eye stands behind the scene's bounds whatever the model's
// eye distance, and a perspective camera's near plane lies before every
// part in front of the eye.
ZUL_PLATFORM_API void applyCamera(const Camera& camera, vtkRenderer* renderer,
                                  vtkRenderer* axes = nullptr);
// A VTK camera the user moved, back into the model (the focal distance is
// the host's own and stays; a parallel camera's eye keeps its distance from
// the target).
ZUL_PLATFORM_API void readCamera(vtkRenderer* renderer, Camera& camera);
// Frames the whole scene: the target at its centre, the eye along the
// present view direction, the view height fitting the scene's sphere.
ZUL_PLATFORM_API void fitAll(const Scene& scene, Camera& camera);

// The record that applies a model's own camera through the navigator: its
// eye, direction, up, projection and angle, and as its at-point where its
// line of sight passes the middle of `scene` (a model's size ahead when the
// middle is behind it). A record holds no height: an orthographic camera's
// is set on the viewer after (Camera::viewHeight = 2 x parallelScale).
ZUL_PLATFORM_API FullViewInfo modelCameraView(const Scene& scene, const ModelCamera& camera);

// False with `why` when no X display can be opened (rendering needs one;
// headless machines run under xvfb-run).
ZUL_PLATFORM_API bool haveDisplay(std::string& why);

// Draws `scene` (empty, say, while a model is read) once offscreen at the
// size a sheet will have, so that the sheet finds the graphics driver
// loaded and the programs of its background compiled. Optional.
ZUL_PLATFORM_API bool prepareSheet(Scene& scene, int width, int height, std::string& error);

// One picture per (name, camera): `columns` x rows tiles of `width` x
// `height` pixels, each view's name under its picture when `labels`,
// written as PNG. False with `error` set on failure.
struct Shot {
    std::string name;
    Camera camera;
};
ZUL_PLATFORM_API bool renderSheet(Scene& scene, const std::vector<Shot>& shots, int width,
                                  int height, bool labels, const std::string& path,
                                  std::string& error);

} // namespace zul::scene
