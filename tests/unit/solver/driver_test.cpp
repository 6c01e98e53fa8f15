// The solver thread against the shell: go, stop, queries and waits in any
// order must leave the solver idle after a wait, never lose a stop line,
// never move the iteration count backwards, and never deadlock.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "shell/execute.h"
#include "shell/output.h"
#include "shell/shell_state.h"
#include "shell/tokenize.h"
#include "solver/solver_control.h"
#include "solver_test_util.h"

namespace {

// A deadlock between the shell and the solver would hang the test binary
// when it runs outside ctest; this turns it into an abort with a message.
class Watchdog {
 public:
  explicit Watchdog(std::chrono::seconds limit)
      : thread_([this, limit] {
          std::unique_lock<std::mutex> lock(mutex_);
          if (!done_.wait_for(lock, limit, [this] { return finished_; })) {
            std::fprintf(stderr, "driver test: no progress for %lld s, deadlock\n", (long long)limit.count());
            std::abort();
          }
        }) {}
  ~Watchdog() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      finished_ = true;
    }
    done_.notify_one();
    thread_.join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  bool finished_ = false;
  std::thread thread_;
};

int CountLines(const std::string& text, const std::string& prefix) {
  std::istringstream in(text);
  std::string line;
  int count = 0;
  while (std::getline(in, line))
    if (line.rfind(prefix, 0) == 0) ++count;
  return count;
}

void Send(const std::string& line) {
  ExecuteCommand(Tokenize(line));
  FlushReply();
}

class DriverTest : public SolverFixture {
 protected:
  void TearDown() override {
    RequestSolverStop();
    WaitForSolver();
    SolverFixture::TearDown();
  }

  ScopedValue<RelaxedSetting<double>> accuracy_{SolverAccuracy};
  ScopedValue<RelaxedSetting<int>> period_{MeasurementPeriod};

  // A turn spot: slow enough per iteration that a run is still going when
  // the next command comes, small enough for a sanitizer build.
  static void BuildTurnSpot() {
    // Every fourth hand of the public order for OOP, every fifth for IP.
    SetRanges([](int player, int combo) {
      return ComboToHandOrder[size_t(combo)] % (player == 0 ? 4 : 5) == 0 ? 1.0 : 0.0;
    });
    BuildSpot("Qs Jh 2h", "8d", "",
              {"0 0 0 0", "0 0 0 50 50", "0 0 50 50", "0 50 50 50 50", "0 50 50 50 100 100", "0 50 50 100 100",
               "50 50 50 50", "50 50 50 100 100", "50 50 100 100"});
    Send("set_info_freq 7");
    // Never stop on accuracy, not even at an exploitability of exactly 0:
    // only the commands and the iteration cap end a run.
    SolverAccuracy = -1.0;
  }
};

TEST_F(DriverTest, InterleavedCommandsLeaveTheSolverIdleAfterAWait) {
  Watchdog watchdog(std::chrono::seconds(60));
  BuildTurnSpot();
  ASSERT_NE(GlobalContext, nullptr);
  ASSERT_FALSE(SolverIsRunning());
  // The solver thread writes to the same descriptor, so its messages are
  // captured too and can be counted.
  testing::internal::CaptureStdout();

  const std::vector<std::string> ops = {"go",          "go 3 steps",     "go 0 steps",      "go 60 seconds",
                                        "calc_results", "show_node r:0", "node_count",      "stop",
                                        "take_a_break 0", "wait_for_solver"};
  std::mt19937 random(20201114);
  int32_t lastIteration = Context().iteration;
  for (int round = 0; round < 20; ++round) {
    // A run without a step limit ends only when asked, so a wait_for_solver
    // after it would hang the test rather than find a fault.
    bool openEnded = false;
    const int length = 3 + int(random() % 6);
    for (int k = 0; k < length; ++k) {
      const std::string& op = ops[random() % ops.size()];
      if (op == "wait_for_solver" && openEnded) Send("stop");
      if (op == "stop" || op == "take_a_break 0" || op == "wait_for_solver") openEnded = false;
      if ((op == "go" || op == "go 60 seconds") && !SolverIsRunning()) openEnded = true;
      Send(op);
    }
    if (openEnded) Send("stop");
    WaitForSolver();
    EXPECT_FALSE(SolverIsRunning()) << "round " << round;
    EXPECT_GE(Context().iteration, lastIteration) << "round " << round;
    lastIteration = Context().iteration;
  }

  // From idle, a step limit counts from where the run starts.
  const int32_t before = Context().iteration;
  Send("go 3 steps");
  Send("wait_for_solver");
  EXPECT_FALSE(SolverIsRunning());
  EXPECT_EQ(Context().iteration, before + 3);

  const std::string text = testing::internal::GetCapturedStdout();
  // Every run that started printed its stop line before the wait returned.
  const int started = CountLines(text, "SOLVER: started");
  EXPECT_GT(started, 0);
  EXPECT_EQ(CountLines(text, "SOLVER: stopped"), started);
  EXPECT_EQ(CountLines(text, "ERROR:") - CountLines(text, "ERROR: go Can't do that when solver is running"), 0);
  if (HasFailure()) std::fprintf(stderr, "%s", text.c_str());
}

}  // namespace
