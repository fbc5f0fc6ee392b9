// SPDX-License-Identifier: MIT
// Lookups and getters that can't fail.
//
// A miss answers with a stub that fails when it is used: a row of the stub
// set that reports the failure when called, or the stub class or set. So the
// front ends have no error branch, and the failure reaches the caller as an
// ordinary operation result with an ordinary report. A hit takes the plain
// form's walk and nothing more; only a miss goes on to the stub.
#include <cstdarg>

#include "lookup.hpp"
#include "rwlock.hpp"
#include "stub.hpp"

using namespace vesk::rt;

namespace vesk::rt {

VeskOprow *stub_row(void *self, VeskClosure *closure) {
    VeskOps *ops = stub_ops();
    if (closure != nullptr)
        *closure = {self, stub_class(), nullptr, ops, kStubInappropriateRow};
    return &ops->rows[kStubInappropriateRow];
}

}  // namespace vesk::rt

namespace {

// The getters: the record found, or the stub record; a holding form puts a
// hold on the stub as the registry puts one on what it finds.
inline void *class_or_stub(void *found) { return found != nullptr ? found : stub_class(); }
inline VeskOps *ops_or_stub(VeskOps *found) { return found != nullptr ? found : stub_ops(); }

inline void *held_class_or_stub(void *found) {
    if (found != nullptr)
        return found;
    add_hold(&stub_class()->rec);
    return stub_class();
}

inline VeskOps *held_ops_or_stub(VeskOps *found) {
    if (found != nullptr)
        return found;
    add_hold(&stub_ops()->rec);
    return stub_ops();
}

// The V getters leave the key's opnum unset: no comparison looks at it.
constexpr int kNoOpnum = VESK_OPNUM_NONE;

}  // namespace

extern "C" {

VESK_API VeskOprow *VeskLookupoporstub(void *object, const VeskOid *key, VeskClosure *closure) {
    return find_op(object, key, closure, stub_row);
}

VESK_API VeskOprow *_VeskLookupoporstub(void *object, const VeskOid *key, VeskClosure *closure) {
    return find_op_plain(object, key, closure, stub_row);
}

VESK_API VeskOprow *VeskVlookupoporstub(void *object, VeskClosure *closure, int opnum, int c1,
                                        ...) {
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, opnum, c1, args);
    va_end(args);
    return find_op(object, &key, closure, stub_row);
}

VESK_API VeskOprow *_VeskVlookupoporstub(void *object, VeskClosure *closure, int opnum, int c1,
                                         ...) {
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, opnum, c1, args);
    va_end(args);
    return find_op_plain(object, &key, closure, stub_row);
}

VESK_API void *VeskGetclsorstub(const VeskOid *key) {
    return held_class_or_stub(VeskGetcobject(key, nullptr));
}

VESK_API void *_VeskGetclsorstub(const VeskOid *key) {
    return class_or_stub(_VeskGetcobject(key, nullptr));
}

VESK_API VeskOps *VeskGetopsorstub(const VeskOid *key) {
    return held_ops_or_stub(VeskGetops(key, nullptr));
}

VESK_API VeskOps *_VeskGetopsorstub(const VeskOid *key) {
    return ops_or_stub(_VeskGetops(key, nullptr));
}

VESK_API void *VeskVgetclsorstub(int c1, ...) {
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_CLASS, kNoOpnum, c1, args);
    va_end(args);
    return held_class_or_stub(VeskGetcobject(&key, nullptr));
}

VESK_API void *_VeskVgetclsorstub(int c1, ...) {
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_CLASS, kNoOpnum, c1, args);
    va_end(args);
    return class_or_stub(_VeskGetcobject(&key, nullptr));
}

VESK_API VeskOps *VeskVgetopsorstub(int c1, ...) {
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, kNoOpnum, c1, args);
    va_end(args);
    return held_ops_or_stub(VeskGetops(&key, nullptr));
}

VESK_API VeskOps *_VeskVgetopsorstub(int c1, ...) {
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, kNoOpnum, c1, args);
    va_end(args);
    return ops_or_stub(_VeskGetops(&key, nullptr));
}

}  // extern "C"
