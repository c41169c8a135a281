// SPDX-License-Identifier: MIT
// CPU detection and the feature gates.
//
// The processor class ladder starts from the processor type the OS reports:
// 486 gives 1 and 586 gives 2, and each later step (3: CMOV with FPU, 4: MMX,
// 5: SSE, 6: SSE2) fires only from the class directly below it. A 64-bit
// Linux process reports type 8664, so its class starts at 0 and stays there;
// the feature bits carry the facts, and a host that wants a class calls
// ZoSetCPUClassBySupport. This is the rule plug-ins have always seen on a
// 64-bit host, and we keep it.
#include "kernel/cpu.h"

#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <mutex>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <xmmintrin.h>
#define VANE_CPU_X86 1
#endif

#include "kernel/detail/cpu_detect.h"
#include "kernel/error_report.h"

namespace vane::kernel {
namespace {

// CPUID leaf 1 bits.
constexpr DWORD kEdxFpu = 1u << 0;
constexpr DWORD kEdxTsc = 1u << 4;
constexpr DWORD kEdxCmov = 1u << 15;
constexpr DWORD kEdxMmx = 1u << 23;
constexpr DWORD kEdxSse = 1u << 25;
constexpr DWORD kEdxSse2 = 1u << 26;
constexpr DWORD kEcxSse3 = 1u << 0;
constexpr DWORD kEcxSsse3 = 1u << 9;
constexpr DWORD kEcxSse41 = 1u << 19;
constexpr DWORD kEcxSse42 = 1u << 20;
constexpr DWORD kEcxOsxsave = 1u << 27;
constexpr DWORD kEcxAvx = 1u << 28;
constexpr DWORD kLeaf7EbxAvx2 = 1u << 5;

// The bits ZoOnlyAllowCPUSupport may replace: MMX through AVX.
constexpr DWORD kReplaceableFeatures = 0xFF0;

// ---- signal guard for the trials -------------------------------------------
//
// A trial runs with handlers for the fault signals installed; a fault on the
// trial's thread jumps back out of it. A fault on any other thread meanwhile
// is handed to the disposition that was there before. One trial at a time.

constexpr int kGuardedSignals[] = {SIGILL, SIGSEGV, SIGBUS, SIGFPE};
thread_local sigjmp_buf* t_trialJump = nullptr;
struct sigaction g_previous[NSIG];
std::mutex g_trialMutex;

void TrialSignalHandler(int sig, siginfo_t*, void*) {
  if (sigjmp_buf* jump = t_trialJump) siglongjmp(*jump, sig);
  sigaction(sig, &g_previous[sig], nullptr);
  raise(sig);
}

TrialOutcome RunGuarded(void (*trial)()) {
  std::lock_guard<std::mutex> lock(g_trialMutex);
  struct sigaction action = {};
  action.sa_sigaction = &TrialSignalHandler;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (int sig : kGuardedSignals) sigaction(sig, &action, &g_previous[sig]);

  TrialOutcome outcome = TrialOutcome::Passed;
  sigjmp_buf jump;
  const int caught = sigsetjmp(jump, 1);
  if (caught == 0) {
    t_trialJump = &jump;
    trial();
  } else {
    outcome = caught == SIGILL ? TrialOutcome::IllegalInstruction : TrialOutcome::OtherFault;
  }
  t_trialJump = nullptr;
  for (int sig : kGuardedSignals) sigaction(sig, &g_previous[sig], nullptr);
  return outcome;
}

class MachineProbe final : public CpuProbe {
 public:
  DWORD ProcessorType() override {
#if defined(__x86_64__)
    return kProcessorAmdX8664;
#elif defined(__i386__)
    return kProcessorIntelPentium;
#else
    return 0;
#endif
  }

  DWORD ProcessorCount() override {
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? DWORD(n) : 1;
  }

