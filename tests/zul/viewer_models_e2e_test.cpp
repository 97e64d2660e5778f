// zulview reading models: in the background with progress, dropped files,
// damaged files, and a read stopped by the user.
#include <QDir>
#include <QFontMetrics>
#include <QSignalSpy>

#include "KRAdvancedViews/formats/ParaViewFiles.h"
#include "KRAdvancedViews/formats/QjvFile.h"
#include "ViewerE2E.h"

namespace {

// A large STEP read in the background: the window keeps handling events
// (the progress bar moves while the file is read), the parts are swapped in
// at the end and counted in the status bar; a damaged file read the same
// way is a message that leaves the scene as it was.
TEST_F(ViewerE2E, AModelIsReadInTheBackgroundWithProgress) {
    const QString step = dir_.filePath("plates.step");
    ASSERT_EQ(
        std::system(
            ("'" + std::string(MAKESTEP_PATH) + "' '" + step.toStdString() + "' --grid 5").c_str()),
        0);
    auto* bar = window_->findChild<QProgressBar*>("readProgress");
    ASSERT_NE(bar, nullptr);
    int opened = -1;
    QString said;
    QObject::connect(window_.get(), &MainWindow::modelsOpened,
                     [&](int read, const QString& error) { opened = read, said = error; });
    ASSERT_TRUE(window_->OpenModelsInBackground({step}));
    EXPECT_FALSE(window_->OpenModelsInBackground({step})) << "one read at a time";
    std::vector<int> seen;
    for (int i = 0; i < 12000 && opened < 0; ++i) {
        QTest::qWait(10); // the event loop turns while the file is read
        if (bar->isVisible() && (seen.empty() || seen.back() != bar->value()))
            seen.push_back(bar->value());
    }
    ASSERT_EQ(opened, 1) << said.toStdString();
    EXPECT_GE(seen.size(), 2u) << "the progress bar moved while the window was live";
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_FALSE(bar->isVisible());
    EXPECT_EQ(window_->scene().partCount(), 125u);
    EXPECT_TRUE(window_->SceneSummary().startsWith("125 parts, "))
        << window_->SceneSummary().toStdString();
    // Kept among the recent models, in the user's hive.
    ASSERT_FALSE(window_->RecentModels().isEmpty());
    EXPECT_EQ(window_->RecentModels().front(), QFileInfo(step).absoluteFilePath());
    EXPECT_EQ(MainWindow().RecentModels(), window_->RecentModels()) << "read back by a new window";

    // A file dropped on the window is opened the same way.
    QFile obj(dir_.filePath("dropped.obj"));
    ASSERT_TRUE(obj.open(QIODevice::WriteOnly));
    obj.write("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    obj.close();
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(obj.fileName())});
    QDragEnterEvent enter(QPoint(100, 100), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window_.get(), &enter);
    EXPECT_TRUE(enter.isAccepted()) << "model files may be dropped";
    QDropEvent drop(QPointF(100, 100), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    opened = -1;
    QApplication::sendEvent(window_.get(), &drop);
    for (int i = 0; i < 12000 && opened < 0; ++i)
        QTest::qWait(10);
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(window_->scene().partCount(), 1u);
    EXPECT_EQ(window_->RecentModels().front(), QFileInfo(obj.fileName()).absoluteFilePath());
    // What is shown stays on the status bar, counted in words that agree.
    EXPECT_EQ(window_->StatusSummary(), "dropped.obj: 1 part, 1 triangle");
    EXPECT_FALSE(window_->statusBar()->currentMessage().startsWith("Reading"));

    QFile cut(dir_.filePath("cut.step"));
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write("ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('x'),'2;1');\n");
    cut.close();
    opened = -1;
    ASSERT_TRUE(window_->OpenModelsInBackground({cut.fileName()}));
    for (int i = 0; i < 12000 && opened < 0; ++i)
        QTest::qWait(10);
    EXPECT_EQ(opened, 0);
    EXPECT_TRUE(said.contains("cut.step: ")) << said.toStdString();
    EXPECT_EQ(window_->scene().partCount(), 1u) << "the shown model stays";
    EXPECT_TRUE(window_->statusBar()->currentMessage().startsWith("Cannot read"))
        << "the refusal replaces the reading's progress: "
        << window_->statusBar()->currentMessage().toStdString();
    EXPECT_EQ(window_->StatusSummary(), "dropped.obj: 1 part, 1 triangle");
    auto* box = window_->findChild<QMessageBox*>("readFailed");
    ASSERT_NE(box, nullptr) << "the user is told";
    EXPECT_EQ(box->text(), said);
    box->accept();
}

// The recent models: a long path shortened in its middle in the menu (the
// whole path its tip); a picture or a timing taken from the command line
// is not a model the user opened.
TEST_F(ViewerE2E, RecentModelsAreShortenedAndPicturesAreNotRecent) {
    QString folder = dir_.path();
    for (int i = 0; i < 12; ++i)
        folder += "/a-folder-with-a-long-name-" + QString::number(i);
    ASSERT_TRUE(QDir().mkpath(folder));
    QFile obj(folder + "/deep.obj");
    ASSERT_TRUE(obj.open(QIODevice::WriteOnly));
    obj.write("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    obj.close();
    QString error;
    ASSERT_TRUE(window_->OpenModels({obj.fileName()}, error)) << error.toStdString();
    auto* recent = window_->findChild<QMenu*>("recentModels");
    ASSERT_NE(recent, nullptr);
    ASSERT_FALSE(recent->actions().isEmpty());
    const QAction* item = recent->actions().front();
    EXPECT_EQ(item->toolTip(), QFileInfo(obj.fileName()).absoluteFilePath());
    EXPECT_TRUE(item->text().contains(QChar(0x2026))) << item->text().toStdString();
    EXPECT_TRUE(item->text().endsWith("deep.obj"));
    EXPECT_LE(QFontMetrics(recent->font()).horizontalAdvance(item->text()), 600);

    const QString shot = dir_.filePath("shot.png"), other = dir_.filePath("other.obj");
    ASSERT_TRUE(QFile::copy(obj.fileName(), other));
    const auto r =
        zul::test::runProgram("'" + std::string(ZULVIEW_PATH) + "' --screenshot '" +
                              shot.toStdString() + "' '" + other.toStdString() + "' 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_FALSE(MainWindow().RecentModels().contains(QFileInfo(other).absoluteFilePath()));
}

// Help > About names the version and every library the viewer draws and
// reads with, the reader's asked of the helper itself.
TEST_F(ViewerE2E, AboutNamesTheLibraries) {
    auto* about = window_->findChild<QAction*>("about");
    ASSERT_NE(about, nullptr);
    about->trigger();
    auto* box = window_->findChild<QMessageBox*>("aboutBox");
    ASSERT_NE(box, nullptr);
    const QString text = box->text();
    for (const char* part : {"ZUL Viewer 0.", "Qt 5.", "VTK 9.", "OpenCASCADE 7.", "Assimp 5."})
        EXPECT_TRUE(text.contains(part)) << part << " in " << text.toStdString();
    EXPECT_TRUE(text.contains("view module: loaded")) << text.toStdString();
    box->accept();
}

// A model opened is framed as F frames it, in either projection: the same
// margin around it, never touching the edges.
TEST_F(ViewerE2E, AModelOpensWithTheMarginOfFit) {
    const QString linkrods = "/usr/share/opencascade/data/step/linkrods.step";
    if (!QFileInfo::exists(linkrods)) GTEST_SKIP() << "occt-misc is not installed";
    struct Box {
        int x0 = 1 << 30, y0 = 1 << 30, x1 = -1, y1 = -1;
        bool operator==(const Box&) const = default;
    };
    auto box = [](const Picture& p) {
        Box b;
        for (int y = 0; y < p.height; ++y)
            for (int x = 0; x < p.width; ++x)
                if (p.covered(x, y))
                    b = {std::min(b.x0, x), std::min(b.y0, y), std::max(b.x1, x),
                         std::max(b.y1, y)};
        return b;
    };
    for (const bool perspective : {true, false}) {
        if (camera()->GetParallelProjection() == perspective) window_->ToggleProjection();
        ASSERT_EQ(!camera()->GetParallelProjection(), perspective);
        QSignalSpy opened(window_.get(), &MainWindow::modelsOpened);
        ASSERT_TRUE(window_->OpenModelsInBackground({linkrods}));
        ASSERT_TRUE(opened.wait(30000));
        const Picture shown = picture();
        const Box atOpen = box(shown);
        host()->sceneViewer->FitAll();
        EXPECT_TRUE(box(picture()) == atOpen) << "perspective " << perspective;
        EXPECT_GT(atOpen.y0, shown.height / 20) << "a margin below";
        EXPECT_LT(atOpen.y1, shown.height - shown.height / 20) << "and above";
    }
}

} // namespace

// A read that takes too long is stopped by Esc or the Stop button: at once,
// with the model shown and the stored views as they were.
TEST_F(ViewerE2E, AReadIsStoppedAndTheModelShownStays) {
    QFile slow(dir_.filePath("slow.sh"));
    ASSERT_TRUE(slow.open(QIODevice::WriteOnly));
    slow.write("#!/bin/sh\necho 'progress 100 reading the file'\nexec sleep 120\n");
    slow.close();
    slow.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("ZUL_MODEL_READER", slow.fileName().toUtf8());
    QFile obj(dir_.filePath("any.obj"));
    ASSERT_TRUE(obj.open(QIODevice::WriteOnly));
    obj.write("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    obj.close();
    const size_t parts = window_->scene().partCount();
    auto store = host()->firstObject<IViewManager2>();
    ASSERT_TRUE(store);
    auto names = [&store] {
        std::string all;
        for (const krav::StoredView& v : krav::ListStoredViews(store.Get()))
            all += v.name + ";";
        return all;
    };
    const std::string views = names();
    auto* stop = window_->findChild<QToolButton*>("stopRead");
    ASSERT_NE(stop, nullptr);
    for (int how = 0; how < 2; ++how) {
        SCOPED_TRACE(how == 0 ? "Esc" : "the Stop button");
        int opened = -1;
        auto connection = QObject::connect(window_.get(), &MainWindow::modelsOpened,
                                           [&](int read, const QString&) { opened = read; });
        ASSERT_TRUE(window_->OpenModelsInBackground({obj.fileName()}));
        QTest::qWait(200);
        EXPECT_TRUE(stop->isVisible());
        if (how == 0)
            QTest::keyClick(window_->view(), Qt::Key_Escape);
        else
            stop->click();
        // Well before the helper's two minutes are up.
        for (int i = 0; i < 3000 && opened < 0; ++i)
            QTest::qWait(10);
        QObject::disconnect(connection);
        EXPECT_EQ(opened, 0);
        EXPECT_FALSE(window_->Reading());
        EXPECT_FALSE(stop->isVisible());
        EXPECT_EQ(window_->scene().partCount(), parts);
        EXPECT_TRUE(window_->statusBar()->currentMessage().contains("stopped"))
            << window_->statusBar()->currentMessage().toStdString();
    }
    EXPECT_EQ(names(), views);
    EXPECT_FALSE(window_->StopReading()) << "nothing left to stop";
    qunsetenv("ZUL_MODEL_READER");
}

// The views that come with a model: the one saved beside it opens it; its
// cameras are applied as the file places them (an orthographic one with
// its height) unless they look along a locked up axis; one applied can be
// kept as a stored view under a name of its own; File > Save Views with
// Model writes the store beside the model.
TEST_F(ViewerE2E, AModelsOwnViewsOpenItAndCanBeKept) {
    const QString samples = "/usr/share/assimp/models/glTF2/cameras/";
    if (!QFileInfo::exists(samples + "Cameras.gltf")) GTEST_SKIP() << "install assimp-testmodels";
    for (const char* f : {"Cameras.gltf", "simpleSquare.bin"})
        ASSERT_TRUE(QFile::copy(samples + f, dir_.filePath(f)));
    const QString model = dir_.filePath("Cameras.gltf");
    krav::format::NamedRecord beside{"From below", {}};
    const float up[3] = {0, 0, 1}, along[3] = {0, 1, 0};
    std::copy(up, up + 3, beside.info.pUpVector);
    std::copy(along, along + 3, beside.info.pViewVector);
    beside.info.bHasFromAndAt = 0;
    std::string bytes, why;
    ASSERT_TRUE(krav::format::QjvUnicodeFileBytes({beside}, bytes, why)) << why;
    {
        QFile file(model + ".qjv");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes.data(), qint64(bytes.size()));
    }
    QString error;
    ASSERT_TRUE(window_->OpenModels({model}, error)) << error.toStdString();
    EXPECT_EQ(window_->ModelViewNames(), QStringList({"From below", "Camera 1", "Camera 2"}));
    auto camera = [&] { return zul::scene::frameOf(zul::scene::cameraOf(*host()->viewer.Get())); };
    EXPECT_NEAR(camera().direction[1], 1, 1e-4) << "opened looking along +Y, as saved";

    ASSERT_TRUE(window_->ApplyModelView(2));
    zul::scene::CameraFrame f = camera();
    EXPECT_FALSE(f.perspective);
    EXPECT_NEAR(f.eye[0], 0.5, 1e-5);
    EXPECT_NEAR(f.eye[2], 3, 1e-5);
    EXPECT_NEAR(f.direction[2], -1, 1e-5);
    EXPECT_NEAR(f.viewHeight, 2, 1e-5) << "ymag 1: two units seen";
    QString kept;
    ASSERT_TRUE(window_->KeepModelViewAsStored(&kept));
    EXPECT_EQ(kept, "Camera 2");
    ASSERT_TRUE(window_->KeepModelViewAsStored(&kept));
    EXPECT_EQ(kept, "Camera 2 (2)");
    FullViewInfo info;
    ASSERT_EQ(host()->firstObject<IViewManager2>()->GetViewInfo("Camera 2", &info), S_OK);
    EXPECT_EQ(info.cameraType, Orthographic);
    EXPECT_FALSE(window_->ApplyModelView(3));

    // Up locked onto Z: a camera looking along Z is refused as a stored view
    // along it is, and the camera stays.
    ASSERT_TRUE(window_->ApplyModelView(0));
    host()->sceneViewer->FinishTransition();
    host()->sceneViewer->SetUpLocked(true);
    const size_t said = messages_.size();
    EXPECT_FALSE(window_->ApplyModelView(2));
    ASSERT_GT(messages_.size(), said);
    EXPECT_NE(messages_.back().find("locked up vector"), std::string::npos) << messages_.back();
    EXPECT_NEAR(camera().direction[1], 1, 1e-4);
    host()->sceneViewer->SetUpLocked(false);

    ASSERT_TRUE(window_->SaveViewsWithModel(error)) << error.toStdString();
    std::vector<std::string> problems;
    std::vector<krav::format::NamedRecord> saved =
        krav::format::ReadViewsBeside(model.toStdString(), problems);
    EXPECT_TRUE(problems.empty());
    EXPECT_TRUE(std::any_of(saved.begin(), saved.end(),
                            [](const auto& r) { return r.name == "Camera 2 (2)"; }));
}

// File > Import Views and Export Views with ParaView's camera files: a
// camera comes in named after its file; a view holding a direction only
// goes out fitted to the model shown; a damaged file changes nothing.
TEST_F(ViewerE2E, ViewsAreImportedFromAndExportedToParaViewFiles) {
    window_->ShowSample();
    auto store = host()->firstObject<IViewManager2>();
    ASSERT_TRUE(store);
    krav::format::ParaViewCamera camera;
    camera.position[0] = 40, camera.focalPoint[1] = 5, camera.viewUp[2] = 1;
    camera.parallelProjection = true, camera.parallelScale = 12;
    const QString pvcc = dir_.filePath("Side view.pvcc");
    {
        QFile file(pvcc);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray::fromStdString(krav::format::PvccText(camera)));
    }
    QString error;
    ASSERT_TRUE(window_->ImportViews(pvcc, error)) << error.toStdString();
    FullViewInfo info;
    ASSERT_EQ(store->GetViewInfo("Side view", &info), S_OK);
    EXPECT_EQ(info.cameraType, Orthographic);
    EXPECT_FLOAT_EQ(info.pFromVector[0], 40);

    // Out to custom viewpoints: +X holds a direction only, and is fitted to
    // the sample shown, looking at its centre.
    const QString all = dir_.filePath("all.pvcvbc");
    ASSERT_TRUE(window_->ExportViews(all, {}, error)) << error.toStdString();
    std::vector<krav::format::NamedRecord> back;
    std::vector<std::string> notes;
    std::string why;
    ASSERT_TRUE(krav::format::ReadParaViewViews(
        all.toStdString(), krav::format::ParaViewFileKind::CustomViewpoints, back, notes, why))
        << why;
    ASSERT_EQ(back.size(), 9u);
    EXPECT_EQ(back[0].name, "+X");
    double b[6];
    ASSERT_TRUE(window_->scene().bounds(b));
    EXPECT_NEAR(back[0].info.pAtVector[0], (b[0] + b[1]) / 2, 1e-3);
    EXPECT_EQ(back[8].name, "Side view");

    // Without its position: refused, naming it; nothing stored changes.
    QFile file(pvcc);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QByteArray text = file.readAll().replace("CameraPosition", "CameraSomewhere");
    file.resize(0);
    file.write(text);
    file.close();
    ASSERT_EQ(store->EditViewInfo("Side view", back[0].info), S_OK);
    EXPECT_FALSE(window_->ImportViews(pvcc, error));
    EXPECT_TRUE(error.contains("the property CameraPosition is missing")) << error.toStdString();
    ASSERT_EQ(store->GetViewInfo("Side view", &info), S_OK);
    EXPECT_FLOAT_EQ(info.pAtVector[0], back[0].info.pAtVector[0]);
}
