// Fuzzes the store's loading of view files through LoadViewsExt, the input
// being the whole file: a file starting "REGEDIT" is loaded as a .reg export,
// anything else as a .qjv file (UTF-16 with a byte-order mark, else 8-bit).
// Whatever the file holds, the store stays within its limit, without gaps,
// and agrees with the registry. The formats themselves have targets of their
// own (viewformat_fuzz.cpp), much faster than a store load an input.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "ViewManager.h"
#include "zul/com/ComPtr.h"

namespace {

struct Rig {
    std::filesystem::path dir;
    zul::com::ComPtr<IViewManager2> store;
    Rig() {
        const std::filesystem::path shm("/dev/shm");
        dir = (std::filesystem::exists(shm) ? shm : std::filesystem::temp_directory_path()) /
              ("krav-viewfile-fuzz-" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir);
        ::setenv("ZUL_USER_HIVE", (dir / "hive.db").c_str(), 1);
        zul::com::createInstance<CViewManager>(nullptr, IID_IViewManager2,
                                               reinterpret_cast<void**>(store.GetAddressOf()));
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
    rig.store->LoadViewsExt(path.c_str(), type);

    const auto& slots = static_cast<CViewManager*>(rig.store.Get())->slots();
    if (slots.size() > static_cast<size_t>(kMaxViews)) std::abort();
    for (size_t i = 0; i < slots.size(); ++i) {
        if (slots[i].empty()) continue; // gaps are closed only after loads that add views
        FullViewInfo info;
        if (rig.store->GetViewInfo(slots[i].c_str(), &info) != S_OK) std::abort();
        if (info.iViewIndex != static_cast<int>(i) + 1) std::abort();
    }
    return 0;
}
