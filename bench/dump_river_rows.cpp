// Dumps real river regret rows for the codec and arena benchmarks.
//
// Row content decides what a row codec costs: how many symbols are zero,
// how often the previous row predicts well. Generated rows only guess at
// that, so this tool solves a flop spot and writes the 16-bit regret rows
// of one player below one dealt turn, in the order the compressed river
// store chains them: river nodes in tree order, then actions, then the
// rivers of the turn, each row predicted from the same action's row of the
// river before when that has at least as many hands.
//
// usage: dump_river_rows SPOT STEPS OUT [MAX_VALUES]
// File: a u32 row count, then per row a u16 hand count, a u8 "chained"
// flag and the values (little-endian).
#include <pmmintrin.h>
#include <xmmintrin.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "eval/hand_tables.h"
#include "shell/execute.h"
#include "shell/tokenize.h"
#include "storage/river_u16_store.h"
#include "tree/global_context.h"
#include "tree/solver_context.h"

namespace {

void Run(const std::string& line) { ExecuteCommand(Tokenize(line)); }

// The highest turn node above a river node: the rows of one chain share it.
int32_t TurnRoot(const SolverContext& context, int32_t index) {
  int32_t root = -1;
  for (int32_t at = index; at >= 0; at = context.nodes[size_t(at)].parent)
    if (context.nodes[size_t(at)].street == 2) root = at;
  return root;
}

struct Row {
  std::vector<uint16_t> values;
  bool chained = false;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: dump_river_rows SPOT STEPS OUT [MAX_VALUES]\n");
    return 2;
  }
  const size_t maxValues = argc > 4 ? size_t(std::atoll(argv[4])) : 262144;
  _mm_setcsr(_mm_getcsr() | _MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON);
  InitHandTables();
  BuildHandTables();
  for (const char* setting : {"set_info_freq 1000000000", "set_accuracy 0", "set_compression fast"}) Run(setting);
  Run(std::string("load_script ") + argv[1]);
  Run(std::string("go ") + argv[2] + " steps");
  Run("wait_for_solver");
  if (!TreeIsPresent()) return 1;
  const SolverContext& context = *GlobalContext;

  // The river nodes of player 0 by their turn root, in tree order.
  std::map<int32_t, std::vector<const RiverU16Store*>> chains;
  for (size_t i = 0; i < context.nodes.size(); ++i) {
    const TreeNode& node = context.nodes[i];
    if (node.kind != DecisionNode || node.street != 3 || node.player != 0) continue;
    if (const auto* store = dynamic_cast<const RiverU16Store*>(node.store0.get()))
      chains[TurnRoot(context, int32_t(i))].push_back(store);
  }
  // The longest chain, on the first dealt turn the solver reached.
  const std::vector<const RiverU16Store*>* chain = nullptr;
  for (const auto& [root, stores] : chains)
    if (!chain || stores.size() > chain->size()) chain = &stores;
  if (!chain || !(*chain)[0]->buffer) return 1;
  int group = 0;
  while (group < (*chain)[0]->layout->groupCount && !(*chain)[0]->touched.IsTouched(size_t(group))) ++group;

  std::vector<Row> rows;
  size_t values = 0;
  for (const RiverU16Store* store : *chain) {
    const RiverLayout& layout = *store->layout;
    const RiverLayout::Group& g = layout.groups[size_t(group)];
    for (int a = 0; a < layout.actions; ++a)
      for (int32_t s = 0; s < g.entryCount && values < maxValues; ++s) {
        const RiverLayout::Entry& e = layout.entries[size_t(g.firstEntry + s)];
        const uint16_t* data = static_cast<const uint16_t*>(store->buffer) + e.offset +
                               int64_t(a) * RiverLayout::Stride(e.hands);
        const bool chained = s > 0 && e.hands <= layout.entries[size_t(g.firstEntry + s - 1)].hands;
        rows.push_back({std::vector<uint16_t>(data, data + e.hands), chained});
        values += size_t(e.hands);
      }
  }
  std::FILE* out = std::fopen(argv[3], "wb");
  if (!out) return 1;
  const uint32_t count = uint32_t(rows.size());
  std::fwrite(&count, 4, 1, out);
  for (const Row& row : rows) {
    const uint16_t hands = uint16_t(row.values.size());
    const uint8_t chained = row.chained;
    std::fwrite(&hands, 2, 1, out);
    std::fwrite(&chained, 1, 1, out);
    std::fwrite(row.values.data(), 2, row.values.size(), out);
  }
  std::fclose(out);
  std::fprintf(stderr, "%zu river nodes, turn group %d: %u rows, %zu values\n", chain->size(), group, count, values);
  return 0;
}
