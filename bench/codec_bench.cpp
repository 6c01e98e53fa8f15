// Speed of the row codecs. First their byte coder on full 64 KB blocks,
// the size every stream flushes at: bytes per second of raw data, coding
// and decoding. The bytes are skewed as the codec streams are, a geometric
// spread from 0 up (about half of them 0), so that both sides see the
// usual table sizes.
//
// The packed row form is timed on rows of 1000 hands shaped like regrets:
// smooth in hand strength, mostly small, zero below a threshold, as bytes
// per second of raw 16-bit row.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "storage/codecs/codec.h"
#include "storage/codecs/fse.h"
#include "storage/codecs/packed_row.h"
#include "storage/codecs/row_transform.h"
#include "memory_streams.h"
#include "regret_rows.h"

namespace {

constexpr size_t BlockSize = 65536;

std::vector<uint8_t> SkewedBlock() {
  std::mt19937 rng(1);
  std::geometric_distribution<int> geometric(0.5);
  std::vector<uint8_t> block(BlockSize);
  for (uint8_t& b : block) b = uint8_t(std::min(geometric(rng), 255));
  return block;
}

void BM_FseEncode(benchmark::State& state) {
  const std::vector<uint8_t> raw = SkewedBlock();
  std::vector<uint8_t> coded(FseCompressBound(raw.size()));
  size_t size = 0;
  for (auto _ : state) {
    size = FseCompress(coded.data(), coded.size(), raw.data(), raw.size()).size;
    benchmark::DoNotOptimize(coded.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(raw.size()));
  state.counters["ratio"] = double(size) / double(raw.size());
}
BENCHMARK(BM_FseEncode);

void BM_FseDecode(benchmark::State& state) {
  const std::vector<uint8_t> raw = SkewedBlock();
  std::vector<uint8_t> coded(FseCompressBound(raw.size()));
  coded.resize(FseCompress(coded.data(), coded.size(), raw.data(), raw.size()).size);
  std::vector<uint8_t> out(raw.size());
  for (auto _ : state) {
    FseResult r = FseDecompress(out.data(), out.size(), coded.data(), coded.size());
    benchmark::DoNotOptimize(r);
    benchmark::DoNotOptimize(out.data());
  }
  if (out != raw) state.SkipWithError("decoded block differs");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(raw.size()));
}
BENCHMARK(BM_FseDecode);

constexpr size_t RowHands = 1000;
constexpr size_t RowCount = 256;  // 512 KB of raw rows: the cache a busy core has

// Each row rises from zero past a threshold with a random scale and
// curvature, plus noise of a few percent: most values are small, a few
// reach 16 bits, and neighbours share their class, as regrets over hands
// sorted by strength do.
std::vector<uint16_t> RegretRows() {
  std::mt19937 rng(2);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<uint16_t> rows(RowCount * RowHands);
  for (size_t r = 0; r < RowCount; ++r) {
    const double threshold = 0.6 * unit(rng), scale = std::exp(std::log(60000.0) * unit(rng));
    const double power = 1.0 + 2.0 * unit(rng);
    for (size_t h = 0; h < RowHands; ++h) {
      const double x = double(h) / RowHands - threshold;
      const double v = x <= 0 ? 0.0 : scale * std::pow(x / (1.0 - threshold), power) * (0.95 + 0.1 * unit(rng));
      rows[r * RowHands + h] = uint16_t(std::min(v, 65535.0));
    }
  }
  return rows;
}

// Packs every row into one buffer, as the packed arena lays them out.
std::vector<uint8_t> PackRows(const std::vector<uint16_t>& rows, std::vector<size_t>& sizes) {
  std::vector<uint8_t> packed(RowCount * PackedRow16Bound(RowHands));
  size_t at = 0;
  sizes.clear();
  for (size_t r = 0; r < RowCount; ++r) {
    sizes.push_back(PackRow16(rows.data() + r * RowHands, RowHands, packed.data() + at));
    at += sizes.back();
  }
  packed.resize(at);
  return packed;
}

void BM_PackedRow16Pack(benchmark::State& state) {
  const std::vector<uint16_t> rows = RegretRows();
  std::vector<uint8_t> packed(RowCount * PackedRow16Bound(RowHands));
  size_t at = 0;
  for (auto _ : state) {
    at = 0;
    for (size_t r = 0; r < RowCount; ++r) at += PackRow16(rows.data() + r * RowHands, RowHands, packed.data() + at);
    benchmark::DoNotOptimize(packed.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(rows.size() * 2));
  state.counters["packed_share"] = double(at) / double(rows.size() * 2);
}
BENCHMARK(BM_PackedRow16Pack);

void BM_PackedRow16Unpack(benchmark::State& state) {
  const std::vector<uint16_t> rows = RegretRows();
  std::vector<size_t> sizes;
  const std::vector<uint8_t> packed = PackRows(rows, sizes);
  std::vector<uint16_t> back(rows.size());
  for (auto _ : state) {
    const uint8_t* in = packed.data();
    for (size_t r = 0; r < RowCount; ++r) {
      const PackedRowResult res = UnpackRow16(in, sizes[r], back.data() + r * RowHands, RowHands);
      in += res.size;
    }
    benchmark::DoNotOptimize(back.data());
  }
  if (back != rows) state.SkipWithError("unpacked rows differ");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(rows.size() * 2));
  state.counters["packed_share"] = double(packed.size()) / double(rows.size() * 2);
}
BENCHMARK(BM_PackedRow16Unpack);

}  // namespace

