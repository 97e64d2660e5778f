// The scene without a display: model files in each format, bad files, and
// the camera model carried to a VTK camera and back.
#include <gtest/gtest.h>

#include <vtkCamera.h>
#include <vtkNew.h>
#include <vtkSphereSource.h>
#include <vtkXMLPolyDataWriter.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "zul/scene/Scene.h"

namespace {

namespace fs = std::filesystem;

class SceneFiles : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("zul-scene-" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string write(const std::string& name, const std::string& text) {
        const std::string path = (dir_ / name).string();
        std::ofstream(path) << text;
        return path;
    }
    fs::path dir_;
};

// One triangle from (0,0,0) to (2,0,0) to (0,3,1), in each text format.
TEST_F(SceneFiles, EachFormatGivesAPartWithItsBounds) {
    const std::string stl = write("tri.stl",
                                  "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 2 0 0\nvertex 0 3 1\n"
                                  "endloop\nendfacet\nendsolid t\n");
    const std::string obj = write("tri.OBJ", "v 0 0 0\nv 2 0 0\nv 0 3 1\nf 1 2 3\n");
    const std::string ply = write("tri.ply",
                                  "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                                  "property float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n"
                                  "0 0 0\n2 0 0\n0 3 1\n3 0 1 2\n");
    vtkNew<vtkSphereSource> sphere;
    sphere->SetCenter(5, 5, 5);
    sphere->SetRadius(1);
    vtkNew<vtkXMLPolyDataWriter> writer;
    const std::string vtp = (dir_ / "ball.vtp").string();
    writer->SetFileName(vtp.c_str());
    writer->SetInputConnection(sphere->GetOutputPort());
    ASSERT_EQ(writer->Write(), 1);

    zul::scene::Scene scene;
    std::string error;
    for (const std::string& path : {stl, obj, ply}) {
        ASSERT_TRUE(scene.addFile(path, error)) << path << ": " << error;
        double b[6];
        ASSERT_TRUE(scene.partBounds(unsigned(scene.partCount()), b));
        EXPECT_DOUBLE_EQ(b[1], 2.0) << path;
        EXPECT_DOUBLE_EQ(b[3], 3.0) << path;
        EXPECT_DOUBLE_EQ(b[5], 1.0) << path;
    }
    ASSERT_TRUE(scene.addFile(vtp, error)) << error;
    EXPECT_EQ(scene.partCount(), 4u);
    EXPECT_EQ(scene.partName(4), "ball.vtp");
    double all[6];
    ASSERT_TRUE(scene.bounds(all));
    EXPECT_NEAR(all[1], 6.0, 0.05); // the sphere is tessellated
}

TEST_F(SceneFiles, BadFilesAreRefusedAndChangeNothing) {
    zul::scene::Scene scene;
    scene.addSampleModel();
    const size_t parts = scene.partCount();
    std::string error;
    EXPECT_FALSE(scene.addFile(write("empty.stl", ""), error));
    EXPECT_NE(error.find("no geometry"), std::string::npos) << error;
    EXPECT_FALSE(scene.addFile(write("junk.ply", "\x01\x02 not a ply"), error));
    EXPECT_FALSE(scene.addFile(write("model.step", "ISO-10303-21;"), error));
    EXPECT_NE(error.find("not an STL"), std::string::npos) << error;
    EXPECT_FALSE(scene.addFile((dir_ / "absent.obj").string(), error));
    EXPECT_EQ(scene.partCount(), parts);
    EXPECT_FALSE(scene.partBounds(0, nullptr));
}

TEST(SceneCamera, TheCameraModelSurvivesAVtkCameraBothProjections) {
    zul::scene::Scene scene;
    scene.addSampleModel();
    for (bool perspective : {false, true}) {
        zul::scene::Camera c{{10, -40, 20}, {1, 2, 3}, {0, 0, 1}, perspective, 50.0f, 30.0f};
        zul::scene::applyCamera(c, scene.renderer());
        // The model's own focal distance and eye distance stay; the rest
        // comes from VTK.
        zul::scene::Camera back = c;
        back.up[0] = back.up[1] = back.up[2] = 0;
        back.viewHeight = 0;
        zul::scene::readCamera(scene.renderer(), back);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(back.eye[i], c.eye[i], 1e-4);
            EXPECT_NEAR(back.target[i], c.target[i], 1e-4);
        }
        EXPECT_EQ(back.perspective, perspective);
        EXPECT_NEAR(back.viewHeight, 30.0f, 1e-3) << "view height as parallel scale or angle at the focal distance";
        const double* up = scene.renderer()->GetActiveCamera()->GetViewUp();
        const double d[3] = {c.target[0] - c.eye[0], c.target[1] - c.eye[1], c.target[2] - c.eye[2]};
        EXPECT_NEAR(up[0] * d[0] + up[1] * d[1] + up[2] * d[2], 0.0, 1e-6) << "VTK's up is made square to the view";
    }
    zul::scene::Camera c{{0, 0, 500}, {9, 9, 9}, {0, 1, 0}, false, 500.0f, 5.0f};
    zul::scene::fitAll(scene, c);
    double b[6];
    ASSERT_TRUE(scene.bounds(b));
    EXPECT_NEAR(c.target[0], (b[0] + b[1]) / 2, 1e-3);
    EXPECT_NEAR(c.target[2], (b[4] + b[5]) / 2, 1e-3);
    EXPECT_GT(c.viewHeight, float(b[5] - b[4])) << "the whole model fits";
    EXPECT_GT(c.eye[2], c.target[2]) << "the direction of view is kept";
}

} // namespace