  void Cpuid(DWORD leaf, DWORD regs[4]) override {
    regs[0] = regs[1] = regs[2] = regs[3] = 0;
#ifdef VANE_CPU_X86
    unsigned a = 0, b = 0, c = 0, d = 0;
    __cpuid_count(leaf, 0, a, b, c, d);
    regs[0] = a;
    regs[1] = b;
    regs[2] = c;
    regs[3] = d;
#else
    (void)leaf;
#endif
  }

  TrialOutcome SseTrial() override {
#ifdef VANE_CPU_X86
    return RunGuarded([] { asm volatile("xorps %%xmm0, %%xmm0" ::: "xmm0"); });
#else
    return TrialOutcome::IllegalInstruction;
#endif
  }

  TrialOutcome FtzDazTrial() override {
#ifdef VANE_CPU_X86
    return RunGuarded([] { _mm_setcsr(_mm_getcsr() | 0x8040); });
#else
    return TrialOutcome::IllegalInstruction;
#endif
  }
};

// ---- process-wide state ------------------------------------------------------
//
// Written once by detection (a racing first reader writes the same values)
// and by the host's gate calls; read in dispatch code. Relaxed atomics keep
// the reads to plain loads.

std::atomic<bool> g_detected{false};
std::atomic<DWORD> g_effective{0};
std::atomic<DWORD> g_hardware{0};
std::atomic<DWORD> g_os{0};
std::atomic<DWORD> g_processorCount{0};
std::atomic<DWORD> g_allowed{0xFFFFFFFF};
std::atomic<DWORD> g_forcedClass{0};

constexpr DWORD AllBitsIfZero(DWORD mask) { return mask == 0 ? 0xFFFFFFFF : mask; }

void StoreWords(const CpuWords& w) {
  g_effective.store(w.effective, std::memory_order_relaxed);
  g_hardware.store(w.hardware, std::memory_order_relaxed);
  g_os.store(w.os, std::memory_order_relaxed);
  g_processorCount.store(w.processorCount, std::memory_order_relaxed);
  g_detected.store(true, std::memory_order_release);
}

}  // namespace

CpuWords DetectCpuWords(CpuProbe& probe) {
  CpuWords w;
  w.processorCount = probe.ProcessorCount();
  const DWORD type = probe.ProcessorType();
  DWORD cls = type == kProcessorIntel486 ? 1 : type == kProcessorIntelPentium ? 2 : 0;

  DWORD leaf1[4] = {0, 0, 0, 0};
  if (type == kProcessorIntelPentium || type == kProcessorAmdX8664) {
    DWORD leaf0[4];
    probe.Cpuid(0, leaf0);
    if (LONG(leaf0[0]) >= 1) probe.Cpuid(1, leaf1);
  }
  const DWORD ecx = leaf1[2];
  const DWORD edx = leaf1[3];

  if (edx & kEdxTsc) {
    w.hardware |= ZOCPU_TSC;
    w.effective |= ZOCPU_TSC;
  }
  if (edx & kEdxCmov) {
    w.hardware |= ZOCPU_CMOV;
    w.effective |= ZOCPU_CMOV;
    if (edx & kEdxFpu) {
      w.hardware |= ZOCPU_CMOV_FPU;
      w.effective |= ZOCPU_CMOV_FPU;
      if (cls == 2) cls = 3;
    }
  }
  if (edx & kEdxMmx) {
    w.hardware |= ZOCPU_MMX;
    w.os |= ZOCPU_MMX;
    w.effective |= ZOCPU_MMX;
    if (cls == 3) cls = 4;
  }

  // The trials below may fault on purpose; the crash reporter stands aside.
  ErrorReport_StartTrapBypass();
  // Whether the OS preserves the SSE state is known only from the trial; no
  // SSE in the hardware means no trial and nothing above SSE in the OS word.
  bool osOk = false;
  if (edx & kEdxSse) {
    w.hardware |= ZOCPU_SSE;
    w.os |= ZOCPU_SSE;
    osOk = true;
    // Only an illegal instruction says the OS lacks SSE; other faults are
    // caught and change nothing.
    if (probe.SseTrial() == TrialOutcome::IllegalInstruction) {
      osOk = false;
      w.os &= ~ZOCPU_SSE;
    }
    if (w.os & ZOCPU_SSE) {
      w.effective |= ZOCPU_SSE;
      if (cls == 4) cls = 5;
    }
  }
  if (osOk && (w.effective & ZOCPU_SSE)) {
    // Detection switches flush-to-zero and denormals-are-zero on for the
    // thread that runs it; that is deliberate.
    w.hardware |= ZOCPU_FTZ_DAZ;
    w.effective |= ZOCPU_FTZ_DAZ;
    if (probe.FtzDazTrial() != TrialOutcome::Passed) w.effective &= ~ZOCPU_FTZ_DAZ;
  }
  ErrorReport_EndTrapBypass();

  if (edx & kEdxSse2) {
    w.hardware |= ZOCPU_SSE2;
    if (osOk) {
      w.os |= ZOCPU_SSE2;
      w.effective |= ZOCPU_SSE2;
      if (cls == 5) cls = 6;
    }
  }
  // The OS word takes these whenever the OS is ok, even without the
  // hardware bit; plug-ins have read it that way and the asymmetry stays.
  struct {
    DWORD cpuidBit;
    DWORD feature;
  } constexpr kLaterSse[] = {
      {kEcxSse3, ZOCPU_SSE3}, {kEcxSsse3, ZOCPU_SSSE3}, {kEcxSse41, ZOCPU_SSE41}, {kEcxSse42, ZOCPU_SSE42}};
  for (const auto& f : kLaterSse) {
    const bool hw = (ecx & f.cpuidBit) != 0;
    if (hw) w.hardware |= f.feature;
    if (osOk) w.os |= f.feature;
    if (hw && osOk) w.effective |= f.feature;
  }
  if (ecx & kEcxAvx) w.hardware |= ZOCPU_AVX;

  w.effective |= cls;
  return w;
}

CpuProbe& MachineCpuProbe() {
  static MachineProbe probe;
  return probe;
}

void EnsureCpuDetected() {
  if (g_detected.load(std::memory_order_acquire)) return;
  StoreWords(DetectCpuWords(MachineCpuProbe()));
}

void InstallCpuWords(const CpuWords& words) { StoreWords(words); }

CpuWords DetectedCpuWords() {
  EnsureCpuDetected();
  return CpuWords{g_effective.load(std::memory_order_relaxed), g_hardware.load(std::memory_order_relaxed),
                  g_os.load(std::memory_order_relaxed), g_processorCount.load(std::memory_order_relaxed)};
}

void ResetCpuGates() {
  g_allowed.store(0xFFFFFFFF, std::memory_order_relaxed);
  g_forcedClass.store(0, std::memory_order_relaxed);
}

void ApplyCpuGatesToDetectedWord() {
  EnsureCpuDetected();
  g_effective.store((g_allowed.load(std::memory_order_relaxed) & g_effective.load(std::memory_order_relaxed)) |
                        g_forcedClass.load(std::memory_order_relaxed),
                    std::memory_order_relaxed);
}

DWORD GetHardwareSupport(DWORD mask) {
  EnsureCpuDetected();
  return g_allowed.load(std::memory_order_relaxed) & g_hardware.load(std::memory_order_relaxed) & AllBitsIfZero(mask);
}

bool CpuHasAvx2() {
  static const bool hardwareAndOs = [] {
#ifdef VANE_CPU_X86
    DWORD leaf0[4], leaf1[4], leaf7[4];
    CpuProbe& probe = MachineCpuProbe();
    probe.Cpuid(0, leaf0);
    if (leaf0[0] < 7) return false;
    probe.Cpuid(1, leaf1);
    if (!(leaf1[2] & kEcxOsxsave) || !(leaf1[2] & kEcxAvx)) return false;
    probe.Cpuid(7, leaf7);
    if (!(leaf7[1] & kLeaf7EbxAvx2)) return false;
    unsigned lo = 0, hi = 0;
    asm volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (lo & 0x6) == 0x6;  // the OS saves XMM and YMM state
#else
    return false;
#endif
  }();
  // A host that disallows SSE2 or AVX turns the wide variants off as well.
  return hardwareAndOs && (ZoGetCPUSupport(0) & ZOCPU_SSE2) != 0 && GetHardwareSupport(ZOCPU_AVX) != 0;
}

std::vector<std::string> CpuFeatureNames(DWORD word) {
  static constexpr struct {
    DWORD bit;
    const char* name;
  } kNames[] = {{ZOCPU_MMX, "MMX"},           {ZOCPU_SSE, "SSE"},     {ZOCPU_SSE2, "SSE2"},
                {ZOCPU_SSE3, "SSE3"},         {ZOCPU_SSSE3, "SSSE3"}, {ZOCPU_SSE41, "SSE4.1"},
                {ZOCPU_SSE42, "SSE4.2"},      {ZOCPU_AVX, "AVX"},     {ZOCPU_CMOV, "CMOV"},
                {ZOCPU_CMOV_FPU, "CMOV+FPU"}, {ZOCPU_TSC, "TSC"},     {ZOCPU_FTZ_DAZ, "FTZ/DAZ"}};
  std::vector<std::string> names;
  for (const auto& n : kNames)
    if (word & n.bit) names.emplace_back(n.name);
  return names;
}

}  // namespace vane::kernel

