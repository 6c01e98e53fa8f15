// GlobalContext: the one SolverContext of the process.
//
// A tree build makes the record and sets the pointer; free_tree and the
// next build destroy it. It is null while no tree exists, so "is there a
// tree" is a look at the pointer. Only the main thread, between commands,
// replaces it; the solver thread works on the record it was started with.
#pragma once

struct SolverContext;

// The built tree and its solver state; null until a tree exists.
extern SolverContext* GlobalContext;

bool TreeIsPresent();
