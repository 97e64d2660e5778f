// The host's 3D view, its camera and the events it sends, as the navigator
// uses them.
//
// Camera model (every host, test hosts included): the camera has a position
// (eye), a target (looked-at point) and an up vector; a projection that is
// orthographic or perspective; a focal distance that is its own value (not
// recomputed from eye and target), used with the view height to express a
// field of view in both projections; a view height (orthographic extent; for
// perspective the height seen at the focal distance); and four clipping
// values the orthographic projection keeps. Every method returns S_OK or a
// failure status and changes nothing when it fails; out-parameters are
// written only on success.
#pragma once

#include "zul/com/com.h"

// The projection classes of the host (IHostView3D::SetProjectionClass).
inline constexpr CLSID CLSID_HostOrthographicProjection =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0401");
inline constexpr CLSID CLSID_HostPerspectiveProjection =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0402");

// The places of the orthographic projection's four clipping values
// (IHostCameraProjection::GetClippingMatrix): the depth range of the view box
// about the target, and the near and far planes from the eye.
enum HostClippingValue : int {
    ClippingDepthMin = 0,
    ClippingDepthMax = 1,
    ClippingNear = 2,
    ClippingFar = 3,
};

struct IHostCamera : IUnknown {
    // The camera's up direction (any length). A host whose user locked the up
    // vector keeps the locked one and answers S_OK.
    virtual HRESULT STDMETHODCALLTYPE SetUpVector(float x, float y, float z) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUpVector(float* x, float* y, float* z) = 0;
    // Moves the eye only; the target stays.
    virtual HRESULT STDMETHODCALLTYPE SetPosition(float x, float y, float z) = 0;
    // The eye, model units.
    virtual HRESULT STDMETHODCALLTYPE GetPosition(float* x, float* y, float* z) = 0;
    // Moves the looked-at point only; the eye stays.
    virtual HRESULT STDMETHODCALLTYPE SetTarget(float x, float y, float z) = 0;
    // The looked-at point, model units.
    virtual HRESULT STDMETHODCALLTYPE GetTarget(float* x, float* y, float* z) = 0;
};

struct IHostCameraProjection : IUnknown {
    // CLSID_HostOrthographicProjection or CLSID_HostPerspectiveProjection.
    virtual HRESULT STDMETHODCALLTYPE GetClassId(CLSID* pClassId) = 0;
    // The height the view shows, model units: the orthographic extent, or
    // for perspective the height seen at the focal distance.
    virtual HRESULT STDMETHODCALLTYPE GetViewHeight(float* pHeight) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetViewHeight(float height) = 0;
    // Perspective projection only: the full vertical angle in degrees; sets
    // the view height to 2 x focal distance x tan(angle / 2). E_FAIL on an
    // orthographic projection.
    virtual HRESULT STDMETHODCALLTYPE SetFieldOfView(float degrees) = 0;
    // The four clipping values of the orthographic projection, indexed by
    // HostClippingValue. The module saves them before a switch to the
    // perspective projection and puts them back after the switch back, as a
    // whole; a host keeps them as given (the desktop viewer draws with
    // clipping planes of its own that clip nothing in the view volume).
    virtual HRESULT STDMETHODCALLTYPE GetClippingMatrix(float m[4]) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetClippingMatrix(const float m[4]) = 0;
};

struct IHostViewControl : IUnknown {
    // Non-zero while the user has locked the up direction.
    virtual HRESULT STDMETHODCALLTYPE IsUpVectorLocked(int* pLocked) = 0;
    // The focal distance, model units: the camera's own value (not the eye's
    // distance from the target), with the view height the field of view.
    virtual HRESULT STDMETHODCALLTYPE GetFocalDistance(float* pDistance) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetFocalDistance(float distance) = 0;
    // Turns eye and up about the target around the world direction (ax, ay,
    // az) by `degrees` (right-handed).
    virtual HRESULT STDMETHODCALLTYPE RotateCamera(float ax, float ay, float az, float degrees) = 0;
    // Moves eye and target together by (dx, dy, dz).
    virtual HRESULT STDMETHODCALLTYPE TranslateCamera(float dx, float dy, float dz) = 0;
};

struct IHostView3D : IUnknown {
    // The view's control, camera and projection (a reference each).
    // E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE GetViewControl(IHostViewControl** ppControl) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCamera(IHostCamera** ppCamera) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCameraProjection(IHostCameraProjection** ppProjection) = 0;
    // Replaces the projection by one of the given class; the camera frame,
    // focal distance and view height stay. E_INVALIDARG for an unknown class.
    virtual HRESULT STDMETHODCALLTYPE SetProjectionClass(REFCLSID classId) = 0;
    // Repaints the view; the host then sends its camera-change event (flags
    // 0) to the view's listener, once, after the redraw.
    virtual HRESULT STDMETHODCALLTYPE Redraw() = 0;
};

// The view events a listener receives.
struct IHostViewEvents : IUnknown {
    // The camera changed. Bit 2 (0x4) of `flags` marks a change the listener
    // is to ignore (an interactive drag in progress).
    virtual HRESULT STDMETHODCALLTYPE OnCameraChanged(DWORD flags) = 0;
};

// The host application as a module object sees it (found through its site).
struct IHostApplication : IUnknown {
    // The current 3D view; E_FAIL when there is none.
    virtual HRESULT STDMETHODCALLTYPE GetActiveView3D(IHostView3D** ppView) = 0;
    // Connects `pEvents` to the view events; *pCookie names the connection.
    virtual HRESULT STDMETHODCALLTYPE AdviseViewEvents(IHostViewEvents* pEvents,
                                                       DWORD* pCookie) = 0;
    // Disconnects the listener of that connection.
    virtual HRESULT STDMETHODCALLTYPE UnadviseViewEvents(DWORD cookie) = 0;
};

ZUL_DECLARE_IID(IHostCamera, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0311");
ZUL_DECLARE_IID(IHostCameraProjection, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0312");
ZUL_DECLARE_IID(IHostViewControl, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0313");
ZUL_DECLARE_IID(IHostView3D, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0314");
ZUL_DECLARE_IID(IHostViewEvents, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0315");
ZUL_DECLARE_IID(IHostApplication, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0316");
