// A writer of tree files of the older format versions (1 to 9), so that the
// loader's tests can hand it files as older builds made them.
//
// It is written from the description of the file, not from the program's
// own writer or the stores' Save: a loader tested against its own writer
// agrees with itself whatever the format says. Only byte layouts that have
// tests of their own are borrowed: packed rows, the row codecs, lock records.
//
// The spot is taken from a tree built in-process (node order, which nodes
// deal and store, the boards and the river layouts), and every number in
// the file comes from one of the formulas below, so that a test can work
// out each answer the loader must give without reading anything back.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "memory_streams.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "storage/codecs/codec.h"
#include "storage/codecs/packed_row.h"
#include "storage/lock_record_file.h"
#include "storage/river_store.h"
#include "storage/tree_stream.h"
#include "tree/schematic_tree.h"
#include "tree/solver_context.h"

namespace legacy {

// ---- The numbers in the file ----

// Store rows: small integers, and now and then a hand with nothing in any
// action (unless emptyHands is false), whose strategy is then the
// fallback. store 0 regrets, 1 sums.
inline uint32_t StoreUnits(int store, int node, int group, int sub, int action, int hand, bool emptyHands = true) {
  if (emptyHands && (hand + node + group + sub + 4 * store) % 11 == 3) return 0;
  return 1 + uint32_t(hand * 7 + action * 5 + node * 3 + group * 2 + sub + store * 4) % 9;
}
// A wide group of a 24-bit sum store holds the same ratios above 16 bits.
inline constexpr uint32_t WideFactor = 10000;

// Chance records: reach sums as x / 150 (x fits 16 bits), stored values in
// hundredths of both signs, and which reach sums are left to the loader.
inline int ReachUnits(int node, int record, int player, int hand) {
  return (hand * 37 + record * 11 + node * 5 + player * 3) % 30000;
}
inline int Hundredths(int node, int record, int vector, int hand) {
  return (hand * 13 + record * 7 + node * 3 + vector * 29) % 601 - 300;
}
inline bool ReachAbsent(int node, int record, int player) { return (node + record + player) % 3 == 1; }
inline uint8_t Frozen(int record) { return uint8_t(record % 2); }
// One bit per dealt entry: no more than 49.
inline uint64_t ResolvedCards(int node, int record) {
  return ((0x9E3779B97F4A7C15ull >> (record % 16)) ^ uint64_t(node)) & ((uint64_t(1) << 49) - 1);
}

// The strategy above a forgotten street, in thousandths, for actions 0 to
// k - 2. They stay below 1000 together, but for some hands of two actions
// the first alone passes 1000, so that the implied last one is clamped at 0.
inline uint16_t Thousandths(int node, int group, int action, int actions, int hand) {
  if (actions == 2 && hand % 17 == 5) return 1040;
  return uint16_t((hand * 37 + node * 11 + group * 5 + action * 101) % (1000 / actions + 1));
}
// The probability the loader must make of them, k actions.
inline double ThousandthShare(int node, int group, int action, int actions, int hand) {
  double rows[64], sum = 0.0;
  double rest = 1000.0;
  for (int a = 0; a + 1 < actions; ++a) rest -= rows[a] = Thousandths(node, group, a, actions, hand);
  rows[actions - 1] = std::max(rest, 0.0);
  for (int a = 0; a < actions; ++a) sum += rows[a];
  return rows[action] / sum;
}

// ---- The spot ----

struct NodeShape {
  int street = 1;
  int player = 0;
  int parent = -1;
  int childIndex = -1;  // which action of the parent leads here
  bool end = false;
  int actions = 0;
  int chanceCount = 0;
  bool hasSums = false;  // a second store besides the regrets
  RiverLayout layout;    // river decisions
};

// What a file needs of a built tree, taken before the load replaces it.
struct Spot {
  std::vector<NodeShape> nodes;
  int rootStreet = 1;
  // Combos of each hand list: the root board, each dealt turn, each river.
  std::vector<int> rootCombos;
  std::vector<std::vector<int>> turnCombos;
  std::vector<std::vector<std::vector<int>>> riverCombos;
  std::vector<int16_t> cardToTurn;
  std::vector<std::vector<int16_t>> cardToRiver;
  // The set-up as set, and the lines as a record.
  BoardCards board;
  double pot[3] = {0.0, 0.0, 0.0};
  std::array<std::vector<double>, 2> ranges;
  std::vector<uint8_t> lines;

