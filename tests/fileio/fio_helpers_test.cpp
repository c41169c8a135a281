// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "audio/mmreg.h"
#include "fileio/bitmapinfo.h"
#include "fileio/detail/module_loader.h"
#include "fileio/rank_tables.h"
#include "fileio/stream_format_v1.h"
#include "fileio/zofileio.h"
#include "kernel/kernel_strings.h"

namespace {

struct ConstrainCase {
  LONG value;
  LONG direction;
  LONG expected;
  LONG index;
};
void PrintTo(const ConstrainCase& c, std::ostream* os) { *os << "value " << c.value << " direction " << c.direction; }

class ConstrainTest : public ::testing::TestWithParam<ConstrainCase> {};

TEST_P(ConstrainTest, PicksTheRowTheDirectionAsksFor) {
  static const LONG table[] = {10, 20, 40};
  LONG index = -9;
  EXPECT_EQ(ZoFio_ConstrainValueToTable(GetParam().value, table, 3, GetParam().direction, &index), GetParam().expected);
  EXPECT_EQ(index, GetParam().index);
}

INSTANTIATE_TEST_SUITE_P(Rows, ConstrainTest,
                         ::testing::Values(ConstrainCase{5, 0, 10, 0}, ConstrainCase{50, 0, 40, 2},
                                           ConstrainCase{20, 1, 20, 1}, ConstrainCase{25, -1, 20, 1},
                                           ConstrainCase{25, 1, 40, 2}, ConstrainCase{25, 0, 20, 1},
                                           ConstrainCase{35, 0, 40, 2},
                                           ConstrainCase{30, 0, 40, 2},   // a tie goes up
                                           ConstrainCase{35, 3, 40, 2}, ConstrainCase{30, 3, 20, 1},
                                           ConstrainCase{25, -3, 40, 2}, ConstrainCase{22, -3, 20, 1}));

TEST(HeaderFilter, RefusesApplicationFilesOnlyFromTwelveBytes) {
  using vane::fileio::tables::HeaderFilterRefuses;
  const BYTE zoss[] = {'R', 'I', 'F', 'F', 1, 0, 0, 0, 'Z', 'O', 'S', 'S'};
  EXPECT_TRUE(HeaderFilterRefuses(zoss, sizeof zoss));
  EXPECT_FALSE(HeaderFilterRefuses(zoss, 11));
  const BYTE wave[] = {'R', 'I', 'F', 'F', 1, 0, 0, 0, 'W', 'A', 'V', 'E'};
  EXPECT_FALSE(HeaderFilterRefuses(wave, sizeof wave));
  // Wave64 with a refused form GUID needs 41 bytes to be told.
  BYTE w64[41] = {0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
  GUID form = VANE_GUID(0x533C1BF6, 0xD635, 0x43F3, 0x8A, 0x90, 0x64, 0xB8, 0x87, 0x23, 0x1F, 0x7F);
  std::memcpy(w64 + 24, &form, 16);
  EXPECT_TRUE(HeaderFilterRefuses(w64, 41));
  EXPECT_FALSE(HeaderFilterRefuses(w64, 40));
}

TEST(RankTables, TeamReadersComeFirstAndUnknownClassesInTheMiddle) {
  using namespace vane::fileio::tables;
  EXPECT_GT(ReaderRank(kReaderFirst[0]), ReaderRank(kReaderFirst[1]));
  EXPECT_EQ(ReaderRank(GUID_NULL), 0);
  EXPECT_EQ(kIdentification.size(), 121u);
  // Rows of one type stand together, so the scan can stop after the group.
  for (size_t i = 1; i < kIdentification.size(); ++i)
    for (size_t j = 0; j + 1 < i; ++j)
      if (kIdentification[j].type == kIdentification[i].type) {
        EXPECT_EQ(kIdentification[i - 1].type, kIdentification[i].type);
      }
}

TEST(ProbeReport, RoundTripsAndRejectsDamagedReports) {
  using namespace vane::fileio::detail;
  ProbeResult r;
  r.status = MakeStatus(0x8004E047);
  ProbedClass c;
  c.classId = VANE_GUID(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);
  c.name = u"Name with blanks";
  c.access = 3;
  c.flags = 5;
  ProbedClass described = c;
  described.readerKnown = described.rendererKnown = true;
  described.reader = VANE_GUID(7, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);
  described.renderer = VANE_GUID(8, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);
  described.readerExt = u"*.a;*.b";
  described.readerName = u"Reader\nname";  // one line in the report
  described.rendererExt = u"";
  r.classes = {c, described};
  std::string text = FormatProbeReport(r);
  ProbeResult back;
  ASSERT_TRUE(ParseProbeReport(text, &back));
  EXPECT_EQ(back.status, r.status);
  ASSERT_EQ(back.classes.size(), 2u);
  EXPECT_EQ(back.classes[1].name, c.name);
  EXPECT_EQ(back.classes[1].flags, 5u);
  EXPECT_FALSE(back.classes[0].readerKnown);
  EXPECT_TRUE(back.classes[1].readerKnown && back.classes[1].rendererKnown);
  EXPECT_EQ(back.classes[1].reader, described.reader);
  EXPECT_EQ(back.classes[1].renderer, described.renderer);
  EXPECT_EQ(back.classes[1].readerExt, u"*.a;*.b");
  EXPECT_EQ(back.classes[1].readerName, u"Reader name");
  EXPECT_EQ(back.classes[1].rendererExt, u"");
  // Class facts need a class line before them, and known keys.
  EXPECT_FALSE(ParseProbeReport("status 0\nreader {00000007-0002-0003-0405-060708090A0B}\nend\n", &back));
  EXPECT_FALSE(ParseProbeReport(FormatProbeReport(r).insert(FormatProbeReport(r).size() - 4, "readerjunk x\n"), &back));
  // A child that died before "end" said nothing usable.
  for (size_t cut : {size_t(0), text.size() / 2, text.size() - 4})
    EXPECT_FALSE(ParseProbeReport(text.substr(0, cut), &back)) << cut;
  EXPECT_FALSE(ParseProbeReport("status 0\nclass {junk} 1 2 3 4 x\nend\n", &back));
}

// A reader file that answers GetStreamFormatInfo with one stored record.
class OneStreamFile : public IZoReadFile {
 public:
  _ZOFILESTREAMFORMATINFOv2 record{};
  HRESULT status = S_OK;
  HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }
  HRESULT GetFileClass(IZoReadFileClass**) override { return E_NOTIMPL; }
  HRESULT PluginSlot4(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT PluginSlot5(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT GetFileInfo(void*, DWORD, DWORD) override { return E_NOTIMPL; }
  HRESULT GetStreamInfo(void*, DWORD, LONG, DWORD) override { return E_NOTIMPL; }
  HRESULT Clone(IZoReadFile**) override { return E_NOTIMPL; }
  HRESULT CloseFile() override { return E_NOTIMPL; }
  HRESULT IsFileOpen() override { return S_OK; }
  HRESULT OpenFile(DWORD, DWORD) override { return E_NOTIMPL; }
  HRESULT SetFile(LPCWSTR) override { return E_NOTIMPL; }
  HRESULT GetFileName(WCHAR*, DWORD) override { return E_NOTIMPL; }
  HRESULT GetFileLength(LONGLONG*) override { return E_NOTIMPL; }
  HRESULT GetStreamCount(LONG* count) override { *count = 1; return S_OK; }
  HRESULT GetStreamTypes(ULONG*) override { return E_NOTIMPL; }
  HRESULT GetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* records, LONG first, LONG count) override {
    if (FAILED(status)) return status;
    if (first != 0 || count != 1) return E_INVALIDARG;
    *records = record;
    return S_OK;
  }
  HRESULT GetStreamType(LONG, ULONG*, LONG*) override { return E_NOTIMPL; }
  HRESULT GetRawStreamIndex(LONG, ULONG, LONG*) override { return E_NOTIMPL; }
  HRESULT OpenStream(IZoReadStream**, ULONG, LONG, DWORD, _ZOFILESTREAMFORMATINFOv2*) override { return E_NOTIMPL; }
  HRESULT QueryOpenStream(LONG, DWORD, _ZOFILESTREAMFORMATINFOv2*) override { return E_NOTIMPL; }
  HRESULT PluginSlot22(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT GenerateTemplate(tagZOTEMPLATExV2**, LONG, LONG) override { return E_NOTIMPL; }
};

struct V1Buffers {
  _ZOFILESTREAMFORMATINFOv1 record{};
  BYTE audio[160] = {};
  BYTE video[40] = {};
  BYTE text[20] = {};
  BYTE extension[64] = {};
  V1Buffers() {
    record.cbSize = ZOFIO_STREAMFORMAT_V1_SIZE;
    record.audio = {audio, sizeof audio};
    record.video = {video, sizeof video};
    record.text = {text, sizeof text};
    record.extension = {extension, sizeof extension};
  }
};

// A platform audio header with its codec bytes, as a v1 client holds it.
struct AudioCase {
  const char* name;
  std::vector<BYTE> bytes;  // the whole header
  size_t v1Bytes;           // what a v1 header of it needs
};
void PrintTo(const AudioCase& c, std::ostream* os) { *os << c.name; }

AudioCase MakeAudioCase(const char* name, WORD tag, WORD channels, DWORD rate, WORD bits, WORD extraBytes,
                        DWORD mask = 0) {
  WAVEFORMATEXTENSIBLE x{};
  WAVEFORMATEX& f = x.Format;
  f.wFormatTag = tag;
  f.nChannels = channels;
  f.nSamplesPerSec = rate;
  f.wBitsPerSample = bits;
  f.nBlockAlign = WORD(channels * ((bits + 7) / 8));
  f.nAvgBytesPerSec = rate * f.nBlockAlign;
  f.cbSize = extraBytes;
  std::vector<BYTE> bytes(sizeof(WAVEFORMATEX) + extraBytes);
  if (tag == WAVE_FORMAT_EXTENSIBLE) {
    x.Samples.wValidBitsPerSample = bits;
    x.dwChannelMask = mask;
    x.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    std::memcpy(bytes.data(), &x, sizeof x);
  } else {
    std::memcpy(bytes.data(), &f, sizeof f);
    for (WORD i = 0; i < extraBytes; ++i) bytes[sizeof f + i] = BYTE(0xA0 + i);
  }
  size_t v1 = (tag == WAVE_FORMAT_PCM || tag == WAVE_FORMAT_IEEE_FLOAT) ? 16 : bytes.size();
  return {name, bytes, v1};
}

class AudioV1RoundTrip : public ::testing::TestWithParam<AudioCase> {};

// A header set into the v2 record (as the engine's record) comes back into a
// v1 client's header byte for byte.
TEST_P(AudioV1RoundTrip, V1HeaderMatchesTheHeaderThatWasSet) {
  const AudioCase& c = GetParam();
  OneStreamFile file;
  file.record.cbSize = ZOFIO_STREAMFORMAT_SIZE;
  const BYTE extension[32] = {1, 2, 3};
  ASSERT_EQ(ZoFio_SetStreamFormatInfo(&file.record, reinterpret_cast<const WAVEFORMATEX*>(c.bytes.data()), extension,
                                      4410),
            S_OK);
  V1Buffers v1;
  ASSERT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &v1.record, ZOFILESTREAM_AUDIO), S_OK);
  EXPECT_EQ(v1.record.streamType, DWORD(ZOFILESTREAM_AUDIO));
  EXPECT_EQ(v1.record.length, 4410);
  ASSERT_EQ(v1.record.audio.bytes, c.v1Bytes);
  EXPECT_EQ(std::memcmp(v1.audio, c.bytes.data(), c.v1Bytes), 0);
  EXPECT_EQ(v1.record.extension.bytes, 32u);
  EXPECT_EQ(std::memcmp(v1.extension, extension, 32), 0);
  EXPECT_EQ(v1.record.video.bytes, 0u);
  EXPECT_EQ(v1.record.text.bytes, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AudioV1RoundTrip,
    ::testing::Values(MakeAudioCase("pcm16_stereo", WAVE_FORMAT_PCM, 2, 44100, 16, 0),
                      MakeAudioCase("float_mono", WAVE_FORMAT_IEEE_FLOAT, 1, 48000, 32, 0),
                      MakeAudioCase("extensible_5_1", WAVE_FORMAT_EXTENSIBLE, 6, 48000, 24, 22, 0x3F),
                      MakeAudioCase("adpcm_with_codec_bytes", 0x0002, 2, 22050, 4, 32)),
    [](const auto& info) { return std::string(info.param.name); });

class ConvertToV2ifV1Test : public ::testing::Test {
 protected:
  OneStreamFile file;
  V1Buffers v1;
  void SetUp() override { file.record.cbSize = ZOFIO_STREAMFORMAT_SIZE; }
};

TEST_F(ConvertToV2ifV1Test, LeavesV2RecordsAndRefusesUnknownSizes) {
  _ZOFILESTREAMFORMATINFOv2 v2{};
  v2.cbSize = ZOFIO_STREAMFORMAT_SIZE;
  v2.length = 77;
  EXPECT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &v2, 0), S_FALSE);
  EXPECT_EQ(v2.length, 77);
  v1.record.cbSize = 50;
  EXPECT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &v1.record, 0), E_INVALIDARG);
  EXPECT_EQ(ZoFio_ConvertToV2ifV1(nullptr, 0, &v1.record, 0), E_POINTER);
}

