// SPDX-License-Identifier: MIT
// Metadata streams over a MetaMap: the framing read back field by field,
// round trips of summary, markers, generic and entry streams, damaged
// framing refused with 0x8004E008, and the memory stream under them.
#include "fileutil/meta_stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

namespace fileutil {
namespace {

using vane::ComPtr;

constexpr DWORD Tag(const char (&s)[5]) {
  return DWORD(BYTE(s[0])) | DWORD(BYTE(s[1])) << 8 | DWORD(BYTE(s[2])) << 16 | DWORD(BYTE(s[3])) << 24;
}

const GUID kUnknown = VANE_GUID(0x11111111, 0x2222, 0x3333, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB);
// The six kinds a read-meta object carries through its own slots.
const GUID kFixed[] = {
    VANE_GUID(0x2183E19B, 0x0225, 0x455C, 0x9F, 0xBF, 0x75, 0x14, 0xAF, 0xFD, 0xBA, 0x7D),
    VANE_GUID(0xCDB04C70, 0x91A0, 0x4668, 0xAD, 0x38, 0x68, 0x73, 0xE2, 0x95, 0x64, 0x15),
    VANE_GUID(0x3152F494, 0xC993, 0x4B31, 0x96, 0xE1, 0xA3, 0x3C, 0x79, 0xC7, 0xA8, 0xD0),
    VANE_GUID(0x53CBEDB8, 0x992A, 0x4202, 0xAA, 0x8D, 0xE2, 0x88, 0x92, 0x79, 0xE8, 0x6F),
    VANE_GUID(0xFDB28EB2, 0x7D5E, 0x4A7B, 0xAF, 0xBD, 0xF1, 0xE3, 0x8C, 0x7E, 0xC5, 0xF6),
    VANE_GUID(0x2A33D899, 0x550B, 0x468C, 0x9C, 0x47, 0x3C, 0xE3, 0x90, 0x0D, 0x87, 0x34),
};

std::vector<std::uint8_t> Drain(IStream* s) {
  std::vector<std::uint8_t> all;
  std::uint8_t buf[7];  // odd pieces: a reader must not need whole records per call
  for (ULONG got; SUCCEEDED(s->Read(buf, sizeof buf, &got)) && got > 0;) all.insert(all.end(), buf, buf + got);
  return all;
}

ComPtr<IStream> Over(const std::vector<std::uint8_t>& bytes) {
  return ComPtr<IStream>::Attach(SHCreateMemStream(bytes.data(), UINT(bytes.size())));
}

DWORD U32(const std::vector<std::uint8_t>& b, std::size_t at) {
  DWORD v;
  std::memcpy(&v, b.data() + at, 4);
  return v;
}

GUID GuidAt(const std::vector<std::uint8_t>& b, std::size_t at) {
  GUID g;
  std::memcpy(&g, b.data() + at, 16);
  return g;
}

// Parses the framing by hand, independent of ReadMetaStream, and checks
// every fixed field on the way.
std::vector<std::vector<std::uint8_t>> Unframe(const std::vector<std::uint8_t>& b, const GUID& kind) {
  std::vector<std::vector<std::uint8_t>> items;
  EXPECT_GE(b.size(), 28u);
  if (b.size() < 28) return items;
  EXPECT_EQ(U32(b, 0), 28u);
  EXPECT_EQ(U32(b, 4), 100u);
  EXPECT_EQ(GuidAt(b, 12), kind);
  std::size_t at = 28;
  for (DWORD i = 0; i < U32(b, 8); ++i) {
    EXPECT_LE(at + 28, b.size());
    if (at + 28 > b.size()) return items;
    EXPECT_EQ(U32(b, at), 28u);
    EXPECT_EQ(U32(b, at + 4), 100u);
    EXPECT_EQ(GuidAt(b, at + 8), kind);
    const DWORD cb = U32(b, at + 24);
    at += 28;
    EXPECT_LE(at + cb, b.size());
    if (at + cb > b.size()) return items;
    items.emplace_back(b.begin() + at, b.begin() + at + cb);
    at += cb;
  }
  EXPECT_EQ(at, b.size()) << "bytes behind the last item";
  return items;
}

MetaMap SampleMap() {
  MetaMap m;
  m.add(Tag("INAM"), u"Title \u00e9\u4e2d");
  m.add(Tag("IART"), u"Artist");
  m.add(Tag("ICMT"), u"");
  m.addGeneric(GUID_ZoMetaMarkers, MakeMarkerSample(1, 0, -1, u"start"));
  m.addGeneric(GUID_ZoMetaMarkers, MakeMarkerSample(2, 44100, 22050, u"region"));
  m.addGeneric(GUID_ZoMetaMarkers, MakeMarkerSample(3, 0x100000000ll, 0, u""));
  for (std::size_t i = 0; i < std::size(kFixed); ++i) m.addGeneric(kFixed[i], std::vector<std::uint8_t>(i + 3, BYTE(i)));
  m.addGeneric(kUnknown, {1, 2, 3});
  m.addGeneric(kUnknown, {});
  return m;
}

TEST(MetaStreamTest, SummaryFramingAndItemsRoundTrip) {
  const MetaMap m = SampleMap();
  ComPtr<MetaSummaryStream> s = ComPtr<MetaSummaryStream>::Attach(new MetaSummaryStream);
  ASSERT_EQ(s->Init(m), S_OK);
  const auto items = Unframe(Drain(s.Get()), GUID_ZoMetaSummary);
  ASSERT_EQ(items.size(), m.items().size());
  auto want = m.items().begin();
  for (const auto& data : items) {
    ASSERT_GE(data.size(), 12u);
    EXPECT_EQ(U32(data, 0), 12u);
    EXPECT_EQ(U32(data, 4), want->first);
    EXPECT_EQ(U32(data, 8), (want->second.size() + 1) * 2) << "text size counts the terminator";
    EXPECT_EQ(data.size(), 12 + U32(data, 8));
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(data.data() + 12)), want->second);
    ++want;
  }
  s->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
  MetaMap back;
  ASSERT_EQ(InitMapFromSummaryStream(s.Get(), &back), S_OK);
  EXPECT_EQ(back.items(), m.items());
}

