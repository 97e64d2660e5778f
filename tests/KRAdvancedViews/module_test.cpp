#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/Identifiers.h"
#include "KRAdvancedViews/host/IHostTestSource.h"
#include "RunProgram.h"
#include "TempHive.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/Classes.h"
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

namespace {
// A minimal outer object: forwards everything but its own identity to the inner.
struct Outer final : IUnknown {
    ULONG refs = 1;
    IUnknown* inner = nullptr;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
        if (!ppv) return E_POINTER;
        if (iid != IID_IUnknown) return inner->QueryInterface(iid, ppv);
        *ppv = this;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
};
} // namespace

// The store through the module's class object, aggregated by an outer
// object, and the library's unload answer while it lives.
TEST_F(ModuleClassObjects, StoreAndNavigatorAreServedAndTheStoreAggregates) {
    zul::runtime::Library lib;
    ASSERT_TRUE(lib.load(KRAV_MODULE_PATH)) << lib.error();
    auto getClassObject = lib.function<zul::runtime::DllGetClassObjectFn>("DllGetClassObject");
    auto canUnload = lib.function<zul::runtime::DllCanUnloadNowFn>("DllCanUnloadNow");
    {
        zul::com::ComPtr<IClassFactory> factory;
        ASSERT_EQ(getClassObject(CLSID_ViewManager, IID_IClassFactory,
                                 reinterpret_cast<void**>(factory.GetAddressOf())),
                  S_OK);
        EXPECT_EQ(canUnload(), S_FALSE);

        Outer outer;
        void* p = nullptr;
        EXPECT_EQ(factory->CreateInstance(&outer, IID_IViewManager2, &p), CLASS_E_NOAGGREGATION);
        ASSERT_EQ(
            factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner)),
            S_OK);
        zul::com::ComPtr<IViewManager2> store;
        ASSERT_EQ(
            outer.QueryInterface(IID_IViewManager2, reinterpret_cast<void**>(store.GetAddressOf())),
            S_OK);
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
        ASSERT_EQ(getClassObject(CLSID_ViewNavigator, IID_IClassFactory,
                                 reinterpret_cast<void**>(navFactory.GetAddressOf())),
                  S_OK);
        zul::com::ComPtr<IViewNavigator2> nav;
        ASSERT_EQ(navFactory->CreateInstance(nullptr, IID_IViewNavigator2,
                                             reinterpret_cast<void**>(nav.GetAddressOf())),
                  S_OK);
        float angle = 0;
        EXPECT_EQ(nav->GetAngleOfRotation(&angle), S_OK);
        EXPECT_EQ(angle, 90.0f);
        EXPECT_EQ(nav->AlignToAxis(PositiveX), E_FAIL) << "no host yet";

        zul::com::ComPtr<IClassFactory> mgrFactory;
        ASSERT_EQ(getClassObject(CLSID_AdvancedViewsModuleMgr, IID_IClassFactory,
                                 reinterpret_cast<void**>(mgrFactory.GetAddressOf())),
                  S_OK);
        zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr;
        ASSERT_EQ(mgrFactory->CreateInstance(nullptr, IID_IAdvancedViewsModuleMgr,
                                             reinterpret_cast<void**>(mgr.GetAddressOf())),
                  S_OK);
        int n = -1;
        EXPECT_EQ(mgr->GetNumberViews(&n), S_OK);
        EXPECT_EQ(n, 0) << "no viewer attached";
        EXPECT_EQ(mgr->ApplyDefaultView(), E_UNEXPECTED);
    }
    EXPECT_EQ(canUnload(), S_OK);
}

