// SPDX-License-Identifier: MIT
// The 16-bit formatter: its own rules for text widths, UTF-8 and surrogate
// pairs, positional parameters and malformed formats, and a differential run
// against the C library's snprintf over many random formats and arguments,
// whose ASCII results must agree unit for unit.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "nu.h"

namespace {

std::u16string to16(const std::string &s) { return std::u16string(s.begin(), s.end()); }

// aswprintf's text as a string; `n` its result, errno kept for the caller.
template <class... Args>
std::u16string wformat(int *n, const char16_t *format, Args... args) {
    char16_t *out = nullptr;
    *n = aswprintf(&out, format, args...);
    std::u16string text = out != nullptr ? std::u16string(out) : u"<null>";
    const int saved = errno;
    std::free(out);
    errno = saved;
    return text;
}

struct Rule {
    const char *name;
    std::u16string (*run)(int *n);
    std::u16string expect;  // u"<null>" for a refusal
    int errnum;             // errno of a refusal
};

const Rule kRules[] = {
    {"%s and %ls take 16-bit text, %hs and %S UTF-8",
     [](int *n) { return wformat(n, u"%s|%ls|%hs|%S", u"\u00e9t\u00e9", u"x", "\xc3\xa9t\xc3\xa9", "y"); },
     u"\u00e9t\u00e9|x|\u00e9t\u00e9|y", 0},
    {"%c and %lc take a 16-bit unit, %hc and %C a byte",
     [](int *n) { return wformat(n, u"%c%lc%hc%C", u'\u20ac', u'b', 'c', 'd'); }, u"\u20acbcd", 0},
    {"UTF-8 beyond the first plane becomes a pair",
     [](int *n) { return wformat(n, u"[%hs]", "\xf0\x9d\x84\x9e"); }, u"[\U0001D11E]", 0},
    {"a precision never cuts a pair (16-bit)",
     [](int *n) { return wformat(n, u"[%.1s][%.2s]", u"\U0001D11E", u"\U0001D11E"); },
     u"[][\U0001D11E]", 0},
    {"a high surrogate in the precision's last place is left out, paired or not",
     [](int *n) { return wformat(n, u"[%.2s][%.2s][%.3s]", u"a\xD800", u"a\xD800" u"b", u"a\xD800" u"b"); },
     u"[a][a][a\xD800" u"b]", 0},
    {"a precision never cuts a pair (UTF-8)",
     [](int *n) { return wformat(n, u"[%.1hs][%.3hs]", "\xf0\x9d\x84\x9e", "a\xf0\x9d\x84\x9e"); },
     u"[][a\U0001D11E]", 0},
    {"width counts units and pads text",
     [](int *n) { return wformat(n, u"[%4s][%-4hs][%*c]", u"\u00e9", "\xc3\xa9", -3, u'z'); },
     u"[   \u00e9][\u00e9   ][z  ]", 0},
    {"null text is (null) unless the precision cuts it",
     [](int *n) { return wformat(n, u"[%s][%.3s][%hs]", (char16_t *)nullptr, (char16_t *)nullptr, (char *)nullptr); },
     u"[(null)][][(null)]", 0},
    {"positional parameters in any order and twice",
     [](int *n) { return wformat(n, u"%2$s %1$hs %2$s %3$*4$d", "a", u"b", 7, 3); }, u"b a b   7", 0},
    {"a number longer than any stack buffer",
     [](int *n) { return wformat(n, u"%0300d", 5); }, to16(std::string(299, '0') + "5"), 0},
    {"a long number behind a text longer than the stack buffer",
     [](int *n) { return wformat(n, u"%2100s%0300d", u"", 5); },
     to16(std::string(2100, ' ') + std::string(299, '0') + "5"), 0},
    {"%n stores the units written so far",
     [](int *n) {
         int at = -1;
         std::u16string out = wformat(n, u"\U0001D11Eab%n", &at);
         return at == 4 ? out : u"wrong count";
     },
     u"\U0001D11Eab", 0},
    {"numbers in a row longer together than a stack buffer",
     [](int *n) { return wformat(n, u"%0300d|%0300d", 5, 6); },
     to16(std::string(299, '0') + "5|" + std::string(299, '0') + "6"), 0},
    {"numbers in a row, text between them that isn't ASCII, %% and a count",
     [](int *n) {
         int at = -1;
         std::u16string out = wformat(n, u"%d\u00e9%%%x%n%+.1f", 7, 255, &at, 2.5);
         return at == 5 ? out : u"wrong count";
     },
     u"7\u00e9%ff+2.5", 0},
    {"numbers apart by more text than one call is given",
     [](int *n) { return wformat(n, (u"%*d" + std::u16string(300, u'%') + u"%-*.*d").c_str(), -3, 1, 4, 2, 3); },
     u"1  " + std::u16string(150, u'%') + u"03  ", 0},
    {"digits and a dollar behind a conversion are literal text",
     [](int *n) { return wformat(n, u"%d2$ %*d3$", 1, 2, 3); }, u"12$  33$", 0},
    {"%% and literal text", [](int *n) { return wformat(n, u"100%% of \u00e9"); }, u"100% of \u00e9", 0},
    {"invalid UTF-8 is refused", [](int *n) { return wformat(n, u"%hs", "a\xc3("); }, u"<null>", EILSEQ},
    {"an overlong UTF-8 form is refused", [](int *n) { return wformat(n, u"%hs", "\xc0\xaf"); }, u"<null>", EILSEQ},
    {"a UTF-8 surrogate is refused", [](int *n) { return wformat(n, u"%hs", "\xed\xa0\x80"); }, u"<null>", EILSEQ},
    {"a byte of %hc above 0x7F is refused", [](int *n) { return wformat(n, u"%hc", 0xE9); }, u"<null>", EILSEQ},
    {"positional and sequential mixed", [](int *n) { return wformat(n, u"%1$d %d", 1, 2); }, u"<null>", EINVAL},
    {"a gap among the positions", [](int *n) { return wformat(n, u"%2$d", 1, 2); }, u"<null>", EINVAL},
    {"one position read as two types", [](int *n) { return wformat(n, u"%1$d %1$s", 1); }, u"<null>", EINVAL},
    {"position 0", [](int *n) { return wformat(n, u"%0$d", 1); }, u"<null>", EINVAL},
    {"a position past 4096", [](int *n) { return wformat(n, u"%4097$d", 1); }, u"<null>", EINVAL},
    {"an unknown conversion", [](int *n) { return wformat(n, u"%y", 1); }, u"<null>", EINVAL},
    {"a format ending inside a conversion", [](int *n) { return wformat(n, u"abc%-5"); }, u"<null>", EINVAL},
    {"a width past INT_MAX", [](int *n) { return wformat(n, u"%99999999999d", 1); }, u"<null>", EOVERFLOW},
    {"a null format reads as empty", [](int *n) { return wformat(n, nullptr); }, u"", 0},
};

TEST(WideFormat, RulesOfThe16BitFormats) {
    for (const Rule &r : kRules) {
        int n = 0;
        errno = 0;
        const std::u16string got = r.run(&n);
        EXPECT_TRUE(got == r.expect) << r.name;
        if (r.expect == u"<null>") {
            EXPECT_EQ(n, -1) << r.name;
            EXPECT_EQ(errno, r.errnum) << r.name;
        } else {
            EXPECT_EQ(n, int(r.expect.size())) << r.name;
        }
    }
}

TEST(WideFormat, ManyArgumentsGrowTheTable) {
    std::u16string format;
    for (int i = 0; i < 40; ++i)
        format += u"%d,";
    int n;
    const std::u16string got = wformat(&n, format.c_str(), 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
                                       13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,
                                       28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39);
    std::string expect;
    for (int i = 0; i < 40; ++i)
        expect += std::to_string(i) + ",";
    EXPECT_TRUE(got == to16(expect));
}

// ---------------------------------------------------------------------------
// Differential run: one random format, written once as an 8-bit and once as a
// 16-bit format, with the same arguments (16-bit text for %s, or the 8-bit
// text for %hs), must give the same characters.

struct Arg {
    enum Kind { Int, LongLong, Double, LongDouble, Text } kind = Int;
    int i = 0;
    long long ll = 0;
    double d = 0;
    long double ld = 0;
    std::string narrow;
    std::u16string wide;
    bool wide_in_wide = true;  // the 16-bit format reads this text as 16-bit
};

// Calls f with the arguments as their C types (at most three).
template <class F, class... Done>
int call_with(F &f, bool wide_side, const std::vector<Arg> &args, size_t i, Done... done) {
    if constexpr (sizeof...(Done) >= 3) {
        return f(done...);
    } else {
        if (i == args.size())
            return f(done...);
        const Arg &a = args[i];
        switch (a.kind) {
        case Arg::Int: return call_with(f, wide_side, args, i + 1, done..., a.i);
        case Arg::LongLong: return call_with(f, wide_side, args, i + 1, done..., a.ll);
        case Arg::Double: return call_with(f, wide_side, args, i + 1, done..., a.d);
        case Arg::LongDouble: return call_with(f, wide_side, args, i + 1, done..., a.ld);
        case Arg::Text:
            const void *p = wide_side && a.wide_in_wide ? static_cast<const void *>(a.wide.c_str())
                                                        : static_cast<const void *>(a.narrow.c_str());
            return call_with(f, wide_side, args, i + 1, done..., p);
        }
        return -2;
    }
}

class Generator {
  public:
    explicit Generator(uint32_t seed) : rng_(seed) {}

