// SPDX-License-Identifier: MIT
// Display texts of audio formats: tags, codec names, sample types, channel
// layouts and the one-line format description. Codec names come from
// built-in tables sorted by tag, standing in for the system's codec catalogue.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "audio/format_text.h"
#include "audio/zowaveformat.h"
#include "platform/status.h"

namespace {

struct TagName {
  WORD tag;
  const char* name;
};

constexpr TagName kLongNames[] = {
    {0x0003, "IEEE Float"},
    {0x0050, "MPEG Audio"},
    {0x0055, "MPEG Layer 3"},
    {0x0092, "Dolby AC3"},
    {0x0161, "Windows Media Audio 9"},
    {0x0162, "Windows Media Audio 9 Professional"},
    {0x0163, "Windows Media Audio Lossless"},
    {0x1971, "Proprietary Codec 0x1971"},
    {0x674F, "Ogg Vorbis 1"},
    {0x6750, "Ogg Vorbis 2"},
    {0x6751, "Ogg Vorbis 3"},
    {0x676F, "Ogg Vorbis 1+"},
    {0x6770, "Ogg Vorbis 2+"},
    {0x6771, "Ogg Vorbis 3+"},
    {0xA106, "MPEG-4 Advanced Audio Coding"},
    {0xFE00, "PCM Unpacked"},
    {0xFE01, "PCM Signed"},
    {0xFE02, "PCM Big Endian"},
    {0xFE03, "PCM Right Aligned"},
};

constexpr TagName kShortNames[] = {
    {0x0001, "PCM"},          {0x0002, "ADPCM"},          {0x0003, "Float"},          {0x0006, "ALaw"},
    {0x0007, "uLaw"},         {0x000A, "WMA Voice"},      {0x000B, "RT Voice"},       {0x0022, "TrueSpeech"},
    {0x0050, "MPEG"},         {0x0055, "MP3"},            {0x0062, "Voxware"},        {0x0092, "AC3"},
    {0x0160, "MS Audio"},     {0x0161, "WMA"},            {0x0162, "WMA Pro"},        {0x0163, "WMA Lossless"},
    {0x0164, "WMA SPDIF"},    {0x0200, "ADPCM"},          {0x0216, "DV"},             {0x0270, "Proprietary 0x270"},
    {0x0271, "Proprietary 0x271"}, {0x0272, "Proprietary 0x272"}, {0x0273, "Proprietary 0x273"},
    {0x0274, "Proprietary 0x274"}, {0x0275, "Proprietary 0x275"}, {0x0401, "IMC"},
    {0x0500, "On2 VP7"},      {0x0501, "On2 VP6"},        {0x1971, "Proprietary 0x1971"}, {0x2000, "AC3"},
    {0x2001, "Dolby DTS"},    {0x2002, "RealAudio"},      {0x2004, "RealAudio G2"},   {0x2005, "RealAudio Music"},
    {0x2006, "RealAudio 10"}, {0x2007, "RealAudio 10"},   {0x3313, "AVIS"},           {0x6771, "Ogg"},
    {0xA106, "AAC"},          {0xAAC0, "LC-AAC"},         {0xAAC1, "HE-AAC"},         {0xAAC2, "HE-AAC V2"},
    {0xF1AC, "FLAC"},         {0xFE00, "PCM"},            {0xFE01, "PCM"},            {0xFE02, "PCM"},
    {0xFE03, "PCM"},          {0xFFCA, "DV"},
};

constexpr std::pair<WORD, WORD> kCanonicalTags[] = {
    {0x0014, 0x0002}, {0x0017, 0x0002}, {0x0040, 0x0002}, {0x00D8, 0xFFCA}, {0x00FF, 0xA106}, {0x0180, 0xA106},
    {0x0215, 0x0216}, {0x2003, 0x2002}, {0x4143, 0xA106}, {0x674F, 0x6771}, {0x6750, 0x6771}, {0x6751, 0x6771},
    {0x676F, 0x6771}, {0x6770, 0x6771}, {0x6771, 0x6771}, {0x706D, 0xA106},
};

// The codec catalogue's names of format tags: what a format-details query
// by tag answers on this system.
constexpr TagName kCatalogue[] = {
    {0x0001, "PCM"},
    {0x0002, "ADPCM"},
    {0x0003, "IEEE Float"},
    {0x0006, "A-Law"},
    {0x0007, "mu-Law"},
    {0x0011, "IMA ADPCM"},
    {0x0031, "GSM 6.10"},
    {0x0050, "MPEG Audio Layer 1/2"},
    {0x0055, "MPEG Audio Layer 3"},
    {0x0092, "AC-3 (S/PDIF)"},
    {0x00FF, "AAC"},
    {0x1610, "HE-AAC (ADTS)"},
    {0x2000, "AC-3"},
    {0x2001, "DTS"},
    {0xA106, "AAC"},
    {0xF1AC, "FLAC"},
    {0xFE03, "PCM Right Aligned"},
};

template <size_t N>
constexpr bool SortedByTag(const TagName (&t)[N]) {
  for (size_t i = 1; i < N; ++i)
    if (t[i - 1].tag >= t[i].tag) return false;
  return true;
}
static_assert(SortedByTag(kLongNames) && SortedByTag(kShortNames) && SortedByTag(kCatalogue));

template <size_t N>
const char* Find(const TagName (&t)[N], WORD tag) {
  auto it = std::lower_bound(std::begin(t), std::end(t), tag, [](const TagName& r, WORD k) { return r.tag < k; });
  return it != std::end(t) && it->tag == tag ? it->name : nullptr;
}

std::string Format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* fmt, ...) {
  char buf[256];
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  return buf;
}

