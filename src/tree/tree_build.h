// Building the game tree: the bridge from the description (lines, ranges,
// board, pot) to the SolverContext the solver works on.
//
// A build reads nothing but its BuildInput: the command layer gathers it
// from the set-up, and the same build serves build_tree, cut_line and a
// tree loaded from a file. The new tree is made beside the old one, so a
// build refused for its input leaves the old tree in place.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "setup/board.h"

struct SchematicNode;

struct BuildInput {
  BoardCards board;                            // copied: set_board after this doesn't reach the tree
  std::array<std::vector<double>, 2> ranges;   // 1326 weights each by ComboIndex, the client's suits
  SchematicNode* trie = nullptr;               // the lines; the build writes their node indexes
  int32_t rootStreet = 1;                      // 1 flop, 2 turn, 3 river: from the board
  int64_t effectiveStack = 0;                  // the largest amount of the lines
  double halfPot = 0.0;                        // what each player has in at the root
  std::array<double, 3> potValues = {0.0, 0.0, 0.0};  // as set_pot gave them, for the tree file
  bool isomorphism = false;                    // suit isomorphism for this root street
  int32_t lowCard = 0;                         // the deck's lowest rank
  int32_t boardThreads = 1;                    // threads that evaluate the boards
  // The compression step: choosing the level and making the stores comes
  // after the build, in the command layer, with this level; the build only
  // refuses a given level its tree can't store, while the old tree stands.
  bool compressionStep = true;
  int32_t compressionLevel = -1;               // the level asked for; -1 automatic
};

// Street of the first card a tree on this board deals: 1 flop, 2 turn, 3 river.
int RootStreetOf(const BoardCards& board);

// The three things a build needs, in the order they are reported ("ranges
// not set", "ranges hold a weight that is not a finite number", "board not
// set", "lines not set"). A rebuild checks them again: cut_line can leave
// the root without lines. Throws CommandFailure.
void CheckSpotIsComplete(const BuildInput& input);

// Checks the input, flattens the lines, makes the node list and the boards,
// and makes the new tree the GlobalContext in place of the old one, with
// TreeBoard its board. No stores yet. A failure before the old tree is
// destroyed leaves it in place. Throws CommandFailure.
void BuildTree(const BuildInput& input);

// Destroys the tree and the SolverContext. The trie survives.
void FreeTree();
