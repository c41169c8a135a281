// SPDX-License-Identifier: MIT
#include "kernel/zoprintf.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kernel/detail/int_text.h"
#include "kernel/detail/text_internal.h"
#include "kernel/kernel_strings.h"
#include "kernel/number_text.h"
#include "platform/wtext.h"

namespace vane::kernel {
namespace {

constexpr size_t kMaxSpec = 260;
constexpr size_t kMaxName = 260;
// Widths and precisions beyond this are cut: no text the kernel shows needs
// more, and a hostile format must not ask for gigabytes.
constexpr int kMaxWidth = 1024;

struct NoCase {
  bool operator()(const std::u16string& a, const std::u16string& b) const {
    return ZoWcsICmp(a.c_str(), b.c_str()) < 0;
  }
};

// The token table: sorted by name without case, one lock held only while a
// value is found and copied.
struct Tokens {
  std::mutex lock;
  std::map<std::u16string, std::u16string, NoCase> values;
};
Tokens& TokenTable() {
  static Tokens* tokens = new Tokens;  // lives to the end of the process
  return *tokens;
}

// Output with a bound; every write checks the room left (one place for the
// terminator) and records a cut.
class Sink {
 public:
  Sink(WCHAR* out, size_t capacity) : m_out(out), m_capacity(capacity) {}
  void Put(WCHAR c) {
    if (m_length + 1 < m_capacity) m_out[m_length++] = c;
    else m_cut = true;
  }
  void Put(std::u16string_view text) {
    const size_t n = Room(text.size());
    std::memcpy(m_out + m_length, text.data(), n * sizeof(WCHAR));
    m_length += n;
  }
  void PutAscii(const char* text, size_t length) {
    const size_t n = Room(length);
    WCHAR* o = m_out + m_length;
    for (size_t i = 0; i < n; ++i) o[i] = WCHAR(static_cast<unsigned char>(text[i]));
    m_length += n;
  }
  void Finish() {
    if (m_capacity > 0) m_out[m_length] = 0;
    else m_cut = true;
  }
  size_t length() const { return m_length; }

 private:
  // How much of `wanted` fits before the terminator's place; marks a cut.
  size_t Room(size_t wanted) {
    const size_t room = m_capacity > m_length + 1 ? m_capacity - m_length - 1 : 0;
    if (wanted > room) {
      m_cut = true;
      return room;
    }
    return wanted;
  }

 public:
  bool cut() const { return m_cut; }

