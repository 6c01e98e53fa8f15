// The two older row codecs (ids 0 and 1): the symbol tree's shape from the
// rule, a bit-codec row worked by hand, round trips over every escape
// border of both, and damaged input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "memory_streams.h"
#include "storage/codecs/codec.h"
#include "storage/codecs/row_transform.h"
#include "storage/codecs/symbol_tree.h"

namespace {

using Bytes = std::vector<uint8_t>;

CodecFailure lastFailure;

class LegacyCodec : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = SetCodecFailureHook([](CodecFailure f) { lastFailure = f; });
    lastFailure = CodecFailure::none;
  }
  void TearDown() override { SetCodecFailureHook(saved_); }
  CodecFailureHook saved_ = nullptr;
};

// Walks every value down the table; the path lengths, or none if a node
// is out of the table or splits outside its range.
std::vector<int> PathLengths(const SymbolTreeNode* table, std::vector<int>& visits) {
  std::vector<int> lengths;
  visits.assign(SymbolTreeNodes, 0);
  for (uint32_t v = 0; v < SymbolTreeValues; ++v) {
    uint32_t lo = 0, hi = SymbolTreeValues, node = 0;
    int steps = 0;
    for (; hi - lo > 1; ++steps) {
      if (node >= SymbolTreeNodes || table[node].split <= lo || table[node].split >= hi) return {};
      ++visits[node];
      const bool right = v >= table[node].split;
      (right ? lo : hi) = table[node].split;
      node = right ? table[node].right : node + 1;
    }
    lengths.push_back(steps);
  }
  return lengths;
}

TEST_F(LegacyCodec, SymbolTreeFollowsTheCounts) {
  SymbolTreeNode table[SymbolTreeNodes];
  std::vector<int> visits;

  // No counts: halves all the way down, so every value is 10 steps deep
  // and, in preorder, the right half of a range of 2^k starts 2^(k-1) on.
  ASSERT_TRUE(CreateOptimalTree(nullptr, table));
  EXPECT_EQ(PathLengths(table, visits), std::vector<int>(1024, 10));
  for (uint32_t node = 0, lo = 0, width = 1024; width > 1; ++node, width /= 2) {  // down the left edge
    EXPECT_EQ(table[node].split, lo + width / 2);
    EXPECT_EQ(table[node].right, width == 2 ? 0 : node + width / 2);
  }
  for (int count : visits) EXPECT_GT(count, 0);

  // Counts 3, 1 at 0, 1 and 4 at 7, by hand. The root splits where the
  // values before reach 4 (of 8): at 2. [0, 2) is node 1; [2, 1024) with
  // weight 4 splits at 8; [2, 8) holds no count before 7, its last value,
  // so it splits at 7; [2, 7) has no weight and halves: 4, then 3 and 5, 6.
  uint64_t counts[HistogramSize] = {3, 1, 0, 0, 0, 0, 0, 4};
  ASSERT_TRUE(CreateOptimalTree(counts, table));
  const SymbolTreeNode want[] = {{2, 2}, {0, 1}, {8, 8}, {8, 7}, {6, 4}, {0, 3}, {7, 5}, {0, 6}};
  for (size_t k = 0; k < std::size(want); ++k) {
    EXPECT_EQ(table[k].right, want[k].right) << k;
    EXPECT_EQ(table[k].split, want[k].split) << k;
  }
  EXPECT_EQ(table[8].split, (8 + 1024) / 2);
  const std::vector<int> lengths = PathLengths(table, visits);
  ASSERT_EQ(lengths.size(), 1024u);
  EXPECT_EQ(lengths[0], 2);
  EXPECT_EQ(lengths[7], 3);

  // Hostile counts whose sums pass 2^64 still give a whole tree: all 1023
  // nodes in use and every value reachable.
  for (uint64_t fill : {~uint64_t{0}, uint64_t{1} << 63}) {
    for (size_t v = 0; v < HistogramSize; ++v) counts[v] = v % 3 ? fill : 0;
    ASSERT_TRUE(CreateOptimalTree(counts, table));
    EXPECT_EQ(PathLengths(table, visits).size(), 1024u);
    for (int count : visits) EXPECT_GT(count, 0);
  }
}

