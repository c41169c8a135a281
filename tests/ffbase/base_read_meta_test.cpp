// SPDX-License-Identifier: MIT
// The rules of BaseReadMeta a host relies on: the generic enumeration
// leaves out the six kinds that have slots of their own, summary lookups
// tell "absent" from "not known", slots before Init answer their defined
// statuses, a failing or throwing decoder leaves the object empty, and the
// managers and project link hand out exactly what the map held.
#include "ffbase/base_read_meta.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "fileutil/meta_stream.h"

namespace {

using vane::ComPtr;
using fileutil::MetaMap;

constexpr DWORD Tag(const char (&s)[5]) {
  return DWORD(BYTE(s[0])) | DWORD(BYTE(s[1])) << 8 | DWORD(BYTE(s[2])) << 16 | DWORD(BYTE(s[3])) << 24;
}

const GUID kUnknown = VANE_GUID(0x0BADF00D, 0x1234, 0x5678, 0x9A, 0xBC, 0xDE, 0xF0, 0x12, 0x34, 0x56, 0x78);

struct Script {
  MetaMap fill;
  DWORD rate = 48000;
  HRESULT openStatus = S_OK;
  bool throwInFill = false;
  int opens = 0, closes = 0;
  std::u16string name;
};

class ScriptedDecoder final : public ffbase::IMetaDecoder {
 public:
  explicit ScriptedDecoder(Script* s) : m_s(s) {}
  HRESULT Open() override {
    ++m_s->opens;
    return m_s->openStatus;
  }
  HRESULT Close() override {
    ++m_s->closes;
    return S_OK;
  }
  HRESULT SetFileName(LPCWSTR name) override {
    m_s->name = name;
    return S_OK;
  }
  DWORD GetSampleRate() override { return m_s->rate; }
  HRESULT InitMetaMap(MetaMap* map) override {
    if (m_s->throwInFill) throw std::runtime_error("damaged file");
    *map = m_s->fill;
    return S_OK;
  }

 private:
  Script* m_s;
};

class TestMeta final : public ffbase::BaseReadMeta {
 public:
  explicit TestMeta(Script* s) : m_s(s) {}
  HRESULT CreateMetaDecoder(ffbase::IMetaDecoder** out) override {
    *out = new ScriptedDecoder(m_s);
    return S_OK;
  }

 private:
  Script* m_s;
};

std::vector<std::uint8_t> UserProp(std::uint8_t fill, DWORD a, DWORD b) {
  std::vector<std::uint8_t> p(ffbase::kUserDefPropHeadBytes + a + b, fill);
  std::memcpy(p.data() + 48, &a, 4);
  std::memcpy(p.data() + 52, &b, 4);
  return p;
}

std::vector<std::uint8_t> LinkBlob() {
  std::vector<std::uint8_t> b;
  for (DWORD id = 1; id <= 9; ++id) {
    const DWORD n = id;  // part id carries id bytes of value id
    b.insert(b.end(), reinterpret_cast<const std::uint8_t*>(&id), reinterpret_cast<const std::uint8_t*>(&id) + 4);
    b.insert(b.end(), reinterpret_cast<const std::uint8_t*>(&n), reinterpret_cast<const std::uint8_t*>(&n) + 4);
    b.insert(b.end(), n, std::uint8_t(id));
  }
  return b;
}

MetaMap FullMap() {
  MetaMap m;
  m.add(Tag("INAM"), u"A title");
  m.add(Tag("IART"), u"An artist");
  m.add(Tag("XYZW"), u"private");
  m.addGeneric(fileutil::GUID_ZoMetaMarkers, fileutil::MakeMarkerSample(1, 48000, -1, u"one second"));
  m.addGeneric(ffbase::GUID_ZoMetaUserDefProps, UserProp(1, 4, 6));
  m.addGeneric(ffbase::GUID_ZoMetaUserDefProps, UserProp(2, 0, 2));
  m.addGeneric(ffbase::GUID_ZoMetaMediaMgrChunk, std::vector<std::uint8_t>(12, 0x33));
  m.addGeneric(ffbase::GUID_ZoMetaPulxChunk, std::vector<std::uint8_t>(24, 0x44));
  m.addGeneric(ffbase::GUID_ZoMetaStretchChunk, std::vector<std::uint8_t>(28, 0x55));
  m.addGeneric(ffbase::GUID_ZoMetaStretchPoints, std::vector<std::uint8_t>(32, 0x66));
  m.addGeneric(ffbase::GUID_ZoMetaStretchPoints, std::vector<std::uint8_t>(32, 0x67));
  m.addGeneric(ffbase::GUID_ZoMetaProjectLink, LinkBlob());
  m.addGeneric(kUnknown, {9, 8, 7});
  return m;
}

std::vector<std::uint8_t> Drain(IStream* s) {
  std::vector<std::uint8_t> all;
  std::uint8_t buf[64];
  for (ULONG got; SUCCEEDED(s->Read(buf, sizeof buf, &got)) && got > 0;) all.insert(all.end(), buf, buf + got);
  return all;
}

class BaseReadMetaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_script.fill = FullMap();
    m_meta = ComPtr<TestMeta>::Attach(new TestMeta(&m_script));
  }
  Script m_script;
  ComPtr<TestMeta> m_meta;
};

