// SPDX-License-Identifier: MIT
// The IIR filter with hostile parameters: type, design, order, frequency,
// width, gain, channel count, mask and frame count from the input, the rest
// of the input as samples. Output stays inside its buffer.
#include <cstdint>
#include <cstring>
#include <vector>

#include "audio/iir.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  if (size < 40) return 0;
  std::int32_t type, design, order;
  double frequency, width, gain;
  std::uint32_t channels, mask;
  std::memcpy(&type, data, 4);
  std::memcpy(&design, data + 4, 4);
  std::memcpy(&order, data + 8, 4);
  std::memcpy(&frequency, data + 12, 8);
  std::memcpy(&width, data + 20, 8);
  std::memcpy(&gain, data + 28, 8);
  channels = data[36] % 40;
  mask = std::uint32_t(data[37]) | std::uint32_t(data[38]) << 8;
  data += 40;
  size -= 40;
  CZoIIR f;
  f.Design(ZOIIR_TYPE(type), ZOIIR_DESIGN(design), order, frequency, width, gain, channels, data[-1] & 2);
  const DWORD ch = channels ? channels : 1;
  const DWORD frames = DWORD(size / sizeof(float) / ch);
  std::vector<float> in(size_t(frames) * ch + 1), out(size_t(frames) * ch + 1, 7.0f);
  std::memcpy(in.data(), data, size_t(frames) * ch * sizeof(float));
  f.ProcessFloat(out.data(), in.data(), frames, mask);
  if (out.back() != 7.0f) __builtin_trap();
  CZoIIR copy(&f);
  std::vector<double> din(in.begin(), in.end()), dout(din.size());
  copy.ProcessDouble(dout.data(), din.data(), frames, mask >> 3);
  return 0;
}
