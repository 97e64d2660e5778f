// The fixture of the viewer's end-to-end tests: zulview's window with the
// real module on a fresh hive, and pictures read back from its view.
#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QSurfaceFormat>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QVTKOpenGLNativeWidget.h>

#include <set>

#include <vtkCamera.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkRenderWindow.h>
#include <vtkRenderer.h>
#include <vtkUnsignedCharArray.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "KeyBindings.h"
#include "MainWindow.h"
#include "RunProgram.h"
#include "ViewCube.h"

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
        // Cameras jump: the pictures checked are the ones at the end.
        window_->SetTransitionMs(0);
        window_->ShowSample();
        window_->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window_.get()));
        host()->answerMessage = [this](const QString& text) {
            messages_.push_back(text.toStdString());
            return 1;
        };
        // The triad in the corner is not the model: left out of the pictures.
        window_->scene().axesRenderer()->DrawOff();
        ASSERT_TRUE(SUCCEEDED(
            window_->module()->QueryInterface(zul::com::iidOf<IAdvancedViewsModuleMgr>(),
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
        return std::fabs(d[0] - x) < 1e-3 && std::fabs(d[1] - y) < 1e-3 &&
               std::fabs(d[2] - z) < 1e-3;
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

    // The visible pixels the model covers.
    static long coverage(const Picture& p) {
        long n = 0;
        for (float d : p.depth)
            n += d < 1.0f;
        return n;
    }
    // How many pixels the two pictures disagree on, covered or not.
    static long differing(const Picture& a, const Picture& b) {
        long n = 0;
        for (size_t i = 0; i < a.depth.size() && i < b.depth.size(); ++i)
            n += (a.depth[i] < 1.0f) != (b.depth[i] < 1.0f);
        return n;
    }
    // The same parallel picture with the model's eye far back along the
    // view: nothing can be clipped there, so it is what the picture must be.
    Picture fromFarBack() {
        auto* v = host()->sceneViewer.Get();
        float saved[3];
        for (int i = 0; i < 3; ++i)
            saved[i] = v->eye[i];
        float d[3], n = 0;
        for (int i = 0; i < 3; ++i)
            d[i] = v->eye[i] - v->target[i], n += d[i] * d[i];
        n = std::sqrt(n);
        for (int i = 0; i < 3; ++i)
            v->eye[i] = v->target[i] + d[i] / n * 5000.0f;
        Picture far = picture();
        for (int i = 0; i < 3; ++i)
            v->eye[i] = saved[i];
        return far;
    }
    // Waits, handling events, until `done` or `ms` have passed; `done()`.
    static bool waitFor(const std::function<bool()>& done, int ms = 10000) {
        QElapsedTimer clock;
        clock.start();
        while (!done() && clock.elapsed() < ms)
            QTest::qWait(20);
        return done();
    }
    // The start of a krviews command line on this test's hive: another
    // program changing the stored views.
    std::string krviews() const {
        return "ZUL_USER_HIVE='" + dir_.filePath("user.db").toStdString() +
               "' KRAV_MODULE='" KRAV_MODULE_PATH "' '" KRVIEWS_PATH "' ";
    }
    QAction* viewItem(const QString& name) {
        for (UINT id = 17001; id < 17200; ++id)
            if (QAction* a = host()->action(id); a && a->text() == name) return a;
        return nullptr;
    }

    QTemporaryDir dir_;
    std::unique_ptr<MainWindow> window_;
    zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr_;
    std::vector<std::string> messages_;
};
