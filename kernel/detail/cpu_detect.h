// SPDX-License-Identifier: MIT
// CPU detection behind the feature words of kernel/cpu.h. The detector asks a
// CpuProbe for everything it learns from the machine, so that the word, class
// and gate rules can be driven with any processor's answers.
#pragma once

#include "platform/types.h"

namespace vane::kernel {

// Processor types as the OS reports them.
inline constexpr DWORD kProcessorIntel486 = 486;
inline constexpr DWORD kProcessorIntelPentium = 586;
inline constexpr DWORD kProcessorAmdX8664 = 8664;

enum class TrialOutcome { Passed, IllegalInstruction, OtherFault };

// What detection reads from the machine. The real probe uses cpuid and runs
// the trials under a signal guard; tests inject their own answers.
class CpuProbe {
 public:
  virtual ~CpuProbe() = default;
  virtual DWORD ProcessorType() = 0;
  virtual DWORD ProcessorCount() = 0;
  // regs receives EAX, EBX, ECX, EDX of the leaf.
  virtual void Cpuid(DWORD leaf, DWORD regs[4]) = 0;
  // Executes an SSE instruction.
  virtual TrialOutcome SseTrial() = 0;
  // ORs flush-to-zero and denormals-are-zero (0x8040) into the calling
  // thread's SSE control register.
  virtual TrialOutcome FtzDazTrial() = 0;
};

struct CpuWords {
  DWORD effective = 0;  // features usable by processor and OS, class in the low nibble
  DWORD hardware = 0;
  DWORD os = 0;
  DWORD processorCount = 0;
};

// The detection rules over a probe; pure apart from what the probe does.
CpuWords DetectCpuWords(CpuProbe& probe);

// The probe of the machine we run on.
CpuProbe& MachineCpuProbe();

// Process-wide state: runs detection on the machine once (first reader).
void EnsureCpuDetected();
// Replaces the detected words as if detection had given them (tests, and the
// re-application of the gate in early initialisation).
void InstallCpuWords(const CpuWords& words);
CpuWords DetectedCpuWords();
// Back to the start values: allowed mask 0xFFFFFFFF, forced class 0.
void ResetCpuGates();
// Early initialisation's step: detected word = (allowed AND detected) OR forced.
void ApplyCpuGatesToDetectedWord();
// (allowed mask AND hardware word AND mask); mask 0 means all bits.
DWORD GetHardwareSupport(DWORD mask);

}  // namespace vane::kernel
