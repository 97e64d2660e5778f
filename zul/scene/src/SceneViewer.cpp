#include "zul/scene/SceneViewer.h"

#include <vtkCamera.h>
#include <vtkQuaternion.h>
#include <vtkRenderWindow.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zul::scene {

namespace {

bool s_same(const Camera& a, const Camera& b) {
    return std::memcmp(a.eye, b.eye, sizeof a.eye) == 0 &&
           std::memcmp(a.target, b.target, sizeof a.target) == 0 &&
           std::memcmp(a.up, b.up, sizeof a.up) == 0 && a.perspective == b.perspective &&
           a.focal == b.focal && a.viewHeight == b.viewHeight;
}

// The rotation taking the camera's frame to the world's: columns right, up,
// back (the opposite of the direction).
vtkQuaterniond s_rotationOf(const CameraFrame& f) {
    const double back[3] = {-f.direction[0], -f.direction[1], -f.direction[2]};
    const double right[3] = {f.up[1] * back[2] - f.up[2] * back[1],
                             f.up[2] * back[0] - f.up[0] * back[2],
                             f.up[0] * back[1] - f.up[1] * back[0]};
    const double m[3][3] = {
        {right[0], f.up[0], back[0]}, {right[1], f.up[1], back[1]}, {right[2], f.up[2], back[2]}};
    vtkQuaterniond q;
    q.FromMatrix3x3(m);
    return q;
}

// The camera `t` of the way from `a` to `b`: orientation on the shortest
// rotation (VTK's slerp takes the shorter arc), target, distance, view
// height and focal distance in line; the projection switches at the end.
Camera s_between(const Camera& a, const Camera& b, double t) {
    const CameraFrame fa = frameOf(a), fb = frameOf(b);
    vtkQuaterniond q = s_rotationOf(fa).Slerp(t, s_rotationOf(fb));
    q.Normalize(); // nearly equal ends are interpolated linearly
    double m[3][3];
    q.ToMatrix3x3(m);
    const double distance = fa.distance + (fb.distance - fa.distance) * t;
    Camera c = t < 1 ? a : b;
    for (int i = 0; i < 3; ++i) {
        const double target = fa.target[i] + (fb.target[i] - fa.target[i]) * t;
        c.target[i] = float(target);
        c.eye[i] = float(target + m[i][2] * distance); // the back column
        c.up[i] = float(m[i][1]);
    }
    c.viewHeight = float(fa.viewHeight + (fb.viewHeight - fa.viewHeight) * t);
    c.focal = float(fa.focal + (fb.focal - fa.focal) * t);
    return c;
}

} // namespace

void CSceneViewer::_remember(const Camera& previous) {
    if (restoring_) return;
    back_.push_back(previous);
    if (back_.size() > kHistoryDepth) back_.pop_front();
    forward_.clear();
}

void CSceneViewer::_drawSettled(const Camera& c) {
    if (scene && window) {
        applyCamera(c, scene->renderer(), scene->axesRenderer());
        window->Render();
    }
    shown_ = c;
    haveShown_ = true;
    fireCameraChanged(0);
}

HRESULT CSceneViewer::Redraw() {
    // A transition under way ends at its camera first.
    FinishTransition();
    const Camera now = cameraOf(*this);
    const bool changed = haveShown_ && !s_same(now, shown_);
    if (changed) _remember(shown_);
    if (changed && transitionMs > 0 && requestFrames && scene && window) {
        from_ = shown_;
        to_ = now;
        started_ = std::chrono::steady_clock::now();
        animating_ = true;
        scene->setCoarse(true); // a large model moves as its coarse copy
        requestFrames();
        return S_OK;
    }
    _drawSettled(now);
    return S_OK;
}

bool CSceneViewer::Frame() {
    if (!animating_) return false;
    const double t =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started_)
            .count() /
        transitionMs;
    if (t >= 1 || !scene || !window) {
        FinishTransition();
        return false;
    }
    // Eased: slow out of the old camera and into the new.
    const double eased = t * t * (3 - 2 * t);
    applyCamera(s_between(from_, to_, eased), scene->renderer(), scene->axesRenderer());
    window->Render();
    return true;
}

void CSceneViewer::FinishTransition() {
    if (!animating_) return;
    animating_ = false;
    if (scene) scene->setCoarse(false);
    _drawSettled(to_);
}

bool CSceneViewer::GoBack() {
    return _travel(back_, forward_);
}

bool CSceneViewer::GoForward() {
    return _travel(forward_, back_);
}

bool CSceneViewer::_travel(std::deque<Camera>& from, std::deque<Camera>& to) {
    FinishTransition();
    if (from.empty() || !haveShown_) return false;
    const Camera next = from.back();
    from.pop_back();
    to.push_back(shown_);
    _restore(next);
    return true;
}

void CSceneViewer::_restore(const Camera& c) {
    setCamera(*this, c);
    restoring_ = true;
    Redraw();
    restoring_ = false;
}

HRESULT CSceneViewer::SetUpVector(float x, float y, float z) {
    if (upLocked) return S_OK;
    return CCameraModel::SetUpVector(x, y, z);
}

