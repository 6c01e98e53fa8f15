// Physical memory of the machine: the figures show_memory prints and the
// automatic compression level budgets with.
//
// "Available" is what the system could give without swapping: on Linux the
// kernel's own estimate, MemAvailable, not the free pages, which leave out
// the reclaimable cache and would push spots into compression for nothing.
#pragma once

#include <cstdint>

struct PhysicalMemory {
  uint64_t total = 0;      // bytes
  uint64_t available = 0;  // bytes
};

// Zeros if the figures can't be read.
PhysicalMemory ReadPhysicalMemory();
