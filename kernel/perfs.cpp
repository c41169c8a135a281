// SPDX-License-Identifier: MIT
#include "kernel/perfs.h"

#include <fftw3.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "kernel/clock.h"
#include "kernel/cpu.h"
#include "platform/status.h"

struct ZoPerfsFFTSpec_C_32fc {
  int n;
  int flag;
  fftwf_plan forward;
  fftwf_plan inverse;
};

struct ZoPerfsFFTSpec_R_64f {
  int n;
  int flag;
  fftw_plan forward;
  fftw_plan inverse;
};

namespace {

constexpr size_t kAlignment = 64;

// FFTW's planner is not thread-safe; executing a plan is.
std::mutex g_plannerMutex;

HRESULT Mapped(int status) { return ZoPerfStatusToHRESULT(status); }

bool ValidFlag(int flag) {
  return flag == ZO_FFT_DIV_FWD_BY_N || flag == ZO_FFT_DIV_INV_BY_N || flag == ZO_FFT_DIV_BY_SQRTN ||
         flag == ZO_FFT_NODIV_BY_ANY;
}

// The factor a direction's output is multiplied with.
double Scale(int flag, int n, bool forward) {
  switch (flag) {
    case ZO_FFT_DIV_FWD_BY_N:
      return forward ? 1.0 / n : 1.0;
    case ZO_FFT_DIV_INV_BY_N:
      return forward ? 1.0 : 1.0 / n;
    case ZO_FFT_DIV_BY_SQRTN:
      return 1.0 / std::sqrt(double(n));
    default:
      return 1.0;
  }
}

void* AlignUp(void* p) {
  const auto v = reinterpret_cast<std::uintptr_t>(p);
  return reinterpret_cast<void*>((v + kAlignment - 1) & ~std::uintptr_t(kAlignment - 1));
}

// Work buffer sizes in 64 bits; the interface reports them as an int.
constexpr uint64_t ComplexWorkBytes(uint64_t n) { return 2 * n * sizeof(fftwf_complex) + kAlignment; }
constexpr uint64_t RealWorkBytes(uint64_t n) {
  return n * sizeof(double) + (n / 2 + 1) * sizeof(fftw_complex) + 2 * kAlignment;
}
static_assert(ComplexWorkBytes(uint64_t(1) << ZO_FFT_MAX_ORDER) <= INT_MAX &&
                  RealWorkBytes(uint64_t(1) << ZO_FFT_MAX_ORDER) <= INT_MAX,
              "every accepted order has a work buffer size that fits an int");
static_assert(ComplexWorkBytes(uint64_t(1) << (ZO_FFT_MAX_ORDER + 1)) > INT_MAX,
              "the order limit is no lower than the int requires");

HRESULT BufSize(uint64_t bytes, int* size) {
  if (bytes > uint64_t(INT_MAX)) return Mapped(ZOPERF_STS_SIZE_ERR);
  *size = int(bytes);
  return Mapped(ZOPERF_STS_NO_ERR);
}

// A work area for one call: the caller's buffer or a temporary one.
class WorkArea {
 public:
  WorkArea(BYTE* given, size_t bytes) : m_base(given) {
    if (!m_base)
      m_base = m_owned =
          static_cast<BYTE*>(std::aligned_alloc(kAlignment, (bytes + kAlignment - 1) / kAlignment * kAlignment));
  }
  ~WorkArea() { std::free(m_owned); }
  WorkArea(const WorkArea&) = delete;
  WorkArea& operator=(const WorkArea&) = delete;
  BYTE* base() const { return m_base; }

