// The views that come with a model: the cameras its file places, listed and
// applied like stored views, through the module's navigator.
#include <cmath>
#include <cstdio>
#include <iostream>

#include "Krviews.h"
#include "zul/scene/Scene.h"

namespace krviews {

std::vector<ModelView> modelViews(const std::vector<zul::scene::ModelCamera>& cameras) {
    std::vector<ModelView> views;
    for (const zul::scene::ModelCamera& camera : cameras)
        views.push_back({"model", camera.name, &camera});
    return views;
}

int listModelViews(EarlyRead& read, const std::string& model) {
    if (!read.wait()) {
        std::cerr << "krviews: " << read.why << "\n";
        return kFailure;
    }
    const std::vector<ModelView> views = modelViews(read.model.cameras);
    if (views.empty()) return nothing(model + " comes with no views");
    for (size_t i = 0; i < views.size(); ++i)
        std::printf("%zu\t%s\t%s\n", i + 1, views[i].source, views[i].name.c_str());
    return kDone;
}

HRESULT applyModelCamera(IViewNavigator* navigator, zul::runtime::CHeadlessHost* host,
                         const zul::scene::Scene& scene, const zul::scene::ModelCamera& camera) {
    // The at-point: where the camera's line of sight passes the middle of
    // the model, or a model's size ahead when the model is behind it.
    double b[6];
    double centre[3] = {0, 0, 0}, radius = 1;
    if (scene.bounds(b)) {
        for (int i = 0; i < 3; ++i)
            centre[i] = (b[2 * i] + b[2 * i + 1]) / 2;
        radius = 0.5 * std::sqrt((b[1] - b[0]) * (b[1] - b[0]) + (b[3] - b[2]) * (b[3] - b[2]) +
                                 (b[5] - b[4]) * (b[5] - b[4]));
    }
    double ahead = 0;
    for (int i = 0; i < 3; ++i)
        ahead += (centre[i] - camera.eye[i]) * camera.direction[i];
    if (!(ahead > 1e-6 * std::max(radius, 1e-12))) ahead = std::max(radius, 1e-3);
    FullViewInfo info;
    for (int i = 0; i < 3; ++i) {
        info.pFromVector[i] = float(camera.eye[i]);
        info.pAtVector[i] = float(camera.eye[i] + camera.direction[i] * ahead);
        info.pViewVector[i] = float(camera.direction[i]);
        info.pUpVector[i] = float(camera.up[i]);
    }
    info.cameraType = camera.orthographic ? Orthographic : Perspective;
    info.viewAngle = float(camera.viewAngle);
    info.bHasFromAndAt = 1;
    info.iChangeBits = ViewChangeFromPoint | ViewChangeAtPoint | ViewChangeCameraType |
                       (camera.orthographic ? 0 : ViewChangeViewAngle);
    const HRESULT hr = navigator->SetViewInfo(&info);
    if (hr != S_OK || !camera.orthographic) return hr;
    // A stored view has no height: the model's own is applied after it.
    zul::scene::Camera live = zul::scene::cameraOf(*host->viewer.Get());
    live.viewHeight = float(2 * camera.parallelScale);
    zul::scene::setCamera(*host->viewer.Get(), live);
    return S_OK;
}

} // namespace krviews
