// SPDX-License-Identifier: MIT
// CZoInetFtp and CZoInetFtpKLIPR against a local pyftpdlib server: put and
// get of every size with progress that adds up, size, listing, folders,
// delete, partial get, a refused login, and cancel on a throttled server.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "platform/wtext.h"
#include "shared/internet/inet_ftp.h"
#include "tests/internet/inet_test_util.h"
#include "tests/internet/local_server.h"
#include "tests/support/test_files.h"

namespace {

namespace fs = std::filesystem;
using vane::platform::FromUtf8;

std::string ReadText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class FtpTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_home = new vane::test::ScratchDir();
    s_server = new vane::test::LocalServer("ftp_server.py", {s_home->path().string()});
  }
  static void TearDownTestSuite() {
    delete s_server;
    delete s_home;
  }
  void SetUp() override {
    if (!s_server->Port()) GTEST_SKIP() << "no local FTP server: " << s_server->Why();
    m_ftp = Make(s_server->Port(), u"secret");
    ASSERT_NE(m_ftp, nullptr);
    m_ftp->SetRequestNotify(&m_notify);
  }
  void TearDown() override {
    if (m_ftp) m_ftp->Release();
    EXPECT_TRUE(vane::test::WaitForNoLiveObjects(10));
  }
  static CZoInetFtpKLIPR* Make(int port, const char16_t* password) {
    CZoInetFtpKLIPR* ftp = nullptr;
    if (CZoInetFtpKLIPR::CreateInstance(&ftp) != S_OK) return nullptr;
    const std::u16string host = FromUtf8("127.0.0.1:" + std::to_string(port));
    if (ftp->Init(u"vane-test", host.c_str(), u"vane", password) != S_OK) {
      ftp->Release();
      return nullptr;
    }
    ftp->SetTimeouts(5000, 5000);
    return ftp;
  }
  static HRESULT Finish(CZoInetBase* o, DWORD* detail = nullptr) {
    EXPECT_EQ(o->WaitForRequestCompletion(60000), S_OK);
    HRESULT result = E_FAIL;
    o->GetRequestResult(&result, detail);
    return result;
  }

  static vane::test::ScratchDir* s_home;
  static vane::test::LocalServer* s_server;
  CZoInetFtpKLIPR* m_ftp = nullptr;
  vane::test::CountingNotify m_notify;
};
vane::test::ScratchDir* FtpTest::s_home = nullptr;
vane::test::LocalServer* FtpTest::s_server = nullptr;

class FtpSizes : public FtpTest, public ::testing::WithParamInterface<unsigned long long> {};

