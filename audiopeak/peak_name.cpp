// SPDX-License-Identifier: MIT
#include "audiopeak/detail/peak_name.h"

#include <atomic>
#include <cstdio>

#include "platform/file.h"
#include "platform/folders.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace vane::audiopeak {

namespace {

constexpr size_t kMaxPath = 260;
std::atomic<unsigned> g_tempCounter{0};

bool EndsWithWav(const std::u16string& path) {
  if (path.size() < 4) return false;
  const std::u16string ext = path.substr(path.size() - 4);
  return ZoWcsICmp(ext.c_str(), u".wav") == 0;
}

}  // namespace

std::u16string PeakNameBesideMedia(const std::u16string& mediaPath, int streamIndex) {
  if (mediaPath.empty()) return {};
  std::u16string stem = EndsWithWav(mediaPath) ? mediaPath.substr(0, mediaPath.size() - 4) : mediaPath;
  std::u16string suffix = u".zok";
  if (streamIndex >= 0) suffix += platform::FromUtf8(std::to_string(streamIndex));
  if (stem.size() + suffix.size() >= kMaxPath) stem.resize(kMaxPath - 1 - suffix.size());
  return stem + suffix;
}

HRESULT TemporaryPeakName(LPCWSTR folder, std::u16string* name) {
  name->clear();
  std::u16string dir;
  if (folder && *folder) {
    dir = folder;
  } else {
    WCHAR temp[kMaxPath * 4];
    const DWORD n = GetTempPathW(DWORD(sizeof temp / sizeof temp[0]), temp);
    if (n > 0 && n < sizeof temp / sizeof temp[0]) dir.assign(temp, n);
  }
  if (!dir.empty() && dir.back() != u'/') dir += u'/';
  for (;;) {
    const unsigned n = ++g_tempCounter;
    if (n > 9999) return S_FALSE;
    char leaf[16];
    std::snprintf(leaf, sizeof leaf, "ZOK%.04u.TMP", n);
    std::u16string candidate = dir + platform::FromUtf8(leaf);
    if (GetFileAttributesW(candidate.c_str()) == INVALID_FILE_ATTRIBUTES) {
      *name = std::move(candidate);
      return S_OK;
    }
  }
}

}  // namespace vane::audiopeak
