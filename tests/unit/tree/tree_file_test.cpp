// Tree files against damage: every refusal leaves no tree and no crash, and
// a file the reader accepts gives a tree that queries and solves safely.
// The round trips of good files run as whole processes (tests/tree_file).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "../setup/setup_test_util.h"
#include "../solver/solver_test_util.h"
#include "setup/console.h"
#include "shell/shell_commands.h"
#include "storage/tree_stream.h"
#include "tree/global_context.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Where the fixed-size head of a file ends and the lines begin: magic,
// version, valueless, rule bytes, three boards, the pot, two ranges.
constexpr size_t LinesOffset = 4 + 4 + 1 + 11 + 3 * 8 + 3 * 8 + 2 * 1326 * 8;
// The child count of the root's lines record.
constexpr size_t RootChildCountOffset = LinesOffset + 4 * 4 + 3 * 8;

class TreeFileTest : public SolverFixture {
 protected:
  void TearDown() override {
    std::remove(path_.c_str());
    SolverFixture::TearDown();
  }

  // A small river spot with bets and raises, solved a few steps, as a file.
  Bytes SolvedRiverFile() {
    ExecuteCommand({"load_script", SourcePath("tests/protocol/data/tree_small_ranges.txt")});
    BuildSpot("Qs Jh 2h", "8d", "3c", {"0 0", "0 50 50", "0 50 150 150", "50 50", "50 200 200"});
    return DumpAfter(8);
  }

  Bytes DumpAfter(int steps) {
    ExecuteCommand({"go", std::to_string(steps), "steps"});
    ExecuteCommand({"wait_for_solver"});
    ExecuteCommand({"dump_tree", path_});
    DiscardReply();
    std::ifstream file(path_, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
  }

  // "" for a file that loads, else the refusal; a refused load leaves
  // no tree, as load_tree does.
  static std::string Load(const Bytes& bytes, size_t size) {
    TreeReader in(bytes.data(), size);
    try {
      LoadTreeFrom(in);
      return "";
    } catch (const CommandFailure& failure) {
      FreeTree();
      return std::string("ERROR ") + failure.what();
    } catch (const std::runtime_error& error) {
      FreeTree();
      return error.what();
    }
  }

  // What a user does with a tree that loaded: none of it may crash.
  static void UseTree() {
    for (const Tokens& tokens : {Tokens{"calc_results"}, Tokens{"show_strategy", "r:0"}, Tokens{"calc_ev", "OOP", "r"},
                                 Tokens{"go", "2", "steps"}, Tokens{"wait_for_solver"}})
      ExecuteCommand(tokens);
    DiscardReply();
  }

  // One file per process: CTest runs the cases of a suite side by side.
  std::string path_ = testing::TempDir() + "tree_file_test_" + std::to_string(getpid()) + ".tree";
};

TEST_F(TreeFileTest, EveryTruncationIsRefusedAsAnEarlyEnd) {
  const Bytes file = SolvedRiverFile();
  ASSERT_GT(file.size(), LinesOffset + 1000);
  ASSERT_EQ(Load(file, file.size()), "");
  // Inside the ranges one cut in 61 is enough: they are plain doubles.
  for (size_t size = 0; size < file.size(); size += size < 64 || size >= LinesOffset ? 1 : 61) {
    const std::string refusal = Load(file, size);
    ASSERT_TRUE(refusal.starts_with("can't read from file (") || refusal.starts_with("ERROR damaged file"))
        << size << ": " << refusal;
    ASSERT_EQ(GlobalContext, nullptr);
  }
}

TEST_F(TreeFileTest, FlippedBitsAreRefusedOrGiveAWorkingTree) {
  const Bytes file = SolvedRiverFile();
  std::mt19937 random(5);
  int refused = 0;
  constexpr int Trials = 300;
  for (int trial = 0; trial < Trials; ++trial) {
    Bytes damaged = file;
    // Half the flips after the ranges, where the structure is.
    const size_t from = trial % 2 ? LinesOffset : 0;
    const size_t at = from + random() % (file.size() - from);
    damaged[at] ^= uint8_t(1u << (random() % 8));
    if (Load(damaged, damaged.size()).empty())
      UseTree();
    else
      ++refused;
  }
  // Flips in float rows and weights may well load; flips in the structure
  // must not, so a reader that accepts everything fails here.
  EXPECT_GT(refused, Trials / 10);
}

TEST_F(TreeFileTest, HeaderAndCountRefusals) {
  const Bytes file = SolvedRiverFile();
  auto with = [&](size_t at, auto value) {
    Bytes damaged = file;
    std::memcpy(damaged.data() + at, &value, sizeof value);
    return Load(damaged, damaged.size());
  };
  EXPECT_EQ(with(4, int32_t(11)), "ERROR unsupported data format, update to latest version");
  EXPECT_EQ(with(4, int32_t(10)), "");
  EXPECT_EQ(with(0, char('B')), "ERROR invalid file");
  EXPECT_EQ(with(4, int32_t(0)), "ERROR damaged file: version");
  EXPECT_EQ(with(9, uint8_t(5)), "ERROR damaged file: rule settings");          // a low card of 7
  EXPECT_EQ(with(13, uint8_t(9)), "ERROR damaged file: rule settings");         // a tenth hand type
  EXPECT_EQ(with(20, uint64_t(1) << 60), "ERROR damaged file: board");          // a card past the deck
  EXPECT_EQ(with(RootChildCountOffset, int32_t(0x7fffffff)), "ERROR damaged file: lines child count");
  // The info line count stands last: no lines were added.
  EXPECT_EQ(with(file.size() - 4, int32_t(0x7fffffff)), "ERROR damaged file: info line count");
  Bytes longer = file;
  longer.push_back(0);
  EXPECT_EQ(Load(longer, longer.size()), "ERROR damaged file: bytes after the end");
}

TEST_F(TreeFileTest, ARefusedFileLeavesNoTreeAndTheShellGoesOn) {
  Bytes file = SolvedRiverFile();
  file.resize(file.size() / 2);
  {
    std::ofstream out(path_, std::ios::binary);
    out.write(reinterpret_cast<const char*>(file.data()), std::streamsize(file.size()));
  }
  testing::internal::CaptureStdout();
  ExecuteCommand({"load_tree", path_});
  ExecuteCommand({"show_strategy", "r"});
  ExecuteCommand({"load_tree", path_ + ".missing"});
  FlushReply();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "can't read from file (the file ends too early)\n"
            "ERROR: show_strategy missing/incorrect tree\n"
            "can't open file (No such file or directory)\n");
}

