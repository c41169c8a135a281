// SPDX-License-Identifier: MIT
// BoxReader: the visitor that turns a byte stream into a Boxes tree. It is
// tolerant by construction and throws nothing: a box that lies about its
// length is cut to its parent, a short field ends the parse of that box, and
// whatever stays unread in a box is stepped over so the parent's count stays
// right. Memory stays bounded whatever the declared sizes and counts: bodies
// are read only up to the bytes that exist (and kMaxBody), nesting stops at
// kMaxDepth, and a read makes at most kMaxBoxes boxes.
//
// A reader serves one read on one thread; the tree passes to the caller, the
// handler stays with the reader.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <istream>
#include <memory>

#include "fileutil/box_factory.h"
#include "fileutil/data_handler.h"

namespace fileutil {

class VANE_EXPORT BoxReader : public IBoxVisitor {
 public:
  static constexpr int kMaxDepth = 32;
  static constexpr std::uint64_t kMaxBoxes = 1u << 20;
  static constexpr std::uint64_t kMaxBody = 256ull << 20;

  explicit BoxReader(const WCHAR* path);
  explicit BoxReader(const std::filesystem::path& path);
  explicit BoxReader(std::ifstream& in);
  // A stream that may not seek, read up to limit bytes.
  BoxReader(std::istream& in, std::uint64_t limit);
  virtual ~BoxReader();
  BoxReader(const BoxReader&) = delete;
  BoxReader& operator=(const BoxReader&) = delete;

  // Every box the library knows, parsed.
  std::unique_ptr<Boxes> readFile();
  // Enough for metadata and the track types; media data costs one seek.
  std::unique_ptr<Boxes> readMeta();
  // Metadata and chunk tables, fit for editing and writing back.
  std::unique_ptr<Boxes> readMetaForUpdate();

  // Appends boxes to the list until limit bytes or the end; returns the bytes
  // consumed.
  std::uint64_t readBoxes(Boxes* boxes, std::uint64_t limit);
  // Adds count to the reader's position and to the box's bytes read.
  void incBytesRead(IBox* box, std::uint64_t count);
  DataHandler& in() { return *m_in; }
  std::uint64_t limit() const { return m_limit; }

#define FILEUTIL_READ_SLOT(T, forwards) void visit(T* box) override;
  FILEUTIL_BOX_CLASSES(FILEUTIL_READ_SLOT)
#undef FILEUTIL_READ_SLOT

 private:
  std::unique_ptr<Boxes> readRoot(const IFactory<FourCC>& factory);
  IBox* readBox(std::uint64_t limit);
  bool atEnd() const;
  // Reads the rest of the box's body (at most kMaxBody) into m_body.
  bool readBody(IBox* box);
  template <typename T>
  void readLeaf(T* box);
  template <typename T>
  void readContainer(T* box);
  void readChildren(IBox* box, Boxes& children);

  std::unique_ptr<DataHandler> m_in;
  std::uint64_t m_limit = ~std::uint64_t(0);
  std::uint64_t m_bytesRead = 0;
  const IFactory<FourCC>* m_factory = nullptr;
  const Library& m_library;
  int m_depth = 0;
  std::uint64_t m_boxCount = 0;
  std::vector<std::uint8_t> m_body;
};

}  // namespace fileutil
