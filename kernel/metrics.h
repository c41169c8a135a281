// SPDX-License-Identifier: MIT
// Metrics: the settings store of a host application. A metric handle owns an
// open registry key ("Software\<company>\<app>\<major>.<minor>\Metrics" in
// the user's hive, or without the version when its top byte is 0, and an
// optional sub-key); values are addressed by number, the number becoming a
// value name with a type letter ("%d" for DWORD, "B%d" binary, "S%d" string,
// "Z%d" multi-string). Readers never fail for an absent value: they answer
// with their default. The handle belongs to the caller until ZoMetric_Close.
#pragma once

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

struct ZOMETRIC {
  DWORD spare;
  WCHAR path[260];
  HKEY key;
};
using HZOMETRIC = ZOMETRIC*;
// Selects the kernel's default handle; none is installed, so it acts closed.
#define ZOMETRIC_DEFAULT (reinterpret_cast<HZOMETRIC>(static_cast<std::intptr_t>(-1)))

VANE_BEGIN_EXTERN_C
VANE_EXPORT HRESULT ZoMetric_Open(HZOMETRIC* out, const WCHAR* app, DWORD version, const WCHAR* subKey);
VANE_EXPORT HRESULT ZoMetric_OpenRegHiveAndVersion(HZOMETRIC* out, const WCHAR* app, DWORD version,
                                                   const WCHAR* company, const WCHAR* subKey);
VANE_EXPORT HRESULT ZoMetric_OpenAppVersion(HZOMETRIC* out, const WCHAR* path, const WCHAR* subKey);
VANE_EXPORT HRESULT ZoMetric_OpenSubKey(HZOMETRIC* out, HZOMETRIC parent, const WCHAR* subKey);
VANE_EXPORT HRESULT ZoMetric_Close(HZOMETRIC metric);
VANE_EXPORT HRESULT ZoMetric_CloseAndDeleteKey(HZOMETRIC metric);
VANE_EXPORT HRESULT ZoMetric_DeleteAll(const WCHAR* app, DWORD version);
VANE_EXPORT HRESULT ZoMetric_DeleteAllHiveAndVersion(const WCHAR* app, DWORD version, const WCHAR* company);
VANE_EXPORT HRESULT ZoMetric_DeleteUserMetrics(const WCHAR* app, DWORD version);
VANE_EXPORT HRESULT ZoMetric_DeleteKey(const WCHAR* app, DWORD version, const WCHAR* subKey);
VANE_EXPORT HRESULT ZoMetric_DeleteKeyHiveAndVersion(const WCHAR* app, DWORD version, const WCHAR* company,
                                                     const WCHAR* subKey);

VANE_EXPORT DWORD ZoGetMetric(HZOMETRIC metric, LONG id);
VANE_EXPORT DWORD ZoGetMetricEx(HZOMETRIC metric, LONG id, DWORD minimum, DWORD maximum, DWORD fallback);
VANE_EXPORT BOOL ZoGetMetricBool(HZOMETRIC metric, LONG id, BOOL fallback);
VANE_EXPORT HRESULT ZoSetMetric(HZOMETRIC metric, LONG id, DWORD value);
VANE_EXPORT DWORD ZoGetMetricUsingName(HZOMETRIC metric, const WCHAR* name, DWORD fallback);
VANE_EXPORT HRESULT ZoSetMetricUsingName(HZOMETRIC metric, const WCHAR* name, DWORD value);
// The value under the plain number: 0x8004E03C (with *outSize) when the
// buffer is short; 0x8004E00A when its type equals `refusedType`.
VANE_EXPORT HRESULT ZoGetMetricAny(HZOMETRIC metric, LONG id, DWORD refusedType, void* data, DWORD size, DWORD* outSize);
VANE_EXPORT DWORD ZoGetMetricBinary(HZOMETRIC metric, LONG id, void* data, DWORD size);
VANE_EXPORT HRESULT ZoGetMetricBinaryEx(HZOMETRIC metric, LONG id, void* data, DWORD size, DWORD* outSize);
VANE_EXPORT HRESULT ZoSetMetricBinary(HZOMETRIC metric, LONG id, const void* data, DWORD size);
// Capacity in characters; the length copied (0 with the buffer zeroed when
// nothing and no default). With `onlyIfAbsent` the default is taken only for
// a value that is not there at all.
VANE_EXPORT LONG ZoGetMetricStringEx(HZOMETRIC metric, LONG id, WCHAR* buffer, LONG capacity, const WCHAR* fallback,
                                     BOOL onlyIfAbsent);
VANE_EXPORT LONG ZoGetMetricMultiStringEx(HZOMETRIC metric, LONG id, WCHAR* buffer, LONG capacity,
                                          const WCHAR* fallback, BOOL onlyIfAbsent);
VANE_EXPORT HRESULT ZoSetMetricString(HZOMETRIC metric, LONG id, const WCHAR* text);
// A double-zero-terminated list; `chars` counts all its characters.
VANE_EXPORT HRESULT ZoSetMetricMultiString(HZOMETRIC metric, LONG id, const WCHAR* list, DWORD chars);
VANE_EXPORT HRESULT ZoDoesMetricExist(HZOMETRIC metric, LONG id, DWORD type);
VANE_EXPORT HRESULT ZoDeleteMetric(HZOMETRIC metric, LONG id, DWORD type);
VANE_EXPORT HRESULT ZoDeleteMetricUsingName(HZOMETRIC metric, const WCHAR* name, DWORD type);
// The name a metric has for a type (type 4 gives "D%d"); the characters written.
VANE_EXPORT LONG ZoMetricGetName(LONG id, DWORD type, WCHAR* out);
VANE_END_EXTERN_C
