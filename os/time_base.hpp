// SPDX-License-Identifier: MIT
// The time base, written over a source of time: the calibration, the
// first-use guard around it, and the wall clock that runs from an anchor.
//
// The library instantiates these with the platform's counter and clock
// (time_base.cpp); the tests with sources of their own, so that the rules are
// checked tick by tick. A source provides:
//   bool frequency(uint64_t &hz);   bool counter(uint64_t &ticks);
//   int wall(timeval &tv);          void sleep_ms(uint64_t ms);  // all of it
#pragma once

#include <sys/time.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <thread>
#include <type_traits>

#include "threads/spin.hpp"
#include "time_platform.hpp"

namespace vesk::os {

inline constexpr uint64_t kMicrosPerSecond = 1'000'000;
inline constexpr uint64_t kCalibrationSleepMs = 72;
// Above this the sleep overran, and the multiplier is 108 / E, not about 72 / E.
inline constexpr uint64_t kCalibrationOverrunMs = 108;
// A counter that runs true serves an anchor for a minute; one that needed a
// correction is trusted for six seconds only.
inline constexpr uint64_t kAnchorSecondsTrue = 60;
inline constexpr uint64_t kAnchorSecondsCorrected = 6;

// What a calibration derives from the counter's frequency (`hz`) and from
// the length of its 72 ms sleep as the counter saw it (`elapsed_ms`). No
// value when the counter didn't move: it has no sound multiplier.
struct TimeBaseRule {
    uint64_t multiplier;  // counter values are multiplied by it; at least 1
    uint64_t anchor_span; // ticks an anchor serves
};

inline std::optional<TimeBaseRule> derive_time_base(uint64_t hz, uint64_t elapsed_ms) {
    const uint64_t e = elapsed_ms;
    if (e == 0)
        return std::nullopt;
    uint64_t multiplier = e > kCalibrationSleepMs ? kCalibrationOverrunMs / e
                                                  : (e / 2 + kCalibrationSleepMs) / e;
    // A sleep that overran by half (a busy machine) would give 0, which stops
    // NuTick and re-anchors on every reading; the counter is taken as true.
    if (multiplier == 0)
        multiplier = 1;
    const uint64_t seconds = multiplier == 1 ? kAnchorSecondsTrue : kAnchorSecondsCorrected;
    return TimeBaseRule{multiplier, seconds * hz};
}

// Written by the calibration alone and only read afterwards.
struct TimeBase {
    uint64_t multiplier = 1;
    uint64_t tick_base = 0; // multiplied counter at calibration
    timeval start_time{};   // the wall clock at calibration; for debuggers
    uint64_t per_sec = 0;
    uint64_t per_msec = 0;
    uint64_t per_usec = 0;
    uint64_t anchor_span = 0;

    void set_frequency(uint64_t hz) {
        per_sec = hz;
        per_msec = hz / 1000;
        per_usec = hz / kMicrosPerSecond;
    }
};

// Measures the counter against a real sleep: 0, or -1 when the source has no
// counter or the counter didn't move. A failed calibration still leaves a
// base whose divisions are defined, for a clock used before the start chain,
// which aborts on the failure.
template <class Source>
int32_t calibrate(Source &src, TimeBase &b) {
    b = TimeBase{};
    uint64_t hz = 0, t1 = 0, t2 = 0, now = 0;
    auto fail = [&] {
        b.set_frequency(hz != 0 ? hz : 1);
        b.anchor_span = kAnchorSecondsTrue * b.per_sec;
        src.counter(b.tick_base);
        return -1;
    };
    if (!src.frequency(hz) || hz == 0 || !src.counter(t1))
        return fail();
    src.sleep_ms(kCalibrationSleepMs);
    if (!src.counter(t2) || t2 < t1)
        return fail();
    const auto rule = derive_time_base(hz, (t2 - t1) * 1000 / hz);
    if (!rule || !src.frequency(hz) || hz == 0 || !src.counter(now) || src.wall(b.start_time) != 0)
        return fail();
    b.multiplier = rule->multiplier;
    b.tick_base = now * rule->multiplier;
    b.set_frequency(hz);
    b.anchor_span = rule->anchor_span;
    return 0;
}

// Runs a calibration once. The first caller runs it; callers that come
// meanwhile wait, so that nobody reads half a calibration; later callers,
// the start chain among them, get the same result.
class CalibrationOnce {
public:
    bool done() const { return state_.load(std::memory_order_acquire) == kDone; }

