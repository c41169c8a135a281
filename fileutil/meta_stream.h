// SPDX-License-Identifier: MIT
// Metadata streams over a MetaMap, and their reader.
//
// A metadata stream is a 28-byte stream header (cbHeader 28, version 100,
// item count, GUID of the kind) followed by that many items, each a 28-byte
// item header (cbHeader 28, version 100, GUID of the kind, cbData) and
// cbData bytes. MetaStream is a read-only memory IStream whose bytes are
// built once by an Init of one of its forms:
//
//   MetaGenericStream       one item per generic blob of one GUID
//   MetaSummaryStream       one item per text item: {12, tag, cbText} + text
//   MetaMarkerStream        the map's markers (sample form) in time form
//   MetaLegacyMarkerStream  a time-form marker stream back in sample form
//   MetaEntryStream         a 12-byte head {12, 100, count} and the blobs of
//                           one GUID as they stand, without item framing
//
// Objects are reference-counted and born with one reference; Read, Seek
// (byte positions, any origin), Stat and Clone work, Write and the other
// slots answer 0x80004001. One object belongs to one thread at a time.
//
// ReadMetaStream is the hostile-input side: it validates the framing and
// gives 0x8004E008 for anything damaged, without trusting counts or sizes.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "fileutil/metamap.h"
#include "platform/com.h"
#include "platform/export.h"
#include "platform/istream.h"

