// Reference counting, table-driven QueryInterface, aggregation and the exception
// firewall for classes served as components, in the manner of ATL.
//
// A served class derives from ObjectRoot and its interfaces, lists them in an
// interface map, and declares its IUnknown as delegating:
//
//   class CThing : public zul::com::ObjectRoot, public IThing {
//   public:
//       ZUL_BEGIN_INTERFACE_MAP(CThing)
//           ZUL_INTERFACE_ENTRY(IThing)
//       ZUL_END_INTERFACE_MAP()
//       ZUL_DELEGATING_IUNKNOWN
//   };
//
// Instances are made with createInstance<CThing>(outer, iid, ppv). When `outer`
// is given the object is aggregated: its interfaces delegate IUnknown to the
// outer object, and the outer holds the object's non-delegating unknown, which
// alone decides its lifetime.
#pragma once

#include <atomic>
#include <exception>
#include <new>

#include "zul/com/com.h"

namespace zul::com {

// Count of live objects and server locks of the library this header is compiled
// into (hidden visibility makes it per library); DllCanUnloadNow answers from it.
inline std::atomic<long> g_moduleLockCount{0};

inline long moduleLockCount() {
    return g_moduleLockCount.load(std::memory_order_acquire);
}
inline void lockModule() {
    g_moduleLockCount.fetch_add(1, std::memory_order_acq_rel);
}
inline void unlockModule() {
    g_moduleLockCount.fetch_sub(1, std::memory_order_acq_rel);
}

// Runs `body` (returning HRESULT) so that no exception crosses an interface:
// std::bad_alloc becomes E_OUTOFMEMORY, anything else E_FAIL.
template <class F> HRESULT firewall(F&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

class ObjectRoot;

struct InterfaceEntry {
    const IID* iid;                  // null with a null `chain` ends the table
    void* (*cast)(ObjectRoot* self); // the interface pointer of `self` for this IID
    // With a null `iid`: the map of a base class, searched in this place.
    const InterfaceEntry* (*chain)(const ObjectRoot* self) = nullptr;
};

// The interface pointer of `self` for `iid` from `map` and the maps it chains to, or null.
inline void* findInterface(const InterfaceEntry* map, ObjectRoot* self, REFIID iid) {
    for (const InterfaceEntry* e = map; e->iid || e->chain; ++e) {
        if (!e->iid) {
            if (void* p = findInterface(e->chain(self), self, iid)) return p;
        } else if (*e->iid == iid) {
            return e->cast(self);
        }
    }
    return nullptr;
}

class ObjectRoot {
public:
    ObjectRoot(const ObjectRoot&) = delete;
    ObjectRoot& operator=(const ObjectRoot&) = delete;

    // The object's own IUnknown: counts references and answers QueryInterface
    // from the interface map, whether or not the object is aggregated.
    IUnknown* nonDelegatingUnknown() noexcept { return &inner_; }
    // The outer unknown when aggregated, else null.
    IUnknown* outerUnknown() const noexcept { return outer_; }

    // Hook for a class that must finish construction after its reference count
    // exists; a failure status abandons the instance.
    virtual HRESULT finalConstruct() { return S_OK; }

protected:
    ObjectRoot() noexcept : inner_(this) { lockModule(); }
    virtual ~ObjectRoot() { unlockModule(); }

    virtual const InterfaceEntry* interfaceMap() const noexcept = 0;

    HRESULT delegatingQueryInterface(REFIID iid, void** ppv) noexcept {
        return outer_ ? outer_->QueryInterface(iid, ppv) : inner_.QueryInterface(iid, ppv);
    }
    ULONG delegatingAddRef() noexcept { return outer_ ? outer_->AddRef() : inner_.AddRef(); }
    ULONG delegatingRelease() noexcept { return outer_ ? outer_->Release() : inner_.Release(); }

private:
    template <class T> friend HRESULT createInstance(IUnknown*, REFIID, void**) noexcept;

    class Inner final : public IUnknown {
    public:
        explicit Inner(ObjectRoot* owner) noexcept : owner_(owner) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
            if (!ppv) return E_POINTER;
            *ppv = nullptr;
            if (iid == IID_IUnknown) {
                *ppv = static_cast<IUnknown*>(this);
            } else {
                *ppv = findInterface(owner_->interfaceMap(), owner_, iid);
                if (!*ppv) return E_NOINTERFACE;
            }
            // Through the interface just handed out, so an aggregated object
            // keeps its outer alive.
            static_cast<IUnknown*>(*ppv)->AddRef();
            return S_OK;
        }
        ULONG STDMETHODCALLTYPE AddRef() override {
            return owner_->refs_.fetch_add(1, std::memory_order_relaxed) + 1;
        }
        ULONG STDMETHODCALLTYPE Release() override {
            const ULONG left = owner_->refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
            if (left == 0) delete owner_;
            return left;
        }

    private:
        ObjectRoot* owner_;
    };

    Inner inner_;
    std::atomic<ULONG> refs_{0};
    IUnknown* outer_ = nullptr; // not owned: the outer owns us
};

// Creates a T, aggregated when `outer` is given (then `iid` must be IUnknown,
// and *ppv receives the non-delegating unknown).
template <class T> HRESULT createInstance(IUnknown* outer, REFIID iid, void** ppv) noexcept {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (outer && iid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
    return firewall([&]() -> HRESULT {
        T* object = new T();
        ObjectRoot* root = object;
        root->outer_ = outer;
        IUnknown* inner = root->nonDelegatingUnknown();
        inner->AddRef(); // keeps the object alive through finalConstruct and QueryInterface
        HRESULT hr = root->finalConstruct();
        if (SUCCEEDED(hr)) hr = inner->QueryInterface(iid, ppv);
        inner->Release();
        return hr;
    });
}

// The class object of a served class.
template <class T> class ClassFactory final : public ObjectRoot, public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {
        return delegatingQueryInterface(iid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return delegatingAddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return delegatingRelease(); }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** ppv) override {
        return createInstance<T>(outer, iid, ppv);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        lock ? lockModule() : unlockModule();
        return S_OK;
    }

protected:
    const InterfaceEntry* interfaceMap() const noexcept override {
        static const InterfaceEntry map[] = {{&IID_IClassFactory,
                                              [](ObjectRoot* self) -> void* {
                                                  return static_cast<IClassFactory*>(
                                                      static_cast<ClassFactory*>(self));
                                              }},
                                             {nullptr, nullptr}};
        return map;
    }
};

} // namespace zul::com

