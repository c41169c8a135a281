// SPDX-License-Identifier: MIT
#include "riff/meta_write.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/detail/chunk_walk.h"
#include "riff/detail/file_access.h"
#include "riff/riff_api.h"

namespace vane::riff {

namespace {

constexpr DWORD kFourCC_cue = ZoFourCC("cue ");
constexpr DWORD kFourCC_adtl = ZoFourCC("adtl");
constexpr DWORD kFourCC_labl = ZoFourCC("labl");
constexpr DWORD kFourCC_ltxt = ZoFourCC("ltxt");
constexpr DWORD kFourCC_zo01 = ZoFourCC("zo01");
constexpr DWORD kFourCC_rgn = ZoFourCC("rgn ");

void Put32(std::vector<BYTE>& out, DWORD v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<BYTE>(v >> (8 * i)));
}
void Put64(std::vector<BYTE>& out, ULONGLONG v) {
  Put32(out, static_cast<DWORD>(v));
  Put32(out, static_cast<DWORD>(v >> 32));
}

bool Fits32(LONGLONG v) { return v >= 0 && v <= 0xFFFFFFFFLL; }

// A sub-chunk of "adtl", padded to even.
void SubChunk(std::vector<BYTE>& out, DWORD id, const std::vector<BYTE>& body) {
  Put32(out, id);
  Put32(out, static_cast<DWORD>(body.size()));
  out.insert(out.end(), body.begin(), body.end());
  if (body.size() & 1) out.push_back(0);
}

// Where the form ends and whether its sizes live in "ds64" (RF64, BW64):
// metadata is appended there, and the form grows by what was appended.
struct Form {
  std::int64_t end = 0;
  bool ds64 = false;
};

HRESULT ReadForm(HANDLE file, Form* form) {
  BYTE head[28];
  if (!FileSeek(file, 0, FILE_BEGIN) || !FileReadExact(file, head, 12)) return ZOERR_FILE_READ;
  const bool large = std::memcmp(head, "RF64", 4) == 0 || std::memcmp(head, "BW64", 4) == 0;
  if (!large) {
    DWORD riffSize = 0, type = 0;
    if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
    VANE_RETURN_IF_FAILED(riff_ReadFileID(file, &riffSize, &type));
    // The read size leaves out the form type: the RIFF ends 12 bytes further.
    form->end = std::int64_t(riffSize) + 12;
    // A RIFF size that claims more than the file holds ends the form at the
    // file's end (on an even offset): appends never land far behind it.
    std::int64_t fileSize = 0;
    if (!FileSeek(file, 0, FILE_END, &fileSize)) return ZOERR_FILE_READ;
    if (form->end > fileSize) form->end = fileSize + (fileSize & 1);
    form->ds64 = false;
    return S_OK;
  }
  if (!FileReadExact(file, head, 16) || std::memcmp(head, "ds64", 4) != 0) return ZOERR_FILE_CORRUPT;
  ULONGLONG riffSize = 0;
  std::memcpy(&riffSize, head + 8, 8);
  std::int64_t fileSize = 0;
  if (!FileSeek(file, 0, FILE_END, &fileSize)) return ZOERR_FILE_READ;
  // A ds64 that claims more than the file holds ends the form at the file's end.
  form->end = riffSize + 8 > ULONGLONG(fileSize) ? fileSize : std::int64_t(riffSize + 8);
  form->ds64 = true;
  return S_OK;
}

HRESULT GrowForm(HANDLE file, const Form& form, std::int64_t delta) {
  if (!form.ds64) return riff_UpdateRIFFSize(file, delta);
  const ULONGLONG riffSize = ULONGLONG(form.end + delta - 8);
  BYTE b[8];
  std::memcpy(b, &riffSize, 8);
  if (!FileSeek(file, 20, FILE_BEGIN) || !FileWriteExact(file, b, 8)) return ZOERR_FILE_WRITE;
  return S_OK;
}

}  // namespace

