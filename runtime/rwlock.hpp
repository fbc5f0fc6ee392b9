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

// A record's holds are read without a lock (VeskInstcount) and changed under
// the record's lock or the registries' write locks, so every access is atomic.
inline int32_t holds_of(const VeskRecord *rec) {
    return std::atomic_ref<int32_t>(const_cast<int32_t &>(rec->holds))
        .load(std::memory_order_relaxed);
}
inline void holds_add(VeskRecord *rec, int32_t delta) {
    std::atomic_ref<int32_t>(rec->holds).fetch_add(delta, std::memory_order_relaxed);
}

// Adds one hold under the record's lock.
void add_hold(VeskRecord *rec);

}  // namespace vesk::rt
