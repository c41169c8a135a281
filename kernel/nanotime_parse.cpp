// SPDX-License-Identifier: MIT
// Text typed by a user back to nano-time, in the form of each format row.
// Parsing never fails: no digits is 0, values are clamped, and `end` tells
// how far the parse went.
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "kernel/detail/text_internal.h"
#include "kernel/nanotime.h"
#include "kernel/zoprintf.h"

namespace {

constexpr ZoNanoTime kMax = std::numeric_limits<ZoNanoTime>::max();
constexpr size_t kMaxToken = 64;

bool Digit(WCHAR c) { return c >= u'0' && c <= u'9'; }
bool Blank(WCHAR c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }
bool Separator(WCHAR c) {
  return c == u':' || c == u';' || c == u'.' || c == u',' || c == u'+' || c == u'\'' || c == u'/' || c == 0xA0 ||
         c == 0x202F;
}
bool Decimal(WCHAR c) { return c == u'.' || c == u','; }

// The locale's decimal separator (one character; '.' when it has none).
WCHAR LocaleDecimal() {
  WCHAR text[16] = {};
  return ZoGetInatN(24, text, 16) > 0 && text[0] ? text[0] : u'.';
}

// Between two digits, a character that groups thousands.
bool Grouping(WCHAR c) { return c == u',' || c == u'.' || c == u' ' || c == u'\'' || c == 0xA0 || c == 0x202F; }

ZoNanoTime Clamp(double t) {
  if (!(t == t)) return 0;
  if (t >= 9.2e18) return ZoNanoTime(9.2e18);
  if (t <= -9.2e18) return ZoNanoTime(-9.2e18);
  return ZoNanoTime(t);
}

// One number of a token and what stood before it.
struct Group {
  LONGLONG value = 0;
  int digits = 0;
  LONGLONG firstThree = 0;  // the first three digits, padded on the right
  bool afterDecimal = false;
  WCHAR before = 0;  // the separator in front of it
};

// The token's digit groups (at most 8) and where it ends.
std::vector<Group> Groups(LPCWSTR text, LPCWSTR* end) {
  std::vector<Group> groups;
  size_t i = 0;
  bool decimal = false;
  while (text[i] && i < kMaxToken) {
    if (Digit(text[i])) {
      Group g;
      g.afterDecimal = decimal;
      g.before = i > 0 ? text[i - 1] : 0;
      while (Digit(text[i]) && i < kMaxToken) {
        const int d = text[i] - u'0';
        g.value = g.value < 100000000000000000LL ? g.value * 10 + d : 999999999999999999LL;
        if (g.digits < 3) g.firstThree = g.firstThree * 10 + d;
        ++g.digits;
        ++i;
      }
      for (int k = g.digits; k < 3; ++k) g.firstThree *= 10;
      if (groups.size() < 8) groups.push_back(g);
      decimal = false;
    } else if (Separator(text[i]) && !groups.empty()) {
      decimal = Decimal(text[i]);
      ++i;
    } else {
      break;
    }
  }
  if (end) *end = text + i;
  return groups;
}

// Leading groups of a grouped number ("11,259.2.046" as measures, beats,
// ticks) join while there are more groups than fields and the next one has
// exactly three digits.
std::vector<Group> Joined(std::vector<Group> g, size_t fields, LONGLONG beatLimit = 0) {
  auto join = [&g](size_t k) {
    g[k - 1].value = g[k - 1].value < 100000000000000LL ? g[k - 1].value * 1000 + g[k].value : 999999999999999999LL;
    g[k - 1].digits += 3;
    g.erase(g.begin() + ptrdiff_t(k));
  };
  // The record's thousand separator, when music time doesn't use it, only groups.
  WCHAR thousand[8] = {}, music1[8] = {}, music2[8] = {};
  vane::kernel::ThousandSeparator(thousand, 8);
  ZoGetInatN(120, music1, 8);
  ZoGetInatN(121, music2, 8);
  if (thousand[0] && thousand[0] != music1[0] && thousand[0] != music2[0]) {
    while (g.size() >= 2 && g[1].before == thousand[0] && g[1].digits == 3) join(1);
  }
  // Where grouping and music separators are the same character, a three
  // digit group that can't be a beat still belongs to the measures.
  if (beatLimit > 0)
    while (g.size() >= 2 && g[1].digits == 3 && g[1].before == thousand[0] && g[1].value > beatLimit) join(1);
  while (g.size() > fields && g[1].digits == 3) join(1);
  return g;
}

// Hours, minutes, seconds from the groups before `last` (exclusive), read from the right.
double ClockSeconds(const std::vector<Group>& g, size_t last, size_t maxGroups = 3) {
  double seconds = 0, unit = 1;
  size_t used = 0;
  for (size_t k = last; k > 0 && used < maxGroups; --k, ++used, unit *= 60) seconds += double(g[k - 1].value) * unit;
  return seconds;
}

double NumberOf(LPCWSTR text, LPCWSTR* end) {
  // Digits, grouping between digits, one decimal separator (the locale's).
  const WCHAR decimal = LocaleDecimal();
  std::string narrow;
  std::vector<size_t> after;  // source position after each narrow character
  size_t i = 0;
  bool fraction = false;
  while (text[i] && i < kMaxToken) {
    if (Digit(text[i])) {
      narrow += char(text[i]);
      after.push_back(i + 1);
    } else if (text[i] == decimal && !fraction) {
      narrow += '.';
      after.push_back(i + 1);
      fraction = true;
    } else if (!fraction && Grouping(text[i]) && i > 0 && Digit(text[i - 1]) && Digit(text[i + 1])) {
      // thousands: skipped
    } else {
      break;
    }
    ++i;
  }
  char* stop = nullptr;
  const double v = narrow.empty() ? 0.0 : std::strtod(narrow.c_str(), &stop);
  const size_t used = narrow.empty() || !stop ? 0 : size_t(stop - narrow.c_str());
  if (end) *end = text + (used ? after[used - 1] : 0);
  return std::isfinite(v) ? v : 0.0;
}

LONGLONG IntegerOf(LPCWSTR text, LPCWSTR* end) {
  LONGLONG v = 0;
  size_t i = 0;
  while (i < kMaxToken) {
    if (Digit(text[i])) {
      v = v < 900000000000000000LL ? v * 10 + (text[i] - u'0') : std::numeric_limits<LONGLONG>::max();
    } else if (!(Grouping(text[i]) && i > 0 && Digit(text[i - 1]) && Digit(text[i + 1]))) {
      break;
    }
    ++i;
  }
  if (end) *end = text + i;
  return v;
}

double SecondsPerBeat(const _zoposfmt* fmt) { return fmt->beatsPerMinute > 0 ? 60.0 / fmt->beatsPerMinute : 0.0; }


}  // namespace

