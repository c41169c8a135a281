// SPDX-License-Identifier: MIT
// Box classifier and ZoFindAtom. The movie box is located by a walk of the
// top-level boxes; inside it only box headers are read on the way down to
// each track's handler and sample description, and only those two bodies
// (the description cut at kMaxSampleDescription) are read and parsed in
// memory, with every size checked against its parent. The sample tables,
// which make a long recording's movie box large, are never read.
#include "riff/detail/box_classifier.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/file.h"
#include "riff/detail/file_access.h"
#include "riff/quick_identify.h"

using namespace vane::riff;

namespace {

constexpr std::uint64_t kMaxSampleDescription = 64u << 10;  // the first entry and its esds lie well within

inline DWORD Be32(const BYTE* p) { return DWORD(p[0]) << 24 | DWORD(p[1]) << 16 | DWORD(p[2]) << 8 | p[3]; }
inline bool Is(const BYTE* p, const char* t) { return std::memcmp(p, t, 4) == 0; }

// Where boxes come from: the file, or only the bytes already read.
class Source {
 public:
  Source(const BYTE* bytes, size_t n, HANDLE file) : m_bytes(bytes), m_file(file) {
    std::int64_t s = 0;
    m_size = (m_file && FileSize(m_file, &s)) ? s : std::int64_t(n);
  }
  std::int64_t size() const { return m_size; }
  bool Read(std::int64_t at, void* out, size_t len) const {
    if (at < 0 || len > std::uint64_t(m_size) || at > m_size - std::int64_t(len)) return false;
    if (!m_file) {
      std::memcpy(out, m_bytes + at, len);
      return true;
    }
    return FileSeek(m_file, at, FILE_BEGIN) && FileReadExact(m_file, out, DWORD(len));
  }

