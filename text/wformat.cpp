// SPDX-License-Identifier: MIT
// The 16-bit formatter.
//
// The C library has no printf for 16-bit units (its wide family is 32 bits
// here), so the format is walked here: literal text and the text conversions
// are copied as they are, and every number is handed to snprintf with the
// same flags, width and precision, then widened. In a 16-bit format %s and %c
// take 16-bit text, %hs, %hc, %S and %C 8-bit (UTF-8) text, %ls and %lc
// 16-bit text. Positional parameters work as in printf.
//
// A format whose arguments come in sequence is rendered in one walk that
// reads the list as it goes, into a stack buffer that also measures; only a
// text longer than that buffer is walked a second time, into its block.
// There, numbers that follow one another (with ASCII text between them) go to
// snprintf in one call over the caller's list.
// Positional parameters (the list can't be read in format order), and any
// failure, take the longer way: one pass that parses the format into a plan
// and learns the type of every argument, one read of the list into a table,
// and one or two renderings of the plan.

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "text/format.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vesk::text {
namespace {

// printf's limit on a positional index.
constexpr int kMaxPosition = 4096;

enum Flag : unsigned {
    kMinus = 1u << 0,
    kPlus = 1u << 1,
    kSpace = 1u << 2,
    kHash = 1u << 3,
    kZero = 1u << 4,
    kGroup = 1u << 5,  // ' : thousands grouping
};

enum class Length : uint8_t { none, hh, h, l, ll, j, z, t, L };

// How an argument is read from the list: the promoted type of the conversion.
enum class ArgType : uint8_t { unset, int_, long_, llong, intmax, size, ptrdiff, double_, ldouble, pointer };

struct Arg {
    ArgType type = ArgType::unset;
    union {
        int i;
        long l;
        long long ll;
        intmax_t j;
        size_t z;
        ptrdiff_t t;
        double d;
        long double ld;
        void *p;
    };
};

// One conversion. Argument numbers are 0-based; -1 means "not used".
struct Directive {
    unsigned flags = 0;
    int width = -1, width_arg = -1;
    int precision = -1, precision_arg = -1;
    int arg = -1;
    Length length = Length::none;
    bool positional = false;  // the value is taken by number
    char16_t conv = 0;
};

// A short array inline, and on the C heap when it grows beyond that.
template <class T, int Inline>
class SmallArray {
  public:
    SmallArray() = default;
    SmallArray(const SmallArray &) = delete;
    SmallArray &operator=(const SmallArray &) = delete;
    ~SmallArray() {
        if (!is_inline())
            std::free(items_);
    }

    int size() const { return size_; }
    T &operator[](int i) { return items_[i]; }
    const T &operator[](int i) const { return items_[i]; }

    // Grows to `size` items, the new ones value-initialised; false (ENOMEM)
    // when the heap can't give the room.
    bool resize(int size) {
        if (size > capacity_) {
            int capacity = capacity_;
            while (capacity < size)
                capacity *= 2;
            const size_t bytes = sizeof(T) * size_t(capacity);
            T *items = static_cast<T *>(is_inline() ? std::malloc(bytes)
                                                    : std::realloc(items_, bytes));
            if (items == nullptr) {
                errno = ENOMEM;
                return false;
            }
            if (is_inline())
                std::memcpy(static_cast<void *>(items), inline_, sizeof inline_);
            items_ = items;
            capacity_ = capacity;
        }
        for (int i = size_; i < size; ++i)
            items_[i] = T{};
        size_ = size;
        return true;
    }

  private:
    bool is_inline() const { return items_ == reinterpret_cast<const T *>(inline_); }

    // Raw room, so that an array that stays short costs no construction.
    alignas(T) unsigned char inline_[sizeof(T) * Inline];
    T *items_ = reinterpret_cast<T *>(inline_);
    int size_ = 0;
    int capacity_ = Inline;
};

// The arguments by number, each with the type it is read as.
class ArgTable : public SmallArray<Arg, 16> {
  public:
    // Records that argument `i` is read as `type`: false (EINVAL) when another
    // conversion reads it as something else, ENOMEM when the table can't grow.
    bool claim(int i, ArgType type) {
        if (i >= size() && !resize(i + 1))
            return false;
        Arg &a = (*this)[i];
        if (a.type != ArgType::unset && a.type != type) {
            errno = EINVAL;
            return false;
        }
        a.type = type;
        return true;
    }
};

bool is_digit(char16_t c) { return c >= u'0' && c <= u'9'; }

// A decimal number of the format; false (EOVERFLOW) above INT_MAX.
bool read_number(const char16_t *&p, int *value) {
    int n = 0;
    for (; is_digit(*p); ++p) {
        if (__builtin_mul_overflow(n, 10, &n) || __builtin_add_overflow(n, int(*p - u'0'), &n)) {
            errno = EOVERFLOW;
            return false;
        }
    }
    *value = n;
    return true;
}

// Hands out argument numbers, sequential or positional; a format may not mix
// the two.
class ArgCursor {
  public:
    // "n$" at `p` gives argument n - 1; without it the next in sequence.
    // -1 (EINVAL) for a mix, an index of 0 or one past the limit.
    int take(const char16_t *&p) {
        const char16_t *q = p;
        int n = 0;
        if (is_digit(*q) && *q != u'0' && read_number(q, &n) && *q == u'$') {
            p = q + 1;
            return positional(n);
        }
        return next();
    }

