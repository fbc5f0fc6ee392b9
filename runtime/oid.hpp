// SPDX-License-Identifier: MIT
// Identifier comparison, inline for the lookup path.
#pragma once

#include <algorithm>

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

// The same answer as prefix_compare(a, b, common_length(a, b)) == 0. The
// family (component 1) tells most identifiers apart, and component 0 is the
// same category in nearly every comparison, so the family goes first.
inline bool oid_matches(const VeskOid *a, const VeskOid *b) {
    const unsigned n = common_length(a, b);
    if (n >= 2 && !component_matches(a->comp[1], b->comp[1]))
        return false;
    if (n >= 1 && !component_matches(a->comp[0], b->comp[0]))
        return false;
    for (unsigned i = 2; i < n; ++i)
        if (!component_matches(a->comp[i], b->comp[i]))
            return false;
    return true;
}

}  // namespace vesk::rt
