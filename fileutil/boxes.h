// SPDX-License-Identifier: MIT
// The box classes. A box with fields has three symmetric members, found by
// the visitors on the concrete type: parse (the body after the header, from a
// bounded view; false when a field did not fit, keeping what was read),
// write (the same body, as the writer puts it after the header), bodySize
// (what write produces) and describe (its fields, for dumps and tests).
// Numbers are big-endian; fields documented "raw" keep the four bytes as
// they lie (a little-endian load), so they go back to disk unchanged.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "fileutil/box.h"
#include "fileutil/esds/descriptor.h"
#include "platform/guid.h"

namespace fileutil {

#define FILEUTIL_ACCEPT \
  void accept(IBoxVisitor* visitor) override { visitor->visit(this); }

// Three 5-bit letters (each minus 0x60) in a 16-bit word, as mdhd stores them.
std::string LanguageText(std::uint16_t packed);
// Field helpers shared by template classes.
void DescribeAssetText(Fields& f, std::uint16_t language, const std::vector<std::uint8_t>& payload);
void DescribeDataPayload(Fields& f, std::uint32_t type, const std::vector<std::uint8_t>& payload);

class VANE_EXPORT FileTypeBox : public Box<codes::ftyp> {
 public:
  FILEUTIL_ACCEPT
  // A list this long or longer is not kept: the box is read with none.
  static constexpr std::size_t kMaxBrands = 100;
  bool parse(ByteReader& r);
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 8 + 4 * std::uint64_t(compatibleBrands.size()); }
  void describe(Fields& f) const;

  std::uint32_t majorBrand = 0;    // raw
  std::uint32_t minorVersion = 0;  // raw
  std::vector<std::uint32_t> compatibleBrands;  // raw
};

// Written by the track writer only; the reader leaves it opaque.
class VANE_EXPORT MovieHeaderBox : public FullBox<codes::mvhd> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r);
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 100; }
  void describe(Fields& f) const;

  std::uint64_t creationTime = 0, modificationTime = 0;
  std::uint32_t timeScale = 0;
  std::uint64_t duration = 0;
  std::uint32_t rate = 0x00010000;
  std::uint16_t volume = 0x0100;
  std::uint32_t matrix[9] = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};
  std::uint32_t nextTrackId = 1;
};

class VANE_EXPORT TrackHeaderBox : public FullBox<codes::tkhd> {
 public:
  FILEUTIL_ACCEPT
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 84; }
  void describe(Fields& f) const;

  std::uint32_t creationTime = 0, modificationTime = 0, trackId = 1, duration = 0;
  std::uint16_t layer = 0, alternateGroup = 0, volume = 0x0100;
  std::uint32_t matrix[9] = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};
  std::uint32_t width = 0, height = 0;
};

class VANE_EXPORT MediaHeaderBox : public FullBox<codes::mdhd> {
 public:
  FILEUTIL_ACCEPT
  // Always 32-bit times, whatever the version says.
  bool parse(ByteReader& r);
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 24; }
  void describe(Fields& f) const;

  std::uint32_t creationTime = 0, modificationTime = 0, timeScale = 0, duration = 0;
  std::uint16_t language = 0x55C4;  // "und"
  std::uint16_t preDefined = 0;
};

class VANE_EXPORT MediaHandlerReferenceBox : public FullBox<codes::hdlr> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r);
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 24 + std::uint64_t(name.size()); }
  void describe(Fields& f) const;

  // versionFlags, preDefined, handlerType and reserved are raw.
  std::uint32_t preDefined = 0;
  std::uint32_t handlerType = 0;
  std::uint32_t reserved[3] = {0, 0, 0};
  std::vector<std::uint8_t> name;  // as it stands, terminator included if any
};

class VANE_EXPORT SoundMediaInfoHeaderBox : public FullBox<codes::smhd> {
 public:
  FILEUTIL_ACCEPT
  void write(ByteWriter& w) const { w.u32(versionFlags).u16(balance).u16(0); }
  std::uint64_t bodySize() const { return 8; }
  std::uint16_t balance = 0;
};

