// SPDX-License-Identifier: MIT
// The generic verbs on any object: allocate, initialise, finalise,
// deallocate, duplicate, describe, count references, hash and compare. None
// knows how it is done: each finds its row on the object (or on its class)
// and calls it, so that a class changes the behaviour by binding another set.
#include <cerrno>
#include <cstring>

#include "lifecycle.hpp"
#include "object.hpp"
#include "stub.hpp"

namespace vesk::rt {
namespace {

// A pointer result within the last ten values is a stub's or the operation's
// negative status, not an object. On this 64-bit build the whole word must be
// one of them: an object's address may well end in 0xFFFFFFF8.
bool is_failure_word(int64_t r) { return r >= -10 && r < 0; }

void *object_or(int64_t r, void *failure) {
    return r == 0 || is_failure_word(r) ? failure : reinterpret_cast<void *>(r);
}

void *pointer_or_null(int64_t r) { return object_or(r, nullptr); }

// The dup forms: null when the operation failed, -1 when a stub answered.
void *clone_result(int64_t r) {
    if (is_failure_word(r))
        return reinterpret_cast<void *>(intptr_t{-1});
    return reinterpret_cast<void *>(r);
}

bool refuse_alloc(void *cls, VeskErr *status) {
    if ((head(cls)->flags & VESK_F_SELIST) == 0) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_CTOR, VESK_E_INVAL, EINVAL, 3,
                  "constructor", "allocate-object-memory", "@self");
        return true;
    }
    // The stub class is what VeskGetclsorstub hands out for an unknown key.
    if (cls == stub_class()) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_CTOR, VESK_E_NOTREADY, ENXIO, 0);
        return true;
    }
    return false;
}

}  // namespace
}  // namespace vesk::rt

using namespace vesk::rt;

extern "C" {

VESK_API void *VeskAlloc(void *cls, uint32_t flags, void *mem, uint32_t extra, VeskErr *status) {
    if (cls == nullptr) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_CTOR, VESK_E_FAULT, EFAULT, 3, "constructor",
                  "allocate-object-memory", "@self");
        return nullptr;
    }
    if (refuse_alloc(cls, status))
        return nullptr;
    return pointer_or_null(call_row<VESK_FAC_CTOR, kAllocRow, int64_t>(cls, status, flags, mem, extra));
}

VESK_API int64_t _VeskInit(void *cls, void *object, void **params, uint32_t nparams,
                           VeskErr *status) {
    return call_row<VESK_FAC_CTOR, kInitRow, int64_t>(cls, status, object, params, nparams);
}

VESK_API int64_t VeskInit(void *object, void **params, uint32_t nparams, VeskErr *status) {
    return _VeskInit(VeskXclassof(object), object, params, nparams, status);
}

VESK_API void *VeskInitDeallocIfError(void *object, void **params, uint32_t nparams,
                                      VeskErr *status) {
    if (object == nullptr)
        return nullptr;
    void *cls = VeskXclassof(object);
    if (_VeskInit(cls, object, params, nparams, status) >= 0)
        return object;
    _VeskDealloc(cls, object, VESK_ROLLBACK, nullptr);
    return nullptr;
}

VESK_API int64_t _VeskFini(void *cls, void *object, uint32_t flags, VeskErr *status) {
    return call_row<VESK_FAC_CTOR, kFiniRow, int64_t>(cls, status, object, flags);
}

VESK_API int64_t VeskFini(void *object, uint32_t flags, VeskErr *status) {
    return _VeskFini(VeskXclassof(object), object, flags, status);
}

VESK_API int64_t _VeskDealloc(void *cls, void *object, uint32_t flags, VeskErr *status) {
    return call_row<VESK_FAC_CTOR, kDeallocRow, int64_t>(cls, status, object, flags);
}

VESK_API int64_t VeskDealloc(void *object, uint32_t flags, VeskErr *status) {
    return _VeskDealloc(VeskXclassof(object), object, flags, status);
}

