// The stream codec through an in-memory set of 24 streams: the bytes of
// the layout worked by hand, the block framing, round trips of many kinds
// of rows, and damaged or truncated input.
#include "storage/codecs/stream_codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "storage/codecs/codec.h"
#include "storage/codecs/fse.h"
#include "storage/codecs/row_transform.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct MemoryStreams {
  Bytes bytes[CodecStreamCount];
  size_t position[CodecStreamCount] = {};

  static void Output(void* context, uint32_t stream, const void* data, size_t size) {
    Bytes& b = static_cast<MemoryStreams*>(context)->bytes[stream];
    b.insert(b.end(), static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
  }
  static size_t Input(void* context, uint32_t stream, void* data, size_t size) {
    auto* self = static_cast<MemoryStreams*>(context);
    const Bytes& b = self->bytes[stream];
    size = std::min(size, b.size() - self->position[stream]);
    std::memcpy(data, b.data() + self->position[stream], size);
    self->position[stream] += size;
    return size;
  }
  std::unique_ptr<CodecWriter> Writer() { return CreateWriter(StreamCodecId, nullptr, nullptr, Output, this); }
  std::unique_ptr<CodecReader> Reader() { return CreateReader(Input, this); }
};

struct Block {
  uint32_t rawSize, codedSize;
};

// Parses a stream's blocks from their header fields and returns the bytes
// they hold; the framing is read here, not by the codec's own reader.
Bytes Unframe(const Bytes& stream, std::vector<Block>* blocks = nullptr) {
  Bytes out;
  for (size_t at = 0; at < stream.size();) {
    EXPECT_LE(at + 8, stream.size());
    uint32_t raw = 0, coded = 0;
    for (int i = 0; i < 4; ++i) raw |= uint32_t(stream[at + i]) << (8 * i), coded |= uint32_t(stream[at + 4 + i]) << (8 * i);
    at += 8;
    if (blocks) blocks->push_back({raw, coded});
    const size_t payload = coded == 0 ? raw : coded;
    EXPECT_LE(at + payload, stream.size());
    if (coded == 0) {
      out.insert(out.end(), stream.begin() + at, stream.begin() + at + raw);
    } else if (coded == 1) {
      out.insert(out.end(), raw, stream[at]);
    } else {
      Bytes block(raw);
      const FseResult r = FseDecompress(block.data(), raw, stream.data() + at, coded);
      EXPECT_FALSE(r.IsError());
      out.insert(out.end(), block.begin(), block.end());
    }
    at += payload;
  }
  return out;
}

CodecFailure lastFailure = CodecFailure::none;
int failureCount = 0;

// Failures are noted instead of ending the test process.
class StreamCodec : public ::testing::Test {
 protected:
  void SetUp() override {
    lastFailure = CodecFailure::none;
    failureCount = 0;
    saved_ = SetCodecFailureHook([](CodecFailure f) { lastFailure = f, ++failureCount; });
  }
  void TearDown() override { SetCodecFailureHook(saved_); }
  CodecFailureHook saved_ = nullptr;
};

TEST_F(StreamCodec, RowOfZerosCostsAModeByteAndAMapBytePerEight) {
  MemoryStreams m;
  {
    auto writer = m.Writer();
    const std::vector<uint32_t> zeros(20, 0);
    WriteRow32(*writer, zeros.data(), nullptr, zeros.size());
    std::vector<uint16_t> many(1326, 0);
    WriteRow16(*writer, many.data(), many.data(), many.size());
  }
  // Stream 0: the id byte alone, then the two mode bytes 0, 0 as a block
  // of one repeated byte.
  EXPECT_EQ(m.bytes[0], (Bytes{2, 2, 0, 0, 0, 1, 0, 0, 0, 0}));
  // Stream 1: 3 + 166 zero maps in one repeated-byte block of one byte.
  EXPECT_EQ(m.bytes[1], (Bytes{169, 0, 0, 0, 1, 0, 0, 0, 0}));
  for (uint32_t s = 2; s < CodecStreamCount; ++s) EXPECT_TRUE(m.bytes[s].empty()) << s;
}

