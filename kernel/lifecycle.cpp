// SPDX-License-Identifier: MIT
#include "kernel/lifecycle.h"

#include <atomic>
#include <mutex>
#include <string>

#include "kernel/clock.h"
#include "kernel/detail/cpu_detect.h"
#include "kernel/intl.h"
#include "kernel/kernel_strings.h"
#include "kernel/message_box.h"
#include "kernel/os_info.h"
#include "kernel/perfs.h"
#include "kernel/ui_state.h"
#include "kernel/zolist.h"
#include "platform/file.h"
#include "platform/module.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace vane::kernel {
namespace {

constexpr size_t kClientNameChars = 128;
constexpr size_t kFailureTextChars = 512;

// Constant-initialised, so attach and detach may use them in any order of
// static construction and destruction.
std::atomic<HMODULE> g_appKernel{nullptr};
std::atomic<DWORD> g_flags{0};
std::atomic<UINT> g_errorMode{0};
std::atomic<bool> g_runDll{false};

// The string buffer list: a thread-safe heap list whose items are the kept
// strings (UTF-16, terminated). The mutex (constant-initialised like the
// rest) ties a keeper's insertion and its read of the slot to the list's
// lifetime, so that termination never frees the list under a keeper.
tZOLIST* g_stringBuffers = nullptr;
std::mutex g_stringBuffersMutex;

constexpr LONG kStringBufferSlots = 16;
constexpr LONG kStringBufferGrowth = 16;

HRESULT CreateStringBuffers() {
  std::lock_guard lock(g_stringBuffersMutex);
  if (g_stringBuffers) return S_OK;  // a second start keeps the list and its strings
  return ZoList_CreateExZ(&g_stringBuffers, 0, kStringBufferSlots, kStringBufferGrowth,
                          ZOLIST_OPT_HEAPITEMS | ZOLIST_OPT_THREADSAFE, 0, 0, 0);
}

void ReleaseStringBuffers() {
  std::lock_guard lock(g_stringBuffersMutex);
  ZoList_Destroy(g_stringBuffers);  // frees every kept string
  g_stringBuffers = nullptr;
}

// The client's name from the ANSI code page, at most 127 characters.
std::u16string ClientName(LPCSTR name) {
  if (!name) return {};
  std::u16string wide = vane::platform::FromCodePage(name, CP_ACP);
  if (wide.size() > kClientNameChars - 1) wide.resize(kClientNameChars - 1);
  return wide;
}

// The message with its "%s" filled in, cut to the failure buffer.
std::u16string FillName(std::u16string text, const std::u16string& name) {
  const size_t at = text.find(u"%s");
  if (at != std::u16string::npos) text.replace(at, 2, name);
  if (text.size() > kFailureTextChars - 1) text.resize(kFailureTextChars - 1);
  return text;
}

}  // namespace

UINT SetProcessErrorMode(UINT mode) { return g_errorMode.exchange(mode); }
UINT ProcessErrorMode() { return g_errorMode.load(); }
DWORD StartupFlags() { return g_flags.load(); }
bool RunningUnderRunDll() { return g_runDll.load(); }
void SetRunningUnderRunDll(bool value) { g_runDll.store(value); }

const WCHAR* KeepStringBuffer(std::u16string_view text) {
  // The item is copied with its terminator: the view's own storage may end
  // without one.
  const std::u16string copy(text);
  std::lock_guard lock(g_stringBuffersMutex);
  tZOLIST* list = g_stringBuffers;
  if (!list) return nullptr;
  LONG at = -1;
  if (FAILED(ZoList_AllocAndInsertItem(list, copy.c_str(), (copy.size() + 1) * sizeof(WCHAR), -1, &at))) return nullptr;
  return static_cast<const WCHAR*>(ZoList_PointerAt(list, at));
}

const tZOLIST* StringBufferList() {
  std::lock_guard lock(g_stringBuffersMutex);
  return g_stringBuffers;
}

}  // namespace vane::kernel

