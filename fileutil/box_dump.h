// SPDX-License-Identifier: MIT
// A plain-data picture of a box tree for people and scripts (the vane tool's
// "boxes" command): type, position, sizes, whether the library kept the box
// opaque, the fields it parsed, and the children.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "fileutil/box.h"
#include "fileutil/fields.h"
#include "platform/status.h"

namespace fileutil {

struct BoxDump {
  std::string type;  // UTF-8, "©nam" for 0xA9 "nam"
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
  std::uint32_t headerSize = 0;
  bool opaque = false;
  Fields fields;
  std::vector<BoxDump> children;
};

struct BoxFileDump {
  std::uint64_t fileSize = 0;
  std::vector<BoxDump> boxes;
  // What the reader took from the file: bytes delivered and skips made.
  std::uint64_t bytesRead = 0;
  std::uint64_t skips = 0;
};

// The tree as plain data.
VANE_EXPORT std::vector<BoxDump> DumpBoxes(Boxes& boxes);

// Reads a file with every box the library knows (readFile) and dumps it. The
// movie header, which the library keeps opaque, has its fields shown too.
// ZOERR_FILE_OPEN when the file cannot be opened; any tree, even an empty
// one, is a success.
VANE_EXPORT HRESULT DumpBoxFile(const std::filesystem::path& file, BoxFileDump* out);

}  // namespace fileutil
