// A reader of our own for plain glTF 2 files (binary .glb, or .gltf with
// its buffers in files beside it): triangle meshes whose points are 32-bit
// floats, placed by the scene's node tree, coloured by their material's
// base colour. The bytes of a buffer are copied once into the arrays the
// parts are made of; Assimp, which takes anything else, builds its own
// scene of every mesh first and takes several times as long on a large file.
#include <vtkCellArray.h>
#include <vtkFloatArray.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>
#include <vtk_jsoncpp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ReadParts.h"

namespace zul::scene::helper {
namespace {

constexpr uint32_t kGlbMagic = 0x46546C67; // "glTF"
constexpr uint32_t kJsonChunk = 0x4E4F534A;
constexpr uint32_t kBinChunk = 0x004E4942;
constexpr int kFloat = 5126;
constexpr int kUnsignedByte = 5121, kUnsignedShort = 5123, kUnsignedInt = 5125;
constexpr int kTriangles = 4;

using Matrix = std::array<double, 16>; // column-major, as glTF writes it
constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

Matrix s_multiply(const Matrix& a, const Matrix& b) {
    Matrix m{};
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            for (int k = 0; k < 4; ++k)
                m[c * 4 + r] += a[k * 4 + r] * b[c * 4 + k];
    return m;
}

bool s_numbers(const Json::Value& array, size_t count, double* out) {
    if (!array.isArray() || array.size() != count) return false;
    for (Json::ArrayIndex i = 0; i < count; ++i) {
        if (!array[i].isNumeric()) return false;
        out[i] = array[i].asDouble();
        if (!std::isfinite(out[i])) return false;
    }
    return true;
}

// The node's own placement: its matrix, else translation * rotation * scale.
bool s_nodePlace(const Json::Value& node, Matrix& out) {
    out = kIdentity;
    if (node.isMember("matrix")) return s_numbers(node["matrix"], 16, out.data());
    double t[3] = {0, 0, 0}, q[4] = {0, 0, 0, 1}, s[3] = {1, 1, 1};
    if (node.isMember("translation") && !s_numbers(node["translation"], 3, t)) return false;
    if (node.isMember("rotation") && !s_numbers(node["rotation"], 4, q)) return false;
    if (node.isMember("scale") && !s_numbers(node["scale"], 3, s)) return false;
    const double x = q[0], y = q[1], z = q[2], w = q[3];
    const double r[9] = {1 - 2 * (y * y + z * z), 2 * (x * y + z * w),     2 * (x * z - y * w),
                         2 * (x * y - z * w),     1 - 2 * (x * x + z * z), 2 * (y * z + x * w),
                         2 * (x * z + y * w),     2 * (y * z - x * w),     1 - 2 * (x * x + y * y)};
    for (int c = 0; c < 3; ++c)
        for (int row = 0; row < 3; ++row)
            out[c * 4 + row] = r[c * 3 + row] * s[c];
    out[12] = t[0], out[13] = t[1], out[14] = t[2];
    return true;
}

// A non-negative integer member, or -1 when absent or not one.
int64_t s_index(const Json::Value& object, const char* key) {
    if (!object.isObject() || !object.isMember(key)) return -1;
    const Json::Value& v = object[key];
    return v.isIntegral() && v.asInt64() >= 0 ? v.asInt64() : -1;
}

class Document {
public:
    // False when the file is not one this reader takes (`handled` stays
    // false for the library's reader); true with the JSON and the buffers.
    bool open(const std::string& path) {
        auto file = std::make_shared<std::string>(s_contents(path));
        const std::string& bytes = *file;
        const char* jsonAt = bytes.data();
        size_t jsonSize = bytes.size();
        Span bin;
        if (bytes.size() >= 12 && s_word(bytes, 0) == kGlbMagic) {
            if (s_word(bytes, 4) != 2 || s_word(bytes, 8) > bytes.size()) return false;
            size_t at = 12;
            const size_t end = s_word(bytes, 8);
            jsonSize = 0;
            while (at + 8 <= end) {
                const size_t length = s_word(bytes, at), type = s_word(bytes, at + 4);
                if (length > end - at - 8) return false;
                if (type == kJsonChunk && jsonSize == 0)
                    jsonAt = bytes.data() + at + 8, jsonSize = length;
                else if (type == kBinChunk && !bin.owner)
                    bin = {file, at + 8, length};
                at += 8 + ((length + 3) & ~size_t(3));
            }
        }
        Json::CharReaderBuilder builder;
        builder["collectComments"] = false;
        std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        std::string errors;
        if (jsonSize == 0 || !reader->parse(jsonAt, jsonAt + jsonSize, &root_, &errors) ||
            !root_.isObject())
            return false;
        // Compression, quantised or instanced meshes and the like: what the
        // file requires, the library's reader knows or refuses.
        if (root_.isMember("extensionsRequired") && root_["extensionsRequired"].size() > 0)
            return false;
        const Json::Value& buffers = root_["buffers"];
        if (!buffers.isArray()) return false;
        const std::filesystem::path folder = std::filesystem::path(path).parent_path();
        for (Json::ArrayIndex i = 0; i < buffers.size(); ++i) {
            const Json::Value& b = buffers[i];
            if (!b.isObject()) return false;
            if (!b.isMember("uri")) {
                if (i != 0 || !bin.owner) return false;
                buffers_.push_back(bin);
                continue;
            }
            // Only a file beside this one; data: addresses and escaped
            // names go to the library's reader.
            const std::string uri = b["uri"].isString() ? b["uri"].asString() : std::string();
            if (uri.empty() || uri.find_first_of(":%\\") != std::string::npos) return false;
            auto beside = std::make_shared<std::string>(s_contents((folder / uri).string()));
            if (beside->empty()) return false;
            buffers_.push_back({beside, 0, beside->size()});
        }
        return true;
    }

