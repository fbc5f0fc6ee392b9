// Object identifiers: prefix comparison with wildcards, and the total order.
#include <algorithm>

#include "vesk.h"

namespace {

// Components compared: the shorter count, kept inside the record.
inline unsigned common_length(const VeskOid *a, const VeskOid *b) {
    return std::min<unsigned>({a->count, b->count, VESK_OID_MAXCOMP});
}

// Compares the first n components; a 0 on either side matches anything.
inline int32_t prefix_compare(const VeskOid *a, const VeskOid *b, unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
        const int32_t x = a->comp[i];
        const int32_t y = b->comp[i];
        if (x != y && x != 0 && y != 0)
            return x - y;
    }
    return 0;
}

}  // namespace

extern "C" {

VESK_API int32_t VeskOidcmp(const VeskOid *a, const VeskOid *b) {
    return prefix_compare(a, b, common_length(a, b));
}

VESK_API int32_t VeskOidlcmp(const VeskOid *a, const VeskOid *b) {
    const unsigned n = common_length(a, b);
    if (const int32_t r = prefix_compare(a, b, n); r != 0)
        return r;
    // Equal up to the shorter length: the longer one's next component decides,
    // so a shorter identifier sorts first unless that component is a wildcard.
    if (n == VESK_OID_MAXCOMP || a->count == b->count)
        return 0;
    return a->count > b->count ? int32_t{a->comp[n]} : -int32_t{b->comp[n]};
}

}  // extern "C"
