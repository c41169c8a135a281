// SPDX-License-Identifier: MIT
// The bext chunk body to and from the record: texts in the ANSI code page,
// the time reference as two 32-bit halves, UMID, loudness values and the
// reserved bytes kept verbatim, the coding history behind the head.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/wtext.h"
#include "riff/bwf_info.h"

namespace {

using vane::platform::FromCodePage;
using vane::platform::ToCodePage;

std::u16string FieldText(const char* bytes, size_t size) {
  return FromCodePage(std::string_view(bytes, strnlen(bytes, size)), CP_ACP);
}

void SetField(_tagZOBWF_Chunk* r, int value, std::u16string text) {
  r->fields[value].present = TRUE;
  r->fields[value].text = std::move(text);
}

// Cuts a text to the field, with a forced terminator for the free texts;
// the date and time fields are fixed-width and fill their bytes.
void PutField(char* field, size_t size, const ZOBWF_FIELD& value, bool terminate = true) {
  std::memset(field, 0, size);
  if (!value.present) return;
  const std::string text = ToCodePage(value.text, CP_ACP);
  std::memcpy(field, text.data(), std::min(text.size(), terminate ? size - 1 : size));
}

std::u16string Decimal(ULONGLONG v) {
  char text[24];
  std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(v));
  return FromCodePage(text, CP_ACP);
}

}  // namespace

// A body shorter than the head (old or damaged writers) reads as if the
// rest were zeros.
VANE_EXTERN_C HRESULT ExtractBextContent(const BYTE* body, DWORD size, _tagZOBWF_Chunk* record) {
  if (!record || (!body && size)) return E_POINTER;
  if (size < 4) return MakeStatus(0x8004E00B);
  ZOBEXT_HEAD head{};
  std::memcpy(&head, body, std::min<size_t>(size, sizeof head));
  SetField(record, ZOBWF_DESCRIPTION, FieldText(head.description, sizeof head.description));
  SetField(record, ZOBWF_ORIGINATOR, FieldText(head.originator, sizeof head.originator));
  SetField(record, ZOBWF_ORIGINATOR_REFERENCE, FieldText(head.originatorReference, sizeof head.originatorReference));
  SetField(record, ZOBWF_ORIGINATION_DATE, FieldText(head.originationDate, sizeof head.originationDate));
  SetField(record, ZOBWF_ORIGINATION_TIME, FieldText(head.originationTime, sizeof head.originationTime));
  record->timeReference = (ULONGLONG{head.timeReferenceHigh} << 32) | head.timeReferenceLow;
  SetField(record, ZOBWF_TIME_REFERENCE, Decimal(record->timeReference));
  record->version = head.version;
  SetField(record, ZOBWF_VERSION, Decimal(head.version));
  std::memcpy(record->umid, head.umid, sizeof head.umid);
  std::u16string umid;
  for (BYTE b : head.umid) {
    static const char16_t kHex[] = u"0123456789ABCDEF";
    umid += kHex[b >> 4];
    umid += kHex[b & 15];
  }
  SetField(record, ZOBWF_UMID, umid);
  for (int i = 0; i < 5; ++i) {
    record->loudness[i] = head.loudness[i];
    SetField(record, ZOBWF_LOUDNESS_FIRST + i, Decimal(head.loudness[i]));
  }
  std::memcpy(record->reserved, head.reserved, sizeof head.reserved);
  record->fields[ZOBWF_RESERVED].present = TRUE;
  const size_t history = size > sizeof head ? size - sizeof head : 0;
  SetField(record, ZOBWF_CODING_HISTORY,
           history ? FieldText(reinterpret_cast<const char*>(body) + sizeof head, history) : std::u16string());
  record->flags |= ZOBWF_FLAG_BEXT | ZOBWF_FLAG_TIME;
  return S_OK;
}

VANE_EXTERN_C HRESULT BuildBextChunkGlobal(const _tagZOBWF_Chunk* record, BYTE* buffer, DWORD* size) {
  if (!record || !size) return E_POINTER;
  if (!(record->flags & ZOBWF_FLAG_BEXT)) return E_FAIL;
  const std::string history = record->fields[ZOBWF_CODING_HISTORY].present
                                  ? ToCodePage(record->fields[ZOBWF_CODING_HISTORY].text, CP_ACP)
                                  : std::string();
  const DWORD needed = static_cast<DWORD>(sizeof(ZOBEXT_HEAD) + history.size());
  if (!buffer || *size < needed) {
    *size = needed;
    return S_OK;
  }
  ZOBEXT_HEAD head{};
  PutField(head.description, sizeof head.description, record->fields[ZOBWF_DESCRIPTION]);
  PutField(head.originator, sizeof head.originator, record->fields[ZOBWF_ORIGINATOR]);
  PutField(head.originatorReference, sizeof head.originatorReference, record->fields[ZOBWF_ORIGINATOR_REFERENCE]);
  if (record->flags & ZOBWF_FLAG_TIME) {
    PutField(head.originationDate, sizeof head.originationDate, record->fields[ZOBWF_ORIGINATION_DATE], false);
    PutField(head.originationTime, sizeof head.originationTime, record->fields[ZOBWF_ORIGINATION_TIME], false);
    head.timeReferenceLow = static_cast<DWORD>(record->timeReference);
    head.timeReferenceHigh = static_cast<DWORD>(record->timeReference >> 32);
  }
  head.version = record->version;
  std::memcpy(head.umid, record->umid, sizeof head.umid);
  std::memcpy(head.loudness, record->loudness, sizeof head.loudness);
  std::memcpy(head.reserved, record->reserved, sizeof head.reserved);
  std::memcpy(buffer, &head, sizeof head);
  if (!history.empty()) std::memcpy(buffer + sizeof head, history.data(), history.size());
  *size = needed;
  return S_OK;
}