class GenericKindTest : public ::testing::TestWithParam<GUID> {};

TEST_P(GenericKindTest, EveryBlobOfTheGuidComesBackInOrder) {
  const MetaMap m = SampleMap();
  const GUID guid = GetParam();
  ComPtr<MetaGenericStream> s = ComPtr<MetaGenericStream>::Attach(new MetaGenericStream);
  ASSERT_EQ(s->Init(m, guid), S_OK);
  const auto items = Unframe(Drain(s.Get()), guid);
  std::vector<std::vector<std::uint8_t>> want;
  for (auto [it, end] = m.generics().equal_range(guid); it != end; ++it) want.push_back(it->second);
  EXPECT_EQ(items, want);

  s->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
  MetaMap back;
  ASSERT_EQ(InitMapFromGenericStream(s.Get(), &back), S_OK);
  EXPECT_EQ(back.numGenerics(guid), want.size());
  EXPECT_EQ(back.getGenericByteCount(guid), m.getGenericByteCount(guid));
}

INSTANTIATE_TEST_SUITE_P(SixFixedMarkersAndUnknown, GenericKindTest,
                         ::testing::Values(kFixed[0], kFixed[1], kFixed[2], kFixed[3], kFixed[4], kFixed[5],
                                           GUID_ZoMetaMarkers, kUnknown,
                                           VANE_GUID(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9)));

