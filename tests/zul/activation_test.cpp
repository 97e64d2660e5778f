#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/Identifiers.h"
#include "TempHive.h"
#include "zul/com/ComPtr.h"
#include "zul/runtime/Activation.h"
#include "zul/runtime/Library.h"

namespace {

using zul::runtime::Activator;

class Activation : public zul::test::TempHiveTest {
protected:
    void SetUp() override {
        TempHiveTest::SetUp();
        Activator::instance().setProduct("ZUL");
        ASSERT_TRUE(server.load(KRAV_MODULE_PATH)) << server.error();
    }
    void TearDown() override {
        Activator::instance().freeUnusedLibraries();
        ::unsetenv("CURRENT_USER_INSTALL");
        TempHiveTest::TearDown();
    }
    // Registers the module for the user (or the machine).
    void registerModule(bool perUser) {
        if (perUser)
            ::setenv("CURRENT_USER_INSTALL", "1", 1);
        else
            ::unsetenv("CURRENT_USER_INSTALL");
        ASSERT_EQ(server.function<zul::runtime::DllRegisterServerFn>("DllRegisterServer")(), S_OK);
        ::unsetenv("CURRENT_USER_INSTALL");
    }
    static void setText(HKEY hive, const std::string& path, const std::string& text) {
        HKEY k = nullptr;
        ASSERT_EQ(RegCreateKeyExA(hive, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k,
                                  nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExA(k, "", 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                 static_cast<DWORD>(text.size() + 1)),
                  ERROR_SUCCESS);
        RegCloseKey(k);
    }
    static std::string classKey(const CLSID& clsid) {
        char text[39];
        zul::com::formatGuid(clsid, text);
        return std::string("Software\\Classes\\ZUL\\") + text + "\\InprocServer32";
    }

    zul::runtime::Library server; // keeps the module mapped for registration
};

} // namespace

// A host's road to an object: identifier, class key, library (loaded once,
// unloaded when it says it can be), class object, instance; and the classes
// of a category.
TEST_F(Activation, ByProgIdAndByCategory) {
    registerModule(true);
    Activator& a = Activator::instance();
    CLSID clsid{};
    ASSERT_EQ(a.classFromProgId("KRAdvancedViews.ViewManager", clsid), S_OK);
    EXPECT_EQ(clsid, CLSID_ViewManager);
    ASSERT_EQ(a.classFromProgId("krAdvancedViews.viewNavigator.1", clsid), S_OK)
        << "names ignore case";
    EXPECT_EQ(clsid, CLSID_ViewNavigator);
    EXPECT_EQ(a.classFromProgId("KRAdvancedViews.Nothing", clsid), CO_E_CLASSSTRING);
    EXPECT_NE(Activator::lastError().find("KRAdvancedViews.Nothing"), std::string::npos);

    const size_t before = a.loadedLibraries();
    {
        zul::com::ComPtr<IViewManager2> store;
        ASSERT_EQ(a.createInstance("KRAdvancedViews.ViewManager.1", nullptr, IID_IViewManager2,
                                   reinterpret_cast<void**>(store.GetAddressOf())),
                  S_OK)
            << Activator::lastError();
        FullViewInfo info;
        EXPECT_EQ(store->GetViewInfo("+X", &info), S_OK);
        zul::com::ComPtr<IViewNavigator> nav;
        ASSERT_EQ(a.createInstance("KRAdvancedViews.ViewNavigator", nullptr,
                                   zul::com::iidOf<IViewNavigator>(),
                                   reinterpret_cast<void**>(nav.GetAddressOf())),
                  S_OK);
        EXPECT_EQ(a.loadedLibraries(), before + 1) << "one library serves both";
        EXPECT_EQ(a.freeUnusedLibraries(), 0u) << "objects are alive";
        EXPECT_NE(a.serverSymbol(CLSID_ViewManager, "ZulGetModuleResource"), nullptr);
    }
    EXPECT_EQ(a.freeUnusedLibraries(), 1u);
    EXPECT_EQ(a.loadedLibraries(), before);

    std::vector<CLSID> late, tests;
    ASSERT_EQ(a.classesInCategory(CATID_ZulLateLoadableSecondaryObject, late), S_OK);
    EXPECT_EQ(late, std::vector<CLSID>{CLSID_AdvancedViewsModuleMgr});
    ASSERT_EQ(a.classesInCategory(CATID_KRUnitTestSources, tests), S_OK);
    EXPECT_EQ(tests, std::vector<CLSID>{CLSID_AdvancedViewsTests});
    a.setProduct("Another");
    ASSERT_EQ(a.classesInCategory(CATID_ZulLateLoadableSecondaryObject, late), S_OK);
    EXPECT_TRUE(late.empty()) << "another product sees none of them";
    void* p = nullptr;
    EXPECT_EQ(a.createInstance(CLSID_ViewManager, nullptr, IID_IUnknown, &p), REGDB_E_CLASSNOTREG);
}

// The user's registration wins over the machine's; a class key that names a
// missing library or one that is no server is reported with its path.
TEST_F(Activation, UserFirstThenMachineAndBrokenServers) {
    registerModule(false);
    Activator& a = Activator::instance();
    setText(HKEY_LOCAL_MACHINE, classKey(CLSID_ViewManager), "/nonexistent/KRAdvancedViews.so");
    void* p = nullptr;
    EXPECT_EQ(a.createInstance(CLSID_ViewManager, nullptr, IID_IUnknown, &p), CO_E_DLLNOTFOUND);
    EXPECT_NE(Activator::lastError().find("/nonexistent/KRAdvancedViews.so"), std::string::npos);
    EXPECT_EQ(p, nullptr);

    registerModule(true);
    zul::com::ComPtr<IUnknown> store;
    EXPECT_EQ(a.createInstance(CLSID_ViewManager, nullptr, IID_IUnknown,
                               reinterpret_cast<void**>(store.GetAddressOf())),
              S_OK)
        << "the user's registration is asked first";
    store.Reset();

    // A machine-only class whose library is not a component server.
    const std::string notServer =
        (std::filesystem::path(KRAV_MODULE_PATH).parent_path() / "libzul_trace.so").string();
    setText(HKEY_LOCAL_MACHINE, classKey(CLSID_AdvancedViewsTests), notServer);
    HKEY k = nullptr; // the user's registration goes
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Classes\\ZUL", 0, KEY_ALL_ACCESS, &k),
              ERROR_SUCCESS);
    RegDeleteTreeA(k, nullptr);
    RegCloseKey(k);
    EXPECT_EQ(a.createInstance(CLSID_AdvancedViewsTests, nullptr, IID_IUnknown, &p),
              CO_E_ERRORINDLL);
    EXPECT_NE(Activator::lastError().find("libzul_trace.so"), std::string::npos);
    EXPECT_EQ(a.createInstance(zul::com::makeGuid("00000000-0000-0000-0000-0000000000FF"), nullptr,
                               IID_IUnknown, &p),
              REGDB_E_CLASSNOTREG);
}