    // One format with at most three arguments, sequential or positional.
    void make(std::string *narrow, std::u16string *wide, std::vector<Arg> *args) {
        struct Conv {
            std::string literal, flags, width, prec, conv8, conv16;
            int star_width = -1, star_prec = -1, value = -1;  // argument indexes
        };
        narrow->clear(), wide->clear(), args->clear();
        const bool positional = pick(3) == 0;
        std::vector<Conv> list;
        for (int c = 1 + pick(3); c > 0 && args->size() < 3; --c) {
            Conv v;
            v.literal = literal();
            if (pick(12) == 0) {  // %%: nothing else in it
                v.conv8 = v.conv16 = "%";
                list.push_back(v);
                continue;
            }
            for (char f : std::string("-+ #0'"))
                if (pick(4) == 0)
                    v.flags += f;
            if (args->size() <= 1 && pick(3) == 0)
                v.star_width = push_int(args, -30, 30);
            else if (pick(2) == 0)
                v.width = std::to_string(pick(25));
            if (args->size() <= 1 && pick(3) == 0)
                v.star_prec = push_int(args, -5, 30);
            else if (int p = pick(3); p < 2)
                v.prec = p == 0 ? "." : "." + std::to_string(pick(25));
            v.value = choose_conversion(args, &v.conv8, &v.conv16);
            // glibc's positional path pads a float with zeros on the right when
            // a "*" width is negative and "0" is given; its other paths, and
            // ours, pad with spaces as "-" says. Not compared.
            if (positional && v.star_width >= 0 && (*args)[size_t(v.value)].kind >= Arg::Double &&
                (*args)[size_t(v.value)].kind <= Arg::LongDouble)
                v.flags.erase(std::remove(v.flags.begin(), v.flags.end(), '0'), v.flags.end());
            list.push_back(v);
        }
        // Positions: a permutation of the arguments as the call passes them.
        std::vector<size_t> order(args->size());
        for (size_t i = 0; i < order.size(); ++i)
            order[i] = i;
        if (positional)
            std::shuffle(order.begin(), order.end(), rng_);
        std::vector<Arg> call(args->size());
        for (size_t i = 0; i < order.size(); ++i)
            call[order[i]] = (*args)[i];
        const auto at = [&](int arg) {
            return positional ? std::to_string(order[size_t(arg)] + 1) + "$" : std::string();
        };
        for (const Conv &v : list) {
            std::string head = v.literal + "%";
            if (v.value >= 0) {
                head += at(v.value) + v.flags;
                head += v.star_width >= 0 ? "*" + at(v.star_width) : v.width;
                head += v.star_prec >= 0 ? ".*" + at(v.star_prec) : v.prec;
            }
            *narrow += head + v.conv8;
            *wide += to16(head + v.conv16);
        }
        const std::string tail = literal();
        *narrow += tail, *wide += to16(tail);
        *args = call;
    }