TEST_F(StreamCodec, SymbolBytesEscapesAndContextsWorkedByHand) {
  // Symbol - 1: 254 plain; 255 escapes; 65534 the last short escape; 65535
  // and 2^32 - 2 the long form. Zeros between keep the context.
  const std::vector<uint32_t> symbols{255, 0, 256, 65535, 65536, 3, 0, 0, 0, 2, 0xFFFFFFFF};
  MemoryStreams m;
  m.Writer()->WriteSymbols(symbols.data(), symbols.size(), 1);

  std::vector<Bytes> want(CodecStreamCount);
  want[0] = {1};
  want[1] = {1 + 4 + 8 + 16 + 32, 2 + 4};
  want[2] = {254};      // context 0, then context 15
  want[17] = {255, 255, 255, 2};  // three escapes in context 15, then 2
  want[4] = {1};        // context 2 across three zeros
  want[3] = {255};      // context 1
  want[18] = {0xFF, 0xFE, 0xFF, 0xFF};
  want[19] = {0x00, 0xFF, 0xFF, 0xFF};
  want[20] = {0xFF, 0xFE};
  want[21] = {0xFF, 0xFF};
  want[22] = {0x00, 0xFF};
  want[23] = {0x00, 0xFF};
  EXPECT_EQ(m.bytes[0][0], StreamCodecId);
  m.bytes[0].erase(m.bytes[0].begin());
  for (uint32_t s = 0; s < CodecStreamCount; ++s) EXPECT_EQ(Unframe(m.bytes[s]), want[s]) << s;
  // A lone byte is a raw block: coded size 0, the byte as payload.
  EXPECT_EQ(m.bytes[2], (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 254}));

  // Read back, the symbols undo the transform as the inverse does.
  m.bytes[0].insert(m.bytes[0].begin(), StreamCodecId);
  const std::vector<uint32_t> previous{4, 8, 15, 16, 23, 42, 0, 1, 2, 3, 4};
  std::vector<uint32_t> want32(symbols.size()), got(symbols.size());
  InverseRow32(symbols.data(), previous.data(), want32.data(), symbols.size(), 1);
  auto reader = m.Reader();
  ASSERT_TRUE(reader);
  EXPECT_TRUE(ReadRow32(*reader, got.data(), previous.data(), got.size()));
  EXPECT_EQ(got, want32);
  EXPECT_EQ(failureCount, 0);
}

template <typename T>
std::vector<T> RandomRow(std::mt19937& rng, size_t n, int kind, const std::vector<T>& near) {
  std::vector<T> row(n);
  const uint32_t edges[] = {0, 254, 255, 256, 65534, 65535, 65536, 0xFFFFFFFE, 0xFFFFFFFF};
  for (size_t i = 0; i < n; ++i) {
    switch (kind) {
      case 0: row[i] = 0; break;
      case 1: row[i] = T(rng()); break;
      case 2: row[i] = T(edges[rng() % 9]); break;
      case 3: row[i] = T(i < near.size() ? near[i] + (rng() % 4 == 0 ? rng() % 5 : 0) : 0); break;
      default: row[i] = T(std::max<int64_t>(0, 3000 - int64_t(i) * 7 + int64_t(rng() % 9))); break;
    }
  }
  return row;
}