class VANE_EXPORT DataReferenceBox : public FullBox<codes::dref>, public IContainerBox {
 public:
  FILEUTIL_ACCEPT
  Boxes& children() override { return m_children; }
  static constexpr std::size_t kHeadSize = 8;
  void write(ByteWriter& w) const { w.u32(versionFlags).u32(std::uint32_t(m_children.size())); }

 private:
  Boxes m_children;
};

// A full box whose payload is its bytes: mean, name (free-form item keys),
// url.
template <unsigned int C>
class PayloadFullBox : public FullBox<C> {
 public:
  bool parse(ByteReader& r) {
    if (!r.u32(this->versionFlags)) return false;
    payload = r.rest();
    return true;
  }
  void write(ByteWriter& w) const { w.u32(this->versionFlags).bytes(payload); }
  std::uint64_t bodySize() const { return 4 + std::uint64_t(payload.size()); }
  void describe(Fields& f) const { f.add("text", std::string(payload.begin(), payload.end())); }
  std::vector<std::uint8_t> payload;
};

template <unsigned int C>
class TagBox : public PayloadFullBox<C> {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT UrlBox : public PayloadFullBox<codes::url> {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT SampleDescriptionBox : public FullBox<codes::stsd>, public IContainerBox {
 public:
  FILEUTIL_ACCEPT
  Boxes& children() override { return m_children; }
  static constexpr std::size_t kHeadSize = 8;
  bool parseHead(ByteReader& r) { return r.u32(versionFlags) && r.u32(entryCount); }
  // The count written is the number of children.
  void write(ByteWriter& w) const { w.u32(versionFlags).u32(std::uint32_t(m_children.size())); }
  void describe(Fields& f) const { f.add("entry_count", entryCount); }
  std::uint32_t entryCount = 0;

 private:
  Boxes m_children;
};

template <unsigned int C>
class SampleEntry : public Box<C> {
 public:
  std::uint16_t dataReferenceIndex = 1;

 protected:
  bool parseEntryHead(ByteReader& r) { return r.skip(6) && r.u16(dataReferenceIndex); }
  void writeEntryHead(ByteWriter& w) const { w.zeros(6).u16(dataReferenceIndex); }
};

template <unsigned int C>
class AudioSampleEntry : public SampleEntry<C> {
 public:
  static constexpr std::size_t kHeadSize = 28;
  bool parseHead(ByteReader& r) {
    return this->parseEntryHead(r) && r.skip(8) && r.u16(channelCount) && r.u16(sampleSize) && r.u16(preDefined) &&
           r.u16(reserved) && r.u32(sampleRate);
  }
  void write(ByteWriter& w) const {
    this->writeEntryHead(w);
    w.zeros(8).u16(channelCount).u16(sampleSize).u16(preDefined).u16(reserved).u32(sampleRate);
  }
  void describe(Fields& f) const {
    f.add("data_reference_index", std::uint64_t(this->dataReferenceIndex));
    f.add("channel_count", std::uint64_t(channelCount));
    f.add("sample_size", std::uint64_t(sampleSize));
    f.add("sample_rate", std::uint64_t(sampleRate >> 16));
  }
  std::uint16_t channelCount = 2, sampleSize = 16, preDefined = 0, reserved = 0;
  std::uint32_t sampleRate = 0;  // 16.16 fixed
};

template <unsigned int C>
class VisualSampleEntry : public SampleEntry<C> {
 public:
  bool parse(ByteReader& r) {
    return this->parseEntryHead(r) && r.skip(16) && r.u16(width) && r.u16(height) && r.u32(horizResolution) &&
           r.u32(vertResolution) && r.skip(4) && r.u16(frameCount) && r.bytes(compressorName, 32) && r.u16(depth) &&
           r.skip(2);
  }
  void describe(Fields& f) const {
    f.add("data_reference_index", std::uint64_t(this->dataReferenceIndex));
    f.add("width", std::uint64_t(width));
    f.add("height", std::uint64_t(height));
    f.add("depth", std::uint64_t(depth));
  }
  std::uint16_t width = 0, height = 0;
  std::uint32_t horizResolution = 0x00480000, vertResolution = 0x00480000;
  std::uint16_t frameCount = 1;
  std::uint8_t compressorName[32] = {};
  std::uint16_t depth = 24;
};

class VANE_EXPORT Mpeg4AudioSampleEntry : public AudioSampleEntry<codes::mp4a>, public IContainerBox {
 public:
  FILEUTIL_ACCEPT
  Boxes& children() override { return m_children; }

