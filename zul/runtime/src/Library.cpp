#include "zul/runtime/Library.h"

#include <dlfcn.h>

#include <cstdio>
#include <utility>

namespace zul::runtime {

Library::~Library() {
    unload();
}

Library::Library(Library&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)), path_(std::move(other.path_)),
      error_(std::move(other.error_)) {}

Library& Library::operator=(Library&& other) noexcept {
    if (this != &other) {
        unload();
        handle_ = std::exchange(other.handle_, nullptr);
        path_ = std::move(other.path_);
        error_ = std::move(other.error_);
    }
    return *this;
}

bool Library::load(const std::string& path) {
    unload();
    path_ = path;
    // RTLD_LOCAL keeps each module's symbols to itself.
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_) {
        const char* e = dlerror();
        error_ = e ? e : ("cannot load " + path);
        return false;
    }
    error_.clear();
    return true;
}

void Library::unload() {
    if (handle_) dlclose(handle_);
    handle_ = nullptr;
}

void* Library::symbol(const char* name) const {
    return handle_ ? dlsym(handle_, name) : nullptr;
}

std::string describeHresult(HRESULT hr) {
    struct Known {
        HRESULT hr;
        const char* name;
        const char* meaning;
    };
    static const Known known[] = {
        {S_OK, "S_OK", "success"},
        {S_FALSE, "S_FALSE", "nothing was done"},
        {E_NOTIMPL, "E_NOTIMPL", "not implemented"},
        {E_NOINTERFACE, "E_NOINTERFACE", "interface not supported"},
        {E_POINTER, "E_POINTER", "a required pointer is missing"},
        {E_ABORT, "E_ABORT", "operation aborted"},
        {E_FAIL, "E_FAIL", "unspecified failure"},
        {E_UNEXPECTED, "E_UNEXPECTED", "unexpected failure"},
        {E_ACCESSDENIED, "E_ACCESSDENIED", "access denied"},
        {E_OUTOFMEMORY, "E_OUTOFMEMORY", "out of memory or buffer too small"},
        {E_INVALIDARG, "E_INVALIDARG", "an argument is not valid"},
        {CLASS_E_NOAGGREGATION, "CLASS_E_NOAGGREGATION", "the class cannot be aggregated"},
        {CLASS_E_CLASSNOTAVAILABLE, "CLASS_E_CLASSNOTAVAILABLE", "the class is not served here"},
        {REGDB_E_CLASSNOTREG, "REGDB_E_CLASSNOTREG", "the class is not registered"},
        {CO_E_CLASSSTRING, "CO_E_CLASSSTRING", "the programmatic identifier is not registered"},
        {CO_E_DLLNOTFOUND, "CO_E_DLLNOTFOUND", "the class's library cannot be loaded"},
        {CO_E_ERRORINDLL, "CO_E_ERRORINDLL", "the class's library is not a component server"},
    };
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(hr));
    for (const Known& k : known)
        if (k.hr == hr) return std::string(code) + " " + k.name + " (" + k.meaning + ")";
    return code;
}

} // namespace zul::runtime
