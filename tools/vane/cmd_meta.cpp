// SPDX-License-Identifier: MIT
// vane meta FILE [--json] [--set DIALECT.KEY=VALUE]... [--delete DIALECT.KEY]...
// Every metadata item of a Wave or Wave64 file in one shape: a list of
// {dialect, key, value}; markers and regions add position and length in
// samples (length -1 for a marker). Dialects: "info" (the summary items the reader
// offers), "bext" (broadcast fields, named as ffmpeg's bext keys) and "ixml"
// (node paths such as SCENE, SPEED/TIMECODE_RATE, TRACK_LIST/TRACK[2]/NAME;
// elements the node table does not know come as unknown[N] with their XML),
// "marker" and "region" (key: the cue id, value: the label), "loop" (key:
// the loop id, value: its kind) and "smpl" (the sampler's unity note).
// info items are deleted and written again as one "LIST" "INFO" behind the
// audio; bext and ixml items are edited in place by the chunks' update rule;
// markers are deleted and written again behind the audio. Neither moves the
// samples.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/memory.h"
#include "platform/wtext.h"
#include "fileutil/meta_stream.h"
#include "riff/bwf_riff.h"
#include "riff/meta_cues.h"
#include "riff/meta_sampler.h"
#include "riff/meta_write.h"
#include "riff/riff_api.h"
#include "riff/summary.h"
#include "tools/vane/cli.h"
#include "tools/vane/manager_hold.h"
#include "tools/vane/summary_tags.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"meta",
                       "meta FILE [--json] [--set DIALECT.KEY=VALUE]... [--delete DIALECT.KEY]... "
                       "[--add-marker POS[:LABEL]]... [--add-region POS+LEN[:LABEL]]... [--delete-markers]",
                       "every metadata item of a Wave file (info, bext, ixml, markers); edits bext, ixml and markers",
                       &Run};
const Registrar kReg(kCommand);

std::string Utf8(const std::u16string& s) { return platform::ToUtf8(s); }

struct Item {
  std::string dialect, key, value;
  bool positioned = false;  // markers and regions carry a sample position and length
  LONGLONG position = 0, length = -1;
};

std::vector<Item> MarkerItems(const std::vector<riff::MarkerSample>& markers) {
  std::vector<Item> items;
  for (const riff::MarkerSample& m : markers) {
    Item it{m.length >= 0 ? "region" : "marker", std::to_string(m.id), Utf8(m.text)};
    it.positioned = true;
    it.position = m.position;
    it.length = m.length;
    items.push_back(std::move(it));
  }
  return items;
}

// The sampler's loops (start and length in samples) and its unity note.
std::vector<Item> SamplerItems(HANDLE file, bool wave64, DWORD rate) {
  std::vector<Item> items;
  BYTE* block = nullptr;
  DWORD size = 0;
  const HRESULT hr = wave64 ? ZoFMMeta64_fillSamplerinfoFromFileEx(file, &block, &size, rate)
                            : ZoFMMeta_fillSamplerinfoFromFileEx(file, &block, &size, FALSE, rate);
  const size_t headBytes = sizeof(fileutil::ZOMETASTREAMHEADER) + sizeof(fileutil::ZOMETAITEMHEADER);
  if (SUCCEEDED(hr) && block && size >= headBytes + ZOSAMPLER_RECORD_BYTES) {
    ZOSAMPLERHEAD head{};
    std::memcpy(&head, block + headBytes, sizeof head);
    items.push_back({"smpl", "unity_note", std::to_string(head.unityNote)});
    static const char* const kTypes[] = {"forward", "alternating", "backward"};
    for (DWORD i = 0; i < head.loopCount && i < ZOSAMPLER_MAX_LOOPS; ++i) {
      ZOSAMPLERLOOP loop{};
      std::memcpy(&loop, block + headBytes + sizeof head + i * sizeof loop, sizeof loop);
      Item it{"loop", std::to_string(loop.id), loop.type < 3 ? kTypes[loop.type] : std::to_string(loop.type)};
      it.positioned = true;
      it.position = loop.start;
      it.length = loop.length;
      items.push_back(std::move(it));
    }
  }
  if (block) GlobalFree(block);
  return items;
}

