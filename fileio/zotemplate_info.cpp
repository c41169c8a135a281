// SPDX-License-Identifier: MIT
// Facts of a template, its relation to a class's presets, the records made
// from open streams, and the debug description.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "audio/mmreg.h"
#include "fileio/zofileio.h"
#include "fileio/zotemplate.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace {

const _zowaveformat& ReadFormat(const tagZOTEMPLATExV2* tpl) {
  return *reinterpret_cast<const _zowaveformat*>(tpl->readFormat);
}
const WAVEFORMATEX& FileFormat(const tagZOTEMPLATExV2* tpl) {
  return *reinterpret_cast<const WAVEFORMATEX*>(tpl->fileFormat);
}

HRESULT Put(void* buffer, DWORD bytes, const void* value, DWORD size) {
  if (bytes < size) return ZOERR_BUFFER_TOO_SMALL;
  std::memcpy(buffer, value, size);
  return S_OK;
}
HRESULT PutU32(void* buffer, DWORD bytes, DWORD value) { return Put(buffer, bytes, &value, 4); }

// Audio bits per second of the file format; 0 for a variable rate.
DWORD AudioRate(const tagZOTEMPLATExV2* tpl) {
  if (!tpl->audioSize || (tpl->audioFlags & ZOTEMPLATE_AUDIO_VBR)) return 0;
  const WAVEFORMATEX& f = FileFormat(tpl);
  if (f.nAvgBytesPerSec) return f.nAvgBytesPerSec * 8;
  return ReadFormat(tpl).nAvgBytesPerSec * 8;
}

// Bits per second of the video section; the record's fields come from files,
// so the arithmetic is done in double and clamped to what the result holds.
LONGLONG VideoRate(const tagZOTEMPLATExV2* tpl) {
  if (!tpl->videoSize) return 0;
  double rate = double(tpl->videoDataRate);
  if (rate == 0) {
    const BITMAPINFOHEADER& h = tpl->videoFormat;
    rate = std::fabs(double(h.biWidth)) * std::fabs(double(h.biHeight)) * h.biBitCount * tpl->videoExtension.frameRate;
  }
  if (tpl->videoFlags & 1) rate = rate * 5 / 4;
  if (!(rate > 0)) return 0;  // also NaN
  return rate >= 9.2e18 ? LONGLONG(9.2e18) : LONGLONG(rate);
}

// A double of the record as a float, clamped to the float range.
float ToFloat(double v) {
  if (!(v == v)) return 0.0f;
  if (v > 3.4e38) return 3.4e38f;
  if (v < -3.4e38) return -3.4e38f;
  return float(v);
}

std::u16string GuidText(const GUID& g) {
  char text[40];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", g.Data1, g.Data2, g.Data3,
                g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  return vane::platform::FromUtf8(text);
}

}  // namespace

HRESULT ZoFio_GetTemplateInfo(const tagZOTEMPLATExV2* tpl, DWORD id, void* buffer, DWORD bytes) {
  if (!tpl || !buffer) return E_POINTER;
  if (bytes < 4) return ZOERR_BUFFER_TOO_SMALL;
  const _zowaveformat& read = ReadFormat(tpl);
  const BITMAPINFOHEADER& video = tpl->videoFormat;
  switch (id) {
    case ZOTPLINFO_AUDIO_TAG: {
      WORD tag = FileFormat(tpl).wFormatTag;
      if (!tag) tag = read.FormatTag();
      return PutU32(buffer, bytes, tag);
    }
    case ZOTPLINFO_VIDEO_FOURCC:
      return PutU32(buffer, bytes, tpl->compressedFormat.biCompression ? tpl->compressedFormat.biCompression
                                                                        : video.biCompression);
    case ZOTPLINFO_AUDIO_BPS: return PutU32(buffer, bytes, AudioRate(tpl));
    case ZOTPLINFO_VIDEO_BPS: return PutU32(buffer, bytes, DWORD(VideoRate(tpl)));
    case ZOTPLINFO_AUDIO_STREAMS: return PutU32(buffer, bytes, tpl->audioSize ? tpl->audioCount : 0);
    case ZOTPLINFO_VIDEO_STREAMS: return PutU32(buffer, bytes, tpl->videoSize ? tpl->videoCount : 0);
    case ZOTPLINFO_SAMPLE_RATE: return PutU32(buffer, bytes, read.nSamplesPerSec);
    case ZOTPLINFO_BITS: {
      const WORD fileBits = FileFormat(tpl).wBitsPerSample;
      return PutU32(buffer, bytes, fileBits ? fileBits : read.BitsPerSample());
    }
    case ZOTPLINFO_CHANNELS: return PutU32(buffer, bytes, read.nChannels);
    case ZOTPLINFO_CHANNEL_MASK: return PutU32(buffer, bytes, read.dwChannelMask);
    case ZOTPLINFO_WIDTH: return PutU32(buffer, bytes, DWORD(video.biWidth));
    case ZOTPLINFO_HEIGHT: return PutU32(buffer, bytes, DWORD(video.biHeight));
    case ZOTPLINFO_FPS: {
      if (bytes >= 8) return Put(buffer, bytes, &tpl->videoExtension.frameRate, 8);
      const float fps = ToFloat(tpl->videoExtension.frameRate);
      return Put(buffer, bytes, &fps, 4);
    }
    case ZOTPLINFO_PIXEL_ASPECT: {
      if (bytes >= 8) return Put(buffer, bytes, &tpl->videoExtension.pixelAspect, 8);
      const float aspect = ToFloat(tpl->videoExtension.pixelAspect);
      return Put(buffer, bytes, &aspect, 4);
    }
    case ZOTPLINFO_SIZE: {
      const LONG size[2] = {video.biWidth, video.biHeight};
      return Put(buffer, bytes, size, 8);
    }
    case ZOTPLINFO_VIDEO_EXTENSION: return Put(buffer, bytes, &tpl->videoExtension, sizeof tpl->videoExtension);
    case ZOTPLINFO_AUDIO_EXTENSION: return Put(buffer, bytes, &tpl->audioExtension, sizeof tpl->audioExtension);
    default: return S_FALSE;
  }
}

