// SPDX-License-Identifier: MIT
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
// Most patterns take the familiar scan that only ever moves the most recent
// star on. A star never passes the end of its run of passable characters, so
// the places a later star can be reached at all lie in the run of the first
// one it was reached at, and going back to an earlier star finds nothing new.
// That holds while the pieces between two stars have one length; where it
// doesn't (a list between a wildcard and a star, a run of bare "?" behind
// another wildcard), the rest goes to a pass that carries the set of
// reachable positions, one bit each, through the chain.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "units.hpp"

namespace vesk::text {

enum class Verdict { match, no_match, no_memory };

// The character rules the walk and the passes share.
template <class Unit>
struct ShellRules {
    bool dots;

    // A wildcard may pass over this character.
    bool passable(Unit c) const { return c != 0 && !(dots && c == '.'); }

    // The first position from t on that a wildcard can't pass.
    const Unit *skip_passable(const Unit *t) const {
        if constexpr (sizeof(Unit) == 1)
            return dots ? strchrnul(t, '.') : t + std::strlen(t);
        while (passable(*t))
            ++t;
        return t;
    }

    // Up to `limit` positions on from t, stopping where a wildcard can't
    // pass.
    const Unit *pass_up_to(const Unit *t, size_t limit) const {
        if constexpr (sizeof(Unit) == 1) {
            size_t length = strnlen(t, limit);
            if (dots)
                if (const void *period = std::memchr(t, '.', length))
                    length = static_cast<size_t>(static_cast<const char *>(period) - t);
            return t + length;
        }
        for (; limit > 0 && passable(*t); --limit)
            ++t;
        return t;
    }

    // The first position from t on that holds c or that a wildcard can't
    // pass; c is a plain character.
    const Unit *seek(const Unit *t, Unit c) const {
        if constexpr (sizeof(Unit) == 1) {
            if (!dots || c == '.')
                return strchrnul(t, c);
            const char stops[] = {c, '.', 0};
            return t + std::strcspn(t, stops);
        }
        while (*t != c && passable(*t))
            ++t;
        return t;
    }

    static bool is_wildcard(Unit c) { return c == '*' || c == '?'; }
    // The terminator, "*", "?" or "{": the first three are bits of one word.
    static bool is_special(Unit c) {
        constexpr uint64_t kBelow64 = uint64_t{1} << 0 | uint64_t{1} << '*' | uint64_t{1} << '?';
        const uint32_t v = value_of(c);
        return v < 64 ? (kBelow64 >> v & 1) != 0 : v == '{';
    }

