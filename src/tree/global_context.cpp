#include "tree/global_context.h"

SolverContext* GlobalContext = nullptr;

bool TreeIsPresent() { return GlobalContext != nullptr; }
