// SPDX-License-Identifier: MIT
// Small helpers of the RIFF tests: wide names, owned handles, and running
// the field's tools to make fixtures.
#pragma once

#include <filesystem>
#include <string>

#include "platform/file.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace vane::test {

inline std::u16string Wide(const std::filesystem::path& p) { return platform::FromUtf8(p.string()); }

class Handle {
 public:
  explicit Handle(const std::filesystem::path& p, bool write = false)
      : m_h(CreateFileW(Wide(p).c_str(), write ? (GENERIC_READ | GENERIC_WRITE) : GENERIC_READ, FILE_SHARE_READ,
                        nullptr, OPEN_EXISTING, 0, nullptr)) {}
  ~Handle() {
    if (m_h != INVALID_HANDLE_VALUE) CloseHandle(m_h);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  HANDLE get() const { return m_h; }
  bool ok() const { return m_h != INVALID_HANDLE_VALUE; }

 private:
  HANDLE m_h;
};

// Runs a tool quietly; true on exit status 0.
inline bool Make(const std::string& command) { return RunCommand(command + " </dev/null") == 0; }

}  // namespace vane::test