  private:
    int pick(int n) { return int(rng_() % uint32_t(n)); }

    std::string literal() {
        std::string s;
        for (int n = pick(4); n > 0; --n)
            s += char(' ' + pick(95));
        for (char &ch : s)
            if (ch == '%')
                ch = '_';
        return s;
    }

    int push_int(std::vector<Arg> *args, int low, int high) {
        Arg a;
        a.kind = Arg::Int;
        a.i = low + pick(high - low + 1);
        args->push_back(a);
        return int(args->size() - 1);
    }

    long long random_integer() {
        switch (pick(4)) {
        case 0: return pick(200) - 100;
        case 1: return static_cast<long long>(rng_()) * (pick(2) ? 1 : -1);
        case 2: return static_cast<long long>((uint64_t(rng_()) << 32) | rng_());
        default: return pick(2) ? LLONG_MIN : LLONG_MAX;
        }
    }

    double random_double() {
        switch (pick(8)) {
        case 0: return 0.0 * (pick(2) ? 1 : -1);
        case 1: return INFINITY * (pick(2) ? 1 : -1);
        case 2: return NAN;
        case 3: return std::ldexp(double(rng_()), pick(200) - 100);
        case 4: return 1e300 * (pick(2) ? 1 : -1);
        case 5: return 5e-324;
        default: return (double(rng_()) - 2147483648.0) / (1 + pick(1000));
        }
    }

