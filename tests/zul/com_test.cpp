#include <gtest/gtest.h>

#include <stdexcept>

#include "zul/com/ComPtr.h"
#include "zul/com/Object.h"

using zul::com::ComPtr;

// The binary values every caller compares against.
static_assert(S_OK == 0);
static_assert(S_FALSE == 1);
static_assert(static_cast<uint32_t>(E_NOTIMPL) == 0x80004001u);
static_assert(static_cast<uint32_t>(E_NOINTERFACE) == 0x80004002u);
static_assert(static_cast<uint32_t>(E_POINTER) == 0x80004003u);
static_assert(static_cast<uint32_t>(E_FAIL) == 0x80004005u);
static_assert(static_cast<uint32_t>(E_UNEXPECTED) == 0x8000FFFFu);
static_assert(static_cast<uint32_t>(E_OUTOFMEMORY) == 0x8007000Eu);
static_assert(static_cast<uint32_t>(E_INVALIDARG) == 0x80070057u);
static_assert(static_cast<uint32_t>(E_ACCESSDENIED) == 0x80070005u);
static_assert(static_cast<uint32_t>(CLASS_E_NOAGGREGATION) == 0x80040110u);
static_assert(static_cast<uint32_t>(CLASS_E_CLASSNOTAVAILABLE) == 0x80040111u);
static_assert(static_cast<uint32_t>(REGDB_E_CLASSNOTREG) == 0x80040154u);
static_assert(static_cast<uint32_t>(CO_E_CLASSSTRING) == 0x800401F3u);
static_assert(static_cast<uint32_t>(CO_E_DLLNOTFOUND) == 0x800401F8u);
static_assert(static_cast<uint32_t>(CO_E_ERRORINDLL) == 0x800401F9u);
static_assert(sizeof(HRESULT) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4);
static_assert(FAILED(E_FAIL) && SUCCEEDED(S_FALSE));
static_assert(HRESULT_FROM_WIN32(5) == E_ACCESSDENIED);

namespace {

struct IAlpha : IUnknown {
    virtual int Alpha() = 0;
};
struct IBeta : IUnknown {
    virtual int Beta() = 0;
};
struct IGamma : IAlpha { // derives from another interface
    virtual int Gamma() = 0;
};

} // namespace

ZUL_DECLARE_IID(IAlpha, "6F1B2C3D-0001-4A5B-8C9D-0123456789AB");
ZUL_DECLARE_IID(IBeta, "6F1B2C3D-0002-4A5B-8C9D-0123456789AB");
ZUL_DECLARE_IID(IGamma, "6F1B2C3D-0003-4A5B-8C9D-0123456789AB");
struct INotServed : IUnknown {};
ZUL_DECLARE_IID(INotServed, "6F1B2C3D-0004-4A5B-8C9D-0123456789AB");

namespace {

int g_destroyed = 0;

class CThing : public zul::com::ObjectRoot, public IGamma, public IBeta {
public:
    ZUL_BEGIN_INTERFACE_MAP(CThing)
    ZUL_INTERFACE_ENTRY(IGamma)
    ZUL_INTERFACE_ENTRY2(IAlpha, IGamma)
    ZUL_INTERFACE_ENTRY(IBeta)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    ~CThing() override { ++g_destroyed; }
    int Alpha() override { return 1; }
    int Beta() override { return 2; }
    int Gamma() override { return 3; }
};

// An outer object that aggregates a CThing and exposes IBeta through it.
class COuter : public zul::com::ObjectRoot, public IAlpha {
public:
    ZUL_BEGIN_INTERFACE_MAP(COuter)
    ZUL_INTERFACE_ENTRY(IAlpha)
    ZUL_END_INTERFACE_MAP()

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
        if (iid == zul::com::iidOf<IBeta>() && inner_) return inner_->QueryInterface(iid, ppv);
        return delegatingQueryInterface(iid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return delegatingAddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return delegatingRelease(); }

