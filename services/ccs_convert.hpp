// SPDX-License-Identifier: MIT
// The run forms of the conversion service, written once over how a
// character is made: a policy gives decode (bytes to one wide character) and
// encode (one wide character to bytes), each reporting its own failure and
// answering negative then.
//
// Road calls the convertor's two sets through their rows, as any converter
// is called. Fast stands for a pair of stock converters: the same work
// inlined, plus runs of ASCII taken many at a time, which both sides map to
// themselves one byte for one character. Since every form is this one loop
// for both, a run or a fast character ends, reports and leaves the output
// exactly where the road does.
#pragma once

#include <cstdint>
#include <cstring>

#include "services/ccs_bulk.hpp"
#include "services/ccs_tables.hpp"
#include "vesk.h"

namespace vesk::ccs {

// The local room of a character made only to be counted or copied.
inline constexpr uint32_t kLocalRoom = 6;
inline constexpr int64_t kMaxResult = INT32_MAX;

inline void report(VeskErr *err, int32_t code) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_CCSCVT_FAMILY, code, 0, 0);
}

inline uint32_t min_u32(uint32_t a, uint32_t b) { return a < b ? a : b; }

// ---- Policies -------------------------------------------------------------------

struct Road {
    VeskCcscvtor *cv;
    static constexpr bool kRuns = false;

    int64_t decode(const unsigned char *mb, char16_t *wc, uint32_t avail, VeskErr *err) const {
        return reinterpret_cast<VeskCcsMb2wcfn>(cv->srcops->rows[VESK_CCSCVT_OP_MB2WC].fn)(
            &cv->cl, err, cv, mb, wc, avail);
    }
    int64_t encode(char16_t wc, unsigned char *mb, uint32_t avail, VeskErr *err) const {
        return reinterpret_cast<VeskCcsWc2mbfn>(cv->dstops->rows[VESK_CCSCVT_OP_WC2MB].fn)(
            &cv->cl, err, cv, &wc, mb, avail);
    }
};

// Besides the one character, each stock side has a bulk kernel (ccs_bulk.hpp)
// and the most bytes of its longest character, below which the room the
// forms give a character would make it fail where a kernel would not.

struct Utf8In {
    static constexpr uint32_t kLongest = 3;
    bulk::Span to_wide(const unsigned char *s, uint32_t n, uint32_t chars, char16_t *d,
                       uint32_t room) const {
        return bulk::utf8_to_wide(s, n, chars, d, room);
    }
    int64_t operator()(const unsigned char *mb, char16_t *wc, uint32_t avail, VeskErr *err) const {
        const int r = utf8_decode(mb, wc, avail);
        if (r < 0) [[unlikely]]
            report(err, r == kIllegal ? VESK_E_ILSEQ : VESK_E_INCOMPLETESEQ);
        return r;
    }
};

struct TableIn {
    const SingleByteTable *table;
    static constexpr uint32_t kLongest = 1;
    bulk::Span to_wide(const unsigned char *s, uint32_t n, uint32_t chars, char16_t *d,
                       uint32_t room) const {
        return bulk::table_to_wide(*table, s, min_u32(n, chars), d, room);
    }
    int64_t operator()(const unsigned char *mb, char16_t *wc, uint32_t, VeskErr *err) const {
        const int r = sb_decode(*table, mb, wc);
        if (r < 0) [[unlikely]]
            report(err, VESK_E_ILSEQ);
        return r;
    }
};

struct Utf8Out {
    static constexpr uint32_t kLongest = 3;
    bulk::Span from_wide(const char16_t *s, uint32_t n, unsigned char *d, uint32_t room) const {
        return bulk::wide_to_utf8(s, n, d, room);
    }
    int64_t operator()(char16_t wc, unsigned char *mb, uint32_t avail, VeskErr *err) const {
        const int r = utf8_encode(wc, mb, avail);
        if (r < 0) [[unlikely]]
            report(err, VESK_E_MBBUFSMALL);
        return r;
    }
};

struct TableOut {
    const SingleByteTable *table;
    static constexpr uint32_t kLongest = 1;
    bulk::Span from_wide(const char16_t *, uint32_t, unsigned char *, uint32_t) const { return {0, 0}; }
    int64_t operator()(char16_t wc, unsigned char *mb, uint32_t, VeskErr *err) const {
        const int r = sb_encode(*table, wc, mb);
        if (r < 0) [[unlikely]]
            report(err, VESK_E_BADUNICODE);
        return r;
    }
};

