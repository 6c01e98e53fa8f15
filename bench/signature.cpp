// The signature: one number that moves when, and only when, what a client
// reads from a solve moves.
//
// A change that promises to keep behaviour has far too many numbers behind
// it to compare by eye. So this program solves a few small spots a fixed
// number of iterations, reads back through the commands a client uses every
// strategy row of every decision it reaches, EVs of both players at the
// first two decisions of each street, and the results, and folds the text of
// all those replies into one 64-bit FNV-1a hash. It hashes the text as printed, not
// numbers rounded to fewer digits: replies are what must stay byte for byte,
// and rounding would only hide a change that happens to stay below the cut.
//
// That needs a solve that is exact from run to run, so everything that
// depends on the machine or the clock is fixed: one thread (the merges of
// parallel jobs follow their finishing order), no measurement during a run
// (the driver measures at iterations chosen by elapsed time; measuring
// writes nothing today, but the signature shouldn't rest on that), the "fast"
// compression level (the automatic level follows free memory) and no
// 512-bit loops (not every processor has them). The other settings keep
// their defaults on purpose: a change of a default changes what users get.
//
// usage: signature [spots directory]; prints "Signature: N" and nothing
// else on the standard output, the time of each spot on the standard error.
#include <pmmintrin.h>
#include <unistd.h>
#include <xmmintrin.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "eval/hand_tables.h"
#include "setup/cards.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/tokenize.h"

namespace {

// Replies are read back from a temporary file that stands in for the
// standard output: the handlers print only through it, and this way the
// hash sees exactly the bytes a client would.
class ReplyCapture {
 public:
  ReplyCapture() {
    std::fflush(stdout);
    console_ = dup(STDOUT_FILENO);
    std::FILE* file = std::tmpfile();
    if (!file || console_ < 0) Fail("can't capture the standard output");
    file_ = fileno(file);
    dup2(file_, STDOUT_FILENO);
  }

  // Gives the standard output back for the one line of the result.
  void Release() {
    std::fflush(stdout);
    dup2(console_, STDOUT_FILENO);
    close(console_);
  }

  // Runs one command line and returns its reply. Any "ERROR" ends the
  // program: a hash of error lines would be a signature of nothing.
  std::string Run(const std::string& line) {
    ExecuteCommand(Tokenize(line));
    FlushReply();
    std::fflush(stdout);
    const off_t length = lseek(file_, 0, SEEK_END);
    std::string reply(size_t(length), '\0');
    if (length > 0 && pread(file_, reply.data(), reply.size(), 0) != length) Fail("can't read a reply back");
    // fd 1 shares the file offset with file_, so both start over.
    if (ftruncate(file_, 0) != 0 || lseek(file_, 0, SEEK_SET) != 0) Fail("can't reuse the capture file");
    if (reply.find("ERROR") != std::string::npos) Fail((line.substr(0, 80) + ": " + reply).c_str());
    return reply;
  }

  [[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "signature: %s\n", what);
    std::exit(1);
  }

 private:
  int console_ = -1;
  int file_ = -1;
};

class Fnv1a {
 public:
  void Add(const std::string& text) {
    for (unsigned char c : text) value_ = (value_ ^ c) * 0x100000001b3ull;
    // A separator, so that moving text from one reply to the next counts.
    value_ = (value_ ^ 0xff) * 0x100000001b3ull;
  }
  uint64_t Value() const { return value_; }

 private:
  uint64_t value_ = 0xcbf29ce484222325ull;
};

struct Spot {
  const char* script;
  // Commands between the script's build_tree and the solve (the locks).
  std::vector<std::string> beforeSolve;
  int steps;
  // The cards the walk takes at each deal, in street order; an empty list
  // takes every card. A flop would take too long with every card.
  std::vector<std::vector<std::string>> deals;
};

// 1326 numbers in hand order, different for each action, none negative;
// rows that don't sum to one are fine, regret matching reads the ratios.
std::string FixedRow(int action) {
  std::string row;
  for (int hand = 0; hand < 1326; ++hand) row += ' ' + std::to_string((hand * 7 + action * 3) % 5);
  return row;
}

std::string FixedMask() {
  std::string mask;
  for (int hand = 0; hand < 1326; ++hand) mask += hand % 3 == 0 ? " 1" : " 0";
  return mask;
}

std::vector<Spot> Spots() {
  std::vector<Spot> spots;
  spots.push_back({"river_qsjh2h_spr2.txt", {}, 300, {}});
  std::vector<std::string> locks;
  // OOP's first decision fixed for the whole node, and a third of IP's hands
  // fixed facing a check: both kinds of lock, both players.
  for (int action = 0; action < 3; ++action)
    locks.push_back("set_strategy r:0 " + std::to_string(action) + FixedRow(action));
  locks.push_back("lock_node r:0");
  for (int action = 0; action < 3; ++action)
    locks.push_back("set_strategy r:0:c " + std::to_string(action) + FixedRow(action + 3));
  locks.push_back("combo_lock_node r:0:c" + FixedMask());
  spots.push_back({"river_qsjh2h_spr2.txt", locks, 300, {}});
  spots.push_back({"turn_qsjh2h_spr2.txt", {}, 100, {{}}});
  // Ten iterations take a few seconds; they end long before the strategy
  // sums start, which the spots above pass. The turn cards pair the board,
  // bring a third heart or an overcard; the rivers likewise.
  spots.push_back({"flop_qsjh2h_spr2.txt", {}, 10, {{"Kd", "2c", "5h"}, {"As", "Jd", "4h"}}});
  return spots;
}

struct Place {
  std::string path, kind;
};

// What a walk read, for the report on the standard error.
struct WalkCounts {
  int strategies = 0, evs = 0;
};

// The places show_children lists below a path, each with its kind word.
std::vector<Place> Children(ReplyCapture& capture, Fnv1a& hash, const std::string& path) {
  const std::string reply = capture.Run("show_children " + path);
  hash.Add(reply);
  std::vector<Place> places;
  std::istringstream lines(reply);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind("child ", 0) != 0) continue;
    Place place;
    std::getline(lines, place.path);
    std::getline(lines, place.kind);
    places.push_back(place);
  }
  return places;
}

