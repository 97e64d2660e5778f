// The viewer's keys act wherever the focus is in the main window: after a
// menu was opened and closed, a toolbar button clicked, the 3D view never
// clicked. Replayed twenty times at varied pace, as a user would.
#include <QDialog>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>

#include <random>

#include "ViewerE2E.h"

namespace {

TEST_F(ViewerE2E, KeysStillActAfterAMenuWasOpenedAndClosed) {
    // (No window manager runs under the tests' display: the window is made
    // the active one by hand, as a click would.)
    window_->activateWindow();
    QApplication::setActiveWindow(window_.get());
    QTRY_VERIFY_WITH_TIMEOUT(QApplication::activeWindow() == window_.get(), 2000);
    std::vector<QAction*> items;
    for (UINT id = krav::ids::kFirstView; id < krav::ids::kFirstView + 200; ++id)
        if (QAction* a = host()->action(id)) items.push_back(a);
    ASSERT_GE(items.size(), 7u);
    items[5]->trigger(); // the sixth and seventh stored views, as their menu items apply them
    const auto sixth = looking();
    items[6]->trigger();
    const auto seventh = looking();
    auto sameDirection = [](const std::array<double, 3>& a, const std::array<double, 3>& b) {
        return std::fabs(a[0] - b[0]) + std::fabs(a[1] - b[1]) + std::fabs(a[2] - b[2]) < 1e-6;
    };
    // Where the keys go: whatever has the focus, else the window.
    auto target = [this] {
        QWidget* w = QApplication::focusWidget();
        return w ? w : static_cast<QWidget*>(window_.get());
    };
    std::mt19937 rng(20261124);
    auto pause = [&] { QTest::qWait(int(rng() % 120)); };
    QMenu* display = window_->findChild<QMenu*>("displayMenu");
    ASSERT_NE(display, nullptr);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        if (round % 2 == 0) QTest::mouseClick(window_->view(), Qt::LeftButton);
        pause();
        QTest::keyClick(target(), Qt::Key_X);
        pause();
        EXPECT_TRUE(along(looking(), 1, 0, 0)) << "X aligns to +X";
        // The Display menu, opened from the keyboard or by a click, then
        // closed with Escape.
        if (round % 3 == 0) {
            QTest::keyClick(window_.get(), Qt::Key_D, Qt::AltModifier);
        } else {
            window_->menuBar()->setActiveAction(display->menuAction());
        }
        QTRY_VERIFY_WITH_TIMEOUT(QApplication::activePopupWidget() != nullptr, 2000);
        pause();
        QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
        if (round % 4 == 1) {
            // A toolbar button clicked takes no keys away either.
            for (QToolBar* bar : window_->findChildren<QToolBar*>())
                for (QToolButton* b : bar->findChildren<QToolButton*>())
                    if (b->defaultAction() && b->defaultAction()->objectName() == "cameraBack")
                        QTest::mouseClick(b, Qt::LeftButton);
        }
        pause();
        QTest::keyClick(target(), Qt::Key_7, Qt::ControlModifier);
        EXPECT_TRUE(sameDirection(looking(), seventh)) << "Ctrl+7: the seventh stored view";
        QTest::keyClick(target(), Qt::Key_Z, Qt::ShiftModifier);
        EXPECT_TRUE(along(looking(), 0, 0, -1)) << "Shift+Z aligns to -Z";
        QTest::keyClick(target(), Qt::Key_PageUp);
        EXPECT_TRUE(sameDirection(looking(), sixth)) << "Page Up: the stored view before";
        // Leave the menu bar's keyboard mode, as a user's next click does.
        QTest::keyClick(target(), Qt::Key_Escape);
    }
}

} // namespace

namespace {

// The module's two modeless dialogs, opened for the first time, stand
// beside the window and not on top of each other.
TEST_F(ViewerE2E, TheDialogsOpenBesideTheWindowNotOnEachOther) {
    ASSERT_EQ(host()->Run(krav::ids::kEditDialog), S_OK);
    ASSERT_EQ(host()->Run(krav::ids::kControlDialog), S_OK);
    std::vector<QDialog*> dialogs;
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            dialogs.clear();
            for (QWidget* w : QApplication::topLevelWidgets())
                if (auto* d = qobject_cast<QDialog*>(w);
                    d && d->isVisible() && !d->objectName().isEmpty())
                    dialogs.push_back(d);
            return dialogs.size() == 2;
        }(),
        3000);
    const QRect a = dialogs[0]->frameGeometry(), b = dialogs[1]->frameGeometry();
    EXPECT_FALSE(a.intersects(b)) << "one dialog over the other: " << a.x() << "," << a.y() << " "
                                  << a.width() << "x" << a.height() << " and " << b.x() << ","
                                  << b.y() << " " << b.width() << "x" << b.height() << " window "
                                  << window_->frameGeometry().width();
    for (const QRect& r : {a, b})
        EXPECT_NE(r.topLeft(), QPoint(0, 0)) << "a dialog at the screen's corner";
    for (QDialog* d : dialogs)
        d->close();
}

} // namespace
