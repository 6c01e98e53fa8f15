#include "tree/tree_file.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "eval/rule_settings.h"
#include "setup/console.h"
#include "setup/failure.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "storage/row_block.h"
#include "storage/tree_stream.h"
#include "tree/schematic_tree.h"
#include "tree/solver_context.h"

namespace {

constexpr char Magic[4] = {'A', 'I', '6', ':'};
constexpr int ComboCount = 1326;

// Versions that changed the form of what follows them.
constexpr int32_t FloatChanceVersion = 2;      // chance arrays as floats, not doubles
constexpr int32_t ForgottenTablesVersion = 3;  // tables of forgotten streets left out
constexpr int32_t CompactVersion = 4;          // valueless byte, compact records, values and strategy rows after the nodes
constexpr int32_t InfoLinesVersion = 7;
constexpr int32_t RuleBytesVersion = 8;

// Chance reach sums are kept in 16 bits as x / 150.
constexpr float ReachScale = 150.0f;
// Stored values are kept to a hundredth of a chip, the strategies above a
// forgotten street in thousandths.
constexpr float ValueStep = 0.01f;
constexpr float StrategyTotal = 1000.0f;

// A line longer than this is no betting a client can write; the bound keeps
// a hostile nesting from exhausting the stack.
constexpr int MaxLineDepth = 256;
constexpr uint64_t SchematicRecordBytes = 4 * 4 + 8 + 2 * 8 + 4;

constexpr CardMask DeckMask = (CardMask(1) << 52) - 1;

template <typename T>
T Get(TreeReader& in, const char* what) {
  T value{};
  if (!in.ReadValue(value)) RefuseTreeFile(in, what);
  return value;
}

double GetFinite(TreeReader& in, const char* what) {
  const double value = Get<double>(in, what);
  if (!std::isfinite(value)) RefuseTreeFile(in, what);
  return value;
}

// Amounts of the lines are whole chips as add_line reads them: within 32
// bits, never negative.
bool IsChipAmount(double amount) { return amount >= 0.0 && amount <= 2147483647.0; }

void ReadSchematicNode(TreeReader& in, SchematicNode& node, int depth) {
  if (depth > MaxLineDepth) RefuseTreeFile(in, "lines too deep");
  node.player = Get<int32_t>(in, "lines");
  node.street = Get<int32_t>(in, "lines");
  node.raises = Get<int32_t>(in, "lines");
  node.index = Get<int32_t>(in, "lines");
  node.amount = GetFinite(in, "lines");
  node.paid[0] = GetFinite(in, "lines");
  node.paid[1] = GetFinite(in, "lines");
  const int32_t childCount = Get<int32_t>(in, "lines");
  if (node.player < 0 || node.player > 1 || node.street < 0 || node.street > 3 || node.raises < 0 ||
      node.raises > MaxLineDepth || !IsChipAmount(node.amount) || !IsChipAmount(node.paid[0]) ||
      !IsChipAmount(node.paid[1]))
    RefuseTreeFile(in, "lines");
  if (childCount < 1) return;
  if (uint64_t(childCount) > in.Remaining() / (sizeof(double) + SchematicRecordBytes))
    RefuseTreeFile(in, "lines child count");
  for (int32_t i = 0; i < childCount; ++i) {
    const double key = GetFinite(in, "lines");
    if (key != FoldKey && !IsChipAmount(key)) RefuseTreeFile(in, "lines key");
    auto child = std::make_unique<SchematicNode>();
    child->parent = &node;
    SchematicNode& placed = *child;
    if (!node.children.emplace(key, std::move(child)).second) RefuseTreeFile(in, "lines key repeated");
    ReadSchematicNode(in, placed, depth + 1);
  }
}

void WriteSchematicNode(TreeWriter& out, const SchematicNode& node) {
  out.WriteValue(node.player);
  out.WriteValue(node.street);
  out.WriteValue(node.raises);
  out.WriteValue(node.index);
  out.WriteValue(node.amount);
  out.WriteValue(node.paid[0]);
  out.WriteValue(node.paid[1]);
  out.WriteValue(int32_t(node.children.size()));
  for (const auto& [key, child] : node.children) {
    out.WriteValue(key);
    WriteSchematicNode(out, *child);
  }
}

// A node's chance table stands in the file unless its street was forgotten
// (files from before that rule keep them all).
bool TableKept(const TreeNode& node, int32_t forgottenStreet, int32_t version) {
  return node.chance && (forgottenStreet < 0 || node.street <= forgottenStreet || version < ForgottenTablesVersion);
}

// Hands of the list a record's vectors lie on: the board before the deal.
// Slots of turns the tree doesn't deal hold nothing.
int32_t RecordHands(const SolverContext& context, const TreeNode& node, int slot) {
  const BoardTree& boards = *context.boardTree;
  if (node.street == 2) return int32_t(boards.hands.size());
  return size_t(slot) < boards.turns.size() ? boards.turns[size_t(slot)].HandCount() : 0;
}

// A vector of a record: its count must be nothing or the list's hands.
int32_t RecordCount(TreeReader& in, int32_t hands) {
  const int32_t count = Get<int32_t>(in, "chance record");
  if (count != 0 && count != hands) RefuseTreeFile(in, "chance record count");
  return count;
}

// The forms before the compact one: a count and that many doubles (below
// version 2) or floats, all six vectors of the record.
void ReadFullChanceVector(TreeReader& in, FloatVec& vector, int32_t hands, bool negativeAllowed) {
  const int32_t count = RecordCount(in, hands);
  if (count == 0) {
    ReleaseVector(vector);
    vector.count = 0;
    return;
  }
  ResizeVector(vector, count);
  for (int32_t i = 0; i < count; ++i) {
    float value;
    if (in.formatVersion < FloatChanceVersion)
      value = float(Get<double>(in, "chance record"));
    else
      value = Get<float>(in, "chance record");
    if (!std::isfinite(value) || (!negativeAllowed && value < 0.0f)) RefuseTreeFile(in, "chance record value");
    vector.data[i] = value;
  }
}

void ReadChanceRecord(TreeReader& in, ChanceRecord& record, int32_t hands) {
  if (in.formatVersion < CompactVersion) {
    for (FloatVec& sum : record.reachSum) ReadFullChanceVector(in, sum, hands, false);
    for (FloatVec* values : {record.storedValueA, record.storedValueB})
      for (int p = 0; p < 2; ++p) ReadFullChanceVector(in, values[p], hands, true);
  } else {
    for (uint8_t& absent : record.reachSumAbsent) absent = Get<uint8_t>(in, "chance record") != 0;
    for (int p = 0; p < 2; ++p) {
      if (record.reachSumAbsent[p]) continue;
      const int32_t count = RecordCount(in, hands);
      FloatVec& sum = record.reachSum[p];
      if (count == 0) {
        ReleaseVector(sum);
        sum.count = 0;
        continue;
      }
      int16_t stored[ComboCount];
      if (!in.Read(stored, size_t(count) * sizeof(int16_t))) RefuseTreeFile(in, "chance record");
      ResizeVector(sum, count);
      for (int32_t i = 0; i < count; ++i) {
        if (stored[i] < 0) RefuseTreeFile(in, "chance record value");
        sum.data[i] = float(stored[i]) / ReachScale;
      }
    }
  }
  record.frozen = Get<uint8_t>(in, "chance record") != 0;
  record.resolvedCards = Get<uint64_t>(in, "chance record");
  if (record.resolvedCards & ~DeckMask) RefuseTreeFile(in, "chance record cards");
}

// The stored values of a record in the order the file holds them.
std::array<FloatVec*, 4> StoredValues(ChanceRecord& record) {
  return {&record.storedValueA[0], &record.storedValueA[1], &record.storedValueB[0], &record.storedValueB[1]};
}

// Reports "#progress N" as the node data is read, to a client that asked
// for notifications.
class Progress {
 public:
  explicit Progress(size_t total) : total_(total), on_(UiNotifications) {}
  void After(size_t position) {
    if (!on_) return;
    const double share = std::clamp(100.0 * double(position + 1) / double(total_), 0.0, 100.0);
    const int percent = int(share);
    if (percent > last_) {
      last_ = percent;
      PrintNow("#progress %d\n", percent);
    }
  }
  void Finish() {
    if (on_ && last_ < 100) PrintNow("#progress 100\n");
  }