TEST_F(BaseReadMetaTest, GenericEnumerationLeavesOutTheSixFixedKinds) {
  ASSERT_EQ(m_meta->Init(u"/music/a.wav"), S_OK);
  EXPECT_EQ(m_script.opens, 1);
  EXPECT_EQ(m_script.closes, 1);
  EXPECT_EQ(m_script.name, u"/music/a.wav");

  for (int round = 0; round < 2; ++round) {  // a reset starts the same walk again
    ASSERT_EQ(m_meta->ResetGenericEnum(), S_OK);
    std::vector<GUID> seen;
    for (;;) {
      ComPtr<IStream> s;
      const HRESULT hr = m_meta->GetNextGenericInfo(s.ReleaseAndGetAddressOf());
      if (hr == S_FALSE) {
        EXPECT_FALSE(s);
        break;
      }
      ASSERT_EQ(hr, S_OK);
      fileutil::MetaStreamContent c;
      ASSERT_EQ(fileutil::ReadMetaStream(s.Get(), &c), S_OK);
      EXPECT_EQ(c.count, m_script.fill.numGenerics(c.guid));
      seen.push_back(c.guid);
    }
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_NE(std::find(seen.begin(), seen.end(), kUnknown), seen.end()) << "an unknown GUID is offered";
    EXPECT_NE(std::find(seen.begin(), seen.end(), fileutil::GUID_ZoMetaMarkers), seen.end());
    for (const GUID& g : seen) EXPECT_FALSE(ffbase::IsFixedMetaKind(g));
    EXPECT_EQ(std::find(seen.begin(), seen.end(), ffbase::GUID_ZoMetaStretchChunk), seen.end())
        << "the stretch chunk has its own slot";
  }
}

TEST_F(BaseReadMetaTest, SummaryLookupTellsAbsentFromUnknown) {
  ASSERT_EQ(m_meta->Init(u"a.wav"), S_OK);
  WCHAR buf[64];
  ASSERT_EQ(m_meta->GetSummaryInfo(Tag("INAM"), buf, 64), S_OK);
  EXPECT_EQ(std::u16string(buf), u"A title");
  ASSERT_EQ(m_meta->GetSummaryInfo(Tag("INAM"), buf, 3), S_OK);
  EXPECT_EQ(std::u16string(buf), u"A ") << "cut to the buffer with its terminator";
  buf[0] = u'x';
  EXPECT_EQ(m_meta->GetSummaryInfo(Tag("ICOP"), buf, 64), ZOERR_NOT_FOUND);
  EXPECT_EQ(buf[0], 0);
  buf[0] = u'x';
  EXPECT_EQ(m_meta->GetSummaryInfo(Tag("QQQQ"), buf, 64), MakeStatus(0x8004E1FE));
  EXPECT_EQ(buf[0], 0);
  // A tag outside the asked-for list is still answered when present.
  EXPECT_EQ(m_meta->GetSummaryInfo(Tag("XYZW"), buf, 64), S_OK);

  ComPtr<IStream> all;
  ASSERT_EQ(m_meta->GetAllSummaryInfo(all.ReleaseAndGetAddressOf()), S_OK);
  MetaMap back;
  ASSERT_EQ(fileutil::InitMapFromSummaryStream(all.Get(), &back), S_OK);
  EXPECT_EQ(back.items(), m_script.fill.items());
}

