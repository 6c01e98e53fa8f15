// ScratchSet: the 24 growable byte buffers in which a stream arena's codec
// assembles a block before it is copied into the arena.
//
// Encoding appends in small pieces; growing the arena itself for each piece
// would commit and copy again and again. A set belongs to a thread, which
// keeps its free sets in a thread-local list, so once the buffers have grown
// to their working size encoding allocates nothing. Sets taken on a thread
// must be given back on the same thread.
#pragma once

#include <cstdint>

#include "storage/codecs/codec.h"

struct ScratchSet {
  uint8_t* buffer[CodecStreamCount] = {};
  int32_t capacity[CodecStreamCount] = {};

  ScratchSet() = default;
  ~ScratchSet();
  ScratchSet(const ScratchSet&) = delete;
  ScratchSet& operator=(const ScratchSet&) = delete;

  // Makes buffer[stream] hold at least bytes, keeping its content; the
  // capacity is rounded up to `step` bytes. Ends the process when memory
  // is out.
  void Reserve(uint32_t stream, int64_t bytes, int64_t step);
};

// A free set of the calling thread, or a new empty one.
ScratchSet* TakeScratchSet();
// Back onto the calling thread's free list.
void GiveBackScratchSet(ScratchSet* set);
