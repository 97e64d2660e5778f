// MainWindow: the camera's side of the window: the default and stored views,
// the history, the projection toggle, transitions and the up-vector lock.
#include <QAction>
#include <QApplication>
#include <QStatusBar>

#include <algorithm>
#include <string>

#include "KRAdvancedViews/ResourceIds.h"
#include "MainWindow.h"
#include "ViewerSettings.h"

namespace zul::viewer {

void MainWindow::StartView(bool animated) {
    // A new model is shown at its start view at once: a transition would
    // draw it first from the camera of the model before, then again.
    host_->sceneViewer->FinishTransition();
    if (!animated) host_->sceneViewer->transitionMs = 0;
    if (!ApplyDefaultView()) {
        if (module_) host_->Run(krav::ids::kAlignPlusIsometric);
        host_->sceneViewer->FitAll();
    }
    host_->sceneViewer->transitionMs = transitionMs_;
}

void MainWindow::ClearDefaultView() {
    auto mgr = _mgr();
    if (!mgr) return;
    const HRESULT hr = mgr->SetDefaultView(nullptr);
    statusBar()->showMessage(
        SUCCEEDED(hr) ? tr("No view is the default now")
                      : tr("Cannot clear the default view: %1")
                            .arg(QString::fromStdString(zul::runtime::describeHresult(hr))),
        6000);
}

bool MainWindow::ApplyDefaultView() {
    auto mgr = _mgr();
    ULONG len = 0;
    if (!mgr || mgr->GetDefaultView(&len, nullptr) == E_FAIL) return false;
    if (mgr->ApplyDefaultView() == S_OK) host_->sceneViewer->FitAll();
    return true;
}

bool MainWindow::GoBack() {
    return host_->sceneViewer->GoBack();
}

bool MainWindow::GoForward() {
    return host_->sceneViewer->GoForward();
}

void MainWindow::ToggleProjection() {
    auto* viewer = host_->sceneViewer.Get();
    viewer->FinishTransition();
    zul::scene::Camera c = zul::scene::cameraOf(*viewer);
    const zul::scene::CameraFrame f = zul::scene::frameOf(c);
    // A perspective camera's view height is the picture's height at the
    // focal distance; at the target it is that much larger or smaller.
    const double distance = f.distance > 0 ? f.distance : f.focal;
    if (c.perspective)
        c.viewHeight = float(f.viewHeight * distance / f.focal);
    else
        c.viewHeight = float(f.viewHeight * f.focal / distance);
    c.perspective = !c.perspective;
    zul::scene::setCamera(*viewer, c);
    viewer->Redraw();
    perspective_->setChecked(c.perspective);
}

std::vector<UINT> MainWindow::_storedViewCommands() const {
    // The view menu's stored-view items, in list order (their command ids
    // rise with it).
    std::vector<UINT> ids;
    for (UINT id = krav::ids::kFirstView; id < krav::ids::kFirstView + kMaxStoredViewCommands; ++id)
        if (host_->action(id)) ids.push_back(id);
    return ids;
}

bool MainWindow::ApplyStoredView(int index) {
    const std::vector<UINT> ids = _storedViewCommands();
    if (index < 0 || index >= int(ids.size())) {
        statusBar()->showMessage(tr("There is no stored view %1").arg(index + 1), 4000);
        return false;
    }
    return SUCCEEDED(host_->Run(ids[size_t(index)]));
}

bool MainWindow::StepStoredView(int delta) {
    const std::vector<UINT> ids = _storedViewCommands();
    const int n = int(ids.size());
    if (n == 0) return false;
    const auto last = std::find(ids.begin(), ids.end(), lastStoredView_);
    const int from = last != ids.end() ? int(last - ids.begin()) : delta > 0 ? -1 : n;
    return ApplyStoredView(((from + delta) % n + n) % n);
}

void MainWindow::SetTransitionMs(unsigned ms) {
    transitionMs_ = std::min(ms, kMaxTransitionMs);
    host_->sceneViewer->transitionMs = transitionMs_;
    WriteTransitionMs(transitionMs_);
}

bool MainWindow::_refusedByLock(UINT id) {
    int along = 0;
    if (id == krav::ids::kAlignPlusX || id == krav::ids::kAlignMinusX) along = 1;
    if (id == krav::ids::kAlignPlusY || id == krav::ids::kAlignMinusY) along = 2;
    if (id == krav::ids::kAlignPlusZ || id == krav::ids::kAlignMinusZ) along = 3;
    if (along == 0 || host_->sceneViewer->LockedAxis() != along) return false;
    _sayLocked();
    return true;
}

void MainWindow::_sayLocked() {
    const void* data = nullptr;
    DWORD size = 0;
    std::string text = "The up vector is locked along this view's direction.";
    if (host_->resource &&
        host_->resource(krav::ids::kResourceString, krav::ids::IDS_LOCKED_UP_VECTOR, &data,
                        &size) == S_OK &&
        data)
        text = static_cast<const char*>(data);
    int answer = 0;
    host_->ShowMessage(text.c_str(), nullptr, 0x30, &answer);
}

bool MainWindow::ViewFrom(const std::array<int, 3>& d) {
    const int nonZero = (d[0] != 0) + (d[1] != 0) + (d[2] != 0);
    if (nonZero == 0) return false;
    UINT command = 0;
    if (nonZero == 1) {
        // The eye on the +X side looks along -X: the module's "-X".
        static const UINT minus[3] = {krav::ids::kAlignMinusX, krav::ids::kAlignMinusY,
                                      krav::ids::kAlignMinusZ};
        static const UINT plus[3] = {krav::ids::kAlignPlusX, krav::ids::kAlignPlusY,
                                     krav::ids::kAlignPlusZ};
        const int axis = d[0] != 0 ? 0 : d[1] != 0 ? 1 : 2;
        command = d[size_t(axis)] > 0 ? minus[axis] : plus[axis];
    } else if (d == std::array<int, 3>{1, -1, 1}) {
        command = krav::ids::kAlignPlusIsometric; // it looks from there, Z up
    }
    const auto navigator = host_->firstObject<IViewNavigator>();
    if (!module_ || !navigator) {
        statusBar()->showMessage(tr("The view module is not loaded"), 4000);
        return false;
    }
    if (command) {
        return host_->Run(command) == S_OK;
    }
    // Another edge or corner: the navigator turns the camera about its
    // target, keeping a locked up and refusing what the lock refuses.
    float view[3] = {-float(d[0]), -float(d[1]), -float(d[2])};
    float up[3] = {0, 0, 1};
    zul::scene::Camera c = zul::scene::cameraOf(*host_->sceneViewer.Get());
    return navigator->SetView(up, view, c.perspective ? Perspective : Orthographic) == S_OK;
}

bool MainWindow::RollView(int turn) {
    auto* viewer = host_->sceneViewer.Get();
    if (viewer->LockedAxis() != 0) {
        _sayLocked();
        return false;
    }
    const auto navigator = host_->firstObject<IViewNavigator>();
    if (!module_ || !navigator) {
        statusBar()->showMessage(tr("The view module is not loaded"), 4000);
        return false;
    }
    viewer->FinishTransition();
    const zul::scene::CameraFrame f = zul::scene::frameOf(zul::scene::cameraOf(*viewer));
    // The picture turns clockwise when the new up is the old left.
    const double* l = f.direction;
    const double* u = f.up;
    const double right[3] = {l[1] * u[2] - l[2] * u[1], l[2] * u[0] - l[0] * u[2],
                             l[0] * u[1] - l[1] * u[0]};
    float up[3], view[3];
    for (int i = 0; i < 3; ++i) {
        up[i] = float(turn > 0 ? -right[i] : right[i]);
        view[i] = float(l[i]);
    }
    return navigator->SetView(up, view, f.perspective ? Perspective : Orthographic) == S_OK;
}

} // namespace zul::viewer
