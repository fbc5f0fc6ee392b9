// SPDX-License-Identifier: MIT
// The closure stack and the call trampoline: frames taken and given back in
// order, nested calls through the trampoline, one block per thread, the end
// of the stack, and frames used after the thread's exit destructors ran.
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "vesk.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

VeskFrame *att() { return __vesk_closure_tramp_att(); }
void det() { __vesk_closure_tramp_det(); }

// An operation that calls a front end from inside itself, kNesting levels
// deep: each level's frame must come through the inner calls untouched.
constexpr int kNesting = 100;
VeskFrame *level_frame[kNesting];
int intact_levels;

int64_t nested_op(VeskClosure *cl, VeskErr *status, int64_t level);

int64_t front_end(int64_t level, VeskErr *status) {
    VeskFrame *f = att();
    f->cl = {f, status, &level_frame[level], nullptr, static_cast<int32_t>(level)};
    f->fn = VESK_FN(nested_op);
    using Entry = int64_t (*)(VeskFrame *, VeskErr *, int64_t);
    const int64_t result = reinterpret_cast<Entry>(__vesk_call_tramp)(f, status, level);
    det();
    return result;
}

int64_t nested_op(VeskClosure *cl, VeskErr *status, int64_t level) {
    auto *mine = reinterpret_cast<VeskFrame *>(cl);
    const VeskFrame before = *mine;
    level_frame[level] = mine;
    const int64_t deepest = level + 1 < kNesting ? front_end(level + 1, status) : level;
    if (std::memcmp(&before, mine, sizeof before) == 0 && mine->cl.opnum == level)
        ++intact_levels;
    return deepest;
}

TEST(ClosureFrames, TakenAndGivenBackInOrderAndKeptIntactByNestedCalls) {
    VeskFrame *first = att();
    det();
    EXPECT_EQ(att(), first) << "a take and a give leave the depth as it was";
    det();
    det();  // a give too many changes nothing
    EXPECT_EQ(att(), first);
    det();

    intact_levels = 0;
    VeskErr st{};
    EXPECT_EQ(front_end(0, &st), kNesting - 1) << "the innermost result comes back out";
    EXPECT_EQ(intact_levels, kNesting);
    EXPECT_EQ(level_frame[0], first);
    for (int i = 1; i < kNesting; ++i)
        ASSERT_EQ(level_frame[i], level_frame[i - 1] + 1) << "nested frames are adjacent";
    EXPECT_EQ(att(), first) << "every frame was given back";
    det();
}

// Two frames taken and given back; true when they were adjacent. Called
// after the thread's exit destructors, it must work on a fresh block.
bool adjacent_pair() {
    VeskFrame *a = att(), *b = att();
    b->cl.opnum = 2;
    det(), det();
    return b == a + 1;
}

// Its thread-exit destructor is registered before the thread's first front
// end, so it runs after the library's has freed the thread's block.
std::atomic<int> late_pairs_adjacent{0};
struct LateCaller {
    bool used = false;
    ~LateCaller() { late_pairs_adjacent += used && adjacent_pair(); }
};
thread_local LateCaller late_caller;

TEST(ClosureFrames, EachThreadHasItsOwnBlockFreedWhenItEnds) {
    late_pairs_adjacent = 0;
    VeskFrame *main_frame = att();
    std::atomic<int> holding{0};
    VeskFrame *frame[2] = {};
    auto body = [&](int i) {
        late_caller.used = true;
        frame[i] = att();
        frame[i]->cl.opnum = i;
        for (++holding; holding.load() < 2;)  // both hold a frame at once
            std::this_thread::yield();
        det();
    };
    std::thread a(body, 0), b(body, 1), idle([] {});
    a.join(), b.join(), idle.join();
    det();
    EXPECT_TRUE(frame[0] != frame[1] && frame[0] != main_frame && frame[1] != main_frame);
    EXPECT_EQ(late_pairs_adjacent.load(), 2) << "frames after the thread's block was freed";
#if defined(__SANITIZE_ADDRESS__)
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << "a block outlived its thread";
#endif
}

