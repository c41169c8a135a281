// SPDX-License-Identifier: MIT
// bext and iXML bodies from arbitrary bytes: the first byte chooses which,
// the rest is the chunk body; whatever is read is built again.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "riff/bwf_info.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  _tagZOBWF_Chunk record;
  const BYTE* body = data + 1;
  const DWORD length = static_cast<DWORD>(size - 1);
  if (data[0] & 1) ExtractBextContent(body, length, &record);
  else ExtractIxmlContent(body, length, &record);
  DWORD needed = 0;
  if (SUCCEEDED(BuildRawBwfIxmlChunkGlobal(&record, nullptr, &needed, ZOIXML_BWFXML, ZOIXML_SYNC_POINT_EVENT_DURATION, 0))) {
    std::vector<BYTE> xml(needed);
    BuildRawBwfIxmlChunkGlobal(&record, xml.data(), &needed, ZOIXML_BWFXML, ZOIXML_SYNC_POINT_EVENT_DURATION, 0);
    _tagZOBWF_Chunk again;
    ExtractIxmlContent(xml.data(), needed, &again);
  }
  if (SUCCEEDED(BuildBextChunkGlobal(&record, nullptr, &needed))) {
    std::vector<BYTE> bext(needed);
    BuildBextChunkGlobal(&record, bext.data(), &needed);
  }
  return 0;
}
