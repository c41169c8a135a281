// SPDX-License-Identifier: MIT
// The escape helpers: '&', '<' and '>' and their entities, both ways.
#include <array>
#include <string_view>

#include "platform/wtext.h"
#include "xml/zoxml.h"

namespace {

struct Escape {
  WCHAR character;
  std::u16string_view entity;
};

constexpr std::array<Escape, 3> kEscapes{{{u'&', u"&amp;"}, {u'<', u"&lt;"}, {u'>', u"&gt;"}}};

// The entity of the table that text begins with, or null.
const Escape* EntityAt(const WCHAR* text) {
  for (const Escape& e : kEscapes)
    if (std::u16string_view(text).substr(0, e.entity.size()) == e.entity) return &e;
  return nullptr;
}

const Escape* EscapeOf(WCHAR c) {
  for (const Escape& e : kEscapes)
    if (e.character == c) return &e;
  return nullptr;
}

// Whether AddEscapes replaces the character at text (an ampersand that
// begins an entity of the table stays).
bool Replaced(const WCHAR* text) { return EscapeOf(*text) && !(*text == u'&' && EntityAt(text)); }

}  // namespace

VANE_EXTERN_C BOOL ZoXML_DoesStringNeedEscapes(const WCHAR* text) {
  if (!text) return FALSE;
  for (; *text; ++text)
    if (Replaced(text)) return TRUE;
  return FALSE;
}

VANE_EXTERN_C BOOL ZoXML_DoesStringHaveEscapes(const WCHAR* text) {
  if (!text) return FALSE;
  for (; *text; ++text)
    if (*text == u'&' && EntityAt(text)) return TRUE;
  return FALSE;
}

VANE_EXTERN_C HRESULT ZoXML_AddEscapes(WCHAR* dest, LONG size, const WCHAR* source) {
  if (!dest || !source) return E_POINTER;
  if (size <= 0) return E_INVALIDARG;
  LONG used = 0;
  for (const WCHAR* s = source; *s; ++s) {
    const std::u16string_view piece = Replaced(s) ? EscapeOf(*s)->entity : std::u16string_view(s, 1);
    if (used + static_cast<LONG>(piece.size()) >= size) {
      dest[0] = 0;
      return HRESULT_FROM_WIN32(122);
    }
    for (char16_t c : piece) dest[used++] = c;
  }
  dest[used] = 0;
  return S_OK;
}

VANE_EXTERN_C LONG ZoXML_RemoveEscapes(WCHAR* text) {
  if (!text) return 0;
  WCHAR* out = text;
  for (const WCHAR* in = text; *in;) {
    if (const Escape* e = *in == u'&' ? EntityAt(in) : nullptr) {
      *out++ = e->character;
      in += e->entity.size();
    } else {
      *out++ = *in++;
    }
  }
  *out = 0;
  return static_cast<LONG>(out - text);
}