// Symbols 0, a group of 8 zeros, then 1, 0, 15, 16, 0, 0, 0, 0, and 257,
// 65536: values (symbol - 1) 0 and 14 are nibbles, 15 a nibble 15 and a
// byte, 256 the escape to 16 bits, 65535 the escape to 32 bits.
TEST_F(LegacyCodec, BitCodecRowWorkedByHand) {
  const std::vector<uint32_t> symbols{0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 15, 16, 0, 0, 0, 0, 257, 65536};
  MemoryStreams m;
  m.Writer(BitCodecId)->WriteSymbols(symbols.data(), symbols.size(), 1);

  // Bits, low first: mode 1; 0 for the zero group; 1 and flags 10110000;
  // 1 and flags 11. That is 1011 0110 | 0001 11 -> 0x6D, 0x38.
  Bytes bits(256), nibbles(256), bytes(257);
  bits[0] = 0x6D, bits[1] = 0x38;
  nibbles[0] = 0xE0, nibbles[1] = 0xFF, nibbles[2] = 0x0F;  // 0, 14 | 15, 15 | 15
  const Bytes values{1, 15, 255, 0x00, 0x01, 255, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00};
  std::copy(values.begin(), values.end(), bytes.begin());  // the id, then one block
  EXPECT_EQ(m.bytes[1], bits);
  EXPECT_EQ(m.bytes[2], nibbles);
  EXPECT_EQ(m.bytes[0], bytes);

  std::vector<uint32_t> previous(symbols.size(), 5), want(symbols.size()), got(symbols.size());
  InverseRow32(symbols.data(), previous.data(), want.data(), symbols.size(), 1);
  EXPECT_TRUE(ReadRow32(*m.Reader(), got.data(), previous.data(), got.size()));
  EXPECT_EQ(got, want);
}

// Two empty rows of mode 1 code two 1s, at probabilities 1024 and then
// 1024 - 1024 / 16 = 960 of 2048: low = (0xFFFFFFFF >> 11) * 1024 =
// 0x7FFFFC00 (range 0x800003FF), plus (0x800003FF >> 11) * 960 = 0xBBFFFC00.
// The flush puts out the initial 0, then 0xBB and 0xFF (held back until
// 0xFC settles them) and 0xFC, 0.
TEST_F(LegacyCodec, RangeCodecBytesWorkedByHand) {
  MemoryStreams m;
  {
    auto writer = m.Writer(RangeCodecId);
    writer->WriteSymbols(nullptr, 0, 1);
    writer->WriteSymbols(nullptr, 0, 1);
  }
  Bytes want{0, 'C', 'm', 'p', 'r'};
  want.resize(want.size() + 8 * HistogramSize);  // no counts
  want.insert(want.end(), {0x00, 0xBB, 0xFF, 0xFC, 0x00});
  EXPECT_EQ(m.bytes[0], want);
  auto reader = m.Reader();
  uint32_t row = 0;
  EXPECT_TRUE(ReadRow32(*reader, &row, &row, 0));
  EXPECT_TRUE(ReadRow32(*reader, &row, &row, 0));
  EXPECT_EQ(m.position[0], want.size());
}

// Rows whose symbols, with no previous row, are exactly the ones chosen:
// the row is their inverse.
std::vector<uint32_t> RowOfSymbols(const std::vector<uint32_t>& symbols) {
  std::vector<uint32_t> row(symbols.size());
  InverseRow32(symbols.data(), nullptr, row.data(), row.size(), RowModeLeft);
  return row;
}

struct TestRow {
  std::vector<uint32_t> values;
  bool withPrevious;  // against the row before, which has the same length
};

// Edge symbols next to zeros and small ones, random rows, regret-like rows
// and rows close to the one before (mode 1), from 0 to 1326 values.
std::vector<TestRow> TestRows(std::mt19937& rng) {
  // Values (symbol - 1) at every escape border of both codecs.
  const uint32_t edges[] = {0,    13,    14,    15,    253,          254,          255,          256,        1021,      1022,
                            1023, 1024,  65533, 65534, 65535,        65536 + 1022, 65536 + 1023, 65536 + 1024, 0xFFFFFFFD, 0xFFFFFFFE};
  std::vector<TestRow> rows;
  for (size_t n : {0, 1, 15, 16, 17, 100, 1326}) {
    std::vector<uint32_t> symbols(n);
    for (uint32_t& s : symbols) s = rng() % 3 ? 0 : edges[rng() % std::size(edges)] + 1;
    rows.push_back({RowOfSymbols(symbols), false});
    std::vector<uint32_t> random(n), regret(n), close(n);
    for (size_t i = 0; i < n; ++i) {
      random[i] = rng() >> (rng() % 32);
      regret[i] = uint32_t(std::max<int64_t>(0, 40 * (int64_t(i) - 300)) + rng() % 4);
    }
    rows.push_back({random, false});
    rows.push_back({regret, rng() % 2 == 0});
    for (size_t i = 0; i < n; ++i) close[i] = regret[i] + 7 + (rng() % 16 ? 0 : rng() % 3);
    rows.push_back({close, true});
  }
  std::vector<uint32_t> symbols(1326);
  for (size_t i = 0; i < 1326; ++i) symbols[i] = edges[i % std::size(edges)] + 1;
  rows.push_back({RowOfSymbols(symbols), false});
  return rows;
}

