// zulview's window and host with the real module, under an X server
// (xvfb-run): commands go in through the host as the menus and toolbar send
// them, and the VTK camera and the rendered picture are checked.
#include <gtest/gtest.h>

#include <QApplication>
#include <QSurfaceFormat>
#include <QAction>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QVTKOpenGLNativeWidget.h>

#include <vtkCamera.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkRenderWindow.h>
#include <vtkRenderer.h>
#include <vtkUnsignedCharArray.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/IViewManager.h"
#include "MainWindow.h"

namespace {

using zul::viewer::MainWindow;

struct Picture {
    int width = 0, height = 0;
    std::vector<unsigned char> rgb; // bottom row first
    std::vector<float> depth;
    bool covered(int x, int y) const { return depth[size_t(y) * width + x] < 1.0f; }
    const unsigned char* at(int x, int y) const { return &rgb[(size_t(y) * width + x) * 3]; }
};

class ViewerE2E : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        qputenv("ZUL_USER_HIVE", dir_.filePath("user.db").toUtf8());
        qputenv("ZUL_MACHINE_HIVE", dir_.filePath("machine.db").toUtf8());
        qputenv("KRAV_MODULE", KRAV_MODULE_PATH);
        window_ = std::make_unique<MainWindow>();
        QString error;
        ASSERT_TRUE(window_->StartModule(error)) << error.toStdString();
        window_->ShowSample();
        window_->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window_.get()));
        host()->answerMessage = [this](const QString& text) {
            messages_.push_back(text.toStdString());
            return 1;
        };
        // The triad in the corner is not the model: left out of the pictures.
        window_->scene().axesRenderer()->DrawOff();
        ASSERT_TRUE(SUCCEEDED(window_->module()->QueryInterface(zul::com::iidOf<IAdvancedViewsModuleMgr>(),
                                                                  reinterpret_cast<void**>(mgr_.GetAddressOf()))));
    }
    void TearDown() override {
        window_->StopModule();
        window_.reset();
    }
    zul::viewer::CViewerHost* host() { return window_->host(); }
    vtkCamera* camera() { return window_->scene().renderer()->GetActiveCamera(); }
    // The direction the camera looks in, unit length.
    std::array<double, 3> looking() {
        double d[3];
        camera()->GetDirectionOfProjection(d);
        return {d[0], d[1], d[2]};
    }
    static bool along(const std::array<double, 3>& d, double x, double y, double z) {
        return std::fabs(d[0] - x) < 1e-3 && std::fabs(d[1] - y) < 1e-3 && std::fabs(d[2] - z) < 1e-3;
    }
    Picture picture() {
        vtkRenderWindow* w = window_->renderWindow();
        host()->sceneViewer->Redraw();
        window_->view()->update();
        QApplication::processEvents();
        w->Render();
        Picture p;
        const int* size = w->GetSize();
        p.width = size[0], p.height = size[1];
        vtkNew<vtkUnsignedCharArray> rgb;
        w->GetPixelData(0, 0, p.width - 1, p.height - 1, 0, rgb, 0);
        p.rgb.assign(rgb->GetPointer(0), rgb->GetPointer(0) + size_t(p.width) * p.height * 3);
        vtkNew<vtkFloatArray> z;
        w->GetZbufferData(0, 0, p.width - 1, p.height - 1, z);
        p.depth.assign(z->GetPointer(0), z->GetPointer(0) + size_t(p.width) * p.height);
        return p;
    }

    QTemporaryDir dir_;
    std::unique_ptr<MainWindow> window_;
    zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr_;
    std::vector<std::string> messages_;
};

TEST_F(ViewerE2E, OppositeViewsShowMirroredSilhouettesOfDifferentFaces) {
    ASSERT_EQ(host()->Run(7145), S_OK); // +X
    window_->host()->sceneViewer->FitAll();
    EXPECT_TRUE(along(looking(), 1, 0, 0));
    EXPECT_TRUE(camera()->GetParallelProjection()) << "the standard views are orthographic";
    const Picture plus = picture();
    ASSERT_EQ(host()->Run(7142), S_OK); // -X
    window_->host()->sceneViewer->FitAll();
    EXPECT_TRUE(along(looking(), -1, 0, 0));
    const Picture minus = picture();
    // Seen from opposite sides an orthographic silhouette is the mirror
    // image, while the faces seen (the colours) are not.
    long same = 0, covered = 0, colourDiffers = 0;
    for (int y = 0; y < plus.height; ++y)
        for (int x = 0; x < plus.width; ++x) {
            const int mx = plus.width - 1 - x;
            same += plus.covered(x, y) == minus.covered(mx, y);
            if (!plus.covered(x, y) || !minus.covered(mx, y)) continue;
            ++covered;
            const unsigned char *a = plus.at(x, y), *b = minus.at(mx, y);
            colourDiffers += std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]) > 60;
        }
    const long all = long(plus.width) * plus.height;
    EXPECT_GT(covered, all / 20) << "the model fills part of the view";
    EXPECT_GT(double(same) / all, 0.99) << "mirrored silhouettes";
    EXPECT_GT(double(colourDiffers) / covered, 0.05) << "the +X picture is not the -X one mirrored";
}

