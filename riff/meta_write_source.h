// SPDX-License-Identifier: MIT
// Putting the metadata of a source (an IZoReadMeta, a reader's metadata) into
// a Wave file or its ".zol" side file, and updating it there. Every write is
// delete-then-append: the kinds' chunks go behind the audio at the end of the
// RIFF form. The kinds written here are the summary (0x1, as "LIST" "INFO")
// and markers and regions (0x4, as "cue " and "LIST" "adtl" from the time
// form). A side file is a RIFF form "ZOPL" holding the same chunks and a
// "ZOPI" chunk with the leaf name of its media file.
#pragma once

#include "fileio/fio_interfaces.h"
#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// The side file's name: the source with its extension replaced by ".zol", or
// with ".zol" appended; cut to fit `capacity` characters. Always 0.
VANE_EXPORT HRESULT ZoFMMeta_CreateMetaName(const WCHAR* source, WCHAR* out, DWORD capacity, BOOL append);
// Whether the candidate's "ZOPI" holds the leaf name of the media file.
VANE_EXPORT BOOL ZoFMMeta_IsMetaFile(const WCHAR* mediaName, const WCHAR* candidate);
// Appends "ZOPI" with the media file's leaf name behind the RIFF end.
VANE_EXPORT HRESULT ZoFMMeta_AttachFileToExternList(HANDLE sideFile, const WCHAR* mediaName);
VANE_EXPORT HRESULT ZoFMMeta_openAndWriteMetaStreamEx(const WCHAR* name, BOOL noDelete, DWORD rate, IZoReadMeta* meta,
                                                      DWORD embedded, DWORD external);
VANE_EXPORT HRESULT ZoFMMeta_openAndWriteMetaStream(const WCHAR* name, BOOL noDelete, BOOL external, DWORD rate,
                                                    IZoReadMeta* meta);
VANE_EXPORT HRESULT ZoFMMeta_WriteMetaStreamEx(const WCHAR* name, BOOL external, DWORD rate, IZoReadMeta* meta,
                                               DWORD kinds);
VANE_EXPORT HRESULT ZoFMMeta_UpdateMetaStream2(const WCHAR* name, DWORD rate, IZoReadMeta* meta, DWORD embedded,
                                               DWORD external);
VANE_EXPORT HRESULT ZoFMMeta_UpdateMetaStreamEx(const WCHAR* name, BOOL external, DWORD rate, IZoReadMeta* meta,
                                                DWORD kinds);
VANE_EXPORT HRESULT ZoFMMeta_UpdateMetaStream(const WCHAR* name, BOOL external, DWORD rate, IZoReadMeta* meta);
VANE_END_EXTERN_C