 private:
  WCHAR* m_out;
  size_t m_capacity;
  size_t m_length = 0;
  bool m_cut = false;
};

std::u16string Widen(const std::string& s) { return std::u16string(s.begin(), s.end()); }

std::u16string Inat(int index) {
  WCHAR text[16];
  ZoGetInatN(index, text, 16);
  return text;
}

bool IsConversion(WCHAR c) {
  switch (c) {
    case u'!': case u'&': case u'*': case u',': case u':': case u'E': case u'G': case u'X': case u'c':
    case u'd': case u'e': case u'f': case u'g': case u'i': case u'o': case u's': case u'u': case u'x':
    case u'z':
      return true;
    default:
      return false;
  }
}

// A conversion's specification between the escape and its character.
struct Spec {
  char flags[8] = {};  // as written, at most 7
  int width = -1;
  int precision = -1;
  enum Size { kDefault, kShort, kLong, kWide64 } size = kDefault;
  bool narrow = false;  // 'h' on s and c
  bool plain = true;    // nothing between the escape and the character
  bool valid = true;
};

Spec ParseSpec(std::u16string_view body, WCHAR conversion) {
  Spec spec;
  spec.plain = body.empty();
  size_t i = 0;
  size_t f = 0;
  while (i < body.size() && (body[i] == u'-' || body[i] == u'+' || body[i] == u' ' || body[i] == u'#' ||
                             body[i] == u'0')) {
    if (f < 7) spec.flags[f++] = char(body[i]);
    ++i;
  }
  auto number = [&](int& value) {
    if (i >= body.size() || body[i] < u'0' || body[i] > u'9') return;
    long long n = 0;
    while (i < body.size() && body[i] >= u'0' && body[i] <= u'9') {
      if (n < 1000000) n = n * 10 + (body[i] - u'0');
      ++i;
    }
    value = int(n > kMaxWidth ? kMaxWidth : n);
  };
  number(spec.width);
  if (i < body.size() && body[i] == u'.') {
    ++i;
    spec.precision = 0;
    number(spec.precision);
  }
  std::u16string_view rest = body.substr(i);
  if (rest == u"I64" || rest == u"ll" || rest == u"L" || rest == u"I" || rest == u"j") {
    spec.size = Spec::kWide64;
  } else if (rest == u"I32" || rest.empty()) {
  } else if (rest == u"l" || rest == u"w") {
    spec.size = Spec::kLong;
  } else if (rest == u"h" || rest == u"hh") {
    spec.size = Spec::kShort;
    spec.narrow = true;
  } else {
    spec.valid = false;
  }
  // "I64" and its kin alone still count as plain for d and i.
  if (!spec.plain && f == 0 && spec.width < 0 && spec.precision < 0 && spec.size == Spec::kWide64)
    spec.plain = true;
  (void)conversion;
  return spec;
}

IntSpec IntSpecOf(const Spec& spec) {
  IntSpec out;
  for (const char* f = spec.flags; *f; ++f) {
    out.left |= *f == '-';
    out.plus |= *f == '+';
    out.space |= *f == ' ';
    out.alternate |= *f == '#';
    out.zero |= *f == '0';
  }
  out.width = spec.width;
  out.precision = spec.precision;
  return out;
}

// The C library's text of one double conversion; a stack buffer unless a
// huge precision or width asks for more.
class DoubleText {
 public:
  DoubleText(const Spec& spec, char conversion, double value) {
    if (!std::strchr(spec.flags, '#') && FromCharConv(spec, conversion, value)) return;
    char format[32] = "%";
    size_t n = 1;
    for (const char* f = spec.flags; *f; ++f) format[n++] = *f;
    if (spec.width >= 0) n += size_t(std::snprintf(format + n, 8, "%d", spec.width));
    if (spec.precision >= 0) n += size_t(std::snprintf(format + n, 9, ".%d", spec.precision));
    format[n++] = conversion;
    format[n] = 0;
    int length = std::snprintf(m_small, sizeof m_small, format, value);
    if (length < 0) length = 0;
    if (size_t(length) >= sizeof m_small) {
      m_large.resize(size_t(length) + 1);
      std::snprintf(m_large.data(), m_large.size(), format, value);
      m_text = m_large.data();
    } else {
      m_text = m_small;
    }
    m_length = size_t(length);
  }
  const char* data() const { return m_text; }
  size_t size() const { return m_length; }

 private:
  // std::to_chars gives printf's digits exactly (as the C locale would) and
  // much faster; flags and width are applied here.
  bool FromCharConv(const Spec& spec, char conversion, double value) {
    const int precision = spec.precision >= 0 ? spec.precision : 6;
    const char lower = char(conversion | 0x20);
    const std::chars_format form = lower == 'f' ? std::chars_format::fixed
                                   : lower == 'e' ? std::chars_format::scientific
                                                  : std::chars_format::general;
    char digits[sizeof m_small - 8];
    const std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value, form, precision);
    if (r.ec != std::errc()) return false;
    size_t n = size_t(r.ptr - digits);
    if (conversion != lower)
      for (size_t i = 0; i < n; ++i) digits[i] = char(std::toupper(static_cast<unsigned char>(digits[i])));
    const bool negative = digits[0] == '-';
    const char* body = digits + (negative ? 1 : 0);
    const size_t bodyLength = n - (negative ? 1 : 0);
    char sign = negative ? '-' : std::strchr(spec.flags, '+') ? '+' : std::strchr(spec.flags, ' ') ? ' ' : 0;
    const size_t width = spec.width > 0 ? size_t(spec.width) : 0;
    const size_t used = bodyLength + (sign ? 1 : 0);
    size_t pad = width > used ? width - used : 0;
    if (used + pad + 1 > sizeof m_small) return false;
    const bool left = std::strchr(spec.flags, '-') != nullptr;
    const bool zero = !left && std::strchr(spec.flags, '0') && std::isfinite(value);
    char* o = m_small;
    if (!left && !zero) o = static_cast<char*>(std::memset(o, ' ', pad)) + pad;
    if (sign) *o++ = sign;
    if (zero) o = static_cast<char*>(std::memset(o, '0', pad)) + pad;
    std::memcpy(o, body, bodyLength);
    o += bodyLength;
    if (left) o = static_cast<char*>(std::memset(o, ' ', pad)) + pad;
    *o = 0;
    m_text = m_small;
    m_length = size_t(o - m_small);
    return true;
  }

