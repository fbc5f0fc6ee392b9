// SPDX-License-Identifier: MIT
// The two mutex families beside what a Linux programmer would take instead.
//
// NuSMutex (a recursive futex lock inside the caller's record) beside a
// recursive pthread_mutex_t and std::recursive_mutex; NuPMutex (a handle to a
// robust, process-shared, recursive mutex) beside a robust process-shared
// pthread_mutex_t. Uncontended lock + unlock pairs, nanoseconds per pair;
// then 2 and 4 threads on one shared NuSMutex beside one shared recursive
// pthread mutex, counted in wall-clock time (items/s is the throughput of
// all threads). Last, NuSCond beside pthread_cond_t: a signal with nobody
// waiting, and two threads handing a turn back and forth under the mutex
// (round trips).
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <mutex>
#include <thread>

#include "nu.h"

namespace {

void BM_NuSMutex(benchmark::State &state) {
    NuSMutex m;
    NuSMutexInit(&m);
    for (auto _ : state) {
        NuSMutexLock(&m);
        NuSMutexUnlock(&m);
    }
    NuSMutexDestroy(&m, nullptr);
}

// Lock and unlock of a recursive pthread mutex, process-shared and robust
// as the handle mutexes' blocks are when asked.
void pthread_recursive(benchmark::State &state, bool shared_robust) {
    pthread_mutexattr_t a;
    pthread_mutexattr_init(&a);
    pthread_mutexattr_settype(&a, PTHREAD_MUTEX_RECURSIVE);
    if (shared_robust) {
        pthread_mutexattr_setpshared(&a, PTHREAD_PROCESS_SHARED);
        pthread_mutexattr_setrobust(&a, PTHREAD_MUTEX_ROBUST);
    }
    pthread_mutex_t m;
    pthread_mutex_init(&m, &a);
    for (auto _ : state) {
        pthread_mutex_lock(&m);
        pthread_mutex_unlock(&m);
    }
    pthread_mutex_destroy(&m);
}

void BM_pthread_recursive(benchmark::State &state) { pthread_recursive(state, false); }

void BM_std_recursive_mutex(benchmark::State &state) {
    std::recursive_mutex m;
    for (auto _ : state) {
        m.lock();
        m.unlock();
    }
}

void BM_NuPMutex(benchmark::State &state) {
    NuPMutex m;
    NuPMutexInit(&m, nullptr);
    for (auto _ : state) {
        NuPMutexLock(m, nullptr);
        NuPMutexUnlock(m, nullptr);
    }
    NuPMutexDestroy(&m, nullptr);
}

void BM_pthread_robust_pshared(benchmark::State &state) { pthread_recursive(state, true); }

pthread_mutex_t *shared_pthread() {
    static pthread_mutex_t m = [] {
        pthread_mutexattr_t a;
        pthread_mutexattr_init(&a);
        pthread_mutexattr_settype(&a, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_t made;
        pthread_mutex_init(&made, &a);
        return made;
    }();
    return &m;
}

NuSMutex *shared_smutex() {
    static NuSMutex m = [] {
        NuSMutex made;
        NuSMutexInit(&made);
        return made;
    }();
    return &m;
}

void BM_NuSMutex_shared(benchmark::State &state) {
    NuSMutex *m = shared_smutex();
    for (auto _ : state) {
        NuSMutexLock(m);
        NuSMutexUnlock(m);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_pthread_recursive_shared(benchmark::State &state) {
    pthread_mutex_t *m = shared_pthread();
    for (auto _ : state) {
        pthread_mutex_lock(m);
        pthread_mutex_unlock(m);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_NuSCondSignal_nobody(benchmark::State &state) {
    NuSCond c;
    NuSCondInit(&c, nullptr);
    for (auto _ : state)
        NuSCondSignal(&c, nullptr);
    NuSCondDestroy(&c, nullptr);
}

void BM_pthread_cond_signal_nobody(benchmark::State &state) {
    pthread_cond_t c = PTHREAD_COND_INITIALIZER;
    for (auto _ : state)
        pthread_cond_signal(&c);
    pthread_cond_destroy(&c);
}

// One round trip: the turn goes to the partner and comes back.
struct NuTurns {
    NuSMutex m;
    NuSCond c;
    int turn = 0;
    bool done = false;
    NuTurns() {
        NuSMutexInit(&m);
        NuSCondInit(&c, nullptr);
    }
    void await(int me) {
        while (turn != me && !done)
            NuSCondWait(&c, &m, nullptr);
    }
    void hand(int to) {
        turn = to;
        NuSCondSignal(&c, nullptr);
    }
};

struct PthreadTurns {
    pthread_mutex_t m = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t c = PTHREAD_COND_INITIALIZER;
    int turn = 0;
    bool done = false;
    void await(int me) {
        while (turn != me && !done)
            pthread_cond_wait(&c, &m);
    }
    void hand(int to) {
        turn = to;
        pthread_cond_signal(&c);
    }
};

void lock(NuTurns &t) { NuSMutexLock(&t.m); }
void unlock(NuTurns &t) { NuSMutexUnlock(&t.m); }
void lock(PthreadTurns &t) { pthread_mutex_lock(&t.m); }
void unlock(PthreadTurns &t) { pthread_mutex_unlock(&t.m); }

template <class Turns>
void BM_cond_pingpong(benchmark::State &state) {
    Turns t;
    std::thread partner([&t] {
        lock(t);
        for (;;) {
            t.await(1);
            if (t.done)
                break;
            t.hand(0);
        }
        unlock(t);
    });
    lock(t);
    for (auto _ : state) {
        t.hand(1);
        t.await(0);
    }
    t.done = true;
    t.hand(1);
    unlock(t);
    partner.join();
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_NuSMutex);
BENCHMARK(BM_pthread_recursive);
BENCHMARK(BM_std_recursive_mutex);
BENCHMARK(BM_NuPMutex);
BENCHMARK(BM_pthread_robust_pshared);
BENCHMARK(BM_NuSMutex_shared)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_pthread_recursive_shared)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_NuSCondSignal_nobody);
BENCHMARK(BM_pthread_cond_signal_nobody);
BENCHMARK(BM_cond_pingpong<NuTurns>)->UseRealTime();
BENCHMARK(BM_cond_pingpong<PthreadTurns>)->UseRealTime();
BENCHMARK_MAIN();
