// GroupTouch: which groups of a river store have been cleared since the
// store took its memory.
//
// River rows are cleared group by group on first use, so that a dealt turn
// the solver never reaches costs no page faults. The rivers of one turn are
// one group but separate jobs, which run on several threads at once (river
// jobs of a turn tree, the per-river sums of calc_line_freq); a plain flag
// would let a second thread clear the group again after the first had
// already written its rows. So each group has one atomic state: the thread
// that claims it clears it, any other waits until it is ready. Once ready,
// a touch is a single acquire load, a plain load on x86, so the row
// operations pay nothing more for it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>

class GroupTouch {
 public:
  explicit GroupTouch(size_t groups) : count_(groups), state_(new std::atomic<uint8_t>[groups]) { Reset(); }

  // Runs clear() for the group once after Reset, however many threads ask
  // at the same time; none of them returns before the group is cleared.
  template <class Clear>
  void Touch(size_t group, Clear clear) {
    std::atomic<uint8_t>& state = state_[group];
    if (state.load(std::memory_order_acquire) == Ready) return;
    uint8_t expected = Untouched;
    if (state.compare_exchange_strong(expected, Clearing, std::memory_order_acquire)) {
      clear();
      state.store(Ready, std::memory_order_release);
      return;
    }
    // Clearing one group is a single memset; waiting for it is short.
    while (state.load(std::memory_order_acquire) != Ready) std::this_thread::yield();
  }

  // The group's rows were filled some other way (a loaded file): they are
  // not to be cleared. No thread may be touching meanwhile.
  void MarkTouched(size_t group) { state_[group].store(Ready, std::memory_order_release); }
  bool IsTouched(size_t group) const { return state_[group].load(std::memory_order_acquire) == Ready; }
  // Every group untouched again. No thread may be touching meanwhile.
  void Reset() {
    for (size_t g = 0; g < count_; ++g) state_[g].store(Untouched, std::memory_order_relaxed);
  }

 private:
  static constexpr uint8_t Untouched = 0, Clearing = 1, Ready = 2;

  size_t count_;
  std::unique_ptr<std::atomic<uint8_t>[]> state_;
};