// The stream codec on rows like a node's regrets: 1000 hands sorted by
// strength, zero for the weak hands and rising smoothly for the rest, each
// row the one before plus a change that is constant over runs of hands and
// some noise on a quarter of them, so that the step against the previous
// row is often the better prediction. Speeds are of raw 16-bit row bytes;
// "share" is coded bytes over raw, "previousMode" the share of rows coded
// against the previous row, "nonZero" the share of non-zero symbols. The
// argument 1 runs the row transform's 512-bit forms, where the processor
// has them.
namespace {

// The program's selector would also ask the client's setting; here the
// argument decides.
bool SelectWideForms(benchmark::State& state) {
  const bool wide = state.range(0) == 1;
  if (wide && !__builtin_cpu_supports("avx512bw")) {
    state.SkipWithError("no AVX-512 on this processor");
    return false;
  }
  SetRowTransformWideTest(wide ? +[] { return true; } : nullptr);
  return true;
}

constexpr size_t BenchHands = 1000, BenchRows = 256;

std::vector<std::vector<uint16_t>> RegretLikeRows() { return GeneratedRegretRows(BenchRows, BenchHands).rows; }

void WriteAll(MemoryStreams& streams, const BenchRows16& set) {
  auto writer = streams.Writer();
  for (size_t r = 0; r < set.rows.size(); ++r) WriteRow16(*writer, set.rows[r].data(), set.Previous(r), set.rows[r].size());
}

// Arguments: the 512-bit forms, and the real rows instead of generated ones.
void BM_StreamCodecEncode(benchmark::State& state) {
  if (!SelectWideForms(state)) return;
  const BenchRows16 set = BenchRowSet(state.range(1));
  if (set.rows.empty()) return state.SkipWithError("no river row sample");
  size_t coded = 0;
  for (auto _ : state) {
    MemoryStreams streams;
    WriteAll(streams, set);
    coded = streams.Size();
  }
  const size_t raw = set.Values() * sizeof(uint16_t);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(raw));
  state.counters["share"] = double(coded) / double(raw);
  std::vector<uint32_t> symbols(MaxRowCount);
  size_t previousMode = 0, nonZero = 0;
  for (size_t r = 0; r < set.rows.size(); ++r) {
    const size_t n = set.rows[r].size();
    previousMode += TransformRow16(set.rows[r].data(), set.Previous(r), symbols.data(), n);
    nonZero += n - size_t(std::count(symbols.begin(), symbols.begin() + ptrdiff_t(n), 0u));
  }
  state.counters["previousMode"] = double(previousMode) / double(set.rows.size());
  state.counters["nonZero"] = double(nonZero) / double(set.Values());
}
BENCHMARK(BM_StreamCodecEncode)->ArgNames({"wide", "real"})->ArgsProduct({{0, 1}, {0, 1}});

