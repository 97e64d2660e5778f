#include "MainWindow.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QInputDialog>
#include <QKeySequence>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>
#include <QVTKOpenGLNativeWidget.h>

#include <QSurfaceFormat>
#include <vtkCallbackCommand.h>
#include <vtkGenericOpenGLRenderWindow.h>
#include <vtkInteractorStyleTrackballCamera.h>
#include <vtkOpenGLRenderWindow.h>
#include <vtkRenderWindowInteractor.h>

#include <QCloseEvent>
#include <QDialog>
#include <QKeyEvent>
#include <QTimer>
#include <QToolButton>
#include <vtkCamera.h>
#include <vtkObjectFactory.h>
#include <vtkRenderer.h>

#include <memory>

#include "KeyBindings.h"
#include "ModelLoader.h"
#include "StoreWatcher.h"
#include "ViewCube.h"
#include "ViewerSettings.h"

#include "KRAdvancedViews/ResourceIds.h"
#include "ViewModule.h"

namespace zul::viewer {

namespace {

// Trackball orbiting without VTK's letter commands: they switched on stereo
// with no way back, ended the interaction or turned the model to wireframe
// behind the viewer's back. The viewer's own keys are Qt shortcuts.
class CQuietTrackballStyle : public vtkInteractorStyleTrackballCamera {
public:
    static CQuietTrackballStyle* New();
    vtkTypeMacro(CQuietTrackballStyle, vtkInteractorStyleTrackballCamera);
    void OnChar() override {}
};
vtkStandardNewMacro(CQuietTrackballStyle);

// The action's key from the key table, named in its tooltip.
void s_setKey(QAction* action, ViewerAction which, const QString& tip) {
    const QKeySequence key = KeyOf(which);
    action->setShortcut(key);
    action->setToolTip(
        key.isEmpty() ? tip
                      : QStringLiteral("%1 (%2)").arg(tip, key.toString(QKeySequence::NativeText)));
}

} // namespace

void SetUpSurfaceFormat() {
    // Without multisampling: on a software renderer (a virtual display) it
    // costs more than drawing the whole scene.
    vtkOpenGLRenderWindow::SetGlobalMaximumNumberOfMultiSamples(0);
    QSurfaceFormat::setDefaultFormat(QVTKOpenGLNativeWidget::defaultFormat());
}

MainWindow::MainWindow() {
    setWindowTitle(tr("ZUL Viewer"));
    resize(1280, 800);
    IHostModuleSite* site = nullptr;
    zul::com::createInstance<CViewerHost>(nullptr, zul::com::iidOf<IHostModuleSite>(),
                                          reinterpret_cast<void**>(&site));
    host_.Attach(static_cast<CViewerHost*>(site));
    host_->window = this;
    host_->status = [this](const QString& text) { statusBar()->showMessage(text, 8000); };
    host_->hostCommand = [this](DWORD id) {
        if (id == kHostFitAllCommand) {
            host_->sceneViewer->FitAll();
            return true;
        }
        if (id >= krav::ids::kFirstView && id < krav::ids::kFirstView + kMaxStoredViewCommands)
            lastStoredView_ = id;
        return _refusedByLock(id);
    };
    transitionMs_ = ReadTransitionMs();
    _buildUi();
    setAcceptDrops(true);
    if (const QByteArray geometry = ReadGeometry("Main Window"); !geometry.isEmpty())
        restoreGeometry(geometry);
    // The module's dialogs come back where the user left them.
    qApp->installEventFilter(this);
}

MainWindow::~MainWindow() {
    if (coarseJob_.joinable()) coarseJob_.join();
    StopModule();
    if (host_) {
        host_->sceneViewer->window = nullptr;
        host_->sceneViewer->scene = nullptr;
    }
}

QWidget* MainWindow::view() const {
    return vtk_;
}

void MainWindow::_buildUi() {
    renderWindow_ = vtkSmartPointer<vtkGenericOpenGLRenderWindow>::New();
    vtk_ = new QVTKOpenGLNativeWidget(this);
    vtk_->setRenderWindow(renderWindow_);
    setCentralWidget(vtk_);
    scene_.attach(renderWindow_);
    host_->sceneViewer->scene = &scene_;
    host_->sceneViewer->window = renderWindow_;

    vtkNew<CQuietTrackballStyle> style;
    vtk_->interactor()->SetInteractorStyle(style);
    interaction_ = vtkSmartPointer<vtkCallbackCommand>::New();
    interaction_->SetCallback(&MainWindow::s_onInteraction);
    interaction_->SetClientData(this);
    style->AddObserver(vtkCommand::StartInteractionEvent, interaction_);
    style->AddObserver(vtkCommand::InteractionEvent, interaction_);
    style->AddObserver(vtkCommand::EndInteractionEvent, interaction_);
    // Transitions: the viewer asks for frames, a timer at the display's
    // rate draws them until the move has ended.
    frames_ = new QTimer(this);
    frames_->setInterval(15);
    connect(frames_, &QTimer::timeout, this, [this] {
        if (!host_->sceneViewer->Frame()) frames_->stop();
    });
    host_->sceneViewer->transitionMs = transitionMs_;
    host_->sceneViewer->requestFrames = [this] { frames_->start(); };

    // The view cube replaces the passive axes in the corner; it follows
    // every picture drawn, transitions and drags included.
    scene_.axesRenderer()->DrawOff();
    cube_ = new ViewCube(vtk_);
    connect(cube_, &ViewCube::viewFrom, this, [this](const std::array<int, 3>& d) { ViewFrom(d); });
    connect(cube_, &ViewCube::roll, this, [this](int turn) { RollView(turn); });
    drawn_ = vtkSmartPointer<vtkCallbackCommand>::New();
    drawn_->SetClientData(this);
    drawn_->SetCallback([](vtkObject*, unsigned long, void* self, void*) {
        auto* window = static_cast<MainWindow*>(self);
        vtkCamera* camera = window->scene_.renderer()->GetActiveCamera();
        double look[3], up[3];
        camera->GetDirectionOfProjection(look);
        camera->GetViewUp(up);
        window->cube_->SetCamera(look, up);
    });
    renderWindow_->AddObserver(vtkCommand::EndEvent, drawn_);

    // The first frame on screen: Qt has swapped the widget's buffer once.
    connect(vtk_, &QOpenGLWidget::frameSwapped, this, [this] {
        // New models are drawn before their drag copies are begun: copying
        // their parts for the job takes a moment the picture should not wait.
        if (coarsePending_) {
            coarsePending_ = false;
            QTimer::singleShot(0, this, [this] { _makeCoarseCopiesLater(); });
        }
        if (firstFrameSeen_) return;
        firstFrameSeen_ = true;
        Q_EMIT firstFrame();
    });
    // A click while the module picks is a pick, not the start of an orbit.
    press_ = vtkSmartPointer<vtkCallbackCommand>::New();
    press_->SetCallback(&MainWindow::s_onInteraction);
    press_->SetClientData(this);
    vtk_->interactor()->AddObserver(vtkCommand::LeftButtonPressEvent, press_, 10.0f);

    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(
        tr("&Open..."), this, [this] { _openDialog(); }, KeyOf(ViewerAction::OpenModels));
    file->addAction(tr("&Sample model"), this, [this] { ShowSample(); });
    recentMenu_ = file->addMenu(tr("&Recent models"));
    recentMenu_->setObjectName("recentModels");
    recent_ = ReadRecentModels();
    _rebuildRecent();
    QMenu* display = menuBar()->addMenu(tr("&Display"));
    display->setObjectName("displayMenu");
    QAction* points = display->addAction(tr("&Point size..."), this, [this] { _askPointSize(); });
    points->setObjectName("pointSize");
    points->setToolTip(tr("The size in pixels of the points of point clouds"));
    QAction* larger = display->addAction(
        tr("&Larger points"), this,
        [this] {
            scene_.setPointSize(scene_.pointSize() + 1);
            renderWindow_->Render();
        },
        KeyOf(ViewerAction::LargerPoints));
    larger->setObjectName("largerPoints");
    QAction* smaller = display->addAction(
        tr("S&maller points"), this,
        [this] {
            scene_.setPointSize(scene_.pointSize() - 1);
            renderWindow_->Render();
        },
        KeyOf(ViewerAction::SmallerPoints));
    smaller->setObjectName("smallerPoints");
    display->addSeparator();
    QAction* transition = display->addAction(tr("&Transition duration..."), this, [this] {
        bool ok = false;
        const int ms = QInputDialog::getInt(this, tr("Transition duration"),
                                            tr("Milliseconds a camera change takes (0: at once):"),
                                            int(transitionMs_), 0, int(kMaxTransitionMs), 50, &ok);
        if (ok) SetTransitionMs(unsigned(ms));
    });
    transition->setObjectName("transitionDuration");
    file->addSeparator();
    QAction* saveWithModel = file->addAction(tr("Save &Views with Model..."), this, [this] {
        const QString target = modelPath_ + ".qjv";
        if (!modelPath_.isEmpty() && QFileInfo::exists(target) &&
            QMessageBox::question(this, tr("Save Views with Model"),
                                  tr("%1 exists. Replace it with the stored views?")
                                      .arg(QFileInfo(target).fileName())) != QMessageBox::Yes)
            return;
        QString error;
        if (!SaveViewsWithModel(error))
            QMessageBox::warning(this, tr("Save Views with Model"), error);
    });
    saveWithModel->setObjectName("saveViewsWithModel");
    file->addAction(tr("&Import Views..."), this, [this] { _importViewsAsked(); })
        ->setObjectName("importViews");
    file->addAction(tr("&Export Views..."), this, [this] { _exportViewsAsked(); })
        ->setObjectName("exportViews");
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close, KeyOf(ViewerAction::Quit));

