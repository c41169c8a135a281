// SPDX-License-Identifier: MIT
// The Wave and Wave64 renderers as a host meets them: a file opened through
// the manager, a renderer class and a preset, a new file. What we write must
// hold exactly the samples ffmpeg makes of the same conversion and read back
// in ffprobe and sox with the facts we meant; a cancelled or failed render
// must leave the destination as it was and nothing beside it.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <tuple>

#include "fileio/team_guids.h"
#include "fileio/zofileio.h"
#include "fileio/zotemplate.h"
#include "fileio/zotemplate_cache.h"
#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/rf64_repair.h"
#include "tests/support/test_files.h"

namespace {

using vane::ComPtr;
using vane::test::ReadBytes;
using vane::test::RunCommand;
using vane::test::ShellQuote;
using vane::test::WriteBytes;

std::u16string U(const std::filesystem::path& p) { return vane::platform::FromUtf8(p.string()); }

// A host's progress that cancels once `stopAt` frames are done.
class CancelAt final : public IZoProgress {
 public:
  explicit CancelAt(LONGLONG stopAt) : m_stopAt(stopAt) {}
  HRESULT QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }
  HRESULT Start(LONGLONG total) override {
    m_total = total;
    return S_OK;
  }
  HRESULT PluginSlot4(LONG_PTR) override { return S_OK; }
  HRESULT PluginSlot5(LONG_PTR) override { return S_OK; }
  HRESULT Progress(LONGLONG position) override {
    m_last = position;
    return position >= m_stopAt ? E_ABORT : S_OK;
  }
  LONGLONG m_total = -1, m_last = 0;

 private:
  LONGLONG m_stopAt;
};

class WaveRenderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CACHE_HOME", (m_dir / "cache").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (m_dir / "config").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", m_dir.path().c_str(), 1);
    setenv("VANE_TEMPLATE_DIR", (m_dir / "templates").c_str(), 1);
    unsetenv("VANE_PLUGIN_PATH");
    ASSERT_EQ(ZOFileIO_CreateInstance(&m_manager, 0), S_OK);
  }
  void TearDown() override {
    ZoFio_DropManagerTemplateCache(m_manager);
    m_manager->Shutdown();
    m_manager->Release();
  }

  ComPtr<IZoRenderFileClass> Renderer(const GUID& id) {
    ComPtr<IZoRenderFileClass> cls;
    EXPECT_EQ(m_manager->GetRenderClassByGuid(cls.ReleaseAndGetAddressOf(), id), S_OK);
    return cls;
  }

  // Renders `in` into `out` as a host does: its first audio stream, its
  // metadata, the class and template (null: the class's preset 0).
  HRESULT Render(const std::filesystem::path& in, const std::filesystem::path& out, const GUID& renderer,
                 tagZOTEMPLATExV2* tpl, IZoProgress* progress = nullptr, ComPtr<IZoRenderFile>* keep = nullptr) {
    ComPtr<IZoReadFile> reader;
    VANE_RETURN_IF_FAILED(m_manager->OpenReadFile(U(in).c_str(), reader.ReleaseAndGetAddressOf(), 0));
    ComPtr<IZoReadStream> stream;
    VANE_RETURN_IF_FAILED(reader->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr));
    ComPtr<IZoRenderFileClass> cls = Renderer(renderer);
    if (!cls) return E_FAIL;
    ComPtr<IZoRenderFile> file;
    IZoReadStream* streams[] = {stream.Get()};
    VANE_RETURN_IF_FAILED(cls->Create(file.ReleaseAndGetAddressOf(), U(out).c_str(), 1, streams, tpl));
    ComPtr<IZoReadMeta> meta;
    if (SUCCEEDED(reader.As(IID_IZoReadMeta, &meta))) file->SetMetaReader(meta.Get());
    const HRESULT hr = file->Render(progress);
    if (keep) *keep = file;
    return hr;
  }

  tagZOTEMPLATExV2* Preset(const GUID& renderer, const char16_t* name) {
    ComPtr<IZoRenderFileClass> cls = Renderer(renderer);
    LONG count = 0;
    cls->GetPresetCount(&count);
    for (LONG i = 0; i < count; ++i) {
      tagZOTEMPLATExV2* p = nullptr;
      if (SUCCEEDED(cls->GetPreset(&p, i)) && std::u16string(ZoTemplate_Name(p)) == name) return p;
      ZoFio_ReleaseTemplate(p);
    }
    ADD_FAILURE() << "no preset";
    return nullptr;
  }

  // A 44.1 kHz stereo 16-bit source with noise, so every bit is used.
  std::filesystem::path Source(const std::string& name = "in.wav", const std::string& seconds = "1.5",
                               const std::string& rate = "44100") {
    const auto file = m_dir / name;
    const std::string make = "sox -R -n -r " + rate + " -c 2 -b 16 " + ShellQuote(file.string()) + " synth " + seconds +
                             " sine 300-5000 whitenoise vol 0.8";
    EXPECT_EQ(RunCommand(make), 0) << make;
    return file;
  }

  static std::vector<std::uint8_t> Decode(const std::filesystem::path& file, const std::string& raw) {
    const std::string out = file.string() + "." + raw;
    EXPECT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -i " + ShellQuote(file.string()) + " -f " + raw + " -y " +
                         ShellQuote(out)),
              0);
    return ReadBytes(out);
  }

  static std::string Probe(const std::filesystem::path& file) {
    std::string out;
    RunCommand("ffprobe -v error -show_entries stream=codec_name,sample_rate,channels,duration_ts:format_tags "
               "-of compact=p=0:nk=0 " + ShellQuote(file.string()),
               &out);
    return out;
  }

  vane::test::ScratchDir m_dir;
  IZoFileIOMgrForApp* m_manager = nullptr;
};

