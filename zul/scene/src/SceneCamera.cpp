// The host camera model on a VTK camera, and fitting the scene into it.
#include <vtkCamera.h>
#include <vtkRenderer.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "SceneInternal.h"
#include "zul/scene/Scene.h"

namespace zul::scene {

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

CameraFrame frameOf(const Camera& c) {
    CameraFrame f;
    // A camera with non-finite numbers (a damaged view record) is never
    // handed on: such parts fall back to a plain view of the origin.
    const bool eyeOk = allFinite(c.eye, 3), targetOk = allFinite(c.target, 3);
    for (int i = 0; i < 3; ++i) {
        f.target[i] = targetOk ? c.target[i] : 0.0;
        f.eye[i] = eyeOk ? c.eye[i] : f.target[i] + (i == 2 ? 1.0 : 0.0);
        f.direction[i] = f.target[i] - f.eye[i];
    }
    f.distance = std::sqrt(dot3(f.direction, f.direction));
    if (!normalise3(f.direction)) {
        f.direction[0] = f.direction[1] = 0, f.direction[2] = -1; // eye on the target: look down
        f.distance = 0;
    }
    // The up vector as VTK needs it: square to the direction. An up along
    // the direction has no nearest valid one; the first world axis (Z, Y,
    // X) that is not nearly along the direction stands in for it.
    double up[3] = {0, 0, 0};
    if (allFinite(c.up, 3))
        for (int i = 0; i < 3; ++i)
            up[i] = c.up[i];
    const double along = dot3(up, f.direction);
    for (int i = 0; i < 3; ++i)
        up[i] -= along * f.direction[i];
    const double upLength = std::sqrt(dot3(up, up)),
                 given = std::sqrt(double(c.up[0]) * c.up[0] + double(c.up[1]) * c.up[1] +
                                   double(c.up[2]) * c.up[2]);
    f.upReplaced = !(upLength > 1e-6 * given) || !std::isfinite(upLength);
    if (f.upReplaced) {
        static const double axes[3][3] = {{0, 0, 1}, {0, 1, 0}, {1, 0, 0}};
        for (const auto& a : axes) {
            if (std::fabs(dot3(a, f.direction)) > 0.9) continue;
            const double d = dot3(a, f.direction);
            for (int i = 0; i < 3; ++i)
                up[i] = a[i] - d * f.direction[i];
            break;
        }
    }
    normalise3(up);
    for (int i = 0; i < 3; ++i)
        f.up[i] = up[i];
    f.perspective = c.perspective;
    f.viewHeight = std::isfinite(c.viewHeight) && c.viewHeight > 1e-6f ? c.viewHeight : 1e-6;
    f.focal = std::isfinite(c.focal) && c.focal > 1e-6f ? c.focal : 1e-6;
    return f;
}

bool upParallelToView(const float up[3], const float view[3]) {
    double u[3] = {up[0], up[1], up[2]}, v[3] = {view[0], view[1], view[2]};
    if (!normalise3(u) || !normalise3(v)) return false;
    return std::fabs(dot3(u, v)) > 1.0 - 1e-9;
}

void applyCamera(const Camera& c, vtkRenderer* renderer, vtkRenderer* axes) {
    vtkCamera* camera = renderer->GetActiveCamera();
    const CameraFrame f = frameOf(c);
    double b[6];
    renderer->ComputeVisiblePropBounds(b);
    const bool hasBounds =
        b[0] <= b[1] && b[2] <= b[3] && b[4] <= b[5] && std::isfinite(b[0]) && std::isfinite(b[1]);
    double centre[3];
    const double sphere = sphereOf(b, centre);
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
            behind = -dot3(toCentre, f.direction) + radius * 1.05 + 1e-3 * (radius + 1.0);
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
            const double depth = dot3(corner, f.direction);
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
    const double radius = sphereOf(b, centre);
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

FullViewInfo modelCameraView(const Scene& scene, const ModelCamera& camera) {
    double b[6];
    double centre[3] = {0, 0, 0}, radius = 1;
    if (scene.bounds(b)) radius = sphereOf(b, centre);
    double ahead = 0;
    for (int i = 0; i < 3; ++i)
        ahead += (centre[i] - camera.eye[i]) * camera.direction[i];
    if (!(ahead > 1e-6 * std::max(radius, 1e-12))) ahead = std::max(radius, 1e-3);
    FullViewInfo info;
    for (int i = 0; i < 3; ++i) {
        info.pFromVector[i] = float(camera.eye[i]);
        info.pAtVector[i] = float(camera.eye[i] + camera.direction[i] * ahead);
        info.pViewVector[i] = float(camera.direction[i]);
        info.pUpVector[i] = float(camera.up[i]);
    }
    info.cameraType = camera.orthographic ? Orthographic : Perspective;
    info.viewAngle = float(camera.viewAngle);
    info.bHasFromAndAt = 1;
    info.iChangeBits = ViewChangeFromPoint | ViewChangeAtPoint | ViewChangeCameraType |
                       (camera.orthographic ? 0 : ViewChangeViewAngle);
    return info;
}

} // namespace zul::scene
