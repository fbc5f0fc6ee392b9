// SPDX-License-Identifier: MIT
// The stock error table as data: its shape, and every format of every code
// formatted through VeskMkerr with arguments of the kinds the format asks for
// (the sanitizers watch the formatting).
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#include "services/error_table.hpp"
#include "vesk.h"

namespace {

using vesk::svc::kStockErrorRows;
using vesk::svc::stock_error_table;

TEST(StockErrorTable, GroupsAreWholeAndEveryCodeStandsOnce) {
    std::set<uint32_t> codes;
    uint32_t rows = 0;
    while (stock_error_table[rows].code != VESK_ERR_TABLE_END) {
        const VeskErrEntry &head = stock_error_table[rows];
        SCOPED_TRACE(head.code);
        ASSERT_GT(head.count, 0u) << "a group starts with its head row";
        EXPECT_TRUE(codes.insert(head.code).second) << "code twice";
        for (uint32_t i = 1; i < head.count; ++i) {
            const VeskErrEntry &row = stock_error_table[rows + i];
            EXPECT_EQ(row.code, head.code);
            EXPECT_EQ(row.unixerr, head.unixerr);
            EXPECT_EQ(row.count, 0u);
        }
        rows += head.count;
    }
    EXPECT_EQ(rows, kStockErrorRows);
    EXPECT_EQ(codes.size(), 131u);
}

// The conversions of a format, in order: 's', 'd' or 'c'.
std::string kinds_of(const char *format) {
    std::string kinds;
    for (const char *p = format; *p != '\0'; ++p) {
        if (*p != '%')
            continue;
        ++p;
        if (*p == '%')
            continue;
        EXPECT_TRUE(*p == 's' || *p == 'd' || *p == 'c') << format;
        kinds += *p;
    }
    return kinds;
}

// Calls VeskMkerr with arguments of `kinds`, then the expected text the same
// arguments give through snprintf of `format`.
template <class... Args>
void report_with(VeskErr &err, const VeskErrEntry &head, uint32_t variant, const char *format,
                 const std::string &kinds, std::string &expected, Args... args) {
    if constexpr (sizeof...(Args) < 4) {
        if (sizeof...(Args) < kinds.size()) {
            switch (kinds[sizeof...(Args)]) {
            case 's':
                return report_with(err, head, variant, format, kinds, expected, args...,
                                   "<text>");
            case 'c':
                return report_with(err, head, variant, format, kinds, expected, args..., 'x');
            default:
                return report_with(err, head, variant, format, kinds, expected, args..., -42);
            }
        }
    }
    ASSERT_EQ(sizeof...(Args), kinds.size()) << format;
    EXPECT_EQ(VeskMkerr(nullptr, &err, 0, 0, 0, 7, static_cast<int32_t>(head.code), 0, variant,
                        args...),
              0);
    char buf[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::snprintf(buf, sizeof buf, format, args...);
#pragma GCC diagnostic pop
    expected = buf;
}

TEST(StockErrorTable, EveryVariantOfEveryCodeFormats) {
    char msg[512];
    for (uint32_t r = 0; r < kStockErrorRows;) {
        const VeskErrEntry &head = stock_error_table[r];
        for (uint32_t v = 0; v < head.count; ++v) {
            const char *format = stock_error_table[r + v].format;
            SCOPED_TRACE(std::to_string(head.code) + " variant " + std::to_string(v));
            VeskErr err{};
            err.msg = msg;
            err.msgsize = sizeof msg;
            std::string expected;
            report_with(err, head, v, format, kinds_of(format), expected);
            EXPECT_EQ(std::string(msg), expected);
            EXPECT_FALSE(expected.empty());
        }
        r += head.count;
    }
}

}  // namespace
