#include "StoreWatcher.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QTimer>

#include "zul/registry/registry.h"

namespace zul::viewer {

namespace {

// The fallback for changes the file watch does not report.
constexpr int kFallbackMs = 2000;

} // namespace

StoreWatcher::StoreWatcher(std::function<zul::com::ComPtr<IViewStoreEdits>()> store,
                           QObject* parent)
    : QObject(parent), store_(std::move(store)) {
    files_ = new QFileSystemWatcher(this);
    // A file replaced by rename drops out of the watch: the folder's change
    // brings it back.
    connect(files_, &QFileSystemWatcher::fileChanged, this, [this] {
        _watch();
        Check();
    });
    connect(files_, &QFileSystemWatcher::directoryChanged, this, [this] {
        _watch();
        Check();
    });
    _watch();
    timer_ = new QTimer(this);
    connect(timer_, &QTimer::timeout, this, [this] {
        _watch();
        Check();
    });
    timer_->start(kFallbackMs);
}

void StoreWatcher::_watch() {
    const QFileInfo hive(QString::fromStdString(zul::registry::userHivePath()));
    if (hive.exists() && !files_->files().contains(hive.absoluteFilePath()))
        files_->addPath(hive.absoluteFilePath());
    if (hive.dir().exists() && !files_->directories().contains(hive.absolutePath()))
        files_->addPath(hive.absolutePath());
}

bool StoreWatcher::Check() {
    if (QApplication::activeModalWidget() || QApplication::mouseButtons() != Qt::NoButton)
        return false;
    const zul::com::ComPtr<IViewStoreEdits> store = store_ ? store_() : nullptr;
    return store && store->CheckForChanges() == S_OK;
}

} // namespace zul::viewer
