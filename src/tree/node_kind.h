// NodeKind: what a node of the betting tree is, from the flattened lines
// to the built nodes and the walk.
#pragma once

#include <cstdint>

// Unscoped, so that the kinds read as plain names in the steps that test
// them at every visit.
enum NodeKind : int32_t { DecisionNode = 0, ShowdownEnd = 1, FoldEnd = 2 };
