// SPDX-License-Identifier: MIT
// Nano-time to text in the forms of the format table, and the clock,
// time code and music-time splits behind them.
#include "kernel/nanotime.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <limits>
#include <string>

#include "kernel/detail/text_internal.h"
#include "kernel/zoprintf.h"

namespace {

constexpr double kRoundMagic = 6755399441055744.0;  // 1.5 * 2^52: adding it rounds to an integer

// The table's two columns per format.
struct Row {
  const char16_t* shortForm;
  const char16_t* longForm;
};

constexpr Row kRows[20] = {
    {u"$I64d", u"$I64d"},                                          // 0 samples
    {u"%02u$:%02u$:%02u", u"%02u$:%02u$:%02u$*%03u"},             // 1 time
    {u"$.0f", u"$.3f"},                                            // 2 seconds
    {u"%02u$:%02u$:%02u", u"%02u$:%02u$:%02u$*%02u"},             // 3 time and frames
    {u"$.0f", u"$.3f"},                                            // 4 frames
    {u"$u$&:%u", u"$u$&:%u$&.%03u"},                               // 5 measures, beats, ticks
    {u"%02u:%02u:%02u:%02u", u"%02u:%02u:%02u:%02u"},              // 6 29.97 non-drop
    {u"%02u:%02u:%02u:%02u", u"%02u:%02u:%02u:%02u"},              // 7 30
    {u"%02u:%02u:%02u;%02u", u"%02u:%02u:%02u;%02u"},              // 8 29.97 drop
    {u"%02u:%02u:%02u:%02u", u"%02u:%02u:%02u:%02u"},              // 9 25
    {u"%02u:%02u:%02u:%02u", u"%02u:%02u:%02u:%02u"},              // 10 24
    {u"$I64d", u"$I64d"},                                          // 11 raw
    {u"$I64d", u"$I64d"},                                          // 12 microseconds
    {u"$u$&:%u", u"$u$&:%u"},                                      // 13 beats and ticks
    {u"$.0f", u"$.3f"},                                            // 14 beats
    {u"$I64d+$I64d", u"$I64d+$I64d"},                              // 15 35 mm feet
    {u"$I64d+$I64d", u"$I64d+$I64d"},                              // 16 16 mm feet
    {u"%02u$:%02u$:%02u", u"%02u:%02u:%02u:%02u"},                 // 17 CD time
    {u"%02u:%02u:%02u:%02u", u"%02u:%02u:%02u:%02u"},              // 18 23.976
    {u"%02u$:%02u$:%02u", u"%02u$:%02u$:%02u"},                    // 19 compact time
};


// Appends formatted text, as much as the room allows.
class Out {
 public:
  void Print(const char16_t* format, ...) {
    WCHAR buffer[256];
    size_t written = 0;
    va_list args;
    va_start(args, format);
    ZoNVPrintF(buffer, 256, &written, format, args);
    va_end(args);
    m_text.append(buffer, written);
  }
  void Append(const char16_t* text) { m_text += text; }
  const std::u16string& text() const { return m_text; }

