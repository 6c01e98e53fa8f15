// A seeded storm: commands in random order through ExecuteCommand, as the
// main thread runs them, while the solver thread works beside it. Built
// under ThreadSanitizer it finds data races between the command thread, the
// solver thread and the solver's team; built without, it still finds
// crashes and hangs. The same seed gives the same command sequence (not the
// same interleaving).
//
//   kestrune_storm SEED COMMANDS SPOT_DIR [--print]
//
// SPOT_DIR holds river_qsjh2h_spr2.txt and turn_qsjh2h_spr2.txt. Replies go
// to /dev/null unless --print is given. The exit status is 0 when every
// command came back and the solver ended when asked to.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "eval/hand_tables.h"
#include "setup/cards.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/tokenize.h"
#include "solver/solver_control.h"

namespace {

struct Spot {
  std::string name;
  std::vector<std::string> lines;  // the spot's commands, build_tree last
  std::vector<std::string> paths;  // decision nodes, some with a card to deal
  std::vector<std::string> cards;  // cards that can come, and one that can't
};

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    std::fprintf(stderr, "storm: cannot read %s\n", path.c_str());
    std::exit(2);
  }
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  return lines;
}

std::vector<Spot> LoadSpots(const std::string& dir) {
  Spot river;
  river.name = "river";
  river.lines = ReadLines(dir + "/river_qsjh2h_spr2.txt");
  river.paths = {"r:0", "r:0:c", "r:0:b50", "r:0:b100", "r:0:c:b50", "r:0:b50:b200", "r:0:c:b100"};
  Spot turn;
  turn.name = "turn";
  turn.lines = ReadLines(dir + "/turn_qsjh2h_spr2.txt");
  turn.paths = {"r:0", "r:0:c", "r:0:b50", "r:0:c:b50", "r:0:c:c:CARD", "r:0:c:c:CARD:c", "r:0:b50:c:CARD",
                "r:0:b50:c:CARD:b50", "r:0:c:b100:c:CARD"};
  turn.cards = {"3c", "Kd", "2c", "Ah", "9h", "Qs"};  // Qs is on the board
  return {river, turn};
}

class Storm {
 public:
  Storm(uint64_t seed, const std::vector<Spot>& spots) : random_(seed), spots_(spots) {}

  int Run(long commands) {
    Build(Pick(spots_.size()), true);
    for (long i = 0; i < commands; ++i) Step();
    Send("stop");
    Send("wait_for_solver");
    if (SolverIsRunning()) {
      std::fprintf(stderr, "storm: the solver still runs after stop and wait_for_solver\n");
      return 1;
    }
    Send("free_tree");
    return 0;
  }

  long sent = 0;