  // The hands of the board a node's rows lie on: group is the turn index,
  // sub the river index.
  const std::vector<int>& Combos(int street, int group, int sub) const {
    if (street == 1) return rootCombos;
    if (street == 2) return turnCombos[size_t(group)];
    return riverCombos[size_t(group)][size_t(sub)];
  }
  // The hand list a chance record's vectors lie on: the list before the
  // deal, none for a turn the tree doesn't deal.
  const std::vector<int>& PreDealCombos(int street, int record) const {
    static const std::vector<int> none;
    if (street == 2) return rootCombos;
    return size_t(record) < turnCombos.size() ? turnCombos[size_t(record)] : none;
  }
  int BoardCount(int street) const { return street == 1 ? 1 : int(turnCombos.size()); }
};

inline std::vector<int> CombosOf(const std::vector<CardMask>& hands) {
  std::vector<int> combos;
  for (CardMask hand : hands) combos.push_back(ComboIndexOf(63 - std::countl_zero(hand), std::countr_zero(hand)));
  return combos;
}

inline void PutTrie(TreeWriter& out, const SchematicNode& node) {
  out.WriteValue(node.player);
  out.WriteValue(node.street);
  out.WriteValue(node.raises);
  out.WriteValue(int32_t(-1));  // the index is the flatten pass's to write
  out.WriteValue(node.amount);
  out.WriteValue(node.paid[0]);
  out.WriteValue(node.paid[1]);
  out.WriteValue(int32_t(node.children.size()));
  for (const auto& [key, child] : node.children) {
    out.WriteValue(key);
    PutTrie(out, *child);
  }
}

inline Spot TakeSpot(const SolverContext& context) {
  Spot spot;
  spot.rootStreet = context.rootStreet;
  for (size_t n = 0; n < context.nodes.size(); ++n) {
    const TreeNode& node = context.nodes[n];
    NodeShape shape;
    shape.street = node.street;
    shape.player = node.player;
    shape.parent = node.parent;
    shape.end = node.IsEnd();
    shape.actions = node.ActionCount();
    shape.chanceCount = node.chanceCount;
    shape.hasSums = node.store1 != nullptr;
    if (node.parent >= 0) {
      const auto& siblings = context.nodes[size_t(node.parent)].children;
      shape.childIndex = int(std::find(siblings.begin(), siblings.end(), int32_t(n)) - siblings.begin());
    }
    if (node.street == 3 && !shape.end) shape.layout = *static_cast<const RiverStore&>(*node.store0).layout;
    spot.nodes.push_back(std::move(shape));
  }
  const BoardTree& boards = *context.boardTree;
  spot.rootCombos = CombosOf(boards.hands);
  spot.cardToTurn = boards.cardToTurn;
  for (const BoardNode& turn : boards.turns) {
    spot.turnCombos.push_back(CombosOf(turn.hands));
    spot.cardToRiver.push_back(turn.cardToRiver);
    spot.riverCombos.emplace_back();
    for (const BoardNode& river : turn.rivers) spot.riverCombos.back().push_back(CombosOf(river.hands));
  }
  spot.board = InputBoard;
  for (int i = 0; i < 3; ++i) spot.pot[i] = PotValues[size_t(i)];
  spot.ranges = Ranges;
  TreeWriter lines(spot.lines);
  PutTrie(lines, *SchematicRoot);
  return spot;
}

// ---- The file ----

struct File {
  int32_t version = 9;
  int32_t compression = 0;  // the actual level as the file states it
  int32_t iteration = 10;
  int32_t forgottenStreet = -1;
  uint32_t treeFlags = 0;
  bool valueless = false;
  uint8_t lowCard = 0;
  uint8_t mustUseHoleCards = 0;
  std::array<uint8_t, 9> handTypeOrder = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  int32_t resultsIteration = -1;
  double results[6] = {0, 0, 0, 0, 0, 0};  // mesOop, evOop, mesIp, evIp, meanEv, exploitability
  // Row blocks of the stored values and of the thousandths: mode 0 is a
  // stream block by the codec given (ids 0 and 1 have no 16-bit rows),
  // another mode packs each row. Below version 6 the mode is always 0.
  uint8_t valueMode = 0, valueCodec = StreamCodecId;
  uint8_t strategyMode = 0;
  std::vector<std::string> infoLines;
  // Whether the 16-bit sums of the older form have hands with nothing in
  // any action.
  bool emptySumHands = false;
};

// Which river class a node of the file gets, as the version and the level
// choose it: what the loader must have made to read the bytes below.
enum class RiverForm { Float, U16, Sum };

inline RiverForm RegretForm(const Spot& spot, const File& file) {
  if (spot.rootStreet == 3 || (spot.rootStreet == 2 && file.version >= 5)) return RiverForm::Float;
  return RiverForm::U16;  // the levels written here never compress regrets
}
inline RiverForm SumForm(const Spot& spot, const File& file) {
  const bool fast = spot.rootStreet == 1 && file.compression == 5;
  return fast ? RiverForm::Sum : RiverForm::Float;
}

class Writer {
 public:
  Writer(const Spot& spot, const File& file) : spot_(spot), file_(file), out_(bytes_) {}

