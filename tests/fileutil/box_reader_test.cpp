// SPDX-License-Identifier: MIT
#include "fileutil/box_reader.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/fileutil/box_builder.h"
#include "tests/support/test_files.h"

namespace fileutil {
namespace {

using namespace vane::test::mp4;
using vane::test::ScratchDir;
using vane::test::WriteBytes;

std::unique_ptr<Boxes> ReadAll(const Bytes& b, bool meta = false) {
  std::istringstream s = Stream(b);
  BoxReader reader(s, b.size());
  return meta ? reader.readMeta() : reader.readFile();
}

// First box of class T in file order, searching the whole tree.
template <typename T>
T* Find(Boxes& boxes) {
  for (IBox* b : boxes) {
    if (auto* t = dynamic_cast<T*>(b)) return t;
    if (auto* c = dynamic_cast<IContainerBox*>(b))
      if (T* t = Find<T>(c->children())) return t;
  }
  return nullptr;
}

Bytes Ftyp(int brands) {
  Bytes body = Cat({Code("isom"), U32(0x200)});
  for (int i = 0; i < brands; ++i) body = Cat({body, Code("mp41")});
  return MakeBox("ftyp", body);
}

Bytes Mdhd(std::uint32_t scale, std::uint32_t duration) {
  return MakeFullBox("mdhd", 0, Cat({U32(1), U32(2), U32(scale), U32(duration), U16(0x55C4), U16(0)}));
}

TEST(FourCCTest, CopyrightSignCodeIsValidAndLowestByteFirst) {
  const FourCC nam("\xA9nam");
  EXPECT_EQ(nam.byte(0), 0xA9);
  EXPECT_TRUE(nam.isValid());
  EXPECT_EQ(nam.text(), "\xC2\xA9nam");
  EXPECT_FALSE(FourCC("xyz!").isValid());
  EXPECT_FALSE(FourCC("tit2").isValidId3());
  EXPECT_TRUE(FourCC("TIT2").isValidId3());
}

TEST(BoxReaderTest, UnknownCodeIsKeptWithItsCodeAndSkipped) {
  auto boxes = ReadAll(Cat({MakeBox("xyz!", Text("payload")), Ftyp(1)}));
  ASSERT_EQ(boxes->size(), 2u);
  EXPECT_NE(dynamic_cast<UnknownBox*>((*boxes)[0]), nullptr);
  EXPECT_EQ(unsigned((*boxes)[0]->type()), fcc("xyz!"));
  EXPECT_EQ((*boxes)[0]->bytesRead(), 15u);
  EXPECT_NE(dynamic_cast<FileTypeBox*>((*boxes)[1]), nullptr);
  EXPECT_EQ((*boxes)[1]->offset(), 15u);
}

TEST(BoxReaderTest, MoovPastEndOfFileIsCutAndItsChildrenRead) {
  Bytes moov = MakeBox("moov", MakeBox("trak", MakeBox("mdia", Mdhd(44100, 88200))));
  moov[3] = 0xF0;  // declares far more than the file holds
  auto boxes = ReadAll(Cat({Ftyp(1), moov}));
  ASSERT_EQ(boxes->size(), 2u);
  EXPECT_EQ((*boxes)[1]->size(), moov.size());
  MediaHeaderBox* mdhd = Find<MediaHeaderBox>(*boxes);
  ASSERT_NE(mdhd, nullptr);
  EXPECT_EQ(mdhd->timeScale, 44100u);
  EXPECT_EQ(mdhd->duration, 88200u);
}

TEST(BoxReaderTest, FinalMdatOfSizeZeroTakesTheRest) {
  auto boxes = ReadAll(Cat({Ftyp(1), BoxSized(0, "mdat", Zeros(1000))}));
  ASSERT_EQ(boxes->size(), 2u);
  auto* mdat = dynamic_cast<MediaDataBox*>((*boxes)[1]);
  ASSERT_NE(mdat, nullptr);
  EXPECT_EQ(mdat->size(), 1008u);
  EXPECT_EQ(mdat->writeSize(), 1008u);
  EXPECT_EQ(mdat->writeOffset(), mdat->offset());
}

TEST(BoxReaderTest, ZeroSizeOtherThanMdatEndsTheList) {
  auto boxes = ReadAll(Cat({Ftyp(1), BoxSized(0, "free", Zeros(16)), Ftyp(1)}));
  EXPECT_EQ(boxes->size(), 1u);
}

TEST(BoxReaderTest, ChildOfSizeFourEndsItsListAndParentIsSteppedOver) {
  const Bytes moov = MakeBox("moov", Cat({MakeBox("udta", {}), BoxSized(4, "junk", Zeros(12)), Mdhd(1, 2)}));
  auto boxes = ReadAll(Cat({moov, Ftyp(2)}));
  ASSERT_EQ(boxes->size(), 2u);
  auto* container = dynamic_cast<IContainerBox*>((*boxes)[0]);
  EXPECT_EQ(container->children().size(), 1u);
  EXPECT_EQ((*boxes)[0]->bytesRead(), moov.size());
  EXPECT_EQ((*boxes)[1]->offset(), moov.size());
  EXPECT_NE(dynamic_cast<FileTypeBox*>((*boxes)[1]), nullptr);
}

TEST(BoxReaderTest, LargeSizeHeaderWithEmptyPayloadIsAccepted) {
  auto boxes = ReadAll(Cat({U32(1), Code("free"), U64(16), Ftyp(1)}));
  ASSERT_EQ(boxes->size(), 2u);
  EXPECT_EQ((*boxes)[0]->headerSize(), 16u);
  EXPECT_EQ((*boxes)[0]->size(), 16u);
  EXPECT_EQ((*boxes)[1]->offset(), 16u);
}

class FtypBrandsTest : public ::testing::TestWithParam<std::pair<int, std::size_t>> {};

TEST_P(FtypBrandsTest, KeepsBrandsBelowTheLimitOnly) {
  auto boxes = ReadAll(Ftyp(GetParam().first));
  auto* ftyp = dynamic_cast<FileTypeBox*>((*boxes)[0]);
  ASSERT_NE(ftyp, nullptr);
  EXPECT_EQ(ftyp->compatibleBrands.size(), GetParam().second);
  EXPECT_EQ(ftyp->majorBrand, fcc("isom"));
}
INSTANTIATE_TEST_SUITE_P(Limits, FtypBrandsTest,
                         ::testing::Values(std::pair{0, 0u}, std::pair{2, 2u}, std::pair{99, 99u}, std::pair{100, 0u}));

TEST(BoxReaderTest, ChunkOffsetCountThatDisagreesKeepsZeroFilledTable) {
  const Bytes stco = MakeFullBox("stco", 0, Cat({U32(3), U32(100), U32(200)}));  // count 3, room for 2
  auto boxes = ReadAll(MakeBox("stbl", stco));
  auto* box = Find<ChunkOffsetBox>(*boxes);
  ASSERT_NE(box, nullptr);
  EXPECT_EQ(box->entries, (std::vector<std::uint32_t>{0, 0, 0}));
  EXPECT_EQ((*boxes)[0]->bytesRead(), 8 + stco.size());
}

TEST(BoxReaderTest, ChunkOffsetCountThatLiesHugelyCostsNoMemory) {
  auto boxes = ReadAll(MakeBox("stbl", MakeFullBox("stco", 0, Cat({U32(0xFFFFFFFF), U32(100)}))));
  auto* box = Find<ChunkOffsetBox>(*boxes);
  ASSERT_NE(box, nullptr);
  EXPECT_EQ(box->entryCount, 0xFFFFFFFFu);
  EXPECT_LE(box->entries.size(), ChunkOffsetBox::kMaxZeroFill);
}

TEST(BoxReaderTest, TimeToSampleTakesPairsFromTheSizeAndKeepsTheCount) {
  Bytes pairs;
  for (int i = 0; i < 3; ++i) pairs = Cat({pairs, U32(10 + i), U32(1024)});
  auto boxes = ReadAll(MakeFullBox("stts", 0, Cat({U32(5), pairs})));
  auto* stts = Find<TimeToSampleBox>(*boxes);
  ASSERT_NE(stts, nullptr);
  EXPECT_EQ(stts->entryCount, 5u);
  ASSERT_EQ(stts->entries.size(), 3u);
  EXPECT_EQ(stts->entries[2].sampleCount, 12u);
}

TEST(BoxReaderTest, DataAtomOfUnlistedTypeKeepsPayload) {
  const Bytes ilst = MakeBox("ilst", MakeBox("\xA9nam", MakeBox("data", Cat({U32(4), U32(0), Text("abc")}))));
  auto boxes = ReadAll(MakeBox("moov", MakeBox("udta", MakeFullBox("meta", 0, ilst))));
  auto* data = Find<UnknownDataBox>(*boxes);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->dataType(), 4u);
  EXPECT_EQ(data->payload(), Text("abc"));
  EXPECT_NE(Find<NamItemBox>(*boxes), nullptr);
}

TEST(BoxReaderTest, TextDataAtomBelowIlstIsTypedAndRoundTrips) {
  const Bytes data = MakeBox("data", Cat({U32(1), U32(0), Text("Title")}));
  auto boxes = ReadAll(MakeBox("ilst", MakeBox("\xA9nam", data)));
  auto* box = Find<DataBox<1>>(*boxes);
  ASSERT_NE(box, nullptr);
  EXPECT_EQ(box->payload(), Text("Title"));
  ByteWriter w;
  box->write(w);
  EXPECT_EQ(MakeBox("data", w.data()), data);
  EXPECT_EQ(box->bodySize(), w.size());
}

TEST(BoxReaderTest, UuidBoxesAreSortedByIdentifier) {
  const Bytes known = Cat({U32(0x55534D54), U16(0x21D2), U16(0x4FCE), Bytes{0xBB, 0x88, 0x69, 0x5C, 0xFA, 0xC9, 0xC7, 0x40}});
  const Bytes unknown = Cat({U32(0x01020304), Zeros(12)});
  auto boxes = ReadAll(Cat({MakeBox("uuid", Cat({known, MakeBox("udta", {})})), MakeBox("uuid", Cat({unknown, Text("xx")}))}));
  ASSERT_EQ(boxes->size(), 2u);
  auto* usmt = dynamic_cast<UserSpecificMetaData*>((*boxes)[0]);
  ASSERT_NE(usmt, nullptr);
  EXPECT_EQ(usmt->children().size(), 1u);
  auto* other = dynamic_cast<UnknownGuidBox*>((*boxes)[1]);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(other->guid.Data1, 0x01020304u);
}

TEST(BoxReaderTest, GenreIsAnAssetBelowUdtaAndAContainerBelowIlst) {
  const Bytes asset = MakeFullBox("gnre", 0, Cat({U16(0x15C7), Text("Jazz"), Zeros(1)}));
  const Bytes item = MakeBox("gnre", MakeBox("data", Cat({U32(0), U32(0), U16(8)})));
  auto boxes = ReadAll(MakeBox("moov", MakeBox("udta", Cat({asset, MakeFullBox("meta", 0, MakeBox("ilst", item))}))));
  auto* a = Find<GnreAssetBox>(*boxes);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->payload, Cat({Text("Jazz"), Zeros(1)}));
  auto* c = Find<GnreItemBox>(*boxes);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->children().size(), 1u);
}