// Writes and reads back the rows; `wantCounts` gets the counts the first
// pass must make: those of the rows' values (symbol - 1, capped at 255).
void CheckRoundTrip(uint8_t id, const std::vector<TestRow>& rows, const uint64_t* histogram,
                    uint64_t* histogramOut, uint64_t* wantCounts = nullptr) {
  MemoryStreams m;
  size_t modes[2] = {};
  {
    auto writer = m.Writer(id, histogram, histogramOut);
    ASSERT_TRUE(writer);
    std::vector<uint32_t> symbols(MaxRowCount);
    for (size_t r = 0; r < rows.size(); ++r) {
      const uint32_t* previous = rows[r].withPrevious ? rows[r - 1].values.data() : nullptr;
      WriteRow32(*writer, rows[r].values.data(), previous, rows[r].values.size());
      ++modes[TransformRow32(rows[r].values.data(), previous, symbols.data(), rows[r].values.size())];
      for (size_t i = 0; wantCounts && i < rows[r].values.size(); ++i)
        if (symbols[i]) ++wantCounts[std::min<uint32_t>(symbols[i] - 1, 255)];
    }
  }
  EXPECT_GT(modes[1], 3u);  // both modes are exercised
  auto reader = m.Reader();
  ASSERT_TRUE(reader);
  std::vector<std::vector<uint32_t>> got;
  for (size_t r = 0; r < rows.size(); ++r) {
    got.emplace_back(rows[r].values.size(), 0x77);
    const uint32_t* previous = rows[r].withPrevious ? got[r - 1].data() : nullptr;
    ASSERT_TRUE(ReadRow32(*reader, got[r].data(), previous, got[r].size())) << "id " << int(id) << " row " << r;
    ASSERT_EQ(got[r], rows[r].values) << "id " << int(id) << " row " << r;
  }
  for (uint32_t s = 0; s < CodecStreamCount; ++s) EXPECT_EQ(m.position[s], m.bytes[s].size()) << s;
  EXPECT_EQ(lastFailure, CodecFailure::none);
}

TEST_F(LegacyCodec, RoundTripsOverEveryEscapeBorder) {
  std::mt19937 rng(11);
  const std::vector<TestRow> rows = TestRows(rng);
  CheckRoundTrip(BitCodecId, rows, nullptr, nullptr);

  // Id 0 with no counts, then with the counts the first pass made.
  uint64_t counts[HistogramSize], want[HistogramSize] = {};
  CheckRoundTrip(RangeCodecId, rows, nullptr, counts, want);
  EXPECT_TRUE(std::equal(counts, counts + HistogramSize, want));
  uint64_t again[HistogramSize];
  CheckRoundTrip(RangeCodecId, rows, counts, again);
  EXPECT_TRUE(std::equal(counts, counts + HistogramSize, again));
}

// A 16-bit row goes in widened and comes back only through ReadRow32;
// ReadRow16 refuses without a failure.
TEST_F(LegacyCodec, SixteenBitRowsReadBackWidened) {
  const std::vector<uint16_t> row{65535, 0, 9, 300, 64000};
  for (uint8_t id : {RangeCodecId, BitCodecId}) {
    MemoryStreams m;
    WriteRow16(*m.Writer(id), row.data(), nullptr, row.size());
    std::vector<uint32_t> wide(5);
    std::vector<uint16_t> narrow(5, 9);
    EXPECT_TRUE(ReadRow32(*m.Reader(), wide.data(), nullptr, 5));
    EXPECT_EQ(wide, std::vector<uint32_t>(row.begin(), row.end()));
    EXPECT_FALSE(ReadRow16(*m.Reader(), narrow.data(), nullptr, 5));
    EXPECT_EQ(narrow, std::vector<uint16_t>(5, 0));
    EXPECT_EQ(lastFailure, CodecFailure::none);
  }
}

