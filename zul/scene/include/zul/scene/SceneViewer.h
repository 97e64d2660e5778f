// The viewer a desktop host gives the module: the camera model of
// CCameraModel drawn by VTK, the scene's parts as the scene graph, and
// picking. Redraw renders the window with the model's camera; a camera the
// user moved with the mouse comes back through CameraMovedByUser.
#pragma once

#include <chrono>
#include <deque>
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
    // event (flags 0) to the view's listener. A camera that changed since
    // the last one drawn is a step of the history; with transitions on,
    // the picture moves to it over transitionMs and the event follows the
    // frame that ends the move (the model holds the new camera at once).
    HRESULT STDMETHODCALLTYPE Redraw() override;

    // Camera history: every settled camera change (a command, an applied
    // view, a fit, the end of a drag) keeps the camera before it; going
    // back or forward is not itself kept. At most kHistoryDepth each way;
    // a new change after going back drops what lay forward.
    static constexpr size_t kHistoryDepth = 100;
    bool GoBack();
    bool GoForward();
    size_t BackSteps() const { return back_.size(); }
    size_t ForwardSteps() const { return forward_.size(); }

    // Transitions. `requestFrames` (set by a host that can animate) is
    // called when a transition starts; the host then calls Frame() at its
    // display's rate until it returns false. Without it, or with
    // transitionMs 0, every change is drawn at once.
    double transitionMs = 0;
    std::function<void()> requestFrames;
    bool Animating() const { return animating_; }
    // Draws the next frame of the transition; false once it has ended
    // (the last frame is the new camera, followed by the event).
    bool Frame();
    // Ends a transition at once at its new camera (a mouse press, a new
    // command).
    void FinishTransition();
    // While the up vector is locked the locked one stays: the call succeeds
    // and changes nothing.
    HRESULT STDMETHODCALLTYPE SetUpVector(float x, float y, float z) override;
    // The VTK camera was moved by the user: the model follows, and listeners
    // hear of it (flag 0x4 while a drag goes on). With the up vector locked
    // the model's up stays exactly the locked one.
    void CameraMovedByUser(bool dragging);
    // Sets or clears the lock. Locking makes the up the world axis nearest
    // to it (so the module sees an exact axis): an up within
    // kLockSnapRadians of it is snapped; a slanted one is turned onto it,
    // the camera turning about its target (the host's policy). That axis is
    // the locked up.
    void SetUpLocked(bool locked);
    static constexpr double kLockSnapRadians = 0.001;
    // The world axis the locked up lies along: 1 X, 2 Y, 3 Z; 0 when the up
    // is not locked. Its sign is the up's.
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
    // Draws `c` and sends the camera-change event.
    void _drawSettled(const Camera& c);
    void _remember(const Camera& previous);
    void _restore(const Camera& c);
    // One step of the history from `from` (its newest) to the camera now
    // shown, which goes onto `to`.
    bool _travel(std::deque<Camera>& from, std::deque<Camera>& to);

    std::deque<Camera> back_, forward_;
    Camera shown_{};         // the last settled camera drawn
    bool haveShown_ = false; // shown_ holds one
    bool restoring_ = false; // going back or forward: not kept
    bool animating_ = false;
    Camera from_{}, to_{};
    std::chrono::steady_clock::time_point started_;
    bool picking_ = false, picked_ = false;
    DWORD pickMode_ = 0, pickedPart_ = 0;
    float pickedPoint_[3] = {0, 0, 0};
    float lockedUp_[3] = {0, 0, 1};
};

} // namespace zul::scene