TEST(MetaStreamTest, MarkersGoToTimeFormAndBackToSamples) {
  for (DWORD rate : {44100u, 48000u, 8000u}) {
    const MetaMap m = SampleMap();
    ComPtr<MetaMarkerStream> timeForm = ComPtr<MetaMarkerStream>::Attach(new MetaMarkerStream);
    ASSERT_EQ(timeForm->Init(m, rate), S_OK);
    const auto items = Unframe(Drain(timeForm.Get()), GUID_ZoMetaMarkers);
    ASSERT_EQ(items.size(), 3u);
    ZOMETAMARKERTIME t;
    std::u16string text;
    ASSERT_EQ(ParseMarkerTime(items[1], &t, &text), S_OK);
    EXPECT_EQ(t.region, 1u);
    EXPECT_EQ(LONGLONG(t.start), LONGLONG(MetaTimeFromSamples(44100, rate)));
    EXPECT_EQ(text, u"region");
    ASSERT_EQ(ParseMarkerTime(items[0], &t, &text), S_OK);
    EXPECT_EQ(t.region, 0u) << "length -1 is a marker";

    timeForm->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    ComPtr<MetaLegacyMarkerStream> samples = ComPtr<MetaLegacyMarkerStream>::Attach(new MetaLegacyMarkerStream);
    ASSERT_EQ(samples->Init(timeForm.Get(), rate), S_OK);
    MetaStreamContent back;
    ASSERT_EQ(ReadMetaStream(samples.Get(), &back), S_OK);
    ASSERT_EQ(back.items.size(), 3u);
    auto want = m.generics().equal_range(GUID_ZoMetaMarkers).first;
    for (const MetaItem& item : back.items) {
      ZOMETAMARKERSAMPLE a, b;
      std::u16string ta, tb;
      ASSERT_EQ(ParseMarkerSample(item.data, &a, &ta), S_OK);
      ASSERT_EQ(ParseMarkerSample(want->second, &b, &tb), S_OK);
      EXPECT_EQ(LONGLONG(a.position), LONGLONG(b.position)) << "rate " << rate;
      EXPECT_EQ(LONGLONG(a.length), LONGLONG(b.length)) << "rate " << rate;
      EXPECT_EQ(ta, tb);
      ++want;
    }
  }
}

TEST(MetaStreamTest, MarkersAtRateZeroStartAtZero) {
  ComPtr<MetaMarkerStream> s = ComPtr<MetaMarkerStream>::Attach(new MetaMarkerStream);
  ASSERT_EQ(s->Init(SampleMap(), 0), S_OK);
  MetaStreamContent c;
  ASSERT_EQ(ReadMetaStream(s.Get(), &c), S_OK);
  for (const MetaItem& item : c.items) {
    ZOMETAMARKERTIME t;
    std::u16string text;
    ASSERT_EQ(ParseMarkerTime(item.data, &t, &text), S_OK);
    EXPECT_EQ(LONGLONG(t.start), LONGLONG(0));
  }
}

TEST(MetaStreamTest, EntryStreamHoldsBlobsWithoutItemFraming) {
  MetaMap m;
  for (int i = 0; i < 3; ++i) m.addGeneric(kFixed[4], std::vector<std::uint8_t>(32, BYTE(i)));
  ComPtr<MetaEntryStream> s = ComPtr<MetaEntryStream>::Attach(new MetaEntryStream);
  ASSERT_EQ(s->Init(m, kFixed[4]), S_OK);
  const auto bytes = Drain(s.Get());
  ASSERT_EQ(bytes.size(), 12u + 3 * 32);
  EXPECT_EQ(U32(bytes, 0), 12u);
  EXPECT_EQ(U32(bytes, 4), 100u);
  EXPECT_EQ(U32(bytes, 8), 3u);
  std::vector<std::vector<std::uint8_t>> back;
  ASSERT_EQ(ReadMetaEntryStream(Over(bytes).Get(), 32, [](const std::uint8_t*) { return 32ull; }, &back), S_OK);
  ASSERT_EQ(back.size(), 3u);
  EXPECT_EQ(back[2], std::vector<std::uint8_t>(32, 2));
  auto cut = bytes;
  cut.pop_back();
  EXPECT_EQ(ReadMetaEntryStream(Over(cut).Get(), 32, [](const std::uint8_t*) { return 32ull; }, &back),
            ZOERR_FILE_READ);
}

// Damaged framing: each case changes one thing in a good stream.
enum class Damage { kStreamCbHeader, kStreamVersion, kItemCbHeader, kItemVersion, kDataPastEnd, kCountTooHigh,
                    kHugeItem };

class BadFramingTest : public ::testing::TestWithParam<Damage> {};