 private:
  size_t total_;
  bool on_;
  int last_ = -1;
};

uint32_t ZigZag(int32_t n) { return (uint32_t(n) << 1) ^ uint32_t(n >> 31); }
int32_t UnZigZag(uint32_t u) { return int32_t(u >> 1) ^ -int32_t(u & 1); }

// Hundredths of a chip, rounded to the nearest and held within 32 bits.
int32_t Hundredths(float value) {
  const double n = std::nearbyint(double(value) / double(ValueStep));
  if (!(n >= -2147483647.0)) return -2147483647;
  return n > 2147483647.0 ? 2147483647 : int32_t(n);
}

// The 16-bit reach of a record. Sums the solver accumulated grow with the
// iterations far past 16 bits; what a re-solve takes from them is their
// proportions, so a vector whose largest entry doesn't fit is scaled down
// as a whole until it does, and rounded to the nearest step.
void WriteReachSum(TreeWriter& out, const FloatVec& sum) {
  out.WriteValue(sum.data ? sum.count : int32_t(0));
  if (!sum.data) return;
  float largest = 0.0f;
  for (int32_t i = 0; i < sum.count; ++i) largest = std::max(largest, sum.data[i]);
  const float top = 32767.0f / ReachScale;
  const double scale = largest > top ? double(top) / double(largest) : 1.0;
  int16_t stored[ComboCount];
  for (int32_t i = 0; i < sum.count; ++i) {
    const double x = std::nearbyint(double(sum.data[i]) * scale * ReachScale);
    stored[i] = int16_t(std::clamp(x, 0.0, 32767.0));
  }
  out.Write(stored, size_t(sum.count) * sizeof(int16_t));
}

// The boards of a node that the strategy rows stand for: the one flop board,
// or each dealt turn.
int BoardCount(const SolverContext& context, const TreeNode& node) {
  return node.street == 1 ? 1 : int(context.boardTree->turns.size());
}
int32_t BoardHands(const SolverContext& context, const TreeNode& node, int board) {
  return node.street == 1 ? int32_t(context.boardTree->hands.size())
                          : context.boardTree->turns[size_t(board)].HandCount();
}
bool HasStrategyRows(const TreeNode& node, int32_t forgottenStreet) {
  return node.store0 && node.street < forgottenStreet;
}

// A chance record in the form of the version: the compact one with its
// absent bytes, or before it all six vectors in full.
void WriteChanceRecord(TreeWriter& out, const ChanceRecord& record, int32_t version, bool keepResolved) {
  if (version >= CompactVersion) {
    out.Write(record.reachSumAbsent, sizeof record.reachSumAbsent);
    for (int p = 0; p < 2; ++p)
      if (!record.reachSumAbsent[p]) WriteReachSum(out, record.reachSum[p]);
  } else {
    const FloatVec* vectors[6] = {&record.reachSum[0],     &record.reachSum[1],     &record.storedValueA[0],
                                  &record.storedValueA[1], &record.storedValueB[0], &record.storedValueB[1]};
    for (const FloatVec* vector : vectors) {
      const int32_t count = vector->data ? vector->count : 0;
      out.WriteValue(count);
      for (int32_t i = 0; i < count; ++i)
        if (version < FloatChanceVersion)
          out.WriteValue(double(vector->data[i]));
        else
          out.WriteValue(vector->data[i]);
    }
  }
  out.WriteValue(record.frozen);
  out.WriteValue(keepResolved ? record.resolvedCards : uint64_t(0));
}

}  // namespace