  std::vector<uint8_t> Write() {
    Header();
    for (size_t n = 0; n < spot_.nodes.size(); ++n) {
      const NodeShape& node = spot_.nodes[n];
      if (KeepsChance(node))
        for (int r = 0; r < node.chanceCount; ++r) ChanceRecord(int(n), r);
      if (file_.forgottenStreet >= 0 && file_.version >= 4) continue;
      if (node.end || (file_.forgottenStreet >= 0 && node.street >= file_.forgottenStreet)) continue;
      Store(int(n), 0);
      if (node.hasSums) Store(int(n), 1);
    }
    if (file_.version >= 4) {
      StoredValues();
      if (file_.forgottenStreet >= 0) ForgottenStrategies();
    }
    if (file_.version >= 7) {
      out_.WriteValue(int32_t(file_.infoLines.size()));
      for (const std::string& line : file_.infoLines) {
        out_.WriteValue(int32_t(line.size()));
        out_.Write(line.data(), line.size());
      }
    }
    return std::move(bytes_);
  }

 private:
  bool KeepsChance(const NodeShape& node) const {
    if (node.chanceCount == 0) return false;
    return file_.forgottenStreet < 0 || node.street <= file_.forgottenStreet || file_.version < 3;
  }

  void Header() {
    out_.Write("AI6:", 4);
    out_.WriteValue(file_.version);
    if (file_.version >= 4) out_.WriteValue(uint8_t(file_.valueless));
    if (file_.version >= 8) {
      out_.WriteValue(file_.lowCard);
      out_.WriteValue(file_.mustUseHoleCards);
      out_.Write(file_.handTypeOrder.data(), 9);
    }
    out_.WriteValue(spot_.board.flop);
    out_.WriteValue(spot_.board.turn);
    out_.WriteValue(spot_.board.river);
    out_.Write(spot_.pot, sizeof spot_.pot);
    for (const std::vector<double>& range : spot_.ranges) out_.Write(range.data(), range.size() * sizeof(double));
    out_.Write(spot_.lines.data(), spot_.lines.size());
    out_.WriteValue(file_.treeFlags);
    out_.WriteValue(file_.forgottenStreet);
    out_.WriteValue(file_.resultsIteration);
    out_.Write(file_.results, sizeof file_.results);
    out_.WriteValue(file_.compression);
    out_.WriteValue(file_.iteration);
  }

