// krviews and the views that come with a model: those saved beside it and
// the cameras its file places.
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPNGReader.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "KrviewsFixture.h"

using Result = KrviewsResult;

// A model's own cameras: listed, and drawn through by number as the file
// places them (an orthographic camera with the height it shows); without
// a view the opening view is drawn; a number past the list draws nothing.
TEST_F(Krviews, AModelsOwnCamerasAreListedAndDrawnThrough) {
    const std::string model = "/usr/share/assimp/models/glTF2/cameras/Cameras.gltf";
    if (!std::filesystem::exists(model)) GTEST_SKIP() << "install assimp-testmodels";
    const std::string xvfb = "ASAN_OPTIONS=detect_leaks=0 xvfb-run -a";
    Result r = run("model-views '" + model + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "1\tmodel\tCamera 1\n2\tmodel\tCamera 2\n");
    // The bright square's width on the picture's middle row, in pixels.
    auto squareWidth = [&](const std::string& args) {
        const std::string png = renderPicture(model, args, "200x200");
        vtkNew<vtkPNGReader> reader;
        reader->SetFileName(png.c_str());
        reader->Update();
        vtkImageData* image = reader->GetOutput();
        int dims[3] = {0, 0, 0};
        image->GetDimensions(dims);
        int width = 0;
        for (int x = 0; x < dims[0]; ++x) {
            const auto* px =
                static_cast<const unsigned char*>(image->GetScalarPointer(x, dims[1] / 2, 0));
            width += px && px[0] + px[1] + px[2] > 700;
        }
        return width;
    };
    // ymag 1: two units of height, and the square one unit across.
    EXPECT_NEAR(squareWidth("--model-view 2"), 100, 3);
    // yfov 0.7 from 3 units away, the square tilted away from the eye.
    const int perspective = squareWidth("--model-view 1");
    EXPECT_GT(perspective, 60);
    EXPECT_LT(perspective, 95);
    // Without a view: the default view, when one is marked.
    ASSERT_EQ(run("default +Z").status, 0);
    const std::string opening = readFile(renderPicture(model, "", "200x200"));
    EXPECT_EQ(opening, readFile(renderPicture(model, "--view +Z", "200x200")));
    r = run("render '" + model + "' --model-view 3 -o '" + (dir_ / "x.png").string() + "'", xvfb);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("comes with 2 views; there is no view 3"), std::string::npos) << r.err;
    EXPECT_EQ(run("render '" + model + "' --model-view 1 --view +X -o x.png").status, 2);
}

// Views saved beside a model (MODEL.qjv, written by save --name) come with
// it: listed before its cameras, drawn first when no view is named, drawn
// as the stored view they were saved from. A damaged file beside the model
// is named with its line, and the model and its cameras still come.
TEST_F(Krviews, ViewsSavedBesideAModelComeWithIt) {
    const std::filesystem::path samples = "/usr/share/assimp/models/glTF2/cameras";
    if (!std::filesystem::exists(samples)) GTEST_SKIP() << "install assimp-testmodels";
    for (const char* f : {"Cameras.gltf", "simpleSquare.bin"})
        std::filesystem::copy_file(samples / f, dir_ / f);
    const std::string model = (dir_ / "Cameras.gltf").string(), beside = model + ".qjv";
    ASSERT_EQ(run("add Front --view 0,0,-1 --up 0,1,0").status, 0);
    Result r = run("save '" + beside + "' --name +Y --name Front");
    ASSERT_EQ(r.status, 0) << r.err;
    r = run("model-views '" + model + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "1\tfile\t+Y\n2\tfile\tFront\n3\tmodel\tCamera 1\n4\tmodel\tCamera 2\n");
    auto picture = [&](const std::string& args) {
        return readFile(renderPicture(model, args, "160x120"));
    };
    EXPECT_EQ(picture(""), picture("--view +Y")) << "the first view saved beside it opens";
    EXPECT_EQ(picture("--model-view 2"), picture("--view Front"));
    // A name that is not stored: nothing written.
    r = run("save '" + (dir_ / "none.qjv").string() + "' --name Front --name Nope");
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "none.qjv"));
    // Cut inside its second view: the first stays, the rest is said.
    const std::string whole = readFile(beside);
    {
        std::ofstream cut(beside, std::ios::binary | std::ios::trunc);
        cut << whole.substr(0, whole.size() - 40);
    }
    r = run("model-views '" + model + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "1\tfile\t+Y\n2\tmodel\tCamera 1\n3\tmodel\tCamera 2\n");
    EXPECT_NE(r.err.find(beside + ", line 13: the view 'Front' ends with the file"),
              std::string::npos)
        << r.err;
    {
        std::ofstream junk(beside, std::ios::binary | std::ios::trunc);
        junk << "not a view file\n";
    }
    r = run("model-views '" + model + "'");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find(beside + ": not a view file"), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "1\tmodel\tCamera 1\n2\tmodel\tCamera 2\n");
}

