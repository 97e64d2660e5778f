#include <bit>
#include <cmath>

#include "ComTest.h"
#include "RecordingSink.h"
#include "TempHive.h"
#include "TestHost.h"
#include "ViewManager.h"
#include "ViewNavigator.h"
#include "zul/com/ComPtr.h"

using krav::test::CTestHost;
using zul::com::ComPtr;
using zul::test::make;

namespace {

// Records navigator notifications; may unregister itself on the first change.
class CNavSink : public zul::com::ObjectRoot, public IViewNavigatorSink {
public:
    ZUL_BEGIN_INTERFACE_MAP(CNavSink)
    ZUL_INTERFACE_ENTRY(IViewNavigatorSink)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN
    std::vector<std::string> events;
    IViewNavigator* quitFrom = nullptr;
    HRESULT STDMETHODCALLTYPE NotifyViewChanged(FullViewInfo info) override {
        events.push_back("Changed(" + std::to_string(int(std::lround(info.pFromVector[0]))) + ")");
        if (quitFrom) quitFrom->UnregisterInterest(this);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE NotifyViewPreDraw() override {
        events.push_back("PreDraw");
        return S_OK;
    }
};

ULONG refsOf(IUnknown* p) {
    p->AddRef();
    return p->Release();
}

bool near(const float a[3], float x, float y, float z, float tol = 1e-4f) {
    return std::fabs(a[0] - x) <= tol && std::fabs(a[1] - y) <= tol && std::fabs(a[2] - z) <= tol;
}

} // namespace

class Navigator : public ::testing::Test {
protected:
    void SetUp() override {
        host = make<CTestHost, IHostApplication>();
        nav = make<CViewNavigator, IViewNavigator2>();
        static_cast<IObjectWithSite*>(nav.Get())->SetSite(
            static_cast<IHostApplication*>(host.Get()));
        EXPECT_EQ(host->calls, std::vector<std::string>{"Advise"})
            << "the site's view events are followed at once";
        host->calls.clear();
    }
    void TearDown() override { static_cast<IObjectWithSite*>(nav.Get())->SetSite(nullptr); }

    FullViewInfo view(float x, float y, float z, int bits) {
        FullViewInfo r;
        r.pViewVector[0] = x;
        r.pViewVector[1] = y;
        r.pViewVector[2] = z;
        r.iChangeBits = bits;
        return r;
    }