using namespace vane::kernel;

DWORD ZoGetCPUSupport(DWORD mask) {
  if (!g_detected.load(std::memory_order_acquire)) EnsureCpuDetected();
  return (g_allowed.load(std::memory_order_relaxed) & g_effective.load(std::memory_order_relaxed) &
          AllBitsIfZero(mask)) |
         g_forcedClass.load(std::memory_order_relaxed);
}

DWORD ZoGetOSSupport(DWORD mask) {
  EnsureCpuDetected();
  return g_os.load(std::memory_order_relaxed) & AllBitsIfZero(mask);
}

DWORD ZoGetProcessorCount(void) {
  EnsureCpuDetected();
  return g_processorCount.load(std::memory_order_relaxed);
}

BOOL ZoOnlyAllowCPUSupport(DWORD features) {
  if (features & ~kReplaceableFeatures) return FALSE;
  g_allowed.store((g_allowed.load(std::memory_order_relaxed) & ~kReplaceableFeatures) | features,
                  std::memory_order_relaxed);
  return TRUE;
}

BOOL ZoDisallowCPUSupport(DWORD features) {
  g_allowed.fetch_and(~features, std::memory_order_relaxed);
  return TRUE;
}

BOOL ZoAllowCPUSupport(DWORD features) {
  g_allowed.fetch_or(features, std::memory_order_relaxed);
  return TRUE;
}

BOOL ZoSetCPUClassBySupport(void) {
  const DWORD allowed = g_allowed.fetch_and(~ZOCPU_CLASS_MASK, std::memory_order_relaxed) & ~ZOCPU_CLASS_MASK;
  const DWORD cls = (allowed & ZOCPU_SSE2) ? 6 : (allowed & ZOCPU_SSE) ? 5 : (allowed & ZOCPU_MMX) ? 4 : 0;
  g_forcedClass.store(cls, std::memory_order_relaxed);
  return TRUE;
}

void ZoFourCCToStringCPU(DWORD value, char* text) {
  if (!text) return;
  for (int i = 0; i < 4; ++i) {
    const unsigned char c = (value >> (8 * i)) & 0xFF;
    text[i] = (c >= 32 && c <= 126) ? char(c) : '\0';
  }
  text[4] = '\0';
}
