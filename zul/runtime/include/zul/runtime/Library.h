// Loading a component library and finding its entry points.
#pragma once

#include <string>

#include "zul/com/com.h"

namespace zul::runtime {

// A loaded shared library; unloaded when the object goes.
class ZUL_PLATFORM_API Library {
public:
    Library() = default;
    ~Library();
    Library(Library&& other) noexcept;
    Library& operator=(Library&& other) noexcept;
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // Loads `path`; false with error() saying why.
    bool load(const std::string& path);
    void unload();
    bool loaded() const { return handle_ != nullptr; }
    const std::string& error() const { return error_; }
    const std::string& path() const { return path_; }

    // The address of an exported symbol, or null.
    void* symbol(const char* name) const;
    template <class Fn> Fn function(const char* name) const {
        return reinterpret_cast<Fn>(symbol(name));
    }

private:
    void* handle_ = nullptr;
    std::string path_;
    std::string error_;
};

// The entry points of an in-process component server.
using DllGetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, void**);
using DllCanUnloadNowFn = HRESULT (*)();
using DllRegisterServerFn = HRESULT (*)();
using DllUnregisterServerFn = HRESULT (*)();
// A module's resource lookup (type 6: strings).
using ZulGetModuleResourceFn = HRESULT (*)(DWORD type, DWORD id, const void** data, DWORD* size);

// "0x80004005 E_FAIL (unspecified failure)" for a status.
ZUL_PLATFORM_API std::string describeHresult(HRESULT hr);

} // namespace zul::runtime
