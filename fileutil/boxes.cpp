// SPDX-License-Identifier: MIT
#include "fileutil/boxes.h"

#include <cstdio>

#include "platform/wtext.h"

namespace fileutil {

namespace {

std::string Hex(const std::uint8_t* p, std::size_t n) {
  std::string s;
  char buf[4];
  for (std::size_t i = 0; i < n; ++i) {
    std::snprintf(buf, sizeof buf, "%02X", p[i]);
    s += buf;
  }
  return s;
}

std::uint64_t BigEndian(const std::vector<std::uint8_t>& b) {
  std::uint64_t v = 0;
  for (std::uint8_t c : b) v = (v << 8) | c;
  return v;
}

// UTF-16 of either byte order up to a zero unit, as UTF-8.
std::string Utf16Text(const std::uint8_t* p, std::size_t n, bool bigEndian) {
  std::u16string w;
  for (std::size_t i = 0; i + 1 < n; i += 2) {
    const char16_t c = bigEndian ? char16_t(p[i] << 8 | p[i + 1]) : char16_t(p[i + 1] << 8 | p[i]);
    if (c == 0) break;
    w.push_back(c);
  }
  return vane::platform::ToUtf8(std::u16string_view(w));
}

// Text with a byte order mark as UTF-16, otherwise UTF-8, up to a zero.
std::string MarkedText(const std::vector<std::uint8_t>& b) {
  if (b.size() >= 2 && b[0] == 0xFE && b[1] == 0xFF) return Utf16Text(b.data() + 2, b.size() - 2, true);
  if (b.size() >= 2 && b[0] == 0xFF && b[1] == 0xFE) return Utf16Text(b.data() + 2, b.size() - 2, false);
  std::string s(b.begin(), b.end());
  if (const auto z = s.find('\0'); z != std::string::npos) s.resize(z);
  return s;
}

std::string CodeText(std::uint32_t raw) { return FourCC(raw).text(); }

}  // namespace

std::string FourCC::text() const {
  std::string s;
  for (int i = 0; i < 4; ++i) {
    const unsigned char c = byte(i);
    if (c >= 0x20 && c < 0x7F) {
      s += char(c);
    } else if (c >= 0xA0) {  // Latin-1 as UTF-8
      s += char(0xC0 | (c >> 6));
      s += char(0x80 | (c & 0x3F));
    } else {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\x%02X", c);
      s += buf;
    }
  }
  return s;
}

Boxes::~Boxes() { clear(); }

Boxes::iterator Boxes::erase(const_iterator at) {
  delete *at;
  return m_boxes.erase(at);
}

void Boxes::clear() {
  for (IBox* b : m_boxes) delete b;
  m_boxes.clear();
}

IBox::~IBox() = default;

namespace {
template <bool kForwards, typename T>
void Forward(IBoxVisitor* visitor, T* box) {
  if constexpr (kForwards) {
    for (IBox* child : static_cast<IContainerBox*>(box)->children()) child->accept(visitor);
  } else {
    (void)visitor, (void)box;
  }
}
}  // namespace

#define FILEUTIL_VISIT_DEFAULT(T, forwards) \
  void BoxVisitor::visit(T* box) { Forward<forwards>(this, box); }
FILEUTIL_BOX_CLASSES(FILEUTIL_VISIT_DEFAULT)
#undef FILEUTIL_VISIT_DEFAULT

std::string LanguageText(std::uint16_t packed) {
  std::string s(3, ' ');
  for (int i = 0; i < 3; ++i) s[i] = char(0x60 + ((packed >> (10 - 5 * i)) & 0x1F));
  return s;
}

void DescribeAssetText(Fields& f, std::uint16_t language, const std::vector<std::uint8_t>& payload) {
  f.add("language", LanguageText(language));
  f.add("text", MarkedText(payload));
}

void DescribeDataPayload(Fields& f, std::uint32_t type, const std::vector<std::uint8_t>& payload) {
  f.add("data_type", type);
  switch (type) {
    case 1:  // UTF-8
      f.add("text", std::string(payload.begin(), payload.end()));
      break;
    case 2:  // UTF-16 big-endian
      f.add("text", Utf16Text(payload.data(), payload.size(), true));
      break;
    case 21:  // signed big-endian integer of 1, 2, 4 or 8 bytes
      if (payload.size() <= 8 && !payload.empty()) {
        const std::uint64_t v = BigEndian(payload);
        const int shift = int(64 - 8 * payload.size());
        f.add("value", std::int64_t(v << shift) >> shift);
      }
      break;
    case 22:
      if (payload.size() <= 8 && !payload.empty()) f.add("value", BigEndian(payload));
      break;
    case 13:
    case 14:
    case 27:
      f.add("image_bytes", std::uint64_t(payload.size()));
      break;
    default:
      f.add("bytes", std::uint64_t(payload.size()));
      if (payload.size() <= 16) f.add("hex", Hex(payload.data(), payload.size()));
  }
}

void GuidBox::describe(Fields& f) const { f.add("uuid", vane::platform::GuidToString(guid)); }

void RecordingYearBox::describe(Fields& f) const {
  f.add("year", payload.size() == 2 ? std::to_string(BigEndian(payload)) : MarkedText(payload));
}

bool FileTypeBox::parse(ByteReader& r) {
  if (!r.raw32(majorBrand) || !r.raw32(minorVersion)) return false;
  const std::size_t count = r.left() / 4;
  if (count >= kMaxBrands) return true;  // a list this long is not kept
  compatibleBrands.resize(count);
  for (std::uint32_t& b : compatibleBrands) r.raw32(b);
  return true;
}

void FileTypeBox::write(ByteWriter& w) const {
  w.raw32(majorBrand).raw32(minorVersion);
  for (std::uint32_t b : compatibleBrands) w.raw32(b);
}

void FileTypeBox::describe(Fields& f) const {
  f.add("major_brand", CodeText(majorBrand));
  const std::uint32_t v = minorVersion;
  f.add("minor_version", std::uint64_t((v & 0xFF) << 24 | (v & 0xFF00) << 8 | (v >> 8 & 0xFF00) | v >> 24));
  std::vector<std::string> brands;
  for (std::uint32_t b : compatibleBrands) brands.push_back(CodeText(b));
  f.add("compatible_brands", std::move(brands));
}

bool MovieHeaderBox::parse(ByteReader& r) {
  if (!r.u32(versionFlags)) return false;
  if (version() == 1) {
    if (!r.u64(creationTime) || !r.u64(modificationTime) || !r.u32(timeScale) || !r.u64(duration)) return false;
  } else {
    std::uint32_t c, m, d;
    if (!r.u32(c) || !r.u32(m) || !r.u32(timeScale) || !r.u32(d)) return false;
    creationTime = c, modificationTime = m, duration = d;
  }
  if (!r.u32(rate) || !r.u16(volume) || !r.skip(10)) return false;
  for (std::uint32_t& m : matrix)
    if (!r.u32(m)) return false;
  return r.skip(24) && r.u32(nextTrackId);
}

void MovieHeaderBox::write(ByteWriter& w) const {
  w.u32(versionFlags & 0x00FFFFFF)
      .u32(std::uint32_t(creationTime))
      .u32(std::uint32_t(modificationTime))
      .u32(timeScale)
      .u32(std::uint32_t(duration));
  w.u32(rate).u16(volume).u16(0).u32(0).u32(0);
  for (std::uint32_t m : matrix) w.u32(m);
  w.zeros(24).u32(nextTrackId);
}

void MovieHeaderBox::describe(Fields& f) const {
  f.add("version", std::uint64_t(version()));
  f.add("time_scale", timeScale);
  f.add("duration", duration);
  f.add("next_track_id", nextTrackId);
}

void TrackHeaderBox::write(ByteWriter& w) const {
  w.u32(versionFlags).u32(creationTime).u32(modificationTime).u32(trackId).u32(0).u32(duration).u32(0).u32(0);
  w.u16(layer).u16(alternateGroup).u16(volume).u16(0);
  for (std::uint32_t m : matrix) w.u32(m);
  w.u32(width).u32(height);
}

void TrackHeaderBox::describe(Fields& f) const {
  f.add("track_id", trackId);
  f.add("duration", duration);
}

bool MediaHeaderBox::parse(ByteReader& r) {
  return r.u32(versionFlags) && r.u32(creationTime) && r.u32(modificationTime) && r.u32(timeScale) &&
         r.u32(duration) && r.u16(language) && r.u16(preDefined);
}

void MediaHeaderBox::write(ByteWriter& w) const {
  w.u32(versionFlags).u32(creationTime).u32(modificationTime).u32(timeScale).u32(duration).u16(language).u16(preDefined);
}

void MediaHeaderBox::describe(Fields& f) const {
  f.add("version", std::uint64_t(version()));
  f.add("time_scale", timeScale);
  f.add("duration", duration);
  f.add("language", LanguageText(language));
}

bool MediaHandlerReferenceBox::parse(ByteReader& r) {
  if (!r.raw32(versionFlags) || !r.raw32(preDefined) || !r.raw32(handlerType)) return false;
  for (std::uint32_t& v : reserved)
    if (!r.raw32(v)) return false;
  name = r.rest();
  return true;
}

void MediaHandlerReferenceBox::write(ByteWriter& w) const {
  w.raw32(versionFlags).raw32(preDefined).raw32(handlerType);
  for (std::uint32_t v : reserved) w.raw32(v);
  w.bytes(name);
}

void MediaHandlerReferenceBox::describe(Fields& f) const {
  f.add("handler_type", CodeText(handlerType));
  f.add("name", MarkedText(name));
}

bool TimeToSampleBox::parse(ByteReader& r) {
  if (!r.u32(versionFlags) || !r.u32(entryCount)) return false;
  entries.resize(r.left() / 8);
  for (Entry& e : entries) r.u32(e.sampleCount), r.u32(e.sampleDelta);
  return true;
}

void TimeToSampleBox::write(ByteWriter& w) const {
  w.u32(versionFlags).u32(std::uint32_t(entries.size()));
  for (const Entry& e : entries) w.u32(e.sampleCount).u32(e.sampleDelta);
}

void TimeToSampleBox::describe(Fields& f) const {
  f.add("entry_count", entryCount);
  f.add("entries_read", std::uint64_t(entries.size()));
  std::uint64_t samples = 0, duration = 0;
  for (const Entry& e : entries) samples += e.sampleCount, duration += std::uint64_t(e.sampleCount) * e.sampleDelta;
  f.add("samples", samples);
  f.add("duration", duration);
}

bool SampleToChunkBox::parse(ByteReader& r) {
  if (!r.u32(versionFlags) || !r.u32(entryCount)) return false;
  entries.resize(r.left() / 12);
  for (Entry& e : entries) r.u32(e.firstChunk), r.u32(e.samplesPerChunk), r.u32(e.sampleDescriptionIndex);
  return true;
}

void SampleToChunkBox::write(ByteWriter& w) const {
  w.u32(versionFlags).u32(std::uint32_t(entries.size()));
  for (const Entry& e : entries) w.u32(e.firstChunk).u32(e.samplesPerChunk).u32(e.sampleDescriptionIndex);
}

void SampleToChunkBox::describe(Fields& f) const {
  f.add("entry_count", entryCount);
  f.add("entries_read", std::uint64_t(entries.size()));
}

bool SampleSizeBox::parse(ByteReader& r) {
  if (!r.u32(versionFlags) || !r.u32(sampleSize) || !r.u32(sampleCount)) return false;
  entries.resize(r.left() / 4);
  for (std::uint32_t& e : entries) r.u32(e);
  return true;
}

void SampleSizeBox::write(ByteWriter& w) const {
  w.u32(versionFlags).u32(sampleSize).u32(sampleCount);
  for (std::uint32_t e : entries) w.u32(e);
}

void SampleSizeBox::describe(Fields& f) const {
  f.add("sample_size", sampleSize);
  f.add("sample_count", sampleCount);
  f.add("entries_read", std::uint64_t(entries.size()));
}

bool MetaDataSampleTableBox::parse(ByteReader& r) {
  if (!r.raw32(versionFlags) || !r.u32(entryCount)) return false;
  records.resize(r.left() / 20);
  for (Record& rec : records)
    for (std::uint32_t& w : rec.words) r.u32(w);
  return true;
}

}  // namespace fileutil
