// SPDX-License-Identifier: MIT
// The scanner behind NuStrtok and NuWcstok: one template over the unit type.
//
// The delimit-string is compiled where it lies. Its groups' closing brackets
// become NULs; the atom group becomes a chain of entries (link unit, open
// marker, then NUL or 0x01 + close marker + NUL), each link holding the
// distance to the next one, 0 in the last. The three sets (singles, word
// characters, plain delimiters) are rewritten sorted and without repeats:
// a set is a set, and this keeps the look-ups of one call bounded by the
// number of distinct units instead of by the length of what the caller wrote.
//
// Every call that scans builds, on its stack, a table of 256 bytes from the
// state's tables: for each unit below 256, whether it delimits, is a single,
// may open an atom, or needs a closer look inside a word at all (those, a
// backslash, NUL). A word is then a run over units that need no closer look.
// Units from 256 up (16-bit text) always take the closer look, where the sets
// are searched by halves. With nothing but up to four plain delimiters (the
// common case: no groups, no quotes) there is no table: a word ends at one of
// them, NUL or a backslash, found 16 bytes at a time.
#include <cerrno>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "nu.h"
#include "units.hpp"
#include "vesk.h"

namespace {

using vesk::text::value_of;

constexpr uint32_t kBackslash = '\\';
constexpr uint32_t kSingleQuote = '\'';
constexpr uint32_t kDoubleQuote = '"';
constexpr uint32_t kLineFeed = 10;
constexpr uint32_t kCarriageReturn = 13;
constexpr uint32_t kCloseFollows = 0x01;  // between an entry's open and close markers

template <class Unit>
struct Form;
template <>
struct Form<char> {
    using State = NuSTRTOK;
    static constexpr uint32_t kMaxLink = 0xFF;
    static constexpr const char *kName = "NuStrtok";
};
template <>
struct Form<char16_t> {
    using State = NuWCSTOK;
    static constexpr uint32_t kMaxLink = 0xFFFF;
    static constexpr const char *kName = "NuWcstok";
};

// A set of unit values below 256.
struct ByteMap {
    uint64_t word[4] = {0, 0, 0, 0};
    void add(uint32_t c) { word[c >> 6] |= uint64_t{1} << (c & 63); }
    bool has(uint32_t c) const { return (word[c >> 6] >> (c & 63)) & 1; }
};

bool may_cut(uint32_t c, uint32_t flags) {
    return !(flags & NU_TOK_NOCUT) && !((flags & NU_TOK_KEEPLF) && c == kLineFeed) &&
           !((flags & NU_TOK_KEEPCR) && c == kCarriageReturn);
}

// ---------------------------------------------------------------------------
// Sets

// The units from 256 up of a compiled set, searched by halves. A 16-bit group
// keeps its length in the unit in front of it (a unit of its "[^" or "[!");
// the plain delimiters have no such place, and their length is counted at the
// first look of a call, not before: most calls never need it.
template <class Unit>
class HighUnits {
public:
    explicit HighUnits(const Unit *set) : set_(set) {}
    static HighUnits group(const Unit *set) {
        HighUnits units(set);
        if (sizeof(Unit) > 1 && set != nullptr)
            units.length_ = value_of(set[-1]);
        return units;
    }
    bool has(uint32_t c) const {
        if (set_ == nullptr)
            return false;
        if (length_ == kUncounted)
            length_ = vesk::text::length_of(set_);
        size_t lo = 0, hi = length_;
        while (lo < hi) {
            const size_t mid = lo + (hi - lo) / 2;
            const uint32_t v = value_of(set_[mid]);
            if (v == c)
                return true;
            if (v < c)
                lo = mid + 1;
            else
                hi = mid;
        }
        return false;
    }
    const Unit *set() const { return set_; }

private:
    static constexpr size_t kUncounted = SIZE_MAX;
    const Unit *set_;
    mutable size_t length_ = kUncounted;
};

// Rewrites the n units at `set` sorted and without repeats, NUL-ended.
inline size_t normalise_set(char *set, size_t n) {
    ByteMap seen;
    for (size_t i = 0; i < n; ++i)
        seen.add(value_of(set[i]));
    char *w = set;
    for (uint32_t v = 1; v < 256; ++v)
        if (seen.has(v))
            *w++ = static_cast<char>(v);
    *w = 0;
    return static_cast<size_t>(w - set);
}

inline size_t normalise_set(char16_t *set, size_t n) {
    constexpr size_t kShort = 32;
    if (n <= kShort) {  // insertion sort: no 8 KB map for a short set
        for (size_t i = 1; i < n; ++i) {
            const char16_t v = set[i];
            size_t j = i;
            for (; j > 0 && set[j - 1] > v; --j)
                set[j] = set[j - 1];
            set[j] = v;
        }
        size_t w = 0;
        for (size_t i = 0; i < n; ++i)
            if (w == 0 || set[w - 1] != set[i])
                set[w++] = set[i];
        set[w] = 0;
        return w;
    }
    uint64_t seen[65536 / 64] = {};
    for (size_t i = 0; i < n; ++i)
        seen[set[i] >> 6] |= uint64_t{1} << (set[i] & 63);
    char16_t *w = set;
    for (uint32_t v = 1; v < 65536; ++v)
        if ((seen[v >> 6] >> (v & 63)) & 1)
            *w++ = static_cast<char16_t>(v);
    *w = 0;
    return static_cast<size_t>(w - set);
}

// ---------------------------------------------------------------------------
// Compiling the delimit-string

// Copies [from, to) to `w` without its escaping backslashes; a backslash at
// the very end goes too. Gives the end of what was written.
template <class Unit>
Unit *unescape_into(Unit *w, const Unit *from, const Unit *to) {
    while (from < to) {
        if (value_of(*from) == kBackslash && ++from == to)
            break;
        *w++ = *from++;
    }
    return w;
}

enum class MarkerEnd { kClose, kEntry, kGroup, kRefused };

// Scans an open marker from `r`; on return `r` is where it ended (at "*",
// at the first "|" of "||", or at "]").
template <class Unit>
MarkerEnd scan_open(Unit *&r) {
    const Unit *begin = r;
    for (;;) {
        uint32_t c = value_of(*r);
        if (c == kBackslash) {
            if (r[1] == 0)
                return MarkerEnd::kRefused;
            r += 2;
            c = value_of(*r);  // looked at without a further backslash test
            if (c == ']')
                return MarkerEnd::kRefused;
        }
        if (c == '*')
            return r == begin ? MarkerEnd::kRefused : MarkerEnd::kClose;
        if (c == ']')
            return r == begin ? MarkerEnd::kRefused : MarkerEnd::kGroup;
        if (c == '|' && value_of(r[1]) == '|')
            return r == begin ? MarkerEnd::kRefused : MarkerEnd::kEntry;
        if (c == 0)
            return MarkerEnd::kRefused;
        ++r;
    }
}

// Scans a close marker from `r`; on return `r` is where it ended (at the
// first "|" of "||", or at "]").
template <class Unit>
MarkerEnd scan_close(Unit *&r) {
    for (;;) {
        uint32_t c = value_of(*r);
        if (c == kBackslash) {
            if (r[1] == 0)
                return MarkerEnd::kRefused;
            r += 2;
            c = value_of(*r);
        }
        if (c == '|') {
            if (value_of(r[1]) == '|')
                return MarkerEnd::kEntry;
            ++r;  // the unit behind takes the place of the "|"
            c = value_of(*r);
        }
        if (c == ']')
            return MarkerEnd::kGroup;
        if (c == 0)
            return MarkerEnd::kRefused;
        ++r;
    }
}

template <class Unit>
bool holds_separator(const Unit *from, const Unit *to) {
    for (; from < to; ++from)
        if (value_of(*from) == kCloseFollows)
            return true;
    return false;
}

// Compiles the atom group whose "@" is at `link`; `after` is set behind its
// closing bracket.
template <class Unit>
bool compile_atoms(Unit *link, Unit *&after) {
    Unit *r = link + 1;
    for (;;) {
        Unit *open_begin = r;
        MarkerEnd end = scan_open(r);
        if (end == MarkerEnd::kRefused)
            return false;
        Unit *open_end = r;
        Unit *close_begin = nullptr;
        Unit *close_end = nullptr;
        if (end == MarkerEnd::kClose) {
            close_begin = ++r;
            end = scan_close(r);
            if (end == MarkerEnd::kRefused)
                return false;
            close_end = r;
        }
        // The unit 0x01 parts the markers in the table: a marker can't hold it.
        if (holds_separator(open_begin, open_end) || holds_separator(close_begin, close_end))
            return false;
        // Here r is at "]" or at the first "|" of "||".
        Unit *next_link = nullptr;
        if (end == MarkerEnd::kEntry) {
            if (r[2] == 0)
                return false;
            if (value_of(r[2]) == ']') {  // a final "||" before the bracket
                end = MarkerEnd::kGroup;
                r += 2;
            } else {
                next_link = r + 1;
            }
        }
        if (next_link != nullptr &&
            static_cast<size_t>(next_link - link) > Form<Unit>::kMaxLink)
            return false;  // the link can't hold the distance

        Unit *w = unescape_into(link + 1, open_begin, open_end);
        if (close_begin != nullptr && close_end > close_begin) {
            *w++ = static_cast<Unit>(kCloseFollows);
            w = unescape_into(w, close_begin, close_end);
        }
        *w = 0;
        if (next_link == nullptr) {
            *link = 0;
            *r = 0;  // the group's bracket
            after = r + 1;
            return true;
        }
        *link = static_cast<Unit>(next_link - link);
        link = next_link;
        r = link + 1;
    }
}

template <class Unit>
size_t length_of(const Unit *s) {
    return vesk::text::length_of(s);
}

// Compiles `delimit` into `state`. On refusal, what was compiled before stays.
template <class Unit, class State>
bool compile(Unit *delimit, State *state) {
    state->atoms = nullptr;
    state->singles = nullptr;
    state->wordset = nullptr;
    state->delims = nullptr;
    bool seen_atoms = false, seen_singles = false, seen_words = false;
    Unit *p = delimit;
    while (value_of(p[0]) == '[') {
        const uint32_t kind = value_of(p[1]);
        if (kind == '@') {
            if (seen_atoms)
                return false;
            seen_atoms = true;
            Unit *after = nullptr;
            if (!compile_atoms(p + 1, after))
                return false;
            state->atoms = p + 1;
            p = after;
            continue;
        }
        if (kind != '!' && kind != '^')
            break;
        bool &seen = kind == '!' ? seen_singles : seen_words;
        if (seen)
            return false;
        seen = true;
        Unit *set = p + 2;
        if (set[0] == 0)
            return false;
        Unit *end = set + 1;  // the first unit is taken without a look
        while (*end != 0 && value_of(*end) != ']')
            ++end;
        if (*end == 0)
            return false;
        *end = 0;
        const size_t count = normalise_set(set, static_cast<size_t>(end - set));
        if constexpr (sizeof(Unit) > 1)
            set[-1] = static_cast<Unit>(count);  // fits: a 16-bit set has fewer than 65536 units
        (kind == '!' ? state->singles : state->wordset) = set;
        p = end + 1;
    }
    normalise_set(p, length_of(p));
    state->delims = p;
    return true;
}

// ---------------------------------------------------------------------------
// Reports

template <class Unit>
const char *report_text(const Unit *text) {
    if constexpr (sizeof(Unit) == 1)
        return text;
    else
        return "???";  // the narrow format can't print 16-bit text
}

template <class Unit>
void report_refused(VeskErr *status, const Unit *delimit) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_TOKEN, VESK_E_SYNTAX, EINVAL, 1,
              report_text(delimit), "@delimit-string");
}

