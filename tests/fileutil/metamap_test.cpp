// SPDX-License-Identifier: MIT
#include "fileutil/metamap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

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

// A stream with the one Read slot the stream forms use.
struct ByteStream {
  std::vector<std::uint8_t> bytes;
  std::size_t pos = 0;
  HRESULT Read(void* out, ULONG n, ULONG* got) {
    const std::size_t k = std::min<std::size_t>(n, bytes.size() - pos);
    std::memcpy(out, bytes.data() + pos, k);
    pos += k;
    *got = ULONG(k);
    return S_OK;
  }
};

TEST(MetaMapTest, GenericStreamIsReadUntilItEndsEarly) {
  ByteStream s;
  ZOGENERICMETAHEADER head{28, ZOGENERICMETA_KIND, GUID_ZoSmfmfMeta, 2};
  const auto* h = reinterpret_cast<const std::uint8_t*>(&head);
  for (int i = 0; i < 2; ++i) {
    s.bytes.insert(s.bytes.end(), h, h + sizeof head);
    s.bytes.insert(s.bytes.end(), {0xAA, 0xBB});
  }
  s.bytes.resize(s.bytes.size() - 1);  // the second record is cut short
  MetaMap m;
  m.initGeneric(&s);
  EXPECT_EQ(m.numGenerics(GUID_ZoSmfmfMeta), 1u);
  EXPECT_EQ(m.getGenericByteCount(GUID_ZoSmfmfMeta), 2u);
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
