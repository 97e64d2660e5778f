// The Standard Views dialog as a user drives it in zulview: a click on a
// row shows that view in the fields, Undo and Redo over its own changes,
// and the pictures laid out in rows that follow the dialog's width.
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QToolButton>

#include <cstdlib>

#include "ViewerE2E.h"

class StandardViewsDialog : public ViewerE2E {
protected:
    QDialog* openDialog() {
        EXPECT_EQ(host()->Run(krav::ids::kEditDialog), S_OK);
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* d = qobject_cast<QDialog*>(w);
                d && d->isVisible() && d->findChild<QListWidget*>("viewList"))
                return d;
        return nullptr;
    }
    QStringList names(QListWidget* list) {
        QStringList out;
        for (int i = 0; i < list->count(); ++i)
            out << list->item(i)->text();
        return out;
    }
    void clickRow(QListWidget* list, const QString& name) {
        const auto found = list->findItems(name, Qt::MatchExactly);
        ASSERT_EQ(found.size(), 1) << name.toStdString();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualItemRect(found.front()).center());
    }
    std::string field(QDialog* dialog, const char* name) {
        return dialog->findChild<QLineEdit*>(name)->text().toStdString();
    }
};

// A single click shows the row's view in the fields, labelled as that
// view's; with no row selected they show the camera. A move and a delete
// are undone and redone by the buttons and by Ctrl+Z / Ctrl+Shift+Z, each
// view coming back with its own record; a change made by another program
// clears the history and the dialog says so.
TEST_F(StandardViewsDialog, AClickShowsTheViewAndUndoRedoTakeBackMovesAndDeletes) {
    QDialog* dialog = openDialog();
    ASSERT_NE(dialog, nullptr);
    auto* list = dialog->findChild<QListWidget*>("viewList");
    auto* source = dialog->findChild<QLabel*>("fieldsSource");
    auto* undo = dialog->findChild<QPushButton*>("undoButton");
    auto* redo = dialog->findChild<QPushButton*>("redoButton");
    ASSERT_TRUE(list && source && undo && redo);
    EXPECT_FALSE(undo->isEnabled() || redo->isEnabled()) << "nothing done yet";

    ASSERT_EQ(host()->Run(krav::ids::kAlignPlusIsometric), S_OK);
    clickRow(list, "-Z");
    EXPECT_NE(source->text().indexOf("\"-Z\""), -1) << source->text().toStdString();
    EXPECT_EQ(field(dialog, "upX"), "0");
    EXPECT_EQ(field(dialog, "upY"), "1") << "-Z's record: Y up, not the isometric camera's";
    list->clearSelection();
    EXPECT_EQ(source->text().indexOf("\"-Z\""), -1) << "the camera again";
    EXPECT_NE(field(dialog, "upY"), "1");

    const QStringList start = names(list);
    FullViewInfo y;
    auto store = host()->firstObject<IViewManager2>();
    ASSERT_TRUE(store);
    ASSERT_EQ(store->GetViewInfo("-Y", &y), S_OK);
    clickRow(list, "-Y");
    dialog->findChild<QToolButton*>("downButton")->click();
    const QStringList moved = names(list);
    ASSERT_NE(moved, start);
    EXPECT_EQ(moved.indexOf("-Y"), start.indexOf("-Y") + 1);
    dialog->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(dialog));
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(names(list), start) << "Ctrl+Z: the move is undone, one step for its renames";
    FullViewInfo back;
    ASSERT_EQ(store->GetViewInfo("-Y", &back), S_OK);
    EXPECT_TRUE(krav::SameRecord(back, y)) << "-Y has its own record back";
    QTest::keyClick(list, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(names(list), moved) << "Ctrl+Shift+Z: moved again";

    clickRow(list, "+Z");
    messages_.clear();
    host()->answerMessage = [this](const QString& text) {
        messages_.push_back(text.toStdString());
        return 6; // Yes
    };
    dialog->findChild<QPushButton*>("deleteButton")->click();
    ASSERT_EQ(messages_.size(), 1u) << "the delete asks first";
    EXPECT_EQ(names(list).indexOf("+Z"), -1);
    EXPECT_NE(undo->toolTip().indexOf("+Z"), -1) << undo->toolTip().toStdString();
    undo->click();
    EXPECT_EQ(names(list), moved) << "the deleted view is back in its place";
    undo->click();
    EXPECT_EQ(names(list), start);
    redo->click();
    redo->click();
    EXPECT_EQ(names(list).indexOf("+Z"), -1) << "redone: deleted again";
    undo->click();
    ASSERT_TRUE(undo->isEnabled());

    ASSERT_EQ(std::system((krviews() + "add Side --view 1,1,0 >/dev/null 2>&1").c_str()), 0);
    auto* note = dialog->findChild<QLabel*>("historyNote");
    ASSERT_TRUE(waitFor([&] { return names(list).contains("Side"); }, 5000))
        << "the other program's change shows";
    EXPECT_TRUE(note->isVisible());
    EXPECT_FALSE(undo->isEnabled() || redo->isEnabled()) << "the history is gone";
    EXPECT_TRUE(names(list).contains("Side")) << "and their change stays";
    dialog->reject();
}

// With pictures on, the tiles lie in rows that do not overlap and reflow
// when the dialog is widened; the same after a restart with the choice
// kept, before anything is resized.
TEST_F(StandardViewsDialog, PictureTilesLieInRowsThatFollowTheWidth) {
    QDialog* dialog = openDialog();
    ASSERT_NE(dialog, nullptr);
    auto* list = dialog->findChild<QListWidget*>("viewList");
    dialog->findChild<QCheckBox*>("picturesToggle")->setChecked(true);
    auto columns = [&] {
        QApplication::processEvents();
        QSet<int> lefts;
        for (int i = 0; i < list->count(); ++i) {
            const QRect r = list->visualItemRect(list->item(i));
            for (int j = 0; j < i; ++j)
                if (r.intersects(list->visualItemRect(list->item(j)))) return -1;
            if (r.right() > list->viewport()->width()) return -2;
            if (r.height() < 72 + list->fontMetrics().height()) return -3; // picture and name
            if (list->item(i)->icon().isNull()) return -4;
            lefts.insert(r.left());
        }
        return int(lefts.size());
    };
    ASSERT_TRUE(waitFor([&] { return columns() >= 2; }, 5000)) << columns();
    const int narrow = columns();
    dialog->resize(dialog->width() + 400, dialog->height());
    ASSERT_TRUE(waitFor([&] { return columns() > narrow; }, 5000))
        << narrow << " columns, then " << columns();
    dialog->reject();

    window_->StopModule();
    QString error;
    ASSERT_TRUE(window_->StartModule(error)) << error.toStdString();
    dialog = openDialog();
    ASSERT_NE(dialog, nullptr);
    list = dialog->findChild<QListWidget*>("viewList");
    ASSERT_TRUE(dialog->findChild<QCheckBox*>("picturesToggle")->isChecked()) << "kept";
    EXPECT_TRUE(waitFor([&] { return columns() >= 2; }, 5000))
        << "laid out on first show, not piled up: " << columns();
    dialog->reject();
}