    // A value conversion and its argument, spelled for each width.
    int choose_conversion(std::vector<Arg> *args, std::string *c8, std::string *c16) {
        static const char *const kIntLengths[] = {"", "hh", "h", "l", "ll", "j", "z", "t"};
        static const char kInts[] = "diouxX";
        static const char kFloats[] = "eEfFgGaA";
        Arg a;
        a.kind = Arg::Int;
        switch (pick(5)) {
        case 0:
        case 1: {
            const std::string len = kIntLengths[pick(8)];
            *c8 = *c16 = len + kInts[pick(6)];
            if (len.empty() || len[0] == 'h')
                a.kind = Arg::Int, a.i = int(random_integer());
            else
                a.kind = Arg::LongLong, a.ll = random_integer();
            break;
        }
        case 2: {
            const bool is_long = pick(3) == 0;
            *c8 = *c16 = std::string(is_long ? "L" : "") + kFloats[pick(8)];
            if (is_long)
                a.kind = Arg::LongDouble, a.ld = static_cast<long double>(random_double()) / 3;
            else
                a.kind = Arg::Double, a.d = random_double();
            break;
        }
        case 3: {
            a.kind = Arg::Text;
            for (int n = pick(12); n > 0; --n)
                a.narrow += char(' ' + pick(95));
            a.wide = to16(a.narrow);
            static const char *const kSpell[] = {"s", "ls", "hs", "S"};
            const int s = pick(4);
            *c8 = "s", *c16 = kSpell[s];
            a.wide_in_wide = s < 2;
            break;
        }
        case 4: {
            a.kind = Arg::Int, a.i = ' ' + pick(95);
            static const char *const kSpell[] = {"c", "lc", "hc", "C"};
            *c8 = "c", *c16 = kSpell[pick(4)];
            break;
        }
        default:
            a.kind = Arg::Text, a.narrow = "p";  // %p prints the address, the same on both sides
            a.wide_in_wide = false;
            *c8 = *c16 = "p";
            break;
        }
        args->push_back(a);
        return int(args->size() - 1);
    }

