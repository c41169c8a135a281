// SPDX-License-Identifier: MIT
// The identification table. Each row is a type and a test over the first
// bytes (at most 64 KB) and the extension; the first row that passes wins.
// Row order is part of the behaviour: several tests overlap on purpose
// (a "RIFF"/"WAVE" header is tried as scot-carrying, 0x1971 and plain wave
// in that order), so rows are never sorted or merged.
#include "riff/quick_identify.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/status.h"
#include "riff/detail/box_classifier.h"
#include "riff/detail/file_access.h"
#include "riff/riff_types.h"

using namespace vane::riff;

namespace {

constexpr DWORD kWindow = 0x10000;

struct Probe {
  const BYTE* p;
  size_t n;
  std::u16string ext;  // lower case, dot included; empty when unknown
  bool ExtIs(const char* e) const {
    if (ext.size() != std::strlen(e)) return false;
    for (size_t i = 0; i < ext.size(); ++i)
      if (ext[i] != char16_t(e[i])) return false;
    return true;
  }
  // "ext X if known": passes when no extension is known.
  bool ExtIfKnown(const char* e) const { return ext.empty() || ExtIs(e); }
  bool At(size_t off, const void* s, size_t len) const { return off + len <= n && std::memcmp(p + off, s, len) == 0; }
  bool At(size_t off, const char* s) const { return At(off, s, std::strlen(s)); }
  DWORD Le32(size_t off) const { return DWORD(p[off]) | DWORD(p[off + 1]) << 8 | DWORD(p[off + 2]) << 16 | DWORD(p[off + 3]) << 24; }
  WORD Le16(size_t off) const { return WORD(p[off] | p[off + 1] << 8); }
  DWORD Be32(size_t off) const { return DWORD(p[off]) << 24 | DWORD(p[off + 1]) << 16 | DWORD(p[off + 2]) << 8 | p[off + 3]; }
  DWORD SyncSafe(size_t off) const {
    return DWORD(p[off] & 0x7F) << 21 | DWORD(p[off + 1] & 0x7F) << 14 | DWORD(p[off + 2] & 0x7F) << 7 | (p[off + 3] & 0x7F);
  }
};

// ---- MPEG audio frame headers
enum class Layer { II = 2, III = 1 };

bool ValidMpegHeader(const BYTE* h, Layer layer) {
  const DWORD v = DWORD(h[0]) << 24 | DWORD(h[1]) << 16 | DWORD(h[2]) << 8 | h[3];
  if ((v >> 21) != 0x7FF) return false;
  const DWORD version = (v >> 19) & 3, lay = (v >> 17) & 3, bitrate = (v >> 12) & 15, rate = (v >> 10) & 3;
  return version != 1 && bitrate != 0 && bitrate != 15 && rate != 3 && lay == DWORD(layer);
}

bool SyncSearch(const BYTE* p, size_t n, Layer want, bool stopOnLayerII) {
  if (n < 2048) return false;
  for (size_t i = 0; i + 4 <= n; ++i) {
    if (p[i] != 0xFF || (p[i + 1] & 0xE0) != 0xE0) continue;
    if (ValidMpegHeader(p + i, want)) return true;
    if (stopOnLayerII && ValidMpegHeader(p + i, Layer::II)) return false;
  }
  return false;
}

// ---- rows
bool Ac3(const Probe& b) {
  if (!b.ExtIfKnown(".ac3") || b.n == 0) return false;
  const BYTE c = b.p[0];
  if (c >= 64 && c != 'w') return false;
  size_t off = 0;
  if (c < 64 && c != 11) off = (b.n > 1 && b.p[1] > 16) ? b.p[1] : 16;
  if (b.n < off + 40) return false;
  // Byte-swapped streams start 'w' (77 0B): read little-endian words there.
  auto word = [&](size_t o) { return c == 'w' ? WORD(b.p[o] | b.p[o + 1] << 8) : WORD(b.p[o] << 8 | b.p[o + 1]); };
  if (word(off) != 0x0B77) return false;
  const WORD w = word(off + 4);
  return (w >> 14) <= 2 && ((w >> 8) & 0x3F) < 38;
}
bool Gif(const Probe& b) { return b.At(0, "GIF87a") || b.At(0, "GIF89a"); }
bool Tiff(const Probe& b) {
  static const BYTE le[] = {'I', 'I', '*', 0}, be[] = {'M', 'M', 0, '*'};
  return b.At(0, le, 4) || b.At(0, be, 4);
}
bool JpegXr(const Probe& b) {
  static const BYTE m[] = {0x49, 0x49, 0xBC, 0x01};
  return b.At(0, m, 4);
}
bool Targa(const Probe& b) {
  if (b.n < 18) return false;
  const BYTE cmap = b.p[1], kind = b.p[2];
  BYTE depth;
  if ((kind == 1 || kind == 9) && cmap == 1) depth = b.p[7];
  else if (kind == 2 || kind == 3 || kind == 10 || kind == 11) depth = b.p[16];
  else return false;
  if (depth != 8 && depth != 15 && depth != 16 && depth != 24 && depth != 32) return false;
  return b.p[12] != 0 && b.p[14] != 0;
}
bool Aiff(const Probe& b) { return b.At(0, "FORM") && (b.At(8, "AIFF") || b.At(8, "AIFC")); }
bool Avi(const Probe& b) {
  if (!b.At(0, "RIFF") || !b.At(8, "AVI ")) return false;
  const DWORD s = b.Le32(4);
  return LONG(s) < 0 || s > 2048;
}
bool Dv(const Probe& b) {
  if (b.n < 563) return false;
  const BYTE* p = b.p;
  auto blk = [&](size_t o, BYTE hi, BYTE third) { return (p[o] >> 4) == hi && p[o + 1] == 7 && p[o + 2] == third; };
  return p[0] == 0x1F && p[1] == 7 && p[2] == 0 && (p[3] == 0x3F || p[3] == 0xBF) && p[80] == 0x3F && p[81] == 7 &&
         p[82] == 0 && p[160] == 0x3F && p[161] == 7 && p[162] == 1 && blk(240, 5, 0) && blk(320, 5, 1) &&
         blk(400, 5, 2) && blk(480, 7, 0) && blk(560, 9, 0);
}
// Size of a leading ftyp box clamped to the buffer, or 0.
size_t FtypSize(const Probe& b) {
  if (b.n < 13 || !b.At(4, "ftyp")) return 0;
  const size_t s = std::min<size_t>(b.Be32(0), b.n);
  return s >= 12 ? s : 0;
}
bool M4a(const Probe& b) {
  const size_t s = FtypSize(b);
  for (size_t o = 8; s && o + 4 <= s; o += 4) {
    if (b.At(o, "M4VH") || b.At(o, "M4V ")) return false;
    if (b.At(o, "M4A ")) return true;
  }
  return false;
}
bool Red(const Probe& b) { return b.n >= 8 && (b.At(4, "RED1") || b.At(4, "RED2")); }
bool Dls(const Probe& b) { return b.At(0, "RIFF") && (b.At(8, "DLS ") || b.At(8, "sfbk")); }

// A transport stream carrying a second video view, by the state machine as
// written: a PAT that does not parse leaves the walk in state 2, a PMT of
// another table id in state 4, and neither state leads to a hit.
bool TsParse(const Probe& b) {
  if (b.n < 5) return false;
  const bool g0 = b.p[0] == 'G', g4 = b.p[4] == 'G';
  if (g0 == g4) return false;
  const size_t size = g0 ? 188 : 192, lead = g0 ? 0 : 4;
  constexpr size_t kPacket = 188;
  int state = 0;
  bool secondView = false, audio = false, otherAudio = false;
  for (size_t k = 0; k < b.n / size && state != 5; ++k) {
    if (k * size + lead + kPacket > b.n) break;
    const BYTE* pk = b.p + k * size + lead;
    if (pk[1] & 0x80) continue;  // transport error: of no use
    if (!(pk[1] & 0x40)) continue;
    const unsigned pid = unsigned(pk[1] & 0x1F) << 8 | pk[2];
    const bool pat = state == 0 && pid == 0, pmt = state == 3 && pid != 0;
    if (!pat && !pmt) continue;
    state = pat ? 2 : 4;
    size_t pos = 4;
    if (pk[3] & 0x20) pos += 1 + size_t(pk[4]);  // adaptation field
    if (pos >= kPacket) continue;
    pos += 1 + size_t(pk[pos]);  // pointer field
    if (pos + 3 > kPacket) continue;
    const BYTE* sec = pk + pos;
    const size_t secLen = size_t(sec[1] & 0x0F) << 8 | sec[2];
    if (pat) {
      if (sec[0] == 0 && (sec[1] & 0x80) && secLen <= 1021 && pos + 3 + secLen <= kPacket) state = 3;
      continue;
    }
    if (sec[0] != 2 || pos + 12 > kPacket) continue;
    // Entries while 6 bytes are left of the section, read no further than
    // the packet holds.
    const size_t end = std::min(3 + secLen, kPacket - pos);
    for (size_t q = 12 + (size_t(sec[10] & 0x0F) << 8 | sec[11]); q + 6 <= end;) {
      const BYTE type = sec[q];
      if (type == 32) secondView = true;
      if (type == 6 || type == 129 || type == 131) audio = true;
      if (type == 128) otherAudio = true;
      if ((sec[q + 1] & 0xE0) != 0xE0) break;
      q += 5 + (size_t(sec[q + 3] & 0x0F) << 8 | sec[q + 4]);
    }
    state = 5;
  }
  return state == 5 && secondView && (audio || otherAudio);
}
bool TsSync(const Probe& b) {
  for (size_t size : {size_t(188), size_t(192)}) {
    const size_t lead = size == 188 ? 0 : 4, count = b.n / size;
    if (count < 3) continue;
    bool all = true;
    for (size_t k = 0; k < count && all; ++k) all = b.p[k * size + lead] == 'G';
    if (all) return true;
  }
  return false;
}
bool Mpeg2(const Probe& b) {
  static const BYTE pack[] = {0, 0, 1, 0xBA}, seq[] = {0, 0, 1, 0xB3};
  if (b.n < 4) return false;
  if (b.At(0, pack, 4) && b.n > 4 && (b.p[4] & 0xC0) == 0x40) return true;
  if (b.n >= 377 && b.p[0] == 'G' && b.p[188] == 'G' && b.p[376] == 'G') return true;
  if (b.At(0, seq, 4)) return true;
  return b.n > 9 && b.At(0, "DVDVIDEO-");
}
bool Mpeg1(const Probe& b) {
  static const BYTE pack[] = {0, 0, 1, 0xBA}, seq[] = {0, 0, 1, 0xB3};
  if (b.n < 5) return false;
  return (b.At(0, pack, 4) && b.p[4] < 64) || b.At(0, seq, 4);
}
bool Flac(const Probe& b) {
  if (b.At(0, "fLaC")) return true;
  if (b.n < 10 || !b.At(0, "ID3")) return false;
  return b.At(10 + size_t(b.SyncSafe(6)), "fLaC");
}
bool Mp3Tagged(const Probe& b) {
  if (b.n < 9) return false;
  const bool tag = b.At(0, "ID3");
  if (tag && b.n >= 14) {
    const size_t end = 10 + size_t(b.SyncSafe(6));
    if (end + 4 > b.n) return true;  // the tag runs past what was read
    if (ValidMpegHeader(b.p + end, Layer::III)) return true;
  }
  static const BYTE ffFb[] = {0xFF, 0xFB};
  if (!(b.At(0, ffFb, 2) || tag) || b.n < 12) return false;
  return ValidMpegHeader(b.p, Layer::III);
}
bool Bmp(const Probe& b) { return b.n >= 2 && b.At(0, "BM"); }
bool Jpeg(const Probe& b) {
  static const BYTE m[] = {0xFF, 0xD8, 0xFF};
  return b.At(0, m, 3);
}
bool Dpx(const Probe& b) { return b.At(0, "SDPX"); }
bool Png(const Probe& b) {
  static const BYTE m[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  return b.At(0, m, 8);
}
bool Exr(const Probe& b) {
  static const BYTE m[] = {0x76, 0x2F, 0x31, 0x01};
  return b.At(0, m, 4);
}
bool Psd(const Probe& b) { return b.n >= 26 && b.At(0, "8BPS"); }
bool Swf(const Probe& b) { return b.n > 8 && b.At(0, "FWS"); }
bool Avs(const Probe& b) {
  if (b.n < 9) return false;
  static const BYTE pal16[] = {'P', 0, 'A', 0, 'L', 0}, ntc16[] = {'N', 0, 'T', 0, 'C', 0};
  return b.At(0, "PAL") || b.At(0, "NTC") || b.At(0, pal16, 6) || b.At(0, ntc16, 6);
}
bool Zoa(const Probe& b) { return b.At(0, "RIFF") && b.At(8, "ZOA "); }
bool IsWaveHead(const Probe& b) { return b.At(0, "RIFF") && b.At(8, "WAVE"); }
bool Has1971(const Probe& b) { return b.n >= 25 && b.At(12, "fmt ") && b.Le16(20) == 0x1971; }
bool WaveScot(const Probe& b) { return IsWaveHead(b) && !Has1971(b) && b.n >= 69 && b.At(60, "scot"); }
bool Wave1971(const Probe& b) { return IsWaveHead(b) && b.Le32(4) != 0 && Has1971(b); }
bool Wave(const Probe& b) { return IsWaveHead(b) && b.Le32(4) != 0 && !Has1971(b); }
bool Csw(const Probe& b) { return b.At(0, "RIFF") && b.At(8, "CSW ") && b.Le32(4) != 0 && !Has1971(b); }
bool Wave64(const Probe& b) {
  return b.n >= 40 && b.At(0, &kW64_riff, 16) && b.At(24, &kW64_wave, 16);
}
bool Tivo(const Probe& b) { return b.At(0, "TiVo"); }
bool Asf(const Probe& b) {
  static const BYTE g[] = {0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11, 0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C};
  if (b.n < 30 || !b.At(0, g, 16)) return false;
  const ULONGLONG s = ULONGLONG(b.Le32(16)) | ULONGLONG(b.Le32(20)) << 32;
  return s >= 1 && s <= 0x3FFFFF;
}
bool Wma(const Probe& b) { return b.ExtIs(".wma") && Asf(b); }
bool Wmv(const Probe& b) { return (b.ExtIs(".wmv") || b.ExtIs(".asf")) && Asf(b); }
bool DvrMs(const Probe& b) { return (b.ExtIs(".dvr-ms") || b.ExtIs(".dvr")) && Asf(b); }
bool Qm3(const Probe& b) {
  if (b.n < 11 || b.n <= 13 || !b.At(0, "qm3") || b.p[3] != 3 || b.p[4] != 0) return false;
  const size_t second = 10 + size_t(b.SyncSafe(6));
  if (second + 3 > b.n) return true;
  return b.At(second, "QM3");
}
bool TcVoice(const Probe& b) { return b.At(0, "TC_VOICE"); }
bool Aaf(const Probe& b) { return b.n >= 11 && b.At(8, "AAF"); }
bool ThreeGp(const Probe& b) {
  const size_t s = FtypSize(b);
  if (!s || b.At(8, "mp42") || s / 4 < 5) return false;
  for (size_t o = 16; o + 4 <= s; o += 4)
    if (b.At(o, "3gp4") || b.At(o, "3gp5") || b.At(o, "3gp6") || b.At(o, "3gp7")) return true;
  return false;
}
bool AvcEs(const Probe& b) { return b.ExtIs(".avc") || b.ExtIs(".bsf"); }
bool AacByExt(const Probe& b) { return b.ExtIs(".aac"); }

// MXF scan: a position starting 06 0E 2B 34 is compared and the scan then
// jumps 16 bytes whether or not it matched; any other position moves one.
template <typename F>
void MxfScan(const Probe& b, F&& visit) {
  static const BYTE prefix[] = {0x06, 0x0E, 0x2B, 0x34};
  if (b.n < 16) return;
  const size_t last = b.n - 16;
  for (size_t i = 0; i < last;) {
    if (std::memcmp(b.p + i, prefix, 4) == 0) {
      if (visit(b.p + i)) return;
      i += 16;
    } else {
      ++i;
    }
  }
}
bool MxfOp1a(const Probe& b) {
  static const BYTE key[] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x02, 0x0D, 0x01, 0x02, 0x01, 0x10, 0x02, 0x00, 0x00};
  if (!b.ExtIs(".mxf")) return false;
  bool hit = false;
  MxfScan(b, [&](const BYTE* p) { return hit = std::memcmp(p, key, 16) == 0; });
  return hit;
}
bool MxfSequence(const Probe& b) {
  static const BYTE k1[] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x02};
  static const BYTE k2[] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01, 0x0D, 0x01, 0x01, 0x01, 0x01, 0x01, 0x2F, 0x00};
  static const BYTE k3[] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x01, 0x09, 0x00};
  static const BYTE k4a[] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0A, 0x0D, 0x01, 0x03, 0x01, 0x02, 0x0F, 0x60, 0x01};
  static const BYTE k4b[] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0A, 0x0D, 0x01, 0x03, 0x01, 0x02, 0x10, 0x60, 0x01};
  static const BYTE k5a[] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0A, 0x04, 0x01, 0x02, 0x02, 0x01, 0x31};
  static const BYTE k5b[] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0A, 0x04, 0x01, 0x02, 0x02, 0x01, 0x32};
  if (!b.ExtIs(".mxf")) return false;
  int step = 1;
  const bool big = b.n >= 14336;
  MxfScan(b, [&](const BYTE* p) {
    switch (step) {
      case 1: if (std::memcmp(p, k1, 14) == 0) step = 2; break;
      case 2: if (std::memcmp(p, k2, 16) == 0) step = 3; break;
      case 3: if (std::memcmp(p, k3, 16) == 0) step = 4; break;
      case 4: if (std::memcmp(p, k4a, 16) == 0 || std::memcmp(p, k4b, 16) == 0) step = 5; break;
      case 5: if (!big || std::memcmp(p, k5a, 14) == 0 || std::memcmp(p, k5b, 14) == 0) step = 6; break;
      default: step = 7; return true;
    }
    return false;
  });
  return step == 7;
}
bool MxfAny(const Probe& b) {
  static const BYTE key[] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02};
  const size_t window = std::min<size_t>(b.n, kWindow);
  for (size_t i = 0; window > 10 && i < window - 10; ++i)
    if (std::memcmp(b.p + i, key, 11) == 0) return true;
  return b.ExtIs(".mxf");
}
bool Ogg(const Probe& b) { return b.n >= 6 && b.At(0, "OggS"); }
bool SdHeader(const Probe& b) {
  if (b.n < 3) return false;
  const WORD w = b.Le16(0);
  if (w != 0xFFFF && w != 1) return false;
  switch (b.p[2]) {
    case 5: case 12: case 13: case 14: case 16: case 17: case 18: case 19: return true;
    default: return false;
  }
}
bool Au(const Probe& b) { return b.At(0, ".snd"); }
bool Ivc(const Probe& b) { return b.n >= 2 && b.Le16(0) == 0x3805; }
bool QuickTime(const Probe& b) {
  if (b.n < 16) return false;
  static const BYTE zero4[4] = {};
  if (b.At(4, "mdat") || b.At(4, "wide")) return true;
  if (b.At(4, "pnot")) return b.p[12] == 0 && b.p[13] == 0;
  if (b.At(4, "moov")) return b.At(12, "mvhd") || b.At(12, "cmov");
  if (b.At(4, "ftyp")) return b.At(8, "isom") || b.At(8, "qt  ");
  if (b.At(4, "free")) return b.At(12, "mvhd") || b.At(12, "cmov") || b.At(12, zero4, 4);
  if (b.At(4, "skip")) {
    const size_t next = b.Be32(0);
    if (next + 8 > b.n) return true;
    for (const char* t : {"mdat", "wide", "free", "skip", "pnot", "moov"})
      if (b.At(next + 4, t)) return true;
  }
  return false;
}
bool Vox(const Probe& b) { return b.ExtIs(".vox"); }
bool Raw(const Probe& b) { return b.ExtIs(".raw"); }
bool Rm(const Probe& b) { return b.ExtIs(".rm") || b.ExtIs(".rmvb"); }
bool Mp3Sync(const Probe& b) { return b.ExtIfKnown(".mp3") && SyncSearch(b.p, b.n, Layer::III, true); }
bool Mp2Sync(const Probe& b) { return b.ExtIfKnown(".mp2") && SyncSearch(b.p, b.n, Layer::II, false); }
bool Matroska(const Probe& b) {
  const void* hit = std::memchr(b.p, 0x1A, b.n);
  if (!hit) return false;
  const size_t at = size_t(static_cast<const BYTE*>(hit) - b.p);
  static const BYTE tail[] = {0x45, 0xDF, 0xA3};
  return b.At(at + 1, tail, 3);
}

