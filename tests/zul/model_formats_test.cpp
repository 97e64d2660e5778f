// Model files in every format the viewer reads, through the guarded reader:
// parts, names, placements and colours as the file gives them; files no one
// here made; damaged files refused with a message.
#include <gtest/gtest.h>

#include <BRepBndLib.hxx>
#include <Bnd_Box.hxx>
#include <STEPControl_Reader.hxx>
#include <assimp/Exporter.hpp>
#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <vtkCellData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkUnsignedCharArray.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <set>
#include <thread>

#include "ModelFiles.h"
#include "zul/scene/ModelCheck.h"
#include "zul/scene/ModelReader.h"
#include "zul/scene/Scene.h"

namespace {

// The two-cube scene every mesh format is written from: "Red" spans
// 0..1 on each axis, "Blue" 20..21 along X, each in its material's colour.
const char* kCubesObj = R"(mtllib cubes.mtl
o Red
v 0 0 0
v 1 0 0
v 1 1 0
v 0 1 0
v 0 0 1
v 1 0 1
v 1 1 1
v 0 1 1
usemtl red
f 1 4 3 2
f 5 6 7 8
f 1 2 6 5
f 2 3 7 6
f 3 4 8 7
f 4 1 5 8
o Blue
v 20 0 0
v 21 0 0
v 21 1 0
v 20 1 0
v 20 0 1
v 21 0 1
v 21 1 1
v 20 1 1
usemtl blue
f 9 12 11 10
f 13 14 15 16
f 9 10 14 13
f 10 11 15 14
f 11 12 16 15
f 12 9 13 16
)";
const char* kCubesMtl = "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\n";

// `zUp`: the format is Z-up and its writer turned the Y-up scene into it
// (z becomes y, y becomes -z).
void expectCubes(const zul::scene::Model& model, const std::string& what, bool colours,
                 bool zUp = false) {
    ASSERT_EQ(model.parts.size(), 2u) << what;
    for (const auto& part : model.parts) {
        double b[6];
        boundsOf(part, b);
        if (zUp) {
            const double z0 = b[2], z1 = b[3];
            b[2] = -b[5], b[3] = -b[4], b[4] = z0, b[5] = z1;
        }
        const bool red = b[0] < 10;
        EXPECT_NEAR(b[0], red ? 0 : 20, 1e-4) << what << " " << part.name;
        EXPECT_NEAR(b[1], red ? 1 : 21, 1e-4) << what << " " << part.name;
        for (int i = 2; i < 6; ++i)
            EXPECT_NEAR(b[i], i % 2 ? 1 : 0, 1e-4) << what << " " << part.name;
        EXPECT_EQ(part.triangles, 12u) << what << " " << part.name;
        if (!colours) continue;
        ASSERT_TRUE(part.hasColour) << what << " " << part.name;
        EXPECT_NEAR(part.rgba[0], red ? 1 : 0, 0.01) << what << " " << part.name;
        EXPECT_NEAR(part.rgba[2], red ? 0 : 1, 0.01) << what << " " << part.name;
    }
}

// OBJ with its MTL file, then the same scene written by Assimp's exporters
// in each mesh format and read back: two parts, placed, in their colours
// where the format carries material colours.
TEST_F(ModelFormats, EveryMeshFormatGivesItsPartsPlacedAndColoured) {
    const std::string obj = write("cubes.obj", kCubesObj);
    write("cubes.mtl", kCubesMtl);
    zul::scene::Model model;
    std::string why;
    ASSERT_TRUE(zul::scene::readModel(obj, model, why)) << why;
    expectCubes(model, "obj", true);

    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFile(obj, aiProcess_Triangulate);
    ASSERT_NE(scene, nullptr);
    Assimp::Exporter exporter;
    struct Target {
        const char* id;
        const char* file;
        bool colours, zUp = false;
    };
    // 3MF as Assimp writes it carries no material colours.
    for (const Target& t :
         {Target{"glb2", "cubes.glb", true}, Target{"gltf2", "cubes.gltf", true},
          Target{"collada", "cubes.dae", true}, Target{"fbxa", "cubes.fbx", true},
          Target{"3ds", "cubes.3ds", true, true}, Target{"3mf", "cubes.3mf", false}}) {
        const std::string path = (dir_ / t.file).string();
        ASSERT_EQ(exporter.Export(scene, t.id, path), AI_SUCCESS) << t.id;
        zul::scene::Model read;
        ASSERT_TRUE(zul::scene::readModel(path, read, why)) << t.id << ": " << why;
        expectCubes(read, t.id, t.colours, t.zUp);
    }

    // OFF, written here: a tetrahedron with one corner at (2, 3, 4).
    const std::string off = write("tet.off", "OFF\n4 4 0\n0 0 0\n2 0 0\n0 3 0\n0 0 4\n"
                                             "3 0 2 1\n3 0 1 3\n3 1 2 3\n3 0 3 2\n");
    zul::scene::Model tet;
    ASSERT_TRUE(zul::scene::readModel(off, tet, why)) << why;
    ASSERT_EQ(tet.parts.size(), 1u);
    double b[6];
    boundsOf(tet.parts[0], b);
    EXPECT_DOUBLE_EQ(b[1], 2);
    EXPECT_DOUBLE_EQ(b[3], 3);
    EXPECT_DOUBLE_EQ(b[5], 4);
    EXPECT_EQ(tet.triangles(), 4u);
}

