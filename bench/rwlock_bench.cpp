// SPDX-License-Identifier: MIT
// The record lock beside the reader/writer locks a user would pick instead.
//
// One lock and one unlock per iteration, through the exported record entry
// points (_VeskObjRdlock / _VeskObjWrlock / _VeskObjUnlock), a
// pthread_rwlock_t and a std::shared_mutex. Uncontended on one thread; then
// two and four threads taking the same lock, for reading and for writing,
// where every kind of lock bounces its cache line between the cores and, with
// more threads than cores, a holder may lose its processor. The threaded runs
// count wall-clock time, so that items/s is the throughput of all threads.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <shared_mutex>

#include "vesk.h"

namespace {

// Shared by both threads of the two-thread runs.
VeskRecord g_record{};
pthread_rwlock_t g_pthread = PTHREAD_RWLOCK_INITIALIZER;
std::shared_mutex g_shared;

struct Vesk {
    static void read() {
        _VeskObjRdlock(&g_record, nullptr);
        _VeskObjUnlock(&g_record, nullptr);
    }
    static void write() {
        _VeskObjWrlock(&g_record, nullptr);
        _VeskObjUnlock(&g_record, nullptr);
    }
};

struct Pthread {
    static void read() {
        pthread_rwlock_rdlock(&g_pthread);
        pthread_rwlock_unlock(&g_pthread);
    }
    static void write() {
        pthread_rwlock_wrlock(&g_pthread);
        pthread_rwlock_unlock(&g_pthread);
    }
};

struct SharedMutex {
    static void read() {
        g_shared.lock_shared();
        g_shared.unlock_shared();
    }
    static void write() {
        g_shared.lock();
        g_shared.unlock();
    }
};

// The lock's memory may change under the calls; the compiler must not keep
// anything about it in registers across iterations.
template <class Lock>
void read_unlock(benchmark::State &state) {
    for (auto _ : state) {
        Lock::read();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

template <class Lock>
void write_unlock(benchmark::State &state) {
    for (auto _ : state) {
        Lock::write();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK_TEMPLATE(read_unlock, Vesk);
BENCHMARK_TEMPLATE(read_unlock, Pthread);
BENCHMARK_TEMPLATE(read_unlock, SharedMutex);
BENCHMARK_TEMPLATE(write_unlock, Vesk);
BENCHMARK_TEMPLATE(write_unlock, Pthread);
BENCHMARK_TEMPLATE(write_unlock, SharedMutex);

#define VESK_CONTENDED(op, lock) \
    BENCHMARK_TEMPLATE(op, lock)->Threads(2)->Threads(4)->UseRealTime()

VESK_CONTENDED(read_unlock, Vesk);
VESK_CONTENDED(read_unlock, Pthread);
VESK_CONTENDED(read_unlock, SharedMutex);
VESK_CONTENDED(write_unlock, Vesk);
VESK_CONTENDED(write_unlock, Pthread);
VESK_CONTENDED(write_unlock, SharedMutex);

BENCHMARK_MAIN();
