// SPDX-License-Identifier: MIT
#include "platform/module.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <string>

#include "platform/file.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

using vane::platform::FromUtf8;
using vane::platform::ToUtf8;

namespace {

const std::string kFixture = std::filesystem::canonical(VANE_TEST_MODULE).string();

std::string FileNameOf(HMODULE module) {
  WCHAR buf[PATH_MAX];
  const DWORD n = GetModuleFileNameW(module, buf, PATH_MAX);
  return ToUtf8(std::u16string_view(buf, n));
}

}  // namespace

TEST(Module, LoadsByPathFindsSymbolsAndKnowsItsFileName) {
  HMODULE m = LoadLibraryW(FromUtf8(kFixture).c_str());
  ASSERT_NE(m, nullptr) << ZoGetLastModuleError();
  auto answer = reinterpret_cast<int (*)()>(GetProcAddress(m, "vane_fixture_answer"));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 42);
  EXPECT_EQ(FileNameOf(m), kFixture);
  EXPECT_EQ(ZoModuleFromAddress(reinterpret_cast<const void*>(answer)), m);
  SetLastError(0);
  EXPECT_EQ(GetProcAddress(m, "no_such_symbol"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
  EXPECT_TRUE(FreeLibrary(m));
}

TEST(Module, LoadingTwiceGivesOneCountedHandle) {
  // Without an extension the name gets ".so".
  const std::string stem = kFixture.substr(0, kFixture.size() - 3);
  HMODULE a = LoadLibraryW(FromUtf8(kFixture).c_str());
  HMODULE b = LoadLibraryExW(FromUtf8(stem).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a, b);
  EXPECT_TRUE(FreeLibrary(a));
  EXPECT_NE(GetProcAddress(b, "vane_fixture_answer"), nullptr);  // one load left
  EXPECT_TRUE(CloseHandle(b));  // closing a module handle is a FreeLibrary
  EXPECT_FALSE(FreeLibrary(a));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(Module, FailuresTellMissingFromUnloadable) {
  vane::test::ScratchDir dir;
  SetLastError(0);
  EXPECT_EQ(LoadLibraryW(FromUtf8((dir / "absent.so").string()).c_str()), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
  EXPECT_STRNE(ZoGetLastModuleError(), "");
  vane::test::WriteBytes(dir / "text.so", {'n', 'o', 't', ' ', 'E', 'L', 'F'});
  EXPECT_EQ(LoadLibraryW(FromUtf8((dir / "text.so").string()).c_str()), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_BAD_EXE_FORMAT);
  EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  int local = 0;
  EXPECT_EQ(GetProcAddress(&local, "x"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(Module, ExecutableAndKernelNamesAndTruncation) {
  char exe[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe);
  ASSERT_GT(n, 0);
  EXPECT_EQ(FileNameOf(nullptr), std::string(exe, size_t(n)));
  // The kernel code is linked into this test program.
  EXPECT_EQ(FileNameOf(ZoKernelModuleHandle()), std::string(exe, size_t(n)));
  WCHAR small[5];
  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameW(nullptr, small, 5), 5u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(small[4], 0);
  EXPECT_EQ(std::u16string(small), FromUtf8(std::string(exe, 4)));
  EXPECT_TRUE(FreeLibrary(ZoKernelModuleHandle()));  // not counted: nothing happens
  EXPECT_NE(GetModuleFileNameW(ZoKernelModuleHandle(), small, 5), 0u);
}
