// SPDX-License-Identifier: MIT
#include "kernel/number_text.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "kernel/detail/int_text.h"
#include "kernel/detail/text_internal.h"
#include "kernel/zolang.h"
#include "kernel/zoprintf.h"
#include "platform/wtext.h"

namespace vane::kernel {
namespace {

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool IsBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n' || c == 0xA0; }

// Group sizes from the "3;2;0" form; repeat says whether the last repeats.
void ParseGrouping(const WCHAR* text, int sizes[8], int& count, bool& repeat) {
  count = 0;
  repeat = false;
  for (const WCHAR* p = text; *p && count < 8;) {
    int n = 0;
    while (IsDigit(*p)) n = n * 10 + (*p++ - u'0');
    if (n == 0) {
      repeat = count > 0;
      break;
    }
    sizes[count++] = n > 9 ? 9 : n;
    if (*p == u';') ++p;
    else break;
  }
}

std::u16string GroupDigits(const std::u16string& integer, const tZOINTERNATIONALS& r) {
  int sizes[8];
  int count = 0;
  bool repeat = false;
  ParseGrouping(r.grouping, sizes, count, repeat);
  if (count == 0) return integer;
  std::u16string out;
  size_t pos = integer.size();
  int group = 0;
  std::u16string chunks;
  // Walk from the right, cutting groups.
  std::u16string result;
  while (pos > 0) {
    size_t size;
    if (group < count) size = size_t(sizes[group]);
    else if (repeat) size = size_t(sizes[count - 1]);
    else size = pos;
    if (size >= pos) size = pos;
    const std::u16string part = integer.substr(pos - size, size);
    result = pos == integer.size() ? part : part + r.thousand + result;
    pos -= size;
    ++group;
  }
  return result;
}

}  // namespace

std::u16string LocaleNumber(std::u16string_view text, int decimals, bool grouping) {
  const tZOINTERNATIONALS& r = Internationals();
  size_t i = 0;
  while (i < text.size() && IsDigit(text[i])) ++i;
  std::u16string integer(text.substr(0, i));
  std::u16string fraction;
  if (i < text.size() && text[i] == u'.') {
    size_t j = i + 1;
    while (j < text.size() && IsDigit(text[j])) ++j;
    fraction.assign(text.substr(i + 1, j - i - 1));
    i = j;
  }
  if (integer.empty() && fraction.empty()) return std::u16string(text);
  const std::u16string suffix(text.substr(i));
  if (decimals >= 0 && size_t(decimals) < fraction.size()) {
    // Round half up on the digits themselves, carrying into the integer.
    const bool up = fraction[size_t(decimals)] >= u'5';
    fraction.resize(size_t(decimals));
    if (up) {
      std::u16string all = integer + fraction;
      size_t k = all.size();
      while (k > 0) {
        if (all[k - 1] == u'9') {
          all[k - 1] = u'0';
          --k;
        } else {
          ++all[k - 1];
          break;
        }
      }
      if (k == 0) all.insert(all.begin(), u'1');
      integer = all.substr(0, all.size() - fraction.size());
      fraction = all.substr(all.size() - fraction.size());
    }
  } else if (decimals > 0 && size_t(decimals) > fraction.size()) {
    fraction.append(size_t(decimals) - fraction.size(), u'0');
  }
  size_t lead = 0;
  while (lead + 1 < integer.size() && integer[lead] == u'0') ++lead;
  integer.erase(0, lead);
  if (integer.empty() && r.leadingZero) integer = u"0";
  std::u16string out = grouping ? GroupDigits(integer, r) : integer;
  if (!fraction.empty()) out += r.decimal + fraction;
  return out + suffix;
}

namespace {

int Emit(const std::u16string& text, WCHAR* out, size_t capacity) {
  if (!out || capacity == 0) return 0;
  return int(ZoWcsCopy(out, capacity, text.c_str()));
}

int FormatWith(const WCHAR* digits, WCHAR* out, int capacity, int decimals, bool grouping) {
  if (!digits) digits = u"";
  std::u16string_view text(digits, ZoWcsLen(digits));
  size_t lead = 0;
  while (lead < text.size() && !IsDigit(text[lead]) && text[lead] != u'.') ++lead;
  // A '.' not followed by a digit is not the start of a number.
  while (lead < text.size() && text[lead] == u'.' && (lead + 1 >= text.size() || !IsDigit(text[lead + 1]))) {
    ++lead;
    while (lead < text.size() && !IsDigit(text[lead]) && text[lead] != u'.') ++lead;
  }
  std::u16string result(text.substr(0, lead));
  if (lead < text.size()) result += LocaleNumber(text.substr(lead), decimals, grouping);
  return Emit(result, out, capacity < 0 ? 0 : size_t(capacity));
}

std::u16string Ascii(const char* s) { return std::u16string(s, s + std::strlen(s)); }

int IntegerText(std::uint64_t magnitude, bool negative, WCHAR* out, size_t capacity, int group) {
  if (!out || capacity == 0) return 0;
  char text[32];
  const size_t length = FormatInteger(text, IntSpec{}, 'd', magnitude, negative);
  if (group) return int(GroupAscii(text, length, Internationals(), out, capacity));
  const size_t n = length < capacity - 1 ? length : capacity - 1;
  for (size_t i = 0; i < n; ++i) out[i] = WCHAR(text[i]);
  out[n] = 0;
  return int(n);
}

template <typename T>
int SignedText(T value, WCHAR* out, size_t capacity, int group) {
  const bool negative = value < 0;
  const std::uint64_t magnitude = negative ? 0 - std::uint64_t(std::int64_t(value)) : std::uint64_t(value);
  return IntegerText(magnitude, negative, out, capacity, group);
}

}  // namespace
}  // namespace vane::kernel

