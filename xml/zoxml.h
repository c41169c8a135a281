// SPDX-License-Identifier: MIT
// CZoXML_Document: a small read-only XML parser for memory-mapped files and
// caller buffers. It parses a whole document into a tree of elements,
// attributes and content nodes, and offers a cursor-style walk over it.
// There is no writer; the escape helpers serve callers that build XML text.
//
// Ownership: the document owns every node and string until it is closed; a
// buffer given to OpenMemory must outlive the object. Text is UTF-16, copied
// out of the document as it stands (entities are left for the escape
// helpers). Lists of an element are created when the element gets its first
// attribute or content; a null list is an empty one.
//
// Threads: one document is used from one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/zolist.h"
#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

enum tagXML_CONTENT_TYPE : DWORD {
  ZOXML_CONTENT_ELEMENT = 0,   // a child element
  ZOXML_CONTENT_CHARDATA = 1,  // character data (text or a CDATA section)
};

struct tagZOXML_ELEMENT {
  WCHAR* pszName;
  tZOLIST* pAttributes;  // pointer list of tagZOXML_ATTRIBUTE
  tZOLIST* pContent;     // pointer list of tagZOXML_CONTENT, in document order
};

struct tagZOXML_ATTRIBUTE {
  WCHAR* pszName;
  WCHAR* pszValue;
};

struct tagZOXML_CONTENT {
  tagXML_CONTENT_TYPE type;
  union {
    tagZOXML_ELEMENT* pElement;  // type 0
    WCHAR* pszText;              // type 1
  };
};

// A walk over an element's content; -1 when there is nothing to walk.
using HZOXMLFIND = LONG_PTR;
inline constexpr HZOXMLFIND ZOXML_INVALID_FIND = -1;

// Statuses of the document.
inline constexpr HRESULT ZOXML_E_NOT_FOUND = MakeStatus(0x8004E00A);   // a search without a result
inline constexpr HRESULT ZOXML_E_EMPTY = MakeStatus(0x8004E00B);       // an empty file
inline constexpr HRESULT ZOXML_E_CANNOT_OPEN = MakeStatus(0x8004E007);  // cannot be opened or mapped
inline constexpr HRESULT ZOXML_E_NO_FILE = MakeStatus(0x8004E032);      // the file does not exist
inline constexpr HRESULT ZOXML_E_MALFORMED = MakeStatus(0x8004E025);    // the tree stops where the text broke

namespace vane::xml {
class Arena;
class ParserCore;
}  // namespace vane::xml

class VANE_EXPORT CZoXML_Document {
 public:
  CZoXML_Document();
  ~CZoXML_Document();
  CZoXML_Document(const CZoXML_Document&) = delete;
  CZoXML_Document& operator=(const CZoXML_Document&) = delete;

  // Maps the file read-only and parses it.
  HRESULT OpenFile(const WCHAR* path);
  // Parses a caller's buffer (a UTF-16LE one begins with FF FE).
  HRESULT OpenMemory(const void* data, ULONGLONG size);
  HRESULT CloseFile();
  HRESULT CloseMemory();

  // The walk over an element's content (null: the root as the single
  // content); the first node goes to *content.
  HZOXMLFIND FindContentFirst(tagZOXML_ELEMENT* element, tagZOXML_CONTENT** content);
  HRESULT FindContentNext(HZOXMLFIND find, tagZOXML_CONTENT** content);
  HRESULT FindContentClose(HZOXMLFIND find);
  // First child element of that name (exact, case-sensitive); the search ends
  // with ZOXML_E_NOT_FOUND at the first text among the contents.
  HRESULT FindChild(tagZOXML_CONTENT* content, const WCHAR* name, tagZOXML_CONTENT** child);
  // First content node of type 1.
  HRESULT GetCharDataContent(tagZOXML_ELEMENT* element, tagZOXML_CONTENT** content);
  // Characters of that text, terminating zero included.
  HRESULT GetContentStringReqLen(tagZOXML_ELEMENT* element, LONG* length);
  // Copies it; a buffer too small gets what fits, terminated, and
  // HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER).
  HRESULT GetContentString(tagZOXML_ELEMENT* element, WCHAR* buffer, LONG size);
  HRESULT GetAttribute(tagZOXML_ELEMENT* element, const WCHAR* name, tagZOXML_ATTRIBUTE** attribute);
  HRESULT GetAttributeString(tagZOXML_ELEMENT* element, const WCHAR* name, WCHAR* buffer, LONG size);
  HRESULT GetChildContentString(tagZOXML_CONTENT* content, const WCHAR* name, WCHAR* buffer, LONG size);

  tagZOXML_ELEMENT* GetRootElement() const { return m_root ? m_root->pElement : nullptr; }
  // The status of the last parse (0, or ZOXML_E_MALFORMED with the tree as far as it was built).
  HRESULT GetParseStatus() const { return m_parseStatus; }

 private:
  friend class vane::xml::ParserCore;
  HRESULT Parse();
  void Release();
  bool IsFind(HZOXMLFIND find) const;

  const BYTE* m_buffer = nullptr;
  ULONGLONG m_size = 0;
  WCHAR m_path[260] = {};
  HANDLE m_file = nullptr;
  HANDLE m_mapping = nullptr;
  void* m_view = nullptr;
  bool m_utf16 = false;
  bool m_declarationPassed = false;
  tagZOXML_CONTENT* m_root = nullptr;
  tZOLIST* m_finds = nullptr;
  HRESULT m_parseStatus = S_OK;
  std::unique_ptr<vane::xml::Arena> m_arena;
};

VANE_BEGIN_EXTERN_C
// Whether ZoXML_AddEscapes would change the text.
VANE_EXPORT BOOL ZoXML_DoesStringNeedEscapes(const WCHAR* text);
// Whether the text holds one of the three entities.
VANE_EXPORT BOOL ZoXML_DoesStringHaveEscapes(const WCHAR* text);
// Writes the text with '&', '<' and '>' as entities; an ampersand that
// already begins one of the three entities stays. `size` in characters with
// the terminating zero; a destination too small gives
// HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER) and an empty string.
VANE_EXPORT HRESULT ZoXML_AddEscapes(WCHAR* dest, LONG size, const WCHAR* source);
// Replaces the three entities in place; others stay. Returns the new length.
VANE_EXPORT LONG ZoXML_RemoveEscapes(WCHAR* text);
VANE_END_EXTERN_C