// "POS[:LABEL]" for a marker, "POS+LEN[:LABEL]" for a region, in samples.
bool ParseMarker(const std::string& text, bool region, riff::MarkerSample* m) {
  const size_t colon = text.find(':');
  const std::string where = text.substr(0, colon);
  char* end = nullptr;
  m->position = std::strtoll(where.c_str(), &end, 10);
  if (end == where.c_str() || m->position < 0) return false;
  m->length = -1;
  if (region) {
    if (*end != '+') return false;
    const char* len = end + 1;
    m->length = std::strtoll(len, &end, 10);
    if (end == len || m->length < 0) return false;
  }
  if (*end) return false;
  m->text = colon == std::string::npos ? std::u16string() : platform::FromUtf8(text.substr(colon + 1));
  return true;
}

struct BextKey {
  const char* key;
  int field;
};
constexpr BextKey kBextKeys[] = {
    {"description", ZOBWF_DESCRIPTION},   {"originator", ZOBWF_ORIGINATOR},
    {"originator_reference", ZOBWF_ORIGINATOR_REFERENCE}, {"origination_date", ZOBWF_ORIGINATION_DATE},
    {"origination_time", ZOBWF_ORIGINATION_TIME},         {"time_reference", ZOBWF_TIME_REFERENCE},
    {"version", ZOBWF_VERSION},           {"umid", ZOBWF_UMID},
    {"coding_history", ZOBWF_CODING_HISTORY},
};

// "GROUP/NAME" or "NAME" for a node row.
std::string PathOf(const ZOIXML_NODE_INFO& row) {
  return row.parent && std::strcmp(row.parent, "BWFXML") != 0 ? std::string(row.parent) + "/" + row.name : row.name;
}

std::vector<Item> BwfItems(const _tagZOBWF_Chunk& r) {
  std::vector<Item> items;
  if (r.flags & ZOBWF_FLAG_BEXT)
    for (const BextKey& k : kBextKeys)
      if (r.fields[k.field].present && !r.fields[k.field].text.empty() &&
          !(k.field == ZOBWF_UMID && r.fields[k.field].text.find_first_not_of(u'0') == std::u16string::npos))
        items.push_back({"bext", k.key, Utf8(r.fields[k.field].text)});
  for (int v = ZOIXML_IXML_VERSION; v < ZOIXML_BEXT; ++v) {
    const ZOIXML_NODE_INFO* row = GetIxmlInfoIndexForMetaIdxGlobal(&r, v);
    if (row && row->level != -2 && r.fields[v].present && !r.fields[v].text.empty()) items.push_back({"ixml", PathOf(*row), Utf8(r.fields[v].text)});
  }
  if (r.fields[ZOIXML_TRACK_COUNT].present) items.push_back({"ixml", "TRACK_LIST/TRACK_COUNT", Utf8(r.fields[ZOIXML_TRACK_COUNT].text)});
  const auto entries = [&](const std::vector<ZOBWF_LIST_ENTRY>& list, const char* prefix, int first, int last) {
    for (size_t i = 0; i < list.size(); ++i)
      for (int v = first; v <= last; ++v)
        if (list[i].values[v - first].present)
          items.push_back({"ixml", std::string(prefix) + "[" + std::to_string(i + 1) + "]/" +
                                       GetIxmlInfoIndexForMetaIdxGlobal(&r, v)->name,
                           Utf8(list[i].values[v - first].text)});
  };
  entries(r.tracks, "TRACK_LIST/TRACK", ZOIXML_CHANNEL_INDEX, ZOIXML_FUNCTION);
  if (r.fields[ZOIXML_SYNC_POINT_COUNT].present)
    items.push_back({"ixml", "SYNC_POINT_LIST/SYNC_POINT_COUNT", Utf8(r.fields[ZOIXML_SYNC_POINT_COUNT].text)});
  entries(r.syncPoints, "SYNC_POINT_LIST/SYNC_POINT", ZOIXML_SYNC_POINT_TYPE, ZOIXML_SYNC_POINT_EVENT_DURATION);
  for (size_t i = 0; i < r.unknown.size(); ++i) items.push_back({"ixml", "unknown[" + std::to_string(i + 1) + "]", r.unknown[i]});
  return items;
}

