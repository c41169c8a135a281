// SPDX-License-Identifier: MIT
// Render templates: the named settings a renderer class writes a file with.
// One contiguous record (a 536-byte head, the plug-in's private bytes padded
// to 4, then name and notes as two NUL-terminated UTF-16 strings) that is
// also the ".zot2" file format. Records come from the C heap (malloc/free).
#pragma once

#include <cstddef>

#include "audio/zowaveformat.h"
#include "fileio/bitmapinfo.h"
#include "fileio/fio_interfaces.h"
#include "fileio/fio_records.h"
#include "kernel/zolist.h"
#include "platform/export.h"
#include "platform/istream.h"

inline constexpr DWORD ZOTEMPLATE_HEAD_SIZE = 536;
inline constexpr DWORD ZOTEMPLATE_MIN_FILE_SIZE = 540;
inline constexpr DWORD ZOTEMPLATE_VERSION_2 = 0x02000000;
inline constexpr DWORD ZOTEMPLATE_VERSION_1 = 0x01000000;
inline constexpr DWORD ZOTEMPLATE_SECTION_SIZE = 200;
inline constexpr DWORD ZOTEMPLATE_MAX_STREAM_SIZE = 0x2000000;
inline constexpr DWORD ZOTEMPLATE_AUDIO_VBR = 1u << 5;
inline constexpr DWORD ZOTEMPLATE_FILE_FORMAT_BYTES = 96;

// ZoFio_SetTemplate flags.
inline constexpr DWORD ZOTEMPLATE_SET_COMPARE = 0x10000;
inline constexpr DWORD ZOTEMPLATE_SET_COPY = 0x20000;
// ZoFio_GetFilteredTemplateList: add a "Default Template" entry first.
inline constexpr DWORD ZOTEMPLATE_LIST_ADD_DEFAULT = 0x2000000;
// ZoFio_GetTemplateBitrate: which sections are summed.
inline constexpr DWORD ZOTEMPLATE_RATE_AUDIO = 2;
inline constexpr DWORD ZOTEMPLATE_RATE_VIDEO = 4;

// Facts of ZoFio_GetTemplateInfo.
enum ZOTEMPLATE_INFO : DWORD {
  ZOTPLINFO_AUDIO_TAG = 1,
  ZOTPLINFO_VIDEO_FOURCC = 2,
  ZOTPLINFO_AUDIO_BPS = 3,
  ZOTPLINFO_VIDEO_BPS = 4,
  ZOTPLINFO_AUDIO_STREAMS = 10,
  ZOTPLINFO_VIDEO_STREAMS = 11,
  ZOTPLINFO_SAMPLE_RATE = 12,
  ZOTPLINFO_BITS = 13,
  ZOTPLINFO_CHANNELS = 14,
  ZOTPLINFO_CHANNEL_MASK = 15,
  ZOTPLINFO_WIDTH = 16,
  ZOTPLINFO_HEIGHT = 17,
  ZOTPLINFO_FPS = 18,
  ZOTPLINFO_PIXEL_ASPECT = 19,
  ZOTPLINFO_SIZE = 20,
  ZOTPLINFO_VIDEO_EXTENSION = 21,
  ZOTPLINFO_AUDIO_EXTENSION = 22,
  // Asked of a class: does it accept this template (non-zero answer)?
  ZOTPLINFO_CLASS_APPROVES = 0x17,
};