// The format is told by the bytes where a format has a signature: a STEP
// file named ".txt" opens, an STL named ".ply" is not given to the PLY
// reader.
TEST_F(ModelFormats, TheContentNotTheNameDecidesTheReader) {
    auto of = [](const std::string& bytes, const std::string& name) {
        return zul::scene::modelFormatOfContent(
            reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), name);
    };
    using F = zul::scene::ModelFormat;
    EXPECT_EQ(of("ISO-10303-21;\nHEADER;", "part.txt"), F::Step);
    EXPECT_EQ(of("glTF\x02\0\0\0", "x.bin"), F::Gltf);
    EXPECT_EQ(of("solid x\nfacet normal 0 0 1\n", "x.ply"), F::Stl);
    EXPECT_EQ(of("ply\nformat ascii 1.0\n", "x.stl"), F::Ply);
    EXPECT_EQ(of("Kaydara FBX Binary  \0", "x"), F::Fbx);
    EXPECT_EQ(of("<?xml version=\"1.0\"?>\n<COLLADA xmlns", "x.xml"), F::Collada);
    EXPECT_EQ(of("OFF\n3 1 0\n", "x.mesh"), F::Off);
    EXPECT_EQ(of(std::string(72, ' ') + "S0000001\n", "x.dat"), F::Iges);
    EXPECT_EQ(of("PK\x03\x04", "x.zip"), F::Unknown) << "a zip is a 3MF only by name";
    EXPECT_EQ(of("v 0 0 0\n", "x.obj"), F::Obj);
    EXPECT_EQ(of("anything", "x.unknown"), F::Unknown);

    const std::string list = zul::scene::modelFormatList();
    for (const char* name :
         {"STEP (.step .stp)", "IGES (.iges .igs)", "glTF (.gltf .glb)", "3MF (.3mf)",
          "COLLADA (.dae)", "FBX (.fbx)", "OFF (.off)", "3DS (.3ds)", "VTK"})
        EXPECT_NE(list.find(name), std::string::npos) << name << " in " << list;
    EXPECT_NE(zul::scene::modelFormatPatterns().find("*.stp"), std::string::npos);
}

std::string makestep() {
    return (fs::path(MAKESTEP_PATH)).string();
}