template <class Unit>
void report_unmatched(VeskErr *status, const Unit *from, uint32_t first) {
    const int shown = first < 0x80 || sizeof(Unit) == 1 ? static_cast<int>(first) : '?';
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_TOKEN, VESK_E_SYNTAX_UNMATCHED, EINVAL, 1,
              report_text(from), "atom-expression", shown);
}

// ---------------------------------------------------------------------------
// Atoms

// Whether `marker` (ended by NUL or, in the table, by 0x01) stands at `at`.
template <class Unit>
bool marker_at(const Unit *at, const Unit *marker) {
    for (; *marker != 0 && value_of(*marker) != kCloseFollows; ++marker, ++at)
        if (*at != *marker)
            return false;
    return true;
}

template <class Unit>
size_t marker_length(const Unit *marker) {
    size_t n = 0;
    while (marker[n] != 0 && value_of(marker[n]) != kCloseFollows)
        ++n;
    return n;
}

enum class AtomMatch { kNone, kAtom, kFailed };

// Tries to match an atom at `at`; on a match `length` is its length, markers
// included, and state->atom_type its type.
template <class Unit, class State>
AtomMatch match_atom(State *state, Unit *at, uint32_t flags, size_t &length, VeskErr *status) {
    const uint32_t c = value_of(*at);
    const bool is_quote = c == kSingleQuote || c == kDoubleQuote;
    const Unit *open = nullptr;
    const Unit *close = nullptr;
    int32_t type = 0;
    if ((c == kSingleQuote && (flags & NU_TOK_SQUOTE)) ||
        (c == kDoubleQuote && (flags & NU_TOK_DQUOTE))) {
        if (flags & NU_TOK_NOQUOTE)
            return AtomMatch::kNone;
        state->quote[0] = *at;
        state->quote[1] = 0;
        open = close = state->quote;
        type = c == kSingleQuote ? NU_TOK_SQUOTED : NU_TOK_DQUOTED;
    } else {
        if (state->atoms == nullptr)
            return AtomMatch::kNone;
        int32_t count = 0;
        for (Unit *entry = state->atoms;;) {
            --count;
            if (entry[1] == *at && marker_at(at + 1, entry + 2)) {
                open = entry + 1;
                break;
            }
            const uint32_t link = value_of(*entry);
            if (link == 0)
                return AtomMatch::kNone;
            entry += link;
        }
        const size_t open_length = marker_length(open);
        if (value_of(open[open_length]) == kCloseFollows && open[open_length + 1] != 0)
            close = open + open_length + 1;
        type = count;
        if (open_length == 1 && is_quote) {
            if (flags & NU_TOK_NOQUOTE)
                return AtomMatch::kNone;
            type = c == kSingleQuote ? NU_TOK_SQUOTED : NU_TOK_DQUOTED;
        }
    }
    state->open = const_cast<Unit *>(open);
    state->close = const_cast<Unit *>(close);
    state->atom_type = type;

    const size_t open_length = marker_length(open);
    if (close == nullptr) {
        if (open_length == 1)
            return AtomMatch::kNone;  // a one-unit operator is no atom
        length = open_length;
        return AtomMatch::kAtom;
    }
    const size_t close_length = marker_length(close);
    const bool escapes = !(flags & NU_TOK_NOATOMESC);
    const Unit *q = at + open_length;
    size_t depth = 1;
    for (;;) {
        if (escapes)
            while (value_of(*q) == kBackslash) {
                if (q[1] == 0) {
                    report_unmatched(status, at + open_length - 1, c);
                    return AtomMatch::kFailed;
                }
                q += 2;
            }
        if (*q == 0) {
            report_unmatched(status, at + open_length - 1, c);
            return AtomMatch::kFailed;
        }
        bool moved = false;
        if (marker_at(q, close)) {
            q += close_length;
            if (--depth == 0) {
                length = static_cast<size_t>(q - at);
                return AtomMatch::kAtom;
            }
            moved = true;
        }
        if (marker_at(q, open)) {
            ++depth;
            q += open_length;
            moved = true;
        }
        if (!moved)
            ++q;
    }
}

