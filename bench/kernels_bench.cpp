// Speed of the terminal kernels on the full hand list of one river board
// (1081 hands): hands per second, counted once per lane, so that the lane
// forms compare directly with the one-lane ones. The argument is the share
// of hands with reach, in percent: a dense reach and a sparse one, where
// the skipping of dead groups shows.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "eval/hand_tables.h"
#include "eval/hand_values.h"
#include "setup/cards.h"
#include "solver/kernels/fold_kernel.h"
#include "solver/kernels/pair_kernel.h"
#include "solver/kernels/showdown_kernel.h"

namespace {

struct BenchRiver {
  std::vector<uint16_t> handCards;
  std::vector<uint16_t> tieRuns;
  std::vector<std::vector<float>> reaches;  // 8 of them
  std::vector<std::vector<float>> outs;
  std::vector<float> payoffs;
  std::vector<uint16_t> mask;
};

// Board Qs Jh 2h 7c 4d; reaches zero for (100 - percent)% of the tie groups
// (whole groups, as a narrowed range leaves them), the rest uniform.
BenchRiver MakeBenchRiver(int percent) {
  InitHandTables();
  BuildHandTables();
  const CardMask board = ParseCards("Qs Jh 2h 7c 4d");
  std::vector<CardMask> combos;
  std::vector<uint16_t> cards;
  for (int hi = 0; hi < 52; ++hi)
    for (int lo = 0; lo < hi; ++lo)
      if (!(board & (CardBit(lo) | CardBit(hi)))) {
        combos.push_back(CardBit(lo) | CardBit(hi));
        cards.push_back(uint16_t(lo | hi << 8));
      }
  const std::vector<uint32_t> values = ComputeHandValues(board, combos);
  std::vector<int> order(combos.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = int(i);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return values[a] < values[b]; });
  BenchRiver river;
  uint32_t last = 0;
  for (int i : order) {
    if (river.tieRuns.empty() || values[i] != last) river.tieRuns.push_back(0);
    ++river.tieRuns.back();
    last = values[i];
    river.handCards.push_back(cards[i]);
  }
  const int n = int(river.handCards.size());
  std::mt19937 rng(99);
  std::uniform_real_distribution<float> unit(0.01f, 1.0f);
  river.reaches.assign(8, std::vector<float>(n, 0.0f));
  river.outs.assign(8, std::vector<float>(n, 0.0f));
  for (int l = 0; l < 8; ++l) river.payoffs.push_back(1.0f + float(l));
  int first = 0;
  for (uint16_t size : river.tieRuns) {
    const bool live = int(rng() % 100) < percent;
    uint16_t word = 0;
    for (int k = 0; k < size; ++k)
      for (int l = 0; l < 8; ++l) {
        river.reaches[l][first + k] = live ? unit(rng) : 0.0f;
        if (live) word = uint16_t(word | (size <= 16 ? 1u << k : 1u));
      }
    river.mask.push_back(word);
    first += size;
  }
  return river;
}

template <int L>
void BM_Fold(benchmark::State& state) {
  BenchRiver river = MakeBenchRiver(int(state.range(0)));
  float* outs[L];
  const float* reaches[L];
  for (int l = 0; l < L; ++l) outs[l] = river.outs[l].data(), reaches[l] = river.reaches[l].data();
  const int n = int(river.handCards.size());
  for (auto _ : state) {
    FoldKernel<L>(outs, reaches, n, river.handCards.data(), river.payoffs.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * n * L);
}

template <int L>
void BM_Showdown(benchmark::State& state) {
  BenchRiver river = MakeBenchRiver(int(state.range(0)));
  float* outs[L];
  const float* reaches[L];
  for (int l = 0; l < L; ++l) outs[l] = river.outs[l].data(), reaches[l] = river.reaches[l].data();
  const int n = int(river.handCards.size());
  const uint16_t* mask = state.range(1) ? river.mask.data() : nullptr;
  for (auto _ : state) {
    ShowdownKernel<L>(outs, reaches, n, river.tieRuns.data(), int(river.tieRuns.size()), river.handCards.data(),
                      river.payoffs.data(), mask);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * n * L);
}

// Two results per hand.
void BM_Pair(benchmark::State& state) {
  BenchRiver river = MakeBenchRiver(int(state.range(0)));
  const int n = int(river.handCards.size());
  for (auto _ : state) {
    PairKernel(river.outs[0].data(), river.outs[1].data(), river.reaches[0].data(), n, river.tieRuns.data(),
               int(river.tieRuns.size()), river.handCards.data(), 1.0f, -2.0f, river.mask.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * n * 2);
}

void DenseAndSparse(benchmark::internal::Benchmark* b) { b->Arg(100)->Arg(20); }
void DenseAndSparseMasked(benchmark::internal::Benchmark* b) {
  b->Args({100, 0})->Args({100, 1})->Args({20, 0})->Args({20, 1});
}

BENCHMARK(BM_Fold<1>)->Apply(DenseAndSparse);
BENCHMARK(BM_Fold<2>)->Apply(DenseAndSparse);
BENCHMARK(BM_Fold<4>)->Apply(DenseAndSparse);
BENCHMARK(BM_Showdown<1>)->Apply(DenseAndSparseMasked);
BENCHMARK(BM_Showdown<2>)->Apply(DenseAndSparseMasked);
BENCHMARK(BM_Showdown<4>)->Apply(DenseAndSparseMasked);
BENCHMARK(BM_Showdown<6>)->Apply(DenseAndSparseMasked);
BENCHMARK(BM_Showdown<8>)->Apply(DenseAndSparseMasked);
BENCHMARK(BM_Pair)->Apply(DenseAndSparse);

}  // namespace
