// SPDX-License-Identifier: MIT
// Identifier comparison, inline for the lookup path.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "vesk.h"

namespace vesk::rt {

// Components compared: the shorter count, kept inside the record.
inline unsigned common_length(const VeskOid *a, const VeskOid *b) {
    return std::min<unsigned>({a->count, b->count, VESK_OID_MAXCOMP});
}

// An identifier a caller may hand in: one to six components. A count of 0
// would match every record, and one above six would ask for components the
// record doesn't have.
inline bool oid_usable(const VeskOid *key) {
    return key != nullptr && key->count != 0 && key->count <= VESK_OID_MAXCOMP;
}

inline bool component_matches(uint16_t x, uint16_t y) { return x == y || x == 0 || y == 0; }

// Signed comparison of the first n components; a 0 on either side matches.
inline int32_t prefix_compare(const VeskOid *a, const VeskOid *b, unsigned n) {
    for (unsigned i = 0; i < n; ++i)
        if (!component_matches(a->comp[i], b->comp[i]))
            return int32_t{a->comp[i]} - int32_t{b->comp[i]};
    return 0;
}

// ---------------------------------------------------------------------------
// Matching by words
//
// A lookup only asks whether two identifiers match, and asks it for every
// element it passes. The six components are read as two words, four lanes of
// 16 bits and two, and compared all at once: a lane refuses when the XOR of
// the two lanes is not zero and neither lane is zero (the wildcard). The key
// is prepared once per walk with the lanes within its count; an element's own
// count then only matters for the first lane that refuses, since every lane
// after it lies beyond that count too. No branch per component.

// The six components as words, in memory order: comp[0..3], and comp[4..5]
// in the first four bytes of the second word.
struct OidWords {
    uint64_t lo;
    uint64_t hi;
};

[[gnu::always_inline]] inline OidWords oid_words(const VeskOid *oid) {
    uint64_t lo, hi = 0;
    std::memcpy(&lo, &oid->comp[0], sizeof lo);
    std::memcpy(&hi, &oid->comp[4], 2 * sizeof oid->comp[0]);
    return {lo, hi};
}

inline constexpr uint64_t kLaneLow = 0x7FFF7FFF7FFF7FFFu;
inline constexpr uint64_t kLaneTop = 0x8000800080008000u;
inline constexpr unsigned kLaneBits = 16;
inline constexpr unsigned kLanesPerWord = 4;

// The top bit of every 16-bit lane of v that is not zero. Adding 0x7FFF to
// the low 15 bits of a lane never carries into the next one.
template <class Word>
constexpr Word nonzero_lanes_in(Word v) {
    constexpr Word low = static_cast<Word>(kLaneLow), top = static_cast<Word>(kLaneTop);
    return (((v & low) + low) | v) & top;
}
constexpr uint64_t nonzero_lanes(uint64_t v) { return nonzero_lanes_in<uint64_t>(v); }

// The top bits of the first n lanes of a word, n from 0 to 4, in memory
// order whatever the byte order.
inline constexpr auto kFirstLanes = [] {
    std::array<uint64_t, kLanesPerWord + 1> table{};
    for (unsigned n = 0; n <= kLanesPerWord; ++n) {
        std::array<uint16_t, kLanesPerWord> lanes{};
        for (unsigned i = 0; i < n; ++i)
            lanes[i] = 0x8000;
        table[n] = std::bit_cast<uint64_t>(lanes);
    }
    return table;
}();

inline uint64_t first_lanes(unsigned n) { return kFirstLanes[std::min(n, kLanesPerWord)]; }

// The index, in memory order, of the first lane whose top bit is set in a
// word that is not zero.
inline unsigned lowest_lane(uint64_t tops) {
    if constexpr (std::endian::native == std::endian::little)
        return static_cast<unsigned>(__builtin_ctzll(tops)) / kLaneBits;
    else
        return static_cast<unsigned>(__builtin_clzll(tops)) / kLaneBits;
}

// A key made ready for many comparisons: its words, and the lanes in which
// it can refuse (within its count, and not a wildcard).
struct OidKey {
    OidWords words;
    OidWords live;
    uint16_t count;
    // More than four components: the second word takes part.
    bool wide() const { return live.hi != 0; }
};

[[gnu::always_inline]] inline OidKey oid_key(const VeskOid *key) {
    const OidWords w = oid_words(key);
    const unsigned n = key->count;
    return {w,
            {nonzero_lanes(w.lo) & first_lanes(n),
             nonzero_lanes(w.hi) & first_lanes(n > kLanesPerWord ? n - kLanesPerWord : 0)},
            key->count};
}

// Lanes of one word where an element refuses the key: they differ, and the
// element's lane is not a wildcard (the key's wildcards are not live). The
// second test is made only when the first finds a difference: an element
// that matches outright costs the first alone.
template <class Word>
[[gnu::always_inline]] inline Word refusing_lanes_in(Word element, Word key, Word live) {
    const Word differ = nonzero_lanes_in<Word>(element ^ key) & live;
    return differ != 0 ? differ & nonzero_lanes_in<Word>(element) : 0;
}

// A key known at compile time whose live lanes are the first two (the
// family keys of the front ends) is compared in 32 bits: the lane constants
// are then immediates, and no register holds them through the walk.
[[gnu::always_inline]] inline uint64_t refusing_lanes(uint64_t element, uint64_t key,
                                                      uint64_t live) {
    if (__builtin_constant_p(live) && (live >> 32) == 0)
        return refusing_lanes_in<uint32_t>(static_cast<uint32_t>(element),
                                           static_cast<uint32_t>(key),
                                           static_cast<uint32_t>(live));
    return refusing_lanes_in<uint64_t>(element, key, live);
}

// Whether the identifier matches the key; with kWide false the key has at
// most four components, and the second word is not read. A refusing lane
// counts if it lies within the identifier's count (a count above six covers
// all six); it is enough to ask that of the first one.
template <bool kWide>
[[gnu::always_inline]] inline bool oid_matches_key(const VeskOid *oid, const OidKey &key) {
    const OidWords w = oid_words(oid);
    uint64_t refused = refusing_lanes(w.lo, key.words.lo, key.live.lo);
    unsigned base = 0;
    if constexpr (kWide) {
        if (refused == 0) {
            refused = refusing_lanes(w.hi, key.words.hi, key.live.hi);
            base = kLanesPerWord;
        }
    }
    // An element at least as long as the key refuses in any live lane.
    return refused == 0 ||
           (oid->count < key.count && base + lowest_lane(refused) >= oid->count);
}

// The same answer as prefix_compare(a, b, common_length(a, b)) == 0.
inline bool oid_matches(const VeskOid *a, const VeskOid *b) {
    return oid_matches_key<true>(a, oid_key(b));
}

}  // namespace vesk::rt
