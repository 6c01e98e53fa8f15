#include "storage/lock_record_file.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "storage/tree_stream.h"

void WriteLockRecord(TreeWriter& out, const LockRecord& lock) {
  out.WriteValue(lock.flags);
  if (!(lock.flags & ComboLockedFlag)) return;
  const int32_t size = lock.handMask ? std::clamp(lock.handMaskSize, 0, 65535) : 0;
  std::vector<uint16_t> runs;
  bool locked = false;
  int32_t run = 0;
  for (int32_t i = 0; i < size; ++i) {
    if ((lock.handMask[size_t(i)] != 0) != locked) {
      runs.push_back(uint16_t(run));
      locked = !locked;
      run = 0;
    }
    ++run;
  }
  runs.push_back(uint16_t(run));
  out.WriteValue(uint16_t(size));
  out.WriteValue(uint16_t(runs.size()));
  out.Write(runs.data(), runs.size() * sizeof(uint16_t));
}

bool ReadLockRecord(TreeReader& in, LockRecord& lock, int32_t hands) {
  uint32_t flags = 0;
  in.ReadValue(flags);
  lock.flags = 0;
  if (in.Failed()) return false;
  if (flags & ComboLockedFlag) {
    uint16_t size = 0, runCount = 0;
    in.ReadValue(size);
    in.ReadValue(runCount);
    if (in.Failed() || size > hands || uint64_t(runCount) * 2 > in.Remaining()) {
      in.Fail();
      return false;
    }
    if (!lock.handMask) lock.handMask = std::make_unique<uint8_t[]>(size_t(std::max(hands, 1)));
    std::memset(lock.handMask.get(), 0, size_t(std::max(hands, 1)));
    lock.handMaskSize = size;
    int32_t at = 0;
    for (uint16_t r = 0; r < runCount; ++r) {
      uint16_t length = 0;
      in.ReadValue(length);
      // A run that would pass the end is cut there.
      const int32_t end = std::min(at + int32_t(length), int32_t(size));
      if (r % 2 == 1) std::memset(lock.handMask.get() + at, 1, size_t(end - at));
      at = end;
    }
    if (in.Failed()) return false;
  }
  lock.flags = flags;
  return true;
}
