// SPDX-License-Identifier: MIT
// The library's one spin word: 0 when free, 1 when held, and nothing else.
// It is taken by test-and-test-and-set, spinning on a plain load with the
// processor's pause hint between tries so that waiters don't keep the cache
// line bouncing. A waiter that has spun a while yields its processor at
// every further look, so that a holder that lost its processor is not kept
// from running again by threads burning their slices on its word; giving the
// word back stays one plain store, with nobody to wake. Not recursive:
// a holder keeps it for a few instructions. The reader/writer lock of
// records, zones, the U notifiers and listeners and the clock's anchor all
// stand on it.
#pragma once

#include <sched.h>

#include <atomic>
#include <cstdint>

#include "park.hpp"

namespace vesk::sync {

// The processor's hint that the caller is spinning.
inline void cpu_relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield" ::: "memory");
#else
    std::atomic_signal_fence(std::memory_order_seq_cst);
#endif
}

template <class Word>
inline bool spin_try(Word &word) {
    Word free = 0;
    return std::atomic_ref<Word>(word).compare_exchange_strong(
        free, 1, std::memory_order_acquire, std::memory_order_relaxed);
}

// Past a short spin the waiter yields its processor at every look: with
// more threads than processors the holder may be the one waiting to run.
template <class Word>
[[gnu::noinline]] void spin_take_slow(Word &word) {
    std::atomic_ref<Word> w(word);
    for (int spins = 0;; ++spins) {
        if (w.load(std::memory_order_relaxed) == 0 && spin_try(word))
            return;
        if (spins < kSpinsBeforeSleep)
            cpu_relax();
        else
            sched_yield();
    }
}

template <class Word>
inline void spin_take(Word &word) {
    if (!spin_try(word)) [[unlikely]]
        spin_take_slow(word);
}

template <class Word>
inline void spin_give(Word &word) {
    std::atomic_ref<Word>(word).store(0, std::memory_order_release);
}

// Holds a spin word for its scope.
template <class Word>
class SpinLocked {
public:
    explicit SpinLocked(Word &word) : word_(word) { spin_take(word_); }
    ~SpinLocked() { spin_give(word_); }
    SpinLocked(const SpinLocked &) = delete;
    SpinLocked &operator=(const SpinLocked &) = delete;

private:
    Word &word_;
};

}  // namespace vesk::sync
