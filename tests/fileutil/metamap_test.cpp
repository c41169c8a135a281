// SPDX-License-Identifier: MIT
#include "fileutil/metamap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <set>

#include "fileutil/meta_stream.h"
#include "fileutil/picture_meta.h"

namespace fileutil {
namespace {

constexpr std::uint32_t kTitle = 0x4C544954;  // "TITL" as stored

TEST(MetaMapTest, AddKeepsTheFirstTextAndRefusesKeyZero) {
  MetaMap m;
  m.add(0, u"x");
  EXPECT_TRUE(m.empty());
  m.add(kTitle, u"first");
  m.add(kTitle, u"second");
  EXPECT_EQ(m.getMetaItem(kTitle), u"first");
  EXPECT_EQ(m.getMetaItem(1), u"");
  EXPECT_FALSE(m.hasMetaItem(1));
  EXPECT_EQ(m.getValueByteCount(), 12u);
}

TEST(MetaMapTest, MergeAddsMissingItemsAndReportsDifferences) {
  MetaMap a, b;
  a.add(kTitle, u"t");
  b.add(kTitle, u"t");
  EXPECT_FALSE(a.merge(b));
  b.add(2, u"artist");
  EXPECT_FALSE(a.merge(b));  // an addition alone is not a difference
  EXPECT_EQ(a.getMetaItem(2), u"artist");
  MetaMap c;
  c.add(kTitle, u"other");
  EXPECT_TRUE(a.merge(c));
  EXPECT_EQ(a.getMetaItem(kTitle), u"t");
  a.addGeneric(GUID_ZoSmfmfMeta, {1});
  EXPECT_TRUE(a.merge(a));
  MetaMap onlyGeneric;
  onlyGeneric.addGeneric(GUID_ZoPictureMeta, {});
  EXPECT_FALSE(onlyGeneric.empty());
}

TEST(MetaMapTest, PicturesSurviveTheTripThroughGenericBlobs) {
  MetaMap m;
  const std::uint8_t png[] = {0x89, 'P', 'N', 'G', 1, 2, 3};
  m.initPicture(u"Cover", png, sizeof png, 3);
  m.initPicture(u"", png, 4, 4);
  m.initGenericFromPictureMap();
  EXPECT_EQ(m.numGenerics(GUID_ZoPictureMeta), 2u);
  MetaMap back;
  for (const auto& g : m.generics()) back.addGeneric(g.first, g.second);
  back.addGeneric(GUID_ZoPictureMeta, {1, 2, 3});  // broken: skipped
  back.initPictureMapFromGeneric();
  ASSERT_EQ(back.pictures().size(), 2u);
  EXPECT_EQ(back.pictures().at(3).description, u"Cover");
  EXPECT_EQ(back.pictures().at(3).mimeType, u"image/png");
  EXPECT_EQ(back.pictures().at(3).data, std::vector<std::uint8_t>(png, png + sizeof png));
  EXPECT_EQ(back.pictures().at(4).description, u"");
}

TEST(MetaMapTest, MusicFeaturesSurviveTheTripThroughGenericBlobs) {
  MetaMap m;
  m.initSmfmf({9, 8, 7});
  m.initGenericFromSmfmf();
  MetaMap back;
  for (const auto& g : m.generics()) back.addGeneric(g.first, g.second);
  back.initSmfmfFromGeneric();
  const GeneralObject* o = back.getGeneralObject(MetaMap::kSmfmfDescription);
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->data, (std::vector<std::uint8_t>{9, 8, 7}));
}

// The map's stream readers take exactly the framed streams the stream forms
// (and so the read-meta slots) hand out: map -> stream -> map is the identity.

using vane::ComPtr;

constexpr std::uint32_t Tag(const char (&s)[5]) {
  return std::uint32_t(std::uint8_t(s[0])) | std::uint32_t(std::uint8_t(s[1])) << 8 |
         std::uint32_t(std::uint8_t(s[2])) << 16 | std::uint32_t(std::uint8_t(s[3])) << 24;
}

const GUID kOther = VANE_GUID(0x01020304, 0x0506, 0x0708, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10);

ComPtr<IStream> Over(const std::vector<std::uint8_t>& bytes) {
  return ComPtr<IStream>::Attach(SHCreateMemStream(bytes.data(), UINT(bytes.size())));
}

std::vector<std::uint8_t> SummaryBytes(const MetaMap& m) {
  auto s = ComPtr<MetaSummaryStream>::Attach(new MetaSummaryStream);
  EXPECT_EQ(s->Init(m), S_OK);
  return s->Bytes();
}

std::vector<std::uint8_t> GenericBytes(const MetaMap& m, const GUID& guid) {
  auto s = ComPtr<MetaGenericStream>::Attach(new MetaGenericStream);
  EXPECT_EQ(s->Init(m, guid), S_OK);
  return s->Bytes();
}

MetaMap RichMap() {
  MetaMap m;
  m.add(Tag("INAM"), u"Title \u00e9\u4e2d\U0001F3B5");
  m.add(Tag("IART"), u"Artist");
  m.add(Tag("ICMT"), u"");
  m.add(Tag("TLEN"), u"183000");
  const std::uint8_t jpeg[] = {0xFF, 0xD8, 0xFF, 0xE0, 1, 2, 3, 4, 5};
  m.initPicture(u"Front", jpeg, sizeof jpeg, 3);
  m.initPicture(u"", jpeg, 3, 4);
  m.initGenericFromPictureMap();
  m.initSmfmf({9, 8, 7, 6});
  m.initGenericFromSmfmf();
  m.addGeneric(GUID_ZoMetaMarkers, MakeMarkerSample(1, 0, -1, u"start"));
  m.addGeneric(GUID_ZoMetaMarkers, MakeMarkerSample(2, 44100, 22050, u"verse"));
  m.addGeneric(kOther, {1, 2, 3});
  m.addGeneric(kOther, {});
  m.addGeneric(kOther, std::vector<std::uint8_t>(70000, 0x5A));  // more than one read piece
  return m;
}

TEST(MetaMapStreamTest, SummaryStreamRoundTripsEveryTextItem) {
  const MetaMap m = RichMap();
  MetaMap back;
  back.init(Over(SummaryBytes(m)).Get());
  EXPECT_EQ(back.items(), m.items());
  EXPECT_TRUE(back.generics().empty()) << "the stream header must not be read as a record";
}

// What a host gathers through the read-meta slots: the summary stream, then
// one generic stream per GUID of the enumeration.
TEST(MetaMapStreamTest, EveryGenericStreamRoundTripsAndPicturesComeBack) {
  const MetaMap m = RichMap();
  MetaMap back;
  std::set<GUID, GuidCmpLess> guids;
  m.genericGuids(guids);
  for (const GUID& g : guids) back.initGeneric(Over(GenericBytes(m, g)).Get());
  EXPECT_EQ(back.generics(), m.generics());
  EXPECT_TRUE(back.items().empty());

  back.initPictureMapFromGeneric();
  ASSERT_EQ(back.pictures().size(), m.pictures().size());
  for (const auto& [type, p] : m.pictures()) {
    const Picture& q = back.pictures().at(type);
    EXPECT_EQ(q.description, p.description);
    EXPECT_EQ(q.mimeType, p.mimeType);
    EXPECT_EQ(q.data, p.data);
  }
  back.initSmfmfFromGeneric();
  ASSERT_NE(back.getGeneralObject(MetaMap::kSmfmfDescription), nullptr);
  EXPECT_EQ(back.getGeneralObject(MetaMap::kSmfmfDescription)->data, (std::vector<std::uint8_t>{9, 8, 7, 6}));
}

TEST(MetaMapStreamTest, MarkersComeBackThroughTimeFormAndTheLegacyStream) {
  const MetaMap m = RichMap();
  auto timeForm = ComPtr<MetaMarkerStream>::Attach(new MetaMarkerStream);
  ASSERT_EQ(timeForm->Init(m, 48000), S_OK);
  auto samples = ComPtr<MetaLegacyMarkerStream>::Attach(new MetaLegacyMarkerStream);
  ASSERT_EQ(samples->Init(timeForm.Get(), 48000), S_OK);
  MetaMap back;
  back.initGeneric(samples.Get());
  const auto want = m.generics().equal_range(GUID_ZoMetaMarkers);
  const auto got = back.generics().equal_range(GUID_ZoMetaMarkers);
  EXPECT_TRUE(std::equal(want.first, want.second, got.first, got.second));
  EXPECT_EQ(back.generics().size(), 2u);
}

TEST(MetaMapStreamTest, EmptyStreamsAndNullAddNothing) {
  MetaMap m;
  m.init(Over(SummaryBytes(MetaMap())).Get());
  m.initGeneric(Over(GenericBytes(MetaMap(), kOther)).Get());
  m.init(nullptr);
  m.initGeneric(nullptr);
  EXPECT_TRUE(m.empty());
}

// Items keep their first text: a stream read into a filled map adds only new
// tags, as merging dialects expects.
TEST(MetaMapStreamTest, SummaryStreamDoesNotOverwriteItems) {
  MetaMap m;
  m.add(Tag("IART"), u"mine");
  m.init(Over(SummaryBytes(RichMap())).Get());
  EXPECT_EQ(m.getMetaItem(Tag("IART")), u"mine");
  EXPECT_EQ(m.getMetaItem(Tag("TLEN")), u"183000");
}

// Offsets where each item of a framed stream ends.
std::vector<std::size_t> ItemEnds(const std::vector<std::uint8_t>& b) {
  std::vector<std::size_t> ends;
  for (std::size_t at = 28; at + 28 <= b.size();) {
    DWORD cb;
    std::memcpy(&cb, b.data() + at + 24, 4);
    at += 28 + cb;
    ends.push_back(at);
  }
  return ends;
}

// A stream cut anywhere gives exactly the items that arrived whole, from both
// the map's reader and the status-reporting filler.
TEST(MetaMapStreamTest, TruncatedStreamsKeepTheItemsThatArrivedWhole) {
  MetaMap m = RichMap();
  m.addGeneric(kOther, {7});
  const std::vector<std::uint8_t> summary = SummaryBytes(m), generic = GenericBytes(m, kOther);
  for (const auto* full : {&summary, &generic}) {
    const bool isSummary = full == &summary;
    const std::vector<std::size_t> ends = ItemEnds(*full);
    for (std::size_t n = 0; n < full->size(); n += (n < 200 ? 1 : 997)) {
      const std::vector<std::uint8_t> cut(full->begin(), full->begin() + n);
      const std::size_t whole = std::size_t(std::upper_bound(ends.begin(), ends.end(), n) - ends.begin());
      MetaMap a, b;
      if (isSummary) {
        a.init(Over(cut).Get());
        EXPECT_EQ(InitMapFromSummaryStream(Over(cut).Get(), &b), ZOERR_FILE_READ) << n;
        ASSERT_EQ(a.numItems(), whole) << n << " bytes";
        EXPECT_TRUE(std::equal(a.items().begin(), a.items().end(), m.items().begin())) << n;
        EXPECT_EQ(a.items(), b.items());
      } else {
        a.initGeneric(Over(cut).Get());
        EXPECT_EQ(InitMapFromGenericStream(Over(cut).Get(), &b), ZOERR_FILE_READ) << n;
        ASSERT_EQ(a.numGenerics(kOther), whole) << n << " bytes";
        EXPECT_TRUE(std::equal(a.generics().begin(), a.generics().end(), m.generics().equal_range(kOther).first))
            << n;
        EXPECT_EQ(a.generics(), b.generics());
      }
    }
  }
}

// One field of a good summary stream changed; the second item is the target.
enum class Damage { kStreamCbHeader, kStreamVersion, kItemCbHeader, kItemVersion, kItemHuge, kCountTooHigh,
                    kRecordCb, kRecordTextPastEnd, kItemOfOtherKind };

struct DamageCase {
  Damage damage;
  std::size_t itemsKept;  // of the four
  bool framingIntact;     // the reading goes on past the damaged item
};

class MetaMapDamageTest : public ::testing::TestWithParam<DamageCase> {};

TEST_P(MetaMapDamageTest, KeepsIntactItemsAndReportsDamage) {
  const MetaMap m = RichMap();
  ASSERT_EQ(m.numItems(), 4u);
  std::vector<std::uint8_t> b = SummaryBytes(m);
  const std::size_t item2 = ItemEnds(b)[0];
  auto put = [&](std::size_t at, DWORD v) { std::memcpy(b.data() + at, &v, 4); };
  switch (GetParam().damage) {
    case Damage::kStreamCbHeader: put(0, 12); break;
    case Damage::kStreamVersion: put(4, 1); break;
    case Damage::kItemCbHeader: put(item2, 24); break;
    case Damage::kItemVersion: put(item2 + 4, 101); break;
    case Damage::kItemHuge: put(item2 + 24, 0xFFFFFFF0); break;
    case Damage::kCountTooHigh: put(8, 0x7FFFFFFF); break;
    case Damage::kRecordCb: put(item2 + 28, 28); break;
    case Damage::kRecordTextPastEnd: put(item2 + 28 + 8, 0x10000); break;
    case Damage::kItemOfOtherKind: std::memcpy(b.data() + item2 + 8, &kOther, 16); break;
  }
  MetaMap viaMap, viaFiller;
  viaMap.init(Over(b).Get());
  EXPECT_EQ(InitMapFromSummaryStream(Over(b).Get(), &viaFiller), ZOERR_FILE_READ);
  EXPECT_EQ(viaMap.items(), viaFiller.items());
  EXPECT_EQ(viaMap.numItems(), GetParam().itemsKept);
  for (const auto& [tag, text] : viaMap.items()) EXPECT_EQ(text, m.getMetaItem(tag)) << "no item is invented";
  if (GetParam().itemsKept < 4) {
    EXPECT_FALSE(viaMap.hasMetaItem(std::next(m.items().begin())->first)) << "the damaged item is not taken";
  }
  if (GetParam().framingIntact) {
    EXPECT_TRUE(viaMap.hasMetaItem(std::prev(m.items().end())->first)) << "the reading goes on";
  }
  EXPECT_TRUE(viaMap.generics().empty());
}

INSTANTIATE_TEST_SUITE_P(
    OneFieldChanged, MetaMapDamageTest,
    ::testing::Values(DamageCase{Damage::kStreamCbHeader, 0, false}, DamageCase{Damage::kStreamVersion, 0, false},
                      DamageCase{Damage::kItemCbHeader, 1, false}, DamageCase{Damage::kItemVersion, 1, false},
                      DamageCase{Damage::kItemHuge, 1, false}, DamageCase{Damage::kCountTooHigh, 4, false},
                      DamageCase{Damage::kRecordCb, 3, true}, DamageCase{Damage::kRecordTextPastEnd, 3, true},
                      DamageCase{Damage::kItemOfOtherKind, 3, true}));

// The forms the readers refuse to guess at: unframed records as an older
// reader took them, and a generic stream given as a summary.
TEST(MetaMapStreamTest, UnframedRecordsAndForeignStreamsGiveNoItems) {
  std::vector<std::uint8_t> bare;
  const ZOMETASUMMARYHEAD head{12, Tag("INAM"), 4};
  const auto* h = reinterpret_cast<const std::uint8_t*>(&head);
  bare.insert(bare.end(), h, h + sizeof head);
  bare.insert(bare.end(), {'a', 0, 0, 0});
  MetaMap m;
  m.init(Over(bare).Get());
  m.initGeneric(Over(bare).Get());
  m.init(Over(GenericBytes(RichMap(), GUID_ZoMetaMarkers)).Get());
  EXPECT_TRUE(m.empty());
}

TEST(PictureRecordTest, EmptyDescriptionTakesNoBytes) {
  const std::uint8_t data[] = {1, 2, 3};
  ZOPICTUREMETA* r = ZoPicture_CreateMeta(3, u"image/jpeg", u"", sizeof data, data);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(ZoPicture_GetDescriptionByteCount(r), 0u);
  EXPECT_EQ(ZoPicture_GetDescription(r), nullptr);
  EXPECT_EQ(ZoPicture_GetMimeTypeByteCount(r), 22u);
  EXPECT_EQ(ZoPicture_GetPictureTotalSize(r), 24u + 22u + 3u);
  EXPECT_EQ(std::memcmp(ZoPicture_GetPictureData(r), data, 3), 0);
  EXPECT_EQ(ZoPicture_GetPictureType(nullptr), ZOPICTURE_TYPE_NONE);
  std::free(r);
}

TEST(PictureRecordTest, ListReplaceRulesHold) {
  tZOLIST* list = ZoPicture_CreatePictureList();
  ASSERT_NE(list, nullptr);
  const std::uint8_t data[] = {1};
  ZOPICTUREMETA* front = ZoPicture_CreateMeta(3, u"image/png", u"a", 1, data);
  ASSERT_EQ(ZoPicture_AddPictureToList(list, front, 0), S_OK);
  EXPECT_EQ(ZoPicture_AddPictureToList(list, front, 1), 1);
  EXPECT_EQ(list->nItems, 1);
  EXPECT_EQ(ZoPicture_AddPictureToList(list, front, 0), S_OK);
  EXPECT_EQ(list->nItems, 1);
  EXPECT_EQ(ZoPicture_AddPictureToList(list, front, 2), S_OK);
  EXPECT_EQ(list->nItems, 2);
  EXPECT_TRUE(ZoPicture_IsPictureTypeInList(list, 3));
  EXPECT_FALSE(ZoPicture_IsPictureTypeInList(list, 4));
  EXPECT_EQ(ZoPicture_DeletePictureTypeFromList(list, 3), S_OK);
  EXPECT_EQ(list->nItems, 0);
  EXPECT_EQ(ZoPicture_AddPictureToList(nullptr, front, 0), E_INVALIDARG);
  std::free(front);
  ZoPicture_DestroyPictureList(list);
}

TEST(SmfmfRecordTest, VersionsAndSerializableForm) {
  const std::uint8_t data[] = {5, 6};
  ZOSMFMFMETA* r = ZoSmfmf_CreateMeta(2, data);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(ZoSmfmf_GetSmfmfVersion(r), 65601u);
  EXPECT_EQ(ZoSmfmf_GetStructVersion(r), 2u);
  const void* p = nullptr;
  DWORD size = 0;
  EXPECT_EQ(ZoSmfmf_GetSerializableData(r, &p, &size), S_OK);
  EXPECT_EQ(size, 18u);
  EXPECT_EQ(p, r);
  EXPECT_EQ(ZoSmfmf_GetSerializableData(r, nullptr, &size), E_INVALIDARG);
  std::free(r);
  tZOLIST* list = ZoSmfmf_CreateSmfmfList();
  EXPECT_EQ(ZoSmfmf_AddSmfmfToList(list, 2, data), S_OK);
  EXPECT_EQ(list->nItems, 1);
  EXPECT_EQ(ZoSmfmf_DeleteSmfmfFromList(list, 0), S_OK);
  ZoSmfmf_DestroySmfmfList(list);
}

}  // namespace
}  // namespace fileutil

