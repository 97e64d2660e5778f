// zulview's window and host with the real module, under an X server
// (xvfb-run): commands go in through the host as the menus and toolbar send
// them, and the VTK camera and the rendered picture are checked. The tests'
// main() is here.
#include "ViewerE2E.h"

namespace {

TEST_F(ViewerE2E, OppositeViewsShowMirroredSilhouettesOfDifferentFaces) {
    ASSERT_EQ(host()->Run(7145), S_OK); // +X
    window_->host()->sceneViewer->FitAll();
    EXPECT_TRUE(along(looking(), 1, 0, 0));
    EXPECT_TRUE(camera()->GetParallelProjection()) << "the standard views are orthographic";
    const Picture plus = picture();
    ASSERT_EQ(host()->Run(7142), S_OK); // -X
    window_->host()->sceneViewer->FitAll();
    EXPECT_TRUE(along(looking(), -1, 0, 0));
    const Picture minus = picture();
    // Seen from opposite sides an orthographic silhouette is the mirror
    // image, while the faces seen (the colours) are not.
    long same = 0, covered = 0, colourDiffers = 0;
    for (int y = 0; y < plus.height; ++y)
        for (int x = 0; x < plus.width; ++x) {
            const int mx = plus.width - 1 - x;
            same += plus.covered(x, y) == minus.covered(mx, y);
            if (!plus.covered(x, y) || !minus.covered(mx, y)) continue;
            ++covered;
            const unsigned char *a = plus.at(x, y), *b = minus.at(mx, y);
            colourDiffers +=
                std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]) > 60;
        }
    const long all = long(plus.width) * plus.height;
    EXPECT_GT(covered, all / 20) << "the model fills part of the view";
    EXPECT_GT(double(same) / all, 0.99) << "mirrored silhouettes";
    EXPECT_GT(double(colourDiffers) / covered, 0.05) << "the +X picture is not the -X one mirrored";
}

TEST_F(ViewerE2E, ThePartSitsWhereTheCameraProjectsIt) {
    ASSERT_EQ(host()->Run(7146), S_OK); // +Y: the arrow cone at the right
    window_->host()->sceneViewer->FitAll();
    const Picture p = picture();
    vtkRenderer* r = window_->scene().renderer();
    double bounds[6];
    unsigned cone = 0;
    for (unsigned id = 1; id <= window_->scene().partCount(); ++id)
        if (window_->scene().partName(id) == "Arrow") cone = id;
    ASSERT_NE(cone, 0u);
    ASSERT_TRUE(window_->scene().partBounds(cone, bounds));
    // A point inside the cone, a third of the way from its base.
    r->SetWorldPoint(bounds[0] + (bounds[1] - bounds[0]) / 3, (bounds[2] + bounds[3]) / 2,
                     (bounds[4] + bounds[5]) / 2, 1);
    r->WorldToDisplay();
    const double* d = r->GetDisplayPoint();
    const int x = int(d[0]), y = int(d[1]);
    ASSERT_TRUE(x > 0 && y > 0 && x < p.width && y < p.height);
    ASSERT_TRUE(p.covered(x, y));
    const unsigned char* c = p.at(x, y);
    EXPECT_GT(c[0], c[1] + 60) << "red at the cone";
    EXPECT_GT(c[0], c[2] + 60);
}

