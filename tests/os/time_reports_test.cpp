// SPDX-License-Identifier: MIT
// Every refusal of the time and sleep functions, with its exact report.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <string>

#include "nu.h"
#include "support/status.hpp"

namespace {

#define FAULT_TAIL ": the argument points outside an allocated address space of the process."
#define INVALID_TAIL ": invalid argument."
const std::string kOverflow = std::to_string(EOVERFLOW) + ": runtime error.";

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
        std::string message;  // the sentence of the stock error service
        int32_t syserr;
        int errnum; // errno afterwards, 0 where the C library's own stays
        std::function<bool(VeskErr *)> refused;
    } cases[] = {
        {"NuGettimeofday(@buffer)" FAULT_TAIL, EFAULT, EFAULT,
         [](VeskErr *e) { return NuGettimeofday(nullptr, e) == -1; }},
        {"NuMkgmtime(@time)" FAULT_TAIL, 0, 0, [](VeskErr *e) { return NuMkgmtime(nullptr, e) == -1; }},
        {"NuMklocaltime(@time)" FAULT_TAIL, 0, 0,
         [](VeskErr *e) { return NuMklocaltime(nullptr, e) == -1; }},
        {kOverflow, 0, EOVERFLOW, [&](VeskErr *e) { return NuMkgmtime(&far, e) == -1; }},
        {kOverflow, 0, EOVERFLOW, [&](VeskErr *e) { return NuMklocaltime(&far, e) == -1; }},
        {kOverflow, 0, EOVERFLOW, [&](VeskErr *e) { return NuMkgmtime(&beyond, e) == -1; }},
        {kOverflow, 0, EOVERFLOW, [&](VeskErr *e) { return NuMklocaltime(&beyond, e) == -1; }},
        {kOverflow, 0, EOVERFLOW,
         [&](VeskErr *e) { return NuCtime(&year_10000, nullptr, e) == nullptr; }},
        {"NuTimevalFromW32SytemTime(@systemtime)" INVALID_TAIL, EINVAL, EINVAL,
         [&](VeskErr *e) { return NuTimevalFromW32SytemTime(&tv, &feb29_2100, e) == -1; }},
        {"NuTimevalFromW32SytemTime(@systemtime)" INVALID_TAIL, EINVAL, EINVAL,
         [&](VeskErr *e) { return NuTimevalFromW32SytemTime(&tv, nullptr, e) == -1; }},
        {"NuTimevalToW32SytemTime(@timeval)" INVALID_TAIL, EINVAL, EINVAL, [&](VeskErr *e) {
             NuW32SystemTime st;
             return NuTimevalToW32SytemTime(&before_1601, &st, e) == -1;
         }},
        {"NuSleep(@request)" INVALID_TAIL, EINVAL, EINVAL, [](VeskErr *e) { return NuSleep(4294968, e) == -1; }},
        {"NuMsleep(@request)" INVALID_TAIL, EINVAL, EINVAL,
         [](VeskErr *e) { return NuMsleep(0x100000000, e) == -1; }},
        {"NuUsleep(@request)" INVALID_TAIL, EINVAL, EINVAL, [](VeskErr *e) { return NuUsleep(-1, e) == -1; }},
        {"NuUsleep(@request)" INVALID_TAIL, EINVAL, EINVAL,
         [](VeskErr *e) { return NuUsleep(4294967296000, e) == -1; }},
        {"NuNanosleep(@request-duration)" FAULT_TAIL, EFAULT, EFAULT,
         [](VeskErr *e) { return NuNanosleep(nullptr, nullptr, e) == -1; }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.message);
        vesk_test::Status r;
        errno = 0;
        EXPECT_TRUE(c.refused(&r.err));
        EXPECT_EQ(r.buf, c.message);
        EXPECT_EQ(r.err.syserr, c.syserr);
        EXPECT_EQ(c.errnum != 0 ? errno : 0, c.errnum);
    }
}

}  // namespace
