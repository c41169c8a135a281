// SPDX-License-Identifier: MIT
// Language modules and text catalogues from arbitrary bytes: what parses is
// built again and must parse to the same strings.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kernel/lang_module.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vane::kernel::LangModule m;
  if (SUCCEEDED(m.Parse(data, size))) {
    const auto again = vane::kernel::LangModule::Build(m.Strings(), m.Lcid());
    vane::kernel::LangModule n;
    if (FAILED(n.Parse(again.data(), again.size())) || n.Strings() != m.Strings()) std::abort();
  }
  std::map<UINT, std::u16string> strings;
  size_t bad = 0;
  (void)vane::kernel::LangModule::ParseCatalogue(std::string(reinterpret_cast<const char*>(data), size), &strings, &bad);
  return 0;
}
