// SPDX-License-Identifier: MIT
// ZoPerf: the vector primitives the audio engine calls. Our own loops, with
// the transforms through FFTW3 (float plans for the complex transform, double
// plans for the real one).
//
// Every wrapper returns its primitive status mapped by ZoPerfStatusToHRESULT,
// so plain success is 0x0004E600, not 0: test the sign only.
//
// The real transform's packed "Perm" order, in place over n = 2^order doubles:
//   n == 1:  R0
//   n >= 2:  R0, R(n/2), Re1, Im1, Re2, Im2, ..., Re(n/2-1), Im(n/2-1)
// (R0 and R(n/2) are the purely real ends of the spectrum.)
//
// Scaling flags (exactly one): ZO_FFT_DIV_FWD_BY_N, ZO_FFT_DIV_INV_BY_N,
// ZO_FFT_DIV_BY_SQRTN (both ways), ZO_FFT_NODIV_BY_ANY.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

struct Zo32fc {
  float re;
  float im;
};
struct Zo64fc {
  double re;
  double im;
};
static_assert(sizeof(Zo32fc) == 8 && sizeof(Zo64fc) == 16);

// Transform states (opaque).
struct ZoPerfsFFTSpec_C_32fc;
struct ZoPerfsFFTSpec_R_64f;

enum ZoPerfHintAlgorithm { zoAlgHintNone = 0, zoAlgHintFast = 1, zoAlgHintAccurate = 2 };

inline constexpr int ZO_FFT_DIV_FWD_BY_N = 1;
inline constexpr int ZO_FFT_DIV_INV_BY_N = 2;
inline constexpr int ZO_FFT_DIV_BY_SQRTN = 4;
inline constexpr int ZO_FFT_NODIV_BY_ANY = 8;
// The largest order whose work buffer size (ZoPerfsFFTGetBufSize_*) fits
// an int; the init functions refuse larger orders with the order status.
inline constexpr int ZO_FFT_MAX_ORDER = 26;

// Primitive statuses (before mapping).
inline constexpr int ZOPERF_STS_NO_ERR = 0;
inline constexpr int ZOPERF_STS_SQRT_NEG_ARG = 3;  // warning: a negative input gave NaN
inline constexpr int ZOPERF_STS_SIZE_ERR = -6;
inline constexpr int ZOPERF_STS_NULL_PTR_ERR = -8;
inline constexpr int ZOPERF_STS_MEM_ALLOC_ERR = -9;
inline constexpr int ZOPERF_STS_FFT_ORDER_ERR = -15;
inline constexpr int ZOPERF_STS_FFT_FLAG_ERR = -16;
inline constexpr int ZOPERF_STS_RANGE_ERR = -7;

VANE_BEGIN_EXTERN_C
// Runs at early initialisation: picks the code paths for the processor.
VANE_EXPORT HRESULT ZoPerf_Initialize(void);
// -9999 counts as -255 and -9998 as -256; negative s gives 0x8004E600 + |s|,
// non-negative s gives 0x0004E600 + s.
VANE_EXPORT HRESULT ZoPerfStatusToHRESULT(int status);
// 0, 1, 2 map to themselves; anything else to 0.
VANE_EXPORT int ZoPerfMapHintAlgorithm(int hint);
VANE_EXPORT ULONGLONG ZoPerfGetCpuClocks(void);

// 64-byte aligned buffers; null for a count below 1 or no memory.
VANE_EXPORT BYTE* ZoPerfsMalloc_8u(int count);
VANE_EXPORT float* ZoPerfsMalloc_32f(int count);
VANE_EXPORT void ZoPerfsFree(void* buffer);

VANE_EXPORT HRESULT ZoPerfsConj_64fc_I(Zo64fc* data, int length);
VANE_EXPORT HRESULT ZoPerfsMul_64fc_I(const Zo64fc* source, Zo64fc* data, int length);
// Splits interleaved frames into one buffer a channel. Returns 0; fewer than
// one channel, or no frames, touches nothing. E_POINTER for null buffers.
VANE_EXPORT HRESULT ZoPerfsDeinterleave_32f(const float* source, int channels, int frames, float** destinations);
VANE_EXPORT HRESULT ZoPerfsMinMax_32f(const float* source, int length, float* minimum, float* maximum);
VANE_EXPORT HRESULT ZoPerfsMinMax_64f(const double* source, int length, double* minimum, double* maximum);
VANE_EXPORT HRESULT ZoPerfsSqrt_32f(const float* source, float* destination, int length);
// Uniform noise in [low, high) from a linear congruential generator
// (seed = seed * 1664525 + 1013904223, 24 high bits per value).
VANE_EXPORT HRESULT ZoPerfsRandUniform_Direct_32f(float* destination, int length, float low, float high,
                                                  unsigned int* seed);

VANE_EXPORT HRESULT ZoPerfsFFTInitAlloc_C_32fc(ZoPerfsFFTSpec_C_32fc** state, int order, int flag,
                                               ZoPerfHintAlgorithm hint);
VANE_EXPORT HRESULT ZoPerfsFFTInitAlloc_R_64f(ZoPerfsFFTSpec_R_64f** state, int order, int flag,
                                              ZoPerfHintAlgorithm hint);
VANE_EXPORT HRESULT ZoPerfsFFTGetBufSize_C_32fc(const ZoPerfsFFTSpec_C_32fc* state, int* size);
VANE_EXPORT HRESULT ZoPerfsFFTGetBufSize_R_64f(const ZoPerfsFFTSpec_R_64f* state, int* size);
// The work buffer may be null (one is allocated for the call).
VANE_EXPORT HRESULT ZoPerfsFFTFwd_CToC_32fc(const Zo32fc* source, Zo32fc* destination,
                                            const ZoPerfsFFTSpec_C_32fc* state, BYTE* work);
VANE_EXPORT HRESULT ZoPerfsFFTInv_CToC_32fc(const Zo32fc* source, Zo32fc* destination,
                                            const ZoPerfsFFTSpec_C_32fc* state, BYTE* work);
VANE_EXPORT HRESULT ZoPerfsFFTFwd_RToPerm_64f_I(double* data, const ZoPerfsFFTSpec_R_64f* state, BYTE* work);
VANE_EXPORT HRESULT ZoPerfsFFTInv_PermToR_64f_I(double* data, const ZoPerfsFFTSpec_R_64f* state, BYTE* work);
VANE_EXPORT HRESULT ZoPerfsFFTFree_C_32fc(ZoPerfsFFTSpec_C_32fc* state);
VANE_EXPORT HRESULT ZoPerfsFFTFree_R_64f(ZoPerfsFFTSpec_R_64f* state);
VANE_END_EXTERN_C
