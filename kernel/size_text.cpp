// SPDX-License-Identifier: MIT
// Byte sizes, dB and labelled values as text, and the small name helpers.
#include <cmath>
#include <cstring>
#include <string>

#include "kernel/kernel_strings.h"
#include "kernel/number_text.h"
#include "kernel/zolang.h"
#include "kernel/zoprintf.h"
#include "platform/wtext.h"

using namespace vane::kernel;

namespace {

constexpr LONGLONG kKB = 1024;
constexpr LONGLONG kGB = LONGLONG(1) << 30;
constexpr LONGLONG kTB = LONGLONG(1) << 40;
constexpr LONGLONG kPB = LONGLONG(1) << 50;

// The number of ZoFormatFileSize: kept below 1000 and short.
std::u16string SizeNumber(double value) {
  WCHAR text[64];
  if (value >= 100.0) {
    ZoCchPrintF(text, 64, u"$.0f", value);
  } else {
    // From 10 up one decimal is shown; the 0.01 keeps a truncated .x from
    // printing as .x-1 through the binary fraction.
    if (value >= 10.0) value = std::trunc(value * 10.0) / 10.0 + 0.01;
    ZoCchPrintF(text, 64, value >= 10.0 ? u"$.3g" : u"$.4g", value);
  }
  std::u16string number(text);
  // A separator left without decimals after it is dropped.
  const std::u16string decimal = [] {
    WCHAR d[8];
    ZoGetInatN(24, d, 8);
    return std::u16string(d);
  }();
  if (number.size() >= decimal.size() && number.compare(number.size() - decimal.size(), decimal.size(), decimal) == 0)
    number.resize(number.size() - decimal.size());
  return number;
}

WCHAR* TempText(size_t count) {
  return ZoGetTempStringBuffer(ZoLang_KernelHandle(), DWORD(count));
}

const WCHAR* Labelled(const WCHAR* number, const WCHAR* label) {
  WCHAR* slot = TempText(24);
  if (!slot) return KernelText(kStrError);
  size_t n = ZoWcsCopy(slot, 24, number);
  if (label && n + ZoWcsLen(label) < 24) ZoWcsCopy(slot + n, 24 - n, label);
  return slot;
}

}  // namespace

VANE_EXTERN_C HRESULT ZoFormatFileSize(LONGLONG size, WCHAR* out, size_t capacity, BOOL longWord) {
  if (!out || capacity == 0) return ZOERR_BUFFER_TOO_SMALL;
  if (size < 0) size = 0;
  const WCHAR* unit;
  double value;
  if (size < 999) {
    WCHAR digits[32];
    ZoLongLongToTextN(size, digits, 32, 0);
    return ZoComposeStr(out, capacity, KernelText(longWord ? kStrSizeBytesLong : kStrSizeBytesShort), digits);
  }
  if (size < 0xF9C00) {
    value = double(size) / double(kKB);
    unit = KernelText(kStrSizeKB);
  } else if (size < 0x3E700000) {
    value = double(size) / double(0x100000);
    unit = KernelText(kStrSizeMB);
  } else if (size < 999 * kGB) {
    value = double(size) / double(kGB);
    unit = KernelText(kStrSizeGB);
  } else if (size < 999 * kTB) {
    value = double(size) / double(kTB);
    unit = KernelText(kStrSizeTB);
  } else if (size < 999 * kPB) {
    value = double(size) / double(kPB);
    unit = KernelText(kStrSizePB);
  } else if (size < LONGLONG(0x7000000000000000)) {
    value = double(size / kPB) / 1024.0;
    unit = KernelText(kStrSizeEB);
  } else {
    const WCHAR* beyond = KernelText(kStrSizeBeyond);
    return ZoWcsCopy(out, capacity, beyond) < ZoWcsLen(beyond) ? ZOERR_BUFFER_TOO_SMALL : S_OK;
  }
  const std::u16string number = SizeNumber(value);
  return ZoComposeStr(out, capacity, unit, number.c_str());
}

namespace {
int ByteSize(LONGLONG size, WCHAR* out, bool space) {
  if (!out) return 0;
  if (size < 0) size = 0;
  size_t written = 0;
  if (size < 1024) {
    WCHAR digits[32];
    ZoLongLongToTextN(size, digits, 32, 1);
    ZoCchPrintF(out, 64, u"%s bytes", digits);
    return int(ZoWcsLen(out));
  }
  double value;
  const WCHAR* format;
  if (size < 0xFA000) {
    value = double(size) * (1.0 / 1024.0);
    if (value < 0.01) value = 0.01;
    format = space ? u"$.2f KB" : u"$.2fKB";
  } else if (size < 0x3D090000) {
    value = double(size) / 1024000.0;
    format = space ? u"$.2f MB" : u"$.2fMB";
  } else {
    value = double(size) / 1024000000.0;
    format = space ? u"$.2f GB" : u"$.2fGB";
  }
  ZoCchPrintF(out, 64, format, value);
  (void)written;
  return int(ZoWcsLen(out));
}
}  // namespace

