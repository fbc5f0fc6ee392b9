// SPDX-License-Identifier: MIT
// Conditions: the sticky one-waiter event of the handle family, the POSIX
// behaviour of the in-process family, and every limit form of the timed waits.
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "lock_support.hpp"
#include "nu.h"

namespace {

using namespace std::chrono_literals;
using vesk_test::expect_report;
using vesk_test::Status;

struct PPair {
    NuPMutex m = 0;
    NuPCond c = 0;
    PPair() {
        EXPECT_EQ(NuPMutexInit(&m, nullptr), 0);
        EXPECT_EQ(NuPCondInit(&c, nullptr), 0);
    }
    ~PPair() {
        NuPCondDestroy(&c, nullptr);
        NuPMutexDestroy(&m, nullptr);
    }
};

timespec wall_in(int64_t ms) {
    timeval tv;
    NuGettimeofday(&tv, nullptr);
    const int64_t ns = (tv.tv_sec * 1000 + ms) * 1000000 + tv.tv_usec * 1000;
    return {ns / 1000000000, static_cast<long>(ns % 1000000000)};
}

TEST(PCond, ASignalWithNobodyWaitingStaysForTheNextWaitOnly) {
    PPair p;
    NuPCondSignal(p.c, nullptr);
    NuPCondSignal(p.c, nullptr);  // several signals count as one
    NuPMutexLock(p.m, nullptr);
    EXPECT_EQ(NuPCondTimedwait_ms(p.c, p.m, 5000, nullptr), 0);
    Status s;
    EXPECT_EQ(NuPCondTimedwait_rel(p.c, p.m, nullptr, &s.err), -6) << "the event reset itself";
    expect_report(s, 0, 1034, 1, "NuPCondTimedwait_rel: operation timed out.");
    EXPECT_EQ(NuPMutexTrylock(p.m, nullptr), 1) << "a timed-out wait holds the mutex again";
    NuPMutexUnlock(p.m, nullptr);
    NuPMutexUnlock(p.m, nullptr);
}

TEST(PCond, BroadcastReleasesOneWaiterOfThree) {
    PPair p;
    std::atomic<int> waiting{0}, woken{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            NuPMutexLock(p.m, nullptr);
            ++waiting;
            if (NuPCondTimedwait_ms(p.c, p.m, 20000, nullptr) == 0)
                ++woken;
            NuPMutexUnlock(p.m, nullptr);
        });
    // All three are inside the wait once they have given the mutex up.
    while (waiting < 3)
        std::this_thread::sleep_for(1ms);
    NuPMutexLock(p.m, nullptr);
    NuPMutexUnlock(p.m, nullptr);
    NuPCondBroadcast(p.c, nullptr);
    while (woken < 1)
        std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(woken.load(), 1);
    // Two signals in a row could count as one: each waits for its waiter.
    for (int expected : {2, 3}) {
        NuPCondSignal(p.c, nullptr);
        while (woken < expected)
            std::this_thread::sleep_for(1ms);
    }
    for (auto &t : waiters)
        t.join();
    EXPECT_EQ(woken.load(), 3);
}