    QToolBar* bar = addToolBar(tr("View"));
    bar->setObjectName("viewToolBar");
    QAction* fit = bar->addAction(tr("Fit"), this, [this] { host_->sceneViewer->FitAll(); });
    fit->setObjectName("fitAll");
    s_setKey(fit, ViewerAction::FitAll, tr("Fit the whole model in the view"));
    defaultView_ = bar->addAction(tr("&Default view"), this, [this] { StartView(); });
    defaultView_->setIconText(tr("Home"));
    defaultView_->setObjectName("applyDefaultView");
    s_setKey(defaultView_, ViewerAction::DefaultView,
             tr("Show the default view, or +Isometric when none is set, with the model fitted"));
    clearDefault_ = new QAction(tr("C&lear default view"), this);
    clearDefault_->setObjectName("clearDefaultView");
    clearDefault_->setToolTip(tr("Remove the default mark from the stored views"));
    connect(clearDefault_, &QAction::triggered, this, [this] { ClearDefaultView(); });
    QAction* lock = bar->addAction(tr("Lock up"));
    lock_ = lock;
    lock->setObjectName("lockUpVector");
    lock->setCheckable(true);
    s_setKey(lock, ViewerAction::ToggleLock,
             tr("Lock the up vector: orbiting keeps it, views along it are refused"));
    lock->setIconText(tr("Lock up"));
    // Said where it is seen: the menu item and the status bar name the axis.
    lockState_ = new QLabel(this);
    lockState_->setObjectName("lockState");
    lockState_->hide();
    statusBar()->addPermanentWidget(lockState_);
    connect(lock, &QAction::toggled, this, [this, lock](bool on) {
        auto* viewer = host_->sceneViewer.Get();
        viewer->SetUpLocked(on);
        const int axis = viewer->LockedAxis();
        const QString said = axis ? tr("Up locked to %1%2")
                                        .arg(viewer->up[axis - 1] < 0 ? "-" : "+")
                                        .arg(QChar("XYZ"[axis - 1]))
                                  : QString();
        lock->setText(on ? said : tr("Lock up"));
        lockState_->setText(said);
        lockState_->setVisible(on);
        statusBar()->showMessage(on ? said : tr("Up vector free"), 4000);
    });
    // In words in the menu, as arrows on the toolbar.
    QAction* back = bar->addAction(tr("P&revious view"), this, [this] { GoBack(); });
    back->setIconText(QString::fromUtf8("◀"));
    back->setObjectName("cameraBack");
    s_setKey(back, ViewerAction::CameraBack, tr("The camera before the last change"));
    QAction* forward = bar->addAction(tr("&Next view"), this, [this] { GoForward(); });
    forward->setIconText(QString::fromUtf8("▶"));
    forward->setObjectName("cameraForward");
    s_setKey(forward, ViewerAction::CameraForward, tr("The camera gone back from"));
    perspective_ = bar->addAction(tr("P&erspective"), this, [this] { ToggleProjection(); });
    perspective_->setIconText(tr("Persp"));
    perspective_->setObjectName("toggleProjection");
    perspective_->setCheckable(true);
    s_setKey(perspective_, ViewerAction::ToggleProjection,
             tr("Perspective or orthographic projection"));
    display->addSeparator();
    display->addAction(back);
    display->addAction(forward);
    display->addAction(perspective_);
    display->addAction(lock);
    _addMoveSteps(display);
    bar->addSeparator();
    struct Command {
        const char* text;
        UINT id;
        const char* tip;
    };
    const Command commands[] = {
        {"+X", krav::ids::kAlignPlusX, nullptr},
        {"-X", krav::ids::kAlignMinusX, nullptr},
        {"+Y", krav::ids::kAlignPlusY, nullptr},
        {"-Y", krav::ids::kAlignMinusY, nullptr},
        {"+Z", krav::ids::kAlignPlusZ, nullptr},
        {"-Z", krav::ids::kAlignMinusZ, nullptr},
        {"+Iso", krav::ids::kAlignPlusIsometric, nullptr},
        {"-Iso", krav::ids::kAlignMinusIsometric, nullptr},
        {nullptr, 0, nullptr},
        {"⟳", krav::ids::kRotateClockwise, QT_TR_NOOP("Rotate Clockwise")},
        {"⟲", krav::ids::kRotateCounterclockwise, QT_TR_NOOP("Rotate Counterclockwise")},
        {"↑", krav::ids::kRotateUp, QT_TR_NOOP("Rotate Up")},
        {"↓", krav::ids::kRotateDown, QT_TR_NOOP("Rotate Down")},
        {"←", krav::ids::kRotateLeft, QT_TR_NOOP("Rotate Left")},
        {"→", krav::ids::kRotateRight, QT_TR_NOOP("Rotate Right")},
        {nullptr, 0, nullptr},
        {QT_TR_NOOP("Views..."), krav::ids::kEditDialog,
         QT_TR_NOOP("The Standard Views dialog (View > Edit ...): create, apply and manage stored "
                    "views")},
        {QT_TR_NOOP("Rotate..."), krav::ids::kControlDialog,
         QT_TR_NOOP("The Rotate dialog (View > Control Dialog ...): rotate and move by steps")},
    };
    for (const Command& c : commands) {
        if (!c.text) {
            bar->addSeparator();
            continue;
        }
        QAction* a = bar->addAction(c.tip ? tr(c.text) : QString::fromUtf8(c.text));
        // The align commands say what they show as their keys do.
        if (const KeyBinding* key = BindingOf(ViewerAction::ModuleCommand, c.id); key && !c.tip)
            a->setToolTip(QStringLiteral("%1 (%2)").arg(
                QCoreApplication::translate("KeyBindings", key->text),
                QKeySequence(QString::fromLatin1(key->keys)).toString(QKeySequence::NativeText)));
        else
            a->setToolTip(tr(c.tip));
        a->setData(c.id);
        const UINT id = c.id;
        connect(a, &QAction::triggered, this, [this, id] {
            if (FAILED(host_->Run(id)))
                statusBar()->showMessage(tr("The view module is not loaded"), 4000);
        });
    }
    help_ = menuBar()->addMenu(tr("&Help"));
    QAction* keys = help_->addAction(tr("&Keyboard shortcuts"), this, [this] { _showShortcuts(); });
    keys->setObjectName("keyboardShortcuts");
    QAction* about = help_->addAction(tr("&About ZUL Viewer"), this, [this] { _showAbout(); });
    about->setObjectName("about");
    _addKeys();
    progress_ = new QProgressBar(this);
    progress_->setObjectName("readProgress");
    progress_->setRange(0, 1000);
    progress_->setMaximumWidth(220);
    progress_->setTextVisible(true);
    progress_->hide();
    statusBar()->addPermanentWidget(progress_);
    stopRead_ = new QToolButton(this);
    stopRead_->setObjectName("stopRead");
    stopRead_->setText(tr("Stop"));
    stopRead_->setToolTip(
        tr("Stop reading (%1)")
            .arg(KeyOf(ViewerAction::StopReading).toString(QKeySequence::NativeText)));
    stopRead_->hide();
    connect(stopRead_, &QToolButton::clicked, this, [this] { StopReading(); });
    statusBar()->addPermanentWidget(stopRead_);
    // Esc stops a read wherever the focus is in the window.
    auto* stopKey = new QAction(this);
    stopKey->setShortcut(KeyOf(ViewerAction::StopReading));
    stopKey->setShortcutContext(Qt::WindowShortcut);
    connect(stopKey, &QAction::triggered, this, [this] { StopReading(); });
    addAction(stopKey);
    loader_ = new ModelLoader(this);
    connect(loader_, &ModelLoader::progress, this,
            [this](int permille, const QString& file, const QString& phase) {
                progress_->setValue(permille);
                progress_->setFormat(QStringLiteral("%p %"));
                statusBar()->showMessage(tr("Reading %1: %2").arg(file, phase));
            });
    connect(loader_, &ModelLoader::finished, this,
            [this](std::shared_ptr<ModelLoader::Result> result) { _readEnded(*result); });
    // What the scene holds, under any passing message: a message shows over
    // it for its time, then the summary is back.
    summary_ = new QLabel(this);
    summary_->setObjectName("sceneSummary");
    statusBar()->addWidget(summary_, 1);
    statusBar()->showMessage(
        tr("Drag to orbit, middle-drag to pan, wheel to zoom, F to fit, Home for the default view"),
        20000);