LONGLONG ZoTextToTimeToken(LPCWSTR text, DWORD, LPCWSTR* end) {
  if (!text) {
    if (end) *end = text;
    return 0;
  }
  const std::vector<Group> g = Groups(text, end);
  if (g.empty()) return 0;
  size_t last = g.size();
  LONGLONG ms = 0;
  if (g.size() > 1 && g.back().afterDecimal) {
    ms = g.back().firstThree;
    --last;
  }
  const double total = ClockSeconds(g, last) * 1000.0 + double(ms);
  return total >= 9.2e14 ? LONGLONG(9.2e14) : LONGLONG(total);
}

ZoNanoTime ZoTextToHMSFToken(LPCWSTR text, double framesPerSec, LPCWSTR* end) {
  if (!text) return 0;
  const std::vector<Group> g = Groups(text, end);
  if (g.empty()) return 0;
  size_t last = g.size();
  double frames = 0;
  // Frames follow a decimal separator, or make a fourth group.
  if ((g.size() > 1 && g.back().afterDecimal) || g.size() >= 4) {
    frames = double(g.back().value);
    --last;
  }
  double seconds = ClockSeconds(g, last);
  if (framesPerSec > 0) seconds += frames / framesPerSec;
  return Clamp(seconds * 1e7);
}

