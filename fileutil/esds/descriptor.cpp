// SPDX-License-Identifier: MIT
#include "fileutil/esds/descriptor.h"

#include <cstdio>

namespace esds {

namespace {

// Copies one node with its implicit copy constructor; DescriptorList makes
// the children deep.
class Copier : public IDescriptorVisitor {
 public:
  void visit(InitialObjectDescriptor* d) override { m_out = std::make_unique<InitialObjectDescriptor>(*d); }
  void visit(ElementaryStreamDescriptor* d) override { m_out = std::make_unique<ElementaryStreamDescriptor>(*d); }
  void visit(DecoderConfigDescriptor* d) override { m_out = std::make_unique<DecoderConfigDescriptor>(*d); }
  void visit(DecoderSpecificInfo* d) override { m_out = std::make_unique<DecoderSpecificInfo>(*d); }
  void visit(SLConfigDescriptor* d) override { m_out = std::make_unique<SLConfigDescriptor>(*d); }
  void visit(ESIDIncDescriptor* d) override { m_out = std::make_unique<ESIDIncDescriptor>(*d); }
  void visit(UnknownDescriptor* d) override { m_out = std::make_unique<UnknownDescriptor>(*d); }
  std::unique_ptr<Descriptor> m_out;
};

// The factory by tag: one row per known tag.
struct TagRow {
  std::uint8_t tag;
  std::unique_ptr<Descriptor> (*make)();
};
template <typename T>
std::unique_ptr<Descriptor> Make() {
  return std::make_unique<T>();
}
constexpr TagRow kTagRows[] = {
    {tags::kInitialObject, &Make<InitialObjectDescriptor>},
    {tags::kElementaryStream, &Make<ElementaryStreamDescriptor>},
    {tags::kDecoderConfig, &Make<DecoderConfigDescriptor>},
    {tags::kDecoderSpecificInfo, &Make<DecoderSpecificInfo>},
    {tags::kSLConfig, &Make<SLConfigDescriptor>},
    {tags::kESIDInc, &Make<ESIDIncDescriptor>},
};

std::unique_ptr<Descriptor> MakeByTag(std::uint8_t tag) {
  for (const TagRow& row : kTagRows)
    if (row.tag == tag) return row.make();
  return std::make_unique<UnknownDescriptor>(tag);
}

constexpr unsigned kSampleRates[16] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050,
                                       16000, 12000, 11025, 8000,  7350,  0,     0,     0};

class BitReader {
 public:
  explicit BitReader(const std::vector<std::uint8_t>& b) : m_b(b) {}
  bool bits(int n, unsigned& out) {
    if (m_pos + std::size_t(n) > m_b.size() * 8) return false;
    unsigned v = 0;
    for (int i = 0; i < n; ++i, ++m_pos) v = (v << 1) | ((m_b[m_pos / 8] >> (7 - m_pos % 8)) & 1u);
    out = v;
    return true;
  }

 private:
  const std::vector<std::uint8_t>& m_b;
  std::size_t m_pos = 0;
};

std::string Hex(const std::vector<std::uint8_t>& b) {
  std::string s;
  char buf[4];
  for (std::uint8_t c : b) {
    std::snprintf(buf, sizeof buf, "%02X", c);
    s += buf;
  }
  return s;
}

}  // namespace

DescriptorList::DescriptorList(const DescriptorList& other) : std::vector<std::unique_ptr<Descriptor>>() {
  reserve(other.size());
  for (const auto& d : other) push_back(d->clone());
}

DescriptorList& DescriptorList::operator=(const DescriptorList& other) {
  if (this != &other) {
    DescriptorList copy(other);
    swap(copy);
  }
  return *this;
}

Descriptor::~Descriptor() = default;

void Descriptor::acceptChildren(IDescriptorVisitor* visitor) {
  for (auto& child : m_children) child->accept(visitor);
}

std::unique_ptr<Descriptor> Descriptor::clone() const {
  Copier copier;
  const_cast<Descriptor*>(this)->accept(&copier);
  return std::move(copier.m_out);
}

