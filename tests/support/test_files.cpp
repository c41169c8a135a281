// SPDX-License-Identifier: MIT
#include "tests/support/test_files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>

namespace vane::test {

ScratchDir::ScratchDir() {
  const char* base = std::getenv("TMPDIR");
  std::filesystem::path root = base && *base ? base : "/tmp";
  std::random_device rd;
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = root / ("vane-test-" + std::to_string(getpid()) + "-" + std::to_string(rd()));
    std::error_code ec;
    if (std::filesystem::create_directory(candidate, ec)) {
      m_path = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a scratch folder");
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  std::filesystem::remove_all(m_path, ec);
}

std::vector<std::uint8_t> ReadBytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteBytes(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

std::string ShellQuote(const std::string& arg) {
  std::string out = "'";
  for (char c : arg) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

bool HaveTool(const std::string& program) {
  return RunCommand("command -v " + ShellQuote(program) + " >/dev/null 2>&1") == 0;
}

int RunCommand(const std::string& commandLine, std::string* capture) {
  std::string line = commandLine;
  if (!capture) {
    int rc = std::system((line + " >/dev/null 2>&1").c_str());
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  }
  FILE* pipe = popen(line.c_str(), "r");
  if (!pipe) return -1;
  std::array<char, 4096> buf;
  size_t n;
  capture->clear();
  while ((n = fread(buf.data(), 1, buf.size(), pipe)) > 0) capture->append(buf.data(), n);
  int rc = pclose(pipe);
  return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

ByteWriter& ByteWriter::u8(std::uint8_t v) {
  m_bytes.push_back(v);
  return *this;
}
ByteWriter& ByteWriter::u16le(std::uint16_t v) { return u8(v & 0xFF).u8(v >> 8); }
ByteWriter& ByteWriter::u32le(std::uint32_t v) { return u16le(v & 0xFFFF).u16le(v >> 16); }
ByteWriter& ByteWriter::u64le(std::uint64_t v) { return u32le(std::uint32_t(v)).u32le(std::uint32_t(v >> 32)); }
ByteWriter& ByteWriter::u16be(std::uint16_t v) { return u8(v >> 8).u8(v & 0xFF); }
ByteWriter& ByteWriter::u32be(std::uint32_t v) { return u16be(v >> 16).u16be(v & 0xFFFF); }
ByteWriter& ByteWriter::u64be(std::uint64_t v) { return u32be(std::uint32_t(v >> 32)).u32be(std::uint32_t(v)); }
ByteWriter& ByteWriter::fourcc(const char* code) { return bytes(code, 4); }
ByteWriter& ByteWriter::bytes(const void* data, std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  m_bytes.insert(m_bytes.end(), p, p + size);
  return *this;
}
ByteWriter& ByteWriter::zeros(std::size_t count) {
  m_bytes.insert(m_bytes.end(), count, 0);
  return *this;
}
ByteWriter& ByteWriter::patch32le(std::size_t offset, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) m_bytes.at(offset + i) = std::uint8_t(v >> (8 * i));
  return *this;
}
ByteWriter& ByteWriter::patch32be(std::size_t offset, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) m_bytes.at(offset + i) = std::uint8_t(v >> (24 - 8 * i));
  return *this;
}

}  // namespace vane::test