    // A model read in the background that could not be read: said without
    // stopping the window.
    connect(this, &MainWindow::modelsOpened, this, [this](int, const QString& error) {
        if (error.isEmpty()) return;
        auto* box =
            new QMessageBox(QMessageBox::Warning, windowTitle(), error, QMessageBox::Ok, this);
        box->setObjectName("readFailed");
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
    });

    // Views other programs add, change or delete show up here too.
    storeWatcher_ = new StoreWatcher(
        [this] {
            zul::com::ComPtr<IViewStoreEdits> edits;
            if (auto store = host_->firstObject<IViewManager2>()) store.As(edits);
            return edits;
        },
        this);
}

zul::com::ComPtr<IAdvancedViewsModuleMgr> MainWindow::_mgr() const {
    zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr;
    if (module_) module_.As(mgr);
    return mgr;
}

void MainWindow::_addViewMenuItems() {
    // Help stays the last menu, after the module's.
    menuBar()->removeAction(help_->menuAction());
    menuBar()->addAction(help_->menuAction());
    QMenu* view = host_->menu(krav::ids::kMenuFull);
    if (!view) return;
    view->addSeparator();
    view->addAction(defaultView_);
    view->addAction(clearDefault_);
    modelViewsMenu_ = view->addMenu(tr("&Model Views"));
    modelViewsMenu_->setObjectName("modelViews");
    _rebuildModelViewsMenu();
    // The mark may have moved in the dialog or in another program.
    connect(view, &QMenu::aboutToShow, this, [this] {
        ULONG len = 0;
        auto mgr = _mgr();
        clearDefault_->setEnabled(mgr && mgr->GetDefaultView(&len, nullptr) != E_FAIL);
    });
    // The module's align items show the view's keys in their shortcut
    // column; the keys themselves act in the 3D view (_viewKey), so the
    // shortcuts are bound to the menu alone.
    for (const KeyBinding& b : KeyBindings())
        if (QAction* a =
                b.action == ViewerAction::ModuleCommand ? host_->action(b.command) : nullptr) {
            a->setShortcut(QKeySequence(QString::fromLatin1(b.keys)));
            a->setShortcutContext(Qt::WidgetShortcut);
        }
    // The stored views' items carry pictures of the model seen from them.
    if (QMenu* stored = host_->submenu(CViewerHost::kStoredViewsPopup))
        connect(stored, &QMenu::aboutToShow, this, [this] { _viewMenuPictures(); });
}

