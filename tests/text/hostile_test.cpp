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

    {"tokens: null state, with and without a record",
     [] {
         VeskErr err{};
         char text[] = "a", delimit[] = " ";
         return NuStrtok(text, delimit, 0, nullptr, &err) == -1 &&
                err.status == VESK_STATUS(VESK_FAC_TOKEN, VESK_E_FAULT) &&
                NuWcstok(nullptr, nullptr, 0, nullptr, nullptr) == -1;
     }},
    {"tokens: an empty state and no text",
     [] {
         NuSTRTOK state{};
         char delimit[] = "[@(*)]";
         return NuStrtok(nullptr, nullptr, 0, &state, nullptr) == 0 &&
                NuStrtok(nullptr, delimit, 0, &state, nullptr) == 0 &&
                std::string(delimit) == "[@(*)]";  // nothing to scan: nothing compiled
     }},
    {"tokens: a text with no tables is one token",
     [] {
         NuSTRTOK state{};
         char text[] = "a b";
         return NuStrtok(text, nullptr, 0, &state, nullptr) == 1 && state.tok_len == 3;
     }},
    {"tokens: a fixed take with no count takes nothing",
     [] {
         NuSTRTOK state{};
         char text[] = "abc", delimit[] = "";
         return NuStrtok(text, delimit, NU_TOK_SETDELIM, &state, nullptr) == 1 &&
                NuStrtok(nullptr, nullptr, NU_TOK_FIXED, &state, nullptr) == 1 &&
                state.tok_len == 0 && state.cursor == text;
     }},
    {"tokens: 2,000,000 nested brackets are one atom",
     [] {
         std::string text = repeat("(", 1000000) + repeat(")", 1000000) + " x";
         std::string delimit = "[@(*)] ";
         NuSTRTOK state{};
         return NuStrtok(text.data(), delimit.data(), 0, &state, nullptr) == 1 &&
                state.tok_type == -1 && state.tok_len == 2000000;
     }},
    {"tokens: 1,000,000 unclosed brackets are reported",
     [] {
         std::string text = repeat("(", 1000000), delimit = "[@(*)]";
         NuSTRTOK state{};
         VeskErr err{};
         return NuStrtok(text.data(), delimit.data(), 0, &state, &err) == -1 &&
                err.status == VESK_STATUS(VESK_FAC_TOKEN, VESK_E_SYNTAX_UNMATCHED);
     }},
    {"tokens: unterminated groups of a million units are refused",
     [] {
         std::string text = "a";
         for (const char *head : {"[@", "[!", "[^", "[@a*"}) {
             std::string delimit = head + repeat("x", 1000000);
             NuSTRTOK state{};
             if (NuStrtok(text.data(), delimit.data(), 0, &state, nullptr) != -1)
                 return false;
         }
         return true;
     }},
    {"tokens: a million-unit delimiter set over a million one-unit tokens",
     [] {
         std::string delimit = repeat(" ,;", 333333), text = repeat("a,", 500000);
         NuSTRTOK state{};
         size_t n = 0;
         for (int64_t r = NuStrtok(text.data(), delimit.data(), 0, &state, nullptr); r == 1;
              r = NuStrtok(nullptr, nullptr, 0, &state, nullptr))
             ++n;
         return n == 500000;
     }},
    {"tokens: 60,000 word units over 500,000 16-bit units outside them",
     [] {
         std::u16string delimit = u"[^";
         for (char16_t u = 0x1000; u < 0x1000 + 60000; ++u)
             delimit += u;
         delimit += u"]";
         std::u16string text;
         for (int i = 0; i < 250000; ++i)
             text += u"\u1234\uFFFF";
         NuWCSTOK state{};
         size_t n = 0;
         for (int64_t r = NuWcstok(text.data(), delimit.data(), 0, &state, nullptr); r == 1;
              r = NuWcstok(nullptr, nullptr, 0, &state, nullptr))
             ++n;
         return n == 250000;
     }},
    {"tokens: a 50,000-entry atom table over one long word",
     [] {
         std::string delimit = "[@";
         for (int i = 0; i < 50000; ++i)
             delimit += "b" + std::to_string(i) + "||";
         delimit += "c]";
         std::string text = repeat("a", 4000000);
         NuSTRTOK state{};
         return NuStrtok(text.data(), delimit.data(), 0, &state, nullptr) == 1 &&
                state.tok_len == 4000000;
     }},
    {"tokens: 16 MB of words",
     [] {
         std::string text = repeat("word ", 16 << 20 >> 2), delimit = " \t\n";
         NuSTRTOK state{};
         size_t n = 0;
         for (int64_t r = NuStrtok(text.data(), delimit.data(), 0, &state, nullptr); r == 1;
              r = NuStrtok(nullptr, nullptr, 0, &state, nullptr))
             ++n;
         return n == (16 << 20 >> 2);
     }},
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
