// zulview with the module's German resource module: the whole window in
// German. A process of its own, since the module takes its language when
// it is loaded. Every menu of an English window is compared with the same
// menu of a German one: an entry the viewer wrote must read differently,
// unless it is the module's own (German in both), a view or file name, or
// holds no words (+X, arrows).
#include <QApplication>
#include <QMenuBar>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest/QtTest>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <set>

#include "KRAdvancedViews/ResourceIds.h"
#include "MainWindow.h"
#include "Translations.h"
#include "ViewCube.h"

using zul::viewer::MainWindow;

namespace {

struct Entry {
    QString text;
    bool module = false; // an item or menu the module made
};

// Whether `menu` is the module's: it holds the module's items.
bool s_modulesMenu(QMenu* menu, const std::set<QAction*>& moduleItems) {
    for (QAction* a : menu->actions())
        if (moduleItems.count(a)) return true;
    return false;
}

// Every entry of every menu, opened as a user opens them, by its path
// ("1/10/3": the fourth entry of the eleventh of the second menu).
void s_collect(MainWindow& window, QMenu* menu, const QString& path,
               const std::set<QAction*>& moduleItems, std::map<QString, Entry>& out) {
    QMetaObject::invokeMethod(menu, "aboutToShow");
    const QList<QAction*> actions = menu->actions();
    for (int i = 0; i < actions.size(); ++i) {
        QAction* a = actions[i];
        if (a->isSeparator() || a->text().isEmpty()) continue;
        const QString at = path + "/" + QString::number(i);
        const bool module =
            moduleItems.count(a) > 0 || (a->menu() && s_modulesMenu(a->menu(), moduleItems));
        out[at] = {a->text().remove('&'), module};
        if (a->menu()) s_collect(window, a->menu(), at, moduleItems, out);
    }
}

std::map<QString, Entry> s_menus(MainWindow& window) {
    std::set<QAction*> moduleItems;
    for (UINT id = 1; id < 0x10000; ++id)
        if (QAction* a = window.host()->action(id)) moduleItems.insert(a);
    std::map<QString, Entry> out;
    const QList<QAction*> top = window.menuBar()->actions();
    for (int i = 0; i < top.size(); ++i) {
        const QString path = QString::number(i);
        out[path] = {top[i]->text().remove('&'), s_modulesMenu(top[i]->menu(), moduleItems)};
        s_collect(window, top[i]->menu(), path, moduleItems, out);
    }
    return out;
}

} // namespace

TEST(GermanViewer, EveryMenuAndTheCubeSpeakGerman) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    qputenv("ZUL_USER_HIVE", dir.filePath("user.db").toUtf8());
    qputenv("ZUL_MACHINE_HIVE", dir.filePath("machine.db").toUtf8());
    qputenv("KRAV_MODULE", KRAV_MODULE_PATH);
    ASSERT_EQ(zul::viewer::ViewerLanguage(), "de") << "the German resource module is found";

    auto open = [] {
        auto window = std::make_unique<MainWindow>();
        window->SetKeepRecent(false);
        QString error;
        EXPECT_TRUE(window->StartModule(error)) << error.toStdString();
        window->ShowSample();
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        return window;
    };
    auto english = open();
    const std::map<QString, Entry> before = s_menus(*english);
    english->StopModule();
    english.reset();

    ASSERT_TRUE(zul::viewer::InstallTranslations(*qApp));
    auto german = open();
    const std::map<QString, Entry> after = s_menus(*german);
    ASSERT_EQ(before.size(), after.size()) << "the same menus";
    ASSERT_GT(after.size(), 40u);
    const QRegularExpression word("[A-Za-z]{2,}");
    const QRegularExpression neutral("^[+-](X|Y|Z|Iso)$");
    int compared = 0;
    for (const auto& [path, entry] : after) {
        const Entry& was = before.at(path);
        if (entry.module || was.text != entry.text) continue;
        if (!word.match(entry.text).hasMatch() || neutral.match(entry.text).hasMatch()) continue;
        ++compared;
        ADD_FAILURE() << "still English at " << path.toStdString() << ": "
                      << entry.text.toStdString();
    }
    EXPECT_EQ(compared, 0);
    EXPECT_EQ(after.at("0").text, "Datei");

    EXPECT_EQ(zul::viewer::ViewCube::SideName({0, -1, 0}), "Vorne");
    EXPECT_EQ(zul::viewer::ViewCube::SideName({1, 0, 1}), "Rechts Oben");
    german->StopModule();
}

int main(int argc, char** argv) {
    qputenv("ZUL_RESPATH", KRAV_RESOURCE_DIR);
    zul::viewer::SetUpSurfaceFormat();
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
