// SPDX-License-Identifier: MIT
// Reference counting and pooled instances beside what a C or C++ programmer
// would use instead.
//
// VeskRetain + VeskRelease on an instance counted by the stock Xucntl set
// (frame, lookup walk instance -> class, atomic add) beside g_object_ref +
// g_object_unref (when GObject is there), a std::shared_ptr copy and destroy,
// and a bare atomic increment and decrement; _VeskRetainvalue with -1 shows
// the share of the walk (same lookup, no atomic read-modify-write). A pooled
// VeskAlloc + VeskInit + last VeskRelease beside new + delete of an object
// of the same size. Nanoseconds per pair or per cycle.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstddef>
#include <memory>

#include "lifecycle_records.hpp"
#include "vesk.h"

#ifdef VESK_BENCH_WITH_GOBJECT
#include <glib-object.h>
#endif

namespace {

using lcbench::Instance;
using lcbench::bench_cls;
using lcbench::new_instance;

void BM_VeskRetain_Release(benchmark::State &state) {
    void *o = new_instance();
    for (auto _ : state) {
        VeskRetain(o, nullptr);
        VeskRelease(o, 0, nullptr);
    }
    VeskRelease(o, 0, nullptr);
}

// The same front end and walk with a plain read in place of the count's
// read-modify-write: the cost of finding the row.
void BM_VeskRetainvalue_walk_only(benchmark::State &state) {
    void *o = new_instance();
    for (auto _ : state)
        benchmark::DoNotOptimize(_VeskRetainvalue(o, -1, nullptr));
    VeskRelease(o, 0, nullptr);
}

void BM_shared_ptr_copy_destroy(benchmark::State &state) {
    auto p = std::make_shared<Instance>();
    for (auto _ : state) {
        std::shared_ptr<Instance> q = p;
        benchmark::DoNotOptimize(q);
    }
}

void BM_atomic_inc_dec(benchmark::State &state) {
    std::atomic<int32_t> count{1};
    for (auto _ : state) {
        count.fetch_add(1, std::memory_order_relaxed);
        count.fetch_sub(1, std::memory_order_acq_rel);
    }
    benchmark::DoNotOptimize(count.load());
}

#ifdef VESK_BENCH_WITH_GOBJECT
void BM_g_object_ref_unref(benchmark::State &state) {
    GObject *o = static_cast<GObject *>(g_object_new(G_TYPE_OBJECT, nullptr));
    for (auto _ : state) {
        g_object_ref(o);
        g_object_unref(o);
    }
    g_object_unref(o);
}
BENCHMARK(BM_g_object_ref_unref);
#endif

void BM_pooled_alloc_init_release(benchmark::State &state) {
    const VeskOid key = VESK_OID2(4, 991);
    bench_cls();
    NuZmalloc *pool = VeskPoolOpen(&key, 0, nullptr);
    for (auto _ : state) {
        void *o = VeskAlloc(bench_cls(), VESK_ALLOC_POOL, pool, 0, nullptr);
        VeskInit(o, nullptr, 0, nullptr);
        VeskRelease(o, 0, nullptr);
    }
    _NuZmallocClose(pool, 0, nullptr);
}

void BM_new_delete_same_size(benchmark::State &state) {
    for (auto _ : state) {
        auto *o = new Instance();
        benchmark::DoNotOptimize(o);
        delete o;
    }
}

}  // namespace

BENCHMARK(BM_VeskRetain_Release);
BENCHMARK(BM_VeskRetainvalue_walk_only);
BENCHMARK(BM_shared_ptr_copy_destroy);
BENCHMARK(BM_atomic_inc_dec);
BENCHMARK(BM_pooled_alloc_init_release);
BENCHMARK(BM_new_delete_same_size);
BENCHMARK_MAIN();
