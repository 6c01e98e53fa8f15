// FSE (Finite State Entropy): the byte coder under the row codecs' streams.
//
// A block is written in the published FSE block format, so that blocks stay
// readable by and from other builds: a header of normalised counts, then a
// bit stream that two interleaved states write from the block's end and
// the reader consumes from the stream's end. Other builds read our bytes
// and we theirs, and equal input should give equal bytes; so the table log,
// the rounding of the counts and the order of the states are the reference
// coder's, and nothing here is "improved" at the cost of that.
//
// Nothing is allocated and nothing is global: the tables of one call live
// on the caller's stack (about 20 KB), so any number of threads may code at
// once.
#pragma once

#include <cstddef>
#include <cstdint>

// Errors carry the names the coder is known by (FseErrorName). A block
// reader treats any of them as a damaged block.
enum class FseError : uint8_t {
  none,
  generic,
  tableLogTooLarge,
  maxSymbolValueTooLarge,
  maxSymbolValueTooSmall,
  dstSizeTooSmall,
  srcSizeWrong,
  corruptionDetected,
  maxCode,  // one past the last code; never returned
};

// "FSE_ERROR_corruptionDetected" and so on.
const char* FseErrorName(FseError error);

struct [[nodiscard]] FseResult {
  size_t size = 0;
  FseError error = FseError::none;

  bool IsError() const { return error != FseError::none; }
};

// The two sizes FseCompress returns that are not coded blocks.
inline constexpr size_t FseNotCompressible = 0;  // store the block raw
inline constexpr size_t FseOneByteRepeated = 1;  // the block is dst[0], repeated

// Capacity that always suffices for FseCompress. With it the outcome never
// depends on the room given: whatever would overflow it is larger than the
// block and reported as not compressible anyway.
constexpr size_t FseCompressBound(size_t srcSize) { return srcSize + (srcSize >> 7) + 512; }

// Codes src into dst. The size is FseNotCompressible for blocks of at most
// one byte, for blocks whose most frequent byte occurs once or in less than
// 1/128 of the block, and for blocks that don't come out at least two bytes
// shorter; FseOneByteRepeated (with the byte in dst[0]) for a block of one
// repeated byte; else the number of bytes written.
FseResult FseCompress(void* dst, size_t dstCapacity, const void* src, size_t srcSize);

// Decodes one coded block. dstCapacity is the block's raw size: a block
// that decodes to any other length is damaged. Damaged input of any form
// gives an error, never a read or write outside the two buffers.
FseResult FseDecompress(void* dst, size_t dstCapacity, const void* src, size_t srcSize);
