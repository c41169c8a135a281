// SPDX-License-Identifier: MIT
#include "kernel/lang_module.h"

#include <cstring>
#include <fstream>
#include <iterator>

#include "platform/wtext.h"

namespace vane::kernel {
namespace {

constexpr size_t kHeadBytes = 16;
constexpr size_t kDirEntryBytes = 12;
constexpr UINT kEntriesPerBlock = 16;

std::uint32_t Le32(const std::uint8_t* p) {
  return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24;
}
void Put32(std::vector<std::uint8_t>& b, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b.push_back(std::uint8_t(v >> (8 * i)));
}
void Put16(std::vector<std::uint8_t>& b, std::uint16_t v) {
  b.push_back(std::uint8_t(v));
  b.push_back(std::uint8_t(v >> 8));
}

}  // namespace

HRESULT LangModule::Parse(const std::uint8_t* bytes, size_t size) {
  m_strings.clear();
  m_lcid = 0;
  if (!bytes || size < kHeadBytes || std::memcmp(bytes, "VLNG", 4) != 0) return ZOERR_BAD_FORMAT;
  if (Le32(bytes + 4) != kLangModuleVersion) return ZOERR_BAD_FORMAT;
  const std::uint32_t blocks = Le32(bytes + 12);
  if (blocks > kLangModuleMaxBlocks || blocks > (size - kHeadBytes) / kDirEntryBytes) return ZOERR_BAD_FORMAT;
  std::map<UINT, std::u16string> strings;
  for (std::uint32_t b = 0; b < blocks; ++b) {
    const std::uint8_t* entry = bytes + kHeadBytes + size_t(b) * kDirEntryBytes;
    const std::uint32_t number = Le32(entry), offset = Le32(entry + 4), bytesInBlock = Le32(entry + 8);
    if (number == 0 || number > kLangModuleMaxBlocks || offset > size || bytesInBlock > size - offset)
      return ZOERR_BAD_FORMAT;
    size_t at = offset;
    const size_t end = size_t(offset) + bytesInBlock;
    for (UINT i = 0; i < kEntriesPerBlock; ++i) {
      if (end - at < 2) return ZOERR_BAD_FORMAT;
      const size_t chars = size_t(bytes[at]) | size_t(bytes[at + 1]) << 8;
      at += 2;
      if ((end - at) / 2 < chars) return ZOERR_BAD_FORMAT;
      if (chars) {
        std::u16string text(chars, u'\0');
        for (size_t k = 0; k < chars; ++k) text[k] = char16_t(bytes[at + 2 * k] | bytes[at + 2 * k + 1] << 8);
        strings[(number - 1) * kEntriesPerBlock + i] = std::move(text);
      }
      at += chars * 2;
    }
    if (at != end) return ZOERR_BAD_FORMAT;
  }
  m_lcid = Le32(bytes + 8);
  m_strings = std::move(strings);
  return S_OK;
}

HRESULT LangModule::Load(const std::u16string& path) {
  std::ifstream in(vane::platform::ToUtf8(path), std::ios::binary);
  if (!in) return ZOERR_FILE_OPEN;
  in.seekg(0, std::ios::end);
  const std::streamoff size = in.tellg();
  // A module is strings: anything past 64 MB is not one.
  if (size < 0 || size > (std::streamoff(64) << 20)) return ZOERR_BAD_FORMAT;
  in.seekg(0);
  std::vector<std::uint8_t> bytes(static_cast<size_t>(size));
  if (!in.read(reinterpret_cast<char*>(bytes.data()), size)) return ZOERR_FILE_READ;
  return Parse(bytes.data(), bytes.size());
}

const WCHAR* LangModule::Find(UINT id) const {
  auto it = m_strings.find(id);
  return it == m_strings.end() ? nullptr : it->second.c_str();
}

std::vector<std::uint8_t> LangModule::Build(const std::map<UINT, std::u16string>& strings, DWORD lcid) {
  std::map<UINT, std::vector<std::uint8_t>> blocks;
  for (auto it = strings.begin(); it != strings.end();) {
    const UINT number = it->first / kEntriesPerBlock + 1;
    std::vector<std::uint8_t> block;
    for (UINT i = 0; i < kEntriesPerBlock; ++i) {
      const UINT id = (number - 1) * kEntriesPerBlock + i;
      auto found = strings.find(id);
      const std::u16string text = found == strings.end() ? std::u16string() : found->second.substr(0, 0xFFFF);
      Put16(block, std::uint16_t(text.size()));
      for (char16_t c : text) Put16(block, std::uint16_t(c));
    }
    blocks[number] = std::move(block);
    while (it != strings.end() && it->first / kEntriesPerBlock + 1 == number) ++it;
  }
  std::vector<std::uint8_t> out{'V', 'L', 'N', 'G'};
  Put32(out, kLangModuleVersion);
  Put32(out, lcid);
  Put32(out, std::uint32_t(blocks.size()));
  std::uint32_t offset = std::uint32_t(kHeadBytes + blocks.size() * kDirEntryBytes);
  for (const auto& [number, block] : blocks) {
    Put32(out, number);
    Put32(out, offset);
    Put32(out, std::uint32_t(block.size()));
    offset += std::uint32_t(block.size());
  }
  for (const auto& [number, block] : blocks) out.insert(out.end(), block.begin(), block.end());
  return out;
}

HRESULT LangModule::ParseCatalogue(const std::string& text, std::map<UINT, std::u16string>* strings,
                                   size_t* badLine) {
  if (!strings) return E_POINTER;
  size_t lineNo = 0, at = 0;
  while (at <= text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(at, end - at);
    at = end + 1;
    ++lineNo;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') {
      if (end == text.size()) break;
      continue;
    }
    const size_t tab = line.find('\t');
    char* stop = nullptr;
    const unsigned long id = tab == std::string::npos ? 0 : std::strtoul(line.c_str(), &stop, 10);
    if (tab == std::string::npos || tab == 0 || stop != line.c_str() + tab || id >= 65536) {
      if (badLine) *badLine = lineNo;
      return ZOERR_BAD_FORMAT;
    }
    std::string value;
    for (size_t i = tab + 1; i < line.size(); ++i) {
      if (line[i] != '\\' || i + 1 == line.size()) {
        value.push_back(line[i]);
        continue;
      }
      const char next = line[++i];
      value.push_back(next == 'n' ? '\n' : next == 't' ? '\t' : next);
    }
    (*strings)[UINT(id)] = vane::platform::FromUtf8(value);
    if (end == text.size()) break;
  }
  return S_OK;
}

}  // namespace vane::kernel
