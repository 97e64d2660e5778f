// The cameras of COLLADA, FBX and 3DS files. Assimp finds them and places
// them by their nodes, but what it says of their lenses does not hold:
// COLLADA's and FBX's field of view is the full horizontal angle where the
// library's own structure means half of it, COLLADA's orthographic cameras
// come out as perspective ones, and a 3DS camera's lens (a focal length in
// millimetres) is taken for an angle in degrees. So the lens comes from the
// file itself where the library loses it, and every camera is placed in the
// same coordinates as the geometry (after the library's turn of a Z-up file
// to Y up).
#include <assimp/scene.h>

#include <vtkNew.h>
#include <vtkXMLDataElement.h>
#include <vtkXMLDataParser.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ReadParts.h"
#include "zul/scene/ModelCheck.h"

namespace zul::scene::helper {
namespace {

constexpr double kDegrees = 180 / M_PI;

// Where each node of the tree is, by name (the first node of a name wins,
// as the library's own lookup does).
std::map<std::string, aiMatrix4x4> s_nodePlaces(const aiScene& scene) {
    std::map<std::string, aiMatrix4x4> places;
    if (!scene.mRootNode) return places;
    std::vector<std::pair<const aiNode*, aiMatrix4x4>> stack = {
        {scene.mRootNode, scene.mRootNode->mTransformation}};
    size_t visited = 0;
    while (!stack.empty()) {
        auto [node, place] = stack.back();
        stack.pop_back();
        if (!node || ++visited > 1000000) continue;
        places.emplace(node->mName.C_Str(), place);
        for (unsigned c = 0; c < node->mNumChildren; ++c)
            if (node->mChildren && node->mChildren[c])
                stack.emplace_back(node->mChildren[c], place * node->mChildren[c]->mTransformation);
    }
    return places;
}

void s_point(const aiMatrix4x4& m, const aiVector3D& p, double out[3]) {
    const aiVector3D q = m * p;
    out[0] = q.x, out[1] = q.y, out[2] = q.z;
}

void s_vector(const aiMatrix4x4& m, const aiVector3D& v, double out[3]) {
    const aiVector3D q = aiMatrix3x3(m) * v;
    out[0] = q.x, out[1] = q.y, out[2] = q.z;
}

double s_length(const double v[3]) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// The vertical angle (degrees) that goes with a horizontal one at a width
// to height ratio; a ratio that is not one keeps the angle.
double s_vertical(double horizontalDegrees, double aspect) {
    if (!(aspect > 0) || !std::isfinite(aspect)) return horizontalDegrees;
    return 2 * std::atan(std::tan(horizontalDegrees / kDegrees / 2) / aspect) * kDegrees;
}

// A camera's lens as a COLLADA file states it (angles in degrees;
// magnifications are half the width or height seen).
struct ColladaOptics {
    bool orthographic = false;
    std::optional<double> xfov, yfov, xmag, ymag, aspect;
};

std::optional<double> s_number(vtkXMLDataElement* parent, const char* name) {
    vtkXMLDataElement* e = parent ? parent->FindNestedElementWithName(name) : nullptr;
    if (!e || !e->GetCharacterData()) return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(e->GetCharacterData(), &end);
    if (end == e->GetCharacterData() || !std::isfinite(value)) return std::nullopt;
    return value;
}

// The lens of every camera instanced by a node, by the node's id (the name
// the library gives the camera), with the node's own name for the user.
struct ColladaCamera {
    std::string name;
    ColladaOptics optics;
};

std::map<std::string, ColladaCamera> s_colladaCameras(const std::string& path) {
    std::map<std::string, ColladaCamera> found;
    vtkNew<vtkXMLDataParser> parser;
    parser->SetFileName(path.c_str());
    parser->SetIgnoreCharacterData(0);
    if (!parser->Parse() || !parser->GetRootElement()) return found;
    std::map<std::string, ColladaOptics> lenses;
    std::vector<std::pair<vtkXMLDataElement*, std::string>> nodeCameras; // node, camera id
    std::vector<vtkXMLDataElement*> stack = {parser->GetRootElement()};
    size_t visited = 0;
    while (!stack.empty() && ++visited < 10000000) {
        vtkXMLDataElement* e = stack.back();
        stack.pop_back();
        const char* tag = e->GetName() ? e->GetName() : "";
        if (std::strcmp(tag, "camera") == 0 && e->GetAttribute("id")) {
            ColladaOptics optics;
            vtkXMLDataElement* common = e->FindNestedElementWithName("optics");
            common = common ? common->FindNestedElementWithName("technique_common") : nullptr;
            vtkXMLDataElement* lens =
                common ? common->FindNestedElementWithName("perspective") : nullptr;
            if (!lens && common) {
                lens = common->FindNestedElementWithName("orthographic");
                optics.orthographic = lens != nullptr;
            }
            optics.xfov = s_number(lens, "xfov");
            optics.yfov = s_number(lens, "yfov");
            optics.xmag = s_number(lens, "xmag");
            optics.ymag = s_number(lens, "ymag");
            optics.aspect = s_number(lens, "aspect_ratio");
            lenses[e->GetAttribute("id")] = optics;
            continue;
        }
        if (std::strcmp(tag, "instance_camera") == 0 && e->GetParent() && e->GetAttribute("url") &&
            e->GetAttribute("url")[0] == '#')
            nodeCameras.emplace_back(e->GetParent(), e->GetAttribute("url") + 1);
        for (int i = e->GetNumberOfNestedElements(); i-- > 0;)
            stack.push_back(e->GetNestedElement(i));
    }
    for (const auto& [node, cameraId] : nodeCameras) {
        const char* id = node->GetAttribute("id");
        const auto lens = lenses.find(cameraId);
        if (!id || lens == lenses.end()) continue;
        const char* name = node->GetAttribute("name");
        found.emplace(id, ColladaCamera{name && *name ? name : id, lens->second});
    }
    return found;
}

// A 3DS camera as its file holds it: eye, target, roll (degrees) and lens
// (focal length, millimetres), in the file's Z-up coordinates.
struct Camera3ds {
    std::string name;
    float eye[3], target[3], roll, lens;
};

std::vector<Camera3ds> s_3dsCameras(const std::string& path) {
    std::vector<Camera3ds> cameras;
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto u16 = [&](size_t at) {
        return uint16_t(uint8_t(bytes[at]) | uint8_t(bytes[at + 1]) << 8);
    };
    auto u32 = [&](size_t at) {
        uint32_t v = 0;
        for (int i = 3; i >= 0; --i)
            v = v << 8 | uint8_t(bytes[at + size_t(i)]);
        return v;
    };
    auto f32 = [&](size_t at) {
        const uint32_t v = u32(at);
        float f;
        std::memcpy(&f, &v, 4);
        return f;
    };
    // Chunks: a 16-bit id and a 32-bit length that counts its own six
    // bytes. Only the main, editor and named-object chunks hold the cameras.
    struct Span {
        size_t from, to;
        std::string name;
    };
    std::vector<Span> spans = {{0, bytes.size(), ""}};
    while (!spans.empty() && cameras.size() < 100000) {
        Span span = spans.back();
        spans.pop_back();
        for (size_t at = span.from; at + 6 <= span.to;) {
            const uint16_t id = u16(at);
            const uint32_t length = u32(at + 2);
            if (length < 6 || length > span.to - at) break;
            const size_t body = at + 6, end = at + length;
            if (id == 0x4D4D || id == 0x3D3D) {
                spans.push_back({body, end, ""});
            } else if (id == 0x4000) {
                const size_t nul = bytes.find('\0', body);
                if (nul != std::string::npos && nul < end)
                    spans.push_back({nul + 1, end, bytes.substr(body, nul - body)});
            } else if (id == 0x4700 && end - body >= 32) {
                Camera3ds c{span.name, {}, {}, 0, 0};
                for (int i = 0; i < 3; ++i) {
                    c.eye[i] = f32(body + size_t(4 * i));
                    c.target[i] = f32(body + 12 + size_t(4 * i));
                }
                c.roll = f32(body + 24);
                c.lens = f32(body + 28);
                cameras.push_back(c);
            }
            at = end;
        }
    }
    return cameras;
}

std::string s_nameOr(const std::string& name, size_t number) {
    // Names a library made up ("$ColladaAutoName$_3") are no names.
    if (name.empty() || name.front() == '$') return "Camera " + std::to_string(number);
    return name;
}

bool s_fromColladaOrFbx(const aiScene& scene, ModelFormat kind, const std::string& path,
                        PartSink& sink, std::string& why) {
    const auto places = s_nodePlaces(scene);
    std::map<std::string, ColladaCamera> collada;
    if (kind == ModelFormat::Collada) collada = s_colladaCameras(path);
    for (unsigned i = 0; i < scene.mNumCameras; ++i) {
        const aiCamera* camera = scene.mCameras[i];
        if (!camera) continue;
        const auto place = places.find(camera->mName.C_Str());
        // A camera no node places is nowhere in the scene.
        if (place == places.end()) continue;
        OutCamera out;
        out.name = s_nameOr(camera->mName.C_Str(), i + 1);
        s_point(place->second, camera->mPosition, out.eye);
        s_vector(place->second, camera->mLookAt, out.direction);
        s_vector(place->second, camera->mUp, out.up);
        // The library's angle is the file's full horizontal one.
        const double horizontal = camera->mHorizontalFOV * kDegrees;
        out.viewAngle = s_vertical(horizontal, camera->mAspect);
        const auto stated = collada.find(camera->mName.C_Str());
        if (stated != collada.end()) {
            const ColladaOptics& o = stated->second.optics;
            out.name = stated->second.name;
            const double aspect = o.aspect.value_or(0);
            if (o.orthographic) {
                // Half the height seen, in the node's units: its scale
                // along the up scales it.
                const double half = o.ymag   ? *o.ymag
                                    : o.xmag ? *o.xmag / (aspect > 0 ? aspect : 1)
                                             : 0;
                out.orthographic = true;
                out.parallelScale = half * s_length(out.up);
            } else if (o.yfov) {
                out.viewAngle = *o.yfov;
            } else if (o.xfov) {
                out.viewAngle = s_vertical(*o.xfov, aspect);
            }
        }
        if (!sink.addCamera(out, why)) return false;
    }
    return true;
}

bool s_from3ds(const aiScene& scene, const std::string& path, PartSink& sink, std::string& why) {
    // The library turns the file's Z up to Y up at the root; the cameras
    // turn with the geometry.
    const aiMatrix4x4 root = scene.mRootNode ? scene.mRootNode->mTransformation : aiMatrix4x4();
    size_t number = 0;
    for (const Camera3ds& c : s_3dsCameras(path)) {
        ++number;
        OutCamera out;
        out.name = s_nameOr(c.name, number);
        const aiVector3D eye(c.eye[0], c.eye[1], c.eye[2]);
        const aiVector3D look = aiVector3D(c.target[0], c.target[1], c.target[2]) - eye;
        // Unrolled, the camera's up is the file's Z; the roll turns it about
        // the direction the camera looks in.
        aiVector3D up(0, 0, 1);
        if (look.Length() > 0 && std::isfinite(c.roll) && c.roll != 0) {
            const aiVector3D axis = aiVector3D(look).Normalize();
            up = aiMatrix3x3(aiQuaternion(axis, ai_real(c.roll / kDegrees)).GetMatrix()) * up;
        }
        s_point(root, eye, out.eye);
        s_vector(root, look, out.direction);
        s_vector(root, up, out.up);
        // The tools that write 3DS files give a lens of L millimetres the
        // field of view 2400 / L degrees (45 degrees at the usual 53.33);
        // none means their 45.
        out.viewAngle = std::isfinite(c.lens) && c.lens > 0 ? 2400 / double(c.lens) : 45;
        if (!sink.addCamera(out, why)) return false;
    }
    return true;
}

} // namespace

bool readAssimpCameras(const aiScene& scene, ModelFormat kind, const std::string& path,
                       PartSink& sink, std::string& why) {
    if (scene.mNumCameras == 0 || !scene.mCameras) return true;
    switch (kind) {
    case ModelFormat::Collada:
    case ModelFormat::Fbx:
        return s_fromColladaOrFbx(scene, kind, path, sink, why);
    case ModelFormat::ThreeDs:
        return s_from3ds(scene, path, sink, why);
    default:
        return true; // glTF's cameras are read from its JSON (GltfReader.cpp)
    }
}

} // namespace zul::scene::helper
