// Tree files of the older format versions load and answer as the file
// says. Each test builds a small spot through the commands, writes a file
// of some older version for it with the test-side writer (numbers by
// formula), loads it into a fresh state and compares strategies, chance
// records, results, rules and info lines with what the formulas give.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "legacy_tree_writer.h"
#include "../analysis/reply_parsing.h"
#include "eval/rule_settings.h"
#include "tree/node_path.h"

namespace {

using legacy::NodeShape;

double OopRange(int player, int combo) {
  if (player == 0) return ClassWeight(combo, {{"AA", 1.0}, {"KQ", 1.0}});
  return ClassWeight(combo, {{"KK", 1.0}, {"AJ", 0.5}, {"T9", 1.0}});
}

// Flush and full house exchanged: a flush then has type field 6.
const std::array<uint8_t, 9> SwappedOrder = {0, 1, 2, 3, 4, 6, 5, 7, 8};

class TreeFileVersions : public SolverFixture {
 protected:
  void SetUp() override {
    SolverFixture::SetUp();
    IsomorphismFlopRoots = false;
    IsomorphismTurnRoots = false;
    path_ = testing::TempDir() + "kestrune_legacy_" + std::to_string(getpid()) + ".tree";
  }
  void TearDown() override {
    std::remove(path_.c_str());
    ResetRuleSettings();
    TreeInfoLines.clear();
    SolverFixture::TearDown();
  }

  void Build(const char* turn, const char* river, const std::vector<const char*>& lines) {
    SetRanges(OopRange);
    BuildSpot("Qs Jh 8h", turn, river, lines);
  }
  void BuildFlop() { Build("", "", {"0 0 0 0 0 0", "50 50 50 50 50 50", "0 0 50 50 50 50", "0 0 0 0 50 50"}); }

  static std::string Reply(const Tokens& tokens) {
    testing::internal::CaptureStdout();
    ExecuteCommand(tokens);
    FlushReply();
    return testing::internal::GetCapturedStdout();
  }

  // Writes the file for the spot built last, then loads it where another
  // spot is set, no tree is and an info line is left, with default rules
  // or, with swappedRulesBefore, others.
  void Load(const legacy::File& file, bool swappedRulesBefore = false) {
    spot_ = legacy::TakeSpot(Context());
    file_ = file;
    const std::vector<uint8_t> bytes = legacy::Writer(spot_, file_).Write();
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    FreeTree();
    ClearLines();
    SetBoard("2c 3c 4c");
    SetRanges([](int, int) { return 1.0; });
    PotValues[2] = 8.0;
    Reply({"add_info_line", "left from before"});
    ResetRuleSettings();
    if (swappedRulesBefore) {
      ApplyHandTypeOrder(SwappedOrder);
      lowCard = 1;
      mustUseHoleCards = 2;
    }
    ASSERT_EQ(Reply({"load_tree", path_}), "load_tree ok!\n");
    ASSERT_NE(GlobalContext, nullptr);
    EXPECT_EQ(Context().formatVersion, file.version);
    EXPECT_EQ(Context().iteration, file.iteration);
    EXPECT_EQ(Context().forgottenStreet, file.forgottenStreet);
  }

  // The strategy the stores of the file give: regret matching on the
  // regrets, from 63 iterations the sums where a hand has any.
  double StoredShare(int n, int g, int s, int a, int i) const {
    const NodeShape& node = spot_.nodes[size_t(n)];
    const bool oldSums = node.street == 3 && legacy::SumForm(spot_, file_) == legacy::RiverForm::Sum;
    auto share = [&](int store) {
      const bool empty = store == 0 || !oldSums || file_.emptySumHands;
      double sum = 0.0;
      for (int b = 0; b < node.actions; ++b) sum += legacy::StoreUnits(store, n, g, s, b, i, empty);
      return sum > 0.0 ? legacy::StoreUnits(store, n, g, s, a, i, empty) / sum : -1.0;
    };
    const double current = share(0) >= 0.0 ? share(0) : 1.0 / node.actions;
    if (file_.iteration < 63 || !node.hasSums) return current;
    return share(1) >= 0.0 ? share(1) : current;
  }
  // Where the rows come from: the stores' forms, or the thousandths that
  // stand for the streets above a forgotten one.
  enum Rows { FromStores, FromThousandths };