// Every served class aggregates through its class object: the outer object
// is the identity, the inner counts on it, and the library cannot unload
// while an object or a server lock is alive.
TEST_F(ModuleClassObjects, EveryClassAggregatesAndHoldsTheLibrary) {
    zul::runtime::Library lib;
    ASSERT_TRUE(lib.load(KRAV_MODULE_PATH)) << lib.error();
    auto getClassObject = lib.function<zul::runtime::DllGetClassObjectFn>("DllGetClassObject");
    auto canUnload = lib.function<zul::runtime::DllCanUnloadNowFn>("DllCanUnloadNow");
    const std::pair<CLSID, IID> classes[] = {
        {CLSID_AdvancedViewsModuleMgr, IID_IAdvancedViewsModuleMgr},
        {CLSID_ViewManager, IID_IViewManager2},
        {CLSID_ViewNavigator, zul::com::iidOf<IViewNavigator2>()},
        {CLSID_AdvancedViewsTests, zul::com::iidOf<IHostTestSource>()},
    };
    for (const auto& [clsid, iid] : classes) {
        SCOPED_TRACE(::testing::Message() << "class " << clsid.Data4[7]);
        EXPECT_EQ(canUnload(), S_OK);
        zul::com::ComPtr<IClassFactory> factory;
        ASSERT_EQ(getClassObject(clsid, IID_IClassFactory,
                                 reinterpret_cast<void**>(factory.GetAddressOf())),
                  S_OK);
        EXPECT_EQ(canUnload(), S_FALSE) << "a class object holds the library";
        Outer outer;
        void* p = nullptr;
        EXPECT_EQ(factory->CreateInstance(&outer, iid, &p), CLASS_E_NOAGGREGATION);
        ASSERT_EQ(
            factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner)),
            S_OK);
        IUnknown* itf = nullptr;
        ASSERT_EQ(outer.QueryInterface(iid, reinterpret_cast<void**>(&itf)), S_OK);
        EXPECT_EQ(outer.refs, 2u);
        IUnknown* identity = nullptr;
        ASSERT_EQ(itf->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
        EXPECT_EQ(identity, static_cast<IUnknown*>(&outer));
        identity->Release();
        itf->Release();
        EXPECT_EQ(outer.refs, 1u);
        factory->LockServer(TRUE);
        factory.Reset();
        EXPECT_EQ(canUnload(), S_FALSE) << "the aggregated object is alive and the server locked";
        outer.inner->Release();
        EXPECT_EQ(canUnload(), S_FALSE) << "the server is still locked";
        ASSERT_EQ(getClassObject(clsid, IID_IClassFactory,
                                 reinterpret_cast<void**>(factory.GetAddressOf())),
                  S_OK);
        factory->LockServer(FALSE);
        factory.Reset();
        EXPECT_EQ(canUnload(), S_OK);
    }
}

namespace {

// Reads a string value; "<missing>" when the key or value is absent.
std::string regText(HKEY root, const std::string& path, const char* name = "") {
    HKEY k = nullptr;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS) return "<missing>";
    char buf[1024] = {};
    DWORD size = sizeof buf - 1;
    const LSTATUS st =
        RegQueryValueExA(k, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buf), &size);
    RegCloseKey(k);
    return st == ERROR_SUCCESS ? std::string(buf) : "<missing>";
}

bool regExists(HKEY root, const std::string& path) {
    HKEY k = nullptr;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS) return false;
    RegCloseKey(k);
    return true;
}

std::vector<std::string> regSubkeys(HKEY root, const std::string& path) {
    std::vector<std::string> out;
    HKEY k = nullptr;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS) return out;
    char name[300];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof name;
        if (RegEnumKeyExA(k, i, name, &cch, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        out.emplace_back(name, cch);
    }
    RegCloseKey(k);
    return out;
}

std::string guid(const GUID& g) {
    char text[39];
    zul::com::formatGuid(g, text);
    return text;
}

class Registration : public zul::test::TempHiveTest {
protected:
    void SetUp() override {
        TempHiveTest::SetUp();
        ::unsetenv("CURRENT_USER_INSTALL");
        ::unsetenv("ZUL_DEVELOPER_ENV");
        ASSERT_TRUE(lib.load(KRAV_MODULE_PATH)) << lib.error();
        registerServer = lib.function<zul::runtime::DllRegisterServerFn>("DllRegisterServer");
        unregisterServer = lib.function<zul::runtime::DllUnregisterServerFn>("DllUnregisterServer");
        modulePath = std::filesystem::canonical(KRAV_MODULE_PATH).string();
    }
    void TearDown() override {
        ::unsetenv("CURRENT_USER_INSTALL");
        ::unsetenv("ZUL_DEVELOPER_ENV");
        TempHiveTest::TearDown();
    }

