// SPDX-License-Identifier: MIT
#include "xml/xml_parser.h"

#include <string>
#include <vector>

#include "xml/xml_arena.h"
#include "xml/xml_encoding.h"

namespace vane::xml {

namespace {

void AppendUtf16(std::u16string& out, char32_t cp) {
  if (cp < 0x10000) {
    out.push_back(static_cast<char16_t>(cp));
  } else {
    cp -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
  }
}

template <typename Reader>
class Parser {
 public:
  Parser(const Reader& reader, Arena& arena, bool& declarationPassed)
      : m_in(reader), m_arena(arena), m_declarationPassed(declarationPassed) {}

  // The main loop: character data, markup, the end; everything else is
  // stepped over.
  HRESULT ParseFile(tagZOXML_CONTENT** root) {
    m_root = root;
    ULONGLONG pos = m_in.Start();
    for (;;) {
      ULONGLONG at = pos;
      char32_t cp;
      const int tok = m_in.Next(pos, cp);
      if (tok == kTokEnd) break;
      bool ok = true;
      if (StartsCharData(tok)) {
        pos = at;
        ok = ParseCharData(pos);
      } else if (tok == kTokLess) {
        ok = ParseLT(pos);
      }
      if (!ok) {
        CloseTo(0);  // keeps the tree as far as it was built
        return ZOXML_E_MALFORMED;
      }
    }
    const bool closed = m_depth == 0;
    return CloseTo(0) && closed ? S_OK : ZOXML_E_MALFORMED;
  }

 private:
  int Peek(ULONGLONG pos, char32_t* cp = nullptr) const {
    char32_t c = 0;
    const int tok = m_in.Next(pos, c);
    if (cp) *cp = c;
    return tok;
  }

  void SkipSpace(ULONGLONG& pos) const {
    for (;;) {
      ULONGLONG next = pos;
      char32_t cp;
      if (!IsSpaceToken(m_in.Next(next, cp))) return;
      pos = next;
    }
  }

  // Consumes `text` (ASCII) when the input continues with it.
  bool Accept(ULONGLONG& pos, const char* text) const {
    ULONGLONG p = pos;
    for (; *text; ++text) {
      char32_t cp;
      if (m_in.Next(p, cp) == kTokEnd || cp != static_cast<unsigned char>(*text)) return false;
    }
    pos = p;
    return true;
  }

  // Moves past the first occurrence of `end`; false when the data ends first.
  bool SkipPast(ULONGLONG& pos, const char* end, std::u16string* copy = nullptr) const {
    for (;;) {
      if (Accept(pos, end)) return true;
      char32_t cp;
      if (m_in.Next(pos, cp) == kTokEnd) return false;
      if (copy) {
        if (copy->size() >= kMaxTextChars) return false;
        AppendUtf16(*copy, cp);
      }
    }
  }

  bool ReadName(ULONGLONG& pos, std::u16string& name) const {
    name.clear();
    for (;;) {
      ULONGLONG next = pos;
      char32_t cp;
      if (!IsNameToken(m_in.Next(next, cp))) return !name.empty();
      if (name.size() >= kMaxNameChars) return false;
      AppendUtf16(name, cp);
      pos = next;
    }
  }

  // An open element and its content so far; the content list is made in one
  // step when the element closes.
  struct Frame {
    tagZOXML_ELEMENT* element = nullptr;
    std::vector<void*> content;
  };

  tagZOXML_ELEMENT* Current() const { return m_depth ? m_frames[m_depth - 1].element : nullptr; }

  void Open(tagZOXML_ELEMENT* element) {
    if (m_depth == m_frames.size()) m_frames.emplace_back();
    m_frames[m_depth].element = element;
    m_frames[m_depth].content.clear();
    ++m_depth;
  }

  // Closes the open elements down to `depth`, storing their content lists.
  bool CloseTo(size_t depth) {
    bool ok = true;
    while (m_depth > depth) {
      Frame& f = m_frames[--m_depth];
      ok = m_arena.AppendAll(f.element->pContent, f.content) && ok;
    }
    return ok;
  }

  bool AddContent(tagZOXML_CONTENT* content) {
    if (m_depth) {
      m_frames[m_depth - 1].content.push_back(content);
      return true;
    }
    // Text outside the root is dropped; the first top-level element is the root.
    if (content->type == ZOXML_CONTENT_ELEMENT && !*m_root) *m_root = content;
    return true;
  }

  bool AddText(const std::u16string& text) {
    if (!Current()) return true;
    auto* content = m_arena.New<tagZOXML_CONTENT>();
    if (!content) return false;
    content->type = ZOXML_CONTENT_CHARDATA;
    content->pszText = m_arena.Text(text.data(), text.size());
    return content->pszText && AddContent(content);
  }

  bool ParseCharData(ULONGLONG& pos) {
    m_text.clear();
    for (;;) {
      ULONGLONG next = pos;
      char32_t cp;
      const int tok = m_in.Next(next, cp);
      if (tok == kTokEnd || tok == kTokLess) break;
      if (m_text.size() >= kMaxTextChars) return false;
      AppendUtf16(m_text, cp);
      pos = next;
    }
    return AddText(m_text);
  }

  // After '<': markup declarations, end tags, the declaration and processing
  // instructions, start tags. Any other token ends the step.
  bool ParseLT(ULONGLONG& pos) {
    ULONGLONG next = pos;
    char32_t cp;
    const int tok = m_in.Next(next, cp);
    switch (tok) {
      case kTokBang: pos = next; return ParseMarkupDeclaration(pos);
      case kTokSlash: pos = next; return ParseEndTag(pos);
      case kTokQuestion:
        pos = next;
        if (!m_declarationPassed) {
          m_declarationPassed = true;
          return ParseXMLDeclaration(pos);
        }
        return SkipPast(pos, "?>");
      case kTokNameStart: return ParseStartTag(pos);
      default: return true;
    }
  }