TEST_P(BadFramingTest, IsRefusedWithReadStatus) {
  ComPtr<MetaGenericStream> s = ComPtr<MetaGenericStream>::Attach(new MetaGenericStream);
  ASSERT_EQ(s->Init(SampleMap(), GUID_ZoMetaMarkers), S_OK);
  std::vector<std::uint8_t> b = s->Bytes();
  auto put = [&](std::size_t at, DWORD v) { std::memcpy(b.data() + at, &v, 4); };
  const std::size_t item2 = 28 + 28 + U32(b, 28 + 24);
  switch (GetParam()) {
    case Damage::kStreamCbHeader: put(0, 24); break;
    case Damage::kStreamVersion: put(4, 101); break;
    case Damage::kItemCbHeader: put(item2, 32); break;
    case Damage::kItemVersion: put(item2 + 4, 0); break;
    case Damage::kDataPastEnd: put(item2 + 24, U32(b, item2 + 24) + 1000); break;
    case Damage::kCountTooHigh: put(8, 0xFFFFFFFF); break;
    case Damage::kHugeItem: put(item2 + 24, 0xFFFFFFF0); break;
  }
  MetaStreamContent c;
  EXPECT_EQ(ReadMetaStream(Over(b).Get(), &c), ZOERR_FILE_READ);
  MetaMap m;
  EXPECT_EQ(InitMapFromGenericStream(Over(b).Get(), &m), ZOERR_FILE_READ);
}

INSTANTIATE_TEST_SUITE_P(OneFieldChanged, BadFramingTest,
                         ::testing::Values(Damage::kStreamCbHeader, Damage::kStreamVersion, Damage::kItemCbHeader,
                                           Damage::kItemVersion, Damage::kDataPastEnd, Damage::kCountTooHigh,
                                           Damage::kHugeItem));

TEST(MetaStreamTest, EveryTruncationIsRefusedAndTheWholeIsAccepted) {
  ComPtr<MetaSummaryStream> s = ComPtr<MetaSummaryStream>::Attach(new MetaSummaryStream);
  ASSERT_EQ(s->Init(SampleMap()), S_OK);
  const std::vector<std::uint8_t>& b = s->Bytes();
  for (std::size_t n = 0; n < b.size(); ++n) {
    MetaStreamContent c;
    ASSERT_EQ(ReadMetaStream(Over({b.begin(), b.begin() + n}).Get(), &c), ZOERR_FILE_READ) << n << " bytes";
  }
  MetaStreamContent c;
  EXPECT_EQ(ReadMetaStream(Over(b).Get(), &c), S_OK);
}

TEST(MetaStreamTest, DamagedRecordsInsideGoodFramingAreRefused) {
  std::vector<std::uint8_t> rec = MakeMarkerSample(1, 5, -1, u"abc");
  ZOMETAMARKERSAMPLE r;
  std::u16string t;
  ASSERT_EQ(ParseMarkerSample(rec, &r, &t), S_OK);
  rec.pop_back();  // cbText now passes the end
  EXPECT_EQ(ParseMarkerSample(rec, &r, &t), ZOERR_FILE_READ);
  DWORD tag;
  EXPECT_EQ(ParseSummaryItem({12, 0, 0, 0, 1, 0, 0, 0}, &tag, &t), ZOERR_FILE_READ);
  // A time-form stream whose record is damaged stops the sample-form view.
  MetaMap m;
  m.addGeneric(GUID_ZoMetaMarkers, {1, 2, 3});
  ComPtr<MetaGenericStream> bad = ComPtr<MetaGenericStream>::Attach(new MetaGenericStream);
  ASSERT_EQ(bad->Init(m, GUID_ZoMetaMarkers), S_OK);
  ComPtr<MetaLegacyMarkerStream> legacy = ComPtr<MetaLegacyMarkerStream>::Attach(new MetaLegacyMarkerStream);
  EXPECT_EQ(legacy->Init(bad.Get(), 44100), ZOERR_FILE_READ);
}