// ParaView's camera files: one named view to a .pvcc and back under the
// file's name, replacing the view of that name; every view to a .pvcvbc and
// back; a damaged file changes nothing and says which property is wrong.
TEST_F(Krviews, ViewsGoToParaViewsCameraFilesAndComeBack) {
    const std::string front = (dir_ / "Front.pvcc").string();
    ASSERT_EQ(run("add Front --from 1,2,3 --at 0,0.5,0 --up 0,0,1 --fov 25 --type ortho").status,
              0);
    Result r = run("save '" + front + "'");
    EXPECT_EQ(r.status, 2) << "a .pvcc holds one view, named";
    r = run("save '" + front + "' --name Front");
    ASSERT_EQ(r.status, 0) << r.err;
    // The camera comes back: eye, target, up, type and angle (the view
    // vector follows from the eye and target).
    auto cameraOf = [&](const std::string& name) {
        std::string shown = run("show " + name).out, kept;
        for (size_t at = 0, end; at < shown.size(); at = end + 1) {
            end = shown.find('\n', at);
            const std::string line = shown.substr(at, end - at);
            if (line.rfind("View:", 0) != 0 && line.rfind("Change:", 0) != 0) kept += line + "\n";
        }
        return kept;
    };
    const std::string before = cameraOf("Front");
    ASSERT_EQ(run("edit Front --from 9,9,9 --type persp").status, 0);
    r = run("load '" + front + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(cameraOf("Front"), before);

    const std::string all = (dir_ / "all.pvcvbc").string();
    r = run("save '" + all + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("'+X', '+Y'"), std::string::npos) << "direction-only views are said";
    ASSERT_EQ(run("delete +Y").status, 0);
    r = run("load '" + all + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(run("names").out.find("+Y"), std::string::npos);

    // Without its view-up: refused, nothing stored changes.
    std::string text = readFile(front);
    text.replace(text.find("CameraViewUp"), 12, "CameraViewUq");
    {
        std::ofstream damaged(front, std::ios::binary | std::ios::trunc);
        damaged << text;
    }
    ASSERT_EQ(run("edit Front --fov 50").status, 0);
    const Result stored = run("show Front");
    r = run("load '" + front + "'");
    EXPECT_EQ(r.status, 3);
    EXPECT_NE(r.err.find("the property CameraViewUp is missing; nothing was loaded"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(run("show Front").out, stored.out);
}

// ParaView itself reads the camera we write and writes one we read. Its
// Debian package cannot be installed beside VTK's development files, so it
// is unpacked privately and named by KRAV_PVBATCH (a script that runs its
// pvbatch with the library and Python paths set).
TEST_F(Krviews, ParaViewReadsOurCameraAndWeReadItsCamera) {
    const char* pvbatch = std::getenv("KRAV_PVBATCH");
    if (!pvbatch || !std::filesystem::exists(pvbatch))
        GTEST_SKIP() << "set KRAV_PVBATCH to a runnable ParaView pvbatch to check against it";
    const std::string ours = (dir_ / "ours.pvcc").string(),
                      theirs = (dir_ / "Theirs.pvcc").string();
    ASSERT_EQ(run("add Ours --from 1,2,3 --at 0,0.5,0 --up 0,0,1 --fov 25 --type ortho").status, 0);
    ASSERT_EQ(run("save '" + ours + "' --name Ours").status, 0);
    const std::string script = (dir_ / "check.py").string();
    {
        std::ofstream py(script);
        py << "import sys\n"
              "from paraview.simple import *\n"
              "from paraview.modules.vtkRemotingMisc import vtkSMCameraConfigurationReader, "
              "vtkSMCameraConfigurationWriter\n"
              "v = CreateRenderView()\n"
              "r = vtkSMCameraConfigurationReader(); r.SetRenderViewProxy(v.SMProxy)\n"
              "assert r.ReadConfiguration(sys.argv[1])\n"
              "v.UpdateVTKObjects()\n"
              "print(' '.join('%g' % x for x in list(v.CameraPosition) + list(v.CameraFocalPoint) "
              "+ "
              "list(v.CameraViewUp) + [v.CameraViewAngle, v.CameraParallelProjection]))\n"
              "v.CameraPosition = [-3, 4, 5]; v.CameraFocalPoint = [1, 1, 1]; "
              "v.CameraViewUp = [0, 1, 0]; v.CameraViewAngle = 35; v.CameraParallelProjection = 0\n"
              "w = vtkSMCameraConfigurationWriter(); w.SetRenderViewProxy(v.SMProxy)\n"
              "w.SetFileName(sys.argv[2]); assert w.WriteConfiguration()\n";
    }
    const zul::test::ProgramResult pv = zul::test::runProgram(
        "'" + std::string(pvbatch) + "' '" + script + "' '" + ours + "' '" + theirs + "' 2>&1");
    ASSERT_EQ(pv.status, 0) << pv.out;
    EXPECT_NE(pv.out.find("1 2 3 0 0.5 0 0 0 1 25 1"), std::string::npos) << pv.out;
    ASSERT_EQ(run("load '" + theirs + "'").status, 0);
    const Result shown = run("show Theirs");
    for (const char* line : {"From:-3 4 5\n", "At:1 1 1\n", "Up:0 1 0\n", "Fov:35\n", "Type:1\n"})
        EXPECT_NE(shown.out.find(line), std::string::npos) << line << shown.out;
}
