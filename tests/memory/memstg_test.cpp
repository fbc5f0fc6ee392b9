// SPDX-License-Identifier: MIT
// Storages and pools: which requests reach the heap and with what size, the
// order of the root's spare blocks, unwinding to a piece and to a mark, and
// children that hand their blocks to the root. An application allocator
// table counts the heap calls; it can only be installed before the first
// allocation, so each test runs in a fresh process of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "support/status.hpp"
#include "vesk.h"

namespace {

using vesk_test::expect_in_fresh_process;

struct Heap {
    static inline std::vector<size_t> sizes;  // every allocation, in order
    static inline int frees = 0;
    static void *a(size_t n) { return sizes.push_back(n), std::malloc(n); }
    static void *c(size_t n, size_t s) { return std::calloc(n, s); }
    static void *r(void *p, size_t n) { return std::realloc(p, n); }
    static void f(void *p) { frees += p != nullptr, std::free(p); }
    static void install() {
        static constexpr NuMallocOpv table = {a, c, r, f};
        CHILD_CHECK(_NuMallocOpv(&table, nullptr) == 0);
    }
};

constexpr size_t kHeader = sizeof(NuMEMSTGBlock);
constexpr size_t kBlock = 0x10000;

size_t capacity_of(NuMEMSTGLink *l) { return reinterpret_cast<NuMEMSTGBlock *>(l)->capacity; }
char *bytes_of(NuMEMSTGLink *l) { return reinterpret_cast<char *>(l) + kHeader; }

// The capacities on a ring from the head, and where `current` stands in it.
std::vector<size_t> ring(NuMEMSTG *st, size_t *current_at = nullptr) {
    std::vector<size_t> caps;
    for (NuMEMSTGLink *b = st->blocks.next; b != &st->blocks; b = b->next) {
        if (b == st->current && current_at != nullptr)
            *current_at = caps.size();
        caps.push_back(capacity_of(b));
    }
    return caps;
}

TEST(Storage, BlocksAreSixtyFourKiBWithTheHeaderOrTheRequestPlusHeader) {
    expect_in_fresh_process([] {
        Heap::install();
        NuSMEMSTG st;
        CHILD_CHECK(NuSMEMSTGopen(&st, nullptr, nullptr) == &st);
        CHILD_CHECK(Heap::sizes.empty());
        char *a = static_cast<char *>(NuSMEMSTGalloc(&st, 10, nullptr));
        char *b = static_cast<char *>(NuSMEMSTGalloc(&st, 3, nullptr));
        CHILD_CHECK(Heap::sizes == std::vector<size_t>{kBlock});
        CHILD_CHECK(a == bytes_of(st.stg.current) && b == a + 16);
        CHILD_CHECK(st.free_bytes == kBlock - kHeader - 19);
        // Unaligned pieces are fine with alignment 1.
        char *c = static_cast<char *>(NuSMEMSTGaalloc(&st, 1, 1, nullptr));
        CHILD_CHECK(c == b + 3);
        CHILD_CHECK(NuSMEMSTGaalloc(&st, 100000, 1, nullptr) != nullptr);
        CHILD_CHECK(Heap::sizes.back() == 100000 + kHeader);
        CHILD_CHECK(st.free_bytes == 0 && st.stg.block_count == 2);
        NuMEMSTGdestroy(&st.stg);
        CHILD_CHECK(Heap::frees == 2 && st.stg.block_count == 0);
    });
}

TEST(Storage, APieceThatNoLongerFitsAfterAligningExchangesAnUntouchedBlock) {
    expect_in_fresh_process([] {
        Heap::install();
        NuSMEMSTG st;
        NuSMEMSTGopen(&st, nullptr, nullptr);
        // The heap's blocks are 16-aligned and the header is three words, so
        // the bytes of a block are never 16-aligned.
        char *p = static_cast<char *>(NuSMEMSTGaalloc(&st, 100000, 16, nullptr));
        CHILD_CHECK(p != nullptr && reinterpret_cast<uintptr_t>(p) % 16 == 0);
        CHILD_CHECK((Heap::sizes == std::vector<size_t>{100000 + kHeader, 100016 + kHeader}));
        CHILD_CHECK(Heap::frees == 1);  // the spare too small for the request went back
        CHILD_CHECK(st.stg.block_count == 1);
        NuMEMSTGdestroy(&st.stg);
    });
}

TEST(Storage, FreeingAPieceGivesTheNewerBlocksBackAsSortedSpares) {
    expect_in_fresh_process([] {
        Heap::install();
        NuSMEMSTG st;
        NuSMEMSTGopen(&st, nullptr, nullptr);
        std::vector<void *> pieces;
        for (size_t size : {40000, 40000, 40000, 300000, 100000})  // a block each
            pieces.push_back(NuSMEMSTGalloc(&st, size, nullptr));
        CHILD_CHECK(st.stg.block_count == 5 && Heap::sizes.size() == 5);
        NuSMEMSTGfree(&st, pieces[2]);
        size_t at = 99;
        CHILD_CHECK((ring(&st.stg, &at) ==
                     std::vector<size_t>{kBlock - kHeader, kBlock - kHeader, kBlock - kHeader,
                                         100000, 300000}));
        CHILD_CHECK(at == 2 && st.free_bytes == kBlock - kHeader);
        CHILD_CHECK(NuSMEMSTGalloc(&st, 40000, nullptr) == pieces[2]);
        // The smallest spare that fits; none of them reaches the heap.
        void *mid = NuSMEMSTGalloc(&st, 90000, nullptr);
        CHILD_CHECK(mid == pieces[4]);
        CHILD_CHECK(NuSMEMSTGalloc(&st, 200000, nullptr) == pieces[3]);
        CHILD_CHECK(Heap::sizes.size() == 5 && Heap::frees == 0);
        // Clearing a root keeps everything as spares.
        NuSMEMSTGclear(&st);
        CHILD_CHECK(st.stg.current == &st.stg.blocks && st.stg.block_count == 5);
        CHILD_CHECK((ring(&st.stg) == std::vector<size_t>{kBlock - kHeader, kBlock - kHeader,
                                                          kBlock - kHeader, 100000, 300000}));
        CHILD_CHECK(Heap::frees == 0);
        NuSMEMSTGfree(&st, nullptr);
        NuMEMSTGdestroy(&st.stg);
        CHILD_CHECK(Heap::frees == 5);
    });
}

TEST(Storage, ATooSmallSpareIsReleasedForTheNewBlock) {
    expect_in_fresh_process([] {
        Heap::install();
        NuSMEMSTG st;
        NuSMEMSTGopen(&st, nullptr, nullptr);
        NuSMEMSTGalloc(&st, 8, nullptr);
        NuSMEMSTGclear(&st);
        CHILD_CHECK(NuSMEMSTGalloc(&st, 70000, nullptr) != nullptr);
        CHILD_CHECK(Heap::frees == 1 && Heap::sizes.back() == 70000 + kHeader);
        CHILD_CHECK(st.stg.block_count == 1);
        NuMEMSTGdestroy(&st.stg);
    });
}

TEST(Storage, ChildrenHandTheirBlocksToTheRootAndTheNextChildTakesThem) {
    expect_in_fresh_process([] {
        Heap::install();
        NuSMEMSTG root;
        NuSMEMSTGopen(&root, nullptr, nullptr);
        NuSMEMSTG *child = NuSMEMSTGopen(nullptr, &root.stg, nullptr);
        CHILD_CHECK(child != nullptr && Heap::sizes.size() == 1);
        for (int i = 0; i < 3; ++i)
            NuSMEMSTGalloc(child, 50000, nullptr);
        CHILD_CHECK(child->stg.block_count == 3 && root.stg.block_count == 0);
        NuSMEMSTGclear(child);
        CHILD_CHECK(child->stg.block_count == 0 && root.stg.block_count == 3);
        const size_t heap_calls = Heap::sizes.size();
        NuMEMSTGclose(&child->stg);
        NuPOOL *second = NuPOOLopen(nullptr, &root.stg, 40000, 0, nullptr);
        for (int i = 0; i < 3; ++i)
            CHILD_CHECK(NuPOOLget(second, nullptr) != nullptr);
        CHILD_CHECK(Heap::sizes.size() == heap_calls + 1);  // only the pool's record
        CHILD_CHECK(second->stg.block_count == 3 && root.stg.block_count == 0);
        NuMEMSTGclose(&second->stg);
        CHILD_CHECK(root.stg.block_count == 3);
        const int frees = Heap::frees;
        NuMEMSTGdestroy(&root.stg);
        CHILD_CHECK(Heap::frees == frees + 3);
    });
}

TEST(Storage, AMarkRestoredGivesTheSameAddressesAgain) {
    NuSMEMSTG st;
    NuSMEMSTGopen(&st, nullptr, nullptr);
    NuSMEMSTGalloc(&st, 100, nullptr);
    NuSMEMSTGstate mark;
    ASSERT_EQ(NuSMEMSTGgetstate(&mark, &st), &mark);
    void *first = NuSMEMSTGalloc(&st, 24, nullptr);
    for (int i = 0; i < 10; ++i)
        NuSMEMSTGalloc(&st, 30000, nullptr);
    EXPECT_GT(st.stg.block_count, 1u);
    EXPECT_EQ(NuSMEMSTGsetstate(&st, &mark), &st);
    EXPECT_EQ(NuSMEMSTGalloc(&st, 24, nullptr), first);
    // An address that is not the storage's changes nothing.
    int elsewhere = 0;
    const size_t free_bytes = st.free_bytes;
    NuSMEMSTGfree(&st, &elsewhere);
    EXPECT_EQ(st.free_bytes, free_bytes);
    NuMEMSTGdestroy(&st.stg);
}

// The edge of the current block: a piece that ends exactly at the block's
// end stays in it, one byte more (or padding that pushes it over) takes the
// next block. `first` is taken with alignment 1 to place the position.
TEST(Storage, PiecesAtTheEndOfTheBlockStayInItOrMoveOnWhole) {
    constexpr size_t kCap = kBlock - kHeader;
    struct Row {
        const char *what;
        size_t first;      // taken first, alignment 1; sizes the block
        size_t alignment;  // of the second piece
        ptrdiff_t slack;   // second size = room after padding + slack
        bool same_block;
    };
    const Row rows[] = {
        {"fills the block exactly", 8, 8, 0, true},
        {"one byte over", 8, 8, 1, false},
        {"padding of 7 and an exact fill", 1, 8, 0, true},
        {"padding of 7 pushes it one byte over", 1, 8, 1, false},
        {"64-aligned one byte over", 1, 64, 1, false},
        {"nothing, in a full block", kCap, 8, 0, true},
        {"nothing, past an end that is not aligned", 100001, 8, 0, false},
        {"a byte with alignment 1, in a full block of odd size", 100001, 1, 1, false},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        NuSMEMSTG st;
        NuSMEMSTGopen(&st, nullptr, nullptr);
        char *first = static_cast<char *>(NuSMEMSTGaalloc(&st, row.first, 1, nullptr));
        NuMEMSTGLink *block = st.stg.current;
        ASSERT_EQ(first, bytes_of(block));
        const auto pos = reinterpret_cast<uintptr_t>(first) + row.first;
        const auto end = reinterpret_cast<uintptr_t>(bytes_of(block) + capacity_of(block));
        const uintptr_t at = (pos + row.alignment - 1) & ~(row.alignment - 1);
        // Room after padding, floored at 0 for an end that padding passes.
        const ptrdiff_t room = static_cast<ptrdiff_t>(end) - static_cast<ptrdiff_t>(at);
        const size_t size = static_cast<size_t>(std::max<ptrdiff_t>(room, 0) + row.slack);
        char *p = static_cast<char *>(NuSMEMSTGaalloc(&st, size, row.alignment, nullptr));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % row.alignment, 0u);
        if (row.same_block) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(p), at);
            EXPECT_EQ(st.stg.current, block);
            EXPECT_EQ(st.free_bytes, 0u);
            EXPECT_EQ(st.stg.block_count, 1u);
        } else {
            // A used block stays in use behind the new one, which holds the
            // piece at its first aligned byte.
            NuMEMSTGLink *next = st.stg.current;
            EXPECT_NE(next, block);
            EXPECT_EQ(next->prev, block);
            EXPECT_EQ(st.stg.block_count, 2u);
            const auto start = reinterpret_cast<uintptr_t>(bytes_of(next));
            EXPECT_EQ(reinterpret_cast<uintptr_t>(p),
                      (start + row.alignment - 1) & ~(row.alignment - 1));
            EXPECT_EQ(st.free_bytes, start + capacity_of(next) -
                                         (reinterpret_cast<uintptr_t>(p) + size));
        }
        NuMEMSTGdestroy(&st.stg);
    }
}