// Bytes to bytes in bulk: a code page to UTF-8 through its ready-made
// forms; other pairs only by their runs of ASCII.
template <class In, class Out>
bulk::Span bytes_to_bytes(const In &, const Out &, const unsigned char *, uint32_t, unsigned char *,
                          uint32_t) {
    return {0, 0};
}
inline bulk::Span bytes_to_bytes(const TableIn &in, const Utf8Out &, const unsigned char *s,
                                 uint32_t n, unsigned char *d, uint32_t room) {
    return bulk::table_to_utf8(*in.table, s, n, d, room);
}

template <class In, class Out>
struct Fast {
    In in;
    Out out;
    static constexpr bool kRuns = true;

    // Whether the kernels may run: the forms give each character at least
    // the room of the longest one.
    static bool in_bulk(uint32_t srcmax) { return srcmax >= In::kLongest; }
    static bool out_bulk(uint32_t enc_room) { return enc_room >= Out::kLongest; }
    bulk::Span to_wide(const unsigned char *s, uint32_t n, uint32_t chars, char16_t *d,
                       uint32_t room) const {
        return in.to_wide(s, n, chars, d, room);
    }
    bulk::Span from_wide(const char16_t *s, uint32_t n, unsigned char *d, uint32_t room) const {
        return out.from_wide(s, n, d, room);
    }
    bulk::Span bytes(const unsigned char *s, uint32_t n, unsigned char *d, uint32_t room) const {
        return bytes_to_bytes(in, out, s, n, d, room);
    }

    int64_t decode(const unsigned char *mb, char16_t *wc, uint32_t avail, VeskErr *err) const {
        return in(mb, wc, avail, err);
    }
    int64_t encode(char16_t wc, unsigned char *mb, uint32_t avail, VeskErr *err) const {
        return out(wc, mb, avail, err);
    }
};

// ---- Runs of ASCII ----------------------------------------------------------------
//
// Counts the units from `p` on, at most `limit`, that are below 0x80 (and not
// 0 when `stop_at_nul`). Where the end is known, eight bytes are looked at at
// once; a NUL-ended text is read one unit at a time so that nothing past its
// end is touched.

template <class Unit>
inline uint32_t ascii_run(const Unit *p, uint32_t limit, bool stop_at_nul) {
    static_assert(sizeof(Unit) == 1 || sizeof(Unit) == 2);
    // Every bit but the low seven of each unit in a word of eight bytes.
    constexpr uint64_t kHigh = sizeof(Unit) == 1 ? 0x8080808080808080u : 0xFF80FF80FF80FF80u;
    constexpr uint32_t kPerWord = 8 / sizeof(Unit);
    uint32_t k = 0;
    if (!stop_at_nul) {
        for (; limit - k >= kPerWord; k += kPerWord) {
            uint64_t w;
            std::memcpy(&w, p + k, 8);
            if (w & kHigh)
                break;
        }
        while (k < limit && p[k] < 0x80)
            ++k;
        return k;
    }
    while (k < limit && p[k] != 0 && p[k] < 0x80)
        ++k;
    return k;
}

// Narrows or widens n units of ASCII.
inline void put_ascii(unsigned char *dst, const unsigned char *src, uint32_t n) { std::memcpy(dst, src, n); }
inline void put_ascii(unsigned char *dst, const char16_t *src, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i)
        dst[i] = static_cast<unsigned char>(src[i]);
}
inline void put_ascii(char16_t *dst, const unsigned char *src, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i)
        dst[i] = src[i];
}

// Takes the ASCII run at `src` in one step: up to the NUL or the units left,
// the room (when there is a destination) and what the result may still
// count; the text, the units left, the destination, its room and the total
// move past it.
template <class From, class To>
void take_ascii_run(const From *&src, uint32_t &left, To *&dst, uint32_t &room, int64_t &total,
                    bool to_nul) {
    uint32_t limit = to_nul ? UINT32_MAX : left;
    if (dst != nullptr)
        limit = min_u32(limit, room);
    limit = min_u32(limit, static_cast<uint32_t>(kMaxResult - total));
    const uint32_t k = ascii_run(src, limit, to_nul);
    if (dst != nullptr) {
        put_ascii(dst, src, k);
        dst += k;
        room -= k;
    }
    src += k;
    if (!to_nul)
        left -= k;
    total += k;
}

// ---- The forms ------------------------------------------------------------------------

// What every form needs of the convertor besides the policy.
struct Limits {
    uint32_t srcmax;
    uint32_t dstmax;
};

