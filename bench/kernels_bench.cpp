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
#include "setup/cpu_info.h"
#include "setup/settings.h"
#include "storage/float_vec.h"
#include "solver/vector_ops.h"
#include "storage/kernels/u16_regret_matching.h"
#include "storage/kernels/u16_regret_update.h"

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

// The loops with a 512-bit form, plain (argument 0) against wide (1), called
// as the solver calls them, so the selection's test is in the figures.
// Hands per second on one river board's 1081 hands.

constexpr int WideBenchHands = 1081;

// Sets the flag for one benchmark and puts it back afterwards.
class WideFormSwitch {
 public:
  explicit WideFormSwitch(benchmark::State& state) : saved(Avx512Allowed) {
    Avx512Allowed = state.range(0) != 0;
    if (Avx512Allowed && !CpuHasAvx512()) state.SkipWithError("no AVX-512 on this processor");
  }
  ~WideFormSwitch() { Avx512Allowed = saved; }

 private:
  bool saved;
};

// Regret rows as a river entry holds them: mostly small counts, one hand in
// ten with nothing (the fallback).
struct U16BenchRows {
  std::vector<uint16_t> r[3];
  std::vector<float> reach;
  std::vector<float> out[3];
};

U16BenchRows MakeU16BenchRows() {
  std::mt19937 rng(7);
  U16BenchRows rows;
  for (int a = 0; a < 3; ++a) {
    rows.r[a].resize(WideBenchHands);
    rows.out[a].resize(WideBenchHands);
  }
  rows.reach.resize(WideBenchHands);
  for (int i = 0; i < WideBenchHands; ++i) {
    const bool empty = rng() % 10 == 0;
    for (int a = 0; a < 3; ++a) rows.r[a][i] = empty ? 0 : uint16_t(rng() % 4000);
    rows.reach[i] = float(rng() % 1000) / 1000.0f;
  }
  return rows;
}

const float BenchFallback[3] = {0.25f, 0.5f, 0.25f};

void BM_U16Match2(benchmark::State& state) {
  WideFormSwitch wide(state);
  U16BenchRows b = MakeU16BenchRows();
  for (auto _ : state) {
    U16Match2(b.r[0].data(), b.r[1].data(), b.out[0].data(), b.out[1].data(), WideBenchHands, BenchFallback);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * WideBenchHands);
}

void BM_U16Match3(benchmark::State& state) {
  WideFormSwitch wide(state);
  U16BenchRows b = MakeU16BenchRows();
  for (auto _ : state) {
    U16Match3(b.r[0].data(), b.r[1].data(), b.r[2].data(), b.out[0].data(), b.out[1].data(), b.out[2].data(),
              WideBenchHands, BenchFallback);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * WideBenchHands);
}

void BM_U16TimesReach2(benchmark::State& state) {
  WideFormSwitch wide(state);
  U16BenchRows b = MakeU16BenchRows();
  for (auto _ : state) {
    U16TimesReach2(b.r[0].data(), b.r[1].data(), b.reach.data(), b.out[0].data(), b.out[1].data(), WideBenchHands,
                   BenchFallback);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * WideBenchHands);
}

void BM_U16TimesReach3(benchmark::State& state) {
  WideFormSwitch wide(state);
  U16BenchRows b = MakeU16BenchRows();
  for (auto _ : state) {
    U16TimesReach3(b.r[0].data(), b.r[1].data(), b.r[2].data(), b.reach.data(), b.out[0].data(), b.out[1].data(),
                   b.out[2].data(), WideBenchHands, BenchFallback);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * WideBenchHands);
}

void BM_MultiplyAdd(benchmark::State& state) {
  WideFormSwitch wide(state);
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
  FloatVec acc, sigma, value;
  for (FloatVec* v : {&acc, &sigma, &value}) {
    ResizeVector(*v, WideBenchHands);
    for (int i = 0; i < WideBenchHands; ++i) v->data[i] = unit(rng);
  }
  for (auto _ : state) {
    vecops::MultiplyAdd(acc, sigma, value);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * WideBenchHands);
}

// The fused node value and regret step of two or three actions (the
// argument). Its 512-bit form is chosen by the processor, not the flag, so
// this times whichever form the machine runs. The rows drift from call to
// call; the work does not depend on their values.
void BM_U16Fused(benchmark::State& state) {
  const int actions = int(state.range(0));
  U16BenchRows b = MakeU16BenchRows();
  std::mt19937 rng(5);
  std::uniform_real_distribution<float> value(-50.0f, 50.0f);
  std::vector<float> x[3];
  for (std::vector<float>& v : x) {
    v.resize(WideBenchHands);
    for (float& e : v) e = value(rng);
  }
  const U16Step step = U16Step::ForWeight(1.5f);
  for (auto _ : state) {
    if (actions == 2)
      U16Fused2(b.r[0].data(), b.r[1].data(), x[0].data(), x[1].data(), b.out[0].data(), WideBenchHands, step,
                BenchFallback);
    else
      U16Fused3(b.r[0].data(), b.r[1].data(), b.r[2].data(), x[0].data(), x[1].data(), x[2].data(),
                b.out[0].data(), WideBenchHands, step, BenchFallback);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * WideBenchHands);
}

void PlainAndWide(benchmark::internal::Benchmark* b) { b->ArgName("avx512")->Arg(0)->Arg(1); }

BENCHMARK(BM_MultiplyAdd)->Apply(PlainAndWide);
BENCHMARK(BM_U16Match2)->Apply(PlainAndWide);
BENCHMARK(BM_U16Match3)->Apply(PlainAndWide);
BENCHMARK(BM_U16TimesReach2)->Apply(PlainAndWide);
BENCHMARK(BM_U16TimesReach3)->Apply(PlainAndWide);
BENCHMARK(BM_U16Fused)->ArgName("actions")->Arg(2)->Arg(3);

}  // namespace
