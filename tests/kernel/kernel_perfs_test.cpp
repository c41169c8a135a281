// SPDX-License-Identifier: MIT
// Vector primitives: status mapping, transforms against a direct DFT,
// deinterleaving and the small loops.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <ostream>
#include <vector>

#include "kernel/perfs.h"
#include "platform/status.h"

namespace vane::kernel {
namespace {

TEST(PerfStatus, MapsIntoTheKernelsRange) {
  EXPECT_EQ(ZoPerfStatusToHRESULT(0), MakeStatus(0x0004E600));  // a success that is not 0
  EXPECT_EQ(ZoPerfStatusToHRESULT(3), MakeStatus(0x0004E603));
  EXPECT_EQ(ZoPerfStatusToHRESULT(-8), MakeStatus(0x8004E608));
  EXPECT_EQ(ZoPerfStatusToHRESULT(-9999), MakeStatus(0x8004E6FF));
  EXPECT_EQ(ZoPerfStatusToHRESULT(-9998), MakeStatus(0x8004E700));
  EXPECT_EQ(ZoPerfStatusToHRESULT(-9997), MakeStatus(0x8004E600 + 9997));
  EXPECT_EQ(ZoPerfMapHintAlgorithm(2), 2);
  EXPECT_EQ(ZoPerfMapHintAlgorithm(7), 0);
}

std::vector<std::complex<double>> Dft(const std::vector<std::complex<double>>& x, int sign) {
  const size_t n = x.size();
  std::vector<std::complex<double>> y(n);
  for (size_t k = 0; k < n; ++k)
    for (size_t j = 0; j < n; ++j) y[k] += x[j] * std::polar(1.0, sign * 2 * M_PI * double(j * k % n) / double(n));
  return y;
}

class ComplexFft : public ::testing::TestWithParam<int> {};

TEST_P(ComplexFft, MatchesDirectDftAndInverts) {
  const int order = GetParam();
  const int n = 1 << order;
  ZoPerfsFFTSpec_C_32fc* plan = nullptr;
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTInitAlloc_C_32fc(&plan, order, ZO_FFT_DIV_INV_BY_N, zoAlgHintNone)));
  int bufSize = 0;
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTGetBufSize_C_32fc(plan, &bufSize)));
  BYTE* work = ZoPerfsMalloc_8u(bufSize);
  std::vector<Zo32fc> x(n), y(n), back(n);
  std::vector<std::complex<double>> xd(n);
  for (int i = 0; i < n; ++i) {
    x[i] = Zo32fc{float(std::sin(0.3 * i) + 0.1 * i), float(std::cos(0.7 * i))};
    xd[i] = {x[i].re, x[i].im};
  }
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTFwd_CToC_32fc(x.data(), y.data(), plan, work)));
  const auto expected = Dft(xd, -1);
  for (int k = 0; k < n; ++k) {
    EXPECT_NEAR(y[k].re, expected[k].real(), 1e-3 * n) << k;
    EXPECT_NEAR(y[k].im, expected[k].imag(), 1e-3 * n) << k;
  }
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTInv_CToC_32fc(y.data(), back.data(), plan, nullptr)));  // no work buffer
  for (int i = 0; i < n; ++i) {
    EXPECT_NEAR(back[i].re, x[i].re, 1e-4 * n);
    EXPECT_NEAR(back[i].im, x[i].im, 1e-4 * n);
  }
  // In place works too.
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTFwd_CToC_32fc(x.data(), x.data(), plan, work)));
  EXPECT_FLOAT_EQ(x[n - 1].re, y[n - 1].re);
  ZoPerfsFree(work);
  EXPECT_TRUE(SUCCEEDED(ZoPerfsFFTFree_C_32fc(plan)));
}

INSTANTIATE_TEST_SUITE_P(Orders, ComplexFft, ::testing::Values(0, 1, 3, 6));

class RealFft : public ::testing::TestWithParam<int> {};

