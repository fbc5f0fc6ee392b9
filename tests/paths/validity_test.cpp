// SPDX-License-Identifier: MIT
// Valid paths and their repair in both flavours.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "nu.h"
#include "paths/path_calls.hpp"

namespace {

using vesk_test::call;

TEST(PathValidity, PosixRefusesOnlyTheEmptyPath) {
    EXPECT_EQ(NuPosixIsValidPath(nullptr) + NuPosixIsValidPath("") + NuPosixIsValidPath("con:*?"), 1);
    EXPECT_EQ(call(NuPosixMakeValidPath, nullptr) + call(NuPosixMakeValidPath, "//a/con"), "_//a/con");
}

TEST(PathValidity, WindowsValidityAndRepair) {
    const struct {
        const char *path;
        int valid;
        const char *repaired;  // null: a valid path is kept as it is
    } cases[] = {
        {R"(\\)", 0, R"(\\drive)"}, {R"(\\\x)", 0, R"(\\drive)"}, {R"(\\?\C:)", 0, R"(\\?\C:\)"},
        {R"(\\?\C:a*)", 0, R"(\\?\C:\a_)"}, {R"(\\?\UNC\srv)", 0, R"(\\?\UNC\srv\)"},
        {R"(\\?\C:\a)", 1, nullptr}, {R"(\\srv\x)", 1, nullptr}, {R"(\\a*b\x)", 1, nullptr},
        {"a*b", 0, "a_b"}, {R"(x\:*?><|"y)", 0, R"(x\_______y)"}, {"con", 0, "con_"},
        {"CON.txt", 0, "CON_.txt"}, {"com1.a.b", 0, "com1_.a.b"}, {R"(c:\nul)", 0, R"(c:\nul_)"},
        {R"(a\con\b)", 0, R"(a\con_\b)"}, {R"(a\Clock$\\b)", 0, R"(a\Clock$_\\b)"},
        {R"(\lpt9.)", 0, R"(\lpt9_.)"}, {"coni", 1, nullptr}, {"com10", 1, nullptr},
        {".con", 1, nullptr}, {"a:b", 1, nullptr}, {"a:b:c", 0, "a:b_c"}, {"", 0, "_"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(NuWinIsValidPath(c.path), c.valid) << c.path;
        const std::string repaired = call(NuWinMakeValidPath, c.path);
        EXPECT_EQ(repaired, c.repaired != nullptr ? c.repaired : c.path) << c.path;
        EXPECT_EQ(NuWinIsValidPath(repaired.c_str()), 1) << c.path << " -> " << repaired;
    }
}

TEST(PathValidity, RepairedWindowsPathsAreValid) {
    const char *const pieces[] = {"\\", "/", "?", "C:", "a", "con", "Lpt1", ".x", "UNC", ":", "*",
                                  "\"", "."};
    std::mt19937 rng(41);
    vesk_test::Out o;
    for (int i = 0; i < 20000; ++i) {
        std::string p;
        for (int n = static_cast<int>(rng() % 9); n > 0; --n)
            p += pieces[rng() % 13];
        NuWinMakeValidPath(&o.s, p.c_str());
        ASSERT_EQ(NuWinIsValidPath(o.s), 1) << p << " -> " << o.text();
        if (NuWinIsValidPath(p.c_str())) {
            ASSERT_EQ(o.text(), p);
        }
        NuWinMakeValidPath(&o.s, o.s);  // its own input
        ASSERT_EQ(NuWinIsValidPath(o.s), 1) << p;
    }
}

}  // namespace
