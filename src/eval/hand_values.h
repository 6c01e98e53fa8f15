// ComputeHandValues: the HandValue of every combo on one board.
//
// This is how tree building values a board: one word per combo, under the
// rules in force, including must-use-hole-cards, which changes which five
// cards may play and so cannot be patched onto a seven-card value. Combos
// given as 0 are out of play and get 0xFFFFFFFF, which reads as -1 where the
// hand lists sort values as signed, and so falls below every real value.
#pragma once

#include <cstdint>
#include <vector>

#include "setup/cards.h"

// `board` holds three to five cards; each combo two cards not on the board,
// or 0. The result has one value per combo, in the same order.
std::vector<uint32_t> ComputeHandValues(CardMask board, const std::vector<CardMask>& combos);
