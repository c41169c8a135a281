// SPDX-License-Identifier: MIT
// The kernel's vane commands, run as a person or a script would: exit
// statuses, the text they print and the shape of their JSON.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <ostream>
#include <string>

#include "tests/support/test_files.h"

namespace vane::test {
namespace {

// The tool of this build: VANE_BUILD_DIR when the runner sets it, else the
// path the build compiled in.
std::string Vane() {
  const char* dir = std::getenv("VANE_BUILD_DIR");
  return ShellQuote(dir && *dir ? std::string(dir) + "/bin/vane" : std::string(VANE_TOOL_PATH));
}

int RunVane(const std::string& args, std::string* out = nullptr) {
  return RunCommand(Vane() + " " + args + (out ? " 2>/dev/null" : ""), out);
}

struct ExitCase {
  const char* args;
  int status;
};
void PrintTo(const ExitCase& c, std::ostream* os) { *os << "vane " << c.args << " exits " << c.status; }

class VaneKernelExit : public ::testing::TestWithParam<ExitCase> {};

TEST_P(VaneKernelExit, GivesTheDocumentedStatus) { EXPECT_EQ(RunVane(GetParam().args), GetParam().status); }

INSTANTIATE_TEST_SUITE_P(Commands, VaneKernelExit,
                         ::testing::Values(ExitCase{"help", 0}, ExitCase{"version", 0}, ExitCase{"version --json", 0},
                                           ExitCase{"version extra", 2}, ExitCase{"version --bogus", 2},
                                           ExitCase{"status 0x8004E00B", 0}, ExitCase{"status -2147467259", 0},
                                           ExitCase{"status 0x12345678", 1}, ExitCase{"status", 2},
                                           ExitCase{"status zz", 2}, ExitCase{"status 0x1 0x2", 2}, ExitCase{"demo", 0},
                                           ExitCase{"no-such-command", 2}),
                         [](const auto& info) {
                           std::string name = std::to_string(info.index) + "_";
                           for (const char* c = info.param.args; *c; ++c) name += std::isalnum(*c) ? *c : '_';
                           return name;
                         });

TEST(VaneStatus, PrintsTheTextWithoutLineFeeds) {
  std::string out;
  ASSERT_EQ(RunVane("status 0x8004E00B", &out), 0);
  EXPECT_EQ(out, "0x8004E00B: The file is most likely corrupted or of an unknown format.\n");
  ASSERT_EQ(RunCommand(Vane() + " status 0x12345678 2>&1", &out), 1);
  EXPECT_NE(out.find("0x12345678"), std::string::npos);
}

TEST(VaneVersion, JsonCarriesTheStableKeys) {
  std::string out;
  ASSERT_EQ(RunVane("version --json", &out), 0);
  EXPECT_NE(out.find("\"version\":\"13.0.373\""), std::string::npos) << out;
  EXPECT_NE(out.find("\"version_word\":218104181"), std::string::npos) << out;
  for (const char* key : {"\"cpu_support\":", "\"cpu_features\":[", "\"processor_count\":", "\"os\":\""})
    EXPECT_NE(out.find(key), std::string::npos) << key;
#if defined(__x86_64__)
  EXPECT_NE(out.find("\"SSE2\""), std::string::npos);
#endif
}

TEST(VaneVersion, JsonParsesWithTheTypesScriptsExpect) {
  VANE_REQUIRE_TOOL("python3");
  const std::string check =
      "import json,sys; d=json.load(sys.stdin); "
      "assert isinstance(d['version_word'], int) and isinstance(d['cpu_support'], int); "
      "assert all(isinstance(n, str) for n in d['cpu_features']); "
      "assert d['processor_count'] >= 1 and d['os']";
  EXPECT_EQ(RunCommand(Vane() + " version --json | python3 -c " + ShellQuote(check)), 0);
  EXPECT_EQ(RunCommand(Vane() + " status 0x8004E02A --json | python3 -c " +
                       ShellQuote("import json,sys; d=json.load(sys.stdin); assert d['text'].startswith('The bit')")),
            0);
}

TEST(VaneDemo, WalksItsStepsToTheEnd) {
  std::string out;
  ASSERT_EQ(RunVane("demo", &out), 0);
  EXPECT_NE(out.find("[1] "), std::string::npos);
  EXPECT_NE(out.find("13.0.373"), std::string::npos);
  EXPECT_NE(out.find("done:"), std::string::npos);
}

TEST(VanePlugins, SaysWhyAModuleIsHidden) {
  // Without the probe helper no new module may be loaded: each is listed as
  // hidden with the reason, in the text and in the JSON.
  ScratchDir dir;
  std::string env = "VANE_PROBE_HELPER=/nonexistent/vane-probe XDG_CACHE_HOME=" + ShellQuote(dir.path().string()) +
                    " XDG_CONFIG_HOME=" + ShellQuote(dir.path().string()) + " ";
  std::string out;
  ASSERT_EQ(RunCommand(env + Vane() + " plugins 2>/dev/null", &out), 0);
  if (out.find("no plug-ins found") != std::string::npos) GTEST_SKIP() << "no plug-ins beside this build's kernel";
  EXPECT_NE(out.find("why        the probe helper named by VANE_PROBE_HELPER"), std::string::npos) << out;
  const std::string check =
      "import json,sys; d=json.load(sys.stdin); "
      "assert all(p['state'] != 'hidden' or 'VANE_PROBE_HELPER' in p['reason'] for p in d); "
      "assert any(p['state'] == 'hidden' for p in d)";
  EXPECT_EQ(RunCommand(env + Vane() + " plugins --json | python3 -c " + ShellQuote(check)), 0);
}

}  // namespace
}  // namespace vane::test
