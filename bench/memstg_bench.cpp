// SPDX-License-Identifier: MIT
// Mark-release storages beside the allocators a user would pick for the same
// job. items/s counts pieces; every row does batches of 4096 pieces of `size`
// bytes and gives the whole batch back before the next, so that each figure
// is the cost of a piece's whole life, its share of the give-back included:
//
// - storage: NuSMEMSTGalloc, a call into the shared library, then
//   NuSMEMSTGclear. The root keeps its blocks as spares, so that after the
//   first batch no piece reaches the heap.
// - malloc: malloc per piece, then one free per piece: the heap has no other
//   way to give a batch back.
// - obstack: obstack_alloc, a macro that the compiler inlines into the loop,
//   then obstack_free to the batch's first object, which hands the chunks
//   after the first back to malloc (and glibc may trim the top of its heap
//   and take the pages again in the next batch).
// - pmr: monotonic_buffer_resource::allocate, inlined and devirtualised here,
//   then release(), which hands its buffers back to the upstream resource.
// - call floor: the same loop calling an exported function whose body copies
//   two words (NuSMEMSTGgetstate): what a call into the library costs before
//   any allocator work. No allocator in the library can beat this row.
//
// Pools: NuPOOLget/NuPOOLfree of the newest object beside a zone's get and
// release, and a batch of 4096 objects given back at once beside 4096 zone
// releases.
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

// The loop of BM_smemstg_alloc around a call that does no allocator work.
void BM_exported_call_floor(benchmark::State &state) {
    NuSMEMSTG st;
    NuSMEMSTGopen(&st, nullptr, nullptr);
    NuSMEMSTGstate mark;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            benchmark::DoNotOptimize(NuSMEMSTGgetstate(&mark, &st));
        NuSMEMSTGclear(&st);
    }
    NuMEMSTGdestroy(&st.stg);
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.SetLabel("a call with a two-word body, no allocation");
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
BENCHMARK(BM_exported_call_floor);
BENCHMARK(BM_malloc)->Arg(16)->Arg(64);
BENCHMARK(BM_obstack)->Arg(16)->Arg(64);
BENCHMARK(BM_pmr_monotonic)->Arg(16)->Arg(64);
BENCHMARK(BM_pool_get_free)->Arg(32);
BENCHMARK(BM_zone_get_release)->Arg(32);
BENCHMARK(BM_pool_batch)->Arg(32);
BENCHMARK(BM_zone_batch)->Arg(32);
BENCHMARK_MAIN();
