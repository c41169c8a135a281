// SPDX-License-Identifier: MIT
// The rules of the reader base classes that a plug-in relies on: the read
// loop (short reads, failures, exceptions, the lock, the token's bound),
// SetReadAudioFormat, ranges of stream records, the stream collection and
// the lifetime of files and streams.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ffbase/ffbase.h"

namespace {

using vane::ComPtr;

struct Counters {
  std::atomic<int> files{0}, streams{0};
};

// A decoder of a counting signal: frame i holds the 32-bit value i.
struct Behaviour {
  LONGLONG frames = 10000;
  LONG perCall = 1 << 30;     // most frames one Read delivers
  LONGLONG failAt = -1;       // a Read starting here fails
  LONGLONG throwAt = -1;      // a Read starting here throws
  std::atomic<int> inside{0}; // reads running at once
  std::atomic<int> overlaps{0};
};

class CountingDecoder final : public ffbase::IAudioDecoder {
 public:
  explicit CountingDecoder(Behaviour* b) : m_b(b) {}
  HRESULT Init() override { return S_OK; }
  DWORD GetBlockAlign() override { return 4; }
  bool IsOpen() override { return m_open; }
  HRESULT GetReadFormat(_zowaveformat* f) override {
    f->Init(48000, ZOSAMPLE_PCM16, 2, 0, ZOWAVEFORMAT_BASE_SIZE);
    return S_OK;
  }
  HRESULT GetFileFormat(_zowaveformat* f) override { return GetReadFormat(f); }
  LONGLONG GetSampleCount() override { return m_b->frames; }
  DWORD GetBitRate() override { return 48000 * 4; }
  LONGLONG GetStreamLength() override { return m_b->frames; }
  HRESULT Open(LPCWSTR) override {
    m_open = true;
    return S_OK;
  }
  HRESULT Close() override {
    m_open = false;
    return S_OK;
  }
  HRESULT Read(LONGLONG position, void* buffer, LONG count, LONG* read) override {
    if (m_b->inside++ > 0) ++m_b->overlaps;
    struct Leave {
      Behaviour* b;
      ~Leave() { --b->inside; }
    } leave{m_b};
    std::this_thread::yield();
    if (position == m_b->throwAt) throw std::runtime_error("decoder fault");
    if (position == m_b->failAt) return ZOERR_FILE_READ;
    LONGLONG n = std::min<LONGLONG>({count, m_b->perCall, std::max<LONGLONG>(0, m_b->frames - position)});
    auto* out = static_cast<std::uint32_t*>(buffer);
    for (LONGLONG i = 0; i < n; ++i) out[i] = std::uint32_t(position + i);
    *read = LONG(n);
    return S_OK;
  }

 private:
  Behaviour* m_b;
  bool m_open = false;
};

class TestStream final : public ffbase::BaseReadAudioStream {
 public:
  TestStream(ffbase::BaseReadFile* f, LONG i, Behaviour* b, Counters* c) : BaseReadAudioStream(f, i), m_b(b), m_c(c) {
    ++m_c->streams;
  }
  ~TestStream() override { --m_c->streams; }
  HRESULT CreateDecoder(ffbase::IAudioDecoder** out) override {
    *out = new CountingDecoder(m_b);
    return S_OK;
  }

 private:
  Behaviour* m_b;
  Counters* m_c;
};

class TestFile final : public ffbase::BaseReadFile {
 public:
  TestFile(ffbase::BaseReadFileClass* cls, Behaviour* b, Counters* c, LONG streams, HRESULT streamStatus)
      : BaseReadFile(cls), m_b(b), m_c(c), m_streams(streams), m_status(streamStatus) {
    ++m_c->files;
  }
  ~TestFile() override { --m_c->files; }
  HRESULT GetStreamCount(LONG* count) override {
    *count = m_streams;
    return S_OK;
  }
  HRESULT CreateStream(IZoReadStream** out, LONG index) override {
    if (FAILED(m_status)) return m_status;
    *out = new TestStream(this, index, m_b, m_c);
    return S_OK;
  }

