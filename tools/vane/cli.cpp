// SPDX-License-Identifier: MIT
#include "tools/vane/cli.h"

#include <unistd.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "kernel/error_handler.h"
#include "kernel/status_table.h"
#include "platform/wtext.h"

namespace vane::tool {

bool Args::Flag(std::string_view name) {
  for (auto it = m_words.begin(); it != m_words.end(); ++it) {
    if (*it == name) {
      m_words.erase(it);
      return true;
    }
  }
  return false;
}

std::optional<std::string> Args::Option(std::string_view name, std::string_view shortName) {
  for (size_t i = 0; i < m_words.size(); ++i) {
    const std::string& w = m_words[i];
    if (w == name || (!shortName.empty() && w == shortName)) {
      if (i + 1 >= m_words.size()) return std::nullopt;
      std::string value = m_words[i + 1];
      m_words.erase(m_words.begin() + long(i), m_words.begin() + long(i) + 2);
      return value;
    }
    std::string prefix = std::string(name) + "=";
    if (w.rfind(prefix, 0) == 0) {
      std::string value = w.substr(prefix.size());
      m_words.erase(m_words.begin() + long(i));
      return value;
    }
  }
  return std::nullopt;
}

std::vector<std::string> Args::Positional() const {
  std::vector<std::string> out;
  for (const auto& w : m_words)
    if (w.empty() || w[0] != '-' || w == "-") out.push_back(w);
  return out;
}

std::optional<std::string> Args::Unknown() const {
  for (const auto& w : m_words)
    if (!w.empty() && w[0] == '-' && w != "-") return w;
  return std::nullopt;
}

static std::vector<Command>& Registry() {
  static std::vector<Command> commands;
  return commands;
}

Registrar::Registrar(const Command& command) { Registry().push_back(command); }

const std::vector<Command>& Commands() { return Registry(); }

int UsageError(const Command& command, const std::string& why) {
  if (!why.empty()) std::fprintf(stderr, "vane %s: %s\n", command.name, why.c_str());
  std::fprintf(stderr, "usage: vane %s\n", command.usage);
  return kExitUsage;
}

std::string StatusHex(HRESULT status) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%08X", unsigned(status));
  return buf;
}

std::string StatusText(HRESULT status) {
  const WCHAR* text = ZoErrorHandler_GetHresultString(status);
  if (!text) return {};
  std::string s = vane::platform::ToUtf8(text);
  // Table texts open with line feeds for the message box; a terminal line
  // wants none.
  size_t start = s.find_first_not_of("\r\n");
  if (start == std::string::npos) return {};
  s = s.substr(start);
  for (char& c : s)
    if (c == '\n' || c == '\r') c = ' ';
  return s;
}

int Failure(HRESULT status, const std::string& context) {
  std::string text = StatusText(status);
  if (text.empty()) text = "Unknown status.";
  if (context.empty())
    std::fprintf(stderr, "%s: %s\n", StatusHex(status).c_str(), text.c_str());
  else
    std::fprintf(stderr, "%s: %s (%s)\n", StatusHex(status).c_str(), text.c_str(), context.c_str());
  return kExitFailure;
}

std::optional<HRESULT> ParseStatus(const std::string& text) {
  if (text.empty()) return std::nullopt;
  const char* s = text.c_str();
  char* end = nullptr;
  bool hex = text.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
  if (hex) {
    unsigned long long v = std::strtoull(s + 2, &end, 16);
    if (*end || v > 0xFFFFFFFFull || end == s + 2) return std::nullopt;
    return HRESULT(std::uint32_t(v));
  }
  long long v = std::strtoll(s, &end, 10);
  if (*end == 0 && v >= INT32_MIN && v <= INT32_MAX) return HRESULT(v);
  unsigned long long h = std::strtoull(s, &end, 16);
  if (*end == 0 && h <= 0xFFFFFFFFull) return HRESULT(std::uint32_t(h));
  return std::nullopt;
}

void Json::Separate() {
  if (m_afterKey) {
    m_afterKey = false;
    return;
  }
  if (!m_first.empty()) {
    if (!m_first.back()) m_out += ',';
    m_first.back() = false;
  }
}

Json& Json::BeginObject() {
  Separate();
  m_out += '{';
  m_first.push_back(true);
  return *this;
}
Json& Json::EndObject() {
  m_out += '}';
  m_first.pop_back();
  return *this;
}
Json& Json::BeginArray() {
  Separate();
  m_out += '[';
  m_first.push_back(true);
  return *this;
}
Json& Json::EndArray() {
  m_out += ']';
  m_first.pop_back();
  return *this;
}
Json& Json::Key(std::string_view key) {
  String(key);
  m_out += ':';
  m_afterKey = true;
  return *this;
}
Json& Json::String(std::string_view value) {
  Separate();
  m_out += '"';
  for (unsigned char c : value) {
    switch (c) {
      case '"': m_out += "\\\""; break;
      case '\\': m_out += "\\\\"; break;
      case '\n': m_out += "\\n"; break;
      case '\r': m_out += "\\r"; break;
      case '\t': m_out += "\\t"; break;
      default:
        if (c < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          m_out += buf;
        } else {
          m_out += char(c);
        }
    }
  }
  m_out += '"';
  return *this;
}
Json& Json::Number(double value) {
  Separate();
  if (!std::isfinite(value)) {
    m_out += "null";
    return *this;
  }
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.17g", value);
  m_out += buf;
  return *this;
}
Json& Json::Int(std::int64_t value) {
  Separate();
  m_out += std::to_string(value);
  return *this;
}
Json& Json::UInt(std::uint64_t value) {
  Separate();
  m_out += std::to_string(value);
  return *this;
}
Json& Json::Bool(bool value) {
  Separate();
  m_out += value ? "true" : "false";
  return *this;
}
Json& Json::Null() {
  Separate();
  m_out += "null";
  return *this;
}

Progress::Progress(std::string label, std::uint64_t total, bool enabled)
    : m_label(std::move(label)), m_total(total), m_enabled(enabled && isatty(STDERR_FILENO)) {}

Progress::~Progress() { Finish(); }

void Progress::Update(std::uint64_t done) {
  if (!m_enabled || m_total == 0) return;
  int percent = int(done * 100 / m_total);
  if (percent == m_lastPercent) return;
  m_lastPercent = percent;
  constexpr int kWidth = 40;
  int filled = percent * kWidth / 100;
  std::fprintf(stderr, "\r%s [%.*s%*s] %3d%%", m_label.c_str(), filled,
               "========================================", kWidth - filled, "", percent);
  std::fflush(stderr);
}

void Progress::Finish() {
  if (!m_enabled || m_lastPercent < 0) return;
  Update(m_total);
  std::fputc('\n', stderr);
  m_enabled = false;
}

}  // namespace vane::tool
