// SPDX-License-Identifier: MIT
// The spinning reader/writer lock, for the runtime's own use.
#pragma once

#include <atomic>

#include "vesk.h"

namespace vesk::rt {

void rdlock(VeskRwlock *lock);
void wrlock(VeskRwlock *lock);
void unlock(VeskRwlock *lock);  // either kind of holder
bool tryrdlock(VeskRwlock *lock);
bool trywrlock(VeskRwlock *lock);

// Holds a lock for a scope.
class ReadLocked {
public:
    explicit ReadLocked(VeskRwlock *lock) : lock_(lock) { rdlock(lock_); }
    ~ReadLocked() { unlock(lock_); }
    ReadLocked(const ReadLocked &) = delete;
    ReadLocked &operator=(const ReadLocked &) = delete;

private:
    VeskRwlock *lock_;
};

class WriteLocked {
public:
    explicit WriteLocked(VeskRwlock *lock) : lock_(lock) { wrlock(lock_); }
    ~WriteLocked() { unlock(lock_); }
    WriteLocked(const WriteLocked &) = delete;
    WriteLocked &operator=(const WriteLocked &) = delete;

private:
    VeskRwlock *lock_;
};

// A record's holds are read without a lock (VeskInstcount, and unplugging,
// which decides from them whether a record may go) and changed under the
// record's lock or the registries' write locks, so every access is atomic.
// Giving a hold back releases everything its holder did with the record, and
// reading the holds acquires it: an unplug that sees 0 sees every earlier use
// of the record finished, and may rewrite it.
inline int32_t holds_of(const VeskRecord *rec) {
    return std::atomic_ref<int32_t>(const_cast<int32_t &>(rec->holds))
        .load(std::memory_order_acquire);
}
inline void holds_add(VeskRecord *rec, int32_t delta) {
    std::atomic_ref<int32_t>(rec->holds).fetch_add(delta, std::memory_order_acq_rel);
}

// Adds one hold under the record's lock.
void add_hold(VeskRecord *rec);

// Gives one hold back if there is one; false when the record had none.
// Giving back is the holder's last touch of the record: the moment the holds
// reach 0 an unplug may rewrite the record, its lock included, so the hold
// is not given back under that lock but by one atomic step.
inline bool give_hold(VeskRecord *rec) {
    std::atomic_ref<int32_t> holds(rec->holds);
    int32_t h = holds.load(std::memory_order_relaxed);
    while (h > 0)
        if (holds.compare_exchange_weak(h, h - 1, std::memory_order_acq_rel,
                                        std::memory_order_relaxed))
            return true;
    return false;
}

}  // namespace vesk::rt
