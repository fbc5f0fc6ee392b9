// SPDX-License-Identifier: MIT
// Handle conditions: an auto-reset event in a shared block. A signal releases
// exactly one waiter, or stays set until the next wait if nobody waits;
// broadcast does the same. A wait gives its mutex up and starts waiting in
// one step: it takes the event's guard before it lets the mutex go, and a
// signal needs that guard, so no signal falls between the two.
#include <cerrno>

#include "handle.hpp"
#include "report.hpp"
#include "wait_limit.hpp"

namespace vesk::threads {

namespace {

int64_t set_event(NuPCond cond, VeskErr *err) {
    if (cond == 0)
        return report_system(err, EINVAL);
    SharedBlock *ev = block_of(cond);
    const int e = lock_block_mutex(&ev->mutex);
    if (e != 0)
        return report_system(err, e);
    ev->signalled = 1;
    pthread_cond_signal(&ev->cond);
    pthread_mutex_unlock(&ev->mutex);
    return 0;
}

// Waits until the event is set (and resets it) or the limit passes.
bool wait_event(SharedBlock *ev, uint32_t limit) {
    const timespec deadline = limit == kNoLimit ? timespec{} : monotonic_deadline(limit);
    while (ev->signalled == 0)
        if (wait_block_cond(ev, limit == kNoLimit ? nullptr : &deadline) == ETIMEDOUT)
            break;
    const bool set = ev->signalled != 0;
    ev->signalled = 0;
    return set;
}

int64_t wait(NuPCond cond, NuPMutex mutex, uint32_t limit, const char *function, VeskErr *err) {
    if (cond == 0 || mutex == 0)
        return report_system(err, EINVAL);
    SharedBlock *ev = block_of(cond);
    pthread_mutex_t *user = &block_of(mutex)->mutex;
    int e = lock_block_mutex(&ev->mutex);
    if (e != 0)
        return report_system(err, e);
    e = pthread_mutex_unlock(user);
    if (e != 0) {  // not the owner: the mutex is not taken again
        pthread_mutex_unlock(&ev->mutex);
        return report_system(err, e);
    }
    const bool set = wait_event(ev, limit);
    pthread_mutex_unlock(&ev->mutex);
    lock_block_mutex(user);
    return set ? 0 : report_timed_out(err, function);
}

}  // namespace
}  // namespace vesk::threads

using namespace vesk::threads;

extern "C" {

VESK_API int64_t NuPCondInit(NuPCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuPCondInit", "@cond");
    return init_handle(cond, BlockKind::event, nullptr, err);
}

VESK_API int64_t NuPCondInit2(NuPCond *cond, const NuPCondattr *attr, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuPCondInit2", "@cond");
    return init_handle(cond, BlockKind::event, attr, err);
}

VESK_API int64_t NuPCondDestroy(NuPCond *cond, VeskErr *err) {
    if (cond == nullptr)
        return refuse_null(err, "NuPCondDestroy", "@cond");
    return destroy_handle(cond);
}

VESK_API int64_t NuPCondSignal(NuPCond cond, VeskErr *err) { return set_event(cond, err); }

VESK_API int64_t NuPCondBroadcast(NuPCond cond, VeskErr *err) { return set_event(cond, err); }

VESK_API int64_t NuPCondWait(NuPCond cond, NuPMutex mutex, VeskErr *err) {
    return wait(cond, mutex, kNoLimit, "NuPCondWait", err);
}

VESK_API int64_t NuPCondTimedwait(NuPCond cond, NuPMutex mutex, const struct timespec *deadline,
                                  VeskErr *err) {
    return wait(cond, mutex, limit_of_deadline(deadline, nullptr), "NuPCondTimedwait", err);
}

VESK_API int64_t NuPCondTimedwait2(NuPCond cond, NuPMutex mutex, const struct timespec *deadline,
                                   const struct timespec *now, VeskErr *err) {
    return wait(cond, mutex, limit_of_deadline(deadline, now), "NuPCondTimedwait2", err);
}

VESK_API int64_t NuPCondTimedwait_ms(NuPCond cond, NuPMutex mutex, int64_t milliseconds,
                                     VeskErr *err) {
    const auto limit = limit_of_milliseconds(milliseconds);
    if (!limit)
        return refuse_duration(err, "NuPCondTimedwait_ms");
    return wait(cond, mutex, *limit, "NuPCondTimedwait_ms", err);
}

VESK_API int64_t NuPCondTimedwait_rel(NuPCond cond, NuPMutex mutex,
                                      const struct timespec *duration, VeskErr *err) {
    return wait(cond, mutex, limit_of_duration(duration), "NuPCondTimedwait_rel", err);
}

}  // extern "C"