    ComPtr<CTestHost> host;
    ComPtr<CViewNavigator> nav;
};

TEST_F(Navigator, AViewAlongTheLockedUpAxisIsRefused) {
    host->upLocked = 1; // up is (0, 1, 0): Y is locked
    FullViewInfo r = view(0, -2, 0, 0x212);
    EXPECT_EQ(nav->SetViewInfo(&r), S_FALSE);
    EXPECT_EQ(host->messages,
              std::vector<std::string>{
                  "Unable to apply this view based on the currently locked up vector."});
    EXPECT_TRUE(host->calls.empty()) << "the camera is not touched";

    r = view(0.0001f, 1, 0, 0x2);
    r.pUpVector[0] = 1;
    EXPECT_EQ(nav->SetViewInfo(&r), S_OK);
    EXPECT_EQ(host->count("SetUpVector"), 0) << "a locked up vector is never overwritten";
    EXPECT_TRUE(near(host->up, 0, 1, 0));
    EXPECT_EQ(host->count("Redraw"), 1);
}

TEST_F(Navigator, ChangeBitsChooseWhatTheFrameApplies) {
    struct Case {
        int bits;
        float eye[3], target[3];
    };
    // Points from (1, 2, 3) to (1, 2, 13): distance 10; view (1, 0, 0).
    const Case cases[] = {
        {0x20 | 0x4, {1, 2, 3}, {1, 2, 13}}, // from and at
        {0x20 | 0x2, {1, 2, 3}, {11, 2, 3}}, // from, then along the view at the points' distance
        {0x2, {-10, 0, 0}, {0, 0, 0}},       // target stays, eye behind it
        {0x4, {-9, 2, 13}, {1, 2, 13}},      // at, eye behind it
        {0x0, {0, 0, 100}, {0, 0, 0}},       // nothing but the up vector
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bits);
        host->eye[0] = 0, host->eye[1] = 0, host->eye[2] = 100;
        host->target[0] = host->target[1] = host->target[2] = 0;
        FullViewInfo r = view(5, 0, 0, c.bits);
        r.pFromVector[0] = 1, r.pFromVector[1] = 2, r.pFromVector[2] = 3;
        r.pAtVector[0] = 1, r.pAtVector[1] = 2, r.pAtVector[2] = 13;
        r.pUpVector[0] = 0, r.pUpVector[1] = 0, r.pUpVector[2] = 1;
        ASSERT_EQ(nav->SetViewInfo(&r), S_OK);
        EXPECT_TRUE(near(host->eye, c.eye[0], c.eye[1], c.eye[2]))
            << host->eye[0] << " " << host->eye[1] << " " << host->eye[2];
        EXPECT_TRUE(near(host->target, c.target[0], c.target[1], c.target[2]));
        EXPECT_TRUE(near(host->up, 0, 0, 1));
        EXPECT_EQ(nav->alignedAxis()[0], 1) << "the axis the view looks along";
    }
    // SetView keeps the eye's distance from the target.
    host->eye[0] = 0, host->eye[1] = 0, host->eye[2] = 100;
    float up[3] = {0, 0, 1}, dir[3] = {1, 0, 0};
    ASSERT_EQ(nav->SetView(up, dir, Perspective), S_OK);
    EXPECT_TRUE(near(host->target, 0, 0, 0));
    EXPECT_TRUE(near(host->eye, -100, 0, 0));
    float from[3] = {0, 0, 0};
    EXPECT_EQ(nav->SetViewExt(up, dir, Perspective, from, nullptr, 28, 0), E_INVALIDARG);
    EXPECT_EQ(nav->SetViewInfo(nullptr), E_POINTER);
}

TEST_F(Navigator, TypeSwitchKeepsClippingAndTheAngle) {
    const float before = host->angle(); // 30 degrees
    // Without 0x2000 the angle the camera had comes back, though the frame was set at 28.
    FullViewInfo r = view(0, 0, -1, 0x2);
    ASSERT_EQ(nav->SetViewInfo(&r), S_OK);
    EXPECT_NEAR(host->angle(), before, 1e-3);
    EXPECT_GE(host->count("SetFieldOfView(28)"), 1);
    // With 0x2000 the record's angle.
    r = view(0, 0, -1, 0x2 | 0x2000);
    r.viewAngle = 45;
    ASSERT_EQ(nav->SetViewInfo(&r), S_OK);
    EXPECT_NEAR(host->angle(), 45, 1e-3);

    // 0x200 with Orthographic: ends orthographic with its clipping values.
    host->perspective = false;
    host->clipping[0] = -77;
    r = view(0, 0, -1, 0x200 | 0x2);
    r.cameraType = Orthographic;
    host->calls.clear();
    ASSERT_EQ(nav->SetViewInfo(&r), S_OK);
    EXPECT_FALSE(host->perspective);
    EXPECT_EQ(host->clipping[0], -77.0f);
    EXPECT_EQ(host->count("SetProjectionClass(persp)"), 1)
        << "the frame is set on a perspective camera";
    EXPECT_EQ(host->count("SetClippingMatrix"), 1);

    // 0x200 with Perspective: ends perspective at the restored angle.
    const float orthoAngle = host->angle();
    r = view(0, 0, -1, 0x200 | 0x2);
    r.cameraType = Perspective;
    ASSERT_EQ(nav->SetViewInfo(&r), S_OK);
    EXPECT_TRUE(host->perspective);
    EXPECT_NEAR(host->angle(), orthoAngle, 1e-3);

    // The orthographic camera emulates an angle through its view height.
    host->perspective = false;
    ASSERT_EQ(nav->_setCameraFOV(60), S_OK);
    float fov = 0;
    ASSERT_EQ(nav->_getCameraFOV(&fov), S_OK);
    EXPECT_NEAR(fov, 60, 1e-3);
    EXPECT_EQ(nav->_setCameraType(CameraTypeNum), E_INVALIDARG);
}

