// SPDX-License-Identifier: MIT
// UTF-8 to wide characters with byte shuffles (SSSE3), chosen at run time:
// the library is built for plain x86-64, whose vector unit has no shuffle
// by a register, so this one function is compiled for the processors that
// have it and called only once the processor says so.
//
// A block of sixteen bytes made only of ASCII and two-byte forms is decoded
// at once. The last byte of each character marks it; the marks of each half
// block choose a ready-made shuffle that gathers every character's bytes
// into a 16-bit lane (its last byte low, the lead, if any, high), and the
// characters follow from two masks and a shift. A block with three-byte
// forms among them makes every character at the lane of its last byte,
// from that byte and the two before it, and a shuffle chosen by the marks
// of each half packs those lanes together. Anything else in a block (a byte
// that is illegal or stands where it may not, an overlong three-byte form)
// sends that block one character at a time through the same decode as the
// careful loop, which also ends the bulk where a character fails.
#include <atomic>
#include <cstdint>

#include "services/ccs_bulk.hpp"

#if defined(VESK_CCS_UTF8_SHUFFLE)
#include <tmmintrin.h>
#endif

namespace vesk::ccs::bulk {

bool utf8_shuffle_enabled = true;

#if !defined(VESK_CCS_UTF8_SHUFFLE)

bool utf8_shuffle_usable() { return false; }

#else

namespace {

// 0 not yet asked, 1 absent, 2 present. Asked at the first conversion
// rather than at load, where the start-up order would have to be minded.
std::atomic<int> shuffle_state{0};

bool processor_has_ssse3() {
    int state = shuffle_state.load(std::memory_order_relaxed);
    if (state == 0) {
        __builtin_cpu_init();
        state = __builtin_cpu_supports("ssse3") ? 2 : 1;
        shuffle_state.store(state, std::memory_order_relaxed);
    }
    return state == 2;
}

// The shuffles, indexed by nine bits: bit 0 says whether the byte before
// the eight is the last of its character, bits 1 to 8 whether each of the
// eight is. Lane j of the result gathers the j-th character that ends
// among the eight: its last byte low, the byte before it high when the
// character has two bytes (an index of -1 is that byte before the eight),
// else zero (index 0x80). `count` is the characters ending among eight.
//
// `pack` is indexed by eight bits, one for each 16-bit lane: it moves the
// lanes whose bit is set to the front, in order.
struct ShuffleTables {
    alignas(16) uint8_t shuffle[512][16];
    alignas(16) uint8_t pack[256][16];
    uint8_t count[256];
};

constexpr ShuffleTables make_shuffle_tables() {
    ShuffleTables t{};
    for (uint32_t key = 0; key < 512; ++key) {
        for (uint8_t &b : t.shuffle[key])
            b = 0x80;
        uint32_t lane = 0;
        for (uint32_t k = 0; k < 8; ++k) {
            if (((key >> (k + 1)) & 1) == 0)
                continue;
            const bool single = ((key >> k) & 1) != 0;
            t.shuffle[key][2 * lane] = static_cast<uint8_t>(k);
            t.shuffle[key][2 * lane + 1] = single ? 0x80 : static_cast<uint8_t>(k - 1);
            ++lane;
        }
    }
    for (uint32_t m = 0; m < 256; ++m) {
        t.count[m] = static_cast<uint8_t>(__builtin_popcount(m));
        for (uint8_t &b : t.pack[m])
            b = 0x80;
        uint32_t lane = 0;
        for (uint32_t k = 0; k < 8; ++k) {
            if (((m >> k) & 1) == 0)
                continue;
            t.pack[m][2 * lane] = static_cast<uint8_t>(2 * k);
            t.pack[m][2 * lane + 1] = static_cast<uint8_t>(2 * k + 1);
            ++lane;
        }
    }
    return t;
}

constexpr ShuffleTables kTables = make_shuffle_tables();

// Eight gathered lanes to characters: the low byte's six bits, or all seven
// of an ASCII byte (a continuation's seventh bit is 0), and the lead's five
// bits above them.
__attribute__((target("ssse3"))) inline __m128i gathered_to_wide(__m128i x) {
    return _mm_or_si128(_mm_and_si128(x, _mm_set1_epi16(0x7F)),
                        _mm_and_si128(_mm_srli_epi16(x, 2), _mm_set1_epi16(0x7C0)));
}

// Sixteen bytes with three-byte forms among one- and two-byte ones, known
// to be well formed up to `take`; `ends` marks the last byte of each
// character before it. Each end lane makes its character from its own byte
// (seven bits of ASCII, six of a continuation), the byte before it when it
// is a continuation (six bits; a two-byte lead's top bit there is 0) and a
// three-byte lead two bytes before it (four bits); `pack` then moves the
// end lanes of each half to the front. Stores and the units put back are
// as for the shuffled blocks. Answers the characters made.
__attribute__((target("ssse3"))) inline uint32_t three_byte_block(__m128i v, __m128i cont8, __m128i lead3_8,
                                                                 uint32_t ends, char16_t *d) {
    const __m128i z = _mm_setzero_si128();
    const __m128i low = _mm_and_si128(v, _mm_set1_epi8(0x7F));
    const __m128i mid = _mm_and_si128(_mm_and_si128(_mm_slli_si128(v, 1), _mm_set1_epi8(0x3F)), cont8);
    // The lead's four bits already four places up in its byte.
    const __m128i top = _mm_slli_epi16(
        _mm_and_si128(_mm_and_si128(_mm_slli_si128(v, 2), _mm_set1_epi8(0x0F)), _mm_slli_si128(lead3_8, 2)), 4);
    const __m128i lo16 = _mm_or_si128(_mm_unpacklo_epi8(low, top), _mm_slli_epi16(_mm_unpacklo_epi8(mid, z), 6));
    const __m128i hi16 = _mm_or_si128(_mm_unpackhi_epi8(low, top), _mm_slli_epi16(_mm_unpackhi_epi8(mid, z), 6));
    const uint32_t first = kTables.count[ends & 0xFF];
    const uint32_t made = first + kTables.count[ends >> 8];
    const __m128i behind = _mm_loadu_si128(reinterpret_cast<const __m128i *>(d + made));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d),
                     _mm_shuffle_epi8(lo16, _mm_load_si128(reinterpret_cast<const __m128i *>(kTables.pack[ends & 0xFF]))));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + first),
                     _mm_shuffle_epi8(hi16, _mm_load_si128(reinterpret_cast<const __m128i *>(kTables.pack[ends >> 8]))));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + made), behind);
    return made;
}

}  // namespace

