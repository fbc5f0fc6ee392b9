// SPDX-License-Identifier: MIT
// In-process conditions, used under an NuSMutex, made of a sequence word and
// a count of sleepers in the storage of the pthread condition that the
// record declares: a waiter counts itself in, notes the word, leaves the
// mutex and sleeps while the word is unchanged; a signal or a broadcast moves
// the word on and, when somebody is counted in, wakes one waiter or all of
// them (with nobody waiting it makes no system call). They keep POSIX semantics (a signal with nobody waiting is
// lost; broadcast wakes every waiter; a waiter may wake without a signal and
// looks again) and the limit rules and reports of the handle conditions: a
// wait that times out holds the mutex again, reports "<function>: operation
// timed out." and gives -6.
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "nu.h"
#include "report.hpp"
#include "smutex.hpp"
#include "wait_limit.hpp"

using namespace vesk::threads;

namespace {

static_assert(2 * sizeof(uint32_t) <= sizeof(pthread_cond_t));

using Word [[gnu::may_alias]] = uint32_t;

inline uint32_t *sequence_of(NuSCond *cond) { return reinterpret_cast<Word *>(&cond->cond); }
inline uint32_t *sleepers_of(NuSCond *cond) { return reinterpret_cast<Word *>(&cond->cond) + 1; }

// Sleeps while the word reads `seen`, until the monotonic deadline if there
// is one; false when the deadline passed.
bool sleep_while(uint32_t *word, uint32_t seen, const timespec *deadline) {
    const long r = syscall(SYS_futex, word, FUTEX_WAIT_BITSET_PRIVATE, seen, deadline, nullptr,
                           FUTEX_BITSET_MATCH_ANY);
    return r == 0 || errno != ETIMEDOUT;
}

int64_t wait(NuSCond *cond, NuSMutex *mutex, uint32_t limit, const char *function,
             VeskErr *err) {
    if (cond == nullptr || mutex == nullptr)
        return refuse_null(err, function, cond == nullptr ? "@cond" : "@mutex");
    uint32_t *word = sequence_of(cond);
    // Counted in, under the mutex, before the word is read: a signaller that
    // reads no sleeper came before this waiter looked at its predicate.
    __atomic_fetch_add(sleepers_of(cond), 1, __ATOMIC_SEQ_CST);
    const uint32_t seen = __atomic_load_n(word, __ATOMIC_SEQ_CST);
    timespec deadline{};
    if (limit != kNoLimit)
        deadline = monotonic_deadline(limit);
    const uint32_t depth = smutex_leave(mutex);
    const bool woken = sleep_while(word, seen, limit == kNoLimit ? nullptr : &deadline);
    __atomic_fetch_sub(sleepers_of(cond), 1, __ATOMIC_RELAXED);
    smutex_retake(mutex, depth);
    return woken ? 0 : report_timed_out(err, function);
}

// With nobody counted in the signal is lost, as POSIX allows: whoever counts
// itself in later does so after the signaller's change under the mutex, and
// sees that change before it sleeps.
int64_t move_on(NuSCond *cond, int waiters) {
    if (__atomic_load_n(sleepers_of(cond), __ATOMIC_SEQ_CST) == 0)
        return 0;
    uint32_t *word = sequence_of(cond);
    __atomic_fetch_add(word, 1, __ATOMIC_SEQ_CST);
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, waiters, nullptr, nullptr, 0);
    return 0;
}

}  // namespace

extern "C" {

VESK_API int64_t NuSCondInit(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondInit", "@cond");
    std::memset(static_cast<void *>(cond), 0, sizeof *cond);
    return 0;
}

// The handle family's attributes mean nothing in-process.
VESK_API int64_t NuSCondInit2(NuSCond *cond, const NuPCondattr *, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondInit2", "@cond");
    return NuSCondInit(cond, err);
}

// Nothing is held outside the record.
VESK_API int64_t NuSCondDestroy(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondDestroy", "@cond");
    return 0;
}

VESK_API int64_t NuSCondSignal(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondSignal", "@cond");
    return move_on(cond, 1);
}

VESK_API int64_t NuSCondBroadcast(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondBroadcast", "@cond");
    return move_on(cond, INT_MAX);
}

VESK_API int64_t NuSCondWait(NuSCond *cond, NuSMutex *mutex, VeskErr *err) {
    return wait(cond, mutex, kNoLimit, "NuSCondWait", err);
}

VESK_API int64_t NuSCondTimedwait(NuSCond *cond, NuSMutex *mutex, const struct timespec *deadline,
                                  VeskErr *err) {
    return wait(cond, mutex, limit_of_deadline(deadline, nullptr), "NuSCondTimedwait", err);
}

VESK_API int64_t NuSCondTimedwait_rel(NuSCond *cond, NuSMutex *mutex,
                                      const struct timespec *duration, VeskErr *err) {
    return wait(cond, mutex, limit_of_duration(duration), "NuSCondTimedwait_rel", err);
}

VESK_API int64_t NuSCondTimedwait2(NuSCond *cond, NuSMutex *mutex, const struct timespec *deadline,
                                   const struct timespec *now, VeskErr *err) {
    return wait(cond, mutex, limit_of_deadline(deadline, now), "NuSCondTimedwait2", err);
}

VESK_API int64_t NuSCondTimedwait_ms(NuSCond *cond, NuSMutex *mutex, int64_t milliseconds,
                                     VeskErr *err) {
    const auto limit = limit_of_milliseconds(milliseconds);
    if (!limit)
        return refuse_duration(err, "NuSCondTimedwait_ms");
    return wait(cond, mutex, *limit, "NuSCondTimedwait_ms", err);
}

}  // extern "C"