using vane::kernel::FormatWith;
using vane::kernel::IntegerText;

VANE_EXTERN_C int ZoFormatNumber(const WCHAR* digits, WCHAR* out, int capacity) {
  return FormatWith(digits, out, capacity, 0, true);
}
VANE_EXTERN_C int ZoFormatDecimalNumber(const WCHAR* digits, WCHAR* out, int capacity) {
  return FormatWith(digits, out, capacity, -1, false);
}
VANE_EXTERN_C int ZoFormatGroupDecimalNumber(const WCHAR* digits, WCHAR* out, int capacity, int decimals) {
  return FormatWith(digits, out, capacity, decimals < 0 ? -1 : decimals, true);
}

VANE_EXTERN_C int ZoDWordToTextN(DWORD value, WCHAR* out, size_t capacity, int format) {
  return IntegerText(value, false, out, capacity, format);
}
VANE_EXTERN_C int ZoLongToTextN(LONG value, WCHAR* out, size_t capacity, int format) {
  return vane::kernel::SignedText(value, out, capacity, format);
}
VANE_EXTERN_C int ZoDWordLongToTextN(DWORDLONG value, WCHAR* out, size_t capacity, int format) {
  return IntegerText(value, false, out, capacity, format);
}
VANE_EXTERN_C int ZoLongLongToTextN(LONGLONG value, WCHAR* out, size_t capacity, int format) {
  return vane::kernel::SignedText(value, out, capacity, format);
}
VANE_EXTERN_C int ZoDoubleToTextN(double value, WCHAR* out, size_t capacity, int format) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.15g", value);
  const std::u16string text = vane::kernel::Ascii(buffer);
  if (std::strchr(buffer, 'e') || !std::isfinite(value)) return vane::kernel::Emit(text, out, capacity);
  return FormatWith(text.c_str(), out, int(capacity > 0x7FFFFFFF ? 0x7FFFFFFF : capacity), -1, format != 0);
}
VANE_EXTERN_C int ZoDWordToText(DWORD value, WCHAR* out, int format) { return ZoDWordToTextN(value, out, 64, format); }
VANE_EXTERN_C int ZoLongToText(LONG value, WCHAR* out, int format) { return ZoLongToTextN(value, out, 64, format); }
VANE_EXTERN_C int ZoDWordLongToText(DWORDLONG value, WCHAR* out, int format) {
  return ZoDWordLongToTextN(value, out, 64, format);
}
VANE_EXTERN_C int ZoLongLongToText(LONGLONG value, WCHAR* out, int format) {
  return ZoLongLongToTextN(value, out, 64, format);
}
VANE_EXTERN_C int ZoDoubleToText(double value, WCHAR* out, int format) {
  return ZoDoubleToTextN(value, out, 64, format);
}

