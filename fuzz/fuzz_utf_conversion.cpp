// SPDX-License-Identifier: MIT
// Code-page conversions on untrusted bytes (text from chunks and tags). The
// first byte picks the code page; the rest is text. Checks, beyond memory
// safety: single-byte code pages round-trip every byte, UTF-8 decoding is
// stable after one pass, and the counting pass agrees with the writing pass.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/wtext.h"

namespace {

constexpr UINT kCodePages[] = {CP_UTF8, CP_1252, CP_LATIN1, CP_ACP};

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const UINT cp = kCodePages[data[0] % 4];
  const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  const int srcLength = bytes.empty() ? -1 : int(bytes.size());

  const int needed = MultiByteToWideChar(cp, 0, bytes.c_str(), srcLength, nullptr, 0);
  Check(needed > 0);
  std::u16string wide(size_t(needed), u'\0');
  Check(MultiByteToWideChar(cp, 0, bytes.c_str(), srcLength, wide.data(), needed) == needed);
  if (needed > 1) {
    // One unit short must fail cleanly, never write past the buffer.
    std::u16string shortBuf(size_t(needed - 1), u'\0');
    Check(MultiByteToWideChar(cp, 0, bytes.c_str(), srcLength, shortBuf.data(), needed - 1) == 0);
  }

  const std::string back = vane::platform::ToCodePage(wide, cp);
  if (cp == CP_1252 || cp == CP_LATIN1 || (cp == CP_ACP && GetACP() != CP_UTF8)) {
    Check(back == std::string(bytes.c_str(), size_t(srcLength < 0 ? 1 : srcLength)).substr(0, back.size()));
  } else {
    // UTF-8: the replacement pass is idempotent.
    Check(vane::platform::FromUtf8(back) == wide);
  }

  // The same bytes read as UTF-16 (unpaired surrogates and all).
  std::u16string units(bytes.size() / 2, u'\0');
  std::memcpy(units.data(), bytes.data(), units.size() * 2);
  if (!units.empty()) {
    const int n = WideCharToMultiByte(cp, 0, units.data(), int(units.size()), nullptr, 0, nullptr, nullptr);
    Check(n > 0);
    std::string out(size_t(n), '\0');
    Check(WideCharToMultiByte(cp, 0, units.data(), int(units.size()), out.data(), n, nullptr, nullptr) == n);
    const std::u16string again = vane::platform::FromCodePage(out, cp);
    Check(vane::platform::ToCodePage(again, cp) == out);
  }
  return 0;
}
