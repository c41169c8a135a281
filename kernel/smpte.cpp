// SPDX-License-Identifier: MIT
#include "kernel/smpte.h"

#include <cmath>
#include <cstdint>

#include "kernel/detail/text_internal.h"
#include "kernel/nanotime.h"
#include "platform/wtext.h"

namespace {

struct Rate {
  LONG fps;       // frames counted per second
  LONG drop;      // labels dropped per minute (not every tenth)
  double real;    // frames per real second
};

constexpr double kNtsc = 30000.0 / 1001.0;
constexpr double kNtscFilm = 24000.0 / 1001.0;
constexpr double kNtscDouble = 60000.0 / 1001.0;

bool Lookup(DWORD type, Rate* r) {
  switch (type) {
    case ZOSMPTE_30: *r = {30, 0, 30.0}; return true;
    case ZOSMPTE_2997_DROP: *r = {30, 2, kNtsc}; return true;
    case ZOSMPTE_25: *r = {25, 0, 25.0}; return true;
    case ZOSMPTE_24: *r = {24, 0, 24.0}; return true;
    case ZOSMPTE_2997: *r = {30, 0, kNtsc}; return true;
    case ZOSMPTE_23976: *r = {24, 0, kNtscFilm}; return true;
    case ZOSMPTE_50: *r = {50, 0, 50.0}; return true;
    case ZOSMPTE_5994_DROP: *r = {60, 4, kNtscDouble}; return true;
    case ZOSMPTE_60: *r = {60, 0, 60.0}; return true;
    case ZOSMPTE_5994: *r = {60, 0, kNtscDouble}; return true;
    default: return false;
  }
}

LONGLONG Modulo(LONGLONG a, LONGLONG m) {
  const LONGLONG r = a % m;
  return r < 0 ? r + m : r;
}

}  // namespace

LONG ZOSMPTE_FramesPerSecond(DWORD type) {
  Rate r{};
  return Lookup(type, &r) ? r.fps : 0;
}

double ZOSMPTE_RealRate(DWORD type) {
  Rate r{};
  return Lookup(type, &r) ? r.real : 0.0;
}

BOOL ZOSMPTE_IsDrop(DWORD type) {
  Rate r{};
  return Lookup(type, &r) && r.drop != 0;
}

HRESULT ZOSMPTE_FrameCountToSMPTE(_smpteval* smpte, LONGLONG frames) {
  if (!smpte) return E_POINTER;
  Rate r{};
  if (!Lookup(smpte->type, &r)) return E_INVALIDARG;
  const LONGLONG perMinute = LONGLONG(r.fps) * 60, perHour = perMinute * 60, perTen = perMinute * 10;
  // Nine minutes in ten drop r.drop labels each: 54 drops an hour.
  const LONGLONG dropPerHour = 54LL * r.drop;
  LONGLONG c = Modulo(frames, 24 * (perHour - dropPerHour));
  if (r.drop) {
    // Put back the dropped labels until the count stands still.
    const LONGLONG base = c;
    LONGLONG drop = 0;
    for (int i = 0; i < 64; ++i) {
      c = base + drop;
      const LONGLONG h = c / perHour, rest = c % perHour, m = rest / perMinute;
      const LONGLONG next = dropPerHour * h + (m ? (m - rest / perTen) * r.drop : 0);
      if (next == drop) break;
      drop = next;
    }
  }
  smpte->hours = LONG((c / perHour) % 24);
  smpte->minutes = LONG((c % perHour) / perMinute);
  smpte->seconds = LONG((c % perMinute) / r.fps);
  smpte->frames = LONG(c % r.fps);
  // Labels that drop frame skips do not exist.
  if (r.drop && smpte->frames < r.drop && smpte->seconds == 0 && smpte->minutes % 10 != 0) smpte->frames = r.drop;
  return S_OK;
}

LONGLONG ZOSMPTE_SMPTEToFrameCount(const _smpteval* smpte) {
  Rate r{};
  if (!smpte || !Lookup(smpte->type, &r)) return 0;
  LONGLONG frames = smpte->frames;
  const LONGLONG minutes = smpte->minutes;
  if (r.drop && frames < r.drop && smpte->seconds == 0 && minutes % 10 != 0) frames = r.drop;
  LONGLONG count = ((LONGLONG(smpte->hours) * 60 + minutes) * 60 + smpte->seconds) * r.fps + frames;
  if (r.drop) count -= 54LL * r.drop * smpte->hours + LONGLONG(r.drop) * (minutes - minutes / 10);
  return count;
}

