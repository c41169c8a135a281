// SPDX-License-Identifier: MIT
// Creating objects out of plug-in modules, and the failures on the way.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "kernel/instantiate.h"
#include "platform/file.h"
#include "platform/module.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace vane::kernel {
namespace {

constexpr CLSID kClass = VANE_GUID(0x6C1E0A52, 0x3F7B, 0x4C29, 0x9D, 0x0E, 0x8A, 0x41, 0xB7, 0xC2, 0xD9, 0x01);
constexpr CLSID kOtherClass = VANE_GUID(0x6C1E0A52, 0x3F7B, 0x4C29, 0x9D, 0x0E, 0x8A, 0x41, 0xB7, 0xC2, 0xD9, 0x02);

std::u16string Wide(const std::string& s) { return vane::platform::FromUtf8(s); }

std::string Cwd() {
  char buf[4096];
  return getcwd(buf, sizeof buf) ? buf : "";
}

TEST(Instantiate, CreatesFromFileInTheModulesFolderAndRestoresTheDirectory) {
  const std::string before = Cwd();
  IUnknown* object = nullptr;
  ASSERT_EQ(ZoDllCreateInstanceFromFile(Wide(VANE_TEST_PLUGIN).c_str(), kClass, nullptr, IID_IUnknown,
                                        reinterpret_cast<void**>(&object)),
            S_OK);
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(Cwd(), before);

  HMODULE module = LoadLibraryW(Wide(VANE_TEST_PLUGIN).c_str());
  ASSERT_NE(module, nullptr);
  auto loadDir = reinterpret_cast<const char* (*)()>(GetProcAddress(module, "TestPlugin_LoadDirectory"));
  auto live = reinterpret_cast<int (*)()>(GetProcAddress(module, "TestPlugin_LiveObjects"));
  ASSERT_TRUE(loadDir && live);
  EXPECT_EQ(std::filesystem::path(loadDir()), std::filesystem::path(VANE_TEST_PLUGIN).parent_path());
  EXPECT_EQ(live(), 1);
  object->Release();
  EXPECT_EQ(live(), 0);

  // The same module by handle.
  ASSERT_EQ(ZoDllCreateInstance(module, kClass, nullptr, IID_IUnknown, reinterpret_cast<void**>(&object)), S_OK);
  object->Release();
  FreeLibrary(module);
}

TEST(Instantiate, CreatesFromANameRelativeToTheCurrentDirectory) {
  const std::filesystem::path plugin(VANE_TEST_PLUGIN);
  const std::string before = Cwd();
  ASSERT_EQ(chdir(plugin.parent_path().parent_path().c_str()), 0);
  const std::string relative = (plugin.parent_path().filename() / plugin.filename()).string();
  IUnknown* object = nullptr;
  const HRESULT hr = ZoDllCreateInstanceFromFile(Wide(relative).c_str(), kClass, nullptr, IID_IUnknown,
                                                 reinterpret_cast<void**>(&object));
  const std::string during = Cwd();
  ASSERT_EQ(chdir(before.c_str()), 0);
  EXPECT_EQ(hr, S_OK) << relative;
  EXPECT_EQ(during, plugin.parent_path().parent_path().string()) << "the directory is restored";
  if (object) object->Release();
}

TEST(Instantiate, ExceptionFromTheModulesCodeInProcessBecomesUnexpected) {
  const std::string before = Cwd();
  void* object = reinterpret_cast<void*>(1);
  EXPECT_EQ(ZoDllCreateInstanceFromFile(Wide(VANE_TEST_THROWING).c_str(), kClass, nullptr, IID_IUnknown, &object),
            E_UNEXPECTED);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(Cwd(), before);
}

// The guard cannot reach code that the system loader runs: an exception from
// a module's static constructor does not pass back through the loader, and
// the process ends as it would for a crash. Probing new modules in a child
// process is what keeps the host alive. Should the loader ever let such an
// exception through, the guard turns it into 0x8000FFFF, and this test must
// say so instead.
TEST(InstantiateDeathTest, ExceptionFromAModulesConstructorEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        setenv("VANE_TEST_THROW_ON_LOAD", "1", 1);
        void* object = nullptr;
        const HRESULT hr = ZoDllCreateInstanceFromFile(Wide(VANE_TEST_THROWING).c_str(), kClass, nullptr,
                                                       IID_IUnknown, &object);
        std::fprintf(stderr, "returned %08X\n", unsigned(hr));
        std::_Exit(0);
      },
      testing::KilledBySignal(SIGABRT), "module constructor refuses to load");
}

TEST(Instantiate, FailuresComeBackAsStatuses) {
  void* object = reinterpret_cast<void*>(1);
  const std::u16string plugin = Wide(VANE_TEST_PLUGIN);
  // The entry's and the factory's failures pass through.
  EXPECT_EQ(ZoDllCreateInstanceFromFile(plugin.c_str(), kOtherClass, nullptr, IID_IUnknown, &object),
            CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(ZoDllCreateInstanceFromFile(plugin.c_str(), kClass, nullptr, IID_IClassFactory, &object), E_NOINTERFACE);
  IUnknown* outer = reinterpret_cast<IUnknown*>(&object);
  EXPECT_EQ(ZoDllCreateInstanceFromFile(plugin.c_str(), kClass, outer, IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
  // No entry, no module, no name.
  EXPECT_EQ(ZoDllCreateInstanceFromFile(Wide(VANE_TEST_NOENTRY).c_str(), kClass, nullptr, IID_IUnknown, &object),
            E_FAIL);
  EXPECT_EQ(ZoDllCreateInstanceFromFile(u"/no/such/folder/plugin.so", kClass, nullptr, IID_IUnknown, &object), E_FAIL);
  vane::test::ScratchDir dir;
  vane::test::WriteBytes(dir / "junk.so", {1, 2, 3, 4});
  EXPECT_EQ(
      ZoDllCreateInstanceFromFile(Wide((dir / "junk.so").string()).c_str(), kClass, nullptr, IID_IUnknown, &object),
      E_FAIL);
  EXPECT_EQ(ZoDllCreateInstanceFromFile(nullptr, kClass, nullptr, IID_IUnknown, &object), E_INVALIDARG);
  EXPECT_EQ(ZoDllCreateInstanceFromFile(std::u16string(300, u'a').c_str(), kClass, nullptr, IID_IUnknown, &object),
            HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE));
  EXPECT_EQ(ZoDllCreateInstanceFromFile(plugin.c_str(), kClass, nullptr, IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(ZoDllCreateInstance(nullptr, kClass, nullptr, IID_IUnknown, &object), E_FAIL);
}

}  // namespace
}  // namespace vane::kernel