TEST_F(BaseReadMetaTest, MarkersUseTheDecodersSampleRate) {
  m_script.rate = 24000;
  ASSERT_EQ(m_meta->Init(u"a.wav"), S_OK);
  ComPtr<IStream> s;
  ASSERT_EQ(m_meta->GetMarkers(s.ReleaseAndGetAddressOf()), S_OK);
  fileutil::MetaStreamContent c;
  ASSERT_EQ(fileutil::ReadMetaStream(s.Get(), &c), S_OK);
  ASSERT_EQ(c.items.size(), 1u);
  fileutil::ZOMETAMARKERTIME t;
  std::u16string text;
  ASSERT_EQ(fileutil::ParseMarkerTime(c.items[0].data, &t, &text), S_OK);
  EXPECT_EQ(LONGLONG(t.start), LONGLONG(20000000)) << "48000 samples at 24 kHz are two seconds";
  EXPECT_EQ(text, u"one second");
  EXPECT_EQ(m_meta->GetMarkers(nullptr), E_INVALIDARG);
}

// Every slot before Init (or after a failed one) gives its defined status.
struct EmptyCase {
  const char* name;
  HRESULT (*call)(ffbase::BaseReadMeta*);
  HRESULT want;
};

const EmptyCase kEmptyCases[] = {
    {"GetMarkers", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetMarkers(&s); }, E_UNEXPECTED},
    {"ResetGenericEnum", [](ffbase::BaseReadMeta* m) { return m->ResetGenericEnum(); }, E_UNEXPECTED},
    {"GetProjectPath", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetProjectPath(&s); }, E_FAIL},
    {"GetProjectLinkInfo", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetProjectLinkInfo(&s, 7); },
     E_FAIL},
    {"GetAllUserDefinedProps", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetAllUserDefinedProps(&s); },
     E_FAIL},
    {"GetMediaMgrChunk", [](ffbase::BaseReadMeta* m) { _zometa_mediamgrchunk c; return m->GetMediaMgrChunk(&c); },
     E_FAIL},
    {"GetPulxChunk", [](ffbase::BaseReadMeta* m) { _tagZOFIO_pulxchunk c; return m->GetPulxChunk(&c); }, E_FAIL},
    {"GetStretchChunk", [](ffbase::BaseReadMeta* m) { _tagZOFIO_stretchinfo c; return m->GetStretchChunk(&c); },
     E_FAIL},
    {"GetStretchPoints", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetStretchPoints(&s); }, E_FAIL},
    {"GetCommands", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetCommands(&s); }, E_NOTIMPL},
    {"GetKeyFrames", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetKeyFrames(&s); }, E_NOTIMPL},
    {"GetNextGenericInfo", [](ffbase::BaseReadMeta* m) { IStream* s; return m->GetNextGenericInfo(&s); }, S_FALSE},
};

enum class Before { kNoInit, kOpenFails, kDecoderThrows };

class EmptyMetaTest : public ::testing::TestWithParam<std::tuple<Before, int>> {};

