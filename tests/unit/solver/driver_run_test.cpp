// The solver thread on a river toy whose values are worked by hand: AcAd
// (OOP) against KcKd (IP) on Qs Jh 2h 8d 3c, pot 100. OOP checks (and IP
// checks behind) or bets 50, which IP calls or folds; the aces always win.
// At iteration 0 both play uniformly: EV OOP = .5*100 + .5*(.5*150 + .5*100)
// = 112.5, EV IP = -12.5; OOP's best response bets for 125, IP's folds for
// 0; exploitable for (125 - 112.5 + 0 + 12.5) / 2 = 12.5.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "shell/command_error.h"
#include "shell/shell_commands.h"
#include "shell/shell_state.h"
#include "shell/variables.h"
#include "solver/solver_commands.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"
#include "solver_test_util.h"

namespace {

class DriverRunTest : public SolverFixture {
 protected:
  void SetUp() override {
    SolverFixture::SetUp();
    SetBoard("Qs Jh 2h", "8d", "3c");
    const int aces = ComboOf(ParseCards("Ac Ad")), kings = ComboOf(ParseCards("Kc Kd"));
    SetRanges([&](int player, int combo) { return combo == (player == 0 ? aces : kings) ? 1.0 : 0.0; });
  }
  void TearDown() override {
    RequestSolverStop();
    WaitForSolver();
    SolverFixture::TearDown();
  }
  static void Build(std::initializer_list<const char*> lines) {
    AddLines(lines);
    BuildTreeFromSetUp();
  }
  // go with the given words; the solver's whole output once it has stopped.
  static std::string Go(const std::string& words) {
    testing::internal::CaptureStdout();
    RunGo(words);
    WaitForSolver();
    return testing::internal::GetCapturedStdout();
  }
  static void RunGo(const std::string& words) {
    CurrentCommand = "go";
    CmdGo(Words(words));
    FlushReply();
  }
  static std::string GoError(const std::string& words) {
    try {
      RunGo(words);
    } catch (const CommandError& error) {
      return error.what();
    }
    return "started";
  }
  static std::string LastLine(const std::string& text) {
    const size_t end = text.find_last_of('\n');
    const size_t start = text.find_last_of('\n', end - 1);
    return text.substr(start == std::string::npos ? 0 : start + 1, end - (start == std::string::npos ? 0 : start + 1));
  }

  ScopedValue<bool> suppressOk_{SuppressOk, true};
  ScopedValue<RelaxedSetting<int>> period_{MeasurementPeriod, 1000000};
  ScopedValue<RelaxedSetting<double>> accuracy_{SolverAccuracy, -1.0};
  ScopedValue<bool> compact_{CompactMessages, false};
  ScopedValue<int> verbosity_{Verbosity, 0};
};

TEST_F(DriverRunTest, EachStopReasonEndsTheRunWhereItShould) {
  Build({"0 0", "50 50"});
  SolverContext& context = Context();
  struct Case {
    const char* words;
    int period;
    double accuracy;
    int capAhead;  // iterations left before the cap; -1 leaves no cap
    int iterations;
    const char* reason;
  };
  const Case cases[] = {
      {"go 0 steps", 1000000, -1.0, -1, 1, "required number of steps done"},
      {"go 3 steps", 1000000, -1.0, -1, 3, "required number of steps done"},
      // measured at the next multiple of 4: iteration 8, from 4
      {"go 100 steps", 4, 1000.0, -1, 4, "required accuracy reached"},
      {"go", 1000000, -1.0, 2, 2, "requested"},
      {"go 0 seconds", 1000000, -1.0, 5, 5, "requested"},
      // at the cap a run stops before any iteration
      {"go", 1000000, -1.0, 0, 0, "requested"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.words);
    MeasurementPeriod = c.period;
    SolverAccuracy = c.accuracy;
    context.iterationCap = c.capAhead < 0 ? INT_MAX : context.iteration + c.capAhead;
    const int before = context.iteration;
    const std::string output = Go(c.words);
    EXPECT_EQ(context.iteration - before, c.iterations);
    EXPECT_EQ(output.substr(0, 16), "SOLVER: started\n");
    EXPECT_EQ(LastLine(output), std::string("SOLVER: stopped (") + c.reason + ")");
    EXPECT_FALSE(SolverIsRunning());
  }

  // A time limit is whole seconds from the thread's start.
  context.iterationCap = INT_MAX;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(LastLine(Go("go 1 seconds")), "SOLVER: stopped (timeout reached)");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));

  // stop and take_a_break end a run that has no limit.
  for (auto stop : {+[] { CmdStop({"stop"}); }, +[] { CmdTakeABreak({"take_a_break", "0"}); }}) {
    testing::internal::CaptureStdout();
    RunGo("go");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const bool running = SolverIsRunning();
    stop();
    WaitForSolver();
    EXPECT_EQ(LastLine(testing::internal::GetCapturedStdout()), "SOLVER: stopped (requested)");
    EXPECT_TRUE(running);
  }
}

