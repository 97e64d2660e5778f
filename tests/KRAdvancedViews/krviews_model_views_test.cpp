// krviews and the views that come with a model: those saved beside it and
// the cameras its file places.
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPNGReader.h>

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