// preset, ffmpeg codec, raw format compared, Wave64 or not
using Case = std::tuple<std::u16string, std::string, std::string, bool>;
class PresetRender : public WaveRenderTest, public ::testing::WithParamInterface<Case> {};

TEST_P(PresetRender, SamplesEqualFfmpegsConversionAndToolsReadTheFile) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("sox");
  const auto& [preset, codec, raw, w64] = GetParam();
  // The 48 kHz presets take a 48 kHz source: the renderer does not resample.
  const bool at48 = preset.find(u"48 kHz") != std::u16string::npos;
  const auto in = Source("in.wav", "1.5", at48 ? "48000" : "44100");
  const auto ours = m_dir / (w64 ? "ours.w64" : "ours.wav");
  const GUID& renderer = w64 ? GUID_VaneWave64Renderer : GUID_VaneWaveRenderer;
  tagZOTEMPLATExV2* tpl = Preset(renderer, preset.c_str());
  ASSERT_EQ(Render(in, ours, renderer, tpl), S_OK);
  ZoFio_ReleaseTemplate(tpl);
  // ffmpeg's own conversion of the same source to the same sample type.
  const auto theirs = m_dir / (w64 ? "theirs.w64" : "theirs.wav");
  ASSERT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -i " + ShellQuote(in.string()) + " -c:a " + codec + " -y " +
                       ShellQuote(theirs.string())),
            0);
  // 16-bit samples widen to 24 bits and to float without rounding, so the
  // two conversions agree bit for bit.
  const auto a = Decode(ours, raw), b = Decode(theirs, raw);
  ASSERT_FALSE(b.empty());
  EXPECT_TRUE(a == b) << "samples differ from ffmpeg's conversion";
  const std::string probe = Probe(ours);
  EXPECT_NE(probe.find("codec_name=" + codec), std::string::npos) << probe;
  EXPECT_NE(probe.find(at48 ? "sample_rate=48000" : "sample_rate=44100"), std::string::npos) << probe;
  EXPECT_NE(probe.find("channels=2"), std::string::npos) << probe;
  // ffprobe estimates a Wave64 length from the padded data chunk; sox counts below.
  if (!w64) {
    EXPECT_NE(probe.find(at48 ? "duration_ts=72000" : "duration_ts=66150"), std::string::npos) << probe;
  }
  std::string sox;
  ASSERT_EQ(RunCommand("sox --i -s " + ShellQuote(ours.string()), &sox), 0);
  const long long frames = at48 ? 72000 : 66150;
  EXPECT_EQ(std::stoll(sox), frames);
  // libsndfile opens it with the format we meant.
  SF_INFO info{};
  SNDFILE* sf = sf_open(ours.c_str(), SFM_READ, &info);
  ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
  EXPECT_EQ(info.frames, frames);
  EXPECT_EQ(info.samplerate, at48 ? 48000 : 44100);
  EXPECT_EQ(info.channels, 2);
  EXPECT_EQ(info.format & SF_FORMAT_TYPEMASK, w64 ? SF_FORMAT_W64 : SF_FORMAT_WAV);
  const int subtype = codec == "pcm_s24le" ? SF_FORMAT_PCM_24 : codec == "pcm_f32le" ? SF_FORMAT_FLOAT : SF_FORMAT_PCM_16;
  EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, subtype);
  sf_close(sf);
  if (vane::test::HaveTool("mediainfo")) {
    std::string mi;
    ASSERT_EQ(RunCommand("mediainfo --Inform='Audio;%SamplingRate% %Channels% %BitDepth%' " + ShellQuote(ours.string()), &mi),
              0);
    const std::string bits = codec == "pcm_s24le" ? "24" : codec == "pcm_f32le" ? "32" : "16";
    EXPECT_EQ(mi.substr(0, mi.find_last_not_of("\r\n") + 1), (at48 ? "48000 2 " : "44100 2 ") + bits) << mi;
  }
}

