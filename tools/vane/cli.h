// SPDX-License-Identifier: MIT
// The vane tool's frame: subcommands register themselves, parse their own
// arguments through Args, print readable text or --json, and report failures
// as "0xXXXXXXXX: <status text>" with exit status 1 (2 for wrong usage).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace vane::tool {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// Arguments after the subcommand name. Flags are "--name" or "--name value";
// anything else is positional.
class Args {
 public:
  explicit Args(std::vector<std::string> words) : m_words(std::move(words)) {}
  // Takes a boolean flag out of the words.
  bool Flag(std::string_view name);
  // Takes "--name value" (or "-n value" when shortName is given).
  std::optional<std::string> Option(std::string_view name, std::string_view shortName = {});
  // What is left, once flags and options are taken; words starting with '-'
  // that were not taken are reported by Unknown().
  std::vector<std::string> Positional() const;
  std::optional<std::string> Unknown() const;

 private:
  std::vector<std::string> m_words;
};

struct Command {
  const char* name;
  const char* usage;    // e.g. "identify FILE... [--json]"
  const char* summary;  // one line for `vane help`
  int (*run)(Args& args);
};

// Each cmd_*.cpp registers its command with a static Registrar.
struct Registrar {
  explicit Registrar(const Command& command);
};
const std::vector<Command>& Commands();

// Prints "usage: vane <usage>" to stderr and returns kExitUsage.
int UsageError(const Command& command, const std::string& why = {});
// Prints "0xXXXXXXXX: <status text>" to stderr and returns kExitFailure.
int Failure(HRESULT status, const std::string& context = {});
// The display text of a status (empty when the table has no row).
std::string StatusText(HRESULT status);
// "0x8004E00B" form.
std::string StatusHex(HRESULT status);
// Parses "0x8004E00B", "8004E00B" or a signed decimal.
std::optional<HRESULT> ParseStatus(const std::string& text);

// Minimal streaming JSON writer with correct string escaping.
class Json {
 public:
  Json& BeginObject();
  Json& EndObject();
  Json& BeginArray();
  Json& EndArray();
  Json& Key(std::string_view key);
  Json& String(std::string_view value);
  Json& Number(double value);
  Json& Int(std::int64_t value);
  Json& UInt(std::uint64_t value);
  Json& Bool(bool value);
  Json& Null();
  // Key and value in one call.
  template <typename T>
  Json& Field(std::string_view key, const T& value);
  const std::string& str() const { return m_out; }

 private:
  void Separate();
  std::string m_out;
  std::vector<bool> m_first;  // per open container: no element written yet
  bool m_afterKey = false;
};

template <typename T>
Json& Json::Field(std::string_view key, const T& value) {
  Key(key);
  if constexpr (std::is_same_v<T, bool>) return Bool(value);
  else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) return Int(value);
  else if constexpr (std::is_integral_v<T>) return UInt(value);
  else if constexpr (std::is_floating_point_v<T>) return Number(value);
  else return String(value);
}

// A progress bar on standard error for long work; silent when stderr is not a
// terminal or when disabled (--json runs keep stdout clean either way).
class Progress {
 public:
  Progress(std::string label, std::uint64_t total, bool enabled = true);
  ~Progress();
  void Update(std::uint64_t done);
  void Finish();

 private:
  std::string m_label;
  std::uint64_t m_total;
  bool m_enabled;
  int m_lastPercent = -1;
};

}  // namespace vane::tool
