// ParaView's camera files. Both are XML: a camera configuration is a
// "PVCameraConfiguration" holding one render-view "Proxy" whose "Property"
// elements list their "Element" values by index; a custom viewpoints file
// nests one such configuration in each "CustomViewpointButtonN" with its
// "ToolTip". Expat reads them into a small tree first.
#include "KRAdvancedViews/formats/ParaViewFiles.h"

#include <expat.h>
#include <utf8cpp/utf8.h>

#include "zul/registry/SafeFile.h"
#include "zul/registry/Transaction.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>

namespace krav::format {
namespace {

constexpr double kPi = 3.14159265358979323846;

// What a file may hold before it is taken for something else: ParaView's
// files are a few kilobytes.
constexpr size_t kMaxElements = 200000;
constexpr int kMaxDepth = 64;

struct Element {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<std::unique_ptr<Element>> children;
    Element* parent = nullptr;

    const std::string* attribute(const char* key) const {
        for (const auto& [k, v] : attributes)
            if (k == key) return &v;
        return nullptr;
    }
    const Element* child(const char* childName) const {
        for (const auto& c : children)
            if (c->name == childName) return c.get();
        return nullptr;
    }
};

struct Tree {
    Element root; // holds the document's element as its one child
    Element* at = &root;
    size_t count = 0;
    int depth = 0;
    bool tooBig = false;
    XML_Parser parser = nullptr;
};

void XMLCALL s_start(void* data, const XML_Char* name, const XML_Char** attributes) {
    Tree& tree = *static_cast<Tree*>(data);
    if (++tree.count > kMaxElements || ++tree.depth > kMaxDepth) {
        tree.tooBig = true;
        XML_StopParser(tree.parser, XML_FALSE);
        return;
    }
    auto element = std::make_unique<Element>();
    element->name = name;
    element->parent = tree.at;
    for (const XML_Char** a = attributes; a && a[0] && a[1]; a += 2)
        element->attributes.emplace_back(a[0], a[1]);
    tree.at->children.push_back(std::move(element));
    tree.at = tree.at->children.back().get();
}

void XMLCALL s_end(void* data, const XML_Char*) {
    Tree& tree = *static_cast<Tree*>(data);
    --tree.depth;
    if (tree.at->parent) tree.at = tree.at->parent;
}

// The document element of `bytes`, or null with `why`.
const Element* s_parse(const std::string& bytes, Tree& tree, std::string& why) {
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), &XML_ParserFree);
    if (!parser) {
        why = "there is not enough memory to read it";
        return nullptr;
    }
    tree.parser = parser.get();
    XML_SetUserData(parser.get(), &tree);
    XML_SetElementHandler(parser.get(), s_start, s_end);
    const bool ok =
        XML_Parse(parser.get(), bytes.data(), int(std::min<size_t>(bytes.size(), 1u << 30)),
                  XML_TRUE) == XML_STATUS_OK;
    if (tree.tooBig) {
        why = "it holds more elements, or nests them deeper, than a camera file does";
        return nullptr;
    }
    if (!ok) {
        why = "it is not XML that can be read (line " +
              std::to_string(XML_GetCurrentLineNumber(parser.get())) + ": " +
              XML_ErrorString(XML_GetErrorCode(parser.get())) + ")";
        return nullptr;
    }
    if (tree.root.children.empty()) {
        why = "it holds no XML element";
        return nullptr;
    }
    return tree.root.children.front().get();
}

bool s_number(const std::string& text, double& value) {
    const char* begin = text.data();
    const char* end = begin + text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(*begin)))
        ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(end[-1])))
        --end;
    if (begin < end && *begin == '+') ++begin;
    const auto [stop, error] = std::from_chars(begin, end, value);
    return error == std::errc() && stop == end && std::isfinite(value);
}

// The `count` values of the render view's property `name`; false with `why`
// naming the property.
bool s_property(const Element& proxy, const char* name, double* values, int count,
                std::string& why) {
    const Element* property = nullptr;
    for (const auto& c : proxy.children)
        if (c->name == "Property" && c->attribute("name") && *c->attribute("name") == name)
            property = c.get();
    if (!property) {
        why = std::string("the property ") + name + " is missing";
        return false;
    }
    std::vector<bool> seen(size_t(count), false);
    for (const auto& e : property->children) {
        if (e->name != "Element") continue;
        const std::string* index = e->attribute("index");
        const std::string* value = e->attribute("value");
        double i = -1;
        if (!index || !s_number(*index, i) || i < 0 || i >= count || i != std::floor(i)) continue;
        if (!value || !s_number(*value, values[int(i)])) {
            why = std::string("the property ") + name + " has a value that is not a finite number";
            return false;
        }
        seen[size_t(i)] = true;
    }
    if (std::find(seen.begin(), seen.end(), false) != seen.end()) {
        why = std::string("the property ") + name + " has fewer than " + std::to_string(count) +
              (count == 1 ? " value" : " values");
        return false;
    }
    return true;
}

