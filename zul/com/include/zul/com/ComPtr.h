// Reference-owning interface pointer.
#pragma once

#include <utility>

#include "zul/com/com.h"

namespace zul::com {

template <class T> class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(std::nullptr_t) noexcept {}
    // Takes a new reference on `p`.
    explicit ComPtr(T* p) noexcept : p_(p) { addRef(); }
    ComPtr(const ComPtr& o) noexcept : p_(o.p_) { addRef(); }
    ComPtr(ComPtr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    ~ComPtr() { release(); }

    ComPtr& operator=(const ComPtr& o) noexcept {
        ComPtr(o).swap(*this);
        return *this;
    }
    ComPtr& operator=(ComPtr&& o) noexcept {
        ComPtr(std::move(o)).swap(*this);
        return *this;
    }
    ComPtr& operator=(std::nullptr_t) noexcept {
        Reset();
        return *this;
    }

    T* Get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

    // For out-parameters: the pointer must be empty (asserted by releasing first).
    T** ReleaseAndGetAddressOf() noexcept {
        release();
        return &p_;
    }
    T** GetAddressOf() noexcept { return &p_; }

    // Adopts `p` without taking a reference.
    void Attach(T* p) noexcept {
        release();
        p_ = p;
    }
    // Gives up ownership without releasing.
    T* Detach() noexcept { return std::exchange(p_, nullptr); }
    void Reset() noexcept { release(); }
    void swap(ComPtr& o) noexcept { std::swap(p_, o.p_); }

    // QueryInterface into another smart pointer.
    template <class U> HRESULT As(ComPtr<U>& out) const noexcept {
        if (!p_) return E_POINTER;
        return p_->QueryInterface(iidOf<U>(),
                                  reinterpret_cast<void**>(out.ReleaseAndGetAddressOf()));
    }
    // Hands out a new reference.
    HRESULT CopyTo(T** out) const noexcept {
        if (!out) return E_POINTER;
        *out = p_;
        addRef();
        return S_OK;
    }

    friend bool operator==(const ComPtr& a, const ComPtr& b) noexcept { return a.p_ == b.p_; }
    friend bool operator==(const ComPtr& a, std::nullptr_t) noexcept { return a.p_ == nullptr; }

private:
    void addRef() const noexcept {
        if (p_) p_->AddRef();
    }
    void release() noexcept {
        if (T* p = std::exchange(p_, nullptr)) p->Release();
    }
    T* p_ = nullptr;
};

} // namespace zul::com
