// SPDX-License-Identifier: MIT
// The chunk walk shared by the three chunk layers: riff_* (classic RIFF
// through a file handle), riff64_* (Wave64 through a file handle) and mriff_*
// (classic RIFF in a block of memory). Each algorithm is written once over a
// byte source (where the bytes come from, and whether a skip can fail) and a
// header codec (how a header reads, how sizes round, how a remaining count
// goes down). The flat functions check their arguments and pick the pair.
//
// The arithmetic of each codec is the layer's contract and differs on
// purpose: classic remaining counts are unsigned and floor at 0 while
// searching but wrap while counting list entries; Wave64 counts are signed
// and may go negative, which the next round reads as the end.
//
// Thread rule: none; a source wraps the caller's handle or context, whose
// position is the only cursor.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/file.h"
#include "platform/memory.h"
#include "platform/status.h"
#include "riff/detail/file_access.h"
#include "riff/mriff_api.h"
#include "riff/riff_types.h"

namespace vane::riff::detail {

inline DWORD Le32(const BYTE* p) { return DWORD(p[0]) | DWORD(p[1]) << 8 | DWORD(p[2]) << 16 | DWORD(p[3]) << 24; }
inline void PutLe32(BYTE* p, DWORD v) {
  for (int i = 0; i < 4; ++i) p[i] = BYTE(v >> (8 * i));
}
inline ULONGLONG Le64(const BYTE* p) {
  ULONGLONG v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}
inline void PutLe64(BYTE* p, ULONGLONG v) {
  for (int i = 0; i < 8; ++i) p[i] = BYTE(v >> (8 * i));
}

// Byte source over a file handle. A skip that cannot be made (the target
// overflows or the seek fails) is a failure.
class FileSource {
 public:
  explicit FileSource(HANDLE file) : m_file(file) {}
  bool Read(void* buffer, DWORD n) { return FileReadExact(m_file, buffer, n); }
  // Reads what is there; the count is not judged.
  void ReadSome(void* buffer, DWORD n) {
    DWORD got = 0;
    FileRead(m_file, buffer, n, &got);
  }
  bool Write(const void* buffer, DWORD n) { return FileWriteExact(m_file, buffer, n); }
  bool Skip(std::uint64_t n) { return FileSkip(m_file, n); }
  bool Tell(std::int64_t* position) { return FileTell(m_file, position); }
  bool SeekTo(std::int64_t position) { return FileSeek(m_file, position, FILE_BEGIN); }
  // Whether n bytes stand between the position and the end of the file.
  bool MayHold(std::uint64_t n) const {
    std::int64_t at = 0, size = 0;
    if (!FileTell(m_file, &at) || !FileSize(m_file, &size)) return false;
    return size >= at && n <= std::uint64_t(size - at);
  }

  // Writes n bytes at an absolute offset and returns to where it was; the
  // position is restored even after a failed write.
  HRESULT PatchAt(std::int64_t offset, const void* bytes, DWORD n) {
    std::int64_t keep = 0;
    if (!Tell(&keep)) return ZOERR_FILE_WRITE;
    const HRESULT hr = SeekTo(offset) && Write(bytes, n) ? S_OK : ZOERR_FILE_WRITE;
    SeekTo(keep);
    return hr;
  }

 private:
  HANDLE m_file;
};

// Byte source over a _tMRIFF context. Positions are offsets from pBase while
// computing, so no pointer is formed outside the block; every move is clamped
// to pBase..pDataEnd, so a skip never fails and an absurd size ends at the
// data's end.
class MemorySource {
 public:
  explicit MemorySource(_tMRIFF* context) : m_c(context) {}
  bool Read(void* buffer, DWORD n) {
    DWORD got = 0;
    return mriff_ReadFile(m_c, buffer, n, &got, nullptr) && got == n;
  }
  void ReadSome(void* buffer, DWORD n) {
    DWORD got = 0;
    mriff_ReadFile(m_c, buffer, n, &got, nullptr);
  }
  // A short copy (block full) is a failure.
  bool Write(const void* buffer, DWORD n) {
    DWORD put = 0;
    mriff_WriteFile(m_c, buffer, n, &put, nullptr);
    return put == n;
  }
  bool Skip(std::uint64_t n) {
    m_c->pCursor += std::min(n, Left());
    return true;
  }
  bool Tell(std::int64_t* position) {
    *position = Offset();
    return true;
  }
  bool SeekTo(std::int64_t position) {
    MoveTo(position);
    return true;
  }
  bool MayHold(std::uint64_t n) const { return n <= Left(); }

  std::int64_t Offset() const { return m_c->pCursor - m_c->pBase; }
  std::int64_t End() const { return m_c->pDataEnd - m_c->pBase; }
  std::uint64_t Left() const { return std::uint64_t(End() - Offset()); }
  void MoveTo(std::int64_t offset) { m_c->pCursor = m_c->pBase + std::clamp<std::int64_t>(offset, 0, End()); }

