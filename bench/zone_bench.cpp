// SPDX-License-Identifier: MIT
// A zone's get and release of a recycled object beside malloc/free and
// new/delete of the same size. Nanoseconds per get + release pair; object
// sizes 32 and 256 bytes. Then 2 and 4 threads getting and releasing from
// one shared zone beside malloc/free on as many threads, counted in
// wall-clock time, so that items/s is the throughput of all threads.
//
// Beside them, what no zone can go below: a get and a release each take one
// short section of the zone's spin word, that is two atomic read-modify-
// writes per pair, and BM_two_lock_sections times exactly that with nothing
// inside. And a zone per thread at 2 and 4 threads: the same calls with no
// word shared between threads, which is what the shared case pays for.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "nu.h"

namespace {

void BM_zone_get_release(benchmark::State &state) {
    const auto size = static_cast<uintptr_t>(state.range(0));
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, 0, size, nullptr);
    for (auto _ : state) {
        void *o = _NuZmallocGet(z, nullptr);
        benchmark::DoNotOptimize(o);
        _NuZmPtrRelease(o);
    }
    _NuZmallocClose(z, NU_ZMALLOC_DESTROY_NOW, nullptr);
}

void BM_malloc_free(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void *o = std::malloc(size);
        benchmark::DoNotOptimize(o);
        std::free(o);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_new_delete(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        char *o = new char[size];
        benchmark::DoNotOptimize(o);
        delete[] o;
    }
}

// Two sections of a spin word taken as the zone takes its own: a
// compare-exchange from 0 to 1, a store of 0.
void BM_two_lock_sections(benchmark::State &state) {
    std::atomic<uintptr_t> word{0};
    for (auto _ : state) {
        for (int section = 0; section < 2; ++section) {
            uintptr_t free = 0;
            while (!word.compare_exchange_strong(free, 1, std::memory_order_acquire,
                                                 std::memory_order_relaxed))
                free = 0;
            benchmark::ClobberMemory();
            word.store(0, std::memory_order_release);
        }
    }
}

// One zone of 32-byte objects for all threads, open for the whole run.
NuZmalloc *shared_zone() {
    static NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, 0, 32, nullptr);
    return z;
}

void BM_zone_shared(benchmark::State &state) {
    NuZmalloc *z = shared_zone();
    for (auto _ : state) {
        void *o = _NuZmallocGet(z, nullptr);
        benchmark::DoNotOptimize(o);
        _NuZmPtrRelease(o);
    }
    state.SetItemsProcessed(state.iterations());
}

// Each thread its own zone of 32-byte objects.
void BM_zone_per_thread(benchmark::State &state) {
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, 0, 32, nullptr);
    for (auto _ : state) {
        void *o = _NuZmallocGet(z, nullptr);
        benchmark::DoNotOptimize(o);
        _NuZmPtrRelease(o);
    }
    _NuZmallocClose(z, NU_ZMALLOC_DESTROY_NOW, nullptr);
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_two_lock_sections);
BENCHMARK(BM_zone_get_release)->Arg(32)->Arg(256);
BENCHMARK(BM_malloc_free)->Arg(32)->Arg(256);
BENCHMARK(BM_new_delete)->Arg(32)->Arg(256);
BENCHMARK(BM_zone_shared)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_zone_per_thread)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_malloc_free)->Arg(32)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK_MAIN();
