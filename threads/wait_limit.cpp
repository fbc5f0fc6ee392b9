// SPDX-License-Identifier: MIT
// The limit rules of the timed waits, shared by both condition families.
#include "wait_limit.hpp"

#include <sys/time.h>

#include "nu.h"

namespace vesk::threads {
namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerSecond = 1000000000;

// Arithmetic on the caller's seconds and nanoseconds, which may be anything:
// a result beyond the 64-bit range stands at its end, and clamp_limit then
// makes it a poll or the longest limit, never a wrapped one.
int64_t sub(int64_t a, int64_t b) {
    int64_t r;
    if (__builtin_sub_overflow(a, b, &r))
        return a > b ? INT64_MAX : INT64_MIN;
    return r;
}
int64_t add(int64_t a, int64_t b) {
    int64_t r;
    if (__builtin_add_overflow(a, b, &r))
        return a > 0 ? INT64_MAX : INT64_MIN;
    return r;
}
int64_t mul(int64_t a, int64_t b) {
    int64_t r;
    if (__builtin_mul_overflow(a, b, &r))
        return (a < 0) == (b < 0) ? INT64_MAX : INT64_MIN;
    return r;
}

// seconds * 1000 + nanoseconds / 1000000, saturated.
int64_t milliseconds_of(int64_t sec, int64_t nsec) {
    return add(mul(sec, kMsPerSecond), nsec / kNsPerMs);
}

uint32_t clamp_limit(int64_t ms) {
    if (ms <= 0)
        return 0;
    return ms >= kNoLimit ? kNoLimit - 1 : static_cast<uint32_t>(ms);
}

timespec wall_now() {
    timeval tv{};
    NuGettimeofday(&tv, nullptr);
    return {tv.tv_sec, tv.tv_usec * 1000L};
}

}  // namespace

uint32_t limit_of_deadline(const timespec *deadline, const timespec *now) {
    if (deadline == nullptr || is_infinite(deadline))
        return kNoLimit;
    const timespec from = now != nullptr ? *now : wall_now();
    int64_t sec = sub(deadline->tv_sec, from.tv_sec);
    int64_t nsec = sub(deadline->tv_nsec, from.tv_nsec);
    if (nsec < 0) {
        nsec = add(nsec, kNsPerSecond);
        sec = sub(sec, 1);
    }
    return clamp_limit(milliseconds_of(sec, nsec));
}

std::optional<uint32_t> limit_of_milliseconds(int64_t ms) {
    if (ms > static_cast<int64_t>(kNoLimit))
        return std::nullopt;
    return ms <= 0 ? kNoLimit : static_cast<uint32_t>(ms);
}

uint32_t limit_of_duration(const timespec *duration) {
    if (is_infinite(duration))
        return kNoLimit;
    if (duration == nullptr)
        return 0;
    return clamp_limit(milliseconds_of(duration->tv_sec, duration->tv_nsec));
}

timespec monotonic_deadline(uint32_t limit) {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    t.tv_sec += limit / kMsPerSecond;
    t.tv_nsec += static_cast<long>(limit % kMsPerSecond) * kNsPerMs;
    if (t.tv_nsec >= kNsPerSecond) {
        t.tv_nsec -= kNsPerSecond;
        t.tv_sec += 1;
    }
    return t;
}

}  // namespace vesk::threads