    std::mt19937 rng_;
};

TEST(WideFormat, AgreesWithSnprintfOnRandomFormats) {
    Generator gen(20240517);
    int compared = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string f8;
        std::u16string f16;
        std::vector<Arg> args;
        gen.make(&f8, &f16, &args);
        char buf[4096];
        auto narrow = [&](auto... xs) { return std::snprintf(buf, sizeof buf, f8.c_str(), xs...); };
        char16_t *out = nullptr;
        auto wide = [&](auto... xs) { return aswprintf(&out, f16.c_str(), xs...); };
        const int n8 = call_with(narrow, false, args, 0);
        const int n16 = call_with(wide, true, args, 0);
        ASSERT_GE(n8, 0) << f8;
        const int saved = errno;
        ASSERT_EQ(n16, n8) << f8 << " (16-bit: " << std::string(f16.begin(), f16.end())
                           << ", errno " << saved << ")";
        std::string back;
        for (int i = 0; i < n16; ++i) {
            ASSERT_LT(out[i], 128) << f8;
            back += char(out[i]);
        }
        std::free(out);
        ASSERT_EQ(back, std::string(buf, size_t(n8))) << "format " << f8;
        ++compared;
    }
    EXPECT_EQ(compared, 20000);
}


// ---------------------------------------------------------------------------
// 16-bit text is measured a block at a time: every length at every place in
// a block, text that ends at the last unit before an unmapped page, and text
// with no terminator at all that only a precision bounds. The result must be
// what snprintf gives for the same 8-bit text, widened.

// Two pages, the second unmapped: text put at the end of the first has
// nothing readable behind it.
class GuardedPage {
  public:
    GuardedPage() {
        size_ = size_t(sysconf(_SC_PAGESIZE));
        void *p = mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        base_ = p == MAP_FAILED ? nullptr : static_cast<char *>(p);
        if (base_ != nullptr && mprotect(base_ + size_, size_, PROT_NONE) != 0) {
            munmap(base_, 2 * size_);
            base_ = nullptr;
        }
    }
    ~GuardedPage() {
        if (base_ != nullptr)
            munmap(base_, 2 * size_);
    }
    bool ok() const { return base_ != nullptr; }
    // Room for `units` units that end exactly at the unmapped page.
    char16_t *tail(size_t units) { return reinterpret_cast<char16_t *>(base_ + size_) - units; }

  private:
    char *base_ = nullptr;
    size_t size_ = 0;
};

struct TextCase {
    const char *conversion;  // between '%' and 's'; "P" stands for a precision derived from the length
    int precision_delta;  // the precision is length + this (with "P")
};

const TextCase kTextCases[] = {
    {"", 0},       {"5", 0},     {"-5", 0},     {"40", 0},     {"-40", 0},   {".P", -1},
    {".P", 0},     {".P", 5},    {"12.P", -3},  {"-12.P", 0},  {"80.P", 1},  {".0", 0},
};

std::string spell(const TextCase &c, size_t length) {
    std::string s = c.conversion;
    const size_t at = s.find('P');
    if (at != std::string::npos) {
        const long p = std::max(0L, long(length) + c.precision_delta);
        s.replace(at, 1, std::to_string(p));
    }
    return s;
}

// The 16-bit formatter on `text` (16-bit) against snprintf on the same
// characters as 8-bit text.
void expect_same_as_narrow(const std::string &conversion, const char16_t *text,
                           const std::string &narrow, const char *where) {
    const std::string f8 = "<%" + conversion + "s>";
    const std::u16string f16 = to16(f8);
    char buf[256];
    const int n8 = std::snprintf(buf, sizeof buf, f8.c_str(), narrow.c_str());
    char16_t *out = nullptr;
    const int n16 = aswprintf(&out, f16.c_str(), text);
    ASSERT_EQ(n16, n8) << where << " " << f8;
    ASSERT_NE(out, nullptr) << where << " " << f8;
    EXPECT_TRUE(std::u16string(out) == to16(std::string(buf, size_t(n8)))) << where << " " << f8;
    std::free(out);
}

