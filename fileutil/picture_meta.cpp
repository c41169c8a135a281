// SPDX-License-Identifier: MIT
#include "fileutil/picture_meta.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "platform/memory.h"
#include "platform/wtext.h"

namespace {

// Bytes of a text with its terminator; 0 for null or empty text.
DWORD TextBytes(const WCHAR* s) {
  const size_t n = ZoWcsLen(s);
  return n ? DWORD((n + 1) * sizeof(WCHAR)) : 0;
}

const BYTE* Tail(const ZOPICTUREMETA* r) { return reinterpret_cast<const BYTE*>(r) + sizeof(ZOPICTUREMETA); }

// A zeroed moveable global block holding the generic header and a record;
// the list keeps the locked pointer.
BYTE* NewEntry(const GUID& guid, DWORD recordSize) {
  HGLOBAL h = GlobalAlloc(GHND, sizeof(ZOGENERICMETAHEADER) + recordSize);
  if (!h) return nullptr;
  auto* p = static_cast<BYTE*>(GlobalLock(h));
  auto* head = reinterpret_cast<ZOGENERICMETAHEADER*>(p);
  head->headerSize = sizeof(ZOGENERICMETAHEADER);
  head->kind = ZOGENERICMETA_KIND;
  head->guid = guid;
  head->dataSize = recordSize;
  return p;
}

void FreeEntry(void* p) {
  if (!p) return;
  HGLOBAL h = GlobalHandle(p);
  GlobalUnlock(h);
  GlobalFree(h);
}

BYTE* EntryAt(tZOLIST* list, LONG i) { return static_cast<BYTE**>(list->pData)[i]; }

bool IsEntry(const BYTE* e, const GUID& guid) {
  const auto* head = reinterpret_cast<const ZOGENERICMETAHEADER*>(e);
  return head->kind == ZOGENERICMETA_KIND && head->guid == guid;
}

const ZOPICTUREMETA* PictureOf(const BYTE* e) {
  return reinterpret_cast<const ZOPICTUREMETA*>(e + sizeof(ZOGENERICMETAHEADER));
}

HRESULT Append(tZOLIST* list, BYTE* entry) {
  const HRESULT hr = ZoList_InsertList(list, -1, &entry, 1);
  if (FAILED(hr)) FreeEntry(entry);
  return hr;
}

tZOLIST* NewPointerList() {
  tZOLIST* list = nullptr;
  return SUCCEEDED(ZoList_CreateExZ(&list, sizeof(void*), 4, 4, 0, 0, 0, 0)) ? list : nullptr;
}

void DestroyEntries(tZOLIST* list) {
  if (!list) return;
  for (LONG i = 0; i < list->nItems; ++i) FreeEntry(EntryAt(list, i));
  ZoList_Destroy(list);
}

}  // namespace

VANE_BEGIN_EXTERN_C

DWORD WINAPI ZoPicture_GetMetaSizeNeeded(const WCHAR* mime, const WCHAR* description, DWORD size) {
  return DWORD(sizeof(ZOPICTUREMETA)) + TextBytes(mime) + TextBytes(description) + size;
}

ZOPICTUREMETA* WINAPI ZoPicture_CreateMeta(LONG type, const WCHAR* mime, const WCHAR* description, DWORD size,
                                           const void* data) {
  const DWORD total = ZoPicture_GetMetaSizeNeeded(mime, description, size);
  auto* r = static_cast<ZOPICTUREMETA*>(std::calloc(1, total));
  if (!r) return nullptr;
  ZoPicture_SetMeta(r, total, type, mime, description, size, data);
  return r;
}

HRESULT WINAPI ZoPicture_SetMeta(ZOPICTUREMETA* r, DWORD recordSize, LONG type, const WCHAR* mime,
                                 const WCHAR* description, DWORD dataSize, const void* data) {
  if (!r || (dataSize && !data)) return E_INVALIDARG;
  const DWORD total = ZoPicture_GetMetaSizeNeeded(mime, description, dataSize);
  if (recordSize != DWORD(-1) && recordSize < total) return ZOERR_BUFFER_TOO_SMALL;
  r->totalSize = total;
  r->structVersion = 2;
  r->pictureType = type;
  r->mimeTypeBytes = TextBytes(mime);
  r->descriptionBytes = TextBytes(description);
  r->dataSize = dataSize;
  BYTE* p = reinterpret_cast<BYTE*>(r) + sizeof(ZOPICTUREMETA);
  if (r->mimeTypeBytes) std::memcpy(p, mime, r->mimeTypeBytes);
  p += r->mimeTypeBytes;
  if (r->descriptionBytes) std::memcpy(p, description, r->descriptionBytes);
  p += r->descriptionBytes;
  if (dataSize) std::memcpy(p, data, dataSize);
  return S_OK;
}

