// Between the client's 1326 combos and a tree's hand lists.
//
// The client names every hand by ComboIndex in its own suits; a tree keeps
// one row entry per hand of the list of a board, in the canonical suits of
// suit isomorphism. Every reader and writer of rows crosses here, in both
// directions, so the suit map and the list order are applied in one place.
// The list in force is the one of the deal's deepest card (DealListNode).
#pragma once

#include <cstddef>
#include <vector>

#include "tree/deal_indexes.h"

struct SolverContext;

// Hands on the list in force.
size_t ListSize(const SolverContext& context, const DealIndexes& deal);
// row[hand] := value of the hand's combo; byCombo is in the client's suits.
std::vector<float> ListRowFromClient(const SolverContext& context, const DealIndexes& deal, const double* byCombo);
// out[combo] := row[hand of the combo] in the client's suits, not-a-number
// for a combo off the list.
void ListRowToClient(const SolverContext& context, const DealIndexes& deal, const float* row, double* out);