namespace vane::kernel {
namespace {

// The token: white space skipped, at most 64 characters of the allowed set.
struct Token {
  std::string text;   // ASCII copy of the token
  const WCHAR* end;   // first character after it
};

Token TakeToken(const WCHAR* text, bool (*allowed)(char16_t, size_t, const std::string&)) {
  Token token{{}, text};
  if (!text) return token;
  const WCHAR* p = text;
  while (IsBlank(*p)) ++p;
  while (*p && token.text.size() < 64 && allowed(*p, token.text.size(), token.text)) token.text += char(*p++);
  token.end = token.text.empty() ? text : p;
  return token;
}

bool DecimalChar(char16_t c, size_t i, const std::string&) { return IsDigit(c) || (i == 0 && (c == u'-' || c == u'+')); }
bool UnsignedChar(char16_t c, size_t, const std::string&) { return IsDigit(c); }
bool HexChar(char16_t c, size_t i, const std::string& s) {
  if (IsDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F')) return true;
  return (c == u'x' || c == u'X') && i == 1 && s == "0";
}
bool DoubleChar(char16_t c, size_t i, const std::string& s) {
  const char16_t decimal = Internationals().decimal[0];
  if (IsDigit(c) || c == u'.' || c == decimal) return true;
  if (c == u'-' || c == u'+') return i == 0 || s.back() == 'e' || s.back() == 'E';
  return (c == u'e' || c == u'E') && i > 0 && s.find_first_of("eE") == std::string::npos;
}

void SetEnd(const WCHAR** end, const WCHAR* where) {
  if (end) *end = where;
}

template <typename T>
T ParseInteger(const WCHAR* text, const WCHAR** end, bool sign) {
  const Token token = TakeToken(text, sign ? DecimalChar : UnsignedChar);
  SetEnd(end, token.end);
  const char* p = token.text.c_str();
  bool negative = false;
  if (*p == '-' || *p == '+') negative = *p++ == '-';
  if (!IsDigit(char16_t(*p))) return 0;
  unsigned __int128 value = 0;
  for (; *p; ++p) {
    value = value * 10 + unsigned(*p - '0');
    if (value > (unsigned __int128)std::numeric_limits<unsigned long long>::max()) break;
  }
  if constexpr (std::numeric_limits<T>::is_signed) {
    const unsigned __int128 limit = negative ? (unsigned __int128)std::numeric_limits<T>::max() + 1
                                             : (unsigned __int128)std::numeric_limits<T>::max();
    if (value > limit) value = limit;
    return negative ? T(-(__int128)value) : T(value);
  } else {
    if (negative) return 0;
    return value > std::numeric_limits<T>::max() ? std::numeric_limits<T>::max() : T(value);
  }
}

template <typename T>
T ParseHex(const WCHAR* text, const WCHAR** end) {
  const Token token = TakeToken(text, HexChar);
  const char* p = token.text.c_str();
  const char* start = p;
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) p += 2;
  unsigned long long value = 0;
  const char* digits = p;
  for (; *p; ++p) {
    const int d = *p <= '9' ? *p - '0' : (*p | 0x20) - 'a' + 10;
    if (value > (std::numeric_limits<T>::max() >> 4)) {
      value = std::numeric_limits<T>::max();
      continue;
    }
    value = (value << 4) | unsigned(d);
  }
  // "0x" with no digit after it ends after the 0.
  if (p == digits && digits != start) SetEnd(end, token.end - 1);
  else SetEnd(end, token.end);
  return T(value);
}

// Ex rule: 0 with something other than blanks after it is the default.

template <typename T>
T Ex(T value, T def, T minimum, T maximum, const WCHAR* stop, const WCHAR** end) {
  SetEnd(end, stop);
  if (value == T(0) && stop && *stop && !IsBlank(*stop)) value = def;
  if (value < minimum) value = minimum;
  if (value > maximum) value = maximum;
  return value;
}

// The Ex form of a token parser.
template <typename T>
T ExOf(T (*parse)(const WCHAR*, const WCHAR**), const WCHAR* text, T def, T minimum, T maximum, const WCHAR** end) {
  const WCHAR* stop = nullptr;
  const T value = parse(text, &stop);
  return Ex(value, def, minimum, maximum, stop, end);
}

}  // namespace
}  // namespace vane::kernel

