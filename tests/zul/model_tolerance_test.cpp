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

// A large binary glTF is read by our own reader: every node's mesh placed by
// the node tree (translation, rotation, scale, matrix; a mesh used twice
// drawn twice), named after its node, else its mesh, in its material's base
// colour. What that reader does not take (vertex colours) goes to Assimp,
// which places the same meshes alike; a file cut short is refused.
TEST_F(ModelFormats, ALargeGltfIsPlacedByItsNodesAndColouredByItsMaterials) {
    const int side = 800; // a grid of 1.28 M triangles: over 16 MB
    auto glb = [&](bool vertexColours, const std::string& perspective) {
        std::string bin;
        auto put = [&bin](const auto& value) {
            bin.append(reinterpret_cast<const char*>(&value), sizeof value);
        };
        for (int r = 0; r <= side; ++r)
            for (int c = 0; c <= side; ++c)
                for (float v : {float(c) / side, float(r) / side, 0.0f})
                    put(v);
        const size_t indexAt = bin.size();
        for (uint32_t r = 0; r < side; ++r)
            for (uint32_t c = 0; c < side; ++c) {
                const uint32_t a = r * (side + 1) + c, b = a + 1, d = a + side + 1, e = d + 1;
                for (uint32_t i : {a, b, e, a, e, d})
                    put(i);
            }
        const size_t smallAt = bin.size();
        for (float v : {0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f})
            put(v);
        const size_t smallIndexAt = bin.size();
        for (uint16_t i : {0, 1, 2, 0})
            put(i); // the last one pads to four bytes
        const size_t colourAt = bin.size();
        for (int k = 0; k < 3; ++k)
            for (float v : {0.f, 1.f, 0.f, 1.f})
                put(v);
        const size_t grid = (side + 1) * (side + 1), triangles = 2 * side * side;
        auto view = [](size_t at, size_t length) {
            return "{\"buffer\":0,\"byteOffset\":" + std::to_string(at) +
                   ",\"byteLength\":" + std::to_string(length) + "}";
        };
        const std::string json =
            "{\"asset\":{\"version\":\"2.0\"},\"scene\":0,\"scenes\":[{\"nodes\":[0,2]}],"
            "\"nodes\":[{\"name\":\"Lifted\",\"mesh\":0,\"translation\":[10,0,0],"
            "\"scale\":[2,2,2],\"children\":[1]},"
            "{\"name\":\"Turned\",\"mesh\":0,\"rotation\":[0,0,0.70710678,0.70710678]},"
            "{\"mesh\":1,\"camera\":0,\"matrix\":[1,0,0,0,0,1,0,0,0,0,1,0,0,0,-5,1]}],"
            "\"cameras\":[{\"type\":\"perspective\",\"perspective\":" +
            perspective +
            "}],"
            "\"meshes\":[{\"name\":\"Grid\",\"primitives\":[{\"attributes\":{\"POSITION\":0},"
            "\"indices\":1,\"material\":0}]},"
            "{\"name\":\"Tri\",\"primitives\":[{\"attributes\":{\"POSITION\":2" +
            std::string(vertexColours ? ",\"COLOR_0\":4" : "") +
            "},\"indices\":3,\"material\":1}]}],"
            "\"materials\":[{\"pbrMetallicRoughness\":{\"baseColorFactor\":[0.2,0.4,0.6,1]}},"
            "{\"pbrMetallicRoughness\":{\"baseColorFactor\":[1,0,0,0.5]}}],"
            "\"accessors\":["
            "{\"bufferView\":0,\"componentType\":5126,\"count\":" +
            std::to_string(grid) +
            ",\"type\":\"VEC3\",\"min\":[0,0,0],\"max\":[1,1,0]},"
            "{\"bufferView\":1,\"componentType\":5125,\"count\":" +
            std::to_string(3 * triangles) +
            ",\"type\":\"SCALAR\"},"
            "{\"bufferView\":2,\"componentType\":5126,\"count\":3,\"type\":\"VEC3\","
            "\"min\":[0,0,0],\"max\":[1,1,0]},"
            "{\"bufferView\":3,\"componentType\":5123,\"count\":3,\"type\":\"SCALAR\"},"
            "{\"bufferView\":4,\"componentType\":5126,\"count\":3,\"type\":\"VEC4\"}],"
            "\"bufferViews\":[" +
            view(0, indexAt) + "," + view(indexAt, smallAt - indexAt) + "," + view(smallAt, 36) +
            "," + view(smallIndexAt, 6) + "," + view(colourAt, 48) +
            "],\"buffers\":[{\"byteLength\":" + std::to_string(bin.size()) + "}]}";
        std::string padded = json + std::string((4 - json.size() % 4) % 4, ' ');
        std::string out = "glTF";
        auto word = [&out](uint32_t v) { out.append(reinterpret_cast<const char*>(&v), 4); };
        word(2);
        word(uint32_t(12 + 8 + padded.size() + 8 + bin.size()));
        word(uint32_t(padded.size()));
        out += "JSON" + padded;
        word(uint32_t(bin.size()));
        out += std::string("BIN\0", 4) + bin;
        return out;
    };
    const std::string plainBytes = glb(false, "{\"yfov\":0.5}");
    ASSERT_GT(plainBytes.size(), size_t(16u << 20));
    for (bool vertexColours : {false, true}) {
        SCOPED_TRACE(vertexColours ? "vertex colours: Assimp" : "plain");
        zul::scene::Model model;
        std::string why;
        ASSERT_TRUE(zul::scene::readModel(
            write("scene.glb", vertexColours ? glb(true, "{\"yfov\":0.5}") : plainBytes), model,
            why))
            << why;
        ASSERT_EQ(model.parts.size(), 3u);
        EXPECT_EQ(model.triangles(), size_t(2 * 2 * side * side + 1));
        double b[6];
        const zul::scene::ModelPart* lifted = nullptr;
        const zul::scene::ModelPart* turned = nullptr;
        const zul::scene::ModelPart* tri = nullptr;
        for (const auto& part : model.parts) {
            boundsOf(part, b);
            if (b[4] < -1)
                tri = &part;
            else if (b[0] > 9.5)
                lifted = &part;
            else
                turned = &part;
        }
        ASSERT_TRUE(lifted && turned && tri);
        boundsOf(*lifted, b); // scaled by 2, moved by 10 along x
        EXPECT_NEAR(b[0], 10, 1e-5);
        EXPECT_NEAR(b[1], 12, 1e-5);
        EXPECT_NEAR(b[3], 2, 1e-5);
        boundsOf(*turned, b); // turned a quarter about z, then placed by its parent
        EXPECT_NEAR(b[0], 8, 1e-5);
        EXPECT_NEAR(b[1], 10, 1e-5);
        EXPECT_NEAR(b[2], 0, 1e-5);
        EXPECT_NEAR(b[3], 2, 1e-5);
        boundsOf(*tri, b);
        EXPECT_NEAR(b[4], -5, 1e-6);
        EXPECT_EQ(lifted->name, "Lifted");
        EXPECT_EQ(turned->name, "Turned");
        EXPECT_TRUE(lifted->hasColour);
        EXPECT_NEAR(lifted->rgba[0], 0.2, 1e-6);
        EXPECT_NEAR(lifted->rgba[2], 0.6, 1e-6);
        // The camera on the third node, from the file's own JSON.
        ASSERT_EQ(model.cameras.size(), 1u);
        EXPECT_NEAR(model.cameras[0].eye[2], -5, 1e-9);
        EXPECT_NEAR(model.cameras[0].viewAngle, 0.5 * 180 / M_PI, 1e-9);
        if (!vertexColours) {
            EXPECT_EQ(tri->name, "Tri"); // its node has no name
            EXPECT_NEAR(tri->rgba[0], 1, 1e-6);
            EXPECT_NEAR(tri->rgba[3], 0.5, 1e-6);
        } else {
            EXPECT_NE(tri->geometry->GetPointData()->GetArray("zul_colour"), nullptr);
        }
    }
    // A camera whose values are not of the kind the format gives them: the
    // model is drawn all the same, and the note says what was not read.
    zul::scene::Model odd;
    std::string why;
    ASSERT_TRUE(zul::scene::readModel(write("odd.glb", glb(false, "3")), odd, why)) << why;
    EXPECT_EQ(odd.parts.size(), 3u);
    EXPECT_TRUE(odd.cameras.empty());
    ASSERT_EQ(odd.notes.size(), 1u);
    EXPECT_NE(odd.notes[0].find("cameras could not all be read"), std::string::npos)
        << odd.notes[0];
    zul::scene::Model cut;
    EXPECT_FALSE(zul::scene::readModel(
        write("cut.glb", plainBytes.substr(0, plainBytes.size() / 2)), cut, why));
    EXPECT_NE(why.find("glTF"), std::string::npos) << why;
}

} // namespace