 private:
  BYTE* m_base = nullptr;
  BYTE* m_owned = nullptr;
};

int ComplexTransform(const Zo32fc* source, Zo32fc* destination, const ZoPerfsFFTSpec_C_32fc* state, BYTE* work,
                     bool forward) {
  if (!source || !destination || !state) return ZOPERF_STS_NULL_PTR_ERR;
  const int n = state->n;
  WorkArea area(work, ComplexWorkBytes(n));
  if (!area.base()) return ZOPERF_STS_MEM_ALLOC_ERR;
  auto* in = static_cast<fftwf_complex*>(AlignUp(area.base()));
  fftwf_complex* out = in + n;
  std::memcpy(in, source, size_t(n) * sizeof(Zo32fc));
  fftwf_execute_dft(forward ? state->forward : state->inverse, in, out);
  const float scale = float(Scale(state->flag, n, forward));
  for (int i = 0; i < n; ++i) {
    destination[i].re = out[i][0] * scale;
    destination[i].im = out[i][1] * scale;
  }
  return ZOPERF_STS_NO_ERR;
}

int RealTransform(double* data, const ZoPerfsFFTSpec_R_64f* state, BYTE* work, bool forward) {
  if (!data || !state) return ZOPERF_STS_NULL_PTR_ERR;
  const int n = state->n;
  const double scale = Scale(state->flag, n, forward);
  if (n == 1) {
    data[0] *= scale;
    return ZOPERF_STS_NO_ERR;
  }
  WorkArea area(work, RealWorkBytes(n));
  if (!area.base()) return ZOPERF_STS_MEM_ALLOC_ERR;
  auto* real = static_cast<double*>(AlignUp(area.base()));
  auto* spectrum = static_cast<fftw_complex*>(AlignUp(real + n));
  const int half = n / 2;
  if (forward) {
    std::memcpy(real, data, size_t(n) * sizeof(double));
    fftw_execute_dft_r2c(state->forward, real, spectrum);
    data[0] = spectrum[0][0] * scale;
    data[1] = spectrum[half][0] * scale;
    for (int k = 1; k < half; ++k) {
      data[2 * k] = spectrum[k][0] * scale;
      data[2 * k + 1] = spectrum[k][1] * scale;
    }
  } else {
    spectrum[0][0] = data[0];
    spectrum[0][1] = 0;
    spectrum[half][0] = data[1];
    spectrum[half][1] = 0;
    for (int k = 1; k < half; ++k) {
      spectrum[k][0] = data[2 * k];
      spectrum[k][1] = data[2 * k + 1];
    }
    fftw_execute_dft_c2r(state->inverse, spectrum, real);
    for (int i = 0; i < n; ++i) data[i] = real[i] * scale;
  }
  return ZOPERF_STS_NO_ERR;
}

template <typename T>
int MinMax(const T* source, int length, T* minimum, T* maximum) {
  if (!source || !minimum || !maximum) return ZOPERF_STS_NULL_PTR_ERR;
  if (length < 1) return ZOPERF_STS_SIZE_ERR;
  T lo = source[0], hi = source[0];
  for (int i = 1; i < length; ++i) {
    if (source[i] < lo) lo = source[i];
    if (source[i] > hi) hi = source[i];
  }
  *minimum = lo;
  *maximum = hi;
  return ZOPERF_STS_NO_ERR;
}

}  // namespace

HRESULT ZoPerf_Initialize(void) {
  // One code path serves every processor: FFTW picks its own kernels, and
  // the loops here are left to the compiler. Detection must have run.
  ZoGetCPUSupport(0);
  return S_OK;
}

HRESULT ZoPerfStatusToHRESULT(int status) {
  if (status == -9999)
    status = -255;
  else if (status == -9998)
    status = -256;
  if (status < 0) return MakeStatus(0x8004E600u + std::uint32_t(-std::int64_t(status)));
  return MakeStatus(0x0004E600u + std::uint32_t(status));
}

int ZoPerfMapHintAlgorithm(int hint) {
  static constexpr int kHints[3][2] = {{zoAlgHintNone, 0}, {zoAlgHintFast, 1}, {zoAlgHintAccurate, 2}};
  for (const auto& row : kHints)
    if (row[0] == hint) return row[1];
  return 0;
}

ULONGLONG ZoPerfGetCpuClocks(void) { return vane::kernel::ReadCycleCounter(); }

BYTE* ZoPerfsMalloc_8u(int count) {
  if (count < 1) return nullptr;
  const size_t bytes = (size_t(count) + kAlignment - 1) / kAlignment * kAlignment;
  return static_cast<BYTE*>(std::aligned_alloc(kAlignment, bytes));
}

float* ZoPerfsMalloc_32f(int count) {
  if (count < 1) return nullptr;
  const size_t bytes = (size_t(count) * sizeof(float) + kAlignment - 1) / kAlignment * kAlignment;
  return static_cast<float*>(std::aligned_alloc(kAlignment, bytes));
}

void ZoPerfsFree(void* buffer) { std::free(buffer); }

HRESULT ZoPerfsConj_64fc_I(Zo64fc* data, int length) {
  if (!data) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  if (length < 1) return Mapped(ZOPERF_STS_SIZE_ERR);
  for (int i = 0; i < length; ++i) data[i].im = -data[i].im;
  return Mapped(ZOPERF_STS_NO_ERR);
}

