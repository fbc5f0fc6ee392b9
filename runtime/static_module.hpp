// SPDX-License-Identifier: MIT
// Records written as static data and linked the same way by every module of
// the library: a class or module record is followed by its own block of
// service elements (members `cls` or `mod`, then `block`), and a module's sets
// and classes stand in tables of its own.
#pragma once

#include <cstddef>

#include "vesk.h"

namespace vesk::rt {

// The version the library's own records carry.
inline constexpr uint32_t kStockVersion = VESK_VERSION(2, 4, 1);

// on_link of a record with its own block: the block joins its list.
template <class Rec>
int64_t push_own_block(VeskRecord *rec, VeskErr *status) {
    auto *r = reinterpret_cast<Rec *>(rec);
    if constexpr (requires { r->cls; })
        return _VeskSelistPushback_nlk(&r->cls.selist, VESK_SEBLOCK(&r->block), status);
    else
        return _VeskSelistPushback_nlk(&r->mod.selist, VESK_SEBLOCK(&r->block), status);
}

// on_link of a module: its tables of sets and classes, then its own block.
template <class Rec, size_t OpsCount, size_t ClassCount>
int64_t link_module(VeskRecord *rec, VeskOps *(&opsv)[OpsCount],
                    VeskClass *(&clsv)[ClassCount], VeskErr *status) {
    VeskModule &mod = reinterpret_cast<Rec *>(rec)->mod;
    mod.opsv = opsv;
    mod.opsc = OpsCount;
    mod.clsv = clsv;
    mod.clsc = ClassCount;
    return push_own_block<Rec>(rec, status);
}

}  // namespace vesk::rt
