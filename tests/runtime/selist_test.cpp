// Service-element lists: the ring of blocks, its order, and its reports.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "linked.hpp"

namespace {

using namespace vesk_test;

std::vector<VeskSeblock *> dropped;

// A block of N elements with the given identifiers; no sets, since a list
// lookup reads identifiers only.
template <unsigned N>
struct Block {
    VESK_SEBLOCK_T(N) b;

    explicit Block(std::initializer_list<VeskOid> oids, bool track_drop = false) {
        std::memset(static_cast<void *>(&b), 0, sizeof b);
        b.tag = VESK_KIND_SEBLOCK;
        b.count = N;
        if (track_drop)
            b.on_drop = [](VeskSeblock *blk) {
                EXPECT_EQ(blk->links.next, nullptr) << "off the ring before on_drop";
                EXPECT_EQ(blk->links.prev, nullptr);
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
std::vector<VeskSeblock *> blocks_of(VeskSelist &list) {
    std::vector<VeskSeblock *> out;
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

    VeskSelist list;
    Block<2> a{{key(0, {3, 950, 1}), key(0, {3, 950, 2})}, true};
    Block<1> b{{key(0, {3, 950, 3})}, true};
    Block<1> c{{key(0, {3, 951, 1})}, true};
};

TEST_F(Selist, PushOrderAndSizeCountsBlocks) {
    EXPECT_EQ(_VeskSelistSize(&list), 0u);
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, b.get(), nullptr), 0);
    ASSERT_EQ(_VeskSelistPushfront_nlk(&list, c.get(), nullptr), 0);
    EXPECT_EQ(blocks_of(list), (std::vector<VeskSeblock *>{c.get(), a.get(), b.get()}));
    EXPECT_EQ(_VeskSelistSize(&list), 3u) << "four elements, three blocks";
}

TEST_F(Selist, FirstMatchWinsFirstBlockFirst) {
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, b.get(), nullptr), 0);
    const VeskOid family = key(0, {3, 950});
    EXPECT_EQ(_VeskSelistLookup_nlk(&list, &family, nullptr), a.se(0)) << "first element first";
    const VeskOid third = key(0, {3, 950, 3});
    EXPECT_EQ(_VeskSelistLookup_nlk(&list, &third, nullptr), b.se(0));

    ASSERT_EQ(_VeskSelistFini(&list), 0);
    ASSERT_EQ(_VeskSelistInit(&list), 0);
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    ASSERT_EQ(_VeskSelistPushfront_nlk(&list, b.get(), nullptr), 0);
    EXPECT_EQ(_VeskSelistLookup_nlk(&list, &family, nullptr), b.se(0)) << "front block first";
}

TEST_F(Selist, InitSetsUpOnlyAListThatIsNotReady) {
    VeskSelist fresh;
    fill_pattern(fresh);
    fresh.ready = 0;
    EXPECT_EQ(_VeskSelistInit(&fresh), 0);
    EXPECT_EQ(fresh.ready, 1);
    EXPECT_EQ(fresh.count, 0u);
    EXPECT_EQ(fresh.ring.next, &fresh.ring);
    EXPECT_EQ(fresh.ring.prev, &fresh.ring);
    EXPECT_EQ(fresh.lock.guard | fresh.lock.wgate | fresh.lock.hold, 0u);
    EXPECT_EQ(fresh.lock.readers | fresh.lock.writers, 0);

    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    VeskSelist before;
    std::memcpy(&before, &list, sizeof list);
    EXPECT_EQ(_VeskSelistInit(&list), 0);
    EXPECT_EQ(std::memcmp(&before, &list, sizeof list), 0);
    EXPECT_EQ(blocks_of(list), std::vector<VeskSeblock *>{a.get()});
}

TEST_F(Selist, FiniOnAListThatIsNotReadyDoesNothing) {
    VeskSelist idle;
    fill_pattern(idle);
    idle.ready = 0;
    VeskSelist before;
    std::memcpy(&before, &idle, sizeof idle);
    EXPECT_EQ(_VeskSelistFini(&idle), 0);
    EXPECT_EQ(std::memcmp(&before, &idle, sizeof idle), 0);
}

TEST_F(Selist, FiniTakesEveryBlockOffAndTheyCanBePushedAgain) {
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, b.get(), nullptr), 0);
    list.lock.readers = 1; // fini leaves the lock free

    EXPECT_EQ(_VeskSelistFini(&list), 0);
    EXPECT_EQ(dropped, (std::vector<VeskSeblock *>{a.get(), b.get()})) << "front first";
    EXPECT_EQ(list.ready, 0);
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(list.lock.readers, 0);
    for (VeskSeblock *blk : {a.get(), b.get()}) {
        EXPECT_EQ(blk->links.next, nullptr);
        EXPECT_EQ(blk->links.prev, nullptr);
    }

    // As when a module is linked a second time.
    VeskSelist again{};
    ASSERT_EQ(_VeskSelistInit(&again), 0);
    EXPECT_EQ(_VeskSelistPushback_nlk(&again, b.get(), nullptr), 0);
    EXPECT_EQ(_VeskSelistPushback_nlk(&again, a.get(), nullptr), 0);
    EXPECT_EQ(blocks_of(again), (std::vector<VeskSeblock *>{b.get(), a.get()}));
    _VeskSelistFini(&again);
}

TEST_F(Selist, ABlockOnAListIsRefusedWithAReport) {
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);
    VeskSelist other{};
    ASSERT_EQ(_VeskSelistInit(&other), 0);

    struct {
        const char *what;
        VeskSelist *to;
        bool front;
    } const cases[] = {
        {"back, same list", &list, false},
        {"front, same list", &list, true},
        {"back, other list", &other, false},
        {"front, other list", &other, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        VeskErr st = garbage_status();
        const int64_t r = c.front ? _VeskSelistPushfront_nlk(c.to, a.get(), &st)
                                  : _VeskSelistPushback_nlk(c.to, a.get(), &st);
        EXPECT_EQ(r, -1);
        expect_report(st, 772, 0, 1);
    }
    EXPECT_EQ(blocks_of(list), std::vector<VeskSeblock *>{a.get()});
    EXPECT_EQ(_VeskSelistSize(&list), 1u);
    EXPECT_EQ(_VeskSelistSize(&other), 0u);
    EXPECT_EQ(blocks_of(other), std::vector<VeskSeblock *>{});
}

TEST_F(Selist, LookupFailuresReport) {
    ASSERT_EQ(_VeskSelistPushback_nlk(&list, a.get(), nullptr), 0);

    VeskErr st = garbage_status();
    const VeskOid missing = key(0, {3, 952});
    EXPECT_EQ(_VeskSelistLookup_nlk(&list, &missing, &st), nullptr);
    expect_report(st, VESK_CODE_NOMATCH, 0, 1);

    EXPECT_EQ(_VeskSelistLookup_ptr_nlk(&list, a.se(1), nullptr), a.se(1));
    st = garbage_status();
    EXPECT_EQ(_VeskSelistLookup_ptr_nlk(&list, b.se(0), &st), nullptr) << "b is not on the list";
    expect_report(st, VESK_CODE_NOMATCH, 0, 2);

    // Without a status record a miss is silent.
    EXPECT_EQ(_VeskSelistLookup_nlk(&list, &missing, nullptr), nullptr);
}

}  // namespace
