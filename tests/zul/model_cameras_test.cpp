// The cameras a model file places come back with its parts, as the file's
// format defines them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

#include "ModelFiles.h"
#include "zul/scene/ModelReader.h"

namespace {

void expectVectorNear(const double got[3], double x, double y, double z, double within,
                      const char* what) {
    EXPECT_NEAR(got[0], x, within) << what;
    EXPECT_NEAR(got[1], y, within) << what;
    EXPECT_NEAR(got[2], z, within) << what;
}

void expectVector(const double got[3], double x, double y, double z, const char* what) {
    expectVectorNear(got, x, y, z, 1e-6, what);
}

// glTF: a camera looks down its node's -Z with +Y up, placed by every node
// above it; yfov is the vertical angle in radians, ymag half the height
// seen. A camera keeps its name, else its node's, else "Camera N"; one that
// cannot be a view is left out with a note; the model is still drawn.
TEST_F(ModelFormats, GltfCamerasAreReadAsTheFormatDefinesThem) {
    if (fs::exists(kAssimpModels / "glTF2/cameras/Cameras.gltf")) {
        zul::scene::Model model;
        std::string why;
        ASSERT_TRUE(zul::scene::readModel((kAssimpModels / "glTF2/cameras/Cameras.gltf").string(),
                                          model, why))
            << why;
        ASSERT_EQ(model.cameras.size(), 2u);
        const zul::scene::ModelCamera& perspective = model.cameras[0];
        EXPECT_EQ(perspective.name, "Camera 1");
        EXPECT_FALSE(perspective.orthographic);
        expectVector(perspective.eye, 0.5, 0.5, 3, "eye"); // its node's translation, once
        expectVector(perspective.direction, 0, 0, -1, "direction");
        expectVector(perspective.up, 0, 1, 0, "up");
        EXPECT_NEAR(perspective.viewAngle, 0.7 * 180 / M_PI, 1e-9)
            << "yfov, not a horizontal angle";
        const zul::scene::ModelCamera& orthographic = model.cameras[1];
        EXPECT_TRUE(orthographic.orthographic);
        EXPECT_NEAR(orthographic.parallelScale, 1.0, 1e-9);
    } else {
        std::printf("skipped the real file: install assimp-testmodels\n");
    }

    // A square, and cameras under a turned and moved parent.
    std::string bin;
    for (uint16_t i : {0, 1, 2, 0, 2, 3})
        bin.append(reinterpret_cast<const char*>(&i), 2);
    for (float v : {0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 1.f, 1.f, 0.f, 0.f, 1.f, 0.f})
        bin.append(reinterpret_cast<const char*>(&v), 4);
    write("square.bin", bin);
    const std::string gltf = write("cameras.gltf", R"({
      "asset": {"version": "2.0"},
      "buffers": [{"uri": "square.bin", "byteLength": 60}],
      "bufferViews": [{"buffer": 0, "byteLength": 12}, {"buffer": 0, "byteOffset": 12, "byteLength": 48}],
      "accessors": [
        {"bufferView": 0, "componentType": 5123, "count": 6, "type": "SCALAR"},
        {"bufferView": 1, "componentType": 5126, "count": 4, "type": "VEC3", "min": [0, 0, 0], "max": [1, 1, 0]}],
      "meshes": [{"primitives": [{"attributes": {"POSITION": 1}, "indices": 0}]}],
      "cameras": [
        {"name": "Front", "type": "perspective", "perspective": {"yfov": 0.5, "znear": 0.1}},
        {"type": "orthographic", "orthographic": {"xmag": 3, "ymag": 2, "znear": 0.1, "zfar": 50}},
        {"type": "perspective", "perspective": {"yfov": 0.5, "znear": 0.1}}],
      "nodes": [
        {"mesh": 0},
        {"name": "Rig", "translation": [10, 0, 0], "rotation": [0, 0.70710678, 0, 0.70710678],
         "children": [2, 3, 4, 5]},
        {"camera": 0, "translation": [0, 0, 5]},
        {"name": "Side", "camera": 1, "scale": [1, 1.5, 1]},
        {"camera": 2, "scale": [1, 0, 1]},
        {"camera": 2, "matrix": [1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 7, 0, 1]}],
      "scenes": [{"nodes": [0, 1]}]
    })");
    zul::scene::Model model;
    std::string why;
    ASSERT_TRUE(zul::scene::readModel(gltf, model, why)) << why;
    EXPECT_EQ(model.parts.size(), 1u);
    ASSERT_EQ(model.cameras.size(), 3u);
    // Turned a quarter about +Y (its -Z becomes -X), then moved by 10 along X.
    const zul::scene::ModelCamera& front = model.cameras[0];
    EXPECT_EQ(front.name, "Front");
    expectVector(front.eye, 15, 0, 0, "front eye");
    expectVector(front.direction, -1, 0, 0, "front direction");
    expectVector(front.up, 0, 1, 0, "front up");
    EXPECT_NEAR(front.viewAngle, 0.5 * 180 / M_PI, 1e-9);
    const zul::scene::ModelCamera& side = model.cameras[1];
    EXPECT_EQ(side.name, "Side");
    EXPECT_TRUE(side.orthographic);
    EXPECT_NEAR(side.parallelScale, 3.0, 1e-6) << "ymag, scaled with its node";
    expectVector(side.eye, 10, 0, 0, "side eye");
    // The third camera node squashes its up to nothing: left out, and said.
    ASSERT_EQ(model.notes.size(), 1u);
    EXPECT_NE(model.notes[0].find("\"Camera 3\" is left out"), std::string::npos) << model.notes[0];
    // The last one's matrix turns its -Z onto -Y and its +Y onto -Z, and
    // lifts it by 7; the rig turns that -Z onto -X.
    const zul::scene::ModelCamera& last = model.cameras[2];
    EXPECT_EQ(last.name, "Camera 4");
    expectVector(last.eye, 10, 7, 0, "last eye");
    expectVector(last.direction, 0, -1, 0, "last direction");
    expectVector(last.up, -1, 0, 0, "last up");
}

