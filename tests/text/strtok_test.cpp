// SPDX-License-Identifier: MIT
// The scanner: the language of the delimit-string and the token sequences it
// gives, in 8-bit and 16-bit text; the reports; the mid-text steps (new
// delimiters, SKIP, FIXED, SETDELIM); and plain delimiter sets against
// strtok_r on random text.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "nu.h"
#include "support/status.hpp"
#include "text/strtok.hpp"

namespace {

using vesk::text::tokenise;
using vesk::text::token_state_t;
using vesk_test::Status;

struct Token {
    std::string text;
    int32_t type;
    bool operator==(const Token &) const = default;
};

std::ostream &operator<<(std::ostream &os, const Token &t) {
    return os << '"' << t.text << "\"/" << t.type;
}

template <class Unit>
std::basic_string<Unit> units(const std::string &s) {
    return std::basic_string<Unit>(s.begin(), s.end());
}

std::string narrow(const char *p, size_t n) { return std::string(p, n); }
std::string narrow(const char16_t *p, size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i)
        s += static_cast<char>(p[i]);
    return s;
}

// What one scan of a whole text gave: the tokens, the last result, the report
// and the text as the scan left it.
struct Scan {
    std::vector<Token> tokens;
    int64_t last = 0;
    int64_t status = 0;
    std::string message;
    std::string after;
};

template <class Unit>
Scan scan(const std::string &text, const std::string &delimit, uint32_t flags) {
    auto t = units<Unit>(text);
    auto d = units<Unit>(delimit);
    token_state_t<Unit> state;
    std::memset(&state, 0x5A, sizeof state);  // a new scan clears whatever was there
    Status st;
    Scan out;
    const bool cut = !(flags & (NU_TOK_NOCUT | NU_TOK_KEEPLF | NU_TOK_KEEPCR));
    int64_t r = tokenise(t.data(), d.data(), flags, &state, &st.err);
    while (r == 1 && out.tokens.size() < 100) {
        out.tokens.push_back({narrow(state.tok_text, state.tok_len), state.tok_type});
        if (cut) {
            EXPECT_EQ(state.tok_text[state.tok_len], 0) << "token cut in the text: " << text;
        }
        r = tokenise(static_cast<Unit *>(nullptr), static_cast<Unit *>(nullptr), flags, &state,
                       &st.err);
    }
    out.last = r;
    out.status = st.err.status;
    out.message = st.buf;
    out.after = narrow(t.data(), t.size());
    return out;
}

constexpr int32_t W = NU_TOK_WORD;
constexpr int32_t SQ = NU_TOK_SQUOTED;
constexpr int32_t DQ = NU_TOK_DQUOTED;

struct Case {
    const char *text;
    const char *delimit;
    uint32_t flags;
    std::vector<Token> tokens;
    int64_t last = 0;             // 0, or -1 with the report below
    int32_t code = 0;             // the report's code (facility 504), 0 for none
    const char *message = "";     // the 8-bit sentence
    const char *after = nullptr;  // the text after the scan, if it matters
};