void RefuseTreeFile(const TreeReader& in, const char* what) {
  if (in.ReadErrno()) throw std::runtime_error(std::string("can't read from file (") + std::strerror(in.ReadErrno()) + ")");
  if (in.RanPastEnd()) throw std::runtime_error("can't read from file (the file ends too early)");
  throw CommandFailure(std::string("damaged file: ") + what);
}

TreeFileHead ReadTreeFileHead(TreeReader& in) {
  TreeFileHead head;
  char magic[4] = {};
  if (!in.Read(magic, sizeof magic)) RefuseTreeFile(in, "magic");
  if (std::memcmp(magic, Magic, sizeof magic) != 0) throw CommandFailure("invalid file");
  head.version = Get<int32_t>(in, "version");
  if (head.version > TreeFileVersion) throw CommandFailure("unsupported data format, update to latest version");
  if (head.version < 1) RefuseTreeFile(in, "version");
  in.formatVersion = head.version;
  if (head.version >= CompactVersion) head.valueless = Get<uint8_t>(in, "header") != 0;

  if (head.version >= RuleBytesVersion) {
    uint8_t rules[RuleSettingBytes];
    if (!in.Read(rules, sizeof rules)) RefuseTreeFile(in, "rule settings");
    if (!LoadRuleSettings(rules)) RefuseTreeFile(in, "rule settings");
  } else {
    LoadRuleSettings(nullptr);
  }

  BoardCards board;
  board.flop = Get<CardMask>(in, "board");
  board.turn = Get<CardMask>(in, "board");
  board.river = Get<CardMask>(in, "board");
  if ((board.flop | board.turn | board.river) & ~DeckMask) RefuseTreeFile(in, "board");
  InputBoard = board;

  double pot[3];
  for (double& value : pot) {
    value = GetFinite(in, "pot");
    if (std::fabs(value) > 2147483647.0) RefuseTreeFile(in, "pot");
  }
  SetPot(pot[0], pot[1], pot[2]);

  // Weights as set_range takes them: finite and not negative.
  for (std::vector<double>& range : Ranges) {
    std::vector<double> weights(ComboCount);
    if (!in.Read(weights.data(), ComboCount * sizeof(double))) RefuseTreeFile(in, "ranges");
    for (double w : weights)
      if (!std::isfinite(w) || w < 0.0) RefuseTreeFile(in, "ranges");
    range = std::move(weights);
  }

  ClearLines();
  ReadSchematicNode(in, *SchematicRoot, 0);
  return head;
}

