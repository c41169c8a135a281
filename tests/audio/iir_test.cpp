// SPDX-License-Identifier: MIT
// The IIR filter: each design's measured response (the DFT of its impulse
// response) against its analytic response, the argument limits, failed
// designs, denormal flushing, mask changes, block splits and the vector form
// giving the plain form's bits.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <vector>

#include "audio/iir.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// |H(f)| from the impulse response of channel 0 of a one-channel filter.
std::vector<double> MeasuredResponse(CZoIIR& filter, const std::vector<double>& freqs, size_t length = 1 << 17) {
  std::vector<double> impulse(length, 0.0);
  impulse[0] = 1.0;
  filter.ProcessDouble(impulse.data(), impulse.data(), DWORD(length), 1);
  std::vector<double> out;
  for (double f : freqs) {
    std::complex<double> sum = 0;
    const std::complex<double> step = std::polar(1.0, -2 * kPi * f);
    std::complex<double> w = 1.0;
    for (size_t n = 0; n < length; ++n, w *= step) sum += impulse[n] * w;
    out.push_back(std::abs(sum));
  }
  return out;
}

double Chebyshev(int n, double x) {
  return std::fabs(x) <= 1 ? std::cos(n * std::acos(x)) : std::cosh(n * std::acosh(std::fabs(x))) * (x < 0 && n % 2 ? -1 : 1);
}

// The analytic magnitude of a Butterworth or Chebyshev design after the
// bilinear transform: the prototype's at the mapped frequency.
double Analytic(ZOIIR_TYPE type, ZOIIR_DESIGN design, int order, double fc, double octaves, double f) {
  const double omega = 2 * std::tan(kPi * f);
  double x;
  if (type == ZOIIR_LOWPASS) {
    x = omega / (2 * std::tan(kPi * fc));
  } else if (type == ZOIIR_HIGHPASS) {
    x = 2 * std::tan(kPi * fc) / omega;
  } else {
    const double spread = std::sqrt(std::pow(2.0, octaves));
    const double w1 = 2 * std::tan(kPi * fc / spread), w2 = 2 * std::tan(kPi * std::min(0.5, fc * spread));
    const double bw = w2 - w1, w0sq = w1 * w2;
    x = type == ZOIIR_BANDPASS ? (omega * omega - w0sq) / (omega * bw) : (omega * bw) / (w0sq - omega * omega);
  }
  if (design == ZOIIR_BUTTERWORTH) return 1 / std::sqrt(1 + std::pow(x * x, order));
  const double e2 = std::pow(10.0, 0.05) - 1;
  const double t = Chebyshev(order, x);
  return 1 / std::sqrt(1 + e2 * t * t);
}

std::vector<double> Grid() {
  std::vector<double> f;
  for (double v = 0.002; v < 0.499; v += 0.0123) f.push_back(v);
  return f;
}

struct ResponseCase {
  ZOIIR_TYPE type;
  ZOIIR_DESIGN design;
  int order;
  double fc;
  double octaves;
};

class Response : public ::testing::TestWithParam<ResponseCase> {};

TEST_P(Response, MeasuredMatchesAnalyticWithinOneInAMillion) {
  const ResponseCase c = GetParam();
  CZoIIR filter;
  ASSERT_EQ(filter.Design(c.type, c.design, c.order, c.fc, c.octaves, 0.0, 1, 0), S_OK);
  const std::vector<double> freqs = Grid();
  const std::vector<double> measured = MeasuredResponse(filter, freqs);
  for (size_t i = 0; i < freqs.size(); ++i) {
    const double want = Analytic(c.type, c.design, c.order, c.fc, c.octaves, freqs[i]);
    EXPECT_NEAR(measured[i], want, 1e-6 * std::max(1.0, want)) << "f=" << freqs[i];
  }
}

INSTANTIATE_TEST_SUITE_P(
    Designs, Response,
    ::testing::Values(ResponseCase{ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 1, 0.1, 0}, ResponseCase{ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 2, 0.2, 0},
                      ResponseCase{ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 7, 0.15, 0}, ResponseCase{ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 15, 0.25, 0},
                      ResponseCase{ZOIIR_HIGHPASS, ZOIIR_BUTTERWORTH, 3, 0.1, 0}, ResponseCase{ZOIIR_HIGHPASS, ZOIIR_BUTTERWORTH, 8, 0.3, 0},
                      ResponseCase{ZOIIR_BANDPASS, ZOIIR_BUTTERWORTH, 2, 0.1, 1}, ResponseCase{ZOIIR_BANDPASS, ZOIIR_BUTTERWORTH, 5, 0.2, 2},
                      ResponseCase{ZOIIR_BANDSTOP, ZOIIR_BUTTERWORTH, 3, 0.15, 1}, ResponseCase{ZOIIR_BANDSTOP, ZOIIR_BUTTERWORTH, 4, 0.2, 0.5},
                      ResponseCase{ZOIIR_LOWPASS, ZOIIR_CHEBYSHEV, 1, 0.1, 0}, ResponseCase{ZOIIR_LOWPASS, ZOIIR_CHEBYSHEV, 4, 0.2, 0},
                      ResponseCase{ZOIIR_LOWPASS, ZOIIR_CHEBYSHEV, 9, 0.12, 0}, ResponseCase{ZOIIR_HIGHPASS, ZOIIR_CHEBYSHEV, 6, 0.25, 0},
                      ResponseCase{ZOIIR_BANDPASS, ZOIIR_CHEBYSHEV, 3, 0.2, 1}, ResponseCase{ZOIIR_BANDSTOP, ZOIIR_CHEBYSHEV, 4, 0.2, 1}));