 private:
  const BYTE* m_bytes;
  HANDLE m_file;
  std::int64_t m_size;
};

// The shared walk of ZoFindAtom.
bool FindAtom(const Source& src, const char type[4], std::int64_t start, std::int64_t length, std::int64_t* offset,
              std::int64_t* size) {
  if (length <= 0 || start < 0) return false;
  std::int64_t at = start, left = length;
  bool first = true;
  while (left > 0) {
    BYTE h[8];
    if (!src.Read(at, h, 8)) return false;
    std::uint64_t boxSize = Be32(h);
    if (first) {
      for (int i = 4; i < 8; ++i)
        if (h[i] && (h[i] < 0x20 || h[i] > 0x7E)) return false;
      first = false;
    }
    if (boxSize == 1) {
      BYTE big[8];
      if (!src.Read(at + 8, big, 8)) return false;
      boxSize = std::uint64_t(Be32(big)) << 32 | Be32(big + 4);
      if (boxSize == 0) boxSize = std::uint64_t(src.size() - at);
    } else if (boxSize == 0) {
      if (at >= src.size()) return false;
      boxSize = std::uint64_t(src.size() - at);
    }
    if (std::memcmp(h + 4, type, 4) == 0) {
      if (offset) *offset = at;
      if (size) *size = std::int64_t(boxSize);
      return true;
    }
    if (boxSize < 8 || boxSize > std::uint64_t(left)) return false;
    at += std::int64_t(boxSize);
    left -= std::int64_t(boxSize);
  }
  return false;
}

// A box body in the file; at < 0 when there is none.
struct FileSpan {
  std::int64_t at;
  std::uint64_t n;
};

// Calls visit(type, body) for each child box of a body in the file, reading
// only the headers; stops at the first box that does not fit.
template <typename F>
void FileChildren(const Source& src, FileSpan s, F&& visit) {
  if (s.at < 0) return;
  std::uint64_t at = 0;
  for (int count = 0; at + 8 <= s.n && count < 4096; ++count) {
    BYTE h[16];
    if (!src.Read(s.at + std::int64_t(at), h, 8)) return;
    std::uint64_t size = Be32(h);
    std::uint64_t head = 8;
    if (size == 1) {
      if (at + 16 > s.n || !src.Read(s.at + std::int64_t(at) + 8, h + 8, 8)) return;
      size = std::uint64_t(Be32(h + 8)) << 32 | Be32(h + 12);
      head = 16;
    } else if (size == 0) {
      size = s.n - at;
    }
    if (size < head || size > s.n - at) return;
    if (visit(h + 4, FileSpan{s.at + std::int64_t(at + head), size - head})) return;
    at += size;
  }
}

FileSpan FileChild(const Source& src, FileSpan s, const char* type) {
  FileSpan out{-1, 0};
  FileChildren(src, s, [&](const BYTE* t, FileSpan body) {
    if (!Is(t, type)) return false;
    out = body;
    return true;
  });
  return out;
}

// A box inside a memory block: [begin, end) of the body.
struct Span {
  const BYTE* p;
  size_t n;
};

// Calls visit(type, body) for each child box of a block; stops at the first
// box that does not fit.
template <typename F>
void Children(Span s, F&& visit) {
  size_t at = 0;
  for (int count = 0; at + 8 <= s.n && count < 4096; ++count) {
    size_t size = Be32(s.p + at);
    size_t head = 8;
    if (size == 1) {
      if (at + 16 > s.n) return;
      const std::uint64_t big = std::uint64_t(Be32(s.p + at + 8)) << 32 | Be32(s.p + at + 12);
      if (big > s.n - at) return;
      size = size_t(big);
      head = 16;
    } else if (size == 0) {
      size = s.n - at;
    }
    if (size < head || size > s.n - at) return;
    if (visit(s.p + at + 4, Span{s.p + at + head, size - head})) return;
    at += size;
  }
}

Span Child(Span s, const char* type) {
  Span out{nullptr, 0};
  Children(s, [&](const BYTE* t, Span body) {
    if (!Is(t, type)) return false;
    out = body;
    return true;
  });
  return out;
}

// Reads an expandable descriptor length; false past the end.
bool DescLength(Span s, size_t& at, size_t& len) {
  len = 0;
  for (int i = 0; i < 4; ++i) {
    if (at >= s.n) return false;
    const BYTE b = s.p[at++];
    len = (len << 7) | (b & 0x7F);
    if (!(b & 0x80)) return true;
  }
  return true;
}

// Object type and (for audio) the audio object type from an esds body.
void ReadEsds(Span esds, int* objectType, int* audioObjectType) {
  *objectType = -1;
  *audioObjectType = -1;
  size_t at = 4;  // version and flags
  size_t len = 0;
  if (at >= esds.n || esds.p[at++] != 3 || !DescLength(esds, at, len)) return;
  if (at + 3 > esds.n) return;
  const BYTE flags = esds.p[at + 2];
  at += 3;
  if (flags & 0x80) at += 2;
  if (flags & 0x40) {
    if (at >= esds.n) return;
    at += 1 + esds.p[at];
  }
  if (flags & 0x20) at += 2;
  if (at >= esds.n || esds.p[at++] != 4 || !DescLength(esds, at, len)) return;
  if (at + 13 > esds.n) return;
  *objectType = esds.p[at];
  at += 13;
  if (at >= esds.n || esds.p[at++] != 5 || !DescLength(esds, at, len) || at >= esds.n) return;
  *audioObjectType = esds.p[at] >> 3;
}

// Finds an esds box among the children of a sample entry, whose fixed
// fields are skipped by kind.
Span EntryEsds(const BYTE* type, Span entry) {
  const size_t skip = Is(type, "mp4v") ? 78 : 28;
  if (entry.n <= skip) return {nullptr, 0};
  return Child(Span{entry.p + skip, entry.n - skip}, "esds");
}

bool AnyBrand(const std::vector<DWORD>& brands, std::initializer_list<const char*> names) {
  for (DWORD b : brands)
    for (const char* n : names)
      if (b == Be32(reinterpret_cast<const BYTE*>(n))) return true;
  return false;
}

}  // namespace