TEST_P(RealFft, PackedOrderMatchesDirectDftAndInverts) {
  const int order = GetParam();
  const int n = 1 << order;
  ZoPerfsFFTSpec_R_64f* plan = nullptr;
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTInitAlloc_R_64f(&plan, order, ZO_FFT_DIV_BY_SQRTN, zoAlgHintAccurate)));
  std::vector<double> data(n);
  std::vector<std::complex<double>> xd(n);
  for (int i = 0; i < n; ++i) xd[i] = data[i] = std::sin(0.37 * i) + 0.25 * (i % 3);
  const std::vector<double> original = data;
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTFwd_RToPerm_64f_I(data.data(), plan, nullptr)));
  const auto spectrum = Dft(xd, -1);
  const double s = 1 / std::sqrt(double(n));
  EXPECT_NEAR(data[0], spectrum[0].real() * s, 1e-9);
  if (n >= 2) {
    EXPECT_NEAR(data[1], spectrum[n / 2].real() * s, 1e-9);
    for (int k = 1; k < n / 2; ++k) {
      EXPECT_NEAR(data[2 * k], spectrum[k].real() * s, 1e-9) << k;
      EXPECT_NEAR(data[2 * k + 1], spectrum[k].imag() * s, 1e-9) << k;
    }
  }
  ASSERT_TRUE(SUCCEEDED(ZoPerfsFFTInv_PermToR_64f_I(data.data(), plan, nullptr)));
  for (int i = 0; i < n; ++i) EXPECT_NEAR(data[i], original[i], 1e-9);
  ZoPerfsFFTFree_R_64f(plan);
}

INSTANTIATE_TEST_SUITE_P(Orders, RealFft, ::testing::Values(0, 1, 2, 5, 8));

TEST(Fft, BadArgumentsGiveMappedStatuses) {
  ZoPerfsFFTSpec_C_32fc* plan = reinterpret_cast<ZoPerfsFFTSpec_C_32fc*>(1);
  EXPECT_EQ(ZoPerfsFFTInitAlloc_C_32fc(&plan, -1, ZO_FFT_NODIV_BY_ANY, zoAlgHintNone),
            ZoPerfStatusToHRESULT(ZOPERF_STS_FFT_ORDER_ERR));
  EXPECT_EQ(plan, nullptr);
  EXPECT_EQ(ZoPerfsFFTInitAlloc_C_32fc(&plan, 4, 3, zoAlgHintNone), ZoPerfStatusToHRESULT(ZOPERF_STS_FFT_FLAG_ERR));
  EXPECT_EQ(ZoPerfsFFTInitAlloc_C_32fc(nullptr, 4, 1, zoAlgHintNone), ZoPerfStatusToHRESULT(ZOPERF_STS_NULL_PTR_ERR));
  ZoPerfsFFTSpec_R_64f* real = nullptr;
  EXPECT_EQ(ZoPerfsFFTInitAlloc_R_64f(&real, 40, 1, zoAlgHintNone), ZoPerfStatusToHRESULT(ZOPERF_STS_FFT_ORDER_ERR));
  EXPECT_TRUE(FAILED(ZoPerfsFFTFwd_RToPerm_64f_I(nullptr, real, nullptr)));
  // Order 27 would need a work buffer beyond the int that reports its size.
  EXPECT_EQ(ZoPerfsFFTInitAlloc_C_32fc(&plan, 27, 1, zoAlgHintNone), ZoPerfStatusToHRESULT(ZOPERF_STS_FFT_ORDER_ERR));
  EXPECT_EQ(plan, nullptr);
  EXPECT_EQ(ZoPerfsFFTInitAlloc_R_64f(&real, 27, 1, zoAlgHintNone), ZoPerfStatusToHRESULT(ZOPERF_STS_FFT_ORDER_ERR));
  EXPECT_EQ(real, nullptr);
  EXPECT_TRUE(FAILED(ZoPerfsFFTFree_R_64f(nullptr)));
}

struct DeinterleaveCase {
  int channels;
  int frames;
};
void PrintTo(const DeinterleaveCase& c, std::ostream* os) {
  *os << c.channels << " channels, " << c.frames << " frames";
}

