// The process-wide settings of a solve: pot, accuracy targets, threads,
// reporting period, number formats and instruction-set switches.
//
// Each field's valid range stands beside it; the setting command checks it
// once, and no reader checks it again. The settings the solver reads are
// RelaxedSettings, written by the main thread and read by the solver thread
// without a lock, on purpose: each stands alone, and a change during a run
// is simply seen at the solver's next read. A pass reads SimdLevel and
// RiverStrategyOn once, at its start (StartPass), since a walk must
// not change form half-way. The rest, which only the main thread touches,
// stay plain. They survive free_tree, build_tree and load_tree.
#pragma once

#include <array>
#include <cstdint>

#include "setup/relaxed_setting.h"

// The three pot numbers of set_pot (any integers, stored as doubles). Only
// the third, TotalPot, means anything to the solver and the replies; the
// first two travel into the tree file.
extern std::array<RelaxedSetting<double>, 3> PotValues;
inline double TotalPot() { return PotValues[2]; }

// Target accuracy as the client gave it (at least 0), and whether it is a
// fraction of the pot rather than chips.
extern double AccuracyValue;
extern bool AccuracyIsFraction;
// The target in chips that the solver loop stops at; follows the pot when
// the client gave a fraction.
extern RelaxedSetting<double> SolverAccuracy;

// Target of the re-calculation of each street (flop, turn, river) in chips,
// fixed at the pot of the moment set_recalc_accuracy ran. Any values.
extern std::array<double, 3> RecalcAccuracy;

// Solver threads; 0, the start value, stands for all hardware threads, so
// that no code built for AVX runs in a static initialiser before main has
// checked the processor. Readers take SolverThreadCount().
extern RelaxedSetting<int> ThreadCount;
// Iterations between two measurements of the solver; at least 1.
extern RelaxedSetting<int> MeasurementPeriod;

inline constexpr int MinSimdLevel = 1;
inline constexpr int MaxSimdLevel = 8;
// Lane forms of the terminal kernels; 1 is the plain path.
extern RelaxedSetting<int> SimdLevel;

inline constexpr double MinPrecisionExponent = -2.0;
inline constexpr double MaxPrecisionExponent = 2.0;
extern RelaxedSetting<double> PrecisionExponent;

extern RelaxedSetting<bool> AdaptivePrecision;
extern RelaxedSetting<bool> RiverStrategyOn;
// Lets the 512-bit forms of a few loops run; never compared with the
// processor here, so readers guard with CpuHasAvx512().
extern RelaxedSetting<bool> Avx512Allowed;

// 0 to 2. Accepted and kept; nothing consults it.
inline constexpr int MaxSchedulerNumber = 2;
extern int SchedulerNumber;

// Fraction 0 to 1, cap from 0 up. Accepted and kept; nothing consults them.
extern double RakeFraction;
extern double RakeCap;

// The client's compression level (-1 lets the system choose) and the level
// in force, which the storage subsystem decides.
extern int CompressionLevel;
extern int ActualCompression;

// All hardware threads, as the parallel runtime counted them at its first
// call. Kept apart because the runtime's own maximum follows every
// omp_set_num_threads.
int DefaultThreadCount();
// No run starts more threads than this, whatever set_threads stored:
// four for every hardware thread. Beyond the hardware count threads only
// take turns, and a runtime asked for thousands can fail to make them,
// which would end the process.
int MaxSolverThreads();
// The thread count in force, 1 to MaxSolverThreads.
int SolverThreadCount();

// Stores the pot and brings the chips target in line with it.
void SetPot(double first, double second, double total);
// Stores a target and derives the chips value from the pot in force.
void SetAccuracy(double value, bool isFraction);
// The current target as a fraction of the pot (value / TotalPot for chips).
double AccuracyFraction();