// A STEP assembly of three named solids in three colours: a part for each,
// named, coloured and placed as written; progress is reported in order.
TEST_F(ModelFormats, AStepAssemblyGivesOnePartPerSolidInItsColour) {
    const std::string step = (dir_ / "three.step").string();
    ASSERT_EQ(std::system((makestep() + " '" + step + "'").c_str()), 0);
    zul::scene::Model model;
    std::string why;
    std::vector<double> progress;
    ASSERT_TRUE(zul::scene::readModel(step, model, why, [&](double f, const std::string&) {
        progress.push_back(f);
    })) << why;
    ASSERT_EQ(model.parts.size(), 3u);
    struct Expect {
        const char* name;
        double rgb[3];
        double bounds[6];
    };
    const Expect expect[] = {{"Red box", {1, 0, 0}, {0, 10, 0, 20, 0, 30}},
                             {"Green cylinder", {0, 1, 0}, {25, 35, -5, 5, 0, 40}},
                             {"Blue sphere", {0, 0, 1}, {-8, 8, 42, 58, -8, 8}}};
    for (const Expect& e : expect) {
        const zul::scene::ModelPart* part = nullptr;
        for (const auto& p : model.parts)
            if (p.name == e.name) part = &p;
        std::string names;
        for (const auto& p : model.parts)
            names += "'" + p.name + "' ";
        ASSERT_NE(part, nullptr) << e.name << " among " << names;
        ASSERT_TRUE(part->hasColour) << e.name;
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(part->rgba[i], e.rgb[i], 0.01) << e.name;
        double b[6];
        boundsOf(*part, b);
        // The chords of a curved face lie inside it, by at most the
        // deflection (a thousandth of the part's diagonal).
        for (int i = 0; i < 6; ++i)
            EXPECT_NEAR(b[i], e.bounds[i], 0.1) << e.name << " bound " << i;
        EXPECT_GT(part->triangles, 10u);
        EXPECT_NE(part->geometry->GetPointData()->GetNormals(), nullptr);
    }
    ASSERT_GE(progress.size(), 3u);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_DOUBLE_EQ(progress.back(), 1.0);
}

// Debian's OpenCASCADE samples: one solid each, triangulated within the
// deflection of the exact bounds OpenCASCADE computes from the B-rep.
TEST_F(ModelFormats, RealStepAndIgesFilesOpenAsTheirSolids) {
    if (!fs::exists(kOcctData / "step/screw.step"))
        GTEST_SKIP() << "Debian package occt-misc is not installed";
    for (const char* name :
         {"step/screw.step", "step/linkrods.step", "iges/bearing.iges", "iges/hammer.iges"}) {
        const std::string path = (kOcctData / name).string();
        zul::scene::Model model;
        std::string why;
        ASSERT_TRUE(zul::scene::readModel(path, model, why)) << name << ": " << why;
        EXPECT_EQ(model.parts.size(), 1u) << name;
        double b[6];
        boundsOf(model.parts[0], b);
        const double diagonal =
            std::sqrt((b[1] - b[0]) * (b[1] - b[0]) + (b[3] - b[2]) * (b[3] - b[2]) +
                      (b[5] - b[4]) * (b[5] - b[4]));
        EXPECT_GT(diagonal, 0) << name;
        if (std::string(name).find(".step") == std::string::npos) continue;
        STEPControl_Reader exact;
        ASSERT_EQ(exact.ReadFile(path.c_str()), IFSelect_RetDone);
        exact.TransferRoots();
        Bnd_Box box;
        BRepBndLib::AddOptimal(exact.OneShape(), box, false, false);
        double x0, y0, z0, x1, y1, z1;
        box.Get(x0, y0, z0, x1, y1, z1);
        const double truth[6] = {x0, x1, y0, y1, z0, z1};
        for (int i = 0; i < 6; ++i)
            EXPECT_NEAR(b[i], truth[i], 0.002 * diagonal) << name << " bound " << i;
    }
}

// Files no one here made, in each mesh format.
TEST_F(ModelFormats, RealMeshFilesOpen) {
    if (!fs::exists(kAssimpModels / "3MF/box.3mf"))
        GTEST_SKIP() << "Debian package assimp-testmodels is not installed";
    struct Real {
        const char* path;
        size_t parts;
    };
    for (const Real& r :
         {Real{"glTF2/BoxTextured-glTF-Binary/BoxTextured.glb", 1},
          Real{"glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb", 0}, Real{"3MF/box.3mf", 1},
          Real{"Collada/duck.dae", 1}, Real{"FBX/cubes_with_names.fbx", 0}, Real{"OFF/Cube.off", 1},
          Real{"3DS/fels.3ds", 1}, Real{"OBJ/spider.obj", 0}}) {
        zul::scene::Model model;
        std::string why;
        EXPECT_TRUE(zul::scene::readModel((kAssimpModels / r.path).string(), model, why))
            << r.path << ": " << why;
        if (r.parts) {
            EXPECT_EQ(model.parts.size(), r.parts) << r.path;
        }
        EXPECT_GT(model.triangles(), 0u) << r.path;
    }
    // The glTF sample box is the unit cube about the origin.
    zul::scene::Model box;
    std::string why;
    ASSERT_TRUE(zul::scene::readModel(
        (kAssimpModels / "glTF2/BoxTextured-glTF-Binary/BoxTextured.glb").string(), box, why));
    double b[6];
    boundsOf(box.parts[0], b);
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(b[i], i % 2 ? 0.5 : -0.5, 1e-5);
}