TEST_F(Navigator, AxisAlignmentAndTheUpAxisTable) {
    host->target[0] = 5;
    ASSERT_EQ(nav->AlignToAxis(NegativeZ), S_OK);
    EXPECT_TRUE(near(host->up, 0, 1, 0));
    EXPECT_TRUE(near(host->eye, 5, 0, 1)) << "eye = target - view";
    EXPECT_EQ(host->count("Redraw"), 1);

    AxisEnum upAxis;
    EXPECT_EQ(nav->SetUpAxisForAxisAlignment(PositiveY, NegativeY), E_INVALIDARG);
    ASSERT_EQ(nav->GetUpAxisForAxisAlignment(PositiveY, &upAxis), S_OK);
    EXPECT_EQ(upAxis, PositiveZ);
    EXPECT_EQ(nav->SetUpAxisForAxisAlignment(PositiveY, NegativeX), S_OK);
    ASSERT_EQ(nav->AlignToAxis(PositiveY), S_OK);
    EXPECT_TRUE(near(host->up, -1, 0, 0));
    EXPECT_TRUE(near(host->eye, 5, -1, 0));
    EXPECT_EQ(nav->GetUpAxisForAxisAlignment(PositiveIsometric, &upAxis), E_INVALIDARG);
    EXPECT_EQ(nav->SetUpAxisForAxisAlignment(PositiveZ, static_cast<AxisEnum>(6)), E_INVALIDARG);

    host->calls.clear();
    EXPECT_EQ(nav->AlignToAxis(static_cast<AxisEnum>(8)), E_INVALIDARG);
    EXPECT_TRUE(host->calls.empty());

    // The isometric directions, bit for bit; the eye 347.3 units from the target.
    host->target[0] = 0;
    ASSERT_EQ(nav->AlignToAxis(PositiveIsometric), S_OK);
    EXPECT_EQ(std::bit_cast<uint32_t>(host->up[0]), 0xBED108C4u);
    EXPECT_EQ(std::bit_cast<uint32_t>(host->up[2]), 0x3F510481u);
    EXPECT_EQ(std::bit_cast<uint32_t>(host->eye[0]), 0x4348845Au) << "eye = -view: x is 200.517";
    EXPECT_EQ(std::bit_cast<uint32_t>(host->eye[1]), 0xC3488CCDu);
    EXPECT_EQ(std::bit_cast<uint32_t>(host->eye[2]), 0x43488CCDu);
    EXPECT_NEAR(std::sqrt(host->eye[0] * host->eye[0] + host->eye[1] * host->eye[1] +
                          host->eye[2] * host->eye[2]),
                347.3, 0.05);
    ASSERT_EQ(nav->AlignToAxis(NegativeIsometric), S_OK);
    EXPECT_TRUE(near(host->up, 0.40827f, 0.40827f, -0.816475f));
    float u[3], v[3];
    EXPECT_EQ(nav->_constructVectors_Isometric(PositiveX, u, v), E_INVALIDARG);
    EXPECT_TRUE(near(v, 0, 0, 0));

    host->hasView = false;
    EXPECT_EQ(nav->AlignToAxis(PositiveX), E_FAIL);
}

