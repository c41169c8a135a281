// SPDX-License-Identifier: MIT
// The box model: IBox and its mix-in interfaces, the owning Boxes list, and
// the class templates Box, FullBox and ContainerBox over a FourCC.
//
// A box records where it stood in the source (offset, size, header size), how
// far the reader got into it (bytes read), and where the writer will put it
// (write offset, write size). A tree is used by one thread at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "fileutil/box_visitor.h"
#include "fileutil/byte_io.h"
#include "fileutil/fields.h"
#include "fileutil/fourcc.h"
#include "platform/export.h"

namespace fileutil {

class IBox;

// An ordered list of boxes in file order. It owns them: destroying the list
// destroys the boxes and, through them, their children.
class VANE_EXPORT Boxes {
 public:
  using iterator = std::vector<IBox*>::iterator;
  using const_iterator = std::vector<IBox*>::const_iterator;

  Boxes() = default;
  ~Boxes();
  Boxes(const Boxes&) = delete;
  Boxes& operator=(const Boxes&) = delete;

  void push_back(IBox* box) { m_boxes.push_back(box); }
  iterator insert(const_iterator at, IBox* box) { return m_boxes.insert(at, box); }
  // Removes and destroys one box.
  iterator erase(const_iterator at);
  void clear();
  std::size_t size() const { return m_boxes.size(); }
  bool empty() const { return m_boxes.empty(); }
  IBox* operator[](std::size_t i) const { return m_boxes[i]; }
  IBox* back() const { return m_boxes.back(); }
  iterator begin() { return m_boxes.begin(); }
  iterator end() { return m_boxes.end(); }
  const_iterator begin() const { return m_boxes.begin(); }
  const_iterator end() const { return m_boxes.end(); }

 private:
  std::vector<IBox*> m_boxes;
};

class VANE_EXPORT IBox {
 public:
  virtual ~IBox();
  virtual void accept(IBoxVisitor* visitor) = 0;
  virtual void setSize(std::uint64_t size) { m_size = size; }
  virtual void setOffset(std::uint64_t offset) { m_offset = offset; }
  virtual void setWriteSize(std::uint64_t size) { m_writeSize = size; }
  virtual void setWriteOffset(std::uint64_t offset) { m_writeOffset = offset; }
  virtual void setHeaderSize(std::uint32_t size) { m_headerSize = size; }
  virtual FourCC type() const = 0;
  virtual std::uint64_t& bytesRead() { return m_bytesRead; }
  virtual std::uint64_t size() const { return m_size; }
  virtual std::uint64_t offset() const { return m_offset; }
  virtual std::uint64_t writeSize() const { return m_writeSize; }
  virtual std::uint64_t writeOffset() const { return m_writeOffset; }

  std::uint32_t headerSize() const { return m_headerSize; }
  // Size minus bytes read: what is left of the body for the reader.
  std::uint64_t remaining() const { return m_size > m_bytesRead ? m_size - m_bytesRead : 0; }

  // Defaults for the members that classes with fields replace; the visitors
  // call them on the concrete type, so no virtual slot is involved.
  bool parse(ByteReader&) { return true; }
  void write(ByteWriter&) const {}
  std::uint64_t bodySize() const { return 0; }
  void describe(Fields&) const {}

 protected:
  IBox() = default;
  IBox(const IBox&) = default;

 private:
  std::uint32_t m_headerSize = 0;
  std::uint64_t m_size = 0;
  std::uint64_t m_offset = 0;
  std::uint64_t m_writeSize = 0;
  std::uint64_t m_writeOffset = 0;
  std::uint64_t m_bytesRead = 0;
};

// A box with a child list, created empty with the box.
class VANE_EXPORT IContainerBox {
 public:
  virtual Boxes& children() = 0;

 protected:
  ~IContainerBox() = default;
};

// The payload of a data atom (known type or not).
class VANE_EXPORT IDataBox {
 public:
  virtual std::uint32_t dataType() const = 0;
  virtual std::vector<std::uint8_t>& payload() = 0;

 protected:
  ~IDataBox() = default;
};

// A chunk offset table, 32- or 64-bit.
class VANE_EXPORT IChunkOffsetBox {
 public:
  virtual std::size_t tableSize() const = 0;
  virtual std::uint64_t entry(std::size_t i) const = 0;
  // Adds delta to every entry (wrapping at the entry width).
  virtual void shift(std::int64_t delta) = 0;

 protected:
  ~IChunkOffsetBox() = default;
};

template <unsigned int C>
class Box : public IBox {
 public:
  static constexpr unsigned int kCode = C;
  FourCC type() const override { return FourCC(C); }
};

// A box whose body starts with the 32-bit version and flags word.
template <unsigned int C>
class FullBox : public Box<C> {
 public:
  std::uint32_t versionFlags = 0;
  std::uint8_t version() const { return std::uint8_t(versionFlags >> 24); }
};

template <unsigned int C>
class ContainerBox : public Box<C>, public IContainerBox {
 public:
  void accept(IBoxVisitor* visitor) override { visitor->visit(this); }
  Boxes& children() override { return m_children; }
  const Boxes& children() const { return m_children; }

 private:
  Boxes m_children;
};

}  // namespace fileutil