std::vector<Case> PresetCases() {
  std::vector<Case> cases;
  for (bool w64 : {false, true}) {
    cases.emplace_back(u"Same as source", "pcm_s16le", "s16le", w64);
    cases.emplace_back(u"16-bit 44.1 kHz stereo", "pcm_s16le", "s16le", w64);
    cases.emplace_back(u"24-bit 44.1 kHz stereo", "pcm_s24le", "s32le", w64);
    cases.emplace_back(u"32-bit float 44.1 kHz stereo", "pcm_f32le", "f32le", w64);
    cases.emplace_back(u"16-bit 48 kHz stereo", "pcm_s16le", "s16le", w64);
    cases.emplace_back(u"24-bit 48 kHz stereo", "pcm_s24le", "s32le", w64);
    cases.emplace_back(u"32-bit float 48 kHz stereo", "pcm_f32le", "f32le", w64);
  }
  return cases;
}

std::string PresetName(const ::testing::TestParamInfo<Case>& info) {
  std::string name;
  for (char16_t c : std::get<0>(info.param))
    if ((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z')) name += char(c);
  return name + (std::get<3>(info.param) ? "_w64" : "_wav");
}

INSTANTIATE_TEST_SUITE_P(Presets, PresetRender, ::testing::ValuesIn(PresetCases()), PresetName);

TEST_F(WaveRenderTest, ChainOfContainersAndWidthsComesBackToTheSource) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("sox");
  const auto in = Source();
  tagZOTEMPLATExV2* t24 = Preset(GUID_VaneWave64Renderer, u"24-bit 44.1 kHz stereo");
  tagZOTEMPLATExV2* tf = Preset(GUID_VaneWaveRenderer, u"32-bit float 44.1 kHz stereo");
  tagZOTEMPLATExV2* t16 = Preset(GUID_VaneWave64Renderer, u"16-bit 44.1 kHz stereo");
  ASSERT_EQ(Render(in, m_dir / "a.w64", GUID_VaneWave64Renderer, t24), S_OK);
  ASSERT_EQ(Render(m_dir / "a.w64", m_dir / "b.wav", GUID_VaneWaveRenderer, tf), S_OK);
  ASSERT_EQ(Render(m_dir / "b.wav", m_dir / "c.w64", GUID_VaneWave64Renderer, t16), S_OK);
  ASSERT_EQ(Render(m_dir / "c.w64", m_dir / "d.wav", GUID_VaneWaveRenderer, nullptr), S_OK);
  for (auto* t : {t24, tf, t16}) ZoFio_ReleaseTemplate(t);
  EXPECT_TRUE(Decode(m_dir / "d.wav", "s16le") == Decode(in, "s16le"));
  // sox finds the same samples in the last file as in the source.
  std::string stat;
  ASSERT_EQ(RunCommand("sox -m -v 1 " + ShellQuote(in.string()) + " -v -1 " + ShellQuote((m_dir / "d.wav").string()) +
                       " -n stat 2>&1",
                       &stat),
            0);
  EXPECT_NE(stat.find("Maximum amplitude:     0.000000"), std::string::npos) << stat;
}

TEST_F(WaveRenderTest, InfoTagsAndMarkersGoIntoTheNewFile) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("sox");
  const auto plain = Source("plain.wav");
  const auto in = m_dir / "tagged.wav";
  ASSERT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -i " + ShellQuote(plain.string()) +
                       " -metadata title='Night Take' -metadata artist='The Band' -c copy -y " +
                       ShellQuote(in.string())),
            0);
  ASSERT_EQ(RunCommand(ShellQuote(VANE_TOOL_PATH) + " meta " + ShellQuote(in.string()) +
                       " --add-marker 1000:Verse --add-region 20000+5000:Chorus"),
            0);
  for (bool w64 : {false, true}) {
    const auto out = m_dir / (w64 ? "out.w64" : "out.wav");
    ASSERT_EQ(Render(in, out, w64 ? GUID_VaneWave64Renderer : GUID_VaneWaveRenderer, nullptr), S_OK);
    if (!w64) {
      const std::string probe = Probe(out);
      EXPECT_NE(probe.find("tag:title=Night Take"), std::string::npos) << probe;
      EXPECT_NE(probe.find("tag:artist=The Band"), std::string::npos) << probe;
    }
    std::string meta;
    ASSERT_EQ(RunCommand(ShellQuote(VANE_TOOL_PATH) + " meta --json " + ShellQuote(out.string()), &meta), 0);
    EXPECT_NE(meta.find("Night Take"), std::string::npos) << meta;
    EXPECT_NE(meta.find("\"value\":\"Verse\",\"position\":1000"), std::string::npos) << meta;
    EXPECT_NE(meta.find("\"value\":\"Chorus\",\"position\":20000,\"length\":5000"), std::string::npos) << meta;
  }
}

