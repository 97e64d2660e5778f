// zulview: the ZUL desktop viewer. Shows models (or the sample assembly)
// with the view module loaded through the registry.
//
//   zulview [MODEL...] [--screenshot FILE [--dialog standard|rotate]] [--first-frame]
//
// --screenshot renders the window (with the named module dialog open) to
// FILE and quits; --first-frame prints the milliseconds from process start
// to the first frame and quits (for the benchmark).
#include <QApplication>
#include <QCommandLineParser>
#include <QMessageBox>
#include <QPainter>
#include <QSurfaceFormat>
#include <QTimer>
#include <QVTKOpenGLNativeWidget.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <unistd.h>

#include "MainWindow.h"
#include "Translations.h"
#include "zul/scene/ModelCheck.h"
#include "zul/scene/ModelReader.h"

namespace {

// Milliseconds since the kernel started this process.
double s_sinceProcessStart() {
    std::ifstream stat("/proc/self/stat");
    std::string field;
    unsigned long long start = 0;
    for (int i = 1; i <= 22 && stat >> field; ++i)
        if (i == 22) start = std::stoull(field);
    std::ifstream uptimeFile("/proc/uptime");
    double uptime = 0;
    uptimeFile >> uptime;
    return (uptime - double(start) / double(sysconf(_SC_CLK_TCK))) * 1000.0;
}

// The main window with the top-level dialogs drawn over it where they stand.
QImage s_grabWithDialogs(QMainWindow* window) {
    QImage image = window->grab().toImage();
    QPainter painter(&image);
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w == window || !w->isVisible() || !qobject_cast<QDialog*>(w)) continue;
        const QPoint at = w->mapToGlobal(QPoint(0, 0)) - window->mapToGlobal(QPoint(0, 0));
        painter.fillRect(QRect(at + QPoint(4, 4), w->size()), QColor(0, 0, 0, 60)); // a shadow
        painter.drawPixmap(at, w->grab());
        painter.setPen(QColor(120, 120, 120));
        painter.drawRect(QRect(at, w->size()).adjusted(0, 0, -1, -1));
    }
    return image;
}

} // namespace

int main(int argc, char** argv) {
    zul::scene::giveFreedModelMemoryBack();
    zul::viewer::SetUpSurfaceFormat();
    // Help and version need no display: they print and quit.
    for (int i = 1; i < argc; ++i)
        if (!std::strcmp(argv[i], "-h") || !std::strcmp(argv[i], "--help") ||
            !std::strcmp(argv[i], "--help-all") || !std::strcmp(argv[i], "-v") ||
            !std::strcmp(argv[i], "--version"))
            ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
    QApplication::setApplicationName("zulview");
    QApplication::setApplicationVersion(ZUL_VERSION);
    // The window speaks the module's language (German with its German
    // resource module).
    zul::viewer::InstallTranslations(app);
    QCommandLineParser parser;
    parser.setApplicationDescription("The ZUL desktop viewer");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(
        "MODEL", QString::fromStdString("Model files, shown together in one scene (default: the "
                                        "sample assembly), and view files (.qjv), offered for "
                                        "loading into the stored views. Formats: " +
                                        zul::scene::modelFormatList() + "."));
    QCommandLineOption screenshot("screenshot", "Render the window to FILE (PNG) and quit.",
                                  "FILE");
    QCommandLineOption dialog(
        "dialog", "With --screenshot: open the module's 'standard' or 'rotate' dialog.", "NAME");
    QCommandLineOption firstFrame("first-frame",
                                  "Print the ms from process start to the first frame, then quit.");
    parser.addOptions({screenshot, dialog, firstFrame});
    parser.process(app);

    // A picture or a timing waits for the models, which are read while the
    // window is made and the module starts; a user's window opens at once
    // and reads them in the background.
    const bool waitForModels = parser.isSet(screenshot) || parser.isSet(firstFrame);
    // View files given with the models (a .qjv double-clicked in a file
    // manager) are offered for loading once the window is up.
    QStringList models, viewFiles;
    for (const QString& file : parser.positionalArguments())
        (file.endsWith(".qjv", Qt::CaseInsensitive) ? viewFiles : models) << file;
    std::future<zul::viewer::ModelLoader::Result> early;
    if (waitForModels && !models.isEmpty())
        early = std::async(std::launch::async,
                           [models] { return zul::viewer::ModelLoader::Read(models); });
    zul::viewer::MainWindow window;
    // A picture or a timing is not the user opening a model.
    window.SetKeepRecent(!waitForModels);
    if (!waitForModels) window.OpenModelsInBackground(models);
    QString error;
    const bool moduleLoaded = window.StartModule(error);
    if (waitForModels) {
        // A picture or a timing of a model that could not be read would be
        // a picture of something else: the command line gets the error.
        QString modelError;
        bool shown = false;
        if (early.valid()) {
            zul::viewer::ModelLoader::Result read = early.get();
            shown = window.ShowModels(read, modelError);
        } else {
            shown = window.OpenModels(models, modelError); // none: the sample
        }
        if (!shown) {
            std::fprintf(stderr, "zulview: %s\n", qPrintable(modelError));
            return 1;
        }
    }
    window.show();
    if (!waitForModels && !viewFiles.isEmpty())
        QTimer::singleShot(0, &window, [&window, viewFiles] { window.OfferViewFiles(viewFiles); });

    if (parser.isSet(firstFrame)) {
        QObject::connect(&window, &zul::viewer::MainWindow::firstFrame, &app, [&] {
            std::printf("first frame: %.1f ms (module %s)\n", s_sinceProcessStart(),
                        moduleLoaded ? "loaded" : "not loaded");
            std::fflush(stdout);
            QTimer::singleShot(0, &app, &QApplication::quit);
        });
    } else if (parser.isSet(screenshot)) {
        QTimer::singleShot(300, &app, [&] {
            const QString which = parser.value(dialog);
            if (which == "standard")
                window.host()->Run(krav::ids::kEditDialog);
            else if (which == "rotate")
                window.host()->Run(krav::ids::kControlDialog);
            for (QWidget* w : QApplication::topLevelWidgets())
                if (qobject_cast<QDialog*>(w) && w->isVisible())
                    w->move(window.mapToGlobal(QPoint(window.width() - w->width() - 24, 90)));
            QTimer::singleShot(400, &app, [&] {
                const bool saved = s_grabWithDialogs(&window).save(parser.value(screenshot));
                std::printf("%s\n", qPrintable(parser.value(screenshot)));
                QApplication::exit(saved ? 0 : 1);
            });
        });
    } else {
        if (!moduleLoaded)
            QMessageBox::warning(&window, window.windowTitle(),
                                 QObject::tr("The view module is not loaded:\n%1").arg(error));
    }
    const int code = app.exec();
    window.StopModule();
    return code;
}
