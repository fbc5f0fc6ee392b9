// SPDX-License-Identifier: MIT
// The shell-pattern compare in its plainest form: the recursive walk the
// library used before its matcher was made linear, kept here, outside the
// library, as the yardstick the fuzz target and the tests hold it to.
//
// It branches twice at every "?" and once per text position at every "*", so
// its time can grow exponentially and its depth with the wildcards. A step
// budget bounds it: once the budget is spent the answer is unknown and the
// caller skips the case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vesk_reference {

inline constexpr int32_t kMalformed = static_cast<int32_t>(0x8FFFFFFFu);

template <class Unit>
class ShellReference {
public:
    ShellReference(bool dots, long budget) : dots_(dots), budget_(budget) {}

    // The compare's result, or nothing if the budget ran out.
    std::optional<int32_t> compare(const Unit *text, const Unit *pattern) {
        const int32_t r = match(text, pattern);
        if (budget_ < 0)
            return std::nullopt;
        return r;
    }

private:
    bool dots_;
    long budget_;

    static uint32_t value_of(Unit c) {
        if constexpr (sizeof(Unit) == 1)
            return static_cast<unsigned char>(c);
        else
            return static_cast<uint32_t>(c);
    }

    bool spent() { return --budget_ < 0; }

    bool passable(const Unit *t) const { return *t != 0 && !(dots_ && *t == '.'); }

    static int32_t difference(Unit a, Unit b) {
        return static_cast<int32_t>(value_of(a)) - static_cast<int32_t>(value_of(b));
    }

    static int32_t compare_n(const Unit *t, const Unit *p, size_t n) {
        for (size_t i = 0; i < n; ++i) {
            if (t[i] != p[i] || t[i] == 0)
                return difference(t[i], p[i]);
        }
        return 0;
    }

    static const Unit *element_end(const Unit *q) {
        for (; *q != ',' && *q != '}'; ++q) {
            if (*q == 0)
                return nullptr;
            if (*q == '\\' && *++q == 0)
                return nullptr;
        }
        return q;
    }

    int32_t match(const Unit *t, const Unit *p) {
        for (;;) {
            if (spent())
                return 1;
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

    int32_t question(const Unit *t, const Unit *p) {
        if (*p == 0) {
            if (passable(t))
                ++t;
            return static_cast<int32_t>(value_of(*t));
        }
        const int32_t r = match(t, p);
        if (r == 0 || !passable(t) || budget_ < 0)
            return r;
        return match(t + 1, p);
    }

    int32_t star(const Unit *t, const Unit *p) {
        while (*p == '*' || *p == '?')
            ++p;
        if (*p == 0) {
            while (passable(t))
                ++t;
            return static_cast<int32_t>(value_of(*t));
        }
        for (;;) {
            const int32_t r = match(t, p);
            if (r == 0 || !passable(t) || budget_ < 0)
                return r;
            ++t;
        }
    }

    int32_t alternatives(const Unit *&t, const Unit *q, const Unit *&rest) {
        for (;;) {
            const Unit *end = element_end(q);
            if (end == nullptr)
                return kMalformed;
            const auto n = static_cast<size_t>(end - q);
            const int32_t r = n == 0 ? 0 : compare_n(t, q, n);
            if (r == 0) {
                while (*end != '}') {
                    end = element_end(end + 1);
                    if (end == nullptr)
                        return kMalformed;
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

}  // namespace vesk_reference