    // A run of "*" and "?": where it ends, whether it holds a star, and its
    // length (the number of "?" when it holds none).
    struct Run {
        const Unit *end;
        bool star;
        size_t length;
    };
    static Run wildcard_run(const Unit *p) {
        if (!is_wildcard(p[1]))
            return {p + 1, *p == '*', 1};
        if constexpr (sizeof(Unit) == 1) {
            const size_t length = std::strspn(p, "*?");
            return {p + length, std::memchr(p, '*', length) != nullptr, length};
        }
        const Unit *q = p;
        bool star = false;
        for (; is_wildcard(*q); ++q)
            star = star || *q == '*';
        return {q, star, static_cast<size_t>(q - p)};
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

// Where the scan hands over to the general pass: a pattern position and the
// one text position to carry from. Behind a wildcard that is where it was
// first reached: the other places it can be reached at lie in the same run of
// passable characters, and a star fills that run from there anyway.
template <class Unit>
struct Handover {
    const Unit *t, *p;
};

// The scan keeps only the latest wildcard and, at a mismatch behind it, lets
// it take one more character: a star while it can, a run of r bare "?" up to
// r times. A run of bare "?" may only be the pattern's first wildcard: behind
// another one, running out would have to send the earlier one on, which the
// scan no longer knows. A list takes one way or none, like a character,
// except between a wildcard and a later star. Where these rules don't reach,
// the answer is empty and `from` says where the general pass takes over.
template <class Unit>
std::optional<bool> scan_latest_wildcard(const ShellRules<Unit> rules, const Unit *t, const Unit *p,
                                         Handover<Unit> &from) {
    using Rules = ShellRules<Unit>;
    constexpr size_t kUnbounded = SIZE_MAX;
    // The latest wildcard: where its run starts and ends, where it was
    // reached first, where it stands now and how many more it may take.
    const Unit *wild_run = nullptr, *wild_p = nullptr, *wild_first = nullptr, *wild_t = nullptr;
    size_t wild_left = 0;
    bool list_behind_wildcard = false;
    for (;;) {
        if (Rules::is_wildcard(*p)) {
            const auto run = Rules::wildcard_run(p);
            if (run.star ? list_behind_wildcard : wild_run != nullptr) {
                from = wild_run != nullptr ? Handover<Unit>{wild_first, wild_run}
                                           : Handover<Unit>{t, p};
                return std::nullopt;
            }
            if (*run.end == 0)
                return *(run.star ? rules.skip_passable(t) : rules.pass_up_to(t, run.length)) == 0;
            wild_run = p;
            wild_p = run.end;
            wild_first = wild_t = t;
            wild_left = run.star ? kUnbounded : run.length;
        } else {
            if (*p == '{') {
                const auto list = Rules::pick(t, p + 1);
                if (list.rest != nullptr) {
                    t += list.taken;
                    p = list.rest;
                    list_behind_wildcard = wild_p != nullptr;
                    continue;
                }
            } else if (*p == *t) {
                if (*p == 0)
                    return true;
                do {
                    ++p;
                    ++t;
                } while (*p == *t && !Rules::is_special(*p));
                continue;
            }
            // A mismatch: the latest wildcard takes one more character.
            if (wild_p == nullptr || wild_left == 0 || !rules.passable(*wild_t))
                return false;
            ++wild_t;
            --wild_left;
        }
        // Go on behind the wildcard where the rest can begin: when a plain
        // character follows, the places without it fail at once.
        if (!Rules::is_special(*wild_p)) {
            const Unit *next = rules.seek(wild_t, *wild_p);
            const auto skipped = static_cast<size_t>(next - wild_t);
            if (skipped > wild_left)
                return false;
            if (wild_left != kUnbounded)
                wild_left -= skipped;
            wild_t = next;
        }
        t = wild_t;
        p = wild_p;
        list_behind_wildcard = false;
    }
}

constexpr size_t kWordBits = 64;

// Bit k set where t[k] is c, for the first `count` (at most 64) units.
template <class Unit>
uint64_t places_of(Unit c, const Unit *t, size_t count) {
    uint64_t places = 0;
    size_t k = 0;
    if constexpr (sizeof(Unit) == 1) {
        // Eight bytes at a time: the bytes equal to c become 0x80 (exactly,
        // no borrow between bytes), and a multiply gathers the eight top
        // bits into one byte.
        constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full, kOnes = 0x0101010101010101ull;
        const uint64_t pattern = kOnes * static_cast<unsigned char>(c);
        for (; k + 8 <= count; k += 8) {
            uint64_t bytes = 0;
            std::memcpy(&bytes, t + k, sizeof bytes);
            const uint64_t diff = bytes ^ pattern;
            const uint64_t equal = ~(((diff & kLow7) + kLow7) | diff | kLow7);
            places |= ((equal >> 7) * 0x0102040810204080ull >> 56) << k;
        }
    }
    for (; k < count; ++k)
        places |= uint64_t{t[k] == c} << k;
    return places;
}

// Of the reached positions `bits` in the word from text position `base` on,
// those where `literal` (of `length` plain units) stands in the text of
// length n. Where more than a few are reached, those without the literal's
// first unit go first, all at once.
template <class Unit>
[[gnu::always_inline]] inline uint64_t literal_places(uint64_t bits, size_t base, const Unit *t,
                                                      size_t n, const Unit *literal,
                                                      size_t length) {
    const uint64_t past_first = bits & (bits - 1);
    if ((past_first & (past_first - 1)) != 0)  // three or more
        bits &= places_of(literal[0], t + base, std::min(kWordBits, n + 1 - base));
    uint64_t kept = 0;
    for (uint64_t left = bits; left != 0; left &= left - 1) {
        const auto k = static_cast<size_t>(__builtin_ctzll(left));
        const Unit *here = t + base + k;
        if (length > n - (base + k))
            continue;
        size_t same = 0;
        while (same < length && here[same] == literal[same])
            ++same;
        if (same == length)
            kept |= uint64_t{1} << k;
    }
    return kept;
}

// The reachable text positions 0..n of a text shorter than 64 units, and the
// passable ones: one word each.
class SmallPositionSet {
public:
    template <class Unit>
    SmallPositionSet(const ShellRules<Unit> rules, const Unit *t, size_t n)
        : passable_(rules.dots ? places_of(Unit{'.'}, t, n) ^ ((uint64_t{1} << n) - 1)
                               : (uint64_t{1} << n) - 1) {}

    bool has(size_t i) const { return (reached_ >> i & 1) != 0; }
    bool empty() const { return reached_ == 0; }

    // See PositionSet; the run always ends inside the word, at the text's end
    // at the latest.
    void extend_to_run_end() { reached_ |= (passable_ + (reached_ & passable_)) ^ passable_; }

    bool extend_by_one() {
        const uint64_t next = reached_ | (reached_ & passable_) << 1;
        const bool grew = next != reached_;
        reached_ = next;
        return grew;
    }

    template <class Unit>
    void pass_literal(const Unit *t, size_t n, const Unit *literal, size_t length) {
        // Nothing kept when the literal is longer than the word.
        const uint64_t kept = literal_places(reached_, 0, t, n, literal, length);
        reached_ = kept == 0 ? 0 : kept << length;
    }

    template <class Advance>
    void move(Advance advance) {
        uint64_t moved = 0;
        for (uint64_t left = reached_; left != 0; left &= left - 1) {
            const auto i = static_cast<size_t>(__builtin_ctzll(left));
            const ptrdiff_t step = advance(i);
            if (step >= 0)
                moved |= uint64_t{1} << (i + static_cast<size_t>(step));
        }
        reached_ = moved;
    }

private:
    uint64_t reached_ = 1;
    uint64_t passable_;
};

// The same for longer texts, a word per 64 positions.
class PositionSet {
public:
    // Texts shorter than this take no heap block.
    static constexpr size_t kInlineWords = 64;

    template <class Unit>
    PositionSet(const ShellRules<Unit> rules, const Unit *t, size_t n) : words_(n / kWordBits + 1) {
        if (words_ <= kInlineWords) {
            reached_ = inline_;
            std::memset(reached_, 0, 2 * words_ * sizeof(uint64_t));
        } else {
            // Two words per 64 units of text, from the C heap: a block that
            // can't be had is answered at once (no_memory), not waited for.
            reached_ = static_cast<uint64_t *>(std::calloc(words_, 2 * sizeof(uint64_t)));
            if (reached_ == nullptr)
                return;
        }
        passable_ = reached_ + words_;
        reached_[0] = 1;
        mark_passable(rules, t, n);
    }
    ~PositionSet() {
        if (reached_ != inline_)
            std::free(reached_);
    }
    PositionSet(const PositionSet &) = delete;
    PositionSet &operator=(const PositionSet &) = delete;

    bool usable() const { return reached_ != nullptr; }
    bool has(size_t i) const { return (reached_[i / kWordBits] >> (i % kWordBits) & 1) != 0; }

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
            const uint64_t below =
                w > low_ ? (reached_[w - 1] & passable_[w - 1]) >> (kWordBits - 1) : 0;
            const uint64_t next = reached_[w] | movable << 1 | below;
            grew = grew || next != reached_[w];
            reached_[w] = next;
        }
        return grew;
    }