ZoNanoTime ZOSMPTE_SMPTEToNanos(const _smpteval* smpte) {
  const double rate = smpte ? ZOSMPTE_RealRate(smpte->type) : 0.0;
  if (rate <= 0) return 0;
  const double t = double(ZOSMPTE_SMPTEToFrameCount(smpte)) / rate * 1e7 + 0.999;
  return t >= 9.2e18 ? ZoNanoTime(9.2e18) : t <= -9.2e18 ? ZoNanoTime(-9.2e18) : ZoNanoTime(t);
}

HRESULT ZOSMPTE_NanoToSMPTE(_smpteval* smpte, ZoNanoTime time) {
  if (!smpte) return E_POINTER;
  const double rate = ZOSMPTE_RealRate(smpte->type);
  if (rate <= 0) return E_INVALIDARG;
  const double frames = double(time) * rate / 1e7 + 5e-06;
  const double bounded = frames > 9.2e18 ? 9.2e18 : frames < -9.2e18 ? -9.2e18 : frames;
  return ZOSMPTE_FrameCountToSMPTE(smpte, LONGLONG(bounded));
}

HRESULT ZOSMPTE_TextToSMPTE(LPCWSTR text, _smpteval* smpte) {
  if (!smpte) return E_POINTER;
  smpte->hours = smpte->minutes = smpte->seconds = smpte->frames = 0;
  smpte->reserved = 0;
  if (!text) return S_OK;
  size_t length = 0;
  while (text[length] && length < 256) ++length;
  while (length > 0 && text[length - 1] == u' ') --length;
  auto digit = [](WCHAR c) { return c >= u'0' && c <= u'9'; };
  // Groups of digits from the right: frames, seconds, minutes, hours. A
  // trailing separator stands for a group of 0.
  LONG groups[4] = {0, 0, 0, 0};
  int count = 0;
  size_t i = length;
  if (i > 0 && !digit(text[i - 1])) {
    count = 1;
    --i;
  }
  while (i > 0 && count < 4) {
    while (i > 0 && !digit(text[i - 1])) --i;
    if (i == 0) break;
    size_t start = i;
    while (start > 0 && digit(text[start - 1])) --start;
    LONGLONG value = 0;
    for (size_t k = start; k < i; ++k) value = value < 100000000 ? value * 10 + (text[k] - u'0') : 999999999;
    groups[count++] = LONG(value);
    i = start;
  }
  smpte->frames = groups[0];
  smpte->seconds = groups[1];
  smpte->minutes = groups[2];
  smpte->hours = groups[3];
  // Out-of-range fields carry over, as their frame count says.
  Rate r{};
  if (Lookup(smpte->type, &r)) {
    const LONGLONG frames =
        ((LONGLONG(groups[3]) * 60 + groups[2]) * 60 + groups[1]) * r.fps + groups[0];
    if (groups[0] >= r.fps || groups[1] >= 60 || groups[2] >= 60 || groups[3] >= 24) {
      // Carry in whole-label arithmetic (no drop), then keep the labels.
      const LONGLONG perMinute = LONGLONG(r.fps) * 60, perHour = perMinute * 60;
      const LONGLONG c = Modulo(frames, 24 * perHour);
      smpte->hours = LONG(c / perHour);
      smpte->minutes = LONG((c % perHour) / perMinute);
      smpte->seconds = LONG((c % perMinute) / r.fps);
      smpte->frames = LONG(c % r.fps);
    }
    if (r.drop && smpte->frames < r.drop && smpte->seconds == 0 && smpte->minutes % 10 != 0)
      smpte->frames = r.drop;
  }
  return S_OK;
}

HRESULT ZOSMPTE_AddSMPTE(_smpteval* result, const _smpteval* a, const _smpteval* b) {
  if (!result || !a || !b) return E_POINTER;
  const LONGLONG sum = ZOSMPTE_SMPTEToFrameCount(a) + ZOSMPTE_SMPTEToFrameCount(b);
  result->type = a->type;
  result->reserved = 0;
  return ZOSMPTE_FrameCountToSMPTE(result, sum);
}

