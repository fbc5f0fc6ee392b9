// SPDX-License-Identifier: MIT
// Path lists: elements, directories and search paths.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "nu.h"
#include "paths/path_calls.hpp"

namespace {

using vesk_test::joined;

using ListFn = NuPathList *(*)(NuPathList *, const char *);

std::string list_of(ListFn f, const char *text) {
    NuPathList list{};
    EXPECT_EQ(f(&list, text), &list);
    return joined(&list);
}

TEST(PathLists, ElementsDirectoriesAndSearchPaths) {
    const struct {
        ListFn f;
        const char *text, *expected;
    } cases[] = {
        {NuPosixSplitPath, "/a//b/c", "/|a//|b/|c"}, {NuPosixSplitDirectories, "/a//b/c", "/|a|b|c"},
        {NuPosixSplitPath, "a", "a"}, {NuPosixSplitPath, "", ""}, {NuPosixSplitPath, nullptr, ""},
        {NuWinSplitPath, R"(C:\a/b)", R"(C:\|a/|b)"}, {NuWinSplitPath, R"(\a\)", R"(\|a\)"},
        {NuWinSplitDirectories, R"(\a\)", R"(\|a)"}, {NuWinSplitDirectories, R"(\\srv\s\)", R"(\\srv\|s)"},
        {NuPosixSplitSearchPath, "a:b", "a|b"}, {NuPosixSplitSearchPath, "a::b", "a|.|b"},
        {NuPosixSplitSearchPath, ":a", ".|a"}, {NuPosixSplitSearchPath, "a:", "a"},
        {NuPosixSplitSearchPath, ":", "."}, {NuPosixSplitSearchPath, "", ""},
        {NuPosixSplitSearchPath, nullptr, ""}, {NuPosixSplitSearchPath, "\"a:b\"", "\"a|b\""},
        {NuWinSplitSearchPath, "a;;b", "a|b"}, {NuWinSplitSearchPath, ";a", "a"},
        {NuWinSplitSearchPath, "a;", "a"}, {NuWinSplitSearchPath, R"("a;b";c)", "a;b|c"},
        {NuWinSplitSearchPath, R"("a)", R"("a)"}, {NuWinSplitSearchPath, R"(x;"a;b)", R"(x|"a;b)"},
        {NuWinSplitSearchPath, R"("")", ""}, {NuWinSplitSearchPath, R"("";x)", "x"},
        {NuWinSplitSearchPath, R"(a"b;c)", R"(a"b|c)"},
        {NuWinSplitSearchPath, R"("a"b";c)", R"(a"b|c)"}, {NuWinSplitSearchPath, R"(""")", R"(")"},
        {NuWinSplitSearchPath, nullptr, ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(list_of(c.f, c.text), c.expected) << (c.text ? c.text : "null");
}

TEST(PathLists, SearchPathFromTheEnvironment) {
    const char *saved = std::getenv("PATH");
    const std::string old = saved != nullptr ? saved : "";
    setenv("PATH", "/bin::/usr/bin", 1);
    NuPathList list{};
    EXPECT_EQ(joined(NuPosixGetSearchPath(&list)), "/bin|.|/usr/bin");
    EXPECT_EQ(joined(NuWinGetSearchPath(&list)), "/bin::/usr/bin");
    unsetenv("PATH");
    EXPECT_EQ(joined(NuPosixGetSearchPath(&list)), "");
    if (saved != nullptr)
        setenv("PATH", old.c_str(), 1);
}

// Clearing keeps the array for the next split; destroying frees it.
TEST(PathLists, ClearKeepsTheArrayAndDestroyFreesIt) {
    NuPathList list{};
    NuPosixSplitPath(&list, "a/b/c/d/e");
    EXPECT_EQ(list.count, 5u);
    NuSTR *items = list.items;
    const uint32_t capacity = list.capacity;
    EXPECT_EQ(NuClearPathList(&list), &list);
    EXPECT_TRUE(list.count == 0 && list.capacity == capacity && list.items == items && !items[0]);
    NuPosixSplitPath(&list, "x/y");
    EXPECT_EQ(list.items, items);
    EXPECT_EQ(NuDestroyPathList(&list), &list);
    EXPECT_TRUE(list.items == nullptr && list.capacity + list.count == 0);
    EXPECT_EQ(NuClearPathList(nullptr), nullptr);
    EXPECT_EQ(NuDestroyPathList(nullptr), nullptr);
}

}  // namespace
