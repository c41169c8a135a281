// SPDX-License-Identifier: MIT
// vane lang build CATALOGUE -o FILE.lng: a language module from a text
// catalogue ("id<TAB>text" a line). vane lang show FILE.lng: its strings.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "kernel/kernel_strings.h"
#include "kernel/lang_module.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"lang",
                       "lang build CATALOGUE -o FILE.lng [--lcid N] [--json] | lang show FILE.lng [--json] | lang catalogue",
                       "the kernel's English catalogue; build a language module from a translated one, or list one", &Run};
const Registrar kReg(kCommand);

int Build(const std::vector<std::string>& words, const std::optional<std::string>& output, DWORD lcid, bool json) {
  if (words.size() != 2 || !output) return UsageError(kCommand, "lang build needs a CATALOGUE and -o FILE.lng");
  std::ifstream in(words[1], std::ios::binary);
  if (!in) return Failure(ZOERR_FILE_OPEN, words[1]);
  std::stringstream text;
  text << in.rdbuf();
  std::map<UINT, std::u16string> strings;
  size_t bad = 0;
  const HRESULT hr = vane::kernel::LangModule::ParseCatalogue(text.str(), &strings, &bad);
  if (FAILED(hr)) return Failure(hr, words[1] + ":" + std::to_string(bad) + ": not \"id<TAB>text\" with an id below 65536");
  const std::vector<std::uint8_t> bytes = vane::kernel::LangModule::Build(strings, lcid);
  // Written beside the target and renamed over it when whole.
  const std::string partial = *output + ".partial";
  {
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    if (!out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size())) || !out.flush()) {
      std::remove(partial.c_str());
      return Failure(ZOERR_FILE_WRITE, *output);
    }
  }
  if (std::rename(partial.c_str(), output->c_str()) != 0) {
    std::remove(partial.c_str());
    return Failure(ZOERR_FILE_WRITE, *output);
  }
  if (json) {
    Json j;
    j.BeginObject().Field("file", *output).Field("lcid", std::uint64_t(lcid)).Field("strings", std::uint64_t(strings.size()))
        .Field("size", std::uint64_t(bytes.size())).EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("%s: %zu strings, LCID %u, %zu bytes\n", output->c_str(), strings.size(), unsigned(lcid), bytes.size());
  }
  return kExitOk;
}

int Show(const std::vector<std::string>& words, bool json) {
  if (words.size() != 2) return UsageError(kCommand, "lang show needs a FILE.lng");
  vane::kernel::LangModule module;
  const HRESULT hr = module.Load(vane::platform::FromUtf8(words[1]));
  if (FAILED(hr)) return Failure(hr, words[1]);
  Json j;
  if (json) j.BeginObject().Field("file", words[1]).Field("lcid", std::uint64_t(module.Lcid())).Key("strings").BeginArray();
  else std::printf("%s: LCID %u, %zu strings\n", words[1].c_str(), unsigned(module.Lcid()), module.Count());
  for (const auto& [id, text] : module.Strings()) {
    const std::string utf8 = vane::platform::ToUtf8(text);
    if (json) j.BeginObject().Field("id", std::uint64_t(id)).Field("text", utf8).EndObject();
    else std::printf("%6u  %s\n", id, utf8.c_str());
  }
  if (json) {
    j.EndArray().EndObject();
    std::printf("%s\n", j.str().c_str());
  }
  return kExitOk;
}

// The kernel's English texts as a catalogue to translate.
int Catalogue() {
  for (const auto& [id, text] : vane::kernel::BuiltInKernelCatalogue()) {
    std::string line;
    for (char c : vane::platform::ToUtf8(text)) {
      if (c == '\n') line += "\\n";
      else if (c == '\t') line += "\\t";
      else if (c == '\\') line += "\\\\";
      else line += c;
    }
    std::printf("%u\t%s\n", id, line.c_str());
  }
  return kExitOk;
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const std::optional<std::string> output = args.Option("--output", "-o");
  const std::string lcidText = args.Option("--lcid").value_or("1033");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  char* end = nullptr;
  const unsigned long lcid = std::strtoul(lcidText.c_str(), &end, 0);
  if (*end || lcid > 0xFFFF) return UsageError(kCommand, "--lcid takes a language id such as 1033 or 0x411");
  const std::vector<std::string> words = args.Positional();
  if (words.empty()) return UsageError(kCommand, "build or show");
  if (words[0] == "build") return Build(words, output, DWORD(lcid), json);
  if (words[0] == "show") return Show(words, json);
  if (words[0] == "catalogue") return Catalogue();
  return UsageError(kCommand, "unknown action " + words[0]);
}

}  // namespace
}  // namespace vane::tool
