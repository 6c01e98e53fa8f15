// StartPass: the settings a walk keeps for its whole length, taken at its
// start.
#include "solver/pass.h"

#include "setup/settings.h"
#include "tree/solver_context.h"

Pass StartPass(const SolverContext& context, TraversalMode mode, int traverser) {
  Pass pass;
  pass.mode = mode;
  pass.traverser = traverser;
  pass.storeIteration = context.iteration;
  pass.simdLevel = SimdLevel;
  pass.riverStrategy = RiverStrategyOn;
  return pass;
}