#include <sstream>

#include "fileutil/char_encoding.h"

namespace fileutil {
namespace {

TEST(CharEncodingTest, EachStrategyReadsWhatItWrote) {
  Char_ISO_8859_1 latin1;
  Char_UTF8 utf8;
  Char_UTF16_BOM bom(0xFFFE);
  Char_UTF16_BigEndian be;
  const std::u16string text = u"Caf\u00E9";
  for (CharEncoding* e : std::initializer_list<CharEncoding*>{&latin1, &utf8, &bom, &be}) {
    std::ostringstream out;
    e->write(out, text);
    const std::string bytes = out.str() + "tail";
    const auto* p = reinterpret_cast<const std::uint8_t*>(bytes.data());
    EXPECT_EQ(e->size(text), bytes.size() - 4);
    EXPECT_EQ(e->count(p, p + bytes.size()), bytes.size() - 4);
    EXPECT_EQ(e->read(p, p + bytes.size()), text);
  }
}

TEST(CharEncodingTest, MarkSelectsByteOrderAndAnUnknownMarkWritesOnlyTheEnd) {
  std::ostringstream be, le, odd;
  Char_UTF16_BOM(0xFEFF).write(be, u"A");
  Char_UTF16_BOM(0xFFFE).write(le, u"A");
  Char_UTF16_BOM(0x1234).write(odd, u"A");
  EXPECT_EQ(be.str(), std::string("\xFE\xFF\0A\0\0", 6));
  EXPECT_EQ(le.str(), std::string("\xFF\xFE" "A\0\0\0", 6));
  EXPECT_EQ(odd.str(), std::string("\x12\x34\0\0", 4));
  EXPECT_EQ(Char_UTF16_BOM(0x1234).size(u"A"), 4u);
}

}  // namespace
}  // namespace fileutil
