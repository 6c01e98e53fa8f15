// Small helpers shared by the store tests.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "storage/float_vec.h"
#include "storage/strategy_store.h"

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

// A store without rows, standing in for a real one where a test needs a
// store that refuses memory or one that tells which row was asked for:
// reads give the default row, updates do nothing.
class StandInStore : public StrategyStore {
 public:
  StandInStore(int actions, int hands, bool allocates, uint32_t lockFlags = 0)
      : actions_(actions), hands_(hands), allocates_(allocates) {
    lock_.flags = lockFlags;
  }
  bool Allocate() override { return allocates_; }
  int32_t HandCount(int, int) const override { return hands_; }
  void GetStrategy(FloatVec* out, int, int, const float* defaultRow) override {
    for (int a = 0; a < actions_; ++a) {
      ResizeVector(out[a], hands_);
      for (int i = 0; i < hands_; ++i) out[a].data[i] = defaultRow[a];
    }
  }
  bool GetStrategyTimesReach(FloatVec*, const FloatVec&, int, int, const float*) override { return false; }
  void SetRow(int, int, int, const float*) override {}
  void UpdateRegrets(int, int, const FloatVec&, const FloatVec*, const TieGroups*, double, int32_t) override {}
  bool UpdateFused(int, int, FloatVec&, const FloatVec*, const TieGroups*, double, const float*, int32_t) override {
    return false;
  }
  void AccumulateStrategy(int, int, const FloatVec*, double) override {}
  int64_t EntryCount(int) const override { return int64_t(actions_) * hands_; }
  LockRecord* GetLockRecord(int group, int sub) override {
    asked = {group, sub};
    return &lock_;
  }
  void Save(TreeWriter&) const override {}
  bool Load(TreeReader&) override { return true; }
  std::pair<int, int> asked{-2, -2};  // the row of the last lock read

 private:
  int actions_, hands_;
  bool allocates_;
  LockRecord lock_;
};
