// SPDX-License-Identifier: MIT
// The six stock converter sets, "operations/ccscvtor/Ccscvtor/...": UTF-8
// within 16 bits and five Cyrillic code pages. Each has the two rows that the
// conversion service calls, mb2wc and wc2mb, pure functions of their
// arguments; the work itself is in ccs_tables.hpp, shared with the service's
// bulk loops.
#include "services/ccs_converters.hpp"

#include "services/ccs_convert.hpp"

namespace vesk::ccs {
namespace {

constexpr uint16_t kSub = VESK_CCSCVT_SUB;

// Rows over a converter: `In` makes wide characters, `Out` bytes.
template <class In>
int64_t mb2wc(VeskClosure *, VeskErr *err, VeskCcscvtor *, const unsigned char *mb, char16_t *wc,
              uint32_t avail, In in) {
    return in(mb, wc, avail, err);
}

template <const SingleByteTable *kTable>
int64_t table_mb2wc(VeskClosure *cl, VeskErr *err, VeskCcscvtor *cv, const unsigned char *mb,
                    char16_t *wc, uint32_t avail) {
    return mb2wc(cl, err, cv, mb, wc, avail, TableIn{kTable});
}

template <const SingleByteTable *kTable>
int64_t table_wc2mb(VeskClosure *, VeskErr *err, VeskCcscvtor *, const char16_t *wc,
                    unsigned char *mb, uint32_t avail) {
    return TableOut{kTable}(*wc, mb, avail, err);
}

int64_t utf8_mb2wc(VeskClosure *cl, VeskErr *err, VeskCcscvtor *cv, const unsigned char *mb,
                   char16_t *wc, uint32_t avail) {
    return mb2wc(cl, err, cv, mb, wc, avail, Utf8In{});
}

int64_t utf8_wc2mb(VeskClosure *, VeskErr *err, VeskCcscvtor *, const char16_t *wc,
                   unsigned char *mb, uint32_t avail) {
    return Utf8Out{}(*wc, mb, avail, err);
}

#define VESK_CVTOR_SET_(var, key, id, to_wc, to_mb)                                              \
    VESK_OPS_T(6) var = {                                                                        \
        VESK_RECORD_INIT("operations/ccscvtor/Ccscvtor/" key, "ccscvtor/Ccscvtor/" key,          \
                         "ccscvtor", VESK_OID4(VESK_CAT_OPS, VESK_CCSCVT_FAMILY, kSub, id),      \
                         nullptr),                                                               \
        0,                                                                                       \
        6,                                                                                       \
        {VESK_STDROWS_NONE, VESK_ROW(mb2wc, "ccscvtor::convert-mb-to-wc", to_wc),                \
         VESK_ROW(wc2mb, "ccscvtor::convert-wc-to-mb", to_mb)},                                  \
    }

VESK_CVTOR_SET_(koi8u_set, "koi8u", 2088, table_mb2wc<&kKoi8uTable>, table_wc2mb<&kKoi8uTable>);
VESK_CVTOR_SET_(koi8r_set, "koi8r", 2084, table_mb2wc<&kKoi8rTable>, table_wc2mb<&kKoi8rTable>);
VESK_CVTOR_SET_(utf8_set, "utf8", 106, utf8_mb2wc, utf8_wc2mb);
VESK_CVTOR_SET_(ibm_cyr_set, "ibm_cyr", 2086, table_mb2wc<&kIbmCyrTable>,
                table_wc2mb<&kIbmCyrTable>);
VESK_CVTOR_SET_(latin_cyr_set, "latin_cyr", 8, table_mb2wc<&kLatinCyrTable>,
                table_wc2mb<&kLatinCyrTable>);
VESK_CVTOR_SET_(win_cyr_set, "win_cyr", 2251, table_mb2wc<&kWinCyrTable>,
                table_wc2mb<&kWinCyrTable>);
#undef VESK_CVTOR_SET_

constexpr Converter kConverters[kStockConverters] = {
    {2088, &kKoi8uTable}, {2084, &kKoi8rTable},    {106, nullptr},
    {2086, &kIbmCyrTable}, {8, &kLatinCyrTable}, {2251, &kWinCyrTable},
};

}  // namespace

VeskOps *stock_converter_sets[kStockConverters] = {
    VESK_OPS(&koi8u_set),   VESK_OPS(&koi8r_set),     VESK_OPS(&utf8_set),
    VESK_OPS(&ibm_cyr_set), VESK_OPS(&latin_cyr_set), VESK_OPS(&win_cyr_set),
};

bool fast_path_enabled = true;

const Converter *stock_converter(const VeskOps *ops) {
    for (uint32_t i = 0; i < kStockConverters; ++i)
        if (ops == stock_converter_sets[i])
            return &kConverters[i];
    return nullptr;
}

}  // namespace vesk::ccs
