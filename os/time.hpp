// SPDX-License-Identifier: MIT
// Time and sleeping: what the start-up code needs of the time base, the
// rules that turn sleep requests into milliseconds, and the reports.
#pragma once

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <optional>

#include "vesk.h"

namespace vesk::os {

// Milliseconds each sleep asks for; no value over its limit. 0 gives the
// processor up; kSleepNoLimit sleeps until a signal handler runs.
inline constexpr uint32_t kSleepNoLimit = 0xFFFFFFFFu;
inline constexpr uint64_t kMillisPerSecond = 1000;
inline constexpr uint64_t kMicrosPerMilli = 1000;
inline constexpr int64_t kNanosPerMilli = 1'000'000;
// 4294967 seconds is the longest whole-second sleep that fits the count.
inline constexpr uint64_t kSleepSecondsLimit = kSleepNoLimit / kMillisPerSecond + 1;

// Forms finer than a millisecond sleep at least one.
inline uint32_t at_least_one_ms(uint64_t ms) { return ms == 0 ? 1 : static_cast<uint32_t>(ms); }

inline std::optional<uint32_t> sleep_ms_for_seconds(uint64_t seconds) {
    if (seconds >= kSleepSecondsLimit)
        return std::nullopt;
    return static_cast<uint32_t>(seconds * kMillisPerSecond);
}

inline std::optional<uint32_t> sleep_ms_for_milliseconds(uint64_t milliseconds) {
    if (milliseconds > kSleepNoLimit)
        return std::nullopt;
    return static_cast<uint32_t>(milliseconds);
}

inline std::optional<uint32_t> sleep_ms_for_microseconds(int64_t microseconds) {
    const auto ms = static_cast<uint64_t>(microseconds) / kMicrosPerMilli;
    if (microseconds < 0 || ms > kSleepNoLimit)
        return std::nullopt;
    return at_least_one_ms(ms);
}

// No limit: the count is taken modulo 2^32, as the milliseconds of the
// platform's sleep always were.
inline uint32_t sleep_ms_for_timespec(const timespec &request) {
    const uint64_t ms = static_cast<uint64_t>(request.tv_sec) * kMillisPerSecond +
                        static_cast<uint64_t>(request.tv_nsec / kNanosPerMilli);
    return at_least_one_ms(ms & kSleepNoLimit);
}

// Reports of the family. Facility 107 is the clock, 204 the sleeps, 0 the
// calendar functions that belong to no family.

template <class... Args>
inline void report(VeskErr *err, int32_t facility, int32_t code, int32_t syserr, uint32_t variant,
                   Args... args) {
    VeskMkerr(nullptr, err, 0, 0, 0, facility, code, syserr, variant, args...);
}

// A refused argument: errno and syserr are `errnum`, variant 2 names the
// function and the parameter. Gives -1.
inline int64_t refuse(VeskErr *err, int32_t facility, int32_t code, int errnum,
                      const char *function, const char *param) {
    errno = errnum;
    report(err, facility, code, errnum, 2, function, param);
    return -1;
}

}  // namespace vesk::os
