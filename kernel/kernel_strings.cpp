// SPDX-License-Identifier: MIT
#include "kernel/kernel_strings.h"

#include <atomic>
#include <mutex>

#include "kernel/status_table.h"
#include "platform/status.h"

namespace vane::kernel {
namespace {

struct CatalogueEntry {
  UINT id;
  const WCHAR* text;
};

constexpr CatalogueEntry kEnglish[] = {
    {kStrIncompatibleClient,
     u"The version of the Vane Format Kernel is incompatible with the following client:\n\n%s."},
    {kStrOsTooOld, u"This product requires Windows 95 or Windows NT 4.0 or later."},
    {kStrKernelCaption, u"Vane Format Kernel"},
    {kStrKernelTooOld, u"The version of the Orvel Kernel is too old."},
    {kStrPluginDialog, u"Plug-in"},
    {kStrPluginNotReady, u"A plug-in could not be made ready."},
    {kStrDefaultTemplate, u"Default Template"},
    {kStrMinusInfinity, u"-Inf."},
    {kStrError, u"Err."},
    {kStrDecibelUnit, u" dB"},
    {kStrSmpteLabel, u"hr%smn%ssc%sfr"},
    {kStrSmpteLabelFull, u"hours%sminutes%sseconds%sframes"},
    {kStrMusicLabel, u"mm%sbb%sttt"},
    {kStrMusicLabelFull, u"measures%sbeats%sticks"},
    {kStrSizeBytesShort, u"%1 B"},
    {kStrSizeBytesLong, u"%1 bytes"},
    {kStrSizeKB, u"%1 KB"},
    {kStrSizeMB, u"%1 MB"},
    {kStrSizeGB, u"%1 GB"},
    {kStrSizeTB, u"%1 TB"},
    {kStrSizePB, u"%1 PB"},
    {kStrSizeEB, u"%1 EB"},
    {kStrSizeBeyond, u"> 9 YB"},
};

// The built-in source: the handle is the catalogue itself.
HRESULT BuiltInOpen(void** handle, HMODULE) {
  *handle = const_cast<CatalogueEntry*>(kEnglish);
  return S_OK;
}
const WCHAR* BuiltInGet(void*, UINT id) { return BuiltInKernelString(id); }
void BuiltInClose(void*) {}

constexpr KernelStringSource kBuiltInSource{&BuiltInOpen, &BuiltInGet, &BuiltInClose};

// Plain statics (constant-initialised), so that the module's attach and
// detach may use them whatever the order of static construction.
std::mutex g_mutex;
const KernelStringSource* g_source = &kBuiltInSource;
void* g_handle = nullptr;

void CloseLocked() {
  if (g_handle) g_source->close(g_handle);
  g_handle = nullptr;
}

}  // namespace

const WCHAR* BuiltInKernelString(UINT id) {
  for (const CatalogueEntry& e : kEnglish)
    if (e.id == id) return e.text;
  // The texts of the kernel's own statuses 0x8004Exxx stand under the
  // numbers 0xExxx.
  if (id >= kStatusStringFirst && id <= kStatusStringLast) return ZoStatus_FindText(MakeStatus(0x80040000u | id));
  return nullptr;
}

std::vector<std::pair<UINT, const WCHAR*>> BuiltInKernelCatalogue() {
  std::vector<std::pair<UINT, const WCHAR*>> all;
  for (const CatalogueEntry& e : kEnglish) all.emplace_back(e.id, e.text);
  for (UINT id = kStatusStringFirst; id <= kStatusStringLast; ++id)
    if (const WCHAR* text = BuiltInKernelString(id)) all.emplace_back(id, text);
  return all;
}

void SetKernelStringSource(const KernelStringSource* source) {
  std::lock_guard<std::mutex> lock(g_mutex);
  CloseLocked();
  g_source = source ? source : &kBuiltInSource;
}

HRESULT OpenKernelStrings(HMODULE module) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_handle) return S_OK;
  void* handle = nullptr;
  const HRESULT hr = g_source->open(&handle, module);
  if (SUCCEEDED(hr)) g_handle = handle;
  return hr;
}

void CloseKernelStrings() {
  std::lock_guard<std::mutex> lock(g_mutex);
  CloseLocked();
}

bool KernelStringsOpen() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_handle != nullptr;
}

const WCHAR* KernelText(UINT id) {
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_handle && g_source != &kBuiltInSource)
      if (const WCHAR* text = g_source->get(g_handle, id); text && *text) return text;
  }
  const WCHAR* text = BuiltInKernelString(id);
  return text ? text : u"";
}

std::u16string KernelString(UINT id) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (!g_handle) return {};
  const WCHAR* text = g_source->get(g_handle, id);
  return text ? std::u16string(text) : std::u16string();
}

}  // namespace vane::kernel
