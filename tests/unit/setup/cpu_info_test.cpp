#include "setup/cpu_info.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "setup/setup_commands.h"
#include "shell/output.h"

namespace {

int FeatureIndex(const char* name) {
  for (int i = 0; i < CpuFeatureCount; ++i)
    if (std::strcmp(CpuFeatureName(i), name) == 0) return i;
  return -1;
}

// The compiler's own processor test is an independent reading of the same
// bits, OS support included for the AVX families.
TEST(CpuInfo, AgreesWithTheCompilersProcessorTest) {
  __builtin_cpu_init();
  EXPECT_EQ(CpuHasAvx(), bool(__builtin_cpu_supports("avx")));
  EXPECT_EQ(CpuHasAvx2(), bool(__builtin_cpu_supports("avx2")));
  EXPECT_EQ(CpuHasAvx512(), __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                                __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl"));

  CpuIdentity cpu = IdentifyCpu();
  struct FeaturePair {
    const char* listed;
    bool compiler;
  };
  const FeaturePair pairs[] = {
      {"SSE2", bool(__builtin_cpu_supports("sse2"))},     {"SSE3", bool(__builtin_cpu_supports("sse3"))},
      {"SSSE3", bool(__builtin_cpu_supports("ssse3"))},   {"SSE4.1", bool(__builtin_cpu_supports("sse4.1"))},
      {"SSE4.2", bool(__builtin_cpu_supports("sse4.2"))}, {"POPCNT", bool(__builtin_cpu_supports("popcnt"))},
      {"BMI1", bool(__builtin_cpu_supports("bmi"))},      {"BMI2", bool(__builtin_cpu_supports("bmi2"))},
      {"AES", bool(__builtin_cpu_supports("aes"))},       {"PCLMULQDQ", bool(__builtin_cpu_supports("pclmul"))},
      {"MMX", bool(__builtin_cpu_supports("mmx"))},
  };
  for (const FeaturePair& pair : pairs) {
    int index = FeatureIndex(pair.listed);
    ASSERT_GE(index, 0) << pair.listed;
    EXPECT_EQ(cpu.features[index], pair.compiler) << pair.listed;
  }
  // The program runs only where AVX runs, so the listing must show it.
  EXPECT_TRUE(cpu.features[FeatureIndex("AVX")]);
  EXPECT_EQ(cpu.vendor.size(), 12u);
}

TEST(CpuInfo, ListingLayout) {
  // The listing is written at once, the END line with the reply.
  testing::internal::CaptureStdout();
  CmdShowCpuInfo({"show_cpu_info"});
  FlushReply();
  std::string listing = testing::internal::GetCapturedStdout();

  std::vector<std::string> lines;
  std::istringstream stream(listing);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[9], "END");
  CpuIdentity cpu = IdentifyCpu();
  EXPECT_EQ(lines[0], cpu.vendor);
  EXPECT_EQ(lines[1], cpu.brand);
  // Entries of 17 characters; the lines end behind AVX512CD, CX8, LAHF,
  // PCLMULQDQ, SHA, SSSE3 and XSAVE: 8, 8, 8, 8, 8, 7 and 4 entries.
  const size_t entries[] = {8, 8, 8, 8, 8, 7, 4};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(lines[2 + i].size(), entries[i] * 17) << "line " << i;
  EXPECT_EQ(lines[2].substr(0, 17), std::string(cpu.features[0] ? "[x] " : "[ ] ") + "3DNOW        ");
  EXPECT_EQ(lines[8].substr(3 * 17), std::string(cpu.features[50] ? "[x] " : "[ ] ") + "XSAVE        ");
}

}  // namespace