    // Checks the whole registration below `classes` ("Software\Classes" of a hive).
    void expectRegistered(HKEY hive, const std::string& product) {
        const std::string c = "Software\\Classes\\";
        struct Cls {
            CLSID clsid;
            std::string progId, description, text;
            bool typeLib;
            const GUID* category;
        } classes[] = {
            {CLSID_AdvancedViewsModuleMgr, "KRAdvancedViews.AdvancedViewsModuleMgr",
             "AdvancedViewsModuleMgr Class", "AdvancedViewsModuleMgr Class", true,
             &CATID_ZulLateLoadableSecondaryObject},
            {CLSID_ViewManager, "KRAdvancedViews.ViewManager", "ViewManager Class",
             "ViewManager Class", true, nullptr},
            {CLSID_ViewNavigator, "KRAdvancedViews.ViewNavigator", "ViewNavigator Class",
             "ViewNavigator Class", true, nullptr},
            {CLSID_AdvancedViewsTests, "KRAdvancedViews.AdvancedViewsTests", "Testing Class",
             "AdvancedViewsTests Class", false, &CATID_KRUnitTestSources},
        };
        for (const Cls& k : classes) {
            SCOPED_TRACE(k.progId);
            const std::string id = guid(k.clsid), key = c + product + "\\" + id;
            EXPECT_EQ(regText(hive, c + k.progId + ".1"), k.description);
            EXPECT_EQ(regText(hive, c + k.progId + ".1\\CLSID"), id);
            EXPECT_EQ(regText(hive, c + k.progId), k.description);
            EXPECT_EQ(regText(hive, c + k.progId + "\\CLSID"), id);
            EXPECT_EQ(regText(hive, c + k.progId + "\\CurVer"), k.progId + ".1");
            EXPECT_FALSE(regExists(hive, c + "CLSID\\" + id))
                << "class keys live under the product";
            EXPECT_EQ(regText(hive, key), k.text);
            EXPECT_EQ(regText(hive, key + "\\ProgID"), k.progId + ".1");
            EXPECT_EQ(regText(hive, key + "\\VersionIndependentProgID"), k.progId);
            EXPECT_EQ(regText(hive, key + "\\InprocServer32"), modulePath);
            EXPECT_EQ(regText(hive, key + "\\InprocServer32", "ThreadingModel"), "Apartment");
            EXPECT_EQ(regText(hive, key + "\\TypeLib"),
                      k.typeLib ? guid(LIBID_KRADVANCEDVIEWSLib) : "<missing>");
            EXPECT_EQ(regSubkeys(hive, key + "\\Implemented Categories"),
                      k.category ? std::vector<std::string>{guid(*k.category)}
                                 : std::vector<std::string>{});
        }
        EXPECT_EQ(regText(hive,
                          c + "Component Categories\\" + guid(CATID_ZulLateLoadableSecondaryObject),
                          "409"),
                  "ZUL Late Loadable Secondary Object");
        EXPECT_EQ(
            regText(hive, c + "Component Categories\\" + guid(CATID_KRUnitTestSources), "409"),
            "KR Unit Test Sources Category");
        EXPECT_EQ(
            regText(hive, c + "TypeLib\\" + guid(LIBID_KRADVANCEDVIEWSLib) + "\\1.0\\0\\linux"),
            modulePath);
    }

    zul::runtime::Library lib;
    zul::runtime::DllRegisterServerFn registerServer = nullptr;
    zul::runtime::DllUnregisterServerFn unregisterServer = nullptr;
    std::string modulePath;
};

} // namespace

// Per user: everything lands in the user's classes, the machine hive is not
// even created, the classes root is restored afterwards, and unregistration
// takes all of it away but the product key.
TEST_F(Registration, PerUserRoundTrip) {
    ::setenv("CURRENT_USER_INSTALL", "", 1); // set, even empty, means per user
    ASSERT_EQ(registerServer(), S_OK) << zul::registry::lastErrorDetail();
    expectRegistered(HKEY_CURRENT_USER, "ZUL");
    EXPECT_FALSE(std::filesystem::exists(machineHive_));
    EXPECT_EQ(registerServer(), S_OK) << "registering twice is harmless";
    expectRegistered(HKEY_CURRENT_USER, "ZUL");

    // The override ended with the call: a new classes-root key goes to the machine.
    HKEY probe = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, "Probe", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &probe, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(probe);
    EXPECT_TRUE(regExists(HKEY_LOCAL_MACHINE, "Software\\Classes\\Probe"));
    EXPECT_FALSE(regExists(HKEY_CURRENT_USER, "Software\\Classes\\Probe"));

    ASSERT_EQ(unregisterServer(), S_OK);
    EXPECT_EQ(regSubkeys(HKEY_CURRENT_USER, "Software\\Classes"), std::vector<std::string>{"ZUL"});
    EXPECT_EQ(regSubkeys(HKEY_CURRENT_USER, "Software\\Classes\\ZUL"), std::vector<std::string>{});
    EXPECT_EQ(unregisterServer(), S_OK) << "unregistering twice is harmless";
}

