// The showdown tables of a river board: tie runs and the tie-group records
// the live-mask scans read.
//
// A river hand list is sorted by strength, so equal strengths form runs;
// the showdown kernels walk runs instead of hands. Groups of up to 16 hands
// get a lane byte per hand so that a scan can turn a group into mask bits
// without looking at the hands; larger groups are rare and are scanned
// hand by hand.
#pragma once

#include "tree/board_tree.h"

// Fills tieRuns, smallGroups and largeGroups from entry.strengths.
void BuildShowdownTables(BoardNode& entry);

inline constexpr int SmallTieGroupLimit = 16;