const WCHAR* WINAPI ZoPicture_GetMimeType(const ZOPICTUREMETA* r) {
  return r && r->mimeTypeBytes ? reinterpret_cast<const WCHAR*>(Tail(r)) : nullptr;
}
DWORD WINAPI ZoPicture_GetMimeTypeByteCount(const ZOPICTUREMETA* r) { return r ? r->mimeTypeBytes : 0; }
const WCHAR* WINAPI ZoPicture_GetDescription(const ZOPICTUREMETA* r) {
  return r && r->descriptionBytes ? reinterpret_cast<const WCHAR*>(Tail(r) + r->mimeTypeBytes) : nullptr;
}
DWORD WINAPI ZoPicture_GetDescriptionByteCount(const ZOPICTUREMETA* r) { return r ? r->descriptionBytes : 0; }
LONG WINAPI ZoPicture_GetPictureType(const ZOPICTUREMETA* r) {
  return r && r->dataSize ? r->pictureType : ZOPICTURE_TYPE_NONE;
}
const BYTE* WINAPI ZoPicture_GetPictureData(const ZOPICTUREMETA* r) {
  return r && r->dataSize ? Tail(r) + r->mimeTypeBytes + r->descriptionBytes : nullptr;
}
DWORD WINAPI ZoPicture_GetPictureDataSize(const ZOPICTUREMETA* r) { return r ? r->dataSize : 0; }
DWORD WINAPI ZoPicture_GetPictureTotalSize(const ZOPICTUREMETA* r) { return r ? r->totalSize : 0; }

tZOLIST* WINAPI ZoPicture_CreatePictureList(void) { return NewPointerList(); }
void WINAPI ZoPicture_DestroyPictureList(tZOLIST* list) { DestroyEntries(list); }

BOOL WINAPI ZoPicture_IsPictureTypeInList(tZOLIST* list, LONG type) {
  if (!list) return FALSE;
  for (LONG i = 0; i < list->nItems; ++i) {
    const BYTE* e = EntryAt(list, i);
    // The first entry that is not a picture ends the search.
    if (!IsEntry(e, GUID_ZoPictureMeta)) return FALSE;
    if (PictureOf(e)->pictureType == type) return TRUE;
  }
  return FALSE;
}

HRESULT WINAPI ZoPicture_DeletePictureTypeFromList(tZOLIST* list, LONG type) {
  if (!list) return E_INVALIDARG;
  for (LONG i = list->nItems - 1; i >= 0; --i) {
    BYTE* e = EntryAt(list, i);
    if (IsEntry(e, GUID_ZoPictureMeta) && PictureOf(e)->pictureType == type) {
      FreeEntry(e);
      ZoList_DeleteList(list, i, 1, FALSE);
    }
  }
  return S_OK;
}

HRESULT WINAPI ZoPicture_AddPictureToList(tZOLIST* list, const ZOPICTUREMETA* record, int replace) {
  if (!list || !record) return E_INVALIDARG;
  if (ZoPicture_IsPictureTypeInList(list, record->pictureType)) {
    if (replace == 0) ZoPicture_DeletePictureTypeFromList(list, record->pictureType);
    else if (replace == 1) return 1;
  }
  BYTE* e = NewEntry(GUID_ZoPictureMeta, record->totalSize);
  if (!e) return E_OUTOFMEMORY;
  std::memcpy(e + sizeof(ZOGENERICMETAHEADER), record, record->totalSize);
  return Append(list, e);
}

