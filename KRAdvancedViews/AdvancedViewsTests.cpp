#include "AdvancedViewsTests.h"

#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <string>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/host/IHostUIService.h"
#include "KRAdvancedViews/host/IHostView.h"
#include "Trace.h"
#include "ViewInfo.h"
#include "ViewManager.h"
#include "ViewNavigator.h"
#include "resources/StringTable.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/Transaction.h"

namespace {

using zul::com::ComPtr;

// The sample model: a box the checks look at, away from the origin so that
// a camera that ignores the points cannot pass by chance.
constexpr float kBoxMin[3] = {-2.0f, -1.0f, 0.0f}, kBoxMax[3] = {6.0f, 3.0f, 4.0f};
constexpr const char* kViewName = "Self-test view";

// The site the checked objects get: the host's 3D view, and a message sink
// that keeps the last message instead of showing it, so that a failing check
// can say what the user would have been told.
class CCheckSite final : public IHostUIService {
public:
    explicit CCheckSite(IHostApplication* app) : app_(app) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        if (iid == IID_IUnknown || iid == IID_IHostUIService) {
            *ppv = static_cast<IHostUIService*>(this);
            AddRef();
            return S_OK;
        }
        if (iid == zul::com::iidOf<IHostApplication>()) return app_->QueryInterface(iid, ppv);
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --refs_;
        if (n == 0) delete this;
        return n;
    }
    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char*, UINT,
                                          int* pResult) override {
        lastMessage = text ? text : "";
        if (pResult) *pResult = 1; // IDOK
        return S_OK;
    }

    std::string lastMessage;

private:
    std::atomic<ULONG> refs_{1};
    ComPtr<IHostApplication> app_;
};

std::string s_vec(const float v[3]) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "(%g, %g, %g)", v[0], v[1], v[2]);
    return buf;
}

std::string s_status(HRESULT hr) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08X", static_cast<unsigned>(hr));
    return buf;
}

// Points are compared to a thousandth of the box's size: the camera model
// computes in float.
bool s_near(const float a[3], const float b[3]) {
    for (int i = 0; i < 3; ++i)
        if (std::fabs(a[i] - b[i]) > 1e-2f) return false;
    return true;
}

struct Camera {
    ComPtr<IHostView3D> view;
    ComPtr<IHostCamera> camera;
    HRESULT open(IHostApplication* app) {
        HRESULT hr = app->GetActiveView3D(view.GetAddressOf());
        if (FAILED(hr) || !view) return FAILED(hr) ? hr : E_FAIL;
        hr = view->GetCamera(camera.GetAddressOf());
        return FAILED(hr) || !camera ? (FAILED(hr) ? hr : E_FAIL) : S_OK;
    }
    bool read(float eye[3], float target[3]) {
        return SUCCEEDED(camera->GetPosition(&eye[0], &eye[1], &eye[2])) &&
               SUCCEEDED(camera->GetTarget(&target[0], &target[1], &target[2]));
    }
};

// Everything of the host camera a check can change, to put it back after.
struct CameraState {
    float eye[3], target[3], up[3], viewHeight, clipping[4], focal;
    CLSID projection;
    bool saved = false;

    void save(IHostView3D* view) {
        ComPtr<IHostCamera> camera;
        ComPtr<IHostCameraProjection> proj;
        ComPtr<IHostViewControl> control;
        saved = SUCCEEDED(view->GetCamera(camera.GetAddressOf())) && camera &&
                SUCCEEDED(view->GetCameraProjection(proj.GetAddressOf())) && proj &&
                SUCCEEDED(view->GetViewControl(control.GetAddressOf())) && control &&
                SUCCEEDED(camera->GetPosition(&eye[0], &eye[1], &eye[2])) &&
                SUCCEEDED(camera->GetTarget(&target[0], &target[1], &target[2])) &&
                SUCCEEDED(camera->GetUpVector(&up[0], &up[1], &up[2])) &&
                SUCCEEDED(proj->GetClassId(&projection)) &&
                SUCCEEDED(proj->GetViewHeight(&viewHeight)) &&
                SUCCEEDED(proj->GetClippingMatrix(clipping)) &&
                SUCCEEDED(control->GetFocalDistance(&focal));
    }
    void restore(IHostView3D* view) const {
        if (!saved) return;
        ComPtr<IHostCamera> camera;
        ComPtr<IHostCameraProjection> proj;
        ComPtr<IHostViewControl> control;
        view->SetProjectionClass(projection);
        if (SUCCEEDED(view->GetCamera(camera.GetAddressOf())) && camera) {
            camera->SetTarget(target[0], target[1], target[2]);
            camera->SetPosition(eye[0], eye[1], eye[2]);
            camera->SetUpVector(up[0], up[1], up[2]);
        }
        if (SUCCEEDED(view->GetViewControl(control.GetAddressOf())) && control)
            control->SetFocalDistance(focal);
        if (SUCCEEDED(view->GetCameraProjection(proj.GetAddressOf())) && proj) {
            proj->SetViewHeight(viewHeight);
            proj->SetClippingMatrix(clipping);
        }
        view->Redraw();
    }
};

} // namespace

