#include "storage/thread_scratch.h"

#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

#include "setup/failure.h"

namespace {

// Guards the list of every thread's pool. It encloses nothing but the list,
// so it comes after the solver's own locks in their order.
std::mutex ScratchRegistryMutex;

// 32 bytes in front of the data keep it 32-byte aligned for the vector
// loops; the size lets a release see whether the block fits a pool.
struct BlockHeader {
  void* next;
  int64_t bytes;
  int64_t padding[2];
};
static_assert(sizeof(BlockHeader) == 32);

BlockHeader* HeaderOf(float* data) { return reinterpret_cast<BlockHeader*>(reinterpret_cast<char*>(data) - 32); }
float* DataOf(BlockHeader* header) { return reinterpret_cast<float*>(reinterpret_cast<char*>(header) + 32); }

// Never destroyed: the OpenMP workers of a finished solver thread may end
// after the process's exit handlers have run, and they unregister their
// pools from their thread-local destructors.
std::vector<BlockPool*>& Registry() {
  static auto* registry = new std::vector<BlockPool*>;
  return *registry;
}

void Register(BlockPool* pool) {
  std::lock_guard<std::mutex> lock(ScratchRegistryMutex);
  Registry().push_back(pool);
}

void Unregister(BlockPool* pool) {
  std::lock_guard<std::mutex> lock(ScratchRegistryMutex);
  std::erase(Registry(), pool);
}

// Owns the thread's pool; a thread that ends takes its pool out of the
// registry and gives its blocks back.
struct OwnPoolHolder {
  std::unique_ptr<BlockPool> pool;
  ~OwnPoolHolder() { Reset(nullptr); }
  void Reset(BlockPool* next) {
    if (pool) Unregister(pool.get());
    pool.reset(next);
    if (pool) Register(pool.get());
  }
};

thread_local OwnPoolHolder ownPool;
thread_local BlockPool* currentPool = nullptr;

}  // namespace

BlockPool::~BlockPool() { Drain(); }

float* BlockPool::Pop() {
  if (freeList) {
    auto* header = static_cast<BlockHeader*>(freeList);
    freeList = header->next;
    return DataOf(header);
  }
  auto* header = static_cast<BlockHeader*>(scalable_aligned_malloc(size_t(blockBytes) + sizeof(BlockHeader), 32));
  if (!header) {
    std::printf("out of memory\n");
    ExitProcess(1);
  }
  header->next = nullptr;
  header->bytes = blockBytes;
  return DataOf(header);
}

void BlockPool::Push(float* data) {
  BlockHeader* header = HeaderOf(data);
  header->next = freeList;
  freeList = header;
}

void BlockPool::Drain() {
  while (freeList) {
    auto* header = static_cast<BlockHeader*>(freeList);
    freeList = header->next;
    scalable_aligned_free(header);
  }
}

void EnsureThreadScratch(size_t longestHandList) {
  const int64_t bytes = std::max<int64_t>(int64_t(longestHandList) * 4, 4);
  if (ownPool.pool && ownPool.pool->blockBytes == bytes) return;
  if (currentPool == ownPool.pool.get()) currentPool = nullptr;
  ownPool.Reset(new BlockPool(bytes));
}

BlockPool* OwnPool() { return ownPool.pool.get(); }
BlockPool* CurrentPool() { return currentPool; }
void SetCurrentPool(BlockPool* pool) { currentPool = pool; }

void ReleasePooledBlock(float* data) {
  BlockHeader* header = HeaderOf(data);
  if (currentPool && currentPool->blockBytes == header->bytes) {
    currentPool->Push(data);
    return;
  }
  scalable_aligned_free(header);
}

void DrainAllScratch() {
  std::lock_guard<std::mutex> lock(ScratchRegistryMutex);
  for (BlockPool* pool : Registry()) pool->Drain();
}
