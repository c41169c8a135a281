// SPDX-License-Identifier: MIT
#include "kernel/error_handler.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "kernel/message_box.h"
#include "kernel/status_table.h"
#include "kernel/win32_errors.h"
#include "kernel/zolang.h"
#include "kernel/zoprintf.h"
#include "platform/sync.h"

namespace {

constexpr size_t kMaxTables = 32;
constexpr size_t kHyperlinkChars = 2083;
constexpr size_t kLabelChars = 2048;

struct Details {
  HRESULT lastError = S_OK;
  DWORD owner = 0;
  std::u16string text;
  std::u16string link;
  std::u16string label;
};

Details& TheDetails() {
  static Details d;
  return d;
}

struct Table {
  const ZOERRORTABLEROW* rows;
  LONG count;
  void* context;
  ZOERRORSTRINGPROC lookup;
};

std::vector<Table>& Tables() {
  static std::vector<Table> tables;
  return tables;
}

// The kernel's formatter into a growing buffer: "%" forms plain, "$" forms
// in the user's punctuation, "$(name)" tokens.
std::u16string Format(const WCHAR* format, va_list args) {
  std::vector<WCHAR> buffer(1024);
  for (;;) {
    va_list copy;
    va_copy(copy, args);
    size_t written = 0;
    const HRESULT hr = ZoNVPrintF(buffer.data(), buffer.size(), &written, format, copy);
    va_end(copy);
    if (hr == S_OK || buffer.size() >= (size_t(1) << 22)) return std::u16string(buffer.data(), written);
    buffer.resize(buffer.size() * 4);
  }
}

// Table texts open with line feeds for a message box; a composed text wants none.
std::u16string Trimmed(const WCHAR* text) {
  std::u16string s = text ? text : u"";
  const size_t first = s.find_first_not_of(u"\r\n");
  return first == std::u16string::npos ? std::u16string() : s.substr(first);
}

}  // namespace

VANE_EXTERN_C HRESULT ZoErrorHandler_GetLastError(void) { return TheDetails().lastError; }