TreeFileState ReadTreeFileState(TreeReader& in) {
  TreeFileState state;
  state.treeFlags = Get<uint32_t>(in, "tree flags");
  if (state.treeFlags & ~(IncompleteTreeFlag | IsomorphismOnFlag | NewTreeFlag)) RefuseTreeFile(in, "tree flags");
  state.forgottenStreet = Get<int32_t>(in, "forgotten street");
  // Only the turn and the river can be forgotten; 4 stands for nothing.
  if (state.forgottenStreet < -1 || state.forgottenStreet > 4 || state.forgottenStreet == 0 ||
      state.forgottenStreet == 1)
    RefuseTreeFile(in, "forgotten street");
  // A file holds no stores of forgotten streets, whatever its flags say.
  if (state.forgottenStreet == 2 || state.forgottenStreet == 3) state.treeFlags |= IncompleteTreeFlag;
  state.resultsIteration = Get<int32_t>(in, "results");
  state.mesOop = GetFinite(in, "results");
  state.evOop = GetFinite(in, "results");
  state.mesIp = GetFinite(in, "results");
  state.evIp = GetFinite(in, "results");
  state.meanEv = GetFinite(in, "results");
  state.exploitability = GetFinite(in, "results");
  state.compression = Get<int32_t>(in, "compression");
  if (state.compression < 0 || state.compression > 5) RefuseTreeFile(in, "compression");
  state.iteration = Get<int32_t>(in, "iteration");
  // Far beyond any iteration cap, and far from overflowing a count.
  constexpr int32_t MaxIteration = 1 << 24;
  if (state.iteration < 0 || state.iteration > MaxIteration || state.resultsIteration < -1 ||
      state.resultsIteration > MaxIteration)
    RefuseTreeFile(in, "iteration");
  return state;
}