TEST_P(EmptyMetaTest, SlotGivesItsStatusWithoutDecoder) {
  const auto [before, index] = GetParam();
  const EmptyCase& c = kEmptyCases[index];
  Script script;
  script.fill = FullMap();
  ComPtr<TestMeta> meta = ComPtr<TestMeta>::Attach(new TestMeta(&script));
  if (before == Before::kOpenFails) {
    script.openStatus = ZOERR_FILE_OPEN;
    EXPECT_EQ(meta->Init(u"missing.wav"), ZOERR_FILE_OPEN);
  } else if (before == Before::kDecoderThrows) {
    script.throwInFill = true;
    EXPECT_EQ(meta->Init(u"broken.wav"), ZOERR_EXCEPTION);
  }
  EXPECT_EQ(c.call(meta.Get()), c.want) << c.name;
  EXPECT_TRUE(meta->GetMetaMap().empty());
}

INSTANTIATE_TEST_SUITE_P(AllSlots, EmptyMetaTest,
                         ::testing::Combine(::testing::Values(Before::kNoInit, Before::kOpenFails,
                                                              Before::kDecoderThrows),
                                            ::testing::Range(0, int(std::size(kEmptyCases)))));

TEST_F(BaseReadMetaTest, ManagersHandOutWhatTheMapHeld) {
  auto lying = UserProp(3, 100, 0);
  lying.resize(60);  // the head claims 100 bytes more than there are: dropped
  m_script.fill.addGeneric(ffbase::GUID_ZoMetaUserDefProps, lying);
  m_script.fill.addGeneric(ffbase::GUID_ZoMetaStretchPoints, std::vector<std::uint8_t>(31, 1));  // dropped
  ASSERT_EQ(m_meta->Init(u"a.wav"), S_OK);

  _zometa_mediamgrchunk mm;
  ASSERT_EQ(m_meta->GetMediaMgrChunk(&mm), S_OK);
  EXPECT_EQ(mm.words[2], 0x33333333u);
  _tagZOFIO_pulxchunk px;
  ASSERT_EQ(m_meta->GetPulxChunk(&px), S_OK);
  EXPECT_EQ(px.words[5], 0x44444444u);
  _tagZOFIO_stretchinfo st;
  ASSERT_EQ(m_meta->GetStretchChunk(&st), S_OK);
  EXPECT_EQ(st.words[6], 0x55555555u);

  ComPtr<IStream> points;
  ASSERT_EQ(m_meta->GetStretchPoints(points.ReleaseAndGetAddressOf()), S_OK);
  std::vector<std::vector<std::uint8_t>> got;
  ASSERT_EQ(fileutil::ReadMetaEntryStream(points.Get(), 32, [](const std::uint8_t*) { return 32ull; }, &got), S_OK);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[1], std::vector<std::uint8_t>(32, 0x67));
  EXPECT_TRUE(Drain(points.Get()).empty()) << "the dropped point is not in the stream";

  ComPtr<IStream> props;
  ASSERT_EQ(m_meta->GetAllUserDefinedProps(props.ReleaseAndGetAddressOf()), S_OK);
  ASSERT_EQ(fileutil::ReadMetaEntryStream(props.Get(), ffbase::kUserDefPropHeadBytes,
                                          [](const std::uint8_t* h) { return ffbase::UserDefPropBytes(h); }, &got),
            S_OK);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0], UserProp(1, 4, 6));
  EXPECT_EQ(got[1], UserProp(2, 0, 2));
  EXPECT_TRUE(Drain(props.Get()).empty());
}

