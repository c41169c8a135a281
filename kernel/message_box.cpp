// SPDX-License-Identifier: MIT
#include "kernel/message_box.h"

#include <cstdio>
#include <mutex>

#include "platform/wtext.h"

namespace {

int StandardErrorBox(HWND, LPCWSTR text, LPCWSTR caption, UINT, void*) {
  const std::string c = vane::platform::ToUtf8(caption);
  std::string t = vane::platform::ToUtf8(text);
  // Texts open with line feeds to sit below a caption; a terminal needs none.
  const size_t start = t.find_first_not_of("\r\n");
  t = start == std::string::npos ? std::string() : t.substr(start);
  if (c.empty())
    std::fprintf(stderr, "%s\n", t.c_str());
  else
    std::fprintf(stderr, "%s: %s\n", c.c_str(), t.c_str());
  return IDOK;
}

std::mutex g_mutex;
ZoMessageBoxHandler g_handler = &StandardErrorBox;
void* g_context = nullptr;

}  // namespace

void ZoKernel_SetMessageBoxHandler(ZoMessageBoxHandler handler, void* context) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_handler = handler ? handler : &StandardErrorBox;
  g_context = handler ? context : nullptr;
}

int ZoKernel_MessageBox(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style) {
  ZoMessageBoxHandler handler;
  void* context;
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    handler = g_handler;
    context = g_context;
  }
  return handler(owner, text ? text : u"", caption ? caption : u"", style, context);
}
