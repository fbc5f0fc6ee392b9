// SPDX-License-Identifier: MIT
// A zone's get and release of a recycled object beside malloc/free and
// new/delete of the same size. Nanoseconds per get + release pair; object
// sizes 32 and 256 bytes.
#include <benchmark/benchmark.h>

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
}

void BM_new_delete(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        char *o = new char[size];
        benchmark::DoNotOptimize(o);
        delete[] o;
    }
}

}  // namespace

BENCHMARK(BM_zone_get_release)->Arg(32)->Arg(256);
BENCHMARK(BM_malloc_free)->Arg(32)->Arg(256);
BENCHMARK(BM_new_delete)->Arg(32)->Arg(256);
BENCHMARK_MAIN();
