// Every refusal of the time and sleep functions, with its exact report.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <string>

#include "nu.h"
#include "support/capture_service.hpp"

namespace {

NuTm far_year() { // seconds that fit, microseconds that don't
    NuTm t{};
    t.tm.tm_year = 400'000 - 1900;
    t.tm.tm_mday = 1;
    return t;
}
NuTm beyond_int_year() { // a year the C library can't hold
    NuTm t{};
    t.tm.tm_year = INT_MAX;
    t.tm.tm_mon = 12;
    return t;
}

TEST(TimeReports, EveryRefusal) {
    const NuW32SystemTime feb29_2100{2100, 2, 0, 29, 0, 0, 0, 0};
    const timeval before_1601{-11644473601, 999'999};
    const int64_t year_10000 = 253'402'300'800'000'000;
    NuTm far = far_year(), beyond = beyond_int_year();
    timeval tv;
    const struct {
        const char *message; // what the test service writes: facility/code/variant: name
        int32_t syserr;
        int errnum; // errno afterwards, 0 where the C library's own stays
        std::function<bool(VeskErr *)> refused;
    } cases[] = {
        {"107/258/2: NuGettimeofday", EFAULT, EFAULT,
         [](VeskErr *e) { return NuGettimeofday(nullptr, e) == -1; }},
        {"0/258/2: NuMkgmtime", 0, 0, [](VeskErr *e) { return NuMkgmtime(nullptr, e) == -1; }},
        {"0/258/2: NuMklocaltime", 0, 0,
         [](VeskErr *e) { return NuMklocaltime(nullptr, e) == -1; }},
        {"0/32769/1", 0, EOVERFLOW, [&](VeskErr *e) { return NuMkgmtime(&far, e) == -1; }},
        {"0/32769/1", 0, EOVERFLOW, [&](VeskErr *e) { return NuMklocaltime(&far, e) == -1; }},
        {"0/32769/1", 0, EOVERFLOW, [&](VeskErr *e) { return NuMkgmtime(&beyond, e) == -1; }},
        {"0/32769/1", 0, EOVERFLOW, [&](VeskErr *e) { return NuMklocaltime(&beyond, e) == -1; }},
        {"0/32769/1", 0, EOVERFLOW,
         [&](VeskErr *e) { return NuCtime(&year_10000, nullptr, e) == nullptr; }},
        {"107/259/2: NuTimevalFromW32SytemTime", EINVAL, EINVAL,
         [&](VeskErr *e) { return NuTimevalFromW32SytemTime(&tv, &feb29_2100, e) == -1; }},
        {"107/259/2: NuTimevalFromW32SytemTime", EINVAL, EINVAL,
         [&](VeskErr *e) { return NuTimevalFromW32SytemTime(&tv, nullptr, e) == -1; }},
        {"107/259/2: NuTimevalToW32SytemTime", EINVAL, EINVAL, [&](VeskErr *e) {
             NuW32SystemTime st;
             return NuTimevalToW32SytemTime(&before_1601, &st, e) == -1;
         }},
        {"204/259/2: NuSleep", EINVAL, EINVAL, [](VeskErr *e) { return NuSleep(4294968, e) == -1; }},
        {"204/259/2: NuMsleep", EINVAL, EINVAL,
         [](VeskErr *e) { return NuMsleep(0x100000000, e) == -1; }},
        {"204/259/2: NuUsleep", EINVAL, EINVAL, [](VeskErr *e) { return NuUsleep(-1, e) == -1; }},
        {"204/259/2: NuUsleep", EINVAL, EINVAL,
         [](VeskErr *e) { return NuUsleep(4294967296000, e) == -1; }},
        {"107/258/2: NuNanosleep", EFAULT, EFAULT,
         [](VeskErr *e) { return NuNanosleep(nullptr, nullptr, e) == -1; }},
    };
    vesk_test::CaptureService svc;
    vesk_test::DefaultService installed(svc);
    for (const auto &c : cases) {
        // Variant 1 carries a number, which the test service can't print:
        // those records go without a buffer and get the fields only.
        const bool named = std::string(c.message).find(':') != std::string::npos;
        vesk_test::Report r;
        VeskErr *err = &r.err;
        if (!named)
            err->msg = nullptr;
        errno = 0;
        EXPECT_TRUE(c.refused(err)) << c.message;
        if (named) {
            EXPECT_STREQ(r.buf, c.message);
        } else {
            EXPECT_EQ(r.err.status, 32769) << c.message;
        }
        EXPECT_EQ(r.err.syserr, c.syserr) << c.message;
        EXPECT_EQ(r.err.variant, named ? 2u : 1u) << c.message;
        if (c.errnum != 0) {
            EXPECT_EQ(errno, c.errnum) << c.message;
        }
    }
}

}  // namespace
