#include "zul/scene/SceneViewer.h"

#include <vtkCamera.h>
#include <vtkRenderWindow.h>

namespace zul::scene {

HRESULT CSceneViewer::Redraw() {
    record("Redraw");
    ++redraws;
    if (!scene || !window) return S_OK;
    applyCamera(cameraOf(*this), scene->renderer(), scene->axesRenderer());
    window->Render();
    return S_OK;
}

HRESULT CSceneViewer::ShowMessage(const char* text, const char* caption, UINT type, int* result) {
    if (messageService) return messageService->ShowMessage(text, caption, type, result);
    return CMemoryViewer::ShowMessage(text, caption, type, result);
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
    setCamera(*this, c);
    applyCamera(c, scene->renderer(), scene->axesRenderer());
    fireCameraChanged(dragging ? 0x4 : 0);
}

void CSceneViewer::SetUpLocked(bool locked) {
    upLocked = locked ? 1 : 0;
    for (int i = 0; i < 3; ++i) lockedUp_[i] = up[i];
    fireCameraChanged(0);
}

void CSceneViewer::FitAll() {
    if (!scene) return;
    Camera c = cameraOf(*this);
    fitAll(*scene, c);
    setCamera(*this, c);
    Redraw();
    fireCameraChanged(0);
}

bool CSceneViewer::PickAt(int x, int y) {
    if (!picking_ || !scene) return false;
    double point[3];
    unsigned part = 0;
    if (!scene->pick(x, y, point, part)) return false;
    for (int i = 0; i < 3; ++i) pickedPoint_[i] = float(point[i]);
    pickedPart_ = part;
    picked_ = true;
    return true;
}

HRESULT CSceneViewer::GetPartBoundingBox(DWORD partId, float lo[3], float hi[3]) {
    if (!lo || !hi) return E_POINTER;
    double b[6];
    if (!scene || !scene->partBounds(partId, b)) return E_INVALIDARG;
    for (int i = 0; i < 3; ++i) lo[i] = float(b[2 * i]), hi[i] = float(b[2 * i + 1]);
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
    for (int i = 0; i < 3; ++i) point[i] = pickedPoint_[i];
    return S_OK;
}

HRESULT CSceneViewer::GetPickedPart(DWORD* pPartId) {
    if (!pPartId) return E_POINTER;
    if (!picked_) return E_FAIL;
    *pPartId = pickedPart_;
    return S_OK;
}

} // namespace zul::scene