TEST_P(FtpSizes, PutThenGetRoundTripsWithProgressThatAddsUp) {
  const unsigned long long size = GetParam();
  vane::test::ScratchDir local;
  vane::test::WritePatternFile(local / "source", size, 7);
  const std::u16string source = FromUtf8((local / "source").string());
  const std::u16string remote = FromUtf8("put_" + std::to_string(size) + ".bin");

  ASSERT_EQ(m_ftp->PutFile(source.c_str(), remote.c_str()), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  EXPECT_TRUE(vane::test::FilesEqual(*s_home / vane::platform::ToUtf8(remote), local / "source"));
  ULONGLONG total = 0, moved = 0;
  m_ftp->GetTransferStatus(&total, &moved, nullptr);
  EXPECT_EQ(total, size);
  EXPECT_EQ(moved, size);

  ULONGLONG remoteSize = 12345;
  ASSERT_EQ(m_ftp->GetFileSizeInBytes(remote.c_str(), &remoteSize), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  EXPECT_EQ(remoteSize, size);

  m_notify.bytes = 0;
  const std::u16string copy = FromUtf8((local / "copy").string());
  ASSERT_EQ(m_ftp->GetFile(remote.c_str(), copy.c_str()), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  EXPECT_TRUE(vane::test::FilesEqual(local / "copy", local / "source"));
  EXPECT_EQ(m_notify.bytes.load(), size);
  EXPECT_EQ(vane::test::CountPartialFiles(local.path()), 0);
}

INSTANTIATE_TEST_SUITE_P(Sizes, FtpSizes, ::testing::Values(0ull, 1ull, 100ull << 20));

TEST_F(FtpTest, FoldersListingAndDeleteFollowTheServer) {
  ASSERT_EQ(m_ftp->CreateDirectoryW(u"album"), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  EXPECT_TRUE(fs::is_directory(*s_home / "album"));
  vane::test::WriteBytes(*s_home / "album" / "one.wav", std::vector<std::uint8_t>(1234, 1));
  fs::create_directory(*s_home / "album" / "sub");

  ASSERT_EQ(m_ftp->EnumDirectoryFiles(u"album"), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  std::map<std::u16string, std::pair<ULONGLONG, BOOL>> seen;
  for (DWORD i = 0; i < m_ftp->GetDirectoryEntryCount(); ++i) {
    std::u16string name;
    ULONGLONG size = 0;
    BOOL dir = FALSE;
    ASSERT_EQ(m_ftp->GetDirectoryEntry(i, &name, &size, &dir), S_OK);
    seen[name] = {size, dir};
  }
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[u"one.wav"], std::make_pair(ULONGLONG{1234}, BOOL{FALSE}));
  EXPECT_TRUE(seen[u"sub"].second);
  EXPECT_EQ(m_ftp->GetDirectoryEntry(2, nullptr, nullptr, nullptr), E_INVALIDARG);

  ASSERT_EQ(m_ftp->DeleteFileW(u"album/one.wav"), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  EXPECT_FALSE(fs::exists(*s_home / "album" / "one.wav"));
  ASSERT_EQ(m_ftp->RemoveDirectoryW(u"album/sub"), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  ASSERT_EQ(m_ftp->RemoveDirectoryW(u"album"), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  EXPECT_FALSE(fs::exists(*s_home / "album"));

  // What is gone is refused by the server.
  DWORD detail = 0;
  ASSERT_EQ(m_ftp->RemoveDirectoryW(u"album"), S_OK);
  EXPECT_EQ(Finish(m_ftp, &detail), HRESULT_FROM_WIN32(12003));
  ULONGLONG size = 0;
  ASSERT_EQ(m_ftp->GetFileSizeInBytes(u"album/one.wav", &size), S_OK);
  EXPECT_TRUE(FAILED(Finish(m_ftp)));
}

TEST_F(FtpTest, PartialGetTakesExactlyTheRange) {
  vane::test::WritePatternFile(*s_home / "ranged.bin", 300000, 9);
  vane::test::ScratchDir local;
  const std::u16string out = FromUtf8((local / "part").string());
  ASSERT_EQ(m_ftp->GetPartialFile(u"ranged.bin", out.c_str(), 1000, 70000), S_OK);
  ASSERT_EQ(Finish(m_ftp), S_OK);
  EXPECT_EQ(ReadText(local / "part"), ReadText(*s_home / "ranged.bin").substr(1000, 70000));
  EXPECT_EQ(m_ftp->GetPartialFile(u"ranged.bin", out.c_str(), 5, 0), E_INVALIDARG);
}

TEST_F(FtpTest, MissingRemoteFileKeepsTheLocalTarget) {
  vane::test::ScratchDir local;
  vane::test::WriteBytes(local / "keep", {4, 5});
  const std::u16string target = FromUtf8((local / "keep").string());
  ASSERT_EQ(m_ftp->GetFile(u"no-such-file", target.c_str()), S_OK);
  DWORD detail = 0;
  EXPECT_EQ(Finish(m_ftp, &detail), HRESULT_FROM_WIN32(12003));
  EXPECT_EQ(vane::test::ReadBytes(local / "keep"), (std::vector<std::uint8_t>{4, 5}));
  EXPECT_EQ(vane::test::CountPartialFiles(local.path()), 0);
}

TEST_F(FtpTest, RefusedLoginGivesThePasswordError) {
  CZoInetFtpKLIPR* wrong = Make(s_server->Port(), u"wrong");
  ASSERT_NE(wrong, nullptr);
  EXPECT_EQ(vane::platform::ToUtf8(wrong->GetUsername()), "vane");
  ULONGLONG size = 0;
  ASSERT_EQ(wrong->GetFileSizeInBytes(u"x", &size), S_OK);
  DWORD detail = 0;
  EXPECT_EQ(Finish(wrong, &detail), HRESULT_FROM_WIN32(12014));
  EXPECT_EQ(detail, 12014u);
  wrong->Release();
}

TEST_F(FtpTest, CancelInTheMiddleOfAThrottledGet) {
  vane::test::ScratchDir home;
  vane::test::WritePatternFile(home / "big.bin", 4 << 20, 4);
  vane::test::LocalServer slow("ftp_server.py", {home.path().string(), "262144"});
  ASSERT_NE(slow.Port(), 0) << slow.Why();
  CZoInetFtpKLIPR* ftp = Make(slow.Port(), u"secret");
  ASSERT_NE(ftp, nullptr);
  vane::test::CountingNotify notify;
  ftp->SetRequestNotify(&notify);
  vane::test::ScratchDir local;
  const std::u16string target = FromUtf8((local / "big").string());
  ASSERT_EQ(ftp->GetFile(u"big.bin", target.c_str()), S_OK);
  while (notify.bytes.load() == 0) ASSERT_EQ(ftp->WaitForRequestStatusChange(10000), S_OK);
  ASSERT_EQ(ftp->CancelRequest(), S_OK);
  EXPECT_EQ(Finish(ftp), E_ABORT);
  EXPECT_FALSE(fs::exists(local / "big"));
  EXPECT_EQ(vane::test::CountPartialFiles(local.path()), 0);
  ftp->Release();
}

TEST(FtpListing, MachineListingLinesParseOrAreSkipped) {
  std::string name;
  ULONGLONG size = 0;
  bool dir = false;
  ASSERT_TRUE(ZoInetParseMachineListingLine("type=file;size=42;modify=20260101000000; take 1.wav\r", &name, &size, &dir));
  EXPECT_EQ(name, "take 1.wav");
  EXPECT_EQ(size, 42u);
  EXPECT_FALSE(dir);
  ASSERT_TRUE(ZoInetParseMachineListingLine("Type=DIR;perm=el; sub", &name, &size, &dir));
  EXPECT_TRUE(dir);
  EXPECT_FALSE(ZoInetParseMachineListingLine("type=cdir; .", &name, &size, &dir));
  EXPECT_FALSE(ZoInetParseMachineListingLine("garbage", &name, &size, &dir));
  EXPECT_FALSE(ZoInetParseMachineListingLine("type=file;size=99999999999999999999999; big", &name, &size, &dir));
  EXPECT_FALSE(ZoInetParseMachineListingLine("type=file;size=1x; odd", &name, &size, &dir));
}

}  // namespace
