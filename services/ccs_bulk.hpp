// SPDX-License-Identifier: MIT
// The bulk of a counted conversion between stock converters: as many whole
// characters from the start as certainly go through, many at a time, with
// nothing written past the last of them. Whatever could fail, or not fit,
// or lies too near an end is left where it starts, for the careful loop of
// ccs_convert.hpp, which then ends, reports and leaves the output exactly
// as the converter rows would.
//
// Each kernel answers the source units it took and the destination units
// it made. Sixteen bytes of source are read at once only where sixteen are
// known to be there; a character is decoded one at a time only where its
// longest form fits in what may be read, so that the decode sees the room
// the careful loop would give it.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "services/ccs_tables.hpp"

namespace vesk::ccs::bulk {

struct Span {
    uint32_t in;
    uint32_t out;
};

inline uint64_t load64(const void *p) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}
inline void store16(void *p, uint16_t v) { std::memcpy(p, &v, 2); }
inline void store32(void *p, uint32_t v) { std::memcpy(p, &v, 4); }

inline constexpr uint64_t kOnes = 0x0101010101010101u;
inline constexpr uint64_t kHighBits = 0x8080808080808080u;

// Whether one of the eight bytes of `w` is `b` (exact: the borrow of the
// classic zero-byte test only ever follows a true zero).
inline bool has_byte(uint64_t w, uint8_t b) {
    const uint64_t x = w ^ (kOnes * b);
    return ((x - kOnes) & ~x & kHighBits) != 0;
}

// The bytes of a ready-made UTF-8 form (see SingleByteTable::utf8) written
// exactly: three single stores that land on the right bytes for each length.
inline void put_packed_exact(unsigned char *d, uint32_t e) {
    const uint32_t n = e >> 24;
    d[0] = static_cast<unsigned char>(e);
    d[n >> 1] = static_cast<unsigned char>(e >> (8 * (n >> 1)));
    d[n - 1] = static_cast<unsigned char>(e >> (8 * (n - 1)));
}

// Eight ready-made forms, each stored as a word of four bytes. What a short
// form writes past itself the next one overwrites; the four bytes behind
// the last one are read before and put back after, so nothing past the
// output changes. Needs 8 * 3 + 4 bytes of room; answers the bytes made.
inline uint32_t put_packed8(unsigned char *d, const uint32_t (&e)[8]) {
    uint32_t end = 0;
    for (int k = 0; k < 8; ++k)
        end += e[k] >> 24;
    uint32_t behind;
    std::memcpy(&behind, d + end, 4);
    uint32_t o = 0;
    for (int k = 0; k < 8; ++k) {
        store32(d + o, e[k]);
        o += e[k] >> 24;
    }
    store32(d + end, behind);
    return end;
}

// ---- Sixteen bytes of ASCII --------------------------------------------------------

inline bool widen16_if_ascii(const unsigned char *s, char16_t *d) {
#if defined(__SSE2__)
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s));
    if (_mm_movemask_epi8(v) != 0)
        return false;
    const __m128i z = _mm_setzero_si128();
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d), _mm_unpacklo_epi8(v, z));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + 8), _mm_unpackhi_epi8(v, z));
#else
    const uint64_t a = load64(s), b = load64(s + 8);
    if ((a | b) & kHighBits)
        return false;
    for (int k = 0; k < 8; ++k) {
        d[k] = static_cast<char16_t>((a >> (8 * k)) & 0xFF);
        d[8 + k] = static_cast<char16_t>((b >> (8 * k)) & 0xFF);
    }
#endif
    return true;
}

inline bool copy16_if_ascii(const unsigned char *s, unsigned char *d) {
    const uint64_t a = load64(s), b = load64(s + 8);
    if ((a | b) & kHighBits)
        return false;
    std::memcpy(d, &a, 8);
    std::memcpy(d + 8, &b, 8);
    return true;
}

// ---- A code page to wide characters ----------------------------------------------------

