// SPDX-License-Identifier: MIT
#include "audio/iir.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

#include "kernel/cpu.h"

namespace {

using Complex = std::complex<double>;
constexpr double kPi = 3.14159265358979323846;
// Delays closer to zero than this are cleared, which keeps denormals away.
constexpr double kTiny = 1e-34;
constexpr double kChebyshevRippleDb = 0.5;

double ChebyshevEpsilon() { return std::sqrt(std::pow(10.0, kChebyshevRippleDb / 10.0) - 1.0); }

// Prototype poles for a cut-off of 1 rad/s, one of each conjugate pair
// (imaginary part >= 0), real poles with an imaginary part of exactly 0.
std::vector<Complex> ButterworthPoles(int order) {
  std::vector<Complex> poles;
  for (int k = 0; 2 * k + 1 <= order; ++k) {
    const double phi = kPi * (2 * k + 1) / (2.0 * order);
    double im = std::cos(phi);
    if (std::fabs(im) < 1e-10) im = 0.0;
    poles.emplace_back(-std::sin(phi), im);
  }
  return poles;
}

std::vector<Complex> ChebyshevPoles(int order) {
  const double e = ChebyshevEpsilon();
  const double a = std::log(std::sqrt(1.0 / (e * e) + 1.0) + 1.0 / e) / order;
  std::vector<Complex> poles;
  for (int k = 0; 2 * k + 1 <= order; ++k) {
    const double phi = kPi * (2 * k + 1) / (2.0 * order);
    double im = std::cosh(a) * std::cos(phi);
    if (std::fabs(im) < 1e-10) im = 0.0;
    poles.emplace_back(-std::sinh(a) * std::sin(phi), im);
  }
  return poles;
}

// Bessel: the roots of the reverse Bessel polynomial (Durand-Kerner), scaled
// so that the magnitude is 3 dB down at 1 rad/s.
std::vector<Complex> BesselPoles(int order) {
  std::vector<double> c(static_cast<size_t>(order) + 1);  // c[k]: coefficient of s^k
  for (int k = 0; k <= order; ++k) {
    double v = 1.0;  // (2n-k)! / (2^(n-k) k! (n-k)!)
    for (int i = order - k + 1; i <= 2 * order - k; ++i) v *= i;
    for (int i = 2; i <= k; ++i) v /= i;
    v /= std::pow(2.0, order - k);
    c[size_t(k)] = v;
  }
  std::vector<Complex> roots(static_cast<size_t>(order));
  for (int i = 0; i < order; ++i) roots[size_t(i)] = std::polar(1.5, 2 * kPi * i / order + 0.4);
  auto eval = [&](Complex s) {
    Complex r = 1.0;  // monic
    for (int k = order - 1; k >= 0; --k) r = r * s + c[size_t(k)] / c[size_t(order)];
    return r;
  };
  for (int iteration = 0; iteration < 2000; ++iteration) {
    double moved = 0;
    for (int i = 0; i < order; ++i) {
      Complex d = 1.0;
      for (int j = 0; j < order; ++j)
        if (j != i) d *= roots[size_t(i)] - roots[size_t(j)];
      const Complex step = eval(roots[size_t(i)]) / d;
      roots[size_t(i)] -= step;
      moved = std::max(moved, std::abs(step));
    }
    if (moved < 1e-15) break;
  }
  // |H(jw)|^2 = c0^2 / |theta(jw)|^2: find w where it is 1/2.
  auto magnitude2 = [&](double w) {
    Complex r = 0.0;
    for (int k = order; k >= 0; --k) r = r * Complex(0, w) + c[size_t(k)];
    return c[0] * c[0] / std::norm(r);
  };
  double lo = 0.0, hi = 1.0;
  while (magnitude2(hi) > 0.5) hi *= 2;
  for (int i = 0; i < 200; ++i) {
    const double mid = 0.5 * (lo + hi);
    (magnitude2(mid) > 0.5 ? lo : hi) = mid;
  }
  std::vector<Complex> poles;
  for (Complex r : roots) {
    r /= hi;
    if (std::fabs(r.imag()) < 1e-10) poles.emplace_back(r.real(), 0.0);
    else if (r.imag() > 0) poles.push_back(r);
  }
  return poles;
}

// The bilinear transform with the edges prewarped to w = 2 tan(pi f).
Complex Bilinear(Complex s) { return (2.0 + s) / (2.0 - s); }
double Warp(double f) { return 2.0 * std::tan(kPi * std::min(f, 0.4999999)); }

// A section's poles before it becomes coefficients.
struct PoleGroup {
  Complex first;
  bool pair;          // first and its conjugate
  bool twoReal;       // first.real() and second
  double second = 0;  // the second real pole
};

// The magnitude of one section at z.
double SectionMagnitude(const tZOIIR_POLYNOMIAL& p, Complex z) {
  const Complex zi = 1.0 / z;
  const Complex num = p.b[0] + zi * (p.b[1] + zi * p.b[2]);
  const Complex den = p.a[0] + zi * (p.a[1] + zi * p.a[2]);
  return std::abs(num) / std::abs(den);
}

template <typename T>
T Flushed(T v) {
  return (v > -kTiny && v < kTiny) ? T(0) : v;
}

}  // namespace