 private:
  Boxes m_children;
};

// Parsed to its fixed fields only, so that a reader can step over it.
class VANE_EXPORT PNGSampleEntryBox : public VisualSampleEntry<codes::PNG> {
 public:
  FILEUTIL_ACCEPT
};

// esds and iods: a full box around a descriptor tree. On a reading failure the
// tree stays null and the body is stepped over.
template <unsigned int C>
class DescriptorBox : public FullBox<C> {
 public:
  bool parse(ByteReader& r) {
    if (!r.u32(this->versionFlags)) return false;
    std::size_t used = 0;
    descriptor = esds::ReadDescriptorTree(r.here(), r.left(), &used);
    r.skip(used);
    return descriptor != nullptr;
  }
  void write(ByteWriter& w) const {
    w.u32(this->versionFlags);
    if (descriptor) esds::WriteDescriptorTree(descriptor.get(), w);
  }
  // Valid once DescriptorPrepareWrite has run over the tree (write does).
  std::uint64_t bodySize() const { return 4 + (descriptor ? descriptor->sizeWithTagAndLength() : 0); }
  void describe(Fields& f) const { esds::DescribeDescriptorTree(descriptor.get(), f); }
  std::unique_ptr<esds::Descriptor> descriptor;
};

class VANE_EXPORT ElementaryStreamDescriptorBox : public DescriptorBox<codes::esds> {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT InitialObjectDescriptorBox : public DescriptorBox<codes::iods> {
 public:
  FILEUTIL_ACCEPT
};

// stts, stsc: a counted table of fixed records; the records read are as many
// as the body holds, the count field stays as it was read.
class VANE_EXPORT TimeToSampleBox : public FullBox<codes::stts> {
 public:
  FILEUTIL_ACCEPT
  struct Entry {
    std::uint32_t sampleCount, sampleDelta;
  };
  bool parse(ByteReader& r);
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 8 + 8 * std::uint64_t(entries.size()); }
  void describe(Fields& f) const;
  std::uint32_t entryCount = 0;
  std::vector<Entry> entries;
};

class VANE_EXPORT SampleToChunkBox : public FullBox<codes::stsc> {
 public:
  FILEUTIL_ACCEPT
  struct Entry {
    std::uint32_t firstChunk, samplesPerChunk, sampleDescriptionIndex;
  };
  bool parse(ByteReader& r);
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 8 + 12 * std::uint64_t(entries.size()); }
  void describe(Fields& f) const;
  std::uint32_t entryCount = 0;
  std::vector<Entry> entries;
};

class VANE_EXPORT SampleSizeBox : public FullBox<codes::stsz> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r);
  void write(ByteWriter& w) const;
  std::uint64_t bodySize() const { return 12 + 4 * std::uint64_t(entries.size()); }
  void describe(Fields& f) const;
  std::uint32_t sampleSize = 0, sampleCount = 0;
  std::vector<std::uint32_t> entries;
};

