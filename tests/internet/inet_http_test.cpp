// SPDX-License-Identifier: MIT
// CZoInetHttp against a local Python server: bodies of every size arrive
// intact with progress that adds up, posts arrive byte for byte, and every
// failure (status, time-out, cut connection, cancel, bad URL) gives its
// status and leaves no partial file.
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "platform/wtext.h"
#include "shared/internet/inet_http.h"
#include "shared/internet/multipart.h"
#include "tests/internet/inet_test_util.h"
#include "tests/internet/local_server.h"
#include "tests/support/test_files.h"

namespace {

namespace fs = std::filesystem;
using vane::platform::FromUtf8;
using vane::test::CountingNotify;

std::string ReadText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class HttpTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_dir = new vane::test::ScratchDir();
    s_server = new vane::test::LocalServer("http_server.py", {s_dir->path().string()});
  }
  static void TearDownTestSuite() {
    delete s_server;
    delete s_dir;
  }
  void SetUp() override {
    if (!s_server->Port()) GTEST_SKIP() << "no local HTTP server: " << s_server->Why();
    ASSERT_EQ(CZoInetHttp::CreateInstance(&m_http), S_OK);
    ASSERT_EQ(m_http->Init(u"vane-test"), S_OK);
    m_http->SetRequestNotify(&m_notify);
  }
  void TearDown() override {
    if (m_http) m_http->Release();
    EXPECT_TRUE(vane::test::WaitForNoLiveObjects(10));
  }
  std::u16string Url(const std::string& path) const {
    return FromUtf8("http://127.0.0.1:" + std::to_string(s_server->Port()) + path);
  }
  HRESULT Finish(DWORD* detail = nullptr) {
    EXPECT_EQ(m_http->WaitForRequestCompletion(60000), S_OK);
    HRESULT result = E_FAIL;
    m_http->GetRequestResult(&result, detail);
    return result;
  }

  static vane::test::ScratchDir* s_dir;
  static vane::test::LocalServer* s_server;
  CZoInetHttp* m_http = nullptr;
  CountingNotify m_notify;
};
vane::test::ScratchDir* HttpTest::s_dir = nullptr;
vane::test::LocalServer* HttpTest::s_server = nullptr;

class HttpSizes : public HttpTest, public ::testing::WithParamInterface<unsigned long long> {};

TEST_P(HttpSizes, GetArrivesWholeInBufferAndFileWithProgressThatAddsUp) {
  const unsigned long long size = GetParam();
  const std::string name = "get_" + std::to_string(size);
  vane::test::WritePatternFile(*s_dir / name, size, 3);

  CZoInetHttpResponse inMemory;
  ASSERT_EQ(m_http->Get(Url("/file/" + name).c_str(), nullptr, u"application/octet-stream", &inMemory), S_OK);
  ASSERT_EQ(Finish(), S_OK);
  SIZE_T got = 0;
  const BYTE* bytes = inMemory.GetResponseBuffer(&got);
  ASSERT_EQ(got, size);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes), got), ReadText(*s_dir / name));
  EXPECT_EQ(inMemory.GetStatusCode(), 200u);
  EXPECT_EQ(vane::platform::ToUtf8(inMemory.GetContentType()), "application/octet-stream");
  EXPECT_NE(vane::platform::ToUtf8(inMemory.GetAllHeaders()).find("Content-Length: " + std::to_string(size)),
            std::string::npos);
  EXPECT_EQ(m_notify.bytes.load(), size);

  vane::test::ScratchDir out;
  CZoInetHttpResponse toFile;
  const std::u16string target = FromUtf8((out / "copy").string());
  toFile.SetResponseDataFileName(target.c_str());
  ASSERT_EQ(m_http->Get(Url("/file/" + name).c_str(), nullptr, nullptr, &toFile), S_OK);
  ASSERT_EQ(Finish(), S_OK);
  EXPECT_TRUE(vane::test::FilesEqual(out / "copy", *s_dir / name));
  ULONGLONG total = 0, moved = 0;
  m_http->GetTransferStatus(&total, &moved, nullptr);
  EXPECT_EQ(moved, size);
  EXPECT_EQ(vane::test::CountPartialFiles(out.path()), 0);
}