struct tagZOTEMPLATExV2 {
  DWORD size;              // total bytes
  DWORD version;           // major in the high byte, flags below
  DWORD reserved0;
  DWORD presetNumber;
  BYTE reserved1[8];
  GUID classId;            // owner, set when there is private data
  GUID templateId;
  DWORD audioSize;         // 200 or 0
  DWORD audioCount;
  BYTE reserved2[8];
  BYTE readFormat[40];     // _zowaveformat, at most 40 bytes of it
  tZOAUDIOEXTENSION audioExtension;
  BYTE fileFormat[ZOTEMPLATE_FILE_FORMAT_BYTES];  // WAVEFORMATEX and its codec bytes
  DWORD audioFlags;
  BYTE reserved3[12];
  DWORD videoSize;         // 200 or 0
  DWORD videoCount;
  BITMAPINFOHEADER videoFormat;
  tZOVIDEOEXTENSION videoExtension;
  BITMAPINFOHEADER compressedFormat;
  BYTE reserved4[16];
  DWORD videoFlags;        // bit 0: the video rate is taken 5/4
  DWORD reserved5;
  DWORD one;               // 1
  DWORD reserved6;
  LONGLONG videoDataRate;
  BYTE reserved7[8];
  DWORD shared[18];
  DWORD cchText;           // name and notes with both terminators
  DWORD cbPrivate;
  // Followed by the private bytes, padding to 4, then the text.
};
static_assert(sizeof(tagZOTEMPLATExV2) == ZOTEMPLATE_HEAD_SIZE);
static_assert(offsetof(tagZOTEMPLATExV2, presetNumber) == 12 && offsetof(tagZOTEMPLATExV2, classId) == 24 &&
              offsetof(tagZOTEMPLATExV2, templateId) == 40 && offsetof(tagZOTEMPLATExV2, audioSize) == 56 &&
              offsetof(tagZOTEMPLATExV2, audioCount) == 60 && offsetof(tagZOTEMPLATExV2, readFormat) == 72 &&
              offsetof(tagZOTEMPLATExV2, audioExtension) == 112 && offsetof(tagZOTEMPLATExV2, fileFormat) == 144 &&
              offsetof(tagZOTEMPLATExV2, audioFlags) == 240 && offsetof(tagZOTEMPLATExV2, videoSize) == 256 &&
              offsetof(tagZOTEMPLATExV2, videoCount) == 260 && offsetof(tagZOTEMPLATExV2, videoFormat) == 264 &&
              offsetof(tagZOTEMPLATExV2, videoExtension) == 304 &&
              offsetof(tagZOTEMPLATExV2, compressedFormat) == 368 && offsetof(tagZOTEMPLATExV2, videoFlags) == 424 &&
              offsetof(tagZOTEMPLATExV2, one) == 432 && offsetof(tagZOTEMPLATExV2, videoDataRate) == 440 &&
              offsetof(tagZOTEMPLATExV2, shared) == 456 && offsetof(tagZOTEMPLATExV2, cchText) == 528 &&
              offsetof(tagZOTEMPLATExV2, cbPrivate) == 532);

// Accessors of the variable part; they trust a record that passed validation.
VANE_EXPORT BYTE* ZoTemplate_Private(tagZOTEMPLATExV2* tpl);
VANE_EXPORT const BYTE* ZoTemplate_Private(const tagZOTEMPLATExV2* tpl);
VANE_EXPORT const WCHAR* ZoTemplate_Name(const tagZOTEMPLATExV2* tpl);
// The notes; an empty text when the record holds only a name.
VANE_EXPORT const WCHAR* ZoTemplate_Notes(const tagZOTEMPLATExV2* tpl);
// Whether the private block and the text lie inside the record and the text
// ends in a terminator (always so for a validated current-form record; a
// record of another major is kept raw and may not).
VANE_EXPORT BOOL ZoTemplate_PartsFit(const tagZOTEMPLATExV2* tpl);
// S_OK when the record's sizes agree with each other and with `bytes`.
VANE_EXPORT HRESULT ZoTemplate_Validate(const tagZOTEMPLATExV2* tpl, size_t bytes);
// A copy with another name, notes or private block (null keeps what is there).
VANE_EXPORT HRESULT ZoTemplate_Rebuild(tagZOTEMPLATExV2** out, const tagZOTEMPLATExV2* tpl, const WCHAR* name,
                                       const WCHAR* notes, const void* priv, DWORD cbPrivate);

// Loading and saving.
VANE_EXPORT HRESULT ZoFio_LoadTemplateData(LPCWSTR fileName, tagZOTEMPLATExV2** out);
VANE_EXPORT HRESULT ZoFio_LoadTemplateData(IStream* stream, tagZOTEMPLATExV2** out, DWORD maxVersion);
VANE_EXPORT HRESULT ZoFio_LoadTemplateDataV1(IStream* stream, tagZOTEMPLATExV2** out, IZoRenderFileClass* cls);
VANE_EXPORT HRESULT ZoFio_LoadRawUserTemplate(IZoRenderFileClass* cls, LPCWSTR fileName, tagZOTEMPLATExV2** out);
VANE_EXPORT HRESULT ZoFio_LoadRawLegacyTemplate(IZoRenderFileClass* cls, LPCWSTR fileName, tagZOTEMPLATExV2** out);
// Writes the record's bytes beside `fileName` and renames over it when whole.
// overwrite FALSE refuses an existing file with ZOERR_FILE_EXISTS.
VANE_EXPORT HRESULT ZoFio_SaveTemplateData(LPCWSTR fileName, const tagZOTEMPLATExV2* tpl, BOOL overwrite);
VANE_EXPORT HRESULT ZoFio_WriteTemplateToStream(IStream* stream, const tagZOTEMPLATExV2* tpl);

