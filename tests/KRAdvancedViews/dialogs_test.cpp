// The dialogs driven as a user drives them, inside the module manager with
// the test host: the host records the module's messages and answers them,
// and the store in front of the real one records what the dialogs asked.
#include <sys/stat.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <cmath>
#include <cstdlib>

#include "RecordingSink.h"
#include "TestModuleHost.h"
#include "dialogs/DialogSupport.h"
#include "dialogs/NameDialog.h"
#include "dialogs/QtDialogs.h"
#include "dialogs/ViewAngles.h"
#include "dialogs/ViewEditDlg.h"
#include "dialogs/ViewNavigatorDlg.h"
#include "resources/StringTable.h"

using namespace krav::dialogs;
using krav::test::CTestModuleHost;
using krav::test::kTestViewerId;
using zul::com::ComPtr;

namespace {

template <class T, class I> ComPtr<T> make() {
    I* p = nullptr;
    if (FAILED(zul::com::createInstance<T>(nullptr, zul::com::iidOf<I>(),
                                           reinterpret_cast<void**>(&p))))
        qFatal("create");
    ComPtr<T> out;
    out.Attach(static_cast<T*>(p));
    return out;
}

// True when `v` points the way of (x, y, z), whatever its length.
bool along(const float v[3], double x, double y, double z) {
    const double n = std::sqrt(double(v[0]) * v[0] + double(v[1]) * v[1] + double(v[2]) * v[2]);
    return n > 0 && std::fabs(v[0] / n - x) < 1e-3 && std::fabs(v[1] / n - y) < 1e-3 &&
           std::fabs(v[2] / n - z) < 1e-3;
}

std::string text(unsigned id) {
    return krav::LoadModuleString(id);
}

// Answers the next modal name dialog: types `name` and presses OK. When OK
// leaves the dialog open (a refused name) it is cancelled and `refused` set.
void answerName(const QString& name, bool* refused = nullptr, bool cancel = false) {
    QTimer::singleShot(0, [=] {
        auto* dialog = qobject_cast<CNameDialog*>(QApplication::activeModalWidget());
        if (!dialog) qFatal("no name dialog to answer");
        auto* edit = qobject_cast<QLineEdit*>(FindControl(dialog, 224));
        edit->setFocus();
        edit->setText(name); // QTest types ASCII only
        QTest::mouseClick(qobject_cast<QPushButton*>(FindControl(dialog, cancel ? 2 : 1)),
                          Qt::LeftButton);
        if (refused) *refused = dialog->isVisible();
        if (dialog->isVisible()) dialog->reject();
    });
}

} // namespace

class DialogsTest : public QObject {
    Q_OBJECT
    QTemporaryDir* dir_ = nullptr;
    QWidget* frame_ = nullptr;
    ComPtr<CTestModuleHost> host_;
    ComPtr<CAdvancedViewsModuleMgr> mgr_;

    CViewEditDlg* views() const { return frame_->findChild<CViewEditDlg*>(); }
    CViewNavigatorDlg* rotate() const { return frame_->findChild<CViewNavigatorDlg*>(); }
    QListWidget* list() const { return FindControlAs<QListWidget>(views(), 201); }
    template <class T = QAbstractButton> T* control(QWidget* dialog, int id) const {
        auto* w = FindControlAs<T>(dialog, id);
        if (!w) qFatal("no control %d", id);
        return w;
    }
    krav::test::CRecordingStore& store() { return *host_->recordingStore.Get(); }
    QStringList rows() const {
        QStringList r;
        for (int i = 0; i < list()->count(); ++i)
            r << list()->item(i)->text();
        return r;
    }
    FullViewInfo record(const char* name) {
        FullViewInfo info;
        if (store().real->GetViewInfo(name, &info) != S_OK) info.iViewIndex = -100;
        return info;
    }
    void select(std::initializer_list<int> rowsToSelect) {
        list()->clearSelection();
        for (int r : rowsToSelect) {
            list()->setCurrentRow(r, QItemSelectionModel::Select);
        }
    }
    void click(QWidget* dialog, int id) { QTest::mouseClick(control(dialog, id), Qt::LeftButton); }
    // Types into a field and leaves it, as the user does.
    void type(QWidget* dialog, int id, const QString& value) {
        auto* edit = control<QLineEdit>(dialog, id);
        edit->setFocus();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, value);
        list()->setFocus(); // the field loses the focus
    }
    std::string lastMessage() const {
        return host_->messages.empty() ? std::string() : host_->messages.back();
    }
    // Shows the Standard Views dialog as its command does, and makes it the
    // active window so that its fields take and lose the focus.
    void showViews() {
        if (!views()->isVisible()) mgr_->OnCommand(7139);
        QApplication::setActiveWindow(views());
        QVERIFY(QTest::qWaitForWindowActive(views()));
    }
    QStringList storeCalls() const {
        QStringList r;
        for (const auto& c : host_->recordingStore->calls)
            r << QString::fromStdString(c);
        return r;
    }

