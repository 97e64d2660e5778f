// Tells the view store when another program may have changed it, so the
// module's menu and dialog follow without being asked: the user's hive file
// is watched (SQLite rewrites it in place on every commit), and a slow timer
// covers what a file watch misses (a hive replaced by a new file, a network
// file system). Each signal costs the store one counter read.
#pragma once

#include <QObject>

#include <functional>

#include "KRAdvancedViews/IViewStoreEdits.h"
#include "zul/com/ComPtr.h"

class QFileSystemWatcher;
class QTimer;

namespace zul::viewer {

class StoreWatcher : public QObject {
    Q_OBJECT
public:
    // `store` gives the store to ask (none while the module is not loaded).
    StoreWatcher(std::function<zul::com::ComPtr<IViewStoreEdits>()> store, QObject* parent);

    // Asks the store now, unless a modal window is open or a mouse button is
    // down (a rebuilt menu or list under the mouse would lose the click);
    // such a check is made up for on the next signal. True when the store
    // found changes and announced them.
    bool Check();

private:
    void _watch();

    std::function<zul::com::ComPtr<IViewStoreEdits>()> store_;
    QFileSystemWatcher* files_ = nullptr;
    QTimer* timer_ = nullptr;
};

} // namespace zul::viewer