struct Row {
  DWORD type;  // 0: the box classifier decides
  bool (*test)(const Probe&);
};

constexpr Row kRows[] = {
    {ZOFILEID_AC3, Ac3},          {ZOFILEID_GIF, Gif},           {ZOFILEID_TIFF, Tiff},
    {ZOFILEID_JPEGXR, JpegXr},    {ZOFILEID_TARGA, Targa},       {ZOFILEID_AIFF, Aiff},
    {ZOFILEID_AVI, Avi},          {ZOFILEID_DV, Dv},             {ZOFILEID_M4A, M4a},
    {ZOFILEID_RED, Red},          {ZOFILEID_DLS, Dls},           {ZOFILEID_MPEG_TS_MVC, TsParse},
    {ZOFILEID_MPEG_TS, TsSync},   {ZOFILEID_MPEG2, Mpeg2},       {ZOFILEID_MPEG1, Mpeg1},
    {ZOFILEID_FLAC, Flac},        {ZOFILEID_MP3_TAGGED, Mp3Tagged}, {ZOFILEID_BMP, Bmp},
    {ZOFILEID_JPEG, Jpeg},        {ZOFILEID_DPX, Dpx},           {ZOFILEID_PNG, Png},
    {ZOFILEID_EXR, Exr},          {ZOFILEID_PSD, Psd},           {ZOFILEID_SWF, Swf},
    {ZOFILEID_AVS, Avs},          {ZOFILEID_ZOA, Zoa},           {ZOFILEID_WAVE_SCOT, WaveScot},
    {ZOFILEID_WAVE_1971, Wave1971}, {ZOFILEID_WAVE, Wave},       {ZOFILEID_CSW, Csw},
    {ZOFILEID_WAVE64, Wave64},    {ZOFILEID_TIVO, Tivo},         {ZOFILEID_WMA, Wma},
    {ZOFILEID_WMV, Wmv},          {ZOFILEID_DVRMS, DvrMs},       {ZOFILEID_ASF, Asf},
    {ZOFILEID_QM3, Qm3},          {ZOFILEID_TC_VOICE, TcVoice},  {ZOFILEID_AAF, Aaf},
    {ZOFILEID_3GP, ThreeGp},      {ZOFILEID_AVC_ES, AvcEs},      {ZOFILEID_AAC, AacByExt},
    {0, nullptr},                 {ZOFILEID_MXF_OP1A, MxfOp1a},  {ZOFILEID_MXF_SEQUENCE, MxfSequence},
    {ZOFILEID_MXF, MxfAny},       {ZOFILEID_OGG, Ogg},           {ZOFILEID_SD_HEADER, SdHeader},
    {ZOFILEID_AU, Au},            {ZOFILEID_IVC, Ivc},           {ZOFILEID_QUICKTIME, QuickTime},
    {ZOFILEID_VOX, Vox},          {ZOFILEID_RAW, Raw},           {ZOFILEID_REALMEDIA, Rm},
    {ZOFILEID_MP3, Mp3Sync},      {ZOFILEID_MP2, Mp2Sync},       {ZOFILEID_MATROSKA, Matroska},
};
static_assert(sizeof(kRows) / sizeof(kRows[0]) == 57);