bool s_camera(const Element& configuration, ParaViewCamera& camera, std::string& why) {
    if (configuration.name != "PVCameraConfiguration") {
        why =
            "it is not a ParaView camera configuration (its root is <" + configuration.name + ">)";
        return false;
    }
    const Element* proxy = configuration.child("Proxy");
    if (!proxy) {
        why = "it holds no render view (no <Proxy> element)";
        return false;
    }
    double parallel = 0;
    ParaViewCamera read;
    if (!s_property(*proxy, "CameraPosition", read.position, 3, why) ||
        !s_property(*proxy, "CameraFocalPoint", read.focalPoint, 3, why) ||
        !s_property(*proxy, "CameraViewUp", read.viewUp, 3, why) ||
        !s_property(*proxy, "CameraViewAngle", &read.viewAngle, 1, why) ||
        !s_property(*proxy, "CameraParallelScale", &read.parallelScale, 1, why) ||
        !s_property(*proxy, "CameraParallelProjection", &parallel, 1, why))
        return false;
    // The centre of rotation is ParaView's, not the camera's: the focal
    // point stands in when it is not there.
    std::string ignored;
    if (!s_property(*proxy, "CenterOfRotation", read.centerOfRotation, 3, ignored))
        std::copy(read.focalPoint, read.focalPoint + 3, read.centerOfRotation);
    read.parallelProjection = parallel != 0;
    double along = 0;
    for (int i = 0; i < 3; ++i)
        along += (read.focalPoint[i] - read.position[i]) * (read.focalPoint[i] - read.position[i]);
    if (!(along > 0)) {
        why = "the properties CameraPosition and CameraFocalPoint are the same point";
        return false;
    }
    if (!(read.viewAngle > 0 && read.viewAngle < 180)) {
        why = "the property CameraViewAngle is not an angle a view can have";
        return false;
    }
    if (read.parallelProjection && !(read.parallelScale > 0)) {
        why = "the property CameraParallelScale is not above 0";
        return false;
    }
    camera = read;
    return true;
}

std::string s_numberText(double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

// An attribute value: the five markup characters and the white space a
// reader would fold into spaces are written as references.
std::string s_escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&apos;";
            break;
        case '\t':
            out += "&#9;";
            break;
        case '\n':
            out += "&#10;";
            break;
        case '\r':
            out += "&#13;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

void s_writeProperty(std::string& out, const std::string& indent, const char* name,
                     const double* values, int count, bool boolean = false) {
    out += indent + "<Property name=\"" + name + "\" id=\"1." + name + "\" number_of_elements=\"" +
           std::to_string(count) + "\">\n";
    for (int i = 0; i < count; ++i)
        out += indent + "  <Element index=\"" + std::to_string(i) + "\" value=\"" +
               s_numberText(values[i]) + "\"/>\n";
    if (boolean) out += indent + "  <Domain name=\"bool\" id=\"1." + name + ".bool\"/>\n";
    out += indent + "</Property>\n";
}

void s_writeConfiguration(std::string& out, const std::string& indent,
                          const ParaViewCamera& camera) {
    out += indent + "<PVCameraConfiguration description=\"ParaView camera configuration\" "
                    "version=\"1.0\">\n";
    const std::string in = indent + "  ", inner = indent + "    ";
    out += in + "<Proxy group=\"views\" type=\"RenderView\" id=\"1\" servers=\"21\">\n";
    const double parallel = camera.parallelProjection ? 1 : 0;
    s_writeProperty(out, inner, "CameraPosition", camera.position, 3);
    s_writeProperty(out, inner, "CameraFocalPoint", camera.focalPoint, 3);
    s_writeProperty(out, inner, "CameraViewUp", camera.viewUp, 3);
    s_writeProperty(out, inner, "CenterOfRotation", camera.centerOfRotation, 3);
    s_writeProperty(out, inner, "CameraViewAngle", &camera.viewAngle, 1);
    s_writeProperty(out, inner, "CameraParallelScale", &camera.parallelScale, 1);
    s_writeProperty(out, inner, "CameraParallelProjection", &parallel, 1, true);
    out += in + "</Proxy>\n";
    out += indent + "</PVCameraConfiguration>\n";
}

double s_length(const double v[3]) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

} // namespace