CZoIIR::CZoIIR() = default;

CZoIIR::CZoIIR(const CZoIIR* other) {
  if (other) *this = *other;
}

void CZoIIR::Clear() {
  m_biquadCount = 0;
  std::memset(m_polynomials, 0, sizeof m_polynomials);
  std::memset(m_biquads, 0, sizeof m_biquads);
  m_gain = 0.0;
  m_dry = 0.0;
}

HRESULT CZoIIR::Design(ZOIIR_TYPE type, ZOIIR_DESIGN design, int order, double frequency, double width,
                       double gainDb, DWORD channels, DWORD flags) {
  Clear();
  if (!(frequency > 0.0) || frequency > 0.5 || channels == 0 || channels > ZOIIR_MAX_CHANNELS) return E_INVALIDARG;
  if (type < ZOIIR_LOWPASS || type > ZOIIR_BANDSTOP || design < ZOIIR_BUTTERWORTH || design > ZOIIR_RESONATOR)
    return E_INVALIDARG;
  if (design == ZOIIR_RESONATOR) {
    if (type != ZOIIR_BANDPASS && type != ZOIIR_BANDSTOP) return E_INVALIDARG;
    if (!(width > 0.0) || !std::isfinite(width)) return E_INVALIDARG;
  } else if (order < 1 || order > ZOIIR_MAX_SECTIONS) {
    return E_INVALIDARG;
  }
  const bool band = type == ZOIIR_BANDPASS || type == ZOIIR_BANDSTOP;
  if (band && design != ZOIIR_RESONATOR && !(width > 0.0 && std::isfinite(width))) return E_INVALIDARG;
  if (!std::isfinite(gainDb)) return E_INVALIDARG;
  // A band cut is the stop form boosting everything else.
  if (gainDb < 0 && type == ZOIIR_BANDPASS) {
    type = ZOIIR_BANDSTOP;
    gainDb = -gainDb;
  }

  double gain = 1.0;
  if (design == ZOIIR_RESONATOR) {
    const double w0 = 2.0 * kPi * std::min(frequency, 0.4999999);
    const double alpha = std::sin(w0) / (2.0 * width);
    const double norm = 1.0 + alpha;
    tZOIIR_POLYNOMIAL& p = m_polynomials[0];
    if (type == ZOIIR_BANDPASS) {
      p.b[0] = alpha / norm;
      p.b[1] = 0.0;
      p.b[2] = -alpha / norm;
    } else {
      p.b[0] = 1.0 / norm;
      p.b[1] = -2.0 * std::cos(w0) / norm;
      p.b[2] = 1.0 / norm;
    }
    p.a[0] = 1.0;
    p.a[1] = -2.0 * std::cos(w0) / norm;
    p.a[2] = (1.0 - alpha) / norm;
    m_biquadCount = 1;
  } else {
    const std::vector<Complex> prototype = design == ZOIIR_BUTTERWORTH  ? ButterworthPoles(order)
                                           : design == ZOIIR_CHEBYSHEV ? ChebyshevPoles(order)
                                                                        : BesselPoles(order);
    // The edges, prewarped.
    double f1 = frequency, f2 = frequency;
    if (band) {
      const double spread = std::sqrt(std::pow(2.0, width));
      f1 = frequency / spread;
      f2 = std::min(0.5, frequency * spread);
    }
    const double w1 = Warp(f1), w2 = Warp(f2);
    const double bw = w2 - w1, w0sq = w1 * w2;
    std::vector<PoleGroup> groups;
    auto addAnalog = [&](Complex s, bool real) {
      const Complex z = Bilinear(s);
      if (real) groups.push_back({Complex(z.real(), 0), false, false, 0});
      else groups.push_back({z, true, false, 0});
    };
    for (const Complex& p : prototype) {
      const bool real = p.imag() == 0.0;
      switch (type) {
        case ZOIIR_LOWPASS: addAnalog(p * w1, real); break;
        case ZOIIR_HIGHPASS: addAnalog(w1 / p, real); break;
        case ZOIIR_BANDPASS:
        case ZOIIR_BANDSTOP: {
          // s^2 - k s + w0^2 = 0 with k = p B (pass) or B / p (stop).
          const Complex k = type == ZOIIR_BANDPASS ? p * bw : bw / p;
          const Complex root = std::sqrt(k * k - 4.0 * w0sq);
          const Complex s1 = 0.5 * (k + root), s2 = 0.5 * (k - root);
          if (!real) {
            addAnalog(s1, false);
            addAnalog(s2, false);
          } else if (std::fabs(s1.imag()) > 1e-12) {
            addAnalog(s1.imag() >= 0 ? s1 : s2, false);
          } else {
            const Complex z1 = Bilinear(Complex(s1.real(), 0)), z2 = Bilinear(Complex(s2.real(), 0));
            groups.push_back({Complex(z1.real(), 0), false, true, z2.real()});
          }
          break;
        }
      }
    }
    // Real first-order poles of low- and high-pass pair up with nothing: a
    // first-order section each.
    const double theta0 = 2.0 * std::atan(std::sqrt(w0sq) / 2.0);
    for (const PoleGroup& g : groups) {
      if (m_biquadCount >= ZOIIR_MAX_SECTIONS) break;
      tZOIIR_POLYNOMIAL& p = m_polynomials[m_biquadCount++];
      p.a[0] = 1.0;
      bool firstOrder = false;
      if (g.pair) {
        p.a[1] = -2.0 * g.first.real();
        p.a[2] = std::norm(g.first);
      } else if (g.twoReal) {
        p.a[1] = -(g.first.real() + g.second);
        p.a[2] = g.first.real() * g.second;
      } else {
        p.a[1] = -g.first.real();
        p.a[2] = 0.0;
        firstOrder = true;
      }
      switch (type) {
        case ZOIIR_LOWPASS:
          p.b[0] = 1.0, p.b[1] = firstOrder ? 1.0 : 2.0, p.b[2] = firstOrder ? 0.0 : 1.0;
          break;
        case ZOIIR_HIGHPASS:
          p.b[0] = 1.0, p.b[1] = firstOrder ? -1.0 : -2.0, p.b[2] = firstOrder ? 0.0 : 1.0;
          break;
        case ZOIIR_BANDPASS: p.b[0] = 1.0, p.b[1] = 0.0, p.b[2] = -1.0; break;
        case ZOIIR_BANDSTOP: p.b[0] = 1.0, p.b[1] = -2.0 * std::cos(theta0), p.b[2] = 1.0; break;
      }
    }
    // The total gain puts the prototype's DC at its level: 1, or the ripple
    // floor of an even-order Chebyshev.
    const Complex reference = type == ZOIIR_HIGHPASS  ? Complex(-1.0, 0.0)
                              : type == ZOIIR_BANDPASS ? std::polar(1.0, theta0)
                                                       : Complex(1.0, 0.0);
    double magnitude = 1.0;
    for (int i = 0; i < m_biquadCount; ++i) magnitude *= SectionMagnitude(m_polynomials[i], reference);
    const double target = (design == ZOIIR_CHEBYSHEV && order % 2 == 0)
                              ? 1.0 / std::sqrt(1.0 + ChebyshevEpsilon() * ChebyshevEpsilon())
                              : 1.0;
    gain = magnitude > 0 && std::isfinite(magnitude) ? target / magnitude : 0.0;
  }
  for (int i = 0; i < m_biquadCount; ++i) {
    const tZOIIR_POLYNOMIAL& p = m_polynomials[i];
    tZOIIR_BIQUAD& q = m_biquads[i];
    q.b0 = p.b[0];
    q.b1 = p.b[1];
    q.b2 = p.b[2];
    q.a1 = -p.a[1];
    q.a2 = -p.a[2];
  }
  m_gain = gain;
  m_dry = 0.0;
  if (gainDb != 0.0) {
    m_dry = 1.0;
    m_gain *= std::pow(10.0, gainDb / 20.0) - 1.0;
  }
  m_channels = channels;
  m_activeMask = 3;
  m_useVector = channels == 2 && !(flags & ZOIIR_FLAG_NO_VECTOR) && ZoGetCPUSupport(ZOCPU_SSE2) != 0;
  return S_OK;
}

