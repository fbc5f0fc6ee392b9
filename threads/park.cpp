// SPDX-License-Identifier: MIT
// The sleepers' table and the futex calls behind it.
#include "park.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vesk::sync {

Sleepers g_sleepers[kSleeperSlots];

namespace {
long futex(const uint32_t *word, int op, uint32_t value) {
    return syscall(SYS_futex, word, op, value, nullptr, nullptr, 0);
}
}  // namespace

void futex_wait(const uint32_t *word, uint32_t seen) { futex(word, FUTEX_WAIT_PRIVATE, seen); }

void futex_wake(const uint32_t *word, int how_many) {
    futex(word, FUTEX_WAKE_PRIVATE, static_cast<uint32_t>(how_many));
}

void sleep_on(const uint32_t *word, uint32_t seen) {
    Sleepers &s = sleepers_of(word);
    s.count.fetch_add(1, std::memory_order_seq_cst);
    // Private: every word of the library lives in one process.
    futex(word, FUTEX_WAIT_PRIVATE, seen);
    s.count.fetch_sub(1, std::memory_order_relaxed);
}

void wake(const uint32_t *word, int how_many) { futex_wake(word, how_many); }

}  // namespace vesk::sync