template <typename T>
void RoundTrip(size_t rowsPerCount) {
  std::mt19937 rng(sizeof(T));
  std::vector<std::vector<T>> rows;
  std::vector<bool> withPrevious;
  std::vector<T> last;
  for (size_t n : {0, 1, 5, 8, 9, 64, 1000, 1326})
    for (size_t r = 0; r < rowsPerCount; ++r) {
      rows.push_back(RandomRow<T>(rng, n, int(r % 5), last));
      withPrevious.push_back(r % 2 == 1 && last.size() == n);
      last = rows.back();
    }
  MemoryStreams m;
  {
    auto writer = m.Writer();
    for (size_t i = 0; i < rows.size(); ++i) {
      const T* previous = withPrevious[i] ? rows[i - 1].data() : nullptr;
      if constexpr (sizeof(T) == 4)
        WriteRow32(*writer, rows[i].data(), previous, rows[i].size());
      else
        WriteRow16(*writer, rows[i].data(), previous, rows[i].size());
    }
  }
  auto reader = m.Reader();
  ASSERT_TRUE(reader);
  std::vector<std::vector<T>> got(rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    got[i].assign(rows[i].size(), T(0x77));
    const T* previous = withPrevious[i] ? got[i - 1].data() : nullptr;
    bool valid;
    if constexpr (sizeof(T) == 4)
      valid = ReadRow32(*reader, got[i].data(), previous, got[i].size());
    else
      valid = ReadRow16(*reader, got[i].data(), previous, got[i].size());
    ASSERT_TRUE(valid) << i;
    ASSERT_EQ(got[i], rows[i]) << i;
  }
  EXPECT_EQ(failureCount, 0);
  // Everything written was read, and no more.
  for (uint32_t s = 0; s < CodecStreamCount; ++s) EXPECT_EQ(m.position[s], m.bytes[s].size()) << s;
}

TEST_F(StreamCodec, RoundTripsRowsOfEveryKind) {
  RoundTrip<uint32_t>(10);
  RoundTrip<uint16_t>(10);
}

TEST_F(StreamCodec, StreamsLongerThanABlockSplitIntoFullBlocks) {
  // 400 random rows of 1326: 400 * 166 = 66400 map bytes, and well over
  // 65536 symbol bytes in the streams of the larger contexts.
  MemoryStreams m;
  std::mt19937 rng(3);
  std::vector<std::vector<uint16_t>> rows;
  {
    auto writer = m.Writer();
    for (int r = 0; r < 400; ++r) {
      rows.push_back(RandomRow<uint16_t>(rng, 1326, 1, {}));
      WriteRow16(*writer, rows.back().data(), nullptr, 1326);
    }
  }
  std::vector<Block> blocks;
  EXPECT_EQ(Unframe(m.bytes[1], &blocks).size(), 66400u);
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[0].rawSize, 65536u);
  EXPECT_EQ(blocks[1].rawSize, 66400u - 65536u);
  blocks.clear();
  Unframe(m.bytes[17], &blocks);
  EXPECT_GE(blocks.size(), 2u);

  auto reader = m.Reader();
  std::vector<uint16_t> got(1326);
  for (const auto& row : rows) {
    ASSERT_TRUE(ReadRow16(*reader, got.data(), nullptr, got.size()));
    ASSERT_EQ(got, row);
  }
}

TEST_F(StreamCodec, CountAboveTheCeilingIsReportedAndNothingMoves) {
  MemoryStreams m;
  std::vector<uint32_t> row(1327, 1);
  {
    auto writer = m.Writer();
    WriteRow32(*writer, row.data(), nullptr, row.size());
    EXPECT_EQ(lastFailure, CodecFailure::countTooLarge);
    WriteRow32(*writer, row.data(), nullptr, 3);
  }
  EXPECT_EQ(Unframe(Bytes(m.bytes[0].begin() + 1, m.bytes[0].end())), Bytes{0});
  auto reader = m.Reader();
  lastFailure = CodecFailure::none;
  EXPECT_FALSE(ReadRow32(*reader, row.data(), nullptr, row.size()));
  EXPECT_EQ(lastFailure, CodecFailure::countTooLarge);
  EXPECT_EQ(row[0], 1u);
  EXPECT_EQ(std::string(CodecFailureLine(CodecFailure::countTooLarge)), "fail\n");
}

