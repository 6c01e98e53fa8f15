// Codec failures noted rather than reported, for the time a loader checks
// data that came from a file.
//
// Damaged coded rows in the solver's own blocks mean its state is lost, and
// the codec layer ends the process. Coded rows in a file being loaded are
// the file's damage: the loader refuses the file and the process goes on.
// While a note lives, failures only set its flag. Only a loader running
// alone may hold one, since the hook it replaces is the whole process's;
// its checks may run on several threads.
#pragma once

#include <atomic>

#include "storage/codecs/codec.h"

class CodecFailureNote {
 public:
  CodecFailureNote() : previous_(SetCodecFailureHook(Note)) { failed_ = false; }
  ~CodecFailureNote() { SetCodecFailureHook(previous_); }
  CodecFailureNote(const CodecFailureNote&) = delete;
  CodecFailureNote& operator=(const CodecFailureNote&) = delete;

  bool Failed() const { return failed_.load(std::memory_order_relaxed); }

 private:
  static void Note(CodecFailure) { failed_.store(true, std::memory_order_relaxed); }
  static inline std::atomic<bool> failed_{false};
  CodecFailureHook previous_;
};