TEST_F(ViewerE2E, ThePartSitsWhereTheCameraProjectsIt) {
    ASSERT_EQ(host()->Run(7146), S_OK); // +Y: the arrow cone at the right
    window_->host()->sceneViewer->FitAll();
    const Picture p = picture();
    vtkRenderer* r = window_->scene().renderer();
    double bounds[6];
    unsigned cone = 0;
    for (unsigned id = 1; id <= window_->scene().partCount(); ++id)
        if (window_->scene().partName(id) == "Arrow") cone = id;
    ASSERT_NE(cone, 0u);
    ASSERT_TRUE(window_->scene().partBounds(cone, bounds));
    // A point inside the cone, a third of the way from its base.
    r->SetWorldPoint(bounds[0] + (bounds[1] - bounds[0]) / 3, (bounds[2] + bounds[3]) / 2, (bounds[4] + bounds[5]) / 2, 1);
    r->WorldToDisplay();
    const double* d = r->GetDisplayPoint();
    const int x = int(d[0]), y = int(d[1]);
    ASSERT_TRUE(x > 0 && y > 0 && x < p.width && y < p.height);
    ASSERT_TRUE(p.covered(x, y));
    const unsigned char* c = p.at(x, y);
    EXPECT_GT(c[0], c[1] + 60) << "red at the cone";
    EXPECT_GT(c[0], c[2] + 60);
}

TEST_F(ViewerE2E, CommandsDriveTheCameraAndTheStore) {
    ASSERT_EQ(host()->Run(7145), S_OK);
    // Rotate left: about +Y by the 90 degree step, so +X turns to look along -Z or +Z.
    ASSERT_EQ(host()->Run(7136), S_OK);
    const auto turned = looking();
    EXPECT_NEAR(std::fabs(turned[2]), 1.0, 1e-3);
    // Translate along +Y moves eye and target together.
    double before[3], after[3];
    camera()->GetFocalPoint(before);
    ASSERT_EQ(host()->Run(32801), S_OK);
    camera()->GetFocalPoint(after);
    EXPECT_GT(after[1] - before[1], 0.0);
    EXPECT_TRUE(along(looking(), turned[0], turned[1], turned[2]));

    // A stored view from the "&Standard Views" menu: command 17001 + its index.
    QAction* plusZ = host()->action(17001 + 3);
    ASSERT_NE(plusZ, nullptr);
    EXPECT_EQ(plusZ->text().toStdString(), "+Z");
    plusZ->trigger();
    EXPECT_TRUE(along(looking(), 0, 0, 1));

    // A new view from the present camera, found in the menu, saved and loaded.
    ASSERT_EQ(host()->Run(7146), S_OK);
    ASSERT_EQ(mgr_->AddView("Side"), S_OK);
    ASSERT_NE(host()->action(17010), nullptr);
    EXPECT_EQ(host()->action(17010)->text().toStdString(), "Side");
    std::string file = dir_.filePath("views.qjv").toStdString();
    ASSERT_EQ(mgr_->SaveViews(file.data(), TextFile), S_OK);
    ASSERT_EQ(mgr_->DeleteView("Side"), S_OK);
    EXPECT_EQ(host()->action(17010), nullptr);
    ASSERT_EQ(mgr_->LoadViews(file.data(), TextFile), S_OK);
    ASSERT_NE(host()->action(17010), nullptr);
    ASSERT_EQ(host()->Run(7145), S_OK);
    host()->action(17010)->trigger();
    EXPECT_TRUE(along(looking(), 0, 1, 0)) << "the stored camera comes back";
}

TEST_F(ViewerE2E, ALockedUpVectorRefusesAViewAlongIt) {
    // The computed +X alignment has Z exactly up (the stored standard views
    // carry tiny components, and the lock needs an exact axis).
    ASSERT_EQ(mgr_->AlignToAxis(PositiveX), S_OK);
    host()->sceneViewer->SetUpLocked(true);
    const auto before = looking();
    mgr_->ShowView("+Z"); // the stored view looks along the locked up vector
    EXPECT_TRUE(along(looking(), before[0], before[1], before[2]));
    ASSERT_EQ(messages_.size(), 1u) << "shown by the host";
    EXPECT_NE(messages_.back().find("locked up vector"), std::string::npos) << messages_.back();
    ASSERT_EQ(mgr_->ShowView("+Y"), S_OK); // keeps Z up: allowed
    EXPECT_TRUE(along(looking(), 0, 1, 0));
    host()->sceneViewer->SetUpLocked(false);
    ASSERT_EQ(mgr_->ShowView("+Z"), S_OK);
    EXPECT_TRUE(along(looking(), 0, 0, 1));
    EXPECT_EQ(messages_.size(), 1u);
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
    EXPECT_TRUE(error.contains("broken.stl") && error.contains("absent.obj")) << error.toStdString();
    EXPECT_EQ(window.scene().partCount(), parts) << "the shown model stays";
}

} // namespace

int main(int argc, char** argv) {
    zul::viewer::SetUpSurfaceFormat();
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