// Damage of every kind ends in a recorded failure and rows of zeros, and
// no stream is read past its end (the memory streams abort on that).
TEST_F(LegacyCodec, DamagedInputIsAFailureNotGarbage) {
  std::mt19937 rng(5);
  std::vector<TestRow> rows = TestRows(rng);
  rows.resize(12);
  auto encode = [&](uint8_t id) {
    MemoryStreams m;
    auto writer = m.Writer(id);
    for (size_t r = 0; r < rows.size(); ++r)
      WriteRow32(*writer, rows[r].values.data(), rows[r].withPrevious ? rows[r - 1].values.data() : nullptr,
                 rows[r].values.size());
    writer.reset();
    return m;
  };
  struct Damage {
    uint8_t id;
    const char* what;
    void (*apply)(MemoryStreams&);
    CodecFailure failure;
  };
  const Damage damages[] = {
      {0, "tag", [](MemoryStreams& m) { m.bytes[0][2] = 'M'; }, CodecFailure::wrongId},
      {0, "counts short", [](MemoryStreams& m) { m.bytes[0].resize(1000); }, CodecFailure::damagedData},
      {0, "last byte gone", [](MemoryStreams& m) { m.bytes[0].pop_back(); }, CodecFailure::damagedData},
      {0, "first coder byte", [](MemoryStreams& m) { m.bytes[0][2053] = 1; }, CodecFailure::damagedData},
      {1, "bits short", [](MemoryStreams& m) { m.bytes[1].pop_back(); }, CodecFailure::damagedData},
      {1, "nibbles short", [](MemoryStreams& m) { m.bytes[2].pop_back(); }, CodecFailure::damagedData},
      {1, "flagged group of zeros", [](MemoryStreams& m) { m.bytes[1] = Bytes(256, 0); m.bytes[1][0] = 0x20; },
       CodecFailure::damagedData},
      {1, "mode 1, no previous", [](MemoryStreams& m) { m.bytes[1][0] |= 1; }, CodecFailure::damagedData},
  };
  for (const Damage& d : damages) {
    MemoryStreams m = encode(d.id);
    d.apply(m);
    lastFailure = CodecFailure::none;
    auto reader = m.Reader();
    ASSERT_TRUE(reader) << d.what;
    bool valid = true;
    std::vector<uint32_t> got;
    for (size_t r = 0; r < rows.size() && valid; ++r) {
      got.assign(rows[r].values.size(), 9);
      valid = ReadRow32(*reader, got.data(), rows[r].withPrevious ? rows[r - 1].values.data() : nullptr, got.size());
    }
    EXPECT_FALSE(valid) << d.what;
    EXPECT_EQ(got, std::vector<uint32_t>(got.size(), 0)) << d.what;
    EXPECT_EQ(reader->Failure(), d.failure) << d.what;
    EXPECT_EQ(lastFailure, d.failure) << d.what;
  }
  EXPECT_EQ(std::string(CodecFailureLine(CodecFailure::wrongId)), "compressor wrong id\n");
  EXPECT_EQ(std::string(CodecFailureLine(CodecFailure::treeFailed)), "CreateOptimalTree fail\n");

  // Random bytes after a valid head, and random blocks: reading long rows
  // must end in a failure once the bytes run out, after bounded work.
  for (uint8_t id : {RangeCodecId, BitCodecId}) {
    for (int trial = 0; trial < 20; ++trial) {
      MemoryStreams m;
      m.Writer(id).reset();
      for (uint32_t s = 0; s < 3; ++s)
        for (size_t i = 0, n = rng() % 700; i < n; ++i) m.bytes[s].push_back(uint8_t(rng()));
      if (id == RangeCodecId) m.bytes[0][2053] = 0;  // past the first check
      lastFailure = CodecFailure::none;
      auto reader = m.Reader();
      std::vector<uint32_t> row(1326), previous(1326, 3);
      size_t r = 0;
      while (r < 100000 && ReadRow32(*reader, row.data(), previous.data(), row.size())) ++r;
      EXPECT_LT(r, 100000u);
      EXPECT_EQ(lastFailure, CodecFailure::damagedData) << int(id) << " " << trial;
    }
  }
}

}  // namespace
