// The limit rules of the timed waits, shared by both condition families.
#include "wait_limit.hpp"

#include <sys/time.h>

#include "nu.h"

namespace vesk::threads {
namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerSecond = 1000000000;

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
    int64_t sec = static_cast<int64_t>(deadline->tv_sec) - from.tv_sec;
    int64_t nsec = static_cast<int64_t>(deadline->tv_nsec) - from.tv_nsec;
    if (nsec < 0) {
        nsec += kNsPerSecond;
        sec -= 1;
    }
    return clamp_limit(sec * kMsPerSecond + nsec / kNsPerMs);
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
    return clamp_limit(static_cast<int64_t>(duration->tv_sec) * kMsPerSecond +
                       duration->tv_nsec / kNsPerMs);
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