TEST(IirDesign, BesselIsThreeDecibelsDownAtTheEdgeAndMonotonic) {
  for (int order : {1, 2, 4, 8, 15}) {
    CZoIIR filter;
    ASSERT_EQ(filter.Design(ZOIIR_LOWPASS, ZOIIR_BESSEL, order, 0.05, 0, 0.0, 1, 0), S_OK);
    // The prototype is 3 dB down at its edge; the bilinear transform keeps that at the prewarped edge.
    const std::vector<double> at = MeasuredResponse(filter, {0.0, 0.05, 0.01, 0.02, 0.03, 0.04, 0.1, 0.2});
    EXPECT_NEAR(at[0], 1.0, 1e-9) << order;
    EXPECT_NEAR(at[1], std::sqrt(0.5), 1e-6) << order;
    for (size_t i = 2; i + 1 < at.size(); ++i) EXPECT_GT(at[i], at[i + 1]) << order;
  }
}

TEST(IirDesign, ResonatorPeaksAtOneWithItsQ) {
  CZoIIR pass, notch;
  ASSERT_EQ(pass.Design(ZOIIR_BANDPASS, ZOIIR_RESONATOR, 0, 0.1, 4.0, 0.0, 1, 0), S_OK);
  ASSERT_EQ(notch.Design(ZOIIR_BANDSTOP, ZOIIR_RESONATOR, 0, 0.1, 4.0, 0.0, 1, 0), S_OK);
  EXPECT_EQ(pass.getNumBiquads(), 1);
  const std::vector<double> p = MeasuredResponse(pass, {0.1, 0.05, 0.2});
  const std::vector<double> n = MeasuredResponse(notch, {0.1, 0.01, 0.4});
  EXPECT_NEAR(p[0], 1.0, 1e-6);
  EXPECT_LT(p[1], 0.2);
  EXPECT_NEAR(n[0], 0.0, 1e-4);
  EXPECT_NEAR(n[1], 1.0, 1e-3);
  CZoIIR bad;
  EXPECT_EQ(bad.Design(ZOIIR_LOWPASS, ZOIIR_RESONATOR, 0, 0.1, 4.0, 0.0, 1, 0), E_INVALIDARG) << "resonator is a band form";
}

TEST(IirDesign, LimitsAndAFailedDesignPassesNothing) {
  CZoIIR f;
  EXPECT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 4, 0.5, 0, 0, 2, 0), S_OK);
  EXPECT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 16, 0.2, 0, 0, 2, 0), E_INVALIDARG);
  EXPECT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 0, 0.2, 0, 0, 2, 0), E_INVALIDARG);
  EXPECT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 4, 0.2, 0, 0, 33, 0), E_INVALIDARG);
  EXPECT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 4, -0.1, 0, 0, 2, 0), E_INVALIDARG);
  EXPECT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 4, NAN, 0, 0, 2, 0), E_INVALIDARG);
  EXPECT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 4, 0.51, 0, 0, 2, 0), E_INVALIDARG);
  EXPECT_EQ(f.getNumBiquads(), 0);
  std::vector<float> in(64, 0.5f), out(64, 9.0f);
  EXPECT_EQ(f.ProcessFloat(out.data(), in.data(), 32, 3), S_OK);
  for (float v : out) EXPECT_EQ(v, 0.0f);
  EXPECT_EQ(f.ProcessFloat(nullptr, in.data(), 32, 3), E_POINTER);
  CZoIIR empty;
  EXPECT_EQ(empty.ProcessFloat(out.data(), in.data(), 32, 3), E_UNEXPECTED);
}

TEST(IirProcess, SilenceAfterSignalDecaysToExactZeros) {
  CZoIIR f;
  ASSERT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_CHEBYSHEV, 6, 0.01, 0, 0, 1, 0), S_OK);
  std::vector<double> x(4096, 1.0);
  f.ProcessDouble(x.data(), x.data(), DWORD(x.size()), 1);
  std::vector<double> silence(1 << 18, 0.0);
  f.ProcessDouble(silence.data(), silence.data(), DWORD(silence.size()), 1);
  EXPECT_EQ(silence.back(), 0.0);
  for (int i = 0; i < f.getNumBiquads(); ++i) {
    EXPECT_EQ(f.getBiquad(i)->delay[0][0], 0.0);
    EXPECT_EQ(f.getBiquad(i)->delay[0][1], 0.0);
  }
}

