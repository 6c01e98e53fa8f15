// Cards, card sets and the two numberings of two-card hands.
//
// Card = rank + 13 * suit (rank 0..12 for "23456789TJQKA", suit 0..3 for
// "cdhs"); a CardMask has bit `card` set for each card. Internally every
// per-hand vector is indexed by ComboIndex (hi * (hi - 1) / 2 + lo), which
// makes card removal cheap; on the protocol every 1326-long list is in
// HandOrderIndex, the public order that show_hand_order prints. The two meet
// only at the protocol edge, through the tables built here.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using Card = int;
using CardMask = uint64_t;

inline constexpr int HandCount = 1326;
inline constexpr int HandClassCount = 169;
inline constexpr const char* RankLetters = "23456789TJQKA";
inline constexpr const char* SuitLetters = "cdhs";

constexpr int RankOf(Card card) { return card % 13; }
constexpr int SuitOf(Card card) { return card / 13; }
constexpr CardMask CardBit(Card card) { return CardMask(1) << card; }
constexpr int ComboIndexOf(Card hi, Card lo) { return hi * (hi - 1) / 2 + lo; }

// Reads card text: pairs of rank and suit letters, case-insensitive, blanks
// allowed after a card but not before the first. Throws CommandFailure
// "ERROR: invalid card" on anything else, a repeated card or a text of more
// than 255 characters.
CardMask ParseCards(std::string_view text);
// Cards in ascending Card order (suit-major), joined by one blank.
std::string FormatCards(CardMask mask);
std::string CardText(Card card);

// The public order's text: 1326 entries of four characters, one blank apart.
// Filled by BuildHandTables, like every table here.
// Rank of the deck's lowest card, 0 (deuce) to 4 (six); also the number of
// ranks taken out of the deck. A rule variant, set by its command and by
// loading a tree; written only by the main thread, read by any (see
// eval/rule_settings.h for why no lock is needed).
extern int32_t lowCard;

extern std::string HandOrderText;
extern std::array<uint16_t, HandCount> HandOrderToCombo;
extern std::array<uint16_t, HandCount> ComboToHandOrder;
extern std::array<CardMask, HandCount> HandOrderMask;
// The two cards of each ComboIndex.
extern std::array<CardMask, HandCount> ComboMask;
// For each 13x13 cell (pairs and offsuit: higher rank is the row; suited:
// lower rank is the row), its combos in ascending HandOrderIndex.
extern std::array<std::vector<uint16_t>, HandClassCount> HandClassCombos;

void BuildHandTables();
