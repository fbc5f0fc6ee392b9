// SPDX-License-Identifier: MIT
// In-process conditions over pthread conditions, used under an NuSMutex
// taken once. They keep POSIX semantics (a signal with nobody waiting is
// lost; broadcast wakes every waiter) and the limit rules and reports of the
// handle conditions: a wait that times out holds the mutex again, reports
// "<function>: operation timed out." and gives -6.
#include <cerrno>

#include "nu.h"
#include "report.hpp"
#include "wait_limit.hpp"

using namespace vesk::threads;

namespace {

int64_t checked(int e, VeskErr *err) { return e == 0 ? 0 : report_system(err, e); }

int64_t wait(NuSCond *cond, NuSMutex *mutex, uint32_t limit, const char *function,
             VeskErr *err) {
    if (cond == nullptr || mutex == nullptr)
        return refuse_null(err, function, cond == nullptr ? "@cond" : "@mutex");
    if (limit == kNoLimit)
        return checked(pthread_cond_wait(&cond->cond, &mutex->mutex), err);
    const timespec deadline = monotonic_deadline(limit);
    const int e = pthread_cond_timedwait(&cond->cond, &mutex->mutex, &deadline);
    return e == ETIMEDOUT ? report_timed_out(err, function) : checked(e, err);
}

}  // namespace

extern "C" {

VESK_API int64_t NuSCondInit(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondInit", "@cond");
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    const int e = pthread_cond_init(&cond->cond, &attr);
    pthread_condattr_destroy(&attr);
    return checked(e, err);
}

// The handle family's attributes mean nothing in-process.
VESK_API int64_t NuSCondInit2(NuSCond *cond, const NuPCondattr *, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondInit2", "@cond");
    return NuSCondInit(cond, err);
}

VESK_API int64_t NuSCondDestroy(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondDestroy", "@cond");
    return checked(pthread_cond_destroy(&cond->cond), err);
}

VESK_API int64_t NuSCondSignal(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondSignal", "@cond");
    return checked(pthread_cond_signal(&cond->cond), err);
}

VESK_API int64_t NuSCondBroadcast(NuSCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuSCondBroadcast", "@cond");
    return checked(pthread_cond_broadcast(&cond->cond), err);
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