VANE_EXTERN_C int ZoGetByteSizeText(LONGLONG size, WCHAR* out) { return ByteSize(size, out, false); }
VANE_EXTERN_C int ZoGetByteSizeTextWithSpace(LONGLONG size, WCHAR* out) { return ByteSize(size, out, true); }
VANE_EXTERN_C int ZoGetByteSizeText2(LONGLONG size, WCHAR* out) {
  if (!out) return 0;
  ZoFormatFileSize(size, out, 64, TRUE);
  return int(ZoWcsLen(out));
}

VANE_EXTERN_C const WCHAR* ZoGetLabeledStringFixed(LONG value, int decimals, LONG floor, const WCHAR* label) {
  if (floor != 0 && value <= floor) return KernelText(kStrMinusInfinity);
  WCHAR number[24];
  if (decimals <= 0) {
    ZoCchPrintF(number, 24, u"$d", int(value));
  } else {
    const WCHAR format[] = {u'$', u'.', WCHAR(u'0' + (decimals > 9 ? 9 : decimals)), u'z', 0};
    ZoCchPrintF(number, 24, format, int(value));
  }
  return Labelled(number, label);
}

VANE_EXTERN_C const WCHAR* ZoGetLabeledStringFloat(float value, int decimals, float floor, const WCHAR* label) {
  if (floor != 0.0f && value <= floor) return KernelText(kStrMinusInfinity);
  WCHAR number[24];
  if (!std::isfinite(value)) {
    ZoWcsCopy(number, 24, std::isnan(value) ? u"NaN" : value > 0 ? u"Inf." : u"-Inf.");
  } else if (decimals <= 0) {
    ZoCchPrintF(number, 24, u"$.0f", double(value));
  } else {
    const WCHAR format[] = {u'$', u'.', WCHAR(u'0' + (decimals > 9 ? 9 : decimals)), u'f', 0};
    ZoCchPrintF(number, 24, format, double(value));
  }
  return Labelled(number, label);
}

VANE_EXTERN_C const WCHAR* ZoGetdBStringFixed(LONG value, int decimals, LONG floor, BOOL unit) {
  return ZoGetLabeledStringFixed(value, decimals, floor, unit ? KernelText(kStrDecibelUnit) : nullptr);
}
VANE_EXTERN_C const WCHAR* ZoGetdBStringFloat(float value, int decimals, float floor, BOOL unit) {
  return ZoGetLabeledStringFloat(value, decimals, floor, unit ? KernelText(kStrDecibelUnit) : nullptr);
}

VANE_EXTERN_C int ZoStringReplaceChars(char* text, char from, char to) {
  int count = 0;
  for (char* p = text; p && *p; ++p)
    if (*p == from) *p = to, ++count;
  return count;
}

VANE_EXTERN_C int ZoStringReplaceCharsW(WCHAR* text, WCHAR from, WCHAR to) {
  int count = 0;
  for (WCHAR* p = text; p && *p; ++p)
    if (*p == from) *p = to, ++count;
  return count;
}

VANE_EXTERN_C WCHAR* ZoStripWhiteSpace(WCHAR* text) {
  if (!text) return text;
  auto blank = [](WCHAR c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n' || c == 0xA0; };
  size_t start = 0, length = ZoWcsLen(text);
  while (start < length && blank(text[start])) ++start;
  while (length > start && blank(text[length - 1])) --length;
  std::memmove(text, text + start, (length - start) * sizeof(WCHAR));
  text[length - start] = 0;
  return text;
}

VANE_EXTERN_C int ZoPrepareName(WCHAR* text) {
  if (!text) return 0;
  for (WCHAR* p = text; *p; ++p)
    if (*p < 0x20 || std::strchr("\\/:*?\"<>|", char(*p < 0x80 ? *p : 1))) *p = u'_';
  ZoStripWhiteSpace(text);
  return int(ZoWcsLen(text));
}

VANE_EXTERN_C int ZoFixNameForMenu(const WCHAR* name, WCHAR* out, size_t capacity) {
  if (!out || capacity == 0) return 0;
  size_t n = 0;
  for (const WCHAR* p = name; p && *p; ++p) {
    const size_t need = *p == u'&' ? 2 : 1;
    if (n + need >= capacity) break;
    out[n++] = *p;
    if (*p == u'&') out[n++] = u'&';
  }
  out[n] = 0;
  return int(n);
}