TEST_F(WaveRenderTest, CancelHalfwayKeepsTheDestinationAndLeavesNothingBeside) {
  VANE_REQUIRE_TOOL("sox");
  const auto in = Source("long.wav", "10");
  const auto out = m_dir / "keep" / "out.wav";
  std::filesystem::create_directories(out.parent_path());
  WriteBytes(out, {'o', 'l', 'd'});
  CancelAt cancel(200000);
  EXPECT_EQ(Render(in, out, GUID_VaneWaveRenderer, nullptr, &cancel), ZOERR_CANCELLED);
  EXPECT_EQ(cancel.m_total, 441000);
  EXPECT_LT(cancel.m_last, 441000);
  EXPECT_EQ(ReadBytes(out), (std::vector<std::uint8_t>{'o', 'l', 'd'}));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(out.parent_path()), {}), 1);
}

TEST_F(WaveRenderTest, AWriteFailureKeepsTheDestinationAndLeavesNothingBeside) {
  VANE_REQUIRE_TOOL("sox");
  const auto in = Source("long.wav", "10");
  const auto out = m_dir / "full" / "out.wav";
  std::filesystem::create_directories(out.parent_path());
  WriteBytes(out, {'o', 'l', 'd'});
  // A file size limit stands in for a full disk: writes past 512 KB fail
  // (the signal that would end the process is ignored, so the write reports it).
  std::string err;
  const int rc = RunCommand("bash -c \"trap '' XFSZ; ulimit -f 512; exec " + std::string(VANE_TOOL_PATH) +
                                " render --quiet " + ShellQuote(in.string()) + " -o " + ShellQuote(out.string()) +
                                "\" 2>&1",
                            &err);
  EXPECT_NE(rc, 0);
  EXPECT_NE(err.find("0x8004E002"), std::string::npos) << err;
  EXPECT_EQ(ReadBytes(out), (std::vector<std::uint8_t>{'o', 'l', 'd'}));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(out.parent_path()), {}), 1);
}