TEST(BoxReaderTest, DeepNestingIsCutWithoutCrashing) {
  Bytes nested = Ftyp(1);
  for (int i = 0; i < 5000; ++i) nested = MakeBox("moov", nested);
  const Bytes file = Cat({nested, Ftyp(3)});
  auto boxes = ReadAll(file);
  ASSERT_EQ(boxes->size(), 2u);
  EXPECT_EQ((*boxes)[0]->bytesRead(), nested.size());
  EXPECT_NE(dynamic_cast<FileTypeBox*>((*boxes)[1]), nullptr);
}

// A small movie with every box kind the full parse knows, in file order.
Bytes SampleMovie() {
  const Bytes esds = MakeFullBox("esds", 0,
                             Bytes{0x03, 0x19, 0x00, 0x01, 0x00, 0x04, 0x11, 0x40, 0x15, 0x00, 0x00, 0x00, 0x00, 0x01,
                                   0xF4, 0x00, 0x00, 0x01, 0xF4, 0x00, 0x05, 0x02, 0x12, 0x10, 0x06, 0x01, 0x02});
  const Bytes mp4a = MakeBox("mp4a", Cat({Zeros(6), U16(1), Zeros(8), U16(2), U16(16), U16(0), U16(0), U32(44100u << 16), esds}));
  const Bytes stbl = MakeBox("stbl", Cat({MakeFullBox("stsd", 0, Cat({U32(1), mp4a})), MakeFullBox("stts", 0, Cat({U32(1), U32(4), U32(1024)})),
                                      MakeFullBox("stsc", 0, Cat({U32(1), U32(1), U32(4), U32(1)})),
                                      MakeFullBox("stsz", 0, Cat({U32(0), U32(4), U32(10), U32(11), U32(12), U32(13)})),
                                      MakeFullBox("stco", 0, Cat({U32(1), U32(48)}))}));
  const Bytes hdlr = MakeFullBox("hdlr", 0, Cat({U32(0), Code("soun"), Zeros(12), Text("SoundHandler"), Zeros(1)}));
  const Bytes trak = MakeBox("trak", MakeBox("mdia", Cat({Mdhd(44100, 4096), hdlr, MakeBox("minf", stbl)})));
  const Bytes ilst = MakeBox("ilst", MakeBox("\xA9nam", MakeBox("data", Cat({U32(1), U32(0), Text("Song")}))));
  const Bytes udta = MakeBox("udta", MakeFullBox("meta", 0, Cat({MakeFullBox("hdlr", 0, Cat({U32(0), Code("mdir"), Zeros(13)})), ilst})));
  return Cat({Ftyp(2), MakeBox("free", Zeros(8)), MakeBox("mdat", Zeros(46)),
              MakeBox("moov", Cat({MakeFullBox("mvhd", 0, Zeros(96)), trak, udta}))});
}

