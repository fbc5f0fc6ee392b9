// SPDX-License-Identifier: MIT
// The allocator table beside the C heap it sits on.
//
// NuMalloc/NuMfree add the sealing store, the indirect call through the
// table and the atomic live-block count to malloc/free. Two shapes: one block
// allocated and released at once, and a batch of 1024 held and then released
// (which keeps the heap's fast paths less warm).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "vesk.h"

namespace {

struct Heap {
    void *(*alloc)(size_t);
    void (*release)(void *);
};
constexpr Heap kLibrary = {NuMalloc, NuMfree};
constexpr Heap kCHeap = {std::malloc, std::free};

void pair(benchmark::State &state, Heap heap) {
    const auto size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void *block = heap.alloc(size);
        benchmark::DoNotOptimize(block);
        heap.release(block);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(std::to_string(size) + " bytes, allocate and release");
}

void batch(benchmark::State &state, Heap heap) {
    const auto size = static_cast<size_t>(state.range(0));
    std::vector<void *> blocks(1024);
    for (auto _ : state) {
        for (void *&b : blocks)
            b = heap.alloc(size);
        benchmark::DoNotOptimize(blocks.data());
        for (void *b : blocks)
            heap.release(b);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(blocks.size()));
    state.SetLabel(std::to_string(size) + " bytes, 1024 held then released");
}

void NuMalloc_pair(benchmark::State &s) { pair(s, kLibrary); }
void malloc_pair(benchmark::State &s) { pair(s, kCHeap); }
void NuMalloc_batch(benchmark::State &s) { batch(s, kLibrary); }
void malloc_batch(benchmark::State &s) { batch(s, kCHeap); }

BENCHMARK(NuMalloc_pair)->Arg(16)->Arg(256)->Arg(4096);
BENCHMARK(malloc_pair)->Arg(16)->Arg(256)->Arg(4096);
BENCHMARK(NuMalloc_batch)->Arg(16)->Arg(256);
BENCHMARK(malloc_batch)->Arg(16)->Arg(256);
// Two threads at once: the live-block count is one shared atomic word.
BENCHMARK(NuMalloc_pair)->Arg(16)->Threads(2);
BENCHMARK(malloc_pair)->Arg(16)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