// A damaged file of each reader: a message naming the file, nothing added.
TEST_F(ModelFormats, ADamagedFileOfEachReaderIsAMessageAndChangesNothing) {
    const std::string step = (dir_ / "three.step").string();
    ASSERT_EQ(std::system((makestep() + " '" + step + "'").c_str()), 0);
    std::string stepText;
    {
        std::ifstream in(step, std::ios::binary);
        stepText.assign(std::istreambuf_iterator<char>(in), {});
    }
    const std::string obj = write("cubes.obj", kCubesObj);
    write("cubes.mtl", kCubesMtl);
    Assimp::Importer importer;
    Assimp::Exporter exporter;
    ASSERT_EQ(exporter.Export(importer.ReadFile(obj, 0), "glb2", (dir_ / "good.glb").string()),
              AI_SUCCESS);
    std::string glb;
    {
        std::ifstream in(dir_ / "good.glb", std::ios::binary);
        glb.assign(std::istreambuf_iterator<char>(in), {});
    }
    const std::string damaged[] = {
        write("cut.step", stepText.substr(0, stepText.size() / 3)),
        write("empty.step", "ISO-10303-21;\nHEADER;\nENDSEC;\nDATA;\nENDSEC;\nEND-ISO-10303-21;\n"),
        write("junk.iges", std::string(72, ' ') + "S0000001\n" + std::string(500, '\x07')),
        write("cut.glb", glb.substr(0, glb.size() / 2)),
        write("junk.3mf", "PK\x03\x04 not really a zip"),
        write("junk.dae", "<?xml version=\"1.0\"?><COLLADA><library_geometries><geometry>"),
        write("junk.fbx", "Kaydara FBX Binary  \x00\x1a\x00 and then nothing"),
        write("junk.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n"),
        write("junk.3ds", std::string("\x4d\x4d\xff\xff\xff\x7f", 6) + std::string(40, '\x01')),
        write("noface.obj", "v 0 0 0\nf 7 8 9\n"),
    };
    zul::scene::Scene scene;
    scene.addSampleModel();
    const size_t parts = scene.partCount();
    for (const std::string& path : damaged) {
        std::string error;
        EXPECT_FALSE(scene.addFile(path, error)) << path;
        EXPECT_EQ(error.rfind("Cannot read " + path + ": ", 0), 0u) << error;
        EXPECT_GT(error.size(), path.size() + 16) << "says what is wrong: " << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
        // What the file is not (or that it holds nothing) comes first, in
        // our words, never a reader library's.
        const std::string reason = error.substr(std::min(error.size(), path.size() + 14));
        EXPECT_TRUE(reason.rfind("not ", 0) == 0 || reason.rfind("no ", 0) == 0) << error;
        for (const char* library : {"aiScene", "vtk", "Standard_", "Validation", "Assimp"})
            EXPECT_EQ(error.find(library), std::string::npos) << error;
    }
    EXPECT_EQ(scene.partCount(), parts);
}

