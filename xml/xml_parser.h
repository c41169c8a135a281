// SPDX-License-Identifier: MIT
// The parse loop over a document's buffer. It keeps the open elements on a
// stack of its own (never the call stack), so nesting depth costs memory in
// proportion to the input and nothing else.
#pragma once

#include "xml/zoxml.h"

namespace vane::xml {

class ParserCore {
 public:
  // Parses doc's buffer into its tree; ZOXML_E_MALFORMED when the text
  // breaks off or a node cannot be stored (the tree stays as far as built).
  static HRESULT Run(CZoXML_Document& doc);
};

// The longest name and the longest text or attribute value kept, in
// characters; longer ones end the parse as malformed.
inline constexpr size_t kMaxNameChars = 4096;
inline constexpr size_t kMaxTextChars = size_t{64} << 20;

}  // namespace vane::xml
