#include "zul/scene/Scene.h"

#include "zul/scene/ModelReader.h"

#include <X11/Xlib.h>

#include <vtkActor.h>
#include <vtkAxesActor.h>
#include <vtkCamera.h>
#include <vtkCaptionActor2D.h>
#include <vtkCellData.h>
#include <vtkCellPicker.h>
#include <vtkConeSource.h>
#include <vtkCubeSource.h>
#include <vtkCylinderSource.h>
#include <vtkImageData.h>
#include <vtkLightKit.h>
#include <vtkNew.h>
#include <vtkPNGWriter.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkPolyDataMapper.h>
#include <vtkPolyDataNormals.h>
#include <vtkProperty.h>
#include <vtkRenderWindow.h>
#include <vtkRenderer.h>
#include <vtkSphereSource.h>
#include <vtkTextActor.h>
#include <vtkTextProperty.h>
#include <vtkTransform.h>
#include <vtkTransformPolyDataFilter.h>
#include <vtkWindowToImageFilter.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace zul::scene {
namespace {

constexpr double kPi = 3.14159265358979323846;

// A part's actor: smooth shading with sharp edges kept.
vtkSmartPointer<vtkActor> s_actor(vtkPolyData* geometry, const double rgb[3]) {
    vtkNew<vtkPolyDataNormals> normals;
    normals->SetInputData(geometry);
    normals->SetFeatureAngle(40);
    vtkNew<vtkPolyDataMapper> mapper;
    mapper->SetInputConnection(normals->GetOutputPort());
    auto actor = vtkSmartPointer<vtkActor>::New();
    actor->SetMapper(mapper);
    actor->GetProperty()->SetColor(rgb[0], rgb[1], rgb[2]);
    actor->GetProperty()->SetSpecular(0.3);
    actor->GetProperty()->SetSpecularPower(20);
    return actor;
}

// A source moved (and turned about X by `tiltX` degrees) into place.
template <class Source>
vtkSmartPointer<vtkActor> s_placed(vtkNew<Source>& source, const double at[3], double tiltX,
                                   const double rgb[3]) {
    vtkNew<vtkTransform> move;
    move->Translate(at);
    move->RotateX(tiltX);
    vtkNew<vtkTransformPolyDataFilter> placed;
    placed->SetTransform(move);
    placed->SetInputConnection(source->GetOutputPort());
    placed->Update();
    return s_actor(placed->GetOutput(), rgb);
}

} // namespace

Scene::Scene() {
    renderer_ = vtkSmartPointer<vtkRenderer>::New();
    renderer_->SetBackground(0.96, 0.97, 0.98);
    renderer_->SetBackground2(0.62, 0.68, 0.76);
    renderer_->GradientBackgroundOn();
    // Key, fill and back lights: faces seen square-on still differ in shade.
    vtkNew<vtkLightKit> lights;
    lights->SetKeyLightIntensity(0.85);
    lights->AddLightsToRenderer(renderer_);
    renderer_->SetLayer(0);
    axesRenderer_ = vtkSmartPointer<vtkRenderer>::New();
    axesRenderer_->SetViewport(0.0, 0.0, 0.2, 0.2);
    axesRenderer_->SetLayer(1);
    axesRenderer_->InteractiveOff();
    vtkNew<vtkAxesActor> axes;
    axes->SetTotalLength(1, 1, 1);
    axes->SetShaftTypeToCylinder();
    axes->SetCylinderRadius(0.04);
    for (vtkCaptionActor2D* caption :
         {axes->GetXAxisCaptionActor2D(), axes->GetYAxisCaptionActor2D(),
          axes->GetZAxisCaptionActor2D()}) {
        caption->GetCaptionTextProperty()->SetFontSize(14);
        caption->GetCaptionTextProperty()->ShadowOff();
        caption->GetCaptionTextProperty()->ItalicOff();
        caption->GetCaptionTextProperty()->SetColor(0.1, 0.1, 0.1);
    }
    axesRenderer_->AddActor(axes);
}