    HRESULT finalConstruct() override {
        return zul::com::createInstance<CThing>(nonDelegatingUnknown(), IID_IUnknown,
                                                reinterpret_cast<void**>(&inner_));
    }
    ~COuter() override {
        if (inner_) inner_->Release();
    }
    int Alpha() override { return 10; }
    IUnknown* inner_ = nullptr;
};

// Answers its own IAlpha (overriding nothing) and, through the chain, CThing's interfaces.
struct IDelta : IUnknown {
    virtual int Delta() = 0;
};
} // namespace
ZUL_DECLARE_IID(IDelta, "6F1B2C3D-0005-4A5B-8C9D-0123456789AB");
namespace {
class CDerivedThing : public CThing, public IDelta {
public:
    ZUL_BEGIN_INTERFACE_MAP(CDerivedThing)
    ZUL_INTERFACE_ENTRY(IDelta)
    ZUL_INTERFACE_ENTRY_CHAIN(CThing)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN
    int Delta() override { return 4; }
};

class CFailsToConstruct : public zul::com::ObjectRoot, public IAlpha {
public:
    ZUL_BEGIN_INTERFACE_MAP(CFailsToConstruct)
    ZUL_INTERFACE_ENTRY(IAlpha)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN
    HRESULT finalConstruct() override { return E_UNEXPECTED; }
    int Alpha() override { return 0; }
};

} // namespace

TEST(Guid, ParsesFormatsAndCompares) {
    constexpr GUID g = zul::com::makeGuid("01234567-89AB-CDEF-0123-456789ABCDEF");
    static_assert(g.Data1 == 0x01234567 && g.Data2 == 0x89AB && g.Data3 == 0xCDEF);
    static_assert(g.Data4[0] == 0x01 && g.Data4[7] == 0xEF);
    char text[39];
    zul::com::formatGuid(g, text);
    EXPECT_STREQ(text, "{01234567-89AB-CDEF-0123-456789ABCDEF}");
    GUID back{};
    ASSERT_TRUE(zul::com::parseGuid(text, back));
    EXPECT_EQ(back, g);
    ASSERT_TRUE(zul::com::parseGuid("01234567-89ab-cdef-0123-456789abcdef", back));
    EXPECT_EQ(back, g);
    GUID untouched = g;
    EXPECT_FALSE(zul::com::parseGuid("{01234567-89AB-CDEF-0123-456789ABCDEF", untouched));
    EXPECT_FALSE(zul::com::parseGuid("01234567-89AB-CDEF-0123-456789ABCDEG", untouched));
    EXPECT_FALSE(zul::com::parseGuid("0123456789AB-CDEF-0123-456789ABCDEF", untouched));
    EXPECT_FALSE(zul::com::parseGuid(nullptr, untouched));
    EXPECT_EQ(untouched, g);
    EXPECT_FALSE(g == IID_IUnknown);
}

TEST(Object, QueryInterfaceContract) {
    g_destroyed = 0;
    IUnknown* unk = nullptr;
    ASSERT_EQ(
        zul::com::createInstance<CThing>(nullptr, IID_IUnknown, reinterpret_cast<void**>(&unk)),
        S_OK);
    ASSERT_NE(unk, nullptr);

    EXPECT_EQ(unk->QueryInterface(zul::com::iidOf<IAlpha>(), nullptr), E_POINTER);

    void* p = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(unk->QueryInterface(zul::com::iidOf<INotServed>(), &p), E_NOINTERFACE);
    EXPECT_EQ(p, nullptr);

    ComPtr<IAlpha> alpha;
    ComPtr<IBeta> beta;
    ComPtr<IGamma> gamma;
    ASSERT_EQ(unk->QueryInterface(zul::com::iidOf<IAlpha>(),
                                  reinterpret_cast<void**>(alpha.GetAddressOf())),
              S_OK);
    ASSERT_EQ(alpha.As(beta), S_OK);
    ASSERT_EQ(beta.As(gamma), S_OK);
    EXPECT_EQ(alpha->Alpha() + beta->Beta() + gamma->Gamma(), 6);

    // Identity: IUnknown from every interface is one pointer.
    ComPtr<IUnknown> u1, u2, u3;
    ASSERT_EQ(alpha.As(u1), S_OK);
    ASSERT_EQ(beta.As(u2), S_OK);
    ASSERT_EQ(gamma.As(u3), S_OK);
    EXPECT_EQ(u1.Get(), u2.Get());
    EXPECT_EQ(u2.Get(), u3.Get());
    EXPECT_EQ(u1.Get(), unk);

    unk->Release();
    alpha.Reset();
    beta.Reset();
    u1.Reset();
    u2.Reset();
    EXPECT_EQ(g_destroyed, 0); // gamma and u3 still hold it
    gamma.Reset();
    u3.Reset();
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ(zul::com::moduleLockCount(), 0);
}

