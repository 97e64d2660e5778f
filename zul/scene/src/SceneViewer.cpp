#include "zul/scene/SceneViewer.h"

#include <vtkCamera.h>
#include <vtkRenderWindow.h>

#include <algorithm>
#include <cmath>

namespace zul::scene {

HRESULT CSceneViewer::Redraw() {
    if (scene && window) {
        applyCamera(cameraOf(*this), scene->renderer(), scene->axesRenderer());
        window->Render();
    }
    fireCameraChanged(0);
    return S_OK;
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
    fireCameraChanged(dragging ? 0x4 : 0);
}

void CSceneViewer::SetUpLocked(bool locked) {
    upLocked = 0; // the snapped up must reach the model
    if (locked) {
        const double n =
            std::sqrt(double(up[0]) * up[0] + double(up[1]) * up[1] + double(up[2]) * up[2]);
        for (int axis = 0; axis < 3 && n > 0 && std::isfinite(n); ++axis) {
            const double c = std::fabs(up[axis]) / n;
            if (std::acos(std::min(1.0, c)) > kLockSnapRadians) continue;
            float snapped[3] = {0, 0, 0};
            snapped[axis] = up[axis] > 0 ? 1.0f : -1.0f;
            CCameraModel::SetUpVector(snapped[0], snapped[1], snapped[2]);
            break;
        }
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
