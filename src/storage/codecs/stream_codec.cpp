#include "storage/codecs/stream_codec.h"

#include <emmintrin.h>
#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "storage/codecs/fse.h"
#include "storage/codecs/row_transform.h"

namespace {

constexpr size_t ScratchSize = FseCompressBound(StreamBlockSize);
constexpr size_t MemorySize = size_t(CodecStreamCount) * StreamBlockSize + ScratchSize;
constexpr uint32_t ContextCount = 16;
constexpr uint32_t FirstSymbolStream = 2;
constexpr uint32_t EscapeStreamLow = 18, EscapeStreamHigh = 19, WideStream = 20;
constexpr uint32_t Escape8 = 255, Escape16 = 65535;
constexpr uint32_t ShortBlock = 1024;

uint8_t* AllocateBuffers() {
  void* memory = scalable_aligned_malloc(MemorySize, 16);
  if (!memory) throw std::bad_alloc();
  return static_cast<uint8_t*>(memory);
}

void PutLittleEndian32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}

uint32_t GetLittleEndian32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

}  // namespace

StreamCodecWriter::StreamCodecWriter(CodecOutput output, void* context)
    : output_(output), context_(context), memory_(AllocateBuffers()) {
  for (uint32_t i = 0; i < CodecStreamCount; ++i)
    buffers_[i] = StreamBuffer{0, memory_ + size_t(i) * StreamBlockSize, i, 0};
  scratch_ = memory_ + size_t(CodecStreamCount) * StreamBlockSize;
}

StreamCodecWriter::~StreamCodecWriter() {
  for (StreamBuffer& buffer : buffers_)
    if (buffer.used > 0) Flush(buffer);
  scalable_aligned_free(memory_);
}

void StreamCodecWriter::Flush(StreamBuffer& buffer) {
  // Short blocks are stored raw, or as their one byte: FSE would save a
  // few bytes on them at the price of a table to build here and another at
  // every read, and a block holds a few tens of rows.
  FseResult coded{FseNotCompressible};
  if (buffer.used >= ShortBlock) {
    coded = FseCompress(scratch_, ScratchSize, buffer.data, buffer.used);
  } else if (buffer.used > 1 && std::all_of(buffer.data, buffer.data + buffer.used, [&](uint8_t b) { return b == buffer.data[0]; })) {
    scratch_[0] = buffer.data[0];
    coded.size = FseOneByteRepeated;
  }
  // With a bound-sized destination FSE cannot fail; should it, the block
  // is still kept whole by storing it raw.
  if (coded.IsError()) coded.size = FseNotCompressible;
  uint8_t header[8];
  PutLittleEndian32(header, buffer.used);
  PutLittleEndian32(header + 4, uint32_t(coded.size));
  output_(context_, buffer.stream, header, sizeof header);
  if (coded.size == FseNotCompressible)
    output_(context_, buffer.stream, buffer.data, buffer.used);
  else
    output_(context_, buffer.stream, scratch_, coded.size);  // FseOneByteRepeated: the byte itself
  buffer.used = 0;
}

// The rarest form: v = symbol - 1 of at least 65535, escaped twice. The
// context becomes 15.
void StreamCodecWriter::PutWide(uint32_t v, uint32_t context) {
  Put(FirstSymbolStream + context, uint8_t(Escape8));
  Put(EscapeStreamLow, 255);
  Put(EscapeStreamHigh, 255);
  for (uint32_t i = 0; i < 4; ++i) Put(WideStream + i, uint8_t(v >> (8 * i)));
}

namespace {

// Bit k set where s[k] is not zero, for a whole group of 8: two compares
// and two packs, which SSE2 has on every x86-64.
uint32_t NonZeroMap8(const uint32_t* s) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i low = _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)), zero);
  const __m128i high = _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 4)), zero);
  const __m128i bytes = _mm_packs_epi16(_mm_packs_epi32(low, high), zero);
  return ~uint32_t(_mm_movemask_epi8(bytes)) & 0xFF;
}

}  // namespace

