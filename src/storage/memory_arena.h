// MemoryArena: the home of one compressed block, the coded rows of one
// player's river nodes below one dealt turn.
//
// The solver decodes such a block, works on the rows and encodes them back
// on every pass over the turn, so the block's length changes with every
// rewrite. An arena holds it without ever moving it, without freeing and
// reallocating, and without costing physical memory for room it merely may
// need: it reserves address space for its worst case once (mmap, with no
// swap reserved), commits what a write needs, and never gives committed
// memory back until it is destroyed. The kernel supplies a page only when
// it is first touched. How a commit is made depends on the kernel's
// overcommit policy (see memory_arena.cpp); either way the committed bytes
// are counted here, so that the reservation check and the file records
// see the same figures.
//
// Running out here is not a command error but the end of the process: a
// block that can't be written back means the solver's state is lost. The
// lines are "out of memory (not enough reserved)", "Reserve N bytes fail
// (errno E)" and "Commit N bytes fail (errno E)".
//
// Writing: BeginWrite, any number of WriteRow16 or WriteRow32 (one kind per
// block), EndWrite. Reading: BeginRead, the same row calls with the same
// counts and the same previous rows (or nulls), EndRead. One thread uses an
// arena at a time, with no lock: a whole dealt turn goes to one job.
#pragma once

#include <cstddef>
#include <cstdint>

class TreeReader;
class TreeWriter;

class MemoryArena {
 public:
  // Releases the reservation.
  virtual ~MemoryArena();
  virtual void BeginWrite() = 0;
  virtual void EndWrite() = 0;
  virtual bool HasData() const = 0;
  virtual void BeginRead() = 0;
  virtual void EndRead() = 0;
  virtual void WriteRow32(const uint32_t* row, const uint32_t* previous, size_t count) = 0;
  virtual void WriteRow16(const uint16_t* row, const uint16_t* previous, size_t count) = 0;
  // False if the row could not be read (it is then zeros or partly
  // written); damaged blocks are also reported as the codecs report them.
  virtual bool ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) = 0;
  virtual bool ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) = 0;
  virtual void Save(TreeWriter& out) const = 0;
  // Replaces the block with a saved one. False, with the arena left empty,
  // if the record is damaged or doesn't fit this arena's reservation; it
  // never commits more than the reader still holds.
  virtual bool Load(TreeReader& in) = 0;

  MemoryArena(const MemoryArena&) = delete;
  MemoryArena& operator=(const MemoryArena&) = delete;

  int64_t Size() const { return size; }
  int64_t Committed() const { return committed; }
  int64_t Reserved() const { return reserved; }

 protected:
  MemoryArena(int64_t reservedBytes, uint32_t granularity);
  // size becomes bytes; commits up to bytes rounded to the granularity if
  // that is more than is committed. Ends the process when it can't.
  void CommitTo(int64_t bytes);
  void ResetSize() { size = commitTarget = 0; }
  int64_t RoundUp(int64_t bytes) const { return (bytes + granularityMask) & ~int64_t(granularityMask); }

  int64_t commitTarget = 0;  // bytes wanted, rounded to the granularity
  int64_t size = 0;          // bytes of the block
  int64_t committed = 0;     // only grows
  int64_t reserved = 0;
  uint8_t* base = nullptr;   // null until the first commit
  uint32_t granularityMask = 0;
};