  // show_strategy at each path against the share of each hand of the
  // node's board: 0 off the board's list and outside the actor's range.
  void ExpectStrategies(std::initializer_list<const char*> paths, Rows rows) {
    for (const char* path : paths) {
      SCOPED_TRACE(path);
      const NodePath place = ParsePath(path);
      const int n = place.node->index;
      const NodeShape& node = spot_.nodes[size_t(n)];
      const int g = node.street >= 2 ? spot_.cardToTurn[size_t(place.turn)] : 0;
      const int s = node.street == 3 ? spot_.cardToRiver[size_t(g)][size_t(place.river)] : 0;
      const std::vector<int>& combos = spot_.Combos(node.street, g, s);
      const std::vector<std::string> lines = Lines(Reply({"show_strategy", path}));
      ASSERT_EQ(int(lines.size()), node.actions + 1);
      for (int a = 0; a < node.actions; ++a) {
        std::vector<double> expected(HandCount, 0.0);
        for (size_t i = 0; i < combos.size(); ++i)
          if (spot_.ranges[size_t(node.player)][size_t(combos[i])] != 0.0)
            expected[size_t(combos[i])] = rows == FromStores
                                              ? StoredShare(n, g, s, a, int(i))
                                              : legacy::ThousandthShare(n, g, a, node.actions, int(i));
        const std::vector<double> got = ByCombo(lines[size_t(a)]);
        for (int c = 0; c < HandCount; ++c)
          ASSERT_NEAR(got[size_t(c)], expected[size_t(c)], 2e-6) << "action " << a << " combo " << c;
      }
    }
  }

  // Where the loader fills an absent reach sum: the range times the
  // player's own thousandths on the way down to the record's deal point.
  double BoundaryReach(int n, int record, int player, int combo) const {
    double reach = float(spot_.ranges[size_t(player)][size_t(combo)]);
    for (int child = n, d = spot_.nodes[size_t(n)].parent; d >= 0; child = d, d = spot_.nodes[size_t(d)].parent) {
      const NodeShape& node = spot_.nodes[size_t(d)];
      if (node.player != player) continue;
      const int g = node.street == 2 ? record : 0;
      const std::vector<int>& combos = spot_.Combos(node.street, g, 0);
      const int i = int(std::find(combos.begin(), combos.end(), combo) - combos.begin());
      reach *= legacy::ThousandthShare(d, g, spot_.nodes[size_t(child)].childIndex, node.actions, i);
    }
    return reach;
  }

  // Absent reach sums at the deal points of the forgotten street are those
  // of the walk down the strategies; elsewhere nothing fills them.
  void ExpectChanceRecords() {
    const bool forgotten = file_.forgottenStreet >= 0;
    for (size_t n = 0; n < spot_.nodes.size(); ++n) {
      const NodeShape& node = spot_.nodes[n];
      if (node.chanceCount == 0) continue;
      if (forgotten && node.street > file_.forgottenStreet && file_.version >= 3) continue;
      ASSERT_EQ(Context().nodes[n].chanceCount, node.chanceCount);
      for (int r = 0; r < node.chanceCount; ++r) {
        SCOPED_TRACE("node " + std::to_string(n) + " record " + std::to_string(r));
        const ChanceRecord& record = Context().nodes[n].chance[size_t(r)];
        const std::vector<int>& combos = spot_.PreDealCombos(node.street, r);
        const int hands = int(combos.size());
        EXPECT_EQ(record.frozen, legacy::Frozen(r));
        // A forgotten street's boards solved in memory went with its stores,
        // which no file holds: none reads as done after a load.
        const bool storesInFile = !forgotten || node.street < file_.forgottenStreet;
        EXPECT_EQ(record.resolvedCards, storesInFile ? legacy::ResolvedCards(int(n), r) : 0u);
        for (int p = 0; p < 2; ++p) {
          const bool absent = file_.version >= 4 && legacy::ReachAbsent(int(n), r, p);
          if (file_.version >= 4) {
            EXPECT_EQ(record.reachSumAbsent[p], uint8_t(absent));
          }
          if (absent && node.street != file_.forgottenStreet) continue;
          ASSERT_EQ(record.reachSum[p].count, hands) << "player " << p;
          for (int i = 0; i < hands; ++i) {
            const double want = absent ? BoundaryReach(int(n), r, p, combos[size_t(i)])
                                       : float(legacy::ReachUnits(int(n), r, p, i)) / 150.0;
            ASSERT_NEAR(Value(record.reachSum[p], i), want, 1e-5 * (1.0 + want)) << "player " << p << " hand " << i;
          }
        }
        const FloatVec* stored[4] = {&record.storedValueA[0], &record.storedValueA[1], &record.storedValueB[0],
                                     &record.storedValueB[1]};
        for (int v = 0; v < 4; ++v) {
          ASSERT_EQ(stored[v]->count, hands);
          for (int i = 0; i < hands; ++i) {
            const double want = file_.valueless ? 0.0 : legacy::Hundredths(int(n), r, v, i) * 0.01;
            ASSERT_NEAR(Value(*stored[v], i), want, 1e-5) << "vector " << v << " hand " << i;
          }
        }
      }
    }
  }
  static double Value(const FloatVec& v, int i) { return v.data ? v.data[i] : 0.0; }

