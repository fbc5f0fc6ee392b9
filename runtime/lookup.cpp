// SPDX-License-Identifier: MIT
// Operation lookup: the dispatch of the runtime.
//
// A walk climbs from an object through its class to its module, and at each
// record considers only the first service element that matches the key. The
// path is taken by every front-end call and has no cache, so it compares
// identifiers and nothing else: no lock, no allocation, no string.
#include <cstdarg>

#include "lookup.hpp"
#include "object.hpp"
#include "report.hpp"
#include "selist.hpp"

using namespace vesk::rt;

namespace {

// Records a walk may pass: instance, class, module, and one more per kind-3
// reference the underscore forms pass through. A longer chain fails the
// lookup like any other miss.
constexpr unsigned kChainMax = 8;

struct Found {
    VeskSe *se;
    void *holder;
};

// With kRows the set must also have row key->opnum; a set that is too short
// sends the walk on upward.
template <bool kRows>
inline bool walk(void *obj, const VeskOid *key, Found &out) {
    void *chain[kChainMax];
    void *rec = obj;
    for (unsigned level = 0; rec != nullptr && level < kChainMax; ++level) {
        chain[level] = rec;
        const Head *h = head(rec);
        if (h->flags & VESK_F_SELIST) {
            VeskSe *se = selist_find(selist_of(rec), key);
            if (se != nullptr && level >= se->depth &&
                (!kRows || key->opnum < se->ops->opcount)) {
                out = {se, chain[level - se->depth]};
                return true;
            }
        }
        rec = h->super;
    }
    return false;
}

inline void *pod_at(void *holder, const VeskSe *se) {
    return se->podoff != 0 ? static_cast<char *>(holder) + se->podoff : nullptr;
}

[[gnu::cold, gnu::noinline]] void report_inappropriate(VeskErr *status, const VeskOid *key, const void *object) {
    report(status, VESK_E_INAPPROPRIATE, 0, 5, int{key->opnum},
           printable(VeskObjectLongkey(object)));
}

[[gnu::cold, gnu::noinline]] void report_no_element(VeskErr *status, const VeskOid *key) {
    report(status, VESK_E_NOMATCH, 0, 1, int{key->comp[1]});
}

inline VeskOprow *lookup_by_walk(void *object, const VeskOid *key, VeskClosure *closure,
                          VeskErr *status) {
    Found f;
    if (!walk<true>(object, key, f)) {
        if (status != nullptr)
            report_inappropriate(status, key, object);
        return nullptr;
    }
    *closure = {object, f.holder, pod_at(f.holder, f.se), f.se->ops, int32_t{key->opnum}};
    return &f.se->ops->rows[key->opnum];
}

// A reference bound to a set that matches the key: the set is the answer.
inline const VeskSeobj *bound_match(const void *object, const VeskOid *key) {
    if (object == nullptr || !is_kind(object, VESK_KIND_SEOBJ))
        return nullptr;
    const auto *ref = static_cast<const VeskSeobj *>(object);
    const VeskOps *bound = ref->cl.ops;
    return bound != nullptr && oid_matches(&bound->rec.oid, key) ? ref : nullptr;
}

// The object a walk starts from when a reference is not asked for its own set.
inline void *walk_start(void *object) {
    return object != nullptr && is_kind(object, VESK_KIND_SEOBJ)
               ? static_cast<VeskSeobj *>(object)->cl.self
               : object;
}

inline VeskOprow *lookup_seobj_aware(void *object, const VeskOid *key, VeskClosure *closure,
                              VeskErr *status) {
    if (const VeskSeobj *ref = bound_match(object, key)) {
        VeskOps *bound = ref->cl.ops;
        if (key->opnum >= bound->opcount) {
            if (status != nullptr)
                report_inappropriate(status, key, ref->cl.self);
            return nullptr;
        }
        *closure = ref->cl;
        closure->opnum = key->opnum;
        return &bound->rows[key->opnum];
    }
    return lookup_by_walk(walk_start(object), key, closure, status);
}

}  // namespace

namespace vesk::rt {

// A key no lookup accepts, or no closure to fill, is a miss: the stub answers.
VeskOprow *find_op(void *object, const VeskOid *key, VeskClosure *closure, MissFn miss) {
    if (!oid_usable(key) || closure == nullptr) [[unlikely]]
        return miss(walk_start(object), closure);
    if (VeskOprow *row = lookup_seobj_aware(object, key, closure, nullptr)) [[likely]]
        return row;
    return miss(walk_start(object), closure);
}

VeskOprow *find_op_plain(void *object, const VeskOid *key, VeskClosure *closure, MissFn miss) {
    if (!oid_usable(key) || closure == nullptr) [[unlikely]]
        return miss(object, closure);
    if (VeskOprow *row = lookup_by_walk(object, key, closure, nullptr)) [[likely]]
        return row;
    return miss(object, closure);
}

VeskOid oid_from_args(uint16_t category, int opnum, int c1, va_list args) {
    VeskOid key{2, static_cast<uint16_t>(opnum), {category, static_cast<uint16_t>(c1)}};
    while (key.count < VESK_OID_MAXCOMP) {
        const int c = va_arg(args, int);
        if (c == -1)
            break;
        key.comp[key.count++] = static_cast<uint16_t>(c);
    }
    return key;
}

}  // namespace vesk::rt

