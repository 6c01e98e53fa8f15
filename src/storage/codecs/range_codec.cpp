#include "storage/codecs/range_codec.h"

#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "storage/codecs/row_transform.h"

namespace {

constexpr uint32_t ProbabilityBits = 11;
constexpr uint16_t ProbabilityStart = 1 << (ProbabilityBits - 1);  // one half
constexpr uint32_t AdaptShift = 4;
constexpr uint32_t TopValue = 1u << 24;  // below it the range takes another byte
constexpr uint32_t FlushBytes = 5;

constexpr uint32_t GroupSize = 16;
constexpr uint32_t GroupHistoryBits = 12, ZeroHistoryBits = 16;
constexpr uint32_t LargeValue = SymbolTreeValues - 1;  // 1023 and up go on through the bit trees
constexpr uint32_t FirstPreviousValue = 1022;
constexpr uint32_t WideLowBits = 17, WideHighBits = 16;

constexpr char Tag[4] = {'C', 'm', 'p', 'r'};

}  // namespace

// All probabilities of one coder. A bit tree of n bits uses the models 1 to
// 2^n - 1, indexed by 1 followed by the bits so far.
struct RangeModels {
  uint16_t mode;
  uint16_t group[2][1 << GroupHistoryBits];
  uint16_t zero[2][1 << ZeroHistoryBits];
  uint16_t value[2][SymbolTreeValues][SymbolTreeValues];  // mode, previous value, tree node
  uint16_t wideLow[1 << WideLowBits];
  uint16_t wideHigh[1 << WideHighBits];
};

namespace {

// Every field is uint16_t, so the record is one array of them.
static_assert(sizeof(RangeModels) % sizeof(uint16_t) == 0);

RangeModels* NewModels() {
  void* memory = scalable_aligned_malloc(sizeof(RangeModels), 64);
  if (!memory) throw std::bad_alloc();
  auto* models = static_cast<RangeModels*>(memory);
  std::fill_n(reinterpret_cast<uint16_t*>(models), sizeof(RangeModels) / sizeof(uint16_t), ProbabilityStart);
  return models;
}

void PushFlag(uint32_t& history, uint32_t flag, uint32_t bits) { history = (history << 1 | flag) & ((1u << bits) - 1); }

}  // namespace

// --- Writer ---

RangeCodecWriter::RangeCodecWriter(const uint64_t* histogram, uint64_t* histogramOut, CodecOutput output,
                                   void* context)
    : output_(output), context_(context), models_(NewModels()), histogramOut_(histogramOut) {
  uint8_t head[sizeof Tag + 8 * HistogramSize];
  std::memcpy(head, Tag, sizeof Tag);
  for (size_t v = 0; v < HistogramSize; ++v)
    for (size_t i = 0; i < 8; ++i) head[sizeof Tag + 8 * v + i] = histogram ? uint8_t(histogram[v] >> 8 * i) : 0;
  output_(context_, 0, head, sizeof head);
  if (histogramOut_) std::fill_n(histogramOut_, HistogramSize, uint64_t{0});
  if (!CreateOptimalTree(histogram, tree_)) {
    broken_ = true;
    ReportCodecFailure(CodecFailure::treeFailed);
  }
}

RangeCodecWriter::~RangeCodecWriter() {
  for (uint32_t i = 0; i < FlushBytes; ++i) ShiftLow();
  FlushBuffer();
  scalable_aligned_free(models_);
}

void RangeCodecWriter::FlushBuffer() {
  if (used_) output_(context_, 0, buffer_, used_);
  used_ = 0;
}

// A byte leaves only once no carry can reach it: a run of 0xFF bytes waits
// behind the cache byte until a byte below 0xFF or a carry settles it.
void RangeCodecWriter::ShiftLow() {
  if (uint32_t(low_) < 0xFF000000u || (low_ >> 32) != 0) {
    const uint8_t carry = uint8_t(low_ >> 32);
    uint8_t pending = cache_;
    do {
      PutByte(uint8_t(pending + carry));
      pending = 0xFF;
    } while (--cacheSize_ != 0);
    cache_ = uint8_t(low_ >> 24);
  }
  ++cacheSize_;
  low_ = (low_ & 0x00FFFFFF) << 8;
}