TEST_F(Navigator, SteppedRotationAndTranslation) {
    float angle = 0, dist = 0;
    ASSERT_EQ(nav->GetAngleOfRotation(&angle), S_OK);
    ASSERT_EQ(nav->GetDistOfTranslation(&dist), S_OK);
    EXPECT_EQ(angle, 90.0f);
    EXPECT_EQ(dist, 10.0f);
    ASSERT_EQ(nav->SetAngleOfRotation(-45), S_OK);
    ASSERT_EQ(nav->RotateAroundAxis(PositiveZ), S_OK);
    ASSERT_EQ(nav->RotateAroundAxis(NegativeZ), S_OK);
    EXPECT_EQ(host->calls, (std::vector<std::string>{"RotateCamera(0,0,1,-45)", "Redraw",
                                                     "RotateCamera(0,0,-1,-45)", "Redraw"}));
    EXPECT_TRUE(near(host->eye, 0, 0, 100)) << "the two turns cancel";

    host->calls.clear();
    ASSERT_EQ(nav->SetDistOfTranslation(0), S_OK);
    ASSERT_EQ(nav->TranslateAlongAxis(NegativeY), S_OK);
    ASSERT_EQ(nav->TranslateAlongAxisByDist(PositiveX, 2.5f), S_OK);
    EXPECT_EQ(host->calls, (std::vector<std::string>{"TranslateCamera(0,-0,0)", "Redraw",
                                                     "TranslateCamera(2.5,0,0)", "Redraw"}));
    EXPECT_TRUE(near(host->target, 2.5f, 0, 0));

    host->calls.clear();
    EXPECT_EQ(nav->TranslateAlongAxis(PositiveIsometric), E_INVALIDARG);
    EXPECT_EQ(nav->RotateAroundAxis(NegativeIsometric), E_INVALIDARG);
    EXPECT_EQ(nav->RotateAroundAxisByAngle(PositiveIsometric, 5), E_INVALIDARG);
    EXPECT_TRUE(host->calls.empty());
    host->failWith = E_ACCESSDENIED;
    EXPECT_EQ(nav->RotateAroundAxis(PositiveX), E_ACCESSDENIED);
    EXPECT_EQ(host->count("Redraw"), 0) << "no redraw after a failed step";
    host->failWith = S_OK;
    host->hasView = false;
    EXPECT_EQ(nav->TranslateAlongAxis(PositiveX), E_FAIL);
}

TEST_F(Navigator, ListenersAndCameraEvents) {
    auto a = make<CNavSink, IViewNavigatorSink>();
    auto quitter = make<CNavSink, IViewNavigatorSink>();
    ASSERT_EQ(nav->_start(), S_OK);
    ASSERT_NE(host->events, nullptr);
    ASSERT_EQ(nav->RegisterInterest(a.Get()), S_OK);
    EXPECT_EQ(a->events, std::vector<std::string>{"Changed(0)"}) << "the current view at once";
    EXPECT_EQ(nav->RegisterInterest(a.Get()), S_FALSE);
    EXPECT_EQ(a->events.size(), 1u);
    ASSERT_EQ(nav->RegisterInterest(quitter.Get()), S_OK);
    quitter->events.clear();
    quitter->quitFrom = nav.Get();
    a->events.clear();

    host->fireCameraChanged(0x4);
    EXPECT_TRUE(a->events.empty()) << "bit 2: ignored";
    host->eye[0] = 3;
    host->fireCameraChanged(0);
    EXPECT_EQ(a->events, (std::vector<std::string>{"Changed(3)", "PreDraw"}));
    EXPECT_EQ(quitter->events, std::vector<std::string>{"Changed(3)"})
        << "no pre-draw after unregistering";

    // The locked up axis goes to the owner only when it changes.
    host->upLocked = 0;
    host->fireCameraChanged(0);
    host->lockedVecs.clear();
    host->upLocked = 1;
    host->fireCameraChanged(0);
    host->fireCameraChanged(0);
    EXPECT_EQ(host->lockedVecs, std::vector<int>{2});
    host->upLocked = 0;
    host->fireCameraChanged(0);
    EXPECT_EQ(host->lockedVecs, (std::vector<int>{2, 0}));

    // Alignment integers are cleared once the camera looks elsewhere.
    ASSERT_EQ(nav->AlignToAxis(PositiveX), S_OK);
    FullViewInfo r = view(0, 0, -3, 0x2);
    ASSERT_EQ(nav->SetViewInfo(&r), S_OK);
    EXPECT_EQ(nav->alignedAxis()[2], 1);
    ASSERT_EQ(nav->RotateAroundAxisByAngle(PositiveX, 30), S_OK);
    host->fireCameraChanged(0);
    EXPECT_EQ(nav->alignedAxis()[2], 0);

    a->events.clear();
    ASSERT_EQ(nav->RefreshUI(), S_OK);
    EXPECT_EQ(a->events.size(), 1u);
    EXPECT_EQ(nav->UnregisterInterest(a.Get()), S_OK);
    EXPECT_EQ(nav->UnregisterInterest(a.Get()), S_FALSE);
    ASSERT_EQ(nav->_stop(), S_OK);
    EXPECT_EQ(host->events, nullptr);
    int showing = 1;
    EXPECT_EQ(nav->DlgIsShowing(&showing), S_OK);
    EXPECT_EQ(showing, 0);
    EXPECT_EQ(nav->DlgShow(1), E_FAIL) << "no dialog yet";
}

