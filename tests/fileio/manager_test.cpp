// SPDX-License-Identifier: MIT
#include "fileio/manager.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <utime.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <ostream>
#include <thread>

#include "fileio/detail/module_loader.h"
#include "fileio/detail/named_mutex.h"
#include "fileio/team_guids.h"
#include "kernel/message_box.h"
#include "platform/file.h"
#include "platform/profile.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace fs = std::filesystem;
using vane::ComPtr;
using vane::fileio::ProbeStage;
using vane::platform::FromUtf8;
using vane::platform::ToUtf8;

namespace {

GUID FakeId(DWORD d1) { return GUID{d1, 0x5A5A, 0x4000, {0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFA, 0x4E}}; }
GUID FakeReader(DWORD d1) { return FakeId(d1 + 0x1000); }

class ManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(m_dir / "plugins");
    setenv("XDG_CACHE_HOME", (m_dir / "cache").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (m_dir / "config").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", m_dir.path().c_str(), 1);
    setenv("VANE_PLUGIN_PATH", (m_dir / "plugins").c_str(), 1);
    setenv("VANE_PROBE_HELPER", VANE_PROBE_HELPER_PATH, 1);
    setenv("VANE_PROBE_TIMEOUT_MS", "20000", 1);
  }
  void TearDown() override { vane::fileio::SetQuickIdentifyForTests(nullptr); }

  // Copies the named test modules into the plug-in folder and lists them in
  // one configuration file; `extra` is appended as it stands.
  void Install(const std::vector<std::string>& modules, const std::string& extra = {}) {
    std::string config = "[FileIO Plug-Ins]\n";
    for (const auto& m : modules) {
      fs::copy_file(fs::path(VANE_TEST_PLUGIN_DIR) / (m + ".so"), m_dir / "plugins" / (m + ".so"),
                    fs::copy_options::overwrite_existing);
      config += m + "=" + m + ".so\n";
    }
    std::ofstream(m_dir / "plugins" / "test.Fio2007-Config") << config << extra;
  }

  ComPtr<IZoFileIOMgrForApp> Create(DWORD flags = 0) {
    ComPtr<IZoFileIOMgrForApp> m;
    EXPECT_EQ(ZOFileIO_CreateInstance(m.ReleaseAndGetAddressOf(), flags), S_OK);
    return m;
  }

  std::u16string File(const std::string& name, const std::string& bytes) {
    std::ofstream(m_dir / name, std::ios::binary) << bytes;
    return FromUtf8((m_dir / name).string());
  }

  static vane::fileio::CZoFileIOManager* Impl(const ComPtr<IZoFileIOMgrForApp>& m) {
    return static_cast<vane::fileio::CZoFileIOManager*>(m.Get());
  }

  static const vane::fileio::PluginDescription* Find(const std::vector<vane::fileio::PluginDescription>& list,
                                                     const std::string& moduleStem) {
    for (const auto& d : list)
      if (ToUtf8(d.module).find("/" + moduleStem + ".so") != std::string::npos) return &d;
    return nullptr;
  }

  // Which reader a file goes to, and the stage that decided.
  std::pair<HRESULT, GUID> Probe(IZoFileIOMgrForApp* m, const std::u16string& file, ProbeStage* stage = nullptr) {
    vane::fileio::ProbeReport r;
    HRESULT hr = vane::fileio::ProbeFile(m, file.c_str(), &r);
    if (stage) *stage = r.stage;
    return {hr, r.reader};
  }

  // Changes the cache file of `m` in place: a null value deletes the key.
  static void EditCache(const std::u16string& cachePath, const std::u16string& section, const std::u16string& key,
                        const char16_t* value) {
    ASSERT_EQ(vane::platform::UpdateIniFile(ToUtf8(cachePath),
                                            [&](vane::platform::IniFile& f) {
                                              if (value)
                                                f.Set(section, key, value);
                                              else
                                                f.DeleteKey(section, key);
                                              return true;
                                            }),
              0u);
  }

  // The cache section of an installed module: the one whose Path names it.
  std::u16string Section(const std::u16string& cachePath, const std::string& module) {
    auto cache = vane::platform::LoadIniSnapshot(ToUtf8(cachePath));
    std::u16string path = FromUtf8((m_dir / "plugins" / (module + ".so")).string());
    if (cache)
      for (const auto& name : cache->SectionNames())
        if (const auto* p = cache->Find(name, u"Path"); p && *p == path) return name;
    return u"(no section)";
  }

  std::u16string ClassSection(const std::u16string& cachePath, const std::string& module, const GUID& id) {
    return Section(cachePath, module) + u"." + vane::platform::GuidToU16String(id);
  }

  vane::test::ScratchDir m_dir;
};