// stco and co64. The entries are read only when the body holds exactly the
// count's worth; otherwise the table is zero-filled at the count's length
// (capped at kMaxZeroFill entries, so a lying count costs no memory).
template <unsigned int C, typename T>
class ChunkOffsetTable : public FullBox<C>, public IChunkOffsetBox {
 public:
  static constexpr std::uint32_t kMaxZeroFill = 1u << 20;
  bool parse(ByteReader& r) {
    if (!r.raw32(this->versionFlags) || !r.u32(entryCount)) return false;
    const std::uint64_t need = std::uint64_t(entryCount) * sizeof(T);
    if (need == r.left() && need <= 0xFFFFFFFFu) {
      entries.resize(entryCount);
      for (T& e : entries) readEntry(r, e);
      return true;
    }
    entries.assign(std::min(entryCount, kMaxZeroFill), T(0));
    return false;
  }
  // The version word was loaded raw and goes out big-endian: a non-zero word
  // comes back with its bytes reversed. Existing files depend on this.
  void write(ByteWriter& w) const {
    w.u32(this->versionFlags).u32(std::uint32_t(entries.size()));
    for (T e : entries) writeEntry(w, e);
  }
  std::uint64_t bodySize() const { return 8 + sizeof(T) * std::uint64_t(entries.size()); }
  void describe(Fields& f) const {
    f.add("entry_count", entryCount);
    f.add("entries_read", std::uint64_t(entries.size()));
    if (!entries.empty()) {
      f.add("first_offset", std::uint64_t(entries.front()));
      f.add("last_offset", std::uint64_t(entries.back()));
    }
  }
  std::size_t tableSize() const override { return entries.size(); }
  std::uint64_t entry(std::size_t i) const override { return entries[i]; }
  void shift(std::int64_t delta) override {
    for (T& e : entries) e = T(std::uint64_t(e) + std::uint64_t(delta));
  }

  std::uint32_t entryCount = 0;
  std::vector<T> entries;

 private:
  static void readEntry(ByteReader& r, std::uint32_t& e) { r.u32(e); }
  static void readEntry(ByteReader& r, std::uint64_t& e) { r.u64(e); }
  static void writeEntry(ByteWriter& w, std::uint32_t e) { w.u32(e); }
  static void writeEntry(ByteWriter& w, std::uint64_t e) { w.u64(e); }
};

class VANE_EXPORT ChunkOffsetBox : public ChunkOffsetTable<codes::stco, std::uint32_t> {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT ChunkLargeOffsetBox : public ChunkOffsetTable<codes::co64, std::uint64_t> {
 public:
  FILEUTIL_ACCEPT
};

// The payload is never read; the box records where it lies.
class VANE_EXPORT MediaDataBox : public Box<codes::mdat> {
 public:
  FILEUTIL_ACCEPT
  std::uint8_t mustCopy = 0;
};

class VANE_EXPORT FreeBox : public Box<codes::free> {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT MetaBox : public FullBox<codes::meta>, public IContainerBox {
 public:
  FILEUTIL_ACCEPT
  Boxes& children() override { return m_children; }
  static constexpr std::size_t kHeadSize = 4;
  bool parseHead(ByteReader& r) { return r.raw32(versionFlags); }
  void write(ByteWriter& w) const { w.raw32(versionFlags); }

 private:
  Boxes m_children;
};

// 3GPP asset boxes (titl, dscp, cprt, perf, gnre, albm): language and text.
template <unsigned int C>
class ThreeGPPAssetMetaBox : public FullBox<C> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r) {
    if (!r.raw32(this->versionFlags) || !r.u16(language)) return false;
    payload = r.rest();
    return true;
  }
  void write(ByteWriter& w) const { w.raw32(this->versionFlags).u16(language).bytes(payload); }
  std::uint64_t bodySize() const { return 6 + std::uint64_t(payload.size()); }
  void describe(Fields& f) const { DescribeAssetText(f, language, payload); }
  std::uint16_t language = 0x55C4;
  std::vector<std::uint8_t> payload;  // text with its byte order mark or UTF-8, terminated
};

class VANE_EXPORT RecordingYearBox : public FullBox<codes::yrrc> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r) {
    if (!r.raw32(versionFlags)) return false;
    payload = r.rest();
    return true;
  }
  void write(ByteWriter& w) const { w.raw32(versionFlags).bytes(payload); }
  std::uint64_t bodySize() const { return 4 + std::uint64_t(payload.size()); }
  void describe(Fields& f) const;
  std::vector<std::uint8_t> payload;  // the year bytes
};

