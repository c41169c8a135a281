// SPDX-License-Identifier: MIT
#include "tools/vane/summary_tags.h"

#include "fileutil/meta_stream.h"
#include "platform/wtext.h"

namespace vane::tool {

std::vector<std::pair<std::string, std::string>> ReadSummaryTags(IZoReadFile* reader) {
  std::vector<std::pair<std::string, std::string>> tags;
  ComPtr<IZoReadMeta> meta;
  ComPtr<IStream> summary;
  fileutil::MetaStreamContent content;
  if (FAILED(reader->QueryInterface(IID_IZoReadMeta, meta.AsVoidOut())) || !meta ||
      FAILED(meta->GetAllSummaryInfo(summary.ReleaseAndGetAddressOf())) || !summary ||
      FAILED(fileutil::ReadMetaStream(summary.Get(), &content)))
    return tags;
  for (const fileutil::MetaItem& item : content.items) {
    DWORD tag = 0;
    std::u16string text;
    if (FAILED(fileutil::ParseSummaryItem(item.data, &tag, &text))) continue;
    std::string key(4, ' ');
    for (int i = 0; i < 4; ++i) {
      const char c = char((tag >> (8 * i)) & 0xFF);
      key[size_t(i)] = c >= 0x20 && c < 0x7F ? c : '?';
    }
    tags.emplace_back(key, vane::platform::ToUtf8(text));
  }
  return tags;
}

}  // namespace vane::tool