bool utf8_shuffle_usable() { return utf8_shuffle_enabled && processor_has_ssse3(); }

// A shuffled block stores the first half's characters at c and the second
// half's right after them, eight lanes each; the second store may reach up
// to eight units past the block's last character. Those units are read
// before the block and put back after it (they lie past anything written
// so far), so nothing beyond the characters made ever changes; hence the
// room of 24 units a shuffled block asks for.
__attribute__((target("ssse3"))) Span utf8_to_wide_ssse3(const unsigned char *s, uint32_t n,
                                                          uint32_t chars, char16_t *d, uint32_t room) {
    uint32_t i = 0, c = 0;
    const uint32_t out = chars < room ? chars : room;
    const __m128i z = _mm_setzero_si128();
    for (;;) {
        const uint32_t left = n - i < out - c ? n - i : out - c;
        if (left < 16)
            break;
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i));
        const uint32_t high = static_cast<uint32_t>(_mm_movemask_epi8(v));
        if (high == 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i *>(d + c), _mm_unpacklo_epi8(v, z));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(d + c + 8), _mm_unpackhi_epi8(v, z));
            i += 16;
            c += 16;
            continue;
        }
        if (room - c >= 24) {
            // As signed bytes: continuations 0x80-0xBF are below -64, the
            // two-byte leads 0xC2-0xDF from -62 to -33.
            const uint32_t cont =
                static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpgt_epi8(_mm_set1_epi8(-64), v)));
            const uint32_t lead = static_cast<uint32_t>(_mm_movemask_epi8(
                _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8(-63)), _mm_cmpgt_epi8(_mm_set1_epi8(-32), v))));
            const uint32_t ascii = ~high & 0xFFFFu;
            // Every byte is one of the three, every lead is followed by a
            // continuation and every continuation follows a lead; a lead
            // in the last lane waits for the next block.
            if ((ascii | cont | lead) == 0xFFFFu && ((lead << 1) & 0xFFFFu) == cont) {
                const uint32_t ends = ascii | cont;
                const uint32_t first = kTables.count[ends & 0xFF];
                const uint32_t made = first + kTables.count[ends >> 8];
                const __m128i behind = _mm_loadu_si128(reinterpret_cast<const __m128i *>(d + c + made));
                const __m128i lo_shuffle =
                    _mm_load_si128(reinterpret_cast<const __m128i *>(kTables.shuffle[(ends & 0xFF) << 1 | 1]));
                const __m128i hi_shuffle = _mm_add_epi8(
                    _mm_load_si128(reinterpret_cast<const __m128i *>(kTables.shuffle[(ends >> 7) & 0x1FF])),
                    _mm_set1_epi8(8));
                _mm_storeu_si128(reinterpret_cast<__m128i *>(d + c),
                                 gathered_to_wide(_mm_shuffle_epi8(v, lo_shuffle)));
                _mm_storeu_si128(reinterpret_cast<__m128i *>(d + c + first),
                                 gathered_to_wide(_mm_shuffle_epi8(v, hi_shuffle)));
                _mm_storeu_si128(reinterpret_cast<__m128i *>(d + c + made), behind);
                i += 16 - (lead >> 15);
                c += made;
                continue;
            }
            // Three-byte leads 0xE0-0xEF are -32 to -17; after 0xE0 the
            // next byte must be 0xA0 (-96) or more.
            const __m128i lead3_8 = _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8(-33)),
                                                  _mm_cmpgt_epi8(_mm_set1_epi8(-16), v));
            const uint32_t lead3 = static_cast<uint32_t>(_mm_movemask_epi8(lead3_8));
            const uint32_t overlong = static_cast<uint32_t>(_mm_movemask_epi8(
                _mm_and_si128(_mm_slli_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(-32)), 1),
                              _mm_cmpgt_epi8(_mm_set1_epi8(-96), v))));
            const uint32_t wanted = ((lead << 1) | (lead3 << 1) | (lead3 << 2)) & 0xFFFFu;
            if ((ascii | cont | lead | lead3) == 0xFFFFu && cont == wanted && overlong == 0) {
                // A character begun in the last two lanes waits for the
                // next block.
                const uint32_t unfinished = (lead & 0x8000u) | (lead3 & 0xC000u);
                const uint32_t take = unfinished != 0 ? static_cast<uint32_t>(__builtin_ctz(unfinished)) : 16;
                const uint32_t ends = (ascii | cont) & ~(cont >> 1) & ((1u << take) - 1);
                const __m128i cont8 = _mm_cmpgt_epi8(_mm_set1_epi8(-64), v);
                c += three_byte_block(v, cont8, lead3_8, ends, d + c);
                i += take;
                continue;
            }
        }
        if (!utf8_block_by_char(s, n, d, i, c))
            return {i, c};
    }
    return utf8_tail(s, n, out, d, i, c);
}

#endif

}  // namespace vesk::ccs::bulk