  void ExpectInfoLines() {
    std::string want;
    if (file_.version >= 7)
      for (const std::string& line : file_.infoLines) want += line + "\n";
    EXPECT_EQ(Reply({"show_tree_info"}), want + "END\n");
  }

  legacy::File FileOf(int version) const {
    legacy::File file;
    file.version = version;
    file.infoLines = {"spot Qs Jh 8h", "#kept for the client"};
    return file;
  }

  std::string path_;
  legacy::Spot spot_;
  legacy::File file_;
};

// A flop spot at every older version, at compression 0 (float sums) and 5
// (16-bit sums of the older form, one group of them 24 bits wide): 16-bit
// river regrets raw below version 4 and packed from it, scales from 9,
// chance records in doubles, floats and 16-bit units. Version 8 and up
// carry rules the spot was built under; older files reset rules set before.
class FlopVersions : public TreeFileVersions, public testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(FlopVersions, LoadsAndAnswersAsTheFileSays) {
  const auto [version, compression] = GetParam();
  const bool rules = version >= 8;
  if (rules) {
    ApplyHandTypeOrder(SwappedOrder);
    lowCard = 1;
    mustUseHoleCards = 1;
  }
  BuildFlop();
  legacy::File file = FileOf(version);
  file.compression = compression;
  file.iteration = version % 2 ? 10 : 100;
  // The rule files hold no values: the turns a short deck doesn't deal
  // leave empty vectors, which have a test of their own.
  file.valueless = version == 5 || rules;
  file.valueMode = version == 6 || version == 8 ? 1 : 0;
  file.valueCodec = uint8_t(version % 3);
  if (rules) {
    file.lowCard = 1;
    file.mustUseHoleCards = 1;
    file.handTypeOrder = SwappedOrder;
  }
  Load(file, !rules);
  ASSERT_FALSE(HasFatalFailure());

