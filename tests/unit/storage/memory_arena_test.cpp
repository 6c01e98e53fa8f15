// Stream and packed arenas: rows back as written through every write and
// read cycle, the commit bookkeeping, file records (whole, cut short,
// inconsistent) and the stop when a block outgrows its reservation.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "storage/packed_arena.h"
#include "storage/stream_arena.h"
#include "storage/tree_stream.h"

namespace {

using Rows16 = std::vector<std::vector<uint16_t>>;

// Rows like river regrets: mostly small, neighbouring rows alike, some
// values on both sides of every byte border and at the top of the range.
Rows16 SampleRows(size_t rows, size_t hands, uint32_t seed) {
  std::mt19937 rng(seed);
  Rows16 out(rows, std::vector<uint16_t>(hands));
  for (size_t r = 0; r < rows; ++r)
    for (size_t i = 0; i < hands; ++i) {
      const uint16_t borders[] = {0, 1, 254, 255, 256, 4095, 4096, 65534, 65535};
      out[r][i] = rng() % 5 == 0   ? borders[rng() % 9]
                  : r && rng() % 2 ? uint16_t(out[r - 1][i] + rng() % 3)
                                   : uint16_t(rng() % 300);
    }
  return out;
}

// A row's previous row where it is no longer than the one before, as the
// compressed stores chain them.
const uint16_t* Previous(const Rows16& rows, size_t r) {
  return r > 0 && rows[r].size() <= rows[r - 1].size() ? rows[r - 1].data() : nullptr;
}

void WriteBlock(MemoryArena& arena, const Rows16& rows) {
  arena.BeginWrite();
  for (size_t r = 0; r < rows.size(); ++r) arena.WriteRow16(rows[r].data(), Previous(rows, r), rows[r].size());
  arena.EndWrite();
}

Rows16 ReadBlock(MemoryArena& arena, const Rows16& shape) {
  Rows16 back(shape.size());
  arena.BeginRead();
  for (size_t r = 0; r < shape.size(); ++r) {
    back[r].resize(shape[r].size());
    EXPECT_TRUE(arena.ReadRow16(back[r].data(), Previous(back, r), back[r].size()));
  }
  arena.EndRead();
  return back;
}

size_t Elements(const Rows16& rows) {
  size_t n = 0;
  for (const auto& r : rows) n += r.size();
  return n;
}

template <typename Arena>
std::unique_ptr<MemoryArena> Make(size_t elements) {
  if constexpr (std::is_same_v<Arena, PackedArena>) return std::make_unique<PackedArena>(int64_t(elements), 2);
  else return std::make_unique<StreamArena>(int64_t(elements));
}

template <typename Arena>
class Arenas : public ::testing::Test {};
using ArenaTypes = ::testing::Types<StreamArena, PackedArena>;
TYPED_TEST_SUITE(Arenas, ArenaTypes);

TYPED_TEST(Arenas, RowsComeBackThroughRewritesAndReadsAgain) {
  Rows16 rows = SampleRows(40, 1326, 1);
  for (size_t r = 0; r < rows.size(); r += 7) rows[r].resize(r * 31 % 1327);  // 0 to 1326 values
  auto arena = Make<TypeParam>(Elements(rows));
  EXPECT_FALSE(arena->HasData());
  WriteBlock(*arena, rows);
  EXPECT_TRUE(arena->HasData());
  EXPECT_EQ(ReadBlock(*arena, rows), rows);
  EXPECT_EQ(ReadBlock(*arena, rows), rows);  // a block reads any number of times
  EXPECT_GE(arena->Committed(), arena->Size());
  EXPECT_LE(arena->Committed(), arena->Reserved());

  // A smaller block keeps what was committed for the next rewrite.
  const int64_t committed = arena->Committed(), size = arena->Size();
  Rows16 fewer(rows.begin(), rows.begin() + 3);
  WriteBlock(*arena, fewer);
  EXPECT_EQ(arena->Committed(), committed);
  EXPECT_LT(arena->Size(), size);
  EXPECT_EQ(ReadBlock(*arena, fewer), fewer);
}

TYPED_TEST(Arenas, FileRecordLoadsIntoAFreshArenaAndDamageIsRefused) {
  const Rows16 rows = SampleRows(60, 1326, 2);
  auto arena = Make<TypeParam>(Elements(rows));
  WriteBlock(*arena, rows);
  std::vector<uint8_t> record;
  TreeWriter writer(record);
  arena->Save(writer);
  record.push_back(0xAB);  // whatever follows the record is left unread

  auto fresh = Make<TypeParam>(Elements(rows));
  TreeReader reader(record.data(), record.size());
  ASSERT_TRUE(fresh->Load(reader));
  EXPECT_EQ(reader.Remaining(), 1u);
  EXPECT_EQ(fresh->Size(), arena->Size());
  const int64_t step = std::is_same_v<TypeParam, PackedArena> ? 16384 : 4096;
  EXPECT_EQ(fresh->Committed(), (fresh->Size() + step - 1) / step * step);  // one commit
  EXPECT_EQ(ReadBlock(*fresh, rows), rows);

  // Every cut leaves the arena empty and refused.
  for (size_t cut = 0; cut + 1 < record.size(); ++cut) {
    auto target = Make<TypeParam>(Elements(rows));
    TreeReader shortReader(record.data(), cut);
    EXPECT_FALSE(target->Load(shortReader)) << cut;
    EXPECT_FALSE(target->HasData()) << cut;
  }
  // A block larger than this arena may ever hold is refused before it is
  // committed, whatever reservation the record claims.
  auto small = Make<TypeParam>(0);
  ASSERT_GT(arena->Size(), small->Reserved());
  TreeReader again(record.data(), record.size());
  EXPECT_FALSE(small->Load(again));
  EXPECT_EQ(small->Committed(), 0);
}

TEST(StreamArena, EmptyBlockHoldsTheIdByteAndStreamsMustTileTheBlock) {
  StreamArena arena(100);
  arena.BeginWrite();
  arena.EndWrite();
  EXPECT_TRUE(arena.HasData());
  EXPECT_EQ(arena.Size(), 1);
  EXPECT_EQ(arena.StreamSize(0), 1);

  const Rows16 rows = SampleRows(4, 25, 3);
  WriteBlock(arena, rows);
  std::vector<uint8_t> record;
  TreeWriter writer(record);
  arena.Save(writer);
  ASSERT_GT(record.size(), 24u * 8 + 16);
  record[4] += 1;  // stream 0's used size no longer adds up to the block
  StreamArena fresh(100);
  TreeReader reader(record.data(), record.size());
  EXPECT_FALSE(fresh.Load(reader));
  EXPECT_FALSE(fresh.HasData());
}

TEST(Arenas, ReservingHugeBlocksCostsOnlyWhatIsWritten) {
  // 9 GB and 15 GB of address space each: only the pages of the few rows
  // written are committed.
  StreamArena stream(int64_t(1) << 30);
  PackedArena packed(int64_t(1) << 30, 4);
  const std::vector<uint32_t> row(1326, 70000);
  for (MemoryArena* arena : {static_cast<MemoryArena*>(&stream), static_cast<MemoryArena*>(&packed)}) {
    arena->BeginWrite();
    arena->WriteRow32(row.data(), nullptr, row.size());
    arena->EndWrite();
    EXPECT_LE(arena->Committed(), 64 * 1024);
    std::vector<uint32_t> back(row.size());
    arena->BeginRead();
    EXPECT_TRUE(arena->ReadRow32(back.data(), nullptr, back.size()));
    arena->EndRead();
    EXPECT_EQ(back, row);
  }
}

size_t ProcessMappings() {
  std::ifstream maps("/proc/self/maps");
  return size_t(std::count(std::istreambuf_iterator<char>(maps), std::istreambuf_iterator<char>(), '\n'));
}

// The kernel allows some 65,000 mappings a process, and a big tree has tens
// of thousands of blocks: arenas must not cost a mapping or two each.
TEST(Arenas, ManyWrittenArenasShareAFewMappings) {
  std::string policy;
  std::ifstream("/proc/sys/vm/overcommit_memory") >> policy;
  if (policy == "2") GTEST_SKIP() << "strict overcommit opens each arena's pages by protection";
  const size_t before = ProcessMappings();
  std::vector<std::unique_ptr<StreamArena>> arenas;
  const std::vector<uint16_t> row(100, 7);
  for (int i = 0; i < 2000; ++i) {
    arenas.push_back(std::make_unique<StreamArena>(100000));
    WriteBlock(*arenas.back(), {row});
  }
  EXPECT_LT(ProcessMappings(), before + 100);
}

TEST(ArenasDeathTest, ABlockBeyondItsReservationEndsTheProcess) {
  std::vector<uint16_t> row(1326);  // random: no codec can shrink it
  std::mt19937 rng(4);
  for (auto& v : row) v = uint16_t(rng());
  // The stop is a console line; the standard output is sent where the
  // death test looks.
  auto overfill = [&](MemoryArena& arena) {
    dup2(2, 1);
    arena.BeginWrite();
    for (int r = 0; r < 1000; ++r) arena.WriteRow16(row.data(), nullptr, row.size());
    arena.EndWrite();
  };
  EXPECT_EXIT({ PackedArena a(1326, 2); overfill(a); }, ::testing::ExitedWithCode(1),
              "out of memory \\(not enough reserved\\)");
  EXPECT_EXIT({ StreamArena a(1326); overfill(a); }, ::testing::ExitedWithCode(1),
              "out of memory \\(not enough reserved\\)");
}

}  // namespace