TEST_F(ConvertToV2ifV1Test, ReaderFailureAndTypeMismatchLeaveTheRecord) {
  file.record.streamType = ZOFILESTREAM_AUDIO;
  file.record.length = 9;
  EXPECT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &v1.record, ZOFILESTREAM_VIDEO | ZOFILESTREAM_TEXT), E_INVALIDARG);
  file.status = ZOERR_NOT_FOUND;
  EXPECT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &v1.record, 0), ZOERR_NOT_FOUND);
  EXPECT_EQ(v1.record.length, 0);
  EXPECT_EQ(v1.record.audio.bytes, sizeof v1.audio);
}

TEST_F(ConvertToV2ifV1Test, ShortHeaderGetsItsFirstBytesAndTheSizeItNeeds) {
  AudioCase c = MakeAudioCase("adpcm", 0x0002, 1, 8000, 4, 32);
  ASSERT_EQ(ZoFio_SetStreamFormatInfo(&file.record, reinterpret_cast<const WAVEFORMATEX*>(c.bytes.data()), nullptr, 1),
            S_OK);
  v1.record.audio.bytes = 10;
  v1.record.extension = {nullptr, 0};  // a size query for the extension
  EXPECT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &v1.record, 0), ZOERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(v1.record.audio.bytes, c.v1Bytes);
  EXPECT_EQ(std::memcmp(v1.audio, c.bytes.data(), 10), 0);
  EXPECT_EQ(v1.audio[10], 0);
  EXPECT_EQ(v1.record.extension.bytes, 32u);
}

