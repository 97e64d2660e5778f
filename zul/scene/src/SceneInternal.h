// What the scene's sources share inside the library: small vector helpers
// and the offscreen window of the pictures. Not installed, not for callers.
#pragma once

#include <vtkPolyDataMapper.h>
#include <vtkRenderWindow.h>
#include <vtkRenderer.h>
#include <vtkSmartPointer.h>

#include <cmath>

#include "zul/scene/Scene.h"

namespace zul::scene {

inline constexpr double kPi = 3.14159265358979323846;

inline double dot3(const double a[3], const double b[3]) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline bool allFinite(const float* v, int n) {
    for (int i = 0; i < n; ++i)
        if (!std::isfinite(v[i])) return false;
    return true;
}

// Scales `v` to unit length; false (v unchanged) when it has none.
inline bool normalise3(double v[3]) {
    const double n = std::sqrt(dot3(v, v));
    if (!(n > 1e-300) || !std::isfinite(n)) return false;
    for (int i = 0; i < 3; ++i)
        v[i] /= n;
    return true;
}

// A mapper that gives back the memory of the copy VTK packs each array into
// for the driver, once the driver has it (Scene.cpp).
vtkSmartPointer<vtkPolyDataMapper> newUploadOnceMapper();

// The offscreen window pictures are drawn in, and the copies of the parts
// it shows (their own mappers, so the two windows never share buffers).
struct Scene::PictureWindow {
    vtkSmartPointer<vtkRenderWindow> window;
    vtkSmartPointer<vtkRenderer> renderer;
    unsigned generation = ~0u;
    int width = 0, height = 0;
};

} // namespace zul::scene
