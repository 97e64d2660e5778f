// The scene without a display: model files in each format, bad files, and
// the camera model carried to a VTK camera and back.
#include <gtest/gtest.h>

#include <vtkCamera.h>
#include <vtkNew.h>
#include <vtkSphereSource.h>
#include <vtkXMLPolyDataWriter.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include "PartChannel.h"
#include "zul/scene/ModelCheck.h"
#include "zul/scene/ModelReader.h"
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
    const std::string stl =
        write("tri.stl",
              "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 2 0 0\nvertex 0 3 1\n"
              "endloop\nendfacet\nendsolid t\n");
    const std::string obj = write("tri.OBJ", "v 0 0 0\nv 2 0 0\nv 0 3 1\nf 1 2 3\n");
    const std::string ply = write(
        "tri.ply",
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
    EXPECT_NE(error.find("not a STEP file that can be read"), std::string::npos) << error;
    EXPECT_FALSE(scene.addFile(write("model.xyz", "1 2 3"), error));
    EXPECT_NE(error.find("not a model file this viewer reads (it reads STEP (.step .stp), "),
              std::string::npos)
        << error;
    EXPECT_FALSE(scene.addFile((dir_ / "absent.obj").string(), error));
    EXPECT_EQ(scene.partCount(), parts);
    EXPECT_FALSE(scene.partBounds(0, nullptr));
}

// Files whose header promises what their data does not hold: VTK's readers
// crash, abort or read on into nothing on each of these. Where the data
// that is there holds together, it is drawn and the shortfall said; where
// nothing can be trusted, the file is refused with what does not fit.
TEST_F(SceneFiles, AHeaderThatLiesIsReportedWithWhatDoesNotFit) {
    zul::scene::Scene scene;
    scene.addSampleModel();
    const size_t parts = scene.partCount();
    const std::string header =
        "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
        "property float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n";
    struct Case {
        std::string name, text, said;
    };
    std::string truncatedStl(84 + 50 * 3, '\0');
    truncatedStl[80] = 12; // twelve triangles promised, three there
    const Case refused[] = {
        {"short.ply",
         "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nend_header\n1\n2\n",
         "declares 3 vertex elements, but the data ends after 2"},
        {"badindex.ply", header + "0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n",
         "face 1 names vertex 7, but there are 3"},
        {"shortlist.ply", header + "0 0 0\n1 0 0\n0 1 0\n3 0 1\n4 0 1 2 0\n",
         "promises 3 values, the line holds 2"},
        {"nothing.stl",
         std::string(80, '\0') + std::string("\x05\0\0\0", 4) + std::string(49, '\0'),
         "the header promises 5 triangles, the file holds 0"},
    };
    for (const Case& c : refused) {
        std::string error;
        const std::string path = (dir_ / c.name).string();
        std::ofstream(path, std::ios::binary) << c.text;
        EXPECT_FALSE(scene.addFile(path, error)) << c.name;
        EXPECT_NE(error.find(path), std::string::npos) << error;
        EXPECT_NE(error.find(c.said), std::string::npos) << error;
    }
    EXPECT_EQ(scene.partCount(), parts) << "the scene is as it was";
    const Case drawn[] = {
        {"nofaces.ply", header + "0 0 0\n1 0 0\n0 1 0\n", "it holds 0 of 1 faces"},
        {"lastcut.ply", header + "0 0 0\n1 0 0\n0 1 0\n3 0 1\n", "0 of 1 faces"},
        {"truncated.stl", truncatedStl, "it holds 3 of 12 triangles"},
    };
    for (const Case& c : drawn) {
        std::string error;
        std::vector<std::string> notes;
        const std::string path = (dir_ / c.name).string();
        std::ofstream(path, std::ios::binary) << c.text;
        EXPECT_TRUE(scene.addFile(path, error, &notes)) << c.name << ": " << error;
        ASSERT_EQ(notes.size(), 1u) << c.name;
        EXPECT_NE(notes[0].find(c.said), std::string::npos) << notes[0];
    }
    // A binary PLY cut inside its faces, in both byte orders.
    for (const char* order : {"binary_little_endian", "binary_big_endian"}) {
        std::string bin = "ply\nformat " + std::string(order) +
                          " 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                          "property float z\nelement face 2\nproperty list uchar int "
                          "vertex_indices\nend_header\n";
        bin += std::string(36, '\0') + '\3' + std::string(12, '\0');
        std::string why;
        EXPECT_FALSE(zul::scene::checkModelBytes(zul::scene::ModelFormat::Ply,
                                                 reinterpret_cast<const unsigned char*>(bin.data()),
                                                 bin.size(), why));
        EXPECT_NE(why.find("declares 2 face elements, but the data ends after 1"),
                  std::string::npos)
            << why;
    }
}