  char m_small[384];
  std::vector<char> m_large;
  const char* m_text;
  size_t m_length;
};

// s and c: width pads with spaces (left with '-'), precision cuts a string.
std::u16string Padded(std::u16string text, const Spec& spec) {
  if (spec.precision >= 0 && text.size() > size_t(spec.precision)) text.resize(size_t(spec.precision));
  if (spec.width > 0 && text.size() < size_t(spec.width)) {
    const std::u16string pad(size_t(spec.width) - text.size(), u' ');
    text = std::strchr(spec.flags, '-') ? text + pad : pad + text;
  }
  return text;
}

class Formatter {
 public:
  Formatter(Sink& sink, va_list args) : m_sink(sink) { va_copy(m_args, args); }
  ~Formatter() { va_end(m_args); }

  void Run(const WCHAR* format) {
    const WCHAR* p = format;
    while (*p) {
      const WCHAR c = *p;
      if ((c == u'$' || c == u'%') && p[1] == c) {
        m_sink.Put(c);
        p += 2;
      } else if (c == u'$' && p[1] == u'(') {
        p = Token(p);
      } else if ((c == u'$' || c == u'%') && p[1]) {
        p = Conversion(p);
      } else {
        // A run of plain text up to the next escape goes in one piece.
        const WCHAR* q = p + 1;
        while (*q && *q != u'$' && *q != u'%') ++q;
        m_sink.Put(std::u16string_view(p, size_t(q - p)));
        p = q;
      }
    }
  }

 private:
  // "$(" at p: a literal number or a token name.
  const WCHAR* Token(const WCHAR* p) {
    const WCHAR* q = p + 2;
    if ((*q >= u'0' && *q <= u'9') || *q == u'-' || *q == u'.') {
      std::u16string digits;
      if (*q == u'-') digits += *q++;
      while ((*q >= u'0' && *q <= u'9') || *q == u'.' || *q == u',') {
        if (*q != u',') digits += *q;
        ++q;
      }
      if (*q != u')') {
        m_sink.Put(std::u16string_view(p, size_t(q - p)));
        return q;
      }
      WCHAR out[600];
      ZoFormatGroupDecimalNumber(digits.c_str(), out, int(std::size(out)), -1);
      m_sink.Put(out);
      return q + 1;
    }
    std::u16string name;
    while (*q && *q != u')' && name.size() < kMaxName) name += *q++;
    if (*q != u')') {
      // Unterminated (or too long): written back as it stands.
      m_sink.Put(std::u16string_view(p, size_t(q - p)));
      return q;
    }
    Internationals();  // the kernel's tokens come with the record
    Tokens& tokens = TokenTable();
    {
      std::lock_guard<std::mutex> hold(tokens.lock);
      auto found = tokens.values.find(name);
      if (found != tokens.values.end()) {
        m_sink.Put(found->second);
        return q + 1;
      }
    }
    m_sink.Put(std::u16string_view(p, size_t(q + 1 - p)));
    return q + 1;
  }

