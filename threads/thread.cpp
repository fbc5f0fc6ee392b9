// SPDX-License-Identifier: MIT
// Threads: a handle is a small record around pthread_t that carries the
// start routine's 32-bit exit code to join, a start gate for threads created
// suspended, and the thread's kernel id for its priority.
#include <sys/resource.h>
#include <unistd.h>

#include <sched.h>

#include <cerrno>
#include <new>

#include "priority.hpp"
#include "report.hpp"
#include "thread_record.hpp"

namespace vesk::threads {
namespace {

// The record of the calling thread, when the library started it.
thread_local ThreadRecord *current_record = nullptr;

void free_record(ThreadRecord *r) {
    pthread_cond_destroy(&r->gate_cond);
    pthread_mutex_destroy(&r->gate_mutex);
    r->~ThreadRecord();
    NuMfree(r);
}

void let_go(ThreadRecord *r) {
    if (r->owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        free_record(r);
}

void *run(void *p) {
    auto *r = static_cast<ThreadRecord *>(p);
    current_record = r;
    // The attributes' priority comes before the tid is published, so that a
    // priority set through the handle meanwhile is never overwritten. Raising
    // a priority needs privilege: refused, the thread keeps the one it
    // inherited.
    if (r->set_priority)
        setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), r->nice);
    r->tid.store(gettid(), std::memory_order_release);
    pthread_mutex_lock(&r->gate_mutex);
    while (!r->gate_open)
        pthread_cond_wait(&r->gate_cond, &r->gate_mutex);
    pthread_mutex_unlock(&r->gate_mutex);
    r->exitcode = r->start(r->arg);
    current_record = nullptr;
    let_go(r);
    return nullptr;
}

// Applies the attributes that pthread knows: stack size and caller's stack.
int thread_attributes(pthread_attr_t &pa, const NuPThrattr *attr) {
    pthread_attr_init(&pa);
    if (attr == nullptr)
        return 0;
    if (attr->stackaddr != nullptr)
        return pthread_attr_setstack(&pa, attr->stackaddr, attr->stacksize);
    if (attr->stacksize != 0)
        return pthread_attr_setstacksize(&pa, attr->stacksize);
    return 0;
}

int64_t create(NuPThread *thread, const NuPThrattr *attr, NuPThreadStart start, void *arg,
               bool suspended, VeskErr *err) {
    *thread = 0;
    void *mem = NuMalloc(sizeof(ThreadRecord));
    if (mem == nullptr)
        return report_system(err, ENOMEM);
    auto *r = new (mem) ThreadRecord{};
    r->start = start;
    r->arg = arg;
    r->gate_open = !suspended;
    r->owners.store(2, std::memory_order_relaxed);
    pthread_mutex_init(&r->gate_mutex, nullptr);
    pthread_cond_init(&r->gate_cond, nullptr);
    if (attr != nullptr && attr->bInheritHandle == 0 && attr->priority != 0) {
        r->set_priority = true;
        r->nice = nice_of(attr->priority);
    }
    pthread_attr_t pa;
    int e = thread_attributes(pa, attr);
    if (e == 0)
        e = pthread_create(&r->thread, &pa, run, r);
    pthread_attr_destroy(&pa);
    if (e != 0) {
        free_record(r);
        return report_system(err, e);
    }
    *thread = reinterpret_cast<NuPThread>(r);
    return 0;
}

// The kernel id, once the new thread has stored it.
pid_t tid_of(ThreadRecord *r) {
    pid_t tid;
    while ((tid = r->tid.load(std::memory_order_acquire)) == 0)
        sched_yield();
    return tid;
}

int64_t not_implemented(VeskErr *err, const char *function) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NOTHERE, VESK_E_NOTIMPL, ENOSYS, 1, function);
    return -3;
}

int64_t refuse_type(VeskErr *err) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_INVAL, 0, 1, "@type");
    return -1;
}

// What a creation needs before anything is made: a place for the handle and
// a routine to run.
bool creatable(NuPThread *thread, NuPThreadStart start, VeskErr *err, const char *function) {
    if (thread != nullptr && start != nullptr)
        return true;
    if (thread != nullptr)
        *thread = 0;
    refuse_null(err, function, thread == nullptr ? "@thread" : "@start");
    return false;
}

int pthread_type_of(int32_t type) {
    return type == NU_PTHREAD_CANCEL_ASYNCHRONOUS ? PTHREAD_CANCEL_ASYNCHRONOUS
                                                  : PTHREAD_CANCEL_DEFERRED;
}

}  // namespace
}  // namespace vesk::threads

using namespace vesk::threads;