// What the checks cannot see, the reader's helper process takes: a reader
// that dies or hangs there is a message here.
TEST_F(SceneFiles, AReaderThatDiesInItsHelperIsAMessage) {
    const std::string dies = write("dies.sh", "#!/bin/sh\nkill -SEGV $$\n");
    const std::string says =
        write("says.sh", "#!/bin/sh\necho 'no geometry in it (the reader said so)' >&2\nexit 1\n");
    fs::permissions(dies, fs::perms::owner_all);
    fs::permissions(says, fs::perms::owner_all);
    const std::string model = write("box.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    zul::scene::Scene scene;
    std::string error;
    ::setenv("ZUL_MODEL_READER", dies.c_str(), 1);
    EXPECT_FALSE(scene.addFile(model, error));
    EXPECT_NE(error.find(
                  "box.obj: not an OBJ file that can be read: its reader failed on it (signal 11)"),
              std::string::npos)
        << error;
    ::setenv("ZUL_MODEL_READER", says.c_str(), 1);
    EXPECT_FALSE(scene.addFile(model, error));
    EXPECT_NE(error.find("box.obj: no geometry in it (the reader said so)"), std::string::npos)
        << error;
    ::unsetenv("ZUL_MODEL_READER");
    EXPECT_TRUE(scene.addFile(model, error)) << error;
    EXPECT_EQ(scene.partCount(), 1u);
}

// Models no one here made: Debian's assimp-testmodels. One of them is a PLY
// whose vertex lines lack the list its header declares; VTK's reader
// crashes on it.
// The parts come back from the helper as raw arrays that VTK would trust:
// a record cut short, an index past the points or offsets that run
// backwards is a message, never a crash; a sound record is drawn.
TEST_F(SceneFiles, PartsTheHelperHandsBackAreCheckedBeforeUse) {
    namespace ch = zul::scene::channel;
    // Two triangles over three points, named "Tri": the record and points.
    auto head = [](uint32_t flags) {
        ch::PartRecord r{};
        std::memcpy(r.magic, ch::kMagic, 4);
        r.nameBytes = 3;
        r.flags = flags;
        r.points = 3;
        r.cells[2] = 2;
        r.connectivity[2] = 6;
        std::string bytes(reinterpret_cast<const char*>(&r), sizeof r);
        bytes += "Tri";
        const float points[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
        bytes.append(reinterpret_cast<const char*>(points), sizeof points);
        return bytes;
    };
    auto record = [&head](int64_t lastIndex, int64_t middleOffset) {
        std::string bytes = head(0);
        const int64_t offsets[3] = {0, middleOffset, 6}, ids[6] = {0, 1, 2, 0, 2, lastIndex};
        bytes.append(reinterpret_cast<const char*>(offsets), sizeof offsets);
        bytes.append(reinterpret_cast<const char*>(ids), sizeof ids);
        return bytes;
    };
    // The same two triangles as 32-bit indices without offsets.
    auto compact = [&head](int32_t lastIndex) {
        std::string bytes = head(ch::kTriangles32);
        const int32_t ids[6] = {0, 1, 2, 0, 2, lastIndex};
        bytes.append(reinterpret_cast<const char*>(ids), sizeof ids);
        return bytes;
    };
    const std::string model = write("tri.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    struct Case {
        std::string bytes;
        bool drawn;
    };
    const std::string sound = record(1, 3);
    const Case cases[] = {
        {sound, true},
        {sound.substr(0, sound.size() - 1), false},
        {sound.substr(0, 6), false},
        {record(3, 3), false},
        {record(-1, 3), false},
        {record(1, 7), false},
        {sound + "trailing", false},
        {compact(1), true},
        {compact(3), false},
        {compact(-2), false},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        const std::string parts = write("parts-" + std::to_string(i), cases[i].bytes);
        const std::string helper =
            write("helper-" + std::to_string(i) + ".sh", "#!/bin/sh\ncat '" + parts + "' >&3\n");
        fs::permissions(helper, fs::perms::owner_all);
        ::setenv("ZUL_MODEL_READER", helper.c_str(), 1);
        zul::scene::Model read;
        std::string error;
        EXPECT_EQ(zul::scene::readModel(model, read, error), cases[i].drawn) << error;
        if (cases[i].drawn) {
            ASSERT_EQ(read.parts.size(), 1u);
            EXPECT_EQ(read.parts[0].name, "Tri");
            EXPECT_EQ(read.triangles(), 2u);
        } else {
            EXPECT_NE(error.find("tri.obj: cannot take the geometry back"), std::string::npos)
                << error;
        }
    }
    ::unsetenv("ZUL_MODEL_READER");
}

TEST(SceneRealFiles, RealModelsLoadAndADamagedOneIsRefused) {
    const fs::path models = "/usr/share/assimp/models";
    if (!fs::exists(models / "PLY/issue623.ply"))
        GTEST_SKIP() << "Debian package assimp-testmodels is not installed";
    zul::scene::Scene scene;
    std::string error;
    for (const char* name : {"STL/Spider_binary.stl", "STL/Spider_ascii.stl", "PLY/cube_binary.ply",
                             "PLY/float-color.ply", "OBJ/spider.obj", "OBJ/box.obj"})
        EXPECT_TRUE(scene.addFile((models / name).string(), error)) << name << ": " << error;
    const size_t parts = scene.partCount();
    EXPECT_GE(parts, 6u) << "the OBJ spider has a part for each of its objects";
    double b[6];
    ASSERT_TRUE(scene.partBounds(1, b));
    EXPECT_GT(b[1] - b[0], 1.0) << "the spider has a size";
    EXPECT_FALSE(scene.addFile((models / "PLY/issue623.ply").string(), error));
    EXPECT_NE(error.find("vertex 1 of 24 (line 13) has no value for vertex_indices"),
              std::string::npos)
        << error;
    EXPECT_EQ(scene.partCount(), parts);
}

TEST(SceneCamera, NothingInTheViewVolumeIsClippedWhateverTheEyeDistance) {
    zul::scene::Scene scene;
    scene.addSampleModel();
    double b[6];
    ASSERT_TRUE(scene.bounds(b));
    vtkRenderer* r = scene.renderer();
    auto depths = [&](vtkCamera* cam, double& nearest, double& farthest) {
        double eye[3], d[3];
        cam->GetPosition(eye);
        cam->GetDirectionOfProjection(d);
        nearest = 1e300, farthest = -1e300;
        for (int k = 0; k < 8; ++k) {
            const double c[3] = {b[k & 1] - eye[0], b[2 + ((k >> 1) & 1)] - eye[1],
                                 b[4 + ((k >> 2) & 1)] - eye[2]};
            const double depth = c[0] * d[0] + c[1] * d[1] + c[2] * d[2];
            nearest = std::min(nearest, depth), farthest = std::max(farthest, depth);
        }
    };
    // The eye one unit above a target inside the model, looking down.
    zul::scene::Camera c{{10, 0, 21}, {10, 0, 20}, {0, 1, 0}, false, 100.0f, 120.0f};
    zul::scene::applyCamera(c, r);
    double nearest = 0, farthest = 0, range[2];
    r->GetActiveCamera()->GetClippingRange(range);
    depths(r->GetActiveCamera(), nearest, farthest);
    EXPECT_GT(nearest, 0.0) << "a parallel camera's VTK eye stands outside the model";
    EXPECT_LE(range[0], nearest);
    EXPECT_GE(range[1], farthest);
    double focus[3];
    r->GetActiveCamera()->GetFocalPoint(focus);
    EXPECT_NEAR(focus[2], 20.0, 1e-9) << "the orbit still turns about the target";
    // Read back, the model's eye keeps its own distance.
    zul::scene::Camera back = c;
    zul::scene::readCamera(r, back);
    EXPECT_NEAR(back.eye[2], 21.0f, 1e-4);

    // Perspective with the eye inside the model: the near plane is closer
    // than any depth buffer would need, the far plane behind everything.
    c.perspective = true;
    zul::scene::applyCamera(c, r);
    r->GetActiveCamera()->GetClippingRange(range);
    depths(r->GetActiveCamera(), nearest, farthest);
    EXPECT_LE(range[0], range[1] * 1.0001e-4);
    EXPECT_GE(range[1], farthest);
    // Perspective from outside: the near plane stops just before the model.
    zul::scene::Camera outside{{10, 0, 400}, {10, 0, 20}, {0, 1, 0}, true, 380.0f, 120.0f};
    zul::scene::applyCamera(outside, r);
    r->GetActiveCamera()->GetClippingRange(range);
    depths(r->GetActiveCamera(), nearest, farthest);
    EXPECT_LE(range[0], nearest);
    EXPECT_GT(range[0], nearest * 0.9);
}

TEST(SceneCamera, AnUpAlongTheViewOrNotANumberGetsAValidFrame) {
    const zul::scene::Camera cases[] = {
        {{0, 0, 10}, {0, 0, 0}, {0, 0, 1}, false, 10.0f, 5.0f},       // up along the view
        {{0, 0, 10}, {0, 0, 0}, {0, 0, 0}, false, 10.0f, 5.0f},       // no up at all
        {{3, 3, 3}, {3, 3, 3}, {0, 1, 0}, true, 10.0f, 5.0f},         // eye on the target
        {{NAN, 0, 1}, {0, INFINITY, 0}, {0, NAN, 1}, false, NAN, -1}, // numbers that are not
    };
    for (const auto& c : cases) {
        const zul::scene::CameraFrame f = zul::scene::frameOf(c);
        double dot = 0, up = 0, dir = 0;
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(std::isfinite(f.eye[i]) && std::isfinite(f.target[i]) &&
                        std::isfinite(f.up[i]));
            dot += f.up[i] * f.direction[i], up += f.up[i] * f.up[i],
                dir += f.direction[i] * f.direction[i];
        }
        EXPECT_NEAR(dot, 0.0, 1e-9);
        EXPECT_NEAR(up, 1.0, 1e-9);
        EXPECT_NEAR(dir, 1.0, 1e-9);
        EXPECT_GT(f.viewHeight, 0.0);
        EXPECT_TRUE(std::isfinite(f.viewHeight) && std::isfinite(f.focal));
    }
    EXPECT_TRUE(zul::scene::frameOf(cases[0]).upReplaced);
    const float up[3] = {0, 0, 1}, view[3] = {0, 0, -5}, side[3] = {1, 0, 0};
    EXPECT_TRUE(zul::scene::upParallelToView(up, view));
    EXPECT_FALSE(zul::scene::upParallelToView(up, side));
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
        EXPECT_NEAR(back.viewHeight, 30.0f, 1e-3)
            << "view height as parallel scale or angle at the focal distance";
        const double* up = scene.renderer()->GetActiveCamera()->GetViewUp();
        const double d[3] = {c.target[0] - c.eye[0], c.target[1] - c.eye[1],
                             c.target[2] - c.eye[2]};
        EXPECT_NEAR(up[0] * d[0] + up[1] * d[1] + up[2] * d[2], 0.0, 1e-6)
            << "VTK's up is made square to the view";
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