ZoNanoTime ZoTextToFeetAndFramesToken(LPCWSTR text, const _zoposfmt* fmt, LPCWSTR* end) {
  if (!text || !fmt) return 0;
  const std::vector<Group> g = Joined(Groups(text, end), 2);
  if (g.empty() || !(fmt->framesPerSec > 0)) return 0;
  const double perFoot = fmt->format == ZOPOSFMT_FEET_16MM ? 16 : 40;
  const double frames = g.size() >= 2 ? double(g[g.size() - 2].value) * perFoot + double(g.back().value)
                                      : double(g[0].value) * perFoot;
  return Clamp(frames / fmt->framesPerSec * 1e7 + 0.5);
}

HRESULT ZoTextToMeasuresBeatsTicks(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LONGLONG* measures, LONG* beats,
                                   LONG* ticks, LPCWSTR* end) {
  if (measures) *measures = 0;
  if (beats) *beats = 0;
  if (ticks) *ticks = 0;
  if (!text || !fmt) return E_POINTER;
  const std::vector<Group> g = Joined(Groups(text, end), 3, LONGLONG(fmt->beatsPerMeasure));
  const LONGLONG base = (flags & ZONANO_PARSE_NO_BASE) ? 0 : 1;
  LONGLONG m = g.size() > 0 ? g[0].value : 0, b = g.size() > 1 ? g[1].value : base, t = g.size() > 2 ? g[2].value : 0;
  if (g.empty()) m = base;
  if (measures) *measures = m - base;
  if (beats) *beats = LONG(std::min<LONGLONG>(b - base, 0x7FFFFFFF));
  if (ticks) *ticks = LONG(std::min<LONGLONG>(t, 0x7FFFFFFF));
  return S_OK;
}

HRESULT ZoTextToBeatsTicks(LPCWSTR text, const _zoposfmt* fmt, LONGLONG* beats, LONG* ticks, LPCWSTR* end) {
  if (beats) *beats = 0;
  if (ticks) *ticks = 0;
  if (!text || !fmt) return E_POINTER;
  const std::vector<Group> g = Joined(Groups(text, end), 2);
  if (beats) *beats = g.size() > 0 ? g[0].value : 0;
  if (ticks) *ticks = LONG(g.size() > 1 ? std::min<LONGLONG>(g[1].value, 0x7FFFFFFF) : 0);
  return S_OK;
}

LONGLONG ZoTextToTicks(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LPCWSTR* end) {
  LONGLONG m = 0;
  LONG b = 0, t = 0;
  if (FAILED(ZoTextToMeasuresBeatsTicks(text, fmt, flags, &m, &b, &t, end))) return 0;
  const double total = (double(m) * fmt->beatsPerMeasure + b) * fmt->ticksPerBeat + t;
  return total >= 9.2e18 ? LONGLONG(9.2e18) : total <= -9.2e18 ? LONGLONG(-9.2e18) : LONGLONG(total);
}

ZoNanoTime ZoTextToMusicTimeToken(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LPCWSTR* end) {
  if (!text || !fmt || fmt->ticksPerBeat == 0) return 0;
  double beats = 0;
  if (flags & ZONANO_PARSE_LENGTH) {
    LONGLONG b = 0;
    LONG t = 0;
    ZoTextToBeatsTicks(text, fmt, &b, &t, end);
    beats = double(b) + double(t) / fmt->ticksPerBeat;
  } else if (fmt->format == ZOPOSFMT_BEATS_TICKS) {
    LONGLONG b = 0;
    LONG t = 0;
    ZoTextToBeatsTicks(text, fmt, &b, &t, end);
    beats = double(b - ((flags & ZONANO_PARSE_NO_BASE) ? 0 : 1)) + double(t) / fmt->ticksPerBeat;
  } else {
    LONGLONG m = 0;
    LONG b = 0, t = 0;
    ZoTextToMeasuresBeatsTicks(text, fmt, flags, &m, &b, &t, end);
    beats = double(m) * fmt->beatsPerMeasure + b + double(t) / fmt->ticksPerBeat;
  }
  return Clamp(beats * SecondsPerBeat(fmt) * 1e7 + (beats >= 0 ? 0.5 : -0.5));
}