TEST(BoxReaderTest, ReadMetaParsesMetadataAndTrackTypesOnly) {
  auto boxes = ReadAll(SampleMovie(), true);
  EXPECT_NE(Find<MediaHeaderBox>(*boxes), nullptr);
  EXPECT_NE(Find<Mpeg4AudioSampleEntry>(*boxes), nullptr);
  EXPECT_NE(Find<DataBox<1>>(*boxes), nullptr);
  EXPECT_EQ(Find<MediaDataBox>(*boxes), nullptr);
  EXPECT_EQ(Find<ChunkOffsetBox>(*boxes), nullptr);
  EXPECT_EQ(Find<ElementaryStreamDescriptorBox>(*boxes), nullptr);
}

TEST(BoxReaderTest, ReadForUpdateKeepsChunkTablesAndFreeAndLeavesTheRestOpaque) {
  const Bytes file = SampleMovie();
  std::istringstream s = Stream(file);
  BoxReader reader(s, file.size());
  auto boxes = reader.readMetaForUpdate();
  EXPECT_NE(Find<ChunkOffsetBox>(*boxes), nullptr);
  EXPECT_NE(Find<FreeBox>(*boxes), nullptr);
  EXPECT_NE(Find<MediaDataBox>(*boxes), nullptr);
  EXPECT_EQ(Find<FileTypeBox>(*boxes), nullptr);
  EXPECT_EQ(Find<MediaHeaderBox>(*boxes), nullptr);
  EXPECT_EQ(Find<SampleSizeBox>(*boxes), nullptr);
}

