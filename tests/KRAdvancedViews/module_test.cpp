#include <gtest/gtest.h>

#include "zul/runtime/Library.h"

// The module as a host sees it: a library with four entry points and nothing else.
TEST(ModuleLibrary, ExportsTheFourEntryPointsOnly) {
    zul::runtime::Library lib;
    ASSERT_TRUE(lib.load(KRAV_MODULE_PATH)) << lib.error();
    auto getClassObject = lib.function<zul::runtime::DllGetClassObjectFn>("DllGetClassObject");
    auto canUnload = lib.function<zul::runtime::DllCanUnloadNowFn>("DllCanUnloadNow");
    ASSERT_NE(getClassObject, nullptr);
    ASSERT_NE(canUnload, nullptr);
    EXPECT_NE(lib.symbol("DllRegisterServer"), nullptr);
    EXPECT_NE(lib.symbol("DllUnregisterServer"), nullptr);
    // Internals stay hidden.
    EXPECT_EQ(lib.symbol("_ZN4krav12CanUnloadNowEv"), nullptr);
    EXPECT_EQ(lib.symbol("_ZN3zul3com17g_moduleLockCountE"), nullptr);

    EXPECT_EQ(getClassObject(IID_IUnknown, IID_IClassFactory, nullptr), E_POINTER);
    void* p = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(getClassObject(IID_IUnknown, IID_IClassFactory, &p), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(canUnload(), S_OK);

    zul::runtime::Library missing;
    EXPECT_FALSE(missing.load("/nonexistent/KRAdvancedViews.so"));
    EXPECT_NE(missing.error(), "");
    EXPECT_EQ(zul::runtime::describeHresult(E_FAIL), "0x80004005 E_FAIL (unspecified failure)");
}
