// SPDX-License-Identifier: MIT
// The exported face of the file I/O manager: creation, candidate lists, the
// ZoFio_ helpers on the plug-in interfaces, and a description of the plug-in
// list for tools.
#pragma once

#include <string>
#include <vector>

#include "fileio/fio_interfaces.h"
#include "platform/export.h"

struct WAVEFORMATEX;
struct BITMAPINFOHEADER;

// Creates a manager. flags: 4 rebuild the cache, 64 keep metric and cache
// files beside the executable, 128 neither read nor write the cache, 256 no
// discovery at creation, 512 no version folder.
VANE_EXPORT HRESULT ZOFileIO_CreateInstance(IZoFileIOMgrForApp** out, DWORD flags);
VANE_EXPORT HRESULT ZOFileIO_CreateInstance(IZoFileIOMgrForApp** out, DWORD flags, const _ZOFIO_KEYED_INFO* info);
// Uses the listed module paths in place of discovery.
VANE_EXPORT HRESULT ZOFileIO_CreateInstance(IZoFileIOMgrForApp** out, DWORD flags, const WCHAR* const* names,
                                            LONG count);

// Builds or extends a plug-in candidate list (*list null: a new one) from
// module paths; missing modules are skipped. Free it with
// ZoFio_FreePluginCandidateList unless a manager took it.
VANE_EXPORT HRESULT ZoFio_SetPluginCandidateDLLs(void** list, const WCHAR* const* names, LONG count);
VANE_EXPORT HRESULT ZoFio_SetPluginCandidateDLLs(void** list, const std::vector<std::u16string>& names);
VANE_EXPORT void ZoFio_FreePluginCandidateList(void* list);

// Metrics through a manager: unset or failed reads give the default.
VANE_EXPORT DWORD ZoFio_GetMetric(IZoFileIOManager* manager, LONG id, DWORD def);
VANE_EXPORT LONG ZoFio_GetMetric(IZoFileIOManager* manager, LONG id, LONG def, LONG minimum, LONG maximum);
VANE_EXPORT BOOL ZoFio_GetMetricBool(IZoFileIOManager* manager, LONG id, BOOL def);
VANE_EXPORT HRESULT ZoFio_SetMetric(IZoFileIOManager* manager, LONG id, DWORD value);

VANE_EXPORT HRESULT ZoFio_FillStreamFormatInfo(IZoReadStream* stream, DWORD type, _ZOFILESTREAMFORMATINFOv2* record);
VANE_EXPORT HRESULT ZoFio_SetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* record, const _zowaveformat* format,
                                              const void* extension, LONGLONG length);
VANE_EXPORT HRESULT ZoFio_SetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* record, const WAVEFORMATEX* format,
                                              const void* extension, LONGLONG length);
// A video stream: the 40-byte header (a later, larger header form is cut to
// 40 bytes and says so in biSize; a biSize below 40 gives E_INVALIDARG) and a
// tZOVIDEOEXTENSION whose fixed fields are set and whose pixel aspect is 1.0
// when none was given or it is not above 0.
VANE_EXPORT HRESULT ZoFio_SetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* record, const BITMAPINFOHEADER* format,
                                              const void* extension, LONGLONG length);

// record is a _ZOFILESTREAMFORMATINFOv2 or the older _ZOFILESTREAMFORMATINFOv1
// (fileio/stream_format_v1.h), told apart by cbSize. A v2 record is left alone
// (S_FALSE). A v1 record is filled from the reader's stream index: type,
// length, start, and the header of the stream's type plus its extension.
// wantedType is a ZOFILESTREAMTYPE mask the stream must match (0: any),
// else E_INVALIDARG. A header smaller than needed gets its first bytes and the
// call gives 0x8004E03C.
VANE_EXPORT HRESULT ZoFio_ConvertToV2ifV1(IZoReadFile* file, LONG index, void* record, DWORD wantedType);

VANE_EXPORT LONG ZoFio_CountSetBits(ULONGLONG value);
VANE_EXPORT LONG ZoFio_ConstrainValueToTable(LONG value, const LONG* table, LONG count, LONG direction, LONG* index);