namespace fileutil {

inline constexpr DWORD kMetaHeaderBytes = 28;
inline constexpr DWORD kMetaVersion = 100;
// Items larger than this are refused by the reader (and never written).
inline constexpr DWORD kMetaMaxItemBytes = 64u << 20;

struct ZOMETASTREAMHEADER {
  DWORD cbHeader;  // 28
  DWORD version;   // 100
  DWORD count;
  GUID guid;
};
static_assert(sizeof(ZOMETASTREAMHEADER) == 28);
static_assert(offsetof(ZOMETASTREAMHEADER, count) == 8 && offsetof(ZOMETASTREAMHEADER, guid) == 12);

struct ZOMETAITEMHEADER {
  DWORD cbHeader;  // 28
  DWORD version;   // 100
  GUID guid;
  DWORD cbData;
};
static_assert(sizeof(ZOMETAITEMHEADER) == 28);
static_assert(offsetof(ZOMETAITEMHEADER, guid) == 8 && offsetof(ZOMETAITEMHEADER, cbData) == 24);

#pragma pack(push, 4)
// Marker in time form (what GetMarkers hands out): 100 ns units.
struct ZOMETAMARKERTIME {
  DWORD cb;  // 28
  LONGLONG start;
  LONGLONG length;
  DWORD region;  // 0 marker, 1 region
  DWORD cbText;  // bytes of zero-terminated UTF-16 text that follow
};
// Marker in sample form (the stream and generic of the marker kind).
struct ZOMETAMARKERSAMPLE {
  DWORD cb;  // 28
  DWORD id;
  LONGLONG position;
  LONGLONG length;  // -1: a marker with no length
  DWORD cbText;
};
#pragma pack(pop)
static_assert(sizeof(ZOMETAMARKERTIME) == 28);
static_assert(offsetof(ZOMETAMARKERTIME, start) == 4 && offsetof(ZOMETAMARKERTIME, length) == 12 &&
              offsetof(ZOMETAMARKERTIME, region) == 20 && offsetof(ZOMETAMARKERTIME, cbText) == 24);
static_assert(sizeof(ZOMETAMARKERSAMPLE) == 28);
static_assert(offsetof(ZOMETAMARKERSAMPLE, position) == 8 && offsetof(ZOMETAMARKERSAMPLE, length) == 16 &&
              offsetof(ZOMETAMARKERSAMPLE, cbText) == 24);

// Head of a summary item's data; UTF-16 text with its terminator follows.
struct ZOMETASUMMARYHEAD {
  DWORD cb;  // 12
  DWORD tag;
  DWORD cbText;
};
static_assert(sizeof(ZOMETASUMMARYHEAD) == 12);

// Head of an entry stream (user-defined properties, stretch points).
struct ZOMETAENTRYHEAD {
  DWORD cb;       // 12
  DWORD version;  // 100
  DWORD count;
};
static_assert(sizeof(ZOMETAENTRYHEAD) == 12);

// The kinds of metadata (ZOFIO_TYPESOFMETADATA bits) and their stream GUIDs.
struct MetaKind {
  DWORD bit;
  GUID guid;
};
VANE_EXPORT extern const MetaKind kMetaKinds[20];
// The bit of a stream GUID, or 0 for a GUID that is no kind. The sampler
// GUID answers 0x100 (its AIFF twin 0x200 shares it).
VANE_EXPORT DWORD MetaKindOfGuid(const GUID& guid);
// The GUID of a kind bit, or null for a bit that is no kind.
VANE_EXPORT const GUID* MetaGuidOfKind(DWORD bit);

// {925F94BC-525A-11D2-86DC-00C04F8EDB8A}
inline constexpr GUID GUID_ZoMetaSummary = VANE_GUID(0x925F94BC, 0x525A, 0x11D2, 0x86, 0xDC, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
// {ABF76256-392D-11D2-86C7-00C04F8EDB8A}
inline constexpr GUID GUID_ZoMetaMarkers = VANE_GUID(0xABF76256, 0x392D, 0x11D2, 0x86, 0xC7, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);

// 100 ns units and samples at `rate`, both rounded half up; time 0 at rate 0.
VANE_EXPORT LONGLONG MetaSamplesFromTime(LONGLONG time, DWORD rate);
VANE_EXPORT LONGLONG MetaTimeFromSamples(LONGLONG samples, DWORD rate);

// Positions and lengths come from file bytes; their sums and differences
// saturate near the 64-bit limits instead of overflowing.
inline LONGLONG SatAdd(LONGLONG a, LONGLONG b) {
  LONGLONG r;
  if (!__builtin_add_overflow(a, b, &r)) return r;
  return b > 0 ? LONGLONG(9.2e18) : LONGLONG(-9.2e18);
}
inline LONGLONG SatSub(LONGLONG a, LONGLONG b) {
  LONGLONG r;
  if (!__builtin_sub_overflow(a, b, &r)) return r;
  return b < 0 ? LONGLONG(9.2e18) : LONGLONG(-9.2e18);
}

class VANE_EXPORT MetaStream : public IStream {
 public:
  MetaStream(const MetaStream&) = delete;
  MetaStream& operator=(const MetaStream&) = delete;

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  // S_OK with fewer bytes than asked at the end; 0 bytes once finished.
  HRESULT Read(void* buffer, ULONG count, ULONG* read) override;
  HRESULT Write(const void* buffer, ULONG count, ULONG* written) override;
  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override;
  HRESULT SetSize(ULARGE_INTEGER size) override;
  HRESULT CopyTo(IStream* to, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written) override;
  HRESULT Commit(DWORD flags) override;
  HRESULT Revert() override;
  HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
  HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
  HRESULT Stat(STATSTG* stat, DWORD flags) override;
  HRESULT Clone(IStream** out) override;

  // The item count written in the header.
  DWORD Count() const { return m_count; }
  const std::vector<std::uint8_t>& Bytes() const { return m_bytes; }

 protected:
  MetaStream();
  virtual ~MetaStream();

  // Starts over with a 28-byte stream header of `guid` and count 0.
  void BeginFramed(const GUID& guid);
  // Starts over with a 12-byte entry head and count 0.
  void BeginEntries();
  // Appends an item of the stream's GUID whose data is head + tail (tail
  // may be empty), and counts it. False, and nothing added, above the cap.
  bool AddItem(const void* head, std::size_t headBytes, const void* tail = nullptr, std::size_t tailBytes = 0);
  // Appends an entry as it stands, and counts it.
  bool AddEntry(const std::vector<std::uint8_t>& entry);

 private:
  std::atomic<ULONG> m_refs{1};
  std::vector<std::uint8_t> m_bytes;
  std::size_t m_pos = 0;
  bool m_framed = true;
  DWORD m_count = 0;
  GUID m_guid{};
};

class VANE_EXPORT MetaGenericStream final : public MetaStream {
 public:
  MetaGenericStream() = default;
  // Items of every generic blob of `guid`, in the map's order.
  HRESULT Init(const MetaMap& map, const GUID& guid);
};

class VANE_EXPORT MetaSummaryStream final : public MetaStream {
 public:
  MetaSummaryStream() = default;
  // One item per text item, in key order.
  HRESULT Init(const MetaMap& map);
};

class VANE_EXPORT MetaMarkerStream final : public MetaStream {
 public:
  MetaMarkerStream() = default;
  // The map's marker generics (sample form) converted to time form with
  // `rate`: region when the length isn't -1, its length the difference of
  // the converted end and start. A damaged generic is passed over.
  HRESULT Init(const MetaMap& map, DWORD rate);
};

class VANE_EXPORT MetaLegacyMarkerStream final : public MetaStream {
 public:
  MetaLegacyMarkerStream() = default;
  // Reads a time-form marker stream and presents it in sample form: ids
  // count from 1, a record that is no region gets length -1. 0x8004E008 for
  // damaged framing or records.
  HRESULT Init(IStream* timeForm, DWORD rate);
};

class VANE_EXPORT MetaEntryStream final : public MetaStream {
 public:
  MetaEntryStream() = default;
  // The entry head and every generic blob of `guid` as it stands.
  HRESULT Init(const MetaMap& map, const GUID& guid);
};

// One item of a stream read back.
struct MetaItem {
  GUID guid{};
  std::vector<std::uint8_t> data;
};

struct MetaStreamContent {
  GUID guid{};
  DWORD count = 0;  // as the header says; items.size() equals it on success
  std::vector<MetaItem> items;
};

// Reads a whole framed stream: header then `count` items. 0x8004E008 when
// the header or an item header is short or isn't cbHeader 28 and version
// 100, when an item is above kMetaMaxItemBytes, or when data end early;
// E_INVALIDARG for null arguments. On failure `out->items` keeps the items
// that arrived whole before the damage. Memory grows only with bytes that
// arrive. This is the one reader of the framing; the map fillers below and
// MetaMap::init/initGeneric go through it.
[[nodiscard]] VANE_EXPORT HRESULT ReadMetaStream(IStream* stream, MetaStreamContent* out);
// Reads an entry stream: the 12-byte head, then `count` entries, each a
// fixed head of `headBytes` and as many bytes in all as `totalBytes(head)`
// says (at least headBytes). 0x8004E008 on damage.
using EntrySizeFn = std::function<std::uint64_t(const std::uint8_t* head)>;
[[nodiscard]] VANE_EXPORT HRESULT ReadMetaEntryStream(IStream* stream, std::uint32_t headBytes,
                                                      const EntrySizeFn& totalBytes,
                                                      std::vector<std::vector<std::uint8_t>>* out);

// Item data decoders: 0x8004E008 when the record is short or its sizes
// disagree with the bytes.
[[nodiscard]] VANE_EXPORT HRESULT ParseSummaryItem(const std::vector<std::uint8_t>& data, DWORD* tag,
                                                   std::u16string* text);
[[nodiscard]] VANE_EXPORT HRESULT ParseMarkerTime(const std::vector<std::uint8_t>& data, ZOMETAMARKERTIME* record,
                                                  std::u16string* text);
[[nodiscard]] VANE_EXPORT HRESULT ParseMarkerSample(const std::vector<std::uint8_t>& data,
                                                    ZOMETAMARKERSAMPLE* record, std::u16string* text);
// Record bytes of a marker in sample form, as the map's generics hold them.
VANE_EXPORT std::vector<std::uint8_t> MakeMarkerSample(DWORD id, LONGLONG position, LONGLONG length,
                                                       const std::u16string& text);

// Fill a map from framed streams, the forms MetaSummaryStream and
// MetaGenericStream (or MetaLegacyMarkerStream) hand out, read from the
// stream's present position. Summary: each item of the summary GUID whose
// data is {12, tag, cbText} + text becomes a text item (the first text of a
// tag wins). Generic: each item's data becomes a generic under its item
// GUID. Every intact item before any damage is added; the status is
// 0x8004E008 when the framing is damaged or, for summary, when an item is
// of another kind or its record is broken (that item is skipped and the
// reading goes on). E_INVALIDARG for null arguments.
[[nodiscard]] VANE_EXPORT HRESULT InitMapFromSummaryStream(IStream* stream, MetaMap* map);
[[nodiscard]] VANE_EXPORT HRESULT InitMapFromGenericStream(IStream* stream, MetaMap* map);

}  // namespace fileutil
