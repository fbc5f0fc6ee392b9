// SPDX-License-Identifier: MIT
// The ring of service-element blocks that classes and modules carry.
#pragma once

#include <cstddef>

#include "oid.hpp"
#include "vesk.h"

namespace vesk::rt {

inline VeskSeblock *block_of(VeskSelink *link) {
    return reinterpret_cast<VeskSeblock *>(reinterpret_cast<char *>(link) -
                                           offsetof(VeskSeblock, links));
}

// Calls fn(se) for each element in list order until it returns true; returns
// that element or null. A list that was never initialised reads as empty.
template <class Fn>
[[gnu::always_inline]] inline VeskSe *selist_find_if(const VeskSelist *list, Fn fn) {
    const VeskSelink *end = &list->ring;
    for (VeskSelink *link = list->ring.next; link != nullptr && link != end; link = link->next) {
        VeskSeblock *block = block_of(link);
        for (uint32_t i = 0; i < block->count; ++i)
            if (fn(&block->se[i]))
                return &block->se[i];
    }
    return nullptr;
}

// The first element whose identifier matches a prepared key; no report.
template <bool kWide>
[[gnu::always_inline]] inline VeskSe *selist_find(const VeskSelist *list, const OidKey &key) {
    return selist_find_if(list,
                          [&key](const VeskSe *se) { return oid_matches_key<kWide>(&se->oid, key); });
}

// The first element whose identifier matches key by prefix; no report.
inline VeskSe *selist_find(const VeskSelist *list, const VeskOid *key) {
    return selist_find<true>(list, oid_key(key));
}

}  // namespace vesk::rt