void InitialObjectDescriptor::accept(IDescriptorVisitor* v) { v->visit(this); }
void ElementaryStreamDescriptor::accept(IDescriptorVisitor* v) { v->visit(this); }
void DecoderConfigDescriptor::accept(IDescriptorVisitor* v) { v->visit(this); }
void DecoderSpecificInfo::accept(IDescriptorVisitor* v) { v->visit(this); }
void SLConfigDescriptor::accept(IDescriptorVisitor* v) { v->visit(this); }
void ESIDIncDescriptor::accept(IDescriptorVisitor* v) { v->visit(this); }
void UnknownDescriptor::accept(IDescriptorVisitor* v) { v->visit(this); }

DecoderSpecificInfo* DecoderConfigDescriptor::decoderSpecificInfo() const {
  return children().empty() ? nullptr : static_cast<DecoderSpecificInfo*>(children().front().get());
}

AudioConfig DecoderSpecificInfo::audioConfig() const {
  AudioConfig c;
  BitReader r(payload);
  unsigned type = 0;
  if (!r.bits(5, type)) return c;
  if (type == 31) {  // escape: 32 plus six more bits
    unsigned ext = 0;
    if (!r.bits(6, ext)) return c;
    type = 32 + ext;
  }
  unsigned index = 0;
  if (!r.bits(4, index)) return c;
  unsigned rate = kSampleRates[index];
  if (index == 15 && !r.bits(24, rate)) return c;
  unsigned channels = 0;
  if (!r.bits(4, channels)) return c;
  c.valid = true;
  c.objectType = type;
  c.samplingFrequencyIndex = index;
  c.samplingFrequency = rate;
  c.channelConfiguration = channels;
  return c;
}

// Reading

std::unique_ptr<Descriptor> DescriptorReader::read() { return readFrom(m_view); }

std::unique_ptr<Descriptor> DescriptorReader::readFrom(fileutil::ByteReader& outer) {
  if (m_depth >= kMaxDepth) throw OutOfBytes();
  std::uint8_t tag = 0;
  if (!outer.u8(tag)) throw OutOfBytes();
  // Up to four length bytes, seven bits each; a set high bit means more.
  std::uint32_t length = 0;
  std::uint32_t lengthBytes = 0;
  std::uint8_t b = 0x80;
  while ((b & 0x80) && lengthBytes < 4 && outer.u8(b)) {
    length = (length << 7) | (b & 0x7F);
    ++lengthBytes;
  }
  fileutil::ByteReader body;
  if (!outer.sub(length, body)) throw OutOfBytes();

  std::unique_ptr<Descriptor> d = MakeByTag(tag);
  d->setSize(length);
  d->incBytesRead(1 + lengthBytes);
  fileutil::ByteReader* savedBody = m_body;
  Descriptor* savedCurrent = m_current;
  m_body = &body;
  m_current = d.get();
  ++m_depth;
  d->accept(this);
  --m_depth;
  m_body = savedBody;
  m_current = savedCurrent;
  d->incBytesRead(std::uint32_t(body.pos()));
  return d;
}

void DescriptorReader::readChildren(Descriptor* d) {
  while (m_body->left() > 0) {
    if (d->children().size() >= kMaxChildren) throw OutOfBytes();
    d->addChild(readFrom(*m_body));
  }
}

std::uint8_t DescriptorReader::u8() {
  std::uint8_t v;
  if (!m_body->u8(v)) throw OutOfBytes();
  return v;
}
std::uint16_t DescriptorReader::u16() {
  std::uint16_t v;
  if (!m_body->u16(v)) throw OutOfBytes();
  return v;
}
std::uint32_t DescriptorReader::u24() {
  std::uint32_t v;
  if (!m_body->u24(v)) throw OutOfBytes();
  return v;
}
std::uint32_t DescriptorReader::u32() {
  std::uint32_t v;
  if (!m_body->u32(v)) throw OutOfBytes();
  return v;
}
std::vector<std::uint8_t> DescriptorReader::bytes(std::size_t n) {
  std::vector<std::uint8_t> v(n);
  if (!m_body->bytes(v.data(), n)) throw OutOfBytes();
  return v;
}

