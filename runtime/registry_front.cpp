// SPDX-License-Identifier: MIT
// The registry's front ends: records handed out by identifier, holds taken
// and given back, and the walk over all classes or modules under a prefix.
//
// A hold is taken while the list's read lock is held, so that a load or an
// unload, which holds the write locks, can't pass between the search and the
// count. Giving a hold back needs only the record's own lock.
#include <cerrno>
#include <cstdarg>

#include "lookup.hpp"
#include "memory/rtbt_order.hpp"
#include "object.hpp"
#include "registry.hpp"
#include "report.hpp"
#include "rwlock.hpp"

using namespace vesk::rt;
using vesk::rtbt::right_is_thread;
using vesk::rtbt::successor;

namespace {

[[gnu::cold, gnu::noinline]] void report_invalid(VeskErr *status, const char *fn,
                                                 const char *param) {
    report(status, VESK_E_INVAL, 0, 3, kScope, fn, param);
}

// The list of a getter's category, or null for a category it doesn't serve.
Idreg *cobject_list(uint16_t category) {
    switch (category) {
    case VESK_CAT_CLASS:
        return &objreg();
    case VESK_CAT_MODULE:
        return &modreg();
    default:
        return nullptr;
    }
}
Idreg *ops_list(uint16_t category) { return category == VESK_CAT_OPS ? &opsreg() : nullptr; }

// Whether a getter takes the list's lock, and whether it counts its caller as
// a holder.
enum class Locking : bool { none, take };
enum class Hold : bool { none, take };

// Exact search by identifier.
template <Locking kLock, Hold kHold>
VeskRecord *get(Idreg *(*list_of)(uint16_t), const VeskOid *key, VeskErr *status,
                const char *fn) {
    Idreg *reg = oid_usable(key) && key->count >= 2 ? list_of(key->comp[0]) : nullptr;
    if (reg == nullptr) {
        report_invalid(status, fn, "@oid");
        return nullptr;
    }
    idreg_init(*reg);
    if constexpr (kLock == Locking::take)
        rdlock(&reg->lock);
    VeskRecord *rec = find_by_id(*reg, key, status);
    if constexpr (kHold == Hold::take) {
        if (rec != nullptr)
            add_hold(rec);
    }
    if constexpr (kLock == Locking::take)
        unlock(&reg->lock);
    return rec;
}

// Gives back one hold of a record of the expected kind; a record nobody holds
// stays at 0 and is reported. The locking and the lock-free forms are the
// same: the hold goes back by one atomic step (see give_hold).
int64_t end(void *record, bool (*kind_ok)(uint16_t), VeskErr *status, const char *fn) {
    if (record == nullptr || !kind_ok(head(record)->kind)) {
        report_invalid(status, fn, "@self");
        return -1;
    }
    auto *rec = static_cast<VeskRecord *>(record);
    if (!give_hold(rec)) {
        report(status, VESK_E_WRONGSTATE, EINVAL, 2, fn, printable(rec->longkey));
        return -1;
    }
    return 0;
}

bool is_cobject(uint16_t kind) { return kind == VESK_KIND_CLASS || kind == VESK_KIND_MODULE; }
bool is_ops(uint16_t kind) { return kind == VESK_KIND_OPS; }

// ---------------------------------------------------------------------------
// The walk of VeskForeach. The tree is sorted by VeskOidlcmp, so the records
// that match a key by prefix (VeskOidcmp) are neighbours in order: find any
// of them, step back to the first, then go forward until one doesn't match.
// A wildcard inside the key can match records that aren't neighbours; the
// walk covers the run around the first one it finds.

VeskRecord *record_at(const NuRTBTNode *node) { return reinterpret_cast<VeskRecord *>(node->data); }
bool node_matches(const NuRTBTNode *node, const VeskOid *key) {
    return VeskOidcmp(&record_at(node)->oid, key) == 0;
}

// Any node that matches, or null.
NuRTBTNode *any_match(const NuRTBT &tree, const VeskOid *key) {
    NuRTBTNode *node = tree.root;
    while (node != nullptr) {
        const int32_t r = VeskOidcmp(&record_at(node)->oid, key);
        if (r == 0)
            return node;
        if (r > 0)
            node = node->left;
        else
            node = right_is_thread(node) ? nullptr : node->right;
    }
    return nullptr;
}

// The first match in order: those before `hit` lie in its left subtree. A
// match there is remembered and the search goes on to its left; a node that
// doesn't match lies before all of them, so they are in its right subtree, and
// a thread in its place means there are none.
NuRTBTNode *first_match(NuRTBTNode *hit, const VeskOid *key) {
    NuRTBTNode *first = hit;
    NuRTBTNode *node = hit->left;
    while (node != nullptr) {
        if (node_matches(node, key)) {
            first = node;
            node = node->left;
        } else if (right_is_thread(node)) {
            break;
        } else {
            node = node->right;
        }
    }
    return first;
}

// Calls visit(record) on each match in order while it returns a positive
// number; the last result, or 0 when nothing matches.
template <class Visit>
int64_t walk_prefix(const NuRTBT &tree, const VeskOid *key, Visit visit) {
    NuRTBTNode *hit = any_match(tree, key);
    if (hit == nullptr)
        return 0;
    for (NuRTBTNode *node = first_match(hit, key);;) {
        const int64_t result = visit(record_at(node));
        if (result <= 0 || (node->flags & NU_RTBT_LAST) != 0)
            return result;
        node = successor(node);
        if (node == nullptr || !node_matches(node, key))
            return result;
    }
}

// Each record is held while the caller's function runs on it, so that it
// can't be unplugged under the call.
int64_t call_holding(VeskRecord *rec, VeskForeachFn *callback) {
    add_hold(rec);
    const int64_t result = callback->fn(rec, callback);
    give_hold(rec);
    return result;
}

template <Locking kLock>
int64_t foreach(const VeskOid *key, VeskForeachFn *callback, VeskErr *status, const char *fn) {
    Idreg *reg = oid_usable(key) ? cobject_list(key->comp[0]) : nullptr;
    if (reg == nullptr) {
        report_invalid(status, fn, "@oid");
        return -1;
    }
    if (callback == nullptr || callback->fn == nullptr) {
        report_null_arg(status, fn, "@callback");
        return -1;
    }
    idreg_init(*reg);
    if constexpr (kLock == Locking::take)
        rdlock(&reg->lock);
    const int64_t result = walk_prefix(reg->tree, key, [callback](VeskRecord *rec) {
        return call_holding(rec, callback);
    });
    if constexpr (kLock == Locking::take)
        unlock(&reg->lock);
    return result;
}

}  // namespace