// A new run can follow the end of the last one at once: it must neither
// print its start before the last "stopped" line nor read as over early.
TEST_F(DriverRunTest, BackToBackRunsNeverOverlap) {
  Build({"0 0"});
  constexpr int Runs = 100;
  int firstOverlap = -1;
  testing::internal::CaptureStdout();
  for (int i = 0; i < Runs && firstOverlap < 0; ++i) {
    RunGo("go 0 steps");
    while (SolverIsRunning()) {
    }
    RunGo("go 0 steps");
    WaitForSolver();
    if (SolverIsRunning() || Context().iteration != 2 * (i + 1)) firstOverlap = i;
  }
  const std::string output = testing::internal::GetCapturedStdout();
  ASSERT_EQ(firstOverlap, -1);
  std::string expected;
  for (int i = 0; i < 2 * Runs; ++i) expected += "SOLVER: started\nSOLVER: stopped (required number of steps done)\n";
  EXPECT_EQ(output, expected);
}

// On the check-only toy every strategy is the same, so a measurement has
// exploitability 0 exactly, which meets the default accuracy of 0.
TEST_F(DriverRunTest, TheReportBlockAndTheAccuracyStop) {
  Build({"0 0"});
  MeasurementPeriod = 1;
  SolverAccuracy = 0.0;
  const std::string output = Go("go 10 steps");
  EXPECT_EQ(Context().iteration, 1);
  const std::string head = "SOLVER: started\nSOLVER:\nrunning time: ";
  ASSERT_EQ(output.substr(0, head.size()), head) << output;
  const size_t timeEnd = output.find('\n', head.size());
  EXPECT_GE(std::stod(output.substr(head.size(), timeEnd - head.size())), 0.0);
  EXPECT_EQ(output.substr(timeEnd + 1),
            "EV OOP: 100.000\nEV IP: 0.000\nOOP's MES: 100.000\nIP's MES: 0.000\nExploitable for: 0.000\nEND\n"
            "SOLVER: stopped (required accuracy reached)\n");
}

// One line per report under --compactmsg, the verbose line after it, and
// the gaps: the first report on the first multiple of the period, then
// 250 ms apart while the run is under four periods, 500 ms after.
TEST_F(DriverRunTest, CompactVerboseReportsKeepTheirGaps) {
  Build({"0 0", "50 50"});
  CompactMessages = true;
  Verbosity = 1;
  MeasurementPeriod = 1;
  Context().iterationCap = INT_MAX;
  // go's own "[go 2 threads]" is flushed while the thread prints: drop it.
  std::istringstream output(Go("go 1 seconds"));
  std::stringstream lines;
  for (std::string line; std::getline(output, line);)
    if (line.rfind("[go ", 0) != 0) lines << line << '\n';
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "SOLVER: started");
  std::vector<double> times;
  std::vector<int> iterations;
  int peak = -1;
  while (std::getline(lines, line) && line.rfind("SOLVER: stopped", 0) != 0) {
    double t, evOop, evIp, mesOop, mesIp, exploitable, cpu;
    ASSERT_EQ(std::sscanf(line.c_str(),
                          "SOLVER: running time: %lf EV OOP: %lf EV IP: %lf OOP's MES: %lf IP's MES: %lf "
                          "Exploitable for: %lf",
                          &t, &evOop, &evIp, &mesOop, &mesIp, &exploitable),
              6)
        << line;
    EXPECT_NEAR(evOop + evIp, 100.0, 0.0015);
    EXPECT_NEAR(exploitable, (mesOop - evOop + mesIp - evIp) / 2, 0.002);
    EXPECT_NEAR(t * 1000.0, std::round(t * 1000.0), 1e-6);  // whole milliseconds
    times.push_back(t);
    int iteration = 0;
    ASSERT_TRUE(std::getline(lines, line));
    ASSERT_EQ(std::sscanf(line.c_str(), "[%d iterations | cpu time %lfs | peak working set %d MB]", &iteration, &cpu,
                          &peak),
              3)
        << line;
    iterations.push_back(iteration);
  }
  EXPECT_EQ(line, "SOLVER: stopped (timeout reached)");
  ASSERT_GE(times.size(), 2u);
  EXPECT_EQ(iterations[0], 1);
  EXPECT_GE(times[1] - times[0], 0.250 - 1e-9);
  for (size_t i = 2; i < times.size(); ++i) EXPECT_GE(times[i] - times[i - 1], 0.500 - 1e-9);
  for (size_t i = 1; i < iterations.size(); ++i) EXPECT_GT(iterations[i], iterations[i - 1]);

  char expected[32];
  std::snprintf(expected, sizeof expected, "%f", times.back());
  EXPECT_EQ(Variables.Get("running_time"), expected);
  EXPECT_EQ(Variables.Get("peak_working_set"), std::to_string(peak));
}

// The measurement itself shows in the transcripts. A forgotten tree can't
// be reached from the shell without a failed rebuild: it keeps what was
// measured at the same iteration, and go refuses it.
TEST_F(DriverRunTest, AnIncompleteTreeKeepsItsResultsAndRefusesGo) {
  Build({"0 0", "50 50"});
  SolverContext& context = Context();
  CalcResults(context);
  context.flags |= IncompleteTreeFlag;
  context.evOop = 1.0;
  EXPECT_EQ(CalcResults(context).evOop, 1.0);
  EXPECT_EQ(GoError("go 5"), "ERROR: go incomplete tree\n");
  // A complete one measures every time; raw values count from half the pot.
  context.flags &= ~IncompleteTreeFlag;
  EXPECT_NEAR(CalcResults(context).evOop, 62.5, 1e-4);
}

}  // namespace
