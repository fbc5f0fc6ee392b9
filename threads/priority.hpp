// SPDX-License-Identifier: MIT
// The library's thread priorities (-4 .. 4), the platform scale (-15 .. 15)
// that the attribute record stores, and Linux nice values (-20 .. 19).
//
// Library to platform and back are the two fixed conversions of the
// interface; they don't quite invert each other (1 reads back as 0, -3 as -4).
// The platform scale maps onto nice values by rounding in both directions,
// which keeps every library value's round trip as the conversions give it.
#pragma once

#include <cstdint>

namespace vesk::threads {

inline constexpr int32_t kPriorityLimit = 4;
inline constexpr int32_t kPlatformLimit = 15;

inline bool priority_in_range(int32_t p) { return p >= -kPriorityLimit && p <= kPriorityLimit; }

inline int32_t platform_of(int32_t library) { return (library + 4) * 30 / 8 - 15; }

inline int32_t library_of(int32_t platform) { return (platform * 8 + 120) / 30 - 4; }

inline int32_t clamp_platform(int32_t p) {
    return p < -kPlatformLimit ? -kPlatformLimit : p > kPlatformLimit ? kPlatformLimit : p;
}

// num / den rounded to the nearest, halves away from zero (den > 0).
inline long round_div(long num, long den) {
    return num >= 0 ? (num + den / 2) / den : -((-num + den / 2) / den);
}

// Higher priority is a lower nice value: platform 15 is nice -20.
inline int nice_of(int32_t platform) {
    const long n = round_div(-long{platform} * 20, 15);
    return static_cast<int>(n < -20 ? -20 : n > 19 ? 19 : n);
}

inline int32_t platform_of_nice(int nice) {
    return clamp_platform(static_cast<int32_t>(round_div(-long{nice} * 15, 20)));
}

}  // namespace vesk::threads
