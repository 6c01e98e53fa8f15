// Per-thread scratch of the solver: a free list of equal-sized blocks.
//
// A pass allocates and frees a few arrays per node and board, millions per
// iteration; through a free list of one block size an allocation is two
// pointer moves. The block size is that of the longest hand list of the
// tree, so any working array fits. Every block is its own allocation with a
// small header (the link and the block size), so a block may be released on
// any thread: it joins that thread's current pool if the sizes agree, and
// goes back to the allocator otherwise. That lets arrays cross from a job
// thread to the pass thread and back without bookkeeping.
//
// `currentPool` is what ResizeVector(..., usePool = true) draws from: the
// pass thread's own pool for a whole pass, a job thread's own pool while it
// runs a job, null elsewhere (commands, tree building).
#pragma once

#include <cstddef>
#include <cstdint>

struct BlockPool {
  int64_t blockBytes = 0;
  void* freeList = nullptr;

  explicit BlockPool(int64_t bytes) : blockBytes(bytes) {}
  ~BlockPool();
  BlockPool(const BlockPool&) = delete;
  BlockPool& operator=(const BlockPool&) = delete;

  // A block of blockBytes, 32-byte aligned; ends the process when memory is out.
  float* Pop();
  void Push(float* data);
  // Gives every block on the free list back to the allocator.
  void Drain();
};

// Makes the calling thread's own pool fit a tree whose longest hand list
// (that of the root board) has this many hands: a pool of another block
// size is destroyed, a missing one made and registered.
void EnsureThreadScratch(size_t longestHandList);
BlockPool* OwnPool();
BlockPool* CurrentPool();
void SetCurrentPool(BlockPool* pool);

// Sets currentPool for a scope and puts the previous one back at its end.
class PoolScope {
 public:
  explicit PoolScope(BlockPool* pool) : previous_(CurrentPool()) { SetCurrentPool(pool); }
  ~PoolScope() { SetCurrentPool(previous_); }
  PoolScope(const PoolScope&) = delete;
  PoolScope& operator=(const PoolScope&) = delete;

 private:
  BlockPool* previous_;
};

// Releases a pooled block: onto the current pool if it fits there, else to
// the allocator. Called by ReleaseVector.
void ReleasePooledBlock(float* data);

// Empties the free lists of all threads' pools. Only while no pass runs
// (a tree is freed or rebuilt).
void DrainAllScratch();
