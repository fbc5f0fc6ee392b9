// SPDX-License-Identifier: MIT
// Taking paths apart and putting them together, in both flavours.
#include <gtest/gtest.h>

#include "nu.h"
#include "paths/path_calls.hpp"

namespace {

using vesk_test::call;
using vesk_test::kNull;
using vesk_test::split;

struct SplitCase {
    const char *path;
    std::string expected;  // "first|second"
};

TEST(PathParts, PosixDrivesAreRunsOfSlashes) {
    const SplitCase cases[] = {{"/usr", "/|usr"}, {"///usr", "///|usr"}, {"usr", "|usr"},
                               {"", "|"},         {"/", "/|"},
                               {nullptr, kNull + "|" + kNull}};
    for (const auto &c : cases)
        EXPECT_EQ(split(NuPosixSplitDrive, c.path), c.expected) << (c.path ? c.path : "null");
    EXPECT_EQ(NuPosixIsDrive("//"), 1);
    EXPECT_EQ(NuPosixIsDrive(""), 0);
    EXPECT_EQ(NuPosixIsAbsolutePath("/a"), 1);
    EXPECT_EQ(NuPosixIsRelativePath("a/"), 1);
}

TEST(PathParts, WindowsDrivesOfEveryKind) {
    const SplitCase cases[] = {
        {"c:", "c:|"}, {"c:/a", "c:/|a"}, {R"(D:\\a)", R"(D:\\|a)"}, {"c:a", "c:|a"},
        {R"(\a)", kNull + R"(|\a)"}, {"1:a", kNull + "|1:a"},
        {R"(\\srv\share\x)", R"(\\srv\|share\x)"}, {"//srv//share", "//srv//|share"},
        {R"(\\?\C:\a)", R"(\\?\C:\|a)"}, {R"(\\?\C:)", R"(\\?\C:|)"},
        {R"(\\?\UNC\srv\sh\x)", R"(\\?\UNC\srv\|sh\x)"}, {R"(//?/unc/srv)", R"(//?/unc/srv|)"},
        {R"(\\?\x)", R"(\\?\|x)"}, {R"(\\?\UNCx\y)", R"(\\?\|UNCx\y)"}, {R"(\\)", R"(\\|)"},
        {"", kNull + "|"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(split(NuWinSplitDrive, c.path), c.expected) << c.path;
}

TEST(PathParts, WindowsRelativeAndAbsolute) {
    const struct {
        const char *path;
        int relative;
    } cases[] = {{"C:a", 1}, {R"(C:\a)", 0}, {R"(\a)", 1}, {R"(\\srv\x)", 0},
                 {R"(\\?\C:)", 0}, {"a", 1}, {"", 1}};
    for (const auto &c : cases) {
        EXPECT_EQ(NuWinIsRelativePath(c.path), c.relative) << c.path;
        EXPECT_EQ(NuWinIsAbsolutePath(c.path), 1 - c.relative) << c.path;
    }
    EXPECT_EQ(NuWinHasDrive("C:a"), 1);
}

TEST(PathParts, FileNamesAndDirectories) {
    const SplitCase names[] = {{"a/b.c", "a/|b.c"}, {"a", "./|a"}, {"", "./|"},
                               {"/", "/|"},         {"a/", "a/|"},  {nullptr, "./|"}};
    for (const auto &c : names)
        EXPECT_EQ(split(NuPosixSplitFileName, c.path), c.expected);
    EXPECT_EQ(split(NuWinSplitFileName, "a"), "./|a");
    EXPECT_EQ(split(NuWinSplitFileName, R"(C:\x\y)"), R"(C:\x\|y)");
    EXPECT_EQ(split(NuWinSplitFileName, "C:y"), "C:|y");

    const struct {
        const char *path, *posix, *win;
    } directories[] = {{"a", ".", "."},           {"/", "/", "/"},
                       {"a/b/", "a/b", "a/b"},     {"a//b//c", "a//b", "a//b"},
                       {R"(C:\a)", ".", R"(C:\)"}, {"///", "///", "///"}};
    for (const auto &c : directories) {
        EXPECT_EQ(call(NuPosixTakeDirectory, c.path), c.posix) << c.path;
        EXPECT_EQ(call(NuWinTakeDirectory, c.path), c.win) << c.path;
    }
}

TEST(PathParts, Extensions) {
    const SplitCase last[] = {{"a/b.c.d", "a/b.c|.d"}, {"a.b/c", "a.b/c|" + kNull},
                              {"a.", "a|."},           {".x", "|.x"},
                              {"/.profile", "/|.profile"}};
    for (const auto &c : last)
        EXPECT_EQ(split(NuPosixSplitExtension, c.path), c.expected) << c.path;
    const SplitCase all[] = {{"a/b.c.d", "a/b|.c.d"}, {"a.b/c", "a.b/c|"}, {".x.y", "|.x.y"}};
    for (const auto &c : all)
        EXPECT_EQ(split(NuPosixSplitExtensions, c.path), c.expected) << c.path;
    EXPECT_EQ(split(NuWinSplitExtension, R"(x.y\z)"), R"(x.y\z|)" + kNull);
    EXPECT_EQ(NuPosixHasExtension("a.b/c"), 0);
    EXPECT_EQ(NuWinHasExtension(R"(a\b.)"), 1);
}

struct BinaryCase {
    const char *name;
    vesk_test::Binary f;
    const char *a, *b, *expected;
};

TEST(PathParts, AddReplaceJoinAndCombine) {
    const BinaryCase cases[] = {
        {"add", NuPosixAddExtension, "a", "b", "a.b"},
        {"add dotted", NuPosixAddExtension, "a", ".b", "a.b"},
        {"add empty", NuPosixAddExtension, "a", "", "a"},
        {"add to root", NuPosixAddExtension, "/", "b", "/.b"},
        {"add to letter drive", NuWinAddExtension, "C:", "b", "C:.b"},
        {"add behind open prefix", NuWinAddExtension, R"(\\?\C:a)", "b", R"(\\?\C:\a.b)"},
        {"replace ext", NuPosixReplaceExtension, "d/a.b.c", "x", "d/a.b.x"},
        {"replace missing ext", NuPosixReplaceExtension, "d.e/a", ".x", "d.e/a.x"},
        {"replace base", NuPosixReplaceBaseName, "a/b.c", "d", "a/d.c"},
        {"replace base no ext", NuWinReplaceBaseName, R"(a\b)", "d", R"(a\d)"},
        {"replace dir", NuPosixReplaceDirectory, "a/b", "x", "x/b"},
        {"replace dir win", NuWinReplaceDirectory, "a/b", "x", R"(x\b)"},
        {"replace dir drive", NuWinReplaceDirectory, "a/b", "C:", "C:b"},
        {"replace name", NuPosixReplaceFileName, "a/b", "c", "a/c"},
        {"replace name no dir", NuPosixReplaceFileName, "b", "c", "c"},
        {"replace name absolute", NuPosixReplaceFileName, "a/b", "/c", "/c"},
        {"join drive", NuPosixJoinDrive, "/", "a", "/a"},
        {"join drive empty", NuPosixJoinDrive, "", "a", "a"},
        {"join drive nothing behind", NuPosixJoinDrive, "x", nullptr, "x"},
        {"join plain", NuPosixJoinDrive, "x", "a", "x/a"},
        {"join letter", NuWinJoinDrive, "C:", "a", "C:a"},
        {"join letter and more", NuWinJoinDrive, "C:x", "a", R"(C:x\a)"},
        {"combine", NuPosixCombinePaths, "a", "b", "a/b"},
        {"combine absolute", NuPosixCombinePaths, "a", "/b", "/b"},
        {"combine win drive", NuWinCombinePaths, "a", "c:b", "c:b"},
        {"combine win root", NuWinCombinePaths, "a", "/b", "/b"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(call(c.f, c.a, c.b), c.expected) << c.name;
    EXPECT_EQ(call(NuPosixTakeBaseName, "a/b.c.d"), "b.c");
    EXPECT_EQ(call(NuWinTakeBaseName, R"(C:\x\.rc)"), "");
}

TEST(PathParts, TrailingSeparators) {
    const struct {
        const char *path, *posix_add, *posix_drop, *win_drop;
    } cases[] = {
        {"a/b//", "a/b//", "a/b", "a/b"}, {"/", "/", "/", "/"}, {"///", "///", "///", "///"},
        {"", "/", "", ""}, {"a", "a/", "a", "a"}, {R"(C:\\)", R"(C:\\/)", R"(C:\\)", R"(C:\\)"},
        {R"(\\srv\)", R"(\\srv\/)", R"(\\srv\)", R"(\\srv\)"}, {R"(a\\)", R"(a\\/)", R"(a\\)", "a"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(call(NuPosixAddTrailingPathSep, c.path), c.posix_add) << c.path;
        EXPECT_EQ(call(NuPosixDropTrailingPathSep, c.path), c.posix_drop) << c.path;
        EXPECT_EQ(call(NuWinDropTrailingPathSep, c.path), c.win_drop) << c.path;
    }
    EXPECT_EQ(call(NuWinAddTrailingPathSep, ""), "\\");
    EXPECT_EQ(NuPosixHasTrailingPathSep(""), 0);
    EXPECT_EQ(NuWinHasTrailingPathSep("a/"), 1);
}

TEST(PathParts, JoinPathFoldsFromTheRight) {
    const char *const abs[] = {"a", "/b", "c"};
    const char *const plain[] = {"a/", "", "b", nullptr, "c"};
    const char *const drive[] = {"x", "C:", "y"};
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

TEST(PathParts, SeparatorTests) {
    EXPECT_EQ(NuPosixIsPathSep('/'), 1);
    EXPECT_EQ(NuPosixIsPathSep('\\'), 0);
    EXPECT_EQ(NuWinIsPathSep('\\') + NuWinIsPathSep('/'), 2);
    EXPECT_EQ(NuWinIsPathSep('/' + 256), 0);
    EXPECT_EQ(NuPosixIsSearchPathSep(':') + NuWinIsSearchPathSep(';'), 2);
    EXPECT_EQ(NuWinIsSearchPathSep(':'), 0);
    EXPECT_EQ(NuPosixIsExtSep('.') + NuWinIsExtSep('.'), 2);
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
    const char *items[] = {nullptr, "x"};
    items[0] = o.s;
    NuWinJoinPath(&o.s, items, 2);
    EXPECT_EQ(o.text(), R"(\\srv\x)");
}

}  // namespace
