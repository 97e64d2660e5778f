// MainWindow: where the module's modeless dialogs appear the first time
// (after that, where the user last left them: MainWindow::eventFilter).
#include <QApplication>
#include <QDialog>
#include <QScreen>

#include <algorithm>
#include <vector>

#include "MainWindow.h"

namespace zul::viewer {

void MainWindow::_placeBeside(QDialog* dialog) {
    // First shown: beside the window (right, else left, else along its
    // right edge), below the module's other dialogs there, or left of them
    // when the screen has no room below, so that none hides another.
    const QRect screen = dialog->screen() ? dialog->screen()->availableGeometry() : QRect();
    const QRect window = frameGeometry();
    const QSize size = dialog->size();
    std::vector<QRect> others;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* other = qobject_cast<QDialog*>(w);
            other && other != dialog && other->isVisible() && !other->objectName().isEmpty())
            others.push_back(other->frameGeometry());
    int x = window.right() + 8;
    if (x + size.width() > screen.right()) x = window.left() - 8 - size.width();
    if (x < screen.left()) x = std::max(screen.left(), window.right() - size.width());
    int y = window.top();
    for (int tries = 0; tries < 8; ++tries) {
        const QRect here(QPoint(x, y), size);
        auto over = std::find_if(others.begin(), others.end(),
                                 [&](const QRect& r) { return r.intersects(here); });
        if (over == others.end()) break;
        if (over->bottom() + 8 + size.height() <= screen.bottom())
            y = over->bottom() + 8;
        else
            x = std::max(screen.left(), over->left() - 8 - size.width());
    }
    dialog->move(x, y);
}

} // namespace zul::viewer