TEST_F(WaveRenderTest, ARateTheRendererCannotMakeIsRefusedWithoutAFile) {
  VANE_REQUIRE_TOOL("sox");
  const auto in = Source();
  tagZOTEMPLATExV2* t48 = Preset(GUID_VaneWaveRenderer, u"16-bit 48 kHz stereo");
  EXPECT_EQ(Render(in, m_dir / "x.wav", GUID_VaneWaveRenderer, t48), ZOERR_UNSUPPORTED_FORMAT);
  ZoFio_ReleaseTemplate(t48);
  EXPECT_FALSE(std::filesystem::exists(m_dir / "x.wav"));
}

TEST_F(WaveRenderTest, CreateWithoutATemplateUsesPresetZero) {
  VANE_REQUIRE_TOOL("sox");
  const auto in = Source();
  ComPtr<IZoRenderFile> file;
  ASSERT_EQ(Render(in, m_dir / "p0.wav", GUID_VaneWaveRenderer, nullptr, nullptr, &file), S_OK);
  tagZOTEMPLATExV2* used = nullptr;
  ASSERT_EQ(file->GetTemplate(&used, 0), S_OK);
  EXPECT_EQ(std::u16string(ZoTemplate_Name(used)), u"Same as source");
  ZoFio_ReleaseTemplate(used);
  EXPECT_EQ(file->GetTemplate(&used, 1), E_NOTIMPL);
  EXPECT_EQ(used, nullptr);
}

TEST_F(WaveRenderTest, ClassListsPresetsThenSavedTemplatesAndSetsBadFilesApart) {
  ComPtr<IZoRenderFileClass> cls = Renderer(GUID_VaneWaveRenderer);
  const std::filesystem::path folder = ZoTemplate_ClassFolder(cls.Get(), "Render Templates");
  std::filesystem::create_directories(folder);
  // A saved template of this class, one of another class, and a damaged file.
  tagZOTEMPLATExV2* mine = Preset(GUID_VaneWaveRenderer, u"24-bit 48 kHz stereo");
  tagZOTEMPLATExV2* renamed = nullptr;
  ASSERT_EQ(ZoTemplate_Rebuild(&renamed, mine, u"My 24", u"", nullptr, 0), S_OK);
  ASSERT_EQ(ZoFio_SaveTemplateData(U(folder / "mine.zot2").c_str(), renamed, FALSE), S_OK);
  tagZOTEMPLATExV2* foreign = nullptr;
  ASSERT_EQ(ZoTemplate_Rebuild(&foreign, mine, u"Foreign", u"", nullptr, 0), S_OK);
  foreign->classId = GUID_VaneWave64Renderer;
  ASSERT_EQ(ZoFio_SaveTemplateData(U(folder / "foreign.zot2").c_str(), foreign, FALSE), S_OK);
  WriteBytes(folder / "broken.zot", std::vector<std::uint8_t>(600, 0xFF));

  tZOLIST* list = nullptr;
  ASSERT_EQ(ZoFio_GetTemplateList(m_manager, cls.Get(), &list), S_OK);
  LONG presets = 0;
  cls->GetPresetCount(&presets);
  ASSERT_EQ(list->nItems, presets + 1);
  EXPECT_EQ(std::u16string(ZoTemplate_Name(ZoFio_TemplateAt(list, presets))), u"My 24");
  ZoFio_ReleaseTemplateList(list);

  CZoTemplateCache* cache = nullptr;
  ASSERT_EQ(ZoFio_GetGlobalTemplateCache(m_manager, cls.Get(), &cache), S_OK);
  EXPECT_EQ(cache->badFiles.size(), 2u);
  EXPECT_EQ(cache->folders.back().kind, ZOTEMPLATE_KIND_BOTH);
  ZoFio_ReleaseGlobalTemplateCache(cache);

  // Identity against the presets: equal in every byte, equal but for the
  // text, and the name only.
  LONG index = 0;
  EXPECT_EQ(ZoFio_IsTemplateAPreset(cls.Get(), mine, &index), 7);
  EXPECT_EQ(index, 4);
  EXPECT_EQ(ZoFio_IsTemplateAPreset(cls.Get(), renamed, &index), 5);
  tagZOTEMPLATExV2* byName = nullptr;
  ASSERT_EQ(ZoFio_GetTemplateByName(m_manager, cls.Get(), u"My 24", &byName), S_OK);
  byName->presetNumber = 99;
  EXPECT_EQ(ZoFio_IsTemplateAPreset(cls.Get(), byName, &index), 0);
  EXPECT_EQ(index, -2);
  for (auto* t : {mine, renamed, foreign, byName}) ZoFio_ReleaseTemplate(t);
}

