// SPDX-License-Identifier: MIT
// Hostile input to every text function: null pointers, zero and maximal
// sizes, negative and huge costs and counts, lengths whose bytes overflow,
// formats that name what isn't there, spans that wrap, and the patterns that made
// the backtracking compare run for seconds or overflow its stack. Each case
// runs in a child with a time limit, so a crash or a hang fails that case.
#include <gtest/gtest.h>

#include <cerrno>
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "nu.h"
#include "support/child.hpp"
#include "support/hostile.hpp"

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

// A string variable holding "keep", and whether an operation on it left it
// so with this errno.
struct Kept {
    char *s = nullptr;
    char16_t *w = nullptr;
    Kept() {
        NuSTRcpy(&s, "keep");
        NuWCScpy(&w, u"keep");
        errno = 0;
    }
    ~Kept() {
        NuSTRfree(&s);
        NuWCSfree(&w);
    }
    bool held(int errnum) const {
        return errno == errnum && std::string(s) == "keep" && std::u16string(w) == u"keep";
    }
};

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

    {"strings: no variable does nothing",
     [] {
         return NuSTRcpy(nullptr, "x") == nullptr && NuSTRcat(nullptr, "x") == nullptr &&
                NuWCSncat(nullptr, u"x", 1) == nullptr && NuSTRprintf(nullptr, "%d", 1) == nullptr &&
                NuWCScatprintf(nullptr, u"%d", 1) == nullptr &&
                NuSTRnintercalate(nullptr, ",", nullptr, 3) == nullptr &&
                (NuSTRfree(nullptr), NuWCSfree(nullptr), true);
     }},
    {"strings: null strings read as empty",
     [] {
         return NuSTRlen(nullptr) == 0 && NuWCSlen(nullptr) == 0 && NuSTRempty(nullptr) == 1 &&
                NuWCSempty(nullptr) == 1;
     }},
    {"strings: appending SIZE_MAX units",
     [] {
         Kept k;
         NuSTRncat(&k.s, "x", SIZE_MAX);
         NuWCSncat(&k.w, u"x", SIZE_MAX);
         return k.held(EOVERFLOW);
     }},
    {"strings: 16-bit lengths whose bytes overflow",
     [] {
         Kept k;
         NuWCSncpy(&k.w, u"x", SIZE_MAX / 2);
         NuWCSncat(&k.w, u"x", SIZE_MAX / 2 - 2);
         NuWCSncat(&k.w, u"x", size_t{PTRDIFF_MAX} / 2);
         return k.held(EOVERFLOW);
     }},
    {"strings: a join of INT32_MAX nothings is quick",
     [] {
         Kept k;
         NuSTRnintercalate(&k.s, "", nullptr, INT32_MAX);
         NuWCSnintercalate(&k.w, nullptr, nullptr, INT32_MAX);
         return std::string(k.s).empty() && k.w[0] == 0;
     }},
    {"strings: a negative count",
     [] {
         Kept k;
         NuSTRintercalate(&k.s, ",", -1, "a");
         NuWCSnintercalate(&k.w, u",", nullptr, INT32_MIN);
         return k.held(EINVAL);
     }},
    {"strings: null formats read as empty, null text as (null)",
     [] {
         char *s = nullptr;
         NuSTRprintf(&s, nullptr);
         const bool empty = s != nullptr && s[0] == 0;
         const char *volatile none = nullptr;  // hidden from the format check
         NuSTRprintf(&s, "%s", none);
         const bool null_text = std::string(s) == "(null)";
         NuSTRfree(&s);
         char *r = nullptr;
         const bool as = NuAsprintf(&r, nullptr) == 0 && r != nullptr && r[0] == 0;
         std::free(r);
         return empty && null_text && as;
     }},
    {"strings: a 16-bit text longer than INT_MAX units",
     [] {
         Kept k;
         NuWCSprintf(&k.w, u"%2147483647s%2147483647s", u"", u"");
         return k.held(EOVERFLOW);
     }},
    {"strings: a position far past the arguments reads none of them",
     [] {
         Kept k;
         NuWCSprintf(&k.w, u"%4096$d");
         NuWCScatprintf(&k.w, u"%1$*4000$d", 5);
         return k.held(EINVAL);
     }},
    {"strings: widths and positions past INT_MAX",
     [] {
         Kept k;
         NuWCSprintf(&k.w, u"%99999999999999999999d", 1);
         const bool width = k.held(EOVERFLOW);
         NuWCSprintf(&k.w, u"%.99999999999999999999s", u"x");
         NuWCSprintf(&k.w, u"%99999999999999999999$d", 1);
         return width && k.held(EOVERFLOW);
     }},
    {"strings: asprintf without a result",
     [] { return refused(NuAsprintf(nullptr, "x"), EINVAL) && refused(aswprintf(nullptr, u"x"), EINVAL); }},
    {"bytes: null spans and the largest count",
     [] {
         char buf[4] = "abc";
         NuBcopy(nullptr, buf, SIZE_MAX);
         NuBcopy(buf, nullptr, SIZE_MAX);
         NuBzero(nullptr, SIZE_MAX);
         return NuBcmp(nullptr, nullptr, SIZE_MAX) == 0 && NuBcmp(nullptr, buf, SIZE_MAX) == -1 &&
                NuBcmp(buf, buf, SIZE_MAX) == 0 && std::string(buf) == "abc";
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

// A copy of `s` whose terminator is the last unit of a page, with a page
// that can't be read behind it: a reader that looks past the end faults.
template <class Unit>
const Unit *at_page_end(const std::basic_string<Unit> &s) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bytes = (s.size() + 1) * sizeof(Unit);
    const size_t span = (bytes + page - 1) / page * page;
    void *m = mmap(nullptr, span + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m == MAP_FAILED)
        return nullptr;
    mprotect(static_cast<char *>(m) + span, page, PROT_NONE);
    auto *copy = reinterpret_cast<Unit *>(static_cast<char *>(m) + span - bytes);
    std::copy(s.begin(), s.end(), copy);
    copy[s.size()] = 0;
    return copy;
}

int64_t read_mode(int64_t (*reader)(const char *, int32_t *, int32_t *, VeskErr *),
                  const std::string &mode, int32_t want_flags, int32_t want_perm, VeskErr *err) {
    int32_t flags = -1, perm = -1;
    const int64_t r = reader(mode.c_str(), &flags, &perm, err);
    return r != 0 || (flags == want_flags && perm == want_perm) ? r : 99;
}

std::string invalid(const char *who) { return std::string(who) + ": invalid argument."; }
std::string fault(const char *who) { return std::string(who) + vesk_test::kFault; }

constexpr size_t kHuge = 16u << 20;

const vesk_test::HostileCase kModeCases[] = {
    {"mode: null C mode", [](VeskErr *e) { return NuMkcmode(nullptr, nullptr, nullptr, e); }, -1,
     {VESK_FAC_CMODE, VESK_E_FAULT, EFAULT, 2, fault("NuMkcmode(@mode)")}},
    {"mode: null flags",
     [](VeskErr *e) { return NuWmkcmode(u"r", nullptr, nullptr, e); }, -1,
     {VESK_FAC_CMODE, VESK_E_FAULT, EFAULT, 2, fault("NuWmkcmode(@flags)")}},
    {"mode: null mode to either reads as C",
     [](VeskErr *e) { int32_t f; return NuMkcunmode(nullptr, &f, nullptr, e); }, -1,
     {VESK_FAC_CMODE, VESK_E_FAULT, EFAULT, 2, fault("NuMkcmode(@mode)")}},
    {"mode: null flags behind unix:",
     [](VeskErr *e) { return NuMkcunmode("unix:r", nullptr, nullptr, e); }, -1,
     {VESK_FAC_OPEN, VESK_E_FAULT, EFAULT, 2, fault("NuMkunmode(@flags)")}},
    {"mode: refused with no record",
     [](VeskErr *) { int32_t f; return NuMkunmode("q", &f, nullptr, nullptr); }, -1,
     vesk_test::kNoReport},
    {"mode: 16 MiB of passed-over units",
     [](VeskErr *e) { return read_mode(NuMkcmode, "a+" + std::string(kHuge, 'x'), 0x10A, 0644, e); },
     0, vesk_test::kNoReport},
    {"mode: 16 MiB octal permission",
     [](VeskErr *e) { return read_mode(NuMkunmode, "c,0" + std::string(kHuge, '7'), 0x100, 07777, e); },
     0, vesk_test::kNoReport},
    {"mode: 16 MiB of blanks behind a clause",
     [](VeskErr *e) { return read_mode(NuMkunmode, "c,u=r" + std::string(kHuge, '\t'), 0, 0, e); },
     -1, {VESK_FAC_OPEN, VESK_E_INVAL, EINVAL, 2, invalid("NuMkunmode(@perm)")}},
    {"mode: prefixes cut by the end of readable memory",
     [](VeskErr *) {
         int32_t f, p;
         int64_t r = 0;
         for (const char *m : {"", "u", "un", "uni", "unix", "unix:", "l", "libc"})
             r += NuMkcunmode(at_page_end<char>(m), &f, &p, nullptr);
         for (const char16_t *m : {u"unix", u"unix:", u"libc:"})
             r += NuWmkcunmode(at_page_end<char16_t>(m), &f, &p, nullptr) +
                  NuWmkunmode(at_page_end<char16_t>(m), &f, &p, nullptr);
         return r;  // refused: "libc" in C ("b" first), "unix" and "libc:" as unix
     },
     -3, vesk_test::kNoReport},
    {"mode: clauses cut by the end of readable memory",
     [](VeskErr *) {
         int32_t f, p;
         int64_t r = 0;
         for (const char *m : {"c,u", "c,u=", "c,u=r ", "c,0", "c,"})
             r = r * 2 + NuMkunmode(at_page_end<char>(m), &f, &p, nullptr);
         return r;  // only "c,u" is refused
     },
     -16, vesk_test::kNoReport},
};

TEST(TextHostileInput, ModeStringsReportOrAnswerInTheirOwnProcess) {
    vesk_test::run_cases(kModeCases);
}

}  // namespace