extern "C" {

VESK_API void *VeskGetcobject(const VeskOid *key, VeskErr *status) {
    return get<Locking::take, Hold::take>(cobject_list, key, status, "VeskGetcobject");
}

VESK_API void *VeskGetcobject_nlk(const VeskOid *key, VeskErr *status) {
    return get<Locking::none, Hold::take>(cobject_list, key, status, "VeskGetcobject_nlk");
}

VESK_API void *_VeskGetcobject(const VeskOid *key, VeskErr *status) {
    return get<Locking::take, Hold::none>(cobject_list, key, status, "_VeskGetcobject");
}

VESK_API void *_VeskGetcobject_nlk(const VeskOid *key, VeskErr *status) {
    return get<Locking::none, Hold::none>(cobject_list, key, status, "_VeskGetcobject_nlk");
}

VESK_API int64_t VeskEndcobject(void *record, VeskErr *status) {
    return end(record, is_cobject, status, "VeskEndcobject");
}

VESK_API int64_t VeskEndcobject_nlk(void *record, VeskErr *status) {
    return end(record, is_cobject, status, "VeskEndcobject_nlk");
}

VESK_API VeskOps *VeskGetops(const VeskOid *key, VeskErr *status) {
    return reinterpret_cast<VeskOps *>(
        get<Locking::take, Hold::take>(ops_list, key, status, "VeskGetops"));
}

VESK_API VeskOps *_VeskGetops(const VeskOid *key, VeskErr *status) {
    return reinterpret_cast<VeskOps *>(
        get<Locking::take, Hold::none>(ops_list, key, status, "_VeskGetops"));
}

VESK_API int64_t VeskEndops(VeskOps *ops, VeskErr *status) {
    return end(ops, is_ops, status, "VeskEndops");
}

VESK_API VeskModule *_VeskVgetmodule(int c1, ...) {
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_MODULE, 0, c1, args);
    va_end(args);
    return reinterpret_cast<VeskModule *>(_VeskGetcobject(&key, nullptr));
}

VESK_API int64_t VeskForeach(const VeskOid *key, VeskForeachFn *callback, VeskErr *status) {
    return foreach<Locking::take>(key, callback, status, "VeskForeach");
}

VESK_API int64_t VeskForeach_nlk(const VeskOid *key, VeskForeachFn *callback, VeskErr *status) {
    return foreach<Locking::none>(key, callback, status, "VeskForeach_nlk");
}

}  // extern "C"