HRESULT CAdvancedViewsTests::RunTests(IUnknown* host, IHostTestResults* results) {
    KRAV_TRACE("CAdvancedViewsTests::RunTests");
    if (!host || !results) return E_POINTER;
    int failed = 0;
    bool stop = false;
    auto report = [&](const char* check, const std::string& reason) {
        failed += !reason.empty();
        if (FAILED(results->Report(check, reason.empty(), reason.c_str()))) stop = true;
    };

    ComPtr<IHostApplication> app;
    Camera cam;
    if (FAILED(host->QueryInterface(zul::com::iidOf<IHostApplication>(),
                                    reinterpret_cast<void**>(app.GetAddressOf()))) ||
        FAILED(cam.open(app.Get()))) {
        report("host", "the host has no 3D view with a camera");
        return S_FALSE;
    }

    // A scratch copy of the user's registry branch: HKEY_CURRENT_USER stands
    // for an empty key while the checks run, and the transaction around it
    // is never committed.
    zul::registry::Transaction scratch;
    HKEY scratchKey = nullptr;
    LSTATUS st =
        RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\AdvancedViewsSelfTest", 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &scratchKey, nullptr);
    if (st == ERROR_SUCCESS)
        RegDeleteTreeA(scratchKey, nullptr); // left by nothing but a foreign writer
    if (st != ERROR_SUCCESS ||
        RegOverridePredefKey(HKEY_CURRENT_USER, scratchKey) != ERROR_SUCCESS) {
        if (scratchKey) RegCloseKey(scratchKey);
        report("scratch registry",
               "the user registry cannot be written (status " + std::to_string(st) + ")");
        return S_FALSE;
    }
    struct Restore {
        HKEY key;
        ~Restore() {
            RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
            RegCloseKey(key);
        }
    } restoreRegistry{scratchKey};

    auto* site = new CCheckSite(app.Get());
    ComPtr<IUnknown> siteRef;
    siteRef.Attach(static_cast<IHostUIService*>(site));
    ComPtr<IViewManager2> store;
    ComPtr<IViewNavigator2> nav;
    if (FAILED(zul::com::createInstance<CViewManager>(
            nullptr, zul::com::iidOf<IViewManager2>(),
            reinterpret_cast<void**>(store.GetAddressOf()))) ||
        FAILED(zul::com::createInstance<CViewNavigator>(
            nullptr, zul::com::iidOf<IViewNavigator2>(),
            reinterpret_cast<void**>(nav.GetAddressOf())))) {
        report("objects", "a view store and a navigator cannot be made");
        return S_FALSE;
    }
    ComPtr<IObjectWithSite> storeSite, navSite;
    store.As(storeSite);
    nav.As(navSite);
    storeSite->SetSite(siteRef.Get());
    navSite->SetSite(siteRef.Get());
    store->BindViewNavigator(nav.Get());

    CameraState saved;
    saved.save(cam.view.Get());
    struct Teardown {
        std::function<void()> f;
        ~Teardown() { f(); }
    } teardown{[&] {
        saved.restore(cam.view.Get());
        store->BindViewNavigator(nullptr);
        storeSite->SetSite(nullptr);
        navSite->SetSite(nullptr);
    }};

    // 1. A new store holds the eight standard views, in order.
    {
        const char* names[8] = {"+X",
                                "+Y",
                                "+Z",
                                "-X",
                                "-Y",
                                "-Z",
                                krav::LoadModuleString(krav::IDS_POSITIVE_ISOMETRIC),
                                krav::LoadModuleString(krav::IDS_NEGATIVE_ISOMETRIC)};
        std::string reason;
        for (int i = 0; i < 8 && reason.empty(); ++i) {
            FullViewInfo info;
            const HRESULT hr = store->GetViewInfo(names[i], &info);
            if (hr != S_OK)
                reason = std::string("view '") + names[i] + "' is missing (" + s_status(hr) + ")";
            else if (info.iViewIndex != i + 1)
                reason = std::string("view '") + names[i] + "' has index " +
                         std::to_string(info.iViewIndex) + ", not " + std::to_string(i + 1);
        }
        FullViewInfo x;
        if (reason.empty() && (store->GetViewInfo("+X", &x) != S_OK || !(x.pViewVector[0] > 0) ||
                               x.pViewVector[1] != 0 || x.pViewVector[2] != 0))
            reason = "view '+X' does not look along +X";
        report("standard views", reason);
    }
    if (stop) return S_FALSE;

    // 2. A view created and applied puts the camera at its points.
    FullViewInfo created;
    {
        const float centre[3] = {(kBoxMin[0] + kBoxMax[0]) / 2, (kBoxMin[1] + kBoxMax[1]) / 2,
                                 (kBoxMin[2] + kBoxMax[2]) / 2};
        const float from[3] = {centre[0] + 20.0f, centre[1] - 30.0f, centre[2] + 10.0f};
        for (int i = 0; i < 3; ++i) {
            created.pFromVector[i] = from[i];
            created.pAtVector[i] = centre[i];
            created.pViewVector[i] = centre[i] - from[i];
        }
        const float up[3] = {0, 0, 1};
        std::copy(up, up + 3, created.pUpVector);
        created.cameraType = Perspective;
        created.viewAngle = 40.0f;
        created.bHasFromAndAt = 1;
        created.iChangeBits = ViewChangeViewVector | ViewChangeAtPoint | ViewChangeFromPoint |
                              ViewChangeCameraType | ViewChangeViewAngle;
        std::string reason;
        site->lastMessage.clear();
        HRESULT hr = store->CreateViewInfo(kViewName, created);
        float eye[3] = {}, target[3] = {};
        if (hr != S_OK)
            reason = "the view cannot be created (" + s_status(hr) + ")";
        else if ((hr = store->ShowView(kViewName)) != S_OK)
            reason = "the view cannot be applied (" + s_status(hr) + ")" +
                     (site->lastMessage.empty() ? "" : ": " + site->lastMessage);
        else if (!cam.read(eye, target))
            reason = "the camera cannot be read";
        else if (!s_near(eye, from) || !s_near(target, centre))
            reason = "the camera is at " + s_vec(eye) + " looking at " + s_vec(target) +
                     ", not at " + s_vec(from) + " looking at " + s_vec(centre);
        if (reason.empty()) store->GetViewInfo(kViewName, &created);
        report("create and apply a view", reason);
    }
    if (stop) return S_FALSE;

    // 3. Aligning to +X turns the camera about its target to look along +X.
    {
        std::string reason;
        float before[3] = {}, eye[3] = {}, target[3] = {};
        HRESULT hr = S_OK;
        site->lastMessage.clear();
        if (!cam.read(eye, before))
            reason = "the camera cannot be read";
        else if ((hr = nav->AlignToAxis(PositiveX)) != S_OK)
            reason = "the camera cannot be aligned (" + s_status(hr) + ")" +
                     (site->lastMessage.empty() ? "" : ": " + site->lastMessage);
        else if (!cam.read(eye, target))
            reason = "the camera cannot be read";
        else {
            float dir[3] = {target[0] - eye[0], target[1] - eye[1], target[2] - eye[2]};
            krav::NormalizeVector(dir);
            const float x[3] = {1, 0, 0};
            if (!s_near(dir, x))
                reason = "the camera looks along " + s_vec(dir) + ", not +X";
            else if (!s_near(target, before))
                reason = "the target moved from " + s_vec(before) + " to " + s_vec(target);
        }
        report("align to +X", reason);
    }
    if (stop) return S_FALSE;

    // 4. Views saved to a file and loaded back are the views saved, in both formats.
    const char* tmp = std::getenv("TMPDIR");
    std::string dirPath = std::string(tmp && *tmp ? tmp : "/tmp") + "/krav-selftest-XXXXXX";
    if (!mkdtemp(dirPath.data())) {
        report("file round trip", "no temporary folder can be made");
        return S_FALSE;
    }
    for (FileTypeEnum type : {TextFile, RegistryFile}) {
        const std::string file = dirPath + (type == TextFile ? "/views.qjv" : "/views.reg");
        std::string reason, mismatch;
        FullViewInfo back;
        site->lastMessage.clear();
        HRESULT hr = store->SaveViewsExt(file.c_str(), type);
        if (hr != S_OK)
            reason = "the views cannot be saved (" + s_status(hr) + ")";
        else if ((hr = store->DestroyViewExt(kViewName)) != S_OK)
            reason = "the view cannot be deleted (" + s_status(hr) + ")";
        else if ((hr = store->LoadViewsExt(file.c_str(), type)) != S_OK)
            reason = "the file cannot be loaded (" + s_status(hr) + ")" +
                     (site->lastMessage.empty() ? "" : ": " + site->lastMessage);
        else if ((hr = store->GetViewInfo(kViewName, &back)) != S_OK)
            reason = "the view did not come back from the file";
        else if (!krav::CompareViewInfo(created, back, &mismatch))
            reason = "the view came back changed: " + mismatch;
        ::unlink(file.c_str());
        report(type == TextFile ? "view file round trip" : "registry file round trip", reason);
        if (stop) break;
    }
    ::rmdir(dirPath.c_str());
    return failed ? S_FALSE : S_OK;
}
