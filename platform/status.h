// SPDX-License-Identifier: MIT
// The 32-bit status: negative is failure, zero success, positive a qualified
// success. The kernel's own codes live in facility 4 from 0xE000.
#pragma once

#include "platform/types.h"

inline constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
inline constexpr bool FAILED(HRESULT hr) { return hr < 0; }

constexpr HRESULT MakeStatus(std::uint32_t v) { return static_cast<HRESULT>(v); }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_UNEXPECTED = MakeStatus(0x8000FFFF);
inline constexpr HRESULT E_NOTIMPL = MakeStatus(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = MakeStatus(0x80004002);
inline constexpr HRESULT E_POINTER = MakeStatus(0x80004003);
inline constexpr HRESULT E_ABORT = MakeStatus(0x80004004);
inline constexpr HRESULT E_FAIL = MakeStatus(0x80004005);
inline constexpr HRESULT E_ACCESSDENIED = MakeStatus(0x80070005);
inline constexpr HRESULT E_HANDLE = MakeStatus(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = MakeStatus(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = MakeStatus(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = MakeStatus(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = MakeStatus(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = MakeStatus(0x80040154);

// Storage statuses used by the stream and file helpers.
inline constexpr HRESULT STG_E_ACCESSDENIED = MakeStatus(0x80030005);
inline constexpr HRESULT STG_E_INVALIDPOINTER = MakeStatus(0x80030009);
inline constexpr HRESULT STG_E_MEDIUMFULL = MakeStatus(0x80030070);
inline constexpr HRESULT STG_E_WRITEFAULT = MakeStatus(0x8003001D);
inline constexpr HRESULT STG_E_CANTSAVE = MakeStatus(0x80030103);

// A Win32 error number as a status (facility 7).
constexpr HRESULT HRESULT_FROM_WIN32(DWORD e) {
  return e == 0 ? S_OK : static_cast<HRESULT>((e & 0xFFFF) | 0x80070000u);
}

// The kernel's own statuses that code refers to by name. The full table with
// display texts is in kernel/status_table.
inline constexpr HRESULT ZOERR_UNSUPPORTED_MEDIATYPE = MakeStatus(0x8004E000);
inline constexpr HRESULT ZOERR_DISKFULL = MakeStatus(0x8004E002);
inline constexpr HRESULT ZOERR_CANCELLED = MakeStatus(0x8004E00C);
inline constexpr HRESULT ZOERR_FILE_CREATE = MakeStatus(0x8004E006);
inline constexpr HRESULT ZOERR_FILE_OPEN = MakeStatus(0x8004E007);
inline constexpr HRESULT ZOERR_FILE_READ = MakeStatus(0x8004E008);
inline constexpr HRESULT ZOERR_FILE_WRITE = MakeStatus(0x8004E009);
inline constexpr HRESULT ZOERR_NOT_FOUND = MakeStatus(0x8004E00A);
inline constexpr HRESULT ZOERR_BAD_FORMAT = MakeStatus(0x8004E00B);
inline constexpr HRESULT ZOERR_BAD_FILENAME = MakeStatus(0x8004E00D);
inline constexpr HRESULT ZOERR_UNSUPPORTED_FORMAT = MakeStatus(0x8004E016);
inline constexpr HRESULT ZOERR_EXCEPTION = MakeStatus(0x8004E017);
inline constexpr HRESULT ZOERR_NO_AUDIO = MakeStatus(0x8004E01A);
inline constexpr HRESULT ZOERR_INIT_FAILED = MakeStatus(0x8004E01B);
inline constexpr HRESULT ZOERR_UNSUPPORTED_VERSION = MakeStatus(0x8004E01C);  // made by an unsupported version
inline constexpr HRESULT ZOERR_NO_VIDEO = MakeStatus(0x8004E01D);
inline constexpr HRESULT ZOERR_NOT_ENOUGH_AUDIO = MakeStatus(0x8004E023);
inline constexpr HRESULT ZOERR_FILE_CORRUPT = MakeStatus(0x8004E025);
inline constexpr HRESULT ZOERR_BITDEPTH_UNSUPPORTED = MakeStatus(0x8004E02A);
inline constexpr HRESULT ZOERR_CHANNELS_UNSUPPORTED = MakeStatus(0x8004E02B);
inline constexpr HRESULT ZOERR_APP_FILETYPE = MakeStatus(0x8004E033);
inline constexpr HRESULT ZOERR_FILE_TOO_LARGE = MakeStatus(0x8004E03A);  // past the format's size limit
inline constexpr HRESULT ZOERR_PLUGIN_NOT_INITIALIZED = MakeStatus(0x8004E047);
inline constexpr HRESULT ZOERR_NOT_ENOUGH_DATA = MakeStatus(0x8004E050);
inline constexpr HRESULT ZOERR_NO_RIFF = MakeStatus(0x8004E080);
inline constexpr HRESULT ZOERR_NO_LIST = MakeStatus(0x8004E081);
inline constexpr HRESULT ZOERR_ZERO_CHUNK = MakeStatus(0x8004E082);
inline constexpr HRESULT ZOERR_NEWER_VERSION = MakeStatus(0x8004E083);  // needs a newer version (bad chunk header)
inline constexpr HRESULT ZOERR_BUFFER_TOO_SMALL = MakeStatus(0x8004E03C);
inline constexpr HRESULT ZOERR_DUPLICATE = MakeStatus(0x8004E0A9);
inline constexpr HRESULT ZOERR_STREAM_OPEN = MakeStatus(0x8004E036);
inline constexpr HRESULT ZOERR_STREAM_READ = MakeStatus(0x8004E038);
inline constexpr HRESULT ZOERR_BAD_STREAM_INDEX = MakeStatus(0x8004E172);
inline constexpr HRESULT ZOERR_NO_RENDERER = MakeStatus(0x8004E163);
inline constexpr HRESULT ZOERR_FILE_EXISTS = MakeStatus(0x8004E170);
inline constexpr HRESULT ZOERR_EOF = MakeStatus(0x800A0026);
inline constexpr HRESULT ZOERR_TEMPLATE_REFUSED = MakeStatus(0x8004E0AF);  // the class refuses the template
inline constexpr HRESULT ZOSTATUS_PARTIAL_RECOVERY = MakeStatus(0x0004E000);

// Early return on failure: VANE_RETURN_IF_FAILED(expr).
#define VANE_RETURN_IF_FAILED(expr)      \
  do {                                   \
    const HRESULT vane_hr_ = (expr);     \
    if (FAILED(vane_hr_)) return vane_hr_; \
  } while (0)
