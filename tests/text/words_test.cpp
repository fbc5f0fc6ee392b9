// SPDX-License-Identifier: MIT
// Splitting and word lookup on top of the scanner: the counts and encodings
// of their results, what stays written after a failure, the vector's growth,
// and words from the back agreeing with a split of the same text.
#include <gtest/gtest.h>

#include <cerrno>
#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "nu.h"
#include "support/status.hpp"

namespace {

using vesk_test::expect_report;
using vesk_test::Status;

const std::string kFault = ": the argument points outside an allocated address space of the process.";

std::vector<std::string> strings_of(char **v, int32_t n) {
    std::vector<std::string> out;
    for (int32_t i = 0; i < n; ++i)
        out.emplace_back(v[i]);
    return out;
}

struct SplitCase {
    const char *text;
    const char *delimit;  // null: the default
    uint32_t flags;
    size_t size;
    int32_t result;
    std::vector<std::string> tokens;
};

TEST(Split, IntoTheCallersVector) {
    const SplitCase cases[] = {
        {"a b  c", nullptr, 0, 8, 3, {"a", "b", "c"}},
        {"a b c d", nullptr, 0, 2, 2, {"a", "b"}},
        {" \t\r\n", nullptr, 0, 4, 0, {}},
        {"x+y z", "[!+] ", 0, 8, 4, {"x", "+", "y", "z"}},
        {"a 'b c' \"d e\"", nullptr, 0, 8, 3, {"a", "'b c'", "\"d e\""}},
        {"a 'b c'", nullptr, NU_TOK_NOQUOTE, 8, 3, {"a", "'b", "c'"}},
        {"a\\ b c", nullptr, NU_TOK_UNESC, 8, 2, {"a b", "c"}},
        // The unmatched quote: -255 minus the number stored.
        {"a 'b", nullptr, 0, 4, -256, {"a"}},
        {"a b 'c", nullptr, 0, 8, -257, {"a", "b"}},
        // The call behind the last token that fits is made, and its error seen.
        {"a 'b", nullptr, 0, 1, -256, {"a"}},
        {"'a", nullptr, 0, 4, -1, {}},
    };
    for (const SplitCase &c : cases) {
        SCOPED_TRACE(c.text);
        std::string text = c.text, delimit = c.delimit ? c.delimit : "";
        std::vector<char *> vector(c.size + 1, nullptr);
        Status s;
        const int32_t n = NuStrsplit(text.data(), c.delimit ? delimit.data() : nullptr, c.flags,
                                     vector.data(), c.size, &s.err);
        EXPECT_EQ(n, c.result);
        const int32_t stored = n >= 0 ? n : n == -1 ? 0 : -255 - n;
        // A token behind which the scanner put the cut character back is not
        // NUL-ended any more: compare what each one starts with.
        std::vector<std::string> starts = strings_of(vector.data(), stored);
        for (size_t i = 0; i < starts.size() && i < c.tokens.size(); ++i)
            starts[i].resize(std::min(starts[i].size(), c.tokens[i].size()));
        EXPECT_EQ(starts, c.tokens);
        EXPECT_EQ(vector[stored], nullptr) << "nothing written behind the tokens";
        if (n < 0) {
            EXPECT_EQ(VESK_STATUS_CODE(s.err.status), VESK_E_SYNTAX_UNMATCHED);
        }
    }
}

TEST(Split, CutsUnlessToldNotTo) {
    char text[] = "a b c d";
    char *v[2];
    EXPECT_EQ(NuStrsplit(text, nullptr, 0, v, 2, nullptr), 2);
    EXPECT_EQ(std::string(text, sizeof text - 1), std::string("a\0b\0c\0d", 7))
        << "cut behind the tokens stored and the one looked at after them";
    char single[] = "x+y";
    EXPECT_EQ(NuStrsplit(single, const_cast<char *>(std::string("[!+]").data()), 0, v, 2, nullptr), 2);
    EXPECT_STREQ(single, "x+y") << "the look behind the last token stored puts the cut 'y' back";
    char kept[] = "a b c";
    EXPECT_EQ(NuStrsplit(kept, nullptr, NU_TOK_NOCUT, v, 2, nullptr), 2);
    EXPECT_STREQ(kept, "a b c");
    EXPECT_EQ(v[1], kept + 2);
}

TEST(Split, RefusesNoVectorThenNoRoom) {
    char text[] = "a";
    char *v[1];
    Status none, small;
    EXPECT_EQ(NuStrsplit(text, nullptr, 0, nullptr, 0, &none.err), -1);
    expect_report(none.err, VESK_FAC_TOKEN, VESK_E_FAULT, EFAULT, 2,
                  ("NuStrsplit(@output-strings-vector)" + kFault).c_str());
    EXPECT_EQ(NuStrsplit(text, nullptr, 0, v, 0, &small.err), -1);
    expect_report(small.err, VESK_FAC_TOKEN, VESK_E_BUFSMALL, EOVERFLOW, 2,
                  "NuStrsplit(@output-strings-vector): the buffer is too small.");
    EXPECT_EQ(NuStrsplit(text, nullptr, 0, v, SIZE_MAX, nullptr), 1) << "any size is room enough";
    // Flags that take no token would stand still or read the delimit-string
    // as a count: they are dropped.
    const uint32_t steps = NU_TOK_SKIP | NU_TOK_SETDELIM | NU_TOK_FIXED;
    char three[] = "a b c";
    char **all = nullptr;
    EXPECT_EQ(NuAStrsplit(three, nullptr, steps, &all, nullptr), 3);
    NuMfree(all);
    EXPECT_EQ(NuStrwordc("a b c", nullptr, steps, nullptr), 3);
    EXPECT_EQ(NuStrword("a b c", nullptr, steps, -1, nullptr, nullptr), 1);
}

TEST(Split, IntoAGrowingVector) {
    for (int words : {1, 7, 8, 9, 16, 17, 100}) {
        SCOPED_TRACE(words);
        std::string text;
        std::vector<std::string> expected;
        for (int i = 0; i < words; ++i) {
            expected.push_back("w" + std::to_string(i));
            text += expected.back() + " ";
        }
        char **v = nullptr;
        ASSERT_EQ(NuAStrsplit(text.data(), nullptr, 0, &v, nullptr), words);
        EXPECT_EQ(strings_of(v, words), expected);
        EXPECT_EQ(v[words], nullptr) << "null behind the last token, growing if it was full";
        NuMfree(v);
    }
    char **v = reinterpret_cast<char **>(&v);
    char empty[] = "  ";
    EXPECT_EQ(NuAStrsplit(empty, nullptr, 0, &v, nullptr), 0);
    EXPECT_EQ(v, nullptr);

    char **kept = reinterpret_cast<char **>(&kept);
    char unmatched[] = "a b \"c";
    Status s;
    EXPECT_EQ(NuAStrsplit(unmatched, nullptr, 0, &kept, &s.err), -1);
    EXPECT_EQ(kept, reinterpret_cast<char **>(&kept)) << "a failure leaves the result alone";
    EXPECT_EQ(VESK_STATUS(VESK_FAC_TOKEN, VESK_E_SYNTAX_UNMATCHED), s.err.status);

    Status none;
    EXPECT_EQ(NuAStrsplit(empty, nullptr, 0, nullptr, &none.err), -1);
    expect_report(none.err, VESK_FAC_TOKEN, VESK_E_FAULT, EFAULT, 2,
                  ("NuAStrsplit(@output-strings-vector-ptr)" + kFault).c_str());

    char pair[] = "x y";
    char **simple = NuAStrsplit_s(pair, nullptr);
    ASSERT_NE(simple, nullptr);
    EXPECT_EQ(strings_of(simple, 2), (std::vector<std::string>{"x", "y"}));
    EXPECT_EQ(simple[2], nullptr);
    NuMfree(simple);
    EXPECT_EQ(NuAStrsplit_s(empty, nullptr), nullptr);
}

// The first block and each growth can fail: both are passed on under the
// splitter's facility, and nothing is left allocated.
TEST(Split, AllocationFailuresAreRestamped) {
    vesk_test::expect_in_fresh_process([] {
        static int calls;
        const NuMallocOpv failing = {
            nullptr, [](size_t n, size_t m) -> void * { return ++calls == 1 ? nullptr : calloc(n, m); },
            [](void *, size_t) -> void * { return nullptr; }, nullptr};
        CHILD_CHECK(_NuMallocOpv(&failing, nullptr) == 0);
        const int64_t restamped = VESK_STATUS(VESK_FAC_TOKEN, VESK_E_NOMEM);
        for (const char *text : {"a", "1 2 3 4 5 6 7 8"}) {
            std::string t = text;
            char **v = nullptr;
            Status s;
            CHILD_CHECK(NuAStrsplit(t.data(), nullptr, 0, &v, &s.err) == -1 && v == nullptr);
            CHILD_CHECK(s.err.status == restamped);
        }
    });
}

struct WordCase {
    const char *text;
    uint32_t flags;
    int32_t index;
    int32_t result;
    const char *word;
};

TEST(Words, ByIndexFromEitherEnd) {
    const WordCase cases[] = {
        {"a b c", 0, 0, 1, "a"},
        {"a b c", 0, 1, 1, "b"},
        {"a b c", 0, 3, 0, ""},
        {"a b c", 0, -1, 1, "c"},
        {"a b c", 0, -3, 1, "a"},
        {"a b c", 0, -4, 0, ""},
        {"a b c", 0, INT32_MIN, 0, ""},
        {"a b c", 0, INT32_MAX, 0, ""},
        {"", 0, 0, 0, ""},
        {nullptr, 0, -1, 0, ""},
        {"x 'b c' d", 0, 1, 5, "'b c'"},
        {"x 'b c' d", NU_TOK_NOQUOTE, 1, 2, "'b"},
        {"one two\tthree\nfour", 0, -2, 5, "three"},
        // The word functions never cut, so there is nothing to unescape.
        {"a\\ b c", NU_TOK_UNESC, 0, 4, "a\\ b"},
        // From the front the scan stops before the open quote; from the back
        // it reaches it.
        {"a 'b", 0, 0, 1, "a"},
        {"a 'b", 0, -1, -1, ""},
    };
    for (const WordCase &c : cases) {
        SCOPED_TRACE(std::string(c.text ? c.text : "(null)") + " @ " + std::to_string(c.index));
        const std::string before = c.text ? c.text : "";
        char buffer[64];
        memset(buffer, '#', sizeof buffer);
        Status s;
        EXPECT_EQ(NuStrword(c.text, nullptr, c.flags, c.index, buffer, &s.err), c.result);
        if (c.result >= 0) {
            EXPECT_STREQ(buffer, c.word);
        } else {
            EXPECT_EQ(VESK_STATUS_CODE(s.err.status), VESK_E_SYNTAX_UNMATCHED);
        }
        EXPECT_EQ(NuStrlword(c.text, nullptr, c.flags, c.index, nullptr, 0, nullptr), c.result)
            << "a null buffer measures";
        char *copy = reinterpret_cast<char *>(&copy);
        EXPECT_EQ(NuAStrword(c.text, nullptr, c.flags, c.index, &copy, nullptr), c.result);
        EXPECT_STREQ(copy, c.result > 0 ? c.word : nullptr);
        NuMfree(copy);
        EXPECT_EQ(before, c.text ? c.text : "") << "the text is left as it was";
    }
}

TEST(Words, BoundedBufferAndTheSharedOne) {
    char buffer[4] = "xyz";
    EXPECT_EQ(NuStrlword("hello", nullptr, 0, 0, buffer, 2, nullptr), 5);
    EXPECT_STREQ(buffer, "h");
    EXPECT_EQ(NuStrlword("hello", nullptr, 0, 0, buffer, 0, nullptr), 5);
    EXPECT_STREQ(buffer, "h") << "a size of 0 stores nothing";
    EXPECT_EQ(NuStrlword("a b", nullptr, 0, 5, buffer, sizeof buffer, nullptr), 0);
    EXPECT_STREQ(buffer, "");

    EXPECT_STREQ(NuStrword_nr("a b c", -1, nullptr), "c");
    const char *missing = NuStrword_nr("a b c", 9, nullptr);
    ASSERT_NE(missing, nullptr);
    EXPECT_STREQ(missing, "");
    EXPECT_STREQ(NuStrword_nr(std::string(2000, 'w').c_str(), 0, nullptr), std::string(1023, 'w').c_str());
    EXPECT_EQ(NuStrword_nr("'open", 0, nullptr), nullptr);

    Status s;
    EXPECT_EQ(NuAStrword("a", nullptr, 0, 0, nullptr, &s.err), -1);
    expect_report(s.err, VESK_FAC_TOKEN, VESK_E_FAULT, EFAULT, 2, ("NuAStrword(@output-word-ptr)" + kFault).c_str());
}

TEST(Words, Counted) {
    EXPECT_EQ(NuStrwordc("a 'b c' d", nullptr, 0, nullptr), 3);
    EXPECT_EQ(NuStrwordc("a 'b c' d", nullptr, NU_TOK_NOQUOTE, nullptr), 4);
    EXPECT_EQ(NuStrwordc(" \t", nullptr, 0, nullptr), 0);
    EXPECT_EQ(NuStrwordc(nullptr, nullptr, 0, nullptr), 0);
    char groups[] = "[!+]";
    EXPECT_EQ(NuStrwordc("x+y", groups, 0, nullptr), 3);
    Status s;
    EXPECT_EQ(NuStrwordc("a \"b", nullptr, 0, &s.err), -1);
    EXPECT_EQ(VESK_STATUS_CODE(s.err.status), VESK_E_SYNTAX_UNMATCHED);
}

// Every index from either end against a split of the same text: the two
// scanners walking apart must land where counting from the front does.
TEST(Words, AgreeWithASplit) {
    std::mt19937 rng(17);
    const char pieces[] = "ab '\"\t\\";
    for (int round = 0; round < 300; ++round) {
        std::string text;
        for (int i = rng() % 24; i > 0; --i)
            text += pieces[rng() % (sizeof pieces - 1)];
        SCOPED_TRACE(text);
        std::string uncut = text;
        char **v = nullptr;
        const int32_t n = NuAStrsplit(uncut.data(), nullptr, NU_TOK_NOCUT, &v, nullptr);
        if (n < 0) {  // what cannot be split has no last word either
            EXPECT_EQ(NuStrword(text.c_str(), nullptr, 0, -1, nullptr, nullptr), -1);
            continue;
        }
        for (int32_t index = -n - 1; index <= n; ++index) {
            const int32_t length = NuStrword(text.c_str(), nullptr, 0, index, nullptr, nullptr);
            const int32_t at = index < 0 ? n + index : index;
            if (at < 0 || at >= n) {
                EXPECT_EQ(length, 0) << index;
                continue;
            }
            std::string word(size_t(length), '\0');
            NuStrword(text.c_str(), nullptr, 0, index, word.data(), nullptr);
            EXPECT_EQ(text.compare(size_t(v[at] - uncut.data()), word.size(), word), 0) << index;
        }
        NuMfree(v);
    }
}

}  // namespace
