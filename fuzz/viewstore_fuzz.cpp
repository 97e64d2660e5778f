// Fuzzes the store's loading of view files through LoadViewsExt, the input
// being the whole file: a file starting "REGEDIT" is loaded as a .reg export,
// anything else as a .qjv file (UTF-16 with a byte-order mark, else 8-bit).
// Whatever the file holds, the store stays within its limit, without gaps
// (a load that adds views closes them), with at most one default view, and
// its slots agree with the view keys of the registry; whatever it tells the
// user names the file and leaves no placeholder unfilled. The formats themselves have targets of
// their own (viewformat_fuzz.cpp), much faster than a store load an input.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <set>

#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/host/IHostUIService.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/com/Object.h"

namespace {

// The store's messages: each must be whole.
class CCheckingUI : public zul::com::ObjectRoot, public IHostUIService {
public:
    ZUL_BEGIN_INTERFACE_MAP(CCheckingUI)
    ZUL_INTERFACE_ENTRY(IHostUIService)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN
    std::string file;
    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char*, UINT, int*) override {
        const std::string t = text ? text : "";
        const bool fixed = t.rfind("The maximum number of views", 0) == 0; // message 139
        if (t.empty() || (!fixed && t.find(file) == std::string::npos) ||
            t.find("%s") != std::string::npos || t.find("%d") != std::string::npos)
            std::abort();
        return S_OK;
    }
};

struct Rig {
    std::filesystem::path dir;
    zul::com::ComPtr<IViewManager2> store;
    zul::com::ComPtr<CCheckingUI> ui;
    Rig() {
        const std::filesystem::path shm("/dev/shm");
        dir = (std::filesystem::exists(shm) ? shm : std::filesystem::temp_directory_path()) /
              ("krav-viewfile-fuzz-" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir);
        ::setenv("ZUL_USER_HIVE", (dir / "hive.db").c_str(), 1);
        zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                               reinterpret_cast<void**>(store.GetAddressOf()));
        IHostUIService* raw = nullptr;
        zul::com::createInstance<CCheckingUI>(nullptr, zul::com::iidOf<IHostUIService>(),
                                              reinterpret_cast<void**>(&raw));
        ui.Attach(static_cast<CCheckingUI*>(raw));
        zul::com::ComPtr<IObjectWithSite> site;
        if (FAILED(store.As(site))) std::abort();
        site->SetSite(raw);
    }
    ~Rig() {
        store.Reset();
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Rig rig;
    const bool reg = size >= 7 && std::memcmp(data, "REGEDIT", 7) == 0;
    const FileTypeEnum type = reg ? RegistryFile : TextFile;
    const std::string path = (rig.dir / (type == RegistryFile ? "in.reg" : "in.qjv")).string();
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    rig.ui->file = path;
    const size_t before = static_cast<CViewManager*>(rig.store.Get())->slots().size();
    rig.store->LoadViewsExt(path.c_str(), type);

    const auto& slots = static_cast<CViewManager*>(rig.store.Get())->slots();
    if (slots.size() > static_cast<size_t>(kMaxViews)) std::abort();
    std::set<std::string> named;
    int defaults = 0;
    for (size_t i = 0; i < slots.size(); ++i) {
        if (slots[i].empty()) {
            // Gaps are closed by every load that adds views.
            if (slots.size() > before) std::abort();
            continue;
        }
        FullViewInfo info;
        if (rig.store->GetViewInfo(slots[i].c_str(), &info) != S_OK) std::abort();
        if (info.iViewIndex != static_cast<int>(i) + 1) std::abort();
        defaults += (info.iChangeBits & ViewChangeDefaultView) != 0;
        if (!named.insert(slots[i]).second) std::abort(); // one name, one slot
    }
    if (defaults > 1) std::abort();
    // The registry holds exactly the views of the slots.
    std::vector<krav::StoredViewKey> keys;
    const LSTATUS st = krav::ListStoredViewKeys(keys);
    if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND) std::abort();
    if (keys.size() != named.size()) std::abort();
    for (const auto& key : keys)
        if (!named.count(key.name)) std::abort();
    return 0;
}