inline Span table_to_wide(const SingleByteTable &t, const unsigned char *s, uint32_t n,
                          char16_t *d, uint32_t room) {
    const char16_t *wide = t.wide;
    const uint8_t bad = t.unassigned;
    const uint32_t lim = n < room ? n : room;
    uint32_t i = 0;
    while (lim - i >= 16) {
        if (s[i] < 0x80 && widen16_if_ascii(s + i, d + i)) {
            i += 16;
            continue;
        }
        const uint64_t a = load64(s + i), b = load64(s + i + 8);
        if (bad != 0 && (has_byte(a, bad) || has_byte(b, bad)))
            break;
        for (int k = 0; k < 8; ++k) {
            d[i + k] = wide[(a >> (8 * k)) & 0xFF];
            d[i + 8 + k] = wide[(b >> (8 * k)) & 0xFF];
        }
        i += 16;
    }
    for (; i < lim; ++i) {
        const char16_t v = wide[s[i]];
        if (v == kUnassigned)
            break;
        d[i] = v;
    }
    return {i, i};
}

// ---- A code page to UTF-8 -----------------------------------------------------------------

// Eight characters at a time through the ready-made forms.
inline Span table_to_utf8(const SingleByteTable &t, const unsigned char *s, uint32_t n,
                          unsigned char *d, uint32_t room) {
    const uint32_t *utf8 = t.utf8;
    const uint8_t bad = t.unassigned;
    uint32_t i = 0, o = 0;
    for (;;) {
        if (n - i >= 16 && room - o >= 16 && s[i] < 0x80 && copy16_if_ascii(s + i, d + o)) {
            i += 16;
            o += 16;
            continue;
        }
        if (n - i < 8 || room - o < 8 * 3 + 4)
            break;
        const uint64_t w = load64(s + i);
        if (bad != 0 && has_byte(w, bad))
            break;
        uint32_t e[8];
        for (int k = 0; k < 8; ++k)
            e[k] = utf8[(w >> (8 * k)) & 0xFF];
        o += put_packed8(d + o, e);
        i += 8;
    }
    for (; i < n; ++i) {
        const uint32_t e = utf8[s[i]];
        if (e == 0 || room - o < (e >> 24))
            break;
        put_packed_exact(d + o, e);
        o += e >> 24;
    }
    return {i, o};
}

// ---- Wide characters to UTF-8 ----------------------------------------------------------------

// One wide character's UTF-8 form, packed as the code pages' ready-made ones.
inline uint32_t utf8_packed(uint32_t v) {
    if (v < 0x80)
        return (1u << 24) | v;
    if (v < 0x800)
        return (2u << 24) | (0xC0u | v >> 6) | (0x80u | (v & 0x3Fu)) << 8;
    return (3u << 24) | (0xE0u | v >> 12) | (0x80u | ((v >> 6) & 0x3Fu)) << 8 |
           (0x80u | (v & 0x3Fu)) << 16;
}

// Eight units at a time: all ASCII narrowed, all two-byte forms made side by
// side, a mix of the two made side by side and stored at their places, each
// as two bytes that the next one overwrites where it was one (the last
// exactly); eight with a three-byte form among them as ready-made forms.
inline Span wide_to_utf8(const char16_t *s, uint32_t n, unsigned char *d, uint32_t room) {
    uint32_t i = 0, o = 0;
    while (n - i >= 8 && room - o >= 8 * 3 + 4) {
#if defined(__SSE2__)
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i));
        const __m128i z = _mm_setzero_si128();
        const int ascii = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(-0x80)), z));
        if (ascii == 0xFFFF) {
            _mm_storel_epi64(reinterpret_cast<__m128i *>(d + o), _mm_packus_epi16(v, v));
            i += 8;
            o += 8;
            continue;
        }
        const int small =
            _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(-0x800)), z));
        if (small == 0xFFFF) {
            // lead 0xC0 | v >> 6 in the low byte, 0x80 | v & 0x3F in the high.
            const __m128i two = _mm_or_si128(
                _mm_or_si128(_mm_srli_epi16(v, 6), _mm_slli_epi16(_mm_and_si128(v, _mm_set1_epi16(0x3F)), 8)),
                _mm_set1_epi16(static_cast<short>(0x80C0)));
            if (ascii == 0) {
                _mm_storeu_si128(reinterpret_cast<__m128i *>(d + o), two);
                i += 8;
                o += 16;
                continue;
            }
            const __m128i is_ascii = _mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(-0x80)), z);
            const __m128i form = _mm_or_si128(_mm_and_si128(is_ascii, v), _mm_andnot_si128(is_ascii, two));
            alignas(16) uint16_t f[8];
            _mm_store_si128(reinterpret_cast<__m128i *>(f), form);
            for (int k = 0; k < 7; ++k) {
                store16(d + o, f[k]);
                o += 2 - ((ascii >> (2 * k)) & 1);
            }
            d[o] = static_cast<unsigned char>(f[7]);
            const uint32_t last = 1 + !((ascii >> 14) & 1);
            d[o + last - 1] = static_cast<unsigned char>(f[7] >> (8 * (last - 1)));
            o += last;
            i += 8;
            continue;
        }
