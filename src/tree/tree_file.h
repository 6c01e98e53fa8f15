// The tree file: one built and solved game on disk.
//
// A file holds what a tree is built from (board, pot, ranges, the lines,
// the rules it was evaluated by) and the solver's numbers, not the node
// list or the boards: loading rebuilds the tree through the same build as
// build_tree and then fills the stores and chance records in node order.
// So a file is read in steps, and the command layer does its part between
// them: the set-up, the build, the run state and the stores, the node
// data, the info lines.
//
// Every file that can be read is someone's input: truncated, copied half
// way, edited, or made by another program. The reader checks each count
// against the bytes that remain before it allocates for it, each value
// against what a solve can make, and each record against the tree it is
// read into; what it refuses ends in a CommandFailure ("damaged file: ...")
// or, where the file ended early or the disk failed, a runtime_error
// "can't read from file (...)". Nothing of a refused file is trusted
// afterwards: the caller throws the half-loaded tree away.
//
// Old files are read in the form of their version, and a tree keeps that
// version: its stores are of the classes the version chose, which a file of
// another version would read as others. So a tree is written in the form
// of its own version, which for every tree built here is TreeFileVersion.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "setup/board.h"
#include "storage/tree_stream.h"

struct FloatVec;
struct SolverContext;
struct TreeNode;

inline constexpr int32_t TreeFileVersion = NewestFormatVersion;

// What the head of a file holds before the lines: read into the set-up.
struct TreeFileHead {
  int32_t version = TreeFileVersion;
  bool valueless = false;
};

// The run state that follows the lines, applied after the stores are made
// (making them starts the run's counters anew).
struct TreeFileState {
  uint32_t treeFlags = 0;
  int32_t forgottenStreet = -1;
  int32_t resultsIteration = -1;
  double mesOop = 0.0, evOop = 0.0, mesIp = 0.0, evIp = 0.0, meanEv = 0.0, exploitability = 0.0;
  int32_t compression = 0;
  int32_t iteration = 0;
};

// Reads the magic, the version (into the reader), the valueless byte, the
// rule settings, the board into InputBoard, the pot, the ranges and the
// lines into a new SchematicRoot.
TreeFileHead ReadTreeFileHead(TreeReader& in);
// The fields from the tree flags to the iteration count.
TreeFileState ReadTreeFileState(TreeReader& in);
// The average strategy of a node on a board (turn -1 on the flop), one row
// per action; the tree layer can't compute it, the solver can.
using AverageStrategyReader = void (*)(SolverContext& context, TreeNode& node, int turn, int hands, FloatVec* rows);
// The node data (chance records and stores in node order, then the stored
// values and the strategy rows above a forgotten street) into a tree whose
// stores are made and have their memory. Reports progress when the client
// asked for notifications.
void ReadNodeData(SolverContext& context, TreeReader& in, bool valueless);
std::vector<std::string> ReadInfoLines(TreeReader& in);

// The whole file of the tree in the form of its format version. The stores
// must have their memory. Returns false if a write failed.
bool WriteTreeFile(SolverContext& context, TreeWriter& out, const std::vector<std::string>& infoLines,
                   AverageStrategyReader averageStrategy);

// Refuses the file: "can't read from file (...)" if the reader ran past
// its end, else "damaged file: <what>".
[[noreturn]] void RefuseTreeFile(const TreeReader& in, const char* what);
