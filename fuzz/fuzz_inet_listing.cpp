// SPDX-License-Identifier: MIT
// The FTP machine-listing parser over arbitrary server text, line by line.
#include <cstddef>
#include <cstdint>
#include <string>

#include "shared/internet/inet_ftp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string name;
    ULONGLONG bytes = 0;
    bool dir = false;
    if (ZoInetParseMachineListingLine(text.substr(start, end - start), &name, &bytes, &dir) && name.empty()) __builtin_trap();
    start = end + 1;
  }
  return 0;
}
