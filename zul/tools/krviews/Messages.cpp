#include <cstdint>
#include <iostream>

#include "KRAdvancedViews/ViewTypes.h"
#include "Krviews.h"
#include "zul/registry/registry.h"
#include "zul/runtime/Library.h"

namespace krviews {

int failure(const std::string& what, HRESULT hr) {
    std::cerr << "krviews: " << what << ": " << zul::runtime::describeHresult(hr);
    if ((static_cast<uint32_t>(hr) & 0xFFFF0000u) == 0x80070000u && hr != E_INVALIDARG &&
        hr != E_OUTOFMEMORY && hr != E_ACCESSDENIED)
        std::cerr << " " << zul::registry::describeStatus(static_cast<LSTATUS>(hr & 0xFFFF));
    const std::string detail = zul::registry::lastErrorDetail();
    if (!detail.empty()) std::cerr << " (" << detail << ")";
    if (hr == E_UNEXPECTED)
        std::cerr << " (the store holds " << kMaxViews << " views, the most it can)";
    if (hr == E_INVALIDARG)
        std::cerr << " (a view needs a non-empty name and a camera type of ortho or persp)";
    std::cerr << "\n";
    return kFailure;
}

int nothing(const std::string& why) {
    std::cerr << "krviews: nothing was done: " << why << "\n";
    return kNothing;
}

} // namespace krviews