ParaViewCamera ParaViewCameraOf(const FullViewInfo& info, const FitSphere& fit,
                                bool& directionOnly) {
    ParaViewCamera camera;
    const double angle = info.viewAngle > 0 && info.viewAngle < 180 ? info.viewAngle : 30.0;
    double direction[3];
    double distance = 0;
    for (int i = 0; i < 3; ++i) {
        direction[i] = double(info.pAtVector[i]) - info.pFromVector[i];
        distance += direction[i] * direction[i];
    }
    distance = std::sqrt(distance);
    directionOnly = !info.bHasFromAndAt || !(distance > 0) || !std::isfinite(distance);
    if (directionOnly) {
        for (int i = 0; i < 3; ++i)
            direction[i] = info.pViewVector[i];
        double length = s_length(direction);
        if (!(length > 0) || !std::isfinite(length)) {
            direction[0] = direction[1] = 0, direction[2] = -1;
            length = 1;
        }
        // Far enough for the sphere to fill the height of the view.
        distance = fit.radius > 0 ? fit.radius / std::sin(angle * kPi / 360) : 1.0;
        for (int i = 0; i < 3; ++i) {
            direction[i] /= length;
            camera.focalPoint[i] = fit.centre[i];
            camera.position[i] = fit.centre[i] - direction[i] * distance;
        }
    } else {
        for (int i = 0; i < 3; ++i) {
            camera.position[i] = info.pFromVector[i];
            camera.focalPoint[i] = info.pAtVector[i];
            direction[i] /= distance;
        }
    }
    // The up as stored: ParaView, like this viewer, makes it square to the
    // direction when it draws.
    for (int i = 0; i < 3; ++i)
        camera.viewUp[i] = info.pUpVector[i];
    std::copy(camera.focalPoint, camera.focalPoint + 3, camera.centerOfRotation);
    camera.viewAngle = angle;
    camera.parallelScale = distance * std::tan(angle * kPi / 360);
    camera.parallelProjection = info.cameraType == Orthographic;
    return camera;
}

FullViewInfo ViewOfParaViewCamera(const ParaViewCamera& camera) {
    FullViewInfo info;
    double distance = 0;
    for (int i = 0; i < 3; ++i) {
        const double d = camera.focalPoint[i] - camera.position[i];
        distance += d * d;
    }
    distance = std::sqrt(distance);
    for (int i = 0; i < 3; ++i) {
        info.pFromVector[i] = float(camera.position[i]);
        info.pAtVector[i] = float(camera.focalPoint[i]);
        info.pViewVector[i] =
            distance > 0 ? float((camera.focalPoint[i] - camera.position[i]) / distance) : 0.0f;
        info.pUpVector[i] = float(camera.viewUp[i]);
    }
    info.cameraType = camera.parallelProjection ? Orthographic : Perspective;
    info.viewAngle = float(camera.parallelProjection && distance > 0
                               ? 2 * std::atan(camera.parallelScale / distance) * 180 / kPi
                               : camera.viewAngle);
    info.bHasFromAndAt = 1;
    info.iChangeBits = ViewChangeViewVector | ViewChangeAtPoint | ViewChangeFromPoint |
                       ViewChangeCarried | ViewChangeCameraType | ViewChangeViewAngle;
    return info;
}

std::string PvccText(const ParaViewCamera& camera) {
    std::string out = "<?xml version=\"1.0\"?>\n";
    s_writeConfiguration(out, "", camera);
    return out;
}

bool ParsePvcc(const std::string& bytes, ParaViewCamera& camera, std::string& why) {
    Tree tree;
    const Element* root = s_parse(bytes, tree, why);
    return root && s_camera(*root, camera, why);
}

bool PvcvbcText(const std::vector<NamedCamera>& cameras, std::string& text, std::string& why) {
    std::string out = "<?xml version=\"1.0\"?>\n<CustomViewpointsConfiguration version=\"1.0\">\n";
    for (size_t i = 0; i < cameras.size(); ++i) {
        const std::string& name = cameras[i].name;
        const bool control = std::any_of(name.begin(), name.end(), [](char c) {
            return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
        });
        if (!utf8::is_valid(name.begin(), name.end()) || control) {
            why = "the view name '" + name + "' holds characters an XML file cannot";
            return false;
        }
        const std::string button = "CustomViewpointButton" + std::to_string(i);
        out += "  <" + button + ">\n";
        out += "    <ToolTip value=\"" + s_escaped(name) + "\"/>\n";
        out += "    <Configuration is_empty=\"0\">\n";
        s_writeConfiguration(out, "      ", cameras[i].camera);
        out += "    </Configuration>\n";
        out += "  </" + button + ">\n";
    }
    out += "</CustomViewpointsConfiguration>\n";
    text = std::move(out);
    return true;
}