// ---------------------------------------------------------------------------
// The maps of one call

// The common case: a handful of plain delimiters and nothing else. Then a
// word ends only at one of them, at NUL or at a backslash, and the run over it
// compares a block of 16 bytes at a time.
constexpr int kPlainMax = 4;

template <class Unit>
struct PlainStops {
    static constexpr uint32_t kNoUnit = 0xFFFFFFFF;
    int count = 0;
    uint32_t unit[kPlainMax];
    bool escapes = false;

    // Whether `set` holds at most kPlainMax units; they are taken if so. The
    // free places hold a value no unit has, so that a look compares all four.
    bool take(const Unit *set) {
        for (uint32_t &u : unit)
            u = kNoUnit;
        if (set == nullptr)
            return true;
        for (count = 0; set[count] != 0; ++count) {
            if (count == kPlainMax)
                return false;
            unit[count] = value_of(set[count]);
        }
        return true;
    }
    bool is_delim(uint32_t c) const {
        return (c == unit[0]) | (c == unit[1]) | (c == unit[2]) | (c == unit[3]);
    }
    bool ends_run(uint32_t c) const { return c == 0 || (escapes && c == kBackslash) || is_delim(c); }

#if defined(__SSE2__)
    // Blocks are read at 16-byte boundaries, which never cross a page: the
    // bytes read past the terminator lie in the page that holds it, and are
    // never used. The sanitizers, which see the whole block read, are told
    // not to look here.
    __attribute__((no_sanitize("address", "thread"))) const Unit *run_end(const Unit *p) const {
        const auto at = reinterpret_cast<uintptr_t>(p);
        if (at % sizeof(Unit) != 0)
            return scalar_run_end(p);
        __m128i needle[kPlainMax + 2];
        const uint32_t backslash_or_nul = escapes ? kBackslash : 0;
        for (int i = 0; i < kPlainMax; ++i)
            needle[i] = broadcast(i < count ? unit[i] : 0);  // NUL stops anyway
        needle[kPlainMax] = broadcast(0);
        needle[kPlainMax + 1] = broadcast(backslash_or_nul);
        const char *block = reinterpret_cast<const char *>(at & ~uintptr_t{15});
        uint32_t hits = matches(block, needle) & (~0u << (at & 15));
        while (hits == 0) {
            block += 16;
            hits = matches(block, needle);
        }
        return reinterpret_cast<const Unit *>(block + __builtin_ctz(hits));
    }

