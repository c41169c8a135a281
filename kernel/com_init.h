// SPDX-License-Identifier: MIT
// COM apartment calls as per-thread counters, the initialise spy, and
// CMonitored_CoInitializeEx, the spy the kernel hands out for hosts that
// want their COM start and end observed.
//
// Thread rule: everything here belongs to the calling thread. A spy
// registers on the calling thread and must be revoked there.
#pragma once

#include "platform/com.h"
#include "platform/export.h"

inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
inline constexpr HRESULT RPC_E_CHANGED_MODE = MakeStatus(0x80010106);

// {00000034-0000-0000-C000-000000000046}
inline constexpr IID IID_IInitializeSpy =
    VANE_GUID(0x00000034, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

struct IInitializeSpy : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE PreInitialize(DWORD coInit, DWORD currentThreadAptRefs) = 0;
  virtual HRESULT STDMETHODCALLTYPE PostInitialize(HRESULT result, DWORD coInit, DWORD newThreadAptRefs) = 0;
  virtual HRESULT STDMETHODCALLTYPE PreUninitialize(DWORD currentThreadAptRefs) = 0;
  virtual HRESULT STDMETHODCALLTYPE PostUninitialize(DWORD newThreadAptRefs) = 0;
};

VANE_BEGIN_EXTERN_C
// The first call on a thread gives S_OK, later ones S_FALSE; a call with the
// other threading model gives RPC_E_CHANGED_MODE and counts nothing. The
// thread's spies see every call before and after.
VANE_EXPORT HRESULT CoInitializeEx(LPVOID reserved, DWORD coInit);
VANE_EXPORT void CoUninitialize(void);
// Apartment-threaded CoInitializeEx plus the OLE count.
VANE_EXPORT HRESULT OleInitialize(LPVOID reserved);
VANE_EXPORT void OleUninitialize(void);
VANE_EXPORT HRESULT CoRegisterInitializeSpy(IInitializeSpy* spy, ULARGE_INTEGER* cookie);
// E_INVALIDARG for a cookie not registered on the calling thread.
VANE_EXPORT HRESULT CoRevokeInitializeSpy(ULARGE_INTEGER cookie);
// The calling thread's apartment and OLE counts, and its spies.
VANE_EXPORT DWORD ZoCom_ThreadApartmentRefs(void);
VANE_EXPORT DWORD ZoCom_ThreadOleRefs(void);
VANE_EXPORT DWORD ZoCom_ThreadSpyCount(void);
VANE_END_EXTERN_C

// Registers itself as the thread's spy on each initialise and revokes itself
// on each uninitialise; the spy observes and changes nothing. Not reference
// counted: AddRef and Release always answer 1, and the owner keeps it alive
// while registered.
class VANE_EXPORT CMonitored_CoInitializeEx : public IInitializeSpy {
 public:
  CMonitored_CoInitializeEx() = default;
  CMonitored_CoInitializeEx(const CMonitored_CoInitializeEx&) = delete;
  CMonitored_CoInitializeEx& operator=(const CMonitored_CoInitializeEx&) = delete;

  HRESULT CoInitialize(LPVOID reserved);
  HRESULT CoInitializeEx(LPVOID reserved, DWORD coInit);
  void CoUninitialize();
  HRESULT OleInitialize(LPVOID reserved);
  void OleUninitialize();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE PreInitialize(DWORD, DWORD) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE PostInitialize(HRESULT result, DWORD, DWORD) override { return result; }
  HRESULT STDMETHODCALLTYPE PreUninitialize(DWORD) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE PostUninitialize(DWORD) override { return S_OK; }

 private:
  void Register();
  ULARGE_INTEGER m_cookie{};
};
