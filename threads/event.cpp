// SPDX-License-Identifier: MIT
// Events: a mutex and a condition kept in one record with room for the state
// the condition stands for. One implementation serves both lock families; a
// family says how its mutex and condition are made, ended, taken and
// waited on, and the event passes the record's own pair through, so that the
// results, limits and reports are those of the family.
#include "nu.h"
#include "report.hpp"

using namespace vesk::threads;

namespace {

// The handle family: words passed by value once they exist.
struct HandleFamily {
    using Event = NuPVaxevent;
    static int64_t init_mutex(Event *e, const NuPMutexattr *a, VeskErr *err) {
        return NuPMutexInit2(&e->mutex, a, err);
    }
    static int64_t init_cond(Event *e, const NuPCondattr *a, VeskErr *err) {
        return NuPCondInit2(&e->cond, a, err);
    }
    static int64_t destroy_mutex(Event *e, VeskErr *err) { return NuPMutexDestroy(&e->mutex, err); }
    static int64_t destroy_cond(Event *e, VeskErr *err) { return NuPCondDestroy(&e->cond, err); }
    static int64_t lock(Event *e, VeskErr *err) { return NuPMutexLock(e->mutex, err); }
    static int64_t trylock(Event *e, VeskErr *err) { return NuPMutexTrylock(e->mutex, err); }
    static int64_t unlock(Event *e, VeskErr *err) { return NuPMutexUnlock(e->mutex, err); }
    static int64_t signal(Event *e, VeskErr *err) { return NuPCondSignal(e->cond, err); }
    // The handle condition never releases more than one waiter.
    static int64_t broadcast(Event *e, VeskErr *err) { return NuPCondSignal(e->cond, err); }
    static int64_t wait(Event *e, VeskErr *err) { return NuPCondWait(e->cond, e->mutex, err); }
    static int64_t timedwait(Event *e, const timespec *d, VeskErr *err) {
        return NuPCondTimedwait(e->cond, e->mutex, d, err);
    }
    static int64_t timedwait2(Event *e, const timespec *d, const timespec *now, VeskErr *err) {
        return NuPCondTimedwait2(e->cond, e->mutex, d, now, err);
    }
    static int64_t timedwait_ms(Event *e, int64_t ms, VeskErr *err) {
        return NuPCondTimedwait_ms(e->cond, e->mutex, ms, err);
    }
    static int64_t timedwait_rel(Event *e, const timespec *d, VeskErr *err) {
        return NuPCondTimedwait_rel(e->cond, e->mutex, d, err);
    }
};

// The in-process family: records inline, attributes meaning nothing.
struct InProcessFamily {
    using Event = NuSVaxevent;
    static int64_t init_mutex(Event *e, const NuPMutexattr *a, VeskErr *err) {
        return NuSMutexInit2(&e->mutex, a, err);
    }
    static int64_t init_cond(Event *e, const NuPCondattr *a, VeskErr *err) {
        return NuSCondInit2(&e->cond, a, err);
    }
    static int64_t destroy_mutex(Event *e, VeskErr *err) { return NuSMutexDestroy(&e->mutex, err); }
    static int64_t destroy_cond(Event *e, VeskErr *err) { return NuSCondDestroy(&e->cond, err); }
    static int64_t lock(Event *e, VeskErr *) { return NuSMutexLock(&e->mutex); }
    static int64_t trylock(Event *e, VeskErr *err) { return NuSMutexTrylock(&e->mutex, err); }
    static int64_t unlock(Event *e, VeskErr *) { return NuSMutexUnlock(&e->mutex); }
    static int64_t signal(Event *e, VeskErr *err) { return NuSCondSignal(&e->cond, err); }
    static int64_t broadcast(Event *e, VeskErr *err) { return NuSCondBroadcast(&e->cond, err); }
    static int64_t wait(Event *e, VeskErr *err) { return NuSCondWait(&e->cond, &e->mutex, err); }
    static int64_t timedwait(Event *e, const timespec *d, VeskErr *err) {
        return NuSCondTimedwait(&e->cond, &e->mutex, d, err);
    }
    static int64_t timedwait2(Event *e, const timespec *d, const timespec *now, VeskErr *err) {
        return NuSCondTimedwait2(&e->cond, &e->mutex, d, now, err);
    }
    static int64_t timedwait_ms(Event *e, int64_t ms, VeskErr *err) {
        return NuSCondTimedwait_ms(&e->cond, &e->mutex, ms, err);
    }
    static int64_t timedwait_rel(Event *e, const timespec *d, VeskErr *err) {
        return NuSCondTimedwait_rel(&e->cond, &e->mutex, d, err);
    }
};

template <class F>
int64_t init(typename F::Event *e, const NuPMutexattr *ma, const NuPCondattr *ca, VeskErr *err) {
    const int64_t m = F::init_mutex(e, ma, err);
    if (m < 0)
        return m;
    const int64_t c = F::init_cond(e, ca, err);
    if (c < 0) {
        F::destroy_mutex(e, nullptr);  // the condition's report stands
        return c;
    }
    e->flag = 0;
    e->area[0] = e->area[1] = 0;
    return c;
}

template <class F>
int64_t destroy(typename F::Event *e, VeskErr *err) {
    const int64_t c = F::destroy_cond(e, err);
    if (c < 0)
        return c;
    const int64_t m = F::destroy_mutex(e, err);
    e->flag = 0;
    return m;
}

// Every call refuses a null event before it reaches the family.
#define VESK_EVENT_CHECK(fn)                                  \
    do {                                                      \
        if (event == nullptr)                                 \
            return refuse_null(err, fn, "@event");            \
    } while (0)

}  // namespace