    static __m128i broadcast(uint32_t c) {
        // One multiplication spreads the unit over a 32-bit lane.
        const uint32_t lane = sizeof(Unit) == 1 ? c * 0x01010101u : c * 0x00010001u;
        return _mm_set1_epi32(static_cast<int>(lane));
    }
    __attribute__((no_sanitize("address", "thread"))) static uint32_t matches(const char *block,
                                                         const __m128i *needle) {
        const __m128i v = _mm_load_si128(reinterpret_cast<const __m128i *>(block));
        __m128i any = _mm_setzero_si128();
        for (int i = 0; i < kPlainMax + 2; ++i)
            any = _mm_or_si128(any, sizeof(Unit) == 1 ? _mm_cmpeq_epi8(v, needle[i])
                                                      : _mm_cmpeq_epi16(v, needle[i]));
        return static_cast<uint32_t>(_mm_movemask_epi8(any));
    }
#else
    const Unit *run_end(const Unit *p) const { return scalar_run_end(p); }
#endif
    const Unit *scalar_run_end(const Unit *p) const {
        while (!ends_run(value_of(*p)))
            ++p;
        return p;
    }
};

template <class Unit>
struct Maps {
    // What a unit below 256 is, as bits: one byte a unit, so that the run
    // over a word costs a load and a test per unit.
    enum : uint8_t { kDelim = 1, kSingle = 2, kOpens = 4, kStop = 8 };
    PlainStops<Unit> plain;
    bool is_plain;
    uint8_t kind[256];
    HighUnits<Unit> singles_set;
    HighUnits<Unit> words_set;
    HighUnits<Unit> delims_set;
    bool has_atoms;

