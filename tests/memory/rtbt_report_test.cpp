// Right-threaded tree: what callers rely on beyond the contents. Reports
// (facility 506) and failure results, the depth limit of the balanced forms,
// failing dup and allocator, null elements, the link level's first and last
// pointers, walks and the dump.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "support/capture_service.hpp"
#include "vesk.h"

namespace {

using vesk_test::Report;

constexpr int64_t status_of(int32_t code) { return int32_t((506u << 16) | uint32_t(code)); }
const NuBtninfo *const kWords = &_G_default_btninfo_opv;

// A tree of plain words; TearDown frees what the counted forms put in.
class WordTree : public ::testing::Test {
protected:
    void SetUp() override { NuRTBTInit(&tree); }
    void TearDown() override { NuRTBTDestroy(&tree, kWords); }
    void fill(std::initializer_list<uintptr_t> keys, bool balanced = false) {
        for (uintptr_t k : keys)
            ASSERT_TRUE((balanced ? NuRTBTInsert_b : NuRTBTInsert)(&tree, kWords, k, 1, nullptr));
    }
    size_t size() const {  // along the threads, from the leftmost node
        const NuRTBTNode *p = tree.root;
        size_t n = 0;
        while (p && p->left)
            p = p->left;
        for (; p && p != static_cast<const void *>(&tree); ++n)
            if (p->flags & NU_RTBT_RTHREAD)
                p = p->right;
            else
                for (p = p->right; p->left;)
                    p = p->left;
        return n;
    }
    NuRTBT tree;
};

// ---------------------------------------------------------------------------
// Reports

using TreeReports = WordTree;

TEST_F(TreeReports, MissingRequestIsReportedByFindAndEveryTakeOut) {
    using Failed = bool (*)(NuRTBT *, VeskErr *);
    const Failed calls[] = {
        [](NuRTBT *t, VeskErr *e) { return !NuRTBTFind(t, kWords, 25, e); },
        [](NuRTBT *t, VeskErr *e) { return NuRTBTDelete(t, kWords, 25, e) == -1; },
        [](NuRTBT *t, VeskErr *e) { return NuRTBTDelete_b(t, kWords, 25, e) == -1; },
        [](NuRTBT *t, VeskErr *e) { return NuRTBTRemove(t, kWords, 25, e) == NU_RTBT_NOELEMENT; },
        [](NuRTBT *t, VeskErr *e) { return NuRTBTRemove_b(t, kWords, 25, e) == NU_RTBT_NOELEMENT; },
        [](NuRTBT *t, VeskErr *e) { return !NuRTBTRmnode(t, kWords, 25, e); },
        [](NuRTBT *t, VeskErr *e) { return !NuRTBTRmnode_b(t, kWords, 25, e); },
    };
    for (bool empty : {true, false}) {
        if (!empty)
            fill({10, 20, 30});
        for (Failed failed : calls) {
            Report r;
            EXPECT_TRUE(failed(&tree, &r.err));
            EXPECT_EQ(r.err.status, status_of(49170));
            EXPECT_EQ(r.err.syserr, 0);
            EXPECT_EQ(std::string(r.buf), "@request: name does not match the name of any entry.");
            EXPECT_TRUE(failed(&tree, nullptr));
        }
        EXPECT_EQ(_NuRTBTUnlinknode(&tree, kWords, 25, nullptr, nullptr), nullptr);
        EXPECT_EQ(_NuRTBTUnlinknode_b(&tree, kWords, 25, nullptr, nullptr), nullptr);
        EXPECT_EQ(tree.count, empty ? 0u : 3u);
    }
}

// A refused insertion names its level's parameter and leaves the tree and the
// caller's node untouched.
TEST_F(TreeReports, EqualElementIsRefusedWithoutDuplicates) {
    fill({10, 20, 30}, true);
    NuRTBTNode node{nullptr, nullptr, 0, 30};
    for (bool b : {false, true}) {
        Report r1, r2;
        EXPECT_EQ((b ? NuRTBTInsert_b : NuRTBTInsert)(&tree, kWords, 20, 0, &r1.err), nullptr);
        EXPECT_EQ(r1.err.status, status_of(49201));
        EXPECT_EQ(std::string(r1.buf), "The entry, pointed to by the parameter '@user-info', already exists.");
        EXPECT_EQ((b ? NuRTBTInsnode_b : NuRTBTInsnode)(&tree, kWords, &node, 0, &r2.err), nullptr);
        EXPECT_EQ(r2.err.status, status_of(49201));
        EXPECT_EQ(std::string(r2.buf), "The entry, pointed to by the parameter '@node', already exists.");
        EXPECT_EQ((b ? _NuRTBTLinknode_b : _NuRTBTLinknode)(&tree, kWords, &node, 0, nullptr,
                                                             nullptr),
                  -1);
    }
    EXPECT_TRUE(node.left == nullptr && node.right == nullptr && node.flags == 0);
    EXPECT_EQ(tree.count, 3u);
    EXPECT_EQ(size(), 3u);
}

// The balanced descent stops 48 levels below the root. Only the plain form can
// build a chain that deep, so the limit is reached through one.
TEST_F(TreeReports, BalancedFormsStopAtTheDepthLimit) {
    for (uintptr_t k = 1; k <= NU_RTBT_MAXDEPTH; ++k)  // depths 0 to 47
        fill({k});
    NuRTBTNode deepest{nullptr, nullptr, 0, NU_RTBT_MAXDEPTH + 1};
    ASSERT_EQ(_NuRTBTLinknode_b(&tree, kWords, &deepest, 0, nullptr, nullptr), 0) << "depth 48";

    const uintptr_t beyond = NU_RTBT_MAXDEPTH + 2;
    VeskErr e1{}, e2{}, e3{};
    EXPECT_EQ(NuRTBTInsert_b(&tree, kWords, beyond, 0, &e1), nullptr);
    NuRTBTNode node{nullptr, nullptr, 0, beyond};
    EXPECT_EQ(NuRTBTInsnode_b(&tree, kWords, &node, 1, &e2), nullptr);
    EXPECT_EQ(_NuRTBTLinknode_b(&tree, kWords, &node, 1, nullptr, nullptr), -1);
    for (const VeskErr &e : {e1, e2})
        EXPECT_TRUE(e.status == status_of(49219) && e.variant == 0) << e.status;

    // A balanced removal refuses a tree deeper than it can build, rather than
    // overrun its path, and changes nothing.
    ASSERT_TRUE(NuRTBTInsert(&tree, kWords, beyond, 0, nullptr));  // depth 49
    EXPECT_EQ(NuRTBTDelete_b(&tree, kWords, beyond, &e3), -1);
    EXPECT_EQ(e3.status, status_of(49219));
    EXPECT_EQ(_NuRTBTUnlinknode_b(&tree, kWords, NU_RTBT_MAXDEPTH + 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(size(), size_t{NU_RTBT_MAXDEPTH + 2});
    // The plain forms know no limit.
    EXPECT_EQ(NuRTBTDelete(&tree, kWords, beyond, nullptr), 0);
    EXPECT_EQ(_NuRTBTUnlinknode(&tree, kWords, NU_RTBT_MAXDEPTH + 1, nullptr, nullptr), &deepest);
}

// ---------------------------------------------------------------------------
// Element ownership at the edges.

struct Tally {
    static inline int dups, releases;
    static inline bool fail;
    static uintptr_t dup(uintptr_t info, uintptr_t, uintptr_t, VeskErr *status) {
        ++dups;
        if (fail)
            return VeskMkerr(nullptr, status, 0, 0, 0, 1006, 1027, 19, 4, "@dup"), 0;
        return info;
    }
    static int32_t release(uintptr_t, uint32_t, VeskErr *) { return ++releases; }
    static NuBtninfo table() {
        dups = releases = 0, fail = false;
        NuBtninfo t = _G_default_btninfo_opv;
        t.dup = dup, t.release = release;
        return t;
    }
};

using TreeOwnership = WordTree;

// Null elements call neither dup nor release; NuRTBTRemove returns one as a
// success and tells failure by the all-ones word.
TEST_F(TreeOwnership, NullElementsAreStoredWithoutDupOrRelease) {
    const NuBtninfo table = Tally::table();
    for (bool b : {false, true}) {
        auto insert = b ? NuRTBTInsert_b : NuRTBTInsert;
        auto remove = b ? NuRTBTRemove_b : NuRTBTRemove;
        auto erase = b ? NuRTBTDelete_b : NuRTBTDelete;
        ASSERT_TRUE(insert(&tree, &table, 0, 1, nullptr) && insert(&tree, &table, 0, 1, nullptr));
        ASSERT_TRUE(insert(&tree, &table, 7, 1, nullptr));
        EXPECT_EQ(Tally::dups, b ? 2 : 1);
        EXPECT_EQ(remove(&tree, &table, 0, nullptr), 0u);
        EXPECT_EQ(erase(&tree, &table, 0, nullptr), 0);
        EXPECT_EQ(remove(&tree, &table, 0, nullptr), NU_RTBT_NOELEMENT);
        EXPECT_EQ(Tally::releases, b ? 1 : 0);
        EXPECT_EQ(erase(&tree, &table, 7, nullptr), 0);
        EXPECT_EQ(Tally::releases, b ? 2 : 1);
    }
}

TEST_F(TreeOwnership, RefusedOrFailedInsertGivesBackWhatItMade) {
    const NuBtninfo table = Tally::table();
    fill({5});
    for (bool b : {false, true}) {
        auto insert = b ? NuRTBTInsert_b : NuRTBTInsert;
        Tally::dups = Tally::releases = 0;
        EXPECT_EQ(insert(&tree, &table, 5, 0, nullptr), nullptr);
        EXPECT_TRUE(Tally::dups == 1 && Tally::releases == 1);
        // dup fails: its report stays, re-stamped with the tree's family.
        Tally::fail = true;
        VeskErr err{};
        EXPECT_EQ(insert(&tree, &table, 6, 0, &err), nullptr);
        EXPECT_TRUE(err.status == status_of(1027) && err.syserr == 19 && err.variant == 4);
        EXPECT_EQ(Tally::releases, 1);
        Tally::fail = false;
    }
    EXPECT_EQ(tree.count, 1u);
}

// A failing allocator can be installed only before the process first
// allocates, so this runs in a fresh process of its own.
#define CHILD_CHECK(cond)                                                    \
    do {                                                                     \
        if (!(cond)) {                                                       \
            std::fprintf(stderr, "failed: %s, line %d\n", #cond, __LINE__); \
            std::exit(1);                                                    \
        }                                                                    \
    } while (0)

void *no_block(size_t) { return nullptr; }
void *no_blocks(size_t, size_t) { return nullptr; }

[[noreturn]] void allocation_failures() {
    const NuMallocOpv failing = {no_block, no_blocks, nullptr, nullptr};
    CHILD_CHECK(_NuMallocOpv(&failing, nullptr) == 0);
    Report head;
    CHILD_CHECK(NuRTBTCreate(&head.err) == nullptr);
    CHILD_CHECK(head.err.status == status_of(32773));
    CHILD_CHECK(std::string(head.buf) == "_S_malloc.mm_alloc: operation failure: can not perform local memory allocation.");
    NuRTBT tree;
    NuRTBTInit(&tree);
    const NuBtninfo table = Tally::table();
    for (auto insert : {NuRTBTInsert, NuRTBTInsert_b}) {
        Report node;
        CHILD_CHECK(insert(&tree, &table, 1, 0, &node.err) == nullptr);
        CHILD_CHECK(node.err.status == status_of(32773));
        CHILD_CHECK(std::string(node.buf) == "_S_malloc.mm_calloc: operation failure: can not perform local memory allocation.");
    }
    CHILD_CHECK(Tally::dups == 0 && tree.root == nullptr && tree.count == 0);
    std::exit(0);
}

TEST(TreeAllocation, FailuresAreReportedWithTheTreeFamily) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(allocation_failures(), ::testing::ExitedWithCode(0), "");
}

// ---------------------------------------------------------------------------
// The link level's first and last pointers: written when, and only when, the
// first or last node changes. A poisoned pointer must stay as it is.

TEST_F(WordTree, LinkLevelWritesOnlyTheEndsThatMove) {
    NuRTBTNode nodes[9] = {}, poison[2] = {};
    NuRTBTNode *first, *last;
    auto expect_ends = [&](NuRTBTNode *f, NuRTBTNode *l) {
        EXPECT_EQ(first, f ? f : &poison[0]);
        EXPECT_EQ(last, l ? l : &poison[1]);
        first = &poison[0], last = &poison[1];
    };
    for (bool b : {false, true}) {
        auto link = [&](uintptr_t k) {
            nodes[k].data = k;
            ASSERT_EQ((b ? _NuRTBTLinknode_b : _NuRTBTLinknode)(&tree, kWords, &nodes[k], 0,
                                                                 &first, &last),
                      0);
        };
        auto unlink = [&](uintptr_t k) {
            EXPECT_EQ((b ? _NuRTBTUnlinknode_b : _NuRTBTUnlinknode)(&tree, kWords, k, &first,
                                                                     &last),
                      &nodes[k]);
        };
        first = &poison[0], last = &poison[1];
        link(1);
        EXPECT_EQ(nodes[1].flags, NU_RTBT_NEWROOT);
        EXPECT_EQ(nodes[1].right, static_cast<void *>(&tree));
        expect_ends(&nodes[1], &nodes[1]);
        link(7);
        expect_ends(nullptr, &nodes[7]);
        link(4);  // in the balanced form a double rotation over 1 and 7
        link(3);
        link(5);
        unlink(4);
        expect_ends(nullptr, nullptr);
        link(0);
        expect_ends(&nodes[0], nullptr);
        link(8);
        expect_ends(nullptr, &nodes[8]);
        unlink(8);  // the predecessor takes the last bit and the head thread
        expect_ends(nullptr, &nodes[7]);
        EXPECT_TRUE((nodes[7].flags & NU_RTBT_LAST) && nodes[7].right == static_cast<void *>(&tree));
        unlink(0);
        expect_ends(&nodes[1], nullptr);
        EXPECT_TRUE(nodes[1].flags & NU_RTBT_FIRST);
        for (uintptr_t k : {3, 5, 1})
            unlink(k);
        expect_ends(&nodes[7], nullptr);  // removing 1 moved first to 7
        unlink(7);
        EXPECT_TRUE(first == nullptr && last == nullptr && tree.root == nullptr);
        EXPECT_TRUE(tree.self == &tree && tree.count == 0);
    }
}

// Equal elements go right of one another; a search finds the one nearest the root.
TEST_F(WordTree, DuplicatesLineUpToTheRight) {
    fill({5, 5, 5});
    EXPECT_EQ(NuRTBTFind(&tree, kWords, 5, nullptr), tree.root);
    EXPECT_TRUE(tree.root->left == nullptr && tree.root->right->data == 5u);
}

// ---------------------------------------------------------------------------
// Walks and the dump

struct Visits {
    std::vector<uintptr_t> seen;
    int64_t stop_at_third = 1;  // the third call's result; 1 lets the walk go on
    static int64_t fn(uintptr_t element, void *argument, void *context, VeskErr *status) {
        auto *v = static_cast<Visits *>(context);
        EXPECT_TRUE(argument == &v->seen && status == reinterpret_cast<VeskErr *>(8));
        v->seen.push_back(element);
        return v->seen.size() == 3 && v->stop_at_third < 1 ? v->stop_at_third
                                                           : int64_t(element) + 100;
    }
    int64_t walk(const NuRTBT &tree, int order) {
        seen.clear();
        return NuBTWalk(&tree, &seen, order, fn, this, reinterpret_cast<VeskErr *>(8));
    }
};

TEST_F(WordTree, WalkOrdersAndResults) {
    Visits v;
    EXPECT_EQ(v.walk(tree, NU_BTWALK_INORDER), 1) << "an empty tree gives 1";
    EXPECT_TRUE(v.seen.empty());

    fill({4, 2, 6, 1, 3, 5, 7});
    using W = std::vector<uintptr_t>;
    EXPECT_EQ(v.walk(tree, NU_BTWALK_PREORDER), 107) << "the last result";
    EXPECT_EQ(v.seen, (W{4, 2, 1, 3, 6, 5, 7}));
    EXPECT_EQ(v.walk(tree, NU_BTWALK_POSTORDER), 104);
    EXPECT_EQ(v.seen, (W{1, 3, 2, 5, 7, 6, 4}));
    EXPECT_EQ(v.walk(tree, 99), 107) << "other orders walk in order";
    EXPECT_EQ(v.seen, (W{1, 2, 3, 4, 5, 6, 7}));

    // A result of 0 or below stops the whole walk, which then gives 0.
    for (int64_t stop : {-1, 0, -7}) {
        v.stop_at_third = stop;
        for (int order : {NU_BTWALK_PREORDER, NU_BTWALK_POSTORDER, NU_BTWALK_INORDER}) {
            EXPECT_EQ(v.walk(tree, order), 0) << "stop " << stop << ", order " << order;
            EXPECT_EQ(v.seen.size(), 3u);
        }
    }

    // Trees of the same node family may keep left threads; walks skip them.
    NuRTBTNode *six = tree.root->right;
    NuRTBTNode *const five = six->left;
    six->left = tree.root;
    six->flags = uint16_t(six->flags | NU_RTBT_LTHREAD);
    v.stop_at_third = 1;
    v.walk(tree, NU_BTWALK_POSTORDER);
    EXPECT_EQ(v.seen, (W{1, 3, 2, 7, 6, 4}));
    six->left = five;
    six->flags = uint16_t(six->flags & ~NU_RTBT_LTHREAD);
}

// Node, then its right subtree a level down, then its left; every missing
// child is a call with element 0 at its level.
TEST_F(WordTree, DumpCallSequence) {
    using Calls = std::vector<std::pair<uintptr_t, int32_t>>;
    NuBtninfo table = _G_default_btninfo_opv;
    table.dump = [](void *calls, uintptr_t element, int32_t level) {
        static_cast<Calls *>(calls)->emplace_back(element, level);
    };
    Calls calls;
    NuRTBTDump(&tree, &table, &calls);
    EXPECT_TRUE(calls.empty()) << "empty tree";
    fill({4, 2, 6, 5});
    NuRTBTDump(&tree, &table, nullptr);  // no context: nothing
    NuRTBTDump(&tree, &table, &calls);
    EXPECT_EQ(calls, (Calls{{4, 0}, {6, 1}, {0, 2}, {5, 2}, {0, 3}, {0, 3}, {2, 1}, {0, 2}, {0, 2}}));
}

}  // namespace
