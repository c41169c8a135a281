// SPDX-License-Identifier: MIT
// Box reader on arbitrary bytes: all three factories, seekable and not.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "fileutil/box_dump.h"
#include "fileutil/box_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  for (int mode = 0; mode < 3; ++mode) {
    std::istringstream in(bytes);
    fileutil::BoxReader reader(in, size);
    std::unique_ptr<fileutil::Boxes> boxes =
        mode == 0 ? reader.readFile() : mode == 1 ? reader.readMeta() : reader.readMetaForUpdate();
    if (mode == 0) fileutil::DumpBoxes(*boxes);
  }
  return 0;
}
