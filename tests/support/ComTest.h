// Creating test objects held by their class.
#pragma once

#include <gtest/gtest.h>

#include "zul/com/ComPtr.h"
#include "zul/com/Object.h"

namespace zul::test {

// A new T, created through its interface I and held by its class.
template <class T, class I> zul::com::ComPtr<T> make() {
    I* raw = nullptr;
    EXPECT_EQ(
        zul::com::createInstance<T>(nullptr, zul::com::iidOf<I>(), reinterpret_cast<void**>(&raw)),
        S_OK);
    zul::com::ComPtr<T> p;
    p.Attach(static_cast<T*>(raw));
    return p;
}

} // namespace zul::test
