// The camera model every host shares (see KRAdvancedViews/host/IHostView.h),
// in memory: one object that is the host application, the 3D view, its
// camera, projection and view control, and a UI service. The headless host's
// viewer as it is; the desktop viewer draws it (zul::scene::CSceneViewer).
// Tests record its calls with tests/support/RecordingViewer.h.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "KRAdvancedViews/host/IHostUIService.h"
#include "KRAdvancedViews/host/IHostView.h"
#include "zul/com/Object.h"

namespace zul::runtime {

class CCameraModel : public zul::com::ObjectRoot,
                     public IHostApplication,
                     public IHostView3D,
                     public IHostCamera,
                     public IHostCameraProjection,
                     public IHostViewControl,
                     public IHostUIService {
public:
    ZUL_BEGIN_INTERFACE_MAP(CCameraModel)
    ZUL_INTERFACE_ENTRY(IHostApplication)
    ZUL_INTERFACE_ENTRY(IHostView3D)
    ZUL_INTERFACE_ENTRY(IHostCamera)
    ZUL_INTERFACE_ENTRY(IHostCameraProjection)
    ZUL_INTERFACE_ENTRY(IHostViewControl)
    ZUL_INTERFACE_ENTRY(IHostUIService)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    // The camera.
    float eye[3] = {0, 0, 100};
    float target[3] = {0, 0, 0};
    float up[3] = {0, 1, 0};
    bool perspective = true;
    float focal = 100.0f;
    float viewHeight = 2.0f * 100.0f * 0.2679492f; // 30 degrees at the focal distance
    float clipping[4] = {-10, 10, 1, 1000};        // by HostClippingValue
    int upLocked = 0;
    bool hasView = true;

    std::vector<std::string> messages;
    bool printMessages = false;        // also to standard error (a headless host)
    IHostViewEvents* events = nullptr; // not owned: the navigator unadvises
    // Tells the listener the camera changed. A listener that redraws from
    // inside the event gets no second one (that would never end).
    void fireCameraChanged(DWORD flags) {
        if (!events || firing_) return;
        firing_ = true;
        events->OnCameraChanged(flags);
        firing_ = false;
    }

    // IHostApplication
    HRESULT STDMETHODCALLTYPE GetActiveView3D(IHostView3D** pp) override {
        if (!pp) return E_POINTER;
        *pp = nullptr;
        if (!hasView) return E_FAIL;
        *pp = static_cast<IHostView3D*>(this);
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE AdviseViewEvents(IHostViewEvents* e, DWORD* cookie) override {
        events = e;
        *cookie = 7;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE UnadviseViewEvents(DWORD) override {
        events = nullptr;
        return S_OK;
    }
    // IHostView3D
    HRESULT STDMETHODCALLTYPE GetViewControl(IHostViewControl** pp) override { return hand(pp); }
    HRESULT STDMETHODCALLTYPE GetCamera(IHostCamera** pp) override { return hand(pp); }
    HRESULT STDMETHODCALLTYPE GetCameraProjection(IHostCameraProjection** pp) override {
        return hand(pp);
    }
    HRESULT STDMETHODCALLTYPE SetProjectionClass(REFCLSID cls) override {
        if (cls == CLSID_HostPerspectiveProjection)
            perspective = true;
        else if (cls == CLSID_HostOrthographicProjection)
            perspective = false;
        else
            return E_INVALIDARG;
        return S_OK;
    }
    // Nothing to paint; the camera-change event follows, as on every host.
    HRESULT STDMETHODCALLTYPE Redraw() override {
        fireCameraChanged(0);
        return S_OK;
    }
    // IHostCamera
    HRESULT STDMETHODCALLTYPE SetUpVector(float x, float y, float z) override {
        return set3(up, x, y, z);
    }
    HRESULT STDMETHODCALLTYPE GetUpVector(float* x, float* y, float* z) override {
        return get3(up, x, y, z);
    }
    HRESULT STDMETHODCALLTYPE SetPosition(float x, float y, float z) override {
        return set3(eye, x, y, z);
    }
    HRESULT STDMETHODCALLTYPE GetPosition(float* x, float* y, float* z) override {
        return get3(eye, x, y, z);
    }
    HRESULT STDMETHODCALLTYPE SetTarget(float x, float y, float z) override {
        return set3(target, x, y, z);
    }
    HRESULT STDMETHODCALLTYPE GetTarget(float* x, float* y, float* z) override {
        return get3(target, x, y, z);
    }
    // IHostCameraProjection
    HRESULT STDMETHODCALLTYPE GetClassId(CLSID* cls) override {
        *cls = perspective ? CLSID_HostPerspectiveProjection : CLSID_HostOrthographicProjection;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetViewHeight(float* h) override {
        *h = viewHeight;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetViewHeight(float h) override {
        viewHeight = h;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetFieldOfView(float degrees) override {
        if (!perspective) return E_FAIL;
        viewHeight = 2.0f * focal * std::tan(degrees * 0.5f * 0.017453292f);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetClippingMatrix(float m[4]) override {
        for (int i = 0; i < 4; ++i)
            m[i] = clipping[i];
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetClippingMatrix(const float m[4]) override {
        for (int i = 0; i < 4; ++i)
            clipping[i] = m[i];
        return S_OK;
    }
    // IHostViewControl
    HRESULT STDMETHODCALLTYPE IsUpVectorLocked(int* locked) override {
        *locked = upLocked;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetFocalDistance(float* d) override {
        *d = focal;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetFocalDistance(float d) override {
        focal = d;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RotateCamera(float ax, float ay, float az, float degrees) override {
        // Eye and up turn about the target around the axis (Rodrigues).
        const double r = degrees * 3.14159265358979323846 / 180.0, c = std::cos(r), s = std::sin(r);
        auto turn = [&](float v[3]) {
            const double d = ax * v[0] + ay * v[1] + az * v[2];
            const double cx = ay * v[2] - az * v[1], cy = az * v[0] - ax * v[2],
                         cz = ax * v[1] - ay * v[0];
            const double n[3] = {v[0] * c + cx * s + ax * d * (1 - c),
                                 v[1] * c + cy * s + ay * d * (1 - c),
                                 v[2] * c + cz * s + az * d * (1 - c)};
            for (int i = 0; i < 3; ++i)
                v[i] = static_cast<float>(n[i]);
        };
        float rel[3] = {eye[0] - target[0], eye[1] - target[1], eye[2] - target[2]};
        turn(rel);
        turn(up);
        for (int i = 0; i < 3; ++i)
            eye[i] = target[i] + rel[i];
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE TranslateCamera(float dx, float dy, float dz) override {
        const float d[3] = {dx, dy, dz};
        for (int i = 0; i < 3; ++i) {
            eye[i] += d[i];
            target[i] += d[i];
        }
        return S_OK;
    }
    // IHostUIService
    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char*, UINT,
                                          int* result) override {
        messages.emplace_back(text);
        if (printMessages) std::fprintf(stderr, "%s\n", text);
        if (result) *result = 1;
        return S_OK;
    }
    // The field of view the camera shows, in degrees.
    float angle() const { return 2.0f * std::atan((viewHeight / focal) * 0.5f) * 57.29578f; }

private:
    bool firing_ = false;
    template <class I> HRESULT hand(I** pp) {
        if (!pp) return E_POINTER;
        *pp = static_cast<I*>(this);
        AddRef();
        return S_OK;
    }
    HRESULT set3(float* v, float x, float y, float z) {
        v[0] = x;
        v[1] = y;
        v[2] = z;
        return S_OK;
    }
    static HRESULT get3(const float* v, float* x, float* y, float* z) {
        *x = v[0];
        *y = v[1];
        *z = v[2];
        return S_OK;
    }
};

} // namespace zul::runtime