bool MainWindow::PollStore() {
    return module_ && storeWatcher_->Check();
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) PollStore();
}

void MainWindow::s_onInteraction(vtkObject*, unsigned long event, void* self, void*) {
    static_cast<MainWindow*>(self)->_onInteraction(event);
}

void MainWindow::_onInteraction(unsigned long event) {
    auto* viewer = host_->sceneViewer.Get();
    if (event == vtkCommand::LeftButtonPressEvent) {
        viewer->FinishTransition(); // a press ends a transition at its camera
        if (!viewer->Picking()) return;
        int* p = vtk_->interactor()->GetEventPosition();
        if (viewer->PickAt(p[0], p[1]) && module_)
            module_->NotifyPicked();
        else
            statusBar()->showMessage(tr("Nothing there to pick"), 3000);
        press_->SetAbortFlag(1);
        return;
    }
    // While the view is dragged, large models draw their coarse copies;
    // the whole model comes back when the drag ends.
    if (event == vtkCommand::StartInteractionEvent) {
        scene_.setCoarse(true);
        return;
    }
    if (event == vtkCommand::EndInteractionEvent && scene_.setCoarse(false))
        renderWindow_->Render();
    viewer->CameraMovedByUser(event == vtkCommand::InteractionEvent);
}

bool MainWindow::StartModule(QString& error) {
    auto& activator = zul::runtime::Activator::instance();
    bool overridden = false;
    std::string why;
    zul::runtime::ViewModule loaded;
    HRESULT hr = E_FAIL;
    if (zul::runtime::applyModuleOverride(activator, overridden, why))
        hr = zul::runtime::createViewModule(activator, overridden, loaded, why);
    if (SUCCEEDED(hr)) {
        host_->resource = loaded.resource;
        host_->createObject = [&activator](REFCLSID clsid, IUnknown** pp) {
            return activator.createInstance(clsid, nullptr, IID_IUnknown,
                                            reinterpret_cast<void**>(pp));
        };
        zul::com::ComPtr<IZulModule> module;
        zul::com::ComPtr<IObjectWithSite> site;
        if (FAILED(loaded.object.As(module)) || FAILED(loaded.object.As(site))) {
            hr = E_NOINTERFACE;
            why = "the module lacks an interface";
        } else {
            module->SetMenuInstallMode(TRUE);
            site->SetSite(static_cast<IHostModuleSite*>(host_.Get()));
            if (FAILED(hr = module->Start())) {
                why = "the module failed to start: " + zul::runtime::describeHresult(hr);
                site->SetSite(nullptr);
            } else if (FAILED(hr = module->AttachViewer(zul::runtime::CHeadlessHost::kViewerId))) {
                why = "the module cannot attach the view: " + zul::runtime::describeHresult(hr);
                module->Stop();
                site->SetSite(nullptr);
            } else {
                module_ = module;
                moduleSite_ = site;
            }
        }
    }
    if (FAILED(hr)) {
        error = QString::fromStdString(why);
        statusBar()->showMessage(tr("Running without the view module: %1").arg(error));
        return false;
    }
    _addViewMenuItems();
    statusBar()->showMessage(tr("View module loaded"), 4000);
    return true;
}

