#include "setup/settings.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "setup/setup_commands.h"
#include "setup_test_util.h"
#include "shell/command_error.h"
#include "shell/command_table.h"

namespace {

// Every test starts from the start values and leaves them behind.
class Settings : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    PotValues = {0, 0, 100};
    RecalcAccuracy = {0, 0, 0};
    ThreadCount = 0;
    SimdLevel = 8;
    PrecisionExponent = 0;
    RakeFraction = RakeCap = 0;
  }
};

TEST_F(Settings, RecalcAccuracyIsFixedInChipsWhenSet) {
  RunHandler(CmdSetPot, {"set_pot", "0", "0", "200"});
  RunHandler(CmdSetRecalcAccuracy, {"set_recalc_accuracy", "0.01", "0.02", "0.5"});
  RunHandler(CmdSetPot, {"set_pot", "0", "0", "400"});
  EXPECT_THROW(RunHandler(CmdSetRecalcAccuracy, {"set_recalc_accuracy", "1", "1", "?"}),
               std::invalid_argument);
  EXPECT_DOUBLE_EQ(RecalcAccuracy[0], 2.0);
  EXPECT_DOUBLE_EQ(RecalcAccuracy[1], 4.0);
  EXPECT_DOUBLE_EQ(RecalcAccuracy[2], 100.0);
}

TEST_F(Settings, ThreadCountBelowOneMeansAllThreads) {
  RunHandler(CmdSetThreads, {"set_threads", "3"});
  EXPECT_EQ(SolverThreadCount(), 3);
  for (const char* all : {"0", "-1"}) {
    RunHandler(CmdSetThreads, {"set_threads", "3"});
    RunHandler(CmdSetThreads, {"set_threads", all});
    EXPECT_EQ(SolverThreadCount(), DefaultThreadCount()) << all;
  }
  EXPECT_GE(DefaultThreadCount(), 1);
}

TEST_F(Settings, OutOfRangeValuesAreRefusedAndKeepTheOldValue) {
  RunHandler(CmdSetSimdLevel, {"set_simd_level", "1"});
  RunHandler(CmdSetPrecision, {"set_precision", "-2"});
  RunHandler(CmdSetRake, {"set_rake", "0.05", "3"});
  const Tokens refused[] = {
      {"set_simd_level", "0"},   {"set_simd_level", "9"},    {"set_precision", "2.5"},
      {"set_precision", "nan"},  {"set_rake", "1.01", "3"},  {"set_rake", "0.1", "-1"},
      {"set_info_freq", "0"},    {"set_scheduler", "3"},     {"set_scheduler", "-1"},
      {"ignore_mem_check", "On"},
  };
  for (const Tokens& tokens : refused)
    EXPECT_THROW(RunHandler(FindCommand(tokens[0])->handler, tokens), CommandError) << JoinTokens(tokens);
  EXPECT_EQ(SimdLevel, 1);
  EXPECT_EQ(PrecisionExponent, -2.0);
  EXPECT_EQ(RakeFraction, 0.05);
  EXPECT_EQ(RakeCap, 3.0);
}

}  // namespace