  const WCHAR* Conversion(const WCHAR* p) {
    const bool locale = *p == u'$';
    const WCHAR* q = p + 1;
    size_t n = 0;
    while (q[n] && n < kMaxSpec && !IsConversion(q[n])) ++n;
    if (!q[n] || !IsConversion(q[n])) {
      // No conversion character: the text stays as it is.
      m_sink.Put(std::u16string_view(p, size_t(q + n - p)));
      return q + n;
    }
    const std::u16string_view body(q, n);
    const WCHAR conversion = q[n];
    const WCHAR* next = q + n + 1;
    switch (conversion) {
      case u'*': m_sink.Put(Inat(24)); return next;
      case u',': m_sink.Put(Inat(40)); return next;
      case u':': m_sink.Put(Inat(60)); return next;
      case u'!':
      case u'&': {
        const int base = conversion == u'!' ? 100 : 120;
        const WCHAR select = *next;
        int index = -1;
        if (select == u':') index = base;
        else if (select == u'.') index = base + 1;
        else if (select == u',' && conversion == u'!') index = 102;
        if (index < 0) {
          m_sink.Put(std::u16string_view(p, size_t(next - p)));
          return next;
        }
        m_sink.Put(Inat(index));
        return next + 1;
      }
      default: break;
    }
    const Spec spec = ParseSpec(body, conversion);
    if (!spec.valid) {
      m_sink.Put(std::u16string_view(p, size_t(next - p)));
      return next;
    }
    switch (conversion) {
      case u'd': case u'i': case u'u': case u'o': case u'x': case u'X': Integer(spec, char(conversion), locale); break;
      case u'f': case u'F': case u'g': case u'G': case u'e': case u'E': Double(spec, char(conversion), locale); break;
      case u'z': Fixed(spec, locale); break;
      case u's': String(spec); break;
      case u'c': Char(spec); break;
      default: break;
    }
    return next;
  }

  void Integer(const Spec& spec, char conversion, bool locale) {
    const bool isSigned = conversion == 'd' || conversion == 'i';
    std::uint64_t magnitude;
    bool negative = false;
    if (spec.size == Spec::kWide64) {
      const long long value = va_arg(m_args, long long);
      negative = isSigned && value < 0;
      magnitude = negative ? 0 - std::uint64_t(value) : std::uint64_t(value);
      // Only plain d and i of 64 bits take the locale.
      if (!(isSigned && spec.plain)) locale = false;
    } else {
      const int value = va_arg(m_args, int);
      if (spec.size == Spec::kShort) {
        negative = isSigned && short(value) < 0;
        magnitude = isSigned ? std::uint64_t(negative ? -std::int64_t(short(value)) : short(value))
                             : std::uint64_t(static_cast<unsigned short>(value));
      } else {
        negative = isSigned && value < 0;
        magnitude = isSigned ? (negative ? 0 - std::uint64_t(std::int64_t(value)) : std::uint64_t(value))
                             : std::uint64_t(unsigned(value));
      }
    }
    char text[2 * kMaxWidth + 64];
    const size_t length = FormatInteger(text, IntSpecOf(spec), conversion, magnitude, negative);
    if (locale && (isSigned || conversion == 'u')) {
      WCHAR grouped[3 * kMaxWidth + 64];
      const size_t n = GroupAscii(text, length, Internationals(), grouped, std::size(grouped));
      m_sink.Put(std::u16string_view(grouped, n));
    } else {
      m_sink.PutAscii(text, length);
    }
  }

  void Double(const Spec& spec, char conversion, bool locale) {
    const double value = va_arg(m_args, double);
    const DoubleText text(spec, conversion, value);
    const bool exponent = std::memchr(text.data(), 'e', text.size()) || std::memchr(text.data(), 'E', text.size());
    if (!locale || conversion == 'e' || conversion == 'E' || !std::isfinite(value) ||
        ((conversion == 'g' || conversion == 'G') && exponent)) {
      m_sink.PutAscii(text.data(), text.size());
      return;
    }
    const std::u16string wide(text.data(), text.data() + text.size());
    std::vector<WCHAR> out(text.size() * 3 + 64);
    if (conversion == 'f' || conversion == 'F') ZoFormatGroupDecimalNumber(wide.c_str(), out.data(), int(out.size()), -1);
    else ZoFormatDecimalNumber(wide.c_str(), out.data(), int(out.size()));
    m_sink.Put(out.data());
  }