 private:
  _tMRIFF* m_c;
};

// Classic RIFF: 4-byte ids, 32-bit data sizes without the header, chunks
// padded to even length.
struct ClassicCodec {
  using Id = DWORD;
  using Size = DWORD;
  using Remaining = DWORD;
  static constexpr DWORD kHeaderBytes = 8;
  static constexpr DWORD kListTypeBytes = 4;
  // A list search goes on while this much is left.
  static constexpr Remaining kListStop = 4;
  static constexpr Id kListId = kFourCC_LIST;

  static constexpr std::uint64_t Round(std::uint64_t n) { return n + (n & 1); }
  static constexpr DWORD PadAfter(DWORD n) { return n & 1; }
  // After a header: wraps, which only happens without a remaining count.
  static constexpr Remaining AfterHeader(Remaining r) { return r - kHeaderBytes; }
  // Searching: floors at 0.
  static constexpr Remaining Less(Remaining r, std::uint64_t n) { return n >= r ? 0 : DWORD(r - n); }
  // Counting list entries: no floor, so an oversize last entry wraps the
  // count and the walk runs on to a failed read.
  static constexpr Remaining CountDown(Remaining r, std::uint64_t rounded) { return DWORD(r - kHeaderBytes - rounded); }
  // A found list's data size after its type (wraps below 4, as stored).
  static constexpr Size ListDataSize(Size chunkSize) { return chunkSize - kListTypeBytes; }

  template <class Src>
  static bool ReadHeader(Src& src, Id* id, Size* size) {
    BYTE h[8];
    if (!src.Read(h, 8)) return false;
    if (id) *id = Le32(h);
    if (size) *size = Le32(h + 4);
    return true;
  }
  template <class Src>
  static bool ReadListType(Src& src, Id* type) {
    BYTE t[4];
    if (!src.Read(t, 4)) return false;
    *type = Le32(t);
    return true;
  }
  // "RIFF", size, form type. Out size is the field minus 4 (the bytes after
  // the form type), zeroed first.
  template <class Src>
  static HRESULT ReadFileID(Src& src, Size* size, Id* formType) {
    if (size) *size = 0;
    BYTE h[12];
    if (!src.Read(h, 12)) return ZOERR_FILE_READ;
    if (Le32(h) != kFourCC_RIFF) return ZOERR_NO_RIFF;
    if (size) *size = Le32(h + 4) - 4;
    if (formType) *formType = Le32(h + 8);
    return S_OK;
  }
  // "LIST", size, list type. Out size is the field minus the type.
  template <class Src>
  static HRESULT ReadListHeader(Src& src, Id* listType, Size* size) {
    BYTE h[12];
    if (!src.Read(h, 12)) return ZOERR_FILE_READ;
    if (Le32(h) != kFourCC_LIST) return ZOERR_NO_LIST;
    if (listType) *listType = Le32(h + 8);
    if (size) *size = Le32(h + 4) - 4;
    return S_OK;
  }
  template <class Src>
  static HRESULT WriteHeader(Src& src, Id id, Size size) {
    BYTE h[8];
    PutLe32(h, id);
    PutLe32(h + 4, size);
    return src.Write(h, 8) ? S_OK : ZOERR_FILE_WRITE;
  }
  // An outer or list header in one write: id, size as given, type.
  template <class Src>
  static HRESULT WriteTypedHeader(Src& src, Id id, Size size, Id type) {
    BYTE h[12];
    PutLe32(h, id);
    PutLe32(h + 4, size);
    PutLe32(h + 8, type);
    return src.Write(h, 12) ? S_OK : ZOERR_FILE_WRITE;
  }
};

// Wave64: 16-byte GUID ids, 64-bit size fields that count the 24-byte header
// (the interfaces give data sizes), chunks padded to a multiple of 8.
struct Wave64Codec {
  using Id = GUID;
  using Size = ULONGLONG;
  using Remaining = LONGLONG;
  static constexpr DWORD kHeaderBytes = 24;
  static constexpr DWORD kListTypeBytes = 16;
  // A list search goes on while 8 bytes are left, not 16: the type read
  // then fails or finds what is there.
  static constexpr Remaining kListStop = 8;
  static constexpr Id kListId = kW64_list;

