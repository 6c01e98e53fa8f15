// FloatVec: the one per-hand array type of the solver and the stores.
//
// A pointer to floats, a length and a flag saying the block came from a
// thread's block pool. A null pointer with a length is a valid value that
// means all zeros: operations keep such a vector null where they can, which
// is how pruned subtrees cost nothing. Move-only, so a block has one owner.
#pragma once

#include <cstdint>

struct FloatVec {
  float* data = nullptr;
  int32_t count = 0;
  uint8_t pooled = 0;

  FloatVec() = default;
  explicit FloatVec(int32_t n) : count(n) {}
  FloatVec(const FloatVec&) = delete;
  FloatVec& operator=(const FloatVec&) = delete;
  FloatVec(FloatVec&& other) noexcept : data(other.data), count(other.count), pooled(other.pooled) {
    other.data = nullptr;
    other.pooled = 0;
  }
  FloatVec& operator=(FloatVec&& other) noexcept;
  ~FloatVec();

  bool IsNull() const { return data == nullptr; }
};

// Sets the length and gets memory for it (contents undefined). Nothing
// happens if the length is already that and memory is present. Blocks are
// 16-byte aligned. Out of memory ends the process with "out of memory".
void ResizeVector(FloatVec& vector, int32_t count, bool usePool = false);
// Gives the memory back and leaves a null vector of the same length: zeros.
void ReleaseVector(FloatVec& vector);
// Resize and fill with zeros.
void ZeroVector(FloatVec& vector, int32_t count);
// ZeroVector for memory that may be refused, such as a whole store's rows:
// false, and a null vector, when the allocator has none.
bool TryZeroVector(FloatVec& vector, int32_t count);
