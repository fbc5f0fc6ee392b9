// SPDX-License-Identifier: MIT
// What time and sleeping need of the platform: a counter, the wall clock, the
// C library's calendar and the sleeps. One file per platform implements it
// (time_posix.cpp on Linux); everything above it is shared.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace vesk::os::platform {

// The high-resolution counter and its frequency in ticks per second. false
// when the platform has no such counter.
bool counter_frequency(uint64_t &hz);
bool counter_read(uint64_t &ticks);

// The wall clock, seconds and microseconds since 1970: 0, or an errno value.
int wall_clock(timeval &tv);

// The C library's text of a local time: 24 characters (fewer for years
// below 1000), a newline and a NUL. false, with errno set, for a year the
// text has no room for.
inline constexpr size_t kCtimeTextSize = 26;
bool local_text(time_t seconds, char (&text)[kCtimeTextSize]);

// Broken-down UTC and local time of whole seconds.
bool utc_fields(time_t seconds, tm &fields);
bool local_fields(time_t seconds, tm &fields);

// Seconds of broken-down UTC and local time. The fields are normalised in
// place, as the C library does. false, with errno set, when the result has
// no representation.
bool utc_seconds(tm &fields, time_t &seconds);
bool local_seconds(tm &fields, time_t &seconds);

// Sleeps for `request` on the counter's clock: 0 when all of it passed, or
// the errno value of what cut it short (EINTR for a signal handler), with
// what was left in `left`.
int sleep_for(const timespec &request, timespec &left);
// Sleeps until a signal handler runs, and gives that errno value (EINTR).
int sleep_until_interrupted();
// Lets another thread run.
void give_up_processor();

}  // namespace vesk::os::platform