namespace {

// The walk of the SE lookups, for a key that has been checked.
VeskSe *lookup_se(void *object, const VeskOid *key, void **holder, VeskErr *status) {
    Found f;
    if (!walk<false>(object, key, f)) {
        report_no_element(status, key);
        return nullptr;
    }
    if (holder != nullptr)
        *holder = f.holder;
    return f.se;
}

void *lookup_pod(void *object, const VeskOid *key, VeskErr *status) {
    void *holder = nullptr;
    const VeskSe *se = lookup_se(object, key, &holder, status);
    return se != nullptr ? pod_at(holder, se) : nullptr;
}

}  // namespace

extern "C" {

VESK_API VeskOprow *VeskLookupop(void *object, const VeskOid *key, VeskClosure *closure,
                                 VeskErr *status) {
    if (!key_ok(key, status, "VeskLookupop") ||
        !pointer_ok(closure, status, "VeskLookupop", "@closure"))
        return nullptr;
    return lookup_seobj_aware(object, key, closure, status);
}

VESK_API VeskOprow *_VeskLookupop(void *object, const VeskOid *key, VeskClosure *closure,
                                  VeskErr *status) {
    if (!key_ok(key, status, "_VeskLookupop") ||
        !pointer_ok(closure, status, "_VeskLookupop", "@closure"))
        return nullptr;
    return lookup_by_walk(object, key, closure, status);
}

VESK_API VeskOprow *VeskVlookupop(void *object, VeskClosure *closure, VeskErr *status, int opnum,
                                  int c1, ...) {
    if (!pointer_ok(closure, status, "VeskVlookupop", "@closure"))
        return nullptr;
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, opnum, c1, args);
    va_end(args);
    return lookup_seobj_aware(object, &key, closure, status);
}

VESK_API VeskOprow *_VeskVlookupop(void *object, VeskClosure *closure, VeskErr *status, int opnum,
                                   int c1, ...) {
    if (!pointer_ok(closure, status, "_VeskVlookupop", "@closure"))
        return nullptr;
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, opnum, c1, args);
    va_end(args);
    return lookup_by_walk(object, &key, closure, status);
}

VESK_API VeskSe *_VeskLookupSE(void *object, const VeskOid *key, void **holder, VeskErr *status) {
    if (!key_ok(key, status, "_VeskLookupSE"))
        return nullptr;
    return lookup_se(object, key, holder, status);
}

VESK_API VeskSe *VeskLookupSE(void *object, const VeskOid *key, void **holder, VeskErr *status) {
    if (!key_ok(key, status, "VeskLookupSE"))
        return nullptr;
    return lookup_se(deref(object), key, holder, status);
}

VESK_API void *_VeskLookupPOD(void *object, const VeskOid *key, VeskErr *status) {
    if (!key_ok(key, status, "_VeskLookupPOD"))
        return nullptr;
    return lookup_pod(object, key, status);
}

VESK_API void *VeskLookupPOD(void *object, const VeskOid *key, VeskErr *status) {
    if (!key_ok(key, status, "VeskLookupPOD"))
        return nullptr;
    if (const VeskSeobj *ref = bound_match(object, key))
        return ref->cl.pod;
    return lookup_pod(walk_start(object), key, status);
}

VESK_API VeskSeobj *VeskSeobject(void *object, const VeskOid *key, VeskSeobj *out,
                                 VeskErr *status) {
    if (!key_ok(key, status, "VeskSeobject") || !pointer_ok(out, status, "VeskSeobject", "@out"))
        return nullptr;
    if (const VeskSeobj *ref = bound_match(object, key)) {
        *out = *ref;
        out->cl.opnum = -1;
        return out;
    }
    object = walk_start(object);
    void *holder = nullptr;
    VeskSe *se = lookup_se(object, key, &holder, status);
    if (se == nullptr)
        return nullptr;
    out->kind = VESK_KIND_SEOBJ;
    out->flags = 0;
    out->cl = {object, holder, pod_at(holder, se), se->ops, -1};
    return out;
}

VESK_API VeskClosure *_VeskClosure(void *object, const VeskOid *key, VeskClosure *closure,
                                   VeskErr *status) {
    if (!key_ok(key, status, "_VeskClosure") ||
        !pointer_ok(closure, status, "_VeskClosure", "@closure"))
        return nullptr;
    void *holder = nullptr;
    VeskSe *se = lookup_se(object, key, &holder, status);
    if (se == nullptr)
        return nullptr;
    *closure = {object, holder, pod_at(holder, se), se->ops, -1};
    return closure;
}

}  // extern "C"
