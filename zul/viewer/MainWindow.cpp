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

#include <vtkCallbackCommand.h>
#include <vtkGenericOpenGLRenderWindow.h>
#include <vtkOpenGLRenderWindow.h>
#include <QSurfaceFormat>
#include <vtkInteractorStyleTrackballCamera.h>
#include <vtkRenderWindowInteractor.h>

#include "zul/runtime/ViewModule.h"

namespace zul::viewer {

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
    zul::com::createInstance<CViewerHost>(nullptr, zul::com::iidOf<IHostModuleSite>(), reinterpret_cast<void**>(&site));
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

QWidget* MainWindow::view() const { return vtk_; }

void MainWindow::_buildUi() {
    renderWindow_ = vtkSmartPointer<vtkGenericOpenGLRenderWindow>::New();
    vtk_ = new QVTKOpenGLNativeWidget(this);
    vtk_->setRenderWindow(renderWindow_);
    setCentralWidget(vtk_);
    scene_.attach(renderWindow_);
    host_->sceneViewer->scene = &scene_;
    host_->sceneViewer->window = renderWindow_;

    vtkNew<vtkInteractorStyleTrackballCamera> style;
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
    file->addAction(tr("&Open..."), this, [this] { _openDialog(); }, QKeySequence::Open);
    file->addAction(tr("&Sample model"), this, [this] { ShowSample(); });
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close, QKeySequence::Quit);

    QToolBar* bar = addToolBar(tr("View"));
    bar->setObjectName("viewToolBar");
    QAction* fit = bar->addAction(tr("Fit"), this, [this] { host_->sceneViewer->FitAll(); });
    fit->setShortcut(Qt::Key_F);
    fit->setToolTip(tr("Fit the whole model in the view (F)"));
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
        {"+X", 7145, "Align to +X"},          {"-X", 7142, "Align to -X"},        {"+Y", 7146, "Align to +Y"},
        {"-Y", 7143, "Align to -Y"},          {"+Z", 7147, "Align to +Z"},        {"-Z", 7144, "Align to -Z"},
        {"+Iso", 7140, "+Isometric"},         {"-Iso", 7141, "-Isometric"},       {nullptr, 0, nullptr},
        {"⟳", 7132, "Rotate Clockwise"},      {"⟲", 7134, "Rotate Counterclockwise"}, {"↑", 7138, "Rotate Up"},
        {"↓", 7135, "Rotate Down"},           {"←", 7136, "Rotate Left"},         {"→", 7137, "Rotate Right"},
        {nullptr, 0, nullptr},                {"Views...", 7139, "Standard Views dialog"},
        {"Rotate...", 7133, "Rotate dialog"},
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
            if (FAILED(host_->Run(id))) statusBar()->showMessage(tr("The view module is not loaded"), 4000);
        });
    }
    statusBar()->showMessage(tr("Drag to orbit, middle-drag to pan, wheel to zoom, F to fit"));
}

void MainWindow::s_onInteraction(vtkObject*, unsigned long event, void* self, void*) {
    static_cast<MainWindow*>(self)->_onInteraction(event);
}

void MainWindow::_onInteraction(unsigned long event) {
    auto* viewer = host_->sceneViewer.Get();
    if (event == vtkCommand::LeftButtonPressEvent) {
        if (!viewer->Picking()) return;
        int* p = vtk_->interactor()->GetEventPosition();
        if (viewer->PickAt(p[0], p[1]) && module_) module_->NotifyPicked();
        else statusBar()->showMessage(tr("Nothing there to pick"), 3000);
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
            return activator.createInstance(clsid, nullptr, IID_IUnknown, reinterpret_cast<void**>(pp));
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
    if (module_) host_->Run(7140);
    host_->sceneViewer->FitAll();
}

void MainWindow::ShowSample() {
    scene_.clear();
    scene_.addSampleModel();
    setWindowTitle(tr("ZUL Viewer - sample assembly"));
    host_->sceneViewer->FitAll();
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
        if (trial.addFile(path.toStdString(), why)) read << path;
        else problems << QString::fromStdString(why);
    }
    if (!read.isEmpty()) {
        scene_.clear();
        for (const QString& path : read) {
            std::string why;
            scene_.addFile(path.toStdString(), why);
        }
        setWindowTitle(tr("ZUL Viewer - %1").arg(QFileInfo(read.front()).fileName()));
        host_->sceneViewer->FitAll();
    }
    error = problems.join('\n');
    return problems.isEmpty();
}

void MainWindow::_openDialog() {
    const QStringList paths = QFileDialog::getOpenFileNames(this, tr("Open models"), QString(),
                                                            tr("Models (*.stl *.obj *.ply *.vtp);;All files (*)"));
    if (paths.isEmpty()) return;
    QString error;
    if (!OpenModels(paths, error)) QMessageBox::warning(this, windowTitle(), error);
}

} // namespace zul::viewer