TEST_P(HttpSizes, PostBodyArrivesByteForByte) {
  const unsigned long long size = std::min<unsigned long long>(GetParam(), 8ull << 20);
  std::vector<BYTE> body(size);
  std::mt19937 random(5);
  for (BYTE& b : body) b = static_cast<BYTE>(random());
  CZoInetHttpResponse response;
  ASSERT_EQ(m_http->Post(Url("/save").c_str(), u"X-Test: one\r\nX-Other: two", nullptr, body.data(), body.size(),
                         u"application/x-test", &response),
            S_OK);
  ASSERT_EQ(Finish(), S_OK);
  const std::string saved = ReadText(*s_dir / "last_body");
  EXPECT_EQ(saved, std::string(body.begin(), body.end()));
  const std::string headers = ReadText(*s_dir / "last_headers");
  EXPECT_NE(headers.find("X-Test: one"), std::string::npos);
  EXPECT_NE(headers.find("X-Other: two"), std::string::npos);
  EXPECT_NE(headers.find("Content-Type: application/x-test"), std::string::npos);
  SIZE_T got = 0;
  const BYTE* answer = response.GetResponseBuffer(&got);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(answer), got), "received " + std::to_string(size));
}

INSTANTIATE_TEST_SUITE_P(Sizes, HttpSizes, ::testing::Values(0ull, 1ull, 100ull << 20));

TEST_F(HttpTest, MultipartPostSendsEachFileWithItsHeaders) {
  vane::test::WritePatternFile(*s_dir / "part_a.wav", 70000, 1);
  vane::test::WritePatternFile(*s_dir / "part_b", 3, 2);
  const std::u16string a = FromUtf8((*s_dir / "part_a.wav").string());
  const std::u16string b = FromUtf8((*s_dir / "part_b").string());
  const ZOINET_MULTIPART_FILE files[] = {{u"audio", a.c_str(), nullptr}, {u"notes", b.c_str(), u"text/x-notes"}};
  CZoInetHttpResponse response;
  ASSERT_EQ(m_http->PostMultipart(Url("/save").c_str(), nullptr, files, 2, &response), S_OK);
  ASSERT_EQ(Finish(), S_OK);

  const std::string headers = ReadText(*s_dir / "last_headers");
  const std::string key = "multipart/form-data; boundary=";
  const size_t at = headers.find(key);
  ASSERT_NE(at, std::string::npos) << headers;
  const std::string boundary = headers.substr(at + key.size(), headers.find_first_of("\r\n", at) - at - key.size());
  const std::string expected =
      "--" + boundary + "\r\nContent-Disposition: form-data; name=\"audio\"; filename=\"part_a.wav\"\r\n" +
      "Content-Type: audio/wav\r\n\r\n" + ReadText(*s_dir / "part_a.wav") + "\r\n--" + boundary +
      "\r\nContent-Disposition: form-data; name=\"notes\"; filename=\"part_b\"\r\nContent-Type: text/x-notes\r\n\r\n" +
      ReadText(*s_dir / "part_b") + "\r\n--" + boundary + "--\r\n";
  EXPECT_EQ(ReadText(*s_dir / "last_body"), expected);
  ULONGLONG total = 0, moved = 0;
  m_http->GetTransferStatus(&total, &moved, nullptr);
  EXPECT_EQ(total, expected.size());
  EXPECT_EQ(moved, expected.size());
}

TEST_F(HttpTest, MultipartOfMissingFileFailsWithoutSending) {
  const ZOINET_MULTIPART_FILE files[] = {{u"f", u"/nonexistent/file.bin", nullptr}};
  CZoInetHttpResponse response;
  ASSERT_EQ(m_http->PostMultipart(Url("/save").c_str(), nullptr, files, 1, &response), S_OK);
  EXPECT_EQ(Finish(), HRESULT_FROM_WIN32(2));
}

struct FailureCase {
  const char* path;
  HRESULT result;
  DWORD detail;
};

