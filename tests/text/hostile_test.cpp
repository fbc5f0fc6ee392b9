// SPDX-License-Identifier: MIT
// Hostile input to every text function: null pointers, zero and maximal
// sizes, negative and huge costs, spans that wrap, and the patterns that made
// the backtracking compare run for seconds or overflow its stack. Each case
// runs in a child with a time limit, so a crash or a hang fails that case.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <string>

#include "nu.h"
#include "support/child.hpp"

namespace {

using namespace std::chrono_literals;

std::string repeat(const std::string &piece, size_t times) {
    std::string s;
    for (size_t i = 0; i < times; ++i)
        s += piece;
    return s;
}

std::u16string widen(const std::string &s) {
    return std::u16string(s.begin(), s.end());
}

// -1 with this errno.
bool refused(int32_t result, int errnum) {
    return result == -1 && errno == errnum;
}

constexpr int64_t k2to40 = int64_t{1} << 40;

struct HostileCase {
    const char *name;
    bool (*holds)();
};

// Each case states the defined answer; the values of failed compares are
// those of the rules' last tries (text end against the pattern's next unit).
const HostileCase kCases[] = {
    {"shell: null text reads as empty", [] { return strshellcmp3(nullptr, "*", 0) == 0; }},
    {"shell: null pattern reads as empty", [] { return strshellcmp3("abc", nullptr, 1) == 'a'; }},
    {"shell: both null", [] { return wcsshellcmp3(nullptr, nullptr, 0) == 0; }},
    {"shell: 40 '?' then 'b' against 40 'a'",
     [] {
         return strshellcmp3(repeat("a", 40).c_str(), (repeat("?", 40) + "b").c_str(), 0) == -'b';
     }},
    {"shell: nine stars then 'b' against 50 'a'",
     [] { return strshellcmp3(repeat("a", 50).c_str(), "*a*a*a*a*a*a*a*a*a*b", 0) == -'a'; }},
    {"shell: 2000 '*a' then 'b' against 100000 'a'",
     [] {
         return strshellcmp3(repeat("a", 100000).c_str(), (repeat("*a", 2000) + "b").c_str(), 0) ==
                -'a';
     }},
    {"shell: 4,000,000 '?' against a short text",
     [] { return strshellcmp3("abc", repeat("?", 4000000).c_str(), 0) == 0; }},
    {"shell: 4,000,000 '?' then 'b' against 4,000,000 'a' (16-bit)",
     [] {
         return wcsshellcmp3(widen(repeat("a", 4000000)).c_str(),
                             widen(repeat("?", 4000000) + "b").c_str(), 0) == -'b';
     }},
    {"shell: 4,000,000 '*' against 4,000,000 'a' with dots",
     [] {
         return strshellcmp3(repeat("a", 4000000).c_str(), repeat("*", 4000000).c_str(), 1) == 0;
     }},
    {"shell: 500 '?a' against 10000 'a' (position sets on the heap)",
     [] { return strshellcmp3(repeat("a", 10000).c_str(), repeat("?a", 500).c_str(), 0) == 'a'; }},
    {"shell: 2000 '{a,}' against 100000 'a'",
     [] {
         return strshellcmp3(repeat("a", 100000).c_str(), repeat("{a,}", 2000).c_str(), 0) == 'a';
     }},
    {"shell: a million unclosed lists",
     [] { return strshellcmp3("abc", repeat("{", 1000000).c_str(), 0) == NU_SHELLCMP_MALFORMED; }},
    {"shell: stars and periods with dots",
     [] {
         return strshellcmp3(repeat("a.", 5000).c_str(), (repeat("*.", 4000) + "?x").c_str(), 1) ==
                '.' - 'x';
     }},

    {"distance: null with a length",
     [] { return refused(NuLevenshtein(nullptr, 5, "abc", -1, 1, 1, 1), EINVAL); }},
    {"distance: null right side with a length",
     [] { return refused(NuWLevenshtein(u"abc", -1, nullptr, 2, 1, 1, 1), EINVAL); }},
    {"distance: null with -1 is empty",
     [] { return NuLevenshtein(nullptr, -1, "abc", -1, 2, 1, 1) == 6; }},
    {"distance: a length below -1 counts as 0",
     [] { return NuLevenshtein("abc", -5, "ab", -1, 1, 1, 1) == 2; }},
    {"distance: INT32_MIN costs",
     [] {
         return refused(NuLevenshtein("ab", -1, "cd", -1, INT32_MIN, INT32_MIN, INT32_MIN), EINVAL);
     }},
    {"distance: one negative cost",
     [] { return refused(NuLevenshtein("ab", -1, "ab", -1, 1, 1, -1), EINVAL); }},
    {"distance: 2^40 deletions at cost 3 don't wrap to 0",
     [] { return refused(NuLevenshtein("x", k2to40, "", 0, 1, 1, 3), EOVERFLOW); }},
    {"distance: 2^40 deletions at cost 0",
     [] { return NuLevenshtein("x", k2to40, "", 0, 1, 1, 0) == 0; }},
    {"distance: insertions past INT32_MAX",
     [] { return refused(NuLevenshtein("", 0, "ab", -1, INT32_MAX, 0, 0), EOVERFLOW); }},
    {"distance: one edit at INT32_MAX fits",
     [] { return NuLevenshtein("a", -1, "b", -1, INT32_MAX, INT32_MAX, INT32_MAX) == INT32_MAX; }},
    {"distance: two edits at INT32_MAX don't",
     [] {
         return refused(NuLevenshtein("ab", -1, "cd", -1, INT32_MAX, INT32_MAX, INT32_MAX),
                        EOVERFLOW);
     }},
    {"distance: held entries still find the cheap path",
     [] {
         const std::string s(600, 'a');
         return NuLevenshtein(s.c_str(), -1, (s + "b").c_str(), -1, 7, INT32_MAX, INT32_MAX) == 7;
     }},
    {"distance: rows no memory holds",
     [] { return refused(NuLevenshtein("a", 1, "b", int64_t{1} << 61, 1, 1, 1), ENOMEM); }},
    {"distance: 16-bit length whose span wraps",
     [] { return refused(NuWLevenshtein(u"a", INT64_MAX, u"b", 1, 1, 1, 1), EINVAL); }},
    {"distance: span that wraps the address space",
     [] {
         const char *high = reinterpret_cast<const char *>(UINTPTR_MAX - 8);
         return refused(NuLevenshtein("a", 1, high, 100, 1, 1, 1), EINVAL);
     }},

    {"hash: null with the largest length", [] { return NuBhash(nullptr, SIZE_MAX) == 0; }},
    {"hash: span that wraps", [] { return NuBhash("abc", SIZE_MAX) == 0; }},
    {"hash: bounded by the terminator",
     [] { return NuStrnhash("ab", SIZE_MAX) == NuStrhash("ab"); }},
    {"hash: null strings",
     [] {
         return NuStrnhash(nullptr, SIZE_MAX) == 0 && NuStrhash(nullptr) == 0 &&
                NuWcshash(nullptr) == 0;
     }},
    {"case: null strings",
     [] { return NuWcslwr_c(nullptr) == nullptr && NuWcsupr_c(nullptr) == nullptr; }},
};

TEST(TextHostileInput, EachCaseGivesItsAnswerInItsOwnProcess) {
    for (const HostileCase &c : kCases) {
        const auto out = vesk_test::run_in_child([&c] { return c.holds() ? 0 : 3; }, 60s);
        EXPECT_TRUE(out.ok()) << c.name << ": "
                              << (out.end == vesk_test::ChildOutcome::End::exited && out.number == 3
                                      ? std::string("wrong answer")
                                      : out.describe());
    }
}

}  // namespace
