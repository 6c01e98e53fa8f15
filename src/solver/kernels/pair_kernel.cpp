#include "solver/kernels/pair_kernel.h"

#include <bit>

#include "solver/kernels/kernel_lanes.h"
#include "tree/showdown_tables.h"

namespace {

struct PairRecord {
  uint16_t liveCount;  // compact showdown entries; 0 for a dead stretch
  uint16_t size;
};

// Both pair kernels. The sums run on reach alone, the payoffs multiply the
// results. With one reach the fold table is the showdown table of pass 1
// negated, so it is copied instead of summed; with two, the fold side adds
// its own reach hand by hand.
template <bool TwoReaches>
void PairSweep(float* outShowdown, float* outFold, const float* reachShowdown, const float* reachFold, int n,
               const uint16_t* tieRuns, int tieRunCount, const uint16_t* handCards, float showdownPayoff,
               float foldPayoff, const uint16_t* activeMask) {
  if (reachShowdown == nullptr || reachFold == nullptr) {
    for (int i = 0; i < n; ++i) outShowdown[i] = outFold[i] = 0.0f;
    return;
  }
  alignas(64) float cardSum[52] = {};
  alignas(64) float foldCardSum[52] = {};
  alignas(64) float liveWeight[KernelMaxHands];
  uint16_t liveCards[KernelMaxHands];
  PairRecord records[KernelMaxHands];
  int recordCount = 0;
  int liveCount = 0;
  float total = 0.0f;
  float foldTotal = 0.0f;

  // Pass 1, as in ShowdownKernel.
  int first = 0;
  for (int g = 0; g < tieRunCount; ++g) {
    const int size = tieRuns[g];
    const int groupStart = liveCount;
    float groupSum = 0.0f;
    const auto keep = [&](int i, float w) {
      liveWeight[liveCount] = w;
      liveCards[liveCount] = handCards[i];
      ++liveCount;
      groupSum += w;
      cardSum[handCards[i] & 0xFF] -= w;
      cardSum[handCards[i] >> 8] -= w;
    };
    const uint32_t mask = activeMask != nullptr ? activeMask[g] : 1;
    if (mask == 0) {
      // Dead in both.
    } else if (TwoReaches || activeMask == nullptr || size > SmallTieGroupLimit) {
      for (int i = first; i < first + size; ++i) {
        if (reachShowdown[i] > 0.0f) keep(i, reachShowdown[i]);
        if constexpr (TwoReaches) {
          const float f = reachFold[i];
          if (f > 0.0f) {
            foldTotal += f;
            foldCardSum[handCards[i] & 0xFF] += f;
            foldCardSum[handCards[i] >> 8] += f;
          }
        }
      }
    } else {
      uint32_t bits = mask & ((uint32_t(1) << size) - 1);
      while (bits != 0) {
        const int i = first + std::countr_zero(bits);
        bits &= bits - 1;
        keep(i, reachShowdown[i]);
      }
    }
    if (liveCount > groupStart) {
      total -= groupSum;
      records[recordCount++] = {uint16_t(liveCount - groupStart), uint16_t(size)};
    } else if (recordCount > 0 && records[recordCount - 1].liveCount == 0) {
      records[recordCount - 1].size = uint16_t(records[recordCount - 1].size + size);
    } else {
      records[recordCount++] = {0, uint16_t(size)};
    }
    first += size;
  }
  if constexpr (!TwoReaches) {
    for (int c = 0; c < 52; ++c) foldCardSum[c] = -cardSum[c];
    foldTotal = -total;
  }

  const bool showdownZero = AllNearZero<1>(total);
  const bool foldZero = AllNearZero<1>(foldTotal);
  if (showdownZero && foldZero) {
    for (int i = 0; i < n; ++i) outShowdown[i] = outFold[i] = 0.0f;
    return;
  }

  // Pass 2, with the fold value of every hand in the same loops.
  float running = total;
  int hand = 0;
  int live = 0;
  for (int k = 0; k < recordCount; ++k) {
    const PairRecord record = records[k];
    const int end = hand + record.size;
    const int liveEnd = live + record.liveCount;
    float groupSum = 0.0f;
    for (int j = live; j < liveEnd; ++j) {
      groupSum += liveWeight[j];
      cardSum[liveCards[j] & 0xFF] += liveWeight[j];
      cardSum[liveCards[j] >> 8] += liveWeight[j];
    }
    // A dead stretch has groupSum 0, so x is the running total itself.
    const float x = running + groupSum;
    for (int i = hand; i < end; ++i) {
      const int lo = handCards[i] & 0xFF;
      const int hi = handCards[i] >> 8;
      outShowdown[i] = showdownPayoff * (x - cardSum[lo] - cardSum[hi]);
      outFold[i] = foldPayoff * (foldTotal - foldCardSum[lo] - foldCardSum[hi] + reachFold[i]);
    }
    for (int j = live; j < liveEnd; ++j) {
      cardSum[liveCards[j] & 0xFF] += liveWeight[j];
      cardSum[liveCards[j] >> 8] += liveWeight[j];
    }
    running = x + groupSum;
    live = liveEnd;
    hand = end;
  }

  // A side whose total vanished gets exact zeros, as its own kernel gives.
  if (showdownZero)
    for (int i = 0; i < n; ++i) outShowdown[i] = 0.0f;
  if (foldZero)
    for (int i = 0; i < n; ++i) outFold[i] = 0.0f;
}

}  // namespace

void PairKernel(float* outShowdown, float* outFold, const float* reach, int n, const uint16_t* tieRuns,
                int tieRunCount, const uint16_t* handCards, float showdownPayoff, float foldPayoff,
                const uint16_t* activeMask) {
  PairSweep<false>(outShowdown, outFold, reach, reach, n, tieRuns, tieRunCount, handCards, showdownPayoff,
                   foldPayoff, activeMask);
}

void PairKernel2(float* outShowdown, float* outFold, const float* reachShowdown, const float* reachFold,
                 int n, const uint16_t* tieRuns, int tieRunCount, const uint16_t* handCards,
                 float showdownPayoff, float foldPayoff, const uint16_t* activeMask) {
  PairSweep<true>(outShowdown, outFold, reachShowdown, reachFold, n, tieRuns, tieRunCount, handCards,
                  showdownPayoff, foldPayoff, activeMask);
}
