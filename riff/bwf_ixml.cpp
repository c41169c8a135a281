// SPDX-License-Identifier: MIT
// iXML to and from the record, driven by the node table: known nodes fill
// their elements (the BEXT group fills the bext fields), track and sync point
// entries fill their lists, and unknown elements under the root are kept as
// XML text and written back as they came.
#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/wtext.h"
#include "riff/bwf_info.h"
#include "xml/zoxml.h"

namespace {

using vane::platform::FromUtf8;
using vane::platform::ToUtf8;

const ZOIXML_NODE_INFO* Row(int value) { return GetIxmlInfoIndexForMetaIdxGlobal(nullptr, value); }

// The row of a node name under a parent (names compare without case).
const ZOIXML_NODE_INFO* RowOf(const char* parent, const std::string& name) {
  int count = 0;
  const ZOIXML_NODE_INFO* rows = GetTblIxmlInfo(&count);
  for (int i = 0; i < count && rows[i].name; ++i)
    if (rows[i].parent && strcasecmp(rows[i].parent, parent) == 0 && strcasecmp(rows[i].name, name.c_str()) == 0)
      return &rows[i];
  return nullptr;
}

// The value of a BEXT group node in the bext fields.
int BextFieldOf(int value) {
  switch (value) {
    case ZOIXML_BWF_DESCRIPTION: return ZOBWF_DESCRIPTION;
    case ZOIXML_BWF_ORIGINATOR: return ZOBWF_ORIGINATOR;
    case ZOIXML_BWF_ORIGINATOR_REFERENCE: return ZOBWF_ORIGINATOR_REFERENCE;
    case ZOIXML_BWF_ORIGINATION_DATE: return ZOBWF_ORIGINATION_DATE;
    case ZOIXML_BWF_ORIGINATION_TIME: return ZOBWF_ORIGINATION_TIME;
    case ZOIXML_BWF_VERSION: return ZOBWF_VERSION;
    case ZOIXML_BWF_UMID: return ZOBWF_UMID;
    case ZOIXML_BWF_RESERVED: return ZOBWF_RESERVED;
    case ZOIXML_BWF_CODING_HISTORY: return ZOBWF_CODING_HISTORY;
    default: return -1;
  }
}

struct Reader {
  CZoXML_Document& doc;
  _tagZOBWF_Chunk& record;

  std::u16string Text(tagZOXML_ELEMENT* e) {
    LONG length = 0;
    if (FAILED(doc.GetContentStringReqLen(e, &length)) || length <= 0) return {};
    std::u16string text(static_cast<size_t>(length), u'\0');
    doc.GetContentString(e, text.data(), length);
    text.resize(ZoXML_RemoveEscapes(text.data()));
    // Leading white space is not kept by the parser; trailing is trimmed here.
    while (!text.empty() && (text.back() == u' ' || text.back() == u'\n' || text.back() == u'\r' || text.back() == u'\t'))
      text.pop_back();
    return text;
  }

  template <typename Visit>
  void Children(tagZOXML_ELEMENT* e, Visit visit) {
    tagZOXML_CONTENT* node = nullptr;
    const HZOXMLFIND find = doc.FindContentFirst(e, &node);
    if (find == ZOXML_INVALID_FIND) return;
    while (node) {
      if (node->type == ZOXML_CONTENT_ELEMENT) visit(node->pElement, ToUtf8(node->pElement->pszName));
      if (doc.FindContentNext(find, &node) != S_OK) break;
    }
    doc.FindContentClose(find);
  }

  void Set(int value, std::u16string text) {
    record.fields[value].present = TRUE;
    record.fields[value].text = std::move(text);
  }

