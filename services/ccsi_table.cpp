// SPDX-License-Identifier: MIT
// The stock charsets: names, aliases, numbers. Numbers are IANA MIBenums;
// only aliases are found by name, so a registered name that is not repeated
// among the aliases ("windows-1251", "IBM866") is no key.
#include <cstddef>

#include "services/ccsi_table.hpp"

namespace vesk::svc {
namespace {

// A VeskCcsInfo with its aliases inline.
template <size_t N>
struct StockInfo {
    int32_t id;
    const char *iana;
    const char *mime;
    uint32_t codepage;
    uint16_t mbmax;
    uint16_t reserved;
    uint32_t aliasc;
    const char *aliasv[N];
};
static_assert(offsetof(StockInfo<1>, aliasv) == offsetof(VeskCcsInfo, aliasv));

template <size_t N>
constexpr StockInfo<N> info(int32_t id, const char *iana, const char *mime, uint32_t codepage,
                            uint16_t mbmax, const char *const (&aliases)[N]) {
    StockInfo<N> r{id, iana, mime, codepage, mbmax, 0, N, {}};
    for (size_t i = 0; i < N; ++i)
        r.aliasv[i] = aliases[i];
    return r;
}

constinit auto ascii = info(3, "ANSI_X3.4-1968", "US-ASCII", 367, 1,
                            {"iso-ir-6", "ANSI_X3.4-1986", "ISO_646.irv:1991", "ASCII", "ISO646-US",
                             "US-ASCII", "us", "IBM367", "CP367", "csASCII"});
constinit auto latin1 = info(4, "ISO_8859-1:1987", "ISO-8859-1", 819, 0,
                             {"iso-ir-100", "ISO_8859-1", "ISO-8859-1", "latin1", "l1", "IBM819",
                              "CP819", "csISOLatin1"});
constinit auto latin2 = info(5, "ISO_8859-2:1987", "ISO-8859-2", 0, 0,
                             {"iso-ir-101", "ISO_8859-2", "ISO-8859-2", "latin2", "l2", "csISOLatin2"});
constinit auto latin3 = info(6, "ISO_8859-3:1988", "ISO-8859-3", 0, 0,
                             {"iso-ir-109", "ISO_8859-3", "ISO-8859-3", "latin3", "l3", "csISOLatin3"});
constinit auto latin4 = info(7, "ISO_8859-4:1988", "ISO-8859-4", 0, 0,
                             {"iso-ir-110", "ISO_8859-4", "ISO-8859-4", "latin4", "l4", "csISOLatin4"});
constinit auto cyrillic = info(8, "ISO_8859-5:1988", "ISO-8859-5", 28595, 1,
                               {"iso-ir-144", "ISO_8859-5", "ISO-8859-5", "cyrillic",
                                "csISOLatinCyrillic", "ISO8859-5", "CP28595", "28595"});
constinit auto utf8 = info(106, "UTF-8", "UTF-8", 65001, 6,
                           {"UTF8", "UTF-8", "UTF_8", "CP65001", "65001"});
constinit auto koi8r = info(2084, "KOI8-R", "KOI8-R", 20866, 1,
                            {"csKOI8R", "KOI8R", "KOI8-R", "KOI8_R", "CP20866", "20866"});
constinit auto ibm866 = info(2086, "IBM866", "IBM866", 866, 1, {"csIBM866", "CP866", "866"});
constinit auto koi8u = info(2088, "KOI8-U", "KOI8-U", 21866, 1,
                            {"csKOI8U", "KOI8U", "KOI8-U", "KOI8_U", "CP21866", "21866"});
constinit auto cp1251 = info(2251, "windows-1251", "windows-1251", 1251, 1,
                             {"MS-CYRL", "CP1251", "1251"});

template <size_t N>
VeskCcsInfo *as_info(StockInfo<N> &i) {
    return reinterpret_cast<VeskCcsInfo *>(&i);
}

#define VESK_ROWS_OF_(i) (1 + sizeof((i).aliasv) / sizeof((i).aliasv[0]))
constexpr size_t kCountedRows = VESK_ROWS_OF_(ascii) + VESK_ROWS_OF_(latin1) + VESK_ROWS_OF_(latin2) +
                                VESK_ROWS_OF_(latin3) + VESK_ROWS_OF_(latin4) +
                                VESK_ROWS_OF_(cyrillic) + VESK_ROWS_OF_(utf8) +
                                VESK_ROWS_OF_(koi8r) + VESK_ROWS_OF_(ibm866) +
                                VESK_ROWS_OF_(koi8u) + VESK_ROWS_OF_(cp1251);
#undef VESK_ROWS_OF_
static_assert(kCountedRows == kStockCcsiRows);

}  // namespace

std::array<VeskCcsiRow, kStockCcsiRows + 1> stock_ccsi_table;

void reset_stock_ccsi_table() {
    // Built here, not as static data: the start chain runs before the
    // library's dynamic initialisers would.
    VeskCcsInfo *const infos[] = {as_info(ascii),  as_info(latin1),   as_info(latin2),
                                  as_info(latin3), as_info(latin4),   as_info(cyrillic),
                                  as_info(utf8),   as_info(koi8r),    as_info(ibm866),
                                  as_info(koi8u),  as_info(cp1251)};
    size_t r = 0;
    for (VeskCcsInfo *i : infos) {
        stock_ccsi_table[r++] = {i->id, VESK_CCSI_PRIMARY, i, {}, {}};
        for (uint32_t a = 0; a < i->aliasc; ++a)
            stock_ccsi_table[r++] = {i->id, VESK_CCSI_ALIAS, i, {}, {}};
    }
    stock_ccsi_table[r] = {VESK_CCSI_END, 0, nullptr, {}, {}};
}

}  // namespace vesk::svc