void DescriptorReader::visit(InitialObjectDescriptor* d) {
  d->idAndFlags = u16();
  if (d->hasUrl()) {
    d->url = bytes(u8());
  } else {
    for (std::uint8_t& p : d->profiles) p = u8();
  }
  readChildren(d);
}

void DescriptorReader::visit(ElementaryStreamDescriptor* d) {
  d->esId = u16();
  d->flags = u8();
  if (d->hasStreamDependence()) d->dependsOnEsId = u16();
  if (d->hasUrl()) d->url = bytes(u8());
  if (d->hasOcr()) d->ocrEsId = u16();
  readChildren(d);
}

void DescriptorReader::visit(DecoderConfigDescriptor* d) {
  d->objectTypeIndication = u8();
  const std::uint8_t b = u8();
  d->streamType = b >> 2;
  d->upStream = b & 2;
  d->reservedBit = b & 1;
  d->bufferSize = u24();
  d->maxBitrate = u32();
  d->avgBitrate = u32();
  if (m_body->left() > 0) {
    // Only a decoder specific info is kept; other children are dropped.
    std::unique_ptr<Descriptor> child = readFrom(*m_body);
    if (child->tag() == tags::kDecoderSpecificInfo) d->addChild(std::move(child));
  }
}

void DescriptorReader::visit(DecoderSpecificInfo* d) { d->payload = m_body->rest(); }

void DescriptorReader::visit(SLConfigDescriptor* d) {
  d->predefined = u8();
  if (d->predefined == 0) {
    d->flags = u8();
    d->timeStampResolution = u32();
    d->ocrResolution = u32();
    d->timeStampLength = u8();
    d->ocrLength = u8();
    d->auLength = u8();
    d->instantBitrateLength = u8();
    d->lengths = u16();
    if (d->flags & SLConfigDescriptor::kDuration) {
      d->timeScale = u32();
      d->accessUnitDuration = u16();
      d->compositionUnitDuration = u16();
    }
    // Decoding and composition start stamps, bit-packed.
    if (!(d->flags & SLConfigDescriptor::kUseTimeStamps)) d->startTimeStamps = bytes((2u * d->timeStampLength + 7) / 8);
  }
  if (m_body->left() > 0) {
    d->hasExtra = true;
    d->extraFlags = u8();
    if (d->extraFlags & 2) d->extraField = u16();
  }
}

void DescriptorReader::visit(ESIDIncDescriptor* d) { d->trackId = u32(); }

void DescriptorReader::visit(UnknownDescriptor* d) { d->payload = m_body->rest(); }

// Sizes

std::uint32_t DescriptorPrepareWrite::childrenSize(Descriptor* d, IDescriptorVisitor* self) {
  std::uint64_t total = 0;
  for (auto& c : d->children()) {
    c->accept(self);
    total += c->sizeWithTagAndLength();
  }
  return std::uint32_t(total);
}

void DescriptorPrepareWrite::visit(InitialObjectDescriptor* d) {
  const std::uint32_t head = 2 + (d->hasUrl() ? 1 + std::uint32_t(d->url.size()) : 5);
  d->setSize(head + childrenSize(d, this));
}

void DescriptorPrepareWrite::visit(ElementaryStreamDescriptor* d) {
  std::uint32_t head = 3;
  if (d->hasStreamDependence()) head += 2;
  if (d->hasUrl()) head += 1 + std::uint32_t(d->url.size());
  if (d->hasOcr()) head += 2;
  d->setSize(head + childrenSize(d, this));
}

void DescriptorPrepareWrite::visit(DecoderConfigDescriptor* d) { d->setSize(13 + childrenSize(d, this)); }