VESK_API void *VeskDup4(void *source, uint32_t flags, void *mem, uint32_t extra, VeskErr *status) {
    return clone_result(
        call_row<VESK_FAC_DUP, kDup4Row, int64_t>(source, status, source, flags, mem, extra));
}

VESK_API void *VeskDup5(void *source, uint32_t flags, void *mem, uint32_t extra, void **params,
                        VeskErr *status) {
    return clone_result(call_row<VESK_FAC_DUP, kDup5Row, int64_t>(source, status, source, flags, mem,
                                          extra, params));
}

VESK_API void *VeskDupf(void *source, uint32_t flags, void *mem, uint32_t extra, void *pred,
                        VeskErr *status) {
    return clone_result(call_row<VESK_FAC_DUP, kDupfRow, int64_t>(source, status, source, flags, mem,
                                          extra, pred));
}

VESK_API void *VeskDups(void *source, uint32_t flags, VeskErr *status) {
    return VeskDup4(source, flags, nullptr, 0, status);
}

VESK_API void *VeskDups2(void *source, uint32_t flags, uintptr_t, VeskErr *status) {
    return VeskDup4(source, flags, nullptr, 0, status);
}

VESK_API int64_t VeskGetdescriptor(void *object, VeskDescriptorInfo *descriptor, VeskErr *status) {
    return call_row<VESK_FAC_DESTOR, kGetRow, int64_t>(object, status, descriptor);
}

VESK_API int64_t VeskGetdescriptor_l(void *object, VeskDescriptorInfo *descriptor,
                                     const char *locale, VeskErr *status) {
    return call_row<VESK_FAC_DESTOR, kGetLRow, int64_t>(object, status, descriptor, locale);
}

VESK_API int32_t VeskRetain(void *object, VeskErr *status) {
    return static_cast<int32_t>(call_row<VESK_FAC_UCNTL, kRetainRow, int64_t>(object, status));
}

VESK_API int32_t VeskRelease(void *object, uint32_t flags, VeskErr *status) {
    return static_cast<int32_t>(call_row<VESK_FAC_UCNTL, kReleaseRow, int64_t>(object, status, flags));
}

VESK_API int32_t _VeskRetainvalue(void *object, int32_t value, VeskErr *status) {
    return static_cast<int32_t>(
        call_row<VESK_FAC_UCNTL, kRetainValueRow, int64_t>(object, status, value));
}

VESK_API int32_t VeskCompare(void *left, const void *right) {
    return static_cast<int32_t>(
        call_row<VESK_FAC_UCNTL, kCompareRow, int64_t>(left, nullptr, static_cast<const void *>(left),
                          right));
}

VESK_API int32_t VeskHash(void *object, VeskErr *status) {
    return static_cast<int32_t>(call_row<VESK_FAC_UCNTL, kHashRow, int64_t>(object, status));
}

VESK_API void *VeskLazydup(void *object, uintptr_t, uintptr_t, VeskErr *status) {
    return VeskRetain(object, status) < 0 ? nullptr : object;
}

}  // extern "C"

namespace {

// The element table of trees that hold objects: duplicating an element takes
// one more reference, releasing it gives one back.
uintptr_t lazydup_slot(uintptr_t info, uintptr_t a, uintptr_t b, VeskErr *status) {
    return reinterpret_cast<uintptr_t>(VeskLazydup(reinterpret_cast<void *>(info), a, b, status));
}
int32_t retain_slot(uintptr_t element, VeskErr *status) {
    return VeskRetain(reinterpret_cast<void *>(element), status);
}
int32_t release_slot(uintptr_t element, uint32_t flags, VeskErr *status) {
    return VeskRelease(reinterpret_cast<void *>(element), flags, status);
}
intptr_t compare_slot(uintptr_t a, uintptr_t b) {
    return VeskCompare(reinterpret_cast<void *>(a), reinterpret_cast<const void *>(b));
}

}  // namespace

extern "C" {
VESK_API NuBtninfo _G_ucntl_btninfo_opv = {lazydup_slot, retain_slot, release_slot, compare_slot,
                                           nullptr};
}
