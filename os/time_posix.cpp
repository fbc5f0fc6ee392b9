// SPDX-License-Identifier: MIT
// Time and sleeping on Linux: CLOCK_MONOTONIC is the counter, CLOCK_REALTIME
// the wall clock, glibc's reentrant functions the calendar.
#include <sched.h>
#include <unistd.h>

#include <cerrno>

#include "time_platform.hpp"

namespace vesk::os::platform {

namespace {

constexpr uint64_t kNanosPerSecond = 1'000'000'000;

bool same_instant(const tm &a, const tm &b) {
    return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
           a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

// timegm and mktime answer -1 both for a failure and for the last second of
// 1969. They normalise the fields only on success, so the fields of the
// second -1 tell the two apart.
template <time_t (*Compose)(tm *), tm *(*Decompose)(const time_t *, tm *)>
bool seconds_of(tm &fields, time_t &seconds) {
    seconds = Compose(&fields);
    if (seconds != -1)
        return true;
    tm probe{};
    if (Decompose(&seconds, &probe) != nullptr && same_instant(probe, fields))
        return true;
    if (errno == 0)
        errno = EOVERFLOW;
    return false;
}

}  // namespace

// The monotonic clock counts nanoseconds; it is there on every Linux.
bool counter_frequency(uint64_t &hz) {
    hz = kNanosPerSecond;
    return true;
}

bool counter_read(uint64_t &ticks) {
    timespec ts;
    if (clock_gettime(CLOCK_MONOTONIC, &ts) != 0)
        return false;
    ticks = static_cast<uint64_t>(ts.tv_sec) * kNanosPerSecond + static_cast<uint64_t>(ts.tv_nsec);
    return true;
}

int wall_clock(timeval &tv) {
    timespec ts;
    if (clock_gettime(CLOCK_REALTIME, &ts) != 0)
        return errno;
    tv.tv_sec = ts.tv_sec;
    tv.tv_usec = static_cast<suseconds_t>(ts.tv_nsec / 1000);
    return 0;
}

// glibc refuses a year whose text would not fit in 26 bytes (EOVERFLOW).
bool local_text(time_t seconds, char (&text)[kCtimeTextSize]) {
    return ctime_r(&seconds, text) != nullptr;
}

bool utc_fields(time_t seconds, tm &fields) { return gmtime_r(&seconds, &fields) != nullptr; }

bool local_fields(time_t seconds, tm &fields) { return localtime_r(&seconds, &fields) != nullptr; }

bool utc_seconds(tm &fields, time_t &seconds) {
    return seconds_of<timegm, gmtime_r>(fields, seconds);
}

bool local_seconds(tm &fields, time_t &seconds) {
    return seconds_of<mktime, localtime_r>(fields, seconds);
}

// Relative to the monotonic clock, so that setting the wall clock doesn't
// stretch or cut a sleep.
int sleep_for(const timespec &request, timespec &left) {
    left = {};
    return clock_nanosleep(CLOCK_MONOTONIC, 0, &request, &left);
}

int sleep_until_interrupted() {
    pause();
    return errno;
}

void give_up_processor() { sched_yield(); }

}  // namespace vesk::os::platform