TEST_F(ConvertToV2ifV1Test, ClaimedCodecBytesBeyondTheUnionAreNotRead) {
  // A plug-in's record claiming far more codec bytes than the union holds.
  file.record.streamType = ZOFILESTREAM_AUDIO;
  std::memset(file.record.format.raw, 0xFF, sizeof file.record.format.raw);
  DWORD flags = 8;  // compressed
  std::memcpy(file.record.format.raw + 20, &flags, sizeof flags);
  const HRESULT hr = ZoFio_ConvertToV2ifV1(&file, 0, &v1.record, 0);
  EXPECT_TRUE(hr == S_OK || hr == ZOERR_BUFFER_TOO_SMALL) << hr;
  EXPECT_LE(v1.record.audio.bytes, sizeof(WAVEFORMATEXTENSIBLE) + ZOFIO_STREAMFORMAT_FORMAT_BYTES);
}

TEST_F(ConvertToV2ifV1Test, VideoAndTextHeadersKeepTheirFixedSizes) {
  BITMAPINFOHEADER bih{40, 640, 480, 1, 24, BI_RGB, 640 * 480 * 3, 0, 0, 0, 0};
  ASSERT_EQ(ZoFio_SetStreamFormatInfo(&file.record, &bih, nullptr, 25), S_OK);
  ASSERT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &v1.record, ZOFILESTREAM_VIDEO), S_OK);
  EXPECT_EQ(v1.record.video.bytes, 40u);
  EXPECT_EQ(std::memcmp(v1.video, &bih, 40), 0);
  EXPECT_EQ(v1.record.extension.bytes, 64u);
  EXPECT_EQ(v1.record.audio.bytes, 0u);

  file.record.streamType = ZOFILESTREAM_TEXT;
  std::memset(file.record.format.raw, 0x5A, sizeof file.record.format.raw);
  V1Buffers text;
  ASSERT_EQ(ZoFio_ConvertToV2ifV1(&file, 0, &text.record, 0), S_OK);
  EXPECT_EQ(text.record.text.bytes, 20u);
  EXPECT_EQ(text.text[19], 0x5A);
  EXPECT_EQ(text.record.extension.bytes, 40u);
}

