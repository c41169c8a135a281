// SPDX-License-Identifier: MIT
// The XML parser over arbitrary bytes, then a full walk of what it built.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "xml/zoxml.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CZoXML_Document doc;
  if (FAILED(doc.OpenMemory(data, size)) && doc.GetRootElement() == nullptr) return 0;
  std::vector<tagZOXML_ELEMENT*> pending{doc.GetRootElement()};
  WCHAR text[16];
  while (!pending.empty()) {
    tagZOXML_ELEMENT* e = pending.back();
    pending.pop_back();
    if (!e) continue;
    doc.GetContentString(e, text, 16);
    doc.GetAttributeString(e, u"name", text, 16);
    tagZOXML_CONTENT* node = nullptr;
    const HZOXMLFIND find = doc.FindContentFirst(e, &node);
    while (node) {
      if (node->type == ZOXML_CONTENT_ELEMENT) pending.push_back(node->pElement);
      else ZoXML_RemoveEscapes(node->pszText);
      if (doc.FindContentNext(find, &node) != S_OK) node = nullptr;
    }
    if (find != ZOXML_INVALID_FIND) doc.FindContentClose(find);
  }
  return 0;
}
