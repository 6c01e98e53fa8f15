// What the processor can do, read from its identification instruction.
//
// The program needs AVX and has optional 512-bit forms of a few loops; this
// file answers both questions and feeds show_cpu_info. The tests run before
// main has checked for AVX, while the rest of the library is compiled for
// AVX, so the three tests below and the raw reads under them are compiled
// for the baseline x86-64 (the target attribute in cpu_info.cpp) and never
// execute an AVX instruction; only IdentifyCpu, a command's helper, is not. A feature counts only if the operating system
// also saves the registers it uses (XGETBV), since a processor that has AVX
// under a kernel that does not preserve the upper halves cannot use it.
#pragma once

#include <array>
#include <string>

// AVX with the ymm state enabled by the operating system.
bool CpuHasAvx();
// AVX2 on top of CpuHasAvx.
bool CpuHasAvx2();
// The 512-bit loops use AVX512F (fused multiply-add, masked gathers and
// loads), AVX512BW (16-bit lanes of the u16 rows and the codec transform),
// AVX512DQ (logic on float registers) and AVX512VL (masked 256-bit tails),
// so all four are required, with the zmm and mask state enabled.
bool CpuHasAvx512();

inline constexpr int CpuFeatureCount = 51;
// Names of the feature flags, index 0 to CpuFeatureCount - 1, in the order
// show_cpu_info lists them.
const char* CpuFeatureName(int index);

struct CpuIdentity {
  std::string vendor;  // "GenuineIntel", "AuthenticAMD", ...
  std::string brand;   // as the processor gives it, empty if it has none
  std::array<bool, CpuFeatureCount> features{};
};

CpuIdentity IdentifyCpu();