void ReadNodeData(SolverContext& context, TreeReader& in, bool valueless) {
  const int32_t version = in.formatVersion;
  const int32_t forgotten = context.forgottenStreet;
  std::vector<TreeNode>& nodes = context.nodes;
  Progress progress(nodes.size());

  for (size_t i = 0; i < nodes.size(); ++i) {
    TreeNode& node = nodes[i];
    if (TableKept(node, forgotten, version))
      for (int r = 0; r < node.chanceCount; ++r)
        ReadChanceRecord(in, node.chance[size_t(r)], RecordHands(context, node, r));
    // The stores of a forgotten street aren't in the file, whatever its
    // records say was solved.
    if (forgotten >= 0 && node.street >= forgotten)
      for (int r = 0; r < node.chanceCount; ++r) node.chance[size_t(r)].resolvedCards = 0;
    if (forgotten < 0 || version < CompactVersion) {
      if (node.store0 && !node.store0->Load(in)) RefuseTreeFile(in, "strategy store");
      if (node.store1 && !node.store1->Load(in)) RefuseTreeFile(in, "strategy store");
    }
    progress.After(i);
  }

  if (version >= CompactVersion) {
    for (TreeNode& node : nodes) {
      if (!TableKept(node, forgotten, version)) continue;
      for (int r = 0; r < node.chanceCount; ++r) {
        const int32_t hands = RecordHands(context, node, r);
        for (FloatVec* values : StoredValues(node.chance[size_t(r)])) {
          const int32_t count = RecordCount(in, hands);
          if (count)
            ZeroVector(*values, count);
          else
            ReleaseVector(*values), values->count = 0;
        }
      }
    }
    if (!valueless) {
      RowBlockReader block(in);
      if (!block.Ok()) RefuseTreeFile(in, "row block");
      uint32_t symbols[MaxRowCount];
      for (TreeNode& node : nodes) {
        if (!TableKept(node, forgotten, version)) continue;
        for (int r = 0; r < node.chanceCount; ++r)
          // An empty vector has its row too: a row of no numbers.
          for (FloatVec* values : StoredValues(node.chance[size_t(r)])) {
            if (!block.Row32(symbols, values->data ? values->count : 0)) RefuseTreeFile(in, "row block data");
            if (!values->data) continue;
            for (int32_t h = 0; h < values->count; ++h) values->data[h] = float(UnZigZag(symbols[h])) * ValueStep;
          }
      }
    }
    if (forgotten >= 0) {
      RowBlockReader block(in);
      if (!block.Ok()) RefuseTreeFile(in, "row block");
      uint16_t thousandths[MaxRowCount];
      float implied[MaxRowCount], row[MaxRowCount];
      for (TreeNode& node : nodes) {
        if (!HasStrategyRows(node, forgotten)) continue;
        const int actions = node.ActionCount();
        for (int board = 0; board < BoardCount(context, node); ++board) {
          const int32_t hands = BoardHands(context, node, board);
          std::fill_n(implied, hands, StrategyTotal);
          for (int a = 0; a + 1 < actions; ++a) {
            if (!block.Row16(thousandths, hands)) RefuseTreeFile(in, "row block data");
            for (int32_t h = 0; h < hands; ++h) {
              row[h] = float(thousandths[h]);
              implied[h] -= row[h];
            }
            node.store0->SetRow(board, 0, a, row);
          }
          for (int32_t h = 0; h < hands; ++h) implied[h] = std::max(implied[h], 0.0f);
          node.store0->SetRow(board, 0, actions - 1, implied);
        }
      }
    }
  }
  progress.Finish();
}

std::vector<std::string> ReadInfoLines(TreeReader& in) {
  std::vector<std::string> lines;
  const int32_t count = Get<int32_t>(in, "info lines");
  if (count < 1) return lines;
  if (uint64_t(count) > in.Remaining() / sizeof(int32_t)) RefuseTreeFile(in, "info line count");
  for (int32_t i = 0; i < count; ++i) {
    const int32_t length = Get<int32_t>(in, "info lines");
    if (length < 0 || uint64_t(length) > in.Remaining()) RefuseTreeFile(in, "info line length");
    std::string line(size_t(length), '\0');
    if (length && !in.Read(line.data(), size_t(length))) RefuseTreeFile(in, "info lines");
    lines.push_back(std::move(line));
  }
  return lines;
}