TEST_F(ManagerTest, FindsReadersByMagicExtensionAndOrder) {
  Install({"alpha", "beta"});
  auto m = Create();
  ASSERT_TRUE(m);
  EXPECT_EQ(m->GetReaderCount(), 2);
  EXPECT_EQ(m->GetRendererCount(), 1);

  ProbeStage stage;
  auto [hr, reader] = Probe(m.Get(), File("a.bet", "BETA and more"), &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(reader, FakeReader(0xB2000000));
  EXPECT_EQ(stage, ProbeStage::Extension);

  // Content beats a wrong extension: the all stage finds it.
  std::tie(hr, reader) = Probe(m.Get(), File("b.dat", "ALPHxxxxxxxxxxxx"), &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(reader, FakeReader(0xA1000000));
  EXPECT_EQ(stage, ProbeStage::All);

  // Unknown bytes: the by-name probe takes the extension's word for it,
  // unless metric 22 turns that off.
  std::u16string unknown = File("c.alp", "nothing we know");
  std::tie(hr, reader) = Probe(m.Get(), unknown, &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(stage, ProbeStage::Name);
  ASSERT_EQ(m->SetMetric(vane::fileio::kMetricNoNameProbe, 1), S_OK);
  EXPECT_EQ(Probe(m.Get(), unknown).first, ZOERR_UNSUPPORTED_FORMAT);
}

TEST_F(ManagerTest, LastUsedClassIsTriedBeforeTheRest) {
  Install({"alpha", "beta"});
  auto m = Create();
  ComPtr<IZoReadFile> f;
  ASSERT_EQ(m->OpenReadFile(File("a.bet", "BETA").c_str(), f.ReleaseAndGetAddressOf(), 0), S_OK);
  ProbeStage stage;
  auto [hr, reader] = Probe(m.Get(), File("b.xyz", "BETA again"), &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(stage, ProbeStage::LastUsed);
}

TEST_F(ManagerTest, ValidCacheLoadsOnlyClassesMarkedForInitialisation) {
  Install({"alpha", "beta", "gamma"});
  { auto first = Create(); }
  size_t before = vane::fileio::detail::ModuleLoadCount();
  auto m = Create();
  // gamma asks to be initialised on every start; alpha and beta wait.
  EXPECT_EQ(vane::fileio::detail::ModuleLoadCount() - before, 1u);
  EXPECT_EQ(m->GetReaderCount(), 3);
  auto list = vane::fileio::DescribePlugins(m.Get());
  EXPECT_EQ(Find(list, "alpha")->state, "not loaded");
  EXPECT_EQ(Find(list, "gamma")->state, "ready");
  // Texts came from the cache: the extension search works without loading.
  EXPECT_EQ(Find(list, "beta")->extensions, u"*.bet");
  auto [hr, reader] = Probe(m.Get(), File("x.bet", "BETA"));
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(reader, FakeReader(0xB2000000));
}

TEST_F(ManagerTest, ChangedModuleTimeIsProbedAgain) {
  Install({"alpha", "beta"});
  { auto first = Create(); }
  struct stat st {};
  ASSERT_EQ(::stat((m_dir / "plugins" / "beta.so").c_str(), &st), 0);
  utimbuf times{st.st_atime, st.st_mtime + 10};
  ASSERT_EQ(::utime((m_dir / "plugins" / "beta.so").c_str(), &times), 0);
  size_t before = vane::fileio::detail::ModuleLoadCount();
  auto m = Create();
  // The probe child described the class: nothing is loaded in process.
  EXPECT_EQ(vane::fileio::detail::ModuleLoadCount() - before, 0u);
  auto list = vane::fileio::DescribePlugins(m.Get());
  EXPECT_EQ(Find(list, "beta")->state, "not loaded");
  EXPECT_EQ(Find(list, "beta")->reader, FakeReader(0xB2000000));
  EXPECT_EQ(Find(list, "beta")->extensions, u"*.bet");
  EXPECT_EQ(Find(list, "alpha")->state, "not loaded");
}

TEST_F(ManagerTest, DeletedModuleIsSkippedAndItsSectionKept) {
  Install({"alpha", "beta"});
  { auto first = Create(); }
  fs::remove(m_dir / "plugins" / "beta.so");
  auto m = Create();
  EXPECT_EQ(m->GetReaderCount(), 1);
  auto cache = vane::platform::LoadIniSnapshot(ToUtf8(Impl(m)->CachePath()));
  ASSERT_TRUE(cache);
  EXPECT_NE(cache->FindSection(Section(Impl(m)->CachePath(), "beta")), nullptr);
}

TEST_F(ManagerTest, CrashingAndHangingModulesAreHiddenRecordedAndNeverLoaded) {
  setenv("VANE_PROBE_TIMEOUT_MS", "3000", 1);  // the hanging module costs this much once
  Install({"crash", "hang", "alpha"});
  auto m = Create();
  ASSERT_TRUE(m);
  auto list = vane::fileio::DescribePlugins(m.Get());
  EXPECT_EQ(Find(list, "crash")->state, "hidden");
  EXPECT_EQ(Find(list, "hang")->state, "hidden");
  EXPECT_NE(Find(list, "crash")->reason.find("crashed"), std::string::npos) << Find(list, "crash")->reason;
  EXPECT_NE(Find(list, "hang")->reason.find("hung"), std::string::npos) << Find(list, "hang")->reason;
  EXPECT_EQ(m->GetReaderCount(), 1);
  auto cache = vane::platform::LoadIniSnapshot(ToUtf8(Impl(m)->CachePath()));
  ASSERT_TRUE(cache);
  EXPECT_NE(cache->Find(Section(Impl(m)->CachePath(), "crash"), u"ModTime"), nullptr);
  EXPECT_NE(cache->Find(Section(Impl(m)->CachePath(), "hang"), u"ModTime"), nullptr);
  m.Reset();
  // The next start believes the cache: no child process, no load, no wait.
  setenv("VANE_PROBE_HELPER", "/nonexistent/helper", 1);
  auto again = Create();
  list = vane::fileio::DescribePlugins(again.Get());
  EXPECT_EQ(Find(list, "crash")->state, "hidden");
  EXPECT_EQ(Find(list, "hang")->state, "hidden");
}

TEST_F(ManagerTest, CacheKeepsAtMostSixteenClassesOfAModule) {
  Install({"many"});
  EXPECT_EQ(Create()->GetReaderCount(), 17);
  EXPECT_EQ(Create()->GetReaderCount(), 16);
}

TEST_F(ManagerTest, FirstModuleOfferingAClassWinsUnlessDuplicatesAllowed) {
  Install({"dupa", "dupb"});
  {
    auto m = Create();
    EXPECT_EQ(m->GetReaderCount(), 1);
    EXPECT_EQ(Probe(m.Get(), File("x.bin", "DUPB")).first, ZOERR_UNSUPPORTED_FORMAT);
    EXPECT_EQ(Probe(m.Get(), File("y.bin", "DUPA")).first, S_OK);
  }
  Install({"dupa", "dupc"});
  auto m = Create(vane::fileio::kCreateRebuild);
  EXPECT_EQ(m->GetReaderCount(), 2);
  EXPECT_EQ(Probe(m.Get(), File("z.bin", "DUPC")).first, S_OK);
}

TEST_F(ManagerTest, NotInitialisedAnswerBecomesTheFallback) {
  Install({"uninit", "alpha"});
  auto m = Create();
  HANDLE h = CreateFileW(File("x.uni", "unknown bytes here").c_str(), GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0,
                         nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  LONG index = -1;
  EXPECT_EQ(m->FindReaderForHandle(h, File("x.uni", "unknown bytes here").c_str(), &index, 0),
            ZOERR_PLUGIN_NOT_INITIALIZED);
  ComPtr<IZoReadFileClass> cls;
  ASSERT_EQ(m->GetReadClassByIndex(cls.ReleaseAndGetAddressOf(), index), S_OK);
  GUID id{};
  cls->GetTypeID(&id);
  EXPECT_EQ(id, FakeReader(0x97000000));
  // A reader that does take the file wins, with the fallback noted.
  std::u16string alpha = File("y.uni", "ALPH....");
  HANDLE h2 = CreateFileW(alpha.c_str(), GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_EQ(m->FindReaderForHandle(h2, alpha.c_str(), &index, 0), MakeStatus(0x0004E016));
  CloseHandle(h);
  CloseHandle(h2);
}

TEST_F(ManagerTest, ConfiguredMeritOverridesTheProbe) {
  std::string merit = vane::platform::GuidToString(FakeReader(0x98000000));
  Install({"alpha", "merit"}, "[merit]\nReader=" + merit + "\n" + merit + "=10\n");
  auto m = Create();
  ProbeStage stage;
  auto [hr, reader] = Probe(m.Get(), File("a.alp", "ALPH"), &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(stage, ProbeStage::Merit);
  EXPECT_EQ(reader, FakeReader(0x98000000));
}

TEST_F(ManagerTest, MonikerIsCutForTheProbeAndHandedWholeToTheReader) {
  Install({"alpha"});
  auto m = Create();
  std::u16string name = File("song.alp", "ALPH") + u"?x=1";
  ComPtr<IZoReadFile> f;
  ASSERT_EQ(m->OpenReadFile(name.c_str(), f.ReleaseAndGetAddressOf(), 0), S_OK);
  WCHAR got[600] = {};
  ASSERT_EQ(f->GetFileName(got, 600), S_OK);
  EXPECT_EQ(std::u16string(got), name);
  // A file whose own name holds the "?" is opened by it.
  std::u16string literal = File("odd.dat?x=1", "ALPH");
  ASSERT_EQ(m->OpenReadFile(literal.c_str(), f.ReleaseAndGetAddressOf(), 0), S_OK);
  // Long names are taken up to the platform's limit: this one is simply not there.
  std::u16string deep = FromUtf8(m_dir.path().string());
  for (int i = 0; i < 3; ++i) deep += u"/" + std::u16string(200, char16_t(u'a' + i));
  EXPECT_EQ(m->OpenReadFile((deep + u".alp").c_str(), f.ReleaseAndGetAddressOf(), 0),
            HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  std::u16string tooLong = u"/" + std::u16string(5000, u'a');
  EXPECT_EQ(m->OpenReadFile(tooLong.c_str(), f.ReleaseAndGetAddressOf(), 0), ZOERR_BUFFER_TOO_SMALL);
}

TEST_F(ManagerTest, TableStageReachesTheIdentifiedClassFirst) {
  Install({"alpha", "wavex"});
  auto m = Create();
  vane::fileio::SetQuickIdentifyForTests([](HANDLE, LPCWSTR, DWORD, DWORD* type) -> BOOL {
    *type = 2;
    return TRUE;
  });
  ProbeStage stage;
  auto [hr, reader] = Probe(m.Get(), File("t.alp", "RIFF\x10\0\0\0WAVEfmt "), &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(stage, ProbeStage::Table);
  EXPECT_EQ(reader, GUID_VaneWaveReader);
  // When the identified class refuses, the later stages still run.
  std::tie(hr, reader) = Probe(m.Get(), File("u.alp", "ALPH plus"), &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(stage, ProbeStage::Extension);
}

struct BadFileCase {
  const char* name;
  std::string bytes;
  HRESULT expected;
};
void PrintTo(const BadFileCase& c, std::ostream* os) { *os << c.name; }

class ManagerBadFileTest : public ManagerTest, public ::testing::WithParamInterface<BadFileCase> {};

TEST_P(ManagerBadFileTest, GivesTheDefinedStatus) {
  Install({"alpha"});
  auto m = Create();
  auto [hr, reader] = Probe(m.Get(), File("f.bin", GetParam().bytes));
  EXPECT_EQ(hr, GetParam().expected) << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(
    Files, ManagerBadFileTest,
    ::testing::Values(BadFileCase{"empty", "", ZOERR_UNSUPPORTED_FORMAT},
                      BadFileCase{"under 12 bytes passes the filter", std::string("RIFF\0\0\0\0ZOX", 11),
                                  ZOERR_UNSUPPORTED_FORMAT},
                      BadFileCase{"project riff", std::string("RIFF\x10\0\0\0ZOXXdata", 16), ZOERR_APP_FILETYPE},
                      BadFileCase{"riff of size 0", std::string("RIFF\0\0\0\0WAVEfmt ", 16), ZOERR_APP_FILETYPE},
                      BadFileCase{"midi", std::string("MThd\0\0\0\x06\0\0\0\x01", 12), ZOERR_APP_FILETYPE}),
    [](const auto& info) {
      std::string n = info.param.name;
      for (char& c : n)
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
      return n;
    });

TEST_F(ManagerTest, MissingAndUnreadableFilesGiveTheSystemError) {
  Install({"alpha"});
  auto m = Create();
  ComPtr<IZoReadFile> f;
  std::u16string missing = FromUtf8((m_dir / "nope.alp").string());
  EXPECT_EQ(m->OpenReadFile(missing.c_str(), f.ReleaseAndGetAddressOf(), 0), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  fs::create_directory(m_dir / "folder.alp");
  HRESULT hr = m->OpenReadFile(FromUtf8((m_dir / "folder.alp").string()).c_str(), f.ReleaseAndGetAddressOf(), 0);
  EXPECT_TRUE(FAILED(hr));
  EXPECT_EQ(HRESULT(hr & 0xFFFF0000), HRESULT(0x80070000)) << std::hex << hr;
}

TEST_F(ManagerTest, BadConfigurationAndModulesAreSkippedWithAState) {
  std::ofstream(m_dir / "plugins" / "notelf.so") << "this is not a module";
  Install({"alpha", "noentry"},
          "[FileIO Plug-Ins]\nmissing=missing.so\nnotelf=notelf.so\n= \ngarbage line without equals\n[[[\n");
  auto m = Create();
  ASSERT_TRUE(m);
  auto list = vane::fileio::DescribePlugins(m.Get());
  EXPECT_EQ(Find(list, "missing"), nullptr);
  ASSERT_NE(Find(list, "noentry"), nullptr);
  EXPECT_EQ(Find(list, "noentry")->state, "hidden");
  ASSERT_NE(Find(list, "notelf"), nullptr);
  EXPECT_EQ(Find(list, "notelf")->state, "hidden");
  EXPECT_EQ(m->GetReaderCount(), 1);
}

TEST_F(ManagerTest, GarbageOrTruncatedCacheIsRebuilt) {
  Install({"alpha", "beta"});
  std::u16string cachePath;
  {
    auto m = Create();
    cachePath = Impl(m)->CachePath();
  }
  std::string good;
  {
    std::ifstream in(ToUtf8(cachePath));
    good.assign(std::istreambuf_iterator<char>(in), {});
  }
  for (const std::string& bad : {good.substr(0, good.size() / 2), std::string("\xff\xfe[\0garbage=\x01\x02]]\n", 17)}) {
    std::ofstream(ToUtf8(cachePath), std::ios::binary | std::ios::trunc) << bad;
    auto m = Create();
    EXPECT_EQ(m->GetReaderCount(), 2);
    EXPECT_EQ(Probe(m.Get(), File("x.bet", "BETA")).first, S_OK);
  }
}

TEST_F(ManagerTest, ExtensionSearchTreatsMinusOneAsZeroAndRefusesBelow) {
  Install({"alpha", "beta"});
  auto m = Create();
  ComPtr<IZoReadFileClass> a, b;
  LONG p1 = -1, p2 = 0, p3 = -2;
  EXPECT_EQ(m->FindReadClassByExtension(a.ReleaseAndGetAddressOf(), u".AL2", &p1), S_OK);
  EXPECT_EQ(m->FindReadClassByExtension(b.ReleaseAndGetAddressOf(), u"al2", &p2), S_OK);
  EXPECT_EQ(p1, p2);
  EXPECT_EQ(a.Get(), b.Get());
  EXPECT_EQ(m->FindReadClassByExtension(a.ReleaseAndGetAddressOf(), u"alp", &p3), E_INVALIDARG);
  LONG p4 = p1 + 1;
  EXPECT_EQ(m->FindReadClassByExtension(a.ReleaseAndGetAddressOf(), u"alp", &p4), ZOERR_UNSUPPORTED_FORMAT);
  EXPECT_EQ(p4, p1 + 1);
  ComPtr<IZoRenderFileClass> r;
  LONG rp = -1;
  EXPECT_EQ(m->FindRenderClassByExtension(r.ReleaseAndGetAddressOf(), u"alp", &rp), S_OK);
  EXPECT_EQ(m->FindRenderClassByExtension(r.ReleaseAndGetAddressOf(), nullptr, &rp), ZOERR_UNSUPPORTED_FORMAT);
}

TEST_F(ManagerTest, MetricsLiveInMemoryOrInTheMetricFile) {
  auto m = Create(vane::fileio::kCreateNoDiscovery);
  DWORD v = 0;
  EXPECT_EQ(m->SetMetric(22, 7), S_OK);
  EXPECT_EQ(m->GetMetric(22, &v), S_OK);
  EXPECT_EQ(v, 7u);
  EXPECT_EQ(m->SetMetric(54, 1), E_UNEXPECTED);
  EXPECT_EQ(m->GetMetric(-100, &v), ZOERR_NOT_FOUND);
  EXPECT_EQ(m->SetMetric(-100, 61453), S_OK);
  EXPECT_EQ(m->GetMetric(-100, &v), S_OK);
  EXPECT_EQ(v, 61453u);
  EXPECT_EQ(m->SetMetricText(10, u"x"), E_INVALIDARG);
  EXPECT_EQ(m->SetMetricText(100, u"hello"), S_OK);
  WCHAR text[16];
  DWORD len = 0;
  EXPECT_EQ(m->GetMetricText(100, text, 16, &len), S_OK);
  EXPECT_EQ(std::u16string(text), u"hello");
  LONG in[4] = {5, -6, 0, 0}, out[4] = {9, 9, 9, 9};
  EXPECT_EQ(m->SetMetricBinary(101, in, sizeof in), S_OK);
  DWORD bytes = 0;
  EXPECT_EQ(m->GetMetricBinary(101, out, sizeof out, &bytes), S_OK);
  EXPECT_EQ(bytes, 8u);  // trailing zero values are dropped
  EXPECT_EQ(out[1], -6);
  EXPECT_EQ(out[3], 0);
  EXPECT_EQ(m->DeleteMetric(100, 1), S_OK);
  EXPECT_EQ(m->GetMetricText(100, text, 16, &len), ZOERR_NOT_FOUND);
  EXPECT_EQ(ZoFio_GetMetric(m.Get(), -555, 3, 5, 9), 5);
}

TEST_F(ManagerTest, KeyedInfoFiltersClassesAndSkipsModuleNames) {
  Install({"alpha", "beta", "gamma"});
  const GUID keep[] = {FakeId(0xA1000000), FakeId(0xB2000000)};
  const WCHAR* skip[] = {u"beta.so"};
  _ZOFIO_KEYED_INFO info{};
  info.guids = keep;
  info.guidCount = 2;
  info.filterFlags = ZOFIO_FILTER_KEEP_LISTED;
  info.skipCount = 1;
  info.skipNames = skip;
  info.metrics.mask = 1ull << 22;
  info.metrics.values[22] = 1;
  ComPtr<IZoFileIOMgrForApp> m;
  ASSERT_EQ(ZOFileIO_CreateInstance(m.ReleaseAndGetAddressOf(), 0, &info), S_OK);
  EXPECT_EQ(m->GetReaderCount(), 1);  // gamma filtered out, beta never discovered
  EXPECT_EQ(ZoFio_GetMetric(m.Get(), 22, 0), 1u);
  info.filterFlags = 0;  // drop the listed ones instead
  ASSERT_EQ(ZOFileIO_CreateInstance(m.ReleaseAndGetAddressOf(), 0, &info), S_OK);
  EXPECT_EQ(m->GetReaderCount(), 1);
  EXPECT_EQ(Probe(m.Get(), File("g.gam", "GAMM")).first, S_OK);
}

TEST_F(ManagerTest, NameArrayCreationUsesOnlyTheListedModules) {
  Install({"alpha", "beta"});
  std::u16string alpha = FromUtf8((m_dir / "plugins" / "alpha.so").string());
  const WCHAR* names[] = {alpha.c_str(), u"/nonexistent/module.so"};
  ComPtr<IZoFileIOMgrForApp> m;
  ASSERT_EQ(ZOFileIO_CreateInstance(m.ReleaseAndGetAddressOf(), 0, names, 2), S_OK);
  EXPECT_EQ(m->GetReaderCount(), 1);
  ZOFIO_PLUGININFO info{};
  info.cbSize = sizeof info;
  EXPECT_EQ(m->GetPluginInfo(FakeId(0xA1000000), &info), S_OK);
  EXPECT_EQ(std::u16string(info.modulePath), alpha);
  info.cbSize = 593;
  EXPECT_EQ(m->GetPluginInfo(FakeId(0xA1000000), &info), E_FAIL);
}

}  // namespace

namespace {

TEST_F(ManagerTest, DamagedClassSectionsAreInitialisedAgainAndRepaired) {
  Install({"alpha", "pair"});
  std::u16string cachePath;
  {
    auto m = Create();
    cachePath = Impl(m)->CachePath();
    EXPECT_EQ(m->GetReaderCount(), 3);
  }
  const std::u16string alphaClass = ClassSection(cachePath, "alpha", FakeId(0xA1000000));
  const std::u16string pairSecond = ClassSection(cachePath, "pair", FakeId(0x9F000001));
  EditCache(cachePath, alphaClass, u"Access", nullptr);
  EditCache(cachePath, pairSecond, u"ModTime", u"1");
  {
    auto m = Create();
    EXPECT_EQ(m->GetReaderCount(), 3);
    EXPECT_EQ(m->GetRendererCount(), 1);
    // Each class keeps its own reader id and texts, none of its sibling's.
    for (DWORD id : {0xA1000000u, 0x9F000000u, 0x9F000001u}) {
      ComPtr<IZoReadFileClass> cls;
      EXPECT_EQ(m->GetReadClassByGuid(cls.ReleaseAndGetAddressOf(), FakeReader(id)), S_OK) << std::hex << id;
    }
    EXPECT_EQ(Probe(m.Get(), File("x.alp", "ALPH")).first, S_OK);
  }
  auto cache = vane::platform::LoadIniSnapshot(ToUtf8(cachePath));
  ASSERT_TRUE(cache);
  ASSERT_NE(cache->Find(alphaClass, u"Access"), nullptr);
  EXPECT_EQ(*cache->Find(alphaClass, u"Access"), u"48");
  ASSERT_NE(cache->Find(pairSecond, u"ModTime"), nullptr);
  EXPECT_EQ(*cache->Find(pairSecond, u"ModTime"), *cache->Find(Section(cachePath, "pair"), u"ModTime"));
  ASSERT_NE(cache->Find(pairSecond, u"Reader"), nullptr);
  EXPECT_EQ(*cache->Find(pairSecond, u"Reader"), vane::platform::GuidToU16String(FakeReader(0x9F000001)));
  // The repaired cache holds: a third start reads it whole.
  auto m = Create();
  EXPECT_EQ(m->GetReaderCount(), 3);
  EXPECT_EQ(m->GetRendererCount(), 1);
}

}  // namespace

namespace {

// Runs `work` on another thread and gives up on the whole test program when
// it does not finish: a deadlocked manager cannot be torn down.
template <typename F>
auto WithinSeconds(int seconds, F work) {
  auto done = std::async(std::launch::async, std::move(work));
  if (done.wait_for(std::chrono::seconds(seconds)) != std::future_status::ready) {
    ADD_FAILURE() << "did not finish within " << seconds << " s";
    std::fflush(stdout);
    std::_Exit(1);
  }
  return done.get();
}

TEST_F(ManagerTest, PluginMayCallTheManagerFromItsInitialisation) {
  Install({"alpha", "caller"});
  for (DWORD flags : {DWORD(0), DWORD(0), vane::fileio::kCreateRebuild}) {
    auto states = WithinSeconds(30, [&] {
      auto m = Create(flags);
      ComPtr<IZoReadFileClass> cls;
      HRESULT hr = m->GetReadClassByGuid(cls.ReleaseAndGetAddressOf(), FakeReader(0x9B000000));
      auto list = vane::fileio::DescribePlugins(m.Get());
      return std::make_tuple(hr, Find(list, "caller")->state, Find(list, "alpha")->state);
    });
    EXPECT_EQ(std::get<0>(states), S_OK) << flags;
    EXPECT_EQ(std::get<1>(states), "ready");
    EXPECT_EQ(std::get<2>(states), "ready");  // looked up from inside SetIOManager
  }
}

}  // namespace

namespace {

// Reader classes in type-index order, and the reader a file of Alpha's kind goes to.
std::pair<std::vector<GUID>, GUID> ReaderOrder(IZoFileIOMgrForApp* m, const std::u16string& file) {
  std::vector<GUID> order;
  for (auto* e : static_cast<vane::fileio::CZoFileIOManager*>(m)->SortedReaders()) order.push_back(e->classId);
  vane::fileio::ProbeReport r;
  vane::fileio::ProbeFile(m, file.c_str(), &r);
  return {order, r.reader};
}

TEST_F(ManagerTest, RankOrderIsTheSameOnEveryKindOfStart) {
  // Ranked's reader id stands high in the rank table, its class id sorts
  // after Alpha's: only a sort that knows reader ids puts it first.
  Install({"alpha", "beta"});
  { auto m = Create(); }
  Install({"alpha", "beta", "ranked"});
  std::u16string file = File("x.dat", "ALPH and more");
  const std::vector<GUID> expected = {FakeId(0xFF000000), FakeId(0xA1000000), FakeId(0xB2000000)};
  // The start that probes the new module, the cached start, a rebuild and a
  // start without the cache.
  for (DWORD flags : {DWORD(0), DWORD(0), vane::fileio::kCreateRebuild, vane::fileio::kCreateNoCache}) {
    auto m = Create(flags);
    auto [order, reader] = ReaderOrder(m.Get(), file);
    EXPECT_EQ(order, expected) << "flags " << flags;
    EXPECT_EQ(reader, GUID_VaneWave64Reader) << "flags " << flags;
  }
}

}  // namespace

namespace {

TEST_F(ManagerTest, AddingCandidatesAgainKeepsEachModuleOnce) {
  Install({"pair", "beta"});
  std::u16string pair = FromUtf8((m_dir / "plugins" / "pair.so").string());
  std::u16string beta = FromUtf8((m_dir / "plugins" / "beta.so").string());
  const WCHAR* first[] = {pair.c_str()};
  const WCHAR* both[] = {pair.c_str(), beta.c_str()};
  ComPtr<IZoFileIOMgrForApp> m;
  ASSERT_EQ(ZOFileIO_CreateInstance(m.ReleaseAndGetAddressOf(), 0, first, 1), S_OK);
  ComPtr<IZoReadFileClass> held;
  ASSERT_EQ(m->GetReadClassByGuid(held.ReleaseAndGetAddressOf(), FakeReader(0x9F000000)), S_OK);
  for (int round = 0; round < 2; ++round) {
    BOOL allCached = FALSE;
    ASSERT_EQ(m->AddCandidates(nullptr, both, 2, 0, &allCached), S_OK);
    ASSERT_EQ(m->AttachPluginList(nullptr, 0, nullptr, 0), S_OK);
    EXPECT_EQ(vane::fileio::DescribePlugins(m.Get()).size(), 3u) << "round " << round;
    EXPECT_EQ(m->GetReaderCount(), 3);
  }
  // The class handed out before is still the one the manager holds.
  ComPtr<IZoReadFileClass> again;
  ASSERT_EQ(m->GetReadClassByGuid(again.ReleaseAndGetAddressOf(), FakeReader(0x9F000000)), S_OK);
  EXPECT_EQ(again.Get(), held.Get());
  held.Reset();
  again.Reset();
  m.Reset();  // every class released once (the sanitizer build checks)
}

}  // namespace

namespace {

TEST_F(ManagerTest, MissingProbeHelperHidesNewModulesForThisStartOnly) {
  Install({"alpha"});
  setenv("VANE_PROBE_HELPER", (m_dir / "no-such-helper").c_str(), 1);
  size_t before = vane::fileio::detail::ModuleLoadCount();
  std::u16string cachePath;
  {
    auto m = Create();
    cachePath = Impl(m)->CachePath();
    EXPECT_EQ(vane::fileio::detail::ModuleLoadCount(), before);  // never loaded in process
    EXPECT_EQ(m->GetReaderCount(), 0);
    auto list = vane::fileio::DescribePlugins(m.Get());
    ASSERT_NE(Find(list, "alpha"), nullptr);
    EXPECT_EQ(Find(list, "alpha")->state, "hidden");
    EXPECT_NE(Find(list, "alpha")->reason.find("no-such-helper"), std::string::npos) << Find(list, "alpha")->reason;
  }
  auto cache = vane::platform::LoadIniSnapshot(ToUtf8(cachePath));
  EXPECT_EQ(Section(cachePath, "alpha"), u"(no section)");
  // With the helper back the module is probed and found.
  setenv("VANE_PROBE_HELPER", VANE_PROBE_HELPER_PATH, 1);
  auto m = Create();
  EXPECT_EQ(m->GetReaderCount(), 1);
  EXPECT_EQ(Find(vane::fileio::DescribePlugins(m.Get()), "alpha")->reason, "");
}

}  // namespace

namespace {

TEST_F(ManagerTest, ClassThatCannotBeMadeGivesItsOwnStatus) {
  // Making its reader class fails; it sorts before Alpha.
  Install({"nocreate", "alpha"});
  auto m = Create();
  ComPtr<IZoReadFileClass> cls;
  EXPECT_EQ(m->GetReadClassByGuid(cls.ReleaseAndGetAddressOf(), FakeId(0x9C000000)), E_ACCESSDENIED);
  auto list = vane::fileio::DescribePlugins(m.Get());
  EXPECT_EQ(Find(list, "nocreate")->state, "failed");
  EXPECT_NE(Find(list, "nocreate")->reason.find("80070005"), std::string::npos) << Find(list, "nocreate")->reason;
  // A file another reader takes is simply taken: no fallback is noted.
  std::u16string alpha = File("x.dat", "ALPH....");
  HANDLE h = CreateFileW(alpha.c_str(), GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  LONG index = -1;
  EXPECT_EQ(m->FindReaderForHandle(h, alpha.c_str(), &index, 0), S_OK);
  CloseHandle(h);
  // Unknown bytes still go to the by-name probe.
  ProbeStage stage;
  auto [hr, reader] = Probe(m.Get(), File("y.alp", "unknown bytes"), &stage);
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(stage, ProbeStage::Name);
  EXPECT_EQ(reader, FakeReader(0xA1000000));
}

}  // namespace

namespace {

TEST_F(ManagerTest, ProbeKeepsModulesThatPrintAndCatchesCrashesInClassCode) {
  Install({"printer", "crashtext", "alpha"});
  size_t before = vane::fileio::detail::ModuleLoadCount();
  auto m = Create();
  auto list = vane::fileio::DescribePlugins(m.Get());
  // What a plug-in prints while loading is not taken for the report.
  EXPECT_EQ(Find(list, "printer")->state, "not loaded");
  EXPECT_EQ(Find(list, "printer")->reader, FakeReader(0x9D000000));
  // GetInfoText crashes: only the child died, and the module stays out.
  EXPECT_EQ(Find(list, "crashtext")->state, "hidden");
  EXPECT_NE(Find(list, "crashtext")->reason.find("crashed"), std::string::npos);
  EXPECT_EQ(vane::fileio::detail::ModuleLoadCount(), before);
  EXPECT_EQ(m->GetReaderCount(), 2);
  EXPECT_EQ(Probe(m.Get(), File("p.prn", "PRNT")).first, S_OK);
}

TEST_F(ManagerTest, HelperThatGivesNoReportDoesNotCondemnTheModule) {
  Install({"alpha"});
  setenv("VANE_PROBE_HELPER", "/bin/true", 1);
  {
    auto m = Create();
    EXPECT_EQ(m->GetReaderCount(), 0);
    EXPECT_NE(Find(vane::fileio::DescribePlugins(m.Get()), "alpha")->reason.find("no usable report"),
              std::string::npos);
  }
  setenv("VANE_PROBE_HELPER", VANE_PROBE_HELPER_PATH, 1);
  EXPECT_EQ(Create()->GetReaderCount(), 1);
}

}  // namespace

namespace {

// The class objects a loaded test module has made so far ('R' reader, 'W' renderer).
std::string CreatedBy(const fs::path& module) {
  void* h = ::dlopen(module.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (!h) return "(not loaded)";
  auto created = reinterpret_cast<const char* (*)()>(::dlsym(h, "FakeCreated"));
  std::string out = created ? created() : "(no log)";
  ::dlclose(h);
  return out;
}

TEST_F(ManagerTest, LookingUpOneKindMakesBothRendererFirst) {
  Install({"alpha"});
  auto m = Create();
  ComPtr<IZoReadFileClass> reader;
  ASSERT_EQ(m->GetReadClassByGuid(reader.ReleaseAndGetAddressOf(), FakeReader(0xA1000000)), S_OK);
  EXPECT_EQ(CreatedBy(m_dir / "plugins" / "alpha.so"), "WR");
  ComPtr<IZoRenderFileClass> renderer;
  ASSERT_EQ(m->GetRenderClassByIndex(renderer.ReleaseAndGetAddressOf(), 0), S_OK);
  EXPECT_EQ(CreatedBy(m_dir / "plugins" / "alpha.so"), "WR");  // nothing made twice
}

TEST_F(ManagerTest, SixteenClassLimitDropsTheSeventeenthAndTheOrderHolds) {
  Install({"many"});
  std::vector<std::u16string> firstKeys;
  for (int start = 0; start < 3; ++start) {
    auto m = Create();
    EXPECT_EQ(m->GetReaderCount(), start == 0 ? 17 : 16) << start;
    EXPECT_EQ(m->IsPluginKnown(FakeId(0xE6000000)), S_OK) << start;
    if (start > 0) {
      EXPECT_EQ(m->IsPluginKnown(FakeId(0xE6000010)), ZOERR_NOT_FOUND) << start;
    }
    auto cache = vane::platform::LoadIniSnapshot(ToUtf8(Impl(m)->CachePath()));
    ASSERT_TRUE(cache);
    std::vector<std::u16string> classKeys;
    for (const auto& k : cache->Keys(Section(Impl(m)->CachePath(), "many")))
      if (!k.empty() && k.front() == u'{') classKeys.push_back(k);
    ASSERT_FALSE(classKeys.empty());
    EXPECT_EQ(classKeys.front(), vane::platform::GuidToU16String(FakeId(0xE6000000))) << start;
    if (start == 0) {
      firstKeys = classKeys;
    } else {
      ASSERT_GE(classKeys.size(), 16u);
      EXPECT_EQ(std::vector<std::u16string>(classKeys.begin(), classKeys.begin() + 16),
                std::vector<std::u16string>(firstKeys.begin(), firstKeys.begin() + 16))
          << start;
    }
  }
}

TEST_F(ManagerTest, ZeroEnumerableWordDoesNotHideAClass) {
  Install({"sulky"});
  EXPECT_EQ(Create()->GetReaderCount(), 1);
  EXPECT_EQ(Create()->GetReaderCount(), 1);  // and so from the cache
}

int g_boxes = 0;
std::u16string g_boxText;
UINT g_boxStyle = 0;
int RecordBox(HWND, LPCWSTR text, LPCWSTR, UINT style, void*) {
  ++g_boxes;
  g_boxText = text ? text : u"";
  g_boxStyle = style;
  return IDOK;
}

TEST_F(ManagerTest, StatusHelpersAskTheClassAndReportThroughTheHostsHandler) {
  Install({"alpha", "sulky"});
  auto m = Create();
  ComPtr<IZoReadFileClass> good, sulky;
  ComPtr<IZoRenderFileClass> renderer;
  ASSERT_EQ(m->GetReadClassByGuid(good.ReleaseAndGetAddressOf(), FakeReader(0xA1000000)), S_OK);
  ASSERT_EQ(m->GetReadClassByGuid(sulky.ReleaseAndGetAddressOf(), FakeReader(0x96000000)), S_OK);
  ASSERT_EQ(m->GetRenderClassByIndex(renderer.ReleaseAndGetAddressOf(), 0), S_OK);
  EXPECT_TRUE(ZoFio_IsPluginAccessible(good.Get()));
  EXPECT_TRUE(ZoFio_IsPluginAccessible(renderer.Get()));  // GetStatus not implemented
  EXPECT_FALSE(ZoFio_IsPluginAccessible(sulky.Get()));
  g_boxes = 0;
  ZoKernel_SetMessageBoxHandler(&RecordBox, nullptr);
  EXPECT_EQ(ZoFio_DisclosePluginProblems(good.Get(), nullptr), S_OK);
  EXPECT_EQ(g_boxes, 0);
  EXPECT_EQ(ZoFio_DisclosePluginProblems(sulky.Get(), nullptr), S_OK);
  ZoKernel_SetMessageBoxHandler(nullptr, nullptr);
  EXPECT_EQ(g_boxes, 1);
  EXPECT_NE(g_boxText.find(u"licence expired"), std::u16string::npos);
  EXPECT_NE(g_boxText.find(u"Sulky"), std::u16string::npos);
}

}  // namespace

namespace {

TEST_F(ManagerTest, EachEnumeratorCallGetsItsOwnCursor) {
  Install({"alpha", "beta"});
  auto m = Create();
  ComPtr<IZoFileIOTypeEnum> a, b;
  ASSERT_EQ(m->GetReaderEnum(a.ReleaseAndGetAddressOf()), S_OK);
  ASSERT_EQ(m->GetReaderEnum(b.ReleaseAndGetAddressOf()), S_OK);
  IUnknown* got[2] = {};
  ULONG fetched = 0;
  EXPECT_EQ(a->Next(2, got, &fetched), S_OK);
  EXPECT_EQ(fetched, 2u);
  for (IUnknown* u : got) u->Release();
  EXPECT_EQ(b->Next(1, got, &fetched), S_OK);  // not moved by a
  EXPECT_EQ(fetched, 1u);
  got[0]->Release();
  ComPtr<IZoFileIOTypeEnum> c;
  ASSERT_EQ(b->Clone(c.ReleaseAndGetAddressOf()), S_OK);  // a clone starts where its source stands
  EXPECT_EQ(c->Next(2, got, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 1u);
  got[0]->Release();
  ComPtr<IZoFIOPluginEnum> p, q;
  ASSERT_EQ(m->GetPluginEnum(p.ReleaseAndGetAddressOf()), S_OK);
  ASSERT_EQ(m->GetPluginEnum(q.ReleaseAndGetAddressOf()), S_OK);
  ZOFIO_PLUGININFO info[2] = {};
  info[0].cbSize = info[1].cbSize = sizeof(ZOFIO_PLUGININFO);
  EXPECT_EQ(p->Next(2, info, &fetched), S_OK);
  EXPECT_EQ(q->Next(1, info, &fetched), S_OK);
  EXPECT_EQ(fetched, 1u);
}

TEST_F(ManagerTest, ThreadsOpeningFilesOfOneNewClassShareOneInstance) {
  Install({"alpha", "beta"});
  auto m = Create();
  std::vector<std::u16string> files;
  for (int i = 0; i < 8; ++i) files.push_back(File("f" + std::to_string(i) + ".bet", "BETA"));
  std::vector<std::thread> threads;
  std::atomic<int> opened{0};
  std::atomic<bool> go{false};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      while (!go) std::this_thread::yield();
      for (int round = 0; round < 4; ++round) {
        ComPtr<IZoReadFile> f;
        if (m->OpenReadFile(files[size_t((t + round) % 8)].c_str(), f.ReleaseAndGetAddressOf(), 0) == S_OK) ++opened;
      }
    });
  }
  go = true;
  for (auto& t : threads) t.join();
  EXPECT_EQ(opened, 32);
  EXPECT_EQ(CreatedBy(m_dir / "plugins" / "beta.so"), "R");
}

TEST_F(ManagerTest, TwoProcessesStartingTogetherLoseNoCacheSection) {
  Install({"alpha", "beta", "pair"});
  std::vector<pid_t> children;
  for (int i = 0; i < 2; ++i) {
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      ComPtr<IZoFileIOMgrForApp> m;
      HRESULT hr = ZOFileIO_CreateInstance(m.ReleaseAndGetAddressOf(), 0);
      LONG readers = SUCCEEDED(hr) ? m->GetReaderCount() : -1;
      m.Reset();
      std::_Exit(int(readers));
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 4);
  }
  // Every module was written: a start that cannot probe still finds them all.
  setenv("VANE_PROBE_HELPER", "/nonexistent/helper", 1);
  EXPECT_EQ(Create()->GetReaderCount(), 4);
}

}  // namespace

namespace {

TEST_F(ManagerTest, ModulesOfOneNameInTwoFoldersKeepTwoSections) {
  Install({"beta"});
  fs::create_directories(m_dir / "plugins2");
  fs::copy_file(fs::path(VANE_TEST_PLUGIN_DIR) / "alpha.so", m_dir / "plugins2" / "beta.so");
  std::ofstream(m_dir / "plugins2" / "other.Fio2007-Config") << "[FileIO Plug-Ins]\nbeta=beta.so\n";
  setenv("VANE_PLUGIN_PATH", ((m_dir / "plugins").string() + ":" + (m_dir / "plugins2").string()).c_str(), 1);
  std::u16string cachePath;
  {
    auto m = Create();
    cachePath = Impl(m)->CachePath();
    EXPECT_EQ(m->GetReaderCount(), 2);
  }
  auto text = [&] {
    std::ifstream in(ToUtf8(cachePath));
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  // Both come from the cache now, and the cache settles.
  setenv("VANE_PROBE_HELPER", "/nonexistent/helper", 1);
  EXPECT_EQ(Create()->GetReaderCount(), 2);
  std::string settled = text();
  EXPECT_EQ(Create()->GetReaderCount(), 2);
  EXPECT_EQ(text(), settled);
}

}  // namespace

namespace {

bool StartsWith(const std::string& s, const fs::path& folder) { return s.rfind(folder.string() + "/", 0) == 0; }

TEST_F(ManagerTest, LockFileLivesInAPrivateFolderAndIsNeverFollowed) {
  using vane::fileio::detail::NamedMutex;
  fs::create_directories(m_dir / "tmp");
  struct RestoreTmp {
    std::string old;
    bool had;
    RestoreTmp() : old(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : ""), had(std::getenv("TMPDIR")) {}
    ~RestoreTmp() { had ? setenv("TMPDIR", old.c_str(), 1) : unsetenv("TMPDIR"); }
  } restore;
  setenv("TMPDIR", (m_dir / "tmp").c_str(), 1);
  unsetenv("XDG_RUNTIME_DIR");
  {
    // No runtime folder: a private one under the cache home, never the shared temp folder.
    NamedMutex mutex("Local_lock test one");
    EXPECT_TRUE(StartsWith(mutex.LockPath(), m_dir / "cache" / "vane-locks")) << mutex.LockPath();
    mutex.Lock();
    mutex.Unlock();
    EXPECT_EQ(fs::status(m_dir / "cache" / "vane-locks").permissions() & fs::perms::all, fs::perms::owner_all);
    Install({"alpha"});
    EXPECT_EQ(Create()->GetReaderCount(), 1);
    EXPECT_TRUE(fs::is_empty(m_dir / "tmp"));
  }
  {
    // A runtime folder others may write is not used.
    fs::create_directories(m_dir / "shared");
    fs::permissions(m_dir / "shared", fs::perms::all);
    setenv("XDG_RUNTIME_DIR", (m_dir / "shared").c_str(), 1);
    NamedMutex mutex("Local_lock test two");
    EXPECT_FALSE(StartsWith(mutex.LockPath(), m_dir / "shared")) << mutex.LockPath();
  }
  {
    // A link put where the lock file goes is not followed.
    fs::create_directories(m_dir / "run");
    fs::permissions(m_dir / "run", fs::perms::owner_all);
    setenv("XDG_RUNTIME_DIR", (m_dir / "run").c_str(), 1);
    NamedMutex mutex("Local_lock test three");
    ASSERT_TRUE(StartsWith(mutex.LockPath(), m_dir / "run")) << mutex.LockPath();
    fs::create_symlink(m_dir / "target", mutex.LockPath());
    mutex.Lock();
    mutex.Unlock();
    EXPECT_FALSE(fs::exists(m_dir / "target"));
  }
}

}  // namespace

namespace {

TEST_F(ManagerTest, CandidateListFromTheHelperCanBeGivenToAManager) {
  Install({"alpha", "pair", "beta"});
  std::string plugins = (m_dir / "plugins").string();
  void* list = nullptr;
  ASSERT_EQ(ZoFio_SetPluginCandidateDLLs(&list, {FromUtf8(plugins + "/alpha.so"), FromUtf8(plugins + "/pair.so")}),
            S_OK);
  auto m = Create(vane::fileio::kCreateNoDiscovery);
  ASSERT_EQ(m->GetReaderCount(), 0);
  BOOL allCached = TRUE;
  ASSERT_EQ(m->LoadPluginList(list, 0, &allCached), S_OK);
  EXPECT_FALSE(allCached);  // probed
  const std::u16string beta = FromUtf8(plugins + "/beta.so");
  const WCHAR* more[] = {beta.c_str()};
  ASSERT_EQ(m->AddCandidates(list, more, 1, 0, &allCached), S_OK);
  ASSERT_EQ(m->AttachPluginList(list, 0, nullptr, 0), S_OK);
  EXPECT_EQ(m->GetReaderCount(), 4);
  EXPECT_EQ(Probe(m.Get(), File("x.par", "PAIR")).first, S_OK);
  ZoFio_FreePluginCandidateList(list);  // left empty by the manager
  // A second list naming a module the manager has already adds only the new one.
  list = nullptr;
  ASSERT_EQ(ZoFio_SetPluginCandidateDLLs(&list, {FromUtf8(plugins + "/alpha.so")}), S_OK);
  ASSERT_EQ(m->LoadPluginList(list, 0, &allCached), S_OK);
  ASSERT_EQ(m->AttachPluginList(list, 0, nullptr, 0), S_OK);
  EXPECT_EQ(m->GetReaderCount(), 4);
  ZoFio_FreePluginCandidateList(list);
}

}  // namespace

namespace {

TEST_F(ManagerTest, ModulePathLongerThanTheRecordIsKeptAndSaidSo) {
  fs::path deep = m_dir / "plugins";
  std::string rel;
  for (int i = 0; i < 2; ++i) {
    std::string part(150, char('k' + i));
    deep /= part;
    rel += part + "/";
  }
  fs::create_directories(deep);
  fs::copy_file(fs::path(VANE_TEST_PLUGIN_DIR) / "alpha.so", deep / "alpha.so");
  std::ofstream(m_dir / "plugins" / "deep.Fio2007-Config") << "[FileIO Plug-Ins]\nalpha=" << rel << "alpha.so\n";
  ASSERT_GT(FromUtf8((deep / "alpha.so").string()).size(), 259u);
  EXPECT_EQ(Create()->GetReaderCount(), 1);
  setenv("VANE_PROBE_HELPER", "/nonexistent/helper", 1);  // the cache holds it whole
  auto m = Create();
  EXPECT_EQ(m->GetReaderCount(), 1);
  ZOFIO_PLUGININFO info{};
  info.cbSize = sizeof info;
  EXPECT_EQ(m->GetPluginInfo(FakeId(0xA1000000), &info), ZOERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(std::u16string(info.modulePath), FromUtf8((deep / "alpha.so").string()).substr(0, 259));
  auto list = vane::fileio::DescribePlugins(m.Get());
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].module, FromUtf8((deep / "alpha.so").string()));
  EXPECT_NE(list[0].reason.find("259"), std::string::npos);
}

}  // namespace
