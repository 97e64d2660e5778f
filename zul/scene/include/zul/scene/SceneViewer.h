// The viewer a desktop host gives the module: the camera model of
// CCameraModel drawn by VTK, the scene's parts as the scene graph, and
// picking. Redraw renders the window with the model's camera; a camera the
// user moved with the mouse comes back through CameraMovedByUser.
#pragma once

#include <functional>

#include "KRAdvancedViews/host/IHostModuleSite.h"
#include "zul/scene/Scene.h"

class vtkRenderWindow;

namespace zul::scene {

class ZUL_PLATFORM_API CSceneViewer : public runtime::CCameraModel,
                                      public IHostSceneGraph,
                                      public IHostPickService {
public:
    ZUL_BEGIN_INTERFACE_MAP(CSceneViewer)
    ZUL_INTERFACE_ENTRY(IHostSceneGraph)
    ZUL_INTERFACE_ENTRY(IHostPickService)
    ZUL_INTERFACE_ENTRY_CHAIN(runtime::CCameraModel)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    // Not owned; both outlive the viewer's use.
    Scene* scene = nullptr;
    vtkRenderWindow* window = nullptr;
    // Where the viewer's messages go (the host's message service; not owned).
    // Null: they are kept in `messages` as the in-memory viewer keeps them.
    IHostUIService* messageService = nullptr;

    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char* caption, UINT type,
                                          int* result) override;

    // Draws the scene with the model's camera, then sends the camera-change
    // event (flags 0) to the view's listener.
    HRESULT STDMETHODCALLTYPE Redraw() override;
    // While the up vector is locked the locked one stays: the call succeeds
    // and changes nothing.
    HRESULT STDMETHODCALLTYPE SetUpVector(float x, float y, float z) override;
    // The VTK camera was moved by the user: the model follows, and listeners
    // hear of it (flag 0x4 while a drag goes on). With the up vector locked
    // the model's up stays exactly the locked one.
    void CameraMovedByUser(bool dragging);
    // Sets or clears the lock. Locking snaps the up vector to the world axis
    // it lies within kLockSnapRadians of (so the module sees an exact axis),
    // else keeps it as it is; either way that up is the locked one.
    void SetUpLocked(bool locked);
    static constexpr double kLockSnapRadians = 0.001;
    // The world axis the locked up lies along: 1 X, 2 Y, 3 Z; 0 when the up
    // is not locked or not along an axis.
    int LockedAxis() const;
    // Frames the whole scene and redraws.
    void FitAll();

    // A click at display pixel (x, y) while a pick is under way; true when a
    // part was hit (the point and part are then what the pick service answers).
    bool PickAt(int x, int y);
    bool Picking() const { return picking_; }

    // IHostSceneGraph: part ids are the scene's (1-based).
    HRESULT STDMETHODCALLTYPE GetPartBoundingBox(DWORD partId, float minimum[3],
                                                 float maximum[3]) override;
    // IHostPickService
    HRESULT STDMETHODCALLTYPE BeginPick() override;
    HRESULT STDMETHODCALLTYPE EndPick() override;
    HRESULT STDMETHODCALLTYPE GetPickMode(DWORD* pMode) override;
    HRESULT STDMETHODCALLTYPE SetPickMode(DWORD mode) override;
    HRESULT STDMETHODCALLTYPE GetPickedPoint(float point[3]) override;
    HRESULT STDMETHODCALLTYPE GetPickedPart(DWORD* pPartId) override;

private:
    bool picking_ = false, picked_ = false;
    DWORD pickMode_ = 0, pickedPart_ = 0;
    float pickedPoint_[3] = {0, 0, 0};
    float lockedUp_[3] = {0, 0, 1};
};

} // namespace zul::scene