    // The next argument in sequence.
    int next() {
        if (mode_ == Mode::positional)
            return refuse();
        mode_ = Mode::sequential;
        return next_++;
    }

  private:
    enum class Mode { unknown, sequential, positional };
    int positional(int n) {
        if (mode_ == Mode::sequential || n < 1 || n > kMaxPosition)
            return refuse();
        mode_ = Mode::positional;
        return n - 1;
    }
    static int refuse() {
        errno = EINVAL;
        return -1;
    }
    Mode mode_ = Mode::unknown;
    int next_ = 0;
};

Length read_length(const char16_t *&p) {
    switch (*p) {
    case u'h':
        return *++p == u'h' ? (++p, Length::hh) : Length::h;
    case u'l':
        return *++p == u'l' ? (++p, Length::ll) : Length::l;
    case u'q':
        return ++p, Length::ll;
    case u'j':
        return ++p, Length::j;
    case u'z':
    case u'Z':
        return ++p, Length::z;
    case u't':
        return ++p, Length::t;
    case u'L':
        return ++p, Length::L;
    default:
        return Length::none;
    }
}

bool is_integer_conv(char16_t c) {
    return c == u'd' || c == u'i' || c == u'o' || c == u'u' || c == u'x' || c == u'X';
}

bool is_float_conv(char16_t c) {
    switch (c) {
    case u'e': case u'E': case u'f': case u'F': case u'g': case u'G': case u'a': case u'A':
        return true;
    default:
        return false;
    }
}

ArgType integer_type(Length length) {
    switch (length) {
    case Length::l: return ArgType::long_;
    case Length::ll: case Length::L: return ArgType::llong;
    case Length::j: return ArgType::intmax;
    case Length::z: return ArgType::size;
    case Length::t: return ArgType::ptrdiff;
    default: return ArgType::int_;
    }
}

// The type a conversion reads, or unset for one that reads nothing (%%);
// false (EINVAL) for a conversion this formatter does not know.
bool value_type(const Directive &directive, ArgType *type) {
    const char16_t c = directive.conv;
    if (is_integer_conv(c))
        *type = integer_type(directive.length);
    else if (is_float_conv(c))
        *type = directive.length == Length::L ? ArgType::ldouble : ArgType::double_;
    else if (c == u'c' || c == u'C')
        *type = ArgType::int_;
    else if (c == u's' || c == u'S' || c == u'p' || c == u'n')
        *type = ArgType::pointer;
    else if (c == u'%')
        *type = ArgType::unset;
    else {
        errno = EINVAL;
        return false;
    }
    return true;
}

// Reads a width or precision: digits, "*" or "*n$".
bool read_amount(const char16_t *&p, ArgCursor &cursor, int *value, int *arg) {
    if (*p != u'*')
        return read_number(p, value);
    ++p;
    *arg = cursor.take(p);
    return *arg >= 0;
}

// Parses the conversion after a '%' and advances `p` behind it.
bool parse_directive(const char16_t *&p, ArgCursor &cursor, Directive *directive) {
    if (*p == u'%') {
        directive->conv = *p++;
        return true;
    }
    // The value's "n$" comes first; a sequential value is numbered after
    // its "*" width and precision, so its number is taken at the end.
    const char16_t *q = p;
    int position = 0;
    const bool positional = is_digit(*q) && read_number(q, &position) && *q == u'$';
    if (positional) {
        directive->positional = true;
        directive->arg = cursor.take(p);
        if (directive->arg < 0)
            return false;
    }
    for (;; ++p) {
        switch (*p) {
        case u'-': directive->flags |= kMinus; continue;
        case u'+': directive->flags |= kPlus; continue;
        case u' ': directive->flags |= kSpace; continue;
        case u'#': directive->flags |= kHash; continue;
        case u'0': directive->flags |= kZero; continue;
        case u'\'': directive->flags |= kGroup; continue;
        default: break;
        }
        break;
    }
    if (!read_amount(p, cursor, &directive->width, &directive->width_arg))
        return false;
    if (*p == u'.') {
        ++p;
        directive->precision = 0;
        if (!read_amount(p, cursor, &directive->precision, &directive->precision_arg))
            return false;
    }
    directive->length = read_length(p);
    directive->conv = *p;
    if (directive->conv == 0) {
        errno = EINVAL;  // the format ends inside a conversion
        return false;
    }
    ++p;
    if (!positional && directive->conv != u'%') {
        directive->arg = cursor.next();
        if (directive->arg < 0)
            return false;
    }
    return true;
}

// Calls `each(directive)` for every conversion and `literal(text, n)` for the text
// between them; false when the format is malformed or a callback says so.
template <class Literal, class Each>
bool walk(const char16_t *format, Literal literal, Each each) {
    ArgCursor cursor;
    const char16_t *p = format;
    for (;;) {
        const char16_t *start = p;
        while (*p != 0 && *p != u'%')
            ++p;
        if (p != start && !literal(start, size_t(p - start)))
            return false;
        if (*p == 0)
            return true;
        ++p;
        Directive directive;
        if (!parse_directive(p, cursor, &directive) || !each(directive))
            return false;
    }
}

// The format parsed once: literal text, each piece followed by the
// conversion behind it (none after the last piece).
struct Step {
    const char16_t *text = nullptr;
    size_t length = 0;
    bool convert = false;
    Directive directive;
};
using Plan = SmallArray<Step, 16>;

// The plan of the format, the types of all arguments, then their values.
bool collect(const char16_t *format, va_list arguments, Plan &plan, ArgTable &table) {
    const auto add = [&plan]() -> Step * {
        return plan.resize(plan.size() + 1) ? &plan[plan.size() - 1] : nullptr;
    };
    const bool typed = walk(
        format,
        [&](const char16_t *text, size_t n) {
            Step *step = add();
            if (step != nullptr)
                step->text = text, step->length = n;
            return step != nullptr;
        },
        [&](const Directive &directive) {
            Step *step = plan.size() != 0 && !plan[plan.size() - 1].convert
                             ? &plan[plan.size() - 1]
                             : add();
            if (step == nullptr)
                return false;
            step->convert = true;
            step->directive = directive;
            ArgType type;
            if (!value_type(directive, &type))
                return false;
            if (directive.width_arg >= 0 && !table.claim(directive.width_arg, ArgType::int_))
                return false;
            if (directive.precision_arg >= 0 &&
                !table.claim(directive.precision_arg, ArgType::int_))
                return false;
            return type == ArgType::unset || table.claim(directive.arg, type);
        });
    if (!typed)
        return false;
    va_list ap;
    va_copy(ap, arguments);
    bool complete = true;
    for (int i = 0; i < table.size() && complete; ++i) {
        Arg &a = table[i];
        switch (a.type) {
        case ArgType::unset: complete = false; break;  // a positional gap: its type is unknown
        case ArgType::int_: a.i = va_arg(ap, int); break;
        case ArgType::long_: a.l = va_arg(ap, long); break;
        case ArgType::llong: a.ll = va_arg(ap, long long); break;
        case ArgType::intmax: a.j = va_arg(ap, intmax_t); break;
        case ArgType::size: a.z = va_arg(ap, size_t); break;
        case ArgType::ptrdiff: a.t = va_arg(ap, ptrdiff_t); break;
        case ArgType::double_: a.d = va_arg(ap, double); break;
        case ArgType::ldouble: a.ld = va_arg(ap, long double); break;
        case ArgType::pointer: a.p = va_arg(ap, void *); break;
        }
    }
    va_end(ap);
    if (!complete)
        errno = EINVAL;
    return complete;
}

// Where a rendering goes: units up to `capacity` are stored, all are counted.
struct Sink {
    char16_t *out;
    size_t capacity;
    size_t count = 0;

