// Commands of the hand categories: their words, and the categories and
// draws of all hands on one board.
#include <bit>
#include <cstdio>
#include <string>

#include "eval/eval_commands.h"
#include "eval/hand_categories.h"
#include "shell/command_error.h"
#include "shell/output.h"

namespace {

// One line of 1326 numbers, each followed by a blank. Made hand results are
// divided by 100 with truncation, so a hand that clashes with the board
// reads 0 there; only the draw line shows it as -1.
void PrintResultLine(const HandResults& results, int divisor) {
  std::string line;
  line.reserve(size_t(HandCount) * 4 + 1);
  char number[16];
  for (int result : results) {
    int length = std::snprintf(number, sizeof number, "%d ", result / divisor);
    line.append(number, size_t(length));
  }
  PrintReply("%s\n", line.c_str());
}

}  // namespace

void CmdShowCategoryNames(const Tokens&) {
  std::string made, draws;
  for (const char* word : MadeCategoryWords) made += std::string(word) + " ";
  for (const char* word : DrawCategoryWords) draws += std::string(word) + " ";
  PrintReply("%s\n%s\nEND\n", made.c_str(), draws.c_str());
}

void CmdShowCategories(const Tokens& tokens) {
  // The cards may come as one token or several; they are read as one text.
  std::string text;
  for (size_t i = 1; i < tokens.size(); ++i) {
    if (i > 1) text += ' ';
    text += tokens[i];
  }
  const CardMask board = ParseCards(text);
  const int cards = std::popcount(board);
  if (cards < 3 || cards > 5) ThrowCommandError("invalid board");

  HandResults made{}, draws{};
  ClassifyHands(board, made);
  ClassifyDraws(board, draws);
  PrintResultLine(made, 100);
  PrintResultLine(draws, 1);
  PrintReply("END\n");
}
