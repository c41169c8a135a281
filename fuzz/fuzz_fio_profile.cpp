// SPDX-License-Identifier: MIT
// Configuration and cache files of the plug-in manager: the profile parser,
// its lookups and a rewrite must hold on any bytes.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/profile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto file = vane::platform::IniFile::Parse(text);
  for (const auto& section : file.SectionNames()) {
    for (const auto& key : file.Keys(section)) {
      if (!file.Find(section, key)) std::abort();
    }
  }
  file.Set(u"FileIO Plug-Ins", u"module", u"module.so");
  file.DeleteSection(u"main");
  auto again = vane::platform::IniFile::Parse(file.Serialize());
  if (!again.Find(u"FileIO Plug-Ins", u"module")) std::abort();
  return 0;
}
