// SPDX-License-Identifier: MIT
// The pattern compare against the plain backtracking walk its rules describe
// (fuzz/shell_reference.hpp): random short pairs over the characters that
// matter, and the adversarial families at every size the walk can still
// finish, so that the large sizes in the hostile-input table are known to
// continue the same values.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "fuzz/shell_reference.hpp"
#include "nu.h"

namespace {

template <class Unit>
int32_t compare(const std::basic_string<Unit> &t, const std::basic_string<Unit> &p, bool dots) {
    if constexpr (sizeof(Unit) == 1)
        return strshellcmp3(t.c_str(), p.c_str(), dots);
    else
        return wcsshellcmp3(t.c_str(), p.c_str(), dots);
}

// Whole result, not just match or no match; skipped where the walk's budget
// runs out.
template <class Unit>
void expect_as_reference(const std::basic_string<Unit> &t, const std::basic_string<Unit> &p) {
    for (const bool dots : {false, true}) {
        const auto want =
            vesk_reference::ShellReference<Unit>(dots, 1'000'000).compare(t.c_str(), p.c_str());
        if (!want)
            continue;
        ASSERT_EQ(compare(t, p, dots), *want)
            << "text \"" << std::string(t.begin(), t.end()) << "\" pattern \""
            << std::string(p.begin(), p.end()) << "\" dots " << dots;
    }
}

TEST(ShellCompare, SameResultsAsTheBacktrackingWalkOnRandomPairs) {
    std::mt19937 rng(11);
    // High units check that 16-bit differences are taken unsigned.
    const std::u16string pattern_units = u"*?{},\\.ab\xFFFF", text_units = u"ab.,\\\xFFFF";
    for (int round = 0; round < 20000; ++round) {
        std::u16string t, p;
        for (size_t n = rng() % 12; n > 0; --n)
            p += pattern_units[rng() % pattern_units.size()];
        // One round in five: a text past the 64 units of one word of
        // positions, mostly filler with the pattern's characters sparse, and
        // a pattern free at both ends, so that its middle fits in few places
        // and is tried across the words.
        const bool long_text = round % 5 == 0;
        for (size_t n = long_text ? 60 + rng() % 80 : rng() % 12; n > 0; --n)
            t += long_text && rng() % 8 != 0 ? u'x' : text_units[rng() % text_units.size()];
        if (long_text)
            p = u"*" + p + u"*";
        expect_as_reference(t, p);
        std::string narrow_t, narrow_p;
        for (char16_t u : t)
            narrow_t += static_cast<char>(u);
        for (char16_t u : p)
            narrow_p += static_cast<char>(u);
        expect_as_reference(narrow_t, narrow_p);
    }
}

// One match place, moved across the 64-position words of the set the
// compare carries, for every kind of piece.
TEST(ShellCompare, SameResultsWhereverInTheTextTheMatchLies) {
    const char *cores[] = {"acb", "ab", "a.b", "aacbb"};
    const char *patterns[] = {"*a?b*", "*a??b", "*{a,ac}?b*", "*a*b*", "?*a?b?", "x*{c,acb}*"};
    for (size_t offset = 0; offset < 140; ++offset)
        for (const char *core : cores)
            for (const char *pattern : patterns) {
                expect_as_reference(std::string(offset, 'x') + core, std::string(pattern));
                expect_as_reference(std::string(offset, 'x') + core + "xx", std::string(pattern));
            }
}

// Shapes where moving only the latest wildcard is not enough: a list between
// a star and a star (a later start can end the list earlier), "?" behind
// another wildcard, "?" that runs out where an earlier star could move.
TEST(ShellCompare, SameResultsWhereTheLatestWildcardIsNotEnough) {
    const std::pair<const char *, const char *> cases[] = {
        {"abcd", "*{abcd,b}*d"}, {"xabcdy", "x*{abcd,b}*d?"}, {"aaxb", "*a?b"},
        {"abxc", "a?b?c"},       {"axbc", "a?b?c"},           {"a.b", "?*.b"},
        {"aab", "??b"},          {"ab.ab", "*.?b"},           {"abab", "{a,ab}*?b"},
    };
    for (const auto &[text, pattern] : cases) {
        expect_as_reference(std::string(text), std::string(pattern));
        expect_as_reference(std::string(text) + "z", std::string(pattern));
    }
    // A literal longer than a word of positions, behind the hand-over.
    expect_as_reference(std::string("ab"), "*a?" + std::string(70, 'x'));
}

TEST(ShellCompare, AdversarialFamiliesAgreeWhileTheWalkStillFinishes) {
    auto repeat = [](const std::string &piece, size_t times) {
        std::string s;
        while (times-- > 0)
            s += piece;
        return s;
    };
    for (size_t k = 1; k <= 16; ++k) {
        SCOPED_TRACE(k);
        expect_as_reference(repeat("a", k), repeat("?", k) + "b");
        expect_as_reference(repeat("a", 2 * k), repeat("*a", k) + "b");
        expect_as_reference(repeat("a.", k), repeat("*.", k) + "?x");
        expect_as_reference(repeat("a", k), repeat("?a", k));
        expect_as_reference(repeat("ab", k), repeat("{a,ab}?", k) + "c");
    }
}

}  // namespace
