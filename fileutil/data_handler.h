// SPDX-License-Identifier: MIT
// DataHandler: the byte source of a box reader. It counts what it delivers
// (bytes read, skips made) so that tests and benchmarks can see that media
// data costs one seek. One reader, one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <istream>

#include "platform/export.h"
#include "platform/types.h"

namespace fileutil {

class VANE_EXPORT DataHandler {
 public:
  virtual ~DataHandler();
  // Reads up to count bytes; returns how many came.
  virtual std::uint64_t read(void* buffer, std::uint64_t count);
  // Steps over count bytes; false when the stream failed.
  virtual bool skip(std::uint64_t count) = 0;
  virtual std::istream& stream() = 0;
  // Whether the size is known; out receives it (all ones when not).
  virtual bool size(std::uint64_t& out) = 0;

  std::uint64_t bytesDelivered() const { return m_delivered; }
  std::uint64_t skipCount() const { return m_skips; }

 protected:
  // Seeks forward in steps a single stream call can take.
  bool seekForward(std::istream& in, std::uint64_t count);
  // Size of a seekable stream: clears, seeks to the end, tells, back to 0.
  static bool seekableSize(std::istream& in, std::uint64_t& out);
  std::uint64_t m_delivered = 0;
  std::uint64_t m_skips = 0;
};

// Owns a file stream opened from a path.
class VANE_EXPORT FileHandler : public DataHandler {
 public:
  explicit FileHandler(const WCHAR* path);
  explicit FileHandler(const std::filesystem::path& path);
  bool skip(std::uint64_t count) override { return seekForward(m_file, count); }
  std::istream& stream() override { return m_file; }
  bool size(std::uint64_t& out) override { return seekableSize(m_file, out); }
  bool isOpen() const { return m_file.is_open(); }

 private:
  std::ifstream m_file;
};

// Works on a caller's file stream, which it does not own.
class VANE_EXPORT FileStreamHandler : public DataHandler {
 public:
  explicit FileStreamHandler(std::ifstream& file) : m_file(file) {}
  bool skip(std::uint64_t count) override { return seekForward(m_file, count); }
  std::istream& stream() override { return m_file; }
  bool size(std::uint64_t& out) override { return seekableSize(m_file, out); }

 private:
  std::ifstream& m_file;
};

// Works on a caller's stream that may not seek: skips by reading past.
class VANE_EXPORT StreamHandler : public DataHandler {
 public:
  explicit StreamHandler(std::istream& in) : m_in(in) {}
  bool skip(std::uint64_t count) override;
  std::istream& stream() override { return m_in; }
  bool size(std::uint64_t& out) override {
    out = ~std::uint64_t(0);
    return false;
  }

 private:
  std::istream& m_in;
};

}  // namespace fileutil
