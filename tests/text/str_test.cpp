// SPDX-License-Identifier: MIT
// Growable strings: the operations' results in both widths, aliasing of
// every operation with its own variable (also when every resize moves the
// block), exact block sizes, and every failed allocation leaving the
// variable as it was with nothing leaked. The allocator-table cases run in
// fresh processes, as the table can be replaced only before its first use.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "nu.h"
#include "support/status.hpp"

namespace {

using vesk_test::expect_in_fresh_process;

// The operations of one width, so that each case is written once.
template <class U>
struct Ops;

template <>
struct Ops<char> {
    static constexpr auto cpy = NuSTRcpy;
    static constexpr auto ncpy = NuSTRncpy;
    static constexpr auto cat = NuSTRcat;
    static constexpr auto ncat = NuSTRncat;
    static constexpr auto join = NuSTRnintercalate;
    static constexpr auto vjoin = NuSTRvintercalate;
    static constexpr auto vprintf = NuSTRvprintf;
    static constexpr auto catvprintf = NuSTRcatvprintf;
    static constexpr auto free = NuSTRfree;
    static constexpr auto len = NuSTRlen;
    static constexpr auto empty = NuSTRempty;
    static constexpr const char *kAppendString = "%s|%s";
};

template <>
struct Ops<char16_t> {
    static constexpr auto cpy = NuWCScpy;
    static constexpr auto ncpy = NuWCSncpy;
    static constexpr auto cat = NuWCScat;
    static constexpr auto ncat = NuWCSncat;
    static constexpr auto join = NuWCSnintercalate;
    static constexpr auto vjoin = NuWCSvintercalate;
    static constexpr auto vprintf = NuWCSvprintf;
    static constexpr auto catvprintf = NuWCScatvprintf;
    static constexpr auto free = NuWCSfree;
    static constexpr auto len = NuWCSlen;
    static constexpr auto empty = NuWCSempty;
    static constexpr const char16_t *kAppendString = u"%s|%s";
};

template <class U>
std::basic_string<U> text(const char *ascii) {
    return std::basic_string<U>(ascii, ascii + std::strlen(ascii));
}

template <class U>
std::string ascii(const U *s) {
    std::string out;
    for (; s != nullptr && *s != 0; ++s)
        out += char(*s);
    return out;
}

template <class U>
U **printf_to(U **s, const U *format, ...) {
    va_list ap;
    va_start(ap, format);
    Ops<U>::vprintf(s, format, ap);
    va_end(ap);
    return s;
}

template <class U>
U **catprintf_to(U **s, const U *format, ...) {
    va_list ap;
    va_start(ap, format);
    Ops<U>::catvprintf(s, format, ap);
    va_end(ap);
    return s;
}

template <class U>
U **vjoin_to(U **s, const U *separator, int32_t count, ...) {
    va_list ap;
    va_start(ap, count);
    Ops<U>::vjoin(s, separator, count, ap);
    va_end(ap);
    return s;
}

// An operation on a string variable that starts as "hello world"; the case
// gives the expected text (null: the variable is null). A case whose name
// says "by hand" writes into the string before the operation.
template <class U>
struct Case {
    const char *name;
    void (*run)(U **s);
    const char *expect;
    bool by_hand() const { return std::strstr(name, "by hand") != nullptr; }
};

template <class U>
const std::vector<Case<U>> &cases() {
    using O = Ops<U>;
    static const std::basic_string<U> abcdef = text<U>("abcdef"), sep = text<U>(", "),
                                      x = text<U>("x");
    static const std::vector<Case<U>> all = {
        {"cpy of a literal", [](U **s) { O::cpy(s, abcdef.c_str()); }, "abcdef"},
        {"cpy of null gives empty", [](U **s) { O::cpy(s, nullptr); }, ""},
        {"cpy of its own tail drops two", [](U **s) { O::cpy(s, *s + 2); }, "llo world"},
        {"cpy of itself", [](U **s) { O::cpy(s, *s); }, "hello world"},
        {"ncpy takes exactly n", [](U **s) { O::ncpy(s, abcdef.c_str(), 3); }, "abc"},
        {"ncpy of 0", [](U **s) { O::ncpy(s, abcdef.c_str(), 0); }, ""},
        {"ncpy from inside", [](U **s) { O::ncpy(s, *s + 6, 3); }, "wor"},
        {"cat of null appends nothing", [](U **s) { O::cat(s, nullptr); }, "hello world"},
        {"cat of itself doubles", [](U **s) { O::cat(s, *s); }, "hello worldhello world"},
        {"cat of its tail", [](U **s) { O::cat(s, *s + 6); }, "hello worldworld"},
        {"cat of its terminator", [](U **s) { O::cat(s, *s + O::len(*s)); }, "hello world"},
        {"cat behind a terminator written by hand",
         [](U **s) {
             (*s)[5] = 0;
             O::cat(s, *s + 6);
         },
         "helloworld"},
        {"ncat counts units", [](U **s) { O::ncat(s, abcdef.c_str(), 2); }, "hello worldab"},
        {"ncat of its own head", [](U **s) { O::ncat(s, *s, 5); }, "hello worldhello"},
        {"ncat of 0 from null", [](U **s) { O::ncat(s, nullptr, 7); }, "hello world"},
        {"printf with itself as argument",
         [](U **s) { printf_to(s, O::kAppendString, *s, x.c_str()); }, "hello world|x"},
        {"printf with its own tail as the format, written by hand",
         [](U **s) {
             (*s)[5] = U('%'), (*s)[6] = U('s');
             printf_to(s, *s + 5, x.c_str());
         },
         "xorld"},
        {"catprintf of itself",
         [](U **s) { catprintf_to(s, O::kAppendString, *s + 6, *s); },
         "hello worldworld|hello world"},
        {"join of three", [](U **s) {
             const U *parts[] = {abcdef.c_str(), nullptr, x.c_str()};
             O::join(s, sep.c_str(), parts, 3);
         },
         "abcdef, , x"},
        {"join with itself among the sources", [](U **s) {
             const U *parts[] = {*s, *s + 6};
             O::join(s, sep.c_str(), parts, 2);
         },
         "hello world, world"},
        {"join of one writes no separator", [](U **s) {
             const U *parts[] = {x.c_str()};
             O::join(s, sep.c_str(), parts, 1);
         },
         "x"},
        {"join of 0 leaves null", [](U **s) { O::join(s, sep.c_str(), nullptr, 0); }, nullptr},
        {"join from a null array", [](U **s) { O::join(s, sep.c_str(), nullptr, 3); }, ", , "},
        {"join with a null separator", [](U **s) {
             const U *parts[] = {x.c_str(), x.c_str()};
             O::join(s, nullptr, parts, 2);
         },
         "xx"},
        {"join of a negative count changes nothing",
         [](U **s) { O::join(s, sep.c_str(), nullptr, -1); }, "hello world"},
        {"vintercalate from an argument list",
         [](U **s) { vjoin_to(s, sep.c_str(), 3, *s, x.c_str(), *s + 6); },
         "hello world, x, world"},
        {"free leaves null", [](U **s) { O::free(s); }, nullptr},
    };
    return all;
}

template <class U>
void check_case(const Case<U> &c) {
    U *s = nullptr;
    Ops<U>::cpy(&s, text<U>("hello world").c_str());
    c.run(&s);
    if (c.expect == nullptr) {
        EXPECT_EQ(s, nullptr) << c.name;
    } else {
        ASSERT_NE(s, nullptr) << c.name;
        EXPECT_EQ(ascii(s), c.expect) << c.name;
    }
    Ops<U>::free(&s);
}

template <class U>
class GrowableString : public ::testing::Test {};
using Units = ::testing::Types<char, char16_t>;
TYPED_TEST_SUITE(GrowableString, Units);

TYPED_TEST(GrowableString, EachOperationGivesItsTextAlsoFromItsOwnString) {
    for (const auto &c : cases<TypeParam>())
        check_case(c);
}

TYPED_TEST(GrowableString, CatNeverLeavesNull) {
    using O = Ops<TypeParam>;
    TypeParam *s = nullptr;
    EXPECT_EQ(O::cat(&s, nullptr), &s) << "the variable's address comes back";
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s[0], 0);
    EXPECT_EQ(O::empty(s), 1);
    O::cat(&s, text<TypeParam>("a").c_str());
    EXPECT_EQ(O::empty(s), 0);
    O::free(&s);
}

