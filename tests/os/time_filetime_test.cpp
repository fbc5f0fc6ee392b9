// SPDX-License-Identifier: MIT
// File time and SYSTEMTIME: known instants, round trips checked against
// glibc's calendar, and the platform's validation.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <utility>

#include "nu.h"

namespace {

constexpr int64_t kUs = 1'000'000;

bool same(const NuW32SystemTime &a, const NuW32SystemTime &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;  // eight 16-bit fields, no padding
}

TEST(FileTime, KnownInstants) {
    const struct {
        timeval tv;
        uint64_t filetime;
        NuW32SystemTime st;
    } cases[] = {
        {{0, 0}, 116444736000000000u, {1970, 1, 4, 1, 0, 0, 0, 0}},
        {{-1, 999'999}, 116444735999999990u, {1969, 12, 3, 31, 23, 59, 59, 999}},
        {{-11644473600, 0}, 0u, {1601, 1, 1, 1, 0, 0, 0, 0}},
        {{951782400, 123'456}, 125962560001234560u, {2000, 2, 2, 29, 0, 0, 0, 123}},
        {{4107542399, 999'999}, 157520159999999990u, {2100, 2, 0, 28, 23, 59, 59, 999}},
        // The last file time that has a SYSTEMTIME.
        {{910692730085, 477'580}, 9223372036854775800u, {30828, 9, 4, 14, 2, 48, 5, 477}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.tv.tv_sec);
        uint64_t ft = 0;
        EXPECT_EQ(NuTimevalToW32FileTime(&c.tv, &ft, nullptr), 0);
        EXPECT_EQ(ft, c.filetime);
        timeval tv{};
        EXPECT_EQ(NuTimevalFromW32FileTime(&tv, &c.filetime, nullptr), 0);
        EXPECT_EQ(std::pair(tv.tv_sec, tv.tv_usec), std::pair(c.tv.tv_sec, c.tv.tv_usec));

        NuW32SystemTime st{};
        EXPECT_EQ(NuTimevalToW32SytemTime(&c.tv, &st, nullptr), 0);
        EXPECT_TRUE(same(st, c.st)) << st.wYear << "-" << st.wMonth << "-" << st.wDay << " dow "
                                    << st.wDayOfWeek << " ms " << st.wMilliseconds;
        if (c.st.wYear <= 30827) { // the platform converts no later year back
            EXPECT_EQ(NuTimevalFromW32SytemTime(&tv, &c.st, nullptr), 0);
            EXPECT_EQ(std::pair(tv.tv_sec, tv.tv_usec),
                      std::pair(c.tv.tv_sec, c.tv.tv_usec / 1000 * 1000));
        }
    }
}

TEST(FileTime, RoundTripsAgreeWithTheCLibrary) {
    const int64_t first = -11644473600 * kUs, last = 910692730085 * kUs;
    uint64_t x = 12345;
    for (int i = 0; i < 20000; ++i) {
        x = x * 6364136223846793005u + 1442695040888963407u;
        const int64_t micros = first + static_cast<int64_t>(x % static_cast<uint64_t>(last - first));
        const timeval tv{micros / kUs - (micros % kUs < 0), (micros % kUs + kUs) % kUs};
        uint64_t ft = 0;
        timeval back{};
        NuTimevalToW32FileTime(&tv, &ft, nullptr);
        NuTimevalFromW32FileTime(&back, &ft, nullptr);
        ASSERT_TRUE(back.tv_sec == tv.tv_sec && back.tv_usec == tv.tv_usec) << micros;

        NuW32SystemTime st{};
        ASSERT_EQ(NuTimevalToW32SytemTime(&tv, &st, nullptr), 0) << micros;
        tm want;
        gmtime_r(&tv.tv_sec, &want);
        ASSERT_TRUE(st.wYear == want.tm_year + 1900 && st.wMonth == want.tm_mon + 1 &&
                    st.wDay == want.tm_mday && st.wDayOfWeek == want.tm_wday &&
                    st.wHour == want.tm_hour && st.wMinute == want.tm_min &&
                    st.wSecond == want.tm_sec && st.wMilliseconds == tv.tv_usec / 1000)
            << micros;
        if (st.wYear <= 30827) {
            ASSERT_EQ(NuTimevalFromW32SytemTime(&back, &st, nullptr), 0);
            ASSERT_TRUE(back.tv_sec == tv.tv_sec && back.tv_usec == tv.tv_usec / 1000 * 1000);
        }
    }
}

// The reports themselves are checked with the other refusals.
TEST(FileTime, SystemTimeIsValidatedAsThePlatformDoes) {
    const NuW32SystemTime accepted[] = {
        {1601, 1, 0, 1, 0, 0, 0, 0},         {2000, 2, 0, 29, 0, 0, 0, 0},
        {30827, 12, 0, 31, 23, 59, 59, 999}, {2021, 4, 6, 30, 12, 0, 0, 0}, // day of week not read
    };
    const NuW32SystemTime refused[] = {
        {1600, 12, 0, 31, 0, 0, 0, 0}, {30828, 1, 0, 1, 0, 0, 0, 0}, {2021, 0, 0, 1, 0, 0, 0, 0},
        {2021, 13, 0, 1, 0, 0, 0, 0},  {2021, 1, 0, 0, 0, 0, 0, 0},  {2021, 4, 0, 31, 0, 0, 0, 0},
        {2100, 2, 0, 29, 0, 0, 0, 0},  {1900, 2, 0, 29, 0, 0, 0, 0}, {2021, 1, 0, 1, 24, 0, 0, 0},
        {2021, 1, 0, 1, 0, 60, 0, 0},  {2021, 1, 0, 1, 0, 0, 60, 0}, {2021, 1, 0, 1, 0, 0, 0, 1000},
    };
    timeval tv{7, 7};
    for (const auto &st : accepted)
        EXPECT_EQ(NuTimevalFromW32SytemTime(&tv, &st, nullptr), 0) << st.wYear << "-" << st.wMonth;
    for (const auto &st : refused) {
        tv = {7, 7};
        EXPECT_EQ(NuTimevalFromW32SytemTime(&tv, &st, nullptr), -1)
            << st.wYear << "-" << st.wMonth << "-" << st.wDay;
        EXPECT_EQ(tv.tv_sec, 7) << "nothing written on refusal";
    }
    // Times without a SYSTEMTIME: before 1601, after the last file time, and
    // beyond 64-bit microseconds.
    const timeval outside[] = {
        {-11644473601, 999'999}, {910692730085, 477'581}, {LONG_MAX, 0}, {LONG_MIN, 0}};
    for (const timeval &t : outside) {
        NuW32SystemTime st{};
        EXPECT_EQ(NuTimevalToW32SytemTime(&t, &st, nullptr), -1) << t.tv_sec;
    }
    // The file-time forms have no record to report to.
    uint64_t ft = 0;
    errno = 0;
    EXPECT_EQ(NuTimevalFromW32FileTime(nullptr, &ft, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
}

}  // namespace