    const Json::Value& root() const { return root_; }

    // Where accessor `index`'s elements lie: `count` elements of
    // `components` values of `type`, each `stride` bytes after the last.
    // False when the accessor is not a plain one inside its buffer.
    bool accessor(int64_t index, const char* wantedType, const unsigned char*& at, size_t& count,
                  size_t& stride, int& componentType) const {
        const Json::Value& accessors = root_["accessors"];
        if (index < 0 || !accessors.isArray() || index >= int64_t(accessors.size())) return false;
        const Json::Value& a = accessors[Json::ArrayIndex(index)];
        if (!a.isObject() || a.isMember("sparse") || !a["type"].isString() ||
            a["type"].asString() != wantedType ||
            (a.isMember("normalized") && a["normalized"].asBool()))
            return false;
        componentType = int(s_index(a, "componentType"));
        const int64_t n = s_index(a, "count"), viewIndex = s_index(a, "bufferView");
        const int64_t offset = a.isMember("byteOffset") ? s_index(a, "byteOffset") : 0;
        const Json::Value& views = root_["bufferViews"];
        if (n < 0 || offset < 0 || viewIndex < 0 || !views.isArray() ||
            viewIndex >= int64_t(views.size()))
            return false;
        const Json::Value& view = views[Json::ArrayIndex(viewIndex)];
        const int64_t buffer = s_index(view, "buffer"), length = s_index(view, "byteLength");
        const int64_t viewOffset = view.isMember("byteOffset") ? s_index(view, "byteOffset") : 0;
        if (buffer < 0 || buffer >= int64_t(buffers_.size()) || length < 0 || viewOffset < 0)
            return false;
        size_t size = 0;
        switch (componentType) {
        case kFloat:
            size = 4;
            break;
        case kUnsignedInt:
            size = 4;
            break;
        case kUnsignedShort:
            size = 2;
            break;
        case kUnsignedByte:
            size = 1;
            break;
        default:
            return false;
        }
        const size_t element = size * (std::strcmp(wantedType, "VEC3") == 0 ? 3 : 1);
        stride = view.isMember("byteStride")
                     ? size_t(std::max<int64_t>(0, s_index(view, "byteStride")))
                     : element;
        if (stride < element) return false;
        const Span& bytes = buffers_[size_t(buffer)];
        if (uint64_t(viewOffset) + uint64_t(length) > bytes.length) return false;
        count = size_t(n);
        if (count > 0 &&
            uint64_t(offset) + (count - 1) * uint64_t(stride) + element > uint64_t(length))
            return false;
        at = reinterpret_cast<const unsigned char*>(bytes.owner->data()) + bytes.offset +
             viewOffset + offset;
        return true;
    }

private:
    // Bytes of a buffer: a stretch of a file read whole.
    struct Span {
        std::shared_ptr<const std::string> owner;
        size_t offset = 0, length = 0;
    };

