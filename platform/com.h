// SPDX-License-Identifier: MIT
// COM-style objects: IUnknown and IClassFactory as abstract classes in slot
// order (no virtual destructor: it would add a slot), ComPtr to hold
// references, and RefCounted to implement an object with an atomic count.
#pragma once

#include <atomic>
#include <utility>

#include "platform/guid.h"
#include "platform/status.h"

// {00000000-0000-0000-C000-000000000046}
inline constexpr IID IID_IUnknown = VANE_GUID(0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
// {00000001-0000-0000-C000-000000000046}
inline constexpr IID IID_IClassFactory =
    VANE_GUID(0x00000001, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

struct IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;
};

struct IClassFactory : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** object) = 0;
  virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) = 0;
};

// The entry every plug-in module exports.
using PFN_DllGetClassObject = HRESULT (*)(REFCLSID clsid, REFIID riid, void** object);
using PFN_DllCanUnloadNow = HRESULT (*)();

namespace vane {

// Holds one reference to a COM-style object.
template <typename T>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(std::nullptr_t) {}
  // Takes a new reference.
  explicit ComPtr(T* p) : m_p(p) {
    if (m_p) m_p->AddRef();
  }
  ComPtr(const ComPtr& o) : m_p(o.m_p) {
    if (m_p) m_p->AddRef();
  }
  ComPtr(ComPtr&& o) noexcept : m_p(std::exchange(o.m_p, nullptr)) {}
  ~ComPtr() { Reset(); }

  ComPtr& operator=(const ComPtr& o) {
    if (this != &o) {
      if (o.m_p) o.m_p->AddRef();
      Reset();
      m_p = o.m_p;
    }
    return *this;
  }
  ComPtr& operator=(ComPtr&& o) noexcept {
    if (this != &o) {
      Reset();
      m_p = std::exchange(o.m_p, nullptr);
    }
    return *this;
  }

  // Adopts a reference the caller already owns.
  static ComPtr Attach(T* p) {
    ComPtr c;
    c.m_p = p;
    return c;
  }
  T* Detach() { return std::exchange(m_p, nullptr); }
  void Reset() {
    if (T* p = std::exchange(m_p, nullptr)) p->Release();
  }

  T* Get() const { return m_p; }
  T* operator->() const { return m_p; }
  explicit operator bool() const { return m_p != nullptr; }
  // Out-parameter form: releases what is held and hands out the slot.
  T** ReleaseAndGetAddressOf() {
    Reset();
    return &m_p;
  }
  void** AsVoidOut() { return reinterpret_cast<void**>(ReleaseAndGetAddressOf()); }

  template <typename U>
  HRESULT As(REFIID iid, ComPtr<U>* out) const {
    if (!m_p) return E_POINTER;
    return m_p->QueryInterface(iid, out->AsVoidOut());
  }

 private:
  T* m_p = nullptr;
};

// Atomic reference count for implementations; Release deletes at zero.
// Derive as: class X final : public IFoo, public vane::RefCounted<X>.
template <typename Derived>
class RefCounted {
 public:
  ULONG AddRefImpl() { return ++m_refs; }
  ULONG ReleaseImpl() {
    ULONG n = --m_refs;
    if (n == 0) delete static_cast<Derived*>(this);
    return n;
  }
  ULONG RefCount() const { return m_refs.load(); }

 protected:
  RefCounted() = default;
  ~RefCounted() = default;

 private:
  std::atomic<ULONG> m_refs{1};
};

}  // namespace vane
