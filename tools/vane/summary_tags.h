// SPDX-License-Identifier: MIT
// The text items of a file's summary metadata as its reader offers them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fileio/zofileio.h"

namespace vane::tool {

// Four-character key and text, in the order of the summary stream; a reader
// without metadata or a damaged stream gives none.
std::vector<std::pair<std::string, std::string>> ReadSummaryTags(IZoReadFile* reader);

}  // namespace vane::tool
