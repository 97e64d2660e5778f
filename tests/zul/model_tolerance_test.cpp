// Files that stray from their format, and the plainest large files read
// by readers of our own: drawn as other viewers draw them, with a note
// where less is drawn than the file declares.
#include <gtest/gtest.h>

#include <vtkDataArray.h>
#include <vtkPointData.h>

#include <cstdint>
#include <string>
#include <utility>

#include "ModelFiles.h"
#include "zul/scene/ModelReader.h"
#include "zul/scene/Scene.h"

namespace {

// Files other viewers draw although they stray from their format: each is
// drawn, and where less is drawn than the file declares, a note says how
// much. A file that is no model at all is refused by what it is.
TEST_F(ModelFormats, StrayRealFilesAreDrawnAndSayWhatIsMissing) {
    if (!fs::exists(kAssimpModels / "PLY/Wuson.ply"))
        GTEST_SKIP() << "Debian package assimp-testmodels is not installed";
    auto read = [](const std::string& relative, zul::scene::Model& model) {
        std::string why;
        EXPECT_TRUE(zul::scene::readModel((kAssimpModels / relative).string(), model, why))
            << relative << ": " << why;
    };
    auto notes = [](const zul::scene::Model& model) {
        std::string all;
        for (const std::string& n : model.notes)
            all += n + "|";
        return all;
    };
    {
        zul::scene::Model model; // a producer's line without "comment"
        read("PLY/Wuson.ply", model);
        EXPECT_GT(model.triangles(), 3000u);
        EXPECT_EQ(notes(model), "Header line 3 is not PLY and was skipped.|");
    }
    {
        zul::scene::Model model; // a body cut short
        read("PLY/pond.0.ply", model);
        EXPECT_EQ(model.points(), 70048u);
        EXPECT_EQ(notes(model),
                  "The file ends before its header says: it holds 70048 of 70051 vertices.|");
    }
    // The same box in UTF-8 and in UTF-16; the same cube likewise.
    for (const auto& [plain, wide] :
         {std::pair{"OBJ/box.obj", "OBJ/box_UTF16BE.obj"},
          std::pair{"Collada/cube_UTF8BOM.dae", "Collada/cube_UTF16LE.dae"}}) {
        zul::scene::Model a, b;
        read(plain, a);
        read(wide, b);
        EXPECT_GT(b.triangles(), 0u) << wide;
        EXPECT_EQ(a.triangles(), b.triangles()) << wide;
        EXPECT_TRUE(b.notes.empty()) << notes(b);
    }
    // Points alone, as vertex lines or as point elements.
    for (const char* cloud : {"OBJ/point_cloud.obj", "OBJ/testpoints.obj", "PLY/points.ply"}) {
        zul::scene::Model model;
        read(cloud, model);
        EXPECT_GT(model.points(), 0u) << cloud;
        EXPECT_EQ(model.triangles(), 0u) << cloud;
        zul::scene::Scene scene;
        scene.addModel(std::move(model));
        EXPECT_GE(scene.pointSize(), 5.0) << cloud << ": a sparse cloud's points are seen";
    }
    EXPECT_LT(zul::scene::Scene::automaticPointSize(4000000),
              zul::scene::Scene::automaticPointSize(1000))
        << "a dense cloud's points are smaller";
    // glTF files Assimp's schema check refuses, VRML 2 and DXF.
    for (const char* drawn :
         {"glTF2/wrongTypes/badNumber.gltf", "glTF2/wrongTypes/badString.gltf",
          "glTF2/issue_3269/texcoord_crash.gltf", "WRL/Wuson.wrl", "DXF/wuson.dxf"}) {
        zul::scene::Model model;
        read(drawn, model);
        EXPECT_GT(model.triangles(), 0u) << drawn;
    }
    // Not models: by what they are, in words, never a library's own.
    std::string png = "\x89PNG\r\n\x1A\n";
    png += std::string(200, '\0');
    const std::pair<std::string, std::string> refused[] = {
        {write("picture.stl", png), "not an STL file: it starts like a PNG picture"},
        {write("letter.obj", "Dear reader,\nthis is a letter.\n"), "not an OBJ file"},
        {write("old.wrl", "#VRML V1.0 ascii\nSeparator { }\n"), "only VRML 2"},
        {(kAssimpModels / "glTF2/wrongTypes/badObject.gltf").string(), "not a glTF file"},
    };
    for (const auto& [path, said] : refused) {
        zul::scene::Model model;
        std::string why;
        EXPECT_FALSE(zul::scene::readModel(path, model, why)) << path;
        EXPECT_NE(why.find(said), std::string::npos) << why;
    }
}

// A large OBJ of vertices and faces alone is read in one pass of its own;
// the forms a face may name its corners in, relative indices and polygons
// all count as Assimp would count them; anything more goes to Assimp.
TEST_F(ModelFormats, ALargePlainObjIsReadWholeAndAnythingElseStillReads) {
    const int rows = 300, columns = 1000; // over the 16 MB the plain reader starts at
    std::string text = "# a grid\n";
    text.reserve(24u << 20);
    for (int r = 0; r <= rows; ++r)
        for (int c = 0; c <= columns; ++c)
            text += "v " + std::to_string(c) + " " + std::to_string(r) + " 0.5\n";
    text += "vn 0 0 1\nvt 0 0\ns off\n";
    const int vertices = (rows + 1) * (columns + 1);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) {
            const int a = r * (columns + 1) + c + 1, b = a + 1, d = a + columns + 1, e = d + 1;
            if ((r + c) % 3 == 0) // a quad, its corners with texture and normal
                text += "f " + std::to_string(a) + "/1/1 " + std::to_string(b) + "/1/1 " +
                        std::to_string(e) + "/1/1 " + std::to_string(d) + "/1/1\n";
            else if ((r + c) % 3 == 1) // two triangles, normals only
                text += "f " + std::to_string(a) + "//1 " + std::to_string(b) + "//1 " +
                        std::to_string(e) + "//1\nf " + std::to_string(a) + " " +
                        std::to_string(e) + " " + std::to_string(d) + "\n";
            else // counted back from the last vertex
                text += "f " + std::to_string(a - vertices - 1) + " " +
                        std::to_string(b - vertices - 1) + " " + std::to_string(e - vertices - 1) +
                        " " + std::to_string(d - vertices - 1) + "\n";
        }
    ASSERT_GT(text.size(), size_t(16u << 20));
    zul::scene::Model plain;
    std::string why;
    ASSERT_TRUE(zul::scene::readModel(write("grid.obj", text), plain, why)) << why;
    ASSERT_EQ(plain.parts.size(), 1u);
    EXPECT_EQ(plain.triangles(), size_t(2 * rows * columns));
    EXPECT_EQ(plain.parts[0].geometry->GetNumberOfPoints(), vertices);
    double b[6];
    boundsOf(plain.parts[0], b);
    EXPECT_DOUBLE_EQ(b[1], columns);
    EXPECT_DOUBLE_EQ(b[3], rows);
    EXPECT_DOUBLE_EQ(b[4], 0.5);
    // A material line: Assimp reads the same faces.
    zul::scene::Model withMaterial;
    ASSERT_TRUE(
        zul::scene::readModel(write("grid2.obj", "usemtl none\n" + text), withMaterial, why))
        << why;
    EXPECT_EQ(withMaterial.triangles(), plain.triangles());
    // A face naming a vertex the file lacks: a refusal, as from Assimp.
    zul::scene::Model broken;
    EXPECT_FALSE(zul::scene::readModel(write("grid3.obj", text + "f 1 2 99999999\n"), broken, why));
    EXPECT_NE(why.find("not an OBJ file that can be read"), std::string::npos) << why;
}

