// SPDX-License-Identifier: MIT
// vane settings: reads and writes a host application's metrics, the numbered
// values of its settings store.
//   vane settings list APP [--version M.N] [--json]
//   vane settings get APP ID [--version M.N] [--type dword|string|binary] [--json]
//   vane settings set APP ID VALUE [--version M.N] [--type dword|string]
//   vane settings delete APP ID [--version M.N] [--type dword|string|binary]
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "kernel/metrics.h"
#include "platform/file.h"
#include "platform/registry.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"settings",
                       "settings list|get|set|delete APP [ID [VALUE]] [--version M.N] [--type dword|string|binary] [--json]",
                       "read and write a host application's metrics", &Run};
const Registrar kReg(kCommand);

struct Hold {
  HZOMETRIC m = nullptr;
  ~Hold() { ZoMetric_Close(m); }
};

DWORD TypeOf(const std::string& name) {
  if (name == "string") return REG_SZ;
  if (name == "binary") return REG_BINARY;
  if (name == "dword") return REG_DWORD;
  return REG_NONE;
}

// "1.2" as the version word: major in the top byte, minor in the next.
bool ParseVersion(const std::string& text, DWORD* version) {
  const size_t dot = text.find('.');
  char* end = nullptr;
  const unsigned long major = std::strtoul(text.c_str(), &end, 10);
  const unsigned long minor = dot == std::string::npos ? 0 : std::strtoul(text.c_str() + dot + 1, nullptr, 10);
  if (end == text.c_str() || major > 255 || minor > 255) return false;
  *version = DWORD(major) << 24 | DWORD(minor) << 16;
  return true;
}

std::string Hex(const std::vector<BYTE>& bytes) {
  static const char kHex[] = "0123456789abcdef";
  std::string s;
  for (BYTE b : bytes) {
    s += kHex[b >> 4];
    s += kHex[b & 15];
  }
  return s;
}

// The value of one registry entry as text, and its type's name.
std::pair<std::string, std::string> Show(DWORD type, const std::vector<BYTE>& data) {
  if (type == REG_DWORD && data.size() == 4)
    return {"dword", std::to_string(DWORD(data[0]) | DWORD(data[1]) << 8 | DWORD(data[2]) << 16 | DWORD(data[3]) << 24)};
  if (type == REG_SZ || type == REG_MULTI_SZ) {
    std::u16string text(reinterpret_cast<const char16_t*>(data.data()), data.size() / 2);
    for (char16_t& c : text)
      if (c == 0) c = u'|';
    while (!text.empty() && text.back() == u'|') text.pop_back();
    return {type == REG_SZ ? "string" : "multistring", platform::ToUtf8(text)};
  }
  return {"binary", Hex(data)};
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const std::string versionText = args.Option("--version").value_or("");
  const std::string typeText = args.Option("--type").value_or("dword");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> words = args.Positional();
  if (words.size() < 2) return UsageError(kCommand, "an action and an application name are needed");
  const std::string& action = words[0];
  DWORD version = 0;
  if (!versionText.empty() && !ParseVersion(versionText, &version)) return UsageError(kCommand, "--version takes M.N");
  const DWORD type = TypeOf(typeText);
  if (type == REG_NONE) return UsageError(kCommand, "--type is dword, string or binary");
  Hold hold;
  const std::u16string app = platform::FromUtf8(words[1]);
  HRESULT hr = ZoMetric_Open(&hold.m, app.c_str(), version, nullptr);
  if (FAILED(hr)) return Failure(hr, "opening the settings of " + words[1]);

  if (action == "list") {
    Json j;
    if (json) j.BeginObject().Field("application", words[1]).Key("settings").BeginArray();
    for (DWORD i = 0;; ++i) {
      WCHAR name[64];
      DWORD chars = 64, t = 0, size = 0;
      if (RegEnumValueW(hold.m->key, i, name, &chars, nullptr, &t, nullptr, &size) != ERROR_SUCCESS) break;
      std::vector<BYTE> data(size);
      chars = 64;
      RegEnumValueW(hold.m->key, i, name, &chars, nullptr, &t, data.data(), &size);
      const auto [typeName, value] = Show(t, data);
      if (json) j.BeginObject().Field("name", platform::ToUtf8(name)).Field("type", typeName).Field("value", value).EndObject();
      else std::printf("  %-8s %-10s %s\n", platform::ToUtf8(name).c_str(), typeName.c_str(), value.c_str());
    }
    if (json) std::printf("%s\n", j.EndArray().EndObject().str().c_str());
    return kExitOk;
  }
  if (words.size() < 3) return UsageError(kCommand, "an id is needed");
  char* end = nullptr;
  const long id = std::strtol(words[2].c_str(), &end, 10);
  if (*end) return UsageError(kCommand, "the id is a number");
  if (action == "get") {
    std::string value;
    if (type == REG_DWORD) {
      value = std::to_string(ZoGetMetricEx(hold.m, LONG(id), 0, 0, 0));
    } else if (type == REG_SZ) {
      WCHAR text[4096];
      ZoGetMetricStringEx(hold.m, LONG(id), text, 4096, nullptr, FALSE);
      value = platform::ToUtf8(text);
    } else {
      DWORD size = 0;
      ZoGetMetricBinaryEx(hold.m, LONG(id), nullptr, 0, &size);
      std::vector<BYTE> data(size);
      ZoGetMetricBinary(hold.m, LONG(id), data.data(), size);
      value = Hex(data);
    }
    const bool present = ZoDoesMetricExist(hold.m, LONG(id), type) == S_OK;
    if (json) {
      Json j;
      j.BeginObject().Field("application", words[1]).Field("id", std::int64_t(id)).Field("type", typeText);
      j.Field("present", present).Field("value", value).EndObject();
      std::printf("%s\n", j.str().c_str());
    } else {
      std::printf("%s\n", present ? value.c_str() : "(not set)");
    }
    return kExitOk;
  }
  if (action == "set") {
    if (words.size() < 4) return UsageError(kCommand, "a value is needed");
    if (type == REG_DWORD) hr = ZoSetMetric(hold.m, LONG(id), DWORD(std::strtoul(words[3].c_str(), nullptr, 0)));
    else if (type == REG_SZ) hr = ZoSetMetricString(hold.m, LONG(id), platform::FromUtf8(words[3]).c_str());
    else return UsageError(kCommand, "binary values are set by their hosts");
    return FAILED(hr) ? Failure(hr, "writing the setting") : kExitOk;
  }
  if (action == "delete") {
    hr = ZoDeleteMetric(hold.m, LONG(id), type);
    return FAILED(hr) ? Failure(hr, "deleting the setting") : kExitOk;
  }
  return UsageError(kCommand, "the action is list, get, set or delete");
}

}  // namespace
}  // namespace vane::tool
