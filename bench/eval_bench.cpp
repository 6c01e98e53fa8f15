// Speed of hand evaluation: plain seven-card evaluations on random hands, the
// rule-aware entry on the same hands, the valuation of all 1326 combos
// on a river board, as a tree build does for every board, and the hand
// categories and draws of all hands on a flop, a turn and a river.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "eval/evaluate_cards.h"
#include "eval/evaluators.h"
#include "eval/hand_categories.h"
#include "eval/hand_tables.h"
#include "eval/hand_values.h"

namespace {

// Random hands are made outside the timed loop. 1 << 16 of them fill a few
// hundred KB, enough that the branch predictor cannot learn the sequence.
std::vector<SuitLaneMask> RandomSevenCardHands(size_t count) {
  std::mt19937_64 rng(12345);
  std::vector<SuitLaneMask> hands(count);
  int deck[52];
  for (int i = 0; i < 52; ++i) deck[i] = i;
  for (SuitLaneMask& hand : hands) {
    CardMask mask = 0;
    for (int i = 0; i < 7; ++i) {
      int j = i + int(rng() % uint64_t(52 - i));
      std::swap(deck[i], deck[j]);
      mask |= CardBit(deck[i]);
    }
    hand = ToSuitLaneMask(mask);
  }
  return hands;
}

void BM_Eval7(benchmark::State& state) {
  InitHandTables();
  const std::vector<SuitLaneMask> hands = RandomSevenCardHands(1 << 16);
  for (auto _ : state) {
    uint32_t sum = 0;
    for (SuitLaneMask hand : hands) sum += Eval7(hand);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(hands.size()));
}
BENCHMARK(BM_Eval7);

void BM_EvaluateLanes7(benchmark::State& state) {
  InitHandTables();
  const std::vector<SuitLaneMask> hands = RandomSevenCardHands(1 << 16);
  for (auto _ : state) {
    uint32_t sum = 0;
    for (SuitLaneMask hand : hands) sum += EvaluateLanes(hand, 7);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(hands.size()));
}
BENCHMARK(BM_EvaluateLanes7);

void BM_ComputeHandValuesRiver(benchmark::State& state) {
  InitHandTables();
  const CardMask board = ParseCards("Ks8h8d5c2s");
  std::vector<CardMask> combos;
  for (int hi = 1; hi < 52; ++hi)
    for (int lo = 0; lo < hi; ++lo) {
      CardMask combo = CardBit(hi) | CardBit(lo);
      combos.push_back(combo & board ? 0 : combo);
    }
  for (auto _ : state) {
    std::vector<uint32_t> values = ComputeHandValues(board, combos);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(combos.size()));
}
BENCHMARK(BM_ComputeHandValuesRiver);

// Boards by street: a two-tone flop full of draws, a turn, a river.
const char* const CategoryBoards[] = {"Qh Jh 8c", "Qh Jh 8c 3d", "Qh Jh 8c 3d 2s"};

template <void (*Classify)(CardMask, HandResults&)>
void BM_Classify(benchmark::State& state) {
  InitHandTables();
  BuildHandTables();
  const CardMask board = ParseCards(CategoryBoards[state.range(0)]);
  state.SetLabel(CategoryBoards[state.range(0)]);
  HandResults results{};
  for (auto _ : state) {
    Classify(board, results);
    benchmark::DoNotOptimize(results.data());
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * HandCount);
}
// Draws on a river board are all zeros at once; only flop and turn count.
BENCHMARK(BM_Classify<ClassifyHands>)->Name("BM_ClassifyHands")->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Classify<ClassifyDraws>)->Name("BM_ClassifyDraws")->DenseRange(0, 1)->Unit(benchmark::kMicrosecond);

}  // namespace