    size_t room() const { return count < capacity ? capacity - count : 0; }
    bool fits(size_t n) const { return n <= room(); }

    void put(const char16_t *units, size_t n) {
        const size_t stored = n < room() ? n : room();
        if (stored != 0)
            std::memcpy(out + count, units, stored * sizeof(char16_t));
        count += n;
    }
    void fill(char16_t unit, size_t n) {
        const size_t stored = n < room() ? n : room();
        for (size_t i = 0; i < stored; ++i)
            out[count + i] = unit;
        count += n;
    }
    // ASCII from snprintf, widened.
    void widen(const char *bytes, size_t n) {
        const size_t stored = n < room() ? n : room();
        char16_t *to = out + count;  // held here: the byte loads may alias the sink
        for (size_t i = 0; i < stored; ++i)
            to[i] = static_cast<unsigned char>(bytes[i]);
        count += n;
    }
};

bool is_high_surrogate(uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; }

// One code point of UTF-8 at `p`, with its length in bytes; false at an
// invalid or cut-off sequence.
bool decode_utf8(const unsigned char *p, uint32_t *code, int *bytes) {
    const uint32_t b0 = p[0];
    if (b0 < 0x80) {
        *code = b0, *bytes = 1;
        return true;
    }
    int n;
    uint32_t c, least;
    if ((b0 & 0xE0) == 0xC0)
        n = 2, c = b0 & 0x1F, least = 0x80;
    else if ((b0 & 0xF0) == 0xE0)
        n = 3, c = b0 & 0x0F, least = 0x800;
    else if ((b0 & 0xF8) == 0xF0)
        n = 4, c = b0 & 0x07, least = 0x10000;
    else
        return false;
    for (int i = 1; i < n; ++i) {
        if ((p[i] & 0xC0) != 0x80)  // a terminator stops here too
            return false;
        c = (c << 6) | (p[i] & 0x3F);
    }
    if (c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        return false;
    *code = c, *bytes = n;
    return true;
}

// 8-bit text as 16-bit units: at most `limit` units, never half a pair.
// Gives the units written (or counted, with `sink` null); -1 (EILSEQ) at
// text that is not UTF-8.
int64_t put_utf8(const char *text, size_t limit, Sink *sink) {
    const auto *p = reinterpret_cast<const unsigned char *>(text);
    size_t units = 0;
    while (units < limit && *p != 0) {  // nothing past the limit is read
        uint32_t code;
        int bytes;
        if (!decode_utf8(p, &code, &bytes)) {
            errno = EILSEQ;
            return -1;
        }
        char16_t pair[2];
        size_t n = 1;
        if (code < 0x10000) {
            pair[0] = char16_t(code);
        } else {
            if (limit - units < 2)
                break;
            code -= 0x10000;
            pair[0] = char16_t(0xD800 + (code >> 10)), pair[1] = char16_t(0xDC00 + (code & 0x3FF));
            n = 2;
        }
        if (sink != nullptr)
            sink->put(pair, n);
        units += n;
        p += bytes;
    }
    return int64_t(units);
}

// The index of the first zero unit of text that is known to be terminated.
// Reads whole aligned blocks of 16 bytes: a block never straddles a page, so
// the units read before the text and past the terminator are always mapped,
// but they lie outside the caller's object, which the address and thread
// sanitizers would report (a neighbouring block freed or written by another
// thread); they are told not to look here.
__attribute__((no_sanitize("address", "thread")))
size_t terminator_in_blocks(const char16_t *text) {
#if defined(__SSE2__)
    const auto address = reinterpret_cast<uintptr_t>(text);
    if (address % sizeof(char16_t) == 0) {
        const __m128i zero = _mm_setzero_si128();
        const auto *block = reinterpret_cast<const __m128i *>(address & ~uintptr_t{15});
        // Lanes before `text` in the first block are masked off.
        unsigned mask = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_load_si128(block), zero)));
        mask &= ~0u << (address & 15);
        while (mask == 0) {
            ++block;
            mask = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_load_si128(block), zero)));
        }
        return (reinterpret_cast<uintptr_t>(block) + unsigned(__builtin_ctz(mask)) - address) / 2;
    }