HRESULT AppendChunk(HANDLE file, DWORD id, const void* body, DWORD size) {
  Form form;
  VANE_RETURN_IF_FAILED(ReadForm(file, &form));
  if (!FileSeek(file, form.end, FILE_BEGIN)) return ZOERR_FILE_WRITE;
  const DWORD padded = (size + 1) & ~1u;
  VANE_RETURN_IF_FAILED(riff_WriteChunkHeader(file, id, padded));
  if (size && !FileWriteExact(file, body, size)) return ZOERR_FILE_WRITE;
  static const BYTE zero = 0;
  if (padded != size && !FileWriteExact(file, &zero, 1)) return ZOERR_FILE_WRITE;
  return GrowForm(file, form, LONGLONG(padded) + 8);
}

namespace {

// The zo01 body, which is also the Wave64 marker chunk: count, then per
// marker 32 bytes and its text (two zero bytes for an empty one).
std::vector<BYTE> ExtendedBody(const std::vector<MarkerSample>& markers) {
  std::vector<BYTE> zo;
  Put32(zo, static_cast<DWORD>(markers.size()));
  for (const MarkerSample& m : markers) {
    Put32(zo, m.id);
    Put32(zo, 0);
    Put64(zo, static_cast<ULONGLONG>(m.position));
    Put64(zo, static_cast<ULONGLONG>(m.length));
    Put32(zo, static_cast<DWORD>((m.text.size() + 1) * 2));
    Put32(zo, 0);
    for (char16_t c : m.text) {
      zo.push_back(static_cast<BYTE>(c));
      zo.push_back(static_cast<BYTE>(c >> 8));
    }
    zo.push_back(0);
    zo.push_back(0);
  }
  return zo;
}

}  // namespace

HRESULT AppendChunk64(HANDLE file, const GUID& id, const void* body, DWORD size) {
  ULONGLONG riffSize = 0;
  GUID form{};
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  VANE_RETURN_IF_FAILED(riff64_ReadFileID(file, &riffSize, &form));
  // The read size leaves out the 40-byte head of the form; a size beyond the
  // file ends it at the file's end, rounded up to 8.
  std::int64_t end = std::int64_t(std::min<ULONGLONG>(riffSize, ULONGLONG(1) << 62)) + 40, fileSize = 0;
  if (!FileSeek(file, 0, FILE_END, &fileSize)) return ZOERR_FILE_READ;
  if (end > fileSize) end = (fileSize + 7) & ~std::int64_t(7);
  if (!FileSeek(file, end, FILE_BEGIN)) return ZOERR_FILE_WRITE;
  VANE_RETURN_IF_FAILED(riff64_WriteChunkHeader(file, &id, size));
  if (size && !FileWriteExact(file, body, size)) return ZOERR_FILE_WRITE;
  static const BYTE zeros[8] = {};
  const DWORD pad = (8 - (24 + size) % 8) % 8;
  if (pad && !FileWriteExact(file, zeros, pad)) return ZOERR_FILE_WRITE;
  return riff64_UpdateRIFFSize(file, LONGLONG(24) + size + pad);
}

HRESULT WriteSummaryChunk(HANDLE file, const ZOSUMMARY* record) {
  if (!record || record->count == 0) return S_OK;
  Form form;
  VANE_RETURN_IF_FAILED(ReadForm(file, &form));
  if (!FileSeek(file, form.end, FILE_BEGIN)) return ZOERR_FILE_WRITE;
  DWORD bytes = 0;
  VANE_RETURN_IF_FAILED(ZoSummary_Save(file, record, &bytes));
  return GrowForm(file, form, bytes);
}

HRESULT WriteSummaryChunk64(HANDLE file, const ZOSUMMARY* record) {
  if (!record || record->count == 0) return S_OK;
  ULONGLONG size = 0;
  VANE_RETURN_IF_FAILED(ZoSummary_SaveW64(record, nullptr, &size));
  std::vector<BYTE> body(static_cast<size_t>(size));
  VANE_RETURN_IF_FAILED(ZoSummary_SaveW64(record, body.data(), &size));
  return AppendChunk64(file, kW64_info, body.data(), DWORD(body.size()));
}