// Pixel aspect given in the extension, and what the record must hold.
struct AspectCase {
  double given;
  bool withExtension;
  double stored;
};
void PrintTo(const AspectCase& c, std::ostream* os) {
  *os << (c.withExtension ? "aspect " : "no extension ") << c.given;
}

class VideoFormatRecord : public ::testing::TestWithParam<AspectCase> {};

TEST_P(VideoFormatRecord, FixedExtensionFieldsAndPixelAspectFallBack) {
  tZOVIDEOEXTENSION given{};
  given.interlace = ZOINTERLACE_UPPER_FIRST;
  given.frameRate = 29.97;
  given.pixelAspect = GetParam().given;
  BITMAPINFOHEADER bih{40, 720, 576, 1, 16, 0x59565955, 720 * 576 * 2, 0, 0, 0, 0};
  _ZOFILESTREAMFORMATINFOv2 record;
  std::memset(&record, 0xCC, sizeof record);
  record.cbSize = 200;  // a caller's larger size stays
  ASSERT_EQ(ZoFio_SetStreamFormatInfo(&record, &bih, GetParam().withExtension ? &given : nullptr, 1000), S_OK);
  EXPECT_EQ(record.cbSize, 200u);
  EXPECT_EQ(record.streamType, DWORD(ZOFILESTREAM_VIDEO));
  EXPECT_EQ(record.length, 1000);
  EXPECT_EQ(record.start, 0);
  EXPECT_EQ(std::memcmp(record.format.raw, &bih, 40), 0);
  for (size_t i = 40; i < sizeof record.format.raw; ++i) ASSERT_EQ(record.format.raw[i], 0) << i;
  tZOVIDEOEXTENSION stored;
  std::memcpy(&stored, record.extension.raw, sizeof stored);
  EXPECT_EQ(stored.cbSize, 64u);
  EXPECT_EQ(stored.reserved1, -1);
  EXPECT_EQ(stored.pixelAspect, GetParam().stored);
  EXPECT_EQ(stored.frameRate, GetParam().withExtension ? 29.97 : 0.0);
  EXPECT_EQ(stored.interlace, GetParam().withExtension ? DWORD(ZOINTERLACE_UPPER_FIRST) : 0u);
}

