// SPDX-License-Identifier: MIT
// How the timed waits turn their argument into a limit in milliseconds, and
// the limit into a deadline on the monotonic clock.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

namespace vesk::threads {

// A limit in milliseconds; kNoLimit waits for as long as it takes.
inline constexpr uint32_t kNoLimit = 0xFFFFFFFFu;

// The argument that stands for "no limit" in the pointer forms.
inline bool is_infinite(const timespec *t) {
    return t == reinterpret_cast<const timespec *>(UINTPTR_MAX);
}

// A deadline on the wall clock, against `now` (null: read the library's wall
// clock). Null or all-ones: no limit. A deadline already past gives 0, a poll
// that times out at once; one further away than the 32-bit range waits as
// long as the range allows.
uint32_t limit_of_deadline(const timespec *deadline, const timespec *now);

// A span in milliseconds: above 0xFFFFFFFF refused (empty); 0 or negative:
// no limit, so that this form never polls.
std::optional<uint32_t> limit_of_milliseconds(int64_t ms);

// A span as a timespec: all-ones no limit; null 0, a poll; else seconds and
// nanoseconds to milliseconds, truncating, a negative span polling.
uint32_t limit_of_duration(const timespec *duration);

// The monotonic time `limit` milliseconds from now.
timespec monotonic_deadline(uint32_t limit);

}  // namespace vesk::threads
