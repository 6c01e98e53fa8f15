// Small helpers shared by the store tests.
#pragma once

#include <cstdint>
#include <vector>

#include "storage/float_vec.h"

// A FloatVec holding the given numbers.
inline FloatVec MakeRow(const std::vector<float>& values) {
  FloatVec row;
  ResizeVector(row, int32_t(values.size()));
  for (size_t i = 0; i < values.size(); ++i) row.data[i] = values[i];
  return row;
}

inline std::vector<float> ToVector(const FloatVec& row) {
  if (!row.data) return std::vector<float>(size_t(row.count), 0.0f);
  return std::vector<float>(row.data, row.data + row.count);
}

// Deterministic numbers for larger cases.
struct TestNumbers {
  uint32_t state = 12345;
  uint32_t Next() {
    state = state * 1664525u + 1013904223u;
    return state >> 8;
  }
  float Uniform(float low, float high) { return low + (high - low) * float(Next() % 100000) / 100000.0f; }
};
