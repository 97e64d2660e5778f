// MainWindow: File > Import Views... and File > Export Views..., the stored
// views to and from every view file there is: the module's own (.qjv, .reg,
// through its Save and Load) and ParaView's camera files (.pvcc, .pvcvbc).
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>
#include <QStatusBar>

#include <cmath>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/formats/ParaViewFiles.h"
#include "KRAdvancedViews/formats/QjvFile.h"
#include "MainWindow.h"

namespace zul::viewer {
namespace {

const char* const kViewFileFilter =
    QT_TRANSLATE_NOOP("MainWindow", "View files (*.qjv *.reg *.pvcc *.pvcvbc);;"
                                    "All files (*)");

} // namespace

bool MainWindow::_viewFile(const QString& path, ViewFile& file, QString& error) {
    file.mgr = _mgr();
    file.store = host_->firstObject<IViewManager2>();
    if (!file.mgr || !file.store) {
        error = tr("The view module is not loaded");
        return false;
    }
    file.path = path.toStdString();
    file.name = QFileInfo(path).fileName();
    file.module = krav::format::ModuleFileTypeOf(file.path, {}, file.type);
    file.kind = krav::format::ParaViewFileKindOf(file.path);
    if (!file.module && file.kind == krav::format::ParaViewFileKind::None) {
        error = tr("%1 is not a view file (.qjv, .reg, .pvcc or .pvcvbc)").arg(file.name);
        return false;
    }
    return true;
}

bool MainWindow::ImportViews(const QString& path, QString& error) {
    ViewFile target;
    if (!_viewFile(path, target, error)) return false;
    const std::string& file = target.path;
    const QString& name = target.name;
    if (target.module) {
        std::vector<char> chars(file.begin(), file.end());
        chars.push_back('\0');
        // The module says itself what is wrong with a file it cannot load.
        if (FAILED(target.mgr->LoadViews(chars.data(), target.type))) return false;
        statusBar()->showMessage(tr("Views imported from %1").arg(name), 6000);
        return true;
    }
    const auto kind = target.kind;
    std::vector<krav::format::NamedRecord> views;
    std::vector<std::string> notes;
    std::string why;
    if (!krav::format::ReadParaViewViews(file, kind, views, notes, why)) {
        error = tr("%1 cannot be imported: %2. No view was changed.")
                    .arg(name, QString::fromStdString(why));
        return false;
    }
    QStringList left;
    for (const std::string& note : notes)
        left << QString::fromStdString(note);
    if (views.empty()) {
        error = tr("%1 holds no camera. No view was changed.").arg(name);
        if (!left.isEmpty()) error += "\n" + left.join("\n");
        return false;
    }
    std::string failed;
    if (FAILED(krav::format::StoreViewsReplacing(target.store.Get(), views, failed))) {
        error = failed.empty()
                    ? tr("The views of %1 could not be stored. No view was changed.").arg(name)
                    : tr("The view \"%1\" of %2 could not be stored. No view was "
                         "changed.")
                          .arg(QString::fromStdString(failed), name);
        return false;
    }
    statusBar()->showMessage(
        views.size() == 1
            ? tr("1 view imported from %1").arg(name)
            : tr("%1 views imported from %2").arg(QString::number(views.size()), name),
        6000);
    if (!left.isEmpty()) error = left.join("\n"); // imported, with what was left out
    return true;
}

bool MainWindow::ExportViews(const QString& path, const QString& viewName, QString& error) {
    ViewFile target;
    if (!_viewFile(path, target, error)) return false;
    const std::string& file = target.path;
    const QString& name = target.name;
    if (target.module) {
        std::vector<char> chars(file.begin(), file.end());
        chars.push_back('\0');
        const HRESULT hr = target.mgr->SaveViews(chars.data(), target.type);
        if (hr == S_FALSE) error = tr("There are no stored views to export");
        if (hr != S_OK) return false; // else the module said why
        statusBar()->showMessage(tr("The stored views are exported to %1").arg(name), 6000);
        return true;
    }
    const auto kind = target.kind;
    std::vector<krav::format::NamedRecord> views;
    for (const krav::StoredView& v : krav::ListStoredViews(target.store.Get()))
        if (kind == krav::format::ParaViewFileKind::CustomViewpoints ||
            QString::fromStdString(v.name) == viewName)
            views.push_back({v.name, v.info});
    if (views.empty()) {
        error = kind == krav::format::ParaViewFileKind::CameraConfiguration
                    ? tr("There is no stored view \"%1\"").arg(viewName)
                    : tr("There are no stored views to export");
        return false;
    }
    // A view that holds a direction only is written fitted to the model
    // shown, as it would show it.
    krav::format::FitSphere fit;
    if (double b[6]; scene_.bounds(b)) fit.radius = zul::scene::sphereOf(b, fit.centre);
    std::vector<std::string> directionOnly;
    std::string why;
    if (!krav::format::WriteParaViewViews(file, kind, views, fit, directionOnly, why)) {
        error =
            tr("The views could not be exported to %1: %2").arg(name, QString::fromStdString(why));
        return false;
    }
    statusBar()->showMessage(
        views.size() == 1 ? tr("1 view exported to %1").arg(name)
                          : tr("%1 views exported to %2").arg(QString::number(views.size()), name),
        6000);
    return true;
}

void MainWindow::OfferViewFiles(const QStringList& files) {
    for (const QString& path : files) {
        const QString name = QFileInfo(path).fileName();
        if (QMessageBox::question(this, tr("Load Views"),
                                  tr("Load the views of %1 into the stored views? Stored views "
                                     "of the same names are replaced.")
                                      .arg(name)) != QMessageBox::Yes)
            continue;
        QString error;
        if (!ImportViews(path, error) && !error.isEmpty())
            QMessageBox::warning(this, tr("Load Views"), error);
    }
}

void MainWindow::_importViewsAsked() {
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Import Views"), QString(), tr(kViewFileFilter));
    if (path.isEmpty()) return;
    QString error;
    const bool imported = ImportViews(path, error);
    if (error.isEmpty()) return;
    if (imported)
        QMessageBox::information(this, tr("Import Views"), error); // what was left out
    else
        QMessageBox::warning(this, tr("Import Views"), error);
}

void MainWindow::_exportViewsAsked() {
    const QString path =
        QFileDialog::getSaveFileName(this, tr("Export Views"), QString(), tr(kViewFileFilter));
    if (path.isEmpty()) return;
    QString viewName;
    if (krav::format::ParaViewFileKindOf(path.toStdString()) ==
        krav::format::ParaViewFileKind::CameraConfiguration) {
        // A camera configuration holds one camera: which view?
        QStringList names;
        if (auto store = host_->firstObject<IViewManager2>())
            for (const krav::StoredView& v : krav::ListStoredViews(store.Get()))
                names << QString::fromStdString(v.name);
        bool ok = false;
        viewName = QInputDialog::getItem(this, tr("Export Views"),
                                         tr("A ParaView camera file holds one view. Export:"),
                                         names, 0, false, &ok);
        if (!ok) return;
    }
    QString error;
    if (!ExportViews(path, viewName, error) && !error.isEmpty())
        QMessageBox::warning(this, tr("Export Views"), error);
}

} // namespace zul::viewer