void RangeCodecWriter::Encode(uint16_t& probability, uint32_t bit) {
  const uint32_t bound = (range_ >> ProbabilityBits) * probability;
  if (bit == 0) {
    range_ = bound;
    probability += ((1 << ProbabilityBits) - probability) >> AdaptShift;
  } else {
    low_ += bound;
    range_ -= bound;
    probability -= probability >> AdaptShift;
  }
  while (range_ < TopValue) {
    range_ <<= 8;
    ShiftLow();
  }
}

void RangeCodecWriter::EncodeValue(uint32_t v, uint8_t mode, uint32_t& previousValue) {
  // 1. Down the symbol tree; a large value takes the path of 1023.
  const uint32_t target = std::min(v, LargeValue);
  uint16_t* models = models_->value[mode][previousValue];
  for (uint32_t lo = 0, hi = SymbolTreeValues, node = 0; hi - lo > 1;) {
    const SymbolTreeNode n = tree_[node];
    const uint32_t right = target >= n.split;
    Encode(models[node], right);
    if (right) {
      lo = n.split;
      node = n.right;
    } else {
      hi = n.split;
      ++node;
    }
  }
  previousValue = target;
  if (histogramOut_) ++histogramOut_[std::min<size_t>(v, HistogramSize - 1)];
  if (v < LargeValue) return;

  // 2. The rest: 16 bits and a flag for more, then the high 16 bits.
  const uint32_t w = v - LargeValue;
  const uint32_t wider = w > 0xFFFF;
  const uint32_t low = (w & 0xFFFF) | wider << 16;
  for (uint32_t i = WideLowBits, prefix = 1; i-- > 0;) {
    const uint32_t bit = low >> i & 1;
    Encode(models_->wideLow[prefix], bit);
    prefix = prefix << 1 | bit;
  }
  if (!wider) return;
  for (uint32_t i = WideHighBits, prefix = 1; i-- > 0;) {
    const uint32_t bit = w >> (16 + i) & 1;
    Encode(models_->wideHigh[prefix], bit);
    prefix = prefix << 1 | bit;
  }
}

void RangeCodecWriter::WriteSymbols(const uint32_t* symbols, size_t count, uint8_t mode) {
  if (broken_) return;
  Encode(models_->mode, mode);
  uint32_t groupHistory = 0, zeroHistory = 0, previousValue = FirstPreviousValue;
  for (size_t group = 0; group < count; group += GroupSize) {
    const uint32_t* s = symbols + group;
    const size_t n = std::min<size_t>(GroupSize, count - group);
    uint32_t any = 0;
    for (size_t k = 0; k < n; ++k) any |= s[k];
    any = any != 0;
    Encode(models_->group[mode][groupHistory], any);
    PushFlag(groupHistory, any, GroupHistoryBits);
    if (!any) continue;
    for (size_t k = 0; k < n; ++k) {
      const uint32_t nonZero = s[k] != 0;
      Encode(models_->zero[mode][zeroHistory], nonZero);
      PushFlag(zeroHistory, nonZero, ZeroHistoryBits);
      if (nonZero) EncodeValue(s[k] - 1, mode, previousValue);
    }
  }
}

// --- Reader ---

RangeCodecReader::RangeCodecReader(CodecInput input, void* context)
    : input_(input), context_(context), models_(NewModels()) {
  uint8_t head[sizeof Tag + 8 * HistogramSize];
  if (input_(context_, 0, head, sizeof Tag) != sizeof Tag || std::memcmp(head, Tag, sizeof Tag) != 0) {
    Fail(CodecFailure::wrongId);
    return;
  }
  const size_t countBytes = sizeof head - sizeof Tag;
  if (input_(context_, 0, head + sizeof Tag, countBytes) != countBytes) {
    Fail(CodecFailure::damagedData);
    return;
  }
  uint64_t histogram[HistogramSize] = {};
  for (size_t v = 0; v < HistogramSize; ++v)
    for (size_t i = 0; i < 8; ++i) histogram[v] |= uint64_t(head[sizeof Tag + 8 * v + i]) << 8 * i;
  if (!CreateOptimalTree(histogram, tree_)) {
    Fail(CodecFailure::treeFailed);
    return;
  }
  // The writer's first byte is its initial cache, 0, plus a carry that
  // cannot reach it.
  if (GetByte() != 0) Fail(CodecFailure::damagedData);
  for (uint32_t i = 1; i < FlushBytes; ++i) code_ = code_ << 8 | GetByte();
}