TEST(WideFormat, TextOfEveryLengthAtEveryPlaceInABlock) {
    alignas(16) char16_t buffer[128];
    for (size_t offset = 0; offset < 8; ++offset) {  // 0..14 bytes into an aligned block
        for (size_t length = 0; length <= 70; ++length) {
            std::string narrow;
            for (size_t i = 0; i < length; ++i)
                narrow += char('a' + (i * 7 + offset) % 26);
            char16_t *text = buffer + offset;
            std::fill(buffer, buffer + 128, u'#');  // no zero near the text but its own
            std::copy(narrow.begin(), narrow.end(), text);
            text[length] = 0;
            const std::string where = "offset " + std::to_string(2 * offset) + " bytes, length " +
                                      std::to_string(length);
            for (const TextCase &c : kTextCases)
                expect_same_as_narrow(spell(c, length), text, narrow, where.c_str());
        }
    }
}

TEST(WideFormat, TextEndingAtAnUnmappedPage) {
    GuardedPage page;
    ASSERT_TRUE(page.ok());
    for (size_t length = 0; length <= 70; ++length) {
        std::string narrow;
        for (size_t i = 0; i < length; ++i)
            narrow += char('A' + i % 26);
        // Terminated, the terminator in the page's last unit; then with every
        // unit of the page's last block as the last one (the page's end
        // is aligned, so each shift moves the text's end within a block).
        for (size_t shift = 0; shift < 8; ++shift) {
            char16_t *text = page.tail(length + 1 + shift);
            std::copy(narrow.begin(), narrow.end(), text);
            text[length] = 0;
            const std::string where = "terminated, length " + std::to_string(length) +
                                      ", shift " + std::to_string(shift);
            for (const TextCase &c : kTextCases)
                expect_same_as_narrow(spell(c, length), text, narrow, where.c_str());
        }
        // Not terminated: the last unit of the text is the page's last, and
        // a precision of at most the length is all that bounds the scan.
        char16_t *text = page.tail(length);
        std::copy(narrow.begin(), narrow.end(), text);
        const std::string where = "unterminated, length " + std::to_string(length);
        for (const TextCase &c : kTextCases)
            if (std::string(c.conversion).find('P') != std::string::npos && c.precision_delta <= 0)
                expect_same_as_narrow(spell(c, length), text, narrow.substr(0, length), where.c_str());
    }
}

// A heap block of exactly the precision, no terminator, at every place in a
// block: under the address sanitizer, a read past the precision is reported.
TEST(WideFormat, PrecisionBoundsTheReadOfAnUnterminatedHeapText) {
    for (size_t offset = 0; offset < 8; ++offset) {
        for (size_t length = 1; length <= 70; ++length) {
            auto *room = static_cast<char16_t *>(std::malloc((offset + length) * sizeof(char16_t)));
            ASSERT_NE(room, nullptr);
            std::fill(room, room + offset + length, u'z');
            const char16_t *text = room + offset;
            const std::string narrow(length, 'z');
            const std::string where = "heap offset " + std::to_string(offset) + ", length " +
                                      std::to_string(length);
            const std::string p = "." + std::to_string(length);
            expect_same_as_narrow(p, text, narrow, where.c_str());
            expect_same_as_narrow("-" + std::to_string(length + 3) + p, text, narrow, where.c_str());
            expect_same_as_narrow(std::to_string(length + 3) + p, text, narrow, where.c_str());
            std::free(room);
            // The same for 8-bit text read by %hs.
            auto *bytes = static_cast<char *>(std::malloc(offset + length));
            ASSERT_NE(bytes, nullptr);
            std::memset(bytes, 'z', offset + length);
            int n = 0;
            const std::u16string got = wformat(&n, (u"<%" + to16(p) + u"hs>").c_str(), bytes + offset);
            EXPECT_TRUE(got == u"<" + to16(narrow) + u">") << where;
            std::free(bytes);
        }
    }
}


