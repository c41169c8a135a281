// SPDX-License-Identifier: MIT
// vane xml FILE [--find PATH] [--json]: the elements of an XML document as
// the library's parser sees them, so a person can check what it reads. PATH
// is a slash-separated list of child names from the root ("BWFXML/SCENE").
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/wtext.h"
#include "tools/vane/cli.h"
#include "xml/zoxml.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"xml", "xml FILE [--find PATH] [--json]", "the element tree of an XML document", &Run};
const Registrar kReg(kCommand);

std::string Utf8(const WCHAR* text) { return platform::ToUtf8(text); }

// Walks the tree without recursion: a stack of open walks.
void Print(CZoXML_Document& doc, tagZOXML_CONTENT* start, bool json) {
  struct Frame {
    HZOXMLFIND find;
    int depth;
  };
  Json j;
  std::vector<Frame> stack;
  auto open = [&](tagZOXML_CONTENT* node, int depth) {
    tagZOXML_ELEMENT* e = node->pElement;
    if (json) {
      j.BeginObject().Field("name", Utf8(e->pszName));
      j.Key("attributes").BeginObject();
      for (LONG i = 0; e->pAttributes && i < e->pAttributes->nItems; ++i) {
        auto* a = static_cast<tagZOXML_ATTRIBUTE**>(e->pAttributes->pData)[i];
        j.Field(Utf8(a->pszName), Utf8(a->pszValue));
      }
      j.EndObject().Key("content").BeginArray();
    } else {
      std::string line(static_cast<size_t>(depth) * 2, ' ');
      line += Utf8(e->pszName);
      for (LONG i = 0; e->pAttributes && i < e->pAttributes->nItems; ++i) {
        auto* a = static_cast<tagZOXML_ATTRIBUTE**>(e->pAttributes->pData)[i];
        line += " " + Utf8(a->pszName) + "=\"" + Utf8(a->pszValue) + "\"";
      }
      std::printf("%s\n", line.c_str());
    }
    tagZOXML_CONTENT* first = nullptr;
    const HZOXMLFIND find = doc.FindContentFirst(e, &first);
    stack.push_back({find, depth});
    return first;
  };
  tagZOXML_CONTENT* next = open(start, 0);
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (!next) {
      if (top.find != ZOXML_INVALID_FIND) doc.FindContentClose(top.find);
      stack.pop_back();
      if (json) j.EndArray().EndObject();
      if (!stack.empty() && FAILED(doc.FindContentNext(stack.back().find, &next))) next = nullptr;
      continue;
    }
    tagZOXML_CONTENT* node = next;
    if (node->type == ZOXML_CONTENT_ELEMENT) {
      next = open(node, top.depth + 1);
      continue;
    }
    if (json) j.String(Utf8(node->pszText));
    else std::printf("%s\"%s\"\n", std::string(static_cast<size_t>(top.depth) * 2 + 2, ' ').c_str(), Utf8(node->pszText).c_str());
    if (FAILED(doc.FindContentNext(top.find, &next))) next = nullptr;
  }
  if (json) std::printf("%s\n", j.str().c_str());
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const std::optional<std::string> path = args.Option("--find");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1) return UsageError(kCommand, "one file is needed");
  CZoXML_Document doc;
  const HRESULT hr = doc.OpenFile(platform::FromUtf8(files[0]).c_str());
  if (FAILED(hr) && hr != ZOXML_E_MALFORMED) return Failure(hr, files[0]);
  if (hr == ZOXML_E_MALFORMED) std::fprintf(stderr, "%s: the document breaks off; showing what was read\n", files[0].c_str());
  tagZOXML_CONTENT* node = nullptr;
  const HZOXMLFIND root = doc.FindContentFirst(nullptr, &node);
  if (root == ZOXML_INVALID_FIND || !node) return Failure(ZOXML_E_NOT_FOUND, files[0] + ": no root element");
  doc.FindContentClose(root);
  if (path) {
    std::vector<std::string> names;
    for (size_t start = 0; start <= path->size();) {
      const size_t end = std::min(path->find('/', start), path->size());
      names.push_back(path->substr(start, end - start));
      start = end + 1;
    }
    if (names[0] != Utf8(node->pElement->pszName)) return Failure(ZOXML_E_NOT_FOUND, *path);
    for (size_t i = 1; i < names.size(); ++i) {
      tagZOXML_CONTENT* child = nullptr;
      if (FAILED(doc.FindChild(node, platform::FromUtf8(names[i]).c_str(), &child))) return Failure(ZOXML_E_NOT_FOUND, *path);
      node = child;
    }
  }
  Print(doc, node, json);
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