private Q_SLOTS:
    void init() {
        dir_ = new QTemporaryDir();
        qputenv("ZUL_USER_HIVE", dir_->filePath("user.db").toUtf8());
        qputenv("ZUL_MACHINE_HIVE", dir_->filePath("machine.db").toUtf8());
        frame_ = new QWidget();
        frame_->resize(800, 600);
        UseQtDialogs();
        host_ = make<CTestModuleHost, IHostModuleSite>();
        mgr_ = make<CAdvancedViewsModuleMgr, IAdvancedViewsModuleMgr>();
        host_->recordStore = true;
        host_->window = HandleOf(frame_);
        host_->onCommand = [this](DWORD c) { mgr_->OnCommand(c); };
        static_cast<IObjectWithSite*>(mgr_.Get())
            ->SetSite(static_cast<IHostModuleSite*>(host_.Get()));
        QCOMPARE(static_cast<IZulModule*>(mgr_.Get())->Start(), S_OK);
        QCOMPARE(static_cast<IZulModule*>(mgr_.Get())->AttachViewer(kTestViewerId), S_OK);
        QVERIFY(views());
        QVERIFY(rotate());
        QVERIFY(!views()->isVisible());
        QCOMPARE(rows().size(), 8);
        store().calls.clear();
    }
    void cleanup() {
        static_cast<IZulModule*>(mgr_.Get())->Stop();
        QVERIFY(!views());
        QVERIFY(!rotate());
        mgr_.Reset();
        host_.Reset();
        delete frame_;
        delete dir_;
    }

    void moduleShowsTheDialogsOnlyForAHostWithAWindow() {
        QCOMPARE(host_->count("AdoptWindow"), 2);
        QCOMPARE(mgr_->OnCommand(7139), S_OK);
        QVERIFY(views()->isVisible());
        QCOMPARE(mgr_->OnCommand(7133), S_OK);
        QVERIFY(rotate()->isVisible());
        QVERIFY2(control(rotate(), 226)->isChecked(),
                 "Edit... is down while the Standard Views dialog shows");
        click(views(), 1); // Close runs the command that showed it
        QVERIFY(!views()->isVisible());
        QVERIFY(!control(rotate(), 226)->isChecked());
        click(rotate(), 226); // Edit... shows it again
        QVERIFY(views()->isVisible());
        QTest::keyClick(rotate(), Qt::Key_Escape);
        QVERIFY(!rotate()->isVisible());
        int showing = 1;
        ComPtr<IViewNavigator2> nav;
        static_cast<IUnknown*>(host_->objects[2].Get())
            ->QueryInterface(zul::com::iidOf<IViewNavigator2>(),
                             reinterpret_cast<void**>(nav.GetAddressOf()));
        QVERIFY(nav);
        QCOMPARE(nav->DlgIsShowing(&showing), S_OK);
        QCOMPARE(showing, 0);

        // A host without a window gets no dialog, and nothing is blocked.
        QCOMPARE(static_cast<IZulModule*>(mgr_.Get())->DetachViewer(kTestViewerId), S_OK);
        QVERIFY(!views());
        host_->window = 0;
        QCOMPARE(static_cast<IZulModule*>(mgr_.Get())->AttachViewer(kTestViewerId), S_OK);
        QVERIFY(!views());
        QVERIFY(!rotate());
        QCOMPARE(mgr_->OnCommand(7139), S_OK);
    }

    void addingUsesTheCameraAndAnEmptyListLetsTheStoreChoose() {
        for (const QString& name : rows())
            store().real->DestroyView(name.toUtf8().constData());
        QCOMPARE(rows().size(), 0);
        store().calls.clear();
        host_->viewer->eye[0] = 0, host_->viewer->eye[1] = -50, host_->viewer->eye[2] = 0;
        host_->viewer->up[0] = 0, host_->viewer->up[1] = 0, host_->viewer->up[2] = 1;
        answerName("Front");
        click(views(), 2003);
        answerName("Side");
        click(views(), 2003);
        QCOMPARE(storeCalls(), (QStringList{"CreateViewInfo(Front,-1)", "CreateViewInfo(Side,1)"}));
        QCOMPARE(rows(), (QStringList{"Front", "Side"}));
        const FullViewInfo front = record("Front");
        QCOMPARE(front.iViewIndex, 1);
        QCOMPARE(record("Side").iViewIndex, 2);
        QVERIFY(along(front.pViewVector, 0, 1, 0) && along(front.pUpVector, 0, 0, 1));
        answerName("", nullptr, true); // Cancel adds nothing
        click(views(), 2003);
        QCOMPARE(rows().size(), 2);
    }

    void replacingKeepsTheDefaultMarkAndTakesTheCamera() {
        QCOMPARE(store().real->SetDefaultView("+Y"), S_OK);
        QCOMPARE(rows().indexOf("+Y"), 1);
        QVERIFY(list()->item(1)->font().bold());
        host_->viewer->eye[0] = 30, host_->viewer->eye[1] = 40, host_->viewer->eye[2] = 0;
        select({1});
        click(views(), 2004);
        FullViewInfo replaced = record("+Y");
        QVERIFY(replaced.iChangeBits & ViewChangeDefaultView);
        QCOMPARE(replaced.iViewIndex, 2);
        QVERIFY(along(replaced.pViewVector, -0.6, -0.8, 0));
        select({2});
        click(views(), 2004);
        QVERIFY(!(record("+Z").iChangeBits & ViewChangeDefaultView));
        QVERIFY(record("+Y").iChangeBits & ViewChangeDefaultView);
    }

    void movingSwapsNeighboursAndTheEndsStayPut() {
        const QStringList before = rows();
        store().real->SetDefaultView("+X");
        const FullViewInfo plusX = record("+X");
        select({0});
        click(views(), 205); // up on the first row
        QCOMPARE(rows(), before);
        select({7});
        click(views(), 206); // down on the last row
        QCOMPARE(rows(), before);
        QVERIFY(!storeCalls().join(' ').contains("Rename"));

        auto sink = make<krav::test::CRecordingSink, IViewManagerSink>();
        store().real->RegisterInterest(sink.Get());
        select({0});
        click(views(), 206);
        store().real->UnregisterInterest(sink.Get());
        QCOMPARE(rows().mid(0, 3), (QStringList{"+Y", "+X", "+Z"}));
        QCOMPARE(list()->currentRow(), 1);
        QVERIFY(storeCalls().contains("MoveView(+X,1)"));
        // The store still makes the swap of three renames through the
        // placeholder, announced inside one batch.
        const std::vector<std::string> swap = {
            "BatchBegin()",   "Renamed(+X,PLACEHOLDER_VIEW_NAME)",
            "Renamed(+Y,+X)", "Renamed(PLACEHOLDER_VIEW_NAME,+Y)",
            "PreEdit(+X)",    "Edited(+X)",
            "PreEdit(+Y)",    "Edited(+Y)",
            "BatchEnd()"};
        QVERIFY(sink->events == swap);
        const FullViewInfo moved = record("+X");
        QCOMPARE(moved.iViewIndex, 2);
        QCOMPARE(moved.pViewVector[0], plusX.pViewVector[0]); // the record travels with its name
        QVERIFY(moved.iChangeBits & ViewChangeDefaultView);
        QVERIFY(!(record("+Y").iChangeBits & ViewChangeDefaultView));
        QCOMPARE(record("+Y").iViewIndex, 1);
        click(views(), 205);
        QCOMPARE(rows(), before);
        QVERIFY(record("PLACEHOLDER_VIEW_NAME").iViewIndex == -100);
    }

    void deletingSeveralKeepsIndicesContiguous() {
        host_->messageAnswer = kIdNo;
        select({1, 3, 5});
        click(views(), 2008);
        QCOMPARE(rows().size(), 8);
        QCOMPARE(lastMessage(), text(krav::IDS_CONFIRM_DELETE));
        host_->messageAnswer = kIdYes;
        store().calls.clear();
        select({1, 3, 5});
        click(views(), 2008);
        QCOMPARE(rows().mid(0, 3), (QStringList{"+X", "+Z", "-Y"}));
        QCOMPARE(rows().size(), 5);
        QCOMPARE(storeCalls().filter("Destroy"), (QStringList{"DestroyViews(+Y,-X,-Z)"}));
        int expected = 1;
        for (const QString& name : rows())
            QCOMPARE(record(name.toUtf8().constData()).iViewIndex, expected++);
        for (int r = 0; r < list()->count(); ++r)
            QCOMPARE(list()->item(r)->data(Qt::UserRole).toInt(), r);
    }

    void settingTheDefaultMovesTheMark() {
        select({4});
        click(views(), 2009);
        QVERIFY(record("-Y").iChangeBits & ViewChangeDefaultView);
        QVERIFY(list()->item(4)->font().bold());
        select({6});
        click(views(), 2009);
        QVERIFY(!(record("-Y").iChangeBits & ViewChangeDefaultView));
        QVERIFY(!list()->item(4)->font().bold());
        QVERIFY(list()->item(6)->font().bold());
    }

    void theNameRequestChecksTheAnswer() {
        select({0});
        answerName("");
        click(views(), 2005);
        QCOMPARE(lastMessage(), text(krav::IDS_TYPE_VIEW_NAME));
        answerName("+Y");
        click(views(), 2005);
        QCOMPARE(lastMessage(), text(krav::IDS_VIEW_EXISTS));
        const size_t shown = host_->messages.size();
        answerName("+X");
        click(views(), 2005);
        QCOMPARE(host_->messages.size(), shown);
        QVERIFY2(storeCalls().filter("RenameView").isEmpty(), "unchanged: nothing to do");
        bool refused = false;
        answerName(QString(31, QChar(0x00E9)), &refused);
        click(views(), 2005);
        QVERIFY(refused);
        QVERIFY(storeCalls().filter("RenameView").isEmpty());
        const QString thirty = QString(29, 'v') + QChar(0x00E9);
        answerName(thirty, &refused);
        click(views(), 2005);
        QVERIFY(!refused);
        QCOMPARE(rows()[0], thirty);
        // Another case is not "unchanged": the rename goes to the store.
        answerName(thirty.toUpper(), &refused);
        click(views(), 2005);
        QVERIFY(storeCalls().contains("RenameView(" + thirty + "," + thirty.toUpper() + ")"));
    }

    void theFieldsAreCheckedAndApplied() {
        showViews();
        type(views(), 264, "abc");
        QCOMPARE(lastMessage(), text(krav::IDS_NON_NUMERIC));
        type(views(), 264, "400");
        QCOMPARE(lastMessage(), text(krav::IDS_ANGLE_RANGE));
        const size_t shown = host_->messages.size();
        control<QLineEdit>(views(), 265)->setFocus();
        list()->setFocus(); // left without a change: not checked again
        QCOMPARE(host_->messages.size(), shown);

        type(views(), 264, "90");
        type(views(), 265, "0");
        type(views(), 266, "0");
        QCOMPARE(host_->messages.size(), shown);
        // (90, 0, 0): the front view, from -Y with Z up.
        const auto* v = host_->viewer.Get();
        QVERIFY(std::fabs(v->target[1] - v->eye[1]) > 0 && v->eye[1] < v->target[1]);
        QVERIFY(std::fabs(v->up[2] - 1.0f) < 1e-3);

        click(views(), 247); // Look at:
        QVERIFY(!control<QLineEdit>(views(), 264)->isEnabled() &&
                control<QLineEdit>(views(), 268)->isEnabled());
        type(views(), 271, "0");
        type(views(), 272, "0");
        type(views(), 273, "0");
        QCOMPARE(lastMessage(), text(krav::IDS_ZERO_VECTOR));
        type(views(), 273, "1");
        click(views(), 241); // Look from:
        QVERIFY(control<QLineEdit>(views(), 277)->isEnabled());
        for (int id : {268, 269, 270, 277, 278, 279})
            type(views(), id, "5");
        QCOMPARE(lastMessage(), text(krav::IDS_IDENTICAL_POINTS));
        type(views(), 279, "0"); // from (5, 5, 0) to (5, 5, 5): along Z, the up vector's direction
        QCOMPARE(lastMessage(), text(krav::IDS_PARALLEL_VECTORS));
        type(views(), 277, "-20");
        QCOMPARE(lastMessage(), text(krav::IDS_PARALLEL_VECTORS)); // no new message
        QVERIFY2(std::fabs(v->target[0] - 5) < 1e-3 && std::fabs(v->eye[0] + 20) < 1e-3,
                 "applied at once");

        click(views(), 207); // orthographic: no field of view
        QVERIFY(!control(views(), 233)->isEnabled() &&
                !control<QLineEdit>(views(), 280)->isEnabled());
        click(views(), 208);
        QVERIFY(control(views(), 233)->isEnabled());
        click(views(), 233);
        QCOMPARE(control<QLineEdit>(views(), 280)->isEnabled(), control(views(), 233)->isChecked());
    }

    void pickingFillsTheVectorBeingPicked() {
        showViews();
        click(views(), 247); // Look at: enables its pick button
        auto* pick = control(views(), 281);
        QCOMPARE(pick->text().toStdString(), text(krav::IDS_PICK));
        click(views(), 281);
        QCOMPARE(pick->text().toStdString(), text(krav::IDS_STOP_PICK));
        QCOMPARE(host_->count("BeginPick"), 1);
        QCOMPARE(static_cast<IZulModule*>(mgr_.Get())->NotifyPicked(),
                 S_OK); // the user clicked a point
        QCOMPARE(control<QLineEdit>(views(), 268)->text(), QString("1"));
        QCOMPARE(control<QLineEdit>(views(), 270)->text(), QString("3"));
        QCOMPARE(pick->text().toStdString(), text(krav::IDS_PICK)); // one pick per press
        QCOMPARE(host_->count("EndPick"), 1);
        QCOMPARE(host_->viewer->target[0], 1.0f); // taken over: the camera looks at it

        control<QComboBox>(views(), 274)->setCurrentIndex(1); // Part: the middle of its box
        click(views(), 281);
        QCOMPARE(static_cast<IZulModule*>(mgr_.Get())->NotifyPicked(), S_OK);
        QCOMPARE(control<QLineEdit>(views(), 270)->text(), QString("-3"));
        click(views(), 241); // Look from: its own pick, stopped by pressing again
        click(views(), 282);
        click(views(), 282);
        QCOMPARE(host_->count("EndPick"), 3);
        QCOMPARE(control(views(), 282)->text().toStdString(), text(krav::IDS_PICK));
    }

    void doubleClickAppliesAViewAndTheCaptionFollows() {
        showViews();
        QCOMPARE(control(views(), 32779)->text().toStdString(), text(krav::IDS_APPLY_VIEW));
        const QRect rect = list()->visualItemRect(list()->item(3));
        QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, rect.center());
        QCOMPARE(control(views(), 32779)->text().toStdString(),
                 text(krav::IDS_APPLY_SELECTED_VIEW));
        QTest::mouseDClick(list()->viewport(), Qt::LeftButton, {}, rect.center());
        QVERIFY(storeCalls().contains("ShowView(-X)"));
        const auto* v = host_->viewer.Get();
        QVERIFY2(v->eye[0] > v->target[0], "-X looks towards -X, from +X");
        QCOMPARE(control<QLineEdit>(views(), 264)->text(), FormatG([&] {
                     const FullViewInfo info = record("-X");
                     const double view[3] = {info.pViewVector[0], info.pViewVector[1],
                                             info.pViewVector[2]};
                     const double up[3] = {info.pUpVector[0], info.pUpVector[1], info.pUpVector[2]};
                     double a[3];
                     VectorsToAngles(view, up, a);
                     return a[0];
                 }()));
        control<QLineEdit>(views(), 265)->setFocus(); // a field: back to "Apply view"
        QCOMPARE(control(views(), 32779)->text().toStdString(), text(krav::IDS_APPLY_VIEW));
    }

    void storeEventsAreIgnoredWhileAMessageIsOpen() {
        host_->messageAnswer = kIdNo;
        host_->onMessage = [this](const std::string&) {
            FullViewInfo info;
            store().real->CreateViewInfo("Sneaked", info);
        };
        select({0});
        click(views(), 2008);
        host_->onMessage = nullptr;
        QVERIFY(!rows().contains("Sneaked"));
        QVERIFY(record("Sneaked").iViewIndex > 0);
        FullViewInfo info;
        store().real->CreateViewInfo("Seen", info); // afterwards the list follows again
        QVERIFY(rows().contains("Sneaked") && rows().contains("Seen"));
    }

    void filesAreCheckedBeforeLoading() {
        host_->chosenFile = dir_->filePath("views.qjv").toStdString();
        click(views(), 2006);
        QVERIFY(QFile::exists(dir_->filePath("views.qjv")));
        QVERIFY(storeCalls().contains("SaveViews(1)"));
        host_->chosenFile = dir_->filePath("views.txt").toStdString();
        click(views(), 2007);
        QCOMPARE(QString::fromStdString(lastMessage()),
                 QString::fromStdString(text(krav::IDS_FILE_NOT_VALID))
                     .replace("%s", dir_->filePath("views.txt")));
        QFile windows(dir_->filePath("old.reg"));
        QVERIFY(windows.open(QIODevice::WriteOnly));
        windows.write("\xFF\xFEW\0i\0n\0");
        windows.close();
        host_->chosenFile = windows.fileName().toStdString();
        click(views(), 2007);
        QCOMPARE(QString::fromStdString(lastMessage()),
                 QString::fromStdString(text(krav::IDS_FILE_FROM_WINDOWS))
                     .replace("%s", windows.fileName()));
        QVERIFY(storeCalls().filter("LoadViews").isEmpty());
        store().real->DestroyView("+X");
        host_->chosenFile = dir_->filePath("views.qjv").toStdString();
        click(views(), 2007);
        QVERIFY(rows().contains("+X"));
    }

    // A load the store can say more about (a FIFO chosen as the file) gets
    // the store's message alone; one it cannot (not a view file) gets the
    // dialog's general one.
    void theStoreSaysWhyALoadFailed() {
        const QString fifo = dir_->filePath("pipe.qjv");
        QCOMPARE(::mkfifo(fifo.toLocal8Bit().constData(), 0600), 0);
        host_->chosenFile = fifo.toStdString();
        const size_t before = host_->messages.size();
        click(views(), 2007);
        QCOMPARE(host_->messages.size(), before + 1);
        QVERIFY2(lastMessage().find("could not be loaded: not a regular file") != std::string::npos,
                 lastMessage().c_str());
        QFile hello(dir_->filePath("hello.qjv"));
        QVERIFY(hello.open(QIODevice::WriteOnly));
        hello.write("hello\n");
        hello.close();
        host_->chosenFile = hello.fileName().toStdString();
        click(views(), 2007);
        QCOMPARE(host_->messages.size(), before + 2);
        QCOMPARE(
            QString::fromStdString(lastMessage()),
            QString::fromStdString(text(krav::IDS_FILE_NOT_VALID)).replace("%s", hello.fileName()));
    }

    void theRotateDialogChecksItsStep() {
        mgr_->OnCommand(7133);
        QApplication::setActiveWindow(rotate());
        QVERIFY(QTest::qWaitForWindowActive(rotate()));
        auto* step = control<QLineEdit>(rotate(), 229);
        QCOMPARE(step->text(), QString("90.00"));
        auto leave = [&](const QString& value) {
            step->setFocus();
            step->selectAll();
            QTest::keyClick(step, Qt::Key_Delete);
            QTest::keyClicks(step, value);
            control(rotate(), 226)->setFocus();
        };
        ComPtr<IViewNavigator> nav;
        host_->objects[2]->QueryInterface(zul::com::iidOf<IViewNavigator>(),
                                          reinterpret_cast<void**>(nav.GetAddressOf()));
        float angle = 0;
        leave("400");
        QCOMPARE(lastMessage(), text(krav::IDS_ANGLE_RANGE));
        QCOMPARE(step->text(), QString("90.00"));
        leave("-360");
        nav->GetAngleOfRotation(&angle);
        QCOMPARE(angle, -360.0f);
        leave("360.01");
        QCOMPARE(step->text(), QString("-360.00"));
        leave("30");
        const size_t shown = host_->messages.size();
        step->setFocus();
        step->selectAll();
        QTest::keyClick(step, Qt::Key_Delete);
        QTest::keyClicks(step, "abc");
        host_->viewer->calls.clear();
        std::vector<std::string> callsAtMessage;
        host_->onMessage = [&](const std::string&) { callsAtMessage = host_->viewer->calls; };
        click(rotate(), 220); // Rotate Left: about +Y by the stored 30 degrees
        host_->onMessage = nullptr;
        QCOMPARE(host_->messages.size(), shown + 1);
        QCOMPARE(lastMessage(), text(krav::IDS_NON_NUMERIC));
        QVERIFY2(callsAtMessage.empty(), "the message comes before the rotation");
        QCOMPARE(host_->viewer->count("RotateCamera(0,1,0,30"), 1);
        leave("0");
        click(rotate(), 217);
        QCOMPARE(host_->messages.size(), shown + 1); // 0 is a number

        click(rotate(), 212); // Align to Z
        const auto* v = host_->viewer.Get();
        QVERIFY(std::fabs(v->eye[0] - v->target[0]) < 1e-3 &&
                std::fabs(v->eye[1] - v->target[1]) < 1e-3);
        auto* combo = control<QComboBox>(rotate(), 209);
        QCOMPARE(combo->count(), 8);
        combo->setFocus();
        QTest::keyClick(combo, Qt::Key_Down); // selecting applies the view
        QVERIFY(storeCalls().contains(QString("ShowView(%1)").arg(combo->currentText())));
        store().real->DestroyView("-Z");
        QCOMPARE(combo->count(), 7);
    }

    // A name a .reg file cannot carry is allowed, with a line saying so.
    void nameDialogWarnsAboutNamesAnExportCannotCarry() {
        CNameDialog name(views());
        name.show();
        auto* edit = qobject_cast<QLineEdit*>(FindControl(&name, 224));
        auto* warning = name.findChild<QLabel*>("travelWarning");
        QVERIFY(edit && warning);
        edit->setText("Front");
        QVERIFY(!warning->isVisible());
        edit->setText("Say \"cheese\"");
        QVERIFY(warning->isVisible());
        QVERIFY(warning->text().contains(".reg file"));
        QVERIFY(name.height() >= name.sizeHint().height());
        QApplication::processEvents();
        QVERIFY2(warning->height() >= warning->heightForWidth(warning->width()),
                 "the line shows whole");
        edit->setText("Back\\left");
        QVERIFY(warning->isVisible());
        edit->setText("Back left");
        QVERIFY(!warning->isVisible());
    }

    // Every label and button shows its whole text; with KRAV_SCREENSHOTS set
    // to a folder, the three dialogs are saved there as PNG.
    void dialogsShowTheirTextsWhole() {
        mgr_->OnCommand(7139);
        mgr_->OnCommand(7133);
        auto* name = new CNameDialog(views());
        name->SetName("Front left");
        name->show();
        const QList<QWidget*> dialogs = {views(), rotate(), name};
        for (QWidget* dialog : dialogs) {
            QVERIFY(QTest::qWaitForWindowExposed(dialog));
            for (QWidget* w : dialog->findChildren<QWidget*>()) {
                if (!w->isVisible() ||
                    !(qobject_cast<QLabel*>(w) || qobject_cast<QAbstractButton*>(w)))
                    continue;
                QVERIFY2(w->width() >= w->minimumSizeHint().width(), qPrintable(w->objectName()));
            }
        }
        const QByteArray folder = qgetenv("KRAV_SCREENSHOTS");
        if (!folder.isEmpty()) {
            views()->grab().save(QDir(folder).filePath("standard-views-dialog.png"));
            rotate()->grab().save(QDir(folder).filePath("rotate-dialog.png"));
            name->grab().save(QDir(folder).filePath("view-name-dialog.png"));
        }
        delete name;
    }
};

QTEST_MAIN(DialogsTest)
#include "dialogs_test.moc"
