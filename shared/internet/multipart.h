// SPDX-License-Identifier: MIT
// The body of a multipart form post: for each file a boundary line, the
// Content-Disposition and Content-Type header lines, a blank line and the
// file's bytes; a closing boundary line ends it. The body is streamed from the
// files, so a large upload never sits in memory.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "platform/types.h"

namespace vane::internet {

struct MultipartFile {
  std::string name;      // form field name
  std::string path;      // local file (UTF-8)
  std::string fileName;  // name sent to the server (the path's last part when empty)
  std::string contentType;  // from the extension when empty
};

// The content type a file is sent with, from its extension.
std::string ReadContentTypeForFile(const std::string& path);

// A boundary that occurs in none of the files; empty when a file cannot be
// read. `seed` varies the candidates (tests pass a fixed one).
std::string FindMultipartBoundaryDelimiter(const std::vector<MultipartFile>& files, unsigned seed);

// Streams the body part by part.
class MultipartBody {
 public:
  MultipartBody() = default;
  ~MultipartBody();
  MultipartBody(const MultipartBody&) = delete;
  MultipartBody& operator=(const MultipartBody&) = delete;

  // Measures the files and lays out the segments; false when one cannot be read.
  bool Prepare(const std::vector<MultipartFile>& files, const std::string& boundary);
  ULONGLONG Size() const { return m_size; }
  // Fills up to `capacity` bytes; 0 at the end; -1 on a read failure.
  long long Read(char* buffer, size_t capacity);
  static size_t CurlRead(char* buffer, size_t size, size_t count, void* self);

 private:
  struct Segment {
    std::string text;  // literal bytes, or
    std::string path;  // a file's bytes
    ULONGLONG size = 0;
  };
  std::vector<Segment> m_segments;
  ULONGLONG m_size = 0;
  size_t m_index = 0;
  ULONGLONG m_offset = 0;
  FILE* m_file = nullptr;
};

}  // namespace vane::internet