 private:
  Behaviour* m_b;
  Counters* m_c;
  LONG m_streams;
  HRESULT m_status;
};

const GUID kClassGuid = VANE_GUID(0x11111111, 0x2222, 0x3333, 0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55);

class TestClass final : public ffbase::BaseReadFileClass {
 public:
  TestClass(Behaviour* b, Counters* c, LONG streams = 1, HRESULT streamStatus = S_OK)
      : m_b(b), m_c(c), m_streams(streams), m_status(streamStatus) {}
  HRESULT PluginSlot9(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT GetInfoText(const DWORD*, LONG, BSTR*) override { return E_NOTIMPL; }
  HRESULT IsType(HANDLE, const BYTE*, DWORD, LPCWSTR) override { return S_OK; }
  HRESULT CreateFile(ffbase::BaseReadFile** out) override {
    *out = new TestFile(this, m_b, m_c, m_streams, m_status);
    return S_OK;
  }
  const GUID* GetClassGuid() override { return &kClassGuid; }
  const GUID* GetRenderClassGuid() override { return &GUID_NULL; }
  const WCHAR* GetAboutText() override { return u""; }
  ffbase::BaseGlobalParm* GetGlobalParm() override { return nullptr; }

 private:
  Behaviour* m_b;
  Counters* m_c;
  LONG m_streams;
  HRESULT m_status;
};

class ReadLoopTest : public ::testing::Test {
 protected:
  void Open(LONG streams = 1) {
    m_class = ComPtr<IZoReadFileClass>::Attach(new TestClass(&m_b, &m_c, streams));
    ASSERT_EQ(m_class->Open(m_file.ReleaseAndGetAddressOf(), nullptr, 0, u"test.any", TRUE), S_OK);
    ComPtr<IZoReadStream> s;
    ASSERT_EQ(m_file->OpenStream(s.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr), S_OK);
    ASSERT_EQ(s.As(IID_IZoReadAudioStream, &m_audio), S_OK);
  }
  HRESULT Read(LONGLONG start, LONG count, LONG* got, size_t roomFrames = 0) {
    m_buffer.assign(roomFrames ? roomFrames : size_t(count), 0xFFFFFFFFu);
    auto token = ffbase::CMappingOfZoMemoryToken::FromPointer(m_buffer.data(), m_buffer.size() * 4);
    return m_audio->Read(start, token, count, got);
  }
  bool Counting(LONGLONG start, LONG n) const {
    for (LONG i = 0; i < n; ++i)
      if (m_buffer[size_t(i)] != std::uint32_t(start + i)) return false;
    return true;
  }

