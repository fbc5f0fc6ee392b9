// SPDX-License-Identifier: MIT
// The spinning reader/writer lock of records and lists.
//
// Three spin words and two plain counters guarded by the first: `guard`
// keeps the counters, `wgate` is held from the first waiting writer on so
// that new readers queue behind writers, and `hold` is held by the readers as
// a group or by the one writer. No system call, no allocation: the lock lives
// in static records and works before anything else of the library is up.
#include <atomic>

#include "report.hpp"
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
