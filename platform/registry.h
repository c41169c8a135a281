// SPDX-License-Identifier: MIT
// The registry stand-in: a hierarchical typed key-value store in SQLite, one
// database per hive (WAL mode, so readers and one writer of several processes
// share it), key paths and value names compared without regard to ASCII
// case. The user hive lives in $XDG_CONFIG_HOME/Quon/registry.db, the
// machine hive in /etc/xdg/Quon/registry.db; $VANE_REGISTRY_DIR holds both
// (user.db, machine.db) when set. A store that cannot be opened or is damaged
// answers with an error status and is never repaired behind the caller's back.
//
// Threads: any thread; each hive has one connection per process under a lock,
// reopened in a child after fork.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

// The predefined hives.
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(0x80000001)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(0x80000002)))

// The registry's own failures: a damaged store, a store that cannot be
// opened, one that cannot be written.
inline constexpr DWORD ERROR_BADDB = 1009;
inline constexpr DWORD ERROR_CANTOPEN = 1011;
inline constexpr DWORD ERROR_CANTWRITE = 1013;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;

VANE_BEGIN_EXTERN_C
// Opens a key below a hive or key, creating it (and its parents) when absent.
// Return values are Win32 error numbers (0 on success).
VANE_EXPORT LONG RegCreateKeyExW(HKEY parent, LPCWSTR subKey, DWORD reserved, LPWSTR className, DWORD options,
                                 DWORD access, void* security, HKEY* result, DWORD* disposition);
// Opens an existing key; ERROR_FILE_NOT_FOUND when absent.
VANE_EXPORT LONG RegOpenKeyExW(HKEY parent, LPCWSTR subKey, DWORD options, DWORD access, HKEY* result);
VANE_EXPORT LONG RegCloseKey(HKEY key);
// ERROR_MORE_DATA with *size set when the buffer is too small; a null data
// asks for the size.
VANE_EXPORT LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
VANE_EXPORT LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
VANE_EXPORT LONG RegDeleteValueW(HKEY key, LPCWSTR name);
// Deletes a key with all its sub-keys and values.
VANE_EXPORT LONG ZoRegDeleteKey(HKEY parent, LPCWSTR subKey);
// The index-th value of a key (name capacity in characters, with terminator).
VANE_EXPORT LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameChars, DWORD* reserved, DWORD* type,
                               BYTE* data, DWORD* size);
VANE_END_EXTERN_C
