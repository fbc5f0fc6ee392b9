// SPDX-License-Identifier: MIT
// Hashes on fixed inputs, the edit distance against a plain full-matrix
// version, shell patterns against fnmatch where their rules agree and on
// their own rules where they don't, and the locale-free case tables.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <string>
#include <vector>

#include "nu.h"

namespace {

TEST(Hash, ElfHashOnFixedInputs) {
    // Eight characters push bits past the top nibble, which the fold brings
    // back into bits 4 to 7 (value from a separate implementation).
    const char16_t wide[] = {0x0410, 0x0042, 0};
    const std::pair<uint32_t, uint32_t> cases[] = {
        {NuStrhash(""), 0}, {NuBhash("\0", 1), 0}, {NuStrhash("abc"), 0x6783},
        {NuStrhash("abcdefgh"), 0x089ABAA8}, {NuStrnhash("abcdef", 3), 0x6783}, {NuStrnhash("ab", 0), 0},
        {NuBhash("a\0b", 3), (0x61u << 8) + 0x62u},  // NULs count in the byte form
        {NuBhash("\xff", 1), 0xFF},                  // bytes are unsigned
        {NuWcshash(wide), (0x0410u << 4) + 0x42u},   // units go in whole
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
}

// The obvious full matrix, for comparison.
template <class S>
int32_t reference_distance(const S &a, const S &b, int32_t ins, int32_t rep, int32_t del) {
    std::vector<std::vector<int64_t>> d(a.size() + 1, std::vector<int64_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i)
        d[i][0] = int64_t(i) * del;
    for (size_t j = 0; j <= b.size(); ++j)
        d[0][j] = int64_t(j) * ins;
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j)
            d[i][j] = std::min({d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : rep),
                                d[i - 1][j] + del, d[i][j - 1] + ins});
    // A distance past the result's range is refused.
    return d[a.size()][b.size()] > INT32_MAX ? -1 : static_cast<int32_t>(d[a.size()][b.size()]);
}

TEST(Levenshtein, MatchesTheFullMatrixOnRandomPairsAndWeights) {
    std::mt19937 rng(20261123);
    auto text = [&](size_t n, char16_t base) {
        std::u16string s;
        for (size_t i = 0; i < n; ++i)
            s += static_cast<char16_t>(base + rng() % 4);
        return s;
    };
    for (int round = 0; round < 300; ++round) {
        // Mostly short, now and then past the 511 units that fit on the stack.
        const size_t n1 = rng() % 40, n2 = round % 25 == 0 ? 512 + rng() % 100 : rng() % 40;
        // One round in four, costs so large that some entries pass INT32_MAX.
        const int32_t scale = round % 4 == 0 ? INT32_MAX / 40 : 1;
        const int32_t ins = (1 + rng() % 5) * scale, rep = int32_t(rng() % 7) * scale,
                      del = (1 + rng() % 5) * scale;
        const std::u16string w1 = text(n1, u'a'), w2 = text(n2, u'a');
        const std::string s1(w1.begin(), w1.end()), s2(w2.begin(), w2.end());
        const int32_t want = reference_distance(s1, s2, ins, rep, del);
        SCOPED_TRACE(s1 + " / " + s2);
        EXPECT_EQ(NuLevenshtein(s1.c_str(), int64_t(n1), s2.c_str(), int64_t(n2), ins, rep, del),
                  want);
        EXPECT_EQ(NuLevenshtein(s1.c_str(), -1, s2.c_str(), -1, ins, rep, del), want);
        EXPECT_EQ(NuWLevenshtein(w1.c_str(), int64_t(n1), w2.c_str(), -1, ins, rep, del), want);
    }
    EXPECT_EQ(NuLevenshtein("kitten", -1, "sitting", -1, 1, 1, 1), 3);
    EXPECT_EQ(NuLevenshtein("", -1, "abc", -1, 2, 1, 7), 6) << "inserting pays ins";
    EXPECT_EQ(NuLevenshtein("abc", -1, "", -1, 2, 1, 7), 21) << "deleting pays del";
    // 16-bit units compare whole: these differ only in their high byte.
    const char16_t high1[] = {0x0410, 0x0411, 0}, high2[] = {0x0510, 0x0411, 0};
    EXPECT_EQ(NuWLevenshtein(high1, -1, high2, -1, 1, 3, 1), 2);
}

