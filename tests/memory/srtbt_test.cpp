// SPDX-License-Identifier: MIT
// Sequenced threaded tree. A random run against a model (a sorted multiset
// of keys beside a list in insertion order) at each level of ownership,
// plain and balanced, with and without duplicates: after every step the
// tree part must keep every invariant of the threaded tree (threads, first
// and last, balance) and the head's ends, and the ring must read the list,
// with the tail bit on its last node only. Then the small cases a caller
// relies on, copy and move, and the plain tree's searches and walks on a
// sequenced head.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <list>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/status.hpp"
#include "vesk.h"

namespace {

const NuBtninfo *const kWords = &_G_default_btninfo_opv;
const NuRTBT *plain(const NuSRTBT &t) { return reinterpret_cast<const NuRTBT *>(&t); }
NuSRTBTLink *ring(NuSRTBT &t) { return reinterpret_cast<NuSRTBTLink *>(&t.seq_next); }
int bal(const NuRTBTNode *n) { return static_cast<int8_t>(static_cast<uint8_t>(n->flags)) >> 5; }

// Elements the tree owns: boxes holding a key, counted while alive.
struct Box {
    uintptr_t key;
};
int live_boxes, fail_dup_at;
std::vector<uintptr_t> dup_order, release_order;
uintptr_t key_of(uintptr_t e) { return reinterpret_cast<const Box *>(e)->key; }
uintptr_t box_dup(uintptr_t info, uintptr_t, uintptr_t, VeskErr *status) {
    if (fail_dup_at != 0 && --fail_dup_at == 0)
        return VeskMkerr(nullptr, status, 0, 0, 0, 0, VESK_E_NOMEM, 12, 1, "@dup"), 0;
    dup_order.push_back(key_of(info));
    return ++live_boxes, reinterpret_cast<uintptr_t>(new Box{key_of(info)});
}
int32_t box_release(uintptr_t e, uint32_t, VeskErr *) {
    release_order.push_back(key_of(e));
    return --live_boxes, delete reinterpret_cast<Box *>(e), 0;
}
intptr_t box_compare(uintptr_t a, uintptr_t b) { return key_of(a) < key_of(b) ? -1 : key_of(a) > key_of(b); }
const NuBtninfo kBoxes = {box_dup, nullptr, box_release, box_compare, nullptr};

// Everything a sequenced head must be, against the keys in sorted order and
// the nodes in the order in which they came.
::testing::AssertionResult sound(NuSRTBT &t, bool balanced, const std::vector<uintptr_t> &sorted,
                                 const std::vector<const NuSRTBTNode *> &sequence,
                                 uintptr_t (*key)(uintptr_t)) {
    std::vector<const NuRTBTNode *> in;
    std::string e;
    auto walk = [&](auto &self, const NuRTBTNode *n) -> int {
        if (in.size() > sorted.size())
            return e = "more nodes than the model", 0;
        const bool thread = n->flags & NU_RTBT_RTHREAD;
        const int hl = n->left ? self(self, n->left) : 0;
        in.push_back(n);
        const int hr = thread || !n->right ? 0 : self(self, n->right);
        if (bal(n) != (balanced ? hr - hl : 0))
            e = "balance factor at key " + std::to_string(key(n->data));
        return 1 + std::max(hl, hr);
    };
    const int height = t.root ? walk(walk, t.root) : 0;
    if (t.self != &t || t.reserved != 0 || t.count != sequence.size())
        e = "head words";
    for (size_t i = 0; e.empty() && i < in.size(); ++i) {
        const void *succ = i + 1 < in.size() ? static_cast<const void *>(in[i + 1]) : &t;
        const unsigned want = (i == 0 ? NU_RTBT_FIRST : 0) | (i + 1 == in.size() ? NU_RTBT_LAST : 0);
        if (i >= sorted.size() || key(in[i]->data) != sorted[i])
            e = "sorted order differs at " + std::to_string(i);
        else if (((in[i]->flags & NU_RTBT_RTHREAD) && in[i]->right != succ))
            e = "thread not to the successor at " + std::to_string(i);
        else if ((in[i]->flags & (NU_RTBT_FIRST | NU_RTBT_LAST)) != want)
            e = "first/last bits at " + std::to_string(i);
    }
    if (e.empty() && in.size() != sorted.size())
        e = "tree holds " + std::to_string(in.size()) + " for " + std::to_string(sorted.size());
    const void *first = in.empty() ? nullptr : in.front(), *last = in.empty() ? nullptr : in.back();
    if (e.empty() && (t.first != first || t.last != last))
        e = "head's first or last";
    if (e.empty() && balanced && height > 1.4405 * std::log2(double(in.size()) + 2))
        e = "height beyond the AVL bound";
    // The ring, both ways, against the list; the tail bit on its last node.
    const NuSRTBTLink *prev = ring(t);
    size_t i = 0;
    for (const NuSRTBTLink *l = t.seq_next; e.empty() && l != ring(t); prev = l, l = l->seq_next, ++i) {
        const NuSRTBTNode *n = NU_SRTBT_NODE_OF(l);
        if (i >= sequence.size() || n != sequence[i] || l->seq_prev != prev)
            e = "sequence differs at " + std::to_string(i);
        else if (bool(n->flags & NU_SRTBT_TAIL) != (i + 1 == sequence.size()))
            e = "tail bit at " + std::to_string(i);
    }
    if (e.empty() && (i != sequence.size() || t.seq_prev != prev))
        e = "sequence ends after " + std::to_string(i);
    return e.empty() ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << e;
}

uintptr_t same(uintptr_t w) { return w; }

enum class Level { element, detached, node };
struct Param {
    Level level;
    bool balanced, dups;
};

class SequenceModel : public ::testing::TestWithParam<Param> {};

TEST_P(SequenceModel, RandomRunKeepsBothOrders) {
    const auto [level, b, dups] = GetParam();
    const bool boxed = level != Level::node;  // the caller's nodes hold plain words
    const NuBtninfo *table = boxed ? &kBoxes : kWords;
    auto key = boxed ? key_of : same;
    NuSRTBT t;
    NuSRTBTInit(&t);
    std::multimap<uintptr_t, const NuSRTBTNode *> sorted;
    std::list<const NuSRTBTNode *> sequence;
    std::mt19937_64 rng(20240612);
    for (int step = 0; step < 4000 || !sequence.empty(); ++step) {
        const uintptr_t k = step < 4000 ? rng() % 200 : sorted.begin()->first;
        Box probe{k};
        const uintptr_t word = boxed ? uintptr_t(&probe) : k;
        vesk_test::Status r;
        if (step < 4000 && rng() % 100 < (step < 2000 ? 60u : 35u)) {
            const NuSRTBTNode *n;
            if (boxed) {
                n = (b ? NuSRTBTInsert_b : NuSRTBTInsert)(&t, table, word, dups, &r.err);
            } else {
                auto *mine = new NuSRTBTNode{nullptr, nullptr, 0xFFFF, k, nullptr, nullptr};
                n = (b ? NuSRTBTInsnode_b : NuSRTBTInsnode)(&t, table, mine, dups, &r.err);
                if (n == nullptr)
                    delete mine;
            }
            ASSERT_EQ(n != nullptr, dups || !sorted.count(k)) << "insert " << k;
            if (n != nullptr)
                sorted.emplace(k, n), sequence.push_back(n);
            else
                EXPECT_EQ(r.err.status, VESK_STATUS(VESK_FAC_RTBT, VESK_E_ENTRYEXISTS));
        } else {
            // The take-out removes the node that a search finds.
            const NuRTBTNode *found = NuRTBTFind(plain(t), table, word, nullptr);
            ASSERT_EQ(found != nullptr, sorted.count(k) != 0) << "find " << k;
            bool taken;
            if (level == Level::element) {
                taken = (b ? NuSRTBTDelete_b : NuSRTBTDelete)(&t, table, word, &r.err) == 0;
            } else if (level == Level::detached) {
                const uintptr_t e = (b ? NuSRTBTRemove_b : NuSRTBTRemove)(&t, table, word, &r.err);
                if ((taken = e != NU_RTBT_NOELEMENT)) {
                    EXPECT_EQ(key_of(e), k);
                    box_release(e, 1, nullptr);
                }
            } else {
                NuSRTBTNode *n = (b ? NuSRTBTRmnode_b : NuSRTBTRmnode)(&t, table, word, &r.err);
                if ((taken = n != nullptr)) {
                    EXPECT_EQ(static_cast<const void *>(n), found);
                    EXPECT_TRUE(n->seq_next == nullptr && n->seq_prev == nullptr && !(n->flags & NU_SRTBT_TAIL));
                    delete n;
                }
            }
            ASSERT_EQ(taken, found != nullptr) << "take out " << k;
            if (!taken) {
                EXPECT_EQ(r.err.status, VESK_STATUS(VESK_FAC_RTBT, VESK_E_NOMATCH));
            } else {
                sequence.remove(reinterpret_cast<const NuSRTBTNode *>(found));
                for (auto it = sorted.lower_bound(k); it != sorted.end(); ++it)
                    if (it->second == reinterpret_cast<const NuSRTBTNode *>(found)) {
                        sorted.erase(it);
                        break;
                    }
            }
        }
        std::vector<uintptr_t> keys;
        for (auto &[kk, n] : sorted)
            keys.push_back(kk);
        ASSERT_TRUE(sound(t, b, keys, {sequence.begin(), sequence.end()}, key)) << "step " << step;
        ASSERT_EQ(live_boxes, boxed ? int(sequence.size()) : 0);
    }
}

std::vector<Param> every_level() {
    std::vector<Param> out;
    for (Level l : {Level::element, Level::detached, Level::node})
        for (int bits = 0; bits < 4; ++bits)
            out.push_back({l, bool(bits & 2), bool(bits & 1)});
    return out;
}
std::string name_of(const ::testing::TestParamInfo<Param> &i) {
    const char *const levels[] = {"Element", "Detached", "Node"};
    return std::string(levels[int(i.param.level)]) + (i.param.balanced ? "Balanced" : "Plain") +
           (i.param.dups ? "Dups" : "Unique");
}
void PrintTo(const Param &p, std::ostream *os) { *os << int(p.level) << p.balanced << p.dups; }
INSTANTIATE_TEST_SUITE_P(Levels, SequenceModel, ::testing::ValuesIn(every_level()), name_of);

// ---------------------------------------------------------------------------

std::vector<const NuSRTBTNode *> nodes_of(NuSRTBT &t) {
    std::vector<const NuSRTBTNode *> out;
    for (NuSRTBTLink *l = t.seq_next; l != ring(t); l = l->seq_next)
        out.push_back(NU_SRTBT_NODE_OF(l));
    return out;
}

// 3, 1, 2 in: sequence 3 1 2, sorted 1 2 3, the tail on 2; 2 out by each
// form: the tail on 1; then 1 and 3 out: the head is empty again.
TEST(SequencedTree, InsertionAndRemovalFormsKeepTheTail) {
    using Ins = NuSRTBTNode *(*)(NuSRTBT *, const NuBtninfo *, uintptr_t, int, VeskErr *);
    const Ins inserts[] = {NuSRTBTInsert, NuSRTBTInsert_b};
    const std::vector<std::function<bool(NuSRTBT *, uintptr_t)>> takes = {
        [](NuSRTBT *t, uintptr_t k) { return NuSRTBTDelete(t, kWords, k, nullptr) == 0; },
        [](NuSRTBT *t, uintptr_t k) { return NuSRTBTDelete_b(t, kWords, k, nullptr) == 0; },
        [](NuSRTBT *t, uintptr_t k) { return NuSRTBTRemove(t, kWords, k, nullptr) == k; },
        [](NuSRTBT *t, uintptr_t k) { return NuSRTBTRemove_b(t, kWords, k, nullptr) == k; },
        [](NuSRTBT *t, uintptr_t k) { return NuMfree(NuSRTBTRmnode(t, kWords, k, nullptr)), true; },
        [](NuSRTBT *t, uintptr_t k) { return NuMfree(NuSRTBTRmnode_b(t, kWords, k, nullptr)), true; },
    };
    for (size_t i = 0; i < takes.size(); ++i) {
        const bool b = i % 2;  // the take-out form that matches the insertion
        NuSRTBT t;
        NuSRTBTInit(&t);
        NuSRTBTNode *n3 = inserts[b](&t, kWords, 3, 0, nullptr), *n1 = inserts[b](&t, kWords, 1, 0, nullptr),
                    *n2 = inserts[b](&t, kWords, 2, 0, nullptr);
        ASSERT_TRUE(sound(t, b, {1, 2, 3}, {n3, n1, n2}, same)) << i;
        EXPECT_TRUE(t.first == n1 && t.last == n3 && (n2->flags & NU_SRTBT_TAIL));
        EXPECT_EQ(inserts[b](&t, kWords, 2, 0, nullptr), nullptr) << "refused, the ring untouched";
        ASSERT_TRUE(takes[i](&t, 2)) << i;
        ASSERT_TRUE(sound(t, b, {1, 3}, {n3, n1}, same)) << i;
        ASSERT_TRUE(takes[i](&t, 1) && takes[i](&t, 3)) << i;
        EXPECT_TRUE(sound(t, b, {}, {}, same) && t.root == nullptr && t.first == nullptr &&
                    t.last == nullptr && t.seq_next == ring(t) && t.seq_prev == ring(t));
    }
}

// The copy follows the source's sequence (dup in that order), is balanced
// whatever the source's shape, and gives 0; a failing dup empties it again.
// The move keeps both orders and re-points the thread and the ring.
TEST(SequencedTree, CopyAndMove) {
    NuSRTBT src, copy, moved;
    NuSRTBTInit(&src);
    std::vector<uintptr_t> keys;
    for (uintptr_t k = 1; k <= 64; ++k) {  // ascending into the plain form: a list
        Box info{k % 2 ? 100 - k : k};
        keys.push_back(info.key);
        NuSRTBTInsert(&src, &kBoxes, uintptr_t(&info), 0, nullptr);
    }
    dup_order.clear();
    EXPECT_EQ(NuSRTBTInit_cp(&copy, nullptr, &kBoxes, nullptr), 0);
    ASSERT_EQ(NuSRTBTInit_cp(&copy, &src, &kBoxes, nullptr), 0);
    EXPECT_EQ(dup_order, keys);
    std::vector<uintptr_t> sorted = keys;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_TRUE(sound(copy, true, sorted, nodes_of(copy), key_of));

    vesk_test::Status r;
    fail_dup_at = 10;
    NuSRTBT failed;
    EXPECT_EQ(NuSRTBTInit_cp(&failed, &src, &kBoxes, &r.err), -1);
    vesk_test::expect_report(r.err, VESK_FAC_RTBT, VESK_E_NOMEM, 12, 1);
    EXPECT_EQ(live_boxes, 128) << "what the failed copy made is released";
    EXPECT_TRUE(failed.root == nullptr && failed.self == nullptr);

    const auto sequence = nodes_of(copy);
    EXPECT_EQ(NuSRTBTInit_mv(&moved, &copy), 0);
    EXPECT_TRUE(sound(moved, true, sorted, sequence, key_of));
    EXPECT_EQ(moved.last->right, reinterpret_cast<NuRTBTNode *>(&moved));
    const NuSRTBT zeros{};
    EXPECT_EQ(std::memcmp(&copy, &zeros, sizeof zeros), 0);
    EXPECT_EQ(NuSRTBTInit_mv(&copy, &failed), 0) << "an empty source initialises";
    EXPECT_TRUE(sound(copy, true, {}, {}, key_of));

    release_order.clear();
    NuSRTBTDestroy(&moved, &kBoxes);
    EXPECT_EQ(release_order, keys) << "destroyed along the sequence";
    NuSRTBTDestroy(&src, &kBoxes);
    EXPECT_EQ(live_boxes, 0);
    EXPECT_EQ(std::memcmp(&src, &zeros, sizeof zeros), 0);
}

int64_t collect(uintptr_t e, void *out, void *, VeskErr *) {
    return static_cast<std::vector<uintptr_t> *>(out)->push_back(e), 1;
}

TEST(SequencedTree, PlainSearchAndWalkReadASequencedHead) {
    NuSRTBT *t = NuSRTBTCreate(nullptr);
    ASSERT_NE(t, nullptr);
    for (uintptr_t k : {5, 9, 1, 7})
        NuSRTBTInsert_b(t, kWords, k, 0, nullptr);
    EXPECT_EQ(NuRTBTFind(plain(*t), kWords, 7, nullptr)->data, 7u);
    EXPECT_EQ(NuRTBTFind(plain(*t), kWords, 8, nullptr), nullptr);
    std::vector<uintptr_t> in;
    EXPECT_EQ(NuBTWalk(plain(*t), &in, NU_BTWALK_INORDER, collect, nullptr, nullptr), 1);
    EXPECT_EQ(in, (std::vector<uintptr_t>{1, 5, 7, 9}));
    NuSRTBTFree(t, kWords);
}

}  // namespace
