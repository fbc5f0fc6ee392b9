// SPDX-License-Identifier: MIT
// The reader/writer lock of records and lists.
//
// The lock's last eight bytes, `hold`, `readers` and `writers`, change
// together in one compare-and-exchange, so that an uncontended read lock or
// unlock is a single atomic step and no counter is ever seen apart from the
// spin word that goes with it: while readers hold the lock, `hold` is 1 and
// `readers` counts them; while a writer holds it, `hold` is 1, `readers`
// 0xFFFF and `writers` counts it and the writers waiting behind it. A writer
// is counted as soon as it arrives, and no reader enters while `writers` is
// above 0, so writers have precedence. The first writer to arrive holds
// `wgate` until a writer leaves. `guard` is not needed by this scheme and
// stays 0.
//
// Waiters spin briefly and then sleep on `hold` (park.hpp), which is what
// every waiter waits for to change; whoever turns it to 0 wakes them. No
// allocation, no set-up: the lock lives in static records and works before
// anything else of the library is up.
#include <sched.h>

#include <atomic>
#include <bit>
#include <climits>
#include <cstddef>

#include "report.hpp"
#include "rwlock.hpp"
#include "selist.hpp"

#include "threads/spin.hpp"

namespace {

constexpr uint16_t kWriterHolds = 0xFFFF;
constexpr uint16_t kMostReaders = 0x7FFF;  // `readers` read as signed says "a reader holds"

// The three fields that change together.
struct Tail {
    uint32_t hold;
    uint16_t readers;
    uint16_t writers;
};
static_assert(sizeof(Tail) == sizeof(uint64_t) && offsetof(VeskRwlock, hold) == 8 &&
              offsetof(VeskRwlock, readers) == 12 && offsetof(VeskRwlock, writers) == 14 &&
              sizeof(VeskRwlock) == 16);
// Every lock lies in a record or a list with pointers in front of it, so its
// tail is aligned for one 64-bit access.
static_assert(offsetof(VeskRecord, lock) % 8 == 0 && offsetof(VeskSelist, lock) % 8 == 0);

using TailBits [[gnu::may_alias]] = uint64_t;

inline TailBits *bits_of(VeskRwlock *l) { return reinterpret_cast<TailBits *>(&l->hold); }

inline Tail load(VeskRwlock *l) {
    return std::bit_cast<Tail>(__atomic_load_n(bits_of(l), __ATOMIC_RELAXED));
}

// On failure `seen` is what the lock holds now. Taking is an acquire; giving
// back is sequentially consistent, so that the look at the sleepers that
// follows it cannot pass it.
template <int kOrder>
inline bool change(VeskRwlock *l, Tail &seen, Tail want) {
    uint64_t expected = std::bit_cast<uint64_t>(seen);
    const bool done = __atomic_compare_exchange_n(bits_of(l), &expected, std::bit_cast<uint64_t>(want),
                                                  false, kOrder, __ATOMIC_RELAXED);
    if (!done)
        seen = std::bit_cast<Tail>(expected);
    return done;
}
constexpr int kTake = __ATOMIC_ACQUIRE;
constexpr int kGive = __ATOMIC_SEQ_CST;

// One round of waiting for the lock to change from `seen`: a pause while the
// holder is likely on its way out, then sleeping on `hold`, or a yield in the
// moment between a writer's arrival and its taking `hold`.
void wait_for_change(VeskRwlock *l, const Tail &seen, int &spins) {
    if (spins < vesk::sync::kSpinsBeforeSleep) {
        ++spins;
        vesk::sync::cpu_relax();
    } else if (seen.hold != 0) {
        vesk::sync::sleep_on(&l->hold, seen.hold);
    } else {
        sched_yield();
    }
}

}  // namespace

namespace vesk::rt {

void rdlock(VeskRwlock *l) {
    Tail t = load(l);
    for (int spins = 0;;) {
        if (t.writers == 0 && t.readers < kMostReaders) {
            if (change<kTake>(l, t, {1, static_cast<uint16_t>(t.readers + 1), 0}))
                return;
            continue;
        }
        wait_for_change(l, t, spins);
        t = load(l);
    }
}

void wrlock(VeskRwlock *l) {
    const Tail one_writer{0, 0, 1};
    const Tail before = std::bit_cast<Tail>(
        __atomic_fetch_add(bits_of(l), std::bit_cast<uint64_t>(one_writer), __ATOMIC_ACQUIRE));
    // The gate is free here: a writer gives it back before it stops counting.
    if (before.writers == 0)
        sync::spin_take(l->wgate);
    Tail t = load(l);
    for (int spins = 0;;) {
        if (t.readers == 0) {
            if (change<kTake>(l, t, {1, kWriterHolds, t.writers}))
                return;
            continue;
        }
        wait_for_change(l, t, spins);
        t = load(l);
    }
}

void unlock(VeskRwlock *l) {
    Tail t = load(l);
    const bool reader = static_cast<int16_t>(t.readers) > 0;
    // The writer: a following writer keeps `writers` above 0 and so keeps
    // readers out even though the gate opens here.
    if (!reader)
        sync::spin_give(l->wgate);
    Tail want;
    do {
        want = reader ? Tail{t.readers > 1 ? 1u : 0u, static_cast<uint16_t>(t.readers - 1), t.writers}
                      : Tail{0, 0, static_cast<uint16_t>(t.writers - 1)};
    } while (!change<kGive>(l, t, want));
    if (want.hold == 0)
        sync::wake_sleepers(&l->hold, INT_MAX);
}

bool tryrdlock(VeskRwlock *l) {
    Tail t = load(l);
    while (t.writers == 0 && t.readers < kMostReaders)
        if (change<kTake>(l, t, {1, static_cast<uint16_t>(t.readers + 1), 0}))
            return true;
    return false;
}

bool trywrlock(VeskRwlock *l) {
    Tail t = load(l);
    while (t.readers == 0)
        if (change<kTake>(l, t, {1, kWriterHolds, static_cast<uint16_t>(t.writers + 1)})) {
            if (t.writers == 0)
                sync::spin_take(l->wgate);
            return true;
        }
    return false;
}

void add_hold(VeskRecord *rec) {
    WriteLocked locked(&rec->lock);
    holds_add(rec, 1);
}

}  // namespace vesk::rt

