#include "solver/solver_limits.h"

#include <cfloat>

#include "tree/solver_context.h"

void SetSolverLimits(SolverContext& context, int regretLevel, int sumLevel) {
  context.iterationCap = sumLevel == 3 ? 2200 : 9000;
  if (context.rootStreet == 3) {
    context.strategyWeightExponent = 4.0;
    context.strategyWeightCap = DBL_MAX;
  } else {
    context.strategyWeightExponent = 1.5;
    context.strategyWeightCap = 262143.0;
  }
  context.tieAveragingLimit = regretLevel == 2 ? 30 : 0;
}