bool InRange(DWORD type, DWORD flags) {
  if (!(flags & (ZOFILEID_AUDIO_ONLY | ZOFILEID_VIDEO_ONLY | ZOFILEID_IMAGE_ONLY))) return true;
  if (type < 0x1000) return flags & ZOFILEID_AUDIO_ONLY;
  if (type < 0x2000) return flags & ZOFILEID_VIDEO_ONLY;
  return flags & ZOFILEID_IMAGE_ONLY;
}

std::u16string Extension(LPCWSTR name) {
  if (!name) return {};
  std::u16string s(name);
  const size_t slash = s.find_last_of(u"/\\");
  const size_t dot = s.find_last_of(u'.');
  if (dot == std::u16string::npos || (slash != std::u16string::npos && dot < slash)) return {};
  std::u16string ext = s.substr(dot);
  for (auto& c : ext)
    if (c >= u'A' && c <= u'Z') c = char16_t(c - u'A' + u'a');
  return ext;
}

}  // namespace

namespace vane::riff {

DWORD IdentifyBytes(const BYTE* bytes, size_t n, LPCWSTR name, DWORD flags, HANDLE file, bool* found) {
  Probe probe{bytes, std::min<size_t>(n, kWindow), {}};
  if (!(flags & ZOFILEID_IGNORE_EXTENSION)) probe.ext = Extension(name);
  const bool ranged = flags & (ZOFILEID_AUDIO_ONLY | ZOFILEID_VIDEO_ONLY | ZOFILEID_IMAGE_ONLY);
  *found = false;
  for (const Row& row : kRows) {
    if (!row.test) {
      // The classifier's row has no type of its own, so a range flag skips
      // it like every row below type 2; the plainer rows decide then.
      if (ranged) continue;
      const DWORD t = ClassifyBoxes(probe.p, probe.n, file);
      if (t != ZOFILEID_UNKNOWN) {
        *found = true;
        return t;
      }
      continue;
    }
    if (ranged && (row.type < 2 || !InRange(row.type, flags))) continue;
    if (row.test(probe)) {
      *found = true;
      return (flags & ZOFILEID_SCOT_AS_WAVE) && row.type == ZOFILEID_WAVE_SCOT ? DWORD(ZOFILEID_WAVE) : row.type;
    }
  }
  return ZOFILEID_UNKNOWN;
}

}  // namespace vane::riff