extern "C" {

VESK_API int64_t NuPThreadCreate(NuPThread *thread, NuPThreadStart start, void *arg,
                                 VeskErr *err) {
    if (!creatable(thread, start, err, "NuPThreadCreate"))
        return -1;
    return create(thread, nullptr, start, arg, false, err);
}

VESK_API int64_t NuPThreadCreate2(NuPThread *thread, const NuPThrattr *attr, NuPThreadStart start,
                                  void *arg, VeskErr *err) {
    if (!creatable(thread, start, err, "NuPThreadCreate2"))
        return -1;
    return create(thread, attr, start, arg, false, err);
}

VESK_API int64_t NuPThreadCreate2_suspended(NuPThread *thread, const NuPThrattr *attr,
                                            NuPThreadStart start, void *arg, VeskErr *err) {
    if (!creatable(thread, start, err, "NuPThreadCreate2_suspended"))
        return -1;
    return create(thread, attr, start, arg, true, err);
}

VESK_API int64_t NuPThreadJoin(NuPThread thread, uint32_t *exitcode, VeskErr *err) {
    if (exitcode != nullptr)
        *exitcode = 0;
    if (thread == 0)
        return report_system(err, ESRCH);
    ThreadRecord *r = record_of(thread);
    const int e = pthread_join(r->thread, nullptr);
    if (e != 0)
        return report_system(err, e);
    if (exitcode != nullptr)
        *exitcode = r->exitcode;
    free_record(r);
    return 0;
}

// Opens the start gate; a thread that is running already is not affected.
VESK_API int64_t NuPThreadResume(NuPThread thread, VeskErr *err) {
    if (thread == 0)
        return report_system(err, ESRCH);
    ThreadRecord *r = record_of(thread);
    pthread_mutex_lock(&r->gate_mutex);
    r->gate_open = true;
    pthread_cond_signal(&r->gate_cond);
    pthread_mutex_unlock(&r->gate_mutex);
    return 0;
}

// Linux cannot stop another thread where it stands.
VESK_API int64_t NuPThreadSuspend(NuPThread, VeskErr *err) {
    return not_implemented(err, "NuPThreadSuspend");
}

VESK_API int64_t NuPThreadGetpriority(NuPThread thread, int32_t *priority, VeskErr *err) {
    if (priority == nullptr)
        return refuse_null(err, "NuPThreadGetpriority", "@priority");
    if (thread == 0)
        return report_system(err, ESRCH);
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(tid_of(record_of(thread))));
    if (nice == -1 && errno != 0)
        return report_system(err, errno);
    *priority = library_of(platform_of_nice(nice));
    return 0;
}

VESK_API int64_t NuPThreadSetpriority(NuPThread thread, int32_t priority, VeskErr *err) {
    if (!priority_in_range(priority))
        return refuse_priority(err, "NuPThreadSetpriority");
    if (thread == 0)
        return report_system(err, ESRCH);
    const id_t tid = static_cast<id_t>(tid_of(record_of(thread)));
    if (setpriority(PRIO_PROCESS, tid, nice_of(platform_of(priority))) != 0)
        return report_system(err, errno);
    return 0;
}

VESK_API int64_t NuPThreadGetschedpolicy(NuPThread, int32_t *policy) {
    if (policy == nullptr)
        return -1;
    *policy = 2;
    return 0;
}

VESK_API int64_t NuPThreadSetschedpolicy(NuPThread, int32_t) { return 0; }

// The handle is of no use after this: the thread frees its record when it
// ends, or here if it has ended already.
VESK_API int64_t NuPThreadDetach(NuPThread thread, VeskErr *err) {
    if (thread == 0)
        return report_system(err, ESRCH);
    ThreadRecord *r = record_of(thread);
    const int e = pthread_detach(r->thread);
    if (e != 0)
        return report_system(err, e);
    let_go(r);
    return 0;
}

// As NuPThreadDetach from the thread itself; a thread the library didn't
// start is detached all the same.
VESK_API int64_t NuPThreadDetachself(VeskErr *err) {
    const int e = pthread_detach(pthread_self());
    if (e != 0)
        return report_system(err, e);
    if (current_record != nullptr)
        let_go(current_record);  // the handle's share; the thread keeps its own
    return 0;
}

VESK_API int64_t NuPThreadDisablecancel(VeskErr *err) {
    const int e = pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return e == 0 ? 0 : report_system(err, e);
}

VESK_API int64_t NuPThreadEnablecancel(VeskErr *err) {
    const int e = pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    return e == 0 ? 0 : report_system(err, e);
}

VESK_API int64_t NuPThreadIscancelable(VeskErr *) {
    int state = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, nullptr);
    return state == PTHREAD_CANCEL_ENABLE ? 1 : 0;
}

VESK_API int64_t NuPThreadGetcanceltype(int32_t *type, VeskErr *err) {
    if (type == nullptr)
        return refuse_null(err, "NuPThreadGetcanceltype", "@type");
    int old = PTHREAD_CANCEL_DEFERRED;
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &old);
    pthread_setcanceltype(old, nullptr);
    *type = old == PTHREAD_CANCEL_ASYNCHRONOUS ? NU_PTHREAD_CANCEL_ASYNCHRONOUS
                                               : NU_PTHREAD_CANCEL_DEFERRED;
    return 0;
}

VESK_API int64_t NuPThreadSetcanceltype(int32_t type, VeskErr *err) {
    if (type != NU_PTHREAD_CANCEL_DEFERRED && type != NU_PTHREAD_CANCEL_ASYNCHRONOUS)
        return refuse_type(err);
    const int e = pthread_setcanceltype(pthread_type_of(type), nullptr);
    return e == 0 ? 0 : report_system(err, e);
}

}  // extern "C"
