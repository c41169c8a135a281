// SPDX-License-Identifier: MIT
// Shared pieces of the internet tests: a notify sink that counts, files of a
// known pattern, and waits bounded in time.
#pragma once

#include <atomic>
#include <filesystem>
#include <string>

#include "shared/internet/inet_base.h"

namespace vane::test {

struct CountingNotify : IZoInetRequestNotify {
  std::atomic<ULONGLONG> bytes{0};
  std::atomic<int> progressCalls{0};
  std::atomic<int> doneCalls{0};
  std::atomic<HRESULT> lastResult{S_OK};
  void OnTransferProgress(ULONGLONG n) override {
    bytes += n;
    ++progressCalls;
  }
  void OnRequestDone(HRESULT result, DWORD) override {
    lastResult = result;
    ++doneCalls;
  }
};

// Window messages counted by number.
struct MessageCounter {
  std::atomic<int> done{0};
  std::atomic<int> progress{0};
  static void Post(void* window, UINT message, WPARAM, LPARAM) {
    auto* self = static_cast<MessageCounter*>(window);
    if (message == ZOINET_MSG_REQUEST_DONE) ++self->done;
    if (message == ZOINET_MSG_TRANSFER_PROGRESS) ++self->progress;
  }
};

// Writes `size` bytes of a position-dependent pattern.
void WritePatternFile(const std::filesystem::path& file, unsigned long long size, unsigned seed);
bool FilesEqual(const std::filesystem::path& a, const std::filesystem::path& b);
// Waits until no more than `remaining` internet objects are alive, at most `seconds`.
bool WaitForNoLiveObjects(int seconds, LONG remaining = 0);
// Leftover partial files in a folder.
int CountPartialFiles(const std::filesystem::path& folder);

}  // namespace vane::test