using namespace vane::kernel;

VANE_EXTERN_C DWORD ZoTextToDWordToken(const WCHAR* text, const WCHAR** end) {
  return ParseInteger<DWORD>(text, end, false);
}
VANE_EXTERN_C DWORDLONG ZoTextToDWordLongToken(const WCHAR* text, const WCHAR** end) {
  return ParseInteger<DWORDLONG>(text, end, false);
}
VANE_EXTERN_C LONG ZoTextToLongToken(const WCHAR* text, const WCHAR** end) { return ParseInteger<LONG>(text, end, true); }
VANE_EXTERN_C LONGLONG ZoTextToLongLongToken(const WCHAR* text, const WCHAR** end) {
  return ParseInteger<LONGLONG>(text, end, true);
}
VANE_EXTERN_C double ZoTextToDoubleToken(const WCHAR* text, const WCHAR** end) {
  Token token = TakeToken(text, DoubleChar);
  const char16_t decimal = Internationals().decimal[0];
  for (char& c : token.text)
    if (char16_t(c) == decimal || (decimal < 0x80 && c == char(decimal))) c = '.';
  char* stop = nullptr;
  const double value = token.text.empty() ? 0.0 : std::strtod(token.text.c_str(), &stop);
  // strtod may take less than the token ("1e" is 1): the end follows it.
  const size_t used = stop ? size_t(stop - token.text.c_str()) : 0;
  if (end) {
    const WCHAR* p = text ? text : nullptr;
    if (p && used) {
      while (IsBlank(*p)) ++p;
      *end = p + used;
    } else {
      *end = text;
    }
  }
  return std::isfinite(value) ? value : 0.0;
}
VANE_EXTERN_C DWORD ZoHexToDWordToken(const WCHAR* text, const WCHAR** end) { return ParseHex<DWORD>(text, end); }
VANE_EXTERN_C DWORDLONG ZoHexToDWordLongToken(const WCHAR* text, const WCHAR** end) {
  return ParseHex<DWORDLONG>(text, end);
}

VANE_EXTERN_C COLORREF ZoTextToColorrefToken(const WCHAR* text, const WCHAR** end) {
  SetEnd(end, text);
  if (!text) return 0;
  const WCHAR* p = text;
  while (IsBlank(*p)) ++p;
  if (*p == u'#') {
    const WCHAR* stop = nullptr;
    const DWORD rgb = ParseHex<DWORD>(p + 1, &stop);
    if (stop == p + 1) return 0;
    SetEnd(end, stop);
    return ((rgb >> 16) & 0xFF) | (rgb & 0xFF00) | ((rgb & 0xFF) << 16);
  }
  if (p[0] == u'0' && (p[1] == u'x' || p[1] == u'X')) return ParseHex<DWORD>(p, end) & 0xFFFFFF;
  DWORD parts[3] = {0, 0, 0};
  const WCHAR* q = p;
  for (int i = 0; i < 3; ++i) {
    const WCHAR* stop = nullptr;
    const DWORD v = ParseInteger<DWORD>(q, &stop, false);
    if (stop == q) return 0;
    parts[i] = v > 255 ? 255 : v;
    q = stop;
    if (i < 2) {
      while (IsBlank(*q)) ++q;
      if (*q == u',' || *q == u';') ++q;
    }
  }
  SetEnd(end, q);
  return parts[0] | (parts[1] << 8) | (parts[2] << 16);
}