TEST_F(ViewerE2E, CommandsDriveTheCameraAndTheStore) {
    ASSERT_EQ(host()->Run(7145), S_OK);
    // Rotate left: about +Y by the 90 degree step, so +X turns to look along -Z or +Z.
    ASSERT_EQ(host()->Run(7136), S_OK);
    const auto turned = looking();
    EXPECT_NEAR(std::fabs(turned[2]), 1.0, 1e-3);
    // Translate along +Y moves eye and target together.
    double before[3], after[3];
    camera()->GetFocalPoint(before);
    ASSERT_EQ(host()->Run(32801), S_OK);
    camera()->GetFocalPoint(after);
    EXPECT_GT(after[1] - before[1], 0.0);
    EXPECT_TRUE(along(looking(), turned[0], turned[1], turned[2]));

    // A stored view from the "&Standard Views" menu: command 17001 + its index.
    QAction* plusZ = host()->action(17001 + 3);
    ASSERT_NE(plusZ, nullptr);
    EXPECT_EQ(plusZ->text().toStdString(), "+Z");
    plusZ->trigger();
    EXPECT_TRUE(along(looking(), 0, 0, 1));

    // A new view from the present camera, found in the menu, saved and loaded.
    ASSERT_EQ(host()->Run(7146), S_OK);
    ASSERT_EQ(mgr_->AddView("Side"), S_OK);
    ASSERT_NE(host()->action(17010), nullptr);
    EXPECT_EQ(host()->action(17010)->text().toStdString(), "Side");
    std::string file = dir_.filePath("views.qjv").toStdString();
    ASSERT_EQ(mgr_->SaveViews(file.data(), TextFile), S_OK);
    ASSERT_EQ(mgr_->DeleteView("Side"), S_OK);
    EXPECT_EQ(host()->action(17010), nullptr);
    ASSERT_EQ(mgr_->LoadViews(file.data(), TextFile), S_OK);
    ASSERT_NE(host()->action(17010), nullptr);
    ASSERT_EQ(host()->Run(7145), S_OK);
    host()->action(17010)->trigger();
    EXPECT_TRUE(along(looking(), 0, 1, 0)) << "the stored camera comes back";
}

TEST_F(ViewerE2E, ALockedUpVectorRefusesAViewAlongIt) {
    // The computed +X alignment has Z exactly up (the stored standard views
    // carry tiny components, and the lock needs an exact axis).
    ASSERT_EQ(mgr_->AlignToAxis(PositiveX), S_OK);
    host()->sceneViewer->SetUpLocked(true);
    const auto before = looking();
    mgr_->ShowView("+Z"); // the stored view looks along the locked up vector
    EXPECT_TRUE(along(looking(), before[0], before[1], before[2]));
    ASSERT_EQ(messages_.size(), 1u) << "shown by the host";
    EXPECT_NE(messages_.back().find("locked up vector"), std::string::npos) << messages_.back();
    ASSERT_EQ(mgr_->ShowView("+Y"), S_OK); // keeps Z up: allowed
    EXPECT_TRUE(along(looking(), 0, 1, 0));
    host()->sceneViewer->SetUpLocked(false);
    ASSERT_EQ(mgr_->ShowView("+Z"), S_OK);
    EXPECT_TRUE(along(looking(), 0, 0, 1));
    EXPECT_EQ(messages_.size(), 1u);
}

TEST_F(ViewerE2E, NothingVanishesWhenTheEyeStandsInsideTheModel) {
    // The Rotate dialog's +Z puts the eye one unit from the target, inside
    // the sample; every part must still be drawn, as from far back.
    ASSERT_EQ(host()->Run(7133), S_OK);
    QAbstractButton* plusZ = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (qobject_cast<QDialog*>(w) && w->isVisible())
            for (QAbstractButton* b : w->findChildren<QAbstractButton*>())
                if (b->text() == "+Z") plusZ = b;
    ASSERT_NE(plusZ, nullptr) << "the Rotate dialog shows a +Z button";
    plusZ->click();
    EXPECT_TRUE(along(looking(), 0, 0, 1));
    auto* v = host()->sceneViewer.Get();
    const float eyeToTarget = std::fabs(v->eye[2] - v->target[2]);
    EXPECT_NEAR(eyeToTarget, 1.0f, 1e-3) << "the module keeps its own eye";
    const Picture near = picture(), far = fromFarBack();
    EXPECT_GT(coverage(far), long(far.width) * far.height / 20);
    EXPECT_LT(differing(near, far), long(far.width) * far.height / 1000)
        << "no part is sliced or missing";
    // A toolbar align after it keeps the model whole too.
    ASSERT_EQ(host()->Run(7145), S_OK);
    const Picture side = picture(), sideFar = fromFarBack();
    EXPECT_LT(differing(side, sideFar), long(side.width) * side.height / 1000);
}