// A decode that claims to have used nothing, or more than it could read,
// would stall or overrun a loop: a converter that says so is refused.
inline bool used_sanely(int64_t n, uint32_t avail, VeskErr *err) {
    if (n > 0 && n <= avail)
        return true;
    if (n >= 0)
        report(err, VESK_E_ILSEQ);
    return false;
}

inline bool result_fits(int64_t total, int64_t more, VeskErr *err) {
    if (total + more <= kMaxResult)
        return true;
    report(err, VESK_E_MBBUFSMALL);
    return false;
}

// Bytes to bytes, one character.
template <class P>
int32_t run_one(const P &p, Limits lim, const unsigned char **src, uint32_t *srcleft,
                unsigned char **dst, uint32_t *dstleft, VeskErr *err) {
    if (*srcleft == 0) {
        report(err, VESK_E_INCOMPLETESEQ);
        return -1;
    }
    char16_t wc;
    const uint32_t avail = min_u32(*srcleft, lim.srcmax);
    const int64_t n = p.decode(*src, &wc, avail, err);
    if (!used_sanely(n, avail, err))
        return -1;
    const bool given = dst != nullptr && dstleft != nullptr && *dst != nullptr;
    unsigned char local[kLocalRoom];
    const uint32_t room = given ? min_u32(*dstleft, lim.dstmax) : min_u32(lim.dstmax, kLocalRoom);
    const int64_t m = p.encode(wc, given ? *dst : local, room, err);
    if (m < 0)
        return -1;
    *src += n;
    *srcleft -= static_cast<uint32_t>(n);
    if (given) {
        *dst += m;
        *dstleft -= static_cast<uint32_t>(m);
    }
    return static_cast<int32_t>(m);
}

// One wide character to bytes.
template <class P>
int32_t run_one_2mb(const P &p, Limits lim, const char16_t **wsrc, uint32_t *wleft,
                    unsigned char **dst, uint32_t *dstleft, VeskErr *err) {
    if (*wleft == 0) {
        report(err, VESK_E_INCOMPLETESEQ);
        return -1;
    }
    const bool given = dst != nullptr && dstleft != nullptr && *dst != nullptr;
    unsigned char local[kLocalRoom];
    const uint32_t room = given ? min_u32(*dstleft, lim.dstmax) : min_u32(lim.dstmax, kLocalRoom);
    const int64_t m = p.encode(**wsrc, given ? *dst : local, room, err);
    if (m < 0)
        return -1;
    ++*wsrc;
    --*wleft;
    if (given) {
        *dst += m;
        *dstleft -= static_cast<uint32_t>(m);
    }
    return static_cast<int32_t>(m);
}

// Bytes to one wide character.
template <class P>
int32_t run_one_2wc(const P &p, Limits lim, const unsigned char **src, uint32_t *srcleft,
                    char16_t **wdst, uint32_t *wleft, VeskErr *err) {
    const bool given = wdst != nullptr && wleft != nullptr && *wdst != nullptr;
    if (given && *wleft == 0) {
        report(err, VESK_E_MBBUFSMALL);
        return -1;
    }
    if (*srcleft == 0) {
        report(err, VESK_E_INCOMPLETESEQ);
        return -1;
    }
    char16_t wc;
    const uint32_t avail = min_u32(*srcleft, lim.srcmax);
    const int64_t n = p.decode(*src, &wc, avail, err);
    if (!used_sanely(n, avail, err))
        return -1;
    *src += n;
    *srcleft -= static_cast<uint32_t>(n);
    if (given) {
        *(*wdst)++ = wc;
        --*wleft;
    }
    return 1;
}

// A counted buffer of bytes, or bytes up to a NUL, to bytes.
template <class P>
int32_t run_b(const P &p, Limits lim, const unsigned char *src, uint32_t srclen,
              unsigned char *dst, uint32_t dstsize, VeskErr *err) {
    const bool to_nul = srclen == VESK_CCS_TONUL;
    const uint32_t enc_room = min_u32(lim.dstmax, kLocalRoom);
    const bool runs = lim.srcmax != 0 && enc_room != 0;
    uint32_t room = dstsize;
    int64_t total = 0;
    const bool kernel = !to_nul && dst != nullptr;
    for (;;) {
        if constexpr (P::kRuns) {
            if (kernel && P::in_bulk(lim.srcmax) && P::out_bulk(enc_room)) {
                const bulk::Span k =
                    p.bytes(src, srclen, dst, min_u32(room, static_cast<uint32_t>(kMaxResult - total)));
                src += k.in;
                srclen -= k.in;
                dst += k.out;
                room -= k.out;
                total += k.out;
            }
            if (runs)
                take_ascii_run(src, srclen, dst, room, total, to_nul);
        }
        if (to_nul ? *src == 0 : srclen == 0)
            break;
        char16_t wc;
        const uint32_t avail = to_nul ? lim.srcmax : min_u32(srclen, lim.srcmax);
        const int64_t n = p.decode(src, &wc, avail, err);
        if (!used_sanely(n, avail, err))
            return -1;
        unsigned char local[kLocalRoom];
        const int64_t m = p.encode(wc, local, enc_room, err);
        if (m < 0 || !result_fits(total, m, err))
            return -1;
        if (dst != nullptr) {
            if (m > room) {
                report(err, VESK_E_MBBUFSMALL);
                return -1;
            }
            std::memcpy(dst, local, static_cast<size_t>(m));
            dst += m;
            room -= static_cast<uint32_t>(m);
        }
        src += n;
        if (!to_nul)
            srclen -= static_cast<uint32_t>(n);
        total += m;
    }
    return static_cast<int32_t>(total);
}

