// SPDX-License-Identifier: MIT
// Processor and OS feature words. The bits are a public contract: plug-ins
// and the engine's dispatch tables test them.
#pragma once

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/types.h"

inline constexpr DWORD ZOCPU_CLASS_MASK = 0x00F;
inline constexpr DWORD ZOCPU_MMX = 0x010;
inline constexpr DWORD ZOCPU_SSE = 0x020;
inline constexpr DWORD ZOCPU_SSE2 = 0x040;
inline constexpr DWORD ZOCPU_SSE3 = 0x080;
inline constexpr DWORD ZOCPU_SSSE3 = 0x100;
inline constexpr DWORD ZOCPU_SSE41 = 0x200;
inline constexpr DWORD ZOCPU_SSE42 = 0x400;
inline constexpr DWORD ZOCPU_AVX = 0x800;
inline constexpr DWORD ZOCPU_CMOV = 0x1000;
inline constexpr DWORD ZOCPU_CMOV_FPU = 0x2000;
inline constexpr DWORD ZOCPU_TSC = 0x4000;
inline constexpr DWORD ZOCPU_FTZ_DAZ = 0x20000;

VANE_BEGIN_EXTERN_C
// (allowed mask AND detected word AND mask) OR forced class; mask 0 = all.
VANE_EXPORT DWORD ZoGetCPUSupport(DWORD mask);
VANE_EXPORT DWORD ZoGetOSSupport(DWORD mask);
VANE_EXPORT DWORD ZoGetProcessorCount(void);
VANE_EXPORT BOOL ZoOnlyAllowCPUSupport(DWORD features);
VANE_EXPORT BOOL ZoDisallowCPUSupport(DWORD features);
VANE_EXPORT BOOL ZoAllowCPUSupport(DWORD features);
VANE_EXPORT BOOL ZoSetCPUClassBySupport(void);
VANE_EXPORT void ZoFourCCToStringCPU(DWORD value, char* text);
VANE_END_EXTERN_C

namespace vane::kernel {

// Whether the processor and OS can run AVX2 code. The feature words above
// stop at AVX in the hardware word; vector variants beyond SSE4.2 are picked
// with this extra test (leaf 7 and the OS's saved YMM state), and only when
// the SSE2 bit of ZoGetCPUSupport still allows vector code at all and the
// allowed mask still lets AVX through (so ZoDisallowCPUSupport(ZOCPU_AVX)
// turns the wide variants off).
VANE_EXPORT bool CpuHasAvx2();

// The names of the feature bits set in a word ("MMX", "SSE", ..., "FTZ/DAZ"),
// lowest bit first; the class nibble is left out.
VANE_EXPORT std::vector<std::string> CpuFeatureNames(DWORD word);

}  // namespace vane::kernel
