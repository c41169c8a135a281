// SPDX-License-Identifier: MIT
#include "shared/internet/multipart.h"

#include <sys/stat.h>

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <random>
#include <string_view>

namespace vane::internet {

namespace {

struct TypeRow {
  std::string_view extension;
  std::string_view type;
};

constexpr std::array<TypeRow, 22> kContentTypes{{
    {"wav", "audio/wav"},         {"w64", "audio/x-w64"},      {"aif", "audio/aiff"},
    {"aiff", "audio/aiff"},       {"mp3", "audio/mpeg"},       {"m4a", "audio/mp4"},
    {"aac", "audio/aac"},         {"flac", "audio/flac"},      {"ogg", "audio/ogg"},
    {"mp4", "video/mp4"},         {"m4v", "video/mp4"},        {"mov", "video/quicktime"},
    {"3gp", "video/3gpp"},        {"jpg", "image/jpeg"},       {"jpeg", "image/jpeg"},
    {"png", "image/png"},         {"txt", "text/plain"},       {"xml", "application/xml"},
    {"json", "application/json"}, {"zip", "application/zip"},  {"html", "text/html"},
    {"htm", "text/html"},
}};

std::string LastPart(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Quotes a header parameter; quotes and line breaks cannot stand inside it.
std::string Quoted(const std::string& value) {
  std::string out = "\"";
  for (char c : value) {
    if (c == '"') out += "%22";
    else if (c == '\r') out += "%0D";
    else if (c == '\n') out += "%0A";
    else out += c;
  }
  return out + "\"";
}

bool FileContains(const std::string& path, const std::string& needle) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return true;
  std::vector<char> buffer(1 << 16);
  std::string window;  // the tail of what was read, then the new bytes
  bool found = false;
  size_t got;
  while (!found && (got = fread(buffer.data(), 1, buffer.size(), f)) > 0) {
    window.append(buffer.data(), got);
    found = window.find(needle) != std::string::npos;
    if (window.size() >= needle.size()) window.erase(0, window.size() - (needle.size() - 1));
  }
  const bool readFailed = ferror(f) != 0;
  fclose(f);
  return found || readFailed;
}

}  // namespace

std::string ReadContentTypeForFile(const std::string& path) {
  const std::string name = LastPart(path);
  const size_t dot = name.find_last_of('.');
  if (dot != std::string::npos) {
    std::string ext = name.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const TypeRow& row : kContentTypes)
      if (row.extension == ext) return std::string(row.type);
  }
  return "application/octet-stream";
}

std::string FindMultipartBoundaryDelimiter(const std::vector<MultipartFile>& files, unsigned seed) {
  std::mt19937 random(seed);
  for (int attempt = 0; attempt < 8; ++attempt) {
    char text[48];
    snprintf(text, sizeof text, "----ZoInetBoundary%08x%08x", static_cast<unsigned>(random()),
             static_cast<unsigned>(random()));
    const std::string boundary = text;
    const bool clash = std::any_of(files.begin(), files.end(),
                                   [&](const MultipartFile& f) { return FileContains(f.path, boundary); });
    if (!clash) return boundary;
  }
  return {};
}

MultipartBody::~MultipartBody() {
  if (m_file) fclose(m_file);
}

bool MultipartBody::Prepare(const std::vector<MultipartFile>& files, const std::string& boundary) {
  m_segments.clear();
  m_size = 0;
  m_index = 0;
  m_offset = 0;
  for (const MultipartFile& file : files) {
    struct stat st {};
    if (stat(file.path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    const std::string fileName = file.fileName.empty() ? LastPart(file.path) : file.fileName;
    const std::string type = file.contentType.empty() ? ReadContentTypeForFile(file.path) : file.contentType;
    std::string head = "--" + boundary + "\r\nContent-Disposition: form-data; name=" + Quoted(file.name) +
                       "; filename=" + Quoted(fileName) + "\r\nContent-Type: " + type + "\r\n\r\n";
    m_segments.push_back({head, {}, head.size()});
    m_segments.push_back({{}, file.path, static_cast<ULONGLONG>(st.st_size)});
    m_segments.push_back({"\r\n", {}, 2});
  }
  const std::string tail = "--" + boundary + "--\r\n";
  m_segments.push_back({tail, {}, tail.size()});
  for (const Segment& s : m_segments) m_size += s.size;
  return true;
}

long long MultipartBody::Read(char* buffer, size_t capacity) {
  size_t filled = 0;
  while (filled < capacity && m_index < m_segments.size()) {
    Segment& s = m_segments[m_index];
    const size_t want = static_cast<size_t>(std::min<ULONGLONG>(capacity - filled, s.size - m_offset));
    size_t got = want;
    if (s.path.empty()) {
      memcpy(buffer + filled, s.text.data() + m_offset, want);
    } else {
      if (!m_file && !(m_file = fopen(s.path.c_str(), "rb"))) return -1;
      got = fread(buffer + filled, 1, want, m_file);
      // A file that shrank since Prepare cannot fill the length already announced.
      if (got == 0 && want > 0) return -1;
    }
    filled += got;
    m_offset += got;
    if (m_offset == s.size) {
      if (m_file) {
        fclose(m_file);
        m_file = nullptr;
      }
      ++m_index;
      m_offset = 0;
    }
  }
  return static_cast<long long>(filled);
}

size_t MultipartBody::CurlRead(char* buffer, size_t size, size_t count, void* self) {
  const long long got = static_cast<MultipartBody*>(self)->Read(buffer, size * count);
  return got < 0 ? CURL_READFUNC_ABORT : static_cast<size_t>(got);
}

}  // namespace vane::internet