TYPED_TEST(GrowableString, LongFormattedTextsAreWholeAndOwnStringsRepeat) {
    using O = Ops<TypeParam>;
    TypeParam *s = nullptr;
    O::cpy(&s, text<TypeParam>("ab").c_str());
    for (int i = 0; i < 12; ++i)  // 2 * 2^12 units, past every stack buffer
        printf_to(&s, O::kAppendString, *&s, s);
    // Each round doubles it and adds a bar: length 2^k * 3 - 1.
    EXPECT_EQ(O::len(s), (size_t{1} << 12) * 3 - 1);
    std::string all = ascii(s);
    EXPECT_EQ(all.substr(0, 5), "ab|ab");
    catprintf_to(&s, O::kAppendString, s, s);
    EXPECT_EQ(ascii(s), all + all + "|" + all);
    O::free(&s);
}

TEST(GrowableString, AsprintfAndTheByteFunctions) {
    char *r = nullptr;
    EXPECT_EQ(NuAsprintf(&r, "%s=%d", "n", 42), 4);
    EXPECT_STREQ(r, "n=42");
    std::free(r);
    // A conversion the 16-bit formatter can't take: -1 and the result null.
    char16_t *w = reinterpret_cast<char16_t *>(&r);
    EXPECT_EQ(aswprintf(&w, u"%1$d %d", 1, 2), -1);
    EXPECT_EQ(w, nullptr);
    EXPECT_EQ(aswprintf(&w, u"%s-%hs", u"wide", "narrow"), 11);
    EXPECT_EQ(ascii(w), "wide-narrow");
    std::free(w);

    const struct {
        const char *a, *b;
        size_t n;
        int32_t expect;
    } orders[] = {
        {"ab", "ac", 2, -1},        {"ab", "ac", 1, 0},        {"\x80", "\x7f", 1, 1},
        {"abcdefgh", "abcdefgz", 8, -1}, {"abcdzfgh", "abcdefgh", 8, 1}, {"abcde", "abcde", 5, 0},
        {"zbc", "abcd", 0, 0},      {nullptr, "a", 1, -1},     {"a", nullptr, 1, 1},
    };
    for (const auto &o : orders)
        EXPECT_EQ(NuBcmp(o.a, o.b, o.n), o.expect) << (o.a ? o.a : "null") << " " << o.n;

    char buf[] = "abcdefgh";
    NuBcopy(buf, buf + 2, 5);  // source first, overlapping
    EXPECT_STREQ(buf, "ababcdeh");
    NuBzero(buf + 1, 3);
    EXPECT_EQ(std::memcmp(buf, "a\0\0\0cdeh", 9), 0);
}