    template <class State>
    Maps(const State *state, uint32_t flags)
        : singles_set(HighUnits<Unit>::group(state->singles)),
          words_set(HighUnits<Unit>::group(state->wordset)),
          delims_set(state->delims),
          has_atoms(state->atoms != nullptr) {
        plain.escapes = !(flags & NU_TOK_NOESC);
        const bool quotes = (flags & (NU_TOK_SQUOTE | NU_TOK_DQUOTE)) && !(flags & NU_TOK_NOQUOTE);
        is_plain = state->wordset == nullptr && state->singles == nullptr && !has_atoms &&
                   !quotes && plain.take(state->delims);
        if (is_plain)
            return;
        if (state->wordset != nullptr) {
            std::memset(kind, kDelim | kStop, sizeof kind);
            for (const Unit *u = state->wordset; *u != 0 && value_of(*u) < 256; ++u)
                kind[value_of(*u)] = 0;
        } else {
            std::memset(kind, 0, sizeof kind);
        }
        mark(state->delims, kDelim | kStop);
        mark(state->singles, kSingle | kStop);
        if (!(flags & NU_TOK_NOQUOTE)) {
            if (flags & NU_TOK_SQUOTE)
                kind[kSingleQuote] |= kOpens | kStop;
            if (flags & NU_TOK_DQUOTE)
                kind[kDoubleQuote] |= kOpens | kStop;
        }
        if (has_atoms)
            mark_atom_openers(state->atoms);
        kind[0] = kStop;
        if (!(flags & NU_TOK_NOESC))
            kind[kBackslash] |= kStop;
    }

