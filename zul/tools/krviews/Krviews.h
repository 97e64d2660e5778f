// krviews's parts beyond the command line: its exit statuses and messages,
// the module's self-test run, and rendering the stored views of a model.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/formats/ParaViewFiles.h"
#include "KRAdvancedViews/formats/ViewRecord.h"
#include "zul/runtime/Activation.h"
#include "zul/runtime/HeadlessHost.h"
#include "zul/scene/ModelReader.h"

namespace zul::scene {
class Scene;
} // namespace zul::scene

namespace krviews {

// Exit statuses: done; nothing done (a name not found, an empty store); a
// wrong command line; a failure.
constexpr int kDone = 0, kNothing = 1, kUsage = 2, kFailure = 3;

// Says on stderr that `what` failed with `hr` (and the registry's detail);
// kFailure.
int failure(const std::string& what, HRESULT hr);
// Says on stderr that nothing was done, and why; kNothing.
int nothing(const std::string& why);

// Runs every unit-test source against a headless viewer, printing each
// check; kDone when every check passed.
int runSelfTests(zul::runtime::Activator& activator, const std::vector<CLSID>& sources);

// A model read on a thread of its own from the moment the command line is
// understood: the reader's helper process runs while the module starts.
class EarlyRead {
public:
    void start(const std::string& path) {
        thread_ = std::thread([this, path] { ok_ = zul::scene::readModel(path, model, why); });
    }
    // Waits for the read; false with `why` when the file was not read.
    bool wait() {
        if (thread_.joinable()) thread_.join();
        return ok_;
    }
    ~EarlyRead() { wait(); }

    zul::scene::Model model;
    std::string why;

private:
    std::thread thread_;
    bool ok_ = false;
};

// One of the views that come with a model (ModelViews.cpp): where it comes
// from ("file": saved beside the model in MODEL.qjv; "model": a camera its
// file places), its name, and the record or the camera.
struct ModelView {
    const char* source;
    std::string name;
    const krav::format::NamedRecord* record = nullptr;
    const zul::scene::ModelCamera* camera = nullptr;
};
// The views saved beside `model` (MODEL.qjv), read once; what could not be
// read of that file is said on stderr, naming it and the line, and the
// model's own views stay usable.
std::vector<krav::format::NamedRecord> viewsBeside(const std::string& model);
// The model's views in the order they are listed and numbered (from 1):
// those saved beside it, then its cameras.
std::vector<ModelView> modelViews(const std::vector<krav::format::NamedRecord>& beside,
                                  const std::vector<zul::scene::ModelCamera>& cameras);
// The records of the views `names`, in that order: kDone, else what to exit
// with (a name that is not stored: nothing is saved).
int namedRecords(IViewManager2* store, const std::vector<std::string>& names,
                 std::vector<krav::format::NamedRecord>& records);
// krviews save FILE --name NAME...: just those views, to a UTF-16 view file.
// Nothing is written when a name is not stored.
int saveNamedViews(IViewManager2* store, const std::vector<std::string>& names,
                   const std::string& file);
// krviews save FILE.pvcc --name NAME (exactly one view), or FILE.pvcvbc
// (the named views, else all of them, named by their tool tips)
// (ParaViewViews.cpp).
int saveParaViewViews(IViewManager2* store, krav::format::ParaViewFileKind kind,
                      const std::vector<std::string>& names, const std::string& file);
// krviews load FILE.pvcc (one view, named after the file's stem) or
// FILE.pvcvbc: the views are added, or replace those of the same names,
// all in one transaction.
int loadParaViewViews(IViewManager2* store, krav::format::ParaViewFileKind kind,
                      const std::string& file);
// krviews model-views: one line per view, "N<tab>SOURCE<tab>NAME".
int listModelViews(EarlyRead& read, const std::string& model);
// Applies a model camera through the navigator, as a stored view is applied
// (S_FALSE, camera untouched, when it looks along the locked up axis); an
// orthographic camera's height is then set on the viewer.
HRESULT applyModelCamera(IViewNavigator* navigator, zul::runtime::CHeadlessHost* host,
                         const zul::scene::Scene& scene, const zul::scene::ModelCamera& camera);

// Shows each view on the viewer as the module applies it, frames the model
// and renders it; one picture, or a labelled contact sheet. With
// `modelView` (from 1), that view of the model's list instead (a camera as
// its file places it); with neither, the first view saved beside the model,
// else the default view, else the isometric view.
int renderViews(zul::runtime::CHeadlessHost* host, IViewManager2* store, const std::string& model,
                EarlyRead& read, const std::vector<std::string>& names, int modelView, int width,
                int height, const std::string& output);

} // namespace krviews
