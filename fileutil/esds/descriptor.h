// SPDX-License-Identifier: MIT
// MPEG-4 object descriptors (ISO/IEC 14496-1) as carried by esds and iods
// boxes: a small tree with its own visitor, because a descriptor's length
// field depends on its content and has to be computed before writing.
//
// Reading throws OutOfBytes from its field helpers; the box that owns the
// tree catches it and keeps no tree. Nothing else in this namespace throws.
// A tree belongs to its box; one thread at a time.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "fileutil/byte_io.h"
#include "fileutil/fields.h"
#include "platform/export.h"

namespace esds {

class IDescriptorVisitor;

// A descriptor would read past its limit.
class OutOfBytes : public std::exception {
 public:
  const char* what() const noexcept override { return "descriptor runs past its limit"; }
};

namespace tags {
inline constexpr std::uint8_t kInitialObject = 2, kElementaryStream = 3, kDecoderConfig = 4, kDecoderSpecificInfo = 5,
                              kSLConfig = 6, kESIDInc = 14;
}

class Descriptor;

// Owned children that copy deeply, so that every descriptor class can be
// copied by its implicit copy constructor.
class DescriptorList : public std::vector<std::unique_ptr<Descriptor>> {
 public:
  DescriptorList() = default;
  DescriptorList(const DescriptorList& other);
  DescriptorList& operator=(const DescriptorList& other);
  DescriptorList(DescriptorList&&) = default;
  DescriptorList& operator=(DescriptorList&&) = default;
};

class VANE_EXPORT Descriptor {
 public:
  explicit Descriptor(std::uint8_t tag) : m_tag(tag) {}
  Descriptor(const Descriptor&) = default;
  Descriptor& operator=(const Descriptor&) = default;
  virtual ~Descriptor();
  virtual void accept(IDescriptorVisitor* visitor) = 0;
  // Accepts the visitor on each child in order.
  virtual void acceptChildren(IDescriptorVisitor* visitor);

  std::uint8_t tag() const { return m_tag; }
  // Payload size: set by the reader from the length field, or by
  // DescriptorPrepareWrite from the content.
  std::uint32_t size() const { return m_size; }
  void setSize(std::uint32_t size) { m_size = size; }
  // Tag, length in the writer's four-byte form, payload.
  std::uint64_t sizeWithTagAndLength() const { return 1 + 4 + std::uint64_t(m_size); }
  std::uint32_t bytesRead() const { return m_bytesRead; }
  void incBytesRead(std::uint32_t n) { m_bytesRead += n; }

  DescriptorList& children() { return m_children; }
  const DescriptorList& children() const { return m_children; }
  void addChild(std::unique_ptr<Descriptor> child) { m_children.push_back(std::move(child)); }
  // A deep copy of this descriptor and its children.
  std::unique_ptr<Descriptor> clone() const;

 private:
  std::uint8_t m_tag;
  std::uint32_t m_size = 0;
  std::uint32_t m_bytesRead = 0;
  DescriptorList m_children;
};

class VANE_EXPORT InitialObjectDescriptor : public Descriptor {
 public:
  InitialObjectDescriptor() : Descriptor(tags::kInitialObject) {}
  void accept(IDescriptorVisitor* visitor) override;
  std::uint16_t idAndFlags = 0;  // 10-bit id, URL flag 0x20, inline profile flag 0x10
  bool hasUrl() const { return idAndFlags & 0x20; }
  std::vector<std::uint8_t> url;
  // OD, scene, audio, visual and graphics profile levels (absent with a URL).
  std::uint8_t profiles[5] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
};

// Stream information that a track writer sets on an elementary stream.
class ISetElementaryStreamInfo {
 public:
  virtual void setEsId(std::uint16_t id) = 0;

 protected:
  ~ISetElementaryStreamInfo() = default;
};

class VANE_EXPORT ElementaryStreamDescriptor : public Descriptor, public ISetElementaryStreamInfo {
 public:
  ElementaryStreamDescriptor() : Descriptor(tags::kElementaryStream) {}
  void accept(IDescriptorVisitor* visitor) override;
  void setEsId(std::uint16_t id) override { esId = id; }
  bool hasStreamDependence() const { return flags & 0x80; }
  bool hasUrl() const { return flags & 0x40; }
  bool hasOcr() const { return flags & 0x20; }

