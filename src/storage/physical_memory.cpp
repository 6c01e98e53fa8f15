#include "storage/physical_memory.h"

#include <cstdio>
#include <cstring>

#include <sys/sysinfo.h>

PhysicalMemory ReadPhysicalMemory() {
  PhysicalMemory memory;
  if (FILE* file = std::fopen("/proc/meminfo", "r")) {
    char line[256];
    unsigned long long kilobytes = 0;
    bool haveAvailable = false;
    while (std::fgets(line, sizeof line, file)) {
      if (std::sscanf(line, "MemTotal: %llu kB", &kilobytes) == 1) memory.total = uint64_t(kilobytes) * 1024;
      if (std::sscanf(line, "MemAvailable: %llu kB", &kilobytes) == 1) {
        memory.available = uint64_t(kilobytes) * 1024;
        haveAvailable = true;
      }
    }
    std::fclose(file);
    if (memory.total && haveAvailable) return memory;
  }
  // Kernels without MemAvailable: free and buffer pages are the nearest.
  struct sysinfo info;
  if (sysinfo(&info) != 0) return {};
  memory.total = uint64_t(info.totalram) * info.mem_unit;
  memory.available = (uint64_t(info.freeram) + info.bufferram) * info.mem_unit;
  return memory;
}