    template <class Unit>
    void pass_literal(const Unit *t, size_t n, const Unit *literal, size_t length) {
        move_words([&](uint64_t bits, size_t base, auto land) {
            for (uint64_t kept = literal_places(bits, base, t, n, literal, length); kept != 0;
                 kept &= kept - 1)
                land(base + static_cast<size_t>(__builtin_ctzll(kept)) + length);
        });
    }

    // Moves every reached position i to i + advance(i), or drops it when
    // advance gives a negative number.
    template <class Advance>
    void move(Advance advance) {
        move_words([&](uint64_t bits, size_t base, auto land) {
            for (; bits != 0; bits &= bits - 1) {
                const size_t i = base + static_cast<size_t>(__builtin_ctzll(bits));
                const ptrdiff_t step = advance(i);
                if (step >= 0)
                    land(i + static_cast<size_t>(step));
            }
        });
    }

private:
    void add(size_t i) { reached_[i / kWordBits] |= uint64_t{1} << (i % kWordBits); }

    template <class Unit>
    void mark_passable(const ShellRules<Unit> rules, const Unit *t, size_t n) {
        for (size_t w = 0; w < n / kWordBits; ++w)
            passable_[w] = ~uint64_t{0};
        passable_[n / kWordBits] = (uint64_t{1} << (n % kWordBits)) - 1;
        if (rules.dots)
            for (size_t w = 0; w < words_; ++w)
                passable_[w] &= ~places_of(Unit{'.'}, t + w * kWordBits,
                                           std::min(kWordBits, n + 1 - w * kWordBits));
    }