#endif
    size_t n = 0;
    while (text[n] != 0)
        ++n;
    return n;
}

// The index of the first zero unit among the first `limit` units of `text`,
// or `limit` when there is none: nothing at or past `limit` is read (the text
// need not be terminated when a precision bounds it). The aligned blocks it
// reads lie wholly before the limit, but may reach past a terminator, hence
// neither sanitizer here either.
__attribute__((no_sanitize("address", "thread")))
size_t terminator_within(const char16_t *text, size_t limit) {
    size_t n = 0;
#if defined(__SSE2__)
    const auto address = reinterpret_cast<uintptr_t>(text);
    if (address % sizeof(char16_t) == 0 && limit >= 16) {
        // Unit by unit up to the first aligned block, then only blocks that
        // lie wholly within the limit, then unit by unit again.
        for (; (address + 2 * n) % 16 != 0; ++n)
            if (text[n] == 0)
                return n;
        const __m128i zero = _mm_setzero_si128();
        for (; limit - n >= 8; n += 8) {
            const __m128i units = _mm_load_si128(reinterpret_cast<const __m128i *>(text + n));
            const unsigned mask = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi16(units, zero)));
            if (mask != 0)
                return n + unsigned(__builtin_ctz(mask)) / 2;
        }
    }
#endif
    while (n < limit && text[n] != 0)
        ++n;
    return n;
}