void BM_StreamCodecDecode(benchmark::State& state) {
  if (!SelectWideForms(state)) return;
  const BenchRows16 set = BenchRowSet(state.range(1));
  if (set.rows.empty()) return state.SkipWithError("no river row sample");
  MemoryStreams streams;
  WriteAll(streams, set);
  BenchRows16 back = set;
  for (auto _ : state) {
    auto reader = streams.Reader();
    for (size_t r = 0; r < back.rows.size(); ++r)
      ReadRow16(*reader, back.rows[r].data(), back.Previous(r), back.rows[r].size());
    benchmark::DoNotOptimize(back.rows.data());
  }
  if (back.rows != set.rows) state.SkipWithError("decoded rows differ");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.Values() * sizeof(uint16_t)));
}
BENCHMARK(BM_StreamCodecDecode)->ArgNames({"wide", "real"})->ArgsProduct({{0, 1}, {0, 1}});

}  // namespace

// All three codec ids on the same rows widened to 32 bits, the only width
// the older ids (0: range coder, 1: bits and nibbles) take. Speeds are of
// raw 32-bit row bytes and "share" is coded bytes over them, so the ids
// compare directly; the argument is the id.
namespace {

std::vector<std::vector<uint32_t>> RegretLikeRows32() {
  std::vector<std::vector<uint32_t>> rows;
  for (const auto& row : RegretLikeRows()) rows.emplace_back(row.begin(), row.end());
  return rows;
}

void WriteAll32(MemoryStreams& streams, uint8_t id, const std::vector<std::vector<uint32_t>>& rows,
                const uint64_t* histogram = nullptr, uint64_t* histogramOut = nullptr) {
  auto writer = streams.Writer(id, histogram, histogramOut);
  for (size_t r = 0; r < rows.size(); ++r)
    WriteRow32(*writer, rows[r].data(), r ? rows[r - 1].data() : nullptr, BenchHands);
}

constexpr size_t RawBytes32 = BenchRows * BenchHands * sizeof(uint32_t);

void BM_RowCodecEncode32(benchmark::State& state) {
  const uint8_t id = uint8_t(state.range(0));
  const auto rows = RegretLikeRows32();
  size_t coded = 0;
  for (auto _ : state) {
    MemoryStreams streams;
    WriteAll32(streams, id, rows);
    coded = streams.Size();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(RawBytes32));
  state.counters["share"] = double(coded) / double(RawBytes32);
  if (id != RangeCodecId) return;
  // Id 0 with the symbol tree built from the counts of a first pass.
  uint64_t counts[256];
  MemoryStreams first, second;
  WriteAll32(first, id, rows, nullptr, counts);
  WriteAll32(second, id, rows, counts);
  state.counters["shareCounted"] = double(second.Size()) / double(RawBytes32);
}
BENCHMARK(BM_RowCodecEncode32)->Arg(0)->Arg(1)->Arg(2);

void BM_RowCodecDecode32(benchmark::State& state) {
  const uint8_t id = uint8_t(state.range(0));
  const auto rows = RegretLikeRows32();
  MemoryStreams streams;
  WriteAll32(streams, id, rows);
  std::vector<std::vector<uint32_t>> back(BenchRows, std::vector<uint32_t>(BenchHands));
  for (auto _ : state) {
    auto reader = streams.Reader();
    for (size_t r = 0; r < BenchRows; ++r)
      ReadRow32(*reader, back[r].data(), r ? back[r - 1].data() : nullptr, BenchHands);
    benchmark::DoNotOptimize(back.data());
  }
  if (back != rows) state.SkipWithError("decoded rows differ");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(RawBytes32));
}
BENCHMARK(BM_RowCodecDecode32)->Arg(0)->Arg(1)->Arg(2);

}  // namespace
