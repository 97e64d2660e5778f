#include "ViewNavigator.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "Trace.h"
#include "ViewInfo.h"
#include "resources/StringTable.h"

namespace {

// The locked up axis last seen, for the whole process (0 none, 1 X, 2 Y, 3 Z).
int s_lastLockedAxis = 0;

constexpr float kFrameAngle = 28.0f;

bool s_unitAxis(AxisEnum axis, float v[3]) {
    v[0] = v[1] = v[2] = 0.0f;
    switch (axis) {
    case PositiveX:
        v[0] = 1.0f;
        return true;
    case NegativeX:
        v[0] = -1.0f;
        return true;
    case PositiveY:
        v[1] = 1.0f;
        return true;
    case NegativeY:
        v[1] = -1.0f;
        return true;
    case PositiveZ:
        v[2] = 1.0f;
        return true;
    case NegativeZ:
        v[2] = -1.0f;
        return true;
    default:
        return false;
    }
}

bool s_isAxis(int value) {
    return value >= PositiveX && value <= NegativeZ;
}

float s_distance(const float a[3], const float b[3]) {
    const float d[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    return std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
}

struct Host {
    zul::com::ComPtr<IHostView3D> view;
    zul::com::ComPtr<IHostCamera> camera;
    zul::com::ComPtr<IHostCameraProjection> projection;
    zul::com::ComPtr<IHostViewControl> control;
};

// The host's current view and (with `parts`) its camera, projection and
// control; E_FAIL without a host or view. Called by every camera operation,
// so it opens no trace scope of its own.
HRESULT s_host(const krav::CSite& site, Host& host, bool parts = true) {
    auto app = site.query<IHostApplication>();
    if (!app) return E_FAIL;
    if (FAILED(app->GetActiveView3D(host.view.ReleaseAndGetAddressOf())) || !host.view)
        return E_FAIL;
    if (!parts) return S_OK;
    HRESULT hr = host.view->GetCamera(host.camera.ReleaseAndGetAddressOf());
    if (SUCCEEDED(hr))
        hr = host.view->GetCameraProjection(host.projection.ReleaseAndGetAddressOf());
    if (SUCCEEDED(hr)) hr = host.view->GetViewControl(host.control.ReleaseAndGetAddressOf());
    return hr;
}

} // namespace

CViewNavigator::CViewNavigator()
    : m_upAxis{{PositiveX, PositiveZ}, {NegativeX, PositiveZ}, {PositiveY, PositiveZ},
               {NegativeY, PositiveZ}, {PositiveZ, PositiveY}, {NegativeZ, PositiveY}} {}

CViewNavigator::~CViewNavigator() {
    for (IViewNavigatorSink* s : m_sinks)
        s->Release();
}

// ---------------------------------------------------------------------------
// Host access

HRESULT CViewNavigator::SetSite(IUnknown* pUnkSite) {
    KRAV_TRACE("CViewNavigator::SetSite");
    // The site is the viewer: its camera events follow it.
    _stop();
    m_site.set(pUnkSite);
    if (pUnkSite) _start();
    return S_OK;
}

HRESULT CViewNavigator::GetSite(REFIID riid, void** ppvSite) {
    KRAV_TRACE("CViewNavigator::GetSite");
    return m_site.get(riid, ppvSite);
}

void CViewNavigator::_showMessage(unsigned id) {
    KRAV_TRACE("CViewNavigator::_showMessage");
    m_site.showMessage(id, MB_ICONEXCLAMATION);
}

HRESULT CViewNavigator::_start() {
    KRAV_TRACE("CViewNavigator::_start");
    auto app = m_site.query<IHostApplication>();
    if (!app) return E_FAIL;
    if (m_advised) return S_OK;
    const HRESULT hr = app->AdviseViewEvents(static_cast<IHostViewEvents*>(this), &m_eventCookie);
    m_advised = SUCCEEDED(hr);
    return hr;
}

HRESULT CViewNavigator::_stop() {
    KRAV_TRACE("CViewNavigator::_stop");
    if (!m_advised) return S_OK;
    auto app = m_site.query<IHostApplication>();
    if (!app) return E_FAIL;
    m_advised = false;
    return app->UnadviseViewEvents(m_eventCookie);
}

// ---------------------------------------------------------------------------
// Camera primitives

HRESULT CViewNavigator::_getCameraFOV(float* degrees) {
    KRAV_TRACE("CViewNavigator::_getCameraFOV");
    if (!degrees) return E_POINTER;
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return hr;
    float height = 1.0f, focal = 1.0f;
    if (FAILED(hr = host.projection->GetViewHeight(&height))) return hr;
    if (FAILED(hr = host.control->GetFocalDistance(&focal))) return hr;
    *degrees = 2.0f * std::atan((height / focal) * 0.5f) * 57.29578f;
    return S_OK;
}

HRESULT CViewNavigator::_setCameraFOV(float degrees) {
    KRAV_TRACE("CViewNavigator::_setCameraFOV");
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return hr;
    CLSID cls{};
    if (FAILED(hr = host.projection->GetClassId(&cls))) return hr;
    if (cls == CLSID_HostPerspectiveProjection) return host.projection->SetFieldOfView(degrees);
    if (cls != CLSID_HostOrthographicProjection) return S_OK;
    // An orthographic camera has no angle: the view height that gives the
    // same angle at the focal distance stands in for it.
    const float t = std::tan(degrees * 0.5f * 0.017453292f);
    float focal = 1.0f;
    if (FAILED(hr = host.control->GetFocalDistance(&focal))) return hr;
    return host.projection->SetViewHeight(2.0f * focal * t);
}

HRESULT CViewNavigator::_setCameraType(CameraTypeEnum type) {
    KRAV_TRACE("CViewNavigator::_setCameraType");
    if (type != Orthographic && type != Perspective) return E_INVALIDARG;
    Host host;
    const HRESULT hr = s_host(m_site, host, false);
    if (FAILED(hr)) return hr;
    return host.view->SetProjectionClass(type == Perspective ? CLSID_HostPerspectiveProjection
                                                             : CLSID_HostOrthographicProjection);
}

HRESULT CViewNavigator::_getCameraClippingMatrix(float m[4]) {
    KRAV_TRACE("CViewNavigator::_getCameraClippingMatrix");
    if (!m) return E_POINTER;
    std::fill(m, m + 4, 0.0f);
    Host host;
    const HRESULT hr = s_host(m_site, host);
    return FAILED(hr) ? hr : host.projection->GetClippingMatrix(m);
}

HRESULT CViewNavigator::_setCameraClippingMatrix(const float m[4]) {
    KRAV_TRACE("CViewNavigator::_setCameraClippingMatrix");
    if (!m) return E_POINTER;
    Host host;
    const HRESULT hr = s_host(m_site, host);
    return FAILED(hr) ? hr : host.projection->SetClippingMatrix(m);
}

HRESULT CViewNavigator::_getLockedUpAxis(int* axis) {
    KRAV_TRACE("CViewNavigator::_getLockedUpAxis");
    if (!axis) return E_POINTER;
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return hr;
    int locked = 0;
    if (FAILED(hr = host.control->IsUpVectorLocked(&locked))) return hr;
    *axis = 0;
    if (!locked) return S_OK;
    FullViewInfo live;
    if (FAILED(hr = GetViewInfo(&live))) return hr;
    float* up = live.pUpVector;
    krav::NormalizeVector(up);
    auto zero = [](float v) { return krav::FloatsEqual(v, 0.0f); };
    if (zero(up[1]) && zero(up[2]) && !zero(up[0]))
        *axis = 1;
    else if (zero(up[0]) && zero(up[2]) && !zero(up[1]))
        *axis = 2;
    else if (zero(up[0]) && zero(up[1]) && !zero(up[2]))
        *axis = 3;
    return S_OK;
}

HRESULT CViewNavigator::_setCameraFrame(const float up[3], const float view[3], const float from[3],
                                        const float at[3], int frameFlags, int lockedAxis) {
    KRAV_TRACE("CViewNavigator::_setCameraFrame");
    if (!up || !view || !from || !at) return E_POINTER;
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return hr;
    // The (unit) view vector is applied at the distance of the points, so a
    // re-aimed camera keeps its distance from what it looks at.
    float distance = s_distance(from, at);
    if (!(distance > 0.0f)) distance = 1.0f;
    const float v[3] = {view[0] * distance, view[1] * distance, view[2] * distance};
    if (frameFlags & 1) {
        if (FAILED(hr = host.camera->SetPosition(from[0], from[1], from[2]))) return hr;
        if (frameFlags & 4)
            hr = host.camera->SetTarget(from[0] + v[0], from[1] + v[1], from[2] + v[2]);
        else if (frameFlags & 2)
            hr = host.camera->SetTarget(at[0], at[1], at[2]);
    } else if (frameFlags & 4) {
        float t[3];
        if (FAILED(hr = host.camera->GetTarget(&t[0], &t[1], &t[2]))) return hr;
        hr = host.camera->SetPosition(t[0] - v[0], t[1] - v[1], t[2] - v[2]);
    } else if (frameFlags & 2) {
        if (FAILED(hr = host.camera->SetPosition(at[0] - v[0], at[1] - v[1], at[2] - v[2])))
            return hr;
        hr = host.camera->SetTarget(at[0], at[1], at[2]);
    }
    if (FAILED(hr)) return hr;
    // A locked up direction is never overwritten by a view.
    if (lockedAxis == 0) hr = host.camera->SetUpVector(up[0], up[1], up[2]);
    return FAILED(hr) ? hr : S_OK;
}

// ---------------------------------------------------------------------------
// Applying and reading views

HRESULT CViewNavigator::GetViewInfo(FullViewInfo* pViewInfo) {
    KRAV_TRACE("CViewNavigator::GetViewInfo");
    if (!pViewInfo) return E_POINTER;
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return hr;
    FullViewInfo& r = *pViewInfo;
    CLSID cls{};
    if (FAILED(hr = host.camera->GetUpVector(&r.pUpVector[0], &r.pUpVector[1], &r.pUpVector[2])))
        return hr;
    if (FAILED(
            hr = host.camera->GetPosition(&r.pFromVector[0], &r.pFromVector[1], &r.pFromVector[2])))
        return hr;
    if (FAILED(hr = host.camera->GetTarget(&r.pAtVector[0], &r.pAtVector[1], &r.pAtVector[2])))
        return hr;
    for (int i = 0; i < 3; ++i)
        r.pViewVector[i] = r.pAtVector[i] - r.pFromVector[i];
    if (FAILED(hr = host.projection->GetClassId(&cls))) return hr;
    r.cameraType = cls == CLSID_HostOrthographicProjection ? Orthographic : Perspective;
    return _getCameraFOV(&r.viewAngle);
}

HRESULT CViewNavigator::SetViewInfo(FullViewInfo* pViewInfo) {
    KRAV_TRACE("CViewNavigator::SetViewInfo");
    if (!pViewInfo) return E_POINTER;
    FullViewInfo& info = *pViewInfo;
    krav::NormalizeVector(info.pViewVector);

    int locked = 0;
    HRESULT hr = _getLockedUpAxis(&locked);
    if (FAILED(hr)) return hr;
    if (locked >= 1 && locked <= 3) {
        float a[3] = {std::fabs(info.pViewVector[0]), std::fabs(info.pViewVector[1]),
                      std::fabs(info.pViewVector[2])};
        float unit[3] = {0, 0, 0};
        unit[locked - 1] = 1.0f;
        if (krav::FloatsEqual(a[0], unit[0]) && krav::FloatsEqual(a[1], unit[1]) &&
            krav::FloatsEqual(a[2], unit[2])) {
            _showMessage(krav::IDS_LOCKED_UP_VECTOR);
            return S_FALSE;
        }
    }

    const int bits = info.iChangeBits;
    float clipping[4] = {0, 0, 0, 0};
    if (bits & ViewChangeCameraType) {
        if (FAILED(hr = _getCameraClippingMatrix(clipping))) return hr;
        if (FAILED(hr = _setCameraType(Perspective))) return hr;
    }
    float previousAngle = kFrameAngle;
    if (FAILED(hr = _getCameraFOV(&previousAngle))) return hr;
    if (FAILED(hr = _setCameraFOV(kFrameAngle))) return hr;

    int frameFlags = 0;
    if (bits & ViewChangeFromPoint) frameFlags |= 1;
    if (bits & ViewChangeViewVector) frameFlags |= 4;
    if (bits & ViewChangeAtPoint) frameFlags |= 2;

    const float* from = info.pFromVector;
    const float* at = info.pAtVector;
    FullViewInfo live;
    if (!info.bHasFromAndAt) {
        if (FAILED(hr = GetViewInfo(&live))) return hr;
        from = live.pFromVector;
        at = live.pAtVector;
    }
    if (FAILED(hr =
                   _setCameraFrame(info.pUpVector, info.pViewVector, from, at, frameFlags, locked)))
        return hr;

    if ((bits & ViewChangeCameraType) && info.cameraType == Orthographic) {
        if (FAILED(hr = _setCameraType(Orthographic))) return hr;
        if (FAILED(hr = _setCameraClippingMatrix(clipping))) return hr;
    } else {
        if (FAILED(
                hr = _setCameraFOV((bits & ViewChangeViewAngle) ? info.viewAngle : previousAngle)))
            return hr;
    }
    for (int i = 0; i < 3; ++i)
        m_aligned[i] = static_cast<int>(std::fabs(info.pViewVector[i]));
    return RefreshView();
}

HRESULT CViewNavigator::SetView(float pUpVector[3], float pViewVector[3],
                                CameraTypeEnum cameraType) {
    KRAV_TRACE("CViewNavigator::SetView");
    if (!pUpVector || !pViewVector) return E_INVALIDARG;
    FullViewInfo info;
    HRESULT hr = GetViewInfo(&info);
    if (FAILED(hr)) return hr;
    std::memcpy(info.pUpVector, pUpVector, sizeof info.pUpVector);
    std::memcpy(info.pViewVector, pViewVector, sizeof info.pViewVector);
    info.cameraType = cameraType;
    info.bHasFromAndAt = 0;
    return SetViewInfo(&info);
}

HRESULT CViewNavigator::SetViewExt(float pUpVector[3], float pViewVector[3],
                                   CameraTypeEnum cameraType, float pFromVector[3],
                                   float pAtVector[3], float viewAngle, int iChangeBits) {
    KRAV_TRACE("CViewNavigator::SetViewExt");
    if (!pUpVector || !pViewVector || !pFromVector || !pAtVector) return E_INVALIDARG;
    FullViewInfo info;
    std::memcpy(info.pUpVector, pUpVector, sizeof info.pUpVector);
    std::memcpy(info.pViewVector, pViewVector, sizeof info.pViewVector);
    std::memcpy(info.pFromVector, pFromVector, sizeof info.pFromVector);
    std::memcpy(info.pAtVector, pAtVector, sizeof info.pAtVector);
    info.cameraType = cameraType;
    info.viewAngle = viewAngle;
    info.iChangeBits = iChangeBits;
    info.bHasFromAndAt = 1;
    return SetViewInfo(&info);
}

// ---------------------------------------------------------------------------
// Axis alignment

HRESULT CViewNavigator::_constructVectors_Isometric(AxisEnum axis, float up[3], float view[3]) {
    KRAV_TRACE("CViewNavigator::_constructVectors_Isometric");
    if (!up || !view) return E_POINTER;
    std::fill(up, up + 3, 0.0f);
    std::fill(view, view + 3, 0.0f);
    // Exact bit patterns: the shipped isometric direction, neither unit
    // length nor symmetric (x is -200.517, not -200.55).
    auto f = [](uint32_t bits) { return std::bit_cast<float>(bits); };
    const float c = f(0x3ED108C4), z = f(0x3F510481), y = f(0x43488CCD), x = f(0xC348845A);
    if (axis == PositiveIsometric) {
        const float u[3] = {-c, c, z}, v[3] = {x, y, -y};
        std::copy(u, u + 3, up);
        std::copy(v, v + 3, view);
        return S_OK;
    }
    if (axis == NegativeIsometric) {
        const float u[3] = {c, c, -z}, v[3] = {x, -y, -y};
        std::copy(u, u + 3, up);
        std::copy(v, v + 3, view);
        return S_OK;
    }
    return E_INVALIDARG;
}

HRESULT CViewNavigator::_setCameraOrientation(const float up[3], const float view[3],
                                              bool keepTarget) {
    KRAV_TRACE("CViewNavigator::_setCameraOrientation");
    if (!up || !view) return E_POINTER;
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return hr;
    float focal = 1.0f;
    if (FAILED(hr = host.control->GetFocalDistance(&focal))) return hr;
    float p[3];
    if (keepTarget) {
        if (FAILED(hr = host.camera->GetTarget(&p[0], &p[1], &p[2]))) return hr;
        hr = host.camera->SetPosition(p[0] - view[0], p[1] - view[1], p[2] - view[2]);
    } else {
        if (FAILED(hr = host.camera->GetPosition(&p[0], &p[1], &p[2]))) return hr;
        hr = host.camera->SetTarget(p[0] + view[0], p[1] + view[1], p[2] + view[2]);
    }
    if (FAILED(hr)) return hr;
    if (FAILED(hr = host.control->SetFocalDistance(focal))) return hr;
    return host.camera->SetUpVector(up[0], up[1], up[2]);
}

HRESULT CViewNavigator::AlignToAxis(AxisEnum axis) {
    KRAV_TRACE("CViewNavigator::AlignToAxis");
    if (axis < PositiveX || axis > NegativeIsometric) return E_INVALIDARG;
    float up[3] = {1, 0, 0}, view[3] = {0, 0, 1};
    HRESULT hr;
    if (axis == PositiveIsometric || axis == NegativeIsometric) {
        if (FAILED(hr = _constructVectors_Isometric(axis, up, view))) return hr;
    } else {
        const auto it = m_upAxis.find(axis);
        if (it == m_upAxis.end() || !s_unitAxis(it->second, up)) return E_INVALIDARG;
        s_unitAxis(axis, view);
    }
    if (FAILED(hr = _setCameraOrientation(up, view, true))) return hr;
    Host host;
    if (FAILED(hr = s_host(m_site, host, false))) return hr;
    return host.view->Redraw();
}

HRESULT CViewNavigator::SetUpAxisForAxisAlignment(AxisEnum axisOfAlignment, AxisEnum upAxis) {
    KRAV_TRACE("CViewNavigator::SetUpAxisForAxisAlignment");
    if (!s_isAxis(axisOfAlignment) || !s_isAxis(upAxis)) return E_INVALIDARG;
    if (axisOfAlignment / 2 == upAxis / 2) return E_INVALIDARG; // on the same line
    const auto it = m_upAxis.find(axisOfAlignment);
    if (it == m_upAxis.end()) return E_FAIL;
    it->second = upAxis;
    return S_OK;
}

HRESULT CViewNavigator::GetUpAxisForAxisAlignment(AxisEnum axisOfAlignment, AxisEnum* pUpAxis) {
    KRAV_TRACE("CViewNavigator::GetUpAxisForAxisAlignment");
    if (!s_isAxis(axisOfAlignment)) return E_INVALIDARG;
    const auto it = m_upAxis.find(axisOfAlignment);
    if (it == m_upAxis.end()) return E_INVALIDARG;
    if (!pUpAxis) return E_POINTER;
    *pUpAxis = it->second;
    return S_OK;
}

// ---------------------------------------------------------------------------
// Stepped moves

HRESULT CViewNavigator::SetAngleOfRotation(float angle) {
    KRAV_TRACE("CViewNavigator::SetAngleOfRotation");
    m_angleOfRotation = angle;
    return S_OK;
}

HRESULT CViewNavigator::GetAngleOfRotation(float* pAngle) {
    KRAV_TRACE("CViewNavigator::GetAngleOfRotation");
    if (!pAngle) return E_POINTER;
    *pAngle = m_angleOfRotation;
    return S_OK;
}

HRESULT CViewNavigator::SetDistOfTranslation(float dist) {
    KRAV_TRACE("CViewNavigator::SetDistOfTranslation");
    m_distOfTranslation = dist;
    return S_OK;
}

HRESULT CViewNavigator::GetDistOfTranslation(float* pDist) {
    KRAV_TRACE("CViewNavigator::GetDistOfTranslation");
    if (!pDist) return E_POINTER;
    *pDist = m_distOfTranslation;
    return S_OK;
}

HRESULT CViewNavigator::RotateAroundAxis(AxisEnum axis) {
    KRAV_TRACE("CViewNavigator::RotateAroundAxis");
    if (!s_isAxis(axis)) return E_INVALIDARG;
    return static_cast<IViewNavigator*>(this)->RotateAroundAxisByAngle(axis, m_angleOfRotation);
}

HRESULT CViewNavigator::TranslateAlongAxis(AxisEnum axis) {
    KRAV_TRACE("CViewNavigator::TranslateAlongAxis");
    if (!s_isAxis(axis)) return E_INVALIDARG;
    return static_cast<IViewNavigator*>(this)->TranslateAlongAxisByDist(axis, m_distOfTranslation);
}

HRESULT CViewNavigator::RotateAroundAxisByAngle(AxisEnum axis, float angle) {
    KRAV_TRACE("CViewNavigator::RotateAroundAxisByAngle");
    float a[3];
    if (!s_unitAxis(axis, a)) return E_INVALIDARG; // isometric: no host call
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return E_FAIL;
    if (FAILED(hr = host.control->RotateCamera(a[0], a[1], a[2], angle))) return hr;
    return host.view->Redraw();
}

HRESULT CViewNavigator::TranslateAlongAxisByDist(AxisEnum axis, float dist) {
    KRAV_TRACE("CViewNavigator::TranslateAlongAxisByDist");
    float a[3];
    if (!s_unitAxis(axis, a)) return E_INVALIDARG; // isometric: no host call
    Host host;
    HRESULT hr = s_host(m_site, host);
    if (FAILED(hr)) return E_FAIL;
    if (FAILED(hr = host.control->TranslateCamera(a[0] * dist, a[1] * dist, a[2] * dist)))
        return hr;
    return host.view->Redraw();
}

// ---------------------------------------------------------------------------
// Listeners

HRESULT CViewNavigator::RegisterInterest(IViewNavigatorSink* pSink) {
    KRAV_TRACE("CViewNavigator::RegisterInterest");
    if (!pSink) return E_POINTER;
    if (std::find(m_sinks.begin(), m_sinks.end(), pSink) != m_sinks.end()) return S_FALSE;
    return zul::com::firewall([&]() -> HRESULT {
        m_sinks.push_back(pSink);
        pSink->AddRef();
        FullViewInfo info;
        const HRESULT hr = GetViewInfo(&info);
        if (FAILED(hr)) return hr;
        pSink->NotifyViewChanged(info);
        return S_OK;
    });
}

HRESULT CViewNavigator::UnregisterInterest(IViewNavigatorSink* pSink) {
    KRAV_TRACE("CViewNavigator::UnregisterInterest");
    if (!pSink) return E_POINTER;
    const auto it = std::find(m_sinks.begin(), m_sinks.end(), pSink);
    if (it == m_sinks.end()) return S_FALSE;
    m_sinks.erase(it);
    pSink->Release();
    return S_OK;
}

void CViewNavigator::_notifyAll(bool preDraw) {
    KRAV_TRACE("CViewNavigator::_notifyAll");
    // A copy, so a listener may register or unregister others meanwhile.
    std::vector<IViewNavigatorSink*> sinks = m_sinks;
    for (IViewNavigatorSink* s : sinks)
        s->AddRef();
    for (IViewNavigatorSink* s : sinks) {
        if (preDraw) {
            s->NotifyViewPreDraw();
        } else {
            FullViewInfo info;
            if (SUCCEEDED(GetViewInfo(&info))) s->NotifyViewChanged(info);
        }
    }
    for (IViewNavigatorSink* s : sinks)
        s->Release();
}

HRESULT CViewNavigator::RefreshView() {
    KRAV_TRACE("CViewNavigator::RefreshView");
    Host host;
    const HRESULT hr = s_host(m_site, host, false);
    return FAILED(hr) ? hr : host.view->Redraw();
}

HRESULT CViewNavigator::RefreshUI() {
    KRAV_TRACE("CViewNavigator::RefreshUI");
    return zul::com::firewall([&] {
        _notifyAll(false);
        return S_OK;
    });
}

HRESULT CViewNavigator::OnCameraChanged(DWORD flags) {
    KRAV_TRACE("CViewNavigator::OnCameraChanged");
    if (flags & 0x4) return S_OK;
    return zul::com::firewall([&]() -> HRESULT {
        _notifyAll(false);
        _notifyAll(true);
        int locked = 0;
        if (SUCCEEDED(_getLockedUpAxis(&locked)) && locked != s_lastLockedAxis) {
            s_lastLockedAxis = locked;
            if (auto owner = m_site.query<IViewNavigatorOwner>()) owner->UpdateLockedVec(locked);
        }
        // The alignment integers name the axis the camera looked along when a
        // view was last applied; once the camera looks elsewhere (it was
        // turned in the host) they no longer say anything and are cleared.
        FullViewInfo live;
        if (SUCCEEDED(GetViewInfo(&live))) {
            krav::NormalizeVector(live.pViewVector);
            for (int i = 0; i < 3; ++i) {
                if (static_cast<int>(std::fabs(live.pViewVector[i])) != m_aligned[i]) {
                    m_aligned[0] = m_aligned[1] = m_aligned[2] = 0;
                    break;
                }
            }
        }
        return S_OK;
    });
}

// ---------------------------------------------------------------------------
// The Rotate and Transform dialog

HRESULT CViewNavigator::SetDialog(IViewNavigatorDialog* pDialog) {
    KRAV_TRACE("CViewNavigator::SetDialog");
    m_dialog = zul::com::ComPtr<IViewNavigatorDialog>(pDialog);
    return S_OK;
}

HRESULT CViewNavigator::DlgSetup(IViewManager* pIViewManager) {
    KRAV_TRACE("CViewNavigator::DlgSetup");
    return m_dialog ? m_dialog->Setup(pIViewManager) : E_FAIL;
}

HRESULT CViewNavigator::DlgSetViewEditButtonState(int bUpOrDown) {
    KRAV_TRACE("CViewNavigator::DlgSetViewEditButtonState");
    return m_dialog ? m_dialog->SetViewEditButtonState(bUpOrDown) : E_FAIL;
}

HRESULT CViewNavigator::DlgShow(int bShow) {
    KRAV_TRACE("CViewNavigator::DlgShow");
    return m_dialog ? m_dialog->Show(bShow) : E_FAIL;
}

HRESULT CViewNavigator::DlgIsShowing(int* pbShow) {
    KRAV_TRACE("CViewNavigator::DlgIsShowing");
    if (!pbShow) return E_POINTER;
    *pbShow = 0;
    return m_dialog ? m_dialog->IsShowing(pbShow) : S_OK;
}
