// SPDX-License-Identifier: MIT
// vane formats: the engine's sample types and the format tag names it knows.
#include <cstdio>
#include <string>

#include "audio/zowaveformat.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"formats", "formats [--json]", "sample types and known audio format tags", &Run};
const Registrar kReg(kCommand);

struct TypeRow {
  const char* name;  // as `vane convert` takes it
  ZOSAMPLETYPE type;
};

const TypeRow kTypes[] = {
    {"pcm8", ZOSAMPLE_PCM8},        {"pcm16", ZOSAMPLE_PCM16},          {"pcm24", ZOSAMPLE_PCM24},
    {"pcm32", ZOSAMPLE_PCM32},      {"float32", ZOSAMPLE_FLOAT32},      {"float64", ZOSAMPLE_FLOAT64},
    {"pcm24in32", ZOSAMPLE_PCM24_UNPACKED}, {"pcm8s", ZOSAMPLE_PCM8_SIGNED}, {"pcm16be", ZOSAMPLE_PCM16_BE},
    {"pcm24be", ZOSAMPLE_PCM24_BE}, {"pcm32be", ZOSAMPLE_PCM32_BE},     {"", ZOSAMPLE_PCM16_RA},
    {"", ZOSAMPLE_PCM24_RA},
};

std::string Utf8(const WCHAR* s) { return vane::platform::ToUtf8(s); }

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  if (!args.Positional().empty()) return UsageError(kCommand, "no arguments are taken");

  Json j;
  if (json) j.BeginObject().Key("sampleTypes").BeginArray();
  else std::printf("Sample types (value, name for `vane convert`, text, bits, format tag):\n");
  for (const TypeRow& t : kTypes) {
    WCHAR text[64];
    ZoAudio_GetSampleTypeText(t.type, text, 64);
    const WORD bits = ZoAudio_BitsFromSampleType(t.type), tag = ZoAudio_FormatTagFromSampleType(t.type);
    if (json) {
      j.BeginObject().Field("value", uint32_t(t.type)).Field("name", t.name).Field("text", Utf8(text));
      j.Field("bits", bits).Field("bytes", ZoAudio_BytesFromSampleType(t.type)).Field("formatTag", tag).EndObject();
    } else {
      std::printf("  %3u  %-10s %-22s %2u  0x%04X\n", unsigned(t.type), t.name[0] ? t.name : "-",
                  Utf8(text).c_str(), bits, tag);
    }
  }
  if (json) j.EndArray().Key("formatTags").BeginArray();
  else std::printf("\nFormat tags with names (tag, short name, long name):\n");
  for (unsigned tag = 0; tag <= 0xFFFF; ++tag) {
    WCHAR shortName[96], longName[96];
    if (ZoAudio_GetCompressionTypeName(WORD(tag), shortName, 96, TRUE) != 0) continue;
    ZoAudio_GetCompressionTypeName(WORD(tag), longName, 96, FALSE);
    if (json) {
      j.BeginObject().Field("tag", tag).Field("short", Utf8(shortName)).Field("long", Utf8(longName)).EndObject();
    } else {
      std::printf("  0x%04X  %-18s %s\n", tag, Utf8(shortName).c_str(), Utf8(longName).c_str());
    }
  }
  if (json) std::printf("%s\n", j.EndArray().EndObject().str().c_str());
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
