// SPDX-License-Identifier: MIT
// Fixed-width stand-ins for the Windows scalar types. Windows' long is 32 bits,
// so LONG, ULONG and DWORD are 32-bit here whatever the C++ long is.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using BOOLEAN = std::uint8_t;
using CHAR = char;
using UCHAR = unsigned char;
using WCHAR = char16_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using WORD = std::uint16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using BOOL = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORDLONG = std::uint64_t;
using INT64 = std::int64_t;
using UINT64 = std::uint64_t;
using INT32 = std::int32_t;
using UINT32 = std::uint32_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using FLOAT = float;
using DOUBLE = double;
using HRESULT = std::int32_t;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using OLECHAR = WCHAR;
using LPOLESTR = WCHAR*;
using LPCOLESTR = const WCHAR*;
using BSTR = WCHAR*;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;

// Opaque handles. HANDLE is a pointer-sized value; INVALID_HANDLE_VALUE is -1.
using HANDLE = void*;
using HMODULE = void*;
using HINSTANCE = void*;
using HWND = void*;
using HGLOBAL = void*;
using HLOCAL = void*;
using HKEY = void*;
using HDC = void*;

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#define MAX_PATH 260

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};
static_assert(sizeof(LARGE_INTEGER) == 8);

union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
};
static_assert(sizeof(ULARGE_INTEGER) == 8);

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};
static_assert(sizeof(FILETIME) == 8);

struct RECT {
  LONG left, top, right, bottom;
};
static_assert(sizeof(RECT) == 16);

struct POINT {
  LONG x, y;
};

struct SIZE {
  LONG cx, cy;
};

inline constexpr WORD LOWORD(DWORD v) { return static_cast<WORD>(v & 0xFFFF); }
inline constexpr WORD HIWORD(DWORD v) { return static_cast<WORD>((v >> 16) & 0xFFFF); }
inline constexpr DWORD MAKELONG(WORD lo, WORD hi) { return DWORD(lo) | (DWORD(hi) << 16); }