TEST_F(WaveRenderTest, LastUsedTemplateAndThePrivateView) {
  ComPtr<IZoRenderFileClass> cls = Renderer(GUID_VaneWaveRenderer);
  tagZOTEMPLATExV2* t = Preset(GUID_VaneWaveRenderer, u"32-bit float 48 kHz stereo");
  ASSERT_EQ(ZoFio_SaveAppLastUsedTemplate(cls.Get(), t, u"-render", FALSE), S_OK);
  EXPECT_EQ(ZoFio_SaveAppLastUsedTemplate(cls.Get(), t, u"-render", FALSE), ZOERR_FILE_EXISTS);
  tagZOTEMPLATExV2* back = nullptr;
  ASSERT_EQ(ZoFio_LoadAppLastUsedTemplate(cls.Get(), u"-render", &back), S_OK);
  EXPECT_EQ(back->size, t->size);
  EXPECT_EQ(std::memcmp(back, t, t->size), 0);
  ZoFio_ReleaseTemplate(&back);
  ASSERT_EQ(ZoFio_DeleteAppLastUsedTemplate(cls.Get(), u"-render"), S_OK);
  EXPECT_TRUE(FAILED(ZoFio_LoadAppLastUsedTemplate(cls.Get(), u"-render", &back)));

  // The private view lists this process's own templates before the presets.
  CZoPrivateTemplateCache* view = nullptr;
  ASSERT_EQ(ZoFio_CreatePrivateTemplateCache(m_manager, cls.Get(), 0, &view), S_OK);
  LONG presets = 0;
  cls->GetPresetCount(&presets);
  EXPECT_EQ(view->Count(), presets);
  tagZOTEMPLATExV2* mine = nullptr;
  ASSERT_EQ(ZoTemplate_Rebuild(&mine, t, u"Only here", u"", nullptr, 0), S_OK);
  ASSERT_EQ(view->AddPrivate(mine), S_OK);
  EXPECT_EQ(view->Count(), presets + 1);
  EXPECT_EQ(std::u16string(ZoTemplate_Name(view->Next())), u"Only here");
  EXPECT_EQ(std::u16string(ZoTemplate_Name(view->Next())), u"Same as source");
  ZoFio_ReleasePrivateTemplateCache(view);
  // The class's list is not changed by a private view.
  tZOLIST* list = nullptr;
  ASSERT_EQ(ZoFio_GetTemplateList(m_manager, cls.Get(), &list), S_OK);
  EXPECT_EQ(list->nItems, presets);
  ZoFio_ReleaseTemplateList(list);
  ZoFio_ReleaseTemplate(mine);
  ZoFio_ReleaseTemplate(t);
}