ZoNanoTime ZoTextToNanoTimeToken2(LPCWSTR text, const _zoposfmt* fmt, ZoNanoTime, DWORD flags, LPCWSTR* end) {
  if (end) *end = text;
  if (!text || !fmt) return 0;
  LPCWSTR p = text;
  while (Blank(*p) && p - text < 4096) ++p;
  const bool negative = *p == u'-';
  if (negative) ++p;
  LPCWSTR stop = p;
  ZoNanoTime t = 0;
  switch (fmt->format) {
    case ZOPOSFMT_SAMPLES: {
      const LONGLONG samples = IntegerOf(p, &stop);
      if (fmt->samplesPerSec == 0) break;
      // The smallest time that shows as this sample.
      const __int128 n = (__int128(samples) * 10000000 + fmt->samplesPerSec - 1) / fmt->samplesPerSec;
      t = n > kMax ? kMax : ZoNanoTime(n);
      break;
    }
    case ZOPOSFMT_TIME:
    case ZOPOSFMT_COMPACT_TIME:
      t = ZoNanoTime(ZoTextToTimeToken(p, flags, &stop)) * 10000;
      break;
    case ZOPOSFMT_SECONDS: {
      double s = NumberOf(p, &stop);
      s = std::min(std::max(s, -461168601842.0), 230584300921.0);
      t = ZoNanoTime(std::llround(s * 1e7));
      break;
    }
    case ZOPOSFMT_TIME_FRAMES:
      t = ZoTextToHMSFToken(p, fmt->framesPerSec, &stop);
      break;
    case ZOPOSFMT_CD:
      t = ZoTextToHMSFToken(p, 75.0, &stop);
      break;
    case ZOPOSFMT_FRAMES: {
      const double f = std::min(NumberOf(p, &stop), 9e17);
      t = fmt->framesPerSec > 0 ? Clamp(f / fmt->framesPerSec * 1e7 + 0.5) : 0;
      break;
    }
    case ZOPOSFMT_MEASURES:
    case ZOPOSFMT_BEATS_TICKS:
      t = ZoTextToMusicTimeToken(p, fmt, flags, &stop);
      break;
    case ZOPOSFMT_BEATS:
      t = Clamp(std::min(NumberOf(p, &stop), 9e17) * SecondsPerBeat(fmt) * 1e7 + 0.5);
      break;
    case ZOPOSFMT_SMPTE_2997:
    case ZOPOSFMT_SMPTE_30:
    case ZOPOSFMT_SMPTE_2997_DROP:
    case ZOPOSFMT_SMPTE_25:
    case ZOPOSFMT_SMPTE_24:
    case ZOPOSFMT_SMPTE_23976: {
      Groups(p, &stop);
      const std::u16string token(p, size_t(stop - p));
      _smpteval v{};
      v.type = vane::kernel::SmpteTypeOfFormat(fmt->format);
      ZOSMPTE_TextToSMPTE(token.c_str(), &v);
      t = ZOSMPTE_SMPTEToNanos(&v);
      break;
    }
    case ZOPOSFMT_FEET_35MM:
    case ZOPOSFMT_FEET_16MM:
      t = ZoTextToFeetAndFramesToken(p, fmt, &stop);
      break;
    case ZOPOSFMT_MICROSECONDS: {
      const LONGLONG us = IntegerOf(p, &stop);
      t = us > kMax / 10 ? kMax : us * 10;
      break;
    }
    default:
      t = IntegerOf(p, &stop);
      break;
  }
  if (stop == p) {  // no digits: 0, and the parse went nowhere
    if (end) *end = text;
    return 0;
  }
  if (end) *end = stop;
  if (negative) t = -t;
  // A position is shown less its offset; a length or relative value is not.
  if (!(flags & (ZONANO_PARSE_LENGTH | ZONANO_PARSE_RELATIVE)) && fmt->offset) {
    ZoNanoTime sum;
    if (__builtin_add_overflow(t, fmt->offset, &sum)) sum = t < 0 ? -kMax : kMax;
    t = sum;
  }
  return t;
}

ZoNanoTime ZoTextToNanoTimeTokenEx(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LPCWSTR* end) {
  return ZoTextToNanoTimeToken2(text, fmt, 0, flags, end);
}

ZoNanoTime ZoTextToNanoTimeToken(LPCWSTR text, const _zoposfmt* fmt, LPCWSTR* end) {
  return ZoTextToNanoTimeToken2(text, fmt, 0, 0, end);
}