 private:
  std::u16string m_text;
};

ZoNanoTime Magnitude(ZoNanoTime t) { return t < 0 ? (t == std::numeric_limits<ZoNanoTime>::min() ? std::numeric_limits<ZoNanoTime>::max() : -t) : t; }

// floor(a * b / c) for non-negative a and positive b, c without overflow.
LONGLONG MulDiv(LONGLONG a, LONGLONG b, LONGLONG c) {
  const __int128 r = __int128(a) * b / c;
  return r > std::numeric_limits<LONGLONG>::max() ? std::numeric_limits<LONGLONG>::max() : LONGLONG(r);
}

std::u16string Render(const _zoposfmt* fmt, ZoNanoTime time, DWORD flags, LPCWSTR custom) {
  const bool shortForm = (flags & ZONANO_SHORT) != 0;
  ZoNanoTime t = time;
  if (!(flags & ZONANO_NO_OFFSET) && fmt->offset) {
    if (__builtin_sub_overflow(time, fmt->offset, &t)) t = time < 0 ? std::numeric_limits<ZoNanoTime>::min() : std::numeric_limits<ZoNanoTime>::max();
  }
  const DWORD format = fmt->format;
  const char16_t* pattern = format < 20 ? (shortForm ? kRows[format].shortForm : kRows[format].longForm) : u"$I64d";
  if (custom) pattern = custom;
  Out out;
  if (t < 0) out.Append(u"-");
  const ZoNanoTime m = Magnitude(t);
  const double seconds = double(m) * 1e-7;
  switch (format) {
    case ZOPOSFMT_SAMPLES:
      out.Print(pattern, MulDiv(m, fmt->samplesPerSec, 10000000));
      break;
    case ZOPOSFMT_TIME:
    case ZOPOSFMT_TIME_FRAMES:
    case ZOPOSFMT_CD: {
      const double rate = format == ZOPOSFMT_TIME ? 1000.0 : format == ZOPOSFMT_CD ? 75.0 : fmt->framesPerSec;
      _smpteval v{};
      ZoNanoTimeToHMSF(m, &v, rate);
      out.Print(pattern, unsigned(v.hours), unsigned(v.minutes), unsigned(v.seconds), unsigned(v.frames));
      break;
    }
    case ZOPOSFMT_COMPACT_TIME: {
      _smpteval v{};
      ZoNanoTimeToHMSF(m, &v, 1000.0);
      if (custom)
        out.Print(pattern, unsigned(v.hours), unsigned(v.minutes), unsigned(v.seconds));
      else if (v.hours > 0)
        out.Print(u"%u$:%02u$:%02u", unsigned(v.hours), unsigned(v.minutes), unsigned(v.seconds));
      else
        out.Print(v.minutes >= 10 ? u"%02u$:%02u" : u"%u$:%02u", unsigned(v.minutes), unsigned(v.seconds));
      break;
    }
    case ZOPOSFMT_SECONDS:
      out.Print(pattern, seconds);
      break;
    case ZOPOSFMT_FRAMES:
      out.Print(pattern, seconds * fmt->framesPerSec + 1e-05);
      break;
    case ZOPOSFMT_MEASURES:
    case ZOPOSFMT_BEATS_TICKS: {
      LONGLONG measures = 0;
      LONG beats = 0, ticks = 0;
      ZoNanoTimeToMeasures(m, fmt, &measures, &beats, &ticks);
      const DWORD base = (flags & ZONANO_NO_OFFSET) ? 0 : 1;
      if (format == ZOPOSFMT_MEASURES)
        out.Print(pattern, DWORD(measures + base), DWORD(beats + base), DWORD(ticks));
      else
        out.Print(pattern, DWORD(measures * fmt->beatsPerMeasure + beats + base), DWORD(ticks));
      break;
    }
    case ZOPOSFMT_SMPTE_2997:
    case ZOPOSFMT_SMPTE_30:
    case ZOPOSFMT_SMPTE_2997_DROP:
    case ZOPOSFMT_SMPTE_25:
    case ZOPOSFMT_SMPTE_24:
    case ZOPOSFMT_SMPTE_23976: {
      _smpteval v{};
      v.type = vane::kernel::SmpteTypeOfFormat(format);
      ZOSMPTE_NanoToSMPTE(&v, m);
      out.Print(pattern, unsigned(v.hours), unsigned(v.minutes), unsigned(v.seconds), unsigned(v.frames));
      break;
    }
    case ZOPOSFMT_MICROSECONDS:
      out.Print(pattern, LONGLONG(m / 10 + (m % 10 + 5) / 10));
      break;
    case ZOPOSFMT_BEATS:
      out.Print(pattern, seconds * fmt->beatsPerMinute / 60.0);
      break;
    case ZOPOSFMT_FEET_35MM:
    case ZOPOSFMT_FEET_16MM: {
      const LONGLONG perFoot = format == ZOPOSFMT_FEET_35MM ? 40 : 16;
      const double x = seconds * fmt->framesPerSec + 1e-05 - 0.499999985;
      const LONGLONG frames = x <= 0 ? 0 : x >= 9.2e18 ? LONGLONG(9.2e18) : LONGLONG((x + kRoundMagic) - kRoundMagic);
      out.Print(pattern, frames / perFoot, frames % perFoot);
      break;
    }
    default:  // 11, and anything from 20 on: the raw count
      out.Print(pattern, LONGLONG(m));
      break;
  }
  return out.text();
}

int Emit(const std::u16string& text, WCHAR* buffer, size_t capacity) {
  if (!buffer) return 0;
  if (capacity == 0) return -1;
  if (text.size() + 1 > capacity) {
    text.copy(buffer, capacity - 1);
    buffer[capacity - 1] = 0;
    return -1;
  }
  text.copy(buffer, text.size());
  buffer[text.size()] = 0;
  return int(text.size());
}

constexpr size_t kUnbounded = 64;

}  // namespace

HRESULT ZoNanoTimeToHMSF(ZoNanoTime time, _smpteval* smpte, double framesPerSec) {
  if (!smpte) return E_POINTER;
  if (smpte->type >= ZOSMPTE_30 && smpte->type <= ZOSMPTE_5994) return ZOSMPTE_NanoToSMPTE(smpte, time);
  double t = double(time) * 1e-7;
  const bool rated = framesPerSec > 0.01;
  if (rated) t += 0.5 / framesPerSec;
  const double hours = std::trunc(t / 3600.0);
  t -= hours * 3600.0;
  const double minutes = std::trunc(t / 60.0);
  t -= minutes * 60.0;
  const double secs = std::trunc(t);
  t -= secs;
  smpte->hours = LONG(std::fmod(hours, 24.0));
  smpte->minutes = LONG(minutes);
  smpte->seconds = LONG(secs);
  const double frames = rated ? std::min((t * framesPerSec - 0.499999985 + kRoundMagic) - kRoundMagic, 2147483647.0) : 0;
  smpte->frames = frames > 0 ? LONG(frames) : 0;
  return S_OK;
}