#endif
        uint32_t e[8];
        for (int k = 0; k < 8; ++k)
            e[k] = utf8_packed(s[i + k]);
        o += put_packed8(d + o, e);
        i += 8;
    }
    for (; i < n; ++i) {
        const uint32_t e = utf8_packed(s[i]);
        if (room - o < (e >> 24))
            break;
        put_packed_exact(d + o, e);
        o += e >> 24;
    }
    return {i, o};
}

// ---- UTF-8 to wide characters --------------------------------------------------------------

// Sixteen bytes from s[i] one character at a time, each with the room of
// three bytes, the longest form; the last character may run past them.
// False where a character fails or would need bytes that may not be read:
// the careful loop takes it from there.
inline bool utf8_block_by_char(const unsigned char *s, uint32_t n, char16_t *d, uint32_t &i,
                               uint32_t &c) {
    const uint32_t end = i + 16;
    while (i < end) {
        if (n - i < 3)
            return false;
        char16_t wc;
        const int r = utf8_decode(s + i, &wc, 3);
        if (r < 0)
            return false;
        d[c++] = wc;
        i += static_cast<uint32_t>(r);
    }
    return true;
}

// What is left after the blocks, one character at a time.
inline Span utf8_tail(const unsigned char *s, uint32_t n, uint32_t out, char16_t *d, uint32_t i,
                      uint32_t c) {
    while (c < out && n - i >= 3) {
        char16_t wc;
        const int r = utf8_decode(s + i, &wc, 3);
        if (r < 0)
            break;
        d[c++] = wc;
        i += static_cast<uint32_t>(r);
    }
    return {i, c};
}

