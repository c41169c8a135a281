// SPDX-License-Identifier: MIT
// CZoIIR: a small multichannel recursive filter. Design places the poles of
// an analogue prototype (Butterworth, 0.5 dB Chebyshev, Bessel, or a two-pole
// resonator for the band forms), maps them for low-pass, high-pass,
// band-pass or band-stop with prewarped edges, and turns them into a cascade
// of biquads by the bilinear transform. Processing runs the cascade in double
// precision over interleaved float or double frames.
//
// The third prototype is Bessel (maximally flat delay), its poles scaled so
// that the response is 3 dB down at the edge like the Butterworth's. Design 3
// is the constant-peak band-pass resonator and its notch.
//
// Thread rule: an instance belongs to one thread at a time.
#pragma once

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

enum ZOIIR_TYPE : int { ZOIIR_LOWPASS = 0, ZOIIR_HIGHPASS = 1, ZOIIR_BANDPASS = 2, ZOIIR_BANDSTOP = 3 };
enum ZOIIR_DESIGN : int { ZOIIR_BUTTERWORTH = 0, ZOIIR_CHEBYSHEV = 1, ZOIIR_BESSEL = 2, ZOIIR_RESONATOR = 3 };

inline constexpr int ZOIIR_MAX_SECTIONS = 15;
inline constexpr DWORD ZOIIR_MAX_CHANNELS = 32;
inline constexpr DWORD ZOIIR_FLAG_NO_VECTOR = 0x2;  // bit 1 of Design's flags

// One section as polynomials in z^-1: b0 + b1 z^-1 + b2 z^-2 over
// a0 + a1 z^-1 + a2 z^-2 (a0 = 1), kept for inspection.
struct tZOIIR_POLYNOMIAL {
  double b[3];
  double a[3];
};

// The running form: w = a1 d1 + v + a2 d2, y = b0 w + b1 d1 + b2 d2 (so a1
// and a2 are the negated denominator terms), two delays per channel.
struct tZOIIR_BIQUAD {
  double b0, b1, b2, a1, a2;
  double delay[ZOIIR_MAX_CHANNELS][2];
};

class VANE_EXPORT CZoIIR {
 public:
  CZoIIR();
  explicit CZoIIR(const CZoIIR* other);

  // frequency (and for the band forms the centre) as a fraction of the
  // sample rate, at most 0.5; width in octaves for the band forms, Q for the
  // resonator. E_INVALIDARG leaves an empty filter that passes nothing.
  HRESULT Design(ZOIIR_TYPE type, ZOIIR_DESIGN design, int order, double frequency, double width, double gainDb,
                 DWORD channels, DWORD flags);
  void Reset(DWORD channelMask);
  void ResetAll();
  void SetDelayElementsFrom(const CZoIIR* other);
  // Interleaved frames of `channels` samples; out may equal in. A mask of 0
  // means 3. Channels outside the mask are copied through.
  HRESULT ProcessFloat(float* out, const float* in, DWORD frames, DWORD channelMask);
  HRESULT ProcessDouble(double* out, const double* in, DWORD frames, DWORD channelMask);

  int getNumBiquads() const { return m_biquadCount; }
  DWORD getChannels() const { return m_channels; }
  DWORD getLastChannelMask() const { return m_activeMask; }
  const tZOIIR_POLYNOMIAL* getPolynomial(int i) const;
  const tZOIIR_BIQUAD* getBiquad(int i) const;
  double getGain() const { return m_gain; }
  double getDry() const { return m_dry; }
  // Whether the two-channel vector form runs (it gives the same bits).
  bool usesVector() const { return m_useVector; }

 private:
  template <typename T>
  HRESULT Process(T* out, const T* in, DWORD frames, DWORD channelMask);
  void Clear();

  DWORD m_channels = 0;
  DWORD m_activeMask = 0;
  tZOIIR_POLYNOMIAL m_polynomials[ZOIIR_MAX_SECTIONS] = {};
  int m_biquadCount = 0;
  tZOIIR_BIQUAD m_biquads[ZOIIR_MAX_SECTIONS] = {};
  double m_gain = 0.0;
  double m_dry = 0.0;
  bool m_useVector = false;
};