    // A compiled set is sorted: its units below 256 come first.
    void mark(const Unit *set, uint8_t bits) {
        if (set != nullptr)
            for (; *set != 0 && value_of(*set) < 256; ++set)
                kind[value_of(*set)] |= bits;
    }

    // One walk of the table per call spares a walk at every unit of a word.
    void mark_atom_openers(const Unit *entry) {
        for (;;) {
            const uint32_t first = value_of(entry[1]);
            if (first < 256)
                kind[first] |= kOpens | kStop;
            const uint32_t link = value_of(*entry);
            if (link == 0)
                return;
            entry += link;
        }
    }

    bool is_delim(uint32_t c) const {
        if (is_plain)
            return plain.is_delim(c);
        if (c < 256)
            return kind[c] & kDelim;
        return (words_set.set() != nullptr && !words_set.has(c)) || delims_set.has(c);
    }
    // The first unit from `p` on that needs a closer look inside a word.
    Unit *run_end(Unit *p) const {
        if (is_plain)
            return const_cast<Unit *>(plain.run_end(p));
        for (uint32_t c = value_of(*p); c < 256 && !(kind[c] & kStop); c = value_of(*p))
            ++p;
        return p;
    }
    bool may_open(uint32_t c) const {
        if (is_plain)
            return false;
        return c < 256 ? (kind[c] & kOpens) != 0 : has_atoms;
    }
    bool is_single(uint32_t c) const {
        if (is_plain)
            return false;
        return c < 256 ? (kind[c] & kSingle) != 0 : singles_set.has(c);
    }
};

// ---------------------------------------------------------------------------
// Taking tokens

