// SPDX-License-Identifier: MIT
// The formatter and the number parsers on hostile text. The format string
// comes from the input with at most eight escapes, and eight string pointers
// and eight doubles follow it, so every conversion has a valid argument of
// its class; the output must stay inside the bounds given.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kernel/number_text.h"
#include "kernel/zoprintf.h"
#include "platform/wtext.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const size_t capacity = data[0];
  const bool german = data[1] & 1;
  data += 2;
  size -= 2;
  std::u16string format;
  int escapes = 0;
  for (size_t i = 0; i + 1 < size; i += 2) {
    char16_t c = char16_t(data[i] | data[i + 1] << 8);
    if (c == 0) c = u' ';
    if (c == u'%' || c == u'$') {
      if (++escapes > 8) c = u'_';
    }
    format += c;
  }
  static bool loaded = false;
  static bool isGerman = false;
  if (!loaded || isGerman != german) {
    tZOINTERNATIONALS r{};
    ZoLang_GetInternationals(&r, sizeof r);
    ZoWcsCopy(r.decimal, 8, german ? u"," : u".");
    ZoWcsCopy(r.thousand, 8, german ? u"." : u",");
    ZoWcsCopy(r.grouping, 16, german ? u"3;2;0" : u"3;0");
    ZoLang_SetInternationals(&r);
    loaded = true;
    isGerman = german;
  }
  const WCHAR* s = u"text";
  std::vector<WCHAR> out(capacity + 8, u'#');
  ZoCchPrintF(out.data(), capacity, format.c_str(), s, s, s, s, s, s, s, s, 1.5, -2.25, 1e300, 0.0, -0.0, 3e-300,
              123456.789, 42.0);
  for (size_t k = capacity; k < out.size(); ++k)
    if (out[k] != u'#') __builtin_trap();
  WCHAR big[8192];
  ZoCchPrintF(big, 8192, format.c_str(), s, s, s, s, s, s, s, s, 1.5, -2.25, 1e300, 0.0, -0.0, 3e-300, 123456.789,
              42.0);
  ZoFormatGroupDecimalNumber(format.c_str(), big, 8192, int(capacity % 12) - 1);
  ZoFormatNumber(format.c_str(), big, int(capacity));
  const WCHAR* end = nullptr;
  ZoTextToLongLongTokenEx(format.c_str(), 5, -100, 100, &end);
  ZoTextToDoubleToken(format.c_str(), &end);
  ZoHexToDWordLongToken(format.c_str(), &end);
  ZoTextToColorrefToken(format.c_str(), &end);
  if (end < format.c_str() || end > format.c_str() + format.size()) __builtin_trap();
  WCHAR composed[64];
  // The variadic form takes as many arguments as the text names; the array
  // form checks references against the count given.
  const WCHAR* const inserts[3] = {s, s, s};
  ZoComposeStrV(composed, capacity < 64 ? capacity : 64, format.c_str(), 3, inserts);
  return 0;
}