// Wide characters, counted or up to a NUL (converted and written, not
// counted), to bytes.
template <class P>
int32_t run_b_2mb(const P &p, Limits lim, const char16_t *wsrc, uint32_t wlen, unsigned char *dst,
                  uint32_t dstsize, VeskErr *err) {
    const bool to_nul = wlen == VESK_CCS_TONUL;
    if (dstsize == 0)
        dst = nullptr;
    const uint32_t enc_room = min_u32(lim.dstmax, kLocalRoom);
    uint32_t room = dstsize;
    int64_t total = 0;
    const bool kernel = !to_nul && dst != nullptr;
    for (;;) {
        if constexpr (P::kRuns) {
            if (kernel && P::out_bulk(enc_room)) {
                const bulk::Span k =
                    p.from_wide(wsrc, wlen, dst, min_u32(room, static_cast<uint32_t>(kMaxResult - total)));
                wsrc += k.in;
                wlen -= k.in;
                dst += k.out;
                room -= k.out;
                total += k.out;
            }
            if (enc_room != 0)
                take_ascii_run(wsrc, wlen, dst, room, total, to_nul);
        }
        if (!to_nul) {
            if (wlen == 0)
                break;
            --wlen;
        }
        const char16_t wc = *wsrc++;
        unsigned char local[kLocalRoom];
        const int64_t m = p.encode(wc, local, enc_room, err);
        if (m < 0)
            return -1;
        if (dst != nullptr) {
            if (m > room) {
                report(err, VESK_E_MBBUFSMALL);
                return -1;
            }
            std::memcpy(dst, local, static_cast<size_t>(m));
            dst += m;
            room -= static_cast<uint32_t>(m);
        }
        if (to_nul && wc == 0)
            break;
        if (!result_fits(total, m, err))
            return -1;
        total += m;
    }
    return static_cast<int32_t>(total);
}

// Characters of bytes, counted by characters or up to the NUL (stored, not
// counted), to wide characters.
template <class P>
int32_t run_b_2wc(const P &p, Limits lim, const unsigned char *src, uint32_t srclen,
                  char16_t *wdst, uint32_t wsize, VeskErr *err) {
    const bool to_nul = srclen == VESK_CCS_TONUL;
    if (wsize == 0)
        wdst = nullptr;
    uint32_t room = wsize;
    int64_t total = 0;
    const bool kernel = !to_nul && wdst != nullptr;
    for (;;) {
        if constexpr (P::kRuns) {
            // Counted by characters, the text holds at least as many bytes
            // as it has characters left; each one is read where the careful
            // loop would read it.
            if (kernel && P::in_bulk(lim.srcmax)) {
                const bulk::Span k = p.to_wide(src, UINT32_MAX, srclen, wdst,
                                               min_u32(room, static_cast<uint32_t>(kMaxResult - total)));
                src += k.in;
                srclen -= k.out;
                wdst += k.out;
                room -= k.out;
                total += k.out;
            }
            if (lim.srcmax != 0)
                take_ascii_run(src, srclen, wdst, room, total, to_nul);
        }
        if (!to_nul) {
            if (srclen == 0)
                break;
            --srclen;
        }
        char16_t wc;
        const int64_t n = p.decode(src, &wc, lim.srcmax, err);
        if (!used_sanely(n, lim.srcmax, err))
            return -1;
        if (wdst != nullptr) {
            if (room == 0) {
                report(err, VESK_E_MBBUFSMALL);
                return -1;
            }
            *wdst++ = wc;
            --room;
        }
        src += n;
        if (to_nul && wc == 0)
            break;
        if (!result_fits(total, 1, err))
            return -1;
        ++total;
    }
    return static_cast<int32_t>(total);
}

