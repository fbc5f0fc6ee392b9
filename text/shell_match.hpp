// Whether a text matches a shell pattern, in time at most text length x
// pattern length and with a stack that doesn't grow with either.
//
// The pattern is a chain of pieces, each taking a text position to the
// positions it can end at:
//  - a run of plain characters, which must be there;
//  - a run of "*" and "?" that holds a "*": any number of passable characters
//    ("?" next to a star adds nothing, since the star covers it);
//  - a run of r "?" alone: up to r passable characters;
//  - a "{...}" list: the first element equal to the text there, or nothing.
// The pattern's end wants the text's end. "Passable" is any character but the
// terminator and, with dots set, the period.
//
// Patterns of stars and plain characters take the familiar scan that only
// ever moves the most recent star on: with every star confined to one run of
// passable characters, the positions a later star can start from lie within
// the run of the first one it was reached at, so going back to an earlier star
// finds nothing new. Anything else carries the set of reachable positions,
// one bit each, through the chain.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "units.hpp"

namespace vesk::text {

enum class Verdict { match, no_match, no_memory };

// The character rules the walk and the passes share.
template <class Unit>
struct ShellRules {
    bool dots;

    // A wildcard may pass over this character.
    bool passable(Unit c) const { return c != 0 && !(dots && c == '.'); }

    const Unit *skip_passable(const Unit *t) const {
        while (passable(*t))
            ++t;
        return t;
    }

    static bool is_wildcard(Unit c) { return c == '*' || c == '?'; }
    static bool is_special(Unit c) { return c == 0 || is_wildcard(c) || c == '{'; }

    static const Unit *skip_wildcards(const Unit *p) {
        while (is_wildcard(*p))
            ++p;
        return p;
    }

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

    // The pattern behind the "}" of the list whose elements start at q, or
    // null if the pattern ends inside it.
    static const Unit *list_end(const Unit *q) {
        for (;;) {
            const Unit *end = element_end(q);
            if (end == nullptr || *end == '}')
                return end == nullptr ? nullptr : end + 1;
            q = end + 1;
        }
    }

    // A list at text t: the first element equal to the text (compared as it
    // stands in the pattern, backslashes included) wins, for good.
    struct Pick {
        const Unit *rest;  // behind "}" on a match, null otherwise
        size_t taken;      // units of text the element covers
        int32_t result;    // without a match: the last comparison, or malformed
    };
    static Pick pick(const Unit *t, const Unit *q) {
        for (;;) {
            const Unit *end = element_end(q);
            if (end == nullptr)
                return {nullptr, 0, kMalformed};
            const auto n = static_cast<size_t>(end - q);
            const int32_t r = n == 0 ? 0 : compare_n(t, q, n);
            if (r == 0) {
                const Unit *rest = *end == '}' ? end + 1 : list_end(end + 1);
                return {rest, n, rest == nullptr ? kMalformed : 0};
            }
            if (*end == '}')
                return {nullptr, 0, r};
            q = end + 1;
        }
    }

    static constexpr int32_t kMalformed = static_cast<int32_t>(0x8FFFFFFFu);
};

// Stars and plain characters only. Gives false in `decided` at the first
// piece of another kind.
template <class Unit>
bool scan_stars(const ShellRules<Unit> &rules, const Unit *t, const Unit *p, bool &decided) {
    using Rules = ShellRules<Unit>;
    const Unit *star_p = nullptr, *star_t = nullptr;
    decided = true;
    for (;;) {
        if (Rules::is_wildcard(*p)) {
            const Unit *q = p;
            bool star = false;
            for (; Rules::is_wildcard(*q); ++q)
                star = star || *q == '*';
            if (!star) {
                decided = false;
                return false;
            }
            if (*q == 0)
                return *rules.skip_passable(t) == 0;
            p = star_p = q;
            star_t = t;
            continue;
        }
        if (*p == '{') {
            decided = false;
            return false;
        }
        if (*p == *t) {
            if (*p == 0)
                return true;
            ++p;
            ++t;
            continue;
        }
        if (star_p == nullptr || !rules.passable(*star_t))
            return false;
        t = ++star_t;
        p = star_p;
    }
}

// The reachable text positions 0..n, one bit each, and the passable ones.
class PositionSet {
public:
    static constexpr size_t kBits = 64;

    // Texts shorter than this take no heap block.
    static constexpr size_t kInlineWords = 64;

    explicit PositionSet(size_t positions) : words_(positions / kBits + 1) {
        if (words_ <= kInlineWords) {
            reached_ = inline_;
            std::memset(reached_, 0, 2 * words_ * sizeof(uint64_t));
        } else {
            // Two words per 64 units of text, from the C heap: a block that
            // can't be had is answered at once (no_memory), not waited for.
            reached_ = static_cast<uint64_t *>(std::calloc(words_, 2 * sizeof(uint64_t)));
        }
        passable_ = reached_ == nullptr ? nullptr : reached_ + words_;
    }
    ~PositionSet() {
        if (reached_ != inline_)
            std::free(reached_);
    }
    PositionSet(const PositionSet &) = delete;
    PositionSet &operator=(const PositionSet &) = delete;