TEST_F(StreamCodec, UnknownIdsMakeNoCodec) {
  MemoryStreams m;
  for (uint8_t id : {0, 1, 3, 255}) EXPECT_FALSE(CreateWriter(id, nullptr, nullptr, MemoryStreams::Output, &m));
  EXPECT_TRUE(m.bytes[0].empty());
  EXPECT_FALSE(m.Reader());  // no id byte at all
  m.bytes[0] = {1};
  EXPECT_FALSE(m.Reader());
}

// Damage of every kind: the row reads as zeros, the failure is reported as
// "fse error", and nothing after it is read.
TEST_F(StreamCodec, DamagedOrShortInputIsAFailureNotGarbage) {
  MemoryStreams good;
  std::mt19937 rng(5);
  const auto row = RandomRow<uint32_t>(rng, 300, 4, {});
  {
    auto writer = good.Writer();
    WriteRow32(*writer, row.data(), nullptr, row.size());
    WriteRow32(*writer, row.data(), row.data(), row.size());
  }
  auto expectDamage = [&](MemoryStreams& m, const char* what) {
    failureCount = 0;
    auto reader = m.Reader();
    ASSERT_TRUE(reader) << what;
    std::vector<uint32_t> got(row.size(), 9);
    bool valid = ReadRow32(*reader, got.data(), nullptr, got.size());
    valid = ReadRow32(*reader, got.data(), row.data(), got.size()) && valid;
    EXPECT_FALSE(valid) << what;
    EXPECT_EQ(lastFailure, CodecFailure::damagedData) << what;
    EXPECT_EQ(reader->Failure(), CodecFailure::damagedData) << what;
    EXPECT_EQ(got, std::vector<uint32_t>(row.size(), 0)) << what;
    for (uint32_t s = 0; s < CodecStreamCount; ++s) EXPECT_LE(m.position[s], m.bytes[s].size()) << what;
  };
  ASSERT_GT(good.bytes[1].size(), 20u);

  MemoryStreams m = good;
  m.bytes[1].resize(m.bytes[1].size() - 1);  // payload one byte short
  expectDamage(m, "short payload");
  m = good;
  m.bytes[1].resize(5);  // header cut
  expectDamage(m, "short header");
  m = good;
  m.bytes[1][4] = 0xFF, m.bytes[1][5] = 0xFF;  // coded size past any block
  expectDamage(m, "coded size");
  m = good;
  m.bytes[1][2] = 2;  // raw size above 65536
  expectDamage(m, "raw size");
  m = good;
  m.bytes[1].assign({1, 0, 0, 0, 0, 0, 0, 0, 0});  // one map of the 38 the row needs
  expectDamage(m, "stream ends early");
  m = good;
  m.bytes[0] = {2, 2, 0, 0, 0, 0, 0, 0, 0, 7, 0};  // mode 7
  expectDamage(m, "mode");
  m = good;
  m.bytes[0] = {2, 2, 0, 0, 0, 0, 0, 0, 0, 1, 1};  // mode 1 for a row without a previous one
  expectDamage(m, "mode without previous");
  // A map bit past the end of a short last group.
  MemoryStreams shortRow;
  {
    auto writer = shortRow.Writer();
    const uint32_t ones[3] = {1, 1, 1};
    WriteRow32(*writer, ones, nullptr, 3);
  }
  ASSERT_EQ(shortRow.bytes[1].size(), 9u);
  shortRow.bytes[1][8] |= 0x80;
  std::vector<uint32_t> got(3, 9);
  auto reader = shortRow.Reader();
  EXPECT_FALSE(ReadRow32(*reader, got.data(), nullptr, 3));
  EXPECT_EQ(lastFailure, CodecFailure::damagedData);
  EXPECT_EQ(std::string(CodecFailureLine(CodecFailure::damagedData)), "fse error\n");
}

}  // namespace