void StreamCodecWriter::WriteSymbols(const uint32_t* symbols, size_t count, uint8_t mode) {
  Put(0, mode);
  uint32_t context = 0;  // lasts the row, and zeros leave it as it is
  // Most groups of a converged row are all zero and cost one map byte; in
  // the others only the set bits of the map are visited. The common symbol
  // is one byte, put inline, with the context in a register.
  auto put = [&](uint32_t symbol) {
    const uint32_t v = symbol - 1;
    if (v < Escape8) [[likely]] {
      Put(FirstSymbolStream + context, uint8_t(v));
      context = std::min(v, ContextCount - 1);
    } else if (v < Escape16) {
      // Real rows escape often, so the two-byte form is inline too.
      Put(FirstSymbolStream + context, uint8_t(Escape8));
      Put(EscapeStreamLow, uint8_t(v));
      Put(EscapeStreamHigh, uint8_t(v >> 8));
      context = ContextCount - 1;
    } else {
      PutWide(v, context);
      context = ContextCount - 1;
    }
  };
  size_t group = 0;
  for (; group + 8 <= count; group += 8) {
    const uint32_t map = NonZeroMap8(symbols + group);
    for (uint32_t bits = map; bits != 0; bits &= bits - 1)
      put(symbols[group + std::countr_zero(bits)]);
    Put(1, uint8_t(map));
  }
  if (group < count) {
    uint32_t map = 0;
    for (size_t k = 0; group + k < count; ++k) map |= uint32_t(symbols[group + k] != 0) << k;
    for (uint32_t bits = map; bits != 0; bits &= bits - 1)
      put(symbols[group + std::countr_zero(bits)]);
    Put(1, uint8_t(map));
  }
}

StreamCodecReader::StreamCodecReader(CodecInput input, void* context)
    : input_(input), context_(context), memory_(AllocateBuffers()) {
  // Read positions start at the end of an empty block, so that the first
  // byte of each stream refills.
  for (uint32_t i = 0; i < CodecStreamCount; ++i)
    buffers_[i] = StreamBuffer{StreamBlockSize, memory_ + size_t(i) * StreamBlockSize, i, StreamBlockSize};
  scratch_ = memory_ + size_t(CodecStreamCount) * StreamBlockSize;
}

StreamCodecReader::~StreamCodecReader() { scalable_aligned_free(memory_); }

bool StreamCodecReader::Fail() {
  if (failure_ == CodecFailure::none) failure_ = CodecFailure::damagedData;
  return false;
}

// Every size is checked before it is used: the raw size against the block
// size, the coded size against the largest block the writer can make, and
// every read against what the input really delivered.
bool StreamCodecReader::Refill(StreamBuffer& buffer) {
  if (failure_ != CodecFailure::none) return false;
  uint8_t header[8];
  if (input_(context_, buffer.stream, header, sizeof header) != sizeof header) return Fail();
  const uint32_t rawSize = GetLittleEndian32(header);
  const uint32_t codedSize = GetLittleEndian32(header + 4);
  if (rawSize == 0 || rawSize > StreamBlockSize) return Fail();

  if (codedSize == FseNotCompressible) {
    if (input_(context_, buffer.stream, buffer.data, rawSize) != rawSize) return Fail();
  } else if (codedSize == FseOneByteRepeated) {
    uint8_t byte;
    if (input_(context_, buffer.stream, &byte, 1) != 1) return Fail();
    std::memset(buffer.data, byte, rawSize);
  } else {
    if (codedSize > FseCompressBound(rawSize)) return Fail();
    if (input_(context_, buffer.stream, scratch_, codedSize) != codedSize) return Fail();
    const FseResult raw = FseDecompress(buffer.data, rawSize, scratch_, codedSize);
    if (raw.IsError() || raw.size != rawSize) return Fail();
  }
  buffer.used = 0;
  buffer.filled = rawSize;
  return true;
}

// The row functions check first; this keeps a direct caller's row untouched.
bool StreamCodecReader::RefuseCount() {
  if (failure_ == CodecFailure::none) failure_ = CodecFailure::countTooLarge;
  return false;
}

// The rare forms of a non-zero symbol: its stream's block is used up, or
// it escaped. The next context is min(symbol - 1, 15) either way, so the
// caller keeps it.
uint32_t StreamCodecReader::GetSymbol(uint32_t context) {
  const uint32_t byte = Get(FirstSymbolStream + context);
  if (byte < Escape8) return byte + 1;
  const uint32_t v16 = uint32_t(Get(EscapeStreamLow)) | uint32_t(Get(EscapeStreamHigh)) << 8;
  if (v16 < Escape16) return v16 + 1;
  uint32_t v = 0;
  for (uint32_t i = 0; i < 4; ++i) v |= uint32_t(Get(WideStream + i)) << (8 * i);
  return v + 1;
}