void CZoIIR::Reset(DWORD channelMask) {
  for (int i = 0; i < ZOIIR_MAX_SECTIONS; ++i)
    for (DWORD c = 0; c < ZOIIR_MAX_CHANNELS; ++c)
      if (channelMask & (1u << c)) m_biquads[i].delay[c][0] = m_biquads[i].delay[c][1] = 0.0;
}

void CZoIIR::ResetAll() { Reset(0xFFFFFFFFu); }

void CZoIIR::SetDelayElementsFrom(const CZoIIR* other) {
  if (!other) return;
  for (int i = 0; i < ZOIIR_MAX_SECTIONS; ++i) std::memcpy(m_biquads[i].delay, other->m_biquads[i].delay, sizeof m_biquads[i].delay);
}

const tZOIIR_POLYNOMIAL* CZoIIR::getPolynomial(int i) const {
  return i >= 0 && i < m_biquadCount ? &m_polynomials[i] : nullptr;
}

const tZOIIR_BIQUAD* CZoIIR::getBiquad(int i) const { return i >= 0 && i < m_biquadCount ? &m_biquads[i] : nullptr; }

template <typename T>
HRESULT CZoIIR::Process(T* out, const T* in, DWORD frames, DWORD channelMask) {
  if (frames == 0) return S_OK;
  if (!out || !in) return E_POINTER;
  if (m_channels == 0) return E_UNEXPECTED;
  if (channelMask == 0) channelMask = 3;
  if (m_channels < 32) channelMask &= (1u << m_channels) - 1;
  // Channels switched on since the last call start from silence.
  if (channelMask != m_activeMask) {
    Reset((m_activeMask ^ channelMask) & channelMask);
    m_activeMask = channelMask;
  }
  const DWORD channels = m_channels;
  const double gain = m_gain, dry = m_dry;
  const int count = m_biquadCount;
  if (m_useVector && channelMask == 3) {
    // Both channels in the two lanes: the same operations in the same order.
    const __m128d vGain = _mm_set1_pd(gain), vDry = _mm_set1_pd(dry);
    const __m128d tiny = _mm_set1_pd(kTiny), sign = _mm_set1_pd(-0.0);
    for (DWORD f = 0; f < frames; ++f) {
      const __m128d x = _mm_set_pd(double(in[f * 2 + 1]), double(in[f * 2]));
      __m128d v = _mm_mul_pd(x, vGain);
      for (int i = 0; i < count; ++i) {
        tZOIIR_BIQUAD& q = m_biquads[i];
        const __m128d d1 = _mm_set_pd(q.delay[1][0], q.delay[0][0]);
        const __m128d d2 = _mm_set_pd(q.delay[1][1], q.delay[0][1]);
        __m128d w = _mm_add_pd(_mm_add_pd(_mm_mul_pd(_mm_set1_pd(q.a1), d1), v), _mm_mul_pd(_mm_set1_pd(q.a2), d2));
        const __m128d y = _mm_add_pd(_mm_add_pd(_mm_mul_pd(_mm_set1_pd(q.b0), w), _mm_mul_pd(_mm_set1_pd(q.b1), d1)),
                                     _mm_mul_pd(_mm_set1_pd(q.b2), d2));
        // |value| < tiny becomes 0, as the plain path does.
        const __m128d keep1 = _mm_cmpnlt_pd(_mm_andnot_pd(sign, w), tiny);
        const __m128d keep2 = _mm_cmpnlt_pd(_mm_andnot_pd(sign, d1), tiny);
        w = _mm_and_pd(w, keep1);
        const __m128d n2 = _mm_and_pd(d1, keep2);
        alignas(16) double a[2], b[2];
        _mm_store_pd(a, w);
        _mm_store_pd(b, n2);
        q.delay[0][0] = a[0];
        q.delay[1][0] = a[1];
        q.delay[0][1] = b[0];
        q.delay[1][1] = b[1];
        v = y;
      }
      alignas(16) double r[2];
      _mm_store_pd(r, _mm_add_pd(_mm_mul_pd(x, vDry), v));
      out[f * 2] = T(r[0]);
      out[f * 2 + 1] = T(r[1]);
    }
    return S_OK;
  }
  for (DWORD f = 0; f < frames; ++f) {
    const size_t base = size_t(f) * channels;
    for (DWORD c = 0; c < channels; ++c) {
      const double x = double(in[base + c]);
      if (!(channelMask & (1u << c))) {
        out[base + c] = in[base + c];
        continue;
      }
      double v = x * gain;
      for (int i = 0; i < count; ++i) {
        tZOIIR_BIQUAD& q = m_biquads[i];
        const double d1 = q.delay[c][0], d2 = q.delay[c][1];
        const double w = q.a1 * d1 + v + q.a2 * d2;
        const double y = q.b0 * w + q.b1 * d1 + q.b2 * d2;
        q.delay[c][1] = Flushed(d1);
        q.delay[c][0] = Flushed(w);
        v = y;
      }
      out[base + c] = T(x * dry + v);
    }
  }
  return S_OK;
}

HRESULT CZoIIR::ProcessFloat(float* out, const float* in, DWORD frames, DWORD channelMask) {
  return Process(out, in, frames, channelMask);
}

HRESULT CZoIIR::ProcessDouble(double* out, const double* in, DWORD frames, DWORD channelMask) {
  return Process(out, in, frames, channelMask);
}
