// SPDX-License-Identifier: MIT
// Shared by the lock tests: status records that show exactly what a report
// wrote, and names unique to this run for named objects.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "support/status.hpp"
#include "vesk.h"

namespace vesk_test {

using vesk_test::Status;

inline void expect_report(const Status &s, int32_t facility, int32_t code, uint32_t variant,
                          const std::string &text) {
    EXPECT_EQ(s.err.status, (int64_t{facility} << 16) | code);
    EXPECT_EQ(s.err.variant, variant);
    EXPECT_EQ(std::string(s.buf), text);
}

inline std::string unique_name(const char *what) {
    return std::string("vesk-test-") + what + "-" + std::to_string(getpid());
}

}  // namespace vesk_test
