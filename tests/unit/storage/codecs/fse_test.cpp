#include "storage/codecs/fse.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// Blocks written by the reference coder, committed beside this file (the
// build passes sources by absolute path).
const std::string VectorDir = KESTRUNE_SOURCE_DIR "/tests/unit/storage/codecs/fse_vectors/";

Bytes ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A reference block: raw bytes, the size the coder reported
// (0 not compressible, 1 one byte repeated, else the coded size) and the
// coded bytes.
struct Vector {
  std::string id, kind;
  size_t codedSize = 0;
  Bytes raw, coded;
};

std::vector<Vector> LoadVectors() {
  std::vector<Vector> vectors;
  std::ifstream manifest(VectorDir + "MANIFEST");
  std::string line;
  while (std::getline(manifest, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    Vector v;
    size_t rawSize = 0;
    fields >> v.id >> rawSize >> v.codedSize >> v.kind;
    v.raw = ReadFile(VectorDir + v.id + ".raw");
    v.coded = ReadFile(VectorDir + v.id + ".fse");
    EXPECT_EQ(v.raw.size(), rawSize) << v.id;
    vectors.push_back(std::move(v));
  }
  return vectors;
}

// Decodes into a buffer of exactly the raw size, so that the sanitizer
// build sees any write past it.
FseResult Decode(const Bytes& coded, size_t rawSize, Bytes* out) {
  out->assign(rawSize, 0);
  return FseDecompress(out->data(), rawSize, coded.data(), coded.size());
}

TEST(FseVectors, EveryReferenceBlockDecodesAndEncodesToTheSameBytes) {
  const std::vector<Vector> vectors = LoadVectors();
  ASSERT_EQ(vectors.size(), 48u);
  for (const Vector& v : vectors) {
    SCOPED_TRACE(v.id + " " + v.kind);
    Bytes coded(FseCompressBound(v.raw.size()));
    const FseResult encoded = FseCompress(coded.data(), coded.size(), v.raw.data(), v.raw.size());
    ASSERT_FALSE(encoded.IsError()) << FseErrorName(encoded.error);
    ASSERT_EQ(encoded.size, v.codedSize);
    if (v.codedSize == FseOneByteRepeated) {
      EXPECT_EQ(coded[0], v.raw[0]);
    }
    if (v.codedSize <= FseOneByteRepeated) continue;

    coded.resize(encoded.size);
    EXPECT_EQ(coded, v.coded);
    Bytes decoded;
    const FseResult result = Decode(v.coded, v.raw.size(), &decoded);
    ASSERT_FALSE(result.IsError()) << FseErrorName(result.error);
    EXPECT_EQ(result.size, v.raw.size());
    EXPECT_EQ(decoded, v.raw);
  }
}

// Blocks of random bytes from one distribution: p the chance to stop at
// each symbol from 0 up (geometric), or uniform over `symbols` values, with
// `noise` the share of bytes replaced by any value.
Bytes RandomBlock(std::mt19937& rng, size_t size, double p, int symbols, double noise) {
  Bytes block(size);
  std::geometric_distribution<int> geometric(p);
  std::uniform_int_distribution<int> uniform(0, symbols - 1), anyByte(0, 255);
  std::bernoulli_distribution isNoise(noise);
  for (uint8_t& b : block)
    b = uint8_t(isNoise(rng) ? anyByte(rng) : p > 0 ? std::min(geometric(rng), 255) : uniform(rng));
  return block;
}

TEST(FseRoundTrip, RandomBlocksOfManyShapesAndSizes) {
  struct Shape {
    double p;
    int symbols;
    double noise;
  };
  const Shape shapes[] = {{0.5, 0, 0}, {0.9, 0, 0.001}, {0.05, 0, 0}, {0, 2, 0}, {0, 16, 0.01},
                          {0, 256, 0}, {0.99, 0, 0}, {0.3, 0, 0.3}};
  const size_t sizes[] = {1, 2, 3, 4, 5, 8, 17, 100, 127, 128, 129, 1000, 2047, 2048, 4097, 30000, 65535, 65536};
  int codedBlocks = 0;
  for (uint32_t seed = 1; seed <= 3; ++seed) {
    std::mt19937 rng(seed);
    for (const Shape& shape : shapes)
      for (size_t size : sizes) {
        const Bytes raw = RandomBlock(rng, size, shape.p, shape.symbols, shape.noise);
        SCOPED_TRACE(::testing::Message() << "seed " << seed << " size " << size << " p " << shape.p << " symbols "
                                          << shape.symbols);
        Bytes coded(FseCompressBound(size));
        const FseResult encoded = FseCompress(coded.data(), coded.size(), raw.data(), raw.size());
        ASSERT_FALSE(encoded.IsError()) << FseErrorName(encoded.error);

        // The rules for the two special sizes, counted here independently.
        uint32_t counts[256] = {};
        for (uint8_t b : raw) ++counts[b];
        const uint32_t maxCount = *std::max_element(counts, counts + 256);
        if (size <= 1 || maxCount == 1 || maxCount < size / 128) {
          EXPECT_EQ(encoded.size, FseNotCompressible);
        } else if (maxCount == size) {
          EXPECT_EQ(encoded.size, FseOneByteRepeated);
        }
        if (encoded.size <= FseOneByteRepeated) continue;

        EXPECT_LT(encoded.size, size - 1);
        coded.resize(encoded.size);
        Bytes decoded;
        const FseResult result = Decode(coded, size, &decoded);
        ASSERT_FALSE(result.IsError()) << FseErrorName(result.error);
        ASSERT_EQ(decoded, raw);
        ++codedBlocks;
      }
  }
  EXPECT_GT(codedBlocks, 150);  // most shapes do compress: the round trips ran
}

TEST(FseRoundTrip, OneRepeatedByteAndTooLittleRoom) {
  const Bytes same(5000, 0x5A);
  Bytes coded(FseCompressBound(same.size()), 0);
  const FseResult rle = FseCompress(coded.data(), coded.size(), same.data(), same.size());
  EXPECT_EQ(rle.size, FseOneByteRepeated);
  EXPECT_EQ(coded[0], 0x5A);

  // Every capacity short of the bound: an error or "not compressible", or
  // the same bytes; never a write past the buffer (the sanitizer build
  // checks that).
  std::mt19937 rng(7);
  const Bytes raw = RandomBlock(rng, 3000, 0.4, 0, 0);
  Bytes full(FseCompressBound(raw.size()));
  const FseResult reference = FseCompress(full.data(), full.size(), raw.data(), raw.size());
  ASSERT_GT(reference.size, FseOneByteRepeated);
  for (size_t capacity = 0; capacity < reference.size + 16; ++capacity) {
    Bytes small(capacity);
    const FseResult r = FseCompress(small.data(), capacity, raw.data(), raw.size());
    if (r.IsError() || r.size == FseNotCompressible) continue;
    ASSERT_EQ(r.size, reference.size) << capacity;
    EXPECT_TRUE(std::equal(small.begin(), small.begin() + long(r.size), full.begin())) << capacity;
  }
}

// A damaged block gives an error or a block of the right size, never a
// crash or a read or write outside the buffers.
void ExpectFailsCleanly(const Bytes& coded, size_t rawSize) {
  Bytes decoded;
  const FseResult r = Decode(coded, rawSize, &decoded);
  if (!r.IsError()) {
    ASSERT_EQ(r.size, rawSize);
  }
}

TEST(FseDamage, TruncationsFlipsWrongSizesAndHeaderFaults) {
  const std::vector<Vector> vectors = LoadVectors();
  std::mt19937 rng(11);
  // Every cut of the smaller blocks; flips in all, a whole 64 KB one too.
  for (const char* id : {"009", "012", "027", "043", "046", "031", "039"}) {
    const Vector& v = *std::find_if(vectors.begin(), vectors.end(), [&](const Vector& w) { return w.id == id; });
    SCOPED_TRACE(v.id);
    Bytes decoded;
    // The size is part of the block: one byte more or fewer is damage.
    EXPECT_EQ(Decode(v.coded, v.raw.size() - 1, &decoded).error, FseError::corruptionDetected);
    EXPECT_EQ(Decode(v.coded, v.raw.size() + 1, &decoded).error, FseError::corruptionDetected);

    for (size_t length = 0; length < v.coded.size() && v.coded.size() < 4000; ++length)
      ExpectFailsCleanly(Bytes(v.coded.begin(), v.coded.begin() + long(length)), v.raw.size());

    std::uniform_int_distribution<size_t> where(0, v.coded.size() - 1);
    std::uniform_int_distribution<int> flips(1, 3), bit(0, 7);
    for (int trial = 0; trial < 400; ++trial) {
      Bytes damaged = v.coded;
      for (int f = flips(rng); f > 0; --f) damaged[where(rng)] ^= uint8_t(1 << bit(rng));
      ExpectFailsCleanly(damaged, v.raw.size());
    }
  }

  // Table log 5 + 15 = 20: beyond what the format allows.
  const Bytes tooLarge = {0x0F, 0xFF, 0xFF, 0xFF};
  Bytes out(100);
  const FseResult r = FseDecompress(out.data(), out.size(), tooLarge.data(), tooLarge.size());
  EXPECT_STREQ(FseErrorName(r.error), "FSE_ERROR_tableLog_tooLarge");

  // Table log 5, symbol 0 absent (count value 1 in 5 bits), then runs of 3
  // more absent symbols past the last one: no state is ever given out.
  Bytes noStates(32, 0xFF);
  noStates[0] = 0x10;
  noStates[1] = 0xFE;
  EXPECT_STREQ(FseErrorName(FseDecompress(out.data(), out.size(), noStates.data(), noStates.size()).error),
               "FSE_ERROR_corruptionDetected");
  EXPECT_EQ(FseDecompress(out.data(), out.size(), nullptr, 0).error, FseError::srcSizeWrong);
}

}  // namespace
