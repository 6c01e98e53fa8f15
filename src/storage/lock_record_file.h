// The file form of a LockRecord: its flags and, for a record that locks
// single combos, its hand mask as runs.
//
// A mask is mostly long stretches of locked or free hands, so it is saved
// as run lengths that alternate between free and locked, starting with
// free (a first run may be empty).
#pragma once

#include <cstdint>

#include "storage/strategy_store.h"

class TreeReader;
class TreeWriter;

void WriteLockRecord(TreeWriter& out, const LockRecord& lock);
// hands: the board's hand count, which a saved mask may not exceed. False,
// with the reader failed, for a damaged record; the record is then unlocked.
bool ReadLockRecord(TreeReader& in, LockRecord& lock, int32_t hands);