bool StreamCodecReader::DecodeSymbols(size_t count, bool hasPrevious, uint8_t& mode) {
  if (failure_ != CodecFailure::none) return false;
  mode = Get(0);
  // Only modes 0 and 1 are written, and mode 1 only with a previous row.
  if (mode > RowModeLeftAndPrevious || (mode == RowModeLeftAndPrevious && !hasPrevious)) return Fail();
  // Each symbol's stream is chosen by the one before, so the chain from one
  // symbol to the next is the decoder's speed. On it lie only the load of
  // the stream's read pointer (an array of pointers, indexed without any
  // arithmetic), the load of the byte and a minimum; the buffers learn
  // their positions back at the row's end or before a slow read.
  const uint8_t* next[ContextCount];
  const uint8_t* end[ContextCount];
  for (uint32_t c = 0; c < ContextCount; ++c) {
    const StreamBuffer& buffer = buffers_[FirstSymbolStream + c];
    next[c] = buffer.data + buffer.used;
    end[c] = buffer.data + buffer.filled;
  }
  // The escape streams' positions likewise: real rows escape often (a
  // step of 256 or more), and an escape's context is known before its
  // bytes are read, so they stay off the chain.
  StreamBuffer& lowBuffer = buffers_[EscapeStreamLow];
  StreamBuffer& highBuffer = buffers_[EscapeStreamHigh];
  const uint8_t* low = lowBuffer.data + lowBuffer.used;
  const uint8_t* high = highBuffer.data + highBuffer.used;
  const uint8_t* lowEnd = lowBuffer.data + lowBuffer.filled;
  const uint8_t* highEnd = highBuffer.data + highBuffer.filled;
  uint32_t context = 0;
  for (size_t group = 0; group < count; group += 8) {
    const size_t n = std::min<size_t>(8, count - group);
    uint32_t map = Get(1);
    // A bit past the row's end belongs to no value: no writer sets it.
    if (map >> n) {
      Fail();
      break;
    }
    // Zeros first, whole groups at once (symbols_ is padded to a multiple
    // of 8), then only the set bits are visited: a test per symbol would
    // mispredict on about every non-zero one.
    uint32_t* s = symbols_ + group;
    std::memset(s, 0, 8 * sizeof(uint32_t));
    for (; map != 0; map &= map - 1) {
      const uint8_t* at = next[context];
      uint32_t symbol, following;
      if (at != end[context] && *at != Escape8) [[likely]] {
        const uint32_t byte = *at;
        next[context] = at + 1;
        symbol = byte + 1;
        following = std::min(byte, ContextCount - 1);  // from the byte: one step less on the chain
      } else if (at != end[context] && low != lowEnd && high != highEnd && (*low & *high) != 255) {
        // An escape to two bytes, both in their streams' current blocks.
        next[context] = at + 1;
        symbol = (uint32_t(*low++) | uint32_t(*high++) << 8) + 1;
        following = ContextCount - 1;
      } else {
        // A used-up block, or the rare forms of an escape.
        StreamBuffer& buffer = buffers_[FirstSymbolStream + context];
        buffer.used = uint32_t(at - buffer.data);
        lowBuffer.used = uint32_t(low - lowBuffer.data);
        highBuffer.used = uint32_t(high - highBuffer.data);
        symbol = GetSymbol(context);
        next[context] = buffer.data + buffer.used;
        end[context] = buffer.data + buffer.filled;
        low = lowBuffer.data + lowBuffer.used;
        high = highBuffer.data + highBuffer.used;
        lowEnd = lowBuffer.data + lowBuffer.filled;
        highEnd = highBuffer.data + highBuffer.filled;
        following = std::min(symbol - 1, ContextCount - 1);
      }
      s[std::countr_zero(map)] = symbol;
      context = following;
    }
  }
  for (uint32_t c = 0; c < ContextCount; ++c) {
    StreamBuffer& buffer = buffers_[FirstSymbolStream + c];
    buffer.used = uint32_t(next[c] - buffer.data);
  }
  lowBuffer.used = uint32_t(low - lowBuffer.data);
  highBuffer.used = uint32_t(high - highBuffer.data);
  return failure_ == CodecFailure::none;
}

bool StreamCodecReader::ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) {
  if (count > MaxRowCount) return RefuseCount();
  uint8_t mode = 0;
  if (!DecodeSymbols(count, previous != nullptr, mode)) {
    std::fill(row, row + count, 0u);
    return false;
  }
  InverseRow32(symbols_, previous, row, count, mode);
  return true;
}

bool StreamCodecReader::ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) {
  if (count > MaxRowCount) return RefuseCount();
  uint8_t mode = 0;
  if (!DecodeSymbols(count, previous != nullptr, mode)) {
    std::fill(row, row + count, uint16_t(0));
    return false;
  }
  InverseRow16(symbols_, previous, row, count, mode);
  return true;
}