// COLLADA, FBX and 3DS cameras, read through Assimp, as their own formats
// define them: a COLLADA lens from its xfov and aspect (or its xmag for an
// orthographic one), FBX's full horizontal angle, a 3DS lens in
// millimetres; all placed where the geometry is (a Z-up file turned to Y up
// at its root).
TEST_F(ModelFormats, AssimpCamerasAreReadAsTheirFormatsDefineThem) {
    if (!fs::exists(kAssimpModels / "Collada/cameras.dae")) {
        GTEST_SKIP() << "install assimp-testmodels";
    }
    auto read = [](const char* file) {
        zul::scene::Model model;
        std::string why;
        EXPECT_TRUE(zul::scene::readModel((kAssimpModels / file).string(), model, why)) << why;
        return model;
    };
    auto vertical = [](double horizontalDegrees, double aspect) {
        return 2 * std::atan(std::tan(horizontalDegrees * M_PI / 360) / aspect) * 180 / M_PI;
    };

    const zul::scene::Model dae = read("Collada/cameras.dae");
    ASSERT_EQ(dae.cameras.size(), 3u);
    EXPECT_EQ(dae.cameras[0].name, "Camera");
    EXPECT_FALSE(dae.cameras[0].orthographic);
    expectVector(dae.cameras[0].eye, 10, 0, 0, "eye");
    expectVector(dae.cameras[0].direction, -1, 0, 0, "direction");
    expectVector(dae.cameras[0].up, 0, 0, -1, "up"); // its +Y, turned with the file's Z up
    EXPECT_NEAR(dae.cameras[0].viewAngle, vertical(49.13434, 1.777778), 1e-4);
    EXPECT_EQ(dae.cameras[1].name, "Camera_002");
    EXPECT_TRUE(dae.cameras[1].orthographic);
    EXPECT_NEAR(dae.cameras[1].parallelScale, 3 / 1.777778, 1e-6) << "xmag over the aspect";
    expectVector(dae.cameras[1].direction, 1, 0, 0, "direction");
    expectVector(dae.cameras[2].eye, 0, 0, -5, "eye");
    expectVector(dae.cameras[2].direction, 0, 0, 1, "direction");
    expectVector(dae.cameras[2].up, -1, 0, 0, "up");
    EXPECT_NEAR(dae.cameras[2].viewAngle, vertical(29.86284, 1.777778), 1e-4);

    // An FBX camera looks down its node's +X with +Y up.
    const zul::scene::Model fbx = read("FBX/huesitos.fbx");
    ASSERT_EQ(fbx.cameras.size(), 1u);
    EXPECT_EQ(fbx.cameras[0].name, "Camera");
    EXPECT_NEAR(fbx.cameras[0].eye[0], 748.113, 1e-3);
    EXPECT_NEAR(fbx.cameras[0].eye[1], 534.367, 1e-3);
    EXPECT_NEAR(fbx.cameras[0].eye[2], 650.764, 1e-3);
    const double length = std::sqrt(65.4862 * 65.4862 + 44.5245 * 44.5245 + 61.0666 * 61.0666);
    expectVectorNear(fbx.cameras[0].direction, -65.4862 / length, -44.5245 / length,
                     -61.0666 / length, 1e-5, "direction");
    EXPECT_NEAR(fbx.cameras[0].viewAngle, vertical(49.1343, 4.0 / 3), 1e-3);

    // A 3DS camera: eye, target, roll and a lens of 53.33 mm, which the
    // tools that write the format show as 45 degrees.
    const zul::scene::Model tds = read("3DS/TargetCameraAnim.3ds");
    ASSERT_EQ(tds.cameras.size(), 1u);
    EXPECT_EQ(tds.cameras[0].name, "Camera01");
    expectVectorNear(tds.cameras[0].eye, -65.8677, -2.42502, -16.1213, 1e-4, "eye");
    const double d[3] = {100.41005 + 65.8677, 2.42502, -28.21590 + 16.1213};
    const double dl = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    expectVectorNear(tds.cameras[0].direction, d[0] / dl, d[1] / dl, d[2] / dl, 1e-5, "direction");
    EXPECT_GT(tds.cameras[0].up[1], 0.99) << "the file's Z, turned to Y";
    EXPECT_NEAR(tds.cameras[0].viewAngle, 45.0, 1e-4);
}

} // namespace
