// Mesh formats through Assimp: glTF, 3MF, COLLADA, FBX, OFF, 3DS and OBJ
// (with its MTL file). Every mesh placed by a node of the file's scene is a
// part, transformed to where the node tree puts it, named by its node, in
// its material's colour or with its vertex colours.
#include <assimp/DefaultIOSystem.h>
#include <assimp/DefaultLogger.hpp>
#include <assimp/Importer.hpp>
#include <assimp/MemoryIOWrapper.h>
#include <assimp/ProgressHandler.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <assimp/version.h>

#include <vtkCellArray.h>
#include <vtkFloatArray.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>

#include <utf8.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "ReadParts.h"
#include "zul/scene/ModelCheck.h"

namespace zul::scene::helper {
namespace {

class ProgressLines : public Assimp::ProgressHandler {
public:
    bool Update(float percentage) override {
        if (percentage >= 0) reportProgress(0.8 * std::min(percentage, 1.0f), "reading the file");
        return true;
    }
};

// The text of a file written in UTF-16 with a byte order mark, as UTF-8;
// empty when the file is not so written (or its UTF-16 is broken). The
// text readers take UTF-8 only.
std::string s_utf16AsUtf8(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    char mark[2] = {};
    if (!in.read(mark, 2)) return {};
    const bool little = mark[0] == '\xFF' && mark[1] == '\xFE';
    const bool big = mark[0] == '\xFE' && mark[1] == '\xFF';
    if (!little && !big) return {};
    const std::string bytes((std::istreambuf_iterator<char>(in)), {});
    std::u16string units(bytes.size() / 2, u'\0');
    for (size_t i = 0; i < units.size(); ++i) {
        const auto lo = static_cast<unsigned char>(bytes[2 * i + (big ? 1 : 0)]);
        const auto hi = static_cast<unsigned char>(bytes[2 * i + (big ? 0 : 1)]);
        units[i] = char16_t(lo | hi << 8);
    }
    std::string text;
    try {
        utf8::utf16to8(units.begin(), units.end(), std::back_inserter(text));
    } catch (const utf8::exception&) {
        return {};
    }
    return text;
}

// The file system as Assimp sees it, except that the model file itself
// reads as `text` (its UTF-8 form); the files it names (an OBJ's MTL, a
// COLLADA file's pictures) are read from beside it as usual.
class DecodedFileSystem : public Assimp::DefaultIOSystem {
public:
    DecodedFileSystem(std::string path, std::string text)
        : path_(std::move(path)), text_(std::move(text)) {}
    Assimp::IOStream* Open(const char* file, const char* mode) override {
        if (file && ComparePaths(file, path_.c_str()))
            return new Assimp::MemoryIOStream(reinterpret_cast<const uint8_t*>(text_.data()),
                                              text_.size());
        return DefaultIOSystem::Open(file, mode);
    }

private:
    std::string path_, text_;
};

// The vertices of an OBJ text that holds points only ("v x y z", perhaps
// with "r g b" after them): Assimp refuses a mesh without faces. Null when
// the text has no vertex lines.
vtkSmartPointer<vtkPolyData> s_objPoints(const std::string& text) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToFloat();
    vtkNew<vtkUnsignedCharArray> colours;
    colours->SetName("zul_colour");
    colours->SetNumberOfComponents(4);
    bool coloured = true;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        const char* line = text.c_str() + at;
        // A file with faces or lines is a mesh whatever Assimp made of it.
        if ((line[0] == 'f' || line[0] == 'l') && end - at > 1 &&
            (line[1] == ' ' || line[1] == '\t'))
            return nullptr;
        if (end - at > 2 && line[0] == 'v' && (line[1] == ' ' || line[1] == '\t')) {
            double v[6];
            const std::string fields(line + 2, end - at - 2);
            const int n = std::sscanf(fields.c_str(), "%lf %lf %lf %lf %lf %lf", &v[0], &v[1],
                                      &v[2], &v[3], &v[4], &v[5]);
            if (n >= 3 && std::isfinite(v[0] + v[1] + v[2])) {
                points->InsertNextPoint(v);
                coloured &= n == 6;
                if (coloured) {
                    unsigned char rgba[4] = {0, 0, 0, 255};
                    for (int k = 0; k < 3; ++k)
                        rgba[k] = (unsigned char)std::lround(
                            255.0 *
                            (std::isfinite(v[3 + k]) ? std::clamp(v[3 + k], 0.0, 1.0) : 1.0));
                    colours->InsertNextTypedTuple(rgba);
                }
            }
        }
        at = end + 1;
    }
    if (points->GetNumberOfPoints() == 0) return nullptr;
    auto data = vtkSmartPointer<vtkPolyData>::New();
    data->SetPoints(points);
    if (coloured) data->GetPointData()->SetScalars(colours);
    return data;
}

