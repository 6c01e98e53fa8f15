#include "storage/scratch_set.h"

#include <cstdlib>
#include <memory>
#include <vector>

#include "setup/failure.h"

ScratchSet::~ScratchSet() {
  for (uint8_t* b : buffer) std::free(b);
}

void ScratchSet::Reserve(uint32_t stream, int64_t bytes, int64_t step) {
  if (bytes <= capacity[stream]) return;
  const int64_t grown = (bytes + step - 1) / step * step;
  if (grown > INT32_MAX) FatalLine("out of memory (not enough reserved)\n");
  void* moved = std::realloc(buffer[stream], size_t(grown));
  if (!moved) FatalError("out of memory");
  buffer[stream] = static_cast<uint8_t*>(moved);
  capacity[stream] = int32_t(grown);
}

namespace {

// A thread's free sets, released when the thread ends.
thread_local std::vector<std::unique_ptr<ScratchSet>> FreeSets;

}  // namespace

ScratchSet* TakeScratchSet() {
  if (FreeSets.empty()) return new ScratchSet;
  ScratchSet* set = FreeSets.back().release();
  FreeSets.pop_back();
  return set;
}

void GiveBackScratchSet(ScratchSet* set) { FreeSets.emplace_back(set); }
