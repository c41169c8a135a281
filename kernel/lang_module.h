// SPDX-License-Identifier: MIT
// Language modules: the strings of a module in one language, in a ".lng"
// file beside it. The file is string blocks as the resource format has them
// (block n holds the ids 16*(n-1) to 16*n-1; each of its 16 entries is a
// 16-bit length and that many UTF-16 characters), behind a directory:
//
//   offset 0   "VLNG", u32 version 1, u32 LCID, u32 block count
//   offset 16  per block: u32 block number, u32 offset, u32 byte size
//   then       the blocks, each inside the file
//
// All values little-endian. The reader checks every offset and size against
// the file before it trusts them; a damaged file is refused whole.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

namespace vane::kernel {

inline constexpr std::uint32_t kLangModuleVersion = 1;
inline constexpr std::uint32_t kLangModuleMaxBlocks = 4096;  // ids below 65536

class VANE_EXPORT LangModule {
 public:
  // Reads a module from bytes: ZOERR_BAD_FORMAT for anything damaged.
  HRESULT Parse(const std::uint8_t* bytes, size_t size);
  HRESULT Load(const std::u16string& path);
  // The text of an id, or null when the module has none (an empty entry is none).
  const WCHAR* Find(UINT id) const;
  DWORD Lcid() const { return m_lcid; }
  size_t Count() const { return m_strings.size(); }
  const std::map<UINT, std::u16string>& Strings() const { return m_strings; }

  // The file bytes for a catalogue of id and text in one language.
  static std::vector<std::uint8_t> Build(const std::map<UINT, std::u16string>& strings, DWORD lcid);
  // A text catalogue: one "id<TAB>text" a line, "\n", "\t" and "\\" escaped,
  // lines starting with '#' and blank lines ignored. ZOERR_BAD_FORMAT with
  // the line number in *badLine for a line that is not of that form.
  static HRESULT ParseCatalogue(const std::string& text, std::map<UINT, std::u16string>* strings, size_t* badLine);

 private:
  DWORD m_lcid = 0;
  std::map<UINT, std::u16string> m_strings;
};

}  // namespace vane::kernel