  static constexpr std::uint64_t Round(std::uint64_t n) { return (n + 7) & ~std::uint64_t(7); }
  static constexpr DWORD PadAfter(DWORD n) { return (n & 7) ? 8 - (n & 7) : 0; }
  // Saturating signed subtraction: an absurd size ends a walk instead of
  // wrapping the count back to positive.
  static constexpr Remaining Less(Remaining r, std::uint64_t n) {
    if (n > std::uint64_t(std::numeric_limits<LONGLONG>::max())) return std::numeric_limits<LONGLONG>::min();
    const LONGLONG s = LONGLONG(n);
    if (r < std::numeric_limits<LONGLONG>::min() + s) return std::numeric_limits<LONGLONG>::min();
    return r - s;
  }
  static constexpr Remaining AfterHeader(Remaining r) { return Less(r, kHeaderBytes); }
  static constexpr Remaining CountDown(Remaining r, std::uint64_t rounded) { return Less(AfterHeader(r), rounded); }
  static constexpr Size ListDataSize(Size chunkSize) { return chunkSize < 16 ? 0 : chunkSize - 16; }
  // Data size of a stored size field: the header is taken off, never below 0.
  static constexpr Size DataSize(ULONGLONG field) { return field < kHeaderBytes ? 0 : field - kHeaderBytes; }

