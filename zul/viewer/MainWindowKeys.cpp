// MainWindow: the keys of the key table (KeyBindings.h) at work, and the
// Help menu: the page made from that table, and the About box.
#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QStatusBar>

#include <QVTKOpenGLNativeWidget.h>
#include <vtkRenderWindow.h>
#include <vtkVersion.h>

#include "KRAdvancedViews/ResourceIds.h"
#include "KeyBindings.h"
#include "MainWindow.h"
#include "zul/scene/ModelReader.h"

namespace zul::viewer {

void MainWindow::_showShortcuts() {
    QMessageBox box(QMessageBox::NoIcon, tr("Keyboard shortcuts"), ShortcutsHelpHtml(),
                    QMessageBox::Ok, this);
    box.setObjectName("shortcutsBox");
    box.exec();
}

void MainWindow::_addKeys() {
    // The view's keys act wherever the focus is in the main window (the 3D
    // view, the menu bar after a menu was opened and closed, a toolbar
    // button just clicked): every key press meant for a widget of this
    // window passes here first. Window shortcuts would not do: Qt takes
    // Shift+Z for Z too, and the two would cancel out. The module's dialogs
    // and open menus are windows of their own and keep their keys.
    qApp->installEventFilter(this);
}

bool MainWindow::_windowKey(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return false;
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || widget->window() != this) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    return _viewKey(key->key(), key->modifiers());
}

void MainWindow::_addMoveSteps(QMenu* display) {
    // The module's move steps, beside its rotate steps: the camera moved
    // along a world axis by the step of the Rotate dialog.
    QMenu* move = display->addMenu(tr("Mo&ve camera"));
    move->setObjectName("moveCamera");
    const struct {
        const char* text;
        UINT id;
    } steps[] = {
        {QT_TR_NOOP("Move along +&X"), krav::ids::kMovePlusX},
        {QT_TR_NOOP("Move along -X"), krav::ids::kMoveMinusX},
        {QT_TR_NOOP("Move along +&Y"), krav::ids::kMovePlusY},
        {QT_TR_NOOP("Move along -Y"), krav::ids::kMoveMinusY},
        {QT_TR_NOOP("Move along +&Z"), krav::ids::kMovePlusZ},
        {QT_TR_NOOP("Move along -Z"), krav::ids::kMoveMinusZ},
    };
    for (const auto& step : steps) {
        const UINT id = step.id;
        move->addAction(tr(step.text), this, [this, id] {
            if (FAILED(host_->Run(id)))
                statusBar()->showMessage(tr("The view module is not loaded"), 4000);
        });
    }
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

// Help > About: what this is, its version, and the libraries it draws and
// reads with (the reader's, asked of the helper program itself).
void MainWindow::_showAbout() {
    QProcess helper;
    helper.start(QString::fromStdString(zul::scene::modelReaderPath()), {"--versions"});
    QString readers = tr("(the model reader did not answer)");
    if (helper.waitForFinished(3000) && helper.exitCode() == 0)
        readers = QString::fromUtf8(helper.readAllStandardOutput()).trimmed().replace('\n', ", ");
    const QString text =
        tr("<b>ZUL Viewer %1</b><p>A viewer of CAD and mesh models with named camera views "
           "(the view module KRAdvancedViews).</p><p>Drawn with Qt %2 and VTK %3.<br>Models "
           "read with %4.<br>The view module: %5.</p>")
            .arg(QStringLiteral(ZUL_VERSION), QString::fromLatin1(qVersion()),
                 QString::fromLatin1(vtkVersion::GetVTKVersion()), readers,
                 module_ ? tr("loaded") : tr("not loaded"));
    auto* box = new QMessageBox(QMessageBox::Information, tr("About ZUL Viewer"), text,
                                QMessageBox::Ok, this);
    box->setObjectName("aboutBox");
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

} // namespace zul::viewer
