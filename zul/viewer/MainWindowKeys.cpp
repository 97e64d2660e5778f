// MainWindow: the keys of the key table (KeyBindings.h) at work, and the
// Help page made from it.
#include <QAction>
#include <QMessageBox>
#include <QStatusBar>

#include <QVTKOpenGLNativeWidget.h>
#include <vtkRenderWindow.h>

#include "KeyBindings.h"
#include "MainWindow.h"

namespace zul::viewer {

void MainWindow::_showShortcuts() {
    QMessageBox box(QMessageBox::NoIcon, tr("Keyboard shortcuts"), ShortcutsHelpHtml(),
                    QMessageBox::Ok, this);
    box.setObjectName("shortcutsBox");
    box.exec();
}

void MainWindow::_addKeys() {
    // The view's own keys are read from its key presses, so they act only
    // while the 3D view has the focus; the dialogs keep their own.
    vtk_->installEventFilter(this);
}

bool MainWindow::_viewKey(int key, Qt::KeyboardModifiers modifiers) {
    // The window's own keys too: a key event sent to the view (by a test, or
    // a program) has not been through the window's shortcuts.
    const KeyBinding* b = BindingForPress(key, modifiers, KeyScope::View);
    if (!b) b = BindingForPress(key, modifiers, KeyScope::Window);
    if (!b) return false;
    RunKey(*b);
    return true;
}

void MainWindow::RunKey(const KeyBinding& b) {
    switch (b.action) {
    case ViewerAction::ModuleCommand:
        if (FAILED(host_->Run(b.command)))
            statusBar()->showMessage(tr("The view module is not loaded"), 4000);
        break;
    case ViewerAction::StoredView:
        ApplyStoredView(b.index);
        break;
    case ViewerAction::PreviousStoredView:
        StepStoredView(-1);
        break;
    case ViewerAction::NextStoredView:
        StepStoredView(+1);
        break;
    case ViewerAction::ToggleProjection:
        ToggleProjection();
        break;
    case ViewerAction::ToggleLock:
        lock_->toggle();
        break;
    case ViewerAction::FitAll:
        host_->sceneViewer->FitAll();
        break;
    case ViewerAction::DefaultView:
        StartView();
        break;
    case ViewerAction::CameraBack:
        GoBack();
        break;
    case ViewerAction::CameraForward:
        GoForward();
        break;
    case ViewerAction::OpenModels:
        _openDialog();
        break;
    case ViewerAction::StopReading:
        StopReading();
        break;
    case ViewerAction::LargerPoints:
    case ViewerAction::SmallerPoints:
        scene_.setPointSize(scene_.pointSize() + (b.action == ViewerAction::LargerPoints ? 1 : -1));
        renderWindow_->Render();
        break;
    case ViewerAction::Quit:
        close();
        break;
    }
}

} // namespace zul::viewer
