// SPDX-License-Identifier: MIT
// The kernel's own messages by string id. The English texts are compiled in;
// the language layer takes them over by installing a string source, and
// early initialisation opens the source for the kernel's module.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/export.h"
#include "platform/types.h"

namespace vane::kernel {

inline constexpr UINT kStrIncompatibleClient = 100;  // "%s" is the client's name
inline constexpr UINT kStrOsTooOld = 101;
inline constexpr UINT kStrKernelCaption = 102;
inline constexpr UINT kStrKernelTooOld = 103;
inline constexpr UINT kStrPluginDialog = 104;      // title of the plug-in problem report
inline constexpr UINT kStrPluginNotReady = 105;    // the report without a text of the class
inline constexpr UINT kStrDefaultTemplate = 106;   // the reserved template name
// Texts of the formatted-text layer (labels, sizes, time-code labels).
inline constexpr UINT kStrMinusInfinity = 110;     // "-Inf."
inline constexpr UINT kStrError = 111;             // "Err."
inline constexpr UINT kStrDecibelUnit = 112;       // " dB"
inline constexpr UINT kStrSmpteLabel = 113;        // "hr%smn%ssc%sfr"
inline constexpr UINT kStrSmpteLabelFull = 114;    // the same in words
inline constexpr UINT kStrMusicLabel = 115;        // measures, beats, ticks
inline constexpr UINT kStrMusicLabelFull = 116;
inline constexpr UINT kStrSizeBytesShort = 120;    // "%1 B"
inline constexpr UINT kStrSizeBytesLong = 121;     // "%1 bytes"
inline constexpr UINT kStrSizeKB = 122;
inline constexpr UINT kStrSizeMB = 123;
inline constexpr UINT kStrSizeGB = 124;
inline constexpr UINT kStrSizeTB = 125;
inline constexpr UINT kStrSizePB = 126;
inline constexpr UINT kStrSizeEB = 127;
inline constexpr UINT kStrSizeBeyond = 128;        // "> 9 YB"

// Where the kernel's strings come from. open gives a handle for a module's
// strings (a status, negative on failure), get a text by id (null when the id
// is missing; the text lives as long as the handle), close ends the handle.
struct KernelStringSource {
  HRESULT (*open)(void** handle, HMODULE module);
  const WCHAR* (*get)(void* handle, UINT id);
  void (*close)(void* handle);
};

// Installs a source (null: the compiled-in English catalogue). An open handle
// of the previous source is closed first.
void SetKernelStringSource(const KernelStringSource* source);
// Opens the strings for module unless a handle is open already.
HRESULT OpenKernelStrings(HMODULE module);
void CloseKernelStrings();
bool KernelStringsOpen();
// The text of an id through the open handle; empty when no handle is open or
// the id is missing, so callers degrade to empty messages.
std::u16string KernelString(UINT id);
// Numbers 0xE000 to 0xEFFF are the texts of the statuses 0x8004E000 to 0x8004EFFF.
inline constexpr UINT kStatusStringFirst = 0xE000;
inline constexpr UINT kStatusStringLast = 0xEFFF;

// The text of an id through the open handle, else the compiled-in English:
// never null for an id of the catalogue.
const WCHAR* KernelText(UINT id);

// The compiled-in English text, or null.
VANE_EXPORT const WCHAR* BuiltInKernelString(UINT id);
// Every compiled-in English text with its number: the catalogue a
// translation starts from.
VANE_EXPORT std::vector<std::pair<UINT, const WCHAR*>> BuiltInKernelCatalogue();

}  // namespace vane::kernel