HRESULT ZoPerfsMul_64fc_I(const Zo64fc* source, Zo64fc* data, int length) {
  if (!source || !data) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  if (length < 1) return Mapped(ZOPERF_STS_SIZE_ERR);
  for (int i = 0; i < length; ++i) {
    const double re = source[i].re * data[i].re - source[i].im * data[i].im;
    const double im = source[i].re * data[i].im + source[i].im * data[i].re;
    data[i].re = re;
    data[i].im = im;
  }
  return Mapped(ZOPERF_STS_NO_ERR);
}

HRESULT ZoPerfsDeinterleave_32f(const float* source, int channels, int frames, float** destinations) {
  if (channels < 1 || frames < 1) return S_OK;
  if (!source || !destinations) return E_POINTER;
  for (int c = 0; c < channels; ++c)
    if (!destinations[c]) return E_POINTER;
  const size_t stride = size_t(channels);
  int f = 0;
  // Four frames a turn, then the rest one by one.
  for (; f + 4 <= frames; f += 4) {
    const float* frame = source + size_t(f) * stride;
    for (int c = 0; c < channels; ++c) {
      float* d = destinations[c] + f;
      d[0] = frame[c];
      d[1] = frame[stride + c];
      d[2] = frame[2 * stride + c];
      d[3] = frame[3 * stride + c];
    }
  }
  for (; f < frames; ++f)
    for (int c = 0; c < channels; ++c) destinations[c][f] = source[size_t(f) * stride + c];
  return S_OK;
}

HRESULT ZoPerfsMinMax_32f(const float* source, int length, float* minimum, float* maximum) {
  return Mapped(MinMax(source, length, minimum, maximum));
}

HRESULT ZoPerfsMinMax_64f(const double* source, int length, double* minimum, double* maximum) {
  return Mapped(MinMax(source, length, minimum, maximum));
}

HRESULT ZoPerfsSqrt_32f(const float* source, float* destination, int length) {
  if (!source || !destination) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  if (length < 1) return Mapped(ZOPERF_STS_SIZE_ERR);
  bool negative = false;
  for (int i = 0; i < length; ++i) {
    if (source[i] < 0) negative = true;
    destination[i] = std::sqrt(source[i]);
  }
  return Mapped(negative ? ZOPERF_STS_SQRT_NEG_ARG : ZOPERF_STS_NO_ERR);
}

HRESULT ZoPerfsRandUniform_Direct_32f(float* destination, int length, float low, float high, unsigned int* seed) {
  if (!destination || !seed) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  if (length < 1) return Mapped(ZOPERF_STS_SIZE_ERR);
  if (!(low <= high)) return Mapped(ZOPERF_STS_RANGE_ERR);
  std::uint32_t s = *seed;
  const double span = double(high) - double(low);
  for (int i = 0; i < length; ++i) {
    s = s * 1664525u + 1013904223u;
    destination[i] = float(double(low) + span * double(s >> 8) / 16777216.0);
  }
  *seed = s;
  return Mapped(ZOPERF_STS_NO_ERR);
}

HRESULT ZoPerfsFFTInitAlloc_C_32fc(ZoPerfsFFTSpec_C_32fc** state, int order, int flag, ZoPerfHintAlgorithm) {
  if (!state) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  *state = nullptr;
  if (order < 0 || order > ZO_FFT_MAX_ORDER) return Mapped(ZOPERF_STS_FFT_ORDER_ERR);
  if (!ValidFlag(flag)) return Mapped(ZOPERF_STS_FFT_FLAG_ERR);
  const int n = 1 << order;
  auto* plan = new (std::nothrow) ZoPerfsFFTSpec_C_32fc{n, flag, nullptr, nullptr};
  fftwf_complex* in = fftwf_alloc_complex(size_t(n));
  fftwf_complex* out = fftwf_alloc_complex(size_t(n));
  if (plan && in && out) {
    std::lock_guard<std::mutex> lock(g_plannerMutex);
    plan->forward = fftwf_plan_dft_1d(n, in, out, FFTW_FORWARD, FFTW_ESTIMATE);
    plan->inverse = fftwf_plan_dft_1d(n, in, out, FFTW_BACKWARD, FFTW_ESTIMATE);
  }
  fftwf_free(in);
  fftwf_free(out);
  if (!plan || !plan->forward || !plan->inverse) {
    ZoPerfsFFTFree_C_32fc(plan);
    return Mapped(ZOPERF_STS_MEM_ALLOC_ERR);
  }
  *state = plan;
  return Mapped(ZOPERF_STS_NO_ERR);
}