// A model above the drag budget gets coarse copies that fit it; one below
// gets none.
TEST_F(ModelFormats, LargeModelsGetCoarseCopiesWithinTheBudget) {
    const std::string obj = write("cubes.obj", kCubesObj);
    write("cubes.mtl", kCubesMtl);
    zul::scene::Model small;
    std::string why;
    ASSERT_TRUE(zul::scene::readModel(obj, small, why));
    zul::scene::makeCoarseCopies(small);
    for (const auto& p : small.parts)
        EXPECT_EQ(p.coarse, nullptr);

    // A finely tessellated sphere in a binary STL: about 400,000 triangles.
    const int rings = 450, segments = 450;
    std::string stl(80, ' ');
    const uint32_t count = uint32_t(2 * rings * segments);
    stl.append(reinterpret_cast<const char*>(&count), 4);
    auto at = [&](int r, int s, float out[3]) {
        const double theta = M_PI * r / rings, phi = 2 * M_PI * s / segments;
        out[0] = float(std::sin(theta) * std::cos(phi));
        out[1] = float(std::sin(theta) * std::sin(phi));
        out[2] = float(std::cos(theta));
    };
    for (int r = 0; r < rings; ++r)
        for (int s = 0; s < segments; ++s)
            for (int t = 0; t < 2; ++t) {
                float v[4][3] = {};
                // Both triangles of a quad wound the same way round.
                at(r, s, v[1]);
                if (t == 0)
                    at(r + 1, s, v[2]), at(r + 1, s + 1, v[3]);
                else
                    at(r + 1, s + 1, v[2]), at(r, s + 1, v[3]);
                stl.append(reinterpret_cast<const char*>(v), 48);
                stl.append(2, '\0');
            }
    const std::string sphere = write("sphere.stl", stl);
    zul::scene::Model big;
    ASSERT_TRUE(zul::scene::readModel(sphere, big, why)) << why;
    ASSERT_EQ(big.parts.size(), 1u);
    EXPECT_GT(big.triangles(), zul::scene::kDragTriangleBudget);
    EXPECT_EQ(big.parts[0].coarse, nullptr) << "made only when asked for";
    zul::scene::makeCoarseCopies(big);
    ASSERT_NE(big.parts[0].coarse, nullptr);
    const auto coarse = size_t(big.parts[0].coarse->GetNumberOfPolys());
    EXPECT_LE(coarse, zul::scene::kDragTriangleBudget * 13 / 10);
    EXPECT_GT(coarse, zul::scene::kDragTriangleBudget / 4);
    double full[6], rough[6];
    big.parts[0].geometry->GetBounds(full);
    big.parts[0].coarse->GetBounds(rough);
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(rough[i], full[i], 0.02) << "the coarse copy keeps the shape";

    // Colours follow: each kept point has the colour of a point of the
    // full part in its place (the sphere's halves, red below z = 0, blue
    // above), each kept triangle a colour of the triangles it stands for.
    zul::scene::Model coloured;
    zul::scene::ModelPart& part = coloured.parts.emplace_back();
    part.geometry = vtkSmartPointer<vtkPolyData>::New();
    part.geometry->DeepCopy(big.parts[0].geometry);
    part.triangles = big.parts[0].triangles;
    vtkNew<vtkUnsignedCharArray> byPoint, byCell;
    for (auto* a : {byPoint.Get(), byCell.Get()}) {
        a->SetName("zul_colour");
        a->SetNumberOfComponents(4);
    }
    const auto red = std::array<unsigned char, 4>{255, 0, 0, 255};
    const auto blue = std::array<unsigned char, 4>{0, 0, 255, 255};
    for (vtkIdType i = 0; i < part.geometry->GetNumberOfPoints(); ++i)
        byPoint->InsertNextTypedTuple(part.geometry->GetPoint(i)[2] < 0 ? red.data() : blue.data());
    for (vtkIdType i = 0; i < part.geometry->GetNumberOfCells(); ++i)
        byCell->InsertNextTypedTuple(i % 2 ? red.data() : blue.data());
    part.geometry->GetPointData()->SetScalars(byPoint);
    part.geometry->GetCellData()->SetScalars(byCell);
    zul::scene::makeCoarseCopies(coloured);
    ASSERT_NE(part.coarse, nullptr);
    auto* keptByPoint =
        vtkUnsignedCharArray::SafeDownCast(part.coarse->GetPointData()->GetScalars());
    auto* keptByCell = vtkUnsignedCharArray::SafeDownCast(part.coarse->GetCellData()->GetScalars());
    ASSERT_TRUE(keptByPoint && keptByCell);
    ASSERT_EQ(keptByPoint->GetNumberOfTuples(), part.coarse->GetNumberOfPoints());
    ASSERT_EQ(keptByCell->GetNumberOfTuples(), part.coarse->GetNumberOfPolys());
    for (vtkIdType i = 0; i < part.coarse->GetNumberOfPoints(); ++i) {
        const double z = part.coarse->GetPoint(i)[2];
        if (std::abs(z) < 1e-6) continue;
        ASSERT_EQ(keptByPoint->GetValue(4 * i), z < 0 ? 255 : 0) << "point " << i << " z " << z;
    }
    std::set<unsigned char> cellReds;
    for (vtkIdType i = 0; i < keptByCell->GetNumberOfTuples(); ++i)
        cellReds.insert(keptByCell->GetValue(4 * i));
    EXPECT_EQ(cellReds, (std::set<unsigned char>{0, 255}));

    zul::scene::Scene scene;
    scene.addModel(std::move(big));
    EXPECT_TRUE(scene.setCoarse(true));
    EXPECT_FALSE(scene.setCoarse(true)) << "nothing changes twice";
    EXPECT_TRUE(scene.setCoarse(false));
}

} // namespace

