#include <gtest/gtest.h>

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "TempHive.h"
#include "zul/com/ComPtr.h"
#include "zul/runtime/Library.h"

// The module as a host sees it: a library with four entry points and nothing else.
TEST(ModuleLibrary, ExportsTheFourEntryPointsAndTheResourceLookupOnly) {
    zul::runtime::Library lib;
    ASSERT_TRUE(lib.load(KRAV_MODULE_PATH)) << lib.error();
    auto getClassObject = lib.function<zul::runtime::DllGetClassObjectFn>("DllGetClassObject");
    auto canUnload = lib.function<zul::runtime::DllCanUnloadNowFn>("DllCanUnloadNow");
    ASSERT_NE(getClassObject, nullptr);
    ASSERT_NE(canUnload, nullptr);
    EXPECT_NE(lib.symbol("DllRegisterServer"), nullptr);
    EXPECT_NE(lib.symbol("DllUnregisterServer"), nullptr);
    auto resource = lib.function<zul::runtime::ZulGetModuleResourceFn>("ZulGetModuleResource");
    ASSERT_NE(resource, nullptr);
    const void* data = nullptr;
    DWORD size = 0;
    ASSERT_EQ(resource(6, 132, &data, &size), S_OK);
    EXPECT_EQ(std::string(static_cast<const char*>(data), size), "+Isometric");
    EXPECT_EQ(resource(6, 99999, &data, &size), HRESULT_FROM_WIN32(1814));
    ASSERT_EQ(resource(4, 235, &data, &size), S_OK);
    EXPECT_EQ(std::string(static_cast<const char*>(data), size).substr(0, 16), "ITEM 7145 +&X\nIT");
    EXPECT_EQ(resource(9, 205, &data, &size), E_INVALIDARG);
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

class ModuleClassObjects : public zul::test::TempHiveTest {};

// The store through the module's class object, aggregated by an outer
// object, and the library's unload answer while it lives.
TEST_F(ModuleClassObjects, StoreAndNavigatorAreServedAndTheStoreAggregates) {
    zul::runtime::Library lib;
    ASSERT_TRUE(lib.load(KRAV_MODULE_PATH)) << lib.error();
    auto getClassObject = lib.function<zul::runtime::DllGetClassObjectFn>("DllGetClassObject");
    auto canUnload = lib.function<zul::runtime::DllCanUnloadNowFn>("DllCanUnloadNow");
    {
        zul::com::ComPtr<IClassFactory> factory;
        ASSERT_EQ(getClassObject(CLSID_ViewManager, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
        EXPECT_EQ(canUnload(), S_FALSE);

        // A minimal outer object: forwards everything but its own identity to the inner.
        struct Outer final : IUnknown {
            ULONG refs = 1;
            IUnknown* inner = nullptr;
            HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
                if (!ppv) return E_POINTER;
                if (iid == IID_IUnknown) {
                    *ppv = this;
                    AddRef();
                    return S_OK;
                }
                return inner->QueryInterface(iid, ppv);
            }
            ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
            ULONG STDMETHODCALLTYPE Release() override { return --refs; }
        } outer;
        void* p = nullptr;
        EXPECT_EQ(factory->CreateInstance(&outer, IID_IViewManager2, &p), CLASS_E_NOAGGREGATION);
        ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner)), S_OK);
        zul::com::ComPtr<IViewManager2> store;
        ASSERT_EQ(outer.QueryInterface(IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())), S_OK);
        EXPECT_EQ(outer.refs, 2u) << "the inner's interfaces count on the outer";
        FullViewInfo info;
        EXPECT_EQ(store->GetViewInfo("+X", &info), S_OK);
        EXPECT_EQ(info.iViewIndex, 1);
        zul::com::ComPtr<IUnknown> identity;
        ASSERT_EQ(store.As(identity), S_OK);
        EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(&outer));
        identity.Reset();
        store.Reset();
        EXPECT_EQ(outer.refs, 1u);
        outer.inner->Release();

        zul::com::ComPtr<IClassFactory> navFactory;
        ASSERT_EQ(getClassObject(CLSID_ViewNavigator, IID_IClassFactory, reinterpret_cast<void**>(navFactory.GetAddressOf())), S_OK);
        zul::com::ComPtr<IViewNavigator2> nav;
        ASSERT_EQ(navFactory->CreateInstance(nullptr, IID_IViewNavigator2, reinterpret_cast<void**>(nav.GetAddressOf())), S_OK);
        float angle = 0;
        EXPECT_EQ(nav->GetAngleOfRotation(&angle), S_OK);
        EXPECT_EQ(angle, 90.0f);
        EXPECT_EQ(nav->AlignToAxis(PositiveX), E_FAIL) << "no host yet";

        zul::com::ComPtr<IClassFactory> mgrFactory;
        ASSERT_EQ(getClassObject(CLSID_AdvancedViewsModuleMgr, IID_IClassFactory, reinterpret_cast<void**>(mgrFactory.GetAddressOf())), S_OK);
        zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr;
        ASSERT_EQ(mgrFactory->CreateInstance(nullptr, IID_IAdvancedViewsModuleMgr, reinterpret_cast<void**>(mgr.GetAddressOf())), S_OK);
        int n = -1;
        EXPECT_EQ(mgr->GetNumberViews(&n), S_OK);
        EXPECT_EQ(n, 0) << "no viewer attached";
        EXPECT_EQ(mgr->ApplyDefaultView(), E_UNEXPECTED);
    }
    EXPECT_EQ(canUnload(), S_OK);
}