void MainWindow::StopModule() {
    if (!module_) return;
    module_->DetachViewer(zul::runtime::CHeadlessHost::kViewerId);
    module_->Stop();
    moduleSite_->SetSite(nullptr);
    module_.Reset();
    moduleSite_.Reset();
}

void MainWindow::_viewMenuPictures() {
    auto store = host_->firstObject<IViewManager2>();
    if (!store) return;
    constexpr int width = 48, height = 36; // rows of 144 bytes: no padding
    int position = 0;
    for (UINT id : _storedViewCommands()) {
        QAction* item = host_->action(id);
        // The first nine show their Ctrl+digit (the keys act in the 3D view).
        if (item && ++position <= 9) {
            item->setShortcut(KeyOf(ViewerAction::StoredView, 0, position - 1));
            item->setShortcutContext(Qt::WidgetShortcut);
        }
        FullViewInfo info;
        if (!item || store->GetViewInfo(item->text().toUtf8().constData(), &info) != S_OK) continue;
        float direction[3];
        ViewDirectionOf(info, direction);
        QImage picture(width, height, QImage::Format_RGB888);
        if (host_->DrawViewPicture(direction, info.pUpVector, info.cameraType == Perspective,
                                   info.viewAngle, width, height, picture.bits()) == S_OK)
            item->setIcon(QIcon(QPixmap::fromImage(picture)));
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    WriteGeometry("Main Window", saveGeometry());
    QMainWindow::closeEvent(event);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (_windowKey(watched, event)) return true;
    // A module dialog (one with a name) reopens where it was last closed.
    if (auto* dialog = qobject_cast<QDialog*>(watched); dialog && !dialog->objectName().isEmpty()) {
        if (event->type() == QEvent::Show) {
            if (const QByteArray g = ReadGeometry(dialog->objectName()); !g.isEmpty())
                dialog->restoreGeometry(g);
            else
                _placeBeside(dialog);
        } else if (event->type() == QEvent::Hide) {
            WriteGeometry(dialog->objectName(), dialog->saveGeometry());
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::_askPointSize() {
    bool ok = false;
    const double size = QInputDialog::getDouble(
        this, tr("Point size"), tr("Size of the points of point clouds, in pixels:"),
        scene_.pointSize(), 1, 50, 1, &ok);
    if (!ok) return;
    scene_.setPointSize(size);
    renderWindow_->Render();
}

} // namespace zul::viewer