// Actions taken since the root or the last dealt card.
int ActionsSinceDeal(const std::string& path) {
  int actions = 0;
  for (size_t colon = path.rfind(':'); colon != std::string::npos && colon > 1; colon = path.rfind(':', colon - 1)) {
    const std::string token = path.substr(colon + 1, path.find(':', colon + 1) - colon - 1);
    if (token.size() == 2 && token[0] != 'b') break;
    ++actions;
  }
  return actions;
}

// Depth first from the root: every decision's strategy, and EVs of both
// players at the first two decisions of each street, where a refactor of the
// reach walk down a line and across a deal would show. `dealt` counts the
// deals on the way down.
void Walk(ReplyCapture& capture, Fnv1a& hash, const Spot& spot, const Place& place, size_t dealt, WalkCounts& counts) {
  if (place.kind == "OOP_DEC" || place.kind == "IP_DEC") {
    hash.Add(capture.Run("show_strategy " + place.path));
    ++counts.strategies;
    if (ActionsSinceDeal(place.path) <= 1) {
      hash.Add(capture.Run("calc_ev OOP " + place.path));
      hash.Add(capture.Run("calc_ev IP " + place.path));
      counts.evs += 2;
    }
  }
  if (place.kind == "END_NODE") return;
  const bool split = place.kind == "SPLIT_NODE";
  for (const Place& child : Children(capture, hash, place.path)) {
    if (split && dealt < spot.deals.size() && !spot.deals[dealt].empty()) {
      const std::string card = child.path.substr(child.path.rfind(':') + 1);
      bool chosen = false;
      for (const std::string& wanted : spot.deals[dealt]) chosen |= wanted == card;
      if (!chosen) continue;
    }
    Walk(capture, hash, spot, child, dealt + (split ? 1 : 0), counts);
  }
}

// The spot scripts sit beside this file; a build directory can lie anywhere.
std::string SpotsDirectory(int argc, char** argv) {
  if (argc > 1) return argv[1];
  return KESTRUNE_SIGNATURE_SPOTS;
}

}  // namespace

int main(int argc, char** argv) {
  // As the program itself does: denormal floats flushed to zero change the
  // numbers, so the signature must run with the same mode.
  _mm_setcsr(_mm_getcsr() | _MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON);
  InitHandTables();
  BuildHandTables();
  const std::string spotsDirectory = SpotsDirectory(argc, argv);

  ReplyCapture capture;
  Fnv1a hash;
  const auto start = std::chrono::steady_clock::now();
  for (const Spot& spot : Spots()) {
    const auto spotStart = std::chrono::steady_clock::now();
    for (const char* setting :
         {"set_threads 1", "set_info_freq 1000000000", "set_accuracy 0", "set_compression fast", "enable_avx512 0"})
      capture.Run(setting);
    capture.Run("load_script " + spotsDirectory + "/" + spot.script);
    for (const std::string& command : spot.beforeSolve) capture.Run(command);
    capture.Run("go " + std::to_string(spot.steps) + " steps");
    capture.Run("wait_for_solver");
    const double solveSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - spotStart).count();

    hash.Add(spot.script);
    hash.Add(capture.Run("calc_results"));
    // The variables carry the results with more digits than the reply.
    for (const char* name : {"solver_ev_oop", "solver_ev_ip", "solver_mes_oop", "solver_mes_ip",
                             "solver_exploitability", "solver_iterations"})
      hash.Add(capture.Run(std::string("get_value ") + name));
    if (!spot.beforeSolve.empty()) hash.Add(capture.Run("show_locked_combos r:0:c"));
    WalkCounts counts;
    Walk(capture, hash, spot, {"r:0", "OOP_DEC"}, 0, counts);
    capture.Run("free_tree");
    std::fprintf(stderr, "%-22s %-6s %3d steps  %5d strategies %4d EVs  solve %6.2f s  total %6.2f s\n", spot.script,
                 spot.beforeSolve.empty() ? "" : "locked", spot.steps, counts.strategies, counts.evs, solveSeconds,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - spotStart).count());
  }
  capture.Release();
  std::fprintf(stderr, "total %.2f s\n",
               std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  std::printf("Signature: %" PRIu64 "\n", hash.Value());
  return 0;
}