// ---------------------------------------------------------------------------
// With an allocator table of the test's own: every resize moves the block and
// leaves the old one scribbled over before it is freed, every block's size is
// recorded, and the n-th request can be made to fail.

struct Recording {
    static inline std::map<void *, size_t> *live = nullptr;
    static inline long requests = 0, fail_at = -1;

    static bool give() { return requests++ != fail_at; }
    static void *keep(void *p, size_t n) {
        if (p != nullptr)
            (*live)[p] = n;
        return p;
    }
    static void *a(size_t n) { return give() ? keep(std::malloc(n), n) : nullptr; }
    static void *c(size_t n, size_t m) { return give() ? keep(std::calloc(n, m), n * m) : nullptr; }
    static void *r(void *old, size_t n) {
        if (!give())
            return nullptr;
        void *fresh = keep(std::malloc(n), n);
        if (old != nullptr) {
            const size_t had = live->at(old);
            std::memcpy(fresh, old, had < n ? had : n);
            std::memset(old, 0x5A, had);
            live->erase(old);
            std::free(old);
        }
        return fresh;
    }
    static void f(void *p) {
        if (p == nullptr)
            return;
        live->erase(p);
        std::free(p);
    }
    static void install() {
        live = new std::map<void *, size_t>;
        static constexpr NuMallocOpv table = {a, c, r, f};
        CHILD_CHECK(_NuMallocOpv(&table, nullptr) == 0);
    }
};

template <class U>
size_t block_of(const U *s) {
    const auto it = Recording::live->find(const_cast<U *>(s));
    return it == Recording::live->end() ? 0 : it->second;
}

TYPED_TEST(GrowableString, MovingResizesKeepAliasingRightAndBlocksAreExactlyLengthPlusOne) {
    expect_in_fresh_process([] {
        Recording::install();
        for (const auto &c : cases<TypeParam>()) {
            TypeParam *s = nullptr;
            Ops<TypeParam>::cpy(&s, text<TypeParam>("hello world").c_str());
            c.run(&s);
            if (c.expect == nullptr) {
                CHILD_CHECK(s == nullptr);
                continue;
            }
            if (ascii(s) != c.expect) {
                std::fprintf(stderr, "%s: got \"%s\"\n", c.name, ascii(s).c_str());
                std::exit(1);
            }
            // A string shortened by hand keeps its old block; all others are exact.
            if (std::strcmp(c.name, "cat behind a terminator written by hand") != 0)
                CHILD_CHECK(block_of(s) == (Ops<TypeParam>::len(s) + 1) * sizeof(TypeParam));
            Ops<TypeParam>::free(&s);
        }
        CHILD_CHECK(Recording::live->empty());
    });
}

TYPED_TEST(GrowableString, EveryFailedAllocationLeavesTheVariableAsItWasAndLeaksNothing) {
    expect_in_fresh_process([] {
        Recording::install();
        for (const auto &c : cases<TypeParam>()) {
            if (c.expect == nullptr || c.by_hand())
                continue;  // these allocate nothing, or change the string before the call
            for (long k = 0;; ++k) {
                TypeParam *s = nullptr;
                Ops<TypeParam>::cpy(&s, text<TypeParam>("hello world").c_str());
                const size_t before = Recording::live->size();
                Recording::fail_at = Recording::requests + k;
                errno = 0;
                c.run(&s);
                const bool failed = Recording::requests > Recording::fail_at;
                Recording::fail_at = -1;
                if (!failed) {
                    CHILD_CHECK(ascii(s) == c.expect);
                    Ops<TypeParam>::free(&s);
                    break;
                }
                const bool unchanged = ascii(s) == "hello world";
                if (!unchanged || errno != ENOMEM || Recording::live->size() != before) {
                    std::fprintf(stderr, "%s, request %ld: \"%s\" errno %d\n", c.name, k,
                                 ascii(s).c_str(), errno);
                    std::exit(1);
                }
                Ops<TypeParam>::free(&s);
            }
        }
        CHILD_CHECK(Recording::live->empty());
    });
}

}  // namespace