// Applies one edit to the record; false when the key is not one this command edits.
bool Apply(_tagZOBWF_Chunk& r, const std::string& dialect, const std::string& key, const std::string* value) {
  ZOBWF_FIELD field{value ? TRUE : FALSE, value ? platform::FromUtf8(*value) : std::u16string()};
  if (dialect == "bext") {
    for (const BextKey& k : kBextKeys) {
      if (key != k.key) continue;
      r.fields[k.field] = field;
      r.flags |= ZOBWF_FLAG_BEXT;
      if (k.field == ZOBWF_TIME_REFERENCE) r.timeReference = value ? std::strtoull(value->c_str(), nullptr, 10) : 0;
      if (k.field == ZOBWF_VERSION) r.version = static_cast<WORD>(value ? std::strtoul(value->c_str(), nullptr, 10) : 0);
      if (k.field == ZOBWF_TIME_REFERENCE || k.field == ZOBWF_ORIGINATION_DATE || k.field == ZOBWF_ORIGINATION_TIME)
        r.flags |= ZOBWF_FLAG_TIME;
      return true;
    }
    return false;
  }
  if (dialect != "ixml") return false;
  for (int v = ZOIXML_IXML_VERSION; v < ZOIXML_BEXT; ++v) {
    const ZOIXML_NODE_INFO* row = GetIxmlInfoIndexForMetaIdxGlobal(&r, v);
    if (row && row->level != -2 && PathOf(*row) == key) {
      r.fields[v] = field;
      return true;
    }
  }
  return false;
}

// The file's summary items (INFO, or the Wave64 summary chunk).
HRESULT LoadSummary(HANDLE file, bool wave64, ZOSUMMARY* summary) {
  if (wave64) {
    ULONGLONG size = 0;
    if (FAILED(riff64_FindChunkHeaderInRIFF(file, &kW64_info, &size, nullptr))) return S_OK;
    std::vector<BYTE> body(static_cast<size_t>(std::min<ULONGLONG>(size, 1u << 20)));
    DWORD got = 0;
    if (!ReadFile(file, body.data(), static_cast<DWORD>(body.size()), &got, nullptr)) return ZOERR_FILE_READ;
    return ZoSummary_LoadW64(body.data(), got, summary);
  }
  DWORD size = 0;
  const HRESULT found = rf64_IsRf64(file) ? rf64_FindListChunk(file, ZoFourCC("INFO"), &size)
                                           : riff_FindListChunkFromStart(file, ZoFourCC("INFO"), &size);
  if (FAILED(found)) return S_OK;
  return ZoSummary_Load(file, summary, &size);
}

// Delete-then-append of the summary kind: the list goes behind the audio.
HRESULT SaveSummary(const std::u16string& name, bool wave64, const ZOSUMMARY& summary) {
  VANE_RETURN_IF_FAILED(ZoFMMeta_DeleteMetaChunksEx(name.c_str(), ZOFIO_META_SUMMARY, wave64 ? TRUE : FALSE));
  if (summary.count == 0) return S_OK;
  HANDLE h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
  HRESULT hr;
  if (wave64) {
    ULONGLONG size = 0;
    hr = ZoSummary_SaveW64(&summary, nullptr, &size);
    std::vector<BYTE> body(static_cast<size_t>(size));
    if (SUCCEEDED(hr)) hr = ZoSummary_SaveW64(&summary, body.data(), &size);
    if (SUCCEEDED(hr)) hr = riff::AppendChunk64(h, kW64_info, body.data(), static_cast<DWORD>(size));
  } else {
    // Behind the audio; an RF64 form grows in its ds64 size.
    hr = riff::WriteSummaryChunk(h, &summary);
  }
  CloseHandle(h);
  return hr;
}

