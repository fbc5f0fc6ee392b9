// SPDX-License-Identifier: MIT
// The reference-count sets: Cucntl counts in the holds of the record that
// carries it (classes and modules), Xucntl in an atomic word of the instance,
// Zucntl not at all (the first release ends the instance), PoolUcntl in the
// zone granule of a pooled instance. All compare and hash alike.
#include <array>
#include <atomic>
#include <cerrno>

#include "runtime/lifecycle.hpp"
#include "runtime/object.hpp"
#include "runtime/rwlock.hpp"
#include "services/kdv.hpp"

namespace vesk::svc {
namespace {

constexpr int32_t kCountLimit = 0x7fffffff;

[[gnu::cold, gnu::noinline]] int64_t refuse_count(const VeskClosure *cl, VeskErr *err) {
    report_in(cl, err, VESK_E_WRONGSTATE, EINVAL, 2, row_name(cl), longkey_of(cl->self));
    return -1;
}

// Ends an instance whose last reference went: fini, then dealloc, on its
// class. Out of line, so that a release that is not the last saves nothing.
[[gnu::noinline]] int64_t end_instance(VeskClosure *cl, VeskErr *err, uint32_t flags) {
    void *self = rt::deref(cl->self);
    VeskClass *cls = VeskXclassof(self);
    _VeskFini(cls, self, flags, err);
    _VeskDealloc(cls, self, flags, err);
    return 0;
}

// ---- Cucntl ----------------------------------------------------------------------

VeskRecord *holder_record(const VeskClosure *cl) { return static_cast<VeskRecord *>(cl->holder); }

int64_t c_retain_value(VeskClosure *cl, VeskErr *, int32_t) {
    return rt::holds_of(holder_record(cl));
}

int64_t c_retain(VeskClosure *cl, VeskErr *) {
    VeskRecord *rec = holder_record(cl);
    rt::WriteLocked locked(&rec->lock);
    rt::holds_add(rec, 1);
    return rt::holds_of(rec);
}

int64_t c_release(VeskClosure *cl, VeskErr *err, uint32_t) {
    VeskRecord *rec = holder_record(cl);
    {
        rt::WriteLocked locked(&rec->lock);
        if (rt::holds_of(rec) > 0) {
            rt::holds_add(rec, -1);
            return rt::holds_of(rec);
        }
    }
    return refuse_count(cl, err);
}

int64_t c_hash(VeskClosure *cl, VeskErr *) { return reinterpret_cast<intptr_t>(cl->holder); }

int64_t c_compare(VeskClosure *, VeskErr *, const void *left, const void *right) {
    return static_cast<int32_t>(reinterpret_cast<uintptr_t>(left) -
                                reinterpret_cast<uintptr_t>(right));
}

// ---- Xucntl ----------------------------------------------------------------------

std::atomic_ref<int32_t> count_of(const VeskClosure *cl) {
    return std::atomic_ref<int32_t>(*static_cast<int32_t *>(cl->pod));
}

int64_t x_pod_init(VeskClosure *cl, VeskErr *, uint32_t flags, void *param) {
    int32_t start = 1;
    if (param != nullptr && (flags & VESK_POD_CLONE) == 0)
        start = static_cast<int32_t>(static_cast<VeskXucntlParam *>(param)->retain);
    count_of(cl).store(start, std::memory_order_relaxed);
    return 0;
}

int64_t x_pod_fini(VeskClosure *, VeskErr *, uint32_t) { return 0; }

int64_t x_retain_value(VeskClosure *cl, VeskErr *, int32_t value) {
    if (value >= 0)
        count_of(cl).store(value, std::memory_order_relaxed);
    return count_of(cl).load(std::memory_order_relaxed);
}

int64_t x_retain(VeskClosure *cl, VeskErr *err) {
    const int32_t now = count_of(cl).fetch_add(1, std::memory_order_relaxed) + 1;
    if (now == kCountLimit) {
        count_of(cl).fetch_sub(1, std::memory_order_relaxed);
        return refuse_count(cl, err);
    }
    return now;
}

// The release that takes the count to 0 is the one that ends the instance:
// it acquires what every other holder did before its own release.
int64_t x_release(VeskClosure *cl, VeskErr *err, uint32_t flags) {
    const int32_t now = count_of(cl).fetch_sub(1, std::memory_order_acq_rel) - 1;
    // A release below 0 is refused and the count stays where it went: the
    // caller's fault is visible to the next holder too.
    if (now < 0)
        return refuse_count(cl, err);
    return now == 0 ? end_instance(cl, err, flags) : now;
}

int64_t x_hash(VeskClosure *cl, VeskErr *) { return reinterpret_cast<intptr_t>(rt::deref(cl->self)); }

// What a right side that isn't an object carries, by hint; the 256-entry
// table maps a hint to one of these.
enum class Rhs : uint8_t {
    unknown,
    object,      // 3, 4, 5: the right side is an object
    named,       // 99: a record naming an object
    hash,        // 71, 87, 94
    text,        // 30
    wide,        // 31
    text_hash,   // 88, 91
    wide_hash,   // 90, 93
    bytes_hash,  // 89, 92
};

constexpr auto kHints = [] {
    std::array<Rhs, 256> t{};
    t[3] = t[4] = t[5] = Rhs::object;
    t[99] = Rhs::named;
    t[71] = t[87] = t[94] = Rhs::hash;
    t[30] = Rhs::text;
    t[31] = Rhs::wide;
    t[88] = t[91] = Rhs::text_hash;
    t[90] = t[93] = Rhs::wide_hash;
    t[89] = t[92] = Rhs::bytes_hash;
    return t;
}();

uint32_t right_hash(Rhs kind, const void *right) {
    const auto *h = static_cast<const VeskHintHash *>(right);
    const auto *t = static_cast<const VeskHintText *>(right);
    const auto *b = static_cast<const VeskHintBytes *>(right);
    switch (kind) {
    case Rhs::hash:
        return h->hash;
    case Rhs::text:
        return NuStrhash(static_cast<const char *>(t->text));
    case Rhs::wide:
        return NuWcshash(static_cast<const char16_t *>(t->text));
    case Rhs::text_hash:
        return t->hash != 0 ? t->hash : NuStrhash(static_cast<const char *>(t->text));
    case Rhs::wide_hash:
        return t->hash != 0 ? t->hash : NuWcshash(static_cast<const char16_t *>(t->text));
    case Rhs::bytes_hash:
        return b->hash != 0 ? b->hash : NuBhash(b->bytes, b->length);
    default:
        return 0;
    }
}

// An object on the right compares in its own set, against the left hash; its
// answer is turned round.
int64_t compare_with_object(void *right, uint32_t left_hash) {
    const VeskHintHash probe{87, 0, left_hash};
    const int64_t answer = rt::call_row<int64_t>(right, VESK_FAC_UCNTL, rt::kCompareRow,
                                                 nullptr, static_cast<const void *>(right),
                                                 static_cast<const void *>(&probe));
    const auto word = static_cast<int32_t>(answer);
    return word == VESK_COMPARE_REFUSED ? word : -int64_t{word};
}

int64_t x_compare(VeskClosure *cl, VeskErr *err, const void *, const void *right) {
    const uint16_t hint = *static_cast<const uint16_t *>(right);
    const Rhs kind = hint < kHints.size() ? kHints[hint] : Rhs::unknown;
    if (kind == Rhs::unknown) {
        report_in(cl, err, VESK_E_NOTSUP, ENOTSUP, 6, set_name(cl), row_name(cl), "@rhs.hint");
        return VESK_COMPARE_REFUSED;
    }
    using HashFn = int64_t (*)(VeskClosure *, VeskErr *);
    const auto left_hash = static_cast<uint32_t>(
        reinterpret_cast<HashFn>(cl->ops->rows[rt::kHashRow].fn)(cl, err));
    if (kind == Rhs::object)
        return compare_with_object(const_cast<void *>(right), left_hash);
    if (kind == Rhs::named)
        return compare_with_object(
            const_cast<void *>(static_cast<const VeskHintText *>(right)->text), left_hash);
    return static_cast<int32_t>(left_hash - right_hash(kind, right));
}

// ---- Zucntl and PoolUcntl ----------------------------------------------------------

int64_t z_one(VeskClosure *, VeskErr *) { return 1; }
int64_t z_retain_value(VeskClosure *, VeskErr *, int32_t) { return 1; }
int64_t z_release(VeskClosure *cl, VeskErr *err, uint32_t flags) {
    return end_instance(cl, err, flags);
}

int64_t p_retain_value(VeskClosure *cl, VeskErr *, int32_t) {
    return _NuZmPtrRetainValue(rt::deref(cl->self));
}
int64_t p_retain(VeskClosure *cl, VeskErr *) { return _NuZmPtrRetain(rt::deref(cl->self)); }
int64_t p_release(VeskClosure *cl, VeskErr *, uint32_t) {
    return _NuZmPtrRelease(rt::deref(cl->self));
}

#define UCNTL_SET(var, key, shortkey, id, podsize_, pod_init_, pod_fini_, value_, retain_,       \
                  release_, hash_, compare_)                                                      \
    VESK_OPS_T(9) var = {                                                                         \
        VESK_RECORD_INIT(key, shortkey, "ucntl", VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, id), nullptr),                \
        podsize_,                                                                                 \
        9,                                                                                        \
        {                                                                                         \
            VESK_ROW_ABSENT(init_once, "init-once"),                                              \
            VESK_ROW_ABSENT(fini_once, "fini-once"),                                              \
            VESK_ROW(pod_init, "pod-init", pod_init_),                                            \
            VESK_ROW(pod_fini, "pod-fini", pod_fini_),                                            \
            VESK_ROW(retain_value, "ucntl::get-retain-value-of-object", value_),                  \
            VESK_ROW(retain, "ucntl::retain-object", retain_),                                    \
            VESK_ROW(release, "ucntl::release-object", release_),                                 \
            VESK_ROW(hash, "ucntl::get-hash-value-of-object", hash_),                             \
            VESK_ROW(compare, "ucntl::compare-objects", compare_),                                \
        },                                                                                        \
    }