VANE_EXTERN_C HRESULT ZoErrorHandler_DetailsInit(void) {
  TheDetails() = Details{};
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoErrorHandler_DetailsAddStringV(HRESULT status, const WCHAR* format, va_list args) {
  if (!format) return E_POINTER;
  Details& d = TheDetails();
  const DWORD me = GetCurrentThreadId();
  if (d.owner == 0) {
    d.owner = me;
    d.lastError = status;
  } else if (d.owner != me && status != d.lastError) {
    return E_FAIL;
  }
  try {
    d.text += Format(format, args);
  } catch (...) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoErrorHandler_DetailsAddString(HRESULT status, const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  const HRESULT hr = ZoErrorHandler_DetailsAddStringV(status, format, args);
  va_end(args);
  return hr;
}

VANE_EXTERN_C const WCHAR* ZoErrorHandler_DetailsInfo(HRESULT* error, DWORD* length, DWORD* thread) {
  const Details& d = TheDetails();
  if (error) *error = d.lastError;
  if (length) *length = DWORD(d.text.size());
  if (thread) *thread = d.owner;
  return d.text.empty() ? nullptr : d.text.c_str();
}

VANE_EXTERN_C HRESULT ZoErrorHandler_DetailsSetHyperlink(const WCHAR* address, const WCHAR* label) {
  if (!address || !label) return E_POINTER;
  Details& d = TheDetails();
  d.link = std::u16string(address).substr(0, kHyperlinkChars);
  d.label = std::u16string(label).substr(0, kLabelChars);
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoErrorHandler_TranslateCommDlgError(DWORD code) {
  switch (code) {
    case 0: return S_OK;
    case 1: case 3: case 4: case 11: case 12289: case 12291: case 16385: case 65535: return E_INVALIDARG;
    case 6: return MakeStatus(0x8004E00E);
    case 12290: return MakeStatus(0x8004E00D);
    case 2: case 5: case 7: case 8: case 9: case 10: return E_OUTOFMEMORY;
    default: return E_FAIL;
  }
}

VANE_EXTERN_C HRESULT ZoErrorHandler_TranslateWin32Error(DWORD code) {
  size_t n = 0;
  const vane::kernel::Win32Row* rows = vane::kernel::Win32Rows(&n);
  for (size_t i = 0; i < n; ++i)
    if (rows[i].code == code) return rows[i].status;
  return E_FAIL;
}

VANE_EXTERN_C HRESULT ZoErrorHandler_AddErrorTable(const ZOERRORTABLEROW* rows, LONG count, void* languageContext,
                                                   ZOERRORSTRINGPROC lookup) {
  if (!rows || count <= 0 || !lookup) return E_INVALIDARG;
  if (Tables().size() >= kMaxTables) return MakeStatus(1);
  Tables().push_back({rows, count, languageContext, lookup});
  return S_OK;
}

VANE_EXTERN_C const WCHAR* ZoErrorHandler_GetHresultString(HRESULT status) {
  for (const Table& t : Tables())
    for (LONG i = 0; i < t.count; ++i)
      if (t.rows[i].status == status) {
        if (const WCHAR* text = t.lookup(t.context, t.rows[i].stringId)) return text;
      }
  // The kernel's own statuses in the language of its handle: a language
  // module holds the text of 0x8004xxxx under the string number xxxx.
  if ((DWORD(status) & 0xFFFF0000u) == 0x80040000u) {
    HZOLANG kernel = ZoLang_KernelHandle();
    if (kernel && !ZoLang_IsLCIDEnglish(ZoLang_GetLCID(kernel))) {
      const WCHAR* text = ZoGetStringByNumber(kernel, UINT(DWORD(status) & 0xFFFF));
      if (text && *text) return text;
    }
  }
  if (const WCHAR* text = ZoStatus_FindText(status)) return text;
  if ((DWORD(status) & 0xFFFF0000u) == 0x80070000u) return ZoWin32_FindText(DWORD(status) & 0xFFFF);
  return nullptr;
}

VANE_EXTERN_C const WCHAR* ZoLang_ErrorStringLookup(void* languageContext, UINT stringId) {
  return ZoGetStringByNumber(static_cast<HZOLANG>(languageContext), stringId);
}

VANE_EXTERN_C BSTR ZoErrorHandler_GetErrorMessage(HRESULT status) {
  std::u16string text = Trimmed(ZoErrorHandler_GetHresultString(status));
  if (text.empty()) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "An error of code 0x%08X occurred.", unsigned(status));
    text = vane::platform::FromUtf8(buf);
  }
  return SysAllocString(text.c_str());
}

VANE_EXTERN_C BSTR ZoErrorHandler_GetContextString(const WCHAR* context, HRESULT status) {
  BSTR message = ZoErrorHandler_GetErrorMessage(status);
  std::u16string text = context && *context ? std::u16string(context) + u"\r\n\r\n" : std::u16string();
  text += message ? message : u"";
  SysFreeString(message);
  return SysAllocString(text.c_str());
}

VANE_EXTERN_C BSTR ZoErrorHandler_ComposeErrorText(const WCHAR* context, HRESULT status, const WCHAR* details) {
  BSTR head = ZoErrorHandler_GetContextString(context, status);
  std::u16string text = head ? head : u"";
  SysFreeString(head);
  if (details && *details) text += u"\r\n<Details>\r\n" + std::u16string(details) + u"\r\n</Details>";
  return SysAllocString(text.c_str());
}

VANE_EXTERN_C int ZoErrorHandler_MsgBoxText(HWND owner, UINT flags, const WCHAR* text, LONG_PTR) {
  const Details& d = TheDetails();
  std::u16string body = text ? text : u"";
  // The details go with the text unless they are the text itself.
  const bool details = !d.text.empty() && d.text != body;
  if (details) body += u"\r\n\r\n" + d.text;
  if (!d.link.empty()) body += u"\r\n" + d.label + u": " + d.link;
  const UINT style = details ? (flags | 0xC000u) : (flags & ~0xC000u);
  return ZoKernel_MessageBox(owner, body.c_str(), u"Error", style);
}

VANE_EXTERN_C int ZoErrorHandler_MsgBox(HWND owner, UINT flags, const WCHAR* context, HRESULT status,
                                        const WCHAR* details, LONG_PTR extra) {
  if (status == MakeStatus(0x8004E00C)) return 1;  // cancelled by the user: nothing to tell
  BSTR text = ZoErrorHandler_ComposeErrorText(context, status, details);
  const int result = ZoErrorHandler_MsgBoxText(owner, flags, text, extra);
  SysFreeString(text);
  return result;
}

VANE_EXTERN_C LONG ZoErrorHandler_DumpHex(char* out, LONG capacity, const void* data, LONG bytes) {
  if (!out || capacity <= 0) return 0;
  out[0] = 0;
  if (!data || bytes <= 0) return 0;
  const auto* b = static_cast<const unsigned char*>(data);
  LONG used = 0;
  for (LONG i = 0; i < bytes && used < capacity - 1; i += 16) {
    char line[96];
    int n = std::snprintf(line, sizeof line, "%04X:", unsigned(i));
    for (LONG k = i; k < i + 16 && k < bytes; ++k) n += std::snprintf(line + n, sizeof line - size_t(n), " %02X", b[k]);
    std::snprintf(line + n, sizeof line - size_t(n), "\r\n");
    const LONG len = LONG(std::strlen(line));
    if (used + len >= capacity) break;
    std::memcpy(out + used, line, size_t(len) + 1);
    used += len;
  }
  return used;
}

VANE_EXTERN_C LONG ZoErrorHandler_DumpHexDWords(char* out, LONG capacity, const void* data, LONG words) {
  if (!out || capacity <= 0) return 0;
  out[0] = 0;
  if (!data || words <= 0) return 0;
  const auto* w = static_cast<const unsigned char*>(data);
  LONG used = 0;
  for (LONG i = 0; i < words; i += 8) {
    char line[128];
    int n = std::snprintf(line, sizeof line, "%04X:", unsigned(i * 4));
    for (LONG k = i; k < i + 8 && k < words; ++k) {
      std::uint32_t v;
      std::memcpy(&v, w + size_t(k) * 4, 4);
      n += std::snprintf(line + n, sizeof line - size_t(n), " %08" PRIX32, v);
    }
    std::snprintf(line + n, sizeof line - size_t(n), "\r\n");
    const LONG len = LONG(std::strlen(line));
    if (used + len >= capacity) break;
    std::memcpy(out + used, line, size_t(len) + 1);
    used += len;
  }
  return used;
}