HRESULT WriteMarkerChunks64(HANDLE file, const std::vector<MarkerSample>& markers) {
  if (markers.empty()) return S_OK;
  const std::vector<BYTE> body = ExtendedBody(markers);
  return AppendChunk64(file, kW64_cue, body.data(), static_cast<DWORD>(body.size()));
}

HRESULT WriteMarkerChunks(HANDLE file, const std::vector<MarkerSample>& markers) {
  if (markers.empty()) return S_OK;
  std::vector<BYTE> cue;
  Put32(cue, 0);
  DWORD count = 0;
  bool extended = false, labels = false;
  for (const MarkerSample& m : markers) {
    if (!Fits32(m.position) || (m.length >= 0 && !Fits32(m.length))) {
      extended = true;  // left out of "cue "; "zo01" carries it
      continue;
    }
    Put32(cue, m.id);
    Put32(cue, static_cast<DWORD>(m.position));
    Put32(cue, ZoFourCC("data"));
    Put32(cue, 0);
    Put32(cue, 0);
    Put32(cue, static_cast<DWORD>(m.position));
    ++count;
    if (m.length >= 0 || !m.text.empty()) labels = true;
  }
  for (int i = 0; i < 4; ++i) cue[size_t(i)] = static_cast<BYTE>(count >> (8 * i));
  VANE_RETURN_IF_FAILED(AppendChunk(file, kFourCC_cue, cue.data(), static_cast<DWORD>(cue.size())));
  if (labels) {
    std::vector<BYTE> adtl;
    Put32(adtl, kFourCC_adtl);
    for (const MarkerSample& m : markers) {
      if (m.length < 0 || !Fits32(m.position) || !Fits32(m.length)) continue;
      std::vector<BYTE> ltxt;
      Put32(ltxt, m.id);
      Put32(ltxt, static_cast<DWORD>(m.length));
      Put32(ltxt, kFourCC_rgn);
      ltxt.resize(20, 0);  // country, language, dialect, code page
      SubChunk(adtl, kFourCC_ltxt, ltxt);
    }
    for (const MarkerSample& m : markers) {
      if (m.text.empty() || !Fits32(m.position)) continue;
      std::vector<BYTE> labl;
      Put32(labl, m.id);
      const std::string text = platform::ToCodePage(m.text, CP_ACP);
      labl.insert(labl.end(), text.begin(), text.end());
      labl.push_back(0);
      SubChunk(adtl, kFourCC_labl, labl);
    }
    VANE_RETURN_IF_FAILED(AppendChunk(file, kFourCC_LIST, adtl.data(), static_cast<DWORD>(adtl.size())));
  }
  if (extended) {
    const std::vector<BYTE> zo = ExtendedBody(markers);
    VANE_RETURN_IF_FAILED(AppendChunk(file, kFourCC_zo01, zo.data(), static_cast<DWORD>(zo.size())));
  }
  return S_OK;
}

}  // namespace vane::riff