// For the machine, under a developer's product name; what other servers
// registered (a class in the same category, a programmatic identifier taken
// over) survives unregistration, and a stale class key is replaced whole.
TEST_F(Registration, MachineRoundTripKeepsWhatOthersRegistered) {
    ::setenv("ZUL_DEVELOPER_ENV", "me\x01you", 1);
    const std::string product = "ZUL_me_you", c = "Software\\Classes\\";
    const std::string stale = c + product + "\\" + guid(CLSID_ViewManager) +
                              "\\Implemented Categories\\{00000000-0000-0000-0000-00000000000A}";
    HKEY k = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, stale.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &k, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(k);
    ASSERT_EQ(registerServer(), S_OK) << zul::registry::lastErrorDetail();
    expectRegistered(HKEY_LOCAL_MACHINE, product);
    EXPECT_FALSE(regExists(HKEY_CURRENT_USER, "Software\\Classes"));

    // Another product's test class, and our navigator's version-independent
    // identifier now naming someone else's class.
    const std::string other =
        c + "Other\\{00000000-0000-0000-0000-0000000000B1}\\Implemented Categories\\" +
        guid(CATID_KRUnitTestSources);
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, other.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &k, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(k);
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE,
                            (c + "KRAdvancedViews.ViewNavigator\\CLSID").c_str(), 0, KEY_ALL_ACCESS,
                            &k),
              ERROR_SUCCESS);
    const char foreign[] = "{00000000-0000-0000-0000-0000000000B2}";
    ASSERT_EQ(
        RegSetValueExA(k, "", 0, REG_SZ, reinterpret_cast<const BYTE*>(foreign), sizeof foreign),
        ERROR_SUCCESS);
    RegCloseKey(k);

    ASSERT_EQ(unregisterServer(), S_OK);
    std::vector<std::string> left = regSubkeys(HKEY_LOCAL_MACHINE, "Software\\Classes");
    EXPECT_EQ(left, (std::vector<std::string>{"Component Categories",
                                              "KRAdvancedViews.ViewNavigator", "Other", product}));
    EXPECT_EQ(regSubkeys(HKEY_LOCAL_MACHINE, c + "Component Categories"),
              std::vector<std::string>{guid(CATID_KRUnitTestSources)});
    EXPECT_EQ(regSubkeys(HKEY_LOCAL_MACHINE, c + product), std::vector<std::string>{});
}

// Without write access to the machine hive, registration fails with a clear
// status and writes nothing anywhere.
TEST_F(Registration, ReadOnlyMachineHiveIsRefused) {
    const std::string folder = (dir_ / "machine").string();
    std::filesystem::create_directories(folder);
    ::chmod(folder.c_str(), 0555);
    ::setenv("ZUL_MACHINE_HIVE", (folder + "/machine.db").c_str(), 1);
    const pid_t child = forkAlone();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // File modes do not bind root.
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(10);
        int failures = 0;
        failures += registerServer() != E_ACCESSDENIED;
        failures += zul::registry::lastErrorDetail().find(folder) == std::string::npos;
        // The tool says the same to the user.
        const auto tool =
            zul::test::runProgram(std::string(ZULREG_PATH) + " regsvr '" + modulePath + "' 2>&1");
        failures += tool.status != 1;
        failures += tool.out.find("DllRegisterServer in '" + modulePath +
                                  "' failed for the machine: 0x80070005 "
                                  "E_ACCESSDENIED") == std::string::npos;
        failures += tool.out.find("is not writable") == std::string::npos;
        ::_exit(failures);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ::chmod(folder.c_str(), 0755);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "failed checks in the unprivileged child";
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    EXPECT_FALSE(std::filesystem::exists(userHive_));
}