// Removes the escaping backslashes of the token in place; gives its new
// length. The freed units, if any, start with a NUL. The removal stays within
// the token: one that ended at a line end kept by KEEPLF or KEEPCR has no NUL
// of its own, and the text behind it is not touched.
template <class Unit>
size_t unescape_token(Unit *text, size_t length) {
    Unit *end = unescape_into(text, text, text + length);
    const auto shortened = static_cast<size_t>(end - text);
    if (shortened < length)
        *end = 0;
    return shortened;
}

// Ends the token at `end`: cuts there, records what stood there and where
// scanning goes on.
template <class Unit, class State>
void finish_token(State *state, Unit *end, uint32_t flags) {
    const uint32_t e = value_of(*end);
    if (e != 0 && may_cut(e, flags))
        *end = 0;
    state->tok_end = static_cast<int32_t>(e);
    state->tok_len = static_cast<size_t>(end - state->tok_text);
    state->cursor = e != 0 ? end + 1 : nullptr;
}

// A single unit or an atom that ended the last word, returned now.
template <class Unit, class State>
int64_t take_pending(State *state, uint32_t flags, size_t length, int32_t type) {
    Unit *at = state->cursor - 1;
    const uint32_t c = value_of(state->pending_single != 0 ? state->pending_single
                                                           : state->pending_atom);
    state->pending_single = 0;
    state->pending_atom = 0;
    if (may_cut(c, flags))
        *at = static_cast<Unit>(c);
    if (flags & NU_TOK_SKIP) {
        state->cursor = at;
        state->tok_type = 0;
        state->tok_end = 0;
        state->atom_type = 0;
        state->pending_len = 0;
        return 1;
    }
    state->tok_text = at;
    state->tok_type = type;
    finish_token(state, at + length, flags);
    state->atom_type = 0;
    state->pending_len = 0;
    return 1;
}

template <class Unit, class State>
int64_t take_fixed(State *state, const Unit *delimit, VeskErr *status) {
    size_t n = 0;
    if (delimit != nullptr)
        std::memcpy(&n, delimit, sizeof n);
    const auto from = reinterpret_cast<uintptr_t>(state->cursor);
    if (n > (UINTPTR_MAX - from) / sizeof(Unit)) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_TOKEN, VESK_E_INVAL, EINVAL, 2,
                  Form<Unit>::kName, "@delimit");
        return -1;
    }
    state->tok_text = state->cursor;
    state->tok_len = n;
    state->tok_type = NU_TOK_WORD;
    state->tok_end = 0;
    state->cursor += n;
    return 1;
}

// Installs a new delimit-string and scans the unit that ended the last token
// again under it.
template <class Unit, class State>
bool install(State *state, Unit *delimit, uint32_t flags, VeskErr *status) {
    if (!compile(delimit, state)) {
        report_refused(status, delimit);
        return false;
    }
    if (state->tok_end != 0 && state->cursor != state->start) {
        --state->cursor;
        if (may_cut(static_cast<uint32_t>(state->tok_end), flags))
            *state->cursor = static_cast<Unit>(state->tok_end);
    }
    state->pending_single = 0;
    state->pending_atom = 0;
    state->tok_type = 0;
    state->tok_end = 0;
    return true;
}

