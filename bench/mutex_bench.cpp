// SPDX-License-Identifier: MIT
// The two mutex families beside what a Linux programmer would take instead.
//
// NuSMutex (a recursive pthread mutex inside the caller's record) beside a
// recursive pthread_mutex_t and std::recursive_mutex; NuPMutex (a handle to a
// robust, process-shared, recursive mutex) beside a robust process-shared
// pthread_mutex_t. Uncontended lock + unlock pairs, nanoseconds per pair;
// then 2 and 4 threads on one shared NuSMutex beside one shared recursive
// pthread mutex, counted in wall-clock time (items/s is the throughput of
// all threads).
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <mutex>

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

}  // namespace

BENCHMARK(BM_NuSMutex);
BENCHMARK(BM_pthread_recursive);
BENCHMARK(BM_std_recursive_mutex);
BENCHMARK(BM_NuPMutex);
BENCHMARK(BM_pthread_robust_pshared);
BENCHMARK(BM_NuSMutex_shared)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_pthread_recursive_shared)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK_MAIN();