  void ChanceRecord(int n, int r) {
    const NodeShape& node = spot_.nodes[size_t(n)];
    const int hands = int(spot_.PreDealCombos(node.street, r).size());
    if (file_.version < 4) {
      // Six arrays: two reach sums, then the stored values A and B.
      for (int v = 0; v < 6; ++v) {
        out_.WriteValue(int32_t(hands));
        for (int i = 0; i < hands; ++i) {
          const double value = v < 2 ? ReachUnits(n, r, v, i) / 150.0 : Hundredths(n, r, v - 2, i) * 0.01;
          if (file_.version < 2)
            out_.WriteValue(value);
          else
            out_.WriteValue(float(value));
        }
      }
    } else {
      out_.WriteValue(uint8_t(ReachAbsent(n, r, 0)));
      out_.WriteValue(uint8_t(ReachAbsent(n, r, 1)));
      for (int p = 0; p < 2; ++p) {
        if (ReachAbsent(n, r, p)) continue;
        out_.WriteValue(int32_t(hands));
        for (int i = 0; i < hands; ++i) out_.WriteValue(int16_t(ReachUnits(n, r, p, i)));
      }
    }
    out_.WriteValue(Frozen(r));
    out_.WriteValue(ResolvedCards(n, r));
  }

  // The values of the deal points: all counts, then the rows of zigzag
  // hundredths.
  void StoredValues() {
    std::vector<std::vector<uint32_t>> rows;
    for (size_t n = 0; n < spot_.nodes.size(); ++n) {
      const NodeShape& node = spot_.nodes[n];
      if (!KeepsChance(node)) continue;
      for (int r = 0; r < node.chanceCount; ++r) {
        const int hands = int(spot_.PreDealCombos(node.street, r).size());
        for (int v = 0; v < 4; ++v) {
          out_.WriteValue(int32_t(hands));
          std::vector<uint32_t>& row = rows.emplace_back();
          for (int i = 0; i < hands; ++i) {
            const int32_t x = Hundredths(int(n), r, v, i);
            row.push_back((uint32_t(x) << 1) ^ uint32_t(x >> 31));
          }
        }
      }
    }
    if (!file_.valueless) RowBlock(rows, file_.valueMode, file_.valueCodec);
  }

  // The strategy of the streets above the forgotten one, as thousandths.
  void ForgottenStrategies() {
    std::vector<std::vector<uint16_t>> rows;
    for (size_t n = 0; n < spot_.nodes.size(); ++n) {
      const NodeShape& node = spot_.nodes[n];
      if (node.end || node.street >= file_.forgottenStreet) continue;
      for (int g = 0; g < spot_.BoardCount(node.street); ++g) {
        const int hands = int(spot_.Combos(node.street, g, 0).size());
        for (int a = 0; a + 1 < node.actions; ++a) {
          std::vector<uint16_t>& row = rows.emplace_back();
          for (int i = 0; i < hands; ++i) row.push_back(Thousandths(int(n), g, a, node.actions, i));
        }
      }
    }
    RowBlock(rows, file_.strategyMode, StreamCodecId);
  }

  // A block of rows: from version 6 its mode byte; mode 0 is a stream
  // block of the codec given, any other mode packed rows with lengths.
  template <class T>
  void RowBlock(const std::vector<std::vector<T>>& rows, uint8_t mode, uint8_t codec) {
    if (file_.version >= 6) out_.WriteValue(mode);
    if (file_.version < 6 || mode == 0) {
      MemoryStreams streams;
      {
        const auto writer = streams.Writer(codec);
        for (const auto& row : rows) {
          if constexpr (sizeof(T) == 2)
            WriteRow16(*writer, row.data(), nullptr, row.size());
          else
            WriteRow32(*writer, row.data(), nullptr, row.size());
        }
      }
      for (const auto& stream : streams.bytes) {
        out_.WriteValue(uint64_t(stream.size()));
        out_.Write(stream.data(), stream.size());
      }
      return;
    }
    std::vector<uint8_t> packed;
    for (const auto& row : rows) {
      packed.resize(PackedRow32Bound(row.size()));
      size_t size = 0;
      if constexpr (sizeof(T) == 2)
        size = PackRow16(row.data(), row.size(), packed.data());
      else
        size = PackRow32(row.data(), row.size(), packed.data());
      out_.WriteValue(int16_t(size));
      out_.Write(packed.data(), size);
    }
  }

