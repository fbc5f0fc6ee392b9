// SPDX-License-Identifier: MIT
// The 16-bit formatter against snprintf. The input is read as a small
// grammar: literal characters and up to four conversions (flags, a width and
// a precision given or taken by "*", a length, and one of d i u x X o c s %),
// with the values the conversions take read from the input too, so the
// argument list always matches the format. Both formats are rendered with
// the same values (16-bit text for the 16-bit %s, or the same 8-bit text for
// %hs and %S) and must give the same characters and count. A text whose
// precision is within its length is passed in a block of exactly that many
// units with no terminator: nothing past the precision may be read.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "text/format.hpp"

namespace {

struct Input {
    const uint8_t *p;
    size_t n;
    uint8_t byte() {
        if (n == 0)
            return 0;
        --n;
        return *p++;
    }
    long long integer() {
        uint64_t v = 0;
        for (int i = 0; i < 8; ++i)
            v = v << 8 | byte();
        return static_cast<long long>(v);
    }
};

struct Value {
    enum Kind { Int, Long, LongLong, Text } kind = Int;
    long long number = 0;
    char *narrow = nullptr;  // the heap copies: exact size, terminated or not
    char16_t *wide = nullptr;
    bool wide_in_wide = true;
};

template <class Unit>
Unit *copy_text(const std::string &s, bool terminate) {
    auto *out = static_cast<Unit *>(std::malloc((s.size() + 1) * sizeof(Unit)));
    for (size_t i = 0; i < s.size(); ++i)
        out[i] = Unit(static_cast<unsigned char>(s[i]));
    if (terminate)
        out[s.size()] = 0;
    else if (s.empty())
        out[0] = Unit('z');
    // A block of exactly the text when unterminated.
    return terminate || s.empty() ? out : static_cast<Unit *>(std::realloc(out, s.size() * sizeof(Unit)));
}

std::u16string formatted16(const char16_t *format, ...) {
    va_list ap;
    va_start(ap, format);
    const vesk::text::Formatted<char16_t> f =
        vesk::text::format_block(0, vesk::text::Heap{std::malloc, std::free}, format, ap);
    va_end(ap);
    if (f.block == nullptr)
        return u"<failed>";
    std::u16string s(f.block, f.length);
    if (f.block[f.length] != 0)
        std::abort();  // every block ends in a terminator right behind the text
    std::free(f.block);
    return s;
}

std::string formatted8(const char *format, ...) {
    va_list ap;
    va_start(ap, format);
    char buf[8192];
    const int n = std::vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    if (n < 0 || size_t(n) >= sizeof buf)
        return "<failed>";
    return std::string(buf, size_t(n));
}

// Calls f with the values as their C types, in order.
template <class F, class... Done>
auto call_with(F &f, bool wide_side, const std::vector<Value> &values, size_t i, Done... done) {
    if constexpr (sizeof...(Done) >= 6) {
        return f(done...);
    } else {
        if (i == values.size())
            return f(done...);
        const Value &v = values[i];
        switch (v.kind) {
        case Value::Int: return call_with(f, wide_side, values, i + 1, done..., int(v.number));
        case Value::Long: return call_with(f, wide_side, values, i + 1, done..., long(v.number));
        case Value::LongLong: return call_with(f, wide_side, values, i + 1, done..., v.number);
        case Value::Text: break;
        }
        const void *text = wide_side && v.wide_in_wide ? static_cast<const void *>(v.wide)
                                                       : static_cast<const void *>(v.narrow);
        return call_with(f, wide_side, values, i + 1, done..., text);
    }
}

}  // namespace

// The address sanitizer's own check of printf's arguments reads a text whose
// precision is a bare "." (zero) up to a terminator, which these texts need
// not have; snprintf itself stops at the precision.
extern "C" const char *__asan_default_options() { return "check_printf=0"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in{data, size};
    std::string f8, f16;  // f16 spelled in ASCII, widened below
    std::vector<Value> values;
    int conversions = 0;
    while (in.n != 0 && conversions < 4 && values.size() <= 3) {  // each takes at most 3 values
        const uint8_t b = in.byte();
        if (b % 4 == 0) {  // a literal character, never '%'
            const char c = char(' ' + in.byte() % 95);
            f8 += c == '%' ? '_' : c, f16 += c == '%' ? '_' : c;
            continue;
        }
        ++conversions;
        static const char kConvs[] = "diuxXocs%";
        const char conv = kConvs[in.byte() % 9];
        if (conv == '%') {
            f8 += "%%", f16 += "%%";
            continue;
        }
        std::string head = "%";
        const uint8_t flags = in.byte();
        for (int i = 0; i < 6; ++i)
            if (flags & (1u << i))
                head += "-+ #0'"[i];
        const uint8_t w = in.byte();
        if (w >= 224) {
            head += '*';
            Value v;
            v.number = int(in.byte() % 81) - 40;
            values.push_back(v);
        } else if (w >= 100) {
            head += std::to_string(w % 40);
        }
        const uint8_t p = in.byte();
        long precision = -1;
        if (p >= 224) {
            head += ".*";
            Value v;
            v.number = int(in.byte() % 51) - 10;
            values.push_back(v);
        } else if (p >= 200) {
            head += ".";
            precision = 0;
        } else if (p >= 100) {
            precision = p % 40;
            head += "." + std::to_string(precision);
        }
        Value v;
        std::string c8(1, conv), c16(1, conv);
        if (conv == 's') {
            std::string text;
            for (int len = in.byte() % 48; len > 0; --len)
                text += char(' ' + in.byte() % 95);
            const bool terminate = precision < 0 || size_t(precision) > text.size();
            v.kind = Value::Text;
            v.narrow = copy_text<char>(text, terminate);
            v.wide = copy_text<char16_t>(text, terminate);
            static const char *const kSpell[] = {"s", "ls", "hs", "S"};
            const int s = in.byte() % 4;
            c16 = kSpell[s];
            v.wide_in_wide = s < 2;
        } else if (conv == 'c') {
            v.number = ' ' + in.byte() % 95;
            static const char *const kSpell[] = {"c", "lc", "hc", "C"};
            c16 = kSpell[in.byte() % 4];
        } else {
            static const char *const kLengths[] = {"", "hh", "h", "l", "ll"};
            const int l = in.byte() % 5;
            c8 = c16 = kLengths[l] + c8;
            v.kind = l == 3 ? Value::Long : l == 4 ? Value::LongLong : Value::Int;
            v.number = in.integer();
        }
        values.push_back(v);
        f8 += head + c8, f16 += head + c16;
    }
    const std::u16string w16(f16.begin(), f16.end());
    auto narrow = [&](auto... xs) { return formatted8(f8.c_str(), xs...); };
    auto wide = [&](auto... xs) { return formatted16(w16.c_str(), xs...); };
    const std::string want = call_with(narrow, false, values, 0);
    const std::u16string got = call_with(wide, true, values, 0);
    if (got != std::u16string(want.begin(), want.end())) {
        std::fprintf(stderr, "format \"%s\" (16-bit \"%s\"): 8-bit \"%s\", 16-bit differs (%zu units)\n",
                     f8.c_str(), f16.c_str(), want.c_str(), got.size());
        std::abort();
    }
    for (Value &x : values)
        std::free(x.narrow), std::free(x.wide);
    return 0;
}