// The offscreen window pictures are drawn in, and the copies of the parts
// it shows (their own mappers, so the two windows never share buffers).
struct Scene::PictureWindow {
    vtkSmartPointer<vtkRenderWindow> window;
    vtkSmartPointer<vtkRenderer> renderer;
    unsigned generation = ~0u;
    int width = 0, height = 0;
};

Scene::~Scene() = default;

void Scene::attach(vtkRenderWindow* window) {
    window->SetNumberOfLayers(2);
    window->AddRenderer(renderer_);
    window->AddRenderer(axesRenderer_);
}

namespace {
template <class Part> Part s_part(const char* name, vtkSmartPointer<vtkActor> actor) {
    Part p;
    p.name = name;
    p.actor = actor;
    return p;
}
} // namespace

void Scene::_add(Part part) {
    ++generation_;
    if (!part.full) part.full = part.actor->GetMapper();
    if (coarse_ && part.coarse) part.actor->SetMapper(part.coarse);
    renderer_->AddActor(part.actor);
    parts_.push_back(std::move(part));
}

size_t Scene::triangleCount() const {
    size_t n = 0;
    for (const Part& p : parts_)
        n += p.triangles;
    return n;
}

size_t Scene::pointCount() const {
    size_t n = 0;
    for (const Part& p : parts_)
        n += p.points;
    return n;
}

size_t Scene::drawnTriangleCount() const {
    size_t n = 0;
    for (const Part& p : parts_) {
        auto* coarse = p.coarse ? vtkPolyData::SafeDownCast(p.coarse->GetInput()) : nullptr;
        n += coarse_ && coarse ? size_t(coarse->GetNumberOfPolys()) : p.triangles;
    }
    return n;
}

bool Scene::setCoarse(bool coarse) {
    if (coarse == coarse_) return false;
    coarse_ = coarse;
    bool changed = false;
    for (Part& p : parts_)
        if (p.coarse) {
            p.actor->SetMapper(coarse ? p.coarse : p.full);
            changed = true;
        }
    return changed;
}

void Scene::setPointSize(double pixels) {
    pointSize_ = std::clamp(pixels, 1.0, 50.0);
    for (Part& p : parts_)
        if (p.points) p.actor->GetProperty()->SetPointSize(float(pointSize_));
}

void Scene::clear() {
    ++generation_;
    for (const Part& p : parts_)
        renderer_->RemoveActor(p.actor);
    parts_.clear();
}

void Scene::addSampleModel() {
    const double steel[3] = {0.50, 0.53, 0.58}, blue[3] = {0.22, 0.45, 0.80},
                 orange[3] = {0.95, 0.55, 0.15}, red[3] = {0.85, 0.20, 0.20},
                 green[3] = {0.25, 0.65, 0.35}, dark[3] = {0.30, 0.30, 0.34};
    {
        vtkNew<vtkCubeSource> plate; // 80 x 50 x 6, off centre towards +X
        plate->SetXLength(80), plate->SetYLength(50), plate->SetZLength(6);
        const double at[3] = {10, 0, 3};
        _add(s_part<Part>("Base plate", s_placed(plate, at, 0, steel)));
    }
    {
        vtkNew<vtkCubeSource> upright; // a bracket standing at the -X end, towards +Y
        upright->SetXLength(10), upright->SetYLength(30), upright->SetZLength(40);
        const double at[3] = {-25, 10, 26};
        _add(s_part<Part>("Upright bracket", s_placed(upright, at, 0, blue)));
    }
    {
        vtkNew<vtkCylinderSource> boss; // a round boss on the plate, -Y side
        boss->SetRadius(8), boss->SetHeight(16), boss->SetResolution(48);
        const double at[3] = {20, -12, 14};
        _add(s_part<Part>("Boss",
                          s_placed(boss, at, 90, orange))); // the cylinder's Y axis turned to Z
    }
    {
        vtkNew<vtkCylinderSource> shaft; // through the bracket along +Y, high up
        shaft->SetRadius(3), shaft->SetHeight(44), shaft->SetResolution(32);
        const double at[3] = {-25, 22, 38};
        _add(s_part<Part>("Shaft", s_placed(shaft, at, 0, dark)));
    }
    {
        vtkNew<vtkSphereSource> knob; // the knob at the shaft's +Y end
        knob->SetRadius(6), knob->SetThetaResolution(32), knob->SetPhiResolution(24);
        const double at[3] = {-25, 44, 38};
        _add(s_part<Part>("Knob", s_placed(knob, at, 0, green)));
    }
    {
        vtkNew<vtkConeSource> arrow; // pointing +X from the plate's +X edge
        arrow->SetRadius(7), arrow->SetHeight(22), arrow->SetResolution(40),
            arrow->SetDirection(1, 0, 0);
        const double at[3] = {58, 10, 10};
        _add(s_part<Part>("Arrow", s_placed(arrow, at, 0, red)));
    }
}