const std::vector<Case> kCases = {
    // plain delimiters
    {"a b  c", " ", 0, {{"a", W}, {"b", W}, {"c", W}}},
    {"  ", " ", 0, {}},
    {" a ", " ", 0, {{"a", W}}},
    {"a b c", "", 0, {{"a b c", W}}},
    {"q[x] z", "[x]abc", 0, {{"q", W}, {" z", W}}},  // not a group: six delimiters
    // singles and word sets
    {"x+y", "[!+] ", 0, {{"x", W}, {"+", '+'}, {"y", W}}, 0, 0, "", "x+y"},
    {"++ +", "[!+] ", 0, {{"+", '+'}, {"+", '+'}, {"+", '+'}}, 0, 0, "", "++ +"},
    {"a]b", "[!]]", 0, {{"a", W}, {"]", ']'}, {"b", W}}},
    {"a:b;c", "[^abc]", 0, {{"a", W}, {"b", W}, {"c", W}}},
    {"1+2", "[^0123456789+][!+]", 0, {{"1", W}, {"+", '+'}, {"2", W}}},
    {"+1+2", "[!+][^0123456789]", 0, {{"1", W}, {"+", '+'}, {"2", W}}},  // skipped where it opens a token
    // atoms
    {"f(a(b)c) d", "[@(*)] ", 0, {{"f", W}, {"(a(b)c)", -1}, {"d", W}}, 0, 0, "", "f(a(b)c) d"},
    {"a<<b>>c d", "[@<<*>>] ", 0, {{"a", W}, {"<<b>>", -1}, {"c", W}, {"d", W}}},
    {"x::y", "[@::] ", 0, {{"x", W}, {"::", -1}, {"y", W}}},
    {"a-b", "[@-] ", 0, {{"a-b", W}}},
    {"a /*c*/ b", "[@/\\**\\*/] ", 0, {{"a", W}, {"/*c*/", -1}, {"b", W}}},
    {"a::b->c", "[@::||->]", 0, {{"a", W}, {"::", -1}, {"b", W}, {"->", -2}, {"c", W}}},
    {"a:::b", "[@::||:::]", 0, {{"a", W}, {"::", -1}, {":b", W}}},  // first entry, not longest
    {"a<<b>>", "[@<<*>>||]", 0, {{"a", W}, {"<<b>>", -1}}},          // final "||"
    {"x|a]y", "[@\\|*\\]]", 0, {{"x", W}, {"|a]", -1}, {"y", W}}},   // escaped markers
    {"(x)y z", "[@(*)] ", 0, {{"(x)", -1}, {"y", W}, {"z", W}}},
    {"ab(c)", "[@(*)]", 0, {{"ab", W}, {"(c)", -1}}},
    {"(a\\)b) c", "[@(*)] ", 0, {{"(a\\)b)", -1}, {"c", W}}},
    {"(a\\)b) c", "[@(*)] ", NU_TOK_NOATOMESC, {{"(a\\)", -1}, {"b)", W}, {"c", W}}},
    {"[a[b]]c", "[@\\[*\\]]", 0, {{"[a[b]]", -1}, {"c", W}}},
    // quotes
    {"say 'hello world' now", " ", NU_TOK_SQUOTE, {{"say", W}, {"'hello world'", SQ}, {"now", W}}},
    {"x \"a b\" y", " ", NU_TOK_DQUOTE, {{"x", W}, {"\"a b\"", DQ}, {"y", W}}},
    {"'a b'", " ", NU_TOK_SQUOTE | NU_TOK_NOQUOTE, {{"'a", W}, {"b'", W}}},
    {"'a b'", "[@'*'] ", 0, {{"'a b'", SQ}}},
    {"'a b'", "[@'*'] ", NU_TOK_NOQUOTE, {{"'a", W}, {"b'", W}}},
    {"'a b'", "[@'] ", 0, {{"'a", W}, {"b'", W}}},  // a quote entry without a close marker
    // backslashes
    {"a\\ b c", " ", NU_TOK_UNESC, {{"a b", W}, {"c", W}}},
    {"a\\ b c", " ", 0, {{"a\\ b", W}, {"c", W}}},
    {"a\\ b c", " ", NU_TOK_UNESC | NU_TOK_NOESC, {{"a\\", W}, {"b", W}, {"c", W}}},
    {"'a\\'b' c", " ", NU_TOK_SQUOTE | NU_TOK_UNESC, {{"'a'b'", SQ}, {"c", W}}},
    {"'a\\'b' c", " ", NU_TOK_SQUOTE | NU_TOK_UNESC | NU_TOK_NOATOMESC, {{"'a\\'", SQ}}, -1,
     VESK_E_SYNTAX_UNMATCHED, "' c: <# atom-expression #> syntax error: unmatched character '''."},
    {"ab\\", " ", NU_TOK_UNESC, {{"ab", W}}},
    {"ab\\", " ", 0, {{"ab\\", W}}},
    {"a\\\\\\", " ", 0, {{"a\\\\\\", W}}},  // the text ends inside the pairs
    {"x(a)b", "[@(*)]", NU_TOK_UNESC, {{"x", W}, {"(a)", -1}, {"b", W}}},
    // the cut flags
    {"a\nb", "\n", NU_TOK_KEEPLF, {{"a", W}, {"b", W}}, 0, 0, "", "a\nb"},
    {"a\rb", "\r", NU_TOK_KEEPCR, {{"a", W}, {"b", W}}, 0, 0, "", "a\rb"},
    {"a b(c)", "[@(*)] ", NU_TOK_NOCUT, {{"a", W}, {"b", W}, {"(c)", -1}}, 0, 0, "", "a b(c)"},
    // unmatched atoms
    {"'x", " ", NU_TOK_SQUOTE, {}, -1, VESK_E_SYNTAX_UNMATCHED,
     "'x: <# atom-expression #> syntax error: unmatched character '''."},
    {"((a)", "[@(*)]", 0, {}, -1, VESK_E_SYNTAX_UNMATCHED,
     "((a): <# atom-expression #> syntax error: unmatched character '('."},
    {"x <<a", "[@<<*>>] ", 0, {{"x", W}}, -1, VESK_E_SYNTAX_UNMATCHED,
     "<a: <# atom-expression #> syntax error: unmatched character '<'."},
    {"(a\\", "[@(*)]", 0, {}, -1, VESK_E_SYNTAX_UNMATCHED,
     "(a\\: <# atom-expression #> syntax error: unmatched character '('."},
};