HRESULT ZoIsQuicklyIdentifiableMediaFileFormat(ZOFILEIDINFO* info, BOOL* found) {
  if (!info || !found) return E_INVALIDARG;
  *found = FALSE;
  info->type = 0;
  std::vector<BYTE> bytes;
  HANDLE file = info->file;
  bool opened = false;
  HRESULT hr = S_OK;
  if (info->name && file == INVALID_HANDLE_VALUE) {
    file = CreateFileW(info->name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
      const DWORD e = GetLastError();
      return e ? HRESULT_FROM_WIN32(e) : ZOERR_FILE_OPEN;
    }
    opened = true;
  }
  const BYTE* p = nullptr;
  size_t n = 0;
  if (file != INVALID_HANDLE_VALUE && file != nullptr) {
    bytes.resize(kWindow);
    DWORD got = 0;
    if (!FileSeek(file, 0, FILE_BEGIN)) hr = ZOERR_FILE_READ;
    else if (!FileRead(file, bytes.data(), kWindow, &got)) hr = ZOERR_FILE_READ;
    bytes.resize(got);
    p = bytes.data();
    n = got;
  } else if (info->buffer && info->bufferSize) {
    p = static_cast<const BYTE*>(info->buffer);
    n = std::min<DWORD>(info->bufferSize, kWindow);
    file = nullptr;
  } else if (info->stream) {
    file = nullptr;
    IStream* s = info->stream;
    ULARGE_INTEGER here{};
    LARGE_INTEGER zero{};
    if (FAILED(s->Seek(zero, STREAM_SEEK_CUR, &here))) return ZOERR_FILE_READ;
    bytes.resize(kWindow);
    ULONG got = 0;
    if (FAILED(s->Seek(zero, STREAM_SEEK_SET, nullptr)) || FAILED(s->Read(bytes.data(), kWindow, &got))) {
      hr = ZOERR_FILE_READ;
    }
    bytes.resize(std::min<ULONG>(got, kWindow));
    LARGE_INTEGER back;
    back.QuadPart = LONGLONG(here.QuadPart);
    s->Seek(back, STREAM_SEEK_SET, nullptr);
    p = bytes.data();
    n = bytes.size();
  } else {
    return E_INVALIDARG;
  }
  if (SUCCEEDED(hr)) {
    bool hit = false;
    static const BYTE none = 0;
    info->type = vane::riff::IdentifyBytes(n ? p : &none, n, info->name, info->flags, file, &hit);
    *found = hit ? TRUE : FALSE;
  }
  if (opened) CloseHandle(file);
  return hr;
}

