// Building the game tree: the bridge from the description (lines, ranges,
// board, pot) to the SolverContext the solver works on.
#pragma once

// The checks of build_tree, then RebuildTree(true). Throws CommandError.
void BuildTree();
// Copies board and ranges, flattens the trie, makes the node list and the
// boards, and with the compression step chooses the level and makes the
// stores. A failure before the old tree is destroyed leaves it in place.
void RebuildTree(bool withCompressionStep);
// Destroys the tree and the SolverContext. The trie survives.
void FreeTree();