template <class Unit>
void check_case(const Case &c) {
    const Scan s = scan<Unit>(c.text, c.delimit, c.flags);
    const std::string where = std::string(sizeof(Unit) == 1 ? "8-bit " : "16-bit ") + "\"" +
                              c.text + "\" with \"" + c.delimit + "\", flags " +
                              std::to_string(c.flags);
    EXPECT_EQ(s.tokens, c.tokens) << where;
    EXPECT_EQ(s.last, c.last) << where;
    if (c.code != 0) {
        EXPECT_EQ(s.status, VESK_STATUS(VESK_FAC_TOKEN, c.code)) << where;
        EXPECT_EQ(s.message, sizeof(Unit) == 1 ? std::string(c.message)
                                               : "???" + std::string(std::strchr(c.message, ':')))
            << where;
    }
    if (c.after != nullptr) {
        EXPECT_EQ(s.after, c.after) << where;
    }
}

TEST(Strtok, EachCaseGivesItsTokens) {
    for (const Case &c : kCases) {
        check_case<char>(c);
        check_case<char16_t>(c);
    }
}

TEST(Strtok, RefusedDelimitStrings) {
    const char *const refused[] = {"[@a*b",    "[!x",       "[@*b]",      "[!a][!b]",
                                   "[!]",      "[@a\\]]",   "[@]",        "[@a||||b]",
                                   "[@a*b||",  "[^",        "[@a\\",      "[@a*\\",
                                   "[^x][^y]", "[@a][!x][@b]",
                                   // 0x01 parts an entry's markers: no marker holds it (an open
                                   // marker "\x01}|" once made the atom search loop for ever)
                                   "[@\x01}|]", "[@(*a\x01)]"};
    for (const char *d : refused) {
        Status st;
        NuSTRTOK state{};
        std::string text = "abc", delimit = d;
        EXPECT_EQ(NuStrtok(text.data(), delimit.data(), 0, &state, &st.err), -1) << d;
        vesk_test::expect_report(st.err, VESK_FAC_TOKEN, VESK_E_SYNTAX, EINVAL, 1);
        EXPECT_NE(std::strstr(st.buf, ": <# @delimit-string #> syntax error."), nullptr) << st.buf;
        EXPECT_EQ(text, "abc") << "the text is untouched";

        Status wst;
        NuWCSTOK wstate{};
        auto wtext = units<char16_t>("abc"), wdelimit = units<char16_t>(d);
        EXPECT_EQ(NuWcstok(wtext.data(), wdelimit.data(), 0, &wstate, &wst.err), -1) << d;
        EXPECT_STREQ(wst.buf, "???: <# @delimit-string #> syntax error.");
    }
    // What was compiled before the fault stays; the sentence shows the string as it stands.
    Status st;
    NuSTRTOK state{};
    std::string text = "abc", delimit = "[!+][!-]";
    EXPECT_EQ(NuStrtok(text.data(), delimit.data(), 0, &state, &st.err), -1);
    EXPECT_STREQ(state.singles, "+");
    EXPECT_STREQ(st.buf, "[!+: <# @delimit-string #> syntax error.");
}