TEST_F(ViewerE2E, AViewWhoseUpIsAlongItsDirectionStillShowsTheModel) {
    auto store = host()->firstObject<IViewManager2>();
    ASSERT_TRUE(store);
    FullViewInfo p;
    p.pUpVector[0] = 0, p.pUpVector[1] = 0, p.pUpVector[2] = 1;
    p.pViewVector[0] = 0, p.pViewVector[1] = 0, p.pViewVector[2] = 5;
    ASSERT_EQ(store->CreateViewInfo("P", p), S_OK) << "the store keeps such a view";
    ASSERT_EQ(mgr_->ShowView("P"), S_OK);
    host()->sceneViewer->FitAll();
    const Picture shot = picture();
    EXPECT_GT(coverage(shot), long(shot.width) * shot.height / 20) << "not a blank picture";
}

TEST_F(ViewerE2E, TheDefaultViewIsTheFirstPictureAndHomeComesBackToIt) {
    ASSERT_EQ(mgr_->SetDefaultView("-Y"), S_OK);
    // A new session on the same hive starts in the default view.
    window_->StopModule();
    window_.reset();
    window_ = std::make_unique<MainWindow>();
    QString error;
    ASSERT_TRUE(window_->StartModule(error)) << error.toStdString();
    window_->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window_.get()));
    window_->scene().axesRenderer()->DrawOff();
    window_->ShowSample();
    EXPECT_TRUE(along(looking(), 0, -1, 0)) << "the -Y view looks along -Y";
    const double* up = camera()->GetViewUp();
    EXPECT_NEAR(up[2], 1.0, 1e-6) << "with the stored up";
    ASSERT_EQ(
        window_->module()->QueryInterface(zul::com::iidOf<IAdvancedViewsModuleMgr>(),
                                          reinterpret_cast<void**>(mgr_.ReleaseAndGetAddressOf())),
        S_OK);
    // Fitted: the whole model inside the picture.
    const Picture first = picture();
    long edge = 0;
    for (int x = 0; x < first.width; ++x)
        edge += first.covered(x, 0) + first.covered(x, first.height - 1);
    EXPECT_EQ(edge, 0) << "framed so the model fits";
    EXPECT_GT(coverage(first), long(first.width) * first.height / 40);
    // Home, from anywhere.
    ASSERT_EQ(host()->Run(7145), S_OK);
    QAction* home = window_->findChild<QAction*>("applyDefaultView");
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(home->shortcut(), QKeySequence(Qt::Key_Home));
    home->trigger();
    EXPECT_TRUE(along(looking(), 0, -1, 0));
    // Cleared, the start view is +Isometric again.
    QAction* clear = window_->findChild<QAction*>("clearDefaultView");
    ASSERT_NE(clear, nullptr);
    clear->trigger();
    ULONG len = 0;
    EXPECT_EQ(mgr_->GetDefaultView(&len, nullptr), E_FAIL) << "no view is marked";
    host()->answerMessage = [](const QString&) { return 1; };
    home->trigger();
    const auto iso = looking();
    EXPECT_FALSE(along(iso, 0, -1, 0));
    EXPECT_GT(std::fabs(iso[0]) * std::fabs(iso[1]) * std::fabs(iso[2]), 0.1)
        << "an isometric direction";
}