// An ID3v2 tag in a full box; the tag bytes are kept as they stand.
class VANE_EXPORT ID3v2MetaBox : public FullBox<codes::ID32> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r) {
    if (!r.raw32(versionFlags) || !r.u16(language)) return false;
    tag = r.rest();
    return true;
  }
  void write(ByteWriter& w) const { w.raw32(versionFlags).u16(language).bytes(tag); }
  std::uint64_t bodySize() const { return 6 + std::uint64_t(tag.size()); }
  void describe(Fields& f) const {
    f.add("language", LanguageText(language));
    f.add("tag_size", std::uint64_t(tag.size()));
  }
  std::uint16_t language = 0x55C4;
  std::vector<std::uint8_t> tag;
};

// MTDF and MTDT: a 16-bit count of entries, each with its own 16-bit length.
template <unsigned int C>
class MetaEntryTableBox : public Box<C> {
 public:
  struct Entry {
    std::uint16_t length = 0;
    std::uint32_t key = 0;
    std::uint16_t value = 0;
    std::vector<std::uint8_t> rest;
  };
  bool parse(ByteReader& r) {
    if (!r.u16(entryCount)) return false;
    for (unsigned i = 0; i < entryCount; ++i) {
      // An entry that does not fit is dropped; the loop count stands.
      const std::size_t start = r.pos();
      Entry e;
      if (!r.u16(e.length) || !r.u32(e.key) || !r.u16(e.value)) continue;
      const std::size_t used = r.pos() - start;
      if (e.length > used) {
        e.rest.resize(e.length - used);
        if (!r.bytes(e.rest.data(), e.rest.size())) continue;
      }
      entries.push_back(std::move(e));
    }
    return true;
  }
  void describe(Fields& f) const {
    f.add("entry_count", std::uint64_t(entryCount));
    f.add("entries_read", std::uint64_t(entries.size()));
  }
  std::uint16_t entryCount = 0;
  std::vector<Entry> entries;
};

class VANE_EXPORT MetaTypeDefinitionBox : public MetaEntryTableBox<codes::MTDF> {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT MetaDataBox : public MetaEntryTableBox<codes::MTDT> {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT MetaDataSampleManagerHeaderBox : public FullBox<codes::MTHD> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r) {
    if (!r.raw32(versionFlags)) return false;
    for (std::uint32_t& v : values)
      if (!r.u32(v)) return false;
    return true;
  }
  std::uint32_t values[5] = {};
};

class VANE_EXPORT MetaDataSampleTableBox : public FullBox<codes::MDST> {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r);
  void describe(Fields& f) const {
    f.add("entry_count", entryCount);
    f.add("entries_read", std::uint64_t(records.size()));
  }
  struct Record {
    std::uint32_t words[5];
  };
  std::uint32_t entryCount = 0;
  std::vector<Record> records;
};

// Any code that the active factory does not know. It keeps its real code and
// stays opaque: its bytes remain in the source until a writer copies them.
class VANE_EXPORT UnknownBox : public Box<fcc("    ")> {
 public:
  FILEUTIL_ACCEPT
  explicit UnknownBox(FourCC code = FourCC()) : m_code(code) {}
  FourCC type() const override { return m_code; }

 private:
  FourCC m_code;
};

// The iTunes data atom: a 32-bit type word (read when the box is created and
// selecting the class), a locale word and the payload.
class VANE_EXPORT DataAtomBox : public Box<codes::data>, public IDataBox {
 public:
  std::vector<std::uint8_t>& payload() override { return m_payload; }
  const std::vector<std::uint8_t>& payload() const { return m_payload; }
  // The body after the type word: locale (skipped, not stored), payload.
  bool parse(ByteReader& r) {
    if (r.left() >= 4) r.skip(4);
    m_payload = r.rest();
    return true;
  }
  // Type word, locale 0, payload.
  void write(ByteWriter& w) const { w.u32(dataType()).u32(0).bytes(m_payload); }
  std::uint64_t bodySize() const { return 8 + std::uint64_t(m_payload.size()); }
  void describe(Fields& f) const { DescribeDataPayload(f, dataType(), m_payload); }

