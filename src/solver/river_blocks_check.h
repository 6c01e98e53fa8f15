// Checking a loaded tree's compressed river rows before anything trusts
// them.
//
// A block of a tree file is copied into its arena as it stands, and a
// block whose framing is sound may still hold data no coder wrote. Found
// during a solve, that damage would end the process and the user's work
// with it; found here it refuses the file. So every block of every dealt
// turn is decoded once, as a query would open it, with the codec's
// failures noted instead of reported.
#pragma once

struct SolverContext;

// True if every compressed river row of the tree decodes; trees whose
// rivers aren't compressed have nothing to check.
bool CheckRiverBlocks(SolverContext& context);
