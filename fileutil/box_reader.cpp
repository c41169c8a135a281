// SPDX-License-Identifier: MIT
#include "fileutil/box_reader.h"

#include <algorithm>

namespace fileutil {

namespace {

std::uint32_t Be32(const std::uint8_t* p) {
  return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

template <typename T, typename = void>
struct HasHead : std::false_type {};
template <typename T>
struct HasHead<T, std::void_t<decltype(T::kHeadSize)>> : std::true_type {};

}  // namespace

BoxReader::BoxReader(const WCHAR* path) : m_in(std::make_unique<FileHandler>(path)), m_library(InitializeLibrary()) {
  m_in->size(m_limit);
}

BoxReader::BoxReader(const std::filesystem::path& path)
    : m_in(std::make_unique<FileHandler>(path)), m_library(InitializeLibrary()) {
  m_in->size(m_limit);
}

BoxReader::BoxReader(std::ifstream& in) : m_in(std::make_unique<FileStreamHandler>(in)), m_library(InitializeLibrary()) {
  m_in->size(m_limit);
}

BoxReader::BoxReader(std::istream& in, std::uint64_t limit)
    : m_in(std::make_unique<StreamHandler>(in)), m_limit(limit), m_library(InitializeLibrary()) {}

BoxReader::~BoxReader() = default;

std::unique_ptr<Boxes> BoxReader::readFile() { return readRoot(m_library.full); }
std::unique_ptr<Boxes> BoxReader::readMeta() { return readRoot(m_library.readMeta); }
std::unique_ptr<Boxes> BoxReader::readMetaForUpdate() { return readRoot(m_library.update); }

std::unique_ptr<Boxes> BoxReader::readRoot(const IFactory<FourCC>& factory) {
  m_factory = &factory;
  m_bytesRead = 0;
  m_boxCount = 0;
  m_depth = 0;
  auto boxes = std::make_unique<Boxes>();
  readBoxes(boxes.get(), m_limit);
  m_body.clear();
  m_body.shrink_to_fit();
  return boxes;
}

void BoxReader::incBytesRead(IBox* box, std::uint64_t count) {
  m_bytesRead += count;
  box->bytesRead() += count;
}

bool BoxReader::atEnd() const { return !m_in->stream().good() || m_bytesRead >= m_limit; }

std::uint64_t BoxReader::readBoxes(Boxes* boxes, std::uint64_t limit) {
  if (atEnd()) return 0;
  std::uint64_t total = 0;
  while (limit != 0 && m_boxCount < kMaxBoxes) {
    const std::uint64_t before = m_bytesRead;
    IBox* box = readBox(limit);
    // Header bytes of a box that could not be one count too, so that the
    // parent's final skip lands on its end.
    const std::uint64_t used = std::min(m_bytesRead - before, limit);
    total += used;
    if (!box) break;
    boxes->push_back(box);
    limit -= used;
    if (atEnd()) break;
  }
  return total;
}

IBox* BoxReader::readBox(std::uint64_t limit) {
  if (limit < 8) return nullptr;
  const std::uint64_t offset = m_bytesRead;
  std::uint8_t head[16];
  std::uint64_t got = m_in->read(head, 8);
  m_bytesRead += got;
  if (got < 8) return nullptr;
  std::uint64_t size = Be32(head);
  const FourCC code(std::uint32_t(head[4]) | std::uint32_t(head[5]) << 8 | std::uint32_t(head[6]) << 16 |
                    std::uint32_t(head[7]) << 24);
  std::uint32_t headerSize = 8;
  if (size == 1) {
    if (limit < 16) return nullptr;
    got = m_in->read(head + 8, 8);
    m_bytesRead += got;
    if (got < 8) return nullptr;
    size = std::uint64_t(Be32(head + 8)) << 32 | Be32(head + 12);
    headerSize = 16;
  }
  if (size == 0) {
    // Only a final mdat may run to the end; any other box ends the list.
    if (code != codes::mdat) return nullptr;
    size = limit;
  }
  size = std::min(size, limit);
  if (size < headerSize) return nullptr;

  // data and uuid carry more header that selects their class.
  IBox* box = nullptr;
  std::uint64_t extra = 0;
  if (code == codes::data && size - headerSize >= 4) {
    std::uint8_t t[4] = {};
    extra = m_in->read(t, 4);
    box = m_library.data.create(Be32(t));
  } else if (code == codes::uuid && size - headerSize >= 16) {
    std::uint8_t g[16] = {};
    extra = m_in->read(g, 16);
    GUID id;
    id.Data1 = Be32(g);
    id.Data2 = WORD(g[4] << 8 | g[5]);
    id.Data3 = WORD(g[6] << 8 | g[7]);
    std::copy(g + 8, g + 16, id.Data4);
    box = m_library.guid.create(id);
    static_cast<GuidBox*>(box)->guid = id;
  } else if (code == codes::data || code == codes::uuid) {
    box = new UnknownBox(code);
  } else {
    box = m_factory->create(code);
  }
  m_bytesRead += extra;
  ++m_boxCount;
  box->setSize(size);
  box->setOffset(offset);
  box->setHeaderSize(headerSize);
  box->bytesRead() = headerSize + extra;

  if (size > box->bytesRead()) box->accept(this);
  if (box->bytesRead() < size) {
    const std::uint64_t rest = size - box->bytesRead();
    m_in->skip(rest);
    incBytesRead(box, rest);
  }
  return box;
}

bool BoxReader::readBody(IBox* box) {
  const std::uint64_t want = box->remaining();
  m_body.clear();
  if (want > kMaxBody) return false;
  // Grow with what actually arrives, never by the declared size alone.
  constexpr std::size_t kStep = 1 << 20;
  while (m_body.size() < want) {
    const std::size_t have = m_body.size();
    const std::size_t step = std::size_t(std::min<std::uint64_t>(kStep, want - have));
    m_body.resize(have + step);
    const std::uint64_t got = m_in->read(m_body.data() + have, step);
    m_body.resize(have + std::size_t(got));
    incBytesRead(box, got);
    if (got < step) break;
  }
  return true;
}

template <typename T>
void BoxReader::readLeaf(T* box) {
  if (!readBody(box)) return;
  ByteReader view(m_body.data(), m_body.size());
  box->parse(view);  // a failed guard keeps what was read
}

template <typename T>
void BoxReader::readContainer(T* box) {
  if constexpr (HasHead<T>::value) {
    if (box->remaining() < T::kHeadSize) return;
    std::uint8_t head[T::kHeadSize];
    const std::uint64_t got = m_in->read(head, T::kHeadSize);
    incBytesRead(box, got);
    if (got < T::kHeadSize) return;
    ByteReader view(head, T::kHeadSize);
    box->parseHead(view);
  }
  readChildren(box, box->children());
}

void BoxReader::readChildren(IBox* box, Boxes& children) {
  if (m_depth >= kMaxDepth) return;  // the body is stepped over
  ++m_depth;
  box->bytesRead() += readBoxes(&children, box->remaining());
  --m_depth;
}

// Leaves with fields: the body is read and parsed.
#define FILEUTIL_LEAF(T) \
  void BoxReader::visit(T* box) { readLeaf(box); }
FILEUTIL_LEAF(FileTypeBox)
FILEUTIL_LEAF(MediaHeaderBox)
FILEUTIL_LEAF(MediaHandlerReferenceBox)
FILEUTIL_LEAF(ChunkOffsetBox)
FILEUTIL_LEAF(ChunkLargeOffsetBox)
FILEUTIL_LEAF(TimeToSampleBox)
FILEUTIL_LEAF(SampleToChunkBox)
FILEUTIL_LEAF(SampleSizeBox)
FILEUTIL_LEAF(ElementaryStreamDescriptorBox)
FILEUTIL_LEAF(InitialObjectDescriptorBox)
FILEUTIL_LEAF(PNGSampleEntryBox)
FILEUTIL_LEAF(AlbmAssetBox)
FILEUTIL_LEAF(GnreAssetBox)
FILEUTIL_LEAF(PerfAssetBox)
FILEUTIL_LEAF(CprtAssetBox)
FILEUTIL_LEAF(DscpAssetBox)
FILEUTIL_LEAF(TitlAssetBox)
FILEUTIL_LEAF(RecordingYearBox)
FILEUTIL_LEAF(ID3v2MetaBox)
FILEUTIL_LEAF(NameTagBox)
FILEUTIL_LEAF(MeanTagBox)
FILEUTIL_LEAF(MetaTypeDefinitionBox)
FILEUTIL_LEAF(MetaDataBox)
FILEUTIL_LEAF(MetaDataSampleManagerHeaderBox)
FILEUTIL_LEAF(MetaDataSampleTableBox)
FILEUTIL_LEAF(ID3v23MetaDataBox)
FILEUTIL_LEAF(UnknownDataBox)
FILEUTIL_LEAF(DataBox<0>)
FILEUTIL_LEAF(DataBox<1>)
FILEUTIL_LEAF(DataBox<2>)
FILEUTIL_LEAF(DataBox<3>)
FILEUTIL_LEAF(DataBox<13>)
FILEUTIL_LEAF(DataBox<14>)
FILEUTIL_LEAF(DataBox<21>)
FILEUTIL_LEAF(DataBox<22>)
FILEUTIL_LEAF(DataBox<23>)
FILEUTIL_LEAF(DataBox<24>)
FILEUTIL_LEAF(DataBox<27>)
#undef FILEUTIL_LEAF

// Containers: the fixed head, if any, then the children.
#define FILEUTIL_CONTAINER(T) \
  void BoxReader::visit(T* box) { readContainer(box); }
FILEUTIL_CONTAINER(MTSMBox)
FILEUTIL_CONTAINER(MetaDataContainerBox)
FILEUTIL_CONTAINER(UserSpecificMetaData)
FILEUTIL_CONTAINER(FreeFormItemBox)
FILEUTIL_CONTAINER(TrknItemBox)
FILEUTIL_CONTAINER(KeywItemBox)
FILEUTIL_CONTAINER(DesItemBox)
FILEUTIL_CONTAINER(CpyItemBox)
FILEUTIL_CONTAINER(GnreItemBox)
FILEUTIL_CONTAINER(GenItemBox)
FILEUTIL_CONTAINER(TooItemBox)
FILEUTIL_CONTAINER(AlbItemBox)
FILEUTIL_CONTAINER(NamItemBox)
FILEUTIL_CONTAINER(DayItemBox)
FILEUTIL_CONTAINER(CmtItemBox)
FILEUTIL_CONTAINER(WrtItemBox)
FILEUTIL_CONTAINER(AARTItemBox)
FILEUTIL_CONTAINER(ARTItemBox)
FILEUTIL_CONTAINER(CovrItemBox)
FILEUTIL_CONTAINER(Mpeg4AudioSampleEntry)
FILEUTIL_CONTAINER(SampleDescriptionBox)
FILEUTIL_CONTAINER(MetaBox)
FILEUTIL_CONTAINER(StblBox)
FILEUTIL_CONTAINER(MinfBox)
FILEUTIL_CONTAINER(MdiaBox)
FILEUTIL_CONTAINER(TrakBox)
FILEUTIL_CONTAINER(MoovBox)
FILEUTIL_CONTAINER(UdtaBox)
#undef FILEUTIL_CONTAINER

// Below ilst the item factory is active; it is restored afterwards.
void BoxReader::visit(IlstBox* box) {
  const IFactory<FourCC>* saved = m_factory;
  m_factory = &m_library.itunes;
  readContainer(box);
  m_factory = saved;
}

void BoxReader::visit(MediaDataBox* box) {
  box->setWriteSize(box->size());
  box->setWriteOffset(box->offset());
}

// Not read: payload stepped over, or classes that exist for the writer only.
#define FILEUTIL_SKIPPED(T) \
  void BoxReader::visit(T*) {}
FILEUTIL_SKIPPED(MetaDataSampleData)
FILEUTIL_SKIPPED(UnknownGuidBox)
FILEUTIL_SKIPPED(UrlBox)
FILEUTIL_SKIPPED(DataReferenceBox)
FILEUTIL_SKIPPED(SoundMediaInfoHeaderBox)
FILEUTIL_SKIPPED(TrackHeaderBox)
FILEUTIL_SKIPPED(MovieHeaderBox)
FILEUTIL_SKIPPED(FreeBox)
FILEUTIL_SKIPPED(DinfBox)
FILEUTIL_SKIPPED(UnknownBox)
#undef FILEUTIL_SKIPPED

}  // namespace fileutil
