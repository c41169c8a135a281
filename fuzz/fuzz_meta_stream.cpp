// SPDX-License-Identifier: MIT
// Metadata stream reader on arbitrary bytes. A stream that reads as framed
// generics is put into a map, presented again as streams and read back: the
// second reading must succeed and give the same items. Summary, marker and
// entry readings must end with a status, whatever the bytes. The map's own
// readers (MetaMap::init, initGeneric) must take the same items as the
// status-reporting fillers, and what they took must survive map -> stream ->
// map unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>

#include "fileutil/meta_stream.h"

namespace {

vane::ComPtr<IStream> Over(const std::uint8_t* data, std::size_t size) {
  return vane::ComPtr<IStream>::Attach(SHCreateMemStream(data, UINT(size)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fileutil;
  MetaMap map;
  if (SUCCEEDED(InitMapFromGenericStream(Over(data, size).Get(), &map))) {
    std::set<GUID, GuidCmpLess> guids;
    map.genericGuids(guids);
    for (const GUID& g : guids) {
      auto s = vane::ComPtr<MetaGenericStream>::Attach(new MetaGenericStream);
      if (FAILED(s->Init(map, g))) std::abort();
      MetaStreamContent back;
      if (FAILED(ReadMetaStream(s.Get(), &back)) || back.items.size() != map.numGenerics(g)) std::abort();
    }
    auto markers = vane::ComPtr<MetaMarkerStream>::Attach(new MetaMarkerStream);
    if (FAILED(markers->Init(map, 44100))) std::abort();
    auto legacy = vane::ComPtr<MetaLegacyMarkerStream>::Attach(new MetaLegacyMarkerStream);
    if (FAILED(legacy->Init(markers.Get(), 44100))) std::abort();
  }
  MetaMap summary;
  (void)InitMapFromSummaryStream(Over(data, size).Get(), &summary);
  MetaMap items, generics;
  items.init(Over(data, size).Get());
  generics.initGeneric(Over(data, size).Get());
  if (items.items() != summary.items()) std::abort();
  {
    auto s = vane::ComPtr<MetaSummaryStream>::Attach(new MetaSummaryStream);
    if (FAILED(s->Init(items))) std::abort();
    MetaMap back;
    back.init(s.Get());
    if (back.items() != items.items()) std::abort();
  }
  {
    std::set<GUID, GuidCmpLess> guids;
    generics.genericGuids(guids);
    MetaMap back;
    for (const GUID& g : guids) {
      auto s = vane::ComPtr<MetaGenericStream>::Attach(new MetaGenericStream);
      if (FAILED(s->Init(generics, g))) std::abort();
      back.initGeneric(s.Get());
    }
    if (back.generics() != generics.generics()) std::abort();
  }
  auto legacy = vane::ComPtr<MetaLegacyMarkerStream>::Attach(new MetaLegacyMarkerStream);
  (void)legacy->Init(Over(data, size).Get(), 48000);
  std::vector<std::vector<std::uint8_t>> entries;
  (void)ReadMetaEntryStream(Over(data, size).Get(), 56,
                            [](const std::uint8_t* h) {
                              std::uint32_t a, b;
                              std::memcpy(&a, h + 48, 4);
                              std::memcpy(&b, h + 52, 4);
                              return std::uint64_t(56) + a + b;
                            },
                            &entries);
  return 0;
}
