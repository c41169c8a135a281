// SPDX-License-Identifier: MIT
// Picture and music feature blobs (ZoPicture_*, ZoSmfmf_*): flat records,
// little-endian, that carry a picture or music feature frames between
// metadata dialects, and the lists that hold them behind the 28-byte generic
// header. Records passed in are the caller's; list entries are moveable
// global memory owned by the list until ZoPicture_DestroyPictureList or
// ZoSmfmf_DestroySmfmfList.
#pragma once

#include <cstddef>

#include "kernel/zolist.h"
#include "platform/export.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/types.h"

struct ZOPICTUREMETA {
  DWORD totalSize;
  DWORD structVersion;  // 2
  LONG pictureType;     // _PICTUREMETADATATYPE_
  DWORD mimeTypeBytes;  // terminator included, 0 if none
  DWORD descriptionBytes;
  DWORD dataSize;
  // mime type, description, data follow
};
static_assert(sizeof(ZOPICTUREMETA) == 24);
static_assert(offsetof(ZOPICTUREMETA, pictureType) == 8 && offsetof(ZOPICTUREMETA, dataSize) == 20);

struct ZOSMFMFMETA {
  DWORD totalSize;  // data size plus 16
  DWORD smfmfVersion;  // 0x10041
  DWORD structVersion;  // 2
  DWORD dataSize;
  // music feature frames follow
};
static_assert(sizeof(ZOSMFMFMETA) == 16);
static_assert(offsetof(ZOSMFMFMETA, dataSize) == 12);

// The generic header of a list entry, as a generic metadata stream item.
struct ZOGENERICMETAHEADER {
  DWORD headerSize;  // 28
  DWORD kind;        // 100
  GUID guid;
  DWORD dataSize;
};
static_assert(sizeof(ZOGENERICMETAHEADER) == 28);
static_assert(offsetof(ZOGENERICMETAHEADER, guid) == 8 && offsetof(ZOGENERICMETAHEADER, dataSize) == 24);

inline constexpr DWORD ZOGENERICMETA_KIND = 100;
inline constexpr LONG ZOPICTURE_TYPE_NONE = 255;
inline constexpr DWORD ZOSMFMF_VERSION = 0x10041;
// {20636970-ACF2-11D3-8CD1-00C04F8EDB8A}, "pic "
inline constexpr GUID GUID_ZoPictureMeta = VANE_GUID(0x20636970, 0xACF2, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
// {6D666D73-ACF2-11D3-8CD1-00C04F8EDB8A}, "smfm"
inline constexpr GUID GUID_ZoSmfmfMeta = VANE_GUID(0x6D666D73, 0xACF2, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);

VANE_BEGIN_EXTERN_C
VANE_EXPORT DWORD WINAPI ZoPicture_GetMetaSizeNeeded(const WCHAR* mime, const WCHAR* description, DWORD size);
// New record from malloc (free with free), or null.
VANE_EXPORT ZOPICTUREMETA* WINAPI ZoPicture_CreateMeta(LONG type, const WCHAR* mime, const WCHAR* description,
                                                       DWORD size, const void* data);
// Fills storage of recordSize bytes ((DWORD)-1: trust the caller).
VANE_EXPORT HRESULT WINAPI ZoPicture_SetMeta(ZOPICTUREMETA* record, DWORD recordSize, LONG type, const WCHAR* mime,
                                             const WCHAR* description, DWORD dataSize, const void* data);
VANE_EXPORT const WCHAR* WINAPI ZoPicture_GetMimeType(const ZOPICTUREMETA* record);
VANE_EXPORT DWORD WINAPI ZoPicture_GetMimeTypeByteCount(const ZOPICTUREMETA* record);
VANE_EXPORT const WCHAR* WINAPI ZoPicture_GetDescription(const ZOPICTUREMETA* record);
VANE_EXPORT DWORD WINAPI ZoPicture_GetDescriptionByteCount(const ZOPICTUREMETA* record);
VANE_EXPORT LONG WINAPI ZoPicture_GetPictureType(const ZOPICTUREMETA* record);
VANE_EXPORT const BYTE* WINAPI ZoPicture_GetPictureData(const ZOPICTUREMETA* record);
VANE_EXPORT DWORD WINAPI ZoPicture_GetPictureDataSize(const ZOPICTUREMETA* record);
VANE_EXPORT DWORD WINAPI ZoPicture_GetPictureTotalSize(const ZOPICTUREMETA* record);

VANE_EXPORT tZOLIST* WINAPI ZoPicture_CreatePictureList(void);
VANE_EXPORT void WINAPI ZoPicture_DestroyPictureList(tZOLIST* list);
VANE_EXPORT BOOL WINAPI ZoPicture_IsPictureTypeInList(tZOLIST* list, LONG type);
VANE_EXPORT HRESULT WINAPI ZoPicture_DeletePictureTypeFromList(tZOLIST* list, LONG type);
// replace 0: delete the old entry of that type first; 1: keep it and return
// 1; anything else: add a second entry.
VANE_EXPORT HRESULT WINAPI ZoPicture_AddPictureToList(tZOLIST* list, const ZOPICTUREMETA* record, int replace);
VANE_EXPORT HRESULT WINAPI ZoPicture_AddPictureFileToList(tZOLIST* list, const WCHAR* path, LONG type,
                                                          BOOL useFileName, const WCHAR* description, int replace);

VANE_EXPORT DWORD WINAPI ZoSmfmf_GetMetaSizeNeeded(DWORD size);
VANE_EXPORT ZOSMFMFMETA* WINAPI ZoSmfmf_CreateMeta(DWORD size, const void* data);
VANE_EXPORT HRESULT WINAPI ZoSmfmf_SetMeta(ZOSMFMFMETA* record, DWORD size, const void* data);
VANE_EXPORT const BYTE* WINAPI ZoSmfmf_GetData(const ZOSMFMFMETA* record);
VANE_EXPORT DWORD WINAPI ZoSmfmf_GetDataSize(const ZOSMFMFMETA* record);
VANE_EXPORT DWORD WINAPI ZoSmfmf_GetTotalSize(const ZOSMFMFMETA* record);
VANE_EXPORT DWORD WINAPI ZoSmfmf_GetSmfmfVersion(const ZOSMFMFMETA* record);
VANE_EXPORT DWORD WINAPI ZoSmfmf_GetStructVersion(const ZOSMFMFMETA* record);
VANE_EXPORT HRESULT WINAPI ZoSmfmf_GetSerializableData(const ZOSMFMFMETA* record, const void** data, DWORD* size);
VANE_EXPORT tZOLIST* WINAPI ZoSmfmf_CreateSmfmfList(void);
VANE_EXPORT void WINAPI ZoSmfmf_DestroySmfmfList(tZOLIST* list);
VANE_EXPORT HRESULT WINAPI ZoSmfmf_DeleteSmfmfFromList(tZOLIST* list, LONG index);
VANE_EXPORT HRESULT WINAPI ZoSmfmf_AddSmfmfToList(tZOLIST* list, DWORD size, const void* data);
VANE_END_EXTERN_C
