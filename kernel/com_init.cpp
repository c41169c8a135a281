// SPDX-License-Identifier: MIT
#include "kernel/com_init.h"

#include <atomic>
#include <vector>

namespace {

struct SpyEntry {
  IInitializeSpy* spy;
  ULONGLONG cookie;
};

struct ThreadCom {
  DWORD apartmentRefs = 0;
  DWORD oleRefs = 0;
  DWORD model = 0;
  std::vector<SpyEntry> spies;
};

thread_local ThreadCom t_com;
std::atomic<ULONGLONG> g_nextCookie{1};

// Spies are called on a copy: a spy may register or revoke from inside.
std::vector<SpyEntry> Spies() { return t_com.spies; }

}  // namespace

HRESULT CoInitializeEx(LPVOID, DWORD coInit) {
  const DWORD model = coInit & COINIT_APARTMENTTHREADED;
  for (const SpyEntry& e : Spies()) e.spy->PreInitialize(coInit, t_com.apartmentRefs);
  HRESULT hr;
  if (t_com.apartmentRefs > 0 && t_com.model != model) {
    hr = RPC_E_CHANGED_MODE;
  } else {
    hr = t_com.apartmentRefs == 0 ? S_OK : S_FALSE;
    t_com.model = model;
    ++t_com.apartmentRefs;
  }
  for (const SpyEntry& e : Spies()) hr = e.spy->PostInitialize(hr, coInit, t_com.apartmentRefs);
  return hr;
}

void CoUninitialize(void) {
  for (const SpyEntry& e : Spies()) e.spy->PreUninitialize(t_com.apartmentRefs);
  if (t_com.apartmentRefs > 0) --t_com.apartmentRefs;
  for (const SpyEntry& e : Spies()) e.spy->PostUninitialize(t_com.apartmentRefs);
}

HRESULT OleInitialize(LPVOID reserved) {
  const HRESULT hr = CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
  if (FAILED(hr)) return hr;
  return t_com.oleRefs++ == 0 ? hr : S_FALSE;
}

void OleUninitialize(void) {
  if (t_com.oleRefs == 0) return;
  --t_com.oleRefs;
  CoUninitialize();
}

HRESULT CoRegisterInitializeSpy(IInitializeSpy* spy, ULARGE_INTEGER* cookie) {
  if (!spy || !cookie) return E_INVALIDARG;
  IInitializeSpy* held = nullptr;
  const HRESULT hr = spy->QueryInterface(IID_IInitializeSpy, reinterpret_cast<void**>(&held));
  if (FAILED(hr) || !held) return E_NOINTERFACE;
  cookie->QuadPart = g_nextCookie.fetch_add(1);
  t_com.spies.push_back(SpyEntry{held, cookie->QuadPart});
  return S_OK;
}

HRESULT CoRevokeInitializeSpy(ULARGE_INTEGER cookie) {
  for (auto it = t_com.spies.begin(); it != t_com.spies.end(); ++it) {
    if (it->cookie != cookie.QuadPart) continue;
    IInitializeSpy* spy = it->spy;
    t_com.spies.erase(it);
    spy->Release();
    return S_OK;
  }
  return E_INVALIDARG;
}

DWORD ZoCom_ThreadApartmentRefs(void) { return t_com.apartmentRefs; }
DWORD ZoCom_ThreadOleRefs(void) { return t_com.oleRefs; }
DWORD ZoCom_ThreadSpyCount(void) { return DWORD(t_com.spies.size()); }

void CMonitored_CoInitializeEx::Register() { CoRegisterInitializeSpy(this, &m_cookie); }

HRESULT CMonitored_CoInitializeEx::CoInitialize(LPVOID reserved) {
  Register();
  return ::CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
}

HRESULT CMonitored_CoInitializeEx::CoInitializeEx(LPVOID reserved, DWORD coInit) {
  Register();
  return ::CoInitializeEx(reserved, coInit);
}

void CMonitored_CoInitializeEx::CoUninitialize() {
  CoRevokeInitializeSpy(m_cookie);
  ::CoUninitialize();
}

HRESULT CMonitored_CoInitializeEx::OleInitialize(LPVOID reserved) {
  Register();
  return ::OleInitialize(reserved);
}

void CMonitored_CoInitializeEx::OleUninitialize() {
  CoRevokeInitializeSpy(m_cookie);
  ::OleUninitialize();
}

HRESULT CMonitored_CoInitializeEx::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IInitializeSpy) {
    *object = static_cast<IInitializeSpy*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}
