// SPDX-License-Identifier: MIT
// The in-process lock: a recursive lock of the library's own, inline in the
// owner's record, in the storage of the pthread mutex that the record
// declares. None of its operations can fail on a well-formed record, so only
// the try form reports that the lock is busy. A null record is refused: with
// -1, and a report where there is a status record.
//
// The lock word is 0 free, 1 held, 2 held with sleepers (the classic futex
// mutex); the owner is the thread pointer, which is unique among live
// threads and costs one load to read; the depth counts the owner's entries.
// A record of zeros, as a static one or one after NuSMutexInit, is free.
// Unlocking a lock the caller does not own changes nothing, as with a
// recursive pthread mutex.
#include <pthread.h>

#include <cstring>

#include "nu.h"
#include "park.hpp"
#include "report.hpp"
#include "smutex.hpp"
#include "spin.hpp"

using namespace vesk::threads;

namespace {

struct [[gnu::may_alias]] Own {
    uintptr_t owner;  // thread pointer of the holder, 0 when free
    uint32_t word;    // 0 free, 1 held, 2 held and slept on
    uint32_t depth;   // the owner's entries; only the owner touches it
};
static_assert(sizeof(Own) <= sizeof(pthread_mutex_t) && alignof(Own) <= alignof(pthread_mutex_t));

inline Own *own_of(NuSMutex *m) {
    return reinterpret_cast<Own *>(&m->mutex);
}

inline uintptr_t self() { return reinterpret_cast<uintptr_t>(__builtin_thread_pointer()); }

inline uintptr_t owner_of(const Own *o) { return __atomic_load_n(&o->owner, __ATOMIC_RELAXED); }

inline bool try_word(Own *o) {
    uint32_t free = 0;
    return __atomic_compare_exchange_n(&o->word, &free, 1, false, __ATOMIC_ACQUIRE,
                                       __ATOMIC_RELAXED);
}

[[gnu::noinline]] void take_slow(Own *o) {
    for (int spins = 0; spins < vesk::sync::kSpinsBeforeSleep; ++spins) {
        if (__atomic_load_n(&o->word, __ATOMIC_RELAXED) == 0 && try_word(o))
            return;
        vesk::sync::cpu_relax();
    }
    // From here on the word says that somebody sleeps, so that the holder's
    // unlock wakes one.
    while (__atomic_exchange_n(&o->word, 2, __ATOMIC_ACQUIRE) != 0)
        vesk::sync::futex_wait(&o->word, 2);
}

inline void become_owner(Own *o, uintptr_t me) {
    __atomic_store_n(&o->owner, me, __ATOMIC_RELAXED);
    o->depth = 1;
}

inline void give_up(Own *o) {
    __atomic_store_n(&o->owner, uintptr_t{0}, __ATOMIC_RELAXED);
    if (__atomic_exchange_n(&o->word, 0, __ATOMIC_RELEASE) == 2) [[unlikely]]
        vesk::sync::futex_wake(&o->word, 1);
}

}  // namespace

namespace vesk::threads {

uint32_t smutex_leave(NuSMutex *mutex) {
    Own *o = own_of(mutex);
    if (owner_of(o) != self())
        return 0;
    const uint32_t depth = o->depth;
    give_up(o);
    return depth;
}

void smutex_retake(NuSMutex *mutex, uint32_t depth) {
    if (depth == 0)
        return;
    Own *o = own_of(mutex);
    if (!try_word(o))
        take_slow(o);
    become_owner(o, self());
    o->depth = depth;
}

}  // namespace vesk::threads

extern "C" {

VESK_API int64_t NuSMutexInit(NuSMutex *mutex) {
    if (mutex == nullptr)
        return -1;
    std::memset(static_cast<void *>(mutex), 0, sizeof *mutex);
    return 0;
}

// The attributes of the handle family mean nothing to an in-process lock.
VESK_API int64_t NuSMutexInit2(NuSMutex *mutex, const NuPMutexattr *, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuSMutexInit2", "@mutex");
    return NuSMutexInit(mutex);
}

// Nothing is held outside the record.
VESK_API int64_t NuSMutexDestroy(NuSMutex *mutex, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuSMutexDestroy", "@mutex");
    return 0;
}

VESK_API int64_t NuSMutexLock(NuSMutex *mutex) {
    if (mutex == nullptr)
        return -1;
    Own *o = own_of(mutex);
    const uintptr_t me = self();
    if (owner_of(o) == me) {
        ++o->depth;
        return 0;
    }
    if (!try_word(o)) [[unlikely]]
        take_slow(o);
    become_owner(o, me);
    return 0;
}

VESK_API int64_t NuSMutexTrylock(NuSMutex *mutex, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuSMutexTrylock", "@mutex");
    Own *o = own_of(mutex);
    const uintptr_t me = self();
    if (owner_of(o) == me) {
        ++o->depth;
        return 1;
    }
    if (try_word(o)) {
        become_owner(o, me);
        return 1;
    }
    return report_busy(err, "NuSMutexTrylock");
}

VESK_API int64_t NuSMutexUnlock(NuSMutex *mutex) {
    if (mutex == nullptr)
        return -1;
    Own *o = own_of(mutex);
    if (owner_of(o) != self() || --o->depth != 0)
        return 0;
    give_up(o);
    return 0;
}

}  // extern "C"