template <class Unit>
int64_t tokenise(Unit *string, Unit *delimit, uint32_t flags, typename Form<Unit>::State *state,
                 VeskErr *status) {
    if (state == nullptr) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_TOKEN, VESK_E_FAULT, EFAULT, 2,
                  Form<Unit>::kName, "@state");
        return -1;
    }
    const bool fixed = flags & NU_TOK_FIXED;
    if (!fixed && (string != nullptr || delimit != nullptr)) {
        if (string != nullptr) {
            if (delimit != nullptr)
                *state = {};
            state->start = state->cursor = string;
            state->pending_single = 0;
            state->pending_atom = 0;
            state->tok_type = 0;
        }
        if (delimit != nullptr && state->cursor != nullptr) {
            if (!install(state, delimit, flags, status))
                return -1;
            if (flags & NU_TOK_SETDELIM)
                return 1;
        }
    }
    if (state->cursor == nullptr)
        return 0;
    if (state->pending_single != 0)
        return take_pending<Unit>(state, flags, 1, static_cast<int32_t>(value_of(state->pending_single)));
    if (state->pending_atom != 0)
        return take_pending<Unit>(state, flags, state->pending_len, state->atom_type);

    // The first unit: after a word (or nothing) the one at the cursor, the
    // unit that ended the word having been a delimiter; after a single or an
    // atom the unit behind it, which may begin the next token. A stop made
    // by NU_TOK_SKIP leaves nothing behind, and the cursor stands on it.
    Unit *p = nullptr;
    if (state->tok_type == 0 || state->tok_type >= 256 || state->tok_end == 0) {
        if (fixed)
            return take_fixed(state, delimit, status);
        p = state->cursor;
    } else {
        p = state->cursor - 1;
        const auto behind = static_cast<uint32_t>(state->tok_end);
        if (may_cut(behind, flags))
            *p = static_cast<Unit>(behind);
        state->tok_end = 0;
        if (fixed) {
            state->cursor = p;
            return take_fixed(state, delimit, status);
        }
    }

    const Maps<Unit> maps(state, flags);
    uint32_t c = value_of(*p);
    while (maps.is_delim(c))
        c = value_of(*++p);
    if (c == 0) {
        state->cursor = nullptr;
        return 0;
    }
    state->cursor = p;
    if (flags & NU_TOK_SKIP)
        return 1;

    state->tok_text = p;
    state->tok_type = NU_TOK_WORD;
    bool unescape = (flags & (NU_TOK_UNESC | NU_TOK_NOESC | NU_TOK_NOCUT)) == NU_TOK_UNESC;
    const bool escapes = !(flags & NU_TOK_NOESC);
    Unit *q = p;
    Unit *end = nullptr;
    for (;;) {
        q = maps.run_end(q);
        c = value_of(*q);
        if (c == 0) {
            end = q;
            break;
        }
        if (escapes && c == kBackslash) {
            while (value_of(*q) == kBackslash && q[1] != 0)
                q += 2;
            if (*q == 0 || value_of(*q) == kBackslash) {  // the text ends inside the pairs
                end = *q == 0 ? q : q + 1;
                break;
            }
            c = value_of(*q);
        }
        if (maps.may_open(c)) {
            size_t length = 0;
            const AtomMatch match = match_atom(state, q, flags, length, status);
            if (match == AtomMatch::kFailed)
                return -1;
            if (match == AtomMatch::kAtom) {
                if (q == state->tok_text) {
                    state->tok_type = state->atom_type;
                    state->atom_type = 0;
                    end = q + length;
                    unescape = (flags & (NU_TOK_UNESC | NU_TOK_NOATOMESC | NU_TOK_NOCUT)) ==
                               NU_TOK_UNESC;
                } else {
                    state->pending_atom = *q;
                    state->pending_len = length;
                    end = q;
                }
                break;
            }
        }
        if (maps.is_single(c)) {
            if (q == state->tok_text) {
                state->tok_type = static_cast<int32_t>(c);
                unescape = false;
                end = q + 1;
            } else {
                state->pending_single = *q;
                end = q;
            }
            break;
        }
        if (maps.is_delim(c)) {
            end = q;
            break;
        }
        c = value_of(*++q);
    }
    finish_token(state, end, flags);
    if (unescape)
        state->tok_len = unescape_token(state->tok_text, state->tok_len);
    return 1;
}

}  // namespace

int64_t NuStrtok(char *string, char *delimit, uint32_t flags, NuSTRTOK *state, VeskErr *status) {
    return tokenise(string, delimit, flags, state, status);
}

int64_t NuWcstok(char16_t *string, char16_t *delimit, uint32_t flags, NuWCSTOK *state,
                 VeskErr *status) {
    return tokenise(string, delimit, flags, state, status);
}