HRESULT ZoPerfsFFTInitAlloc_R_64f(ZoPerfsFFTSpec_R_64f** state, int order, int flag, ZoPerfHintAlgorithm) {
  if (!state) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  *state = nullptr;
  if (order < 0 || order > ZO_FFT_MAX_ORDER) return Mapped(ZOPERF_STS_FFT_ORDER_ERR);
  if (!ValidFlag(flag)) return Mapped(ZOPERF_STS_FFT_FLAG_ERR);
  const int n = 1 << order;
  auto* plan = new (std::nothrow) ZoPerfsFFTSpec_R_64f{n, flag, nullptr, nullptr};
  if (!plan) return Mapped(ZOPERF_STS_MEM_ALLOC_ERR);
  if (n == 1) {  // the transform of one value is that value; no plans
    *state = plan;
    return Mapped(ZOPERF_STS_NO_ERR);
  }
  double* real = fftw_alloc_real(size_t(n));
  fftw_complex* spectrum = fftw_alloc_complex(size_t(n) / 2 + 1);
  if (real && spectrum) {
    std::lock_guard<std::mutex> lock(g_plannerMutex);
    plan->forward = fftw_plan_dft_r2c_1d(n, real, spectrum, FFTW_ESTIMATE);
    plan->inverse = fftw_plan_dft_c2r_1d(n, spectrum, real, FFTW_ESTIMATE);
  }
  fftw_free(real);
  fftw_free(spectrum);
  if (!plan->forward || !plan->inverse) {
    ZoPerfsFFTFree_R_64f(plan);
    return Mapped(ZOPERF_STS_MEM_ALLOC_ERR);
  }
  *state = plan;
  return Mapped(ZOPERF_STS_NO_ERR);
}

HRESULT ZoPerfsFFTGetBufSize_C_32fc(const ZoPerfsFFTSpec_C_32fc* state, int* size) {
  if (!state || !size) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  return BufSize(ComplexWorkBytes(uint64_t(state->n)), size);
}

HRESULT ZoPerfsFFTGetBufSize_R_64f(const ZoPerfsFFTSpec_R_64f* state, int* size) {
  if (!state || !size) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  return BufSize(RealWorkBytes(uint64_t(state->n)), size);
}

HRESULT ZoPerfsFFTFwd_CToC_32fc(const Zo32fc* source, Zo32fc* destination, const ZoPerfsFFTSpec_C_32fc* state,
                                BYTE* work) {
  return Mapped(ComplexTransform(source, destination, state, work, true));
}

HRESULT ZoPerfsFFTInv_CToC_32fc(const Zo32fc* source, Zo32fc* destination, const ZoPerfsFFTSpec_C_32fc* state,
                                BYTE* work) {
  return Mapped(ComplexTransform(source, destination, state, work, false));
}

HRESULT ZoPerfsFFTFwd_RToPerm_64f_I(double* data, const ZoPerfsFFTSpec_R_64f* state, BYTE* work) {
  return Mapped(RealTransform(data, state, work, true));
}

HRESULT ZoPerfsFFTInv_PermToR_64f_I(double* data, const ZoPerfsFFTSpec_R_64f* state, BYTE* work) {
  return Mapped(RealTransform(data, state, work, false));
}

HRESULT ZoPerfsFFTFree_C_32fc(ZoPerfsFFTSpec_C_32fc* state) {
  if (!state) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  {
    std::lock_guard<std::mutex> lock(g_plannerMutex);
    if (state->forward) fftwf_destroy_plan(state->forward);
    if (state->inverse) fftwf_destroy_plan(state->inverse);
  }
  delete state;
  return Mapped(ZOPERF_STS_NO_ERR);
}

HRESULT ZoPerfsFFTFree_R_64f(ZoPerfsFFTSpec_R_64f* state) {
  if (!state) return Mapped(ZOPERF_STS_NULL_PTR_ERR);
  {
    std::lock_guard<std::mutex> lock(g_plannerMutex);
    if (state->forward) fftw_destroy_plan(state->forward);
    if (state->inverse) fftw_destroy_plan(state->inverse);
  }
  delete state;
  return Mapped(ZOPERF_STS_NO_ERR);
}
