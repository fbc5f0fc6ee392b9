// SPDX-License-Identifier: MIT
// Service-element lists: the ring of blocks, its order, and its reports.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "linked.hpp"

namespace {

using namespace vesk_test;
using Blocks = std::vector<VeskSeblock *>;

Blocks dropped;

// A block of N elements with the given identifiers; no sets, since a list
// lookup reads identifiers only. Its on_drop notes it, off the ring already.
template <unsigned N>
struct Block {
    VESK_SEBLOCK_T(N) b;

    explicit Block(std::initializer_list<VeskOid> oids) {
        std::memset(static_cast<void *>(&b), 0, sizeof b);
        b.tag = VESK_KIND_SEBLOCK;
        b.count = N;
        b.on_drop = [](VeskSeblock *blk) {
            EXPECT_TRUE(blk->links.next == nullptr && blk->links.prev == nullptr);
            dropped.push_back(blk);
        };
        unsigned i = 0;
        for (const VeskOid &oid : oids)
            b.se[i++] = VeskSe{VESK_KIND_SE, oid, 0, 0, 0, nullptr, {}, nullptr};
    }
    VeskSeblock *get() { return VESK_SEBLOCK(&b); }
    VeskSe *se(unsigned i) { return &b.se[i]; }
};

// The blocks of a list, front to back, read through the ring.
Blocks blocks_of(VeskSelist &list) {
    Blocks out;
    for (VeskSelink *l = list.ring.next; l != &list.ring; l = l->next)
        out.push_back(reinterpret_cast<VeskSeblock *>(reinterpret_cast<char *>(l) -
                                                      offsetof(VeskSeblock, links)));
    return out;
}

class Selist : public ::testing::Test {
protected:
    void SetUp() override {
        std::memset(static_cast<void *>(&list), 0, sizeof list);
        dropped.clear();
        ASSERT_EQ(_VeskSelistInit(&list), 0);
    }
    void TearDown() override { _VeskSelistFini(&list); }
    const VeskSe *lookup(std::initializer_list<uint16_t> comps) {
        const VeskOid k = key(0, comps);
        return _VeskSelistLookup_nlk(&list, &k, nullptr);
    }

    VeskSelist list;
    Block<2> a{key(0, {3, 950, 1}), key(0, {3, 950, 2})};
    Block<1> b{key(0, {3, 950, 3})};
    Block<1> c{key(0, {3, 951, 1})};
};

// The first match wins: front block first, first element first. Fini takes
// every block off, front first, and leaves the lock free; the blocks can be
// pushed again, as when a module is linked a second time.
TEST_F(Selist, OrderOfBlocksAndElementsAndFini) {
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    ASSERT_EQ(_VeskSelistPushfront_nlk(&list, b.get(), nullptr), 0);
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, c.get(), nullptr), 0);
    EXPECT_EQ(blocks_of(list), (Blocks{b.get(), a.get(), c.get()}));
    EXPECT_EQ(_VeskSelistSize(&list), 3u) << "four elements, three blocks";
    EXPECT_EQ(lookup({3, 950}), b.se(0));
    EXPECT_EQ(lookup({3, 950, 2}), a.se(1));
    EXPECT_EQ(lookup({3, 951}), c.se(0));

    list.lock.readers = 1;
    EXPECT_EQ(_VeskSelistFini(&list), 0);
    EXPECT_EQ(dropped, (Blocks{b.get(), a.get(), c.get()}));
    EXPECT_TRUE(list.ready == 0 && list.count == 0 && list.lock.readers == 0);

    ASSERT_EQ(_VeskSelistInit(&list), 0);
    EXPECT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    EXPECT_EQ(_VeskSelistPushback_nlk(&list, b.get(), nullptr), 0);
    EXPECT_EQ(lookup({3, 950}), a.se(0));
}

// Init sets up only a list that is not ready; fini of such a list does nothing.
TEST_F(Selist, InitAndFiniHonourReadiness) {
    VeskSelist fresh;
    fill_pattern(fresh);
    fresh.ready = 0;
    const VeskSelist before = fresh;
    EXPECT_EQ(_VeskSelistFini(&fresh), 0);
    EXPECT_EQ(std::memcmp(&before, &fresh, sizeof fresh), 0);
    EXPECT_EQ(_VeskSelistInit(&fresh), 0);
    EXPECT_TRUE(fresh.ready == 1 && fresh.count == 0 && fresh.ring.next == &fresh.ring &&
                fresh.ring.prev == &fresh.ring);
    EXPECT_EQ(fresh.lock.guard | fresh.lock.wgate | fresh.lock.hold, 0u);
    EXPECT_EQ(fresh.lock.readers | fresh.lock.writers, 0);

    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    const VeskSelist ready = list;
    EXPECT_EQ(_VeskSelistInit(&list), 0);
    EXPECT_EQ(std::memcmp(&ready, &list, sizeof list), 0);
}

TEST_F(Selist, RefusalsReport) {
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    VeskSelist other{};
    ASSERT_EQ(_VeskSelistInit(&other), 0);
    // A block on a list, pushed to either end of the same or another list.
    for (VeskSelist *to : {&list, &other})
        for (auto push : {_VeskSelistPushback_nlk, _VeskSelistPushfront_nlk}) {
            VeskErr st = garbage_status();
            EXPECT_EQ(push(to, a.get(), &st), -1);
            expect_rt_report(st, 772, 0, 1);
        }
    EXPECT_EQ(blocks_of(list), Blocks{a.get()});
    EXPECT_EQ(_VeskSelistSize(&other), 0u);
    EXPECT_EQ(blocks_of(other), Blocks{});

    VeskErr st = garbage_status();
    const VeskOid missing = key(0, {3, 952});
    EXPECT_EQ(_VeskSelistLookup_nlk(&list, &missing, &st), nullptr);
    expect_rt_report(st, 49170, 0, 1);
    EXPECT_EQ(_VeskSelistLookup_ptr_nlk(&list, a.se(1), nullptr), a.se(1));
    st = garbage_status();
    EXPECT_EQ(_VeskSelistLookup_ptr_nlk(&list, b.se(0), &st), nullptr) << "b is not on the list";
    expect_rt_report(st, 49170, 0, 2);
}

}  // namespace