#define ZUL_BEGIN_INTERFACE_MAP(Class)                                                             \
    using ZulMapClass_ = Class;                                                                    \
                                                                                                   \
protected:                                                                                         \
    const ::zul::com::InterfaceEntry* interfaceMap() const noexcept override {                     \
        static const ::zul::com::InterfaceEntry map[] = {

// An interface answered by its own IID.
#define ZUL_INTERFACE_ENTRY(Interface) ZUL_INTERFACE_ENTRY2(Interface, Interface)

// `Interface`'s IID answered through the base path `Via` (for an interface that
// several implemented interfaces derive from).
#define ZUL_INTERFACE_ENTRY2(Interface, Via)                                                       \
    {&::zul::com::iidOf<Interface>(), [](::zul::com::ObjectRoot* self) -> void* {                  \
         return static_cast<Interface*>(static_cast<Via*>(static_cast<ZulMapClass_*>(self)));      \
     }},

// Every interface the base class `Base` (itself an ObjectRoot class with a map) answers.
#define ZUL_INTERFACE_ENTRY_CHAIN(Base)                                                            \
    {nullptr, nullptr, [](const ::zul::com::ObjectRoot* self) {                                    \
         return static_cast<const ZulMapClass_*>(self)->Base::interfaceMap();                      \
     }},

#define ZUL_END_INTERFACE_MAP()                                                                    \
    { nullptr, nullptr }                                                                           \
    }                                                                                              \
    ;                                                                                              \
    return map;                                                                                    \
    }                                                                                              \
                                                                                                   \
public:

#define ZUL_DELEGATING_IUNKNOWN                                                                    \
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override {                    \
        return delegatingQueryInterface(iid, ppv);                                                 \
    }                                                                                              \
    ULONG STDMETHODCALLTYPE AddRef() override {                                                    \
        return delegatingAddRef();                                                                 \
    }                                                                                              \
    ULONG STDMETHODCALLTYPE Release() override {                                                   \
        return delegatingRelease();                                                                \
    }
