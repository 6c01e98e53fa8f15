// RelaxedSetting: a process-wide setting that the main thread writes while
// the solver thread reads it.
//
// Settings may change during a run and take effect at the solver's next
// read; nothing needs to be ordered around them, since each stands alone.
// A plain word would do that on the processor but is a data race in the
// language, which lets the compiler keep a value in a register across a
// loop, and which a race detector rightly reports. A relaxed atomic costs
// the same plain load and store and is neither. It reads and assigns as
// the value itself, so the settings keep their plain look at every use.
#pragma once

#include <atomic>

template <class T>
class RelaxedSetting {
 public:
  constexpr RelaxedSetting(T value) : value_(value) {}
  RelaxedSetting(const RelaxedSetting& other) : value_(T(other)) {}
  RelaxedSetting& operator=(const RelaxedSetting& other) { return *this = T(other); }
  RelaxedSetting& operator=(T value) {
    value_.store(value, std::memory_order_relaxed);
    return *this;
  }
  operator T() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<T> value_;
  static_assert(std::atomic<T>::is_always_lock_free);
};
