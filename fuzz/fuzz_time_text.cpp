// SPDX-License-Identifier: MIT
// Time text from hostile input: every format row's parser, the clock,
// feet, music-time and time code readers, and the text of whatever came
// out, with the format record's rates taken from the input too.
#include <cstdint>
#include <cstring>
#include <string>

#include "kernel/nanotime.h"
#include "kernel/smpte.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  _zoposfmt fmt{};
  fmt.samplesPerSec = 48000;
  fmt.framesPerSec = 30;
  fmt.beatsPerMinute = 120;
  fmt.beatsPerMeasure = 4;
  fmt.ticksPerBeat = 960;
  if (size >= 8) {
    std::memcpy(&fmt.samplesPerSec, data, 4);
    std::uint16_t bpm, ticks;
    std::memcpy(&bpm, data + 4, 2);
    std::memcpy(&ticks, data + 6, 2);
    fmt.beatsPerMinute = bpm;
    fmt.ticksPerBeat = ticks;
    fmt.beatsPerMeasure = WORD(data[0] & 15);
    fmt.framesPerSec = double(data[1]) / 4.0;
    data += 8;
    size -= 8;
  }
  std::u16string text;
  for (size_t i = 0; i + 1 < size; i += 2) text += char16_t(data[i] | data[i + 1] << 8);
  WCHAR out[64];
  for (DWORD row = 0; row < 22; ++row) {
    fmt.format = row;
    for (DWORD flags : {0u, 1u, 2u, 4u}) {
      LPCWSTR end = nullptr;
      const ZoNanoTime t = ZoTextToNanoTimeTokenEx(text.c_str(), &fmt, flags, &end);
      if (end < text.c_str() || end > text.c_str() + text.size()) __builtin_trap();
      ZoNanoTimeToTextEx(out, &fmt, t, flags);
    }
  }
  for (DWORD type = 0; type <= 11; ++type) {
    _smpteval v{};
    v.type = type;
    ZOSMPTE_TextToSMPTE(text.c_str(), &v);
    ZOSMPTE_SMPTEToNanos(&v);
    ZOSMPTE_IncrementByFrame(&v);
  }
  ZoTextToTimeToken(text.c_str(), 0, nullptr);
  ZoTextToTicks(text.c_str(), &fmt, 0, nullptr);
  ZoTicksToText(out, &fmt, LONGLONG(size) * 7919 - 100000, 0);
  return 0;
}
