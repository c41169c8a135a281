// SPDX-License-Identifier: MIT
// IStream, the platform's sequential stream with seek, in its slot order:
// ISequentialStream's Read and Write, then Seek, SetSize, CopyTo, Commit,
// Revert, LockRegion, UnlockRegion, Stat and Clone. Metadata streams and the
// identification call's stream form are carried by it.
//
// CreateStreamOnHGlobal gives the platform's memory stream over a global
// block: it grows on writes past the end, and every clone shares the block
// (each with its own position). The block stays the caller's unless the
// stream was asked to free it with the last release. A stream and its clones
// may be used from different threads; each call is atomic.
#pragma once

#include "platform/com.h"
#include "platform/export.h"
#include "platform/memory.h"
#include "platform/types.h"

#ifndef VANE_ISTREAM_DEFINED
#define VANE_ISTREAM_DEFINED 1
#endif

// {0C733A30-2A1C-11CE-ADE5-00AA0044773D}
inline constexpr IID IID_ISequentialStream =
    VANE_GUID(0x0C733A30, 0x2A1C, 0x11CE, 0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D);
// {0000000C-0000-0000-C000-000000000046}
inline constexpr IID IID_IStream = VANE_GUID(0x0000000C, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

enum STREAM_SEEK : DWORD { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };

inline constexpr DWORD STGTY_STORAGE = 1;
inline constexpr DWORD STGTY_STREAM = 2;
inline constexpr DWORD STGTY_LOCKBYTES = 3;
inline constexpr DWORD STATFLAG_DEFAULT = 0;
inline constexpr DWORD STATFLAG_NONAME = 1;
inline constexpr DWORD STGC_DEFAULT = 0;
inline constexpr DWORD STGM_READ = 0x0;
inline constexpr DWORD STGM_WRITE = 0x1;
inline constexpr DWORD STGM_READWRITE = 0x2;
inline constexpr DWORD LOCK_WRITE = 1;
inline constexpr DWORD LOCK_EXCLUSIVE = 2;
inline constexpr DWORD LOCK_ONLYONCE = 4;

inline constexpr HRESULT STG_E_INVALIDFUNCTION = MakeStatus(0x80030001);
inline constexpr HRESULT STG_E_INSUFFICIENTMEMORY = MakeStatus(0x80030008);
inline constexpr HRESULT STG_E_INVALIDPARAMETER = MakeStatus(0x80030057);
inline constexpr HRESULT STG_E_INVALIDFLAG = MakeStatus(0x800300FF);

struct STATSTG {
  LPOLESTR pwcsName;  // from CoTaskMemAlloc in the platform; always null here
  DWORD type;         // STGTY_*
  ULARGE_INTEGER cbSize;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD grfMode;
  DWORD grfLocksSupported;
  CLSID clsid;
  DWORD grfStateBits;
  DWORD reserved;
};
static_assert(sizeof(STATSTG) == 80);
static_assert(offsetof(STATSTG, cbSize) == 16 && offsetof(STATSTG, grfMode) == 48 &&
              offsetof(STATSTG, clsid) == 56 && offsetof(STATSTG, reserved) == 76);

struct ISequentialStream : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG count, ULONG* read) = 0;                  // 3
  virtual HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG count, ULONG* written) = 0;        // 4
};

struct IStream : ISequentialStream {
  virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) = 0;  // 5
  virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) = 0;                                  // 6
  virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* to, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                           ULARGE_INTEGER* written) = 0;                               // 7
  virtual HRESULT STDMETHODCALLTYPE Commit(DWORD flags) = 0;                                           // 8
  virtual HRESULT STDMETHODCALLTYPE Revert() = 0;                                                      // 9
  virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;    // 10
  virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;  // 11
  virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) = 0;                              // 12
  virtual HRESULT STDMETHODCALLTYPE Clone(IStream** out) = 0;                                          // 13
};

VANE_BEGIN_EXTERN_C
// A memory stream over `block` (a GlobalAlloc handle, moveable for growth),
// or over a new empty moveable block when `block` is null. The stream's size
// starts as GlobalSize(block). With deleteOnRelease the block is freed when
// the last stream over it goes. E_INVALIDARG for a null `out` or a handle
// that is no global block; E_OUTOFMEMORY.
VANE_EXPORT HRESULT WINAPI CreateStreamOnHGlobal(HGLOBAL block, BOOL deleteOnRelease, IStream** out);
// The block under a stream made by CreateStreamOnHGlobal; E_INVALIDARG for
// any other stream. The block may be larger than the stream (Stat tells).
VANE_EXPORT HRESULT WINAPI GetHGlobalFromStream(IStream* stream, HGLOBAL* block);
// A new memory stream holding a copy of `bytes` (may be null with size 0),
// positioned at the start; null without memory.
VANE_EXPORT IStream* WINAPI SHCreateMemStream(const BYTE* bytes, UINT size);
VANE_END_EXTERN_C
