#include "storage/memory_arena.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstdio>

#include "setup/failure.h"

MemoryArena::MemoryArena(int64_t reservedBytes, uint32_t granularity)
    : reserved(reservedBytes), granularityMask(granularity - 1) {}

MemoryArena::~MemoryArena() {
  if (base && munmap(base, size_t(reserved)) != 0) FatalError("VirtualFree fail");
}

namespace {

// Under strict overcommit (mode 2) every writable private page counts
// against the commit limit from the moment it is mapped, so there the
// reservation must stay inaccessible and be opened page range by page
// range. Elsewhere the kernel charges nothing until a page is touched, and
// a reservation mapped writable from the start merges with its neighbours
// into one mapping: opening ranges one by one would split the address
// space into two mappings per arena, and a big tree's tens of thousands of
// arenas would exhaust the kernel's limit on mappings per process.
bool CommitByProtection() {
  static const bool strict = [] {
    std::FILE* f = std::fopen("/proc/sys/vm/overcommit_memory", "r");
    int mode = 0;
    if (f) {
      if (std::fscanf(f, "%d", &mode) != 1) mode = 0;
      std::fclose(f);
    }
    return mode == 2;
  }();
  return strict;
}

}  // namespace

void MemoryArena::CommitTo(int64_t bytes) {
  size = bytes;
  commitTarget = RoundUp(bytes);
  if (commitTarget <= committed) return;
  if (commitTarget > reserved) FatalLine("out of memory (not enough reserved)\n");
  const bool byProtection = CommitByProtection();
  if (!base) {
    // Address space only, with no swap reserved: the sum of all arenas'
    // reservations may far exceed the machine's memory.
    const int access = byProtection ? PROT_NONE : PROT_READ | PROT_WRITE;
    void* at = mmap(nullptr, size_t(reserved), access, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (at == MAP_FAILED) FatalLine("Reserve %lld bytes fail (errno %d)\n", (long long)reserved, errno);
    base = static_cast<uint8_t*>(at);
  }
  if (byProtection && mprotect(base, size_t(commitTarget), PROT_READ | PROT_WRITE) != 0)
    FatalLine("Commit %lld bytes fail (errno %d)\n", (long long)commitTarget, errno);
  committed = commitTarget;
}