// The product key name: DLLPROD.TXT's first line, else ZUL, then the
// developer's suffix, always a single valid key name.
TEST_F(Registration, ProductNameFromTheFileAndTheDeveloperEnvironment) {
    const std::filesystem::path dir = dir_;
    EXPECT_EQ(zul::registry::productName(dir.string()), "ZUL");
    writeFile((dir / "DLLPROD.TXT").string(), "  Acme Viewer\r\nsecond line\n");
    EXPECT_EQ(zul::registry::productName(dir.string()), "Acme Viewer");
    ::setenv("ZUL_DEVELOPER_ENV", "jo\tbuild\\2", 1);
    EXPECT_EQ(zul::registry::productName(dir.string()), "Acme Viewer_jo_build_2");
    ::setenv("ZUL_DEVELOPER_ENV", "", 1);
    EXPECT_EQ(zul::registry::productName(dir.string()), "Acme Viewer");
    writeFile((dir / "DLLPROD.TXT").string(), "\n");
    ::setenv("ZUL_DEVELOPER_ENV", std::string(300, 'x').c_str(), 1);
    const std::string longName = zul::registry::productName(dir.string());
    EXPECT_EQ(longName.size(), 255u);
    EXPECT_EQ(longName.substr(0, 5), "ZUL_x");
}

// The resource module is a complete translation: the same string and menu
// ids, the same placeholders, the same menu structure, other texts.
TEST(ResourceModule, TranslatesEveryStringAndMenu) {
    zul::runtime::Library module, german;
    ASSERT_TRUE(module.load(KRAV_MODULE_PATH)) << module.error();
    ASSERT_TRUE(german.load(KRAV_RESOURCE_MODULE_PATH)) << german.error();
    auto en = module.function<zul::runtime::ZulGetModuleResourceFn>("ZulGetModuleResource");
    auto de = german.function<zul::runtime::ZulGetModuleResourceFn>("ZulGetModuleResource");
    ASSERT_NE(en, nullptr);
    ASSERT_NE(de, nullptr);
    EXPECT_EQ(german.symbol("DllGetClassObject"), nullptr) << "resources only";
    auto text = [](zul::runtime::ZulGetModuleResourceFn fn, DWORD type, DWORD id,
                   std::string& out) {
        const void* data = nullptr;
        DWORD size = 0;
        if (fn(type, id, &data, &size) != S_OK) return false;
        out.assign(static_cast<const char*>(data), size);
        return true;
    };
    auto count = [](const std::string& s, const std::string& what) {
        size_t n = 0;
        for (size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + 1))
            ++n;
        return n;
    };
    // A menu without its texts: the sequence of entry kinds and command ids.
    auto shape = [](const std::string& menu) {
        std::string out;
        size_t start = 0;
        while (start < menu.size()) {
            size_t end = menu.find('\n', start);
            if (end == std::string::npos) end = menu.size();
            const std::string line = menu.substr(start, end - start);
            const size_t second = line.find(' ', line.find(' ') + 1);
            out += line.substr(0, second) + "|";
            start = end + 1;
        }
        return out;
    };
    int strings = 0, menus = 0, same = 0;
    for (DWORD id = 0; id < 65536; ++id) {
        std::string a, b;
        const bool hasA = text(en, 6, id, a), hasB = text(de, 6, id, b);
        ASSERT_EQ(hasA, hasB) << "string " << id;
        if (!hasA) continue;
        ++strings;
        same += a == b;
        EXPECT_EQ(count(a, "%s"), count(b, "%s")) << "string " << id;
        EXPECT_EQ(count(a, "%"), count(b, "%")) << "string " << id;
        // Placeholders are filled in order: a translation keeps the order.
        auto order = [](const std::string& t) {
            std::string o;
            for (size_t i = t.find('%'); i != std::string::npos && i + 1 < t.size();
                 i = t.find('%', i + 1))
                o += t[i + 1];
            return o;
        };
        EXPECT_EQ(order(a), order(b)) << "string " << id;
        EXPECT_FALSE(b.empty()) << "string " << id;
    }
    for (DWORD id = 0; id < 1024; ++id) {
        std::string a, b;
        const bool hasA = text(en, 4, id, a), hasB = text(de, 4, id, b);
        ASSERT_EQ(hasA, hasB) << "menu " << id;
        if (!hasA) continue;
        ++menus;
        EXPECT_EQ(shape(a), shape(b)) << "menu " << id;
        EXPECT_NE(a, b) << "menu " << id;
    }
    EXPECT_EQ(strings, 40);
    EXPECT_EQ(menus, 4);
    EXPECT_LE(same, 1) << "only texts like \"Part\" may stay as they are";
}
