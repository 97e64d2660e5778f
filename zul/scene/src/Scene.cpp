// The scene: its parts, the sample assembly, bounds and picking.
#include "zul/scene/Scene.h"

#include "zul/scene/ModelReader.h"

#include "SceneInternal.h"

#include <vtkActor.h>
#include <vtkAxesActor.h>
#include <vtkCamera.h>
#include <vtkCaptionActor2D.h>
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCellPicker.h>
#include <vtkConeSource.h>
#include <vtkCubeSource.h>
#include <vtkCylinderSource.h>
#include <vtkLightKit.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkOpenGLPolyDataMapper.h>
#include <vtkOpenGLVertexBufferObject.h>
#include <vtkOpenGLVertexBufferObjectGroup.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkPolyDataMapper.h>
#include <vtkPolyDataNormals.h>
#include <vtkProperty.h>
#include <vtkRenderWindow.h>
#include <vtkRenderer.h>
#include <vtkSphereSource.h>
#include <vtkTextProperty.h>
#include <vtkTransform.h>
#include <vtkTransformPolyDataFilter.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zul::scene {
namespace {

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

double Scene::automaticPointSize(size_t points) {
    // 10 pixels for a hundred points or fewer, 5 for ten thousand, about 3
    // for a million, never below 2.
    return std::clamp(20.0 / std::log10(double(std::max<size_t>(points, 10))), 2.0, 10.0);
}

void Scene::setPointSize(double pixels) {
    pointSizeChosen_ = true;
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

bool Scene::addFile(const std::string& path, std::string& error, std::vector<std::string>* notes) {
    Model model;
    if (!readModel(path, model, error)) return false;
    if (notes) notes->insert(notes->end(), model.notes.begin(), model.notes.end());
    addModel(std::move(model));
    return true;
}

namespace {

// A mapper for a part's geometry: colours the file gives per point or per
// cell are drawn as they are.
// The OpenGL mapper, less the copy of the points it keeps once the driver
// has them: VTK packs each array into a buffer of its own to upload it and
// then empties that buffer without giving its memory back (144 MB for a
// part of 4 M triangles whose corners are not shared). Packed again when the
// data changes.
class UploadOnceMapper : public vtkOpenGLPolyDataMapper {
public:
    static UploadOnceMapper* New();
    vtkTypeMacro(UploadOnceMapper, vtkOpenGLPolyDataMapper);

protected:
    void BuildBufferObjects(vtkRenderer* renderer, vtkActor* actor) override {
        vtkOpenGLPolyDataMapper::BuildBufferObjects(renderer, actor);
        for (const char* name : {"vertexMC", "normalMC", "scalarColor", "tcoord", "tangentMC"})
            if (vtkOpenGLVertexBufferObject* buffer = VBOs->GetVBO(name))
                std::vector<float>().swap(buffer->GetPackedVBO());
    }
};
vtkStandardNewMacro(UploadOnceMapper);
} // namespace

vtkSmartPointer<vtkPolyDataMapper> newUploadOnceMapper() {
    return vtkSmartPointer<UploadOnceMapper>::New();
}

namespace {

vtkSmartPointer<vtkPolyDataMapper> s_mapperOf(vtkPolyData* data, bool colours) {
    vtkSmartPointer<vtkPolyDataMapper> mapper = newUploadOnceMapper();
    mapper->SetInputData(data);
    mapper->SetScalarVisibility(colours);
    mapper->SetColorModeToDirectScalars();
    mapper->SetScalarModeToDefault();
    return mapper;
}

} // namespace

namespace {
// A polygonal data set of its own over the same arrays as `drawn`: the
// coarse copy reads them on its thread while this thread draws them, and
// neither writes them. The VTK objects around the arrays (points, cells,
// attributes) are not shared: they cache and keep state.
vtkSmartPointer<vtkPolyData> s_sharingArrays(vtkPolyData* drawn) {
    auto out = vtkSmartPointer<vtkPolyData>::New();
    if (vtkPoints* p = drawn->GetPoints()) {
        vtkNew<vtkPoints> points;
        points->SetData(p->GetData());
        out->SetPoints(points);
    }
    auto cells = [](vtkCellArray* from) {
        auto to = vtkSmartPointer<vtkCellArray>::New();
        if (from) to->SetData(from->GetOffsetsArray(), from->GetConnectivityArray());
        return to;
    };
    out->SetVerts(cells(drawn->GetVerts()));
    out->SetLines(cells(drawn->GetLines()));
    out->SetPolys(cells(drawn->GetPolys()));
    out->SetStrips(cells(drawn->GetStrips()));
    out->GetPointData()->ShallowCopy(drawn->GetPointData());
    out->GetCellData()->ShallowCopy(drawn->GetCellData());
    return out;
}
} // namespace

Model Scene::geometryForCoarseCopies() const {
    Model model;
    bool missing = false;
    for (const Part& p : parts_)
        missing |= !p.coarse && p.triangles >= kSmallPartTriangles;
    if (!missing || triangleCount() <= kDragTriangleBudget) return model;
    for (const Part& p : parts_) {
        ModelPart part;
        part.triangles = p.triangles;
        if (p.triangles >= kSmallPartTriangles)
            if (auto* drawn = vtkPolyData::SafeDownCast(p.full->GetInputDataObject(0, 0)))
                part.geometry = s_sharingArrays(drawn);
        model.parts.push_back(std::move(part));
    }
    return model;
}

bool Scene::setCoarseCopies(unsigned generation, const Model& made) {
    if (generation != generation_ || made.parts.size() != parts_.size()) return false;
    bool changed = false;
    for (size_t i = 0; i < parts_.size(); ++i) {
        Part& p = parts_[i];
        if (p.coarse || !made.parts[i].coarse) continue;
        p.coarse = s_mapperOf(made.parts[i].coarse, p.full->GetScalarVisibility());
        if (coarse_) p.actor->SetMapper(p.coarse);
        changed = true;
    }
    // The offscreen pictures draw the coarse copies: theirs are made again.
    if (changed) ++generation_;
    return changed;
}

void Scene::addModel(Model&& model) {
    static const double palette[4][3] = {
        {0.50, 0.53, 0.58}, {0.22, 0.45, 0.80}, {0.95, 0.55, 0.15}, {0.25, 0.65, 0.35}};
    for (ModelPart& m : model.parts) {
        // Colours the file gives per point or per cell are drawn as they are;
        // a part without them wears its own colour, else one of the palette.
        const bool colours = m.geometry->GetPointData()->GetArray("zul_colour") ||
                             m.geometry->GetCellData()->GetArray("zul_colour");
        Part part;
        part.name = m.name;
        part.full = s_mapperOf(m.geometry, colours);
        if (m.coarse) part.coarse = s_mapperOf(m.coarse, colours);
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
    if (!pointSizeChosen_) {
        pointSize_ = automaticPointSize(pointCount());
        for (Part& p : parts_)
            if (p.points) p.actor->GetProperty()->SetPointSize(float(pointSize_));
    }
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

} // namespace zul::scene
