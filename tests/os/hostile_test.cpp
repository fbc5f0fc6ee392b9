// SPDX-License-Identifier: MIT
// Hostile input to the clock, calendar and sleeps: null records, negative and
// out-of-range spans, and times at the ends of the 64-bit range. Each case
// runs in a child process of its own (see support/hostile.hpp), so a sleep
// that ran into weeks is a failed case at the time limit.
#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "nu.h"
#include "support/hostile.hpp"

namespace {

using vesk_test::address;
using vesk_test::Expected;
using vesk_test::HostileCase;

Expected refused_request(const std::string &function) {
    return {VESK_FAC_SLEEP, VESK_E_INVAL, EINVAL, 2, function + "(@request): invalid argument."};
}

// The span in milliseconds is taken modulo 2^32, whatever its sign: -4294967
// seconds is 296 ms. The remainder is cleared, never reported.
int64_t nanosleep_wrapping(VeskErr *e) {
    timespec request{-4294967, 0}, left{1, 1};
    const int64_t r = NuNanosleep(&request, &left, e);
    return r == 0 && left.tv_sec == 0 && left.tv_nsec == 0 ? r : 99;
}

Expected overflow() {
    return {VESK_FAC_NONE, VESK_E_SYSTEM, 0, 1, std::to_string(EOVERFLOW) + ": runtime error."};
}

TEST(Hostile, SleepsRefuseWhatTheyCantCountAndTheCalendarItsEnds) {
    const std::vector<HostileCase> cases = {
        {"a negative span wraps", nanosleep_wrapping, 0, vesk_test::kNoReport},
        {"a null request", [](VeskErr *e) { return NuNanosleep(nullptr, nullptr, e); }, -1,
         {VESK_FAC_TIME, VESK_E_FAULT, EFAULT, 2,
          "NuNanosleep(@request-duration): the argument points outside an allocated address space "
          "of the process."}},
        {"the most negative microseconds", [](VeskErr *e) { return NuUsleep(INT64_MIN, e); }, -1,
         refused_request("NuUsleep")},
        {"the most seconds", [](VeskErr *e) { return NuSleep(UINT64_MAX, e); }, -1,
         refused_request("NuSleep")},
        {"the most milliseconds", [](VeskErr *e) { return NuMsleep(UINT64_MAX, e); }, -1,
         refused_request("NuMsleep")},
        {"no place for the clock", [](VeskErr *e) { return NuGettimeofday(nullptr, e); }, -1,
         {VESK_FAC_TIME, VESK_E_FAULT, EFAULT, 2,
          "NuGettimeofday(@buffer): the argument points outside an allocated address space of the "
          "process."}},
        {"the earliest time has no text",
         [](VeskErr *e) {
             const NuTimevalue earliest = INT64_MIN;
             char text[NU_CTIME_BUFSIZE];
             return address(NuCtime(&earliest, text, e));
         },
         0, overflow()},
        {"the latest time has a calendar",
         [](VeskErr *e) {
             const NuTimevalue latest = INT64_MAX;
             NuTm tm{};
             return int64_t{NuGmtime(&latest, &tm, e) == &tm && tm.tm_usec == 775807};
         },
         1, vesk_test::kNoReport},
        {"a calendar beyond every field",
         [](VeskErr *e) {
             NuTm tm{};
             tm.tm.tm_year = tm.tm.tm_mon = tm.tm.tm_mday = tm.tm.tm_hour = INT32_MAX;
             tm.tm_usec = INT32_MAX;
             return NuMkgmtime(&tm, e);
         },
         -1, overflow()},
    };
    vesk_test::run_cases(cases);
}

}  // namespace
