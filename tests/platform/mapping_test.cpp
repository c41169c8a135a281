// SPDX-License-Identifier: MIT
#include "platform/mapping.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "platform/file.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

using vane::test::ReadBytes;
using vane::test::ScratchDir;
using vane::test::WriteBytes;

namespace {

HANDLE OpenFile(const std::filesystem::path& p, DWORD access) {
  const std::u16string name = vane::platform::FromUtf8(p.string());
  return CreateFileW(name.c_str(), access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

std::vector<std::uint8_t> Pattern(size_t n) {
  std::vector<std::uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = std::uint8_t((i * 7) ^ (i >> 8));
  return v;
}

}  // namespace

TEST(Mapping, ViewsAtAnyOffsetSeeTheFileBytes) {
  ScratchDir dir;
  const auto data = Pattern(5 * 4096 + 123);
  WriteBytes(dir / "f", data);
  HANDLE file = OpenFile(dir / "f", GENERIC_READ);
  HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  ASSERT_NE(mapping, nullptr);
  CloseHandle(file);  // the mapping keeps its own descriptor
  for (DWORD offset : {0u, 4096u, 3u * 4096u + 100u, DWORD(data.size() - 1)}) {
    const SIZE_T bytes = data.size() - offset;
    auto* view = static_cast<const std::uint8_t*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, offset, 0));
    ASSERT_NE(view, nullptr) << offset;
    EXPECT_EQ(std::memcmp(view, data.data() + offset, bytes), 0) << offset;
    EXPECT_TRUE(UnmapViewOfFile(view));
  }
  SetLastError(0);
  EXPECT_EQ(MapViewOfFile(mapping, FILE_MAP_READ, 0, 4096, data.size()), nullptr);  // past the end
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0), nullptr);  // read-only mapping
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  void* copy = MapViewOfFile(mapping, FILE_MAP_COPY, 0, 0, 1);  // a private copy is fine
  ASSERT_NE(copy, nullptr);
  static_cast<char*>(copy)[0] = 9;
  EXPECT_EQ(ReadBytes(dir / "f")[0], data[0]);
  UnmapViewOfFile(copy);
  CloseHandle(mapping);
}

TEST(Mapping, WritesReachTheFileAndViewsOutliveTheHandle) {
  ScratchDir dir;
  WriteBytes(dir / "f", std::vector<std::uint8_t>(100, 0));
  HANDLE file = OpenFile(dir / "f", GENERIC_READ | GENERIC_WRITE);
  // A larger size grows a writable file.
  HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 8192, nullptr);
  ASSERT_NE(mapping, nullptr);
  auto* view = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 4100, 10));
  ASSERT_NE(view, nullptr);
  CloseHandle(mapping);
  CloseHandle(file);
  std::memcpy(view, "hello", 5);
  EXPECT_TRUE(FlushViewOfFile(view + 2, 0));
  SetLastError(0);
  EXPECT_FALSE(UnmapViewOfFile(view + 1));  // only the address handed out
  EXPECT_EQ(GetLastError(), ERROR_INVALID_ADDRESS);
  EXPECT_TRUE(UnmapViewOfFile(view));
  EXPECT_FALSE(UnmapViewOfFile(view));
  const auto bytes = ReadBytes(dir / "f");
  ASSERT_EQ(bytes.size(), 8192u);
  EXPECT_EQ(std::memcmp(bytes.data() + 4100, "hello", 5), 0);
}

TEST(Mapping, SharedMemoryIsOneObjectAcrossViewsNamesAndDescriptors) {
  HANDLE a = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 65536, u"vane-test-shared");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  HANDLE b = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 65536, u"vane-test-shared");
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  HANDLE c = ZoMappingFromFd(dup(ZoMappingToFd(a)), PAGE_READWRITE);
  ASSERT_NE(c, nullptr);
  auto* va = static_cast<char*>(MapViewOfFile(a, FILE_MAP_ALL_ACCESS, 0, 0, 0));
  auto* vb = static_cast<char*>(MapViewOfFile(b, FILE_MAP_READ, 0, 60000, 16));
  auto* vc = static_cast<char*>(MapViewOfFile(c, FILE_MAP_READ, 0, 0, 0));
  ASSERT_TRUE(va && vb && vc);
  std::strcpy(va + 60000, "shared");
  EXPECT_STREQ(vb, "shared");
  EXPECT_STREQ(vc + 60000, "shared");
  for (void* v : {static_cast<void*>(va), static_cast<void*>(vb), static_cast<void*>(vc)}) UnmapViewOfFile(v);
  for (HANDLE h : {a, b, c}) EXPECT_TRUE(CloseHandle(h));
  EXPECT_EQ(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 0, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(MapViewOfFile(a, FILE_MAP_READ, 0, 0, 0), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(Mapping, EmptyFileAndWriteMappingOfReadOnlyFileAreRefused) {
  ScratchDir dir;
  WriteBytes(dir / "empty", {});
  WriteBytes(dir / "ro", {1, 2, 3});
  HANDLE empty = OpenFile(dir / "empty", GENERIC_READ);
  EXPECT_EQ(CreateFileMappingW(empty, nullptr, PAGE_READONLY, 0, 0, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_FILE_INVALID);
  HANDLE ro = OpenFile(dir / "ro", GENERIC_READ);
  EXPECT_EQ(CreateFileMappingW(ro, nullptr, PAGE_READWRITE, 0, 0, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(CreateFileMappingW(ro, nullptr, PAGE_READONLY, 0, 100, nullptr), nullptr);  // cannot grow
  CloseHandle(empty);
  CloseHandle(ro);
}
