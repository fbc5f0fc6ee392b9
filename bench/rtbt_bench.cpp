// SPDX-License-Identifier: MIT
// The threaded balanced tree beside the ordered containers a user would pick
// instead: std::set and std::map, and GLib's GTree when it is there.
//
// N is 10^3, 10^5 and 10^6. Keys are the integers 1..N in a random order (a
// fixed seed); searches and removals take them in a second random order. Each
// benchmark times whole passes over the N keys and reports the time per
// operation ("per_op") and items/s; the set-up of a pass (building the tree
// to search or to empty, emptying it after inserting) is outside the timing.
//
// Two levels of the tree are measured: the element level (NuRTBTInsert_b /
// NuRTBTDelete_b), which allocates a node per element through the library's
// allocator as std::set does, and the node level (NuRTBTInsnode_b /
// NuRTBTRmnode_b), which links nodes the caller already has and allocates
// nothing. All trees use the stock table of plain words, whose comparison
// the tree runs inline, as std::less is inlined into std::set: the rows
// differ in the containers, not in the cost of a comparison. The tree's
// operations are calls into the library; std::set's are inlined.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include "nu.h"

#ifdef VESK_BENCH_WITH_GLIB
#include <glib.h>
#endif

namespace {

const NuBtninfo *const kWords = &_G_default_btninfo_opv;

struct Keys {
    std::vector<uintptr_t> insert, lookup;
};

const Keys &keys_for(size_t n) {
    static std::map<size_t, Keys> cache;
    Keys &k = cache[n];
    if (k.insert.empty()) {
        k.insert.resize(n);
        std::iota(k.insert.begin(), k.insert.end(), uintptr_t{1});
        std::mt19937_64 rng(n);
        std::shuffle(k.insert.begin(), k.insert.end(), rng);
        k.lookup = k.insert;
        std::shuffle(k.lookup.begin(), k.lookup.end(), rng);
    }
    return k;
}

// ---------------------------------------------------------------------------
// The contenders, each with: insert(key), find(key) -> bool, erase(key),
// clear().

// Element level: the tree allocates and frees the nodes.
class VeskElement {
public:
    explicit VeskElement(size_t) { NuRTBTInit(&tree_); }
    ~VeskElement() { NuRTBTDestroy(&tree_, kWords); }
    void insert(uintptr_t key) { NuRTBTInsert_b(&tree_, kWords, key, 0, nullptr); }
    bool find(uintptr_t key) const { return NuRTBTFind(&tree_, kWords, key, nullptr); }
    void erase(uintptr_t key) { NuRTBTDelete_b(&tree_, kWords, key, nullptr); }
    void clear() {
        NuRTBTDestroy(&tree_, kWords);
        NuRTBTInit(&tree_);
    }

private:
    NuRTBT tree_;
};

// Node level: the nodes are the caller's, allocated once up front.
class VeskNode {
public:
    explicit VeskNode(size_t n) : nodes_(n) { NuRTBTInit(&tree_); }
    // Nodes are taken in insertion order, as an allocator would hand them
    // out, so that neighbours in key order are not neighbours in memory.
    void insert(uintptr_t key) {
        NuRTBTNode *node = &nodes_[used_++];
        node->data = key;
        NuRTBTInsnode_b(&tree_, kWords, node, 0, nullptr);
    }
    bool find(uintptr_t key) const { return NuRTBTFind(&tree_, kWords, key, nullptr); }
    void erase(uintptr_t key) { NuRTBTRmnode_b(&tree_, kWords, key, nullptr); }
    void clear() {
        NuRTBTInit(&tree_);
        used_ = 0;
    }

private:
    NuRTBT tree_;
    std::vector<NuRTBTNode> nodes_;
    size_t used_ = 0;
};

class StdSet {
public:
    explicit StdSet(size_t) {}
    void insert(uintptr_t key) { set_.insert(key); }
    bool find(uintptr_t key) const { return set_.find(key) != set_.end(); }
    void erase(uintptr_t key) { set_.erase(key); }
    void clear() { set_.clear(); }

private:
    std::set<uintptr_t> set_;
};

class StdMap {
public:
    explicit StdMap(size_t) {}
    void insert(uintptr_t key) { map_.emplace(key, key); }
    bool find(uintptr_t key) const { return map_.find(key) != map_.end(); }
    void erase(uintptr_t key) { map_.erase(key); }
    void clear() { map_.clear(); }

private:
    std::map<uintptr_t, uintptr_t> map_;
};

#ifdef VESK_BENCH_WITH_GLIB
class GlibTree {
public:
    explicit GlibTree(size_t) : tree_(g_tree_new(compare)) {}
    ~GlibTree() { g_tree_destroy(tree_); }
    void insert(uintptr_t key) { g_tree_insert(tree_, as_ptr(key), as_ptr(key)); }
    bool find(uintptr_t key) const { return g_tree_lookup(tree_, as_ptr(key)) != nullptr; }
    void erase(uintptr_t key) { g_tree_remove(tree_, as_ptr(key)); }
    void clear() {
        g_tree_destroy(tree_);
        tree_ = g_tree_new(compare);
    }

private:
    static gpointer as_ptr(uintptr_t key) { return reinterpret_cast<gpointer>(key); }
    static gint compare(gconstpointer a, gconstpointer b) {
        const auto x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
        return x < y ? -1 : x > y;
    }
    GTree *tree_;
};
#endif

// ---------------------------------------------------------------------------
// The passes

void per_op(benchmark::State &state, size_t n) {
    state.SetItemsProcessed(int64_t(state.iterations() * n));
    state.counters["per_op"] = benchmark::Counter(
        double(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class C>
void Insert(benchmark::State &state) {
    const size_t n = size_t(state.range(0));
    const Keys &keys = keys_for(n);
    C c(n);
    for (auto _ : state) {
        for (uintptr_t k : keys.insert)
            c.insert(k);
        state.PauseTiming();
        c.clear();
        state.ResumeTiming();
    }
    per_op(state, n);
}

template <class C>
void Find(benchmark::State &state) {
    const size_t n = size_t(state.range(0));
    const Keys &keys = keys_for(n);
    C c(n);
    for (uintptr_t k : keys.insert)
        c.insert(k);
    for (auto _ : state) {
        size_t hits = 0;
        for (uintptr_t k : keys.lookup)
            hits += c.find(k);
        benchmark::DoNotOptimize(hits);
    }
    per_op(state, n);
}

template <class C>
void Erase(benchmark::State &state) {
    const size_t n = size_t(state.range(0));
    const Keys &keys = keys_for(n);
    C c(n);
    for (auto _ : state) {
        state.PauseTiming();
        c.clear();
        for (uintptr_t k : keys.insert)
            c.insert(k);
        state.ResumeTiming();
        for (uintptr_t k : keys.lookup)
            c.erase(k);
    }
    per_op(state, n);
}

void small(benchmark::internal::Benchmark *b) {
    b->Unit(benchmark::kMicrosecond)->Arg(1000)->Arg(100000);
}
// A pass over 10^6 keys takes about a second and its set-up as long again:
// one pass per repetition, and five repetitions, keep the run to minutes.
void large(benchmark::internal::Benchmark *b) {
    b->Unit(benchmark::kMillisecond)->Arg(1000000)->Iterations(1)->Repetitions(5);
}

#define VESK_TREE_BENCH_ONE(op, c)                    \
    BENCHMARK_TEMPLATE(op, c)->Apply(small);          \
    BENCHMARK_TEMPLATE(op, c)->Apply(large)

#define VESK_TREE_BENCH(op)                 \
    VESK_TREE_BENCH_ONE(op, VeskNode);      \
    VESK_TREE_BENCH_ONE(op, VeskElement);   \
    VESK_TREE_BENCH_ONE(op, StdSet);        \
    VESK_TREE_BENCH_ONE(op, StdMap)

VESK_TREE_BENCH(Insert);
VESK_TREE_BENCH(Find);
VESK_TREE_BENCH(Erase);

#ifdef VESK_BENCH_WITH_GLIB
VESK_TREE_BENCH_ONE(Insert, GlibTree);
VESK_TREE_BENCH_ONE(Find, GlibTree);
VESK_TREE_BENCH_ONE(Erase, GlibTree);
#endif

}  // namespace

BENCHMARK_MAIN();