  std::uint16_t esId = 0;
  std::uint8_t flags = 0;  // dependence 0x80, URL 0x40, OCR 0x20, priority in the low 5 bits
  std::uint16_t dependsOnEsId = 0;
  std::vector<std::uint8_t> url;
  std::uint16_t ocrEsId = 0;
};

class DecoderSpecificInfo;

class VANE_EXPORT DecoderConfigDescriptor : public Descriptor {
 public:
  DecoderConfigDescriptor() : Descriptor(tags::kDecoderConfig) {}
  void accept(IDescriptorVisitor* visitor) override;
  // The one child kept, or null.
  DecoderSpecificInfo* decoderSpecificInfo() const;

  std::uint8_t objectTypeIndication = 0;
  std::uint8_t streamType = 0;  // six bits
  bool upStream = false;
  bool reservedBit = true;
  std::uint32_t bufferSize = 0;  // 24 bits
  std::uint32_t maxBitrate = 0;
  std::uint32_t avgBitrate = 0;
};

// The fields of an AAC AudioSpecificConfig that a reader wants.
struct AudioConfig {
  bool valid = false;
  unsigned objectType = 0;            // 2 is AAC LC
  unsigned samplingFrequencyIndex = 0;  // 15: explicit rate
  unsigned samplingFrequency = 0;
  unsigned channelConfiguration = 0;
};

class VANE_EXPORT DecoderSpecificInfo : public Descriptor {
 public:
  DecoderSpecificInfo() : Descriptor(tags::kDecoderSpecificInfo) {}
  void accept(IDescriptorVisitor* visitor) override;
  // Parses the payload as an AudioSpecificConfig; valid is false when it is
  // too short.
  AudioConfig audioConfig() const;
  std::vector<std::uint8_t> payload;
};

class VANE_EXPORT SLConfigDescriptor : public Descriptor {
 public:
  SLConfigDescriptor() : Descriptor(tags::kSLConfig) {}
  void accept(IDescriptorVisitor* visitor) override;
  enum Flag : std::uint8_t {
    kUseAccessUnitStart = 0x80, kUseAccessUnitEnd = 0x40, kUseRandomAccessPoint = 0x20,
    kRandomAccessUnitsOnly = 0x10, kUsePadding = 0x08, kUseTimeStamps = 0x04, kUseIdle = 0x02, kDuration = 0x01
  };
  std::uint8_t predefined = 2;
  // Present when predefined is 0.
  std::uint8_t flags = 0;
  std::uint32_t timeStampResolution = 0, ocrResolution = 0;
  std::uint8_t timeStampLength = 0, ocrLength = 0, auLength = 0, instantBitrateLength = 0;
  std::uint16_t lengths = 0;  // degradation priority (4), AU sequence (5), packet sequence (5) lengths
  std::uint32_t timeScale = 0;
  std::uint16_t accessUnitDuration = 0, compositionUnitDuration = 0;
  std::vector<std::uint8_t> startTimeStamps;
  // Optional trailing byte and its 16-bit field (bit 1 of the byte).
  bool hasExtra = false;
  std::uint8_t extraFlags = 0;
  std::uint16_t extraField = 0;
};

class VANE_EXPORT ESIDIncDescriptor : public Descriptor {
 public:
  ESIDIncDescriptor() : Descriptor(tags::kESIDInc) {}
  void accept(IDescriptorVisitor* visitor) override;
  std::uint32_t trackId = 0;
};

// Any other tag: the payload is kept so that a rewrite keeps it.
class VANE_EXPORT UnknownDescriptor : public Descriptor {
 public:
  explicit UnknownDescriptor(std::uint8_t tag) : Descriptor(tag) {}
  void accept(IDescriptorVisitor* visitor) override;
  std::vector<std::uint8_t> payload;
};

class IDescriptorVisitor {
 public:
  virtual void visit(InitialObjectDescriptor* d) = 0;
  virtual void visit(ElementaryStreamDescriptor* d) = 0;
  virtual void visit(DecoderConfigDescriptor* d) = 0;
  virtual void visit(DecoderSpecificInfo* d) = 0;
  virtual void visit(SLConfigDescriptor* d) = 0;
  virtual void visit(ESIDIncDescriptor* d) = 0;
  virtual void visit(UnknownDescriptor* d) = 0;

 protected:
  ~IDescriptorVisitor() = default;
};

// Reads one descriptor tree from a bounded byte view. Throws OutOfBytes when
// a field or a length runs past the view; nesting deeper than kMaxDepth and
// more than kMaxChildren children also end the read that way.
class DescriptorReader : public IDescriptorVisitor {
 public:
  static constexpr int kMaxDepth = 16;
  static constexpr std::size_t kMaxChildren = 256;

  explicit DescriptorReader(fileutil::ByteReader view) : m_view(view) {}
  std::unique_ptr<Descriptor> read();
  // Bytes of the view consumed so far.
  std::size_t consumed() const { return m_view.pos(); }

