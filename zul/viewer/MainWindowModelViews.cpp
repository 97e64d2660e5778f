// MainWindow: the views that come with the models shown, those saved
// beside a model file (MODEL.qjv) and the cameras its file places, in the
// View menu's "Model Views", and File > Save Views with Model...
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QStatusBar>

#include <cstdio>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/formats/QjvFile.h"
#include "MainWindow.h"

namespace zul::viewer {

void MainWindow::_takeModelViews(const std::vector<zul::scene::Model>& models,
                                 const QStringList& read, QStringList& problems) {
    modelPath_ = read.value(0);
    savedViews_.clear();
    modelCameras_.clear();
    lastModelView_ = -1;
    std::vector<std::string> said;
    for (const QString& path : read)
        for (krav::format::NamedRecord& r : krav::format::ReadViewsBeside(path.toStdString(), said))
            savedViews_.push_back(std::move(r));
    for (const std::string& problem : said) {
        problems << QString::fromStdString(problem);
        std::fprintf(stderr, "zulview: %s\n", problem.c_str());
    }
    for (const zul::scene::Model& model : models)
        modelCameras_.insert(modelCameras_.end(), model.cameras.begin(), model.cameras.end());
    _rebuildModelViewsMenu();
}

QStringList MainWindow::ModelViewNames() const {
    QStringList names;
    for (const krav::format::NamedRecord& r : savedViews_)
        names << QString::fromStdString(r.name);
    for (const zul::scene::ModelCamera& c : modelCameras_)
        names << QString::fromStdString(c.name);
    return names;
}

bool MainWindow::ApplyModelView(int index) {
    const int saved = int(savedViews_.size());
    if (index < 0 || index >= saved + int(modelCameras_.size())) return false;
    const auto navigator = host_->firstObject<IViewNavigator>();
    if (!navigator) {
        statusBar()->showMessage(tr("The view module is not loaded"), 4000);
        return false;
    }
    const zul::scene::ModelCamera* camera =
        index < saved ? nullptr : &modelCameras_[size_t(index - saved)];
    FullViewInfo info =
        camera ? zul::scene::modelCameraView(scene_, *camera) : savedViews_[size_t(index)].info;
    if (navigator->SetViewInfo(&info) != S_OK) return false; // the module said why
    lastModelView_ = index;
    if (!camera) {
        host_->sceneViewer->FitAll(); // framed, as a stored view is
    } else if (camera->orthographic) {
        // A record has no height: the camera's own is set after it.
        host_->sceneViewer->SetViewHeight(float(2 * camera->parallelScale));
        host_->sceneViewer->Redraw();
    }
    return true;
}

bool MainWindow::KeepModelViewAsStored(QString* stored) {
    auto store = host_->firstObject<IViewManager2>();
    const QStringList names = ModelViewNames();
    if (!store || lastModelView_ < 0 || lastModelView_ >= names.size()) return false;
    // The live camera is what the view shows; its name made unique.
    FullViewInfo probe;
    std::string name = names[lastModelView_].toStdString();
    for (int n = 2; store->GetViewInfo(name.c_str(), &probe) == S_OK; ++n)
        name = names[lastModelView_].toStdString() + " (" + std::to_string(n) + ")";
    auto mgr = _mgr();
    host_->sceneViewer->FinishTransition(); // the view's own camera, not a step towards it
    if (!mgr || mgr->AddView(name.c_str()) != S_OK) return false;
    if (stored) *stored = QString::fromStdString(name);
    statusBar()->showMessage(tr("Stored as \"%1\"").arg(QString::fromStdString(name)), 6000);
    return true;
}

bool MainWindow::SaveViewsWithModel(QString& error) {
    auto mgr = _mgr();
    if (modelPath_.isEmpty()) {
        error = tr("No model file is open: the views are saved beside one");
        return false;
    }
    if (!mgr) {
        error = tr("The view module is not loaded");
        return false;
    }
    const std::string path = (modelPath_ + ".qjv").toStdString();
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    const HRESULT hr = mgr->SaveViews(name.data(), TextFile);
    if (hr == S_FALSE) {
        error = tr("There are no stored views to save");
        return false;
    }
    if (hr != S_OK) {
        error = tr("The views could not be saved to %1").arg(QString::fromStdString(path));
        return false;
    }
    statusBar()->showMessage(tr("The stored views are saved with the model in %1")
                                 .arg(QFileInfo(QString::fromStdString(path)).fileName()),
                             6000);
    return true;
}

void MainWindow::_rebuildModelViewsMenu() {
    if (!modelViewsMenu_) return;
    modelViewsMenu_->clear();
    const QStringList names = ModelViewNames();
    for (int i = 0; i < names.size(); ++i) {
        const QString from =
            i < int(savedViews_.size()) ? tr("saved with the model") : tr("camera in the model");
        modelViewsMenu_->addAction(tr("%1 (%2)").arg(names[i], from), this,
                                   [this, i] { ApplyModelView(i); });
    }
    if (names.isEmpty())
        modelViewsMenu_->addAction(tr("The model has no views"))->setEnabled(false);
    modelViewsMenu_->addSeparator();
    QAction* keep = modelViewsMenu_->addAction(tr("Keep as Stored View"), this,
                                               [this] { KeepModelViewAsStored(); });
    keep->setObjectName("keepModelView");
    connect(modelViewsMenu_, &QMenu::aboutToShow, keep,
            [this, keep] { keep->setEnabled(lastModelView_ >= 0); });
}

} // namespace zul::viewer
