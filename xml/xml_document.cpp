// SPDX-License-Identifier: MIT
#include <cstring>
#include <new>

#include "platform/file.h"
#include "platform/mapping.h"
#include "platform/wtext.h"
#include "xml/xml_arena.h"
#include "xml/xml_parser.h"
#include "xml/zoxml.h"

namespace {

// A walk over one element's content: the element and the next position.
struct FindRecord {
  tagZOXML_ELEMENT* element;
  LONG position;
};

constexpr HRESULT kInsufficientBuffer = HRESULT_FROM_WIN32(122);

LONG Count(const tZOLIST* list) { return list ? list->nItems : 0; }

template <typename T>
T* At(const tZOLIST* list, LONG index) {
  return static_cast<T**>(list->pData)[index];
}

// Copies text with its terminating zero; what does not fit is cut.
HRESULT CopyText(const WCHAR* text, WCHAR* buffer, LONG size) {
  if (!buffer || size <= 0) return E_INVALIDARG;
  const size_t length = ZoWcsLen(text);
  const size_t room = static_cast<size_t>(size) - 1;
  const size_t n = length < room ? length : room;
  std::memcpy(buffer, text, n * sizeof(WCHAR));
  buffer[n] = 0;
  return length > room ? kInsufficientBuffer : S_OK;
}

}  // namespace

CZoXML_Document::CZoXML_Document() = default;

CZoXML_Document::~CZoXML_Document() { Release(); }

void CZoXML_Document::Release() {
  if (m_finds) {
    ZoList_Destroy(m_finds);
    m_finds = nullptr;
  }
  m_arena.reset();
  m_root = nullptr;
  if (m_view) UnmapViewOfFile(m_view);
  if (m_mapping) CloseHandle(m_mapping);
  if (m_file && m_file != INVALID_HANDLE_VALUE) CloseHandle(m_file);
  m_view = nullptr;
  m_mapping = nullptr;
  m_file = nullptr;
  m_buffer = nullptr;
  m_size = 0;
  m_path[0] = 0;
  m_declarationPassed = false;
  m_parseStatus = S_OK;
}

HRESULT CZoXML_Document::Parse() {
  m_arena.reset(new (std::nothrow) vane::xml::Arena());
  if (!m_arena) return E_OUTOFMEMORY;
  m_parseStatus = vane::xml::ParserCore::Run(*this);
  if (FAILED(ZoList_CreateExZ(&m_finds, sizeof(void*), 4, 8, ZOLIST_OPT_HEAPITEMS, 0, 0, 0))) return E_OUTOFMEMORY;
  return m_parseStatus;
}

HRESULT CZoXML_Document::OpenFile(const WCHAR* path) {
  Release();
  if (!path) return E_POINTER;
  if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) return ZOXML_E_NO_FILE;
  ZoWcsCopy(m_path, sizeof m_path / sizeof m_path[0], path);
  m_file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (m_file == INVALID_HANDLE_VALUE) {
    m_file = nullptr;
    return ZOXML_E_CANNOT_OPEN;
  }
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(m_file, &size)) return ZOXML_E_CANNOT_OPEN;
  if (size.QuadPart == 0) {
    Release();
    return ZOXML_E_EMPTY;
  }
  m_mapping = CreateFileMappingW(m_file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  if (!m_mapping) {
    Release();
    return ZOXML_E_CANNOT_OPEN;
  }
  m_view = MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, 0);
  if (!m_view) {
    Release();
    return ZOXML_E_CANNOT_OPEN;
  }
  m_buffer = static_cast<const BYTE*>(m_view);
  m_size = static_cast<ULONGLONG>(size.QuadPart);
  return Parse();
}

HRESULT CZoXML_Document::OpenMemory(const void* data, ULONGLONG size) {
  Release();
  if (!data && size) return E_POINTER;
  if (size == 0) return ZOXML_E_EMPTY;
  m_buffer = static_cast<const BYTE*>(data);
  m_size = size;
  return Parse();
}

HRESULT CZoXML_Document::CloseFile() {
  Release();
  return S_OK;
}

HRESULT CZoXML_Document::CloseMemory() {
  Release();
  return S_OK;
}

bool CZoXML_Document::IsFind(HZOXMLFIND find) const {
  return m_finds && find != ZOXML_INVALID_FIND && find != 0 &&
         ZoList_FindSpecificItemRange(m_finds, 0, -1, reinterpret_cast<const void*>(find)) >= 0;
}

HZOXMLFIND CZoXML_Document::FindContentFirst(tagZOXML_ELEMENT* element, tagZOXML_CONTENT** content) {
  if (content) *content = nullptr;
  if (!content || !m_finds || !m_root) return ZOXML_INVALID_FIND;
  if (element && Count(element->pContent) == 0) return ZOXML_INVALID_FIND;
  void* item = nullptr;
  if (FAILED(ZoList_AllocAndInsertItem(m_finds, nullptr, sizeof(FindRecord), -1, nullptr))) return ZOXML_INVALID_FIND;
  item = static_cast<void**>(m_finds->pData)[m_finds->nItems - 1];
  auto* record = static_cast<FindRecord*>(item);
  record->element = element;
  record->position = 1;
  *content = element ? At<tagZOXML_CONTENT>(element->pContent, 0) : m_root;
  return reinterpret_cast<HZOXMLFIND>(record);
}

