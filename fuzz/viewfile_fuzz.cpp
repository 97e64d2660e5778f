// Fuzzes the view file readers through LoadViewsExt: the first byte picks the
// file type (even: .qjv, read as UTF-16 or 8-bit by its first bytes; odd:
// .reg), the rest is the file. Whatever the file holds, the store stays
// within its limit, without gaps, and agrees with the registry.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
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
    if (size == 0) return 0;
    const FileTypeEnum type = (data[0] & 1) ? RegistryFile : TextFile;
    const std::string path = (rig.dir / (type == RegistryFile ? "in.reg" : "in.qjv")).string();
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data + 1), static_cast<std::streamsize>(size - 1));
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