  // ".N" z: a 32-bit integer in units of 10^-N.
  void Fixed(const Spec& spec, bool locale) {
    const int value = va_arg(m_args, int);
    WCHAR out[96];
    const int decimals = spec.precision;
    if (decimals <= 0) {
      ZoLongToTextN(value, out, 96, locale);
      m_sink.Put(out);
      return;
    }
    const int places = decimals > 9 ? 9 : decimals;
    long long scale = 1;
    for (int k = 0; k < places; ++k) scale *= 10;
    const long long v = value;
    const unsigned long long magnitude = v < 0 ? (unsigned long long)(-v) : (unsigned long long)v;
    char text[64];
    std::snprintf(text, sizeof text, "%s%llu.%0*llu", v < 0 ? "-" : "", magnitude / (unsigned long long)scale, places,
                  magnitude % (unsigned long long)scale);
    if (locale) ZoFormatGroupDecimalNumber(Widen(text).c_str(), out, 96, places);
    else ZoFormatDecimalNumber(Widen(text).c_str(), out, 96);
    m_sink.Put(out);
  }

  void String(const Spec& spec) {
    std::u16string text;
    if (spec.narrow) {
      const char* s = va_arg(m_args, const char*);
      text = s ? platform::FromUtf8(s) : u"(null)";
    } else {
      const WCHAR* s = va_arg(m_args, const WCHAR*);
      if (spec.width < 0 && spec.precision < 0) {
        // The common case goes straight to the output.
        m_sink.Put(s ? std::u16string_view(s) : std::u16string_view(u"(null)"));
        return;
      }
      text = s ? std::u16string(s) : u"(null)";
    }
    m_sink.Put(Padded(std::move(text), spec));
  }

  void Char(const Spec& spec) {
    const int c = va_arg(m_args, int);
    const WCHAR w = spec.narrow ? WCHAR(static_cast<unsigned char>(c)) : WCHAR(c);
    Spec noPrecision = spec;
    noPrecision.precision = -1;
    m_sink.Put(Padded(std::u16string(1, w), noPrecision));
  }

  Sink& m_sink;
  va_list m_args;
};

}  // namespace

void RegisterKernelTokens(const tZOINTERNATIONALS& r) {
  const std::u16string whole = r.smpteWhole, nonDrop = r.smpteNonDrop, drop = r.smpteDrop;
  const std::u16string music1 = r.music1, music2 = r.music2;
  auto compose = [](const char16_t* pattern, const std::u16string& a, const std::u16string& b,
                    const std::u16string& c) {
    std::u16string out;
    int k = 0;
    for (const char16_t* p = pattern; *p; ++p) {
      if (p[0] == u'%' && p[1] == u's') {
        out += k == 0 ? a : k == 1 ? b : c;
        ++k;
        ++p;
      } else {
        out += *p;
      }
    }
    return out;
  };
  ZoPrintF_AddToken(u"SMPTE.Whole", whole.c_str());
  ZoPrintF_AddToken(u"SMPTE.NonDrop", nonDrop.c_str());
  ZoPrintF_AddToken(u"SMPTE.Drop", drop.c_str());
  ZoPrintF_AddToken(u"SMPTE.Label.NonDrop", compose(KernelText(kStrSmpteLabel), whole, whole, nonDrop).c_str());
  ZoPrintF_AddToken(u"SMPTE.Label.Drop", compose(KernelText(kStrSmpteLabel), whole, whole, drop).c_str());
  ZoPrintF_AddToken(u"SMPTE.Label.NonDrop.Full",
                    compose(KernelText(kStrSmpteLabelFull), whole, whole, nonDrop).c_str());
  ZoPrintF_AddToken(u"SMPTE.Label.Drop.Full", compose(KernelText(kStrSmpteLabelFull), whole, whole, drop).c_str());
  ZoPrintF_AddToken(u"MusicTime.First", music1.c_str());
  ZoPrintF_AddToken(u"MusicTime.Second", music2.c_str());
  ZoPrintF_AddToken(u"MusicTime.Label", compose(KernelText(kStrMusicLabel), music1, music2, u"").c_str());
  ZoPrintF_AddToken(u"MusicTime.Label.Full", compose(KernelText(kStrMusicLabelFull), music1, music2, u"").c_str());
}

}  // namespace vane::kernel

