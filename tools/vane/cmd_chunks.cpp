// SPDX-License-Identifier: MIT
// vane chunks FILE [--json]: the chunk tree of a RIFF or Wave64 file. The
// walk is bounded by each parent and by the file, and by depth and count, so
// a hostile file ends the listing instead of the program.
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/guid.h"
#include "platform/wtext.h"
#include "riff/riff_api.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"chunks", "chunks FILE [--json]", "the chunk tree of a Wave, Wave64 or other RIFF file", &Run};
const Registrar kReg(kCommand);

constexpr int kMaxDepth = 16;
constexpr size_t kMaxChunks = 100000;

struct Chunk {
  std::string id;
  std::int64_t offset = 0;
  std::uint64_t size = 0;
  std::string listType;  // empty for plain chunks
  std::vector<Chunk> children;
};

std::string FourCC(DWORD v) {
  std::string s;
  for (int i = 0; i < 4; ++i) {
    const char c = char((v >> (8 * i)) & 0xFF);
    s += (c >= 0x20 && c < 0x7F) ? c : '?';
  }
  return s;
}

std::string Label(const GUID& g) {
  size_t n = 0;
  const ZoW64Label* labels = ZoW64_KnownLabels(&n);
  for (size_t i = 0; i < n; ++i)
    if (labels[i].guid == g) return labels[i].label;
  return platform::GuidToString(g);
}

class Walker {
 public:
  explicit Walker(HANDLE file) : m_file(file) {}

  // An RF64 or BW64 form: the 64-bit sizes of its "ds64" chunk stand in for
  // 32-bit fields of 0xFFFFFFFF (the form, "data", and the table's chunks).
  void ReadDs64() {
    DWORD id = 0, size = 0;
    BYTE body[28];
    if (!Seek(12) || FAILED(riff_ReadChunkHeader(m_file, &id, &size)) || id != ZoFourCC("ds64") || size < 28 ||
        !ReadFileExact(body, 28))
      return;
    auto le64 = [](const BYTE* p) {
      ULONGLONG v = 0;
      for (int i = 7; i >= 0; --i) v = v << 8 | p[i];
      return v;
    };
    m_big[ZoFourCC("RF64")] = m_big[ZoFourCC("BW64")] = le64(body);
    m_big[kFourCC_data] = le64(body + 8);
    const DWORD entries = DWORD(body[24]) | DWORD(body[25]) << 8 | DWORD(body[26]) << 16 | DWORD(body[27]) << 24;
    for (DWORD i = 0; i < entries && i < 1024 && 28 + 12ull * (i + 1) <= size; ++i) {
      BYTE e[12];
      if (!ReadFileExact(e, 12)) break;
      m_big[DWORD(e[0]) | DWORD(e[1]) << 8 | DWORD(e[2]) << 16 | DWORD(e[3]) << 24] = le64(e + 4);
    }
  }

  bool Seek(std::int64_t at) {
    LARGE_INTEGER d;
    d.QuadPart = at;
    return SetFilePointerEx(m_file, d, nullptr, FILE_BEGIN);
  }

  void Classic(std::int64_t from, std::int64_t end, int depth, std::vector<Chunk>& out) {
    std::int64_t at = from;
    while (at + 8 <= end && m_count < kMaxChunks) {
      DWORD id = 0, size = 0;
      if (!Seek(at) || FAILED(riff_ReadChunkHeader(m_file, &id, &size))) return;
      ++m_count;
      ULONGLONG real = size;
      if (size == 0xFFFFFFFF && m_big.count(id)) real = m_big[id];
      if (real > ULONGLONG(INT64_MAX / 2)) real = ULONGLONG(INT64_MAX / 2);  // keeps the sums below in range
      Chunk c{FourCC(id), at, real, {}, {}};
      const std::int64_t bodyEnd = std::min<std::int64_t>(at + 8 + std::int64_t(real), end);
      const bool form = id == kFourCC_RIFF || id == ZoFourCC("RF64") || id == ZoFourCC("BW64");
      if ((id == kFourCC_LIST || form) && real >= 4) {
        DWORD type = 0;
        if (ReadFileExact(&type, 4)) {
          c.listType = FourCC(type);
          if (depth < kMaxDepth) Classic(at + 12, bodyEnd, depth + 1, c.children);
        }
      }
      out.push_back(std::move(c));
      at += 8 + std::int64_t(real) + std::int64_t(real & 1);
    }
  }