// A storage without a block takes one, whatever its free bytes say: a
// destroyed child keeps the count it had, and a piece of nothing still needs
// a block to lie in.
TEST(Storage, WithoutABlockEveryPieceTakesOne) {
    NuSMEMSTG root, child;
    NuSMEMSTGopen(&root, nullptr, nullptr);
    NuSMEMSTGopen(&child, &root.stg, nullptr);
    NuSMEMSTGalloc(&child, 100, nullptr);
    NuMEMSTGdestroy(&child.stg);
    ASSERT_EQ(child.stg.current, &child.stg.blocks);
    ASSERT_NE(child.free_bytes, 0u);  // what this test is about
    char *p = static_cast<char *>(NuSMEMSTGalloc(&child, 16, nullptr));
    ASSERT_EQ(child.stg.block_count, 1u);
    EXPECT_EQ(p, bytes_of(child.stg.current));
    EXPECT_EQ(root.stg.block_count, 0u) << "the root's spare went to the child";
    NuMEMSTGdestroy(&child.stg);

    NuSMEMSTG empty;
    NuSMEMSTGopen(&empty, nullptr, nullptr);
    char *nothing = static_cast<char *>(NuSMEMSTGalloc(&empty, 0, nullptr));
    ASSERT_EQ(empty.stg.block_count, 1u);
    EXPECT_EQ(nothing, bytes_of(empty.stg.current));
    EXPECT_EQ(NuSMEMSTGalloc(&empty, 8, nullptr), nothing);
    NuMEMSTGdestroy(&empty.stg);
    NuMEMSTGdestroy(&root.stg);
}