TEST(Strtok, AtomTableIsAChainInTheGroup) {
    std::string d = "[@a\\*b*c||::]x";
    NuSTRTOK state{};
    std::string text = "q";
    ASSERT_EQ(NuStrtok(text.data(), d.data(), 0, &state, nullptr), 1);
    ASSERT_EQ(state.atoms, d.data() + 1);
    const std::string first(state.atoms + 1);
    EXPECT_EQ(first, "a*b\x01" "c");
    const int link = static_cast<unsigned char>(state.atoms[0]);
    EXPECT_EQ(std::string(state.atoms + link + 1), "::");
    EXPECT_EQ(state.atoms[link], 0) << "last entry";
    EXPECT_STREQ(state.delims, "x");

    // An 8-bit link counts at most 255 units; a 16-bit one takes the same entry.
    const std::string wide = "[@" + std::string(300, 'a') + "||bc]";
    std::string d8 = wide;
    EXPECT_EQ(NuStrtok(text.data(), d8.data(), 0, &state, nullptr), -1);
    auto d16 = units<char16_t>(wide);
    auto t16 = units<char16_t>("bc");
    NuWCSTOK wstate{};
    ASSERT_EQ(NuWcstok(t16.data(), d16.data(), 0, &wstate, nullptr), 1);
    EXPECT_EQ(wstate.tok_type, -2);
}

TEST(Strtok, NewDelimitersScanTheEndingUnitAgain) {
    std::string text = "ab,cd ef", d1 = ",", d2 = " ", d3 = "[!,] ";
    NuSTRTOK s{};
    ASSERT_EQ(NuStrtok(text.data(), d1.data(), 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "ab");
    EXPECT_EQ(s.tok_end, ',');
    // The comma is put back and scanned afresh: it is a single now.
    ASSERT_EQ(NuStrtok(nullptr, d3.data(), NU_TOK_SETDELIM, &s, nullptr), 1);
    EXPECT_EQ(s.tok_type, 0);
    EXPECT_EQ(text, "ab,cd ef");
    ASSERT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), ",");
    ASSERT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "cd");
    // Without SETDELIM the new delimiters take the next token at once.
    ASSERT_EQ(NuStrtok(nullptr, d2.data(), 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "ef");
    EXPECT_EQ(s.tok_end, 0) << "the last token ends at the text's own NUL";
    EXPECT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 0);
    EXPECT_EQ(s.cursor, nullptr);
    EXPECT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 0);

    // A new text keeps the tables compiled last.
    std::string again = "x,y z";
    ASSERT_EQ(NuStrtok(again.data(), nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "x,y");
    ASSERT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "z");
}

TEST(Strtok, SkipStopsInFrontOfTheNextToken) {
    std::string text = "  ab+cd", d = "[!+] ";
    NuSTRTOK s{};
    ASSERT_EQ(NuStrtok(text.data(), d.data(), NU_TOK_SKIP, &s, nullptr), 1);
    EXPECT_EQ(s.cursor, text.data() + 2);
    EXPECT_EQ(s.tok_type, 0);
    ASSERT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "ab");
    // A pending single is put back and the cursor stands on it.
    ASSERT_EQ(NuStrtok(nullptr, nullptr, NU_TOK_SKIP, &s, nullptr), 1);
    EXPECT_EQ(s.cursor, text.data() + 4);
    EXPECT_EQ(text[4], '+');
    ASSERT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(s.tok_type, '+');
    // After a single, a skip leaves nothing behind.
    ASSERT_EQ(NuStrtok(nullptr, nullptr, NU_TOK_SKIP, &s, nullptr), 1);
    EXPECT_EQ(s.cursor, text.data() + 5);
    ASSERT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "cd");
    EXPECT_EQ(text, std::string("  ab+cd"));
}