// The exported pair of one operation: the same body over each family.
#define VESK_EVENT_PAIR(verb, params, call)                                         \
    VESK_API int64_t NuPVaxevent##verb(NuPVaxevent *event params) {                 \
        VESK_EVENT_CHECK("NuPVaxevent" #verb);                                      \
        using F = HandleFamily;                                                     \
        return call;                                                                \
    }                                                                               \
    VESK_API int64_t NuSVaxevent##verb(NuSVaxevent *event params) {                 \
        VESK_EVENT_CHECK("NuSVaxevent" #verb);                                      \
        using F = InProcessFamily;                                                  \
        return call;                                                                \
    }

#define VESK_ARGS(...) , __VA_ARGS__

extern "C" {

VESK_EVENT_PAIR(Init, VESK_ARGS(VeskErr *err), init<F>(event, nullptr, nullptr, err))
VESK_EVENT_PAIR(Init2,
                VESK_ARGS(const NuPMutexattr *mattr, const NuPCondattr *cattr, VeskErr *err),
                init<F>(event, mattr, cattr, err))
VESK_EVENT_PAIR(Destroy, VESK_ARGS(VeskErr *err), destroy<F>(event, err))
VESK_EVENT_PAIR(Lock, VESK_ARGS(VeskErr *err), F::lock(event, err))
VESK_EVENT_PAIR(Trylock, VESK_ARGS(VeskErr *err), F::trylock(event, err))
VESK_EVENT_PAIR(Unlock, VESK_ARGS(VeskErr *err), F::unlock(event, err))
VESK_EVENT_PAIR(Signal, VESK_ARGS(VeskErr *err), F::signal(event, err))
VESK_EVENT_PAIR(Broadcast, VESK_ARGS(VeskErr *err), F::broadcast(event, err))
VESK_EVENT_PAIR(Wait, VESK_ARGS(VeskErr *err), F::wait(event, err))
VESK_EVENT_PAIR(Timedwait, VESK_ARGS(const struct timespec *deadline, VeskErr *err),
                F::timedwait(event, deadline, err))
VESK_EVENT_PAIR(Timedwait2,
                VESK_ARGS(const struct timespec *deadline, const struct timespec *now,
                          VeskErr *err),
                F::timedwait2(event, deadline, now, err))
VESK_EVENT_PAIR(Timedwait_ms, VESK_ARGS(int64_t milliseconds, VeskErr *err),
                F::timedwait_ms(event, milliseconds, err))
VESK_EVENT_PAIR(Timedwait_rel, VESK_ARGS(const struct timespec *duration, VeskErr *err),
                F::timedwait_rel(event, duration, err))

}  // extern "C"