INSTANTIATE_TEST_SUITE_P(Aspects, VideoFormatRecord,
                         ::testing::Values(AspectCase{1.5, true, 1.5}, AspectCase{0.0, true, 1.0},
                                           AspectCase{-2.0, true, 1.0},
                                           AspectCase{std::numeric_limits<double>::quiet_NaN(), true, 1.0},
                                           AspectCase{0.0, false, 1.0}));

TEST(VideoFormatRecordHeaders, LaterFormsAreCutAndCoreHeadersRefused) {
  BYTE v4[108] = {};
  BITMAPINFOHEADER bih{108, 16, 16, 1, 32, BI_BITFIELDS, 1024, 0, 0, 0, 0};
  std::memcpy(v4, &bih, sizeof bih);
  std::memset(v4 + 40, 0xEE, sizeof v4 - 40);
  _ZOFILESTREAMFORMATINFOv2 record{};
  record.cbSize = ZOFIO_STREAMFORMAT_SIZE;
  ASSERT_EQ(ZoFio_SetStreamFormatInfo(&record, reinterpret_cast<const BITMAPINFOHEADER*>(v4), nullptr, 0), S_OK);
  BITMAPINFOHEADER stored;
  std::memcpy(&stored, record.format.raw, sizeof stored);
  EXPECT_EQ(stored.biSize, 40u);
  EXPECT_EQ(stored.biCompression, BI_BITFIELDS);
  EXPECT_EQ(record.format.raw[40], 0);
  bih.biSize = 12;
  EXPECT_EQ(ZoFio_SetStreamFormatInfo(&record, &bih, nullptr, 0), E_INVALIDARG);
}

// A language-table record as the language layer lays it out.
struct TestLanguageRecord {
  WORD marker = 0xFFFE;
  WORD count = 18;
  const WCHAR* texts[18] = {};
};

const WCHAR* AsText(const void* p) { return static_cast<const WCHAR*>(p); }
const WCHAR* AsId(UINT id) { return reinterpret_cast<const WCHAR*>(UINT_PTR(id)); }