  void visit(InitialObjectDescriptor* d) override;
  void visit(ElementaryStreamDescriptor* d) override;
  void visit(DecoderConfigDescriptor* d) override;
  void visit(DecoderSpecificInfo* d) override;
  void visit(SLConfigDescriptor* d) override;
  void visit(ESIDIncDescriptor* d) override;
  void visit(UnknownDescriptor* d) override;

 private:
  std::unique_ptr<Descriptor> readFrom(fileutil::ByteReader& outer);
  void readChildren(Descriptor* d);
  std::uint8_t u8();
  std::uint16_t u16();
  std::uint32_t u24();
  std::uint32_t u32();
  std::vector<std::uint8_t> bytes(std::size_t n);

  fileutil::ByteReader m_view;
  fileutil::ByteReader* m_body = nullptr;  // body of the descriptor under way
  Descriptor* m_current = nullptr;
  int m_depth = 0;
};

// Sets every payload size from the fields and the children, bottom up.
class DescriptorPrepareWrite : public IDescriptorVisitor {
 public:
  void visit(InitialObjectDescriptor* d) override;
  void visit(ElementaryStreamDescriptor* d) override;
  void visit(DecoderConfigDescriptor* d) override;
  void visit(DecoderSpecificInfo* d) override;
  void visit(SLConfigDescriptor* d) override;
  void visit(ESIDIncDescriptor* d) override;
  void visit(UnknownDescriptor* d) override;

 private:
  static std::uint32_t childrenSize(Descriptor* d, IDescriptorVisitor* self);
};

// Writes a prepared tree: tag, the length in four bytes, the fields.
class DescriptorWriter : public IDescriptorVisitor {
 public:
  explicit DescriptorWriter(fileutil::ByteWriter& out) : m_out(out) {}
  void visit(InitialObjectDescriptor* d) override;
  void visit(ElementaryStreamDescriptor* d) override;
  void visit(DecoderConfigDescriptor* d) override;
  void visit(DecoderSpecificInfo* d) override;
  void visit(SLConfigDescriptor* d) override;
  void visit(ESIDIncDescriptor* d) override;
  void visit(UnknownDescriptor* d) override;

 private:
  void head(Descriptor* d);
  fileutil::ByteWriter& m_out;
};

// An indented text of the tree, for diagnosis.
class VANE_EXPORT DescriptorPrinter : public IDescriptorVisitor {
 public:
  void visit(InitialObjectDescriptor* d) override;
  void visit(ElementaryStreamDescriptor* d) override;
  void visit(DecoderConfigDescriptor* d) override;
  void visit(DecoderSpecificInfo* d) override;
  void visit(SLConfigDescriptor* d) override;
  void visit(ESIDIncDescriptor* d) override;
  void visit(UnknownDescriptor* d) override;
  const std::string& text() const { return m_text; }

 private:
  void line(const std::string& s);
  void nested(Descriptor* d);
  std::string m_text;
  int m_indent = 0;
};

// Notes the decoder config and decoder specific info of a tree, for the
// track reader. The pointers belong to the tree.
class InitTrackReader : public IDescriptorVisitor {
 public:
  void visit(InitialObjectDescriptor* d) override { d->acceptChildren(this); }
  void visit(ElementaryStreamDescriptor* d) override { d->acceptChildren(this); }
  void visit(DecoderConfigDescriptor* d) override {
    if (!decoderConfig) decoderConfig = d;
    d->acceptChildren(this);
  }
  void visit(DecoderSpecificInfo* d) override {
    if (!specificInfo) specificInfo = d;
  }
  void visit(SLConfigDescriptor*) override {}
  void visit(ESIDIncDescriptor*) override {}
  void visit(UnknownDescriptor*) override {}

  DecoderConfigDescriptor* decoderConfig = nullptr;
  DecoderSpecificInfo* specificInfo = nullptr;
};

// Reads a tree from bytes: null on any reading failure (OutOfBytes is caught
// here). consumed, when given, receives the bytes the tree took.
VANE_EXPORT std::unique_ptr<Descriptor> ReadDescriptorTree(const std::uint8_t* data, std::size_t size,
                                                           std::size_t* consumed = nullptr);
// Prepares sizes and writes the tree.
VANE_EXPORT void WriteDescriptorTree(Descriptor* root, fileutil::ByteWriter& out);
// Field view of a tree's decoder config, for dumps.
void DescribeDescriptorTree(Descriptor* root, fileutil::Fields& fields);

}  // namespace esds