ZoNanoTime ZoHMSFToNanoTime(const _smpteval* smpte, double framesPerSec) {
  if (!smpte) return 0;
  if (smpte->type >= ZOSMPTE_30 && smpte->type <= ZOSMPTE_5994) return ZOSMPTE_SMPTEToNanos(smpte);
  double s = double(smpte->hours) * 3600 + double(smpte->minutes) * 60 + smpte->seconds;
  if (framesPerSec > 0) s += smpte->frames / framesPerSec;
  const double t = s * 1e7;
  return t >= 9.2e18 ? ZoNanoTime(9.2e18) : t <= -9.2e18 ? ZoNanoTime(-9.2e18) : ZoNanoTime(t);
}

HRESULT ZoNanoTimeToMeasures(ZoNanoTime time, const _zoposfmt* fmt, LONGLONG* measures, LONG* beats, LONG* ticks) {
  if (measures) *measures = 0;
  if (beats) *beats = 0;
  if (ticks) *ticks = 0;
  if (!fmt) return E_POINTER;
  if (fmt->beatsPerMeasure == 0 || !(fmt->beatsPerMinute > 0)) return E_INVALIDARG;
  const double b = double(time) * fmt->beatsPerMinute / fmt->beatsPerMeasure * 1.6666666666666665e-09 + 5e-05;
  const double whole = std::trunc(b);
  const double inMeasure = (b - whole) * fmt->beatsPerMeasure;
  const double beat = std::trunc(inMeasure);
  if (measures) *measures = std::fabs(whole) < 9e18 ? LONGLONG(whole) : 0;
  if (beats) *beats = LONG(beat);
  if (ticks) *ticks = LONG(std::min(std::trunc((inMeasure - beat) * fmt->ticksPerBeat), 2147483647.0));
  return S_OK;
}

int ZoNanoTimeToTextExN(WCHAR* buffer, size_t capacity, const _zoposfmt* fmt, ZoNanoTime time, DWORD flags) {
  if (!fmt) return Emit(u"", buffer, capacity);
  return Emit(Render(fmt, time, flags, nullptr), buffer, capacity);
}

int ZoNanoTimeToTextEx(WCHAR* buffer, const _zoposfmt* fmt, ZoNanoTime time, DWORD flags) {
  return ZoNanoTimeToTextExN(buffer, kUnbounded, fmt, time, flags);
}

int ZoNanoTimeToTextN(WCHAR* buffer, size_t capacity, const _zoposfmt* fmt, ZoNanoTime time, int shortForm) {
  return ZoNanoTimeToTextExN(buffer, capacity, fmt, time, shortForm ? ZONANO_SHORT : 0);
}

int ZoNanoTimeToText(WCHAR* buffer, const _zoposfmt* fmt, ZoNanoTime time, int shortForm) {
  return ZoNanoTimeToTextN(buffer, kUnbounded, fmt, time, shortForm);
}

int ZoNanoTimeToTextFormatN(WCHAR* buffer, size_t capacity, const _zoposfmt* fmt, ZoNanoTime time, LPCWSTR formatText,
                            DWORD flags) {
  if (!fmt) return Emit(u"", buffer, capacity);
  return Emit(Render(fmt, time, flags, formatText), buffer, capacity);
}

int ZoNanoTimeToTextFormat(WCHAR* buffer, const _zoposfmt* fmt, ZoNanoTime time, LPCWSTR formatText, DWORD flags) {
  return ZoNanoTimeToTextFormatN(buffer, kUnbounded, fmt, time, formatText, flags);
}

int ZoMeasuresAndTicksToText(WCHAR* buffer, const _zoposfmt* fmt, LONGLONG measures, LONGLONG ticks, DWORD flags) {
  if (!fmt || fmt->ticksPerBeat == 0) return Emit(u"", buffer, kUnbounded);
  const LONGLONG base = (flags & ZONANO_NO_OFFSET) ? 0 : 1;
  Out out;
  out.Print(u"$I64d$&:%u$&.%03u", measures + base, unsigned(ticks / fmt->ticksPerBeat + base),
            unsigned(ticks % fmt->ticksPerBeat));
  return Emit(out.text(), buffer, kUnbounded);
}

int ZoTicksToText(WCHAR* buffer, const _zoposfmt* fmt, LONGLONG ticks, DWORD flags) {
  if (!fmt || fmt->ticksPerBeat == 0 || fmt->beatsPerMeasure == 0) return Emit(u"", buffer, kUnbounded);
  const LONGLONG perMeasure = LONGLONG(fmt->beatsPerMeasure) * fmt->ticksPerBeat;
  LONGLONG measures = ticks / perMeasure, rest = ticks % perMeasure;
  if (rest < 0) {  // a negative rest borrows a measure
    rest += perMeasure;
    --measures;
  }
  return ZoMeasuresAndTicksToText(buffer, fmt, measures, rest, flags);
}