RangeCodecReader::~RangeCodecReader() { scalable_aligned_free(models_); }

// The coder's bytes are read one at a time, since the data's end is known
// only to the coder: it asks for exactly the bytes the writer made.
uint8_t RangeCodecReader::GetByte() {
  uint8_t byte = 0;
  if (failure_ != CodecFailure::none) return 0;
  if (input_(context_, 0, &byte, 1) != 1) Fail(CodecFailure::damagedData);
  return byte;
}

// Probabilities stay within 15 and 2033, so bound is never 0 nor the whole
// range, and each call ends: damaged bytes only steer it.
uint32_t RangeCodecReader::Decode(uint16_t& probability) {
  const uint32_t bound = (range_ >> ProbabilityBits) * probability;
  uint32_t bit;
  if (code_ < bound) {
    range_ = bound;
    probability += ((1 << ProbabilityBits) - probability) >> AdaptShift;
    bit = 0;
  } else {
    code_ -= bound;
    range_ -= bound;
    probability -= probability >> AdaptShift;
    bit = 1;
  }
  while (range_ < TopValue) {
    range_ <<= 8;
    code_ = code_ << 8 | GetByte();
  }
  return bit;
}

uint32_t RangeCodecReader::DecodeValue(uint8_t mode, uint32_t& previousValue) {
  // The tree was built here, so each step narrows [lo, hi): at most 1023.
  uint16_t* models = models_->value[mode][previousValue];
  uint32_t lo = 0;
  for (uint32_t hi = SymbolTreeValues, node = 0; hi - lo > 1;) {
    const SymbolTreeNode n = tree_[node];
    if (Decode(models[node])) {
      lo = n.split;
      node = n.right;
    } else {
      hi = n.split;
      ++node;
    }
  }
  previousValue = lo;
  if (lo < LargeValue) return lo;

  uint32_t low = 1;
  for (uint32_t i = 0; i < WideLowBits; ++i) low = low << 1 | Decode(models_->wideLow[low]);
  low -= 1u << WideLowBits;
  uint32_t w = low & 0xFFFF;
  if (low >> 16) {
    uint32_t high = 1;
    for (uint32_t i = 0; i < WideHighBits; ++i) high = high << 1 | Decode(models_->wideHigh[high]);
    high -= 1u << WideHighBits;
    // A writer sets the flag only for w above 65535.
    if (high == 0) Fail(CodecFailure::damagedData);
    w |= high << 16;
  }
  // Past 2^32 - 1024 the value would wrap; no writer makes it.
  if (w > 0xFFFFFFFFu - LargeValue - 1) Fail(CodecFailure::damagedData);
  return LargeValue + w;
}

bool RangeCodecReader::ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) {
  if (count > MaxRowCount) {
    Fail(CodecFailure::countTooLarge);
    return false;
  }
  if (failure_ == CodecFailure::none) {
    const uint8_t mode = uint8_t(Decode(models_->mode));
    if (mode == RowModeLeftAndPrevious && !previous) Fail(CodecFailure::damagedData);
    uint32_t groupHistory = 0, zeroHistory = 0, previousValue = FirstPreviousValue;
    for (size_t group = 0; group < count && failure_ == CodecFailure::none; group += GroupSize) {
      uint32_t* s = symbols_ + group;
      const size_t n = std::min<size_t>(GroupSize, count - group);
      std::fill(s, s + n, 0u);
      const uint32_t any = Decode(models_->group[mode][groupHistory]);
      PushFlag(groupHistory, any, GroupHistoryBits);
      if (!any) continue;
      uint32_t found = 0;
      for (size_t k = 0; k < n; ++k) {
        const uint32_t nonZero = Decode(models_->zero[mode][zeroHistory]);
        PushFlag(zeroHistory, nonZero, ZeroHistoryBits);
        if (nonZero) s[k] = DecodeValue(mode, previousValue) + 1;
        found |= nonZero;
      }
      // No writer flags a group whose symbols are all zero.
      if (!found) Fail(CodecFailure::damagedData);
    }
    if (failure_ == CodecFailure::none) {
      InverseRow32(symbols_, previous, row, count, mode);
      return true;
    }
  }
  std::fill(row, row + count, 0u);
  return false;
}

bool RangeCodecReader::ReadRow16(uint16_t* row, const uint16_t*, size_t count) {
  std::fill(row, row + std::min(count, MaxRowCount), uint16_t(0));
  return false;
}