UCNTL_SET(xucntl, "operations/ucntl/Xucntl", "ucntl/Xucntl", 6, sizeof(int32_t), x_pod_init,
          x_pod_fini, x_retain_value, x_retain, x_release, x_hash, x_compare);
UCNTL_SET(zucntl, "operations/ucntl/Zucntl", "ucntl/Zucntl", 7, 0, nullptr, nullptr,
          z_retain_value, z_one, z_release, x_hash, x_compare);
UCNTL_SET(cucntl, "operations/ucntl/Cucntl", "ucntl/Cucntl", 8, 0, nullptr, nullptr,
          c_retain_value, c_retain, c_release, c_hash, c_compare);
UCNTL_SET(pool_ucntl, "operations/ucntl/PoolUcntl", "ucntl/PoolUcntl", 10, 0, nullptr, nullptr,
          p_retain_value, p_retain, p_release, x_hash, x_compare);

#undef UCNTL_SET

}  // namespace

VeskOps *xucntl_ops() { return VESK_OPS(&xucntl); }
VeskOps *zucntl_ops() { return VESK_OPS(&zucntl); }
VeskOps *cucntl_ops() { return VESK_OPS(&cucntl); }
VeskOps *pool_ucntl_ops() { return VESK_OPS(&pool_ucntl); }

}  // namespace vesk::svc