HRESULT CSceneViewer::ShowMessage(const char* text, const char* caption, UINT type, int* result) {
    if (messageService) return messageService->ShowMessage(text, caption, type, result);
    return CCameraModel::ShowMessage(text, caption, type, result);
}

void CSceneViewer::CameraMovedByUser(bool dragging) {
    if (!scene) return;
    if (upLocked) {
        vtkCamera* camera = scene->renderer()->GetActiveCamera();
        camera->SetViewUp(lockedUp_[0], lockedUp_[1], lockedUp_[2]);
        camera->OrthogonalizeViewUp();
    }
    Camera c = cameraOf(*this);
    readCamera(scene->renderer(), c);
    if (upLocked)
        for (int i = 0; i < 3; ++i)
            c.up[i] = lockedUp_[i];
    setCamera(*this, c);
    applyCamera(c, scene->renderer(), scene->axesRenderer());
    if (!dragging) {
        // The end of a drag settles the camera: the one before the drag is
        // a step back.
        if (haveShown_ && !s_same(c, shown_)) _remember(shown_);
        shown_ = c;
        haveShown_ = true;
    }
    fireCameraChanged(dragging ? 0x4 : 0);
}

void CSceneViewer::SetUpLocked(bool locked) {
    upLocked = 0; // the up set here must reach the model
    if (locked) {
        // The up becomes the world axis nearest to it: a slanted up is
        // turned onto that axis, the camera turning about its target with
        // its direction made square to the axis, so the module's rule for a
        // locked axis sees an exact one.
        Camera c = cameraOf(*this);
        const CameraFrame f = frameOf(c);
        int axis = 0;
        for (int i = 1; i < 3; ++i)
            if (std::fabs(f.up[i]) > std::fabs(f.up[axis])) axis = i;
        double a[3] = {0, 0, 0};
        a[axis] = f.up[axis] >= 0 ? 1 : -1;
        if (std::acos(std::min(1.0, std::fabs(f.up[axis]))) > kLockSnapRadians) {
            double d[3], along = 0;
            for (int i = 0; i < 3; ++i)
                along += f.direction[i] * a[i];
            double n = 0;
            for (int i = 0; i < 3; ++i) {
                d[i] = f.direction[i] - along * a[i];
                n += d[i] * d[i];
            }
            n = std::sqrt(n); // never 0: the up is square to the direction
            for (int i = 0; i < 3; ++i) {
                c.eye[i] = float(f.target[i] - d[i] / n * f.distance);
                c.target[i] = float(f.target[i]);
                c.up[i] = float(a[i]);
            }
            setCamera(*this, c);
        }
        CCameraModel::SetUpVector(float(a[0]), float(a[1]), float(a[2]));
        for (int i = 0; i < 3; ++i)
            lockedUp_[i] = up[i];
    }
    upLocked = locked ? 1 : 0;
    Redraw();
}

int CSceneViewer::LockedAxis() const {
    if (!upLocked) return 0;
    for (int axis = 0; axis < 3; ++axis)
        if (lockedUp_[axis] != 0 && lockedUp_[(axis + 1) % 3] == 0 &&
            lockedUp_[(axis + 2) % 3] == 0)
            return axis + 1;
    return 0;
}

void CSceneViewer::FitAll() {
    if (!scene) return;
    Camera c = cameraOf(*this);
    fitAll(*scene, c);
    setCamera(*this, c);
    Redraw();
}

bool CSceneViewer::PickAt(int x, int y) {
    if (!picking_ || !scene) return false;
    double point[3];
    unsigned part = 0;
    if (!scene->pick(x, y, point, part)) return false;
    for (int i = 0; i < 3; ++i)
        pickedPoint_[i] = float(point[i]);
    pickedPart_ = part;
    picked_ = true;
    return true;
}

HRESULT CSceneViewer::GetPartBoundingBox(DWORD partId, float lo[3], float hi[3]) {
    if (!lo || !hi) return E_POINTER;
    double b[6];
    if (!scene || !scene->partBounds(partId, b)) return E_INVALIDARG;
    for (int i = 0; i < 3; ++i)
        lo[i] = float(b[2 * i]), hi[i] = float(b[2 * i + 1]);
    return S_OK;
}

HRESULT CSceneViewer::BeginPick() {
    picking_ = true;
    picked_ = false;
    return S_OK;
}

HRESULT CSceneViewer::EndPick() {
    picking_ = false;
    return S_OK;
}

HRESULT CSceneViewer::GetPickMode(DWORD* pMode) {
    if (!pMode) return E_POINTER;
    *pMode = pickMode_;
    return S_OK;
}

HRESULT CSceneViewer::SetPickMode(DWORD mode) {
    pickMode_ = mode;
    return S_OK;
}

HRESULT CSceneViewer::GetPickedPoint(float point[3]) {
    if (!point) return E_POINTER;
    if (!picked_) return E_FAIL;
    for (int i = 0; i < 3; ++i)
        point[i] = pickedPoint_[i];
    return S_OK;
}

HRESULT CSceneViewer::GetPickedPart(DWORD* pPartId) {
    if (!pPartId) return E_POINTER;
    if (!picked_) return E_FAIL;
    *pPartId = pickedPart_;
    return S_OK;
}

} // namespace zul::scene
