// The solver's locks and the one order in which they may be taken.
//
// Order, outermost first:
//   1. pass mutex (PassMutex, traversal.h): one whole pass, a re-solve, or
//      row access outside a pass on a tree without deal mutexes;
//   2. deal mutex of a first turn node (TreeNode::dealMutexes[turn]): the
//      river rows below that dealt turn, for a turn job or a command;
//   3. job merge mutex: the accumulators of a deal point while a job adds
//      its values in;
//   4. scratch registry mutex (storage/thread_scratch): the list of every
//      thread's BlockPool;
//   5. output mutex (setup/console): one line of standard output.
// A holder may take a lock further down the list, never one above it. The
// deal mutex is released before the job merge mutex is taken, and the merge
// mutex encloses nothing, so a job can never wait on a lock while it holds
// one that another job needs.
#pragma once

#include <mutex>

extern std::mutex JobMergeMutex;
