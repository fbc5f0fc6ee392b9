// SPDX-License-Identifier: MIT
// Conversions between timeval and the Windows file time (100-nanosecond
// units since 1601) and SYSTEMTIME. On Linux they are pure arithmetic, with
// the ranges and checks of the platform they come from.
#include <cerrno>
#include <climits>

#include "time.hpp"

using namespace vesk::os;

namespace {

constexpr int64_t kMicrosPerSecond = 1'000'000;
constexpr int64_t kSecondsPerDay = 86'400;
// From 1601-01-01 to 1970-01-01.
constexpr int64_t kFileTimeOffsetMicros = 11'644'473'600'000'000;
constexpr uint64_t kFileTimeUnitsPerMicro = 10;
// The file times that have a SYSTEMTIME: not negative as signed 64 bits.
constexpr int64_t kFileTimeMaxMicros = INT64_MAX / 10;
constexpr uint16_t kSystemTimeFirstYear = 1601;
constexpr uint16_t kSystemTimeLastYear = 30827;
constexpr int kThursday = 4; // 1970-01-01; SYSTEMTIME counts days from Sunday

int64_t floor_div(int64_t a, int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }
int64_t floor_mod(int64_t a, int64_t b) { return a - floor_div(a, b) * b; }

timeval timeval_of_micros(int64_t micros) {
    return {static_cast<time_t>(floor_div(micros, kMicrosPerSecond)),
            static_cast<suseconds_t>(floor_mod(micros, kMicrosPerSecond))};
}

bool is_leap(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

unsigned days_in_month(int64_t year, unsigned month) {
    constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap(year) ? 29 : kDays[month - 1];
}

// Days between 1970-01-01 and a date of the proleptic Gregorian calendar,
// by eras of 400 years (H. Hinnant's civil calendar algorithms).
int64_t days_from_civil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = floor_div(y, 400);
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

struct Civil {
    int64_t year;
    unsigned month, day;
};

Civil civil_from_days(int64_t z) {
    z += 719468;
    const int64_t era = floor_div(z, 146097);
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const auto day = static_cast<unsigned>(doy - (153 * mp + 2) / 5 + 1);
    const auto month = static_cast<unsigned>(mp < 10 ? mp + 3 : mp - 9);
    return {yoe + era * 400 + (month <= 2), month, day};
}

// What the platform's conversion accepts. The day of the week is not read.
bool is_valid(const NuW32SystemTime &st) {
    return st.wYear >= kSystemTimeFirstYear && st.wYear <= kSystemTimeLastYear &&
           st.wMonth >= 1 && st.wMonth <= 12 && st.wDay >= 1 &&
           st.wDay <= days_in_month(st.wYear, st.wMonth) && st.wHour < 24 && st.wMinute < 60 &&
           st.wSecond < 60 && st.wMilliseconds < 1000;
}

// Microseconds since 1970 of a timeval whose file time has a SYSTEMTIME.
bool system_time_range(const timeval &tv, int64_t &micros) {
    return !__builtin_mul_overflow(tv.tv_sec, kMicrosPerSecond, &micros) &&
           !__builtin_add_overflow(micros, tv.tv_usec, &micros) &&
           micros >= -kFileTimeOffsetMicros && micros <= kFileTimeMaxMicros - kFileTimeOffsetMicros;
}

NuW32SystemTime system_time_of(int64_t micros) {
    const int64_t days = floor_div(micros, kSecondsPerDay * kMicrosPerSecond);
    const int64_t in_day = micros - days * kSecondsPerDay * kMicrosPerSecond;
    const int64_t seconds = in_day / kMicrosPerSecond;
    const Civil c = civil_from_days(days);
    return {static_cast<uint16_t>(c.year),
            static_cast<uint16_t>(c.month),
            static_cast<uint16_t>(floor_mod(days + kThursday, 7)),
            static_cast<uint16_t>(c.day),
            static_cast<uint16_t>(seconds / 3600),
            static_cast<uint16_t>(seconds / 60 % 60),
            static_cast<uint16_t>(seconds % 60),
            static_cast<uint16_t>(in_day % kMicrosPerSecond / 1000)};
}

}  // namespace

extern "C" {

// The third argument stands where the platform's form has none to report to;
// a null pointer is refused with EFAULT and nothing else.
VESK_API int64_t NuTimevalFromW32FileTime(struct timeval *tv, const uint64_t *filetime, void *) {
    if (tv == nullptr || filetime == nullptr) {
        errno = EFAULT;
        return -1;
    }
    const auto micros = static_cast<int64_t>(*filetime / kFileTimeUnitsPerMicro);
    *tv = timeval_of_micros(micros - kFileTimeOffsetMicros);
    return 0;
}

// Times outside the file time's range wrap, as the arithmetic of the
// platform's form does.
VESK_API int64_t NuTimevalToW32FileTime(const struct timeval *tv, uint64_t *filetime, void *) {
    if (tv == nullptr || filetime == nullptr) {
        errno = EFAULT;
        return -1;
    }
    const uint64_t micros = static_cast<uint64_t>(tv->tv_sec) * kMicrosPerSecond +
                            static_cast<uint64_t>(tv->tv_usec) + kFileTimeOffsetMicros;
    *filetime = micros * kFileTimeUnitsPerMicro;
    return 0;
}

VESK_API int64_t NuTimevalFromW32SytemTime(struct timeval *tv, const NuW32SystemTime *systime,
                                           VeskErr *err) {
    if (tv == nullptr || systime == nullptr || !is_valid(*systime))
        return refuse(err, VESK_FAC_TIME, VESK_E_INVAL, EINVAL, "NuTimevalFromW32SytemTime",
                      "@systemtime");
    const NuW32SystemTime &st = *systime;
    const int64_t days = days_from_civil(st.wYear, st.wMonth, st.wDay);
    tv->tv_sec = static_cast<time_t>(days * kSecondsPerDay + st.wHour * 3600 + st.wMinute * 60 +
                                     st.wSecond);
    tv->tv_usec = static_cast<suseconds_t>(st.wMilliseconds * 1000);
    return 0;
}

VESK_API int64_t NuTimevalToW32SytemTime(const struct timeval *tv, NuW32SystemTime *systime,
                                         VeskErr *err) {
    int64_t micros = 0;
    if (tv == nullptr || systime == nullptr || !system_time_range(*tv, micros))
        return refuse(err, VESK_FAC_TIME, VESK_E_INVAL, EINVAL, "NuTimevalToW32SytemTime",
                      "@timeval");
    *systime = system_time_of(micros);
    return 0;
}

}  // extern "C"