  template <class Src>
  static bool ReadHeader(Src& src, Id* id, Size* size) {
    BYTE h[24];
    if (!src.Read(h, 24)) return false;
    if (id) std::memcpy(id, h, 16);
    if (size) *size = DataSize(Le64(h + 16));
    return true;
  }
  template <class Src>
  static bool ReadListType(Src& src, Id* type) {
    return src.Read(type, 16);
  }
  // The riff header and form GUID. Only the GUID comparison is judged: a
  // short read leaves zeros there. Out size is the field minus 24 minus 16.
  template <class Src>
  static HRESULT ReadFileID(Src& src, Size* size, Id* formType) {
    BYTE h[40] = {};
    src.ReadSome(h, 40);
    if (std::memcmp(h, &kW64_riff, 16) != 0) return ZOERR_NO_RIFF;
    if (size) *size = Le64(h + 16) - kHeaderBytes - 16;
    if (formType) std::memcpy(formType, h + 24, 16);
    return S_OK;
  }
  template <class Src>
  static HRESULT WriteHeader(Src& src, const Id& id, ULONGLONG stored) {
    BYTE h[24];
    std::memcpy(h, &id, 16);
    PutLe64(h + 16, stored);
    return src.Write(h, 24) ? S_OK : ZOERR_FILE_WRITE;
  }
};

// Finding a chunk: from the current position, which must be a chunk
// boundary, to the chunk with id; the position ends at its data. Without a
// remaining count the walk only ends at a failed read (0x8004E008). Size
// fields are taken as they stand: neither zero nor absurd sizes stop it.
template <class Codec, class Src>
HRESULT FindChunk(Src& src, const typename Codec::Id& id, typename Codec::Size* size,
                  typename Codec::Remaining* remaining) {
  using Remaining = typename Codec::Remaining;
  Remaining r = remaining ? *remaining : 0;
  for (;;) {
    if (remaining && r < Remaining(Codec::kHeaderBytes)) {
      *remaining = r;
      return ZOERR_NOT_FOUND;
    }
    typename Codec::Id got{};
    typename Codec::Size sz = 0;
    if (!Codec::ReadHeader(src, &got, &sz)) {
      if (remaining) *remaining = r;
      return ZOERR_FILE_READ;
    }
    r = Codec::AfterHeader(r);
    if (got == id) {
      if (size) *size = sz;
      if (remaining) *remaining = r;
      return S_OK;
    }
    const std::uint64_t rounded = Codec::Round(sz);
    if (rounded < sz || !src.Skip(rounded)) {
      if (remaining) *remaining = r;
      return ZOERR_FILE_READ;
    }
    r = Codec::Less(r, rounded);
  }
}

// Finding a list of a type: list chunks one after another, each type read
// and compared; the position ends just behind the matching type.
template <class Codec, class Src>
HRESULT FindList(Src& src, const typename Codec::Id& listType, typename Codec::Size* size,
                 typename Codec::Remaining* remaining) {
  using Remaining = typename Codec::Remaining;
  constexpr DWORD kType = Codec::kListTypeBytes;
  typename Codec::Size sz = 0;
  VANE_RETURN_IF_FAILED(FindChunk<Codec>(src, Codec::kListId, &sz, remaining));
  while (!remaining || *remaining >= Codec::kListStop) {
    typename Codec::Id type{};
    if (!Codec::ReadListType(src, &type)) return ZOERR_FILE_READ;
    if (remaining) *remaining -= Remaining(kType);
    if (type == listType) {
      if (size) *size = Codec::ListDataSize(sz);
      return S_OK;
    }
    const std::uint64_t rounded = Codec::Round(sz);
    if (rounded < sz) return ZOERR_FILE_READ;
    if (rounded >= kType) {
      if (!src.Skip(rounded - kType)) return ZOERR_FILE_READ;
      if (remaining) *remaining = Codec::Less(*remaining, rounded - kType);
    } else {
      // A list too short to hold its type (size 0 or 2): what was read as
      // its type belongs to the next chunk, so the walk steps back to the
      // list's end. Each round still moves forward by a whole header.
      const DWORD back = DWORD(kType - rounded);
      std::int64_t at = 0;
      if (!src.Tell(&at) || !src.SeekTo(at - back)) return ZOERR_FILE_READ;
      if (remaining) *remaining += Remaining(back);
    }
    VANE_RETURN_IF_FAILED(FindChunk<Codec>(src, Codec::kListId, &sz, remaining));
  }
  return ZOERR_NOT_FOUND;
}

// Counting the chunks from the position; the position is restored. Without
// a remaining count the walk ends at a failed read, whose status is returned.
template <class Codec, class Src>
HRESULT CountEntries(Src& src, DWORD* count, typename Codec::Remaining* remaining) {
  using Remaining = typename Codec::Remaining;
  *count = 0;
  std::int64_t keep = 0;
  if (!src.Tell(&keep)) return ZOERR_FILE_READ;
  Remaining r = remaining ? *remaining : 0;
  HRESULT hr = S_OK;
  while (!remaining || r >= Remaining(Codec::kHeaderBytes)) {
    typename Codec::Size sz = 0;
    if (!Codec::ReadHeader(src, nullptr, &sz)) {
      hr = ZOERR_FILE_READ;
      break;
    }
    const std::uint64_t rounded = Codec::Round(sz);
    r = Codec::CountDown(r, rounded);
    ++*count;
    if (rounded < sz || !src.Skip(rounded)) {
      hr = ZOERR_FILE_READ;
      break;
    }
  }
  if (remaining) *remaining = r;
  src.SeekTo(keep);
  return hr;
}

// Skipping index chunks; "not found" when the remaining count runs out first.
template <class Codec, class Src>
HRESULT SeekEntry(Src& src, DWORD index, typename Codec::Remaining* remaining) {
  using Remaining = typename Codec::Remaining;
  Remaining r = remaining ? *remaining : 0;
  for (DWORD i = 0; i < index; ++i) {
    if (remaining && r < Remaining(Codec::kHeaderBytes)) {
      *remaining = r;
      return ZOERR_NOT_FOUND;
    }
    typename Codec::Size sz = 0;
    if (!Codec::ReadHeader(src, nullptr, &sz)) return ZOERR_FILE_READ;
    const std::uint64_t rounded = Codec::Round(sz);
    r = Codec::CountDown(r, rounded);
    if (rounded < sz || !src.Skip(rounded)) return ZOERR_FILE_READ;
  }
  if (remaining) *remaining = r;
  return S_OK;
}

// Seeks to the start and reads the outer header; its size becomes the
// remaining count of a search over the whole form.
template <class Codec, class Src>
HRESULT StartOfForm(Src& src, typename Codec::Remaining* remaining) {
  if (!src.SeekTo(0)) return ZOERR_FILE_READ;
  typename Codec::Size total = 0;
  VANE_RETURN_IF_FAILED(Codec::ReadFileID(src, &total, nullptr));
  *remaining = typename Codec::Remaining(total);
  return S_OK;
}

// Reads exactly size bytes, then steps over the pad.
template <class Codec, class Src>
HRESULT ReadData(Src& src, void* buffer, DWORD size) {
  if (!src.Read(buffer, size)) return ZOERR_FILE_READ;
  if (const DWORD pad = Codec::PadAfter(size)) src.Skip(pad);
  return S_OK;
}

// Reads n bytes, then skips as the layer's bounded read defines it.
template <class Src>
HRESULT ReadThenSkip(Src& src, void* buffer, DWORD n, std::uint64_t skip) {
  if (!src.Read(buffer, n)) return ZOERR_FILE_READ;
  src.Skip(skip);
  return S_OK;
}

// ReadData into a block of moveable global memory, zero-filled and handed
// out locked; on failure the block is freed and the pointer stays null. A
// source that can tell refuses a size it cannot hold before allocating.
template <class Codec, class Src>
HRESULT ReadDataAlloc(Src& src, ZORIFFDATA* data) {
  data->pData = nullptr;
  if (data->cbSize == 0) return S_OK;
  if (!src.MayHold(data->cbSize)) {
    src.Skip(data->cbSize);
    return ZOERR_FILE_READ;
  }
  HGLOBAL h = GlobalAlloc(GHND, data->cbSize);
  if (!h) return E_OUTOFMEMORY;
  void* p = GlobalLock(h);
  if (!p) {
    GlobalFree(h);
    return E_OUTOFMEMORY;
  }
  const HRESULT hr = ReadData<Codec>(src, p, data->cbSize);
  if (FAILED(hr)) {
    GlobalUnlock(h);
    GlobalFree(h);
    return hr;
  }
  data->pData = p;
  return S_OK;
}

}  // namespace vane::riff::detail