    bool usable() const { return reached_ != nullptr; }

    void add(size_t i) { reached_[i / kBits] |= uint64_t{1} << (i % kBits); }
    bool has(size_t i) const { return (reached_[i / kBits] >> (i % kBits) & 1) != 0; }
    void add_passable(size_t i) { passable_[i / kBits] |= uint64_t{1} << (i % kBits); }

    // Nothing reachable below word `low_`: positions only ever move forward.
    bool empty() {
        while (low_ < words_ && reached_[low_] == 0)
            ++low_;
        return low_ == words_;
    }

    // Every reached position extends over the passable run it stands in, up
    // to and including the first position that isn't passable. Per word:
    // adding a reached bit to its run of passable ones carries through the
    // run into the bit behind it; the bits the carry changed are the reach.
    void extend_to_run_end() {
        uint64_t carry = 0;
        for (size_t w = low_; w < words_; ++w) {
            const uint64_t run = passable_[w], seeds = reached_[w] & run;
            uint64_t sum = 0;
            const bool out1 = __builtin_add_overflow(run, seeds, &sum);
            const bool out2 = __builtin_add_overflow(sum, carry, &sum);
            carry = out1 || out2 ? 1 : 0;
            reached_[w] |= sum ^ run;
        }
    }

    // One passable character further, or none. False when that added
    // nothing, as no further step can then.
    bool extend_by_one() {
        bool grew = false;
        for (size_t w = words_; w-- > low_;) {
            const uint64_t movable = reached_[w] & passable_[w];
            const uint64_t below = w > low_ ? (reached_[w - 1] & passable_[w - 1]) >> (kBits - 1) : 0;
            const uint64_t next = reached_[w] | movable << 1 | below;
            grew = grew || next != reached_[w];
            reached_[w] = next;
        }
        return grew;
    }

    // Moves every reached position i to i + advance(i), or drops it when
    // advance gives a negative number. Targets lie at or above their
    // sources, so walking the words downwards, each word is read whole
    // before anything from below lands in it.
    template <class Advance>
    void move(Advance advance) {
        for (size_t w = words_; w-- > low_;) {
            uint64_t bits = reached_[w];
            reached_[w] = 0;
            while (bits != 0) {
                const size_t i = w * kBits + static_cast<size_t>(__builtin_ctzll(bits));
                bits &= bits - 1;
                const ptrdiff_t step = advance(i);
                if (step >= 0)
                    add(i + static_cast<size_t>(step));
            }
        }
    }

private:
    size_t words_;
    size_t low_ = 0;
    uint64_t *reached_ = nullptr;
    uint64_t *passable_ = nullptr;
    uint64_t inline_[2 * kInlineWords];
};

// The general pass: the reachable positions carried through the chain.
template <class Unit>
Verdict carry_positions(const ShellRules<Unit> &rules, const Unit *t, const Unit *p) {
    using Rules = ShellRules<Unit>;
    const size_t n = length_of(t);
    PositionSet set(n);
    if (!set.usable())
        return Verdict::no_memory;
    for (size_t i = 0; i < n; ++i)
        if (rules.passable(t[i]))
            set.add_passable(i);
    set.add(0);
    while (*p != 0) {
        if (Rules::is_wildcard(*p)) {
            size_t questions = 0;
            bool star = false;
            for (; Rules::is_wildcard(*p); ++p) {
                star = star || *p == '*';
                questions += *p == '?';
            }
            // No passable run is longer than the text, so n steps or more
            // reach as far as a star.
            if (star || questions >= n) {
                set.extend_to_run_end();
            } else {
                while (questions-- > 0 && set.extend_by_one()) {
                }
            }
            continue;
        }
        if (*p == '{') {
            const Unit *rest = Rules::list_end(p + 1);
            if (rest == nullptr)
                return Verdict::no_match;
            set.move([&](size_t i) -> ptrdiff_t {
                const auto list = Rules::pick(t + i, p + 1);
                return list.rest == nullptr ? -1 : static_cast<ptrdiff_t>(list.taken);
            });
            p = rest;
        } else {
            size_t length = 0;
            while (!Rules::is_special(p[length]))
                ++length;
            const Unit *literal = p;
            set.move([&](size_t i) -> ptrdiff_t {
                const bool fits = length <= n - i && t[i] == literal[0] &&
                                  std::memcmp(t + i, literal, length * sizeof(Unit)) == 0;
                return fits ? static_cast<ptrdiff_t>(length) : -1;
            });
            p += length;
        }
        if (set.empty())
            return Verdict::no_match;
    }
    return set.has(n) ? Verdict::match : Verdict::no_match;
}

template <class Unit>
Verdict shell_matches(const ShellRules<Unit> &rules, const Unit *t, const Unit *p) {
    bool decided = false;
    const bool matched = scan_stars(rules, t, p, decided);
    if (decided)
        return matched ? Verdict::match : Verdict::no_match;
    return carry_positions(rules, t, p);
}

}  // namespace vesk::text
