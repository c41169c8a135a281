// SPDX-License-Identifier: MIT
#include "platform/folders.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <optional>

#include "platform/file.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

using vane::platform::Folder;
using vane::platform::FromUtf8;
using vane::platform::GetFolderPath;
using vane::platform::ToUtf8;

namespace {

// Sets an environment variable for one test and restores it.
class EnvGuard {
 public:
  EnvGuard(const char* name, const std::string& value) : m_name(name) {
    if (const char* old = getenv(name)) m_old = old;
    setenv(name, value.c_str(), 1);
  }
  ~EnvGuard() {
    if (m_old) {
      setenv(m_name, m_old->c_str(), 1);
    } else {
      unsetenv(m_name);
    }
  }

 private:
  const char* m_name;
  std::optional<std::string> m_old;
};

}  // namespace

TEST(Folders, XdgVariablesChooseAndCreateTheFolders) {
  vane::test::ScratchDir dir;
  EnvGuard config("XDG_CONFIG_HOME", (dir / "cfg").string() + "/");
  EnvGuard cache("XDG_CACHE_HOME", "relative/ignored");
  EnvGuard home("HOME", dir.path().string());
  EnvGuard runtime("XDG_RUNTIME_DIR", (dir / "run").string());
  EXPECT_EQ(GetFolderPath(Folder::RoamingAppData), (dir / "cfg").string());
  EXPECT_TRUE(std::filesystem::is_directory(dir / "cfg"));
  EXPECT_EQ(GetFolderPath(Folder::LocalAppData), (dir / ".cache").string());
  EXPECT_EQ(GetFolderPath(Folder::RuntimeDir), (dir / "run").string());
}

TEST(Folders, TempPathEndsWithSlashAndReportsNeededSize) {
  vane::test::ScratchDir dir;
  EnvGuard tmp("TMPDIR", dir.path().string());
  WCHAR buf[4096];
  const DWORD n = GetTempPathW(4096, buf);
  EXPECT_EQ(ToUtf8(std::u16string_view(buf, n)), dir.path().string() + "/");
  EXPECT_EQ(GetTempPathW(3, buf), n + 1);
  EXPECT_EQ(GetFolderPath(Folder::Temp), dir.path().string());
}

TEST(Folders, TempFileNamesAreUniqueAndCreated) {
  vane::test::ScratchDir dir;
  const std::u16string folder = FromUtf8(dir.path().string());
  WCHAR first[MAX_PATH], second[MAX_PATH];
  const UINT a = GetTempFileNameW(folder.c_str(), u"peakfile", 0, first);
  const UINT b = GetTempFileNameW(folder.c_str(), u"peakfile", 0, second);
  ASSERT_NE(a, 0u);
  ASSERT_NE(b, 0u);
  EXPECT_NE(a, b);
  const std::filesystem::path path = ToUtf8(first);
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(path.filename().string().substr(0, 3), "pea");
  EXPECT_EQ(path.extension(), ".tmp");
  // A chosen number only forms the name.
  EXPECT_EQ(GetTempFileNameW(folder.c_str(), u"x", 0xBEEF, first), 0xBEEFu);
  EXPECT_EQ(ToUtf8(first), dir.path().string() + "/xBEEF.tmp");
  EXPECT_FALSE(std::filesystem::exists(ToUtf8(first)));
  EXPECT_EQ(GetTempFileNameW(FromUtf8((dir / "none").string()).c_str(), u"x", 0, first), 0u);
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}