TEST(Object, AggregatedObjectDelegatesAndLivesWithItsOuter) {
    g_destroyed = 0;
    ComPtr<IAlpha> outer;
    ASSERT_EQ(zul::com::createInstance<COuter>(nullptr, zul::com::iidOf<IAlpha>(),
                                               reinterpret_cast<void**>(outer.GetAddressOf())),
              S_OK);
    EXPECT_EQ(outer->Alpha(), 10);

    // IBeta comes from the inner object, but its IUnknown is the outer's.
    ComPtr<IBeta> beta;
    ASSERT_EQ(outer.As(beta), S_OK);
    EXPECT_EQ(beta->Beta(), 2);
    ComPtr<IUnknown> fromOuter, fromBeta;
    ASSERT_EQ(outer.As(fromOuter), S_OK);
    ASSERT_EQ(beta.As(fromBeta), S_OK);
    EXPECT_EQ(fromOuter.Get(), fromBeta.Get());
    // The inner's own interfaces are not reachable unless the outer exposes them.
    ComPtr<IGamma> gamma;
    EXPECT_EQ(beta.As(gamma), E_NOINTERFACE);
    // A QueryInterface through IBeta gets the outer's IAlpha.
    ComPtr<IAlpha> alphaViaBeta;
    ASSERT_EQ(beta.As(alphaViaBeta), S_OK);
    EXPECT_EQ(alphaViaBeta->Alpha(), 10);

    // Releasing the outer's pointer keeps both alive while IBeta is held.
    outer.Reset();
    fromOuter.Reset();
    fromBeta.Reset();
    alphaViaBeta.Reset();
    EXPECT_EQ(g_destroyed, 0);
    EXPECT_EQ(beta->Beta(), 2);
    beta.Reset();
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ(zul::com::moduleLockCount(), 0);
}

TEST(Object, ADerivedMapChainsToItsBase) {
    ComPtr<IDelta> delta;
    ASSERT_EQ(
        zul::com::createInstance<CDerivedThing>(nullptr, zul::com::iidOf<IDelta>(),
                                                reinterpret_cast<void**>(delta.GetAddressOf())),
        S_OK);
    ComPtr<IBeta> beta;
    ComPtr<IAlpha> alpha;
    ComPtr<INotServed> none;
    ASSERT_EQ(delta.As(beta), S_OK);
    ASSERT_EQ(beta.As(alpha), S_OK);
    EXPECT_EQ(delta->Delta() + beta->Beta() + alpha->Alpha(), 7);
    EXPECT_EQ(alpha.As(none), E_NOINTERFACE);
    ComPtr<IUnknown> u1, u2;
    ASSERT_EQ(delta.As(u1), S_OK);
    ASSERT_EQ(beta.As(u2), S_OK);
    EXPECT_EQ(u1.Get(), u2.Get());
}

TEST(Object, CreationRulesAndFirewall) {
    void* p = reinterpret_cast<void*>(0x1);
    IUnknown* someOuter = reinterpret_cast<IUnknown*>(0x10); // never called
    EXPECT_EQ(zul::com::createInstance<CThing>(someOuter, zul::com::iidOf<IAlpha>(), &p),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(zul::com::createInstance<CThing>(nullptr, IID_IUnknown, nullptr), E_POINTER);
    p = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(zul::com::createInstance<CFailsToConstruct>(nullptr, zul::com::iidOf<IAlpha>(), &p),
              E_UNEXPECTED);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(zul::com::moduleLockCount(), 0) << "a failed construction leaks nothing";

    EXPECT_EQ(zul::com::firewall([]() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(zul::com::firewall([]() -> HRESULT { throw std::runtime_error("x"); }), E_FAIL);
    EXPECT_EQ(zul::com::firewall([]() -> HRESULT { throw 42; }), E_FAIL);
    EXPECT_EQ(zul::com::firewall([]() -> HRESULT { return S_FALSE; }), S_FALSE);
}

TEST(Object, ClassFactoryCreatesAndLocks) {
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(zul::com::createInstance<zul::com::ClassFactory<CThing>>(
                  nullptr, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())),
              S_OK);
    ComPtr<IBeta> beta;
    ASSERT_EQ(factory->CreateInstance(nullptr, zul::com::iidOf<IBeta>(),
                                      reinterpret_cast<void**>(beta.GetAddressOf())),
              S_OK);
    EXPECT_EQ(beta->Beta(), 2);
    const long live = zul::com::moduleLockCount();
    factory->LockServer(TRUE);
    EXPECT_EQ(zul::com::moduleLockCount(), live + 1);
    factory->LockServer(FALSE);
    beta.Reset();
    factory.Reset();
    EXPECT_EQ(zul::com::moduleLockCount(), 0);
}