    // Hands each word's reached positions to `each` with a function that
    // lands a target. Targets lie at or above their sources, so walking the
    // words downwards, each word is read whole before anything from below
    // lands in it.
    template <class Each>
    void move_words(Each each) {
        for (size_t w = words_; w-- > low_;) {
            const uint64_t bits = reached_[w];
            reached_[w] = 0;
            each(bits, w * kWordBits, [this](size_t target) { add(target); });
        }
    }

    size_t words_;
    size_t low_ = 0;
    uint64_t *reached_ = nullptr;
    uint64_t *passable_ = nullptr;
    uint64_t inline_[2 * kInlineWords];
};

// The general pass: the reachable positions carried through the chain, from
// position 0 of t.
template <class Set, class Unit>
Verdict carry_through(Set &set, const Unit *t, size_t n, const Unit *p) {
    using Rules = ShellRules<Unit>;
    while (*p != 0) {
        if (Rules::is_wildcard(*p)) {
            const auto run = Rules::wildcard_run(p);
            // No passable run is longer than the text, so n steps or more
            // reach as far as a star.
            if (run.star || run.length >= n) {
                set.extend_to_run_end();
            } else {
                for (size_t steps = run.length; steps > 0 && set.extend_by_one(); --steps) {
                }
            }
            p = run.end;
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
            set.pass_literal(t, n, p, length);
            p += length;
        }
        if (set.empty())
            return Verdict::no_match;
    }
    return set.has(n) ? Verdict::match : Verdict::no_match;
}

template <class Unit>
Verdict carry_positions(const ShellRules<Unit> rules, const Unit *t, const Unit *p) {
    const size_t n = length_of(t);
    if (n < kWordBits) {
        SmallPositionSet set(rules, t, n);
        return carry_through(set, t, n, p);
    }
    PositionSet set(rules, t, n);
    if (!set.usable())
        return Verdict::no_memory;
    return carry_through(set, t, n, p);
}

template <class Unit>
Verdict shell_matches(const ShellRules<Unit> rules, const Unit *t, const Unit *p) {
    Handover<Unit> from{};
    if (const auto matched = scan_latest_wildcard(rules, t, p, from))
        return *matched ? Verdict::match : Verdict::no_match;
    return carry_positions(rules, from.t, from.p);
}

}  // namespace vesk::text