bool Scene::addFile(const std::string& path, std::string& error) {
    Model model;
    if (!readModel(path, model, error)) return false;
    addModel(std::move(model));
    return true;
}

void Scene::addModel(Model&& model) {
    static const double palette[4][3] = {
        {0.50, 0.53, 0.58}, {0.22, 0.45, 0.80}, {0.95, 0.55, 0.15}, {0.25, 0.65, 0.35}};
    for (ModelPart& m : model.parts) {
        // Colours the file gives per point or per cell are drawn as they are;
        // a part without them wears its own colour, else one of the palette.
        const bool colours = m.geometry->GetPointData()->GetArray("zul_colour") ||
                             m.geometry->GetCellData()->GetArray("zul_colour");
        auto mapperOf = [&](vtkPolyData* data) {
            auto mapper = vtkSmartPointer<vtkPolyDataMapper>::New();
            mapper->SetInputData(data);
            mapper->SetScalarVisibility(colours);
            mapper->SetColorModeToDirectScalars();
            mapper->SetScalarModeToDefault();
            return mapper;
        };
        Part part;
        part.name = m.name;
        part.full = mapperOf(m.geometry);
        if (m.coarse) part.coarse = mapperOf(m.coarse);
        part.triangles = m.triangles;
        part.points = m.points;
        part.actor = vtkSmartPointer<vtkActor>::New();
        part.actor->SetMapper(part.full);
        vtkProperty* look = part.actor->GetProperty();
        if (m.hasColour) {
            look->SetColor(m.rgba[0], m.rgba[1], m.rgba[2]);
            look->SetOpacity(m.rgba[3]);
        } else {
            look->SetColor(palette[parts_.size() % 4][0], palette[parts_.size() % 4][1],
                           palette[parts_.size() % 4][2]);
        }
        look->SetSpecular(0.3);
        look->SetSpecularPower(20);
        if (m.points) {
            look->SetPointSize(float(pointSize_));
            look->RenderPointsAsSpheresOn();
        }
        _add(std::move(part));
    }
    model.parts.clear();
}

void Scene::takePartsOf(Scene& other) {
    clear();
    for (Part& p : other.parts_) {
        other.renderer_->RemoveActor(p.actor);
        p.actor->SetMapper(p.full);
        _add(std::move(p));
    }
    other.parts_.clear();
}

const std::string& Scene::partName(unsigned id) const {
    static const std::string none;
    return id >= 1 && id <= parts_.size() ? parts_[id - 1].name : none;
}

bool Scene::partBounds(unsigned id, double b[6]) const {
    if (id < 1 || id > parts_.size()) return false;
    parts_[id - 1].actor->GetBounds(b);
    return true;
}

bool Scene::bounds(double b[6]) const {
    if (parts_.empty()) return false;
    b[0] = b[2] = b[4] = 1e300;
    b[1] = b[3] = b[5] = -1e300;
    for (const Part& p : parts_) {
        double pb[6];
        p.actor->GetBounds(pb);
        for (int i = 0; i < 3; ++i) {
            b[2 * i] = std::min(b[2 * i], pb[2 * i]);
            b[2 * i + 1] = std::max(b[2 * i + 1], pb[2 * i + 1]);
        }
    }
    return true;
}