// "INAM" from "info.INAM": four characters, padded with spaces.
bool InfoTag(const std::string& key, DWORD* tag) {
  if (key.empty() || key.size() > 4) return false;
  std::string k = key;
  k.resize(4, ' ');
  *tag = DWORD(BYTE(k[0])) | DWORD(BYTE(k[1])) << 8 | DWORD(BYTE(k[2])) << 16 | DWORD(BYTE(k[3])) << 24;
  return true;
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  std::vector<std::pair<std::string, std::optional<std::string>>> edits;
  while (auto set = args.Option("--set")) {
    const size_t eq = set->find('=');
    if (eq == std::string::npos) return UsageError(kCommand, "--set takes DIALECT.KEY=VALUE");
    edits.emplace_back(set->substr(0, eq), set->substr(eq + 1));
  }
  while (auto del = args.Option("--delete")) edits.emplace_back(*del, std::nullopt);
  std::vector<riff::MarkerSample> added;
  for (const bool region : {false, true}) {
    while (auto spec = args.Option(region ? "--add-region" : "--add-marker")) {
      riff::MarkerSample m;
      if (!ParseMarker(*spec, region, &m))
        return UsageError(kCommand, region ? "--add-region takes POS+LEN[:LABEL]" : "--add-marker takes POS[:LABEL]");
      added.push_back(std::move(m));
    }
  }
  const bool clearMarkers = args.Flag("--delete-markers");
  const bool markerEdit = clearMarkers || !added.empty();
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1) return UsageError(kCommand, "one file is needed");
  const std::string& file = files[0];
  const std::u16string name = platform::FromUtf8(file);

  HANDLE h = CreateFileW(name.c_str(), edits.empty() && !markerEdit ? GENERIC_READ : (GENERIC_READ | GENERIC_WRITE), FILE_SHARE_READ,
                         nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return Failure(HRESULT_FROM_WIN32(GetLastError()), file);
  BYTE head[4] = {};
  DWORD got = 0;
  ReadFile(h, head, 4, &got, nullptr);
  const bool wave64 = got == 4 && std::memcmp(head, "riff", 4) == 0;
  _tagZOBWF_Chunk record;
  BOOL found = FALSE;
  HRESULT hr = wave64 ? bwfriff64_LoadInfo(h, &record, &found) : bwfriff_LoadInfo(h, &record, &found);
  if (FAILED(hr)) {
    CloseHandle(h);
    return Failure(hr, file);
  }
  bool infoEdit = false, bwfEdit = false;
  ZOSUMMARY summary{};
  if (!edits.empty()) {
    hr = LoadSummary(h, wave64, &summary);
    for (const auto& [path, value] : edits) {
      const size_t dot = path.find('.');
      const std::string dialect = dot == std::string::npos ? std::string() : path.substr(0, dot);
      const std::string key = dot == std::string::npos ? std::string() : path.substr(dot + 1);
      DWORD tag = 0;
      bool ok;
      if (dialect == "info") {
        ok = InfoTag(key, &tag) &&
             SUCCEEDED(ZoSummary_SetItem(&summary, tag, value ? platform::FromUtf8(*value).c_str() : nullptr));
        infoEdit = true;
      } else {
        ok = Apply(record, dialect, key, value ? &*value : nullptr);
        bwfEdit = true;
      }
      if (!ok) {
        CloseHandle(h);
        ZoSummary_Free(&summary);
        return UsageError(kCommand, "cannot edit " + path + " (info.TAG, bext.KEY or ixml.PATH)");
      }
    }
  }
  if (!edits.empty()) {
    if (bwfEdit && SUCCEEDED(hr)) hr = bwfriff_SaveInfo(h, &record, wave64 ? TRUE : FALSE);
    CloseHandle(h);
    if (infoEdit && SUCCEEDED(hr)) hr = SaveSummary(name, wave64, summary);
    ZoSummary_Free(&summary);
    if (FAILED(hr)) return Failure(hr, file);
    h = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    record = _tagZOBWF_Chunk();
    if (h == INVALID_HANDLE_VALUE) return Failure(HRESULT_FROM_WIN32(GetLastError()), file);
    hr = wave64 ? bwfriff64_LoadInfo(h, &record, &found) : bwfriff_LoadInfo(h, &record, &found);
  }
  std::vector<riff::MarkerSample> markers;
  std::vector<Item> sampler;
  if (SUCCEEDED(hr)) {
    markers = riff::ReadMarkerSamples(h, wave64, record.sampleRate);
    sampler = SamplerItems(h, wave64, record.sampleRate);
  }
  CloseHandle(h);
  if (FAILED(hr)) return Failure(hr, file);
  if (markerEdit) {
    // Delete-then-append: the marker chunks go behind the audio at the RIFF end.
    if (clearMarkers) markers.clear();
    DWORD next = 1;
    for (const riff::MarkerSample& m : markers) next = std::max(next, m.id + 1);
    for (riff::MarkerSample& m : added) {
      m.id = next++;
      markers.push_back(std::move(m));
    }
    hr = ZoFMMeta_DeleteMetaChunksEx(name.c_str(), ZOFIO_META_MARKERS, wave64 ? TRUE : FALSE);
    if (SUCCEEDED(hr)) {
      h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
      if (h == INVALID_HANDLE_VALUE) return Failure(HRESULT_FROM_WIN32(GetLastError()), file);
      hr = wave64 ? riff::WriteMarkerChunks64(h, markers) : riff::WriteMarkerChunks(h, markers);
      if (SUCCEEDED(hr)) markers = riff::ReadMarkerSamples(h, wave64, record.sampleRate);
      CloseHandle(h);
    }
    if (FAILED(hr)) return Failure(hr, file);
  }

  std::vector<Item> items;
  ManagerHold manager;
  ComPtr<IZoReadFile> reader;
  if (SUCCEEDED(ZOFileIO_CreateInstance(&manager.m, 0)) &&
      SUCCEEDED(manager.m->OpenReadFile(name.c_str(), reader.ReleaseAndGetAddressOf(), 0)))
    for (auto& [key, text] : ReadSummaryTags(reader.Get())) items.push_back({"info", key, text});
  for (Item& item : BwfItems(record)) items.push_back(std::move(item));
  for (Item& item : MarkerItems(markers)) items.push_back(std::move(item));
  for (Item& item : sampler) items.push_back(std::move(item));

  if (json) {
    Json j;
    j.BeginObject().Field("file", file).Field("format", wave64 ? "wave64" : "wave");
    j.Field("sample_rate", std::uint64_t(record.sampleRate)).Field("channels", std::uint64_t(record.channels));
    j.Key("items").BeginArray();
    for (const Item& i : items) {
      j.BeginObject().Field("dialect", i.dialect).Field("key", i.key).Field("value", i.value);
      if (i.positioned) j.Field("position", std::int64_t(i.position)).Field("length", std::int64_t(i.length));
      j.EndObject();
    }
    j.EndArray().EndObject();
    std::printf("%s\n", j.str().c_str());
    return kExitOk;
  }
  std::printf("%s: %s, %u Hz, %u channels, %zu items\n", file.c_str(), wave64 ? "Wave64" : "Wave",
              unsigned(record.sampleRate), unsigned(record.channels), items.size());
  for (const Item& i : items) {
    std::string key = i.key;
    if (i.positioned) key += " @" + std::to_string(i.position) + (i.length >= 0 ? "+" + std::to_string(i.length) : "");
    std::printf("  %-6s %-34s %s\n", i.dialect.c_str(), key.c_str(), i.value.c_str());
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