std::string s_readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), {});
}

bool s_finite(const aiColor4D& c) {
    return std::isfinite(c.r) && std::isfinite(c.g) && std::isfinite(c.b) && std::isfinite(c.a);
}

// The material's colour: glTF's base colour, else the diffuse colour.
// Assimp's stand-in material for meshes that have none has no colour.
bool s_materialColour(const aiScene& scene, unsigned index, double rgba[4]) {
    if (index >= scene.mNumMaterials || !scene.mMaterials[index]) return false;
    const aiMaterial& m = *scene.mMaterials[index];
    aiString name;
    if (m.Get(AI_MATKEY_NAME, name) == AI_SUCCESS &&
        std::string(name.C_Str()) == AI_DEFAULT_MATERIAL_NAME)
        return false;
    aiColor4D c;
    if ((m.Get(AI_MATKEY_BASE_COLOR, c) == AI_SUCCESS ||
         m.Get(AI_MATKEY_COLOR_DIFFUSE, c) == AI_SUCCESS) &&
        s_finite(c)) {
        rgba[0] = std::clamp<double>(c.r, 0, 1), rgba[1] = std::clamp<double>(c.g, 0, 1);
        rgba[2] = std::clamp<double>(c.b, 0, 1), rgba[3] = std::clamp<double>(c.a, 0, 1);
        float opacity = 1;
        if (m.Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS && std::isfinite(opacity))
            rgba[3] = std::min(rgba[3], double(std::clamp(opacity, 0.0f, 1.0f)));
        // A fully transparent material is more often a writer's mistake
        // than an invisible part: it is drawn opaque.
        if (rgba[3] <= 0.01) rgba[3] = 1;
        return true;
    }
    return false;
}

