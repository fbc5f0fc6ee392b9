// SPDX-License-Identifier: MIT
// Sleeps. Every form turns its request into milliseconds by its own rule and
// ends in one sleep, which a signal handler may cut short.
#include <cerrno>

#include "time.hpp"
#include "time_platform.hpp"

using namespace vesk::os;

namespace {

timespec timespec_of_ms(uint32_t ms) {
    return {static_cast<time_t>(ms / kMillisPerSecond),
            static_cast<long>(ms % kMillisPerSecond) * kNanosPerMilli};
}

// The one sleep under all forms. Cut short by a signal handler it gives -1
// with errno EINTR and no report, and what was left in `left` if asked.
int64_t sleep_ms(uint32_t ms, timespec *left) {
    if (ms == 0) {
        platform::give_up_processor();
        return 0;
    }
    timespec remaining{};
    const int e = ms == kSleepNoLimit ? platform::sleep_until_interrupted()
                                      : platform::sleep_for(timespec_of_ms(ms), remaining);
    if (e == 0)
        return 0;
    if (left != nullptr)
        *left = remaining;
    errno = e;
    return -1;
}

int64_t refuse_request(VeskErr *err, const char *function) {
    return refuse(err, VESK_FAC_SLEEP, VESK_E_INVAL, EINVAL, function, "@request");
}

}  // namespace

extern "C" {

VESK_API int64_t NuSleep(uint64_t seconds, VeskErr *err) {
    const auto ms = sleep_ms_for_seconds(seconds);
    return ms ? sleep_ms(*ms, nullptr) : refuse_request(err, "NuSleep");
}

VESK_API int64_t NuMsleep(uint64_t milliseconds, VeskErr *err) {
    const auto ms = sleep_ms_for_milliseconds(milliseconds);
    return ms ? sleep_ms(*ms, nullptr) : refuse_request(err, "NuMsleep");
}

VESK_API int64_t NuUsleep(int64_t microseconds, VeskErr *err) {
    const auto ms = sleep_ms_for_microseconds(microseconds);
    return ms ? sleep_ms(*ms, nullptr) : refuse_request(err, "NuUsleep");
}

VESK_API int64_t NuNanosleep(const struct timespec *request, struct timespec *remainder,
                             VeskErr *err) {
    if (request == nullptr)
        return refuse(err, VESK_FAC_TIME, VESK_E_FAULT, EFAULT, "NuNanosleep",
                      "@request-duration");
    if (remainder != nullptr)
        *remainder = {};
    return sleep_ms(sleep_ms_for_timespec(*request), remainder);
}

// glibc has no msleep; sleep, usleep and nanosleep are its own.
VESK_API int32_t msleep(uint32_t milliseconds) {
    return static_cast<int32_t>(NuMsleep(milliseconds, nullptr));
}

}  // extern "C"