    template <class Calibrate>
    int32_t run(Calibrate &&calibrate) {
        int state = kNone;
        if (state_.compare_exchange_strong(state, kRunning, std::memory_order_acquire)) {
            result_ = calibrate();
            state_.store(kDone, std::memory_order_release);
            return result_;
        }
        // Only a first use that races another waits, once, for about 72 ms.
        while (state_.load(std::memory_order_acquire) != kDone)
            std::this_thread::yield();
        return result_;
    }

private:
    enum : int { kNone, kRunning, kDone };
    std::atomic<int> state_{kNone};
    int32_t result_ = 0;
};

// The anchor's time `d` ticks later. `Hz` is a compile-time constant for the
// usual frequency, so that the divisions become multiplications.
template <class Hz>
inline timeval advance(const timeval &from, uint64_t d, Hz hz) {
    const uint64_t seconds = d / hz;
    const uint64_t micros = d % hz * kMicrosPerSecond / hz; // counters below 18 THz
    timeval tv{from.tv_sec + static_cast<time_t>(seconds),
               from.tv_usec + static_cast<suseconds_t>(micros)};
    if (tv.tv_usec >= static_cast<suseconds_t>(kMicrosPerSecond)) {
        tv.tv_usec -= static_cast<suseconds_t>(kMicrosPerSecond);
        ++tv.tv_sec;
    }
    return tv;
}

inline timeval advance(const timeval &from, uint64_t d, uint64_t hz) {
    constexpr uint64_t kNanosecondCounter = 1'000'000'000;
    if (hz == kNanosecondCounter)
        return advance(from, d, std::integral_constant<uint64_t, kNanosecondCounter>{});
    return advance<uint64_t>(from, d, hz);
}

// The wall clock on the counter. Between anchors a reading costs a counter
// read, two divisions and a short spin lock; the source's wall clock is read
// only for a new anchor: when there is none, when the anchor has served its
// span, or when the counter reads below it. The four fields of the anchor
// change together under the lock. It has a cache line of its own, because
// every reading writes the lock word.
template <class Source>
class alignas(64) AnchoredClock {
public:
    // 0, or the errno value of a failing wall clock; the old anchor stays.
    int read(Source &src, const TimeBase &b, timeval &tv) {
        // Read before the lock, so that the lock is held for arithmetic only.
        const uint64_t t = counter(src, b);
        Held held(lock_);
        // Unsigned: a reading below the anchor comes out huge and re-anchors.
        const uint64_t d = t - tick_;
        if (tick_ != 0 && d <= b.anchor_span) {
            tv = advance(tv_, d, b.per_sec);
            return 0;
        }
        return reanchor(src, b, tv);
    }

    void drop() {
        Held held(lock_);
        tick_ = 0;
        tv_ = {};
    }

    static uint64_t counter(Source &src, const TimeBase &b) {
        uint64_t ticks = 0;
        src.counter(ticks);
        return ticks * b.multiplier;
    }

private:
    using Held = sync::SpinLocked<uint32_t>;

    [[gnu::noinline]] int reanchor(Source &src, const TimeBase &b, timeval &tv) {
        const uint64_t tick = counter(src, b);
        timeval now;
        if (const int e = src.wall(now))
            return e;
        tick_ = tick;
        tv_ = now;
        tv = now;
        return 0;
    }

    uint32_t lock_ = 0;
    uint64_t tick_ = 0; // multiplied counter at the anchor; 0: none yet
    timeval tv_{};      // the wall clock at the anchor
};

}  // namespace vesk::os