VANE_EXPORT void ZoFio_FreeBstrArray(BSTR* texts, LONG count);
VANE_EXPORT HRESULT ZoFio_CopyBstrArray(BSTR* to, const BSTR* from, LONG count);
// Copies, then frees the source strings and clears their slots.
VANE_EXPORT HRESULT ZoFio_CopyAndFreeBstrArray(BSTR* to, BSTR* from, LONG count);

// One row of an info-text map: an info id and a string (a value below
// 0x10000 is a string resource id of the language handle).
struct ZOFIO_INFOTEXT_MAP {
  DWORD infoId;
  const WCHAR* text;
};
// String arguments below are resolved the way the language layer resolves a
// text argument: a value below 0x10000 is a string id, a language-table
// record gives its text, anything else is the text. Until a language layer
// exists the language handle is not consulted: string ids come from the
// kernel's string catalogue (its installed source, else the built-in English
// texts) and records give their English slot.
//
// One string per id (0 or an id the catalogue lacks: no string, slot null).
VANE_EXPORT HRESULT ZoFio_FillBstrArrayFromStringResources(void* language, const UINT* stringIds, LONG count,
                                                           BSTR* texts);
// The string id the map gives an info id; 0 when no row has it or its row
// holds a text.
VANE_EXPORT UINT ZoFio_MapInfoIdToStringId(DWORD infoId, const ZOFIO_INFOTEXT_MAP* map, LONG mapCount);
VANE_EXPORT HRESULT ZoFio_FillBstrArrayFromStringResourceMap(void* language, const DWORD* ids, LONG count,
                                                             BSTR* texts, const ZOFIO_INFOTEXT_MAP* map,
                                                             LONG mapCount, const WCHAR* suffix);

VANE_EXPORT HRESULT ZoFio_GetRendererExtensionsList(IZoRenderFileClass* cls, WCHAR* text, DWORD capacity);
VANE_EXPORT HRESULT ZoFio_GetDefaultRendererExtension(IZoRenderFileClass* cls, WCHAR* text, DWORD capacity);
VANE_EXPORT HRESULT ZoFio_GetRendererOpenDialogFilterString(IZoRenderFileClass* cls, WCHAR* text, DWORD capacity,
                                                            BOOL withPattern);
VANE_EXPORT BOOL ZoFio_IsPluginAccessible(IZoReadFileClass* cls);
VANE_EXPORT BOOL ZoFio_IsPluginAccessible(IZoRenderFileClass* cls);
VANE_EXPORT HRESULT ZoFio_DisclosePluginProblems(IZoReadFileClass* cls, HWND window);
VANE_EXPORT HRESULT ZoFio_DisclosePluginProblems(IZoRenderFileClass* cls, HWND window);

namespace vane::fileio {

// The stage of FindReaderForHandle (or of OpenReadFile's merit override)
// that chose the reader.
enum class ProbeStage { None, Table, Extension, LastUsed, All, Name, Merit };
VANE_EXPORT const char* ProbeStageName(ProbeStage stage);

struct ProbeReport {
  HRESULT status = S_OK;
  ProbeStage stage = ProbeStage::None;
  LONG index = -1;
  GUID reader = GUID_NULL;
  std::u16string name;
};

// Probes a file as OpenReadFile does (name cut at "?", header filter,
// stages, merit) without opening a reader.
VANE_EXPORT HRESULT ProbeFile(IZoFileIOMgrForApp* manager, const WCHAR* fileName, ProbeReport* report);

struct PluginDescription {
  GUID classId = GUID_NULL;
  std::u16string name;
  GUID reader = GUID_NULL;
  GUID renderer = GUID_NULL;
  std::u16string extensions;  // reader extensions, else renderer extensions
  std::u16string module;
  std::string state;  // "ready", "not loaded", "failed", "hidden", "left out"
  LONG index = -1;    // reader type index, else renderer index
  DWORD merit = 0;
  std::string reason;  // why a class is hidden or failed, when known
};

// Every entry of the manager's plug-in list, in list order.
VANE_EXPORT std::vector<PluginDescription> DescribePlugins(IZoFileIOMgrForApp* manager);

}  // namespace vane::fileio
