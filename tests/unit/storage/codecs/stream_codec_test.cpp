// The stream codec through 24 in-memory streams: the layout's bytes worked
// by hand, the block framing, round trips of many kinds of rows, and
// damaged or truncated input.
#include "storage/codecs/stream_codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "storage/codecs/codec.h"
#include "storage/codecs/fse.h"
#include "storage/codecs/row_transform.h"
#include "memory_streams.h"

namespace {

using Bytes = std::vector<uint8_t>;

void Write(CodecWriter& w, const std::vector<uint32_t>& x, const uint32_t* p) { WriteRow32(w, x.data(), p, x.size()); }
void Write(CodecWriter& w, const std::vector<uint16_t>& x, const uint16_t* p) { WriteRow16(w, x.data(), p, x.size()); }
bool Read(CodecReader& r, std::vector<uint32_t>& x, const uint32_t* p) { return ReadRow32(r, x.data(), p, x.size()); }
bool Read(CodecReader& r, std::vector<uint16_t>& x, const uint16_t* p) { return ReadRow16(r, x.data(), p, x.size()); }

// The bytes a stream's blocks hold, parsed here from the header fields
// rather than by the codec's reader; rawSizes collects the block sizes.
Bytes Unframe(const Bytes& stream, std::vector<uint32_t>* rawSizes = nullptr) {
  Bytes out;
  for (size_t at = 0; at + 8 <= stream.size();) {
    uint32_t raw = 0, coded = 0;
    for (int i = 0; i < 4; ++i) raw |= uint32_t(stream[at + i]) << 8 * i, coded |= uint32_t(stream[at + 4 + i]) << 8 * i;
    at += 8;
    if (rawSizes) rawSizes->push_back(raw);
    Bytes block(raw, stream[at]);
    if (coded == 0) std::copy_n(stream.begin() + at, raw, block.begin());
    if (coded > 1) {
      EXPECT_FALSE(FseDecompress(block.data(), raw, stream.data() + at, coded).IsError());
    }
    out.insert(out.end(), block.begin(), block.end());
    at += coded == 0 ? raw : coded;
  }
  return out;
}

CodecFailure lastFailure;

// Failures are noted instead of ending the test process.
class StreamCodec : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = SetCodecFailureHook([](CodecFailure f) { lastFailure = f; });
    lastFailure = CodecFailure::none;
  }
  void TearDown() override { SetCodecFailureHook(saved_); }
  CodecFailureHook saved_ = nullptr;
};

TEST_F(StreamCodec, RowsOfZerosCostAModeByteAndAMapBytePerEight) {
  MemoryStreams m;
  {
    auto writer = m.Writer();
    Write(*writer, std::vector<uint32_t>(20), nullptr);
    const std::vector<uint16_t> zeros(1326);
    Write(*writer, zeros, zeros.data());
  }
  // The id byte, then modes 0, 0 as a block of one repeated byte (coded
  // size 1, one payload byte); 3 + 166 zero maps likewise.
  EXPECT_EQ(m.bytes[0], (Bytes{2, 2, 0, 0, 0, 1, 0, 0, 0, 0}));
  EXPECT_EQ(m.bytes[1], (Bytes{169, 0, 0, 0, 1, 0, 0, 0, 0}));
  for (uint32_t s = 2; s < CodecStreamCount; ++s) EXPECT_TRUE(m.bytes[s].empty()) << s;
}