using namespace vesk::rt;

namespace {
inline VeskRwlock *lock_of(void *record) { return &static_cast<VeskRecord *>(record)->lock; }

// The locks can't fail on a real list or record. A null one is the caller's
// error: reported (258, "@list" or "@self") with -1 where there is a status
// record, "not got" from the try forms.
template <class Op>
int64_t locking(void *target, VeskErr *status, const char *function, const char *param, Op op) {
    if (!pointer_ok(target, status, function, param))
        return -1;
    op();
    return 0;
}

}  // namespace

extern "C" {

VESK_API int64_t _VeskSelistRdlock(VeskSelist *list, VeskErr *status) {
    return locking(list, status, "_VeskSelistRdlock", "@list", [&] { rdlock(&list->lock); });
}
VESK_API int64_t _VeskSelistWrlock(VeskSelist *list, VeskErr *status) {
    return locking(list, status, "_VeskSelistWrlock", "@list", [&] { wrlock(&list->lock); });
}
VESK_API int64_t _VeskSelistUnlock(VeskSelist *list, VeskErr *status) {
    return locking(list, status, "_VeskSelistUnlock", "@list", [&] { unlock(&list->lock); });
}
VESK_API int64_t _VeskSelistTryrdlock(VeskSelist *list) {
    return list != nullptr && tryrdlock(&list->lock);
}
VESK_API int64_t _VeskSelistTrywrlock(VeskSelist *list) {
    return list != nullptr && trywrlock(&list->lock);
}

// The locking forms check what the lock itself needs under their own name;
// the rest is the lock-free form's.
VESK_API int64_t _VeskSelistPushback(VeskSelist *list, VeskSeblock *block, VeskErr *status) {
    if (!pointer_ok(list, status, "_VeskSelistPushback", "@list"))
        return -1;
    WriteLocked locked(&list->lock);
    return _VeskSelistPushback_nlk(list, block, status);
}

VESK_API int64_t _VeskSelistPushfront(VeskSelist *list, VeskSeblock *block, VeskErr *status) {
    if (!pointer_ok(list, status, "_VeskSelistPushfront", "@list"))
        return -1;
    WriteLocked locked(&list->lock);
    return _VeskSelistPushfront_nlk(list, block, status);
}

VESK_API VeskSe *_VeskSelistLookup(VeskSelist *list, const VeskOid *key, VeskErr *status) {
    if (!pointer_ok(list, status, "_VeskSelistLookup", "@list") ||
        !key_ok(key, status, "_VeskSelistLookup"))
        return nullptr;
    ReadLocked locked(&list->lock);
    return _VeskSelistLookup_nlk(list, key, status);
}

VESK_API VeskSe *_VeskSelistLookup_ptr(VeskSelist *list, const VeskSe *se, VeskErr *status) {
    if (!pointer_ok(list, status, "_VeskSelistLookup_ptr", "@list"))
        return nullptr;
    ReadLocked locked(&list->lock);
    return _VeskSelistLookup_ptr_nlk(list, se, status);
}

VESK_API int64_t _VeskObjRdlock(void *record, VeskErr *status) {
    return locking(record, status, "_VeskObjRdlock", "@self", [&] { rdlock(lock_of(record)); });
}
VESK_API int64_t _VeskObjWrlock(void *record, VeskErr *status) {
    return locking(record, status, "_VeskObjWrlock", "@self", [&] { wrlock(lock_of(record)); });
}
VESK_API int64_t _VeskObjUnlock(void *record, VeskErr *status) {
    return locking(record, status, "_VeskObjUnlock", "@self", [&] { unlock(lock_of(record)); });
}
VESK_API int64_t _VeskObjTryrdlock(void *record) {
    return record != nullptr && tryrdlock(lock_of(record));
}
VESK_API int64_t _VeskObjTrywrlock(void *record) {
    return record != nullptr && trywrlock(lock_of(record));
}

}  // extern "C"
