// Speed of the row codecs' byte coder on full 64 KB blocks, the size every
// stream flushes at: bytes per second of raw data, coding and decoding. The
// bytes are skewed as the codec streams are, a geometric spread from 0 up
// (about half of them 0), so that both sides see the usual table sizes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "storage/codecs/fse.h"

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

}  // namespace