  // ---- Store forms ----

  void Store(int n, int store) {
    const NodeShape& node = spot_.nodes[size_t(n)];
    if (node.street == 1) return FlopRows(n, store, 0, spot_.rootCombos.size());
    if (node.street == 2) {
      for (size_t g = 0; g < spot_.turnCombos.size(); ++g) FlopRows(n, store, int(g), spot_.turnCombos[g].size());
      return;
    }
    const RiverForm form = store == 0 ? RegretForm(spot_, file_) : SumForm(spot_, file_);
    const RiverLayout& layout = node.layout;
    // Entry 0 is combo-locked in every river store, so that the mask's
    // runs stand between the rows as they do in a locked tree.
    for (int e = 0; e < layout.entryCount; ++e) {
      LockRecord lock;
      if (e == 0) {
        lock.flags = ComboLockedFlag;
        lock.handMaskSize = layout.entries[0].hands;
        lock.handMask.reset(new uint8_t[size_t(lock.handMaskSize)]);
        for (int i = 0; i < lock.handMaskSize; ++i) lock.handMask[size_t(i)] = uint8_t(i % 5 == 2);
      }
      WriteLockRecord(out_, lock);
    }
    const bool empty = form != RiverForm::Sum || file_.emptySumHands;
    if (form == RiverForm::Sum) out_.WriteValue(uint8_t(1));
    for (int g = 0; g < layout.groupCount; ++g) {
      const bool wide = form == RiverForm::Sum && g == 0;
      if (form == RiverForm::Sum) out_.WriteValue(uint8_t(wide));
      for (int s = 0; s < layout.groups[size_t(g)].entryCount; ++s) {
        const int hands = layout.entries[size_t(layout.EntryIndex(g, s))].hands;
        for (int a = 0; a < layout.actions; ++a) {
          std::vector<uint32_t> row;
          for (int i = 0; i < hands; ++i)
            row.push_back(StoreUnits(store, n, g, s, a, i, empty) * (wide ? WideFactor : 1));
          RiverRow(form, wide, row);
        }
      }
    }
    if (form == RiverForm::U16 && file_.version >= 9)
      for (int e = 0; e < layout.entryCount; ++e) out_.WriteValue(float(1 << (e % 4)));
  }

  void FlopRows(int n, int store, int group, size_t hands) {
    WriteLockRecord(out_, LockRecord{});
    for (int a = 0; a < spot_.nodes[size_t(n)].actions; ++a)
      for (size_t i = 0; i < hands; ++i) out_.WriteValue(float(StoreUnits(store, n, group, 0, a, int(i))));
  }

  void RiverRow(RiverForm form, bool wide, const std::vector<uint32_t>& row) {
    if (form == RiverForm::Float) {
      for (uint32_t x : row) out_.WriteValue(float(x));
      return;
    }
    std::vector<uint8_t> packed(PackedRow32Bound(row.size()));
    size_t size = 0;
    if (wide) {
      size = PackRow24(row.data(), row.size(), packed.data());
    } else {
      const std::vector<uint16_t> narrow(row.begin(), row.end());
      if (form == RiverForm::U16 && file_.version < 4) {
        out_.Write(narrow.data(), narrow.size() * 2);
        return;
      }
      size = PackRow16(narrow.data(), narrow.size(), packed.data());
    }
    out_.WriteValue(uint16_t(size));
    out_.Write(packed.data(), size);
  }

  const Spot& spot_;
  const File& file_;
  std::vector<uint8_t> bytes_;
  TreeWriter out_;
};

}  // namespace legacy