TEST(PCond, EveryLimitFormEndsAsTold) {
    PPair p;
    NuPMutexLock(p.m, nullptr);
    const timespec past = wall_in(-1500), soon = wall_in(30);
    const timespec zero{0, 0}, small{0, 20000000};
    const timespec now{100, 990000000}, deadline{101, 10000000};  // 20 ms on the caller's clock
#define TIMED(fn, ...) {#fn, [&](VeskErr *e) { return fn(p.c, p.m, __VA_ARGS__, e); }}
    const struct {
        const char *name;
        std::function<int64_t(VeskErr *)> wait;
    } timeouts[] = {
        TIMED(NuPCondTimedwait, &past),          TIMED(NuPCondTimedwait, &soon),
        TIMED(NuPCondTimedwait2, &past, nullptr), TIMED(NuPCondTimedwait2, &deadline, &now),
        TIMED(NuPCondTimedwait_ms, 15),          TIMED(NuPCondTimedwait_rel, &zero),
        TIMED(NuPCondTimedwait_rel, &small),
    };
#undef TIMED
    for (const auto &t : timeouts) {
        SCOPED_TRACE(t.name);
        Status s;
        EXPECT_EQ(t.wait(&s.err), -6);
        expect_report(s, 0, 1034, 1, std::string(t.name) + ": operation timed out.");
    }
    Status refused;
    EXPECT_EQ(NuPCondTimedwait_ms(p.c, p.m, int64_t{0xFFFFFFFF} + 1, &refused.err), -1);
    expect_report(refused, 0, 259, 2, "NuPCondTimedwait_ms(@duration): invalid argument.");

    // No limit: 0 or negative milliseconds, a null or all-ones deadline; a
    // signal from another thread ends each of them.
    const std::function<int64_t()> unlimited[] = {
        [&] { return NuPCondTimedwait_ms(p.c, p.m, 0, nullptr); },
        [&] { return NuPCondTimedwait_ms(p.c, p.m, -5, nullptr); },
        [&] { return NuPCondTimedwait(p.c, p.m, nullptr, nullptr); },
        [&] { return NuPCondTimedwait_rel(p.c, p.m, NU_TIMESPEC_INFINITE, nullptr); },
        [&] { return NuPCondWait(p.c, p.m, nullptr); },
    };
    for (const auto &wait : unlimited) {
        std::thread signaller([&] {
            NuPMutexLock(p.m, nullptr);  // the waiter has given the mutex up
            NuPMutexUnlock(p.m, nullptr);
            NuPCondSignal(p.c, nullptr);
        });
        EXPECT_EQ(wait(), 0);
        signaller.join();
    }
    NuPMutexUnlock(p.m, nullptr);
}

TEST(SCond, SignalBroadcastAndTimeoutsUnderAnInProcessMutex) {
    NuSMutex m;
    NuSCond c;
    NuSMutexInit(&m);
    ASSERT_EQ(NuSCondInit(&c, nullptr), 0);
    int ready = 0, woken = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            NuSMutexLock(&m);
            ++ready;
            while (woken == 0)
                NuSCondWait(&c, &m, nullptr);
            NuSMutexUnlock(&m);
        });
    for (;;) {
        NuSMutexLock(&m);
        const bool all = ready == 3;
        if (all) {
            woken = 1;
            NuSCondBroadcast(&c, nullptr);  // wakes all three
        }
        NuSMutexUnlock(&m);
        if (all)
            break;
        std::this_thread::sleep_for(1ms);
    }
    for (auto &t : waiters)
        t.join();

    NuSMutexLock(&m);
    Status s, refused;
    EXPECT_EQ(NuSCondTimedwait_ms(&c, &m, 10, &s.err), -6);
    expect_report(s, 0, 1034, 1, "NuSCondTimedwait_ms: operation timed out.");
    const timespec past = wall_in(-100);
    EXPECT_EQ(NuSCondTimedwait(&c, &m, &past, nullptr), -6);
    EXPECT_EQ(NuSCondTimedwait_rel(&c, &m, nullptr, nullptr), -6);
    EXPECT_EQ(NuSCondTimedwait_ms(&c, &m, int64_t{1} << 33, &refused.err), -1);
    expect_report(refused, 0, 259, 2, "NuSCondTimedwait_ms(@duration): invalid argument.");
    EXPECT_EQ(NuSMutexTrylock(&m, nullptr), 1) << "held again after the timeouts";
    NuSMutexUnlock(&m);
    NuSMutexUnlock(&m);
    EXPECT_EQ(NuSCondDestroy(&c, nullptr), 0);
    NuSMutexDestroy(&m, nullptr);
}

// Two threads hand a turn back and forth with single signals, half of them
// given after the mutex is left: a lost wake-up shows as a wait that times
// out.
TEST(SCond, ATurnHandedBackAndForthIsNeverLost) {
    NuSMutex m;
    NuSCond c;
    NuSMutexInit(&m);
    NuSCondInit(&c, nullptr);
    int turn = 0, timeouts = 0;
    auto play = [&](int me, int rounds) {
        for (int i = 0; i < rounds; ++i) {
            NuSMutexLock(&m);
            while (turn != me)
                if (NuSCondTimedwait_ms(&c, &m, 5000, nullptr) == -6)
                    ++timeouts, turn = me;
            turn = 1 - me;
            const bool outside = i % 2 != 0;
            if (!outside)
                NuSCondSignal(&c, nullptr);
            NuSMutexUnlock(&m);
            if (outside)
                NuSCondSignal(&c, nullptr);
        }
    };
    std::thread partner(play, 1, 20000);
    play(0, 20000);
    partner.join();
    EXPECT_EQ(timeouts, 0);
    NuSMutexDestroy(&m, nullptr);
}

}  // namespace