TEST_F(ViewerE2E, ALockSetNearAnAxisLocksItAndRefusesAViewAlongIt) {
    // The stored -Y view's up has tiny components; locking snaps it to Z.
    ASSERT_EQ(host()->Run(7143), S_OK);
    EXPECT_NE(host()->sceneViewer->up[0], 0.0f);
    host()->sceneViewer->SetUpLocked(true);
    auto* v = host()->sceneViewer.Get();
    EXPECT_EQ(v->up[0], 0.0f);
    EXPECT_EQ(v->up[1], 0.0f);
    EXPECT_EQ(v->up[2], 1.0f);
    const auto before = looking();
    ASSERT_EQ(host()->Run(7147), S_OK); // the stored +Z view looks along the locked up
    EXPECT_TRUE(along(looking(), before[0], before[1], before[2])) << "refused: the camera stays";
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_NE(messages_.back().find("locked up vector"), std::string::npos);
    EXPECT_NE(window_->statusBar()->currentMessage().indexOf("locked up vector"), -1);
    // Orbiting keeps the up exact.
    camera()->Azimuth(30);
    camera()->Elevation(25);
    v->CameraMovedByUser(false);
    EXPECT_EQ(v->up[0], 0.0f);
    EXPECT_EQ(v->up[1], 0.0f);
    EXPECT_EQ(v->up[2], 1.0f);
    // Far from every axis (the isometric view), locking turns the camera
    // so its up is the nearest axis, and says which.
    host()->sceneViewer->SetUpLocked(false);
    ASSERT_EQ(host()->Run(7140), S_OK);
    auto* lock = window_->findChild<QAction*>("lockUpVector");
    ASSERT_NE(lock, nullptr);
    lock->setChecked(false);
    lock->setChecked(true);
    EXPECT_EQ(host()->sceneViewer->LockedAxis(), 3);
    EXPECT_EQ(v->up[0], 0.0f);
    EXPECT_EQ(v->up[1], 0.0f);
    EXPECT_EQ(v->up[2], 1.0f);
    EXPECT_NEAR(looking()[2], 0.0, 1e-5) << "turned to look square to the locked axis";
    EXPECT_EQ(lock->text(), "Up locked to +Z");
    auto* said = window_->findChild<QLabel*>("lockState");
    ASSERT_NE(said, nullptr);
    EXPECT_EQ(said->text(), "Up locked to +Z");
    const auto turned = looking();
    messages_.clear();
    ASSERT_EQ(host()->Run(7147), S_OK);
    EXPECT_TRUE(along(looking(), turned[0], turned[1], turned[2])) << "along +Z: refused";
    EXPECT_EQ(messages_.size(), 1u);
    ASSERT_EQ(host()->Run(7145), S_OK);
    EXPECT_EQ(v->up[2], 1.0f) << "a view does not move a locked up";
    lock->setChecked(false);
    EXPECT_FALSE(said->isVisible());
    EXPECT_EQ(lock->text(), "Lock up");
}