std::vector<std::u16string> Texts(const BSTR* texts, size_t count) {
  std::vector<std::u16string> out;
  for (size_t i = 0; i < count; ++i) out.push_back(texts[i] ? std::u16string(texts[i]) : u"<none>");
  return out;
}

TEST(StringResources, IdsComeFromTheKernelCatalogueAndMissingIdsGiveNone) {
  const UINT ids[] = {vane::kernel::kStrKernelCaption, 0, 9999};
  BSTR texts[3] = {};
  ASSERT_EQ(ZoFio_FillBstrArrayFromStringResources(nullptr, ids, 3, texts), S_OK);
  EXPECT_EQ(Texts(texts, 3), (std::vector<std::u16string>{u"Vane Format Kernel", u"<none>", u"<none>"}));
  ZoFio_FreeBstrArray(texts, 3);
  EXPECT_EQ(ZoFio_FillBstrArrayFromStringResources(nullptr, ids, -1, texts), E_INVALIDARG);
}

TEST(StringResources, AnInstalledStringSourceIsUsedWithoutItsMarker) {
  static const vane::kernel::KernelStringSource source{
      [](void** handle, HMODULE) -> HRESULT {
        *handle = reinterpret_cast<void*>(1);
        return S_OK;
      },
      [](void*, UINT id) -> const WCHAR* { return id == vane::kernel::kStrKernelCaption ? u"^*Noyau" : nullptr; },
      [](void*) {}};
  vane::kernel::SetKernelStringSource(&source);
  ASSERT_EQ(vane::kernel::OpenKernelStrings(nullptr), S_OK);
  const UINT ids[] = {vane::kernel::kStrKernelCaption, vane::kernel::kStrOsTooOld};
  BSTR texts[2] = {};
  HRESULT hr = ZoFio_FillBstrArrayFromStringResources(nullptr, ids, 2, texts);
  vane::kernel::SetKernelStringSource(nullptr);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(Texts(texts, 2), (std::vector<std::u16string>{u"Noyau", u"<none>"}));
  ZoFio_FreeBstrArray(texts, 2);
}

TEST(StringResources, MapResolvesIdsRecordsAndTextsAndSuffixesOnlyNameAndExtensions) {
  TestLanguageRecord named;
  named.texts[0] = u"Wave Audio";
  named.texts[1] = u"Wave (ja)";
  TestLanguageRecord byId;
  byId.texts[0] = AsId(vane::kernel::kStrKernelCaption);
  const ZOFIO_INFOTEXT_MAP map[] = {
      {ZOFIO_INFOTEXT_EXTENSIONS, u"*.wav;*.bwf"},
      {ZOFIO_INFOTEXT_NAME, AsText(&named)},
      {ZOFIO_INFOTEXT_DEFAULT_EXT, AsId(vane::kernel::kStrKernelCaption)},
      {7, AsText(&byId)},
      {8, AsId(9999)},
  };
  const DWORD ids[] = {ZOFIO_INFOTEXT_EXTENSIONS, ZOFIO_INFOTEXT_NAME, ZOFIO_INFOTEXT_DEFAULT_EXT, 7, 8, 3};
  BSTR texts[6];
  std::fill(std::begin(texts), std::end(texts), reinterpret_cast<BSTR>(0x1234));  // stale values get cleared
  ASSERT_EQ(ZoFio_FillBstrArrayFromStringResourceMap(nullptr, ids, 6, texts, map, 5, u" [x]"), S_OK);
  EXPECT_EQ(Texts(texts, 6), (std::vector<std::u16string>{u"*.wav;*.bwf [x]", u"Wave Audio [x]",
                                                          u"Vane Format Kernel", u"Vane Format Kernel", u"<none>",
                                                          u"<none>"}));
  ZoFio_FreeBstrArray(texts, 6);

  EXPECT_EQ(ZoFio_MapInfoIdToStringId(ZOFIO_INFOTEXT_DEFAULT_EXT, map, 5), vane::kernel::kStrKernelCaption);
  EXPECT_EQ(ZoFio_MapInfoIdToStringId(ZOFIO_INFOTEXT_EXTENSIONS, map, 5), 0u);  // a text row
  EXPECT_EQ(ZoFio_MapInfoIdToStringId(3, map, 5), 0u);
}

}  // namespace