namespace vane::riff {

DWORD ClassifyBoxes(const BYTE* bytes, size_t n, HANDLE file) {
  if (n < 8) return ZOFILEID_UNKNOWN;
  const size_t first = Be32(bytes);
  if (first < 8 || first > n) return ZOFILEID_UNKNOWN;
  const BYTE* t = bytes + 4;
  bool top = false;
  for (const char* name : {"free", "ftyp", "mdat", "moov", "pnot", "skip", "uuid", "wide"}) top = top || Is(t, name);
  if (!top) return ZOFILEID_UNKNOWN;

  bool ftyp = false, b1 = false, b2 = false, b3 = false;
  if (Is(t, "ftyp")) {
    if (first < 16) return ZOFILEID_UNKNOWN;
    ftyp = true;
    std::vector<DWORD> brands{Be32(bytes + 8)};
    for (size_t o = 16; o + 4 <= first; o += 4) brands.push_back(Be32(bytes + o));
    const std::vector<DWORD> major{brands[0]};
    b1 = !AnyBrand(major, {"M4A ", "M4V ", "M4VH", "M4VP"}) && AnyBrand(brands, {"mp42", "mp41", "M4VH"});
    b2 = AnyBrand(brands, {"avc1"});
    b3 = AnyBrand(brands, {"isom", "mp42", "M4V ", "M4VH", "M4VP", "MSNV", "MGSV", "SEBK"});
    if (b2 && !b1) return ZOFILEID_MP4_AVC;
  }

  const Source src(bytes, n, file);
  std::int64_t moovAt = 0, moovSize = 0;
  bool m2 = false, pcm = false, aac = false;
  int soundTracks = 0;
  FileSpan moov{-1, 0};
  if (FindAtom(src, "moov", 0, src.size(), &moovAt, &moovSize) && moovSize >= 8) {
    BYTE h[4];
    const std::int64_t head = src.Read(moovAt, h, 4) && Be32(h) == 1 ? 16 : 8;
    if (moovSize >= head) moov = FileSpan{moovAt + head, std::uint64_t(moovSize - head)};
  }
  FileChildren(src, moov, [&](const BYTE* type, FileSpan trak) {
    if (!Is(type, "trak")) return false;
    const FileSpan mdia = FileChild(src, trak, "mdia");
    if (mdia.at < 0) return false;
    const FileSpan hdlr = FileChild(src, mdia, "hdlr");
    BYTE hdlrHead[12];
    const BYTE* handler = hdlr.at >= 0 && hdlr.n >= 12 && src.Read(hdlr.at, hdlrHead, 12) ? hdlrHead + 8 : nullptr;
    const FileSpan stsdAt = FileChild(src, FileChild(src, FileChild(src, mdia, "minf"), "stbl"), "stsd");
    std::vector<BYTE> stsdBytes;
    if (stsdAt.at >= 0) {
      stsdBytes.resize(size_t(std::min(stsdAt.n, kMaxSampleDescription)));
      if (!src.Read(stsdAt.at, stsdBytes.data(), stsdBytes.size())) stsdBytes.clear();
    }
    const Span stsd{stsdBytes.data(), stsdBytes.size()};
    const BYTE* entryType = nullptr;
    Span entry{nullptr, 0};
    if (stsd.n >= 16) {
      Children(Span{stsd.p + 8, stsd.n - 8}, [&](const BYTE* et, Span body) {
        entryType = et;
        entry = body;
        return true;
      });
    }
    if (handler && Is(handler, "vide")) {
      b1 = false;
      if (entryType && ftyp && Is(entryType, "avc1")) b2 = true;
      if (entryType && Is(entryType, "mp4v")) {
        int ot = -1, aot = -1;
        ReadEsds(EntryEsds(entryType, entry), &ot, &aot);
        if (ot >= 96 && ot <= 101) m2 = true;
      }
    } else if (handler && Is(handler, "soun")) {
      ++soundTracks;
      if (entryType && (Is(entryType, "twos") || Is(entryType, "sowt") || Is(entryType, "raw "))) pcm = true;
      if (entryType && Is(entryType, "mp4a")) {
        int ot = -1, aot = -1;
        ReadEsds(EntryEsds(entryType, entry), &ot, &aot);
        if (ot == 64) aac = aot == 2 || aot == 5 || aot == 29;
      }
    }
    return false;
  });
  if (b1 && aac) return ZOFILEID_AAC;
  if (b2) {
    if (pcm) return ZOFILEID_MP4_PCM;
    if (aac || soundTracks == 0) return ZOFILEID_MP4_AVC;
  }
  if (m2) return ZOFILEID_MP4_MPEG2;
  return b3 ? DWORD(ZOFILEID_MP4) : DWORD(ZOFILEID_UNKNOWN);
}

}  // namespace vane::riff

BOOL ZoFindAtom(HANDLE file, const char type[4], LONGLONG start, LONGLONG searchLength, LONGLONG* offset,
                LONGLONG* size) {
  if (!type || !file || file == INVALID_HANDLE_VALUE) return FALSE;
  const Source src(nullptr, 0, file);
  std::int64_t o = 0, s = 0;
  if (!FindAtom(src, type, start, searchLength, &o, &s)) return FALSE;
  if (offset) *offset = o;
  if (size) *size = s;
  return TRUE;
}