  void Leaf(const ZOIXML_NODE_INFO& row, tagZOXML_ELEMENT* e) {
    std::u16string text = Text(e);
    if (row.value == ZOIXML_BWF_TIME_REFERENCE_LOW || row.value == ZOIXML_BWF_TIME_REFERENCE_HIGH) {
      const ULONGLONG half = std::strtoull(ToUtf8(text).c_str(), nullptr, 10) & 0xFFFFFFFFull;
      const int shift = row.value == ZOIXML_BWF_TIME_REFERENCE_HIGH ? 32 : 0;
      record.timeReference = (record.timeReference & ~(0xFFFFFFFFull << shift)) | (half << shift);
      Set(ZOBWF_TIME_REFERENCE, FromUtf8(std::to_string(record.timeReference)));
      record.flags |= ZOBWF_FLAG_TIME;
      return;
    }
    const int bext = BextFieldOf(row.value);
    if (bext >= 0) {
      if (bext == ZOBWF_VERSION) record.version = static_cast<WORD>(std::strtoul(ToUtf8(text).c_str(), nullptr, 10));
      if (bext == ZOBWF_CODING_HISTORY) record.ixmlCodingHistory = text;
      if (bext == ZOBWF_ORIGINATION_DATE || bext == ZOBWF_ORIGINATION_TIME) record.flags |= ZOBWF_FLAG_TIME;
      record.flags |= ZOBWF_FLAG_BEXT;
      Set(bext, std::move(text));
      return;
    }
    Set(row.value, std::move(text));
  }

  void Entries(tagZOXML_ELEMENT* list, const char* listName, const char* entryName, int firstChild,
               std::vector<ZOBWF_LIST_ENTRY>& entries) {
    Children(list, [&](tagZOXML_ELEMENT* e, const std::string& name) {
      const ZOIXML_NODE_INFO* row = RowOf(listName, name);
      if (!row) return;
      if (strcmp(row->name, entryName) != 0) return Leaf(*row, e);
      ZOBWF_LIST_ENTRY entry;
      Children(e, [&](tagZOXML_ELEMENT* c, const std::string& childName) {
        const ZOIXML_NODE_INFO* child = RowOf(entryName, childName);
        if (!child) return;
        ZOBWF_FIELD& field = entry.values[child->value - firstChild];
        field.present = TRUE;
        field.text = Text(c);
      });
      entries.push_back(std::move(entry));
    });
  }
};

// Writes an element and its subtree back as XML text, without recursion.
std::string Serialise(CZoXML_Document& doc, tagZOXML_ELEMENT* root) {
  struct Frame {
    tagZOXML_ELEMENT* e;
    HZOXMLFIND find;
  };
  std::string out;
  std::vector<Frame> stack;
  auto open = [&](tagZOXML_ELEMENT* e) -> tagZOXML_CONTENT* {
    out += "<" + ToUtf8(e->pszName);
    for (LONG i = 0; e->pAttributes && i < e->pAttributes->nItems; ++i) {
      auto* a = static_cast<tagZOXML_ATTRIBUTE**>(e->pAttributes->pData)[i];
      out += " " + ToUtf8(a->pszName) + "=\"" + ToUtf8(a->pszValue) + "\"";
    }
    out += ">";
    tagZOXML_CONTENT* first = nullptr;
    stack.push_back({e, doc.FindContentFirst(e, &first)});
    return first;
  };
  tagZOXML_CONTENT* next = open(root);
  while (!stack.empty()) {
    if (!next) {
      Frame f = stack.back();
      stack.pop_back();
      if (f.find != ZOXML_INVALID_FIND) doc.FindContentClose(f.find);
      out += "</" + ToUtf8(f.e->pszName) + ">";
      if (!stack.empty() && doc.FindContentNext(stack.back().find, &next) != S_OK) next = nullptr;
      continue;
    }
    if (next->type == ZOXML_CONTENT_ELEMENT) {
      next = open(next->pElement);
      continue;
    }
    out += ToUtf8(next->pszText);
    if (doc.FindContentNext(stack.back().find, &next) != S_OK) next = nullptr;
  }
  return out;
}

// ---- building

std::string Escaped(const std::u16string& text) {
  std::string out;
  for (char c : ToUtf8(text)) {
    if (c == '&') out += "&amp;";
    else if (c == '<') out += "&lt;";
    else if (c == '>') out += "&gt;";
    else out += c;
  }
  return out;
}

// The rational form of a speed value given as a rational, a table text or a rate.
std::string SpeedText(const std::u16string& value) {
  const std::string text = ToUtf8(value);
  int count = 0;
  const ZOIXML_VALUE_ROW* rows = GetTblIxmlSpeedFPS(&count);
  for (int i = 0; i < count && rows[i].number >= 0; ++i) {
    if (text == rows[i].rational || text == rows[i].text || text == std::string(rows[i].text).substr(0, 6))
      return rows[i].rational;
  }
  return text;
}

std::string BoolText(const std::u16string& value) {
  const std::string t = ToUtf8(value);
  return strcasecmp(t.c_str(), "TRUE") == 0 || t == "1" ? "TRUE" : "FALSE";
}

struct Builder {
  const _tagZOBWF_Chunk& record;
  std::string out;