// The navigator hears of every camera change through the host's event.
class CNavigatorListener : public zul::com::ObjectRoot, public IViewNavigatorSink {
public:
    ZUL_BEGIN_INTERFACE_MAP(CNavigatorListener)
    ZUL_INTERFACE_ENTRY(IViewNavigatorSink)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN
    std::vector<FullViewInfo> changes;
    HRESULT STDMETHODCALLTYPE NotifyViewChanged(FullViewInfo info) override {
        changes.push_back(info);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE NotifyViewPreDraw() override { return S_OK; }
};

TEST_F(ViewerE2E, AnAppliedViewReachesNavigatorListenersAndALockDisablesItsViews) {
    auto navigator = host()->firstObject<IViewNavigator>();
    ASSERT_TRUE(navigator);
    zul::com::ComPtr<CNavigatorListener> listener;
    {
        IViewNavigatorSink* sink = nullptr;
        zul::com::createInstance<CNavigatorListener>(nullptr, zul::com::iidOf<IViewNavigatorSink>(),
                                                     reinterpret_cast<void**>(&sink));
        listener.Attach(static_cast<CNavigatorListener*>(sink));
    }
    ASSERT_EQ(navigator->RegisterInterest(listener.Get()), S_OK);
    listener->changes.clear();
    QAction* plusZ = viewItem("+Z");
    ASSERT_NE(plusZ, nullptr);
    plusZ->trigger();
    ASSERT_EQ(listener->changes.size(), 1u) << "one event for one applied view";
    const FullViewInfo& seen = listener->changes.back();
    EXPECT_GT(std::fabs(seen.pViewVector[2]),
              1e3f * (std::fabs(seen.pViewVector[0]) + std::fabs(seen.pViewVector[1])))
        << "the listener heard of the +Z view";

    // The -Z view has Y exactly up: locked, the +Y and -Y views cannot be applied.
    ASSERT_EQ(host()->Run(7144), S_OK);
    host()->sceneViewer->SetUpLocked(true);
    EXPECT_EQ(host()->sceneViewer->LockedAxis(), 2);
    ASSERT_NE(viewItem("+Y"), nullptr);
    EXPECT_FALSE(viewItem("+Y")->isEnabled());
    EXPECT_FALSE(viewItem("-Y")->isEnabled());
    EXPECT_TRUE(viewItem("+X")->isEnabled());
    host()->sceneViewer->SetUpLocked(false);
    EXPECT_TRUE(viewItem("+Y")->isEnabled());
    navigator->UnregisterInterest(listener.Get());
}

// Stands between the viewer and the module's listener and counts the
// camera-change events the module hears.
struct CountingEvents : IHostViewEvents {
    IHostViewEvents* next = nullptr;
    std::vector<DWORD> flags;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE OnCameraChanged(DWORD f) override {
        flags.push_back(f);
        return next ? next->OnCameraChanged(f) : S_OK;
    }
};

zul::scene::Camera cameraNow(MainWindow& w) {
    return zul::scene::cameraOf(*w.host()->sceneViewer.Get());
}

bool sameCamera(const zul::scene::Camera& a, const zul::scene::Camera& b) {
    return std::memcmp(a.eye, b.eye, sizeof a.eye) == 0 &&
           std::memcmp(a.target, b.target, sizeof a.target) == 0 &&
           std::memcmp(a.up, b.up, sizeof a.up) == 0 && a.perspective == b.perspective &&
           a.viewHeight == b.viewHeight && a.focal == b.focal;
}

// Back and forward through three commands, each camera exactly as it was;
// a new command after going back drops what lay forward.
TEST_F(ViewerE2E, GoingBackRestoresEachEarlierCameraExactly) {
    window_->SetTransitionMs(0);
    std::vector<zul::scene::Camera> seen = {cameraNow(*window_)};
    for (UINT id : {7145u, 7146u, 7147u}) {
        ASSERT_EQ(host()->Run(id), S_OK);
        seen.push_back(cameraNow(*window_));
    }
    for (int k = 2; k >= 0; --k) {
        ASSERT_TRUE(window_->GoBack()) << k;
        EXPECT_TRUE(sameCamera(cameraNow(*window_), seen[size_t(k)])) << k;
        double eye[3];
        camera()->GetFocalPoint(eye);
        EXPECT_NEAR(eye[0], seen[size_t(k)].target[0], 1e-4) << "and drawn so";
    }
    ASSERT_TRUE(window_->GoForward());
    EXPECT_TRUE(sameCamera(cameraNow(*window_), seen[1]));
    ASSERT_EQ(host()->Run(7142), S_OK);
    EXPECT_FALSE(window_->GoForward()) << "a new change drops the way forward";
    ASSERT_TRUE(window_->GoBack());
    EXPECT_TRUE(sameCamera(cameraNow(*window_), seen[1]));
}

// With a transition the module hears of the change once, after the last
// frame, and the camera it ends at is the one drawn without one.
TEST_F(ViewerE2E, ATransitionEndsWhereAJumpWouldWithOneEvent) {
    window_->SetTransitionMs(0);
    ASSERT_EQ(host()->Run(7146), S_OK);
    const zul::scene::Camera start = cameraNow(*window_);
    ASSERT_EQ(host()->Run(7140), S_OK);
    const zul::scene::Camera jumped = cameraNow(*window_);
    double jumpedFocus[3];
    camera()->GetFocalPoint(jumpedFocus);
    window_->GoBack();
    ASSERT_TRUE(sameCamera(cameraNow(*window_), start));

    CountingEvents counter;
    auto* viewer = host()->sceneViewer.Get();
    counter.next = viewer->events;
    viewer->events = &counter;
    ASSERT_EQ(host()->Run(7140), S_OK);
    EXPECT_EQ(counter.flags, std::vector<DWORD>{0}) << "one event without a transition too";
    counter.flags.clear();
    window_->GoBack();
    counter.flags.clear();
    window_->SetTransitionMs(300);
    ASSERT_EQ(host()->Run(7140), S_OK);
    EXPECT_TRUE(viewer->Animating());
    EXPECT_TRUE(sameCamera(cameraNow(*window_), jumped))
        << "the model holds the new camera at once";
    double mid[3];
    for (int i = 0; i < 100 && viewer->Animating(); ++i) {
        QTest::qWait(10);
        if (i == 8) camera()->GetDirectionOfProjection(mid);
    }
    EXPECT_FALSE(viewer->Animating());
    EXPECT_EQ(counter.flags, std::vector<DWORD>{0}) << "one event, after the last frame";
    double focus[3];
    camera()->GetFocalPoint(focus);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(focus[i], jumpedFocus[i], 1e-6);
    // A press ends a transition at once at its camera.
    counter.flags.clear();
    ASSERT_EQ(host()->Run(7145), S_OK);
    const zul::scene::Camera plusX = cameraNow(*window_);
    ASSERT_TRUE(viewer->Animating());
    QTest::mousePress(window_->view(), Qt::LeftButton, {}, QPoint(30, 30));
    EXPECT_FALSE(viewer->Animating());
    EXPECT_EQ(counter.flags, std::vector<DWORD>{0});
    EXPECT_TRUE(sameCamera(cameraNow(*window_), plusX));
    QTest::mouseRelease(window_->view(), Qt::LeftButton, {}, QPoint(30, 30));
    viewer->events = counter.next;
    window_->SetTransitionMs(0);
}

// The cube's +X handle is the module's -X view (the eye on the +X side);
// keys reach the commands and the stored views; with the up locked along
// Z, the cube's Z handle is refused with the module's message 141.
TEST_F(ViewerE2E, TheCubeAndTheKeysGoThroughTheModule) {
    window_->SetTransitionMs(0);
    ASSERT_NE(window_->viewCube(), nullptr);
    ASSERT_EQ(host()->Run(7142), S_OK);
    const zul::scene::Camera minusX = cameraNow(*window_);
    ASSERT_EQ(host()->Run(7146), S_OK);
    window_->viewCube()->Click(0, +1);
    EXPECT_TRUE(sameCamera(cameraNow(*window_), minusX));
    EXPECT_TRUE(along(looking(), -1, 0, 0));

    window_->view()->setFocus();
    QTest::keyClick(window_->view(), Qt::Key_Z);
    EXPECT_TRUE(along(looking(), 0, 0, 1)) << "Z aligns to +Z";
    QTest::keyClick(window_->view(), Qt::Key_X, Qt::ShiftModifier);
    EXPECT_TRUE(along(looking(), -1, 0, 0)) << "Shift+X aligns to -X";
    QTest::keyClick(window_->view(), Qt::Key_Left, Qt::AltModifier);
    EXPECT_TRUE(along(looking(), 0, 0, 1)) << "Alt+Left goes back";

    // Ctrl+2: the second stored view in list order, as its menu item does.
    std::vector<QAction*> items;
    for (UINT id = krav::ids::kFirstView; id < krav::ids::kFirstView + 200; ++id)
        if (QAction* a = host()->action(id)) items.push_back(a);
    ASSERT_GE(items.size(), 3u);
    QAction* second = items[1];
    ASSERT_NE(second, nullptr);
    auto sameDirection = [](const std::array<double, 3>& a, const std::array<double, 3>& b) {
        return std::fabs(a[0] - b[0]) + std::fabs(a[1] - b[1]) + std::fabs(a[2] - b[2]) < 1e-6;
    };
    ASSERT_EQ(host()->Run(7140), S_OK);
    second->trigger();
    const auto byMenu = looking();
    ASSERT_EQ(host()->Run(7140), S_OK);
    ASSERT_FALSE(sameDirection(looking(), byMenu));
    QTest::keyClick(window_->view(), Qt::Key_2, Qt::ControlModifier);
    EXPECT_TRUE(sameDirection(looking(), byMenu)) << "Ctrl+2: the second stored view";
    QAction* third = items[2];
    QTest::keyClick(window_->view(), Qt::Key_PageDown);
    const auto afterNext = looking();
    third->trigger();
    EXPECT_TRUE(sameDirection(looking(), afterNext)) << "Page Down: the next stored view";

    // P keeps the picture's scale at the target.
    ASSERT_EQ(host()->Run(7140), S_OK);
    const zul::scene::Camera before = cameraNow(*window_);
    QTest::keyClick(window_->view(), Qt::Key_P);
    const zul::scene::Camera toggled = cameraNow(*window_);
    EXPECT_NE(toggled.perspective, before.perspective);
    QTest::keyClick(window_->view(), Qt::Key_P);
    EXPECT_NEAR(cameraNow(*window_).viewHeight, before.viewHeight, 1e-3 * before.viewHeight);

    ASSERT_EQ(host()->Run(7144), S_OK); // -Z: Y up
    host()->sceneViewer->SetUpLocked(true);
    ASSERT_EQ(host()->sceneViewer->LockedAxis(), 2);
    const zul::scene::Camera locked = cameraNow(*window_);
    messages_.clear();
    window_->viewCube()->Click(1, +1);
    EXPECT_TRUE(sameCamera(cameraNow(*window_), locked)) << "refused";
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_NE(messages_[0].find("lock"), std::string::npos) << messages_[0];
    window_->viewCube()->Click(0, +1);
    EXPECT_TRUE(along(looking(), -1, 0, 0)) << "another axis is not refused";
    host()->sceneViewer->SetUpLocked(false);
}

// The Standard Views dialog's pictures: one for every stored view, drawn
// after the list appears; a Replace changes that view's picture; the view
// menu's items carry pictures too. The choice is kept.
TEST_F(ViewerE2E, StoredViewsShowPicturesThatFollowTheirViews) {
    ASSERT_EQ(host()->Run(krav::ids::kEditDialog), S_OK);
    QDialog* dialog = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* d = qobject_cast<QDialog*>(w);
            d && d->isVisible() && d->findChild<QListWidget*>("viewList"))
            dialog = d;
    ASSERT_NE(dialog, nullptr);
    auto* list = dialog->findChild<QListWidget*>("viewList");
    auto* toggle = dialog->findChild<QCheckBox*>("picturesToggle");
    ASSERT_NE(toggle, nullptr) << "this host draws pictures";
    toggle->setChecked(true);
    auto allDrawn = [&] {
        for (int i = 0; i < list->count(); ++i)
            if (list->item(i)->icon().isNull()) return false;
        return list->count() > 0;
    };
    for (int i = 0; i < 500 && !allDrawn(); ++i)
        QTest::qWait(10);
    ASSERT_TRUE(allDrawn()) << "a picture for every stored view";
    EXPECT_EQ(list->viewMode(), QListView::IconMode);
    const QImage plusX =
        list->findItems("+X", Qt::MatchExactly).front()->icon().pixmap(96, 72).toImage();
    const QImage plusZ =
        list->findItems("+Z", Qt::MatchExactly).front()->icon().pixmap(96, 72).toImage();
    EXPECT_NE(plusX, plusZ) << "each view its own picture";

