// SPDX-License-Identifier: MIT
// Helpers shared by the test suites: scratch folders, byte files, and the
// field's own tools (ffmpeg, sox, ...) run to make fixtures at test time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vane::test {

// A fresh folder under the temp folder, removed with the object.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::filesystem::path& path() const { return m_path; }
  std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

 private:
  std::filesystem::path m_path;
};

std::vector<std::uint8_t> ReadBytes(const std::filesystem::path& file);
void WriteBytes(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes);

// Whether a program is on PATH.
bool HaveTool(const std::string& program);
// Runs a shell command line, output discarded unless capture is given;
// returns the exit status.
int RunCommand(const std::string& commandLine, std::string* capture = nullptr);
// Quotes one argument for the shell.
std::string ShellQuote(const std::string& arg);

// Skips the current test with a message when a tool is absent.
#define VANE_REQUIRE_TOOL(tool)                                        \
  do {                                                                 \
    if (!::vane::test::HaveTool(tool)) GTEST_SKIP() << tool " is not installed"; \
  } while (0)

// Little-endian and big-endian byte builders for hand-made fixtures.
class ByteWriter {
 public:
  ByteWriter& u8(std::uint8_t v);
  ByteWriter& u16le(std::uint16_t v);
  ByteWriter& u32le(std::uint32_t v);
  ByteWriter& u64le(std::uint64_t v);
  ByteWriter& u16be(std::uint16_t v);
  ByteWriter& u32be(std::uint32_t v);
  ByteWriter& u64be(std::uint64_t v);
  ByteWriter& fourcc(const char* code);
  ByteWriter& bytes(const void* data, std::size_t size);
  ByteWriter& zeros(std::size_t count);
  // Overwrites 4 bytes at an earlier offset (for sizes known later).
  ByteWriter& patch32le(std::size_t offset, std::uint32_t v);
  ByteWriter& patch32be(std::size_t offset, std::uint32_t v);
  std::size_t size() const { return m_bytes.size(); }
  const std::vector<std::uint8_t>& data() const { return m_bytes; }

 private:
  std::vector<std::uint8_t> m_bytes;
};

}  // namespace vane::test
