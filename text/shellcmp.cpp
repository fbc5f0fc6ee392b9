// Shell-style pattern compare: "*", "?" (one character or none) and "{a,b}"
// lists, with an order-giving result at a plain mismatch as strcmp gives.
// With `dots` set, the wildcards stop at a period, so that a name is matched
// component by component. Recursion happens only at wildcards.
#include "nu.h"
#include "units.hpp"

namespace {

using vesk::text::value_of;

template <class Unit>
struct Shell {
    bool dots;

    // A wildcard may pass over this character.
    bool passable(const Unit *t) const { return *t != 0 && !(dots && *t == '.'); }

    static int32_t difference(Unit a, Unit b) {
        return static_cast<int32_t>(value_of(a)) - static_cast<int32_t>(value_of(b));
    }

    // strncmp over `n` units, stopping at the text's end.
    static int32_t compare_n(const Unit *t, const Unit *p, size_t n) {
        for (size_t i = 0; i < n; ++i) {
            if (t[i] != p[i] || t[i] == 0)
                return difference(t[i], p[i]);
        }
        return 0;
    }

    // The end of a list element starting at q: the ',' or '}' behind it, or
    // null when the pattern ends first. A backslash takes the next unit along.
    static const Unit *element_end(const Unit *q) {
        for (; *q != ',' && *q != '}'; ++q) {
            if (*q == 0)
                return nullptr;
            if (*q == '\\' && *++q == 0)
                return nullptr;
        }
        return q;
    }

    int32_t match(const Unit *t, const Unit *p) const {
        for (;;) {
            switch (*p) {
            case '?':
                if (p[1] == '*') {
                    ++p;
                    continue;
                }
                return question(t, p + 1);
            case '*':
                return star(t, p);
            case '{': {
                const Unit *rest = nullptr;
                const int32_t r = alternatives(t, p + 1, rest);
                if (rest == nullptr)
                    return r;
                p = rest;
                continue;
            }
            default:
                if (*t != *p)
                    return difference(*t, *p);
                if (*p == 0)
                    return 0;
                ++t;
                ++p;
            }
        }
    }

    // "?" matches one character or none; `p` is the pattern behind it.
    int32_t question(const Unit *t, const Unit *p) const {
        if (*p == 0) {
            if (passable(t))
                ++t;
            return static_cast<int32_t>(value_of(*t));
        }
        const int32_t r = match(t, p);
        if (r == 0 || !passable(t))
            return r;
        return match(t + 1, p);
    }

    // "*" matches any number of characters; "*" and "?" behind it add nothing.
    int32_t star(const Unit *t, const Unit *p) const {
        while (*p == '*' || *p == '?')
            ++p;
        if (*p == 0) {
            while (passable(t))
                ++t;
            return static_cast<int32_t>(value_of(*t));
        }
        for (;;) {
            const int32_t r = match(t, p);
            if (r == 0 || !passable(t))
                return r;
            ++t;
        }
    }

    // The list starting behind "{": the first element equal to the text
    // (compared as it stands in the pattern) wins, for good. On success
    // `t` moves on and `rest` is the pattern behind "}"; otherwise `rest`
    // stays null and the result is the last comparison, or the malformed mark.
    int32_t alternatives(const Unit *&t, const Unit *q, const Unit *&rest) const {
        for (;;) {
            const Unit *end = element_end(q);
            if (end == nullptr)
                return NU_SHELLCMP_MALFORMED;
            const auto n = static_cast<size_t>(end - q);
            const int32_t r = n == 0 ? 0 : compare_n(t, q, n);
            if (r == 0) {
                while (*end != '}') {
                    end = element_end(end + 1);
                    if (end == nullptr)
                        return NU_SHELLCMP_MALFORMED;
                }
                t += n;
                rest = end + 1;
                return 0;
            }
            if (*end == '}')
                return r;
            q = end + 1;
        }
    }
};

}  // namespace

extern "C" {

VESK_API int32_t strshellcmp3(const char *text, const char *pattern, int32_t dots) {
    return Shell<char>{dots != 0}.match(text, pattern);
}

VESK_API int32_t wcsshellcmp3(const char16_t *text, const char16_t *pattern, int32_t dots) {
    return Shell<char16_t>{dots != 0}.match(text, pattern);
}

}  // extern "C"