// A front end takes its frame from the same stack as att: the thread's
// first frame (no block yet), a frame above others, and the very last one.
TEST(ClosureFrames, FrontEndsTakeAndGiveBackTheirFrameAtEveryDepth) {
    void *object = _G_ccsi_service_default;
    const int32_t answer = VeskHash(object, nullptr);
    std::thread([&] {
        EXPECT_EQ(VeskHash(object, nullptr), answer) << "the thread's first frame";
        VeskFrame *first = att();
        EXPECT_EQ(VeskHash(object, nullptr), answer) << "above a frame in use";
        det();
        EXPECT_EQ(att(), first) << "both frames were given back";
        for (int i = 1; i < VESK_FRAMES_PER_THREAD - 1; ++i)
            att();
        EXPECT_EQ(VeskHash(object, nullptr), answer) << "the last frame";
        EXPECT_EQ(att(), first + VESK_FRAMES_PER_THREAD - 1) << "the last frame was given back";
        for (int i = 0; i < VESK_FRAMES_PER_THREAD; ++i)
            det();
        EXPECT_EQ(att(), first);
        det();
    }).join();
}

// More integer arguments than x86-64 passes in registers, a double behind
// them, and a result with bits in both halves.
struct WideCall {
    VeskClosure *cl;
    VeskErr *status;
    int64_t ints[8];
    double real;
} wide_seen;
constexpr int64_t kWideResult = int64_t(0x80F0E0D0C0B0A091ull);
int64_t wide_arg(int i) { return int64_t(0x0101010100000000ull * uint64_t(i + 1)) + 0x10 * (i + 1); }

int64_t wide_op(VeskClosure *cl, VeskErr *status, int64_t a1, int64_t a2, int64_t a3, int64_t a4,
                int64_t a5, int64_t a6, int64_t a7, int64_t a8, double real) {
    wide_seen = {cl, status, {a1, a2, a3, a4, a5, a6, a7, a8}, real};
    return kWideResult;
}

TEST(CallTrampoline, PassesEveryArgumentAndAWideResult) {
    VeskFrame *f = att();
    f->fn = VESK_FN(wide_op);
    VeskErr st{};
    EXPECT_EQ(__vesk_call_tramp(f, &st, wide_arg(0), wide_arg(1), wide_arg(2), wide_arg(3),
                                wide_arg(4), wide_arg(5), wide_arg(6), wide_arg(7), 2.5),
              kWideResult);
    EXPECT_TRUE(wide_seen.cl == &f->cl && wide_seen.status == &st && wide_seen.real == 2.5);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(wide_seen.ints[i], wide_arg(i)) << "argument " << i;
    det();
}

// In a process of their own.

TEST(ClosureFramesDeathTest, The513thNestedFrameStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto fill_the_stack_and_take_one_more = [] {
        for (int i = 0; i < VESK_FRAMES_PER_THREAD; ++i)
            std::memset(static_cast<void *>(att()), 0x5A, sizeof(VeskFrame));
        att();
        std::exit(4);
    };
    EXPECT_EXIT(fill_the_stack_and_take_one_more(), ::testing::KilledBySignal(SIGABRT),
                "vesk: closure stack: more than 512 nested operation calls on one thread");
    auto fill_the_stack_and_call_a_front_end = [] {
        for (int i = 0; i < VESK_FRAMES_PER_THREAD; ++i)
            att();
        VeskHash(_G_ccsi_service_default, nullptr);
        std::exit(4);
    };
    EXPECT_EXIT(fill_the_stack_and_call_a_front_end(), ::testing::KilledBySignal(SIGABRT),
                "vesk: closure stack: more than 512 nested operation calls on one thread");
}

// At exit the main thread's exit destructors run before atexit functions and
// the library's stop functions, which still call front ends.
TEST(ClosureFramesDeathTest, FramesTakenAfterTheThreadsExitDestructorsAreFresh) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto use_frames_then_exit = [] {
        att();
        det();
        std::atexit([] {
            const bool adjacent = adjacent_pair();
            att()->cl.opnum = 3;  // and again, after the first fresh block went
            det();
            VeskHash(_G_ccsi_service_default, nullptr);  // a front end's frame, the same way
            std::fprintf(stderr, "teardown frames: %s\n", adjacent ? "right" : "wrong");
        });
        std::exit(0);
    };
    EXPECT_EXIT(use_frames_then_exit(), ::testing::ExitedWithCode(0), "teardown frames: right");
}

}  // namespace
