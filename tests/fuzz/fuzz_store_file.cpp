// Fuzz target: the stores' file forms on arbitrary records.
//
// The first byte picks the class (flop, turn, the four uncompressed river
// classes, the compressed forms at both levels), the second the format
// version (0 to 10); the rest is the record, over a small layout of odd
// hand counts. A record that loads must read as strategies with no NaN,
// and save in the newest form that loads again to the same bytes. A later
// format byte may refuse as a command failure; nothing may crash.
// Compressed blocks are only loaded, not opened: damaged block data stops
// the process in the codec by design.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "setup/failure.h"
#include "storage/flop_store.h"
#include "storage/river_compressed_store.h"
#include "storage/river_float_store.h"
#include "storage/river_sum_store.h"
#include "storage/tree_stream.h"
#include "storage/turn_store.h"

namespace {

const RiverLayout layout = MakeRiverLayout(3, {{3, 5}, {9}});

std::unique_ptr<StrategyStore> Make(uint8_t kind) {
  using Form = RiverCompressedStore::Form;
  switch (kind % 12) {
    case 0: return std::make_unique<FlopStore>(3, 9);
    case 1: return std::make_unique<TurnStore>(3, std::vector<int32_t>{3, 5, 9});
    case 2: return std::make_unique<RiverFloatStore>(&layout);
    case 3: return std::make_unique<RiverU16Store>(&layout);
    case 4: return std::make_unique<RiverSumStore>(&layout);
    case 5: return std::make_unique<RiverShiftSumStore>(&layout);
    default: {
      const uint8_t form = (kind % 12 - 6) % 3, level = (kind % 12 - 6) / 3 + 1;
      return std::make_unique<RiverCompressedStore>(&layout, level, Form(form));
    }
  }
}

bool Compressed(uint8_t kind) { return kind % 12 >= 6; }

std::vector<uint8_t> Saved(const StrategyStore& store) {
  std::vector<uint8_t> bytes;
  TreeWriter writer(bytes);
  store.Save(writer);
  return bytes;
}

bool Load(StrategyStore& store, const uint8_t* data, size_t size, int32_t version) {
  TreeReader reader(data, size);
  reader.formatVersion = version;
  try {
    return store.Load(reader);
  } catch (const CommandFailure&) {
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const uint8_t kind = data[0];
  const int32_t version = data[1] % 11;
  std::unique_ptr<StrategyStore> store = Make(kind);
  if (!Load(*store, data + 2, size - 2, version)) return 0;
  if (!Compressed(kind)) {
    const float fallback[] = {0.2f, 0.3f, 0.5f};
    FloatVec out[3];
    // Boards: the flop's one, the turn's three, the layout's three rivers.
    const bool river = kind % 12 >= 2;
    for (int group = 0; group < (kind % 12 == 0 ? 1 : river ? 2 : 3); ++group)
      for (int sub = 0; sub < (river && group == 0 ? 2 : 1); ++sub) {
        store->GetStrategy(out, group, sub, fallback);
        for (const FloatVec& row : out)
          for (int32_t i = 0; i < row.count; ++i)
            if (std::isnan(row.data[i])) std::abort();
      }
  }
  const std::vector<uint8_t> saved = Saved(*store);
  std::unique_ptr<StrategyStore> again = Make(kind);
  if (!Load(*again, saved.data(), saved.size(), 10) || Saved(*again) != saved) std::abort();
  return 0;
}