TEST_F(Navigator, EveryHostInterfaceIsReleased) {
    IUnknown* unk = static_cast<IHostApplication*>(host.Get());
    const ULONG before = refsOf(unk);
    FullViewInfo r = view(1, 1, 0, 0x212 | 0x2000);
    nav->SetViewInfo(&r);
    nav->AlignToAxis(PositiveIsometric);
    nav->RotateAroundAxis(PositiveY);
    nav->GetViewInfo(&r);
    host->failWith = E_FAIL;
    nav->SetViewInfo(&r);
    nav->AlignToAxis(PositiveX);
    nav->TranslateAlongAxis(PositiveX);
    host->failWith = S_OK;
    host->upLocked = 1;
    r = view(0, 1, 0, 0);
    nav->SetViewInfo(&r);
    EXPECT_EQ(refsOf(unk), before);
}

class StoreAndNavigator : public zul::test::TempHiveTest {};

TEST_F(StoreAndNavigator, AStoredViewReachesTheHostCamera) {
    auto host = make<CTestHost, IHostApplication>();
    auto nav = make<CViewNavigator, IViewNavigator2>();
    static_cast<IObjectWithSite*>(nav.Get())->SetSite(static_cast<IHostApplication*>(host.Get()));
    host->calls.clear();
    ComPtr<IViewManager2> store;
    ASSERT_EQ(zul::com::createInstance<CViewManager>(
                  nullptr, IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK);
    ASSERT_EQ(store->BindViewNavigator(nav.Get()), S_OK);

    EXPECT_EQ(store->ApplyDefaultView(), S_FALSE);
    EXPECT_TRUE(host->calls.empty());
    ASSERT_EQ(store->ShowViewExt("+X"), S_OK);
    EXPECT_FALSE(host->perspective) << "+X is orthographic";
    EXPECT_TRUE(near(host->target, 0, 0, 0));
    EXPECT_TRUE(near(host->eye, -100, 0, 0)) << "looking along +X at the same distance";
    EXPECT_TRUE(near(host->up, 0, 0, 1));

    ASSERT_EQ(store->SetDefaultView("-Z"), S_OK);
    ASSERT_EQ(store->ApplyDefaultView(), S_OK);
    EXPECT_TRUE(near(host->eye, 0, 0, 100));
    EXPECT_TRUE(near(host->up, 0, 1, 0));
    EXPECT_EQ(store->ShowViewExt("Missing"), S_FALSE);
    store->BindViewNavigator(nullptr);
    static_cast<IObjectWithSite*>(nav.Get())->SetSite(nullptr);
}

// The headless host's viewer, as krviews gives it: an applied view ends in a
// redraw, and the redraw's camera-change event tells the listeners once.
TEST(HeadlessViewer, AnAppliedViewReachesTheListenersThroughTheRedrawEvent) {
    auto viewer = make<zul::runtime::CCameraModel, IHostApplication>();
    auto nav = make<CViewNavigator, IViewNavigator2>();
    static_cast<IObjectWithSite*>(nav.Get())->SetSite(static_cast<IHostApplication*>(viewer.Get()));
    auto sink = make<CNavSink, IViewNavigatorSink>();
    ASSERT_EQ(nav->RegisterInterest(sink.Get()), S_OK);
    sink->events.clear();
    FullViewInfo r;
    r.pViewVector[0] = 4, r.pViewVector[1] = 0, r.pViewVector[2] = 0;
    r.pFromVector[0] = 7;
    r.bHasFromAndAt = 1;
    r.iChangeBits = 0x20 | 0x2;
    ASSERT_EQ(nav->SetViewInfo(&r), S_OK);
    EXPECT_EQ(sink->events, (std::vector<std::string>{"Changed(7)", "PreDraw"}));
    nav->UnregisterInterest(sink.Get());
    static_cast<IObjectWithSite*>(nav.Get())->SetSite(nullptr);
}
