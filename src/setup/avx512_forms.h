// The choice between the plain and the 512-bit form of a hot row loop.
//
// The choice is made afresh at every call, by one test of the flag and the
// processor, rather than once into a function pointer: a change of
// enable_avx512 during a run is then seen at the next call, and with the
// flag off (the start value) the test is a single load. The processor test
// stays in the selector although the command could refuse the flag on a
// processor without AVX-512: the flag is a client's wish and is stored as
// given, and the plain form is always correct.
//
// The wide forms are compiled per function for the instruction sets below,
// in their own .cpp files; the rest of the library, headers included, stays
// AVX-only so that the program starts on any AVX processor. Nothing but
// these .cpp files may include the 512-bit intrinsics.
#pragma once

#include "setup/cpu_info.h"
#include "setup/settings.h"

// The instruction sets a 512-bit form may use; CpuHasAvx512 tests exactly these.
#define KESTRUNE_AVX512_TARGET __attribute__((target("avx512f,avx512bw,avx512vl,avx512dq")))

// True when the 512-bit forms are to run: allowed by the client and
// possible on this processor.
inline bool UseAvx512() { return Avx512Allowed && CpuHasAvx512(); }