    // The whole of the file at `path`; empty when it cannot be read.
    static std::string s_contents(const std::string& path) {
        std::ifstream in(path, std::ios::binary | std::ios::ate);
        if (!in) return {};
        const std::streamoff size = in.tellg();
        if (size <= 0) return {};
        std::string bytes(size_t(size), '\0');
        in.seekg(0);
        if (!in.read(bytes.data(), size)) return {};
        return bytes;
    }

    static size_t s_word(const std::string& bytes, size_t at) {
        uint32_t v = 0;
        std::memcpy(&v, bytes.data() + at, 4);
        return v;
    }

    Json::Value root_;
    std::vector<Span> buffers_;
};

// One primitive as a part: its points placed by `place`, its triangles.
// False when it is not a plain triangle list.
bool s_primitive(const Document& doc, const Json::Value& primitive, const Matrix& place,
                 OutPart& part) {
    if (!primitive.isObject() ||
        (primitive.isMember("mode") && s_index(primitive, "mode") != kTriangles) ||
        primitive.isMember("targets"))
        return false;
    const Json::Value& attributes = primitive["attributes"];
    // Vertex colours are the library reader's to draw.
    if (!attributes.isObject() || attributes.isMember("COLOR_0")) return false;
    const unsigned char* at = nullptr;
    size_t count = 0, stride = 0;
    int type = 0;
    if (!doc.accessor(s_index(attributes, "POSITION"), "VEC3", at, count, stride, type) ||
        type != kFloat || count == 0)
        return false;
    auto coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(vtkIdType(count));
    float* to = coordinates->GetPointer(0);
    const bool moved = place != kIdentity;
    for (size_t i = 0; i < count; ++i, at += stride) {
        float p[3];
        std::memcpy(p, at, 12);
        if (!std::isfinite(p[0] + p[1] + p[2])) return false;
        if (moved) {
            for (int r = 0; r < 3; ++r)
                to[i * 3 + r] = float(place[r] * p[0] + place[4 + r] * p[1] + place[8 + r] * p[2] +
                                      place[12 + r]);
        } else {
            std::memcpy(to + i * 3, p, 12);
        }
    }
    vtkSmartPointer<vtkDataArray> ids;
    if (primitive.isMember("indices")) {
        size_t n = 0;
        if (!doc.accessor(s_index(primitive, "indices"), "SCALAR", at, n, stride, type) ||
            type == kFloat || n % 3 != 0 || count > size_t(INT32_MAX))
            return false;
        auto list = vtkSmartPointer<vtkTypeInt32Array>::New();
        list->SetNumberOfValues(vtkIdType(n));
        int32_t* out = list->GetPointer(0);
        for (size_t i = 0; i < n; ++i, at += stride) {
            uint32_t v = 0;
            if (type == kUnsignedInt)
                std::memcpy(&v, at, 4);
            else if (type == kUnsignedShort) {
                uint16_t s = 0;
                std::memcpy(&s, at, 2);
                v = s;
            } else {
                v = *at;
            }
            if (v >= count) return false; // the library's reader says what is wrong
            out[i] = int32_t(v);
        }
        ids = list;
    } else {
        if (count % 3 != 0) return false;
        ids = sequentialIds(count);
    }
    if (ids->GetNumberOfTuples() == 0) return false;
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    vtkNew<vtkCellArray> polys;
    polys->SetData(3, ids);
    part.geometry = vtkSmartPointer<vtkPolyData>::New();
    part.geometry->SetPoints(points);
    part.geometry->SetPolys(polys);
    return true;
}

// The base colour of material `index`, as Assimp's reading gives it.
bool s_materialColour(const Json::Value& root, int64_t index, double rgba[4]) {
    const Json::Value& materials = root["materials"];
    if (index < 0 || !materials.isArray() || index >= int64_t(materials.size())) return false;
    const Json::Value& m = materials[Json::ArrayIndex(index)];
    if (!m.isObject()) return false;
    double c[4] = {1, 1, 1, 1};
    const Json::Value& pbr = m["pbrMetallicRoughness"];
    if (pbr.isObject() && pbr.isMember("baseColorFactor") &&
        !s_numbers(pbr["baseColorFactor"], 4, c))
        return false;
    for (int i = 0; i < 4; ++i)
        rgba[i] = std::clamp(c[i], 0.0, 1.0);
    if (rgba[3] <= 0.01) rgba[3] = 1; // a fully transparent material is drawn opaque
    return true;
}

bool s_read(const Document& doc, PartSink& sink, std::string& why, bool& handled) {
    const Json::Value& root = doc.root();
    const Json::Value& meshes = root["meshes"];
    const Json::Value& nodes = root["nodes"];
    if (!meshes.isArray() || meshes.size() == 0) return true;
    // The scene's root nodes; a file without scenes has its meshes drawn
    // where they are, as the library does.
    std::vector<std::pair<int64_t, Matrix>> stack;
    struct Placed {
        int64_t mesh;
        Matrix place;
        std::string name; // the node's
    };
    std::vector<Placed> placed; // in the order the tree is walked
    const Json::Value& scenes = root["scenes"];
    if (scenes.isArray() && scenes.size() > 0) {
        int64_t chosen = root.isMember("scene") ? s_index(root, "scene") : 0;
        if (chosen < 0 || chosen >= int64_t(scenes.size())) return true;
        const Json::Value& roots = scenes[Json::ArrayIndex(chosen)]["nodes"];
        if (!roots.isArray()) return true;
        for (Json::ArrayIndex i = roots.size(); i-- > 0;)
            stack.emplace_back(roots[i].isIntegral() ? roots[i].asInt64() : -1, kIdentity);
    } else {
        for (Json::ArrayIndex i = 0; i < meshes.size(); ++i)
            placed.push_back({i, kIdentity, {}});
    }
    size_t visited = 0;
    while (!stack.empty()) {
        auto [index, parent] = stack.back();
        stack.pop_back();
        if (index < 0 || !nodes.isArray() || index >= int64_t(nodes.size())) return true;
        if (++visited > nodes.size()) return true; // a node reached twice: a cycle
        const Json::Value& node = nodes[Json::ArrayIndex(index)];
        Matrix own;
        if (!node.isObject() || node.isMember("skin") || !s_nodePlace(node, own)) return true;
        const Matrix place = s_multiply(parent, own);
        if (node.isMember("mesh"))
            placed.push_back({s_index(node, "mesh"), place,
                              node["name"].isString() ? node["name"].asString() : std::string()});
        const Json::Value& children = node["children"];
        if (children.isArray())
            for (Json::ArrayIndex c = children.size(); c-- > 0;)
                stack.emplace_back(children[c].isIntegral() ? children[c].asInt64() : -1, place);
    }
    // Every part is made before any is sent: a file this reader cannot take
    // whole goes to the library's reader untouched.
    std::vector<OutPart> parts;
    for (const auto& [meshIndex, place, nodeName] : placed) {
        if (meshIndex < 0 || meshIndex >= int64_t(meshes.size())) return true;
        const Json::Value& mesh = meshes[Json::ArrayIndex(meshIndex)];
        const Json::Value& primitives = mesh["primitives"];
        if (!primitives.isArray()) return true;
        for (const Json::Value& primitive : primitives) {
            OutPart part;
            // The node's name, else the mesh's, as for the library's reading.
            part.name = nodeName;
            if (part.name.empty() && mesh["name"].isString()) part.name = mesh["name"].asString();
            if (!s_primitive(doc, primitive, place, part)) return true;
            part.hasColour = s_materialColour(root, s_index(primitive, "material"), part.rgba);
            parts.push_back(std::move(part));
        }
    }
    if (parts.empty()) return true;
    handled = true;
    reportProgress(0.8, "placing the parts");
    for (OutPart& part : parts)
        if (!sink.add(part, why)) return false;
    return true;
}

// The JSON of a glTF file: the JSON chunk of a .glb (read alone, not the
// buffers after it), else the whole text. False when there is none.
bool s_jsonOnly(const std::string& path, Json::Value& root) {
    std::ifstream in(path, std::ios::binary);
    char head[20];
    if (!in.read(head, sizeof head)) return false;
    uint32_t magic = 0, length = 0, type = 0;
    std::memcpy(&magic, head, 4);
    std::memcpy(&length, head + 12, 4);
    std::memcpy(&type, head + 16, 4);
    std::string text;
    if (magic == kGlbMagic) {
        if (type != kJsonChunk || length > (256u << 20)) return false;
        text.resize(length);
        if (!in.read(text.data(), length)) return false;
    } else {
        text.assign(head, sizeof head);
        text.append(std::istreambuf_iterator<char>(in), {});
    }
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), &root, &errors) && root.isObject();
}