std::string ChannelWord(const tWAVEFORMATEX* wfx) {
  const bool ext = wfx->wFormatTag == WAVE_FORMAT_EXTENSIBLE && wfx->cbSize >= 22;
  const DWORD mask = ext ? reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(wfx)->dwChannelMask : 0;
  switch (wfx->nChannels) {
    case 1: return "Mono";
    case 2: return "Stereo";
    case 6:
      if (ext && (mask == 0x3F || mask == 0x60F)) return "5.1";
      break;
    case 8:
      if (ext && (mask == 0xFF || mask == 0x63F)) return "7.1";
      break;
    default: break;
  }
  return Format("%d Channel", wfx->nChannels);
}

std::string BitRateText(double bps) {
  static const char* const kUnits[] = {"bps", "Kbps", "Mbps", "Gbps", "Tbps"};
  int unit = 0;
  while (bps > 2000.0 && unit < 4) {
    bps /= 1000.0;
    ++unit;
  }
  const double tenths = static_cast<double>(static_cast<long long>(bps * 10.0 + 0.5));
  if (bps + 0.5 < 100.0 && static_cast<long long>(tenths) % 10 != 0)
    return Format("%.1f %s", tenths / 10.0, kUnits[unit]);
  return Format("%lld %s", static_cast<long long>(bps + 0.5), kUnits[unit]);
}

}  // namespace

namespace vane::audio {

HRESULT PutText(const std::string& text, WCHAR* buf, int cch) {
  if (buf == nullptr || cch < 1) return S_OK;
  const size_t n = std::min(text.size(), static_cast<size_t>(cch - 1));
  for (size_t i = 0; i < n; ++i) buf[i] = static_cast<unsigned char>(text[i]);
  buf[n] = 0;
  return S_OK;
}

std::string ToNarrow(const WCHAR* text) {
  std::string s;
  for (; text && *text; ++text) s.push_back(*text < 0x80 ? static_cast<char>(*text) : '?');
  return s;
}

const char* CatalogueTagName(WORD tag) { return Find(kCatalogue, tag); }

}  // namespace vane::audio

using vane::audio::PutText;

WORD ZoAudio_ConvertToCanonicalWaveFormatTag(WORD tag) {
  auto it = std::lower_bound(std::begin(kCanonicalTags), std::end(kCanonicalTags), tag,
                             [](const std::pair<WORD, WORD>& p, WORD k) { return p.first < k; });
  return it != std::end(kCanonicalTags) && it->first == tag ? it->second : tag;
}

int ZoAudio_GetCompressionTypeName(WORD tag, WCHAR* buf, int cch, BOOL shortOnly) {
  const char* name = shortOnly ? nullptr : Find(kLongNames, tag);
  if (!name) name = Find(kShortNames, tag);
  if (!name) {
    const WORD canonical = ZoAudio_ConvertToCanonicalWaveFormatTag(tag);
    if (canonical != tag) name = Find(kShortNames, canonical);
  }
  if (name) {
    PutText(name, buf, cch);
    return 0;
  }
  // Decimal digits behind a hexadecimal prefix: the established text.
  const std::string fallback = Format("0x%d", tag);
  PutText(shortOnly ? fallback : "'" + fallback + "' Compression", buf, cch);
  return 1;
}

