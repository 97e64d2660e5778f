// Reading model files for the window: each file through the scene's guarded
// reader (the helper process).
// A read on a thread of its own reports progress and its end through
// signals on the UI thread; the window swaps the scene when it ends.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

#include "zul/scene/ModelReader.h"

namespace zul::viewer {

class ModelLoader : public QObject {
    Q_OBJECT
public:
    // What a read gave: the models read (and their paths), and a message
    // for each file not read.
    struct Result {
        std::vector<zul::scene::Model> models;
        QStringList read, problems;
        bool stopped = false; // by Stop(): nothing is read, nothing said
    };
    // `progress(i, fraction, phase)` follows the read of path i.
    using Progress = std::function<void(int, double, const std::string&)>;

    explicit ModelLoader(QObject* parent) : QObject(parent) {}

    // Reads `paths` on the calling thread.
    static Result Read(const QStringList& paths, const Progress& progress = {},
                       const std::atomic<bool>* stop = nullptr);

    // Reads `paths` on a thread of its own; false (nothing started) while
    // another read is under way. The thread owns nothing of the window: a
    // window gone before the read ends is never touched.
    bool Start(const QStringList& paths);
    bool Busy() const { return busy_; }
    // Stops the read under way (its helper is killed); it ends at once
    // with a result that holds nothing. False when none is under way.
    bool Stop();

Q_SIGNALS:
    // Of the whole read, in thousandths, with the file and what happens now.
    void progress(int permille, const QString& file, const QString& phase);
    void finished(std::shared_ptr<zul::viewer::ModelLoader::Result> result);

private:
    bool busy_ = false;
    std::shared_ptr<std::atomic<bool>> stop_;
};

} // namespace zul::viewer