  void Wave64(std::int64_t from, std::int64_t end, int depth, std::vector<Chunk>& out) {
    std::int64_t at = from;
    while (at + 24 <= end && m_count < kMaxChunks) {
      GUID id;
      ULONGLONG size = 0;
      if (!Seek(at) || FAILED(riff64_ReadChunkHeader(m_file, &id, &size))) return;
      ++m_count;
      if (size > ULONGLONG(end - at)) size = ULONGLONG(end - at - 24);
      Chunk c{Label(id), at, size, {}, {}};
      const std::int64_t bodyEnd = at + 24 + std::int64_t(size);
      if (id == kW64_list && size >= 16) {
        GUID type;
        if (ReadFileExact(&type, 16)) {
          c.listType = Label(type);
          if (depth < kMaxDepth) Wave64(at + 40, bodyEnd, depth + 1, c.children);
        }
      }
      out.push_back(std::move(c));
      at += 24 + std::int64_t((size + 7) & ~7ULL);
    }
  }

 private:
  bool ReadFileExact(void* p, DWORD n) {
    DWORD got = 0;
    return ReadFile(m_file, p, n, &got, nullptr) && got == n;
  }
  HANDLE m_file;
  size_t m_count = 0;
  std::map<DWORD, ULONGLONG> m_big;
};

void Emit(Json& j, const std::vector<Chunk>& chunks) {
  j.BeginArray();
  for (const Chunk& c : chunks) {
    j.BeginObject().Field("id", c.id).Field("offset", c.offset).Field("size", c.size);
    if (!c.listType.empty()) {
      j.Field("list_type", c.listType).Key("chunks");
      Emit(j, c.children);
    }
    j.EndObject();
  }
  j.EndArray();
}

void Print(const std::vector<Chunk>& chunks, int depth) {
  for (const Chunk& c : chunks) {
    std::printf("%*s%-6s @%-10lld size %llu%s%s\n", depth * 2, "", ("'" + c.id + "'").c_str(), (long long)c.offset,
                (unsigned long long)c.size, c.listType.empty() ? "" : "  list ", c.listType.c_str());
    Print(c.children, depth + 1);
  }
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1) return UsageError(kCommand, "one file is needed");
  const std::u16string name = platform::FromUtf8(files[0]);
  HANDLE file = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return Failure(ZOERR_FILE_OPEN, files[0]);
  LARGE_INTEGER size;
  size.QuadPart = 0;
  GetFileSizeEx(file, &size);
  BYTE head[40] = {};
  DWORD got = 0;
  ReadFile(file, head, sizeof head, &got, nullptr);
  Walker walker(file);
  std::vector<Chunk> chunks;
  std::string form;
  HRESULT hr = S_OK;
  if (got >= 12 && std::memcmp(head, "RIFF", 4) == 0) {
    form = FourCC(DWORD(head[8]) | DWORD(head[9]) << 8 | DWORD(head[10]) << 16 | DWORD(head[11]) << 24);
    walker.Classic(0, size.QuadPart, 0, chunks);
  } else if (got >= 40 && std::memcmp(head, &kW64_riff, 16) == 0) {
    GUID f;
    std::memcpy(&f, head + 24, 16);
    form = Label(f);
    walker.Wave64(0, size.QuadPart, 0, chunks);
  } else if (got >= 12 && (std::memcmp(head, "RF64", 4) == 0 || std::memcmp(head, "BW64", 4) == 0)) {
    form = FourCC(DWORD(head[8]) | DWORD(head[9]) << 8 | DWORD(head[10]) << 16 | DWORD(head[11]) << 24);
    walker.ReadDs64();
    walker.Classic(0, size.QuadPart, 0, chunks);
  } else {
    hr = ZOERR_NO_RIFF;
  }
  CloseHandle(file);
  if (FAILED(hr)) return Failure(hr, files[0]);
  if (json) {
    Json j;
    j.BeginObject().Field("file", files[0]).Field("form", form).Key("chunks");
    Emit(j, chunks);
    std::printf("%s\n", j.EndObject().str().c_str());
  } else {
    std::printf("%s: form '%s'\n", files[0].c_str(), form.c_str());
    Print(chunks, 1);
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