TEST(MetaStreamTest, SeekAndCloneKeepPositions) {
  ComPtr<MetaSummaryStream> s = ComPtr<MetaSummaryStream>::Attach(new MetaSummaryStream);
  ASSERT_EQ(s->Init(SampleMap()), S_OK);
  LARGE_INTEGER at;
  at.QuadPart = 28;
  ULARGE_INTEGER pos;
  ASSERT_EQ(s->Seek(at, STREAM_SEEK_SET, &pos), S_OK);
  EXPECT_EQ(pos.QuadPart, 28u);
  ComPtr<IStream> c;
  ASSERT_EQ(s->Clone(c.ReleaseAndGetAddressOf()), S_OK);
  const auto rest = Drain(c.Get());
  EXPECT_EQ(rest, std::vector<std::uint8_t>(s->Bytes().begin() + 28, s->Bytes().end()));
  at.QuadPart = -1;
  EXPECT_EQ(s->Seek(at, STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(s->Write("x", 1, nullptr), E_NOTIMPL);
}

// The platform's memory stream that metadata streams are cloned into.
TEST(MemoryStreamTest, GrowsOnWritesAndReadsBackAcrossClones) {
  ComPtr<IStream> s;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, s.ReleaseAndGetAddressOf()), S_OK);
  std::vector<std::uint8_t> pattern(100000);
  for (std::size_t i = 0; i < pattern.size(); ++i) pattern[i] = BYTE(i * 7);
  for (std::size_t i = 0; i < pattern.size(); i += 999) {
    ULONG put = 0;
    const ULONG n = ULONG(std::min<std::size_t>(999, pattern.size() - i));
    ASSERT_EQ(s->Write(pattern.data() + i, n, &put), S_OK);
    ASSERT_EQ(put, n);
  }
  STATSTG st;
  ASSERT_EQ(s->Stat(&st, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(st.cbSize.QuadPart, pattern.size());
  EXPECT_EQ(st.type, STGTY_STREAM);

  ComPtr<IStream> c;
  ASSERT_EQ(s->Clone(c.ReleaseAndGetAddressOf()), S_OK);
  c->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
  EXPECT_EQ(Drain(c.Get()), pattern);

  // A write behind the end leaves zeros; SetSize cuts; clones see both.
  LARGE_INTEGER far;
  far.QuadPart = 10;
  s->Seek(far, STREAM_SEEK_END, nullptr);
  ASSERT_EQ(s->Write("z", 1, nullptr), S_OK);
  ULARGE_INTEGER size;
  size.QuadPart = pattern.size() + 11;
  ASSERT_EQ(c->Stat(&st, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(st.cbSize.QuadPart, size.QuadPart);
  far.QuadPart = -11;
  c->Seek(far, STREAM_SEEK_END, nullptr);
  const auto tail = Drain(c.Get());
  EXPECT_EQ(tail, (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 'z'}));
  size.QuadPart = 5;
  ASSERT_EQ(c->SetSize(size), S_OK);
  s->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
  EXPECT_EQ(Drain(s.Get()), std::vector<std::uint8_t>(pattern.begin(), pattern.begin() + 5));

  HGLOBAL block = nullptr;
  ASSERT_EQ(GetHGlobalFromStream(s.Get(), &block), S_OK);
  EXPECT_GE(GlobalSize(block), 5u);
  ComPtr<MetaSummaryStream> foreign = ComPtr<MetaSummaryStream>::Attach(new MetaSummaryStream);
  EXPECT_EQ(GetHGlobalFromStream(foreign.Get(), &block), E_INVALIDARG);
}

TEST(MemoryStreamTest, CopyToMovesTheRestAndCallerBlockStaysWithoutDelete) {
  HGLOBAL mine = GlobalAlloc(GMEM_MOVEABLE, 4);
  std::memcpy(GlobalLock(mine), "abcd", 4);
  GlobalUnlock(mine);
  {
    ComPtr<IStream> s, d;
    ASSERT_EQ(CreateStreamOnHGlobal(mine, FALSE, s.ReleaseAndGetAddressOf()), S_OK);
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, d.ReleaseAndGetAddressOf()), S_OK);
    LARGE_INTEGER one;
    one.QuadPart = 1;
    s->Seek(one, STREAM_SEEK_SET, nullptr);
    ULARGE_INTEGER all, in, out;
    all.QuadPart = ~0ull;
    ASSERT_EQ(s->CopyTo(d.Get(), all, &in, &out), S_OK);
    EXPECT_EQ(in.QuadPart, 3u);
    EXPECT_EQ(out.QuadPart, 3u);
    d->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    EXPECT_EQ(Drain(d.Get()), (std::vector<std::uint8_t>{'b', 'c', 'd'}));
    EXPECT_EQ(s->LockRegion(all, all, LOCK_WRITE), STG_E_INVALIDFUNCTION);
  }
  EXPECT_EQ(GlobalSize(mine), 4u) << "the caller's block outlives the stream";
  EXPECT_EQ(GlobalFree(mine), nullptr);
  ComPtr<IStream> s;
  EXPECT_EQ(CreateStreamOnHGlobal(reinterpret_cast<HGLOBAL>(0x1234), FALSE, s.ReleaseAndGetAddressOf()),
            E_INVALIDARG);
}

}  // namespace
}  // namespace fileutil