TEST(BoxReaderTest, FullParseReadsDescriptorAndSampleTables) {
  auto boxes = ReadAll(SampleMovie());
  auto* esds = Find<ElementaryStreamDescriptorBox>(*boxes);
  ASSERT_NE(esds, nullptr);
  ASSERT_NE(esds->descriptor, nullptr);
  esds::InitTrackReader notes;
  esds->descriptor->accept(&notes);
  ASSERT_NE(notes.decoderConfig, nullptr);
  EXPECT_EQ(notes.decoderConfig->objectTypeIndication, 0x40);
  ASSERT_NE(notes.specificInfo, nullptr);
  EXPECT_EQ(notes.specificInfo->audioConfig().samplingFrequency, 44100u);
  auto* stsz = Find<SampleSizeBox>(*boxes);
  ASSERT_NE(stsz, nullptr);
  EXPECT_EQ(stsz->entries, (std::vector<std::uint32_t>{10, 11, 12, 13}));
  auto* hdlr = Find<MediaHandlerReferenceBox>(*boxes);
  ASSERT_NE(hdlr, nullptr);
  EXPECT_EQ(hdlr->handlerType, fcc("soun"));
}

// Parse, write, compare: what the reader keeps is what the writer puts back.
TEST(BoxReaderTest, ParsedLeavesWriteBackTheirBytes) {
  const Bytes file = SampleMovie();
  auto boxes = ReadAll(file);
  int checked = 0;
  std::function<void(Boxes&)> walk = [&](Boxes& list) {
    for (IBox* b : list) {
      ByteWriter w;
      std::uint64_t bodySize = 0;
      if (auto* x = dynamic_cast<FileTypeBox*>(b)) x->write(w), bodySize = x->bodySize();
      else if (auto* x = dynamic_cast<MediaHeaderBox*>(b)) x->write(w), bodySize = x->bodySize();
      else if (auto* x = dynamic_cast<MediaHandlerReferenceBox*>(b)) x->write(w), bodySize = x->bodySize();
      else if (auto* x = dynamic_cast<TimeToSampleBox*>(b)) x->write(w), bodySize = x->bodySize();
      else if (auto* x = dynamic_cast<SampleToChunkBox*>(b)) x->write(w), bodySize = x->bodySize();
      else if (auto* x = dynamic_cast<SampleSizeBox*>(b)) x->write(w), bodySize = x->bodySize();
      else if (auto* x = dynamic_cast<ChunkOffsetBox*>(b)) x->write(w), bodySize = x->bodySize();
      else if (auto* x = dynamic_cast<ElementaryStreamDescriptorBox*>(b)) x->write(w), bodySize = x->bodySize();
      if (w.size()) {
        const Bytes original(file.begin() + std::ptrdiff_t(b->offset() + 8), file.begin() + std::ptrdiff_t(b->offset() + b->size()));
        EXPECT_EQ(w.data().size(), bodySize) << b->type().text();
        if (b->type() != codes::esds) {
          EXPECT_EQ(w.data(), original) << b->type().text();
        }
        ++checked;
      }
      if (auto* c = dynamic_cast<IContainerBox*>(b)) walk(c->children());
    }
  };
  walk(*boxes);
  EXPECT_EQ(checked, 9);
}

