// zulview started as a program and as a window of its own: what it keeps
// between runs, what it says of models it cannot open or a module it
// cannot find, and its table of keys.
#include "ViewerE2E.h"

namespace {

// The window's size and the transition duration come back in the next run
// (the user's hive holds them).
TEST(ViewerStart, TheWindowComesBackAsTheUserLeftIt) {
    QTemporaryDir dir;
    qputenv("ZUL_USER_HIVE", dir.filePath("user.db").toUtf8());
    qputenv("KRAV_MODULE", dir.filePath("missing.so").toUtf8());
    {
        MainWindow first;
        EXPECT_EQ(first.TransitionMs(), 250u) << "the default";
        first.SetTransitionMs(600);
        first.resize(901, 603);
        first.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&first));
        first.close();
    }
    MainWindow second;
    EXPECT_EQ(second.size(), QSize(901, 603));
    EXPECT_EQ(second.TransitionMs(), 600u);
}

TEST(ViewerStart, DamagedModelsGiveAMessageAndAFailingStatus) {
    QTemporaryDir dir;
    QFile ply(dir.filePath("x.ply"));
    ASSERT_TRUE(ply.open(QIODevice::WriteOnly));
    ply.write("ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nend_header\n1\n2\n");
    ply.close();
    const std::string env = "ZUL_USER_HIVE='" + dir.filePath("u.db").toStdString() +
                            "' KRAV_MODULE='" + KRAV_MODULE_PATH + "' ";
    const std::string shot = dir.filePath("shot.png").toStdString();
    auto r = zul::test::runProgram(env + "'" + ZULVIEW_PATH + "' --screenshot '" + shot + "' '" +
                                   ply.fileName().toStdString() + "' 2>&1");
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.out.find("x.ply: not a PLY file that can be read: the header declares 3 vertex "
                         "elements, but the data ends after 2"),
              std::string::npos)
        << r.out;
    EXPECT_FALSE(QFile::exists(QString::fromStdString(shot))) << "no picture of something else";
    r = zul::test::runProgram(env + "'" + ZULVIEW_PATH + "' --screenshot '" + shot + "' '" +
                              dir.filePath("missing.stl").toStdString() + "' 2>&1");
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.out.find("missing.stl: no such file"), std::string::npos) << r.out;
}

TEST(ViewerStart, AMissingModuleOrModelIsReportedAndTheViewerGoesOn) {
    QTemporaryDir dir;
    qputenv("ZUL_USER_HIVE", dir.filePath("user.db").toUtf8());
    qputenv("KRAV_MODULE", dir.filePath("missing.so").toUtf8());
    MainWindow window;
    QString error;
    EXPECT_FALSE(window.StartModule(error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(window.host()->Run(7145), E_FAIL);
    QFile bad(dir.filePath("broken.stl"));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("solid nothing\nendsolid\n");
    bad.close();
    window.ShowSample();
    const size_t parts = window.scene().partCount();
    EXPECT_FALSE(window.OpenModels({bad.fileName(), dir.filePath("absent.obj")}, error));
    EXPECT_TRUE(error.contains("broken.stl") && error.contains("absent.obj"))
        << error.toStdString();
    EXPECT_EQ(window.scene().partCount(), parts) << "the shown model stays";
}

} // namespace

// The key table: every key parses, no key does two things (the view hands
// the window's keys on too), and Help lists every binding that has a text.
TEST(ViewerKeys, EachKeyIsBoundOnceAndListed) {
    std::set<QString> seen;
    const QString help = zul::viewer::ShortcutsHelpHtml();
    for (const zul::viewer::KeyBinding& b : zul::viewer::KeyBindings()) {
        const QKeySequence key(QString::fromLatin1(b.keys));
        ASSERT_EQ(key.count(), 1) << b.keys;
        EXPECT_TRUE(seen.insert(key.toString()).second) << b.keys << " is bound twice";
        const zul::viewer::KeyBinding* found = zul::viewer::BindingForPress(
            key[0] & ~Qt::KeyboardModifierMask,
            Qt::KeyboardModifiers(key[0] & Qt::KeyboardModifierMask), b.scope);
        EXPECT_EQ(found, &b) << b.keys;
        if (b.text) {
            EXPECT_TRUE(help.contains(QString::fromUtf8(b.text).toHtmlEscaped())) << b.text;
        }
    }
    EXPECT_EQ(zul::viewer::KeyOf(zul::viewer::ViewerAction::ModuleCommand, krav::ids::kAlignMinusZ),
              QKeySequence(QStringLiteral("Shift+Z")));
    EXPECT_EQ(zul::viewer::KeyOf(zul::viewer::ViewerAction::StoredView, 0, 8),
              QKeySequence(QStringLiteral("Ctrl+9")));
}