VANE_EXTERN_C DWORD ZoTextToDWordTokenEx(const WCHAR* text, DWORD def, DWORD minimum, DWORD maximum,
                                         const WCHAR** end) {
  return ExOf(ZoTextToDWordToken, text, def, minimum, maximum, end);
}
VANE_EXTERN_C DWORDLONG ZoTextToDWordLongTokenEx(const WCHAR* text, DWORDLONG def, DWORDLONG minimum,
                                                 DWORDLONG maximum, const WCHAR** end) {
  return ExOf(ZoTextToDWordLongToken, text, def, minimum, maximum, end);
}
VANE_EXTERN_C LONG ZoTextToLongTokenEx(const WCHAR* text, LONG def, LONG minimum, LONG maximum, const WCHAR** end) {
  return ExOf(ZoTextToLongToken, text, def, minimum, maximum, end);
}
VANE_EXTERN_C LONGLONG ZoTextToLongLongTokenEx(const WCHAR* text, LONGLONG def, LONGLONG minimum, LONGLONG maximum,
                                               const WCHAR** end) {
  return ExOf(ZoTextToLongLongToken, text, def, minimum, maximum, end);
}
VANE_EXTERN_C double ZoTextToDoubleTokenEx(const WCHAR* text, double def, double minimum, double maximum,
                                           const WCHAR** end) {
  return ExOf(ZoTextToDoubleToken, text, def, minimum, maximum, end);
}
VANE_EXTERN_C DWORD ZoHexToDWordTokenEx(const WCHAR* text, DWORD def, DWORD minimum, DWORD maximum,
                                        const WCHAR** end) {
  return ExOf(ZoHexToDWordToken, text, def, minimum, maximum, end);
}
VANE_EXTERN_C DWORDLONG ZoHexToDWordLongTokenEx(const WCHAR* text, DWORDLONG def, DWORDLONG minimum,
                                                DWORDLONG maximum, const WCHAR** end) {
  return ExOf(ZoHexToDWordLongToken, text, def, minimum, maximum, end);
}
VANE_EXTERN_C COLORREF ZoTextToColorrefTokenEx(const WCHAR* text, COLORREF def, COLORREF minimum, COLORREF maximum,
                                               const WCHAR** end) {
  return ExOf(ZoTextToColorrefToken, text, def, minimum, maximum, end);
}

VANE_EXTERN_C int ZoColorrefToTextEx(COLORREF color, WCHAR* out, size_t capacity, DWORD flags) {
  char buffer[32];
  const unsigned r = color & 0xFF, g = (color >> 8) & 0xFF, b = (color >> 16) & 0xFF;
  if (flags & 1) std::snprintf(buffer, sizeof buffer, "%u,%u,%u", r, g, b);
  else std::snprintf(buffer, sizeof buffer, "#%02X%02X%02X", r, g, b);
  return Emit(Ascii(buffer), out, capacity);
}
VANE_EXTERN_C int ZoColorrefToText(COLORREF color, WCHAR* out) { return ZoColorrefToTextEx(color, out, 16, 0); }
VANE_EXTERN_C COLORREF ZoTextToColorref(const WCHAR* text) { return ZoTextToColorrefToken(text, nullptr); }

VANE_EXTERN_C WCHAR* ZoFourCCToString(DWORD code, WCHAR* out) {
  if (!out) return out;
  for (int i = 0; i < 4; ++i) {
    const WCHAR c = WCHAR((code >> (8 * i)) & 0xFF);
    out[i] = c == 0 ? u' ' : c;
  }
  out[4] = 0;
  return out;
}
