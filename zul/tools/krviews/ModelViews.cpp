// The views that come with a model: those saved beside it (MODEL.qjv) and
// the cameras its file places, listed and applied like stored views,
// through the module's navigator.
#include <cstdio>
#include <iostream>

#include "KRAdvancedViews/formats/QjvFile.h"
#include "Krviews.h"
#include "zul/registry/SafeFile.h"
#include "zul/scene/Scene.h"

namespace krviews {

std::vector<krav::format::NamedRecord> viewsBeside(const std::string& model) {
    std::vector<std::string> problems;
    std::vector<krav::format::NamedRecord> records = krav::format::ReadViewsBeside(model, problems);
    for (const std::string& problem : problems)
        std::cerr << "krviews: " << problem << "\n";
    return records;
}

std::vector<ModelView> modelViews(const std::vector<krav::format::NamedRecord>& beside,
                                  const std::vector<zul::scene::ModelCamera>& cameras) {
    std::vector<ModelView> views;
    for (const krav::format::NamedRecord& record : beside)
        views.push_back({"file", record.name, &record, nullptr});
    for (const zul::scene::ModelCamera& camera : cameras)
        views.push_back({"model", camera.name, nullptr, &camera});
    return views;
}

int namedRecords(IViewManager2* store, const std::vector<std::string>& names,
                 std::vector<krav::format::NamedRecord>& records) {
    for (const std::string& name : names) {
        krav::format::NamedRecord record{name, {}};
        const HRESULT found = store->GetViewInfo(name.c_str(), &record.info);
        if (found == S_FALSE) return nothing("there is no view '" + name + "'; nothing was saved");
        if (found != S_OK) return failure("cannot read '" + name + "'", found);
        records.push_back(std::move(record));
    }
    return kDone;
}

int saveNamedViews(IViewManager2* store, const std::vector<std::string>& names,
                   const std::string& file) {
    std::vector<krav::format::NamedRecord> records;
    if (const int status = namedRecords(store, names, records); status != kDone) return status;
    std::string bytes, why;
    if (!krav::format::QjvUnicodeFileBytes(records, bytes, why) ||
        !zul::registry::writeFileReplacing(file, bytes, why)) {
        std::cerr << "krviews: cannot save to '" << file << "': " << why << "\n";
        return kFailure;
    }
    return kDone;
}

int listModelViews(EarlyRead& read, const std::string& model) {
    if (!read.wait()) {
        std::cerr << "krviews: " << read.why << "\n";
        return kFailure;
    }
    const std::vector<krav::format::NamedRecord> beside = viewsBeside(model);
    const std::vector<ModelView> views = modelViews(beside, read.model.cameras);
    if (views.empty()) return nothing(model + " comes with no views");
    for (size_t i = 0; i < views.size(); ++i)
        std::printf("%zu\t%s\t%s\n", i + 1, views[i].source, views[i].name.c_str());
    return kDone;
}

HRESULT applyModelCamera(IViewNavigator* navigator, zul::runtime::CHeadlessHost* host,
                         const zul::scene::Scene& scene, const zul::scene::ModelCamera& camera) {
    FullViewInfo info = zul::scene::modelCameraView(scene, camera);
    const HRESULT hr = navigator->SetViewInfo(&info);
    if (hr != S_OK || !camera.orthographic) return hr;
    // A stored view has no height: the model's own is applied after it.
    zul::scene::Camera live = zul::scene::cameraOf(*host->viewer.Get());
    live.viewHeight = float(2 * camera.parallelScale);
    zul::scene::setCamera(*host->viewer.Get(), live);
    return S_OK;
}

} // namespace krviews
