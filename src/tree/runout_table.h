// RunoutTable: who wins the showdown on each river card, summed over the
// river cards, for every pair of hands of a dealt turn.
//
// An all-in call before the river ends in a showdown on every river card
// with the same reach and the same payoff. Walked card by card that costs
// one showdown sweep per river card, with its gather and scatter, on every
// pass; as a table it is one pass over the hands that still have reach:
// value[h] = payoff * sum over h' of reach[h'] * net(h, h'), where net is
// the number of river cards on which h beats h', less those on which it
// loses. The table follows the card-by-card sum exactly, suit isomorphism
// included: the opponent's hands are taken in the river entry's own suits
// and the traverser's in each of the suit-exchanged copies the entry stands
// for.
//
// Entries are small integers (at most the 48 river cards), kept in bytes:
// n * n of them for a turn of n hands, built on first use and kept for the
// tree's life.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

struct BoardNode;

struct RunoutTable {
  int32_t hands = 0;
  int32_t stride = 0;  // hands rounded up to 16; the padding is zero
  // net(h, h') at columns[h' * stride + h]: one opponent hand's row covers
  // all the traverser's hands.
  std::vector<int8_t> columns;
};

RunoutTable BuildRunoutTable(const BoardNode& turn);

// The tables of a tree's turns, each built once by whichever thread asks
// first.
class RunoutTables {
 public:
  explicit RunoutTables(size_t turns);
  const RunoutTable& ForTurn(const BoardNode& turn, int index);

 private:
  std::vector<RunoutTable> tables_;
  std::unique_ptr<std::once_flag[]> once_;
};

// out[h] = payoff * sum of reach[h'] * net(h, h') over the hands h' with
// reach above zero. out has table.hands entries.
void RunoutShowdown(const RunoutTable& table, const float* reach, float payoff, float* out);