TEST_F(TreeFileTest, IsomorphismSettingsMustBeThoseOfTheFile) {
  ScopedValue<bool> flop(IsomorphismFlopRoots, true), turn(IsomorphismTurnRoots, true);
  RunScript(SourcePath("tests/fuzz/turn_spot.txt"));
  ASSERT_TRUE(Context().flags & IsomorphismOnFlag);
  const Bytes file = DumpAfter(2);
  IsomorphismTurnRoots = false;
  EXPECT_EQ(Load(file, file.size()),
            "ERROR the file was made with suit isomorphism on; set_isomorphism as then");
  IsomorphismTurnRoots = true;
  EXPECT_EQ(Load(file, file.size()), "");
}

TEST_F(TreeFileTest, ProgressIsReportedToClientsThatAskForIt) {
  const Bytes file = SolvedRiverFile();
  ScopedValue<RelaxedSetting<bool>> notify(UiNotifications, true);
  testing::internal::CaptureStdout();
  ASSERT_EQ(Load(file, file.size()), "");
  std::string printed = testing::internal::GetCapturedStdout();
  // Rising whole percentages, the last 100, and nothing else.
  int last = -1;
  for (size_t at = 0; at < printed.size();) {
    int percent = -1, length = 0;
    ASSERT_EQ(std::sscanf(printed.c_str() + at, "#progress %d\n%n", &percent, &length), 1) << printed;
    EXPECT_GT(percent, last);
    last = percent;
    at += size_t(length);
  }
  EXPECT_EQ(last, 100);
  UiNotifications = false;
  testing::internal::CaptureStdout();
  ASSERT_EQ(Load(file, file.size()), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