BOOL ZoIsQuicklyIdentifiableMediaFileFormat(HANDLE file, LPCWSTR name, DWORD flags, DWORD* type) {
  ZOFILEIDINFO info{flags, file, name, nullptr, 0, nullptr, 0};
  BOOL found = FALSE;
  const HRESULT hr = ZoIsQuicklyIdentifiableMediaFileFormat(&info, &found);
  if (type) *type = SUCCEEDED(hr) ? info.type : DWORD(ZOFILEID_UNKNOWN);
  return SUCCEEDED(hr) && found;
}

BOOL ZoIsQuicklyIdentifiableMediaFileFormat(HANDLE file, DWORD flags, DWORD* type) {
  return ZoIsQuicklyIdentifiableMediaFileFormat(file, nullptr, flags, type);
}

BOOL ZoIsQuicklyIdentifiableMediaFileFormat(LPCWSTR name, DWORD flags, DWORD* type) {
  return ZoIsQuicklyIdentifiableMediaFileFormat(INVALID_HANDLE_VALUE, name, flags, type);
}

BOOL ZoIsQuicklyIdentifiableMediaFileFormat(const void* buffer, DWORD size, DWORD flags, DWORD* type) {
  ZOFILEIDINFO info{flags, INVALID_HANDLE_VALUE, nullptr, buffer, size, nullptr, 0};
  BOOL found = FALSE;
  const HRESULT hr = ZoIsQuicklyIdentifiableMediaFileFormat(&info, &found);
  if (type) *type = SUCCEEDED(hr) ? info.type : DWORD(ZOFILEID_UNKNOWN);
  return SUCCEEDED(hr) && found;
}