TEST(Strtok, FixedTakesCountUnitsAsTheyCome) {
    std::string text = "abc def", d = " ";
    NuSTRTOK s{};
    size_t three = 3, two = 2;
    ASSERT_EQ(NuStrtok(text.data(), d.data(), NU_TOK_SETDELIM, &s, nullptr), 1);
    ASSERT_EQ(NuStrtok(nullptr, reinterpret_cast<char *>(&three), NU_TOK_FIXED, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "abc");
    EXPECT_EQ(s.tok_type, NU_TOK_WORD);
    EXPECT_EQ(s.cursor, text.data() + 3);
    ASSERT_EQ(NuStrtok(nullptr, nullptr, 0, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "def");
    // Behind a single, the take starts at the unit behind the single.
    std::string t2 = "+xyz", d2 = "[!+]";
    ASSERT_EQ(NuStrtok(t2.data(), d2.data(), 0, &s, nullptr), 1);
    ASSERT_EQ(NuStrtok(nullptr, reinterpret_cast<char *>(&two), NU_TOK_FIXED, &s, nullptr), 1);
    EXPECT_EQ(std::string(s.tok_text, s.tok_len), "xy");
    EXPECT_EQ(t2, "+xyz");
    // A count the address space can't hold is refused.
    size_t huge = SIZE_MAX;
    Status st;
    EXPECT_EQ(NuStrtok(nullptr, reinterpret_cast<char *>(&huge), NU_TOK_FIXED, &s, &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_TOKEN, VESK_E_INVAL, EINVAL, 2);
}

TEST(Strtok, NullStateIsReported) {
    Status st;
    std::string text = "a", d = " ";
    EXPECT_EQ(NuStrtok(text.data(), d.data(), 0, nullptr, &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_TOKEN, VESK_E_FAULT, EFAULT, 2);
    EXPECT_EQ(NuWcstok(nullptr, nullptr, 0, nullptr, nullptr), -1);
}

// Plain delimiter sets give what strtok_r gives, on random text.
TEST(Strtok, PlainDelimitersAgreeWithStrtokR) {
    std::mt19937 rng(20240611);
    const std::string alphabet = "ab \t,;x\n";
    for (int round = 0; round < 2000; ++round) {
        std::string text(rng() % 40, ' ');
        for (char &c : text)
            c = alphabet[rng() % alphabet.size()];
        std::string delims;
        for (size_t n = 1 + rng() % 3; n > 0; --n)
            delims += " \t,;\n"[rng() % 5];
        std::vector<std::string> expected;
        std::string copy = text;
        char *save = nullptr;
        for (char *t = strtok_r(copy.data(), delims.c_str(), &save); t != nullptr;
             t = strtok_r(nullptr, delims.c_str(), &save))
            expected.emplace_back(t);
        // No backslash or quote in this alphabet, so the defaults are plain.
        const Scan s = scan<char>(text, delims, 0);
        std::vector<std::string> got;
        for (const Token &t : s.tokens)
            got.push_back(t.text);
        ASSERT_EQ(got, expected) << "text \"" << text << "\" delimiters \"" << delims << '"';
        ASSERT_EQ(scan<char16_t>(text, delims, 0).tokens, s.tokens);
    }
}

TEST(Strtok, WideUnitsAboveTheByteRange) {
    std::u16string text = u"\u4e00\u4e01\u3000\u4e02+\u4e03";
    std::u16string d = u"[!+]\u3000";
    NuWCSTOK s{};
    std::vector<std::u16string> got;
    for (int64_t r = NuWcstok(text.data(), d.data(), 0, &s, nullptr); r == 1;
         r = NuWcstok(nullptr, nullptr, 0, &s, nullptr))
        got.emplace_back(s.tok_text, s.tok_len);
    EXPECT_EQ(got, (std::vector<std::u16string>{u"\u4e00\u4e01", u"\u4e02", u"+", u"\u4e03"}));

    std::u16string words = u"[^\u4e00\u4e01]", t2 = u"\u4e00\u4e02\u4e01";
    got.clear();
    for (int64_t r = NuWcstok(t2.data(), words.data(), 0, &s, nullptr); r == 1;
         r = NuWcstok(nullptr, nullptr, 0, &s, nullptr))
        got.emplace_back(s.tok_text, s.tok_len);
    EXPECT_EQ(got, (std::vector<std::u16string>{u"\u4e00", u"\u4e01"}));
}

}  // namespace
