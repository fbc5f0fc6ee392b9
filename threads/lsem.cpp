// SPDX-License-Identifier: MIT
// Light semaphores: a value that any number of processes change by name, in
// step lists applied whole or not at all.
//
// The value lives in a shared block of its own kind beside a robust,
// process-shared mutex and a condition on the monotonic clock (a futex on a
// count of changes). A list that does not fit sleeps on the condition;
// whoever changes the value wakes every sleeper, since each waits for a value
// of its own. A holder that dies leaves
// the value as its single store left it, and the next taker goes on. Each
// handle keeps the object's descriptor, so that the last live handle removes
// the name even when a process that had it open was killed.
#include <cerrno>
#include <cstring>

#include "lsem_steps.hpp"
#include "nu.h"
#include "shared_block_posix.hpp"
#include "vesk.h"
#include "wait_limit.hpp"

using namespace vesk::threads;

namespace {

constexpr const char *kScope = "light-semaphore";
constexpr size_t kLongestName = 244;

// "light-semaphore:<verb>(<param>): ..." for the codes of bad arguments.
int64_t refuse(VeskErr *err, int32_t code, const char *verb, const char *param) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, code, 0, 3, kScope, verb, param);
    return -1;
}

// "light-semaphore:<verb>:FileMapping: resource not ready ...".
void report_not_ready(VeskErr *err, const char *verb) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_RUNTIME, VESK_E_NOTREADY, 0, 3, kScope, verb,
              "FileMapping");
}

int64_t report_wait_failed(VeskErr *err) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_SYSTEM, 0, 2,
              "wait-for-multiple-objects");
    return -1;
}

void report_timed_out(VeskErr *err) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_TIMEDOUT, 0, 2, "@sem",
              "wait-for-multiple-objects");
}

int64_t report_wrong_state(VeskErr *err) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_WRONGSTATE, 0, 2, "semop", "@sem");
    return -1;
}

SharedBlock *block_of(const NuLSem *sem) { return static_cast<SharedBlock *>(sem->view); }

// The lock within `limit` milliseconds (kNoLimit: as long as it takes; 0: a
// poll), and the deadline the waits that follow keep to. 0 or an errno,
// ETIMEDOUT when the limit passed.
struct Locked {
    int error;
    timespec deadline;
};

Locked lock_within(SharedBlock *b, uint32_t limit) {
    if (limit == kNoLimit)
        return {lock_block_mutex(&b->mutex), {}};
    const timespec deadline = monotonic_deadline(limit);
    int e = limit == 0 ? trylock_block_mutex(&b->mutex)
                       : timedlock_block_mutex(&b->mutex, &deadline);
    if (e == EBUSY)
        e = ETIMEDOUT;
    return {e, deadline};
}

// The block of an open record, else a report.
SharedBlock *checked_block(NuLSem *sem, const char *verb, VeskErr *err) {
    if (sem == nullptr) {
        refuse(err, VESK_E_FAULT, verb, "@sem");
        return nullptr;
    }
    if (sem->view == nullptr)
        refuse(err, VESK_E_INVAL, verb, "@sem");
    return block_of(sem);
}

// A change is noted under the lock and the sleepers are woken once it is
// given up: a waiter that looked at the old value is already counted as a
// sleeper, and the woken ones find the lock free.
void change_value(SharedBlock *b, int64_t value) {
    b->value.store(static_cast<int32_t>(value), std::memory_order_relaxed);
    note_change(b);
}

int64_t operate(NuLSem *sem, uint32_t opc, const int32_t *opv, uint32_t limit, VeskErr *err) {
    StepList list;
    switch (prepare_steps(opc, opv, list)) {
    case StepCheck::ok:
        break;
    case StepCheck::too_many:
        return refuse(err, VESK_E_INVAL, "operation", "@opc");
    case StepCheck::null_array:
        return refuse(err, VESK_E_FAULT, "operation", "@opv");
    case StepCheck::refused:
        return refuse(err, VESK_E_INVAL, "operation", "@opv");
    }
    SharedBlock *b = checked_block(sem, "operation", err);
    if (b == nullptr)
        return -1;
    const Locked locked = lock_within(b, limit);
    if (locked.error == ETIMEDOUT) {
        report_timed_out(err);
        return -1;
    }
    if (locked.error != 0)
        return report_wait_failed(err);
    const timespec *deadline = limit == kNoLimit ? nullptr : &locked.deadline;
    int32_t value = b->value.load(std::memory_order_relaxed);
    while (!fits(value, list)) {
        const int e = limit == 0 ? ETIMEDOUT : sleep_until_change(b, deadline);
        value = b->value.load(std::memory_order_relaxed);
        if (e == ETIMEDOUT && !fits(value, list)) {
            pthread_mutex_unlock(&b->mutex);
            return report_wrong_state(err);
        }
        if (e != 0 && e != ETIMEDOUT) {
            pthread_mutex_unlock(&b->mutex);
            return report_wait_failed(err);
        }
    }
    if (list.total != 0)
        change_value(b, value + list.total);
    pthread_mutex_unlock(&b->mutex);
    wake_sleepers(b);
    return 0;
}

