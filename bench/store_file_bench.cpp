// The file forms of the river stores, which make up nearly all of a tree
// file: Save into memory and Load from it into a store just made, as a
// tree load does node by node. Speeds are of file bytes; "share" is the
// file's bytes over the store's row bytes. Rows are the real river
// regret rows (bench/data) on 2 actions, 48 turns of 44 rivers; the shifted
// sums hold the same numbers, the float rows them as floats.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "regret_rows.h"
#include "storage/river_float_store.h"
#include "storage/river_shift_sum_store.h"
#include "storage/river_u16_store.h"
#include "storage/tree_stream.h"

namespace {

constexpr int Turns = 48, Rivers = 44;

struct Filled {
  RiverLayout layout;
  std::vector<std::vector<float>> rows;  // per entry and action, in file order
};

const Filled& Sample() {
  static const Filled filled = [] {
    Filled f;
    const BenchRows16 set = RealRiverRows();
    std::vector<std::vector<int32_t>> hands(Turns);
    size_t r = 0;
    for (auto& turn : hands)
      for (int river = 0; river < Rivers; ++river, r += 2) {
        const auto& row0 = set.rows[r % set.rows.size()];
        turn.push_back(int32_t(row0.size()));
        for (int a = 0; a < 2; ++a) {
          const auto& row = set.rows[(r + size_t(a)) % set.rows.size()];
          std::vector<float> values(row0.size(), 0.0f);
          for (size_t i = 0; i < values.size() && i < row.size(); ++i) values[i] = row[i];
          f.rows.push_back(std::move(values));
        }
      }
    f.layout = MakeRiverLayout(2, hands);
    return f;
  }();
  return filled;
}

template <class Store>
std::unique_ptr<Store> FilledStore() {
  const Filled& f = Sample();
  auto store = std::make_unique<Store>(&f.layout);
  store->Allocate();
  size_t k = 0;
  for (int g = 0; g < Turns; ++g)
    for (int s = 0; s < Rivers; ++s)
      for (int a = 0; a < 2; ++a) store->SetRow(g, s, a, f.rows[k++].data());
  return store;
}

template <class Store>
void Report(benchmark::State& state, const Store& store, size_t fileBytes, int elementBytes) {
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(fileBytes));
  state.counters["share"] = double(fileBytes) / double(int64_t(store.layout->elements) * elementBytes);
}

template <class Store, int ElementBytes>
void BM_Load(benchmark::State& state) {
  const auto store = FilledStore<Store>();
  std::vector<uint8_t> bytes;
  TreeWriter writer(bytes);
  store->Save(writer);
  for (auto _ : state) {
    Store loaded(store->layout);
    TreeReader reader(bytes.data(), bytes.size());
    reader.formatVersion = 10;
    if (!loaded.Load(reader)) state.SkipWithError("refused");
    benchmark::DoNotOptimize(&loaded);
  }
  Report(state, *store, bytes.size(), ElementBytes);
}

template <class Store, int ElementBytes>
void BM_SaveRows(benchmark::State& state) {
  const auto store = FilledStore<Store>();
  std::vector<uint8_t> bytes;
  for (auto _ : state) {
    bytes.clear();
    TreeWriter writer(bytes);
    store->Save(writer);
    benchmark::DoNotOptimize(bytes.data());
  }
  Report(state, *store, bytes.size(), ElementBytes);
}

}  // namespace

BENCHMARK(BM_SaveRows<RiverU16Store, 2>)->Name("save/u16")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load<RiverU16Store, 2>)->Name("load/u16")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveRows<RiverShiftSumStore, 2>)->Name("save/shift_sum")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load<RiverShiftSumStore, 2>)->Name("load/shift_sum")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveRows<RiverFloatStore, 4>)->Name("save/float")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load<RiverFloatStore, 4>)->Name("load/float")->Unit(benchmark::kMillisecond);