using vane::kernel::Formatter;
using vane::kernel::Sink;

VANE_EXTERN_C HRESULT ZoNVPrintF(WCHAR* out, size_t capacity, size_t* written, const WCHAR* format, va_list args) {
  if (written) *written = 0;
  if (!out) capacity = 0;
  Sink sink(out, capacity);
  {
    Formatter formatter(sink, args);
    formatter.Run(format ? format : u"");
  }
  sink.Finish();
  if (written) *written = sink.length();
  return sink.cut() ? ZOERR_BUFFER_TOO_SMALL : S_OK;
}

VANE_EXTERN_C int ZoVPrintF(WCHAR* out, const WCHAR* format, va_list args) {
  size_t written = 0;
  ZoNVPrintF(out, out ? SIZE_MAX : 0, &written, format, args);
  return int(written);
}

VANE_EXTERN_C int ZoPrintF(WCHAR* out, const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  const int n = ZoVPrintF(out, format, args);
  va_end(args);
  return n;
}

VANE_EXTERN_C HRESULT ZoCchPrintF(WCHAR* out, size_t capacity, const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  const HRESULT hr = ZoNVPrintF(out, capacity, nullptr, format, args);
  va_end(args);
  return hr;
}

VANE_EXTERN_C HRESULT ZoComposeStrV(WCHAR* out, size_t capacity, const WCHAR* format, int count,
                                    const WCHAR* const* args) {
  if (!out) capacity = 0;
  Sink sink(out, capacity);
  HRESULT hr = S_OK;
  for (const WCHAR* p = format ? format : u""; *p;) {
    if (*p != u'%' || !p[1]) {
      sink.Put(*p++);
      continue;
    }
    const WCHAR c = p[1];
    if (c >= u'1' && c <= u'9') {
      int index = c - u'0';
      p += 2;
      if (*p >= u'0' && *p <= u'9') index = index * 10 + (*p++ - u'0');
      if (index > count || !args) {
        hr = E_INVALIDARG;
        continue;
      }
      const WCHAR* arg = args[index - 1];
      sink.Put(arg ? arg : u"");
    } else {
      sink.Put(c == u'n' ? u'\n' : c);
      p += 2;
    }
  }
  sink.Finish();
  if (FAILED(hr)) return hr;
  return sink.cut() ? ZOERR_BUFFER_TOO_SMALL : S_OK;
}

VANE_EXTERN_C HRESULT ZoComposeStr(WCHAR* out, size_t capacity, const WCHAR* format, ...) {
  // Count the references so that exactly as many arguments are taken.
  int count = 0;
  for (const WCHAR* p = format ? format : u""; *p; ++p) {
    if (*p != u'%' || !p[1]) continue;
    if (p[1] >= u'1' && p[1] <= u'9') {
      int index = p[1] - u'0';
      if (p[2] >= u'0' && p[2] <= u'9') index = index * 10 + (p[2] - u'0');
      if (index > count) count = index;
    }
    ++p;
  }
  std::vector<const WCHAR*> args(static_cast<size_t>(count));
  va_list list;
  va_start(list, format);
  for (int i = 0; i < count; ++i) args[size_t(i)] = va_arg(list, const WCHAR*);
  va_end(list);
  return ZoComposeStrV(out, capacity, format, count, args.data());
}

VANE_EXTERN_C BOOL ZoPrintF_AddToken(const WCHAR* name, const WCHAR* value) {
  if (!name || !*name || ZoWcsLen(name) > vane::kernel::kMaxName) return FALSE;
  auto& tokens = vane::kernel::TokenTable();
  std::lock_guard<std::mutex> hold(tokens.lock);
  try {
    tokens.values.erase(name);
    tokens.values.emplace(name, value ? value : u"");
  } catch (...) {
    return FALSE;
  }
  return TRUE;
}

VANE_EXTERN_C BOOL ZoPrintF_DeleteToken(const WCHAR* name) {
  if (!name) return FALSE;
  auto& tokens = vane::kernel::TokenTable();
  std::lock_guard<std::mutex> hold(tokens.lock);
  return tokens.values.erase(name) > 0 ? TRUE : FALSE;
}
