// Colours and points as a user sees them: models rendered offscreen (under
// xvfb-run) and their pixels looked at.
#include <gtest/gtest.h>

#include <vtkCellArray.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPNGReader.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSphereSource.h>
#include <vtkUnsignedCharArray.h>
#include <vtkXMLPolyDataWriter.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "zul/scene/Scene.h"

namespace {

namespace fs = std::filesystem;

class ModelRender : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        if (!zul::scene::haveDisplay(why)) GTEST_SKIP() << why;
        dir_ = fs::temp_directory_path() / ("zul-render-" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override {
        if (!dir_.empty()) fs::remove_all(dir_);
    }
    std::string write(const std::string& name, const std::string& text) {
        const std::string path = (dir_ / name).string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    // The model of `path` seen from +Z, fitted: the picture's pixels.
    struct Picture {
        int width = 0, height = 0;
        std::vector<unsigned char> rgb;
        const unsigned char* at(int x, int y) const { return &rgb[size_t(y * width + x) * 3]; }
    };
    Picture render(const std::string& path) {
        zul::scene::Scene scene;
        std::string error;
        EXPECT_TRUE(scene.addFile(path, error)) << error;
        zul::scene::Camera camera{{0, 0, 10}, {0, 0, 0}, {0, 1, 0}, false, 10, 10};
        zul::scene::fitAll(scene, camera);
        const std::string png = (dir_ / "shot.png").string();
        EXPECT_TRUE(zul::scene::renderSheet(scene, {{"", camera}}, 120, 120, false, png, error))
            << error;
        vtkNew<vtkPNGReader> reader;
        reader->SetFileName(png.c_str());
        reader->Update();
        Picture p;
        int dims[3];
        reader->GetOutput()->GetDimensions(dims);
        p.width = dims[0], p.height = dims[1];
        const auto* px = static_cast<const unsigned char*>(reader->GetOutput()->GetScalarPointer());
        const int comps = reader->GetOutput()->GetNumberOfScalarComponents();
        for (int i = 0; i < p.width * p.height; ++i)
            for (int c = 0; c < 3; ++c)
                p.rgb.push_back(px[i * comps + c]);
        return p;
    }
    fs::path dir_;
};

// Which of red, green, blue the pixel is, by a clear margin; 0 none.
char hue(const unsigned char* px) {
    const int r = px[0], g = px[1], b = px[2];
    if (r > g + 60 && r > b + 60) return 'r';
    if (g > r + 60 && g > b + 60) return 'g';
    if (b > r + 60 && b > g + 60) return 'b';
    return 0;
}

// Colours per vertex in a PLY (unsigned char), per face through an MTL
// file, and a VTP with an unsigned-char RGB array (once drawn black): each
// drawn in its colour, not in the viewer's default grey.
TEST_F(ModelRender, ColouredFilesAreDrawnInTheirColours) {
    const std::string ply =
        write("red.ply",
              "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
              "property float z\nproperty uchar red\nproperty uchar green\nproperty uchar blue\n"
              "element face 2\nproperty list uchar int vertex_indices\nend_header\n"
              "-1 -1 0 230 20 20\n1 -1 0 230 20 20\n1 1 0 230 20 20\n-1 1 0 230 20 20\n"
              "3 0 1 2\n3 0 2 3\n");
    // Colours as numbers from 0 to 1, which VTK's own PLY reader draws black.
    const std::string floats =
        write("blue.ply",
              "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
              "property float z\nproperty float red\nproperty float green\nproperty float blue\n"
              "element face 2\nproperty list uchar int vertex_indices\nend_header\n"
              "-1 -1 0 0.1 0.1 0.9\n1 -1 0 0.1 0.1 0.9\n1 1 0 0.1 0.1 0.9\n-1 1 0 0.1 0.1 0.9\n"
              "3 0 1 2\n3 0 2 3\n");
    write("green.mtl", "newmtl g\nKd 0.1 0.8 0.1\n");
    const std::string obj = write("green.obj", "mtllib green.mtl\nv -1 -1 0\nv 1 -1 0\nv 1 1 0\n"
                                               "v -1 1 0\nusemtl g\nf 1 2 3 4\n");
    vtkNew<vtkSphereSource> sphere;
    sphere->Update();
    vtkNew<vtkPolyData> ball;
    ball->DeepCopy(sphere->GetOutput());
    vtkNew<vtkUnsignedCharArray> rgb;
    rgb->SetName("RGB");
    rgb->SetNumberOfComponents(3);
    for (vtkIdType i = 0; i < ball->GetNumberOfPoints(); ++i)
        rgb->InsertNextTuple3(20, 20, 230);
    ball->GetPointData()->AddArray(rgb); // not the active scalars, as some writers leave it
    const std::string vtp = (dir_ / "blue.vtp").string();
    vtkNew<vtkXMLPolyDataWriter> writer;
    writer->SetFileName(vtp.c_str());
    writer->SetInputData(ball);
    ASSERT_EQ(writer->Write(), 1);

    for (auto [path, want] :
         {std::pair{ply, 'r'}, std::pair{floats, 'b'}, std::pair{obj, 'g'}, std::pair{vtp, 'b'}}) {
        const Picture p = render(path);
        ASSERT_GT(p.width, 0);
        EXPECT_EQ(hue(p.at(p.width / 2, p.height / 2)), want) << path;
    }
}

// A PLY of points and nothing else is drawn as points, and counted.
TEST_F(ModelRender, APointCloudIsDrawnAsPoints) {
    std::string ply = "ply\nformat ascii 1.0\nelement vertex 400\nproperty float x\n"
                      "property float y\nproperty float z\nend_header\n";
    for (int i = 0; i < 20; ++i)
        for (int j = 0; j < 20; ++j)
            ply += std::to_string(i) + " " + std::to_string(j) + " 0\n";
    const std::string path = write("cloud.ply", ply);
    zul::scene::Scene scene;
    std::string error;
    ASSERT_TRUE(scene.addFile(path, error)) << error;
    EXPECT_EQ(scene.pointCount(), 400u);
    EXPECT_EQ(scene.triangleCount(), 0u);
    const Picture p = render(path);
    // Points cover part of the picture, and the background shows between.
    size_t drawn = 0;
    const unsigned char* corner = p.at(1, 1);
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x) {
            const unsigned char* px = p.at(x, y);
            drawn += std::abs(px[0] - corner[0]) + std::abs(px[1] - corner[1]) > 60;
        }
    EXPECT_GT(drawn, size_t(p.width * p.height) / 50) << "the points are drawn";
    EXPECT_LT(drawn, size_t(p.width * p.height) * 9 / 10) << "as points, not a surface";
}

} // namespace