void DescriptorPrepareWrite::visit(DecoderSpecificInfo* d) { d->setSize(std::uint32_t(d->payload.size())); }

void DescriptorPrepareWrite::visit(SLConfigDescriptor* d) {
  std::uint32_t size = 1;
  if (d->predefined == 0) {
    size += 15 + std::uint32_t(d->startTimeStamps.size());
    if (d->flags & SLConfigDescriptor::kDuration) size += 8;
  }
  if (d->hasExtra) size += (d->extraFlags & 2) ? 3 : 1;
  d->setSize(size);
}

void DescriptorPrepareWrite::visit(ESIDIncDescriptor* d) { d->setSize(4); }

void DescriptorPrepareWrite::visit(UnknownDescriptor* d) { d->setSize(std::uint32_t(d->payload.size())); }

// Writing

void DescriptorWriter::head(Descriptor* d) {
  const std::uint32_t n = d->size();
  m_out.u8(d->tag()).u8(0x80 | ((n >> 21) & 0x7F)).u8(0x80 | ((n >> 14) & 0x7F)).u8(0x80 | ((n >> 7) & 0x7F));
  m_out.u8(n & 0x7F);
}

void DescriptorWriter::visit(InitialObjectDescriptor* d) {
  head(d);
  m_out.u16(d->idAndFlags);
  if (d->hasUrl()) {
    m_out.u8(std::uint8_t(d->url.size())).bytes(d->url);
  } else {
    m_out.bytes(d->profiles, 5);
  }
  d->acceptChildren(this);
}

void DescriptorWriter::visit(ElementaryStreamDescriptor* d) {
  head(d);
  m_out.u16(d->esId).u8(d->flags);
  if (d->hasStreamDependence()) m_out.u16(d->dependsOnEsId);
  if (d->hasUrl()) m_out.u8(std::uint8_t(d->url.size())).bytes(d->url);
  if (d->hasOcr()) m_out.u16(d->ocrEsId);
  d->acceptChildren(this);
}

void DescriptorWriter::visit(DecoderConfigDescriptor* d) {
  head(d);
  m_out.u8(d->objectTypeIndication)
      .u8(std::uint8_t(d->streamType << 2 | (d->upStream ? 2 : 0) | (d->reservedBit ? 1 : 0)))
      .u24(d->bufferSize)
      .u32(d->maxBitrate)
      .u32(d->avgBitrate);
  d->acceptChildren(this);
}

void DescriptorWriter::visit(DecoderSpecificInfo* d) {
  head(d);
  m_out.bytes(d->payload);
}

void DescriptorWriter::visit(SLConfigDescriptor* d) {
  head(d);
  m_out.u8(d->predefined);
  if (d->predefined == 0) {
    m_out.u8(d->flags).u32(d->timeStampResolution).u32(d->ocrResolution);
    m_out.u8(d->timeStampLength).u8(d->ocrLength).u8(d->auLength).u8(d->instantBitrateLength).u16(d->lengths);
    if (d->flags & SLConfigDescriptor::kDuration)
      m_out.u32(d->timeScale).u16(d->accessUnitDuration).u16(d->compositionUnitDuration);
    m_out.bytes(d->startTimeStamps);
  }
  if (d->hasExtra) {
    m_out.u8(d->extraFlags);
    if (d->extraFlags & 2) m_out.u16(d->extraField);
  }
}

void DescriptorWriter::visit(ESIDIncDescriptor* d) {
  head(d);
  m_out.u32(d->trackId);
}

void DescriptorWriter::visit(UnknownDescriptor* d) {
  head(d);
  m_out.bytes(d->payload);
}

// Printing

void DescriptorPrinter::line(const std::string& s) {
  m_text.append(std::size_t(m_indent) * 2, ' ');
  m_text += s;
  m_text += '\n';
}

void DescriptorPrinter::nested(Descriptor* d) {
  ++m_indent;
  d->acceptChildren(this);
  --m_indent;
}