// A classic Wave head for `frames` of 8-bit mono at 48 kHz, the data left
// sparse (zero bytes) by growing the file.
void SparseWave(const std::filesystem::path& file, std::uint32_t frames) {
  vane::test::ByteWriter w;
  w.fourcc("RIFF").u32le(36 + frames).fourcc("WAVE").fourcc("fmt ").u32le(16);
  w.u16le(1).u16le(1).u32le(48000).u32le(48000).u16le(1).u16le(8).fourcc("data").u32le(frames);
  WriteBytes(file, w.data());
  std::filesystem::resize_file(file, 44 + std::uintmax_t(frames));
}

// Past 4 GB the Wave renderer turns its reserved chunk into ds64 (RF64); the
// tools of the field read the frame count, and the metadata goes behind the
// audio with ds64 following it. Writes about 4.8 GB; sanitizer runs skip it.
TEST_F(WaveRenderTest, LongRenderPastFourGigabytesIsRf64ThatToolsRead) {
  if (std::getenv("VANE_SKIP_LONG")) GTEST_SKIP() << "long test";
  VANE_REQUIRE_TOOL("ffprobe");
  VANE_REQUIRE_TOOL("sox");
  constexpr std::uint32_t kFrames = 600000000;
  const auto in = m_dir / "sparse.wav";
  SparseWave(in, kFrames);
  ASSERT_EQ(RunCommand(ShellQuote(VANE_TOOL_PATH) + " meta " + ShellQuote(in.string()) + " --set info.INAM=Long"), 0);
  ZoWaveFormatBuffer<40> f64;
  f64->Init(0, ZOSAMPLE_FLOAT64, 0, 0, 40);
  tagZOTEMPLATExV2* tpl = nullptr;
  ASSERT_EQ(ZoFio_MakeTemplate(&tpl, f64.get(), nullptr, nullptr, nullptr, nullptr, 0, u"f64", nullptr), S_OK);
  const auto out = m_dir / "long.wav";
  ASSERT_EQ(Render(in, out, GUID_VaneWaveRenderer, tpl), S_OK);
  ZoFio_ReleaseTemplate(tpl);
  EXPECT_GT(std::filesystem::file_size(out), 0x100000000ull);
  std::string probe = Probe(out);
  EXPECT_NE(probe.find("codec_name=pcm_f64le"), std::string::npos) << probe;
  EXPECT_NE(probe.find("duration_ts=600000000"), std::string::npos) << probe;
  EXPECT_NE(probe.find("tag:title=Long"), std::string::npos) << probe;
  std::string sox;
  ASSERT_EQ(RunCommand("sox --i -s " + ShellQuote(out.string()), &sox), 0);
  EXPECT_EQ(std::stoll(sox), kFrames);
  SF_INFO info{};
  SNDFILE* sf = sf_open(out.c_str(), SFM_READ, &info);
  ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
  EXPECT_EQ(info.frames, kFrames);
  // The last frame holds the source's last sample (8-bit 0 is -1.0).
  double last = 0;
  ASSERT_EQ(sf_seek(sf, kFrames - 1, SEEK_SET), kFrames - 1);
  ASSERT_EQ(sf_readf_double(sf, &last, 1), 1);
  EXPECT_EQ(last, -1.0);
  sf_close(sf);

  // A writer that stopped: the file ends with the audio and the ds64 sizes
  // are back at zero. The repair sets them from the walk and the file's length.
  std::filesystem::resize_file(out, 94 + std::uintmax_t(kFrames) * 8);
  {
    std::fstream f(out, std::ios::in | std::ios::out | std::ios::binary);
    const char zeros[24] = {};
    f.seekp(20);
    f.write(zeros, 24);
  }
  HANDLE h = CreateFileW(U(out).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(ZoFixTrashedRF64(h), S_OK);
  EXPECT_EQ(ZoFixTrashedRF64(h), S_FALSE);
  CloseHandle(h);
  probe = Probe(out);
  EXPECT_NE(probe.find("duration_ts=600000000"), std::string::npos) << probe;
}

}  // namespace