bool Scene::pick(int x, int y, double point[3], unsigned& part) const {
    vtkNew<vtkCellPicker> picker;
    picker->SetTolerance(0.0005);
    if (!picker->Pick(x, y, 0, renderer_)) return false;
    picker->GetPickPosition(point);
    part = 0;
    for (size_t i = 0; i < parts_.size(); ++i)
        if (parts_[i].actor.Get() == picker->GetActor()) part = unsigned(i + 1);
    return part != 0;
}

Camera cameraOf(const runtime::CCameraModel& m) {
    Camera c{};
    std::memcpy(c.eye, m.eye, sizeof c.eye);
    std::memcpy(c.target, m.target, sizeof c.target);
    std::memcpy(c.up, m.up, sizeof c.up);
    c.perspective = m.perspective;
    c.focal = m.focal;
    c.viewHeight = m.viewHeight;
    return c;
}

void setCamera(runtime::CCameraModel& m, const Camera& c) {
    std::memcpy(m.eye, c.eye, sizeof c.eye);
    std::memcpy(m.target, c.target, sizeof c.target);
    std::memcpy(m.up, c.up, sizeof c.up);
    m.perspective = c.perspective;
    m.focal = c.focal;
    m.viewHeight = c.viewHeight;
}

namespace {

double s_dot(const double a[3], const double b[3]) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

bool s_finite(const float* v, int n) {
    for (int i = 0; i < n; ++i)
        if (!std::isfinite(v[i])) return false;
    return true;
}

// The sphere around a bounding box: its centre and radius.
double s_sphereOf(const double b[6], double centre[3]) {
    for (int i = 0; i < 3; ++i)
        centre[i] = (b[2 * i] + b[2 * i + 1]) / 2;
    return 0.5 * std::sqrt((b[1] - b[0]) * (b[1] - b[0]) + (b[3] - b[2]) * (b[3] - b[2]) +
                           (b[5] - b[4]) * (b[5] - b[4]));
}

// Scales `v` to unit length; false (v unchanged) when it has none.
bool s_normalise(double v[3]) {
    const double n = std::sqrt(s_dot(v, v));
    if (!(n > 1e-300) || !std::isfinite(n)) return false;
    for (int i = 0; i < 3; ++i)
        v[i] /= n;
    return true;
}

} // namespace

CameraFrame frameOf(const Camera& c) {
    CameraFrame f;
    // A camera with non-finite numbers (a damaged view record) is never
    // handed on: such parts fall back to a plain view of the origin.
    const bool eyeOk = s_finite(c.eye, 3), targetOk = s_finite(c.target, 3);
    for (int i = 0; i < 3; ++i) {
        f.target[i] = targetOk ? c.target[i] : 0.0;
        f.eye[i] = eyeOk ? c.eye[i] : f.target[i] + (i == 2 ? 1.0 : 0.0);
        f.direction[i] = f.target[i] - f.eye[i];
    }
    f.distance = std::sqrt(s_dot(f.direction, f.direction));
    if (!s_normalise(f.direction)) {
        f.direction[0] = f.direction[1] = 0, f.direction[2] = -1; // eye on the target: look down
        f.distance = 0;
    }
    // The up vector as VTK needs it: square to the direction. An up along
    // the direction has no nearest valid one; the first world axis (Z, Y,
    // X) that is not nearly along the direction stands in for it.
    double up[3] = {0, 0, 0};
    if (s_finite(c.up, 3))
        for (int i = 0; i < 3; ++i)
            up[i] = c.up[i];
    const double along = s_dot(up, f.direction);
    for (int i = 0; i < 3; ++i)
        up[i] -= along * f.direction[i];
    const double upLength = std::sqrt(s_dot(up, up)),
                 given = std::sqrt(double(c.up[0]) * c.up[0] + double(c.up[1]) * c.up[1] +
                                   double(c.up[2]) * c.up[2]);
    f.upReplaced = !(upLength > 1e-6 * given) || !std::isfinite(upLength);
    if (f.upReplaced) {
        static const double axes[3][3] = {{0, 0, 1}, {0, 1, 0}, {1, 0, 0}};
        for (const auto& a : axes) {
            if (std::fabs(s_dot(a, f.direction)) > 0.9) continue;
            const double d = s_dot(a, f.direction);
            for (int i = 0; i < 3; ++i)
                up[i] = a[i] - d * f.direction[i];
            break;
        }
    }
    s_normalise(up);
    for (int i = 0; i < 3; ++i)
        f.up[i] = up[i];
    f.perspective = c.perspective;
    f.viewHeight = std::isfinite(c.viewHeight) && c.viewHeight > 1e-6f ? c.viewHeight : 1e-6;
    f.focal = std::isfinite(c.focal) && c.focal > 1e-6f ? c.focal : 1e-6;
    return f;
}

