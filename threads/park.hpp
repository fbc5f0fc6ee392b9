// SPDX-License-Identifier: MIT
// Sleeping on a word without changing what the word holds.
//
// The library's lock words keep their plain values (0 free, 1 held; the
// reader/writer lock's counters), so no bit of theirs can say "somebody
// sleeps here". Sleepers announce themselves in a small process-wide table
// of counters instead, hashed by the word's address: a thread that gives a
// word back looks at the word's counter and wakes the word's sleepers only
// when it is not 0, so that an uncontended release makes no system call.
//
// The order that keeps a wake-up from being lost: a sleeper adds itself to
// the counter and then sleeps only while the word still holds the value it
// saw (the kernel checks that under its own lock); a waker changes the word
// and then reads the counter, both sequentially consistent. Either the
// waker sees the sleeper, or the sleeper sees the new value.
#pragma once

#include <atomic>
#include <cstdint>

namespace vesk::sync {

struct alignas(64) Sleepers {
    std::atomic<uint32_t> count{0};
};

constexpr unsigned kSleeperSlots = 64;
extern Sleepers g_sleepers[kSleeperSlots];

inline Sleepers &sleepers_of(const void *word) {
    const auto a = reinterpret_cast<uintptr_t>(word);
    return g_sleepers[(a >> 3 ^ a >> 9) % kSleeperSlots];
}

// Sleeps while *word reads `seen`; returns at a wake-up, a change of the
// word, or a signal, and the caller looks again.
void sleep_on(const uint32_t *word, uint32_t seen);

// Wakes up to `how_many` sleepers on `word`; only for wake_sleepers.
void wake(const uint32_t *word, int how_many);

// To be called after a change of *word that a sleeper may wait for, the
// change being sequentially consistent (an exchange or compare-exchange).
// One sleeper for a word that only one thread can take next, all of them
// where every sleeper may go on (readers behind a writer).
inline void wake_sleepers(const uint32_t *word, int how_many = 1) {
    if (sleepers_of(word).count.load(std::memory_order_seq_cst) != 0) [[unlikely]]
        wake(word, how_many);
}

// The bare futex calls, for a lock word that says itself whether anybody
// sleeps on it.
void futex_wait(const uint32_t *word, uint32_t seen);
void futex_wake(const uint32_t *word, int how_many);

// How long a waiter spins before it sleeps: long enough to cover a holder's
// few instructions, short enough that a holder that lost its processor
// costs the others little.
constexpr int kSpinsBeforeSleep = 128;

}  // namespace vesk::sync