  ExpectStrategies({"r:0", "r:0:b50", "r:0:c:c:3c", "r:0:c:c:Kd:b50", "r:0:c:c:3c:c:c:7d", "r:0:c:c:Ad:c:c:9s:b50",
                    "r:0:b50:c:Td:c:c:4s"},
                   FromStores);
  ExpectChanceRecords();
  ExpectInfoLines();
  // The rules: a low straight of a deck from the three, and a flush above
  // a full house; the defaults where the file has no rule bytes.
  const std::string straight = Reply({"eval_hand", "Ah3d4c5s6h"}), flush = Reply({"eval_hand", "AsKs9s5s3s"});
  EXPECT_EQ(straight.find("04030000") != std::string::npos, rules) << straight;
  EXPECT_NE(flush.find(rules ? "| 06" : "| 05"), std::string::npos) << flush;
  EXPECT_NE(flush.find("flush"), std::string::npos);
  EXPECT_EQ(mustUseHoleCards, rules ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Legacy, FlopVersions, testing::Combine(testing::Range(1, 10), testing::Values(0, 5)),
                         [](const auto& info) {
                           return "Version" + std::to_string(std::get<0>(info.param)) + "Level" +
                                  std::to_string(std::get<1>(info.param));
                         });

// Trees rooted later: on the turn the river regrets are 16-bit below
// version 5 and floats from it, whatever level the file names; a river
// root has float stores at every version.
class LaterRoots : public TreeFileVersions, public testing::WithParamInterface<std::tuple<bool, int>> {};

TEST_P(LaterRoots, LoadAndAnswer) {
  const auto [river, version] = GetParam();
  if (river)
    Build("3c", "7d", {"0 0", "50 50", "0 50 50"});
  else
    Build("3c", "", {"0 0 0 0", "50 50 50 50", "0 0 50 50"});
  legacy::File file = FileOf(version);
  file.compression = 5;
  file.iteration = 100;
  Load(file);
  ASSERT_FALSE(HasFatalFailure());
  if (river)
    ExpectStrategies({"r:0", "r:0:c", "r:0:b50"}, FromStores);
  else
    ExpectStrategies({"r:0", "r:0:c", "r:0:c:c:7d", "r:0:b50:c:Ad", "r:0:c:c:Ks:b50"}, FromStores);
  ExpectChanceRecords();
  ExpectInfoLines();
}

INSTANTIATE_TEST_SUITE_P(Legacy, LaterRoots,
                         testing::Values(std::tuple(false, 4), std::tuple(false, 5), std::tuple(true, 3),
                                         std::tuple(true, 9)),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param) ? "River" : "Turn") + "Version" +
                                  std::to_string(std::get<1>(info.param));
                         });

// Forgotten streets. From version 4 the file has no store forms: the
// strategy above the forgotten street stands as thousandths with the last
// action implied, and absent reach sums are walked down from them. Below
// version 4 the stores of the streets kept stand beside the chance tables,
// and from 3 the chance tables of forgotten streets are left out. Stream
// blocks carry the values by codec ids 0, 1 and 2; from version 6 rows may
// be packed.
struct ForgottenCase {
  int version, street;
  bool valueless;
  uint8_t valueMode, valueCodec, strategyMode;
};

class ForgottenStreets : public TreeFileVersions, public testing::WithParamInterface<ForgottenCase> {};

TEST_P(ForgottenStreets, LoadAndAnswer) {
  const ForgottenCase c = GetParam();
  BuildFlop();
  legacy::File file = FileOf(c.version);
  file.forgottenStreet = c.street;
  file.treeFlags = IncompleteTreeFlag;
  file.iteration = file.resultsIteration = 100;
  const double results[6] = {51.25, -3.5, 12.125, 2.75, -0.375, 7.25};
  std::copy(results, results + 6, file.results);
  file.valueless = c.valueless;
  file.valueMode = c.valueMode;
  file.valueCodec = c.valueCodec;
  file.strategyMode = c.strategyMode;
  Load(file);
  ASSERT_FALSE(HasFatalFailure());

  const Rows share = c.version >= 4 ? FromThousandths : FromStores;
  ExpectStrategies({"r:0", "r:0:b50", "r:0:c"}, share);
  if (c.street == 3) ExpectStrategies({"r:0:c:c:3c", "r:0:c:c:Kd:b50", "r:0:b50:c:Td"}, share);
  ExpectChanceRecords();
  ExpectInfoLines();
  // The results of the header stand for the tree's iteration: half the
  // file's pot of 100 is added to EV and MES.
  char want[256];
  std::snprintf(want, sizeof want, "EV OOP: %.3f\nEV IP: %.3f\nOOP's MES: %.3f\nIP's MES: %.3f\n", 50 + results[1],
                50 + results[3], 50 + results[0], 50 + results[2]);
  EXPECT_EQ(Reply({"calc_results"}), std::string(want) + "Exploitable for: 7.250\nEND\ncalc_results ok!\n");
}