    // Replace "+X" by the camera of +Z: its picture becomes +Z's.
    ASSERT_EQ(host()->Run(7147), S_OK);
    QListWidgetItem* item = list->findItems("+X", Qt::MatchExactly).front();
    list->setCurrentItem(item);
    messages_.clear();
    dialog->findChild<QPushButton*>("replaceButton")->click();
    auto replaced = [&] {
        QListWidgetItem* now = list->findItems("+X", Qt::MatchExactly).front();
        return !now->icon().isNull() && now->icon().pixmap(96, 72).toImage() != plusX;
    };
    for (int i = 0; i < 300 && !replaced(); ++i)
        QTest::qWait(10);
    EXPECT_TRUE(replaced()) << "the replaced view's picture changed";

    // The menu's items.
    QMenu* stored = host()->submenu(zul::viewer::CViewerHost::kStoredViewsPopup);
    ASSERT_NE(stored, nullptr);
    QMetaObject::invokeMethod(stored, "aboutToShow");
    int withPictures = 0, items = 0;
    for (UINT id = krav::ids::kFirstView; id < krav::ids::kFirstView + 200; ++id)
        if (QAction* a = host()->action(id)) ++items, withPictures += !a->icon().isNull();
    EXPECT_GT(items, 0);
    EXPECT_EQ(withPictures, items);
    dialog->reject();
}