TEST_F(StreamCodec, SymbolBytesEscapesAndContextsWorkedByHand) {
  // Symbol - 1: 254 plain; 255 escapes; 65534 the last short escape; 65535
  // and 2^32 - 2 the long form. The context survives the zeros before 2.
  const std::vector<uint32_t> symbols{255, 0, 256, 65535, 65536, 3, 0, 0, 0, 2, 0xFFFFFFFF};
  MemoryStreams m;
  m.Writer()->WriteSymbols(symbols.data(), symbols.size(), 1);

  std::vector<Bytes> want(CodecStreamCount);
  want[0] = {1};
  want[1] = {1 + 4 + 8 + 16 + 32, 2 + 4};
  want[2] = {254};                // context 0
  want[17] = {255, 255, 255, 2};  // context 15 after 254 and each escape
  want[4] = {1};                  // context 2, across three zeros
  want[3] = {255};                // context 1
  want[18] = {0xFF, 0xFE, 0xFF, 0xFF};
  want[19] = {0x00, 0xFF, 0xFF, 0xFF};
  want[20] = {0xFF, 0xFE};
  want[21] = {0xFF, 0xFF};
  want[22] = {0x00, 0xFF};
  want[23] = {0x00, 0xFF};
  ASSERT_EQ(m.bytes[0][0], StreamCodecId);
  EXPECT_EQ(Unframe(Bytes(m.bytes[0].begin() + 1, m.bytes[0].end())), want[0]);
  for (uint32_t s = 1; s < CodecStreamCount; ++s) EXPECT_EQ(Unframe(m.bytes[s]), want[s]) << s;
  // A lone byte is a raw block: coded size 0, the byte as payload.
  EXPECT_EQ(m.bytes[2], (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 254}));

  const std::vector<uint32_t> previous{4, 8, 15, 16, 23, 42, 0, 1, 2, 3, 4};
  std::vector<uint32_t> want32(symbols.size()), got(symbols.size());
  InverseRow32(symbols.data(), previous.data(), want32.data(), symbols.size(), 1);
  auto reader = m.Reader();
  EXPECT_TRUE(Read(*reader, got, previous.data()));
  EXPECT_EQ(got, want32);
}

template <typename T>
void CheckRoundTrip(size_t bigRows) {
  // Rows of zeros, of random and of edge values, rows close to the one
  // before and smooth falling rows; every other row against its previous.
  std::mt19937 rng(sizeof(T));
  const uint32_t edges[] = {0, 254, 255, 256, 65534, 65535, 65536, 0xFFFFFFFE, 0xFFFFFFFF};
  std::vector<std::vector<T>> rows;
  for (size_t n : {0, 1, 5, 8, 9, 64, 1000, 1326})
    for (int r = 0; r < 10; ++r) {
      std::vector<T> row(n);
      for (size_t i = 0; i < n; ++i)
        row[i] = T(r % 5 == 1   ? rng()
                   : r % 5 == 2 ? edges[rng() % 9]
                   : r % 5 == 3 ? rows.back()[i] + (rng() % 4 ? 0 : rng() % 5)
                   : r % 5 == 4 ? std::max<int64_t>(0, 3000 - int64_t(i) * 7 + rng() % 9)
                                : 0);
      rows.push_back(row);
    }
  for (size_t r = 0; r < bigRows; ++r) {
    rows.emplace_back(1326);
    for (T& x : rows.back()) x = T(rng());
  }
  auto previousOf = [&](std::vector<std::vector<T>>& set, size_t r) {
    return r % 2 && set[r - 1].size() == set[r].size() ? set[r - 1].data() : nullptr;
  };

  MemoryStreams m;
  {
    auto writer = m.Writer();
    for (size_t r = 0; r < rows.size(); ++r) Write(*writer, rows[r], previousOf(rows, r));
  }
  auto reader = m.Reader();
  std::vector<std::vector<T>> got;
  for (size_t r = 0; r < rows.size(); ++r) {
    got.emplace_back(rows[r].size(), T(0x77));
    ASSERT_TRUE(Read(*reader, got[r], previousOf(got, r))) << r;
    ASSERT_EQ(got[r], rows[r]) << r;
  }
  // Everything written was read, and no more.
  for (uint32_t s = 0; s < CodecStreamCount; ++s) EXPECT_EQ(m.position[s], m.bytes[s].size()) << s;

  // 166 maps per long row: past 65536 only the last block is shorter.
  std::vector<uint32_t> blocks;
  const size_t maps = Unframe(m.bytes[1], &blocks).size();
  for (size_t b = 0; b + 1 < blocks.size(); ++b) EXPECT_EQ(blocks[b], 65536u);
  EXPECT_EQ(blocks.size(), (maps + 65535) / 65536);
}

