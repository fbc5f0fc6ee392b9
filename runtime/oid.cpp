// SPDX-License-Identifier: MIT
// Object identifiers: prefix comparison with wildcards, and the total order.
#include "oid.hpp"

using namespace vesk::rt;

extern "C" {

// A null identifier sorts ahead of every other, and equal to another null:
// the comparisons have no status record to refuse it with.
namespace {
int32_t null_order(const VeskOid *a, const VeskOid *b) { return (a != nullptr) - (b != nullptr); }
}  // namespace

VESK_API int32_t VeskOidcmp(const VeskOid *a, const VeskOid *b) {
    if (a == nullptr || b == nullptr) [[unlikely]]
        return null_order(a, b);
    return prefix_compare(a, b, common_length(a, b));
}

VESK_API int32_t VeskOidlcmp(const VeskOid *a, const VeskOid *b) {
    if (a == nullptr || b == nullptr) [[unlikely]]
        return null_order(a, b);
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
