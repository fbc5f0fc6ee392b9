// The spinning reader/writer lock of records and lists.
//
// Three spin words and two plain counters guarded by the first: `guard`
// keeps the counters, `wgate` is held from the first waiting writer on so
// that new readers queue behind writers, and `hold` is held by the readers as
// a group or by the one writer. No system call, no allocation: the lock lives
// in static records and works before anything else of the library is up.
#include <atomic>

#include "rwlock.hpp"
#include "selist.hpp"

#include "threads/spin.hpp"

namespace {

constexpr uint16_t kWriterHolds = 0xFFFF;

inline void take(uint32_t &w) { vesk::sync::spin_take(w); }
inline void give(uint32_t &w) { vesk::sync::spin_give(w); }

// Waits for whoever holds `w` to leave.
inline void pass(uint32_t &w) {
    take(w);
    give(w);
}

}  // namespace

namespace vesk::rt {

void rdlock(VeskRwlock *l) {
    take(l->guard);
    while (l->writers != 0) {
        give(l->guard);
        pass(l->wgate);
        take(l->guard);
    }
    if (++l->readers == 1)
        take(l->hold);
    give(l->guard);
}

void wrlock(VeskRwlock *l) {
    take(l->guard);
    if (++l->writers == 1)
        take(l->wgate);
    while (l->readers != 0) {
        give(l->guard);
        pass(l->hold);
        take(l->guard);
    }
    take(l->hold);
    l->readers = kWriterHolds;
    give(l->guard);
}

void unlock(VeskRwlock *l) {
    take(l->guard);
    if (static_cast<int16_t>(l->readers) > 0) {
        if (--l->readers == 0)
            give(l->hold);
    } else {
        // The writer: a following writer keeps `writers` above 0 and so keeps
        // readers out even though the gate opens here.
        l->readers = 0;
        give(l->hold);
        --l->writers;
        give(l->wgate);
    }
    give(l->guard);
}

bool tryrdlock(VeskRwlock *l) {
    take(l->guard);
    const bool got = l->writers == 0;
    if (got && ++l->readers == 1)
        take(l->hold);
    give(l->guard);
    return got;
}

bool trywrlock(VeskRwlock *l) {
    take(l->guard);
    const bool got = l->readers == 0;
    if (got) {
        if (++l->writers == 1)
            take(l->wgate);
        take(l->hold);
        l->readers = kWriterHolds;
    }
    give(l->guard);
    return got;
}

void add_hold(VeskRecord *rec) {
    WriteLocked locked(&rec->lock);
    holds_add(rec, 1);
}

}  // namespace vesk::rt

using namespace vesk::rt;

namespace {
inline VeskRwlock *lock_of(void *record) { return &static_cast<VeskRecord *>(record)->lock; }
}  // namespace

extern "C" {

VESK_API int64_t _VeskSelistRdlock(VeskSelist *list, VeskErr *) { return rdlock(&list->lock), 0; }
VESK_API int64_t _VeskSelistWrlock(VeskSelist *list, VeskErr *) { return wrlock(&list->lock), 0; }
VESK_API int64_t _VeskSelistUnlock(VeskSelist *list, VeskErr *) { return unlock(&list->lock), 0; }
VESK_API int64_t _VeskSelistTryrdlock(VeskSelist *list) { return tryrdlock(&list->lock); }
VESK_API int64_t _VeskSelistTrywrlock(VeskSelist *list) { return trywrlock(&list->lock); }

VESK_API int64_t _VeskSelistPushback(VeskSelist *list, VeskSeblock *block, VeskErr *status) {
    WriteLocked locked(&list->lock);
    return _VeskSelistPushback_nlk(list, block, status);
}

VESK_API int64_t _VeskSelistPushfront(VeskSelist *list, VeskSeblock *block, VeskErr *status) {
    WriteLocked locked(&list->lock);
    return _VeskSelistPushfront_nlk(list, block, status);
}

VESK_API VeskSe *_VeskSelistLookup(VeskSelist *list, const VeskOid *key, VeskErr *status) {
    ReadLocked locked(&list->lock);
    return _VeskSelistLookup_nlk(list, key, status);
}

VESK_API VeskSe *_VeskSelistLookup_ptr(VeskSelist *list, const VeskSe *se, VeskErr *status) {
    ReadLocked locked(&list->lock);
    return _VeskSelistLookup_ptr_nlk(list, se, status);
}

VESK_API int64_t _VeskObjRdlock(void *record, VeskErr *) { return rdlock(lock_of(record)), 0; }
VESK_API int64_t _VeskObjWrlock(void *record, VeskErr *) { return wrlock(lock_of(record)), 0; }
VESK_API int64_t _VeskObjUnlock(void *record, VeskErr *) { return unlock(lock_of(record)), 0; }
VESK_API int64_t _VeskObjTryrdlock(void *record) { return tryrdlock(lock_of(record)); }
VESK_API int64_t _VeskObjTrywrlock(void *record) { return trywrlock(lock_of(record)); }

}  // extern "C"