void DescriptorPrinter::visit(InitialObjectDescriptor* d) {
  line("InitialObjectDescriptor id=" + std::to_string(d->idAndFlags >> 6) + " size=" + std::to_string(d->size()));
  nested(d);
}

void DescriptorPrinter::visit(ElementaryStreamDescriptor* d) {
  line("ElementaryStreamDescriptor es_id=" + std::to_string(d->esId) + " flags=" + std::to_string(d->flags) +
       " size=" + std::to_string(d->size()));
  nested(d);
}

void DescriptorPrinter::visit(DecoderConfigDescriptor* d) {
  line("DecoderConfigDescriptor object_type=" + std::to_string(d->objectTypeIndication) +
       " stream_type=" + std::to_string(d->streamType) + " buffer_size=" + std::to_string(d->bufferSize) +
       " max_bitrate=" + std::to_string(d->maxBitrate) + " avg_bitrate=" + std::to_string(d->avgBitrate));
  nested(d);
}

void DescriptorPrinter::visit(DecoderSpecificInfo* d) {
  const AudioConfig c = d->audioConfig();
  std::string s = "DecoderSpecificInfo " + Hex(d->payload);
  if (c.valid)
    s += " (audio object type " + std::to_string(c.objectType) + ", " + std::to_string(c.samplingFrequency) + " Hz, " +
         std::to_string(c.channelConfiguration) + " channels)";
  line(s);
}

void DescriptorPrinter::visit(SLConfigDescriptor* d) { line("SLConfigDescriptor predefined=" + std::to_string(d->predefined)); }

void DescriptorPrinter::visit(ESIDIncDescriptor* d) { line("ESIDIncDescriptor track_id=" + std::to_string(d->trackId)); }

void DescriptorPrinter::visit(UnknownDescriptor* d) {
  line("UnknownDescriptor tag=" + std::to_string(d->tag()) + " size=" + std::to_string(d->payload.size()));
}

// Entry points

std::unique_ptr<Descriptor> ReadDescriptorTree(const std::uint8_t* data, std::size_t size, std::size_t* consumed) {
  try {
    DescriptorReader reader(fileutil::ByteReader(data, size));
    std::unique_ptr<Descriptor> root = reader.read();
    if (consumed) *consumed = reader.consumed();
    return root;
  } catch (const OutOfBytes&) {
    if (consumed) *consumed = 0;
    return nullptr;
  }
}

void WriteDescriptorTree(Descriptor* root, fileutil::ByteWriter& out) {
  DescriptorPrepareWrite prepare;
  root->accept(&prepare);
  DescriptorWriter writer(out);
  root->accept(&writer);
}

void DescribeDescriptorTree(Descriptor* root, fileutil::Fields& f) {
  if (!root) return;
  if (root->tag() == tags::kElementaryStream) f.add("es_id", std::uint64_t(static_cast<ElementaryStreamDescriptor*>(root)->esId));
  InitTrackReader notes;
  root->accept(&notes);
  if (const DecoderConfigDescriptor* dc = notes.decoderConfig) {
    f.add("object_type_indication", std::uint64_t(dc->objectTypeIndication));
    f.add("stream_type", std::uint64_t(dc->streamType));
    f.add("buffer_size", std::uint64_t(dc->bufferSize));
    f.add("max_bitrate", std::uint64_t(dc->maxBitrate));
    f.add("avg_bitrate", std::uint64_t(dc->avgBitrate));
  }
  if (const DecoderSpecificInfo* dsi = notes.specificInfo) {
    f.add("decoder_specific_info", Hex(dsi->payload));
    const AudioConfig c = dsi->audioConfig();
    if (c.valid) {
      f.add("audio_object_type", std::uint64_t(c.objectType));
      f.add("sampling_frequency_index", std::uint64_t(c.samplingFrequencyIndex));
      f.add("sample_rate", std::uint64_t(c.samplingFrequency));
      f.add("channels", std::uint64_t(c.channelConfiguration));
    }
  }
}

}  // namespace esds