// More counts than the one walk keeps: the format is rendered again from its
// plan, and every count must still be right, whatever its width.
TEST(WideFormat, ManyCountsAllStored) {
    signed char hh = -1;
    short h = -1;
    int i1 = -1, i2 = -1, i3 = -1;
    long l = -1;
    long long ll = -1;
    size_t z = 99;
    char16_t *out = nullptr;
    const int n = aswprintf(&out, u"a%hhnbc%hn%5d%n%s%ln%lln|%-3c|%zn%n%%%n%.1f", &hh, &h, 42, &i1,
                            u"xyz", &l, &ll, u'q', &z, (int *)nullptr, &i2, 2.25, &i3);
    char buf[128];
    int c8[7] = {};
    const int n8 = std::snprintf(buf, sizeof buf, "a%nbc%n%5d%n%s%n%n|%-3c|%n%%%n%.1f", &c8[0], &c8[1],
                                 42, &c8[2], "xyz", &c8[3], &c8[4], 'q', &c8[5], &c8[6], 2.25);
    ASSERT_EQ(n, n8);
    ASSERT_NE(out, nullptr);
    EXPECT_TRUE(std::u16string(out) == to16(buf));
    std::free(out);
    EXPECT_EQ(hh, c8[0]);
    EXPECT_EQ(h, c8[1]);
    EXPECT_EQ(i1, c8[2]);
    EXPECT_EQ(l, c8[3]);
    EXPECT_EQ(ll, c8[4]);
    EXPECT_EQ(z, size_t(c8[5]));
    EXPECT_EQ(i2, c8[6]);
    EXPECT_EQ(i3, -1);  // no %n left to store it: the argument is read by nothing
}

struct MixedCase {
    const char *name;
    std::u16string (*run)(int *n, int *count);
    std::u16string expect;  // u"<null>" for a refusal
    int errnum;
    int count;              // what %n left in *count (-7: untouched)
};

// The one walk writes and counts before it meets what it can't do; what it
// did must leave no trace: the result and the counts are those of the
// rendering that follows (which stores a count as it goes, as printf does, so
// a failure while rendering leaves the counts before it).
const MixedCase kMixed[] = {
    {"a positional form after literal text and %%",
     [](int *n, int *) { return wformat(n, u"ab%%cd %2$s-%1$d", 7, u"x"); }, u"ab%cd x-7", 0, -7},
    {"a count, then a positional form",
     [](int *n, int *c) { return wformat(n, u"abc%1$n%2$s", c, u"xy"); }, u"abcxy", 0, 3},
    {"a sequential count, then a positional form: refused, nothing stored",
     [](int *n, int *c) { return wformat(n, u"abc%n%1$d", c, 5); }, u"<null>", EINVAL, -7},
    {"a count, then an unknown conversion: refused, nothing stored",
     [](int *n, int *c) { return wformat(n, u"abc%n%y", c); }, u"<null>", EINVAL, -7},
    {"a count, then invalid UTF-8: refused, the count stored as far as it got, as printf does",
     [](int *n, int *c) { return wformat(n, u"abc%n%hs", c, "\xff"); }, u"<null>", EILSEQ, 3},
    {"a count behind text longer than the stack buffer",
     [](int *n, int *c) { return wformat(n, u"%2100s%n|", u"a", c); }, std::u16string(2099, u' ') + u"a|", 0, 2100},
};

TEST(WideFormat, OneWalkLeavesNoTraceWhenItGivesUp) {
    for (const MixedCase &m : kMixed) {
        int n = 0, count = -7;
        errno = 0;
        const std::u16string got = m.run(&n, &count);
        EXPECT_TRUE(got == m.expect) << m.name;
        EXPECT_EQ(count, m.count) << m.name;
        if (m.expect == u"<null>") {
            EXPECT_EQ(n, -1) << m.name;
            EXPECT_EQ(errno, m.errnum) << m.name;
        } else {
            EXPECT_EQ(n, int(m.expect.size())) << m.name;
        }
    }
}

}  // namespace
