// krviews: a headless host of the module. Like any host it finds the modules
// registered in the late-loadable category (zulreg regsvr registers them),
// creates the view module's manager through the registry, gives it a site,
// starts it and attaches its in-memory viewer, and then drives the module from
// the command line: through IAdvancedViewsModuleMgr where that interface has
// the operation, through the view store the module created for the rest.
// KRAV_MODULE names a library to take the module's classes from instead, for
// developers. `krviews selftest` runs every registered unit-test source.
//
// Exit status: 0 done; 1 nothing was done (the view exists already, or there
// is no such view); 2 bad usage; 3 a failure status from the store, the
// registry or a self-test check.

#include <CLI/CLI.hpp>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>

#include "CommandLine.h"
#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/IViewStoreEdits.h"
#include "KRAdvancedViews/Identifiers.h"
#include "KRAdvancedViews/ResourceIds.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/formats/QjvFile.h"
#include "KRAdvancedViews/formats/RegExport.h"
#include "Krviews.h"
#include "ViewModule.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/Transaction.h"
#include "zul/registry/registry.h"
#include "zul/runtime/Activation.h"
#include "zul/runtime/HeadlessHost.h"
#include "zul/runtime/Library.h"
#include "zul/scene/ModelCheck.h"
#include "zul/scene/Scene.h"

namespace {

using namespace krviews;

// The store keeps such a view as it is given; a camera cannot look along
// its own up direction, so the viewer shows it with another up.
void warnIfUpAlongView(const FullViewInfo& info) {
    if (zul::scene::upParallelToView(info.pUpVector, info.pViewVector))
        std::cerr << "krviews: warning: the up vector is parallel to the view vector; a viewer "
                     "shows this view with "
                     "another up direction\n";
}

// A name the .reg export cannot carry is still stored; say so, since a
// .reg file would bring it back damaged.
void warnIfNameCannotTravel(const std::string& name) {
    std::string why;
    if (!krav::format::TravelsInRegExport(name, why))
        std::cerr << "krviews: warning: the view name cannot travel in a .reg file (" << why
                  << "); .qjv files keep it whole\n";
}

struct Listed {
    int index;
    std::string name;
    bool isDefault;
};

// The stored views in index order, read through the store.
HRESULT listViews(IViewManager2* store, std::vector<Listed>& out) {
    out.clear();
    LSTATUS st = ERROR_SUCCESS;
    for (const krav::StoredView& v : krav::ListStoredViews(store, &st))
        out.push_back(
            {v.info.iViewIndex, v.name, (v.info.iChangeBits & ViewChangeDefaultView) != 0});
    return st == ERROR_SUCCESS || st == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(st);
}

// The module's message `id` with `path` in place of its "%s".
std::string moduleMessage(zul::runtime::ZulGetModuleResourceFn resource, DWORD id,
                          const std::string& path) {
    const void* data = nullptr;
    DWORD size = 0;
    if (!resource || resource(krav::ids::kResourceString, id, &data, &size) != S_OK)
        return "message " + std::to_string(id);
    std::string text(static_cast<const char*>(data), size);
    if (const size_t at = text.find("%s"); at != std::string::npos) text.replace(at, 2, path);
    return text;
}

void printVector(const char* label, const float v[3]) {
    std::printf("%s:%g %g %g\n", label, v[0], v[1], v[2]);
}

// The module started on a headless host with its viewer attached, and what
// the commands reach it through. Stopped when it goes.
struct Session {
    zul::com::ComPtr<zul::runtime::CHeadlessHost> host;
    zul::com::ComPtr<IZulModule> module;
    zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr;
    zul::com::ComPtr<IObjectWithSite> site;
    zul::com::ComPtr<IViewManager2> store;
    zul::runtime::ZulGetModuleResourceFn resource = nullptr;
    bool started = false, attached = false;

