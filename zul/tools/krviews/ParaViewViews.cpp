// Views to and from ParaView's camera files: one view to a camera
// configuration (.pvcc), several to a custom viewpoints file (.pvcvbc),
// and back into the store under their names.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/formats/ParaViewFiles.h"
#include "Krviews.h"
#include "zul/registry/SafeFile.h"
#include "zul/registry/Transaction.h"

namespace krviews {
namespace {

std::string s_extension(const std::string& path, const std::string& type) {
    std::string t = type.empty() ? std::filesystem::path(path).extension().string() : "." + type;
    std::transform(t.begin(), t.end(), t.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return t;
}

// A view holding a direction only has no place to stand: it is written
// looking at the origin, which ParaView's Reset Camera then fits.
void s_sayDirectionOnly(const std::vector<std::string>& names) {
    if (names.empty()) return;
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "'" : ", '") + name + "'";
    std::cerr << "krviews: note: " << list << (names.size() == 1 ? " holds" : " hold")
              << " a direction only, written looking at the origin from one unit away "
                 "(ParaView's Reset Camera fits such a view to the data)\n";
}

} // namespace

ParaViewKind paraViewKindOf(const std::string& path, const std::string& type) {
    const std::string t = s_extension(path, type);
    if (t == ".pvcc") return ParaViewKind::CameraConfiguration;
    if (t == ".pvcvbc") return ParaViewKind::CustomViewpoints;
    return ParaViewKind::None;
}

int saveParaViewViews(IViewManager2* store, ParaViewKind kind,
                      const std::vector<std::string>& names, const std::string& file) {
    if (kind == ParaViewKind::CameraConfiguration && names.size() != 1) {
        std::cerr << "krviews: a .pvcc file holds one view: name it with --name NAME\n";
        return kUsage;
    }
    std::vector<krav::format::NamedRecord> records;
    if (names.empty()) {
        LSTATUS st = ERROR_SUCCESS;
        for (const krav::StoredView& v : krav::ListStoredViews(store, &st))
            records.push_back({v.name, v.info});
        if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND)
            return failure("cannot read the stored views", HRESULT_FROM_WIN32(st));
        if (records.empty()) return nothing("the store holds no views; nothing was saved");
    }
    for (const std::string& name : names) {
        krav::format::NamedRecord record{name, {}};
        const HRESULT found = store->GetViewInfo(name.c_str(), &record.info);
        if (found == S_FALSE) return nothing("there is no view '" + name + "'; nothing was saved");
        if (found != S_OK) return failure("cannot read '" + name + "'", found);
        records.push_back(std::move(record));
    }
    std::vector<krav::format::NamedCamera> cameras;
    std::vector<std::string> directionOnly;
    for (const krav::format::NamedRecord& record : records) {
        bool only = false;
        cameras.push_back({record.name, krav::format::ParaViewCameraOf(record.info, {}, only)});
        if (only) directionOnly.push_back(record.name);
    }
    std::string text, why;
    if (kind == ParaViewKind::CameraConfiguration) {
        text = krav::format::PvccText(cameras.front().camera);
    } else if (!krav::format::PvcvbcText(cameras, text, why)) {
        std::cerr << "krviews: cannot save to '" << file << "': " << why << "; nothing was saved\n";
        return kFailure;
    }
    if (!zul::registry::writeFileReplacing(file, text, why)) {
        std::cerr << "krviews: cannot save to '" << file << "': " << why << "\n";
        return kFailure;
    }
    s_sayDirectionOnly(directionOnly);
    if (cameras.size() > krav::format::kParaViewMaxViewpoints)
        std::cerr << "krviews: note: ParaView shows the first "
                  << krav::format::kParaViewMaxViewpoints << " of the " << cameras.size()
                  << " viewpoints in " << file << "\n";
    return kDone;
}

int loadParaViewViews(IViewManager2* store, ParaViewKind kind, const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::cerr << "krviews: cannot open '" << file << "'\n";
        return kFailure;
    }
    std::string bytes;
    bytes.resize(size_t(kMaxViewFileBytes) + 1);
    in.read(bytes.data(), std::streamsize(bytes.size()));
    bytes.resize(size_t(in.gcount()));
    std::vector<krav::format::NamedCamera> cameras;
    std::vector<std::string> notes;
    std::string why;
    bool ok = bytes.size() <= kMaxViewFileBytes;
    if (!ok) why = "it is larger than a camera file is";
    if (ok && kind == ParaViewKind::CameraConfiguration) {
        cameras.push_back({std::filesystem::path(file).stem().string(), {}});
        ok = krav::format::ParsePvcc(bytes, cameras.back().camera, why);
    } else if (ok) {
        ok = krav::format::ParsePvcvbc(bytes, cameras, notes, why);
    }
    if (!ok) {
        std::cerr << "krviews: cannot load '" << file << "': " << why << "; nothing was loaded\n";
        return kFailure;
    }
    for (const std::string& note : notes)
        std::cerr << "krviews: " << file << ": " << note << "\n";
    if (cameras.empty()) return nothing(file + " holds no camera; nothing was loaded");
    // All of the file or none of it.
    zul::registry::Transaction tx;
    for (const krav::format::NamedCamera& camera : cameras) {
        const FullViewInfo info = krav::format::ViewOfParaViewCamera(camera.camera);
        FullViewInfo stored;
        const bool exists = store->GetViewInfo(camera.name.c_str(), &stored) == S_OK;
        const HRESULT hr = exists ? store->EditViewInfo(camera.name.c_str(), info)
                                  : store->CreateViewInfo(camera.name.c_str(), info);
        if (hr != S_OK)
            return failure("cannot load '" + camera.name + "' from '" + file +
                               "'; nothing was loaded",
                           hr == S_FALSE ? E_FAIL : hr);
    }
    if (tx.commit() != ERROR_SUCCESS)
        return failure("cannot load '" + file + "'", HRESULT_FROM_WIN32(ERROR_CANTWRITE));
    return kDone;
}

} // namespace krviews
