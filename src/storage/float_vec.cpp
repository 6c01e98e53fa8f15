#include "storage/float_vec.h"

#include <tbb/scalable_allocator.h>

#include <cstdio>
#include <cstring>

#include "setup/failure.h"
#include "storage/thread_scratch.h"

FloatVec& FloatVec::operator=(FloatVec&& other) noexcept {
  if (this != &other) {
    ReleaseVector(*this);
    data = other.data;
    count = other.count;
    pooled = other.pooled;
    other.data = nullptr;
    other.pooled = 0;
  }
  return *this;
}

FloatVec::~FloatVec() { ReleaseVector(*this); }

void ResizeVector(FloatVec& vector, int32_t count, bool usePool) {
  if (vector.data && vector.count == count) return;
  ReleaseVector(vector);
  vector.count = count;
  if (usePool) {
    BlockPool* pool = CurrentPool();
    if (pool && int64_t(count) * int64_t(sizeof(float)) <= pool->blockBytes) {
      vector.data = pool->Pop();
      vector.pooled = 1;
      return;
    }
  }
  size_t bytes = size_t(count > 0 ? count : 1) * sizeof(float);
  vector.data = static_cast<float*>(scalable_aligned_malloc(bytes, 16));
  if (!vector.data) {
    std::printf("out of memory\n");
    ExitProcess(1);
  }
}

void ReleaseVector(FloatVec& vector) {
  if (vector.data) {
    if (vector.pooled)
      ReleasePooledBlock(vector.data);
    else
      scalable_aligned_free(vector.data);
  }
  vector.data = nullptr;
  vector.pooled = 0;
}

bool TryZeroVector(FloatVec& vector, int32_t count) {
  ReleaseVector(vector);
  vector.count = count;
  const size_t bytes = size_t(count > 0 ? count : 1) * sizeof(float);
  vector.data = static_cast<float*>(scalable_aligned_malloc(bytes, 16));
  if (!vector.data) return false;
  std::memset(vector.data, 0, size_t(count) * sizeof(float));
  return true;
}

void ZeroVector(FloatVec& vector, int32_t count) {
  ResizeVector(vector, count);
  std::memset(vector.data, 0, size_t(count) * sizeof(float));
}
