// Pictures drawn offscreen: contact sheets of views, and the small pictures
// of stored views the dialogs show.
#include <X11/Xlib.h>

#include <vtkActor.h>
#include <vtkImageData.h>
#include <vtkLightKit.h>
#include <vtkNew.h>
#include <vtkPNGWriter.h>
#include <vtkPolyData.h>
#include <vtkPolyDataMapper.h>
#include <vtkProperty.h>
#include <vtkTextActor.h>
#include <vtkTextProperty.h>
#include <vtkWindowToImageFilter.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "SceneInternal.h"
#include "zul/scene/Scene.h"

namespace zul::scene {

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
    // The caller has just rendered: the filter would draw the whole scene
    // once more before reading it.
    grab->ShouldRerenderOff();
    grab->Update();
    return grab->GetOutput();
}
// The window sheets are drawn in, made once: a sheet drawn after
// prepareSheet finds the driver loaded and its programs compiled.
vtkRenderWindow* s_sheetWindow() {
    static vtkSmartPointer<vtkRenderWindow> window;
    if (!window) {
        window = vtkSmartPointer<vtkRenderWindow>::New();
        window->SetDisplayId(s_display);
        window->SetOffScreenRendering(1);
        // Edges smoothed by FXAA rather than multisampling: on a software
        // renderer, four samples a pixel cost more than the model itself.
        window->SetMultiSamples(0);
    }
    return window;
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

bool prepareSheet(Scene& scene, int width, int height, std::string& error) {
    if (width < 16 || height < 16 || width > 8192 || height > 8192) {
        error = "a picture is 16 to 8192 pixels wide and high";
        return false;
    }
    if (!haveDisplay(error)) return false;
    vtkRenderWindow* window = s_sheetWindow();
    window->SetSize(width, height);
    scene.renderer()->UseFXAAOn();
    scene.attach(window);
    window->Render();
    scene.renderer()->UseFXAAOff();
    window->RemoveRenderer(scene.renderer());
    window->RemoveRenderer(scene.axesRenderer());
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
    vtkRenderWindow* window = s_sheetWindow();
    window->SetSize(width, tileH);
    scene.renderer()->UseFXAAOn();
    scene.attach(window);
    // The picture takes the tile above the label band.
    const double bottom = labels ? double(label) / tileH : 0.0;
    scene.renderer()->SetViewport(0, bottom, 1, 1);
    scene.axesRenderer()->SetViewport(0, bottom, 0.2, bottom + 0.2 * height / tileH);
    vtkNew<vtkTextActor> text;
    vtkNew<vtkRenderer> band; // the label band: white, under the picture
    if (labels) {
        text->GetTextProperty()->SetFontSize(std::max(14, label * 6 / 10));
        text->GetTextProperty()->SetColor(0.1, 0.1, 0.12);
        text->GetTextProperty()->SetJustificationToCentered();
        text->GetTextProperty()->SetVerticalJustificationToCentered();
        text->SetPosition(width / 2.0, label / 2.0);
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
    if (labels) window->RemoveRenderer(band);
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
            vtkSmartPointer<vtkPolyDataMapper> mapper = newUploadOnceMapper();
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
    const double radius = std::max(1e-6, sphereOf(b, centre));
    double d[3] = {direction[0], direction[1], direction[2]};
    double n = std::sqrt(dot3(d, d));
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
