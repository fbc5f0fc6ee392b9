// SPDX-License-Identifier: MIT
// The allocator table: replacement while pristine, the two tiers, the
// live-block bookkeeping and the end of the process when memory runs out.
// The table is process-wide and seals at the first allocation, so every test
// that depends on its state runs in a fresh process of its own.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/status.hpp"
#include "vesk.h"

// These tests ask for memory that can't exist: the sanitizers' allocators must
// answer null as the C library does instead of stopping the program.
extern "C" const char *__asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char *__tsan_default_options() { return "allocator_may_return_null=1"; }

namespace {

using vesk_test::expect_in_fresh_process;
using vesk_test::Status;

// An application table that counts its calls and can be told to fail.
struct Counting {
    static inline int alloc = 0, calloc = 0, realloc = 0, free = 0;
    static inline bool fail = false;
    static void *a(size_t n) { return ++alloc, fail ? nullptr : std::malloc(n); }
    static void *c(size_t n, size_t s) { return ++calloc, fail ? nullptr : std::calloc(n, s); }
    static void *r(void *p, size_t n) { return ++realloc, fail ? nullptr : std::realloc(p, n); }
    static void f(void *p) { ++free, std::free(p); }
    static constexpr NuMallocOpv table = {a, c, r, f};
};

bool same(const NuMallocOpv &x, const NuMallocOpv &y) {
    return x.mm_alloc == y.mm_alloc && x.mm_calloc == y.mm_calloc &&
           x.mm_realloc == y.mm_realloc && x.mm_free == y.mm_free;
}

TEST(Allocator, SnapshotsAndReplacementsLeaveItOpenAndFreeingNullSealsIt) {
    expect_in_fresh_process([] {
        NuMallocOpv first{}, second{}, now{};
        CHILD_CHECK(_NuMallocOpv(nullptr, &first) == 0 && _NuMallocOpv(nullptr, &second) == 0);
        CHILD_CHECK(same(first, second) && first.mm_alloc != nullptr);
        // Only mm_free given: the three defaults stay; a replacement does not seal.
        const NuMallocOpv only_free = {nullptr, nullptr, nullptr, Counting::f};
        CHILD_CHECK(_NuMallocOpv(&only_free, nullptr) == 0 && _NuMallocOpv(&only_free, &now) == 0);
        CHILD_CHECK(same(now, {first.mm_alloc, first.mm_calloc, first.mm_realloc, Counting::f}));
        NuMfree(nullptr);
        CHILD_CHECK(_NuMallocOpv(&Counting::table, nullptr) == -1);
    });
}

TEST(Allocator, AnInstalledTableServesBothTiersIsSealedAndItsFailuresAreReported) {
    expect_in_fresh_process([] {
        CHILD_CHECK(_NuMallocOpv(&Counting::table, nullptr) == 0);
        VeskErr err{};
        NuMfree(NuMrealloc(NuMalloc(8), 16));
        _NuMfree(_NuMrealloc(_NuMalloc(8, &err), 32, &err));
        NuMfree(NuMcalloc(2, 4));
        NuMfree(_NuMcalloc(2, 4, &err));
        CHILD_CHECK(Counting::alloc == 2 && Counting::calloc == 2 && Counting::realloc == 2 &&
                    Counting::free == 4);
        // Sealed now: a second table is refused and the first stays.
        const NuMallocOpv other = {nullptr, nullptr, nullptr, std::free};
        NuMallocOpv old{};
        CHILD_CHECK(_NuMallocOpv(&other, &old) == -1 && same(old, Counting::table));
        _NuMallocOpv(nullptr, &old);
        CHILD_CHECK(same(old, Counting::table));

        // The silent tier gives null at once; the reporting tier names the slot.
        Counting::fail = true;
        CHILD_CHECK(!NuMalloc(8) && !NuMcalloc(1, 8) && !NuMrealloc(nullptr, 8));
        const std::pair<void *(*)(VeskErr *), const char *> cases[] = {
            {[](VeskErr *e) { return _NuMalloc(8, e); }, "mm_alloc"},
            {[](VeskErr *e) { return _NuMcalloc(1, 8, e); }, "mm_calloc"},
            {[](VeskErr *e) { return _NuMrealloc(nullptr, 0, e); }, "mm_realloc"},
        };
        for (const auto &[call, slot] : cases) {
            Status one;
            CHILD_CHECK(call(&one.err) == nullptr);
            CHILD_CHECK(one.err.status == 32773 && one.err.syserr == 0 && one.err.variant == 1);
            CHILD_CHECK(std::string(one.buf) == std::string("_S_malloc.") + slot +
                                                    ": operation failure: can not perform "
                                                    "local memory allocation.");
        }
        CHILD_CHECK(_NuMalloc(8, nullptr) == nullptr);  // no record: nothing to fill
    });
}

// The live-block count is seen through the verbose "test malloc" lines, which
// print it whenever a release drives it below zero.
TEST(Allocator, LiveBlocksAreCountedByTheDefaultAllocators) {
    expect_in_fresh_process([] {
        _G_NuMalloc_verbose = 1;
        auto release_uncounted = [] {  // a block from the C heap lowers the count only
            ::testing::internal::CaptureStderr();
            NuMfree(nu_malloc(4));
            return ::testing::internal::GetCapturedStderr();
        };
        auto says_minus_one = [](const std::string &out) {
            return out.find("test malloc: free(0x") == 0 &&
                   out.find("): error: the number of allocated objects less then 0 (-1)\n") !=
                       std::string::npos;
        };
        CHILD_CHECK(says_minus_one(release_uncounted()));
        void *zero = NuMalloc(0);              // glibc gives a block: counted
        void *grown = NuMrealloc(nullptr, 8);  // a new block: counted
        grown = NuMrealloc(grown, 4096);       // a resize: not counted again
        void *zeroed = NuMcalloc(3, 8);        // counted
        CHILD_CHECK(zero && grown && zeroed);
        // From -1, three blocks bring the count to 2: two uncounted releases
        // print nothing, the third prints -1 again.
        CHILD_CHECK(release_uncounted().empty() && release_uncounted().empty());
        CHILD_CHECK(says_minus_one(release_uncounted()));
        ::testing::internal::CaptureStderr();
        NuMfree(nullptr);
        CHILD_CHECK(::testing::internal::GetCapturedStderr().empty());
        _G_NuMalloc_verbose = 0;
        CHILD_CHECK(release_uncounted().empty());
        NuMfree(zero), NuMfree(grown), NuMfree(zeroed);
    });
}

// Memory that never comes: three attempts a second apart, one line, exit(1).
// Sizes no allocator can give, so that the C heap answers null at once.
TEST(Allocator, DefaultAllocatorsEndTheProcessWhenMemoryNeverComes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    constexpr size_t kImpossible = SIZE_MAX / 2;
    const std::string tail = ": operation failure: can not perform local memory allocation\\.\n";
    EXPECT_EXIT(NuMalloc(kImpossible), ::testing::ExitedWithCode(1), "malloc\\([0-9]+\\)" + tail);
    EXPECT_EXIT(NuMcalloc(1, kImpossible), ::testing::ExitedWithCode(1),
                "calloc\\(1, [0-9]+\\)" + tail);
    EXPECT_EXIT(_NuMrealloc(NuMalloc(16), kImpossible, nullptr), ::testing::ExitedWithCode(1),
                "realloc\\(0x[0-9a-f]+, [0-9]+\\)" + tail);
}

}  // namespace
