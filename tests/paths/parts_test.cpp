// SPDX-License-Identifier: MIT
// Taking paths apart and putting them together, in both flavours.
#include <gtest/gtest.h>

#include "nu.h"
#include "paths/path_calls.hpp"

namespace {

using vesk_test::call;
using vesk_test::kNull;
using vesk_test::split;

TEST(PathParts, Splits) {
    const std::string null = kNull;
    const struct {
        vesk_test::Split f;
        const char *path;
        std::string expected;  // "first|second"
    } cases[] = {
        {NuPosixSplitDrive, "/usr", "/|usr"}, {NuPosixSplitDrive, "///usr", "///|usr"},
        {NuPosixSplitDrive, "usr", "|usr"}, {NuPosixSplitDrive, "", "|"},
        {NuPosixSplitDrive, nullptr, null + "|" + null},
        {NuWinSplitDrive, "c:", "c:|"}, {NuWinSplitDrive, "c:/a", "c:/|a"},
        {NuWinSplitDrive, R"(D:\\a)", R"(D:\\|a)"}, {NuWinSplitDrive, "c:a", "c:|a"},
        {NuWinSplitDrive, R"(\a)", null + R"(|\a)"}, {NuWinSplitDrive, "1:a", null + "|1:a"},
        {NuWinSplitDrive, R"(\\srv\share\x)", R"(\\srv\|share\x)"},
        {NuWinSplitDrive, "//srv//share", "//srv//|share"},
        {NuWinSplitDrive, R"(\\?\C:\a)", R"(\\?\C:\|a)"}, {NuWinSplitDrive, R"(\\?\C:)", R"(\\?\C:|)"},
        {NuWinSplitDrive, R"(\\?\UNC\srv\sh\x)", R"(\\?\UNC\srv\|sh\x)"},
        {NuWinSplitDrive, R"(//?/unc/srv)", R"(//?/unc/srv|)"}, {NuWinSplitDrive, R"(\\?\x)", R"(\\?\|x)"},
        {NuWinSplitDrive, R"(\\?\UNCx\y)", R"(\\?\|UNCx\y)"}, {NuWinSplitDrive, R"(\\)", R"(\\|)"},
        {NuWinSplitDrive, "", null + "|"},
        {NuPosixSplitFileName, "a/b.c", "a/|b.c"}, {NuPosixSplitFileName, "a", "./|a"},
        {NuPosixSplitFileName, "", "./|"}, {NuPosixSplitFileName, "/", "/|"},
        {NuPosixSplitFileName, "a/", "a/|"}, {NuPosixSplitFileName, nullptr, "./|"},
        {NuWinSplitFileName, R"(C:\x\y)", R"(C:\x\|y)"}, {NuWinSplitFileName, "C:y", "C:|y"},
        {NuPosixSplitExtension, "a/b.c.d", "a/b.c|.d"}, {NuPosixSplitExtension, "a.b/c", "a.b/c|" + null},
        {NuPosixSplitExtension, "a.", "a|."}, {NuPosixSplitExtension, ".x", "|.x"},
        {NuPosixSplitExtension, "/.profile", "/|.profile"},
        {NuWinSplitExtension, R"(x.y\z)", R"(x.y\z|)" + null},
        {NuPosixSplitExtensions, "a/b.c.d", "a/b|.c.d"}, {NuPosixSplitExtensions, "a.b/c", "a.b/c|"},
        {NuPosixSplitExtensions, ".x.y", "|.x.y"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(split(c.f, c.path), c.expected) << (c.path ? c.path : "null");
}

TEST(PathParts, Predicates) {
    const struct {
        int32_t (*f)(const char *);
        const char *path;
        int32_t expected;
    } cases[] = {
        {NuPosixIsDrive, "//", 1}, {NuPosixIsDrive, "", 0}, {NuPosixIsAbsolutePath, "/a", 1},
        {NuPosixIsRelativePath, "a/", 1}, {NuWinIsRelativePath, "C:a", 1}, {NuWinIsAbsolutePath, "C:a", 0},
        {NuWinIsRelativePath, R"(C:\a)", 0}, {NuWinIsAbsolutePath, R"(C:\a)", 1},
        {NuWinIsRelativePath, R"(\a)", 1}, {NuWinIsAbsolutePath, R"(\\srv\x)", 1},
        {NuWinIsAbsolutePath, R"(\\?\C:)", 1}, {NuWinIsRelativePath, "", 1}, {NuWinHasDrive, "C:a", 1},
        {NuPosixHasExtension, "a.b/c", 0}, {NuWinHasExtension, R"(a\b.)", 1},
        {NuPosixHasTrailingPathSep, "", 0}, {NuWinHasTrailingPathSep, "a/", 1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.f(c.path), c.expected) << c.path;
    // Separators are bytes: a value past 255 is none, whatever its low byte.
    EXPECT_EQ(NuPosixIsPathSep('/') + NuWinIsPathSep('\\') + NuWinIsPathSep('/'), 3);
    EXPECT_EQ(NuPosixIsPathSep('\\') + NuWinIsPathSep('/' + 256) + NuWinIsSearchPathSep(':'), 0);
    EXPECT_EQ(NuPosixIsSearchPathSep(':') + NuWinIsSearchPathSep(';') + NuWinIsExtSep('.'), 3);
}

TEST(PathParts, UnaryResults) {
    const struct {
        const char *path, *posix_dir, *win_dir, *posix_add, *posix_drop, *win_drop;
    } cases[] = {
        {"a", ".", ".", "a/", "a", "a"}, {"/", "/", "/", "/", "/", "/"}, {"", ".", ".", "/", "", ""},
        {"a/b/", "a/b", "a/b", "a/b/", "a/b", "a/b"}, {"a/b//", "a/b", "a/b", "a/b//", "a/b", "a/b"},
        {"a//b//c", "a//b", "a//b", "a//b//c/", "a//b//c", "a//b//c"},
        {"///", "///", "///", "///", "///", "///"}, {R"(a\\)", ".", "a", R"(a\\/)", R"(a\\)", "a"},
        {R"(C:\a)", ".", R"(C:\)", R"(C:\a/)", R"(C:\a)", R"(C:\a)"},
        {R"(C:\\)", ".", R"(C:\\)", R"(C:\\/)", R"(C:\\)", R"(C:\\)"},
        {R"(\\srv\)", ".", R"(\\srv\)", R"(\\srv\/)", R"(\\srv\)", R"(\\srv\)"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(call(NuPosixTakeDirectory, c.path), c.posix_dir) << c.path;
        EXPECT_EQ(call(NuWinTakeDirectory, c.path), c.win_dir) << c.path;
        EXPECT_EQ(call(NuPosixAddTrailingPathSep, c.path), c.posix_add) << c.path;
        EXPECT_EQ(call(NuPosixDropTrailingPathSep, c.path), c.posix_drop) << c.path;
        EXPECT_EQ(call(NuWinDropTrailingPathSep, c.path), c.win_drop) << c.path;
    }
    EXPECT_EQ(call(NuWinAddTrailingPathSep, ""), "\\");
    EXPECT_EQ(call(NuPosixTakeBaseName, "a/b.c.d"), "b.c");
    EXPECT_EQ(call(NuWinTakeBaseName, R"(C:\x\.rc)"), "");
}

TEST(PathParts, AddReplaceJoinAndCombine) {
    const struct {
        vesk_test::Binary f;
        const char *a, *b, *expected;
    } cases[] = {
        {NuPosixAddExtension, "a", "b", "a.b"}, {NuPosixAddExtension, "a", ".b", "a.b"},
        {NuPosixAddExtension, "a", "", "a"}, {NuPosixAddExtension, "/", "b", "/.b"},
        {NuWinAddExtension, "C:", "b", "C:.b"}, {NuWinAddExtension, R"(\\?\C:a)", "b", R"(\\?\C:\a.b)"},
        {NuPosixReplaceExtension, "d/a.b.c", "x", "d/a.b.x"},
        {NuPosixReplaceExtension, "d.e/a", ".x", "d.e/a.x"},
        {NuPosixReplaceBaseName, "a/b.c", "d", "a/d.c"}, {NuWinReplaceBaseName, R"(a\b)", "d", R"(a\d)"},
        {NuPosixReplaceDirectory, "a/b", "x", "x/b"}, {NuWinReplaceDirectory, "a/b", "x", R"(x\b)"},
        {NuWinReplaceDirectory, "a/b", "C:", "C:b"}, {NuPosixReplaceFileName, "a/b", "c", "a/c"},
        {NuPosixReplaceFileName, "b", "c", "c"}, {NuPosixReplaceFileName, "a/b", "/c", "/c"},
        {NuPosixJoinDrive, "/", "a", "/a"}, {NuPosixJoinDrive, "", "a", "a"},
        {NuPosixJoinDrive, "x", nullptr, "x"}, {NuPosixJoinDrive, "x", "a", "x/a"},
        {NuWinJoinDrive, "C:", "a", "C:a"}, {NuWinJoinDrive, "C:x", "a", R"(C:x\a)"},
        {NuPosixCombinePaths, "a", "b", "a/b"}, {NuPosixCombinePaths, "a", "/b", "/b"},
        {NuWinCombinePaths, "a", "c:b", "c:b"}, {NuWinCombinePaths, "a", "/b", "/b"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(call(c.f, c.a, c.b), c.expected) << c.a << " + " << (c.b ? c.b : "null");
}

TEST(PathParts, JoinPathFoldsFromTheRight) {
    const char *const abs[] = {"a", "/b", "c"}, *const plain[] = {"a/", "", "b", nullptr, "c"},
                      *const drive[] = {"x", "C:", "y"};
    vesk_test::Out o;
    NuPosixJoinPath(&o.s, abs, 3);
    EXPECT_EQ(o.text(), "/b/c");
    NuPosixJoinPath(&o.s, plain, 5);
    EXPECT_EQ(o.text(), "a/b/c");
    NuWinJoinPath(&o.s, drive, 3);
    EXPECT_EQ(o.text(), "C:y");
    NuPosixJoinPath(&o.s, abs, 0);
    EXPECT_EQ(o.text(), kNull);
}

// The output variable's own text as the input, before and after a block of
// another size takes its place.
TEST(PathParts, OutputMayBeItsOwnInput) {
    vesk_test::Out o("dir/name.tar.gz");
    NuPosixTakeExtensions(&o.s, o.s);
    EXPECT_EQ(o.text(), ".tar.gz");
    NuSTRcpy(&o.s, "dir/name.tar.gz");
    NuPosixReplaceExtension(&o.s, o.s, o.s + 8);
    EXPECT_EQ(o.text(), "dir/name.tar.tar.gz");
    NuPosixCombinePaths(&o.s, o.s, o.s + 4);
    EXPECT_EQ(o.text(), "dir/name.tar.tar.gz/name.tar.tar.gz");
    vesk_test::Out rest;
    NuSTRcpy(&o.s, R"(\\srv\share\x)");
    NuWinSplitDrive(&o.s, &rest.s, o.s);
    EXPECT_EQ(o.text() + "|" + rest.text(), R"(\\srv\|share\x)");
    NuPosixSplitFileName(&rest.s, &rest.s, "a/b");  // one variable for both: the second wins
    EXPECT_EQ(rest.text(), "b");
    const char *items[] = {o.s, "x"};
    NuWinJoinPath(&o.s, items, 2);
    EXPECT_EQ(o.text(), R"(\\srv\x)");
}

}  // namespace
