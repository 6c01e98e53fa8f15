// Entry of kestrune. This file is compiled for the baseline x86-64
// processor, unlike the rest of the program, so that a processor without AVX
// gets a message instead of an illegal instruction.
#include <pmmintrin.h>
#include <xmmintrin.h>

#include <cstdio>
#include <cstdlib>

#include "shell/startup.h"

// Runs before the static initialisers of the rest of the program, which are
// compiled for AVX and may already use its instructions.
__attribute__((constructor(101))) static void CheckProcessor() {
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx")) {
    std::fputs("Kestrune: Error: AVX-compatible CPU is required.\n", stderr);
    std::_Exit(1);
  }
}

int main(int argc, char** argv) {
  // Denormal floats are flushed to zero: regrets that small are noise, and
  // denormal arithmetic is many times slower.
  _mm_setcsr(_mm_getcsr() | _MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON);
  RunShell(argc, argv);
}