 private:
  size_t Pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random_); }
  int Between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  bool Chance(double p) { return std::bernoulli_distribution(p)(random_); }
  template <class T>
  const T& OneOf(const std::vector<T>& items) {
    return items[Pick(items.size())];
  }

  void Send(const std::string& line) {
    ExecuteCommand(Tokenize(line));
    FlushReply();
    ++sent;
  }

  // A build is refused while the solver runs; most builds stop it first so
  // that trees are made afresh often, the rest are refused or not as the
  // solver's timing has it. Only the main thread starts the solver, so a
  // solver idle before the lines stays idle through them.
  void Build(size_t spot, bool stopFirst) {
    if (stopFirst) {
      Send("stop");
      Send("wait_for_solver");
    }
    const bool idle = !SolverIsRunning();
    for (const std::string& line : spots_[spot].lines) Send(line);
    if (idle) current_ = spot;
  }

  std::string Path() {
    const Spot& spot = spots_[current_];
    std::string path = OneOf(spot.paths);
    const size_t at = path.find("CARD");
    if (at != std::string::npos) path.replace(at, 4, OneOf(spot.cards));
    return path;
  }

  std::string Numbers() {
    // Mostly a flat row, sometimes one that varies by hand.
    const bool flat = Chance(0.5);
    const double value = Between(0, 4) / 4.0;
    std::string text;
    for (int i = 0; i < 1326; ++i) {
      text += ' ';
      text += std::to_string(flat ? value : double((i * 7 + Between(0, 3)) % 5) / 4.0);
    }
    return text;
  }

  std::string Player() { return Chance(0.5) ? "OOP" : "IP"; }

  void Step() {
    const int kind = Between(0, 99);
    if (kind < 14) {
      if (Chance(0.8))
        Send("go " + std::to_string(Between(0, 3)) + " steps");
      else
        Send("go 1 seconds");
    } else if (kind < 20) {
      Send("stop");
    } else if (kind < 22) {
      Send("take_a_break 0");
    } else if (kind < 26) {
      Send("wait_for_solver");
    } else if (kind < 56) {
      Query();
    } else if (kind < 66) {
      Lock();
    } else if (kind < 69) {
      Build(Pick(spots_.size()), Chance(0.7));
    } else if (kind < 70) {
      if (Chance(0.5))
        Send("free_tree");
      else
        TreeFile();
    } else {
      Setting();
    }
  }

  // A dump or load is refused while the solver runs; one that goes
  // through writes or replaces the tree under the queries that follow.
  void TreeFile() {
    const bool idle = !SolverIsRunning();
    if (Chance(0.5)) {
      Send("dump_tree " + file_);
      if (idle) dumped_ = current_;
    } else {
      Send("load_tree " + file_);
      if (idle) current_ = dumped_;
    }
  }

  void Query() {
    switch (Between(0, 10)) {
      case 0: Send("calc_results"); break;
      case 1: Send("show_strategy " + Path()); break;
      case 2: Send("show_strategy_pp " + Path()); break;
      case 3: Send("calc_ev " + Player() + " " + Path()); break;
      case 4: Send("calc_ev_pp " + Player() + " " + Path()); break;
      case 5: Send("show_range " + Player() + " " + Path()); break;
      case 6: Send("calc_line_freq " + Path()); break;
      case 7: Send("calc_eq_node " + Player() + " " + Path()); break;
      case 8: Send("show_node " + Path()); break;
      case 9: Send("show_probs " + Path()); break;
      default: Send("is_ready"); break;
    }
  }

  void Lock() {
    switch (Between(0, 3)) {
      case 0: Send("lock_node " + Path()); break;
      case 1: Send("unlock_node " + Path()); break;
      case 2: Send("set_strategy " + Path() + " " + std::to_string(Between(0, 2)) + Numbers()); break;
      default: Send("combo_lock_node " + Path() + Numbers()); break;
    }
  }

  void Setting() {
    static const char* const levels[] = {"auto", "none", "low", "medium", "high", "max", "fast"};
    switch (Between(0, 10)) {
      case 0: Send("set_threads " + std::to_string(Between(0, 3))); break;
      case 1: Send("set_info_freq " + std::to_string(Between(1, 3))); break;
      case 2: Send("set_pot 0 0 " + std::to_string(Chance(0.5) ? 100 : 200)); break;
      case 3: Send(Chance(0.5) ? "set_accuracy 0.5" : "set_accuracy 0.01 fraction"); break;
      case 4: Send(std::string("enable_ui_notifications ") + (Chance(0.5) ? "1" : "0")); break;
      case 5: Send(std::string("enable_river_strategy ") + (Chance(0.5) ? "1" : "0")); break;
      case 6: Send("set_simd_level " + std::to_string(Between(1, 8))); break;
      case 7: Send(Chance(0.5) ? "set_precision 0" : "set_precision 1"); break;
      case 8: Send(std::string("enable_adaptive_precision ") + (Chance(0.5) ? "1" : "0")); break;
      // Blocks of compressed river rows are opened by passes and commands on
      // several threads at once.
      case 9: Send(std::string("set_compression ") + levels[Between(0, 6)]); break;
      default: Send(std::string("enable_avx512 ") + (Chance(0.5) ? "1" : "0")); break;
    }
  }

  std::mt19937_64 random_;
  const std::vector<Spot>& spots_;
  size_t current_ = 0;
  size_t dumped_ = 0;
  std::string file_ = "/tmp/kestrune_storm_" + std::to_string(getpid()) + ".tree";

 public:
  ~Storm() {
    std::remove(file_.c_str());
    std::remove((file_ + ".partial").c_str());
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: kestrune_storm SEED COMMANDS SPOT_DIR [--print]\n");
    return 2;
  }
  const uint64_t seed = std::strtoull(argv[1], nullptr, 10);
  const long commands = std::strtol(argv[2], nullptr, 10);
  const std::vector<Spot> spots = LoadSpots(argv[3]);
  const bool print = argc > 4 && std::string(argv[4]) == "--print";
  if (!print) {
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) dup2(null, STDOUT_FILENO);
  }
  InitHandTables();
  BuildHandTables();

  const auto start = std::chrono::steady_clock::now();
  Storm storm(seed, spots);
  const int status = storm.Run(commands);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::fprintf(stderr, "storm: seed %llu, %ld commands in %.1f s\n", (unsigned long long)seed, storm.sent, seconds);
  return status;
}