 protected:
  std::vector<std::uint8_t> m_payload;
};

template <int T>
class DataBox : public DataAtomBox {
 public:
  FILEUTIL_ACCEPT
  std::uint32_t dataType() const override { return std::uint32_t(T); }
};

// A data atom of a type no DataBox stands for; it still holds its payload.
class VANE_EXPORT UnknownDataBox : public DataAtomBox {
 public:
  FILEUTIL_ACCEPT
  explicit UnknownDataBox(std::uint32_t type = 0) : m_type(type) {}
  std::uint32_t dataType() const override { return m_type; }

 private:
  std::uint32_t m_type;
};

// A uuid box; the identifier is read when the box is created (a 32-bit and
// two 16-bit big-endian values and eight bytes) and selects the class.
class VANE_EXPORT GuidBox : public Box<codes::uuid> {
 public:
  GUID guid = GUID_NULL;
  void writeGuid(ByteWriter& w) const { w.u32(guid.Data1).u16(guid.Data2).u16(guid.Data3).bytes(guid.Data4, 8); }
  void describe(Fields& f) const;
};

class VANE_EXPORT UnknownGuidBox : public GuidBox {
 public:
  FILEUTIL_ACCEPT
  explicit UnknownGuidBox(const GUID& id = GUID_NULL) { guid = id; }
};

class VANE_EXPORT MetaDataSampleData : public GuidBox {
 public:
  FILEUTIL_ACCEPT
};

class VANE_EXPORT UserSpecificMetaData : public GuidBox, public IContainerBox {
 public:
  FILEUTIL_ACCEPT
  Boxes& children() override { return m_children; }

 private:
  Boxes m_children;
};

class VANE_EXPORT MetaDataContainerBox : public GuidBox, public IContainerBox {
 public:
  FILEUTIL_ACCEPT
  Boxes& children() override { return m_children; }

 private:
  Boxes m_children;
};

class VANE_EXPORT ID3v23MetaDataBox : public GuidBox {
 public:
  FILEUTIL_ACCEPT
  bool parse(ByteReader& r) {
    if (!r.u32(versionFlags) || !r.u16(language)) return false;
    tag = r.rest();
    return true;
  }
  void write(ByteWriter& w) const {
    writeGuid(w);
    w.u32(versionFlags).u16(language).bytes(tag);
  }
  std::uint64_t bodySize() const { return 22 + std::uint64_t(tag.size()); }
  void describe(Fields& f) const {
    GuidBox::describe(f);
    f.add("tag_size", std::uint64_t(tag.size()));
  }
  std::uint32_t versionFlags = 0;
  std::uint16_t language = 0x55C4;
  std::vector<std::uint8_t> tag;
};

// Identifiers of the uuid boxes the library knows.
inline constexpr GUID kUserSpecificMetaDataGuid =
    VANE_GUID(0x55534D54, 0x21D2, 0x4FCE, 0xBB, 0x88, 0x69, 0x5C, 0xFA, 0xC9, 0xC7, 0x40);
inline constexpr GUID kMetaDataSampleDataGuid =
    VANE_GUID(0x4D545344, 0x21D2, 0x4FCE, 0xBB, 0x88, 0x69, 0x5C, 0xFA, 0xC9, 0xC7, 0x40);
inline constexpr GUID kMetaDataContainerGuid =
    VANE_GUID(0xBA91547A, 0xD233, 0x4774, 0xAC, 0x94, 0x9B, 0x6C, 0x0F, 0x04, 0x59, 0x5C);
inline constexpr GUID kID3v23MetaDataGuid =
    VANE_GUID(0xA05B10E2, 0x4EA6, 0x4719, 0x9D, 0x69, 0x08, 0x61, 0xE6, 0x10, 0xFF, 0x2D);

#undef FILEUTIL_ACCEPT

}  // namespace fileutil