// One placed mesh as polygonal data: its faces as vertices, lines or
// polygons by their number of indices, its first colour set as colours.
vtkSmartPointer<vtkPolyData> s_geometry(const aiMesh& mesh, const aiMatrix4x4& place) {
    auto coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(mesh.mNumVertices);
    float* to = coordinates->GetPointer(0);
    const bool moved = !place.IsIdentity();
    for (unsigned i = 0; i < mesh.mNumVertices; ++i) {
        const aiVector3D at = moved ? place * mesh.mVertices[i] : mesh.mVertices[i];
        to[3 * i] = at.x, to[3 * i + 1] = at.y, to[3 * i + 2] = at.z;
    }
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    vtkNew<vtkCellArray> verts, lines, polys;
    // Triangles that each have corners of their own, in order (what Assimp
    // gives when corners are not joined), need no index arrays of their own.
    bool done = mesh.mPrimitiveTypes == aiPrimitiveType_TRIANGLE &&
                uint64_t(mesh.mNumVertices) == uint64_t(mesh.mNumFaces) * 3;
    for (unsigned f = 0; f < mesh.mNumFaces && done; ++f) {
        const aiFace& face = mesh.mFaces[f];
        done = face.mNumIndices == 3 && face.mIndices && face.mIndices[0] == 3 * f &&
               face.mIndices[1] == 3 * f + 1 && face.mIndices[2] == 3 * f + 2;
    }
    if (done) polys->SetData(3, sequentialIds(size_t(mesh.mNumFaces) * 3));
    // Triangles alone (what triangulation leaves of most meshes) go into one
    // 32-bit array, their offsets implied.
    if (!done && mesh.mPrimitiveTypes == aiPrimitiveType_TRIANGLE && mesh.mNumFaces > 0 &&
        mesh.mNumVertices < (1u << 31)) {
        auto ids = vtkSmartPointer<vtkTypeInt32Array>::New();
        ids->SetNumberOfValues(vtkIdType(mesh.mNumFaces) * 3);
        vtkTypeInt32* to = ids->GetPointer(0);
        bool whole = true;
        for (unsigned f = 0; f < mesh.mNumFaces && whole; ++f) {
            const aiFace& face = mesh.mFaces[f];
            whole = face.mNumIndices == 3 && face.mIndices &&
                    face.mIndices[0] < mesh.mNumVertices && face.mIndices[1] < mesh.mNumVertices &&
                    face.mIndices[2] < mesh.mNumVertices;
            if (whole)
                for (int k = 0; k < 3; ++k)
                    to[3 * size_t(f) + k] = vtkTypeInt32(face.mIndices[k]);
        }
        if (whole) {
            polys->SetData(3, ids);
            done = true; // nothing more to gather below
        }
    }
    // Faces go straight into offset and connectivity arrays, one kind per
    // number of corners (1: a point, 2: a line, more: a polygon); a face
    // naming a vertex past the mesh's is left out.
    struct Cells {
        vtkSmartPointer<vtkTypeInt64Array> offsets = vtkSmartPointer<vtkTypeInt64Array>::New();
        vtkSmartPointer<vtkTypeInt64Array> ids = vtkSmartPointer<vtkTypeInt64Array>::New();
    } cells[3];
    if (mesh.mPrimitiveTypes == aiPrimitiveType_TRIANGLE && !done) {
        cells[2].offsets->Allocate(vtkIdType(mesh.mNumFaces) + 1);
        cells[2].ids->Allocate(vtkIdType(mesh.mNumFaces) * 3);
    }
    for (Cells& c : cells)
        c.offsets->InsertNextValue(0);
    for (unsigned f = 0; f < mesh.mNumFaces && !done; ++f) {
        const aiFace& face = mesh.mFaces[f];
        if (!face.mIndices || face.mNumIndices == 0) continue;
        bool inside = true;
        for (unsigned k = 0; k < face.mNumIndices && inside; ++k)
            inside = face.mIndices[k] < mesh.mNumVertices;
        if (!inside) continue;
        Cells& into = cells[std::min(face.mNumIndices, 3u) - 1];
        for (unsigned k = 0; k < face.mNumIndices; ++k)
            into.ids->InsertNextValue(face.mIndices[k]);
        into.offsets->InsertNextValue(into.ids->GetNumberOfValues());
    }
    vtkCellArray* kinds[3] = {verts, lines, polys};
    for (int k = 0; k < 3; ++k)
        if (cells[k].offsets->GetNumberOfValues() > 1)
            kinds[k]->SetData(cells[k].offsets, cells[k].ids);
    auto data = vtkSmartPointer<vtkPolyData>::New();
    data->SetPoints(points);
    if (verts->GetNumberOfCells()) data->SetVerts(verts);
    if (lines->GetNumberOfCells()) data->SetLines(lines);
    if (polys->GetNumberOfCells()) data->SetPolys(polys);
    if (mesh.mColors[0]) {
        vtkNew<vtkUnsignedCharArray> colours;
        colours->SetName("zul_colour");
        colours->SetNumberOfComponents(4);
        colours->SetNumberOfTuples(mesh.mNumVertices);
        for (unsigned i = 0; i < mesh.mNumVertices; ++i) {
            const aiColor4D& c = mesh.mColors[0][i];
            unsigned char rgba[4];
            const float v[4] = {c.r, c.g, c.b, c.a};
            for (int k = 0; k < 4; ++k)
                rgba[k] = (unsigned char)std::lround(
                    255.0 * (std::isfinite(v[k]) ? std::clamp(v[k], 0.0f, 1.0f) : 1.0f));
            colours->SetTypedTuple(i, rgba);
        }
        data->GetPointData()->SetScalars(colours);
    }
    return data;
}

} // namespace