class Deinterleave : public ::testing::TestWithParam<DeinterleaveCase> {};

TEST_P(Deinterleave, SplitsEveryFrameIncludingTheTail) {
  const auto [channels, frames] = GetParam();
  std::vector<float> source(size_t(channels) * frames);
  for (size_t i = 0; i < source.size(); ++i) source[i] = float(i);
  std::vector<std::vector<float>> out(channels, std::vector<float>(frames + 1, -1.0f));
  std::vector<float*> dst;
  for (auto& v : out) dst.push_back(v.data());
  EXPECT_EQ(ZoPerfsDeinterleave_32f(source.data(), channels, frames, dst.data()), S_OK);
  for (int c = 0; c < channels; ++c) {
    for (int f = 0; f < frames; ++f) ASSERT_EQ(out[c][f], float(f * channels + c)) << c << "," << f;
    EXPECT_EQ(out[c][frames], -1.0f);  // nothing written past the end
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, Deinterleave,
                         ::testing::Values(DeinterleaveCase{1, 1}, DeinterleaveCase{2, 7}, DeinterleaveCase{3, 8},
                                           DeinterleaveCase{6, 13}, DeinterleaveCase{8, 4}));

TEST(DeinterleaveEdges, NoChannelsTouchesNothing) {
  float sentinel = 5.0f;
  float* dst[1] = {&sentinel};
  EXPECT_EQ(ZoPerfsDeinterleave_32f(nullptr, 0, 10, dst), S_OK);
  EXPECT_EQ(ZoPerfsDeinterleave_32f(nullptr, -3, 10, nullptr), S_OK);
  EXPECT_EQ(sentinel, 5.0f);
  EXPECT_EQ(ZoPerfsDeinterleave_32f(nullptr, 2, 10, dst), E_POINTER);
}

TEST(SmallLoops, ComplexMinMaxSqrtAndNoise) {
  Zo64fc a[2] = {{1, 2}, {3, -4}};
  Zo64fc b[2] = {{5, 6}, {7, 8}};
  ASSERT_TRUE(SUCCEEDED(ZoPerfsMul_64fc_I(a, b, 2)));
  EXPECT_DOUBLE_EQ(b[0].re, -7);  // (1+2i)(5+6i)
  EXPECT_DOUBLE_EQ(b[0].im, 16);
  ASSERT_TRUE(SUCCEEDED(ZoPerfsConj_64fc_I(a, 2)));
  EXPECT_DOUBLE_EQ(a[1].im, 4);
  const float values[] = {3, -2, 9, 0.5f};
  float lo = 0, hi = 0;
  ASSERT_TRUE(SUCCEEDED(ZoPerfsMinMax_32f(values, 4, &lo, &hi)));
  EXPECT_EQ(lo, -2);
  EXPECT_EQ(hi, 9);
  EXPECT_EQ(ZoPerfsMinMax_32f(values, 0, &lo, &hi), ZoPerfStatusToHRESULT(ZOPERF_STS_SIZE_ERR));
  float roots[4];
  EXPECT_EQ(ZoPerfsSqrt_32f(values, roots, 4), ZoPerfStatusToHRESULT(ZOPERF_STS_SQRT_NEG_ARG));
  EXPECT_FLOAT_EQ(roots[2], 3);
  std::vector<float> noise(1000);
  unsigned seed = 42, seed2 = 42;
  ASSERT_TRUE(SUCCEEDED(ZoPerfsRandUniform_Direct_32f(noise.data(), 1000, -1, 1, &seed)));
  for (float v : noise) ASSERT_TRUE(v >= -1 && v < 1);
  std::vector<float> again(1000);
  ZoPerfsRandUniform_Direct_32f(again.data(), 1000, -1, 1, &seed2);
  EXPECT_EQ(noise, again);
  EXPECT_EQ(seed, seed2);
  EXPECT_EQ(ZoPerfsMalloc_32f(0), nullptr);
  float* aligned = ZoPerfsMalloc_32f(3);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 64, 0u);
  ZoPerfsFree(aligned);
}

}  // namespace
}  // namespace vane::kernel