// At most `chars` characters from `s`, of which `n` bytes may be read.
// Sixteen bytes of ASCII and two-byte forms go at once: each byte's lane
// holds, at the last byte of its character, the character, and every lane
// is stored at its character's place, so the first of a two-byte pair is
// overwritten by the second. A block with anything else is decoded one
// character at a time.
inline Span utf8_to_wide_base(const unsigned char *s, uint32_t n, uint32_t chars, char16_t *d,
                              uint32_t room) {
    uint32_t i = 0, c = 0;
    const uint32_t out = chars < room ? chars : room;
    for (;;) {
        const uint32_t left = n - i < out - c ? n - i : out - c;
        if (left < 16)
            break;
        if (s[i] < 0x80 && widen16_if_ascii(s + i, d + c)) {
            i += 16;
            c += 16;
            continue;
        }
#if defined(__SSE2__)
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i));
        const __m128i z = _mm_setzero_si128();
        const int ascii = ~_mm_movemask_epi8(v) & 0xFFFF;
        const int cont = _mm_movemask_epi8(
            _mm_cmpeq_epi8(_mm_and_si128(v, _mm_set1_epi8(static_cast<char>(0xC0))),
                           _mm_set1_epi8(static_cast<char>(0x80))));
        const int lead = _mm_movemask_epi8(
                             _mm_cmpeq_epi8(_mm_and_si128(v, _mm_set1_epi8(static_cast<char>(0xE0))),
                                            _mm_set1_epi8(static_cast<char>(0xC0)))) &
                         ~_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(v, _mm_set1_epi8(0x1E)), z));
        if ((ascii | cont | lead) == 0xFFFF && ((lead << 1) & 0xFFFF) == cont) {
            // A lead in the last lane waits for the next block.
            const uint32_t take = (lead & 0x8000) ? 15 : 16;
            const __m128i prev = _mm_slli_si128(v, 1);
            const __m128i is_ascii8 = _mm_cmpgt_epi8(v, _mm_set1_epi8(-1));
            const __m128i low = _mm_and_si128(v, _mm_set1_epi8(0x3F));
            const __m128i high = _mm_and_si128(prev, _mm_set1_epi8(0x1F));
            // Per 16-bit lane: (high << 6) | low, or the byte itself.
            const __m128i lo16 = _mm_or_si128(_mm_slli_epi16(_mm_unpacklo_epi8(high, z), 6),
                                              _mm_unpacklo_epi8(low, z));
            const __m128i hi16 = _mm_or_si128(_mm_slli_epi16(_mm_unpackhi_epi8(high, z), 6),
                                              _mm_unpackhi_epi8(low, z));
            const __m128i a_lo = _mm_unpacklo_epi8(is_ascii8, is_ascii8);
            const __m128i a_hi = _mm_unpackhi_epi8(is_ascii8, is_ascii8);
            const __m128i val_lo = _mm_or_si128(_mm_and_si128(a_lo, _mm_unpacklo_epi8(v, z)),
                                                _mm_andnot_si128(a_lo, lo16));
            const __m128i val_hi = _mm_or_si128(_mm_and_si128(a_hi, _mm_unpackhi_epi8(v, z)),
                                                _mm_andnot_si128(a_hi, hi16));
            // The place of each lane: the characters begun up to it, less one.
            __m128i starts = _mm_andnot_si128(
                _mm_cmpeq_epi8(_mm_and_si128(v, _mm_set1_epi8(static_cast<char>(0xC0))),
                               _mm_set1_epi8(static_cast<char>(0x80))),
                _mm_set1_epi8(1));
            starts = _mm_add_epi8(starts, _mm_slli_si128(starts, 1));
            starts = _mm_add_epi8(starts, _mm_slli_si128(starts, 2));
            starts = _mm_add_epi8(starts, _mm_slli_si128(starts, 4));
            starts = _mm_add_epi8(starts, _mm_slli_si128(starts, 8));
            alignas(16) uint16_t val[16];
            _mm_store_si128(reinterpret_cast<__m128i *>(val), val_lo);
            _mm_store_si128(reinterpret_cast<__m128i *>(val + 8), val_hi);
            // The places stay in registers: stores through `base` would
            // otherwise make the compiler read them back each time.
            const uint64_t place_lo = static_cast<uint64_t>(_mm_cvtsi128_si64(starts));
            const uint64_t place_hi =
                static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(starts, starts)));
            char16_t *base = d + c - 1;
            for (uint32_t k = 0; k < 8; ++k)
                base[(place_lo >> (8 * k)) & 0xFF] = val[k];
            for (uint32_t k = 0; k < 7; ++k)
                base[(place_hi >> (8 * k)) & 0xFF] = val[8 + k];
            if (take == 16)
                base[place_hi >> 56] = val[15];
            c += static_cast<uint32_t>(take == 16 ? place_hi >> 56 : (place_hi >> 48) & 0xFF);
            i += take;
            continue;
        }
#endif
        if (!utf8_block_by_char(s, n, d, i, c))
            return {i, c};
    }
    return utf8_tail(s, n, out, d, i, c);
}

// The same decode with byte shuffles, for processors that have them
// (ccs_utf8_simd.cpp); utf8_to_wide chooses it once it knows they are there.
// Both answer the same span and write the same units for every input.
#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#define VESK_CCS_UTF8_SHUFFLE 1
Span utf8_to_wide_ssse3(const unsigned char *s, uint32_t n, uint32_t chars, char16_t *d, uint32_t room);
#endif

// Whether utf8_to_wide may use the shuffle decode: the processor has it
// and the switch below is on.
bool utf8_shuffle_usable();

// Off, utf8_to_wide keeps to the base decode even where shuffles are
// there: for tests and the differential fuzz target. Not for callers.
extern bool utf8_shuffle_enabled;

inline Span utf8_to_wide(const unsigned char *s, uint32_t n, uint32_t chars, char16_t *d,
                         uint32_t room) {
#if defined(VESK_CCS_UTF8_SHUFFLE)
    if (utf8_shuffle_usable())
        return utf8_to_wide_ssse3(s, n, chars, d, room);
#endif
    return utf8_to_wide_base(s, n, chars, d, room);
}

}  // namespace vesk::ccs::bulk