int64_t set(NuLSem *sem, uint32_t value, uint32_t limit, VeskErr *err) {
    if (value > kLSemMax)
        return refuse(err, VESK_E_INVAL, "set", "@value");
    SharedBlock *b = checked_block(sem, "set", err);
    if (b == nullptr)
        return -1;
    const Locked locked = lock_within(b, limit);
    if (locked.error == ETIMEDOUT) {
        report_timed_out(err);
        return -6;
    }
    if (locked.error != 0)
        return report_wait_failed(err);
    if (b->value.load(std::memory_order_relaxed) != static_cast<int32_t>(value))
        change_value(b, value);
    pthread_mutex_unlock(&b->mutex);
    wake_sleepers(b);
    return 0;
}

// The low 32 bits of a span in milliseconds, 0xFFFFFFFF being no limit.
uint32_t limit_of_low_bits(int64_t milliseconds) { return static_cast<uint32_t>(milliseconds); }

}  // namespace

extern "C" {

VESK_API int64_t NuLSemattrInit(NuLSemattr *attr) {
    if (attr == nullptr)
        return -1;
    *attr = NuLSemattr{nullptr, 0xF0000u, 4u, 0u};
    return 0;
}

VESK_API int64_t NuLSemattrDestroy(NuLSemattr *) { return 0; }

VESK_API int64_t NuLSemattrSetshared(NuLSemattr *attr, const char *name) {
    if (attr == nullptr)
        return -1;
    attr->name = name;
    return 0;
}

VESK_API int64_t NuLSemattrGetshared(const NuLSemattr *attr, const char **name) {
    if (attr == nullptr || name == nullptr)
        return -1;
    *name = attr->name;
    return 0;
}

VESK_API int64_t NuLSemattrSetinitvalue(NuLSemattr *attr, uint32_t value) {
    if (attr == nullptr)
        return -1;
    attr->initvalue = value;
    return 0;
}

VESK_API int64_t NuLSemattrGetinitvalue(const NuLSemattr *attr, uint32_t *value) {
    if (attr == nullptr || value == nullptr)
        return -1;
    *value = attr->initvalue;
    return 0;
}

VESK_API int64_t NuLSemOpen2(NuLSem *sem, const NuLSemattr *attr, VeskErr *err) {
    if (sem == nullptr)
        return refuse(err, VESK_E_FAULT, "open", "@sem");
    *sem = NuLSem{};
    if (attr == nullptr)
        return refuse(err, VESK_E_FAULT, "open", "@semattr");
    if (attr->name == nullptr || attr->name[0] == '\0')
        return refuse(err, VESK_E_INVAL, "open", "@semattr.name");
    if (strnlen(attr->name, kLongestName + 1) > kLongestName) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_INVAL, 0, 1, "@semattr.name");
        return -1;
    }
    if (attr->initvalue > kLSemMax)
        return refuse(err, VESK_E_INVAL, "open", "@semattr.initvalue");
    bool created = false;
    int fd = -1;
    SharedBlock *b = open_block(BlockKind::semaphore, attr->name,
                                static_cast<int32_t>(attr->initvalue), &created, &fd);
    if (b == nullptr) {
        report_not_ready(err, "create");
        return -1;
    }
    // Nobody had it open: what a caller sees is a failed open and then a
    // create that worked.
    if (created)
        report_not_ready(err, "open");
    sem->view = b;
    sem->mapping = static_cast<uintptr_t>(fd);
    return 0;
}

VESK_API int64_t NuLSemClose(NuLSem *sem) {
    if (sem == nullptr || sem->view == nullptr)
        return 0;
    SharedBlock *b = block_of(sem);
    const int fd = static_cast<int>(sem->mapping);
    *sem = NuLSem{};
    close_block(b, fd);
    return 0;
}

VESK_API int64_t NuLSemOp(NuLSem *sem, uint32_t opc, const int32_t *opv, VeskErr *err) {
    return operate(sem, opc, opv, kNoLimit, err);
}

VESK_API int64_t NuLSemTimedop(NuLSem *sem, uint32_t opc, const int32_t *opv,
                               const struct timespec *deadline, VeskErr *err) {
    return operate(sem, opc, opv, limit_of_deadline(deadline, nullptr), err);
}

VESK_API int64_t NuLSemTimedop_ms(NuLSem *sem, uint32_t opc, const int32_t *opv,
                                  int64_t milliseconds, VeskErr *err) {
    return operate(sem, opc, opv, limit_of_low_bits(milliseconds), err);
}

VESK_API int64_t NuLSemTryop(NuLSem *sem, uint32_t opc, const int32_t *opv, VeskErr *err) {
    return operate(sem, opc, opv, 0, err);
}

VESK_API int64_t NuLSemSet(NuLSem *sem, uint32_t value, VeskErr *err) {
    return set(sem, value, kNoLimit, err);
}

VESK_API int64_t NuLSemTimedset(NuLSem *sem, uint32_t value, const struct timespec *deadline,
                                VeskErr *err) {
    return set(sem, value, limit_of_deadline(deadline, nullptr), err);
}

VESK_API int64_t NuLSemTimedset_ms(NuLSem *sem, uint32_t value, int64_t milliseconds,
                                   VeskErr *err) {
    return set(sem, value, limit_of_low_bits(milliseconds), err);
}

VESK_API int32_t NuLSemValue(const NuLSem *sem) {
    if (sem == nullptr || sem->view == nullptr)
        return -1;
    return block_of(sem)->value.load(std::memory_order_relaxed);
}

}  // extern "C"
