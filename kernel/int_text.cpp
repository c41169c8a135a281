// SPDX-License-Identifier: MIT
#include "kernel/detail/int_text.h"

#include <cstring>
#include <string>
#include <vector>

namespace vane::kernel {

size_t FormatInteger(char* out, const IntSpec& spec, char conversion, std::uint64_t magnitude, bool negative) {
  char digits[32];
  size_t n = 0;
  const unsigned base = conversion == 'o' ? 8 : (conversion == 'x' || conversion == 'X') ? 16 : 10;
  const char* alphabet = conversion == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
  // Precision 0 with the value 0 prints no digits, as printf does.
  // Constant divisors: the compiler turns them into multiplies and shifts.
  if (!(magnitude == 0 && spec.precision == 0)) {
    if (base == 10) {
      if (magnitude <= 0xFFFFFFFFu) {
        std::uint32_t v = std::uint32_t(magnitude);
        do {
          digits[n++] = char('0' + v % 10);
          v /= 10;
        } while (v);
      } else {
        do {
          digits[n++] = char('0' + magnitude % 10);
          magnitude /= 10;
        } while (magnitude);
      }
    } else if (base == 16) {
      do {
        digits[n++] = alphabet[magnitude & 15];
        magnitude >>= 4;
      } while (magnitude);
    } else {
      do {
        digits[n++] = char('0' + (magnitude & 7));
        magnitude >>= 3;
      } while (magnitude);
    }
  }
  char prefix[3];
  size_t p = 0;
  const bool isSigned = conversion == 'd' || conversion == 'i';
  if (isSigned) {
    if (negative) prefix[p++] = '-';
    else if (spec.plus) prefix[p++] = '+';
    else if (spec.space) prefix[p++] = ' ';
  }
  size_t zeros = spec.precision > 0 && size_t(spec.precision) > n ? size_t(spec.precision) - n : 0;
  if (spec.alternate && n > 0) {
    if (base == 16 && !(n == 1 && digits[0] == '0')) {
      prefix[p++] = '0';
      prefix[p++] = conversion;
    } else if (base == 8 && zeros == 0 && digits[n - 1] != '0') {
      zeros = 1;
    }
  }
  size_t body = p + zeros + n;
  const size_t width = spec.width > 0 ? size_t(spec.width) : 0;
  size_t pad = width > body ? width - body : 0;
  // The 0 flag pads with zeros after the sign, unless left-aligned or a precision is given.
  if (spec.zero && !spec.left && spec.precision < 0) {
    zeros += pad;
    pad = 0;
  }
  char* o = out;
  if (!spec.left) {
    std::memset(o, ' ', pad);
    o += pad;
  }
  std::memcpy(o, prefix, p);
  o += p;
  std::memset(o, '0', zeros);
  o += zeros;
  while (n) *o++ = digits[--n];
  if (spec.left) {
    std::memset(o, ' ', pad);
    o += pad;
  }
  return size_t(o - out);
}

size_t GroupAscii(const char* text, size_t length, const tZOINTERNATIONALS& record, WCHAR* out, size_t capacity) {
  if (capacity == 0) return 0;
  size_t w = 0;
  auto put = [&](WCHAR c) {
    if (w + 1 < capacity) out[w++] = c;
  };
  size_t i = 0;
  while (i < length && (text[i] < '0' || text[i] > '9')) put(WCHAR(text[i++]));
  size_t end = i;
  while (end < length && text[end] >= '0' && text[end] <= '9') ++end;
  // Like the locale number formatter, leading zeros are not kept.
  while (end - i > 1 && text[i] == '0') ++i;
  // Group sizes from the "3;2;0" form, from the right.
  int sizes[8];
  int count = 0;
  bool repeat = false;
  for (const WCHAR* g = record.grouping; *g && count < 8;) {
    int v = 0;
    while (*g >= u'0' && *g <= u'9') v = v * 10 + (*g++ - u'0');
    if (v == 0) {
      repeat = count > 0;
      break;
    }
    sizes[count++] = v;
    if (*g == u';') ++g;
    else break;
  }
  // Mark where separators fall, counting from the right.
  const size_t digits = end - i;
  // Most numbers fit the fixed marks; zero padding of a huge width may not.
  bool fixedMarks[64] = {};
  std::vector<bool> moreMarks;
  if (digits >= 64) moreMarks.assign(digits, false);
  auto mark = [&](size_t k) {
    if (digits < 64) fixedMarks[k] = true;
    else moreMarks[k] = true;
  };
  auto marked = [&](size_t k) { return digits < 64 ? fixedMarks[k] : bool(moreMarks[k]); };
  if (count > 0) {
    size_t fromRight = 0;
    for (int k = 0;; ++k) {
      const int size = k < count ? sizes[k] : repeat ? sizes[count - 1] : 0;
      if (size <= 0) break;
      fromRight += size_t(size);
      if (fromRight >= digits) break;
      mark(digits - fromRight);
    }
  }
  const size_t separatorLength = std::char_traits<char16_t>::length(record.thousand);
  for (size_t k = 0; k < digits; ++k) {
    if (marked(k))
      for (size_t s = 0; s < separatorLength; ++s) put(record.thousand[s]);
    put(WCHAR(text[i + k]));
  }
  for (size_t k = end; k < length; ++k) put(WCHAR(text[k]));
  out[w] = 0;
  return w;
}

}  // namespace vane::kernel