INSTANTIATE_TEST_SUITE_P(Legacy, ForgottenStreets,
                         testing::Values(ForgottenCase{2, 2, false, 0, 2, 0}, ForgottenCase{3, 2, false, 0, 2, 0},
                                         ForgottenCase{4, 3, false, 0, RangeCodecId, 0},
                                         ForgottenCase{5, 3, true, 0, 2, 0},
                                         ForgottenCase{6, 3, false, 1, 2, 1},
                                         ForgottenCase{7, 2, false, 0, BitCodecId, 1},
                                         ForgottenCase{9, 3, false, 0, StreamCodecId, 0}),
                         [](const auto& info) {
                           return "Version" + std::to_string(info.param.version) + "Street" +
                                  std::to_string(info.param.street);
                         });

// An older tree dumped loads back with the same answers, also where a new
// tree would have other river stores: a flop tree at level 5, a turn tree.
TEST_F(TreeFileVersions, OlderTreesDumpedLoadBack) {
  for (int root : {1, 2}) {
    SCOPED_TRACE(root);
    if (root == 1)
      BuildFlop();
    else
      Build("3c", "", {"0 0 0 0", "50 50 50 50", "0 0 50 50"});
    legacy::File file = FileOf(4);
    file.compression = 5;
    file.iteration = 100;
    Load(file);
    ASSERT_FALSE(HasFatalFailure());
    const std::string dump = path_ + ".dump";
    ASSERT_EQ(Reply({"dump_tree", dump}), "dump_tree ok!\n");
    const std::string reply = Reply({"load_tree", dump});
    std::remove(dump.c_str());
    EXPECT_EQ(reply, "load_tree ok!\n");
    if (reply != "load_tree ok!\n") continue;
    if (root == 1)
      ExpectStrategies({"r:0", "r:0:c:c:3c", "r:0:c:c:3c:c:c:7d", "r:0:c:c:Ad:c:c:9s:b50"}, FromStores);
    else
      ExpectStrategies({"r:0", "r:0:c:c:7d", "r:0:c:c:Ks:b50"}, FromStores);
  }
}

// Above a forgotten street EVs come from the values the file stored: a file
// that says it holds none answers an EV of 0 for every hand in range, one
// that holds values answers them.
TEST_F(TreeFileVersions, ValuelessFilesAnswerNoEvsAboveForgottenStreets) {
  for (bool valueless : {true, false}) {
    SCOPED_TRACE(valueless);
    BuildFlop();
    legacy::File file = FileOf(6);
    file.forgottenStreet = 2;
    file.treeFlags = IncompleteTreeFlag;
    file.valueless = valueless;
    Load(file);
    ASSERT_FALSE(HasFatalFailure());
    const std::vector<std::string> lines = Lines(Reply({"calc_ev", "OOP", "r:0:c"}));
    ASSERT_EQ(lines.size(), 3u);
    std::istringstream evs(lines[0]);
    int zeros = 0, numbers = 0;
    for (std::string word; evs >> word;) {
      if (word == "nan") continue;
      ++numbers;
      zeros += std::stod(word) == TotalPot() / 2;  // EVs count from the half-way split
    }
    EXPECT_GT(numbers, 0);
    EXPECT_EQ(zeros == numbers, valueless);
  }
}

// A short deck deals fewer turns than a river table has records: the
// vectors of the turns not dealt are empty, and each still has its row, in
// a row block and in a stream block.
TEST_F(TreeFileVersions, EmptyVectorsKeepTheirRows) {
  for (uint8_t mode : {0, 1}) {
    SCOPED_TRACE(int(mode));
    lowCard = 1;
    BuildFlop();
    legacy::File file = FileOf(9);
    file.lowCard = 1;
    file.valueMode = mode;
    Load(file);
    ASSERT_FALSE(HasFatalFailure());
    ExpectChanceRecords();
  }
}

// Where the 16-bit sums of the older form hold nothing for a hand, the
// average strategy is the current one there, as with every other store.
TEST_F(TreeFileVersions, OlderSumsFallBackOnTheRegrets) {
  BuildFlop();
  legacy::File file = FileOf(4);
  file.compression = 5;
  file.iteration = 100;
  file.emptySumHands = true;
  Load(file);
  ASSERT_FALSE(HasFatalFailure());
  ExpectStrategies({"r:0:c:c:3c:c:c:7d", "r:0:c:c:Ad:c:c:9s:b50"}, FromStores);
}

}  // namespace
