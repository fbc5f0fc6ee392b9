// SPDX-License-Identifier: MIT
// Normal forms, equality and relative paths in both flavours, and the POSIX
// flavour held to std::filesystem where the two follow the same rules.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

#include "nu.h"
#include "paths/path_calls.hpp"

namespace {

using vesk_test::call;

struct Case {
    const char *in, *expected;
};

TEST(PathNormal, NormalForms) {
    // What the comparison with std::filesystem below leaves out: "..", a
    // leading "//", results that are "" or "." there, and "\\" as no separator.
    const Case posix[] = {
        {"", "."}, {".", "."}, {"./", "./"}, {"///", "/"}, {"a/..", "a/.."}, {"//a//b/", "/a/b/"},
        {nullptr, "."}, {"././/./", "./"}, {"..//../.", "../../"}, {"a\\.\\b", "a\\.\\b"},
    };
    const Case win[] = {
        {"c:/a/b", R"(C:\a\b)"}, {"c:", "C:"}, {"c:a", "C:a"}, {R"(c:a\)", "C:a"},
        {R"(c:a\.)", "C:a"}, {R"(c:\\\a)", R"(C:\a)"}, {"/a/", R"(\a\)"}, {"a/b", R"(a\b)"},
        {R"(\\?\c:)", R"(\\?\c:)"}, {R"(\\?\c:a)", R"(\\?\c:\a)"},
        {"//srv/share/", R"(\\srv\share\)"}, {R"(//srv//./x)", R"(\\srv\\x)"}, {"", "."},
        {R"(.\)", R"(.\)"}, {R"(\.)", R"(\)"}, {R"(./c:)", R"(.\c:)"}, {R"(.\.\c:x\)", R"(.\c:x\)"},
        {R"(a\c:\y)", R"(a\c:\y)"}, {R"(\\?\.\C:x)", R"(\\?\.\C:x)"},
        {R"(\\?\./unc/x)", R"(\\?\.\unc\x)"}, {R"(\\?\.\UNCx)", R"(\\?\UNCx)"},
    };
    for (const auto &c : posix)
        EXPECT_EQ(call(NuPosixNormalisePath, c.in), c.expected) << (c.in ? c.in : "null");
    for (const auto &c : win)
        EXPECT_EQ(call(NuWinNormalisePath, c.in), c.expected) << c.in;
}

TEST(PathNormal, Equality) {
    const struct {
        const char *a, *b;
        int posix, win;
    } cases[] = {
        {"a/", "a", 1, 1},    {"a", "A", 0, 1},          {"", ".", 1, 1},
        {"/", "//", 1, 0},    {R"(C:\A)", "c:/a/", 0, 1}, {"a/./b", "a/b/", 1, 1},
        {"a/../b", "b", 0, 0}, {"C:", R"(C:\)", 0, 0},   {R"(\\srv\x)", "//SRV/X/", 0, 1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(NuPosixEqualFilePath(c.a, c.b), c.posix) << c.a << " ~ " << c.b;
        EXPECT_EQ(NuWinEqualFilePath(c.a, c.b), c.win) << c.a << " ~ " << c.b;
    }
}

struct RelativeCase {
    const char *root, *path, *expected;
};

TEST(PathNormal, RelativePaths) {
    // Paths under their root are held to std::filesystem below; these are the rest.
    const RelativeCase posix[] = {
        {"/a/b", "/x/y", "/x/y"}, {"a/b", "a", "a"},   {"/a/b", "a/b", "a/b"},     {"//a", "/a/b", "/a/b"},
        {"a", "", ""},            {"a/./b", "a/b/c", "a/b/c"}, {"a//b", "a/b///c//d", "c//d"},
        {"a/b", "a/bc", "a/bc"},  {"a/.", "a/./x", "x"}, {"/", "///a", "///a"},
    };
    const RelativeCase win[] = {
        {R"(C:\a)", "c:/a/b", "b"},      {R"(C:\a)", R"(D:\a\b)", R"(D:\a\b)"},
        {R"(\a)", R"(\a\b)", "b"},       {"C:", "C:x", "x"},
        {R"(C:\A\B)", R"(c:\a\b\C)", "C"}, {R"(\a)", R"(C:\a\b)", R"(C:\a\b)"},
        {R"(\\srv\s)", "//SRV/s/t", "t"},
    };
    for (const auto &c : posix)
        EXPECT_EQ(call(NuPosixMakeRelativePath, c.root, c.path), c.expected) << c.root << " -> " << c.path;
    for (const auto &c : win)
        EXPECT_EQ(call(NuWinMakeRelativePath, c.root, c.path), c.expected) << c.root << " -> " << c.path;
}

TEST(PathNormal, OutputMayBeItsOwnInput) {
    vesk_test::Out o("//x/./y//");
    NuPosixNormalisePath(&o.s, o.s);
    EXPECT_EQ(o.text(), "/x/y/");
    NuPosixMakeRelativePath(&o.s, "/x", o.s);
    EXPECT_EQ(o.text(), "y/");
    NuSTRcpy(&o.s, "/r/s/t");
    NuPosixMakeRelativePath(&o.s, o.s, o.s + 0);
    EXPECT_EQ(o.text(), ".");
    NuSTRcpy(&o.s, "/r/s/t");
    NuPosixMakeRelativePath(&o.s, o.s + 2, o.s + 0);  // root "s/t" is relative
    EXPECT_EQ(o.text(), "/r/s/t");
}

// Random paths of a few short names, ".", ".." and runs of separators.
std::string random_path(std::mt19937 &rng, const char *const *names, size_t name_count,
                        const char *seps) {
    std::string p;
    const int elements = static_cast<int>(rng() % 7);
    if (rng() % 2 != 0)
        p += seps[rng() % 2];
    for (int i = 0; i < elements; ++i) {
        if (i != 0)
            p.append(1 + rng() % 2, seps[rng() % 2]);
        p += names[rng() % name_count];
    }
    if (rng() % 3 == 0)
        p += seps[rng() % 2];
    return p;
}

// std::filesystem resolves "..", gives "" for "" and "." for a path of "."
// elements and separators alone ("./" included), and keeps a leading "//" as
// it stands; this library leaves ".." where it is, gives "." and "./", and
// writes any run of leading "/" as one. Elsewhere the two normal forms agree.
TEST(PathNormal, PosixNormalFormAgreesWithStdFilesystem) {
    const char *const names[] = {"a", "bc", ".", ".x", "d.e", ".."};
    std::mt19937 rng(17);
    int compared = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string p = random_path(rng, names, 6, "//");
        const std::string expected = std::filesystem::path(p).lexically_normal().string();
        if (p.find("..") != std::string::npos || p.rfind("//", 0) == 0 || expected.empty() ||
            expected == ".")
            continue;
        ASSERT_EQ(call(NuPosixNormalisePath, p.c_str()), expected) << p;
        ++compared;
    }
    EXPECT_GT(compared, 5000);
}

// lexically_relative answers with ".." where the path leaves the root, and
// compares normalised paths; this library gives the path as given then, and
// compares elements as they stand. std::filesystem also takes a leading "//"
// for the same root as "/", where here drives of different lengths differ.
// For normal paths under their root (or the root itself) the two agree.
TEST(PathNormal, PosixRelativeAgreesWithStdFilesystemUnderTheRoot) {
    const char *const names[] = {"a", "b", "cd"};
    std::mt19937 rng(29);
    int under = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string root = std::filesystem::path(random_path(rng, names, 3, "//"))
                                     .lexically_normal().string();
        const std::string path = std::filesystem::path(random_path(rng, names, 3, "//"))
                                     .lexically_normal().string();
        const std::string expected =
            std::filesystem::path(path).lexically_relative(root).string();
        if (expected.empty() || expected.rfind("..", 0) == 0 || root.rfind("//", 0) == 0 ||
            path.rfind("//", 0) == 0)
            continue;
        ASSERT_EQ(call(NuPosixMakeRelativePath, root.c_str(), path.c_str()), expected)
            << root << " -> " << path;
        ++under;
    }
    EXPECT_GT(under, 1000);
}

// The normal form of a normal form is itself, in both flavours, also for
// drives of every kind and names that look like drives.
TEST(PathNormal, NormalFormsAreFixedPoints) {
    const char *const names[] = {"a", ".", "..", "c:", "C:x", "?", "UNC", "srv", ""};
    std::mt19937 rng(5);
    vesk_test::Out once, twice;
    for (int i = 0; i < 20000; ++i) {
        const std::string p = random_path(rng, names, 9, "\\/");
        for (const auto &[normalise, equal] : {std::pair{&NuWinNormalisePath, &NuWinEqualFilePath},
                                               std::pair{&NuPosixNormalisePath, &NuPosixEqualFilePath}}) {
            normalise(&once.s, p.c_str());
            normalise(&twice.s, once.s);
            ASSERT_EQ(twice.text(), once.text()) << p;
            ASSERT_EQ(equal(p.c_str(), once.s), 1) << p;
        }
    }
}

}  // namespace