HRESULT ZoAudio_GetTagText(WORD tag, WCHAR* buf, int cch) {
  switch (tag) {
    case WAVE_FORMAT_PCM: return PutText("PCM", buf, cch);
    case WAVE_FORMAT_IEEE_FLOAT: return PutText("PCM (float)", buf, cch);
    case WAVE_FORMAT_ZO_PCM_UNPACKED: return PutText("PCM (unpacked)", buf, cch);
    case WAVE_FORMAT_ZO_PCM_SIGNED: return PutText("PCM (signed)", buf, cch);
    case WAVE_FORMAT_ZO_PCM_BIGENDIAN: return PutText("PCM (big endian)", buf, cch);
    default: break;
  }
  if (const char* name = vane::audio::CatalogueTagName(tag)) return PutText(name, buf, cch);
  PutText("Unknown", buf, cch);
  return E_FAIL;
}

HRESULT ZoAudio_GetSampleTypeText(ZOSAMPLETYPE type, WCHAR* buf, int cch) {
  const int bits = ZoAudio_BitsFromSampleType(type);
  switch (type) {
    case ZOSAMPLE_PCM8:
    case ZOSAMPLE_PCM16:
    case ZOSAMPLE_PCM24:
    case ZOSAMPLE_PCM32: return PutText(Format("%d Bit", bits), buf, cch);
    case ZOSAMPLE_FLOAT32:
    case ZOSAMPLE_FLOAT64: return PutText(Format("%d Bit (IEEE Float)", bits), buf, cch);
    case ZOSAMPLE_PCM24_UNPACKED: return PutText("24 Bit (Unpacked)", buf, cch);
    case ZOSAMPLE_PCM8_SIGNED: return PutText("8 Bit (Signed)", buf, cch);
    case ZOSAMPLE_PCM16_BE:
    case ZOSAMPLE_PCM24_BE:
    case ZOSAMPLE_PCM32_BE: return PutText(Format("%d Bit (MAC)", bits), buf, cch);
    case ZOSAMPLE_PCM16_RA: return PutText("16 Bit (RA)", buf, cch);
    case ZOSAMPLE_PCM24_RA: return PutText("24 Bit (RA)", buf, cch);
    default: return PutText("", buf, cch);
  }
}

HRESULT ZoAudio_GetBitDepthText(ZOSAMPLETYPE type, WCHAR* buf, int cch, DWORD) {
  switch (type) {
    case ZOSAMPLE_PCM24_UNPACKED: return PutText("24 Bit", buf, cch);
    case ZOSAMPLE_PCM8_SIGNED: return PutText("8 Bit", buf, cch);
    case ZOSAMPLE_PCM16_RA: return PutText("16 Bit", buf, cch);
    case ZOSAMPLE_PCM24_RA: return PutText("24 Bit", buf, cch);
    default: break;
  }
  const int bits = ZoAudio_BitsFromSampleType(type);
  return PutText(bits ? Format("%d Bit", bits) : std::string(), buf, cch);
}

HRESULT ZoAudio_GetChannelsText(WORD channels, DWORD mask, WCHAR* buf, int cch) {
  struct Row {
    DWORD mask;
    WORD channels;
    const char* text;
    bool lfe;
  };
  static constexpr Row kRows[] = {
      {0x0, 1, "Mono", false},
      {0x0, 2, "Stereo", false},
      {0x3, 2, "Stereo", false},
      {0x3F, 6, "5.1", false},
      {0x60F, 6, "5.1", false},
      {0xFF, 8, "7.1", false},
      {0x4, 1, "1/0 (C)", false},
      {0xC, 2, "1/0 (C)", true},
      {0xB, 3, "2/0 (L, R)", true},
      {0x7, 3, "3/0 (L, C, R)", false},
      {0xF, 4, "3/0 (L, C, R)", true},
      {0x13, 3, "2/1 (L, R, Ls)", false},
      {0x1B, 4, "2/1 (L, R, Ls)", true},
      {0x17, 4, "3/1 (L, C, R, Ls)", false},
      {0x1F, 5, "3/1 (L, C, R, Ls)", true},
      {0x33, 4, "2/2 (L, R, Ls, Rs)", false},
      {0x3B, 5, "2/2 (L, R, Ls, Rs)", true},
      {0x37, 5, "3/2 (L, C, R, Ls, Rs)", false},
  };
  for (const Row& r : kRows)
    if (r.mask == mask && r.channels == channels)
      return PutText(std::string(r.text) + (r.lfe ? " + LFE" : ""), buf, cch);
  return PutText(Format("%d Channel", channels), buf, cch);
}