HRESULT ZOSMPTE_SubtractSMPTE(_smpteval* result, const _smpteval* a, const _smpteval* b) {
  if (!result || !a || !b) return E_POINTER;
  const LONGLONG difference = ZOSMPTE_SMPTEToFrameCount(a) - ZOSMPTE_SMPTEToFrameCount(b);
  result->type = a->type;
  result->reserved = 0;
  return ZOSMPTE_FrameCountToSMPTE(result, difference);
}

int ZOSMPTE_SMPTECompare(const _smpteval* a, const _smpteval* b) {
  const LONGLONG x = ZOSMPTE_SMPTEToFrameCount(a), y = ZOSMPTE_SMPTEToFrameCount(b);
  return x < y ? -1 : x > y ? 1 : 0;
}

HRESULT ZOSMPTE_IncrementByFrame(_smpteval* smpte) {
  if (!smpte) return E_POINTER;
  Rate r{};
  if (!Lookup(smpte->type, &r)) return E_INVALIDARG;
  // Compared before adding, so fields out of range never overflow.
  if (smpte->frames < r.fps - 1) {
    ++smpte->frames;
    return S_OK;
  }
  smpte->frames = 0;
  if (smpte->seconds < 59) {
    ++smpte->seconds;
    return S_OK;
  }
  smpte->seconds = 0;
  if (smpte->minutes < 59) {
    ++smpte->minutes;
    if (r.drop && smpte->minutes % 10 != 0) smpte->frames = r.drop;
    return S_OK;
  }
  smpte->minutes = 0;
  smpte->hours = (smpte->hours & 31) + 1;
  if (smpte->hours >= 24) smpte->hours = 0;
  return S_OK;
}

HRESULT ZOSMPTE_DeccrementByFrame(_smpteval* smpte) {
  if (!smpte) return E_POINTER;
  Rate r{};
  if (!Lookup(smpte->type, &r)) return E_INVALIDARG;
  return ZOSMPTE_FrameCountToSMPTE(smpte, ZOSMPTE_SMPTEToFrameCount(smpte) - 1);
}

ZoNanoTime ZOSMPTE_SmpteLikeToNanos(double framesPerSec, const _smpteval* smpte) {
  if (!smpte || !(framesPerSec > 0)) return 0;
  const double seconds = double(smpte->hours) * 3600 + double(smpte->minutes) * 60 + smpte->seconds;
  const double t = (seconds * framesPerSec + smpte->frames) / framesPerSec * 1e7;
  return t >= 9.2e18 ? ZoNanoTime(9.2e18) : t <= -9.2e18 ? ZoNanoTime(-9.2e18) : ZoNanoTime(t);
}

int ZOSMPTE_ParseDropWord(LPCWSTR text) {
  if (!text) return -1;
  static const char16_t* const kDrop[] = {u"DropFrame", u"Drop Frame"};
  static const char16_t* const kNonDrop[] = {u"NonDropFrame", u"Non-DropFrame", u"Non Drop Frame", u"Non-Drop Frame"};
  for (const char16_t* w : kNonDrop)
    if (ZoWcsICmp(text, w) == 0) return 0;
  for (const char16_t* w : kDrop)
    if (ZoWcsICmp(text, w) == 0) return 1;
  return -1;
}

namespace vane::kernel {

DWORD SmpteTypeOfFormat(DWORD format) {
  switch (format) {
    case ZOPOSFMT_SMPTE_2997: return ZOSMPTE_2997;
    case ZOPOSFMT_SMPTE_30: return ZOSMPTE_30;
    case ZOPOSFMT_SMPTE_2997_DROP: return ZOSMPTE_2997_DROP;
    case ZOPOSFMT_SMPTE_25: return ZOSMPTE_25;
    case ZOPOSFMT_SMPTE_24: return ZOSMPTE_24;
    case ZOPOSFMT_SMPTE_23976: return ZOSMPTE_23976;
    default: return ZOSMPTE_TIME;
  }
}

}  // namespace vane::kernel