bool upParallelToView(const float up[3], const float view[3]) {
    double u[3] = {up[0], up[1], up[2]}, v[3] = {view[0], view[1], view[2]};
    if (!s_normalise(u) || !s_normalise(v)) return false;
    return std::fabs(s_dot(u, v)) > 1.0 - 1e-9;
}

void applyCamera(const Camera& c, vtkRenderer* renderer, vtkRenderer* axes) {
    vtkCamera* camera = renderer->GetActiveCamera();
    const CameraFrame f = frameOf(c);
    double b[6];
    renderer->ComputeVisiblePropBounds(b);
    const bool hasBounds =
        b[0] <= b[1] && b[2] <= b[3] && b[4] <= b[5] && std::isfinite(b[0]) && std::isfinite(b[1]);
    double centre[3];
    const double sphere = s_sphereOf(b, centre);
    const double radius = hasBounds ? sphere : 0.0;
    double eye[3], focus[3];
    if (!f.perspective) {
        // A parallel picture does not depend on where along the direction
        // the eye stands, so VTK's eye goes behind the whole scene (the host
        // model keeps its own eye): nothing in the view volume is clipped,
        // however close to the target the module put the eye.
        double behind = std::max(f.distance, 1.0); // depth of the eye before the target
        if (hasBounds) {
            const double toCentre[3] = {centre[0] - f.target[0], centre[1] - f.target[1],
                                        centre[2] - f.target[2]};
            behind = -s_dot(toCentre, f.direction) + radius * 1.05 + 1e-3 * (radius + 1.0);
        }
        // The focal point stays the target (the orbit turns about it) unless
        // the scene lies wholly between the target and the eye.
        const double focusDepth = behind > 0 ? 0.0 : -behind + std::max(radius, 1.0);
        for (int i = 0; i < 3; ++i) {
            focus[i] = f.target[i] + focusDepth * f.direction[i];
            eye[i] = f.target[i] - behind * f.direction[i];
        }
    } else {
        for (int i = 0; i < 3; ++i)
            eye[i] = f.eye[i], focus[i] = f.target[i];
        if (f.distance == 0)
            for (int i = 0; i < 3; ++i)
                focus[i] = eye[i] + f.direction[i];
    }
    camera->SetPosition(eye);
    camera->SetFocalPoint(focus);
    camera->SetViewUp(f.up);
    camera->OrthogonalizeViewUp();
    camera->SetParallelProjection(!f.perspective);
    camera->SetParallelScale(f.viewHeight / 2);
    camera->SetViewAngle(2.0 * std::atan(f.viewHeight / 2 / f.focal) * 180.0 / kPi);
    if (!hasBounds) {
        renderer->ResetCameraClippingRange();
    } else if (!f.perspective) {
        renderer->ResetCameraClippingRange(b); // the eye is outside the bounds
    } else {
        // Depths of the box's corners along the direction: the far plane
        // behind the farthest; the near plane just before the nearest when
        // the whole box lies in front of the eye, else as close as the depth
        // buffer allows, so no part in front of the eye is cut.
        double nearest = 1e300, farthest = -1e300;
        for (int k = 0; k < 8; ++k) {
            const double corner[3] = {b[k & 1] - eye[0], b[2 + ((k >> 1) & 1)] - eye[1],
                                      b[4 + ((k >> 2) & 1)] - eye[2]};
            const double depth = s_dot(corner, f.direction);
            nearest = std::min(nearest, depth);
            farthest = std::max(farthest, depth);
        }
        const double far = farthest > 0 ? farthest * 1.01 + 1e-6 : 1.0;
        const double near = nearest > 0 ? std::max(nearest * 0.99, far * 1e-5) : far * 1e-4;
        camera->SetClippingRange(near, far);
    }
    if (axes) {
        // The triad turns with the view and stays the same size.
        vtkCamera* triad = axes->GetActiveCamera();
        double direction[3];
        camera->GetDirectionOfProjection(direction);
        triad->SetFocalPoint(0.35, 0.35, 0.35);
        triad->SetPosition(0.35 - 4 * direction[0], 0.35 - 4 * direction[1],
                           0.35 - 4 * direction[2]);
        triad->SetViewUp(camera->GetViewUp());
        triad->SetParallelProjection(true);
        triad->SetParallelScale(1.0);
        axes->ResetCameraClippingRange();
    }
}