namespace {

struct DeleteRow {
  DWORD bit;
  DWORD tag;
  BOOL list;
};

// The fixed order of the deletes; only the first chunk of a tag goes per call.
constexpr DeleteRow kDeletes[] = {
    {0x1, ZoFourCC("INFO"), TRUE},       {0x4, ZoFourCC("cue "), FALSE},     {0x4, ZoFourCC("adtl"), TRUE},
    {0x4, ZoFourCC("zo01"), FALSE},      {0x100000, ZoFourCC("zo04"), FALSE}, {0x10, ZoFourCC("scot"), FALSE},
    {0x20, ZoFourCC("plst"), FALSE},     {0x20, ZoFourCC("zo02"), FALSE},     {0x40, ZoFourCC("tlst"), FALSE},
    {0x80, ZoFourCC("DISP"), FALSE},     {0x100, ZoFourCC("smpl"), FALSE},    {0x2000000, ZoFourCC("CDif"), FALSE},
    {0x4000, ZoFourCC("str2"), FALSE},   {0x8000, ZoFourCC("bmrk"), FALSE},   {0x10000, ZoFourCC("dtbt"), FALSE},
    {0x40000, ZoFourCC("pic "), TRUE},   {0x200000, ZoFourCC("bmpi"), FALSE}, {0x400000, ZoFourCC("bmpm"), FALSE},
};

struct Wave64Row {
  DWORD bit;
  const GUID* guid;
};
// {C42554A2-0DE9-41F5-BFF2-C32573F905E3}, the commands kind (deleted, never written).
constexpr GUID kW64_commands = VANE_GUID(0xC42554A2, 0x0DE9, 0x41F5, 0xBF, 0xF2, 0xC3, 0x25, 0x73, 0xF9, 0x05, 0xE3);

const Wave64Row kDeletes64[] = {
    {0x1, &kW64_info}, {0x2, &kW64_commands}, {0x4, &kW64_cue},   {0x100000, &kW64_zo04}, {0x10, &kW64_scot},   {0x20, &kW64_plst},
    {0x40, &kW64_tlst}, {0x80, &kW64_DISP}, {0x100, &kW64_smpl},    {0x2000000, &kW64_CDif}, {0x4000, &kW64_str2},
    {0x8000, &kW64_bmrk}, {0x10000, &kW64_dtbt}, {0x40000, &kW64_pic}, {0x200000, &kW64_bmpi}, {0x400000, &kW64_bmpm},
};

}  // namespace

namespace vane::riff {
namespace {

bool DeletesChunk(DWORD kinds, const BYTE* head, const BYTE* listType) {
  const DWORD id = vane::riff::detail::Le32(head);
  for (const DeleteRow& row : kDeletes) {
    if (!(kinds & row.bit)) continue;
    if (row.list ? id == ZoFourCC("LIST") && listType && vane::riff::detail::Le32(listType) == row.tag : id == row.tag)
      return true;
  }
  return false;
}

// Deletes in an RF64 file never move the audio: a chunk behind the audio is
// cut out of the tail (which is written again and the file cut), one ahead
// of it becomes "JUNK" of the same size. "ds64" follows the new form size.
HRESULT DeleteChunksRf64(HANDLE file, DWORD kinds) {
  Form form;
  VANE_RETURN_IF_FAILED(ReadForm(file, &form));
  BYTE ds64[28];
  if (!FileSeek(file, 12, FILE_BEGIN)) return ZOERR_FILE_READ;
  BYTE ds64Head[8];
  if (!FileReadExact(file, ds64Head, 8) || !FileReadExact(file, ds64, 28)) return ZOERR_FILE_READ;
  const ULONGLONG dataBytes = vane::riff::detail::Le64(ds64 + 8);
  std::int64_t at = 20 + ((std::int64_t(vane::riff::detail::Le32(ds64Head + 4)) + 1) & ~1);
  std::int64_t tailStart = -1;
  while (at + 8 <= form.end) {
    BYTE head[12] = {};
    if (!FileSeek(file, at, FILE_BEGIN) || !FileReadExact(file, head, 8)) return ZOERR_FILE_READ;
    const bool data = std::memcmp(head, "data", 4) == 0;
    const ULONGLONG size = data ? dataBytes : vane::riff::detail::Le32(head + 4);
    if (std::int64_t(8 + size) > form.end - at) return ZOERR_FILE_READ;  // a size past the form
    if (!data && size >= 4 && !FileReadExact(file, head + 8, 4)) return ZOERR_FILE_READ;
    const std::int64_t next = at + 8 + std::int64_t((size + 1) & ~1ull);
    if (data) {
      tailStart = next < form.end ? next : form.end;
      break;
    }
    if (DeletesChunk(kinds, head, size >= 4 ? head + 8 : nullptr)) {
      static const BYTE junk[4] = {'J', 'U', 'N', 'K'};
      if (!FileSeek(file, at, FILE_BEGIN) || !FileWriteExact(file, junk, 4)) return ZOERR_FILE_WRITE;
    }
    at = next;
  }
  if (tailStart < 0 || tailStart >= form.end) return S_OK;
  const std::int64_t tailBytes = form.end - tailStart;
  if (tailBytes > (std::int64_t(64) << 20)) return ZOERR_FILE_TOO_LARGE;
  std::vector<BYTE> tail(static_cast<size_t>(tailBytes));
  if (!FileSeek(file, tailStart, FILE_BEGIN) || !FileReadExact(file, tail.data(), DWORD(tail.size())))
    return ZOERR_FILE_READ;
  std::vector<BYTE> kept;
  for (size_t pos = 0; pos + 8 <= tail.size();) {
    const ULONGLONG size = vane::riff::detail::Le32(&tail[pos + 4]);
    const size_t whole = size_t(std::min<ULONGLONG>(8 + ((size + 1) & ~1ull), tail.size() - pos));
    if (!DeletesChunk(kinds, &tail[pos], size >= 4 && whole >= 12 ? &tail[pos + 8] : nullptr))
      kept.insert(kept.end(), tail.begin() + long(pos), tail.begin() + long(pos + whole));
    pos += whole;
  }
  if (kept.size() == tail.size()) return S_OK;
  if (!FileSeek(file, tailStart, FILE_BEGIN) || (!kept.empty() && !FileWriteExact(file, kept.data(), DWORD(kept.size()))) ||
      !FileTruncate(file))
    return ZOERR_FILE_WRITE;
  return GrowForm(file, form, std::int64_t(kept.size()) - tailBytes);
}

bool IsRf64(HANDLE file) {
  BYTE id[4];
  return FileSeek(file, 0, FILE_BEGIN) && FileReadExact(file, id, 4) &&
         (std::memcmp(id, "RF64", 4) == 0 || std::memcmp(id, "BW64", 4) == 0);
}

}  // namespace
}  // namespace vane::riff