// A binary PLY is read alike in either byte order (the little-endian one
// straight from the file, the other by VTK's reader): extra vertex
// properties skipped, polygons kept, every index checked.
TEST_F(ModelFormats, BinaryPlyReadsAlikeInEitherByteOrder) {
    auto ply = [](bool little, uint32_t lastIndex) {
        std::string out = std::string("ply\nformat ") +
                          (little ? "binary_little_endian" : "binary_big_endian") +
                          " 1.0\ncomment extra properties before and after\n"
                          "element vertex 4\nproperty uchar confidence\nproperty float x\n"
                          "property float y\nproperty float z\nproperty double weight\n"
                          "property float nx\nproperty float ny\nproperty float nz\n"
                          "element face 2\nproperty list uchar uint vertex_indices\nend_header\n";
        auto put = [&](const void* data, size_t n) {
            const auto* b = static_cast<const char*>(data);
            for (size_t i = 0; i < n; ++i)
                out += little ? b[i] : b[n - 1 - i];
        };
        const float corners[4][3] = {{0, 0, 0}, {2, 0, 0}, {2, 3, 0}, {0, 3, 1}};
        for (const auto& c : corners) {
            out += '\x07';
            for (float v : c)
                put(&v, 4);
            const double weight = 0.5;
            put(&weight, 8);
            const float normal[3] = {0, 0.6f, 0.8f}; // the file's own, kept
            for (float v : normal)
                put(&v, 4);
        }
        const uint32_t triangle[3] = {0, 1, 2}, quad[4] = {0, 1, 2, lastIndex};
        out += '\x03';
        for (uint32_t i : triangle)
            put(&i, 4);
        out += '\x04';
        for (uint32_t i : quad)
            put(&i, 4);
        return out;
    };
    for (bool little : {true, false}) {
        SCOPED_TRACE(little ? "little-endian" : "big-endian");
        zul::scene::Model model;
        std::string why;
        ASSERT_TRUE(zul::scene::readModel(write("b.ply", ply(little, 3)), model, why)) << why;
        ASSERT_EQ(model.parts.size(), 1u);
        EXPECT_EQ(model.triangles(), 3u);
        double b[6];
        boundsOf(model.parts[0], b);
        EXPECT_EQ(b[1], 2);
        EXPECT_EQ(b[3], 3);
        EXPECT_EQ(b[5], 1);
        vtkDataArray* normals = model.parts[0].geometry->GetPointData()->GetNormals();
        ASSERT_NE(normals, nullptr);
        EXPECT_FLOAT_EQ(float(normals->GetComponent(3, 1)), 0.6f);
        EXPECT_FALSE(zul::scene::readModel(write("c.ply", ply(little, 4)), model, why));
        EXPECT_NE(why.find("names vertex 4, but there are 4"), std::string::npos) << why;
    }
}

} // namespace