void readCamera(vtkRenderer* renderer, Camera& c) {
    vtkCamera* camera = renderer->GetActiveCamera();
    double p[3], f[3], u[3], d[3];
    camera->GetPosition(p);
    camera->GetFocalPoint(f);
    camera->GetViewUp(u);
    camera->GetDirectionOfProjection(d);
    c.perspective = !camera->GetParallelProjection();
    // A parallel camera's VTK eye stands behind the scene (applyCamera): the
    // model's eye keeps its own distance from the target.
    double distance = 0;
    for (int i = 0; i < 3; ++i)
        distance += (double(c.eye[i]) - c.target[i]) * (double(c.eye[i]) - c.target[i]);
    distance = std::sqrt(distance);
    if (!(distance > 0) || !std::isfinite(distance)) distance = 1;
    for (int i = 0; i < 3; ++i) {
        c.target[i] = float(f[i]);
        c.eye[i] = c.perspective ? float(p[i]) : float(f[i] - d[i] * distance);
        c.up[i] = float(u[i]);
    }
    c.viewHeight = c.perspective
                       ? float(2.0 * c.focal * std::tan(camera->GetViewAngle() * kPi / 360.0))
                       : float(2.0 * camera->GetParallelScale());
}

void fitAll(const Scene& scene, Camera& c) {
    double b[6];
    if (!scene.bounds(b)) return;
    double centre[3];
    const double radius = s_sphereOf(b, centre);
    double d[3] = {c.eye[0] - c.target[0], c.eye[1] - c.target[1], c.eye[2] - c.target[2]};
    double n = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    if (n == 0) d[2] = n = 1;
    const double distance = std::max(radius * 4.0, 1e-3);
    for (int i = 0; i < 3; ++i) {
        c.target[i] = float(centre[i]);
        c.eye[i] = float(centre[i] + d[i] / n * distance);
    }
    c.focal = float(distance);
    c.viewHeight = float(radius * 1.9);
}

namespace {
// The X connection offscreen pictures are drawn through: opened once, kept
// for the process, and given to every render window (a second connection
// opened right after the first was seen to fail on a fresh virtual display).
Display* s_display = nullptr;

// What `window` drew last, as RGB rows from the bottom up.
vtkSmartPointer<vtkImageData> s_grab(vtkRenderWindow* window) {
    vtkNew<vtkWindowToImageFilter> grab;
    grab->SetInput(window);
    grab->SetInputBufferTypeToRGB();
    grab->ReadFrontBufferOff();
    grab->Update();
    return grab->GetOutput();
}
} // namespace

bool haveDisplay(std::string& why) {
    if (s_display) return true;
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        why = "no display (DISPLAY is not set); run under xvfb-run -a";
        return false;
    }
    s_display = XOpenDisplay(name);
    if (!s_display) {
        why = std::string("cannot open display ") + name + "; run under xvfb-run -a";
        return false;
    }
    return true;
}