LONGLONG ZoFio_GetTemplateBitrate(const tagZOTEMPLATExV2* tpl, DWORD which) {
  if (!tpl) return 0;
  LONGLONG rate = 0;
  if (which & ZOTEMPLATE_RATE_AUDIO) rate += AudioRate(tpl);
  if (which & ZOTEMPLATE_RATE_VIDEO) rate += VideoRate(tpl);
  return rate;
}

HRESULT ZoFio_GetBitratesForRangeOfPresets(IZoRenderFileClass* cls, LONG first, LONG count, LONGLONG* rates,
                                           DWORD which) {
  if (!cls || (count > 0 && !rates)) return E_POINTER;
  if (first < 0 || count < 0) return E_INVALIDARG;
  for (LONG i = 0; i < count; ++i) {
    tagZOTEMPLATExV2* preset = nullptr;
    const HRESULT hr = cls->GetPreset(&preset, first + i);
    if (FAILED(hr)) return hr;
    rates[i] = ZoFio_GetTemplateBitrate(preset, which);
    ZoFio_ReleaseTemplate(preset);
  }
  return S_OK;
}

LONG ZoFio_IsTemplateAPreset(IZoRenderFileClass* cls, const tagZOTEMPLATExV2* tpl, LONG* index) {
  if (index) *index = -2;
  if (!cls || !tpl) return 0;
  LONG count = 0;
  if (FAILED(cls->GetPresetCount(&count))) return 0;
  LONG best = 0, bestIndex = -2;
  for (LONG i = 0; i < count && best < 7; ++i) {
    tagZOTEMPLATExV2* preset = nullptr;
    if (FAILED(cls->GetPreset(&preset, i)) || !preset) continue;
    LONG level = 0;
    if (preset->size == tpl->size && std::memcmp(preset, tpl, tpl->size) == 0) {
      level = 7;
    } else if (preset->cbPrivate == tpl->cbPrivate && ZoTemplate_PartsFit(preset) && ZoTemplate_PartsFit(tpl) &&
               std::memcmp(reinterpret_cast<const BYTE*>(preset) + 4, reinterpret_cast<const BYTE*>(tpl) + 4,
                           offsetof(tagZOTEMPLATExV2, cchText) - 4) == 0 &&
               std::memcmp(ZoTemplate_Private(preset), ZoTemplate_Private(tpl), tpl->cbPrivate) == 0) {
      level = 5;
    } else if (std::u16string_view(ZoTemplate_Name(preset)) == ZoTemplate_Name(tpl)) {
      level = 1;
    }
    ZoFio_ReleaseTemplate(preset);
    if (level > best) {
      best = level;
      bestIndex = i;
    }
  }
  if (index) *index = bestIndex;
  return best;
}

