// PackedRowFormat: rows of unsigned integers packed by byte class, with no
// prediction and no entropy coding. It is the fast row form of the packed
// arena and the row form of tree files, so both sides are written for
// speed: eight values are classified at once by OR-ing them (every class
// limit is 2^k - 1, so the OR is small exactly when the maximum is), every
// payload form is computed and the right one selected without branching,
// and payloads go out as fixed-size stores.
//
// The decision a reader will question: a packer may write scratch bytes
// past the size it returns, anywhere up to PackedRow*Bound(count). The
// buffer must always have that much room, even when the row packs small.
//
// Layout of a row of n values (all multi-byte fields little-endian):
//
// | Part            | Present                    | Bytes                                   |
// |-----------------|----------------------------|-----------------------------------------|
// | group           | n / 32 times               | control byte, then the four payloads    |
// | run             | (n % 32) / 8 times         | control byte, then the payload of 8     |
// | final part      | if n % 8 > 0               | control byte, then the payload of n % 8 |
//
// A group's control byte holds four 2-bit classes, values 0..7 in bits 1..0,
// 8..15 in bits 3..2 and so on. Classes of 8 values by their largest one:
//
// | Class | 16-bit rows              | 32-bit rows        | 24-bit rows        |
// |-------|--------------------------|--------------------|--------------------|
// | 0     | 0: no payload            | 0: no payload      | 0: no payload      |
// | 1     | <= 255: 8 bytes          | <= 255: 8 bytes    | <= 255: 8 bytes    |
// | 2     | <= 4095: 12 bytes (*)    | <= 65535: 16 bytes | <= 65535: 16 bytes |
// | 3     | above: 16 bytes          | above: 32 bytes    | above: 24 bytes    |
//
// (*) the 8 values as one 96-bit little-endian number, 12 bits each, the
// first in the lowest bits (the same bytes as three little-endian words).
//
// Runs and the final part carry one whole control byte each, saying how
// wide each of their values is:
//
// | Control | 16-bit rows  | 32-bit rows | 24-bit rows |
// |---------|--------------|-------------|-------------|
// | 0       | damage       | 1 byte      | 1 byte      |
// | 1       | 1 byte       | 2 bytes     | 2 bytes     |
// | 2       | damage       | 4 bytes     | 3 bytes     |
// | 3       | 2 bytes      | 4 bytes     | 3 bytes     |
// | 4..255  | damage       | damage      | damage      |
//
// The writers emit 1 or 3 in 16-bit rows and 0, 1 or 3 in the others. The
// readers of the wider rows take 2 like 3 because files from other builds
// may hold either; nothing is known to write 0 or 2 into a 16-bit row, so
// those are read as damage, as is every value above 3.
//
// The 24-bit form is the 32-bit one with three bytes for the widest class;
// its values must stay below 2^24 (higher bits are dropped).
#pragma once

#include <cstddef>
#include <cstdint>

// Exact worst cases: every value in the widest class. The 32-bit one stays
// within 5 bytes a value; the 16-bit one is 2 bytes a value plus one control
// byte per group, run and final part, which is up to 3 bytes more than
// 2 * n + (n + 31) / 32 when the rest holds more than one run.
constexpr size_t PackedRowControlBytes(size_t count) {
  return count / 32 + ((count % 32) + 7) / 8;
}
constexpr size_t PackedRow16Bound(size_t count) { return 2 * count + PackedRowControlBytes(count); }
constexpr size_t PackedRow24Bound(size_t count) { return 3 * count + PackedRowControlBytes(count); }
constexpr size_t PackedRow32Bound(size_t count) { return 4 * count + PackedRowControlBytes(count); }

enum class PackedRowError : uint8_t {
  none,
  truncated,   // the input ends inside the row
  badControl,  // a run or final part has a control byte no writer emits
};

struct [[nodiscard]] PackedRowResult {
  size_t size = 0;  // bytes read
  PackedRowError error = PackedRowError::none;

  bool IsError() const { return error != PackedRowError::none; }
};

// Pack `count` values into `out`, which has room for the bound of `count`;
// return the bytes that make up the row.
size_t PackRow16(const uint16_t* row, size_t count, uint8_t* out);
size_t PackRow24(const uint32_t* row, size_t count, uint8_t* out);
size_t PackRow32(const uint32_t* row, size_t count, uint8_t* out);

// Unpack one row of `count` values from the `inSize` bytes at `in`, which
// may hold more after it. Reads only inside the input whatever it holds,
// and writes only the `count` values; on an error the row is partly
// written.
PackedRowResult UnpackRow16(const uint8_t* in, size_t inSize, uint16_t* row, size_t count);
PackedRowResult UnpackRow24(const uint8_t* in, size_t inSize, uint32_t* row, size_t count);
PackedRowResult UnpackRow32(const uint8_t* in, size_t inSize, uint32_t* row, size_t count);