TEST(BaseReadMetaChunks, AbsentOrMisSizedChunksAreRefusedAndLeaveTheRecord) {
  Script script;
  script.fill.addGeneric(ffbase::GUID_ZoMetaPulxChunk, std::vector<std::uint8_t>(23, 1));
  ComPtr<TestMeta> meta = ComPtr<TestMeta>::Attach(new TestMeta(&script));
  ASSERT_EQ(meta->Init(u"a.wav"), S_OK);
  _tagZOFIO_pulxchunk px{};
  EXPECT_EQ(meta->GetPulxChunk(&px), ZOERR_FILE_READ);
  EXPECT_EQ(px.words[0], 0u);
  _zometa_mediamgrchunk mm;
  EXPECT_EQ(meta->GetMediaMgrChunk(&mm), ZOERR_NOT_FOUND);
  IStream* link = reinterpret_cast<IStream*>(1);
  EXPECT_EQ(meta->GetProjectPath(&link), ZOERR_NOT_FOUND);
  EXPECT_EQ(link, nullptr);
  ComPtr<IStream> points;
  ASSERT_EQ(meta->GetStretchPoints(points.ReleaseAndGetAddressOf()), S_OK);
  EXPECT_EQ(Drain(points.Get()), (std::vector<std::uint8_t>{12, 0, 0, 0, 100, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(BaseReadMetaTest, ProjectLinkSlotsNameTheirParts) {
  ASSERT_EQ(m_meta->Init(u"a.wav"), S_OK);
  using Slot = HRESULT (ffbase::BaseReadMeta::*)(IStream**);
  const Slot slots[] = {&ffbase::BaseReadMeta::GetProjectPath,     &ffbase::BaseReadMeta::GetCommandLineW,
                        &ffbase::BaseReadMeta::GetRendererGuid,    &ffbase::BaseReadMeta::GetTemplateName,
                        &ffbase::BaseReadMeta::GetTemplateData,    &ffbase::BaseReadMeta::GetAppTemplateData,
                        &ffbase::BaseReadMeta::GetProjectData,     &ffbase::BaseReadMeta::GetCreatorAppInfo,
                        &ffbase::BaseReadMeta::GetCreatorAppWindowClassName};
  for (DWORD id = 1; id <= 9; ++id) {
    ComPtr<IStream> a, b;
    ASSERT_EQ((m_meta.Get()->*slots[id - 1])(a.ReleaseAndGetAddressOf()), S_OK) << id;
    ASSERT_EQ(m_meta->GetProjectLinkInfo(b.ReleaseAndGetAddressOf(), id), S_OK) << id;
    const auto bytes = Drain(a.Get());
    EXPECT_EQ(bytes, std::vector<std::uint8_t>(id, std::uint8_t(id)));
    EXPECT_EQ(Drain(b.Get()), bytes);
  }
  ComPtr<IStream> none;
  EXPECT_EQ(m_meta->GetProjectLinkInfo(none.ReleaseAndGetAddressOf(), 10), ZOERR_NOT_FOUND);

  auto blob = LinkBlob();
  blob[4] = 200;  // the first part now claims more bytes than the blob has
  EXPECT_EQ(ffbase::ReadProjectLinkPart(blob, 9, none.ReleaseAndGetAddressOf()), ZOERR_FILE_READ);
}

TEST_F(BaseReadMetaTest, SixFacesShareOneObjectAndOneCount) {
  const IID faces[] = {IID_IUnknown,           IID_IZoReadMeta,          IID_IZoReadGenericMeta,
                       IID_IZoReadProjectLinkMeta, IID_IZoReadProjectLinkMetaEx, IID_IZoReadMediaMgrMeta,
                       IID_IZoReadPulxMeta};
  IUnknown* self = nullptr;
  ASSERT_EQ(m_meta->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&self)), S_OK);
  for (const IID& iid : faces) {
    void* face = nullptr;
    ASSERT_EQ(m_meta->QueryInterface(iid, &face), S_OK);
    // Back to IUnknown from any face is the same object.
    IUnknown* back = nullptr;
    ASSERT_EQ(static_cast<IUnknown*>(face)->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&back)), S_OK);
    EXPECT_EQ(back, self);
    back->Release();
    static_cast<IUnknown*>(face)->Release();
  }
  void* none = reinterpret_cast<void*>(1);
  EXPECT_EQ(m_meta->QueryInterface(IID_IZoReadFile, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  self->Release();
  EXPECT_EQ(m_meta->AddRef(), 2u);
  EXPECT_EQ(m_meta->Release(), 1u);
}

}  // namespace