HRESULT WINAPI ZoPicture_AddPictureFileToList(tZOLIST* list, const WCHAR* path, LONG type, BOOL useFileName,
                                              const WCHAR* description, int replace) {
  if (!list || !path) return E_INVALIDARG;
  std::ifstream in(vane::platform::ToUtf8(path), std::ios::binary);
  if (!in) return ZOERR_FILE_OPEN;
  const std::vector<BYTE> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // The mime type from the file's signature.
  const WCHAR* mime = u"image/bmp";
  if (bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF) mime = u"image/jpeg";
  else if (bytes.size() >= 4 && bytes[0] == 0x89 && bytes[1] == 'P' && bytes[2] == 'N' && bytes[3] == 'G') mime = u"image/png";
  else if (bytes.size() < 2 || bytes[0] != 'B' || bytes[1] != 'M') return ZOERR_UNSUPPORTED_FORMAT;
  std::u16string text;
  if (useFileName) {
    const WCHAR* name = path;
    for (const WCHAR* p = path; *p; ++p)
      if (*p == u'/' || *p == u'\\') name = p + 1;
    text = name;
  } else if (description) {
    text = description;
  }
  if (text.size() > 64) text.resize(64);
  ZOPICTUREMETA* r = ZoPicture_CreateMeta(type, mime, text.c_str(), DWORD(bytes.size()), bytes.data());
  if (!r) return E_OUTOFMEMORY;
  const HRESULT hr = ZoPicture_AddPictureToList(list, r, replace);
  std::free(r);
  return hr;
}

DWORD WINAPI ZoSmfmf_GetMetaSizeNeeded(DWORD size) { return DWORD(sizeof(ZOSMFMFMETA)) + size; }

ZOSMFMFMETA* WINAPI ZoSmfmf_CreateMeta(DWORD size, const void* data) {
  auto* r = static_cast<ZOSMFMFMETA*>(std::calloc(1, ZoSmfmf_GetMetaSizeNeeded(size)));
  if (r) ZoSmfmf_SetMeta(r, size, data);
  return r;
}

HRESULT WINAPI ZoSmfmf_SetMeta(ZOSMFMFMETA* r, DWORD size, const void* data) {
  if (!r || (size && !data)) return E_INVALIDARG;
  r->totalSize = size + DWORD(sizeof(ZOSMFMFMETA));
  r->smfmfVersion = ZOSMFMF_VERSION;
  r->structVersion = 2;
  r->dataSize = size;
  if (size) std::memcpy(r + 1, data, size);
  return S_OK;
}

const BYTE* WINAPI ZoSmfmf_GetData(const ZOSMFMFMETA* r) {
  return r && r->dataSize ? reinterpret_cast<const BYTE*>(r + 1) : nullptr;
}
DWORD WINAPI ZoSmfmf_GetDataSize(const ZOSMFMFMETA* r) { return r ? r->dataSize : 0; }
DWORD WINAPI ZoSmfmf_GetTotalSize(const ZOSMFMFMETA* r) { return r ? r->totalSize : 0; }
DWORD WINAPI ZoSmfmf_GetSmfmfVersion(const ZOSMFMFMETA* r) { return r ? r->smfmfVersion : 0; }
DWORD WINAPI ZoSmfmf_GetStructVersion(const ZOSMFMFMETA* r) { return r ? r->structVersion : 0; }

HRESULT WINAPI ZoSmfmf_GetSerializableData(const ZOSMFMFMETA* r, const void** data, DWORD* size) {
  if (!r || !data || !size) return E_INVALIDARG;
  *size = r->totalSize;
  *data = r->totalSize ? r : nullptr;
  return r->totalSize ? S_OK : E_FAIL;
}

tZOLIST* WINAPI ZoSmfmf_CreateSmfmfList(void) { return NewPointerList(); }
void WINAPI ZoSmfmf_DestroySmfmfList(tZOLIST* list) { DestroyEntries(list); }

HRESULT WINAPI ZoSmfmf_DeleteSmfmfFromList(tZOLIST* list, LONG index) {
  if (!list || index < 0 || index >= list->nItems) return E_INVALIDARG;
  FreeEntry(EntryAt(list, index));
  return ZoList_DeleteList(list, index, 1, FALSE);
}

HRESULT WINAPI ZoSmfmf_AddSmfmfToList(tZOLIST* list, DWORD size, const void* data) {
  if (!list || !data) return E_INVALIDARG;
  BYTE* e = NewEntry(GUID_ZoSmfmfMeta, ZoSmfmf_GetMetaSizeNeeded(size));
  if (!e) return E_OUTOFMEMORY;
  ZoSmfmf_SetMeta(reinterpret_cast<ZOSMFMFMETA*>(e + sizeof(ZOGENERICMETAHEADER)), size, data);
  return Append(list, e);
}

VANE_END_EXTERN_C
