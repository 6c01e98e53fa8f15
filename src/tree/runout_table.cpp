#include "tree/runout_table.h"

#include <immintrin.h>

#include <algorithm>

#include "tree/board_tree.h"

namespace {

constexpr int32_t Block = 16;

int32_t Padded(int32_t n) { return (n + Block - 1) / Block * Block; }

}  // namespace

RunoutTable BuildRunoutTable(const BoardNode& turn) {
  RunoutTable table;
  const int32_t n = turn.HandCount();
  const int32_t stride = Padded(n);
  table.hands = n;
  table.stride = stride;

  // net(h, .) as a row per traverser hand while it is summed; 16 bits so
  // that eight hands go through one instruction.
  std::vector<int16_t> net(size_t(n) * size_t(stride), 0);
  // holds[c * stride + h'] is -1 when turn hand h' holds card c: the hands
  // that share a card with the traverser's never meet it.
  std::vector<int16_t> holds(size_t(52) * size_t(stride), 0);
  for (int32_t h = 0; h < n; ++h) {
    const uint16_t cards = turn.handCards[size_t(h)];
    holds[size_t(cards & 0xFF) * size_t(stride) + size_t(h)] = -1;
    holds[size_t(cards >> 8) * size_t(stride) + size_t(h)] = -1;
  }

  const size_t width = size_t(stride);
  std::vector<int16_t> rank(width), live(width), riverRank;
  for (const BoardNode& river : turn.rivers) {
    const int32_t riverHands = river.HandCount();
    // The opponent's hands on the turn's list, at their strength on this
    // river (the tie group's number); hands holding the river card are not
    // live.
    std::fill(rank.begin(), rank.end(), int16_t(0));
    std::fill(live.begin(), live.end(), int16_t(0));
    riverRank.resize(size_t(riverHands));
    const std::vector<uint16_t>& own = river.parentIndex[0];
    int32_t j = 0;
    int16_t group = 0;
    for (uint16_t size : river.tieRuns) {
      for (const int32_t end = j + size; j < end; ++j) {
        riverRank[size_t(j)] = group;
        rank[own[size_t(j)]] = group;
        live[own[size_t(j)]] = -1;
      }
      ++group;
    }

    for (int32_t k = 0; k < river.weight; ++k) {
      const std::vector<uint16_t>& map = river.parentIndex[size_t(k)];
      for (j = 0; j < riverHands; ++j) {
        const uint16_t h = map[size_t(j)];
        if (h == NoHand) continue;
        const uint16_t cards = river.handCards[size_t(j)];
        const int16_t* first = &holds[size_t(cards & 0xFF) * size_t(stride)];
        const int16_t* second = &holds[size_t(cards >> 8) * size_t(stride)];
        int16_t* row = &net[size_t(h) * size_t(stride)];
        const __m128i mine = _mm_set1_epi16(riverRank[size_t(j)]);
        for (int32_t b = 0; b < stride; b += 8) {
          const auto at = [b](const int16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + b)); };
          const __m128i theirs = at(rank.data());
          // +1 where the traverser's hand is stronger, -1 where weaker.
          const __m128i sign = _mm_sub_epi16(_mm_cmpgt_epi16(theirs, mine), _mm_cmpgt_epi16(mine, theirs));
          const __m128i meets = _mm_andnot_si128(_mm_or_si128(at(first), at(second)), at(live.data()));
          _mm_storeu_si128(reinterpret_cast<__m128i*>(row + b), _mm_add_epi16(at(row), _mm_and_si128(sign, meets)));
        }
      }
    }
  }

  // At most one count per real river card: a byte holds it.
  table.columns.assign(size_t(n) * size_t(stride), 0);
  for (int32_t h = 0; h < n; ++h)
    for (int32_t o = 0; o < n; ++o)
      table.columns[size_t(o) * size_t(stride) + size_t(h)] = int8_t(net[size_t(h) * size_t(stride) + size_t(o)]);
  return table;
}

RunoutTables::RunoutTables(size_t turns) : tables_(turns), once_(new std::once_flag[turns]) {}

const RunoutTable& RunoutTables::ForTurn(const BoardNode& turn, int index) {
  std::call_once(once_[size_t(index)], [&] { tables_[size_t(index)] = BuildRunoutTable(turn); });
  return tables_[size_t(index)];
}

void RunoutShowdown(const RunoutTable& table, const float* reach, float payoff, float* out) {
  const int32_t n = table.hands;
  const int32_t stride = table.stride;
  alignas(32) float sum[Block * ((1326 + Block - 1) / Block)];
  std::fill(sum, sum + stride, 0.0f);
  for (int32_t o = 0; o < n; ++o) {
    const float r = reach[o];
    if (!(r > 0.0f)) continue;
    const __m256 weight = _mm256_set1_ps(r);
    const int8_t* column = &table.columns[size_t(o) * size_t(stride)];
    for (int32_t b = 0; b < stride; b += Block) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(column + b));
      const __m128i q0 = _mm_cvtepi8_epi32(bytes), q1 = _mm_cvtepi8_epi32(_mm_srli_si128(bytes, 4));
      const __m128i q2 = _mm_cvtepi8_epi32(_mm_srli_si128(bytes, 8)), q3 = _mm_cvtepi8_epi32(_mm_srli_si128(bytes, 12));
      const __m256 lo = _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(q0), q1, 1));
      const __m256 hi = _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(q2), q3, 1));
      _mm256_store_ps(sum + b, _mm256_add_ps(_mm256_load_ps(sum + b), _mm256_mul_ps(lo, weight)));
      _mm256_store_ps(sum + b + 8, _mm256_add_ps(_mm256_load_ps(sum + b + 8), _mm256_mul_ps(hi, weight)));
    }
  }
  for (int32_t h = 0; h < n; ++h) out[h] = payoff * sum[h];
}
