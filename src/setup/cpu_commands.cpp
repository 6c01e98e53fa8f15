// Handlers of the processor queries. They report; they choose nothing.
#include <cstdio>
#include <cstring>

#include "setup/cpu_info.h"
#include "setup/setup_commands.h"
#include "shell/output.h"

namespace {

// A line of the feature table ends behind each of these names.
bool EndsTableLine(const char* name) {
  for (const char* last : {"AVX512CD", "CX8", "LAHF", "PCLMULQDQ", "SHA", "SSSE3", "XSAVE"})
    if (std::strcmp(name, last) == 0) return true;
  return false;
}

}  // namespace

void CmdShowCpuInfo(const Tokens& tokens) {
  // The listing goes straight to the standard output, ahead of the reply
  // buffer that carries the END line.
  CpuIdentity cpu = IdentifyCpu();
  std::string text = cpu.vendor + "\n" + cpu.brand + "\n";
  for (int i = 0; i < CpuFeatureCount; ++i) {
    const char* name = CpuFeatureName(i);
    char entry[32];
    std::snprintf(entry, sizeof entry, "%s%-13s", cpu.features[i] ? "[x] " : "[ ] ", name);
    text += entry;
    if (EndsTableLine(name)) text += "\n";
  }
  PrintNow("%s", text.c_str());
  PrintReply("END\n");
}

void CmdGetInstructionSet(const Tokens& tokens) {
  PrintReply("%s\n", CpuHasAvx2() ? "AVX2" : CpuHasAvx() ? "AVX" : "SSE3");
}