  bool ParseMarkupDeclaration(ULONGLONG& pos) {
    if (Accept(pos, "--")) return SkipPast(pos, "-->");
    if (Accept(pos, "[CDATA[")) {
      m_text.clear();
      return SkipPast(pos, "]]>", &m_text) && AddText(m_text);
    }
    // A document type declaration or another declaration: stepped over,
    // with its internal subset and quoted literals.
    int depth = 0;
    char32_t quote = 0;
    for (;;) {
      char32_t cp;
      if (m_in.Next(pos, cp) == kTokEnd) return false;
      if (quote) {
        if (cp == quote) quote = 0;
      } else if (cp == '"' || cp == '\'') {
        quote = cp;
      } else if (cp == '[') {
        ++depth;
      } else if (cp == ']') {
        if (depth > 0) --depth;
      } else if (cp == '>' && depth == 0) {
        return true;
      }
    }
  }

  // Name, then attributes until '>' or '/>'.
  bool ParseXMLDeclaration(ULONGLONG& pos) {
    std::u16string name;
    if (!ReadName(pos, name)) return SkipPast(pos, "?>");
    // "version", "encoding" and "standalone" are read and not kept: the
    // byte-order mark alone chooses the reader.
    tagZOXML_ELEMENT scratch{};
    return ParseAttributes(pos, scratch, /*declaration=*/true);
  }

  bool ParseStartTag(ULONGLONG& pos) {
    std::u16string name;
    if (!ReadName(pos, name)) return false;
    auto* element = m_arena.New<tagZOXML_ELEMENT>();
    auto* content = m_arena.New<tagZOXML_CONTENT>();
    if (!element || !content) return false;
    element->pszName = m_arena.Text(name.data(), name.size());
    content->type = ZOXML_CONTENT_ELEMENT;
    content->pElement = element;
    if (!element->pszName || !AddContent(content)) return false;
    bool empty = false;
    if (!ParseAttributes(pos, *element, false, &empty)) return false;
    if (!empty) Open(element);
    return true;
  }

  bool ParseAttributes(ULONGLONG& pos, tagZOXML_ELEMENT& element, bool declaration, bool* empty = nullptr) {
    std::u16string name;
    m_attributes.clear();
    for (;;) {
      SkipSpace(pos);
      if (declaration ? Accept(pos, "?>") : Accept(pos, ">")) return m_arena.AppendAll(element.pAttributes, m_attributes);
      if (!declaration && Accept(pos, "/>")) {
        if (empty) *empty = true;
        return m_arena.AppendAll(element.pAttributes, m_attributes);
      }
      char32_t cp;
      const int tok = Peek(pos, &cp);
      if (tok == kTokEnd) return false;
      if (tok != kTokNameStart) {
        m_in.Next(pos, cp);  // a stray character inside the tag
        continue;
      }
      if (!ReadName(pos, name)) return false;
      SkipSpace(pos);
      if (!Accept(pos, "=")) continue;  // a name without a value is dropped
      SkipSpace(pos);
      char32_t quote = 0;
      if (m_in.Next(pos, quote) == kTokEnd) return false;
      if (quote != '"' && quote != '\'') continue;
      m_text.clear();
      for (;;) {
        char32_t c;
        if (m_in.Next(pos, c) == kTokEnd) return false;
        if (c == quote) break;
        if (m_text.size() >= kMaxTextChars) return false;
        AppendUtf16(m_text, c);
      }
      if (declaration) continue;
      auto* attribute = m_arena.New<tagZOXML_ATTRIBUTE>();
      if (!attribute) return false;
      attribute->pszName = m_arena.Text(name.data(), name.size());
      attribute->pszValue = m_arena.Text(m_text.data(), m_text.size());
      if (!attribute->pszName || !attribute->pszValue) return false;
      m_attributes.push_back(attribute);
    }
  }

  // Closes the innermost open element of that name and any opened inside it;
  // an end tag that matches nothing open is ignored.
  bool ParseEndTag(ULONGLONG& pos) {
    std::u16string name;
    if (!ReadName(pos, name)) return SkipPast(pos, ">");
    if (!SkipPast(pos, ">")) return false;
    for (size_t i = m_depth; i-- > 0;) {
      if (name == m_frames[i].element->pszName) return CloseTo(i);
    }
    return true;
  }

  const Reader& m_in;
  Arena& m_arena;
  bool& m_declarationPassed;
  tagZOXML_CONTENT** m_root = nullptr;
  std::vector<Frame> m_frames;  // frames keep their capacity for reuse
  size_t m_depth = 0;
  std::vector<void*> m_attributes;
  std::u16string m_text;
};

}  // namespace

HRESULT ParserCore::Run(CZoXML_Document& doc) {
  doc.m_utf16 = doc.m_size >= 2 && doc.m_buffer[0] == 0xFF && doc.m_buffer[1] == 0xFE;
  try {
    if (doc.m_utf16) {
      ZoXMLEncodingUtf16 reader(doc.m_buffer, doc.m_size);
      return Parser<ZoXMLEncodingUtf16>(reader, *doc.m_arena, doc.m_declarationPassed).ParseFile(&doc.m_root);
    }
    ZoXMLEncodingUtf8 reader(doc.m_buffer, doc.m_size);
    return Parser<ZoXMLEncodingUtf8>(reader, *doc.m_arena, doc.m_declarationPassed).ParseFile(&doc.m_root);
  } catch (const std::bad_alloc&) {
    return ZOXML_E_MALFORMED;
  }
}

}  // namespace vane::xml