HRESULT ZoFio_GenerateTemplate(tagZOTEMPLATExV2** out, const _ZOFILESTREAMFORMATINFOv2* records, LONG count,
                               const WCHAR* name) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (count < 0 || (count > 0 && !records)) return E_INVALIDARG;
  const _zowaveformat* audio = nullptr;
  const BITMAPINFOHEADER* video = nullptr;
  const tZOVIDEOEXTENSION* extension = nullptr;
  DWORD audioCount = 0, videoCount = 0;
  for (LONG i = 0; i < count; ++i) {
    if (records[i].streamType == ZOFILESTREAM_AUDIO) {
      if (!audio) audio = reinterpret_cast<const _zowaveformat*>(records[i].format.raw);
      ++audioCount;
    } else if (records[i].streamType == ZOFILESTREAM_VIDEO) {
      if (!video) {
        video = reinterpret_cast<const BITMAPINFOHEADER*>(records[i].format.raw);
        extension = &records[i].extension.video;
      }
      ++videoCount;
    }
  }
  if (!audio && !video) return ZOERR_UNSUPPORTED_MEDIATYPE;
  ZoWaveFormatBuffer<40> read;
  alignas(WAVEFORMATEX) BYTE file[40] = {};
  if (audio) {
    std::memcpy(read.get(), audio, 40);
    read->cbStruct = 40;
    ZoAudio_GeneralCopyWfx(reinterpret_cast<WAVEFORMATEX*>(file), sizeof file, read.get(), ZOWFCOPY_NOFORCE);
  }
  HRESULT hr = ZoFio_MakeTemplate(out, audio ? read.get() : nullptr, audio ? reinterpret_cast<WAVEFORMATEX*>(file) : nullptr, video, extension,
                                  nullptr, 0, name, nullptr);
  if (SUCCEEDED(hr)) {
    if (audio) (*out)->audioCount = audioCount;
    if (video) (*out)->videoCount = videoCount;
  }
  return hr;
}

HRESULT ZoFio_GenerateTemplate(tagZOTEMPLATExV2** out, IZoReadStream* const* streams, LONG count, const WCHAR* name) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (count < 0 || (count > 0 && !streams)) return E_INVALIDARG;
  std::vector<_ZOFILESTREAMFORMATINFOv2> records;
  for (LONG i = 0; i < count; ++i) {
    if (!streams[i]) continue;
    ULONG type = 0;
    LONG typeIndex = 0, raw = 0;
    if (FAILED(streams[i]->GetStreamType(&type, &typeIndex, &raw))) continue;
    _ZOFILESTREAMFORMATINFOv2 record{};
    record.cbSize = sizeof record;
    if (SUCCEEDED(ZoFio_FillStreamFormatInfo(streams[i], type, &record))) records.push_back(record);
  }
  return ZoFio_GenerateTemplate(out, records.data(), LONG(records.size()), name);
}

HRESULT ZoFio_MakeProjectDefaultTemplate(IZoRenderFileClass* cls, tagZOTEMPLATExV2* tpl, tagZOTEMPLATExV2** out) {
  if (!cls || !out) return E_POINTER;
  *out = nullptr;
  return cls->ConformTemplate(out, tpl, 2);
}

HRESULT ZoFio_MakeTemplateDescription(const tagZOTEMPLATExV2* tpl, IZoRenderFileClass* cls, WCHAR* buffer,
                                      DWORD capacity) {
  if (!tpl || !buffer) return E_POINTER;
  if (capacity == 0) return ZOERR_BUFFER_TOO_SMALL;
  char line[256];
  std::snprintf(line, sizeof line, "Size = %d (0x%x)\r\nVersion = 0x%08x\r\nId = %d\r\ncbExtra = %d (0x%x)",
                int(tpl->size), unsigned(tpl->size), unsigned(tpl->version), int(tpl->presetNumber),
                int(tpl->cbPrivate), unsigned(tpl->cbPrivate));
  std::u16string text = vane::platform::FromUtf8(line);
  if (ZoFio_IsUpliftedV1Template(tpl)) text += u" (V1 Uplift)";
  else if ((tpl->templateId.Data3 & 0xF000) == 0x3000) text += u" (MD5 Hash)";
  text += u"\r\nOwner = {" + GuidText(tpl->classId) + u"} ";
  if (cls) {
    GUID id{};
    cls->GetTypeID(&id);
    if (id == tpl->classId) text += u"this class";
  }
  text += u"\r\nGuid = {" + GuidText(tpl->templateId) + u"} " + ZoTemplate_Name(tpl);
  if (cls) {
    LONG index = -2;
    const LONG level = ZoFio_IsTemplateAPreset(cls, tpl, &index);
    char what[64];
    if (level >= 7) std::snprintf(what, sizeof what, "\r\nIs Preset %d", int(index));
    else if (level == 5) std::snprintf(what, sizeof what, "\r\nCopy of Preset %d", int(index));
    else if (level == 1) std::snprintf(what, sizeof what, "\r\nModified Copy of Preset %d", int(index));
    else what[0] = 0;
    text += vane::platform::FromUtf8(what);
  }
  const std::u16string notes = ZoTemplate_Notes(tpl);
  if (!notes.empty()) text += u"\r\nDescription:\r\n" + notes;
  if (text.size() + 1 > capacity) {
    std::memcpy(buffer, text.data(), (capacity - 1) * 2);
    buffer[capacity - 1] = 0;
    return ZOERR_BUFFER_TOO_SMALL;
  }
  std::memcpy(buffer, text.c_str(), (text.size() + 1) * 2);
  return S_OK;
}