VANE_EXTERN_C HRESULT ZoFMMeta_DeleteMetaChunksEx(LPCWSTR name, DWORD kinds, BOOL isWave64) {
  if (!name) return E_INVALIDARG;
  HANDLE file = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return S_OK;
  HRESULT hr = S_OK;
  if (!isWave64 && vane::riff::IsRf64(file)) {
    hr = vane::riff::DeleteChunksRf64(file, kinds);
  } else if (isWave64) {
    for (const Wave64Row& row : kDeletes64) {
      if (!(kinds & row.bit)) continue;
      ULONGLONG removed = 0;
      const HRESULT r = riff64_DeleteChunk(file, row.guid, &removed);
      if (FAILED(r) && r != ZOERR_NOT_FOUND && r != ZOERR_FILE_READ) {
        hr = r;
        break;
      }
    }
  } else {
    for (const DeleteRow& row : kDeletes) {
      if (!(kinds & row.bit)) continue;
      DWORD removed = 0;
      const HRESULT r = riff_DeleteChunk(file, row.tag, &removed, row.list);
      // A walk that reaches the end without the chunk reports "not found" or a short read.
      if (FAILED(r) && r != ZOERR_NOT_FOUND && r != ZOERR_FILE_READ) {
        hr = r;
        break;
      }
    }
  }
  CloseHandle(file);
  return hr;
}

VANE_EXTERN_C HRESULT ZoFMMeta_DeleteMetaChunks(LPCWSTR name) {
  return ZoFMMeta_DeleteMetaChunksEx(name, ZOFIO_META_MARKERS, FALSE);
}

VANE_EXTERN_C HRESULT ZoFMMeta_LookForMarkers(LPCWSTR name) {
  HANDLE file = name ? CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)
                     : INVALID_HANDLE_VALUE;
  if (file == INVALID_HANDLE_VALUE) return ZOERR_NOT_FOUND;
  DWORD size = 0;
  const HRESULT hr = riff_FindChunkHeaderInRIFF(file, ZoFourCC("cue "), &size, nullptr);
  CloseHandle(file);
  return SUCCEEDED(hr) ? S_OK : ZOERR_NOT_FOUND;
}