// The units of 16-bit text to write: up to the terminator or `limit`, never
// half a pair. A high surrogate in the last place the limit allows is left
// out: its partner (if any) lies past the limit, which is not read.
size_t wide_extent(const char16_t *text, size_t limit) {
    if (limit == SIZE_MAX)
        return terminator_in_blocks(text);
    size_t n = terminator_within(text, limit);
    if (n == limit && n != 0 && is_high_surrogate(text[n - 1]))
        --n;
    return n;
}

void pad(Sink &sink, size_t width, size_t length) {
    if (width > length)
        sink.fill(u' ', width - length);
}

// Text conversions: %s, %c and their 8-bit forms, padded to the width.
bool put_text(Sink &sink, const Directive &directive, int width, int precision, const Arg &value) {
    const bool narrow =
        directive.conv == u'S' || directive.conv == u'C' || directive.length == Length::h;
    const bool left = (directive.flags & kMinus) != 0;
    const size_t limit = precision < 0 ? SIZE_MAX : size_t(precision);
    const size_t w = size_t(width);
    if (directive.conv == u'c' || directive.conv == u'C') {
        char16_t unit = char16_t(value.i);
        if (narrow) {
            const unsigned char byte = static_cast<unsigned char>(value.i);
            if (byte >= 0x80) {  // not a character of UTF-8 on its own
                errno = EILSEQ;
                return false;
            }
            unit = byte;
        }
        if (!left)
            pad(sink, w, 1);
        sink.put(&unit, 1);
        if (left)
            pad(sink, w, 1);
        return true;
    }
    const void *text = value.p;
    if (text == nullptr) {
        // As printf: "(null)", or nothing when the precision cuts it.
        static const char16_t kNull[] = u"(null)";
        const size_t n = precision < 0 || precision >= 6 ? 6 : 0;
        if (!left)
            pad(sink, w, n);
        sink.put(kNull, n);
        if (left)
            pad(sink, w, n);
        return true;
    }
    if (!narrow) {
        const auto *units = static_cast<const char16_t *>(text);
        const size_t n = wide_extent(units, limit);
        if (!left)
            pad(sink, w, n);
        sink.put(units, n);
        if (left)
            pad(sink, w, n);
        return true;
    }
    const char *bytes = static_cast<const char *>(text);
    const int64_t n = put_utf8(bytes, limit, nullptr);
    if (n < 0)
        return false;
    if (!left)
        pad(sink, w, size_t(n));
    put_utf8(bytes, limit, &sink);
    if (left)
        pad(sink, w, size_t(n));
    return true;
}

char *narrow_flags(const Directive &directive, char *o) {
    if (directive.flags & kMinus) *o++ = '-';
    if (directive.flags & kPlus) *o++ = '+';
    if (directive.flags & kSpace) *o++ = ' ';
    if (directive.flags & kHash) *o++ = '#';
    if (directive.flags & kZero) *o++ = '0';
    if (directive.flags & kGroup) *o++ = '\'';
    return o;
}

// The length of the argument's type and the conversion, terminated.
void narrow_conversion(const Directive &directive, ArgType type, char *o) {
    if (is_integer_conv(directive.conv)) {
        // The length keeps hh and h, whose truncation snprintf applies.
        switch (directive.length) {
        case Length::hh: *o++ = 'h', *o++ = 'h'; break;
        case Length::h: *o++ = 'h'; break;
        case Length::l: *o++ = 'l'; break;
        case Length::ll: case Length::L: *o++ = 'l', *o++ = 'l'; break;
        case Length::j: *o++ = 'j'; break;
        case Length::z: *o++ = 'z'; break;
        case Length::t: *o++ = 't'; break;
        case Length::none: break;
        }
    } else if (type == ArgType::ldouble) {
        *o++ = 'L';
    }
    *o++ = char(directive.conv);
    *o = 0;
}

// The narrow conversion handed to snprintf: flags, "*" for a width and ".*"
// for a precision when there are any, the length of the argument's type and
// the conversion.
void narrow_directive(const Directive &directive, ArgType type, bool width, bool precision,
                      char *out) {
    char *o = out;
    *o++ = '%';
    o = narrow_flags(directive, o);
    if (width)
        *o++ = '*';
    if (precision)
        *o++ = '.', *o++ = '*';
    narrow_conversion(directive, type, o);
}

