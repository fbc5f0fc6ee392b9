// SPDX-License-Identifier: MIT
// Thread attributes. The record keeps its field order; the cancelable and
// joinable bits are stored and read back (every thread can be joined), the
// priority is stored on the platform scale, and a caller's stack is used
// with the stored size.
#include "nu.h"
#include "priority.hpp"
#include "report.hpp"

using namespace vesk::threads;

namespace {

constexpr uint32_t kRecordHeadLength = 12;
constexpr uint32_t kDefaultFlags = 0xF0000;
constexpr int32_t kDefaultPolicy = 2;
constexpr uint32_t kSmallestStack = 0x100000;

// A null record: the setters and getters give -1 (with a report where there
// is a status record), the predicates 0.
int64_t set_bits(NuPThrattr *attr, uint32_t bits, bool on) {
    if (attr == nullptr)
        return -1;
    attr->flags = on ? attr->flags | bits : attr->flags & ~bits;
    return 0;
}

}  // namespace

extern "C" {

VESK_API int64_t NuPThrattrInit(NuPThrattr *attr) {
    if (attr == nullptr)
        return -1;
    *attr = {};
    attr->nLength = kRecordHeadLength;
    attr->flags = kDefaultFlags;
    attr->policy = kDefaultPolicy;
    return 0;
}

VESK_API int64_t NuPThrattrDestroy(NuPThrattr *) { return 0; }

VESK_API int64_t NuPThrattrEnablecancel(NuPThrattr *attr) {
    return set_bits(attr, NU_PTHREAD_CANCELABLE, true);
}
VESK_API int64_t NuPThrattrDisablecancel(NuPThrattr *attr) {
    return set_bits(attr, NU_PTHREAD_CANCELABLE, false);
}
VESK_API int64_t NuPThrattrIscancelable(const NuPThrattr *attr) {
    return attr != nullptr && (attr->flags & NU_PTHREAD_CANCELABLE) != 0;
}
VESK_API int64_t NuPThrattrEnablejoin(NuPThrattr *attr) {
    return set_bits(attr, NU_PTHREAD_JOINABLE, true);
}
VESK_API int64_t NuPThrattrDisablejoin(NuPThrattr *attr) {
    return set_bits(attr, NU_PTHREAD_JOINABLE, false);
}
VESK_API int64_t NuPThrattrIsjoinable(const NuPThrattr *attr) {
    return attr != nullptr && (attr->flags & NU_PTHREAD_JOINABLE) != 0;
}

VESK_API int64_t NuPThrattrInheritsched(NuPThrattr *attr) {
    if (attr == nullptr)
        return -1;
    attr->bInheritHandle = 1;
    return 0;
}
VESK_API int64_t NuPThrattrExplicitsched(NuPThrattr *attr) {
    if (attr == nullptr)
        return -1;
    attr->bInheritHandle = 0;
    return 0;
}
VESK_API int64_t NuPThrattrIsinheritsched(const NuPThrattr *attr) {
    return attr != nullptr && attr->bInheritHandle != 0;
}

VESK_API int64_t NuPThrattrGetpriority(const NuPThrattr *attr, int32_t *priority) {
    if (attr == nullptr || priority == nullptr)
        return -1;
    *priority = library_of(attr->priority);
    return 0;
}

VESK_API int64_t NuPThrattrSetpriority(NuPThrattr *attr, int32_t priority, VeskErr *err) {
    if (attr == nullptr)
        return refuse_null(err, "NuPThrattrSetpriority", "@attr");
    if (!priority_in_range(priority))
        return refuse_priority(err, "NuPThrattrSetpriority");
    attr->priority = platform_of(priority);
    return 0;
}

VESK_API int64_t NuPThrattrGetstacksize(const NuPThrattr *attr, uint32_t *size) {
    if (attr == nullptr || size == nullptr)
        return -1;
    *size = attr->stacksize;
    return 0;
}

VESK_API int64_t NuPThrattrSetstacksize(NuPThrattr *attr, uint32_t size, VeskErr *err) {
    if (attr == nullptr)
        return refuse_null(err, "NuPThrattrSetstacksize", "@attr");
    if (size < kSmallestStack) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_INVAL, 0, 1, "@stacksize");
        return -1;
    }
    attr->stacksize = size;
    return 0;
}

VESK_API int64_t NuPThrattrGetschedpolicy(const NuPThrattr *, int32_t *policy) {
    if (policy == nullptr)
        return -1;
    *policy = kDefaultPolicy;
    return 0;
}

VESK_API int64_t NuPThrattrSetschedpolicy(NuPThrattr *, int32_t) { return 0; }

VESK_API int64_t NuPThrattrGetstackaddr(const NuPThrattr *attr, void **address, VeskErr *err) {
    if (attr == nullptr || address == nullptr)
        return refuse_null(err, "NuPThrattrGetstackaddr", attr == nullptr ? "@attr" : "@address");
    *address = attr->stackaddr;
    return 0;
}

// The stack runs from `address` up through the stored stack size, which
// must be set first; null goes back to a stack of the platform's.
VESK_API int64_t NuPThrattrSetstackaddr(NuPThrattr *attr, void *address, VeskErr *err) {
    if (attr == nullptr)
        return refuse_null(err, "NuPThrattrSetstackaddr", "@attr");
    if (address != nullptr && attr->stacksize < kSmallestStack) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_INVAL, 0, 1, "@stacksize");
        return -1;
    }
    attr->stackaddr = address;
    return 0;
}

}  // extern "C"
