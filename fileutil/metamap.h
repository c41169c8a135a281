// SPDX-License-Identifier: MIT
// MetaMap: the neutral form of a file's metadata while it moves between
// dialects. Four collections: text items by four-character key, pictures by
// type, general objects by description, and generic blobs by GUID. A plain
// value, copied freely; one thread at a time. Nothing here reports errors:
// a stream that ends early ends the reading, a broken blob is skipped.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/guid.h"
#include "platform/types.h"

struct IStream;

namespace fileutil {

using GuidCmpLess = vane::platform::GuidLess;

struct Picture {
  std::int32_t type = 3;  // front cover
  std::u16string mimeType;
  std::u16string description;
  std::vector<std::uint8_t> data;
};

struct GeneralObject {
  std::u16string mimeType;
  std::u16string fileName;
  std::u16string description;
  std::vector<std::uint8_t> data;
};

class VANE_EXPORT MetaMap {
 public:
  // Reads up to n bytes into the buffer; returns the bytes read. The stream
  // forms below wrap any stream with a Read(void*, ULONG, ULONG*) slot.
  using ReadFn = std::function<std::uint32_t(void* buffer, std::uint32_t n)>;
  static constexpr const char16_t* kSmfmfMime = u"application/x-music-features";
  static constexpr const char16_t* kSmfmfDescription = u"Music feature data";

  void clear();
  bool empty() const;

  // Adds a text item unless the key is present (the first value wins); key 0
  // is ignored.
  void add(std::uint32_t key, const std::u16string& text);
  void add(const Picture& picture);
  void add(const GeneralObject& object);
  bool addPicture(const std::filesystem::path& file, std::int32_t type = 3);
  bool addGeneralObject(const std::filesystem::path& file);
  bool addSmfmf(const std::filesystem::path& file);
  void addGeneric(const GUID& guid, const std::vector<std::uint8_t>& bytes);
  template <typename Stream>
  void addGeneric(const GUID& guid, Stream* stream) {
    std::vector<std::uint8_t> all;
    std::uint8_t buf[4096];
    for (std::uint32_t got; (got = Reader(stream)(buf, sizeof buf)) > 0;) all.insert(all.end(), buf, buf + got);
    addGeneric(guid, all);
  }
  void initPicture(const std::u16string& description, const std::uint8_t* bytes, std::size_t size, std::int32_t type);
  void initSmfmf(const std::vector<std::uint8_t>& bytes);

  // Read the framed metadata streams (meta_stream.h) from the stream's
  // present position: a 28-byte stream header, then items with 28-byte
  // heads. init takes a summary stream (what MetaSummaryStream and
  // GetAllSummaryInfo hand out): each item's data is a 12-byte head
  // {12, tag, cbText} and the UTF-16 text, stored as a text item. initGeneric
  // takes a generic stream (MetaGenericStream, GetNextGenericInfo,
  // MetaLegacyMarkerStream): each item's data becomes a generic under its
  // item GUID. Nothing is reported: damaged framing ends the reading with the
  // items that arrived whole, and a broken summary record is skipped. For a
  // status, use InitMapFromSummaryStream/InitMapFromGenericStream, which
  // these call.
  void init(IStream* stream);
  void initGeneric(IStream* stream);

  void initPictureMapFromGeneric();
  void initGenericFromPictureMap();
  void initSmfmfFromGeneric();
  void initGenericFromSmfmf();
  void initGenericFromGeob();

  std::u16string getMetaItem(std::uint32_t key) const;
  bool hasMetaItem(std::uint32_t key) const { return m_items.count(key) != 0; }
  std::size_t numItems() const { return m_items.size(); }
  std::size_t numGenerics(const GUID& guid) const { return m_generics.count(guid); }
  void genericGuids(std::set<GUID, GuidCmpLess>& out) const;
  std::uint64_t getGenericByteCount(const GUID& guid) const;
  const GeneralObject* getGeneralObject(const std::u16string& name) const;
  // Sum over items of (length + 1) * 2.
  std::uint64_t getValueByteCount() const;
  // Adds what other has and this lacks; never overwrites. True when the two
  // differ (or this map holds pictures, objects or generics): a write is due.
  bool merge(const MetaMap& other);
  // Writes each picture to folder/stem_type_description.ext, for diagnosis.
  void dumpPictures(const std::filesystem::path& folder, const std::string& stem) const;

  const std::map<std::int32_t, Picture>& pictures() const { return m_pictures; }
  const std::map<std::uint32_t, std::u16string>& items() const { return m_items; }
  const std::multimap<std::u16string, GeneralObject>& generalObjects() const { return m_objects; }
  const std::multimap<GUID, std::vector<std::uint8_t>, GuidCmpLess>& generics() const { return m_generics; }

 private:
  template <typename Stream>
  static ReadFn Reader(Stream* stream) {
    return [stream](void* buffer, std::uint32_t n) -> std::uint32_t {
      ULONG got = 0;
      if (!stream || stream->Read(buffer, n, &got) < 0) return 0;
      return got;
    };
  }

  std::map<std::int32_t, Picture> m_pictures;
  std::map<std::uint32_t, std::u16string> m_items;
  std::multimap<std::u16string, GeneralObject> m_objects;
  std::multimap<GUID, std::vector<std::uint8_t>, GuidCmpLess> m_generics;
};

}  // namespace fileutil
