// SPDX-License-Identifier: MIT
// Private-profile (.ini) files with the platform's semantics: section and key
// names compare without case, a missing key yields the caller's default, a
// null key lists the keys of a section and a null section lists the sections,
// both as double-NUL lists. Files are UTF-8 on disk (a BOM is accepted).
//
// Writes are atomic: the new text goes to a temporary file beside the target
// and is renamed over it while an exclusive flock on the folder is held, so
// two processes (or threads) that change different keys never lose each
// other's work. Reads take a parsed snapshot that is reused until the file's
// identity (inode, size, time) changes.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// Copies the value (or the default, less trailing blanks) and returns the
// characters copied without terminator; a value that does not fit is cut to
// size-1 and size-1 is returned. A null key lists the section's keys, a null
// section the file's sections; a list that does not fit returns size-2.
VANE_EXPORT DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR buffer,
                                           DWORD size, LPCWSTR fileName);
// The key's leading decimal integer (with sign), or the default.
VANE_EXPORT UINT GetPrivateProfileIntW(LPCWSTR section, LPCWSTR key, INT defaultValue, LPCWSTR fileName);
// A null value deletes the key, a null key deletes the section. Creates the
// file (not its folder). FALSE with the last error set on failure.
VANE_EXPORT BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR fileName);
// "key=value" items of a section as a double-NUL list.
VANE_EXPORT DWORD GetPrivateProfileSectionW(LPCWSTR section, LPWSTR buffer, DWORD size, LPCWSTR fileName);
VANE_EXPORT DWORD GetPrivateProfileSectionNamesW(LPWSTR buffer, DWORD size, LPCWSTR fileName);
VANE_END_EXTERN_C

namespace vane::platform {

// The parsed text of one profile file. Comment and blank lines are kept so a
// rewrite changes only what was asked. Not thread-safe; snapshots handed out
// by LoadIniSnapshot are immutable.
class IniFile {
 public:
  struct Line {
    std::u16string key;    // empty for a comment or blank line
    std::u16string value;  // as stored (quotes kept); raw text for comments
    bool isEntry = false;
  };
  struct Section {
    std::u16string name;
    std::vector<Line> lines;
  };

  // Parses UTF-8 text; never fails (unreadable lines become comments).
  static IniFile Parse(std::string_view utf8);
  std::string Serialize() const;

  const Section* FindSection(std::u16string_view name) const;
  // Null when absent. The value comes with surrounding blanks trimmed and one
  // pair of matching quotes removed.
  const std::u16string* Find(std::u16string_view section, std::u16string_view key) const;
  std::vector<std::u16string> SectionNames() const;
  std::vector<std::u16string> Keys(std::u16string_view section) const;

  void Set(std::u16string_view section, std::u16string_view key, std::u16string_view value);
  bool DeleteKey(std::u16string_view section, std::u16string_view key);
  bool DeleteSection(std::u16string_view section);

 private:
  Section* FindSectionMutable(std::u16string_view name);
  std::vector<Section> m_sections;  // m_sections[0] holds lines before any header (name empty)
};

// A snapshot of the file, parsed once per file identity; an absent or
// unreadable file gives null.
VANE_EXPORT std::shared_ptr<const IniFile> LoadIniSnapshot(const std::string& utf8Path);

// Runs `edit` on the current contents under the folder's lock and writes the
// result atomically when `edit` returns true. Returns a Win32 error number
// (0 on success).
VANE_EXPORT DWORD UpdateIniFile(const std::string& utf8Path, const std::function<bool(IniFile&)>& edit);

}  // namespace vane::platform
