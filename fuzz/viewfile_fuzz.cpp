// Fuzzes one view file reader through LoadViewsExt, the input being the whole
// file; the build picks the reader: KRAV_VIEWFILE_QJV8 (the 8-bit .qjv
// reader: inputs with a byte-order mark are skipped), KRAV_VIEWFILE_QJV16
// (the UTF-16 reader, either byte order: only inputs with a byte-order mark)
// or KRAV_VIEWFILE_REG (the .reg export reader). Whatever the file holds, the
// store stays within its limit, without gaps, and agrees with the registry.
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
    const bool bom =
        size >= 2 && ((data[0] == 0xFF && data[1] == 0xFE) || (data[0] == 0xFE && data[1] == 0xFF));
#if defined(KRAV_VIEWFILE_QJV8)
    if (bom) return 0;
    const FileTypeEnum type = TextFile;
#elif defined(KRAV_VIEWFILE_QJV16)
    if (!bom) return 0;
    const FileTypeEnum type = TextFile;
#elif defined(KRAV_VIEWFILE_REG)
    (void)bom;
    const FileTypeEnum type = RegistryFile;
#else
#error "define the reader to fuzz"
#endif
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