BOOL ZoIsQuicklyIdentifiableMediaFileFormat(IStream* stream, DWORD flags, DWORD* type) {
  ZOFILEIDINFO info{flags, INVALID_HANDLE_VALUE, nullptr, nullptr, 0, stream, 0};
  BOOL found = FALSE;
  const HRESULT hr = ZoIsQuicklyIdentifiableMediaFileFormat(&info, &found);
  if (type) *type = SUCCEEDED(hr) ? info.type : DWORD(ZOFILEID_UNKNOWN);
  return SUCCEEDED(hr) && found;
}

BOOL IsTypeMP2FindSyncByte(const BYTE* buffer, DWORD size, LPCWSTR extension) {
  if (!buffer) return FALSE;
  std::u16string ext;
  if (extension) {
    ext = extension;
    for (auto& c : ext)
      if (c >= u'A' && c <= u'Z') c = char16_t(c - u'A' + u'a');
  }
  if (!ext.empty() && ext != u".mp2") return FALSE;
  return SyncSearch(buffer, size, Layer::II, false);
}

const char* ZoIdentifiedTypeName(DWORD type) {
  struct Name {
    DWORD type;
    const char* text;
  };
  static constexpr Name kNames[] = {
      {ZOFILEID_UNKNOWN, "unknown"},
      {ZOFILEID_WAVE, "Wave"},
      {ZOFILEID_WAVE64, "Wave64"},
      {ZOFILEID_MP3_TAGGED, "MPEG audio Layer III (tagged or framed)"},
      {ZOFILEID_MP3, "MPEG audio Layer III (by sync)"},
      {ZOFILEID_WAVE_1971, "Wave with format 0x1971"},
      {ZOFILEID_WAVE_SCOT, "Wave with scot chunk"},
      {ZOFILEID_OGG, "Ogg"},
      {ZOFILEID_AC3, "AC-3"},
      {ZOFILEID_AIFF, "AIFF"},
      {ZOFILEID_SD_HEADER, "sound designer header"},
      {ZOFILEID_AU, "Sun/NeXT audio"},
      {ZOFILEID_IVC, "IVC audio"},
      {ZOFILEID_VOX, "VOX ADPCM"},
      {ZOFILEID_ZOA, "RIFF ZOA"},
      {ZOFILEID_RAW, "raw audio"},
      {ZOFILEID_QM3, "qm3"},
      {ZOFILEID_CSW, "RIFF CSW"},
      {ZOFILEID_MP2, "MPEG audio Layer II"},
      {ZOFILEID_M4A, "MPEG-4 audio (M4A)"},
      {ZOFILEID_AAC, "AAC"},
      {ZOFILEID_FLAC, "FLAC"},
      {ZOFILEID_TC_VOICE, "TC voice"},
      {ZOFILEID_DLS, "DLS/SoundFont"},
      {ZOFILEID_AVI, "AVI"},
      {ZOFILEID_MPEG1, "MPEG-1 program stream"},
      {ZOFILEID_MPEG2, "MPEG-2 program stream"},
      {ZOFILEID_ASF, "ASF"},
      {ZOFILEID_WMV, "WMV"},
      {ZOFILEID_WMA, "WMA"},
      {ZOFILEID_DVRMS, "DVR-MS"},
      {ZOFILEID_TIVO, "TiVo"},
      {ZOFILEID_REALMEDIA, "RealMedia"},
      {ZOFILEID_QUICKTIME, "QuickTime"},
      {ZOFILEID_SWF, "SWF"},
      {ZOFILEID_AVS, "PAL/NTSC script"},
      {ZOFILEID_MXF_OP1A, "MXF (OP1a key)"},
      {ZOFILEID_MXF, "MXF"},
      {ZOFILEID_MXF_SEQUENCE, "MXF (key sequence)"},
      {ZOFILEID_AAF, "AAF"},
      {ZOFILEID_MP4_AVC, "MPEG-4 with AVC"},
      {ZOFILEID_MP4, "MPEG-4"},
      {ZOFILEID_3GP, "3GPP"},
      {ZOFILEID_DV, "DV"},
      {ZOFILEID_MPEG_TS, "MPEG-2 transport stream"},
      {ZOFILEID_AVC_ES, "AVC elementary stream"},
      {ZOFILEID_MP4_MPEG2, "MPEG-4 with MPEG-2 video"},
      {ZOFILEID_RED, "RED"},
      {ZOFILEID_MP4_PCM, "MPEG-4 with AVC and PCM"},
      {ZOFILEID_MPEG_TS_MVC, "MPEG-2 transport stream with MVC"},
      {ZOFILEID_MATROSKA, "Matroska"},
      {ZOFILEID_JPEG, "JPEG"},
      {ZOFILEID_PNG, "PNG"},
      {ZOFILEID_EXR, "OpenEXR"},
      {ZOFILEID_PSD, "PSD image"},
      {ZOFILEID_GIF, "GIF"},
      {ZOFILEID_TIFF, "TIFF"},
      {ZOFILEID_TARGA, "Targa"},
      {ZOFILEID_BMP, "BMP"},
      {ZOFILEID_DPX, "DPX"},
      {ZOFILEID_JPEGXR, "JPEG XR"},
  };
  for (const Name& n : kNames)
    if (n.type == type) return n.text;
  return "unknown";
}
