#include "storage/memory_arena.h"

#include <sys/mman.h>

#include <cerrno>

#include "setup/failure.h"

MemoryArena::MemoryArena(int64_t reservedBytes, uint32_t granularity)
    : reserved(reservedBytes), granularityMask(granularity - 1) {}

MemoryArena::~MemoryArena() {
  if (base && munmap(base, size_t(reserved)) != 0) FatalError("VirtualFree fail");
}

void MemoryArena::CommitTo(int64_t bytes) {
  size = bytes;
  commitTarget = RoundUp(bytes);
  if (commitTarget <= committed) return;
  if (commitTarget > reserved) FatalLine("out of memory (not enough reserved)\n");
  if (!base) {
    // Address space only: no access and no swap reserved, so the sum of
    // all arenas' reservations may far exceed the machine's memory.
    void* at = mmap(nullptr, size_t(reserved), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (at == MAP_FAILED) FatalLine("Reserve %lld bytes fail (errno %d)\n", (long long)reserved, errno);
    base = static_cast<uint8_t*>(at);
  }
  if (mprotect(base, size_t(commitTarget), PROT_READ | PROT_WRITE) != 0)
    FatalLine("Commit %lld bytes fail (errno %d)\n", (long long)commitTarget, errno);
  committed = commitTarget;
}
