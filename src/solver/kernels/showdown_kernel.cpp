#include "solver/kernels/showdown_kernel.h"

#include <bit>

#include "solver/kernels/kernel_lanes.h"
#include "tree/showdown_tables.h"

namespace {

// One record per tie group with a live hand, or per stretch of groups
// without one: the walk of pass 2 skips a dead stretch in a single step.
struct ShowdownRecord {
  uint16_t liveCount;  // compact entries of the group; 0 for a dead stretch
  uint16_t size;       // hands covered
};

}  // namespace

// With L = 1 LaneVec is a float and this is the scalar kernel.
template <int L>
void ShowdownKernel(float* const* outs, const float* const* reaches, int n, const uint16_t* tieRuns,
                    int tieRunCount, const uint16_t* handCards, const float* payoffs,
                    const uint16_t* activeMask) {
  using V = LaneVec<L>;
  if constexpr (L == 1) {
    if (reaches[0] == nullptr) {
      ZeroOuts<1>(outs, n);
      return;
    }
  }
  const V p = LoadPayoffs<L>(payoffs);
  alignas(64) V cardSum[52];
  for (V& row : cardSum) row = V{};
  alignas(64) V liveWeight[KernelMaxHands];
  uint16_t liveCards[KernelMaxHands];
  ShowdownRecord records[KernelMaxHands];
  int recordCount = 0;
  int liveCount = 0;
  V total = V{};

  // Pass 1: the compact list of live hands, group by group, with every
  // sum negated: before pass 2 each hand counts as stronger than all.
  int first = 0;
  for (int g = 0; g < tieRunCount; ++g) {
    const int size = tieRuns[g];
    const int groupStart = liveCount;
    V groupSum = V{};
    const auto keep = [&](int i, V r) {
      const V w = p * r;
      liveWeight[liveCount] = w;
      liveCards[liveCount] = handCards[i];
      ++liveCount;
      groupSum += w;
      cardSum[handCards[i] & 0xFF] -= w;
      cardSum[handCards[i] >> 8] -= w;
    };
    const uint32_t mask = activeMask != nullptr ? activeMask[g] : 1;
    if (mask == 0) {
      // Dead in every lane's root.
    } else if (activeMask == nullptr || size > SmallTieGroupLimit) {
      for (int i = first; i < first + size; ++i) {
        const V r = GatherLanes<L>(reaches, i);
        if (AnyPositive<L>(r)) keep(i, r);
      }
    } else {
      // The mask names the hands live at the root; their reach here may
      // have dropped to 0, which merely adds 0.
      uint32_t bits = mask & ((uint32_t(1) << size) - 1);
      while (bits != 0) {
        const int i = first + std::countr_zero(bits);
        bits &= bits - 1;
        keep(i, GatherLanes<L>(reaches, i));
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

  if (AllNearZero<L>(total)) {
    ZeroOuts<L>(outs, n);
    return;
  }

  // Pass 2: running is (weight below) - (weight at or above) the next
  // group; cardSum the same split for the hands holding each card.
  LaneWriter<L> writer(outs);
  V running = total;
  int hand = 0;
  int live = 0;
  for (int k = 0; k < recordCount; ++k) {
    const ShowdownRecord record = records[k];
    const int end = hand + record.size;
    if (record.liveCount == 0) {
      for (int i = hand; i < end; ++i)
        writer.Put(i, running - cardSum[handCards[i] & 0xFF] - cardSum[handCards[i] >> 8]);
    } else {
      const int liveEnd = live + record.liveCount;
      // The first add takes the own group out of both sides: ties are 0.
      V groupSum = V{};
      for (int j = live; j < liveEnd; ++j) {
        groupSum += liveWeight[j];
        cardSum[liveCards[j] & 0xFF] += liveWeight[j];
        cardSum[liveCards[j] >> 8] += liveWeight[j];
      }
      const V x = running + groupSum;
      for (int i = hand; i < end; ++i)
        writer.Put(i, x - cardSum[handCards[i] & 0xFF] - cardSum[handCards[i] >> 8]);
      // The second moves the group below everything that follows.
      for (int j = live; j < liveEnd; ++j) {
        cardSum[liveCards[j] & 0xFF] += liveWeight[j];
        cardSum[liveCards[j] >> 8] += liveWeight[j];
      }
      running = x + groupSum;
      live = liveEnd;
    }
    hand = end;
  }
  writer.Finish(n);
}

#define KESTRUNE_DEFINE_SHOWDOWN_KERNEL(L)                                                      \
  template void ShowdownKernel<L>(float* const*, const float* const*, int, const uint16_t*, int, \
                                  const uint16_t*, const float*, const uint16_t*);
KESTRUNE_DEFINE_SHOWDOWN_KERNEL(1)
KESTRUNE_DEFINE_SHOWDOWN_KERNEL(2)
KESTRUNE_DEFINE_SHOWDOWN_KERNEL(3)
KESTRUNE_DEFINE_SHOWDOWN_KERNEL(4)
KESTRUNE_DEFINE_SHOWDOWN_KERNEL(6)
KESTRUNE_DEFINE_SHOWDOWN_KERNEL(7)
KESTRUNE_DEFINE_SHOWDOWN_KERNEL(8)