// NUL-ended bytes to bytes: straight to `dst` with the room of one
// destination character, or counted through a local buffer.
template <class P>
int32_t run_s(const P &p, Limits lim, const unsigned char *src, unsigned char *dst, VeskErr *err) {
    const uint32_t enc_room = dst != nullptr ? lim.dstmax : min_u32(lim.dstmax, kLocalRoom);
    int64_t total = 0;
    for (;;) {
        if constexpr (P::kRuns) {
            if (enc_room != 0 && lim.srcmax != 0) {
                const uint32_t k =
                    ascii_run(src, static_cast<uint32_t>(kMaxResult - total), true);
                if (dst != nullptr) {
                    put_ascii(dst, src, k);
                    dst += k;
                }
                src += k;
                total += k;
            }
        }
        char16_t wc;
        const int64_t n = p.decode(src, &wc, lim.srcmax, err);
        if (!used_sanely(n, lim.srcmax, err))
            return -1;
        unsigned char local[kLocalRoom];
        const int64_t m = p.encode(wc, dst != nullptr ? dst : local, enc_room, err);
        if (m < 0)
            return -1;
        src += n;
        if (dst != nullptr)
            dst += m;
        if (wc == 0)
            break;
        if (!result_fits(total, m, err))
            return -1;
        total += m;
    }
    return static_cast<int32_t>(total);
}

template <class P>
int32_t run_s_2mb(const P &p, Limits lim, const char16_t *wsrc, unsigned char *dst, VeskErr *err) {
    const uint32_t enc_room = dst != nullptr ? lim.dstmax : min_u32(lim.dstmax, kLocalRoom);
    int64_t total = 0;
    for (;;) {
        if constexpr (P::kRuns) {
            if (enc_room != 0) {
                const uint32_t k =
                    ascii_run(wsrc, static_cast<uint32_t>(kMaxResult - total), true);
                if (dst != nullptr) {
                    put_ascii(dst, wsrc, k);
                    dst += k;
                }
                wsrc += k;
                total += k;
            }
        }
        const char16_t wc = *wsrc++;
        unsigned char local[kLocalRoom];
        const int64_t m = p.encode(wc, dst != nullptr ? dst : local, enc_room, err);
        if (m < 0)
            return -1;
        if (dst != nullptr)
            dst += m;
        if (wc == 0)
            break;
        if (!result_fits(total, m, err))
            return -1;
        total += m;
    }
    return static_cast<int32_t>(total);
}

template <class P>
int32_t run_s_2wc(const P &p, Limits lim, const unsigned char *src, char16_t *wdst, VeskErr *err) {
    int64_t total = 0;
    for (;;) {
        if constexpr (P::kRuns) {
            if (lim.srcmax != 0) {
                const uint32_t k = ascii_run(src, static_cast<uint32_t>(kMaxResult - total), true);
                if (wdst != nullptr) {
                    put_ascii(wdst, src, k);
                    wdst += k;
                }
                src += k;
                total += k;
            }
        }
        char16_t wc;
        const int64_t n = p.decode(src, &wc, lim.srcmax, err);
        if (!used_sanely(n, lim.srcmax, err))
            return -1;
        if (wdst != nullptr)
            *wdst++ = wc;
        src += n;
        if (wc == 0)
            break;
        if (!result_fits(total, 1, err))
            return -1;
        ++total;
    }
    return static_cast<int32_t>(total);
}

// ---- The stock converters ------------------------------------------------------------

// The stock converter whose set `ops` is, or null for any other set.
const Converter *stock_converter(const VeskOps *ops);

// Off, every convertor takes the road: for tests and the differential fuzz
// target, which compare the two. Not for callers.
extern bool fast_path_enabled;

// Runs `form(policy)` with the fast policy when both sets are stock
// converters, else with the road.
template <class Form>
int32_t with_policy(VeskCcscvtor *cv, Form form) {
    const Converter *in = stock_converter(cv->srcops);
    const Converter *out = stock_converter(cv->dstops);
    if (in == nullptr || out == nullptr || !fast_path_enabled)
        return form(Road{cv});
    if (in->table == nullptr) {
        if (out->table == nullptr)
            return form(Fast<Utf8In, Utf8Out>{{}, {}});
        return form(Fast<Utf8In, TableOut>{{}, {out->table}});
    }
    if (out->table == nullptr)
        return form(Fast<TableIn, Utf8Out>{{in->table}, {}});
    return form(Fast<TableIn, TableOut>{{in->table}, {out->table}});
}

}  // namespace vesk::ccs
