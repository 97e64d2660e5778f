// krviews render and sheet: the stored views applied by the module to a
// model (read while the module starts) and drawn offscreen.
#include <cstdio>
#include <iostream>

#include "Krviews.h"
#include "zul/scene/Scene.h"

namespace krviews {

// Shows each view on the viewer as the module applies it, frames the model
// and renders it; one picture, or a labelled contact sheet.
int renderViews(zul::runtime::CHeadlessHost* host, IViewManager2* store, const std::string& model,
                EarlyRead& read, const std::vector<std::string>& names, int modelView, int width,
                int height, const std::string& output) {
    std::string why;
    if (!zul::scene::haveDisplay(why)) {
        std::cerr << "krviews: cannot render: " << why << "\n";
        return kFailure;
    }
    zul::scene::Scene scene;
    std::vector<zul::scene::ModelCamera> cameras; // the file's own
    if (model.empty())
        scene.addSampleModel();
    else {
        // The graphics are made ready while the helper reads the model.
        std::string unused;
        zul::scene::prepareSheet(scene, width, height, unused);
        if (!read.wait()) {
            std::cerr << "krviews: " << read.why << "\n";
            return kFailure;
        }
        // A picture of less than the file declares says so.
        for (const std::string& note : read.model.notes)
            std::cerr << "krviews: " << model << ": " << note << "\n";
        cameras = read.model.cameras;
        scene.addModel(std::move(read.model));
    }
    std::vector<zul::scene::Shot> shots;
    // Before a view is applied, the live camera is framed (the module keeps
    // its distance, and the clipping planes need it); after, the picture
    // is taken of it, framed or as it stands.
    auto frameLive = [&] {
        zul::scene::Camera camera = zul::scene::cameraOf(*host->viewer.Get());
        zul::scene::fitAll(scene, camera);
        zul::scene::setCamera(*host->viewer.Get(), camera);
    };
    auto takeShot = [&](const std::string& name, bool framed) {
        zul::scene::Camera camera = zul::scene::cameraOf(*host->viewer.Get());
        if (framed) zul::scene::fitAll(scene, camera);
        shots.push_back({name, camera});
    };
    const std::vector<krav::format::NamedRecord> beside = viewsBeside(model);
    const std::vector<ModelView> views = modelViews(beside, cameras);
    // Without a view named: the first view saved beside the model.
    if (modelView == 0 && names.empty() && !beside.empty()) modelView = 1;
    if (modelView > 0) {
        if (size_t(modelView) > views.size())
            return nothing(model + " comes with " + std::to_string(views.size()) +
                           " views; there is no view " + std::to_string(modelView));
        const ModelView& chosen = views[size_t(modelView) - 1];
        const auto navigator = host->firstObject<IViewNavigator>();
        if (!navigator) return failure("cannot apply a model view", E_NOINTERFACE);
        frameLive();
        FullViewInfo record = chosen.record ? chosen.record->info : FullViewInfo();
        const HRESULT hr = chosen.record
                               ? navigator->SetViewInfo(&record)
                               : applyModelCamera(navigator.Get(), host, scene, *chosen.camera);
        if (hr == S_FALSE)
            return nothing("the view '" + chosen.name + "' looks along the locked up axis");
        if (FAILED(hr)) return failure("cannot apply '" + chosen.name + "'", hr);
        // A saved view is framed as a stored one is; a camera stays where
        // the file places it.
        takeShot(chosen.name, chosen.record != nullptr);
    } else if (names.empty()) {
        // What the viewer shows on opening the model: the default view,
        // else the isometric view, framed.
        frameLive();
        HRESULT hr = store->ApplyDefaultView();
        if (hr == S_FALSE)
            if (const auto navigator = host->firstObject<IViewNavigator>())
                hr = navigator->AlignToAxis(PositiveIsometric);
        if (FAILED(hr)) return failure("cannot show the opening view", hr);
        takeShot("", true);
    }
    for (const std::string& name : names) {
        FullViewInfo info;
        const HRESULT found = store->GetViewInfo(name.c_str(), &info);
        if (found == S_FALSE) return nothing("there is no view '" + name + "'");
        if (found != S_OK) return failure("cannot read '" + name + "'", found);
        frameLive();
        const HRESULT hr = store->ShowView(name.c_str());
        if (FAILED(hr)) return failure("cannot show '" + name + "'", hr);
        takeShot(name, true);
    }
    if (!zul::scene::renderSheet(scene, shots, width, height, shots.size() > 1, output, why)) {
        std::cerr << "krviews: " << why << "\n";
        return kFailure;
    }
    std::printf("%s\n", output.c_str());
    return kDone;
}

} // namespace krviews