TEST_F(StreamCodec, RoundTripsRowsOfEveryKindOverSeveralBlocks) {
  CheckRoundTrip<uint32_t>(0);
  CheckRoundTrip<uint16_t>(400);
  EXPECT_EQ(lastFailure, CodecFailure::none);
}

TEST_F(StreamCodec, RefusesLongRowsAndUnknownIds) {
  MemoryStreams m;
  std::vector<uint32_t> row(1327, 1);
  {
    auto writer = m.Writer();
    Write(*writer, row, nullptr);
    EXPECT_EQ(lastFailure, CodecFailure::countTooLarge);
  }
  EXPECT_EQ(m.bytes[0], Bytes{2});
  lastFailure = CodecFailure::none;
  EXPECT_FALSE(Read(*m.Reader(), row, nullptr));
  EXPECT_EQ(lastFailure, CodecFailure::countTooLarge);
  EXPECT_EQ(row[0], 1u);
  EXPECT_EQ(std::string(CodecFailureLine(lastFailure)), "fail\n");

  MemoryStreams empty;
  for (uint8_t id : {3, 255}) EXPECT_FALSE(CreateWriter(id, nullptr, nullptr, MemoryStreams::Output, &empty));
  EXPECT_TRUE(empty.bytes[0].empty());
  EXPECT_FALSE(empty.Reader());  // no id byte at all
  empty.bytes[0] = {3};
  EXPECT_FALSE(empty.Reader());
}

// Damage of every kind: both rows read as zeros, "fse error" is reported,
// and no stream is read past its end.
TEST_F(StreamCodec, DamagedOrShortInputIsAFailureNotGarbage) {
  std::vector<uint32_t> row(300);
  for (size_t i = 0; i < row.size(); ++i) row[i] = 3000 - 7 * i + i * i % 9;
  MemoryStreams good;
  {
    auto writer = good.Writer();
    Write(*writer, row, nullptr);
    Write(*writer, row, row.data());
  }
  ASSERT_GT(good.bytes[1].size(), 20u);
  const std::pair<const char*, void (*)(MemoryStreams&)> damages[] = {
      {"payload short", [](MemoryStreams& m) { m.bytes[1].pop_back(); }},
      {"header short", [](MemoryStreams& m) { m.bytes[1].resize(5); }},
      {"coded size past any block", [](MemoryStreams& m) { m.bytes[1][4] = m.bytes[1][5] = 0xFF; }},
      {"raw size above 65536", [](MemoryStreams& m) { m.bytes[1][2] = 2; }},
      {"one map of 38", [](MemoryStreams& m) { m.bytes[1] = {1, 0, 0, 0, 0, 0, 0, 0, 0}; }},
      {"mode 7", [](MemoryStreams& m) { m.bytes[0] = {2, 2, 0, 0, 0, 0, 0, 0, 0, 7, 0}; }},
      {"mode 1, no previous", [](MemoryStreams& m) { m.bytes[0] = {2, 2, 0, 0, 0, 0, 0, 0, 0, 1, 1}; }},
      {"map bit past the row", [](MemoryStreams& m) { m.bytes[0] = {2, 1, 0, 0, 0, 0, 0, 0, 0, 0};
                                                      m.bytes[1] = {1, 0, 0, 0, 0, 0, 0, 0, 0x10}; }},
  };
  for (const auto& [what, damage] : damages) {
    MemoryStreams m = good;
    damage(m);
    lastFailure = CodecFailure::none;
    auto reader = m.Reader();
    std::vector<uint32_t> got(what == std::string("map bit past the row") ? 4 : row.size(), 9);
    const bool first = Read(*reader, got, nullptr);
    EXPECT_FALSE(first && Read(*reader, got, row.data())) << what;
    EXPECT_EQ(got, std::vector<uint32_t>(got.size(), 0)) << what;
    EXPECT_EQ(reader->Failure(), CodecFailure::damagedData) << what;
    EXPECT_EQ(lastFailure, CodecFailure::damagedData) << what;
    for (uint32_t s = 0; s < CodecStreamCount; ++s) EXPECT_LE(m.position[s], m.bytes[s].size()) << what;
  }
  EXPECT_EQ(std::string(CodecFailureLine(CodecFailure::damagedData)), "fse error\n");
}

}  // namespace