std::string meshLibraryVersion() {
    return std::to_string(aiGetVersionMajor()) + "." + std::to_string(aiGetVersionMinor()) + "." +
           std::to_string(aiGetVersionPatch());
}

bool readMeshFile(const std::string& path, ModelFormat kind, PartSink& sink, std::string& why) {
    Assimp::Importer importer;
    importer.SetProgressHandler(new ProgressLines); // the importer owns it
    std::string decoded = s_utf16AsUtf8(path);
    if (!decoded.empty()) importer.SetIOHandler(new DecodedFileSystem(path, decoded)); // owned too
    // Points and lines are kept: a point cloud is a model too.
    const aiScene* scene =
        importer.ReadFile(path, aiProcess_Triangulate | aiProcess_ValidateDataStructure);
    // Shared corners are what smooth shading needs; a model too large for
    // it (see kSmoothShadingFaces) is drawn face by face, and joining its
    // corners would cost more than reading it.
    if (scene) {
        uint64_t faces = 0;
        for (unsigned i = 0; i < scene->mNumMeshes; ++i)
            if (scene->mMeshes[i]) faces += scene->mMeshes[i]->mNumFaces;
        if (faces <= uint64_t(kSmoothShadingFaces))
            scene = importer.ApplyPostProcessing(aiProcess_JoinIdenticalVertices);
    }
    if (!scene && kind == ModelFormat::Obj) {
        // Points alone: each vertex is drawn.
        OutPart part;
        part.geometry = s_objPoints(decoded.empty() ? s_readText(path) : decoded);
        if (part.geometry) return sink.add(part, why);
    }
    if (!scene) {
        // The library's own wording is for its developers; what the user
        // learns is which kind of file this is not.
        why = "not " + modelFileKind(kind) + " that can be read";
        return false;
    }
    if (!scene->mRootNode || scene->mNumMeshes == 0) {
        why = "no geometry in it (no mesh)";
        return false;
    }
    reportProgress(0.8, "placing the parts");
    // The node tree, walked without recursion (a file may nest deeply).
    std::vector<std::pair<const aiNode*, aiMatrix4x4>> stack = {
        {scene->mRootNode, scene->mRootNode->mTransformation}};
    size_t visited = 0;
    while (!stack.empty()) {
        auto [node, place] = stack.back();
        stack.pop_back();
        if (!node || ++visited > 1000000) continue;
        for (unsigned i = 0; i < node->mNumMeshes; ++i) {
            const unsigned index = node->mMeshes[i];
            if (index >= scene->mNumMeshes || !scene->mMeshes[index]) continue;
            const aiMesh& mesh = *scene->mMeshes[index];
            OutPart part;
            // The node's name, else the mesh's; names a reader made up
            // ("<PLY_Root>") do not count. Left empty, the part is named
            // after the file.
            part.name = node->mName.C_Str();
            if (part.name.empty() || part.name.front() == '<') part.name = mesh.mName.C_Str();
            if (!part.name.empty() && part.name.front() == '<') part.name.clear();
            part.hasColour = s_materialColour(*scene, mesh.mMaterialIndex, part.rgba);
            part.geometry = s_geometry(mesh, place);
            if (!sink.add(part, why)) return false;
        }
        for (unsigned c = node->mNumChildren; c-- > 0;)
            if (node->mChildren && node->mChildren[c])
                stack.emplace_back(node->mChildren[c], place * node->mChildren[c]->mTransformation);
    }
    if (sink.count() == 0) {
        why = "no geometry in it (its meshes are empty or placed nowhere)";
        return false;
    }
    return readAssimpCameras(*scene, kind, path, sink, why);
}

} // namespace zul::scene::helper
