#include "storage/codecs/bit_codec.h"

#include <algorithm>
#include <cstring>

#include "storage/codecs/row_transform.h"

namespace {

constexpr uint32_t BitStream = 1, NibbleStream = 2, ByteStream = 0;
constexpr uint32_t GroupSize = 8;
constexpr uint32_t EscapeNibble = 15, Escape8 = 255, Escape16 = 65535;

BitBlock EmptyBlock(uint32_t stream, uint32_t capacity, uint32_t used) {
  BitBlock block;
  std::memset(block.data, 0, sizeof block.data);
  block.used = used;
  block.capacity = capacity;
  block.stream = stream;
  return block;
}

}  // namespace

BitCodecWriter::BitCodecWriter(CodecOutput output, void* context)
    : output_(output),
      context_(context),
      bits_(EmptyBlock(BitStream, BitBlockSize * 8, 0)),
      nibbles_(EmptyBlock(NibbleStream, BitBlockSize * 2, 0)),
      bytes_(EmptyBlock(ByteStream, BitBlockSize, 0)) {}

BitCodecWriter::~BitCodecWriter() {
  for (BitBlock* block : {&bytes_, &bits_, &nibbles_})
    if (block->used > 0) Flush(*block);
}

void BitCodecWriter::Flush(BitBlock& block) {
  output_(context_, block.stream, block.data, BitBlockSize);
  std::memset(block.data, 0, sizeof block.data);  // bits and nibbles are or-ed in
  block.used = 0;
}

void BitCodecWriter::PutBit(uint32_t bit) {
  bits_.data[bits_.used >> 3] |= uint8_t(bit << (bits_.used & 7));
  if (++bits_.used == bits_.capacity) Flush(bits_);
}

void BitCodecWriter::PutNibble(uint32_t nibble) {
  nibbles_.data[nibbles_.used >> 1] |= uint8_t(nibble << 4 * (nibbles_.used & 1));
  if (++nibbles_.used == nibbles_.capacity) Flush(nibbles_);
}

void BitCodecWriter::PutByte(uint32_t byte) {
  bytes_.data[bytes_.used] = uint8_t(byte);
  if (++bytes_.used == bytes_.capacity) Flush(bytes_);
}

// Each size escapes to the next: nibble, byte, 16 bits, 32 bits.
void BitCodecWriter::PutValue(uint32_t v) {
  if (v < EscapeNibble) return PutNibble(v);
  PutNibble(EscapeNibble);
  if (v < Escape8) return PutByte(v);
  PutByte(Escape8);
  const uint32_t v16 = std::min(v, Escape16);
  PutByte(v16 & 0xFF);
  PutByte(v16 >> 8);
  if (v < Escape16) return;
  for (uint32_t i = 0; i < 4; ++i) PutByte(v >> 8 * i & 0xFF);
}

void BitCodecWriter::WriteSymbols(const uint32_t* symbols, size_t count, uint8_t mode) {
  PutBit(mode);
  for (size_t group = 0; group < count; group += GroupSize) {
    const uint32_t* s = symbols + group;
    const size_t n = std::min<size_t>(GroupSize, count - group);
    uint32_t any = 0;
    for (size_t k = 0; k < n; ++k) any |= s[k];
    PutBit(any != 0);
    if (any == 0) continue;
    for (size_t k = 0; k < n; ++k) {
      PutBit(s[k] != 0);
      if (s[k] != 0) PutValue(s[k] - 1);
    }
  }
}

// Read positions start at the end of an empty block, so that the first
// item of each stream fetches one.
BitCodecReader::BitCodecReader(CodecInput input, void* context)
    : input_(input),
      context_(context),
      bits_(EmptyBlock(BitStream, BitBlockSize * 8, BitBlockSize * 8)),
      nibbles_(EmptyBlock(NibbleStream, BitBlockSize * 2, BitBlockSize * 2)),
      bytes_(EmptyBlock(ByteStream, BitBlockSize, BitBlockSize)) {}

bool BitCodecReader::Fail() {
  if (failure_ == CodecFailure::none) failure_ = CodecFailure::damagedData;
  return false;
}

// Every block is whole, so anything short is damage.
bool BitCodecReader::Refill(BitBlock& block) {
  if (failure_ != CodecFailure::none) return false;
  if (input_(context_, block.stream, block.data, BitBlockSize) != BitBlockSize) return Fail();
  block.used = 0;
  return true;
}

uint32_t BitCodecReader::GetBit() {
  if (bits_.used == bits_.capacity && !Refill(bits_)) return 0;
  const uint32_t at = bits_.used++;
  return bits_.data[at >> 3] >> (at & 7) & 1;
}

uint32_t BitCodecReader::GetNibble() {
  if (nibbles_.used == nibbles_.capacity && !Refill(nibbles_)) return 0;
  const uint32_t at = nibbles_.used++;
  return nibbles_.data[at >> 1] >> 4 * (at & 1) & 0xF;
}

uint32_t BitCodecReader::GetByte() {
  if (bytes_.used == bytes_.capacity && !Refill(bytes_)) return 0;
  return bytes_.data[bytes_.used++];
}

uint32_t BitCodecReader::GetValue() {
  const uint32_t nibble = GetNibble();
  if (nibble < EscapeNibble) return nibble;
  const uint32_t byte = GetByte();
  if (byte < Escape8) return byte;
  const uint32_t low = GetByte();  // two statements: the reads must keep their order
  const uint32_t v16 = low | GetByte() << 8;
  if (v16 < Escape16) return v16;
  uint32_t v = 0;
  for (uint32_t i = 0; i < 4; ++i) v |= GetByte() << 8 * i;
  return v;
}

bool BitCodecReader::ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) {
  if (count > MaxRowCount) {
    if (failure_ == CodecFailure::none) failure_ = CodecFailure::countTooLarge;
    return false;
  }
  if (failure_ == CodecFailure::none) {
    const uint8_t mode = uint8_t(GetBit());
    if (mode == RowModeLeftAndPrevious && !previous) Fail();
    for (size_t group = 0; group < count && failure_ == CodecFailure::none; group += GroupSize) {
      uint32_t* s = symbols_ + group;
      const size_t n = std::min<size_t>(GroupSize, count - group);
      std::fill(s, s + n, 0u);
      if (!GetBit()) continue;
      uint32_t any = 0;
      for (size_t k = 0; k < n; ++k)
        if (GetBit()) {
          // A value of 2^32 - 1 would be the symbol 0, which has its own bit.
          const uint32_t v = GetValue();
          if (v == 0xFFFFFFFF) Fail();
          s[k] = v + 1;
          any = 1;
        }
      // No writer flags a group whose symbols are all zero.
      if (!any) Fail();
    }
    if (failure_ == CodecFailure::none) {
      InverseRow32(symbols_, previous, row, count, mode);
      return true;
    }
  }
  std::fill(row, row + count, 0u);
  return false;
}

bool BitCodecReader::ReadRow16(uint16_t* row, const uint16_t*, size_t count) {
  std::fill(row, row + std::min(count, MaxRowCount), uint16_t(0));
  return false;
}