TEST(Pool, ObjectsAreRoundedAlignedAndUnwoundFromAnyOfThem) {
    NuPOOL pool;
    ASSERT_EQ(NuPOOLopen(&pool, nullptr, 10, 0, nullptr), &pool);
    EXPECT_EQ(pool.object_size, 16u);
    EXPECT_EQ(pool.alignment, 8u);
    NuPOOL wide;
    ASSERT_EQ(NuPOOLopen(&wide, &pool.stg, 24, 64, nullptr), &wide);
    EXPECT_EQ(wide.object_size, 64u);
    std::vector<char *> objects;
    for (int i = 0; i < 3000; ++i) {  // a few blocks' worth
        objects.push_back(static_cast<char *>(NuPOOLget(&wide, nullptr)));
        ASSERT_EQ(reinterpret_cast<uintptr_t>(objects.back()) % 64, 0u);
    }
    EXPECT_GE(wide.stg.block_count, 3u);
    NuPOOLstate mark;
    NuPOOLgetstate(&mark, &wide);
    char *after_mark = static_cast<char *>(NuPOOLget(&wide, nullptr));
    NuPOOLget(&wide, nullptr);
    EXPECT_EQ(NuPOOLsetstate(&wide, &mark), &wide);
    EXPECT_EQ(NuPOOLget(&wide, nullptr), after_mark);
    NuPOOLfree(&wide, objects[1500]);
    EXPECT_EQ(NuPOOLget(&wide, nullptr), objects[1500]);
    EXPECT_EQ(NuPOOLget(&wide, nullptr), objects[1501]);
    // The mark's block went back with the free: the mark no longer holds.
    NuPOOLsetstate(&wide, &mark);
    EXPECT_EQ(NuPOOLget(&wide, nullptr), objects[1502]);
    NuPOOLfree(&wide, objects[0]);
    EXPECT_EQ(wide.stg.block_count, 1u);
    EXPECT_EQ(NuPOOLget(&wide, nullptr), objects[0]);
    NuPOOLclear(&wide);
    EXPECT_EQ(wide.next_object, nullptr);
    EXPECT_GE(pool.stg.block_count, 3u) << "the child's blocks went to the root";
    NuMEMSTGdestroy(&wide.stg);
    NuMEMSTGdestroy(&pool.stg);
}

}  // namespace