// The world matrix applied to a point (w 1) or a direction (w 0).
void s_apply(const Matrix& m, const double in[3], double w, double out[3]) {
    for (int r = 0; r < 3; ++r)
        out[r] = m[r] * in[0] + m[4 + r] * in[1] + m[8 + r] * in[2] + m[12 + r] * w;
}

// The cameras of the file's JSON `root`; a value of the wrong kind throws.
bool s_cameras(const Json::Value& root, PartSink& sink, std::string& why) {
    const Json::Value& cameras = root["cameras"];
    const Json::Value& nodes = root["nodes"];
    if (!cameras.isArray() || cameras.size() == 0 || !nodes.isArray()) return true;
    // The roots: the chosen scene's nodes, else every node that is no
    // node's child.
    std::vector<int64_t> roots;
    const Json::Value& scenes = root["scenes"];
    if (scenes.isArray() && scenes.size() > 0) {
        const int64_t chosen = root.isMember("scene") ? s_index(root, "scene") : 0;
        if (chosen >= 0 && chosen < int64_t(scenes.size()) &&
            scenes[Json::ArrayIndex(chosen)]["nodes"].isArray())
            for (const Json::Value& n : scenes[Json::ArrayIndex(chosen)]["nodes"])
                roots.push_back(n.isIntegral() ? n.asInt64() : -1);
    } else {
        std::vector<bool> child(nodes.size(), false);
        for (const Json::Value& node : nodes)
            if (node.isObject() && node["children"].isArray())
                for (const Json::Value& c : node["children"])
                    if (c.isIntegral() && c.asInt64() >= 0 && c.asInt64() < int64_t(nodes.size()))
                        child[size_t(c.asInt64())] = true;
        for (size_t i = 0; i < child.size(); ++i)
            if (!child[i]) roots.push_back(int64_t(i));
    }
    std::vector<std::pair<int64_t, Matrix>> stack;
    for (auto r = roots.rbegin(); r != roots.rend(); ++r)
        stack.emplace_back(*r, kIdentity);
    size_t visited = 0, number = 0;
    while (!stack.empty()) {
        auto [index, parent] = stack.back();
        stack.pop_back();
        if (index < 0 || index >= int64_t(nodes.size()) || ++visited > nodes.size()) continue;
        const Json::Value& node = nodes[Json::ArrayIndex(index)];
        Matrix own;
        if (!node.isObject() || !s_nodePlace(node, own)) continue;
        const Matrix place = s_multiply(parent, own);
        const int64_t c = s_index(node, "camera");
        if (c >= 0 && c < int64_t(cameras.size()) && cameras[Json::ArrayIndex(c)].isObject()) {
            const Json::Value& camera = cameras[Json::ArrayIndex(c)];
            ++number;
            OutCamera out;
            out.name = camera["name"].isString() ? camera["name"].asString() : std::string();
            if (out.name.empty() && node["name"].isString()) out.name = node["name"].asString();
            if (out.name.empty()) out.name = "Camera " + std::to_string(number);
            const double origin[3] = {0, 0, 0}, forward[3] = {0, 0, -1}, up[3] = {0, 1, 0};
            s_apply(place, origin, 1, out.eye);
            s_apply(place, forward, 0, out.direction);
            s_apply(place, up, 0, out.up);
            const std::string type = camera["type"].isString() ? camera["type"].asString() : "";
            if (type == "orthographic") {
                const Json::Value& o = camera["orthographic"];
                out.orthographic = true;
                // ymag is half the height seen, in the camera's own units:
                // the node's scale along its up scales it.
                const double scale = std::sqrt(out.up[0] * out.up[0] + out.up[1] * out.up[1] +
                                               out.up[2] * out.up[2]);
                out.parallelScale = o["ymag"].isNumeric() ? o["ymag"].asDouble() * scale : 0;
            } else {
                const Json::Value& p = camera["perspective"];
                out.viewAngle = p["yfov"].isNumeric() ? p["yfov"].asDouble() * 180 / M_PI : 0;
            }
            if (!sink.addCamera(out, why)) return false;
        }
        const Json::Value& children = node["children"];
        if (children.isArray())
            for (Json::ArrayIndex k = children.size(); k-- > 0;)
                stack.emplace_back(children[k].isIntegral() ? children[k].asInt64() : -1, place);
    }
    return true;
}