char *put_decimal(int n, char *o) {
    char digits[12];
    int k = 0;
    do
        digits[k++] = char('0' + n % 10);
    while ((n /= 10) != 0);
    while (k > 0)
        *o++ = digits[--k];
    return o;
}

// The narrow conversion as the format spells it: a width or precision taken
// from the list stays "*", one written out stays a number.
size_t narrow_spelling(const Directive &directive, ArgType type, char *out) {
    char *o = out;
    *o++ = '%';
    o = narrow_flags(directive, o);
    if (directive.width_arg >= 0)
        *o++ = '*';
    else if (directive.width > 0)
        o = put_decimal(directive.width, o);
    if (directive.precision_arg >= 0)
        *o++ = '.', *o++ = '*';
    else if (directive.precision >= 0)
        *o++ = '.', o = put_decimal(directive.precision, o);
    narrow_conversion(directive, type, o);
    return std::strlen(out);
}

// snprintf with only the amounts the conversion names.
template <class T>
int print_with(char *buffer, size_t size, const char *format, int width, int precision,
               bool has_width, bool has_precision, T value) {
    if (has_width && has_precision)
        return std::snprintf(buffer, size, format, width, precision, value);
    if (has_width)
        return std::snprintf(buffer, size, format, width, value);
    if (has_precision)
        return std::snprintf(buffer, size, format, precision, value);
    return std::snprintf(buffer, size, format, value);
}

int print_number(char *buffer, size_t size, const char *format, int width, int precision,
                 const Arg &v) {
    const bool w = width != 0, p = precision >= 0;
    switch (v.type) {
    case ArgType::int_: return print_with(buffer, size, format, width, precision, w, p, v.i);
    case ArgType::long_: return print_with(buffer, size, format, width, precision, w, p, v.l);
    case ArgType::llong: return print_with(buffer, size, format, width, precision, w, p, v.ll);
    case ArgType::intmax: return print_with(buffer, size, format, width, precision, w, p, v.j);
    case ArgType::size: return print_with(buffer, size, format, width, precision, w, p, v.z);
    case ArgType::ptrdiff: return print_with(buffer, size, format, width, precision, w, p, v.t);
    case ArgType::double_: return print_with(buffer, size, format, width, precision, w, p, v.d);
    case ArgType::ldouble: return print_with(buffer, size, format, width, precision, w, p, v.ld);
    case ArgType::pointer: return print_with(buffer, size, format, width, precision, w, p, v.p);
    case ArgType::unset: break;
    }
    errno = EINVAL;
    return -1;
}

// Numbers and pointers, through snprintf; a long result is formatted again
// into a block of its size, unless it only needs counting.
bool put_number(Sink &sink, const Directive &directive, int width, int precision,
                const Arg &value) {
    char format[24];
    narrow_directive(directive, value.type, width != 0, precision >= 0, format);
    char small[128];
    const int n = print_number(small, sizeof small, format, width, precision, value);
    if (n < 0)
        return false;
    if (size_t(n) < sizeof small) {
        sink.widen(small, size_t(n));
        return true;
    }
    if (!sink.fits(size_t(n))) {
        sink.count += size_t(n);
        return true;
    }
    char *large = static_cast<char *>(std::malloc(size_t(n) + 1));
    if (large == nullptr) {
        errno = ENOMEM;
        return false;
    }
    print_number(large, size_t(n) + 1, format, width, precision, value);
    sink.widen(large, size_t(n));
    std::free(large);
    return true;
}

// %n: the units so far, stored at the width the length names.
void store_count(const Directive &directive, size_t count, const Arg &value) {
    const auto n = static_cast<long long>(count);
    switch (directive.length) {
    case Length::hh: *static_cast<signed char *>(value.p) = static_cast<signed char>(n); break;
    case Length::h: *static_cast<short *>(value.p) = static_cast<short>(n); break;
    case Length::l: *static_cast<long *>(value.p) = static_cast<long>(n); break;
    case Length::ll: case Length::L: *static_cast<long long *>(value.p) = n; break;
    case Length::j: *static_cast<intmax_t *>(value.p) = n; break;
    case Length::z: *static_cast<size_t *>(value.p) = count; break;
    case Length::t: *static_cast<ptrdiff_t *>(value.p) = static_cast<ptrdiff_t>(n); break;
    case Length::none: *static_cast<int *>(value.p) = static_cast<int>(n); break;
    }
}