// Identity.
VANE_EXPORT DWORD ZoFio_GetTemplateDataCRC32(const tagZOTEMPLATExV2* tpl, BOOL withText);
VANE_EXPORT HRESULT ZoFio_InitGUIDFromTemplateMD5DataHash(GUID* guid, const tagZOTEMPLATExV2* tpl, BOOL withText);
VANE_EXPORT BOOL ZoFio_IsUpliftedV1Template(const tagZOTEMPLATExV2* tpl);
VANE_EXPORT const WCHAR* ZoFio_SkipDescriptionInTemplateNotesText(const WCHAR* notes);

// Copy and release.
VANE_EXPORT HRESULT ZoFio_CopyTemplate(tagZOTEMPLATExV2** out, const tagZOTEMPLATExV2* tpl);
VANE_EXPORT void ZoFio_ReleaseTemplate(tagZOTEMPLATExV2* tpl);
VANE_EXPORT void ZoFio_ReleaseTemplate(tagZOTEMPLATExV2** tpl);
VANE_EXPORT void ZoFio_ReleaseTemplate(tZOLIST* list, LONG index);
VANE_EXPORT void ZoFio_ReleaseTemplateList(tZOLIST* list);
// A new pointer list for templates.
VANE_EXPORT HRESULT ZoFio_CreateTemplateList(tZOLIST** out);
// Takes ownership of tpl (freed on failure).
VANE_EXPORT HRESULT ZoFio_AppendTemplate(tZOLIST* list, tagZOTEMPLATExV2* tpl);
VANE_EXPORT tagZOTEMPLATExV2* ZoFio_TemplateAt(tZOLIST* list, LONG index);
VANE_EXPORT HRESULT ZoFio_SetTemplate(tagZOTEMPLATExV2*& tpl, tagZOTEMPLATExV2* next, DWORD flags);

// Building.
VANE_EXPORT HRESULT ZoFio_MakeTemplate(tagZOTEMPLATExV2** out, const _zowaveformat* readFormat,
                                       const WAVEFORMATEX* fileFormat, const BITMAPINFOHEADER* video,
                                       const tZOVIDEOEXTENSION* videoExtension, const void* priv, DWORD cbPrivate,
                                       const WCHAR* name, const WCHAR* notes);
VANE_EXPORT HRESULT ZoFio_InitBasicTemplate(tagZOTEMPLATExV2** out, const WAVEFORMATEX* audio,
                                            const BITMAPINFOHEADER* video, double framesPerSecond, const WCHAR* name);
VANE_EXPORT HRESULT ZoFio_InitBasicAudioTemplate(tagZOTEMPLATExV2** out, const WAVEFORMATEX* audio, const WCHAR* name);
// From open read streams (audio and video) or from format records.
VANE_EXPORT HRESULT ZoFio_GenerateTemplate(tagZOTEMPLATExV2** out, IZoReadStream* const* streams, LONG count,
                                           const WCHAR* name);
VANE_EXPORT HRESULT ZoFio_GenerateTemplate(tagZOTEMPLATExV2** out, const _ZOFILESTREAMFORMATINFOv2* records,
                                           LONG count, const WCHAR* name);
VANE_EXPORT HRESULT ZoFio_MakeProjectDefaultTemplate(IZoRenderFileClass* cls, tagZOTEMPLATExV2* tpl,
                                                     tagZOTEMPLATExV2** out);

// Facts.
VANE_EXPORT HRESULT ZoFio_GetTemplateInfo(const tagZOTEMPLATExV2* tpl, DWORD id, void* buffer, DWORD bytes);
VANE_EXPORT LONGLONG ZoFio_GetTemplateBitrate(const tagZOTEMPLATExV2* tpl, DWORD which);
VANE_EXPORT HRESULT ZoFio_GetBitratesForRangeOfPresets(IZoRenderFileClass* cls, LONG first, LONG count,
                                                       LONGLONG* rates, DWORD which);
// 255 the class's own preset object, 7 equal to a preset in every byte, 5
// equal head and private data, 1 the name only, 0 none (*index -2).
VANE_EXPORT LONG ZoFio_IsTemplateAPreset(IZoRenderFileClass* cls, const tagZOTEMPLATExV2* tpl, LONG* index);
// Debug lines describing a record.
VANE_EXPORT HRESULT ZoFio_MakeTemplateDescription(const tagZOTEMPLATExV2* tpl, IZoRenderFileClass* cls,
                                                  WCHAR* buffer, DWORD capacity);

// Template lists in stream form: {12, 100, count} then each raw record.
VANE_EXPORT HRESULT ZoFio_MakeTemplateListIStream(tZOLIST* list, IStream** out);
VANE_EXPORT HRESULT ZoFio_AddTemplatesToListFromIStream(tZOLIST* list, IStream* stream);