  const ZOBWF_FIELD* Value(int value, int index) const {
    if (value >= ZOIXML_CHANNEL_INDEX && value <= ZOIXML_FUNCTION) {
      if (index < 0 || static_cast<size_t>(index) >= record.tracks.size()) return nullptr;
      return &record.tracks[static_cast<size_t>(index)].values[value - ZOIXML_CHANNEL_INDEX];
    }
    if (value >= ZOIXML_SYNC_POINT_TYPE && value <= ZOIXML_SYNC_POINT_EVENT_DURATION) {
      if (index < 0 || static_cast<size_t>(index) >= record.syncPoints.size()) return nullptr;
      return &record.syncPoints[static_cast<size_t>(index)].values[value - ZOIXML_SYNC_POINT_TYPE];
    }
    const int bext = BextFieldOf(value);
    if (bext >= 0) return (record.flags & ZOBWF_FLAG_BEXT) ? &record.fields[bext] : nullptr;
    return &record.fields[value];
  }

  // Whether `value` lies under the parent row `parent` (at any depth).
  static bool Under(int value, const ZOIXML_NODE_INFO& parent) {
    for (const ZOIXML_NODE_INFO* row = Row(value); row && row->parent;) {
      if (strcmp(row->parent, parent.name) == 0) return true;
      const ZOIXML_NODE_INFO* up = nullptr;
      for (int v = ZOIXML_BWFXML; v < row->value; ++v)
        if (Row(v) && strcmp(Row(v)->name, row->parent) == 0) up = Row(v);
      row = up;
    }
    return false;
  }

  void Leaf(const ZOIXML_NODE_INFO& row, int index) {
    std::string text;
    if (row.value == ZOIXML_BWF_TIME_REFERENCE_LOW || row.value == ZOIXML_BWF_TIME_REFERENCE_HIGH) {
      if (!(record.flags & ZOBWF_FLAG_TIME)) return;
      const ULONGLONG half = row.value == ZOIXML_BWF_TIME_REFERENCE_HIGH ? record.timeReference >> 32
                                                                          : record.timeReference & 0xFFFFFFFFull;
      text = std::to_string(half);
    } else {
      const ZOBWF_FIELD* field = Value(row.value, index);
      if (!field || !field->present) return;
      switch (row.type) {
        case 2: text = BoolText(field->text); break;
        case 3: text = SpeedText(field->text); break;
        case 4: text = ToUtf8(field->text) == "DF" ? "DF" : "NDF"; break;
        default: text = Escaped(field->text);
      }
    }
    out += std::string(static_cast<size_t>(2 * depth), ' ') + "<" + row.name + ">" + text + "</" + row.name + ">\n";
  }

  int depth = 0;

  // Writes the rows of [first, last] whose parent is `parent`; parents are
  // written only when something inside them is.
  void Range(const char* parent, int first, int last, int index) {
    for (int v = first; v <= last; ++v) {
      const ZOIXML_NODE_INFO* row = Row(v);
      if (!row || !row->parent || (parent && strcmp(row->parent, parent) != 0)) continue;
      if (row->level != -2 && row->type != 6) {
        Leaf(*row, index);
        continue;
      }
      int end = v;
      while (end + 1 <= last && end + 1 < ZOIXML_UNKNOWN_LIST && Under(end + 1, *row)) ++end;
      if (v == ZOIXML_TRACK || v == ZOIXML_SYNC_POINT) {
        const size_t n = v == ZOIXML_TRACK ? record.tracks.size() : record.syncPoints.size();
        for (size_t i = 0; i < n; ++i) Group(*row, v + 1, end, static_cast<int>(i));
      } else {
        Group(*row, v + 1, end, index);
      }
      v = end;
    }
  }

