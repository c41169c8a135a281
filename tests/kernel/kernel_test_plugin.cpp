// SPDX-License-Identifier: MIT
// A tiny plug-in module for the instantiation tests: one class behind
// DllGetClassObject, and the folder that was current when the module loaded.
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "platform/com.h"
#include "platform/export.h"

namespace {

// {6C1E0A52-3F7B-4C29-9D0E-8A41B7C2D901}
constexpr CLSID kClass = VANE_GUID(0x6C1E0A52, 0x3F7B, 0x4C29, 0x9D, 0x0E, 0x8A, 0x41, 0xB7, 0xC2, 0xD9, 0x01);

char g_loadDirectory[4096];
std::atomic<int> g_liveObjects{0};

__attribute__((constructor)) void RecordLoadDirectory() {
  if (!getcwd(g_loadDirectory, sizeof g_loadDirectory)) g_loadDirectory[0] = 0;
}

class Object final : public IUnknown {
 public:
  Object() { ++g_liveObjects; }
  HRESULT QueryInterface(REFIID riid, void** out) override {
    if (!out) return E_POINTER;
    if (riid != IID_IUnknown) {
      *out = nullptr;
      return E_NOINTERFACE;
    }
    *out = this;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG n = --m_refs;
    if (n == 0) {
      --g_liveObjects;
      delete this;
    }
    return n;
  }

 private:
  ~Object() = default;
  std::atomic<ULONG> m_refs{1};
};

class Factory final : public IClassFactory {
 public:
  HRESULT QueryInterface(REFIID riid, void** out) override {
    if (riid == IID_IUnknown || riid == IID_IClassFactory) {
      *out = this;
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }
  HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** out) override {
    if (outer) return CLASS_E_NOAGGREGATION;
    Object* object = new Object;
    const HRESULT hr = object->QueryInterface(riid, out);
    object->Release();
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
};

Factory g_factory;

}  // namespace

extern "C" VANE_EXPORT HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (clsid != kClass) return CLASS_E_CLASSNOTAVAILABLE;
  return g_factory.QueryInterface(riid, out);
}

extern "C" VANE_EXPORT const char* TestPlugin_LoadDirectory() { return g_loadDirectory; }
extern "C" VANE_EXPORT int TestPlugin_LiveObjects() { return g_liveObjects.load(); }
