// SPDX-License-Identifier: MIT
// IBoxVisitor: every operation over a box tree (reading, sizing, writing,
// cloning, dumping, metadata collection) is a visitor with one visit slot per
// box class. The slot order below is a binary contract: the list is kept in
// one macro so the interface, the forwarding walker and the cloner cannot
// drift apart. BoxVisitor walks into containers and ignores leaves.
#pragma once

#include "fileutil/fourcc.h"
#include "platform/export.h"

namespace fileutil {

// Codes of the boxes the library knows.
namespace codes {
inline constexpr unsigned ftyp = fcc("ftyp"), moov = fcc("moov"), udta = fcc("udta"), trak = fcc("trak"),
                          mdia = fcc("mdia"), minf = fcc("minf"), stbl = fcc("stbl"), dinf = fcc("dinf"),
                          ilst = fcc("ilst"), MTSM = fcc("MTSM"), covr = fcc("covr"), cART = fcc("\xA9" "ART"),
                          aART = fcc("aART"), cwrt = fcc("\xA9wrt"), ccmt = fcc("\xA9" "cmt"), cday = fcc("\xA9" "day"),
                          cnam = fcc("\xA9nam"), calb = fcc("\xA9" "alb"), ctoo = fcc("\xA9too"), cgen = fcc("\xA9gen"),
                          gnre = fcc("gnre"), ccpy = fcc("\xA9" "cpy"), cdes = fcc("\xA9" "des"), keyw = fcc("keyw"),
                          trkn = fcc("trkn"), freeform = fcc("----"), mvhd = fcc("mvhd"), tkhd = fcc("tkhd"),
                          mdhd = fcc("mdhd"), hdlr = fcc("hdlr"), smhd = fcc("smhd"), dref = fcc("dref"),
                          url = fcc("url "), stsd = fcc("stsd"), mp4a = fcc("mp4a"), PNG = fcc("PNG "),
                          esds = fcc("esds"), iods = fcc("iods"), stts = fcc("stts"), stsc = fcc("stsc"),
                          stsz = fcc("stsz"), stco = fcc("stco"), co64 = fcc("co64"), mdat = fcc("mdat"),
                          free = fcc("free"), meta = fcc("meta"), titl = fcc("titl"), dscp = fcc("dscp"),
                          cprt = fcc("cprt"), perf = fcc("perf"), albm = fcc("albm"), yrrc = fcc("yrrc"),
                          ID32 = fcc("ID32"), mean = fcc("mean"), name = fcc("name"), MTDF = fcc("MTDF"),
                          MTDT = fcc("MTDT"), MTHD = fcc("MTHD"), MDST = fcc("MDST"), data = fcc("data"),
                          uuid = fcc("uuid");
}  // namespace codes

class IBox;
template <unsigned int C> class ContainerBox;
template <unsigned int C> class TagBox;
template <unsigned int C> class ThreeGPPAssetMetaBox;
template <int T> class DataBox;
class FileTypeBox;
class MovieHeaderBox;
class TrackHeaderBox;
class MediaHeaderBox;
class MediaHandlerReferenceBox;
class SoundMediaInfoHeaderBox;
class DataReferenceBox;
class UrlBox;
class SampleDescriptionBox;
class Mpeg4AudioSampleEntry;
class PNGSampleEntryBox;
class ElementaryStreamDescriptorBox;
class InitialObjectDescriptorBox;
class TimeToSampleBox;
class SampleToChunkBox;
class SampleSizeBox;
class ChunkOffsetBox;
class ChunkLargeOffsetBox;
class MediaDataBox;
class FreeBox;
class MetaBox;
class RecordingYearBox;
class ID3v2MetaBox;
class MetaTypeDefinitionBox;
class MetaDataBox;
class MetaDataSampleManagerHeaderBox;
class MetaDataSampleTableBox;
class UnknownBox;
class UnknownDataBox;
class UnknownGuidBox;
class UserSpecificMetaData;
class MetaDataContainerBox;
class MetaDataSampleData;
class ID3v23MetaDataBox;

// Short names for the template instances, used in the slot list.
using MTSMBox = ContainerBox<codes::MTSM>;
using NameTagBox = TagBox<codes::name>;
using MeanTagBox = TagBox<codes::mean>;
using AlbmAssetBox = ThreeGPPAssetMetaBox<codes::albm>;
using GnreAssetBox = ThreeGPPAssetMetaBox<codes::gnre>;
using PerfAssetBox = ThreeGPPAssetMetaBox<codes::perf>;
using CprtAssetBox = ThreeGPPAssetMetaBox<codes::cprt>;
using DscpAssetBox = ThreeGPPAssetMetaBox<codes::dscp>;
using TitlAssetBox = ThreeGPPAssetMetaBox<codes::titl>;
using FreeFormItemBox = ContainerBox<codes::freeform>;
using DinfBox = ContainerBox<codes::dinf>;
using TrknItemBox = ContainerBox<codes::trkn>;
using KeywItemBox = ContainerBox<codes::keyw>;
using DesItemBox = ContainerBox<codes::cdes>;
using CpyItemBox = ContainerBox<codes::ccpy>;
using GnreItemBox = ContainerBox<codes::gnre>;
using GenItemBox = ContainerBox<codes::cgen>;
using TooItemBox = ContainerBox<codes::ctoo>;
using AlbItemBox = ContainerBox<codes::calb>;
using NamItemBox = ContainerBox<codes::cnam>;
using DayItemBox = ContainerBox<codes::cday>;
using CmtItemBox = ContainerBox<codes::ccmt>;
using WrtItemBox = ContainerBox<codes::cwrt>;
using AARTItemBox = ContainerBox<codes::aART>;
using ARTItemBox = ContainerBox<codes::cART>;
using CovrItemBox = ContainerBox<codes::covr>;
using IlstBox = ContainerBox<codes::ilst>;
using StblBox = ContainerBox<codes::stbl>;
using MinfBox = ContainerBox<codes::minf>;
using MdiaBox = ContainerBox<codes::mdia>;
using TrakBox = ContainerBox<codes::trak>;
using MoovBox = ContainerBox<codes::moov>;
using UdtaBox = ContainerBox<codes::udta>;

// Every visited class, first slot first. X(class, forwards): forwards is 1
// for the containers whose BoxVisitor visit walks into the children.
#define FILEUTIL_BOX_CLASSES(X)                                                                                      \
  X(PNGSampleEntryBox, 0) X(MetaDataSampleTableBox, 0) X(MetaDataSampleManagerHeaderBox, 0) X(MetaDataBox, 0)        \
  X(MetaTypeDefinitionBox, 0) X(MetaDataSampleData, 0) X(MTSMBox, 1) X(ID3v23MetaDataBox, 0)                         \
  X(MetaDataContainerBox, 1) X(UserSpecificMetaData, 1) X(UnknownGuidBox, 0) X(NameTagBox, 0) X(MeanTagBox, 0)      \
  X(UrlBox, 0) X(DataReferenceBox, 0) X(SoundMediaInfoHeaderBox, 0) X(MediaHeaderBox, 0) X(TrackHeaderBox, 0)        \
  X(MovieHeaderBox, 0) X(FreeBox, 0) X(ID3v2MetaBox, 0) X(RecordingYearBox, 0) X(AlbmAssetBox, 0)                    \
  X(GnreAssetBox, 0) X(PerfAssetBox, 0) X(CprtAssetBox, 0) X(DscpAssetBox, 0) X(TitlAssetBox, 0) X(DataBox<27>, 0) \
  X(DataBox<24>, 0) X(DataBox<23>, 0) X(DataBox<22>, 0) X(DataBox<21>, 0) X(DataBox<14>, 0) X(DataBox<13>, 0)      \
  X(DataBox<3>, 0) X(DataBox<2>, 0) X(DataBox<1>, 0) X(DataBox<0>, 0) X(UnknownDataBox, 0) X(FreeFormItemBox, 1)    \
  X(DinfBox, 0) X(TrknItemBox, 1) X(KeywItemBox, 1) X(DesItemBox, 1) X(CpyItemBox, 1) X(GnreItemBox, 1)             \
  X(GenItemBox, 1) X(TooItemBox, 1) X(AlbItemBox, 1) X(NamItemBox, 1) X(DayItemBox, 1) X(CmtItemBox, 1)             \
  X(WrtItemBox, 1) X(AARTItemBox, 1) X(ARTItemBox, 1) X(CovrItemBox, 1) X(Mpeg4AudioSampleEntry, 1)                 \
  X(InitialObjectDescriptorBox, 0) X(ElementaryStreamDescriptorBox, 0) X(SampleDescriptionBox, 1)                   \
  X(SampleToChunkBox, 0) X(SampleSizeBox, 0) X(TimeToSampleBox, 0) X(ChunkLargeOffsetBox, 0) X(ChunkOffsetBox, 0)    \
  X(MediaHandlerReferenceBox, 0) X(IlstBox, 1) X(MetaBox, 1) X(StblBox, 1) X(MediaDataBox, 0) X(MinfBox, 1)          \
  X(MdiaBox, 1) X(TrakBox, 1) X(MoovBox, 1) X(UdtaBox, 1) X(UnknownBox, 0) X(FileTypeBox, 0)

class IBoxVisitor {
 public:
#define FILEUTIL_VISIT_SLOT(T, forwards) virtual void visit(T* box) = 0;
  FILEUTIL_BOX_CLASSES(FILEUTIL_VISIT_SLOT)
#undef FILEUTIL_VISIT_SLOT

 protected:
  ~IBoxVisitor() = default;
};

// The walk that metadata visitors want: containers forward to each child, in
// order; leaves do nothing. Override only what you inspect. (dinf is an item
// of the slot list but does not forward: nothing of interest lives there.)
class VANE_EXPORT BoxVisitor : public IBoxVisitor {
 public:
  virtual ~BoxVisitor() = default;
#define FILEUTIL_VISIT_DEFAULT(T, forwards) void visit(T* box) override;
  FILEUTIL_BOX_CLASSES(FILEUTIL_VISIT_DEFAULT)
#undef FILEUTIL_VISIT_DEFAULT
};

}  // namespace fileutil