bool renderSheet(Scene& scene, const std::vector<Shot>& shots, int width, int height, bool labels,
                 const std::string& path, std::string& error) {
    if (shots.empty()) {
        error = "no view to render";
        return false;
    }
    if (width < 16 || height < 16 || width > 8192 || height > 8192) {
        error = "a picture is 16 to 8192 pixels wide and high";
        return false;
    }
    if (!haveDisplay(error)) return false;
    const int n = int(shots.size());
    const int columns = n == 1 ? 1 : int(std::ceil(std::sqrt(double(n)))),
              rows = (n + columns - 1) / columns;
    const int label = labels ? std::max(24, height / 10) : 0, tileH = height + label;
    vtkNew<vtkRenderWindow> window;
    window->SetDisplayId(s_display);
    window->SetOffScreenRendering(1);
    window->SetSize(width, tileH);
    // Edges smoothed by FXAA rather than multisampling: on a software
    // renderer, four samples a pixel cost more than the model itself.
    window->SetMultiSamples(0);
    scene.renderer()->UseFXAAOn();
    scene.attach(window);
    // The picture takes the tile above the label band.
    const double bottom = labels ? double(label) / tileH : 0.0;
    scene.renderer()->SetViewport(0, bottom, 1, 1);
    scene.axesRenderer()->SetViewport(0, bottom, 0.2, bottom + 0.2 * height / tileH);
    vtkNew<vtkTextActor> text;
    if (labels) {
        text->GetTextProperty()->SetFontSize(std::max(14, label * 6 / 10));
        text->GetTextProperty()->SetColor(0.1, 0.1, 0.12);
        text->GetTextProperty()->SetJustificationToCentered();
        text->GetTextProperty()->SetVerticalJustificationToCentered();
        text->SetPosition(width / 2.0, label / 2.0);
        vtkNew<vtkRenderer> band; // the label band: white, under the picture
        band->SetViewport(0, 0, 1, bottom);
        band->SetBackground(1, 1, 1);
        band->AddActor2D(text);
        window->SetNumberOfLayers(2);
        window->AddRenderer(band);
    }
    std::vector<unsigned char> sheet(size_t(columns * width) * size_t(rows * tileH) * 3, 255);
    for (int k = 0; k < n; ++k) {
        applyCamera(shots[k].camera, scene.renderer(), scene.axesRenderer());
        text->SetInput(shots[k].name.c_str());
        window->Render();
        const vtkSmartPointer<vtkImageData> image = s_grab(window);
        int dims[3];
        image->GetDimensions(dims);
        const auto* pixels = static_cast<const unsigned char*>(image->GetScalarPointer());
        const int col = k % columns, row = k / columns;
        // VTK rows run bottom to top; the sheet's rows (tile row 0 at the top) too.
        for (int y = 0; y < std::min(dims[1], tileH); ++y) {
            const int sheetY = (rows - 1 - row) * tileH + y;
            std::memcpy(&sheet[(size_t(sheetY) * columns * width + size_t(col) * width) * 3],
                        pixels + size_t(y) * dims[0] * 3, size_t(std::min(dims[0], width)) * 3);
        }
    }
    vtkNew<vtkImageData> out;
    out->SetDimensions(columns * width, rows * tileH, 1);
    out->AllocateScalars(VTK_UNSIGNED_CHAR, 3);
    std::memcpy(out->GetScalarPointer(), sheet.data(), sheet.size());
    vtkNew<vtkPNGWriter> writer;
    writer->SetFileName(path.c_str());
    writer->SetInputData(out);
    writer->Write();
    scene.renderer()->SetViewport(0, 0, 1, 1);
    scene.renderer()->UseFXAAOff();
    scene.axesRenderer()->SetViewport(0, 0, 0.2, 0.2);
    window->RemoveRenderer(scene.renderer());
    window->RemoveRenderer(scene.axesRenderer());
    std::error_code ec;
    if (writer->GetErrorCode() != 0 || std::filesystem::file_size(path, ec) == 0 || ec) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

bool Scene::drawPicture(const double direction[3], const double up[3], bool perspective,
                        double viewAngle, int width, int height, std::vector<unsigned char>& rgb,
                        std::string& error) {
    if (parts_.empty()) {
        error = "nothing to draw";
        return false;
    }
    if (!haveDisplay(error)) return false;
    if (!pictures_) pictures_ = std::make_unique<PictureWindow>();
    PictureWindow& p = *pictures_;
    if (!p.window) {
        p.window = vtkSmartPointer<vtkRenderWindow>::New();
        p.window->SetDisplayId(s_display);
        p.window->SetOffScreenRendering(1);
        p.window->SetMultiSamples(0);
        p.renderer = vtkSmartPointer<vtkRenderer>::New();
        p.renderer->SetBackground(0.96, 0.97, 0.98);
        p.renderer->SetBackground2(0.70, 0.75, 0.82);
        p.renderer->GradientBackgroundOn();
        vtkNew<vtkLightKit> lights;
        lights->SetKeyLightIntensity(0.85);
        lights->AddLightsToRenderer(p.renderer);
        p.window->AddRenderer(p.renderer);
    }
    if (p.generation != generation_) {
        p.renderer->RemoveAllViewProps();
        for (const Part& part : parts_) {
            vtkMapper* source = part.coarse ? part.coarse.Get() : part.full.Get();
            auto mapper = vtkSmartPointer<vtkPolyDataMapper>::New();
            mapper->SetInputData(vtkPolyData::SafeDownCast(source->GetInputDataObject(0, 0)));
            if (!mapper->GetInput()) {
                source->Update();
                mapper->SetInputData(vtkPolyData::SafeDownCast(source->GetInput()));
            }
            mapper->SetScalarVisibility(source->GetScalarVisibility());
            mapper->SetColorMode(source->GetColorMode());
            auto actor = vtkSmartPointer<vtkActor>::New();
            actor->SetMapper(mapper);
            actor->SetProperty(part.actor->GetProperty());
            actor->SetUserMatrix(part.actor->GetUserMatrix());
            p.renderer->AddActor(actor);
        }
        p.generation = generation_;
    }
    if (p.width != width || p.height != height) {
        p.window->SetSize(width, height);
        p.width = width, p.height = height;
    }
    // The camera: along the direction, up as given, the scene's sphere
    // filling the picture's height.
    Camera c{};
    double b[6];
    bounds(b);
    double centre[3];
    const double radius = std::max(1e-6, s_sphereOf(b, centre));
    double d[3] = {direction[0], direction[1], direction[2]};
    double n = std::sqrt(s_dot(d, d));
    if (!(n > 0) || !std::isfinite(n)) {
        error = "a direction without a length";
        return false;
    }
    const double angle = std::clamp(std::isfinite(viewAngle) ? viewAngle : 28.0, 1.0, 170.0);
    const double distance =
        perspective ? radius / std::sin(angle * kPi / 360.0) * 1.05 : radius * 4;
    for (int i = 0; i < 3; ++i) {
        c.target[i] = float(centre[i]);
        c.eye[i] = float(centre[i] - d[i] / n * distance);
        c.up[i] = float(up[i]);
    }
    c.perspective = perspective;
    c.focal = float(distance);
    c.viewHeight =
        perspective ? float(2 * distance * std::tan(angle * kPi / 360.0)) : float(radius * 2.1);
    applyCamera(c, p.renderer);
    p.window->Render();
    const vtkSmartPointer<vtkImageData> image = s_grab(p.window);
    int dims[3];
    image->GetDimensions(dims);
    if (dims[0] < width || dims[1] < height) {
        error = "the picture could not be read back";
        return false;
    }
    const auto* pixels = static_cast<const unsigned char*>(image->GetScalarPointer());
    rgb.resize(size_t(width) * size_t(height) * 3);
    for (int y = 0; y < height; ++y) // VTK's rows run bottom to top
        std::memcpy(&rgb[size_t(y) * size_t(width) * 3],
                    pixels + size_t(height - 1 - y) * size_t(dims[0]) * 3, size_t(width) * 3);
    return true;
}

} // namespace zul::scene
