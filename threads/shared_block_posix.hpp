// SPDX-License-Identifier: MIT
// The memory behind a handle mutex, a condition or a light semaphore: one
// block holding a robust, process-shared pthread mutex and, for a condition,
// the state of an auto-reset event, for a semaphore its value and the word
// its waiters sleep on. A named block is a shm_open object that every
// process naming it maps; an anonymous one is a shared anonymous mapping,
// which a forked child shares too.
#pragma once

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cstdint>

namespace vesk::threads {

enum class BlockKind : uint32_t { mutex = 1, event = 2, semaphore = 3 };

struct SharedBlock {
    std::atomic<uint32_t> ready;  // 1 once the creator has set the block up
    std::atomic<int32_t> opens;   // handles open on a named block, in all processes
    BlockKind kind;
    pthread_mutex_t mutex;        // the mutex itself, or the event's guard
    pthread_cond_t cond;          // the event's or the semaphore's waiters (CLOCK_MONOTONIC)
    uint32_t signalled;           // the event's state, under `mutex`
    std::atomic<int32_t> value;   // the semaphore's value: written under `mutex`, read anywhere
    std::atomic<uint32_t> changes;  // moves with every change of `value`, under `mutex`
    std::atomic<uint32_t> sleepers; // waiters asleep on `changes`, or about to be
    char name[256];               // the shm name of a named block, else empty
};

// Opens (or creates) the block of `kind` named `name`, or makes an anonymous
// one for a null name. Null with errno set on failure. Only the process that
// creates the block writes `initial` into its value, before any other can
// see the block; `created` (may be null) tells whether this call did. With
// `kept_fd`, a named block's descriptor stays open in it for close_block,
// holding a shared lock that the kernel drops if the process dies (-1 for an
// anonymous block or on failure).
SharedBlock *open_block(BlockKind kind, const char *name, int32_t initial = 0,
                        bool *created = nullptr, int *kept_fd = nullptr);

// Drops this handle's use of the block; the last handle of a named block
// anywhere removes its name. With the descriptor the open kept, "last" also
// counts out handles of processes that died without closing them.
void close_block(SharedBlock *block, int kept_fd = -1);

// The calls on a block's robust mutex. The death of the former owner is not
// a failure: the lock passes to the caller, consistent. 0 or an errno (a
// try-lock gives EBUSY when the mutex is taken, a timed wait ETIMEDOUT).
int lock_block_mutex(pthread_mutex_t *m);
int trylock_block_mutex(pthread_mutex_t *m);
// Waits for the mutex until `deadline` on CLOCK_MONOTONIC.
int timedlock_block_mutex(pthread_mutex_t *m, const timespec *deadline);
// Waits on the block's condition with its mutex held, until `deadline` on
// CLOCK_MONOTONIC or, for null, without limit.
int wait_block_cond(SharedBlock *block, const timespec *deadline);

// A semaphore's condition, a futex on the change count, so that a waiter
// killed in its sleep leaves nothing behind that others depend on. With the
// block's mutex held: gives it up, sleeps until a change is noted or
// `deadline` (CLOCK_MONOTONIC, null: none) passes, and takes the mutex
// again. 0, ETIMEDOUT, or the errno of taking the mutex again.
int sleep_until_change(SharedBlock *block, const timespec *deadline);
// With the mutex held: the value changed.
void note_change(SharedBlock *block);
// After the mutex is given up: wakes every sleeper, if there is one.
void wake_sleepers(SharedBlock *block);

}  // namespace vesk::threads