  void Group(const ZOIXML_NODE_INFO& row, int first, int last, int index) {
    const size_t mark = out.size();
    const std::string indent(static_cast<size_t>(2 * depth), ' ');
    out += indent + "<" + row.name + ">\n";
    const size_t inner = out.size();
    ++depth;
    Range(row.name, first, last, index);
    --depth;
    if (out.size() == inner) {
      out.resize(mark);  // nothing inside: the parent is left out
      return;
    }
    out += indent + "</" + row.name + ">\n";
  }
};

}  // namespace

VANE_EXTERN_C HRESULT ExtractIxmlContent(const BYTE* xml, DWORD size, _tagZOBWF_Chunk* record) {
  if (!record || (!xml && size)) return E_POINTER;
  CZoXML_Document doc;
  const HRESULT hr = doc.OpenMemory(xml, size);
  tagZOXML_ELEMENT* root = doc.GetRootElement();
  if (!root) return FAILED(hr) ? hr : MakeStatus(0x8004E00A);
  if (strcasecmp(ToUtf8(root->pszName).c_str(), "BWFXML") != 0) return MakeStatus(0x8004E00A);
  Reader reader{doc, *record};
  record->fields[ZOIXML_BWFXML].present = TRUE;
  record->flags |= ZOBWF_FLAG_IXML;
  reader.Children(root, [&](tagZOXML_ELEMENT* e, const std::string& name) {
    const ZOIXML_NODE_INFO* row = RowOf("BWFXML", name);
    if (!row) {
      record->unknown.push_back(Serialise(doc, e));
      return;
    }
    record->fields[row->value].present = TRUE;
    if (row->value == ZOIXML_TRACK_LIST) return reader.Entries(e, "TRACK_LIST", "TRACK", ZOIXML_CHANNEL_INDEX, record->tracks);
    if (row->value == ZOIXML_SYNC_POINT_LIST)
      return reader.Entries(e, "SYNC_POINT_LIST", "SYNC_POINT", ZOIXML_SYNC_POINT_TYPE, record->syncPoints);
    if (row->level != -2) return reader.Leaf(*row, e);
    reader.Children(e, [&](tagZOXML_ELEMENT* c, const std::string& childName) {
      if (const ZOIXML_NODE_INFO* child = RowOf(row->name, childName)) reader.Leaf(*child, c);
    });
  });
  return hr == ZOXML_E_MALFORMED ? S_OK : hr;
}

VANE_EXTERN_C HRESULT BuildRawBwfIxmlChunkGlobal(const _tagZOBWF_Chunk* record, BYTE* buffer, DWORD* size, int first,
                                               int last, int index) {
  if (!record || !size) return E_POINTER;
  if (first < ZOIXML_BWFXML || last > ZOIXML_SYNC_POINT_EVENT_DURATION || first > last) return E_INVALIDARG;
  Builder b{*record, {}};
  if (first == ZOIXML_BWFXML) {
    b.out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<BWFXML>\n";
    b.depth = 1;
    b.Range("BWFXML", first + 1, last, index);
    for (const std::string& unknown : record->unknown) b.out += "  " + unknown + "\n";
    b.out += "</BWFXML>\n";
    // A record with nothing for the document builds nothing.
    if (b.out.find("<", b.out.find("<BWFXML>") + 8) == b.out.find("</BWFXML>")) b.out.clear();
  } else {
    b.Range(nullptr, first, last, index);
  }
  const DWORD needed = static_cast<DWORD>(b.out.size());
  if (!buffer || *size < needed) {
    *size = needed;
    return S_OK;
  }
  std::memcpy(buffer, b.out.data(), needed);
  *size = needed;
  return S_OK;
}
