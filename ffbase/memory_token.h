// SPDX-License-Identifier: MIT
// The memory token in the reader's process: CMappingOfZoMemoryToken turns a
// _zomemorytoken into a pointer valid here. In the owner's own process it
// maps nothing and frees nothing (base pointer plus offset). A plain-memory
// token of another process is read or written through the process-memory
// calls; a file-mapping token of another process needs the surrogate's
// descriptor passing and is refused (E_NOTIMPL) until that exists.
//
// Owned by whoever constructs it; one thread at a time.
#pragma once

#include <vector>

#include "fileio/fio_records.h"
#include "platform/export.h"
#include "platform/status.h"

namespace ffbase {

// Access bits of a mapping: 2 write, 4 read, 0 both.
inline constexpr DWORD kTokenAccessWrite = 2;
inline constexpr DWORD kTokenAccessRead = 4;

class VANE_EXPORT CMappingOfZoMemoryToken {
 public:
  CMappingOfZoMemoryToken(const _zomemorytoken& token, DWORD access);
  ~CMappingOfZoMemoryToken();
  CMappingOfZoMemoryToken(const CMappingOfZoMemoryToken&) = delete;
  CMappingOfZoMemoryToken& operator=(const CMappingOfZoMemoryToken&) = delete;

  // Maps on first use; S_OK with the pointer, or the failure (pointer null).
  HRESULT GetPointer(void** pointer);
  // The pointer, or null when mapping failed.
  void* Pointer();
  ULONGLONG DataSize() const { return m_token.size; }
  // Writes a local copy back to its owner (write access), then forgets it.
  HRESULT Close();
  // Like Close, and also forgets the failure so the object may map again.
  void Dispose();

  // Copies the token's block into destination: E_POINTER for null,
  // 0x8004E03C when bytes is below the token's size.
  static HRESULT CopyData(void* destination, const _zomemorytoken& token, ULONGLONG bytes);
  // A token naming plain memory of this process.
  static _zomemorytoken FromPointer(void* pointer, ULONGLONG bytes);

 private:
  HRESULT Map();

  _zomemorytoken m_token;
  DWORD m_access;
  bool m_mapped = false;
  HRESULT m_status = S_OK;
  void* m_pointer = nullptr;
  std::vector<BYTE> m_local;  // copy of another process's block
};

}  // namespace ffbase
