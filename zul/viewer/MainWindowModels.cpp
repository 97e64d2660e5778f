// MainWindow: opening models (File > Open, recent models, drops, the
// command line) and showing what was read.
#include <QAction>
#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontMetrics>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QProgressBar>
#include <QStatusBar>
#include <QToolButton>
#include <QUrl>

#include <cstdio>
#include <memory>

#include "MainWindow.h"
#include "ViewerSettings.h"
#include "zul/scene/ModelCheck.h"

namespace zul::viewer {

void MainWindow::ShowSample() {
    scene_.clear();
    scene_.addSampleModel();
    setWindowTitle(tr("ZUL Viewer - sample assembly"));
    StartView(false);
    if (summary_) summary_->setText(tr("Sample assembly: %1").arg(SceneSummary()));
}

QString MainWindow::SceneSummary() const {
    const QLocale locale;
    const auto count = [&locale](size_t n, const QString& one, const QString& many) {
        return n == 1 ? one : many.arg(locale.toString(qulonglong(n)));
    };
    QString text = count(scene_.partCount(), tr("1 part"), tr("%1 parts"));
    if (scene_.triangleCount())
        text += ", " + count(scene_.triangleCount(), tr("1 triangle"), tr("%1 triangles"));
    if (scene_.pointCount())
        text += ", " + count(scene_.pointCount(), tr("1 point"), tr("%1 points"));
    return text;
}

void MainWindow::_showModels(std::vector<zul::scene::Model>& models, const QStringList& read) {
    if (read.isEmpty()) return;
    if (keepRecent_) _noteRecent(read);
    scene_.clear();
    // What a file holds beyond what is drawn stays on the status bar longer
    // and goes to the standard error too.
    QStringList notes;
    _takeModelViews(models, read, notes);
    for (size_t i = 0; i < models.size(); ++i) {
        for (const std::string& note : models[i].notes) {
            const QString name = QFileInfo(read.value(int(i))).fileName();
            notes << tr("%1: %2").arg(name, QString::fromStdString(note));
            std::fprintf(stderr, "zulview: %s\n", qPrintable(notes.back()));
        }
        scene_.addModel(std::move(models[i]));
    }
    setWindowTitle(tr("ZUL Viewer - %1").arg(QFileInfo(read.front()).fileName()));
    StartView(false);
    // A view saved with the model is the one it opens with.
    if (!savedViews_.empty()) {
        host_->sceneViewer->transitionMs = 0;
        ApplyModelView(0);
        host_->sceneViewer->transitionMs = transitionMs_;
    }
    // The summary stays; what the file holds beyond what is drawn is shown
    // over it for a minute.
    summary_->setText(tr("%1: %2").arg(QFileInfo(read.front()).fileName(), SceneSummary()));
    if (notes.isEmpty())
        statusBar()->clearMessage();
    else
        statusBar()->showMessage(notes.join(' '), 60000);
    coarsePending_ = true; // begun once the models are on screen
}

QString MainWindow::StatusSummary() const {
    return summary_ ? summary_->text() : QString();
}

void MainWindow::_makeCoarseCopiesLater() {
    auto copies = std::make_shared<zul::scene::Model>(scene_.geometryForCoarseCopies());
    if (copies->parts.empty()) return;
    // One job at a time: a job for models no longer shown ends unused.
    if (coarseJob_.joinable()) coarseJob_.join();
    const unsigned generation = scene_.generation();
    QPointer<MainWindow> self(this);
    coarseJob_ = std::thread([self, generation, copies] {
        zul::scene::makeCoarseCopies(*copies);
        QMetaObject::invokeMethod(
            qApp,
            [self, generation, copies] {
                if (self) self->scene_.setCoarseCopies(generation, *copies);
            },
            Qt::QueuedConnection);
    });
}

bool MainWindow::OpenModels(const QStringList& paths, QString& error) {
    if (paths.isEmpty()) {
        ShowSample();
        return true;
    }
    // Read first: a bad file leaves the scene as it was.
    ModelLoader::Result result = ModelLoader::Read(paths);
    return ShowModels(result, error);
}

bool MainWindow::StopReading() {
    if (!loader_->Stop()) return false;
    statusBar()->showMessage(tr("Stopping the read..."));
    return true;
}

bool MainWindow::ShowModels(ModelLoader::Result& result, QString& error) {
    _showModels(result.models, result.read);
    error = result.problems.join('\n');
    return result.problems.isEmpty();
}

bool MainWindow::OpenModelsInBackground(const QStringList& paths) {
    if (loader_->Busy()) {
        statusBar()->showMessage(tr("Still reading the last models; open these when it is done"),
                                 6000);
        return false;
    }
    if (paths.isEmpty()) {
        ShowSample();
        return true;
    }
    progress_->setValue(0);
    progress_->show();
    stopRead_->show();
    return loader_->Start(paths);
}

void MainWindow::_readEnded(ModelLoader::Result& result) {
    progress_->hide();
    stopRead_->hide();
    if (result.stopped) {
        statusBar()->showMessage(tr("Reading stopped; the model shown stays"), 6000);
        if (scene_.partCount() == 0) ShowSample();
        Q_EMIT modelsOpened(0, QString());
        return;
    }
    _showModels(result.models, result.read);
    if (result.read.isEmpty() && scene_.partCount() == 0) ShowSample();
    // A refusal replaces "Reading ...": its first line stays a while.
    if (!result.problems.isEmpty())
        statusBar()->showMessage(result.problems.front(), 30000);
    else if (result.read.isEmpty())
        statusBar()->clearMessage();
    Q_EMIT modelsOpened(int(result.read.size()), result.problems.join('\n'));
}

void MainWindow::_openDialog() {
    const QString filter = tr("Models (%1);;All files (*)")
                               .arg(QString::fromStdString(zul::scene::modelFormatPatterns()));
    const QStringList paths =
        QFileDialog::getOpenFileNames(this, tr("Open models"), QString(), filter);
    if (paths.isEmpty()) return;
    OpenModelsInBackground(paths);
}

void MainWindow::_rebuildRecent() {
    recentMenu_->clear();
    // A long path is shortened in its middle, where its folders are; the
    // whole path is the item's tip.
    const QFontMetrics metrics(recentMenu_->font());
    recentMenu_->setToolTipsVisible(true);
    for (const QString& path : recent_) {
        QString shown = metrics.elidedText(path, Qt::ElideMiddle, 560);
        QAction* item = recentMenu_->addAction(shown.replace('&', "&&"), this,
                                               [this, path] { OpenModelsInBackground({path}); });
        item->setToolTip(path);
    }
    recentMenu_->setEnabled(!recent_.isEmpty());
}

void MainWindow::_noteRecent(const QStringList& paths) {
    QStringList absolute;
    for (const QString& p : paths)
        absolute << QFileInfo(p).absoluteFilePath();
    recent_ = AddRecentModels(absolute);
    _rebuildRecent();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) paths << url.toLocalFile();
    if (paths.isEmpty()) return;
    event->acceptProposedAction();
    OpenModelsInBackground(paths);
}

} // namespace zul::viewer
