// The rule variants: hand type order, shortened deck, must-use-hole-cards.
//
// They are process-wide plain globals, written only by the main thread (by
// their commands and by loading a tree) and read by any thread without a
// lock. That is deliberate: evaluation reads them only while a command builds
// trees and lists, so no write of theirs can overlap it, and the solver reads
// only lowCard, where the old and the new value are both valid rules. The
// tables and the plain evaluators never see these settings; EvaluateCards and
// ComputeHandValues apply them to the plain result, so a HandValue stays a
// plain integer for everyone downstream.
#pragma once

#include <array>
#include <cstdint>

#include "setup/cards.h"

// Entry i is the HandType at position i, weakest first. Always 0..8.
extern std::array<uint8_t, 9> handTypeOrder;
// Entry t is the position of HandType t; the inverse of handTypeOrder.
extern std::array<uint8_t, 9> handTypePosition;
// True while every handTypeOrder[i] is i: EvaluateCards then leaves the type
// field alone.
extern bool defaultHandTypeOrder;
// lowCard, the shortened deck, lives with the cards (setup/cards.h): the
// set-up commands check cards against it.
// 0: any five of the seven cards; 1: exactly one hole card and four board
// cards; 2: both hole cards and three board cards.
extern uint32_t mustUseHoleCards;

// Takes a whole order, as a tree file stores it, and derives the positions
// and the default flag; every entry must be 0..8 (the reader checks). Positions of types the order doesn't
// name (a type given twice) keep their old value.
void ApplyHandTypeOrder(const std::array<uint8_t, 9>& order);
// Back to the defaults of a fresh process.
void ResetRuleSettings();

// The rule bytes of a tree file, in its order: lowCard as stored (0..4),
// mustUseHoleCards (0..2), the nine entries of handTypeOrder (0..8 each).
inline constexpr int RuleSettingBytes = 11;
// Applies them, or resets the rules for null (files older than the rule
// bytes). False, with nothing changed, if a byte is out of its range.
bool LoadRuleSettings(const uint8_t* bytes);
// The bytes LoadRuleSettings reads, of the rules in force.
std::array<uint8_t, RuleSettingBytes> SaveRuleSettings();
