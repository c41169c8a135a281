// SPDX-License-Identifier: MIT
#include "tests/internet/inet_test_util.h"

#include <chrono>
#include <fstream>
#include <thread>
#include <vector>

namespace vane::test {

void WritePatternFile(const std::filesystem::path& file, unsigned long long size, unsigned seed) {
  std::ofstream out(file, std::ios::binary);
  std::vector<char> block(1 << 20);
  unsigned long long written = 0;
  unsigned state = seed * 2654435761u + 1;
  while (written < size) {
    for (char& c : block) {
      state = state * 1103515245u + 12345u;
      c = static_cast<char>(state >> 24);
    }
    const size_t n = static_cast<size_t>(std::min<unsigned long long>(block.size(), size - written));
    out.write(block.data(), static_cast<std::streamsize>(n));
    written += n;
  }
}

bool FilesEqual(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::ifstream fa(a, std::ios::binary), fb(b, std::ios::binary);
  if (!fa || !fb) return false;
  std::vector<char> ba(1 << 20), bb(1 << 20);
  for (;;) {
    fa.read(ba.data(), static_cast<std::streamsize>(ba.size()));
    fb.read(bb.data(), static_cast<std::streamsize>(bb.size()));
    if (fa.gcount() != fb.gcount()) return false;
    if (!std::equal(ba.begin(), ba.begin() + fa.gcount(), bb.begin())) return false;
    if (fa.gcount() == 0) return true;
  }
}

bool WaitForNoLiveObjects(int seconds, LONG remaining) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (CZoInetBase::LiveObjectCount() > remaining) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

int CountPartialFiles(const std::filesystem::path& folder) {
  int n = 0;
  for (const auto& e : std::filesystem::directory_iterator(folder))
    if (e.path().filename().string().find(".part") != std::string::npos) ++n;
  return n;
}

}  // namespace vane::test