// Files a user can feed the viewer that are not what their names say: each
// is refused or read within seconds, and none takes the reading process down.
// A named pipe is refused without waiting for a writer; a file that shrinks
// while it is checked is the helper's problem, never a SIGBUS here; a mesh of
// one face repeated thousands of times is read as that one face.
TEST_F(ModelFormats, HostileFilesNeitherHangNorCrash) {
    // Each read runs in a child, so a hang is a failure rather than a stuck suite.
    auto readWithin = [](const std::string& path, int seconds, std::string& why) {
        int fds[2];
        if (::pipe(fds) != 0) return -1;
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(fds[0]);
            zul::scene::Model model;
            std::string message;
            const bool ok = zul::scene::readModel(path, model, message);
            if (ok) message = "triangles " + std::to_string(model.triangles());
            if (::write(fds[1], message.data(), message.size()) < 0) _exit(3);
            _exit(ok ? 0 : 1);
        }
        ::close(fds[1]);
        int status = 0;
        for (int waited = 0; waited < seconds * 20; ++waited) {
            if (::waitpid(child, &status, WNOHANG) == child) {
                char buf[512];
                const ssize_t n = ::read(fds[0], buf, sizeof buf);
                why.assign(buf, n > 0 ? size_t(n) : 0);
                ::close(fds[0]);
                return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
            }
            ::usleep(50000);
        }
        ::kill(child, SIGKILL);
        ::waitpid(child, &status, 0);
        ::close(fds[0]);
        return -2; // did not finish
    };
    std::string why;
    for (const char* name : {"f.stl", "f.step"}) {
        const std::string fifo = (dir_ / name).string();
        ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
        EXPECT_EQ(readWithin(fifo, 10, why), 1) << name;
        EXPECT_NE(why.find("not a regular file (a named pipe)"), std::string::npos) << why;
    }
    EXPECT_EQ(readWithin(dir_.string(), 10, why), 1);
    EXPECT_NE(why.find("not a regular file (a directory)"), std::string::npos) << why;

    // 5,000 copies of one triangle, as OBJ faces and as a binary STL.
    std::string obj = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    for (int i = 0; i < 5000; ++i)
        obj += "f 1 2 3\n";
    EXPECT_EQ(readWithin(write("same.obj", obj), 60, why), 0) << why;
    EXPECT_EQ(why, "triangles 1");
    std::string stl(80, ' ');
    const uint32_t count = 5000;
    stl.append(reinterpret_cast<const char*>(&count), 4);
    const float tri[12] = {0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0};
    for (uint32_t i = 0; i < count; ++i) {
        stl.append(reinterpret_cast<const char*>(tri), sizeof tri);
        stl.append(2, '\0');
    }
    EXPECT_EQ(readWithin(write("same.stl", stl), 60, why), 0) << why;
    EXPECT_EQ(why, "triangles 1");

    // An ASCII PLY cut short and written back, again and again, while it is
    // read: every read ends with a picture or a message, in this process.
    std::string ply = "ply\nformat ascii 1.0\nelement vertex 200000\nproperty float x\n"
                      "property float y\nproperty float z\nend_header\n";
    for (int i = 0; i < 200000; ++i)
        ply += std::to_string(i % 1000) + " " + std::to_string(i / 1000) + " 0\n";
    const std::string shrinking = write("shrinking.ply", ply);
    std::atomic<bool> stop{false};
    std::thread cutter([&] {
        while (!stop) {
            if (::truncate(shrinking.c_str(), off_t(ply.size() / 3)) != 0) break;
            std::ofstream(shrinking, std::ios::binary | std::ios::trunc) << ply;
        }
    });
    for (int i = 0; i < 8; ++i) {
        zul::scene::Model model;
        std::string message;
        const bool ok = zul::scene::readModel(shrinking, model, message);
        EXPECT_TRUE(ok || !message.empty());
    }
    stop = true;
    cutter.join();
}