// A conversion other than %% and %n, with its width, precision and value.
bool put_value(Sink &sink, const Directive &directive, int width, int precision,
               const Arg &value) {
    if (directive.conv == u's' || directive.conv == u'S' || directive.conv == u'c' ||
        directive.conv == u'C') {
        Directive text = directive;
        if (directive.width_arg >= 0 && width < 0) {  // a negative "*" width is "-" and its size
            text.flags |= kMinus;
            width = width == INT_MIN ? INT_MAX : -width;
        }
        return put_text(sink, text, width < 0 ? 0 : width, precision, value);
    }
    return put_number(sink, directive, width < 0 && directive.width_arg < 0 ? 0 : width, precision,
                      value);
}

bool put_conversion(Sink &sink, const Directive &directive, const ArgTable &table) {
    if (directive.conv == u'%') {
        sink.put(u"%", 1);
        return true;
    }
    const int width = directive.width_arg >= 0 ? table[directive.width_arg].i : directive.width;
    const int precision =
        directive.precision_arg >= 0 ? table[directive.precision_arg].i : directive.precision;
    const Arg &value = table[directive.arg];
    if (directive.conv == u'n') {
        if (value.p != nullptr)
            store_count(directive, sink.count, value);
        return true;
    }
    return put_value(sink, directive, width, precision, value);
}

// One rendering: the number of units of the whole text, -1 on failure.
int64_t render(const Plan &plan, const ArgTable &table, Sink &sink) {
    for (int i = 0; i < plan.size(); ++i) {
        const Step &step = plan[i];
        sink.put(step.text, step.length);
        if (step.convert && !put_conversion(sink, step.directive, table))
            return -1;
    }
    if (sink.count > size_t{INT_MAX}) {
        errno = EOVERFLOW;
        return -1;
    }
    return int64_t(sink.count);
}

// Numbers that follow one another in a format without positional parameters,
// with the ASCII text between them, go to snprintf as one narrow format over
// the same stretch of the caller's list: one call formats them all.
class NumberRun {
  public:
    NumberRun() = default;
    NumberRun(const NumberRun &) = delete;
    NumberRun &operator=(const NumberRun &) = delete;
    ~NumberRun() {
        if (open_)
            va_end(start_);
    }

    bool open() const { return open_; }

    // Adds text to an open run; false when it is not ASCII or has no room.
    bool add_text(const char16_t *text, size_t n) {
        if (n > (kRoom - length_) / 2)
            return false;
        size_t at = length_;
        for (size_t i = 0; i < n; ++i) {
            const char16_t u = text[i];
            if (u >= 0x80)
                return false;
            format_[at++] = char(u);
            if (u == u'%')
                format_[at++] = '%';
        }
        length_ = at;
        return true;
    }

    // Adds a conversion whose arguments start at `ap`'s position; false when
    // the run has no room for it (flush it first).
    bool add(const char *spelling, size_t n, va_list ap) {
        if (n > kRoom - length_)
            return false;
        if (!open_) {
            va_copy(start_, ap);
            open_ = true;
        }
        std::memcpy(format_ + length_, spelling, n);
        length_ += n;
        return true;
    }

    // Formats the run into the sink and closes it; false (errno set) when
    // snprintf refuses.
    bool flush(Sink &sink) {
        if (!open_)
            return true;
        format_[length_] = 0;
        char small[512];
        va_list ap;
        va_copy(ap, start_);
        const int n = std::vsnprintf(small, sizeof small, format_, ap);
        va_end(ap);
        bool ok = n >= 0;
        if (ok && size_t(n) < sizeof small) {
            sink.widen(small, size_t(n));
        } else if (ok && !sink.fits(size_t(n))) {
            sink.count += size_t(n);
        } else if (ok) {
            char *large = static_cast<char *>(std::malloc(size_t(n) + 1));
            if (large == nullptr) {
                errno = ENOMEM;
                ok = false;
            } else {
                va_copy(ap, start_);
                std::vsnprintf(large, size_t(n) + 1, format_, ap);
                va_end(ap);
                sink.widen(large, size_t(n));
                std::free(large);
            }
        }
        va_end(start_);
        open_ = false;
        length_ = 0;
        return ok;
    }

  private:
    static constexpr size_t kRoom = 255;  // and the terminator
    char format_[kRoom + 1];
    size_t length_ = 0;
    bool open_ = false;
    va_list start_;
};

