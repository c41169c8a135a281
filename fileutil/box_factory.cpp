// SPDX-License-Identifier: MIT
#include "fileutil/box_factory.h"

#include <type_traits>

namespace fileutil {

namespace {

enum class Kind : std::uint8_t { kLeaf, kContainer, kMedia, kSkipped };

// One row per registered box: code, kind, minimum size (header plus fixed
// fields), the factories it belongs to, and how to make one.
struct BoxRow {
  unsigned code;
  Kind kind;
  std::uint8_t minSize;
  std::uint8_t factories;
  IBox* (*make)();
};

template <typename T>
IBox* Make() {
  return new T();
}

constexpr std::uint8_t kStructure = kFullParse | kReadMeta | kMetaUpdate;
constexpr std::uint8_t kMetadata = kFullParse | kReadMeta | kMetaUpdate;
using K = Kind;

constexpr BoxRow kBoxRows[] = {
    {codes::ftyp, K::kLeaf, 16, kFullParse, &Make<FileTypeBox>},
    {codes::moov, K::kContainer, 8, kStructure, &Make<MoovBox>},
    {codes::udta, K::kContainer, 8, kStructure, &Make<UdtaBox>},
    {codes::trak, K::kContainer, 8, kStructure, &Make<TrakBox>},
    {codes::mdia, K::kContainer, 8, kStructure, &Make<MdiaBox>},
    {codes::minf, K::kContainer, 8, kStructure, &Make<MinfBox>},
    {codes::stbl, K::kContainer, 8, kStructure, &Make<StblBox>},
    {codes::meta, K::kContainer, 12, kStructure, &Make<MetaBox>},
    {codes::ilst, K::kContainer, 8, kStructure, &Make<IlstBox>},
    {codes::mdhd, K::kLeaf, 32, kFullParse | kReadMeta, &Make<MediaHeaderBox>},
    {codes::mdat, K::kMedia, 8, kFullParse | kMetaUpdate, &Make<MediaDataBox>},
    {codes::free, K::kSkipped, 8, kMetaUpdate, &Make<FreeBox>},
    {codes::hdlr, K::kLeaf, 32, kFullParse, &Make<MediaHandlerReferenceBox>},
    {codes::stco, K::kLeaf, 16, kFullParse | kMetaUpdate, &Make<ChunkOffsetBox>},
    {codes::co64, K::kLeaf, 16, kFullParse | kMetaUpdate, &Make<ChunkLargeOffsetBox>},
    {codes::stts, K::kLeaf, 16, kFullParse, &Make<TimeToSampleBox>},
    {codes::stsz, K::kLeaf, 20, kFullParse, &Make<SampleSizeBox>},
    {codes::stsc, K::kLeaf, 16, kFullParse, &Make<SampleToChunkBox>},
    {codes::stsd, K::kContainer, 16, kFullParse | kReadMeta, &Make<SampleDescriptionBox>},
    {codes::esds, K::kLeaf, 12, kFullParse, &Make<ElementaryStreamDescriptorBox>},
    {codes::mp4a, K::kContainer, 36, kFullParse | kReadMeta, &Make<Mpeg4AudioSampleEntry>},
    {codes::PNG, K::kLeaf, 86, kFullParse | kReadMeta, &Make<PNGSampleEntryBox>},
    {codes::titl, K::kLeaf, 14, kMetadata, &Make<TitlAssetBox>},
    {codes::dscp, K::kLeaf, 14, kMetadata, &Make<DscpAssetBox>},
    {codes::cprt, K::kLeaf, 14, kMetadata, &Make<CprtAssetBox>},
    {codes::perf, K::kLeaf, 14, kMetadata, &Make<PerfAssetBox>},
    {codes::gnre, K::kLeaf, 14, kMetadata, &Make<GnreAssetBox>},
    {codes::albm, K::kLeaf, 14, kMetadata, &Make<AlbmAssetBox>},
    {codes::yrrc, K::kLeaf, 12, kMetadata, &Make<RecordingYearBox>},
    {codes::ID32, K::kLeaf, 14, kMetadata, &Make<ID3v2MetaBox>},
    {codes::MTSM, K::kContainer, 8, kFullParse | kReadMeta, &Make<MTSMBox>},
    {codes::MTDF, K::kLeaf, 10, kFullParse | kReadMeta, &Make<MetaTypeDefinitionBox>},
    {codes::MTDT, K::kLeaf, 10, kFullParse | kReadMeta, &Make<MetaDataBox>},
    {codes::MTHD, K::kLeaf, 32, kFullParse | kReadMeta, &Make<MetaDataSampleManagerHeaderBox>},
    {codes::MDST, K::kLeaf, 16, kFullParse | kReadMeta, &Make<MetaDataSampleTableBox>},
    // Below ilst: the item containers and the free-form keys.
    {codes::covr, K::kContainer, 8, kITunesItems, &Make<CovrItemBox>},
    {codes::cART, K::kContainer, 8, kITunesItems, &Make<ARTItemBox>},
    {codes::aART, K::kContainer, 8, kITunesItems, &Make<AARTItemBox>},
    {codes::cwrt, K::kContainer, 8, kITunesItems, &Make<WrtItemBox>},
    {codes::ccmt, K::kContainer, 8, kITunesItems, &Make<CmtItemBox>},
    {codes::cday, K::kContainer, 8, kITunesItems, &Make<DayItemBox>},
    {codes::cnam, K::kContainer, 8, kITunesItems, &Make<NamItemBox>},
    {codes::calb, K::kContainer, 8, kITunesItems, &Make<AlbItemBox>},
    {codes::ctoo, K::kContainer, 8, kITunesItems, &Make<TooItemBox>},
    {codes::cgen, K::kContainer, 8, kITunesItems, &Make<GenItemBox>},
    {codes::gnre, K::kContainer, 8, kITunesItems, &Make<GnreItemBox>},
    {codes::ccpy, K::kContainer, 8, kITunesItems, &Make<CpyItemBox>},
    {codes::cdes, K::kContainer, 8, kITunesItems, &Make<DesItemBox>},
    {codes::keyw, K::kContainer, 8, kITunesItems, &Make<KeywItemBox>},
    {codes::trkn, K::kContainer, 8, kITunesItems, &Make<TrknItemBox>},
    {codes::freeform, K::kContainer, 8, kITunesItems, &Make<FreeFormItemBox>},
    {codes::mean, K::kLeaf, 12, kITunesItems, &Make<MeanTagBox>},
    {codes::name, K::kLeaf, 12, kITunesItems, &Make<NameTagBox>},
};

struct DataRow {
  unsigned type;
  IBox* (*make)();
};
constexpr DataRow kDataRows[] = {
    {0, &Make<DataBox<0>>},   {1, &Make<DataBox<1>>},   {2, &Make<DataBox<2>>},   {3, &Make<DataBox<3>>},
    {13, &Make<DataBox<13>>}, {14, &Make<DataBox<14>>}, {21, &Make<DataBox<21>>}, {22, &Make<DataBox<22>>},
    {23, &Make<DataBox<23>>}, {24, &Make<DataBox<24>>}, {27, &Make<DataBox<27>>},
};

struct GuidRow {
  GUID id;
  IBox* (*make)();
};
const GuidRow kGuidRows[] = {
    {kUserSpecificMetaDataGuid, &Make<UserSpecificMetaData>},
    {kMetaDataSampleDataGuid, &Make<MetaDataSampleData>},
    {kMetaDataContainerGuid, &Make<MetaDataContainerBox>},
    {kID3v23MetaDataGuid, &Make<ID3v23MetaDataBox>},
};

}  // namespace

IBox* BoxCloner::clone(IBox* box) {
  BoxCloner cloner;
  box->accept(&cloner);
  return cloner.result;
}

namespace {
template <typename T>
IBox* Fresh(T* box) {
  if constexpr (std::is_same_v<T, UnknownBox>) {
    return new UnknownBox(box->type());
  } else if constexpr (std::is_same_v<T, UnknownDataBox>) {
    return new UnknownDataBox(box->dataType());
  } else if constexpr (std::is_base_of_v<GuidBox, T>) {
    auto* copy = new T();
    copy->guid = box->guid;
    return copy;
  } else {
    (void)box;
    return new T();
  }
}
}  // namespace

#define FILEUTIL_CLONE_SLOT(T, forwards) \
  void BoxCloner::visit(T* box) { result = Fresh(box); }
FILEUTIL_BOX_CLASSES(FILEUTIL_CLONE_SLOT)
#undef FILEUTIL_CLONE_SLOT

void BoxFactory::init() {
  for (const BoxRow& row : kBoxRows)
    if (row.factories & m_set) add(FourCC(row.code), row.make());
}

void DataBoxFactory::init() {
  for (const DataRow& row : kDataRows) add(row.type, row.make());
}

void GuidBoxFactory::init() {
  for (const GuidRow& row : kGuidRows) add(row.id, row.make());
}

const Library& InitializeLibrary() {
  static const Library* library = [] {
    auto* lib = new Library();
    lib->full.init();
    lib->readMeta.init();
    lib->update.init();
    lib->itunes.init();
    lib->data.init();
    lib->guid.init();
    return lib;
  }();
  return *library;
}

}  // namespace fileutil