TEST(ShellCompare, AgreesWithFnmatchOnStarsAndPlainCharacters) {
    // Without dots and without "?" or braces, "*" means the same to both:
    // any run of characters, and a plain character itself.
    const char *texts[] = {"", "a", "abc", "a.b", "file.txt", "aaa", "xyz.c", "ab.cd.ef"};
    const char *patterns[] = {"*", "a*", "*c", "a*c", "*.*", "*.txt", "file.*", "x*z.c",
                              "**", "a*b*c", "abc", "*a*", "ab.*.ef", "*.cd*"};
    for (const char *t : texts)
        for (const char *p : patterns) {
            SCOPED_TRACE(std::string(t) + " ~ " + p);
            EXPECT_EQ(strshellcmp3(t, p, 0) == 0, fnmatch(p, t, 0) == 0);
        }
}

TEST(ShellCompare, ItsOwnRulesWhereShellsDiffer) {
    constexpr int32_t kNonZero = INT32_MIN + 1, kBelow = INT32_MIN + 2, kAbove = INT32_MIN + 3;
    const struct {
        const char *text, *pattern;
        int dots;
        int32_t expected;  // a value, or one of the three kinds above
    } cases[] = {
        {"abc", "a?c", 0, 0}, {"ac", "a?c", 0, 0},  // "?" may match nothing
        {"abbc", "a?c", 0, kNonZero}, {"a.b", "*", 1, kNonZero},  // with dots "*" stops at a period
        {"a.b", "*.b", 1, 0}, {"a.b", "?.b", 1, 0}, {"file.txt", "file.{c,txt}", 0, 0},
        {"file.c", "file.{c,txt}", 0, 0}, {"file", "file{,.c}", 0, 0},  // an empty alternative
        {"ab", "{a,ab}", 0, kNonZero},  // the first alternative is final
        // A backslash keeps a comma inside an element, and is compared with it.
        {"a\\,b", "{a\\,b}", 0, 0}, {"a,b", "{a\\,b}", 0, ',' - '\\'},
        {"x", "{a", 0, NU_SHELLCMP_MALFORMED}, {"x", "{a\\", 0, NU_SHELLCMP_MALFORMED},
        {"a", "{a,b", 0, NU_SHELLCMP_MALFORMED},
        // A mismatch orders as strcmp does, bytes unsigned.
        {"abd", "abc", 0, 'd' - 'c'}, {"ab", "abc", 0, kBelow}, {"\xe9", "a", 0, kAbove},
    };
    for (const auto &c : cases) {
        const int32_t r = strshellcmp3(c.text, c.pattern, c.dots);
        EXPECT_TRUE(c.expected == kNonZero ? r != 0 : c.expected == kBelow ? r < 0
                    : c.expected == kAbove ? r > 0 : r == c.expected)
            << c.text << " ~ " << c.pattern << " gave " << r;
    }
    const char16_t text[] = u"file.txt", pattern[] = u"*.{c,txt}", other[] = u"*.{c,h}";
    EXPECT_EQ(wcsshellcmp3(text, pattern, 1), 0);
    EXPECT_NE(wcsshellcmp3(text, other, 1), 0);
}

TEST(CaseTables, LocaleFreeMappingBothWays) {
    // Unit, lower, upper: the end of the last run (FF5A), every second unit of
    // a /2 run (012E), and pairs that are not inverse (0130, 0131, 01C5).
    const char16_t cases[][3] = {{0x0410, 0x0430, 0x0410}, {0x0041, 0x0061, 0x0041},
                                 {0x3042, 0x3042, 0x3042}, {0, 0, 0},
                                 {0x0061, 0x0061, 0x0041}, {0xFF5A, 0xFF5A, 0xFF3A},
                                 {0x012E, 0x012F, 0x012E}, {0x012F, 0x012F, 0x012E},
                                 {0x0130, 0x0069, 0x0130}, {0x0069, 0x0069, 0x0049},
                                 {0x0131, 0x0131, 0x0049}, {0x01C5, 0x01C6, 0x01C5}};
    for (const auto &c : cases)
        EXPECT_EQ(std::pair(NuTowlower_c(c[0]), NuTowupper_c(c[0])), std::pair(c[1], c[2]))
            << int(c[0]);
    int mapped_lower = 0, mapped_upper = 0;
    for (uint32_t u = 1; u <= 0xFFFF; ++u) {
        mapped_lower += NuTowlower_c(char16_t(u)) != u;
        mapped_upper += NuTowupper_c(char16_t(u)) != u;
    }
    EXPECT_EQ(mapped_lower, 669);
    EXPECT_EQ(mapped_upper, 666);
    char16_t s[] = u"Straße ДОМ";
    EXPECT_EQ(NuWcsupr_c(s), s);
    EXPECT_EQ(std::u16string(s), u"STRAßE ДОМ");
    NuWcslwr_c(s);
    EXPECT_EQ(std::u16string(s), u"straße дом");
}

}  // namespace
