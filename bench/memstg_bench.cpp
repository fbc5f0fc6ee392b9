// SPDX-License-Identifier: MIT
// Mark-release storages beside the allocators a user would pick for the same
// job. Pieces: a batch of 4096 pieces of `size` bytes, then everything given
// back at once (clear, obstack_free to the start, release, or 4096 free
// calls for malloc); items/s counts pieces. Pools: NuPOOLget/NuPOOLfree of
// the newest object beside a zone's get and release, and a batch of 4096
// objects given back at once beside 4096 zone releases.
#include <benchmark/benchmark.h>
#include <obstack.h>

#include <cstdlib>
#include <memory_resource>
#include <vector>

#include "nu.h"

#define obstack_chunk_alloc std::malloc
#define obstack_chunk_free std::free

namespace {

constexpr int kBatch = 4096;

void BM_smemstg_alloc(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    NuSMEMSTG st;
    NuSMEMSTGopen(&st, nullptr, nullptr);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            benchmark::DoNotOptimize(NuSMEMSTGalloc(&st, size, nullptr));
        NuSMEMSTGclear(&st);
    }
    NuMEMSTGdestroy(&st.stg);
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_malloc(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    std::vector<void *> pieces(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            benchmark::DoNotOptimize(pieces[i] = std::malloc(size));
        for (void *p : pieces)
            std::free(p);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_obstack(benchmark::State &state) {
    const auto size = static_cast<int>(state.range(0));
    obstack ob;
    obstack_init(&ob);
    void *start = obstack_alloc(&ob, 1);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            benchmark::DoNotOptimize(obstack_alloc(&ob, size));
        obstack_free(&ob, start);
        start = obstack_alloc(&ob, 1);
    }
    obstack_free(&ob, nullptr);
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_pmr_monotonic(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    std::pmr::monotonic_buffer_resource res(65536);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            benchmark::DoNotOptimize(res.allocate(size, 8));
        res.release();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_pool_get_free(benchmark::State &state) {
    NuPOOL pool;
    NuPOOLopen(&pool, nullptr, static_cast<size_t>(state.range(0)), 0, nullptr);
    NuPOOLget(&pool, nullptr);  // a block in place
    for (auto _ : state) {
        void *o = NuPOOLget(&pool, nullptr);
        benchmark::DoNotOptimize(o);
        NuPOOLfree(&pool, o);
    }
    NuMEMSTGdestroy(&pool.stg);
}

void BM_zone_get_release(benchmark::State &state) {
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, 0,
                                  static_cast<uintptr_t>(state.range(0)), nullptr);
    for (auto _ : state) {
        void *o = _NuZmallocGet(z, nullptr);
        benchmark::DoNotOptimize(o);
        _NuZmPtrRelease(o);
    }
    _NuZmallocClose(z, NU_ZMALLOC_DESTROY_NOW, nullptr);
}

void BM_pool_batch(benchmark::State &state) {
    NuPOOL pool;
    NuPOOLopen(&pool, nullptr, static_cast<size_t>(state.range(0)), 0, nullptr);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            benchmark::DoNotOptimize(NuPOOLget(&pool, nullptr));
        NuPOOLclear(&pool);
    }
    NuMEMSTGdestroy(&pool.stg);
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_zone_batch(benchmark::State &state) {
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, 0,
                                  static_cast<uintptr_t>(state.range(0)), nullptr);
    std::vector<void *> objects(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            benchmark::DoNotOptimize(objects[i] = _NuZmallocGet(z, nullptr));
        for (void *o : objects)
            _NuZmPtrRelease(o);
    }
    _NuZmallocClose(z, NU_ZMALLOC_DESTROY_NOW, nullptr);
    state.SetItemsProcessed(state.iterations() * kBatch);
}

}  // namespace

BENCHMARK(BM_smemstg_alloc)->Arg(16)->Arg(64);
BENCHMARK(BM_malloc)->Arg(16)->Arg(64);
BENCHMARK(BM_obstack)->Arg(16)->Arg(64);
BENCHMARK(BM_pmr_monotonic)->Arg(16)->Arg(64);
BENCHMARK(BM_pool_get_free)->Arg(32);
BENCHMARK(BM_zone_get_release)->Arg(32);
BENCHMARK(BM_pool_batch)->Arg(32);
BENCHMARK(BM_zone_batch)->Arg(32);
BENCHMARK_MAIN();