TEST(IirProcess, AChannelSwitchedOnStartsFromSilenceAndOthersKeepTheirState) {
  CZoIIR f;
  ASSERT_EQ(f.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 4, 0.1, 0, 0, 2, 0), S_OK);
  std::vector<double> x(256);
  for (size_t i = 0; i < x.size(); ++i) x[i] = std::sin(double(i));
  f.ProcessDouble(x.data(), x.data(), 128, 3);
  f.ProcessDouble(x.data(), x.data(), 128, 1);  // channel 1 off: its delays stay
  const double kept0 = f.getBiquad(0)->delay[0][0];
  ASSERT_NE(f.getBiquad(0)->delay[1][0], 0.0);
  std::vector<double> y(2, 0.0);
  f.ProcessDouble(y.data(), y.data(), 1, 3);  // channel 1 back on: cleared first
  EXPECT_EQ(f.getLastChannelMask(), 3u);
  CZoIIR fresh;
  fresh.Design(ZOIIR_LOWPASS, ZOIIR_BUTTERWORTH, 4, 0.1, 0, 0, 2, 0);
  std::vector<double> z(2, 0.0);
  fresh.ProcessDouble(z.data(), z.data(), 1, 3);
  EXPECT_EQ(y[1], z[1]) << "channel 1 restarted from silence";
  EXPECT_NE(f.getBiquad(0)->delay[0][0], 0.0) << "channel 0 went on from " << kept0;
}

// Block splits, the vector form and the copy all give exactly the same bits.
TEST(IirProcess, SplitsVectorAndCopiesGiveIdenticalBits) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  std::vector<float> in(2 * 20000);
  for (size_t i = 0; i < in.size(); ++i) in[i] = i % 997 == 0 ? 1e30f : i % 991 == 0 ? 1e-40f : u(rng);
  for (ZOIIR_TYPE type : {ZOIIR_LOWPASS, ZOIIR_BANDPASS, ZOIIR_BANDSTOP}) {
    CZoIIR plain, vector;
    ASSERT_EQ(plain.Design(type, ZOIIR_CHEBYSHEV, 5, 0.1, 1.0, 3.0, 2, ZOIIR_FLAG_NO_VECTOR), S_OK);
    ASSERT_EQ(vector.Design(type, ZOIIR_CHEBYSHEV, 5, 0.1, 1.0, 3.0, 2, 0), S_OK);
    EXPECT_FALSE(plain.usesVector());
    std::vector<float> a(in.size()), b(in.size());
    plain.ProcessFloat(a.data(), in.data(), 20000, 3);
    for (DWORD done = 0; done < 20000;) {
      const DWORD n = std::min<DWORD>(20000 - done, 1 + rng() % 700);
      vector.ProcessFloat(b.data() + 2 * done, in.data() + 2 * done, n, 3);
      done += n;
    }
    ASSERT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(float)), 0) << type;
    CZoIIR copy(&plain), continued;
    continued.Design(type, ZOIIR_CHEBYSHEV, 5, 0.1, 1.0, 3.0, 2, ZOIIR_FLAG_NO_VECTOR);
    continued.SetDelayElementsFrom(&plain);
    std::vector<float> c(200), d(200), e(200);
    plain.ProcessFloat(c.data(), in.data(), 100, 3);
    copy.ProcessFloat(d.data(), in.data(), 100, 3);
    continued.ProcessFloat(e.data(), in.data(), 100, 3);
    EXPECT_EQ(c, d);
    EXPECT_EQ(c, e);
  }
}

TEST(IirDesign, GainTurnsABandIntoABoostOrACut) {
  CZoIIR boost, cut;
  ASSERT_EQ(boost.Design(ZOIIR_BANDPASS, ZOIIR_BUTTERWORTH, 2, 0.1, 1.0, 6.0, 1, 0), S_OK);
  EXPECT_EQ(boost.getDry(), 1.0);
  // The band's centre is the geometric mean of its prewarped edges.
  const double spread = std::sqrt(2.0);
  const double centre = std::atan(std::sqrt(std::tan(kPi * 0.1 / spread) * std::tan(kPi * 0.1 * spread))) / kPi;
  const std::vector<double> b = MeasuredResponse(boost, {centre, 0.45});
  EXPECT_NEAR(b[0], std::pow(10.0, 6.0 / 20), 1e-6) << "+6 dB at the centre";
  EXPECT_NEAR(b[1], 1.0, 1e-2) << "nearly untouched far away";
  ASSERT_EQ(cut.Design(ZOIIR_BANDPASS, ZOIIR_BUTTERWORTH, 2, 0.1, 1.0, -6.0, 1, 0), S_OK);
  const std::vector<double> c = MeasuredResponse(cut, {centre, 0.45});
  EXPECT_NEAR(c[0], 1.0, 1e-6) << "a negative band gain becomes the stop form boosting the rest";
  EXPECT_NEAR(c[1], std::pow(10.0, 6.0 / 20), 1e-2);
}

}  // namespace