// One rendering of a format without positional parameters, straight from the
// format and the list, in one walk. The counts of %n are stored only when the
// whole rendering succeeds; -1 on any failure (and when there are more of
// them than it keeps), for the planned rendering to run and report.
int64_t render_sequential(const char16_t *format, va_list arguments, Sink &sink) {
    struct Count {
        Length length;
        void *target;
        size_t count;
    };
    constexpr int kCounts = 4;
    Count counts[kCounts];  // trivial: nothing to construct
    int n_counts = 0;
    va_list ap;
    va_copy(ap, arguments);
    NumberRun run;
    bool done = walk(
        format,
        [&](const char16_t *text, size_t n) {
            if (run.open() && run.add_text(text, n))
                return true;
            if (!run.flush(sink))
                return false;
            sink.put(text, n);
            return true;
        },
        [&](const Directive &directive) {
            if (directive.positional)
                return false;  // for the plan
            if (directive.conv == u'%') {
                if (run.open() && run.add_text(u"%", 1))
                    return true;
                if (!run.flush(sink))
                    return false;
                sink.put(u"%", 1);
                return true;
            }
            ArgType type;
            if (!value_type(directive, &type))
                return false;
            const bool number = is_integer_conv(directive.conv) ||
                                is_float_conv(directive.conv) || directive.conv == u'p';
            if (number) {
                char spelling[48];
                const size_t n = narrow_spelling(directive, type, spelling);
                if (!run.add(spelling, n, ap)) {
                    if (!run.flush(sink) || !run.add(spelling, n, ap))
                        return false;
                }
            } else if (!run.flush(sink)) {
                return false;
            }
            const int width = directive.width_arg >= 0 ? va_arg(ap, int) : directive.width;
            const int precision =
                directive.precision_arg >= 0 ? va_arg(ap, int) : directive.precision;
            Arg value;
            value.type = type;
            switch (type) {
            case ArgType::unset: return false;
            case ArgType::int_: value.i = va_arg(ap, int); break;
            case ArgType::long_: value.l = va_arg(ap, long); break;
            case ArgType::llong: value.ll = va_arg(ap, long long); break;
            case ArgType::intmax: value.j = va_arg(ap, intmax_t); break;
            case ArgType::size: value.z = va_arg(ap, size_t); break;
            case ArgType::ptrdiff: value.t = va_arg(ap, ptrdiff_t); break;
            case ArgType::double_: value.d = va_arg(ap, double); break;
            case ArgType::ldouble: value.ld = va_arg(ap, long double); break;
            case ArgType::pointer: value.p = va_arg(ap, void *); break;
            }
            if (number)
                return true;  // formatted with its run
            if (directive.conv == u'n') {
                if (value.p == nullptr)
                    return true;
                if (n_counts == kCounts)
                    return false;
                counts[n_counts++] = Count{directive.length, value.p, sink.count};
                return true;
            }
            return put_value(sink, directive, width, precision, value);
        });
    done = done && run.flush(sink);
    va_end(ap);
    if (!done || sink.count > size_t{INT_MAX})
        return -1;
    for (int i = 0; i < n_counts; ++i) {
        Directive directive;
        directive.length = counts[i].length;
        Arg target;
        target.p = counts[i].target;
        store_count(directive, counts[i].count, target);
    }
    return int64_t(sink.count);
}

}  // namespace

Formatted<char16_t> format_block(size_t head, Heap heap, const char16_t *format,
                                 va_list arguments) {
    if (format == nullptr)
        format = u"";
    char16_t small[2048];
    Sink first{small, sizeof small / sizeof small[0]};
    // Most formats go in one walk; positional parameters, and any failure
    // (for its report), take the plan.
    int64_t length = render_sequential(format, arguments, first);
    const bool planned = length < 0;
    Plan plan;
    ArgTable table;
    if (planned) {
        if (!collect(format, arguments, plan, table))
            return {};
        first = Sink{small, sizeof small / sizeof small[0]};
        length = render(plan, table, first);
        if (length < 0)
            return {};
    }
    size_t total, bytes;
    if (__builtin_add_overflow(head, size_t(length), &total) ||
        !block_bytes<char16_t>(total, &bytes))
        return {};
    auto *block = static_cast<char16_t *>(heap.alloc(bytes));
    if (block == nullptr) {
        errno = ENOMEM;
        return {};
    }
    if (size_t(length) <= first.capacity) {
        std::memcpy(block + head, small, size_t(length) * sizeof(char16_t));
    } else {
        // Only a number too long for the stack can fail here, for memory.
        Sink second{block + head, size_t(length)};
        const int64_t again = planned ? render(plan, table, second)
                                      : render_sequential(format, arguments, second);
        if (again < 0) {
            heap.release(block);
            return {};
        }
    }
    block[total] = 0;
    return {block, size_t(length)};
}

}  // namespace vesk::text