    ~Session() {
        if (attached) module->DetachViewer(zul::runtime::CHeadlessHost::kViewerId);
        if (started) module->Stop();
        if (site) site->SetSite(nullptr);
    }
};

// Finds the view module (registered, or $KRAV_MODULE), starts it on a
// headless host and attaches the viewer; kDone, or the exit status after
// saying why not.
int startSession(zul::runtime::Activator& activator, bool overridden, Session& s) {
    {
        IHostModuleSite* site = nullptr;
        zul::com::createInstance<zul::runtime::CHeadlessHost>(
            nullptr, zul::com::iidOf<IHostModuleSite>(), reinterpret_cast<void**>(&site));
        s.host.Attach(static_cast<zul::runtime::CHeadlessHost*>(site));
    }
    if (!s.host) return failure("cannot make the host", E_OUTOFMEMORY);
    // The host makes module objects through the activator, as it makes the module.
    s.host->createObject = [&activator](REFCLSID clsid, IUnknown** pp) -> HRESULT {
        return activator.createInstance(clsid, nullptr, IID_IUnknown, reinterpret_cast<void**>(pp));
    };
    // The late-loadable module that is the view module; others are not ours to start.
    zul::runtime::ViewModule loaded;
    std::string why;
    if (FAILED(zul::runtime::createViewModule(activator, overridden, loaded, why))) {
        std::cerr << "krviews: " << why << "\n";
        return kFailure;
    }
    s.resource = loaded.resource;
    zul::com::ComPtr<IObjectWithSite> site;
    if (FAILED(loaded.object.As(s.module)) || FAILED(loaded.object.As(s.mgr)) ||
        FAILED(loaded.object.As(site)))
        return failure("the module manager lacks an interface", E_NOINTERFACE);
    s.site = site;
    s.site->SetSite(static_cast<IHostModuleSite*>(s.host.Get()));
    // Once the site is set the module is stopped and detached on every way
    // out, whatever failed (a failed start keeps what it got until Stop).
    s.started = s.attached = true;
    HRESULT hr = s.module->Start();
    if (FAILED(hr)) return failure("cannot start the module", hr);
    if (FAILED(hr = s.module->AttachViewer(zul::runtime::CHeadlessHost::kViewerId)))
        return failure("cannot attach the viewer", hr);
    s.store = s.host->firstObject<IViewManager2>();
    if (!s.store) return failure("the module made no view store", E_FAIL);
    return kDone;
}

int cmdList(Session& s, Args&) {
    std::vector<Listed> views;
    const HRESULT hr = listViews(s.store.Get(), views);
    if (FAILED(hr)) return failure("cannot list the views", hr);
    for (const Listed& v : views)
        std::printf("%d\t%s%s\n", v.index, v.name.c_str(), v.isDefault ? "\tdefault" : "");
    return kDone;
}

int cmdShow(Session& s, Args& a) {
    FullViewInfo info;
    const HRESULT hr = s.store->GetViewInfo(a.name.c_str(), &info);
    if (hr == S_FALSE) return nothing("there is no view '" + a.name + "'");
    if (hr != S_OK) return failure("cannot read '" + a.name + "'", hr);
    std::printf("Name:%s\n", a.name.c_str());
    printVector("Up", info.pUpVector);
    printVector("View", info.pViewVector);
    std::printf("Type:%d\nNum:%d\n", static_cast<int>(info.cameraType), info.iViewIndex);
    printVector("From", info.pFromVector);
    printVector("At", info.pAtVector);
    std::printf("Fov:%g\nHasAtAndFrom:%d\nChange:%d\n", info.viewAngle, info.bHasFromAndAt,
                info.iChangeBits);
    return kDone;
}

int cmdAdd(Session& s, Args& a) {
    FullViewInfo info;
    info.bHasFromAndAt = a.addOpts.from || a.addOpts.at ? 1 : 0;
    if (!a.addOpts.apply(info)) return kUsage;
    const HRESULT hr = s.store->CreateViewInfo(a.name.c_str(), info);
    if (hr == S_FALSE) return nothing("a view named '" + a.name + "' exists already");
    if (hr != S_OK) return failure("cannot add '" + a.name + "'", hr);
    warnIfUpAlongView(info);
    warnIfNameCannotTravel(a.name);
    return kDone;
}

int cmdEdit(Session& s, Args& a) {
    FullViewInfo info;
    HRESULT hr = s.store->GetViewInfo(a.name.c_str(), &info);
    if (hr == S_FALSE) return nothing("there is no view '" + a.name + "'");
    if (hr != S_OK) return failure("cannot read '" + a.name + "'", hr);
    if (!a.editOpts.apply(info)) return kUsage;
    if (a.editOpts.from || a.editOpts.at) info.bHasFromAndAt = 1;
    hr = s.store->EditViewInfo(a.name.c_str(), info);
    if (hr != S_OK) return failure("cannot edit '" + a.name + "'", hr);
    warnIfUpAlongView(info);
    return kDone;
}

int cmdRename(Session& s, Args& a) {
    // The check and the rename are one registry transaction: another program
    // cannot take the new name between them.
    zul::registry::Transaction tx;
    FullViewInfo info;
    if (s.store->GetViewInfo(a.newName.c_str(), &info) == S_OK)
        return nothing("a view named '" + a.newName + "' exists already");
    const HRESULT hr = s.mgr->RenameView(a.name.c_str(), a.newName.c_str());
    if (hr == S_FALSE) return nothing("there is no view '" + a.name + "'");
    if (hr != S_OK) return failure("cannot rename '" + a.name + "'", hr);
    if (tx.commit() != ERROR_SUCCESS)
        return failure("cannot rename '" + a.name + "'", HRESULT_FROM_WIN32(ERROR_CANTWRITE));
    warnIfNameCannotTravel(a.newName);
    return kDone;
}

// Deletes every view named and closes the gap behind them, as the Standard
// Views dialog's delete of several rows does: one change of the store.
int cmdDelete(Session& s, Args& a) {
    zul::com::ComPtr<IViewStoreEdits> edits;
    if (FAILED(s.store.As(edits)))
        return failure("the view store cannot delete views together", E_NOINTERFACE);
    std::vector<std::string> missing;
    std::vector<const char*> names;
    for (const std::string& name : a.names) {
        FullViewInfo info;
        if (s.store->GetViewInfo(name.c_str(), &info) == S_OK)
            names.push_back(name.c_str());
        else
            missing.push_back(name);
    }
    if (!names.empty()) {
        const HRESULT hr = edits->DestroyViews(names.data(), static_cast<int32_t>(names.size()));
        if (FAILED(hr)) {
            std::cerr << "krviews: nothing was deleted\n";
            return failure("cannot delete the views", hr);
        }
    }
    for (const std::string& name : missing)
        std::cerr << "krviews: there is no view '" << name << "'\n";
    return missing.empty() ? kDone : kNothing;
}

// Moves a view one place up or down the list, past its neighbour, as the
// Standard Views dialog's buttons do: one change of the store.
int cmdMove(Session& s, Args& a) {
    zul::com::ComPtr<IViewStoreEdits> edits;
    if (FAILED(s.store.As(edits)))
        return failure("the view store cannot move views", E_NOINTERFACE);
    const int direction = a.direction == "up" ? MoveViewUp : MoveViewDown;
    const HRESULT hr = edits->MoveView(a.name.c_str(), direction);
    if (hr == S_OK) return kDone;
    FullViewInfo info;
    if (hr == S_FALSE && s.store->GetViewInfo(a.name.c_str(), &info) != S_OK)
        return nothing("there is no view '" + a.name + "'");
    if (hr == S_FALSE)
        return nothing("'" + a.name + "' is the " + (direction == MoveViewUp ? "first" : "last") +
                       " view already");
    if (hr == E_UNEXPECTED)
        return nothing(std::string("a stored view is named '") + kPlaceholderViewName +
                       "', which moving needs for a moment; rename it first");
    return failure("cannot move '" + a.name + "'", hr);
}

// save and load.
int cmdFile(Session& s, Args& a) {
    if (const auto kind = krav::format::ParaViewFileKindOf(a.file, a.fileType);
        kind != krav::format::ParaViewFileKind::None)
        return a.command == "save" ? saveParaViewViews(s.store.Get(), kind, a.saveNames, a.file)
                                   : loadParaViewViews(s.store.Get(), kind, a.file);
    FileTypeEnum type = TextFile;
    if (!krav::format::ModuleFileTypeOf(a.file, a.fileType, type)) {
        std::cerr << "krviews: " << moduleMessage(s.resource, 109, a.file) << "\n";
        return kUsage;
    }
    std::vector<char> path(a.file.begin(), a.file.end());
    path.push_back('\0');
    const unsigned shown = s.host->messagesShown;
    if (a.command == "save" && !a.saveNames.empty()) {
        if (type != TextFile) {
            std::cerr << "krviews: --name saves to a .qjv, .pvcc or .pvcvbc file only\n";
            return kUsage;
        }
        return saveNamedViews(s.store.Get(), a.saveNames, a.file);
    }
    if (a.command == "save") {
        const HRESULT hr = s.mgr->SaveViews(path.data(), type);
        if (hr == S_FALSE) return nothing("the store holds no views; nothing was saved");
        if (hr != S_OK && s.host->messagesShown != shown) return kFailure; // the store said why
        if (hr != S_OK) return failure("cannot save to '" + a.file + "'", hr);
        if (type == RegistryFile) {
            std::vector<Listed> views;
            listViews(s.store.Get(), views);
            for (const Listed& v : views)
                if (std::string why; !krav::format::TravelsInRegExport(v.name, why))
                    std::cerr << "krviews: warning: view '" << v.name
                              << "' is not written faithfully to the .reg file (" << why << ")\n";
        }
        return kDone;
    }
    const std::vector<krav::StoredView> before = krav::ListStoredViews(s.store.Get());
    const HRESULT hr = s.mgr->LoadViews(path.data(), type);
    if (FAILED(hr) && s.host->messagesShown != shown) return kFailure; // the store said why
    if (s.host->messagesShown != shown) {
        // The store said what it could not store; when that was all of it
        // (a read-only hive), the load failed.
        const std::vector<krav::StoredView> after = krav::ListStoredViews(s.store.Get());
        const bool same = std::equal(before.begin(), before.end(), after.begin(), after.end(),
                                     [](const auto& a, const auto& b) {
                                         return a.name == b.name &&
                                                std::memcmp(&a.info, &b.info, sizeof a.info) == 0;
                                     });
        if (same) {
            std::cerr << "krviews: nothing was loaded from '" << a.file << "'\n";
            return kFailure;
        }
    }
    if (FAILED(hr)) {
        const bool foreign = type == RegistryFile && hr == E_FAIL;
        std::cerr << "krviews: " << moduleMessage(s.resource, foreign ? 104 : 109, a.file) << "\n";
        return kFailure;
    }
    return kDone;
}

int cmdDefault(Session& s, Args& a) {
    if (a.clearDefault && a.defaultNamed) {
        std::cerr << "krviews: default takes a NAME or --clear, not both\n";
        return kUsage;
    }
    HRESULT hr = S_OK;
    if (a.clearDefault) {
        hr = s.mgr->SetDefaultView(nullptr);
        if (hr != S_OK) return failure("cannot clear the default view", hr);
    } else if (a.defaultNamed) {
        FullViewInfo info;
        hr = s.store->GetViewInfo(a.name.c_str(), &info);
        if (hr == S_FALSE) return nothing("there is no view '" + a.name + "'");
        if (hr != S_OK) return failure("cannot read '" + a.name + "'", hr);
        hr = s.mgr->SetDefaultView(a.name.c_str());
        if (hr != S_OK) return failure("cannot mark '" + a.name + "' as the default view", hr);
    } else {
        ULONG len = 0;
        hr = s.mgr->GetDefaultView(&len, nullptr);
        if (hr == E_FAIL) return kNothing; // no default view
        std::vector<char> buf(len ? len : 1);
        if (hr == E_OUTOFMEMORY) hr = s.mgr->GetDefaultView(&len, buf.data());
        if (hr != S_OK) return failure("cannot read the default view", hr);
        std::printf("%s\n", buf.data());
    }
    return kDone;
}

// render and sheet.
int cmdRender(Session& s, Args& a) {
    if (a.sample == !a.model.empty()) {
        std::cerr << "krviews: " << a.command << " takes a MODEL file or --sample (one of them)\n";
        return kUsage;
    }
    int width = 0, height = 0;
    char x = 0;
    if (std::sscanf(a.size.c_str(), "%d%c%d", &width, &x, &height) != 3 || (x != 'x' && x != 'X')) {
        std::cerr << "krviews: --size is WIDTHxHEIGHT, e.g. 640x480\n";
        return kUsage;
    }
    if (a.command == "sheet") {
        std::vector<Listed> views;
        if (const HRESULT hr = listViews(s.store.Get(), views); FAILED(hr))
            return failure("cannot list the views", hr);
        a.viewNames.clear();
        for (const Listed& v : views)
            a.viewNames.push_back(v.name);
        if (a.viewNames.empty()) return nothing("the store holds no views; nothing was rendered");
    }
    return renderViews(s.host.Get(), s.store.Get(), a.model, *a.read, a.viewNames, a.modelView,
                       width, height, a.output);
}

int cmdModelViews(Session&, Args& a) {
    return listModelViews(*a.read, a.model);
}

int cmdNames(Session& s, Args&) {
    ULONG len = 0;
    HRESULT hr = s.mgr->GetViewNamesExt(&len, nullptr);
    std::vector<char> buf(len ? len : 1);
    if (hr == E_OUTOFMEMORY) hr = s.mgr->GetViewNamesExt(&len, buf.data());
    if (hr != S_OK) return failure("cannot list the view names", hr);
    std::printf("%s\n", buf.data());
    return kDone;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"krviews: the view store from the command line"};
    app.footer("Models render and sheet read: " + zul::scene::modelFormatList() + ".");
    Args a;
    CLI::Option* defaultName = nullptr;
    describeCommands(app, a, defaultName);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return e.get_exit_code() == 0 ? code : kUsage;
    }
    a.command = app.get_subcommands().front()->get_name();
    a.defaultNamed = defaultName->count() > 0;
    if (!a.hive.empty()) ::setenv("ZUL_USER_HIVE", a.hive.c_str(), 1);

    // A hive that cannot be read is reported before anything is tried.
    {
        HKEY probe = nullptr;
        const LSTATUS st = RegOpenKeyExA(HKEY_CURRENT_USER, "Software", 0, KEY_READ, &probe);
        if (st == ERROR_SUCCESS)
            RegCloseKey(probe);
        else if (st != ERROR_FILE_NOT_FOUND)
            return failure("cannot read the user registry", HRESULT_FROM_WIN32(st));
    }

    zul::runtime::Activator& activator = zul::runtime::Activator::instance();
    bool overridden = false;
    std::string why;
    if (!zul::runtime::applyModuleOverride(activator, overridden, why)) {
        std::cerr << "krviews: " << why << "\n";
        return kFailure;
    }
    if (a.command == "selftest") {
        std::vector<CLSID> sources;
        if (!zul::runtime::classesOf(activator, overridden, CATID_KRUnitTestSources,
                                     CLSID_AdvancedViewsTests, sources, why)) {
            std::cerr << "krviews: " << why << "\n";
            return kFailure;
        }
        return runSelfTests(activator, sources);
    }
    static const std::map<std::string, int (*)(Session&, Args&)> commands = {
        {"list", cmdList},     {"show", cmdShow},
        {"add", cmdAdd},       {"edit", cmdEdit},
        {"rename", cmdRename}, {"delete", cmdDelete},
        {"move", cmdMove},     {"save", cmdFile},
        {"load", cmdFile},     {"default", cmdDefault},
        {"render", cmdRender}, {"sheet", cmdRender},
        {"names", cmdNames},   {"model-views", cmdModelViews},
    };
    // Declared before the session: a read still under way ends before the
    // module stops.
    EarlyRead read;
    a.read = &read;
    if ((a.command == "render" || a.command == "sheet" || a.command == "model-views") &&
        !a.model.empty() && !a.sample)
        read.start(a.model);
    Session session;
    if (const int started = startSession(activator, overridden, session); started != kDone)
        return started;
    return commands.at(a.command)(session, a);
}
