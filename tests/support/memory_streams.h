// The 24 codec streams held in memory, for tests, fuzz targets and
// benchmarks that drive a codec without an arena or a file behind it.
//
// Input never hands out bytes past a stream's end, and reports how many it
// gave, so a reader on damaged streams sees exactly what a short file would
// show it. A read position past the end would mean the reader asked for a
// negative count or lost its place; that is a fault, so it aborts.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "storage/codecs/codec.h"

struct MemoryStreams {
  std::vector<uint8_t> bytes[CodecStreamCount];
  size_t position[CodecStreamCount] = {};

  static void Output(void* context, uint32_t stream, const void* data, size_t size) {
    auto& b = static_cast<MemoryStreams*>(context)->bytes[stream];
    b.insert(b.end(), static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
  }
  static size_t Input(void* context, uint32_t stream, void* data, size_t size) {
    auto* self = static_cast<MemoryStreams*>(context);
    const auto& b = self->bytes[stream];
    if (self->position[stream] > b.size()) std::abort();
    size = std::min(size, b.size() - self->position[stream]);
    if (size) std::memcpy(data, b.data() + self->position[stream], size);
    self->position[stream] += size;
    return size;
  }

  std::unique_ptr<CodecWriter> Writer(uint8_t id = StreamCodecId, const uint64_t* histogram = nullptr,
                                      uint64_t* histogramOut = nullptr) {
    return CreateWriter(id, histogram, histogramOut, Output, this);
  }
  // Reading starts again from the first byte of every stream.
  std::unique_ptr<CodecReader> Reader() {
    std::fill(std::begin(position), std::end(position), size_t{0});
    return CreateReader(Input, this);
  }
  size_t Size() const {
    size_t total = 0;
    for (const auto& b : bytes) total += b.size();
    return total;
  }
};