TEST(BoxReaderTest, FileReadSkipsMediaDataWithOneSeek) {
  ScratchDir dir;
  Bytes file = SampleMovie();
  const Bytes big = Cat({Ftyp(1), MakeBox("mdat", Zeros(1 << 20)), MakeBox("moov", Mdhd(1, 1))});
  WriteBytes(dir / "big.mp4", big);
  BoxReader reader(dir / "big.mp4");
  auto boxes = reader.readMeta();
  ASSERT_EQ(boxes->size(), 3u);
  EXPECT_LT(reader.in().bytesDelivered(), 200u);
}

// Every prefix and many single-byte corruptions of a good file: a tree, no
// crash, and never more boxes than bytes allow.
TEST(BoxReaderTest, TruncatedAndCorruptedFilesGiveATree) {
  const Bytes file = SampleMovie();
  for (std::size_t n = 0; n <= file.size(); ++n) {
    const Bytes cut(file.begin(), file.begin() + std::ptrdiff_t(n));
    auto boxes = ReadAll(cut);
    EXPECT_LE(boxes->size(), n / 8 + 1);
  }
  for (std::size_t i = 0; i < file.size(); i += 3) {
    for (std::uint8_t v : {std::uint8_t(0x00), std::uint8_t(0x01), std::uint8_t(0x7F), std::uint8_t(0xFF)}) {
      Bytes bad = file;
      bad[i] = v;
      auto boxes = ReadAll(bad);
      ASSERT_NE(boxes, nullptr);
    }
  }
}

}  // namespace
}  // namespace fileutil