TEST_F(ViewerE2E, ViewsChangedByAnotherProgramShowUpWithoutARestart) {
    ASSERT_EQ(viewItem("Elsewhere"), nullptr);
    const std::string krviews = this->krviews();
    // Nobody asks: the window hears of the hive's change by itself.
    auto r = zul::test::runProgram(krviews + "add Elsewhere --view 1,1,0 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    ASSERT_TRUE(waitFor([&] { return viewItem("Elsewhere") != nullptr; })) << "the menu follows";
    r = zul::test::runProgram(krviews + "delete -- -Z 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(waitFor([&] { return viewItem("-Z") == nullptr; }));
    EXPECT_NE(viewItem("Elsewhere"), nullptr);
    // A move made elsewhere is one change: the menu shows the new order.
    r = zul::test::runProgram(krviews + "move Elsewhere up 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    const auto idOf = [&](const QString& name) {
        for (UINT id = 17001; id < 17200; ++id)
            if (QAction* a = host()->action(id); a && a->text() == name) return id;
        return UINT(0);
    };
    EXPECT_TRUE(waitFor([&] { return idOf("Elsewhere") + 1 == idOf("-Isometric"); }));
    EXPECT_FALSE(window_->PollStore()) << "nothing new";
}

TEST_F(ViewerE2E, VtkLetterKeysDoNothingAndTheViewersKeysAreListed) {
    ASSERT_EQ(host()->Run(7145), S_OK);
    window_->view()->setFocus();
    for (char key : {'3', 'w', 's', 'e', 'q', 'r'})
        QTest::keyClick(window_->view(), key);
    QApplication::processEvents();
    EXPECT_FALSE(window_->renderWindow()->GetStereoRender()) << "no red-blue stereo";
    EXPECT_TRUE(along(looking(), 1, 0, 0)) << "no camera reset";
    EXPECT_TRUE(window_->isVisible()) << "no end of the interaction";
    QAction* keys = window_->findChild<QAction*>("keyboardShortcuts");
    ASSERT_NE(keys, nullptr);
    QString shown;
    QTimer::singleShot(200, [&] {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(w); box && box->isVisible()) {
                shown = box->text();
                box->accept();
            }
    });
    keys->trigger();
    EXPECT_TRUE(shown.contains("Home") && shown.contains("<b>F</b>")) << shown.toStdString();
}

} // namespace

int main(int argc, char** argv) {
    zul::viewer::SetUpSurfaceFormat();
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