class HttpFailures : public HttpTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(HttpFailures, FailureLeavesExistingTargetAndNoPartialFile) {
  vane::test::ScratchDir out;
  vane::test::WriteBytes(out / "target", {1, 2, 3});
  m_http->SetTimeouts(2000, 1000);
  CZoInetHttpResponse response;
  const std::u16string target = FromUtf8((out / "target").string());
  response.SetResponseDataFileName(target.c_str());
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(m_http->Get(Url(GetParam().path).c_str(), nullptr, nullptr, &response), S_OK);
  DWORD detail = 0;
  EXPECT_EQ(Finish(&detail), GetParam().result);
  EXPECT_EQ(detail, GetParam().detail);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(vane::test::ReadBytes(out / "target"), (std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(vane::test::CountPartialFiles(out.path()), 0);
  EXPECT_FALSE(m_http->GetLogLines().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Answers, HttpFailures,
    ::testing::Values(FailureCase{"/status/404", ZoInetHttpStatusResult(404), 404},
                      FailureCase{"/status/500", ZoInetHttpStatusResult(500), 500},
                      FailureCase{"/hang", ZOINET_E_TIMEOUT, 12002},
                      FailureCase{"/cut", HRESULT_FROM_WIN32(12030), 12030}),
    [](const auto& info) {
      std::string name = info.param.path + 1;
      for (char& c : name)
        if (c == '/') c = '_';
      return name;
    });

TEST_F(HttpTest, CancelInTheMiddleRemovesThePartialFile) {
  vane::test::ScratchDir out;
  vane::test::WriteBytes(out / "target", {9});
  CZoInetHttpResponse response;
  const std::u16string target = FromUtf8((out / "target").string());
  response.SetResponseDataFileName(target.c_str());
  ASSERT_EQ(m_http->Get(Url("/slow/20000000").c_str(), nullptr, nullptr, &response), S_OK);
  while (m_notify.bytes.load() == 0) ASSERT_EQ(m_http->WaitForRequestStatusChange(10000), S_OK);
  ASSERT_EQ(m_http->CancelRequest(), S_OK);
  DWORD detail = 0;
  EXPECT_EQ(Finish(&detail), E_ABORT);
  EXPECT_EQ(detail, 12017u);
  EXPECT_EQ(vane::test::ReadBytes(out / "target"), (std::vector<std::uint8_t>{9}));
  EXPECT_EQ(vane::test::CountPartialFiles(out.path()), 0);
}

TEST_F(HttpTest, MalformedOrForeignUrlsAreRefusedBeforeSending) {
  CZoInetHttpResponse response;
  DWORD detail = 0;
  ASSERT_EQ(m_http->Get(u"gopher://127.0.0.1/x", nullptr, nullptr, &response), S_OK);
  EXPECT_EQ(Finish(&detail), HRESULT_FROM_WIN32(12006));
  ASSERT_EQ(m_http->Get(u"http://", nullptr, nullptr, &response), S_OK);
  EXPECT_EQ(Finish(&detail), HRESULT_FROM_WIN32(12005));
  EXPECT_NE(m_http->GetLogLines().back().find("InternetCrackUrl failed on http://"), std::string::npos);
}

// Several threads create objects, start slow downloads, cancel some, and
// release them at once; every object ends when its worker ends.
TEST_F(HttpTest, ConcurrentCreateCommandCancelReleaseIsClean) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, this] {
      std::mt19937 random(t);
      for (int i = 0; i < 4; ++i) {
        CZoInetHttp* http = nullptr;
        if (CZoInetHttp::CreateInstance(&http) != S_OK) return;
        http->Init(u"stress");
        auto* response = new CZoInetHttpResponse();
        http->Get(Url("/slow/2000000").c_str(), nullptr, nullptr, response);
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 50));
        if (random() % 2) http->CancelRequest();
        http->WaitForRequestCompletion(30000);
        delete response;
        http->Release();
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_TRUE(vane::test::WaitForNoLiveObjects(30, 1)) << "only the fixture's object remains";
}

TEST(HttpText, AcceptListSplitsOnCommasAndSemicolonsAndTrims) {
  EXPECT_EQ(CZoInetHttp::ParseAcceptTypes(" text/html, image/png;audio/* ,, "),
            (std::vector<std::string>{"text/html", "image/png", "audio/*"}));
  EXPECT_TRUE(CZoInetHttp::ParseAcceptTypes("").empty());
}

TEST(HttpText, BoundaryAvoidsBytesOfTheFiles) {
  vane::test::ScratchDir dir;
  const std::string first = vane::internet::FindMultipartBoundaryDelimiter({}, 11);
  ASSERT_FALSE(first.empty());
  // A file that holds the first candidate (split over a read block) forces another.
  std::string content(65530, 'a');
  content += first + "tail";
  std::ofstream(dir / "f", std::ios::binary) << content;
  const std::string second = vane::internet::FindMultipartBoundaryDelimiter({{"f", (dir / "f").string(), {}, {}}}, 11);
  EXPECT_FALSE(second.empty());
  EXPECT_NE(second, first);
  EXPECT_EQ(vane::internet::ReadContentTypeForFile("/x/Take 1.WAV"), "audio/wav");
  EXPECT_EQ(vane::internet::ReadContentTypeForFile("/x/noext"), "application/octet-stream");
}

}  // namespace
