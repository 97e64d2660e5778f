#include "ModelLoader.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPointer>

#include <thread>

namespace zul::viewer {

ModelLoader::Result ModelLoader::Read(const QStringList& paths, const Progress& progress,
                                      const std::atomic<bool>* stop) {
    Result out;
    for (int i = 0; i < paths.size(); ++i) {
        if (stop && stop->load()) break;
        const auto report = [&progress, i](double fraction, const std::string& phase) {
            if (progress) progress(i, fraction, phase);
        };
        report(0, "starting the reader");
        std::string why;
        zul::scene::Model model;
        // The copies drawn while dragging are made after the first picture
        // (MainWindow::_makeCoarseCopiesLater).
        if (zul::scene::readModel(paths[i].toStdString(), model, why, report, stop)) {
            out.models.push_back(std::move(model));
            out.read << paths[i];
        } else {
            out.problems << QString::fromStdString(why);
        }
    }
    // A stopped read leaves everything as it was: what it had read too.
    if (stop && stop->load()) {
        out = Result{};
        out.stopped = true;
    }
    return out;
}

bool ModelLoader::Stop() {
    if (!busy_ || !stop_) return false;
    stop_->store(true);
    return true;
}

bool ModelLoader::Start(const QStringList& paths) {
    if (busy_) return false;
    busy_ = true;
    stop_ = std::make_shared<std::atomic<bool>>(false);
    // Progress and the end come back through queued calls that check the
    // loader is still there.
    QPointer<ModelLoader> self(this);
    std::thread([self, paths, stop = stop_] {
        const int n = int(paths.size());
        auto result = std::make_shared<Result>(Read(
            paths,
            [self, &paths, n](int i, double fraction, const std::string& phase) {
                const int value = int(1000 * (i + fraction) / n);
                const QString name = QFileInfo(paths[i]).fileName(),
                              what = QString::fromStdString(phase);
                QMetaObject::invokeMethod(
                    qApp,
                    [self, value, name, what] {
                        if (self) Q_EMIT self->progress(value, name, what);
                    },
                    Qt::QueuedConnection);
            },
            stop.get()));
        QMetaObject::invokeMethod(
            qApp,
            [self, result] {
                if (!self) return;
                self->busy_ = false;
                Q_EMIT self->finished(result);
            },
            Qt::QueuedConnection);
    }).detach();
    return true;
}

} // namespace zul::viewer
