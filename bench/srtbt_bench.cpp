// SPDX-License-Identifier: MIT
// The sequenced tree beside the plain tree it is built on and beside what a
// user would pick for "sorted, and in the order they came": a std::map from
// key to a position in a std::list.
//
// One pass inserts N keys (1..N in a random order, fixed seed) and removes
// them again in a second random order; the time is per operation ("per_op",
// 2N operations a pass). N is 10^3, 10^4 and 10^5. Two levels of the trees: the
// element level (Insert_b / Delete_b, a node allocated and freed per key, as
// the map and the list do) and the node level (Insnode_b / Rmnode_b, on nodes
// the caller allocated once), where the cost of the sequence shows alone.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <map>
#include <numeric>
#include <random>
#include <vector>

#include "nu.h"

namespace {

const NuBtninfo *const kWords = &_G_default_btninfo_opv;

struct Keys {
    std::vector<uintptr_t> insert, remove;
};

const Keys &keys_for(size_t n) {
    static std::map<size_t, Keys> cache;
    Keys &k = cache[n];
    if (k.insert.empty()) {
        k.insert.resize(n);
        std::iota(k.insert.begin(), k.insert.end(), uintptr_t{1});
        std::mt19937_64 rng(n);
        std::shuffle(k.insert.begin(), k.insert.end(), rng);
        k.remove = k.insert;
        std::shuffle(k.remove.begin(), k.remove.end(), rng);
    }
    return k;
}

// --- The contenders: insert(key), erase(key) --------------------------------

class PlainElement {
public:
    explicit PlainElement(size_t) { NuRTBTInit(&tree_); }
    ~PlainElement() { NuRTBTDestroy(&tree_, kWords); }
    void insert(uintptr_t key) { NuRTBTInsert_b(&tree_, kWords, key, 0, nullptr); }
    void erase(uintptr_t key) { NuRTBTDelete_b(&tree_, kWords, key, nullptr); }

private:
    NuRTBT tree_;
};

class SequencedElement {
public:
    explicit SequencedElement(size_t) { NuSRTBTInit(&tree_); }
    ~SequencedElement() { NuSRTBTDestroy(&tree_, kWords); }
    void insert(uintptr_t key) { NuSRTBTInsert_b(&tree_, kWords, key, 0, nullptr); }
    void erase(uintptr_t key) { NuSRTBTDelete_b(&tree_, kWords, key, nullptr); }

private:
    NuSRTBT tree_;
};

// Nodes handed out in insertion order, as an allocator would, and reused by
// every pass: each pass leaves the tree empty.
template <class Node>
class Nodes {
public:
    explicit Nodes(size_t n) : nodes_(n) {}
    Node *next(uintptr_t key) {
        Node *node = &nodes_[used_++ % nodes_.size()];
        node->data = key;
        return node;
    }

private:
    std::vector<Node> nodes_;
    size_t used_ = 0;
};

class PlainNode {
public:
    explicit PlainNode(size_t n) : nodes_(n) { NuRTBTInit(&tree_); }
    void insert(uintptr_t key) { NuRTBTInsnode_b(&tree_, kWords, nodes_.next(key), 0, nullptr); }
    void erase(uintptr_t key) { NuRTBTRmnode_b(&tree_, kWords, key, nullptr); }

private:
    NuRTBT tree_;
    Nodes<NuRTBTNode> nodes_;
};

class SequencedNode {
public:
    explicit SequencedNode(size_t n) : nodes_(n) { NuSRTBTInit(&tree_); }
    void insert(uintptr_t key) { NuSRTBTInsnode_b(&tree_, kWords, nodes_.next(key), 0, nullptr); }
    void erase(uintptr_t key) { NuSRTBTRmnode_b(&tree_, kWords, key, nullptr); }

private:
    NuSRTBT tree_;
    Nodes<NuSRTBTNode> nodes_;
};

// Sorted by the map, in order of arrival by the list; like the tree, a key
// already there is refused.
class MapAndList {
public:
    explicit MapAndList(size_t) {}
    void insert(uintptr_t key) {
        auto [at, fresh] = map_.try_emplace(key);
        if (fresh)
            at->second = list_.insert(list_.end(), key);
    }
    void erase(uintptr_t key) {
        auto at = map_.find(key);
        if (at != map_.end()) {
            list_.erase(at->second);
            map_.erase(at);
        }
    }

private:
    std::list<uintptr_t> list_;
    std::map<uintptr_t, std::list<uintptr_t>::iterator> map_;
};

// --- The pass ---------------------------------------------------------------

template <class C>
void InsertRemove(benchmark::State &state) {
    const size_t n = size_t(state.range(0));
    const Keys &keys = keys_for(n);
    C c(n);
    for (auto _ : state) {
        for (uintptr_t k : keys.insert)
            c.insert(k);
        for (uintptr_t k : keys.remove)
            c.erase(k);
    }
    state.SetItemsProcessed(int64_t(state.iterations() * 2 * n));
    state.counters["per_op"] = benchmark::Counter(
        double(2 * n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void sizes(benchmark::internal::Benchmark *b) {
    b->Unit(benchmark::kMicrosecond)->Arg(1000)->Arg(10000)->Arg(100000);
}

BENCHMARK_TEMPLATE(InsertRemove, SequencedElement)->Apply(sizes);
BENCHMARK_TEMPLATE(InsertRemove, PlainElement)->Apply(sizes);
BENCHMARK_TEMPLATE(InsertRemove, SequencedNode)->Apply(sizes);
BENCHMARK_TEMPLATE(InsertRemove, PlainNode)->Apply(sizes);
BENCHMARK_TEMPLATE(InsertRemove, MapAndList)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
