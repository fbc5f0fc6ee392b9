// SPDX-License-Identifier: MIT
// The time base: calibration, the tick counter, and the wall clock that runs
// from an anchor. The rules are checked tick by tick over a source whose
// counter and wall clock the test sets; the library's own clock against the
// platform's.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "nu.h"
#include "os/time_base.hpp"
#include "support/status.hpp"

namespace {

using namespace vesk::os;
constexpr int64_t kUs = 1'000'000;
constexpr uint64_t kGHz = 1'000'000'000;
// How far the anchored clock may stray from the platform's: its counter and
// the wall clock are both slewed by time adjustment, by far less than this.
constexpr int64_t kSlackUs = 50'000;

// A counter and a wall clock that move only when the test says.
struct FakeSource {
    uint64_t hz = kGHz;
    uint64_t now = 5 * kGHz;
    uint64_t sleep_moves = 72'000'000; // counter ticks during the calibration's sleep
    bool has_counter = true;
    timeval wall_now{1'700'000'000, 750'000};
    int wall_error = 0;
    int wall_reads = 0;

    bool frequency(uint64_t &f) const { return f = hz, has_counter; }
    bool counter(uint64_t &t) const { return t = now, has_counter; }
    int wall(timeval &tv) {
        ++wall_reads;
        if (wall_error == 0)
            tv = wall_now;
        return wall_error;
    }
    void sleep_ms(uint64_t) { now += sleep_moves; }
};

// The platform's clocks, read by the test itself.
struct RealSource {
    static bool frequency(uint64_t &hz) { return hz = kGHz, true; }
    static bool counter(uint64_t &t) {
        timespec ts;
        clock_gettime(CLOCK_MONOTONIC, &ts);
        t = static_cast<uint64_t>(ts.tv_sec) * kGHz + static_cast<uint64_t>(ts.tv_nsec);
        return true;
    }
    static int wall(timeval &tv) { return gettimeofday(&tv, nullptr) == 0 ? 0 : errno; }
    static void sleep_ms(uint64_t) {}
};

int64_t realtime_us() {
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return ts.tv_sec * kUs + ts.tv_nsec / 1000;
}

int64_t micros(const timeval &tv) { return tv.tv_sec * kUs + tv.tv_usec; }

TimeBase true_base(uint64_t span) {
    TimeBase b;
    b.set_frequency(kGHz);
    b.anchor_span = span;
    return b;
}

TEST(Calibration, MeasuresTheCounterAgainstASleep) {
    const struct {
        const char *what;
        uint64_t hz, sleep_moves;
        bool has_counter;
        int32_t result;
        uint64_t multiplier, per_msec, per_usec, span;
    } cases[] = {
        {"true counter", kGHz, 72'000'000, true, 0, 1, 1'000'000, 1'000, 60 * kGHz},
        {"half-speed counter", kGHz, 36'000'000, true, 0, 2, 1'000'000, 1'000, 6 * kGHz},
        {"third-speed counter", kGHz, 48'000'000, true, 0, 2, 1'000'000, 1'000, 6 * kGHz},
        {"slowest counter", kGHz, 1'000'000, true, 0, 72, 1'000'000, 1'000, 6 * kGHz},
        {"about true", kGHz, 49'000'000, true, 0, 1, 1'000'000, 1'000, 60 * kGHz},
        {"overrun by half", kGHz, 108'999'999, true, 0, 1, 1'000'000, 1'000, 60 * kGHz},
        // Beyond that the rule gives 0; the counter is kept as it is.
        {"overrun sleep", kGHz, 109'000'000, true, 0, 1, 1'000'000, 1'000, 60 * kGHz},
        {"slow counter", 3'579'545, 257'727, true, 0, 1, 3'579, 3, 60 * 3'579'545},
        {"still counter", kGHz, 0, true, -1, 1, 1'000'000, 1'000, 60 * kGHz},
        {"coarse counter", kGHz, 999'999, true, -1, 1, 1'000'000, 1'000, 60 * kGHz},
        {"no counter", 0, 72'000'000, false, -1, 1, 0, 0, 60},
    };
    for (const auto &c : cases) {
        FakeSource src;
        src.hz = c.hz;
        src.sleep_moves = c.sleep_moves;
        src.has_counter = c.has_counter;
        TimeBase b;
        b.per_sec = 77;
        const int32_t result = calibrate(src, b);
        EXPECT_EQ(
            std::tuple(result, b.multiplier, b.per_sec, b.per_msec, b.per_usec, b.anchor_span),
            std::tuple(c.result, c.multiplier, c.hz ? c.hz : 1, c.per_msec, c.per_usec, c.span))
            << c.what;
        EXPECT_TRUE(result != 0 || (b.tick_base == src.now * c.multiplier &&
                                    b.start_time.tv_sec == src.wall_now.tv_sec))
            << c.what;
    }
}

TEST(AnchoredClock, AnchorsRunsAndReanchors) {
    FakeSource src;
    const TimeBase b = true_base(60 * kGHz);
    AnchoredClock<FakeSource> clock;
    timeval tv{};
    auto read = [&] {
        EXPECT_EQ(clock.read(src, b, tv), 0);
        return std::pair{micros(tv), src.wall_reads};
    };
    const int64_t anchored = micros(src.wall_now);
    EXPECT_EQ(read(), std::pair(anchored, 1)) << "the first reading makes the anchor";

    src.now += kGHz * 3 / 2; // 0.75 + 0.5 carries into the seconds
    EXPECT_EQ(read(), std::pair(anchored + 1'500'000, 1));
    EXPECT_EQ(tv.tv_usec, 250'000);

    src.now += 999; // below a microsecond: truncated
    EXPECT_EQ(read(), std::pair(anchored + 1'500'000, 1));

    src.now += 60 * kGHz - kGHz * 3 / 2 - 999; // exactly the span: still the anchor
    EXPECT_EQ(read(), std::pair(anchored + 60 * kUs, 1));

    src.now += 1; // one tick beyond the span
    src.wall_now = {1'800'000'000, 5};
    EXPECT_EQ(read(), std::pair(micros(src.wall_now), 2));

    src.now -= 1; // a counter below the anchor
    src.wall_now = {1'900'000'000, 6};
    EXPECT_EQ(read(), std::pair(micros(src.wall_now), 3));

    // A failing wall clock keeps the old anchor.
    const int64_t kept = micros(src.wall_now);
    clock.drop();
    src.wall_error = EIO;
    EXPECT_EQ(clock.read(src, b, tv), EIO);
    src.wall_error = 0;
    EXPECT_EQ(read(), std::pair(micros(src.wall_now), 5)) << "a dropped anchor is remade";
    src.now += 2 * 60 * kGHz;
    src.wall_error = EIO;
    EXPECT_EQ(clock.read(src, b, tv), EIO);
    src.wall_error = 0;
    src.now -= 2 * 60 * kGHz - kGHz;
    EXPECT_EQ(read(), std::pair(kept + kUs, 6));
}

TEST(AnchoredClock, MultipliedAndSlowCounters) {
    const struct {
        uint64_t hz, multiplier, ticks;
        int64_t micros;
    } cases[] = {
        {kGHz, 2, kGHz / 2 + 5'000, kUs + 10},  // counts double: one second and 10 µs
        {3'579'545, 1, 3'579'545 * 2 + 3'579'545 / 2, 2 * kUs + 499'999},  // truncated
    };
    for (const auto &c : cases) {
        FakeSource src;
        TimeBase b = true_base(0);
        b.set_frequency(c.hz);
        b.multiplier = c.multiplier;
        b.anchor_span = 6 * b.per_sec;
        AnchoredClock<FakeSource> clock;
        timeval tv;
        clock.read(src, b, tv);
        src.now += c.ticks;
        ASSERT_EQ(clock.read(src, b, tv), 0);
        EXPECT_EQ(micros(tv), micros(src.wall_now) + c.micros);
        EXPECT_EQ(src.wall_reads, 1);
    }
}

// Threads that race through a first use: one calibrates, all see its whole
// result, and the calibration runs once.
TEST(TimeThreads, CalibrationRunsOnceAndIsSeenWhole) {
    CalibrationOnce once;
    TimeBase b;
    std::atomic<int> runs{0}, ready{0};
    constexpr int kThreads = 4;
    std::vector<int> faults(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            const int32_t r = once.run([&] {
                runs.fetch_add(1);
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                b = true_base(123);
                return 7;
            });
            faults[t] = r != 7 || b.per_sec != kGHz || b.anchor_span != 123;
        });
    for (auto &th : threads)
        th.join();
    EXPECT_EQ(runs.load(), 1);
    EXPECT_EQ(once.run([] { return -1; }), 7) << "a later run, as the start chain's, does nothing";
    for (int f : faults)
        EXPECT_EQ(f, 0);
}

// The library's first use, in a fresh process, by several threads at once,
// beside a shared clock that re-anchors all the time; the library's clock,
// its time value and that clock against the platform's; ticks advance at
// least by a sleep and never go back.
TEST(TimeThreads, FirstUseAndSharedAnchor) {
    vesk_test::expect_in_fresh_process([] {
        constexpr int kThreads = 4;
        AnchoredClock<RealSource> shared;
        const TimeBase b = true_base(kGHz / 10'000);
        std::atomic<int> ready{0}, faults{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&] {
                for (ready.fetch_add(1); ready.load() < kThreads;) {
                }
                RealSource real;
                faults += NuTickpersec() != kGHz || NuTickpermsec() != 1'000'000u ||
                          NuTickperusec() != 1'000u;
                uint64_t last = NuTick();
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                faults += NuTick() - last < 20 * NuTickpermsec();  // at least the sleep
                last = NuTick();
                for (int i = 0; i < 5000; ++i) {
                    timeval lib, mine;
                    int64_t value = 0;
                    const int64_t before = realtime_us();
                    faults += NuGettimeofday(&lib, nullptr) != 0 || shared.read(real, b, mine) != 0;
                    const int64_t now = NuTime(&value, nullptr);
                    const int64_t after = realtime_us();
                    faults += value != now || now < before - kSlackUs || now > after + kSlackUs;
                    for (const timeval &tv : {lib, mine})
                        faults += tv.tv_usec >= kUs || micros(tv) < before - kSlackUs ||
                                  micros(tv) > after + kSlackUs;
                    const uint64_t tick = NuTick();
                    faults += tick < last;
                    last = tick;
                }
            });
        for (auto &th : threads)
            th.join();
        CHILD_CHECK(faults.load() == 0);
    });
}

}  // namespace
