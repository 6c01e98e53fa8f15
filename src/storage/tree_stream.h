// The byte streams that stores and arenas save to and load from: a tree
// file being written or read, or a buffer in memory.
//
// Loading is where damage arrives, so the reader keeps two promises that
// the loaders build on: it knows how many bytes remain, which lets a loader
// refuse a count before it allocates for it, and a read that runs past the
// end fails and leaves the reader failed, so a loader may read a record
// field by field and check once. Files are read through one 1 MB buffer.
//
// All multi-byte fields are little-endian, which is the layout of every
// processor this program runs on; the fields are copied as they lie.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

static_assert(std::endian::native == std::endian::little);

// The format version of tree files this build makes.
inline constexpr int32_t NewestFormatVersion = 10;

class TreeReader {
 public:
  // Reads the bytes of a buffer that outlives the reader.
  TreeReader(const void* data, size_t size);
  // Reads a file from its current position to its end.
  explicit TreeReader(std::FILE* file);

  // Copies the next size bytes; false, and failed from then on, if fewer
  // remain (nothing useful is in out then).
  bool Read(void* out, size_t size);
  template <typename T>
  bool ReadValue(T& value) {
    return Read(&value, sizeof value);
  }
  uint64_t Remaining() const { return failed_ ? 0 : remaining_; }
  bool Failed() const { return failed_; }
  // Why a read failed, where it wasn't a loader's refusal: the input ended
  // before the bytes asked for, or the system reported an error (its errno).
  bool RanPastEnd() const { return pastEnd_; }
  int ReadErrno() const { return readErrno_; }
  // For a loader that finds a record it can't accept.
  void Fail() { failed_ = true; }

  // The format version of the file, -1 until its header is read: the
  // stores' file forms differ by it.
  int32_t formatVersion = -1;

 private:
  bool Refill();

  static constexpr size_t BufferSize = 1 << 20;
  std::FILE* file_ = nullptr;
  std::unique_ptr<uint8_t[]> buffer_;
  const uint8_t* next_ = nullptr;  // unread bytes of the buffer or memory
  size_t buffered_ = 0;
  uint64_t remaining_ = 0;  // bytes left in all, buffered ones included
  bool failed_ = false;
  bool pastEnd_ = false;
  int readErrno_ = 0;
};

class TreeWriter {
 public:
  // Appends to a buffer that outlives the writer.
  explicit TreeWriter(std::vector<uint8_t>& out) : memory_(&out) {}
  explicit TreeWriter(std::FILE* file) : file_(file) {}

  void Write(const void* data, size_t size);
  template <typename T>
  void WriteValue(const T& value) {
    Write(&value, sizeof value);
  }
  // False once any write to the file has failed (a full disk).
  bool Good() const { return !failed_; }

  // The format version of the file being written: the stores write the
  // forms of that version, so that a tree may be saved in its own.
  int32_t formatVersion = NewestFormatVersion;

 private:
  std::vector<uint8_t>* memory_ = nullptr;
  std::FILE* file_ = nullptr;
  bool failed_ = false;
};
