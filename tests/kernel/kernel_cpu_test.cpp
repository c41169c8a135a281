// SPDX-License-Identifier: MIT
// CPU detection rules driven through an injected probe, and the host's gates.
#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "kernel/cpu.h"
#include "kernel/detail/cpu_detect.h"

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace vane::kernel {
namespace {

constexpr DWORD kEdxFpu = 1u << 0, kEdxTsc = 1u << 4, kEdxCmov = 1u << 15, kEdxMmx = 1u << 23, kEdxSse = 1u << 25,
                kEdxSse2 = 1u << 26;
constexpr DWORD kEcxSse3 = 1u << 0, kEcxSsse3 = 1u << 9, kEcxSse41 = 1u << 19, kEcxSse42 = 1u << 20, kEcxAvx = 1u << 28;
constexpr DWORD kEdxModern = kEdxFpu | kEdxTsc | kEdxCmov | kEdxMmx | kEdxSse | kEdxSse2;
constexpr DWORD kEcxModern = kEcxSse3 | kEcxSsse3 | kEcxSse41 | kEcxSse42 | kEcxAvx;
constexpr DWORD kSseFamily = ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_SSE3 | ZOCPU_SSSE3 | ZOCPU_SSE41 | ZOCPU_SSE42;
constexpr DWORD kAlwaysEffective = ZOCPU_TSC | ZOCPU_CMOV | ZOCPU_CMOV_FPU | ZOCPU_MMX;

class FakeProbe final : public CpuProbe {
 public:
  DWORD type = kProcessorAmdX8664;
  DWORD maxLeaf = 1;
  DWORD ecx = kEcxModern;
  DWORD edx = kEdxModern;
  TrialOutcome sse = TrialOutcome::Passed;
  TrialOutcome ftz = TrialOutcome::Passed;
  std::vector<DWORD> leavesRead;

  DWORD ProcessorType() override { return type; }
  DWORD ProcessorCount() override { return 8; }
  void Cpuid(DWORD leaf, DWORD regs[4]) override {
    leavesRead.push_back(leaf);
    regs[0] = leaf == 0 ? maxLeaf : 0;
    regs[1] = 0;
    regs[2] = leaf == 1 ? ecx : 0;
    regs[3] = leaf == 1 ? edx : 0;
  }
  TrialOutcome SseTrial() override { return sse; }
  TrialOutcome FtzDazTrial() override { return ftz; }
};

struct DetectCase {
  const char* name;
  DWORD type;
  DWORD edx;
  DWORD ecx;
  TrialOutcome sse;
  TrialOutcome ftz;
  DWORD effective;
  DWORD hardware;
  DWORD os;
};
void PrintTo(const DetectCase& c, std::ostream* os) { *os << c.name; }

class CpuDetect : public ::testing::TestWithParam<DetectCase> {};

TEST_P(CpuDetect, GivesTheWordsOfTheRules) {
  const DetectCase& c = GetParam();
  FakeProbe probe;
  probe.type = c.type;
  probe.edx = c.edx;
  probe.ecx = c.ecx;
  probe.sse = c.sse;
  probe.ftz = c.ftz;
  const CpuWords w = DetectCpuWords(probe);
  EXPECT_EQ(w.effective, c.effective) << std::hex << w.effective;
  EXPECT_EQ(w.hardware, c.hardware) << std::hex << w.hardware;
  EXPECT_EQ(w.os, c.os) << std::hex << w.os;
  EXPECT_EQ(w.processorCount, 8u);
}

INSTANTIATE_TEST_SUITE_P(
    Profiles, CpuDetect,
    ::testing::Values(
        // A 64-bit process reports type 8664: the ladder never starts.
        DetectCase{"X8664StaysClassZero", kProcessorAmdX8664, kEdxModern, kEcxModern, TrialOutcome::Passed,
                   TrialOutcome::Passed, kAlwaysEffective | kSseFamily | ZOCPU_FTZ_DAZ,
                   kAlwaysEffective | kSseFamily | ZOCPU_FTZ_DAZ | ZOCPU_AVX, ZOCPU_MMX | kSseFamily},
        DetectCase{"PentiumClimbsToSix", kProcessorIntelPentium, kEdxModern, kEcxModern, TrialOutcome::Passed,
                   TrialOutcome::Passed, kAlwaysEffective | kSseFamily | ZOCPU_FTZ_DAZ | 6,
                   kAlwaysEffective | kSseFamily | ZOCPU_FTZ_DAZ | ZOCPU_AVX, ZOCPU_MMX | kSseFamily},
        // No CMOV: class 2 cannot reach 3, so MMX and SSE cannot lift it.
        DetectCase{"GapInLadderStopsAtTwo", kProcessorIntelPentium, kEdxModern & ~kEdxCmov, 0, TrialOutcome::Passed,
                   TrialOutcome::Passed, ZOCPU_TSC | ZOCPU_MMX | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_FTZ_DAZ | 2,
                   ZOCPU_TSC | ZOCPU_MMX | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_FTZ_DAZ,
                   ZOCPU_MMX | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_SSE3 | ZOCPU_SSSE3 | ZOCPU_SSE41 | ZOCPU_SSE42},
        // FPU without CMOV gives neither CMOV bit.
        DetectCase{"FpuAloneIsNotCmov", kProcessorIntelPentium, kEdxFpu | kEdxMmx, 0, TrialOutcome::Passed,
                   TrialOutcome::Passed, ZOCPU_MMX | 2, ZOCPU_MMX, ZOCPU_MMX},
        // An OS without SSE support: everything from SSE up leaves the OS
        // and effective words; the hardware word keeps what cpuid said.
        DetectCase{"IllegalSseDropsOsSupport", kProcessorIntelPentium, kEdxModern, kEcxModern,
                   TrialOutcome::IllegalInstruction, TrialOutcome::Passed, kAlwaysEffective | 4,
                   kAlwaysEffective | kSseFamily | ZOCPU_AVX, ZOCPU_MMX},
        // Only the illegal instruction counts; any other fault is ignored.
        DetectCase{"OtherFaultInSseTrialIsIgnored", kProcessorIntelPentium, kEdxModern, 0, TrialOutcome::OtherFault,
                   TrialOutcome::Passed, kAlwaysEffective | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_FTZ_DAZ | 6,
                   kAlwaysEffective | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_FTZ_DAZ, ZOCPU_MMX | kSseFamily},
        DetectCase{"FtzFaultLeavesHardwareBit", kProcessorAmdX8664, kEdxModern, 0, TrialOutcome::Passed,
                   TrialOutcome::OtherFault, kAlwaysEffective | ZOCPU_SSE | ZOCPU_SSE2,
                   kAlwaysEffective | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_FTZ_DAZ, ZOCPU_MMX | kSseFamily},
        // The OS word takes SSE3 and up whenever the OS is ok; the effective
        // word only where the hardware has them too.
        DetectCase{"OsWordTakesLaterSseWithoutHardware", kProcessorAmdX8664, kEdxModern, kEcxSse3, TrialOutcome::Passed,
                   TrialOutcome::Passed, kAlwaysEffective | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_SSE3 | ZOCPU_FTZ_DAZ,
                   kAlwaysEffective | ZOCPU_SSE | ZOCPU_SSE2 | ZOCPU_SSE3 | ZOCPU_FTZ_DAZ, ZOCPU_MMX | kSseFamily},
        // Without SSE there is no trial, so the OS is not known to be ok.
        DetectCase{"NoSseNoLaterOsBits", kProcessorIntelPentium, kEdxFpu | kEdxCmov | kEdxMmx | kEdxSse2, kEcxSse3,
                   TrialOutcome::Passed, TrialOutcome::Passed, ZOCPU_CMOV | ZOCPU_CMOV_FPU | ZOCPU_MMX | 4,
                   ZOCPU_CMOV | ZOCPU_CMOV_FPU | ZOCPU_MMX | ZOCPU_SSE2 | ZOCPU_SSE3, ZOCPU_MMX}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CpuDetectLeaves, OtherProcessorTypesReadNoCpuid) {
  for (DWORD type : {kProcessorIntel486, DWORD(0), DWORD(2200)}) {
    FakeProbe probe;
    probe.type = type;
    const CpuWords w = DetectCpuWords(probe);
    EXPECT_TRUE(probe.leavesRead.empty()) << type;
    EXPECT_EQ(w.effective, type == kProcessorIntel486 ? 1u : 0u);
    EXPECT_EQ(w.hardware, 0u);
    EXPECT_EQ(w.os, 0u);
  }
}

TEST(CpuDetectLeaves, MaximumLeafZeroSkipsLeafOne) {
  FakeProbe probe;
  probe.maxLeaf = 0;
  const CpuWords w = DetectCpuWords(probe);
  EXPECT_EQ(probe.leavesRead, std::vector<DWORD>{0});
  EXPECT_EQ(w.hardware, 0u);
}

// The gates act on installed words; each test starts from fresh gates.
class CpuGates : public ::testing::Test {
 protected:
  static constexpr CpuWords kWords{kAlwaysEffective | kSseFamily | ZOCPU_FTZ_DAZ | 6,
                                   kAlwaysEffective | kSseFamily | ZOCPU_FTZ_DAZ | ZOCPU_AVX, ZOCPU_MMX | kSseFamily,
                                   4};
  void SetUp() override {
    ResetCpuGates();
    InstallCpuWords(kWords);
  }
  void TearDown() override {
    ResetCpuGates();
    InstallCpuWords(DetectCpuWords(MachineCpuProbe()));
  }
};

TEST_F(CpuGates, ZeroMaskMeansEverything) {
  EXPECT_EQ(ZoGetCPUSupport(0), kWords.effective);
  EXPECT_EQ(ZoGetCPUSupport(ZOCPU_SSE2), ZOCPU_SSE2);
  EXPECT_EQ(ZoGetOSSupport(0), kWords.os);
  EXPECT_EQ(GetHardwareSupport(0), kWords.hardware);
  EXPECT_EQ(ZoGetProcessorCount(), 4u);
}

TEST_F(CpuGates, OnlyAllowRefusesBitsOutsideTheFeatureRange) {
  EXPECT_FALSE(ZoOnlyAllowCPUSupport(ZOCPU_CMOV));
  EXPECT_EQ(ZoGetCPUSupport(0), kWords.effective);
  EXPECT_TRUE(ZoOnlyAllowCPUSupport(0));
  EXPECT_EQ(ZoGetCPUSupport(0), (kAlwaysEffective & ~ZOCPU_MMX) | ZOCPU_FTZ_DAZ | 6);
  EXPECT_EQ(GetHardwareSupport(ZOCPU_AVX), 0u);
  // The OS word is never gated.
  EXPECT_EQ(ZoGetOSSupport(0), kWords.os);
  EXPECT_TRUE(ZoOnlyAllowCPUSupport(ZOCPU_MMX | ZOCPU_SSE));
  EXPECT_EQ(ZoGetCPUSupport(kSseFamily | ZOCPU_MMX), ZOCPU_MMX | ZOCPU_SSE);
}

TEST_F(CpuGates, ForcedClassFollowsWhatTheMaskStillAllows) {
  ASSERT_TRUE(ZoDisallowCPUSupport(ZOCPU_SSE2));
  ASSERT_TRUE(ZoSetCPUClassBySupport());
  // The detected class 6 no longer passes the mask; only the forced 5 shows.
  EXPECT_EQ(ZoGetCPUSupport(0) & ZOCPU_CLASS_MASK, 5u);
  EXPECT_EQ(ZoGetCPUSupport(ZOCPU_SSE2), 5u);
  ASSERT_TRUE(ZoDisallowCPUSupport(ZOCPU_SSE));
  ZoSetCPUClassBySupport();
  EXPECT_EQ(ZoGetCPUSupport(0) & ZOCPU_CLASS_MASK, 4u);
  ZoDisallowCPUSupport(ZOCPU_MMX);
  ZoSetCPUClassBySupport();
  EXPECT_EQ(ZoGetCPUSupport(0) & ZOCPU_CLASS_MASK, 0u);
  ZoAllowCPUSupport(0xFFFFFFFF);
  ZoSetCPUClassBySupport();
  EXPECT_EQ(ZoGetCPUSupport(0), (kWords.effective & ~ZOCPU_CLASS_MASK) | 6);
}

TEST_F(CpuGates, EarlyInitialisationBakesTheGateIntoTheDetectedWord) {
  ZoDisallowCPUSupport(ZOCPU_SSE42);
  ApplyCpuGatesToDetectedWord();
  ZoAllowCPUSupport(ZOCPU_SSE42);
  EXPECT_EQ(ZoGetCPUSupport(ZOCPU_SSE42), 0u);
}

TEST(CpuFourCC, UnprintableBytesBecomeZeroCharacters) {
  char text[5] = {'x', 'x', 'x', 'x', 'x'};
  ZoFourCCToStringCPU(0x46464952, text);  // "RIFF", low byte first
  EXPECT_STREQ(text, "RIFF");
  ZoFourCCToStringCPU(0x7F411F42, text);
  EXPECT_EQ(text[0], 'B');
  EXPECT_EQ(text[1], '\0');
  EXPECT_EQ(text[2], 'A');
  EXPECT_EQ(text[3], '\0');
  EXPECT_EQ(text[4], '\0');
  ZoFourCCToStringCPU(0x41414141, nullptr);  // no crash
}

#if defined(__x86_64__)
TEST(CpuMachine, DetectionAgreesWithTheCompilerAndSwitchesFtzDazOn) {
  _mm_setcsr(_mm_getcsr() & ~0x8040u);
  const CpuWords w = DetectCpuWords(MachineCpuProbe());
  EXPECT_EQ(w.effective & ZOCPU_CLASS_MASK, 0u);
  EXPECT_TRUE(w.effective & ZOCPU_SSE2);
  EXPECT_EQ((w.effective & ZOCPU_SSE42) != 0, __builtin_cpu_supports("sse4.2") != 0);
  EXPECT_EQ((w.hardware & ZOCPU_AVX) != 0, __builtin_cpu_supports("avx") != 0);
  EXPECT_EQ(_mm_getcsr() & 0x8040u, 0x8040u);
  _mm_setcsr(_mm_getcsr() & ~0x8040u);
  EXPECT_GE(w.processorCount, 1u);
  if (__builtin_cpu_supports("avx2")) {
    EXPECT_TRUE(CpuHasAvx2());
    ZoDisallowCPUSupport(ZOCPU_SSE2);
    EXPECT_FALSE(CpuHasAvx2());
    ResetCpuGates();
  } else {
    EXPECT_FALSE(CpuHasAvx2());
  }
}
#endif

}  // namespace
}  // namespace vane::kernel
