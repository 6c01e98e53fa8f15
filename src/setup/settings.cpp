#include "setup/settings.h"

#include <omp.h>

#include <algorithm>
#include <thread>

std::array<RelaxedSetting<double>, 3> PotValues = {0.0, 0.0, 100.0};
double AccuracyValue = 0.0;
bool AccuracyIsFraction = false;
RelaxedSetting<double> SolverAccuracy = 0.0;
std::array<double, 3> RecalcAccuracy = {0.0, 0.0, 0.0};
RelaxedSetting<int> ThreadCount = 0;
RelaxedSetting<int> MeasurementPeriod = 25;
RelaxedSetting<int> SimdLevel = 8;
RelaxedSetting<double> PrecisionExponent = 0.0;
RelaxedSetting<bool> AdaptivePrecision = true;
RelaxedSetting<bool> RiverStrategyOn = true;
RelaxedSetting<bool> Avx512Allowed = false;
int SchedulerNumber = 1;
double RakeFraction = 0.0;
double RakeCap = 0.0;
int CompressionLevel = -1;
int ActualCompression = 0;

int DefaultThreadCount() {
  // Read once: later omp_set_num_threads calls would change the answer.
  static const int count = omp_get_max_threads();
  return count;
}

int MaxSolverThreads() {
  static const int count = 4 * std::max(1, int(std::thread::hardware_concurrency()));
  return count;
}

int SolverThreadCount() {
  const int count = ThreadCount;
  const int wanted = count >= 1 ? count : DefaultThreadCount();
  return std::clamp(wanted, 1, MaxSolverThreads());
}

void SetPot(double first, double second, double total) {
  // One at a time: the solver reads only the total, never the three as one.
  PotValues[0] = first;
  PotValues[1] = second;
  PotValues[2] = total;
  SetAccuracy(AccuracyValue, AccuracyIsFraction);
}

void SetAccuracy(double value, bool isFraction) {
  AccuracyValue = value;
  AccuracyIsFraction = isFraction;
  SolverAccuracy = isFraction ? value * TotalPot() : value;
}

double AccuracyFraction() {
  return AccuracyIsFraction ? AccuracyValue : AccuracyValue / TotalPot();
}
