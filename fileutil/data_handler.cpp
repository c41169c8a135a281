// SPDX-License-Identifier: MIT
#include "fileutil/data_handler.h"

#include <algorithm>
#include <limits>

#include "platform/wtext.h"

namespace fileutil {

namespace {
constexpr std::uint64_t kMaxStep = 0x7FFFFFFFFFFFFFFFull;
}

DataHandler::~DataHandler() = default;

std::uint64_t DataHandler::read(void* buffer, std::uint64_t count) {
  std::istream& in = stream();
  if (!in.good() || count == 0) return 0;
  in.read(static_cast<char*>(buffer), std::streamsize(std::min<std::uint64_t>(count, kMaxStep)));
  const auto got = std::uint64_t(in.gcount());
  m_delivered += got;
  return got;
}

bool DataHandler::seekForward(std::istream& in, std::uint64_t count) {
  ++m_skips;
  while (count > 0) {
    const std::uint64_t step = std::min(count, kMaxStep);
    in.seekg(std::streamoff(step), std::ios::cur);
    if (in.fail()) return false;  // a failed seek ends the skip
    count -= step;
  }
  return true;
}

bool DataHandler::seekableSize(std::istream& in, std::uint64_t& out) {
  in.clear();
  in.seekg(0, std::ios::end);
  const std::streamoff end = in.tellg();
  in.seekg(0, std::ios::beg);
  in.clear();
  if (end < 0) {
    out = ~std::uint64_t(0);
    return false;
  }
  out = std::uint64_t(end);
  return true;
}

FileHandler::FileHandler(const WCHAR* path)
    : m_file(vane::platform::ToUtf8(path), std::ios::binary | std::ios::in) {}

FileHandler::FileHandler(const std::filesystem::path& path) : m_file(path, std::ios::binary | std::ios::in) {}

bool StreamHandler::skip(std::uint64_t count) {
  ++m_skips;
  constexpr auto kStep = std::uint64_t(std::numeric_limits<std::streamsize>::max());
  while (count > 0 && m_in.good()) {
    const std::uint64_t step = std::min(count, kStep);
    m_in.ignore(std::streamsize(step));
    const auto got = std::uint64_t(m_in.gcount());
    if (got < step) return false;
    count -= step;
  }
  return count == 0;
}

}  // namespace fileutil