bool WriteTreeFile(SolverContext& context, TreeWriter& out, const std::vector<std::string>& infoLines,
                   AverageStrategyReader averageStrategy) {
  const int32_t version = context.formatVersion;
  // Streets that were forgotten and then rebuilt hold stores again, and
  // the file keeps them as a whole tree's.
  const int32_t forgotten = (context.flags & IncompleteTreeFlag) ? context.forgottenStreet : -1;
  const bool valueless = context.valueless != 0 && version >= CompactVersion;
  out.formatVersion = version;
  out.Write(Magic, sizeof Magic);
  out.WriteValue(version);
  if (version >= CompactVersion) out.WriteValue(uint8_t(valueless));
  if (version >= RuleBytesVersion) {
    const std::array<uint8_t, RuleSettingBytes> rules = SaveRuleSettings();
    out.Write(rules.data(), rules.size());
  }
  out.WriteValue(TreeBoard.flop);
  out.WriteValue(TreeBoard.turn);
  out.WriteValue(TreeBoard.river);
  out.Write(context.potValues.data(), sizeof context.potValues);
  for (const std::vector<double>& range : context.comboWeights) out.Write(range.data(), range.size() * sizeof(double));
  WriteSchematicNode(out, *context.lines);

  out.WriteValue(uint32_t(context.flags));
  out.WriteValue(forgotten);
  out.WriteValue(context.resultsIteration);
  for (double value : {context.mesOop, context.evOop, context.mesIp, context.evIp, context.meanEv,
                       context.exploitability})
    out.WriteValue(value);
  out.WriteValue(int32_t(ActualCompression));
  out.WriteValue(context.iteration);

  for (TreeNode& node : context.nodes) {
    // Boards solved on demand keep their rows in memory only: the file
    // doesn't mark them done.
    const bool keepResolved = forgotten < 0 || node.street < forgotten;
    if (TableKept(node, forgotten, version))
      for (int r = 0; r < node.chanceCount; ++r)
        WriteChanceRecord(out, node.chance[size_t(r)], version, keepResolved);
    if ((forgotten < 0 || version < CompactVersion) && keepResolved) {
      if (node.store0) node.store0->Save(out);
      if (node.store1) node.store1->Save(out);
    }
  }

  if (version >= CompactVersion) {
    // The stored values: their counts, then their rows of zigzag hundredths.
    for (TreeNode& node : context.nodes) {
      if (!TableKept(node, forgotten, version)) continue;
      for (int r = 0; r < node.chanceCount; ++r)
        for (FloatVec* values : StoredValues(node.chance[size_t(r)]))
          out.WriteValue(values->data ? values->count : int32_t(0));
    }
    if (!valueless) {
      RowBlockWriter block(out);
      uint32_t symbols[MaxRowCount];
      for (TreeNode& node : context.nodes) {
        if (!TableKept(node, forgotten, version)) continue;
        for (int r = 0; r < node.chanceCount; ++r)
          for (FloatVec* values : StoredValues(node.chance[size_t(r)])) {
            const int32_t count = values->data ? values->count : 0;
            for (int32_t h = 0; h < count; ++h) symbols[h] = ZigZag(Hundredths(values->data[h]));
            block.Row32(symbols, count);
          }
      }
    }

    // The strategy above the forgotten street, as a query shows
    // it, in thousandths rounded to the nearest, the last action implied.
    if (forgotten >= 0) {
      RowBlockWriter block(out);
      uint16_t thousandths[MaxRowCount];
      std::vector<FloatVec> rows;
      for (TreeNode& node : context.nodes) {
        if (!HasStrategyRows(node, forgotten)) continue;
        const int actions = node.ActionCount();
        rows.resize(size_t(actions));
        for (int board = 0; board < BoardCount(context, node); ++board) {
          const int32_t hands = BoardHands(context, node, board);
          averageStrategy(context, node, node.street == 1 ? -1 : board, hands, rows.data());
          for (int a = 0; a + 1 < actions; ++a) {
            const FloatVec& row = rows[size_t(a)];
            for (int32_t h = 0; h < hands; ++h) {
              const float p = row.data ? row.data[h] : 0.0f;
              thousandths[h] = uint16_t(std::clamp(std::nearbyint(p * StrategyTotal), 0.0f, StrategyTotal));
            }
            block.Row16(thousandths, hands);
          }
        }
      }
      for (FloatVec& row : rows) ReleaseVector(row);
    }
  }

  if (version >= InfoLinesVersion) {
    out.WriteValue(int32_t(infoLines.size()));
    for (const std::string& line : infoLines) {
      out.WriteValue(int32_t(line.size()));
      out.Write(line.data(), line.size());
    }
  }
  return out.Good();
}
