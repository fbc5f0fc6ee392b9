// SPDX-License-Identifier: MIT
// Hostile input to the path functions: null everywhere, paths of millions of
// bytes and of a million elements, runs of dots and separators, quotes that
// never close, lists whose count passes their capacity. Sizes are such that
// anything quadratic would not end within the case's limit. Each case runs in
// a child of its own, so a crash or a hang fails that case alone.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nu.h"
#include "paths/path_calls.hpp"
#include "support/hostile.hpp"

namespace {

using vesk_test::call;
using vesk_test::repeat;

const std::string kMillionElements = repeat("ab/", 1000000);
const std::string kDotsAndSeps = repeat("././/", 1000000);

const vesk_test::HoldsCase kCases[] = {
    {"null outputs do nothing",
     [] {
         NuPosixSplitDrive(nullptr, nullptr, "/a");
         NuWinSplitFileName(nullptr, nullptr, nullptr);
         return NuPosixNormalisePath(nullptr, "a") == nullptr &&
                NuWinMakeRelativePath(nullptr, "a", "a/b") == nullptr &&
                NuWinMakeValidPath(nullptr, "con") == nullptr &&
                NuPosixJoinPath(nullptr, nullptr, 3) == nullptr &&
                NuWinSplitSearchPath(nullptr, "a") == nullptr && NuPosixSplitPath(nullptr, "a") == nullptr;
     }},
    {"null inputs read as empty",
     [] {
         return call(NuWinNormalisePath, nullptr) == "." &&
                call(NuPosixMakeRelativePath, nullptr, nullptr) == "." &&
                call(NuWinJoinDrive, nullptr, nullptr).empty() &&
                call(NuWinAddExtension, nullptr, nullptr).empty() &&
                NuWinEqualFilePath(nullptr, "") == 1 && NuWinIsValidPath(nullptr) == 0;
     }},
    {"join of null items, or of a negative count",
     [] {
         const char *const items[] = {nullptr, nullptr};
         vesk_test::Out o("x");
         NuWinJoinPath(&o.s, items, 2);
         const bool empty = o.text().empty();
         NuPosixJoinPath(&o.s, items, -5);
         return empty && o.s == nullptr;
     }},
    {"a million elements normalise in one pass",
     [] { return call(NuPosixNormalisePath, kMillionElements.c_str()) == kMillionElements; }},
    {"a million dot elements and separator runs",
     [] {
         return call(NuPosixNormalisePath, kDotsAndSeps.c_str()) == "./" &&
                call(NuWinNormalisePath, kDotsAndSeps.c_str()) == ".\\" &&
                NuWinEqualFilePath(kDotsAndSeps.c_str(), ".") == 1;
     }},
    {"relative path of a million elements",
     [] {
         const std::string path = kMillionElements + "x/y";
         return call(NuPosixMakeRelativePath, kMillionElements.c_str(), path.c_str()) == "x/y" &&
                call(NuWinMakeRelativePath, kMillionElements.c_str(), path.c_str()) == "x/y";
     }},
    {"a drive of ten million separators",
     [] {
         const std::string seps(10000000, '/');
         return call(NuPosixNormalisePath, seps.c_str()) == "/" &&
                call(NuWinTakeDirectory, seps.c_str()) == seps &&
                call(NuWinMakeValidPath, seps.c_str()) == "//drive" &&
                call(NuPosixDropTrailingPathSep, seps.c_str()) == seps;
     }},
    {"a million elements into a list, and joined back",
     [] {
         NuPathList list{};
         NuWinSplitPath(&list, kMillionElements.c_str());
         const bool counted = list.count == 1000000;
         vesk_test::Out o;
         NuWinJoinPath(&o.s, list.items, static_cast<int32_t>(list.count));
         NuDestroyPathList(&list);
         return counted && o.text() == kMillionElements;
     }},
    {"a million anchored items: only the last counts",
     [] {
         std::vector<const char *> items(1000000, "/a");
         items.back() = "/b";
         vesk_test::Out o;
         NuPosixJoinPath(&o.s, items.data(), static_cast<int32_t>(items.size()));
         return o.text() == "/b";
     }},
    {"search paths of a million quotes and separators",
     [] {
         NuPathList list{};
         const std::string quotes(1000000, '"');
         NuWinSplitSearchPath(&list, quotes.c_str());
         const bool one = list.count == 1 && list.items[0] == quotes.substr(1, quotes.size() - 2);
         NuWinSplitSearchPath(&list, ("\"" + repeat("a;", 300000)).c_str());
         const bool quoted = list.count == 1;
         NuPosixSplitSearchPath(&list, std::string(1000000, ':').c_str());
         const bool dots = list.count == 1000000;
         NuDestroyPathList(&list);
         return one && quoted && dots;
     }},
    {"a list whose count passes its capacity",
     [] {
         NuPathList list{2, 1000, static_cast<NuSTR *>(NuMalloc(2 * sizeof(NuSTR)))};
         list.items[0] = list.items[1] = nullptr;
         NuSTRcpy(&list.items[0], "a");
         NuSTRcpy(&list.items[1], "b");
         NuClearPathList(&list);
         const bool cleared = list.count == 0 && list.items[1] == nullptr;
         NuDestroyPathList(&list);
         return cleared;
     }},
    {"repairing ten thousand device names",
     [] {
         vesk_test::Out o;
         NuWinMakeValidPath(&o.s, repeat("con.x\\", 10000).c_str());
         return NuWinIsValidPath(o.s) == 1 && o.text() == repeat("con_.x\\", 10000);
     }},
};

TEST(PathHostileInput, EachCaseGivesItsAnswerInItsOwnProcess) { vesk_test::run_holds(kCases); }

}  // namespace