bool ParsePvcvbc(const std::string& bytes, std::vector<NamedCamera>& cameras,
                 std::vector<std::string>& notes, std::string& why) {
    Tree tree;
    const Element* root = s_parse(bytes, tree, why);
    if (!root) return false;
    if (root->name != "CustomViewpointsConfiguration") {
        why = "it is not a ParaView custom viewpoints file (its root is <" + root->name + ">)";
        return false;
    }
    std::vector<NamedCamera> read;
    for (const auto& button : root->children) {
        if (button->name.rfind("CustomViewpointButton", 0) != 0) continue;
        const Element* tip = button->child("ToolTip");
        const std::string* name = tip ? tip->attribute("value") : nullptr;
        const std::string called = name ? "'" + *name + "'" : button->name;
        const Element* configuration = button->child("Configuration");
        const std::string* empty = configuration ? configuration->attribute("is_empty") : nullptr;
        if (!configuration || !empty || *empty != "0") {
            notes.push_back("the viewpoint " + called + " holds no camera; it was left out");
            continue;
        }
        if (!name || name->empty()) {
            notes.push_back("the viewpoint " + button->name + " has no name; it was left out");
            continue;
        }
        NamedCamera camera{*name, {}};
        std::string problem;
        const Element* inner = configuration->child("PVCameraConfiguration");
        if (!inner) {
            problem = "it holds no camera configuration";
        } else if (!s_camera(*inner, camera.camera, problem)) {
            // said below
        } else {
            read.push_back(std::move(camera));
            continue;
        }
        notes.push_back("the viewpoint " + called + " was left out: " + problem);
    }
    cameras = std::move(read);
    return true;
}

ParaViewFileKind ParaViewFileKindOf(const std::string& path, const std::string& type) {
    std::string t = type.empty() ? std::filesystem::path(path).extension().string() : "." + type;
    std::transform(t.begin(), t.end(), t.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (t == ".pvcc") return ParaViewFileKind::CameraConfiguration;
    if (t == ".pvcvbc") return ParaViewFileKind::CustomViewpoints;
    return ParaViewFileKind::None;
}

bool ReadParaViewViews(const std::string& path, ParaViewFileKind kind,
                       std::vector<NamedRecord>& views, std::vector<std::string>& notes,
                       std::string& why) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        why = "it cannot be opened";
        return false;
    }
    std::string bytes(size_t(kMaxViewFileBytes) + 1, '\0');
    in.read(bytes.data(), std::streamsize(bytes.size()));
    bytes.resize(size_t(in.gcount()));
    if (bytes.size() > kMaxViewFileBytes) {
        why = "it is larger than a camera file is";
        return false;
    }
    std::vector<NamedCamera> cameras;
    if (kind == ParaViewFileKind::CameraConfiguration) {
        cameras.push_back({std::filesystem::path(path).stem().string(), {}});
        if (!ParsePvcc(bytes, cameras.back().camera, why)) return false;
    } else if (!ParsePvcvbc(bytes, cameras, notes, why)) {
        return false;
    }
    views.clear();
    for (const NamedCamera& camera : cameras)
        views.push_back({camera.name, ViewOfParaViewCamera(camera.camera)});
    return true;
}

bool WriteParaViewViews(const std::string& path, ParaViewFileKind kind,
                        const std::vector<NamedRecord>& views, const FitSphere& fit,
                        std::vector<std::string>& directionOnly, std::string& why) {
    if (kind == ParaViewFileKind::CameraConfiguration && views.size() != 1) {
        why = "a camera configuration holds exactly one view";
        return false;
    }
    std::vector<NamedCamera> cameras;
    for (const NamedRecord& view : views) {
        bool only = false;
        cameras.push_back({view.name, ParaViewCameraOf(view.info, fit, only)});
        if (only) directionOnly.push_back(view.name);
    }
    std::string text;
    if (kind == ParaViewFileKind::CameraConfiguration)
        text = PvccText(cameras.front().camera);
    else if (!PvcvbcText(cameras, text, why))
        return false;
    return zul::registry::writeFileReplacing(path, text, why);
}

HRESULT StoreViewsReplacing(IViewManager2* store, const std::vector<NamedRecord>& views,
                            std::string& failed) {
    zul::registry::Transaction tx;
    for (const NamedRecord& view : views) {
        FullViewInfo stored;
        const bool exists = store->GetViewInfo(view.name.c_str(), &stored) == S_OK;
        const HRESULT hr = exists ? store->EditViewInfo(view.name.c_str(), view.info)
                                  : store->CreateViewInfo(view.name.c_str(), view.info);
        if (hr != S_OK) {
            failed = view.name;
            return hr == S_FALSE ? E_FAIL : hr; // the transaction is rolled back
        }
    }
    if (tx.commit() != ERROR_SUCCESS) {
        failed.clear();
        return HRESULT_FROM_WIN32(ERROR_CANTWRITE);
    }
    return S_OK;
}

} // namespace krav::format
