// SPDX-License-Identifier: MIT
// Calendar functions against glibc's own, under explicit time zones.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "nu.h"

namespace {

constexpr int64_t kUs = 1'000'000;

// TZ for the life of the object; the old value comes back afterwards.
struct ZoneScope {
    const char *old = std::getenv("TZ");
    std::string saved = old ? old : "";
    explicit ZoneScope(const char *zone) { setenv("TZ", zone, 1), tzset(); }
    ~ZoneScope() { old ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ"), tzset(); }
};

// Both hemispheres' summer time, a zone west of Greenwich, and UTC.
constexpr const char *kZones[] = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3",
                                  "NZST-12NZDT,M9.5.0,M4.1.0/3", "<-03>3"};

// Instants that catch calendar code out: both sides of 1970 and of a whole
// second, leap days, the 32-bit limit, summer-time changes, years 1 and
// 9999; then a fixed spread over six centuries around 1970.
std::vector<int64_t> instants() {
    std::vector<int64_t> v = {
        0, 1, -1, 999'999, kUs, -999'999, -kUs, -kUs - 1,
        951'782'400 * kUs + 5,                                  // 2000-02-29
        -2'203'891'200 * kUs,                                   // 1900-03-01, no leap day
        2'147'483'647 * kUs + 999'999, 2'147'483'648 * kUs,     // around 2038-01-19
        4'107'542'400 * kUs,                                    // 2100-03-01
        1'616'893'200 * kUs - 1, 1'616'893'200 * kUs,           // CET spring forward
        1'635'642'000 * kUs - 1, 1'635'642'000 * kUs + 3'600 * kUs - 1, // CET's doubled hour
        -62'135'596'800 * kUs,                                  // 0001-01-01
        253'402'300'799 * kUs + 999'999,                        // 9999-12-31 23:59:59.999999
    };
    constexpr int64_t kSpan = int64_t{300} * 31'556'952 * kUs;
    uint64_t x = 0x9E3779B97F4A7C15u;
    for (int i = 0; i < 1500; ++i) {
        x = x * 6364136223846793005u + 1442695040888963407u;
        v.push_back(static_cast<int64_t>(x % (2 * kSpan)) - kSpan);
    }
    return v;
}

struct Parts {
    time_t seconds;
    int32_t micros;
};
Parts parts(int64_t value) {
    const int64_t micros = ((value % kUs) + kUs) % kUs;
    return {static_cast<time_t>((value - micros) / kUs), static_cast<int32_t>(micros)};
}

void expect_same_fields(const tm &got, const tm &want, int64_t value) {
    EXPECT_TRUE(got.tm_year == want.tm_year && got.tm_mon == want.tm_mon &&
                got.tm_mday == want.tm_mday && got.tm_hour == want.tm_hour &&
                got.tm_min == want.tm_min && got.tm_sec == want.tm_sec &&
                got.tm_wday == want.tm_wday && got.tm_yday == want.tm_yday &&
                got.tm_isdst == want.tm_isdst && got.tm_gmtoff == want.tm_gmtoff)
        << "time value " << value;
}

// glibc's text with ":uuuuuu" behind the seconds, or "" where glibc has none.
std::string expected_ctime(time_t seconds, int32_t micros) {
    char text[26];
    if (ctime_r(&seconds, text) == nullptr)
        return "";
    char digits[8];
    std::snprintf(digits, sizeof digits, ":%06d", micros);
    return std::string(text, 19) + digits + (text + 19);
}

TEST(Calendar, AgreesWithTheCLibraryInEveryZone) {
    const std::vector<int64_t> values = instants();
    for (const char *zone : kZones) {
        ZoneScope scope(zone);
        SCOPED_TRACE(zone);
        for (const int64_t value : values) {
            const Parts p = parts(value);
            tm want;
            NuTm got{};
            ASSERT_EQ(NuGmtime(&value, &got, nullptr), &got);
            expect_same_fields(got.tm, *gmtime_r(&p.seconds, &want), value);
            EXPECT_EQ(got.tm_usec, p.micros);
            EXPECT_EQ(NuMkgmtime(&got, nullptr), value);

            ASSERT_EQ(NuLocaltime(&value, &got, nullptr), &got);
            expect_same_fields(got.tm, *localtime_r(&p.seconds, &want), value);
            EXPECT_EQ(got.tm_usec, p.micros);
            EXPECT_EQ(NuMklocaltime(&got, nullptr), value);

            char text[NU_CTIME_BUFSIZE];
            const char *made = NuCtime(&value, text, nullptr);
            EXPECT_EQ(made != nullptr ? std::string(made) : "", expected_ctime(p.seconds, p.micros))
                << "time value " << value;
        }
    }
}

// The text and its NUL take 33 bytes; the agreement above covers the rest.
TEST(Calendar, CtimeExactText) {
    ZoneScope scope("UTC0");
    const int64_t value = 4'102'444'800 * kUs + 123'456;
    char text[NU_CTIME_BUFSIZE + 1];
    text[NU_CTIME_BUFSIZE] = '#';
    EXPECT_STREQ(NuCtime(&value, text, nullptr), "Fri Jan  1 00:00:00:123456 2100\n");
    EXPECT_EQ(text[NU_CTIME_BUFSIZE], '#');
}

// Without a buffer the results go to storage of the thread's own, kept from
// call to call; without a time value they are now.
TEST(Calendar, OwnStorageIsPerThreadAndNullTimeIsNow) {
    const int64_t value = 0;
    using Seen = std::tuple<char *, NuTm *, NuTm *>;
    auto take = [&] {
        return Seen{NuCtime(&value, nullptr, nullptr), NuGmtime(&value, nullptr, nullptr),
                    NuLocaltime(&value, nullptr, nullptr)};
    };
    const Seen first = take(), again = take();
    EXPECT_EQ(first, again);
    EXPECT_NE(std::get<1>(first), std::get<2>(first));
    Seen other{};
    std::thread([&] { other = take(); }).join();
    EXPECT_TRUE(std::get<0>(other) != std::get<0>(first) &&
                std::get<1>(other) != std::get<1>(first) && std::get<2>(other) != std::get<2>(first));

    timespec before, after;
    clock_gettime(CLOCK_REALTIME, &before);
    NuTm *utc = NuGmtime(nullptr, nullptr, nullptr);
    const char *text = NuCtime(nullptr, nullptr, nullptr);
    clock_gettime(CLOCK_REALTIME, &after);
    ASSERT_TRUE(utc != nullptr && text != nullptr);
    const int64_t now = NuMkgmtime(utc, nullptr), slack = 50'000;  // the clock runs from an anchor
    EXPECT_GE(now, before.tv_sec * kUs + before.tv_nsec / 1000 - slack);
    EXPECT_LE(now, after.tv_sec * kUs + after.tv_nsec / 1000 + slack);
    EXPECT_EQ(std::string(text).size(), 32u);
}

TEST(Calendar, ComposingNormalisesAndKeepsTheLastSecondOf1969) {
    ZoneScope scope("UTC0");
    auto civil = [](int64_t usec, int year, int mon, int mday, int hour, int min, int sec) {
        NuTm t{};
        t.tm_usec = int32_t(usec);
        t.tm.tm_year = year, t.tm.tm_mon = mon, t.tm.tm_mday = mday;
        t.tm.tm_hour = hour, t.tm.tm_min = min, t.tm.tm_sec = sec;
        return t;
    };
    for (auto compose : {NuMkgmtime, NuMklocaltime}) {
        // timegm and mktime answer -1 for it too, and it is no failure.
        NuTm last = civil(250'000, 69, 11, 31, 23, 59, 59);
        VeskErr err{};
        EXPECT_EQ(compose(&last, &err), -750'000);
        EXPECT_EQ(err.status, 0);
        // 1999-13-00 00:00:61, normalised in place; microseconds added as given.
        NuTm loose = civil(1'500'000, 99, 12, 0, 0, 0, 61);
        EXPECT_EQ(compose(&loose, nullptr), (946'684'800 - 86'400 + 61) * kUs + 1'500'000);
        EXPECT_TRUE(loose.tm.tm_mon == 11 && loose.tm.tm_mday == 31);
    }
}

}  // namespace
