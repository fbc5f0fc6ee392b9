// SPDX-License-Identifier: MIT
// The life-cycle front ends' one sequence: take a frame, look the row up on
// the target (a stub row on a miss, which reports when called), call it
// through a pointer of the row's real type, give the frame back. Every call
// walks again: a module linked or unplugged is seen by the next call.
#pragma once

#include "closure.hpp"
#include "lookup.hpp"
#include "stub.hpp"
#include "vesk.h"

namespace vesk::rt {

enum CtorRow : uint16_t { kAllocRow = 4, kInitRow = 5, kFiniRow = 6, kDeallocRow = 7 };
enum DupRow : uint16_t { kDup4Row = 4, kDup5Row = 5, kDupfRow = 6 };
enum DestorRow : uint16_t { kGetRow = 4, kGetLRow = 5 };
enum UcntlRow : uint16_t {
    kRetainValueRow = 4,
    kRetainRow = 5,
    kReleaseRow = 6,
    kHashRow = 7,
    kCompareRow = 8,
};

// The whole sequence for any target: a frame taken the full way, the
// kind-aware lookup with the stub for a miss, the call, the frame given back.
template <class Result, class... Args>
[[gnu::cold, gnu::noinline]] Result call_by_key_full(void *target, const VeskOid *key,
                                                     VeskErr *status, Args... args) {
    VeskClosure *closure = &take_frame()->cl;
    VeskOprow *row = find_op_checked(target, key, closure, stub_row);
    using Fn = Result (*)(VeskClosure *, VeskErr *, Args...);
    const Result result = reinterpret_cast<Fn>(row->fn)(closure, status, args...);
    give_frame(t_frames);
    return result;
}

// The walk is VeskLookupoporstub's, inline: the key is the caller's and the
// closure is the frame, so that neither needs the checks of the exported form.
// The walk changes nothing, so that it runs before the frame is taken; what
// is not the common case (a kind-3 reference, a null target, a miss, the
// thread's first frame or its last) goes the full sequence from the start.
// Until the operation's call, then, the sequence makes no call that its
// values must survive, and across it keeps only the thread's block: the
// walk has the registers to itself. The block taken from is the block given
// back to: it does not change while one of its frames is in use.
template <class Result, class... Args>
[[gnu::always_inline]] inline Result call_by_key(void *target, const VeskOid *key,
                                                 VeskErr *status, Args... args) {
    Found f;
    if (target == nullptr || is_kind(target, VESK_KIND_SEOBJ) || !walk<true>(target, key, f))
        [[unlikely]]
        return call_by_key_full<Result>(target, key, status, args...);
    FrameHead *block = frames_ready();
    if (block == nullptr) [[unlikely]]
        return call_by_key_full<Result>(target, key, status, args...);
    VeskClosure *closure = &take_ready_frame(block)->cl;
    VeskOprow *row = fill_closure(target, key, f, closure);
    using Fn = Result (*)(VeskClosure *, VeskErr *, Args...);
    return give_frame_then(block, reinterpret_cast<Fn>(row->fn)(closure, status, args...));
}

// Row `opnum` of the interface 3.`family`.
template <class Result, class... Args>
inline Result call_row(void *target, uint16_t family, uint16_t opnum, VeskErr *status,
                       Args... args) {
    const VeskOid key = {2, opnum, {VESK_CAT_OPS, family, 0, 0, 0, 0}};
    return call_by_key<Result>(target, &key, status, args...);
}

// The same with the interface and row known at compile time, as in the
// front ends: the key is a constant of the program, not built at each call.
template <uint16_t kFamily, uint16_t kOpnum, class Result, class... Args>
inline Result call_row(void *target, VeskErr *status, Args... args) {
    static constexpr VeskOid kKey = {2, kOpnum, {VESK_CAT_OPS, kFamily, 0, 0, 0, 0}};
    return call_by_key<Result>(target, &kKey, status, args...);
}

// The three walks over an object's service elements (pod_init, pod_fini,
// and the cloning pod_init of a duplication). Each reports nothing itself.
int64_t pod_init_walk(void *object, void **params, uint32_t nparams, VeskErr *status);
int64_t pod_fini_walk(void *object, uint32_t flags, VeskErr *status);
int64_t clone_walk(void *fresh, void *source, void *dupself, void **params, void *pred,
                   VeskErr *status);

}  // namespace vesk::rt
