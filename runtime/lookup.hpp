// SPDX-License-Identifier: MIT
// The lookup walk, inline, for the exported lookups and for the front ends
// that call a row by number, so that a front end's call sequence is the walk
// itself and not a call into it.
//
// A walk climbs from an object through its class to its module, and at each
// record considers only the first service element that matches the key. The
// path is taken by every front-end call and has no cache, so it compares
// identifiers and nothing else: no lock, no allocation, no string.
#pragma once

// Every step of the walk is forced inline: a front end is one walk, and a
// call out of it would cost as much as the walk itself.

#include <cstdarg>

#include "object.hpp"
#include "oid.hpp"
#include "selist.hpp"
#include "vesk.h"

namespace vesk::rt {

// Records a walk may pass: instance, class, module, and one more per kind-3
// reference the underscore forms pass through. A longer chain fails the
// lookup like any other miss.
inline constexpr unsigned kChainMax = 8;

struct Found {
    VeskSe *se;
    void *holder;
};

// The record `levels` steps above `obj`. A walk keeps no array of the
// records it passed: the holder of a hit is found again by climbing, which
// reads the same records, since a linked chain does not change.
[[gnu::always_inline]] inline void *climb(void *obj, unsigned levels) {
    for (; levels != 0; --levels)
        obj = head(obj)->super;
    return obj;
}

// With kRows the set must also have row key->opnum; a set that is too short
// sends the walk on upward. kWide: the key has more than four components.
template <bool kRows, bool kWide>
[[gnu::always_inline]] inline bool walk_key(void *obj, const VeskOid *key, const OidKey &k, Found &out) {
    if (obj == nullptr)
        return false;
    void *rec = obj;
    unsigned level = 0;
    do {
        const Head *h = head(rec);
        if (h->flags & VESK_F_SELIST) {
            VeskSe *se = selist_find<kWide>(selist_of(rec), k);
            if (se != nullptr && level >= se->depth &&
                (!kRows || key->opnum < se->ops->opcount)) {
                out = {se, climb(obj, level - se->depth)};
                return true;
            }
        }
        rec = h->super;
    } while (rec != nullptr && ++level < kChainMax);
    return false;
}

// The walk for a key that has been checked (one to six components). For a
// key built on the caller's stack with constant components, the choice of
// width and the key's words are made at compile time.
template <bool kRows>
[[gnu::always_inline]] inline bool walk(void *obj, const VeskOid *key, Found &out) {
    const OidKey k = oid_key(key);
    return k.wide() ? walk_key<kRows, true>(obj, key, k, out)
                    : walk_key<kRows, false>(obj, key, k, out);
}

// The offset itself stands for the null pointer when it is 0, so that a
// POD costs one addition on the condition and no other register.
[[gnu::always_inline]] inline void *pod_at(void *holder, const VeskSe *se) {
    uintptr_t pod = se->podoff;
    if (pod != 0)
        pod += reinterpret_cast<uintptr_t>(holder);
    return reinterpret_cast<void *>(pod);
}

// The row of a walk's hit, with `closure` filled.
[[gnu::always_inline]] inline VeskOprow *fill_closure(void *object, const VeskOid *key, const Found &f,
                                                      VeskClosure *closure) {
    VeskOps *ops = f.se->ops;
    *closure = {object, f.holder, pod_at(f.holder, f.se), ops, int32_t{key->opnum}};
    return &ops->rows[key->opnum];
}

// A walk's row with `closure` filled, or null.
[[gnu::always_inline]] inline VeskOprow *row_by_walk(void *object, const VeskOid *key, VeskClosure *closure) {
    Found f;
    if (!walk<true>(object, key, f))
        return nullptr;
    return fill_closure(object, key, f, closure);
}

// A kind-3 reference bound to a set that matches the key: the set is the
// answer, and no walk takes place.
inline bool bound_matches(const VeskSeobj *ref, const VeskOid *key) {
    const VeskOps *bound = ref->cl.ops;
    return bound != nullptr && oid_matches(&bound->rec.oid, key);
}

// `miss(self, closure)` gives what a lookup answers when no row is found:
// null after a report, or a stub row. `self` is the object that a hit would
// have had as `self` (a reference's own `self` in the kind-aware form).

// A kind-3 reference: its bound set if that matches the key, else a walk
// from its `self`. Out of line, since references are rare on the hot path;
// the key comes by value, so that a front end need not store its own.
template <class Miss>
[[gnu::noinline]] VeskOprow *find_op_ref(VeskSeobj *ref, const VeskOid key_value,
                                         VeskClosure *closure, Miss miss) {
    const VeskOid *key = &key_value;
    if (bound_matches(ref, key)) {
        VeskOps *bound = ref->cl.ops;
        if (key->opnum >= bound->opcount)
            return miss(ref->cl.self, closure);
        *closure = ref->cl;
        closure->opnum = key->opnum;
        return &bound->rows[key->opnum];
    }
    void *self = ref->cl.self;
    if (VeskOprow *row = row_by_walk(self, key, closure))
        return row;
    return miss(self, closure);
}

// The kind-aware operation lookup, for a checked key and a closure to fill:
// the row with `closure` filled, or what `miss` answers. One kind check
// tells a reference from every other record.
template <class Miss>
[[gnu::always_inline]] inline VeskOprow *find_op_checked(void *object, const VeskOid *key,
                                                         VeskClosure *closure, Miss miss) {
    if (object != nullptr && is_kind(object, VESK_KIND_SEOBJ)) [[unlikely]]
        return find_op_ref(static_cast<VeskSeobj *>(object), *key, closure, miss);
    if (VeskOprow *row = row_by_walk(object, key, closure)) [[likely]]
        return row;
    return miss(object, closure);
}

// The plain form: a reference is a record like any other.
template <class Miss>
inline VeskOprow *find_op_plain_checked(void *object, const VeskOid *key, VeskClosure *closure,
                                        Miss miss) {
    if (VeskOprow *row = row_by_walk(object, key, closure)) [[likely]]
        return row;
    return miss(object, closure);
}

// The object a walk starts from when a reference is not asked for its own set.
inline void *walk_start(void *object) {
    return object != nullptr && is_kind(object, VESK_KIND_SEOBJ)
               ? static_cast<VeskSeobj *>(object)->cl.self
               : object;
}

// The same for any key and closure a caller hands in: a key no lookup
// accepts, or no closure to fill, is a miss.
template <class Miss>
inline VeskOprow *find_op(void *object, const VeskOid *key, VeskClosure *closure, Miss miss) {
    if (!oid_usable(key) || closure == nullptr) [[unlikely]]
        return miss(walk_start(object), closure);
    return find_op_checked(object, key, closure, miss);
}

template <class Miss>
inline VeskOprow *find_op_plain(void *object, const VeskOid *key, VeskClosure *closure,
                                Miss miss) {
    if (!oid_usable(key) || closure == nullptr) [[unlikely]]
        return miss(object, closure);
    return find_op_plain_checked(object, key, closure, miss);
}

// The key of the V forms: `category`, c1, then up to four components ended
// by -1 (at most four are read).
VeskOid oid_from_args(uint16_t category, int opnum, int c1, va_list args);

}  // namespace vesk::rt
