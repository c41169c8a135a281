// SPDX-License-Identifier: MIT
#include "platform/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <thread>

#include "platform/wtext.h"
#include "tests/support/test_files.h"

using vane::platform::FromUtf8;
using vane::test::ReadBytes;
using vane::test::ScratchDir;
using vane::test::WriteBytes;

namespace {

std::u16string W(const std::filesystem::path& p) { return FromUtf8(p.string()); }

HANDLE Open(const std::filesystem::path& p, DWORD access, DWORD disposition) {
  return CreateFileW(W(p).c_str(), access, FILE_SHARE_READ, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

struct DispositionCase {
  DWORD disposition;
  bool exists;
  bool opens;
  DWORD lastError;
  std::uintmax_t sizeAfter;  // the existing file holds 3 bytes
};
void PrintTo(const DispositionCase& c, std::ostream* os) {
  *os << "disposition " << c.disposition << (c.exists ? " over an existing file" : " without a file");
}

class Disposition : public testing::TestWithParam<DispositionCase> {};

}  // namespace

TEST_P(Disposition, OpensCreatesOrTruncatesAsTold) {
  const DispositionCase& c = GetParam();
  ScratchDir dir;
  const auto file = dir / "f.bin";
  if (c.exists) WriteBytes(file, {1, 2, 3});
  HANDLE h = Open(file, GENERIC_READ | GENERIC_WRITE, c.disposition);
  EXPECT_EQ(h != INVALID_HANDLE_VALUE, c.opens);
  EXPECT_EQ(GetLastError(), c.lastError);
  if (h != INVALID_HANDLE_VALUE) {
    EXPECT_TRUE(CloseHandle(h));
  }
  if (c.opens || c.exists) {
    EXPECT_EQ(std::filesystem::file_size(file), c.sizeAfter);
  }
}

INSTANTIATE_TEST_SUITE_P(
    AllDispositions, Disposition,
    testing::Values(DispositionCase{CREATE_NEW, false, true, ERROR_SUCCESS, 0},
                    DispositionCase{CREATE_NEW, true, false, ERROR_FILE_EXISTS, 3},
                    DispositionCase{CREATE_ALWAYS, false, true, ERROR_SUCCESS, 0},
                    DispositionCase{CREATE_ALWAYS, true, true, ERROR_ALREADY_EXISTS, 0},
                    DispositionCase{OPEN_EXISTING, false, false, ERROR_FILE_NOT_FOUND, 0},
                    DispositionCase{OPEN_EXISTING, true, true, ERROR_SUCCESS, 3},
                    DispositionCase{OPEN_ALWAYS, false, true, ERROR_SUCCESS, 0},
                    DispositionCase{OPEN_ALWAYS, true, true, ERROR_ALREADY_EXISTS, 3},
                    DispositionCase{TRUNCATE_EXISTING, false, false, ERROR_FILE_NOT_FOUND, 0},
                    DispositionCase{TRUNCATE_EXISTING, true, true, ERROR_SUCCESS, 0}));

TEST(File, MissingFolderIsPathNotFoundAndDirectoryIsRefused) {
  ScratchDir dir;
  EXPECT_EQ(Open(dir / "no" / "f", GENERIC_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(Open(dir.path(), GENERIC_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(CreateFileW(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(CreateFileW(u"", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(Open(dir / "x", GENERIC_READ, 99), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(File, ReadStopsShortOnlyAtTheEndAndSucceedsWithZeroThere) {
  ScratchDir dir;
  WriteBytes(dir / "f", {1, 2, 3, 4, 5});
  HANDLE h = Open(dir / "f", GENERIC_READ, OPEN_EXISTING);
  unsigned char buf[8];
  DWORD got = 99;
  EXPECT_TRUE(ReadFile(h, buf, 3, &got, nullptr));
  EXPECT_EQ(got, 3u);
  EXPECT_TRUE(ReadFile(h, buf, 8, &got, nullptr));
  EXPECT_EQ(got, 2u);
  EXPECT_EQ(buf[1], 5);
  EXPECT_TRUE(ReadFile(h, buf, 8, &got, nullptr));
  EXPECT_EQ(got, 0u);
  // A positioned read at the end reports the end.
  OVERLAPPED at{};
  at.Offset = 5;
  EXPECT_FALSE(ReadFile(h, buf, 1, &got, &at));
  EXPECT_EQ(GetLastError(), ERROR_HANDLE_EOF);
  at.Offset = 1;
  EXPECT_TRUE(ReadFile(h, buf, 2, &got, &at));
  EXPECT_EQ(buf[0], 2);
  // Not opened for writing.
  EXPECT_FALSE(WriteFile(h, buf, 1, &got, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(got, 0u);
  CloseHandle(h);
  EXPECT_FALSE(ReadFile(h, buf, 1, &got, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(File, SeekBeforeStartFailsAndLeavesThePointer) {
  ScratchDir dir;
  HANDLE h = Open(dir / "f", GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
  DWORD n;
  WriteFile(h, "abcdef", 6, &n, nullptr);
  EXPECT_EQ(SetFilePointer(h, 2, nullptr, FILE_BEGIN), 2u);
  EXPECT_EQ(SetFilePointer(h, -3, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_NEGATIVE_SEEK);
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, FILE_CURRENT), 2u);
  LARGE_INTEGER back{}, pos{};
  back.QuadPart = -7;
  EXPECT_FALSE(SetFilePointerEx(h, back, &pos, FILE_END));
  EXPECT_EQ(GetLastError(), ERROR_NEGATIVE_SEEK);
  back.QuadPart = -1;
  EXPECT_TRUE(SetFilePointerEx(h, back, &pos, FILE_END));
  EXPECT_EQ(pos.QuadPart, 5);
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, 7), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  CloseHandle(h);
}

TEST(File, HighPartAddressesBeyondFourGigabytes) {
  ScratchDir dir;
  HANDLE h = Open(dir / "big", GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
  LONG high = 1;  // 4 GiB + 16
  EXPECT_EQ(SetFilePointer(h, 16, &high, FILE_BEGIN), 16u);
  EXPECT_EQ(high, 1);
  ASSERT_TRUE(SetEndOfFile(h));  // sparse
  DWORD sizeHigh = 0;
  EXPECT_EQ(GetFileSize(h, &sizeHigh), 16u);
  EXPECT_EQ(sizeHigh, 1u);
  // Without a high part the result must fit in 32 bits.
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, FILE_END), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  // A negative 64-bit move through the high part.
  high = -1;
  EXPECT_EQ(SetFilePointer(h, -16, &high, FILE_END), 0u);
  EXPECT_EQ(high, 1);
  // Low part 0xFFFFFFFF is a position, told apart by a last error of 0.
  high = 0;
  SetLastError(5);
  EXPECT_EQ(SetFilePointer(h, LONG(0xFFFFFFFF), &high, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_EQ(SetFilePointer(h, 1, nullptr, FILE_BEGIN), 1u);
  ASSERT_TRUE(SetEndOfFile(h));
  EXPECT_EQ(GetFileSize(h, &sizeHigh), 1u);
  EXPECT_EQ(sizeHigh, 0u);
  CloseHandle(h);
}

TEST(File, LastErrorIsPerThread) {
  SetLastError(ERROR_DISK_FULL);
  DWORD seen = 0;
  std::thread([&] {
    seen = GetLastError();
    SetLastError(ERROR_ACCESS_DENIED);
  }).join();
  EXPECT_EQ(seen, ERROR_SUCCESS);
  EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
}

TEST(File, ErrnoMapsToWin32Numbers) {
  EXPECT_EQ(ZoErrnoToWin32(ENOENT), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(ZoErrnoToWin32(ENOSPC), ERROR_DISK_FULL);
  EXPECT_EQ(ZoErrnoToWin32(EACCES), ERROR_ACCESS_DENIED);
  EXPECT_EQ(ZoErrnoToWin32(0), ERROR_SUCCESS);
  EXPECT_NE(ZoErrnoToWin32(12345), ERROR_SUCCESS);
}

TEST(File, MoveRefusesToReplaceUnlessAsked) {
  ScratchDir dir;
  WriteBytes(dir / "a", {1});
  WriteBytes(dir / "b", {2});
  EXPECT_FALSE(MoveFileExW(W(dir / "a").c_str(), W(dir / "b").c_str(), 0));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(ReadBytes(dir / "b"), std::vector<std::uint8_t>{2});
  EXPECT_TRUE(MoveFileExW(W(dir / "a").c_str(), W(dir / "b").c_str(), MOVEFILE_REPLACE_EXISTING));
  EXPECT_EQ(ReadBytes(dir / "b"), std::vector<std::uint8_t>{1});
  EXPECT_FALSE(std::filesystem::exists(dir / "a"));
  EXPECT_FALSE(MoveFileExW(W(dir / "a").c_str(), W(dir / "c").c_str(), 0));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST(File, CopyKeepsDataAndNeverDestroysTheSource) {
  ScratchDir dir;
  std::vector<std::uint8_t> data(300000);
  for (size_t i = 0; i < data.size(); ++i) data[i] = std::uint8_t(i * 31);
  WriteBytes(dir / "src", data);
  EXPECT_FALSE(CopyFileW(W(dir / "src").c_str(), W(dir / "src").c_str(), FALSE));
  EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(ReadBytes(dir / "src"), data);
  ASSERT_TRUE(CopyFileW(W(dir / "src").c_str(), W(dir / "dst").c_str(), TRUE));
  EXPECT_EQ(ReadBytes(dir / "dst"), data);
  EXPECT_EQ(std::filesystem::last_write_time(dir / "dst"), std::filesystem::last_write_time(dir / "src"));
  EXPECT_FALSE(CopyFileW(W(dir / "src").c_str(), W(dir / "dst").c_str(), TRUE));
  EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);  // no leftovers
}

TEST(File, ReadOnlyAttributeProtectsFromDelete) {
  ScratchDir dir;
  const std::u16string name = W(dir / "f");
  WriteBytes(dir / "f", {1});
  EXPECT_EQ(GetFileAttributesW(name.c_str()), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(GetFileAttributesW(W(dir.path()).c_str()) & FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_DIRECTORY);
  ASSERT_TRUE(SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(GetFileAttributesW(name.c_str()), FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(DeleteFileW(name.c_str()));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  ASSERT_TRUE(SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_TRUE(DeleteFileW(name.c_str()));
  EXPECT_EQ(GetFileAttributesW(name.c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST(File, DirectoriesCreateRemoveAndReportNotEmpty) {
  ScratchDir dir;
  const std::u16string sub = W(dir / "sub");
  EXPECT_TRUE(CreateDirectoryW(sub.c_str(), nullptr));
  EXPECT_FALSE(CreateDirectoryW(sub.c_str(), nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(CreateDirectoryW(W(dir / "x" / "y").c_str(), nullptr));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  WriteBytes(dir / "sub" / "f", {1});
  EXPECT_FALSE(RemoveDirectoryW(sub.c_str()));
  EXPECT_EQ(GetLastError(), ERROR_DIR_NOT_EMPTY);
  EXPECT_FALSE(DeleteFileW(sub.c_str()));
  EXPECT_TRUE(DeleteFileW(W(dir / "sub" / "f").c_str()));
  EXPECT_TRUE(RemoveDirectoryW(sub.c_str()));
}

TEST(File, TimesComeFromStatAndRoundTrip) {
  ScratchDir dir;
  HANDLE h = Open(dir / "f", GENERIC_READ | GENERIC_WRITE, CREATE_NEW);
  FILETIME write{};
  ASSERT_TRUE(FileTimeFromUnix(1700000000, 500, &write));  // 2023-11-14T22:13:20Z
  const ULONGLONG ticks = (ULONGLONG(write.dwHighDateTime) << 32) | write.dwLowDateTime;
  EXPECT_EQ(ticks, 1700000000ULL * 10000000ULL + 116444736000000000ULL + 5);
  ASSERT_TRUE(SetFileTime(h, nullptr, nullptr, &write));
  FILETIME creation{}, access{}, got{};
  ASSERT_TRUE(GetFileTime(h, &creation, &access, &got));
  EXPECT_EQ(got.dwLowDateTime, write.dwLowDateTime);
  EXPECT_EQ(got.dwHighDateTime, write.dwHighDateTime);
  EXPECT_NE(creation.dwHighDateTime, 0u);
  struct stat st;
  ASSERT_EQ(stat((dir / "f").c_str(), &st), 0);
  EXPECT_EQ(st.st_mtim.tv_sec, 1700000000);
  WIN32_FILE_ATTRIBUTE_DATA data{};
  ASSERT_TRUE(GetFileAttributesExW(W(dir / "f").c_str(), GetFileExInfoStandard, &data));
  EXPECT_EQ(data.ftLastWriteTime.dwLowDateTime, write.dwLowDateTime);
  CloseHandle(h);
  EXPECT_FALSE(FileTimeFromUnix(-12000000000LL, 0, &write));  // before 1601
}

TEST(File, FullPathNormalisesAgainstTheCurrentFolder) {
  ScratchDir dir;
  WCHAR saved[4096];
  ASSERT_GT(GetCurrentDirectoryW(4096, saved), 0u);
  ASSERT_TRUE(SetCurrentDirectoryW(W(dir.path()).c_str()));
  WCHAR buf[4096];
  LPWSTR filePart = nullptr;
  const DWORD n = GetFullPathNameW(u"a/./b/../c.wav", 4096, buf, &filePart);
  const std::u16string expected = W(std::filesystem::current_path() / "a" / "c.wav");
  EXPECT_EQ(std::u16string(buf, n), expected);
  ASSERT_NE(filePart, nullptr);
  EXPECT_EQ(std::u16string(filePart), u"c.wav");
  EXPECT_EQ(GetFullPathNameW(u"a", 2, buf, nullptr), expected.size() - 6 + 1);  // cwd + "/a" with terminator
  EXPECT_EQ(GetFullPathNameW(u"/x/../../y/", 4096, buf, &filePart), 3u);
  EXPECT_EQ(std::u16string(buf), u"/y/");
  EXPECT_EQ(filePart, nullptr);
  EXPECT_TRUE(SetCurrentDirectoryW(saved));
}

TEST(File, UnicodeNamesBecomeUtf8OnDisk) {
  ScratchDir dir;
  const std::u16string name = W(dir.path()) + u"/Bj\u00F8rk \u266A \U0001F3B5.wav";
  HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  CloseHandle(h);
  EXPECT_TRUE(std::filesystem::exists(dir / "Bj\xC3\xB8rk \xE2\x99\xAA \xF0\x9F\x8E\xB5.wav"));
}

TEST(File, DeleteOnCloseRemovesTheFileAtTheLastClose) {
  ScratchDir dir;
  const std::u16string name = W(dir / "scratch.tmp");
  HANDLE h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                         FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  DWORD n;
  OVERLAPPED at{};
  at.Offset = 10;
  EXPECT_TRUE(WriteFile(h, "x", 1, &n, &at));
  EXPECT_EQ(GetFileSize(h, nullptr), 11u);
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, FILE_CURRENT), 11u);  // moved past the write
  EXPECT_TRUE(std::filesystem::exists(dir / "scratch.tmp"));
  CloseHandle(h);
  EXPECT_FALSE(std::filesystem::exists(dir / "scratch.tmp"));
}

TEST(File, DescriptorsWrapAndUnwrap) {
  ScratchDir dir;
  HANDLE h = Open(dir / "f", GENERIC_READ | GENERIC_WRITE, CREATE_NEW);
  const int fd = ZoHandleToFd(h);
  EXPECT_GE(fd, 0);
  HANDLE again = ZoFdToHandle(dup(fd));
  DWORD n = 0;
  EXPECT_TRUE(WriteFile(again, "xy", 2, &n, nullptr));
  EXPECT_EQ(GetFileSize(h, nullptr), 2u);
  CloseHandle(again);
  CloseHandle(h);
  EXPECT_EQ(ZoHandleToFd(h), -1);
  EXPECT_EQ(ZoFdToHandle(-1), INVALID_HANDLE_VALUE);
}