  Behaviour m_b;
  Counters m_c;
  ComPtr<IZoReadFileClass> m_class;
  ComPtr<IZoReadFile> m_file;
  ComPtr<IZoReadAudioStream> m_audio;
  std::vector<std::uint32_t> m_buffer;
};

TEST_F(ReadLoopTest, JoinsShortDecoderReadsIntoOneRequest) {
  m_b.perCall = 700;
  Open();
  LONG got = 0;
  ASSERT_EQ(Read(100, 5000, &got), S_OK);
  EXPECT_EQ(got, 5000);
  EXPECT_TRUE(Counting(100, 5000));
}

TEST_F(ReadLoopTest, StreamEndGivesFewerSamplesWithSuccess) {
  Open();
  LONG got = -1;
  ASSERT_EQ(Read(9000, 4000, &got), S_OK);
  EXPECT_EQ(got, 1000);
  EXPECT_TRUE(Counting(9000, 1000));
  ASSERT_EQ(Read(20000, 10, &got), S_OK);
  EXPECT_EQ(got, 0);
}

TEST_F(ReadLoopTest, DecoderFailureReportsNothingRead) {
  m_b.perCall = 500;
  m_b.failAt = 1000;
  Open();
  LONG got = -1;
  EXPECT_EQ(Read(0, 4000, &got), ZOERR_FILE_READ);
  EXPECT_EQ(got, 0);
}

TEST_F(ReadLoopTest, ExceptionIsCaughtAndTheLockIsLeft) {
  m_b.perCall = 500;
  m_b.throwAt = 500;
  Open();
  LONG got = -1;
  EXPECT_EQ(Read(0, 4000, &got), ZOERR_EXCEPTION);
  EXPECT_EQ(got, 0);
  // Another thread must get the lock: a held critical section would hang here.
  std::thread other([&] {
    std::vector<std::uint32_t> buf(100);
    LONG n = 0;
    auto token = ffbase::CMappingOfZoMemoryToken::FromPointer(buf.data(), buf.size() * 4);
    EXPECT_EQ(m_audio->Read(2000, token, 100, &n), S_OK);
    EXPECT_EQ(n, 100);
  });
  other.join();
}

TEST_F(ReadLoopTest, NeverWritesPastTheTokensBlock) {
  Open();
  LONG got = 0;
  ASSERT_EQ(Read(0, 4000, &got, 1000), S_OK);
  EXPECT_EQ(got, 1000);
  EXPECT_TRUE(Counting(0, 1000));
}

TEST_F(ReadLoopTest, ReadsFromManyThreadsAreSerialised) {
  m_b.frames = 1 << 20;
  m_b.perCall = 64;
  Open();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      std::vector<std::uint32_t> buf(512);
      auto token = ffbase::CMappingOfZoMemoryToken::FromPointer(buf.data(), buf.size() * 4);
      for (int i = 0; i < 50; ++i) {
        LONG n = 0;
        ASSERT_EQ(m_audio->Read(LONGLONG(t) * 100000 + i * 512, token, 512, &n), S_OK);
        ASSERT_EQ(n, 512);
        ASSERT_EQ(buf[511], std::uint32_t(LONGLONG(t) * 100000 + i * 512 + 511));
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(m_b.overlaps.load(), 0);
}

TEST_F(ReadLoopTest, SetReadAudioFormatTakesOnlyThePresentFormat) {
  Open();
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> present{};
  ASSERT_EQ(m_audio->GetReadAudioFormat(present.get()), S_OK);
  EXPECT_EQ(m_audio->SetReadAudioFormat(present.get()), S_OK);
  EXPECT_EQ(m_audio->SetReadAudioFormat(nullptr), S_OK);
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> other = present;
  other->nSamplesPerSec = 44100;
  EXPECT_EQ(m_audio->SetReadAudioFormat(other.get()), S_FALSE);
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> after{};
  ASSERT_EQ(m_audio->GetReadAudioFormat(after.get()), S_OK);
  EXPECT_EQ(after->nSamplesPerSec, 48000u);
  LONG got = 0;
  ASSERT_EQ(Read(0, 10, &got), S_OK);
  EXPECT_EQ(got, 10);
}

TEST_F(ReadLoopTest, StreamRecordRangesAreChecked) {
  Open(2);
  std::vector<_ZOFILESTREAMFORMATINFOv2> records(3);
  for (auto& r : records) r.cbSize = 184;
  EXPECT_EQ(m_file->GetStreamFormatInfo(records.data(), 1, 2), E_INVALIDARG);
  EXPECT_EQ(m_file->GetStreamFormatInfo(records.data(), -1, 1), E_INVALIDARG);
  EXPECT_EQ(m_file->GetStreamFormatInfo(records.data(), 2, 0), E_FAIL);
  records[1].cbSize = 200;  // a larger record keeps its size
  std::memset(records[1].extension.raw, 0xAB, sizeof records[1].extension.raw);
  ASSERT_EQ(m_file->GetStreamFormatInfo(records.data(), 0, 2), S_OK);
  EXPECT_EQ(records[0].cbSize, 184u);
  EXPECT_EQ(records[1].cbSize, 200u);
  EXPECT_EQ(records[1].extension.raw[0], 0);
  EXPECT_EQ(records[1].streamType, DWORD(ZOFILESTREAM_AUDIO));
  EXPECT_EQ(records[1].length, 10000);
  DWORD rate = 0;
  std::memcpy(&rate, records[1].format.raw + offsetof(_zowaveformat, nSamplesPerSec), sizeof rate);
  EXPECT_EQ(rate, 48000u);
  ComPtr<IZoReadStream> none;
  EXPECT_EQ(m_file->OpenStream(none.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 2, 0, nullptr),
            ZOERR_BAD_STREAM_INDEX);
  EXPECT_EQ(m_file->OpenStream(none.ReleaseAndGetAddressOf(), ZOFILESTREAM_VIDEO, 0, 0, nullptr),
            ZOERR_BAD_STREAM_INDEX);
}

TEST(ReadStreamsTest, MissingIndexIsUnexpectedAndAddReplaces) {
  Behaviour b;
  Counters c;
  ffbase::ReadStreams streams;
  ComPtr<IZoReadStream> out;
  EXPECT_EQ(streams.Get(out.ReleaseAndGetAddressOf(), 3), E_UNEXPECTED);
  {
    auto* first = new TestStream(nullptr, 0, &b, &c);
    auto* second = new TestStream(nullptr, 0, &b, &c);
    streams.Add(first, 3);
    first->Release();
    streams.Add(second, 3);  // the first goes now
    second->Release();
    EXPECT_EQ(c.streams.load(), 1);
    EXPECT_EQ(streams.Count(), 1);
    ASSERT_EQ(streams.Get(out.ReleaseAndGetAddressOf(), 3), S_OK);
    EXPECT_EQ(out.Get(), static_cast<IZoReadStream*>(second));
    ComPtr<IZoReadAudioStream> audio;
    EXPECT_EQ(streams.QueryAudio(3, audio.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(streams.QueryAll(IID_IZoReadAudioStream), S_OK);
    EXPECT_EQ(streams.QueryAll(IID_IZoReadVideoStream), E_NOINTERFACE);
  }
  out.Reset();
  streams.ReleaseAll();
  EXPECT_EQ(c.streams.load(), 0);
}

TEST(LifetimeTest, AStreamKeepsItsFileAndBothGoTogether) {
  Behaviour b;
  Counters c;
  auto cls = ComPtr<IZoReadFileClass>::Attach(new TestClass(&b, &c));
  ComPtr<IZoReadFile> file;
  ASSERT_EQ(cls->Open(file.ReleaseAndGetAddressOf(), nullptr, 0, u"x", TRUE), S_OK);
  ComPtr<IZoReadStream> stream;
  ASSERT_EQ(file->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr), S_OK);
  file.Reset();
  EXPECT_EQ(c.files.load(), 1);
  ComPtr<IZoReadFile> back;
  ASSERT_EQ(stream->GetFile(back.ReleaseAndGetAddressOf()), S_OK);
  back.Reset();
  stream.Reset();
  EXPECT_EQ(c.files.load(), 0);
  EXPECT_EQ(c.streams.load(), 0);
}

TEST(LifetimeTest, FailedOpenReleasesTheFileAndLeavesNoObject) {
  Behaviour b;
  Counters c;
  auto cls = ComPtr<IZoReadFileClass>::Attach(new TestClass(&b, &c, 1, ZOERR_FILE_CORRUPT));
  IZoReadFile* file = reinterpret_cast<IZoReadFile*>(0x1);
  EXPECT_EQ(cls->Open(&file, nullptr, 0, u"x", TRUE), ZOERR_FILE_CORRUPT);
  EXPECT_EQ(file, nullptr);
  EXPECT_EQ(c.files.load(), 0);
  // Without openNow nothing is read, so the same class opens.
  EXPECT_EQ(cls->Open(&file, nullptr, 0, u"x", FALSE), S_OK);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->IsFileOpen(), S_FALSE);
  file->Release();
}

TEST(MemoryTokenTest, SameProcessMapsBasePlusOffsetAndCopyChecksSizes) {
  std::vector<BYTE> block(64);
  for (size_t i = 0; i < block.size(); ++i) block[i] = BYTE(i);
  auto token = ffbase::CMappingOfZoMemoryToken::FromPointer(block.data(), 32);
  token.offset = 16;
  ffbase::CMappingOfZoMemoryToken map(token, 0);
  EXPECT_EQ(map.Pointer(), block.data() + 16);
  map.Dispose();
  EXPECT_EQ(block[16], 16);  // nothing written back or freed
  std::vector<BYTE> copy(32);
  EXPECT_EQ(ffbase::CMappingOfZoMemoryToken::CopyData(nullptr, token, 32), E_POINTER);
  EXPECT_EQ(ffbase::CMappingOfZoMemoryToken::CopyData(copy.data(), token, 31), ZOERR_BUFFER_TOO_SMALL);
  ASSERT_EQ(ffbase::CMappingOfZoMemoryToken::CopyData(copy.data(), token, 32), S_OK);
  EXPECT_EQ(copy[0], 16);
  EXPECT_EQ(copy[31], 47);
}

}  // namespace