HRESULT CZoXML_Document::FindContentNext(HZOXMLFIND find, tagZOXML_CONTENT** content) {
  if (!content) return E_POINTER;
  *content = nullptr;
  if (!IsFind(find)) return E_INVALIDARG;
  auto* record = reinterpret_cast<FindRecord*>(find);
  // The root walk holds the root alone.
  if (!record->element || record->position >= Count(record->element->pContent)) return ZOXML_E_NOT_FOUND;
  *content = At<tagZOXML_CONTENT>(record->element->pContent, record->position++);
  return S_OK;
}

HRESULT CZoXML_Document::FindContentClose(HZOXMLFIND find) {
  if (!IsFind(find)) return E_INVALIDARG;
  const LONG index = ZoList_FindSpecificItemRange(m_finds, 0, -1, reinterpret_cast<const void*>(find));
  return ZoList_DeleteList(m_finds, index, 1, FALSE);
}

HRESULT CZoXML_Document::FindChild(tagZOXML_CONTENT* content, const WCHAR* name, tagZOXML_CONTENT** child) {
  if (!child || !name) return E_POINTER;
  *child = nullptr;
  if (!content || content->type != ZOXML_CONTENT_ELEMENT) return E_INVALIDARG;
  tagZOXML_CONTENT* node = nullptr;
  const HZOXMLFIND find = FindContentFirst(content->pElement, &node);
  if (find == ZOXML_INVALID_FIND) return ZOXML_E_NOT_FOUND;
  HRESULT hr = ZOXML_E_NOT_FOUND;
  while (node) {
    // The search stops at the first text among the contents.
    if (node->type != ZOXML_CONTENT_ELEMENT) break;
    if (ZoWcsCmp(node->pElement->pszName, name) == 0) {
      *child = node;
      hr = S_OK;
      break;
    }
    if (FindContentNext(find, &node) != S_OK) break;
  }
  FindContentClose(find);
  return hr;
}

HRESULT CZoXML_Document::GetCharDataContent(tagZOXML_ELEMENT* element, tagZOXML_CONTENT** content) {
  if (!content) return E_POINTER;
  *content = nullptr;
  if (!element) return E_INVALIDARG;
  for (LONG i = 0; i < Count(element->pContent); ++i) {
    tagZOXML_CONTENT* node = At<tagZOXML_CONTENT>(element->pContent, i);
    if (node->type == ZOXML_CONTENT_CHARDATA) {
      *content = node;
      return S_OK;
    }
  }
  return ZOXML_E_NOT_FOUND;
}

HRESULT CZoXML_Document::GetContentStringReqLen(tagZOXML_ELEMENT* element, LONG* length) {
  if (!length) return E_POINTER;
  *length = 0;
  tagZOXML_CONTENT* text = nullptr;
  const HRESULT hr = GetCharDataContent(element, &text);
  if (FAILED(hr)) return hr;
  *length = static_cast<LONG>(ZoWcsLen(text->pszText) + 1);
  return S_OK;
}

HRESULT CZoXML_Document::GetContentString(tagZOXML_ELEMENT* element, WCHAR* buffer, LONG size) {
  tagZOXML_CONTENT* text = nullptr;
  const HRESULT hr = GetCharDataContent(element, &text);
  if (FAILED(hr)) {
    if (buffer && size > 0) buffer[0] = 0;
    return hr;
  }
  return CopyText(text->pszText, buffer, size);
}

HRESULT CZoXML_Document::GetAttribute(tagZOXML_ELEMENT* element, const WCHAR* name, tagZOXML_ATTRIBUTE** attribute) {
  if (!attribute || !name) return E_POINTER;
  *attribute = nullptr;
  if (!element) return E_INVALIDARG;
  for (LONG i = 0; i < Count(element->pAttributes); ++i) {
    tagZOXML_ATTRIBUTE* a = At<tagZOXML_ATTRIBUTE>(element->pAttributes, i);
    if (ZoWcsCmp(a->pszName, name) == 0) {
      *attribute = a;
      return S_OK;
    }
  }
  return ZOXML_E_NOT_FOUND;
}

HRESULT CZoXML_Document::GetAttributeString(tagZOXML_ELEMENT* element, const WCHAR* name, WCHAR* buffer, LONG size) {
  tagZOXML_ATTRIBUTE* attribute = nullptr;
  const HRESULT hr = GetAttribute(element, name, &attribute);
  if (FAILED(hr)) {
    if (buffer && size > 0) buffer[0] = 0;
    return hr;
  }
  return CopyText(attribute->pszValue, buffer, size);
}

HRESULT CZoXML_Document::GetChildContentString(tagZOXML_CONTENT* content, const WCHAR* name, WCHAR* buffer,
                                               LONG size) {
  tagZOXML_CONTENT* child = nullptr;
  const HRESULT hr = FindChild(content, name, &child);
  if (FAILED(hr)) {
    if (buffer && size > 0) buffer[0] = 0;
    return hr;
  }
  return GetContentString(child->pElement, buffer, size);
}
