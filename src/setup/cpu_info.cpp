#include "setup/cpu_info.h"

#include <cpuid.h>

#include <cstdint>
#include <cstring>

// Baseline code in a library built for AVX: see the header.
#define KESTRUNE_BASELINE __attribute__((target("arch=x86-64")))

namespace {

struct CpuidRegisters {
  uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// The __cpuid_count macro rather than the header's inline functions: those
// would be compiled out of line for AVX.
KESTRUNE_BASELINE CpuidRegisters ReadCpuid(uint32_t leaf, uint32_t subleaf = 0) {
  CpuidRegisters r;
  __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
  return r;
}

// The registers of the leaves the feature flags come from; a leaf above the
// processor's highest stays all zero.
struct CpuidLeaves {
  uint32_t maxLeaf = 0, maxExtendedLeaf = 0;
  CpuidRegisters vendor, basic, extended, structured;
};

KESTRUNE_BASELINE CpuidLeaves ReadLeaves() {
  CpuidLeaves leaves;
  leaves.vendor = ReadCpuid(0);
  leaves.maxLeaf = leaves.vendor.eax;
  if (leaves.maxLeaf >= 1) leaves.basic = ReadCpuid(1);
  if (leaves.maxLeaf >= 7) leaves.structured = ReadCpuid(7, 0);
  leaves.maxExtendedLeaf = ReadCpuid(0x80000000).eax;
  if (leaves.maxExtendedLeaf >= 0x80000001) leaves.extended = ReadCpuid(0x80000001);
  return leaves;
}

// Register state the operating system saves on a task switch (XCR0). Only
// defined when CPUID leaf 1 reports OSXSAVE.
KESTRUNE_BASELINE uint64_t ReadEnabledState() {
  uint32_t low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return uint64_t(high) << 32 | low;
}

constexpr uint64_t SseAndYmmState = 0x6;       // XCR0 bits 1, 2
constexpr uint64_t ZmmAndMaskState = 0xe0;     // XCR0 bits 5, 6, 7

KESTRUNE_BASELINE bool Bit(uint32_t word, int bit) { return word >> bit & 1; }

KESTRUNE_BASELINE bool OsSaves(const CpuidLeaves& leaves, uint64_t state) {
  if (!Bit(leaves.basic.ecx, 27)) return false;  // OSXSAVE
  return (ReadEnabledState() & state) == state;
}

KESTRUNE_BASELINE bool DetectAvx() {
  CpuidLeaves leaves = ReadLeaves();
  return Bit(leaves.basic.ecx, 28) && OsSaves(leaves, SseAndYmmState);
}

KESTRUNE_BASELINE bool DetectAvx2() {
  CpuidLeaves leaves = ReadLeaves();
  return DetectAvx() && Bit(leaves.structured.ebx, 5);
}

KESTRUNE_BASELINE bool DetectAvx512() {
  CpuidLeaves leaves = ReadLeaves();
  uint32_t ebx = leaves.structured.ebx;
  bool has = Bit(ebx, 16) && Bit(ebx, 17) && Bit(ebx, 30) && Bit(ebx, 31);  // F, DQ, BW, VL
  return has && DetectAvx() && OsSaves(leaves, SseAndYmmState | ZmmAndMaskState);
}

// Where each flag of the listing lives. The vendor-specific bits of the
// extended leaf mean other things, or nothing, on other vendors' parts.
enum class Source { Leaf1Ecx, Leaf1Edx, Leaf7Ebx, Leaf7Ecx, ExtendedEcx, ExtendedEdx };

struct FeatureBit {
  const char* name;
  Source source;
  int bit;
  bool amdOnly;
};

constexpr FeatureBit FeatureBits[CpuFeatureCount] = {
    {"3DNOW", Source::ExtendedEdx, 31, true},
    {"3DNOWEXT", Source::ExtendedEdx, 30, true},
    {"ABM", Source::ExtendedEcx, 5, true},
    {"ADX", Source::Leaf7Ebx, 19, false},
    {"AES", Source::Leaf1Ecx, 25, false},
    {"AVX", Source::Leaf1Ecx, 28, false},
    {"AVX2", Source::Leaf7Ebx, 5, false},
    {"AVX512CD", Source::Leaf7Ebx, 28, false},
    {"AVX512ER", Source::Leaf7Ebx, 27, false},
    {"AVX512F", Source::Leaf7Ebx, 16, false},
    {"AVX512PF", Source::Leaf7Ebx, 26, false},
    {"BMI1", Source::Leaf7Ebx, 3, false},
    {"BMI2", Source::Leaf7Ebx, 8, false},
    {"CLFSH", Source::Leaf1Edx, 19, false},
    {"CMPXCHG16B", Source::Leaf1Ecx, 13, false},
    {"CX8", Source::Leaf1Edx, 8, false},
    {"ERMS", Source::Leaf7Ebx, 9, false},
    {"F16C", Source::Leaf1Ecx, 29, false},
    {"FMA", Source::Leaf1Ecx, 12, false},
    {"FSGSBASE", Source::Leaf7Ebx, 0, false},
    {"FXSR", Source::Leaf1Edx, 24, false},
    {"HLE", Source::Leaf7Ebx, 4, false},
    {"INVPCID", Source::Leaf7Ebx, 10, false},
    {"LAHF", Source::ExtendedEcx, 0, false},
    {"LZCNT", Source::ExtendedEcx, 5, false},
    {"MMX", Source::Leaf1Edx, 23, false},
    {"MMXEXT", Source::ExtendedEdx, 22, true},
    {"MONITOR", Source::Leaf1Ecx, 3, false},
    {"MOVBE", Source::Leaf1Ecx, 22, false},
    {"MSR", Source::Leaf1Edx, 5, false},
    {"OSXSAVE", Source::Leaf1Ecx, 27, false},
    {"PCLMULQDQ", Source::Leaf1Ecx, 1, false},
    {"POPCNT", Source::Leaf1Ecx, 23, false},
    {"PREFETCHWT1", Source::Leaf7Ecx, 0, false},
    {"RDRAND", Source::Leaf1Ecx, 30, false},
    {"RDSEED", Source::Leaf7Ebx, 18, false},
    {"RDTSCP", Source::ExtendedEdx, 27, false},
    {"RTM", Source::Leaf7Ebx, 11, false},
    {"SEP", Source::Leaf1Edx, 11, false},
    {"SHA", Source::Leaf7Ebx, 29, false},
    {"SSE", Source::Leaf1Edx, 25, false},
    {"SSE2", Source::Leaf1Edx, 26, false},
    {"SSE3", Source::Leaf1Ecx, 0, false},
    {"SSE4.1", Source::Leaf1Ecx, 19, false},
    {"SSE4.2", Source::Leaf1Ecx, 20, false},
    {"SSE4a", Source::ExtendedEcx, 6, true},
    {"SSSE3", Source::Leaf1Ecx, 9, false},
    {"SYSCALL", Source::ExtendedEdx, 11, false},
    {"TBM", Source::ExtendedEcx, 21, true},
    {"XOP", Source::ExtendedEcx, 11, true},
    {"XSAVE", Source::Leaf1Ecx, 26, false},
};

uint32_t SourceWord(const CpuidLeaves& leaves, Source source) {
  switch (source) {
    case Source::Leaf1Ecx: return leaves.basic.ecx;
    case Source::Leaf1Edx: return leaves.basic.edx;
    case Source::Leaf7Ebx: return leaves.structured.ebx;
    case Source::Leaf7Ecx: return leaves.structured.ecx;
    case Source::ExtendedEcx: return leaves.extended.ecx;
    case Source::ExtendedEdx: return leaves.extended.edx;
  }
  return 0;
}

std::string RegisterText(const uint32_t* words, int count) {
  char text[4 * 4 + 1] = {};
  std::memcpy(text, words, 4 * size_t(count));
  return text;  // up to the first NUL
}

}  // namespace

// Detection runs once: CPUID is slow under a hypervisor, and the kernels
// test these at every call.
KESTRUNE_BASELINE bool CpuHasAvx() {
  static const bool has = DetectAvx();
  return has;
}

KESTRUNE_BASELINE bool CpuHasAvx2() {
  static const bool has = DetectAvx2();
  return has;
}

KESTRUNE_BASELINE bool CpuHasAvx512() {
  static const bool has = DetectAvx512();
  return has;
}

const char* CpuFeatureName(int index) { return FeatureBits[index].name; }

CpuIdentity IdentifyCpu() {
  CpuidLeaves leaves = ReadLeaves();
  CpuIdentity identity;
  // The vendor text runs through EBX, EDX, ECX, in that order.
  const uint32_t vendor[3] = {leaves.vendor.ebx, leaves.vendor.edx, leaves.vendor.ecx};
  identity.vendor = RegisterText(vendor, 3);
  if (leaves.maxExtendedLeaf >= 0x80000004)
    for (uint32_t leaf = 0x80000002; leaf <= 0x80000004; ++leaf) {
      CpuidRegisters r = ReadCpuid(leaf);
      const uint32_t words[4] = {r.eax, r.ebx, r.ecx, r.edx};
      identity.brand += RegisterText(words, 4);
    }
  bool amd = identity.vendor == "AuthenticAMD";
  for (int i = 0; i < CpuFeatureCount; ++i) {
    const FeatureBit& feature = FeatureBits[i];
    identity.features[i] = (amd || !feature.amdOnly) && Bit(SourceWord(leaves, feature.source), feature.bit);
  }
  return identity;
}
