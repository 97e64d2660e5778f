#include "MainWindow.h"

#include <QAction>
#include <QApplication>
#include <QFileDialog>
#include <QKeySequence>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QToolBar>
#include <QVTKOpenGLNativeWidget.h>

#include <QSurfaceFormat>
#include <vtkCallbackCommand.h>
#include <vtkGenericOpenGLRenderWindow.h>
#include <vtkInteractorStyleTrackballCamera.h>
#include <vtkOpenGLRenderWindow.h>
#include <vtkRenderWindowInteractor.h>

#include <QTimer>
#include <vtkObjectFactory.h>

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

// The store is read this often for changes other programs made.
constexpr int kStorePollMs = 1000;

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
        if (id != kHostFitAllCommand) return false;
        host_->sceneViewer->FitAll();
        return true;
    };
    _buildUi();
}

MainWindow::~MainWindow() {
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
    style->AddObserver(vtkCommand::InteractionEvent, interaction_);
    style->AddObserver(vtkCommand::EndInteractionEvent, interaction_);
    // The first frame on screen: Qt has swapped the widget's buffer once.
    connect(vtk_, &QOpenGLWidget::frameSwapped, this, [this] {
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
        tr("&Open..."), this, [this] { _openDialog(); }, QKeySequence::Open);
    file->addAction(tr("&Sample model"), this, [this] { ShowSample(); });
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close, QKeySequence::Quit);

    QToolBar* bar = addToolBar(tr("View"));
    bar->setObjectName("viewToolBar");
    QAction* fit = bar->addAction(tr("Fit"), this, [this] { host_->sceneViewer->FitAll(); });
    fit->setObjectName("fitAll");
    fit->setShortcut(Qt::Key_F);
    fit->setToolTip(tr("Fit the whole model in the view (F)"));
    defaultView_ = bar->addAction(tr("&Default view"), this, [this] { StartView(); });
    defaultView_->setIconText(tr("Home"));
    defaultView_->setObjectName("applyDefaultView");
    defaultView_->setShortcut(Qt::Key_Home);
    defaultView_->setToolTip(
        tr("Show the default view, or +Isometric when none is set, with the model fitted (Home)"));
    clearDefault_ = new QAction(tr("C&lear default view"), this);
    clearDefault_->setObjectName("clearDefaultView");
    clearDefault_->setToolTip(tr("Remove the default mark from the stored views"));
    connect(clearDefault_, &QAction::triggered, this, [this] { ClearDefaultView(); });
    QAction* lock = bar->addAction(tr("Lock up"));
    lock->setObjectName("lockUpVector");
    lock->setCheckable(true);
    lock->setToolTip(tr("Lock the up vector: orbiting keeps it, views along it are refused"));
    connect(lock, &QAction::toggled, this, [this](bool on) {
        host_->sceneViewer->SetUpLocked(on);
        statusBar()->showMessage(on ? tr("Up vector locked") : tr("Up vector free"), 4000);
    });
    bar->addSeparator();
    struct Command {
        const char* text;
        UINT id;
        const char* tip;
    };
    const Command commands[] = {
        {"+X", krav::ids::kAlignPlusX, "Align to +X"},
        {"-X", krav::ids::kAlignMinusX, "Align to -X"},
        {"+Y", krav::ids::kAlignPlusY, "Align to +Y"},
        {"-Y", krav::ids::kAlignMinusY, "Align to -Y"},
        {"+Z", krav::ids::kAlignPlusZ, "Align to +Z"},
        {"-Z", krav::ids::kAlignMinusZ, "Align to -Z"},
        {"+Iso", krav::ids::kAlignPlusIsometric, "+Isometric"},
        {"-Iso", krav::ids::kAlignMinusIsometric, "-Isometric"},
        {nullptr, 0, nullptr},
        {"⟳", krav::ids::kRotateClockwise, "Rotate Clockwise"},
        {"⟲", krav::ids::kRotateCounterclockwise, "Rotate Counterclockwise"},
        {"↑", krav::ids::kRotateUp, "Rotate Up"},
        {"↓", krav::ids::kRotateDown, "Rotate Down"},
        {"←", krav::ids::kRotateLeft, "Rotate Left"},
        {"→", krav::ids::kRotateRight, "Rotate Right"},
        {nullptr, 0, nullptr},
        {"Views...", krav::ids::kEditDialog,
         "The Standard Views dialog (View > Edit ...): create, apply and manage stored views"},
        {"Rotate...", krav::ids::kControlDialog,
         "The Rotate dialog (View > Control Dialog ...): rotate and move by steps"},
    };
    for (const Command& c : commands) {
        if (!c.text) {
            bar->addSeparator();
            continue;
        }
        QAction* a = bar->addAction(QString::fromUtf8(c.text));
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
    statusBar()->showMessage(tr(
        "Drag to orbit, middle-drag to pan, wheel to zoom, F to fit, Home for the default view"));

    // Views other programs add, change or delete show up here too.
    auto* poll = new QTimer(this);
    connect(poll, &QTimer::timeout, this, [this] { PollStore(); });
    poll->start(kStorePollMs);
}

void MainWindow::_showShortcuts() {
    QMessageBox box(QMessageBox::NoIcon, tr("Keyboard shortcuts"),
                    tr("<table cellpadding=3>"
                       "<tr><td><b>F</b></td><td>Fit the whole model in the view</td></tr>"
                       "<tr><td><b>Home</b></td><td>The default view (+Isometric when none is "
                       "set), fitted</td></tr>"
                       "<tr><td><b>Ctrl+O</b></td><td>Open models</td></tr>"
                       "<tr><td><b>Ctrl+Q</b></td><td>Quit</td></tr>"
                       "<tr><td>Left drag</td><td>Orbit</td></tr>"
                       "<tr><td>Middle drag</td><td>Pan</td></tr>"
                       "<tr><td>Wheel</td><td>Zoom</td></tr>"
                       "</table>"),
                    QMessageBox::Ok, this);
    box.setObjectName("shortcutsBox");
    box.exec();
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
    // The mark may have moved in the dialog or in another program.
    connect(view, &QMenu::aboutToShow, this, [this] {
        ULONG len = 0;
        auto mgr = _mgr();
        clearDefault_->setEnabled(mgr && mgr->GetDefaultView(&len, nullptr) != E_FAIL);
    });
}

bool MainWindow::ApplyDefaultView() {
    auto mgr = _mgr();
    ULONG len = 0;
    if (!mgr || mgr->GetDefaultView(&len, nullptr) == E_FAIL) return false;
    if (mgr->ApplyDefaultView() == S_OK) host_->sceneViewer->FitAll();
    return true;
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

void MainWindow::PollStore() {
    if (!module_ || QApplication::activeModalWidget() ||
        QApplication::mouseButtons() != Qt::NoButton)
        return;
    if (auto store = host_->firstObject<IViewManager2>()) {
        FullViewInfo info;
        store->GetViewInfo("PLACEHOLDER_VIEW_NAME", &info);
    }
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
        if (!viewer->Picking()) return;
        int* p = vtk_->interactor()->GetEventPosition();
        if (viewer->PickAt(p[0], p[1]) && module_)
            module_->NotifyPicked();
        else
            statusBar()->showMessage(tr("Nothing there to pick"), 3000);
        press_->SetAbortFlag(1);
        return;
    }
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

void MainWindow::StartView() {
    if (ApplyDefaultView()) return;
    if (module_) host_->Run(krav::ids::kAlignPlusIsometric);
    host_->sceneViewer->FitAll();
}

void MainWindow::ShowSample() {
    scene_.clear();
    scene_.addSampleModel();
    setWindowTitle(tr("ZUL Viewer - sample assembly"));
    StartView();
}

bool MainWindow::OpenModels(const QStringList& paths, QString& error) {
    if (paths.isEmpty()) {
        ShowSample();
        return true;
    }
    zul::scene::Scene trial; // read first: a bad file leaves the scene as it was
    QStringList problems, read;
    for (const QString& path : paths) {
        std::string why;
        if (trial.addFile(path.toStdString(), why))
            read << path;
        else
            problems << QString::fromStdString(why);
    }
    if (!read.isEmpty()) {
        scene_.takePartsOf(trial);
        setWindowTitle(tr("ZUL Viewer - %1").arg(QFileInfo(read.front()).fileName()));
        StartView();
    }
    error = problems.join('\n');
    return problems.isEmpty();
}

void MainWindow::_openDialog() {
    const QStringList paths = QFileDialog::getOpenFileNames(
        this, tr("Open models"), QString(), tr("Models (*.stl *.obj *.ply *.vtp);;All files (*)"));
    if (paths.isEmpty()) return;
    QString error;
    if (!OpenModels(paths, error)) QMessageBox::warning(this, windowTitle(), error);
}

} // namespace zul::viewer
