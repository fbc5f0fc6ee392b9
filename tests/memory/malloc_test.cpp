// The allocator table: replacement while pristine, the two tiers, the
// live-block bookkeeping and the end of the process when memory runs out.
//
// The table is process-wide and seals at the first allocation, so every test
// that depends on its state runs in a fresh process of its own (a death test
// in the "threadsafe" style re-executes the program for just that statement).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/capture_service.hpp"
#include "vesk.h"

// These tests ask for memory that can't exist: the sanitizers' allocators must
// answer null as the C library does instead of stopping the program.
extern "C" const char *__asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char *__tsan_default_options() { return "allocator_may_return_null=1"; }

namespace {

using vesk_test::Report;

// A child reports its first failed check on stderr and exits 1.
#define CHILD_CHECK(cond)                                              \
    do {                                                               \
        if (!(cond)) {                                                 \
            std::fprintf(stderr, "check failed: %s (line %d)\n", #cond, __LINE__); \
            std::exit(1);                                              \
        }                                                              \
    } while (0)

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

// Each runs in a fresh process and exits 0 when all its checks hold.
void child_SnapshotsLeaveTheTableReplaceable() {
    NuMallocOpv first{}, second{};
    CHILD_CHECK(_NuMallocOpv(nullptr, &first) == 0);
    CHILD_CHECK(_NuMallocOpv(nullptr, &second) == 0);
    CHILD_CHECK(same(first, second) && first.mm_alloc != nullptr);

    // Only mm_free given: the three defaults stay.
    const NuMallocOpv only_free = {nullptr, nullptr, nullptr, Counting::f};
    CHILD_CHECK(_NuMallocOpv(&only_free, nullptr) == 0);
    NuMallocOpv now{};
    _NuMallocOpv(nullptr, &now);
    CHILD_CHECK(now.mm_alloc == first.mm_alloc && now.mm_calloc == first.mm_calloc &&
                now.mm_realloc == first.mm_realloc && now.mm_free == Counting::f);
    std::exit(0);
}

void child_AnInstalledTableServesEveryEntryPointAndIsThenSealed() {
    CHILD_CHECK(_NuMallocOpv(&Counting::table, nullptr) == 0);
    VeskErr err{};
    void *p = NuMalloc(8);
    p = NuMrealloc(p, 16);
    NuMfree(p);
    p = _NuMalloc(8, &err);
    p = _NuMrealloc(p, 32, &err);
    _NuMfree(p);
    NuMfree(NuMcalloc(2, 4));
    NuMfree(_NuMcalloc(2, 4, &err));
    CHILD_CHECK(Counting::alloc == 2 && Counting::calloc == 2 &&
                Counting::realloc == 2 && Counting::free == 4);

    // Sealed now: a second table is refused and the first stays.
    const NuMallocOpv other = {nullptr, nullptr, nullptr, std::free};
    NuMallocOpv old{};
    CHILD_CHECK(_NuMallocOpv(&other, &old) == -1);
    CHILD_CHECK(same(old, Counting::table));
    _NuMallocOpv(nullptr, &old);
    CHILD_CHECK(same(old, Counting::table));
    std::exit(0);
}

void child_EvenFreeingNullSealsTheTable() {
    NuMfree(nullptr);
    CHILD_CHECK(_NuMallocOpv(&Counting::table, nullptr) == -1);
    std::exit(0);
}

void child_ReportingTierReportsANullBlockSilentTierDoesNot() {
    CHILD_CHECK(_NuMallocOpv(&Counting::table, nullptr) == 0);
    Counting::fail = true;

    Report r;
    r.err.status = 77;
    CHILD_CHECK(NuMalloc(8) == nullptr && NuMcalloc(1, 8) == nullptr &&
                NuMrealloc(nullptr, 8) == nullptr);
    CHILD_CHECK(r.err.status == 77);

    // Each slot's failure names the slot.
    struct Case {
        void *(*call)(VeskErr *);
        const char *text;
    } const cases[] = {
        {[](VeskErr *e) { return _NuMalloc(8, e); }, "_S_malloc.mm_alloc: operation failure: can not perform local memory allocation."},
        {[](VeskErr *e) { return _NuMcalloc(1, 8, e); }, "_S_malloc.mm_calloc: operation failure: can not perform local memory allocation."},
        {[](VeskErr *e) { return _NuMrealloc(nullptr, 0, e); },
         "_S_malloc.mm_realloc: operation failure: can not perform local memory allocation."},
    };
    for (const Case &c : cases) {
        Report one;
        CHILD_CHECK(c.call(&one.err) == nullptr);
        CHILD_CHECK(one.err.status == 32773 && one.err.syserr == 0 &&
                    one.err.variant == 1);
        CHILD_CHECK(std::string(one.buf) == c.text);
    }
    CHILD_CHECK(_NuMalloc(8, nullptr) == nullptr);  // no record: nothing to fill
    std::exit(0);
}

void child_LiveBlocksAreCountedByTheDefaultAllocators() {
    _G_NuMalloc_verbose = 1;
    auto released_uncounted = [] {
        ::testing::internal::CaptureStderr();
        NuMfree(nu_malloc(4));  // from the C heap: lowers the count only
        return ::testing::internal::GetCapturedStderr();
    };
    auto says = [](const std::string &out, int count) {
        return out.find("test malloc: free(0x") == 0 &&
               out.find("): error: the number of allocated objects less then 0 (" +
                        std::to_string(count) + ")\n") != std::string::npos;
    };
    CHILD_CHECK(says(released_uncounted(), -1));

    void *zero = NuMalloc(0);                  // glibc gives a block: counted
    void *grown = NuMrealloc(nullptr, 8);      // a new block: counted
    grown = NuMrealloc(grown, 4096);           // a resize: not counted again
    void *zeroed = NuMcalloc(3, 8);            // counted
    CHILD_CHECK(zero != nullptr && grown != nullptr && zeroed != nullptr);
    // From -1, three blocks bring the count to 2: two uncounted releases
    // print nothing, the third prints -1.
    CHILD_CHECK(released_uncounted().empty());
    CHILD_CHECK(released_uncounted().empty());
    CHILD_CHECK(says(released_uncounted(), -1));

    ::testing::internal::CaptureStderr();
    NuMfree(nullptr);
    CHILD_CHECK(::testing::internal::GetCapturedStderr().empty());

    _G_NuMalloc_verbose = 0;
    CHILD_CHECK(released_uncounted().empty());  // -2, silently
    NuMfree(zero);
    NuMfree(grown);
    NuMfree(zeroed);
    std::exit(0);
}

class Allocator : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(Allocator, SnapshotsLeaveTheTableReplaceable) {
    EXPECT_EXIT(child_SnapshotsLeaveTheTableReplaceable(), ::testing::ExitedWithCode(0), "");
}

TEST_F(Allocator, AnInstalledTableServesEveryEntryPointAndIsThenSealed) {
    EXPECT_EXIT(child_AnInstalledTableServesEveryEntryPointAndIsThenSealed(), ::testing::ExitedWithCode(0), "");
}

TEST_F(Allocator, EvenFreeingNullSealsTheTable) {
    EXPECT_EXIT(child_EvenFreeingNullSealsTheTable(), ::testing::ExitedWithCode(0), "");
}

TEST_F(Allocator, ReportingTierReportsANullBlockSilentTierDoesNot) {
    EXPECT_EXIT(child_ReportingTierReportsANullBlockSilentTierDoesNot(), ::testing::ExitedWithCode(0), "");
}

// The live-block count is seen through the verbose "test malloc" lines, which
// print it whenever a release drives it below zero.
TEST_F(Allocator, LiveBlocksAreCountedByTheDefaultAllocators) {
    EXPECT_EXIT(child_LiveBlocksAreCountedByTheDefaultAllocators(), ::testing::ExitedWithCode(0), "");
}

// Memory that never comes: three attempts a second apart, one line, exit(1).
// Sizes no allocator can give, so that the C heap answers null at once.
constexpr size_t kImpossible = SIZE_MAX / 2;

TEST_F(Allocator, DefaultAllocatorsEndTheProcessWhenMemoryNeverComes) {
    EXPECT_EXIT(NuMalloc(kImpossible), ::testing::ExitedWithCode(1),
                "malloc\\([0-9]+\\): operation failure: can not perform local memory "
                "allocation\\.\n");
    EXPECT_EXIT(NuMcalloc(2, kImpossible), ::testing::ExitedWithCode(1),
                "calloc\\(2, [0-9]+\\): operation failure: can not perform local memory "
                "allocation\\.\n");
    EXPECT_EXIT(_NuMrealloc(NuMalloc(16), kImpossible, nullptr), ::testing::ExitedWithCode(1),
        "realloc\\(0x[0-9a-f]+, [0-9]+\\): operation failure: can not perform local memory "
        "allocation\\.\n");
}

}  // namespace