using namespace vane::kernel;

BOOL ZoKernel_EarlyInitialize(HMODULE module, DWORD flags) {
  SetProcessErrorMode(ProcessErrorMode() | kErrorModeQuiet);
  ZoTimer_Initialize(4);
  ZoIsWin95();  // caches the platform id
  g_appKernel.store(module);
  g_flags.store(flags);
  EnsureCpuDetected();
  ApplyCpuGatesToDetectedWord();

  UiKitState& ui = UiKit();
  ui.paletteSelector = PaletteSelectorForFlags(flags);
  ui.hostCursorBase = kHostCursorBase;
  ui.hostModule = nullptr;  // the null module names the executable in the module functions
  ui.splash = nullptr;
  LoadUiDefaults();

  HRESULT hr = CreateStringBuffers();
  if (SUCCEEDED(hr)) {
    hr = OpenKernelStrings(module);
    // The national settings, once, with the kernel's tokens.
    if (SUCCEEDED(hr)) ZoLang_GetInternationals(nullptr, 0);
  }

  // Neither can fail the start.
  ZoTimer_LateInitialize();
  ZoPerf_Initialize();
  return SUCCEEDED(hr) ? TRUE : FALSE;
}

BOOL ZoKernel_LateTerminate(HMODULE, DWORD) {
  CloseKernelStrings();
  ReleaseStringBuffers();
  ReleaseUiCaches();
  g_appKernel.store(nullptr);
  return TRUE;
}

HMODULE ZoKernel_GetAppKernel(void) { return g_appKernel.load(); }

HRESULT ZoKernel_GetAppKernelPathName(LPWSTR buffer, DWORD capacity) {
  if (!buffer || capacity == 0) return E_POINTER;
  buffer[0] = 0;
  if (HMODULE module = g_appKernel.load()) {
    if (GetModuleFileNameW(module, buffer, capacity) != 0) return S_OK;
    const DWORD error = GetLastError();
    return error ? HRESULT_FROM_WIN32(error) : E_FAIL;
  }
  // Before the start (or after the end) the kernel's own file answers.
  const std::string path = KernelFilePath();
  if (path.empty()) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  const std::u16string wide = vane::platform::FromUtf8(path);
  if (wide.size() >= capacity) return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
  ZoWcsCopy(buffer, capacity, wide.c_str());
  return S_OK;
}

void ZoKernel_SetSplash(HWND window) { UiKit().splash = window; }

LRESULT ZoKernel_UserPrefChanges(HWND, UINT message, WPARAM, LPARAM) {
  switch (message) {
    case ZOKERNEL_WM_SYSCOLORCHANGE:
      RefreshDisplayCaches();
      LoadUiDefaults();
      return 0;
    case ZOKERNEL_WM_DISPLAYCHANGE:
      RefreshDisplayCaches();
      return 0;
    default:
      return LRESULT(message);
  }
}

DWORD ZoKernel_GetVersion(void) { return ZOKERNEL_VERSION; }

HRESULT ZoKernel_CheckVersion(HWND owner, LPCSTR clientName, DWORD clientVersion, DWORD interfaceLevel, DWORD,
                              BOOL quiet) {
  const std::u16string name = ClientName(clientName);
  UINT message = 0;
  if (RunningOsVersion().major < 4)
    message = kStrOsTooOld;
  else if (interfaceLevel != ZOKERNEL_INTERFACE_LEVEL)
    message = kStrIncompatibleClient;
  else if (clientVersion > ZOKERNEL_VERSION)
    message = kStrKernelTooOld;
  else
    return S_OK;

  if (!quiet) {
    const std::u16string text = FillName(KernelString(message), name);
    const std::u16string caption = KernelString(kStrKernelCaption);
    ZoKernel_MessageBox(owner, text.c_str(), caption.c_str(), MB_ICONINFORMATION);
  }
  return E_FAIL;
}