// s_cameras, kept from throwing: a value of the wrong kind where the format
// has an object (a camera's "perspective" that is a number) makes the JSON
// library throw; the cameras read so far stay, and the geometry, read
// already, too.
bool s_camerasOf(const Json::Value& root, PartSink& sink, std::string& why) {
    try {
        return s_cameras(root, sink, why);
    } catch (const Json::Exception&) {
        reportNote("The file's cameras could not all be read: some of their values are not of "
                   "the kind the glTF format gives them.");
        return true;
    }
}

} // namespace

bool readGltfCameras(const std::string& path, PartSink& sink, std::string& why) {
    Json::Value root;
    if (!s_jsonOnly(path, root)) return true; // the geometry's reader said what it could
    return s_camerasOf(root, sink, why);
}

bool readPlainGltf(const std::string& path, PartSink& sink, std::string& why, bool& handled) {
    handled = false;
    reportProgress(0.1, "reading");
    // Values of the wrong kind: not a file this reader takes whole; the
    // library readers say what is wrong with it.
    Document doc;
    bool ok = true;
    try {
        if (!doc.open(path)) return true;
        ok = s_read(doc, sink, why, handled);
    } catch (const Json::Exception&) {
        return true;
    }
    // The cameras from the JSON already read.
    return ok && handled ? s_camerasOf(doc.root(), sink, why) : ok;
}

} // namespace zul::scene::helper
