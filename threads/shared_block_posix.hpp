// SPDX-License-Identifier: MIT
// The memory behind a handle mutex or condition: one block holding a robust,
// process-shared pthread mutex and, for a condition, the state of an
// auto-reset event. A named block is a shm_open object that every process
// naming it maps; an anonymous one is a shared anonymous mapping, which a
// forked child shares too.
#pragma once

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cstdint>

namespace vesk::threads {

enum class BlockKind : uint32_t { mutex = 1, event = 2 };

struct SharedBlock {
    std::atomic<uint32_t> ready;  // 1 once the creator has set the block up
    std::atomic<int32_t> opens;   // handles open on a named block, in all processes
    BlockKind kind;
    pthread_mutex_t mutex;        // the mutex itself, or the event's guard
    pthread_cond_t cond;          // the event's waiters (CLOCK_MONOTONIC)
    uint32_t signalled;           // the event's state, under `mutex`
    char name[256];               // the shm name of a named block, else empty
};

// Opens (or creates) the block of `kind` named `name`, or makes an anonymous
// one for a null name. Null with errno set on failure.
SharedBlock *open_block(BlockKind kind, const char *name);

// Drops this handle's use of the block; the last handle of a named block
// anywhere removes its name.
void close_block(SharedBlock *block);

// The calls on a block's robust mutex. The death of the former owner is not
// a failure: the lock passes to the caller, consistent. 0 or an errno (a
// try-lock gives EBUSY when the mutex is taken, a timed wait ETIMEDOUT).
int lock_block_mutex(pthread_mutex_t *m);
int trylock_block_mutex(pthread_mutex_t *m);
// Waits on the block's condition with its mutex held, until `deadline` on
// CLOCK_MONOTONIC or, for null, without limit.
int wait_block_cond(SharedBlock *block, const timespec *deadline);

}  // namespace vesk::threads