HRESULT ZoAudio_GetAttribsText(const tWAVEFORMATEX* wfx, WCHAR* buf, int cch) {
  if (wfx == nullptr) return PutText("Unknown", buf, cch), E_FAIL;
  if (ZoAudio_IsCompressed(wfx)) {
    // Details of a compressed format as the codec catalogue gives them.
    const WORD tag = ZoAudio_GetWaveFormatTag(wfx);
    if (vane::audio::CatalogueTagName(tag) == nullptr) {
      PutText("Unknown", buf, cch);
      return E_FAIL;
    }
    std::string text = Format("%u Hz", wfx->nSamplesPerSec);
    if (wfx->nAvgBytesPerSec) text += ", " + Format("%u kbps", (wfx->nAvgBytesPerSec * 8u + 500u) / 1000u);
    return PutText(text + ", " + ChannelWord(wfx), buf, cch);
  }
  bool isFloat = wfx->wFormatTag == WAVE_FORMAT_IEEE_FLOAT;
  if (wfx->wFormatTag == WAVE_FORMAT_EXTENSIBLE && wfx->cbSize >= 22)
    isFloat = reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(wfx)->SubFormat == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  return PutText(Format(isFloat ? "%u Hz, %d Bit (IEEE Float), %s" : "%u Hz, %d Bit, %s", wfx->nSamplesPerSec,
                        wfx->wBitsPerSample, ChannelWord(wfx).c_str()),
                 buf, cch);
}

HRESULT ZoAudio_GetAttribsText(const _zowaveformat* rec, WCHAR* buf, int cch) {
  if (rec == nullptr) return PutText("Unknown", buf, cch), E_FAIL;
  alignas(8) BYTE plain[80] = {};
  ZoAudio_GeneralCopyWfx(reinterpret_cast<tWAVEFORMATEX*>(plain), sizeof plain, rec, ZOWFCOPY_NOFORCE);
  return ZoAudio_GetAttribsText(reinterpret_cast<tWAVEFORMATEX*>(plain), buf, cch);
}

HRESULT ZoAudio_GetFormatText(const _zowaveformat* rec, WCHAR* buf, int cch, DWORD flags) {
  if (rec == nullptr) return PutText("", buf, cch);
  if ((flags & 1) && rec->IsCompressed()) {
    ZoWaveFormatBuffer<32> pcm;
    pcm->Init(rec->nSamplesPerSec, rec->wBitsPerSample > 16 ? ZOSAMPLE_PCM24 : ZOSAMPLE_PCM16, rec->nChannels,
              rec->dwChannelMask, 32);
    return ZoAudio_GetFormatText(pcm.get(), buf, cch, flags & ~1u);
  }
  std::string out;
  auto add = [&out](const std::string& piece) {
    if (piece.empty()) return;
    if (!out.empty()) out += ", ";
    out += piece;
  };
  WCHAR tmp[128];
  const WORD tag = rec->FormatTag();
  if (rec->IsCompressed() && (flags & 16)) {
    alignas(8) BYTE plain[136] = {};
    ZoAudio_GeneralCopyWfx(reinterpret_cast<tWAVEFORMATEX*>(plain), sizeof plain, rec, ZOWFCOPY_NOFORCE);
    ZoAudio_GetAttribsText(reinterpret_cast<tWAVEFORMATEX*>(plain), tmp, 128);
    add(vane::audio::ToNarrow(tmp));
  } else {
    if ((flags & 32) && rec->IsCompressed() && rec->nAvgBytesPerSec != 0) {
      const double bps = rec->nAvgBytesPerSec * 8.0;
      if (bps != static_cast<double>(rec->wBitsPerSample) * rec->nChannels * rec->nSamplesPerSec)
        add(BitRateText(bps));
    }
    add(Format("%u Hz", rec->nSamplesPerSec));
    if (rec->IsCompressed()) {
      if (rec->wBitsPerSample && rec->wFormatTag) add(Format("%d Bit", rec->wBitsPerSample));
    } else {
      if (flags & 2) ZoAudio_GetBitDepthText(rec->sampleType, tmp, 128, 0);
      else ZoAudio_GetSampleTypeText(rec->sampleType, tmp, 128);
      add(vane::audio::ToNarrow(tmp));
    }
    ZoAudio_GetChannelsText(rec->nChannels, rec->dwChannelMask, tmp, 128);
    add(vane::audio::ToNarrow(tmp));
  }
  const bool stop = (flags & 4) || ((flags & 2) && (tag == WAVE_FORMAT_PCM || tag == WAVE_FORMAT_IEEE_FLOAT));
  if (!stop) {
    ZoAudio_GetCompressionTypeName(tag, tmp, 128, (flags & 8) == 0);
    add(vane::audio::ToNarrow(tmp));
  }
  return PutText(out, buf, cch);
}
